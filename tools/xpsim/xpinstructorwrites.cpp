// The part of XpBinding an instructor station talks to besides the cockpit inputs: failure
// datarefs, weather (X-Plane 11's layered names and X-Plane 12's region arrays) and freezing the
// aircraft in place. The rest of the binding is in xpbinding.cpp.

#include "tools/xpsim/flightmodel.h"
#include "tools/xpsim/xpbinding.h"

namespace {

constexpr double kFailedNow = 5.5; // the failure enum's 6, with room for float rounding
constexpr double kMetresPerStatuteMile = 1609.344;
constexpr double kPascalPerInHg = 3386.39;
constexpr int kPlanePathSlots = 20; // override_planepath is an array of 20, index 0 the user

bool failed(double value)
{
    return value > kFailedNow;
}

} // namespace

void XpBinding::addWeatherWriters()
{
    // X-Plane 11 keeps three wind layers and X-Plane 12 thirteen wind levels; the aircraft here
    // flies in the lowest one.
    const auto weather = [](std::function<void(Environment &, double)> apply) {
        return Writer([apply](FlightModel &m, int element, double v) {
            if (element != 0)
                return false;
            apply(m.environment(), v);
            return true;
        });
    };
    const QString w = QStringLiteral("sim/weather/");
    m_writers.insert(w + "wind_direction_degt", weather([](Environment &e, double v) { e.setWindFromDegTrue(v); }));
    m_writers.insert(w + "wind_speed_kt", weather([](Environment &e, double v) { e.setWindSpeedKt(v); }));
    m_writers.insert(w + "visibility_reported_m", weather([](Environment &e, double v) { e.setVisibilityM(v); }));
    const auto pressure = weather([](Environment &e, double v) { e.setSeaLevelPressureInHg(v); });
    m_writers.insert(w + "barometer_sealevel_inhg", pressure);
    m_writers.insert(w + "barometer_sea", pressure);
    m_writers.insert(w + "temperature_sealevel_c",
                     weather([](Environment &e, double v) { e.setSeaLevelTemperatureC(v); }));
    m_writers.insert(w + "temperature_ambient_c", [](FlightModel &m, int, double v) {
        m.environment().setTemperatureC(v, m.state().elevationM * geo::kFeetPerMetre);
        return true;
    });
    const auto altimeter = weather([](Environment &e, double v) { e.setAltimeterSettingInHg(v); });
    m_writers.insert(QStringLiteral("sim/cockpit2/gauges/actuators/barometer_setting_in_hg_pilot"), altimeter);
    m_writers.insert(QStringLiteral("sim/cockpit/misc/barometer_setting"), altimeter);

    // X-Plane 12's region: wind speed in knots (as its DataRefs.txt states), visibility in
    // statute miles, pressure in pascals.
    const QString r = QStringLiteral("sim/weather/region/");
    m_writers.insert(r + "wind_direction_degt", weather([](Environment &e, double v) { e.setWindFromDegTrue(v); }));
    m_writers.insert(r + "wind_speed_msc", weather([](Environment &e, double v) { e.setWindSpeedKt(v); }));
    m_writers.insert(r + "visibility_reported_sm",
                     weather([](Environment &e, double v) { e.setVisibilityM(v * kMetresPerStatuteMile); }));
    m_writers.insert(r + "sealevel_pressure_pas",
                     weather([](Environment &e, double v) { e.setSeaLevelPressureInHg(v / kPascalPerInHg); }));
    m_writers.insert(r + "sealevel_temperature_c",
                     weather([](Environment &e, double v) { e.setSeaLevelTemperatureC(v); }));
}

