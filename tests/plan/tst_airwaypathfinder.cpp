#include "plantestdb.h"

#include "plan/airwaypathfinder.h"
#include "tests/support/logexpect.h"

#include <QMap>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <limits>

using Segment = AirwayPathfinder::AirwaySegment;

namespace {

Segment seg(const char *airway, const char *from, double fromLat, double fromLon, const char *to, double toLat,
            double toLon)
{
    return {QString::fromLatin1(airway),
            QString::fromLatin1(from),
            fromLat,
            fromLon,
            QString::fromLatin1(to),
            toLat,
            toLon};
}

QStringList idents(const QList<AirwayPathfinder::PathPoint> &path)
{
    QStringList result;
    for (const auto &p : path)
        result.append(p.ident);
    return result;
}

struct Fix
{
    QString ident;
    double lat;
    double lon;
};

// Airways drawn at random from a seed: each fix joined to some of its nearest neighbours,
// identifiers shared by fixes far apart (F0 .. F179 for 240 fixes), and a separate group of fixes
// that no route from the others reaches.
QList<Segment> randomAirways(quint32 seed, QList<Fix> *fixes)
{
    QRandomGenerator rng(seed);
    for (int i = 0; i < 240; ++i) {
        const bool island = i >= 225;
        fixes->append({QStringLiteral("F%1").arg(i % 180), (island ? 50.0 : 20.0) + rng.bounded(island ? 2.0 : 12.0),
                       (island ? 140.0 : 100.0) + rng.bounded(island ? 2.0 : 12.0)});
    }
    QList<Segment> segments;
    for (int i = 0; i < fixes->size(); ++i) {
        const Fix &a = fixes->at(i);
        QList<QPair<double, int>> byDistance;
        for (int j = 0; j < fixes->size(); ++j) {
            const Fix &b = fixes->at(j);
            if (j != i)
                byDistance.append({AirwayPathfinder::heuristicDistance(a.lat, a.lon, b.lat, b.lon), j});
        }
        std::sort(byDistance.begin(), byDistance.end());
        for (int k = 0; k < 5; ++k) {
            if (rng.bounded(2) == 0)
                continue;
            const Fix &b = fixes->at(byDistance.at(k).second);
            segments.append({QStringLiteral("W%1").arg(rng.bounded(20)), a.ident, a.lat, a.lon, b.ident, b.lat, b.lon});
        }
    }
    return segments;
}

// The length of the shortest way between two fixes over the segments, by a plain Dijkstra search
// over string keys (infinite when there is none).
double referenceDistance(const QList<Segment> &segments, const Fix &from, const Fix &to)
{
    QMap<QString, QList<QPair<QString, double>>> next;
    for (const Segment &s : segments) {
        const QString a = AirwayPathfinder::waypointKey(s.fromIdent, s.fromLat, s.fromLon);
        const QString b = AirwayPathfinder::waypointKey(s.toIdent, s.toLat, s.toLon);
        const double length = AirwayPathfinder::heuristicDistance(s.fromLat, s.fromLon, s.toLat, s.toLon);
        next[a].append({b, length});
        next[b].append({a, length});
    }
    const QString goal = AirwayPathfinder::waypointKey(to.ident, to.lat, to.lon);
    QMap<QString, double> distance{{AirwayPathfinder::waypointKey(from.ident, from.lat, from.lon), 0.0}};
    QSet<QString> done;
    while (true) {
        QString nearest;
        double best = std::numeric_limits<double>::infinity();
        for (auto it = distance.cbegin(); it != distance.cend(); ++it) {
            if (!done.contains(it.key()) && it.value() < best) {
                best = it.value();
                nearest = it.key();
            }
        }
        if (nearest.isEmpty() || nearest == goal)
            return best;
        done.insert(nearest);
        for (const auto &[key, length] : next.value(nearest)) {
            if (!distance.contains(key) || best + length < distance.value(key))
                distance.insert(key, best + length);
        }
    }
}

} // namespace

class TestAirwayPathfinder : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }

    void sharedFixJoinsOnlyWhenItRoundsAlike_data();
    void sharedFixJoinsOnlyWhenItRoundsAlike();
    void snappingKeepsTheFloor_data();
    void snappingKeepsTheFloor();
    void bothEndsOnOneNode();
    void segmentsWithNaNAreIgnored();
    void searchTakesTheShorterBranch();
    void searchAgreesWithAReferenceSearch_data();
    void searchAgreesWithAReferenceSearch();
    void implausiblyLongSegmentsAreLeftOut_data();
    void implausiblyLongSegmentsAreLeftOut();
    void identifierAndTieRules();
    void distancesUseTheirOwnConstants();
    void alongAnAirway();
    void routesOnRealAirways();
};

