#pragma once

#include <QPointF>
#include <QSize>

#include <memory>

// A latitude/longitude box, degrees, bounds inclusive.
struct GeoBounds
{
    double minLat = 0.0;
    double minLon = 0.0;
    double maxLat = 0.0;
    double maxLon = 0.0;

    bool contains(double lat, double lon) const
    {
        return lat >= minLat && lat <= maxLat && lon >= minLon && lon <= maxLon;
    }
    // The box grown by the given number of degrees on every side.
    GeoBounds widened(double deg) const { return {minLat - deg, minLon - deg, maxLat + deg, maxLon + deg}; }
};

// One frame's mapping between positions and screen points: the map's view centre, integer zoom,
// the size of the area drawn and whether positions are shifted into the GCJ-02 frame of the
// tiles first. The centre is used as stored (it is taken to be in the tiles' frame already); only
// the point being converted is shifted.
//
// A small value type, copied into every paint and hit test. Screen coordinates are pixels from
// the top-left corner of the area drawn.
//
// The datum shift is the costly part of a conversion (a dozen sines). A view that shifts builds,
// on first use, a grid of shifts around its area, fills its nodes as points need them and
// interpolates between them; the grid is fine enough for the error to stay below a quarter of a
// pixel at the view's zoom (one degree up to zoom 7, halving with each level above).
// Copies made before that first use build their own. GUI thread only.
class MapView
{
public:
    MapView() = default;
    MapView(const QPointF &centreLatLon, int zoom, const QSize &size, bool datumShift);

    QPointF geoToScreen(double lat, double lon) const;
    QPointF geoToScreen(const QPointF &latLon) const { return geoToScreen(latLon.x(), latLon.y()); }
    QPointF screenToGeo(const QPointF &screen) const;

    // World pixel (at this zoom) of the top-left corner of the area.
    QPointF originPx() const { return m_originPx; }
    QPointF centreLatLon() const { return m_centre; }
    int zoom() const { return m_zoom; }
    QSize size() const { return m_size; }
    bool datumShift() const { return m_datumShift; }

    // The box spanned by the positions of the top-left and bottom-right corners.
    GeoBounds visibleBounds() const;
    // Nautical miles per screen pixel at the given latitude (Mercator scale).
    double nmPerPixel(double lat) const;

    // The position reached from (lat, lon) along a true bearing over a distance, on a locally
    // flat earth: good for the short distances the map draws (runways, vectors, feathers).
    static QPointF moved(double lat, double lon, double bearingDeg, double distanceNm);

private:
    class DatumGrid;
    QPointF shifted(double lat, double lon) const;

    QPointF m_centre;
    int m_zoom = 7;
    QSize m_size;
    bool m_datumShift = false;
    QPointF m_originPx;
    mutable std::shared_ptr<DatumGrid> m_grid;
};
