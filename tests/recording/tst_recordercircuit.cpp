#include "syntheticflight.h"

#include "recording/flightplayback.h"
#include "recording/flightrecorder.h"
#include "recording/recordinglibrary.h"
#include "sim/isimbackend.h"
#include "sim/simbackendmanager.h"
#include "tests/support/logexpect.h"
#include "tests/support/pgcluster.h"
#include "tools/xpsim/flightmodel.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <memory>

// The recorder against the demo simulator as a real process (at 16 times real time), through the
// station's own simulator link: a traffic circuit from brake release to a full-stop landing,
// recorded into SQLite and, where the server binaries exist, into PostgreSQL at the same time;
// read back and compared with the demo's own flight model flying the same circuit. And a replay
// sent back to the simulator as repositioning.
class TestRecorderCircuit : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void recordsTheDemoCircuit();
    void playbackRepositionsTheSimulator();

private:
    struct Reference
    {
        double airDistanceNm = 0;
        double distanceNm = 0;
        double airTimeS = 0;
        double touchdownVsFpm = 0;
        double minFinalVsFpm = 0; // over the last seconds before touchdown
        double maxFinalVsFpm = 0;
    };
    static Reference flyReference(double finalWindowS);
    bool startSimulator(const QStringList &arguments);
    std::unique_ptr<SimBackendManager> connectManager();

    QTemporaryDir m_dir;
    QProcess m_sim;
    quint16 m_port = 0;
};

namespace {

constexpr double kTimeFactor = 16.0;
constexpr int kSubscriptionHz = 5; // what the station's X-Plane link asks for

RecordedFlight load(RecordingLibrary &library, qint64 id)
{
    QSignalSpy loaded(&library, &RecordingLibrary::flightLoaded);
    library.requestFlight(id);
    return loaded.wait(20000) ? loaded.first().first().value<RecordedFlight>() : RecordedFlight();
}

} // namespace

void TestRecorderCircuit::initTestCase()
{
    QVERIFY(m_dir.isValid());
    registerSimMetaTypes();
}

void TestRecorderCircuit::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
}

void TestRecorderCircuit::cleanup()
{
    if (m_sim.state() != QProcess::NotRunning) {
        m_sim.kill();
        m_sim.waitForFinished(5000);
    }
}

TestRecorderCircuit::Reference TestRecorderCircuit::flyReference(double finalWindowS)
{
    // The same model, parked at the same place, brake released after three seconds and set again
    // once airborne (the circuit then ends in a full stop), stepped as the demo steps it.
    FlightModel::Options options;
    options.startParked = true;
    FlightModel model(options);
    Reference r;
    QList<QPair<double, double>> recentVs; // time, vs
    AircraftState previous = model.state();
    bool liftedOff = false;
    for (double t = 0; t < 1200.0; t += 0.05) {
        if (std::fabs(t - 3.0) < 0.01)
            model.setParkBrake(0.0);
        model.advance(0.05);
        const AircraftState s = model.state();
        if (!s.onGround && !liftedOff) {
            liftedOff = true;
            model.setParkBrake(1.0);
        }
        const double leg = distanceNm(previous.latDeg, previous.lonDeg, s.latDeg, s.lonDeg);
        r.distanceNm += leg;
        if (!previous.onGround && !s.onGround)
            r.airDistanceNm += leg;
        if (!previous.onGround)
            r.airTimeS += 0.05;
        if (!s.onGround) {
            recentVs.append({t, s.vsFpm});
            while (recentVs.first().first < t - finalWindowS)
                recentVs.removeFirst();
        }
        if (liftedOff && s.onGround && !previous.onGround) {
            r.touchdownVsFpm = previous.vsFpm;
            r.minFinalVsFpm = r.maxFinalVsFpm = previous.vsFpm;
            for (const auto &[time, vs] : std::as_const(recentVs)) {
                r.minFinalVsFpm = std::min(r.minFinalVsFpm, vs);
                r.maxFinalVsFpm = std::max(r.maxFinalVsFpm, vs);
            }
        }
        if (liftedOff && s.onGround && s.groundSpeedMps < 0.3)
            break;
        previous = s;
    }
    return r;
}

