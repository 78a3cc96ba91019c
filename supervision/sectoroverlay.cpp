#include "supervision/sectoroverlay.h"

#include "map/labellayer.h"
#include "map/mappalette.h"

#include <QPainter>
#include <QPainterPath>

namespace {

constexpr int kProcedureZoom = 9; // airways, SIDs, STARs, runways, navaids, airports drawn above
constexpr int kFixZoom = 10;      // fixes and free labels drawn above
constexpr int kRegionZoom = 12;   // ground regions drawn above
constexpr int kAreaLabelZoom = 5; // area names drawn above

// x = latitude, y = longitude, like the rest of the file.
bool intersects(const QRectF &bounds, const GeoBounds &view)
{
    return bounds.left() <= view.maxLat && bounds.right() >= view.minLat && bounds.top() <= view.maxLon &&
           bounds.bottom() >= view.minLon;
}

// File colours are chosen for a black radar screen; keep them readable on the map's background.
QColor readable(const QColor &colour, const MapPalette &palette, const QColor &fallback)
{
    if (!colour.isValid())
        return fallback;
    if (!palette.dark && colour.lightness() > 170)
        return colour.darker(230);
    if (palette.dark && colour.lightness() < 70)
        return fallback;
    return colour;
}

QColor defaultColour(SectorLine::Kind kind, const MapPalette &palette)
{
    switch (kind) {
    case SectorLine::Kind::Artcc:
    case SectorLine::Kind::ArtccHigh:
    case SectorLine::Kind::ArtccLow:
        return palette.dark ? QColor(150, 160, 190) : QColor(90, 96, 130);
    case SectorLine::Kind::LowAirway:
        return palette.airwayLow;
    case SectorLine::Kind::HighAirway:
        return palette.airwayHigh;
    case SectorLine::Kind::Sid:
    case SectorLine::Kind::Star:
        return palette.dark ? QColor(120, 200, 140) : QColor(40, 120, 60);
    case SectorLine::Kind::Runway:
        return palette.runway;
    case SectorLine::Kind::Geo:
        break;
    }
    return palette.dark ? QColor(170, 170, 170) : QColor(110, 110, 110);
}

bool drawnAt(SectorLine::Kind kind, int zoom)
{
    switch (kind) {
    case SectorLine::Kind::LowAirway:
    case SectorLine::Kind::HighAirway:
    case SectorLine::Kind::Sid:
    case SectorLine::Kind::Star:
    case SectorLine::Kind::Runway:
        return zoom > kProcedureZoom;
    default:
        return true;
    }
}

QRectF boundsOf(const QList<QPointF> &points)
{
    double minLat = 90, maxLat = -90, minLon = 180, maxLon = -180;
    for (const QPointF &p : points) {
        minLat = std::min(minLat, p.x());
        maxLat = std::max(maxLat, p.x());
        minLon = std::min(minLon, p.y());
        maxLon = std::max(maxLon, p.y());
    }
    return QRectF(QPointF(minLat, minLon), QPointF(maxLat, maxLon));
}

QPolygonF projected(const MapPaintContext &context, const QList<QPointF> &points)
{
    QPolygonF out;
    out.reserve(points.size());
    for (const QPointF &p : points)
        out << context.project(p.x(), p.y());
    return out;
}

} // namespace

SectorOverlay::SectorOverlay(SectorManager *manager, QObject *parent)
    : MapLayer(QStringLiteral("sectors"), Stage::Base, NavOverlayZoom::kSectors, parent), m_manager(manager)
{
    connect(manager, &SectorManager::filesChanged, this, &MapLayer::changed);
}

void SectorOverlay::setHighlight(const std::optional<SectorManager::Hit> &hit)
{
    const bool same = hit.has_value() == m_highlight.has_value() &&
                      (!hit || (hit->fileId == m_highlight->fileId && hit->areaIndex == m_highlight->areaIndex));
    if (same)
        return;
    m_highlight = hit;
    emit changed();
}

void SectorOverlay::paint(QPainter *painter, const MapPaintContext &context)
{
    if (!m_manager)
        return;
    painter->setRenderHint(QPainter::Antialiasing);
    paintHighlight(painter, context);
    for (const int id : m_manager->fileIds()) {
        const SectorManager::Entry *entry = m_manager->entry(id);
        if (!entry || !entry->visible || !intersects(entry->file.bounds, context.bounds))
            continue;
        paintAreas(painter, context, *entry);
        paintFile(painter, context, *entry);
    }
}

