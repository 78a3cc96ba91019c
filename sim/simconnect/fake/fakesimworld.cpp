#include "sim/simconnect/fake/fakesimworld.h"

#include "sim/simconnect/fake/fakefacilityworld.h"
#include "sim/simconnect/fake/fakesimconnect.h"
#include "sim/simconnect/fake/fakesimvariables.h"

#include <QDateTime>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>

using namespace simconnect;

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDegToRad = kPi / 180.0;
constexpr double kMagneticVariationDeg = -6.0; // west: magnetic = true + 6
constexpr double kFieldElevationFt = 13.0;
constexpr double kCruiseKt = 150.0;
constexpr double kFeetPerSecondPerKnot = 1.6878098571;
constexpr double kTugTurnRateDegS = 5.0;
constexpr qint64 kStepMs = 100;
constexpr qint64 kMaxCatchUpMs = 10000; // a long gap is not replayed step by step
constexpr int kMaxJournal = 20000;
constexpr double kTwoTo32 = 4294967296.0;

const char *const kTankPositions[] = {"LEFT MAIN",  "LEFT AUX",  "LEFT TIP",  "CENTER",    "CENTER2",  "CENTER3",
                                      "RIGHT MAIN", "RIGHT AUX", "RIGHT TIP", "EXTERNAL1", "EXTERNAL2"};

// Events every simulator kind knows.
const char *const kCommonEvents[] = {
    "PAUSE_SET",
    "PAUSE_ON",
    "PAUSE_OFF",
    "PAUSE_TOGGLE",
    "FREEZE_LATITUDE_LONGITUDE_SET",
    "FREEZE_LATITUDE_LONGITUDE_TOGGLE",
    "FREEZE_ALTITUDE_SET",
    "FREEZE_ALTITUDE_TOGGLE",
    "FREEZE_ATTITUDE_SET",
    "FREEZE_ATTITUDE_TOGGLE",
    "SLEW_ON",
    "SLEW_OFF",
    "SLEW_TOGGLE",
    "SLEW_SET",
    "TOGGLE_PUSHBACK",
    "TUG_DISABLE",
    "TOGGLE_ENGINE1_FAILURE",
    "TOGGLE_ENGINE2_FAILURE",
    "TOGGLE_ENGINE3_FAILURE",
    "TOGGLE_ENGINE4_FAILURE",
    "TOGGLE_ELECTRICAL_FAILURE",
    "TOGGLE_HYDRAULIC_FAILURE",
    "TOGGLE_VACUUM_FAILURE",
    "TOGGLE_PITOT_BLOCKAGE",
    "TOGGLE_STATIC_PORT_BLOCKAGE",
    "TOGGLE_TOTAL_BRAKE_FAILURE",
    "TOGGLE_LEFT_BRAKE_FAILURE",
    "TOGGLE_RIGHT_BRAKE_FAILURE",
    "TOGGLE_MASTER_ALTERNATOR",
    "TOGGLE_MASTER_BATTERY",
    "TOGGLE_ELECT_FUEL_PUMP1",
    "TOGGLE_ELECT_FUEL_PUMP2",
    "TOGGLE_STARTER1",
    "TOGGLE_STARTER2",
    "FUEL_FREEZE_TOGGLE",
    "COM_RADIO_SET",
    "COM_STBY_RADIO_SET",
    "COM2_RADIO_SET",
    "COM2_STBY_RADIO_SET",
    "NAV1_RADIO_SET",
    "NAV1_STBY_SET",
    "NAV2_RADIO_SET",
    "NAV2_STBY_SET",
    "ADF_COMPLETE_SET",
    "XPNDR_SET",
    "HEADING_BUG_SET",
    "KOHLSMAN_SET",
    "ZOOM_IN",
    "ZOOM_OUT",
    "PARKING_BRAKES",
    "GEAR_TOGGLE",
    "AP_MASTER",
};
// MSFS adds the whole-hertz radio events and documents the tug events without "KEY_".
const char *const kMsfsEvents[] = {
    "COM_RADIO_SET_HZ",  "COM_STBY_RADIO_SET_HZ",
    "COM2_RADIO_SET_HZ", "COM2_STBY_RADIO_SET_HZ",
    "NAV1_RADIO_SET_HZ", "NAV1_STBY_SET_HZ",
    "NAV2_RADIO_SET_HZ", "NAV2_STBY_SET_HZ",
    "TUG_HEADING",       "TUG_SPEED",
};
const char *const kClassicEvents[] = {"KEY_TUG_HEADING", "KEY_TUG_SPEED"};

