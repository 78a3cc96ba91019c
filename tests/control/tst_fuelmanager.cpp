#include "recordingbridgelink.h"
#include "recordingsimbackend.h"

#include "control/fuelmanager.h"
#include "sim/simoperationdispatcher.h"
#include "tests/support/logexpect.h"

#include <QFile>
#include <QJsonArray>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>

namespace {

QList<FuelManager::TankInfo> tanks(int count, double capacity)
{
    QList<FuelManager::TankInfo> out;
    for (int i = 0; i < count; ++i)
        out.append({QStringLiteral("T%1").arg(i), capacity, 0.0, 1.0 / count});
    return out;
}

bool near(double a, double b, double tolerance = 1e-6)
{
    return std::abs(a - b) <= tolerance;
}

} // namespace

class TestFuelManager : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void loadClampsAndEmptyTanks();
    void simulatorWrites_data();
    void simulatorWrites();
    void xplaneRoundTripKeepsMass();
    void simConnectTankLayout();
    void payloadAndFreeze_data();
    void payloadAndFreeze();
    void remoteSetFuel();
    void userPresetsSurviveRestartAndBadEntries();

private:
    QTemporaryDir m_dir;
};

void TestFuelManager::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
}

void TestFuelManager::loadClampsAndEmptyTanks()
{
    RecordingSimBackend backend(SimType::Prepar3D);
    backend.connect();
    FuelManager fuel(m_dir.filePath(QStringLiteral("a.ini")));
    fuel.setBackend(&backend);
    QSignalSpy loaded(&fuel, &FuelManager::fuelLoaded);

    fuel.loadFuel(50);
    QCOMPARE(fuel.fuelPercent(), 0);
    QVERIFY(backend.calls().isEmpty());

    fuel.setTanks({{QStringLiteral("L"), 100, 0, 0}, {QStringLiteral("R"), 300, 0, 0}});
    fuel.loadFuel(150);
    QCOMPARE(fuel.totalCurrent(), 400.0);
    QCOMPARE(fuel.fuelPercent(), 100);
    QCOMPARE(loaded.last().at(1).toInt(), 100);
    fuel.loadFuel(-5);
    QCOMPARE(fuel.totalCurrent(), 0.0);
    // Spread in proportion to capacity; the percent truncates.
    fuel.loadFuelGallons(199);
    QVERIFY(near(fuel.tanks()[0].current, 49.75) && near(fuel.tanks()[1].current, 149.25));
    QCOMPARE(fuel.fuelPercent(), 49);
    QVERIFY(near(loaded.last().at(0).toDouble(), 199));
    fuel.loadTank(1, 20);
    QVERIFY(near(fuel.tanks()[1].current, 60));
    fuel.loadTank(5, 20); // no such tank
    QVERIFY(near(fuel.totalFuelWeightKg(), (49.75 + 60) * 3.78541 * 0.804));
}

void TestFuelManager::simulatorWrites_data()
{
    QTest::addColumn<SimType>("type");
    QTest::addColumn<int>("tankCount");
    QTest::addColumn<QStringList>("writes");
    QTest::newRow("X-Plane: kilograms") << SimType::XPlane11 << 2
                                        << QStringList{"sim/flightmodel/weight/m_fuel[0]=152.173",
                                                       "sim/flightmodel/weight/m_fuel[1]=152.173"};
    QTest::newRow("MSFS 2020: LEVEL in percent")
        << SimType::Msfs2020 << 2
        << QStringList{"FUEL TANK LEFT MAIN LEVEL=50 percent", "FUEL TANK LEFT AUX LEVEL=50 percent"};
    QTest::newRow("MSFS 2024: QUANTITY in gallons")
        << SimType::Msfs2024 << 2
        << QStringList{"FUEL TANK LEFT MAIN QUANTITY=50 gallons", "FUEL TANK LEFT AUX QUANTITY=50 gallons"};
    QStringList eleven;
    for (const char *position : {"LEFT MAIN", "LEFT AUX", "LEFT TIP", "CENTER", "CENTER2", "CENTER3", "RIGHT MAIN",
                                 "RIGHT AUX", "RIGHT TIP", "EXTERNAL1", "EXTERNAL2"})
        eleven.append(QStringLiteral("FUEL TANK %1 QUANTITY=50 gallons").arg(QLatin1String(position)));
    QTest::newRow("FSX: the twelfth tank is never written") << SimType::Fsx << 12 << eleven;
}

void TestFuelManager::simulatorWrites()
{
    QFETCH(SimType, type);
    QFETCH(int, tankCount);
    RecordingSimBackend backend(type);
    backend.connect();
    FuelManager fuel(m_dir.filePath(QStringLiteral("b.ini")));
    fuel.setBackend(&backend);
    fuel.setTanks(tanks(tankCount, 100));
    fuel.loadFuel(50);
    QStringList writes;
    for (const RecordingSimBackend::Call &call : backend.calls())
        writes.append(QStringLiteral("%1=%2%3")
                          .arg(call.name)
                          .arg(call.value, 0, 'g', 6)
                          .arg(call.units.isEmpty() ? QString() : QLatin1Char(' ') + call.units));
    QTEST(writes, "writes");
}

