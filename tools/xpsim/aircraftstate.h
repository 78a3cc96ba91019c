#pragma once

#include "tools/xpsim/circuitpilot.h"
#include "tools/xpsim/electrics.h"
#include "tools/xpsim/powerplant.h"

#include <array>

// Radio panel, in the units X-Plane 11's "*_freq_hz" datarefs use: NAV and COM in 10 kHz
// (11030 = 110.30 MHz), ADF in kHz.
struct RadioState
{
    int nav1 = 11030;
    int nav1Standby = 11370;
    int nav2 = 11650;
    int nav2Standby = 11510;
    int com1 = 11880;
    int com1Standby = 12130;
    int com2 = 12150;
    int com2Standby = 12440;
    int adf1Khz = 515;
    int transponderCode = 7000;
    int transponderMode = 2;
};

struct EngineState
{
    double throttle = 0.0;
    double n1Pct = 0.0;
    double egtC = 0.0;
    double fuelFlowKgS = 0.0;
    double rpm = 0.0;
    bool running = false;
    bool fire = false;
};

// One snapshot of everything the demo simulator publishes, in X-Plane's units: metres and m/s for
// position and velocities (local frame: x east, y up, z south), knots for indicated airspeed,
// feet per minute, degrees, kilograms, kg/s. Built by FlightModel::state(), turned into datarefs
// by XpBinding::publish().
struct AircraftState
{
    double latDeg = 0.0;
    double lonDeg = 0.0;
    double elevationM = 0.0;
    double heightAglM = 0.0;
    double headingTrueDeg = 0.0;
    double headingMagDeg = 0.0;
    double trackTrueDeg = 0.0;
    double pitchDeg = 0.0;
    double bankDeg = 0.0;
    double alphaDeg = 0.0;
    double iasKt = 0.0;
    double tasMps = 0.0;
    double groundSpeedMps = 0.0;
    double mach = 0.0;
    double vsFpm = 0.0;
    double indicatedAltitudeFt = 0.0;
    double localX = 0.0;
    double localY = 0.0;
    double localZ = 0.0;
    double localVx = 0.0;
    double localVy = 0.0;
    double localVz = 0.0;
    double rollRateDegS = 0.0;
    double pitchRateDegS = 0.0;
    double yawRateDegS = 0.0;
    double gLoad = 1.0;
    bool onGround = true;

    std::array<double, 3> gearDeploy{};
    bool gearHandleDown = true;
    double flapRatio = 0.0;
    double flapRequest = 0.0;
    double speedbrakeRatio = 0.0;
    double parkBrakeRatio = 0.0;
    double elevatorTrim = 0.0;
    double aileronTrim = 0.0;
    double rudderTrim = 0.0;

    std::array<EngineState, Powerplant::kEngineCount> engines{};
    std::array<double, Powerplant::kTankCount> fuelKg{};
    std::array<double, Powerplant::kTankCount> tankRatio{};
    std::array<double, Powerplant::kTankCount> payloadKg{};
    double fuelCapacityKg = 0.0;
    double fuelTotalKg = 0.0;
    double emptyMassKg = 0.0;
    double totalMassKg = 0.0;

    RadioState radios;
    CircuitPilot::AutopilotDisplay autopilot;
    double navHorizontalDots = 0.0;
    double navVerticalDots = 0.0;
    bool navHorizontalSignal = false;
    bool navVerticalSignal = false;

    double oatC = 0.0;
    double seaLevelTempC = 0.0;
    double windFromDegTrue = 0.0;
    double windSpeedKt = 0.0;
    double visibilityM = 0.0;
    double seaLevelPressureInHg = 0.0;
    double altimeterSettingInHg = 0.0;

    // Left and right main bus, then the avionics bus; volts and amperes.
    std::array<double, Electrics::kSides + 1> busVolts{};
    std::array<double, Electrics::kSides> batteryVolts{};
    std::array<double, Electrics::kSides> generatorAmps{};

    // Failure enum values as X-Plane shows them: 6 failed now, 0 working.
    std::array<std::array<int, 3>, Powerplant::kEngineCount> engineFailures{}; // power loss, flame-out, fire
    int gearActuatorFailure = 0;
    int flapActuatorFailure = 0;
    int fuelFrozen = 0;
    std::array<int, Electrics::kSides> generatorFailures{};
    std::array<int, Electrics::kSides> batteryFailures{};
    int electricalFailure = 0;
    int avionicsFailure = 0;
    int autopilotFailure = 0;

    bool paused = false;
    bool frozen = false;
    double runningTimeS = 0.0;
};
