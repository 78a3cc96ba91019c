#include "map/airspaceoverlay.h"

#include "map/labellayer.h"
#include "map/mapdatasource.h"
#include "map/mapformat.h"
#include "map/mappalette.h"

#include <QPainter>

namespace {

constexpr int kLabelPriority = 50;
// At smaller scales only the boundaries are drawn, as on small-scale charts: a tinted area
// per airspace would cover a whole region in overlapping tints (and cost the most).
constexpr int kMinFilledZoom = 8;

} // namespace

void AirspaceOverlay::paintLayer(QPainter *painter, const MapPaintContext &context)
{
    const MapPalette &palette = *context.palette;
    const QRectF view = context.screenRect;
    for (const AirspaceRecord *airspace : context.data->airspacesIn(context.bounds)) {
        QPolygonF polygon;
        polygon.reserve(airspace->boundary.size() + 1);
        for (const QPointF &latLon : airspace->boundary)
            polygon.append(context.project(latLon.x(), latLon.y()));
        if (polygon.size() < 3)
            continue;
        const QRectF extent = polygon.boundingRect();
        if (!view.intersects(extent))
            continue;
        polygon.append(polygon.first());

        const QColor line = palette.airspaceLine(airspace->type);
        const bool special = MapPalette::airspaceSpecialUse(airspace->type);
        if (context.zoom >= kMinFilledZoom) {
            // The translucent fill without antialiasing (its ragged edge lies under the outline):
            // blending antialiased edges costs several times more, and a hundred areas are common.
            painter->setRenderHint(QPainter::Antialiasing, false);
            painter->setPen(Qt::NoPen);
            if (special) {
                QColor hatch = line;
                hatch.setAlpha(palette.dark ? 110 : 90);
                painter->setBrush(QBrush(hatch, Qt::BDiagPattern));
            } else {
                painter->setBrush(palette.airspaceFill(airspace->type));
            }
            painter->drawPolygon(polygon);
        }
        // One-pixel outlines take the raster engine's fast path, dashed ones too.
        painter->setRenderHint(QPainter::Antialiasing, true);
        QPen outline(line, 1.0);
        if (MapPalette::airspaceDashed(airspace->type))
            outline.setDashPattern({6.0, 4.0});
        painter->setPen(outline);
        painter->drawPolyline(polygon);

        if (context.zoom >= 8) {
            // Inside the visible part of the area's box, near its top so it rarely hides airports.
            const QRectF shown = extent.intersected(view.adjusted(40, 30, -40, -30));
            if (shown.isEmpty())
                continue;
            const QPointF at(shown.center().x(), shown.top() + std::min(24.0, shown.height() / 2.0));
            const QString text = QStringLiteral("%1\n%2-%3")
                                     .arg(airspace->name, MapFormat::altitudeLimit(airspace->bottomAlt),
                                          MapFormat::altitudeLimit(airspace->topAlt));
            context.labels->addCentred(kLabelPriority, at, LabelCache::Role::Airspace, line, text);
        }
    }
}
