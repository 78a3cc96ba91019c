#include "recordingbridgelink.h"
#include "recordingsimbackend.h"

#include "sim/simoperationdispatcher.h"
#include "tests/support/logexpect.h"

#include <QJsonArray>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <functional>

namespace {

const QString kAgent = QStringLiteral("agent-7");

using Operation = std::function<void(SimOperationDispatcher &)>;

} // namespace

Q_DECLARE_METATYPE(Operation)

class TestSimOperationDispatcher : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void remoteCommands_data();
    void remoteCommands();
    void localRoute_data();
    void localRoute();
    void requestIdsFresh();
    void agentSimText_data();
    void agentSimText();
    void targetAndConnection();
    void commandResults_data();
    void commandResults();
    void frequencyEncodings_data();
    void frequencyEncodings();

private:
    void table();
};

void TestSimOperationDispatcher::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
}

void TestSimOperationDispatcher::table()
{
    // The local column is what the backend was asked for, one call per entry as "op name value"
    // (empty for the remote-only operations).
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QString>("action");
    QTest::addColumn<QJsonObject>("params");
    QTest::addColumn<QStringList>("local");

    QTest::newRow("reposition") << Operation([](SimOperationDispatcher &d) {
        d.reposition(
            QStringLiteral("final"),
            {{"lat", 31.1}, {"lon", 121.8}, {"alt", 1000.0}, {"hdg", 350.0}, {"onGround", false}, {"speed", 200}});
    }) << "reposition" << QJsonObject{{"lat", 31.1}, {"lon", 121.8},      {"alt", 1000},
                                      {"hdg", 350},  {"onGround", false}, {"speed", 200}}
                                << QStringList();
    QTest::newRow("transmit_event") << Operation([](SimOperationDispatcher &d) {
        d.transmitEvent(QStringLiteral("TOGGLE_PUSHBACK"), 1);
    }) << "transmit_event" << QJsonObject{{"eventId", "TOGGLE_PUSHBACK"}, {"data", 1}}
                                    << QStringList{"event TOGGLE_PUSHBACK 1"};
    QTest::newRow("set_data") << Operation([](SimOperationDispatcher &d) {
        d.setData(QStringLiteral("sim/flightmodel/position/R"), 5.5);
    }) << "set_data" << QJsonObject{{"dataRef", "sim/flightmodel/position/R"}, {"value", 5.5}}
                              << QStringList{"setData sim/flightmodel/position/R 5.5"};
    QTest::newRow("set_data units") << Operation([](SimOperationDispatcher &d) {
        d.setData(QStringLiteral("PAYLOAD STATION WEIGHT:1"), 220.5, QStringLiteral("pounds"));
    }) << "set_data" << QJsonObject{{"dataRef", "PAYLOAD STATION WEIGHT:1"}, {"value", 220.5}, {"units", "pounds"}}
                                    << QStringList{"setData PAYLOAD STATION WEIGHT:1 220.5 pounds"};
    QTest::newRow("set_frequency") << Operation([](SimOperationDispatcher &d) {
        d.setFrequency(QStringLiteral("COM ACTIVE FREQUENCY:1"), QStringLiteral("COM_RADIO_SET_HZ"),
                       QStringLiteral("sim/cockpit2/radios/actuators/com1_frequency_hz_833"), 118.025);
    }) << "set_frequency"
                                   << QJsonObject{{"simvarPrefix", "COM ACTIVE FREQUENCY:1"},
                                                  {"eventName", "COM_RADIO_SET_HZ"},
                                                  {"xpDataRef", "sim/cockpit2/radios/actuators/com1_frequency_hz_833"},
                                                  {"freqMHz", 118.025}}
                                   << QStringList{"setData sim/cockpit2/radios/actuators/com1_frequency_hz_833 118025"};
    QTest::newRow("camera_6dof") << Operation([](SimOperationDispatcher &d) {
        d.setCameraRelative6DOF(1, 2, 3, 4, 5, 6);
    }) << "camera_6dof" << QJsonObject{{"dx", 1}, {"dy", 2}, {"dz", 3}, {"pitch", 4}, {"bank", 5}, {"heading", 6}}
                                 << QStringList{"camera 0"};
    QTest::newRow("camera_smooth_6dof") << Operation([](SimOperationDispatcher &d) {
        d.setCameraSmoothRelative6DOF(1, 2, 3, 4, 5, 6, 0.5f);
    }) << "camera_smooth_6dof" << QJsonObject{{"dx", 1},   {"dy", 2},      {"dz", 3},          {"pitch", 4},
                                              {"bank", 5}, {"heading", 6}, {"smoothTime", 0.5}}
                                        << QStringList{"camera 0.5"};
    QTest::newRow("freeze") << Operation([](SimOperationDispatcher &d) { d.setFreeze(true, false); }) << "freeze"
                            << QJsonObject{{"position", true}, {"attitude", false}} << QStringList();
    QTest::newRow("pause") << Operation([](SimOperationDispatcher &d) { d.setPause(true); }) << "pause"
                           << QJsonObject{{"state", true}} << QStringList();
    QTest::newRow("failure") << Operation([](SimOperationDispatcher &d) {
        d.setFailure(QStringLiteral("engine"), 1, true);
    }) << "failure" << QJsonObject{{"component", "engine"}, {"index", 1}, {"state", true}}
                             << QStringList();
    QTest::newRow("load_fuel") << Operation([](SimOperationDispatcher &d) { d.loadFuel(75); }) << "load_fuel"
                               << QJsonObject{{"percent", 75}} << QStringList();
    QTest::newRow("weather")
        << Operation([](SimOperationDispatcher &d) {
               d.setWeather(QJsonObject{
                   {"windDir", 270},
                   {"windSpeed", 15},
                   {"windGust", 25},
                   {"visibility", 3000},
                   {"temperature", 8},
                   {"dewpoint", 6},
                   {"qnh", 1002},
                   {"precipitation", 0.5},
                   {"turbulence", 0.25},
                   {"clouds", QJsonArray{QJsonObject{{"cover", "BKN"}, {"base", 1200}, {"top", 0}, {"type", ""}}}},
                   {"unrelated", "dropped"}});
           })
        << "weather"
        << QJsonObject{{"windDir", 270},
                       {"windSpeed", 15},
                       {"windGust", 25},
                       {"visibility", 3000},
                       {"temperature", 8},
                       {"dewpoint", 6},
                       {"qnh", 1002},
                       {"precipitation", 0.5},
                       {"turbulence", 0.25},
                       {"clouds", QJsonArray{QJsonObject{{"cover", "BKN"}, {"base", 1200}, {"top", 0}, {"type", ""}}}}}
        << QStringList{"weather"};
}

