#include "sim/unsupportedbackend.h"

#include <QTimer>

UnsupportedBackend::UnsupportedBackend(SimType type, const QString &reason, QObject *parent)
    : ISimBackend(parent), m_type(type), m_reason(reason)
{
}

bool UnsupportedBackend::connect()
{
    // From the event loop, so the manager has finished wiring this backend before it fails.
    QTimer::singleShot(0, this, [this] {
        emit connectionFailed(m_reason);
        emit disconnected();
    });
    return false;
}

void UnsupportedBackend::disconnect()
{
    emit disconnected();
}

bool UnsupportedBackend::isConnected() const
{
    return false;
}

SimType UnsupportedBackend::simType() const
{
    return m_type;
}

AircraftData UnsupportedBackend::aircraftData() const
{
    return {};
}

void UnsupportedBackend::setData(const QString &, double) {}

void UnsupportedBackend::transmitEvent(const QString &, quint32) {}

void UnsupportedBackend::setPosition(double, double, double, double, double, double, bool, double) {}
