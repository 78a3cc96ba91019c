#include "supervision/scenario.h"

#include <QJsonArray>

#include <cmath>

namespace {

constexpr int kMaxListSize = 64; // tanks, stations, failures
constexpr double kMaxFuelGal = 100000.0;
constexpr double kMaxPayloadKg = 200000.0;
constexpr int kMaxNameLength = 120;

struct Range
{
    double min;
    double max;
};

// A number within its range, or the reason it is not.
bool readNumber(const QJsonObject &object, const char *key, Range range, double *out, QString *error, bool required)
{
    const QJsonValue value = object.value(QLatin1String(key));
    if (value.isUndefined() && !required)
        return true;
    if (!value.isDouble() || !std::isfinite(value.toDouble()) || value.toDouble() < range.min ||
        value.toDouble() > range.max) {
        *error = QStringLiteral("\"%1\" must be a number from %2 to %3")
                     .arg(QLatin1String(key))
                     .arg(range.min)
                     .arg(range.max);
        return false;
    }
    *out = value.toDouble();
    return true;
}

bool readList(const QJsonObject &object, const char *key, double max, QList<double> *out, QString *error)
{
    const QJsonArray array = object.value(QLatin1String(key)).toArray();
    if (array.size() > kMaxListSize) {
        *error = QStringLiteral("\"%1\" has more than %2 entries").arg(QLatin1String(key)).arg(kMaxListSize);
        return false;
    }
    for (const QJsonValue &value : array) {
        if (!value.isDouble() || value.toDouble() < 0.0 || value.toDouble() > max) {
            *error = QStringLiteral("\"%1\" holds a value out of range").arg(QLatin1String(key));
            return false;
        }
        out->append(value.toDouble());
    }
    return true;
}

QJsonArray toArray(const QList<double> &values)
{
    QJsonArray array;
    for (const double v : values)
        array.append(v);
    return array;
}

const struct
{
    ScenarioFailure::Trigger trigger;
    const char *name;
} kTriggers[] = {{ScenarioFailure::Trigger::Now, "now"},
                 {ScenarioFailure::Trigger::AtAltitude, "altitude"},
                 {ScenarioFailure::Trigger::AtSpeed, "speed"},
                 {ScenarioFailure::Trigger::AfterTime, "time"},
                 {ScenarioFailure::Trigger::Random, "random"}};

bool readPosition(const QJsonObject &o, Scenario::Position *p, QString *error)
{
    return readNumber(o, "lat", {-90, 90}, &p->lat, error, true) &&
           readNumber(o, "lon", {-180, 180}, &p->lon, error, true) &&
           readNumber(o, "altitudeFt", {-1500, 60000}, &p->altitudeFt, error, true) &&
           readNumber(o, "headingDeg", {0, 360}, &p->headingDeg, error, false) &&
           readNumber(o, "airspeedKts", {0, 1000}, &p->airspeedKts, error, false) &&
           (p->onGround = o.value(QLatin1String("onGround")).toBool(), true);
}

bool readFailures(const QJsonArray &array, QList<ScenarioFailure> *failures, QString *error)
{
    if (array.size() > kMaxListSize) {
        *error = QStringLiteral("more than %1 failures").arg(kMaxListSize);
        return false;
    }
    for (const QJsonValue &value : array) {
        const QJsonObject o = value.toObject();
        ScenarioFailure failure;
        failure.id = o.value(QLatin1String("id")).toString().trimmed();
        if (failure.id.isEmpty() || failure.id.size() > kMaxNameLength) {
            *error = QStringLiteral("a failure without an id");
            return false;
        }
        const QString trigger = o.value(QLatin1String("trigger")).toString(QStringLiteral("now"));
        bool known = false;
        for (const auto &entry : kTriggers) {
            if (trigger == QLatin1String(entry.name)) {
                failure.trigger = entry.trigger;
                known = true;
            }
        }
        if (!known) {
            *error = QStringLiteral("failure %1: unknown trigger \"%2\"").arg(failure.id, trigger.left(20));
            return false;
        }
        const bool needsValue =
            failure.trigger != ScenarioFailure::Trigger::Now && failure.trigger != ScenarioFailure::Trigger::Random;
        if (!readNumber(o, "value", {0, 100000}, &failure.value, error, needsValue) ||
            !readNumber(o, "windowSec", {0, 86400}, &failure.windowSec, error,
                        failure.trigger == ScenarioFailure::Trigger::Random))
            return false;
        failures->append(failure);
    }
    return true;
}

} // namespace

