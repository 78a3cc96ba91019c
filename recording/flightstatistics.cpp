#include "recording/flightstatistics.h"

#include <algorithm>

void FlightStatsCalculator::add(const TrackSample &s)
{
    m_stats.maxAltFt = m_previous ? std::max(m_stats.maxAltFt, s.altFt) : s.altFt;
    m_stats.maxIasKt = std::max(m_stats.maxIasKt, s.iasKt);
    m_stats.maxGsKt = std::max(m_stats.maxGsKt, s.gsKt);
    m_recent.append(s);
    while (!m_recent.isEmpty() && m_recent.first().timeMs < s.timeMs - kTouchdownWindowMs)
        m_recent.removeFirst();

    if (!m_previous) {
        m_firstMs = s.timeMs;
        if (!s.onGround() || s.gsKt > kTaxiSpeedKt) {
            m_moved = true;
            m_stats.offBlockMs = s.timeMs;
        }
        if (!s.onGround())
            m_airborneSinceMs = s.timeMs;
        m_previous = s;
        m_lastMs = s.timeMs;
        return;
    }

    const TrackSample prev = *m_previous;
    if (!addDistance(prev, s))
        m_lastJumpMs = s.timeMs;
    // A simulator may report the new place and the new ground state in different samples.
    const bool placed = m_lastJumpMs >= 0 && s.timeMs - m_lastJumpMs <= kPlacementSettleMs;
    if (!prev.onGround())
        m_stats.airTimeS += double(s.timeMs - prev.timeMs) / 1000.0;
    const double burnt = prev.fuelGal - s.fuelGal;
    if (burnt > 0.0 && burnt < kFuelStepGal)
        m_stats.fuelUsedGal += burnt;

    if (!m_moved && (s.gsKt > kTaxiSpeedKt || !s.onGround())) {
        m_moved = true;
        m_stats.offBlockMs = prev.timeMs;
    }
    if (m_moved && s.onGround()) {
        if (s.gsKt < kStopSpeedKt) {
            if (m_stats.onBlockMs == 0)
                m_stats.onBlockMs = s.timeMs;
        } else {
            m_stats.onBlockMs = 0;
        }
    }

    if (m_pending) {
        if (s.timeMs <= m_pending->timeMs + kTouchdownWindowMs)
            m_pending->gLoad = std::max(m_pending->gLoad, s.gLoad);
        if (s.timeMs > m_pending->timeMs + kBounceMs && s.onGround())
            settlePending();
    }

    if (placed && prev.onGround() != s.onGround()) {
        // Put into the air or onto the ground by the instructor: neither a take-off nor a landing.
        m_airborneSinceMs = s.timeMs;
        m_pendingTakeoff = false;
    } else if (prev.onGround() && !s.onGround()) {
        m_airborneSinceMs = s.timeMs;
        m_pendingTakeoff = true;
    } else if (!s.onGround() && m_pendingTakeoff && s.timeMs - m_airborneSinceMs >= kMinAirborneMs) {
        m_pendingTakeoff = false;
        ++m_stats.takeoffCount;
        if (m_pending)
            settlePending();
    } else if (!prev.onGround() && s.onGround()) {
        if (m_pendingTakeoff && s.timeMs - m_airborneSinceMs >= kMinAirborneMs) {
            // Sparse samples: the whole flight fell between two of them.
            m_pendingTakeoff = false;
            ++m_stats.takeoffCount;
        }
        if (!m_pendingTakeoff) {
            onTouchdown(prev, s);
        } else if (m_pending) {
            ++m_pending->bounces;
        }
        // A hop that is no bounce (long after the last landing) is neither take-off nor landing.
        m_pendingTakeoff = false;
    }
    m_previous = s;
    m_lastMs = s.timeMs;
}

void FlightStatsCalculator::finish()
{
    if (m_pending)
        settlePending();
}

FlightStatistics FlightStatsCalculator::statistics() const
{
    FlightStatistics stats = m_stats;
    if (m_moved) {
        const qint64 end = stats.onBlockMs > 0 ? stats.onBlockMs : m_lastMs;
        stats.blockTimeS = double(end - stats.offBlockMs) / 1000.0;
    }
    stats.landingCount = int(m_landings.size()) + (m_pending ? 1 : 0);
    return stats;
}

QList<LandingRecord> FlightStatsCalculator::takeNewLandings()
{
    const QList<LandingRecord> fresh = m_landings.mid(m_reported);
    m_reported = int(m_landings.size());
    return fresh;
}

FlightStatistics FlightStatsCalculator::compute(const QList<TrackSample> &samples, QList<LandingRecord> *landings)
{
    FlightStatsCalculator calculator;
    for (const TrackSample &s : samples)
        calculator.add(s);
    calculator.finish();
    if (landings)
        *landings = calculator.landings();
    return calculator.statistics();
}

bool FlightStatsCalculator::addDistance(const TrackSample &from, const TrackSample &to)
{
    const double legNm = distanceNm(from.lat, from.lon, to.lat, to.lon);
    const double hours = double(std::max<qint64>(0, to.timeMs - from.timeMs)) / 3600000.0;
    const double explainedNm = std::max(from.gsKt, to.gsKt) * hours;
    if (legNm > kJumpNm && legNm > 3.0 * explainedNm + 0.5)
        return false;
    m_stats.distanceNm += legNm;
    if (!from.onGround() && !to.onGround())
        m_stats.airDistanceNm += legNm;
    return true;
}

void FlightStatsCalculator::onTouchdown(const TrackSample &lastAirborne, const TrackSample &touchdown)
{
    if (m_pending)
        settlePending();
    LandingRecord landing;
    landing.index = int(m_landings.size());
    landing.timeMs = touchdown.timeMs;
    landing.lat = touchdown.lat;
    landing.lon = touchdown.lon;
    landing.vsFpm = lastAirborne.vsFpm;
    landing.iasKt = lastAirborne.iasKt;
    landing.gsKt = lastAirborne.gsKt;
    landing.pitchDeg = lastAirborne.pitchDeg;
    landing.bankDeg = lastAirborne.bankDeg;
    for (const TrackSample &r : std::as_const(m_recent))
        landing.gLoad = std::max(landing.gLoad, r.gLoad);
    m_pending = landing;
}

void FlightStatsCalculator::settlePending()
{
    m_landings.append(*m_pending);
    m_pending.reset();
}
