#pragma once

#include "sim/weatherstate.h"

#include <QJsonObject>
#include <QList>
#include <QMetaType>
#include <QString>

#include <optional>

// A lesson's starting situation, applied in one step: where the aircraft is, the weather, the
// failures to arm and when they fire, the fuel and the payload. Each part is optional; a scenario
// changes only what it holds. Units: degrees, feet, knots, US gallons, kilograms.
//
// Saved as a JSON file of its own:
//   { "format": "zobrel-scenario", "version": 1, "name": …, "description": …,
//     "position": { "lat", "lon", "altitudeFt", "headingDeg", "airspeedKts", "onGround" },
//     "weather": { the agent "weather" command's keys (WeatherState) },
//     "failures": [ { "id", "trigger": "now"|"altitude"|"speed"|"time"|"random",
//                     "value", "windowSec" } ],
//     "fuel": { "totalGal" } or { "tanksGal": [ … ] },
//     "payload": { "totalKg" } or { "stationsKg": [ … ] } }
struct ScenarioFailure
{
    enum class Trigger { Now, AtAltitude, AtSpeed, AfterTime, Random };

    QString id; // the failure's id in the failure list
    Trigger trigger = Trigger::Now;
    double value = 0.0;     // altitude ft, speed kt or seconds after applying
    double windowSec = 0.0; // Random: fires at a random time within this window
};

struct Scenario
{
    struct Position
    {
        double lat = 0.0;
        double lon = 0.0;
        double altitudeFt = 0.0;
        double headingDeg = 0.0;
        double airspeedKts = 0.0;
        bool onGround = false;
    };

    static constexpr char kFormat[] = "zobrel-scenario";
    static constexpr int kVersion = 1;

    QString name;
    QString description;
    std::optional<Position> position;
    std::optional<WeatherState> weather;
    QList<ScenarioFailure> failures;
    std::optional<double> fuelTotalGal;
    QList<double> fuelTanksGal; // per tank; used when fuelTotalGal is unset
    std::optional<double> payloadTotalKg;
    QList<double> payloadStationsKg;

    QJsonObject toJson() const;
    // Refuses (nullopt, reason in error) a document of another format or version, a missing name,
    // and values out of their physical range; unknown keys are ignored.
    static std::optional<Scenario> fromJson(const QJsonObject &object, QString *error);

    static QString triggerName(ScenarioFailure::Trigger trigger);
};

Q_DECLARE_METATYPE(Scenario)
