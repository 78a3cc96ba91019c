#pragma once

#include "sim/isimbackend.h"

// Stands in for a simulator link this build cannot provide (today: the in-process SimConnect
// link for MSFS 2020/2024). connect() reports connectionFailed with the reason and then
// disconnected, both from the event loop, so the manager goes through its normal reconnect
// cycle instead of special-casing the type. Every write is dropped.
class UnsupportedBackend : public ISimBackend
{
    Q_OBJECT
public:
    UnsupportedBackend(SimType type, const QString &reason, QObject *parent = nullptr);

    bool connect() override;
    void disconnect() override;
    bool isConnected() const override;
    SimType simType() const override;
    AircraftData aircraftData() const override;
    using ISimBackend::setData;
    void setData(const QString &name, double value) override;
    void transmitEvent(const QString &name, quint32 data) override;
    void setPosition(double lat, double lon, double altM, double pitch, double bank, double heading, bool onGround,
                     double airspeedKt) override;

private:
    SimType m_type;
    QString m_reason;
};
