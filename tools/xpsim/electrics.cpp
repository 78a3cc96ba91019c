#include "tools/xpsim/electrics.h"

#include <algorithm>

namespace {

constexpr double kDrainPerS = 1.0 / 1800.0;
constexpr double kChargePerS = 1.0 / 600.0;
constexpr double kFlatVolts = 22.0;
constexpr double kFullVolts = 24.5;
constexpr double kChargingAmps = 40.0;
constexpr double kCruiseAmps = 25.0;

bool valid(int index)
{
    return index >= 0 && index < Electrics::kSides;
}

} // namespace

void Electrics::advance(double dtS, const std::array<bool, kSides> &enginesRunning)
{
    m_engineRunning = enginesRunning;
    for (int side = 0; side < kSides; ++side) {
        if (m_batteryFailed[side])
            continue;
        const double rate = generatorOnline(side) ? kChargePerS : m_systemFailed ? 0.0 : -kDrainPerS;
        m_charge[side] = std::clamp(m_charge[side] + rate * dtS, 0.0, 1.0);
    }
}

bool Electrics::generatorOnline(int side) const
{
    return !m_systemFailed && m_engineRunning[side] && !m_generatorFailed[side];
}

double Electrics::busVolts(int side) const
{
    if (!valid(side) || m_systemFailed)
        return 0.0;
    if (generatorOnline(side))
        return kGeneratorVolts;
    return batteryVolts(side);
}

double Electrics::avionicsBusVolts() const
{
    return m_avionicsFailed ? 0.0 : std::max(busVolts(0), busVolts(1));
}

double Electrics::batteryVolts(int battery) const
{
    if (!valid(battery) || m_batteryFailed[battery] || m_charge[battery] <= 0.0)
        return 0.0;
    return kFlatVolts + (kFullVolts - kFlatVolts) * m_charge[battery];
}

double Electrics::generatorAmps(int generator) const
{
    if (!valid(generator) || !generatorOnline(generator))
        return 0.0;
    return m_charge[generator] < 0.99 && !m_batteryFailed[generator] ? kChargingAmps : kCruiseAmps;
}

void Electrics::setGeneratorFailed(int generator, bool failed)
{
    if (valid(generator))
        m_generatorFailed[generator] = failed;
}

void Electrics::setBatteryFailed(int battery, bool failed)
{
    if (valid(battery))
        m_batteryFailed[battery] = failed;
}

bool Electrics::generatorFailed(int generator) const
{
    return valid(generator) && m_generatorFailed[generator];
}

bool Electrics::batteryFailed(int battery) const
{
    return valid(battery) && m_batteryFailed[battery];
}

void Electrics::repairAll()
{
    m_generatorFailed = {};
    m_batteryFailed = {};
    m_systemFailed = false;
    m_avionicsFailed = false;
}
