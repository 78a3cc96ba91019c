#pragma once

#include "supervision/trackedaircraft.h"

#include <QList>
#include <QString>

#include <optional>

// Predicts losses of separation between tracked aircraft from their present state, each flying
// straight on at its ground speed, track and vertical speed.
//
// For a pair, positions go into a flat frame around the first aircraft (east and north in
// nautical miles, longitude differences taken the short way round, so pairs across the
// antimeridian work). A conflict is a time within the look-ahead at which the pair is closer than
// the lateral separation and, at the same time, closer than the vertical separation; it is
// reported with the time to that loss of separation, and with the closest approach: the time in
// the look-ahead at which the pair is nearest, measured in separations (lateral / lateral minimum
// and vertical / vertical minimum combined), and the lateral and vertical distances then. Pairs
// where both are below the terminal ceiling use the terminal lateral separation. Aircraft on the
// ground or slower than minGroundSpeedKts are left out.
//
// All aircraft are checked against all others, but only pairs that could meet within the
// look-ahead are computed: aircraft are swept in latitude order and a pair is dropped as soon as
// its distance exceeds the separation plus what both can fly in the look-ahead. Stateless.
class ConflictDetector
{
public:
    struct Settings
    {
        double lookAheadSec = 120.0;
        double lateralSepNm = 5.0;
        double verticalSepFt = 1000.0;
        double terminalLateralSepNm = 3.0;
        double terminalCeilingFt = 10000.0; // both below: terminal area separation
        double minGroundSpeedKts = 40.0;
    };

    struct Conflict
    {
        int first = -1; // indices into the checked list
        int second = -1;
        double timeToLossSec = 0.0;
        double timeToClosestSec = 0.0;
        double lateralAtClosestNm = 0.0;
        double verticalAtClosestFt = 0.0;
        double lateralNowNm = 0.0;
        bool terminal = false;
    };

    static QList<Conflict> detect(const QList<TrackedAircraft> &aircraft, const Settings &settings);
    // One pair, with the same rules (except the ground filter).
    static std::optional<Conflict> check(const TrackedAircraft &a, const TrackedAircraft &b, const Settings &settings);
};
