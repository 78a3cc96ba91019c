#include "recording/trackthinner.h"

#include <cmath>

namespace {

constexpr double kMetresPerDegLat = 1852.0 * 60.0;

double positionErrorM(const TrackSample &a, const TrackSample &b)
{
    const double north = (b.lat - a.lat) * kMetresPerDegLat;
    const double east = angleDifferenceDeg(a.lon, b.lon) * kMetresPerDegLat * std::cos(a.lat * M_PI / 180.0);
    return std::hypot(north, east);
}

bool near(double a, double b, double tolerance)
{
    return std::fabs(a - b) <= tolerance;
}

} // namespace

TrackThinner::TrackThinner(const ThinningTolerances &tolerances, bool enabled) : m_tol(tolerances), m_enabled(enabled)
{
}

QList<TrackSample> TrackThinner::add(const TrackSample &sample)
{
    if (!m_enabled)
        return {sample};
    if (!m_hasAnchor) {
        m_hasAnchor = true;
        m_anchor = sample;
        return {sample};
    }
    const TrackSample &previous = m_window.isEmpty() ? m_anchor : m_window.last();
    QList<TrackSample> stored;
    if (!sameState(previous, sample)) {
        // Keep both sides of the change: the last sample before it and the first after.
        if (!m_window.isEmpty())
            stored << m_window.last();
        stored << sample;
        m_anchor = sample;
        m_window.clear();
        return stored;
    }
    if (!reproduces(m_anchor, sample)) {
        // The window up to the previous sample was fine; close it there.
        stored << m_window.last();
        m_anchor = m_window.last();
        m_window.clear();
    }
    if (sample.timeMs - m_anchor.timeMs >= m_tol.maxGapMs) {
        stored << sample;
        m_anchor = sample;
        m_window.clear();
    } else {
        m_window << sample;
    }
    return stored;
}

QList<TrackSample> TrackThinner::flush()
{
    if (m_window.isEmpty())
        return {};
    const TrackSample last = m_window.last();
    m_anchor = last;
    m_window.clear();
    return {last};
}

bool TrackThinner::sameState(const TrackSample &a, const TrackSample &b) const
{
    return a.flags == b.flags && a.apAltFt == b.apAltFt && a.apHdgDeg == b.apHdgDeg && a.apSpdKt == b.apSpdKt &&
           a.baroHpa == b.baroHpa;
}

// Whether the line from -> to reproduces every sample in the window.
bool TrackThinner::reproduces(const TrackSample &from, const TrackSample &to) const
{
    for (const TrackSample &held : m_window) {
        if (!withinTolerance(interpolate(from, to, held.timeMs), held))
            return false;
    }
    return true;
}

bool TrackThinner::withinTolerance(const TrackSample &e, const TrackSample &a) const
{
    return positionErrorM(e, a) <= m_tol.positionM && near(e.altFt, a.altFt, m_tol.altitudeFt) &&
           near(e.altIndFt, a.altIndFt, m_tol.altitudeFt) && near(e.aglFt, a.aglFt, m_tol.altitudeFt) &&
           near(e.iasKt, a.iasKt, m_tol.speedKt) && near(e.tasKt, a.tasKt, m_tol.speedKt) &&
           near(e.gsKt, a.gsKt, m_tol.speedKt) && near(e.mach, a.mach, m_tol.mach) &&
           near(e.vsFpm, a.vsFpm, m_tol.vsFpm) &&
           std::fabs(angleDifferenceDeg(e.hdgMagDeg, a.hdgMagDeg)) <= m_tol.headingDeg &&
           std::fabs(angleDifferenceDeg(e.hdgTrueDeg, a.hdgTrueDeg)) <= m_tol.headingDeg &&
           near(e.pitchDeg, a.pitchDeg, m_tol.attitudeDeg) && near(e.bankDeg, a.bankDeg, m_tol.attitudeDeg) &&
           near(e.gLoad, a.gLoad, m_tol.gLoad) && near(e.fuelGal, a.fuelGal, m_tol.fuelGal) &&
           near(e.flapsPct, a.flapsPct, m_tol.percent) && near(e.throttlePct, a.throttlePct, m_tol.percent);
}
