#include "nav/offlinenavdataprovider.h"

#include "app/log/applogger.h"
#include "nav/navdatabasereader.h"
#include "nav/offlinenavdata.h"
#include "nav/samplenavdata.h"

#include <QReadLocker>
#include <QWriteLocker>

#include <algorithm>

// Queries. Each takes the read lock for the time of its copy; loading and diagram injection take
// the write lock (see offlinenavdataprovider_load.cpp and offlinenavdataprovider_diagram.cpp).

namespace {

bool inBox(double lat, double lon, double minLat, double minLon, double maxLat, double maxLon)
{
    return lat >= minLat && lat <= maxLat && lon >= minLon && lon <= maxLon;
}

bool boxesMeet(const GeoBox &box, double minLat, double minLon, double maxLat, double maxLon)
{
    return box.minLat <= maxLat && box.maxLat >= minLat && box.minLon <= maxLon && box.maxLon >= minLon;
}

template <typename Record>
QList<Record> filterInBounds(const QList<Record> &records, double minLat, double minLon, double maxLat, double maxLon)
{
    QList<Record> result;
    for (const Record &r : records) {
        if (inBox(r.lat, r.lon, minLat, minLon, maxLat, maxLon))
            result.append(r);
    }
    return result;
}

// Exact identifiers first, then prefixes, each group in list order.
template <typename Record> QList<Record> searchByIdent(const QList<Record> &records, const QString &query)
{
    const QString upper = query.trimmed().toUpper();
    QList<Record> exact;
    QList<Record> prefix;
    if (upper.isEmpty())
        return exact;
    for (const Record &r : records) {
        if (r.ident == upper)
            exact.append(r);
        else if (r.ident.startsWith(upper))
            prefix.append(r);
    }
    exact.append(prefix);
    return exact;
}

template <typename Record, typename Accept>
Record nearestByIdent(const QList<Record> &records, const QHash<QString, QList<int>> &byIdent, const QString &ident,
                      double lat, double lon, Accept accept)
{
    // Plain degrees without cosine scaling and without a distance limit: the caller wants the
    // same-named record closest to where it expects it, however far that is.
    const auto it = byIdent.constFind(ident.trimmed().toUpper());
    if (it == byIdent.cend())
        return Record();
    const Record *best = nullptr;
    double bestD2 = 1e18;
    for (int pos : it.value()) {
        const Record &r = records.at(pos);
        if (!accept(r))
            continue;
        const double dLat = r.lat - lat;
        const double dLon = r.lon - lon;
        const double d2 = dLat * dLat + dLon * dLon;
        if (d2 < bestD2) {
            bestD2 = d2;
            best = &r;
        }
    }
    return best ? *best : Record();
}

template <typename Value> Value valueOr(const QHash<QString, Value> &hash, const QString &key)
{
    return hash.value(key);
}

} // namespace

OfflineNavDataProvider::OfflineNavDataProvider(QObject *parent)
    : QObject(parent), m_data(std::make_unique<OfflineNavData>())
{
}

OfflineNavDataProvider::~OfflineNavDataProvider() = default;

QList<AirportRecord> OfflineNavDataProvider::airports() const
{
    QReadLocker locker(&m_lock);
    return m_data->airports.values();
}

AirportRecord OfflineNavDataProvider::airport(const QString &icao) const
{
    QReadLocker locker(&m_lock);
    return m_data->airports.value(icao);
}

QList<AirportRecord> OfflineNavDataProvider::searchAirports(const QString &query) const
{
    const QString upper = query.toUpper();
    QReadLocker locker(&m_lock);
    QList<AirportRecord> result;
    for (const AirportRecord &a : m_data->airports) {
        if (a.icao.startsWith(upper) || a.name.contains(upper, Qt::CaseInsensitive) ||
            a.city.contains(upper, Qt::CaseInsensitive))
            result.append(a);
    }
    return result;
}

QList<AirportRecord> OfflineNavDataProvider::airportsInBounds(double minLat, double minLon, double maxLat,
                                                              double maxLon) const
{
    QReadLocker locker(&m_lock);
    QList<AirportRecord> result;
    for (const AirportRecord &a : m_data->airports) {
        if (inBox(a.lat, a.lon, minLat, minLon, maxLat, maxLon))
            result.append(a);
    }
    return result;
}

QList<RunwayRecord> OfflineNavDataProvider::runways(const QString &icao) const
{
    QReadLocker locker(&m_lock);
    return m_data->runways.value(icao);
}

QList<NavaidRecord> OfflineNavDataProvider::navaids() const
{
    QReadLocker locker(&m_lock);
    return m_data->navaids;
}

QList<NavaidRecord> OfflineNavDataProvider::navaidsInBounds(double minLat, double minLon, double maxLat,
                                                            double maxLon) const
{
    QReadLocker locker(&m_lock);
    return filterInBounds(m_data->navaids, minLat, minLon, maxLat, maxLon);
}

