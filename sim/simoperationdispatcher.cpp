#include "sim/simoperationdispatcher.h"

#include "app/log/applogger.h"
#include "sim/ibridgelink.h"
#include "sim/isimbackend.h"
#include "sim/remoteaircraft.h"

#include <QJsonValue>
#include <QUuid>

#include <cmath>

namespace {

const QString kCategory = QStringLiteral("Dispatcher");

bool isXPlane(SimType type)
{
    return type == SimType::XPlane11 || type == SimType::XPlane12;
}

} // namespace

SimOperationDispatcher::SimOperationDispatcher(QObject *parent) : QObject(parent) {}

SimOperationDispatcher::~SimOperationDispatcher() = default;

void SimOperationDispatcher::setLocalBackend(ISimBackend *backend)
{
    m_backend = backend;
}

ISimBackend *SimOperationDispatcher::localBackend() const
{
    return m_backend;
}

void SimOperationDispatcher::setBridgeServer(IBridgeLink *bridge)
{
    m_bridge = bridge;
}

void SimOperationDispatcher::setTarget(const QString &agentId)
{
    if (agentId == m_target)
        return;
    m_target = agentId;
    emit targetChanged(m_target);
}

QString SimOperationDispatcher::target() const
{
    return m_target;
}

bool SimOperationDispatcher::isConnected() const
{
    if (isRemote())
        return m_bridge && m_bridge->isAgentRegistered(m_target);
    return m_backend && m_backend->isConnected();
}

SimType SimOperationDispatcher::simType() const
{
    if (isRemote())
        return m_bridge ? simTypeFromAgentSim(m_bridge->agentSim(m_target)) : SimType::None;
    return m_backend ? m_backend->simType() : SimType::None;
}

SimType SimOperationDispatcher::simTypeFromAgentSim(const QString &sim)
{
    // Tested in this order: an "MSFS" text that also names X-Plane is X-Plane. The version only
    // refines the family the text names.
    if (sim.contains(QLatin1String("X-Plane")) || sim.contains(QLatin1String("xplane")))
        return sim.contains(QLatin1String("12")) ? SimType::XPlane12 : SimType::XPlane11;
    if (sim.contains(QLatin1String("MSFS")) || sim.contains(QLatin1String("msfs")))
        return sim.contains(QLatin1String("2024")) ? SimType::Msfs2024 : SimType::Msfs2020;
    if (sim.contains(QLatin1String("P3D")) || sim.contains(QLatin1String("p3d")))
        return SimType::Prepar3D;
    if (sim.contains(QLatin1String("FSX")))
        return SimType::Fsx;
    return SimType::None;
}

AircraftData SimOperationDispatcher::aircraftData() const
{
    return m_backend ? m_backend->aircraftData() : AircraftData();
}

double SimOperationDispatcher::agentLat() const
{
    return isRemote() && m_bridge ? m_bridge->remoteAircraft(m_target).lat : 0.0;
}

double SimOperationDispatcher::agentLon() const
{
    return isRemote() && m_bridge ? m_bridge->remoteAircraft(m_target).lon : 0.0;
}

double SimOperationDispatcher::agentAlt() const
{
    return isRemote() && m_bridge ? m_bridge->remoteAircraft(m_target).alt : 0.0;
}

double SimOperationDispatcher::agentHeading() const
{
    return isRemote() && m_bridge ? m_bridge->remoteAircraft(m_target).hdg : 0.0;
}

QString SimOperationDispatcher::sendAgentCommand(const QString &action, const QVariantMap &params)
{
    if (!isRemote())
        return {};
    return sendAgentCommandTo(m_target, action, params);
}

QVariantMap SimOperationDispatcher::setDataParams(const QString &name, double value, const QString &units)
{
    QVariantMap params{{QStringLiteral("dataRef"), name}, {QStringLiteral("value"), value}};
    if (!units.isEmpty())
        params.insert(QStringLiteral("units"), units);
    return params;
}

QVariantMap SimOperationDispatcher::transmitEventParams(const QString &name, quint32 data)
{
    return {{QStringLiteral("eventId"), name}, {QStringLiteral("data"), static_cast<qint64>(data)}};
}

