#include "map/navhittest.h"

#include "map/mapdatasource.h"
#include "map/mapformat.h"
#include "map/navoverlay.h"

#include <QPolygonF>

#include <cmath>
#include <limits>

namespace {

// Positions are shifted by up to a few hundred metres between the datums; the query box is
// widened by that much so that no candidate is lost at its edge.
constexpr double kBoxMarginDeg = 0.01;

double polygonArea(const QPolygonF &polygon)
{
    double twice = 0.0;
    for (int i = 0, j = int(polygon.size()) - 1; i < polygon.size(); j = i++)
        twice += polygon.at(j).x() * polygon.at(i).y() - polygon.at(i).x() * polygon.at(j).y();
    return std::abs(twice) / 2.0;
}

struct Best
{
    NavHit hit;
    double distance = std::numeric_limits<double>::max();

    // Kinds are offered in type order, so a later kind needs to be strictly nearer.
    bool offer(double d, double radius) const { return d <= radius && d < distance - 0.5; }
};

} // namespace

NavHit NavHitTest::hitTest(MapDataSource &data, const MapView &view, const QPointF &screen, double radiusPx,
                           const std::function<bool(const QString &)> &layerVisible)
{
    const auto visible = [&layerVisible](const char *layer) {
        return !layerVisible || layerVisible(QString::fromLatin1(layer));
    };
    const QPointF a = view.screenToGeo(screen - QPointF(radiusPx, radiusPx));
    const QPointF b = view.screenToGeo(screen + QPointF(radiusPx, radiusPx));
    const GeoBounds box =
        GeoBounds{std::min(a.x(), b.x()), std::min(a.y(), b.y()), std::max(a.x(), b.x()), std::max(a.y(), b.y())}
            .widened(kBoxMarginDeg);
    const auto distanceTo = [&view, &screen](double lat, double lon) {
        const QPointF p = view.geoToScreen(lat, lon) - screen;
        return std::hypot(p.x(), p.y());
    };

    Best best;
    // The candidate becomes the best hit when it is closer than everything before it.
    const auto take = [&](NavHit::Type type, const QString &ident, double lat, double lon) -> NavHit * {
        const double d = distanceTo(lat, lon);
        if (!best.offer(d, radiusPx))
            return nullptr;
        best.distance = d;
        best.hit = NavHit();
        best.hit.type = type;
        best.hit.ident = ident;
        best.hit.lat = lat;
        best.hit.lon = lon;
        return &best.hit;
    };
    if (visible("airports")) {
        for (const AirportRecord &airport : data.airports(box)) {
            if (NavHit *hit = take(NavHit::Airport, airport.icao, airport.lat, airport.lon))
                hit->airport = airport;
        }
    }
    if (visible("navaids")) {
        for (const NavaidRecord &navaid : data.navaids(box)) {
            if (MapFormat::isIlsComponent(navaid.type))
                continue;
            if (NavHit *hit = take(NavHit::Navaid, navaid.ident, navaid.lat, navaid.lon))
                hit->navaid = navaid;
        }
    }
    if (visible("waypoints") && view.zoom() > NavOverlayZoom::kWaypoints) {
        for (const WaypointRecord &wpt : data.waypoints(box)) {
            if (NavHit *hit = take(NavHit::Waypoint, wpt.ident, wpt.lat, wpt.lon))
                hit->waypoint = wpt;
        }
    }
    if (best.hit.isValid()) {
        best.hit.distancePx = best.distance;
        return best.hit;
    }

    if (!visible("airspaces") || view.zoom() <= NavOverlayZoom::kAirspaces)
        return NavHit();
    const QPointF here = view.screenToGeo(screen);
    double smallest = std::numeric_limits<double>::max();
    NavHit hit;
    for (const AirspaceRecord *airspace : data.airspacesIn(GeoBounds{here.x(), here.y(), here.x(), here.y()})) {
        QPolygonF polygon;
        for (const QPointF &latLon : airspace->boundary)
            polygon.append(view.geoToScreen(latLon.x(), latLon.y()));
        if (polygon.size() < 3 || !polygon.containsPoint(screen, Qt::OddEvenFill))
            continue;
        const double area = polygonArea(polygon);
        if (area < smallest) {
            smallest = area;
            hit = NavHit();
            hit.type = NavHit::Airspace;
            hit.ident = airspace->name;
            // An airspace is located by the middle of its extent.
            const QRectF extent = QPolygonF(airspace->boundary).boundingRect();
            hit.lat = extent.center().x();
            hit.lon = extent.center().y();
            hit.airspace = *airspace;
        }
    }
    return hit;
}
