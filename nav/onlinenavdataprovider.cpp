#include "nav/onlinenavdataprovider.h"

#include "app/log/applogger.h"
#include "nav/navcachedb.h"
#include "nav/onlinenavreply.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSet>
#include <QStandardPaths>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <type_traits>
#include <utility>

namespace {

const QString kCategory = QStringLiteral("OnlineNav");
const QString kApi = QStringLiteral("/api/v1/zobrel/nav/");
const QStringList kSourceNames{"xplane11", "xplane12", "p3d", "msfs2024"};
const QStringList kLayers{"airports", "navaids", "waypoints", "airways", "runways", "airspaces"};
// Lists of view data beyond this are dropped and refilled from the next views, so a long
// session panning over the world does not grow without bound.
constexpr int kMaxListRecords = 300000;

void logWarning(const QString &text)
{
    AppLogger::instance().log(AppLogger::Warning, kCategory, text);
}

QString coordKey(double lat, double lon)
{
    return QString::number(lat, 'f', 6) + QLatin1Char(',') + QString::number(lon, 'f', 6);
}

bool pointIn(double lat, double lon, double minLat, double minLon, double maxLat, double maxLon)
{
    return lat >= minLat && lat <= maxLat && lon >= minLon && lon <= maxLon;
}

// The point records of a list or map that lie in the box.
template <typename Records, typename Record = std::decay_t<decltype(*std::declval<const Records &>().begin())>>
QList<Record> pointsIn(const Records &records, double minLat, double minLon, double maxLat, double maxLon)
{
    QList<Record> out;
    for (const auto &r : records) {
        if (pointIn(r.lat, r.lon, minLat, minLon, maxLat, maxLon))
            out.append(r);
    }
    return out;
}

bool boxesMeet(const QRectF &a, double minLat, double minLon, double maxLat, double maxLon)
{
    // a: x = lat, y = lon of the south-west corner; width in latitude, height in longitude.
    return a.x() <= maxLat && a.x() + a.width() >= minLat && a.y() <= maxLon && a.y() + a.height() >= minLon;
}

QRectF segmentExtent(const AirwaySegment &s)
{
    return QRectF(QPointF(std::min(s.fromLat, s.toLat), std::min(s.fromLon, s.toLon)),
                  QPointF(std::max(s.fromLat, s.toLat), std::max(s.fromLon, s.toLon)));
}

QRectF boundaryExtent(const QList<QPointF> &points)
{
    if (points.isEmpty())
        return QRectF();
    double minLat = points.first().x(), maxLat = minLat, minLon = points.first().y(), maxLon = minLon;
    for (const QPointF &p : points) {
        minLat = std::min(minLat, p.x());
        maxLat = std::max(maxLat, p.x());
        minLon = std::min(minLon, p.y());
        maxLon = std::max(maxLon, p.y());
    }
    return QRectF(QPointF(minLat, minLon), QPointF(maxLat, maxLon));
}

// The latitude/longitude extent of one reply element of a layer (x = lat, y = lon).
QRectF elementExtent(const QString &layer, const QJsonObject &o)
{
    if (layer == QLatin1String("airways")) {
        const double a = o.value("from_lat").toDouble(), b = o.value("to_lat").toDouble();
        const double c = o.value("from_lon").toDouble(), d = o.value("to_lon").toDouble();
        return QRectF(QPointF(std::min(a, b), std::min(c, d)), QPointF(std::max(a, b), std::max(c, d)));
    }
    if (layer == QLatin1String("airspaces")) {
        QList<QPointF> points;
        for (const QJsonValue &p : o.value("boundary").toArray())
            points.append(QPointF(p.toObject().value("lat").toDouble(), p.toObject().value("lon").toDouble()));
        return boundaryExtent(points);
    }
    return QRectF(o.value("lat").toDouble(), o.value("lon").toDouble(), 0.0, 0.0);
}

// What makes two elements of a layer the same record, whatever else changed in it.
QString elementIdentity(const QString &layer, const QJsonObject &o)
{
    const auto field = [&o](const char *key) { return o.value(QLatin1String(key)).toVariant().toString(); };
    if (layer == QLatin1String("airports"))
        return field("icao");
    if (layer == QLatin1String("runways"))
        return field("airport_icao") + QLatin1Char('|') + field("ident");
    if (layer == QLatin1String("navaids"))
        return QStringList{field("ident"), field("type"), field("lat"), field("lon")}.join(QLatin1Char('|'));
    if (layer == QLatin1String("waypoints"))
        return QStringList{field("ident"), field("lat"), field("lon")}.join(QLatin1Char('|'));
    if (layer == QLatin1String("airways"))
        return QStringList{field("name"),     field("level"),  field("from_lat"),
                           field("from_lon"), field("to_lat"), field("to_lon")}
            .join(QLatin1Char('|'));
    return QString::fromUtf8(QJsonDocument(o).toJson(QJsonDocument::Compact));
}

bool extentMeets(const QRectF &extent, const QRectF &area)
{
    return extent.x() <= area.right() && extent.right() >= area.x() && extent.y() <= area.bottom() &&
           extent.bottom() >= area.y();
}

// Exact identifiers first, then identifier prefixes, each in list order.
template <typename Record> QList<Record> searchByIdent(const QList<Record> &records, const QString &query)
{
    const QString q = query.trimmed().toUpper();
    QList<Record> exact, prefix;
    if (q.isEmpty())
        return exact;
    for (const Record &r : records) {
        if (r.ident == q)
            exact.append(r);
        else if (r.ident.startsWith(q))
            prefix.append(r);
    }
    return exact + prefix;
}

template <typename Record> Record nearest(const QList<Record> &candidates, double lat, double lon)
{
    Record best;
    double bestDist = 1e18;
    for (const Record &r : candidates) {
        const double d = (r.lat - lat) * (r.lat - lat) + (r.lon - lon) * (r.lon - lon);
        if (d < bestDist) {
            bestDist = d;
            best = r;
        }
    }
    return best;
}

} // namespace