namespace {

QStringList describe(const RecordingSimBackend &backend)
{
    QStringList out;
    for (const RecordingSimBackend::Call &call : backend.calls()) {
        QString line = call.op;
        if (!call.name.isEmpty())
            line += QLatin1Char(' ') + call.name;
        if (call.op != QLatin1String("weather"))
            line += QLatin1Char(' ') + QString::number(call.value, 'g', 10);
        if (!call.units.isEmpty())
            line += QLatin1Char(' ') + call.units;
        out.append(line);
    }
    return out;
}

} // namespace

void TestSimOperationDispatcher::remoteCommands_data()
{
    table();
}

void TestSimOperationDispatcher::remoteCommands()
{
    QFETCH(Operation, operation);
    QFETCH(QString, action);
    QFETCH(QJsonObject, params);

    RecordingSimBackend local;
    local.connect();
    RecordingBridgeLink bridge;
    bridge.registerAgent(kAgent, QStringLiteral("X-Plane 12"));
    SimOperationDispatcher dispatcher;
    dispatcher.setLocalBackend(&local);
    dispatcher.setBridgeServer(&bridge);
    dispatcher.setTarget(kAgent);
    QSignalSpy sent(&dispatcher, &SimOperationDispatcher::commandSent);

    operation(dispatcher);

    const QList<QByteArray> lines = bridge.lines(kAgent);
    QCOMPARE(lines.size(), 1);
    QVERIFY(lines.first().endsWith('\n'));
    QVERIFY2(!lines.first().trimmed().contains('\n') && !lines.first().contains(": "), lines.first().constData());
    QJsonObject message = bridge.messages(kAgent).value(0);
    QCOMPARE(message.take(QStringLiteral("type")).toString(), QStringLiteral("command"));
    QCOMPARE(message.take(QStringLiteral("action")).toString(), action);
    const QString requestId = message.take(QStringLiteral("requestId")).toString();
    QVERIFY2(
        QRegularExpression(QStringLiteral("^[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}$")).match(requestId).hasMatch(),
        qPrintable(requestId));
    QCOMPARE(message, params);
    QCOMPARE(sent.size(), 1);
    QCOMPARE(sent.first().at(1).toString(), requestId);
    // A remote target never touches the local simulator.
    QVERIFY(local.calls().isEmpty());
}

void TestSimOperationDispatcher::localRoute_data()
{
    table();
}

