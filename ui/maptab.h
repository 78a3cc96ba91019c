#pragma once

#include "map/mapobjects.h"
#include "map/mapwidget.h"
#include "sim/aircraftdata.h"

#include <QList>
#include <QPointF>
#include <QWidget>

class INavDataProvider;
class NavDataProvider;
class QAction;
class QComboBox;
class QCompleter;
class QLabel;
class QLineEdit;
class QSettings;
class QStringListModel;
class QToolButton;
class RadarOverlay;

// The station's map tab: the moving map with a tool bar (follow the aircraft, zoom, map style,
// layers, clear track, airport search). It feeds the own aircraft and its track from the live
// samples and passes the map's flight-plan actions on as signals; the main window connects them.
//
// Created by the main window, GUI thread only. The navigation data is borrowed. Per sample it
// only moves the aircraft (and the map when following) and, every few hundred metres, extends
// the track; the map coalesces the repaints.
class MapTab : public QWidget
{
    Q_OBJECT
public:
    // Track points kept; the oldest are dropped first.
    static constexpr int kMaxTrackPoints = 3000;
    // A sample this far (nautical miles) from the last track point extends the track.
    static constexpr double kTrackStepNm = 0.1;
    // A jump this far between samples (a reposition) starts a new track.
    static constexpr double kTrackBreakNm = 5.0;
    // Zoom used when the search centres the map on an airport (unless already closer).
    static constexpr int kAirportZoom = 11;

    explicit MapTab(QWidget *parent = nullptr);

    // Borrowed. Null clears the overlays.
    void setNavDataProvider(NavDataProvider *provider);
    static constexpr char kCentreLatKey[] = "mapCenterLat";
    static constexpr char kCentreLonKey[] = "mapCenterLon";
    static constexpr char kZoomKey[] = "mapZoom";
    static constexpr char kStyleKey[] = "mapStyle";

    // Reads the tile service addresses ("tileStreetBase", "tileSatelliteBase") and the view the
    // map was left in (centre, zoom, style), where stored.
    void applySettings(const QSettings &settings);
    // Stores the view (centre, zoom, style) for the next start.
    void saveSettings(QSettings &settings) const;
    // The flight plan's points; an empty list removes the route.
    void setRoutePoints(const QList<MapRoutePoint> &points);
    // Selects the map style; the style box follows.
    void setMapStyle(MapWidget::MapStyle style);

    MapWidget *mapWidget() const { return m_map; }
    // Remote stations' aircraft go through this overlay (attached to the map).
    RadarOverlay *radarOverlay() const { return m_radar; }
    bool isFollowingAircraft() const { return m_follow; }
    QList<QPointF> trackPoints() const { return m_track; }

public slots:
    void setAircraftData(const AircraftData &data);
    void setFollowAircraft(bool follow);
    // Centres the map on the airport the text names (an ICAO code, or the first search match of
    // a name or city). False, with a note in the tool bar, when nothing matches.
    bool centreOnAirport(const QString &text);
    // The navigation data changed under the same provider (for example after a reload).
    void refreshNavData();
    void clearTrack();

protected:
    void changeEvent(QEvent *event) override;

signals:
    void addToFlightPlan(const QString &ident, double lat, double lon, const QString &type);
    void routePointMoved(int index, double newLat, double newLon);
    void airportClicked(const QString &icao);
    void navaidClicked(const QString &ident);

private:
    void retranslateUi();
    QWidget *createToolBar();
    QToolButton *createLayerButton();
    void onMapCentreChanged();
    void onSearchEdited(const QString &text);
    void onLocate(double lat, double lon);
    void updateZoomLabel(int zoom);
    void addTrackPoint(double lat, double lon);

    MapWidget *m_map = nullptr;
    RadarOverlay *m_radar = nullptr;
    INavDataProvider *m_nav = nullptr;
    QToolButton *m_followButton = nullptr;
    QLabel *m_zoomLabel = nullptr;
    QComboBox *m_styleBox = nullptr;
    QLineEdit *m_search = nullptr;
    QStringListModel *m_searchModel = nullptr;
    QCompleter *m_completer = nullptr;
    QLabel *m_searchNote = nullptr;
    bool m_searchFailed = false; // the note says the last search found nothing
    // Only what retranslateUi() relabels.
    QToolButton *m_zoomOutButton = nullptr;
    QToolButton *m_zoomInButton = nullptr;
    QLabel *m_styleLabel = nullptr;
    QToolButton *m_layerButton = nullptr;
    QList<QPair<QAction *, const char *>> m_layerActions;
    QToolButton *m_clearButton = nullptr;

    bool m_follow = false;
    bool m_movingMap = false; // the tab itself is moving the map
    bool m_hasPosition = false;
    QPointF m_lastPosition;
    QList<QPointF> m_track;
};