OnlineNavDataProvider::OnlineNavDataProvider(const QString &serviceUrl, const QString &token, const QString &sourceName,
                                             QObject *parent, const QString &cacheDirectory)
    : QObject(parent), m_serviceUrl(serviceUrl.trimmed()), m_token(token.trimmed())
{
    while (m_serviceUrl.endsWith(QLatin1Char('/')))
        m_serviceUrl.chop(1);
    sourceFromName(sourceName, &m_source);
    const QString dir =
        cacheDirectory.isEmpty() ? QStandardPaths::writableLocation(QStandardPaths::CacheLocation) : cacheDirectory;
    m_cache = new NavCacheDb(dir, this);
    if (m_cache->open()) {
        m_cache->purgeExpired();
        m_cache->evictLRU(kCacheLimitBytes);
    }
    m_net = new QNetworkAccessManager(this);
    m_debounce = new QTimer(this);
    m_debounce->setSingleShot(true);
    m_debounce->setInterval(kDebounceMs);
    connect(m_debounce, &QTimer::timeout, this, &OnlineNavDataProvider::onDebounceTimeout);
    m_retry = new QTimer(this);
    m_retry->setInterval(kRetryMs);
    connect(m_retry, &QTimer::timeout, this, &OnlineNavDataProvider::testConnection);
    testConnection();
}

OnlineNavDataProvider::~OnlineNavDataProvider()
{
    // Replies still running would call back into a half-destroyed object.
    const QList<QNetworkReply *> replies = m_net->findChildren<QNetworkReply *>();
    for (QNetworkReply *reply : replies) {
        reply->disconnect(this);
        reply->abort();
    }
}

bool OnlineNavDataProvider::sourceFromName(const QString &name, NavDataSource *source)
{
    const int index = kSourceNames.indexOf(name.trimmed().toLower());
    *source = index < 0 ? XPlane11 : NavDataSource(index);
    return index >= 0;
}

QString OnlineNavDataProvider::sourceNameForDatabaseIndex(int index)
{
    switch (index) {
    case 1:
        return kSourceNames.at(XPlane12);
    case 2:
        return kSourceNames.at(P3D);
    case 3:
    case 4:
        return kSourceNames.at(MSFS2024);
    default:
        return kSourceNames.at(XPlane11);
    }
}

QString OnlineNavDataProvider::sourceName() const
{
    return kSourceNames.value(int(m_source), kSourceNames.first());
}

void OnlineNavDataProvider::setSource(NavDataSource source)
{
    if (source == m_source)
        return;
    m_source = source;
    clearMemory();
    setStatus(Connecting);
    testConnection();
    emit dataChanged();
}

void OnlineNavDataProvider::clearMemory()
{
    QWriteLocker locker(&m_lock);
    m_cycle = CycleInfo();
    m_airports.clear();
    m_runways.clear();
    m_navaids.clear();
    m_waypoints.clear();
    m_airways.clear();
    m_airspaces.clear();
    m_seen.clear();
    m_procedures.clear();
    m_legs.clear();
    m_parkings.clear();
    m_frequencies.clear();
    m_towers.clear();
    m_nodes.clear();
    m_edges.clear();
}

