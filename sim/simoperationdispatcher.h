#pragma once

#include "sim/aircraftdata.h"
#include "sim/simtype.h"

#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantMap>

class IBridgeLink;
class ISimBackend;

// The one door through which the instructor's controls act on an aircraft: the local simulator
// through the backend manager's current backend, or a remote station (agent) through the bridge
// as a "command" message. The target decides: empty means local, otherwise it is an agentId.
//
// Created by the main window (its parent) on the GUI thread. The backend and the bridge link are
// borrowed: the owner replaces the backend on the manager's backendChanged and clears it when the
// backend goes away (a destroyed backend is also noticed through QPointer). Operations the table
// marks remote-only (reposition, setFreeze, setPause, setFailure, loadFuel) do nothing with an
// empty target: the controllers act on the local backend themselves.
//
// Units: degrees, feet (agentAlt), MHz for setFrequency.
class SimOperationDispatcher : public QObject
{
    Q_OBJECT
public:
    explicit SimOperationDispatcher(QObject *parent = nullptr);
    ~SimOperationDispatcher() override;

    void setLocalBackend(ISimBackend *backend);
    ISimBackend *localBackend() const;
    void setBridgeServer(IBridgeLink *bridge);

    // Emits targetChanged only when the value changes.
    void setTarget(const QString &agentId);
    QString target() const;
    bool isRemote() const { return !m_target.isEmpty(); }

    // Local: a backend exists and is connected. Remote: the bridge has that agent registered.
    bool isConnected() const;
    // Local: the backend's simulator. Remote: derived from the agent's "sim" text (None when it
    // names no known simulator).
    SimType simType() const;
    static SimType simTypeFromAgentSim(const QString &sim);
    // The local backend's sample (all zero without one).
    AircraftData aircraftData() const;
    // The remote target's last reported position (0 when unknown or no remote target).
    double agentLat() const;
    double agentLon() const;
    double agentAlt() const; // ft
    double agentHeading() const;

    // Sends {"type":"command","requestId":<new uuid>,"action":action, params…} to the target;
    // nothing with an empty target or no bridge. Returns the requestId, empty when nothing went.
    QString sendAgentCommand(const QString &action, const QVariantMap &params);
    // The same to a given agent, whatever the current target (a controller finishing what it
    // started on a station after the instructor switched to another). Nothing without a bridge.
    QString sendAgentCommandTo(const QString &agentId, const QString &action, const QVariantMap &params);
    // The parameters of the "set_data" and "transmit_event" commands (units left out when empty).
    static QVariantMap setDataParams(const QString &name, double value, const QString &units = QString());
    static QVariantMap transmitEventParams(const QString &name, quint32 data);

    void reposition(const QString &kind, const QVariantMap &params);
    void transmitEvent(const QString &name, quint32 data);
    void setData(const QString &name, double value);
    void setData(const QString &name, double value, const QString &units);
    void setFrequency(const QString &simvarPrefix, const QString &eventName, const QString &xpDataRef, double freqMHz);
    void setCameraRelative6DOF(float dx, float dy, float dz, float pitch, float bank, float heading);
    void setCameraSmoothRelative6DOF(float dx, float dy, float dz, float pitch, float bank, float heading,
                                     float smoothTime);
    void setFreeze(bool position, bool attitude);
    void setPause(bool state);
    // Local: one setWeather call on the backend with the decoded object; false when there is no
    // backend or it cannot inject weather. Remote: true once the command went out.
    bool setWeather(const QJsonObject &weather);
    void setFailure(const QString &component, int index, bool state);
    void loadFuel(int percent);

    // The data word a SimConnect radio event carries for freqMHz: whole hertz for the "_HZ"
    // events, otherwise BCD16 of the four digits after the leading 1 (121.50 -> 0x2150).
    static quint32 simConnectFrequencyData(const QString &eventName, double freqMHz);
    // The value an X-Plane frequency dataref takes: kHz for the 8.33 kHz ("_833") datarefs,
    // otherwise tens of kHz (12150 for 121.50).
    static double xplaneFrequencyValue(const QString &dataRef, double freqMHz);

public slots:
    // A message from an agent as the bridge server relays it; "command_result" becomes
    // commandResult. Other types are not this class's business.
    void onAgentMessage(const QString &agentId, const QJsonObject &message);

signals:
    void targetChanged(const QString &target);
    void commandSent(const QString &agentId, const QString &requestId, const QString &action);
    void commandResult(const QString &requestId, bool success, const QString &message);
    // A weather went to the local simulator or out to the target agent (as setWeather was given it).
    void weatherSet(const QJsonObject &weather);

private:
    QPointer<ISimBackend> m_backend;
    IBridgeLink *m_bridge = nullptr;
    QString m_target;
};
