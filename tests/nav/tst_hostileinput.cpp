#include "importtest.h"
#include "tst_bglsamples.h"

#include "nav/bglimportjob.h"
#include "nav/databasebuilder.h"
#include "tests/support/logexpect.h"

#include <QCryptographicHash>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QSqlRecord>

#include <functional>

using namespace importtest;
using namespace navtest;

// Each importer fed an empty, random, NUL-filled and cut-off input over a database that already
// holds good data: the import fails naming the file, and the tables stay as they were.

namespace {

enum class Damage { Empty, Random, Nul, Cut };

// One source: how to write its good input into a folder, which file of it to damage, the import,
// and the tables it must leave alone.
struct Source
{
    std::function<void(const QString &dir)> write;
    QString file; // relative to the folder
    std::function<bool(DatabaseBuilder &, const QString &db, const QString &dir)> import;
    QStringList tables;
};

QByteArray xplaneFile(const QByteArray &rows)
{
    return "I\n1200 Version - data cycle 2401, test data\n" + rows + "99\n";
}

const QByteArray kNavaids = xplaneFile("3  31.1977 121.3387 10 11370 130 0.0 SHA ENRT ZS SHANGHAI VOR/DME\n"
                                       "2  31.1500 121.8000 10 00385 50 0.0 PD ENRT ZS PUDONG NDB\n"
                                       "3  40.0800 116.6100 10 11470 130 0.0 PEK ENRT ZB CAPITAL VOR/DME\n");
const QByteArray kFixes = xplaneFile("31.450000 122.900000 DUMET ENRT ZS 2115159\n"
                                     "30.700000 122.500000 KUBAT ENRT ZS 2115159\n"
                                     "39.500000 117.000000 ELATO ENRT ZB 2115159\n");
const QByteArray kAirways = "I\n1100 Version - data cycle 2401\n"
                            "DUMET ZS 11 KUBAT ZS 11 N 1 50 180 A593\n"
                            "KUBAT ZS 11 SHA ZS 3 N 2 180 450 G212\n"
                            "99\n";
const QByteArray kAptMeta = xplaneFile("ZSPD ZS 31.1434 121.8052 13 AP 0 12467 3000 FL040\n"
                                       "ZBAA ZB 40.0801 116.5846 116 AP 0 12467 3000 FL040\n");
const QByteArray kApt =
    xplaneFile("1 13 0 0 ZSPD Shanghai Pudong\n"
               "100 60.00 1 0 0.25 0 2 1 17L 31.16 121.79 0 0 2 0 0 0 35R 31.11 121.80 0 0 2 0 0 0\n"
               "1 116 0 0 ZBAA Beijing Capital\n"
               "100 60.00 1 0 0.25 0 2 1 18L 40.10 116.58 0 0 2 0 0 0 36R 40.06 116.59 0 0 2 0 0 0\n");
const QByteArray kCifp = "SID:010,5,PIK1A,RW35L,DUMET,ZS,P,C,E  B, ,   ,IF, ,,,,,,,,,0050,0050,,,,, ,,,,,,,;\n"
                         "SID:020,5,PIK1A,RW35L,KUBAT,ZS,P,C,E  B, ,   ,TF, ,,,,,,,,,0050,0050,,,,, ,,,,,,,;\n"
                         "STAR:010,5,DUM1A,ALL,DUMET,ZS,P,C,E  A, ,   ,IF, ,,,,,,,,,,,,,,,, ,,,,,,,;\n";
const QByteArray kAtc = "ZSPD,TWR,118.8,Pudong Tower\n"
                        "ZSPD,GND,121.65,Pudong Ground\n"
                        "ZBAA,TWR,118.5,Capital Tower\n";
const QByteArray kOpenAir = "AC C\nAN ALPHA CTR\nAL GND\nAH 3000ft AMSL\n"
                            "DP 31:00:00 N 121:00:00 E\nDP 31:30:00 N 121:00:00 E\nDP 31:30:00 N 121:30:00 E\n"
                            "AC R\nAN BRAVO\nAL GND\nAH FL100\n"
                            "DP 30:00:00 N 120:00:00 E\nDP 30:10:00 N 120:00:00 E\nDP 30:10:00 N 120:10:00 E\n";

QByteArray openAipAirspace(const QString &name, double lat)
{
    return QStringLiteral("<ASP CATEGORY=\"CTR\"><NAME>%1</NAME>"
                          "<ALTLIMIT_TOP REFERENCE=\"STD\"><ALT UNIT=\"FL\">65</ALT></ALTLIMIT_TOP>"
                          "<ALTLIMIT_BOTTOM REFERENCE=\"GND\"><ALT UNIT=\"F\">0</ALT></ALTLIMIT_BOTTOM>"
                          "<GEOMETRY><POLYGON>8.0 %2, 8.1 %2, 8.1 %3, 8.0 %2</POLYGON></GEOMETRY></ASP>\n")
        .arg(name)
        .arg(lat)
        .arg(lat + 0.1)
        .toUtf8();
}

QByteArray openAipFile(int airspaces)
{
    QByteArray xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<OPENAIP><AIRSPACES>\n";
    for (int i = 0; i < airspaces; ++i)
        xml += openAipAirspace(QStringLiteral("CTR %1").arg(i), 47.0 + i * 0.2);
    return xml + "</AIRSPACES></OPENAIP>\n";
}

void writeRouteFinder(const QString &dir)
{
    writeFile(dir + "/PROC/ZSPD.txt", "SID,PIK1A,35L\nIF,DUMET,31.45,122.9,0,0,0,0,0,0,0,0\n"
                                      "TF,KUBAT,30.7,122.5,0,0,0,0,0,0,0,0\n");
    writeFile(dir + "/Waypoints.txt", "DUMET,31.45,122.9,ZS\nKUBAT,30.7,122.5,ZS\n");
    writeFile(dir + "/Airports.txt", "A,ZSPD,PUDONG,31.1434,121.8052,13,3000,4000,12467\n"
                                     "R,17L,170,12467,197,0,0,0,31.16,121.79,13,3,50,1,0\n");
    writeFile(dir + "/Navaids.txt", "SHA,SHANGHAI,113.7,1,1,130,31.1977,121.3387,10,ZS,0\n"
                                    "PD,PUDONG,385,0,0,50,31.15,121.8,13,ZS,0\n");
    writeFile(dir + "/ATS.txt", "A,A593,1\nS,DUMET,31.45,122.9,KUBAT,30.7,122.5,0,0,52\n");
}

QMap<QString, Source> sources()
{
    QMap<QString, Source> s;
    const auto one = [](bool (DatabaseBuilder::*member)(const QString &, const QString &), const QString &file) {
        return [member, file](DatabaseBuilder &b, const QString &db, const QString &dir) {
            return (b.*member)(db, dir + "/" + file);
        };
    };
    const auto folder = [](bool (DatabaseBuilder::*member)(const QString &, const QString &)) {
        return [member](DatabaseBuilder &b, const QString &db, const QString &dir) { return (b.*member)(db, dir); };
    };
    s["navaids"] = {[](const QString &d) { writeFile(d + "/earth_nav.dat", kNavaids); },
                    "earth_nav.dat",
                    one(&DatabaseBuilder::importXPlaneNavData, "earth_nav.dat"),
                    {"navaids"}};
    s["fixes"] = {[](const QString &d) { writeFile(d + "/earth_fix.dat", kFixes); },
                  "earth_fix.dat",
                  one(&DatabaseBuilder::importXPlaneWaypoints, "earth_fix.dat"),
                  {"waypoints"}};
    s["airways"] = {[](const QString &d) { writeFile(d + "/earth_awy.dat", kAirways); },
                    "earth_awy.dat",
                    one(&DatabaseBuilder::importXPlaneAirways, "earth_awy.dat"),
                    {"airways"}};
    s["aptmeta"] = {[](const QString &d) { writeFile(d + "/earth_aptmeta.dat", kAptMeta); },
                    "earth_aptmeta.dat",
                    one(&DatabaseBuilder::importAptMeta, "earth_aptmeta.dat"),
                    {"aptmeta"}};
    s["apt.dat"] = {[](const QString &d) { writeFile(d + "/apt.dat", kApt); },
                    "apt.dat",
                    [](DatabaseBuilder &b, const QString &db, const QString &dir) {
                        return b.importXPlaneAptFiles(db, {dir + "/apt.dat"});
                    },
                    {"airports", "runways"}};
    s["cifp"] = {[](const QString &d) { writeFile(d + "/ZSPD.dat", kCifp); },
                 "ZSPD.dat",
                 folder(&DatabaseBuilder::importXPlaneCifp),
                 {"procedures", "procedure_legs"}};
    s["atc"] = {[](const QString &d) { writeFile(d + "/atc.dat", kAtc); },
                "atc.dat",
                folder(&DatabaseBuilder::importNavigraphAtc),
                {"frequencies"}};
    s["openair"] = {[](const QString &d) { writeFile(d + "/airspace.txt", kOpenAir); },
                    "airspace.txt",
                    folder(&DatabaseBuilder::importOpenAirAirspaces),
                    {"airspaces"}};
    s["openaip"] = {[](const QString &d) { writeFile(d + "/airspaces.aip", openAipFile(3)); },
                    "airspaces.aip",
                    folder(&DatabaseBuilder::importOpenAIPAirspaces),
                    {"airspaces"}};
    s["route-finder"] = {writeRouteFinder,
                         "Navaids.txt",
                         folder(&DatabaseBuilder::importRouteFinderData),
                         {"navaids", "waypoints", "airports", "airways"}};
    s["cycle"] = {[](const QString &d) { writeFile(d + "/cycle_info.txt", "AIRAC cycle    : 2401\nVersion : 2\n"); },
                  "cycle_info.txt",
                  folder(&DatabaseBuilder::importCycleInfo),
                  {"navdata_meta"}};
    return s;
}

// Every row of the tables with every column, in storage order: the tables "as they were".
QByteArray snapshot(const QString &db, const QStringList &tables)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    const QString name = QStringLiteral("hostile_snapshot");
    {
        QSqlDatabase connection = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        connection.setDatabaseName(db);
        if (connection.open()) {
            QSqlQuery q(connection);
            for (const QString &table : tables) {
                q.exec(QStringLiteral("SELECT rowid, * FROM %1 ORDER BY rowid").arg(table));
                while (q.next()) {
                    for (int c = 0; c < q.record().count(); ++c)
                        hash.addData(q.value(c).toString().toUtf8() + '|');
                    hash.addData("\n");
                }
            }
        }
    }
    QSqlDatabase::removeDatabase(name);
    return hash.result().toHex();
}

