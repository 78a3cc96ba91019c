#pragma once

#include "supervision/supervisionalert.h"
#include "supervision/trackedaircraft.h"

#include <QList>
#include <QString>

#include <optional>

class INavDataProvider;

// Terrain clearance of the watched aircraft (own and agents; network traffic reports no height
// above ground and is not the student's).
//
// The navigation data holds no minimum-sector-altitude records, so the minimum safe altitude
// around a position is taken as the elevation of the highest airport within msaRadiusNm (25 nm)
// plus msaMarginFt; with no airport in that radius there is none. Two alerts follow:
//  - below the minimum safe altitude: altitude MSL under it;
//  - terrain clearance: the sample's height above ground under minAglFt.
// Both only for airborne aircraft farther than approachRadiusNm from the nearest airport, so
// departures, approaches and circuits do not sound.
//
// The navigation data is borrowed; GUI thread (the provider itself may be read from any thread).
class TerrainMonitor
{
public:
    struct Settings
    {
        double msaRadiusNm = 25.0;
        double msaMarginFt = 1000.0;
        double minAglFt = 500.0;
        double approachRadiusNm = 10.0;
    };

    struct SafeAltitude
    {
        double altitudeFt = 0.0;       // highest airport elevation + margin
        QString highestAirport;        // the airport that sets it
        double nearestAirportNm = 0.0; // distance to the nearest airport
    };

    void setSettings(const Settings &settings) { m_settings = settings; }
    const Settings &settings() const { return m_settings; }
    void setNavData(const INavDataProvider *navData) { m_navData = navData; }

    // nullopt without navigation data or without an airport within the radius.
    std::optional<SafeAltitude> safeAltitude(double lat, double lon) const;
    QList<SupervisionAlert> evaluate(const QList<TrackedAircraft> &aircraft) const;

private:
    Settings m_settings;
    const INavDataProvider *m_navData = nullptr;
};
