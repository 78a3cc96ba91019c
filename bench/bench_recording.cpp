// Recording benchmark, on SQLite and on a private PostgreSQL server (started here when its server
// binaries are installed):
//  - throughput: samples handed to the recorder as fast as it takes them (thinning off), timed
//    until the writer thread has stored the last one; samples per second sustained,
//  - database size per flight hour: one hour of a flight with climbs, turns and light turbulence,
//    recorded at 50 Hz and at 5 Hz (what the X-Plane link asks for), with and without thinning.
//
// Usage: bench_recording [samples for the throughput run, default 150000]

#include "recording/flightrecorder.h"
#include "tests/support/pgcluster.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>

#include <cmath>
#include <cstdio>
#include <functional>

namespace {

constexpr qint64 kStartMs = 1714550400000;

void print(const QString &line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

// One hour: a take-off, a climb to 8000 ft with turns, cruise in light turbulence with a heading
// change every five minutes, a descent and an approach; rough the way simulator values are. The
// position is integrated from the ground speed along the heading, so ask for times in order.
class HourProfile
{
public:
    explicit HourProfile(quint32 seed) : m_noise(seed) {}
    AircraftData at(double t);

private:
    QRandomGenerator m_noise;
    double m_lat = 31.0;
    double m_lon = 121.0;
    double m_lastT = 0.0;
};

AircraftData HourProfile::at(double t)
{
    QRandomGenerator &noise = m_noise;
    AircraftData d;
    const double jitter = noise.bounded(1.0) - 0.5;
    d.onGround = t < 60.0 || t > 3540.0;
    const double climb = std::clamp((t - 60.0) / 900.0, 0.0, 1.0);
    const double descent = std::clamp((3540.0 - t) / 1200.0, 0.0, 1.0);
    d.alt = d.altInd = 20.0 + 8000.0 * std::min(climb, descent) + (d.onGround ? 0.0 : 3.0 * jitter);
    d.altAGL = d.alt - 20.0;
    d.vs = d.onGround ? 0.0 : (t < 960.0 ? 530.0 : (t > 2340.0 ? -400.0 : 0.0)) + 40.0 * jitter;
    d.ias = d.onGround ? std::min(t, 3600.0 - t) * 1.5 : 180.0 + 0.6 * jitter;
    d.gs = d.ias + 15.0;
    d.tas = d.ias * 1.1;
    const int leg = int(t / 300.0);
    const double turn = std::clamp(t - leg * 300.0, 0.0, 30.0) * 3.0; // a 90-degree turn each leg
    d.hdg = d.hdgTrue = std::fmod(leg * 90.0 + turn, 360.0);
    d.bank = (t - leg * 300.0 < 30.0 && !d.onGround) ? 25.0 : 0.4 * jitter;
    d.pitch = d.vs / 200.0 + 0.3 * jitter;
    d.gForce = 1.0 + 0.03 * jitter;
    d.fuelTotal = 500.0 - t * 0.04;
    d.engCnt = 2;
    d.engRun[0] = d.engRun[1] = true;
    d.gear = t < 200.0 || t > 3300.0;
    d.apMaster = !d.onGround && t > 300.0 && t < 3300.0;
    d.apAlt = 8000.0;
    d.baro = 1013.25;
    // Small steps on a locally flat earth.
    const double dt = std::max(0.0, t - m_lastT);
    m_lastT = t;
    m_lat += d.gs * dt / 3600.0 / 60.0 * std::cos(d.hdgTrue * M_PI / 180.0);
    m_lon += d.gs * dt / 3600.0 / 60.0 * std::sin(d.hdgTrue * M_PI / 180.0) / std::cos(m_lat * M_PI / 180.0);
    d.lat = m_lat;
    d.lon = m_lon;
    return d;
}

struct Run
{
    qint64 kept = 0;
    qint64 elapsedMs = 0;
};

// Records samples from make(i) (i = 0..count-1, spaced stepMs), waits until all are stored.
Run record(const RecordingDatabaseConfig &config, bool thinning, int count, qint64 stepMs,
           const std::function<AircraftData(int)> &make)
{
    Run run;
    qint64 now = kStartMs;
    FlightRecorder recorder(config);
    recorder.setClock([&now] { return now; });
    recorder.setThinning(thinning);
    QSignalSpy stored(&recorder, &FlightRecorder::stored);
    recorder.setRecording(true);
    recorder.beginLocalFlight(QStringLiteral("X-Plane 12"), QStringLiteral("B738"), QStringLiteral("BENCH"));
    QElapsedTimer clock;
    clock.start();
    for (int i = 0; i < count; ++i) {
        now = kStartMs + i * stepMs;
        recorder.recordSample(make(i));
        if (i % 2000 == 0)
            QCoreApplication::processEvents();
    }
    recorder.setRecording(false);
    while (stored.isEmpty() || stored.last().first().toLongLong() < recorder.samplesKept()) {
        if (!stored.wait(60000)) {
            print(QStringLiteral("  the writer did not finish"));
            break;
        }
    }
    run.elapsedMs = clock.elapsed();
    run.kept = recorder.samplesKept();
    return run;
}

qint64 postgresSize(const RecordingDatabaseConfig &config)
{
    qint64 bytes = -1;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), QStringLiteral("size"));
        db.setHostName(config.host);
        db.setPort(config.port);
        db.setUserName(config.user);
        db.setDatabaseName(config.databaseName);
        if (db.open()) {
            QSqlQuery q(db);
            if (q.exec(QStringLiteral("SELECT pg_total_relation_size('samples') + pg_total_relation_size('flights') + "
                                      "pg_total_relation_size('events') + pg_total_relation_size('landings')")) &&
                q.next())
                bytes = q.value(0).toLongLong();
        }
    }
    QSqlDatabase::removeDatabase(QStringLiteral("size"));
    return bytes;
}