bool TestRecorderCircuit::startSimulator(const QStringList &arguments)
{
    m_sim.setProgram(QStringLiteral(XPSIM_PATH));
    m_sim.setArguments(QStringList{QStringLiteral("--port"), QStringLiteral("0"), QStringLiteral("--quiet")} +
                       arguments);
    m_sim.start();
    if (!m_sim.waitForStarted(5000))
        return false;
    QElapsedTimer waited;
    waited.start();
    while (!m_sim.canReadLine() && waited.elapsed() < 10000)
        m_sim.waitForReadyRead(100);
    const auto match =
        QRegularExpression(QStringLiteral(":(\\d+)$")).match(QString::fromUtf8(m_sim.readLine()).trimmed());
    m_port = match.hasMatch() ? quint16(match.captured(1).toUInt()) : 0;
    return m_port != 0;
}

std::unique_ptr<SimBackendManager> TestRecorderCircuit::connectManager()
{
    const QString ini = m_dir.filePath(QStringLiteral("Zobrel.ini"));
    {
        QSettings settings(ini, QSettings::IniFormat);
        settings.setValue(SimBackendManager::kAutoConnectKey, false);
        settings.setValue(SimBackendManager::kXPlanePortKey, m_port);
        settings.setValue(SimBackendManager::kXPlaneLocalPortKey, 0);
    }
    auto manager = std::make_unique<SimBackendManager>(
        ini, SimBackendManager::Timings(), [] { return QString(); }, m_dir.path());
    manager->connectTo(SimType::XPlane12);
    return manager;
}

