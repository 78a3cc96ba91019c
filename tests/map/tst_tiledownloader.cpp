#include "faketileserver.h"

#include "map/tiledownloader.h"
#include "tests/support/logexpect.h"

#include <QBuffer>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

// One finished reply as the downloader's network manager reported it.
struct Try
{
    QUrl url;
    QString agent;
    int timeoutMs = 0;
    QString key;
    int x = -1;
    int y = -1;
    int z = -1;
    int retryCount = -1;
};

QByteArray tileImage(const QColor &colour, const char *format = "PNG", int sizePx = 256)
{
    QImage image(sizePx, sizePx, QImage::Format_RGB32);
    image.fill(colour);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format);
    return bytes;
}

bool sameColour(const QColor &a, const QColor &b)
{
    // JPEG tiles come back within a few levels of the colour they were made of.
    return qAbs(a.red() - b.red()) <= 4 && qAbs(a.green() - b.green()) <= 4 && qAbs(a.blue() - b.blue()) <= 4;
}

QString streetTarget(int x, int y, int z)
{
    return QStringLiteral("/appmaptile?x=%1&y=%2&z=%3&lang=zh_cn&size=1&scale=1&style=7").arg(x).arg(y).arg(z);
}

QString satelliteTarget(int x, int y, int z)
{
    return QStringLiteral("/appmaptile?style=6&x=%1&y=%2&z=%3").arg(x).arg(y).arg(z);
}

QByteArray fileBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

} // namespace

class TestTileDownloader : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void tileUrl_data();
    void tileUrl();
    void basesFromSettings();
    void cachePaths();
    void downloadedTileKeptInMemoryAndOnDisk();
    void requestCarriesAgentTimeoutAndProperties();
    void secondRequestWaitsForPending();
    void failingTileTriedThreeTimesThenGivenUp_data();
    void failingTileTriedThreeTimesThenGivenUp();
    void undecodableBytesNeitherCachedNorRetried();
    void undecodableDiskFileDownloadedAgain();
    void overflowPrunesLowestKeys();
    void typeSwitchEmptiesMemoryAndDiskServesTiles();
    void lateReplyAfterTypeSwitchKeepsItsKey();

private:
    std::unique_ptr<QTemporaryDir> m_cacheDir;
    std::unique_ptr<FakeTileServer> m_server;
    std::unique_ptr<TileDownloader> m_downloader;
    QList<Try> m_tries;
    QByteArray m_png;
};

void TestTileDownloader::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    m_png = tileImage(QColor(200, 40, 40));
}

void TestTileDownloader::init()
{
    QTest::failOnWarning(QRegularExpression(".*"));
    testlog::failOnLoggedProblems();
    m_cacheDir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_cacheDir->isValid());
    m_server = std::make_unique<FakeTileServer>();
    QVERIFY(m_server->listen());
    m_server->setImage(m_png);
    m_downloader = std::make_unique<TileDownloader>();
    m_downloader->setCacheRoot(m_cacheDir->path());
    m_downloader->setStreetBase(m_server->baseUrl());
    m_downloader->setSatelliteBase(m_server->baseUrl());
    m_tries.clear();
    auto *network = m_downloader->findChild<QNetworkAccessManager *>();
    QVERIFY(network);
    connect(network, &QNetworkAccessManager::finished, this, [this](QNetworkReply *reply) {
        const QNetworkRequest request = reply->request();
        m_tries.append({request.url(), request.header(QNetworkRequest::UserAgentHeader).toString(),
                        request.transferTimeout(), reply->property("tileKey").toString(),
                        reply->property("tileX").toInt(), reply->property("tileY").toInt(),
                        reply->property("tileZ").toInt(), reply->property("retryCount").toInt()});
    });
}

void TestTileDownloader::cleanup()
{
    m_downloader.reset();
    m_server.reset();
    m_cacheDir.reset();
}

