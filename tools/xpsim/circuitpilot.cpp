#include "tools/xpsim/circuitpilot.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kUpwindExtensionM = 1.0 * geo::kMetresPerNm;
constexpr double kDownwindOffsetM = 1.5 * geo::kMetresPerNm;
constexpr double kBaseDistanceM = 3.0 * geo::kMetresPerNm;
constexpr double kApproachConfigM = 4.0 * geo::kMetresPerNm;
constexpr double kLandingFlapsM = 2.5 * geo::kMetresPerNm;
constexpr double kRejoinCaptureM = 0.8 * geo::kMetresPerNm;

constexpr double kInitialClimbKt = 120.0;
constexpr double kClimbKt = 130.0;
constexpr double kCrosswindKt = 140.0;
constexpr double kDownwindKt = 150.0;
constexpr double kApproachKt = 130.0;
constexpr double kBaseKt = 120.0;
constexpr double kFinalKt = 110.0;
constexpr double kVectorKt = 160.0;

constexpr double kApproachFlaps = 0.4;
constexpr double kTurnBankDeg = 25.0;
constexpr double kInterceptGainDegPerM = 0.03;
constexpr double kMaxInterceptDeg = 45.0;
constexpr double kVectorHoldS = 120.0;
constexpr double kTurnRoundS = 30.0;
constexpr double kFpmPerKtPerDeg = 101.27;

double roundTo(double value, double step)
{
    return std::round(value / step) * step;
}

} // namespace

CircuitPilot::CircuitPilot() : m_runway(GeoPoint{}, 0.0, 3800.0, 0.0) {}

const char *CircuitPilot::phaseName(Phase phase)
{
    switch (phase) {
    case Phase::Parked:
        return "parked";
    case Phase::TakeoffRoll:
        return "take-off roll";
    case Phase::Upwind:
        return "upwind";
    case Phase::Crosswind:
        return "crosswind";
    case Phase::Downwind:
        return "downwind";
    case Phase::Base:
        return "base";
    case Phase::Final:
        return "final";
    case Phase::LandingRoll:
        return "landing roll";
    case Phase::Vectors:
        return "vectors";
    case Phase::Rejoin:
        return "rejoining the circuit";
    }
    return "?";
}

void CircuitPilot::enter(Phase phase)
{
    m_phase = phase;
    m_entering = true;
    m_phaseTimeS = 0.0;
}

void CircuitPilot::takeOffFrom(const RunwayFrame &runway)
{
    m_runway = runway;
    m_patternAltitudeFt = roundTo(runway.elevationM() * geo::kFeetPerMetre + kPatternHeightFt, 100.0);
    m_gearRetracted = m_flapsRetracted = m_approachConfig = m_landingFlaps = false;
    m_fullStop = m_autoDepart = false;
    enter(Phase::TakeoffRoll);
}

void CircuitPilot::park(const RunwayFrame &runway, bool autoDepart)
{
    m_runway = runway;
    m_patternAltitudeFt = roundTo(runway.elevationM() * geo::kFeetPerMetre + kPatternHeightFt, 100.0);
    m_autoDepart = autoDepart;
    m_fullStop = false;
    enter(Phase::Parked);
}

void CircuitPilot::joinFinal(const RunwayFrame &runway)
{
    m_runway = runway;
    m_patternAltitudeFt = roundTo(runway.elevationM() * geo::kFeetPerMetre + kPatternHeightFt, 100.0);
    m_gearRetracted = m_flapsRetracted = true;
    m_approachConfig = m_landingFlaps = false;
    m_fullStop = m_autoDepart = false;
    enter(Phase::Final);
}

