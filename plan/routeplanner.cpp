#include "plan/routeplanner.h"

#include "nav/inavdataprovider.h"
#include "plan/airwaypathfinder.h"

#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <cmath>

// Planning and procedures. Route texts, OFPs and placements are in routeplanner_route.cpp.

namespace {

using Type = FlightPlanWaypoint::Type;
using Segment = FlightPlanWaypoint::Segment;

const QRegularExpression &runwayKeyPattern()
{
    static const QRegularExpression re(QStringLiteral("^\\d{2}[LRCB]?$"));
    return re;
}

// The keys a procedure's runway part may be stored under for this runway: "35L" and "35B" (both
// parallel runways).
QStringList runwayKeys(const QString &runway)
{
    if (runway.isEmpty())
        return {};
    QStringList keys{runway};
    if (runway.size() == 3 && runway.at(2) != QLatin1Char('B'))
        keys.append(runway.left(2) + QLatin1Char('B'));
    return keys;
}

bool isRunwayFix(const QString &ident)
{
    static const QRegularExpression re(QStringLiteral("^RW\\d{2}[LRC]?$"));
    return re.match(ident).hasMatch();
}

// Appends, leaving out a point that repeats the one before (where transition and common part meet).
void appendPoints(QList<FlightPlanWaypoint> *points, const QList<FlightPlanWaypoint> &more)
{
    for (const FlightPlanWaypoint &p : more) {
        if (!points->isEmpty() && points->last().ident == p.ident &&
            FlightPlan::distanceNm(points->last().lat, points->last().lon, p.lat, p.lon) < 1.0)
            continue;
        points->append(p);
    }
}

} // namespace

RoutePlanner::RoutePlanner(const INavDataProvider *nav, const AirwayPathfinder *pathfinder)
    : m_nav(nav), m_pathfinder(pathfinder)
{
}

QString RoutePlanner::approachRunway(const QString &approachIdent)
{
    static const QRegularExpression re(QStringLiteral("^[A-Z](\\d{2}[LRC]?)"));
    const QRegularExpressionMatch m = re.match(approachIdent);
    return m.hasMatch() ? m.captured(1) : QString();
}

QStringList RoutePlanner::runways(const QString &icao) const
{
    QStringList result;
    if (!m_nav)
        return result;
    for (const RunwayRecord &r : m_nav->runways(icao)) {
        if (!result.contains(r.ident))
            result.append(r.ident);
    }
    std::sort(result.begin(), result.end());
    return result;
}

QStringList RoutePlanner::procedureNames(const QString &icao, const QString &type, const QString &runway) const
{
    if (!m_nav)
        return {};
    const QStringList keys = runwayKeys(runway);
    QSet<QString> forRunway;
    QSet<QString> withRunwayPart;
    QSet<QString> all;
    for (const INavDataProvider::Procedure &p : m_nav->procedures(icao, type)) {
        all.insert(p.name);
        if (runwayKeyPattern().match(p.runwayIdent).hasMatch()) {
            withRunwayPart.insert(p.name);
            if (keys.contains(p.runwayIdent))
                forRunway.insert(p.name);
        }
    }
    QStringList result;
    for (const QString &name : std::as_const(all)) {
        // A procedure without runway parts serves every runway.
        if (keys.isEmpty() || forRunway.contains(name) || !withRunwayPart.contains(name))
            result.append(name);
    }
    std::sort(result.begin(), result.end());
    return result;
}

QStringList RoutePlanner::approachNames(const QString &icao, const QString &runway) const
{
    QStringList result;
    if (!m_nav)
        return result;
    for (const INavDataProvider::Procedure &p : m_nav->procedures(icao, QStringLiteral("APPCH"))) {
        if (result.contains(p.name))
            continue;
        if (runway.isEmpty() || approachRunway(p.name) == runway)
            result.append(p.name);
    }
    std::sort(result.begin(), result.end());
    return result;
}

QStringList RoutePlanner::transitions(const QString &icao, const QString &type, const QString &name) const
{
    QStringList result;
    if (!m_nav)
        return result;
    for (const INavDataProvider::Procedure &p : m_nav->procedures(icao, type)) {
        if (p.name != name || p.runwayIdent == QLatin1String("ALL") ||
            runwayKeyPattern().match(p.runwayIdent).hasMatch() || result.contains(p.runwayIdent))
            continue;
        result.append(p.runwayIdent);
    }
    std::sort(result.begin(), result.end());
    return result;
}

