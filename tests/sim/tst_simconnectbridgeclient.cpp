#include "app/log/applogger.h"
#include "sim/simconnectbridgeclient.h"
#include "tests/support/logexpect.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStringDecoder>
#include <QStringEncoder>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <functional>
#include <memory>

using ClientAction = std::function<void(SimConnectBridgeClient &)>;
using SampleGetter = std::function<double(const AircraftData &)>;
Q_DECLARE_METATYPE(ClientAction)
Q_DECLARE_METATYPE(SampleGetter)

// The fake helper is a QTcpServer on 127.0.0.1; m_peer is its end of the client's connection.
class TestSimConnectBridgeClient : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void greetingSelectsSimulator_data();
    void greetingSelectsSimulator();
    void dataConversions_data();
    void dataConversions();
    void linesSplitAndMergedAcrossReads();
    void unusableLinesDroppedLinkKept_data();
    void unusableLinesDroppedLinkKept();
    void overlongLineDroppedWhole();
    void floodKeepsMemoryBounded();
    void localCodePageLineUnderstood_data();
    void localCodePageLineUnderstood();
    void impossiblePositionsDropped_data();
    void impossiblePositionsDropped();
    void fuelConfig_data();
    void fuelConfig();
    void outgoingCommands_data();
    void outgoingCommands();
    void weatherGoesOutAsGlobalMetar();
    void requestSimVarOnceAnswersZeroAndSendsNothing();
    void commandsBeforeConnectionDropped();
    void refusedConnectionRetriedThenGivenUp();
    void helperListeningDuringRetriesGetsConnected();
    void helperDisconnectedMessageKeepsLink();
    void helperClosingSocketEmitsDisconnectedOnce();
    void clientDisconnectClosesLink();

private:
    bool openLink();
    bool greet(const QByteArray &app);
    void send(const QByteArray &bytes);
    QByteArray nextLine();

    std::unique_ptr<QTcpServer> m_server;
    std::unique_ptr<SimConnectBridgeClient> m_client;
    QTcpSocket *m_peer = nullptr;
};

void TestSimConnectBridgeClient::init()
{
    QTest::failOnWarning(QRegularExpression(".*"));
    testlog::failOnLoggedProblems();
    m_server = std::make_unique<QTcpServer>();
    QVERIFY(m_server->listen(QHostAddress::LocalHost, 0));
    m_client = std::make_unique<SimConnectBridgeClient>(m_server->serverPort());
    m_peer = nullptr;
}

void TestSimConnectBridgeClient::cleanup()
{
    m_client.reset();
    m_server.reset();
}

bool TestSimConnectBridgeClient::openLink()
{
    QSignalSpy accepted(m_server.get(), &QTcpServer::newConnection);
    m_client->connect();
    if (!accepted.wait(5000))
        return false;
    m_peer = m_server->nextPendingConnection();
    return m_peer != nullptr;
}

bool TestSimConnectBridgeClient::greet(const QByteArray &app)
{
    QSignalSpy connected(m_client.get(), &ISimBackend::connected);
    send("{\"type\":\"connected\",\"app\":\"" + app + "\"}\n");
    return connected.wait(5000) && m_client->isConnected();
}

void TestSimConnectBridgeClient::send(const QByteArray &bytes)
{
    m_peer->write(bytes);
    m_peer->flush();
}

QByteArray TestSimConnectBridgeClient::nextLine()
{
    if (!QTest::qWaitFor([this] { return m_peer->canReadLine(); }, 5000))
        return {};
    return m_peer->readLine();
}

void TestSimConnectBridgeClient::greetingSelectsSimulator_data()
{
    QTest::addColumn<QByteArray>("app");
    QTest::addColumn<SimType>("expected");
    QTest::newRow("Prepar3D") << QByteArray("Lockheed Martin Prepar3D v5") << SimType::Prepar3D;
    QTest::newRow("both names") << QByteArray("Prepar3D (Microsoft Flight Simulator ESP)") << SimType::Prepar3D;
    QTest::newRow("Flight Simulator") << QByteArray("Microsoft Flight Simulator X") << SimType::Fsx;
    QTest::newRow("FSX") << QByteArray("FSX Steam Edition") << SimType::Fsx;
    QTest::newRow("empty") << QByteArray() << SimType::Prepar3D;
    QTest::newRow("unknown") << QByteArray("SimConnect Server") << SimType::Prepar3D;
}