void TestAirwayPathfinder::sharedFixJoinsOnlyWhenItRoundsAlike_data()
{
    QTest::addColumn<double>("secondLat");
    QTest::addColumn<bool>("joined");
    QTest::newRow("same to 4 decimals") << 31.12344 << true;
    QTest::newRow("differs in the 4th decimal") << 31.12346 << false;
}

void TestAirwayPathfinder::sharedFixJoinsOnlyWhenItRoundsAlike()
{
    QFETCH(double, secondLat);
    QFETCH(bool, joined);
    AirwayPathfinder pf;
    pf.setSegments({seg("A1", "AAA", 30.0, 120.0, "BBB", 31.12341, 121.0),
                    seg("B2", "BBB", secondLat, 121.0, "CCC", 32.0, 122.0)});
    QCOMPARE(pf.nodeCount(), joined ? 3 : 4);
    const auto path = pf.findPath(QStringLiteral("AAA"), 30.0, 120.0, QStringLiteral("CCC"), 32.0, 122.0, 0.0);
    QCOMPARE(idents(path), joined ? QStringList({"AAA", "BBB", "CCC"}) : QStringList());
    if (joined) {
        QCOMPARE(path.at(1).airway, QStringLiteral("A1"));
        QCOMPARE(path.at(2).airway, QStringLiteral("B2"));
    }
}

void TestAirwayPathfinder::snappingKeepsTheFloor_data()
{
    QTest::addColumn<double>("startLat"); // the start is named XXXXX, which the graph lacks
    QTest::addColumn<double>("radius");
    QTest::addColumn<bool>("found");
    // One degree of latitude is 60.04 nm; the nearest node is at 30.0 N.
    QTest::newRow("120 nm, radius 50") << 28.0 << 50.0 << true;
    QTest::newRow("250 nm, radius 50") << 25.836 << 50.0 << false;
    QTest::newRow("250 nm, radius 300") << 25.836 << 300.0 << true;
}

void TestAirwayPathfinder::snappingKeepsTheFloor()
{
    QFETCH(double, startLat);
    QFETCH(double, radius);
    QFETCH(bool, found);
    AirwayPathfinder pf;
    pf.setSegments({seg("A1", "AAA", 30.0, 120.0, "BBB", 31.0, 120.0)});
    const auto path = pf.findPath(QStringLiteral("XXXXX"), startLat, 120.0, QStringLiteral("BBB"), 31.0, 120.0, radius);
    QCOMPARE(idents(path), found ? QStringList({"AAA", "BBB"}) : QStringList());
    QCOMPARE(pf.findNearestNode(QStringLiteral("XXXXX"), startLat, 120.0, radius).isEmpty(), !found);
}

void TestAirwayPathfinder::bothEndsOnOneNode()
{
    AirwayPathfinder pf;
    pf.setSegments({seg("A1", "AAA", 30.0, 120.0, "BBB", 31.0, 120.0)});
    // Both airports snap to AAA: the result is the destination itself, reached directly.
    const auto path = pf.findPath(QStringLiteral("ZZZ1"), 30.1, 120.0, QStringLiteral("ZZZ2"), 29.9, 120.1, 0.0);
    QCOMPARE(path.size(), 1);
    QCOMPARE(path.at(0).ident, QStringLiteral("ZZZ2"));
    QCOMPARE(path.at(0).lat, 29.9);
    QCOMPARE(path.at(0).lon, 120.1);
    QCOMPARE(path.at(0).airway, QStringLiteral("DCT"));
}

void TestAirwayPathfinder::segmentsWithNaNAreIgnored()
{
    AirwayPathfinder pf;
    pf.setSegments(
        {seg("A1", "AAA", 30.0, 120.0, "BBB", std::nan(""), 121.0), seg("A2", "CCC", 30.0, 121.0, "DDD", 30.0, 122.0)});
    QCOMPARE(pf.nodeCount(), 2);
    QVERIFY(pf.findNearestNode(QStringLiteral("AAA"), 30.0, 120.0, 0.0).startsWith(QStringLiteral("CCC@")));
}

