#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

class HelpMenu;
class LicenseDialog;
class LicenseManager;
class QMainWindow;
class UpdateDialog;
class UpdateService;

// The station's licensing and self-update services and their wiring: the licence manager and the
// update service, the Help menu with the licence and update dialogs, the licence indicator in the
// status bar, the notices of start-up (an update installed or refused at this start, a licence
// refused), and the restart that installs a downloaded update.
//
// Created and owned by the main window (its parent) on the GUI thread. The licence file
// ("Zobrel.lic") and the update staging folder ("updates") live beside Zobrel.ini.
class LicensingServices : public QObject
{
    Q_OBJECT
public:
    LicensingServices(QMainWindow *window, const QString &settingsPath);

    static QString licensePath(const QString &settingsPath);
    static QString stagingDir(const QString &settingsPath);

    // Start-up, before any window: installs an update staged by the last run. Returns false when
    // the station must end now (the platform installer took over, or the updated program was
    // started in this process's place and could not be); true to go on.
    static bool installStagedUpdate(const QString &settingsPath, const QStringList &arguments);

    LicenseManager *licenseManager() const { return m_license; }
    UpdateService *updateService() const { return m_updates; }
    HelpMenu *helpMenu() const { return m_helpMenu; }

    // After the window is shown: tells what the start-up install did and what the licence check
    // found, and starts the daily update check.
    void runStartupChecks();

    // Open the dialogs (one of each at a time), non-modal, and return them.
    LicenseDialog *showLicenseDialog();
    UpdateDialog *showUpdateDialog();

    // True once the operator asked for a restart to install a downloaded update; the start-up
    // code restarts the station after the event loop ends.
    bool isRestartRequested() const { return m_restartRequested; }
    // Runs program (this station's file) with arguments in place of this process.
    static void restart(const QString &program, const QStringList &arguments);

private:
    void showNotice(const QString &text);

    QMainWindow *m_window;
    QString m_settingsPath;
    LicenseManager *m_license = nullptr;
    UpdateService *m_updates = nullptr;
    HelpMenu *m_helpMenu = nullptr;
    QPointer<LicenseDialog> m_licenseDialog;
    QPointer<UpdateDialog> m_updateDialog;
    bool m_restartRequested = false;
};
