// The demo simulator seen from outside: the real zobrel-xpsim process on loopback, driven with
// hand-built X-Plane datagrams, plus its flight model run on its own in simulated time.

#include "xpsimclient.h"

#include "tools/xpsim/datarefstore.h"
#include "tools/xpsim/flightmodel.h"
#include "tools/xpsim/xpbinding.h"

#include <QElapsedTimer>
#include <QHostAddress>
#include <QNetworkDatagram>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSet>
#include <QUdpSocket>
#include <QtEndian>
#include <QtTest>

#include <cmath>
#include <cstring>
#include <iterator>
#include <memory>

using namespace xpsimtest;

namespace {

constexpr int kWaitMs = 5000;

const QString kLat = QStringLiteral("sim/flightmodel/position/latitude");
const QString kLon = QStringLiteral("sim/flightmodel/position/longitude");
const QString kLocalX = QStringLiteral("sim/flightmodel/position/local_x");
const QString kLocalZ = QStringLiteral("sim/flightmodel/position/local_z");

double published(const DatarefStore &store, const QString &path)
{
    return store.value(*DatarefStore::parse(path));
}

} // namespace

class TstXpSim : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void announcesPortAndAnswersAtRequestedRate_data();
    void announcesPortAndAnswersAtRequestedRate();
    void valuesArePlausibleAndChange();
    void unsubscribeStopsOnlyThatIndex();
    void clientsAreServedSeparately();
    void packsAtMost183PairsPerDatagram();
    void drefWriteShowsInLaterReplies_data();
    void drefWriteShowsInLaterReplies();
    void prelRepositions_data();
    void prelRepositions();
    void commandsMoveGearAndFlaps();
    void survivesMalformedDatagrams();
    void refusesPortInUse();
    void timeFactorRunsTheClockFaster();
    void rejectsBadTimeFactor_data();
    void rejectsBadTimeFactor();

    void modelFliesTrafficCircuits();
    void modelFuelBurnMatchesFuelFlow();
    void modelEngineFailureAndRepair();
    void modelAirborneRepositionLandsAhead();
    void modelVectorsTurnToHeadingBug();
    void modelParkingBrakeMeansFullStop();
    void modelLowFuelLandsRefuelsAndDeparts();
    void modelPushbackTurnsWithYawRate();

private:
    bool startSimulator(const QStringList &extraArguments = {});
    std::unique_ptr<SimClient> newClient();

    std::unique_ptr<QProcess> m_process;
    quint16 m_port = 0;
};

void TstXpSim::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}

void TstXpSim::cleanup()
{
    if (!m_process)
        return;
    if (QTest::currentTestFailed())
        qInfo().noquote() << "simulator log:\n" << m_process->readAllStandardError();
    m_process->kill();
    m_process->waitForFinished(5000);
    m_process.reset();
    m_port = 0;
}

bool TstXpSim::startSimulator(const QStringList &extraArguments)
{
    m_process = std::make_unique<QProcess>();
    m_port = startXpSim(*m_process, QStringLiteral(XPSIM_EXECUTABLE), extraArguments);
    return m_port != 0;
}

std::unique_ptr<SimClient> TstXpSim::newClient()
{
    auto client = std::make_unique<SimClient>(m_port);
    return client->bind() ? std::move(client) : nullptr;
}

void TstXpSim::announcesPortAndAnswersAtRequestedRate_data()
{
    QTest::addColumn<int>("hz");
    QTest::newRow("5 Hz") << 5;
    QTest::newRow("20 Hz") << 20;
    QTest::newRow("50 Hz") << 50;
}

void TstXpSim::announcesPortAndAnswersAtRequestedRate()
{
    QFETCH(int, hz);
    QVERIFY(startSimulator());
    auto client = newClient();
    QVERIFY(client);
    client->subscribe(7, kLat, hz);
    QTRY_VERIFY_WITH_TIMEOUT(client->count(7) >= 1, kWaitMs);
    const int first = int(client->replies().size()) - 1;
    // hz further replies should take one second. Several may have come in before first was read.
    QTRY_VERIFY_WITH_TIMEOUT(client->replies().size() > first + hz, kWaitMs);
    const qint64 spanMs = client->replies().at(first + hz).atMs - client->replies().at(first).atMs;
    QVERIFY2(spanMs > 750 && spanMs < 1400, qPrintable(QStringLiteral("%1 replies took %2 ms").arg(hz).arg(spanMs)));
    QCOMPARE(client->problems(), QStringList());
    for (const SimClient::Reply &reply : client->replies())
        QCOMPARE(reply.values.keys(), QList<int>{7});
}

