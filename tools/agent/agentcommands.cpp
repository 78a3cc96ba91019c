#include "tools/agent/agentcommands.h"

#include "control/failuremanager.h"
#include "control/fuelmanager.h"
#include "sim/isimbackend.h"
#include "sim/simoperationdispatcher.h"

#include <QJsonArray>

#include <algorithm>
#include <cmath>

namespace {

constexpr double kFeetToMetres = 0.3048;

bool number(const QJsonObject &object, const char *key, double *value)
{
    const QJsonValue item = object.value(QLatin1String(key));
    if (!item.isDouble() || !std::isfinite(item.toDouble()))
        return false;
    *value = item.toDouble();
    return true;
}

double numberOr(const QJsonObject &object, const char *key, double fallback)
{
    double value = fallback;
    number(object, key, &value);
    return value;
}

QString text(const QJsonObject &object, const char *key)
{
    return object.value(QLatin1String(key)).toString();
}

AgentCommands::Result missing(const char *what)
{
    return {false, QStringLiteral("Missing or invalid parameter: %1").arg(QLatin1String(what))};
}

const QString kNotOnThisSimulator = QStringLiteral("Not available on this simulator");

} // namespace

AgentCommands::AgentCommands(const QString &settingsPath, QObject *parent) : QObject(parent)
{
    m_dispatcher = new SimOperationDispatcher(this);
    m_failures = new FailureManager(this);
    m_failures->setDispatcher(m_dispatcher);
    m_fuel = new FuelManager(settingsPath, this);
    m_fuel->setDispatcher(m_dispatcher);
}

void AgentCommands::setBackend(ISimBackend *backend)
{
    m_backend = backend;
    m_dispatcher->setLocalBackend(backend);
    m_failures->setBackend(backend);
    m_fuel->setBackend(backend);
}

QStringList AgentCommands::activeFailures() const
{
    QStringList ids;
    for (const FailureDef &def : m_failures->failures()) {
        if (def.state != 0)
            ids.append(def.id);
    }
    return ids;
}

AgentCommands::Result AgentCommands::execute(const QString &action, const QJsonObject &command)
{
    ISimBackend *backend = m_backend.data();
    if (!backend || !backend->isConnected())
        return {false, QStringLiteral("No simulator connected")};
    if (action == QLatin1String("reposition"))
        return reposition(command);
    if (action == QLatin1String("failure"))
        return failure(command);
    if (action == QLatin1String("load_fuel"))
        return loadFuel(command);
    if (action == QLatin1String("set_fuel"))
        return setFuel(command);
    if (action == QLatin1String("transmit_event")) {
        double data = 0;
        if (text(command, "eventId").isEmpty() || !number(command, "data", &data))
            return missing("eventId/data");
        m_dispatcher->transmitEvent(text(command, "eventId"), static_cast<quint32>(static_cast<qint64>(data)));
        return {true, {}};
    }
    if (action == QLatin1String("set_data")) {
        const QString name = text(command, "dataRef");
        double value = 0;
        if (name.isEmpty() || !number(command, "value", &value))
            return missing("dataRef/value");
        if (!backend->canSetData(name))
            return {false, kNotOnThisSimulator};
        if (command.contains(QLatin1String("units")))
            m_dispatcher->setData(name, value, text(command, "units"));
        else
            m_dispatcher->setData(name, value);
        return {true, {}};
    }
    if (action == QLatin1String("set_frequency")) {
        double freqMHz = 0;
        if (!number(command, "freqMHz", &freqMHz) || freqMHz <= 0)
            return missing("freqMHz");
        m_dispatcher->setFrequency(text(command, "simvarPrefix"), text(command, "eventName"),
                                   text(command, "xpDataRef"), freqMHz);
        return {true, {}};
    }
    if (action == QLatin1String("camera_6dof") || action == QLatin1String("camera_smooth_6dof")) {
        const auto f = [&](const char *key) { return static_cast<float>(numberOr(command, key, 0.0)); };
        if (action == QLatin1String("camera_6dof"))
            m_dispatcher->setCameraRelative6DOF(f("dx"), f("dy"), f("dz"), f("pitch"), f("bank"), f("heading"));
        else
            m_dispatcher->setCameraSmoothRelative6DOF(f("dx"), f("dy"), f("dz"), f("pitch"), f("bank"), f("heading"),
                                                      f("smoothTime"));
        return {true, {}};
    }
    if (action == QLatin1String("freeze")) {
        const bool position = command.value(QLatin1String("position")).toBool();
        if (!backend->setFrozen(position, command.value(QLatin1String("attitude")).toBool()))
            return {false, kNotOnThisSimulator};
        m_positionFrozen = position;
        return {true, {}};
    }
    if (action == QLatin1String("pause")) {
        const bool state = command.value(QLatin1String("state")).toBool();
        if (!backend->setPaused(state))
            return {false, kNotOnThisSimulator};
        m_paused = state;
        return {true, {}};
    }
    if (action == QLatin1String("weather")) {
        if (!m_dispatcher->setWeather(command))
            return {false, kNotOnThisSimulator};
        return {true, {}};
    }
    return {false, QStringLiteral("Unknown action \"%1\"").arg(action.left(32))};
}

