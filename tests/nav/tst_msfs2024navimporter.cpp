#include "navtestdb.h"

#include "nav/msfs2024diagramfetcher.h"
#include "nav/msfs2024navimporter.h"
#include "nav/navdataprovider.h"
#include "sim/simconnect/fake/fakefacilityworld.h"
#include "sim/simconnect/fake/fakesimconnect.h"
#include "sim/simconnect/fake/fakesimworld.h"
#include "tests/support/logexpect.h"

#include <QCryptographicHash>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using simconnect::FacilityNode;
using simconnect::FacilityType;

namespace {

// A simulator playing MSFS 2024 with a facility world, an open session on it, and an importer.
struct Rig
{
    explicit Rig(int airports, bool shuffled = true)
    {
        auto facilities = std::make_unique<FakeFacilityWorld>(airports);
        facilities->setShuffledReplies(shuffled);
        world.setFacilities(std::move(facilities));
        session = std::make_unique<SimConnectSession>(SimType::Msfs2024, std::make_unique<FakeSimConnect>(&world));
        SimConnectSession::Timings timings;
        timings.pumpIntervalMs = 1;
        session->setTimings(timings);
        importer.setSession(session.get());
        importer.setBatchSize(40);
    }
    bool open()
    {
        QSignalSpy opened(session.get(), &SimConnectSession::opened);
        return session->start(QStringLiteral("test")) && opened.wait(3000);
    }
    // Runs a whole import; the importFinished arguments.
    QList<QVariant> import(const QString &path)
    {
        QSignalSpy finished(&importer, &Msfs2024NavImporter::importFinished);
        if (!importer.importToDatabase(path))
            return {};
        if (!finished.wait(60000))
            return {};
        return finished.first();
    }
    FakeFacilityWorld &facilities() { return world.facilities(); }

    FakeSimWorld world{SimType::Msfs2024};
    std::unique_ptr<SimConnectSession> session;
    Msfs2024NavImporter importer;
};

QSet<QString> rows(const QString &path, const QString &sql)
{
    QSet<QString> set;
    for (const QVariant &v : navtest::column(path, sql))
        set.insert(v.toString());
    return set;
}

QString fixed(double value, int decimals = 5)
{
    return QString::number(value, 'f', decimals);
}

QByteArray fileHash(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256);
}

// A database that already holds an airport diagram and some navigation rows.
void makeOldDatabase(const QString &path)
{
    QVERIFY(navtest::createFullSchema(path));
    DatabaseBuilder builder;
    QVERIFY(builder.executeSql(
        path, {QStringLiteral("INSERT INTO airports (icao, name) VALUES ('ZZZZ', 'old')"),
               QStringLiteral("INSERT INTO taxiway_nodes (airport_icao, node_id, lat, lon) VALUES ('QZZZ', 1, 1, 2)"),
               QStringLiteral("INSERT INTO parkings (airport_icao, name, lat, lon) VALUES ('QZZZ', 'G1', 1, 2)")}));
}

} // namespace

// The MSFS 2024 facility importer against the fake simulator's facility world, through the real
// port, session and decoders, into real SQLite files.
class TestMsfs2024NavImporter : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void wholeWorldRowByRow();
    void replyOrderDoesNotMatter();
    void exceptionsMidBatch();
    void withoutTheWholeWorldCall();
    void keepsDiagramsAndOldFileOnFailure();
    void taxiLayoutOnDemand();
    void diagramsTheMapAsksFor();
};

void TestMsfs2024NavImporter::init()
{
    QTest::failOnWarning(QRegularExpression(".*"));
    testlog::failOnLoggedProblems();
}