QNetworkReply *OnlineNavDataProvider::get(const QString &path, QUrlQuery query, Handler handler)
{
    query.addQueryItem(QStringLiteral("source"), sourceName());
    QUrl url(m_serviceUrl + kApi + path);
    url.setQuery(query);
    QNetworkRequest request(url);
    request.setRawHeader("Authorization", "Bearer " + m_token.toUtf8());
    request.setRawHeader("Accept", "application/json");
    request.setTransferTimeout(kRequestTimeoutMs);
    QNetworkReply *reply = m_net->get(request);
    // A broken or hostile service must not make the station buffer without end: past the bound
    // the reply is dropped (a box reply is well under a megabyte).
    connect(reply, &QNetworkReply::readyRead, this, [reply] {
        if (reply->bytesAvailable() > kMaxReplyBytes && !reply->property("tooLarge").toBool()) {
            reply->setProperty("tooLarge", true);
            reply->abort();
        }
    });
    connect(reply, &QNetworkReply::finished, this, [this, reply, handler = std::move(handler)] {
        reply->deleteLater();
        if (reply->property("tooLarge").toBool()) {
            handler(Outcome::Refused, QJsonObject(), QByteArray(),
                    QStringLiteral("reply larger than %1 MB").arg(kMaxReplyBytes / (1024 * 1024)));
            return;
        }
        const QVariant statusCode = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        const QByteArray raw = reply->readAll();
        if (reply->error() == QNetworkReply::OperationCanceledError && !statusCode.isValid() &&
            reply->property("superseded").toBool())
            return; // replaced by a newer request of the same kind
        if (!statusCode.isValid()) {
            handler(Outcome::Unreachable, QJsonObject(), QByteArray(), reply->errorString());
            return;
        }
        QJsonParseError parseError;
        const QJsonDocument doc = QJsonDocument::fromJson(raw, &parseError);
        if (reply->error() != QNetworkReply::NoError || !doc.isObject()) {
            QString error = reply->error() != QNetworkReply::NoError ? reply->errorString() : parseError.errorString();
            const QString serviceText = doc.object().value(QStringLiteral("error")).toString();
            if (!serviceText.isEmpty())
                error += QStringLiteral(" (%1)").arg(serviceText.left(200));
            handler(Outcome::Refused, QJsonObject(), QByteArray(), error);
            return;
        }
        handler(Outcome::Ok, doc.object(), raw, QString());
    });
    return reply;
}

void OnlineNavDataProvider::setStatus(Status status)
{
    {
        QWriteLocker locker(&m_lock);
        if (m_status == status)
            return;
        m_status = status;
    }
    emit statusChanged(status);
}

void OnlineNavDataProvider::noteOutcome(Outcome outcome)
{
    if (outcome == Outcome::Ok) {
        m_retry->stop();
        setStatus(Ready);
    } else if (outcome == Outcome::Unreachable) {
        setStatus(m_cache->isOpen() ? OfflineCache : Failed);
        if (!m_retry->isActive())
            m_retry->start();
    }
}

void OnlineNavDataProvider::testConnection()
{
    if (m_inFlight.contains(QStringLiteral("version")))
        return;
    m_inFlight.insert(QStringLiteral("version"));
    get(QStringLiteral("version"), QUrlQuery(),
        [this](Outcome outcome, const QJsonObject &reply, const QByteArray &, const QString &error) {
            m_inFlight.remove(QStringLiteral("version"));
            if (outcome == Outcome::Ok && reply.value(QStringLiteral("source")).toString() == sourceName() &&
                reply.contains(QStringLiteral("versions"))) {
                {
                    QWriteLocker locker(&m_lock);
                    m_cycle = onlinenav::parseCycle(reply.value(QStringLiteral("cycle")).toObject());
                }
                noteOutcome(Outcome::Ok);
                return;
            }
            logWarning(QStringLiteral("[OnlineNav] Connection test failed: %1")
                           .arg(outcome == Outcome::Ok ? QStringLiteral("not a navigation service reply") : error));
            if (outcome == Outcome::Unreachable) {
                noteOutcome(outcome);
            } else {
                // The service answers but refuses us (token, source): retrying will not help.
                m_retry->stop();
                setStatus(Failed);
            }
        });
}

void OnlineNavDataProvider::requestBbox(double north, double west, double south, double east, int zoom)
{
    m_pendingBox = QRectF(west, south, east - west, north - south);
    m_pendingZoom = zoom;
    if (!m_debounce->isActive())
        m_pendingSince.start();
    const qint64 left = kDebounceMaxWaitMs - m_pendingSince.elapsed();
    m_debounce->start(int(std::clamp<qint64>(left, 0, kDebounceMs)));
}

void OnlineNavDataProvider::onDebounceTimeout()
{
    const QRectF box = m_pendingBox;
    loadCachedBox(box);
    fetchBboxFromApi(box.y(), box.x(), box.y() + box.height(), box.x() + box.width(), m_pendingZoom);
}

void OnlineNavDataProvider::loadCachedBox(const QRectF &box)
{
    if (!m_cache->isOpen())
        return;
    QJsonObject layers;
    for (const QString &layer : kLayers) {
        QJsonArray all;
        const QList<QByteArray> tiles = m_cache->getTilesInBounds(sourceName(), layer, box.y(), box.x(),
                                                                  box.y() + box.height(), box.x() + box.width());
        for (const QByteArray &tile : tiles) {
            for (const QJsonValue &v : QJsonDocument::fromJson(tile).array())
                all.append(v);
        }
        if (!all.isEmpty())
            layers.insert(layer, all);
    }
    if (layers.isEmpty())
        return;
    mergeLayers(layers);
    emit dataChanged();
}