void TstXpSim::valuesArePlausibleAndChange()
{
    QVERIFY(startSimulator());
    auto client = newClient();
    QVERIFY(client);
    struct Expect
    {
        const char *path;
        double low;
        double high;
    };
    const Expect expects[] = {
        {"sim/flightmodel/position/latitude", 31.10, 31.18},
        {"sim/flightmodel/position/longitude", 121.77, 121.85},
        {"sim/flightmodel/position/elevation", 0.0, 600.0},
        {"sim/flightmodel/position/indicated_airspeed", 0.0, 180.0},
        {"sim/flightmodel/engine/ENGN_N1_[0]", 55.0, 102.0},
        {"sim/flightmodel/engine/ENGN_N1_[1]", 55.0, 102.0},
        {"sim/flightmodel/engine/ENGN_N1_[2]", 0.0, 0.0},
        {"sim/flightmodel/engine/ENGN_EGT_c[0]", 400.0, 850.0},
        {"sim/flightmodel/engine/ENGN_running[1]", 1.0, 1.0},
        {"sim/aircraft/engine/acf_num_engines", 2.0, 2.0},
        {"sim/flightmodel/fuel/total_fuel_kgs", 900.0, 1630.0},
        {"sim/flightmodel/weight/m_total", 5000.0, 6800.0},
        {"sim/cockpit/radios/com1_freq_hz", 11800.0, 13697.0},
        {"sim/cockpit/radios/nav1_freq_hz", 10800.0, 11795.0},
        {"sim/weather/temperature_ambient_c", 0.0, 40.0},
        {"sim/weather/barometer_sea", 29.0, 31.0},
        {"sim/weather/visibility_reported_m", 1000.0, 100000.0},
        {"sim/flightmodel/forces/g_nrml", 0.8, 1.3},
        {"zobrel/test/not_a_dataref", 0.0, 0.0},
    };
    const int count = int(std::size(expects));
    for (int i = 0; i < count; ++i)
        client->subscribe(i, QString::fromLatin1(expects[i].path), 20);
    for (int t = 0; t < 9; ++t)
        client->subscribe(100 + t, QStringLiteral("sim/aircraft/overflow/acf_tank_rat[%1]").arg(t), 20);
    client->subscribe(200, QStringLiteral("sim/flightmodel/position/true_psi"), 20);
    client->subscribe(201, QStringLiteral("sim/flightmodel/position/mag_psi"), 20);
    client->subscribe(202, QStringLiteral("sim/flightmodel/position/local_z"), 20);

    // Two seconds of samples: enough to see the take-off roll move the aircraft.
    QTRY_VERIFY_WITH_TIMEOUT(client->count(202) >= 40, kWaitMs);
    for (int i = 0; i < count; ++i) {
        for (float v : client->history(i)) {
            QVERIFY2(v >= expects[i].low - 1e-3 && v <= expects[i].high + 1e-3,
                     qPrintable(QStringLiteral("%1 = %2").arg(QLatin1String(expects[i].path)).arg(v)));
        }
    }
    double ratios = 0.0;
    for (int t = 0; t < 9; ++t)
        ratios += client->latest(100 + t);
    QVERIFY(std::fabs(ratios - 1.0) < 1e-4);
    // Shanghai has about 6 degrees of westerly variation: magnetic = true + 6.
    const double variation = std::remainder(client->latest(201) - client->latest(200), 360.0);
    QVERIFY(std::fabs(variation - 6.0) < 0.01);
    const QList<float> z = client->history(202);
    QVERIFY2(z.last() < z.first() - 1.0, "the aircraft did not move north on its take-off roll");
    QCOMPARE(client->problems(), QStringList());
}

void TstXpSim::unsubscribeStopsOnlyThatIndex()
{
    QVERIFY(startSimulator());
    auto client = newClient();
    QVERIFY(client);
    client->subscribe(1, kLat, 20);
    client->subscribe(2, kLon, 20);
    QTRY_VERIFY_WITH_TIMEOUT(client->count(1) >= 3 && client->count(2) >= 3, kWaitMs);
    client->send(rref(0, 1, kLat));
    // One reply may already have been on its way; after that index 1 must stay silent while
    // index 2 goes on for half a second.
    QTRY_VERIFY_WITH_TIMEOUT(client->count(2) >= client->count(1) + 2, kWaitMs);
    const int stoppedAt = client->count(1);
    const int lonAt = client->count(2);
    QTRY_VERIFY_WITH_TIMEOUT(client->count(2) >= lonAt + 10, kWaitMs);
    QCOMPARE(client->count(1), stoppedAt);
}

