#include "tools/xpsim/environment.h"

#include "tools/xpsim/runwayframe.h"

#include <algorithm>
#include <cmath>

namespace {

double wave(double timeS, double periodS)
{
    return std::sin(2.0 * geo::kPi * timeS / periodS);
}

} // namespace

Environment::Environment(quint32 seed) : m_random(seed) {}

double Environment::gaussian()
{
    // Box-Muller; the first uniform is kept away from zero for the logarithm.
    const double u1 = std::max(1e-12, m_random.generateDouble());
    const double u2 = m_random.generateDouble();
    return std::sqrt(-2.0 * std::log(u1)) * std::cos(2.0 * geo::kPi * u2);
}

double Environment::relax(double value, double sigma, double tauS, double dtS)
{
    // Ornstein-Uhlenbeck step: noise with standard deviation sigma and correlation time tauS.
    return value - value * dtS / tauS + sigma * std::sqrt(2.0 * dtS / tauS) * gaussian();
}

void Environment::advance(double dtS)
{
    m_timeS += dtS;
    m_gustKt = relax(m_gustKt, 2.0, 4.0, dtS);
    m_turbulenceBankDeg = relax(m_turbulenceBankDeg, 0.8, 1.5, dtS);
    m_turbulencePitchDeg = relax(m_turbulencePitchDeg, 0.3, 1.5, dtS);
    m_turbulenceG = relax(m_turbulenceG, 0.03, 0.8, dtS);
    if (m_altimeterFollowsPressure)
        m_altimeterInHg = std::round(seaLevelPressureInHg() * 100.0) / 100.0;
}

double Environment::windFromDegTrue(double altitudeFt) const
{
    // Veers with height and swings slowly, as a sea breeze does.
    const double veer = 2.0 * std::clamp(altitudeFt, 0.0, 10000.0) / 1000.0;
    return geo::normalizeDeg(m_windFromBaseDeg + veer + 6.0 * wave(m_timeS, 190.0) + 3.0 * wave(m_timeS, 47.0));
}

double Environment::windSpeedKt(double altitudeFt) const
{
    const double growth = 1.0 + 0.06 * std::clamp(altitudeFt, 0.0, 5000.0) / 1000.0;
    const double base = m_windSpeedBaseKt * growth * (1.0 + 0.12 * wave(m_timeS, 73.0));
    return std::max(0.0, base + (m_windSpeedBaseKt > 0.5 ? m_gustKt : 0.0));
}

double Environment::temperatureC(double altitudeFt) const
{
    return m_seaLevelTempC - kLapseRateCPerFt * altitudeFt;
}

double Environment::visibilityM() const
{
    return m_visibilityBaseM * (0.92 + 0.08 * wave(m_timeS, 300.0));
}

double Environment::seaLevelPressureInHg() const
{
    return m_pressureBaseInHg + 0.01 * wave(m_timeS, 900.0);
}

double Environment::altimeterSettingInHg() const
{
    return m_altimeterInHg;
}

double Environment::densityRatio(double altitudeFt)
{
    const double h = std::clamp(altitudeFt, -2000.0, 60000.0);
    return std::pow(1.0 - 6.8756e-6 * h, 4.2559);
}

double Environment::speedOfSoundKt(double altitudeFt) const
{
    const double kelvin = std::max(150.0, temperatureC(altitudeFt) + 273.15);
    return 661.47 * std::sqrt(kelvin / 288.15);
}

void Environment::setWindFromDegTrue(double deg)
{
    m_windFromBaseDeg = geo::normalizeDeg(deg);
}

void Environment::setWindSpeedKt(double kt)
{
    m_windSpeedBaseKt = std::clamp(kt, 0.0, 150.0);
}

void Environment::setVisibilityM(double metres)
{
    m_visibilityBaseM = std::clamp(metres, 0.0, 200000.0);
}

void Environment::setSeaLevelPressureInHg(double inHg)
{
    m_pressureBaseInHg = std::clamp(inHg, 25.0, 33.0);
    m_altimeterFollowsPressure = true;
}

void Environment::setAltimeterSettingInHg(double inHg)
{
    m_altimeterInHg = std::clamp(inHg, 25.0, 33.0);
    m_altimeterFollowsPressure = false;
}

void Environment::setSeaLevelTemperatureC(double celsius)
{
    m_seaLevelTempC = std::clamp(celsius, -80.0, 60.0);
}

void Environment::setTemperatureC(double celsius, double altitudeFt)
{
    setSeaLevelTemperatureC(celsius + kLapseRateCPerFt * altitudeFt);
}