bool createDatabase(const PgCluster &cluster, const QString &name)
{
    bool ok = false;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), QStringLiteral("admin"));
        db.setHostName(cluster.host());
        db.setPort(cluster.port());
        db.setUserName(cluster.user());
        db.setDatabaseName(cluster.database());
        ok = db.open() && QSqlQuery(db).exec(QStringLiteral("CREATE DATABASE %1").arg(name));
    }
    QSqlDatabase::removeDatabase(QStringLiteral("admin"));
    return ok;
}

void benchStorage(const QString &label, const std::function<RecordingDatabaseConfig(const QString &)> &fresh,
                  const std::function<qint64(const RecordingDatabaseConfig &)> &sizeOf, int throughputSamples)
{
    print(QStringLiteral("%1:").arg(label));
    HourProfile repeated(3);
    const Run fast = record(fresh(QStringLiteral("throughput")), false, throughputSamples, 20,
                            [&repeated](int i) { return repeated.at(i * 0.02); });
    print(QStringLiteral("  throughput: %1 samples stored in %2 ms = %3 samples/s sustained")
              .arg(fast.kept)
              .arg(fast.elapsedMs)
              .arg(qint64(double(fast.kept) * 1000.0 / std::max<qint64>(1, fast.elapsedMs))));
    for (const int hz : {50, 5}) {
        for (const bool thinning : {true, false}) {
            const QString name =
                QStringLiteral("hour%1%2").arg(hz).arg(thinning ? QStringLiteral("t") : QStringLiteral("f"));
            const RecordingDatabaseConfig config = fresh(name);
            HourProfile profile(5);
            const Run hour = record(config, thinning, 3600 * hz, 1000 / hz,
                                    [hz, &profile](int i) { return profile.at(double(i) / hz); });
            const qint64 bytes = sizeOf(config);
            print(QStringLiteral("  one flight hour at %1 Hz, thinning %2: %3 of %4 samples stored, %5 MB")
                      .arg(hz)
                      .arg(thinning ? QStringLiteral("on ") : QStringLiteral("off"))
                      .arg(hour.kept)
                      .arg(3600 * hz)
                      .arg(double(bytes) / 1e6, 0, 'f', 2));
        }
    }
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const int throughputSamples = argc > 1 ? std::max(1000, std::atoi(argv[1])) : 150000;
    QTemporaryDir dir;

    benchStorage(
        QStringLiteral("SQLite"),
        [&dir](const QString &name) {
            RecordingDatabaseConfig config;
            config.sqlitePath = dir.filePath(name + QStringLiteral(".db"));
            return config;
        },
        [](const RecordingDatabaseConfig &config) { return QFileInfo(config.sqlitePath).size(); }, throughputSamples);

    PgCluster cluster;
    QString error;
    if (PgCluster::binDir().isEmpty()) {
        print(QStringLiteral("PostgreSQL: skipped, no server binaries (Debian package postgresql)"));
        return 0;
    }
    if (!cluster.create(&error)) {
        print(QStringLiteral("PostgreSQL: could not start a server: %1").arg(error));
        return 1;
    }
    benchStorage(
        QStringLiteral("PostgreSQL (local server, fsync off)"),
        [&cluster](const QString &name) {
            createDatabase(cluster, name);
            RecordingDatabaseConfig config;
            config.kind = RecordingDatabaseConfig::Kind::Postgres;
            config.host = cluster.host();
            config.port = cluster.port();
            config.user = cluster.user();
            config.databaseName = name;
            return config;
        },
        postgresSize, throughputSamples);
    return 0;
}