void TestSimConnectBridgeClient::greetingSelectsSimulator()
{
    QFETCH(QByteArray, app);
    QFETCH(SimType, expected);
    QVERIFY(openLink());
    QSignalSpy samples(m_client.get(), &ISimBackend::aircraftDataChanged);
    send("{\"type\":\"data\",\"lat\":12.5,\"gForce\":2.5}\n");
    QVERIFY(samples.wait(5000));

    QVERIFY(greet(app));
    QCOMPARE(int(m_client->simType()), int(expected));
    // The greeting starts a fresh sample.
    QCOMPARE(m_client->aircraftData().lat, 0.0);
    QCOMPARE(m_client->aircraftData().gForce, 1.0);
    const AppLogger::Entry entry = AppLogger::instance().recentEntries(1).value(0);
    QCOMPARE(entry.category, QStringLiteral("SimConnectBridge"));
    QCOMPARE(entry.level, AppLogger::Info);
    QCOMPARE(entry.message, QStringLiteral("SimConnect connected: ") + QString::fromUtf8(app));
}

void TestSimConnectBridgeClient::dataConversions_data()
{
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<double>("sent");
    QTest::addColumn<SampleGetter>("member");
    QTest::addColumn<double>("expected");
    auto row = [](const char *name, const char *key, double sent, double expected, SampleGetter member) {
        QTest::newRow(name) << QByteArray(key) << sent << member << expected;
    };
    row("vs ft/s to ft/min", "vs", 10, 600, [](const AircraftData &d) { return d.vs; });
    row("onGround 0", "onGround", 0.0, 0, [](const AircraftData &d) { return double(d.onGround); });
    row("onGround 0.01", "onGround", 0.01, 1, [](const AircraftData &d) { return double(d.onGround); });
    row("gear partly out", "gear", 0.5, 1, [](const AircraftData &d) { return double(d.gear); });
    row("apAppr negative", "apAppr", -1, 0, [](const AircraftData &d) { return double(d.apAppr); });
    row("engRun1", "engRun1", 1, 1, [](const AircraftData &d) { return double(d.engRun[0]); });
    row("flaps truncated", "flaps", 37.9, 37, [](const AircraftData &d) { return double(d.flaps); });
    row("parkBrake position to percent", "parkBrake", 0.999, 99,
        [](const AircraftData &d) { return double(d.parkBrake); });
    row("engType truncated", "engType", 1.7, 1, [](const AircraftData &d) { return double(d.engType); });
    row("engCnt truncated", "engCnt", 2.9, 2, [](const AircraftData &d) { return double(d.engCnt); });
    row("engCnt at most 4", "engCnt", 8, 4, [](const AircraftData &d) { return double(d.engCnt); });
    row("engN1_1", "engN1_1", 88.5, 88.5, [](const AircraftData &d) { return d.engN1[0]; });
    row("engN1_2", "engN1_2", 21.25, 21.25, [](const AircraftData &d) { return d.engN1[1]; });
    // 650 deg C = 923.15 K = 1661.67 deg R; 61000 lb = 27669.1 kg.
    row("egt_1 Rankine to Celsius", "egt_1", 1661.67, 650, [](const AircraftData &d) { return d.egt[0]; });
    row("egt_2 at freezing", "egt_2", 491.67, 0, [](const AircraftData &d) { return d.egt[1]; });
    row("totalWt pounds to kilograms", "totalWt", 61000, 27669.13457, [](const AircraftData &d) { return d.totalWt; });
    row("loc full scale right", "loc", 127, 2.5, [](const AircraftData &d) { return d.loc; });
    row("loc half scale left", "loc", -63.5, -1.25, [](const AircraftData &d) { return d.loc; });
    row("thr1 already percent", "thr1", 85, 85, [](const AircraftData &d) { return d.thr1; });
    row("spoiler already percent", "spoiler", 40, 40, [](const AircraftData &d) { return d.spoiler; });
    row("ff_2", "ff_2", 310.5, 310.5, [](const AircraftData &d) { return d.ff[1]; });
    row("lat", "lat", 31.197875123456, 31.197875123456, [](const AircraftData &d) { return d.lat; });
    row("altAGL", "altAGL", 1234.5, 1234.5, [](const AircraftData &d) { return d.altAGL; });
    row("nav2s", "nav2s", 113.9, 113.9, [](const AircraftData &d) { return d.nav2s; });
    row("xpdr", "xpdr", 7000, 7000, [](const AircraftData &d) { return d.xpdr; });
    row("baro", "baro", 1013.25, 1013.25, [](const AircraftData &d) { return d.baro; });
}

