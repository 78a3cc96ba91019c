#include "app/log/applogger.h"
#include "sim/simbackendmanager.h"
#include "sim/simconnectbridgeclient.h"
#include "tests/support/logexpect.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <memory>

namespace {

bool near(double a, double b, double tolerance)
{
    return std::abs(a - b) <= tolerance;
}

// A port that was free a moment ago, for the programs that cannot be told to pick one.
quint16 freePort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

} // namespace

// The simconnect-bridge helper as a real process playing the fake simulator, with the station's
// own bridge client on the other end: the greeting names the simulator, samples arrive in the
// record's units, writes reach the simulator (seen in the next samples), bad lines leave it
// working, and it ends when the station goes.
class TestSimConnectBridge : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void greetingNamesTheSimulator_data();
    void greetingNamesTheSimulator();
    void samplesAndFuelLayoutFlow();
    void writesReachTheSimulator();
    void badCommandLinesLeaveItWorking();
    void endsWithTheStation();
    void managerStartsTheHelperForPrepar3D();

private:
    bool startHelper(const QString &sim, double idleSeconds = 5);
    bool connectClient();
    AircraftData sampleWhere(const std::function<bool(const AircraftData &)> &condition);

    std::unique_ptr<QProcess> m_helper;
    std::unique_ptr<SimConnectBridgeClient> m_client;
    quint16 m_port = 0;
    QByteArray m_helperLog;
};

void TestSimConnectBridge::init()
{
    QTest::failOnWarning(QRegularExpression(".*"));
    testlog::failOnLoggedProblems();
}

void TestSimConnectBridge::cleanup()
{
    m_client.reset();
    if (m_helper) {
        if (m_helper->state() != QProcess::NotRunning) {
            m_helper->kill();
            m_helper->waitForFinished(3000);
        }
        m_helper.reset();
    }
}

bool TestSimConnectBridge::startHelper(const QString &sim, double idleSeconds)
{
    m_helper = std::make_unique<QProcess>();
    m_helperLog.clear();
    connect(m_helper.get(), &QProcess::readyReadStandardError, this,
            [this] { m_helperLog += m_helper->readAllStandardError(); });
    m_helper->start(QStringLiteral(SIMCONNECT_BRIDGE_EXECUTABLE),
                    {QStringLiteral("--fake-simconnect"), QStringLiteral("--fake-sim"), sim,
                     QStringLiteral("--idle-exit"), QString::number(idleSeconds), QStringLiteral("0")});
    if (!m_helper->waitForStarted(5000))
        return false;
    // Port 0: the helper picks a free port and says which.
    static const QRegularExpression listening(QStringLiteral("Listening on 127\\.0\\.0\\.1:(\\d+)"));
    if (!QTest::qWaitFor([this] { return listening.match(QString::fromUtf8(m_helperLog)).hasMatch(); }, 5000))
        return false;
    m_port = quint16(listening.match(QString::fromUtf8(m_helperLog)).captured(1).toUInt());
    return m_port != 0;
}

bool TestSimConnectBridge::connectClient()
{
    m_client = std::make_unique<SimConnectBridgeClient>(m_port);
    QSignalSpy connected(m_client.get(), &ISimBackend::connected);
    m_client->connect();
    return connected.wait(5000) && m_client->isConnected();
}

AircraftData TestSimConnectBridge::sampleWhere(const std::function<bool(const AircraftData &)> &condition)
{
    AircraftData found;
    (void)QTest::qWaitFor(
        [&] {
            found = m_client->aircraftData();
            return condition(found);
        },
        5000);
    return found;
}

void TestSimConnectBridge::greetingNamesTheSimulator_data()
{
    QTest::addColumn<QString>("sim");
    QTest::addColumn<SimType>("expected");
    QTest::newRow("Prepar3D") << "p3d" << SimType::Prepar3D;
    QTest::newRow("FSX") << "fsx" << SimType::Fsx;
}