// Radio events and the variable each sets.
struct RadioTarget
{
    const char *event;
    const char *variable;
};
const RadioTarget kRadioTargets[] = {
    {"COM_RADIO_SET", "COM ACTIVE FREQUENCY:1"},  {"COM_STBY_RADIO_SET", "COM STANDBY FREQUENCY:1"},
    {"COM2_RADIO_SET", "COM ACTIVE FREQUENCY:2"}, {"COM2_STBY_RADIO_SET", "COM STANDBY FREQUENCY:2"},
    {"NAV1_RADIO_SET", "NAV ACTIVE FREQUENCY:1"}, {"NAV1_STBY_SET", "NAV STANDBY FREQUENCY:1"},
    {"NAV2_RADIO_SET", "NAV ACTIVE FREQUENCY:2"}, {"NAV2_STBY_SET", "NAV STANDBY FREQUENCY:2"},
};

bool isMsfs(SimType kind)
{
    return kind == SimType::Msfs2020 || kind == SimType::Msfs2024;
}

// Decimal value of the BCD nibbles of word (0x2150 -> 2150); nothing for a non-decimal nibble.
std::optional<quint32> fromBcd(quint32 word, int digits)
{
    quint32 value = 0;
    for (int i = digits - 1; i >= 0; --i) {
        const quint32 nibble = (word >> (4 * i)) & 0xF;
        if (nibble > 9)
            return std::nullopt;
        value = value * 10 + nibble;
    }
    return value;
}

double wrapDegrees(double degrees)
{
    double wrapped = std::fmod(degrees, 360.0);
    return wrapped < 0 ? wrapped + 360.0 : wrapped;
}

} // namespace

FakeSimWorld::FakeSimWorld(SimType kind, QObject *parent) : QObject(parent), m_kind(kind)
{
    m_clock.start();
    // Seed every catalogued variable the world keeps with its starting value.
    for (const fakesim::Variable &variable : fakesim::allVariables()) {
        if (!variable.units.isEmpty())
            m_values.insert(variable.name, variable.initial);
    }
    m_texts.insert(QStringLiteral("ATC ID"), QStringLiteral("B-6541"));
    m_texts.insert(QStringLiteral("ATC MODEL"), QStringLiteral("A320"));
    m_texts.insert(QStringLiteral("ATC AIRLINE"), QStringLiteral("CES"));
    m_texts.insert(QStringLiteral("ATC FLIGHT NUMBER"), QStringLiteral("5101"));
    m_traffic = {
        {31.22, 121.70, 3000, 90, 180, QStringLiteral("B-1234"), QStringLiteral("B738"), QStringLiteral("CSN"),
         QStringLiteral("3504")},
        {31.05, 121.95, 5000, 200, 210, QStringLiteral("B-5678"), QStringLiteral("A333"), QString(), QString()},
        {31.30, 121.90, 1500, 340, 140, QStringLiteral("N172SP"), QStringLiteral("C172"), QString(), QString()},
    };
    deriveTotals();
}

FakeFacilityWorld &FakeSimWorld::facilities()
{
    if (!m_facilities)
        m_facilities = std::make_unique<FakeFacilityWorld>();
    return *m_facilities;
}

void FakeSimWorld::setFacilities(std::unique_ptr<FakeFacilityWorld> facilities)
{
    m_facilities = std::move(facilities);
}

FakeSimWorld::~FakeSimWorld()
{
    const QList<FakeSimConnect *> connections = m_connections;
    for (FakeSimConnect *connection : connections)
        connection->worldGone();
}

uint32_t FakeSimWorld::protocolVersion() const
{
    switch (m_kind) {
    case SimType::Msfs2020:
        return 5;
    case SimType::Msfs2024:
        return 6;
    default:
        return 4; // FSX SP2, which Prepar3D also speaks
    }
}

Layout FakeSimWorld::layout() const
{
    return m_kind == SimType::Msfs2024 ? Layout::Msfs2024 : Layout::Classic;
}

