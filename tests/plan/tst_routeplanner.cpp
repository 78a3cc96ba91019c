#include "plantestdb.h"

#include "plan/airwaypathfinder.h"
#include "plan/flightplanfile.h"
#include "plan/routeplanner.h"
#include "tests/support/logexpect.h"

#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using Type = FlightPlanWaypoint::Type;
using Segment = FlightPlanWaypoint::Segment;

namespace {

QStringList idents(const QList<FlightPlanWaypoint> &points)
{
    QStringList result;
    for (const FlightPlanWaypoint &w : points)
        result.append(w.ident);
    return result;
}

} // namespace

// The route planner on the East China excerpt (real airways, fixes and airports; synthetic
// procedures at ZSPD and ZBAA).
class TestRoutePlanner : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }

    void plansProceduresAndAirways();
    void routeText_data();
    void routeText();
    void choicesForTheForm();
    void ofpBecomesAPlan();
    void pointsWithoutPositionAreResolved();
    void placements();
    void farDetourIsNoted();

private:
    QTemporaryDir m_dir;
    std::unique_ptr<OfflineNavDataProvider> m_nav;
    AirwayPathfinder m_pathfinder;
    QSet<QString> m_published; // "airway|from|to" both ways
};

void TestRoutePlanner::initTestCase()
{
    m_nav = std::make_unique<OfflineNavDataProvider>();
    QVERIFY(buildPlanTestDatabase(m_dir.filePath(QStringLiteral("nav.db")), m_nav.get()));
    const QList<AirwaySegment> airways = m_nav->airways();
    m_pathfinder.setSegments(AirwayPathfinder::segmentsFrom(airways));
    for (const AirwaySegment &s : airways) {
        m_published.insert(QStringLiteral("%1|%2|%3").arg(s.name, s.fromIdent, s.toIdent));
        m_published.insert(QStringLiteral("%1|%2|%3").arg(s.name, s.toIdent, s.fromIdent));
    }
}

void TestRoutePlanner::plansProceduresAndAirways()
{
    RoutePlanner planner(m_nav.get(), &m_pathfinder);
    RoutePlanner::Request request;
    request.departure = QStringLiteral("zspd");
    request.departureRunway = QStringLiteral("35L");
    request.sid = QStringLiteral("POMO1A");
    request.destination = QStringLiteral("ZBAA");
    request.destinationRunway = QStringLiteral("36R");
    request.star = QStringLiteral("VYK1A");
    request.approach = QStringLiteral("I36R");
    request.approachTransition = QStringLiteral("WFNB");
    request.cruiseAltitudeFt = 29100;
    const RoutePlanner::Result result = planner.planRoute(request);
    QVERIFY2(result.ok, qPrintable(result.error));
    QVERIFY2(result.notes.isEmpty(), qPrintable(result.notes.join(" / ")));
    const FlightPlan &plan = result.plan;
    const QStringList names = idents(plan.waypoints);

    QCOMPARE(plan.departure, QStringLiteral("ZSPD"));
    QCOMPARE(plan.departureName, QStringLiteral("Shanghai Pudong Intl"));
    QCOMPARE(plan.sid, QStringLiteral("POMO1A"));
    QCOMPARE(plan.star, QStringLiteral("VYK1A"));
    QCOMPARE(plan.approach, QStringLiteral("I36R"));
    // The SID's altitude leg has no fix; the missed approach after the runway is left out.
    QCOMPARE(names.mid(0, 3), QStringList({"ZSPD", "PUD", "POMOK"}));
    QCOMPARE(names.mid(names.indexOf(QStringLiteral("VYK"))), QStringList({"VYK", "WFNB", "RW36R", "ZBAA"}));
    QCOMPARE(plan.waypoints.at(1).type, Type::Vor);
    QCOMPARE(plan.waypoints.at(1).altitudeFt, 3000.0);
    QCOMPARE(plan.waypoints.at(2).segment, Segment::Sid);

    // Segments run in order, and every en-route step is a published segment of its airway.
    int lastSegment = 0;
    for (int i = 0; i < plan.waypoints.size(); ++i) {
        const FlightPlanWaypoint &w = plan.waypoints.at(i);
        QVERIFY2(int(w.segment) >= lastSegment, qPrintable(w.ident));
        lastSegment = int(w.segment);
        if (w.segment == Segment::Enroute && !w.airway.isEmpty()) {
            const QString step = QStringLiteral("%1|%2|%3").arg(w.airway, plan.waypoints.at(i - 1).ident, w.ident);
            QVERIFY2(m_published.contains(step), qPrintable(step));
            QCOMPARE(w.altitudeFt, 29100.0);
        }
    }
    QVERIFY(names.size() > 8);
    QCOMPARE(plan.waypoints.at(names.indexOf("WFNB")).segment, Segment::Star);
    QCOMPARE(plan.waypoints.at(names.indexOf("RW36R")).segment, Segment::Approach);

    // The same en-route part typed as text gives the same points.
    RoutePlanner::Request typed = request;
    typed.route = plan.routeString();
    const RoutePlanner::Result again = planner.planRoute(typed);
    QVERIFY2(again.ok, qPrintable(again.error + " in " + typed.route));
    QCOMPARE(idents(again.plan.waypoints), names);

    // An airport the data lacks.
    request.destination = QStringLiteral("KXYZ");
    const RoutePlanner::Result missing = planner.planRoute(request);
    QVERIFY(!missing.ok);
    QVERIFY(missing.error.contains(QStringLiteral("KXYZ")));
}

