#pragma once

#include "sim/remoteaircraft.h"

#include <QJsonObject>
#include <QString>

// What the operation dispatcher needs of the bridge server, so the simulator link does not depend
// on the TLS server above it: send one message to a registered agent and read what that agent
// reported. The bridge server implements it; the main window hands it to the dispatcher. Replies
// ("command_result") come back through the server's messageReceived signal, which the main window
// connects to SimOperationDispatcher::onAgentMessage.
class IBridgeLink
{
public:
    virtual ~IBridgeLink() = default;

    // Writes one compact JSON line to that agent; false when no such agent is registered.
    virtual bool sendToAgent(const QString &agentId, const QJsonObject &message) = 0;
    virtual bool isAgentRegistered(const QString &agentId) const = 0;
    // The agent's last reported state; a default RemoteAircraft when none arrived yet.
    virtual RemoteAircraft remoteAircraft(const QString &agentId) const = 0;
    // The "sim" text the agent registered with ("X-Plane 12", "MSFS 2020", …); empty when unknown.
    virtual QString agentSim(const QString &agentId) const = 0;
};
