#pragma once

#include "map/mapview.h"
#include "nav/navrecords.h"

#include <QHash>
#include <QList>
#include <QString>

#include <vector>

class NavDataProvider;

// The map's view of the navigation data: visible-area queries and the few per-airport look-ups
// the painters make every frame.
//
// Airports, navaids and fixes come from the current provider's spatial index when it has one
// (its INavBoundsIndex capability); a provider without one (online) answers its ...InBounds
// queries from what it has fetched. Airways and airspaces have no such index in
// the provider, so this class keeps a one-degree grid over them, built on first use after each
// data change; a frame then touches only the cells it shows. Runway lists are cached per airport.
//
// Owned by the map widget; GUI thread only (the provider itself may be loading on a worker).
// Pointers returned by airwaysIn/airspacesIn stay valid until the next invalidate().
class MapDataSource
{
public:
    void setProvider(NavDataProvider *provider);
    NavDataProvider *provider() const { return m_provider; }

    // Forgets every cached answer; the next query rebuilds.
    void invalidate();
    // Counts invalidations, so caches of rendered frames can tell stale data.
    quint64 generation() const { return m_generation; }

    QList<AirportRecord> airports(const GeoBounds &box) const;
    QList<NavaidRecord> navaids(const GeoBounds &box) const;
    QList<WaypointRecord> waypoints(const GeoBounds &box) const;
    // Segments whose bounding box meets the box.
    QList<const AirwaySegment *> airwaysIn(const GeoBounds &box);
    // Airspaces whose boundary's bounding box meets the box.
    QList<const AirspaceRecord *> airspacesIn(const GeoBounds &box);

    const QList<RunwayRecord> &runways(const QString &icao);
    // True heading of the airport's longest runway, or -1 when it has none.
    double mainRunwayHeading(const QString &icao);

private:
    struct Grid
    {
        std::vector<std::vector<int>> cells; // 180 x 360 one-degree cells, empty until built
        std::vector<quint32> stamps;         // per item: the query that last returned it
        quint32 query = 0;
        bool built = false;
    };
    static void insertBox(Grid &grid, int item, double minLat, double minLon, double maxLat, double maxLon);
    static QList<int> queryGrid(Grid &grid, const GeoBounds &box);
    void buildAirwayGrid();
    void buildAirspaceGrid();

    NavDataProvider *m_provider = nullptr;
    quint64 m_generation = 0;

    QList<AirwaySegment> m_airways;
    Grid m_airwayGrid;
    QList<AirspaceRecord> m_airspaces;
    Grid m_airspaceGrid;
    QHash<QString, QList<RunwayRecord>> m_runways;
    QHash<QString, double> m_mainHeadings;
};
