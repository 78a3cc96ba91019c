#include "supervision/conflictdetector.h"
#include "tests/support/logexpect.h"

#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSet>
#include <QTest>

#include <cmath>

namespace {

TrackedAircraft aircraft(const QString &id, double lat, double lon, double altFt, double speedKts, double trackDeg,
                         double vsFpm = 0.0)
{
    TrackedAircraft a;
    a.id = id;
    a.lat = lat;
    a.lon = lon;
    a.altitudeFt = altFt;
    a.groundSpeedKts = speedKts;
    a.trackDeg = trackDeg;
    a.verticalSpeedFpm = vsFpm;
    return a;
}

// Degrees of longitude for a distance east at a latitude (flat, as the encounters are short).
double eastDeg(double nm, double lat)
{
    return nm / (60.0 * std::cos(lat * M_PI / 180.0));
}

} // namespace

class TestConflictDetector : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void encounters_data();
    void encounters();
    void sweepFindsWhatEveryPairFinds();
    void groundAndSlowTrafficIgnored();
};

void TestConflictDetector::encounters_data()
{
    QTest::addColumn<TrackedAircraft>("a");
    QTest::addColumn<TrackedAircraft>("b");
    QTest::addColumn<double>("lookAheadSec");
    QTest::addColumn<bool>("conflict");
    QTest::addColumn<double>("lossSec");
    QTest::addColumn<double>("closestSec");
    QTest::addColumn<double>("lateralNm");
    QTest::addColumn<double>("verticalFt");

    // Head-on, 16 nm apart, 600 kt closing: nearest (0 nm) after 96 s, 5 nm reached after 66 s.
    QTest::newRow("head-on") << aircraft("a", 0, 0, 20000, 300, 90) << aircraft("b", 0, eastDeg(16, 0), 20000, 300, 270)
                             << 120.0 << true << 66.0 << 96.0 << 0.0 << 0.0;
    // Crossing at right angles, both 240 kt, meeting at the crossing point after 120 s.
    QTest::newRow("crossing") << aircraft("a", 0, 0, 15000, 240, 0)
                              << aircraft("b", 8.0 / 60, eastDeg(8, 0), 15000, 240, 270) << 180.0 << true
                              << (8 - 5 / std::sqrt(2.0)) / 4 * 60 << 120.0 << 0.0 << 0.0;
    // Overtaking from 3 nm behind, 120 kt faster: already too close, nearest after 90 s.
    QTest::newRow("overtaking") << aircraft("a", 0, 0, 24000, 200, 0) << aircraft("b", -3.0 / 60, 0, 24000, 320, 0)
                                << 120.0 << true << 0.0 << 90.0 << 0.0 << 0.0;
    // Moving apart from 6 nm: never closer.
    QTest::newRow("diverging") << aircraft("a", 0, 0, 20000, 300, 270)
                               << aircraft("b", 0, eastDeg(6, 0), 20000, 300, 90) << 120.0 << false << 0.0 << 0.0 << 0.0
                               << 0.0;
    // Stacked, the lower climbing 2000 ft/min into the upper: 1000 ft after 30 s, level after 60 s.
    QTest::newRow("vertical only") << aircraft("a", 10, 20, 10000, 250, 45, 2000)
                                   << aircraft("b", 10, 20, 12000, 250, 45) << 120.0 << true << 30.0 << 60.0 << 0.0
                                   << 0.0;
    QTest::newRow("head-on 2000 ft apart")
        << aircraft("a", 0, 0, 20000, 300, 90) << aircraft("b", 0, eastDeg(16, 0), 22000, 300, 270) << 120.0 << false
        << 0.0 << 0.0 << 0.0 << 0.0;
    // Across the antimeridian: 0.2 degrees (12 nm) apart, closing at 600 kt.
    QTest::newRow("antimeridian") << aircraft("a", 0, 179.9, 30000, 300, 90)
                                  << aircraft("b", 0, -179.9, 30000, 300, 270) << 120.0 << true << 42.0 << 72.0 << 0.0
                                  << 0.0;
    // The same at 60 degrees north, where 0.2 degrees of longitude are 6 nm.
    QTest::newRow("antimeridian at 60N") << aircraft("a", 60, 179.9, 30000, 300, 90)
                                         << aircraft("b", 60, -179.9, 30000, 300, 270) << 120.0 << true << 6.0 << 36.0
                                         << 0.0 << 0.0;
    // Parallel 4 nm apart: fine in a terminal area (3 nm), a conflict en route (5 nm).
    QTest::newRow("parallel terminal") << aircraft("a", 30, 120, 3000, 180, 0)
                                       << aircraft("b", 30, 120 + eastDeg(4, 30), 3000, 180, 0) << 120.0 << false << 0.0
                                       << 0.0 << 0.0 << 0.0;
    QTest::newRow("parallel en route") << aircraft("a", 30, 120, 20000, 420, 0)
                                       << aircraft("b", 30, 120 + eastDeg(4, 30), 20000, 420, 0) << 120.0 << true << 0.0
                                       << 0.0 << 4.0 << 0.0;
    // Head-on 60 nm apart meets after 6 minutes: beyond a 2 minute look-ahead.
    QTest::newRow("beyond the look-ahead")
        << aircraft("a", 0, 0, 20000, 300, 90) << aircraft("b", 0, eastDeg(60, 0), 20000, 300, 270) << 120.0 << false
        << 0.0 << 0.0 << 0.0 << 0.0;
    // Converging below the terminal ceiling (3 nm) while one descends towards the other's level:
    // 3 nm after 7 / (500 / 3600) = 50.4 s; nearest in separations after 70.6 s, at 0.19 nm and
    // 177 ft (worked out by hand from the separations-weighted distance).
    QTest::newRow("descending head-on") << aircraft("a", 0, 0, 9000, 250, 90, -1000)
                                        << aircraft("b", 0, eastDeg(10, 0), 8000, 250, 270) << 180.0 << true << 50.4
                                        << 70.6 << 0.19 << 177.0;
}

