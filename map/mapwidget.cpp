#include "map/mapwidget.h"

#include "map/mapinfopopup.h"
#include "map/maplayer.h"
#include "map/mercatorprojection.h"
#include "map/navhittest.h"
#include "map/navoverlay.h"
#include "map/offlinebasemap.h"
#include "map/runwayoverlay.h"
#include "map/tiledownloader.h"
#include "nav/navdataprovider.h"

#include <QContextMenuEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QTimer>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

const char *const kLayerNames[] = {"airports", "navaids",      "aircraft",    "compass",   "scale",
                                   "tiles",    "route",        "online",      "waypoints", "runways",
                                   "ils",      "airways_high", "airways_low", "airspaces", "airport_diagram"};

// The online provider is asked for a little more than the view so that panning finds data.
constexpr double kOnlineMarginDeg = 1.0;

} // namespace

MapWidget::MapWidget(QWidget *parent)
    : QWidget(parent), m_tiles(new TileDownloader(this)), m_popup(new MapInfoPopup(this)),
      m_overlays(NavOverlayManager::createDefault())
{
    for (const char *name : kLayerNames)
        m_layers.insert(QString::fromLatin1(name), true);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::ClickFocus);
    setMinimumSize(200, 150);
    setCursor(Qt::OpenHandCursor);
    connect(m_tiles, &TileDownloader::tileReady, this, &MapWidget::onTileReady);
    connect(m_tiles, &TileDownloader::serviceReachableChanged, this, &MapWidget::onTileReady);
}

MapWidget::~MapWidget() = default;

MapView MapWidget::viewOf(const QPointF &centre, const QSize &size) const
{
    return MapView(centre, m_zoom, size, datumShifted());
}

MapView MapWidget::currentView() const
{
    return viewOf(m_center, size());
}

QPointF MapWidget::geoToScreen(double lat, double lon) const
{
    return currentView().geoToScreen(lat, lon);
}

QPointF MapWidget::screenToGeo(const QPointF &screen) const
{
    return currentView().screenToGeo(screen);
}

void MapWidget::setCenter(const QPointF &latLon)
{
    if (latLon == m_center)
        return;
    m_center = latLon;
    update();
    requestOnlineBbox();
    emit centerChanged(m_center);
}

void MapWidget::setZoom(int zoom)
{
    zoom = std::clamp(zoom, kMinZoom, kMaxZoom);
    if (zoom == m_zoom)
        return;
    m_zoom = zoom;
    m_popup->hide();
    update();
    requestOnlineBbox();
    emit zoomChanged(m_zoom);
}

void MapWidget::setMapStyle(MapStyle style)
{
    m_style = style;
    m_layers.insert(QStringLiteral("tiles"), style == StreetTiles || style == SatelliteTiles);
    m_tiles->setMapType(style == SatelliteTiles ? TileDownloader::MapType::Satellite : TileDownloader::MapType::Street);
    invalidateBase();
    update();
}

void MapWidget::setLayerVisible(const QString &name, bool visible)
{
    m_layers.insert(name, visible);
    invalidateBase();
    update();
}

void MapWidget::setAircraftPosition(double lat, double lon, double headingDeg)
{
    m_own.valid = true;
    m_own.lat = lat;
    m_own.lon = lon;
    m_own.headingDeg = headingDeg;
    update();
}

void MapWidget::clearAircraftPosition()
{
    m_own = OwnAircraft();
    update();
}

void MapWidget::setLocalAircraftData(const QString &id, double altitudeFt, double groundSpeedKts,
                                     double verticalSpeedFpm, double headingDeg, double trackDeg,
                                     double indicatedSpeedKts)
{
    m_own.hasData = true;
    m_own.id = id;
    m_own.altitudeFt = altitudeFt;
    m_own.groundSpeedKts = groundSpeedKts;
    m_own.verticalSpeedFpm = verticalSpeedFpm;
    m_own.headingDeg = headingDeg;
    m_own.trackDeg = trackDeg;
    m_own.indicatedSpeedKts = indicatedSpeedKts;
    update();
}

void MapWidget::setRoutePoints(const QList<MapRoutePoint> &points)
{
    if (m_drag == Drag::RoutePoint)
        m_drag = Drag::None;
    m_route = points;
    update();
}

void MapWidget::setRouteLegTags(const QList<MapRouteLegTag> &tags)
{
    m_routeTags = tags;
    update();
}

void MapWidget::clearRoute()
{
    m_routeTags.clear();
    setRoutePoints({});
}

void MapWidget::setOnlineAircraft(const QList<OnlineAircraft> &aircraft)
{
    m_online = aircraft;
    update();
}