void TestAirwayPathfinder::searchTakesTheShorterBranch()
{
    // A diamond: north over N1 (about 85 nm) or far south over S1 and S2 (about 190 nm); and an
    // island no route reaches.
    AirwayPathfinder pf;
    pf.setSegments({seg("N", "START", 30.0, 120.0, "N1", 30.5, 120.5), seg("N", "N1", 30.5, 120.5, "GOAL", 30.0, 121.0),
                    seg("S", "START", 30.0, 120.0, "S1", 28.5, 120.3), seg("S", "S1", 28.5, 120.3, "S2", 28.5, 120.7),
                    seg("S", "S2", 28.5, 120.7, "GOAL", 30.0, 121.0),
                    seg("I", "ISL1", 40.0, 130.0, "ISL2", 40.5, 130.0)});
    const auto path = pf.findPath(QStringLiteral("START"), 30.0, 120.0, QStringLiteral("GOAL"), 30.0, 121.0, 0.0);
    QCOMPARE(idents(path), QStringList({"START", "N1", "GOAL"}));
    QCOMPARE(path.at(0).airway, QStringLiteral("DCT"));
    QCOMPARE(path.at(2).airway, QStringLiteral("N"));
    QVERIFY(pf.findPath(QStringLiteral("START"), 30.0, 120.0, QStringLiteral("ISL2"), 40.5, 130.0, 0.0).isEmpty());
}

void TestAirwayPathfinder::searchAgreesWithAReferenceSearch_data()
{
    QTest::addColumn<quint32>("seed");
    QTest::newRow("seed 1") << 1u;
    QTest::newRow("seed 2") << 2u;
    QTest::newRow("seed 3") << 3u;
}

// Between random fixes the search finds a way exactly as short as the reference finds, made of
// the graph's own segments with their airways, or nothing where the reference finds nothing.
void TestAirwayPathfinder::searchAgreesWithAReferenceSearch()
{
    QFETCH(quint32, seed);
    QList<Fix> fixes;
    const QList<Segment> segments = randomAirways(seed, &fixes);
    AirwayPathfinder pf;
    pf.setSegments(segments);
    QSet<QString> published;
    for (const Segment &s : segments) {
        const QString a = AirwayPathfinder::waypointKey(s.fromIdent, s.fromLat, s.fromLon);
        const QString b = AirwayPathfinder::waypointKey(s.toIdent, s.toLat, s.toLon);
        published << s.airway + '|' + a + '|' + b << s.airway + '|' + b + '|' + a;
    }
    QRandomGenerator rng(seed + 100);
    int found = 0;
    int unreachable = 0;
    for (int i = 0; i < 40; ++i) {
        const Fix &from = fixes.at(rng.bounded(int(fixes.size())));
        // Every fifth search heads for the island.
        const Fix &to = fixes.at(i % 5 == 0 ? 225 + rng.bounded(15) : rng.bounded(225));
        const QString label = QStringLiteral("%1@%2,%3 to %4@%5,%6")
                                  .arg(from.ident)
                                  .arg(from.lat)
                                  .arg(from.lon)
                                  .arg(to.ident)
                                  .arg(to.lat)
                                  .arg(to.lon);
        if (from.lat == to.lat && from.lon == to.lon)
            continue;
        const double expected = referenceDistance(segments, from, to);
        const auto path = pf.findPath(from.ident, from.lat, from.lon, to.ident, to.lat, to.lon, 0.0);
        if (std::isinf(expected)) {
            QVERIFY2(path.isEmpty(), qPrintable(label));
            ++unreachable;
            continue;
        }
        QVERIFY2(path.size() >= 2, qPrintable(label));
        ++found;
        QCOMPARE(AirwayPathfinder::waypointKey(path.first().ident, path.first().lat, path.first().lon),
                 AirwayPathfinder::waypointKey(from.ident, from.lat, from.lon));
        QCOMPARE(AirwayPathfinder::waypointKey(path.last().ident, path.last().lat, path.last().lon),
                 AirwayPathfinder::waypointKey(to.ident, to.lat, to.lon));
        double length = 0.0;
        for (int k = 1; k < path.size(); ++k) {
            const auto &a = path.at(k - 1);
            const auto &b = path.at(k);
            const QString step = b.airway + '|' + AirwayPathfinder::waypointKey(a.ident, a.lat, a.lon) + '|' +
                                 AirwayPathfinder::waypointKey(b.ident, b.lat, b.lon);
            QVERIFY2(published.contains(step), qPrintable(label + QStringLiteral(": ") + step));
            length += AirwayPathfinder::heuristicDistance(a.lat, a.lon, b.lat, b.lon);
        }
        QVERIFY2(std::abs(length - expected) < 1e-6,
                 qPrintable(QStringLiteral("%1: %2 nm against %3 nm").arg(label).arg(length).arg(expected)));
    }
    // The draw gives both kinds of search, so neither branch above goes untested.
    QVERIFY(found >= 20);
    QVERIFY(unreachable >= 5);
}

