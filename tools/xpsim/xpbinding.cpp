#include "tools/xpsim/xpbinding.h"

#include "tools/xpsim/flightmodel.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int kPublishedEngines = 4; // X-Plane answers for more engines than the aircraft has
constexpr double kFeetPerMetre = geo::kFeetPerMetre;

void setArray(DatarefStore &store, const QString &name, const double *values, int count)
{
    store.setArray(name, values, count);
}

// Byte-array datarefs such as the aircraft's ICAO type are read one character per element.
void setText(DatarefStore &store, const QString &name, const char *text, int size)
{
    for (int i = 0; i < size; ++i)
        store.setElement(name, i, *text ? double(*text++) : 0.0);
}

void publishPosition(const AircraftState &a, DatarefStore &s)
{
    const QString p = QStringLiteral("sim/flightmodel/position/");
    s.set(p + "latitude", a.latDeg);
    s.set(p + "longitude", a.lonDeg);
    s.set(p + "elevation", a.elevationM);
    s.set(p + "y_agl", a.heightAglM);
    s.set(p + "indicated_airspeed", a.iasKt);
    s.set(p + "indicated_airspeed2", a.iasKt);
    s.set(p + "true_airspeed", a.tasMps);
    s.set(p + "groundspeed", a.groundSpeedMps);
    s.set(p + "V_gnd", a.groundSpeedMps);
    s.set(p + "mag_psi", a.headingMagDeg);
    s.set(p + "true_psi", a.headingTrueDeg);
    s.set(p + "psi", a.headingTrueDeg);
    s.set(p + "heading_psi", a.headingTrueDeg);
    s.set(p + "hpath", a.trackTrueDeg);
    s.set(p + "theta", a.pitchDeg);
    s.set(p + "phi", a.bankDeg);
    s.set(p + "alpha", a.alphaDeg);
    s.set(p + "machno", a.mach);
    s.set(p + "vh_ind_fpm", a.vsFpm);
    s.set(p + "local_x", a.localX);
    s.set(p + "local_y", a.localY);
    s.set(p + "local_z", a.localZ);
    s.set(p + "local_vx", a.localVx);
    s.set(p + "local_vy", a.localVy);
    s.set(p + "local_vz", a.localVz);
    s.set(p + "P", a.rollRateDegS);
    s.set(p + "Q", a.pitchRateDegS);
    s.set(p + "R", a.yawRateDegS);
    s.set(QStringLiteral("sim/flightmodel/forces/g_nrml"), a.gLoad);
    const double onGround = a.onGround ? 1.0 : 0.0;
    s.set(QStringLiteral("sim/flightmodel/failures/onground"), onGround);
    s.set(QStringLiteral("sim/flightmodel/failures/onground_any"), onGround);
    s.set(QStringLiteral("sim/flightmodel/failures/onground_all"), onGround);
    const QString g = QStringLiteral("sim/cockpit2/gauges/indicators/");
    s.set(g + "vvi_fpm_pilot", a.vsFpm);
    s.set(g + "altitude_ft_pilot", a.indicatedAltitudeFt);
    s.set(g + "airspeed_kts_pilot", a.iasKt);
    s.set(g + "heading_electric_deg_mag_pilot", a.headingMagDeg);
    s.set(QStringLiteral("sim/time/paused"), a.paused ? 1.0 : 0.0);
    s.set(QStringLiteral("sim/time/total_running_time_sec"), a.runningTimeS);
    s.set(QStringLiteral("sim/time/total_flight_time_sec"), a.runningTimeS);
}