void TestTileDownloader::tileUrl_data()
{
    QTest::addColumn<QString>("base");
    QTest::addColumn<bool>("satellite");
    QTest::addColumn<int>("x");
    QTest::addColumn<int>("y");
    QTest::addColumn<int>("z");
    QTest::addColumn<QString>("expected");
    const QString street = QStringLiteral("https://street0%1.tiles.test");
    const QString query = QStringLiteral("&lang=zh_cn&size=1&scale=1&style=7");
    QTest::newRow("street 3,5 mirror 1") << street << false << 3 << 5 << 12
                                         << "https://street01.tiles.test/appmaptile?x=3&y=5&z=12" + query;
    QTest::newRow("street 0,0 mirror 1") << street << false << 0 << 0 << 1
                                         << "https://street01.tiles.test/appmaptile?x=0&y=0&z=1" + query;
    QTest::newRow("street 1,0 mirror 2") << street << false << 1 << 0 << 1
                                         << "https://street02.tiles.test/appmaptile?x=1&y=0&z=1" + query;
    QTest::newRow("street 2,1 mirror 4") << street << false << 2 << 1 << 3
                                         << "https://street04.tiles.test/appmaptile?x=2&y=1&z=3" + query;
    QTest::newRow("satellite 2,1 mirror 4") << "https://sat0%1.tiles.test" << true << 2 << 1 << 7
                                            << "https://sat04.tiles.test/appmaptile?style=6&x=2&y=1&z=7";
    QTest::newRow("satellite 3372,1552") << "https://sat0%1.tiles.test" << true << 3372 << 1552 << 12
                                         << "https://sat01.tiles.test/appmaptile?style=6&x=3372&y=1552&z=12";
    QTest::newRow("local server, no mirror number")
        << "http://127.0.0.1:8123" << false << 6 << 7 << 4 << "http://127.0.0.1:8123/appmaptile?x=6&y=7&z=4" + query;
    QTest::newRow("trailing slash") << "http://127.0.0.1:8123/" << true << 6 << 7 << 4
                                    << "http://127.0.0.1:8123/appmaptile?style=6&x=6&y=7&z=4";
}

void TestTileDownloader::tileUrl()
{
    QFETCH(QString, base);
    QFETCH(bool, satellite);
    QFETCH(int, x);
    QFETCH(int, y);
    QFETCH(int, z);
    QFETCH(QString, expected);
    TileDownloader downloader;
    downloader.setStreetBase(satellite ? QStringLiteral("http://wrong.test") : base);
    downloader.setSatelliteBase(satellite ? base : QStringLiteral("http://wrong.test"));
    downloader.setMapType(satellite ? TileDownloader::MapType::Satellite : TileDownloader::MapType::Street);
    QCOMPARE(downloader.tileUrl(x, y, z), expected);
}

void TestTileDownloader::basesFromSettings()
{
    QSettings settings(m_cacheDir->filePath("Zobrel.ini"), QSettings::IniFormat);
    settings.setValue("tileStreetBase", "http://127.0.0.1:8123");
    TileDownloader downloader;
    downloader.loadSettings(settings);
    QCOMPARE(downloader.tileUrl(1, 2, 3),
             "http://127.0.0.1:8123/appmaptile?x=1&y=2&z=3&lang=zh_cn&size=1&scale=1&style=7");
    // Absent key: the public service's satellite mirrors.
    downloader.setMapType(TileDownloader::MapType::Satellite);
    QCOMPARE(downloader.tileUrl(1, 2, 3), "https://webst04.is.autonavi.com/appmaptile?style=6&x=1&y=2&z=3");

    settings.setValue("tileSatelliteBase", "http://127.0.0.1:9000");
    settings.remove("tileStreetBase");
    downloader.loadSettings(settings);
    QCOMPARE(downloader.tileUrl(1, 2, 3), "http://127.0.0.1:9000/appmaptile?style=6&x=1&y=2&z=3");
    downloader.setMapType(TileDownloader::MapType::Street);
    QCOMPARE(downloader.tileUrl(0, 1, 3),
             "https://webrd02.is.autonavi.com/appmaptile?x=0&y=1&z=3&lang=zh_cn&size=1&scale=1&style=7");
}

void TestTileDownloader::cachePaths()
{
    const QString root = m_cacheDir->path();
    QCOMPARE(m_downloader->tileCachePath(3372, 1552, 12), root + "/street/12/3372/1552.png");
    m_downloader->setMapType(TileDownloader::MapType::Satellite);
    QCOMPARE(m_downloader->tileCachePath(3372, 1552, 12), root + "/sat/12/3372/1552.png");

    TileDownloader unconfigured;
    QCOMPARE(unconfigured.tileCachePath(1, 2, 3),
             QStandardPaths::writableLocation(QStandardPaths::CacheLocation) + "/tiles/street/3/1/2.png");
}