void CircuitPilot::vectorTo(double headingDegTrue)
{
    m_vectorHeadingDegTrue = geo::normalizeDeg(headingDegTrue);
    m_vectorTimeLeftS = kVectorHoldS;
    const bool onGround = m_phase == Phase::Parked || m_phase == Phase::TakeoffRoll || m_phase == Phase::LandingRoll;
    if (!onGround && m_phase != Phase::Vectors)
        enter(Phase::Vectors);
    if (onGround)
        m_autopilot.headingMagDeg = geo::normalizeDeg(std::round(headingDegTrue - m_lastVariationDeg));
}

void CircuitPilot::setPatternAltitudeFt(double altitudeFt)
{
    m_patternAltitudeFt = std::clamp(altitudeFt, -1000.0, 45000.0);
}

void CircuitPilot::setSpeedKt(double speedKt)
{
    m_speedKt = std::clamp(speedKt, 100.0, 240.0);
}

void CircuitPilot::setVerticalSpeedFpm(double vsFpm)
{
    m_vectorVsFpm = std::clamp(std::fabs(vsFpm), 300.0, 3000.0);
}

double CircuitPilot::glidePathHeightFt(double alongM) const
{
    return std::max(0.0, kAimPointM - alongM) * std::tan(kGlideSlopeDeg / geo::kDegPerRad) * geo::kFeetPerMetre;
}

double CircuitPilot::vsToward(double targetFt, const Situation &s) const
{
    const double error = targetFt - s.altitudeFt;
    const double maxDescent = error < -3000.0 ? 2500.0 : 1000.0;
    return std::min(std::clamp(error * 3.0, -maxDescent, 1500.0), s.maxClimbFpm);
}

double CircuitPilot::turnLeadM(const Situation &s) const
{
    const double v = std::max(30.0, s.groundSpeedKt / geo::kKtPerMps);
    return v * v / (geo::kGravityMps2 * std::tan(kTurnBankDeg / geo::kDegPerRad));
}

double CircuitPilot::followLeg(const Leg &leg, const RunwayFrame::Local &p, double *remainingM) const
{
    const double da = leg.to.alongM - leg.from.alongM;
    const double dc = leg.to.crossM - leg.from.crossM;
    const double length = std::max(1.0, std::hypot(da, dc));
    const double ua = da / length;
    const double uc = dc / length;
    const double pa = p.alongM - leg.from.alongM;
    const double pc = p.crossM - leg.from.crossM;
    *remainingM = length - (pa * ua + pc * uc);
    const double rightOfLegM = -pa * uc + pc * ua;
    const double legAngle = std::atan2(uc, ua) * geo::kDegPerRad;
    return legAngle - std::clamp(rightOfLegM * kInterceptGainDegPerM, -kMaxInterceptDeg, kMaxInterceptDeg);
}

CircuitPilot::Leg CircuitPilot::legFor(Phase phase) const
{
    const double turnPoint = m_runway.lengthM() + kUpwindExtensionM;
    switch (phase) {
    case Phase::Upwind:
        return {{0.0, 0.0}, {turnPoint, 0.0}};
    case Phase::Crosswind:
        return {{turnPoint, 0.0}, {turnPoint, -kDownwindOffsetM}};
    case Phase::Downwind:
        return {{turnPoint, -kDownwindOffsetM}, {-kBaseDistanceM, -kDownwindOffsetM}};
    case Phase::Base:
        return {{-kBaseDistanceM, -kDownwindOffsetM}, {-kBaseDistanceM, 0.0}};
    default:
        return {{-kBaseDistanceM, 0.0}, {m_runway.lengthM(), 0.0}};
    }
}

