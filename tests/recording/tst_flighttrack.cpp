#include "syntheticflight.h"

#include "recording/flightstatistics.h"
#include "recording/trackthinner.h"
#include "tests/support/logexpect.h"

#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTest>

#include <cmath>
#include <functional>

// Track thinning and flight statistics on tracks whose answers are known in closed form.
class TestFlightTrack : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }

    void thinnedTrackReproducesEverySample_data();
    void thinnedTrackReproducesEverySample();
    void stateChangesKeepBothSides();
    void statisticsOfAKnownFlight_data();
    void statisticsOfAKnownFlight();
    void landingsFromGroundContacts_data();
    void landingsFromGroundContacts();
    void repositionJumpsAreNoDistance();

private:
    using Profile = std::function<AircraftData(double)>;
};

namespace {

constexpr double kMetresPerDegLat = 1852.0 * 60.0;

QList<TrackSample> sampled(const std::function<AircraftData(double)> &profile, double seconds, double hz)
{
    QList<TrackSample> samples;
    const int n = int(seconds * hz);
    for (int i = 0; i <= n; ++i) {
        const double t = i / hz;
        samples << trackSampleFrom(profile(t), qint64(std::llround(t * 1000.0)));
    }
    return samples;
}

// A right turn at 3 deg/s and 250 kt from north, climbing 1500 ft/min, banked 25 degrees, with the
// few-tenths jitter a simulator's values carry.
AircraftData turning(double t)
{
    static QRandomGenerator noise(7);
    AircraftData d;
    const double radiusNm = 250.0 * (360.0 / 3.0) / 3600.0 / (2 * M_PI);
    const double angle = 3.0 * t * M_PI / 180.0;
    d.lat = 31.0 + radiusNm * std::sin(angle) / 60.0;
    d.lon = 121.0 + radiusNm * (1 - std::cos(angle)) / 60.0 / std::cos(31.0 * M_PI / 180.0);
    d.hdg = d.hdgTrue = std::fmod(3.0 * t, 360.0);
    d.gs = d.ias = 250.0 + noise.bounded(0.4);
    d.alt = d.altInd = 5000.0 + 25.0 * t;
    d.vs = 1500.0 + noise.bounded(20.0);
    d.bank = 25.0 + noise.bounded(0.3);
    d.pitch = 4.0;
    d.gForce = 1.1;
    d.fuelTotal = 500.0 - 0.05 * t;
    return d;
}

AircraftData straight(double t)
{
    AircraftData d;
    d.lat = 31.0 + 300.0 * t / 3600.0 / 60.0;
    d.lon = 121.0;
    d.gs = d.ias = 300.0;
    d.alt = d.altInd = 20000.0;
    d.gForce = 1.0;
    d.fuelTotal = 800.0 - 0.1 * t;
    return d;
}

TrackSample at(const QList<TrackSample> &stored, qint64 timeMs)
{
    const auto after = std::upper_bound(stored.cbegin(), stored.cend(), timeMs,
                                        [](qint64 t, const TrackSample &s) { return t < s.timeMs; });
    if (after == stored.cbegin())
        return stored.first();
    if (after == stored.cend())
        return stored.last();
    return interpolate(*(after - 1), *after, timeMs);
}

} // namespace

void TestFlightTrack::thinnedTrackReproducesEverySample_data()
{
    QTest::addColumn<Profile>("profile");
    QTest::addColumn<double>("hz");
    QTest::addColumn<double>("maxKeptShare");
    // Straight and level keeps little more than the one point per 5 s the gap forces.
    QTest::newRow("straight, 50 Hz") << Profile(straight) << 50.0 << 0.005;
    QTest::newRow("straight, 5 Hz") << Profile(straight) << 5.0 << 0.05;
    QTest::newRow("climbing turn, 50 Hz") << Profile(turning) << 50.0 << 0.012;
    QTest::newRow("climbing turn, 5 Hz") << Profile(turning) << 5.0 << 0.12;
    QTest::newRow("circuit, 20 Hz") << Profile(synthetic::at) << 20.0 << 0.2;
}