QString Scenario::triggerName(ScenarioFailure::Trigger trigger)
{
    for (const auto &entry : kTriggers) {
        if (entry.trigger == trigger)
            return QString::fromLatin1(entry.name);
    }
    return QStringLiteral("now");
}

QJsonObject Scenario::toJson() const
{
    QJsonObject o;
    o.insert(QStringLiteral("format"), QString::fromLatin1(kFormat));
    o.insert(QStringLiteral("version"), kVersion);
    o.insert(QStringLiteral("name"), name);
    if (!description.isEmpty())
        o.insert(QStringLiteral("description"), description);
    if (position) {
        o.insert(QStringLiteral("position"), QJsonObject{{"lat", position->lat},
                                                         {"lon", position->lon},
                                                         {"altitudeFt", position->altitudeFt},
                                                         {"headingDeg", position->headingDeg},
                                                         {"airspeedKts", position->airspeedKts},
                                                         {"onGround", position->onGround}});
    }
    if (weather)
        o.insert(QStringLiteral("weather"), weather->toJson());
    if (!failures.isEmpty()) {
        QJsonArray list;
        for (const ScenarioFailure &f : failures) {
            QJsonObject entry{{"id", f.id}, {"trigger", triggerName(f.trigger)}};
            if (f.trigger != ScenarioFailure::Trigger::Now && f.trigger != ScenarioFailure::Trigger::Random)
                entry.insert(QStringLiteral("value"), f.value);
            if (f.trigger == ScenarioFailure::Trigger::Random)
                entry.insert(QStringLiteral("windowSec"), f.windowSec);
            list.append(entry);
        }
        o.insert(QStringLiteral("failures"), list);
    }
    if (fuelTotalGal)
        o.insert(QStringLiteral("fuel"), QJsonObject{{"totalGal", *fuelTotalGal}});
    else if (!fuelTanksGal.isEmpty())
        o.insert(QStringLiteral("fuel"), QJsonObject{{"tanksGal", toArray(fuelTanksGal)}});
    if (payloadTotalKg)
        o.insert(QStringLiteral("payload"), QJsonObject{{"totalKg", *payloadTotalKg}});
    else if (!payloadStationsKg.isEmpty())
        o.insert(QStringLiteral("payload"), QJsonObject{{"stationsKg", toArray(payloadStationsKg)}});
    return o;
}

std::optional<Scenario> Scenario::fromJson(const QJsonObject &o, QString *error)
{
    if (o.value(QLatin1String("format")).toString() != QLatin1String(kFormat)) {
        *error = QStringLiteral("not a scenario file");
        return std::nullopt;
    }
    if (o.value(QLatin1String("version")).toInt() != kVersion) {
        *error = QStringLiteral("scenario version %1 is not supported").arg(o.value(QLatin1String("version")).toInt());
        return std::nullopt;
    }
    Scenario s;
    s.name = o.value(QLatin1String("name")).toString().trimmed();
    if (s.name.isEmpty() || s.name.size() > kMaxNameLength) {
        *error = QStringLiteral("the scenario has no name");
        return std::nullopt;
    }
    s.description = o.value(QLatin1String("description")).toString().left(2000);
    if (o.contains(QLatin1String("position"))) {
        Position p;
        if (!readPosition(o.value(QLatin1String("position")).toObject(), &p, error))
            return std::nullopt;
        s.position = p;
    }
    if (o.value(QLatin1String("weather")).isObject())
        s.weather = WeatherState::fromJson(o.value(QLatin1String("weather")).toObject());
    if (!readFailures(o.value(QLatin1String("failures")).toArray(), &s.failures, error))
        return std::nullopt;
    const QJsonObject fuel = o.value(QLatin1String("fuel")).toObject();
    double total = 0.0;
    if (fuel.contains(QLatin1String("totalGal"))) {
        if (!readNumber(fuel, "totalGal", {0, kMaxFuelGal}, &total, error, true))
            return std::nullopt;
        s.fuelTotalGal = total;
    } else if (!readList(fuel, "tanksGal", kMaxFuelGal, &s.fuelTanksGal, error)) {
        return std::nullopt;
    }
    const QJsonObject payload = o.value(QLatin1String("payload")).toObject();
    if (payload.contains(QLatin1String("totalKg"))) {
        if (!readNumber(payload, "totalKg", {0, kMaxPayloadKg}, &total, error, true))
            return std::nullopt;
        s.payloadTotalKg = total;
    } else if (!readList(payload, "stationsKg", kMaxPayloadKg, &s.payloadStationsKg, error)) {
        return std::nullopt;
    }
    return s;
}
