#include "app/licenseadmission.h"

#include "licensing/licensemanager.h"

LicenseAdmission::LicenseAdmission(const LicenseManager *license) : m_license(license) {}

IAgentAdmission::Verdict LicenseAdmission::admit(const QString &agentId, const QString &licenseKey, bool licensed,
                                                 int agentCount) const
{
    Q_UNUSED(agentId) // the licence limits counts and licences, not particular agents
    Verdict verdict;
    if (!m_license)
        return verdict;
    const LicenseManager::Admission admission = m_license->admitAgent(licenseKey, licensed, agentCount);
    verdict.accepted = admission.accepted;
    verdict.reason = admission.reason;
    verdict.message = admission.message;
    return verdict;
}