QString SimOperationDispatcher::sendAgentCommandTo(const QString &agentId, const QString &action,
                                                   const QVariantMap &params)
{
    if (agentId.isEmpty() || !m_bridge)
        return {};
    QJsonObject command;
    command.insert(QStringLiteral("type"), QStringLiteral("command"));
    const QString requestId = QUuid::createUuid().toString(QUuid::WithoutBraces);
    command.insert(QStringLiteral("requestId"), requestId);
    command.insert(QStringLiteral("action"), action);
    for (auto it = params.cbegin(); it != params.cend(); ++it)
        command.insert(it.key(), QJsonValue::fromVariant(it.value()));
    m_bridge->sendToAgent(agentId, command);
    AppLogger::instance().log(AppLogger::Debug, kCategory,
                              QStringLiteral("[Dispatcher] Command sent to %1: %2").arg(agentId, action));
    emit commandSent(agentId, requestId, action);
    return requestId;
}

void SimOperationDispatcher::reposition(const QString &kind, const QVariantMap &params)
{
    if (!isRemote())
        return;
    AppLogger::instance().log(AppLogger::Debug, kCategory,
                              QStringLiteral("[Dispatcher] Reposition (%1) for %2").arg(kind, m_target));
    sendAgentCommand(QStringLiteral("reposition"), params);
}

void SimOperationDispatcher::transmitEvent(const QString &name, quint32 data)
{
    if (isRemote())
        sendAgentCommand(QStringLiteral("transmit_event"), transmitEventParams(name, data));
    else if (ISimBackend *backend = m_backend.data())
        backend->transmitEvent(name, data);
}

void SimOperationDispatcher::setData(const QString &name, double value)
{
    if (isRemote())
        sendAgentCommand(QStringLiteral("set_data"), setDataParams(name, value));
    else if (ISimBackend *backend = m_backend.data())
        backend->setData(name, value);
}

void SimOperationDispatcher::setData(const QString &name, double value, const QString &units)
{
    // An empty unit still travels as "units": the caller chose the three-argument form.
    if (isRemote()) {
        QVariantMap params = setDataParams(name, value);
        params.insert(QStringLiteral("units"), units);
        sendAgentCommand(QStringLiteral("set_data"), params);
    } else if (ISimBackend *backend = m_backend.data()) {
        backend->setData(name, value, units);
    }
}

void SimOperationDispatcher::setFrequency(const QString &simvarPrefix, const QString &eventName,
                                          const QString &xpDataRef, double freqMHz)
{
    if (isRemote()) {
        sendAgentCommand(QStringLiteral("set_frequency"), {{QStringLiteral("simvarPrefix"), simvarPrefix},
                                                           {QStringLiteral("eventName"), eventName},
                                                           {QStringLiteral("xpDataRef"), xpDataRef},
                                                           {QStringLiteral("freqMHz"), freqMHz}});
        return;
    }
    ISimBackend *backend = m_backend.data();
    if (!backend)
        return;
    if (isXPlane(backend->simType()))
        backend->setData(xpDataRef, xplaneFrequencyValue(xpDataRef, freqMHz));
    else
        backend->transmitEvent(eventName, simConnectFrequencyData(eventName, freqMHz));
}

quint32 SimOperationDispatcher::simConnectFrequencyData(const QString &eventName, double freqMHz)
{
    if (eventName.endsWith(QLatin1String("_HZ"), Qt::CaseInsensitive))
        return static_cast<quint32>(std::llround(freqMHz * 1e6));
    // BCD16 drops the leading 1 of the VHF band and keeps 10 kHz resolution.
    const int digits = static_cast<int>(std::llround(freqMHz * 100.0)) % 10000;
    quint32 bcd = 0;
    for (int shift = 0, rest = digits; shift < 16; shift += 4, rest /= 10)
        bcd |= static_cast<quint32>(rest % 10) << shift;
    return bcd;
}

double SimOperationDispatcher::xplaneFrequencyValue(const QString &dataRef, double freqMHz)
{
    if (dataRef.endsWith(QLatin1String("_833")))
        return std::round(freqMHz * 1000.0);
    return std::round(freqMHz * 100.0);
}

