#include "map/tiledownloader.h"
#include "tests/support/logexpect.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QNetworkReply>
#include <QPointer>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QUrlQuery>

#include <memory>

namespace {

// A tile server that misbehaves on purpose, on 127.0.0.1. Per tile column x: "trickle" sends its
// header and then one byte every two seconds; "huge" announces 200 MB and "endless" sends bytes
// without a length as fast as the client reads; every other tile gets a small PNG. It counts the
// requests per column and the bytes it managed to send.
class HostileTileServer : public QObject
{
public:
    enum class Kind { Normal, Trickle, Huge, Endless };

    explicit HostileTileServer(const QByteArray &png) : m_png(png)
    {
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *socket = m_server.nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, this, [this, socket] { onRequest(socket); });
                connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }

    bool listen() { return m_server.listen(QHostAddress::LocalHost, 0); }
    QString baseUrl() const { return QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort()); }
    void setKind(int x, Kind kind) { m_kinds.insert(x, kind); }
    int requests(int x) const { return m_requests.value(x); }
    qint64 bytesSent() const { return m_bytesSent; }

private:
    void onRequest(QTcpSocket *socket)
    {
        QByteArray &pending = m_pending[socket];
        pending += socket->readAll();
        if (!pending.contains("\r\n\r\n"))
            return;
        const QByteArray target = pending.split(' ').value(1);
        m_pending.remove(socket);
        const int x = QUrlQuery(QUrl(QString::fromLatin1(target)).query()).queryItemValue("x").toInt();
        ++m_requests[x];
        switch (m_kinds.value(x, Kind::Normal)) {
        case Kind::Normal:
            socket->write("HTTP/1.1 200 OK\r\nContent-Type: image/png\r\nContent-Length: " +
                          QByteArray::number(m_png.size()) + "\r\nConnection: close\r\n\r\n" + m_png);
            socket->disconnectFromHost();
            break;
        case Kind::Trickle: {
            socket->write("HTTP/1.1 200 OK\r\nContent-Type: image/png\r\nContent-Length: 300000\r\n\r\n");
            auto *timer = new QTimer(socket);
            connect(timer, &QTimer::timeout, socket, [socket] { socket->write("\x89"); });
            timer->start(2000);
            break;
        }
        case Kind::Huge:
            socket->write("HTTP/1.1 200 OK\r\nContent-Type: image/png\r\nContent-Length: 209715200\r\n\r\n");
            pump(socket);
            break;
        case Kind::Endless:
            socket->write("HTTP/1.1 200 OK\r\nContent-Type: image/png\r\nConnection: close\r\n\r\n");
            pump(socket);
            break;
        }
    }

    // Keeps the client's socket full, 64 kB at a time, up to 200 MB.
    void pump(QTcpSocket *socket)
    {
        const auto fill = [this, socket] {
            static const QByteArray chunk(64 * 1024, 'z');
            while (socket->state() == QAbstractSocket::ConnectedState && socket->bytesToWrite() < 256 * 1024 &&
                   m_bytesSent < 200LL * 1024 * 1024) {
                socket->write(chunk);
                m_bytesSent += chunk.size();
            }
        };
        connect(socket, &QTcpSocket::bytesWritten, this, fill);
        fill();
    }

    QTcpServer m_server;
    QByteArray m_png;
    QHash<int, Kind> m_kinds;
    QHash<int, int> m_requests;
    QHash<QTcpSocket *, QByteArray> m_pending;
    qint64 m_bytesSent = 0;
};

QByteArray smallPng()
{
    QImage image(8, 8, QImage::Format_RGB32);
    image.fill(QColor(20, 120, 60));
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

} // namespace

// The tile downloader against a server built to stall it: trickling replies, enormous replies.
class TestTileHostile : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void tricklingRepliesStarveNothing();
    void oversizedRepliesAreCutOff();
};