void OnlineNavDataProvider::fetchBboxFromApi(double minLat, double minLon, double maxLat, double maxLon, int zoom)
{
    if (m_bboxReply) {
        m_bboxReply->setProperty("superseded", true);
        m_bboxReply->abort();
    }
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("minLat"), QString::number(minLat, 'f', 10));
    query.addQueryItem(QStringLiteral("minLon"), QString::number(minLon, 'f', 10));
    query.addQueryItem(QStringLiteral("maxLat"), QString::number(maxLat, 'f', 10));
    query.addQueryItem(QStringLiteral("maxLon"), QString::number(maxLon, 'f', 10));
    query.addQueryItem(QStringLiteral("zoom"), QString::number(zoom));
    query.addQueryItem(QStringLiteral("layers"), kLayers.join(QLatin1Char(',')));
    const QRectF box(minLon, minLat, maxLon - minLon, maxLat - minLat);
    m_bboxReply =
        get(QStringLiteral("query"), query,
            [this, box, zoom](Outcome outcome, const QJsonObject &reply, const QByteArray &, const QString &error) {
                if (outcome != Outcome::Ok) {
                    logWarning(QStringLiteral("OnlineNavDataProvider: bbox request failed: %1").arg(error));
                    noteOutcome(outcome);
                    return;
                }
                noteOutcome(outcome);
                mergeLayers(reply);
                storeBoxTiles(box, reply, zoom);
                emit dataChanged();
            });
}

void OnlineNavDataProvider::storeBoxTiles(const QRectF &box, const QJsonObject &reply, int zoom)
{
    if (!m_cache->isOpen())
        return;
    const double minLat = box.y(), maxLat = box.y() + box.height();
    const double minLon = box.x(), maxLon = box.x() + box.width();
    const int lat0 = NavCacheDb::tileIndex(minLat), lat1 = NavCacheDb::tileIndex(maxLat);
    const int lon0 = NavCacheDb::tileIndex(minLon), lon1 = NavCacheDb::tileIndex(maxLon);
    if ((lat1 - lat0 + 1) * (lon1 - lon0 + 1) > kMaxTilesPerStore)
        return;
    const double size = NavCacheDb::kTileSizeDeg;
    // Below zoom 9 the service thins what it sends as the map would draw it: such a reply adds
    // to the cached tiles and updates what it holds, but removes nothing, so a tile once seen
    // close up keeps every fix for the day the server may be away.
    const bool complete = zoom >= kCompleteReplyZoom;
    for (const QString &layer : kLayers) {
        if (!reply.contains(layer))
            continue;
        const QJsonArray elements = reply.value(layer).toArray();
        QList<QRectF> extents;
        extents.reserve(elements.size());
        for (const QJsonValue &v : elements)
            extents.append(elementExtent(layer, v.toObject()));
        for (int lat = lat0; lat <= lat1; ++lat) {
            for (int lon = lon0; lon <= lon1; ++lon) {
                const QRectF tile(lat * size, lon * size, size, size);
                // The part of the tile this reply covers: replaced. The rest keeps what the tile had.
                const QRectF covered = tile.intersected(QRectF(minLat, minLon, maxLat - minLat, maxLon - minLon));
                const QString key = NavCacheDb::tileKey(lat, lon);
                QJsonArray merged;
                QSet<QString> arrived;
                for (int i = 0; i < elements.size(); ++i) {
                    if (extentMeets(extents.at(i), tile)) {
                        merged.append(elements.at(i));
                        if (!complete)
                            arrived.insert(elementIdentity(layer, elements.at(i).toObject()));
                    }
                }
                if (covered != tile || !complete) {
                    const QByteArray old = m_cache->getTile(sourceName(), key, layer);
                    for (const QJsonValue &v : QJsonDocument::fromJson(old).array()) {
                        const QJsonObject o = v.toObject();
                        const bool replaced = complete ? extentMeets(elementExtent(layer, o), covered)
                                                       : arrived.contains(elementIdentity(layer, o));
                        if (!replaced)
                            merged.append(v);
                    }
                }
                m_cache->putTile(sourceName(), key, layer, QJsonDocument(merged).toJson(QJsonDocument::Compact));
            }
        }
    }
    afterStore();
}

void OnlineNavDataProvider::afterStore()
{
    if (++m_storesSinceEvict < kEvictEveryStores)
        return;
    m_storesSinceEvict = 0;
    m_cache->purgeExpired();
    m_cache->evictLRU(kCacheLimitBytes);
}