void TstXpSim::clientsAreServedSeparately()
{
    QVERIFY(startSimulator());
    auto a = newClient();
    auto b = newClient();
    QVERIFY(a && b);
    // The same index means different things to different clients.
    a->subscribe(1, kLat, 10);
    b->subscribe(1, kLon, 10);
    QTRY_VERIFY_WITH_TIMEOUT(a->count(1) >= 5 && b->count(1) >= 5, kWaitMs);
    for (float v : a->history(1))
        QVERIFY(std::fabs(v - 31.14) < 0.05);
    for (float v : b->history(1))
        QVERIFY(std::fabs(v - 121.81) < 0.05);
    QCOMPARE(a->problems(), QStringList());
    QCOMPARE(b->problems(), QStringList());
}

void TstXpSim::packsAtMost183PairsPerDatagram()
{
    QVERIFY(startSimulator());
    auto client = newClient();
    QVERIFY(client);
    constexpr int kSubscriptions = 200;
    // Two batches, as clients are advised to send large tables; same-rate subscriptions are
    // answered together, so the 200 pairs must be split into 183 + 17.
    for (int batch = 0; batch < 2; ++batch) {
        for (int i = batch * 100; i < (batch + 1) * 100; ++i)
            client->subscribe(i, QStringLiteral("sim/flightmodel/engine/ENGN_N1_[%1]").arg(i % 2), 10);
        QTRY_VERIFY_WITH_TIMEOUT(client->has(batch * 100 + 99), kWaitMs);
    }
    QTRY_COMPARE_WITH_TIMEOUT(client->maxPairs(), 183, kWaitMs);
    QCOMPARE(client->problems(), QStringList());
    QSet<int> seen;
    for (const SimClient::Reply &reply : client->replies()) {
        QVERIFY(reply.values.size() <= 183);
        for (auto it = reply.values.cbegin(); it != reply.values.cend(); ++it) {
            QVERIFY(it.key() >= 0 && it.key() < kSubscriptions);
            QVERIFY(it.value() > 55.0f && it.value() < 102.0f);
            seen.insert(it.key());
        }
    }
    QCOMPARE(seen.size(), kSubscriptions);
}

void TstXpSim::drefWriteShowsInLaterReplies_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<float>("written");
    QTest::addColumn<float>("expected");
    QTest::addColumn<float>("tolerance");
    QTest::newRow("COM1 frequency") << "sim/cockpit/radios/com1_freq_hz" << 12345.0f << 12345.0f << 0.0f;
    QTest::newRow("NAV2 frequency") << "sim/cockpit/radios/nav2_freq_hz" << 11290.0f << 11290.0f << 0.0f;
    QTest::newRow("transponder") << "sim/cockpit/radios/transponder_code" << 4521.0f << 4521.0f << 0.0f;
    QTest::newRow("autopilot altitude") << "sim/cockpit/autopilot/altitude" << 3000.0f << 3000.0f << 0.0f;
    QTest::newRow("sea-level pressure") << "sim/weather/barometer_sealevel_inhg" << 30.12f << 30.12f << 0.011f;
    QTest::newRow("centre tank") << "sim/flightmodel/weight/m_fuel[2]" << 100.0f << 100.0f << 1.0f;
    QTest::newRow("unknown dataref is kept") << "zobrel/test/custom[3]" << 42.5f << 42.5f << 0.0f;
    QTest::newRow("upper wind layer is kept") << "sim/weather/wind_speed_kt[2]" << 35.0f << 35.0f << 0.0f;
    QTest::newRow("lowest wind layer drives the wind") << "sim/weather/wind_speed_kt[0]" << 0.0f << 0.0f << 0.0f;
    QTest::newRow("COM1 outside the band is refused")
        << "sim/cockpit/radios/com1_freq_hz" << 99999.0f << 11880.0f << 0.0f;
    QTest::newRow("squawk with digit 8 is refused")
        << "sim/cockpit/radios/transponder_code" << 7800.0f << 7000.0f << 0.0f;
    QTest::newRow("latitude is read-only") << kLat << 10.0f << 31.14f << 0.02f;
}

