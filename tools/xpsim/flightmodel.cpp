#include "tools/xpsim/flightmodel.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kAccelKtPerS = 5.0; // speed change per unit of excess thrust
constexpr double kClimbFpmPerThrust = 3000.0;
constexpr double kVsSlewFpmPerS = 400.0;
constexpr double kBankSlewDegPerS = 8.0;
constexpr double kMaxBankDeg = 25.0;
constexpr double kGearTravelPerS = 1.0 / 6.0;
constexpr double kFlapTravelPerS = 1.0 / 8.0;
constexpr double kLocalizerBeyondEndM = 300.0;
constexpr double kMinAirspeedKt = 50.0;

double slew(double value, double target, double maxStep)
{
    return value + std::clamp(target - value, -maxStep, maxStep);
}

double rad(double deg)
{
    return deg / geo::kDegPerRad;
}

} // namespace

FlightModel::FlightModel(const Options &options)
    : m_options(options), m_env(options.seed), m_position(options.start), m_localOrigin(options.start),
      m_groundElevationM(options.fieldElevationM)
{
    m_altitudeFt = groundFt();
    m_headingDegTrue = m_trackDegTrue = geo::normalizeDeg(options.runwayHeadingDegTrue);
    m_payloadKg[0] = 170.0; // two crew
    m_payloadKg[1] = 320.0; // four passengers and bags
    const RunwayFrame runway(options.start, options.runwayHeadingDegTrue, options.runwayLengthM,
                             options.fieldElevationM);
    if (options.startParked) {
        m_parkBrake = 1.0;
        m_parked = true;
        m_pilot.park(runway, false);
    } else {
        m_pilot.takeOffFrom(runway);
    }
}

void FlightModel::advance(double dtS)
{
    if (m_paused || !(dtS > 0.0))
        return;
    double left = std::min(dtS, 1.0);
    while (left > 1e-9) {
        const double dt = std::min(left, kMaxStepS);
        step(dt);
        left -= dt;
    }
}

double FlightModel::dragRatio(double iasKt, bool onGround) const
{
    const double q = (iasKt / 200.0) * (iasKt / 200.0);
    const double parasite = q * (0.55 + 0.25 * m_flapRatio + 0.15 * m_gearRatio + 0.3 * m_speedbrake);
    const double lowSpeed = std::max(iasKt, 60.0);
    const double induced = onGround ? 0.03 : 0.12 * (110.0 / lowSpeed) * (110.0 / lowSpeed);
    return parasite + induced;
}

CircuitPilot::Situation FlightModel::situation() const
{
    CircuitPilot::Situation s;
    s.position = m_position;
    s.altitudeFt = m_altitudeFt;
    s.heightAglFt = m_altitudeFt - groundFt();
    s.iasKt = m_iasKt;
    s.groundSpeedKt = std::hypot(m_velocityEastMps, m_velocityNorthMps) * geo::kKtPerMps;
    s.vsFpm = m_vsFpm;
    s.headingDegTrue = m_headingDegTrue;
    s.onGround = m_onGround;
    s.parkBrake = m_parkBrake;
    s.maxClimbFpm = (m_power.availableThrustRatio() - dragRatio(m_iasKt, false)) * kClimbFpmPerThrust;
    s.lowFuel = m_power.totalFuelKg() < 0.15 * Powerplant::kCapacityKg;
    s.magneticVariationDeg = m_env.magneticVariationDeg();
    return s;
}

