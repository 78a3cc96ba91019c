#pragma once

#include "nav/inavdataprovider.h"
#include "nav/navcapabilities.h"
#include "nav/spatialindex.h"

#include <QObject>
#include <QReadWriteLock>

#include <memory>

struct OfflineNavData;
struct AirportDiagram;

// Navigation data from one per-simulator SQLite database, read whole into memory and answered
// from there (readNavDatabase); airport ground layouts (taxiway nodes, edges, parkings) are read
// per airport on demand. Besides the interface it offers the fast bounds queries of its spatial
// index and the airport-diagram source.
//
// Created by NavDataProvider (its parent) on the GUI thread. Every public operation may be called
// from any thread: one read-write lock guards all in-memory data, queries hold it for reading
// while they copy, and a load builds its data in fresh containers off the lock and swaps them in
// under the write lock, so a query never sees half-loaded data. Each database operation opens
// and removes a connection of its own.
class OfflineNavDataProvider : public QObject,
                               public INavDataProvider,
                               public INavBoundsIndex,
                               public IAirportDiagramSource
{
    Q_OBJECT
public:
    explicit OfflineNavDataProvider(QObject *parent = nullptr);
    ~OfflineNavDataProvider() override;

    QList<AirportRecord> airports() const override;
    AirportRecord airport(const QString &icao) const override;
    // Upper-cased query; matches an identifier prefix, or the name or city (case-insensitive).
    QList<AirportRecord> searchAirports(const QString &query) const override;
    QList<AirportRecord> airportsInBounds(double minLat, double minLon, double maxLat, double maxLon) const override;
    QList<RunwayRecord> runways(const QString &icao) const override;
    QList<NavaidRecord> navaids() const override;
    QList<NavaidRecord> navaidsInBounds(double minLat, double minLon, double maxLat, double maxLon) const override;
    // Upper-cased query; exact identifiers first, then identifier prefixes, each in list order.
    // An empty query finds nothing.
    QList<NavaidRecord> searchNavaids(const QString &query) const override;
    // First aid with this identifier (and type, when not empty; types compare case-insensitively).
    NavaidRecord findNavaid(const QString &ident, const QString &type) const override;
    NavaidRecord findNavaidNearest(const QString &ident, double lat, double lon, const QString &type) const override;
    QList<WaypointRecord> waypoints() const override;
    WaypointRecord waypoint(const QString &ident) const override;
    WaypointRecord findWaypoint(const QString &ident) const override;
    WaypointRecord findWaypointNearest(const QString &ident, double lat, double lon) const override;
    QList<WaypointRecord> waypointsInBounds(double minLat, double minLon, double maxLat, double maxLon) const override;
    // Same rules as searchNavaids.
    QList<WaypointRecord> searchWaypoints(const QString &query) const override;
    // An empty type lists all of the airport's procedures.
    QList<Procedure> procedures(const QString &icao, const QString &type) const override;
    QList<ProcedureLeg> procedureLegs(const QString &icao, const QString &procName, const QString &procType,
                                      const QString &runway) const override;
    QList<AirwaySegment> airways() const override;
    // Segments whose bounding box meets the box (a segment across the antimeridian: either end in it).
    QList<AirwaySegment> airwaysInBounds(double minLat, double minLon, double maxLat, double maxLon) const override;
    QList<AirspaceRecord> airspaces() const override;
    // Airspaces whose boundary's bounding box meets the box.
    QList<AirspaceRecord> airspacesInBounds(double minLat, double minLon, double maxLat, double maxLon) const override;
    QMap<int, TaxiwayNode> taxiwayNodes(const QString &icao) const override;
    QList<TaxiwayEdge> taxiwayEdges(const QString &icao) const override;
    QList<ParkingRecord> parkings(const QString &icao) const override;
    TowerRecord tower(const QString &icao) const override;
    QList<FrequencyRecord> frequencies(const QString &icao) const override;
    CycleInfo cycleInfo() const override;
    Status status() const override { return Ready; }
    // Offline data has no connection state to report: always empty.
    QString statusMessage() const override { return QString(); }

    // From the spatial index: the same records as the ...InBounds queries, grid order.
    QList<AirportRecord> airportsInBoundsFast(double minLat, double minLon, double maxLat,
                                              double maxLon) const override;
    QList<NavaidRecord> navaidsInBoundsFast(double minLat, double minLon, double maxLat, double maxLon) const override;
    QList<WaypointRecord> waypointsInBoundsFast(double minLat, double minLon, double maxLat,
                                                double maxLon) const override;

    void setDbPath(const QString &path);
    QString dbPath() const;

    // Reads the whole database into memory. False, with a log line and the previous data kept,
    // when the file is missing, unreadable, not SQLite, or lacks a core table or column.
    // On success the path also becomes dbPath(), where airport diagrams are read from.
    bool loadFromDatabase(const QString &path);

    // Replaces the data with a small fixed set around Beijing, Shanghai and Guangzhou.
    void loadSampleData();
    void rebuildSpatialIndex();

    // Reads one airport's taxiway nodes and edges from dbPath() into memory.
    void loadTaxiwayData(const QString &icao);
    // Reads one airport's diagram (nodes, edges, parkings) from dbPath(). True when the database
    // has a complete diagram (now in memory, airportDiagramReady emitted). A diagram with nodes
    // but no edges is deleted from the database so that it is fetched again. On false, when the
    // airport is neither marked requested nor empty, airportDiagramNeeded is emitted.
    bool loadAirportDiagram(const QString &icao) override;
    bool hasAirportDiagram(const QString &icao) const override;
    void markAirportDiagramRequested(const QString &icao) override;
    void markAirportDiagramEmpty(const QString &icao) override;
    bool isAirportDiagramRequested(const QString &icao) const;
    bool isAirportDiagramEmpty(const QString &icao) const;
    // Takes into memory a diagram that the facility importer has just written to dbPath(); clears
    // the requested mark and emits airportDiagramReady when the diagram has nodes.
    void injectAirportDiagram(const QString &icao) override;

signals:
    void airportDiagramNeeded(const QString &airportIcao);
    void airportDiagramReady(const QString &airportIcao);

private:
    // Swaps fresh data in under the write lock, together with its spatial index (and the path
    // it came from, when given).
    void install(std::unique_ptr<OfflineNavData> fresh, const QString *dbPath = nullptr);
    void storeDiagram(const QString &icao, const AirportDiagram &diagram);

    mutable QReadWriteLock m_lock;
    std::unique_ptr<OfflineNavData> m_data;
    SpatialIndex m_index;
    QString m_dbPath;
};