OpenInfo FakeSimWorld::openInfo() const
{
    OpenInfo info;
    auto set = [](uint32_t *parts, uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
        parts[0] = a;
        parts[1] = b;
        parts[2] = c;
        parts[3] = d;
    };
    switch (m_kind) {
    case SimType::Msfs2020:
        info.applicationName = QStringLiteral("KittyHawk");
        set(info.applicationVersion, 11, 0, 282174, 999);
        set(info.simConnectVersion, 11, 0, 62651, 3);
        break;
    case SimType::Msfs2024:
        info.applicationName = QStringLiteral("SunRise");
        set(info.applicationVersion, 12, 2, 282174, 999);
        set(info.simConnectVersion, 12, 2, 282174, 999);
        break;
    case SimType::Fsx:
        info.applicationName = QStringLiteral("Microsoft Flight Simulator X");
        set(info.applicationVersion, 10, 0, 61637, 0);
        set(info.simConnectVersion, 10, 0, 61259, 0);
        break;
    default:
        info.applicationName = QStringLiteral("Lockheed Martin\u00ae Prepar3D\u00ae v5");
        set(info.applicationVersion, 5, 4, 9, 28482);
        set(info.simConnectVersion, 5, 4, 0, 0);
        break;
    }
    return info;
}

void FakeSimWorld::quit()
{
    m_running = false;
    const QList<FakeSimConnect *> connections = m_connections;
    for (FakeSimConnect *connection : connections)
        connection->deliverQuit();
}

void FakeSimWorld::crash()
{
    m_running = false;
    const QList<FakeSimConnect *> connections = m_connections;
    for (FakeSimConnect *connection : connections)
        connection->breakLink();
}

void FakeSimWorld::failNext(const QString &function, ExceptionCode code)
{
    m_failNext.insert(function, code);
}

std::optional<ExceptionCode> FakeSimWorld::takeFailure(const QString &function)
{
    const auto it = m_failNext.find(function);
    if (it == m_failNext.end())
        return std::nullopt;
    const ExceptionCode code = *it;
    m_failNext.erase(it);
    return code;
}

bool FakeSimWorld::supports(ISimConnect::Capability capability) const
{
    const auto over = m_capabilityOverrides.constFind(int(capability));
    if (over != m_capabilityOverrides.cend())
        return *over;
    switch (capability) {
    case ISimConnect::Capability::EventEx1:
    case ISimConnect::Capability::Facilities:
    case ISimConnect::Capability::FacilityDataEx1:
        return isMsfs(m_kind);
    case ISimConnect::Capability::AllFacilities:
        return m_kind == SimType::Msfs2024;
    default:
        return true; // weather calls are still exported by MSFS; they just do nothing there
    }
}

void FakeSimWorld::setCapability(ISimConnect::Capability capability, bool available)
{
    m_capabilityOverrides.insert(int(capability), available);
}

void FakeSimWorld::useManualClock(bool manual)
{
    m_manualClock = manual;
    m_manualMs = m_simulatedMs;
}

void FakeSimWorld::advance(int ms)
{
    m_manualMs += std::max(0, ms);
}

qint64 FakeSimWorld::nowMs() const
{
    return m_manualClock ? m_manualMs : m_clock.elapsed();
}

void FakeSimWorld::simulate()
{
    const qint64 now = nowMs();
    if (now - m_simulatedMs > kMaxCatchUpMs)
        m_simulatedMs = now - kMaxCatchUpMs;
    while (m_simulatedMs + kStepMs <= now) {
        step(kStepMs / 1000.0);
        m_simulatedMs += kStepMs;
    }
}

void FakeSimWorld::step(double seconds)
{
    if (m_paused)
        return;
    if (m_onGround)
        push(seconds);
    else
        fly(seconds);
    burnFuel(seconds);
    for (Traffic &t : m_traffic) {
        t.headingDeg = wrapDegrees(t.headingDeg + 1.5 * seconds);
        const double nm = t.speedKt * seconds / 3600.0;
        t.lat += nm * std::cos(t.headingDeg * kDegToRad) / 60.0;
        t.lon += nm * std::sin(t.headingDeg * kDegToRad) / (60.0 * std::cos(t.lat * kDegToRad));
    }
    deriveTotals();
}