void publishControls(const AircraftState &a, DatarefStore &s)
{
    const QString c = QStringLiteral("sim/flightmodel/controls/");
    setArray(s, QStringLiteral("sim/flightmodel/gear/deploy_ratio"), a.gearDeploy.data(), int(a.gearDeploy.size()));
    s.set(QStringLiteral("sim/cockpit2/controls/gear_handle_down"), a.gearHandleDown ? 1.0 : 0.0);
    s.set(QStringLiteral("sim/cockpit/switches/gear_handle_status"), a.gearHandleDown ? 1.0 : 0.0);
    s.set(c + "flaprat", a.flapRatio);
    s.set(c + "flaprqst", a.flapRequest);
    s.set(QStringLiteral("sim/cockpit2/controls/flap_ratio"), a.flapRequest);
    s.set(c + "sbrkrat", a.speedbrakeRatio);
    s.set(c + "sbrkrqst", a.speedbrakeRatio);
    s.set(c + "parkbrake", a.parkBrakeRatio);
    s.set(QStringLiteral("sim/cockpit2/controls/parking_brake_ratio"), a.parkBrakeRatio);
    s.set(c + "elv_trim", a.elevatorTrim);
    s.set(c + "ail_trim", a.aileronTrim);
    s.set(c + "rud_trim", a.rudderTrim);
}

void publishEngines(const AircraftState &a, DatarefStore &s)
{
    double thro[kPublishedEngines] = {};
    double n1[kPublishedEngines] = {};
    double egt[kPublishedEngines] = {};
    double ff[kPublishedEngines] = {};
    double rpm[kPublishedEngines] = {};
    double running[kPublishedEngines] = {};
    double fire[kPublishedEngines] = {};
    for (int i = 0; i < Powerplant::kEngineCount; ++i) {
        const EngineState &e = a.engines[i];
        thro[i] = e.throttle;
        n1[i] = e.n1Pct;
        egt[i] = e.egtC;
        ff[i] = e.fuelFlowKgS;
        rpm[i] = e.rpm;
        running[i] = e.running ? 1.0 : 0.0;
        fire[i] = e.fire ? 1.0 : 0.0;
    }
    const QString e = QStringLiteral("sim/flightmodel/engine/");
    setArray(s, e + "ENGN_thro", thro, kPublishedEngines);
    setArray(s, QStringLiteral("sim/cockpit2/engine/actuators/throttle_ratio"), thro, kPublishedEngines);
    setArray(s, e + "ENGN_N1_", n1, kPublishedEngines);
    setArray(s, e + "ENGN_EGT_c", egt, kPublishedEngines);
    setArray(s, e + "ENGN_ITT_c", egt, kPublishedEngines);
    setArray(s, e + "ENGN_FF_", ff, kPublishedEngines);
    setArray(s, e + "ENGN_running", running, kPublishedEngines);
    setArray(s, e + "ENGN_fire", fire, kPublishedEngines);
    setArray(s, QStringLiteral("sim/cockpit2/engine/indicators/engine_speed_rpm"), rpm, kPublishedEngines);
    setArray(s, QStringLiteral("sim/cockpit2/engine/indicators/prop_speed_rpm"), rpm, kPublishedEngines);
    s.set(QStringLiteral("sim/aircraft/engine/acf_num_engines"), Powerplant::kEngineCount);
    s.set(QStringLiteral("sim/aircraft/engine/acf_eng_type"), 2.0); // free turbine (turboprop)
}

void publishFuelAndWeight(const AircraftState &a, DatarefStore &s)
{
    const int tanks = Powerplant::kTankCount;
    double flow = 0.0;
    for (const EngineState &e : a.engines)
        flow += e.fuelFlowKgS;
    s.set(QStringLiteral("sim/flightmodel/fuel/total_fuel_kgs"), a.fuelTotalKg);
    s.set(QStringLiteral("sim/flightmodel/weight/m_fuel_total"), a.fuelTotalKg);
    s.set(QStringLiteral("sim/flightmodel/fuel/CF_flow"), flow);
    setArray(s, QStringLiteral("sim/flightmodel/weight/m_fuel"), a.fuelKg.data(), tanks);
    setArray(s, QStringLiteral("sim/aircraft/overflow/acf_tank_rat"), a.tankRatio.data(), tanks);
    setArray(s, QStringLiteral("sim/flightmodel/weight/m_fixed"), a.payloadKg.data(), tanks);
    s.set(QStringLiteral("sim/aircraft/weight/acf_m_fuel_tot"), a.fuelCapacityKg);
    s.set(QStringLiteral("sim/aircraft/weight/acf_m_empty"), a.emptyMassKg);
    s.set(QStringLiteral("sim/flightmodel/weight/m_total"), a.totalMassKg);
    setText(s, QStringLiteral("sim/aircraft/view/acf_ICAO"), "B350", 40);
    setText(s, QStringLiteral("sim/aircraft/view/acf_tailnum"), "B-3501", 40);
}