void TestSimConnectBridgeClient::dataConversions()
{
    QFETCH(QByteArray, key);
    QFETCH(double, sent);
    QFETCH(SampleGetter, member);
    QFETCH(double, expected);
    QVERIFY(openLink());
    QVERIFY(greet("Prepar3D"));
    QSignalSpy samples(m_client.get(), &ISimBackend::aircraftDataChanged);
    const QJsonObject message{{"type", "data"}, {QString::fromLatin1(key), sent}};
    send(QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n');
    QVERIFY(samples.wait(5000));
    QVERIFY2(std::abs(member(samples.at(0).at(0).value<AircraftData>()) - expected) <=
                 1e-6 * std::max(1.0, std::abs(expected)),
             qPrintable(QString::number(member(samples.at(0).at(0).value<AircraftData>()), 'g', 12)));
    QCOMPARE(member(m_client->aircraftData()), member(samples.at(0).at(0).value<AircraftData>()));
    // Keys the message left out keep the greeting's values.
    if (key != "gForce")
        QCOMPARE(m_client->aircraftData().gForce, 1.0);
}

void TestSimConnectBridgeClient::linesSplitAndMergedAcrossReads()
{
    QVERIFY(openLink());
    QVERIFY(greet("Prepar3D"));
    QSignalSpy samples(m_client.get(), &ISimBackend::aircraftDataChanged);
    auto latAt = [&samples](int i) { return samples.at(i).at(0).value<AircraftData>().lat; };

    send("{\"type\":\"data\",\"lat\":1}\r\n{\"type\":\"data\",\"lat\":2}\n{\"type\":\"da");
    QTRY_COMPARE_WITH_TIMEOUT(samples.count(), 2, 5000);
    send("ta\",\"lat\":3}");
    send("\n{\"type\":\"data\",\"lat\":4}\n");
    QTRY_COMPARE_WITH_TIMEOUT(samples.count(), 4, 5000);
    QCOMPARE(latAt(0), 1.0);
    QCOMPARE(latAt(1), 2.0);
    QCOMPARE(latAt(2), 3.0);
    QCOMPARE(latAt(3), 4.0);
}

void TestSimConnectBridgeClient::unusableLinesDroppedLinkKept_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("garbage") << QByteArray("garbage");
    QTest::newRow("empty") << QByteArray("");
    QTest::newRow("blanks") << QByteArray(" \t ");
    QTest::newRow("cut object") << QByteArray("{\"type\":\"data\",\"lat\":");
    QTest::newRow("array") << QByteArray("[1,2,3]");
    QTest::newRow("binary") << QByteArray("\xff\xfe\x01\x02", 4);
    QTest::newRow("error message") << QByteArray("{\"type\":\"error\",\"message\":\"SIMCONNECT_EXCEPTION_ERROR\"}");
    QTest::newRow("unknown type") << QByteArray("{\"type\":\"traffic\"}");
}

void TestSimConnectBridgeClient::unusableLinesDroppedLinkKept()
{
    QFETCH(QByteArray, line);
    QVERIFY(openLink());
    QVERIFY(greet("Prepar3D"));
    const int logEntries = AppLogger::instance().recentEntries(AppLogger::kMaxEntries).size();
    QSignalSpy samples(m_client.get(), &ISimBackend::aircraftDataChanged);
    QSignalSpy lost(m_client.get(), &ISimBackend::disconnected);

    send(line + "\n{\"type\":\"data\",\"lat\":5}\n");
    QVERIFY(samples.wait(5000));
    QCOMPARE(samples.count(), 1);
    QCOMPARE(samples.at(0).at(0).value<AircraftData>().lat, 5.0);
    QCOMPARE(lost.count(), 0);
    QVERIFY(m_client->isConnected());
    QCOMPARE(AppLogger::instance().recentEntries(AppLogger::kMaxEntries).size(), logEntries);
}

