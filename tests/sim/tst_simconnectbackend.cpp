#include "sim/simbackendmanager.h"
#include "sim/simconnect/fake/fakesimconnect.h"
#include "sim/simconnect/fake/fakesimworld.h"
#include "sim/simconnect/simconnectsession.h"
#include "sim/simconnectbackend.h"
#include "sim/simoperationdispatcher.h"
#include "tests/support/logexpect.h"

#include <QFile>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <memory>

Q_DECLARE_METATYPE(ISimBackend *)

namespace {

SimConnectSession::Timings fastTimings()
{
    SimConnectSession::Timings t;
    t.pumpIntervalMs = 5;
    t.openTimeoutMs = 2000;
    t.probeIntervalMs = 100;
    t.probeTimeoutMs = 600;
    t.trafficIntervalMs = 200;
    return t;
}

bool near(double a, double b, double tolerance)
{
    return std::abs(a - b) <= tolerance;
}

} // namespace

// The in-process SimConnect backend against the fake simulator, through the real port, session
// and decoders: samples in the record's units, writes as the simulator receives them, what each
// simulator kind lacks, and how a lost simulator is noticed and found again.
class TestSimConnectBackend : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { qRegisterMetaType<ISimBackend *>(); }
    void init();
    void cleanup();

    void sampleInRecordUnits();
    void openFailsWhenSimulatorNotRunning();
    void tankLayoutAndContents();
    void trafficWithoutTheUserAircraft();
    void positionGoesOutInFeet();
    void pauseFreezeAndSystemEvents();
    void radioEventsInTheSimulatorsForm_data();
    void radioEventsInTheSimulatorsForm();
    void weatherByKind_data();
    void weatherByKind();
    void refusedNamesReportedOnceAndNotResent();
    void tugHeadingFallsBackToTheOtherName();
    void exceptionsNameTheFailedCall_data();
    void exceptionsNameTheFailedCall();
    void oneShotReadInRequestedUnits();
    void flightPlanLoad();
    void lossNoticed_data();
    void lossNoticed();
    void managerReconnectsAfterRestart();

private:
    std::unique_ptr<SimConnectBackend> makeBackend(SimType kind);
    bool connectBackend(SimConnectBackend &backend);
    AircraftData nextSample(SimConnectBackend &backend);

    std::unique_ptr<FakeSimWorld> m_world;
};

void TestSimConnectBackend::init()
{
    QTest::failOnWarning(QRegularExpression(".*"));
    testlog::failOnLoggedProblems();
}

void TestSimConnectBackend::cleanup()
{
    m_world.reset();
}

std::unique_ptr<SimConnectBackend> TestSimConnectBackend::makeBackend(SimType kind)
{
    m_world = std::make_unique<FakeSimWorld>(kind);
    auto backend = std::make_unique<SimConnectBackend>(kind, std::make_unique<FakeSimConnect>(m_world.get()));
    backend->session()->setTimings(fastTimings());
    return backend;
}

bool TestSimConnectBackend::connectBackend(SimConnectBackend &backend)
{
    QSignalSpy connected(&backend, &ISimBackend::connected);
    backend.connect();
    return connected.wait(3000) && backend.isConnected();
}

AircraftData TestSimConnectBackend::nextSample(SimConnectBackend &backend)
{
    QSignalSpy samples(&backend, &ISimBackend::aircraftDataChanged);
    if (!samples.wait(3000))
        return {};
    return samples.last().first().value<AircraftData>();
}

