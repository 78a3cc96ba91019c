#include "supervision/deviationmonitor.h"

#include "plan/flightplan.h"

#include <cmath>

namespace {

constexpr double kEarthRadiusNm = 3440.065;
constexpr double kDegToRad = M_PI / 180.0;

// Central angle between two positions (radians), haversine form.
double angle(double lat1, double lon1, double lat2, double lon2)
{
    const double dLat = (lat2 - lat1) * kDegToRad;
    const double dLon = (lon2 - lon1) * kDegToRad;
    const double h = std::sin(dLat / 2) * std::sin(dLat / 2) +
                     std::cos(lat1 * kDegToRad) * std::cos(lat2 * kDegToRad) * std::sin(dLon / 2) * std::sin(dLon / 2);
    return 2.0 * std::asin(std::min(1.0, std::sqrt(h)));
}

double bearing(double lat1, double lon1, double lat2, double lon2)
{
    const double p1 = lat1 * kDegToRad;
    const double p2 = lat2 * kDegToRad;
    const double dLon = (lon2 - lon1) * kDegToRad;
    return std::atan2(std::sin(dLon) * std::cos(p2),
                      std::cos(p1) * std::sin(p2) - std::sin(p1) * std::cos(p2) * std::cos(dLon));
}

// Distance (nm) from p to the great-circle arc a-b.
double legDistanceNm(const QPointF &a, const QPointF &b, double lat, double lon)
{
    const double toPoint = angle(a.x(), a.y(), lat, lon);
    const double legLength = angle(a.x(), a.y(), b.x(), b.y());
    if (legLength < 1e-12)
        return toPoint * kEarthRadiusNm;
    const double cross =
        std::asin(std::sin(toPoint) * std::sin(bearing(a.x(), a.y(), lat, lon) - bearing(a.x(), a.y(), b.x(), b.y())));
    // Along-track position of the foot of the perpendicular, signed by the side of a it lies on.
    const double along =
        std::atan2(std::sin(toPoint) * std::cos(bearing(a.x(), a.y(), lat, lon) - bearing(a.x(), a.y(), b.x(), b.y())),
                   std::cos(toPoint));
    if (along < 0.0)
        return toPoint * kEarthRadiusNm;
    if (along > legLength)
        return angle(b.x(), b.y(), lat, lon) * kEarthRadiusNm;
    return std::abs(cross) * kEarthRadiusNm;
}

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
        const double d = legDistanceNm(route.at(i), route.at(i + 1), lat, lon);
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
