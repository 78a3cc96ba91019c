#include "app/licensingservices.h"

#include "app/log/applogger.h"
#include "licensing/licensemanager.h"
#include "licensing/machineid.h"
#include "licensing/updateinstaller.h"
#include "licensing/updateplatform.h"
#include "licensing/updateservice.h"
#include "licensing/updatestaging.h"
#include "licensing/vendorkey.h"
#include "ui/helpmenu.h"
#include "ui/licensedialog.h"
#include "ui/licensestatuslabel.h"
#include "ui/updatedialog.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QMainWindow>
#include <QMenuBar>
#include <QStatusBar>
#include <QVersionNumber>

namespace {

constexpr int kNoticeMs = 15000;

void logUpdate(AppLogger::Level level, const QString &message)
{
    AppLogger::instance().log(level, QStringLiteral("Update"), message);
}

} // namespace

LicensingServices::LicensingServices(QMainWindow *window, const QString &settingsPath)
    : QObject(window), m_window(window), m_settingsPath(settingsPath)
{
    m_license = new LicenseManager(licensePath(settingsPath), vendorPublicKeyPem(), currentMachineId(), this);
    m_license->load();
    m_updates = new UpdateService(settingsPath, stagingDir(settingsPath), QCoreApplication::applicationDirPath(),
                                  QVersionNumber::fromString(QCoreApplication::applicationVersion()),
                                  vendorPublicKeyPem(), this);

    m_helpMenu = new HelpMenu(window);
    window->menuBar()->addMenu(m_helpMenu);
    connect(m_helpMenu, &HelpMenu::licenseRequested, this, &LicensingServices::showLicenseDialog);
    connect(m_helpMenu, &HelpMenu::updateCheckRequested, this, [this] {
        showUpdateDialog();
        m_updates->checkNow();
    });

    auto *indicator = new LicenseStatusLabel(m_license);
    window->statusBar()->addPermanentWidget(indicator);
    connect(indicator, &LicenseStatusLabel::clicked, this, &LicensingServices::showLicenseDialog);

    // A newer version found by the start-up check is offered without being asked for.
    connect(m_updates, &UpdateService::updateAvailable, this, [this] { showUpdateDialog(); });
}

QString LicensingServices::licensePath(const QString &settingsPath)
{
    return QFileInfo(settingsPath).absoluteDir().filePath(QString::fromLatin1(LicenseManager::kLicenseFileName));
}

QString LicensingServices::stagingDir(const QString &settingsPath)
{
    return QFileInfo(settingsPath).absoluteDir().filePath(QStringLiteral("updates"));
}

bool LicensingServices::installStagedUpdate(const QString &settingsPath, const QStringList &arguments)
{
    // Taken before the files change: once the running program file is replaced, the system
    // reports this process's file as deleted.
    const QString program = QCoreApplication::applicationFilePath();
    const UpdateInstallOutcome outcome =
        installPendingUpdate(stagingDir(settingsPath), QFileInfo(program).absolutePath(), launchUpdateInstaller);
    switch (outcome.kind) {
    case UpdateInstallOutcome::Kind::Nothing:
        return true;
    case UpdateInstallOutcome::Kind::Failed:
        logUpdate(AppLogger::Error, QStringLiteral("Update %1 not installed, the installed version is kept: %2")
                                        .arg(outcome.version, outcome.detail));
        return true;
    case UpdateInstallOutcome::Kind::InstallerStarted:
        logUpdate(AppLogger::Info, QStringLiteral("Update %1 handed to its installer").arg(outcome.version));
        return false;
    case UpdateInstallOutcome::Kind::Installed:
        logUpdate(AppLogger::Info,
                  QStringLiteral("Update %1 installed (%2); restarting").arg(outcome.version, outcome.detail));
        restart(program, arguments);
        return false;
    }
    return true;
}

void LicensingServices::restart(const QString &program, const QStringList &arguments)
{
    QString error;
    if (!restartProgram(program, arguments, &error))
        logUpdate(AppLogger::Error, QStringLiteral("Restart failed: %1").arg(error));
}

void LicensingServices::runStartupChecks()
{
    UpdateStaging::Result result;
    if (UpdateStaging::takeResult(stagingDir(m_settingsPath), &result)) {
        if (result.success)
            showNotice(tr("Zobrel 已更新到 %1。").arg(result.version));
        else
            showNotice(tr("更新 %1 未能安装，当前版本保持不变：%2").arg(result.version, result.detail));
    } else if (m_license->current().status != LicenseCheck::Status::NoLicense && m_license->isEvaluation()) {
        showNotice(tr("%1 Zobrel 以评估模式运行。").arg(m_license->current().message()));
    }
    m_updates->checkAtStartup();
}

void LicensingServices::showNotice(const QString &text)
{
    m_window->statusBar()->showMessage(text, kNoticeMs);
}

LicenseDialog *LicensingServices::showLicenseDialog()
{
    if (!m_licenseDialog) {
        m_licenseDialog = new LicenseDialog(m_license, m_window);
        m_licenseDialog->setAttribute(Qt::WA_DeleteOnClose);
    }
    m_licenseDialog->show();
    m_licenseDialog->raise();
    m_licenseDialog->activateWindow();
    return m_licenseDialog;
}

UpdateDialog *LicensingServices::showUpdateDialog()
{
    if (!m_updateDialog) {
        m_updateDialog = new UpdateDialog(m_updates, m_settingsPath, m_window);
        m_updateDialog->setAttribute(Qt::WA_DeleteOnClose);
        connect(m_updateDialog, &UpdateDialog::restartRequested, this, [this] {
            // The event loop ends when the last window is gone; start-up then restarts.
            m_updateDialog->close();
            m_restartRequested = m_window->close();
        });
    }
    m_updateDialog->show();
    m_updateDialog->raise();
    m_updateDialog->activateWindow();
    return m_updateDialog;
}
