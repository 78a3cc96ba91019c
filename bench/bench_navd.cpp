// zobrel-navd under load: zoom-7 box requests over East China against the world-sized database,
// from 1, 8 and 64 concurrent keep-alive clients. Prints requests per second, latency and reply
// size; goal: a zoom-7 box answered in under 20 ms at 64 clients.

#include "worldnavdb.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

const QByteArray kToken("bench-token");

// One keep-alive HTTP/1.1 client asking box after box; records each request's latency.
class BoxClient : public QObject
{
public:
    BoxClient(quint16 port, quint32 seed) : m_random(seed)
    {
        connect(&m_socket, &QTcpSocket::connected, this, [this] { sendNext(); });
        connect(&m_socket, &QTcpSocket::readyRead, this, [this] { onReadyRead(); });
        m_socket.connectToHost(QStringLiteral("127.0.0.1"), port);
    }
    void stop() { m_stopped = true; }
    std::vector<double> latenciesMs;
    qint64 bodyBytes = 0;
    int errors = 0;

private:
    void sendNext()
    {
        if (m_stopped)
            return;
        // A 1024 x 768 pixel view at zoom 7 spans about 11.3 by 7.5 degrees here.
        const double west = 105.0 + m_random.generateDouble() * 9.0;
        const double south = 20.0 + m_random.generateDouble() * 14.0;
        const QByteArray target = QStringLiteral("/api/v1/zobrel/nav/query?source=xplane11&minLat=%1&minLon=%2"
                                                 "&maxLat=%3&maxLon=%4&zoom=7"
                                                 "&layers=airports,navaids,waypoints,airways,runways,airspaces")
                                      .arg(south, 0, 'f', 10)
                                      .arg(west, 0, 'f', 10)
                                      .arg(south + 7.5, 0, 'f', 10)
                                      .arg(west + 11.3, 0, 'f', 10)
                                      .toLatin1();
        m_buffer.clear();
        m_timer.start();
        m_socket.write("GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\nAuthorization: Bearer " + kToken +
                       "\r\nAccept: application/json\r\n\r\n");
    }
    void onReadyRead()
    {
        m_buffer += m_socket.readAll();
        const int headerEnd = m_buffer.indexOf("\r\n\r\n");
        if (headerEnd < 0)
            return;
        static const QRegularExpression length(QStringLiteral("(?i)content-length:\\s*(\\d+)"));
        const QRegularExpressionMatch m = length.match(QString::fromLatin1(m_buffer.left(headerEnd)));
        const qint64 body = m.hasMatch() ? m.captured(1).toLongLong() : 0;
        if (m_buffer.size() < headerEnd + 4 + body)
            return;
        latenciesMs.push_back(m_timer.nsecsElapsed() / 1e6);
        bodyBytes += body;
        if (!m_buffer.startsWith("HTTP/1.1 200"))
            ++errors;
        sendNext();
    }

    QTcpSocket m_socket;
    QRandomGenerator m_random;
    QByteArray m_buffer;
    QElapsedTimer m_timer;
    bool m_stopped = false;
};

void runLevel(quint16 port, int clients, int seconds)
{
    std::vector<std::unique_ptr<BoxClient>> pool;
    for (int i = 0; i < clients; ++i)
        pool.push_back(std::make_unique<BoxClient>(port, quint32(1000 + i)));
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < seconds * 1000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    for (auto &c : pool)
        c->stop();
    const double elapsedS = timer.elapsed() / 1000.0;
    std::vector<double> all;
    qint64 bytes = 0;
    int errors = 0;
    for (auto &c : pool) {
        all.insert(all.end(), c->latenciesMs.begin(), c->latenciesMs.end());
        bytes += c->bodyBytes;
        errors += c->errors;
    }
    std::sort(all.begin(), all.end());
    const auto pct = [&all](double p) { return all.empty() ? 0.0 : all[size_t(p * double(all.size() - 1))]; };
    double sum = 0;
    for (double v : all)
        sum += v;
    std::printf("clients %2d: %7.1f requests/s, latency mean %6.1f ms, median %6.1f ms, p95 %6.1f ms, reply %6.1f kB, "
                "errors %d\n",
                clients, all.size() / elapsedS, all.empty() ? 0.0 : sum / double(all.size()), pct(0.5), pct(0.95),
                all.empty() ? 0.0 : bytes / 1024.0 / double(all.size()), errors);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    const QString db = dir.filePath("world.db");
    std::printf("generating the world database...\n");
    std::fflush(stdout);
    if (!WorldNavDb::generate(db, WorldNavDb::Options{2000, 0}))
        return 1;
    QFile tokens(dir.filePath("tokens"));
    if (!tokens.open(QIODevice::WriteOnly) || tokens.write(kToken + "\n") < 0)
        return 1;
    tokens.close();

    QProcess navd;
    navd.start(QStringLiteral(ZOBREL_NAVD_EXECUTABLE), {"--db", "xplane11=" + db, "--tokens", tokens.fileName(),
                                                        "--port", "0", "--listen", "127.0.0.1", "--rate", "0"});
    QByteArray out;
    static const QRegularExpression line(QStringLiteral("listening on port (\\d+)"));
    QRegularExpressionMatch m;
    QElapsedTimer wait;
    wait.start();
    while (!(m = line.match(QString::fromLatin1(out))).hasMatch() && wait.elapsed() < 300000 &&
           navd.state() != QProcess::NotRunning) {
        navd.waitForReadyRead(500);
        out += navd.readAllStandardOutput();
    }
    if (!m.hasMatch()) {
        std::fprintf(stderr, "zobrel-navd did not start: %s\n", navd.readAllStandardError().constData());
        return 1;
    }
    std::printf("zobrel-navd loaded the world database in %.1f s\n", wait.elapsed() / 1000.0);
    const quint16 port = m.captured(1).toUShort();
    // Long enough at 64 clients for every client to be answered several times.
    runLevel(port, 1, 5);
    runLevel(port, 8, 5);
    runLevel(port, 64, 20);
    navd.terminate();
    navd.waitForFinished(5000);
    return 0;
}
