#include "tst_bglsamples.h"

#include "nav/bglimportjob.h"
#include "nav/databasebuilder.h"
#include "nav/sqlconnection.h"
#include "tests/support/logexpect.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

// Scenery import from folder trees laid out as a Prepar3D installation and as an MSFS 2020
// package folder, with the real test airport and BGL files written here.

using namespace bglsamples;

namespace {

QString realAirport()
{
    return QStringLiteral(SHARED_TESTDATA_DIR "/bgl/bglreader-ktst/KTST_TestAirport_v5.BGL");
}

void put(const QString &path, const QByteArray &bytes)
{
    QVERIFY(QDir().mkpath(QFileInfo(path).absolutePath()));
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    QCOMPARE(f.write(bytes), bytes.size());
}

// First column of every row, joined with ";".
QString rows(const QString &db, const QString &sql)
{
    ScopedSqlConnection c(QStringLiteral("tst_bglimport"), db);
    if (!c.open())
        return QStringLiteral("<no db>");
    QSqlQuery q(c.database());
    QStringList out;
    if (!q.exec(sql))
        return QStringLiteral("<error>");
    while (q.next())
        out << q.value(0).toString();
    return out.join(QLatin1Char(';'));
}

int count(const QString &db, const QString &table)
{
    return rows(db, QStringLiteral("SELECT COUNT(*) FROM %1").arg(table)).toInt();
}

const QStringList kTables{"airports",      "runways",        "parkings", "towers",    "frequencies",
                          "taxiway_nodes", "taxiway_edges",  "navaids",  "waypoints", "airways",
                          "procedures",    "procedure_legs", "airspaces"};

// W9 runs CCCCC -> PUD with a region the reader cannot match, so only the database repair
// (which matches by ident) finds PUD's position.
Rec unresolvedAirwayStart()
{
    Rec w(0x0022);
    w.u8(1).u8(1).lonLat(30.2, 120.2).f32(0).u32(bglw::identWord("CCCCC")).u32(bglw::regionWord("ZS"));
    w.u8(2).str("W9", 8).u32(bglw::identWord("PUD") | 2).u32(bglw::regionWord("ZY")).f32(3000).zeros(12);
    return w;
}

// An MSFS airport record with only a name and a COM: what a navigation-data update adds.
Rec stubAirport(const QString &ident, quint32 towerHz)
{
    Rec a(0x0056);
    a.u8(0).u8(1).u8(0).u8(0).u8(0).u8(0).pos(31.1434, 121.805, 4.0);
    a.pos(31.15, 121.80, 10.0).f32(354.0);
    a.u32(bglw::identWord(ident)).u32(bglw::regionWord("ZS")).u32(0).zeros(16);
    a.add(Rec(0x0019).bytes("Pudong"));
    return a.add(Rec(0x0012).u16(6).u32(towerHz).bytes("NEW TOWER"));
}

QByteArray navaidsWithRepeatedNdb()
{
    QList<Rec> fixes = waypoints();
    fixes << unresolvedAirwayStart();
    const Rec ndb = bglw::ndb("NNN", "ZS", 29.0, 119.0, 400000, 1852.0 * 25);
    return file({section(0x13, vors()), section(0x18, {outerMarker()}), section(0x22, fixes),
                 section(0x20, {classCBoundary()}), section(0x17, {ndb, ndb})});
}

} // namespace