void publishRadiosAndAutopilot(const AircraftState &a, DatarefStore &s)
{
    const QString r = QStringLiteral("sim/cockpit/radios/");
    const RadioState &radio = a.radios;
    s.set(r + "nav1_freq_hz", radio.nav1);
    s.set(r + "nav1_stdby_freq_hz", radio.nav1Standby);
    s.set(r + "nav2_freq_hz", radio.nav2);
    s.set(r + "nav2_stdby_freq_hz", radio.nav2Standby);
    s.set(r + "com1_freq_hz", radio.com1);
    s.set(r + "com1_stdby_freq_hz", radio.com1Standby);
    s.set(r + "com2_freq_hz", radio.com2);
    s.set(r + "com2_stdby_freq_hz", radio.com2Standby);
    s.set(r + "adf1_freq_hz", radio.adf1Khz);
    s.set(r + "transponder_code", radio.transponderCode);
    s.set(r + "transponder_mode", radio.transponderMode);
    const QString ri = QStringLiteral("sim/cockpit2/radios/indicators/");
    // The display datarefs only say whether there is a signal; the deflections are the dots.
    s.set(ri + "nav1_display_horizontal", a.navHorizontalSignal ? 1.0 : 0.0);
    s.set(ri + "nav1_display_vertical", a.navVerticalSignal ? 1.0 : 0.0);
    s.set(ri + "nav1_hdef_dots_pilot", a.navHorizontalDots);
    s.set(ri + "nav1_vdef_dots_pilot", a.navVerticalDots);

    const CircuitPilot::AutopilotDisplay &ap = a.autopilot;
    const QString p = QStringLiteral("sim/cockpit/autopilot/");
    s.set(p + "autopilot_mode", ap.mode);
    s.set(p + "heading_mag", ap.headingMagDeg);
    s.set(p + "altitude", ap.altitudeFt);
    s.set(p + "airspeed", ap.speedKt);
    s.set(p + "vertical_velocity", ap.vsFpm);
    s.set(p + "heading_mode", ap.headingMode);
    s.set(p + "altitude_mode", ap.altitudeMode);
    s.set(p + "airspeed_mode", 0.0); // no autothrottle on this aircraft
    s.set(p + "vnav_enabled", 0.0);
    s.set(p + "mode_hnav", ap.navMode);
    s.set(p + "mode_gls", ap.glideMode);
    s.set(QStringLiteral("sim/cockpit2/autopilot/airspeed_dial_kts"), ap.speedKt);
    s.set(QStringLiteral("sim/cockpit2/autopilot/altitude_dial_ft"), ap.altitudeFt);
    s.set(QStringLiteral("sim/cockpit2/autopilot/heading_dial_deg_mag_pilot"), ap.headingMagDeg);
    s.set(QStringLiteral("sim/cockpit2/autopilot/vvi_dial_fpm"), ap.vsFpm);
}

void publishEnvironment(const AircraftState &a, DatarefStore &s)
{
    const QString w = QStringLiteral("sim/weather/");
    s.set(w + "temperature_ambient_c", a.oatC);
    s.set(w + "temperature_sealevel_c", a.seaLevelTempC);
    s.set(w + "wind_direction_degt", a.windFromDegTrue);
    s.set(w + "wind_speed_kt", a.windSpeedKt);
    s.set(w + "visibility_reported_m", a.visibilityM);
    s.set(w + "barometer_sea", a.seaLevelPressureInHg);
    s.set(w + "barometer_sealevel_inhg", a.seaLevelPressureInHg);
    s.set(w + "barometer_current_inhg",
          a.seaLevelPressureInHg * std::pow(1.0 - 6.8756e-6 * a.elevationM * kFeetPerMetre, 5.2559));
    s.set(QStringLiteral("sim/cockpit2/gauges/actuators/barometer_setting_in_hg_pilot"), a.altimeterSettingInHg);
    s.set(QStringLiteral("sim/cockpit/misc/barometer_setting"), a.altimeterSettingInHg);
}

} // namespace

