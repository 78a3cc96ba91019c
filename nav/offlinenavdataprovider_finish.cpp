#include "nav/offlinenavdata_p.h"
#include "nav/offlinenavdataprovider.h"

#include <QStringList>

// What a load derives from the tables once they are read: look-up indexes, flags the tables
// leave implicit, and positions of legs stored without coordinates.

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

void OfflineNavDataProvider::Data::finish()
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
    legRuns = runsByAirport(procedureLegs);

    // Legs stored without a position (the scenery-record layout) take the same-named fix or aid
    // nearest their airport; procedures stay within a few degrees of it.
    constexpr double kLegFixReachDeg = 10.0;
    for (ProcedureLeg &leg : procedureLegs) {
        if (leg.fixIdent.isEmpty() || leg.lat != 0.0 || leg.lon != 0.0)
            continue;
        const auto apt = airports.constFind(leg.airportIcao);
        if (apt == airports.cend())
            continue;
        if (const WaypointRecord *w =
                nearestNamed(waypoints, waypointsByIdent, leg.fixIdent, apt->lat, apt->lon, kLegFixReachDeg)) {
            leg.lat = w->lat;
            leg.lon = w->lon;
        } else if (const NavaidRecord *n =
                       nearestNamed(navaids, navaidsByIdent, leg.fixIdent, apt->lat, apt->lon, kLegFixReachDeg)) {
            leg.lat = n->lat;
            leg.lon = n->lon;
        }
    }

    airspaceBoxes.clear();
    airspaceBoxes.reserve(airspaces.size());
    for (const AirspaceRecord &a : airspaces) {
        GeoBox box{90.0, 180.0, -90.0, -180.0};
        for (const QPointF &p : a.boundary) {
            box.minLon = qMin(box.minLon, p.x());
            box.maxLon = qMax(box.maxLon, p.x());
            box.minLat = qMin(box.minLat, p.y());
            box.maxLat = qMax(box.maxLat, p.y());
        }
        airspaceBoxes.append(box);
    }
}
