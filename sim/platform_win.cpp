#include "sim/platform.h"

#include <QProcess>

QString systemProcessList()
{
    QProcess tasklist;
    tasklist.start(QStringLiteral("tasklist"), {QStringLiteral("/FO"), QStringLiteral("CSV"), QStringLiteral("/NH")});
    // A run that does not finish in time yields what it printed so far: usually nothing, so
    // no simulator is detected on that tick.
    if (!tasklist.waitForFinished(3000)) {
        const QString partial = QString::fromLocal8Bit(tasklist.readAllStandardOutput());
        tasklist.kill();
        tasklist.waitForFinished(500);
        return partial;
    }
    return QString::fromLocal8Bit(tasklist.readAllStandardOutput());
}

QString bridgeHelperFileName()
{
    return QStringLiteral("simconnect-bridge.exe");
}