void TestTileDownloader::downloadedTileKeptInMemoryAndOnDisk()
{
    // JPEG bytes: the file must hold them unchanged although it is named ".png".
    const QByteArray jpeg = tileImage(QColor(40, 160, 90), "JPEG");
    m_server->setImage(jpeg);
    QSignalSpy ready(m_downloader.get(), &TileDownloader::tileReady);
    QVERIFY(!m_downloader->hasCache(3372, 1552, 12));
    QVERIFY(m_downloader->getTile(3372, 1552, 12).isNull());
    QVERIFY(ready.wait(5000));
    QCOMPARE(ready.first(), QVariantList({3372, 1552, 12}));
    QCOMPARE(m_server->requestCount(streetTarget(3372, 1552, 12)), 1);

    const QPixmap tile = m_downloader->getTile(3372, 1552, 12);
    QCOMPARE(tile.size(), QSize(256, 256));
    QVERIFY(sameColour(tile.toImage().pixelColor(100, 100), QColor(40, 160, 90)));
    QVERIFY(m_downloader->hasCache(3372, 1552, 12));
    QCOMPARE(fileBytes(m_cacheDir->path() + "/street/12/3372/1552.png"), jpeg);
    QCOMPARE(m_downloader->memoryKeys(), QStringList{"street/12/3372/1552"});

    // A new downloader over the same folder serves it from disk without asking the server.
    TileDownloader later;
    later.setCacheRoot(m_cacheDir->path());
    later.setStreetBase(m_server->baseUrl());
    QVERIFY(later.hasCache(3372, 1552, 12));
    QVERIFY(sameColour(later.getTile(3372, 1552, 12).toImage().pixelColor(10, 200), QColor(40, 160, 90)));
    QCOMPARE(m_server->totalRequests(), 1);
}

void TestTileDownloader::requestCarriesAgentTimeoutAndProperties()
{
    QSignalSpy ready(m_downloader.get(), &TileDownloader::tileReady);
    m_downloader->setMapType(TileDownloader::MapType::Satellite);
    m_downloader->getTile(21, 10, 5);
    QVERIFY(ready.wait(5000));

    QCOMPARE(m_server->requests().size(), 1);
    const FakeTileServer::Request &seen = m_server->requests().first();
    QCOMPARE(seen.target, satelliteTarget(21, 10, 5));
    QCOMPARE(seen.headers.value("user-agent"), QByteArray("Zobrel/0.3.0 (Qt6; flight-sim-utility)"));

    QCOMPARE(m_tries.size(), 1);
    const Try &sent = m_tries.first();
    QCOMPARE(sent.url, QUrl(m_server->baseUrl() + satelliteTarget(21, 10, 5)));
    QCOMPARE(sent.timeoutMs, 15000);
    QCOMPARE(sent.key, "sat/5/21/10");
    QCOMPARE(sent.x, 21);
    QCOMPARE(sent.y, 10);
    QCOMPARE(sent.z, 5);
    QCOMPARE(sent.retryCount, 0);
}

void TestTileDownloader::secondRequestWaitsForPending()
{
    QSignalSpy ready(m_downloader.get(), &TileDownloader::tileReady);
    m_server->setHeld(true);
    QVERIFY(m_downloader->getTile(7, 8, 9).isNull());
    QTRY_COMPARE_WITH_TIMEOUT(m_server->totalRequests(), 1, 5000);
    QVERIFY(m_downloader->getTile(7, 8, 9).isNull());
    QVERIFY(m_downloader->getTile(7, 8, 9).isNull());
    QCOMPARE(m_downloader->findChildren<QNetworkReply *>().size(), 1);

    m_server->release();
    QVERIFY(ready.wait(5000));
    QVERIFY(!m_downloader->getTile(7, 8, 9).isNull());
    QCOMPARE(m_server->totalRequests(), 1);
    QCOMPARE(m_tries.size(), 1);
    QCOMPARE(ready.size(), 1);
}

void TestTileDownloader::failingTileTriedThreeTimesThenGivenUp_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("dropped");
    QTest::newRow("server error") << 500 << false;
    QTest::newRow("not found") << 404 << false;
    QTest::newRow("connection dropped") << 200 << true;
}