void FlightModel::step(double dtS)
{
    m_timeS += dtS;
    const double previousVsFpm = m_vsFpm;
    m_env.advance(dtS);
    m_electrics.advance(dtS, {m_power.running(0), m_power.running(1)});
    if (m_frozen) {
        // Held in place: the engines run on at the pilot's last throttle, nothing moves.
        m_power.advance(dtS, m_onGround, m_env.temperatureC(m_altitudeFt));
        return;
    }
    const CircuitPilot::Decision d = m_pilot.update(dtS, situation());
    m_parked = d.parked;
    applyPilotActions(d);
    updateConfiguration(dtS);
    updatePower(dtS, d);
    if (m_onGround)
        updateGround(dtS, d);
    else
        updateAir(dtS, d);
    updateAttitude(dtS);
    integratePosition(dtS);
    updateLoadFactor(dtS, previousVsFpm);
    m_elevatorTrimHoldS = std::max(0.0, m_elevatorTrimHoldS - dtS);
    if (m_elevatorTrimHoldS <= 0.0) {
        // The pilot trims for speed and flap setting.
        m_elevatorTrim = std::clamp(0.1 + 0.15 * m_flapRatio - (m_iasKt - 120.0) / 400.0, -1.0, 1.0);
    }
}

void FlightModel::applyPilotActions(const CircuitPilot::Decision &d)
{
    if (d.gearDown)
        m_gearHandleDown = *d.gearDown;
    if (d.flaps)
        m_flapRequest = *d.flaps;
    if (d.parkBrake)
        m_parkBrake = *d.parkBrake;
    if (d.refuel)
        m_power.fillTo(0.7);
}

void FlightModel::updateConfiguration(double dtS)
{
    if (!m_gearFailed)
        m_gearRatio = slew(m_gearRatio, m_gearHandleDown ? 1.0 : 0.0, kGearTravelPerS * dtS);
    if (!m_flapsFailed)
        m_flapRatio = slew(m_flapRatio, m_flapRequest, kFlapTravelPerS * dtS);
}

void FlightModel::updatePower(double dtS, const CircuitPilot::Decision &d)
{
    double throttle = 0.0;
    if (d.power == CircuitPilot::Power::Takeoff) {
        throttle = 1.0;
    } else if (d.power == CircuitPilot::Power::SpeedHold) {
        // Feed-forward from the thrust the manoeuvre needs, trimmed by the speed error.
        const double required = dragRatio(m_iasKt, m_onGround) + (m_onGround ? 0.0 : d.vsFpm / kClimbFpmPerThrust);
        const double idle = m_power.idleThrustRatio();
        const double available = m_power.availableThrustRatio();
        const double feed = available > idle + 0.01 ? (required - idle) / (available - idle) : 1.0;
        throttle = std::clamp(feed + 0.06 * (d.iasKt - m_iasKt), 0.0, 1.0);
    }
    m_power.setPilotThrottle(throttle);
    m_power.advance(dtS, m_onGround, m_env.temperatureC(m_altitudeFt));
}

void FlightModel::updateGround(double dtS, const CircuitPilot::Decision &d)
{
    const double headwindKt = m_env.windSpeedKt(0.0) * std::cos(rad(m_env.windFromDegTrue(0.0) - m_headingDegTrue));
    if (d.parked) {
        updatePushback(dtS);
        m_iasKt = std::max(0.0, headwindKt);
        m_rotating = false;
        return;
    }
    double excess = m_power.thrustRatio() - dragRatio(m_iasKt, true) - 0.9 * d.brake;
    if (m_groundSpeedKt <= 0.0 && excess < 0.0)
        excess = 0.0;
    m_groundSpeedKt = std::max(0.0, m_groundSpeedKt + kAccelKtPerS * excess * dtS);
    if (m_groundSpeedKt > 2.0) {
        const double turn = std::clamp(geo::wrap180(d.courseDegTrue - m_headingDegTrue) * 0.8, -3.0, 3.0);
        m_headingDegTrue = geo::normalizeDeg(m_headingDegTrue + turn * dtS);
        m_yawRateDegS = turn;
    } else {
        m_yawRateDegS = 0.0;
    }
    m_iasKt = std::max(0.0, m_groundSpeedKt + headwindKt);
    m_rotating = d.power == CircuitPilot::Power::Takeoff && m_iasKt > CircuitPilot::kRotateKt - 5.0;
    if (d.liftOff && m_iasKt >= CircuitPilot::kRotateKt) {
        m_onGround = false;
        m_vsFpm = 200.0;
        m_altitudeFt += m_vsFpm / 60.0 * dtS;
    }
}