void TestMsfs2024NavImporter::wholeWorldRowByRow()
{
    Rig rig(300);
    QVERIFY(rig.open());
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("zobrel_navdata_msfs2024.db"));
    QSignalSpy phases(&rig.importer, &Msfs2024NavImporter::phaseStarted);
    QSignalSpy progress(&rig.importer, &Msfs2024NavImporter::importProgress);
    const QList<QVariant> result = rig.import(path);
    QCOMPARE(result.value(1).toBool(), true);
    QVERIFY(rig.importer.failures().isEmpty());

    QList<int> phaseOrder;
    for (const QList<QVariant> &p : std::as_const(phases))
        phaseOrder << p.at(0).toInt();
    QCOMPARE(phaseOrder, (QList<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
    bool batchText = false;
    bool walkText = false;
    for (const QList<QVariant> &p : std::as_const(progress)) {
        batchText |= p.at(0).toString() == QStringLiteral("跑道 (300/300)");
        walkText |= p.at(0).toString().contains(QStringLiteral("已处理, 0 队列剩余"));
    }
    QVERIFY(batchText);
    QVERIFY(walkText);

    const FakeFacilityWorld &world = rig.facilities();
    QSet<QString> airports, runways, frequencies, waypoints, navaids, airways;
    int frequencyCount = 0;
    for (const FacilityNode &a : world.airports()) {
        const QString icao = a.text("ICAO");
        airports << QStringLiteral("%1|%2|%3|%4|%5")
                        .arg(icao, a.text("NAME64"), fixed(a.number("LATITUDE")), fixed(a.number("LONGITUDE")))
                        .arg(qRound(a.number("ALTITUDE") * 3.28084));
        for (const FacilityNode &r : a.childrenOf(FacilityType::Runway)) {
            static const char *const designators[] = {"", "L", "R", "C"};
            runways << QStringLiteral("%1|%2%3|%4")
                           .arg(icao)
                           .arg(r.intValue("PRIMARY_NUMBER"), 2, 10, QLatin1Char('0'))
                           .arg(QLatin1String(designators[r.intValue("PRIMARY_DESIGNATOR")]),
                                r.text("PRIMARY_ILS_ICAO"));
            runways << QStringLiteral("%1|%2%3|")
                           .arg(icao)
                           .arg(r.intValue("SECONDARY_NUMBER"), 2, 10, QLatin1Char('0'))
                           .arg(QLatin1String(designators[r.intValue("SECONDARY_DESIGNATOR")]));
        }
        for (const FacilityNode &f : a.childrenOf(FacilityType::Frequency)) {
            ++frequencyCount;
            frequencies << QStringLiteral("%1|%2|%3").arg(icao, fixed(f.number("FREQUENCY") / 1e6, 3), f.text("NAME"));
        }
    }
    for (auto it = world.navaids().cbegin(); it != world.navaids().cend(); ++it) {
        const QString ident = it->text("ICAO");
        if (it->type == FacilityType::Waypoint) {
            waypoints
                << QStringLiteral("%1|%2|%3").arg(ident, fixed(it->number("LATITUDE")), fixed(it->number("LONGITUDE")));
            for (const FacilityNode &route : it->childrenOf(FacilityType::Route)) {
                if (!route.text("NEXT_ICAO").isEmpty())
                    airways << QStringLiteral("%1|%2|%3").arg(route.text("NAME"), ident, route.text("NEXT_ICAO"));
            }
        } else if (it->type == FacilityType::Vor) {
            navaids << QStringLiteral("%1|%2|%3|%4")
                           .arg(ident, it->number("LOCALIZER_WIDTH") > 0 ? "ILS" : "VOR",
                                fixed(it->number("VOR_LATITUDE")), fixed(it->number("VOR_LONGITUDE")));
        } else {
            navaids << QStringLiteral("%1|NDB|%2|%3")
                           .arg(ident, fixed(it->number("LATITUDE")), fixed(it->number("LONGITUDE")));
        }
    }

    QCOMPARE(rows(path, "SELECT icao||'|'||name||'|'||printf('%.5f|%.5f', lat, lon)||'|'||elevation FROM airports"),
             airports);
    QCOMPARE(rows(path, "SELECT airport_icao||'|'||ident||'|'||ils_ident FROM runways"), runways);
    QCOMPARE(navtest::count(path, "runways"), int(runways.size()));
    QCOMPARE(rows(path, "SELECT airport_icao||'|'||printf('%.3f', frequency)||'|'||name FROM frequencies"),
             frequencies);
    QCOMPARE(navtest::count(path, "frequencies"), frequencyCount);
    QCOMPARE(rows(path, "SELECT ident||'|'||printf('%.5f|%.5f', lat, lon) FROM waypoints"), waypoints);
    QCOMPARE(navtest::count(path, "waypoints"), int(waypoints.size()));
    QCOMPARE(rows(path, "SELECT ident||'|'||type||'|'||printf('%.5f|%.5f', lat, lon) FROM navaids"), navaids);
    QCOMPARE(rows(path, "SELECT name||'|'||from_ident||'|'||to_ident FROM airways"), airways);
    QCOMPARE(rows(path, "SELECT value FROM navdata_meta WHERE key='provider'"), QSet<QString>{"MSFS 2024 SimConnect"});

    // Frequency codes outside the published list keep their number; known codes get their name.
    const QSet<QString> kinds = rows(path, "SELECT type FROM frequencies");
    QVERIFY(kinds.contains("FREQ_42") && kinds.contains("FREQ_99"));
    QVERIFY(kinds.contains("ATIS") && kinds.contains("TOWER"));
    QCOMPARE(rows(path, "SELECT type FROM frequencies WHERE name LIKE '% 42'"), QSet<QString>{"FREQ_42"});
    QCOMPARE(rows(path, "SELECT type FROM frequencies WHERE name LIKE '% 1'"), QSet<QString>{"ATIS"});

    // Every leg that names a navaid sits where the world has it.
    const QVariantList unresolved = navtest::column(
        path, "SELECT fix_ident FROM procedure_legs WHERE fix_type1 IN ('W','V','N') AND lat = 0 AND lon = 0");
    QVERIFY2(unresolved.isEmpty(), qPrintable(unresolved.value(0).toString()));
    QVERIFY(navtest::count(path, "procedure_legs") > 1000);
    QCOMPARE(rows(path, "SELECT DISTINCT fix_type2 FROM procedure_legs"),
             (QSet<QString>{"main", "runway_trans", "enroute_trans", "approach_trans"}));

    // Each navaid was asked for once, though neighbouring airports' procedures share fixes.
    QHash<QString, int> asked;
    for (const FakeSimWorld::Entry &e : rig.world.journalOf("RequestFacilityData")) {
        if (!e.units.isEmpty()) // navaids are asked with their region, airports without
            ++asked[QStringLiteral("%1:%2:%3").arg(e.subject, e.units).arg(e.data)];
    }
    QCOMPARE(asked.size(), world.navaids().size());
    for (auto it = asked.cbegin(); it != asked.cend(); ++it)
        QVERIFY2(it.value() == 1, qPrintable(it.key()));
}

void TestMsfs2024NavImporter::replyOrderDoesNotMatter()
{
    // The same world answered in definition order and shuffled, interleaved across requests,
    // makes the same database.
    QTemporaryDir dir;
    QStringList dumps;
    for (const bool shuffled : {false, true}) {
        Rig rig(40, shuffled);
        QVERIFY(rig.open());
        const QString path = dir.filePath(QStringLiteral("order%1.db").arg(shuffled));
        QCOMPARE(rig.import(path).value(1).toBool(), true);
        QStringList dump;
        for (const char *sql :
             {"SELECT airport_icao||ident||length||surface FROM runways ORDER BY 1",
              "SELECT airport_icao||type||name||runway_ident FROM procedures ORDER BY 1",
              "SELECT airport_icao||proc_name||runway||seq||fix_ident||fix_type2||fix_type3||leg_type FROM "
              "procedure_legs ORDER BY 1",
              "SELECT name||level||from_ident||to_ident FROM airways ORDER BY 1"}) {
            for (const QVariant &v : navtest::column(path, QLatin1String(sql)))
                dump << v.toString();
        }
        dumps << dump.join('\n');
    }
    QVERIFY(!dumps.at(0).isEmpty());
    QCOMPARE(dumps.at(1), dumps.at(0));
}

void TestMsfs2024NavImporter::exceptionsMidBatch()
{
    Rig rig(60);
    QVERIFY(rig.open());
    // An airport in the middle of a batch and a waypoint its departure names fail.
    QString icao;
    QString fix;
    for (int i = 20; i < 40 && fix.isEmpty(); ++i) {
        const FacilityNode &airport = rig.facilities().airports().at(i);
        for (const FacilityNode &p : airport.childrenOf(FacilityType::Departure)) {
            for (const FacilityNode &leg : p.childrenOf(FacilityType::ApproachLeg)) {
                if (leg.text("FIX_ICAO").size() == 5) {
                    icao = airport.text("ICAO");
                    fix = leg.text("FIX_ICAO");
                }
            }
        }
    }
    QVERIFY(!fix.isEmpty());
    rig.facilities().failRequestFor(icao);
    rig.facilities().failRequestFor(fix);
    testlog::expectLogged("Msfs2024", QStringLiteral("refused the facility %1: ERROR").arg(icao));
    testlog::expectLogged("Msfs2024", QStringLiteral("refused the facility %1:.*: ERROR").arg(fix));
    testlog::expectLogged("Msfs2024", "airway segments skipped");
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("nav.db"));
    const QList<QVariant> result = rig.import(path);
    QCOMPARE(result.value(1).toBool(), true);
    QVERIFY(result.value(0).toString().contains("2 facilities refused"));
    QCOMPARE(rig.importer.failures().size(), 2);
    // Only the first request for the airport (its counts) failed: it is known, with no details.
    QCOMPARE(navtest::count(path, "airports"), 60);
    QCOMPARE(rows(path, QStringLiteral("SELECT COUNT(*) FROM runways WHERE airport_icao='%1'").arg(icao)),
             QSet<QString>{"0"});
    QVERIFY(navtest::count(path, "runways") > 60);
    QCOMPARE(rows(path, QStringLiteral("SELECT COUNT(*) FROM waypoints WHERE ident='%1'").arg(fix)),
             QSet<QString>{"0"});
}