void TestTileDownloader::failingTileTriedThreeTimesThenGivenUp()
{
    QFETCH(int, status);
    QFETCH(bool, dropped);
    const QString target = streetTarget(4, 4, 4);
    if (dropped) {
        m_server->setDropped(target);
    } else {
        m_server->setStatus(target, status);
    }
    QSignalSpy ready(m_downloader.get(), &TileDownloader::tileReady);
    // Exactly one such line: a second one would trip the fail-on-warning guard.
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Tile download failed \\(3 retries\\): \\S"));

    QVERIFY(m_downloader->getTile(4, 4, 4).isNull());
    QTRY_COMPARE_WITH_TIMEOUT(m_tries.size(), 3, 5000);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(m_tries[i].retryCount, i);
        QCOMPARE(m_tries[i].url, QUrl(m_server->baseUrl() + target));
        QCOMPARE(m_tries[i].agent, "Zobrel/0.3.0 (Qt6; flight-sim-utility)");
        QCOMPARE(m_tries[i].timeoutMs, 15000);
        QCOMPARE(m_tries[i].key, "street/4/4/4");
    }
    if (!dropped) {
        QCOMPARE(m_server->requestCount(target), 3);
    }
    QCOMPARE(ready.size(), 0);
    QVERIFY(!m_downloader->hasCache(4, 4, 4));

    // Given up means no longer pending: the next request for the tile starts afresh.
    m_server->clearFailures();
    QVERIFY(m_downloader->getTile(4, 4, 4).isNull());
    QVERIFY(ready.wait(5000));
    QCOMPARE(m_tries.size(), 4);
    QCOMPARE(m_tries.last().retryCount, 0);
    QVERIFY(!m_downloader->getTile(4, 4, 4).isNull());
}

void TestTileDownloader::undecodableBytesNeitherCachedNorRetried()
{
    const QString target = streetTarget(10, 12, 5);
    m_server->setGarbage(target);
    QSignalSpy ready(m_downloader.get(), &TileDownloader::tileReady);
    QTest::ignoreMessage(QtWarningMsg, "Tile data invalid: street/5/10/12");

    QVERIFY(m_downloader->getTile(10, 12, 5).isNull());
    QTRY_COMPARE_WITH_TIMEOUT(m_tries.size(), 1, 5000);
    QCOMPARE(ready.size(), 0);
    QVERIFY(!m_downloader->hasCache(10, 12, 5));
    QVERIFY(m_downloader->memoryKeys().isEmpty());

    // A later request asks again; a retry of the first would have shown up here with count 1.
    m_server->clearFailures();
    QVERIFY(m_downloader->getTile(10, 12, 5).isNull());
    QVERIFY(ready.wait(5000));
    QCOMPARE(m_tries.size(), 2);
    QCOMPARE(m_tries[1].retryCount, 0);
    QCOMPARE(m_server->requestCount(target), 2);
}

void TestTileDownloader::undecodableDiskFileDownloadedAgain()
{
    const QString path = m_downloader->tileCachePath(30, 40, 8);
    QVERIFY(writeFile(path, "truncated"));
    QVERIFY(m_downloader->hasCache(30, 40, 8));
    QSignalSpy ready(m_downloader.get(), &TileDownloader::tileReady);

    QVERIFY(m_downloader->getTile(30, 40, 8).isNull());
    QVERIFY(ready.wait(5000));
    QCOMPARE(m_server->requestCount(streetTarget(30, 40, 8)), 1);
    QCOMPARE(fileBytes(path), m_png);
}

