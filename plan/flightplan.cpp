#include "plan/flightplan.h"

#include <cmath>

namespace {

constexpr double kDegToRad = M_PI / 180.0;
// Coordinates count as equal within this many degrees (about 0.5 m): a .pln keeps hundredths of
// a second of arc (2.8e-6 degrees), a .fms six decimals.
constexpr double kPositionTolerance = 5e-6;

bool samePosition(double a, double b)
{
    return std::abs(a - b) <= kPositionTolerance;
}

} // namespace

bool FlightPlanWaypoint::operator==(const FlightPlanWaypoint &o) const
{
    return ident == o.ident && type == o.type && segment == o.segment && positioned == o.positioned &&
           samePosition(lat, o.lat) && samePosition(lon, o.lon) && std::abs(altitudeFt - o.altitudeFt) < 0.01 &&
           airway == o.airway && region == o.region && procedure == o.procedure;
}

bool FlightPlan::operator==(const FlightPlan &o) const
{
    return title == o.title && ifr == o.ifr && departure == o.departure && departureName == o.departureName &&
           departureRunway == o.departureRunway && sid == o.sid && sidTransition == o.sidTransition &&
           destination == o.destination && destinationName == o.destinationName &&
           destinationRunway == o.destinationRunway && star == o.star && starTransition == o.starTransition &&
           approach == o.approach && approachTransition == o.approachTransition &&
           cruiseAltitudeFt == o.cruiseAltitudeFt && waypoints == o.waypoints;
}

double FlightPlan::distanceNm(double lat1, double lon1, double lat2, double lon2)
{
    const double phi1 = lat1 * kDegToRad;
    const double phi2 = lat2 * kDegToRad;
    const double sinPhi = std::sin((phi2 - phi1) / 2.0);
    const double sinLambda = std::sin((lon2 - lon1) * kDegToRad / 2.0);
    const double a = sinPhi * sinPhi + std::cos(phi1) * std::cos(phi2) * sinLambda * sinLambda;
    return kEarthRadiusNm * 2.0 * std::atan2(std::sqrt(a), std::sqrt(1.0 - a));
}

double FlightPlan::courseDeg(double lat1, double lon1, double lat2, double lon2)
{
    const double phi1 = lat1 * kDegToRad;
    const double phi2 = lat2 * kDegToRad;
    const double dLambda = (lon2 - lon1) * kDegToRad;
    const double y = std::sin(dLambda) * std::cos(phi2);
    const double x = std::cos(phi1) * std::sin(phi2) - std::sin(phi1) * std::cos(phi2) * std::cos(dLambda);
    const double deg = std::atan2(y, x) / kDegToRad;
    return std::fmod(deg + 360.0, 360.0);
}

void FlightPlan::pointAt(double lat, double lon, double course, double distance, double *latOut, double *lonOut)
{
    const double delta = distance / kEarthRadiusNm;
    const double theta = course * kDegToRad;
    const double phi1 = lat * kDegToRad;
    const double lambda1 = lon * kDegToRad;
    const double phi2 =
        std::asin(std::sin(phi1) * std::cos(delta) + std::cos(phi1) * std::sin(delta) * std::cos(theta));
    const double lambda2 = lambda1 + std::atan2(std::sin(theta) * std::sin(delta) * std::cos(phi1),
                                                std::cos(delta) - std::sin(phi1) * std::sin(phi2));
    *latOut = phi2 / kDegToRad;
    *lonOut = std::remainder(lambda2 / kDegToRad, 360.0);
}

QString FlightPlan::typeName(FlightPlanWaypoint::Type type)
{
    switch (type) {
    case FlightPlanWaypoint::Type::Airport:
        return QStringLiteral("APT");
    case FlightPlanWaypoint::Type::Vor:
        return QStringLiteral("VOR");
    case FlightPlanWaypoint::Type::Ndb:
        return QStringLiteral("NDB");
    case FlightPlanWaypoint::Type::Fix:
        return QStringLiteral("FIX");
    case FlightPlanWaypoint::Type::User:
        break;
    }
    return QStringLiteral("USER");
}

QList<FlightPlanLeg> FlightPlan::legs(double groundSpeedKt) const
{
    QList<FlightPlanLeg> result;
    for (int i = 1; i < waypoints.size(); ++i) {
        const FlightPlanWaypoint &a = waypoints.at(i - 1);
        const FlightPlanWaypoint &b = waypoints.at(i);
        FlightPlanLeg leg;
        leg.from = i - 1;
        leg.to = i;
        leg.distanceNm = distanceNm(a.lat, a.lon, b.lat, b.lon);
        leg.courseDeg = courseDeg(a.lat, a.lon, b.lat, b.lon);
        if (groundSpeedKt > 0.0)
            leg.minutes = leg.distanceNm / groundSpeedKt * 60.0;
        result.append(leg);
    }
    return result;
}

double FlightPlan::totalDistanceNm() const
{
    double total = 0.0;
    for (const FlightPlanLeg &leg : legs())
        total += leg.distanceNm;
    return total;
}

QString FlightPlan::routeString() const
{
    using Segment = FlightPlanWaypoint::Segment;
    QStringList parts;
    QString openAirway; // the airway whose exit fix is still to be written
    bool afterDeparture = true;
    for (int i = 0; i < waypoints.size(); ++i) {
        const FlightPlanWaypoint &w = waypoints.at(i);
        if (w.segment == Segment::Sid || w.segment == Segment::Star || w.segment == Segment::Approach)
            continue; // procedures are named apart from the route
        const QString airway = w.airway == QLatin1String("DCT") ? QString() : w.airway;
        if (!airway.isEmpty()) {
            if (openAirway != airway)
                parts.append(airway);
            openAirway = airway;
            const bool nextOnSameAirway = i + 1 < waypoints.size() && waypoints.at(i + 1).airway == airway;
            if (!nextOnSameAirway) {
                parts.append(w.ident); // the exit fix; fixes inside the airway are implied
                openAirway.clear();
            }
        } else {
            openAirway.clear();
            if (!afterDeparture && w.segment != Segment::Destination)
                parts.append(QStringLiteral("DCT"));
            parts.append(w.ident);
        }
        afterDeparture = w.segment == Segment::Departure;
    }
    return parts.join(QLatin1Char(' '));
}

int FlightPlan::firstArrivalIndex() const
{
    int star = -1;
    for (int i = 0; i < waypoints.size(); ++i) {
        if (waypoints.at(i).segment == FlightPlanWaypoint::Segment::Approach)
            return i;
        if (star < 0 && waypoints.at(i).segment == FlightPlanWaypoint::Segment::Star)
            star = i;
    }
    return star;
}

QString FlightPlan::displayName() const
{
    if (!departure.isEmpty() || !destination.isEmpty())
        return QStringLiteral("%1-%2").arg(departure, destination);
    return title;
}