void TstXpSim::drefWriteShowsInLaterReplies()
{
    QFETCH(QString, path);
    QFETCH(float, written);
    QFETCH(float, expected);
    QFETCH(float, tolerance);
    QVERIFY(startSimulator());
    auto client = newClient();
    QVERIFY(client);
    client->subscribe(3, path, 20);
    client->subscribe(4, QStringLiteral("zobrel/test/marker"), 20);
    QTRY_VERIFY_WITH_TIMEOUT(client->count(3) >= 1 && client->count(4) >= 1, kWaitMs);
    client->write(path, written);
    // Datagrams are handled in order: once the marker shows, the write has been dealt with.
    client->write(QStringLiteral("zobrel/test/marker"), 1.0f);
    QTRY_COMPARE_WITH_TIMEOUT(client->latest(4), 1.0f, kWaitMs);
    QTRY_VERIFY_WITH_TIMEOUT(std::fabs(client->latest(3) - expected) <= tolerance, kWaitMs);
    // And it stays: ten more replies all carry it.
    const int from = client->count(3);
    QTRY_VERIFY_WITH_TIMEOUT(client->count(3) >= from + 10, kWaitMs);
    const QList<float> values = client->history(3).mid(from);
    for (float v : values)
        QVERIFY2(std::fabs(v - expected) <= tolerance, qPrintable(QString::number(v)));
}

void TstXpSim::prelRepositions_data()
{
    QTest::addColumn<int>("startType");
    QTest::addColumn<double>("elevationM");
    QTest::addColumn<bool>("moves");
    QTest::addColumn<bool>("onGround");
    QTest::newRow("in the air") << 6 << 1000.0 << true << false;
    QTest::newRow("on the ground") << 6 << 0.0 << true << true;
    QTest::newRow("other start type ignored") << 11 << 1000.0 << false << true;
}

void TstXpSim::prelRepositions()
{
    QFETCH(int, startType);
    QFETCH(double, elevationM);
    QFETCH(bool, moves);
    QFETCH(bool, onGround);
    QVERIFY(startSimulator());
    auto client = newClient();
    QVERIFY(client);
    client->subscribe(0, kLat, 20);
    client->subscribe(1, kLon, 20);
    client->subscribe(2, QStringLiteral("sim/flightmodel/position/elevation"), 20);
    client->subscribe(3, QStringLiteral("sim/flightmodel/failures/onground"), 20);
    client->subscribe(4, QStringLiteral("sim/flightmodel/position/true_psi"), 20);
    client->subscribe(5, QStringLiteral("sim/flightmodel/position/groundspeed"), 20);
    client->subscribe(6, QStringLiteral("zobrel/test/marker"), 20);
    QTRY_VERIFY_WITH_TIMEOUT(client->count(6) >= 1, kWaitMs);
    client->send(prel(startType, 30.5, 120.5, elevationM, 90.0));
    // Datagrams are handled in order: once the marker shows, the PREL has been dealt with.
    client->write(QStringLiteral("zobrel/test/marker"), 1.0f);
    QTRY_COMPARE_WITH_TIMEOUT(client->latest(6), 1.0f, kWaitMs);
    const int from = client->count(0);
    QTRY_VERIFY_WITH_TIMEOUT(client->count(0) >= from + 5, kWaitMs);
    if (!moves) {
        QVERIFY(std::fabs(client->latest(0) - 31.14) < 0.05);
        QVERIFY(std::fabs(client->latest(1) - 121.81) < 0.05);
        return;
    }
    QVERIFY(std::fabs(client->latest(0) - 30.5) < 0.01);
    QVERIFY(std::fabs(client->latest(1) - 120.5) < 0.01);
    QVERIFY(std::fabs(client->latest(2) - elevationM) < 30.0);
    QCOMPARE(client->latest(3), onGround ? 1.0f : 0.0f);
    QVERIFY(std::fabs(client->latest(4) - 90.0) < 20.0);
    if (onGround)
        QCOMPARE(client->latest(5), 0.0f);
    else
        QVERIFY(client->latest(5) > 50.0f);
}

