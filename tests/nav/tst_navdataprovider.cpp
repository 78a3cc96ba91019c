#include "navtestdb.h"

#include "app/log/applogger.h"
#include "nav/navdataprovider.h"
#include "tests/support/logexpect.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace navtest;

namespace {

QString makeDatabase(const QTemporaryDir &dir, const QString &name)
{
    const QString path = dir.filePath(name);
    DatabaseBuilder builder;
    if (!createFullSchema(path) ||
        !builder.executeSql(path, {"INSERT INTO airports (icao, name, lat, lon) VALUES ('ZSPD', 'Pudong', 31.1434, "
                                   "121.8052), ('ZSSS', 'Hongqiao', 31.1979, 121.3363)",
                                   "INSERT INTO taxiway_nodes (airport_icao, node_id, lat, lon) VALUES ('ZSSS', 1, "
                                   "31.19, 121.33)"}))
        return QString();
    return path;
}

} // namespace

class TestNavDataProvider : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
        AppLogger::instance().clear();
    }

    void withoutAProviderEverythingIsEmpty()
    {
        NavDataProvider nav;
        QVERIFY(!nav.hasProvider());
        QVERIFY(nav.airports().isEmpty());
        QVERIFY(nav.airport("ZSPD").icao.isEmpty());
        QVERIFY(!nav.loadFromDatabase("/nonexistent.db"));
        QVERIFY(!nav.loadAirportDiagram("ZSPD"));
        QVERIFY(!nav.hasAirportDiagram("ZSPD"));
        QVERIFY(!nav.loadFromDatabaseAsync("/nonexistent.db"));
        QVERIFY(nav.dbPath().isEmpty());
        QVERIFY(nav.airportsInBoundsFast(-90, -180, 90, 180).isEmpty());
    }

    void offlineProviderAnswersThroughTheFacade()
    {
        NavDataProvider nav;
        nav.initializeOffline();
        QCOMPARE(nav.mode(), NavDataProvider::Offline);
        nav.loadSampleData();
        QCOMPARE(nav.airports().size(), 4);
        QCOMPARE(nav.airportsInBoundsFast(31.0, 121.0, 31.3, 122.0).size(), 2);
        QCOMPARE(nav.status(), INavDataProvider::Ready);
        nav.setDbPath("/somewhere/zobrel_navdata_xp12.db");
        QCOMPARE(nav.dbPath(), QString("/somewhere/zobrel_navdata_xp12.db"));

        // Offline data is complete in memory: the online requests do nothing and emit nothing.
        QSignalSpy runways(&nav, &NavDataProvider::runwaysReady);
        QSignalSpy changed(&nav, &NavDataProvider::dataChanged);
        nav.requestRunways("ZSPD");
        nav.requestProcedures("ZSPD", "SID", "35L");
        nav.requestSearch("ZS", "airport");
        QCoreApplication::processEvents();
        QCOMPARE(runways.count() + changed.count(), 0);

        // A new offline provider replaces the old one at once, with its data.
        nav.initializeOffline();
        QVERIFY(nav.airports().isEmpty());
        QVERIFY(nav.dbPath().isEmpty());
    }

    void diagramSignalsAreRelayed()
    {
        QTemporaryDir dir;
        const QString path = makeDatabase(dir, "diagram.db");
        NavDataProvider nav;
        nav.initializeOffline();
        QVERIFY(nav.loadFromDatabase(path));
        QSignalSpy needed(&nav, &NavDataProvider::airportDiagramNeeded);
        QSignalSpy ready(&nav, &NavDataProvider::airportDiagramReady);

        QVERIFY(!nav.loadAirportDiagram("ZSPD"));
        QCOMPARE(needed.count(), 1);
        nav.markAirportDiagramRequested("ZSPD");
        QVERIFY(!nav.loadAirportDiagram("ZSPD"));
        QCOMPARE(needed.count(), 1);

        DatabaseBuilder builder;
        QVERIFY(builder.executeSql(
            path, {"INSERT INTO taxiway_nodes (airport_icao, node_id, lat, lon) VALUES ('ZSPD', 1, 31.14, 121.80), "
                   "('ZSPD', 2, 31.15, 121.80)",
                   "INSERT INTO taxiway_edges (airport_icao, from_node_id, to_node_id, direction) VALUES ('ZSPD', "
                   "1, 2, 'twoway')"}));
        nav.injectAirportDiagram("ZSPD");
        QCOMPARE(ready.count(), 1);
        QCOMPARE(ready.first().first().toString(), QString("ZSPD"));
        QVERIFY(nav.hasAirportDiagram("ZSPD"));
        QCOMPARE(nav.taxiwayEdges("ZSPD").size(), 1);
    }

    void backgroundLoadReportsWhenDone()
    {
        QTemporaryDir dir;
        const QString path = makeDatabase(dir, "async.db");
        NavDataProvider nav;
        nav.initializeOffline();
        nav.loadSampleData();
        QSignalSpy finished(&nav, &NavDataProvider::databaseLoadFinished);
        QSignalSpy changed(&nav, &NavDataProvider::dataChanged);

        QVERIFY(nav.loadFromDatabaseAsync(path));
        QVERIFY(nav.isLoading());
        QVERIFY(!nav.loadFromDatabaseAsync(path)); // one at a time
        QVERIFY(finished.wait(5000));
        QCOMPARE(finished.first().at(0).toString(), path);
        QCOMPARE(finished.first().at(1).toBool(), true);
        QCOMPARE(changed.count(), 1);
        QVERIFY(!nav.isLoading());
        QCOMPARE(nav.airports().size(), 2);
        QCOMPARE(nav.dbPath(), path);

        // A failed load reports false, changes nothing and announces no new data.
        testlog::expectLogged("NavData", "Failed to open navdata: no such file");
        QVERIFY(nav.loadFromDatabaseAsync(dir.filePath("missing.db")));
        QVERIFY(finished.wait(5000));
        QCOMPARE(finished.last().at(1).toBool(), false);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(nav.airports().size(), 2);
    }

    void switchingOrDestroyingAbandonsARunningLoad()
    {
        QTemporaryDir dir;
        const QString path = makeDatabase(dir, "switch.db");
        auto *nav = new NavDataProvider;
        nav->initializeOffline();
        QSignalSpy finished(nav, &NavDataProvider::databaseLoadFinished);
        QVERIFY(nav->loadFromDatabaseAsync(path));
        // The load ends on the old provider before it goes; its result belongs to nobody.
        nav->initializeOffline();
        QVERIFY(!nav->isLoading());
        QVERIFY(nav->airports().isEmpty());
        QCoreApplication::processEvents();
        QCOMPARE(finished.count(), 0);

        QVERIFY(nav->loadFromDatabaseAsync(path));
        QVERIFY(finished.wait(5000));
        QCOMPARE(nav->airports().size(), 2);
        QVERIFY(nav->loadFromDatabaseAsync(path));
        delete nav;
    }
};

QTEST_GUILESS_MAIN(TestNavDataProvider)
#include "tst_navdataprovider.moc"
