// Route-finder text exports into the database: the real AZGA export (airports with runways,
// navaids, waypoints, SIDs and STARs), composed airways, and missing parts.

#include "importtest.h"
#include "navtestdb.h"

#include "tests/support/logexpect.h"

#include <QTemporaryDir>

using namespace importtest;
using namespace navtest;

namespace {

const char kRf[] = "routefinder/azga-aerosoft-navdata/";

// The AZGA export laid out as a route-finder folder; ATS.txt gets the given content.
QString makeExport(const QTemporaryDir &dir, const QByteArray &ats, bool withProc = true)
{
    const QString root = dir.filePath("navdata");
    const QString rf = QLatin1String(kRf);
    copyFile(sharedData(rf + "Waypoints.txt"), root + "/Waypoints.txt");
    copyFile(sharedData(rf + "Airports_v1.txt"), root + "/Airports.txt");
    copyFile(sharedData(rf + "Navaids.txt"), root + "/Navaids.txt");
    writeFile(root + "/ATS.txt", ats);
    if (withProc)
        copyFile(sharedData(rf + "Proc_AZGA.txt"), root + "/Proc/AZGA.txt");
    return root;
}

// Lines that are neither blank nor '#' comments.
int dataLines(const QByteArray &text)
{
    int count = 0;
    for (const QByteArray &line : text.split('\n'))
        count += (!line.trimmed().isEmpty() && !line.startsWith('#')) ? 1 : 0;
    return count;
}

// Legs of the SID and STAR blocks of a procedure file, and the blocks themselves.
QPair<int, int> sidStarLegsAndBlocks(const QByteArray &text)
{
    int legs = 0;
    int blocks = 0;
    bool inSidStar = false;
    for (const QByteArray &line : text.split('\n')) {
        if (line.startsWith("SID,") || line.startsWith("STAR,")) {
            inSidStar = true;
            ++blocks;
        } else if (line.startsWith("APPTR,") || line.startsWith("FINAL,")) {
            inSidStar = false;
        } else if (inSidStar && line.size() > 3 && line.at(2) == ',') {
            ++legs;
        }
    }
    return {legs, blocks};
}

} // namespace

