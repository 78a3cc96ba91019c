#include "syntheticflight.h"

#include "recording/flightrecorder.h"
#include "recording/recordingdatabase.h"
#include "recording/recordinglibrary.h"
#include "tests/support/logexpect.h"
#ifdef RECORDING_STORE_POSTGRES
#include "tests/support/pgcluster.h"
#endif

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <cmath>

// The recording suite, built twice: against a SQLite file and against a private PostgreSQL server
// the test starts itself. The recorder writes through its thread, the library reads back.
class TestRecordingStore : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();

    void recorderStoresFlightsEventsAndLandings();
    void fiftyHertzIsStoredWithoutLoss();
    void rewritingABatchAddsNothing();
    void libraryExportsImportsAndDeletes();
    void newerSchemaIsRefused();
#ifdef RECORDING_STORE_POSTGRES
    void serverLossLosesNoSample();
#endif

private:
    // A fresh, empty database for one test.
    RecordingDatabaseConfig freshConfig(const QString &name);
    static bool waitStored(FlightRecorder &recorder, QSignalSpy &stored, int timeoutMs = 30000);
    static QList<FlightInfo> listFlights(RecordingLibrary &library);
    static RecordedFlight loadFlight(RecordingLibrary &library, qint64 id);

    QTemporaryDir m_dir;
#ifdef RECORDING_STORE_POSTGRES
    PgCluster m_cluster;
#endif
};

void TestRecordingStore::initTestCase()
{
    QVERIFY(m_dir.isValid());
#ifdef RECORDING_STORE_POSTGRES
    if (PgCluster::binDir().isEmpty())
        QSKIP("PostgreSQL server binaries not found (Debian package postgresql); the PostgreSQL suite is skipped");
    QVERIFY2(QSqlDatabase::isDriverAvailable(QStringLiteral("QPSQL")),
             "Qt's QPSQL driver (libqt6sql6-psql) is missing");
    QString error;
    QVERIFY2(m_cluster.create(&error), qPrintable(error));
#endif
}

void TestRecordingStore::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
}

RecordingDatabaseConfig TestRecordingStore::freshConfig(const QString &name)
{
    RecordingDatabaseConfig config;
#ifdef RECORDING_STORE_POSTGRES
    config.kind = RecordingDatabaseConfig::Kind::Postgres;
    config.host = m_cluster.host();
    config.port = m_cluster.port();
    config.user = m_cluster.user();
    config.databaseName = name.toLower();
    {
        QSqlDatabase admin = QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), QStringLiteral("admin"));
        admin.setHostName(config.host);
        admin.setPort(config.port);
        admin.setUserName(config.user);
        admin.setDatabaseName(m_cluster.database());
        if (admin.open()) {
            QSqlQuery create(admin);
            if (!create.exec(QStringLiteral("CREATE DATABASE %1").arg(config.databaseName)))
                qInfo() << "CREATE DATABASE:" << create.lastError().text();
        } else {
            qInfo() << "admin connection:" << admin.lastError().text();
        }
        admin.close();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("admin"));
#else
    config.kind = RecordingDatabaseConfig::Kind::Sqlite;
    config.sqlitePath = m_dir.filePath(name + QStringLiteral(".db"));
#endif
    return config;
}

bool TestRecordingStore::waitStored(FlightRecorder &recorder, QSignalSpy &stored, int timeoutMs)
{
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < timeoutMs) {
        if (!stored.isEmpty() && stored.last().at(0).toLongLong() == recorder.samplesKept())
            return true;
        stored.wait(200);
    }
    return false;
}

QList<FlightInfo> TestRecordingStore::listFlights(RecordingLibrary &library)
{
    QSignalSpy loaded(&library, &RecordingLibrary::flightsLoaded);
    library.requestFlights();
    if (!loaded.wait(20000))
        return {};
    return loaded.first().first().value<QList<FlightInfo>>();
}

RecordedFlight TestRecordingStore::loadFlight(RecordingLibrary &library, qint64 id)
{
    QSignalSpy loaded(&library, &RecordingLibrary::flightLoaded);
    library.requestFlight(id);
    if (!loaded.wait(20000))
        return {};
    return loaded.first().first().value<RecordedFlight>();
}

