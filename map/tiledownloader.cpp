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
#include <QTimer>
#include <QtDebug>

#include <algorithm>
#include <utility>

namespace {

constexpr int kMirrorCount = 4;
constexpr double kPruneKeepFraction = 0.8;
// Tries after the first one before a tile is given up.
constexpr int kMaxRetries = 2;
// Read beyond the size cap before Qt stops reading a reply.
constexpr qint64 kReadMarginBytes = 256 * 1024;
// How often running replies are checked against their deadline and rate.
constexpr int kWatchdogMs = 200;
// Reasons a reply was given up by the downloader itself (reply property "givenUp").
constexpr char kTooLarge[] = "too large";
constexpr char kTooSlow[] = "too slow";
constexpr char kDeadline[] = "deadline passed";

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
    : QObject(parent), m_network(new QNetworkAccessManager(this)), m_watchdog(new QTimer(this)),
      m_streetBase(QString::fromLatin1(kDefaultStreetBase)), m_satelliteBase(QString::fromLatin1(kDefaultSatelliteBase))
{
    // Tile servers are reached directly, whatever proxy the system configures.
    m_network->setProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    m_watchdog->setInterval(kWatchdogMs);
    connect(m_watchdog, &QTimer::timeout, this, &TileDownloader::onWatchdog);
}

TileDownloader::~TileDownloader()
{
    // Replies still running are aborted with the network manager; none may call back into a
    // half-destroyed downloader.
    for (auto it = m_running.keyBegin(); it != m_running.keyEnd(); ++it)
        (*it)->disconnect(this);
}

void TileDownloader::setLimits(const Limits &limits)
{
    m_limits = limits;
    m_limits.maxPerHost = std::max(1, m_limits.maxPerHost);
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
    enqueue({QUrl(tileUrl(x, y, z)), tileKey(x, y, z), x, y, z, 0, false});
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
    // Requests not sent yet are forgotten with their keys; those in flight still land.
    m_queue.clear();
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
    if (!reply || !m_running.contains(reply)) {
        return; // not ours, or a second finished() of one already handled
    }
    reply->disconnect(this);
    reply->deleteLater();
    const Running running = m_running.take(reply);
    const QString key = reply->property("tileKey").toString();
    const int x = reply->property("tileX").toInt();
    const int y = reply->property("tileY").toInt();
    const int z = reply->property("tileZ").toInt();
    const int retryCount = reply->property("retryCount").toInt();
    const QByteArray givenUp = reply->property("givenUp").toByteArray();
    m_pending.remove(key);
    // Any HTTP status, even an error, shows the service is there.
    setReachable(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid());

    if (givenUp == kTooLarge) {
        // The server would only send the same again.
        qWarning().noquote() << "Tile too large:" << key;
    } else if (reply->error() != QNetworkReply::NoError) {
        const QString why = givenUp.isEmpty() ? reply->errorString() : QString::fromLatin1(givenUp);
        if (retryCount >= kMaxRetries) {
            qWarning().noquote() << "Tile download failed (3 retries):" << why;
        } else {
            // The original address, not tileUrl(): the key may belong to a type switched away from.
            enqueue({reply->request().url(), key, x, y, z, retryCount + 1, running.slowBefore || !givenUp.isEmpty()});
        }
    } else {
        storeTile(reply->readAll(), key, x, y, z);
    }
    startQueued();
}

void TileDownloader::storeTile(const QByteArray &bytes, const QString &key, int x, int y, int z)
{
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

QString TileDownloader::hostOf(const QUrl &url)
{
    return QStringLiteral("%1://%2:%3").arg(url.scheme(), url.host()).arg(url.port());
}

void TileDownloader::enqueue(const Job &job)
{
    m_pending.insert(job.key);
    m_queue.push_back(job);
    startQueued();
}

void TileDownloader::startQueued()
{
    if (m_queue.empty()) {
        return;
    }
    QHash<QString, int> busy;
    QHash<QString, int> busySlow;
    for (const Running &running : std::as_const(m_running)) {
        ++busy[running.host];
        if (running.slowBefore) {
            ++busySlow[running.host];
        }
    }
    // Tiles that were slow before share a third of the slots, so a stalling server cannot take
    // them all again.
    const int maxSlow = std::max(1, m_limits.maxPerHost / 3);
    for (auto it = m_queue.begin(); it != m_queue.end();) {
        const QString host = hostOf(it->url);
        if (busy.value(host) >= m_limits.maxPerHost || (it->slowBefore && busySlow.value(host) >= maxSlow)) {
            ++it;
            continue;
        }
        ++busy[host];
        if (it->slowBefore) {
            ++busySlow[host];
        }
        const Job job = *it;
        it = m_queue.erase(it);
        send(job);
    }
}

void TileDownloader::send(const Job &job)
{
    QNetworkRequest request(job.url);
    request.setHeader(QNetworkRequest::UserAgentHeader, QString::fromLatin1(kUserAgent));
    request.setTransferTimeout(kTransferTimeoutMs);
    QNetworkReply *reply = m_network->get(request);
    reply->setProperty("tileKey", job.key);
    reply->setProperty("tileX", job.x);
    reply->setProperty("tileY", job.y);
    reply->setProperty("tileZ", job.z);
    reply->setProperty("retryCount", job.retryCount);
    // Qt stops reading once this much is buffered, so an endless body costs little more than the
    // cap; the margin lets a reply pass the cap (and be given up) before reading stops.
    reply->setReadBufferSize(m_limits.maxReplyBytes + kReadMarginBytes);
    Running running;
    running.host = hostOf(job.url);
    running.slowBefore = job.slowBefore;
    running.started.start();
    m_running.insert(reply, running);
    connect(reply, &QNetworkReply::finished, this, &TileDownloader::onDownloadFinished);
    connect(reply, &QNetworkReply::metaDataChanged, this, [this, reply] {
        const QVariant length = reply->header(QNetworkRequest::ContentLengthHeader);
        if (length.isValid() && length.toLongLong() > m_limits.maxReplyBytes) {
            giveUp(reply, kTooLarge);
        }
    });
    connect(reply, &QNetworkReply::downloadProgress, this,
            [this, reply](qint64 received, qint64) { onReplyProgress(reply, received); });
    if (!m_watchdog->isActive()) {
        m_watchdog->start();
    }
}

void TileDownloader::onReplyProgress(QNetworkReply *reply, qint64 bytesReceived)
{
    if (bytesReceived > m_limits.maxReplyBytes && m_running.contains(reply)) {
        giveUp(reply, kTooLarge);
    }
}

void TileDownloader::onWatchdog()
{
    QList<QPair<QNetworkReply *, const char *>> doomed;
    for (auto it = m_running.cbegin(); it != m_running.cend(); ++it) {
        const qint64 elapsedMs = it.value().started.elapsed();
        if (it.key()->bytesAvailable() > m_limits.maxReplyBytes) {
            doomed.append({it.key(), kTooLarge});
        } else if (elapsedMs > m_limits.replyDeadlineMs) {
            doomed.append({it.key(), kDeadline});
        } else if (elapsedMs > m_limits.slowCheckMs) {
            const qint64 received = it.key()->bytesAvailable();
            if (received * 1000 < qint64(m_limits.minBytesPerSecond) * elapsedMs) {
                doomed.append({it.key(), kTooSlow});
            }
        }
    }
    for (const auto &[reply, reason] : std::as_const(doomed)) {
        giveUp(reply, reason);
    }
    if (m_running.isEmpty()) {
        m_watchdog->stop();
    }
}

void TileDownloader::giveUp(QNetworkReply *reply, const char *reason)
{
    if (!m_running.contains(reply) || reply->isFinished() || reply->property("givenUp").isValid()) {
        return;
    }
    reply->setProperty("givenUp", QByteArray(reason));
    // Aborting from inside one of the reply's own signals makes Qt report its error twice, so the
    // abort waits for the next turn of the event loop (the read buffer bounds what arrives meanwhile).
    QTimer::singleShot(0, reply, [reply] {
        if (!reply->isFinished()) {
            reply->abort();
        }
    });
}

void TileDownloader::setReachable(bool reachable)
{
    if (reachable == m_reachable) {
        return;
    }
    m_reachable = reachable;
    emit serviceReachableChanged(reachable);
}