QList<FlightPlanWaypoint> RoutePlanner::procedurePoints(const QString &icao, const QString &type, const QString &name,
                                                        const QString &runway, const QString &transition) const
{
    QList<FlightPlanWaypoint> points;
    if (!m_nav || name.isEmpty())
        return points;
    const auto legsOf = [&](const QStringList &keys) {
        for (const QString &key : keys) {
            const QList<INavDataProvider::ProcedureLeg> legs = m_nav->procedureLegs(icao, name, type, key);
            if (!legs.isEmpty())
                return legs;
        }
        return QList<INavDataProvider::ProcedureLeg>();
    };
    QList<QList<INavDataProvider::ProcedureLeg>> parts;
    const QStringList transitionKey = transition.isEmpty() ? QStringList() : QStringList{transition};
    const QStringList common{QStringLiteral("ALL")};
    Segment segment = Segment::Sid;
    if (type == QLatin1String("SID")) {
        parts << legsOf(runwayKeys(runway)) << legsOf(common) << legsOf(transitionKey);
    } else if (type == QLatin1String("STAR")) {
        segment = Segment::Star;
        parts << legsOf(transitionKey) << legsOf(common) << legsOf(runwayKeys(runway));
    } else {
        segment = Segment::Approach;
        const QString finalRunway = approachRunway(name);
        parts << legsOf(transitionKey) << legsOf(finalRunway.isEmpty() ? common : QStringList{finalRunway});
    }

    bool reachedRunway = false;
    for (const QList<INavDataProvider::ProcedureLeg> &legs : std::as_const(parts)) {
        QList<FlightPlanWaypoint> part;
        for (const INavDataProvider::ProcedureLeg &leg : legs) {
            // Legs that end at an altitude, a course or a radial have no fix to fly to.
            if (leg.fixIdent.isEmpty() || (leg.lat == 0.0 && leg.lon == 0.0) || reachedRunway)
                continue;
            FlightPlanWaypoint w;
            w.ident = leg.fixIdent;
            w.lat = leg.lat;
            w.lon = leg.lon;
            w.altitudeFt = leg.altitude;
            w.region = leg.fixRegion;
            w.segment = segment;
            w.procedure = name;
            w.type = isRunwayFix(w.ident) ? Type::User : typeAt(w.ident, w.lat, w.lon);
            part.append(w);
            // The missed approach that follows the runway is not part of the plan.
            if (segment == Segment::Approach && isRunwayFix(w.ident))
                reachedRunway = true;
        }
        appendPoints(&points, part);
    }
    return points;
}

FlightPlanWaypoint::Type RoutePlanner::typeAt(const QString &ident, double lat, double lon) const
{
    if (!m_nav)
        return Type::Fix;
    const NavaidRecord aid = m_nav->findNavaidNearest(ident, lat, lon, QString());
    if (!aid.ident.isEmpty() && FlightPlan::distanceNm(lat, lon, aid.lat, aid.lon) < 1.0)
        return aid.type.contains(QLatin1String("NDB"), Qt::CaseInsensitive) ? Type::Ndb : Type::Vor;
    return Type::Fix;
}

FlightPlanWaypoint RoutePlanner::airportPoint(const QString &icao, FlightPlanWaypoint::Segment segment) const
{
    FlightPlanWaypoint w;
    w.ident = icao;
    w.type = Type::Airport;
    w.segment = segment;
    const AirportRecord airport = m_nav ? m_nav->airport(icao) : AirportRecord();
    w.positioned = !airport.icao.isEmpty();
    w.lat = airport.lat;
    w.lon = airport.lon;
    w.altitudeFt = airport.elevation;
    return w;
}