void TestFuelManager::xplaneRoundTripKeepsMass()
{
    // What X-Plane reports, in kilograms: 3000 kg capacity, 40 % in the left wing, 60 % in the
    // right, none in the other seven tanks; 600 kg and 900 kg aboard.
    RecordingSimBackend backend(SimType::XPlane12);
    backend.connect();
    FuelManager fuel(m_dir.filePath(QStringLiteral("c.ini")));
    fuel.setBackend(&backend);
    QList<double> ratios(9, 0.0);
    ratios[0] = 0.4;
    ratios[1] = 0.6;
    QList<double> kg(9, 0.0);
    kg[0] = 600;
    kg[1] = 900;
    emit backend.tankQuantitiesReceived(kg);
    emit backend.fuelConfigChanged(3000, ratios);
    emit backend.tankQuantitiesReceived(kg);

    const double kgPerGal = 3.78541 * 0.804;
    QCOMPARE(fuel.tanks().size(), 9);
    QCOMPARE(fuel.tanks()[0].name, QStringLiteral("Tank 1"));
    QVERIFY(near(fuel.tanks()[0].capacity, 1200 / kgPerGal));
    QVERIFY(near(fuel.totalCurrent(), 1500 / kgPerGal));
    QCOMPARE(fuel.fuelPercent(), 50);
    QVERIFY(near(fuel.totalFuelWeightKg(), 1500));

    // Loading 75 % puts three quarters of each tank's mass into X-Plane.
    fuel.loadFuel(75);
    QVERIFY(near(backend.lastValue(QStringLiteral("sim/flightmodel/weight/m_fuel[0]")), 900, 1e-3));
    QVERIFY(near(backend.lastValue(QStringLiteral("sim/flightmodel/weight/m_fuel[1]")), 1350, 1e-3));
    QCOMPARE(backend.lastValue(QStringLiteral("sim/flightmodel/weight/m_fuel[8]")), 0.0);
    // The simulator's next report of that mass reads back as the same gallons.
    kg[0] = 900;
    kg[1] = 1350;
    emit backend.tankQuantitiesReceived(kg);
    QCOMPARE(fuel.fuelPercent(), 75);
}

void TestFuelManager::simConnectTankLayout()
{
    RecordingSimBackend backend(SimType::Prepar3D);
    FuelManager fuel(m_dir.filePath(QStringLiteral("d.ini")));
    fuel.setBackend(&backend);
    QSignalSpy presets(&fuel, &FuelManager::presetsChanged);
    // 660 lb at 6.6 lb/gal: 100 gallons over ten positions.
    QList<double> ratios(10, 0.05);
    ratios[0] = 0.3;
    ratios[6] = 0.3;
    emit backend.fuelConfigChanged(660, ratios);
    QCOMPARE(fuel.tanks().size(), 10);
    QCOMPARE(fuel.tanks()[0].name, QStringLiteral("Left Main"));
    QCOMPARE(fuel.tanks()[6].name, QStringLiteral("Right Main"));
    QCOMPARE(fuel.tanks()[9].name, QStringLiteral("Tank 10"));
    QVERIFY(near(fuel.totalCapacity(), 100));
    QVERIFY(near(fuel.totalCapacityLbs(), 660));
    QVERIFY(!presets.isEmpty());
    // The built-in presets follow the tanks.
    fuel.applyPreset(QStringLiteral("__3/4"));
    QCOMPARE(fuel.fuelPercent(), 75);
    fuel.applyPreset(QStringLiteral("__min"));
    QCOMPARE(fuel.fuelPercent(), 10);
    fuel.updateTankLevels({100, 0, 50});
    QVERIFY(near(fuel.tanks()[0].current, 30) && near(fuel.tanks()[2].current, 2.5));
}

void TestFuelManager::payloadAndFreeze_data()
{
    QTest::addColumn<SimType>("type");
    QTest::addColumn<QString>("station");
    QTest::addColumn<double>("value");
    QTest::addColumn<QString>("freeze");
    QTest::newRow("X-Plane") << SimType::XPlane12 << "sim/flightmodel/weight/m_fixed[4]" << 80.0
                             << "setData sim/operation/failures/fuel 6";
    QTest::newRow("Prepar3D, stations from 1")
        << SimType::Prepar3D << "PAYLOAD STATION WEIGHT:5" << 80 * 2.20462 << "event FUEL_FREEZE_TOGGLE 1";
}