XpBinding::XpBinding(FlightModel *model) : m_model(model)
{
    addControlWriters();
    addRadioWriters();
    addAutopilotWriters();
    addWeatherWriters();
    addFailureWriters();
    addFreezeWriters();
    addWeightAndPositionWriters();
    DatarefStore published;
    publish(published);
    for (const QString &name : published.names())
        m_publishedSizes.insert(name, published.size(name));
}

void XpBinding::publish(DatarefStore &store) const
{
    const AircraftState a = m_model->state();
    publishPosition(a, store);
    publishControls(a, store);
    publishEngines(a, store);
    publishFuelAndWeight(a, store);
    publishRadiosAndAutopilot(a, store);
    publishEnvironment(a, store);
    publishSystems(a, store);
}

bool XpBinding::applyWrite(const DatarefStore::Ref &ref, double value)
{
    if (!std::isfinite(value))
        return false;
    const auto it = m_writers.constFind(ref.name);
    if (it == m_writers.constEnd())
        return false;
    return (*it)(*m_model, ref.element(), value);
}

void XpBinding::addControlWriters()
{
    const Writer throttle = [](FlightModel &m, int i, double v) {
        if (i >= Powerplant::kEngineCount)
            return false;
        m.setThrottle(i, v);
        return true;
    };
    m_writers.insert(QStringLiteral("sim/flightmodel/engine/ENGN_thro"), throttle);
    m_writers.insert(QStringLiteral("sim/cockpit2/engine/actuators/throttle_ratio"), throttle);
    m_writers.insert(QStringLiteral("sim/cockpit2/engine/actuators/throttle_ratio_all"),
                     [](FlightModel &m, int, double v) {
                         for (int i = 0; i < Powerplant::kEngineCount; ++i)
                             m.setThrottle(i, v);
                         return true;
                     });
    const Writer parkBrake = [](FlightModel &m, int, double v) {
        m.setParkBrake(v);
        return true;
    };
    m_writers.insert(QStringLiteral("sim/flightmodel/controls/parkbrake"), parkBrake);
    m_writers.insert(QStringLiteral("sim/cockpit2/controls/parking_brake_ratio"), parkBrake);
    const Writer gear = [](FlightModel &m, int, double v) {
        m.setGearHandleDown(v > 0.5);
        return true;
    };
    m_writers.insert(QStringLiteral("sim/cockpit2/controls/gear_handle_down"), gear);
    m_writers.insert(QStringLiteral("sim/cockpit/switches/gear_handle_status"), gear);
    const Writer flaps = [](FlightModel &m, int, double v) {
        m.setFlapRequest(v);
        return true;
    };
    for (const char *name :
         {"sim/flightmodel/controls/flaprqst", "sim/flightmodel/controls/flaprat", "sim/cockpit2/controls/flap_ratio"})
        m_writers.insert(QString::fromLatin1(name), flaps);
    const Writer speedbrake = [](FlightModel &m, int, double v) {
        m.setSpeedbrake(v);
        return true;
    };
    m_writers.insert(QStringLiteral("sim/flightmodel/controls/sbrkrqst"), speedbrake);
    m_writers.insert(QStringLiteral("sim/flightmodel/controls/sbrkrat"), speedbrake);
    const auto trim = [](FlightModel::Trim axis) {
        return Writer([axis](FlightModel &m, int, double v) {
            m.setTrim(axis, v);
            return true;
        });
    };
    m_writers.insert(QStringLiteral("sim/flightmodel/controls/elv_trim"), trim(FlightModel::Trim::Elevator));
    m_writers.insert(QStringLiteral("sim/flightmodel/controls/ail_trim"), trim(FlightModel::Trim::Aileron));
    m_writers.insert(QStringLiteral("sim/flightmodel/controls/rud_trim"), trim(FlightModel::Trim::Rudder));
}

