#pragma once

#include <QPointF>

// Spherical Web Mercator for 256-pixel map tiles: latitude/longitude in degrees to the unit square
// and to world pixels at a zoom level, and back.
//
// Stateless; every function is static and may be called from any thread. A latitude/longitude pair
// travels in a QPointF with x = latitude and y = longitude; a normalised or pixel position has
// x = east and y = south. Latitudes beyond ±85.0 degrees (deliberately the round value, not the
// Web Mercator limit of 85.0511) project onto the ±85.0 row; longitudes are neither wrapped nor
// clamped.
class MercatorProjection
{
public:
    static constexpr double kTileSizePx = 256.0;
    static constexpr double kMaxLatDeg = 85.0;

    MercatorProjection() = delete;

    // Latitude limited to [-85.0, 85.0].
    static double clampLat(double latDeg);
    // Width and height of the world in pixels at this zoom: 256 * 2^zoom.
    static double mapSize(int zoom);

    static QPointF latLonToNorm(double latDeg, double lonDeg);
    static QPointF normToLatLon(const QPointF &norm);

    static QPointF latLonToPixel(double latDeg, double lonDeg, int zoom);
    static QPointF latLonToPixel(const QPointF &latLon, int zoom);
    static QPointF pixelToLatLon(const QPointF &pixel, int zoom);
};