void FakeSimWorld::fly(double seconds)
{
    if (m_slew)
        return;
    double heading = get("PLANE HEADING DEGREES TRUE");
    if (!m_freezeAttitude)
        heading = wrapDegrees(heading + m_turnRateDegS * seconds);
    if (!m_freezePosition) {
        const double nm = get("GROUND VELOCITY") * seconds / 3600.0;
        const double lat = get("PLANE LATITUDE");
        put("PLANE LATITUDE", lat + nm * std::cos(heading * kDegToRad) / 60.0);
        put("PLANE LONGITUDE",
            get("PLANE LONGITUDE") + nm * std::sin(heading * kDegToRad) / (60.0 * std::cos(lat * kDegToRad)));
    }
    put("PLANE HEADING DEGREES TRUE", heading);
}

void FakeSimWorld::push(double seconds)
{
    if (!m_pushback) {
        put("GROUND VELOCITY", 0);
        return;
    }
    // The tug follows the body velocity the client writes (negative: backwards) and turns the nose
    // towards the tug heading, or at the written body yaw rate.
    const double speedFtS = get("VELOCITY BODY Z");
    double heading = get("PLANE HEADING DEGREES TRUE");
    const double yawDegS = get("ROTATION VELOCITY BODY Y") * 57.29577951308232;
    if (std::abs(yawDegS) > 1e-9) {
        heading = wrapDegrees(heading + yawDegS * seconds);
    } else if (m_tugHeading >= 0) {
        const double difference = std::remainder(m_tugHeading - heading, 360.0);
        const double turn = std::clamp(difference, -kTugTurnRateDegS * seconds, kTugTurnRateDegS * seconds);
        heading = wrapDegrees(heading + turn);
    }
    const double nm = speedFtS * seconds / (kFeetPerSecondPerKnot * 3600.0);
    const double lat = get("PLANE LATITUDE");
    put("PLANE LATITUDE", lat + nm * std::cos(heading * kDegToRad) / 60.0);
    put("PLANE LONGITUDE",
        get("PLANE LONGITUDE") + nm * std::sin(heading * kDegToRad) / (60.0 * std::cos(lat * kDegToRad)));
    put("PLANE HEADING DEGREES TRUE", heading);
    put("GROUND VELOCITY", std::abs(speedFtS) / kFeetPerSecondPerKnot);
}

void FakeSimWorld::burnFuel(double seconds)
{
    if (m_fuelFrozen)
        return;
    double gallons = 0;
    for (int engine = 1; engine <= 2; ++engine) {
        if (get(qPrintable(QStringLiteral("GENERAL ENG COMBUSTION:%1").arg(engine))) > 0.5)
            gallons += get(qPrintable(QStringLiteral("ENG FUEL FLOW GPH:%1").arg(engine))) * seconds / 3600.0;
    }
    const double total = get("FUEL TOTAL QUANTITY");
    if (total <= 0 || gallons <= 0)
        return;
    for (const char *position : kTankPositions) {
        const QString name = QStringLiteral("FUEL TANK %1 QUANTITY").arg(QLatin1String(position));
        const double quantity = m_values.value(name);
        m_values.insert(name, std::max(0.0, quantity - gallons * quantity / total));
    }
}

