#pragma once

#include "map/labellayer.h"
#include "map/mapdatasource.h"
#include "map/mapobjects.h"
#include "map/mapsymbols.h"
#include "map/mapview.h"

#include <QImage>
#include <QList>
#include <QMap>
#include <QPointF>
#include <QPointer>
#include <QSet>
#include <QWidget>

#include <memory>

class INavDataProvider;
class NavDataProvider;
class MapInfoPopup;
class MapLayer;
class NavOverlayManager;
class OfflineBaseMap;
class TileDownloader;

// The moving map: raster tiles or a plain background, the navigation overlays, the flight-plan
// route, the own aircraft with its track, remote stations' aircraft, online traffic, a range
// ring, a compass, a scale bar and a crosshair. It pans with the left button, zooms one step per
// wheel event around the cursor, shows an information card for a clicked object, lets route
// points be dragged, and offers flight-plan actions in its context menu; it only reports them
// through signals (the flight plan itself lives elsewhere).
//
// Created by the map tab, GUI thread only. It owns its TileDownloader and overlay painters and
// borrows the navigation data set with setNavData. Positions are WGS-84 degrees with
// x = latitude and y = longitude in a QPointF; headings degrees true; distances nautical miles.
//
// Layers of other libraries (ATC sectors, alert marks) are added with addLayer; the map knows them
// only as MapLayer, so it needs no sector manager of its own. The offline style draws the
// compiled-in Natural Earth base map, which also stands in under the tile styles until the tile
// service has answered. requestOnlineBbox() has nothing to ask until the online navigation
// provider exists.
//
// Frames are cheap when only the aircraft moves: tiles and navigation overlays are rendered into
// a cached image a little larger than the widget, which is reused while the view stays inside it
// (pans shift it); only the route, traffic, own aircraft and instruments are drawn every frame.
class MapWidget : public QWidget
{
    Q_OBJECT
public:
    enum MapStyle { DarkPlain = 0, LightPlain = 1, StreetTiles = 2, SatelliteTiles = 3, OfflineMap = 4 };
    Q_ENUM(MapStyle)

    static constexpr int kMinZoom = 1;
    static constexpr int kMaxZoom = 18;
    static constexpr double kHitRadiusPx = 20.0;
    // A right click this close to a painted runway offers its finals.
    static constexpr double kRunwayHitRadiusPx = 8.0;
    // A press and release this close (Manhattan length, pixels) is a click, not a pan.
    static constexpr int kClickSlopPx = 5;
    // A press closer than this (Manhattan length) to a route point drags it.
    static constexpr int kRoutePointGrabPx = 10;

    explicit MapWidget(QWidget *parent = nullptr);
    ~MapWidget() override;

    void setCenter(const QPointF &latLon);
    void setZoom(int zoom);
    void setMapStyle(MapStyle style);
    void setLayerVisible(const QString &name, bool visible);
    void setAircraftPosition(double lat, double lon, double headingDeg);
    void clearAircraftPosition();
    // The own aircraft's data block: identifier, altitude, ground speed, vertical speed, heading
    // and ground track (the track line follows it), indicated airspeed.
    void setLocalAircraftData(const QString &id, double altitudeFt, double groundSpeedKts, double verticalSpeedFpm,
                              double headingDeg, double trackDeg, double indicatedSpeedKts);
    void setRoutePoints(const QList<MapRoutePoint> &points);
    // Tags drawn at the legs' middles (distance and time); cleared with the route.
    void setRouteLegTags(const QList<MapRouteLegTag> &tags);
    void clearRoute();
    void setOnlineAircraft(const QList<OnlineAircraft> &aircraft);
    void clearOnlineAircraft();
    void setRemoteAircraft(const QList<RemoteAircraftDisplay> &aircraft);
    void clearRemoteAircraft();
    void setRemoteTracks(const QMap<QString, QList<QPointF>> &tracks);
    void updateRemoteDisplay(const QList<RemoteAircraftDisplay> &aircraft, const QMap<QString, QList<QPointF>> &tracks);
    void setTrackPoints(const QList<QPointF> &points);
    void clearTrack();
    void setRadarRangeNm(double rangeNm);
    void setShowDataBlocks(bool show);
    void setShowTrackHistory(bool show);
    void setShowSpeedVector(bool show);
    void setShowRangeRing(bool show);
    // Borrowed. Null clears the overlays.
    void setNavData(NavDataProvider *navData);
    // Borrowed layers of other libraries, drawn in the order added; a destroyed one drops out.
    void addLayer(MapLayer *layer);
    void removeLayer(MapLayer *layer);

    QPointF centerLatLon() const { return m_center; }
    int zoomLevel() const { return m_zoom; }
    MapStyle mapStyle() const { return m_style; }
    // True when the layer is set visible or was never set.
    bool isLayerVisible(const QString &name) const { return m_layers.value(name, true); }
    QStringList layerNames() const { return m_layers.keys(); }
    double radarRangeNm() const { return m_radarRangeNm; }
    QList<MapRoutePoint> routePoints() const { return m_route; }
    QList<MapRouteLegTag> routeLegTags() const { return m_routeTags; }
    NavDataProvider *navData() const { return m_data.provider(); }
    TileDownloader *tileDownloader() const { return m_tiles; }
    const NavOverlayManager *overlayManager() const { return m_overlays.get(); }

