#include "licensing/updateplatform.h"

#include <QProcess>
#include <QSysInfo>

#include <cerrno>
#include <cstring>
#include <unistd.h>
#include <vector>

QString updatePlatformKey()
{
    const QString os =
        QSysInfo::kernelType() == QLatin1String("darwin") ? QStringLiteral("macos") : QSysInfo::kernelType();
    return QStringLiteral("%1-%2").arg(os, QSysInfo::currentCpuArchitecture());
}

UpdateInstallMethod updateInstallMethod()
{
    return UpdateInstallMethod::ReplaceFiles;
}

bool launchUpdateInstaller(const QString &installerPath, QString *error)
{
    if (!QProcess::startDetached(installerPath, {})) {
        *error = QStringLiteral("cannot start %1").arg(installerPath);
        return false;
    }
    return true;
}

bool restartProgram(const QString &program, const QStringList &arguments, QString *error)
{
    // exec keeps the process id, so whoever started the station keeps waiting on the new version.
    QList<QByteArray> storage;
    storage << program.toLocal8Bit();
    for (const QString &argument : arguments)
        storage << argument.toLocal8Bit();
    std::vector<char *> argv;
    for (QByteArray &item : storage)
        argv.push_back(item.data());
    argv.push_back(nullptr);
    ::execv(argv.front(), argv.data());
    *error = QStringLiteral("cannot run %1: %2").arg(program, QString::fromLocal8Bit(std::strerror(errno)));
    return false;
}
