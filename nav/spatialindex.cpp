#include "nav/spatialindex.h"

#include <QtMath>

#include <cmath>

namespace {

// Truncation toward zero, then clamping. Written on the double so that values far outside the
// grid (or NaN) never reach an out-of-range integer conversion.
int clampedBin(double scaled, int last)
{
    if (!(scaled > 0.0))
        return 0;
    if (scaled >= last)
        return last;
    return int(scaled);
}

template <typename Record> void rebuildCells(const QList<Record> &records, QHash<int, QList<int>> &cells)
{
    cells.clear();
    for (int i = 0; i < records.size(); ++i) {
        const Record &r = records.at(i);
        cells[SpatialIndex::cellIndex(SpatialIndex::latBin(r.lat), SpatialIndex::lonBin(r.lon))].append(i);
    }
}

template <typename Record>
QList<const Record *> queryCells(const QList<Record> &records, const QHash<int, QList<int>> &cells, double minLat,
                                 double minLon, double maxLat, double maxLon)
{
    QList<const Record *> result;
    const int rowFirst = SpatialIndex::latBin(minLat);
    const int rowLast = SpatialIndex::latBin(maxLat);
    const int colFirst = SpatialIndex::lonBin(minLon);
    const int colLast = SpatialIndex::lonBin(maxLon);
    if (rowFirst > rowLast || colFirst > colLast || cells.isEmpty())
        return result;
    for (int row = rowFirst; row <= rowLast; ++row) {
        for (int col = colFirst; col <= colLast; ++col) {
            const auto it = cells.constFind(SpatialIndex::cellIndex(row, col));
            if (it == cells.cend())
                continue;
            for (int pos : it.value()) {
                const Record &r = records.at(pos);
                if (r.lat >= minLat && r.lat <= maxLat && r.lon >= minLon && r.lon <= maxLon)
                    result.append(&r);
            }
        }
    }
    return result;
}

template <typename Record>
const Record *nearestInCells(const QList<Record> &records, const QHash<int, QList<int>> &cells, double lat, double lon,
                             double maxDistance)
{
    const Record *best = nullptr;
    double bestD2 = maxDistance * maxDistance;
    const int row = SpatialIndex::latBin(lat);
    const int col = SpatialIndex::lonBin(lon);
    const int rowFirst = qMax(row - 1, 0);
    const int rowLast = qMin(row + 1, SpatialIndex::kRows - 1);
    const int colFirst = qMax(col - 1, 0);
    const int colLast = qMin(col + 1, SpatialIndex::kColumns - 1);
    const double k = std::cos(lat * M_PI / 180.0);
    for (int r = rowFirst; r <= rowLast; ++r) {
        for (int c = colFirst; c <= colLast; ++c) {
            const auto it = cells.constFind(SpatialIndex::cellIndex(r, c));
            if (it == cells.cend())
                continue;
            for (int pos : it.value()) {
                const Record &rec = records.at(pos);
                const double dLat = rec.lat - lat;
                const double dLon = (rec.lon - lon) * k;
                const double d2 = dLat * dLat + dLon * dLon;
                if (d2 < bestD2) {
                    best = &rec;
                    bestD2 = d2;
                }
            }
        }
    }
    return best;
}

} // namespace

int SpatialIndex::latBin(double lat)
{
    return clampedBin((lat + 90.0) / 180.0 * 180.0, kRows - 1);
}

int SpatialIndex::lonBin(double lon)
{
    return clampedBin((lon + 180.0) / 360.0 * 360.0, kColumns - 1);
}

void SpatialIndex::indexAirports(const QList<AirportRecord> &airports)
{
    m_airports = airports;
    rebuildCells(m_airports, m_airportCells);
}

void SpatialIndex::indexNavaids(const QList<NavaidRecord> &navaids)
{
    m_navaids = navaids;
    rebuildCells(m_navaids, m_navaidCells);
}

void SpatialIndex::indexWaypoints(const QList<WaypointRecord> &waypoints)
{
    m_waypoints = waypoints;
    rebuildCells(m_waypoints, m_waypointCells);
}

void SpatialIndex::clear()
{
    m_airports.clear();
    m_navaids.clear();
    m_waypoints.clear();
    m_airportCells.clear();
    m_navaidCells.clear();
    m_waypointCells.clear();
}

QList<const AirportRecord *> SpatialIndex::queryAirports(double minLat, double minLon, double maxLat,
                                                         double maxLon) const
{
    return queryCells(m_airports, m_airportCells, minLat, minLon, maxLat, maxLon);
}

QList<const NavaidRecord *> SpatialIndex::queryNavaids(double minLat, double minLon, double maxLat, double maxLon) const
{
    return queryCells(m_navaids, m_navaidCells, minLat, minLon, maxLat, maxLon);
}

QList<const WaypointRecord *> SpatialIndex::queryWaypoints(double minLat, double minLon, double maxLat,
                                                           double maxLon) const
{
    return queryCells(m_waypoints, m_waypointCells, minLat, minLon, maxLat, maxLon);
}

const AirportRecord *SpatialIndex::nearestAirport(double lat, double lon, double maxDistance) const
{
    return nearestInCells(m_airports, m_airportCells, lat, lon, maxDistance);
}

const NavaidRecord *SpatialIndex::nearestNavaid(double lat, double lon, double maxDistance) const
{
    return nearestInCells(m_navaids, m_navaidCells, lat, lon, maxDistance);
}

void SpatialIndex::swap(SpatialIndex &other) noexcept
{
    m_airports.swap(other.m_airports);
    m_navaids.swap(other.m_navaids);
    m_waypoints.swap(other.m_waypoints);
    m_airportCells.swap(other.m_airportCells);
    m_navaidCells.swap(other.m_navaidCells);
    m_waypointCells.swap(other.m_waypointCells);
}