void FakeSimWorld::deriveTotals()
{
    double total = 0;
    double left = 0;
    double right = 0;
    for (const char *position : kTankPositions) {
        const QString p = QLatin1String(position);
        const double capacity = m_values.value(QStringLiteral("FUEL TANK %1 CAPACITY").arg(p));
        const QString quantityName = QStringLiteral("FUEL TANK %1 QUANTITY").arg(p);
        const double quantity = std::clamp(m_values.value(quantityName), 0.0, capacity);
        m_values.insert(quantityName, quantity);
        m_values.insert(QStringLiteral("FUEL TANK %1 LEVEL").arg(p), capacity > 0 ? quantity / capacity : 0.0);
        total += quantity;
        if (p.startsWith(QLatin1String("LEFT")))
            left += quantity;
        else if (p.startsWith(QLatin1String("RIGHT")))
            right += quantity;
    }
    put("FUEL TOTAL QUANTITY", total);
    put("FUEL LEFT QUANTITY", left);
    put("FUEL RIGHT QUANTITY", right);
    const double fuelWeight = total * get("FUEL WEIGHT PER GALLON");
    put("FUEL TOTAL QUANTITY WEIGHT", fuelWeight);
    double payload = 0;
    for (int i = 1; i <= 10; ++i)
        payload += m_values.value(QStringLiteral("PAYLOAD STATION WEIGHT:%1").arg(i));
    put("TOTAL WEIGHT", get("EMPTY WEIGHT") + fuelWeight + payload);

    const double alt = get("PLANE ALTITUDE");
    put("INDICATED ALTITUDE", alt);
    put("PLANE ALT ABOVE GROUND", std::max(0.0, alt - kFieldElevationFt));
    put("SIM ON GROUND", m_onGround ? 1 : 0);
    put("PLANE HEADING DEGREES MAGNETIC", wrapDegrees(get("PLANE HEADING DEGREES TRUE") - kMagneticVariationDeg));
    const double ground = get("GROUND VELOCITY");
    put("AIRSPEED INDICATED", ground);
    put("AIRSPEED TRUE", ground * (1.0 + alt / 1000.0 * 0.02));
    put("AIRSPEED MACH", ground / 661.5);
    put("PLANE BANK DEGREES", m_onGround || m_slew ? 0.0 : -20.0);
    put("GEAR TOTAL PCT EXTENDED", m_onGround ? 1.0 : get("GEAR TOTAL PCT EXTENDED"));
    put("IS LATITUDE LONGITUDE FREEZE ON", m_freezePosition ? 1 : 0);
    put("IS ALTITUDE FREEZE ON", m_freezeAltitude ? 1 : 0);
    put("IS ATTITUDE FREEZE ON", m_freezeAttitude ? 1 : 0);
    put("IS SLEW ACTIVE", m_slew ? 1 : 0);
    put("PUSHBACK ATTACHED", m_pushback ? 1 : 0);
    put("PUSHBACK STATE", m_pushback ? 0 : 3);
    for (int engine = 1; engine <= 2; ++engine) {
        const bool failed = m_toggled.contains(QStringLiteral("TOGGLE_ENGINE%1_FAILURE").arg(engine));
        put(qPrintable(QStringLiteral("ENG FAILED:%1").arg(engine)), failed ? 1 : 0);
        put(qPrintable(QStringLiteral("GENERAL ENG COMBUSTION:%1").arg(engine)), failed ? 0 : 1);
    }
}

double FakeSimWorld::get(const char *name) const
{
    return m_values.value(QLatin1String(name));
}

void FakeSimWorld::put(const char *name, double value)
{
    m_values.insert(QLatin1String(name), value);
}

std::optional<double> FakeSimWorld::value(const QString &name, const QString &units) const
{
    const std::optional<fakesim::Variable> variable = fakesim::variableNamed(name);
    const std::optional<fakesim::Unit> from = variable ? fakesim::unitNamed(variable->units) : std::nullopt;
    const std::optional<fakesim::Unit> to = fakesim::unitNamed(units);
    if (!from || !to)
        return std::nullopt;
    return fakesim::convert(m_values.value(variable->name), *from, *to);
}

bool FakeSimWorld::setValue(const QString &name, double value, const QString &units)
{
    const std::optional<fakesim::Variable> variable = fakesim::variableNamed(name);
    const std::optional<fakesim::Unit> to = variable ? fakesim::unitNamed(variable->units) : std::nullopt;
    const std::optional<fakesim::Unit> from = fakesim::unitNamed(units);
    if (!to || !from)
        return false;
    const std::optional<double> converted = fakesim::convert(value, *from, *to);
    if (!converted)
        return false;
    const QString key = variable->name;
    if (key.startsWith(QLatin1String("FUEL TANK ")) && key.endsWith(QLatin1String(" LEVEL"))) {
        // A level is a share of the tank's capacity: store it as the quantity it stands for.
        const QString position = key.mid(10, key.size() - 16);
        const double capacity = m_values.value(QStringLiteral("FUEL TANK %1 CAPACITY").arg(position));
        m_values.insert(QStringLiteral("FUEL TANK %1 QUANTITY").arg(position), *converted * capacity);
    } else {
        m_values.insert(key, *converted);
    }
    if (key == QLatin1String("IS SLEW ACTIVE"))
        m_slew = *converted > 0.5;
    deriveTotals();
    return true;
}

