#include "nav/offlinenavdata.h"

#include <QStringList>

#include <algorithm>
#include <numeric>

// What a load derives from the tables once they are read: look-up indexes, flags the tables
// leave implicit, and positions of legs stored without coordinates; and the procedure legs kept
// packed, grouped by procedure.

using ProcedureLeg = INavDataProvider::ProcedureLeg;

namespace {

bool isHardSurface(const QString &surface)
{
    // Text as the scenery importers write it, or an X-Plane surface code (1 asphalt, 2 concrete
    // and the 1200 variants 20-38 and 50-57).
    static const QStringList kHardPrefixes = {QStringLiteral("ASP"), QStringLiteral("CON"), QStringLiteral("BIT"),
                                              QStringLiteral("TAR"), QStringLiteral("PAV"), QStringLiteral("HARD")};
    const QString upper = surface.trimmed().toUpper();
    bool numeric = false;
    const int code = upper.toInt(&numeric);
    if (numeric)
        return code == 1 || code == 2 || (code >= 20 && code <= 38) || (code >= 50 && code <= 57);
    for (const QString &prefix : kHardPrefixes) {
        if (upper.startsWith(prefix))
            return true;
    }
    return false;
}

template <typename Record> QHash<QString, QList<IndexRange>> runsByAirport(const QList<Record> &records)
{
    // Importers write one airport's rows together, so a handful of runs per airport covers them
    // and a look-up scans only that airport's rows.
    QHash<QString, QList<IndexRange>> runs;
    int start = 0;
    for (int i = 1; i <= records.size(); ++i) {
        if (i == records.size() || records.at(i).airportIcao != records.at(start).airportIcao) {
            runs[records.at(start).airportIcao].append(IndexRange{start, i});
            start = i;
        }
    }
    return runs;
}

template <typename Record> QHash<QString, QList<int>> positionsByIdent(const QList<Record> &records)
{
    QHash<QString, QList<int>> byIdent;
    byIdent.reserve(records.size());
    for (int i = 0; i < records.size(); ++i)
        byIdent[records.at(i).ident].append(i);
    return byIdent;
}

template <typename Record>
const Record *nearestNamed(const QList<Record> &records, const QHash<QString, QList<int>> &byIdent,
                           const QString &ident, double lat, double lon, double maxDistance)
{
    const auto it = byIdent.constFind(ident);
    if (it == byIdent.cend())
        return nullptr;
    const Record *best = nullptr;
    double bestD2 = maxDistance * maxDistance;
    for (int pos : it.value()) {
        const Record &r = records.at(pos);
        const double d2 = (r.lat - lat) * (r.lat - lat) + (r.lon - lon) * (r.lon - lon);
        if (d2 < bestD2) {
            bestD2 = d2;
            best = &r;
        }
    }
    return best;
}

} // namespace

void OfflineNavData::finish()
{
    for (auto it = airports.begin(); it != airports.end(); ++it) {
        const auto rw = runways.constFind(it.key());
        if (rw == runways.cend())
            continue;
        int longest = 0;
        for (const RunwayRecord &r : rw.value()) {
            longest = qMax(longest, r.length);
            if (isHardSurface(r.surface))
                it->isHardSurface = true;
        }
        if (it->longestRunway.isEmpty() && longest > 0)
            it->longestRunway = QStringLiteral("%1 ft").arg(longest);
    }
    for (NavaidRecord &n : navaids) {
        n.hasDme = n.type.contains(QLatin1String("DME"), Qt::CaseInsensitive) ||
                   n.type.contains(QLatin1String("TAC"), Qt::CaseInsensitive);
    }
    navaidsByIdent = positionsByIdent(navaids);
    waypointsByIdent = positionsByIdent(waypoints);
    procedureRuns = runsByAirport(procedures);
    legGroupsByAirport.clear();
    for (int g = 0; g < int(legGroups.size()); ++g)
        legGroupsByAirport[texts.text(legGroups[size_t(g)].airport)].append(g);

    // Legs stored without a position (the scenery-record layout) take the same-named fix or aid
    // nearest their airport; procedures stay within a few degrees of it.
    constexpr double kLegFixReachDeg = 10.0;
    for (const LegGroup &group : legGroups) {
        const auto apt = airports.constFind(texts.text(group.airport));
        if (apt == airports.cend())
            continue;
        for (qint32 i = group.begin; i < group.end; ++i) {
            PackedLeg &leg = legs[size_t(i)];
            if (leg.fixIdent == 0 || leg.lat != 0.0 || leg.lon != 0.0)
                continue;
            const QString &fix = texts.text(leg.fixIdent);
            if (const WaypointRecord *w =
                    nearestNamed(waypoints, waypointsByIdent, fix, apt->lat, apt->lon, kLegFixReachDeg)) {
                leg.lat = w->lat;
                leg.lon = w->lon;
            } else if (const NavaidRecord *n =
                           nearestNamed(navaids, navaidsByIdent, fix, apt->lat, apt->lon, kLegFixReachDeg)) {
                leg.lat = n->lat;
                leg.lon = n->lon;
            }
        }
    }

    airspaceBoxes.clear();
    airspaceBoxes.reserve(airspaces.size());
    for (const AirspaceRecord &a : airspaces) {
        GeoBox box{90.0, 180.0, -90.0, -180.0};
        for (const QPointF &p : a.boundary) {
            box.minLat = qMin(box.minLat, p.x());
            box.maxLat = qMax(box.maxLat, p.x());
            box.minLon = qMin(box.minLon, p.y());
            box.maxLon = qMax(box.maxLon, p.y());
        }
        airspaceBoxes.append(box);
    }
}

