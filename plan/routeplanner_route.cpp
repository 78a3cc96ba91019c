#include "nav/inavdataprovider.h"
#include "plan/airwaypathfinder.h"
#include "plan/routeplanner.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>

// Route texts, OFPs, positions of unplaced points and aircraft placements.

namespace {

using Type = FlightPlanWaypoint::Type;
using Segment = FlightPlanWaypoint::Segment;

// "3112N12130E" (degrees and minutes) or "31N121E" (whole degrees), as flight plans write them.
bool parseCoordinateToken(const QString &token, double *lat, double *lon)
{
    static const QRegularExpression minutes(QStringLiteral("^(\\d{2})(\\d{2})([NS])(\\d{3})(\\d{2})([EW])$"));
    static const QRegularExpression degrees(QStringLiteral("^(\\d{2})([NS])(\\d{3})([EW])$"));
    QRegularExpressionMatch m = minutes.match(token);
    if (m.hasMatch()) {
        *lat = m.captured(1).toInt() + m.captured(2).toInt() / 60.0;
        *lon = m.captured(4).toInt() + m.captured(5).toInt() / 60.0;
        if (m.captured(3) == QLatin1String("S"))
            *lat = -*lat;
        if (m.captured(6) == QLatin1String("W"))
            *lon = -*lon;
    } else {
        m = degrees.match(token);
        if (!m.hasMatch())
            return false;
        *lat = m.captured(1).toInt();
        *lon = m.captured(3).toInt();
        if (m.captured(2) == QLatin1String("S"))
            *lat = -*lat;
        if (m.captured(4) == QLatin1String("W"))
            *lon = -*lon;
    }
    return std::abs(*lat) <= 90.0 && std::abs(*lon) <= 180.0;
}

// "N0472F380" and the like: speed and level groups carry nothing for the route.
bool isSpeedLevel(const QString &token)
{
    static const QRegularExpression re(QStringLiteral("^[NKM]\\d{3,4}[FASM]\\d{3,4}$"));
    return re.match(token).hasMatch();
}

Type typeFromOfp(const QString &type)
{
    if (type == QLatin1String("vor") || type == QLatin1String("vordme") || type == QLatin1String("vortac"))
        return Type::Vor;
    if (type == QLatin1String("ndb"))
        return Type::Ndb;
    if (type == QLatin1String("apt"))
        return Type::Airport;
    if (type == QLatin1String("ltlg"))
        return Type::User;
    return Type::Fix;
}

double normalised(double deg)
{
    return std::fmod(std::fmod(deg, 360.0) + 360.0, 360.0);
}

} // namespace

bool RoutePlanner::locate(const QString &ident, double nearLat, double nearLon, FlightPlanWaypoint *point) const
{
    if (!m_nav)
        return false;
    double best = 1e18;
    const WaypointRecord fix = m_nav->findWaypointNearest(ident, nearLat, nearLon);
    if (!fix.ident.isEmpty()) {
        best = FlightPlan::distanceNm(nearLat, nearLon, fix.lat, fix.lon);
        point->type = Type::Fix;
        point->lat = fix.lat;
        point->lon = fix.lon;
    }
    const NavaidRecord aid = m_nav->findNavaidNearest(ident, nearLat, nearLon, QString());
    if (!aid.ident.isEmpty()) {
        const double d = FlightPlan::distanceNm(nearLat, nearLon, aid.lat, aid.lon);
        // A VOR and its fix of the same name: the aid is the better description.
        if (d < best + 0.5) {
            best = d;
            point->type = aid.type.contains(QLatin1String("NDB"), Qt::CaseInsensitive) ? Type::Ndb : Type::Vor;
            point->lat = aid.lat;
            point->lon = aid.lon;
        }
    }
    if (ident.size() == 4) {
        const AirportRecord airport = m_nav->airport(ident);
        if (!airport.icao.isEmpty() && FlightPlan::distanceNm(nearLat, nearLon, airport.lat, airport.lon) < best) {
            best = 0.0;
            point->type = Type::Airport;
            point->lat = airport.lat;
            point->lon = airport.lon;
            point->altitudeFt = airport.elevation;
        }
    }
    if (best >= 1e18)
        return false;
    point->ident = ident;
    point->positioned = true;
    return true;
}