void TestTileDownloader::overflowPrunesLowestKeys()
{
    // Three satellite replies that land after the switch to street tiles, on top of 498 street
    // tiles read from disk: the third landing makes 501.
    QSignalSpy ready(m_downloader.get(), &TileDownloader::tileReady);
    m_downloader->setMapType(TileDownloader::MapType::Satellite);
    for (int x = 1; x <= 3; ++x) {
        QVERIFY(m_downloader->getTile(x, 1, 5).isNull());
    }
    m_downloader->setMapType(TileDownloader::MapType::Street);

    QStringList keys = {"sat/5/1/1", "sat/5/2/1", "sat/5/3/1"};
    QList<QPoint> streetTiles;
    for (int x = 90; x < 110; ++x) {
        for (int y = 0; y < 10; ++y) {
            streetTiles.append(QPoint(x, y));
            keys.append(QStringLiteral("street/12/%1/%2").arg(x).arg(y));
        }
    }
    for (int i = 0; i < 298; ++i) {
        streetTiles.append(QPoint(i, 100 + i));
        keys.append(QStringLiteral("street/9/%1/%2").arg(i).arg(100 + i));
    }
    // Small images keep 498 decodes quick; the downloader does not look at the size.
    const QByteArray smallPng = tileImage(Qt::gray, "PNG", 4);
    for (const QPoint &tile : std::as_const(streetTiles)) {
        const int z = tile.x() >= 90 && tile.y() < 10 ? 12 : 9;
        QVERIFY(writeFile(m_downloader->tileCachePath(tile.x(), tile.y(), z), smallPng));
        QVERIFY(!m_downloader->getTile(tile.x(), tile.y(), z).isNull());
    }
    QCOMPARE(m_downloader->memoryKeys().size(), 498);

    QTRY_COMPARE_WITH_TIMEOUT(ready.size(), 3, 5000);
    const QStringList remaining = m_downloader->memoryKeys();
    QCOMPARE(remaining.size(), 400);
    keys.sort();
    QCOMPARE(remaining, keys.mid(101));
    // String order, not numbers: column 100 goes before column 90, zoom 12 before zoom 9.
    QVERIFY(!remaining.contains("sat/5/3/1"));
    QVERIFY(!remaining.contains("street/12/109/7"));
    QVERIFY(remaining.contains("street/12/109/8"));
    QVERIFY(remaining.contains("street/12/90/0"));
    QVERIFY(remaining.contains("street/9/0/100"));
}

void TestTileDownloader::typeSwitchEmptiesMemoryAndDiskServesTiles()
{
    QSignalSpy ready(m_downloader.get(), &TileDownloader::tileReady);
    m_downloader->getTile(2, 3, 4);
    QVERIFY(ready.wait(5000));
    m_downloader->setMapType(TileDownloader::MapType::Street);
    QCOMPARE(m_downloader->memoryKeys(), QStringList{"street/4/2/3"});

    m_server->setImage(tileImage(QColor(30, 60, 220)));
    m_downloader->setMapType(TileDownloader::MapType::Satellite);
    QVERIFY(m_downloader->memoryKeys().isEmpty());
    QVERIFY(m_downloader->getTile(2, 3, 4).isNull());
    QVERIFY(ready.wait(5000));
    QCOMPARE(m_server->requestCount(satelliteTarget(2, 3, 4)), 1);
    QCOMPARE(m_downloader->memoryKeys(), QStringList{"sat/4/2/3"});

    m_downloader->setMapType(TileDownloader::MapType::Street);
    QVERIFY(m_downloader->memoryKeys().isEmpty());
    QCOMPARE(m_downloader->getTile(2, 3, 4).toImage().pixelColor(5, 5), QColor(200, 40, 40));

    m_downloader->setMapType(TileDownloader::MapType::Satellite);
    QVERIFY(m_downloader->memoryKeys().isEmpty());
    QCOMPARE(m_downloader->getTile(2, 3, 4).toImage().pixelColor(5, 5), QColor(30, 60, 220));
    QCOMPARE(m_server->totalRequests(), 2);
}

void TestTileDownloader::lateReplyAfterTypeSwitchKeepsItsKey()
{
    QSignalSpy ready(m_downloader.get(), &TileDownloader::tileReady);
    m_server->setHeld(true);
    m_downloader->getTile(1, 2, 3);
    QTRY_COMPARE_WITH_TIMEOUT(m_server->totalRequests(), 1, 5000);
    m_downloader->setMapType(TileDownloader::MapType::Satellite);
    m_server->release();

    QVERIFY(ready.wait(5000));
    QCOMPARE(ready.first(), QVariantList({1, 2, 3}));
    QCOMPARE(m_downloader->memoryKeys(), QStringList{"street/3/1/2"});
    // Its bytes are filed under the type current when it landed.
    QVERIFY(QFile::exists(m_cacheDir->path() + "/sat/3/1/2.png"));
    QVERIFY(!QFile::exists(m_cacheDir->path() + "/street/3/1/2.png"));
}

QTEST_MAIN(TestTileDownloader)
#include "tst_tiledownloader.moc"