QString FakeSimWorld::text(const QString &name) const
{
    return m_texts.value(fakesim::canonicalName(name));
}

QList<FakeSimWorld::Entry> FakeSimWorld::journalOf(const QString &function) const
{
    QList<Entry> out;
    for (const Entry &entry : m_journal) {
        if (entry.function == function)
            out.append(entry);
    }
    return out;
}

void FakeSimWorld::attach(FakeSimConnect *connection)
{
    if (!m_connections.contains(connection))
        m_connections.append(connection);
}

void FakeSimWorld::detach(FakeSimConnect *connection)
{
    m_connections.removeAll(connection);
}

void FakeSimWorld::record(const Entry &entry)
{
    m_journal.append(entry);
    if (m_journal.size() > kMaxJournal)
        m_journal.remove(0, m_journal.size() - kMaxJournal);
}

bool FakeSimWorld::knowsEvent(const QString &name) const
{
    const auto in = [&name](const auto &list) {
        return std::any_of(std::begin(list), std::end(list),
                           [&name](const char *e) { return name == QLatin1String(e); });
    };
    return in(kCommonEvents) || (isMsfs(m_kind) ? in(kMsfsEvents) : in(kClassicEvents));
}

void FakeSimWorld::setPause(bool paused)
{
    if (paused == m_paused)
        return;
    m_paused = paused;
    const QList<FakeSimConnect *> connections = m_connections;
    for (FakeSimConnect *connection : connections)
        connection->deliverSystemEvent(QStringLiteral("Pause"), paused ? 1 : 0);
}

bool FakeSimWorld::applyEvent(const QString &name, quint32 data)
{
    if (!knowsEvent(name))
        return false;
    const bool on = data != 0;
    if (name == QLatin1String("PAUSE_SET"))
        setPause(on);
    else if (name == QLatin1String("PAUSE_ON"))
        setPause(true);
    else if (name == QLatin1String("PAUSE_OFF"))
        setPause(false);
    else if (name == QLatin1String("PAUSE_TOGGLE"))
        setPause(!m_paused);
    else if (name == QLatin1String("FREEZE_LATITUDE_LONGITUDE_SET"))
        m_freezePosition = on;
    else if (name == QLatin1String("FREEZE_LATITUDE_LONGITUDE_TOGGLE"))
        m_freezePosition = !m_freezePosition;
    else if (name == QLatin1String("FREEZE_ALTITUDE_SET"))
        m_freezeAltitude = on;
    else if (name == QLatin1String("FREEZE_ALTITUDE_TOGGLE"))
        m_freezeAltitude = !m_freezeAltitude;
    else if (name == QLatin1String("FREEZE_ATTITUDE_SET"))
        m_freezeAttitude = on;
    else if (name == QLatin1String("FREEZE_ATTITUDE_TOGGLE"))
        m_freezeAttitude = !m_freezeAttitude;
    else if (name == QLatin1String("SLEW_ON") || (name == QLatin1String("SLEW_SET") && on))
        m_slew = true;
    else if (name == QLatin1String("SLEW_OFF") || name == QLatin1String("SLEW_SET"))
        m_slew = false;
    else if (name == QLatin1String("SLEW_TOGGLE"))
        m_slew = !m_slew;
    else if (name == QLatin1String("TOGGLE_PUSHBACK"))
        m_pushback = m_onGround && !m_pushback;
    else if (name == QLatin1String("TUG_DISABLE"))
        m_pushback = false;
    else if (name.endsWith(QLatin1String("TUG_HEADING")))
        m_tugHeading = data * 360.0 / kTwoTo32;
    else if (name == QLatin1String("FUEL_FREEZE_TOGGLE"))
        m_fuelFrozen = !m_fuelFrozen;
    else if (name.startsWith(QLatin1String("TOGGLE_")) && name != QLatin1String("TOGGLE_PUSHBACK")) {
        if (!m_toggled.remove(name))
            m_toggled.insert(name);
    } else if (name == QLatin1String("PARKING_BRAKES"))
        put("BRAKE PARKING POSITION", get("BRAKE PARKING POSITION") > 0.5 ? 0 : 1);
    else if (name == QLatin1String("GEAR_TOGGLE"))
        put("GEAR TOTAL PCT EXTENDED", get("GEAR TOTAL PCT EXTENDED") > 0.5 ? 0 : 1);
    else if (name == QLatin1String("AP_MASTER"))
        put("AUTOPILOT MASTER", get("AUTOPILOT MASTER") > 0.5 ? 0 : 1);
    else if (name == QLatin1String("HEADING_BUG_SET"))
        put("AUTOPILOT HEADING LOCK DIR", wrapDegrees(data));
    else if (name == QLatin1String("KOHLSMAN_SET"))
        put("KOHLSMAN SETTING MB", data / 16.0);
    else
        applyRadio(name, data);
    deriveTotals();
    return true;
}

