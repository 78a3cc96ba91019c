#pragma once

#include "nav/navrecords.h"

#include <QHash>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QStringList>

#include <vector>

// Finds an en-route path along published airways between two points. It holds an undirected
// graph of airway fixes (a fix is one node per identifier and position rounded to 4 decimals; the
// airway's direction restrictions are not modelled; implausibly long segments are left out),
// snaps each end to a node, and runs an A* search whose cost and heuristic are great-circle
// distances, giving up after kMaxIterations pops. Every failure is an empty result; the caller
// decides what to tell the user.
//
// A plain value owned by whoever builds it (the station's planning services, the command-line
// tool). setSegments replaces the graph and must not run while another thread searches; the const
// searches may run on several threads at once. Degrees, nautical miles.
class AirwayPathfinder
{
public:
    static constexpr int kMaxIterations = 500000;
    static constexpr double kSnapFloorNm = 200.0;
    static constexpr double kEarthRadiusNm = 3440.065;
    // setSegments leaves out airway segments longer than this, as it leaves out those with a NaN
    // end: real airway segments stay below it (the longest, over oceans and the Canadian north,
    // come to 967 nm), while a segment whose end was resolved to a same-named fix in another part
    // of the world is usually thousands of miles long and would send routes round the globe.
    static constexpr double kMaxSegmentNm = 1000.0;

    struct AirwaySegment
    {
        QString airway;
        QString fromIdent;
        double fromLat = 0.0;
        double fromLon = 0.0;
        QString toIdent;
        double toLat = 0.0;
        double toLon = 0.0;
    };

    struct PathPoint
    {
        QString ident;
        double lat = 0.0;
        double lon = 0.0;
        QString airway; // the airway this point is reached by, "DCT" for the first point
    };

    struct WaypointInfo
    {
        QString ident;
        double lat = 0.0;
        double lon = 0.0;
    };

    // The navigation data's airway segments in the form setSegments takes.
    static QList<AirwaySegment> segmentsFrom(const QList<::AirwaySegment> &airways);

    void setSegments(const QList<AirwaySegment> &segments);
    int nodeCount() const { return int(m_nodes.size()); }
    bool isEmpty() const { return m_nodes.empty(); }
    // The bound the next setSegments applies (0: none); see kMaxSegmentNm.
    void setMaxSegmentNm(double nm) { m_maxSegmentNm = nm; }
    double maxSegmentNm() const { return m_maxSegmentNm; }

    // Each end snaps to the nearest node of its identifier, or, when the graph has no fix of that
    // name, to the nearest node of all within max(200 nm, searchRadiusNm). Empty when an end does
    // not snap, the ends are not connected or the search gives up. Both ends on one node give the
    // destination alone, reached "DCT".
    QList<PathPoint> findPath(const QString &fromIdent, double fromLat, double fromLon, const QString &toIdent,
                              double toLat, double toLon, double searchRadiusNm) const;
    // Between two airway fixes named only by identifier. Where an identifier names several fixes
    // (the same name in different regions) the pair lying closest together is taken, so the
    // search runs between the fixes a route between them most plausibly means. Empty when either
    // name is not a fix of the graph.
    QList<PathPoint> findPath(const QString &fromIdent, const QString &toIdent) const;

    // The fixes met going along one airway from the fix fromIdent (the one nearest the given
    // point that lies on that airway) to the next fix named toIdent, both ends included; each
    // point after the first carries the airway. Empty when the airway does not join them.
    QList<PathPoint> pathAlongAirway(const QString &fromIdent, double fromLat, double fromLon, const QString &airway,
                                     const QString &toIdent) const;

    // Node key or empty; see findPath for the rule.
    QString findNearestNode(const QString &ident, double lat, double lon, double radiusNm) const;

    static QString waypointKey(const QString &ident, double lat, double lon);
    // Haversine on a sphere of 3440.065 nm.
    static double heuristicDistance(double lat1, double lon1, double lat2, double lon2);
    // Summed length of the segments; computed in kilometres on a 6371 km sphere and converted
    // with 0.539957, so it may differ from the search's own distances in the last digits.
    static double totalDistanceNm(const QList<AirwaySegment> &segments);
    // One "DCT" segment from the first point to the second with both ends named "DIRECT".
    QList<AirwaySegment> directRoute(double lat1, double lon1, double lat2, double lon2) const;

private:
    // Nodes are numbered in key order, so "first in key order" tie rules hold by number; each
    // node's neighbours sit together in m_edges, in the order the segments named them.
    struct Node
    {
        QString key;
        WaypointInfo info;
        double cosLat = 1.0; // cached for the distance formula
    };
    struct Neighbor
    {
        int node = 0;
        int airway = 0; // index into m_airways
    };

    int nearestOf(const QList<int> &nodes, double lat, double lon) const;
    int nearestNode(const QString &ident, double lat, double lon, double radiusNm) const;
    static double distanceNm(const Node &a, const Node &b);
    QList<PathPoint> rebuildPath(int start, int goal, const std::vector<int> &cameFrom,
                                 const std::vector<int> &arrivalAirway) const;

    std::vector<Node> m_nodes;
    std::vector<int> m_firstEdge; // node i's neighbours are m_edges[m_firstEdge[i] .. m_firstEdge[i + 1])
    std::vector<Neighbor> m_edges;
    QStringList m_airways;
    // Node numbers by identifier, in key order: answers "the nodes named X" without a scan.
    QHash<QString, QList<int>> m_byIdent;
    double m_maxSegmentNm = kMaxSegmentNm;
};

Q_DECLARE_METATYPE(AirwayPathfinder::PathPoint)