class TestBglImport : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }

    void p3dTreeAddOnWinsAndReimportDoesNotDuplicate()
    {
        if (!QFileInfo::exists(realAirport()))
            QSKIP("shared test data (bgl/bglreader-ktst) not present");
        QTemporaryDir dir;
        const QString root = dir.path();
        const ApproachIds ids;
        // Layer 1: stock KTST (the sample Pudong layout renamed) and ZSPD, plus the navaids.
        put(root + "/Scenery/World/scenery/APX.bgl",
            file({section(0x03, {airport(Fsx, ids, QStringLiteral("KTST")), airport(Fsx, ids)})}));
        put(root + "/Scenery/World/scenery/NVX.BGL", navaidsWithRepeatedNdb());
        // An inactive area and a file that is no BGL at all.
        put(root + "/Scenery/Off/scenery/off.bgl", file({section(0x03, {airport(Fsx, ids, QStringLiteral("ZZZZ"))})}));
        put(root + "/Scenery/World/scenery/readme.bgl", QByteArray("not a scenery file at all, but named like one"));
        // Layer 3: the real KTST; then an add-on.xml package moving ZSPD.
        QFile real(realAirport());
        QVERIFY(real.open(QIODevice::ReadOnly));
        put(root + "/Addon Scenery/KTST/scenery/KTST_TestAirport_v5.BGL", real.readAll());
        put(root + "/Add-ons/pudong/scenery/zspd.bgl",
            file({section(0x03, {airport(P3d5, ids, QStringLiteral("ZSPD"), 0.5, 0.0)})}));
        put(root + "/Add-ons/pudong/add-on.xml",
            "<?xml version=\"1.0\"?><SimBase.Document Type=\"AddOnXml\" version=\"4,0\" id=\"add-on\">"
            "<AddOn.Name>Pudong</AddOn.Name><AddOn.Component><Category>Scenery</Category><Path>scenery</Path>"
            "</AddOn.Component><AddOn.Component><Category>Effects</Category><Path>fx</Path></AddOn.Component>"
            "</SimBase.Document>");
        put(root + "/scenery.cfg",
            "[General]\r\nTitle=FS World\r\n\r\n[Area.003]\r\nTitle=Testfield\r\nLocal=Addon Scenery\\KTST\r\n"
            "Layer=3\r\nActive=TRUE\r\n\r\n[Area.001]\r\nTitle=Default\r\nLocal=scenery\\world\r\nLayer=1\r\n"
            "Active=TRUE\r\n\r\n[Area.002]\r\nTitle=Off\r\nLocal=Scenery\\Off\r\nLayer=2\r\nActive=FALSE\r\n");

        const QStringList folders = DatabaseBuilder::getP3DSceneryPaths(root);
        QCOMPARE(folders, QStringList({root + "/Scenery/World/scenery", root + "/Addon Scenery/KTST/scenery",
                                       root + "/Add-ons/pudong/scenery"}));

        const QString db = root + "/p3d.db";
        DatabaseBuilder builder;
        QSignalSpy finished(&builder, &DatabaseBuilder::importFinished);
        QVERIFY(builder.importP3DScenery(db, root));
        QCOMPARE(finished.count(), 1);
        QVERIFY(finished.first().at(1).toBool());

        // The add-on KTST replaced the stock one entirely; ZZZZ came from an inactive area.
        QCOMPARE(rows(db, "SELECT icao FROM airports ORDER BY icao"), QStringLiteral("KTST;ZSPD"));
        QCOMPARE(rows(db, "SELECT name FROM airports WHERE icao='KTST'"), QStringLiteral("Testfield Regional"));
        QCOMPARE(rows(db, "SELECT ident FROM runways WHERE airport_icao='KTST' ORDER BY ident"),
                 QStringLiteral("18;36"));
        QCOMPARE(rows(db, "SELECT runway_count FROM airports ORDER BY icao"), QStringLiteral("2;2"));
        QCOMPARE(rows(db, "SELECT type || ' ' || frequency FROM frequencies WHERE airport_icao='KTST' ORDER BY type"),
                 QStringLiteral("ATIS 126.0;CTAF 122.95;GND 121.9;TWR 118.3"));
        QCOMPARE(rows(db, "SELECT COUNT(*) FROM parkings WHERE airport_icao='KTST'"), QStringLiteral("2"));
        QCOMPARE(rows(db, "SELECT has_tower FROM airports WHERE icao='KTST'"), QStringLiteral("1"));
        QCOMPARE(rows(db, "SELECT type FROM navaids WHERE airport_icao='KTST' ORDER BY type"),
                 QStringLiteral("GS;ILS"));
        QCOMPARE(rows(db, "SELECT ident || ' ' || freq FROM navaids WHERE type='ILS'"), QStringLiteral("ITST 110.35"));
        const double zspdLat = rows(db, "SELECT lat FROM airports WHERE icao='ZSPD'").toDouble();
        QVERIFY2(qAbs(zspdLat - 31.6434) < 1e-4, qPrintable(QString::number(zspdLat, 'f', 6)));
        // The repeated NDB is written once, its range in NM.
        QCOMPARE(rows(db, "SELECT freq || ' ' || range_nm FROM navaids WHERE type='NDB'"),
                 QStringLiteral("400.0 25.0"));
        QCOMPARE(rows(db, "SELECT DISTINCT type FROM waypoints"), QStringLiteral("WPT"));
        // A593 BBBBB -> PUD was resolved by the reader, W9 -> PUD (wrong region) by the repair, which
        // takes the first PUD row by ident (VOR or its DME, 0.0001 degrees apart).
        QCOMPARE(rows(db, "SELECT round(to_lat, 3) || ' ' || round(to_lon, 3) FROM airways WHERE name='W9'"),
                 QStringLiteral("31.0 121.0"));
        QCOMPARE(rows(db, "SELECT COUNT(*) FROM airways WHERE to_lat = 0 OR from_lat = 0"), QStringLiteral("0"));
        QVERIFY(count(db, "procedures") >= 2);
        QVERIFY(count(db, "procedure_legs") >= 2);
        QVERIFY(count(db, "airspaces") >= 1);
        QVERIFY(count(db, "taxiway_edges") >= 1);

        QList<int> before;
        for (const QString &table : kTables)
            before << count(db, table);
        QVERIFY(builder.importP3DScenery(db, root));
        for (int i = 0; i < kTables.size(); ++i)
            QCOMPARE(count(db, kTables.at(i)), before.at(i));
        // The scenery tables also let the rest of the schema complete.
        QVERIFY(builder.createSchema(db));
    }

    void msfsTreeCommunityOverridesAndStubsMerge()
    {
        QTemporaryDir dir;
        const QString root = dir.path();
        const ApproachIds ids{0xE1, 0xE2, 0xE3, 0xE3, 1};
        const QString packages = root + "/Packages";
        put(packages + "/Official/OneStore/fs-base/scenery/world/APX1.BGL",
            file({section(0x03, {airport(Msfs, ids), airport(Msfs, ids, QStringLiteral("KTST"))})}));
        put(packages + "/Official/OneStore/fs-base/layout.json",
            R"({"content":[{"path":"scenery/world/APX1.BGL","size":1},{"path":"ContentInfo/x.jpg","size":1}]})");
        put(packages + "/Official/OneStore/asobo-navdata/scenery/NAV.bgl", navaidsWithRepeatedNdb());
        // Community: KTST moved north, and a stub for ZSPD with a new tower frequency.
        put(packages + "/Community/my-ktst/scenery/ktst.bgl",
            file({section(0x03, {airport(Msfs, ids, QStringLiteral("KTST"), 1.0, 0.0)})}));
        put(packages + "/Community/zspd-update/scenery/stub.bgl",
            file({section(0x03, {stubAirport(QStringLiteral("ZSPD"), 118900000)})}));
        // A Navigraph package carrying only fixes.
        put(packages + "/Community/nav-pack/manifest.json", R"({"creator":"Navigraph","content_type":"SCENERY"})");
        put(packages + "/Community/nav-pack/scenery/wp.bgl", file({section(0x22, {waypoints().first()})}));
        put(root + "/UserCfg.opt", "{Graphics\n}\nInstalledPackagesPath \"" + packages.toUtf8() + "\"\n");

        QCOMPARE(DatabaseBuilder::getMsfsPackagesPath(root), packages);
        QCOMPARE(DatabaseBuilder::getMsfsPackagesPath(root + "/UserCfg.opt"), packages);
        QCOMPARE(DatabaseBuilder::getMsfsPackagesPath(packages), packages);
        QVERIFY(DatabaseBuilder::getMsfsPackagesPath(root + "/nothing").isEmpty());
        const QStringList order = DatabaseBuilder::getMsfsPackagePaths(packages);
        QCOMPARE(order, QStringList({packages + "/Official/OneStore/fs-base",
                                     packages + "/Official/OneStore/asobo-navdata", packages + "/Community/my-ktst",
                                     packages + "/Community/nav-pack", packages + "/Community/zspd-update"}));
        QVERIFY(DatabaseBuilder::isNavigraphMsfsDir(packages + "/Community/nav-pack"));
        QVERIFY(!DatabaseBuilder::isNavigraphMsfsDir(packages + "/Community/my-ktst"));
        QCOMPARE(DatabaseBuilder::sceneryBglFiles(packages + "/Official/OneStore/fs-base"),
                 QStringList({packages + "/Official/OneStore/fs-base/scenery/world/APX1.BGL"}));

        const QString db = root + "/msfs.db";
        DatabaseBuilder builder;
        QVERIFY(builder.importMsfsScenery(db, root));
        const double ktstLat = rows(db, "SELECT lat FROM airports WHERE icao='KTST'").toDouble();
        QVERIFY2(qAbs(ktstLat - 32.1434) < 1e-4, qPrintable(QString::number(ktstLat, 'f', 6)));
        // The stub kept Pudong's runways and replaced its tower frequency.
        QCOMPARE(rows(db, "SELECT runway_count FROM airports WHERE icao='ZSPD'"), QStringLiteral("2"));
        QCOMPARE(rows(db, "SELECT frequency FROM frequencies WHERE airport_icao='ZSPD' AND type='TWR'"),
                 QStringLiteral("118.9"));
        // The Navigraph package replaced the fixes (and airways) with its own.
        QCOMPARE(rows(db, "SELECT ident FROM waypoints"), QStringLiteral("AAAAA"));
        QCOMPARE(rows(db, "SELECT COUNT(*) FROM navaids WHERE type='NDB'"), QStringLiteral("0"));
        QCOMPARE(count(db, "airports"), 2);
    }

    void failedOrCancelledImportKeepsThePreviousDatabase()
    {
        QTemporaryDir dir;
        const QString root = dir.path();
        const ApproachIds ids;
        put(root + "/Scenery/World/scenery/apt.bgl", file({section(0x03, {airport(Fsx, ids)})}));
        put(root + "/scenery.cfg", "[Area.001]\nLocal=Scenery\\World\nLayer=1\nActive=TRUE\n");
        const QString target = root + "/zobrel_navdata_p3d.db";

        QString message;
        QStringList stages;
        QVERIFY(runBglImport(
            root, target, SimType::Prepar3D, [&](QString stage, int, int) { stages << stage; }, nullptr, &message));
        QVERIFY2(message.startsWith("importBglRecords: imported 1 airports"), qPrintable(message));
        QVERIFY(stages.contains("scenery") && stages.contains("write"));
        QCOMPARE(count(target, "airports"), 1);

        // Another tree with a second airport: cancelled from the first progress report.
        put(root + "/Scenery/World/scenery/apt2.bgl", file({section(0x03, {airport(Fsx, ids, "KTST")})}));
        std::atomic_bool cancel{false};
        QElapsedTimer sinceCancel;
        QVERIFY(!runBglImport(
            root, target, SimType::Prepar3D,
            [&](QString, int, int) {
                if (!cancel.exchange(true))
                    sinceCancel.start();
            },
            &cancel, &message));
        QVERIFY(sinceCancel.elapsed() < 1000);
        QVERIFY2(message.contains("cancelled"), qPrintable(message));
        QCOMPARE(rows(target, "SELECT icao FROM airports"), QStringLiteral("ZSPD"));
        QVERIFY(!QFileInfo::exists(target + ".building"));

        // A plain folder of BGL files (no scenery.cfg, no add-on packages) is read as it stands.
        const QString plain = root + "/plain.db";
        QVERIFY2(runBglImport(root + "/Scenery", plain, SimType::Fsx, {}, nullptr, &message), qPrintable(message));
        QCOMPARE(rows(plain, "SELECT icao FROM airports ORDER BY icao"), QStringLiteral("KTST;ZSPD"));

        // A source without scenery fails with the reason and leaves the target as it was.
        QVERIFY(QDir().mkpath(root + "/empty"));
        testlog::expectLogged("NavBuilder", "importP3DScenery: no scenery BGL files found");
        testlog::expectLogged("NavBuilder", "Scenery import failed: importP3DScenery: no scenery BGL files found");
        QVERIFY(!runBglImport(root + "/empty", target, SimType::Fsx, {}, nullptr, &message));
        QVERIFY2(message.contains("no scenery BGL files"), qPrintable(message));
        testlog::expectLogged("NavBuilder", "Scenery import failed: Scenery source not found");
        QVERIFY(!runBglImport(root + "/missing", target, SimType::Msfs2020, {}, nullptr, &message));
        QVERIFY2(message.contains("not found"), qPrintable(message));
        QCOMPARE(rows(target, "SELECT icao FROM airports"), QStringLiteral("ZSPD"));
        QVERIFY(!QFileInfo::exists(target + ".building"));
    }
};

QTEST_GUILESS_MAIN(TestBglImport)
#include "tst_bglimport.moc"