void TestMsfs2024NavImporter::withoutTheWholeWorldCall()
{
    // A library without RequestAllFacilities lists the airports the older way.
    Rig rig(20);
    rig.world.setCapability(ISimConnect::Capability::AllFacilities, false);
    QVERIFY(rig.open());
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("nav.db"));
    QCOMPARE(rig.import(path).value(1).toBool(), true);
    QCOMPARE(navtest::count(path, "airports"), 20);
    // Without the facility interface at all nothing starts.
    rig.world.setCapability(ISimConnect::Capability::Facilities, false);
    testlog::expectLogged("Msfs2024", "No open MSFS 2024 connection with the facility interface");
    QVERIFY(!rig.importer.importToDatabase(path));
}

void TestMsfs2024NavImporter::keepsDiagramsAndOldFileOnFailure()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("nav.db"));
    makeOldDatabase(path);
    const QByteArray before = fileHash(path);
    {
        // Cancelled in the middle: the file is untouched.
        Rig rig(60);
        QVERIFY(rig.open());
        QSignalSpy finished(&rig.importer, &Msfs2024NavImporter::importFinished);
        connect(&rig.importer, &Msfs2024NavImporter::phaseStarted, &rig.importer, [&rig](int phase) {
            if (phase == Msfs2024NavImporter::Runways)
                rig.importer.cancel();
        });
        QVERIFY(rig.importer.importToDatabase(path));
        QVERIFY(finished.wait(10000));
        QCOMPARE(finished.first().at(1).toBool(), false);
        QCOMPARE(fileHash(path), before);
    }
    {
        // The simulator goes away in the middle.
        Rig rig(60);
        QVERIFY(rig.open());
        testlog::expectLogged("Msfs2024", "(was not sent|connection closed during the import)");
        QSignalSpy finished(&rig.importer, &Msfs2024NavImporter::importFinished);
        connect(&rig.importer, &Msfs2024NavImporter::phaseStarted, &rig.world, [&rig](int phase) {
            if (phase == Msfs2024NavImporter::Procedures)
                rig.world.crash();
        });
        QVERIFY(rig.importer.importToDatabase(path));
        QVERIFY(finished.wait(10000));
        QCOMPARE(finished.first().at(1).toBool(), false);
        QCOMPARE(fileHash(path), before);
    }
    // A finished re-import replaces the navigation tables and keeps the diagram.
    Rig rig(20);
    QVERIFY(rig.open());
    QCOMPARE(rig.import(path).value(1).toBool(), true);
    QCOMPARE(rows(path, "SELECT COUNT(*) FROM airports WHERE icao='ZZZZ'"), QSet<QString>{"0"});
    QCOMPARE(navtest::count(path, "airports"), 20);
    QCOMPARE(rows(path, "SELECT airport_icao||node_id FROM taxiway_nodes"), QSet<QString>{"QZZZ1"});
    QCOMPARE(rows(path, "SELECT name FROM parkings"), QSet<QString>{"G1"});
    QVERIFY(!QFile::exists(path + ".importing"));
}