void TstXpSim::commandsMoveGearAndFlaps()
{
    QVERIFY(startSimulator());
    auto client = newClient();
    QVERIFY(client);
    client->subscribe(0, QStringLiteral("sim/cockpit2/controls/gear_handle_down"), 20);
    client->subscribe(1, QStringLiteral("sim/flightmodel/controls/flaprqst"), 20);
    // On the take-off roll: gear down, take-off flaps (0.4).
    QTRY_VERIFY_WITH_TIMEOUT(client->count(1) >= 1 && client->latest(1) == 0.4f, kWaitMs);
    QCOMPARE(client->latest(0), 1.0f);
    client->command(QStringLiteral("sim/flight_controls/landing_gear_toggle"));
    QTRY_COMPARE_WITH_TIMEOUT(client->latest(0), 0.0f, kWaitMs);
    client->command(QStringLiteral("sim/flight_controls/flaps_down"));
    QTRY_COMPARE_WITH_TIMEOUT(client->latest(1), 1.0f, kWaitMs);
    client->command(QStringLiteral("sim/flight_controls/flaps_up"));
    client->command(QStringLiteral("sim/flight_controls/flaps_up"));
    QTRY_COMPARE_WITH_TIMEOUT(client->latest(1), 0.0f, kWaitMs);
    QCOMPARE(m_process->state(), QProcess::Running);
}

void TstXpSim::survivesMalformedDatagrams()
{
    QVERIFY(startSimulator());
    auto client = newClient();
    QVERIFY(client);
    QList<QByteArray> junk{
        QByteArray(),
        QByteArray("RRE"),
        QByteArray("RREF"),
        header("RREF") + QByteArray("\x14\0\0", 3),
        header("RREF") + int32(20) + int32(77) + QByteArray("sim/flightmodel/position/latitude"),
        header("RREF") + int32(-5) + int32(78) + padded(kLat, 400),
        header("RREF") + int32(20) + int32(79) + padded(QStringLiteral("sim/x\x01y"), 400),
        header("RREF") + int32(20) + int32(80) + padded(QStringLiteral("sim/x[99999]"), 400),
        header("RREF") + int32(20) + int32(81) + QByteArray(400, 'a') + QByteArray(7000, 'b'),
        header("DREF") + QByteArray("\0\0", 2),
        header("DREF") + float32(std::nanf("")) + padded(QStringLiteral("zobrel/test/nan"), 500),
        header("DREF") + float32(5.0f) + QByteArray(3, 'x'),
        header("CMND"),
        header("CMND") + QByteArray(600, 'c'),
        header("PREL") + QByteArray(40, '\0'),
        prel(6, std::nan(""), 120.0, 100.0, 90.0),
        prel(6, 95.0, 120.0, 100.0, 90.0),
        QByteArray(4096 * 4, 'R'),
    };
    QRandomGenerator random(20240611);
    for (int i = 0; i < 60; ++i) {
        QByteArray bytes(int(random.bounded(1, 700)), '\0');
        for (char &c : bytes)
            c = char(random.bounded(256));
        if (i % 3 == 0)
            bytes.replace(0, 4, QByteArray(i % 2 ? "DREF" : "RREF"));
        junk.append(bytes);
    }
    for (const QByteArray &datagram : std::as_const(junk))
        client->send(datagram);
    client->subscribe(5, kLat, 20);
    QTRY_VERIFY_WITH_TIMEOUT(client->count(5) >= 20, kWaitMs);
    QCOMPARE(m_process->state(), QProcess::Running);
    for (int index : {77, 78, 79, 80, 81})
        QVERIFY2(!client->has(index), qPrintable(QStringLiteral("index %1 was subscribed").arg(index)));
    QVERIFY(std::fabs(client->latest(5) - 31.14) < 0.05);
    QCOMPARE(client->problems(), QStringList());
}

void TstXpSim::refusesPortInUse()
{
    QVERIFY(startSimulator());
    QProcess second;
    second.start(QStringLiteral(XPSIM_EXECUTABLE), {QStringLiteral("--port"), QString::number(m_port)});
    QVERIFY(second.waitForFinished(10000));
    QCOMPARE(second.exitStatus(), QProcess::NormalExit);
    QCOMPARE(second.exitCode(), 1);
    QVERIFY(second.readAllStandardOutput().isEmpty());
    QVERIFY(second.readAllStandardError().contains("cannot listen"));
}

void TstXpSim::timeFactorRunsTheClockFaster()
{
    QVERIFY(startSimulator({QStringLiteral("--time-factor"), QStringLiteral("8")}));
    auto client = newClient();
    QVERIFY(client);
    client->subscribe(0, QStringLiteral("sim/time/total_running_time_sec"), 20);
    QTRY_VERIFY_WITH_TIMEOUT(client->count(0) >= 1, kWaitMs);
    const float start = client->latest(0);
    QElapsedTimer wall;
    wall.start();
    // Four simulated seconds take half a second at 8x; real time would need all four.
    QTRY_VERIFY_WITH_TIMEOUT(client->latest(0) >= start + 4.0f, kWaitMs);
    QVERIFY2(wall.elapsed() < 2500, qPrintable(QString::number(wall.elapsed())));
}