void TestSimConnectBridgeClient::overlongLineDroppedWhole()
{
    QVERIFY(openLink());
    QVERIFY(greet("Prepar3D"));
    QSignalSpy samples(m_client.get(), &ISimBackend::aircraftDataChanged);
    QSignalSpy lost(m_client.get(), &ISimBackend::disconnected);
    // A line past the cap, given time to be read, then a message on the same line: the message is
    // the tail of the overlong line and must not be taken for a line of its own.
    send(QByteArray(1024 * 1024 + 1, 'x'));
    QTest::qWait(300);
    send("{\"type\":\"disconnected\"}\n{\"type\":\"data\",\"lat\":5}\n");
    QVERIFY(samples.wait(5000));
    QCOMPARE(samples.count(), 1);
    QCOMPARE(samples.at(0).at(0).value<AircraftData>().lat, 5.0);
    QCOMPARE(lost.count(), 0);
    QVERIFY(m_client->isConnected());
}

namespace {

// Peak resident memory of this process in kB (Linux), 0 where it cannot be read.
qint64 peakResidentKb()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QRegularExpression peak(QStringLiteral("VmHWM:\\s*(\\d+) kB"));
    return peak.match(QString::fromLatin1(status.readAll())).captured(1).toLongLong();
}

// Writes count bytes without a line feed as fast as the link takes them, from its own thread, so
// the station's side sees a flood it does not pace; then one valid line.
class Flooder : public QThread
{
public:
    Flooder(quint16 port, qint64 count) : m_port(port), m_count(count) {}
    void run() override
    {
        QTcpServer server;
        if (!server.listen(QHostAddress::LocalHost, m_port))
            return;
        listening = true;
        if (!server.waitForNewConnection(10000))
            return;
        QTcpSocket *peer = server.nextPendingConnection();
        peer->write("{\"type\":\"connected\",\"app\":\"Prepar3D\"}\n");
        const QByteArray block(1024 * 1024, 'x');
        for (qint64 sent = 0; sent < m_count; sent += block.size()) {
            peer->write(block);
            while (peer->bytesToWrite() > 4 * block.size())
                peer->waitForBytesWritten(1000);
        }
        peer->write("\n{\"type\":\"data\",\"lat\":7}\n");
        while (peer->bytesToWrite() > 0 && peer->waitForBytesWritten(1000)) {
        }
        peer->waitForDisconnected(10000);
    }
    std::atomic<bool> listening{false};

private:
    quint16 m_port;
    qint64 m_count;
};

} // namespace

void TestSimConnectBridgeClient::floodKeepsMemoryBounded()
{
    if (peakResidentKb() == 0)
        QSKIP("No /proc/self/status to read the peak memory from");
    const quint16 port = m_server->serverPort();
    m_server->close();
    Flooder flooder(port, qint64(256) * 1024 * 1024);
    flooder.start();
    QVERIFY(QTest::qWaitFor([&] { return flooder.listening.load(); }, 5000));
    const qint64 before = peakResidentKb();
    QSignalSpy samples(m_client.get(), &ISimBackend::aircraftDataChanged);
    m_client->connect();
    QVERIFY(samples.wait(60000));
    QCOMPARE(samples.last().at(0).value<AircraftData>().lat, 7.0);
    const qint64 grownMb = (peakResidentKb() - before) / 1024;
    m_client->disconnect();
    flooder.wait(10000);
    // The flooder holds at most a few megabytes in flight; the station adds its bounded buffers.
    QVERIFY2(grownMb < 24, qPrintable(QStringLiteral("peak memory grew by %1 MB").arg(grownMb)));
}

