#include "recordingbridgelink.h"
#include "recordingsimbackend.h"

#include "control/failuremanager.h"
#include "sim/simoperationdispatcher.h"
#include "tests/support/logexpect.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

class TestFailureManager : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void catalogueConsistent();
    void writesBySimulator_data();
    void writesBySimulator();
    void retriggerAndLogLimit();
    void resetAllAndPresets();
    void elapsedTimer();
    void randomFailures();
    void conditionTriggers_data();
    void conditionTriggers();
    void conditionFiresOnceAndWaitsWhileFailed();
    void availabilityOnConnectedSimulator();
};

void TestFailureManager::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
}

void TestFailureManager::catalogueConsistent()
{
    FailureManager manager;
    const QList<FailureDef> failures = manager.failures();
    QCOMPARE(failures.size(), 56);
    QSet<QString> ids;
    for (const FailureDef &def : failures) {
        ids.insert(def.id);
        QVERIFY2(def.xplaneKey.startsWith(QLatin1String("XPlaneFailure")) && def.xplaneKey.size() > 13,
                 qPrintable(def.id));
        QVERIFY(manager.categories().contains(def.category));
    }
    // Every preset names failures that exist; the order of the list is the order offered.
    QCOMPARE(manager.presets().size(), 24);
    QCOMPARE(manager.presets().first().name, QStringLiteral("单发故障"));
    QCOMPARE(manager.presets().last().name, QStringLiteral("极端情况"));
    for (const FailurePreset &preset : manager.presets())
        for (const QString &id : preset.failureIds)
            QVERIFY2(ids.contains(id), qPrintable(preset.name + QLatin1Char(' ') + id));
    QCOMPARE(manager.categories(), (QStringList{"引擎", "电气", "自动驾驶", "飞控", "起落架", "除冰", "灯光", "紧急"}));
}

void TestFailureManager::writesBySimulator_data()
{
    QTest::addColumn<SimType>("type");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QStringList>("writes");
    QTest::newRow("X-Plane writes the key")
        << SimType::XPlane12 << "engine_fire2"
        << QStringList{"setData XPlaneFailureEngfir2 6", "setData XPlaneFailureEngfir2 0"};
    QTest::newRow("SimConnect toggles the event twice")
        << SimType::Prepar3D << "compressor_stall1"
        << QStringList{"event TOGGLE_ENGINE1_FAILURE 6", "event TOGGLE_ENGINE1_FAILURE 0"};
    QTest::newRow("SimConnect without an event falls back to the key")
        << SimType::Msfs2020 << "autopilot"
        << QStringList{"setData XPlaneFailureOtto 6", "setData XPlaneFailureOtto 0"};
    QTest::newRow("unknown id does nothing") << SimType::XPlane11 << "engine9" << QStringList();
}

namespace {

QStringList describe(const RecordingSimBackend &backend)
{
    QStringList out;
    for (const RecordingSimBackend::Call &call : backend.calls())
        out.append(QStringLiteral("%1 %2 %3").arg(call.op, call.name).arg(call.value));
    return out;
}

} // namespace

void TestFailureManager::writesBySimulator()
{
    QFETCH(SimType, type);
    QFETCH(QString, id);
    RecordingSimBackend backend(type);
    FailureManager manager;
    manager.setBackend(&backend);
    QSignalSpy triggered(&manager, &FailureManager::failureTriggered);
    QSignalSpy reset(&manager, &FailureManager::failureReset);

    // Not connected: state, log and signals, no write.
    manager.triggerFailure(id);
    manager.resetFailure(id);
    QVERIFY(backend.calls().isEmpty());
    const int known = manager.failure(id).id.isEmpty() ? 0 : 1;
    QCOMPARE(triggered.size(), known);
    QCOMPARE(manager.history().size(), 2 * known);

    backend.connect();
    manager.triggerFailure(id);
    QCOMPARE(manager.failure(id).state, 2 * known);
    QCOMPARE(manager.activeCount(), known);
    manager.resetFailure(id);
    QCOMPARE(manager.failure(id).state, 0);
    QTEST(describe(backend), "writes");
    QCOMPARE(reset.size(), 2 * known);

    // With a remote target the station gets a command and the local simulator nothing.
    backend.clearCalls();
    RecordingBridgeLink bridge;
    bridge.registerAgent(QStringLiteral("a"), QStringLiteral("P3D"));
    SimOperationDispatcher dispatcher;
    dispatcher.setBridgeServer(&bridge);
    dispatcher.setTarget(QStringLiteral("a"));
    manager.setDispatcher(&dispatcher);
    manager.triggerFailure(id);
    QVERIFY(backend.calls().isEmpty());
    const QList<QJsonObject> sent = bridge.messages(QStringLiteral("a"));
    QCOMPARE(sent.size(), known);
    if (known) {
        QCOMPARE(sent.first().value("action").toString(), QStringLiteral("failure"));
        QCOMPARE(sent.first().value("component").toString(), id);
        QCOMPARE(sent.first().value("state").toBool(), true);
    }
}

