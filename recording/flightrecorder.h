#pragma once

#include "recording/flightstatistics.h"
#include "recording/recordedflight.h"
#include "recording/recordingdatabase.h"
#include "recording/trackthinner.h"
#include "sim/aircraftdata.h"
#include "sim/remoteaircraft.h"

#include <QHash>
#include <QJsonObject>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>

class QThread;
class QTimer;
class RecordingWriter;

// Records flights: every sample of the local aircraft and of each agent, and the instructor's
// actions as timed events, into the recordings database. One flight per aircraft per session:
// the local aircraft's flight runs from beginLocalFlight() (the simulator connected) to
// endFlight(kLocalAircraft) (it disconnected); an agent's from its first sample or event to
// endFlight(agentId) or the end of the session.
//
// Each sample goes into the flight's statistics as it is (full rate) and through the flight's
// TrackThinner into storage. Rows are collected on the GUI thread and handed every kFlushMs to a
// RecordingWriter on a thread of its own, which writes them in transactions and buffers and
// retries while the database is unreachable (storageStatusChanged tells the window). The flight's
// row (end time, sample count, statistics) is rewritten with each hand-over, so a crash loses at
// most the last kFlushMs.
//
// Created by the station's recording services (parent given); GUI thread. Aircraft are keyed by
// kLocalAircraft (empty) or the agent's id.
class FlightRecorder : public QObject
{
    Q_OBJECT
public:
    static inline const QString kLocalAircraft;
    static constexpr int kFlushMs = 500;
    // How long the destructor waits for the last write.
    static constexpr int kShutdownWaitMs = 10000;

    explicit FlightRecorder(const RecordingDatabaseConfig &config, QObject *parent = nullptr);
    ~FlightRecorder() override;

    // Thinning on (default) or off, and its tolerances; applies to flights started afterwards.
    void setThinning(bool enabled, const ThinningTolerances &tolerances = {});
    // The station's name stored with each flight (default: the host name).
    void setStationName(const QString &name) { m_station = name; }
    // Replaces the clock (UTC ms since the epoch) for tests.
    void setClock(std::function<qint64()> clock) { m_clock = std::move(clock); }
    // Tests: the writer's first retry after a failure.
    void setFirstRetryMs(int ms);
    const RecordingDatabaseConfig &config() const { return m_config; }

    // Starts a session (a new session id) or ends it with every open flight.
    void setRecording(bool on);
    bool isRecording() const { return m_recording; }
    QString sessionId() const { return m_sessionId; }

    // The local simulator is connected: its samples are recorded from now on into one flight.
    // Different details while a local flight is open end that flight; the next sample starts one.
    void beginLocalFlight(const QString &simulator, const QString &aircraft, const QString &callsign);
    // Ends the aircraft's flight (the simulator or the agent went away); its next sample or event
    // starts a new one (for the local aircraft only after beginLocalFlight).
    void endFlight(const QString &aircraftKey);
    // The aircraft's open flight, 0 when none.
    qint64 flightId(const QString &aircraftKey) const;
    // Statistics of the aircraft's open flight so far.
    FlightStatistics statistics(const QString &aircraftKey) const;

    // Writes every collected row to the writer now (normally every kFlushMs).
    void flush();
    // Samples kept for storage (after thinning) since the recorder was made; compare with the
    // writer's count in stored().
    qint64 samplesKept() const { return m_samplesKept; }

public slots:
    void recordSample(const AircraftData &data);
    // agentSim: the simulator the agent registered with, kept with its flight.
    void recordAgentSample(const QString &agentId, const RemoteAircraft &aircraft, const QString &agentSim = {});
    // A timed event in the aircraft's current flight (starting one for an agent without one).
    // False when not recording, or for the local aircraft while no simulator is connected.
    bool recordEvent(const QString &aircraftKey, const QString &kind, const QString &text,
                     const QJsonObject &details = {});

signals:
    void flightStarted(qint64 flightId, const QString &aircraftKey);
    void flightEnded(qint64 flightId, const QString &aircraftKey);
    void eventRecorded(qint64 flightId, const FlightEvent &event);
    void landingDetected(qint64 flightId, const LandingRecord &landing);
    // From the writer: ok false while samples wait for an unreachable database.
    void storageStatusChanged(bool ok, qint64 pendingSamples, const QString &error);
    // From the writer after each successful write.
    void stored(qint64 samplesStored, qint64 eventsStored);

private:
    struct Flight
    {
        FlightInfo info;
        std::unique_ptr<TrackThinner> thinner;
        FlightStatsCalculator stats;
        qint64 nextSeq = 0;
        qint64 nextEventSeq = 0;
        bool dirty = true;
    };

    Flight *flightFor(const QString &aircraftKey, qint64 nowMs);
    void closeFlight(const QString &aircraftKey);
    void addSample(Flight &flight, const TrackSample &sample);
    void collectLandings(Flight &flight);
    void startWriter();
    void stopWriter();

    RecordingDatabaseConfig m_config;
    std::function<qint64()> m_clock;
    QString m_station;
    QString m_sessionId;
    bool m_recording = false;
    bool m_thinning = true;
    ThinningTolerances m_tolerances;
    int m_firstRetryMs = 0;

    bool m_localActive = false;
    QString m_localSimulator;
    QString m_localAircraft;
    QString m_localCallsign;
    QHash<QString, QString> m_agentSims;
    QHash<QString, std::shared_ptr<Flight>> m_flights;

    RecordingBatch m_batch;
    qint64 m_samplesKept = 0;
    QTimer *m_flushTimer = nullptr;
    QThread *m_thread = nullptr;
    RecordingWriter *m_writer = nullptr;
};