void TestRecordingStore::recorderStoresFlightsEventsAndLandings()
{
    const RecordingDatabaseConfig config = freshConfig(QStringLiteral("circuit"));
    const qint64 t0 = 1714550400000; // 2024-05-01 08:00 UTC
    qint64 now = t0;
    FlightRecorder recorder(config);
    recorder.setClock([&now] { return now; });
    recorder.setStationName(QStringLiteral("station-1"));
    QSignalSpy stored(&recorder, &FlightRecorder::stored);
    QSignalSpy landings(&recorder, &FlightRecorder::landingDetected);
    recorder.setRecording(true);
    recorder.beginLocalFlight(QStringLiteral("X-Plane 12"), QStringLiteral("C208"), QStringLiteral("B-1234"));

    QList<AircraftData> fed;
    for (int i = 0; i <= 240 * 20; ++i) {
        const double t = i / 20.0;
        now = t0 + i * 50;
        fed << synthetic::at(t);
        recorder.recordSample(fed.last());
        if (i % 10 == 0) {
            RemoteAircraft agent;
            agent.callsign = QStringLiteral("AGT7");
            agent.lat = 30.0 + t / 3600.0;
            agent.lon = 120.0;
            agent.alt = 3000.0;
            agent.gs = agent.ias = 120.0;
            agent.hdgTrue = 0.0;
            recorder.recordAgentSample(QStringLiteral("agent-7"), agent, QStringLiteral("MSFS 2020"));
        }
        if (i == 30 * 20)
            QVERIFY(recorder.recordEvent(FlightRecorder::kLocalAircraft, QString::fromLatin1(FlightEventKind::kFailure),
                                         QStringLiteral("发动机 1 失效"), QJsonObject{{"id", "engine1"}}));
        if (i == 60 * 20)
            QVERIFY(recorder.recordEvent(QStringLiteral("agent-7"), QString::fromLatin1(FlightEventKind::kPosition),
                                         QStringLiteral("Final RWY 34"), QJsonObject{{"lat", 30.1}, {"lon", 120.0}}));
        if (i == 120 * 20)
            QVERIFY(recorder.recordEvent(FlightRecorder::kLocalAircraft, QString::fromLatin1(FlightEventKind::kFuel),
                                         QStringLiteral("加油 50 加仑"), QJsonObject{{"gallons", 50}}));
    }
    const qint64 localId = recorder.flightId(FlightRecorder::kLocalAircraft);
    const qint64 agentId = recorder.flightId(QStringLiteral("agent-7"));
    QVERIFY(localId != 0 && agentId != 0 && localId != agentId);
    recorder.endFlight(FlightRecorder::kLocalAircraft);
    QVERIFY(!recorder.recordEvent(FlightRecorder::kLocalAircraft, QStringLiteral("note"), QStringLiteral("late")));
    recorder.setRecording(false);
    QVERIFY(waitStored(recorder, stored));
    QCOMPARE(landings.size(), 1);

    RecordingLibrary library(config);
    const QList<FlightInfo> flights = listFlights(library);
    QCOMPARE(flights.size(), 2);
    const RecordedFlight local = loadFlight(library, localId);
    const FlightInfo &info = local.info;
    QCOMPARE(info.source, QStringLiteral("local"));
    QCOMPARE(info.simulator, QStringLiteral("X-Plane 12"));
    QCOMPARE(info.aircraft, QStringLiteral("C208"));
    QCOMPARE(info.callsign, QStringLiteral("B-1234"));
    QCOMPARE(info.station, QStringLiteral("station-1"));
    QCOMPARE(info.startMs, t0);
    QCOMPARE(info.endMs, t0 + 240000);
    QCOMPARE(info.sampleCount, qint64(fed.size()));
    QCOMPARE(info.stats.landingCount, 1);
    QCOMPARE(info.stats.takeoffCount, 1);
    QVERIFY2(std::fabs(info.stats.distanceNm - synthetic::kDistanceNm * 1.000676) < 0.01,
             qPrintable(QString::number(info.stats.distanceNm)));
    QVERIFY(std::fabs(info.stats.fuelUsedGal - synthetic::kFuelUsedGal) < 0.01);

    // Thinned, numbered without gaps, and every fed sample within the tolerances of the stored line.
    QVERIFY2(local.samples.size() < fed.size() / 4, qPrintable(QString::number(local.samples.size())));
    for (int i = 0; i < local.samples.size(); ++i)
        QCOMPARE(local.samples.at(i).seq, qint64(i));
    QCOMPARE(local.samples.first().timeMs, t0);
    QCOMPARE(local.samples.last().timeMs, t0 + 240000);
    for (int i = 0; i < fed.size(); ++i) {
        const qint64 t = t0 + i * 50;
        const auto after = std::upper_bound(local.samples.cbegin(), local.samples.cend(), t,
                                            [](qint64 time, const TrackSample &s) { return time < s.timeMs; });
        const TrackSample e =
            after == local.samples.cend() ? local.samples.last() : interpolate(*(after - 1), *after, t);
        QVERIFY2(std::fabs(e.lat - fed.at(i).lat) * 1852.0 * 60.0 < 10.01, qPrintable(QString::number(i)));
        QVERIFY2(std::fabs(e.altFt - fed.at(i).alt) < 15.01, qPrintable(QString::number(i)));
        QCOMPARE(e.onGround(), fed.at(i).onGround);
    }

    QCOMPARE(local.events.size(), 2);
    QCOMPARE(local.events.at(0).kind, QStringLiteral("failure"));
    QCOMPARE(local.events.at(0).text, QStringLiteral("发动机 1 失效"));
    QCOMPARE(local.events.at(0).timeMs, t0 + 30000);
    QCOMPARE(local.events.at(0).details.value(QStringLiteral("id")).toString(), QStringLiteral("engine1"));
    QCOMPARE(local.events.at(1).details.value(QStringLiteral("gallons")).toInt(), 50);
    QCOMPARE(local.landings.size(), 1);
    QCOMPARE(local.landings.first().vsFpm, synthetic::kTouchdownVsFpm);
    QVERIFY(std::fabs(local.landings.first().gLoad - synthetic::kTouchdownG) < 1e-4);
    QCOMPARE(local.landings.first().timeMs, t0 + 197500);

    const RecordedFlight agent = loadFlight(library, agentId);
    QCOMPARE(agent.info.source, QStringLiteral("agent"));
    QCOMPARE(agent.info.sourceId, QStringLiteral("agent-7"));
    QCOMPARE(agent.info.callsign, QStringLiteral("AGT7"));
    QCOMPARE(agent.info.simulator, QStringLiteral("MSFS 2020"));
    QCOMPARE(agent.info.sampleCount, qint64(481));
    QCOMPARE(agent.events.size(), 1);
    QCOMPARE(agent.events.first().text, QStringLiteral("Final RWY 34"));
    QVERIFY(std::fabs(agent.samples.last().lat - (30.0 + 240.0 / 3600.0)) < 1e-7);
}