void TestConflictDetector::encounters()
{
    QFETCH(TrackedAircraft, a);
    QFETCH(TrackedAircraft, b);
    QFETCH(double, lookAheadSec);
    QFETCH(bool, conflict);
    ConflictDetector::Settings settings;
    settings.lookAheadSec = lookAheadSec;
    const auto found = ConflictDetector::check(a, b, settings);
    QCOMPARE(found.has_value(), conflict);
    // The pair from the other side gives the same answer.
    QCOMPARE(ConflictDetector::check(b, a, settings).has_value(), conflict);
    if (!conflict)
        return;
    QFETCH(double, lossSec);
    QFETCH(double, closestSec);
    QFETCH(double, lateralNm);
    QFETCH(double, verticalFt);
    const auto near = [](double got, double want, double tolerance) { return std::abs(got - want) <= tolerance; };
    QVERIFY2(near(found->timeToLossSec, lossSec, 1.0), qPrintable(QString::number(found->timeToLossSec)));
    QVERIFY2(near(found->timeToClosestSec, closestSec, 1.0), qPrintable(QString::number(found->timeToClosestSec)));
    QVERIFY2(near(found->lateralAtClosestNm, lateralNm, 0.1), qPrintable(QString::number(found->lateralAtClosestNm)));
    QVERIFY2(near(found->verticalAtClosestFt, verticalFt, 20.0),
             qPrintable(QString::number(found->verticalAtClosestFt)));
}

void TestConflictDetector::sweepFindsWhatEveryPairFinds()
{
    // Busy airspace around two hubs and across the antimeridian, checked against all pairs.
    QRandomGenerator random(20240220);
    QList<TrackedAircraft> traffic;
    const QPointF hubs[] = {{51.4, -0.4}, {40.6, -73.8}, {-16.0, 179.8}};
    for (int i = 0; i < 900; ++i) {
        const QPointF hub = hubs[i % 3];
        double lon = hub.y() + (random.generateDouble() - 0.5) * 3.0;
        lon -= 360.0 * std::round(lon / 360.0);
        traffic.append(aircraft(QString::number(i), hub.x() + (random.generateDouble() - 0.5) * 2.0, lon,
                                2000 + random.bounded(35000), 120 + random.bounded(380), random.bounded(360),
                                random.bounded(4000) - 2000.0));
    }
    ConflictDetector::Settings settings;
    QSet<QPair<int, int>> expected;
    for (int i = 0; i < traffic.size(); ++i) {
        for (int j = i + 1; j < traffic.size(); ++j) {
            if (ConflictDetector::check(traffic.at(i), traffic.at(j), settings))
                expected.insert({i, j});
        }
    }
    QSet<QPair<int, int>> found;
    for (const ConflictDetector::Conflict &c : ConflictDetector::detect(traffic, settings))
        found.insert({c.first, c.second});
    QVERIFY(expected.size() > 20);
    QCOMPARE(found, expected);
}

void TestConflictDetector::groundAndSlowTrafficIgnored()
{
    TrackedAircraft parked = aircraft("parked", 31.14, 121.8, 13, 0, 0);
    parked.onGround = true;
    TrackedAircraft taxiing = aircraft("taxi", 31.14, 121.8, 13, 15, 90);
    const TrackedAircraft airborne = aircraft("air", 31.14, 121.8, 500, 140, 180);
    TrackedAircraft rolling = aircraft("roll", 31.141, 121.8, 13, 120, 180);
    rolling.onGround = true;
    const QList<ConflictDetector::Conflict> conflicts =
        ConflictDetector::detect({parked, taxiing, airborne, rolling}, ConflictDetector::Settings());
    QVERIFY(conflicts.isEmpty());
    // Two airborne close together do count.
    const TrackedAircraft other = aircraft("other", 31.15, 121.8, 700, 140, 180);
    QCOMPARE(ConflictDetector::detect({parked, airborne, other}, ConflictDetector::Settings()).size(), 1);
}

QTEST_GUILESS_MAIN(TestConflictDetector)
#include "tst_conflictdetector.moc"
