#include "recording/flightrecorder.h"

#include "app/log/applogger.h"
#include "recording/recordingwriter.h"

#include <QDateTime>
#include <QHostInfo>
#include <QRandomGenerator>
#include <QThread>
#include <QTimer>
#include <QUuid>

namespace {

qint64 newFlightId()
{
    // 63 random bits: stations sharing a database never ask it for ids.
    qint64 id = 0;
    while (id == 0)
        id = qint64(QRandomGenerator::system()->generate64() & 0x7FFFFFFFFFFFFFFFULL);
    return id;
}

} // namespace

FlightRecorder::FlightRecorder(const RecordingDatabaseConfig &config, QObject *parent)
    : QObject(parent), m_config(config), m_clock([] { return QDateTime::currentMSecsSinceEpoch(); }),
      m_station(QHostInfo::localHostName()), m_flushTimer(new QTimer(this))
{
    registerRecordingMetaTypes();
    m_flushTimer->setInterval(kFlushMs);
    connect(m_flushTimer, &QTimer::timeout, this, &FlightRecorder::flush);
}

FlightRecorder::~FlightRecorder()
{
    setRecording(false);
    stopWriter();
}

void FlightRecorder::setThinning(bool enabled, const ThinningTolerances &tolerances)
{
    m_thinning = enabled;
    m_tolerances = tolerances;
}

void FlightRecorder::setFirstRetryMs(int ms)
{
    m_firstRetryMs = ms;
    if (m_writer)
        QMetaObject::invokeMethod(m_writer, [writer = m_writer, ms] { writer->setFirstRetryMs(ms); });
}

void FlightRecorder::setRecording(bool on)
{
    if (on == m_recording)
        return;
    if (on) {
        m_recording = true;
        m_sessionId = QUuid::createUuid().toString(QUuid::WithoutBraces);
        startWriter();
        m_flushTimer->start();
        AppLogger::instance().log(AppLogger::Info, QStringLiteral("Recording"),
                                  QStringLiteral("Recording into %1").arg(m_config.describe()));
        return;
    }
    for (const QString &key : m_flights.keys())
        closeFlight(key);
    m_recording = false;
    m_flushTimer->stop();
    flush();
}

void FlightRecorder::beginLocalFlight(const QString &simulator, const QString &aircraft, const QString &callsign)
{
    if (m_localActive && (simulator != m_localSimulator || aircraft != m_localAircraft || callsign != m_localCallsign))
        closeFlight(kLocalAircraft);
    m_localActive = true;
    m_localSimulator = simulator;
    m_localAircraft = aircraft;
    m_localCallsign = callsign;
}

void FlightRecorder::endFlight(const QString &aircraftKey)
{
    if (aircraftKey == kLocalAircraft)
        m_localActive = false;
    closeFlight(aircraftKey);
}

void FlightRecorder::closeFlight(const QString &aircraftKey)
{
    const std::shared_ptr<Flight> flight = m_flights.take(aircraftKey);
    if (!flight)
        return;
    for (TrackSample &s : flight->thinner->flush()) {
        s.seq = flight->nextSeq++;
        m_batch.samples.append({flight->info.id, s});
        ++m_samplesKept;
    }
    flight->stats.finish();
    collectLandings(*flight);
    flight->info.stats = flight->stats.statistics();
    m_batch.flights.insert(flight->info.id, flight->info);
    emit flightEnded(flight->info.id, aircraftKey);
}

qint64 FlightRecorder::flightId(const QString &aircraftKey) const
{
    const std::shared_ptr<Flight> flight = m_flights.value(aircraftKey);
    return flight ? flight->info.id : 0;
}

FlightStatistics FlightRecorder::statistics(const QString &aircraftKey) const
{
    const std::shared_ptr<Flight> flight = m_flights.value(aircraftKey);
    return flight ? flight->stats.statistics() : FlightStatistics();
}

void FlightRecorder::recordSample(const AircraftData &data)
{
    if (!m_recording || !m_localActive)
        return;
    const qint64 now = m_clock();
    if (Flight *flight = flightFor(kLocalAircraft, now))
        addSample(*flight, trackSampleFrom(data, now));
}

void FlightRecorder::recordAgentSample(const QString &agentId, const RemoteAircraft &aircraft, const QString &agentSim)
{
    if (!m_recording || agentId.isEmpty())
        return;
    if (!agentSim.isEmpty())
        m_agentSims.insert(agentId, agentSim);
    const qint64 now = m_clock();
    Flight *flight = flightFor(agentId, now);
    if (flight->info.callsign.isEmpty() && !aircraft.callsign.isEmpty()) {
        flight->info.callsign = aircraft.callsign;
        flight->dirty = true;
    }
    addSample(*flight, trackSampleFrom(toAircraftData(aircraft), now));
}

