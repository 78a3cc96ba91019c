#include "plan/airwaypathfinder.h"

#include <queue>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace {

constexpr double kDegToRad = M_PI / 180.0;

// The haversine term with the cosines of the two latitudes given: the search caches them per
// node, and every caller gets the same value from the same operations in the same order.
double haversineA(double lat1, double lon1, double cosLat1, double lat2, double lon2, double cosLat2)
{
    const double dPhi = (lat2 - lat1) * kDegToRad;
    const double dLambda = (lon2 - lon1) * kDegToRad;
    const double sinPhi = std::sin(dPhi / 2.0);
    const double sinLambda = std::sin(dLambda / 2.0);
    return sinPhi * sinPhi + cosLat1 * cosLat2 * sinLambda * sinLambda;
}

double haversineA(double lat1, double lon1, double lat2, double lon2)
{
    return haversineA(lat1, lon1, std::cos(lat1 * kDegToRad), lat2, lon2, std::cos(lat2 * kDegToRad));
}

double arcNm(double a)
{
    return AirwayPathfinder::kEarthRadiusNm * 2.0 * std::atan2(std::sqrt(a), std::sqrt(1.0 - a));
}

struct OpenEntry
{
    int node = 0;
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
    return arcNm(haversineA(lat1, lon1, lat2, lon2));
}

double AirwayPathfinder::distanceNm(const Node &a, const Node &b)
{
    return arcNm(haversineA(a.info.lat, a.info.lon, a.cosLat, b.info.lat, b.info.lon, b.cosLat));
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
    m_nodes.clear();
    m_firstEdge.clear();
    m_edges.clear();
    m_airways.clear();
    m_byIdent.clear();

    // Number the nodes as they come, then renumber them in key order.
    struct Link
    {
        int from;
        int to;
        int airway;
    };
    std::vector<Link> links;
    links.reserve(size_t(segments.size()));
    std::vector<Node> found;
    QHash<QString, int> numberOf;
    QHash<QString, int> airwayNumber;
    const auto nodeFor = [&](const QString &ident, double lat, double lon) {
        const QString key = waypointKey(ident, lat, lon);
        const auto known = numberOf.constFind(key);
        if (known != numberOf.cend()) {
            // The last segment to name a fix gives its position, as it does where a fix's
            // coordinates differ below the 4th decimal.
            found[size_t(*known)].info = {ident, lat, lon};
            return *known;
        }
        const int number = int(found.size());
        numberOf.insert(key, number);
        found.push_back({key, {ident, lat, lon}, 1.0});
        return number;
    };
    for (const AirwaySegment &s : segments) {
        if (std::isnan(s.fromLat) || std::isnan(s.fromLon) || std::isnan(s.toLat) || std::isnan(s.toLon))
            continue;
        if (m_maxSegmentNm > 0.0 && heuristicDistance(s.fromLat, s.fromLon, s.toLat, s.toLon) > m_maxSegmentNm)
            continue;
        const int from = nodeFor(s.fromIdent, s.fromLat, s.fromLon);
        const int to = nodeFor(s.toIdent, s.toLat, s.toLon);
        auto airway = airwayNumber.constFind(s.airway);
        if (airway == airwayNumber.cend()) {
            airway = airwayNumber.insert(s.airway, int(m_airways.size()));
            m_airways.append(s.airway);
        }
        links.push_back({from, to, *airway});
    }

    std::vector<int> order(found.size());
    for (size_t i = 0; i < order.size(); ++i)
        order[i] = int(i);
    std::sort(order.begin(), order.end(),
              [&found](int a, int b) { return found[size_t(a)].key < found[size_t(b)].key; });
    std::vector<int> rank(found.size());
    m_nodes.reserve(found.size());
    for (size_t i = 0; i < order.size(); ++i) {
        rank[size_t(order[i])] = int(i);
        Node node = std::move(found[size_t(order[i])]);
        node.cosLat = std::cos(node.info.lat * kDegToRad);
        m_byIdent[node.info.ident].append(int(i));
        m_nodes.push_back(std::move(node));
    }

    // Both directions of every segment, each node's neighbours in the order the segments came.
    m_firstEdge.assign(m_nodes.size() + 1, 0);
    for (const Link &l : links) {
        ++m_firstEdge[size_t(rank[size_t(l.from)]) + 1];
        ++m_firstEdge[size_t(rank[size_t(l.to)]) + 1];
    }
    for (size_t i = 1; i < m_firstEdge.size(); ++i)
        m_firstEdge[i] += m_firstEdge[i - 1];
    m_edges.resize(size_t(m_firstEdge.back()));
    std::vector<int> next(m_firstEdge.begin(), m_firstEdge.end() - 1);
    for (const Link &l : links) {
        const int from = rank[size_t(l.from)];
        const int to = rank[size_t(l.to)];
        m_edges[size_t(next[size_t(from)]++)] = {to, l.airway};
        m_edges[size_t(next[size_t(to)]++)] = {from, l.airway};
    }
}

