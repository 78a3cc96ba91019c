#include "recording/recordingwriter.h"

#include "app/log/applogger.h"

#include <QAtomicInt>
#include <QTimer>

namespace {

QAtomicInt s_connectionCounter;

void logRecording(AppLogger::Level level, const QString &message)
{
    AppLogger::instance().log(level, QStringLiteral("Recording"), message);
}

} // namespace

RecordingWriter::RecordingWriter(const RecordingDatabaseConfig &config, QObject *parent)
    : QObject(parent), m_config(config), m_timer(new QTimer(this))
{
    m_timer->setSingleShot(true);
    connect(m_timer, &QTimer::timeout, this, &RecordingWriter::writePending);
}

RecordingWriter::~RecordingWriter() = default;

void RecordingWriter::enqueue(const RecordingBatch &batch)
{
    m_pending.append(batch);
    dropOverflow();
    if (!m_failing)
        scheduleWrite(0);
}

void RecordingWriter::finish()
{
    m_timer->stop();
    if (!m_pending.isEmpty())
        writePending();
    m_timer->stop();
    if (!m_pending.isEmpty()) {
        logRecording(AppLogger::Error, QStringLiteral("%1 samples and %2 events could not be stored in %3: %4")
                                           .arg(m_pending.samples.size())
                                           .arg(m_pending.events.size())
                                           .arg(m_config.describe(), m_db ? m_db->lastError() : QString()));
    }
    m_db.reset();
}

void RecordingWriter::scheduleWrite(int delayMs)
{
    if (!m_timer->isActive() || m_timer->remainingTime() > delayMs)
        m_timer->start(delayMs);
}

void RecordingWriter::writePending()
{
    if (!m_db) {
        // Created here: the connection belongs to this (the writer's) thread.
        m_db = std::make_unique<RecordingDatabase>(
            m_config, QStringLiteral("recording_writer_%1").arg(s_connectionCounter.fetchAndAddRelaxed(1)));
    }
    while (!m_pending.isEmpty()) {
        RecordingBatch chunk;
        chunk.flights = m_pending.flights;
        chunk.events = m_pending.events;
        chunk.landings = m_pending.landings;
        chunk.samples = m_pending.samples.mid(0, kChunkSamples);
        if (!m_db->write(chunk)) {
            const bool first = !m_failing;
            m_failing = true;
            m_retryMs = first ? m_firstRetryMs : std::min(m_retryMs * 2, kMaxRetryMs);
            if (first) {
                logRecording(
                    AppLogger::Warning,
                    QStringLiteral("Recording database unavailable, keeping samples: %1").arg(m_db->lastError()));
            }
            emit statusChanged(false, m_pending.samples.size(), m_db->lastError());
            scheduleWrite(m_retryMs);
            return;
        }
        m_samplesStored += chunk.samples.size();
        m_eventsStored += chunk.events.size();
        m_pending.samples.remove(0, chunk.samples.size());
        m_pending.flights.clear();
        m_pending.events.clear();
        m_pending.landings.clear();
        emit written(m_samplesStored, m_eventsStored);
    }
    if (m_failing) {
        m_failing = false;
        m_retryMs = m_firstRetryMs;
        logRecording(AppLogger::Info,
                     QStringLiteral("Recording database available again: %1").arg(m_config.describe()));
        emit statusChanged(true, 0, QString());
    }
}

void RecordingWriter::dropOverflow()
{
    const qsizetype excess = m_pending.samples.size() - kMaxPendingSamples;
    if (excess <= 0)
        return;
    m_pending.samples.remove(0, excess);
    if (m_dropped == 0) {
        logRecording(AppLogger::Error, QStringLiteral("Recording buffer full (%1 samples): the oldest are discarded "
                                                      "until the database is back")
                                           .arg(kMaxPendingSamples));
    }
    m_dropped += excess;
}
