// The inputs of the demo flight model: what a client's dataref writes, commands and repositions
// change. The simulation step itself is in flightmodel.cpp.

#include "tools/xpsim/flightmodel.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kFlapDetents[] = {0.0, 0.4, 1.0};

double rad(double deg)
{
    return deg / geo::kDegPerRad;
}

} // namespace

void FlightModel::setThrottle(int engine, double ratio)
{
    m_power.holdThrottle(engine, ratio);
}

void FlightModel::setParkBrake(double ratio)
{
    m_parkBrake = std::clamp(ratio, 0.0, 1.0);
}

void FlightModel::setGearHandleDown(bool down)
{
    m_gearHandleDown = down;
}

void FlightModel::setFlapRequest(double ratio)
{
    m_flapRequest = std::clamp(ratio, 0.0, 1.0);
}

void FlightModel::stepFlaps(int detents)
{
    int current = 0;
    for (int i = 0; i < 3; ++i) {
        if (std::fabs(kFlapDetents[i] - m_flapRequest) < std::fabs(kFlapDetents[current] - m_flapRequest))
            current = i;
    }
    m_flapRequest = kFlapDetents[std::clamp(current + detents, 0, 2)];
}

void FlightModel::setSpeedbrake(double ratio)
{
    m_speedbrake = std::clamp(ratio, 0.0, 1.0);
}

void FlightModel::setTrim(Trim axis, double ratio)
{
    const double value = std::clamp(ratio, -1.0, 1.0);
    if (axis == Trim::Elevator) {
        m_elevatorTrim = value;
        m_elevatorTrimHoldS = 10.0;
    } else if (axis == Trim::Aileron) {
        m_aileronTrim = value;
    } else {
        m_rudderTrim = value;
    }
}

void FlightModel::setAutopilotHeadingMagDeg(double headingDegMag)
{
    m_pilot.vectorTo(headingDegMag + m_env.magneticVariationDeg());
}

void FlightModel::repairAll()
{
    m_power.repairAll();
    m_electrics.repairAll();
    m_autopilotFailed = false;
    m_gearFailed = false;
    m_flapsFailed = false;
}

bool FlightModel::setPayloadKg(int station, double kg)
{
    if (station < 0 || station >= int(m_payloadKg.size()))
        return false;
    m_payloadKg[station] = std::clamp(kg, 0.0, 2000.0);
    return true;
}

bool FlightModel::setLocalVelocity(Axis axis, double mps)
{
    if (!m_parked)
        return false;
    m_pushVelocityMps[int(axis)] = std::clamp(mps, -10.0, 10.0);
    m_pushLeaseS = kPushLeaseS;
    return true;
}

bool FlightModel::setYawRateDegS(double degS)
{
    if (!m_parked)
        return false;
    m_pushYawDegS = std::clamp(degS, -30.0, 30.0);
    m_pushLeaseS = kPushLeaseS;
    return true;
}

bool FlightModel::setLocalPosition(Axis axis, double metres)
{
    double north = 0.0;
    double east = 0.0;
    geo::northEast(m_localOrigin, m_position, &north, &east);
    if (axis == Axis::Y) {
        if (m_onGround)
            return false;
        m_altitudeFt = std::max(metres * geo::kFeetPerMetre, groundFt() + 50.0);
        return true;
    }
    if (axis == Axis::X)
        east = metres;
    else
        north = -metres;
    m_position = geo::offset(m_localOrigin, north, east);
    return true;
}

void FlightModel::setHeadingDegTrue(double headingDegTrue)
{
    m_headingDegTrue = m_trackDegTrue = geo::normalizeDeg(headingDegTrue);
}

void FlightModel::reposition(GeoPoint position, double elevationM, double headingDegTrue, double speedMps)
{
    m_position = position;
    m_localOrigin = position;
    m_headingDegTrue = m_trackDegTrue = geo::normalizeDeg(headingDegTrue);
    m_bankDeg = m_pitchDeg = m_vsFpm = m_vsAccelMps2 = 0.0;
    m_velocityEastMps = m_velocityNorthMps = 0.0;
    m_pushLeaseS = 0.0;
    m_pushVelocityMps = {0.0, 0.0, 0.0};
    if (elevationM <= m_groundElevationM + kGroundSnapM) {
        m_groundElevationM = elevationM;
        m_altitudeFt = groundFt();
        m_onGround = m_parked = true;
        m_groundSpeedKt = m_iasKt = 0.0;
        m_gearHandleDown = true;
        m_gearRatio = 1.0;
        m_flapRequest = m_flapRatio = 0.0;
        m_parkBrake = 1.0;
        m_pilot.park(RunwayFrame(position, headingDegTrue, m_options.runwayLengthM, elevationM), false);
        return;
    }
    m_onGround = m_parked = false;
    m_altitudeFt = elevationM * geo::kFeetPerMetre;
    const double speedKt = speedMps * geo::kKtPerMps * std::sqrt(Environment::densityRatio(m_altitudeFt));
    m_iasKt = speedKt > 1.0 ? std::clamp(speedKt, 90.0, 250.0) : 140.0;
    m_gearHandleDown = false;
    m_gearRatio = 0.0;
    m_flapRequest = m_flapRatio = 0.0;
    m_parkBrake = 0.0;
    // A final straight ahead: the threshold sits where the 3-degree path from here meets the
    // ground, within 1.5 to 30 nm.
    const double heightM = elevationM - m_groundElevationM;
    const double toAimM = heightM / std::tan(rad(CircuitPilot::kGlideSlopeDeg));
    const double toThresholdM =
        std::clamp(toAimM - CircuitPilot::kAimPointM, 1.5 * geo::kMetresPerNm, 30.0 * geo::kMetresPerNm);
    const double h = rad(m_headingDegTrue);
    const GeoPoint threshold = geo::offset(position, toThresholdM * std::cos(h), toThresholdM * std::sin(h));
    m_pilot.joinFinal(RunwayFrame(threshold, m_headingDegTrue, m_options.runwayLengthM, m_groundElevationM));
}
