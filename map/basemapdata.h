#pragma once

#include <QByteArray>
#include <QList>
#include <QPointF>
#include <QRectF>
#include <QString>

#include <optional>

// Land, coastlines and country borders of the whole world at a few scales, for a map that has no
// tile service to draw on. The data is a compact form of our own: per scale ("band", used over a
// range of zoom levels) a set of shared lines ("arcs", stored once), land polygons made of those
// arcs, and the arcs that are borders between two countries. The land arcs are the coastlines,
// except where a polygon is cut along the antimeridian.
//
// The form ("ZBM1"): the magic, a version byte, then unsigned LEB128 varints: band count; per band
// min zoom, max zoom, the coordinate scale and offset (four doubles, little endian, degrees per
// unit and degrees of unit 0 for longitude and latitude), arc count, per arc its point count and
// the points as zigzag varint deltas (longitude then latitude, each arc starting from 0/0); land
// polygon count, per polygon its ring count, per ring its arc count and the arc references
// (zigzag: a negative value ~i is arc i reversed); border count and the border arc indices.
//
// A plain value, immutable once decoded; safe to share between threads for reading. Positions are
// degrees with x = longitude and y = latitude (as in the source data, unlike the map's QPointF
// latitude/longitude pairs).
class BaseMapData
{
public:
    struct Band
    {
        int minZoom = 0;
        int maxZoom = 0;
        double scaleLon = 1.0;
        double scaleLat = 1.0;
        double offsetLon = 0.0;
        double offsetLat = 0.0;
        QList<QList<QPointF>> arcs;    // degrees, x = longitude
        QList<QRectF> arcBounds;       // x = longitude, y = latitude
        QList<QList<QList<int>>> land; // polygon -> ring -> arc references (~i reversed)
        QList<QRectF> landBounds;      // per polygon
        QList<int> borders;            // arc indices
        QList<int> coasts;             // arc indices used by land, each once
        // Quantised points of each arc as stored, for writing the same form back.
        QList<QList<QPoint>> quantised;
    };

    static constexpr char kMagic[] = "ZBM1";
    static constexpr int kVersion = 1;
    // The resource compiled into the map library.
    static constexpr char kResourcePath[] = ":/basemap/naturalearth.zbm";

    // Decodes the compact form; nullopt (with the reason in error) for anything malformed. Counts
    // are checked against the bytes that remain, so a damaged file cannot make it allocate more
    // than its own size suggests.
    static std::optional<BaseMapData> decode(const QByteArray &bytes, QString *error = nullptr);
    // The compiled-in data; nullopt if the resource is missing or damaged.
    static std::optional<BaseMapData> loadBuiltIn(QString *error = nullptr);

    // Builds the form from bands whose quantised arcs, land and borders are filled in.
    static QByteArray encode(const QList<Band> &bands);

    // The band for a zoom level (the last band whose min zoom is not above it); null when empty.
    const Band *bandForZoom(int zoom) const;
    const QList<Band> &bands() const { return m_bands; }

    // The points of one ring in order (arcs joined, shared end points once).
    static QList<QPointF> ringPoints(const Band &band, const QList<int> &ring);

private:
    QList<Band> m_bands;
};
