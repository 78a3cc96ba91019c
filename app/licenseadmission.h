#pragma once

#include "bridge/agentadmission.h"

#include <QPointer>

class LicenseManager;

// The licence's agent limits as the bridge server's admission check. Asks the licence manager at
// every registration, so a licence installed while the server runs applies to the next agent.
//
// Owned by the bridge wiring; the manager is borrowed (the licensing services own it). Should the
// manager be gone (only while the window is being torn down), agents are admitted as without a
// licence component.
class LicenseAdmission : public IAgentAdmission
{
public:
    explicit LicenseAdmission(const LicenseManager *license);

    Verdict admit(const QString &agentId, const QString &licenseKey, bool licensed, int agentCount) const override;

private:
    QPointer<const LicenseManager> m_license;
};
