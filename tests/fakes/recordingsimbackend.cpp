#include "recordingsimbackend.h"

#include <limits>

RecordingSimBackend::RecordingSimBackend(SimType type, QObject *parent) : ISimBackend(parent), m_type(type) {}

bool RecordingSimBackend::connect()
{
    m_connected = true;
    emit connected();
    return true;
}

void RecordingSimBackend::disconnect()
{
    m_connected = false;
    emit disconnected();
}

bool RecordingSimBackend::isConnected() const
{
    return m_connected;
}

SimType RecordingSimBackend::simType() const
{
    return m_type;
}

AircraftData RecordingSimBackend::aircraftData() const
{
    return m_data;
}

void RecordingSimBackend::setData(const QString &name, double value)
{
    m_calls.append({QStringLiteral("setData"), name, value, QString(), {}});
}

void RecordingSimBackend::setData(const QString &name, double value, const QString &units)
{
    m_calls.append({QStringLiteral("setData"), name, value, units, {}});
}

void RecordingSimBackend::transmitEvent(const QString &name, quint32 data)
{
    m_calls.append({QStringLiteral("event"), name, double(data), QString(), {}});
}

void RecordingSimBackend::setPosition(double lat, double lon, double altM, double pitch, double bank, double heading,
                                      bool onGround, double airspeedKt)
{
    m_calls.append({QStringLiteral("position"),
                    QString(),
                    0,
                    QString(),
                    {lat, lon, altM, pitch, bank, heading, onGround ? 1.0 : 0.0, airspeedKt}});
}

void RecordingSimBackend::setCameraRelative6DOF(float dx, float dy, float dz, float pitch, float bank, float heading)
{
    m_calls.append({QStringLiteral("camera"), QString(), 0, QString(), {dx, dy, dz, pitch, bank, heading}});
}

void RecordingSimBackend::setCameraSmoothRelative6DOF(float dx, float dy, float dz, float pitch, float bank,
                                                      float heading, float seconds)
{
    m_calls.append({QStringLiteral("camera"), QString(), seconds, QString(), {dx, dy, dz, pitch, bank, heading}});
}

bool RecordingSimBackend::setPaused(bool paused)
{
    if (!m_pauseFreeze)
        return false;
    m_calls.append({QStringLiteral("paused"), QString(), paused ? 1.0 : 0.0, QString(), {}});
    return true;
}

bool RecordingSimBackend::setFrozen(bool position, bool attitude)
{
    if (!m_pauseFreeze)
        return false;
    m_calls.append({QStringLiteral("frozen"), QString(), 0, QString(), {position ? 1.0 : 0.0, attitude ? 1.0 : 0.0}});
    return true;
}

bool RecordingSimBackend::setWeather(const WeatherState &weather)
{
    m_weather = weather;
    m_calls.append({QStringLiteral("weather"), QString(), 0, QString(), {}});
    return true;
}

bool RecordingSimBackend::canSetData(const QString &name) const
{
    return !m_unavailable.contains(name);
}

void RecordingSimBackend::publish(const AircraftData &data)
{
    m_data = data;
    emit aircraftDataChanged(m_data);
}

QList<RecordingSimBackend::Call> RecordingSimBackend::callsOf(const QString &op) const
{
    QList<Call> out;
    for (const Call &call : m_calls)
        if (call.op == op)
            out.append(call);
    return out;
}

double RecordingSimBackend::lastValue(const QString &name) const
{
    for (auto it = m_calls.crbegin(); it != m_calls.crend(); ++it)
        if (it->op == QLatin1String("setData") && it->name == name)
            return it->value;
    return std::numeric_limits<double>::quiet_NaN();
}