bool RoutePlanner::resolveRoute(const QString &route, const FlightPlanWaypoint &from, const FlightPlanWaypoint &to,
                                QList<FlightPlanWaypoint> *points, QString *error) const
{
    QStringList tokens;
    for (QString token : route.toUpper().split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts)) {
        token = token.section(QLatin1Char('/'), 0, 0); // "OBLAD/N0473F390" names OBLAD
        if (!token.isEmpty() && token != QLatin1String("DCT") && !isSpeedLevel(token))
            tokens.append(token);
    }
    // The procedures may be named in the text; they are planned apart from it.
    const auto isProcedure = [this](const QString &icao, const QString &type, const QString &name) {
        if (!m_nav || icao.isEmpty())
            return false;
        for (const INavDataProvider::Procedure &p : m_nav->procedures(icao, type)) {
            if (p.name == name)
                return true;
        }
        return false;
    };
    const QString departure = from.segment == Segment::Departure ? from.ident : QString();
    const QString destination = to.segment == Segment::Destination ? to.ident : QString();

    QList<FlightPlanWaypoint> result;
    FlightPlanWaypoint previous = from;
    for (int i = 0; i < tokens.size(); ++i) {
        const QString &token = tokens.at(i);
        if ((i == 0 && isProcedure(departure.isEmpty() ? QString() : departure, QStringLiteral("SID"), token)) ||
            (i == tokens.size() - 1 && isProcedure(destination, QStringLiteral("STAR"), token)) ||
            token == QLatin1String("SID") || token == QLatin1String("STAR"))
            continue;

        // An airway: followed from the point before to the named exit fix.
        if (i + 1 < tokens.size() && m_pathfinder) {
            const QList<AirwayPathfinder::PathPoint> along =
                m_pathfinder->pathAlongAirway(previous.ident, previous.lat, previous.lon, token, tokens.at(i + 1));
            if (!along.isEmpty()) {
                for (int k = 1; k < along.size(); ++k) {
                    FlightPlanWaypoint w;
                    w.ident = along.at(k).ident;
                    w.lat = along.at(k).lat;
                    w.lon = along.at(k).lon;
                    w.type = typeAt(w.ident, w.lat, w.lon);
                    w.airway = token;
                    result.append(w);
                }
                previous = result.last();
                ++i; // the exit fix is placed
                continue;
            }
        }
        FlightPlanWaypoint w;
        double lat = 0.0;
        double lon = 0.0;
        if (parseCoordinateToken(token, &lat, &lon)) {
            w.ident = token;
            w.type = Type::User;
            w.lat = lat;
            w.lon = lon;
        } else if (!locate(token, previous.lat, previous.lon, &w)) {
            if (error) {
                *error = i + 1 < tokens.size() ? tr("%1 既不是导航数据中的航点，也不是从 %2 到 %3 的航路")
                                                     .arg(token, previous.ident, tokens.at(i + 1))
                                               : tr("导航数据中没有 %1").arg(token);
            }
            return false;
        }
        w.altitudeFt = 0.0;
        result.append(w);
        previous = w;
    }
    // The ends may be named in the text (an airway's exit fix is often where the STAR begins);
    // they are not part of the result.
    const auto sameAs = [](const FlightPlanWaypoint &a, const FlightPlanWaypoint &b) {
        return a.ident == b.ident && FlightPlan::distanceNm(a.lat, a.lon, b.lat, b.lon) < 1.0;
    };
    if (!result.isEmpty() && sameAs(result.first(), from))
        result.removeFirst();
    if (!result.isEmpty() && sameAs(result.last(), to))
        result.removeLast();
    *points = result;
    return true;
}

int RoutePlanner::resolvePositions(FlightPlan *plan) const
{
    int missing = 0;
    QList<FlightPlanWaypoint> &points = plan->waypoints;
    // Airports first: they anchor the search for same-named fixes.
    for (FlightPlanWaypoint &w : points) {
        if (w.positioned || w.type != Type::Airport || !m_nav)
            continue;
        const AirportRecord airport = m_nav->airport(w.ident);
        if (!airport.icao.isEmpty()) {
            w.lat = airport.lat;
            w.lon = airport.lon;
            w.altitudeFt = airport.elevation;
            w.positioned = true;
        }
    }
    for (int i = 0; i < points.size(); ++i) {
        FlightPlanWaypoint &w = points[i];
        if (w.positioned)
            continue;
        // Near the last placed point before it, else the first placed one after it.
        const FlightPlanWaypoint *anchor = nullptr;
        for (int k = i - 1; k >= 0 && !anchor; --k) {
            if (points.at(k).positioned)
                anchor = &points.at(k);
        }
        for (int k = i + 1; k < points.size() && !anchor; ++k) {
            if (points.at(k).positioned)
                anchor = &points.at(k);
        }
        FlightPlanWaypoint found;
        if (anchor && locate(w.ident, anchor->lat, anchor->lon, &found)) {
            w.lat = found.lat;
            w.lon = found.lon;
            w.positioned = true;
            if (w.type == Type::Fix && found.type != Type::Airport)
                w.type = found.type;
        } else {
            ++missing;
        }
    }
    return missing;
}

