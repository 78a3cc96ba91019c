#include "nav/geodesy.h"

#include <QtGlobal>
#include <QtMath>

#include <cmath>

namespace geodesy {

double distanceNm(double lat1, double lon1, double lat2, double lon2, double radiusNm)
{
    const double phi1 = qDegreesToRadians(lat1);
    const double phi2 = qDegreesToRadians(lat2);
    const double sinHalfPhi = std::sin((phi2 - phi1) / 2.0);
    const double sinHalfLambda = std::sin(qDegreesToRadians(lon2 - lon1) / 2.0);
    const double a = sinHalfPhi * sinHalfPhi + std::cos(phi1) * std::cos(phi2) * sinHalfLambda * sinHalfLambda;
    return radiusNm * 2.0 * std::atan2(std::sqrt(a), std::sqrt(qMax(0.0, 1.0 - a)));
}

double initialBearingDeg(double lat1, double lon1, double lat2, double lon2)
{
    const double phi1 = qDegreesToRadians(lat1);
    const double phi2 = qDegreesToRadians(lat2);
    const double dLambda = qDegreesToRadians(lon2 - lon1);
    const double y = std::sin(dLambda) * std::cos(phi2);
    const double x = std::cos(phi1) * std::sin(phi2) - std::sin(phi1) * std::cos(phi2) * std::cos(dLambda);
    const double bearing = std::fmod(qRadiansToDegrees(std::atan2(y, x)) + 360.0, 360.0);
    // fmod of a value just below 360 can round up to 360 itself.
    return bearing >= 360.0 ? 0.0 : bearing;
}

void destination(double lat, double lon, double bearingDeg, double distanceNm, double radiusNm, double *latOut,
                 double *lonOut)
{
    const double delta = distanceNm / radiusNm;
    const double theta = qDegreesToRadians(bearingDeg);
    const double phi1 = qDegreesToRadians(lat);
    const double sinPhi2 = std::sin(phi1) * std::cos(delta) + std::cos(phi1) * std::sin(delta) * std::cos(theta);
    const double phi2 = std::asin(qBound(-1.0, sinPhi2, 1.0));
    const double dLambda =
        std::atan2(std::sin(theta) * std::sin(delta) * std::cos(phi1), std::cos(delta) - std::sin(phi1) * sinPhi2);
    *latOut = qRadiansToDegrees(phi2);
    *lonOut = std::remainder(lon + qRadiansToDegrees(dLambda), 360.0);
}

double distanceToArcNm(double aLat, double aLon, double bLat, double bLon, double lat, double lon, double radiusNm)
{
    // Central angles (radians) so that the spherical triangle a-b-p is solved on the unit sphere.
    const double toPoint = distanceNm(aLat, aLon, lat, lon, 1.0);
    const double arcLength = distanceNm(aLat, aLon, bLat, bLon, 1.0);
    if (arcLength < 1e-12)
        return toPoint * radiusNm;
    const double turn =
        qDegreesToRadians(initialBearingDeg(aLat, aLon, lat, lon) - initialBearingDeg(aLat, aLon, bLat, bLon));
    // Along-track position of the foot of the perpendicular, negative behind a.
    const double along = std::atan2(std::sin(toPoint) * std::cos(turn), std::cos(toPoint));
    if (along < 0.0)
        return toPoint * radiusNm;
    if (along > arcLength)
        return distanceNm(bLat, bLon, lat, lon, radiusNm);
    return std::abs(std::asin(std::sin(toPoint) * std::sin(turn))) * radiusNm;
}

} // namespace geodesy