QList<NavaidRecord> OfflineNavDataProvider::searchNavaids(const QString &query) const
{
    QReadLocker locker(&m_lock);
    return searchByIdent(m_data->navaids, query);
}

NavaidRecord OfflineNavDataProvider::findNavaid(const QString &ident, const QString &type) const
{
    QReadLocker locker(&m_lock);
    const auto it = m_data->navaidsByIdent.constFind(ident.trimmed().toUpper());
    if (it == m_data->navaidsByIdent.cend())
        return NavaidRecord();
    for (int pos : it.value()) {
        const NavaidRecord &n = m_data->navaids.at(pos);
        if (type.isEmpty() || n.type.compare(type, Qt::CaseInsensitive) == 0)
            return n;
    }
    return NavaidRecord();
}

NavaidRecord OfflineNavDataProvider::findNavaidNearest(const QString &ident, double lat, double lon,
                                                       const QString &type) const
{
    QReadLocker locker(&m_lock);
    return nearestByIdent(m_data->navaids, m_data->navaidsByIdent, ident, lat, lon, [&type](const NavaidRecord &n) {
        return type.isEmpty() || n.type.compare(type, Qt::CaseInsensitive) == 0;
    });
}

QList<WaypointRecord> OfflineNavDataProvider::waypoints() const
{
    QReadLocker locker(&m_lock);
    return m_data->waypoints;
}

WaypointRecord OfflineNavDataProvider::waypoint(const QString &ident) const
{
    QReadLocker locker(&m_lock);
    const auto it = m_data->waypointsByIdent.constFind(ident.trimmed().toUpper());
    if (it == m_data->waypointsByIdent.cend() || it.value().isEmpty())
        return WaypointRecord();
    return m_data->waypoints.at(it.value().first());
}

WaypointRecord OfflineNavDataProvider::findWaypoint(const QString &ident) const
{
    return waypoint(ident);
}

WaypointRecord OfflineNavDataProvider::findWaypointNearest(const QString &ident, double lat, double lon) const
{
    QReadLocker locker(&m_lock);
    return nearestByIdent(m_data->waypoints, m_data->waypointsByIdent, ident, lat, lon,
                          [](const WaypointRecord &) { return true; });
}

QList<WaypointRecord> OfflineNavDataProvider::waypointsInBounds(double minLat, double minLon, double maxLat,
                                                                double maxLon) const
{
    QReadLocker locker(&m_lock);
    return filterInBounds(m_data->waypoints, minLat, minLon, maxLat, maxLon);
}

QList<WaypointRecord> OfflineNavDataProvider::searchWaypoints(const QString &query) const
{
    QReadLocker locker(&m_lock);
    return searchByIdent(m_data->waypoints, query);
}

QList<INavDataProvider::Procedure> OfflineNavDataProvider::procedures(const QString &icao, const QString &type) const
{
    QReadLocker locker(&m_lock);
    QList<Procedure> result;
    for (const IndexRange &run : m_data->procedureRuns.value(icao)) {
        for (int i = run.begin; i < run.end; ++i) {
            const Procedure &p = m_data->procedures.at(i);
            if (type.isEmpty() || p.type == type)
                result.append(p);
        }
    }
    return result;
}

QList<INavDataProvider::ProcedureLeg> OfflineNavDataProvider::procedureLegs(const QString &icao,
                                                                            const QString &procName,
                                                                            const QString &procType,
                                                                            const QString &runway) const
{
    QReadLocker locker(&m_lock);
    return m_data->procedureLegs(icao, procName, procType, runway);
}

QList<AirwaySegment> OfflineNavDataProvider::airways() const
{
    QReadLocker locker(&m_lock);
    return m_data->airways;
}

QList<AirwaySegment> OfflineNavDataProvider::airwaysInBounds(double minLat, double minLon, double maxLat,
                                                             double maxLon) const
{
    QReadLocker locker(&m_lock);
    QList<AirwaySegment> result;
    for (const AirwaySegment &s : m_data->airways) {
        bool meets;
        if (qAbs(s.toLon - s.fromLon) > 180.0) {
            // Across the antimeridian its bounding box would span the globe.
            meets = inBox(s.fromLat, s.fromLon, minLat, minLon, maxLat, maxLon) ||
                    inBox(s.toLat, s.toLon, minLat, minLon, maxLat, maxLon);
        } else {
            const GeoBox box{qMin(s.fromLat, s.toLat), qMin(s.fromLon, s.toLon), qMax(s.fromLat, s.toLat),
                             qMax(s.fromLon, s.toLon)};
            meets = boxesMeet(box, minLat, minLon, maxLat, maxLon);
        }
        if (meets)
            result.append(s);
    }
    return result;
}

QList<AirspaceRecord> OfflineNavDataProvider::airspaces() const
{
    QReadLocker locker(&m_lock);
    return m_data->airspaces;
}