void TstXpSim::rejectsBadTimeFactor_data()
{
    QTest::addColumn<QString>("factor");
    QTest::newRow("zero") << QStringLiteral("0");
    QTest::newRow("too fast") << QStringLiteral("100");
    QTest::newRow("not a number") << QStringLiteral("fast");
}

void TstXpSim::rejectsBadTimeFactor()
{
    QFETCH(QString, factor);
    QProcess process;
    process.start(QStringLiteral(XPSIM_EXECUTABLE),
                  {QStringLiteral("--port"), QStringLiteral("0"), QStringLiteral("--time-factor"), factor});
    QVERIFY(process.waitForFinished(kWaitMs));
    QCOMPARE(process.exitCode(), 2);
    QVERIFY(process.readAllStandardError().contains("invalid --time-factor"));
}

void TstXpSim::modelFliesTrafficCircuits()
{
    FlightModel::Options options;
    FlightModel model(options);
    QList<CircuitPilot::Phase> phases{model.phase()};
    double maxHeightFt = 0.0;
    double maxDistanceM = 0.0;
    double maxBankDeg = 0.0;
    double maxIasKt = 0.0;
    double minG = 2.0;
    double maxG = 0.0;
    for (int i = 0; i < 900 * 20; ++i) {
        model.advance(0.05);
        const AircraftState a = model.state();
        if (model.phase() != phases.last())
            phases.append(model.phase());
        double north = 0.0;
        double east = 0.0;
        geo::northEast(options.start, GeoPoint{a.latDeg, a.lonDeg}, &north, &east);
        maxDistanceM = std::max(maxDistanceM, std::hypot(north, east));
        maxHeightFt = std::max(maxHeightFt, a.heightAglM * geo::kFeetPerMetre);
        maxBankDeg = std::max(maxBankDeg, std::fabs(a.bankDeg));
        maxIasKt = std::max(maxIasKt, a.iasKt);
        minG = std::min(minG, a.gLoad);
        maxG = std::max(maxG, a.gLoad);
        if (a.onGround)
            QVERIFY(std::fabs(a.heightAglM) < 1e-9);
        else
            QVERIFY2(a.heightAglM > 0.0, "airborne below the ground");
    }
    using P = CircuitPilot::Phase;
    const QList<P> circuit{P::TakeoffRoll, P::Upwind,      P::Crosswind,   P::Downwind, P::Base,
                           P::Final,       P::LandingRoll, P::TakeoffRoll, P::Upwind};
    QCOMPARE(phases.mid(0, circuit.size()), circuit);
    QVERIFY2(maxHeightFt > 1400.0 && maxHeightFt < 1600.0, qPrintable(QString::number(maxHeightFt)));
    QVERIFY2(maxDistanceM < 8000.0, qPrintable(QString::number(maxDistanceM)));
    QVERIFY(maxBankDeg < 30.0);
    QVERIFY(maxIasKt > 140.0 && maxIasKt < 170.0);
    QVERIFY(minG > 0.6 && maxG < 1.6);
}

void TstXpSim::modelFuelBurnMatchesFuelFlow()
{
    FlightModel model(FlightModel::Options{});
    DatarefStore store;
    XpBinding binding(&model);
    binding.publish(store);
    const double startFuel = published(store, QStringLiteral("sim/flightmodel/fuel/total_fuel_kgs"));
    double burnt = 0.0;
    for (int i = 0; i < 300 * 20; ++i) {
        const double flow = published(store, QStringLiteral("sim/flightmodel/engine/ENGN_FF_[0]")) +
                            published(store, QStringLiteral("sim/flightmodel/engine/ENGN_FF_[1]"));
        model.advance(0.05);
        binding.publish(store);
        const double flowAfter = published(store, QStringLiteral("sim/flightmodel/engine/ENGN_FF_[0]")) +
                                 published(store, QStringLiteral("sim/flightmodel/engine/ENGN_FF_[1]"));
        burnt += 0.5 * (flow + flowAfter) * 0.05;
    }
    const double fuel = published(store, QStringLiteral("sim/flightmodel/fuel/total_fuel_kgs"));
    QVERIFY2(std::fabs((startFuel - fuel) - burnt) < 0.01 * burnt,
             qPrintable(QStringLiteral("tanks lost %1 kg, flow says %2 kg").arg(startFuel - fuel).arg(burnt)));
    double tanks = 0.0;
    double payload = 0.0;
    for (int t = 0; t < 9; ++t) {
        tanks += published(store, QStringLiteral("sim/flightmodel/weight/m_fuel[%1]").arg(t));
        payload += published(store, QStringLiteral("sim/flightmodel/weight/m_fixed[%1]").arg(t));
    }
    QVERIFY(std::fabs(tanks - fuel) < 1e-6);
    const double empty = published(store, QStringLiteral("sim/aircraft/weight/acf_m_empty"));
    QVERIFY(std::fabs(published(store, QStringLiteral("sim/flightmodel/weight/m_total")) - (empty + payload + fuel)) <
            1e-6);
    // The centre tank feeds first.
    QVERIFY(published(store, QStringLiteral("sim/flightmodel/weight/m_fuel[2]")) <
            published(store, QStringLiteral("sim/flightmodel/weight/m_fuel[0]")) * 0.5);
}