void TestSimConnectBridge::greetingNamesTheSimulator()
{
    QFETCH(QString, sim);
    QFETCH(SimType, expected);
    QVERIFY(startHelper(sim));
    QVERIFY(connectClient());
    QCOMPARE(m_client->simType(), expected);
}

void TestSimConnectBridge::samplesAndFuelLayoutFlow()
{
    QVERIFY(startHelper("p3d"));
    m_client = std::make_unique<SimConnectBridgeClient>(m_port);
    QSignalSpy layout(m_client.get(), &ISimBackend::fuelConfigChanged);
    QSignalSpy samples(m_client.get(), &ISimBackend::aircraftDataChanged);
    m_client->connect();
    QTRY_VERIFY_WITH_TIMEOUT(samples.count() >= 3, 5000);
    const AircraftData data = m_client->aircraftData();
    // The fake circles near Pudong at 2000 ft with its engines at 650 C and 85 % N1.
    QVERIFY(near(data.lat, 31.14, 0.2));
    QVERIFY(near(data.alt, 2000, 1));
    QVERIFY(near(data.egt[0], 650, 0.01)); // sent in Rankine, turned back into Celsius
    QVERIFY(near(data.engN1[1], 85, 1e-6));
    QCOMPARE(data.engCnt, 2);
    QVERIFY(data.totalWt > 40000 && data.totalWt < 80000); // kilograms
    QVERIFY(!data.onGround);
    QTRY_VERIFY_WITH_TIMEOUT(!layout.isEmpty(), 5000);
    QCOMPARE(layout.first().at(0).toDouble(), 5800 * kFuelConfigPoundsPerGallon);
    QCOMPARE(layout.first().at(1).value<QList<double>>().size(), 7);
}

void TestSimConnectBridge::writesReachTheSimulator()
{
    QVERIFY(startHelper("p3d"));
    QVERIFY(connectClient());
    QVERIFY(sampleWhere([](const AircraftData &d) { return d.lat != 0; }).lat != 0);
    const double weightBefore = m_client->aircraftData().totalWt;

    m_client->setPosition(22.308, 113.918, 10.0, 0, 0, 73.0, true, 0); // metres
    m_client->setData("PAYLOAD STATION WEIGHT:1", 1000, "pounds");     // was 3000
    m_client->transmitEvent("COM_STBY_RADIO_SET_HZ", 124850000);       // sent as BCD16 to this simulator
    m_client->setData("AUTOPILOT_HEADING_LOCK_DIR", 95, "degrees");    // goes out as HEADING_BUG_SET
    WeatherState weather;
    weather.windDirDeg = 272;
    weather.windSpeedKt = 14;
    QVERIFY(m_client->setWeather(weather));

    const AircraftData moved = sampleWhere([](const AircraftData &d) {
        return near(d.lat, 22.308, 1e-6) && d.onGround && near(d.com1s, 124.85, 1e-9) && d.apHdg == 95 &&
               d.windDir == 270; // a METAR gives the wind in tens of degrees
    });
    QVERIFY2(near(moved.lat, 22.308, 1e-6), qPrintable(QString::number(moved.lat)));
    QVERIFY(moved.onGround);
    QVERIFY(near(moved.alt, 32.8084, 1e-3)); // metres out, feet back
    QVERIFY(near(moved.com1s, 124.85, 1e-9));
    QCOMPARE(moved.apHdg, 95.0);
    QCOMPARE(moved.windSpd, 14.0);
    QVERIFY(near(moved.totalWt, weightBefore - 2000 * 0.45359237, 50)); // fuel burns meanwhile

    QVERIFY(m_client->setPaused(true));
    QVERIFY(m_client->setFrozen(true, true));
    QTest::qWait(300);
    const double lat = m_client->aircraftData().lat;
    QTest::qWait(300);
    QCOMPARE(m_client->aircraftData().lat, lat);
}

