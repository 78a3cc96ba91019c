// X-Plane earth_nav.dat, earth_fix.dat and earth_awy.dat into a database: real samples, the
// airway endpoint look-up order, bad input row by row, and failures that must keep the data.

#include "importtest.h"
#include "navtestdb.h"

#include "tests/support/logexpect.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTemporaryDir>

using namespace importtest;
using namespace navtest;

namespace {

const QByteArray kHeader = "I\n1200 Version - data cycle 2401, build 20240101, metadata NavXP1200. Test.\n";

QByteArray navLine(const char *code, double lat, double lon, const char *freq, const char *ident,
                   const char *name = "TEST VOR/DME")
{
    return QStringLiteral("%1 %2 %3 100 %4 130 0.000 %5 ENRT ZZ %6\n")
        .arg(QLatin1String(code))
        .arg(lat, 0, 'f', 9)
        .arg(lon, 0, 'f', 9)
        .arg(QLatin1String(freq), QLatin1String(ident), QLatin1String(name))
        .toLatin1();
}

} // namespace

class TestXPlaneNavImport : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
        AppLogger::instance().clear();
    }

    void navaidsFromRealSample_data()
    {
        QTest::addColumn<QString>("ident");
        QTest::addColumn<double>("lat");
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("airport");
        QTest::addColumn<double>("freq");
        QTest::addColumn<double>("range");
        // Values as the file has them; the type comes from the row code and the name's suffix.
        QTest::newRow("VOR/DME") << "PTB" << 47.152222222 << "VOR"
                                 << "" << 11710.0 << 130.0;
        QTest::newRow("its DME") << "PTB" << 47.152222222 << "DME"
                                 << "" << 11710.0 << 130.0;
        QTest::newRow("NDB") << "SME" << 46.665805556 << "NDB"
                             << "" << 436.0 << 15.0;
        QTest::newRow("DME-ILS") << "IECR" << 35.150833333 << "DME"
                                 << "LCEN" << 10830.0 << 25.0;
        QTest::newRow("localizer") << "BPL" << 47.420805556 << "ILS"
                                   << "LHBP" << 10915.0 << 18.0;
        QTest::newRow("glide slope") << "BPL" << 47.444111111 << "GS"
                                     << "LHBP" << 10915.0 << 18.0;
        QTest::newRow("FPAP") << "R13L" << 47.422653333 << "FPAP"
                              << "LHBP" << 41188.0 << 0.0;
        QTest::newRow("LTP") << "R13L" << 47.445422222 << "LTP"
                             << "LHBP" << 41188.0 << 0.0;
    }
    void navaidsFromRealSample()
    {
        REQUIRE_SHARED_TESTDATA();
        QFETCH(QString, ident);
        QFETCH(double, lat);
        QFETCH(QString, type);
        QFETCH(QString, airport);
        QFETCH(double, freq);
        QFETCH(double, range);
        QTemporaryDir dir;
        const QString db = dir.filePath("nav.db");
        QVERIFY(fullSchemaCopy(db));
        const QString file = sharedData("xplane/nav/navme-earth_nav-noheader.dat");
        DatabaseBuilder builder;
        QSignalSpy finished(&builder, &DatabaseBuilder::importFinished);
        QVERIFY(builder.importXPlaneNavData(db, file));

        // Every row before "99" is a navaid of a known row code.
        const QByteArray text = readFile(file);
        const int rows =
            countLines(text.left(text.indexOf("\n99")), {"2 ", "3 ", "4 ", "5 ", "6 ", "12 ", "13 ", "14 ", "16 "});
        QCOMPARE(rows, 30);
        QCOMPARE(count(db, "navaids"), rows);
        QCOMPARE(lastFinished(finished), qMakePair(QStringLiteral("Imported 30 navaids"), true));
        QVERIFY(!loggedLine("Imported 30 navaids").isEmpty());

        const QString where =
            QStringLiteral("ident='%1' AND type='%2' AND abs(lat-%3)<1e-7").arg(ident, type).arg(lat, 0, 'f', 9);
        QCOMPARE(column(db, "SELECT COUNT(*) FROM navaids WHERE " + where).value(0).toInt(), 1);
        QCOMPARE(column(db, "SELECT airport_icao FROM navaids WHERE " + where).value(0).toString(), airport);
        QCOMPARE(column(db, "SELECT freq FROM navaids WHERE " + where).value(0).toDouble(), freq);
        QCOMPARE(column(db, "SELECT range_nm FROM navaids WHERE " + where).value(0).toDouble(), range);
    }

    void fixesFromRealSamples_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("ident");
        QTest::addColumn<double>("lat");
        QTest::addColumn<double>("lon");
        // Blank lines first and no header; names with blanks.
        QTest::newRow("earth_fix 1200 without header") << "xplane/fix/navme-earth_fix-noheader.dat"
                                                       << "ABFNV" << -21.014086111 << 26.872350000;
        // A full 1200 header and spoken names.
        QTest::newRow("user_fix 1200") << "xplane/fix/strefaVFR-user_fix-1200.dat"
                                       << "EPBAA" << 49.848333 << 19.030278;
    }
    void fixesFromRealSamples()
    {
        REQUIRE_SHARED_TESTDATA();
        QFETCH(QString, file);
        QFETCH(QString, ident);
        QFETCH(double, lat);
        QFETCH(double, lon);
        QTemporaryDir dir;
        const QString db = dir.filePath("fix.db");
        QVERIFY(fullSchemaCopy(db));
        DatabaseBuilder builder;
        QVERIFY(builder.importXPlaneWaypoints(db, sharedData(file)));

        // A data row is a line that starts with two numbers.
        int rows = 0;
        for (const QByteArray &line : readFile(sharedData(file)).split('\n')) {
            const QList<QByteArray> f = line.simplified().split(' ');
            bool okLat = false;
            bool okLon = false;
            if (f.size() >= 3 && (f.at(0).toDouble(&okLat), okLat) && (f.at(1).toDouble(&okLon), okLon))
                ++rows;
        }
        QVERIFY(rows > 20);
        QCOMPARE(count(db, "waypoints"), rows);
        QCOMPARE(
            column(db, QStringLiteral("SELECT lat FROM waypoints WHERE ident='%1'").arg(ident)).value(0).toDouble(),
            lat);
        QCOMPARE(
            column(db, QStringLiteral("SELECT lon FROM waypoints WHERE ident='%1'").arg(ident)).value(0).toDouble(),
            lon);
        QCOMPARE(column(db, "SELECT DISTINCT type FROM waypoints"), QVariantList{"FIX"});
    }

    void badInputIsSkippedAndCounted_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<int>("imported");
        QTest::addColumn<int>("skipped");
        QTest::addColumn<QString>("note");
        const QByteArray good =
            navLine("3", 47.1, 18.7, "11710", "AAA") + navLine("2", 46.6, 17.1, "436", "BB", "B NDB");
        QTest::newRow("CRLF and BOM") << QByteArray("\xEF\xBB\xBF") +
                                             QByteArray(kHeader + good + "99\n").replace("\n", "\r\n")
                                      << 2 << 0 << QString();
        QTest::newRow("wrong version") << QByteArray("I\n999 Version - something else\n") + good + "99\n"
                                       << 2 << 0 << "importXPlaneNavData: unexpected version 999";
        QTest::newRow("over-long line") << kHeader + good + QByteArray(200000, 'x') + "\n99\n" << 2 << 1 << QString();
        QTest::newRow("non-numeric fields") << kHeader + good + navLine("3", 47.1, 18.7, "1x710", "CCC") +
                                                   "3 north 18.7 100 11710 130 0.0 DDD ENRT ZZ NAME\n99\n"
                                            << 2 << 2 << QString();
        QTest::newRow("unknown row code") << kHeader + good + navLine("77", 47.1, 18.7, "11710", "EEE") + "99\n"
                                          << 2 << 1 << QString();
        QTest::newRow("too few columns") << kHeader + good + "3 47.1 18.7 100 11710\n99\n" << 2 << 1 << QString();
        QTest::newRow("rows after 99 ignored")
            << kHeader + good + "99\n" + navLine("3", 1, 1, "11000", "ZZZ") << 2 << 0 << QString();
    }
    void badInputIsSkippedAndCounted()
    {
        QFETCH(QByteArray, content);
        QFETCH(int, imported);
        QFETCH(int, skipped);
        QFETCH(QString, note);
        QTemporaryDir dir;
        const QString db = dir.filePath("bad.db");
        const QString file = dir.filePath("earth_nav.dat");
        QVERIFY(writeFile(file, content));
        QVERIFY(fullSchemaCopy(db));
        DatabaseBuilder builder;
        QSignalSpy finished(&builder, &DatabaseBuilder::importFinished);
        if (!note.isEmpty())
            testlog::expectLogged("NavBuilder", QRegularExpression::escape(note));
        QVERIFY(builder.importXPlaneNavData(db, file));
        QCOMPARE(count(db, "navaids"), imported);
        const QString expected =
            skipped > 0 ? QStringLiteral("Imported %1 navaids (%2 malformed lines skipped)").arg(imported).arg(skipped)
                        : QStringLiteral("Imported %1 navaids").arg(imported);
        QCOMPARE(lastFinished(finished), qMakePair(expected, true));
        QVERIFY(!loggedLine(expected).isEmpty());
        if (!note.isEmpty())
            QVERIFY2(!loggedLine(note).isEmpty(), qPrintable(note));
        QCOMPARE(column(db, "SELECT ident FROM navaids ORDER BY ident"), (QVariantList{"AAA", "BB"}));
    }

    void missingFileFailsAndKeepsData_data()
    {
        QTest::addColumn<int>("which");
        QTest::newRow("navaids") << 0;
        QTest::newRow("fixes") << 1;
        QTest::newRow("airways") << 2;
    }
    void missingFileFailsAndKeepsData()
    {
        QFETCH(int, which);
        QTemporaryDir dir;
        const QString db = dir.filePath("keep.db");
        QVERIFY(fullSchemaCopy(db));
        QVERIFY(DatabaseBuilder().executeSql(db, {"INSERT INTO navaids (ident, type) VALUES ('OLD', 'VOR')",
                                                  "INSERT INTO waypoints (ident) VALUES ('OLD')",
                                                  "INSERT INTO airways (name, from_ident) VALUES ('OLD', 'OLD')"}));
        const QString missing = dir.filePath("no/such/file.dat");
        DatabaseBuilder builder;
        QSignalSpy finished(&builder, &DatabaseBuilder::importFinished);
        testlog::expectLogged("NavBuilder", "cannot open .*no/such/file.dat");
        const bool ok = which == 0   ? builder.importXPlaneNavData(db, missing)
                        : which == 1 ? builder.importXPlaneWaypoints(db, missing)
                                     : builder.importXPlaneAirways(db, missing);
        QVERIFY(!ok);
        QCOMPARE(finished.size(), 1);
        QVERIFY(!lastFinished(finished).second);
        QVERIFY2(lastFinished(finished).first.contains("cannot open " + missing),
                 qPrintable(lastFinished(finished).first));
        for (const char *table : {"navaids", "waypoints", "airways"})
            QCOMPARE(count(db, table), 1);
    }

    void lockedDatabaseFailsAndKeepsData()
    {
        REQUIRE_SHARED_TESTDATA();
        QTemporaryDir dir;
        const QString db = dir.filePath("locked.db");
        QVERIFY(fullSchemaCopy(db));
        QVERIFY(DatabaseBuilder().executeSql(db, {"INSERT INTO navaids (ident, type) VALUES ('OLD', 'VOR')"}));
        {
            QSqlDatabase holder = QSqlDatabase::addDatabase("QSQLITE", "holder");
            holder.setDatabaseName(db);
            QVERIFY(holder.open());
            // Another writer in the middle of a transaction.
            QSqlQuery lock(holder);
            QVERIFY(lock.exec("BEGIN IMMEDIATE"));
            QVERIFY(lock.exec("INSERT INTO navaids (ident, type) VALUES ('HOLD', 'NDB')"));
            DatabaseBuilder builder;
            QSignalSpy finished(&builder, &DatabaseBuilder::importFinished);
            testlog::expectLogged("NavBuilder", "DELETE FROM navaids failed: database is locked");
            QVERIFY(!builder.importXPlaneNavData(db, sharedData("xplane/nav/navme-earth_nav-noheader.dat")));
            QVERIFY2(lastFinished(finished).first.contains("locked"), qPrintable(lastFinished(finished).first));
            QVERIFY(lock.exec("ROLLBACK"));
            holder.close();
        }
        QSqlDatabase::removeDatabase("holder");
        QCOMPARE(column(db, "SELECT ident FROM navaids"), QVariantList{"OLD"});
    }

    void schemaBeforeAndAfterAirwayImport()
    {
        QTemporaryDir dir;
        const QString db = dir.filePath("new.db");
        const QString nav = dir.filePath("earth_nav.dat");
        const QString awy = dir.filePath("earth_awy.dat");
        QVERIFY(writeFile(nav, kHeader + navLine("3", 47.1, 18.7, "11710", "AAA") +
                                   navLine("3", 47.5, 19.0, "11300", "BBB") + "99\n"));
        QVERIFY(writeFile(awy, "I\n1100 Version\nAAA ZZ 3 BBB ZZ 3 N 2 180 450 J1\n99\n"));
        DatabaseBuilder builder;

        // Any import on a new file runs the schema, which stops at the airway index.
        expectSchemaStop();
        QVERIFY(builder.importXPlaneNavData(db, nav));
        QCOMPARE(column(db, "SELECT name FROM pragma_table_info('airways')"),
                 (QVariantList{"id", "name", "level", "from_waypoint_id", "to_waypoint_id"}));
        QVERIFY(!schemaObjects(db, "table").contains("aptmeta"));
        expectSchemaStop();
        QVERIFY(!builder.createSchema(db));

        expectSchemaStop();
        QVERIFY(builder.importXPlaneAirways(db, awy));
        const QVariantList columns = column(db, "SELECT name FROM pragma_table_info('airways')");
        for (const char *added :
             {"from_lat", "from_lon", "to_lat", "to_lon", "from_ident", "to_ident", "direction", "distance"})
            QVERIFY2(columns.contains(QString::fromLatin1(added)), added);
        QVERIFY(!columns.contains("min_alt"));
        QVERIFY(builder.createSchema(db));
        QVERIFY(schemaObjects(db, "index").contains("idx_airways_name_from"));
        QVERIFY(schemaObjects(db, "table").contains("aptmeta"));
        QCOMPARE(count(db, "airways"), 1);
    }

    void airwayEndpointsResolveInOrder()
    {
        QTemporaryDir dir;
        const QString db = dir.filePath("awy.db");
        QVERIFY(fullSchemaCopy(db));
        // A fix wins over a same-named aid; an NDB endpoint takes the NDB, a VHF endpoint the VOR;
        // an aid whose airport column matches the endpoint's region wins over one that does not.
        QVERIFY(writeFile(
            dir.filePath("earth_fix.dat"),
            "I\n1200 Version\n10.0 10.0 ALPHA ENRT ZZ 2105431 ALPHA\n11.0 11.0 OMEGA ENRT ZZ 2105431 O\n99\n"));
        QVERIFY(writeFile(dir.filePath("earth_nav.dat"), kHeader + navLine("3", 20.0, 20.0, "11000", "ALPHA") +
                                                             navLine("3", 30.0, 30.0, "11100", "XYV") +
                                                             navLine("2", 40.0, 40.0, "350", "NB", "NB NDB") +
                                                             navLine("3", 41.0, 41.0, "11200", "NB") + "99\n"));
        DatabaseBuilder builder;
        QVERIFY(builder.importXPlaneWaypoints(db, dir.filePath("earth_fix.dat")));
        QVERIFY(builder.importXPlaneNavData(db, dir.filePath("earth_nav.dat")));
        QVERIFY(builder.executeSql(db, {"INSERT INTO navaids (ident, type, lat, lon, airport_icao) VALUES "
                                        "('RGN', 'VOR', 50, 50, '')",
                                        "INSERT INTO navaids (ident, type, lat, lon, airport_icao) VALUES "
                                        "('RGN', 'VOR', 51, 51, 'QQ')"}));
        QVERIFY(writeFile(dir.filePath("earth_awy.dat"), "I\n1100 Version - data cycle 2401\n"
                                                         "ALPHA ZZ 3 XYV ZZ 3 N 2 180 450 J1-J2\n"
                                                         "NB ZZ 2 OMEGA ZZ 11 F 1 10 180 V5\n"
                                                         "NB ZZ 3 RGN QQ 3 B 1 10 180 V6\n"
                                                         "OMEGA ZZ 11 NOWHR ZZ 11 N 1 10 180 V7-V8\n"
                                                         "broken line\n"
                                                         "99\n"));
        QSignalSpy finished(&builder, &DatabaseBuilder::importFinished);
        QVERIFY(builder.importXPlaneAirways(db, dir.filePath("earth_awy.dat")));
        const QString expected =
            QStringLiteral("importXPlaneAirways: imported 4 airway segments (2 skipped, no coords) "
                           "(1 malformed lines skipped)");
        QCOMPARE(lastFinished(finished), qMakePair(expected, true));
        QVERIFY(!loggedLine("importXPlaneAirways: imported 4 airway segments (2 skipped, no coords)").isEmpty());

        const auto row = [&](const QString &name) {
            return rowValues(db, QStringLiteral("SELECT level, from_ident, from_lat, from_lon, to_ident, to_lat, "
                                                "to_lon, direction FROM airways WHERE name='%1'")
                                     .arg(name));
        };
        QCOMPARE(row("J1"), (QVariantList{"HIGH", "ALPHA", 10.0, 10.0, "XYV", 30.0, 30.0, "B"}));
        QCOMPARE(row("J2"), row("J1"));
        QCOMPARE(row("V5"), (QVariantList{"LOW", "NB", 40.0, 40.0, "OMEGA", 11.0, 11.0, "F"}));
        QCOMPARE(row("V6"), (QVariantList{"LOW", "NB", 41.0, 41.0, "RGN", 51.0, 51.0, "R"}));
        QCOMPARE(count(db, "airways"), 4);
    }

private:
    // The columns of the first row of sql.
    static QVariantList rowValues(const QString &path, const QString &sql)
    {
        QVariantList values;
        {
            QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "record_read");
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
        QSqlDatabase::removeDatabase("record_read");
        return values;
    }
};

QTEST_GUILESS_MAIN(TestXPlaneNavImport)
#include "tst_xplanenavimport.moc"