bool RoutePlanner::enroute(const Request &request, const FlightPlanWaypoint &from, const FlightPlanWaypoint &to,
                           QList<FlightPlanWaypoint> *points, QStringList *notes, QString *error) const
{
    if (!request.route.trimmed().isEmpty()) {
        // The airports and the procedures may be named in the text; they are planned apart.
        QStringList tokens = request.route.toUpper().split(QLatin1Char(' '), Qt::SkipEmptyParts);
        const auto named = [this](const QString &icao, const QString &type) {
            QSet<QString> names;
            for (const INavDataProvider::Procedure &p : m_nav->procedures(icao, type))
                names.insert(p.name);
            return names;
        };
        const QSet<QString> sids = named(request.departure.toUpper(), QStringLiteral("SID"));
        const QSet<QString> stars = named(request.destination.toUpper(), QStringLiteral("STAR"));
        if (!tokens.isEmpty() && tokens.first() == request.departure.toUpper())
            tokens.removeFirst();
        if (!tokens.isEmpty() && tokens.last() == request.destination.toUpper())
            tokens.removeLast();
        if (!tokens.isEmpty() && sids.contains(tokens.first()))
            tokens.removeFirst();
        if (!tokens.isEmpty() && stars.contains(tokens.last()))
            tokens.removeLast();
        if (!resolveRoute(tokens.join(QLatin1Char(' ')), from, to, points, error))
            return false;
        for (FlightPlanWaypoint &w : *points) {
            if (w.altitudeFt == 0.0 && w.type != Type::Airport)
                w.altitudeFt = request.cruiseAltitudeFt;
        }
        return true;
    }
    if (!m_pathfinder || m_pathfinder->isEmpty()) {
        notes->append(tr("没有航路网数据，航路段为直飞"));
        return true;
    }
    const QList<AirwayPathfinder::PathPoint> path =
        m_pathfinder->findPath(from.ident, from.lat, from.lon, to.ident, to.lat, to.lon, kPathSearchRadiusNm);
    if (path.isEmpty()) {
        notes->append(tr("未找到 %1 与 %2 之间的航路，航路段为直飞").arg(from.ident, to.ident));
        return true;
    }
    for (int i = 0; i < path.size(); ++i) {
        const AirwayPathfinder::PathPoint &p = path.at(i);
        FlightPlanWaypoint w;
        w.ident = p.ident;
        w.lat = p.lat;
        w.lon = p.lon;
        w.type = typeAt(p.ident, p.lat, p.lon);
        // The first point is joined directly, the others by the airway they are reached on.
        w.airway = i == 0 || p.airway == QLatin1String("DCT") ? QString() : p.airway;
        w.altitudeFt = request.cruiseAltitudeFt;
        points->append(w);
    }
    // The shortest airway path can still wander far when the data's airways are broken up; the
    // route stays (it follows airways) but the user is told, so it is looked at before it is flown.
    double alongNm = 0.0;
    for (int i = 1; i < path.size(); ++i)
        alongNm += FlightPlan::distanceNm(path.at(i - 1).lat, path.at(i - 1).lon, path.at(i).lat, path.at(i).lon);
    const double directNm = FlightPlan::distanceNm(from.lat, from.lon, to.lat, to.lon);
    if (directNm > 0.0 && alongNm > kDetourNoteRatio * directNm)
        notes->append(tr("%1 至 %2 的航路长 %3 海里，是直线距离 %4 海里的 %5 倍，请检查航路")
                          .arg(from.ident, to.ident)
                          .arg(alongNm, 0, 'f', 0)
                          .arg(directNm, 0, 'f', 0)
                          .arg(alongNm / directNm, 0, 'f', 1));
    return true;
}

RoutePlanner::Result RoutePlanner::planRoute(const Request &request) const
{
    Result result;
    const QString departure = request.departure.trimmed().toUpper();
    const QString destination = request.destination.trimmed().toUpper();
    const FlightPlanWaypoint origin = airportPoint(departure, Segment::Departure);
    const FlightPlanWaypoint arrival = airportPoint(destination, Segment::Destination);
    if (!origin.positioned || !arrival.positioned) {
        result.error = tr("导航数据中没有机场 %1").arg(origin.positioned ? destination : departure);
        return result;
    }

    FlightPlan &plan = result.plan;
    plan.title = QStringLiteral("%1 to %2").arg(departure, destination);
    plan.departure = departure;
    plan.departureName = m_nav->airport(departure).name;
    plan.destination = destination;
    plan.destinationName = m_nav->airport(destination).name;
    plan.departureRunway = request.departureRunway;
    plan.destinationRunway = request.destinationRunway;
    plan.cruiseAltitudeFt = request.cruiseAltitudeFt;

    const auto procedure = [&](const QString &type, const QString &name, const QString &icao, const QString &runway,
                               const QString &transition, QString *kept, QString *keptTransition) {
        QList<FlightPlanWaypoint> points = procedurePoints(icao, type, name, runway, transition);
        if (!name.isEmpty() && points.isEmpty())
            result.notes.append(tr("%1 在导航数据中没有航段，已略过").arg(name));
        if (!points.isEmpty()) {
            *kept = name;
            *keptTransition = transition;
        }
        return points;
    };
    const QList<FlightPlanWaypoint> sid =
        procedure(QStringLiteral("SID"), request.sid, departure, request.departureRunway, request.sidTransition,
                  &plan.sid, &plan.sidTransition);
    const QList<FlightPlanWaypoint> star =
        procedure(QStringLiteral("STAR"), request.star, destination, request.destinationRunway, request.starTransition,
                  &plan.star, &plan.starTransition);
    const QList<FlightPlanWaypoint> approach =
        procedure(QStringLiteral("APPCH"), request.approach, destination, request.destinationRunway,
                  request.approachTransition, &plan.approach, &plan.approachTransition);
    if (plan.destinationRunway.isEmpty() && !plan.approach.isEmpty())
        plan.destinationRunway = approachRunway(plan.approach);

    const FlightPlanWaypoint enrouteFrom = sid.isEmpty() ? origin : sid.last();
    const FlightPlanWaypoint enrouteTo = !star.isEmpty()       ? star.first()
                                         : !approach.isEmpty() ? approach.first()
                                                               : arrival;
    QList<FlightPlanWaypoint> middle;
    if (!enroute(request, enrouteFrom, enrouteTo, &middle, &result.notes, &result.error))
        return result;

    plan.waypoints.append(origin);
    appendPoints(&plan.waypoints, sid);
    appendPoints(&plan.waypoints, middle);
    appendPoints(&plan.waypoints, star);
    appendPoints(&plan.waypoints, approach);
    appendPoints(&plan.waypoints, {arrival});
    result.ok = true;
    return result;
}
