#include "supervision/scenarioapplier.h"

#include "sim/isimbackend.h"

namespace {

constexpr double kMetresPerFoot = 0.3048;

} // namespace

ScenarioApplyResult applyScenario(const Scenario &scenario, IScenarioTarget &target)
{
    ScenarioApplyResult result;
    const auto note = [&result](bool ok, const QString &part) { (ok ? result.applied : result.refused).append(part); };
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

BackendScenarioTarget::BackendScenarioTarget(ISimBackend *backend) : m_backend(backend) {}

QString BackendScenarioTarget::targetName() const
{
    return QStringLiteral("local");
}

bool BackendScenarioTarget::placeAircraft(const Scenario::Position &p)
{
    if (!m_backend || !m_backend->isConnected())
        return false;
    // setPosition takes its altitude in metres.
    m_backend->setPosition(p.lat, p.lon, p.altitudeFt * kMetresPerFoot, 0.0, 0.0, p.headingDeg, p.onGround,
                           p.airspeedKts);
    return true;
}

bool BackendScenarioTarget::applyWeather(const WeatherState &weather)
{
    return m_backend && m_backend->isConnected() && m_backend->setWeather(weather);
}

bool BackendScenarioTarget::setFuel(const Scenario &)
{
    return false;
}

bool BackendScenarioTarget::setPayload(const Scenario &)
{
    return false;
}

bool BackendScenarioTarget::armFailure(const ScenarioFailure &)
{
    return false;
}
