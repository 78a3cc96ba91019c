#pragma once

#include "nav/inavdataprovider.h"
#include "nav/navcapabilities.h"

#include <QElapsedTimer>
#include <QHash>
#include <QJsonObject>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QReadWriteLock>
#include <QRectF>
#include <QSet>
#include <QUrlQuery>

#include <functional>

class NavCacheDb;

// Zobrel.ini keys of the station's navigation-data mode: navDataMode is "offline" (the local
// database, the default) or "online" (the service at navServiceUrl, with navServiceToken).
inline constexpr char kNavDataModeKey[] = "navDataMode";
inline constexpr char kNavDataModeOffline[] = "offline";
inline constexpr char kNavDataModeOnline[] = "online";
inline constexpr char kNavServiceUrlKey[] = "navServiceUrl";
inline constexpr char kNavServiceTokenKey[] = "navServiceToken";
class QNetworkAccessManager;
class QNetworkReply;
class QTimer;

// Navigation data from the navigation web service (zobrel-navd), fetched as the map needs it:
// the area in view by bounding box, airport details, runways and procedures on request. Every
// reply is kept in memory, where all queries answer from without ever waiting for the network,
// and stored in the disk cache (NavCacheDb), so an area seen in the last day still shows when the
// service cannot be reached.
//
// Status: Connecting until the version check at construction answers; Ready while the service
// answers; OfflineCache when it cannot be reached (the cache keeps answering, and the version is
// asked again every kRetryMs until it answers); Failed when the service refuses the token or
// answers what is not a navigation reply, or when it cannot be reached and there is no cache.
//
// A bounding box is answered in two steps once the 500 ms debounce has run out: the cached tiles
// of the box at once (dataChanged), then the service's reply (dataChanged again).
//
// Lives on the GUI thread, which runs the network; queries may come from any thread (one
// read-write lock over the in-memory data).
class OnlineNavDataProvider : public QObject,
                              public INavDataProvider,
                              public INavDataRequests,
                              public IAirportDiagramSource
{
    Q_OBJECT
public:
    enum NavDataSource { XPlane11, XPlane12, P3D, MSFS2024 };
    static constexpr int kDebounceMs = 500;
    // A map that keeps moving (following the aircraft) would restart the debounce for ever; a
    // pending box is fetched at the latest this long after it was first asked for.
    static constexpr int kDebounceMaxWaitMs = 1000;
    static constexpr int kRetryMs = 5000;
    static constexpr int kRequestTimeoutMs = 10000;
    // A service reply longer than this is dropped and counts as refused.
    static constexpr qint64 kMaxReplyBytes = 64LL * 1024 * 1024;
    // The cache is trimmed to this after start-up and every kEvictEveryStores stored replies.
    static constexpr qint64 kCacheLimitBytes = 200LL * 1024 * 1024;
    static constexpr int kEvictEveryStores = 50;
    // A box over more tiles than this is not written to the cache: its reply is thinned.
    static constexpr int kMaxTilesPerStore = 400;
    // Box replies from this zoom on hold every record of the box; below it they are thinned.
    static constexpr int kCompleteReplyZoom = 9;

    // serviceUrl: "http(s)://host:port"; sourceName: "xplane11", "xplane12", "p3d" or "msfs2024"
    // (anything else is taken as "xplane11"). The cache lives in cacheDirectory, by default the
    // user's cache folder.
    OnlineNavDataProvider(const QString &serviceUrl, const QString &token, const QString &sourceName,
                          QObject *parent = nullptr, const QString &cacheDirectory = QString());
    ~OnlineNavDataProvider() override;

    static bool sourceFromName(const QString &name, NavDataSource *source);
    // The service's source name for a navigation-database index (navdatafiles.h); MSFS 2020
    // stations use the MSFS 2024 data, the service's nearest.
    static QString sourceNameForDatabaseIndex(int index);
    // Switches the data source: drops what is in memory and checks the service again.
    void setSource(NavDataSource source);
    NavDataSource source() const { return m_source; }
    QString sourceName() const;
    NavCacheDb *cache() const { return m_cache; }

    QList<AirportRecord> airports() const override;
    AirportRecord airport(const QString &icao) const override;
    QList<AirportRecord> searchAirports(const QString &query) const override;
    QList<AirportRecord> airportsInBounds(double minLat, double minLon, double maxLat, double maxLon) const override;
    QList<RunwayRecord> runways(const QString &icao) const override;
    QList<NavaidRecord> navaids() const override;
    QList<NavaidRecord> navaidsInBounds(double minLat, double minLon, double maxLat, double maxLon) const override;
    QList<NavaidRecord> searchNavaids(const QString &query) const override;
    NavaidRecord findNavaid(const QString &ident, const QString &type) const override;
    NavaidRecord findNavaidNearest(const QString &ident, double lat, double lon, const QString &type) const override;
    QList<WaypointRecord> waypoints() const override;
    WaypointRecord waypoint(const QString &ident) const override;
    WaypointRecord findWaypoint(const QString &ident) const override;
    WaypointRecord findWaypointNearest(const QString &ident, double lat, double lon) const override;
    QList<WaypointRecord> waypointsInBounds(double minLat, double minLon, double maxLat, double maxLon) const override;
    QList<WaypointRecord> searchWaypoints(const QString &query) const override;
    QList<Procedure> procedures(const QString &icao, const QString &type) const override;
    QList<ProcedureLeg> procedureLegs(const QString &icao, const QString &procName, const QString &procType,
                                      const QString &runway) const override;
    QList<AirwaySegment> airways() const override;
    QList<AirwaySegment> airwaysInBounds(double minLat, double minLon, double maxLat, double maxLon) const override;
    QList<AirspaceRecord> airspaces() const override;
    QList<AirspaceRecord> airspacesInBounds(double minLat, double minLon, double maxLat, double maxLon) const override;
    QMap<int, TaxiwayNode> taxiwayNodes(const QString &icao) const override;
    QList<TaxiwayEdge> taxiwayEdges(const QString &icao) const override;
    QList<ParkingRecord> parkings(const QString &icao) const override;
    TowerRecord tower(const QString &icao) const override;
    QList<FrequencyRecord> frequencies(const QString &icao) const override;
    CycleInfo cycleInfo() const override;
    Status status() const override;
    QString statusMessage() const override;

    // Records the box (north, west, south, east) and restarts the debounce; see the class note.
    void requestBbox(double north, double west, double south, double east, int zoom) override;
    void fetchBboxFromApi(double minLat, double minLon, double maxLat, double maxLon, int zoom);
    // type: "all", "airports", "navaids" or "waypoints"; a result of the last hour comes from
    // the cache. Results join the in-memory data (dataChanged).
    void fetchSearch(const QString &query, const QString &type) override;
    // Asks the service, whatever the cache holds.
    void fetchAirportDetails(const QString &icao);
    // From the cache when it holds the airport's details of the last seven days, else fetched.
    void fetchAirport(const QString &icao);
    void fetchRunways(const QString &icao) override;
    // type "STAR" asks for the arrivals, anything else for the departures; all of the
    // airport's procedures of that kind arrive (runway only tells requests apart).
    void fetchProcedures(const QString &icao, const QString &type, const QString &runway) override;
    void fetchRoute(const QString &origin, const QString &destination, const QString &originRunway,
                    const QString &departureProcedure, const QString &destRunway, const QString &arrivalProcedure);

    // The online diagram source: layouts come with the airport details.
    bool hasAirportDiagram(const QString &icao) const override;
    bool loadAirportDiagram(const QString &icao) override;
    void markAirportDiagramRequested(const QString &) override {}
    void markAirportDiagramEmpty(const QString &) override {}
    void injectAirportDiagram(const QString &) override {}

signals:
    void dataChanged();
    void routeReady(const QJsonObject &route);
    void runwaysReady(const QString &airportIcao);
    void proceduresReady(const QString &airportIcao, const QString &type);
    void statusChanged(INavDataProvider::Status status);

private:
    enum class Outcome { Ok, Unreachable, Refused };
    using Handler = std::function<void(Outcome, const QJsonObject &, const QByteArray &raw, const QString &error)>;

    QNetworkReply *get(const QString &path, QUrlQuery query, Handler handler);
    void setStatus(Status status);
    void testConnection();
    void noteOutcome(Outcome outcome);
    void onDebounceTimeout();
    void loadCachedBox(const QRectF &box);
    void storeBoxTiles(const QRectF &box, const QJsonObject &reply, int zoom);
    void mergeLayers(const QJsonObject &layers);
    void applyAirportDetails(const QString &icao, const QJsonObject &details);
    void applyProcedures(const QString &icao, const QString &type, const QJsonObject &reply);
    void afterStore();
    void clearMemory();

    NavDataSource m_source = XPlane11;
    QString m_serviceUrl;
    QString m_token;
    NavCacheDb *m_cache = nullptr;
    QNetworkAccessManager *m_net = nullptr;
    QTimer *m_debounce = nullptr;
    QTimer *m_retry = nullptr;
    QElapsedTimer m_pendingSince; // since the first box the running debounce holds
    QRectF m_pendingBox;          // x = west, y = south, width = east - west, height = north - south
    int m_pendingZoom = 0;
    QPointer<QNetworkReply> m_bboxReply;
    QSet<QString> m_inFlight;
    int m_storesSinceEvict = 0;

    mutable QReadWriteLock m_lock;
    Status m_status = Connecting;
    CycleInfo m_cycle;
    QMap<QString, AirportRecord> m_airports;
    QHash<QString, QList<RunwayRecord>> m_runways;
    QList<NavaidRecord> m_navaids;
    QList<WaypointRecord> m_waypoints;
    QList<AirwaySegment> m_airways;
    QList<AirspaceRecord> m_airspaces;
    QSet<QString> m_seen; // layer-qualified keys of the list records above
    QList<Procedure> m_procedures;
    QList<ProcedureLeg> m_legs;
    QHash<QString, QList<ParkingRecord>> m_parkings;
    QHash<QString, QList<FrequencyRecord>> m_frequencies;
    QHash<QString, TowerRecord> m_towers;
    QHash<QString, QMap<int, TaxiwayNode>> m_nodes;
    QHash<QString, QList<TaxiwayEdge>> m_edges;
};