QList<ProcedureLeg> OfflineNavData::procedureLegs(const QString &icao, const QString &procName, const QString &procType,
                                                  const QString &runway) const
{
    QList<ProcedureLeg> result;
    const auto groups = legGroupsByAirport.constFind(icao);
    if (groups == legGroupsByAirport.cend())
        return result;
    // Texts the data set does not hold name no procedure of it.
    const quint32 name = texts.find(procName);
    const quint32 type = texts.find(procType);
    const quint32 rwy = texts.find(runway);
    if (name == NavTextTable::kMissing || type == NavTextTable::kMissing || rwy == NavTextTable::kMissing)
        return result;
    for (int g : groups.value()) {
        const LegGroup &group = legGroups[size_t(g)];
        if (group.procName != name || group.procType != type || group.runway != rwy)
            continue;
        result.reserve(result.size() + (group.end - group.begin));
        for (qint32 i = group.begin; i < group.end; ++i) {
            const PackedLeg &p = legs[size_t(i)];
            ProcedureLeg leg;
            leg.airportIcao = texts.text(group.airport);
            leg.procName = texts.text(group.procName);
            leg.procType = texts.text(group.procType);
            leg.runway = texts.text(group.runway);
            leg.seq = p.seq;
            leg.fixIdent = texts.text(p.fixIdent);
            leg.fixRegion = texts.text(p.fixRegion);
            leg.fixType1 = texts.text(p.fixType1);
            leg.fixType2 = texts.text(p.fixType2);
            leg.fixType3 = texts.text(p.fixType3);
            leg.legType = texts.text(p.legType);
            leg.lat = p.lat;
            leg.lon = p.lon;
            leg.altitude = p.altitude;
            leg.speedLimit = p.speedLimit;
            result.append(leg);
        }
    }
    return result;
}

LegCollector::LegCollector(OfflineNavData &data, qsizetype expectedLegs) : m_data(data)
{
    m_data.legs.reserve(size_t(expectedLegs));
    m_groupOf.reserve(size_t(expectedLegs));
}

void LegCollector::add(quint32 airport, quint32 procName, quint32 procType, quint32 runway, const PackedLeg &leg)
{
    const Key key{airport, procName, procType, runway};
    if (!m_hasLast || !(key == m_last)) {
        const auto it = m_groups.constFind(key);
        if (it != m_groups.cend()) {
            m_lastGroup = it.value();
        } else {
            m_lastGroup = quint32(m_data.legGroups.size());
            m_groups.insert(key, m_lastGroup);
            m_data.legGroups.push_back(LegGroup{airport, procName, procType, runway, 0, 0});
        }
        m_last = key;
        m_hasLast = true;
    }
    m_data.legs.push_back(leg);
    m_groupOf.push_back(m_lastGroup);
}

void LegCollector::finish()
{
    std::vector<PackedLeg> &legs = m_data.legs;
    const size_t n = legs.size();
    bool ordered = true;
    for (size_t i = 1; i < n && ordered; ++i)
        ordered =
            m_groupOf[i] > m_groupOf[i - 1] || (m_groupOf[i] == m_groupOf[i - 1] && legs[i].seq >= legs[i - 1].seq);
    if (!ordered) {
        // Rows of a procedure came apart, or out of seq order: a stable sort keeps equal seqs in
        // the order the database gave them.
        std::vector<quint32> order(n);
        std::iota(order.begin(), order.end(), 0u);
        std::stable_sort(order.begin(), order.end(), [&](quint32 a, quint32 b) {
            return m_groupOf[a] != m_groupOf[b] ? m_groupOf[a] < m_groupOf[b] : legs[a].seq < legs[b].seq;
        });
        std::vector<PackedLeg> sorted;
        sorted.reserve(n);
        std::vector<quint32> groups;
        groups.reserve(n);
        for (quint32 i : order) {
            sorted.push_back(legs[i]);
            groups.push_back(m_groupOf[i]);
        }
        legs.swap(sorted);
        m_groupOf.swap(groups);
    }
    for (LegGroup &g : m_data.legGroups)
        g.begin = g.end = 0;
    for (size_t i = 0; i < n; ++i) {
        LegGroup &g = m_data.legGroups[m_groupOf[i]];
        if (g.end == 0)
            g.begin = qint32(i);
        g.end = qint32(i) + 1;
    }
    std::vector<quint32>().swap(m_groupOf);
    m_groups.clear();
}