void TestRecorderCircuit::recordsTheDemoCircuit()
{
    // The station sees one sample in kTimeFactor / kSubscriptionHz simulated seconds.
    const Reference ref = flyReference(1.5 * kTimeFactor / kSubscriptionHz);
    QVERIFY(ref.airDistanceNm > 8.0 && ref.touchdownVsFpm < 0);

    QList<RecordingDatabaseConfig> configs;
    RecordingDatabaseConfig sqlite;
    sqlite.sqlitePath = m_dir.filePath(QStringLiteral("circuit.db"));
    configs << sqlite;
    PgCluster cluster;
    if (PgCluster::binDir().isEmpty()) {
        qInfo("PostgreSQL server binaries not found: the circuit is recorded into SQLite only");
    } else {
        QString error;
        QVERIFY2(cluster.create(&error), qPrintable(error));
        RecordingDatabaseConfig pg;
        pg.kind = RecordingDatabaseConfig::Kind::Postgres;
        pg.host = cluster.host();
        pg.port = cluster.port();
        pg.user = cluster.user();
        pg.databaseName = cluster.database();
        configs << pg;
    }

    QVERIFY(
        startSimulator({QStringLiteral("--parked"), QStringLiteral("--time-factor"), QString::number(kTimeFactor)}));
    std::unique_ptr<SimBackendManager> manager = connectManager();
    QTRY_VERIFY_WITH_TIMEOUT(manager->isConnected(), 10000);
    std::vector<std::unique_ptr<FlightRecorder>> recorders;
    for (const RecordingDatabaseConfig &config : std::as_const(configs)) {
        recorders.push_back(std::make_unique<FlightRecorder>(config));
        FlightRecorder *recorder = recorders.back().get();
        recorder->setRecording(true);
        recorder->beginLocalFlight(simTypeName(SimType::XPlane12), QString(), QStringLiteral("B-DEMO"));
        connect(manager.get(), &SimBackendManager::aircraftDataChanged, recorder, &FlightRecorder::recordSample);
    }
    FlightRecorder &first = *recorders.front();
    QSignalSpy landings(&first, &FlightRecorder::landingDetected);
    QSignalSpy samples(manager.get(), &SimBackendManager::aircraftDataChanged);
    QTRY_VERIFY_WITH_TIMEOUT(samples.size() >= 3, 10000);
    QVERIFY(samples.last().first().value<AircraftData>().onGround);

    ISimBackend *backend = manager->backend();
    backend->setData(QStringLiteral("sim/flightmodel/controls/parkbrake"), 0.0);
    QTRY_VERIFY_WITH_TIMEOUT(!samples.last().first().value<AircraftData>().onGround, 20000);
    backend->setData(QStringLiteral("sim/flightmodel/controls/parkbrake"), 1.0);
    for (auto &recorder : recorders)
        QVERIFY(recorder->recordEvent(FlightRecorder::kLocalAircraft, QString::fromLatin1(FlightEventKind::kFailure),
                                      QStringLiteral("左发失效"), QJsonObject{{"id", "engine1"}}));
    // The circuit takes about 25 s at 16x; then the landing settles and the aircraft stops.
    QVERIFY(landings.wait(90000));
    QTRY_VERIFY_WITH_TIMEOUT(samples.last().first().value<AircraftData>().gs < 1.0, 30000);
    const QList<qint64> ids = {recorders.front()->flightId(FlightRecorder::kLocalAircraft),
                               configs.size() > 1 ? recorders.back()->flightId(FlightRecorder::kLocalAircraft) : 0};
    manager->disconnect();

    QList<RecordedFlight> flights;
    for (size_t i = 0; i < recorders.size(); ++i) {
        QSignalSpy stored(recorders[i].get(), &FlightRecorder::stored);
        recorders[i]->setRecording(false);
        QTRY_VERIFY_WITH_TIMEOUT(!stored.isEmpty() && stored.last().first().toLongLong() == recorders[i]->samplesKept(),
                                 20000);
        RecordingLibrary library(configs.at(int(i)));
        flights << load(library, ids.at(int(i)));
    }

    const RecordedFlight &flight = flights.first();
    const FlightStatistics &s = flight.info.stats;
    qInfo().noquote() << QStringLiteral("air distance %1 nm (model %2), distance %3 nm (model %4), touchdown %5 ft/min "
                                        "(model %6, final %7..%8), %9 samples received, %10 stored")
                             .arg(s.airDistanceNm, 0, 'f', 2)
                             .arg(ref.airDistanceNm, 0, 'f', 2)
                             .arg(s.distanceNm, 0, 'f', 2)
                             .arg(ref.distanceNm, 0, 'f', 2)
                             .arg(flight.landings.value(0).vsFpm, 0, 'f', 0)
                             .arg(ref.touchdownVsFpm, 0, 'f', 0)
                             .arg(ref.minFinalVsFpm, 0, 'f', 0)
                             .arg(ref.maxFinalVsFpm, 0, 'f', 0)
                             .arg(flight.info.sampleCount)
                             .arg(flight.samples.size());
    QCOMPARE(s.takeoffCount, 1);
    QCOMPARE(s.landingCount, 1);
    QCOMPARE(flight.landings.size(), 1);
    QVERIFY(std::fabs(s.airDistanceNm - ref.airDistanceNm) < 0.03 * ref.airDistanceNm);
    QVERIFY(std::fabs(s.distanceNm - ref.distanceNm) < 0.03 * ref.distanceNm);
    const LandingRecord &landing = flight.landings.first();
    QVERIFY2(landing.vsFpm >= ref.minFinalVsFpm - 30 && landing.vsFpm <= std::min(-20.0, ref.maxFinalVsFpm + 30),
             qPrintable(QString::number(landing.vsFpm)));
    QVERIFY(landing.gLoad >= 0.9 && landing.gLoad < 2.0);
    // Wall time in the air is the model's divided by the time factor (a slow tick only stretches it).
    QVERIFY2(s.airTimeS * kTimeFactor > 0.8 * ref.airTimeS && s.airTimeS * kTimeFactor < 2.0 * ref.airTimeS,
             qPrintable(QString::number(s.airTimeS)));
    QVERIFY(s.maxAltFt > 1400 && s.maxAltFt < 1700);
    QVERIFY(s.fuelUsedGal > 0);
    QCOMPARE(flight.info.simulator, QStringLiteral("X-Plane 12"));
    QCOMPARE(flight.info.callsign, QStringLiteral("B-DEMO"));
    QVERIFY(flight.samples.first().onGround());
    for (int i = 0; i < flight.samples.size(); ++i)
        QCOMPARE(flight.samples.at(i).seq, qint64(i));
    QCOMPARE(flight.events.size(), 1);
    QCOMPARE(flight.events.first().text, QStringLiteral("左发失效"));
    QVERIFY(flight.events.first().timeMs > flight.info.startMs && flight.events.first().timeMs < landing.timeMs);

    // Both databases hold the same flight.
    for (int i = 1; i < flights.size(); ++i) {
        const RecordedFlight &other = flights.at(i);
        QCOMPARE(other.samples.size(), flight.samples.size());
        QCOMPARE(other.info.sampleCount, flight.info.sampleCount);
        QCOMPARE(other.landings.size(), 1);
        QCOMPARE(other.events.size(), 1);
        QVERIFY(std::fabs(other.info.stats.distanceNm - s.distanceNm) < 1e-6);
        QVERIFY(std::fabs(other.samples.last().lat - flight.samples.last().lat) < 1e-9);
        QVERIFY(std::fabs(other.landings.first().vsFpm - landing.vsFpm) < 0.01);
    }
}

