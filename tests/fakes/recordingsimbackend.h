#pragma once

#include "sim/isimbackend.h"

#include <QList>
#include <QSet>
#include <QString>

// An ISimBackend that keeps every write it is asked for, in order, for unit tests of the
// controllers: it stands for a simulator of any SimType (including those without a backend of
// their own here, such as MSFS 2020). Wire formats are covered by the tests of the real backends
// against their loopback peers; this one only says what a controller asked for.
class RecordingSimBackend : public ISimBackend
{
    Q_OBJECT
public:
    // One call: op is "setData", "event", "position", "camera" (value: smoothing seconds, args: the
    // six offsets), "paused", "frozen" or "weather".
    struct Call
    {
        QString op;
        QString name;
        double value = 0;
        QString units;
        QList<double> args; // setPosition: lat, lon, altM, pitch, bank, heading, onGround, speed
    };

    explicit RecordingSimBackend(SimType type = SimType::XPlane12, QObject *parent = nullptr);

    // Connected at once (emits connected); disconnect() emits disconnected.
    bool connect() override;
    void disconnect() override;
    bool isConnected() const override;
    SimType simType() const override;
    AircraftData aircraftData() const override;
    void setData(const QString &name, double value) override;
    void setData(const QString &name, double value, const QString &units) override;
    void transmitEvent(const QString &name, quint32 data) override;
    void setPosition(double lat, double lon, double altM, double pitch, double bank, double heading, bool onGround,
                     double airspeedKt) override;
    void setCameraRelative6DOF(float dx, float dy, float dz, float pitch, float bank, float heading) override;
    void setCameraSmoothRelative6DOF(float dx, float dy, float dz, float pitch, float bank, float heading,
                                     float seconds) override;
    bool setPaused(bool paused) override;
    bool setFrozen(bool position, bool attitude) override;
    bool setWeather(const WeatherState &weather) override;
    bool canSetData(const QString &name) const override;

    // Stores the sample and emits aircraftDataChanged.
    void publish(const AircraftData &data);
    void setSimType(SimType type) { m_type = type; }
    // Names canSetData answers false for.
    void setUnavailable(const QSet<QString> &names) { m_unavailable = names; }
    // Whether setPaused/setFrozen are offered (default: yes).
    void setPauseFreezeAvailable(bool available) { m_pauseFreeze = available; }

    const QList<Call> &calls() const { return m_calls; }
    QList<Call> callsOf(const QString &op) const;
    // The last value written to name with setData, or nan when none was.
    double lastValue(const QString &name) const;
    void clearCalls() { m_calls.clear(); }
    WeatherState lastWeather() const { return m_weather; }

private:
    SimType m_type;
    bool m_connected = false;
    bool m_pauseFreeze = true;
    AircraftData m_data;
    QSet<QString> m_unavailable;
    QList<Call> m_calls;
    WeatherState m_weather;
};
