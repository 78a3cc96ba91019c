#include "licensing/updateplatform.h"

#include <QFileInfo>
#include <QProcess>
#include <QSysInfo>

QString updatePlatformKey()
{
    return QStringLiteral("windows-%1").arg(QSysInfo::currentCpuArchitecture());
}

UpdateInstallMethod updateInstallMethod()
{
    // Program files of a running program cannot be replaced on Windows, and an installed station
    // lives under Program Files: the vendor's installer does it, with elevation when needed.
    return UpdateInstallMethod::RunInstaller;
}

bool launchUpdateInstaller(const QString &installerPath, QString *error)
{
    bool started = false;
    if (QFileInfo(installerPath).suffix().compare(QLatin1String("msi"), Qt::CaseInsensitive) == 0)
        started = QProcess::startDetached(QStringLiteral("msiexec"), {QStringLiteral("/i"), installerPath});
    else
        started = QProcess::startDetached(installerPath, {});
    if (!started)
        *error = QStringLiteral("cannot start %1").arg(installerPath);
    return started;
}

bool restartProgram(const QString &program, const QStringList &arguments, QString *error)
{
    if (!QProcess::startDetached(program, arguments)) {
        *error = QStringLiteral("cannot start %1").arg(program);
        return false;
    }
    return true;
}