void XpBinding::addRadioWriters()
{
    // Each radio accepts only its own band, in the dataref's units (10 kHz for NAV/COM).
    const auto radio = [](int RadioState::*field, double low, double high, double scale) {
        return Writer([field, low, high, scale](FlightModel &m, int, double v) {
            const double units = std::round(v / scale);
            if (units < low || units > high)
                return false;
            m.radios().*field = int(units);
            return true;
        });
    };
    const QString r = QStringLiteral("sim/cockpit/radios/");
    m_writers.insert(r + "nav1_freq_hz", radio(&RadioState::nav1, 10800, 11795, 1.0));
    m_writers.insert(r + "nav1_stdby_freq_hz", radio(&RadioState::nav1Standby, 10800, 11795, 1.0));
    m_writers.insert(r + "nav2_freq_hz", radio(&RadioState::nav2, 10800, 11795, 1.0));
    m_writers.insert(r + "nav2_stdby_freq_hz", radio(&RadioState::nav2Standby, 10800, 11795, 1.0));
    m_writers.insert(r + "com1_freq_hz", radio(&RadioState::com1, 11800, 13697, 1.0));
    m_writers.insert(r + "com1_stdby_freq_hz", radio(&RadioState::com1Standby, 11800, 13697, 1.0));
    m_writers.insert(r + "com2_freq_hz", radio(&RadioState::com2, 11800, 13697, 1.0));
    m_writers.insert(r + "com2_stdby_freq_hz", radio(&RadioState::com2Standby, 11800, 13697, 1.0));
    m_writers.insert(r + "adf1_freq_hz", radio(&RadioState::adf1Khz, 190, 1750, 1.0));
    m_writers.insert(r + "transponder_mode", radio(&RadioState::transponderMode, 0, 5, 1.0));
    // The 8.33 kHz datarefs count in kHz.
    const QString a = QStringLiteral("sim/cockpit2/radios/actuators/");
    m_writers.insert(a + "com1_frequency_hz_833", radio(&RadioState::com1, 11800, 13699, 10.0));
    m_writers.insert(a + "com1_standby_frequency_hz_833", radio(&RadioState::com1Standby, 11800, 13699, 10.0));
    m_writers.insert(a + "com2_frequency_hz_833", radio(&RadioState::com2, 11800, 13699, 10.0));
    m_writers.insert(a + "com2_standby_frequency_hz_833", radio(&RadioState::com2Standby, 11800, 13699, 10.0));
    m_writers.insert(r + "transponder_code", [](FlightModel &m, int, double v) {
        const int code = int(std::lround(v));
        if (code < 0 || code > 7777)
            return false;
        for (int rest = code; rest > 0; rest /= 10) {
            if (rest % 10 > 7)
                return false; // squawk codes are octal digits
        }
        m.radios().transponderCode = code;
        return true;
    });
}

void XpBinding::addAutopilotWriters()
{
    const Writer altitude = [](FlightModel &m, int, double v) {
        m.setAutopilotAltitudeFt(v);
        return true;
    };
    m_writers.insert(QStringLiteral("sim/cockpit/autopilot/altitude"), altitude);
    m_writers.insert(QStringLiteral("sim/cockpit2/autopilot/altitude_dial_ft"), altitude);
    const Writer heading = [](FlightModel &m, int, double v) {
        m.setAutopilotHeadingMagDeg(v);
        return true;
    };
    m_writers.insert(QStringLiteral("sim/cockpit/autopilot/heading_mag"), heading);
    m_writers.insert(QStringLiteral("sim/cockpit2/autopilot/heading_dial_deg_mag_pilot"), heading);
    const Writer speed = [](FlightModel &m, int, double v) {
        m.setAutopilotSpeedKt(v);
        return true;
    };
    m_writers.insert(QStringLiteral("sim/cockpit2/autopilot/airspeed_dial_kts"), speed);
    m_writers.insert(QStringLiteral("sim/cockpit/autopilot/airspeed"), speed);
    const Writer vs = [](FlightModel &m, int, double v) {
        m.setAutopilotVsFpm(v);
        return true;
    };
    m_writers.insert(QStringLiteral("sim/cockpit/autopilot/vertical_velocity"), vs);
    m_writers.insert(QStringLiteral("sim/cockpit2/autopilot/vvi_dial_fpm"), vs);
}