CircuitPilot::Decision CircuitPilot::update(double dtS, const Situation &s)
{
    Decision d;
    m_phaseTimeS += dtS;
    m_vectorTimeLeftS = std::max(0.0, m_vectorTimeLeftS - dtS);
    m_lastVariationDeg = s.magneticVariationDeg;
    const RunwayFrame::Local p = m_runway.toLocal(s.position);
    d.courseDegTrue = m_runway.headingDegTrue();
    switch (m_phase) {
    case Phase::Parked:
        updateParked(s, d);
        break;
    case Phase::TakeoffRoll:
        updateTakeoffRoll(s, p, d);
        break;
    case Phase::Upwind:
        updateUpwind(s, p, d);
        break;
    case Phase::Crosswind:
    case Phase::Downwind:
    case Phase::Base:
        updateCircuitLeg(s, p, d);
        break;
    case Phase::Final:
        updateFinal(s, p, d);
        break;
    case Phase::LandingRoll:
        updateLandingRoll(s, p, d);
        break;
    case Phase::Vectors:
    case Phase::Rejoin:
        updateVectors(s, p, d);
        break;
    }
    updateAutopilot(s, d);
    return d;
}

void CircuitPilot::updateParked(const Situation &s, Decision &d)
{
    d.parked = true;
    d.brake = 1.0;
    d.courseDegTrue = s.headingDegTrue;
    if (m_entering) {
        m_entering = false;
        d.gearDown = true;
        d.flaps = 0.0;
        d.parkBrake = 1.0;
        return;
    }
    const RunwayFrame here(s.position, s.headingDegTrue, m_runway.lengthM(), m_runway.elevationM());
    if (m_autoDepart && m_phaseTimeS > kTurnRoundS) {
        d.refuel = true;
        d.parkBrake = 0.0;
        takeOffFrom(here);
    } else if (s.parkBrake < 0.5 && m_phaseTimeS > 2.0) {
        takeOffFrom(here);
    }
}

void CircuitPilot::updateTakeoffRoll(const Situation &s, const RunwayFrame::Local &p, Decision &d)
{
    if (m_entering) {
        m_entering = false;
        d.gearDown = true;
        d.flaps = kApproachFlaps;
        d.parkBrake = 0.0;
    }
    double remaining = 0.0;
    d.courseDegTrue = m_runway.trueCourse(followLeg(legFor(Phase::TakeoffRoll), p, &remaining));
    d.power = Power::Takeoff;
    d.iasKt = kInitialClimbKt;
    // A touch-and-go keeps rolling until take-off power is set before it rotates again.
    if (s.iasKt >= kRotateKt && m_phaseTimeS > 3.0) {
        d.liftOff = true;
        d.vsFpm = 800.0;
    }
    if (!s.onGround) {
        enter(Phase::Upwind);
    } else if ((p.alongM > m_runway.lengthM() - 400.0 && s.iasKt < kRotateKt) || s.parkBrake >= 0.5) {
        // Not enough runway left, or the parking brake was set: abandon the take-off and stop.
        m_fullStop = true;
        enter(Phase::LandingRoll);
    }
}

void CircuitPilot::updateUpwind(const Situation &s, const RunwayFrame::Local &p, Decision &d)
{
    m_entering = false;
    double remaining = 0.0;
    d.courseDegTrue = m_runway.trueCourse(followLeg(legFor(Phase::Upwind), p, &remaining));
    d.power = Power::SpeedHold;
    d.iasKt = s.heightAglFt < 400.0 ? kInitialClimbKt : m_speedKt.value_or(kClimbKt);
    d.vsFpm = vsToward(m_patternAltitudeFt, s);
    if (!m_gearRetracted && s.heightAglFt > 100.0 && s.vsFpm > 200.0) {
        m_gearRetracted = true;
        d.gearDown = false;
    }
    if (!m_flapsRetracted && s.heightAglFt > 400.0) {
        m_flapsRetracted = true;
        d.flaps = 0.0;
    }
    if (remaining <= turnLeadM(s) && s.heightAglFt > 500.0)
        enter(Phase::Crosswind);
}