void TestFuelManager::payloadAndFreeze()
{
    QFETCH(SimType, type);
    QFETCH(QString, station);
    QFETCH(double, value);
    RecordingSimBackend backend(type);
    FuelManager fuel(m_dir.filePath(QStringLiteral("e.ini")));
    fuel.setBackend(&backend);
    QSignalSpy frozen(&fuel, &FuelManager::fuelFrozenChanged);
    fuel.setFuelFreeze(true); // not connected: only the signal
    QCOMPARE(frozen.size(), 1);
    QVERIFY(backend.calls().isEmpty());

    backend.connect();
    fuel.loadPayloadTotal(400); // five default stations
    QCOMPARE(fuel.payloadStations().size(), 5);
    QVERIFY(near(backend.lastValue(station), value, 1e-9));
    QCOMPARE(fuel.totalPayloadKg(), 400.0);
    backend.clearCalls();
    fuel.setFuelFreeze(true);
    const RecordingSimBackend::Call call = backend.calls().value(0);
    QTEST(QStringLiteral("%1 %2 %3").arg(call.op, call.name).arg(call.value), "freeze");
    QCOMPARE(frozen.size(), 2);
}

void TestFuelManager::remoteSetFuel()
{
    RecordingSimBackend backend(SimType::XPlane12);
    backend.connect();
    RecordingBridgeLink bridge;
    bridge.registerAgent(QStringLiteral("b"), QStringLiteral("MSFS 2020"));
    SimOperationDispatcher dispatcher;
    dispatcher.setBridgeServer(&bridge);
    dispatcher.setTarget(QStringLiteral("b"));
    FuelManager fuel(m_dir.filePath(QStringLiteral("f.ini")));
    fuel.setBackend(&backend);
    fuel.setDispatcher(&dispatcher);

    fuel.loadFuel(40); // no tanks known: the station spreads it itself
    fuel.setTanks({{QStringLiteral("L"), 200, 0, 0}, {QStringLiteral("R"), 100, 0, 0}});
    fuel.loadFuel(40);
    fuel.loadPayloadStation(0, 100);
    QVERIFY(backend.calls().isEmpty());
    const QList<QJsonObject> sent = bridge.messages(QStringLiteral("b"));
    QCOMPARE(sent.size(), 1 + 1 + 5);
    QCOMPARE(sent[0].value("action").toString(), QStringLiteral("load_fuel"));
    QCOMPARE(sent[0].value("percent").toInt(), 0);
    QCOMPARE(sent[1].value("action").toString(), QStringLiteral("set_fuel"));
    const QJsonArray tanksSent = sent[1].value("tanks").toArray();
    QCOMPARE(tanksSent.size(), 2);
    QCOMPARE(tanksSent[1].toObject(), (QJsonObject{{"index", 1}, {"gallons", 40}, {"percent", 40}}));
    // Payload on an MSFS station: pounds, by SimConnect name.
    QCOMPARE(sent[2].value("action").toString(), QStringLiteral("set_data"));
    QCOMPARE(sent[2].value("dataRef").toString(), QStringLiteral("PAYLOAD STATION WEIGHT:1"));
    QCOMPARE(sent[2].value("units").toString(), QStringLiteral("pounds"));
}

void TestFuelManager::userPresetsSurviveRestartAndBadEntries()
{
    const QString path = m_dir.filePath(QStringLiteral("Zobrel.ini"));
    {
        FuelManager fuel(path);
        fuel.setTanks(tanks(3, 100));
        fuel.updateTankLevels({100, 50, 0});
        fuel.loadPayloadTotal(250);
        fuel.saveUserPreset(QStringLiteral("训练 A"));
        fuel.saveUserPreset(QStringLiteral("B"));
        fuel.deleteUserPreset(QStringLiteral("B"));
    }
    QFile file(path);
    QVERIFY(file.open(QIODevice::Append | QIODevice::Text));
    file.close();

    FuelManager restarted(path);
    restarted.setTanks(tanks(3, 100));
    restarted.loadUserPresetsFromSettings();
    QCOMPARE(restarted.presets().last().name, QStringLiteral("训练 A"));
    restarted.applyPreset(QStringLiteral("训练 A"));
    QCOMPARE(restarted.tanks()[0].current, 100.0);
    QCOMPARE(restarted.tanks()[1].current, 50.0);
    QVERIFY(near(restarted.totalPayloadKg(), 250));

    // Hand-edited entries: garbage percents load as empty tanks, out-of-range ones clamp, a
    // missing payload leaves the payload alone.
    {
        QSettings settings(path, QSettings::IniFormat);
        settings.beginGroup(QStringLiteral("FuelPresets"));
        settings.setValue(QStringLiteral("preset_names"), QStringList{"X", ""});
        settings.setValue(QStringLiteral("tank_percents"), QStringList{"abc;250;-3"});
        settings.setValue(QStringLiteral("payload_kg"), QStringList{});
    }
    restarted.loadUserPresetsFromSettings();
    QCOMPARE(restarted.presets().last().name, QStringLiteral("X"));
    restarted.applyPreset(QStringLiteral("X"));
    QCOMPARE(restarted.tanks()[0].current, 0.0);
    QCOMPARE(restarted.tanks()[1].current, 100.0);
    QCOMPARE(restarted.tanks()[2].current, 0.0);
    QVERIFY(near(restarted.totalPayloadKg(), 250));
}

QTEST_MAIN(TestFuelManager)
#include "tst_fuelmanager.moc"