// A file that breaks off a few characters into its last data line (before X-Plane's closing 99).
QByteArray cutShort(const QByteArray &good)
{
    QByteArray text = good;
    if (text.endsWith("\n99\n"))
        text.chop(3);
    const qsizetype lastLine = text.lastIndexOf('\n', text.size() - 2) + 1;
    return text.left(lastLine + 5);
}

QByteArray damaged(const QByteArray &good, Damage damage)
{
    switch (damage) {
    case Damage::Empty:
        return QByteArray();
    case Damage::Nul:
        return QByteArray(4096, '\0');
    case Damage::Random: {
        QRandomGenerator random(1234);
        QByteArray bytes(4096, '\0');
        for (char &c : bytes)
            c = char(random.bounded(256));
        return bytes;
    }
    case Damage::Cut:
        return cutShort(good);
    }
    return good;
}

} // namespace

class TestHostileInput : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void unusableInputLeavesTheTables_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<int>("damage");
        const QStringList names = sources().keys();
        for (const QString &name : names) {
            QTest::addRow("%s empty", qPrintable(name)) << name << int(Damage::Empty);
            QTest::addRow("%s random", qPrintable(name)) << name << int(Damage::Random);
            QTest::addRow("%s NUL-filled", qPrintable(name)) << name << int(Damage::Nul);
            // A cut XML document keeps what came before the cut (below); a cycle file has no rows.
            if (name != "openaip" && name != "cycle")
                QTest::addRow("%s cut off", qPrintable(name)) << name << int(Damage::Cut);
        }
    }

    void unusableInputLeavesTheTables()
    {
        QFETCH(QString, source);
        QFETCH(int, damage);
        const Source s = sources().value(source);
        QTemporaryDir dir;
        const QString db = dir.filePath("nav.db");
        const QString input = dir.filePath("input");
        QVERIFY(fullSchemaCopy(db));
        DatabaseBuilder builder;
        // Airways and procedures find their fixes among those already imported.
        writeFile(dir.filePath("setup/earth_fix.dat"), kFixes);
        QVERIFY(builder.importXPlaneWaypoints(db, dir.filePath("setup/earth_fix.dat")));
        s.write(input);
        QVERIFY2(s.import(builder, db, input), "the good input imports");
        const QByteArray before = snapshot(db, s.tables);
        QVERIFY(count(db, s.tables.first()) > 0);

        const QString file = input + "/" + s.file;
        QVERIFY(writeFile(file, damaged(readFile(file), Damage(damage))));
        QSignalSpy finished(&builder, &DatabaseBuilder::importFinished);
        testlog::expectLogged("NavBuilder", QRegularExpression::escape(QFileInfo(file).fileName()));
        QVERIFY(!s.import(builder, db, input));
        const auto [message, success] = lastFinished(finished);
        QVERIFY(!success);
        QVERIFY2(message.contains(file), qPrintable(message));
        QCOMPARE(snapshot(db, s.tables), before);
    }

    // A damaged OpenAIP document keeps the airspaces before the fault and says so; importing the
    // same file again adds nothing.
    void damagedOpenAipKeepsWhatCameBefore()
    {
        QTemporaryDir dir;
        const QString db = dir.filePath("nav.db");
        QVERIFY(fullSchemaCopy(db));
        QByteArray xml = openAipFile(50);
        xml[xml.lastIndexOf("CTR 49") - 2] = '\0'; // one bad byte near the end
        QVERIFY(writeFile(dir.filePath("airspaces.aip"), xml));
        DatabaseBuilder builder;
        QSignalSpy finished(&builder, &DatabaseBuilder::importFinished);
        for (int run = 0; run < 2; ++run) {
            testlog::expectLogged("NavBuilder", "airspaces.aip line \\d+: .*the 49 airspaces before it kept");
            QVERIFY(builder.importOpenAIPAirspaces(db, dir.path()));
            QCOMPARE(count(db, "airspaces"), 49);
        }
        const QString message = lastFinished(finished).first;
        QVERIFY2(message.contains("imported 0 airspaces") && message.contains("49 already present") &&
                     message.contains("damaged: "),
                 qPrintable(message));
    }

    // A BGL library whose only file does not read, or reads cut short, leaves the database as it was.
    void unreadableSceneryKeepsTheDatabase_data()
    {
        QTest::addColumn<int>("damage");
        QTest::newRow("empty") << int(Damage::Empty);
        QTest::newRow("random") << int(Damage::Random);
        QTest::newRow("NUL-filled") << int(Damage::Nul);
        QTest::newRow("cut off") << int(Damage::Cut);
    }

    void unreadableSceneryKeepsTheDatabase()
    {
        QFETCH(int, damage);
        QTemporaryDir dir;
        const QString scenery = dir.filePath("addon/scenery/ZSPD.bgl");
        const QByteArray good = bglw::file({bglw::section(0x03, {bglsamples::airport(bglsamples::Fsx, {})})});
        QVERIFY(writeFile(scenery, good));
        // The add-on's folder has neither scenery.cfg nor add-on packages: its BGL files are read.
        const QString db = dir.filePath("p3d.db");
        QString message;
        QVERIFY2(runBglImport(dir.filePath("addon"), db, SimType::Prepar3D, {}, nullptr, &message),
                 qPrintable(message));
        QCOMPARE(count(db, "airports"), 1);
        const QByteArray before = readFile(db);

        QVERIFY(writeFile(scenery, Damage(damage) == Damage::Cut ? good.left(good.size() * 2 / 3)
                                                                 : damaged(good, Damage(damage))));
        testlog::expectLogged("NavBuilder", "importP3DScenery: no readable scenery BGL files");
        testlog::expectLogged("NavBuilder", "Scenery import failed: .*no readable scenery BGL files");
        QVERIFY(!runBglImport(dir.filePath("addon"), db, SimType::Prepar3D, {}, nullptr, &message));
        QVERIFY2(message.contains("ZSPD.bgl"), qPrintable(message));
        QCOMPARE(readFile(db), before);
    }
};

QTEST_GUILESS_MAIN(TestHostileInput)
#include "tst_hostileinput.moc"