void TestMsfs2024NavImporter::taxiLayoutOnDemand()
{
    Rig rig(20);
    QVERIFY(rig.open());
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("nav.db"));
    makeOldDatabase(path);
    const FacilityNode &airport = rig.facilities().airports().at(0); // every tenth has a layout
    const QString icao = airport.text("ICAO");
    QSignalSpy fetched(&rig.importer, &Msfs2024NavImporter::taxiFetched);
    QVERIFY(rig.importer.requestAirportTaxi(icao, airport.number("LATITUDE"), airport.number("LONGITUDE")));
    QVERIFY(fetched.wait(5000));
    QCOMPARE(fetched.first(), (QList<QVariant>{icao, true}));
    QVERIFY(rig.importer.writeTaxiToDatabase(path));
    // Four taxi points and three parkings as nodes; the old diagram of another airport stays.
    QCOMPARE(rows(path, QStringLiteral("SELECT COUNT(*) FROM taxiway_nodes WHERE airport_icao='%1'").arg(icao)),
             QSet<QString>{"7"});
    QCOMPARE(
        rows(path,
             QStringLiteral("SELECT node_type FROM taxiway_nodes WHERE node_id=4 AND airport_icao='%1'").arg(icao)),
        QSet<QString>{"parking"});
    QCOMPARE(rows(path, QStringLiteral("SELECT from_node_id||'-'||to_node_id||'|'||taxiway_name||'|'||direction FROM "
                                       "taxiway_edges WHERE airport_icao='%1'")
                            .arg(icao)),
             (QSet<QString>{"0-1|A|twoway", "1-2|B|twoway", "2-5|A|twoway"}));
    QCOMPARE(rows(path, QStringLiteral("SELECT name||type FROM parkings WHERE airport_icao='%1'").arg(icao)),
             (QSet<QString>{"1RAMP", "2RAMP", "3GATE"}));
    QCOMPARE(navtest::count(path, "parkings"), 4);
    // 100 m east and 50 m south of the reference point.
    const QVariantList lat = navtest::column(
        path, QStringLiteral("SELECT lat FROM taxiway_nodes WHERE node_id=1 AND airport_icao='%1'").arg(icao));
    QVERIFY(std::abs(lat.value(0).toDouble() - (airport.number("LATITUDE") - 50 / 111195.0)) < 1e-6);

    // An airport the simulator does not know.
    testlog::expectLogged("Msfs2024", "refused the facility NOPE");
    testlog::expectLogged("Msfs2024", "Failed to request airport taxi data: NOPE");
    QVERIFY(rig.importer.requestAirportTaxi("NOPE", 0, 0));
    QVERIFY(fetched.wait(5000));
    QCOMPARE(fetched.last(), (QList<QVariant>{"NOPE", false}));
}

