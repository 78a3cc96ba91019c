#pragma once

#include "map/mapview.h"
#include "nav/navrecords.h"

#include <QString>

#include <functional>

class MapDataSource;

// What a click on the map hit. type is 0 when nothing was hit; the record of the hit kind is
// filled, the others stay empty.
struct NavHit
{
    enum Type { None = 0, Airport = 1, Navaid = 2, Waypoint = 3, Airspace = 5 };

    int type = None;
    QString ident; // ICAO code, aid or fix identifier, airspace name
    double lat = 0.0;
    double lon = 0.0;
    double distancePx = 0.0;
    AirportRecord airport;
    NavaidRecord navaid;
    WaypointRecord waypoint;
    AirspaceRecord airspace;

    bool isValid() const { return type != None; }
};

// The hit test behind clicks and the context menu. Airports, navaids and fixes within the radius
// of the screen point are candidates, the nearest on screen wins (on equal distance the first
// kind in that order); without one, the airspaces containing the point are tried and the
// smallest of them wins. Only what the map shows at this zoom can be hit: a hidden layer, or
// fixes at zoom 6 and below, airspaces at zoom 5 and below, are skipped.
class NavHitTest
{
public:
    NavHitTest() = delete;

    static NavHit hitTest(MapDataSource &data, const MapView &view, const QPointF &screen, double radiusPx,
                          const std::function<bool(const QString &)> &layerVisible);
};
