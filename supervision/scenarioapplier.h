#pragma once

#include "supervision/scenario.h"

#include <QPointer>
#include <QString>
#include <QStringList>

class ISimBackend;

// Where a scenario is applied: the local simulator or a remote station. Each operation answers
// whether it was sent; false means the target cannot do it.
class IScenarioTarget
{
public:
    virtual ~IScenarioTarget() = default;

    virtual QString targetName() const = 0;
    virtual bool placeAircraft(const Scenario::Position &position) = 0;
    virtual bool applyWeather(const WeatherState &weather) = 0;
    // Fuel and payload as the scenario holds them (a total or per tank/station).
    virtual bool setFuel(const Scenario &scenario) = 0;
    virtual bool setPayload(const Scenario &scenario) = 0;
    virtual bool armFailure(const ScenarioFailure &failure) = 0;
};

// What applying a scenario did: the parts sent and the parts the target refused, by name
// ("position", "weather", "fuel", "payload", "failure <id>").
struct ScenarioApplyResult
{
    QStringList applied;
    QStringList refused;
    bool complete() const { return refused.isEmpty(); }
};

// Applies every part a scenario holds, in the order position, weather, fuel, payload, failures
// (so a failure that fires at an altitude is armed after the aircraft was placed).
ScenarioApplyResult applyScenario(const Scenario &scenario, IScenarioTarget &target);

// The local simulator through the backend's own operations: position (setPosition) and weather
// (setWeather). Fuel, payload and failures need the simulator-specific write paths of the aircraft
// control services; until those are wired in here this target refuses them.
//
// The backend is borrowed (guarded: a backend that went away refuses everything).
class BackendScenarioTarget : public IScenarioTarget
{
public:
    explicit BackendScenarioTarget(ISimBackend *backend);

    QString targetName() const override;
    bool placeAircraft(const Scenario::Position &position) override;
    bool applyWeather(const WeatherState &weather) override;
    bool setFuel(const Scenario &scenario) override;
    bool setPayload(const Scenario &scenario) override;
    bool armFailure(const ScenarioFailure &failure) override;

private:
    QPointer<ISimBackend> m_backend;
};
