#include "mercatorprojection.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDegPerRad = 57.29577951308232;
// tan(pi/4 + lat/2) at the clamp latitudes +85.0 and -85.0, held as literals so that every
// latitude beyond the clamp lands on exactly the same row.
constexpr double kMercatorTanNorth = 22.903765548431192;
constexpr double kMercatorTanSouth = 0.04366094290851201;

} // namespace

double MercatorProjection::clampLat(double latDeg)
{
    if (latDeg > kMaxLatDeg) {
        return kMaxLatDeg;
    }
    return std::max(latDeg, -kMaxLatDeg);
}

double MercatorProjection::mapSize(int zoom)
{
    return kTileSizePx * std::pow(2.0, zoom);
}

QPointF MercatorProjection::latLonToNorm(double latDeg, double lonDeg)
{
    const double x = (lonDeg + 180.0) / 360.0;
    double t;
    if (latDeg > kMaxLatDeg) {
        t = kMercatorTanNorth;
    } else if (latDeg <= -kMaxLatDeg) {
        t = kMercatorTanSouth;
    } else {
        t = std::tan(latDeg * kPi / 180.0 * 0.5 + kPi / 4.0);
    }
    const double y = (1.0 - std::log(t) / kPi) * 0.5;
    return QPointF(x, y);
}

QPointF MercatorProjection::normToLatLon(const QPointF &norm)
{
    const double lonDeg = norm.x() * 360.0 - 180.0;
    const double m = (1.0 - 2.0 * norm.y()) * kPi;
    const double latDeg = std::atan(0.5 * (std::exp(m) - std::exp(-m))) * kDegPerRad;
    return QPointF(latDeg, lonDeg);
}

QPointF MercatorProjection::latLonToPixel(double latDeg, double lonDeg, int zoom)
{
    const double size = mapSize(zoom);
    const QPointF norm = latLonToNorm(latDeg, lonDeg);
    return QPointF(norm.x() * size, norm.y() * size);
}

QPointF MercatorProjection::latLonToPixel(const QPointF &latLon, int zoom)
{
    return latLonToPixel(latLon.x(), latLon.y(), zoom);
}

QPointF MercatorProjection::pixelToLatLon(const QPointF &pixel, int zoom)
{
    const double size = mapSize(zoom);
    return normToLatLon(QPointF(pixel.x() / size, pixel.y() / size));
}
