#include "sim/simconnect/fake/fakesimvariables.h"

#include <QHash>
#include <QList>

#include <cmath>

namespace fakesim {

namespace {

struct UnitRow
{
    const char *name;
    Unit unit;
};

constexpr double kFeetPerSecondInKnots = 1.0 / 1.6878098571;
constexpr double kFeetPerMinuteInKnots = kFeetPerSecondInKnots / 60.0;
constexpr double kMetresPerSecondInKnots = 1.9438444924;

// clang-format off
const UnitRow kUnits[] = {
    {"number", {Dimension::Plain}},             {"bool", {Dimension::Plain}},
    {"enum", {Dimension::Plain}},               {"mach", {Dimension::Plain}},
    {"gforce", {Dimension::Plain}},             {"rpm", {Dimension::Plain}},
    {"degrees", {Dimension::Angle}},            {"degree", {Dimension::Angle}},
    {"radians", {Dimension::Angle, 57.29577951308232}},
    {"radian", {Dimension::Angle, 57.29577951308232}},
    {"degrees per second", {Dimension::AngularSpeed}},
    {"radians per second", {Dimension::AngularSpeed, 57.29577951308232}},
    {"feet", {Dimension::Length}},              {"foot", {Dimension::Length}},
    {"meters", {Dimension::Length, 3.280839895}}, {"meter", {Dimension::Length, 3.280839895}},
    {"nautical miles", {Dimension::Length, 6076.11548556}},
    {"knots", {Dimension::Speed}},              {"knot", {Dimension::Speed}},
    {"feet per second", {Dimension::Speed, kFeetPerSecondInKnots}},
    {"feet per minute", {Dimension::Speed, kFeetPerMinuteInKnots}},
    {"meters per second", {Dimension::Speed, kMetresPerSecondInKnots}},
    {"percent over 100", {Dimension::Ratio}},   {"position", {Dimension::Ratio}},
    {"part", {Dimension::Ratio}},               {"percent", {Dimension::Ratio, 0.01}},
    {"gallons", {Dimension::Volume}},           {"gallon", {Dimension::Volume}},
    {"liters", {Dimension::Volume, 0.264172052}},
    {"gallons per hour", {Dimension::Flow}},
    {"pounds", {Dimension::Weight}},            {"pound", {Dimension::Weight}},
    {"kilograms", {Dimension::Weight, 2.2046226218}},
    {"celsius", {Dimension::Temperature}},
    {"rankine", {Dimension::Temperature, 5.0 / 9.0, -273.15}},
    {"fahrenheit", {Dimension::Temperature, 5.0 / 9.0, -32.0 * 5.0 / 9.0}},
    {"kelvin", {Dimension::Temperature, 1.0, -273.15}},
    {"millibars", {Dimension::Pressure}},       {"hectopascals", {Dimension::Pressure}},
    {"inches of mercury", {Dimension::Pressure, 33.8638866667}},
    {"mhz", {Dimension::Frequency}},            {"khz", {Dimension::Frequency, 0.001}},
    {"hz", {Dimension::Frequency, 0.000001}},
};
// clang-format on

struct Seed
{
    const char *name;
    const char *units;
    bool settable;
    double initial;
};

// The user aircraft as the fake starts it: a twin jet circling near Shanghai Pudong.
// clang-format off
const Seed kSeeds[] = {
    {"PLANE LATITUDE", "degrees", true, 31.14},
    {"PLANE LONGITUDE", "degrees", true, 121.81},
    {"PLANE ALTITUDE", "feet", true, 2000},
    {"INDICATED ALTITUDE", "feet", false, 2000},
    {"PLANE ALT ABOVE GROUND", "feet", false, 1987},
    {"PLANE HEADING DEGREES MAGNETIC", "degrees", true, 346},
    {"PLANE HEADING DEGREES TRUE", "degrees", true, 340},
    {"AIRSPEED INDICATED", "knots", false, 150},
    {"AIRSPEED TRUE", "knots", false, 155},
    {"GROUND VELOCITY", "knots", false, 150},
    {"VERTICAL SPEED", "feet per second", false, 0},
    {"AIRSPEED MACH", "mach", false, 0.23},
    {"PLANE PITCH DEGREES", "degrees", true, -2.5},
    {"PLANE BANK DEGREES", "degrees", true, -20},
    {"SIM ON GROUND", "bool", false, 0},
    {"GENERAL ENG THROTTLE LEVER POSITION:1", "percent over 100", true, 0.65},
    {"GENERAL ENG THROTTLE LEVER POSITION:2", "percent over 100", true, 0.65},
    {"GEAR TOTAL PCT EXTENDED", "percent over 100", false, 0},
    {"FLAPS HANDLE PERCENT", "percent over 100", false, 0},
    {"FUEL TOTAL QUANTITY", "gallons", false, 0},
    {"ENGINE TYPE", "enum", false, 1},
    {"NUMBER OF ENGINES", "number", false, 2},
    {"TURB ENG N1:1", "percent over 100", true, 0.85},
    {"TURB ENG N1:2", "percent over 100", true, 0.85},
    {"GENERAL ENG EXHAUST GAS TEMPERATURE:1", "celsius", false, 650},
    {"GENERAL ENG EXHAUST GAS TEMPERATURE:2", "celsius", false, 650},
    {"ENG FUEL FLOW GPH:1", "gallons per hour", false, 300},
    {"ENG FUEL FLOW GPH:2", "gallons per hour", false, 300},
    {"GENERAL ENG COMBUSTION:1", "bool", false, 1},
    {"GENERAL ENG COMBUSTION:2", "bool", false, 1},
    {"GENERAL ENG RPM:1", "rpm", false, 4300},
    {"GENERAL ENG RPM:2", "rpm", false, 4300},
    {"ELEVATOR TRIM POSITION", "degrees", true, 1.5},
    {"AILERON TRIM", "degrees", true, 0},
    {"RUDDER TRIM", "degrees", true, 0},
    {"BRAKE PARKING POSITION", "position", true, 0},
    {"SPOILERS HANDLE POSITION", "percent over 100", true, 0},
    {"NAV ACTIVE FREQUENCY:1", "MHz", false, 110.5},
    {"NAV STANDBY FREQUENCY:1", "MHz", false, 113.9},
    {"NAV ACTIVE FREQUENCY:2", "MHz", false, 111.1},
    {"NAV STANDBY FREQUENCY:2", "MHz", false, 116.8},
    {"COM ACTIVE FREQUENCY:1", "MHz", false, 118.8},
    {"COM STANDBY FREQUENCY:1", "MHz", false, 121.5},
    {"COM ACTIVE FREQUENCY:2", "MHz", false, 127.6},
    {"COM STANDBY FREQUENCY:2", "MHz", false, 124.35},
    {"ADF ACTIVE FREQUENCY:1", "kHz", false, 350},
    {"TRANSPONDER CODE:1", "number", false, 2000},
    {"AUTOPILOT MASTER", "bool", false, 1},
    {"AUTOPILOT HEADING LOCK DIR", "degrees", false, 340},
    {"AUTOPILOT ALTITUDE LOCK VAR", "feet", false, 2000},
    {"AUTOPILOT AIRSPEED HOLD VAR", "knots", false, 150},
    {"AUTOPILOT VERTICAL HOLD VAR", "feet per minute", false, 0},
    {"AUTOPILOT HEADING LOCK", "bool", false, 1},
    {"AUTOPILOT ALTITUDE LOCK", "bool", false, 1},
    {"AUTOPILOT AIRSPEED HOLD", "bool", false, 1},
    {"AUTOPILOT APPROACH HOLD", "bool", false, 0},
    {"AUTOPILOT NAV1 LOCK", "bool", false, 0},
    {"FUEL LEFT QUANTITY", "gallons", false, 0},
    {"FUEL RIGHT QUANTITY", "gallons", false, 0},
    {"TOTAL WEIGHT", "pounds", false, 0},
    {"FUEL TOTAL QUANTITY WEIGHT", "pounds", false, 0},
    {"G FORCE", "gforce", false, 1.06},
    {"NAV CDI:1", "number", false, 0},
    {"NAV GSI:1", "number", false, 0},
    {"KOHLSMAN SETTING MB", "millibars", false, 1013.25},
    {"CG PERCENT", "percent over 100", false, 0.25},
    {"AMBIENT TEMPERATURE", "celsius", false, 15},
    {"AMBIENT WIND DIRECTION", "degrees", false, 270},
    {"AMBIENT WIND VELOCITY", "knots", false, 10},
    {"AMBIENT VISIBILITY", "meters", false, 20000},
    {"BAROMETER PRESSURE", "millibars", false, 1013.25},
    {"SEA LEVEL PRESSURE", "millibars", false, 1013.25},
    {"FUEL WEIGHT PER GALLON", "pounds", false, 6.7},
    {"EMPTY WEIGHT", "pounds", false, 90000},
    {"MAX GROSS WEIGHT", "pounds", false, 170000},
    {"PUSHBACK STATE", "enum", true, 3},
    {"PUSHBACK WAIT", "bool", true, 0},
    {"PUSHBACK ATTACHED", "bool", false, 0},
    {"VELOCITY BODY X", "feet per second", true, 0},
    {"VELOCITY BODY Y", "feet per second", true, 0},
    {"VELOCITY BODY Z", "feet per second", true, 0},
    {"ROTATION VELOCITY BODY X", "radians per second", true, 0},
    {"ROTATION VELOCITY BODY Y", "radians per second", true, 0},
    {"ROTATION VELOCITY BODY Z", "radians per second", true, 0},
    {"IS LATITUDE LONGITUDE FREEZE ON", "bool", false, 0},
    {"IS ALTITUDE FREEZE ON", "bool", false, 0},
    {"IS ATTITUDE FREEZE ON", "bool", false, 0},
    {"IS SLEW ACTIVE", "bool", true, 0},
    {"ENG FAILED:1", "bool", false, 0},
    {"ENG FAILED:2", "bool", false, 0},
    {"ATC ID", "", false, 0},
    {"ATC MODEL", "", false, 0},
    {"ATC AIRLINE", "", false, 0},
    {"ATC FLIGHT NUMBER", "", false, 0},
};
// clang-format on

const char *const kTankPositions[] = {"LEFT MAIN",  "LEFT AUX",  "LEFT TIP",  "CENTER",    "CENTER2",  "CENTER3",
                                      "RIGHT MAIN", "RIGHT AUX", "RIGHT TIP", "EXTERNAL1", "EXTERNAL2"};
// Gallons of the left main, centre and right main tanks; the other positions are empty.
double tankCapacity(const char *position)
{
    if (qstrcmp(position, "LEFT MAIN") == 0 || qstrcmp(position, "RIGHT MAIN") == 0)
        return 1800;
    if (qstrcmp(position, "CENTER") == 0)
        return 2200;
    return 0;
}
constexpr int kPayloadStations = 10;

QHash<QString, Variable> buildCatalogue()
{
    QHash<QString, Variable> catalogue;
    auto add = [&catalogue](const QString &name, const QString &units, bool settable, double initial) {
        catalogue.insert(name, {name, units, settable, initial});
    };
    for (const Seed &seed : kSeeds)
        add(QLatin1String(seed.name), QLatin1String(seed.units), seed.settable, seed.initial);
    for (const char *position : kTankPositions) {
        const QString p = QLatin1String(position);
        const double capacity = tankCapacity(position);
        add(QStringLiteral("FUEL TANK %1 CAPACITY").arg(p), QStringLiteral("gallons"), false, capacity);
        add(QStringLiteral("FUEL TANK %1 QUANTITY").arg(p), QStringLiteral("gallons"), true, capacity * 0.6);
        add(QStringLiteral("FUEL TANK %1 LEVEL").arg(p), QStringLiteral("percent over 100"), true,
            capacity > 0 ? 0.6 : 0);
    }
    for (int i = 1; i <= kPayloadStations; ++i)
        add(QStringLiteral("PAYLOAD STATION WEIGHT:%1").arg(i), QStringLiteral("pounds"), true, i <= 5 ? 3000 : 0);
    return catalogue;
}

const QHash<QString, Variable> &catalogue()
{
    static const QHash<QString, Variable> instance = buildCatalogue();
    return instance;
}

} // namespace

std::optional<Unit> unitNamed(const QString &name)
{
    const QString key = name.trimmed().toLower();
    for (const UnitRow &row : kUnits) {
        if (key == QLatin1String(row.name))
            return row.unit;
    }
    return std::nullopt;
}

std::optional<double> convert(double value, const Unit &from, const Unit &to)
{
    if (from.dimension != to.dimension)
        return std::nullopt;
    const double base = value * from.factor + from.offset;
    return (base - to.offset) / to.factor;
}

QString canonicalName(const QString &name)
{
    return name.trimmed().toUpper();
}

QList<Variable> allVariables()
{
    return catalogue().values();
}

std::optional<Variable> variableNamed(const QString &name)
{
    const auto it = catalogue().constFind(canonicalName(name));
    if (it == catalogue().cend())
        return std::nullopt;
    return *it;
}

} // namespace fakesim
