#include "plan/airwaypathfinder.h"

#include <QQueue>
#include <queue>

#include <cmath>
#include <limits>
#include <vector>

namespace {

constexpr double kDegToRad = M_PI / 180.0;

double haversineA(double lat1, double lon1, double lat2, double lon2)
{
    const double phi1 = lat1 * kDegToRad;
    const double phi2 = lat2 * kDegToRad;
    const double dPhi = (lat2 - lat1) * kDegToRad;
    const double dLambda = (lon2 - lon1) * kDegToRad;
    const double sinPhi = std::sin(dPhi / 2.0);
    const double sinLambda = std::sin(dLambda / 2.0);
    return sinPhi * sinPhi + std::cos(phi1) * std::cos(phi2) * sinLambda * sinLambda;
}

struct OpenEntry
{
    QString key;
    double g = 0.0;
    double f = 0.0;
};

// Orders the heap by f alone, smallest on top.
struct LargerF
{
    bool operator()(const OpenEntry &a, const OpenEntry &b) const { return a.f > b.f; }
};

} // namespace

QString AirwayPathfinder::waypointKey(const QString &ident, double lat, double lon)
{
    return QStringLiteral("%1@%2,%3").arg(ident).arg(lat, 0, 'f', 4).arg(lon, 0, 'f', 4);
}

double AirwayPathfinder::heuristicDistance(double lat1, double lon1, double lat2, double lon2)
{
    const double a = haversineA(lat1, lon1, lat2, lon2);
    return kEarthRadiusNm * 2.0 * std::atan2(std::sqrt(a), std::sqrt(1.0 - a));
}

double AirwayPathfinder::totalDistanceNm(const QList<AirwaySegment> &segments)
{
    double total = 0.0;
    for (const AirwaySegment &s : segments) {
        const double a = haversineA(s.fromLat, s.fromLon, s.toLat, s.toLon);
        total += 12742.0 * std::atan2(std::sqrt(a), std::sqrt(1.0 - a)) * 0.539957;
    }
    return total;
}

QList<AirwayPathfinder::AirwaySegment> AirwayPathfinder::directRoute(double lat1, double lon1, double lat2,
                                                                     double lon2) const
{
    AirwaySegment s;
    s.airway = QStringLiteral("DCT");
    s.fromIdent = QStringLiteral("DIRECT");
    s.fromLat = lat1;
    s.fromLon = lon1;
    s.toIdent = QStringLiteral("DIRECT");
    s.toLat = lat2;
    s.toLon = lon2;
    return {s};
}

QList<AirwayPathfinder::AirwaySegment> AirwayPathfinder::segmentsFrom(const QList<::AirwaySegment> &airways)
{
    QList<AirwaySegment> segments;
    segments.reserve(airways.size());
    for (const ::AirwaySegment &a : airways)
        segments.append({a.name, a.fromIdent, a.fromLat, a.fromLon, a.toIdent, a.toLat, a.toLon});
    return segments;
}

void AirwayPathfinder::setSegments(const QList<AirwaySegment> &segments)
{
    m_adjacency.clear();
    m_nodes.clear();
    m_keys.clear();
    m_byIdent.clear();
    for (const AirwaySegment &s : segments) {
        if (std::isnan(s.fromLat) || std::isnan(s.fromLon) || std::isnan(s.toLat) || std::isnan(s.toLon))
            continue;
        const QString from = waypointKey(s.fromIdent, s.fromLat, s.fromLon);
        const QString to = waypointKey(s.toIdent, s.toLat, s.toLon);
        m_nodes.insert(from, {s.fromIdent, s.fromLat, s.fromLon});
        m_nodes.insert(to, {s.toIdent, s.toLat, s.toLon});
        m_keys.insert(from);
        m_keys.insert(to);
        m_adjacency[from].append({to, s.airway});
        m_adjacency[to].append({from, s.airway});
    }
    for (auto it = m_nodes.cbegin(); it != m_nodes.cend(); ++it)
        m_byIdent[it->ident].append(it.key());
}

QString AirwayPathfinder::nearestOf(const QStringList &keys, double lat, double lon, double limitNm) const
{
    double best = 1e18;
    QString bestKey;
    for (const QString &key : keys) {
        const WaypointInfo info = m_nodes.value(key);
        const double d = heuristicDistance(lat, lon, info.lat, info.lon);
        if (d < best) {
            best = d;
            bestKey = key;
        }
    }
    return best < limitNm ? bestKey : QString();
}

QString AirwayPathfinder::findNearestNode(const QString &ident, double lat, double lon, double radiusNm) const
{
    const auto named = m_byIdent.constFind(ident);
    if (named != m_byIdent.cend())
        return nearestOf(*named, lat, lon, std::numeric_limits<double>::infinity());

    const double limit = std::max(kSnapFloorNm, radiusNm);
    double best = 1e18;
    QString bestKey;
    for (auto it = m_nodes.cbegin(); it != m_nodes.cend(); ++it) {
        // The great-circle distance is never shorter than the meridian arc between the two
        // latitudes: a node that fails that bound cannot win, so the costly formula is skipped.
        const double meridianNm = std::abs(it->lat - lat) * kDegToRad * kEarthRadiusNm;
        if (meridianNm > best * 1.000001 + 1e-9)
            continue;
        const double d = heuristicDistance(lat, lon, it->lat, it->lon);
        if (d < best) {
            best = d;
            bestKey = it.key();
        }
    }
    return best < limit ? bestKey : QString();
}