void CircuitPilot::updateCircuitLeg(const Situation &s, const RunwayFrame::Local &p, Decision &d)
{
    m_entering = false;
    double remaining = 0.0;
    d.courseDegTrue = m_runway.trueCourse(followLeg(legFor(m_phase), p, &remaining));
    d.power = Power::SpeedHold;
    d.vsFpm = vsToward(m_patternAltitudeFt, s);
    if (!m_approachConfig && (m_phase == Phase::Base || (m_phase == Phase::Downwind && p.alongM <= 0.0))) {
        // Abeam the threshold: gear down, approach flaps, slow down.
        m_approachConfig = true;
        d.gearDown = true;
        d.flaps = kApproachFlaps;
    }
    Phase next = Phase::Final;
    if (m_phase == Phase::Crosswind) {
        d.iasKt = m_speedKt.value_or(kCrosswindKt);
        next = Phase::Downwind;
    } else if (m_phase == Phase::Downwind) {
        d.iasKt = m_approachConfig ? kApproachKt : m_speedKt.value_or(kDownwindKt);
        next = Phase::Base;
    } else {
        d.iasKt = kBaseKt;
        const double target = m_runway.elevationM() * geo::kFeetPerMetre + glidePathHeightFt(-kBaseDistanceM);
        d.vsFpm = vsToward(target, s);
    }
    if (remaining <= turnLeadM(s))
        enter(next);
}

void CircuitPilot::updateFinal(const Situation &s, const RunwayFrame::Local &p, Decision &d)
{
    m_entering = false;
    double remaining = 0.0;
    d.courseDegTrue = m_runway.trueCourse(followLeg(legFor(Phase::Final), p, &remaining));
    if (!m_approachConfig && p.alongM > -kApproachConfigM) {
        m_approachConfig = true;
        d.gearDown = true;
        d.flaps = kApproachFlaps;
    }
    if (!m_landingFlaps && p.alongM > -kLandingFlapsM && std::fabs(p.crossM) < 400.0) {
        m_landingFlaps = true;
        d.flaps = 1.0;
    }
    d.power = Power::SpeedHold;
    d.iasKt = m_landingFlaps ? kFinalKt : (m_approachConfig ? kBaseKt : m_speedKt.value_or(kDownwindKt));
    const double glideFt = m_runway.elevationM() * geo::kFeetPerMetre + glidePathHeightFt(p.alongM);
    m_glideErrorFt = s.altitudeFt - glideFt;
    const double onSlopeFpm = -s.groundSpeedKt * kFpmPerKtPerDeg * std::tan(kGlideSlopeDeg / geo::kDegPerRad);
    d.vsFpm = std::min(std::clamp(onSlopeFpm - 3.0 * m_glideErrorFt, -1800.0, 800.0), s.maxClimbFpm);
    if (s.heightAglFt < 35.0) {
        // Flare: power off and round out to a gentle touchdown.
        d.power = Power::Idle;
        d.vsFpm = -(90.0 + s.heightAglFt * 14.0);
    }
    if (s.onGround) {
        m_fullStop = s.lowFuel || s.parkBrake >= 0.5;
        enter(Phase::LandingRoll);
    } else if (p.alongM > 0.0 &&
               (m_glideErrorFt > 200.0 || std::fabs(p.crossM) > 150.0 || p.alongM > kAimPointM + 900.0)) {
        // Not stabilised over the threshold: go around and fly the circuit again.
        m_gearRetracted = m_flapsRetracted = m_approachConfig = m_landingFlaps = false;
        d.flaps = kApproachFlaps;
        enter(Phase::Upwind);
    }
}

void CircuitPilot::updateLandingRoll(const Situation &s, const RunwayFrame::Local &p, Decision &d)
{
    m_entering = false;
    double remaining = 0.0;
    d.courseDegTrue = m_runway.trueCourse(followLeg(legFor(Phase::LandingRoll), p, &remaining));
    d.power = Power::Idle;
    if (!m_fullStop && (p.alongM > m_runway.lengthM() - 1200.0 || s.parkBrake >= 0.5))
        m_fullStop = true;
    if (m_fullStop) {
        d.brake = 0.7;
        if (s.groundSpeedKt < 1.0 && m_phaseTimeS > 2.0)
            park(RunwayFrame(s.position, s.headingDegTrue, m_runway.lengthM(), m_runway.elevationM()), s.lowFuel);
        return;
    }
    // Touch-and-go: brief braking, flaps back to take-off, then full power.
    d.brake = m_phaseTimeS < 3.0 ? 0.2 : 0.0;
    if (m_landingFlaps && m_phaseTimeS > 3.0) {
        m_landingFlaps = false;
        d.flaps = kApproachFlaps;
    }
    if (m_phaseTimeS > 5.0) {
        m_gearRetracted = m_flapsRetracted = m_approachConfig = false;
        enter(Phase::TakeoffRoll);
    }
}