void TestSimConnectBridge::badCommandLinesLeaveItWorking()
{
    QVERIFY(startHelper("fsx"));
    // A raw connection in place of the client: garbage, an overlong line, an unknown command.
    QTcpSocket station;
    station.connectToHost(QHostAddress::LocalHost, m_port);
    QVERIFY(station.waitForConnected(5000));
    QVERIFY(QTest::qWaitFor([&] { return station.canReadLine(); }, 5000));
    QVERIFY(station.readLine().contains("\"connected\""));
    station.write("not json\n");
    // Its tail would pause the simulator if it were taken for a line of its own.
    station.write(QByteArray(200 * 1024, 'x') + "{\"cmd\":\"event\",\"name\":\"PAUSE_ON\",\"data\":1}");
    station.write("\n{\"cmd\":\"teleport\"}\n");
    station.write("{\"cmd\":\"set\",\"var\":\"PLANE ALTITUDE\",\"value\":7777,\"units\":\"feet\"}\n");
    QByteArray received;
    QVERIFY(QTest::qWaitFor(
        [&] {
            received += station.readAll();
            return received.contains("unknown command") && received.contains("\"alt\":7777");
        },
        5000));
    QCOMPARE(m_helper->state(), QProcess::Running);
    // Still flying: the latitude in two data lines apart differs.
    auto latitudeNow = [&station] {
        QByteArray lines;
        (void)QTest::qWaitFor([&] { return (lines += station.readAll()).count('\n') >= 2; }, 3000);
        const QList<QByteArray> complete = lines.left(lines.lastIndexOf('\n')).split('\n');
        return QJsonDocument::fromJson(complete.last()).object().value("lat").toDouble();
    };
    const double first = latitudeNow();
    QTest::qWait(500);
    QVERIFY(latitudeNow() != first);
}

void TestSimConnectBridge::endsWithTheStation()
{
    QVERIFY(startHelper("p3d", 1));
    QVERIFY(connectClient());
    QTest::qWait(1500); // longer than the idle time: a connected station keeps it running
    QCOMPARE(m_helper->state(), QProcess::Running);
    QSignalSpy finished(m_helper.get(), &QProcess::finished);
    m_client.reset(); // the station goes away
    QVERIFY(finished.wait(5000));
    QCOMPARE(m_helper->exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_helper->exitCode(), 0);
}

void TestSimConnectBridge::managerStartsTheHelperForPrepar3D()
{
    QTemporaryDir dir;
    const QString ini = dir.filePath("Zobrel.ini");
    const quint16 port = freePort();
    {
        QSettings settings(ini, QSettings::IniFormat);
        settings.setValue("autoConnect", false);
        settings.setValue("bridgePort", port);
    }
    SimBackendManager::Timings timings;
    timings.reconnectIntervalMs = 500;
    auto manager = std::make_unique<SimBackendManager>(
        ini, timings, [] { return QString(); }, QFileInfo(QStringLiteral(SIMCONNECT_BRIDGE_EXECUTABLE)).path());
    manager->setBridgeHelperExtraArguments([](SimType) {
        return QStringList{"--fake-simconnect", "--fake-sim", "p3d", "--quiet"};
    });
    QSignalSpy samples(manager.get(), &SimBackendManager::aircraftDataChanged);
    manager->connectTo(SimType::Prepar3D);
    QTRY_VERIFY_WITH_TIMEOUT(manager->isConnected(), 8000);
    QCOMPARE(manager->currentSimType(), SimType::Prepar3D);
    QVERIFY(samples.wait(5000));
    QVERIFY(near(manager->aircraftData().lat, 31.14, 0.2));
    // The manager ends the helper it started when it goes.
    QTcpSocket probe;
    manager.reset();
    probe.connectToHost(QHostAddress::LocalHost, port);
    QVERIFY(!probe.waitForConnected(1000));
}

QTEST_GUILESS_MAIN(TestSimConnectBridge)
#include "tst_simconnectbridge.moc"
