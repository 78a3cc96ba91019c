#include "tools/xpsim/runwayframe.h"

#include <algorithm>
#include <cmath>

namespace geo {

double normalizeDeg(double deg)
{
    double d = std::fmod(deg, 360.0);
    if (d < 0.0)
        d += 360.0;
    return d >= 360.0 ? 0.0 : d;
}

double wrap180(double deg)
{
    double d = normalizeDeg(deg);
    return d > 180.0 ? d - 360.0 : d;
}

GeoPoint offset(GeoPoint from, double northM, double eastM)
{
    const double cosLat = std::max(0.01, std::cos(from.latDeg / kDegPerRad));
    GeoPoint to;
    to.latDeg = std::clamp(from.latDeg + northM / kEarthRadiusM * kDegPerRad, -89.9, 89.9);
    to.lonDeg = from.lonDeg + eastM / (kEarthRadiusM * cosLat) * kDegPerRad;
    if (to.lonDeg >= 180.0)
        to.lonDeg -= 360.0;
    else if (to.lonDeg < -180.0)
        to.lonDeg += 360.0;
    return to;
}

void northEast(GeoPoint origin, GeoPoint p, double *northM, double *eastM)
{
    const double cosLat = std::max(0.01, std::cos(origin.latDeg / kDegPerRad));
    const double dLon = wrap180(p.lonDeg - origin.lonDeg);
    *northM = (p.latDeg - origin.latDeg) / kDegPerRad * kEarthRadiusM;
    *eastM = dLon / kDegPerRad * kEarthRadiusM * cosLat;
}

} // namespace geo

RunwayFrame::RunwayFrame(GeoPoint threshold, double headingDegTrue, double lengthM, double elevationM)
    : m_threshold(threshold), m_headingDegTrue(geo::normalizeDeg(headingDegTrue)), m_lengthM(lengthM),
      m_elevationM(elevationM)
{
}

RunwayFrame::Local RunwayFrame::toLocal(GeoPoint p) const
{
    double north = 0.0;
    double east = 0.0;
    geo::northEast(m_threshold, p, &north, &east);
    const double h = m_headingDegTrue / geo::kDegPerRad;
    Local local;
    local.alongM = north * std::cos(h) + east * std::sin(h);
    local.crossM = -north * std::sin(h) + east * std::cos(h);
    return local;
}

GeoPoint RunwayFrame::toGeo(Local local) const
{
    const double h = m_headingDegTrue / geo::kDegPerRad;
    const double north = local.alongM * std::cos(h) - local.crossM * std::sin(h);
    const double east = local.alongM * std::sin(h) + local.crossM * std::cos(h);
    return geo::offset(m_threshold, north, east);
}

double RunwayFrame::trueCourse(double frameAngleDeg) const
{
    return geo::normalizeDeg(m_headingDegTrue + frameAngleDeg);
}

double RunwayFrame::frameAngle(double trueCourseDeg) const
{
    return geo::wrap180(trueCourseDeg - m_headingDegTrue);
}
