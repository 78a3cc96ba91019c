// zobrel-navd under load: zoom-7 box requests over East China against the world-sized database,
// from 1, 8 and 64 concurrent keep-alive clients. Prints requests per second, latency and reply
// size; goal: a zoom-7 box answered in under 20 ms at 64 clients.
//
// Closed loop, each client asks again as soon as it has its answer: that measures throughput,
// and at 64 clients the latency is mostly the queue of the other 63. Paced, each client asks
// every 500 ms, the fastest a station's online provider asks (its debounce): that is the latency
// 64 stations panning at once see. The first run meets tiles not yet encoded and is shown apart.
//
// bench_navd [world.db [xplane.db]]: an existing world database is served as it is (several runs,
// one generation); a second database, e.g. zobrel-navdb's build of ../shared/testdata/xplane/world,
// is served too and measured the same way.

#include "worldnavdb.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTimer>

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
    BoxClient(quint16 port, const QString &source, quint32 seed, int intervalMs)
        : m_source(source), m_random(seed), m_intervalMs(intervalMs)
    {
        connect(&m_socket, &QTcpSocket::connected, this, [this] {
            if (m_intervalMs <= 0) {
                sendNext();
                return;
            }
            // Paced clients start spread over one interval, as stations would.
            m_pace.start();
            m_due = m_random.bounded(m_intervalMs);
            QTimer::singleShot(int(m_due), this, [this] { sendNext(); });
        });
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
        const QByteArray target = QStringLiteral("/api/v1/zobrel/nav/query?source=%5&minLat=%1&minLon=%2"
                                                 "&maxLat=%3&maxLon=%4&zoom=7"
                                                 "&layers=airports,navaids,waypoints,airways,runways,airspaces")
                                      .arg(south, 0, 'f', 10)
                                      .arg(west, 0, 'f', 10)
                                      .arg(south + 7.5, 0, 'f', 10)
                                      .arg(west + 11.3, 0, 'f', 10)
                                      .arg(m_source)
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
        if (m_intervalMs <= 0) {
            sendNext();
            return;
        }
        m_due += m_intervalMs;
        QTimer::singleShot(int(std::max<qint64>(0, m_due - m_pace.elapsed())), this, [this] { sendNext(); });
    }

    QTcpSocket m_socket;
    QString m_source;
    QRandomGenerator m_random;
    int m_intervalMs = 0;
    QElapsedTimer m_pace;
    qint64 m_due = 0;
    QByteArray m_buffer;
    QElapsedTimer m_timer;
    bool m_stopped = false;
};

void runLevel(quint16 port, const QString &source, const char *label, int clients, int seconds, int intervalMs = 0)
{
    std::vector<std::unique_ptr<BoxClient>> pool;
    for (int i = 0; i < clients; ++i)
        pool.push_back(std::make_unique<BoxClient>(port, source, quint32(1000 + i), intervalMs));
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
    std::printf("%-9s %-11s clients %2d: %7.1f requests/s, latency mean %6.1f ms, median %6.1f ms, p95 %6.1f ms, reply "
                "%6.1f kB, "
                "errors %d\n",
                qPrintable(source), label, clients, all.size() / elapsedS, all.empty() ? 0.0 : sum / double(all.size()),
                pct(0.5), pct(0.95), all.empty() ? 0.0 : bytes / 1024.0 / double(all.size()), errors);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    QString db = dir.filePath("world.db");
    if (argc > 1)
        db = QString::fromLocal8Bit(argv[1]);
    if (!QFile::exists(db)) {
        std::printf("generating the world database...\n");
        std::fflush(stdout);
        if (!WorldNavDb::generate(db, WorldNavDb::Options{2000, 0}))
            return 1;
    }
    QStringList args{"--db", "world=" + db};
    QStringList sources{"world"};
    if (argc > 2) {
        if (!QFile::exists(QString::fromLocal8Bit(argv[2]))) {
            std::fprintf(stderr, "no database %s\n", argv[2]);
            return 1;
        }
        args << "--db"
             << "xplane=" + QString::fromLocal8Bit(argv[2]);
        sources << "xplane";
    }
    QFile tokens(dir.filePath("tokens"));
    if (!tokens.open(QIODevice::WriteOnly) || tokens.write(kToken + "\n") < 0)
        return 1;
    tokens.close();

    QProcess navd;
    navd.start(QStringLiteral(ZOBREL_NAVD_EXECUTABLE), args + QStringList{"--tokens", tokens.fileName(), "--port", "0",
                                                                          "--listen", "127.0.0.1", "--rate", "0"});
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
    std::printf("zobrel-navd loaded %s in %.1f s\n", qPrintable(sources.join(" and ")), wait.elapsed() / 1000.0);
    const quint16 port = m.captured(1).toUShort();
    for (const QString &source : std::as_const(sources)) {
        runLevel(port, source, "first run", 1, 5);
        runLevel(port, source, "closed", 1, 5);
        runLevel(port, source, "closed", 8, 5);
        // Long enough at 64 clients for every client to be answered several times.
        runLevel(port, source, "closed", 64, 20);
        runLevel(port, source, "paced", 64, 20, 500);
    }
    navd.terminate();
    navd.waitForFinished(5000);
    return 0;
}