void TestRecordingStore::fiftyHertzIsStoredWithoutLoss()
{
    const RecordingDatabaseConfig config = freshConfig(QStringLiteral("fifty"));
    qint64 now = 1714550400000;
    FlightRecorder recorder(config);
    recorder.setClock([&now] { return now; });
    recorder.setThinning(false);
    QSignalSpy stored(&recorder, &FlightRecorder::stored);
    recorder.setRecording(true);
    recorder.beginLocalFlight(QStringLiteral("X-Plane 11"), QString(), QString());
    // Five minutes at 50 Hz, handed over as fast as the recorder takes them while the writer stores
    // the batches that the flush timer cuts meanwhile.
    constexpr int kSamples = 5 * 60 * 50;
    QElapsedTimer clock;
    clock.start();
    for (int i = 0; i < kSamples; ++i) {
        now += 20;
        recorder.recordSample(synthetic::at(std::fmod(i / 50.0, synthetic::kEndS)));
        if (i % 1000 == 0)
            QCoreApplication::processEvents();
    }
    const qint64 id = recorder.flightId(FlightRecorder::kLocalAircraft);
    recorder.setRecording(false);
    QVERIFY(waitStored(recorder, stored, 60000));
    qInfo().noquote() << QStringLiteral("%1 samples stored in %2 ms").arg(kSamples).arg(clock.elapsed());

    RecordingLibrary library(config);
    const RecordedFlight flight = loadFlight(library, id);
    QCOMPARE(flight.samples.size(), kSamples);
    for (int i = 0; i < flight.samples.size(); ++i) {
        if (flight.samples.at(i).seq != i || flight.samples.at(i).timeMs != 1714550400000 + 20 * (i + 1))
            QFAIL(qPrintable(QStringLiteral("sample %1 out of place").arg(i)));
    }
}