void TstXpSim::modelEngineFailureAndRepair()
{
    FlightModel model(FlightModel::Options{});
    DatarefStore store;
    XpBinding binding(&model);
    for (int i = 0; i < 60; ++i)
        model.advance(1.0);
    QVERIFY(binding.applyWrite(*DatarefStore::parse(QStringLiteral("sim/operation/failures/rel_engfir0")), 6.0));
    for (int i = 0; i < 30; ++i)
        model.advance(1.0);
    binding.publish(store);
    QCOMPARE(published(store, QStringLiteral("sim/flightmodel/engine/ENGN_running[0]")), 0.0);
    QCOMPARE(published(store, QStringLiteral("sim/flightmodel/engine/ENGN_fire[0]")), 1.0);
    QCOMPARE(published(store, QStringLiteral("sim/flightmodel/engine/ENGN_FF_[0]")), 0.0);
    QVERIFY(published(store, QStringLiteral("sim/flightmodel/engine/ENGN_N1_[0]")) < 10.0);
    QCOMPARE(published(store, QStringLiteral("sim/flightmodel/engine/ENGN_running[1]")), 1.0);
    QCOMPARE(published(store, QStringLiteral("sim/operation/failures/rel_engfir0")), 6.0);
    QVERIFY(binding.runCommand(QStringLiteral("sim/operation/fix_all_systems")));
    for (int i = 0; i < 10; ++i)
        model.advance(1.0);
    binding.publish(store);
    QCOMPARE(published(store, QStringLiteral("sim/flightmodel/engine/ENGN_running[0]")), 1.0);
    QCOMPARE(published(store, QStringLiteral("sim/flightmodel/engine/ENGN_fire[0]")), 0.0);
    QVERIFY(published(store, QStringLiteral("sim/flightmodel/engine/ENGN_N1_[0]")) > 60.0);
    QCOMPARE(published(store, QStringLiteral("sim/operation/failures/rel_engfir0")), 0.0);
}

void TstXpSim::modelAirborneRepositionLandsAhead()
{
    FlightModel model(FlightModel::Options{});
    const GeoPoint start{30.0, 120.0};
    // 300 m above the ground heading east: a final of about 3 nm straight ahead.
    model.reposition(start, 304.0, 90.0, 0.0);
    QCOMPARE(model.phase(), CircuitPilot::Phase::Final);
    int seconds = 0;
    while (model.phase() != CircuitPilot::Phase::LandingRoll && seconds < 400) {
        model.advance(1.0);
        ++seconds;
    }
    QCOMPARE(model.phase(), CircuitPilot::Phase::LandingRoll);
    const AircraftState a = model.state();
    double north = 0.0;
    double east = 0.0;
    geo::northEast(start, GeoPoint{a.latDeg, a.lonDeg}, &north, &east);
    // 300 m / tan 3 degrees = 5.7 km to the aim point.
    QVERIFY2(std::fabs(east - 5724.0) < 500.0, qPrintable(QString::number(east)));
    QVERIFY(std::fabs(north) < 150.0);
}

