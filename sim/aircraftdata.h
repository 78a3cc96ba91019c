#pragma once

#include <QList>
#include <QMetaType>
#include <QString>

#include <cstdint>

// One sample of the user aircraft's state, as a backend received it. A plain value: every number
// starts at zero, every flag false, every text empty. Every member has one unit, written beside
// it, whatever the simulator: each backend converts at its boundary, so consumers never branch on
// the simulator to read a value.
struct AircraftData
{
    double lat = 0;     // degrees, north positive
    double lon = 0;     // degrees, east positive
    double alt = 0;     // true altitude MSL, ft
    double altInd = 0;  // indicated altitude, ft
    double altAGL = 0;  // height above ground, ft
    double hdg = 0;     // magnetic heading, deg
    double hdgTrue = 0; // true heading, deg
    double track = 0;   // true ground track, deg (X-Plane only)
    double ias = 0;     // kt
    double tas = 0;     // kt
    double gs = 0;      // kt
    double vs = 0;      // ft/min
    double mach = 0;
    double pitch = 0; // deg, simulator sign convention
    double bank = 0;  // deg, simulator sign convention
    bool onGround = false;
    int32_t engType = 0; // simulator's engine type code
    int32_t engCnt = 0;  // 0..4
    double thr1 = 0;     // throttle lever 1, percent 0-100
    double thr2 = 0;     // throttle lever 2, percent 0-100
    double spare1 = 0;
    double spare2 = 0;
    QString text1;
    QString text2;
    QString text3;
    QString text4;
    bool gear = false;              // gear extended
    int32_t flaps = 0;              // flap handle, percent
    double spoiler = 0;             // speed-brake handle, percent 0-100
    int32_t parkBrake = 0;          // percent
    double engN1[4] = {0, 0, 0, 0}; // percent
    double engN2[4] = {0, 0, 0, 0}; // percent, where the simulator reports it
    double egt[4] = {0, 0, 0, 0};   // deg C
    double rpm[4] = {0, 0, 0, 0};   // engine or propeller rpm
    double ff[4] = {0, 0, 0, 0};    // fuel flow, US gal/h
    bool engRun[4] = {false, false, false, false};
    bool engFire[2] = {false, false}; // where the simulator reports it
    double elevTrim = 0;              // deg
    double rudTrim = 0;               // deg
    double ailTrim = 0;               // deg
    double nav1 = 0;                  // MHz
    double nav1s = 0;
    double nav2 = 0;
    double nav2s = 0;
    double com1 = 0; // MHz
    double com1s = 0;
    double com2 = 0;
    double com2s = 0;
    double adf = 0;  // kHz
    double xpdr = 0; // squawk as a number, e.g. 7000
    int32_t apSpare = 0;
    bool apMaster = false;
    bool apHdgLock = false;
    bool apAltLock = false;
    bool apSpdLock = false;
    bool apVnav = false; // X-Plane only
    bool apAppr = false;
    bool apNavLock = false;
    double apAlt = 0;     // ft
    double apHdg = 0;     // deg
    double apSpd = 0;     // kt
    double apVs = 0;      // ft/min
    double fuelTotal = 0; // US gal
    double fuelL = 0;     // US gal (left tanks)
    double fuelR = 0;     // US gal (right tanks)
    double totalWt = 0;   // kg
    double cg = 0;        // percent MAC
    double loc = 0;       // NAV1 course deviation, dots (full scale +-2.5, right positive)
    double gsDev = 0;     // NAV1 glide-slope deviation, dots (full scale +-2.5, up positive)
    double gForce = 0;    // g
    double ambTemp = 0;   // deg C
    double windDir = 0;   // deg true
    double windSpd = 0;   // kt
    double vis = 0;       // m
    double baroSea = 0;   // hPa
    double baro = 0;      // altimeter setting, hPa
};

// The one fuel density the station uses where a simulator reports fuel by mass (jet fuel,
// 0.804 kg per litre): kilograms per US gallon.
constexpr double kFuelKgPerUsGallon = 3.78541 * 0.804;

// Altitudes a sample may carry, feet MSL: below the lowest ground on earth or above anything a
// simulated aircraft reaches, the number is garbage.
constexpr double kMinPlausibleAltitudeFt = -2000.0;
constexpr double kMaxPlausibleAltitudeFt = 150000.0;

// Whether the sample's position can be on or above the earth. Backends drop a sample that fails
// this (a garbled or hostile reply), so consumers never see NaN, infinities or latitudes past the
// poles. NaN fails every comparison and is caught as well.
inline bool hasPlausiblePosition(const AircraftData &data)
{
    return data.lat >= -90.0 && data.lat <= 90.0 && data.lon >= -180.0 && data.lon <= 180.0 &&
           data.alt >= kMinPlausibleAltitudeFt && data.alt <= kMaxPlausibleAltitudeFt;
}

// One traffic aircraft. No backend here reports traffic yet; the type exists for
// ISimBackend::aiAircraftUpdated.
struct AiAircraft
{
    double lat = 0;
    double lon = 0;
    double altFt = 0;
    double headingDegTrue = 0;
    double groundSpeedKts = 0;
    double verticalSpeedFpm = 0;
    double indicatedSpeedKts = 0;
    double pitchDeg = 0;
    QString callsign;
    QString aircraftType;
    QString registration;
};

Q_DECLARE_METATYPE(AircraftData)
Q_DECLARE_METATYPE(AiAircraft)
Q_DECLARE_METATYPE(QList<AiAircraft>)