void TestRecordingStore::rewritingABatchAddsNothing()
{
    RecordingDatabase db(freshConfig(QStringLiteral("rewrite")), QStringLiteral("rewrite"));
    RecordingBatch batch;
    FlightInfo info;
    info.id = 77;
    info.source = QStringLiteral("local");
    info.startMs = 1000;
    info.endMs = 2000;
    batch.flights.insert(info.id, info);
    for (int i = 0; i < 100; ++i) {
        TrackSample s = trackSampleFrom(synthetic::at(i), 1000 + i);
        s.seq = i;
        batch.samples.append({info.id, s});
    }
    FlightEvent event;
    event.kind = QStringLiteral("note");
    batch.events.append({info.id, event});
    LandingRecord landing;
    landing.vsFpm = -100;
    batch.landings.append({info.id, landing});
    QVERIFY2(db.write(batch), qPrintable(db.lastError()));
    // The same rows again (a commit whose answer was lost), with the flight and landing updated.
    batch.flights[info.id].endMs = 5000;
    batch.landings.first().second.bounces = 2;
    QVERIFY2(db.write(batch), qPrintable(db.lastError()));
    const std::optional<RecordedFlight> flight = db.flight(info.id);
    QVERIFY2(flight, qPrintable(db.lastError()));
    QCOMPARE(flight->samples.size(), 100);
    QCOMPARE(flight->events.size(), 1);
    QCOMPARE(flight->landings.size(), 1);
    QCOMPARE(flight->landings.first().bounces, 2);
    QCOMPARE(flight->info.endMs, qint64(5000));
    QVERIFY(!db.flight(78));
}

void TestRecordingStore::libraryExportsImportsAndDeletes()
{
    const RecordingDatabaseConfig config = freshConfig(QStringLiteral("exchange"));
    qint64 now = 1714550400000;
    qint64 id = 0;
    {
        FlightRecorder recorder(config);
        recorder.setClock([&now] { return now; });
        QSignalSpy stored(&recorder, &FlightRecorder::stored);
        recorder.setRecording(true);
        recorder.beginLocalFlight(QStringLiteral("X-Plane 12"), QString(), QStringLiteral("B-7788"));
        for (int i = 0; i <= 240 * 5; ++i) {
            now = 1714550400000 + i * 200;
            recorder.recordSample(synthetic::at(i / 5.0));
        }
        id = recorder.flightId(FlightRecorder::kLocalAircraft);
        recorder.setRecording(false);
        QVERIFY(waitStored(recorder, stored));
    }
    RecordingLibrary library(config, QStringLiteral("station-2"));
    QSignalSpy failed(&library, &RecordingLibrary::requestFailed);
    const RecordedFlight original = loadFlight(library, id);
    QVERIFY(!original.samples.isEmpty());

    const QString gpx = m_dir.filePath(QStringLiteral("exchange.gpx"));
    QSignalSpy exported(&library, &RecordingLibrary::flightExported);
    library.exportFlight(id, TrackFormat::Gpx, gpx);
    QVERIFY(exported.wait(20000));
    QSignalSpy imported(&library, &RecordingLibrary::trackImported);
    library.importTrack(gpx);
    QVERIFY(imported.wait(20000));
    const FlightInfo copyInfo = imported.first().first().value<FlightInfo>();
    QCOMPARE(copyInfo.source, QStringLiteral("import"));
    QCOMPARE(copyInfo.station, QStringLiteral("station-2"));
    QCOMPARE(copyInfo.stats.landingCount, 1);
    const RecordedFlight copy = loadFlight(library, copyInfo.id);
    QCOMPARE(copy.samples.size(), original.samples.size());
    QCOMPARE(copy.samples.last().timeMs, original.samples.last().timeMs);
    QVERIFY(std::fabs(copy.samples.last().lat - original.samples.last().lat) < 1e-6);
    QCOMPARE(listFlights(library).size(), 2);

    QSignalSpy deleted(&library, &RecordingLibrary::flightDeleted);
    library.deleteFlight(copyInfo.id);
    QVERIFY(deleted.wait(20000));
    const QList<FlightInfo> left = listFlights(library);
    QCOMPARE(left.size(), 1);
    QCOMPARE(left.first().id, id);

    // A file that is not a track answers with a message, and nothing is added.
    const QString bad = m_dir.filePath(QStringLiteral("bad.csv"));
    QFile file(bad);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("name,value\nx,1\n");
    file.close();
    library.importTrack(bad);
    QVERIFY(failed.wait(20000));
    QVERIFY2(failed.first().first().toString().contains(QLatin1String("latitude")),
             qPrintable(failed.first().first().toString()));
    QCOMPARE(listFlights(library).size(), 1);
}