void TestSimConnectBridgeClient::localCodePageLineUnderstood_data()
{
    QTest::addColumn<QByteArray>("encoding");
    QTest::addColumn<QString>("app");
    QTest::addColumn<SimType>("expected");
    QTest::newRow("GBK") << QByteArray("GBK") << QStringLiteral("微软 Flight Simulator X 中文版") << SimType::Fsx;
    QTest::newRow("Windows-1252") << QByteArray("Windows-1252") << QStringLiteral("Prepar3D® Académie")
                                  << SimType::Prepar3D;
    QTest::newRow("Latin-1") << QByteArray("ISO-8859-1") << QStringLiteral("FSX Édition") << SimType::Fsx;
}

void TestSimConnectBridgeClient::localCodePageLineUnderstood()
{
    QFETCH(QByteArray, encoding);
    QFETCH(QString, app);
    QFETCH(SimType, expected);
    QStringEncoder encoder(encoding.constData());
    if (!encoder.isValid())
        QSKIP("This Qt build has no converter for the code page");
    const QByteArray line = encoder.encode(QStringLiteral("{\"type\":\"connected\",\"app\":\"%1\"}\n").arg(app));
    QStringDecoder utf8(QStringConverter::Utf8);
    const QString asUtf8 = utf8.decode(line); // decoding is lazy until converted to QString
    QVERIFY2(utf8.hasError(), "the line must not be valid UTF-8 for this check to mean anything");

    QVERIFY(!m_client->setFallbackEncoding("no-such-code-page"));
    QVERIFY(m_client->setFallbackEncoding(encoding));
    QVERIFY(openLink());
    QSignalSpy connected(m_client.get(), &ISimBackend::connected);
    send(line);
    QVERIFY(connected.wait(5000));
    QCOMPARE(int(m_client->simType()), int(expected));
    QCOMPARE(AppLogger::instance().recentEntries(1).value(0).message, QStringLiteral("SimConnect connected: ") + app);
}

void TestSimConnectBridgeClient::impossiblePositionsDropped_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<bool>("logged");
    QTest::newRow("latitude past the pole") << QByteArray(R"({"type":"data","lat":95,"ias":99})") << true;
    QTest::newRow("longitude out of range") << QByteArray(R"({"type":"data","lon":-200,"ias":99})") << true;
    QTest::newRow("altitude 1e30 ft") << QByteArray(R"({"type":"data","alt":1e30,"ias":99})") << true;
    // Beyond the double range the line is not valid JSON for Qt, and is dropped as such.
    QTest::newRow("number beyond double range") << QByteArray(R"({"type":"data","lat":1e400,"ias":99})") << false;
}

void TestSimConnectBridgeClient::impossiblePositionsDropped()
{
    QFETCH(QByteArray, line);
    QFETCH(bool, logged);
    QVERIFY(openLink());
    QVERIFY(greet("Prepar3D"));
    QSignalSpy samples(m_client.get(), &ISimBackend::aircraftDataChanged);
    send("{\"type\":\"data\",\"lat\":31.5,\"lon\":121.25,\"alt\":500,\"ias\":120}\n");
    QVERIFY(samples.wait(5000));
    if (logged)
        testlog::expectLogged(QStringLiteral("SimConnectBridge"), QStringLiteral("impossible position"));
    send(line + "\n{\"type\":\"data\",\"gear\":1}\n");
    QTRY_COMPARE_WITH_TIMEOUT(samples.count(), 2, 5000);
    const AircraftData now = samples.last().at(0).value<AircraftData>();
    QVERIFY(now.gear);
    QCOMPARE(now.lat, 31.5);
    QCOMPARE(now.lon, 121.25);
    QCOMPARE(now.alt, 500.0);
    QCOMPARE(now.ias, 120.0); // the whole sample was dropped, not only its position
}