void MapWidget::clearOnlineAircraft()
{
    setOnlineAircraft({});
}

void MapWidget::setRemoteAircraft(const QList<RemoteAircraftDisplay> &aircraft)
{
    m_remote = aircraft;
    update();
}

void MapWidget::clearRemoteAircraft()
{
    m_remote.clear();
    m_remoteTracks.clear();
    update();
}

void MapWidget::setRemoteTracks(const QMap<QString, QList<QPointF>> &tracks)
{
    m_remoteTracks = tracks;
    update();
}

void MapWidget::updateRemoteDisplay(const QList<RemoteAircraftDisplay> &aircraft,
                                    const QMap<QString, QList<QPointF>> &tracks)
{
    m_remote = aircraft;
    m_remoteTracks = tracks;
    update();
}

void MapWidget::setTrackPoints(const QList<QPointF> &points)
{
    m_track = points;
    update();
}

void MapWidget::clearTrack()
{
    setTrackPoints({});
}

void MapWidget::setRadarRangeNm(double rangeNm)
{
    m_radarRangeNm = rangeNm;
    update();
}

void MapWidget::setShowDataBlocks(bool show)
{
    m_showDataBlocks = show;
    update();
}

void MapWidget::setShowTrackHistory(bool show)
{
    m_showTrackHistory = show;
    update();
}

void MapWidget::setShowSpeedVector(bool show)
{
    m_showSpeedVector = show;
    update();
}

void MapWidget::setShowRangeRing(bool show)
{
    m_showRangeRing = show;
    update();
}

void MapWidget::setNavData(NavDataProvider *navData)
{
    if (m_navData)
        disconnect(m_navData, nullptr, this, nullptr);
    m_navData = navData;
    m_data.setProvider(navData);
    if (navData) {
        connect(navData, &NavDataProvider::dataChanged, this, &MapWidget::refreshNavData);
        connect(navData, &NavDataProvider::airportDiagramReady, this, &MapWidget::onDiagramReady);
    }
    m_diagramsRequested.clear();
    m_popup->hide();
    invalidateBase();
    update();
    requestOnlineBbox();
}

void MapWidget::addLayer(MapLayer *layer)
{
    if (!layer || m_layersAdded.contains(layer))
        return;
    m_layersAdded.append(layer);
    connect(layer, &MapLayer::changed, this, [this, layer] {
        if (layer->stage() == MapLayer::Stage::Base)
            invalidateBase();
        update();
    });
    connect(layer, &QObject::destroyed, this, [this] {
        m_layersAdded.removeAll(nullptr);
        invalidateBase();
        update();
    });
    invalidateBase();
    update();
}

void MapWidget::removeLayer(MapLayer *layer)
{
    if (!m_layersAdded.removeAll(layer))
        return;
    disconnect(layer, nullptr, this, nullptr);
    invalidateBase();
    update();
}

void MapWidget::refreshNavData()
{
    m_data.invalidate();
    m_diagramsRequested.clear();
    invalidateBase();
    update();
}

void MapWidget::onTileReady()
{
    invalidateBase();
    update();
}

void MapWidget::onDiagramReady()
{
    invalidateBase();
    update();
}

void MapWidget::setBaseCacheEnabled(bool enabled)
{
    m_baseCacheEnabled = enabled;
    m_base = QImage();
    invalidateBase();
    update();
}

void MapWidget::loadWantedDiagrams()
{
    m_diagramLoadQueued = false;
    IAirportDiagramSource *diagrams = m_data.provider() ? m_data.provider()->diagramSource() : nullptr;
    const QSet<QString> wanted = std::exchange(m_diagramsWanted, {});
    if (!diagrams)
        return;
    for (const QString &icao : wanted) {
        if (m_diagramsRequested.contains(icao))
            continue;
        // Once per airport and data set: a layout that is not in the database stays missing
        // until the importer delivers it (airportDiagramReady).
        m_diagramsRequested.insert(icao);
        diagrams->loadAirportDiagram(icao);
    }
}

void MapWidget::tileRange(const MapView &view, int &minX, int &minY, int &maxX, int &maxY)
{
    // The tiles under the area's corners, one more on every side, within the world.
    const int n = 1 << view.zoom();
    const QPointF topLeftGeo = view.screenToGeo(QPointF(0, 0));
    const QPointF bottomRightGeo = view.screenToGeo(QPointF(view.size().width(), view.size().height()));
    const QPointF topLeft = MercatorProjection::latLonToNorm(topLeftGeo.x(), topLeftGeo.y());
    const QPointF bottomRight = MercatorProjection::latLonToNorm(bottomRightGeo.x(), bottomRightGeo.y());
    minX = std::max(0, int(std::floor(topLeft.x() * n)) - 1);
    minY = std::max(0, int(std::floor(topLeft.y() * n)) - 1);
    maxX = std::min(n - 1, int(std::floor(bottomRight.x() * n)) + 1);
    maxY = std::min(n - 1, int(std::floor(bottomRight.y() * n)) + 1);
}