void TestRecordingStore::newerSchemaIsRefused()
{
    const RecordingDatabaseConfig config = freshConfig(QStringLiteral("future"));
    {
        RecordingDatabase db(config, QStringLiteral("future"));
        QVERIFY2(db.open(), qPrintable(db.lastError()));
        QSqlQuery q(QSqlDatabase::database(QStringLiteral("future")));
        QVERIFY(q.exec(QStringLiteral("UPDATE recording_meta SET value = '9' WHERE name = 'schema_version'")));
    }
    RecordingDatabase db(config, QStringLiteral("future2"));
    QVERIFY(!db.open());
    QVERIFY2(db.lastError().contains(QLatin1String("schema version 9")), qPrintable(db.lastError()));
    QVERIFY(!db.write(RecordingBatch()));
}

#ifdef RECORDING_STORE_POSTGRES
void TestRecordingStore::serverLossLosesNoSample()
{
    const RecordingDatabaseConfig config = freshConfig(QStringLiteral("outage"));
    qint64 now = 1714550400000;
    FlightRecorder recorder(config);
    recorder.setClock([&now] { return now; });
    recorder.setThinning(false);
    recorder.setFirstRetryMs(200);
    QSignalSpy stored(&recorder, &FlightRecorder::stored);
    QSignalSpy status(&recorder, &FlightRecorder::storageStatusChanged);
    recorder.setRecording(true);
    recorder.beginLocalFlight(QStringLiteral("X-Plane 12"), QString(), QString());

    // Samples arrive at 50 Hz all along, while the server is stopped and started again.
    int fed = 0;
    QTimer simulator;
    simulator.setInterval(20);
    QObject::connect(&simulator, &QTimer::timeout, [&] {
        now += 20;
        recorder.recordSample(synthetic::at(std::fmod(fed++ / 50.0, synthetic::kEndS)));
    });
    simulator.start();
    QTRY_VERIFY_WITH_TIMEOUT(!stored.isEmpty(), 10000);

    testlog::expectLogged(QStringLiteral("Recording"), QStringLiteral("unavailable"));
    QVERIFY(m_cluster.stop(true));
    QTRY_VERIFY_WITH_TIMEOUT(!status.isEmpty() && !status.last().at(0).toBool(), 15000);
    const int fedWhileDown = fed;
    QTRY_VERIFY_WITH_TIMEOUT(fed > fedWhileDown + 50, 5000);
    QString error;
    QVERIFY2(m_cluster.start(&error), qPrintable(error));
    QTRY_VERIFY_WITH_TIMEOUT(status.last().at(0).toBool(), 20000);
    const int fedAfter = fed;
    QTRY_VERIFY_WITH_TIMEOUT(fed > fedAfter + 25, 5000);
    simulator.stop();

    const qint64 id = recorder.flightId(FlightRecorder::kLocalAircraft);
    recorder.setRecording(false);
    QVERIFY(waitStored(recorder, stored));
    QVERIFY(status.size() >= 2);
    QVERIFY(status.first().at(1).toLongLong() > 0); // samples were waiting

    RecordingLibrary library(config);
    const RecordedFlight flight = loadFlight(library, id);
    QCOMPARE(flight.samples.size(), fed);
    QCOMPARE(flight.info.sampleCount, qint64(fed));
    for (int i = 0; i < flight.samples.size(); ++i) {
        if (flight.samples.at(i).seq != i)
            QFAIL(qPrintable(QStringLiteral("sample %1 missing").arg(i)));
    }
}
#endif

QTEST_GUILESS_MAIN(TestRecordingStore)
#include "tst_recordingstore.moc"