void TestSimConnectBackend::sampleInRecordUnits()
{
    auto backend = makeBackend(SimType::Msfs2020);
    QVERIFY(connectBackend(*backend));
    // The simulator keeps these in its own units; the record wants its documented ones.
    QVERIFY(m_world->setValue("VERTICAL SPEED", 12.5, "feet per second"));
    QVERIFY(m_world->setValue("GENERAL ENG EXHAUST GAS TEMPERATURE:1", 1200, "fahrenheit"));
    QVERIFY(m_world->setValue("BRAKE PARKING POSITION", 1, "position"));
    QVERIFY(m_world->setValue("NAV CDI:1", 63.5, "number"));
    QVERIFY(m_world->setValue("GENERAL ENG THROTTLE LEVER POSITION:1", 0.42, "percent over 100"));
    QVERIFY(m_world->setValue("AMBIENT VISIBILITY", 5, "nautical miles"));
    QTRY_VERIFY_WITH_TIMEOUT(near(backend->aircraftData().vs, 750, 1e-6) && backend->aircraftData().parkBrake == 100 &&
                                 near(backend->aircraftData().vis, 9260, 0.1),
                             3000);
    const AircraftData data = backend->aircraftData();
    QVERIFY(near(data.egt[0], (1200 - 32) * 5.0 / 9.0, 1e-6));
    QCOMPARE(data.loc, 1.25);
    QVERIFY(near(data.thr1, 42, 1e-9));
    QCOMPARE(data.engCnt, 2);
    QVERIFY(data.engRun[0]);
    // Weight: empty + fuel at 6.7 lb/gal + payload, in kilograms.
    const double pounds = *m_world->value("TOTAL WEIGHT", "pounds");
    QVERIFY(near(data.totalWt, pounds * 0.45359237, 0.5));
    QVERIFY(near(data.lat, 31.14, 0.2));
    QVERIFY(hasPlausiblePosition(data));
    QCOMPARE(data.com1, 118.8);
}

void TestSimConnectBackend::openFailsWhenSimulatorNotRunning()
{
    auto backend = makeBackend(SimType::Msfs2024);
    m_world->setRunning(false);
    QSignalSpy failed(backend.get(), &ISimBackend::connectionFailed);
    QSignalSpy lost(backend.get(), &ISimBackend::disconnected);
    QVERIFY(!backend->connect());
    QVERIFY(failed.wait(2000));
    QCOMPARE(lost.count(), 1); // so the manager's reconnect cycle takes over
    QVERIFY(failed.first().first().toString().contains("not running"));
    QVERIFY(!backend->isConnected());
}

void TestSimConnectBackend::tankLayoutAndContents()
{
    auto backend = makeBackend(SimType::Msfs2024);
    QSignalSpy layout(backend.get(), &ISimBackend::fuelConfigChanged);
    QSignalSpy contents(backend.get(), &ISimBackend::tankQuantitiesReceived);
    QVERIFY(connectBackend(*backend));
    QTRY_VERIFY_WITH_TIMEOUT(!layout.isEmpty(), 3000);
    // Left main 1800, centre 2200, right main 1800 gallons, by tank position.
    QCOMPARE(layout.first().at(0).toDouble(), 5800 * kFuelConfigPoundsPerGallon);
    const auto ratios = layout.first().at(1).value<QList<double>>();
    QCOMPARE(ratios.size(), 7);
    QVERIFY(near(ratios[0], 1800.0 / 5800, 1e-12));
    QVERIFY(near(ratios[3], 2200.0 / 5800, 1e-12));
    QCOMPARE(ratios[1], 0.0);
    QTRY_VERIFY_WITH_TIMEOUT(!contents.isEmpty(), 3000);
    const auto gallons = contents.last().first().value<QList<double>>();
    QCOMPARE(gallons.size(), 7);
    QVERIFY(near(gallons[3], 2200 * 0.6, 5));
    // Only a different layout (another aircraft) is announced again.
    QVERIFY(m_world->setValue("FUEL TANK CENTER QUANTITY", 100, "gallons"));
    QTRY_VERIFY_WITH_TIMEOUT(near(contents.last().first().value<QList<double>>().value(3), 100, 1), 3000);
    QCOMPARE(layout.count(), 1);
}

void TestSimConnectBackend::trafficWithoutTheUserAircraft()
{
    auto backend = makeBackend(SimType::Msfs2020);
    QSignalSpy traffic(backend.get(), &ISimBackend::aiAircraftUpdated);
    QVERIFY(connectBackend(*backend));
    QVERIFY(traffic.wait(3000));
    const auto aircraft = traffic.last().first().value<QList<AiAircraft>>();
    QCOMPARE(aircraft.size(), m_world->trafficCount());
    QCOMPARE(aircraft[0].callsign, QStringLiteral("CSN 3504")); // airline and flight number
    QCOMPARE(aircraft[0].registration, QStringLiteral("B-1234"));
    QCOMPARE(aircraft[0].aircraftType, QStringLiteral("B738"));
    QCOMPARE(aircraft[1].callsign, QStringLiteral("B-5678")); // no flight number: the ATC id
    for (const AiAircraft &a : aircraft)
        QVERIFY(a.callsign != QLatin1String("CES 5101")); // the user's own aircraft is not traffic
}

