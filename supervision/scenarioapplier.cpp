#include "supervision/scenarioapplier.h"

#include "control/failuremanager.h"
#include "control/fuelmanager.h"
#include "control/positionaircraft.h"
#include "sim/simoperationdispatcher.h"

#include <QRandomGenerator>
#include <QTimer>

#include <algorithm>

namespace {

// FailureManager::ConditionTrigger comparisons.
constexpr int kGreaterThan = 0;
constexpr int kLessThan = 1;

} // namespace

ScenarioApplyResult applyScenario(const Scenario &scenario, IScenarioTarget &target)
{
    ScenarioApplyResult result;
    const auto note = [&result](bool ok, const QString &part) { (ok ? result.applied : result.refused).append(part); };
    target.beginScenario(scenario);
    if (scenario.position)
        note(target.placeAircraft(*scenario.position), QStringLiteral("position"));
    if (scenario.weather)
        note(target.applyWeather(*scenario.weather), QStringLiteral("weather"));
    if (scenario.fuelTotalGal || !scenario.fuelTanksGal.isEmpty())
        note(target.setFuel(scenario), QStringLiteral("fuel"));
    if (scenario.payloadTotalKg || !scenario.payloadStationsKg.isEmpty())
        note(target.setPayload(scenario), QStringLiteral("payload"));
    for (const ScenarioFailure &failure : scenario.failures)
        note(target.armFailure(failure), QStringLiteral("failure %1").arg(failure.id));
    return result;
}

ControlScenarioTarget::ControlScenarioTarget(SimOperationDispatcher *dispatcher, PositionAircraft *positioning,
                                             FuelManager *fuel, FailureManager *failures, QObject *parent)
    : QObject(parent), m_dispatcher(dispatcher), m_positioning(positioning), m_fuel(fuel), m_failures(failures)
{
}

QString ControlScenarioTarget::targetName() const
{
    return m_dispatcher && m_dispatcher->isRemote() ? m_dispatcher->target() : QStringLiteral("local");
}

bool ControlScenarioTarget::connected() const
{
    return m_dispatcher && m_dispatcher->isConnected();
}

void ControlScenarioTarget::beginScenario(const Scenario &scenario)
{
    cancelPendingFailures();
    m_start = scenario.position;
}

bool ControlScenarioTarget::placeAircraft(const Scenario::Position &p)
{
    if (!m_positioning || !connected())
        return false;
    m_positioning->positionAt(p.lat, p.lon, p.altitudeFt, p.headingDeg, p.onGround, p.airspeedKts);
    return true;
}

bool ControlScenarioTarget::applyWeather(const WeatherState &weather)
{
    return connected() && m_dispatcher->setWeather(weather.toJson());
}

bool ControlScenarioTarget::setFuel(const Scenario &scenario)
{
    if (!m_fuel || !connected() || m_fuel->tanks().isEmpty() || m_fuel->totalCapacity() <= 0)
        return false;
    if (scenario.fuelTotalGal) {
        m_fuel->loadFuelGallons(*scenario.fuelTotalGal);
        return true;
    }
    QList<FuelManager::TankInfo> tanks = m_fuel->tanks();
    for (int i = 0; i < tanks.size() && i < scenario.fuelTanksGal.size(); ++i)
        tanks[i].current = std::clamp(scenario.fuelTanksGal.at(i), 0.0, tanks[i].capacity);
    m_fuel->setTanks(tanks);
    m_fuel->writeFuelToSim();
    return true;
}

bool ControlScenarioTarget::setPayload(const Scenario &scenario)
{
    if (!m_fuel || !connected() || m_fuel->payloadStations().isEmpty())
        return false;
    if (scenario.payloadTotalKg) {
        m_fuel->loadPayloadTotal(*scenario.payloadTotalKg);
        return true;
    }
    QList<FuelManager::PayloadStation> stations = m_fuel->payloadStations();
    for (int i = 0; i < stations.size() && i < scenario.payloadStationsKg.size(); ++i)
        stations[i].weightKg = std::max(0.0, scenario.payloadStationsKg.at(i));
    m_fuel->setPayloadStations(stations);
    m_fuel->writePayloadToSim();
    return true;
}

bool ControlScenarioTarget::armFailure(const ScenarioFailure &failure)
{
    if (!m_failures || !connected() || m_failures->failure(failure.id).id.isEmpty())
        return false;
    if (failure.trigger == ScenarioFailure::Trigger::Now) {
        m_failures->triggerFailure(failure.id);
        return true;
    }
    if (m_dispatcher->isRemote())
        return false;
    switch (failure.trigger) {
    case ScenarioFailure::Trigger::AtAltitude:
    case ScenarioFailure::Trigger::AtSpeed: {
        const bool altitude = failure.trigger == ScenarioFailure::Trigger::AtAltitude;
        const AircraftData now = m_dispatcher->aircraftData();
        const double from =
            m_start ? (altitude ? m_start->altitudeFt : m_start->airspeedKts) : (altitude ? now.alt : now.ias);
        FailureManager::ConditionTrigger trigger;
        trigger.failureId = failure.id;
        trigger.parameter = altitude ? QStringLiteral("altitude") : QStringLiteral("speed");
        trigger.threshold = failure.value;
        trigger.comparison = from > failure.value ? kLessThan : kGreaterThan;
        m_failures->addConditionTrigger(trigger);
        return true;
    }
    case ScenarioFailure::Trigger::AfterTime:
        schedule(failure.id, int(failure.value * 1000));
        return true;
    case ScenarioFailure::Trigger::Random:
        schedule(failure.id, int(QRandomGenerator::global()->bounded(failure.windowSec) * 1000));
        return true;
    case ScenarioFailure::Trigger::Now:
        break;
    }
    return false;
}

void ControlScenarioTarget::schedule(const QString &failureId, int delayMs)
{
    auto *timer = new QTimer(this);
    timer->setSingleShot(true);
    connect(timer, &QTimer::timeout, this, [this, timer, failureId] {
        m_pending.removeOne(timer);
        timer->deleteLater();
        if (m_failures)
            m_failures->triggerFailure(failureId);
    });
    m_pending.append(timer);
    timer->start(delayMs);
}

void ControlScenarioTarget::cancelPendingFailures()
{
    qDeleteAll(m_pending);
    m_pending.clear();
}
