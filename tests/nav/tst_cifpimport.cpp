// X-Plane CIFP folders into procedures and procedure_legs: real KSEA and LHBP files, the position
// each leg's fix gets, repeated imports, a missing folder and malformed lines.

#include "importtest.h"
#include "navtestdb.h"

#include "tests/support/logexpect.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTemporaryDir>

#include <set>
#include <tuple>

using namespace importtest;
using namespace navtest;

namespace {

// The first row of sql, all columns.
QVariantList firstRow(const QString &path, const QString &sql)
{
    QVariantList values;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "cifp_read");
        db.setDatabaseName(path);
        if (db.open()) {
            QSqlQuery q(db);
            if (q.exec(sql) && q.next()) {
                for (int i = 0; i < q.record().count(); ++i)
                    values << q.value(i);
            }
        }
        db.close();
    }
    QSqlDatabase::removeDatabase("cifp_read");
    return values;
}

// Legs and distinct (kind, procedure, transition) of CIFP text, counted independently.
QPair<int, int> legsAndProcedures(const QList<QByteArray> &files)
{
    int legs = 0;
    std::set<std::tuple<QByteArray, QByteArray, QByteArray, QByteArray>> procedures;
    for (const QByteArray &file : files) {
        for (const QByteArray &line : readFile(file).split('\n')) {
            const int colon = line.indexOf(':');
            const QByteArray kind = line.left(colon);
            if (kind != "SID" && kind != "STAR" && kind != "APPCH")
                continue;
            const QList<QByteArray> f = line.mid(colon + 1).split(',');
            ++legs;
            procedures.insert({file, kind, f.at(2).trimmed(), f.at(3).trimmed()});
        }
    }
    return {legs, int(procedures.size())};
}

} // namespace