void TestSimConnectBackend::positionGoesOutInFeet()
{
    auto backend = makeBackend(SimType::Msfs2020);
    QVERIFY(connectBackend(*backend));
    backend->setPosition(22.308, 113.918, 100.0, 0, 0, 73.0, true, 0);
    QTRY_VERIFY_WITH_TIMEOUT(m_world->lastInitPosition().lat == 22.308, 3000);
    const simconnect::InitPosition sent = m_world->lastInitPosition();
    QVERIFY(near(sent.altFt, 328.084, 1e-9));
    QCOMPARE(sent.heading, 73.0);
    QCOMPARE(sent.onGround, 1u);
    QTRY_VERIFY_WITH_TIMEOUT(near(backend->aircraftData().lat, 22.308, 1e-6) && backend->aircraftData().onGround, 3000);
    QVERIFY(near(backend->aircraftData().hdgTrue, 73.0, 1e-6));
    QVERIFY(near(backend->aircraftData().alt, 328.084, 1e-6));
}

void TestSimConnectBackend::pauseFreezeAndSystemEvents()
{
    auto backend = makeBackend(SimType::Prepar3D);
    QSignalSpy events(backend.get(), &ISimBackend::eventReceived);
    QVERIFY(!backend->setPaused(true)); // not connected: nothing to send it on
    QVERIFY(connectBackend(*backend));
    QVERIFY(backend->setPaused(true));
    QTRY_VERIFY_WITH_TIMEOUT(m_world->isPaused(), 3000);
    QTRY_VERIFY_WITH_TIMEOUT(
        std::any_of(events.cbegin(), events.cend(), [](const QList<QVariant> &e) { return e.first() == "Pause"; }),
        3000);
    QVERIFY(backend->session()->isPaused());
    // A paused simulator sends no new positions, but the link stays up.
    const double lat = backend->aircraftData().lat;
    QTest::qWait(300);
    QCOMPARE(backend->aircraftData().lat, lat);
    QVERIFY(backend->isConnected());
    QVERIFY(backend->setFrozen(true, false));
    QVERIFY(backend->setPaused(false));
    QTRY_VERIFY_WITH_TIMEOUT(!m_world->isPaused() && *m_world->value("IS LATITUDE LONGITUDE FREEZE ON", "bool") == 1,
                             3000);
    QCOMPARE(*m_world->value("IS ALTITUDE FREEZE ON", "bool"), 1.0);
    QCOMPARE(*m_world->value("IS ATTITUDE FREEZE ON", "bool"), 0.0);
    // Frozen in position: the heading still turns, the latitude stays.
    QTest::qWait(300);
    QVERIFY(near(*m_world->value("PLANE LATITUDE", "degrees"), lat, 1e-9));
}

void TestSimConnectBackend::radioEventsInTheSimulatorsForm_data()
{
    QTest::addColumn<SimType>("kind");
    QTest::addColumn<QString>("event");
    QTest::addColumn<QString>("sentEvent");
    QTest::addColumn<quint32>("sentData");
    QTest::newRow("MSFS 2020 COM1") << SimType::Msfs2020 << "COM_RADIO_SET"
                                    << "COM_RADIO_SET_HZ" << quint32(121500000);
    QTest::newRow("MSFS 2024 COM1") << SimType::Msfs2024 << "COM_RADIO_SET_HZ"
                                    << "COM_RADIO_SET_HZ" << quint32(121500000);
    QTest::newRow("Prepar3D COM1") << SimType::Prepar3D << "COM_RADIO_SET_HZ"
                                   << "COM_RADIO_SET" << quint32(0x2150);
    QTest::newRow("FSX COM1") << SimType::Fsx << "COM_RADIO_SET"
                              << "COM_RADIO_SET" << quint32(0x2150);
}