void TestRoutePlanner::routeText_data()
{
    QTest::addColumn<QString>("route");
    QTest::addColumn<QStringList>("points");
    QTest::addColumn<QStringList>("airways");
    QTest::addColumn<QString>("error");

    QTest::newRow("along G330") << "ZSPD POMOK G330 PIMOL ZBAA" << QStringList{"POMOK", "PIKAS", "UNTAN", "PIMOL"}
                                << QStringList{"", "G330", "G330", "G330"} << "";
    QTest::newRow("groups and DCT") << "N0450F290 POMOK/N0450F290 DCT PUD" << QStringList{"POMOK", "PUD"}
                                    << QStringList{"", ""} << "";
    QTest::newRow("coordinates") << "3200N12000E 33N119E" << QStringList{"3200N12000E", "33N119E"}
                                 << QStringList{"", ""} << "";
    QTest::newRow("SID named first") << "POMO1A POMOK G330 PIKAS" << QStringList{"POMOK", "PIKAS"}
                                     << QStringList{"", "G330"} << "";
    QTest::newRow("unknown airway") << "POMOK G999 UNTAN" << QStringList() << QStringList() << "G999";
    QTest::newRow("unknown fix") << "POMOK NOSUCH" << QStringList() << QStringList() << "NOSUCH";
    QTest::newRow("airway that does not join") << "POMOK W57 UNTAN" << QStringList() << QStringList() << "W57";
}

void TestRoutePlanner::routeText()
{
    QFETCH(QString, route);
    QFETCH(QStringList, points);
    QFETCH(QStringList, airways);
    QFETCH(QString, error);
    RoutePlanner planner(m_nav.get(), &m_pathfinder);
    FlightPlanWaypoint from;
    from.ident = QStringLiteral("ZSPD");
    from.type = Type::Airport;
    from.segment = Segment::Departure;
    from.lat = 31.1434;
    from.lon = 121.8052;
    FlightPlanWaypoint to = from;
    to.ident = QStringLiteral("ZBAA");
    to.segment = Segment::Destination;
    to.lat = 40.08;
    to.lon = 116.58;
    QList<FlightPlanWaypoint> result;
    QString reason;
    const bool ok = planner.resolveRoute(route, from, to, &result, &reason);
    QCOMPARE(ok, error.isEmpty());
    if (!ok) {
        QVERIFY2(reason.contains(error), qPrintable(reason));
        return;
    }
    QCOMPARE(idents(result), points);
    QStringList gotAirways;
    for (const FlightPlanWaypoint &w : result)
        gotAirways.append(w.airway);
    QCOMPARE(gotAirways, airways);
    if (route.startsWith(QLatin1String("3200N"))) {
        QCOMPARE(result.at(0).type, Type::User);
        QCOMPARE(result.at(0).lat, 32.0);
        QCOMPARE(result.at(1).lon, 119.0);
    }
}

