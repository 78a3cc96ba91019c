#pragma once

#include "plan/flightplan.h"
#include "plan/simbriefservice.h"

#include <QCoreApplication>
#include <QString>
#include <QStringList>

class AirwayPathfinder;
class INavDataProvider;

// Builds flight plans from the navigation data: departure airport, SID (runway part, common part,
// transition), the en-route part (the pathfinder's airway route, or the user's route text with
// its airways followed fix by fix), STAR, approach (transition and final, up to the runway) and
// the destination; en-route points at the cruise altitude, procedure points at their published
// altitudes. Also turns an OFP into a plan, gives positions to points a file named without one,
// lists what can be chosen (runways, procedures, transitions) and computes where to put the
// aircraft on a plan.
//
// Borrows the navigation data and the pathfinder (both may be replaced or null: without a
// pathfinder, airways in route texts cannot be followed and the en-route part is direct). All
// operations are const and may run on any thread the borrowed objects allow.
class RoutePlanner
{
    Q_DECLARE_TR_FUNCTIONS(RoutePlanner)
public:
    struct Request
    {
        QString departure;
        QString departureRunway;
        QString sid;
        QString sidTransition;
        QString destination;
        QString destinationRunway;
        QString star;
        QString starTransition;
        QString approach;
        QString approachTransition;
        int cruiseAltitudeFt = 0;
        // "PIKAS G330 PIMOL A593 DUMET" (airports, DCT, speed/level groups and the procedures'
        // names may be in it); empty: the pathfinder finds the en-route part.
        QString route;
    };

    struct Result
    {
        bool ok = false;
        FlightPlan plan;
        QString error;     // when not ok; for the user
        QStringList notes; // what was settled on the way (a direct leg, a skipped procedure)
    };

    // Where and how to put the aircraft: degrees, feet, knots, degrees true.
    struct Placement
    {
        double lat = 0.0;
        double lon = 0.0;
        double altitudeFt = 0.0;
        double headingDeg = 0.0;
        double speedKt = 0.0;
        bool onGround = false;
    };

    static constexpr double kPathSearchRadiusNm = 200.0;
    // An airway path longer than this many times the direct distance gets a note.
    static constexpr double kDetourNoteRatio = 2.0;
    // The descent profile used to place the aircraft before an approach: about three degrees.
    static constexpr double kDescentFtPerNm = 318.0;

    explicit RoutePlanner(const INavDataProvider *nav = nullptr, const AirwayPathfinder *pathfinder = nullptr);
    void setNavData(const INavDataProvider *nav) { m_nav = nav; }
    void setPathfinder(const AirwayPathfinder *pathfinder) { m_pathfinder = pathfinder; }

    Result planRoute(const Request &request) const;
    // The OFP's route text resolved along the navigation data; when that fails, the OFP's own
    // navigation log with its positions; else its fix list resolved point by point.
    Result planFromOfp(const SimBriefService::OFPData &ofp) const;

    // The en-route points of a route text between two points (which are not included).
    bool resolveRoute(const QString &route, const FlightPlanWaypoint &from, const FlightPlanWaypoint &to,
                      QList<FlightPlanWaypoint> *points, QString *error) const;
    // The fix, navaid or airport of that name nearest the point (a VOR wins over a fix of its
    // name at the same place); false when the data has none.
    bool locate(const QString &ident, double nearLat, double nearLon, FlightPlanWaypoint *point) const;
    // Gives positions to the points read without one; the number left without a position.
    int resolvePositions(FlightPlan *plan) const;

    // Choices for the planning form.
    QStringList runways(const QString &icao) const;
    // SIDs ("SID") or STARs ("STAR") usable from/to the runway (all when runway is empty).
    QStringList procedureNames(const QString &icao, const QString &type, const QString &runway) const;
    QStringList approachNames(const QString &icao, const QString &runway) const;
    QStringList transitions(const QString &icao, const QString &type, const QString &name) const;
    // The points of one procedure in flying order; type "SID", "STAR" or "APPCH".
    QList<FlightPlanWaypoint> procedurePoints(const QString &icao, const QString &type, const QString &name,
                                              const QString &runway, const QString &transition) const;

    // At point index, on the course of the leg leaving it (the leg reaching it for the last point):
    // airports on the ground, other points at their altitude (or the cruise altitude).
    static Placement placementAt(const FlightPlan &plan, int index);
    // distanceNm before the first approach point (else the first STAR point, else the destination)
    // on the inbound course, at an altitude on a three-degree profile above that point's
    // altitude (capped at the cruise altitude) and an approach speed. False without such a point.
    static bool placementBeforeArrival(const FlightPlan &plan, double distanceNm, Placement *placement);

    // "I16C" gives "16C", "R31RZ" gives "31R"; empty when the ident names no runway.
    static QString approachRunway(const QString &approachIdent);

private:
    FlightPlanWaypoint airportPoint(const QString &icao, FlightPlanWaypoint::Segment segment) const;
    FlightPlanWaypoint::Type typeAt(const QString &ident, double lat, double lon) const;
    bool enroute(const Request &request, const FlightPlanWaypoint &from, const FlightPlanWaypoint &to,
                 QList<FlightPlanWaypoint> *points, QStringList *notes, QString *error) const;
    Result planFromNavlog(const SimBriefService::OFPData &ofp) const;
    Result planFromFixList(const SimBriefService::OFPData &ofp) const;

    const INavDataProvider *m_nav = nullptr;
    const AirwayPathfinder *m_pathfinder = nullptr;
};

Q_DECLARE_METATYPE(RoutePlanner::Placement)
