#pragma once

#include "licensing/updateplatform.h"

#include <QString>
#include <QStringList>

// The staging folder an update passes through between download and install:
//   download/   the package while it downloads ("<version>.part")
//   incoming/   a verified package being unpacked; becomes pending/ in one rename when complete
//   pending/    a complete update: update.json, and files/ (ReplaceFiles) or the installer
//   result.json what the last install attempt did, for the next start to tell the operator
// Only a complete pending/ is ever installed: an interrupted download or unpack leaves at most
// download/ or incoming/, which the next download clears.
namespace UpdateStaging {

struct Pending
{
    QString version;
    UpdateInstallMethod method = UpdateInstallMethod::ReplaceFiles;
    QStringList files; // ReplaceFiles: paths relative to files/
    QString installer; // RunInstaller: file name inside pending/
    QString directory; // the pending/ folder
    QString filesDirectory() const;
};

struct Result
{
    bool success = false;
    QString version;
    QString detail; // English
};

QString downloadDir(const QString &stagingDir);
QString incomingDir(const QString &stagingDir);
QString pendingDir(const QString &stagingDir);

// Writes update.json into incoming/ and moves incoming/ to pending/, replacing an older pending
// update. False with the reason when a step fails (pending/ is then absent or the old one).
bool commitIncoming(const QString &stagingDir, const Pending &pending, QString *error);

// The pending update, if a complete one is there. False when none is (error empty) or when it is
// unreadable (error set).
bool readPending(const QString &stagingDir, Pending *pending, QString *error);
bool removePending(const QString &stagingDir);

void writeResult(const QString &stagingDir, const Result &result);
// The result of the last install attempt, removed once read; false when there is none.
bool takeResult(const QString &stagingDir, Result *result);

} // namespace UpdateStaging
