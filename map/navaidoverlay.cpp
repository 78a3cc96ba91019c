#include "map/navaidoverlay.h"

#include "map/labellayer.h"
#include "map/mapdatasource.h"
#include "map/mapformat.h"
#include "map/mappalette.h"
#include "map/mapsymbols.h"

#include <QPainter>
#include <QSet>
#include <QtMath>

#include <cmath>

namespace {

constexpr int kLabelPriority = 10;
// From here aids carry a chart-style box with identifier and frequency; before, VORs show
// their identifier alone.
constexpr int kBoxedLabelZoom = 9;
constexpr int kThinCellPx = 10;
constexpr double kRoseRadiusPx = 46.0;

void drawCompassRose(QPainter *painter, const QPointF &centre, const QColor &ink)
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->translate(centre);
    QColor faint = ink;
    faint.setAlpha(150);
    painter->setPen(QPen(faint, 1.0));
    painter->setBrush(Qt::NoBrush);
    painter->drawEllipse(QPointF(0, 0), kRoseRadiusPx, kRoseRadiusPx);
    QVector<QLineF> ticks;
    for (int deg = 0; deg < 360; deg += 10) {
        const double a = qDegreesToRadians(double(deg));
        const double inner = kRoseRadiusPx - (deg % 30 == 0 ? 7.0 : 4.0);
        ticks.append(QLineF(inner * std::sin(a), -inner * std::cos(a), kRoseRadiusPx * std::sin(a),
                            -kRoseRadiusPx * std::cos(a)));
    }
    painter->drawLines(ticks);
    // North arrow.
    painter->setPen(Qt::NoPen);
    painter->setBrush(ink);
    painter->drawPolygon(QPolygonF(
        {QPointF(0, -kRoseRadiusPx - 7.0), QPointF(-3.5, -kRoseRadiusPx + 1.0), QPointF(3.5, -kRoseRadiusPx + 1.0)}));
    painter->restore();
}

} // namespace

void NavaidOverlay::paintLayer(QPainter *painter, const MapPaintContext &context)
{
    const MapPalette &palette = *context.palette;
    const QList<NavaidRecord> navaids = context.data->navaids(context.bounds);
    const bool thin = context.zoom < 8;
    QSet<qint64> usedCells;
    const QRectF cull = context.screenRect.adjusted(-12, -12, 12, 12);
    for (const NavaidRecord &navaid : navaids) {
        if (MapFormat::isIlsComponent(navaid.type))
            continue;
        const bool vor = MapFormat::isVorFamily(navaid.type);
        if (context.zoom < 6 && !vor)
            continue;
        const QPointF pos = context.project(navaid.lat, navaid.lon);
        if (!cull.contains(pos))
            continue;
        if (thin) {
            const qint64 cell =
                (qint64(std::floor(pos.x() / kThinCellPx)) << 32) ^ qint64(std::floor(pos.y() / kThinCellPx));
            if (usedCells.contains(cell))
                continue;
            usedCells.insert(cell);
        }
        const MapSymbols::NavaidKind kind = MapSymbols::navaidKind(navaid.type);
        const bool ndb = kind == MapSymbols::NavaidKind::Ndb || kind == MapSymbols::NavaidKind::NdbDme;
        const QColor &ink = ndb ? palette.ndb : palette.vor;
        if (vor && context.zoom >= 10)
            drawCompassRose(painter, pos, ink);
        const QPixmap &symbol = context.symbols->navaid(kind, ink, palette.labelHalo);
        MapSymbols::draw(painter, pos, symbol);
        context.labels->reserve(QRectF(pos.x() - 6, pos.y() - 6, 12, 12));
        if (context.zoom >= kBoxedLabelZoom) {
            QString text = navaid.ident;
            const QString freq = MapFormat::navaidFrequency(navaid);
            if (!freq.isEmpty())
                text += QLatin1Char('\n') + freq;
            context.labels->add(kLabelPriority, pos, ndb ? 9.0 : 8.0, LabelCache::Role::Navaid, ink, text);
        } else if (context.zoom >= 7 && vor) {
            context.labels->add(kLabelPriority, pos, 8.0, LabelCache::Role::NavaidIdent, ink, navaid.ident);
        }
    }
}