void OnlineNavDataProvider::mergeLayers(const QJsonObject &layers)
{
    const QList<AirportRecord> airports = onlinenav::parseAirports(layers.value(QStringLiteral("airports")).toArray());
    const QList<RunwayRecord> runways = onlinenav::parseRunways(layers.value(QStringLiteral("runways")).toArray());
    const QList<NavaidRecord> navaids = onlinenav::parseNavaids(layers.value(QStringLiteral("navaids")).toArray());
    const QList<WaypointRecord> waypoints =
        onlinenav::parseWaypoints(layers.value(QStringLiteral("waypoints")).toArray());
    const QList<AirwaySegment> airways = onlinenav::parseAirways(layers.value(QStringLiteral("airways")).toArray());
    const QList<AirspaceRecord> airspaces =
        onlinenav::parseAirspaces(layers.value(QStringLiteral("airspaces")).toArray());

    QWriteLocker locker(&m_lock);
    if (m_navaids.size() + m_waypoints.size() + m_airways.size() + m_airspaces.size() > kMaxListRecords) {
        m_navaids.clear();
        m_waypoints.clear();
        m_airways.clear();
        m_airspaces.clear();
        m_seen.clear();
    }
    for (const AirportRecord &a : airports) {
        if (!a.icao.isEmpty())
            m_airports.insert(a.icao, a);
    }
    QHash<QString, QList<RunwayRecord>> byAirport;
    for (const RunwayRecord &r : runways)
        byAirport[r.airportIcao].append(r);
    for (auto it = byAirport.cbegin(); it != byAirport.cend(); ++it)
        m_runways.insert(it.key(), it.value());
    for (const NavaidRecord &n : navaids) {
        const QString key = QStringLiteral("N|") + n.ident + QLatin1Char('|') + n.type + coordKey(n.lat, n.lon);
        if (!m_seen.contains(key)) {
            m_seen.insert(key);
            m_navaids.append(n);
        }
    }
    for (const WaypointRecord &w : waypoints) {
        const QString key = QStringLiteral("W|") + w.ident + coordKey(w.lat, w.lon);
        if (!m_seen.contains(key)) {
            m_seen.insert(key);
            m_waypoints.append(w);
        }
    }
    for (const AirwaySegment &s : airways) {
        const QString key = QStringLiteral("A|") + s.name + QLatin1Char('|') + s.level +
                            coordKey(s.fromLat, s.fromLon) + QLatin1Char('|') + coordKey(s.toLat, s.toLon);
        if (!m_seen.contains(key)) {
            m_seen.insert(key);
            m_airways.append(s);
        }
    }
    for (const AirspaceRecord &a : airspaces) {
        const QString key = QStringLiteral("S|%1|").arg(a.id) + a.name;
        if (!m_seen.contains(key)) {
            m_seen.insert(key);
            m_airspaces.append(a);
        }
    }
}

void OnlineNavDataProvider::fetchSearch(const QString &query, const QString &type)
{
    static const QStringList types{"all", "airports", "navaids", "waypoints"};
    const QString scope = types.contains(type.toLower()) ? type.toLower() : QStringLiteral("all");
    const QString text = query.trimmed();
    if (text.isEmpty())
        return;
    // The same search in any letter case is the same request.
    const QString hash = QString::fromLatin1(
        QCryptographicHash::hash((scope + QLatin1Char('\n') + text.toUpper()).toUtf8(), QCryptographicHash::Sha1)
            .toHex());
    const QByteArray cached = m_cache->getSearchResult(sourceName(), hash);
    if (!cached.isEmpty()) {
        mergeLayers(QJsonDocument::fromJson(cached).object());
        emit dataChanged();
        return;
    }
    QUrlQuery q;
    q.addQueryItem(QStringLiteral("type"), scope);
    q.addQueryItem(QStringLiteral("q"), text);
    get(QStringLiteral("search"), q,
        [this, hash](Outcome outcome, const QJsonObject &reply, const QByteArray &raw, const QString &error) {
            noteOutcome(outcome);
            if (outcome != Outcome::Ok) {
                logWarning(QStringLiteral("[OnlineNav] fetchSearch error: %1").arg(error));
                return;
            }
            m_cache->putSearchResult(sourceName(), hash, raw);
            afterStore();
            mergeLayers(reply);
            emit dataChanged();
        });
}

void OnlineNavDataProvider::fetchAirport(const QString &icao)
{
    const QString id = icao.trimmed().toUpper();
    const QByteArray cached = m_cache->getAirportDetails(sourceName(), id);
    if (!cached.isEmpty()) {
        applyAirportDetails(id, QJsonDocument::fromJson(cached).object());
        return;
    }
    fetchAirportDetails(id);
}

void OnlineNavDataProvider::fetchAirportDetails(const QString &icao)
{
    const QString id = icao.trimmed().toUpper();
    const QString key = QStringLiteral("apt:%1:%2").arg(sourceName(), id);
    if (id.isEmpty() || m_inFlight.contains(key))
        return;
    m_inFlight.insert(key);
    get(QStringLiteral("airport/%1/details").arg(id), QUrlQuery(),
        [this, id, key](Outcome outcome, const QJsonObject &reply, const QByteArray &raw, const QString &error) {
            m_inFlight.remove(key);
            noteOutcome(outcome);
            if (outcome != Outcome::Ok) {
                logWarning(QStringLiteral("[OnlineNav] fetchAirportDetails error: %1").arg(error));
                return;
            }
            m_cache->putAirportDetails(sourceName(), id, raw);
            afterStore();
            applyAirportDetails(id, reply);
        });
}

