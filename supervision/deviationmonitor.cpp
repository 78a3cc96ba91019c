#include "supervision/deviationmonitor.h"

#include "nav/geodesy.h"
#include "plan/flightplan.h"

#include <cmath>

namespace {

constexpr double kEarthRadiusNm = 3440.065;

} // namespace

QList<QPointF> DeviationMonitor::routeOf(const FlightPlan &plan)
{
    QList<QPointF> route;
    route.reserve(plan.waypoints.size());
    for (const FlightPlanWaypoint &point : plan.waypoints) {
        if (point.positioned)
            route.append(QPointF(point.lat, point.lon));
    }
    return route;
}

std::optional<double> DeviationMonitor::crossTrackNm(const QList<QPointF> &route, double lat, double lon, int *legIndex)
{
    if (route.size() < 2)
        return std::nullopt;
    double best = INFINITY;
    for (qsizetype i = 0; i + 1 < route.size(); ++i) {
        const double d = geodesy::distanceToArcNm(route.at(i).x(), route.at(i).y(), route.at(i + 1).x(),
                                                  route.at(i + 1).y(), lat, lon, kEarthRadiusNm);
        if (d < best) {
            best = d;
            if (legIndex)
                *legIndex = int(i);
        }
    }
    return best;
}

void DeviationMonitor::setAssignedAltitude(const QString &aircraftId, std::optional<double> altitudeFt, qint64 nowMs)
{
    if (!altitudeFt) {
        m_assignments.remove(aircraftId);
        return;
    }
    m_assignments.insert(aircraftId, Assignment{*altitudeFt, nowMs, false});
}

std::optional<double> DeviationMonitor::assignedAltitude(const QString &aircraftId) const
{
    const auto it = m_assignments.constFind(aircraftId);
    if (it == m_assignments.constEnd())
        return std::nullopt;
    return it->altitudeFt;
}

bool DeviationMonitor::altitudeDeviates(Assignment &assignment, const TrackedAircraft &aircraft, qint64 nowMs) const
{
    const double offFt = aircraft.altitudeFt - assignment.altitudeFt;
    if (std::abs(offFt) <= m_settings.altitudeToleranceFt) {
        assignment.reached = true;
        return false;
    }
    if (assignment.reached)
        return true; // left the level it had reached
    // Positive when moving towards the assigned altitude.
    const double towardsFpm = offFt > 0 ? -aircraft.verticalSpeedFpm : aircraft.verticalSpeedFpm;
    if (towardsFpm <= -m_settings.verticalMoveFpm)
        return true; // going the wrong way
    const bool graceOver = nowMs - assignment.assignedAtMs > qint64(m_settings.graceSec) * 1000;
    return graceOver && towardsFpm < m_settings.verticalMoveFpm;
}

QList<SupervisionAlert> DeviationMonitor::evaluate(const QList<TrackedAircraft> &aircraft, qint64 nowMs)
{
    QList<SupervisionAlert> alerts;
    for (const TrackedAircraft &a : aircraft) {
        if (a.id == m_routeAircraft && !a.onGround) {
            const auto offNm = crossTrackNm(m_route, a.lat, a.lon);
            if (offNm && *offNm > m_settings.crossTrackLimitNm) {
                SupervisionAlert alert;
                alert.kind = SupervisionAlert::Kind::RouteDeviation;
                alert.aircraftIds = {a.id};
                alert.labels = {a.label()};
                alert.positions = {QPointF(a.lat, a.lon)};
                alert.value1 = *offNm;
                alert.value2 = m_settings.crossTrackLimitNm;
                alerts.append(alert);
            }
        }
        auto assignment = m_assignments.find(a.id);
        if (assignment != m_assignments.end() && !a.onGround && altitudeDeviates(*assignment, a, nowMs)) {
            SupervisionAlert alert;
            alert.kind = SupervisionAlert::Kind::AltitudeDeviation;
            alert.aircraftIds = {a.id};
            alert.labels = {a.label()};
            alert.positions = {QPointF(a.lat, a.lon)};
            alert.value1 = a.altitudeFt;
            alert.value2 = assignment->altitudeFt;
            alerts.append(alert);
        }
    }
    return alerts;
}