class TestRouteFinderImport : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
        AppLogger::instance().clear();
    }

    void realExport()
    {
        REQUIRE_SHARED_TESTDATA();
        QTemporaryDir dir;
        const QString root =
            makeExport(dir, "A,UN123,2\n"
                            "S,BENIC,50.401443,2.790833,ADIBO,50.188332,2.819167,0,175,12.9\n"
                            "S,ADIBO,50.188332,2.819167,LUDOV,49.912498,2.840000,175,177,16.6,FL100,FL240\n"
                            "A,UT9,1,HIGH\n"
                            "S,AZGAR,50.006668,4.586666,LUKYN,50.354999,3.793333,0,0,0\n");
        const QString db = dir.filePath("rf.db");
        QVERIFY(fullSchemaCopy(db));
        QVERIFY(DatabaseBuilder().executeSql(db, {"INSERT INTO navaids (ident, type) VALUES ('OLD', 'VOR')"}));
        DatabaseBuilder builder;
        QSignalSpy finished(&builder, &DatabaseBuilder::importFinished);
        QSignalSpy progress(&builder, &DatabaseBuilder::importProgress);
        QVERIFY(builder.importRouteFinderData(db, root));
        QCOMPARE(finished.size(), 1);
        QVERIFY(lastFinished(finished).second);
        QVERIFY(!progress.isEmpty());
        QCOMPARE(progress.last().at(1).toInt(), progress.last().at(2).toInt());

        const QByteArray waypoints = readFile(root + "/Waypoints.txt");
        const QByteArray airports = readFile(root + "/Airports.txt");
        const QByteArray navaids = readFile(root + "/Navaids.txt");
        QCOMPARE(count(db, "waypoints"), dataLines(waypoints));
        QCOMPARE(column(db, "SELECT DISTINCT type FROM waypoints"), QVariantList{"RFIX"});
        QCOMPARE(count(db, "airports"), countLines(airports, {"A,"}));
        QCOMPARE(count(db, "runways"), countLines(airports, {"R,"}));
        // The navaids of the export replace the old ones.
        QCOMPARE(count(db, "navaids"), dataLines(navaids));
        QCOMPARE(column(db, "SELECT COUNT(*) FROM navaids WHERE ident='OLD'").value(0).toInt(), 0);

        QCOMPARE(column(db, "SELECT name || '|' || lat || '|' || elevation || '|' || runway_count FROM airports"),
                 QVariantList{"SUPREME LEADER AIRPORT|50.103808|453|3"});
        QCOMPARE(column(db, "SELECT length || '|' || width || '|' || heading || '|' || surface FROM runways WHERE "
                            "ident='33L'"),
                 QVariantList{"11586|164|328.0|ASPHALT"});
        // VOR flag set; localizer frequency (109.50, odd tenths) without it; the rest.
        QCOMPARE(column(db,
                        "SELECT ident || '=' || type || '@' || freq FROM navaids WHERE ident IN ('SPO','COLC') ORDER "
                        "BY ident"),
                 (QVariantList{"COLC=ILS@109.5", "SPO=VOR@110.45"}));

        QCOMPARE(
            column(db, "SELECT name || '|' || level || '|' || from_ident || '|' || to_ident || '|' || min_alt || "
                       "'|' || max_alt || '|' || distance FROM airways ORDER BY name, distance"),
            (QVariantList{
                "UN123|BOTH|BENIC|ADIBO|||12.9", "UN123|BOTH|ADIBO|LUDOV|FL100|FL240|16.6",
                // No length given: the great-circle distance, as SQLite prints a REAL.
                "UT9|HIGH|AZGAR|LUKYN|||" +
                    QString::number(DatabaseBuilder::distanceNm(50.006668, 4.586666, 50.354999, 3.793333), 'g', 15)}));

        const QPair<int, int> expected = sidStarLegsAndBlocks(readFile(root + "/Proc/AZGA.txt"));
        QCOMPARE(expected, qMakePair(42, 16));
        QCOMPARE(count(db, "procedure_legs"), expected.first);
        QCOMPARE(count(db, "procedures"), expected.second);
        // STAR MEGAN1 15R: IF LUDOV, then TF ADIBO at or above 15000 ft.
        QCOMPARE(column(db, "SELECT seq || ' ' || leg_type || ' ' || fix_ident || ' ' || altitude FROM procedure_legs "
                            "WHERE airport_icao='AZGA' AND proc_name='MEGAN1' AND proc_type='STAR' AND runway='15R' "
                            "ORDER BY seq"),
                 (QVariantList{"1 IF LUDOV 0.0", "2 TF ADIBO 15000.0", "3 TF ZEBLO 11000.0"}));
        QCOMPARE(column(db, "SELECT DISTINCT fix_region || fix_type1 || fix_type2 || fix_type3 FROM procedure_legs"),
                 QVariantList{""});
        // The route-finder columns and the rest of the schema are there.
        QVERIFY(column(db, "SELECT name FROM pragma_table_info('airways')").contains("min_alt"));
        QVERIFY(schemaObjects(db, "index").contains("idx_proc_legs_lookup"));
    }

    void withoutProcFolderTheRestStillImports()
    {
        REQUIRE_SHARED_TESTDATA();
        QTemporaryDir dir;
        const QString root = makeExport(dir, "A,UN1,1\nS,AAA,50.0,2.0,BBB,51.0,2.0,0,0,10\n", false);
        const QString db = dir.filePath("noproc.db");
        QVERIFY(fullSchemaCopy(db));
        DatabaseBuilder builder;
        testlog::expectLogged("NavBuilder", "RouteFinder PROC directory not found");
        QVERIFY(builder.importRouteFinderData(db, root));
        QVERIFY(!loggedLine("RouteFinder PROC directory not found").isEmpty());
        QVERIFY(count(db, "waypoints") > 0);
        QCOMPARE(count(db, "airways"), 1);
    }

    void malformedLinesAreCounted()
    {
        REQUIRE_SHARED_TESTDATA();
        QTemporaryDir dir;
        const QString root = makeExport(dir, "A,UN1,1\nS,AAA,north,2.0,BBB,51.0,2.0,0,0,10\nS,AAA,50.0,2.0\n");
        QVERIFY(writeFile(root + "/Waypoints.txt", "GOOD,50.0,2.0,LF\nBAD,fifty,2.0,LF\n,50.0,2.0,LF\n"));
        const QString db = dir.filePath("bad.db");
        QVERIFY(fullSchemaCopy(db));
        DatabaseBuilder builder;
        QSignalSpy finished(&builder, &DatabaseBuilder::importFinished);
        QVERIFY(builder.importRouteFinderData(db, root));
        const QString message = lastFinished(finished).first;
        QVERIFY2(message.contains("RouteFinder: imported 1 waypoints (2 malformed lines skipped)"),
                 qPrintable(message));
        QVERIFY2(message.contains("RouteFinder: imported 0 airway segments (2 malformed lines skipped)"),
                 qPrintable(message));
    }

    void missingFolderOrFile_data()
    {
        QTest::addColumn<QString>("remove");
        QTest::addColumn<QString>("message");
        QTest::newRow("folder") << QString() << "RouteFinder navdata dir not found: ";
        QTest::newRow("ATS.txt") << "ATS.txt"
                                 << "RouteFinder file not found: ";
    }
    void missingFolderOrFile()
    {
        REQUIRE_SHARED_TESTDATA();
        QFETCH(QString, remove);
        QFETCH(QString, message);
        QTemporaryDir dir;
        QString root = makeExport(dir, QByteArray());
        QString expected;
        if (remove.isEmpty()) {
            root = dir.filePath("elsewhere");
            expected = message + root;
        } else {
            QVERIFY(QFile::remove(root + "/" + remove));
            expected = message + root + "/" + remove;
        }
        const QString db = dir.filePath("missing.db");
        QVERIFY(fullSchemaCopy(db));
        QVERIFY(DatabaseBuilder().executeSql(db, {"INSERT INTO waypoints (ident) VALUES ('OLD')"}));
        DatabaseBuilder builder;
        QSignalSpy finished(&builder, &DatabaseBuilder::importFinished);
        testlog::expectLogged("NavBuilder", QRegularExpression::escape(expected));
        QVERIFY(!builder.importRouteFinderData(db, root));
        QCOMPARE(lastFinished(finished), qMakePair(expected, false));
        QCOMPARE(column(db, "SELECT ident FROM waypoints"), QVariantList{"OLD"});
    }
};

QTEST_GUILESS_MAIN(TestRouteFinderImport)
#include "tst_routefinderimport.moc"
