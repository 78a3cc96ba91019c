#include "map/maplayer.h"
#include "map/mappalette.h"
#include "map/mapwidget.h"
#include "map/mercatorprojection.h"
#include "map/navoverlay.h"
#include "map/offlinebasemap.h"
#include "map/tiledownloader.h"

#include <QPainter>
#include <QPainterPath>
#include <QTimer>

#include <algorithm>
#include <cmath>

// Painting of the map widget: the cached base (background, tiles, navigation overlays) and the
// layers drawn every frame on top of it.

namespace {

// The cached base extends this far beyond the widget on every side, so pans and a followed
// aircraft reuse it for a while before it is rendered again.
constexpr int kBaseMarginPx = 160;
constexpr double kTileSizePx = 256.0;
// Own aircraft: the speed vector shows one minute ahead; the track line runs to the range ring.
constexpr double kSpeedVectorMinutes = 1.0;
constexpr double kMinMovingSpeedKts = 30.0;
// Radius of the ring around the instructor's selected remote aircraft.
constexpr double kSelectedRingPx = 16.0;

// An airliner seen from above, nose up, about 30 pixels long at scale 1.
QPainterPath aircraftShape(double scale)
{
    static const QPointF kRightHalf[] = {{0, -15}, {1.5, -13.5}, {2, -9}, {2, -4}, {14, 3},   {14, 5.5},
                                         {2, 2},   {1.6, 9.5},   {6, 13}, {6, 15}, {0.9, 14}, {0, 15}};
    QPolygonF outline;
    for (const QPointF &p : kRightHalf)
        outline << p * scale;
    for (int i = int(std::size(kRightHalf)) - 2; i > 0; --i)
        outline << QPointF(-kRightHalf[i].x(), kRightHalf[i].y()) * scale;
    QPainterPath path;
    path.addPolygon(outline);
    path.closeSubpath();
    return path;
}

void drawAircraft(QPainter &painter, const QPointF &pos, double headingDeg, double scale, const QColor &fill,
                  const QColor &outline)
{
    static const QPainterPath kShapes[] = {aircraftShape(0.75), aircraftShape(1.0)};
    painter.save();
    painter.translate(pos);
    painter.rotate(headingDeg);
    painter.setPen(QPen(outline, 1.4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(fill);
    painter.drawPath(scale < 0.9 ? kShapes[0] : kShapes[1]);
    painter.restore();
}

// A polyline with a halo beneath it, so it reads on tiles and plain backgrounds alike.
void drawHaloLine(QPainter &painter, const QPolygonF &line, const QColor &ink, const QColor &halo, double width)
{
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(halo, width + 2.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPolyline(line);
    painter.setPen(QPen(ink, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPolyline(line);
}

QString flightLevel(double altitudeFt)
{
    return QStringLiteral("FL%1").arg(std::max(0, int(std::lround(altitudeFt / 100.0))), 3, 10, QLatin1Char('0'));
}

// 1, 2 or 5 times a power of ten, the largest not above the value.
double niceStep(double value)
{
    const double magnitude = std::pow(10.0, std::floor(std::log10(value)));
    for (const double f : {5.0, 2.0, 1.0}) {
        if (f * magnitude <= value)
            return f * magnitude;
    }
    return magnitude;
}

QString nmText(double nm)
{
    return QStringLiteral("%1 nm").arg(nm, 0, 'f', nm < 1.0 ? 1 : 0);
}

} // namespace

void MapWidget::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    paintMap(painter);
}

void MapWidget::paintMap(QPainter &painter)
{
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const MapView view = currentView();
    const qreal ratio = painter.device() ? painter.device()->devicePixelRatioF() : devicePixelRatioF();
    m_symbols.setDevicePixelRatio(ratio);
    m_labelCache.setDevicePixelRatio(ratio);

    if (m_baseCacheEnabled) {
        ensureBaseCache(view, ratio);
        const QPointF offset = m_baseView.originPx() - view.originPx();
        painter.drawImage(QPoint(qRound(offset.x()), qRound(offset.y())), m_base);
    } else {
        paintBase(painter, view);
    }

    const MapPalette palette = MapPalette::forStyle(m_style);
    m_labelCache.setHalo(palette.labelHalo);
    LabelLayer labels(&m_labelCache, size());
    if (isLayerVisible(QStringLiteral("route")) && !m_route.isEmpty())
        paintRoute(painter, view, labels);
    if (isLayerVisible(QStringLiteral("online")) && !m_online.isEmpty())
        paintOnlineTraffic(painter, view, labels);
    if (isLayerVisible(QStringLiteral("remote")) && m_showRangeRing)
        paintRangeRing(painter, view);
    if (isLayerVisible(QStringLiteral("remote")) && !m_remote.isEmpty())
        paintRemoteAircraft(painter, view, labels);
    if (isLayerVisible(QStringLiteral("aircraft")) && m_own.valid) {
        paintOwnAircraft(painter, view, labels);
        if (!m_track.isEmpty())
            paintTrack(painter, view);
    }
    paintLayers(painter, view, int(MapLayer::Stage::Frame), labels);
    labels.flush(&painter);
    paintCrosshair(painter);
    if (isLayerVisible(QStringLiteral("compass")))
        paintCompass(painter);
    if (isLayerVisible(QStringLiteral("scale")))
        paintScaleBar(painter, view);

    if (!m_diagramsWanted.isEmpty() && !m_diagramLoadQueued) {
        // Layouts are read after the frame, never inside a paint.
        m_diagramLoadQueued = true;
        QTimer::singleShot(0, this, &MapWidget::loadWantedDiagrams);
    }
}

void MapWidget::ensureBaseCache(const MapView &view, qreal ratio)
{
    const QRectF wanted(view.originPx(), QSizeF(view.size()));
    const QRectF cached(m_baseView.originPx(), QSizeF(m_baseView.size()));
    if (m_baseValid && !m_base.isNull() && m_baseView.zoom() == view.zoom() &&
        m_baseView.datumShift() == view.datumShift() && qFuzzyCompare(m_base.devicePixelRatio(), ratio) &&
        cached.contains(wanted))
        return;

    // The cached area starts on a whole world pixel, so tiles land on whole pixels in it.
    const QPointF origin(std::floor(view.originPx().x()) - kBaseMarginPx,
                         std::floor(view.originPx().y()) - kBaseMarginPx);
    const QSize area = view.size() + QSize(2 * kBaseMarginPx, 2 * kBaseMarginPx);
    const QPointF centre =
        MercatorProjection::pixelToLatLon(origin + QPointF(area.width(), area.height()) / 2.0, view.zoom());
    m_baseView = viewOf(centre, area);
    if (m_base.size() != area * ratio || !qFuzzyCompare(m_base.devicePixelRatio(), ratio)) {
        m_base = QImage(area * ratio, QImage::Format_RGB32);
        m_base.setDevicePixelRatio(ratio);
    }
    QPainter painter(&m_base);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    paintBase(painter, m_baseView);
    m_baseValid = true;
}

void MapWidget::paintBase(QPainter &painter, const MapView &view)
{
    const MapPalette palette = MapPalette::forStyle(m_style);
    painter.fillRect(QRect(QPoint(0, 0), view.size()), palette.background);
    if (drawsOfflineBase()) {
        if (!m_offlineBase)
            m_offlineBase = std::make_unique<OfflineBaseMap>();
        m_offlineBase->paint(painter, view);
    }
    if (isLayerVisible(QStringLiteral("tiles")) && datumShifted())
        paintTiles(painter, view);

    m_labelCache.setHalo(palette.labelHalo);
    LabelLayer labels(&m_labelCache, view.size());
    if (m_data.provider()) {
        MapPaintContext context;
        context.bounds = view.visibleBounds();
        context.zoom = view.zoom();
        context.view = view;
        context.screenRect = QRectF(QPointF(0, 0), QSizeF(view.size()));
        context.data = &m_data;
        context.palette = &palette;
        context.symbols = &m_symbols;
        context.labels = &labels;
        context.layerVisible = [this](const QString &layer) { return isLayerVisible(layer); };
        context.diagramsWanted = &m_diagramsWanted;
        m_overlays->paint(&painter, context);
    }
    paintLayers(painter, view, int(MapLayer::Stage::Base), labels);
    labels.flush(&painter);
}

bool MapWidget::drawsOfflineBase() const
{
    // Under tiles it stands in until the service has answered: without a network the map is never
    // white.
    return m_style == OfflineMap ||
           (datumShifted() && isLayerVisible(QStringLiteral("tiles")) && !m_tiles->serviceReachable());
}

void MapWidget::paintLayers(QPainter &painter, const MapView &view, int stage, LabelLayer &labels)
{
    if (m_layersAdded.isEmpty())
        return;
    const MapPalette palette = MapPalette::forStyle(m_style);
    MapPaintContext context;
    context.bounds = view.visibleBounds();
    context.zoom = view.zoom();
    context.view = view;
    context.screenRect = QRectF(QPointF(0, 0), QSizeF(view.size()));
    context.data = &m_data;
    context.palette = &palette;
    context.symbols = &m_symbols;
    context.labels = &labels;
    context.layerVisible = [this](const QString &layer) { return isLayerVisible(layer); };
    for (const QPointer<MapLayer> &layer : std::as_const(m_layersAdded)) {
        if (!layer || int(layer->stage()) != stage || !layer->drawsAt(view.zoom()) ||
            !isLayerVisible(layer->layerName()))
            continue;
        painter.save();
        layer->paint(&painter, context);
        painter.restore();
    }
}

void MapWidget::paintTiles(QPainter &painter, const MapView &view)
{
    int minX, minY, maxX, maxY;
    tileRange(view, minX, minY, maxX, maxY);
    for (int x = minX; x <= maxX; ++x) {
        for (int y = minY; y <= maxY; ++y) {
            const QPixmap tile = m_tiles->getTile(x, y, view.zoom());
            if (tile.isNull())
                continue;
            // Whole pixels: an unscaled blit, and no seams between neighbours.
            const QPointF at = QPointF(x * kTileSizePx, y * kTileSizePx) - view.originPx();
            const QPoint topLeft(qRound(at.x()), qRound(at.y()));
            if (tile.size() == QSize(int(kTileSizePx), int(kTileSizePx)))
                painter.drawPixmap(topLeft, tile);
            else
                painter.drawPixmap(QRect(topLeft, QSize(int(kTileSizePx), int(kTileSizePx))), tile);
        }
    }
}

void MapWidget::paintRoute(QPainter &painter, const MapView &view, LabelLayer &labels)
{
    const MapPalette palette = MapPalette::forStyle(m_style);
    QPolygonF line;
    for (const MapRoutePoint &p : m_route)
        line << view.geoToScreen(p.lat, p.lon);
    drawHaloLine(painter, line, palette.route, palette.labelHalo, 2.6);
    // Leg tags first in the queue: a leg's distance and time matter more than a crowded label.
    for (const MapRouteLegTag &tag : std::as_const(m_routeTags))
        labels.addCentred(0, view.geoToScreen(tag.lat, tag.lon), LabelCache::Role::Airway, palette.route, tag.text);
    for (int i = 0; i < m_route.size(); ++i) {
        const MapRoutePoint &p = m_route.at(i);
        const bool grabbed = m_drag == Drag::RoutePoint && m_dragIndex == i;
        painter.setPen(QPen(palette.labelHalo, 1.5));
        painter.setBrush(grabbed ? palette.labelHalo : palette.route);
        painter.drawEllipse(line.at(i), grabbed ? 6.5 : 5.0, grabbed ? 6.5 : 5.0);
        QString role;
        switch (p.role) {
        case MapRoutePoint::Role::Origin:
            role = QStringLiteral("ORIG");
            break;
        case MapRoutePoint::Role::Destination:
            role = QStringLiteral("DEST");
            break;
        case MapRoutePoint::Role::Sid:
            role = QStringLiteral("SID");
            break;
        case MapRoutePoint::Role::Star:
            role = QStringLiteral("STAR");
            break;
        case MapRoutePoint::Role::Enroute:
            break;
        }
        const QString text = role.isEmpty() ? p.ident : QStringLiteral("%1 %2").arg(role, p.ident);
        // Below the point: route points mostly sit on airports and fixes labelled to the right.
        labels.add(0, line.at(i), 6.0, LabelCache::Role::DataBlock, palette.route, text,
                   LabelLayer::Placement::BelowFirst);
    }
}

void MapWidget::paintOnlineTraffic(QPainter &painter, const MapView &view, LabelLayer &labels)
{
    const MapPalette palette = MapPalette::forStyle(m_style);
    const QRectF area = rect().adjusted(-20, -20, 20, 20);
    QPolygonF chevron;
    chevron << QPointF(0, -7) << QPointF(5, 5) << QPointF(0, 2) << QPointF(-5, 5);
    for (const OnlineAircraft &a : m_online) {
        const QPointF pos = view.geoToScreen(a.lat, a.lon);
        if (!area.contains(pos))
            continue;
        painter.save();
        painter.translate(pos);
        painter.rotate(a.headingDeg);
        painter.setPen(QPen(palette.labelHalo, 1.2));
        painter.setBrush(palette.onlineAircraft);
        painter.drawPolygon(chevron);
        painter.restore();
        if (m_showDataBlocks)
            labels.add(20, pos, 7.0, LabelCache::Role::DataBlock, palette.onlineAircraft,
                       QStringLiteral("%1 %2\n%3 %4kt")
                           .arg(a.callsign, a.aircraftType, flightLevel(a.altitudeFt))
                           .arg(std::lround(a.groundSpeedKts))
                           .trimmed());
    }
}

void MapWidget::paintRangeRing(QPainter &painter, const MapView &view)
{
    const MapPalette palette = MapPalette::forStyle(m_style);
    const QPointF centre =
        m_own.valid ? view.geoToScreen(m_own.lat, m_own.lon) : QPointF(width() / 2.0, height() / 2.0);
    const double lat = m_own.valid ? m_own.lat : m_center.x();
    const double radius = m_radarRangeNm / view.nmPerPixel(lat);
    if (radius < 8.0)
        return;
    const QRectF area = rect();
    for (int ring = 1; ring <= 2; ++ring) {
        const double r = radius * ring / 2.0;
        // Rings that miss the view entirely (all outside it, or the view all inside) cost nothing.
        const double nearest = std::hypot(std::max({area.left() - centre.x(), 0.0, centre.x() - area.right()}),
                                          std::max({area.top() - centre.y(), 0.0, centre.y() - area.bottom()}));
        const double farthest = std::max({std::hypot(centre.x() - area.left(), centre.y() - area.top()),
                                          std::hypot(centre.x() - area.right(), centre.y() - area.top()),
                                          std::hypot(centre.x() - area.left(), centre.y() - area.bottom()),
                                          std::hypot(centre.x() - area.right(), centre.y() - area.bottom())});
        if (r < nearest || r > farthest)
            continue;
        // One pixel wide, on a dark or light edge: the fast thin-line path even for huge rings.
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(palette.instrumentHalo, 1.0));
        painter.drawEllipse(centre, r + 1.0, r + 1.0);
        painter.setPen(QPen(palette.instrument, 1.0, ring == 2 ? Qt::SolidLine : Qt::DashLine));
        painter.drawEllipse(centre, r, r);
        const QPixmap &text =
            m_labelCache.label(LabelCache::Role::DataBlock, palette.instrument, nmText(m_radarRangeNm * ring / 2.0));
        const QSizeF size = QSizeF(text.size()) / text.devicePixelRatio();
        painter.drawPixmap(QPointF(centre.x() - size.width() / 2.0, centre.y() - r - size.height() - 1.0).toPoint(),
                           text);
    }
}

void MapWidget::paintRemoteAircraft(QPainter &painter, const MapView &view, LabelLayer &labels)
{
    const MapPalette palette = MapPalette::forStyle(m_style);
    if (m_showTrackHistory) {
        QColor trail = palette.remoteAircraft;
        trail.setAlpha(170);
        for (auto it = m_remoteTracks.cbegin(); it != m_remoteTracks.cend(); ++it) {
            QPolygonF line;
            for (const QPointF &p : it.value())
                line << view.geoToScreen(p.x(), p.y());
            if (line.size() > 1)
                drawHaloLine(painter, line, trail, palette.labelHalo, 1.4);
        }
    }
    // The selected target last, so it stays on top of the others.
    const auto paintOne = [&](const RemoteAircraftDisplay &a) {
        const QColor colour = a.selected ? palette.ownAircraft : palette.remoteAircraft;
        const QPointF pos = view.geoToScreen(a.lat, a.lon);
        if (m_showSpeedVector && a.groundSpeedKts > kMinMovingSpeedKts) {
            const QPointF ahead =
                MapView::moved(a.lat, a.lon, a.headingDeg, a.groundSpeedKts / 60.0 * kSpeedVectorMinutes);
            drawHaloLine(painter, QPolygonF({pos, view.geoToScreen(ahead.x(), ahead.y())}), colour, palette.labelHalo,
                         1.6);
        }
        if (a.selected) {
            painter.setBrush(Qt::NoBrush);
            painter.setPen(QPen(palette.labelHalo, 4.0));
            painter.drawEllipse(pos, kSelectedRingPx, kSelectedRingPx);
            painter.setPen(QPen(colour, 2.0));
            painter.drawEllipse(pos, kSelectedRingPx, kSelectedRingPx);
        }
        drawAircraft(painter, pos, a.headingDeg, a.selected ? 1.0 : 0.8, colour, palette.labelHalo);
        if (m_showDataBlocks)
            labels.add(a.selected ? 5 : 10, pos, a.selected ? kSelectedRingPx + 2.0 : 12.0, LabelCache::Role::DataBlock,
                       colour,
                       QStringLiteral("%1\n%2 %3kt")
                           .arg(a.callsign.isEmpty() ? a.stationId : a.callsign, flightLevel(a.altitudeFt))
                           .arg(std::lround(a.groundSpeedKts)));
    };
    for (const RemoteAircraftDisplay &a : m_remote) {
        if (!a.selected)
            paintOne(a);
    }
    for (const RemoteAircraftDisplay &a : m_remote) {
        if (a.selected)
            paintOne(a);
    }
}

void MapWidget::paintOwnAircraft(QPainter &painter, const MapView &view, LabelLayer &labels)
{
    const MapPalette palette = MapPalette::forStyle(m_style);
    const QPointF pos = view.geoToScreen(m_own.lat, m_own.lon);
    const double track = m_own.hasData ? m_own.trackDeg : m_own.headingDeg;
    if (m_own.hasData && m_own.groundSpeedKts > kMinMovingSpeedKts) {
        // The track line ahead, out to the radar range, and the one-minute speed vector on it.
        const QPointF far = MapView::moved(m_own.lat, m_own.lon, track, m_radarRangeNm);
        // A one-pixel dashed line: dashing a wide pen is costly and this line can be long.
        painter.setPen(QPen(palette.ownTrack, 1.0, Qt::DashLine));
        painter.drawLine(pos, view.geoToScreen(far.x(), far.y()));
        if (m_showSpeedVector) {
            const QPointF ahead =
                MapView::moved(m_own.lat, m_own.lon, track, m_own.groundSpeedKts / 60.0 * kSpeedVectorMinutes);
            drawHaloLine(painter, QPolygonF({pos, view.geoToScreen(ahead.x(), ahead.y())}), palette.ownAircraft,
                         palette.labelHalo, 2.4);
        }
    }
    drawAircraft(painter, pos, m_own.headingDeg, 1.0, palette.ownAircraft,
                 palette.dark ? QColor(10, 14, 24) : Qt::white);
    if (m_showDataBlocks && m_own.hasData) {
        const QString first = m_own.id.isEmpty() ? QStringLiteral("LOCAL") : QStringLiteral("LOCAL %1").arg(m_own.id);
        labels.add(0, pos, 16.0, LabelCache::Role::DataBlock, palette.ownAircraft,
                   QStringLiteral("%1\n%2 %3kt")
                       .arg(first, flightLevel(m_own.altitudeFt))
                       .arg(std::lround(m_own.groundSpeedKts)));
    }
}

void MapWidget::paintTrack(QPainter &painter, const MapView &view)
{
    const MapPalette palette = MapPalette::forStyle(m_style);
    QPolygonF line;
    line.reserve(m_track.size() + 1);
    for (const QPointF &p : m_track)
        line << view.geoToScreen(p.x(), p.y());
    if (line.size() > 1)
        drawHaloLine(painter, line, palette.ownTrack, palette.labelHalo, 1.8);
}

void MapWidget::paintCrosshair(QPainter &painter)
{
    const MapPalette palette = MapPalette::forStyle(m_style);
    const QPointF c(width() / 2.0, height() / 2.0);
    QVector<QLineF> arms;
    for (const QPointF &d : {QPointF(1, 0), QPointF(-1, 0), QPointF(0, 1), QPointF(0, -1)})
        arms << QLineF(c + d * 4.0, c + d * 12.0);
    painter.setPen(QPen(palette.instrumentHalo, 3.2, Qt::SolidLine, Qt::RoundCap));
    painter.drawLines(arms);
    painter.setPen(QPen(palette.instrument, 1.3, Qt::SolidLine, Qt::RoundCap));
    painter.drawLines(arms);
}

void MapWidget::paintCompass(QPainter &painter)
{
    const MapPalette palette = MapPalette::forStyle(m_style);
    const double radius = 30.0;
    const QPointF c(width() - radius - 18.0, radius + 18.0);
    painter.setPen(QPen(palette.instrument, 1.2));
    painter.setBrush(palette.instrumentHalo);
    painter.drawEllipse(c, radius, radius);
    QVector<QLineF> ticks;
    for (int deg = 0; deg < 360; deg += 30) {
        const double a = deg * M_PI / 180.0;
        const QPointF dir(std::sin(a), -std::cos(a));
        ticks << QLineF(c + dir * (radius - (deg % 90 == 0 ? 0.0 : 4.0)), c + dir * radius);
    }
    painter.drawLines(ticks);
    // The north needle.
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(220, 50, 50));
    painter.drawPolygon(QPolygonF({c + QPointF(0, -radius + 11), c + QPointF(-4, 0), c + QPointF(4, 0)}));
    painter.setBrush(palette.instrument);
    painter.drawPolygon(QPolygonF({c + QPointF(0, radius - 11), c + QPointF(-4, 0), c + QPointF(4, 0)}));

    const struct
    {
        const char *text;
        QPointF dir;
    } letters[] = {{"N", {0, -1}}, {"E", {1, 0}}, {"S", {0, 1}}, {"W", {-1, 0}}};
    for (const auto &letter : letters) {
        const QPixmap &pixmap =
            m_labelCache.label(LabelCache::Role::DataBlock, palette.instrument, QString::fromLatin1(letter.text));
        const QSizeF size = QSizeF(pixmap.size()) / pixmap.devicePixelRatio();
        const QPointF at = c + letter.dir * (radius - 9.0) - QPointF(size.width() / 2.0, size.height() / 2.0);
        painter.drawPixmap(at.toPoint(), pixmap);
    }
    const QPixmap &range = m_labelCache.label(LabelCache::Role::DataBlock, palette.instrument, nmText(m_radarRangeNm));
    const QSizeF size = QSizeF(range.size()) / range.devicePixelRatio();
    painter.drawPixmap(QPointF(c.x() - size.width() / 2.0, c.y() + radius + 2.0).toPoint(), range);
}

void MapWidget::paintScaleBar(QPainter &painter, const MapView &view)
{
    const MapPalette palette = MapPalette::forStyle(m_style);
    const double nmPerPx = view.nmPerPixel(m_center.x());
    const double nm = niceStep(nmPerPx * 160.0);
    const double lengthPx = nm / nmPerPx;
    const QPointF left(18.0, height() - 22.0);
    const QPointF right = left + QPointF(lengthPx, 0);
    QVector<QLineF> bar{QLineF(left, right), QLineF(left, left - QPointF(0, 6)), QLineF(right, right - QPointF(0, 6)),
                        QLineF((left + right) / 2.0, (left + right) / 2.0 - QPointF(0, 4))};
    painter.setPen(QPen(palette.instrumentHalo, 4.0, Qt::SolidLine, Qt::SquareCap));
    painter.drawLines(bar);
    painter.setPen(QPen(palette.instrument, 1.6, Qt::SolidLine, Qt::SquareCap));
    painter.drawLines(bar);
    const QPixmap &text = m_labelCache.label(LabelCache::Role::DataBlock, palette.instrument, nmText(nm));
    const QSizeF size = QSizeF(text.size()) / text.devicePixelRatio();
    painter.drawPixmap(QPointF(right.x() + 6.0, left.y() - size.height() / 2.0 - 2.0).toPoint(), text);
}
