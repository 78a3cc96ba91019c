#pragma once

#include "tools/xpsim/runwayframe.h"

#include <optional>

// The demo's pilot. Flies left-hand traffic circuits with touch-and-goes around one runway
// (take-off roll, upwind, crosswind, downwind, base, final, landing roll, again), flies a heading
// when vectored and then rejoins the downwind, and sits parked when put on the ground. Each tick
// it looks at the aircraft and decides what it wants: a track or heading, an airspeed, a vertical
// speed, a power mode and one-off actions (gear, flaps, parking brake). FlightModel does the
// physics and owns this object (single-threaded).
//
// Numbers are for a light turboprop twin: rotate at 95 kt, circuit at 1500 ft above the field,
// downwind 1.5 nm abeam, base 3 nm out, a 3-degree final to an aim point 300 m past the threshold.
// Units: feet, knots, feet per minute, degrees true unless named otherwise, metres in the runway
// frame. Known limit: the ground is flat at the runway's elevation; there is no terrain.
class CircuitPilot
{
public:
    enum class Phase { Parked, TakeoffRoll, Upwind, Crosswind, Downwind, Base, Final, LandingRoll, Vectors, Rejoin };
    enum class Power { Idle, Takeoff, SpeedHold };

    struct Situation
    {
        GeoPoint position;
        double altitudeFt = 0.0;
        double heightAglFt = 0.0;
        double iasKt = 0.0;
        double groundSpeedKt = 0.0;
        double vsFpm = 0.0;
        double headingDegTrue = 0.0;
        bool onGround = true;
        double parkBrake = 0.0;
        // Best climb the engines allow at this speed; negative when they cannot hold altitude.
        double maxClimbFpm = 1500.0;
        bool lowFuel = false;
        double magneticVariationDeg = 0.0;
    };

    struct Decision
    {
        double courseDegTrue = 0.0;
        // true: courseDegTrue is a heading to hold (vectors), false: a track over the ground.
        bool holdHeading = false;
        double iasKt = 0.0;
        double vsFpm = 0.0;
        Power power = Power::Idle;
        double brake = 0.0;
        bool liftOff = false;
        bool parked = false;
        std::optional<bool> gearDown;
        std::optional<double> flaps;
        std::optional<double> parkBrake;
        bool refuel = false;
    };

    // What the autopilot panel shows, in X-Plane's terms (autopilot_mode 0 off / 2 on,
    // heading_mode 1 = heading select, altitude_mode 4 = vertical speed / 6 = altitude hold).
    struct AutopilotDisplay
    {
        int mode = 0;
        double headingMagDeg = 0.0;
        double altitudeFt = 1500.0;
        double speedKt = 0.0;
        double vsFpm = 0.0;
        int headingMode = 0;
        int altitudeMode = 0;
        int navMode = 0;
        int glideMode = 0;
    };

    static constexpr double kRotateKt = 95.0;
    static constexpr double kPatternHeightFt = 1500.0;
    static constexpr double kAimPointM = 300.0;
    static constexpr double kGlideSlopeDeg = 3.0;

    CircuitPilot();

    static const char *phaseName(Phase phase);
    Phase phase() const { return m_phase; }
    const RunwayFrame &runway() const { return m_runway; }
    const AutopilotDisplay &autopilot() const { return m_autopilot; }

    Decision update(double dtS, const Situation &s);

    // Places the circuit on this runway and starts the take-off roll from its threshold.
    void takeOffFrom(const RunwayFrame &runway);
    // Parks on the ground here; the runway for the next departure starts at this spot.
    // autoDepart: leave again by itself after a short turn-round (used after a low-fuel landing).
    void park(const RunwayFrame &runway, bool autoDepart);
    // Starts a final approach to this runway from wherever the aircraft is.
    void joinFinal(const RunwayFrame &runway);

    // Instructor inputs (through the autopilot panel).
    void vectorTo(double headingDegTrue);
    void setPatternAltitudeFt(double altitudeFt);
    void setSpeedKt(double speedKt);
    void setVerticalSpeedFpm(double vsFpm);

    // Height of the glide path above the runway at alongM, in feet (0 past the aim point).
    double glidePathHeightFt(double alongM) const;

private:
    struct Leg
    {
        RunwayFrame::Local from;
        RunwayFrame::Local to;
    };

    void enter(Phase phase);
    double vsToward(double targetFt, const Situation &s) const;
    double followLeg(const Leg &leg, const RunwayFrame::Local &p, double *remainingM) const;
    double turnLeadM(const Situation &s) const;
    Leg legFor(Phase phase) const;

    void updateParked(const Situation &s, Decision &d);
    void updateTakeoffRoll(const Situation &s, const RunwayFrame::Local &p, Decision &d);
    void updateUpwind(const Situation &s, const RunwayFrame::Local &p, Decision &d);
    void updateCircuitLeg(const Situation &s, const RunwayFrame::Local &p, Decision &d);
    void updateFinal(const Situation &s, const RunwayFrame::Local &p, Decision &d);
    void updateLandingRoll(const Situation &s, const RunwayFrame::Local &p, Decision &d);
    void updateVectors(const Situation &s, const RunwayFrame::Local &p, Decision &d);
    void updateAutopilot(const Situation &s, const Decision &d);

    RunwayFrame m_runway;
    Phase m_phase = Phase::TakeoffRoll;
    bool m_entering = true;
    double m_phaseTimeS = 0.0;
    double m_patternAltitudeFt = kPatternHeightFt;
    std::optional<double> m_speedKt;
    double m_vectorVsFpm = 1000.0;
    double m_vectorHeadingDegTrue = 0.0;
    double m_vectorTimeLeftS = 0.0;
    bool m_gearRetracted = false;
    bool m_flapsRetracted = false;
    bool m_approachConfig = false;
    bool m_landingFlaps = false;
    bool m_fullStop = false;
    bool m_autoDepart = false;
    bool m_autopilotOn = false;
    double m_glideErrorFt = 0.0;
    double m_lastVariationDeg = 0.0;
    AutopilotDisplay m_autopilot;
};
