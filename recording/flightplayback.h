#pragma once

#include "recording/recordedflight.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>

class ISimBackend;
class QTimer;

// Replays a recorded flight: a position on the flight's time line that runs at 1x to 16x while
// playing, can be paused and moved (seek), and the state there, interpolated between the stored
// points. Optionally it sends that state to the simulator as repositioning (slew-style, at most
// kRepositionHz times a second), so the student sees the flight again from the cockpit.
//
// Created by the station's recording services (parent given); GUI thread. The backend is
// borrowed. Positions are milliseconds from the flight's first sample.
class FlightPlayback : public QObject
{
    Q_OBJECT
public:
    static constexpr int kTickMs = 40;
    static constexpr int kRepositionHz = 10;
    static constexpr double kMinSpeed = 1.0;
    static constexpr double kMaxSpeed = 16.0;

    explicit FlightPlayback(QObject *parent = nullptr);

    // Replaces the flight, paused at its start. A flight without samples is refused (false).
    bool load(const RecordedFlight &flight);
    void clear();
    bool isLoaded() const { return !m_flight.samples.isEmpty(); }
    const RecordedFlight &flight() const { return m_flight; }

    qint64 durationMs() const;
    qint64 positionMs() const { return m_positionMs; }
    double speed() const { return m_speed; }
    bool isPlaying() const { return m_playing; }
    // The state at the current position.
    TrackSample currentSample() const { return m_current; }
    // The state at any position of the loaded flight.
    TrackSample sampleAt(qint64 positionMs) const;

    // Borrowed; null stops repositioning. The backend must outlive its use or be reset to null.
    void setSimulator(ISimBackend *backend);
    void setRepositionEnabled(bool enabled);
    bool isRepositionEnabled() const { return m_reposition; }

public slots:
    void play();
    void pause();
    void setPlaying(bool playing);
    // Clamped to kMinSpeed..kMaxSpeed.
    void setSpeed(double speed);
    void seek(qint64 positionMs);

signals:
    void loaded(const RecordedFlight &flight);
    void cleared();
    void positionChanged(qint64 positionMs, const TrackSample &sample);
    void playingChanged(bool playing);
    void speedChanged(double speed);
    // The position passed the event while playing (not when seeking over it).
    void eventReached(const FlightEvent &event);
    void finished();

private:
    void onTick();
    void moveTo(qint64 positionMs, bool playing);
    void reposition(bool force);

    RecordedFlight m_flight;
    qint64 m_positionMs = 0;
    double m_speed = 1.0;
    bool m_playing = false;
    bool m_reposition = false;
    TrackSample m_current;
    QTimer *m_timer = nullptr;
    QElapsedTimer m_clock;
    qint64 m_lastTickMs = 0;
    QElapsedTimer m_repositionClock;
    QPointer<ISimBackend> m_backend;
};
