// Bridge server under load: N simulated agents, each over its own real TLS connection, send
// "position" at 5 Hz and "status" at 1 Hz (plus a heartbeat every 5 s) for a while. The agents run
// in a child process (this program started again with --clients), so the figures of this process
// are the server's own: messages received against messages sent, the lateness of a 10 ms timer on
// the server's thread (its event-loop latency), and resident memory before, after registration
// and over the run.
//
//   bench_bridge [--agents 100,250,500,750] [--seconds 30]

#include "app/log/applogger.h"
#include "bridge/agentprotocol.h"
#include "bridge/bridgeserver.h"
#include "bridge/bridgetls.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QProcess>
#include <QSslSocket>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

constexpr int kPositionMs = 200;
constexpr int kStatusMs = 1000;
constexpr int kHeartbeatMs = 5000;
constexpr int kProbeMs = 10;
constexpr int kConnectBatch = 25;
constexpr int kConnectBatchMs = 40;

double rssMiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toDouble() / 1024.0;
    }
    return -1;
}

// --- the simulated agents (child process) -------------------------------------------------------

struct SimAgent
{
    QSslSocket *socket = nullptr;
    RemoteAircraft aircraft;
    bool registered = false;
    int tick = 0;
};

int runClients(quint16 port, int count, int seconds)
{
    QString error;
    const QList<QSslCertificate> ca =
        bridgetls::readCertificates(QString::fromLatin1(bridgetls::kBuiltInCaPath), &error);
    std::vector<SimAgent> agents(static_cast<size_t>(count));
    qint64 positions = 0;
    qint64 statuses = 0;
    int registered = 0;
    int failed = 0;
    bool sending = true;

    QTimer ticker; // one timer drives every agent, each on its own phase
    ticker.setTimerType(Qt::PreciseTimer);
    int phase = 0;
    QObject::connect(&ticker, &QTimer::timeout, [&] {
        if (!sending)
            return;
        // Each 20 ms a tenth of the agents are due: every agent every 200 ms.
        for (int i = phase; i < count; i += 10) {
            SimAgent &agent = agents[size_t(i)];
            if (!agent.registered)
                continue;
            agent.aircraft.lat += 0.0001;
            agent.aircraft.ts = QDateTime::currentMSecsSinceEpoch();
            const bool status = agent.tick % (kStatusMs / kPositionMs) == 0;
            const bool heartbeat = agent.tick % (kHeartbeatMs / kPositionMs) == 0;
            ++agent.tick;
            QByteArray out = agentprotocol::encodeLine(agentprotocol::positionMessage(agent.aircraft));
            ++positions;
            if (status) {
                out += agentprotocol::encodeLine(agentprotocol::statusMessage(agent.aircraft));
                ++statuses;
            }
            if (heartbeat)
                out += agentprotocol::encodeLine({{"type", "heartbeat"}, {"agentId", agent.aircraft.agentId}});
            agent.socket->write(out);
        }
        phase = (phase + 1) % 10;
    });

    int next = 0;
    QTimer connector;
    QObject::connect(&connector, &QTimer::timeout, [&] {
        for (int n = 0; n < kConnectBatch && next < count; ++n, ++next) {
            SimAgent &agent = agents[size_t(next)];
            agent.aircraft.agentId = QStringLiteral("bench-%1").arg(next);
            agent.aircraft.callsign = QStringLiteral("B%1").arg(next, 4, 10, QLatin1Char('0'));
            agent.aircraft.lat = 20 + next * 0.01;
            agent.aircraft.lon = 110;
            agent.aircraft.engCount = 2;
            agent.aircraft.engN1 = {85, 85};
            agent.aircraft.engRunning = {true, true};
            agent.socket = new QSslSocket;
            agent.socket->setSslConfiguration(bridgetls::clientConfiguration(ca));
            QSslSocket *socket = agent.socket;
            const QString id = agent.aircraft.agentId;
            QObject::connect(socket, &QSslSocket::encrypted, [socket, id] {
                socket->write(agentprotocol::encodeLine({{"type", "register"},
                                                         {"agentId", id},
                                                         {"machineId", "bench-" + id},
                                                         {"callsign", id},
                                                         {"sim", "X-Plane 12"},
                                                         {"licenseKey", ""},
                                                         {"licensed", false}}));
            });
            QObject::connect(socket, &QSslSocket::readyRead, [socket, &agent, &registered] {
                const QByteArray data = socket->readAll();
                if (!agent.registered && data.contains("heartbeat_ack")) {
                    agent.registered = true;
                    ++registered;
                }
            });
            QObject::connect(socket, &QSslSocket::errorOccurred, [&failed, socket](QAbstractSocket::SocketError) {
                ++failed;
                std::fprintf(stderr, "client error: %s\n", qPrintable(socket->errorString()));
            });
            socket->connectToHostEncrypted(QStringLiteral("127.0.0.1"), port);
        }
        if (next >= count)
            connector.stop();
    });
    connector.start(kConnectBatchMs);
    ticker.start(kPositionMs / 10);

    QElapsedTimer clock;
    clock.start();
    QTimer::singleShot(seconds * 1000, [&] {
        sending = false;
        // Let the last writes leave, then report.
        QTimer::singleShot(2000, [&] {
            std::printf("SENT %lld %lld REGISTERED %d FAILED %d\n", positions, statuses, registered, failed);
            std::fflush(stdout);
            for (SimAgent &agent : agents)
                delete agent.socket;
            QCoreApplication::quit();
        });
    });
    return QCoreApplication::exec();
}

