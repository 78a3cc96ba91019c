#pragma once

#include <QList>
#include <QMetaType>
#include <QString>

// Plain values the map widget draws besides the navigation data: flight-plan route points,
// online-network traffic and remote stations' aircraft. Positions are WGS-84 degrees, altitudes
// feet, speeds knots, headings degrees true.

struct MapRoutePoint
{
    // What the point is in the plan; the origin, destination and procedure points get their own
    // labels ("ORIG", "DEST", "SID", "STAR").
    enum class Role { Enroute, Origin, Destination, Sid, Star };

    QString ident;
    double lat = 0.0;
    double lon = 0.0;
    QString type; // "APT", "NAV" or "WPT"
    Role role = Role::Enroute;
    double altitudeFt = 0.0; // planned altitude, 0 when none
};

// A tag in the middle of a route leg (its distance and time).
struct MapRouteLegTag
{
    double lat = 0.0;
    double lon = 0.0;
    QString text;
};

struct OnlineAircraft
{
    QString callsign;
    QString aircraftType;
    double lat = 0.0;
    double lon = 0.0;
    double altitudeFt = 0.0;
    double groundSpeedKts = 0.0;
    double headingDeg = 0.0;
};

struct RemoteAircraftDisplay
{
    QString stationId; // the agent's id, key of its track
    QString callsign;
    double lat = 0.0;
    double lon = 0.0;
    double altitudeFt = 0.0;
    double headingDeg = 0.0;
    double groundSpeedKts = 0.0;
    double verticalSpeedFpm = 0.0;
    bool selected = false; // the instructor's current target: drawn highlighted, on top
};

Q_DECLARE_TYPEINFO(MapRoutePoint, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(MapRouteLegTag, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(OnlineAircraft, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(RemoteAircraftDisplay, Q_RELOCATABLE_TYPE);

Q_DECLARE_METATYPE(MapRoutePoint)
Q_DECLARE_METATYPE(OnlineAircraft)
Q_DECLARE_METATYPE(RemoteAircraftDisplay)