void TestFlightTrack::thinnedTrackReproducesEverySample()
{
    QFETCH(Profile, profile);
    QFETCH(double, hz);
    QFETCH(double, maxKeptShare);
    const ThinningTolerances tol;
    const QList<TrackSample> all = sampled(profile, 240.0, hz);
    TrackThinner thinner(tol);
    QList<TrackSample> stored;
    for (const TrackSample &s : all)
        stored += thinner.add(s);
    stored += thinner.flush();

    QCOMPARE(stored.first().timeMs, all.first().timeMs);
    QCOMPARE(stored.last().timeMs, all.last().timeMs);
    QVERIFY2(stored.size() <= maxKeptShare * all.size(),
             qPrintable(QStringLiteral("kept %1 of %2").arg(stored.size()).arg(all.size())));
    for (int i = 1; i < stored.size(); ++i)
        QVERIFY(stored.at(i).timeMs - stored.at(i - 1).timeMs <= tol.maxGapMs);
    for (const TrackSample &s : all) {
        const TrackSample e = at(stored, s.timeMs);
        const double northM = (e.lat - s.lat) * kMetresPerDegLat;
        const double eastM = (e.lon - s.lon) * kMetresPerDegLat * std::cos(s.lat * M_PI / 180.0);
        const QString where = QStringLiteral("at %1 ms").arg(s.timeMs);
        QVERIFY2(std::hypot(northM, eastM) <= tol.positionM + 0.01, qPrintable(where));
        QVERIFY2(std::fabs(e.altFt - s.altFt) <= tol.altitudeFt + 1e-6, qPrintable(where));
        QVERIFY2(std::fabs(e.iasKt - s.iasKt) <= tol.speedKt + 1e-6, qPrintable(where));
        QVERIFY2(std::fabs(e.vsFpm - s.vsFpm) <= tol.vsFpm + 1e-6, qPrintable(where));
        QVERIFY2(std::fabs(angleDifferenceDeg(e.hdgTrueDeg, s.hdgTrueDeg)) <= tol.headingDeg + 1e-6, qPrintable(where));
        QVERIFY2(std::fabs(e.bankDeg - s.bankDeg) <= tol.attitudeDeg + 1e-6, qPrintable(where));
        QVERIFY2(std::fabs(e.gLoad - s.gLoad) <= tol.gLoad + 1e-6, qPrintable(where));
        QVERIFY2(std::fabs(e.fuelGal - s.fuelGal) <= tol.fuelGal + 1e-6, qPrintable(where));
        QCOMPARE(e.flags, s.flags);
    }
}

void TestFlightTrack::stateChangesKeepBothSides()
{
    const QList<TrackSample> all = sampled(synthetic::at, synthetic::kEndS, 20.0);
    TrackThinner thinner;
    QList<qint64> kept;
    for (const TrackSample &s : all) {
        for (const TrackSample &k : thinner.add(s))
            kept << k.timeMs;
    }
    // Lift-off (40 s), touchdown (197.5 s) and the parking brake released (10 s): the sample
    // before and the one after each change are stored.
    for (const qint64 change : {qint64(10000), qint64(40000), qint64(197500)}) {
        QVERIFY2(kept.contains(change - 50) && kept.contains(change),
                 qPrintable(QStringLiteral("around %1 ms").arg(change)));
    }
    TrackThinner off({}, false);
    int stored = 0;
    for (const TrackSample &s : all)
        stored += int(off.add(s).size());
    QCOMPARE(stored, all.size());
}

void TestFlightTrack::statisticsOfAKnownFlight_data()
{
    QTest::addColumn<double>("hz");
    QTest::newRow("50 Hz") << 50.0;
    QTest::newRow("20 Hz") << 20.0;
    QTest::newRow("5 Hz") << 5.0;
}

void TestFlightTrack::statisticsOfAKnownFlight()
{
    QFETCH(double, hz);
    const double step = 1.0 / hz;
    QList<LandingRecord> landings;
    const FlightStatistics s = FlightStatsCalculator::compute(sampled(synthetic::at, synthetic::kEndS, hz), &landings);
    // Sphere of 3440.065 nm: a degree of latitude is 60.04 nm.
    const double nmPerMinuteOfLat = 3440.065 * M_PI / 180.0 / 60.0;
    QVERIFY2(std::fabs(s.distanceNm - synthetic::kDistanceNm * nmPerMinuteOfLat) < 0.002,
             qPrintable(QString::number(s.distanceNm)));
    QVERIFY(std::fabs(s.airDistanceNm - synthetic::kAirDistanceNm * nmPerMinuteOfLat) < 110.0 * step / 3600.0 + 0.002);
    QVERIFY(std::fabs(s.airTimeS - (synthetic::kTouchdownS - synthetic::kLiftOffS)) <= step + 1e-9);
    // Off blocks above 3 kt (just after 10.9 s), on blocks below 1 kt (30/110 s before the stop).
    const double blockS = (synthetic::kStopS - 30.0 / 110.0) - 10.9;
    QVERIFY2(std::fabs(s.blockTimeS - blockS) <= 2 * step, qPrintable(QString::number(s.blockTimeS)));
    QCOMPARE(s.maxAltFt, 1010.0);
    QCOMPARE(s.maxIasKt, 110.0);
    QVERIFY2(std::fabs(s.fuelUsedGal - synthetic::kFuelUsedGal) < 0.01, qPrintable(QString::number(s.fuelUsedGal)));
    QCOMPARE(s.takeoffCount, 1);
    QCOMPARE(s.landingCount, 1);
    QCOMPARE(landings.size(), 1);
    QCOMPARE(landings.first().vsFpm, synthetic::kTouchdownVsFpm);
    QCOMPARE(landings.first().gLoad, synthetic::kTouchdownG);
    QCOMPARE(landings.first().bounces, 0);
    QVERIFY(std::fabs(double(landings.first().timeMs) / 1000.0 - synthetic::kTouchdownS) < step);
}

