#pragma once

#include <array>

// The demo aircraft's electrical system: two engine-driven generators, two batteries and two
// main buses, each generator feeding its own bus with its battery as the back-up, plus an
// avionics bus fed from whichever main bus is live. Failures: a generator, a battery, the whole
// system (X-Plane's general electrical failure) or the avionics bus.
//
// Owned by FlightModel (single-threaded). Units: volts, amperes, battery charge 0..1. A bus on
// its battery reads 22-24.5 V depending on the charge; the batteries drain in about half an hour
// and recharge while their generator runs. Not modelled: loads, switches, cross-tie, inverters.
class Electrics
{
public:
    static constexpr int kSides = 2;
    static constexpr double kGeneratorVolts = 28.5;

    void advance(double dtS, const std::array<bool, kSides> &enginesRunning);

    double busVolts(int side) const;
    double avionicsBusVolts() const;
    double batteryVolts(int battery) const;
    double generatorAmps(int generator) const;

    void setGeneratorFailed(int generator, bool failed);
    void setBatteryFailed(int battery, bool failed);
    void setSystemFailed(bool failed) { m_systemFailed = failed; }
    void setAvionicsFailed(bool failed) { m_avionicsFailed = failed; }
    bool generatorFailed(int generator) const;
    bool batteryFailed(int battery) const;
    bool systemFailed() const { return m_systemFailed; }
    bool avionicsFailed() const { return m_avionicsFailed; }
    void repairAll();

private:
    bool generatorOnline(int side) const;

    std::array<bool, kSides> m_generatorFailed{};
    std::array<bool, kSides> m_batteryFailed{};
    std::array<bool, kSides> m_engineRunning{true, true};
    std::array<double, kSides> m_charge{1.0, 1.0};
    bool m_systemFailed = false;
    bool m_avionicsFailed = false;
};
