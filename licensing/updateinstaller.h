#pragma once

#include <QString>

#include <functional>

// Installs a staged update (updatestaging.h) at start-up, before the main window exists.
//
// ReplaceFiles: every staged file is first copied beside its target ("<name>.zobrel-new"); only
// when all copies exist are the old files renamed aside ("<name>.zobrel-old") and the new ones
// renamed into place. A failure at any step puts every file back as it was, so the program folder
// holds either the old version or the new one, never a mixture. Files the new version no longer
// ships are left alone.
// RunInstaller: the installer is moved out of pending/ (so a cancelled installer is not started
// again at every start) and launched; the caller then exits for it.
//
// Either way pending/ is gone afterwards, and the outcome is written to the staging folder's
// result.json for the running station to tell the operator (UpdateStaging::takeResult).
struct UpdateInstallOutcome
{
    enum class Kind { Nothing, Installed, InstallerStarted, Failed };
    Kind kind = Kind::Nothing;
    QString version;
    QString detail; // English, for the log
};

using InstallerLauncher = std::function<bool(const QString &installerPath, QString *error)>;

UpdateInstallOutcome installPendingUpdate(const QString &stagingDir, const QString &programDir,
                                          const InstallerLauncher &launchInstaller);