int AirwayPathfinder::nearestOf(const QList<int> &nodes, double lat, double lon) const
{
    double best = 1e18;
    int bestNode = -1;
    for (const int n : nodes) {
        const WaypointInfo &info = m_nodes[size_t(n)].info;
        const double d = heuristicDistance(lat, lon, info.lat, info.lon);
        if (d < best) {
            best = d;
            bestNode = n;
        }
    }
    return bestNode;
}

int AirwayPathfinder::nearestNode(const QString &ident, double lat, double lon, double radiusNm) const
{
    const auto named = m_byIdent.constFind(ident);
    if (named != m_byIdent.cend())
        return nearestOf(*named, lat, lon);

    const double limit = std::max(kSnapFloorNm, radiusNm);
    const double cosLat = std::cos(lat * kDegToRad);
    double best = 1e18;
    int bestNode = -1;
    for (size_t i = 0; i < m_nodes.size(); ++i) {
        const Node &node = m_nodes[i];
        // The great-circle distance is never shorter than the meridian arc between the two
        // latitudes: a node that fails that bound cannot win, so the costly formula is skipped.
        const double meridianNm = std::abs(node.info.lat - lat) * kDegToRad * kEarthRadiusNm;
        if (meridianNm > best * 1.000001 + 1e-9)
            continue;
        const double d = arcNm(haversineA(lat, lon, cosLat, node.info.lat, node.info.lon, node.cosLat));
        if (d < best) {
            best = d;
            bestNode = int(i);
        }
    }
    return best < limit ? bestNode : -1;
}

QString AirwayPathfinder::findNearestNode(const QString &ident, double lat, double lon, double radiusNm) const
{
    const int node = nearestNode(ident, lat, lon, radiusNm);
    return node < 0 ? QString() : m_nodes[size_t(node)].key;
}

QList<AirwayPathfinder::PathPoint> AirwayPathfinder::findPath(const QString &fromIdent, double fromLat, double fromLon,
                                                              const QString &toIdent, double toLat, double toLon,
                                                              double searchRadiusNm) const
{
    const int start = nearestNode(fromIdent, fromLat, fromLon, searchRadiusNm);
    const int goal = nearestNode(toIdent, toLat, toLon, searchRadiusNm);
    if (start < 0 || goal < 0)
        return {};
    if (start == goal)
        return {PathPoint{toIdent, toLat, toLon, QStringLiteral("DCT")}};

    // Per search state by node number: no string is hashed or compared while searching.
    const Node &goalNode = m_nodes[size_t(goal)];
    const size_t count = m_nodes.size();
    std::vector<double> gScore(count, std::numeric_limits<double>::infinity()); // infinite: no g yet
    std::vector<int> cameFrom(count, -1);
    std::vector<int> arrivalAirway(count, -1);
    std::vector<char> closed(count, 0);
    std::vector<OpenEntry> heapStore;
    heapStore.reserve(4096);
    std::priority_queue<OpenEntry, std::vector<OpenEntry>, LargerF> open(LargerF(), std::move(heapStore));
    open.push({start, 0.0, distanceNm(m_nodes[size_t(start)], goalNode)});
    gScore[size_t(start)] = 0.0;

    int iterations = 0;
    while (!open.empty()) {
        if (++iterations >= kMaxIterations)
            return {};
        const OpenEntry current = open.top();
        open.pop();
        if (current.node == goal)
            return rebuildPath(start, goal, cameFrom, arrivalAirway);
        if (closed[size_t(current.node)])
            continue;
        closed[size_t(current.node)] = 1;
        const Node &here = m_nodes[size_t(current.node)];
        const double gHere = gScore[size_t(current.node)];
        const int end = m_firstEdge[size_t(current.node) + 1];
        for (int e = m_firstEdge[size_t(current.node)]; e < end; ++e) {
            const Neighbor &n = m_edges[size_t(e)];
            if (closed[size_t(n.node)])
                continue;
            const Node &there = m_nodes[size_t(n.node)];
            const double tentative = gHere + distanceNm(here, there);
            if (!(tentative < gScore[size_t(n.node)]))
                continue;
            gScore[size_t(n.node)] = tentative;
            cameFrom[size_t(n.node)] = current.node;
            arrivalAirway[size_t(n.node)] = n.airway;
            open.push({n.node, tentative, tentative + distanceNm(there, goalNode)});
        }
    }
    return {};
}

