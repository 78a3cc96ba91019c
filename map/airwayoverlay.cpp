#include "map/airwayoverlay.h"

#include "map/labellayer.h"
#include "map/mapdatasource.h"
#include "map/mappalette.h"
#include "map/thinlines.h"

#include <QPainter>

namespace {

constexpr int kLabelPriority = 40;
constexpr double kMinLabelledSegmentPx = 90.0;
constexpr int kMaxDimmedZoom = 8;

// The part of the line inside the rectangle (Liang-Barsky); a null line when none is.
QLineF clipped(const QLineF &line, const QRectF &rect)
{
    double t0 = 0.0;
    double t1 = 1.0;
    const double dx = line.dx();
    const double dy = line.dy();
    const double p[] = {-dx, dx, -dy, dy};
    const double q[] = {line.x1() - rect.left(), rect.right() - line.x1(), line.y1() - rect.top(),
                        rect.bottom() - line.y1()};
    for (int i = 0; i < 4; ++i) {
        if (p[i] == 0.0) {
            if (q[i] < 0.0)
                return QLineF();
            continue;
        }
        const double t = q[i] / p[i];
        if (p[i] < 0.0)
            t0 = std::max(t0, t);
        else
            t1 = std::min(t1, t);
        if (t0 > t1)
            return QLineF();
    }
    return QLineF(line.pointAt(t0), line.pointAt(t1));
}

} // namespace

AirwayOverlay::AirwayOverlay(const QString &level)
    : NavOverlayPainter(layerForLevel(level), NavOverlayZoom::kAirways), m_level(level.toUpper())
{
}

QString AirwayOverlay::layerForLevel(const QString &level)
{
    if (level.compare(QLatin1String("HIGH"), Qt::CaseInsensitive) == 0)
        return QStringLiteral("airways_high");
    if (level.compare(QLatin1String("LOW"), Qt::CaseInsensitive) == 0)
        return QStringLiteral("airways_low");
    return QStringLiteral("airways");
}

void AirwayOverlay::paintLayer(QPainter *painter, const MapPaintContext &context)
{
    const MapPalette &palette = *context.palette;
    const bool high = m_level == QLatin1String("HIGH");
    const bool low = m_level == QLatin1String("LOW");
    const bool highShown = !context.layerVisible || context.layerVisible(QStringLiteral("airways_high"));
    QColor ink = low ? palette.airwayLow : palette.airwayHigh;
    if (context.zoom <= kMaxDimmedZoom) {
        // Toned down towards the background at small scales, where airways are many and the
        // airports and aids matter more; still opaque, so the fast line drawing applies.
        const QColor &bg = palette.background;
        ink = QColor((ink.red() * 3 + bg.red() * 2) / 5, (ink.green() * 3 + bg.green() * 2) / 5,
                     (ink.blue() * 3 + bg.blue() * 2) / 5);
    }
    const QString both = QStringLiteral("BOTH");

    QVector<QLineF> lines;
    QList<QPair<QPointF, QString>> tags;
    const QRectF view = context.screenRect;
    for (const AirwaySegment *s : context.data->airwaysIn(context.bounds)) {
        bool mine;
        if (high)
            mine = s->level == m_level || s->level == both;
        else if (low)
            mine = s->level == m_level || (s->level == both && !highShown);
        else
            mine = true;
        if (!mine)
            continue;
        const QPointF a = context.project(s->fromLat, s->fromLon);
        const QPointF b = context.project(s->toLat, s->toLon);
        if (std::max(a.x(), b.x()) < view.left() || std::min(a.x(), b.x()) > view.right() ||
            std::max(a.y(), b.y()) < view.top() || std::min(a.y(), b.y()) > view.bottom())
            continue;
        lines.append(QLineF(a, b));
        if (context.zoom >= 8 && lines.last().length() >= kMinLabelledSegmentPx) {
            // The tag goes in the middle of the part that is on screen.
            const QLineF shown = clipped(lines.last(), view.adjusted(30, 20, -30, -20));
            if (!shown.isNull() && shown.length() >= kMinLabelledSegmentPx)
                tags.append({shown.center(), s->name});
        }
    }
    if (lines.isEmpty())
        return;
    // Thousands of segments can be in view at small scales: there they are drawn without
    // antialiasing, and closer in as antialiased one-pixel lines, the raster engine's fast path.
    const bool smooth = context.zoom >= 10;
    if (smooth || !ThinLines::draw(painter, lines, ink)) {
        painter->setRenderHint(QPainter::Antialiasing, smooth);
        painter->setPen(QPen(ink, smooth ? 1.0 : 1.1));
        painter->drawLines(lines);
    }
    for (const auto &tag : tags)
        context.labels->addCentred(kLabelPriority, tag.first, LabelCache::Role::Airway, ink, tag.second);
}