void TstXpSim::modelVectorsTurnToHeadingBug()
{
    FlightModel model(FlightModel::Options{});
    while (model.phase() != CircuitPilot::Phase::Downwind)
        model.advance(1.0);
    const double altitudeFt = model.state().elevationM * geo::kFeetPerMetre;
    model.setAutopilotHeadingMagDeg(90.0);
    QCOMPARE(model.phase(), CircuitPilot::Phase::Vectors);
    for (int i = 0; i < 90; ++i)
        model.advance(1.0);
    const AircraftState a = model.state();
    QCOMPARE(a.autopilot.headingMagDeg, 90.0);
    QCOMPARE(a.autopilot.mode, 2);
    QVERIFY2(std::fabs(a.headingMagDeg - 90.0) < 3.0, qPrintable(QString::number(a.headingMagDeg)));
    QVERIFY(std::fabs(a.elevationM * geo::kFeetPerMetre - altitudeFt) < 150.0);
}

namespace {

// Runs the model in simulated time until the predicate holds; false after limitS seconds.
template <typename Predicate> bool runUntil(FlightModel &model, Predicate done, double limitS)
{
    for (double t = 0.0; t < limitS; t += 0.5) {
        if (done())
            return true;
        model.advance(0.5);
    }
    return done();
}

} // namespace

void TstXpSim::modelParkingBrakeMeansFullStop()
{
    using P = CircuitPilot::Phase;
    FlightModel model(FlightModel::Options{});
    QVERIFY(runUntil(
        model, [&] { return model.phase() == P::Final; }, 900.0));
    model.setParkBrake(1.0);
    QVERIFY(runUntil(
        model, [&] { return model.phase() == P::Parked; }, 600.0));
    // It stays put until the brake is released.
    QVERIFY(!runUntil(
        model, [&] { return model.phase() != P::Parked; }, 60.0));
    QCOMPARE(model.state().groundSpeedMps, 0.0);
    model.setParkBrake(0.0);
    QVERIFY(runUntil(
        model, [&] { return model.phase() == P::Upwind; }, 120.0));
}

void TstXpSim::modelLowFuelLandsRefuelsAndDeparts()
{
    using P = CircuitPilot::Phase;
    FlightModel model(FlightModel::Options{});
    for (int t = 0; t < Powerplant::kTankCount; ++t)
        model.powerplant().setFuelKg(t, Powerplant::kCapacityKg * model.powerplant().tankRatio(t) * 0.12);
    QVERIFY(runUntil(
        model, [&] { return model.phase() == P::Parked; }, 900.0));
    QVERIFY(model.state().fuelTotalKg < 0.15 * Powerplant::kCapacityKg);
    QVERIFY(runUntil(
        model, [&] { return model.phase() == P::TakeoffRoll; }, 60.0));
    QVERIFY(model.state().fuelTotalKg > 0.65 * Powerplant::kCapacityKg);
}

void TstXpSim::modelPushbackTurnsWithYawRate()
{
    FlightModel model(FlightModel::Options{});
    DatarefStore store;
    XpBinding binding(&model);
    const GeoPoint gate{31.15, 121.80};
    model.reposition(gate, 4.0, 0.0, 0.0);
    // 1.543 m/s tail first with the nose north; turning at 5.895 deg/s (a 15 m radius), written
    // every 50 ms for 5 s.
    const auto write = [&binding](const char *name, double value) {
        return binding.applyWrite(*DatarefStore::parse(QLatin1String(name)), value);
    };
    for (int i = 0; i < 100; ++i) {
        QVERIFY(write("sim/flightmodel/position/local_vx", 0.0));
        QVERIFY(write("sim/flightmodel/position/local_vz", 1.543));
        QVERIFY(write("sim/flightmodel/position/R", 5.895));
        model.advance(0.05);
    }
    const AircraftState pushed = model.state();
    QVERIFY2(std::fabs(pushed.headingTrueDeg - 29.475) < 0.5, qPrintable(QString::number(pushed.headingTrueDeg)));
    double north = 0.0;
    double east = 0.0;
    geo::northEast(gate, GeoPoint{pushed.latDeg, pushed.lonDeg}, &north, &east);
    QVERIFY2(std::fabs(north + 7.715) < 0.2, qPrintable(QString::number(north)));
    // The tug lets go: half a second later nothing moves any more.
    model.advance(0.6);
    const AircraftState stopped = model.state();
    model.advance(1.0);
    QCOMPARE(model.state().latDeg, stopped.latDeg);
    QCOMPARE(model.state().headingTrueDeg, stopped.headingTrueDeg);
    QCOMPARE(model.phase(), CircuitPilot::Phase::Parked);
}

QTEST_GUILESS_MAIN(TstXpSim)
#include "tst_xpsim.moc"