RoutePlanner::Result RoutePlanner::planFromOfp(const SimBriefService::OFPData &ofp) const
{
    Request request;
    request.departure = ofp.origin;
    request.destination = ofp.destination;
    request.departureRunway = ofp.originRunway;
    request.destinationRunway = ofp.destinationRunway;
    request.cruiseAltitudeFt = ofp.flightLevel * 100;
    request.route = ofp.route;
    Result result;
    if (!ofp.route.trimmed().isEmpty()) {
        result = planRoute(request);
        if (result.ok)
            return result;
    }
    const QString routeError = result.error;
    if (!ofp.fixes.isEmpty())
        result = planFromNavlog(ofp);
    else
        result = planFromFixList(ofp);
    if (result.ok && !routeError.isEmpty())
        result.notes.prepend(tr("航路文本无法解析（%1），已使用飞行计划中的航点").arg(routeError));
    return result;
}

RoutePlanner::Result RoutePlanner::planFromNavlog(const SimBriefService::OFPData &ofp) const
{
    Result result;
    FlightPlan &plan = result.plan;
    plan.title = QStringLiteral("%1 to %2").arg(ofp.origin, ofp.destination);
    plan.departure = ofp.origin;
    plan.destination = ofp.destination;
    plan.departureRunway = ofp.originRunway;
    plan.destinationRunway = ofp.destinationRunway;
    plan.cruiseAltitudeFt = ofp.flightLevel * 100;

    FlightPlanWaypoint origin = airportPoint(ofp.origin, Segment::Departure);
    FlightPlanWaypoint destination = airportPoint(ofp.destination, Segment::Destination);
    if (ofp.hasAirportPositions) {
        // The OFP's own positions hold even where the navigation data lacks the airport.
        origin.lat = ofp.originLat;
        origin.lon = ofp.originLon;
        origin.positioned = true;
        destination.lat = ofp.destinationLat;
        destination.lon = ofp.destinationLon;
        destination.positioned = true;
    }
    if (m_nav) {
        plan.departureName = m_nav->airport(ofp.origin).name;
        plan.destinationName = m_nav->airport(ofp.destination).name;
    }
    plan.waypoints.append(origin);
    for (const SimBriefService::OFPFix &fix : ofp.fixes) {
        if (fix.ident == ofp.destination && &fix == &ofp.fixes.last())
            break; // the log ends at the destination itself
        FlightPlanWaypoint w;
        w.ident = fix.ident;
        w.type = typeFromOfp(fix.type);
        w.lat = fix.lat;
        w.lon = fix.lon;
        w.altitudeFt = fix.altitudeFt;
        if (fix.sidStar) {
            // Before the first en-route point a procedure point belongs to the SID, after it to the STAR.
            const bool beforeEnroute =
                std::none_of(plan.waypoints.cbegin(), plan.waypoints.cend(),
                             [](const FlightPlanWaypoint &p) { return p.segment == Segment::Enroute; });
            w.segment = beforeEnroute ? Segment::Sid : Segment::Star;
            w.procedure = fix.airway;
            if (beforeEnroute)
                plan.sid = fix.airway;
            else
                plan.star = fix.airway;
        } else if (fix.airway != QLatin1String("DCT")) {
            w.airway = fix.airway;
        }
        plan.waypoints.append(w);
    }
    plan.waypoints.append(destination);
    if (!origin.positioned || !destination.positioned) {
        result.error = tr("导航数据中没有机场 %1").arg(origin.positioned ? ofp.destination : ofp.origin);
        return result;
    }
    result.ok = true;
    return result;
}