void SimOperationDispatcher::setCameraRelative6DOF(float dx, float dy, float dz, float pitch, float bank, float heading)
{
    if (isRemote()) {
        sendAgentCommand(QStringLiteral("camera_6dof"), {{QStringLiteral("dx"), dx},
                                                         {QStringLiteral("dy"), dy},
                                                         {QStringLiteral("dz"), dz},
                                                         {QStringLiteral("pitch"), pitch},
                                                         {QStringLiteral("bank"), bank},
                                                         {QStringLiteral("heading"), heading}});
    } else if (ISimBackend *backend = m_backend.data()) {
        backend->setCameraRelative6DOF(dx, dy, dz, pitch, bank, heading);
    }
}

void SimOperationDispatcher::setCameraSmoothRelative6DOF(float dx, float dy, float dz, float pitch, float bank,
                                                         float heading, float smoothTime)
{
    if (isRemote()) {
        sendAgentCommand(QStringLiteral("camera_smooth_6dof"), {{QStringLiteral("dx"), dx},
                                                                {QStringLiteral("dy"), dy},
                                                                {QStringLiteral("dz"), dz},
                                                                {QStringLiteral("pitch"), pitch},
                                                                {QStringLiteral("bank"), bank},
                                                                {QStringLiteral("heading"), heading},
                                                                {QStringLiteral("smoothTime"), smoothTime}});
    } else if (ISimBackend *backend = m_backend.data()) {
        backend->setCameraSmoothRelative6DOF(dx, dy, dz, pitch, bank, heading, smoothTime);
    }
}

void SimOperationDispatcher::setFreeze(bool position, bool attitude)
{
    sendAgentCommand(QStringLiteral("freeze"),
                     {{QStringLiteral("position"), position}, {QStringLiteral("attitude"), attitude}});
}

void SimOperationDispatcher::setPause(bool state)
{
    sendAgentCommand(QStringLiteral("pause"), {{QStringLiteral("state"), state}});
}

bool SimOperationDispatcher::setWeather(const QJsonObject &weather)
{
    if (isRemote()) {
        // Only the keys of the command travel, whatever else the caller's object holds.
        static const char *const kKeys[] = {"windDir",  "windSpeed", "windGust",      "visibility", "temperature",
                                            "dewpoint", "qnh",       "precipitation", "turbulence", "clouds"};
        const QJsonObject normalised = WeatherState::fromJson(weather).toJson();
        QVariantMap params;
        for (const char *key : kKeys)
            params.insert(QLatin1String(key), normalised.value(QLatin1String(key)).toVariant());
        if (sendAgentCommand(QStringLiteral("weather"), params).isEmpty())
            return false;
        emit weatherSet(weather);
        return true;
    }
    ISimBackend *backend = m_backend.data();
    if (!backend || !backend->setWeather(WeatherState::fromJson(weather)))
        return false;
    emit weatherSet(weather);
    return true;
}

void SimOperationDispatcher::setFailure(const QString &component, int index, bool state)
{
    sendAgentCommand(
        QStringLiteral("failure"),
        {{QStringLiteral("component"), component}, {QStringLiteral("index"), index}, {QStringLiteral("state"), state}});
}

void SimOperationDispatcher::loadFuel(int percent)
{
    sendAgentCommand(QStringLiteral("load_fuel"), {{QStringLiteral("percent"), percent}});
}

void SimOperationDispatcher::onAgentMessage(const QString &agentId, const QJsonObject &message)
{
    if (message.value(QLatin1String("type")).toString() != QLatin1String("command_result"))
        return;
    const QString requestId = message.value(QLatin1String("requestId")).toString();
    if (requestId.isEmpty()) {
        qWarning("Dispatcher: command_result without requestId from %s", qPrintable(agentId));
        return;
    }
    // {"success": bool, "message": text}; a reply that says "status": "ok" instead, or gives its
    // reason as "error", is read the same way.
    bool success = false;
    if (message.contains(QLatin1String("success")))
        success = message.value(QLatin1String("success")).toBool();
    else
        success = message.value(QLatin1String("status")).toString() == QLatin1String("ok");
    QString text = message.value(QLatin1String("message")).toString();
    if (text.isEmpty())
        text = message.value(QLatin1String("error")).toString();
    emit commandResult(requestId, success, text);
}
