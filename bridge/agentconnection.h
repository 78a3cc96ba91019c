#pragma once

#include <QDateTime>
#include <QMetaType>
#include <QString>

class QSslSocket;

// One registered agent as the bridge server knows it: what it said in "register", where it
// connects from and when it was last heard. A plain value handed out by the server; socket is
// borrowed and only valid while the agent stays registered.
struct AgentConnection
{
    QString agentId;
    QString machineId;
    QString callsign;
    QString sim;         // the agent's simulator, e.g. "X-Plane 12"
    QString peerAddress; // "address:port" of the agent's end
    QString licenseKey;  // for the licence component only; never logged
    bool licensed = false;
    QSslSocket *socket = nullptr;
    QDateTime registeredAt;
    QDateTime lastHeartbeat; // last "heartbeat" (or the registration)
};

Q_DECLARE_METATYPE(AgentConnection)