void FlightModel::updatePushback(double dtS)
{
    m_pushLeaseS = std::max(0.0, m_pushLeaseS - dtS);
    if (m_pushLeaseS <= 0.0) {
        m_pushVelocityMps = {0.0, 0.0, 0.0};
        m_pushYawDegS = 0.0;
    }
    m_velocityEastMps = m_pushVelocityMps[0];
    m_velocityNorthMps = -m_pushVelocityMps[2];
    m_groundSpeedKt = std::hypot(m_velocityEastMps, m_velocityNorthMps) * geo::kKtPerMps;
    m_yawRateDegS = m_pushYawDegS;
    m_headingDegTrue = geo::normalizeDeg(m_headingDegTrue + m_pushYawDegS * dtS);
}

void FlightModel::updateAir(double dtS, const CircuitPilot::Decision &d)
{
    const double required = dragRatio(m_iasKt, false) + m_vsFpm / kClimbFpmPerThrust;
    m_iasKt = std::max(kMinAirspeedKt, m_iasKt + kAccelKtPerS * (m_power.thrustRatio() - required) * dtS);
    m_vsFpm = slew(m_vsFpm, d.vsFpm, kVsSlewFpmPerS * dtS);
    m_altitudeFt += m_vsFpm / 60.0 * dtS;
    steerInAir(dtS, d);
    if (m_altitudeFt <= groundFt()) {
        if (m_pilot.phase() == CircuitPilot::Phase::Final) {
            touchDown();
        } else {
            // Only the approach may meet the ground; anything else levels off just above it.
            m_altitudeFt = groundFt() + 1.0;
            m_vsFpm = std::max(0.0, m_vsFpm);
        }
    }
}

void FlightModel::steerInAir(double dtS, const CircuitPilot::Decision &d)
{
    const double tasKt = m_iasKt / std::sqrt(Environment::densityRatio(m_altitudeFt));
    double desired = d.courseDegTrue;
    if (!d.holdHeading) {
        // Crab into the wind so that the track over the ground is the one wanted.
        const double windKt = m_env.windSpeedKt(m_altitudeFt);
        const double off = rad(m_env.windFromDegTrue(m_altitudeFt) - d.courseDegTrue);
        desired += std::asin(std::clamp(windKt / tasKt * std::sin(off), -1.0, 1.0)) * geo::kDegPerRad;
    }
    const double bankCommand = std::clamp(geo::wrap180(desired - m_headingDegTrue) * 2.5, -kMaxBankDeg, kMaxBankDeg);
    const double previousBank = m_bankDeg;
    m_bankDeg = slew(m_bankDeg, bankCommand, kBankSlewDegPerS * dtS);
    m_rollRateDegS = (m_bankDeg - previousBank) / dtS;
    const double tasMps = tasKt / geo::kKtPerMps;
    m_yawRateDegS = geo::kGravityMps2 * std::tan(rad(m_bankDeg)) / tasMps * geo::kDegPerRad;
    m_headingDegTrue = geo::normalizeDeg(m_headingDegTrue + m_yawRateDegS * dtS);
}

void FlightModel::touchDown()
{
    m_altitudeFt = groundFt();
    m_onGround = true;
    m_touchdownG = std::min(0.8, std::fabs(m_vsFpm) / 700.0);
    m_vsFpm = 0.0;
    m_bankDeg = 0.0;
    const double along =
        m_velocityEastMps * std::sin(rad(m_headingDegTrue)) + m_velocityNorthMps * std::cos(rad(m_headingDegTrue));
    m_groundSpeedKt = std::max(0.0, along * geo::kKtPerMps);
}