QList<AirwayPathfinder::PathPoint> AirwayPathfinder::findPath(const QString &fromIdent, const QString &toIdent) const
{
    if (fromIdent.isEmpty() || toIdent.isEmpty())
        return {};
    const QList<int> froms = m_byIdent.value(fromIdent);
    const QList<int> tos = m_byIdent.value(toIdent);
    double best = 1e18;
    int from = -1;
    int to = -1;
    for (const int f : froms) {
        for (const int t : tos) {
            const double d = distanceNm(m_nodes[size_t(f)], m_nodes[size_t(t)]);
            if (d < best) {
                best = d;
                from = f;
                to = t;
            }
        }
    }
    if (from < 0 || to < 0)
        return {};
    const WaypointInfo &a = m_nodes[size_t(from)].info;
    const WaypointInfo &b = m_nodes[size_t(to)].info;
    return findPath(a.ident, a.lat, a.lon, b.ident, b.lat, b.lon, 0.0);
}

QList<AirwayPathfinder::PathPoint> AirwayPathfinder::pathAlongAirway(const QString &fromIdent, double fromLat,
                                                                     double fromLon, const QString &airway,
                                                                     const QString &toIdent) const
{
    const int wanted = int(m_airways.indexOf(airway));
    if (wanted < 0)
        return {};
    QList<int> onAirway;
    for (const int node : m_byIdent.value(fromIdent)) {
        for (int e = m_firstEdge[size_t(node)]; e < m_firstEdge[size_t(node) + 1]; ++e) {
            if (m_edges[size_t(e)].airway == wanted) {
                onAirway.append(node);
                break;
            }
        }
    }
    const int start = nearestOf(onAirway, fromLat, fromLon);
    if (start < 0)
        return {};

    // Breadth first over this airway's edges: the fewest fixes to the first one of that name.
    std::vector<int> cameFrom(m_nodes.size(), -1);
    std::vector<int> arrival(m_nodes.size(), -1);
    std::vector<char> seen(m_nodes.size(), 0);
    std::vector<int> queue{start};
    seen[size_t(start)] = 1;
    for (size_t head = 0; head < queue.size(); ++head) {
        const int node = queue[head];
        if (node != start && m_nodes[size_t(node)].info.ident == toIdent)
            return rebuildPath(start, node, cameFrom, arrival);
        for (int e = m_firstEdge[size_t(node)]; e < m_firstEdge[size_t(node) + 1]; ++e) {
            const Neighbor &n = m_edges[size_t(e)];
            if (n.airway != wanted || seen[size_t(n.node)])
                continue;
            seen[size_t(n.node)] = 1;
            cameFrom[size_t(n.node)] = node;
            arrival[size_t(n.node)] = wanted;
            queue.push_back(n.node);
        }
    }
    return {};
}

QList<AirwayPathfinder::PathPoint> AirwayPathfinder::rebuildPath(int start, int goal, const std::vector<int> &cameFrom,
                                                                 const std::vector<int> &arrivalAirway) const
{
    QList<PathPoint> path;
    for (int node = goal;; node = cameFrom[size_t(node)]) {
        if (node < 0)
            return {}; // cannot happen with a consistent predecessor list
        const WaypointInfo &info = m_nodes[size_t(node)].info;
        path.append({info.ident, info.lat, info.lon,
                     node == start ? QStringLiteral("DCT") : m_airways.at(arrivalAirway[size_t(node)])});
        if (node == start)
            break;
    }
    std::reverse(path.begin(), path.end());
    return path;
}