class TestCifpImport : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
        AppLogger::instance().clear();
    }

    void initTestCase()
    {
        if (!QFileInfo(QStringLiteral(SHARED_TESTDATA_DIR)).isDir())
            return;
        QVERIFY(m_dir.isValid());
        m_cifp = m_dir.filePath("CIFP");
        QVERIFY(copyFile(sharedData("xplane/cifp/navme-KSEA.dat"), m_cifp + "/KSEA.dat"));
        QVERIFY(copyFile(sharedData("xplane/cifp/navme-LHBP.dat"), m_cifp + "/LHBP.dat"));
        m_db = m_dir.filePath("cifp.db");
        QVERIFY(fullSchemaCopy(m_db));
        DatabaseBuilder builder;
        QVERIFY(builder.importXPlaneWaypoints(m_db, sharedData("xplane/fix/navme-earth_fix-noheader.dat")));
        QVERIFY(builder.importXPlaneNavData(m_db, sharedData("xplane/nav/navme-earth_nav-noheader.dat")));
        // A same-named fix on the other side of the world: the one near the airport must win.
        QVERIFY(builder.executeSql(m_db, {"INSERT INTO waypoints (ident, lat, lon, type) VALUES ('BP701', -33.9, "
                                          "151.2, 'FIX')"}));
        QSignalSpy finished(&builder, &DatabaseBuilder::importFinished);
        QVERIFY(builder.importXPlaneCifp(m_db, m_cifp));
        m_message = lastFinished(finished).first;
    }

    void countsMatchTheFiles()
    {
        REQUIRE_SHARED_TESTDATA();
        const QPair<int, int> expected =
            legsAndProcedures({(m_cifp + "/KSEA.dat").toUtf8(), (m_cifp + "/LHBP.dat").toUtf8()});
        QCOMPARE(expected, qMakePair(38, 12));
        QCOMPARE(count(m_db, "procedure_legs"), expected.first);
        QCOMPARE(count(m_db, "procedures"), expected.second);
        // TPS (an aid) and the KSEA fixes are in neither sample file, so their legs have no position.
        QVERIFY2(m_message.startsWith("importXPlaneCifp: imported 12 procedures, 38 legs from 2 files"),
                 qPrintable(m_message));
        const int unplaced =
            column(m_db, "SELECT COUNT(*) FROM procedure_legs WHERE fix_ident != '' AND lat = 0").value(0).toInt();
        QVERIFY(m_message.endsWith(QStringLiteral(", %1 fixes without a known position").arg(unplaced)));
        QCOMPARE(column(m_db, "SELECT DISTINCT type FROM procedures ORDER BY type"),
                 (QVariantList{"APPCH", "SID", "STAR"}));
    }

    void legsCarryTheFileAndTheirPositions_data()
    {
        QTest::addColumn<QString>("where");
        QTest::addColumn<QVariantList>("expected"); // fix, region, types 1-3, leg, lat, lon, altitude, speed
        // Fixes from earth_fix; the nearer of two same-named ones.
        QTest::newRow("terminal fix") << "airport_icao='LHBP' AND proc_name='BADO2B' AND runway='13L' AND seq=20"
                                      << QVariantList{"BP701", "LH",         "P",          "C", "EY",
                                                      "CF",    47.388305556, 19.384388889, 0.0, 230};
        QTest::newRow("flight level") << "airport_icao='LHBP' AND proc_name='BADO2B' AND runway='13L' AND seq=60"
                                      << QVariantList{"BADOV", "LZ",         "E",          "A",     "EEC",
                                                      "TF",    48.021111111, 18.815833333, 14000.0, 0};
        // A runway fix takes the threshold of the file's RWY record (N47252262 E019173788).
        QTest::newRow("runway fix") << "airport_icao='LHBP' AND proc_name='R31RZ' AND runway='31R' AND seq=30"
                                    << QVariantList{"RW31R",
                                                    "LH",
                                                    "P",
                                                    "G",
                                                    "GY M",
                                                    "TF",
                                                    47.0 + 25 / 60.0 + 22.62 / 3600.0,
                                                    19.0 + 17 / 60.0 + 37.88 / 3600.0,
                                                    466.0,
                                                    0};
        QTest::newRow("leg without fix") << "airport_icao='KSEA' AND proc_name='BANGR9' AND runway='16C' AND seq=10"
                                         << QVariantList{"", "", "", "", "", "VA", 0.0, 0.0, 932.0, 0};
    }
    void legsCarryTheFileAndTheirPositions()
    {
        REQUIRE_SHARED_TESTDATA();
        QFETCH(QString, where);
        QFETCH(QVariantList, expected);
        const QVariantList row =
            firstRow(m_db, "SELECT fix_ident, fix_region, fix_type1, fix_type2, fix_type3, leg_type, lat, lon, "
                           "altitude, speed_limit FROM procedure_legs WHERE " +
                               where);
        QCOMPARE(row.size(), expected.size());
        for (int i = 0; i < 6; ++i)
            QCOMPARE(row.at(i).toString(), expected.at(i).toString());
        QVERIFY(qAbs(row.at(6).toDouble() - expected.at(6).toDouble()) < 1e-6);
        QVERIFY(qAbs(row.at(7).toDouble() - expected.at(7).toDouble()) < 1e-6);
        QCOMPARE(row.at(8).toDouble(), expected.at(8).toDouble());
        QCOMPARE(row.at(9).toInt(), expected.at(9).toInt());
    }

    void proceduresAreKeyedByRunwayOrTransition_data()
    {
        QTest::addColumn<QString>("airport");
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("runway");
        QTest::addColumn<int>("legs");
        QTest::newRow("SID runway transition") << "KSEA"
                                               << "SID"
                                               << "BANGR9"
                                               << "16C" << 2;
        QTest::newRow("STAR en-route transition") << "KSEA"
                                                  << "STAR"
                                                  << "CHINS5"
                                                  << "PDT" << 2;
        QTest::newRow("approach transition") << "KSEA"
                                             << "APPCH"
                                             << "I16C"
                                             << "ERYKA" << 2;
        QTest::newRow("final approach") << "KSEA"
                                        << "APPCH"
                                        << "R34RZ"
                                        << "34R" << 2;
        QTest::newRow("final approach, LHBP") << "LHBP"
                                              << "APPCH"
                                              << "R31RZ"
                                              << "31R" << 6;
    }
    void proceduresAreKeyedByRunwayOrTransition()
    {
        REQUIRE_SHARED_TESTDATA();
        QFETCH(QString, airport);
        QFETCH(QString, type);
        QFETCH(QString, name);
        QFETCH(QString, runway);
        QFETCH(int, legs);
        const QString key = QStringLiteral("airport_icao='%1' AND type='%2' AND name='%3' AND runway_ident='%4'")
                                .arg(airport, type, name, runway);
        QCOMPARE(column(m_db, "SELECT COUNT(*) FROM procedures WHERE " + key).value(0).toInt(), 1);
        QCOMPARE(
            column(m_db, QStringLiteral("SELECT seq FROM procedure_legs WHERE airport_icao='%1' AND proc_type='%2' "
                                        "AND proc_name='%3' AND runway='%4' ORDER BY seq")
                             .arg(airport, type, name, runway))
                .size(),
            legs);
    }

    void importingTwiceKeepsOneCopy()
    {
        REQUIRE_SHARED_TESTDATA();
        QTemporaryDir dir;
        const QString db = dir.filePath("twice.db");
        QVERIFY(copyFile(m_db, db));
        const int legs = count(db, "procedure_legs");
        const int procedures = count(db, "procedures");
        DatabaseBuilder builder;
        QVERIFY(builder.importXPlaneCifp(db, m_cifp));
        QCOMPARE(count(db, "procedure_legs"), legs);
        QCOMPARE(count(db, "procedures"), procedures);
        // The legs table is recreated in the schema's form, with its index.
        QVERIFY(schemaObjects(db, "index").contains("idx_proc_legs_lookup"));
        QCOMPARE(column(db, "SELECT name FROM pragma_table_info('procedure_legs')").size(), 16);
    }

    void missingFolderFailsAndKeepsProcedures()
    {
        REQUIRE_SHARED_TESTDATA();
        QTemporaryDir dir;
        const QString db = dir.filePath("keep.db");
        QVERIFY(copyFile(m_db, db));
        DatabaseBuilder builder;
        QSignalSpy finished(&builder, &DatabaseBuilder::importFinished);
        const QString missing = dir.filePath("CIFP");
        testlog::expectLogged("NavBuilder", "CIFP directory not found: ");
        QVERIFY(!builder.importXPlaneCifp(db, missing));
        QCOMPARE(lastFinished(finished), qMakePair("CIFP directory not found: " + missing, false));
        QVERIFY(!loggedLine("CIFP directory not found: " + missing).isEmpty());
        QCOMPARE(count(db, "procedure_legs"), count(m_db, "procedure_legs"));
    }

    void malformedLinesAreSkippedAndCounted()
    {
        QTemporaryDir dir;
        const QString db = dir.filePath("bad.db");
        QVERIFY(fullSchemaCopy(db));
        QVERIFY(DatabaseBuilder().executeSql(
            db, {"INSERT INTO waypoints (ident, lat, lon, type) VALUES ('FIXA', 10.5, 20.5, 'FIX')"}));
        const QByteArray good = "SID:010,1,TEST1,RW01,FIXA,ZZ,E,A,E   , ,   ,TF, , , , , ,      ,    ,    ,    ,    ,+,"
                                "FL070,     ,18000, ,   ,    ,   , , , , , , , , ;";
        QVERIFY(writeFile(dir.filePath("CIFP/ZZZZ.dat"),
                          "\xEF\xBB\xBF" + good +
                              "\r\n"
                              "XYZ:010,1,TEST1,RW01,FIXA,ZZ,E,A,E   , ,   ,TF;\r\n"    // unknown record type
                              "SID:0x0,1,TEST1,RW01,FIXA,ZZ,E,A,E   , ,   ,TF;\r\n"    // sequence not a number
                              "SID:020,1,TEST1\r\n"                                    // truncated
                              "RWY:RW01,     ,      ,00100, ,    , ,   ;N9999,W1;\r\n" // unreadable threshold
                              "\r\n"
                              "PRDAT: ,          , ,          ,A,      LNAV, ,   , ,   , ,   , ,   ,J,S;\r\n"));
        DatabaseBuilder builder;
        QSignalSpy finished(&builder, &DatabaseBuilder::importFinished);
        QVERIFY(builder.importXPlaneCifp(db, dir.filePath("CIFP")));
        QCOMPARE(lastFinished(finished),
                 qMakePair(QStringLiteral("importXPlaneCifp: imported 1 procedures, 1 legs from 1 files (4 malformed "
                                          "lines skipped)"),
                           true));
        QCOMPARE(firstRow(db, "SELECT airport_icao, runway, fix_ident, lat, lon, altitude FROM procedure_legs"),
                 (QVariantList{"ZZZZ", "01", "FIXA", 10.5, 20.5, 7000.0}));
    }

private:
    QTemporaryDir m_dir;
    QString m_cifp;
    QString m_db;
    QString m_message;
};

QTEST_GUILESS_MAIN(TestCifpImport)
#include "tst_cifpimport.moc"