void OnlineNavDataProvider::applyAirportDetails(const QString &icao, const QJsonObject &details)
{
    QList<RunwayRecord> runways = onlinenav::parseRunways(details.value(QStringLiteral("runways")).toArray());
    for (RunwayRecord &r : runways)
        r.airportIcao = icao;
    const QList<AirportRecord> airport = onlinenav::parseAirports(QJsonArray{details.value(QStringLiteral("airport"))});
    {
        QWriteLocker locker(&m_lock);
        if (!airport.isEmpty() && airport.first().icao == icao)
            m_airports.insert(icao, airport.first());
        m_runways.insert(icao, runways);
        m_parkings.insert(icao, onlinenav::parseParkings(icao, details.value(QStringLiteral("parkings")).toArray()));
        m_frequencies.insert(icao,
                             onlinenav::parseFrequencies(icao, details.value(QStringLiteral("frequencies")).toArray()));
        m_towers.insert(icao, onlinenav::parseTower(icao, details.value(QStringLiteral("tower"))));
        m_nodes.insert(icao, onlinenav::parseTaxiwayNodes(details.value(QStringLiteral("taxiway_nodes")).toArray()));
        m_edges.insert(icao, onlinenav::parseTaxiwayEdges(details.value(QStringLiteral("taxiway_edges")).toArray()));
    }
    emit runwaysReady(icao);
    emit dataChanged();
}

void OnlineNavDataProvider::fetchRunways(const QString &icao)
{
    const QString id = icao.trimmed().toUpper();
    const QString key = QStringLiteral("rwy:%1:%2").arg(sourceName(), id);
    if (id.isEmpty() || m_inFlight.contains(key))
        return;
    m_inFlight.insert(key);
    get(QStringLiteral("airport/%1/runways").arg(id), QUrlQuery(),
        [this, id, key](Outcome outcome, const QJsonObject &reply, const QByteArray &, const QString &error) {
            m_inFlight.remove(key);
            noteOutcome(outcome);
            if (outcome != Outcome::Ok) {
                logWarning(QStringLiteral("[OnlineNav] fetchRunways error: %1").arg(error));
                // Away from the service the cached details still know the runways.
                const QByteArray cached = m_cache->getAirportDetails(sourceName(), id);
                if (!cached.isEmpty())
                    applyAirportDetails(id, QJsonDocument::fromJson(cached).object());
                return;
            }
            QList<RunwayRecord> runways = onlinenav::parseRunways(reply.value(QStringLiteral("runways")).toArray());
            for (RunwayRecord &r : runways)
                r.airportIcao = id;
            {
                QWriteLocker locker(&m_lock);
                m_runways.insert(id, runways);
            }
            emit runwaysReady(id);
        });
}

void OnlineNavDataProvider::fetchProcedures(const QString &icao, const QString &type, const QString &runway)
{
    const QString id = icao.trimmed().toUpper();
    const QString kind =
        type.compare(QLatin1String("STAR"), Qt::CaseInsensitive) == 0 ? QStringLiteral("STAR") : QStringLiteral("SID");
    const QString key = QStringLiteral("proc:%1:%2:%3").arg(id, kind, runway);
    if (id.isEmpty() || m_inFlight.contains(key))
        return;
    const QByteArray cached = m_cache->getProcedures(sourceName(), id, kind);
    if (!cached.isEmpty()) {
        applyProcedures(id, kind, QJsonDocument::fromJson(cached).object());
        return;
    }
    m_inFlight.insert(key);
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("icao"), id);
    get(kind == QLatin1String("STAR") ? QStringLiteral("route/stars") : QStringLiteral("route/sids"), query,
        [this, id, kind, key](Outcome outcome, const QJsonObject &reply, const QByteArray &raw, const QString &error) {
            m_inFlight.remove(key);
            noteOutcome(outcome);
            if (outcome != Outcome::Ok) {
                logWarning(QStringLiteral("[OnlineNav] fetchProcedures error: %1").arg(error));
                return;
            }
            m_cache->putProcedures(sourceName(), id, kind, raw);
            afterStore();
            applyProcedures(id, kind, reply);
        });
}

void OnlineNavDataProvider::applyProcedures(const QString &icao, const QString &type, const QJsonObject &reply)
{
    QList<Procedure> procedures;
    QList<ProcedureLeg> legs;
    const QString arrayKey = type == QLatin1String("STAR") ? QStringLiteral("stars") : QStringLiteral("sids");
    onlinenav::parseProcedures(icao, type, reply.value(arrayKey).toArray(), &procedures, &legs);
    {
        QWriteLocker locker(&m_lock);
        m_procedures.erase(std::remove_if(m_procedures.begin(), m_procedures.end(),
                                          [&](const Procedure &p) { return p.airportIcao == icao && p.type == type; }),
                           m_procedures.end());
        m_legs.erase(std::remove_if(m_legs.begin(), m_legs.end(),
                                    [&](const ProcedureLeg &l) { return l.airportIcao == icao && l.procType == type; }),
                     m_legs.end());
        m_procedures += procedures;
        m_legs += legs;
    }
    emit proceduresReady(icao, type);
}