void TestTileHostile::tricklingRepliesStarveNothing()
{
    HostileTileServer server(smallPng());
    QVERIFY(server.listen());
    QTemporaryDir cache;
    TileDownloader downloader;
    downloader.setCacheRoot(cache.path());
    downloader.setStreetBase(server.baseUrl());
    TileDownloader::Limits limits;
    limits.replyDeadlineMs = 6000;
    limits.slowCheckMs = 1000;
    downloader.setLimits(limits);

    // Six trickling tiles asked for first take every connection a host allows; 57 good ones follow.
    for (int x = 0; x < 6; ++x)
        server.setKind(x, HostileTileServer::Kind::Trickle);
    QSignalSpy ready(&downloader, &TileDownloader::tileReady);
    for (int i = 0; i < 6; ++i)
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Tile download failed \\(3 retries\\): too slow$"));
    for (int x = 0; x < 63; ++x)
        QVERIFY(downloader.getTile(x, 7, 9).isNull());
    QCOMPARE(downloader.inFlightCount(), limits.maxPerHost);
    QCOMPARE(downloader.queuedCount(), 63 - limits.maxPerHost);

    QTRY_COMPARE_WITH_TIMEOUT(ready.size(), 57, 20000);
    for (int x = 6; x < 63; ++x) {
        QCOMPARE(server.requests(x), 1); // none timed out waiting, none was tried twice
        QVERIFY(QFile::exists(downloader.tileCachePath(x, 7, 9)));
    }
    QVERIFY(downloader.serviceReachable());
    // The slow ones are given up after three tries each, none of them cached.
    QTRY_COMPARE_WITH_TIMEOUT(downloader.inFlightCount() + downloader.queuedCount(), 0, 30000);
    for (int x = 0; x < 6; ++x) {
        QCOMPARE(server.requests(x), 3);
        QVERIFY(!downloader.hasCache(x, 7, 9));
    }
}

void TestTileHostile::oversizedRepliesAreCutOff()
{
    HostileTileServer server(smallPng());
    QVERIFY(server.listen());
    server.setKind(1, HostileTileServer::Kind::Huge);
    server.setKind(2, HostileTileServer::Kind::Endless);
    server.setKind(3, HostileTileServer::Kind::Endless);
    QTemporaryDir cache;
    TileDownloader downloader;
    downloader.setCacheRoot(cache.path());
    downloader.setStreetBase(server.baseUrl());
    QSignalSpy ready(&downloader, &TileDownloader::tileReady);
    for (const int x : {1, 2, 3})
        QTest::ignoreMessage(QtWarningMsg,
                             QStringLiteral("Tile too large: street/5/%1/4").arg(x).toLatin1().constData());
    // What the replies hold in this process, looked at every few milliseconds.
    qint64 mostBuffered = 0;
    QTimer probe;
    connect(&probe, &QTimer::timeout, this, [&downloader, &mostBuffered] {
        qint64 buffered = 0;
        for (const QNetworkReply *reply : downloader.findChildren<QNetworkReply *>())
            buffered += reply->bytesAvailable();
        mostBuffered = std::max(mostBuffered, buffered);
    });
    probe.start(5);
    for (const int x : {1, 2, 3, 4})
        downloader.getTile(x, 4, 5);

    QTRY_COMPARE_WITH_TIMEOUT(downloader.inFlightCount() + downloader.queuedCount(), 0, 20000);
    QCOMPARE(ready.size(), 1); // the one good tile
    for (const int x : {1, 2, 3}) {
        QCOMPARE(server.requests(x), 1); // the same bytes would come again: not retried
        QVERIFY(!downloader.hasCache(x, 4, 5));
    }
    // Three replies of 200 MB (600 MB in all) cost about the cap each in memory; the server got
    // rid of little more than that and what the kernel's socket buffers take.
    const qint64 cap = downloader.limits().maxReplyBytes;
    QVERIFY(mostBuffered > cap);
    QVERIFY2(mostBuffered < 3 * (cap + 512 * 1024), qPrintable(QString::number(mostBuffered)));
    QVERIFY2(server.bytesSent() < 64LL * 1024 * 1024, qPrintable(QString::number(server.bytesSent())));
}

QTEST_MAIN(TestTileHostile)
#include "tst_tilehostile.moc"