RoutePlanner::Result RoutePlanner::planFromFixList(const SimBriefService::OFPData &ofp) const
{
    Result result;
    FlightPlan &plan = result.plan;
    plan.title = QStringLiteral("%1 to %2").arg(ofp.origin, ofp.destination);
    plan.departure = ofp.origin;
    plan.destination = ofp.destination;
    plan.departureRunway = ofp.originRunway;
    plan.destinationRunway = ofp.destinationRunway;
    plan.cruiseAltitudeFt = ofp.flightLevel * 100;
    const FlightPlanWaypoint origin = airportPoint(ofp.origin, Segment::Departure);
    const FlightPlanWaypoint destination = airportPoint(ofp.destination, Segment::Destination);
    if (!origin.positioned || !destination.positioned) {
        result.error = tr("导航数据中没有机场 %1").arg(origin.positioned ? ofp.destination : ofp.origin);
        return result;
    }
    plan.departureName = m_nav->airport(ofp.origin).name;
    plan.destinationName = m_nav->airport(ofp.destination).name;
    plan.waypoints.append(origin);
    FlightPlanWaypoint previous = origin;
    for (const QString &ident : ofp.fixList.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        if (ident == ofp.destination)
            continue;
        FlightPlanWaypoint w;
        if (!locate(ident, previous.lat, previous.lon, &w)) {
            result.error = tr("导航数据中没有 %1").arg(ident);
            return result;
        }
        w.altitudeFt = plan.cruiseAltitudeFt;
        plan.waypoints.append(w);
        previous = w;
    }
    plan.waypoints.append(destination);
    result.ok = true;
    return result;
}

RoutePlanner::Placement RoutePlanner::placementAt(const FlightPlan &plan, int index)
{
    Placement placement;
    if (index < 0 || index >= plan.waypoints.size())
        return placement;
    const FlightPlanWaypoint &w = plan.waypoints.at(index);
    placement.lat = w.lat;
    placement.lon = w.lon;
    if (index + 1 < plan.waypoints.size()) {
        const FlightPlanWaypoint &next = plan.waypoints.at(index + 1);
        placement.headingDeg = FlightPlan::courseDeg(w.lat, w.lon, next.lat, next.lon);
    } else if (index > 0) {
        // The course at the end of the last leg: the reverse of the course from its end back.
        const FlightPlanWaypoint &before = plan.waypoints.at(index - 1);
        placement.headingDeg = normalised(FlightPlan::courseDeg(w.lat, w.lon, before.lat, before.lon) + 180.0);
    }
    if (w.type == Type::Airport) {
        placement.onGround = true;
        placement.altitudeFt = w.altitudeFt;
        return placement;
    }
    placement.altitudeFt = w.altitudeFt > 0.0 ? w.altitudeFt : plan.cruiseAltitudeFt;
    if (placement.altitudeFt <= 0.0)
        placement.altitudeFt = 5000.0;
    placement.speedKt = placement.altitudeFt <= 10000.0 ? 250.0 : 280.0;
    return placement;
}

bool RoutePlanner::placementBeforeArrival(const FlightPlan &plan, double distanceNm, Placement *placement)
{
    int index = plan.firstArrivalIndex();
    if (index < 0 && !plan.waypoints.isEmpty() && plan.waypoints.last().segment == Segment::Destination)
        index = int(plan.waypoints.size()) - 1;
    if (index <= 0)
        return false;
    const FlightPlanWaypoint &fix = plan.waypoints.at(index);
    const FlightPlanWaypoint &before = plan.waypoints.at(index - 1);
    // Back along the inbound leg: the course at the fix, reversed.
    const double backCourse = FlightPlan::courseDeg(fix.lat, fix.lon, before.lat, before.lon);
    Placement p;
    FlightPlan::pointAt(fix.lat, fix.lon, backCourse, distanceNm, &p.lat, &p.lon);
    p.headingDeg = FlightPlan::courseDeg(p.lat, p.lon, fix.lat, fix.lon);
    // Towards an airport the profile ends at the field; towards an approach fix without a
    // published altitude at a usual final-approach-fix height.
    double base = fix.altitudeFt;
    if (fix.type != Type::Airport && base <= 0.0) {
        const FlightPlanWaypoint &last = plan.waypoints.last();
        base = (last.segment == Segment::Destination ? last.altitudeFt : 0.0) + 2000.0;
    }
    p.altitudeFt = base + distanceNm * kDescentFtPerNm;
    if (plan.cruiseAltitudeFt > 0)
        p.altitudeFt = std::min(p.altitudeFt, double(plan.cruiseAltitudeFt));
    p.speedKt = p.altitudeFt <= 10000.0 ? 210.0 : 250.0;
    *placement = p;
    return true;
}