void TestSimConnectBackend::radioEventsInTheSimulatorsForm()
{
    QFETCH(SimType, kind);
    QFETCH(QString, event);
    QFETCH(QString, sentEvent);
    QFETCH(quint32, sentData);
    auto backend = makeBackend(kind);
    QVERIFY(connectBackend(*backend));
    SimOperationDispatcher dispatcher;
    dispatcher.setLocalBackend(backend.get());
    dispatcher.setFrequency(QStringLiteral("COM"), event, QStringLiteral("sim/cockpit/radios/com1_freq_hz"), 121.5);
    QTRY_VERIFY_WITH_TIMEOUT(!m_world->journalOf("TransmitClientEvent").isEmpty(), 3000);
    const FakeSimWorld::Entry sent = m_world->journalOf("TransmitClientEvent").last();
    QCOMPARE(sent.subject, sentEvent);
    QCOMPARE(sent.data, sentData);
    QTRY_COMPARE_WITH_TIMEOUT(backend->aircraftData().com1, 121.5, 3000);
}

void TestSimConnectBackend::weatherByKind_data()
{
    QTest::addColumn<SimType>("kind");
    QTest::addColumn<bool>("available");
    QTest::newRow("MSFS 2020") << SimType::Msfs2020 << false;
    QTest::newRow("MSFS 2024") << SimType::Msfs2024 << false;
    QTest::newRow("Prepar3D") << SimType::Prepar3D << true;
    QTest::newRow("FSX") << SimType::Fsx << true;
}

void TestSimConnectBackend::weatherByKind()
{
    QFETCH(SimType, kind);
    QFETCH(bool, available);
    auto backend = makeBackend(kind);
    QVERIFY(connectBackend(*backend));
    WeatherState weather;
    weather.windDirDeg = 272;
    weather.windSpeedKt = 14;
    weather.visibilityM = 4000;
    weather.temperatureC = -3;
    weather.dewpointC = -5;
    weather.qnhHpa = 1002;
    if (!available)
        testlog::expectLogged("SimConnect", "Weather injection is not available on MSFS 20\\d\\d");
    QCOMPARE(backend->setWeather(weather), available);
    if (!available) {
        // Said once, and nothing reaches the simulator.
        QVERIFY(!backend->setWeather(weather));
        QTest::qWait(100);
        QVERIFY(m_world->journalOf("WeatherSetObservation").isEmpty());
        return;
    }
    QTRY_VERIFY_WITH_TIMEOUT(!m_world->journalOf("WeatherSetObservation").isEmpty(), 3000);
    QVERIFY(m_world->journalOf("WeatherSetObservation").first().subject.startsWith("GLOB "));
    QCOMPARE(m_world->journalOf("WeatherSetModeGlobal").size(), 1);
    // The simulator read the observation (a METAR gives the wind in tens of degrees): the sample
    // reports the new surface weather.
    QTRY_VERIFY_WITH_TIMEOUT(backend->aircraftData().windDir == 270 && backend->aircraftData().windSpd == 14, 3000);
    QCOMPARE(backend->aircraftData().vis, 4000.0);
    QCOMPARE(backend->aircraftData().ambTemp, -3.0);
    QCOMPARE(backend->aircraftData().baroSea, 1002.0);
}

void TestSimConnectBackend::refusedNamesReportedOnceAndNotResent()
{
    auto backend = makeBackend(SimType::Msfs2020);
    QVERIFY(connectBackend(*backend));
    // An X-Plane failure key is no SimConnect variable: not sent, said once.
    QVERIFY(!backend->canSetData("XPlaneFailureOtto"));
    testlog::expectLogged("SimConnect", "XPlaneFailureOtto is not available on MSFS 2020");
    backend->setData("XPlaneFailureOtto", 6.0);
    backend->setData("XPlaneFailureOtto", 0.0);
    // A name the simulator does not know is refused by it once, then not sent again.
    testlog::expectLogged("SimConnect",
                          "variable NO SUCH VARIABLE is not available on MSFS 2020 \\(NAME_UNRECOGNIZED\\)");
    backend->setData("NO SUCH VARIABLE", 1.0, "feet");
    QTRY_VERIFY_WITH_TIMEOUT(!backend->canSetData("NO SUCH VARIABLE"), 3000);
    const int definitions = m_world->journalOf("AddToDataDefinition").size();
    backend->setData("NO SUCH VARIABLE", 2.0, "feet");
    testlog::expectLogged("SimConnect", "event NO_SUCH_EVENT is not available on MSFS 2020");
    backend->transmitEvent("NO_SUCH_EVENT", 1);
    QTest::qWait(100);
    backend->transmitEvent("NO_SUCH_EVENT", 1);
    QTest::qWait(100);
    QCOMPARE(m_world->journalOf("AddToDataDefinition").size(), definitions);
    QCOMPARE(m_world->journalOf("MapClientEventToSimEvent").size(), 1);
    for (const FakeSimWorld::Entry &entry : m_world->journal())
        QVERIFY(entry.subject != QLatin1String("XPlaneFailureOtto"));
    QVERIFY(backend->isConnected());
}

