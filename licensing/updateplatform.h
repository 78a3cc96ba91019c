#pragma once

#include <QString>
#include <QStringList>

// The few things the self-updater does differently per operating system. One implementation file
// per platform (updateplatform_win.cpp, updateplatform_unix.cpp); CMake picks one.

enum class UpdateInstallMethod {
    ReplaceFiles, // the package holds the program files; start-up copies them over the old ones
    RunInstaller, // the package is the platform's installer; start-up runs it and exits
};

// This build's key in a manifest's "packages": "<os>-<cpu>", for example "linux-x86_64" or
// "windows-x86_64".
QString updatePlatformKey();

UpdateInstallMethod updateInstallMethod();

// Starts the downloaded installer detached from this process. False, with the reason, when it
// cannot be started.
bool launchUpdateInstaller(const QString &installerPath, QString *error);

// Runs program with arguments in place of this process (Unix: exec, same process id) or as a new
// process (Windows, after which the caller exits). Returns only on failure, or on Windows.
bool restartProgram(const QString &program, const QStringList &arguments, QString *error);
