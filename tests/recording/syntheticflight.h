#pragma once

#include "sim/aircraftdata.h"

#include <QList>

#include <algorithm>
#include <cmath>

// A short flight with numbers known in closed form, flown northbound (so distance is latitude):
//   0-10 s parked; 10-40 s take-off roll 0->100 kt; lift-off at 40 s, 110 kt from then on;
//   40-100 s climb +1000 ft/min; 100-130 s level at 1010 ft; 130-190 s descent -960 ft/min;
//   190 s on a -320 ft/min flare to the field (10 ft) at 197.5 s, touching down with 1.35 g for
//   half a second; roll-out 110->0 kt by 227.5 s, then parked to 240 s.
// Fuel: 100 gal burning 0.01 gal/s; refuelled by 50 gal at 120 s.
namespace synthetic {

inline constexpr double kFieldFt = 10.0;
inline constexpr double kStartLat = 31.0;
inline constexpr double kStartLon = 121.0;
inline constexpr double kTouchdownS = 197.5;
inline constexpr double kLiftOffS = 40.0;
inline constexpr double kStopS = 227.5;
inline constexpr double kEndS = 240.0;
inline constexpr double kTouchdownVsFpm = -320.0;
inline constexpr double kTouchdownG = 1.35;
// Ground distance: 30 s averaging 50 kt, 157.5 s at 110 kt, 30 s averaging 55 kt.
inline constexpr double kDistanceNm = (30.0 * 50.0 + 157.5 * 110.0 + 30.0 * 55.0) / 3600.0;
inline constexpr double kAirDistanceNm = 157.5 * 110.0 / 3600.0;
inline constexpr double kFuelUsedGal = 0.01 * kEndS;

inline double groundSpeedKt(double t)
{
    if (t < 10.0)
        return 0.0;
    if (t < kLiftOffS)
        return 100.0 * (t - 10.0) / 30.0;
    if (t < kTouchdownS)
        return 110.0;
    if (t < kStopS)
        return 110.0 * (kStopS - t) / 30.0;
    return 0.0;
}

// Distance flown since 0 s, in nautical miles (the integral of the ground speed).
inline double distanceNm(double t)
{
    auto ramp = [](double from, double to, double v0, double v1, double at) {
        const double x = std::clamp(at, from, to) - from;
        const double span = to - from;
        return (v0 * x + (v1 - v0) * x * x / (2.0 * span)) / 3600.0;
    };
    return ramp(10.0, kLiftOffS, 0.0, 100.0, t) + 110.0 * (std::clamp(t, kLiftOffS, kTouchdownS) - kLiftOffS) / 3600.0 +
           ramp(kTouchdownS, kStopS, 110.0, 0.0, t);
}

inline AircraftData at(double t)
{
    AircraftData d;
    d.gs = groundSpeedKt(t);
    d.ias = d.tas = t < kLiftOffS ? d.gs : (t < kTouchdownS ? 110.0 : d.gs);
    d.onGround = t < kLiftOffS || t >= kTouchdownS;
    double alt = kFieldFt;
    double vs = 0.0;
    if (t >= kLiftOffS && t < 100.0) {
        vs = 1000.0;
        alt = kFieldFt + 1000.0 * (t - kLiftOffS) / 60.0;
    } else if (t >= 100.0 && t < 130.0) {
        alt = kFieldFt + 1000.0;
    } else if (t >= 130.0 && t < 190.0) {
        vs = -960.0;
        alt = kFieldFt + 1000.0 - 960.0 * (t - 130.0) / 60.0;
    } else if (t >= 190.0 && t < kTouchdownS) {
        vs = kTouchdownVsFpm;
        alt = kFieldFt + 40.0 - 320.0 * (t - 190.0) / 60.0;
    }
    d.alt = d.altInd = alt;
    d.altAGL = alt - kFieldFt;
    d.vs = vs;
    d.lat = kStartLat + distanceNm(t) / 60.0;
    d.lon = kStartLon;
    d.hdg = d.hdgTrue = 0.0;
    d.pitch = vs > 0 ? 7.0 : (vs < 0 ? -2.0 : 0.0);
    d.gForce = (t >= kTouchdownS && t < kTouchdownS + 0.5) ? kTouchdownG : 1.0;
    d.fuelTotal = 100.0 - 0.01 * t + (t >= 120.0 ? 50.0 : 0.0);
    d.gear = true;
    d.flaps = t < 60.0 || t > 170.0 ? 20 : 0;
    d.engCnt = 1;
    d.engRun[0] = true;
    d.thr1 = t < kTouchdownS ? 90.0 : 10.0;
    d.baro = 1013.25;
    d.apAlt = 1000.0;
    d.parkBrake = t < 10.0 || t >= kStopS + 5.0 ? 100 : 0;
    return d;
}

} // namespace synthetic
