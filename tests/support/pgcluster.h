#pragma once

#include <QCollator>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QString>
#include <QTcpServer>
#include <QTemporaryDir>

#include <algorithm>

// A private PostgreSQL cluster for a test or a benchmark: initdb into a temporary folder, a free
// port on 127.0.0.1, trust authentication for the user "postgres", no fsync (commits are still
// confirmed only once written). Run as the postgres
// user (runuser) when the test runs as root, as the server refuses root. Stopped and removed when
// the object goes.
class PgCluster
{
public:
    // The folder with initdb and pg_ctl: $ZOBREL_PG_BIN, else the newest /usr/lib/postgresql/*/bin,
    // else the folder of a pg_ctl on the PATH; empty when there is none.
    static QString binDir()
    {
        const QString fromEnv = qEnvironmentVariable("ZOBREL_PG_BIN");
        if (!fromEnv.isEmpty())
            return QFileInfo::exists(fromEnv + QStringLiteral("/pg_ctl")) ? fromEnv : QString();
        QStringList versions = QDir(QStringLiteral("/usr/lib/postgresql")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        QCollator numeric;
        numeric.setNumericMode(true);
        std::sort(versions.begin(), versions.end(),
                  [&numeric](const QString &a, const QString &b) { return numeric.compare(a, b) > 0; });
        for (const QString &version : std::as_const(versions)) {
            const QString bin = QStringLiteral("/usr/lib/postgresql/%1/bin").arg(version);
            if (QFileInfo::exists(bin + QStringLiteral("/pg_ctl")) &&
                QFileInfo::exists(bin + QStringLiteral("/initdb")))
                return bin;
        }
        const QString onPath = QStandardPaths::findExecutable(QStringLiteral("pg_ctl"));
        return onPath.isEmpty() ? QString() : QFileInfo(onPath).absolutePath();
    }

    ~PgCluster() { stop(); }

    // initdb and start; false with a reason.
    bool create(QString *error)
    {
        m_bin = binDir();
        if (m_bin.isEmpty()) {
            *error = QStringLiteral("no PostgreSQL server binaries");
            return false;
        }
        if (!m_dir.isValid()) {
            *error = QStringLiteral("no temporary folder");
            return false;
        }
        m_asPostgres = runsAsRoot();
        if (m_asPostgres &&
            !run(QStringLiteral("chown"), {QStringLiteral("postgres:postgres"), m_dir.path()}, false, error))
            return false;
        QTcpServer probe;
        if (!probe.listen(QHostAddress::LocalHost, 0)) {
            *error = probe.errorString();
            return false;
        }
        m_port = probe.serverPort();
        probe.close();
        if (!run(m_bin + QStringLiteral("/initdb"),
                 {QStringLiteral("-D"), dataDir(), QStringLiteral("-U"), QStringLiteral("postgres"),
                  QStringLiteral("-A"), QStringLiteral("trust"), QStringLiteral("-E"), QStringLiteral("UTF8"),
                  QStringLiteral("--no-locale"), QStringLiteral("-N")},
                 m_asPostgres, error))
            return false;
        return start(error);
    }

    bool start(QString *error)
    {
        // fsync off only risks data on an operating-system crash; commits stay synchronous, so a
        // killed server keeps every transaction it confirmed.
        const QString options = QStringLiteral("-p %1 -k %2 -c listen_addresses=127.0.0.1 -c fsync=off "
                                               "-c full_page_writes=off")
                                    .arg(m_port)
                                    .arg(m_dir.path());
        const bool ok = run(m_bin + QStringLiteral("/pg_ctl"),
                            {QStringLiteral("-D"), dataDir(), QStringLiteral("-l"),
                             m_dir.filePath(QStringLiteral("server.log")), QStringLiteral("-o"), options,
                             QStringLiteral("-w"), QStringLiteral("-t"), QStringLiteral("60"), QStringLiteral("start")},
                            m_asPostgres, error);
        m_running = ok;
        return ok;
    }

    // immediate: as if the server died (no shutdown checkpoint, connections cut).
    bool stop(bool immediate = false)
    {
        if (!m_running)
            return true;
        QString error;
        const bool ok = run(m_bin + QStringLiteral("/pg_ctl"),
                            {QStringLiteral("-D"), dataDir(), QStringLiteral("-m"),
                             immediate ? QStringLiteral("immediate") : QStringLiteral("fast"), QStringLiteral("-w"),
                             QStringLiteral("stop")},
                            m_asPostgres, &error);
        m_running = !ok;
        return ok;
    }

    quint16 port() const { return m_port; }
    QString host() const { return QStringLiteral("127.0.0.1"); }
    QString user() const { return QStringLiteral("postgres"); }
    QString database() const { return QStringLiteral("postgres"); }
    QString logFile() const { return m_dir.filePath(QStringLiteral("server.log")); }

private:
    QString dataDir() const { return m_dir.filePath(QStringLiteral("data")); }

    static bool runsAsRoot()
    {
        QProcess id;
        id.start(QStringLiteral("id"), {QStringLiteral("-u")});
        return id.waitForFinished(5000) && id.readAllStandardOutput().trimmed() == "0";
    }

    static bool run(const QString &program, const QStringList &arguments, bool asPostgres, QString *error)
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        if (asPostgres)
            process.start(QStringLiteral("runuser"),
                          QStringList{QStringLiteral("-u"), QStringLiteral("postgres"), QStringLiteral("--"), program} +
                              arguments);
        else
            process.start(program, arguments);
        if (!process.waitForFinished(90000) || process.exitStatus() != QProcess::NormalExit ||
            process.exitCode() != 0) {
            *error = QStringLiteral("%1 failed: %2")
                         .arg(QFileInfo(program).fileName(), QString::fromLocal8Bit(process.readAll()).trimmed());
            return false;
        }
        return true;
    }

    QTemporaryDir m_dir;
    QString m_bin;
    quint16 m_port = 0;
    bool m_asPostgres = false;
    bool m_running = false;
};
