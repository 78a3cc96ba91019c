// The small text sources: the AIRAC cycle file in all its cases, X-Plane's airport metadata and
// Navigraph ATC frequency files.

#include "importtest.h"
#include "navtestdb.h"

#include "tests/support/logexpect.h"

#include <QTemporaryDir>

using namespace importtest;
using namespace navtest;

namespace {

QVariantList meta(const QString &db)
{
    return column(db, "SELECT key || '=' || value FROM navdata_meta ORDER BY key");
}

} // namespace

class TestCycleAtcImport : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
        AppLogger::instance().clear();
    }

    void cycleFile_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QVariantList>("expected");
        QTest::addColumn<QString>("logged");
        // A file without a usable cycle fails and keeps the cycle the database had.
        const QVariantList old{"cycle_major=2301", "cycle_minor=4", "provider=Old"};
        QTest::newRow("Navigraph, CRLF")
            << QByteArray(
                   "AIRAC cycle    : 2510\r\nVersion        : 2\r\nValid (from/to): 02/OCT/2025 - 30/OCT/2025\r\n"
                   "Forum          : http://forum.navigraph.com\r\n")
            << QVariantList{"cycle_major=2510", "cycle_minor=2", "provider=Navigraph"} << "importCycleInfo: imported";
        QTest::newRow("Aerosoft, Revision")
            << QByteArray("AIRAC cycle : 2401\nRevision : 3\nAerosoft NavDataPro\n")
            << QVariantList{"cycle_major=2401", "cycle_minor=3", "provider=Aerosoft"} << "importCycleInfo: imported";
        QTest::newRow("no cycle keeps the old keys")
            << QByteArray("Version : 2\nsomething else\n") << old << "importCycleInfo: no valid cycle found in";
        QTest::newRow("cycle zero") << QByteArray("AIRAC cycle : 0000\n") << old
                                    << "importCycleInfo: no valid cycle found in";
        QTest::newRow("cycle not a number")
            << QByteArray("AIRAC cycle : soon\n") << old << "importCycleInfo: no valid cycle found in";
    }
    void cycleFile()
    {
        QFETCH(QByteArray, content);
        QFETCH(QVariantList, expected);
        QFETCH(QString, logged);
        const QVariantList old{"cycle_major=2301", "cycle_minor=4", "provider=Old"};
        QTemporaryDir dir;
        const QString db = dir.filePath("cycle.db");
        QVERIFY(fullSchemaCopy(db));
        QVERIFY(DatabaseBuilder().executeSql(db, {"INSERT INTO navdata_meta VALUES ('cycle_major', '2301')",
                                                  "INSERT INTO navdata_meta VALUES ('cycle_minor', '4')",
                                                  "INSERT INTO navdata_meta VALUES ('provider', 'Old')"}));
        QVERIFY(writeFile(dir.filePath("data/cycle_info.txt"), content));
        DatabaseBuilder builder;
        if (expected == old)
            testlog::expectLogged("NavBuilder", QRegularExpression::escape(logged));
        QCOMPARE(builder.importCycleInfo(db, dir.filePath("data")), expected != old);
        QCOMPARE(meta(db), expected);
        QVERIFY2(!loggedLine(logged).isEmpty(), qPrintable(logged));
    }

    void worldCycleFile()
    {
        REQUIRE_SHARED_TESTDATA();
        QTemporaryDir dir;
        const QString db = dir.filePath("world.db");
        QVERIFY(fullSchemaCopy(db));
        DatabaseBuilder builder;
        QVERIFY(builder.importCycleInfo(db, sharedData("xplane/world")));
        // "Data provider : derived test data" names neither provider.
        QCOMPARE(meta(db), (QVariantList{"cycle_major=1601", "cycle_minor=1", "provider="}));
    }

    void missingCycleFileClearsTheMeta()
    {
        QTemporaryDir dir;
        const QString db = dir.filePath("clear.db");
        QVERIFY(fullSchemaCopy(db));
        QVERIFY(DatabaseBuilder().executeSql(db, {"INSERT INTO navdata_meta VALUES ('cycle_major', '2301')"}));
        DatabaseBuilder builder;
        testlog::expectLogged("NavBuilder", "importCycleInfo: cycle_info.txt not found, clearing meta");
        QVERIFY(builder.importCycleInfo(db, dir.filePath("empty")));
        QVERIFY(!loggedLine("importCycleInfo: cycle_info.txt not found, clearing meta").isEmpty());
        QCOMPARE(count(db, "navdata_meta"), 0);
    }

    void aptMeta()
    {
        QTemporaryDir dir;
        const QString db = dir.filePath("meta.db");
        const QString file = dir.filePath("earth_aptmeta.dat");
        QVERIFY(writeFile(file, "I\r\n1100 Version - data cycle 2401\r\n\r\n"
                                "KSEA K1 47.449888889 -122.311777778 433 C 1 11901 18000 18000\r\n"
                                "EDDF ED 50.033333333 8.570555556 364 C 1 13123 5000 FL70\r\n"
                                "BAD ED north 8.5 364 C 1 13123 5000 FL70\r\n"
                                "SHORT ED 50.0 8.5\r\n"
                                "99\r\n"));
        QVERIFY(fullSchemaCopy(db));
        DatabaseBuilder builder;
        QSignalSpy finished(&builder, &DatabaseBuilder::importFinished);
        QVERIFY(builder.importAptMeta(db, file));
        QCOMPARE(lastFinished(finished).first,
                 QStringLiteral("importAptMeta: imported 2 airports (2 malformed lines skipped)"));
        QCOMPARE(column(db,
                        "SELECT icao || '|' || region || '|' || elevation || '|' || longest_rwy || '|' || trans_alt "
                        "|| '|' || trans_level FROM aptmeta ORDER BY icao"),
                 (QVariantList{"EDDF|ED|364|13123|5000|FL70", "KSEA|K1|433|11901|18000|18000"}));
        testlog::expectLogged("NavBuilder", "Cannot open aptmeta: ");
        QVERIFY(!builder.importAptMeta(db, dir.filePath("missing.dat")));
        QVERIFY(lastFinished(finished).first.startsWith("Cannot open aptmeta: " + dir.filePath("missing.dat")));
        QCOMPARE(count(db, "aptmeta"), 2);
    }

    void navigraphAtc()
    {
        QTemporaryDir dir;
        const QString db = dir.filePath("atc.db");
        QVERIFY(writeFile(dir.filePath("atc/atc.dat"), "# Navigraph airport communication\n"
                                                       "EUR|ED|EDDF|ATI|118.025|V||FRANKFURT ATIS|50.03|8.57\n"
                                                       "EUR|ED|EDDF|TWR|119.905|C||FRANKFURT TOWER|50.03|8.57\n"
                                                       "EUR|ED|EDDF|CLD|121.900|V||FRANKFURT DELIVERY|50.03|8.57\n"
                                                       "EUR|ED|EDDF|RMP|121.855|V||FRANKFURT APRON|50.03|8.57\n"
                                                       "EUR|ED|EDDF|VOL|127.600|V||FRANKFURT VOLMET|50.03|8.57\n"
                                                       "EUR|ED|EDDF|TWR|abc|V||BROKEN|50.03|8.57\n"
                                                       "EUR|ED\n"
                                                       "KSEA,GND,121700,SEATTLE GROUND\n"));
        QVERIFY(writeFile(dir.filePath("atc/other.dat"), "EUR|ED|EDDM|TWR|118.700|V||MUENCHEN TOWER|48.35|11.78\n"));
        QVERIFY(fullSchemaCopy(db));
        DatabaseBuilder builder;
        QSignalSpy finished(&builder, &DatabaseBuilder::importFinished);
        QVERIFY(builder.importNavigraphAtc(db, dir.filePath("atc")));
        // atc.dat is the file when it is there; kHz turn into MHz.
        QCOMPARE(lastFinished(finished).first,
                 QStringLiteral("importNavigraphAtc: imported 6 frequencies from 1 files (2 malformed lines skipped)"));
        QCOMPARE(column(db, "SELECT airport_icao || ' ' || type || ' ' || frequency || ' ' || name FROM frequencies "
                            "ORDER BY airport_icao, type"),
                 (QVariantList{"EDDF ATIS 118.025 FRANKFURT ATIS", "EDDF CLD 121.9 FRANKFURT DELIVERY",
                               "EDDF OTHER 127.6 FRANKFURT VOLMET", "EDDF RMP 121.855 FRANKFURT APRON",
                               "EDDF TWR 119.905 FRANKFURT TOWER", "KSEA GND 121.7 SEATTLE GROUND"}));

        // Without atc.dat every .dat of the folder is read.
        QVERIFY(QFile::remove(dir.filePath("atc/atc.dat")));
        QVERIFY(builder.importNavigraphAtc(db, dir.filePath("atc")));
        QCOMPARE(column(db, "SELECT name FROM frequencies WHERE airport_icao='EDDM'"), QVariantList{"MUENCHEN TOWER"});
    }

    void atcFailures_data()
    {
        QTest::addColumn<bool>("createFolder");
        QTest::addColumn<QString>("message");
        QTest::newRow("no folder") << false << "Navigraph ATC data directory not found: ";
        QTest::newRow("no files") << true << "No atc.dat or .dat found in ";
    }
    void atcFailures()
    {
        QFETCH(bool, createFolder);
        QFETCH(QString, message);
        QTemporaryDir dir;
        const QString folder = dir.filePath("atc");
        if (createFolder)
            QVERIFY(writeFile(folder + "/readme.txt", "nothing\n"));
        const QString db = dir.filePath("fail.db");
        QVERIFY(fullSchemaCopy(db));
        DatabaseBuilder builder;
        QSignalSpy finished(&builder, &DatabaseBuilder::importFinished);
        testlog::expectLogged("NavBuilder", QRegularExpression::escape(message + folder));
        QVERIFY(!builder.importNavigraphAtc(db, folder));
        QCOMPARE(lastFinished(finished), qMakePair(message + folder, false));
        QVERIFY(!loggedLine(message + folder).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestCycleAtcImport)
#include "tst_cycleatcimport.moc"