void FakeSimWorld::applyRadio(const QString &name, quint32 data)
{
    for (const RadioTarget &target : kRadioTargets) {
        const QString bcdName = QLatin1String(target.event);
        if (name == bcdName) {
            // BCD16: the four digits after the leading 1, in tens of kilohertz.
            if (const auto digits = fromBcd(data, 4))
                put(target.variable, 100.0 + *digits / 100.0);
            return;
        }
        if (name == bcdName + QLatin1String("_HZ")) {
            put(target.variable, data / 1e6);
            return;
        }
    }
    if (name == QLatin1String("ADF_COMPLETE_SET")) {
        // BCD32 of kilohertz times ten thousand: 0x03500000 is 350.0 kHz.
        if (const auto digits = fromBcd(data, 8))
            put("ADF ACTIVE FREQUENCY:1", *digits / 10000.0);
    } else if (name == QLatin1String("XPNDR_SET")) {
        if (const auto code = fromBcd(data, 4))
            put("TRANSPONDER CODE:1", *code);
    }
}

bool FakeSimWorld::writeDatum(const Datum &datum, const DatumValue &value)
{
    if (datum.type == DataType::InitPosition) {
        const InitPosition *position = std::get_if<InitPosition>(&value);
        if (!position || fakesim::canonicalName(datum.name) != QLatin1String("INITIAL POSITION"))
            return false;
        m_lastInitPosition = *position;
        put("PLANE LATITUDE", position->lat);
        put("PLANE LONGITUDE", position->lon);
        put("PLANE ALTITUDE", position->altFt);
        put("PLANE PITCH DEGREES", position->pitch);
        put("PLANE HEADING DEGREES TRUE", wrapDegrees(position->heading));
        m_onGround = position->onGround != 0;
        m_pushback = false;
        if (m_onGround)
            put("GROUND VELOCITY", 0);
        else if (position->airspeedKt == kInitPositionAirspeedCruise)
            put("GROUND VELOCITY", kCruiseKt);
        else if (position->airspeedKt != kInitPositionAirspeedKeep)
            put("GROUND VELOCITY", position->airspeedKt);
        deriveTotals();
        return true;
    }
    const std::optional<fakesim::Variable> variable = fakesim::variableNamed(datum.name);
    if (!variable || !variable->settable || !std::holds_alternative<double>(value))
        return false;
    return setValue(datum.name, std::get<double>(value), datum.units);
}

std::optional<DatumValue> FakeSimWorld::readDatum(const Datum &datum) const
{
    const std::optional<fakesim::Variable> variable = fakesim::variableNamed(datum.name);
    if (!variable)
        return std::nullopt;
    if (variable->units.isEmpty())
        return DatumValue(m_texts.value(variable->name));
    const std::optional<double> converted = value(datum.name, datum.units);
    if (!converted)
        return std::nullopt;
    return DatumValue(*converted);
}