void TestSimConnectBackend::tugHeadingFallsBackToTheOtherName()
{
    // FSX and Prepar3D know KEY_TUG_HEADING; the fake MSFS knows only the documented TUG_HEADING.
    auto backend = makeBackend(SimType::Msfs2020);
    QVERIFY(connectBackend(*backend));
    backend->transmitEvent("KEY_TUG_HEADING", 0x20000000); // 45 degrees: refused by this simulator
    QTest::qWait(200);
    QCOMPARE(m_world->tugHeadingDeg(), -1.0);
    backend->transmitEvent("KEY_TUG_HEADING", 0x40000000); // 90 degrees, under the other name
    QTRY_COMPARE_WITH_TIMEOUT(m_world->tugHeadingDeg(), 90.0, 3000);
    const QList<FakeSimWorld::Entry> sent = m_world->journalOf("TransmitClientEvent");
    QCOMPARE(sent.last().subject, QStringLiteral("TUG_HEADING"));
    QVERIFY(backend->isConnected());
}

void TestSimConnectBackend::exceptionsNameTheFailedCall_data()
{
    QTest::addColumn<QString>("function");
    QTest::addColumn<QString>("logged");
    QTest::newRow("set data") << "SetDataOnSimObject"
                              << "refused PAYLOAD STATION WEIGHT:1 \\(DATA_ERROR\\)";
    QTest::newRow("event") << "TransmitClientEvent"
                           << "refused PARKING_BRAKES \\(DATA_ERROR\\)";
    QTest::newRow("camera") << "CameraSetRelative6DOF"
                            << "refused camera \\(DATA_ERROR\\)";
}

void TestSimConnectBackend::exceptionsNameTheFailedCall()
{
    QFETCH(QString, function);
    QFETCH(QString, logged);
    auto backend = makeBackend(SimType::Prepar3D);
    QVERIFY(connectBackend(*backend));
    // Other calls in flight around the failing one must not take the blame.
    backend->setData("PAYLOAD STATION WEIGHT:2", 100, "pounds");
    m_world->failNext(function, simconnect::ExceptionCode::DataError);
    testlog::expectLogged("SimConnect", logged);
    if (function == QLatin1String("SetDataOnSimObject"))
        backend->setData("PAYLOAD STATION WEIGHT:1", 500, "pounds");
    else if (function == QLatin1String("TransmitClientEvent"))
        backend->transmitEvent("PARKING_BRAKES", 1);
    else
        backend->setCameraRelative6DOF(0, 1, -2, 0, 0, 30);
    backend->setData("PAYLOAD STATION WEIGHT:3", 300, "pounds");
    QTest::qWait(200);
    QVERIFY(backend->isConnected());
    QCOMPARE(*m_world->value("PAYLOAD STATION WEIGHT:3", "pounds"), 300.0);
}

void TestSimConnectBackend::oneShotReadInRequestedUnits()
{
    auto backend = makeBackend(SimType::Msfs2020);
    QVERIFY(connectBackend(*backend));
    QSignalSpy values(backend.get(), &ISimBackend::simVarValueReceived);
    backend->requestSimVarOnce("FUEL TANK CENTER CAPACITY", "liters", 17);
    testlog::expectLogged("SimConnect", "BOGUS VAR");
    backend->requestSimVarOnce("BOGUS VAR", "feet", 18);
    QTRY_COMPARE_WITH_TIMEOUT(values.count(), 2, 3000);
    QHash<int, double> byId;
    for (const auto &v : values)
        byId.insert(v.at(0).toInt(), v.at(1).toDouble());
    QVERIFY(near(byId.value(17), 2200 / 0.264172052, 0.01));
    QCOMPARE(byId.value(18), 0.0);
}

