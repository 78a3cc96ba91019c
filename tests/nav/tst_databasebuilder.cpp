#include "navtestdb.h"

#include "app/log/applogger.h"
#include "nav/databasebuilder.h"
#include "nav/geodesy.h"
#include "nav/navdatafiles.h"
#include "tests/support/logexpect.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>

using namespace navtest;

namespace {

bool logged(const QString &start)
{
    for (const AppLogger::Entry &e : AppLogger::instance().recentEntries(AppLogger::kMaxEntries)) {
        if (e.message.startsWith(start))
            return true;
    }
    return false;
}

} // namespace

class TestDatabaseBuilder : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
        AppLogger::instance().clear();
    }

    void schemaOnNewFileStopsAtTheAirwayIndex()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("new.db");
        DatabaseBuilder builder;

        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^SQL error: .*from_ident"));
        QVERIFY(!builder.createSchema(path));
        // Statements 1 to 13 ran, 14 failed, 15 to 29 did not run.
        QCOMPARE(schemaObjects(path, "table"), (QStringList{"airports", "airways", "navaids", "procedure_legs",
                                                            "procedures", "runways", "waypoints"}));
        QCOMPARE(schemaObjects(path, "index"),
                 (QStringList{"idx_airports_latlon", "idx_navaids_ident_type_latlon", "idx_navaids_latlon",
                              "idx_waypoints_ident", "idx_waypoints_ident_latlon", "idx_waypoints_latlon"}));
        QCOMPARE(column(path, "SELECT name FROM pragma_table_info('airways')"),
                 (QVariantList{"id", "name", "level", "from_waypoint_id", "to_waypoint_id"}));

        // After an airway import has added its columns the same schema runs to the end.
        QVERIFY(builder.executeSql(path, schema::airwayColumnStatements(false)));
        QVERIFY(builder.createSchema(path));
        QCOMPARE(schemaObjects(path, "table").size(), 16);
        QCOMPARE(schemaObjects(path, "index").size(), 13);
        QVERIFY(schemaObjects(path, "index").contains("idx_aptmeta_latlon"));
        // Running it again changes nothing and succeeds.
        QVERIFY(builder.createSchema(path));
    }

    void createSchemaReportsAnUnopenableFile()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("missing-folder/x.db");
        DatabaseBuilder builder;
        testlog::expectLogged("NavBuilder", "Cannot create database: ");
        QVERIFY(!builder.createSchema(path));
        QVERIFY(logged("Cannot create database: " + path));
        QVERIFY(!QFile::exists(path));
    }

    void executeSqlStopsAtTheFirstFailure()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("exec.db");
        DatabaseBuilder builder;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^SQL error: .*nosuchtable"));
        QVERIFY(!builder.executeSql(
            path, {"CREATE TABLE first (a)", "INSERT INTO nosuchtable VALUES (1)", "CREATE TABLE third (a)"}));
        QCOMPARE(schemaObjects(path, "table"), QStringList{"first"});
        QVERIFY(builder.executeSql(path, {"CREATE TABLE third (a)"}));
    }

    void clearAllDataKeepsFrequenciesAndMeta()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("clear.db");
        QVERIFY(createFullSchema(path));
        DatabaseBuilder builder;
        QVERIFY(builder.executeSql(
            path, {"INSERT INTO airports (icao, name, lat, lon) VALUES ('ZSPD', 'Pudong', 31.14, 121.81)",
                   "INSERT INTO runways (airport_icao, ident) VALUES ('ZSPD', '35L')",
                   "INSERT INTO navaids (ident, type, lat, lon) VALUES ('PD', 'NDB', 31.0, 121.8)",
                   "INSERT INTO waypoints (ident, lat, lon, type) VALUES ('DUMET', 31.4, 122.9, 'FIX')",
                   "INSERT INTO procedures (airport_icao, type, runway_ident, name) VALUES ('ZSPD', 'SID', "
                   "'35L', 'X')",
                   "INSERT INTO taxiway_nodes (airport_icao, node_id, lat, lon) VALUES ('ZSPD', 1, 31.1, 121.8)",
                   "INSERT INTO aptmeta (icao) VALUES ('ZSPD')",
                   "INSERT INTO frequencies (airport_icao, type, frequency, name) VALUES ('ZSPD', 'TWR', 118.8, "
                   "'Pudong Tower')",
                   "INSERT INTO navdata_meta (key, value) VALUES ('cycle_major', '2510')"}));
        QCOMPARE(builder.airportCount(path), 1);
        QCOMPARE(builder.navaidCount(path), 1);
        QCOMPARE(builder.waypointCount(path), 1);
        QCOMPARE(builder.procedureCount(path), 1);

        builder.clearAllData(path);
        QVERIFY(logged("clearAllData: all nav tables cleared"));
        for (const char *table :
             {"airports", "runways", "taxiway_nodes", "taxiway_edges", "parkings", "towers", "navaids", "waypoints",
              "airways", "procedures", "procedure_legs", "airspaces", "aptmeta"})
            QCOMPARE(count(path, table), 0);
        QCOMPARE(count(path, "frequencies"), 1);
        QCOMPARE(column(path, "SELECT value FROM navdata_meta WHERE key='cycle_major'"), QVariantList{"2510"});
    }

    void countsOfAnUnreadableFileAreZero()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("nothing.db");
        DatabaseBuilder builder;
        QVERIFY(builder.executeSql(path, {"CREATE TABLE other (a)"}));
        QCOMPARE(builder.airportCount(path), 0);
        QCOMPARE(builder.procedureCount(path), 0);
    }

    // Reference values: one degree of arc on a 3440.065 NM sphere is 60.0405 NM; the quarter
    // and half circumferences follow; bearings are the cardinal directions, and the classic
    // 45 N 0 E -> 45 N 90 E case (initial course 54.74 degrees).
    void greatCircle_data()
    {
        QTest::addColumn<double>("lat1");
        QTest::addColumn<double>("lon1");
        QTest::addColumn<double>("lat2");
        QTest::addColumn<double>("lon2");
        QTest::addColumn<double>("distanceNm");
        QTest::addColumn<double>("bearingDeg");
        QTest::newRow("one degree east") << 0.0 << 0.0 << 0.0 << 1.0 << 60.0405 << 90.0;
        QTest::newRow("one degree west") << 0.0 << 0.0 << 0.0 << -1.0 << 60.0405 << 270.0;
        QTest::newRow("north to the pole") << 0.0 << 0.0 << 90.0 << 0.0 << 5403.6 << 0.0;
        QTest::newRow("south") << 10.0 << 20.0 << 0.0 << 20.0 << 600.405 << 180.0;
        QTest::newRow("across the date line") << 0.0 << 179.5 << 0.0 << -179.5 << 60.0405 << 90.0;
        QTest::newRow("almost half the world") << 0.0 << 0.0 << 0.0 << 179.0 << 10747.25 << 90.0;
        QTest::newRow("mid latitude") << 45.0 << 0.0 << 45.0 << 90.0 << 3602.4 << 54.7356;
    }

    void greatCircle()
    {
        QFETCH(double, lat1);
        QFETCH(double, lon1);
        QFETCH(double, lat2);
        QFETCH(double, lon2);
        QFETCH(double, distanceNm);
        QFETCH(double, bearingDeg);
        const double distance = DatabaseBuilder::distanceNm(lat1, lon1, lat2, lon2);
        QVERIFY2(qAbs(distance - distanceNm) < 0.1, qPrintable(QString::number(distance)));
        const double bearing = DatabaseBuilder::bearingDeg(lat1, lon1, lat2, lon2);
        QVERIFY(bearing >= 0.0 && bearing < 360.0);
        QVERIFY2(qAbs(bearing - bearingDeg) < 0.001, qPrintable(QString::number(bearing)));
        // Travelling that far along that course arrives at the second point (short of the pole,
        // where longitude has no meaning).
        if (lat2 < 89.0) {
            double lat = 0.0;
            double lon = 0.0;
            geodesy::destination(lat1, lon1, bearing, distance, geodesy::kNavSphereRadiusNm, &lat, &lon);
            QVERIFY2(qAbs(lat - lat2) < 1e-9 && qAbs(std::remainder(lon - lon2, 360.0)) < 1e-9,
                     qPrintable(QStringLiteral("%1 %2").arg(lat).arg(lon)));
        }
        // On another sphere distances scale with the radius, courses do not.
        QVERIFY(qAbs(geodesy::distanceNm(lat1, lon1, lat2, lon2, 2.0 * geodesy::kNavSphereRadiusNm) - 2.0 * distance) <
                1e-6);
    }

    void fileNamesFollowTheSourceIndex_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<QString>("file");
        QTest::newRow("X-Plane 11") << 0 << "zobrel_navdata_xp11.db";
        QTest::newRow("X-Plane 12") << 1 << "zobrel_navdata_xp12.db";
        QTest::newRow("Prepar3D") << 2 << "zobrel_navdata_p3d.db";
        QTest::newRow("MSFS 2020") << 3 << "zobrel_navdata_msfs2020.db";
        QTest::newRow("MSFS 2024") << 4 << "zobrel_navdata_msfs2024.db";
        QTest::newRow("below range") << -1 << "zobrel_navdata_xp11.db";
        QTest::newRow("above range") << 5 << "zobrel_navdata_xp11.db";
    }

    void fileNamesFollowTheSourceIndex()
    {
        QFETCH(int, index);
        QFETCH(QString, file);
        QCOMPARE(navDataFileName(index), file);
        QCOMPARE(navDataFilePath(index, "/data/nav"), "/data/nav/" + file);
    }

    void automaticSourceFollowsTheSimulator()
    {
        QCOMPARE(navDataSourceForSimType(SimType::XPlane11, 3), 0);
        QCOMPARE(navDataSourceForSimType(SimType::XPlane12, 3), 1);
        QCOMPARE(navDataSourceForSimType(SimType::Prepar3D, 0), 2);
        QCOMPARE(navDataSourceForSimType(SimType::Fsx, 0), 2);
        QCOMPARE(navDataSourceForSimType(SimType::Msfs2020, 0), 3);
        QCOMPARE(navDataSourceForSimType(SimType::Msfs2024, 0), 4);
        QCOMPARE(navDataSourceForSimType(SimType::None, 3), 3);
    }
};

QTEST_GUILESS_MAIN(TestDatabaseBuilder)
#include "tst_databasebuilder.moc"
