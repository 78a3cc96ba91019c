#pragma once

#include <QDeadlineTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QString>

// The demo simulator (zobrel-xpsim) as a child process of a test, on a UDP port of its own choosing:
// it prints "...:<port>" as its first line once it listens.
namespace demosim {

// Returns the port, or 0 when the program did not start or did not say where it listens.
inline quint16 start(QProcess &process, const QString &program, int timeoutMs = 5000)
{
    process.setProgram(program);
    process.setArguments({QStringLiteral("--port"), QStringLiteral("0"), QStringLiteral("--quiet")});
    process.start();
    if (!process.waitForStarted(timeoutMs))
        return 0;
    const QDeadlineTimer deadline(timeoutMs);
    while (!process.canReadLine() && !deadline.hasExpired())
        process.waitForReadyRead(int(qMax<qint64>(1, deadline.remainingTime())));
    if (!process.canReadLine())
        return 0;
    const auto match =
        QRegularExpression(QStringLiteral(":(\\d+)$")).match(QString::fromUtf8(process.readLine()).trimmed());
    return match.hasMatch() ? quint16(match.captured(1).toUInt()) : 0;
}

// Asks politely first, so the process can close its sockets.
inline void stop(QProcess &process)
{
    if (process.state() == QProcess::NotRunning)
        return;
    process.terminate();
    if (!process.waitForFinished(3000)) {
        process.kill();
        process.waitForFinished(3000);
    }
}

} // namespace demosim
