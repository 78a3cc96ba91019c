#include "map/offlinebasemap.h"

#include "map/mapview.h"

#include <QPainter>
#include <QPainterPath>
#include <QtDebug>

#include <cmath>

namespace {

// Bounds with no area (an arc along a meridian) still count, unlike QRectF::intersects.
bool overlaps(const QRectF &a, const QRectF &b)
{
    return a.left() <= b.right() && b.left() <= a.right() && a.top() <= b.bottom() && b.top() <= a.bottom();
}

// Polygons are cut along the antimeridian and closed along the bottom of the data; neither edge
// is a coastline.
bool isCutEdge(const QPointF &a, const QPointF &b)
{
    constexpr double kEdgeLon = 179.999;
    constexpr double kEdgeLat = -84.9;
    return (std::abs(a.x()) >= kEdgeLon && std::abs(b.x()) >= kEdgeLon) || (a.y() < kEdgeLat && b.y() < kEdgeLat);
}

void strokeArc(QPainter &painter, const MapView &view, const QList<QPointF> &arc, bool skipCuts)
{
    QPolygonF line;
    line.reserve(arc.size());
    for (qsizetype i = 0; i < arc.size(); ++i) {
        if (skipCuts && i > 0 && isCutEdge(arc.at(i - 1), arc.at(i))) {
            if (line.size() > 1)
                painter.drawPolyline(line);
            line.clear();
        }
        line << view.geoToScreen(arc.at(i).y(), arc.at(i).x());
    }
    if (line.size() > 1)
        painter.drawPolyline(line);
}

} // namespace

const BaseMapData *OfflineBaseMap::data()
{
    if (!m_loaded) {
        m_loaded = true;
        QString error;
        m_data = BaseMapData::loadBuiltIn(&error);
        if (!m_data)
            qWarning().noquote() << "Offline base map unavailable:" << error;
    }
    return m_data ? &*m_data : nullptr;
}

bool OfflineBaseMap::paint(QPainter &painter, const MapView &view)
{
    painter.fillRect(QRect(QPoint(0, 0), view.size()), m_colours.sea);
    const BaseMapData *base = data();
    const BaseMapData::Band *band = base ? base->bandForZoom(view.zoom()) : nullptr;
    if (!band)
        return false;
    const GeoBounds bounds = view.visibleBounds();
    const QRectF visible(QPointF(bounds.minLon, bounds.minLat), QPointF(bounds.maxLon, bounds.maxLat));

    painter.save();
    painter.setPen(Qt::NoPen);
    painter.setBrush(m_colours.land);
    for (qsizetype p = 0; p < band->land.size(); ++p) {
        if (!overlaps(band->landBounds.at(p), visible))
            continue;
        QPainterPath path;
        path.setFillRule(Qt::OddEvenFill);
        for (const QList<int> &ring : band->land.at(p)) {
            const QList<QPointF> points = BaseMapData::ringPoints(*band, ring);
            QPolygonF polygon;
            polygon.reserve(points.size());
            for (const QPointF &point : points)
                polygon << view.geoToScreen(point.y(), point.x());
            path.addPolygon(polygon);
            path.closeSubpath();
        }
        painter.drawPath(path);
    }

    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(m_colours.border, 1.0));
    for (const int arc : band->borders) {
        if (overlaps(band->arcBounds.at(arc), visible))
            strokeArc(painter, view, band->arcs.at(arc), false);
    }
    painter.setPen(QPen(m_colours.coast, 1.0));
    for (const int arc : band->coasts) {
        if (overlaps(band->arcBounds.at(arc), visible))
            strokeArc(painter, view, band->arcs.at(arc), true);
    }
    painter.restore();
    return true;
}