bool FlightRecorder::recordEvent(const QString &aircraftKey, const QString &kind, const QString &text,
                                 const QJsonObject &details)
{
    if (!m_recording || (aircraftKey == kLocalAircraft && !m_localActive))
        return false;
    const qint64 now = m_clock();
    Flight *flight = flightFor(aircraftKey, now);
    FlightEvent event;
    event.seq = flight->nextEventSeq++;
    event.timeMs = now;
    event.kind = kind;
    event.text = text;
    event.details = details;
    m_batch.events.append({flight->info.id, event});
    flight->dirty = true;
    emit eventRecorded(flight->info.id, event);
    return true;
}

void FlightRecorder::flush()
{
    for (const std::shared_ptr<Flight> &flight : std::as_const(m_flights)) {
        if (!flight->dirty)
            continue;
        flight->dirty = false;
        flight->info.stats = flight->stats.statistics();
        m_batch.flights.insert(flight->info.id, flight->info);
    }
    if (m_batch.isEmpty() || !m_writer)
        return;
    QMetaObject::invokeMethod(m_writer, [writer = m_writer, batch = std::move(m_batch)] { writer->enqueue(batch); });
    m_batch = RecordingBatch();
}

FlightRecorder::Flight *FlightRecorder::flightFor(const QString &aircraftKey, qint64 nowMs)
{
    std::shared_ptr<Flight> &slot = m_flights[aircraftKey];
    if (slot)
        return slot.get();
    slot = std::make_shared<Flight>();
    slot->thinner = std::make_unique<TrackThinner>(m_tolerances, m_thinning);
    FlightInfo &info = slot->info;
    info.id = newFlightId();
    info.sessionId = m_sessionId;
    info.station = m_station;
    info.startMs = info.endMs = nowMs;
    if (aircraftKey == kLocalAircraft) {
        info.source = QStringLiteral("local");
        info.simulator = m_localSimulator;
        info.aircraft = m_localAircraft;
        info.callsign = m_localCallsign;
    } else {
        info.source = QStringLiteral("agent");
        info.sourceId = aircraftKey;
        info.simulator = m_agentSims.value(aircraftKey);
    }
    m_batch.flights.insert(info.id, info);
    emit flightStarted(info.id, aircraftKey);
    return slot.get();
}

void FlightRecorder::addSample(Flight &flight, const TrackSample &sample)
{
    flight.info.endMs = std::max(flight.info.endMs, sample.timeMs);
    ++flight.info.sampleCount;
    flight.dirty = true;
    flight.stats.add(sample);
    for (TrackSample s : flight.thinner->add(sample)) {
        s.seq = flight.nextSeq++;
        m_batch.samples.append({flight.info.id, s});
        ++m_samplesKept;
    }
    collectLandings(flight);
}

void FlightRecorder::collectLandings(Flight &flight)
{
    for (const LandingRecord &landing : flight.stats.takeNewLandings()) {
        m_batch.landings.append({flight.info.id, landing});
        emit landingDetected(flight.info.id, landing);
    }
}

void FlightRecorder::startWriter()
{
    if (m_writer)
        return;
    m_thread = new QThread(this);
    m_thread->setObjectName(QStringLiteral("recording writer"));
    m_writer = new RecordingWriter(m_config);
    if (m_firstRetryMs > 0)
        m_writer->setFirstRetryMs(m_firstRetryMs);
    m_writer->moveToThread(m_thread);
    connect(m_thread, &QThread::finished, m_writer, &QObject::deleteLater);
    connect(m_writer, &RecordingWriter::statusChanged, this, &FlightRecorder::storageStatusChanged);
    connect(m_writer, &RecordingWriter::written, this, &FlightRecorder::stored);
    m_thread->start();
}

void FlightRecorder::stopWriter()
{
    if (!m_writer)
        return;
    flush();
    QMetaObject::invokeMethod(m_writer, &RecordingWriter::finish);
    m_thread->quit();
    if (!m_thread->wait(kShutdownWaitMs)) {
        AppLogger::instance().log(AppLogger::Error, QStringLiteral("Recording"),
                                  QStringLiteral("The recording writer did not finish in time"));
        m_thread->terminate();
        m_thread->wait();
    }
    m_writer = nullptr;
    delete m_thread;
    m_thread = nullptr;
}
