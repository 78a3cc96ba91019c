#include "licensing/updateinstaller.h"

#include "licensing/updatestaging.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

constexpr char kNewSuffix[] = ".zobrel-new";
constexpr char kOldSuffix[] = ".zobrel-old";

struct Replacement
{
    QString staged;
    QString target;
    QString fresh; // the copy beside the target
    QString old;   // where the previous file goes
    bool hadOld = false;
    bool swapped = false;
};

void undo(QList<Replacement> &replacements)
{
    for (auto it = replacements.rbegin(); it != replacements.rend(); ++it) {
        if (it->swapped) {
            QFile::remove(it->target);
            if (it->hadOld)
                QFile::rename(it->old, it->target);
        } else if (it->hadOld && !QFileInfo::exists(it->target)) {
            QFile::rename(it->old, it->target);
        }
        QFile::remove(it->fresh);
    }
}

bool replaceFiles(const UpdateStaging::Pending &pending, const QString &programDir, QString *error)
{
    const QDir program(programDir);
    const QDir staged(pending.filesDirectory());
    QList<Replacement> replacements;
    for (const QString &relative : pending.files) {
        Replacement r;
        r.staged = staged.filePath(relative);
        r.target = program.filePath(relative);
        r.fresh = r.target + QLatin1String(kNewSuffix);
        r.old = r.target + QLatin1String(kOldSuffix);
        replacements.append(r);
    }
    // Copy first: the slow part, and the one that fails on a full disk, touches no old file.
    for (Replacement &r : replacements) {
        QFile::remove(r.fresh);
        if (!program.mkpath(QFileInfo(r.target).path()) || !QFile::copy(r.staged, r.fresh) ||
            !QFile::setPermissions(r.fresh, QFileInfo(r.staged).permissions())) {
            *error = QStringLiteral("cannot write %1").arg(QDir::toNativeSeparators(r.fresh));
            undo(replacements);
            return false;
        }
    }
    for (Replacement &r : replacements) {
        r.hadOld = QFileInfo::exists(r.target);
        if (r.hadOld) {
            QFile::remove(r.old);
            if (!QFile::rename(r.target, r.old)) {
                r.hadOld = false; // still in place
                *error = QStringLiteral("cannot move %1 aside").arg(QDir::toNativeSeparators(r.target));
                undo(replacements);
                return false;
            }
        }
        if (!QFile::rename(r.fresh, r.target)) {
            *error = QStringLiteral("cannot put %1 in place").arg(QDir::toNativeSeparators(r.target));
            undo(replacements);
            return false;
        }
        r.swapped = true;
    }
    for (const Replacement &r : std::as_const(replacements)) {
        if (r.hadOld)
            QFile::remove(r.old);
    }
    return true;
}

} // namespace

UpdateInstallOutcome installPendingUpdate(const QString &stagingDir, const QString &programDir,
                                          const InstallerLauncher &launchInstaller)
{
    UpdateInstallOutcome outcome;
    UpdateStaging::Pending pending;
    QString error;
    if (!UpdateStaging::readPending(stagingDir, &pending, &error)) {
        if (error.isEmpty())
            return outcome; // nothing staged
        UpdateStaging::removePending(stagingDir);
        outcome.kind = UpdateInstallOutcome::Kind::Failed;
        outcome.detail = error;
        UpdateStaging::writeResult(stagingDir, {false, QString(), error});
        return outcome;
    }
    outcome.version = pending.version;

    if (pending.method == UpdateInstallMethod::RunInstaller) {
        const QString launched = QDir(stagingDir).filePath(QStringLiteral("launched"));
        QDir(launched).removeRecursively();
        QDir().mkpath(launched);
        const QString installer = QDir(launched).filePath(pending.installer);
        const bool moved = QFile::rename(QDir(pending.directory).filePath(pending.installer), installer);
        UpdateStaging::removePending(stagingDir);
        if (!moved || !launchInstaller(installer, &error)) {
            outcome.kind = UpdateInstallOutcome::Kind::Failed;
            outcome.detail =
                moved ? error : QStringLiteral("cannot move the installer out of %1").arg(pending.directory);
            UpdateStaging::writeResult(stagingDir, {false, pending.version, outcome.detail});
            return outcome;
        }
        outcome.kind = UpdateInstallOutcome::Kind::InstallerStarted;
        return outcome;
    }

    const bool ok = replaceFiles(pending, programDir, &error);
    UpdateStaging::removePending(stagingDir);
    outcome.kind = ok ? UpdateInstallOutcome::Kind::Installed : UpdateInstallOutcome::Kind::Failed;
    outcome.detail = ok ? QStringLiteral("%1 files replaced").arg(pending.files.size()) : error;
    UpdateStaging::writeResult(stagingDir, {ok, pending.version, outcome.detail});
    return outcome;
}
