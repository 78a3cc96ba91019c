#pragma once

#include <QRandomGenerator>

// The air the demo aircraft flies in: a wind that slowly veers and gusts, temperature falling with
// altitude, visibility, sea-level pressure and the pilot's altimeter setting, the magnetic
// variation, and light turbulence. Values drift on their own so that a client sees them change.
//
// Owned by FlightModel and advanced with it (single-threaded). Units: knots, degrees true (wind
// direction is where it blows from), degrees Celsius, metres, inches of mercury, feet.
// Does not model terrain or weather fronts; the variation is one fixed value (Shanghai area).
class Environment
{
public:
    explicit Environment(quint32 seed = 1);

    void advance(double dtS);

    double windFromDegTrue(double altitudeFt) const;
    double windSpeedKt(double altitudeFt) const;
    double temperatureC(double altitudeFt) const;
    double seaLevelTemperatureC() const { return m_seaLevelTempC; }
    double visibilityM() const;
    double seaLevelPressureInHg() const;
    double altimeterSettingInHg() const;
    // East positive: magnetic heading = true heading - variation. About 6 degrees west near Shanghai.
    double magneticVariationDeg() const { return kMagneticVariationDeg; }

    // Air density relative to sea level in the standard atmosphere.
    static double densityRatio(double altitudeFt);
    double speedOfSoundKt(double altitudeFt) const;

    // Smoothed random disturbances to add to the attitude (degrees) and load factor (g).
    double turbulenceBankDeg() const { return m_turbulenceBankDeg; }
    double turbulencePitchDeg() const { return m_turbulencePitchDeg; }
    double turbulenceG() const { return m_turbulenceG; }

    void setWindFromDegTrue(double deg);
    void setWindSpeedKt(double kt);
    void setVisibilityM(double metres);
    void setSeaLevelPressureInHg(double inHg);
    // A written altimeter setting stays until the pressure itself is written again.
    void setAltimeterSettingInHg(double inHg);
    void setSeaLevelTemperatureC(double celsius);
    // Sets the sea-level temperature so that the air at altitudeFt has the given temperature.
    void setTemperatureC(double celsius, double altitudeFt);

private:
    static constexpr double kMagneticVariationDeg = -6.0;
    static constexpr double kLapseRateCPerFt = 0.00198;

    double gaussian();
    double relax(double value, double sigma, double tauS, double dtS);

    QRandomGenerator m_random;
    double m_timeS = 0.0;
    double m_windFromBaseDeg = 30.0;
    double m_windSpeedBaseKt = 12.0;
    double m_visibilityBaseM = 9000.0;
    double m_seaLevelTempC = 18.0;
    double m_pressureBaseInHg = 29.95;
    double m_altimeterInHg = 29.95;
    bool m_altimeterFollowsPressure = true;
    double m_gustKt = 0.0;
    double m_turbulenceBankDeg = 0.0;
    double m_turbulencePitchDeg = 0.0;
    double m_turbulenceG = 0.0;
};