    QPointF geoToScreen(double lat, double lon) const;
    QPointF screenToGeo(const QPointF &screen) const;
    // Tile columns and rows around the view at the current zoom, one tile wider on every side.
    void getVisibleTileRange(int &minX, int &minY, int &maxX, int &maxY) const;
    // The area asked of the online provider: the view's box widened by 1 degree on every side.
    GeoBounds onlineRequestBounds() const;

    // Paints the whole map at the widget's size; the widget's own paint does the same. Handy to
    // render into an image.
    void paintMap(QPainter &painter);
    // With the cache off every frame renders tiles and overlays afresh (for measurements).
    void setBaseCacheEnabled(bool enabled);

public slots:
    // The navigation data changed under the same provider: forget cached answers and repaint.
    void refreshNavData();
    // Asks a provider that fetches on request (the online one) for the visible area.
    void requestOnlineBbox();

signals:
    void centerChanged(const QPointF &latLon);
    void zoomChanged(int zoom);
    void airportClicked(const QString &icao);
    void navaidClicked(const QString &ident);
    void addToFlightPlan(const QString &ident, double lat, double lon, const QString &type);
    void locateOnMap(double lat, double lon);
    void routePointMoved(int index, double newLat, double newLon);
    // Context menu: put the aircraft at this point (the receiver keeps its altitude and heading).
    void positionHereRequested(double lat, double lon);
    // Context menu on a runway: put the aircraft on final of that runway end.
    void finalApproachRequested(const QString &airportIcao, const QString &runwayIdent);

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    // Runway ends whose painted runway passes within the hit radius of the screen point.
    QList<RunwayRecord> runwaysAt(const QPointF &screen);
    enum class Drag { None, Pan, RoutePoint };
    struct OwnAircraft
    {
        bool valid = false;
        double lat = 0.0;
        double lon = 0.0;
        double headingDeg = 0.0;
        bool hasData = false;
        QString id;
        double altitudeFt = 0.0;
        double groundSpeedKts = 0.0;
        double verticalSpeedFpm = 0.0;
        double trackDeg = 0.0;
        double indicatedSpeedKts = 0.0;
    };

    MapView currentView() const;
    static void tileRange(const MapView &view, int &minX, int &minY, int &maxX, int &maxY);
    MapView viewOf(const QPointF &centre, const QSize &size) const;
    bool datumShifted() const { return m_style == StreetTiles || m_style == SatelliteTiles; }
    void invalidateBase() { m_baseValid = false; }
    void onTileReady();
    void onDiagramReady();
    void loadWantedDiagrams();
    int routePointAt(const QPointF &pos) const;
    void handleClick(const QPointF &pos);
    static QString kindText(int hitType);

    // Painting (mapwidget_paint.cpp).
    void paintBase(QPainter &painter, const MapView &view);
    void paintTiles(QPainter &painter, const MapView &view);
    void ensureBaseCache(const MapView &view, qreal ratio);
    void paintRoute(QPainter &painter, const MapView &view, LabelLayer &labels);
    void paintOnlineTraffic(QPainter &painter, const MapView &view, LabelLayer &labels);
    void paintRangeRing(QPainter &painter, const MapView &view);
    void paintRemoteAircraft(QPainter &painter, const MapView &view, LabelLayer &labels);
    void paintOwnAircraft(QPainter &painter, const MapView &view, LabelLayer &labels);
    void paintTrack(QPainter &painter, const MapView &view);
    void paintCrosshair(QPainter &painter);
    void paintCompass(QPainter &painter);
    void paintScaleBar(QPainter &painter, const MapView &view);
    bool drawsOfflineBase() const;
    void paintLayers(QPainter &painter, const MapView &view, int stage, LabelLayer &labels);

    QPointF m_center{31.14, 121.81};
    int m_zoom = 7;
    MapStyle m_style = StreetTiles;
    double m_radarRangeNm = 20.0;
    QMap<QString, bool> m_layers;
    bool m_showDataBlocks = true;
    bool m_showTrackHistory = true;
    bool m_showSpeedVector = true;
    bool m_showRangeRing = false;

    OwnAircraft m_own;
    QList<QPointF> m_track;
    QList<MapRoutePoint> m_route;
    QList<MapRouteLegTag> m_routeTags;
    QList<OnlineAircraft> m_online;
    QList<RemoteAircraftDisplay> m_remote;
    QMap<QString, QList<QPointF>> m_remoteTracks;

    Drag m_drag = Drag::None;
    int m_dragIndex = -1;
    QPointF m_pressPos;
    QPointF m_lastPos;

    TileDownloader *m_tiles = nullptr;
    MapInfoPopup *m_popup = nullptr;
    std::unique_ptr<NavOverlayManager> m_overlays;
    MapDataSource m_data;
    QPointer<NavDataProvider> m_navData; // to disconnect from, even once it is gone
    MapSymbols m_symbols;
    LabelCache m_labelCache;
    QSet<QString> m_diagramsWanted;
    QSet<QString> m_diagramsRequested;
    bool m_diagramLoadQueued = false;

    QList<QPointer<MapLayer>> m_layersAdded;
    std::unique_ptr<OfflineBaseMap> m_offlineBase;

    bool m_baseCacheEnabled = true;
    bool m_baseValid = false;
    QImage m_base; // an image, not a pixmap: the overlays may write into its pixels directly
    MapView m_baseView;
};