void XpBinding::addFailureWriters()
{
    // Failure datarefs hold X-Plane's failure enum: 6 means failed now, 0 working; the armed
    // modes 1..5 do not fire here.
    const QString f = QStringLiteral("sim/operation/failures/");
    const struct
    {
        const char *prefix;
        Powerplant::Failure failure;
    } engineFailures[] = {{"rel_engfai", Powerplant::Failure::PowerLoss},
                          {"rel_engfla", Powerplant::Failure::Flameout},
                          {"rel_engfir", Powerplant::Failure::Fire}};
    for (const auto &entry : engineFailures) {
        for (int engine = 0; engine < Powerplant::kEngineCount; ++engine) {
            const Powerplant::Failure failure = entry.failure;
            m_writers.insert(f + QLatin1String(entry.prefix) + QString::number(engine),
                             [failure, engine](FlightModel &m, int, double v) {
                                 m.powerplant().setFailure(engine, failure, failed(v));
                                 return true;
                             });
        }
    }
    for (int side = 0; side < Electrics::kSides; ++side) {
        m_writers.insert(f + QStringLiteral("rel_genera%1").arg(side), [side](FlightModel &m, int, double v) {
            m.electrics().setGeneratorFailed(side, failed(v));
            return true;
        });
        m_writers.insert(f + QStringLiteral("rel_batter%1").arg(side), [side](FlightModel &m, int, double v) {
            m.electrics().setBatteryFailed(side, failed(v));
            return true;
        });
    }
    m_writers.insert(f + "rel_gen_esys", [](FlightModel &m, int, double v) {
        m.electrics().setSystemFailed(failed(v));
        return true;
    });
    m_writers.insert(f + "rel_gen_avio", [](FlightModel &m, int, double v) {
        m.electrics().setAvionicsFailed(failed(v));
        return true;
    });
    m_writers.insert(f + "rel_otto", [](FlightModel &m, int, double v) {
        m.setAutopilotFailed(failed(v));
        return true;
    });
    m_writers.insert(f + "rel_gear_act", [](FlightModel &m, int, double v) {
        m.setGearFailed(failed(v));
        return true;
    });
    m_writers.insert(f + "rel_flap_act", [](FlightModel &m, int, double v) {
        m.setFlapsFailed(failed(v));
        return true;
    });
    // The station's fuel freeze writes 6 here.
    m_writers.insert(f + "fuel", [](FlightModel &m, int, double v) {
        m.powerplant().setFuelFrozen(failed(v));
        return true;
    });
}

void XpBinding::addFreezeWriters()
{
    m_writers.insert(QStringLiteral("sim/operation/override/override_planepath"), [](FlightModel &m, int i, double v) {
        if (i != 0)
            return false; // other aircraft: there are none
        m.setFrozen(v > 0.5);
        return true;
    });
}

void XpBinding::publishSystems(const AircraftState &a, DatarefStore &s)
{
    const QString f = QStringLiteral("sim/operation/failures/");
    const char *engineKinds[] = {"rel_engfai", "rel_engfla", "rel_engfir"};
    for (int engine = 0; engine < Powerplant::kEngineCount; ++engine) {
        for (int kind = 0; kind < 3; ++kind)
            s.set(f + QLatin1String(engineKinds[kind]) + QString::number(engine), a.engineFailures[engine][kind]);
    }
    for (int side = 0; side < Electrics::kSides; ++side) {
        s.set(f + QStringLiteral("rel_genera%1").arg(side), a.generatorFailures[side]);
        s.set(f + QStringLiteral("rel_batter%1").arg(side), a.batteryFailures[side]);
    }
    s.set(f + "rel_gen_esys", a.electricalFailure);
    s.set(f + "rel_gen_avio", a.avionicsFailure);
    s.set(f + "rel_otto", a.autopilotFailure);
    s.set(f + "rel_gear_act", a.gearActuatorFailure);
    s.set(f + "rel_flap_act", a.flapActuatorFailure);
    s.set(f + "fuel", a.fuelFrozen);

    const QString e = QStringLiteral("sim/cockpit2/electrical/");
    s.setArray(e + "bus_volts", a.busVolts.data(), int(a.busVolts.size()));
    s.setArray(e + "battery_voltage_actual_volts", a.batteryVolts.data(), int(a.batteryVolts.size()));
    s.setArray(e + "generator_amps", a.generatorAmps.data(), int(a.generatorAmps.size()));

    double planePath[kPlanePathSlots] = {a.frozen ? 1.0 : 0.0};
    s.setArray(QStringLiteral("sim/operation/override/override_planepath"), planePath, kPlanePathSlots);
}