void TestSimConnectBridgeClient::fuelConfig_data()
{
    QTest::addColumn<QJsonArray>("capacities");
    QTest::addColumn<double>("poundsPerGallon");
    QTest::addColumn<double>("totalLbs");
    QTest::addColumn<QList<double>>("ratios");
    // 250 gal at the signal's 6.6 lb/gal = 1650 lb, whatever density the simulator uses;
    // 100/250 = 0.4, 50/250 = 0.2.
    QTest::newRow("three tanks") << QJsonArray{100, 100, 50} << 6.7 << 1650.0 << QList<double>{0.4, 0.4, 0.2};
    QTest::newRow("one tank") << QJsonArray{26} << 6.0 << 171.6 << QList<double>{1.0};
    QTest::newRow("no tanks") << QJsonArray{} << 6.7 << 0.0 << QList<double>{};
    QTest::newRow("zero capacity") << QJsonArray{0, 0} << 6.7 << 0.0 << QList<double>{0.0, 0.0};
    QTest::newRow("negative capacity counts as none")
        << QJsonArray{-50, 100} << 6.7 << 660.0 << QList<double>{0.0, 1.0};
}

void TestSimConnectBridgeClient::fuelConfig()
{
    QFETCH(QJsonArray, capacities);
    QFETCH(double, poundsPerGallon);
    QFETCH(double, totalLbs);
    QFETCH(QList<double>, ratios);
    QVERIFY(openLink());
    QVERIFY(greet("Prepar3D"));
    QSignalSpy config(m_client.get(), &ISimBackend::fuelConfigChanged);
    const QJsonObject message{{"type", "fuel_config"}, {"tankCap", capacities}, {"tankQty", capacities},
                              {"emptyWt", 12000},      {"maxGrossWt", 20000},   {"fuelWtPerGal", poundsPerGallon}};
    send(QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n');
    QVERIFY(config.wait(5000));
    QCOMPARE(config.at(0).at(0).toDouble(), totalLbs);
    const auto received = config.at(0).at(1).value<QList<double>>();
    QCOMPARE(received.size(), ratios.size());
    for (qsizetype i = 0; i < ratios.size(); ++i)
        QCOMPARE(received.at(i), ratios.at(i));
}

void TestSimConnectBridgeClient::outgoingCommands_data()
{
    QTest::addColumn<ClientAction>("action");
    QTest::addColumn<QByteArray>("expected");
    auto row = [](const char *name, const char *expected, ClientAction action) {
        QTest::newRow(name) << action << QByteArray(expected);
    };
    row("set with units",
        R"({"cmd":"set","var":"GENERAL ENG THROTTLE LEVER POSITION:1","value":75.5,"units":"percent"})",
        [](auto &c) { c.setData("GENERAL ENG THROTTLE LEVER POSITION:1", 75.5, "percent"); });
    row("set without units", R"({"cmd":"set","var":"FUEL TANK LEFT MAIN QUANTITY","value":120,"units":"number"})",
        [](auto &c) { c.setData("FUEL TANK LEFT MAIN QUANTITY", 120); });
    row("set round-trips doubles", R"({"cmd":"set","var":"X","value":0.30000000000000004,"units":"feet"})",
        [](auto &c) { c.setData("X", 0.1 + 0.2, "feet"); });
    row("heading bug", R"({"cmd":"event","name":"HEADING_BUG_SET","data":270})",
        [](auto &c) { c.setData("AUTOPILOT_HEADING_LOCK_DIR", 270, "degrees"); });
    row("heading bug wraps", R"({"cmd":"event","name":"HEADING_BUG_SET","data":270})",
        [](auto &c) { c.setData("AUTOPILOT_HEADING_LOCK_DIR", -90.2); });
    row("event", R"({"cmd":"event","name":"PARKING_BRAKES","data":4294967295})",
        [](auto &c) { c.transmitEvent("PARKING_BRAKES", 4294967295u); });
    row("zoom in", R"({"cmd":"event","name":"ZOOM_IN","data":1})", [](auto &c) { c.cameraZoomIn(); });
    row("zoom out", R"({"cmd":"event","name":"ZOOM_OUT","data":1})", [](auto &c) { c.cameraZoomOut(); });
    row("position",
        R"({"cmd":"position","lat":31.1979,"lon":121.3363,"alt":3.5,"pitch":-2.5,"roll":1.25,"heading":180,)"
        R"("onGround":true,"airspeed":0})",
        [](auto &c) { c.setPosition(31.1979, 121.3363, 3.5, -2.5, 1.25, 180, true, 0); });
    row("camera", R"({"cmd":"camera","dx":0.1,"dy":-1.5,"dz":2,"pitch":10,"bank":0,"heading":-45})",
        [](auto &c) { c.setCameraRelative6DOF(0.1f, -1.5f, 2, 10, 0, -45); });
    row("smooth camera", R"({"cmd":"camera","dx":1,"dy":2,"dz":3,"pitch":4,"bank":5,"heading":6})",
        [](auto &c) { c.setCameraSmoothRelative6DOF(1, 2, 3, 4, 5, 6, 2.5f); });
    row("weather escapes", R"({"cmd":"weather","metar":"METAR \"ZSPD\"\\ 27005KT\t\n"})",
        [](auto &c) { c.setWeatherObservation("METAR \"ZSPD\"\\ 27005KT\t\n"); });
    row("weather request", R"({"cmd":"req_weather","lat":-33.9461,"lon":151.1772})",
        [](auto &c) { c.requestWeatherObservation(-33.9461, 151.1772); });
    row("pause", R"({"cmd":"event","name":"PAUSE_SET","data":1})", [](auto &c) { QVERIFY(c.setPaused(true)); });
    row("freeze position only",
        R"({"cmd":"event","name":"FREEZE_LATITUDE_LONGITUDE_SET","data":1})"
        "\n"
        R"({"cmd":"event","name":"FREEZE_ALTITUDE_SET","data":1})"
        "\n"
        R"({"cmd":"event","name":"FREEZE_ATTITUDE_SET","data":0})",
        [](auto &c) { QVERIFY(c.setFrozen(true, false)); });
    row("load plan", R"({"cmd":"load_plan","name":"C:\\计划\\ZSPD-ZBAA.pln"})",
        [](auto &c) { c.loadFlightPlan(QStringLiteral("C:\\计划\\ZSPD-ZBAA.pln")); });
}

