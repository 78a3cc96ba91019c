#include "navtestdb.h"

#include "app/log/applogger.h"
#include "nav/databasebuilder.h"
#include "nav/offlinenavdataprovider.h"
#include "tests/support/logexpect.h"

#include <QAtomicInt>
#include <QFile>
#include <QFileInfo>
#include <QFuture>
#include <QRegularExpression>
#include <QSet>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QtConcurrent/QtConcurrentRun>

using namespace navtest;

namespace {

// Rows shared by most tests: a few real places around Shanghai and Beijing, plus records that
// exist to test a rule (a second "SH" aid and a second "DUMET" fix far away, legs out of order).
QStringList standardRows()
{
    return {
        "INSERT INTO airports (icao, name, lat, lon, elevation, city, country, has_tower, runway_count) VALUES "
        "('ZBAA', 'Beijing Capital', 40.0801, 116.5846, 116, 'Beijing', 'CN', 1, 1), "
        "('ZSPD', 'Shanghai Pudong', 31.1434, 121.8052, 13, 'Shanghai', 'CN', 1, 2), "
        "('ZSSS', 'Hongqiao', 31.1979, 121.3363, 10, 'Shanghai', 'CN', 1, 1), "
        "('KJFK', 'John F Kennedy', 40.6398, -73.7789, 13, 'New York', 'US', 1, 1)",
        "INSERT INTO runways (airport_icao, ident, length, width, heading, lat, lon, surface) VALUES "
        "('ZSPD', '35L', 12467, 197, 344, 31.12, 121.80, 'CONC'), ('ZSPD', '17R', 12467, 197, 164, 31.17, 121.79, "
        "'CONC'), ('ZBAA', '36R', 10499, 164, 356, 40.06, 116.60, 'TURF')",
        "INSERT INTO navaids (ident, type, lat, lon, freq, range_nm, airport_icao) VALUES "
        "('PEK', 'VOR', 40.0731, 116.5981, 114.7, 130, 'ZBAA'), ('SH', 'NDB', 31.117, 121.333, 375, 50, 'ZSSS'), "
        "('SH', 'NDB', 10.0, -60.0, 300, 50, ''), ('CAN', 'VORDME', 23.384, 113.296, 114.1, 130, '')",
        "INSERT INTO waypoints (ident, lat, lon, type) VALUES ('DUMET', 31.45, 122.9, 'FIX'), "
        "('KUBAT', 38.95, 117.35, 'FIX'), ('DUMET', 50.0, 8.0, 'FIX'), ('DUMAX', 31.0, 122.0, 'FIX')",
        "INSERT INTO procedures (airport_icao, type, runway_ident, name) VALUES ('ZSPD', 'SID', '35L', 'PIK1A'), "
        "('ZSPD', 'STAR', '35L', 'DUM1A'), ('ZBAA', 'SID', '36R', 'KUB1A')",
        "INSERT INTO procedure_legs (airport_icao, proc_name, proc_type, runway, seq, fix_ident, fix_region, "
        "fix_type1, fix_type2, fix_type3, leg_type, lat, lon, altitude, speed_limit) VALUES "
        "('ZSPD', 'PIK1A', 'SID', '35L', 30, 'DUMET', 'ZS', 'E', 'A', '', 'TF', 31.45, 122.9, 6000, 0), "
        "('ZSPD', 'PIK1A', 'SID', '35L', 10, 'PD', 'ZS', 'P', 'N', '', 'IF', 31.03, 121.83, 0, 0), "
        "('ZSPD', 'DUM1A', 'STAR', '35L', 10, 'DUMET', 'ZS', 'E', 'A', '', 'IF', 31.45, 122.9, 9000, 250), "
        "('ZSPD', 'PIK1A', 'SID', '35L', 20, 'DUMAX', 'ZS', 'E', 'A', '', 'TF', 31.0, 122.0, 4000, 230), "
        "('ZBAA', 'KUB1A', 'SID', '36R', 10, 'KUBAT', 'ZB', 'E', 'A', '', 'IF', 38.95, 117.35, 8000, 0)",
        "INSERT INTO airways (name, level, from_waypoint_id, to_waypoint_id, from_ident, from_lat, from_lon, "
        "to_ident, to_lat, to_lon, direction) VALUES ('A593', 'HIGH', 0, 0, 'SH', 31.117, 121.333, 'DUMET', "
        "31.45, 122.9, 'B'), ('G212', 'LOW', 0, 0, 'PEK', 40.0731, 116.5981, 'KUBAT', 38.95, 117.35, 'B')",
        "INSERT INTO airspaces (name, type, bottom_alt, top_alt, boundary) VALUES ('Shanghai TMA', 'CLASS_C', "
        "1000, 19700, '120.8,30.7 122.4,30.7 122.6,31.5 121.9,32.0')",
        "INSERT INTO navdata_meta (key, value) VALUES ('cycle_major', '2510'), ('cycle_minor', '2'), "
        "('provider', 'Navigraph')",
        "INSERT INTO parkings (airport_icao, name, type, lat, lon, heading) VALUES ('ZSPD', 'G1', NULL, 31.15, "
        "121.80, 90), ('ZSPD', 'R7', 'RAMP', 31.14, 121.81, 270)",
        "INSERT INTO towers (airport_icao, lat, lon, frequency, name) VALUES ('ZSPD', 31.15, 121.80, 118.8, "
        "'Pudong Tower')",
        "INSERT INTO frequencies (airport_icao, type, frequency, name) VALUES ('ZSPD', 'TWR', 118.8, 'Tower'), "
        "('ZSPD', 'GND', 121.65, 'Ground')",
    };
}

QString makeDatabase(const QTemporaryDir &dir, const QString &name, const QStringList &extraRows = {})
{
    const QString path = dir.filePath(name);
    if (!createFullSchema(path))
        return QString();
    DatabaseBuilder builder;
    if (!builder.executeSql(path, standardRows() + extraRows))
        return QString();
    return path;
}

bool logged(AppLogger::Level level, const QString &start)
{
    for (const AppLogger::Entry &e : AppLogger::instance().recentEntries(AppLogger::kMaxEntries)) {
        if (e.level == level && e.message.startsWith(start))
            return true;
    }
    return false;
}

QStringList icaos(const QList<AirportRecord> &airports)
{
    QStringList out;
    for (const AirportRecord &a : airports)
        out << a.icao;
    return out;
}

template <typename Record> QStringList idents(const QList<Record> &records)
{
    QStringList out;
    for (const Record &r : records)
        out << r.ident;
    return out;
}

} // namespace

