#include "tools/xpsim/powerplant.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kIdleN1 = 62.0;
constexpr double kMaxN1 = 101.0;
// N1 at which a PT6 starts to give useful thrust; below it the propeller only windmills.
constexpr double kZeroThrustN1 = 58.0;
constexpr std::array<double, Powerplant::kTankCount> kTankRatios{0.4, 0.4, 0.2, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0};
constexpr int kCentreTank = 2;

double approach(double value, double target, double tauS, double dtS)
{
    return value + (target - value) * std::min(1.0, dtS / tauS);
}

double thrustOf(double n1Pct)
{
    return std::clamp((n1Pct - kZeroThrustN1) / (kMaxN1 - kZeroThrustN1), 0.0, 1.0);
}

} // namespace

Powerplant::Powerplant()
{
    for (Engine &e : m_engines) {
        e.n1Pct = kIdleN1;
        e.egtC = 540.0;
        e.rpm = 1050.0;
    }
    fillTo(0.7);
}

const Powerplant::Engine &Powerplant::engineAt(int engine) const
{
    return m_engines[std::clamp(engine, 0, kEngineCount - 1)];
}

void Powerplant::setPilotThrottle(double ratio)
{
    m_pilotThrottle = std::clamp(ratio, 0.0, 1.0);
}

void Powerplant::holdThrottle(int engine, double ratio)
{
    if (engine < 0 || engine >= kEngineCount)
        return;
    m_engines[engine].heldThrottle = std::clamp(ratio, 0.0, 1.0);
    m_engines[engine].holdLeftS = kThrottleHoldS;
}

double Powerplant::throttle(int engine) const
{
    const Engine &e = engineAt(engine);
    return e.holdLeftS > 0.0 ? e.heldThrottle : m_pilotThrottle;
}

bool Powerplant::running(int engine) const
{
    const Engine &e = engineAt(engine);
    return e.failures == 0 && !e.starved;
}

bool Powerplant::onFire(int engine) const
{
    return hasFailure(engine, Failure::Fire);
}

void Powerplant::advance(double dtS, bool onGround, double oatC)
{
    for (int i = 0; i < kEngineCount; ++i)
        advanceEngine(i, dtS, onGround, oatC);
    if (!m_fuelFrozen) {
        for (int i = 0; i < kEngineCount; ++i)
            burn(i, m_engines[i].fuelFlowKgS * dtS);
    }
}

void Powerplant::advanceEngine(int index, double dtS, bool onGround, double oatC)
{
    Engine &e = m_engines[index];
    const double thr = throttle(index);
    e.holdLeftS = std::max(0.0, e.holdLeftS - dtS);
    if (!running(index)) {
        e.n1Pct = approach(e.n1Pct, 0.0, 6.0, dtS);
        e.egtC = approach(e.egtC, onFire(index) ? 950.0 : oatC, onFire(index) ? 3.0 : 25.0, dtS);
        e.rpm = approach(e.rpm, 0.0, 4.0, dtS);
        e.fuelFlowKgS = 0.0;
        return;
    }
    const double n1Target = kIdleN1 + (kMaxN1 - kIdleN1) * thr;
    e.n1Pct = approach(e.n1Pct, n1Target, n1Target > e.n1Pct ? 1.8 : 2.5, dtS);
    const double power = std::clamp((e.n1Pct - kIdleN1) / (kMaxN1 - kIdleN1), 0.0, 1.0);
    e.egtC = approach(e.egtC, oatC + 470.0 + 300.0 * power, 3.0, dtS);
    e.fuelFlowKgS = 0.017 + 0.048 * std::pow(power, 1.15);
    // The propeller governor holds 1700 rpm at high power and about 1500 in the circuit; on the
    // ground at low power the propeller runs near idle speed.
    const double rpmTarget = (onGround && thr < 0.3) ? 1050.0 + 800.0 * thr : 1450.0 + 250.0 * std::min(1.0, thr / 0.8);
    e.rpm = approach(e.rpm, rpmTarget, 1.2, dtS);
}

void Powerplant::burn(int engine, double kg)
{
    if (kg <= 0.0)
        return;
    const int own = engine == 0 ? 0 : 1;
    const int order[3] = {kCentreTank, own, 1 - own};
    for (int tank : order) {
        const double take = std::min(kg, m_fuelKg[tank]);
        m_fuelKg[tank] -= take;
        kg -= take;
        if (kg <= 1e-12)
            return;
    }
    m_engines[engine].starved = true;
}

double Powerplant::thrustRatio() const
{
    double sum = 0.0;
    for (int i = 0; i < kEngineCount; ++i)
        sum += running(i) ? thrustOf(m_engines[i].n1Pct) : 0.0;
    return sum / kEngineCount;
}

double Powerplant::idleThrustRatio() const
{
    int count = 0;
    for (int i = 0; i < kEngineCount; ++i)
        count += running(i) ? 1 : 0;
    return thrustOf(kIdleN1) * count / kEngineCount;
}

double Powerplant::availableThrustRatio() const
{
    int count = 0;
    for (int i = 0; i < kEngineCount; ++i)
        count += running(i) ? 1 : 0;
    return double(count) / kEngineCount;
}

void Powerplant::setFailure(int engine, Failure failure, bool failed)
{
    if (engine < 0 || engine >= kEngineCount)
        return;
    if (failed)
        m_engines[engine].failures |= int(failure);
    else
        m_engines[engine].failures &= ~int(failure);
}

bool Powerplant::hasFailure(int engine, Failure failure) const
{
    return (engineAt(engine).failures & int(failure)) != 0;
}

void Powerplant::repairAll()
{
    for (Engine &e : m_engines)
        e.failures = 0;
}

double Powerplant::fuelKg(int tank) const
{
    return tank >= 0 && tank < kTankCount ? m_fuelKg[tank] : 0.0;
}

double Powerplant::tankRatio(int tank) const
{
    return tank >= 0 && tank < kTankCount ? kTankRatios[tank] : 0.0;
}

double Powerplant::totalFuelKg() const
{
    double sum = 0.0;
    for (double kg : m_fuelKg)
        sum += kg;
    return sum;
}

bool Powerplant::setFuelKg(int tank, double kg)
{
    if (tank < 0 || tank >= kTankCount || !std::isfinite(kg))
        return false;
    m_fuelKg[tank] = std::clamp(kg, 0.0, tankCapacityKg(tank));
    if (m_fuelKg[tank] > 0.0) {
        for (Engine &e : m_engines)
            e.starved = false;
    }
    return true;
}

void Powerplant::fillTo(double fraction)
{
    for (int t = 0; t < kTankCount; ++t)
        m_fuelKg[t] = tankCapacityKg(t) * std::clamp(fraction, 0.0, 1.0);
    for (Engine &e : m_engines)
        e.starved = false;
}