void TestFailureManager::retriggerAndLogLimit()
{
    FailureManager manager;
    manager.triggerFailure(QStringLiteral("engine1"));
    manager.onElapsedTick();
    manager.onElapsedTick();
    QCOMPARE(manager.failure(QStringLiteral("engine1")).elapsed, 2);
    manager.triggerFailure(QStringLiteral("engine1"));
    QCOMPARE(manager.failure(QStringLiteral("engine1")).elapsed, 0);
    QCOMPARE(manager.history().size(), 2);
    QCOMPARE(manager.history().at(1).action, QStringLiteral("触发"));
    QCOMPARE(manager.history().at(1).failureName, QStringLiteral("引擎 1 故障"));

    // 201 additions: the first falls off, the newest 200 stay in order.
    manager.clearHistory();
    manager.triggerFailure(QStringLiteral("battery1"));
    for (int i = 0; i < 200; ++i)
        manager.resetFailure(QStringLiteral("slats"));
    const QList<FailureLogEntry> log = manager.history();
    QCOMPARE(log.size(), 200);
    QCOMPARE(log.first().failureId, QStringLiteral("slats"));
    QCOMPARE(log.last().action, QStringLiteral("重置"));
    QVERIFY(log.first().timeMs <= log.last().timeMs && log.first().timeMs > 0);
}

void TestFailureManager::resetAllAndPresets()
{
    RecordingSimBackend backend(SimType::XPlane12);
    backend.connect();
    FailureManager manager;
    manager.setBackend(&backend);
    QSignalSpy allReset(&manager, &FailureManager::allReset);

    manager.loadPreset(QStringLiteral("起落架卡阻"));
    QCOMPARE(manager.activeCount(), 3);
    manager.loadPreset(QStringLiteral("双发故障"));
    QCOMPARE(manager.activeCount(), 2);
    QCOMPARE(manager.failure(QStringLiteral("nosewheel_jam")).state, 0);
    QCOMPARE(backend.lastValue(QStringLiteral("XPlaneFailureLagear1")), 0.0);
    QCOMPARE(backend.lastValue(QStringLiteral("XPlaneFailureEngfai2")), 6.0);
    const int logged = manager.history().size();

    // An unknown preset only repairs; resetAll adds no log entries.
    manager.loadPreset(QStringLiteral("不存在"));
    QCOMPARE(manager.activeCount(), 0);
    QCOMPARE(backend.lastValue(QStringLiteral("XPlaneFailureEngfai1")), 0.0);
    QCOMPARE(manager.history().size(), logged);
    QCOMPARE(allReset.size(), 3);
}

void TestFailureManager::elapsedTimer()
{
    FailureManager manager;
    manager.triggerFailure(QStringLiteral("gear_act"));
    QTRY_COMPARE_WITH_TIMEOUT(manager.failure(QStringLiteral("gear_act")).elapsed, 1, 2500);
    QCOMPARE(manager.failure(QStringLiteral("gear_ind")).elapsed, 0);
}

void TestFailureManager::randomFailures()
{
    FailureManager manager;
    QSignalSpy random(&manager, &FailureManager::randomFailureTriggered);
    manager.setMtbf(0); // stored as 1: p = 1/60 per check
    QCOMPARE(manager.mtbf(), 1);
    for (int i = 0; i < 600; ++i)
        manager.onRandomCheck();
    QCOMPARE(random.size(), 0); // off

    manager.setRandomFailuresEnabled(true);
    for (int i = 0; i < 6000; ++i) {
        manager.onRandomCheck();
        manager.resetAll();
    }
    // Binomial(6000, 1/60): mean 100, standard deviation 9.9.
    QVERIFY2(random.size() > 55 && random.size() < 150, qPrintable(QString::number(random.size())));

    // Only healthy systems are candidates.
    for (const FailureDef &def : manager.failures())
        if (def.id != QLatin1String("wind_shear"))
            manager.triggerFailure(def.id);
    random.clear();
    for (int i = 0; i < 6000 && random.isEmpty(); ++i)
        manager.onRandomCheck();
    QCOMPARE(random.size(), 1);
    QCOMPARE(random.first().at(0).toString(), QStringLiteral("wind_shear"));
    QCOMPARE(random.first().at(1).toString(), QStringLiteral("微下击暴流"));
    for (int i = 0; i < 600; ++i)
        manager.onRandomCheck(); // nothing left to fail
    QCOMPARE(random.size(), 1);
}

