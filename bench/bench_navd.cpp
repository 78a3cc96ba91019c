// zobrel-navd under load: zoom-7 box requests over East China against the world-sized database,
// from 1, 8 and 64 concurrent keep-alive clients. Prints requests per second, latency and reply
// size; goal: a zoom-7 box answered in under 20 ms at 64 clients.
//
// Closed loop, each client asks again as soon as it has its answer: that measures throughput,
// and at 64 clients the latency is mostly the queue of the other 63. Paced, each client asks
// every 500 ms, the fastest a station's online provider asks (its debounce): that is the latency
// 64 stations panning at once see. The first run meets tiles not yet encoded and is shown apart.
//
// Two databases are served and measured alike: the generated world database, and zobrel-navdb's
// build of the world data in ../shared/testdata/xplane/world (real airways, fixes and airports;
// skipped when that folder or xz is missing). bench_navd [world.db [xplane.db]] serves existing
// files instead (several runs, one generation; a missing file is made there).

#include "worldnavdb.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QStandardPaths>
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

bool run(const QString &program, const QStringList &args, const QString &outputFile = QString())
{
    QProcess process;
    if (!outputFile.isEmpty())
        process.setStandardOutputFile(outputFile);
    process.start(program, args);
    if (!process.waitForFinished(-1) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        std::fprintf(stderr, "%s failed: %s\n", qPrintable(program), process.readAllStandardError().constData());
        return false;
    }
    return true;
}

// The testdata world unpacked into an X-Plane folder layout and built with zobrel-navdb; the two
// sample CIFP files stand in for procedures, which this bench does not ask for.
bool buildTestdataDatabase(const QString &workDir, const QString &db)
{
    const QString shared = QStringLiteral(SHARED_DIR "/testdata/xplane/");
    const QString data = workDir + "/xp/Resources/default data/";
    const QString apt = workDir + "/xp/Global Scenery/Global Airports/Earth nav data/apt.dat";
    if (!QDir().mkpath(data + "CIFP") || !QDir().mkpath(QFileInfo(apt).path()))
        return false;
    const QList<QPair<QString, QString>> files{{"world/earth_nav.dat.xz", data + "earth_nav.dat"},
                                               {"world/earth_fix.dat.xz", data + "earth_fix.dat"},
                                               {"world/earth_awy.dat.xz", data + "earth_awy.dat"},
                                               {"world/apt.dat.xz", apt}};
    for (const auto &file : files) {
        if (!run(QStringLiteral("xz"), {"-dc", shared + file.first}, file.second))
            return false;
    }
    if (!QFile::copy(shared + "world/cycle_info.txt", data + "cycle_info.txt") ||
        !QFile::copy(shared + "cifp/navme-KSEA.dat", data + "CIFP/KSEA.dat") ||
        !QFile::copy(shared + "cifp/navme-LHBP.dat", data + "CIFP/LHBP.dat"))
        return false;
    const bool built =
        run(QStringLiteral(ZOBREL_NAVDB_EXECUTABLE), {"xplane", workDir + "/xp", db}, workDir + "/navdb.log");
    QDir(workDir + "/xp").removeRecursively();
    return built;
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
    const QString xplaneDb = argc > 2 ? QString::fromLocal8Bit(argv[2]) : dir.filePath("xplane.db");
    if (QFile::exists(xplaneDb)) {
        sources << "xplane";
    } else if (!QFileInfo(QStringLiteral(SHARED_DIR "/testdata/xplane/world")).isDir() ||
               QStandardPaths::findExecutable(QStringLiteral("xz")).isEmpty()) {
        std::printf("the testdata world (or xz) is missing: only the generated database is served\n");
    } else {
        std::printf("building the testdata world with zobrel-navdb...\n");
        std::fflush(stdout);
        if (!buildTestdataDatabase(dir.path(), xplaneDb))
            return 1;
        sources << "xplane";
    }
    if (sources.contains("xplane"))
        args << "--db"
             << "xplane=" + xplaneDb;
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