void FlightModel::updateAttitude(double dtS)
{
    const double previousPitch = m_pitchDeg;
    double target = 0.0;
    if (m_onGround) {
        m_alphaDeg = 0.0;
        target = m_rotating ? 7.0 : 0.0;
        m_bankDeg = 0.0;
        m_rollRateDegS = 0.0;
    } else {
        const double tasMps = m_iasKt / std::sqrt(Environment::densityRatio(m_altitudeFt)) / geo::kKtPerMps;
        const double gammaDeg = std::atan2(m_vsFpm * 0.3048 / 60.0, tasMps) * geo::kDegPerRad;
        const double ratio = 100.0 / std::max(m_iasKt, kMinAirspeedKt);
        m_alphaDeg = std::clamp(0.5 + 5.0 * ratio * ratio - 2.0 * m_flapRatio, -2.0, 14.0);
        target = gammaDeg + m_alphaDeg;
    }
    m_pitchDeg = slew(m_pitchDeg, target, 4.0 * dtS);
    m_pitchRateDegS = (m_pitchDeg - previousPitch) / dtS;
}

void FlightModel::integratePosition(double dtS)
{
    if (m_onGround) {
        if (!m_parked) {
            const double v = m_groundSpeedKt / geo::kKtPerMps;
            m_velocityEastMps = v * std::sin(rad(m_headingDegTrue));
            m_velocityNorthMps = v * std::cos(rad(m_headingDegTrue));
        }
    } else {
        const double tasMps = m_iasKt / std::sqrt(Environment::densityRatio(m_altitudeFt)) / geo::kKtPerMps;
        const double windMps = m_env.windSpeedKt(m_altitudeFt) / geo::kKtPerMps;
        const double windTo = rad(m_env.windFromDegTrue(m_altitudeFt) + 180.0);
        m_velocityEastMps = tasMps * std::sin(rad(m_headingDegTrue)) + windMps * std::sin(windTo);
        m_velocityNorthMps = tasMps * std::cos(rad(m_headingDegTrue)) + windMps * std::cos(windTo);
    }
    m_position = geo::offset(m_position, m_velocityNorthMps * dtS, m_velocityEastMps * dtS);
    if (std::hypot(m_velocityEastMps, m_velocityNorthMps) > 0.3)
        m_trackDegTrue = geo::normalizeDeg(std::atan2(m_velocityEastMps, m_velocityNorthMps) * geo::kDegPerRad);
    else
        m_trackDegTrue = m_headingDegTrue;
}

void FlightModel::updateLoadFactor(double dtS, double previousVsFpm)
{
    const double vsAccel = (m_vsFpm - previousVsFpm) * 0.3048 / 60.0 / dtS;
    m_vsAccelMps2 += (vsAccel - m_vsAccelMps2) * std::min(1.0, dtS / 0.3);
    m_touchdownG *= std::max(0.0, 1.0 - dtS / 0.4);
    if (m_onGround) {
        const double rumble = m_env.turbulenceG() * 0.5 * std::min(1.0, m_groundSpeedKt / 100.0);
        m_gLoad = 1.0 + m_touchdownG + rumble;
        return;
    }
    const double gammaRad = std::atan2(m_vsFpm, std::max(1.0, m_iasKt) * 101.27);
    m_gLoad = std::cos(gammaRad) / std::cos(rad(m_bankDeg)) + m_vsAccelMps2 / geo::kGravityMps2 + m_env.turbulenceG();
}