void TestSimOperationDispatcher::localRoute()
{
    QFETCH(Operation, operation);
    QFETCH(QStringList, local);

    RecordingSimBackend backend(SimType::XPlane12);
    backend.connect();
    RecordingBridgeLink bridge;
    bridge.registerAgent(kAgent, QStringLiteral("X-Plane 12"));
    SimOperationDispatcher dispatcher;
    dispatcher.setBridgeServer(&bridge);

    operation(dispatcher); // no backend yet: nothing anywhere
    QVERIFY(bridge.lines(kAgent).isEmpty());

    dispatcher.setLocalBackend(&backend);
    operation(dispatcher);
    QCOMPARE(describe(backend), local);
    QVERIFY(bridge.lines(kAgent).isEmpty());
}

void TestSimOperationDispatcher::requestIdsFresh()
{
    RecordingBridgeLink bridge;
    bridge.registerAgent(kAgent, QStringLiteral("P3D v5"));
    SimOperationDispatcher dispatcher;
    dispatcher.setBridgeServer(&bridge);
    dispatcher.setTarget(kAgent);
    dispatcher.setPause(true);
    dispatcher.setPause(true);
    const QList<QJsonObject> messages = bridge.messages(kAgent);
    QCOMPARE(messages.size(), 2);
    QVERIFY(messages[0].value("requestId").toString() != messages[1].value("requestId").toString());

    // Without a bridge nothing is sent and no id is handed out.
    SimOperationDispatcher unbridged;
    unbridged.setTarget(kAgent);
    QVERIFY(unbridged.sendAgentCommand(QStringLiteral("pause"), {}).isEmpty());
}

void TestSimOperationDispatcher::agentSimText_data()
{
    QTest::addColumn<QString>("sim");
    QTest::addColumn<SimType>("type");
    QTest::newRow("X-Plane 12") << "X-Plane 12" << SimType::XPlane12;
    QTest::newRow("xplane11") << "xplane11" << SimType::XPlane11;
    QTest::newRow("X-Plane wins over MSFS") << "MSFS bridge on X-Plane 11" << SimType::XPlane11;
    QTest::newRow("MSFS only") << "MSFS 2020" << SimType::Msfs2020;
    QTest::newRow("msfs 2024") << "msfs2024" << SimType::Msfs2024;
    QTest::newRow("P3D") << "P3D v5" << SimType::Prepar3D;
    QTest::newRow("p3d") << "p3d" << SimType::Prepar3D;
    QTest::newRow("FSX") << "FSX SE" << SimType::Fsx;
    QTest::newRow("lower-case fsx unknown") << "fsx" << SimType::None;
    QTest::newRow("empty") << "" << SimType::None;
}

void TestSimOperationDispatcher::agentSimText()
{
    QFETCH(QString, sim);
    QFETCH(SimType, type);
    RecordingBridgeLink bridge;
    bridge.registerAgent(kAgent, sim);
    RecordingSimBackend local(SimType::Prepar3D);
    SimOperationDispatcher dispatcher;
    dispatcher.setBridgeServer(&bridge);
    dispatcher.setLocalBackend(&local);
    QCOMPARE(dispatcher.simType(), SimType::Prepar3D);
    dispatcher.setTarget(kAgent);
    QCOMPARE(dispatcher.simType(), type);
}

void TestSimOperationDispatcher::targetAndConnection()
{
    RecordingBridgeLink bridge;
    SimOperationDispatcher dispatcher;
    dispatcher.setBridgeServer(&bridge);
    QSignalSpy changed(&dispatcher, &SimOperationDispatcher::targetChanged);
    QVERIFY(!dispatcher.isConnected());

    auto *backend = new RecordingSimBackend(SimType::XPlane11);
    dispatcher.setLocalBackend(backend);
    QVERIFY(!dispatcher.isConnected());
    backend->connect();
    QVERIFY(dispatcher.isConnected());

    dispatcher.setTarget(QString());
    QCOMPARE(changed.size(), 0);
    dispatcher.setTarget(kAgent);
    dispatcher.setTarget(kAgent);
    QCOMPARE(changed.size(), 1);
    QVERIFY(!dispatcher.isConnected()); // the agent has not registered
    bridge.registerAgent(kAgent, QStringLiteral("MSFS 2020"));
    QVERIFY(dispatcher.isConnected());

    RemoteAircraft remote;
    remote.lat = 31.2;
    remote.lon = 121.3;
    remote.alt = 4500;
    remote.hdg = 87;
    bridge.setRemoteAircraft(kAgent, remote);
    QCOMPARE(dispatcher.agentLat(), 31.2);
    QCOMPARE(dispatcher.agentLon(), 121.3);
    QCOMPARE(dispatcher.agentAlt(), 4500.0);
    QCOMPARE(dispatcher.agentHeading(), 87.0);

    dispatcher.setTarget(QString());
    QCOMPARE(changed.size(), 2);
    QCOMPARE(dispatcher.agentLat(), 0.0);
    QVERIFY(dispatcher.isConnected());
    // A backend the manager deleted is not used afterwards.
    delete backend;
    QVERIFY(!dispatcher.isConnected());
    QCOMPARE(dispatcher.simType(), SimType::None);
    dispatcher.setData(QStringLiteral("x"), 1);
}