void MapWidget::getVisibleTileRange(int &minX, int &minY, int &maxX, int &maxY) const
{
    tileRange(currentView(), minX, minY, maxX, maxY);
}

GeoBounds MapWidget::onlineRequestBounds() const
{
    return currentView().visibleBounds().widened(kOnlineMarginDeg);
}

void MapWidget::requestOnlineBbox()
{
    INavDataRequests *requests = m_data.provider() ? m_data.provider()->dataRequests() : nullptr;
    if (!requests)
        return;
    const GeoBounds box = onlineRequestBounds();
    requests->requestBbox(box.maxLat, box.minLon, box.minLat, box.maxLon, m_zoom);
}

void MapWidget::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    invalidateBase();
    // A larger window shows more than the area asked for at start-up, before the layout.
    requestOnlineBbox();
}

void MapWidget::wheelEvent(QWheelEvent *event)
{
    // The point under the cursor becomes the new centre, taken before the zoom changes.
    const QPointF underCursor = screenToGeo(event->position());
    const int step = event->angleDelta().y() > 0 ? 1 : -1;
    m_center = underCursor;
    m_zoom = std::clamp(m_zoom + step, kMinZoom, kMaxZoom);
    m_popup->hide();
    requestOnlineBbox();
    update();
    // Both are announced for every wheel step, even at a zoom limit where only the centre moved.
    emit centerChanged(m_center);
    emit zoomChanged(m_zoom);
    event->accept();
}

int MapWidget::routePointAt(const QPointF &pos) const
{
    if (!isLayerVisible(QStringLiteral("route")))
        return -1;
    const MapView view = currentView();
    for (int i = 0; i < m_route.size(); ++i) {
        const QPointF p = view.geoToScreen(m_route.at(i).lat, m_route.at(i).lon);
        if ((p - pos).manhattanLength() < kRoutePointGrabPx)
            return i;
    }
    return -1;
}

void MapWidget::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    m_pressPos = event->position();
    m_lastPos = m_pressPos;
    m_dragIndex = routePointAt(m_pressPos);
    m_drag = m_dragIndex >= 0 ? Drag::RoutePoint : Drag::Pan;
    setCursor(m_drag == Drag::Pan ? Qt::ClosedHandCursor : Qt::SizeAllCursor);
    event->accept();
}

void MapWidget::mouseMoveEvent(QMouseEvent *event)
{
    const QPointF pos = event->position();
    if (m_drag == Drag::Pan) {
        const QPointF delta = pos - m_lastPos;
        m_lastPos = pos;
        if (delta.isNull())
            return;
        const QPointF centrePx = MercatorProjection::latLonToPixel(m_center, m_zoom) - delta;
        m_center = MercatorProjection::pixelToLatLon(centrePx, m_zoom);
        // A card left where an object was would point at the wrong place once the map moves.
        if ((pos - m_pressPos).manhattanLength() > kClickSlopPx)
            m_popup->hide();
        update();
        emit centerChanged(m_center);
    } else if (m_drag == Drag::RoutePoint && m_dragIndex < m_route.size()) {
        m_lastPos = pos;
        const QPointF geo = screenToGeo(pos);
        m_route[m_dragIndex].lat = geo.x();
        m_route[m_dragIndex].lon = geo.y();
        update();
    }
}

void MapWidget::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || m_drag == Drag::None) {
        QWidget::mouseReleaseEvent(event);
        return;
    }
    const Drag drag = m_drag;
    m_drag = Drag::None;
    setCursor(Qt::OpenHandCursor);
    const QPointF pos = event->position();
    if (drag == Drag::RoutePoint && m_dragIndex < m_route.size()) {
        const MapRoutePoint &p = m_route.at(m_dragIndex);
        emit routePointMoved(m_dragIndex, p.lat, p.lon);
    }
    if ((pos - m_pressPos).manhattanLength() <= kClickSlopPx)
        handleClick(pos);
    else if (drag == Drag::Pan)
        requestOnlineBbox();
    event->accept();
}