void TestRoutePlanner::choicesForTheForm()
{
    const RoutePlanner planner(m_nav.get(), &m_pathfinder);
    QVERIFY(planner.runways(QStringLiteral("ZSPD")).contains(QStringLiteral("35L")));
    QCOMPARE(planner.procedureNames(QStringLiteral("ZSPD"), QStringLiteral("SID"), QStringLiteral("35L")),
             QStringList{QStringLiteral("POMO1A")});
    QCOMPARE(planner.procedureNames(QStringLiteral("ZSPD"), QStringLiteral("SID"), QStringLiteral("17R")),
             QStringList{QStringLiteral("POMO1B")});
    QCOMPARE(planner.procedureNames(QStringLiteral("ZSPD"), QStringLiteral("SID"), QString()),
             QStringList({QStringLiteral("POMO1A"), QStringLiteral("POMO1B")}));
    // A STAR without runway parts serves every runway.
    QCOMPARE(planner.procedureNames(QStringLiteral("ZBAA"), QStringLiteral("STAR"), QStringLiteral("01")),
             QStringList{QStringLiteral("VYK1A")});
    QCOMPARE(planner.approachNames(QStringLiteral("ZBAA"), QStringLiteral("36R")), QStringList{QStringLiteral("I36R")});
    QVERIFY(planner.approachNames(QStringLiteral("ZBAA"), QStringLiteral("36L")).isEmpty());
    QCOMPARE(planner.transitions(QStringLiteral("ZBAA"), QStringLiteral("STAR"), QStringLiteral("VYK1A")),
             QStringList{QStringLiteral("OKTON")});
    QCOMPARE(planner.transitions(QStringLiteral("ZBAA"), QStringLiteral("APPCH"), QStringLiteral("I36R")),
             QStringList{QStringLiteral("WFNB")});
    QCOMPARE(idents(planner.procedurePoints(QStringLiteral("ZBAA"), QStringLiteral("STAR"), QStringLiteral("VYK1A"),
                                            QStringLiteral("36R"), QStringLiteral("OKTON"))),
             QStringList({"OKTON", "VYK", "WFNB"}));
    QCOMPARE(RoutePlanner::approachRunway(QStringLiteral("R31RZ")), QStringLiteral("31R"));
    QCOMPARE(RoutePlanner::approachRunway(QStringLiteral("VDM-A")), QString());
}

