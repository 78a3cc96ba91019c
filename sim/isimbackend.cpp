#include "sim/isimbackend.h"

#include "sim/remoteaircraft.h"

ISimBackend::ISimBackend(QObject *parent) : QObject(parent)
{
    registerSimMetaTypes();
}

ISimBackend::~ISimBackend() = default;

QString ISimBackend::simPath() const
{
    return {};
}

void ISimBackend::setData(const QString &name, double value, const QString &units)
{
    Q_UNUSED(units);
    setData(name, value);
}

void ISimBackend::requestSimVarOnce(const QString &name, const QString &units, int requestId)
{
    Q_UNUSED(name);
    Q_UNUSED(units);
    emit simVarValueReceived(requestId, 0.0);
}

void ISimBackend::setCameraRelative6DOF(float, float, float, float, float, float) {}

void ISimBackend::setCameraSmoothRelative6DOF(float, float, float, float, float, float, float) {}

void ISimBackend::cameraZoomIn() {}

void ISimBackend::cameraZoomOut() {}

void ISimBackend::loadFlightPlan(const QString &) {}

void ISimBackend::setWeatherObservation(const QString &) {}

void ISimBackend::requestWeatherObservation(double, double) {}

void registerSimMetaTypes()
{
    qRegisterMetaType<SimType>("SimType");
    qRegisterMetaType<QList<SimType>>("QList<SimType>");
    qRegisterMetaType<AircraftData>("AircraftData");
    qRegisterMetaType<AiAircraft>("AiAircraft");
    qRegisterMetaType<QList<AiAircraft>>("QList<AiAircraft>");
    qRegisterMetaType<RemoteAircraft>("RemoteAircraft");
    qRegisterMetaType<WeatherState>("WeatherState");
}

bool ISimBackend::setPaused(bool)
{
    return false;
}

bool ISimBackend::setFrozen(bool, bool)
{
    return false;
}

bool ISimBackend::canSetData(const QString &) const
{
    return true;
}

bool ISimBackend::setWeather(const WeatherState &)
{
    return false;
}
