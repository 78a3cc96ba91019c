#include "map/waypointoverlay.h"

#include "map/labellayer.h"
#include "map/mapdatasource.h"
#include "map/mappalette.h"
#include "map/mapsymbols.h"

#include <QPainter>
#include <QSet>

#include <cmath>

namespace {

constexpr int kLabelPriority = 30;
// Fixes are thinned to one per cell below zoom 9: coarser at zoom 7, where they are densest.
constexpr int kThinCellPx = 8;
constexpr int kThinCellZoom7Px = 12;
// Below zoom 9 fixes are labelled only when so few are drawn that labels cannot crowd the map.
constexpr int kSparseFixCount = 150;

bool isTerminal(const QString &type)
{
    return type.contains(QLatin1String("TERMINAL"), Qt::CaseInsensitive) || type == QLatin1String("T");
}

} // namespace

void WaypointOverlay::paintLayer(QPainter *painter, const MapPaintContext &context)
{
    const MapPalette &palette = *context.palette;
    const QList<WaypointRecord> waypoints = context.data->waypoints(context.bounds);
    const QPixmap enroute = context.symbols->fix(MapSymbols::FixKind::Enroute, palette.fix, palette.labelHalo);
    const QPixmap terminal = context.symbols->fix(MapSymbols::FixKind::Terminal, palette.fix, palette.labelHalo);
    const bool thin = context.zoom < 9;
    const double cellPx = context.zoom <= 7 ? kThinCellZoom7Px : kThinCellPx;
    QList<QPair<QPointF, const WaypointRecord *>> drawn;
    QSet<qint64> usedCells;
    if (thin)
        usedCells.reserve(4096);
    const QRectF cull = context.screenRect.adjusted(-8, -8, 8, 8);
    for (const WaypointRecord &wpt : waypoints) {
        const QPointF pos = context.project(wpt.lat, wpt.lon);
        if (!cull.contains(pos))
            continue;
        if (thin) {
            const qint64 cell = (qint64(std::floor(pos.x() / cellPx)) << 32) ^ qint64(std::floor(pos.y() / cellPx));
            if (usedCells.contains(cell))
                continue;
            usedCells.insert(cell);
        }
        MapSymbols::draw(painter, pos, isTerminal(wpt.type) ? terminal : enroute);
        drawn.append({pos, &wpt});
    }
    if (context.zoom < 9 && drawn.size() > kSparseFixCount)
        return;
    for (const auto &fix : drawn)
        context.labels->add(kLabelPriority, fix.first, 5.0, LabelCache::Role::Fix, palette.fix, fix.second->ident);
}