QList<QList<DatumValue>> FakeSimWorld::objectsFor(const DataDefinition &definition, QList<uint32_t> *objectIds) const
{
    QList<QList<DatumValue>> objects;
    QList<DatumValue> user;
    for (const Datum &datum : definition.datums())
        user.append(readDatum(datum).value_or(DatumValue(0.0)));
    objects.append(user);
    objectIds->append(kUserObjectId);
    for (int i = 0; i < m_traffic.size(); ++i) {
        const Traffic &t = m_traffic.at(i);
        QList<DatumValue> values;
        for (const Datum &datum : definition.datums()) {
            const QString name = fakesim::canonicalName(datum.name);
            if (name == QLatin1String("PLANE LATITUDE"))
                values.append(t.lat);
            else if (name == QLatin1String("PLANE LONGITUDE"))
                values.append(t.lon);
            else if (name == QLatin1String("PLANE ALTITUDE"))
                values.append(t.altFt);
            else if (name == QLatin1String("PLANE HEADING DEGREES TRUE"))
                values.append(t.headingDeg);
            else if (name == QLatin1String("GROUND VELOCITY") || name == QLatin1String("AIRSPEED INDICATED"))
                values.append(t.speedKt);
            else if (name == QLatin1String("ATC ID"))
                values.append(t.atcId);
            else if (name == QLatin1String("ATC MODEL"))
                values.append(t.model);
            else if (name == QLatin1String("ATC AIRLINE"))
                values.append(t.airline);
            else if (name == QLatin1String("ATC FLIGHT NUMBER"))
                values.append(t.flight);
            else
                values.append(0.0);
        }
        objects.append(values);
        objectIds->append(uint32_t(101 + i));
    }
    return objects;
}

bool FakeSimWorld::applyMetar(const QString &metar)
{
    const QStringList tokens = metar.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    static const QRegularExpression station(QStringLiteral("^[A-Z][A-Z0-9]{3}$"));
    if (tokens.isEmpty() || !station.match(tokens.first()).hasMatch())
        return false;
    static const QRegularExpression wind(QStringLiteral("^(\\d{3}|VRB)(\\d{2,3})(G\\d{2,3})?KT$"));
    static const QRegularExpression visibility(QStringLiteral("^(\\d{4})$"));
    static const QRegularExpression temperature(QStringLiteral("^(M?\\d{2})/(M?\\d{2})$"));
    static const QRegularExpression qnh(QStringLiteral("^Q(\\d{4})$"));
    auto signedValue = [](QString text) {
        const bool negative = text.startsWith(QLatin1Char('M'));
        return (negative ? -1 : 1) * text.remove(QLatin1Char('M')).toDouble();
    };
    for (const QString &token : tokens.mid(1)) {
        QRegularExpressionMatch m;
        if ((m = wind.match(token)).hasMatch()) {
            if (m.captured(1) != QLatin1String("VRB"))
                put("AMBIENT WIND DIRECTION", m.captured(1).toDouble());
            put("AMBIENT WIND VELOCITY", m.captured(2).toDouble());
        } else if ((m = visibility.match(token)).hasMatch()) {
            const double metres = m.captured(1).toDouble();
            put("AMBIENT VISIBILITY", metres >= 9999 ? 20000 : metres);
        } else if ((m = temperature.match(token)).hasMatch()) {
            put("AMBIENT TEMPERATURE", signedValue(m.captured(1)));
        } else if ((m = qnh.match(token)).hasMatch()) {
            put("SEA LEVEL PRESSURE", m.captured(1).toDouble());
            put("BAROMETER PRESSURE", m.captured(1).toDouble());
        }
    }
    return true;
}

QString FakeSimWorld::currentMetar() const
{
    const double temperature = get("AMBIENT TEMPERATURE");
    const QString temp = (temperature < 0 ? QStringLiteral("M") : QString()) +
                         QStringLiteral("%1").arg(std::lround(std::abs(temperature)), 2, 10, QLatin1Char('0'));
    const double metres = get("AMBIENT VISIBILITY");
    return QStringLiteral("ZSPD %1 %2%3KT %4 %5/%5 Q%6")
        .arg(QDateTime::currentDateTimeUtc().toString(QStringLiteral("ddhhmm")) + QLatin1Char('Z'))
        .arg(std::lround(get("AMBIENT WIND DIRECTION")), 3, 10, QLatin1Char('0'))
        .arg(std::lround(get("AMBIENT WIND VELOCITY")), 2, 10, QLatin1Char('0'))
        .arg(metres >= 9999 ? 9999 : std::lround(metres), 4, 10, QLatin1Char('0'))
        .arg(temp)
        .arg(std::lround(get("SEA LEVEL PRESSURE")), 4, 10, QLatin1Char('0'));
}