void TestFailureManager::conditionTriggers_data()
{
    QTest::addColumn<QString>("parameter");
    QTest::addColumn<double>("threshold");
    QTest::addColumn<int>("comparison");
    QTest::addColumn<bool>("fires");
    // The sample: 2500 ft, 180 kt, -700 ft/min, gear down, airborne, N1 91.5 / 0.
    QTest::newRow("ALT above") << "ALT" << 2000.0 << 0 << true;
    QTest::newRow("altitude not above") << "altitude" << 2500.0 << 0 << false;
    QTest::newRow("IAS below") << "IAS" << 200.0 << 1 << true;
    QTest::newRow("speed not below") << "speed" << 180.0 << 1 << false;
    QTest::newRow("VS below") << "VS" << -500.0 << 1 << true;
    QTest::newRow("vs equal") << "vs" << -700.0 << 2 << true;
    QTest::newRow("gear equal 1") << "gear" << 1.0 << 2 << true;
    QTest::newRow("onGround equal 0 never matches") << "onGround" << 0.0 << 2 << false;
    QTest::newRow("engine2_n1 equal 0 never matches") << "engine2_n1" << 0.0 << 2 << false;
    QTest::newRow("engine1_n1 nearly equal") << "engine1_n1" << 91.5000001 << 2 << false;
    QTest::newRow("engine1_n1 below") << "engine1_n1" << 92.0 << 1 << true;
    QTest::newRow("case matters") << "Altitude" << 0.0 << 0 << false;
    QTest::newRow("unknown comparison") << "ALT" << 0.0 << 7 << false;
}

void TestFailureManager::conditionTriggers()
{
    QFETCH(QString, parameter);
    QFETCH(double, threshold);
    QFETCH(int, comparison);
    RecordingSimBackend backend(SimType::XPlane12);
    AircraftData sample;
    sample.alt = 2500;
    sample.ias = 180;
    sample.vs = -700;
    sample.gear = true;
    sample.onGround = false;
    sample.engN1[0] = 91.5;
    backend.publish(sample);
    FailureManager manager;
    manager.setBackend(&backend);
    QSignalSpy fired(&manager, &FailureManager::conditionTriggered);
    manager.addConditionTrigger({QStringLiteral("engine1"), parameter, threshold, comparison, true});

    manager.onConditionCheck(); // not connected: no check
    QCOMPARE(fired.size(), 0);
    backend.connect();
    manager.onConditionCheck();
    QFETCH(bool, fires);
    QCOMPARE(fired.size(), fires ? 1 : 0);
    QCOMPARE(manager.failure(QStringLiteral("engine1")).state, fires ? 2 : 0);
    QCOMPARE(manager.conditionTriggers().first().armed, !fires);
}

void TestFailureManager::conditionFiresOnceAndWaitsWhileFailed()
{
    RecordingSimBackend backend(SimType::XPlane12);
    backend.connect();
    FailureManager manager;
    manager.setBackend(&backend);
    QSignalSpy fired(&manager, &FailureManager::conditionTriggered);
    manager.addConditionTrigger({QStringLiteral("engine1"), QStringLiteral("ALT"), 2000, 0, true});
    manager.addConditionTrigger({QStringLiteral("engine2"), QStringLiteral("ALT"), 2000, 0, true});
    manager.triggerFailure(QStringLiteral("engine2")); // already failed: its trigger waits, armed

    AircraftData sample;
    for (double alt : {1500.0, 1900.0, 2100.0, 2600.0, 1800.0, 2400.0}) {
        sample.alt = alt;
        backend.publish(sample);
        manager.onConditionCheck();
        manager.resetFailure(QStringLiteral("engine1"));
    }
    QCOMPARE(fired.size(), 1);
    QCOMPARE(fired.first().at(0).toString(), QStringLiteral("engine1"));
    QCOMPARE(fired.first().at(1).toString(), QStringLiteral("ALT"));

    manager.resetFailure(QStringLiteral("engine2"));
    manager.onConditionCheck();
    QCOMPARE(fired.size(), 2);
    QCOMPARE(manager.conditionTriggers().size(), 2); // disarmed, kept until cleared
    manager.clearConditionTriggers();
    QVERIFY(manager.conditionTriggers().isEmpty());
}

void TestFailureManager::availabilityOnConnectedSimulator()
{
    RecordingSimBackend backend(SimType::XPlane12);
    backend.setUnavailable({QStringLiteral("XPlaneFailureGenAvio")});
    FailureManager manager;
    QVERIFY(manager.isAvailable(QStringLiteral("gen_avionics")));
    manager.setBackend(&backend);
    QVERIFY(!manager.isAvailable(QStringLiteral("gen_avionics")));
    QVERIFY(manager.isAvailable(QStringLiteral("gen_elec")));
    QVERIFY(!manager.isAvailable(QStringLiteral("no_such_failure")));
    // A SimConnect simulator toggles the event, whatever keys it knows.
    backend.setSimType(SimType::Fsx);
    backend.setUnavailable({QStringLiteral("XPlaneFailureEngfai1")});
    QVERIFY(manager.isAvailable(QStringLiteral("engine1")));
}

QTEST_MAIN(TestFailureManager)
#include "tst_failuremanager.moc"
