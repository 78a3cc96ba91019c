#include "licensing/licensemanager.h"

#include "app/log/applogger.h"
#include "licensing/signeddocument.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace {

constexpr char kCategory[] = "Licence";

void logLicense(AppLogger::Level level, const QString &message)
{
    AppLogger::instance().log(level, QString::fromLatin1(kCategory), message);
}

QString describe(const LicenseCheck &check)
{
    const License &l = check.license;
    return QStringLiteral("%1 for \"%2\", features [%3], %4")
        .arg(l.id, l.licensee, l.features.join(QLatin1String(", ")),
             l.expires.isValid() ? QStringLiteral("valid through %1").arg(l.expires.toString(Qt::ISODate))
                                 : QStringLiteral("perpetual"));
}

} // namespace

LicenseManager::LicenseManager(const QString &licensePath, const QByteArray &publicKeyPem, const QString &machineId,
                               QObject *parent)
    : QObject(parent), m_licensePath(licensePath), m_publicKey(publicKeyPem), m_machineId(machineId),
      m_today([] { return QDateTime::currentDateTimeUtc().date(); })
{
}

LicenseCheck LicenseManager::checkFile(const QString &path) const
{
    LicenseCheck check;
    QFile file(path);
    if (!file.exists())
        return check; // NoLicense
    // A licence is a few hundred bytes; anything much larger is not one and is not read whole.
    if (file.size() > SignedDocument::kMaxSize || !file.open(QIODevice::ReadOnly)) {
        check.status = LicenseCheck::Status::Malformed;
        check.detail = file.size() > SignedDocument::kMaxSize
                           ? QStringLiteral("file too large")
                           : QStringLiteral("cannot read: %1").arg(file.errorString());
        return check;
    }
    return LicenseCheck::verify(file.readAll(), m_publicKey, m_machineId, m_today());
}

void LicenseManager::load()
{
    m_check = checkFile(m_licensePath);
    const QString file = QDir::toNativeSeparators(m_licensePath);
    if (m_check.isValid())
        logLicense(AppLogger::Info, QStringLiteral("Licence %1").arg(describe(m_check)));
    else if (m_check.status == LicenseCheck::Status::NoLicense)
        logLicense(AppLogger::Info, QStringLiteral("No licence (%1): evaluation mode").arg(file));
    else
        logLicense(AppLogger::Warning,
                   QStringLiteral("Licence %1 refused (%2): evaluation mode").arg(file, m_check.detail));
    emit licenseChanged();
}

LicenseCheck LicenseManager::install(const QString &path)
{
    LicenseCheck check = checkFile(path);
    if (check.status == LicenseCheck::Status::NoLicense) {
        check.status = LicenseCheck::Status::Malformed;
        check.detail = QStringLiteral("no such file");
    }
    const QString file = QDir::toNativeSeparators(path);
    if (!check.isValid()) {
        logLicense(AppLogger::Warning, QStringLiteral("Licence %1 not installed: %2").arg(file, check.detail));
        return check;
    }
    if (QFileInfo(path).canonicalFilePath() != QFileInfo(m_licensePath).canonicalFilePath()) {
        QFile source(path);
        QSaveFile target(m_licensePath);
        QDir().mkpath(QFileInfo(m_licensePath).absolutePath());
        if (!source.open(QIODevice::ReadOnly) || !target.open(QIODevice::WriteOnly) ||
            target.write(source.readAll()) < 0 || !target.commit()) {
            check.status = LicenseCheck::Status::Malformed;
            check.detail = QStringLiteral("cannot write %1: %2")
                               .arg(QDir::toNativeSeparators(m_licensePath), target.errorString());
            logLicense(AppLogger::Error, QStringLiteral("Licence %1 not installed: %2").arg(file, check.detail));
            return check;
        }
    }
    m_check = check;
    logLicense(AppLogger::Info, QStringLiteral("Licence installed: %1").arg(describe(check)));
    emit licenseChanged();
    return check;
}

LicenseCheck LicenseManager::current() const
{
    LicenseCheck check = m_check;
    // A station left running past the expiry date falls back to evaluation mode.
    if (check.isValid() && check.license.expires.isValid() && m_today() > check.license.expires) {
        check.status = LicenseCheck::Status::Expired;
        check.detail = QStringLiteral("expired on %1").arg(check.license.expires.toString(Qt::ISODate));
    }
    return check;
}

int LicenseManager::maxAgents() const
{
    const LicenseCheck check = current();
    if (!check.isValid() || !check.license.hasFeature(QLatin1String(License::kFeatureBridgeServer)))
        return kEvaluationAgents;
    return check.license.agentLimit();
}

bool LicenseManager::requiresLicensedAgents() const
{
    const LicenseCheck check = current();
    return check.isValid() && check.license.hasFeature(QLatin1String(License::kFeatureLicensedAgentsOnly));
}

LicenseManager::Admission LicenseManager::admitAgent(const QString &licenseKey, bool licensed, int agentCount) const
{
    Admission admission;
    const int limit = maxAgents();
    if (limit >= 0 && agentCount >= limit) {
        admission.accepted = false;
        admission.reason = QStringLiteral("agent_limit");
        admission.message =
            isEvaluation()
                ? QStringLiteral("The instructor station runs in evaluation mode and admits at most %1 agents; "
                                 "a licence on the instructor station admits more")
                      .arg(limit)
                : QStringLiteral("The instructor station's licence admits at most %1 agents").arg(limit);
        return admission;
    }
    if (requiresLicensedAgents() && (!licensed || licenseKey.trimmed().isEmpty())) {
        admission.accepted = false;
        admission.reason = QStringLiteral("agent_unlicensed");
        admission.message = QStringLiteral("The instructor station admits licensed agents only; "
                                           "this agent reports no valid licence");
    }
    return admission;
}