void TestMsfs2024NavImporter::diagramsTheMapAsksFor()
{
    // The MSFS 2024 database as an import leaves it, loaded as the station loads it.
    Rig rig(20);
    QVERIFY(rig.open());
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("zobrel_navdata_msfs2024.db"));
    QCOMPARE(rig.import(path).value(1).toBool(), true);
    NavDataProvider provider;
    provider.initializeOffline();
    QVERIFY(provider.loadFromDatabase(path));
    Msfs2024DiagramFetcher fetcher(&provider);
    fetcher.setSession(rig.session.get());
    QSignalSpy fetched(&fetcher, &Msfs2024DiagramFetcher::diagramFetched);
    QSignalSpy ready(&provider, &NavDataProvider::airportDiagramReady);

    // Airport 10 has a layout in the simulator, airport 11 none.
    const QString withLayout = rig.facilities().airports().at(10).text("ICAO");
    const QString without = rig.facilities().airports().at(11).text("ICAO");
    QVERIFY(!provider.loadAirportDiagram(withLayout));
    QVERIFY(!provider.loadAirportDiagram(without));
    QTRY_COMPARE_WITH_TIMEOUT(fetched.size(), 2, 5000);
    QCOMPARE(fetched.at(0), (QList<QVariant>{withLayout, true}));
    QCOMPARE(fetched.at(1), (QList<QVariant>{without, false}));
    QCOMPARE(ready.size(), 1);
    QVERIFY(provider.hasAirportDiagram(withLayout));
    QCOMPARE(provider.taxiwayNodes(withLayout).size(), 7);
    // Asked again, neither goes back to the simulator.
    provider.loadAirportDiagram(without);
    QVERIFY(provider.loadAirportDiagram(withLayout));
    QTest::qWait(50);
    QCOMPARE(fetched.size(), 2);
}

QTEST_MAIN(TestMsfs2024NavImporter)
#include "tst_msfs2024navimporter.moc"
