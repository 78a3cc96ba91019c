#pragma once

#include "nav/navrecords.h"

#include <QHash>
#include <QList>

// A fixed one-degree latitude/longitude grid (180 rows x 360 columns) over airports, navaids and
// fixes, so that map repaints and nearest look-ups touch only the cells they need.
//
// The index keeps its own copies of the record lists (implicitly shared with the caller's lists)
// and, per occupied cell, the 32-bit positions of the records in it. Query results point into
// those lists and stay valid until the next index*() call, clear() or destruction.
//
// The grid clamps at the poles and at +/-180 degrees and does not wrap: a box with minLon greater
// than maxLon (across the antimeridian) finds nothing. Bounds are inclusive.
//
// Not thread-safe on its own: the owner serialises rebuilds against queries.
class SpatialIndex
{
public:
    static constexpr int kRows = 180;
    static constexpr int kColumns = 360;

    static int latBin(double lat);
    static int lonBin(double lon);
    static int cellIndex(int latBin, int lonBin) { return latBin * kColumns + lonBin; }

    void indexAirports(const QList<AirportRecord> &airports);
    void indexNavaids(const QList<NavaidRecord> &navaids);
    void indexWaypoints(const QList<WaypointRecord> &waypoints);
    void clear();

    // Records with minLat <= lat <= maxLat and minLon <= lon <= maxLon, cell by cell, rows
    // (south to north) then columns (west to east), list order within a cell.
    QList<const AirportRecord *> queryAirports(double minLat, double minLon, double maxLat, double maxLon) const;
    QList<const NavaidRecord *> queryNavaids(double minLat, double minLon, double maxLat, double maxLon) const;
    QList<const WaypointRecord *> queryWaypoints(double minLat, double minLon, double maxLat, double maxLon) const;

    // Nearest record within maxDistance degrees (longitude scaled by cos(lat)), searched only in
    // the 3 x 3 cells around the point; null when none. Ties keep the first record met.
    const AirportRecord *nearestAirport(double lat, double lon, double maxDistance) const;
    const NavaidRecord *nearestNavaid(double lat, double lon, double maxDistance) const;

    void swap(SpatialIndex &other) noexcept;

private:
    QList<AirportRecord> m_airports;
    QList<NavaidRecord> m_navaids;
    QList<WaypointRecord> m_waypoints;
    QHash<int, QList<int>> m_airportCells;
    QHash<int, QList<int>> m_navaidCells;
    QHash<int, QList<int>> m_waypointCells;
};
