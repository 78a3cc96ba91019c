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
    if (visible("airports")) {
        for (const AirportRecord &airport : data.airports(box)) {
            const double d = distanceTo(airport.lat, airport.lon);
            if (best.offer(d, radiusPx)) {
                best.distance = d;
                best.hit = NavHit();
                best.hit.type = NavHit::Airport;
                best.hit.ident = airport.icao;
                best.hit.lat = airport.lat;
                best.hit.lon = airport.lon;
                best.hit.airport = airport;
            }
        }
    }
    if (visible("navaids")) {
        for (const NavaidRecord &navaid : data.navaids(box)) {
            if (MapFormat::isIlsComponent(navaid.type))
                continue;
            const double d = distanceTo(navaid.lat, navaid.lon);
            if (best.offer(d, radiusPx)) {
                best.distance = d;
                best.hit = NavHit();
                best.hit.type = NavHit::Navaid;
                best.hit.ident = navaid.ident;
                best.hit.lat = navaid.lat;
                best.hit.lon = navaid.lon;
                best.hit.navaid = navaid;
            }
        }
    }
    if (visible("waypoints") && view.zoom() > NavOverlayZoom::kWaypoints) {
        for (const WaypointRecord &wpt : data.waypoints(box)) {
            const double d = distanceTo(wpt.lat, wpt.lon);
            if (best.offer(d, radiusPx)) {
                best.distance = d;
                best.hit = NavHit();
                best.hit.type = NavHit::Waypoint;
                best.hit.ident = wpt.ident;
                best.hit.lat = wpt.lat;
                best.hit.lon = wpt.lon;
                best.hit.waypoint = wpt;
            }
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
        for (const QPointF &lonLat : airspace->boundary)
            polygon.append(view.geoToScreen(lonLat.y(), lonLat.x()));
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
            hit.lat = extent.center().y();
            hit.lon = extent.center().x();
            hit.airspace = *airspace;
        }
    }
    return hit;
}