void MapWidget::handleClick(const QPointF &pos)
{
    if (!m_data.provider()) {
        m_popup->hide();
        return;
    }
    const NavHit hit = NavHitTest::hitTest(m_data, currentView(), pos, kHitRadiusPx,
                                           [this](const QString &layer) { return isLayerVisible(layer); });
    if (!hit.isValid()) {
        m_popup->hide();
        return;
    }
    m_popup->showHit(hit, m_data.provider(), pos.toPoint());
    if (hit.type == NavHit::Airport)
        emit airportClicked(hit.ident);
    else if (hit.type == NavHit::Navaid)
        emit navaidClicked(hit.ident);
}

QString MapWidget::kindText(int hitType)
{
    switch (hitType) {
    case NavHit::Airport:
        return tr("机场");
    case NavHit::Navaid:
        return tr("导航设施");
    case NavHit::Waypoint:
        return tr("航路点");
    case NavHit::Airspace:
        return tr("空域");
    default:
        return tr("标识");
    }
}

QList<RunwayRecord> MapWidget::runwaysAt(const QPointF &screen)
{
    QList<RunwayRecord> hits;
    if (!isLayerVisible(QStringLiteral("runways")))
        return hits;
    const MapView view = currentView();
    for (const AirportRecord &airport : m_data.airports(view.visibleBounds().widened(0.1))) {
        for (const RunwayRecord &runway : m_data.runways(airport.icao)) {
            const QPointF a = view.geoToScreen(runway.lat, runway.lon);
            const QPointF b = view.geoToScreen(RunwayOverlay::farEnd(runway));
            // Distance from the point to the segment a-b.
            const QPointF ab = b - a;
            const double lengthSq = QPointF::dotProduct(ab, ab);
            const double t = lengthSq > 0 ? std::clamp(QPointF::dotProduct(screen - a, ab) / lengthSq, 0.0, 1.0) : 0.0;
            const QPointF d = screen - (a + t * ab);
            if (std::hypot(d.x(), d.y()) <= kRunwayHitRadiusPx)
                hits.append(runway);
        }
    }
    std::sort(hits.begin(), hits.end(), [](const RunwayRecord &x, const RunwayRecord &y) {
        return std::make_pair(x.airportIcao, x.ident) < std::make_pair(y.airportIcao, y.ident);
    });
    return hits;
}

void MapWidget::contextMenuEvent(QContextMenuEvent *event)
{
    if (!m_data.provider())
        return;
    const QPointF pos = event->pos();
    const NavHit hit = NavHitTest::hitTest(m_data, currentView(), pos, kHitRadiusPx,
                                           [this](const QString &layer) { return isLayerVisible(layer); });
    QMenu menu(this);
    menu.setObjectName(QStringLiteral("mapContextMenu"));
    if (hit.isValid()) {
        const QString label = QStringLiteral("%1: %2").arg(kindText(hit.type), hit.ident);
        const double lat = hit.lat;
        const double lon = hit.lon;
        QAction *locate = menu.addAction(tr("定位到 %1").arg(label));
        connect(locate, &QAction::triggered, this, [this, lat, lon]() { emit locateOnMap(lat, lon); });
        if (hit.type != NavHit::Airspace) {
            const QString type = hit.type == NavHit::Airport  ? QStringLiteral("APT")
                                 : hit.type == NavHit::Navaid ? QStringLiteral("NAV")
                                                              : QStringLiteral("WPT");
            const QString ident = hit.ident;
            QAction *add = menu.addAction(tr("添加 %1 到飞行计划").arg(ident));
            connect(add, &QAction::triggered, this,
                    [this, ident, lat, lon, type]() { emit addToFlightPlan(ident, lat, lon, type); });
        }
        menu.addSeparator();
    }
    const QPointF geo = screenToGeo(pos);
    // N and E are written whatever the hemisphere: the name only has to be unique and readable.
    const QString name = QStringLiteral("%1N%2E").arg(geo.x(), 0, 'f', 2).arg(geo.y(), 0, 'f', 2);
    QAction *here = menu.addAction(tr("在此位置添加航路点"));
    connect(here, &QAction::triggered, this,
            [this, name, geo]() { emit addToFlightPlan(name, geo.x(), geo.y(), QStringLiteral("WPT")); });
    menu.addSeparator();
    QAction *positionHere = menu.addAction(tr("将飞机定位到此处"));
    connect(positionHere, &QAction::triggered, this, [this, geo]() { emit positionHereRequested(geo.x(), geo.y()); });
    for (const RunwayRecord &runway : runwaysAt(pos)) {
        const QString icao = runway.airportIcao;
        const QString ident = runway.ident;
        QAction *final = menu.addAction(tr("五边进近：%1 跑道 %2").arg(icao, ident));
        connect(final, &QAction::triggered, this, [this, icao, ident]() { emit finalApproachRequested(icao, ident); });
    }
    menu.exec(event->globalPos());
    event->accept();
}