void TestFlightTrack::landingsFromGroundContacts_data()
{
    // Each row: on-ground flag per second of a 120 s track sampled at 2 Hz, given as the seconds
    // at which the state flips (starting on the ground unless startAirborne).
    QTest::addColumn<bool>("startAirborne");
    QTest::addColumn<QList<double>>("flips");
    QTest::addColumn<int>("takeoffs");
    QTest::addColumn<int>("landings");
    QTest::addColumn<int>("bounces");
    QTest::newRow("one flight") << false << QList<double>{10, 80} << 1 << 1 << 0;
    QTest::newRow("bounce") << false << QList<double>{10, 80, 81.5, 83} << 1 << 1 << 1;
    QTest::newRow("two bounces") << false << QList<double>{10, 80, 81, 82, 83, 84} << 1 << 1 << 2;
    QTest::newRow("touch and go") << false << QList<double>{10, 50, 60, 100} << 2 << 2 << 0;
    QTest::newRow("recording began in the air") << true << QList<double>{30} << 0 << 1 << 0;
    QTest::newRow("hop long after landing") << false << QList<double>{10, 50, 90, 91} << 1 << 1 << 0;
}

void TestFlightTrack::landingsFromGroundContacts()
{
    QFETCH(bool, startAirborne);
    QFETCH(QList<double>, flips);
    QFETCH(int, takeoffs);
    QFETCH(int, landings);
    QFETCH(int, bounces);
    FlightStatsCalculator calculator;
    for (int i = 0; i <= 240; ++i) {
        const double t = i * 0.5;
        const int flipped = int(std::count_if(flips.cbegin(), flips.cend(), [t](double f) { return t >= f; }));
        AircraftData d = straight(t);
        d.onGround = (flipped % 2 == 0) != startAirborne;
        d.vs = d.onGround ? 0.0 : -200.0 - t;
        calculator.add(trackSampleFrom(d, qint64(t * 1000)));
    }
    calculator.finish();
    const FlightStatistics s = calculator.statistics();
    QCOMPARE(s.takeoffCount, takeoffs);
    QCOMPARE(s.landingCount, landings);
    QCOMPARE(calculator.landings().size(), landings);
    QCOMPARE(calculator.landings().first().bounces, bounces);
    // The vertical speed is the last airborne sample's, half a second before the first contact.
    const double firstContact = startAirborne ? flips.at(0) : flips.at(1);
    QCOMPARE(calculator.landings().first().vsFpm, -200.0 - (firstContact - 0.5));
}

void TestFlightTrack::repositionJumpsAreNoDistance()
{
    FlightStatsCalculator calculator;
    // 300 kt north for a minute, moved 50 nm east by the instructor, another minute; then the
    // samples thin out to one every 20 s (a 1.7 nm leg each that the speed explains).
    qint64 t = 0;
    double lat = 31.0;
    double lon = 121.0;
    auto add = [&](qint64 stepMs) {
        t += stepMs;
        lat += 300.0 * stepMs / 3600000.0 / 60.0;
        AircraftData d = straight(0);
        d.lat = lat;
        d.lon = lon;
        calculator.add(trackSampleFrom(d, t));
    };
    for (int i = 0; i < 60; ++i)
        add(1000);
    lon += 50.0 / 60.0 / std::cos(31.0 * M_PI / 180.0);
    for (int i = 0; i < 60; ++i)
        add(1000);
    for (int i = 0; i < 3; ++i)
        add(20000);
    const double expected = 300.0 * (59.0 + 59.0 + 60.0) / 3600.0; // the jump's own second is left out
    QVERIFY2(std::fabs(calculator.statistics().distanceNm - expected) < 0.02,
             qPrintable(QString::number(calculator.statistics().distanceNm)));

    // Parked, put on a final 20 nm away, landing a minute later, then put back in the air: one
    // landing, and neither placement is a take-off or a landing.
    FlightStatsCalculator placed;
    auto sample = [](qint64 timeMs, double latitude, bool onGround) {
        AircraftData d = straight(0);
        d.lat = latitude;
        d.onGround = onGround;
        d.gs = onGround ? 0.0 : 120.0;
        d.vs = onGround ? 0.0 : -500.0;
        return trackSampleFrom(d, timeMs);
    };
    for (int i = 0; i < 10; ++i)
        placed.add(sample(i * 1000, 31.0, true));
    // The new place arrives a moment before the new ground state.
    placed.add(sample(9800, 31.33, true));
    for (int i = 0; i <= 60; ++i)
        placed.add(sample(10000 + i * 1000, 31.33 + i * 120.0 / 3600.0 / 60.0, false));
    for (int i = 1; i <= 10; ++i)
        placed.add(sample(70000 + i * 1000, 31.33 + 2.0 / 60.0, true));
    placed.add(sample(81000, 32.0, false));
    placed.add(sample(82000, 32.0 + 120.0 / 3600.0 / 60.0, false));
    placed.add(sample(90000, 31.0, true));
    placed.finish();
    QCOMPARE(placed.statistics().takeoffCount, 0);
    QCOMPARE(placed.statistics().landingCount, 1);
    QCOMPARE(placed.landings().first().vsFpm, -500.0);
}

QTEST_GUILESS_MAIN(TestFlightTrack)
#include "tst_flighttrack.moc"

#include "tests/support/logexpect.h"