void CircuitPilot::updateVectors(const Situation &s, const RunwayFrame::Local &p, Decision &d)
{
    if (m_entering && m_phase == Phase::Vectors) {
        d.gearDown = false;
        d.flaps = 0.0;
        m_gearRetracted = m_flapsRetracted = true;
        m_approachConfig = m_landingFlaps = false;
    }
    m_entering = false;
    d.power = Power::SpeedHold;
    d.vsFpm = std::min(std::clamp(vsToward(m_patternAltitudeFt, s), -m_vectorVsFpm, m_vectorVsFpm), s.maxClimbFpm);
    if (m_phase == Phase::Vectors) {
        d.holdHeading = true;
        d.courseDegTrue = m_vectorHeadingDegTrue;
        d.iasKt = m_speedKt.value_or(kVectorKt);
        if (m_vectorTimeLeftS <= 0.0)
            enter(Phase::Rejoin);
        return;
    }
    // Rejoin: head for the middle of the downwind, then fly the circuit from there.
    const double da = m_runway.lengthM() * 0.5 - p.alongM;
    const double dc = -kDownwindOffsetM - p.crossM;
    d.courseDegTrue = m_runway.trueCourse(std::atan2(dc, da) * geo::kDegPerRad);
    d.iasKt = m_speedKt.value_or(kDownwindKt);
    if (std::hypot(da, dc) < kRejoinCaptureM)
        enter(Phase::Downwind);
}

void CircuitPilot::updateAutopilot(const Situation &s, const Decision &d)
{
    const bool circuit = m_phase == Phase::Upwind || m_phase == Phase::Crosswind || m_phase == Phase::Downwind ||
                         m_phase == Phase::Base || m_phase == Phase::Final;
    if (s.onGround || !(circuit || m_phase == Phase::Vectors || m_phase == Phase::Rejoin))
        m_autopilotOn = false;
    else if (m_phase == Phase::Vectors || m_phase == Phase::Rejoin)
        m_autopilotOn = true;
    else if (m_phase == Phase::Final && s.heightAglFt < 500.0)
        m_autopilotOn = false;
    else if (!m_autopilotOn && s.heightAglFt > 800.0)
        m_autopilotOn = true;

    AutopilotDisplay &a = m_autopilot;
    a.mode = m_autopilotOn ? 2 : 0;
    a.altitudeFt = m_patternAltitudeFt;
    if (!s.onGround)
        a.speedKt = std::round(d.iasKt);
    if (m_autopilotOn)
        a.headingMagDeg = geo::normalizeDeg(std::round(d.courseDegTrue - s.magneticVariationDeg));
    const bool final = m_phase == Phase::Final;
    const bool holding = std::fabs(s.altitudeFt - m_patternAltitudeFt) < 60.0 && !final && m_phase != Phase::Base;
    a.headingMode = m_autopilotOn && !final ? 1 : 0;
    a.navMode = m_autopilotOn && final ? 1 : 0;
    a.glideMode = m_autopilotOn && final && std::fabs(m_glideErrorFt) < 150.0 ? 1 : 0;
    a.altitudeMode = m_autopilotOn ? (holding ? 6 : 4) : 0;
    a.vsFpm = m_autopilotOn && !holding ? roundTo(d.vsFpm, 100.0) : 0.0;
}
