#include "map/mapdatasource.h"

#include "nav/navdataprovider.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int kRows = 180;
constexpr int kColumns = 360;

int latRow(double lat)
{
    return std::clamp(int(std::floor(lat + 90.0)), 0, kRows - 1);
}

int lonColumn(double lon)
{
    return std::clamp(int(std::floor(lon + 180.0)), 0, kColumns - 1);
}

} // namespace

void MapDataSource::setProvider(NavDataProvider *provider)
{
    m_provider = provider;
    invalidate();
}

void MapDataSource::invalidate()
{
    ++m_generation;
    m_airways.clear();
    m_airwayGrid = Grid();
    m_airspaces.clear();
    m_airspaceGrid = Grid();
    m_runways.clear();
    m_mainHeadings.clear();
}

QList<AirportRecord> MapDataSource::airports(const GeoBounds &box) const
{
    if (!m_provider)
        return {};
    if (const INavBoundsIndex *index = m_provider->boundsIndex())
        return index->airportsInBoundsFast(box.minLat, box.minLon, box.maxLat, box.maxLon);
    return m_provider->airportsInBounds(box.minLat, box.minLon, box.maxLat, box.maxLon);
}

QList<NavaidRecord> MapDataSource::navaids(const GeoBounds &box) const
{
    if (!m_provider)
        return {};
    if (const INavBoundsIndex *index = m_provider->boundsIndex())
        return index->navaidsInBoundsFast(box.minLat, box.minLon, box.maxLat, box.maxLon);
    return m_provider->navaidsInBounds(box.minLat, box.minLon, box.maxLat, box.maxLon);
}

QList<WaypointRecord> MapDataSource::waypoints(const GeoBounds &box) const
{
    if (!m_provider)
        return {};
    if (const INavBoundsIndex *index = m_provider->boundsIndex())
        return index->waypointsInBoundsFast(box.minLat, box.minLon, box.maxLat, box.maxLon);
    return m_provider->waypointsInBounds(box.minLat, box.minLon, box.maxLat, box.maxLon);
}

void MapDataSource::insertBox(Grid &grid, int item, double minLat, double minLon, double maxLat, double maxLon)
{
    for (int row = latRow(minLat); row <= latRow(maxLat); ++row) {
        for (int column = lonColumn(minLon); column <= lonColumn(maxLon); ++column)
            grid.cells[size_t(row) * kColumns + column].push_back(item);
    }
}

QList<int> MapDataSource::queryGrid(Grid &grid, const GeoBounds &box)
{
    QList<int> items;
    if (++grid.query == 0) {
        // The stamp counter wrapped: start the stamps over so none matches by accident.
        std::fill(grid.stamps.begin(), grid.stamps.end(), 0);
        grid.query = 1;
    }
    for (int row = latRow(box.minLat); row <= latRow(box.maxLat); ++row) {
        for (int column = lonColumn(box.minLon); column <= lonColumn(box.maxLon); ++column) {
            for (int item : grid.cells[size_t(row) * kColumns + column]) {
                if (grid.stamps[item] != grid.query) {
                    grid.stamps[item] = grid.query;
                    items.append(item);
                }
            }
        }
    }
    return items;
}

void MapDataSource::buildAirwayGrid()
{
    m_airwayGrid.built = true;
    if (!m_provider)
        return;
    m_airways = m_provider->airways();
    m_airwayGrid.cells.assign(size_t(kRows) * kColumns, {});
    m_airwayGrid.stamps.assign(m_airways.size(), 0);
    for (int i = 0; i < m_airways.size(); ++i) {
        const AirwaySegment &s = m_airways.at(i);
        if (std::abs(s.toLon - s.fromLon) > 180.0) {
            // Across the antimeridian the box would span the globe: file it under its two ends.
            insertBox(m_airwayGrid, i, s.fromLat, s.fromLon, s.fromLat, s.fromLon);
            insertBox(m_airwayGrid, i, s.toLat, s.toLon, s.toLat, s.toLon);
        } else {
            insertBox(m_airwayGrid, i, std::min(s.fromLat, s.toLat), std::min(s.fromLon, s.toLon),
                      std::max(s.fromLat, s.toLat), std::max(s.fromLon, s.toLon));
        }
    }
}

void MapDataSource::buildAirspaceGrid()
{
    m_airspaceGrid.built = true;
    if (!m_provider)
        return;
    m_airspaces = m_provider->airspaces();
    m_airspaceGrid.cells.assign(size_t(kRows) * kColumns, {});
    m_airspaceGrid.stamps.assign(m_airspaces.size(), 0);
    for (int i = 0; i < m_airspaces.size(); ++i) {
        const QList<QPointF> &boundary = m_airspaces.at(i).boundary;
        if (boundary.isEmpty())
            continue;
        double minLat = boundary.first().x(), maxLat = minLat;
        double minLon = boundary.first().y(), maxLon = minLon;
        for (const QPointF &p : boundary) {
            minLat = std::min(minLat, p.x());
            maxLat = std::max(maxLat, p.x());
            minLon = std::min(minLon, p.y());
            maxLon = std::max(maxLon, p.y());
        }
        insertBox(m_airspaceGrid, i, minLat, minLon, maxLat, maxLon);
    }
}

QList<const AirwaySegment *> MapDataSource::airwaysIn(const GeoBounds &box)
{
    if (!m_airwayGrid.built)
        buildAirwayGrid();
    QList<const AirwaySegment *> result;
    if (m_airways.isEmpty())
        return result;
    for (int i : queryGrid(m_airwayGrid, box)) {
        const AirwaySegment &s = m_airways.at(i);
        const bool meets = std::max(s.fromLat, s.toLat) >= box.minLat && std::min(s.fromLat, s.toLat) <= box.maxLat;
        if (meets)
            result.append(&s);
    }
    return result;
}

QList<const AirspaceRecord *> MapDataSource::airspacesIn(const GeoBounds &box)
{
    if (!m_airspaceGrid.built)
        buildAirspaceGrid();
    QList<const AirspaceRecord *> result;
    if (m_airspaces.isEmpty())
        return result;
    for (int i : queryGrid(m_airspaceGrid, box))
        result.append(&m_airspaces.at(i));
    return result;
}

const QList<RunwayRecord> &MapDataSource::runways(const QString &icao)
{
    auto it = m_runways.find(icao);
    if (it == m_runways.end())
        it = m_runways.insert(icao, m_provider ? m_provider->runways(icao) : QList<RunwayRecord>());
    return it.value();
}

double MapDataSource::mainRunwayHeading(const QString &icao)
{
    auto it = m_mainHeadings.constFind(icao);
    if (it != m_mainHeadings.constEnd())
        return it.value();
    double heading = -1.0;
    int longest = -1;
    for (const RunwayRecord &r : runways(icao)) {
        if (r.length > longest) {
            longest = r.length;
            heading = r.heading;
        }
    }
    m_mainHeadings.insert(icao, heading);
    return heading;
}
