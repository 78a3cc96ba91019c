#pragma once

#include <QList>
#include <QMetaType>
#include <QString>

// One point of a flight plan. Its airway is the one it is reached by (empty: direct); its
// segment tells which part of the plan it belongs to, and procedure points name their procedure.
struct FlightPlanWaypoint
{
    enum class Type { Airport, Vor, Ndb, Fix, User };
    enum class Segment { Departure, Sid, Enroute, Star, Approach, Destination };

    QString ident;
    Type type = Type::Fix;
    Segment segment = Segment::Enroute;
    double lat = 0.0;
    double lon = 0.0;
    // False for a point a file named without a position (MSFS 2024 route points); the route
    // planner resolves it against the navigation data.
    bool positioned = true;
    double altitudeFt = 0.0; // planned or constrained altitude; 0 when none
    QString airway;
    QString region;    // ICAO region, when known
    QString procedure; // SID, STAR or approach name of procedure points

    bool operator==(const FlightPlanWaypoint &other) const;
    bool operator!=(const FlightPlanWaypoint &other) const { return !(*this == other); }
};

// The leg that ends at waypoint `to`: from the point before it.
struct FlightPlanLeg
{
    int from = 0;
    int to = 0;
    double distanceNm = 0.0;
    double courseDeg = 0.0; // initial great-circle course, degrees true
    double minutes = 0.0;   // at the ground speed asked for; 0 without one
};

// A flight plan: departure and destination airports with their runways and procedures, the
// points in flying order (the first is the departure airport, the last the destination airport
// when they are known), the cruise altitude. Procedure names are kept as the navigation data and
// the simulators name them: SID/STAR "PIKA1A", transition a fix name, approach the ARINC ident
// ("I35L" ILS 35L, "R17RZ" RNAV 17R Z).
//
// A plain value: copied freely, no identity, usable on any thread. Degrees, feet, nautical miles;
// distances on a sphere of 3440.065 nm (the one the positioning uses).
struct FlightPlan
{
    QString title;
    bool ifr = true;
    QString departure;
    QString departureName;
    QString departureRunway; // "35L", no "RW"
    QString sid;
    QString sidTransition;
    QString destination;
    QString destinationName;
    QString destinationRunway;
    QString star;
    QString starTransition;
    QString approach;
    QString approachTransition;
    int cruiseAltitudeFt = 0;
    QList<FlightPlanWaypoint> waypoints;

    bool isEmpty() const { return waypoints.isEmpty() && departure.isEmpty() && destination.isEmpty(); }
    // Every leg, in order; minutes are filled when groundSpeedKt > 0.
    QList<FlightPlanLeg> legs(double groundSpeedKt = 0.0) const;
    double totalDistanceNm() const;
    // "ZSPD PIKAS G330 PIMOL DCT ... ZBAA": the route in the usual text form, airways collapsed.
    QString routeString() const;
    // The index of the first approach point, else of the first STAR point, else -1.
    int firstArrivalIndex() const;
    // "ZSPD-ZBAA" or the title.
    QString displayName() const;

    bool operator==(const FlightPlan &other) const;
    bool operator!=(const FlightPlan &other) const { return !(*this == other); }

    static constexpr double kEarthRadiusNm = 3440.065;
    static double distanceNm(double lat1, double lon1, double lat2, double lon2);
    static double courseDeg(double lat1, double lon1, double lat2, double lon2);
    // The point distanceNm from (lat, lon) on the initial course.
    static void pointAt(double lat, double lon, double courseDeg, double distanceNm, double *latOut, double *lonOut);
    static QString typeName(FlightPlanWaypoint::Type type); // "APT", "VOR", "NDB", "FIX", "USER"
};

Q_DECLARE_METATYPE(FlightPlanWaypoint)
Q_DECLARE_METATYPE(FlightPlan)