void TestSimConnectBridgeClient::outgoingCommands()
{
    QFETCH(ClientAction, action);
    QFETCH(QByteArray, expected);
    QVERIFY(openLink());
    QVERIFY(greet("Prepar3D"));
    action(*m_client);
    for (const QByteArray &want : expected.split('\n')) {
        const QByteArray line = nextLine();
        QCOMPARE(line, want + '\n');
        QVERIFY(QJsonDocument::fromJson(line).isObject());
    }
}

void TestSimConnectBridgeClient::weatherGoesOutAsGlobalMetar()
{
    QVERIFY(!m_client->setWeather(WeatherState())); // not connected: nothing to carry it
    QVERIFY(openLink());
    QVERIFY(greet("Prepar3D"));
    WeatherState w;
    w.windDirDeg = 272;
    w.windSpeedKt = 14;
    w.qnhHpa = 1002;
    QVERIFY(m_client->setWeather(w));
    const QJsonObject command = QJsonDocument::fromJson(nextLine()).object();
    QCOMPARE(command.value("cmd").toString(), QStringLiteral("weather"));
    const QString metar = command.value("metar").toString();
    QVERIFY2(QRegularExpression(QStringLiteral("^GLOB \\d{6}Z 27014KT 9999 SKC 15/10 Q1002$")).match(metar).hasMatch(),
             qPrintable(metar));
}

void TestSimConnectBridgeClient::requestSimVarOnceAnswersZeroAndSendsNothing()
{
    QVERIFY(openLink());
    QVERIFY(greet("Prepar3D"));
    QSignalSpy values(m_client.get(), &ISimBackend::simVarValueReceived);
    m_client->requestSimVarOnce("FUEL TANK CENTER QUANTITY", "gallons", 7);
    QCOMPARE(values.count(), 1);
    QCOMPARE(values.at(0).at(0).toInt(), 7);
    QCOMPARE(values.at(0).at(1).toDouble(), 0.0);
    m_client->cameraZoomIn();
    QCOMPARE(nextLine(), QByteArray("{\"cmd\":\"event\",\"name\":\"ZOOM_IN\",\"data\":1}\n"));
}