void TestRoutePlanner::ofpBecomesAPlan()
{
    RoutePlanner planner(m_nav.get(), &m_pathfinder);

    // A route text the data can follow.
    SimBriefService::OFPData flat;
    flat.origin = QStringLiteral("ZSPD");
    flat.destination = QStringLiteral("ZBAA");
    flat.route = QStringLiteral("POMOK G330 PIMOL");
    flat.flightLevel = 291;
    flat.valid = true;
    RoutePlanner::Result result = planner.planFromOfp(flat);
    QVERIFY2(result.ok, qPrintable(result.error));
    QCOMPARE(idents(result.plan.waypoints), QStringList({"ZSPD", "POMOK", "PIKAS", "UNTAN", "PIMOL", "ZBAA"}));
    QCOMPARE(result.plan.cruiseAltitudeFt, 29100);

    // Only a fix list.
    flat.route = QStringLiteral("POMOK XX99 PIMOL");
    flat.fixList = QStringLiteral("POMOK PUD ZBAA");
    result = planner.planFromOfp(flat);
    QVERIFY2(result.ok, qPrintable(result.error));
    QCOMPARE(idents(result.plan.waypoints), QStringList({"ZSPD", "POMOK", "PUD", "ZBAA"}));
    QVERIFY(result.notes.value(0).contains(QStringLiteral("XX99")));

    // The real OFP: its airways are not in this data, so its own navigation log is used.
    QFile file(QStringLiteral(SHARED_TESTDATA_DIR "/simbrief/simbrief2fgfs-LEBLLQSA_XML_1607637506.xml"));
    if (!file.open(QIODevice::ReadOnly))
        QSKIP("shared test data not present");
    const SimBriefService::OFPData ofp = SimBriefService::parseOFP(file.readAll());
    result = planner.planFromOfp(ofp);
    QVERIFY2(result.ok, qPrintable(result.error));
    const FlightPlan &plan = result.plan;
    QCOMPARE(plan.waypoints.size(), 16);
    QCOMPARE(plan.waypoints.first().ident, QStringLiteral("LEBL"));
    QCOMPARE(plan.waypoints.at(1).ident, QStringLiteral("SALON"));
    QCOMPARE(plan.waypoints.at(2).airway, QStringLiteral("UM985"));
    QCOMPARE(plan.waypoints.last().ident, QStringLiteral("LQSA"));
    QCOMPARE(plan.waypoints.last().lat, 43.824472);
    QCOMPARE(plan.departureRunway, QStringLiteral("25L"));
    QCOMPARE(plan.cruiseAltitudeFt, 38000);
    // The log's legs add up to the OFP's route distance (797 nm) but for the SID and STAR it
    // leaves out: within 5 %.
    QVERIFY2(std::abs(plan.totalDistanceNm() - 797.0) < 0.05 * 797.0,
             qPrintable(QString::number(plan.totalDistanceNm())));
}

void TestRoutePlanner::pointsWithoutPositionAreResolved()
{
    const QString path =
        QStringLiteral(SHARED_TESTDATA_DIR "/flightplans/aerofly-missions-fixtures/simbrief-mfs2024.pln");
    if (!QFile::exists(path))
        QSKIP("shared test data not present");
    FlightPlan plan;
    QString error;
    QVERIFY2(FlightPlanFile::read(path, &plan, &error), qPrintable(error));
    // The world data is from 2016: AMRIV and MOMIC on Q63 are newer than it and stay unplaced.
    QCOMPARE(RoutePlanner(m_nav.get()).resolvePositions(&plan), 2);
    for (const FlightPlanWaypoint &w : std::as_const(plan.waypoints)) {
        const bool newer = w.ident == QLatin1String("AMRIV") || w.ident == QLatin1String("MOMIC");
        QVERIFY2(w.positioned != newer, qPrintable(w.ident));
    }
    const AirportRecord ekrk = m_nav->airport(QStringLiteral("EKRK"));
    QCOMPARE(plan.waypoints.first().lat, ekrk.lat);
    const WaypointRecord tobis = m_nav->findWaypoint(QStringLiteral("TOBIS"));
    QCOMPARE(plan.waypoints.at(1).lat, tobis.lat);
    QCOMPARE(plan.waypoints.at(1).lon, tobis.lon);
    QCOMPARE(plan.star, QStringLiteral("SUMU1C"));
    QCOMPARE(plan.approach, QStringLiteral("I09"));
}

