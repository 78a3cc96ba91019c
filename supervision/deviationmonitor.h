#pragma once

#include "supervision/supervisionalert.h"
#include "supervision/trackedaircraft.h"

#include <QHash>
#include <QList>
#include <QPointF>
#include <QString>

#include <optional>

struct FlightPlan;

// Deviation from the active route and from the assigned altitude.
//
// Route: the cross-track distance is the great-circle distance (sphere of 3440.065 nm) from the
// aircraft to the nearest leg of the route, a leg being the arc between two consecutive points;
// beyond a leg's ends the distance to the nearer end counts. Airborne aircraft farther than the
// limit raise a route deviation.
//
// Altitude: per aircraft, the altitude the ATC log assigned last. A deviation is raised when the
// aircraft is more than the tolerance away from it and either had already reached it (a level
// bust), or is climbing or descending away from it, or has made no move towards it for the grace
// time after the assignment. An aircraft still climbing or descending towards a new level is
// fine.
//
// Keeps per-aircraft state (when the altitude was assigned and whether it was reached); GUI
// thread. Route points are latitude/longitude degrees (x = latitude), altitudes feet.
class DeviationMonitor
{
public:
    struct Settings
    {
        double crossTrackLimitNm = 2.0;
        double altitudeToleranceFt = 300.0;
        double verticalMoveFpm = 300.0; // slower is "not moving" vertically
        int graceSec = 120;
    };

    // Cross-track distance to the route (nm), with the index of the nearest leg; nullopt when the
    // route has fewer than two points.
    static std::optional<double> crossTrackNm(const QList<QPointF> &route, double lat, double lon,
                                              int *legIndex = nullptr);
    // A flight plan's points in flying order as a route; points without a position are left out.
    static QList<QPointF> routeOf(const FlightPlan &plan);

    void setSettings(const Settings &settings) { m_settings = settings; }
    const Settings &settings() const { return m_settings; }
    // The active route and the aircraft flying it (the own aircraft, "own", unless the plan was
    // sent to an agent).
    void setRoute(const QList<QPointF> &route, const QString &aircraftId = QStringLiteral("own"))
    {
        m_route = route;
        m_routeAircraft = aircraftId;
    }
    const QList<QPointF> &route() const { return m_route; }
    // A new assignment restarts the wait for the aircraft to reach it; nullopt removes it.
    void setAssignedAltitude(const QString &aircraftId, std::optional<double> altitudeFt, qint64 nowMs);
    std::optional<double> assignedAltitude(const QString &aircraftId) const;

    // A route deviation for the aircraft flying the route, and altitude deviations for every
    // aircraft with an assignment.
    QList<SupervisionAlert> evaluate(const QList<TrackedAircraft> &aircraft, qint64 nowMs);

private:
    struct Assignment
    {
        double altitudeFt = 0.0;
        qint64 assignedAtMs = 0;
        bool reached = false;
    };
    bool altitudeDeviates(Assignment &assignment, const TrackedAircraft &aircraft, qint64 nowMs) const;

    Settings m_settings;
    QList<QPointF> m_route;
    QString m_routeAircraft = QStringLiteral("own");
    QHash<QString, Assignment> m_assignments;
};