void TestSimConnectBridgeClient::commandsBeforeConnectionDropped()
{
    m_client->setData("X", 1, "feet");
    m_client->transmitEvent("PAUSE_ON", 0);
    m_client->setPosition(1, 2, 3, 4, 5, 6, false, 7);
    m_client->setWeatherObservation("METAR ZBAA");
    QVERIFY(!m_client->setPaused(true));
    QVERIFY(!m_client->setFrozen(true, true));
    QVERIFY(openLink());
    QVERIFY(greet("Prepar3D"));
    m_client->cameraZoomOut();
    QCOMPARE(nextLine(), QByteArray("{\"cmd\":\"event\",\"name\":\"ZOOM_OUT\",\"data\":1}\n"));
}

void TestSimConnectBridgeClient::refusedConnectionRetriedThenGivenUp()
{
    m_server->close(); // its port is now closed, and the client was made for it
    QSignalSpy lost(m_client.get(), &ISimBackend::disconnected);
    QElapsedTimer elapsed;
    elapsed.start();
    m_client->connect();
    QVERIFY(lost.wait(10000));
    const qint64 ms = elapsed.elapsed();
    // The first refusal and ten more, 500 ms apart.
    QVERIFY2(ms >= 5000 && ms < 9000, qPrintable(QString("gave up after %1 ms").arg(ms)));
    QCOMPARE(lost.count(), 1);
    QVERIFY(!m_client->isConnected());
}

void TestSimConnectBridgeClient::helperListeningDuringRetriesGetsConnected()
{
    const quint16 port = m_server->serverPort();
    m_server->close();
    QSignalSpy lost(m_client.get(), &ISimBackend::disconnected);
    QElapsedTimer elapsed;
    elapsed.start();
    // The helper process starts listening only after the client's first attempts were refused.
    QTimer::singleShot(1200, m_server.get(),
                       [this, port] { QVERIFY(m_server->listen(QHostAddress::LocalHost, port)); });
    QVERIFY(openLink());
    QVERIFY(elapsed.elapsed() >= 1200);
    QVERIFY(greet("Prepar3D"));
    QCOMPARE(lost.count(), 0);
}

void TestSimConnectBridgeClient::helperDisconnectedMessageKeepsLink()
{
    QVERIFY(openLink());
    QVERIFY(greet("Prepar3D"));
    QSignalSpy lost(m_client.get(), &ISimBackend::disconnected);
    send("{\"type\":\"disconnected\"}\n");
    QVERIFY(lost.wait(5000));
    QVERIFY(!m_client->isConnected());
    QCOMPARE(m_peer->state(), QAbstractSocket::ConnectedState);

    QVERIFY(greet("Microsoft Flight Simulator X"));
    QCOMPARE(int(m_client->simType()), int(SimType::Fsx));
    m_client->cameraZoomIn();
    QCOMPARE(nextLine(), QByteArray("{\"cmd\":\"event\",\"name\":\"ZOOM_IN\",\"data\":1}\n"));
    QCOMPARE(lost.count(), 1);
}

void TestSimConnectBridgeClient::helperClosingSocketEmitsDisconnectedOnce()
{
    QVERIFY(openLink());
    QVERIFY(greet("Prepar3D"));
    QSignalSpy lost(m_client.get(), &ISimBackend::disconnected);
    m_peer->disconnectFromHost();
    QVERIFY(lost.wait(5000));
    QCOMPARE(lost.count(), 1);
    QVERIFY(!m_client->isConnected());

    // A later connect() reaches a helper that is listening again.
    QVERIFY(openLink());
    QVERIFY(greet("FSX"));
}

void TestSimConnectBridgeClient::clientDisconnectClosesLink()
{
    QVERIFY(openLink());
    QVERIFY(greet("Prepar3D"));
    QSignalSpy lost(m_client.get(), &ISimBackend::disconnected);
    m_client->disconnect();
    QVERIFY(!m_client->isConnected());
    QTRY_COMPARE_WITH_TIMEOUT(lost.count(), 1, 5000);
    QTRY_COMPARE_WITH_TIMEOUT(m_peer->state(), QAbstractSocket::UnconnectedState, 5000);
}

QTEST_GUILESS_MAIN(TestSimConnectBridgeClient)
#include "tst_simconnectbridgeclient.moc"
