#include "licensing/updatestaging.h"

#include "licensing/updatepackage.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace UpdateStaging {

namespace {

constexpr char kUpdateFile[] = "update.json";
constexpr char kResultFile[] = "result.json";
constexpr qint64 kMaxJsonSize = 16 * 1024 * 1024;

bool writeJson(const QString &path, const QJsonObject &object)
{
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(QJsonDocument(object).toJson()) >= 0 && file.commit();
}

QJsonObject readJson(const QString &path, bool *ok)
{
    QFile file(path);
    *ok = false;
    if (file.size() > kMaxJsonSize || !file.open(QIODevice::ReadOnly))
        return {};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    *ok = document.isObject();
    return document.object();
}

} // namespace

QString Pending::filesDirectory() const
{
    return QDir(directory).filePath(QStringLiteral("files"));
}

QString downloadDir(const QString &stagingDir)
{
    return QDir(stagingDir).filePath(QStringLiteral("download"));
}

QString incomingDir(const QString &stagingDir)
{
    return QDir(stagingDir).filePath(QStringLiteral("incoming"));
}

QString pendingDir(const QString &stagingDir)
{
    return QDir(stagingDir).filePath(QStringLiteral("pending"));
}

bool commitIncoming(const QString &stagingDir, const Pending &pending, QString *error)
{
    QJsonObject object{{QStringLiteral("version"), pending.version},
                       {QStringLiteral("method"), pending.method == UpdateInstallMethod::ReplaceFiles
                                                      ? QStringLiteral("files")
                                                      : QStringLiteral("installer")}};
    if (pending.method == UpdateInstallMethod::ReplaceFiles)
        object.insert(QStringLiteral("files"), QJsonArray::fromStringList(pending.files));
    else
        object.insert(QStringLiteral("installer"), pending.installer);
    const QString incoming = incomingDir(stagingDir);
    if (!writeJson(QDir(incoming).filePath(QLatin1String(kUpdateFile)), object)) {
        *error = QStringLiteral("cannot write %1 in %2").arg(QLatin1String(kUpdateFile), incoming);
        return false;
    }
    const QString pendingPath = pendingDir(stagingDir);
    if (QFileInfo::exists(pendingPath) && !QDir(pendingPath).removeRecursively()) {
        *error = QStringLiteral("cannot remove the older %1").arg(pendingPath);
        return false;
    }
    if (!QDir().rename(incoming, pendingPath)) {
        *error = QStringLiteral("cannot rename %1 to %2").arg(incoming, pendingPath);
        return false;
    }
    return true;
}

bool readPending(const QString &stagingDir, Pending *pending, QString *error)
{
    error->clear();
    const QString directory = pendingDir(stagingDir);
    const QString path = QDir(directory).filePath(QLatin1String(kUpdateFile));
    if (!QFileInfo::exists(path))
        return false;
    bool ok = false;
    const QJsonObject object = readJson(path, &ok);
    Pending result;
    result.directory = directory;
    result.version = object.value(QLatin1String("version")).toString();
    const QString method = object.value(QLatin1String("method")).toString();
    if (!ok || result.version.isEmpty() || (method != QLatin1String("files") && method != QLatin1String("installer"))) {
        *error = QStringLiteral("%1 is unreadable").arg(path);
        return false;
    }
    if (method == QLatin1String("files")) {
        result.method = UpdateInstallMethod::ReplaceFiles;
        for (const QJsonValue &file : object.value(QLatin1String("files")).toArray()) {
            const QString relative = file.toString();
            if (!UpdatePackage::isSafeRelativePath(relative) ||
                !QFileInfo(QDir(result.filesDirectory()).filePath(relative)).isFile()) {
                *error = QStringLiteral("%1 lists a missing or unsafe file \"%2\"").arg(path, relative);
                return false;
            }
            result.files << relative;
        }
        if (result.files.isEmpty()) {
            *error = QStringLiteral("%1 lists no files").arg(path);
            return false;
        }
    } else {
        result.method = UpdateInstallMethod::RunInstaller;
        result.installer = object.value(QLatin1String("installer")).toString();
        if (!UpdatePackage::isSafeRelativePath(result.installer) || result.installer.contains(QLatin1Char('/')) ||
            !QFileInfo(QDir(directory).filePath(result.installer)).isFile()) {
            *error = QStringLiteral("%1 names a missing installer").arg(path);
            return false;
        }
    }
    *pending = result;
    return true;
}

bool removePending(const QString &stagingDir)
{
    const QString directory = pendingDir(stagingDir);
    return !QFileInfo::exists(directory) || QDir(directory).removeRecursively();
}

void writeResult(const QString &stagingDir, const Result &result)
{
    QDir().mkpath(stagingDir);
    writeJson(QDir(stagingDir).filePath(QLatin1String(kResultFile)), {{QStringLiteral("success"), result.success},
                                                                      {QStringLiteral("version"), result.version},
                                                                      {QStringLiteral("detail"), result.detail}});
}

bool takeResult(const QString &stagingDir, Result *result)
{
    const QString path = QDir(stagingDir).filePath(QLatin1String(kResultFile));
    if (!QFileInfo::exists(path))
        return false;
    bool ok = false;
    const QJsonObject object = readJson(path, &ok);
    QFile::remove(path);
    if (!ok)
        return false;
    result->success = object.value(QLatin1String("success")).toBool();
    result->version = object.value(QLatin1String("version")).toString();
    result->detail = object.value(QLatin1String("detail")).toString();
    return true;
}

} // namespace UpdateStaging