void FlightModel::navDeviation(AircraftState &a) const
{
    // NAV1 is taken to be tuned to the ILS of the circuit runway. Full scale is 2.5 dots: 2.5
    // degrees for the localizer, 0.7 degree for the glide slope. Positive means the needle
    // points right / up, i.e. the aircraft is left of / below the beam. 0 and no signal outside
    // coverage.
    a.navHorizontalDots = a.navVerticalDots = 0.0;
    a.navHorizontalSignal = a.navVerticalSignal = false;
    const RunwayFrame &runway = m_pilot.runway();
    const RunwayFrame::Local p = runway.toLocal(m_position);
    const double toLocalizerM = runway.lengthM() + kLocalizerBeyondEndM - p.alongM;
    if (m_onGround || toLocalizerM <= 0.0 || toLocalizerM > 25.0 * geo::kMetresPerNm)
        return;
    const double offCourseDeg = std::atan2(p.crossM, toLocalizerM) * geo::kDegPerRad;
    if (std::fabs(offCourseDeg) > 35.0)
        return;
    a.navHorizontalDots = std::clamp(-offCourseDeg, -2.5, 2.5);
    a.navHorizontalSignal = true;
    const double toGlideSlopeM = std::hypot(CircuitPilot::kAimPointM - p.alongM, p.crossM);
    if (p.alongM > CircuitPilot::kAimPointM - 100.0 || toGlideSlopeM > 10.0 * geo::kMetresPerNm ||
        std::fabs(offCourseDeg) > 10.0)
        return;
    const double heightM = (m_altitudeFt - groundFt()) / geo::kFeetPerMetre;
    const double elevationDeg = std::atan2(heightM, toGlideSlopeM) * geo::kDegPerRad;
    a.navVerticalDots = std::clamp((CircuitPilot::kGlideSlopeDeg - elevationDeg) / 0.28, -2.5, 2.5);
    a.navVerticalSignal = true;
}

