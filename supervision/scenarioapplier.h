#pragma once

#include "supervision/scenario.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

#include <optional>

class FailureManager;
class FuelManager;
class PositionAircraft;
class QTimer;
class SimOperationDispatcher;

// Where a scenario is applied: the local simulator or a remote station. Each operation answers
// whether it was sent; false means the target cannot do it.
class IScenarioTarget
{
public:
    virtual ~IScenarioTarget() = default;

    virtual QString targetName() const = 0;
    // Called once before the parts of a scenario are applied.
    virtual void beginScenario(const Scenario &) {}
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

// The station's aircraft controls as a scenario target: the position goes through
// PositionAircraft, the weather through the dispatcher, fuel and payload through FuelManager and
// the failures through FailureManager, so the dispatcher's target decides, as for every other
// instructor action, whether the local simulator or a remote station receives them.
//
// Failures: "now" fails the system at once; "altitude" and "speed" become condition triggers of
// the failure manager, firing when the aircraft passes the value in the direction it has to go
// from the scenario's start (descending through it when it starts above, climbing otherwise);
// "time" fires that many seconds after applying, "random" at a uniformly random moment within its
// window. Applying another scenario drops the timed failures that have not fired yet. The
// failure manager evaluates conditions on the local simulator's samples, so for a remote station
// only "now" failures are sent and the others are refused.
//
// Fuel needs the tank layout the simulator reported (refused before it did); per-tank amounts
// beyond the aircraft's tanks are ignored and each tank is clamped to its capacity.
//
// GUI thread; the services are borrowed (guarded: one that went away refuses its parts).
class ControlScenarioTarget : public QObject, public IScenarioTarget
{
    Q_OBJECT
public:
    ControlScenarioTarget(SimOperationDispatcher *dispatcher, PositionAircraft *positioning, FuelManager *fuel,
                          FailureManager *failures, QObject *parent = nullptr);

    QString targetName() const override;
    void beginScenario(const Scenario &scenario) override;
    bool placeAircraft(const Scenario::Position &position) override;
    bool applyWeather(const WeatherState &weather) override;
    bool setFuel(const Scenario &scenario) override;
    bool setPayload(const Scenario &scenario) override;
    bool armFailure(const ScenarioFailure &failure) override;

    // The timed failures still to fire.
    int pendingFailures() const { return int(m_pending.size()); }
    void cancelPendingFailures();

private:
    bool connected() const;
    void schedule(const QString &failureId, int delayMs);

    QPointer<SimOperationDispatcher> m_dispatcher;
    QPointer<PositionAircraft> m_positioning;
    QPointer<FuelManager> m_fuel;
    QPointer<FailureManager> m_failures;
    std::optional<Scenario::Position> m_start;
    QList<QTimer *> m_pending;
};
