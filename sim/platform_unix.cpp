#include "sim/platform.h"

#include <QDir>
#include <QFile>
#include <QProcess>

namespace {

QString readProcFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QByteArray bytes = file.read(8192);
    bytes.replace('\0', ' ');
    return QString::fromLocal8Bit(bytes).trimmed();
}

QString listFromProc()
{
    QString text;
    const QDir proc(QStringLiteral("/proc"));
    const QStringList entries = proc.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &pid : entries) {
        bool numeric = false;
        pid.toInt(&numeric);
        if (!numeric)
            continue;
        const QString base = proc.filePath(pid);
        const QString name = readProcFile(base + QStringLiteral("/comm"));
        const QString cmdline = readProcFile(base + QStringLiteral("/cmdline"));
        if (name.isEmpty() && cmdline.isEmpty())
            continue; // exited while we were listing, or not ours to read
        text += name + QLatin1Char('\t') + cmdline + QLatin1Char('\n');
    }
    return text;
}

// macOS and other systems without /proc: ps prints the same name-and-command-line view.
QString listFromPs()
{
    QProcess ps;
    ps.start(QStringLiteral("ps"), {QStringLiteral("-axo"), QStringLiteral("comm=,args=")});
    if (!ps.waitForFinished(3000)) {
        ps.kill();
        ps.waitForFinished(500);
    }
    return QString::fromLocal8Bit(ps.readAllStandardOutput());
}

} // namespace

QString systemProcessList()
{
    if (QFile::exists(QStringLiteral("/proc/self/comm")))
        return listFromProc();
    return listFromPs();
}

QString bridgeHelperFileName()
{
    return QStringLiteral("simconnect-bridge");
}