void OnlineNavDataProvider::fetchRoute(const QString &origin, const QString &destination, const QString &originRunway,
                                       const QString &departureProcedure, const QString &destRunway,
                                       const QString &arrivalProcedure)
{
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("origin"), origin.trimmed().toUpper());
    query.addQueryItem(QStringLiteral("destination"), destination.trimmed().toUpper());
    query.addQueryItem(QStringLiteral("origin_runway"), originRunway);
    query.addQueryItem(QStringLiteral("departure_procedure"), departureProcedure);
    query.addQueryItem(QStringLiteral("dest_runway"), destRunway);
    query.addQueryItem(QStringLiteral("arrival_procedure"), arrivalProcedure);
    get(QStringLiteral("route"), query,
        [this](Outcome outcome, const QJsonObject &reply, const QByteArray &, const QString &error) {
            noteOutcome(outcome);
            if (outcome != Outcome::Ok) {
                logWarning(QStringLiteral("[OnlineNav] fetchRoute error: %1").arg(error));
                return;
            }
            emit routeReady(reply);
        });
}

bool OnlineNavDataProvider::hasAirportDiagram(const QString &icao) const
{
    QReadLocker locker(&m_lock);
    return !m_nodes.value(icao).isEmpty() || !m_edges.value(icao).isEmpty();
}

bool OnlineNavDataProvider::loadAirportDiagram(const QString &icao)
{
    fetchAirport(icao);
    return true;
}

QList<AirportRecord> OnlineNavDataProvider::airports() const
{
    QReadLocker locker(&m_lock);
    return m_airports.values();
}

AirportRecord OnlineNavDataProvider::airport(const QString &icao) const
{
    QReadLocker locker(&m_lock);
    return m_airports.value(icao);
}

QList<AirportRecord> OnlineNavDataProvider::searchAirports(const QString &query) const
{
    const QString q = query.trimmed().toUpper();
    QList<AirportRecord> out;
    if (q.isEmpty())
        return out;
    QReadLocker locker(&m_lock);
    for (const AirportRecord &a : m_airports) {
        if (a.icao.startsWith(q) || a.name.contains(q, Qt::CaseInsensitive) || a.city.contains(q, Qt::CaseInsensitive))
            out.append(a);
    }
    return out;
}

QList<AirportRecord> OnlineNavDataProvider::airportsInBounds(double minLat, double minLon, double maxLat,
                                                             double maxLon) const
{
    QReadLocker locker(&m_lock);
    return pointsIn(m_airports, minLat, minLon, maxLat, maxLon);
}

QList<RunwayRecord> OnlineNavDataProvider::runways(const QString &icao) const
{
    QReadLocker locker(&m_lock);
    return m_runways.value(icao);
}

QList<NavaidRecord> OnlineNavDataProvider::navaids() const
{
    QReadLocker locker(&m_lock);
    return m_navaids;
}

QList<NavaidRecord> OnlineNavDataProvider::navaidsInBounds(double minLat, double minLon, double maxLat,
                                                           double maxLon) const
{
    QReadLocker locker(&m_lock);
    return pointsIn(m_navaids, minLat, minLon, maxLat, maxLon);
}

QList<NavaidRecord> OnlineNavDataProvider::searchNavaids(const QString &query) const
{
    QReadLocker locker(&m_lock);
    return searchByIdent(m_navaids, query);
}

NavaidRecord OnlineNavDataProvider::findNavaid(const QString &ident, const QString &type) const
{
    QReadLocker locker(&m_lock);
    for (const NavaidRecord &n : m_navaids) {
        if (n.ident == ident && (type.isEmpty() || n.type.compare(type, Qt::CaseInsensitive) == 0))
            return n;
    }
    return NavaidRecord();
}

NavaidRecord OnlineNavDataProvider::findNavaidNearest(const QString &ident, double lat, double lon,
                                                      const QString &type) const
{
    QList<NavaidRecord> candidates;
    QReadLocker locker(&m_lock);
    for (const NavaidRecord &n : m_navaids) {
        if (n.ident == ident && (type.isEmpty() || n.type.compare(type, Qt::CaseInsensitive) == 0))
            candidates.append(n);
    }
    return nearest(candidates, lat, lon);
}

QList<WaypointRecord> OnlineNavDataProvider::waypoints() const
{
    QReadLocker locker(&m_lock);
    return m_waypoints;
}