void TestRecorderCircuit::playbackRepositionsTheSimulator()
{
    QVERIFY(startSimulator({QStringLiteral("--parked")}));
    std::unique_ptr<SimBackendManager> manager = connectManager();
    QTRY_VERIFY_WITH_TIMEOUT(manager->isConnected(), 10000);
    QSignalSpy samples(manager.get(), &SimBackendManager::aircraftDataChanged);
    auto latest = [&samples] { return samples.last().first().value<AircraftData>(); };
    QTRY_VERIFY_WITH_TIMEOUT(!samples.isEmpty(), 10000);

    RecordedFlight flight;
    for (int i = 0; i <= int(synthetic::kEndS); ++i) {
        TrackSample s = trackSampleFrom(synthetic::at(i), 1714550400000 + i * 1000);
        s.seq = i;
        flight.samples << s;
    }
    FlightPlayback playback;
    playback.setSimulator(manager->backend());
    QVERIFY(playback.load(flight));
    playback.setRepositionEnabled(true);
    // In the air at 1010 ft over the replayed track...
    playback.seek(110000);
    const TrackSample cruise = playback.currentSample();
    QTRY_VERIFY_WITH_TIMEOUT(
        std::fabs(latest().lat - cruise.lat) < 0.005 && std::fabs(latest().lon - cruise.lon) < 0.005, 10000);
    QVERIFY(!latest().onGround);
    QVERIFY(std::fabs(latest().alt - cruise.altFt) < 200);
    // ... and on the ground during the roll-out.
    playback.seek(225000);
    const TrackSample rollout = playback.currentSample();
    QTRY_VERIFY_WITH_TIMEOUT(latest().onGround && std::fabs(latest().lat - rollout.lat) < 0.001, 10000);
    // Switched off, the replay leaves the simulator alone.
    playback.setRepositionEnabled(false);
    const int before = samples.size();
    playback.seek(110000);
    QTRY_VERIFY_WITH_TIMEOUT(samples.size() > before + 5, 10000);
    QVERIFY(latest().onGround);
}

QTEST_GUILESS_MAIN(TestRecorderCircuit)
#include "tst_recordercircuit.moc"
