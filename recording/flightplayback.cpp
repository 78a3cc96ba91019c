#include "recording/flightplayback.h"

#include "sim/isimbackend.h"

#include <QTimer>

#include <algorithm>

namespace {

constexpr double kMetresPerFoot = 0.3048;

} // namespace

FlightPlayback::FlightPlayback(QObject *parent) : QObject(parent), m_timer(new QTimer(this))
{
    registerRecordingMetaTypes();
    m_timer->setTimerType(Qt::PreciseTimer);
    m_timer->setInterval(kTickMs);
    connect(m_timer, &QTimer::timeout, this, &FlightPlayback::onTick);
}

bool FlightPlayback::load(const RecordedFlight &flight)
{
    if (flight.samples.isEmpty())
        return false;
    pause();
    m_flight = flight;
    m_positionMs = 0;
    m_current = m_flight.samples.first();
    emit loaded(m_flight);
    emit positionChanged(0, m_current);
    reposition(true);
    return true;
}

void FlightPlayback::clear()
{
    pause();
    m_flight = RecordedFlight();
    m_positionMs = 0;
    m_current = TrackSample();
    emit cleared();
}

qint64 FlightPlayback::durationMs() const
{
    if (m_flight.samples.isEmpty())
        return 0;
    return m_flight.samples.last().timeMs - m_flight.samples.first().timeMs;
}

TrackSample FlightPlayback::sampleAt(qint64 positionMs) const
{
    const QList<TrackSample> &samples = m_flight.samples;
    if (samples.isEmpty())
        return {};
    const qint64 t = samples.first().timeMs + std::clamp<qint64>(positionMs, 0, durationMs());
    const auto after = std::upper_bound(samples.cbegin(), samples.cend(), t,
                                        [](qint64 time, const TrackSample &s) { return time < s.timeMs; });
    if (after == samples.cbegin())
        return samples.first();
    if (after == samples.cend())
        return samples.last();
    return interpolate(*(after - 1), *after, t);
}

void FlightPlayback::setSimulator(ISimBackend *backend)
{
    m_backend = backend;
}

void FlightPlayback::setRepositionEnabled(bool enabled)
{
    m_reposition = enabled;
    reposition(true);
}

void FlightPlayback::play()
{
    setPlaying(true);
}

void FlightPlayback::pause()
{
    setPlaying(false);
}

void FlightPlayback::setPlaying(bool playing)
{
    playing = playing && isLoaded();
    if (playing == m_playing)
        return;
    if (playing && m_positionMs >= durationMs())
        moveTo(0, false); // playing again from the end starts over
    m_playing = playing;
    if (playing) {
        m_clock.start();
        m_lastTickMs = 0;
        m_timer->start();
    } else {
        m_timer->stop();
    }
    emit playingChanged(m_playing);
}

void FlightPlayback::setSpeed(double speed)
{
    speed = std::clamp(speed, kMinSpeed, kMaxSpeed);
    if (speed == m_speed)
        return;
    m_speed = speed;
    emit speedChanged(m_speed);
}

void FlightPlayback::seek(qint64 positionMs)
{
    if (!isLoaded())
        return;
    moveTo(std::clamp<qint64>(positionMs, 0, durationMs()), false);
    reposition(true);
}

void FlightPlayback::onTick()
{
    // The real time elapsed, not the timer's nominal interval: a late tick catches up.
    const qint64 now = m_clock.elapsed();
    const qint64 step = qint64((now - m_lastTickMs) * m_speed);
    m_lastTickMs = now;
    const qint64 target = std::min(m_positionMs + step, durationMs());
    moveTo(target, true);
    reposition(false);
    if (target >= durationMs()) {
        pause();
        emit finished();
    }
}

void FlightPlayback::moveTo(qint64 positionMs, bool playing)
{
    const qint64 start = m_flight.samples.first().timeMs;
    if (playing) {
        for (const FlightEvent &e : std::as_const(m_flight.events)) {
            const qint64 at = e.timeMs - start;
            if (at > m_positionMs && at <= positionMs)
                emit eventReached(e);
        }
    }
    m_positionMs = positionMs;
    m_current = sampleAt(positionMs);
    emit positionChanged(m_positionMs, m_current);
}

void FlightPlayback::reposition(bool force)
{
    if (!m_reposition || !m_backend || !m_backend->isConnected() || !isLoaded())
        return;
    if (!force && m_repositionClock.isValid() && m_repositionClock.elapsed() < 1000 / kRepositionHz)
        return;
    m_repositionClock.start();
    const TrackSample &s = m_current;
    m_backend->setPosition(s.lat, s.lon, s.altFt * kMetresPerFoot, s.pitchDeg, s.bankDeg, s.hdgTrueDeg, s.onGround(),
                           s.iasKt);
}
