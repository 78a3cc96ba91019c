#include "map/routeoverlay.h"

#include "map/mapwidget.h"

#include <cmath>

namespace {

constexpr double kDegToRad = M_PI / 180.0;

// The middle of the leg as drawn: a straight line on the Mercator map, so the middle of its
// projected latitude, not of the degrees.
double mercatorMiddleLat(double lat1, double lat2)
{
    const auto y = [](double lat) { return std::log(std::tan(M_PI / 4.0 + lat * kDegToRad / 2.0)); };
    const double middle = (y(lat1) + y(lat2)) / 2.0;
    return (2.0 * std::atan(std::exp(middle)) - M_PI / 2.0) / kDegToRad;
}

} // namespace

QList<MapRoutePoint> RouteOverlay::routePoints(const FlightPlan &plan)
{
    using Segment = FlightPlanWaypoint::Segment;
    using Type = FlightPlanWaypoint::Type;
    QList<MapRoutePoint> points;
    for (const FlightPlanWaypoint &w : plan.waypoints) {
        MapRoutePoint p;
        p.ident = w.ident;
        p.lat = w.lat;
        p.lon = w.lon;
        p.altitudeFt = w.altitudeFt;
        p.type = w.type == Type::Airport                      ? QStringLiteral("APT")
                 : w.type == Type::Vor || w.type == Type::Ndb ? QStringLiteral("NAV")
                                                              : QStringLiteral("WPT");
        switch (w.segment) {
        case Segment::Departure:
            p.role = MapRoutePoint::Role::Origin;
            break;
        case Segment::Destination:
            p.role = MapRoutePoint::Role::Destination;
            break;
        case Segment::Sid:
            p.role = MapRoutePoint::Role::Sid;
            break;
        case Segment::Star:
        case Segment::Approach:
            p.role = MapRoutePoint::Role::Star;
            break;
        case Segment::Enroute:
            p.role = MapRoutePoint::Role::Enroute;
            break;
        }
        points.append(p);
    }
    return points;
}

QString RouteOverlay::legText(double distanceNm, double minutes)
{
    const QString distance = QStringLiteral("%1 nm").arg(qRound(distanceNm));
    if (minutes <= 0.0)
        return distance;
    const int whole = qRound(minutes);
    return QStringLiteral("%1 %2:%3").arg(distance).arg(whole / 60).arg(whole % 60, 2, 10, QLatin1Char('0'));
}

QList<MapRouteLegTag> RouteOverlay::legTags(const FlightPlan &plan, double groundSpeedKt)
{
    QList<MapRouteLegTag> tags;
    for (const FlightPlanLeg &leg : plan.legs(groundSpeedKt)) {
        const FlightPlanWaypoint &a = plan.waypoints.at(leg.from);
        const FlightPlanWaypoint &b = plan.waypoints.at(leg.to);
        MapRouteLegTag tag;
        tag.lat = mercatorMiddleLat(a.lat, b.lat);
        tag.lon = (a.lon + b.lon) / 2.0;
        tag.text = legText(leg.distanceNm, leg.minutes);
        tags.append(tag);
    }
    return tags;
}

void RouteOverlay::show(MapWidget *map, const FlightPlan &plan, double groundSpeedKt)
{
    if (plan.waypoints.isEmpty()) {
        map->clearRoute();
        return;
    }
    map->setRoutePoints(routePoints(plan));
    map->setRouteLegTags(legTags(plan, groundSpeedKt));
}
