#pragma once

#include <QString>

// Decides whether an agent may register: the licence component implements it, the main window
// hands it to the bridge server (setAdmission), and the server asks it once per "register" that
// passed its own checks. Without one, every agent is admitted.
class IAgentAdmission
{
public:
    virtual ~IAgentAdmission() = default;

    struct Verdict
    {
        bool accepted = true;
        QString reason;  // short code sent as the "error" message's reason
        QString message; // text sent as the "error" message's message
    };

    // agentCount: agents registered now, without this one.
    virtual Verdict admit(const QString &agentId, const QString &licenseKey, bool licensed, int agentCount) const = 0;
};
