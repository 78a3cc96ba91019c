#include "sim/simconnect/simvartable.h"

#include <QJsonArray>

#include <algorithm>
#include <cmath>
#include <limits>

namespace simvars {

namespace {

constexpr double kKgPerPound = 0.45359237;
// NAV CDI and NAV GSI run -127..127 across the full scale of 2.5 dots each side.
constexpr double kDotsPerNeedleUnit = 2.5 / 127.0;

double rankineToCelsius(double rankine)
{
    return (rankine - 491.67) * 5.0 / 9.0;
}

int32_t truncated(double value)
{
    constexpr double kMin = std::numeric_limits<int32_t>::min();
    constexpr double kMax = std::numeric_limits<int32_t>::max();
    return static_cast<int32_t>(std::clamp(std::trunc(value), kMin, kMax));
}

bool flag(double value)
{
    return value > 0.5;
}

// clang-format off
const QList<Row> kRows = {
    {1, "PLANE LATITUDE", "degrees", "lat", [](AircraftData &d, double v) { d.lat = v; }},
    {1, "PLANE LONGITUDE", "degrees", "lon", [](AircraftData &d, double v) { d.lon = v; }},
    {1, "PLANE ALTITUDE", "feet", "alt", [](AircraftData &d, double v) { d.alt = v; }},
    {1, "INDICATED ALTITUDE", "feet", "altInd", [](AircraftData &d, double v) { d.altInd = v; }},
    {1, "PLANE ALT ABOVE GROUND", "feet", "altAGL", [](AircraftData &d, double v) { d.altAGL = v; }},
    {1, "PLANE HEADING DEGREES MAGNETIC", "degrees", "hdg", [](AircraftData &d, double v) { d.hdg = v; }},
    {1, "PLANE HEADING DEGREES TRUE", "degrees", "hdgTrue", [](AircraftData &d, double v) { d.hdgTrue = v; }},
    {2, "AIRSPEED INDICATED", "knots", "ias", [](AircraftData &d, double v) { d.ias = v; }},
    {2, "AIRSPEED TRUE", "knots", nullptr, [](AircraftData &d, double v) { d.tas = v; }},
    {2, "GROUND VELOCITY", "knots", "gs", [](AircraftData &d, double v) { d.gs = v; }},
    {2, "VERTICAL SPEED", "feet per second", "vs", [](AircraftData &d, double v) { d.vs = v * 60.0; }},
    {2, "AIRSPEED MACH", "mach", "mach", [](AircraftData &d, double v) { d.mach = v; }},
    {2, "PLANE PITCH DEGREES", "degrees", "pitch", [](AircraftData &d, double v) { d.pitch = v; }},
    {2, "PLANE BANK DEGREES", "degrees", "bank", [](AircraftData &d, double v) { d.bank = v; }},
    {2, "SIM ON GROUND", "bool", "onGround", [](AircraftData &d, double v) { d.onGround = flag(v); }},
    {3, "GENERAL ENG THROTTLE LEVER POSITION:1", "percent", "thr1", [](AircraftData &d, double v) { d.thr1 = v; }},
    {3, "GENERAL ENG THROTTLE LEVER POSITION:2", "percent", "thr2", [](AircraftData &d, double v) { d.thr2 = v; }},
    {3, "GEAR TOTAL PCT EXTENDED", "percent", "gear", [](AircraftData &d, double v) { d.gear = v > 50.0; }},
    {3, "FLAPS HANDLE PERCENT", "percent", "flaps", [](AircraftData &d, double v) { d.flaps = truncated(v); }},
    {3, "FUEL TOTAL QUANTITY", "gallons", "fuelTotal", [](AircraftData &d, double v) { d.fuelTotal = v; }},
    {3, "ENGINE TYPE", "enum", "engType", [](AircraftData &d, double v) { d.engType = truncated(v); }},
    {3, "NUMBER OF ENGINES", "number", "engCnt",
     [](AircraftData &d, double v) { d.engCnt = std::clamp(truncated(v), 0, 4); }},
    {3, "TURB ENG N1:1", "percent", "engN1_1", [](AircraftData &d, double v) { d.engN1[0] = v; }},
    {3, "TURB ENG N1:2", "percent", "engN1_2", [](AircraftData &d, double v) { d.engN1[1] = v; }},
    {3, "GENERAL ENG EXHAUST GAS TEMPERATURE:1", "rankine", "egt_1",
     [](AircraftData &d, double v) { d.egt[0] = rankineToCelsius(v); }},
    {3, "GENERAL ENG EXHAUST GAS TEMPERATURE:2", "rankine", "egt_2",
     [](AircraftData &d, double v) { d.egt[1] = rankineToCelsius(v); }},
    {3, "ENG FUEL FLOW GPH:1", "gallons per hour", "ff_1", [](AircraftData &d, double v) { d.ff[0] = v; }},
    {3, "ENG FUEL FLOW GPH:2", "gallons per hour", "ff_2", [](AircraftData &d, double v) { d.ff[1] = v; }},
    {3, "GENERAL ENG COMBUSTION:1", "bool", "engRun1", [](AircraftData &d, double v) { d.engRun[0] = flag(v); }},
    {3, "GENERAL ENG COMBUSTION:2", "bool", "engRun2", [](AircraftData &d, double v) { d.engRun[1] = flag(v); }},
    {3, "ELEVATOR TRIM POSITION", "degrees", "elevTrim", [](AircraftData &d, double v) { d.elevTrim = v; }},
    {3, "AILERON TRIM", "degrees", "ailTrim", [](AircraftData &d, double v) { d.ailTrim = v; }},
    {3, "RUDDER TRIM", "degrees", "rudTrim", [](AircraftData &d, double v) { d.rudTrim = v; }},
    {3, "BRAKE PARKING POSITION", "position", "parkBrake",
     [](AircraftData &d, double v) { d.parkBrake = truncated(v * 100.0); }},
    {3, "SPOILERS HANDLE POSITION", "percent", "spoiler", [](AircraftData &d, double v) { d.spoiler = v; }},
    // Not in the original list of the link, but the record and the bridge line both have rpm.
    {3, "GENERAL ENG RPM:1", "rpm", "rpm_1", [](AircraftData &d, double v) { d.rpm[0] = v; }},
    {3, "GENERAL ENG RPM:2", "rpm", "rpm_2", [](AircraftData &d, double v) { d.rpm[1] = v; }},
    {4, "NAV ACTIVE FREQUENCY:1", "MHz", "nav1", [](AircraftData &d, double v) { d.nav1 = v; }},
    {4, "NAV STANDBY FREQUENCY:1", "MHz", "nav1s", [](AircraftData &d, double v) { d.nav1s = v; }},
    {4, "NAV ACTIVE FREQUENCY:2", "MHz", "nav2", [](AircraftData &d, double v) { d.nav2 = v; }},
    {4, "NAV STANDBY FREQUENCY:2", "MHz", "nav2s", [](AircraftData &d, double v) { d.nav2s = v; }},
    {4, "COM ACTIVE FREQUENCY:1", "MHz", "com1", [](AircraftData &d, double v) { d.com1 = v; }},
    {4, "COM STANDBY FREQUENCY:1", "MHz", "com1s", [](AircraftData &d, double v) { d.com1s = v; }},
    {4, "COM ACTIVE FREQUENCY:2", "MHz", "com2", [](AircraftData &d, double v) { d.com2 = v; }},
    {4, "COM STANDBY FREQUENCY:2", "MHz", "com2s", [](AircraftData &d, double v) { d.com2s = v; }},
    {4, "ADF ACTIVE FREQUENCY:1", "kHz", "adf", [](AircraftData &d, double v) { d.adf = v; }},
    {4, "TRANSPONDER CODE:1", "number", "xpdr", [](AircraftData &d, double v) { d.xpdr = v; }},
    {5, "AUTOPILOT MASTER", "bool", "apMaster", [](AircraftData &d, double v) { d.apMaster = flag(v); }},
    {5, "AUTOPILOT HEADING LOCK DIR", "degrees", "apHdg", [](AircraftData &d, double v) { d.apHdg = v; }},
    {5, "AUTOPILOT ALTITUDE LOCK VAR", "feet", "apAlt", [](AircraftData &d, double v) { d.apAlt = v; }},
    {5, "AUTOPILOT AIRSPEED HOLD VAR", "knots", "apSpd", [](AircraftData &d, double v) { d.apSpd = v; }},
    {5, "AUTOPILOT VERTICAL HOLD VAR", "feet per minute", "apVs", [](AircraftData &d, double v) { d.apVs = v; }},
    {5, "AUTOPILOT HEADING LOCK", "bool", "apHdgLock", [](AircraftData &d, double v) { d.apHdgLock = flag(v); }},
    {5, "AUTOPILOT ALTITUDE LOCK", "bool", "apAltLock", [](AircraftData &d, double v) { d.apAltLock = flag(v); }},
    {5, "AUTOPILOT AIRSPEED HOLD", "bool", "apSpdLock", [](AircraftData &d, double v) { d.apSpdLock = flag(v); }},
    {5, "AUTOPILOT APPROACH HOLD", "bool", "apAppr", [](AircraftData &d, double v) { d.apAppr = flag(v); }},
    {5, "AUTOPILOT NAV1 LOCK", "bool", "apNavLock", [](AircraftData &d, double v) { d.apNavLock = flag(v); }},
    {6, "FUEL LEFT QUANTITY", "gallons", "fuelL", [](AircraftData &d, double v) { d.fuelL = v; }},
    {6, "FUEL RIGHT QUANTITY", "gallons", "fuelR", [](AircraftData &d, double v) { d.fuelR = v; }},
    {6, "TOTAL WEIGHT", "pounds", "totalWt", [](AircraftData &d, double v) { d.totalWt = v * kKgPerPound; }},
    {6, "FUEL TOTAL QUANTITY WEIGHT", "pounds", nullptr, nullptr},
    {7, "G FORCE", "Gforce", "gForce", [](AircraftData &d, double v) { d.gForce = v; }},
    {7, "NAV CDI:1", "number", "loc", [](AircraftData &d, double v) { d.loc = v * kDotsPerNeedleUnit; }},
    {7, "NAV GSI:1", "number", nullptr, [](AircraftData &d, double v) { d.gsDev = v * kDotsPerNeedleUnit; }},
    {7, "KOHLSMAN SETTING MB", "millibars", "baro", [](AircraftData &d, double v) { d.baro = v; }},
    {7, "CG PERCENT", "percent", "cg", [](AircraftData &d, double v) { d.cg = v; }},
    {7, "AMBIENT TEMPERATURE", "celsius", "ambTemp", [](AircraftData &d, double v) { d.ambTemp = v; }},
    {7, "AMBIENT WIND DIRECTION", "degrees", "windDir", [](AircraftData &d, double v) { d.windDir = v; }},
    {7, "AMBIENT WIND VELOCITY", "knots", "windSpd", [](AircraftData &d, double v) { d.windSpd = v; }},
    {7, "AMBIENT VISIBILITY", "meters", "vis", [](AircraftData &d, double v) { d.vis = v; }},
    {7, "BAROMETER PRESSURE", "millibars", nullptr, [](AircraftData &d, double v) { d.baroSea = v; }},
};
// clang-format on

const char *const kTankPositionNames[kTankPositions] = {"LEFT MAIN", "LEFT AUX",  "LEFT TIP",   "CENTER",
                                                        "CENTER2",   "CENTER3",   "RIGHT MAIN", "RIGHT AUX",
                                                        "RIGHT TIP", "EXTERNAL1", "EXTERNAL2"};
// Datums after the per-tank pairs.
constexpr int kTankExtras = 3;

} // namespace

const QList<Row> &rows()
{
    return kRows;
}

int firstRowOfGroup(int group)
{
    for (int i = 0; i < kRows.size(); ++i) {
        if (kRows.at(i).group == group)
            return i;
    }
    return -1;
}

simconnect::DataDefinition groupDefinition(int group)
{
    simconnect::DataDefinition definition;
    for (const Row &row : kRows) {
        if (row.group == group)
            definition.add({QString::fromLatin1(row.name), QString::fromLatin1(row.units)});
    }
    return definition;
}

Sample::Sample() : m_values(kRows.size(), 0.0) {}

bool Sample::setGroup(int group, const QList<double> &values)
{
    const int first = firstRowOfGroup(group);
    if (first < 0)
        return false;
    int count = 0;
    while (first + count < kRows.size() && kRows.at(first + count).group == group)
        ++count;
    if (values.size() != count)
        return false;
    for (int i = 0; i < count; ++i)
        m_values[first + i] = values.at(i);
    m_groups |= 1u << group;
    return true;
}

bool Sample::hasGroup(int group) const
{
    return group >= 0 && group < 32 && (m_groups & (1u << group)) != 0;
}

double Sample::value(const char *name) const
{
    for (int i = 0; i < kRows.size(); ++i) {
        if (qstrcmp(kRows.at(i).name, name) == 0)
            return m_values.at(i);
    }
    return 0;
}

AircraftData toAircraftData(const Sample &sample, const AircraftData &base)
{
    AircraftData data = base;
    for (int i = 0; i < kRows.size(); ++i) {
        const Row &row = kRows.at(i);
        const double value = sample.valueAt(i);
        if (row.store && sample.hasGroup(row.group) && std::isfinite(value))
            row.store(data, value);
    }
    return data;
}

QJsonObject toBridgeData(const Sample &sample)
{
    QJsonObject line{{QStringLiteral("type"), QStringLiteral("data")}};
    for (int i = 0; i < kRows.size(); ++i) {
        const Row &row = kRows.at(i);
        const double value = sample.valueAt(i);
        if (row.bridgeKey && sample.hasGroup(row.group) && std::isfinite(value))
            line.insert(QLatin1String(row.bridgeKey), value);
    }
    return line;
}

const char *tankPosition(int index)
{
    return index >= 0 && index < kTankPositions ? kTankPositionNames[index] : "";
}

simconnect::DataDefinition tankDefinition()
{
    simconnect::DataDefinition definition;
    const QString gallons = QStringLiteral("gallons");
    for (const char *position : kTankPositionNames) {
        definition.add({QStringLiteral("FUEL TANK %1 CAPACITY").arg(QLatin1String(position)), gallons});
        definition.add({QStringLiteral("FUEL TANK %1 QUANTITY").arg(QLatin1String(position)), gallons});
    }
    definition.add({QStringLiteral("FUEL WEIGHT PER GALLON"), QStringLiteral("pounds")});
    definition.add({QStringLiteral("EMPTY WEIGHT"), QStringLiteral("pounds")});
    definition.add({QStringLiteral("MAX GROSS WEIGHT"), QStringLiteral("pounds")});
    return definition;
}

int TankLayout::usedPositions() const
{
    int used = int(capacityGal.size());
    while (used > 0 && !(capacityGal.at(used - 1) > 0))
        --used;
    return used;
}

double TankLayout::totalCapacityGal() const
{
    double gallons = 0;
    for (int i = 0; i < usedPositions(); ++i)
        gallons += std::max(0.0, capacityGal.at(i));
    return gallons;
}

QList<double> TankLayout::ratios() const
{
    const int used = usedPositions();
    double gallons = 0;
    for (int i = 0; i < used; ++i)
        gallons += std::max(0.0, capacityGal.at(i));
    QList<double> out;
    for (int i = 0; i < used; ++i)
        out.append(gallons > 0 ? std::max(0.0, capacityGal.at(i)) / gallons : 0.0);
    return out;
}

bool TankLayout::sameCapacities(const TankLayout &other) const
{
    if (usedPositions() != other.usedPositions())
        return false;
    for (int i = 0; i < usedPositions(); ++i) {
        if (std::abs(capacityGal.at(i) - other.capacityGal.at(i)) > 0.01)
            return false;
    }
    return std::abs(poundsPerGallon - other.poundsPerGallon) < 0.001;
}

std::optional<TankLayout> tankLayoutFrom(const QList<double> &values)
{
    if (values.size() != 2 * kTankPositions + kTankExtras)
        return std::nullopt;
    for (double value : values) {
        if (!std::isfinite(value))
            return std::nullopt;
    }
    TankLayout layout;
    for (int i = 0; i < kTankPositions; ++i) {
        layout.capacityGal.append(values.at(2 * i));
        layout.quantityGal.append(values.at(2 * i + 1));
    }
    layout.poundsPerGallon = values.at(2 * kTankPositions);
    layout.emptyWeightLb = values.at(2 * kTankPositions + 1);
    layout.maxGrossWeightLb = values.at(2 * kTankPositions + 2);
    return layout;
}

QJsonObject toBridgeFuelConfig(const TankLayout &layout)
{
    QJsonArray capacities;
    QJsonArray quantities;
    for (int i = 0; i < layout.usedPositions(); ++i) {
        capacities.append(layout.capacityGal.at(i));
        quantities.append(layout.quantityGal.at(i));
    }
    return {{QStringLiteral("type"), QStringLiteral("fuel_config")},
            {QStringLiteral("tankCap"), capacities},
            {QStringLiteral("tankQty"), quantities},
            {QStringLiteral("emptyWt"), layout.emptyWeightLb},
            {QStringLiteral("maxGrossWt"), layout.maxGrossWeightLb},
            {QStringLiteral("fuelWtPerGal"), layout.poundsPerGallon}};
}

} // namespace simvars