void TestRoutePlanner::placements()
{
    FlightPlan plan;
    plan.cruiseAltitudeFt = 29100;
    FlightPlanWaypoint a;
    a.ident = QStringLiteral("ZSPD");
    a.type = Type::Airport;
    a.segment = Segment::Departure;
    a.lat = 31.0;
    a.lon = 121.0;
    a.altitudeFt = 13;
    FlightPlanWaypoint fix = a;
    fix.ident = QStringLiteral("MID");
    fix.type = Type::Fix;
    fix.segment = Segment::Enroute;
    fix.lat = 35.0;
    fix.altitudeFt = 0;
    FlightPlanWaypoint faf = fix;
    faf.ident = QStringLiteral("FAF");
    faf.segment = Segment::Approach;
    faf.lat = 39.0;
    faf.altitudeFt = 4000;
    FlightPlanWaypoint dest = a;
    dest.ident = QStringLiteral("ZBAA");
    dest.segment = Segment::Destination;
    dest.lat = 39.2;
    dest.altitudeFt = 115;
    plan.waypoints = {a, fix, faf, dest};

    const RoutePlanner::Placement ground = RoutePlanner::placementAt(plan, 0);
    QVERIFY(ground.onGround);
    QCOMPARE(ground.altitudeFt, 13.0);
    QVERIFY(std::abs(ground.headingDeg - 0.0) < 1e-6); // due north to MID
    const RoutePlanner::Placement enroute = RoutePlanner::placementAt(plan, 1);
    QVERIFY(!enroute.onGround);
    QCOMPARE(enroute.altitudeFt, 29100.0);
    QCOMPARE(enroute.speedKt, 280.0);

    // Ten miles before the approach fix, on its inbound course, on a three-degree profile.
    RoutePlanner::Placement before;
    QVERIFY(RoutePlanner::placementBeforeArrival(plan, 10.0, &before));
    QVERIFY(std::abs(FlightPlan::distanceNm(before.lat, before.lon, faf.lat, faf.lon) - 10.0) < 1e-6);
    QVERIFY(std::abs(before.lat - (39.0 - 10.0 / 60.04046)) < 1e-4);
    QVERIFY(std::abs(before.headingDeg) < 1e-6);
    QCOMPARE(before.altitudeFt, 4000.0 + 10.0 * RoutePlanner::kDescentFtPerNm);
    QCOMPARE(before.speedKt, 210.0);

    // Without arrival procedures: before the destination, down to its field elevation.
    plan.waypoints.removeAt(2);
    QVERIFY(RoutePlanner::placementBeforeArrival(plan, 5.0, &before));
    QCOMPARE(before.altitudeFt, 115.0 + 5.0 * RoutePlanner::kDescentFtPerNm);
    plan.waypoints = {a};
    QVERIFY(!RoutePlanner::placementBeforeArrival(plan, 5.0, &before));
}

// Airways that only join the two airports by way of the open sea: the route is kept (it follows
// airways) and the note says how far it is against the direct line.
void TestRoutePlanner::farDetourIsNoted()
{
    AirwayPathfinder detour;
    auto segment = [](const char *from, double fromLat, double fromLon, const char *to, double toLat, double toLon) {
        return AirwayPathfinder::AirwaySegment{
            QStringLiteral("W1"), QLatin1String(from), fromLat, fromLon, QLatin1String(to), toLat, toLon};
    };
    detour.setSegments({segment("AAAAA", 31.3, 121.9, "FARSO", 25.0, 128.0),
                        segment("FARSO", 25.0, 128.0, "FARNO", 35.0, 128.0),
                        segment("FARNO", 35.0, 128.0, "BBBBB", 39.9, 116.7)});
    RoutePlanner planner(m_nav.get(), &detour);
    RoutePlanner::Request request;
    request.departure = QStringLiteral("ZSPD");
    request.destination = QStringLiteral("ZBAA");
    request.cruiseAltitudeFt = 31100;
    const RoutePlanner::Result result = planner.planRoute(request);
    QVERIFY2(result.ok, qPrintable(result.error));
    QCOMPARE(idents(result.plan.waypoints), QStringList({"ZSPD", "AAAAA", "FARSO", "FARNO", "BBBBB", "ZBAA"}));
    QCOMPARE(result.notes.size(), 1);
    const QString note = result.notes.first();
    QVERIFY2(note.contains(QStringLiteral("ZSPD")) && note.contains(QStringLiteral("ZBAA")), qPrintable(note));
    // About 1,650 nm along the airways against about 580 nm direct.
    const QRegularExpressionMatch ratio = QRegularExpression(QStringLiteral("的 (\\d+\\.\\d) 倍")).match(note);
    QVERIFY2(ratio.hasMatch(), qPrintable(note));
    QVERIFY2(ratio.captured(1).toDouble() > 2.5 && ratio.captured(1).toDouble() < 3.2, qPrintable(note));
}

QTEST_GUILESS_MAIN(TestRoutePlanner)
#include "tst_routeplanner.moc"