QList<AirspaceRecord> OfflineNavDataProvider::airspacesInBounds(double minLat, double minLon, double maxLat,
                                                                double maxLon) const
{
    QReadLocker locker(&m_lock);
    QList<AirspaceRecord> result;
    for (int i = 0; i < m_data->airspaces.size(); ++i) {
        const AirspaceRecord &a = m_data->airspaces.at(i);
        if (!a.boundary.isEmpty() && boxesMeet(m_data->airspaceBoxes.at(i), minLat, minLon, maxLat, maxLon))
            result.append(a);
    }
    return result;
}

QMap<int, TaxiwayNode> OfflineNavDataProvider::taxiwayNodes(const QString &icao) const
{
    QReadLocker locker(&m_lock);
    return m_data->taxiwayNodes.value(icao);
}

QList<TaxiwayEdge> OfflineNavDataProvider::taxiwayEdges(const QString &icao) const
{
    QReadLocker locker(&m_lock);
    return m_data->taxiwayEdges.value(icao);
}

QList<ParkingRecord> OfflineNavDataProvider::parkings(const QString &icao) const
{
    QReadLocker locker(&m_lock);
    return m_data->parkings.value(icao);
}

TowerRecord OfflineNavDataProvider::tower(const QString &icao) const
{
    QReadLocker locker(&m_lock);
    return m_data->towers.value(icao);
}

QList<FrequencyRecord> OfflineNavDataProvider::frequencies(const QString &icao) const
{
    QReadLocker locker(&m_lock);
    return m_data->frequencies.value(icao);
}

CycleInfo OfflineNavDataProvider::cycleInfo() const
{
    QReadLocker locker(&m_lock);
    return m_data->cycle;
}

namespace {

// The index hands out pointers into its own lists; callers get copies taken under the read lock.
template <typename Record> QList<Record> copiedRecords(const QList<const Record *> &found)
{
    QList<Record> result;
    result.reserve(found.size());
    for (const Record *record : found)
        result.append(*record);
    return result;
}

} // namespace

QList<AirportRecord> OfflineNavDataProvider::airportsInBoundsFast(double minLat, double minLon, double maxLat,
                                                                  double maxLon) const
{
    QReadLocker locker(&m_lock);
    return copiedRecords(m_index.queryAirports(minLat, minLon, maxLat, maxLon));
}

QList<NavaidRecord> OfflineNavDataProvider::navaidsInBoundsFast(double minLat, double minLon, double maxLat,
                                                                double maxLon) const
{
    QReadLocker locker(&m_lock);
    return copiedRecords(m_index.queryNavaids(minLat, minLon, maxLat, maxLon));
}

QList<WaypointRecord> OfflineNavDataProvider::waypointsInBoundsFast(double minLat, double minLon, double maxLat,
                                                                    double maxLon) const
{
    QReadLocker locker(&m_lock);
    return copiedRecords(m_index.queryWaypoints(minLat, minLon, maxLat, maxLon));
}

void OfflineNavDataProvider::setDbPath(const QString &path)
{
    QWriteLocker locker(&m_lock);
    m_dbPath = path;
}

QString OfflineNavDataProvider::dbPath() const
{
    QReadLocker locker(&m_lock);
    return m_dbPath;
}

void OfflineNavDataProvider::rebuildSpatialIndex()
{
    QWriteLocker locker(&m_lock);
    m_index.indexAirports(m_data->airports.values());
    m_index.indexNavaids(m_data->navaids);
    m_index.indexWaypoints(m_data->waypoints);
}

void OfflineNavDataProvider::install(std::unique_ptr<OfflineNavData> fresh, const QString *dbPath)
{
    // The index is built from the fresh data before taking the lock, so writers block readers
    // only for two swaps; the old data is freed after the lock is released.
    SpatialIndex index;
    index.indexAirports(fresh->airports.values());
    index.indexNavaids(fresh->navaids);
    index.indexWaypoints(fresh->waypoints);
    {
        QWriteLocker locker(&m_lock);
        m_data.swap(fresh);
        m_index.swap(index);
        if (dbPath)
            m_dbPath = *dbPath;
    }
}

bool OfflineNavDataProvider::loadFromDatabase(const QString &path)
{
    auto fresh = std::make_unique<OfflineNavData>();
    if (!readNavDatabase(path, *fresh))
        return false;
    install(std::move(fresh), &path);
    return true;
}

void OfflineNavDataProvider::loadSampleData()
{
    auto fresh = std::make_unique<OfflineNavData>();
    fillSampleNavData(*fresh);
    const QString summary = QStringLiteral("loadSampleData: %1 airports, %2 navaids, %3 waypoints, %4 airway "
                                           "segments, %5 airspaces")
                                .arg(fresh->airports.size())
                                .arg(fresh->navaids.size())
                                .arg(fresh->waypoints.size())
                                .arg(fresh->airways.size())
                                .arg(fresh->airspaces.size());
    install(std::move(fresh));
    AppLogger::instance().log(AppLogger::Info, QStringLiteral("NavData"), summary);
}
