#include "supervision/terrainmonitor.h"

#include "nav/geodesy.h"
#include "nav/inavdataprovider.h"

#include <cmath>

namespace {

constexpr double kEarthRadiusNm = 3440.065;
constexpr double kDegToRad = M_PI / 180.0;

SupervisionAlert alertFor(SupervisionAlert::Kind kind, const TrackedAircraft &a, double value, double limit)
{
    SupervisionAlert alert;
    alert.kind = kind;
    alert.aircraftIds = {a.id};
    alert.labels = {a.label()};
    alert.positions = {QPointF(a.lat, a.lon)};
    alert.value1 = value;
    alert.value2 = limit;
    return alert;
}

} // namespace

std::optional<TerrainMonitor::SafeAltitude> TerrainMonitor::safeAltitude(double lat, double lon) const
{
    if (!m_navData)
        return std::nullopt;
    const double radius = m_settings.msaRadiusNm;
    const double dLat = radius / 60.0;
    const double dLon = radius / (60.0 * std::max(0.05, std::cos(lat * kDegToRad)));
    std::optional<SafeAltitude> result;
    int highest = 0;
    for (const AirportRecord &airport : m_navData->airportsInBounds(lat - dLat, lon - dLon, lat + dLat, lon + dLon)) {
        const double d = geodesy::distanceNm(lat, lon, airport.lat, airport.lon, kEarthRadiusNm);
        if (d > radius)
            continue;
        if (!result) {
            result = SafeAltitude{0.0, airport.icao, d};
            highest = airport.elevation;
        }
        result->nearestAirportNm = std::min(result->nearestAirportNm, d);
        if (airport.elevation > highest) {
            highest = airport.elevation;
            result->highestAirport = airport.icao;
        }
    }
    if (result)
        result->altitudeFt = highest + m_settings.msaMarginFt;
    return result;
}

QList<SupervisionAlert> TerrainMonitor::evaluate(const QList<TrackedAircraft> &aircraft) const
{
    QList<SupervisionAlert> alerts;
    for (const TrackedAircraft &a : aircraft) {
        if (a.source == TrackedAircraft::Source::Network || a.onGround)
            continue;
        const auto safe = safeAltitude(a.lat, a.lon);
        if (safe && safe->nearestAirportNm <= m_settings.approachRadiusNm)
            continue; // arriving or departing
        if (safe && a.altitudeFt < safe->altitudeFt)
            alerts.append(alertFor(SupervisionAlert::Kind::BelowSafeAltitude, a, a.altitudeFt, safe->altitudeFt));
        if (a.heightAglFt >= 0.0 && a.heightAglFt < m_settings.minAglFt)
            alerts.append(alertFor(SupervisionAlert::Kind::TerrainClearance, a, a.heightAglFt, m_settings.minAglFt));
    }
    return alerts;
}
