#pragma once

#include "map/mapobjects.h"
#include "plan/flightplan.h"

#include <QList>
#include <QString>

class MapWidget;

// The flight plan as the map draws it: one route point per plan point (so a point dragged on the
// map is the plan point of the same index), with the role that labels it, and a tag in the middle
// of each leg with its length and, at a planned ground speed, its time.
//
// Stateless helpers, GUI thread (show() touches the widget). Nautical miles, knots, minutes.
class RouteOverlay
{
public:
    static QList<MapRoutePoint> routePoints(const FlightPlan &plan);
    // No time in the tags when groundSpeedKt is 0.
    static QList<MapRouteLegTag> legTags(const FlightPlan &plan, double groundSpeedKt);
    // "125 nm 0:18", "8 nm" without a time.
    static QString legText(double distanceNm, double minutes);
    // Puts the plan on the map; an empty plan removes the route.
    static void show(MapWidget *map, const FlightPlan &plan, double groundSpeedKt);
};
