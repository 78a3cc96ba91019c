#pragma once

#include "nav/inavdataprovider.h"
#include "nav/navcapabilities.h"

#include <QFutureWatcher>
#include <QObject>

class OfflineNavDataProvider;

// The one navigation-data object the application owns. It creates the current provider (offline
// now; the online provider comes next), forwards every query to it and re-emits its signals, so
// consumers keep one pointer across data-mode switches. What a provider can do beyond the
// interface is reached through its capabilities (boundsIndex(), diagramSource(), dataRequests()),
// null when the current provider has none; the facade's own offline- and online-only operations
// forward to them.
//
// Created by the main window on the GUI thread, which also switches providers. Queries may come
// from any thread and are as thread-safe as the provider. The facade holds no lock of its own:
// switching providers while a worker thread is querying is the caller's responsibility.
//
// It can also load a database file in the background (loadFromDatabaseAsync): the load runs on
// the global thread pool while queries keep answering from the previous data, and
// databaseLoadFinished arrives on the facade's thread. Replacing the provider (or destroying the
// facade) while such a load runs waits for it to end on the old provider and drops its result:
// no signal is emitted for an abandoned load.
class NavDataProvider : public QObject, public INavDataProvider
{
    Q_OBJECT
public:
    enum Mode { Online = 0, Offline = 1 };

    explicit NavDataProvider(QObject *parent = nullptr);
    ~NavDataProvider() override;

    // Destroys the current provider at once and creates an offline one.
    void initializeOffline();
    // Creates an OnlineNavDataProvider for the service (see its constructor); the previous
    // provider is destroyed from the event loop, so queries already running on it finish first.
    void initializeOnline(const QString &serviceUrl, const QString &token, const QString &sourceName,
                          const QString &cacheDirectory = QString());
    Mode mode() const { return m_mode; }
    bool hasProvider() const { return m_provider != nullptr; }

    // Forwarded to the provider; without one they return empty values (status() Failed).
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

    // The current provider's capabilities; null when it has none (or there is no provider).
    INavBoundsIndex *boundsIndex() const { return m_boundsIndex; }
    IAirportDiagramSource *diagramSource() const { return m_diagramSource; }
    INavDataRequests *dataRequests() const { return m_dataRequests; }

    // Offline-only: do nothing, or return an empty value or false, with another provider.
    void setDbPath(const QString &path);
    QString dbPath() const;
    bool loadFromDatabase(const QString &path);
    void loadTaxiwayData(const QString &icao);
    void loadSampleData();
    void rebuildSpatialIndex();
    void markAirportDiagramRequested(const QString &icao);
    void markAirportDiagramEmpty(const QString &icao);
    void injectAirportDiagram(const QString &icao);
    QList<AirportRecord> airportsInBoundsFast(double minLat, double minLon, double maxLat, double maxLon) const;
    QList<NavaidRecord> navaidsInBoundsFast(double minLat, double minLon, double maxLat, double maxLon) const;
    QList<WaypointRecord> waypointsInBoundsFast(double minLat, double minLon, double maxLat, double maxLon) const;

    // Forwarded to a provider that fetches on request (dataRequests()). Offline data is complete
    // in memory, so with the offline provider they do nothing.
    void requestRunways(const QString &icao);
    void requestProcedures(const QString &icao, const QString &type, const QString &runway);
    void requestSearch(const QString &query, const QString &scope);

    // The diagram source's answer. A provider without one: whether the airport's taxiway nodes or
    // edges are in memory (load: false). No provider: false.
    bool loadAirportDiagram(const QString &icao);
    bool hasAirportDiagram(const QString &icao) const;

    // Starts loadFromDatabase(path) on a worker thread. False (nothing started) without an
    // offline provider or while another background load runs.
    bool loadFromDatabaseAsync(const QString &path);
    // True from the start of a background load until its databaseLoadFinished.
    bool isLoading() const { return m_loadWatcher != nullptr; }
    // Blocks until a running background load has finished; its signal still arrives later.
    void waitForLoad();

signals:
    void airportDiagramNeeded(const QString &airportIcao);
    void airportDiagramReady(const QString &airportIcao);
    void runwaysReady(const QString &airportIcao);
    void dataChanged();
    void statusChanged(INavDataProvider::Status status);
    // A background load ended; on success dataChanged follows.
    void databaseLoadFinished(const QString &path, bool success);

private:
    void destroyProvider();
    void clearProvider();
    void abandonLoad();

    Mode m_mode = Offline;
    INavDataProvider *m_provider = nullptr;
    QObject *m_providerObject = nullptr;
    // Set together with the provider by the initialize... operation that created it.
    OfflineNavDataProvider *m_offline = nullptr;
    INavBoundsIndex *m_boundsIndex = nullptr;
    IAirportDiagramSource *m_diagramSource = nullptr;
    INavDataRequests *m_dataRequests = nullptr;
    QFutureWatcher<bool> *m_loadWatcher = nullptr;
};