// --- the server (this process) ------------------------------------------------------------------

struct Figures
{
    int agents = 0;
    int registered = 0;
    qint64 sent = 0;
    qint64 received = 0;
    double maxLatencyMs = 0;
    double p99LatencyMs = 0;
    double rssBefore = 0;
    double rssRegistered = 0;
    double rssEnd = 0;
    double rssPeak = 0;
};

Figures runServer(const QString &self, int count, int seconds)
{
    Figures figures;
    figures.agents = count;
    BridgeServer server;
    BridgeServer::Limits limits;
    limits.maxAgents = std::max(count, limits.maxAgents);
    limits.maxConnections = limits.maxAgents + 100;
    server.setLimits(limits);
    figures.rssBefore = rssMiB();
    if (!server.start(0))
        return figures;

    qint64 received = 0;
    QObject::connect(&server, &BridgeServer::aircraftUpdated, [&received] { ++received; });
    QObject::connect(&server, &BridgeServer::agentRegistered, [&] {
        if (++figures.registered == count)
            figures.rssRegistered = rssMiB();
    });

    std::vector<double> lateness;
    QElapsedTimer probeClock;
    QTimer probe;
    probe.setTimerType(Qt::PreciseTimer);
    qint64 last = -1;
    QObject::connect(&probe, &QTimer::timeout, [&] {
        const qint64 now = probeClock.nsecsElapsed();
        if (last >= 0 && figures.registered == count)
            lateness.push_back(std::max(0.0, (now - last) / 1e6 - kProbeMs));
        last = now;
    });
    QTimer memory;
    QObject::connect(&memory, &QTimer::timeout, [&] { figures.rssPeak = std::max(figures.rssPeak, rssMiB()); });
    memory.start(1000);

    QProcess clients;
    clients.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QObject::connect(&clients, &QProcess::finished, [&] {
        const QList<QByteArray> words = clients.readAllStandardOutput().simplified().split(' ');
        figures.sent = words.value(1).toLongLong() + words.value(2).toLongLong();
        // What is still in flight arrives within a moment.
        QElapsedTimer drain;
        drain.start();
        while (received < figures.sent && drain.elapsed() < 5000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
        QCoreApplication::quit();
    });
    probeClock.start();
    probe.start(kProbeMs);
    clients.start(self, {"--clients", "--port", QString::number(server.port()), "--agents", QString::number(count),
                         "--seconds", QString::number(seconds)});
    QCoreApplication::exec();
    figures.received = received;
    figures.rssEnd = rssMiB();
    std::sort(lateness.begin(), lateness.end());
    if (!lateness.empty()) {
        figures.maxLatencyMs = lateness.back();
        figures.p99LatencyMs = lateness[size_t(double(lateness.size() - 1) * 0.99)];
    }
    server.stop();
    return figures;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOptions({{"clients", "Run the simulated agents (internal)."},
                       {"port", "Server port (with --clients).", "port"},
                       {"agents", "Agent counts to try, comma-separated.", "list", "100,250,500,750"},
                       {"seconds", "Streaming time per count.", "s", "30"}});
    parser.process(app);
    const int seconds = parser.value("seconds").toInt();
    // The server's own log lines would swamp the figures.
    AppLogger::instance().setLevel(AppLogger::Error);
    if (parser.isSet("clients"))
        return runClients(quint16(parser.value("port").toUInt()), parser.value("agents").toInt(), seconds);

    std::printf("%6s %6s %9s %9s %6s %9s %9s %9s %9s %9s %10s\n", "agents", "reg", "sent", "received", "lost",
                "lat.max", "lat.p99", "rss0 MiB", "rss.reg", "rss.end", "KiB/agent");
    for (const QByteArray &item : parser.value("agents").toLatin1().split(',')) {
        const int count = item.toInt();
        if (count <= 0)
            continue;
        const Figures f = runServer(QCoreApplication::applicationFilePath(), count, seconds);
        std::printf("%6d %6d %9lld %9lld %6lld %7.1fms %7.1fms %9.1f %9.1f %9.1f %10.1f   (peak %.1f MiB)\n", f.agents,
                    f.registered, f.sent, f.received, f.sent - f.received, f.maxLatencyMs, f.p99LatencyMs, f.rssBefore,
                    f.rssRegistered, f.rssEnd, (f.rssRegistered - f.rssBefore) * 1024.0 / f.agents, f.rssPeak);
        std::fflush(stdout);
    }
    return EXIT_SUCCESS;
}
