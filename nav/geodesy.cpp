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

} // namespace geodesy