void TestAirwayPathfinder::implausiblyLongSegmentsAreLeftOut_data()
{
    QTest::addColumn<double>("bound"); // negative: the pathfinder's own
    QTest::addColumn<int>("nodes");
    QTest::addColumn<QStringList>("route");
    // The airport lies 1 nm from DEAD, whose one segment leads 3,470 nm away, and 37 nm from LIVE.
    QTest::newRow("no bound: through the far fix") << 0.0 << 6 << QStringList({"START", "XFAR", "DEAD"});
    QTest::newRow("own bound: to the nearest usable fix") << -1.0 << 4 << QStringList({"START", "P1", "LIVE"});
    QTest::newRow("150 nm: LIVE's 163 nm segment goes too") << 150.0 << 2 << QStringList({"START", "P1"});
}

void TestAirwayPathfinder::implausiblyLongSegmentsAreLeftOut()
{
    QFETCH(double, bound);
    QFETCH(int, nodes);
    QFETCH(QStringList, route);
    AirwayPathfinder pf;
    if (bound >= 0.0)
        pf.setMaxSegmentNm(bound);
    // OCEAN's 973 nm segment is as long as the longest real ones and stays with the own bound.
    pf.setSegments(
        {seg("A1", "START", 40.0, 110.0, "P1", 40.0, 113.0), seg("A1", "P1", 40.0, 113.0, "LIVE", 40.5, 116.5),
         seg("B9", "DEAD", 40.0, 116.0, "XFAR", 10.0, 60.0), seg("B9", "XFAR", 10.0, 60.0, "START", 40.0, 110.0),
         seg("C1", "START", 40.0, 110.0, "OCEAN", 56.2, 110.0)});
    QCOMPARE(pf.nodeCount(), nodes);
    QCOMPARE(idents(pf.findPath(QStringLiteral("ZSXX"), 40.0, 110.0, QStringLiteral("ZBXX"), 40.01, 116.01, 0.0)),
             route);
}

void TestAirwayPathfinder::identifierAndTieRules()
{
    // DUP exists twice, in the east and in the west; the one near the start is the one used.
    AirwayPathfinder pf;
    pf.setSegments({seg("E", "DUP", 30.0, 120.0, "EAST", 30.0, 121.0), seg("W", "DUP", 30.0, 10.0, "WEST", 30.0, 11.0),
                    seg("T", "TIE", 10.0, 0.0, "MID", 10.0, 1.0), seg("T", "MID", 10.0, 1.0, "TIE", 10.0, 2.0)});
    QVERIFY(pf.findNearestNode(QStringLiteral("DUP"), 31.0, 121.0, 0.0).contains(QStringLiteral("@30.0000,120.0000")));
    QVERIFY(pf.findNearestNode(QStringLiteral("DUP"), 31.0, 12.0, 0.0).contains(QStringLiteral("@30.0000,10.0000")));
    // Two TIE fixes at the same distance: the first in key order ("TIE@10.0000,0.0000") wins.
    QCOMPARE(pf.findNearestNode(QStringLiteral("TIE"), 10.0, 1.0, 0.0), QStringLiteral("TIE@10.0000,0.0000"));
    // By names only: the closest pair of DUP and WEST is the western DUP.
    QCOMPARE(idents(pf.findPath(QStringLiteral("DUP"), QStringLiteral("WEST"))), QStringList({"DUP", "WEST"}));
    QCOMPARE(pf.findPath(QStringLiteral("DUP"), QStringLiteral("WEST")).first().lon, 10.0);
    QVERIFY(pf.findPath(QStringLiteral("DUP"), QStringLiteral("NOWHERE")).isEmpty());
    QCOMPARE(AirwayPathfinder::waypointKey(QStringLiteral("KAKIS"), 31.12344, -121.56789),
             QStringLiteral("KAKIS@31.1234,-121.5679"));
}

void TestAirwayPathfinder::distancesUseTheirOwnConstants()
{
    // One degree along a meridian: 3440.065 x pi / 180 nm for the search, 6371 x pi / 180 km
    // x 0.539957 for route lengths.
    const double search = AirwayPathfinder::heuristicDistance(30.0, 120.0, 31.0, 120.0);
    const double length = AirwayPathfinder::totalDistanceNm({seg("A", "X", 30.0, 120.0, "Y", 31.0, 120.0)});
    QVERIFY(std::abs(search - 60.040461) < 1e-5);
    QVERIFY(std::abs(length - 60.040479) < 1e-5);
    QVERIFY(search != length);
    const auto direct = AirwayPathfinder().directRoute(30.0, 120.0, 31.0, 121.0);
    QCOMPARE(direct.size(), 1);
    QCOMPARE(direct.at(0).airway, QStringLiteral("DCT"));
    QCOMPARE(direct.at(0).fromIdent, QStringLiteral("DIRECT"));
    QCOMPARE(direct.at(0).toIdent, QStringLiteral("DIRECT"));
    QCOMPARE(direct.at(0).toLon, 121.0);
}

