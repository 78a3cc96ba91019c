#pragma once

#include "tools/xpsim/aircraftstate.h"
#include "tools/xpsim/circuitpilot.h"
#include "tools/xpsim/electrics.h"
#include "tools/xpsim/environment.h"
#include "tools/xpsim/powerplant.h"
#include "tools/xpsim/runwayframe.h"

#include <array>

// Point-mass flight model of the demo aircraft, a light turboprop twin. Each step the circuit
// pilot decides, then speed follows thrust against drag, vertical speed and bank follow the
// pilot's demands at limited rates, heading follows bank, and position is integrated from true
// airspeed plus wind (or from ground speed on the ground). Engines, fuel burn, electrics, gear and
// flap travel, load factor, ILS deviations and the autopilot panel come along. Frozen, the
// aircraft holds its position and attitude while engines and systems run on; paused, nothing runs.
//
// Owned by the simulator session; the session calls advance() about 20 times a second.
// Single-threaded. Inputs use the units of the X-Plane datarefs they come from (ratios 0..1,
// metres, m/s, degrees, feet for autopilot altitude). The ground is flat at the elevation of the
// last runway or ground reposition; there is no terrain or obstacle model.
class FlightModel
{
public:
    struct Options
    {
        GeoPoint start{31.14, 121.81};
        double runwayHeadingDegTrue = 340.0;
        double fieldElevationM = 4.0;
        double runwayLengthM = 3800.0;
        bool startParked = false;
        quint32 seed = 1;
    };

    static constexpr double kEmptyMassKg = 4100.0;
    static constexpr double kMaxStepS = 0.05;
    // A reposition this close to the ground (or below it) puts the aircraft on the ground.
    static constexpr double kGroundSnapM = 30.0;
    // Pushback velocities and yaw rate act for this long after their last write.
    static constexpr double kPushLeaseS = 0.5;

    explicit FlightModel(const Options &options);

    // Advances by dtS seconds of simulated time in steps of at most kMaxStepS. Nothing moves while
    // paused; a dtS over one second is cut to one second.
    void advance(double dtS);
    AircraftState state() const;
    CircuitPilot::Phase phase() const { return m_pilot.phase(); }
    bool paused() const { return m_paused; }
    void setPaused(bool paused) { m_paused = paused; }
    bool frozen() const { return m_frozen; }
    void setFrozen(bool frozen) { m_frozen = frozen; }

    enum class Trim { Elevator, Aileron, Rudder };
    enum class Axis { X, Y, Z };

    // Inputs. The ones returning bool return false when the input does not apply now (it is then
    // ignored, as X-Plane's flight model overwrites such a write on its next frame).
    void setThrottle(int engine, double ratio);
    void setParkBrake(double ratio);
    double parkBrake() const { return m_parkBrake; }
    void setGearHandleDown(bool down);
    bool gearHandleDown() const { return m_gearHandleDown; }
    void setFlapRequest(double ratio);
    // One detent down (positive) or up (negative): up, approach, full.
    void stepFlaps(int detents);
    void setSpeedbrake(double ratio);
    void setTrim(Trim axis, double ratio);
    RadioState &radios() { return m_radios; }
    void setAutopilotAltitudeFt(double altitudeFt) { m_pilot.setPatternAltitudeFt(altitudeFt); }
    void setAutopilotHeadingMagDeg(double headingDegMag);
    void setAutopilotSpeedKt(double speedKt) { m_pilot.setSpeedKt(speedKt); }
    void setAutopilotVsFpm(double vsFpm) { m_pilot.setVerticalSpeedFpm(vsFpm); }
    Environment &environment() { return m_env; }
    Powerplant &powerplant() { return m_power; }
    Electrics &electrics() { return m_electrics; }
    // A failed autopilot (or one without avionics power) shows off; the pilot flies by hand.
    void setAutopilotFailed(bool failed) { m_autopilotFailed = failed; }
    void setGearFailed(bool failed) { m_gearFailed = failed; }
    void setFlapsFailed(bool failed) { m_flapsFailed = failed; }
    void repairAll();
    bool setPayloadKg(int station, double kg);
    // Pushback: a velocity in X-Plane's local frame (m/s; x east, y up, z south) and a yaw rate
    // (deg/s, positive nose right). Only a parked aircraft is moved this way.
    bool setLocalVelocity(Axis axis, double mps);
    bool setYawRateDegS(double degS);
    // Moves the aircraft to a local-frame coordinate (metres). Y (height) only applies in the air.
    bool setLocalPosition(Axis axis, double metres);
    void setHeadingDegTrue(double headingDegTrue);
    // PREL: on the ground (parked, brake set) when elevationM is within kGroundSnapM of the
    // ground or below it, otherwise in the air on a final approach straight ahead.
    void reposition(GeoPoint position, double elevationM, double headingDegTrue, double speedMps);

private:
    double groundFt() const { return m_groundElevationM * geo::kFeetPerMetre; }
    double dragRatio(double iasKt, bool onGround) const;
    CircuitPilot::Situation situation() const;
    void step(double dtS);
    void applyPilotActions(const CircuitPilot::Decision &d);
    void updateConfiguration(double dtS);
    void updatePower(double dtS, const CircuitPilot::Decision &d);
    void updateGround(double dtS, const CircuitPilot::Decision &d);
    void updatePushback(double dtS);
    void updateAir(double dtS, const CircuitPilot::Decision &d);
    void steerInAir(double dtS, const CircuitPilot::Decision &d);
    void touchDown();
    void updateAttitude(double dtS);
    void integratePosition(double dtS);
    void updateLoadFactor(double dtS, double previousVsFpm);
    void navDeviation(AircraftState &a) const;

    Options m_options;
    Environment m_env;
    Powerplant m_power;
    Electrics m_electrics;
    CircuitPilot m_pilot;

    GeoPoint m_position;
    GeoPoint m_localOrigin;
    double m_groundElevationM = 0.0;
    double m_altitudeFt = 0.0;
    double m_headingDegTrue = 0.0;
    double m_trackDegTrue = 0.0;
    double m_iasKt = 0.0;
    double m_groundSpeedKt = 0.0;
    double m_velocityEastMps = 0.0;
    double m_velocityNorthMps = 0.0;
    double m_vsFpm = 0.0;
    double m_vsAccelMps2 = 0.0;
    double m_bankDeg = 0.0;
    double m_pitchDeg = 0.0;
    double m_alphaDeg = 0.0;
    double m_rollRateDegS = 0.0;
    double m_pitchRateDegS = 0.0;
    double m_yawRateDegS = 0.0;
    double m_gLoad = 1.0;
    double m_touchdownG = 0.0;
    bool m_onGround = true;
    bool m_parked = false;
    bool m_rotating = false;

    bool m_gearHandleDown = true;
    double m_gearRatio = 1.0;
    bool m_gearFailed = false;
    double m_flapRequest = 0.0;
    double m_flapRatio = 0.0;
    bool m_flapsFailed = false;
    double m_speedbrake = 0.0;
    double m_parkBrake = 0.0;
    double m_elevatorTrim = 0.0;
    double m_elevatorTrimHoldS = 0.0;
    double m_aileronTrim = 0.0;
    double m_rudderTrim = 0.0;

    RadioState m_radios;
    std::array<double, Powerplant::kTankCount> m_payloadKg{};
    std::array<double, 3> m_pushVelocityMps{};
    double m_pushYawDegS = 0.0;
    double m_pushLeaseS = 0.0;

    bool m_paused = false;
    bool m_frozen = false;
    bool m_autopilotFailed = false;
    double m_timeS = 0.0;
};