// The local write the station's positioning makes: setPosition with the altitude in metres.
AgentCommands::Result AgentCommands::reposition(const QJsonObject &command)
{
    double lat = 0;
    double lon = 0;
    double altFt = 0;
    if (!number(command, "lat", &lat) || !number(command, "lon", &lon) || !number(command, "alt", &altFt) ||
        std::abs(lat) > 90 || std::abs(lon) > 180)
        return missing("lat/lon/alt");
    const double heading = numberOr(command, "hdg", 0.0);
    const bool onGround = command.value(QLatin1String("onGround")).toBool();
    const double speedKt = std::max(0.0, numberOr(command, "speed", 0.0));
    m_backend->setPosition(lat, lon, altFt * kFeetToMetres, 0, 0, heading, onGround, speedKt);
    return {true, QStringLiteral("%1, %2 @ %3 ft hdg %4")
                      .arg(lat, 0, 'f', 5)
                      .arg(lon, 0, 'f', 5)
                      .arg(std::lround(altFt))
                      .arg(std::lround(heading))};
}

AgentCommands::Result AgentCommands::failure(const QJsonObject &command)
{
    const QString id = text(command, "component");
    if (m_failures->failure(id).id.isEmpty())
        return {false, QStringLiteral("Unknown failure \"%1\"").arg(id.left(64))};
    if (!m_failures->isAvailable(id))
        return {false, kNotOnThisSimulator};
    if (command.value(QLatin1String("state")).toBool())
        m_failures->triggerFailure(id);
    else
        m_failures->resetFailure(id);
    return {true, {}};
}

AgentCommands::Result AgentCommands::loadFuel(const QJsonObject &command)
{
    double percent = 0;
    if (!number(command, "percent", &percent))
        return missing("percent");
    if (m_fuel->tanks().isEmpty())
        return {false, QStringLiteral("The aircraft's fuel tanks are not known yet")};
    m_fuel->loadFuel(static_cast<int>(std::lround(std::clamp(percent, 0.0, 100.0))));
    return {true, QStringLiteral("%1 US gal").arg(std::lround(m_fuel->totalCurrent()))};
}

// Per tank: "gallons" where given, otherwise "percent" of that tank's capacity.
AgentCommands::Result AgentCommands::setFuel(const QJsonObject &command)
{
    const QJsonValue list = command.value(QLatin1String("tanks"));
    QList<FuelManager::TankInfo> tanks = m_fuel->tanks();
    if (!list.isArray())
        return missing("tanks");
    if (tanks.isEmpty())
        return {false, QStringLiteral("The aircraft's fuel tanks are not known yet")};
    int changed = 0;
    for (const QJsonValue &entry : list.toArray()) {
        const QJsonObject tank = entry.toObject();
        double index = -1;
        if (!number(tank, "index", &index) || index < 0 || index >= tanks.size())
            continue;
        FuelManager::TankInfo &info = tanks[static_cast<int>(index)];
        double gallons = 0;
        double percent = 0;
        if (number(tank, "gallons", &gallons))
            info.current = std::clamp(gallons, 0.0, info.capacity);
        else if (number(tank, "percent", &percent))
            info.current = info.capacity * std::clamp(percent, 0.0, 100.0) / 100.0;
        else
            continue;
        ++changed;
    }
    if (changed == 0)
        return missing("tanks");
    m_fuel->setTanks(tanks);
    m_fuel->writeFuelToSim();
    return {true, QStringLiteral("%1 of %2 tanks set").arg(changed).arg(tanks.size())};
}
