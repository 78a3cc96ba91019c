#include "recording/recordinglibrary.h"

#include "recording/flightstatistics.h"

#include <QAtomicInt>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QSaveFile>
#include <QThread>
#include <QUuid>

#include <memory>

namespace {

QAtomicInt s_libraryCounter;

} // namespace

// Lives on the library's thread; owns the connection there.
class RecordingLibrary::Worker : public QObject
{
    Q_OBJECT
public:
    Worker(const RecordingDatabaseConfig &config, const QString &station) : m_config(config), m_station(station) {}

    void listFlights()
    {
        const std::optional<QList<FlightInfo>> flights = db().flights();
        if (flights)
            emit flightsLoaded(*flights);
        else if (db().fileMissing())
            emit flightsLoaded({});
        else
            emit failed(db().lastError());
    }

    void loadFlight(qint64 id)
    {
        const std::optional<RecordedFlight> flight = db().flight(id);
        if (flight)
            emit flightLoaded(*flight);
        else
            emit failed(db().lastError());
    }

    void exportFlight(qint64 id, TrackFormat format, const QString &path)
    {
        const std::optional<RecordedFlight> flight = db().flight(id);
        if (!flight) {
            emit failed(db().lastError());
            return;
        }
        QSaveFile file(path);
        QString error;
        if (!file.open(QIODevice::WriteOnly) || !writeTrack(*flight, format, &file, &error) || !file.commit()) {
            emit failed(QStringLiteral("cannot write %1: %2").arg(path, error.isEmpty() ? file.errorString() : error));
            return;
        }
        emit flightExported(id, path);
    }

    void importTrack(const QString &path)
    {
        const std::optional<TrackFormat> format = trackFormatFromPath(path);
        QFile file(path);
        if (!format || *format == TrackFormat::Kml) {
            emit failed(QStringLiteral("%1: only GPX and CSV tracks can be imported").arg(path));
            return;
        }
        if (!file.open(QIODevice::ReadOnly)) {
            emit failed(QStringLiteral("cannot read %1: %2").arg(path, file.errorString()));
            return;
        }
        QString error;
        const std::optional<ImportedTrack> track = readTrack(*format, &file, &error);
        if (!track) {
            emit failed(QStringLiteral("%1: %2").arg(QFileInfo(path).fileName(), error));
            return;
        }
        FlightInfo info;
        info.id = qint64(QRandomGenerator::system()->generate64() & 0x7FFFFFFFFFFFFFFFULL) | 1;
        info.sessionId = QUuid::createUuid().toString(QUuid::WithoutBraces);
        info.station = m_station;
        info.source = QStringLiteral("import");
        info.sourceId = QFileInfo(path).fileName();
        info.simulator = trackFormatSuffix(*format).toUpper();
        info.callsign = track->name.isEmpty() ? QFileInfo(path).completeBaseName() : track->name;
        info.startMs = track->samples.first().timeMs;
        info.endMs = track->samples.last().timeMs;
        info.sampleCount = track->samples.size();
        QList<LandingRecord> landings;
        info.stats = FlightStatsCalculator::compute(track->samples, &landings);
        RecordingBatch batch;
        batch.flights.insert(info.id, info);
        for (const TrackSample &s : track->samples)
            batch.samples.append({info.id, s});
        for (const FlightEvent &e : track->events)
            batch.events.append({info.id, e});
        for (const LandingRecord &l : std::as_const(landings))
            batch.landings.append({info.id, l});
        if (!db().write(batch)) {
            emit failed(db().lastError());
            return;
        }
        emit trackImported(info, track->skippedRows, track->firstProblem);
    }

    void deleteFlight(qint64 id)
    {
        if (db().deleteFlight(id))
            emit flightDeleted(id);
        else
            emit failed(db().lastError());
    }

    void close() { m_db.reset(); }

signals:
    void flightsLoaded(const QList<FlightInfo> &flights);
    void flightLoaded(const RecordedFlight &flight);
    void flightExported(qint64 id, const QString &path);
    void trackImported(const FlightInfo &flight, int skippedRows, const QString &firstProblem);
    void flightDeleted(qint64 id);
    void failed(const QString &message);

private:
    RecordingDatabase &db()
    {
        if (!m_db) {
            m_db = std::make_unique<RecordingDatabase>(
                m_config, QStringLiteral("recording_library_%1").arg(s_libraryCounter.fetchAndAddRelaxed(1)));
        }
        return *m_db;
    }

    RecordingDatabaseConfig m_config;
    QString m_station;
    std::unique_ptr<RecordingDatabase> m_db;
};

RecordingLibrary::RecordingLibrary(const RecordingDatabaseConfig &config, const QString &station, QObject *parent)
    : QObject(parent), m_config(config), m_thread(new QThread(this)), m_worker(new Worker(config, station))
{
    registerRecordingMetaTypes();
    m_thread->setObjectName(QStringLiteral("recording library"));
    m_worker->moveToThread(m_thread);
    connect(m_thread, &QThread::finished, m_worker, &QObject::deleteLater);
    connect(m_worker, &Worker::flightsLoaded, this, &RecordingLibrary::flightsLoaded);
    connect(m_worker, &Worker::flightLoaded, this, &RecordingLibrary::flightLoaded);
    connect(m_worker, &Worker::flightExported, this, &RecordingLibrary::flightExported);
    connect(m_worker, &Worker::trackImported, this, &RecordingLibrary::trackImported);
    connect(m_worker, &Worker::flightDeleted, this, &RecordingLibrary::flightDeleted);
    connect(m_worker, &Worker::failed, this, &RecordingLibrary::requestFailed);
    m_thread->start();
}

RecordingLibrary::~RecordingLibrary()
{
    QMetaObject::invokeMethod(m_worker, &Worker::close);
    m_thread->quit();
    m_thread->wait();
}

void RecordingLibrary::requestFlights()
{
    QMetaObject::invokeMethod(m_worker, &Worker::listFlights);
}

void RecordingLibrary::requestFlight(qint64 id)
{
    QMetaObject::invokeMethod(m_worker, [worker = m_worker, id] { worker->loadFlight(id); });
}

void RecordingLibrary::exportFlight(qint64 id, TrackFormat format, const QString &path)
{
    QMetaObject::invokeMethod(m_worker,
                              [worker = m_worker, id, format, path] { worker->exportFlight(id, format, path); });
}

void RecordingLibrary::importTrack(const QString &path)
{
    QMetaObject::invokeMethod(m_worker, [worker = m_worker, path] { worker->importTrack(path); });
}

void RecordingLibrary::deleteFlight(qint64 id)
{
    QMetaObject::invokeMethod(m_worker, [worker = m_worker, id] { worker->deleteFlight(id); });
}

#include "recordinglibrary.moc"