void TestSimOperationDispatcher::commandResults_data()
{
    QTest::addColumn<QJsonObject>("message");
    QTest::addColumn<int>("results");
    QTest::addColumn<bool>("success");
    QTest::addColumn<QString>("text");
    QTest::newRow("success") << QJsonObject{{"type", "command_result"},
                                            {"agentId", kAgent},
                                            {"requestId", "r1"},
                                            {"success", true},
                                            {"message", "done"}}
                             << 1 << true << "done";
    QTest::newRow("failure") << QJsonObject{{"type", "command_result"},
                                            {"requestId", "r2"},
                                            {"success", false},
                                            {"message", "no such dataref"}}
                             << 1 << false << "no such dataref";
    QTest::newRow("status ok") << QJsonObject{{"type", "command_result"}, {"requestId", "r3"}, {"status", "ok"}} << 1
                               << true << "";
    QTest::newRow("status error") << QJsonObject{{"type", "command_result"},
                                                 {"requestId", "r4"},
                                                 {"status", "error"},
                                                 {"error", "busy"}}
                                  << 1 << false << "busy";
    QTest::newRow("other type") << QJsonObject{{"type", "status"}, {"requestId", "r5"}} << 0 << false << "";
}

void TestSimOperationDispatcher::commandResults()
{
    QFETCH(QJsonObject, message);
    QFETCH(int, results);
    SimOperationDispatcher dispatcher;
    QSignalSpy spy(&dispatcher, &SimOperationDispatcher::commandResult);
    dispatcher.onAgentMessage(kAgent, message);
    QCOMPARE(spy.size(), results);
    if (results == 0)
        return;
    QCOMPARE(spy.first().at(0).toString(), message.value("requestId").toString());
    QTEST(spy.first().at(1).toBool(), "success");
    QTEST(spy.first().at(2).toString(), "text");

    // A reply without a request id cannot be matched: a diagnostic, no signal.
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("command_result without requestId"));
    dispatcher.onAgentMessage(kAgent, QJsonObject{{"type", "command_result"}, {"success", true}});
    QCOMPARE(spy.size(), results);
}

void TestSimOperationDispatcher::frequencyEncodings_data()
{
    QTest::addColumn<SimType>("type");
    QTest::addColumn<QString>("event");
    QTest::addColumn<QString>("dataRef");
    QTest::addColumn<double>("mhz");
    QTest::addColumn<QString>("expected");
    QTest::newRow("BCD16 121.50") << SimType::Prepar3D << "COM_RADIO_SET"
                                  << "" << 121.5 << "event COM_RADIO_SET 8528";
    QTest::newRow("BCD16 110.35") << SimType::Fsx << "NAV1_RADIO_SET"
                                  << "" << 110.35 << "event NAV1_RADIO_SET 4149";
    QTest::newRow("hertz") << SimType::Msfs2020 << "COM_STBY_RADIO_SET_HZ"
                           << "" << 118.025 << "event COM_STBY_RADIO_SET_HZ 118025000";
    QTest::newRow("X-Plane 10 kHz") << SimType::XPlane11 << "COM_RADIO_SET"
                                    << "sim/cockpit/radios/com1_freq_hz" << 121.5
                                    << "setData sim/cockpit/radios/com1_freq_hz 12150";
    QTest::newRow("X-Plane 8.33") << SimType::XPlane12 << "COM_RADIO_SET"
                                  << "sim/cockpit2/radios/actuators/com2_frequency_hz_833" << 132.005
                                  << "setData sim/cockpit2/radios/actuators/com2_frequency_hz_833 132005";
}

void TestSimOperationDispatcher::frequencyEncodings()
{
    QFETCH(SimType, type);
    QFETCH(QString, event);
    QFETCH(QString, dataRef);
    QFETCH(double, mhz);
    RecordingSimBackend backend(type);
    backend.connect();
    SimOperationDispatcher dispatcher;
    dispatcher.setLocalBackend(&backend);
    dispatcher.setFrequency(QStringLiteral("COM ACTIVE FREQUENCY:1"), event, dataRef, mhz);
    QFETCH(QString, expected);
    QCOMPARE(describe(backend), QStringList{expected});
}

QTEST_MAIN(TestSimOperationDispatcher)
#include "tst_simoperationdispatcher.moc"