void XpBinding::addWeightAndPositionWriters()
{
    m_writers.insert(QStringLiteral("sim/flightmodel/weight/m_fuel"),
                     [](FlightModel &m, int tank, double v) { return m.powerplant().setFuelKg(tank, v); });
    m_writers.insert(QStringLiteral("sim/flightmodel/weight/m_fixed"),
                     [](FlightModel &m, int station, double v) { return m.setPayloadKg(station, v); });
    const QString p = QStringLiteral("sim/flightmodel/position/");
    const auto velocity = [](FlightModel::Axis axis) {
        return Writer([axis](FlightModel &m, int, double v) { return m.setLocalVelocity(axis, v); });
    };
    m_writers.insert(p + "local_vx", velocity(FlightModel::Axis::X));
    m_writers.insert(p + "local_vy", velocity(FlightModel::Axis::Y));
    m_writers.insert(p + "local_vz", velocity(FlightModel::Axis::Z));
    m_writers.insert(p + "R", [](FlightModel &m, int, double v) { return m.setYawRateDegS(v); });
    const auto position = [](FlightModel::Axis axis) {
        return Writer([axis](FlightModel &m, int, double v) { return m.setLocalPosition(axis, v); });
    };
    m_writers.insert(p + "local_x", position(FlightModel::Axis::X));
    m_writers.insert(p + "local_y", position(FlightModel::Axis::Y));
    m_writers.insert(p + "local_z", position(FlightModel::Axis::Z));
    const Writer heading = [](FlightModel &m, int, double v) {
        m.setHeadingDegTrue(v);
        return true;
    };
    m_writers.insert(p + "psi", heading);
    m_writers.insert(p + "heading_psi", heading);
}

bool XpBinding::runCommand(const QString &path)
{
    FlightModel &m = *m_model;
    const QString name = path.trimmed();
    if (name == QLatin1String("sim/operation/pause_toggle"))
        m.setPaused(!m.paused());
    else if (name == QLatin1String("sim/operation/pause_on"))
        m.setPaused(true);
    else if (name == QLatin1String("sim/operation/pause_off"))
        m.setPaused(false);
    else if (name == QLatin1String("sim/flight_controls/landing_gear_toggle"))
        m.setGearHandleDown(!m.gearHandleDown());
    else if (name == QLatin1String("sim/flight_controls/landing_gear_up"))
        m.setGearHandleDown(false);
    else if (name == QLatin1String("sim/flight_controls/landing_gear_down"))
        m.setGearHandleDown(true);
    else if (name == QLatin1String("sim/flight_controls/flaps_down"))
        m.stepFlaps(1);
    else if (name == QLatin1String("sim/flight_controls/flaps_up"))
        m.stepFlaps(-1);
    else if (name == QLatin1String("sim/flight_controls/brakes_toggle_max"))
        m.setParkBrake(m.parkBrake() > 0.5 ? 0.0 : 1.0);
    else if (name == QLatin1String("sim/operation/freeze_toggle"))
        m.setFrozen(!m.frozen());
    else if (name == QLatin1String("sim/operation/fix_all_systems"))
        m.repairAll();
    else if (name == QLatin1String("sim/radios/com1_standy_flip"))
        std::swap(m.radios().com1, m.radios().com1Standby);
    else if (name == QLatin1String("sim/radios/com2_standy_flip"))
        std::swap(m.radios().com2, m.radios().com2Standby);
    else if (name == QLatin1String("sim/radios/nav1_standy_flip"))
        std::swap(m.radios().nav1, m.radios().nav1Standby);
    else if (name == QLatin1String("sim/radios/nav2_standy_flip"))
        std::swap(m.radios().nav2, m.radios().nav2Standby);
    else
        return false;
    return true;
}