void TestSimConnectBackend::flightPlanLoad()
{
    auto backend = makeBackend(SimType::Fsx);
    QVERIFY(connectBackend(*backend));
    QTemporaryDir dir;
    const QString plan = dir.filePath("ZSPD-ZBAA.pln");
    QFile file(plan);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("<?xml version=\"1.0\"?><SimBase.Document><FlightPlan.FlightPlan/></SimBase.Document>");
    file.close();
    backend->loadFlightPlan(plan);
    QTRY_COMPARE_WITH_TIMEOUT(m_world->loadedFlightPlan(), plan, 3000);
    testlog::expectLogged("SimConnect", "could not load the flight plan .*missing.pln \\(LOAD_FLIGHTPLAN_FAILED\\)");
    backend->loadFlightPlan(dir.filePath("missing.pln"));
    QTest::qWait(200);
    QCOMPARE(m_world->loadedFlightPlan(), plan);
}

void TestSimConnectBackend::lossNoticed_data()
{
    QTest::addColumn<int>("how"); // 0 quit, 1 crash, 2 hang
    QTest::newRow("simulator quits") << 0;
    QTest::newRow("link breaks") << 1;
    QTest::newRow("simulator hangs") << 2;
}

void TestSimConnectBackend::lossNoticed()
{
    QFETCH(int, how);
    auto backend = makeBackend(SimType::Msfs2024);
    QVERIFY(connectBackend(*backend));
    QSignalSpy lost(backend.get(), &ISimBackend::disconnected);
    if (how == 0)
        m_world->quit();
    else if (how == 1)
        m_world->crash();
    else
        m_world->setSilent(true);
    QVERIFY(lost.wait(3000));
    QCOMPARE(lost.count(), 1);
    QVERIFY(!backend->isConnected());
    // A later connect() finds the simulator again once it runs.
    m_world->setSilent(false);
    m_world->setRunning(true);
    QVERIFY(connectBackend(*backend));
}

void TestSimConnectBackend::managerReconnectsAfterRestart()
{
    QTemporaryDir dir;
    const QString ini = dir.filePath("Zobrel.ini");
    QSettings(ini, QSettings::IniFormat).setValue("autoConnect", false);
    SimBackendManager::Timings timings;
    timings.detectIntervalMs = 100;
    timings.reconnectIntervalMs = 150;
    m_world = std::make_unique<FakeSimWorld>(SimType::Msfs2020);
    SimBackendManager manager(
        ini, timings, [] { return QString(); }, dir.path());
    int ports = 0;
    manager.setSimConnectPortFactory([this, &ports](SimType) {
        ++ports;
        return std::make_unique<FakeSimConnect>(m_world.get());
    });
    QSignalSpy changed(&manager, &SimBackendManager::backendChanged);
    manager.connectTo(SimType::Msfs2020);
    QTRY_VERIFY_WITH_TIMEOUT(manager.isConnected(), 3000);
    QCOMPARE(QSettings(ini, QSettings::IniFormat).value("lastSimType").toString(), QStringLiteral("msfs2020"));

    // The simulator quits and is started again a little later.
    m_world->quit();
    QTRY_VERIFY_WITH_TIMEOUT(!manager.isConnected(), 3000);
    QTest::qWait(400); // reconnect attempts fail meanwhile
    QVERIFY(!manager.isConnected());
    m_world->setRunning(true);
    QTRY_VERIFY_WITH_TIMEOUT(manager.isConnected(), 3000);
    QVERIFY(ports >= 2);
    QSignalSpy samples(&manager, &SimBackendManager::aircraftDataChanged);
    QVERIFY(samples.wait(3000));
    QCOMPARE(manager.currentSimType(), SimType::Msfs2020);
    manager.disconnect();
}

QTEST_MAIN(TestSimConnectBackend)
#include "tst_simconnectbackend.moc"