AircraftState FlightModel::state() const
{
    AircraftState a;
    a.latDeg = m_position.latDeg;
    a.lonDeg = m_position.lonDeg;
    a.elevationM = m_altitudeFt / geo::kFeetPerMetre;
    a.heightAglM = (m_altitudeFt - groundFt()) / geo::kFeetPerMetre;
    a.headingTrueDeg = m_headingDegTrue;
    a.headingMagDeg = geo::normalizeDeg(m_headingDegTrue - m_env.magneticVariationDeg());
    a.trackTrueDeg = m_trackDegTrue;
    a.onGround = m_onGround;
    a.pitchDeg = m_pitchDeg + (m_onGround ? 0.0 : m_env.turbulencePitchDeg());
    a.bankDeg = m_bankDeg + (m_onGround ? 0.0 : m_env.turbulenceBankDeg());
    a.alphaDeg = m_alphaDeg;
    a.iasKt = m_iasKt;
    a.tasMps = m_iasKt / std::sqrt(Environment::densityRatio(m_altitudeFt)) / geo::kKtPerMps;
    a.groundSpeedMps = std::hypot(m_velocityEastMps, m_velocityNorthMps);
    a.mach = a.tasMps * geo::kKtPerMps / m_env.speedOfSoundKt(m_altitudeFt);
    a.vsFpm = m_vsFpm;
    // The altimeter reads high by about 1000 ft per inch of mercury it is set above the actual pressure.
    a.indicatedAltitudeFt = m_altitudeFt + (m_env.altimeterSettingInHg() - m_env.seaLevelPressureInHg()) * 920.0;
    double north = 0.0;
    double east = 0.0;
    geo::northEast(m_localOrigin, m_position, &north, &east);
    a.localX = east;
    a.localY = a.elevationM;
    a.localZ = -north;
    a.localVx = m_velocityEastMps;
    a.localVy = m_vsFpm * 0.3048 / 60.0;
    a.localVz = -m_velocityNorthMps;
    a.rollRateDegS = m_rollRateDegS;
    a.pitchRateDegS = m_pitchRateDegS;
    a.yawRateDegS = m_yawRateDegS;
    a.gLoad = m_gLoad;

    a.gearDeploy = {m_gearRatio, m_gearRatio, m_gearRatio};
    a.gearHandleDown = m_gearHandleDown;
    a.flapRatio = m_flapRatio;
    a.flapRequest = m_flapRequest;
    a.speedbrakeRatio = m_speedbrake;
    a.parkBrakeRatio = m_parkBrake;
    a.elevatorTrim = m_elevatorTrim;
    a.aileronTrim = m_aileronTrim;
    a.rudderTrim = m_rudderTrim;

    for (int i = 0; i < Powerplant::kEngineCount; ++i) {
        EngineState &e = a.engines[i];
        e.throttle = m_power.throttle(i);
        e.n1Pct = m_power.n1Pct(i);
        e.egtC = m_power.egtC(i);
        e.fuelFlowKgS = m_power.fuelFlowKgS(i);
        e.rpm = m_power.rpm(i);
        e.running = m_power.running(i);
        e.fire = m_power.onFire(i);
    }
    double payload = 0.0;
    for (int t = 0; t < Powerplant::kTankCount; ++t) {
        a.fuelKg[t] = m_power.fuelKg(t);
        a.tankRatio[t] = m_power.tankRatio(t);
        a.payloadKg[t] = m_payloadKg[t];
        payload += m_payloadKg[t];
    }
    a.fuelCapacityKg = Powerplant::kCapacityKg;
    a.fuelTotalKg = m_power.totalFuelKg();
    a.emptyMassKg = kEmptyMassKg;
    a.totalMassKg = kEmptyMassKg + payload + a.fuelTotalKg;

    a.radios = m_radios;
    a.autopilot = m_pilot.autopilot();
    if (m_autopilotFailed || m_electrics.avionicsBusVolts() <= 0.0) {
        a.autopilot.mode = 0;
        a.autopilot.headingMode = a.autopilot.altitudeMode = a.autopilot.navMode = a.autopilot.glideMode = 0;
    }
    for (int side = 0; side < Electrics::kSides; ++side) {
        a.busVolts[side] = m_electrics.busVolts(side);
        a.batteryVolts[side] = m_electrics.batteryVolts(side);
        a.generatorAmps[side] = m_electrics.generatorAmps(side);
    }
    a.busVolts[Electrics::kSides] = m_electrics.avionicsBusVolts();
    navDeviation(a);

    a.oatC = m_env.temperatureC(m_altitudeFt);
    a.seaLevelTempC = m_env.seaLevelTemperatureC();
    a.windFromDegTrue = m_env.windFromDegTrue(m_altitudeFt);
    a.windSpeedKt = m_env.windSpeedKt(m_altitudeFt);
    a.visibilityM = m_env.visibilityM();
    a.seaLevelPressureInHg = m_env.seaLevelPressureInHg();
    a.altimeterSettingInHg = m_env.altimeterSettingInHg();
    using F = Powerplant::Failure;
    for (int i = 0; i < Powerplant::kEngineCount; ++i) {
        a.engineFailures[i] = {m_power.hasFailure(i, F::PowerLoss) ? 6 : 0, m_power.hasFailure(i, F::Flameout) ? 6 : 0,
                               m_power.hasFailure(i, F::Fire) ? 6 : 0};
    }
    a.gearActuatorFailure = m_gearFailed ? 6 : 0;
    a.flapActuatorFailure = m_flapsFailed ? 6 : 0;
    a.fuelFrozen = m_power.fuelFrozen() ? 6 : 0;
    for (int side = 0; side < Electrics::kSides; ++side) {
        a.generatorFailures[side] = m_electrics.generatorFailed(side) ? 6 : 0;
        a.batteryFailures[side] = m_electrics.batteryFailed(side) ? 6 : 0;
    }
    a.electricalFailure = m_electrics.systemFailed() ? 6 : 0;
    a.avionicsFailure = m_electrics.avionicsFailed() ? 6 : 0;
    a.autopilotFailure = m_autopilotFailed ? 6 : 0;
    a.paused = m_paused;
    a.frozen = m_frozen;
    a.runningTimeS = m_timeS;
    return a;
}