void TestAirwayPathfinder::alongAnAirway()
{
    AirwayPathfinder pf;
    pf.setSegments({seg("G1", "A", 30.0, 120.0, "B", 30.0, 121.0), seg("G1", "B", 30.0, 121.0, "C", 30.0, 122.0),
                    seg("G1", "C", 30.0, 122.0, "D", 30.0, 123.0), seg("X9", "B", 30.0, 121.0, "E", 31.0, 121.0)});
    const auto along = pf.pathAlongAirway(QStringLiteral("A"), 30.0, 120.0, QStringLiteral("G1"), QStringLiteral("D"));
    QCOMPARE(idents(along), QStringList({"A", "B", "C", "D"}));
    QCOMPARE(along.at(3).airway, QStringLiteral("G1"));
    // Against the airway's listed order works too (direction is not modelled).
    QCOMPARE(idents(pf.pathAlongAirway(QStringLiteral("D"), 30.0, 123.0, QStringLiteral("G1"), QStringLiteral("B"))),
             QStringList({"D", "C", "B"}));
    QVERIFY(pf.pathAlongAirway(QStringLiteral("A"), 30.0, 120.0, QStringLiteral("G1"), QStringLiteral("E")).isEmpty());
    QVERIFY(pf.pathAlongAirway(QStringLiteral("A"), 30.0, 120.0, QStringLiteral("X9"), QStringLiteral("E")).isEmpty());
}

// On the real airways of the excerpt: every step of the route is a published segment of the
// airway it is labelled with.
void TestAirwayPathfinder::routesOnRealAirways()
{
    QTemporaryDir dir;
    OfflineNavDataProvider nav;
    QVERIFY(buildPlanTestDatabase(dir.filePath(QStringLiteral("nav.db")), &nav));
    const QList<AirwaySegment> airways = nav.airways();
    QVERIFY(airways.size() > 300);
    AirwayPathfinder pf;
    pf.setSegments(AirwayPathfinder::segmentsFrom(airways));
    QSet<QString> published;
    for (const AirwaySegment &s : airways) {
        published.insert(QStringLiteral("%1|%2|%3").arg(s.name, s.fromIdent, s.toIdent));
        published.insert(QStringLiteral("%1|%2|%3").arg(s.name, s.toIdent, s.fromIdent));
    }
    const AirportRecord zspd = nav.airport(QStringLiteral("ZSPD"));
    const AirportRecord zbaa = nav.airport(QStringLiteral("ZBAA"));
    const auto path = pf.findPath(zspd.icao, zspd.lat, zspd.lon, zbaa.icao, zbaa.lat, zbaa.lon, 200.0);
    QVERIFY2(path.size() >= 5, qPrintable(idents(path).join(' ')));
    for (int i = 1; i < path.size(); ++i) {
        const QString step = QStringLiteral("%1|%2|%3").arg(path.at(i).airway, path.at(i - 1).ident, path.at(i).ident);
        QVERIFY2(published.contains(step), qPrintable(step));
    }
    // It starts and ends near the airports and is not a detour: under 1.3 times the direct distance.
    double length = 0.0;
    for (int i = 1; i < path.size(); ++i)
        length +=
            AirwayPathfinder::heuristicDistance(path.at(i - 1).lat, path.at(i - 1).lon, path.at(i).lat, path.at(i).lon);
    const double direct = AirwayPathfinder::heuristicDistance(zspd.lat, zspd.lon, zbaa.lat, zbaa.lon);
    QVERIFY(AirwayPathfinder::heuristicDistance(zspd.lat, zspd.lon, path.first().lat, path.first().lon) < 200.0);
    QVERIFY(AirwayPathfinder::heuristicDistance(zbaa.lat, zbaa.lon, path.last().lat, path.last().lon) < 200.0);
    QVERIFY2(length < 1.3 * direct, qPrintable(QStringLiteral("%1 against %2").arg(length).arg(direct)));
}

QTEST_GUILESS_MAIN(TestAirwayPathfinder)
#include "tst_airwaypathfinder.moc"