QList<AirwayPathfinder::PathPoint> AirwayPathfinder::findPath(const QString &fromIdent, double fromLat, double fromLon,
                                                              const QString &toIdent, double toLat, double toLon,
                                                              double searchRadiusNm) const
{
    const QString start = findNearestNode(fromIdent, fromLat, fromLon, searchRadiusNm);
    const QString goal = findNearestNode(toIdent, toLat, toLon, searchRadiusNm);
    if (start.isEmpty() || goal.isEmpty())
        return {};
    if (start == goal)
        return {PathPoint{toIdent, toLat, toLon, QStringLiteral("DCT")}};

    const WaypointInfo goalInfo = m_nodes.value(goal);
    const WaypointInfo startInfo = m_nodes.value(start);
    std::priority_queue<OpenEntry, std::vector<OpenEntry>, LargerF> open;
    QMap<QString, double> gScore;
    QMap<QString, QString> cameFrom;
    QMap<QString, QString> arrivalAirway;
    QSet<QString> closed;
    open.push({start, 0.0, heuristicDistance(startInfo.lat, startInfo.lon, goalInfo.lat, goalInfo.lon)});
    gScore.insert(start, 0.0);

    int iterations = 0;
    while (!open.empty()) {
        if (++iterations >= kMaxIterations)
            return {};
        const OpenEntry current = open.top();
        open.pop();
        if (current.key == goal)
            return rebuildPath(start, goal, cameFrom, arrivalAirway);
        // Closing and the closed test in one hash lookup: an entry for a closed node is stale.
        const qsizetype closedBefore = closed.size();
        closed.insert(current.key);
        if (closed.size() == closedBefore)
            continue;
        // The first entry of a node to come out carries its best g (the heuristic is the same for
        // every entry of a node), so the map need not be asked.
        const WaypointInfo &here = *m_nodes.constFind(current.key);
        for (const Neighbor &n : *m_adjacency.constFind(current.key)) {
            if (closed.contains(n.key))
                continue;
            const WaypointInfo &there = *m_nodes.constFind(n.key);
            const double tentative = current.g + heuristicDistance(here.lat, here.lon, there.lat, there.lon);
            auto known = gScore.find(n.key);
            if (known == gScore.end())
                gScore.insert(n.key, tentative);
            else if (tentative < *known)
                *known = tentative;
            else
                continue;
            cameFrom.insert(n.key, current.key);
            arrivalAirway.insert(n.key, n.airway);
            open.push(
                {n.key, tentative, tentative + heuristicDistance(there.lat, there.lon, goalInfo.lat, goalInfo.lon)});
        }
    }
    return {};
}

QList<AirwayPathfinder::PathPoint> AirwayPathfinder::findPath(const QString &fromIdent, const QString &toIdent) const
{
    const QStringList froms = m_byIdent.value(fromIdent);
    const QStringList tos = m_byIdent.value(toIdent);
    double best = 1e18;
    WaypointInfo from;
    WaypointInfo to;
    for (const QString &f : froms) {
        const WaypointInfo a = m_nodes.value(f);
        for (const QString &t : tos) {
            const WaypointInfo b = m_nodes.value(t);
            const double d = heuristicDistance(a.lat, a.lon, b.lat, b.lon);
            if (d < best) {
                best = d;
                from = a;
                to = b;
            }
        }
    }
    if (from.ident.isEmpty() || to.ident.isEmpty())
        return {};
    return findPath(from.ident, from.lat, from.lon, to.ident, to.lat, to.lon, 0.0);
}

QList<AirwayPathfinder::PathPoint> AirwayPathfinder::pathAlongAirway(const QString &fromIdent, double fromLat,
                                                                     double fromLon, const QString &airway,
                                                                     const QString &toIdent) const
{
    QStringList onAirway;
    for (const QString &key : m_byIdent.value(fromIdent)) {
        for (const Neighbor &n : m_adjacency.value(key)) {
            if (n.airway == airway) {
                onAirway.append(key);
                break;
            }
        }
    }
    const QString start = nearestOf(onAirway, fromLat, fromLon, std::numeric_limits<double>::infinity());
    if (start.isEmpty())
        return {};

    // Breadth first over this airway's edges: the fewest fixes to the first one of that name.
    QMap<QString, QString> cameFrom;
    QSet<QString> seen{start};
    QQueue<QString> queue;
    queue.enqueue(start);
    while (!queue.isEmpty()) {
        const QString key = queue.dequeue();
        if (key != start && m_nodes.value(key).ident == toIdent) {
            QMap<QString, QString> arrival;
            for (auto it = cameFrom.cbegin(); it != cameFrom.cend(); ++it)
                arrival.insert(it.key(), airway);
            return rebuildPath(start, key, cameFrom, arrival);
        }
        for (const Neighbor &n : m_adjacency.value(key)) {
            if (n.airway != airway || seen.contains(n.key))
                continue;
            seen.insert(n.key);
            cameFrom.insert(n.key, key);
            queue.enqueue(n.key);
        }
    }
    return {};
}

QList<AirwayPathfinder::PathPoint> AirwayPathfinder::rebuildPath(const QString &start, const QString &goal,
                                                                 const QMap<QString, QString> &cameFrom,
                                                                 const QMap<QString, QString> &arrivalAirway) const
{
    QList<PathPoint> path;
    QString key = goal;
    while (true) {
        const WaypointInfo info = m_nodes.value(key);
        const QString airway = key == start ? QStringLiteral("DCT") : arrivalAirway.value(key);
        path.prepend({info.ident, info.lat, info.lon, airway});
        if (key == start)
            break;
        key = cameFrom.value(key);
        if (key.isEmpty())
            return {}; // cannot happen with a consistent predecessor map
    }
    return path;
}