class TestOfflineNavDataProvider : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
        AppLogger::instance().clear();
    }

    void loadsTheBuilderLayout()
    {
        QTemporaryDir dir;
        const QString path = makeDatabase(dir, "nav.db");
        QVERIFY(!path.isEmpty());
        OfflineNavDataProvider nav;
        QVERIFY(nav.loadFromDatabase(path));
        QCOMPARE(nav.dbPath(), path);
        QVERIFY(logged(AppLogger::Info, "loadFromDatabase: " + path + " size= "));
        QVERIFY(logged(AppLogger::Info, "Loaded 2 airway segments"));
        QVERIFY(
            logged(AppLogger::Info,
                   "Loaded 4 airports, 2 runway groups, 4 navaids, 4 waypoints, 3 procedures, 5 procedure_legs from"));

        QCOMPARE(icaos(nav.airports()), (QStringList{"KJFK", "ZBAA", "ZSPD", "ZSSS"}));
        const AirportRecord zspd = nav.airport("ZSPD");
        QCOMPARE(zspd.name, QString("Shanghai Pudong"));
        QCOMPARE(zspd.runwayCount, 2);
        QCOMPARE(zspd.longestRunway, QString("12467 ft"));
        QVERIFY(zspd.isHardSurface);
        QVERIFY(!nav.airport("ZBAA").isHardSurface);
        QCOMPARE(nav.runways("ZSPD").size(), 2);

        const QList<INavDataProvider::ProcedureLeg> legs = nav.procedureLegs("ZSPD", "PIK1A", "SID", "35L");
        QCOMPARE(legs.size(), 3);
        QCOMPARE((QList<int>{legs[0].seq, legs[1].seq, legs[2].seq}), (QList<int>{10, 20, 30}));
        QCOMPARE(legs[1].fixIdent, QString("DUMAX"));
        QCOMPARE(legs[1].speedLimit, 230);
        QCOMPARE(legs[2].altitude, 6000.0);
        QCOMPARE(legs[2].fixType1, QString("E"));
        QVERIFY(nav.procedureLegs("ZSPD", "PIK1A", "SID", "17R").isEmpty());
        QCOMPARE(nav.procedures("ZSPD", "STAR").size(), 1);
        QCOMPARE(nav.procedures("ZSPD", QString()).size(), 2);

        const QList<AirwaySegment> airways = nav.airways();
        QCOMPARE(airways.size(), 2);
        // The importer left the distance at its default; it is the great-circle length.
        QVERIFY(qAbs(airways[0].distance - DatabaseBuilder::distanceNm(31.117, 121.333, 31.45, 122.9)) < 1e-9);
        QCOMPARE(nav.airspaces().first().boundary.size(), 4);
        QCOMPARE(nav.airspaces().first().boundary.at(1), QPointF(30.7, 122.4)); // x = latitude

        const CycleInfo cycle = nav.cycleInfo();
        QCOMPARE(cycle.cycleMajor, 2510);
        QCOMPARE(cycle.cycleMinor, 2);
        QCOMPARE(cycle.provider, QString("Navigraph"));
        QCOMPARE(nav.tower("ZSPD").frequency, 118.8);
        QVERIFY(nav.tower("ZBAA").airportIcao.isEmpty());
        QCOMPARE(nav.frequencies("ZSPD").size(), 2);
        const QList<ParkingRecord> parkings = nav.parkings("ZSPD");
        QCOMPARE(parkings.size(), 2);
        QCOMPARE(parkings[0].type, QString("GATE"));
        QCOMPARE(parkings[1].type, QString("RAMP"));
        QVERIFY(nav.findNavaid("CAN", "").hasDme);
        QVERIFY(!nav.findNavaid("PEK", "").hasDme);
        QCOMPARE(nav.status(), INavDataProvider::Ready);
    }

    void loadsTheSceneryRecordLegLayout()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("scenery.db");
        DatabaseBuilder builder;
        // The table created first wins: this layout survives the schema's CREATE TABLE IF NOT EXISTS.
        QVERIFY(builder.executeSql(
            path, {"CREATE TABLE procedure_legs (id INTEGER PRIMARY KEY AUTOINCREMENT, airport_icao TEXT, "
                   "proc_name TEXT, proc_type TEXT, runway TEXT, transition TEXT, seq INTEGER, fix_ident TEXT, "
                   "fix_region TEXT, fix_type TEXT, leg_type TEXT, course REAL, dist_or_time REAL, altitude1 REAL, "
                   "altitude2 REAL, alt_descriptor TEXT, speed_limit INTEGER, turn_direction TEXT, flyover "
                   "INTEGER)"}));
        QVERIFY(createFullSchema(path));
        QVERIFY(builder.executeSql(path, standardRows().mid(0, 5)));
        QVERIFY(builder.executeSql(
            path, {"INSERT INTO procedure_legs (airport_icao, proc_name, proc_type, runway, transition, seq, "
                   "fix_ident, fix_region, leg_type, altitude1, speed_limit) VALUES "
                   "('ZSPD', 'DUM1A', 'STAR', '35L', 'DUMET', 2, 'PD', 'ZS', 'TF', 3000, 0), "
                   "('ZSPD', 'DUM1A', 'STAR', '35L', 'DUMET', 1, 'DUMET', 'ZS', 'IF', 9000, 250), "
                   "('ZSPD', 'DUM1A', 'STAR', '35L', 'DUMET', 3, 'NOWHERE', 'ZS', 'TF', 2000, 0)"}));

        OfflineNavDataProvider nav;
        QVERIFY(nav.loadFromDatabase(path));
        const QList<INavDataProvider::ProcedureLeg> legs = nav.procedureLegs("ZSPD", "DUM1A", "STAR", "35L");
        QCOMPARE(legs.size(), 3);
        QCOMPARE(legs[0].fixIdent, QString("DUMET"));
        QCOMPARE(legs[0].altitude, 9000.0);
        QCOMPARE(legs[0].speedLimit, 250);
        QCOMPARE(legs[0].legType, QString("IF"));
        // The layout has no positions: the same-named fix nearest the airport, not the one in Europe.
        QCOMPARE(legs[0].lat, 31.45);
        QCOMPARE(legs[0].lon, 122.9);
        QCOMPARE(legs[2].lat, 0.0);
    }

    void oldAirwaysTableLoadsWithoutAirways()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("old.db");
        DatabaseBuilder builder;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^SQL error: "));
        QVERIFY(!builder.createSchema(path));
        QVERIFY(builder.executeSql(path, standardRows().mid(0, 6)));

        OfflineNavDataProvider nav;
        testlog::expectLogged("NavData", "airways checkCol failed: no such column");
        QVERIFY(nav.loadFromDatabase(path));
        QVERIFY(logged(AppLogger::Warning, "airways checkCol failed:"));
        QVERIFY(nav.airways().isEmpty());
        QCOMPARE(nav.airports().size(), 4);
        // Tables the partial schema never created are simply empty.
        QVERIFY(nav.frequencies("ZSPD").isEmpty());
        QCOMPARE(nav.cycleInfo().cycleMajor, 0);
    }

    void airportsOnlyInAptMetaAreAdded()
    {
        QTemporaryDir dir;
        const QString path = makeDatabase(
            dir, "aptmeta.db",
            {"INSERT INTO aptmeta (icao, region, lat, lon, elevation, type, longest_rwy) VALUES "
             "('ZSPD', 'ZS', 1.0, 1.0, 99, 'large', 99), ('ZUUU', 'ZU', 30.5785, 103.9471, 1625, 'large', 11811)"});
        OfflineNavDataProvider nav;
        QVERIFY(nav.loadFromDatabase(path));
        QVERIFY(logged(AppLogger::Info, "aptmeta fallback: added 1 airports not in airports table"));
        const AirportRecord zuuu = nav.airport("ZUUU");
        QCOMPARE(zuuu.longestRunway, QString("11811 ft"));
        QCOMPARE(zuuu.country, QString("ZU"));
        QCOMPARE(zuuu.elevation, 1625);
        QCOMPARE(nav.airport("ZSPD").lat, 31.1434); // the airports table wins
        QCOMPARE(nav.airportsInBoundsFast(30, 103, 31, 104).size(), 1);
    }

    void badFilesKeepThePreviousData_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("logStart");
        QTest::newRow("missing") << "missing"
                                 << "Failed to open navdata:";
        QTest::newRow("empty") << "empty"
                               << "airports query failed:";
        QTest::newRow("not sqlite") << "text"
                                    << "airports query failed:";
        QTest::newRow("truncated") << "truncated"
                                   << "";
        QTest::newRow("missing table") << "no navaids"
                                       << "navaids query failed:";
        QTest::newRow("missing column") << "no country"
                                        << "airports query failed:";
        QTest::newRow("missing legs column") << "no leg_type"
                                             << "procedure_legs query failed:";
    }

    void badFilesKeepThePreviousData()
    {
        QFETCH(QString, kind);
        QFETCH(QString, logStart);
        QTemporaryDir dir;
        const QString path = dir.filePath("bad.db");
        DatabaseBuilder builder;
        if (kind == "empty" || kind == "text") {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            if (kind == "text")
                file.write(QByteArray("AIRAC cycle    : 2510\nthis is not a database\n").repeated(100));
        } else if (kind == "truncated") {
            // Enough rows for the file to span many pages, so that half of it is gone.
            QString many = "INSERT INTO waypoints (ident, lat, lon, type) VALUES ";
            for (int i = 0; i < 3000; ++i)
                many += QStringLiteral("%1('W%2', %3, 120.0, 'FIX')").arg(i ? ", " : "").arg(i).arg(i / 100.0);
            QVERIFY(!makeDatabase(dir, "bad.db", {many}).isEmpty());
            QFile file(path);
            QVERIFY(file.resize(file.size() / 2));
        } else if (kind == "no navaids") {
            QVERIFY(!makeDatabase(dir, "bad.db", {"DROP TABLE navaids"}).isEmpty());
        } else if (kind == "no country") {
            QVERIFY(builder.executeSql(path, {"CREATE TABLE airports (icao TEXT PRIMARY KEY, name TEXT, lat REAL, "
                                              "lon REAL, elevation INTEGER, city TEXT, has_tower INTEGER, "
                                              "runway_count INTEGER)"}));
            QVERIFY(createFullSchema(path));
        } else if (kind == "no leg_type") {
            QVERIFY(builder.executeSql(path, {"CREATE TABLE procedure_legs (airport_icao TEXT, proc_name TEXT, "
                                              "proc_type TEXT, runway TEXT)"}));
            QVERIFY(createFullSchema(path));
        }

        OfflineNavDataProvider nav;
        nav.loadSampleData();
        const QList<AirportRecord> before = nav.airports();
        AppLogger::instance().clear();

        testlog::expectLogged("NavData", QRegularExpression::escape(logStart));
        QVERIFY(!nav.loadFromDatabase(path));
        QCOMPARE(icaos(nav.airports()), icaos(before));
        QCOMPARE(nav.airportsInBoundsFast(30.0, 120.0, 32.0, 122.0).size(), 2);
        QCOMPARE(nav.navaids().size(), 7);
        QVERIFY(nav.dbPath().isEmpty());
        QVERIFY(logged(AppLogger::Warning, logStart));
        if (kind == "missing")
            QVERIFY(!QFile::exists(path));
    }

    void airspaceBoundaryText_data()
    {
        QTest::addColumn<QString>("boundary");
        QTest::addColumn<QList<QPointF>>("points");
        // Stored as "lon,lat" pairs, read as x = latitude.
        const QList<QPointF> triangle{QPointF(30.25, 120.5), QPointF(30.25, 121.0), QPointF(31.0, 121.0)};
        QTest::newRow("spaces") << "120.5,30.25 121.0,30.25 121.0,31.0" << triangle;
        QTest::newRow("semicolons") << "120.5,30.25;121.0,30.25;121.0,31.0" << triangle;
        QTest::newRow("one list") << "120.5,30.25,121.0,30.25,121.0,31.0" << triangle;
        QTest::newRow("western hemisphere")
            << "-73.5,40.25 -73.0,40.25" << QList<QPointF>{{40.25, -73.5}, {40.25, -73.0}};
        QTest::newRow("garbage") << "120.5,north 121.0,30.25" << QList<QPointF>{};
        QTest::newRow("empty") << "" << QList<QPointF>{};
    }

    void airspaceBoundaryText()
    {
        QFETCH(QString, boundary);
        QFETCH(QList<QPointF>, points);
        QTemporaryDir dir;
        const QString path = dir.filePath("airspace.db");
        QVERIFY(createFullSchema(path));
        DatabaseBuilder builder;
        QVERIFY(builder.executeSql(path, standardRows().mid(0, 6) +
                                             QStringList{QStringLiteral("INSERT INTO airspaces (name, type, boundary) "
                                                                        "VALUES ('X', 'CTR', '%1')")
                                                             .arg(boundary)}));
        OfflineNavDataProvider nav;
        QVERIFY(nav.loadFromDatabase(path));
        QCOMPARE(nav.airspaces().size(), 1);
        QCOMPARE(nav.airspaces().first().boundary, points);
        // Without a boundary an airspace is in no view.
        QCOMPARE(nav.airspacesInBounds(-90, -180, 90, 180).size(), points.isEmpty() ? 0 : 1);
    }

    void searchRules_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<QStringList>("airports");
        QTest::newRow("identifier prefix, any case") << "zs" << QStringList{"ZSPD", "ZSSS"};
        QTest::newRow("identifier must be a prefix") << "SPD" << QStringList{};
        QTest::newRow("name contains") << "capital" << QStringList{"ZBAA"};
        QTest::newRow("city contains") << "shang" << QStringList{"ZSPD", "ZSSS"};
        QTest::newRow("city, identifier order") << "new york" << QStringList{"KJFK"};
    }

    void searchRules()
    {
        QFETCH(QString, query);
        QFETCH(QStringList, airports);
        QTemporaryDir dir;
        OfflineNavDataProvider nav;
        QVERIFY(nav.loadFromDatabase(makeDatabase(dir, "search.db")));
        QCOMPARE(icaos(nav.searchAirports(query)), airports);
    }

    void identifierLookups()
    {
        QTemporaryDir dir;
        OfflineNavDataProvider nav;
        QVERIFY(nav.loadFromDatabase(makeDatabase(dir, "lookups.db")));

        // Exact identifiers first, then prefixes; an empty query finds nothing.
        QCOMPARE(idents(nav.searchWaypoints("dum")), (QStringList{"DUMET", "DUMET", "DUMAX"}));
        QCOMPARE(idents(nav.searchWaypoints("dumax")), (QStringList{"DUMAX"}));
        QVERIFY(nav.searchNavaids("").isEmpty());
        QCOMPARE(idents(nav.searchNavaids("s")), (QStringList{"SH", "SH"}));

        QCOMPARE(nav.waypoint("DUMET").lat, 31.45);
        QCOMPARE(nav.findWaypoint("DUMET").lat, nav.waypoint("DUMET").lat);
        QVERIFY(nav.waypoint("NONE").ident.isEmpty());
        QCOMPARE(nav.findWaypointNearest("DUMET", 48.0, 10.0).lat, 50.0);
        QVERIFY(nav.airport("ZZZZ").icao.isEmpty());

        QCOMPARE(nav.findNavaid("SH", "NDB").lat, 31.117);
        QVERIFY(nav.findNavaid("SH", "VOR").ident.isEmpty());
        // Far from everything, the only aid with the name still comes back.
        QCOMPARE(nav.findNavaidNearest("PEK", -45.0, -170.0, QString()).ident, QString("PEK"));
        QCOMPARE(nav.findNavaidNearest("SH", 12.0, -61.0, "NDB").lat, 10.0);
        QCOMPARE(nav.findNavaidNearest("SH", 30.0, 120.0, "NDB").lat, 31.117);
        QVERIFY(nav.findNavaidNearest("SH", 30.0, 120.0, "VOR").ident.isEmpty());
    }

    void boundsQueries()
    {
        QTemporaryDir dir;
        OfflineNavDataProvider nav;
        QVERIFY(nav.loadFromDatabase(makeDatabase(dir, "bounds.db")));

        // The box's edges pass exactly through ZSSS and DUMAX: both are inside.
        const double minLat = 31.0, minLon = 121.3363, maxLat = 31.1979, maxLon = 122.0;
        QCOMPARE(icaos(nav.airportsInBounds(minLat, minLon, maxLat, maxLon)), (QStringList{"ZSPD", "ZSSS"}));
        QCOMPARE(icaos(nav.airportsInBoundsFast(minLat, minLon, maxLat, maxLon)), (QStringList{"ZSPD", "ZSSS"}));
        QCOMPARE(idents(nav.waypointsInBounds(minLat, minLon, maxLat, maxLon)), QStringList{"DUMAX"});
        QCOMPARE(idents(nav.waypointsInBoundsFast(minLat, minLon, maxLat, maxLon)), QStringList{"DUMAX"});
        QCOMPARE(idents(nav.navaidsInBoundsFast(30.0, 121.0, 32.0, 122.0)), QStringList{"SH"});
        QCOMPARE(idents(nav.navaidsInBounds(30.0, 121.0, 32.0, 122.0)), QStringList{"SH"});

        // Across the antimeridian neither kind wraps.
        QVERIFY(nav.airportsInBounds(30.0, 170.0, 45.0, -60.0).isEmpty());
        QVERIFY(nav.airportsInBoundsFast(30.0, 170.0, 45.0, -60.0).isEmpty());

        // A593 crosses the box without an end inside it; G212 is far away.
        const QList<AirwaySegment> airways = nav.airwaysInBounds(31.2, 122.0, 31.3, 122.2);
        QCOMPARE(airways.size(), 1);
        QCOMPARE(airways.first().name, QString("A593"));
        QCOMPARE(nav.airspacesInBounds(31.9, 121.0, 33.0, 121.5).size(), 1);
        QVERIFY(nav.airspacesInBounds(35.0, 121.0, 36.0, 122.0).isEmpty());
    }

    void incompleteDiagramIsDeletedAndRequested()
    {
        QTemporaryDir dir;
        const QString path = makeDatabase(
            dir, "diagram.db",
            {"INSERT INTO taxiway_nodes (airport_icao, node_id, lat, lon, node_type, node_name) VALUES "
             "('ZSPD', 1, 31.14, 121.80, 'taxi', 'A1'), ('ZSPD', 2, 31.15, 121.80, 'taxi', 'A2'), "
             "('ZBAA', 7, 40.07, 116.58, 'taxi', 'B1'), ('ZBAA', 3, 40.08, 116.58, 'parking', 'G3')",
             "INSERT INTO taxiway_edges (airport_icao, from_node_id, to_node_id, direction, restriction, "
             "taxiway_name) VALUES ('ZBAA', 3, 7, 'twoway', '', 'B')",
             "INSERT INTO parkings (airport_icao, name, type, lat, lon, heading) VALUES ('ZBAA', 'G3', 'GATE', "
             "40.08, 116.58, 180)"});
        OfflineNavDataProvider nav;
        QVERIFY(nav.loadFromDatabase(path));
        QSignalSpy needed(&nav, &OfflineNavDataProvider::airportDiagramNeeded);
        QSignalSpy ready(&nav, &OfflineNavDataProvider::airportDiagramReady);

        testlog::expectLogged("NavData", "loadAirportDiagram: ZSPD incomplete");
        QVERIFY(!nav.loadAirportDiagram("ZSPD"));
        QVERIFY(logged(AppLogger::Warning, "loadAirportDiagram: ZSPD incomplete (no edges), will re-request"));
        QCOMPARE(column(path, "SELECT COUNT(*) FROM taxiway_nodes WHERE airport_icao='ZSPD'"), QVariantList{0});
        QCOMPARE(count(path, "parkings"), 1); // the other airport's parking stays
        QCOMPARE(column(path, "SELECT COUNT(*) FROM parkings WHERE airport_icao='ZSPD'"), QVariantList{0});
        QVERIFY(!nav.hasAirportDiagram("ZSPD"));
        QCOMPARE(needed.count(), 1);
        QCOMPARE(needed.first().first().toString(), QString("ZSPD"));

        // Once asked of the simulator (or known to have none) it is not requested again.
        nav.markAirportDiagramRequested("ZSPD");
        nav.markAirportDiagramEmpty("KJFK");
        QVERIFY(!nav.loadAirportDiagram("ZSPD"));
        QVERIFY(!nav.loadAirportDiagram("KJFK"));
        QCOMPARE(needed.count(), 1);

        QVERIFY(nav.loadAirportDiagram("ZBAA"));
        QVERIFY(logged(AppLogger::Info, "loadAirportDiagram: ZBAA 2 nodes, 1 edges, 1 parkings from DB"));
        QCOMPARE(ready.count(), 1);
        QVERIFY(nav.hasAirportDiagram("ZBAA"));
        QCOMPARE(nav.taxiwayNodes("ZBAA").keys(), (QList<int>{3, 7}));
        QCOMPARE(nav.taxiwayEdges("ZBAA").first().taxiwayName, QString("B"));
        QCOMPARE(nav.parkings("ZBAA").first().heading, 180.0);
    }

    void injectedDiagramBecomesAvailable()
    {
        QTemporaryDir dir;
        const QString path = makeDatabase(dir, "inject.db");
        OfflineNavDataProvider nav;
        QVERIFY(nav.loadFromDatabase(path));
        nav.markAirportDiagramRequested("ZSSS");
        QSignalSpy ready(&nav, &OfflineNavDataProvider::airportDiagramReady);

        // What the facility importer writes after a fetch from the simulator.
        DatabaseBuilder builder;
        QVERIFY(builder.executeSql(
            path, {"INSERT INTO taxiway_nodes (airport_icao, node_id, lat, lon, node_type, node_name) VALUES "
                   "('ZSSS', 1, 31.19, 121.33, 'runway', ''), ('ZSSS', 2, 31.20, 121.33, 'parking', '')",
                   "INSERT INTO taxiway_edges (airport_icao, from_node_id, to_node_id, direction, restriction, "
                   "taxiway_name) VALUES ('ZSSS', 1, 2, 'twoway', '', 'A')",
                   "INSERT INTO parkings (airport_icao, name, type, lat, lon, heading) VALUES ('ZSSS', '12', "
                   "'RAMP', 31.20, 121.33, 0)"}));
        nav.injectAirportDiagram("ZSSS");
        QCOMPARE(ready.count(), 1);
        QVERIFY(nav.hasAirportDiagram("ZSSS"));
        QVERIFY(!nav.isAirportDiagramRequested("ZSSS"));
        QCOMPARE(nav.parkings("ZSSS").first().type, QString("RAMP"));

        // loadTaxiwayData reads nodes and edges only.
        QVERIFY(builder.executeSql(
            path, {"INSERT INTO taxiway_nodes (airport_icao, node_id, lat, lon) VALUES ('KJFK', 5, 40.64, -73.78)"}));
        nav.loadTaxiwayData("KJFK");
        QCOMPARE(nav.taxiwayNodes("KJFK").value(5).lat, 40.64);
        QVERIFY(nav.taxiwayEdges("KJFK").isEmpty());
    }

    void workerQueriesDuringALoadSeeOneWholeDataSet()
    {
        QTemporaryDir dir;
        const QString first = makeDatabase(dir, "first.db");
        // The second database is large enough for the load to take a while, with other names.
        QStringList rows;
        for (int block = 0; block < 20; ++block) {
            QString sql = "INSERT INTO airports (icao, name, lat, lon) VALUES ";
            for (int i = 0; i < 500; ++i) {
                const int n = block * 500 + i;
                sql += QStringLiteral("%1('B%2', 'Second %2', %3, %4)")
                           .arg(i ? ", " : "")
                           .arg(n, 4, 10, QLatin1Char('0'))
                           .arg(-60.0 + n * 0.012)
                           .arg(-170.0 + n * 0.034);
            }
            rows << sql;
            QString legs = "INSERT INTO procedure_legs (airport_icao, proc_name, proc_type, runway, seq) VALUES ";
            for (int i = 0; i < 2000; ++i)
                legs += QStringLiteral("%1('B%2', 'P', 'SID', '01', %3)").arg(i ? ", " : "").arg(block).arg(i);
            rows << legs;
        }
        const QString second = dir.filePath("second.db");
        QVERIFY(createFullSchema(second));
        DatabaseBuilder builder;
        QVERIFY(builder.executeSql(second, rows));

        OfflineNavDataProvider nav;
        QVERIFY(nav.loadFromDatabase(first));
        const QStringList firstSet = icaos(nav.airports());

        QAtomicInt stop(0);
        QFuture<QString> watcher = QtConcurrent::run([&nav, &stop, firstSet]() -> QString {
            // Every observation is one whole data set; the last one, after the load, the new one.
            bool finalRound = false;
            while (true) {
                finalRound = stop.loadAcquire() != 0;
                const QStringList all = icaos(nav.airports());
                const QList<AirportRecord> fast = nav.airportsInBoundsFast(-90, -180, 90, 180);
                const bool isFirst = all == firstSet;
                const bool isSecond = all.size() == 10000 && all.first() == "B0000" && all.last() == "B9999";
                if (!isFirst && !isSecond)
                    return QStringLiteral("mixed airports: %1").arg(all.size());
                if (fast.size() != 4 && fast.size() != 10000)
                    return QStringLiteral("mixed index: %1").arg(fast.size());
                if (finalRound)
                    return isSecond && fast.size() == 10000 ? QString() : QStringLiteral("old data after the load");
            }
        });
        QFuture<bool> load = QtConcurrent::run([&nav, second]() { return nav.loadFromDatabase(second); });
        load.waitForFinished();
        stop.storeRelease(1);
        watcher.waitForFinished();
        QVERIFY(load.result());
        QCOMPARE(watcher.result(), QString());
        QCOMPARE(nav.procedureLegs("B7", "P", "SID", "01").size(), 2000);
    }

    void sampleDataIsPlacedAtTheRealAirports_data()
    {
        // Published aerodrome reference points.
        QTest::addColumn<QString>("icao");
        QTest::addColumn<double>("lat");
        QTest::addColumn<double>("lon");
        QTest::newRow("Beijing Capital") << "ZBAA" << 40.0801 << 116.5847;
        QTest::newRow("Shanghai Pudong") << "ZSPD" << 31.1434 << 121.8053;
        QTest::newRow("Shanghai Hongqiao") << "ZSSS" << 31.1979 << 121.3363;
        QTest::newRow("Guangzhou Baiyun") << "ZGGG" << 23.3925 << 113.2989;
    }

    void sampleDataIsPlacedAtTheRealAirports()
    {
        QFETCH(QString, icao);
        QFETCH(double, lat);
        QFETCH(double, lon);
        OfflineNavDataProvider nav;
        nav.loadSampleData();
        const AirportRecord a = nav.airport(icao);
        QVERIFY(qAbs(a.lat - lat) < 0.01 && qAbs(a.lon - lon) < 0.01);
        // Runway thresholds lie within the airfield, a few kilometres from the reference point.
        const QList<RunwayRecord> runways = nav.runways(icao);
        QVERIFY(runways.size() >= 4);
        for (const RunwayRecord &r : runways) {
            QCOMPARE(r.surface, QString("ASPH"));
            QVERIFY(DatabaseBuilder::distanceNm(lat, lon, r.lat, r.lon) < 3.0);
        }
        const QList<AirportRecord> near = nav.airportsInBoundsFast(lat - 0.1, lon - 0.1, lat + 0.1, lon + 0.1);
        QCOMPARE(icaos(near), QStringList{icao});
    }

    // The fixes and the two VOR/DMEs that the 2016 X-Plane data lists must stand where it puts them.
    void samplePointsMatchThePublishedData()
    {
        const QString legacy = QStringLiteral(SHARED_TESTDATA_DIR "/xplane/legacy/");
        if (!QFileInfo::exists(legacy))
            QSKIP("../shared/testdata is not there; the published positions cannot be compared");
        // ident -> (lat, lon) of every listed point, from the fix file ("lat lon ident") and the
        // VOR rows of the navaid file ("3 lat lon elevation freq range variation ident ...").
        QHash<QString, QList<QPointF>> published;
        for (const QString &name :
             {QStringLiteral("robinpeel-2016-earth_fix-600.dat"), QStringLiteral("robinpeel-2016-earth_nav-810.dat")}) {
            QFile file(legacy + name);
            QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
            const bool fixes = name.contains(QLatin1String("fix"));
            while (!file.atEnd()) {
                const QStringList f = QString::fromLatin1(file.readLine()).simplified().split(QLatin1Char(' '));
                if (fixes && f.size() == 3)
                    published[f[2]] << QPointF(f[0].toDouble(), f[1].toDouble());
                else if (!fixes && f.size() > 8 && f[0] == QLatin1String("3"))
                    published[f[7]] << QPointF(f[1].toDouble(), f[2].toDouble());
            }
        }
        OfflineNavDataProvider nav;
        nav.loadSampleData();
        QList<QPair<QString, QPointF>> points;
        for (const WaypointRecord &w : nav.waypoints())
            points << qMakePair(w.ident, QPointF(w.lat, w.lon));
        for (const QString &vor : {QStringLiteral("PEK"), QStringLiteral("SHA")}) {
            const NavaidRecord n = nav.findNavaidNearest(vor, 35.0, 115.0, QStringLiteral("VOR"));
            points << qMakePair(n.ident, QPointF(n.lat, n.lon));
        }
        QCOMPARE(points.size(), 7);
        for (const auto &point : points) {
            bool found = false;
            for (const QPointF &p : published.value(point.first))
                found = found || (qAbs(p.x() - point.second.x()) < 1e-3 && qAbs(p.y() - point.second.y()) < 1e-3);
            QVERIFY2(found, qPrintable(point.first));
        }
    }

    void sampleDataHasAidsFixesAirwaysAndAirspaces()
    {
        OfflineNavDataProvider nav;
        nav.loadSampleData();
        QSet<QString> types;
        for (const NavaidRecord &n : nav.navaids())
            types << n.type;
        QCOMPARE(types, (QSet<QString>{"VOR", "NDB"}));
        QCOMPARE(idents(nav.waypoints()), (QStringList{"KUBAT", "DUMET", "BEKOL", "ODULO", "ELATO"}));
        QSet<QString> airways;
        QSet<QString> levels;
        for (const AirwaySegment &s : nav.airways()) {
            airways << s.name;
            levels << s.level;
            QVERIFY(s.distance > 0.0);
        }
        QCOMPARE(airways, (QSet<QString>{"G212", "A593", "J35", "G330"}));
        QCOMPARE(levels, (QSet<QString>{"LOW", "HIGH", "BOTH"}));
        QCOMPARE(nav.airspaces().size(), 2);
        QCOMPARE(nav.airspacesInBounds(31.0, 121.0, 31.3, 122.0).first().name, QString("Shanghai TMA"));
        QCOMPARE(nav.airspaces().last().type, QString("RESTRICTED"));
        // Aids belong to the airport they stand at.
        QCOMPARE(nav.findNavaidNearest("SHA", 31.2, 121.3, "VOR").airportIcao, QString("ZSSS"));
    }
};

QTEST_GUILESS_MAIN(TestOfflineNavDataProvider)
#include "tst_offlinenavdataprovider.moc"