void SectorOverlay::paintHighlight(QPainter *painter, const MapPaintContext &context) const
{
    if (!m_highlight)
        return;
    const SectorManager::Entry *entry = m_manager->entry(m_highlight->fileId);
    if (!entry || !entry->visible || m_highlight->areaIndex >= entry->file.areas.size())
        return;
    const SectorArea &area = entry->file.areas.at(m_highlight->areaIndex);
    QPainterPath path;
    for (const QList<QPointF> &ring : area.rings) {
        path.addPolygon(projected(context, ring));
        path.closeSubpath();
    }
    const QColor ink = context.palette->dark ? QColor(255, 214, 64) : QColor(230, 140, 0);
    QColor fill = ink;
    fill.setAlpha(40);
    painter->setBrush(fill);
    painter->setPen(QPen(ink, 2.0));
    painter->drawPath(path);
}

void SectorOverlay::paintAreas(QPainter *painter, const MapPaintContext &context,
                               const SectorManager::Entry &entry) const
{
    const MapPalette &palette = *context.palette;
    painter->setBrush(Qt::NoBrush);
    for (const SectorArea &area : entry.file.areas) {
        // ESE sectors overlap many times over (one per runway configuration); only the highlight
        // shows them.
        if (area.kind == QLatin1String("SECTOR") || !intersects(area.bounds, context.bounds))
            continue;
        const QColor ink =
            area.kind == QLatin1String("FIR")      ? (palette.dark ? QColor(150, 170, 230) : QColor(70, 90, 170))
            : area.kind == QLatin1String("TRACON") ? (palette.dark ? QColor(90, 210, 200) : QColor(0, 130, 120))
                                                   : palette.airspaceLine(area.kind);
        painter->setPen(QPen(ink, 1.3));
        for (const QList<QPointF> &ring : area.rings) {
            QPolygonF polygon = projected(context, ring);
            painter->drawPolygon(polygon);
        }
        if (context.zoom > kAreaLabelZoom && context.labels) {
            const QPointF centre = area.bounds.center();
            context.labels->addCentred(40, context.project(centre.x(), centre.y()), LabelCache::Role::Airspace, ink,
                                       area.name);
        }
    }
}

void SectorOverlay::paintFile(QPainter *painter, const MapPaintContext &context,
                              const SectorManager::Entry &entry) const
{
    const MapPalette &palette = *context.palette;
    const SectorFile &file = entry.file;
    if (context.zoom > kRegionZoom) {
        painter->setPen(Qt::NoPen);
        for (const SectorRegion &region : file.regions) {
            if (region.points.size() < 3 || !intersects(boundsOf(region.points), context.bounds))
                continue;
            painter->setBrush(readable(region.colour, palette, palette.taxiway));
            painter->drawPolygon(projected(context, region.points));
        }
    }
    painter->setBrush(Qt::NoBrush);
    for (const SectorLine &line : file.lines) {
        if (!drawnAt(line.kind, context.zoom) || !intersects(boundsOf(line.points), context.bounds))
            continue;
        const QColor fallback = defaultColour(line.kind, palette);
        painter->setPen(
            QPen(readable(line.colour, palette, fallback), line.kind == SectorLine::Kind::Runway ? 2.5 : 1.0));
        painter->drawPolyline(projected(context, line.points));
    }
    if (!context.labels)
        return;
    for (const SectorPoint &point : file.points) {
        const bool fix = point.kind == SectorPoint::Kind::Fix;
        if (context.zoom <= (fix ? kFixZoom : kProcedureZoom) ||
            !context.bounds.contains(point.position.x(), point.position.y()))
            continue;
        const QPointF at = context.project(point.position.x(), point.position.y());
        const QColor ink = point.kind == SectorPoint::Kind::Vor   ? palette.vor
                           : point.kind == SectorPoint::Kind::Ndb ? palette.ndb
                           : fix                                  ? palette.fix
                                                                  : palette.airportTowered;
        painter->setPen(QPen(ink, 1.2));
        if (fix)
            painter->drawPolygon(QPolygonF({at + QPointF(0, -3.5), at + QPointF(3, 2), at + QPointF(-3, 2)}));
        else
            painter->drawEllipse(at, 3.5, 3.5);
        context.labels->add(fix ? 60 : 50, at, 4.0, fix ? LabelCache::Role::Fix : LabelCache::Role::NavaidIdent, ink,
                            point.ident);
    }
    if (context.zoom > kFixZoom) {
        for (const SectorLabel &label : file.labels) {
            if (!context.bounds.contains(label.position.x(), label.position.y()))
                continue;
            context.labels->addCentred(70, context.project(label.position.x(), label.position.y()),
                                       LabelCache::Role::Fix, readable(label.colour, palette, palette.label),
                                       label.text);
        }
    }
}