WaypointRecord OnlineNavDataProvider::waypoint(const QString &ident) const
{
    QReadLocker locker(&m_lock);
    for (const WaypointRecord &w : m_waypoints) {
        if (w.ident == ident)
            return w;
    }
    return WaypointRecord();
}

WaypointRecord OnlineNavDataProvider::findWaypoint(const QString &ident) const
{
    return waypoint(ident);
}

WaypointRecord OnlineNavDataProvider::findWaypointNearest(const QString &ident, double lat, double lon) const
{
    QList<WaypointRecord> candidates;
    QReadLocker locker(&m_lock);
    for (const WaypointRecord &w : m_waypoints) {
        if (w.ident == ident)
            candidates.append(w);
    }
    return nearest(candidates, lat, lon);
}

QList<WaypointRecord> OnlineNavDataProvider::waypointsInBounds(double minLat, double minLon, double maxLat,
                                                               double maxLon) const
{
    QReadLocker locker(&m_lock);
    return pointsIn(m_waypoints, minLat, minLon, maxLat, maxLon);
}

QList<WaypointRecord> OnlineNavDataProvider::searchWaypoints(const QString &query) const
{
    QReadLocker locker(&m_lock);
    return searchByIdent(m_waypoints, query);
}

QList<INavDataProvider::Procedure> OnlineNavDataProvider::procedures(const QString &icao, const QString &type) const
{
    QList<Procedure> out;
    QReadLocker locker(&m_lock);
    for (const Procedure &p : m_procedures) {
        if (p.airportIcao == icao && (type.isEmpty() || p.type == type))
            out.append(p);
    }
    return out;
}

QList<INavDataProvider::ProcedureLeg> OnlineNavDataProvider::procedureLegs(const QString &icao, const QString &procName,
                                                                           const QString &procType,
                                                                           const QString &runway) const
{
    QList<ProcedureLeg> out;
    {
        QReadLocker locker(&m_lock);
        for (const ProcedureLeg &l : m_legs) {
            if (l.airportIcao == icao && l.procName == procName && l.procType == procType && l.runway == runway)
                out.append(l);
        }
    }
    std::stable_sort(out.begin(), out.end(),
                     [](const ProcedureLeg &a, const ProcedureLeg &b) { return a.seq < b.seq; });
    return out;
}

QList<AirwaySegment> OnlineNavDataProvider::airways() const
{
    QReadLocker locker(&m_lock);
    return m_airways;
}

QList<AirwaySegment> OnlineNavDataProvider::airwaysInBounds(double minLat, double minLon, double maxLat,
                                                            double maxLon) const
{
    QList<AirwaySegment> out;
    QReadLocker locker(&m_lock);
    for (const AirwaySegment &s : m_airways) {
        if (boxesMeet(segmentExtent(s), minLat, minLon, maxLat, maxLon))
            out.append(s);
    }
    return out;
}

QList<AirspaceRecord> OnlineNavDataProvider::airspaces() const
{
    QReadLocker locker(&m_lock);
    return m_airspaces;
}

QList<AirspaceRecord> OnlineNavDataProvider::airspacesInBounds(double minLat, double minLon, double maxLat,
                                                               double maxLon) const
{
    QList<AirspaceRecord> out;
    QReadLocker locker(&m_lock);
    for (const AirspaceRecord &a : m_airspaces) {
        if (!a.boundary.isEmpty() && boxesMeet(boundaryExtent(a.boundary), minLat, minLon, maxLat, maxLon))
            out.append(a);
    }
    return out;
}

QMap<int, TaxiwayNode> OnlineNavDataProvider::taxiwayNodes(const QString &icao) const
{
    QReadLocker locker(&m_lock);
    return m_nodes.value(icao);
}

QList<TaxiwayEdge> OnlineNavDataProvider::taxiwayEdges(const QString &icao) const
{
    QReadLocker locker(&m_lock);
    return m_edges.value(icao);
}

QList<ParkingRecord> OnlineNavDataProvider::parkings(const QString &icao) const
{
    QReadLocker locker(&m_lock);
    return m_parkings.value(icao);
}

TowerRecord OnlineNavDataProvider::tower(const QString &icao) const
{
    QReadLocker locker(&m_lock);
    return m_towers.value(icao);
}

QList<FrequencyRecord> OnlineNavDataProvider::frequencies(const QString &icao) const
{
    QReadLocker locker(&m_lock);
    return m_frequencies.value(icao);
}

CycleInfo OnlineNavDataProvider::cycleInfo() const
{
    QReadLocker locker(&m_lock);
    return m_cycle;
}

INavDataProvider::Status OnlineNavDataProvider::status() const
{
    QReadLocker locker(&m_lock);
    return m_status;
}

QString OnlineNavDataProvider::statusMessage() const
{
    switch (status()) {
    case Ready:
        return tr("已连接 · %1").arg(sourceName());
    case Connecting:
        return tr("正在连接...");
    case OfflineCache:
        return tr("离线模式（使用缓存）");
    case Failed:
        return tr("连接失败");
    }
    return QString();
}
