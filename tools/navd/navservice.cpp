#include "navservice.h"

#include "boxreplycache.h"
#include "navreplyjson.h"

#include "nav/geodesy.h"
#include "nav/offlinenavdataprovider.h"

#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QFutureWatcher>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSet>
#include <QSslServer>
#include <QSslSocket>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>
#include <QtHttpServer/QHttpServerRequest>
#include <QtHttpServer/QHttpServerResponder>

#include <cmath>
#include <functional>

namespace {

const QString kPrefix = QStringLiteral("/api/v1/zobrel/nav/");
const QStringList kAllLayers{"airports", "navaids", "waypoints", "airways", "runways", "airspaces"};
constexpr int kMaxIcaoLength = 8;
constexpr int kMaxQueryLength = 64;
// A replaced file is read once the writer has been quiet this long.
constexpr int kReloadSettleMs = 500;
// Idle client entries are dropped when the table grows past this, so it stays bounded.
constexpr int kMaxTrackedClients = 10000;

QJsonObject errorBody(const QString &text)
{
    return QJsonObject{{"error", text}};
}

// A number parameter within [low, high]; the text must be a plain finite number.
bool numberParam(const QUrlQuery &query, const QString &key, double low, double high, double *out, QString *error)
{
    if (!query.hasQueryItem(key)) {
        *error = QStringLiteral("missing parameter %1").arg(key);
        return false;
    }
    bool ok = false;
    const double value = query.queryItemValue(key).toDouble(&ok);
    if (!ok || !std::isfinite(value) || value < low || value > high) {
        *error = QStringLiteral("parameter %1 must be a number from %2 to %3").arg(key).arg(low).arg(high);
        return false;
    }
    *out = value;
    return true;
}

bool validIcao(const QString &icao)
{
    static const QRegularExpression pattern(QStringLiteral("^[A-Z0-9]{2,%1}$").arg(kMaxIcaoLength));
    return pattern.match(icao).hasMatch();
}

template <typename Record> QJsonArray capped(const QList<Record> &records, QJsonObject (*toJson)(const Record &))
{
    QJsonArray out;
    for (const Record &r : records) {
        if (out.size() >= NavService::kMaxPerLayer)
            break;
        out.append(toJson(r));
    }
    return out;
}

// A plain listening server that hands each accepted connection to a hook before anyone else
// sees it, so the hook's connections to the socket's signals come first.
class HookedTcpServer : public QTcpServer
{
public:
    HookedTcpServer(std::function<void(QTcpSocket *)> onAccepted, QObject *parent)
        : QTcpServer(parent), m_onAccepted(std::move(onAccepted))
    {
    }

protected:
    void incomingConnection(qintptr handle) override
    {
        auto *socket = new QTcpSocket(this);
        if (!socket->setSocketDescriptor(handle)) {
            delete socket;
            return;
        }
        m_onAccepted(socket);
        addPendingConnection(socket);
    }

private:
    std::function<void(QTcpSocket *)> m_onAccepted;
};

} // namespace

struct NavService::Source
{
    QString name;
    QString path;
    std::unique_ptr<OfflineNavDataProvider> provider;
    QDateTime loadedModified;
    qint64 loadedSize = -1;
    QDateTime loadedAt;
    QFileSystemWatcher *watcher = nullptr;
    QTimer *settle = nullptr;
    QFutureWatcher<bool> *reloading = nullptr;
    // Airports whose ground layout was already looked for in the file.
    QSet<QString> diagramChecked;
    std::unique_ptr<BoxReplyCache> replies;
};

NavService::NavService(QObject *parent) : QAbstractHttpServer(parent)
{
    m_clock.start();
    m_idleSweep = new QTimer(this);
    connect(m_idleSweep, &QTimer::timeout, this, &NavService::closeIdleConnections);
    setIdleTimeout(kDefaultIdleTimeoutMs);
}

void NavService::setIdleTimeout(int ms)
{
    m_idleTimeoutMs = ms;
    if (ms <= 0) {
        m_idleSweep->stop();
        return;
    }
    // Looked at a few times per timeout: a connection goes at most a quarter late.
    m_idleSweep->start(std::max(50, ms / 4));
}

void NavService::closeIdleConnections()
{
    const qint64 now = m_clock.elapsed();
    // The listening servers own their accepted connections; new ones are found here, so even a
    // client that never sends a byte is timed.
    for (QTcpServer *server : servers()) {
        for (QTcpSocket *socket : server->findChildren<QTcpSocket *>(QString(), Qt::FindDirectChildrenOnly)) {
            const auto it = m_lastActivity.constFind(socket);
            if (it == m_lastActivity.cend()) {
                m_lastActivity.insert(socket, now);
                const auto touch = [this, socket] { m_lastActivity[socket] = m_clock.elapsed(); };
                connect(socket, &QIODevice::readyRead, this, touch);
                connect(socket, &QIODevice::bytesWritten, this, touch);
                connect(socket, &QObject::destroyed, this, [this, socket] { m_lastActivity.remove(socket); });
            } else if (now - it.value() > m_idleTimeoutMs && socket->state() != QAbstractSocket::UnconnectedState) {
                socket->abort();
            }
        }
    }
}

void NavService::sslSetup(const QSslCertificate &certificate, const QSslKey &privateKey, QSsl::SslProtocol protocol)
{
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    tls.setLocalCertificate(certificate);
    tls.setPrivateKey(privateKey);
    tls.setProtocol(protocol);
    m_tls = tls;
}

quint16 NavService::listen(const QHostAddress &address, quint16 port)
{
    QTcpServer *server = nullptr;
    if (m_tls) {
        auto *secure = new QSslServer(this);
        secure->setSslConfiguration(*m_tls);
        // Announced before the handshake, long before the HTTP server takes the connection.
        connect(secure, &QSslServer::startedEncryptionHandshake, this,
                [this](QSslSocket *socket) { limitRequestSize(socket); });
        server = secure;
    } else {
        server = new HookedTcpServer([this](QTcpSocket *socket) { limitRequestSize(socket); }, this);
    }
    if (!server->listen(address, port)) {
        delete server;
        return 0;
    }
    bind(server);
    return server->serverPort();
}

void NavService::limitRequestSize(QTcpSocket *socket)
{
    m_requestBytes.insert(socket, 0);
    // The HTTP server reads all that is available on each readyRead (keeping it, within a read
    // transaction, until the request is whole), so what is available here is what arrived since
    // the last one: at most what the kernel's receive buffer held.
    connect(socket, &QIODevice::readyRead, this, [this, socket] {
        qint64 &sent = m_requestBytes[socket];
        sent += socket->bytesAvailable();
        if (sent <= kMaxRequestBytes)
            return;
        // Nobody else is to read what is already here: the HTTP server's reader, connected
        // after this one, is not called for it.
        disconnect(socket, &QIODevice::readyRead, nullptr, nullptr);
        socket->abort();
    });
    connect(socket, &QObject::destroyed, this, [this, socket] { m_requestBytes.remove(socket); });
}

NavService::~NavService()
{
    for (auto &entry : m_sources) {
        if (entry.second->reloading)
            entry.second->reloading->waitForFinished();
    }
}

bool NavService::addSource(const QString &name, const QString &path, QString *error)
{
    auto source = std::make_unique<Source>();
    source->name = name;
    source->path = QFileInfo(path).absoluteFilePath();
    source->provider = std::make_unique<OfflineNavDataProvider>();
    source->replies = std::make_unique<BoxReplyCache>(m_replyCacheBytes);
    const QFileInfo info(source->path);
    if (!info.isFile() || !source->provider->loadFromDatabase(source->path)) {
        *error = QStringLiteral("cannot load the navigation database %1 for source %2").arg(path, name);
        return false;
    }
    source->loadedModified = info.lastModified();
    source->loadedSize = info.size();
    source->loadedAt = QDateTime::currentDateTimeUtc();
    source->replies->prepare(*source->provider);
    Source *raw = source.get();
    m_sources[name] = std::move(source);
    watch(raw);
    return true;
}

void NavService::watch(Source *source)
{
    source->watcher = new QFileSystemWatcher(this);
    source->settle = new QTimer(this);
    source->settle->setSingleShot(true);
    source->settle->setInterval(kReloadSettleMs);
    // A file replaced by rename is a new file: the directory tells of it, the old path's watch is gone.
    source->watcher->addPath(source->path);
    source->watcher->addPath(QFileInfo(source->path).absolutePath());
    connect(source->watcher, &QFileSystemWatcher::fileChanged, this, [this, source] { onFileChanged(source); });
    connect(source->watcher, &QFileSystemWatcher::directoryChanged, this, [this, source] { onFileChanged(source); });
    connect(source->settle, &QTimer::timeout, this, [this, source] { reload(source); });
}

void NavService::onFileChanged(Source *source)
{
    if (!source->watcher->files().contains(source->path) && QFileInfo::exists(source->path))
        source->watcher->addPath(source->path);
    source->settle->start();
}

void NavService::reload(Source *source)
{
    const QFileInfo info(source->path);
    if (!info.isFile())
        return; // Removed: keep serving what was read; a new file triggers another change.
    if (info.lastModified() == source->loadedModified && info.size() == source->loadedSize)
        return;
    if (source->reloading) {
        source->settle->start(); // One read at a time; look again when this one is done.
        return;
    }
    source->loadedModified = info.lastModified();
    source->loadedSize = info.size();
    OfflineNavDataProvider *provider = source->provider.get();
    const QString path = source->path;
    // The reply cache of the new data is indexed off this thread too, and replaces the old one
    // when the load is done; until then replies come from the old snapshot.
    auto fresh = std::make_shared<std::unique_ptr<BoxReplyCache>>(std::make_unique<BoxReplyCache>(m_replyCacheBytes));
    source->reloading = new QFutureWatcher<bool>(this);
    connect(source->reloading, &QFutureWatcher<bool>::finished, this, [this, source, fresh] {
        const bool ok = source->reloading->result();
        source->reloading->deleteLater();
        source->reloading = nullptr;
        if (ok) {
            source->loadedAt = QDateTime::currentDateTimeUtc();
            source->diagramChecked.clear();
            source->replies = std::move(*fresh);
        }
        qInfo("zobrel-navd: %s reloaded from %s: %s", qPrintable(source->name), qPrintable(source->path),
              ok ? "ok" : "failed, previous data kept");
        emit sourceReloaded(source->name, ok);
    });
    // The provider reads into fresh containers and swaps them in under its lock only when the
    // whole file was read, so requests see the old data or the new, never a mixture.
    source->reloading->setFuture(QtConcurrent::run([provider, path, fresh] {
        if (!provider->loadFromDatabase(path))
            return false;
        (*fresh)->prepare(*provider);
        return true;
    }));
}

bool NavService::allowRequest(const QString &client)
{
    if (m_ratePerSecond <= 0.0)
        return true;
    const qint64 now = m_clock.elapsed();
    const double burst = 2.0 * m_ratePerSecond;
    if (m_buckets.size() > kMaxTrackedClients) {
        for (auto it = m_buckets.begin(); it != m_buckets.end();)
            it = (now - it->lastMs > 60000) ? m_buckets.erase(it) : std::next(it);
    }
    auto it = m_buckets.find(client);
    if (it == m_buckets.end())
        it = m_buckets.insert(client, Bucket{burst, now});
    it->tokens = std::min(burst, it->tokens + (now - it->lastMs) / 1000.0 * m_ratePerSecond);
    it->lastMs = now;
    if (it->tokens < 1.0)
        return false;
    it->tokens -= 1.0;
    return true;
}

bool NavService::handleRequest(const QHttpServerRequest &request, QTcpSocket *socket)
{
    // A whole request arrived: the next one may have its own share.
    const auto sent = m_requestBytes.find(socket);
    if (sent != m_requestBytes.end())
        *sent = 0;
    if (socket->bytesToWrite() > kMaxUnsentBytes) {
        // Asking without reading: nothing more is queued for it, and it is let go.
        QTimer::singleShot(0, socket, [socket] { socket->abort(); });
        return true;
    }
    const Reply reply = dispatch(request);
    const auto status = static_cast<QHttpServerResponder::StatusCode>(reply.status);
    // Compact: indentation would double the size of large replies.
    const QByteArray body = reply.raw.isNull() ? QJsonDocument(reply.body).toJson(QJsonDocument::Compact) : reply.raw;
    makeResponder(request, socket).write(body, QByteArrayLiteral("application/json"), status);
    return true;
}

void NavService::missingHandler(const QHttpServerRequest &request, QTcpSocket *socket)
{
    makeResponder(request, socket)
        .write(QJsonDocument(errorBody(QStringLiteral("not found"))).toJson(QJsonDocument::Compact),
               QByteArrayLiteral("application/json"), QHttpServerResponder::StatusCode::NotFound);
}

NavService::Reply NavService::dispatch(const QHttpServerRequest &request)
{
    if (!allowRequest(request.remoteAddress().toString()))
        return {429, errorBody(QStringLiteral("too many requests"))};
    const QByteArray authorization = request.value("Authorization");
    const QByteArray bearer("Bearer ");
    if (!authorization.startsWith(bearer) || !m_tokens.accepts(authorization.mid(bearer.size())))
        return {401, errorBody(QStringLiteral("missing or invalid access token"))};
    if (request.method() != QHttpServerRequest::Method::Get)
        return {405, errorBody(QStringLiteral("only GET is served"))};

    const QString path = request.url().path();
    const QUrlQuery query(request.url());
    if (!path.startsWith(kPrefix))
        return {404, errorBody(QStringLiteral("not found"))};
    const QStringList parts = path.mid(kPrefix.size()).split(QLatin1Char('/'));
    if (parts == QStringList{"version"})
        return version(query);
    if (parts == QStringList{"query"})
        return bbox(query);
    if (parts == QStringList{"search"})
        return search(query);
    if (parts == QStringList{"route"})
        return route(query);
    if (parts.size() == 2 && parts.at(0) == QLatin1String("route") &&
        (parts.at(1) == QLatin1String("sids") || parts.at(1) == QLatin1String("stars")))
        return procedures(parts.at(1), query);
    if (parts.size() == 3 && parts.at(0) == QLatin1String("airport")) {
        if (parts.at(2) == QLatin1String("details"))
            return airportDetails(parts.at(1), query);
        if (parts.at(2) == QLatin1String("runways"))
            return airportRunways(parts.at(1), query);
    }
    return {404, errorBody(QStringLiteral("not found"))};
}

NavService::Source *NavService::sourceFor(const QUrlQuery &query, Reply *failure) const
{
    const QString name = query.queryItemValue(QStringLiteral("source"));
    if (name.isEmpty()) {
        *failure = {400, errorBody(QStringLiteral("missing parameter source"))};
        return nullptr;
    }
    const auto it = m_sources.find(name);
    if (it == m_sources.end()) {
        *failure = {404, errorBody(QStringLiteral("unknown source"))};
        return nullptr;
    }
    return it->second.get();
}

NavService::Reply NavService::version(const QUrlQuery &query) const
{
    Reply failure;
    const Source *source = sourceFor(query, &failure);
    if (!source)
        return failure;
    QJsonArray versions;
    for (const auto &entry : m_sources) {
        const CycleInfo c = entry.second->provider->cycleInfo();
        versions.append(
            QJsonObject{{"source", entry.first},
                        {"cycle", QStringLiteral("%1%2").arg(c.cycleMajor).arg(c.cycleMinor, 2, 10, QLatin1Char('0'))},
                        {"loaded_at", entry.second->loadedAt.toString(Qt::ISODate)}});
    }
    return {200, QJsonObject{{"versions", versions},
                             {"cycle", navreply::cycle(source->provider->cycleInfo())},
                             {"source", source->name}}};
}

NavService::Reply NavService::bbox(const QUrlQuery &query) const
{
    Reply failure;
    const Source *source = sourceFor(query, &failure);
    if (!source)
        return failure;
    BoxReplyCache::Box box;
    double zoomValue = 0;
    QString error;
    if (!numberParam(query, QStringLiteral("minLat"), -90, 90, &box.minLat, &error) ||
        !numberParam(query, QStringLiteral("maxLat"), -90, 90, &box.maxLat, &error) ||
        !numberParam(query, QStringLiteral("minLon"), -180, 180, &box.minLon, &error) ||
        !numberParam(query, QStringLiteral("maxLon"), -180, 180, &box.maxLon, &error) ||
        !numberParam(query, QStringLiteral("zoom"), 0, 22, &zoomValue, &error))
        return {400, errorBody(error)};
    if (box.minLat > box.maxLat || box.minLon > box.maxLon)
        return {400, errorBody(QStringLiteral("the box's minimum exceeds its maximum"))};
    unsigned layers = 0;
    const QStringList names =
        query.hasQueryItem(QStringLiteral("layers"))
            ? query.queryItemValue(QStringLiteral("layers")).split(QLatin1Char(','), Qt::SkipEmptyParts)
            : kAllLayers;
    for (const QString &layer : names) {
        const unsigned bit = BoxReplyCache::layerBit(layer);
        if (bit == 0)
            return {400, errorBody(QStringLiteral("unknown layer %1").arg(layer.left(32)))};
        layers |= bit;
    }
    Reply reply;
    reply.raw = source->replies->reply(*source->provider, source->name, box, int(zoomValue), layers);
    return reply;
}

NavService::Reply NavService::search(const QUrlQuery &query) const
{
    Reply failure;
    const Source *source = sourceFor(query, &failure);
    if (!source)
        return failure;
    const QString text = query.queryItemValue(QStringLiteral("q")).trimmed();
    if (text.isEmpty() || text.size() > kMaxQueryLength)
        return {400, errorBody(QStringLiteral("parameter q must hold 1 to %1 characters").arg(kMaxQueryLength))};
    QString type = query.queryItemValue(QStringLiteral("type"));
    if (type.isEmpty())
        type = QStringLiteral("all");
    static const QStringList types{"all", "airports", "navaids", "waypoints"};
    if (!types.contains(type))
        return {400, errorBody(QStringLiteral("parameter type must be all, airports, navaids or waypoints"))};
    const OfflineNavDataProvider &p = *source->provider;
    QJsonObject body{{"source", source->name}, {"query", text}, {"type", type}};
    if (type == QLatin1String("all") || type == QLatin1String("airports"))
        body.insert("airports",
                    capped<AirportRecord>(p.searchAirports(text).mid(0, kMaxSearchResults), &navreply::airport));
    if (type == QLatin1String("all") || type == QLatin1String("navaids"))
        body.insert("navaids",
                    capped<NavaidRecord>(p.searchNavaids(text).mid(0, kMaxSearchResults), &navreply::navaid));
    if (type == QLatin1String("all") || type == QLatin1String("waypoints"))
        body.insert("waypoints",
                    capped<WaypointRecord>(p.searchWaypoints(text).mid(0, kMaxSearchResults), &navreply::waypoint));
    return {200, body};
}

NavService::Reply NavService::airportDetails(const QString &icao, const QUrlQuery &query) const
{
    Reply failure;
    Source *source = sourceFor(query, &failure);
    if (!source)
        return failure;
    if (!validIcao(icao))
        return {400, errorBody(QStringLiteral("malformed airport identifier"))};
    OfflineNavDataProvider &p = *source->provider;
    const AirportRecord airport = p.airport(icao);
    if (airport.icao.isEmpty())
        return {404, errorBody(QStringLiteral("unknown airport"))};
    if (!source->diagramChecked.contains(icao)) {
        source->diagramChecked.insert(icao);
        if (p.taxiwayNodes(icao).isEmpty())
            p.loadTaxiwayData(icao);
    }
    const QList<RunwayRecord> runwayList = p.runways(icao);
    QJsonArray runways, parkings, frequencies, nodes, edges;
    for (const RunwayRecord &r : runwayList)
        runways.append(navreply::runwayWithReciprocal(r, runwayList));
    for (const ParkingRecord &r : p.parkings(icao))
        parkings.append(navreply::parking(r));
    for (const FrequencyRecord &r : p.frequencies(icao))
        frequencies.append(navreply::frequency(r));
    for (const TaxiwayNode &n : p.taxiwayNodes(icao))
        nodes.append(navreply::taxiwayNode(n));
    for (const TaxiwayEdge &e : p.taxiwayEdges(icao))
        edges.append(navreply::taxiwayEdge(e));
    const TowerRecord tower = p.tower(icao);
    return {200, QJsonObject{{"airport", navreply::airport(airport)},
                             {"runways", runways},
                             {"parkings", parkings},
                             {"frequencies", frequencies},
                             {"tower", tower.airportIcao.isEmpty() ? QJsonValue() : navreply::tower(tower)},
                             {"taxiway_nodes", nodes},
                             {"taxiway_edges", edges}}};
}

NavService::Reply NavService::airportRunways(const QString &icao, const QUrlQuery &query) const
{
    Reply failure;
    const Source *source = sourceFor(query, &failure);
    if (!source)
        return failure;
    if (!validIcao(icao))
        return {400, errorBody(QStringLiteral("malformed airport identifier"))};
    if (source->provider->airport(icao).icao.isEmpty())
        return {404, errorBody(QStringLiteral("unknown airport"))};
    QJsonArray runways;
    for (const RunwayRecord &r : source->provider->runways(icao))
        runways.append(navreply::runway(r));
    return {200, QJsonObject{{"airport_icao", icao}, {"runways", runways}}};
}

NavService::Reply NavService::procedures(const QString &kind, const QUrlQuery &query) const
{
    Reply failure;
    const Source *source = sourceFor(query, &failure);
    if (!source)
        return failure;
    const QString icao = query.queryItemValue(QStringLiteral("icao"));
    if (!validIcao(icao))
        return {400, errorBody(QStringLiteral("parameter icao must be an airport identifier"))};
    const OfflineNavDataProvider &p = *source->provider;
    if (p.airport(icao).icao.isEmpty())
        return {404, errorBody(QStringLiteral("unknown airport"))};
    const QString type = kind == QLatin1String("sids") ? QStringLiteral("SID") : QStringLiteral("STAR");
    QJsonArray list;
    for (const INavDataProvider::Procedure &proc : p.procedures(icao, type)) {
        QJsonArray legs;
        for (const INavDataProvider::ProcedureLeg &leg : p.procedureLegs(icao, proc.name, proc.type, proc.runwayIdent))
            legs.append(navreply::procedureLeg(leg));
        list.append(QJsonObject{{"name", proc.name}, {"runway_ident", proc.runwayIdent}, {"legs", legs}});
    }
    return {200, QJsonObject{{"airport_icao", icao}, {kind, list}}};
}

NavService::Reply NavService::route(const QUrlQuery &query) const
{
    Reply failure;
    const Source *source = sourceFor(query, &failure);
    if (!source)
        return failure;
    const QString origin = query.queryItemValue(QStringLiteral("origin"));
    const QString destination = query.queryItemValue(QStringLiteral("destination"));
    if (!validIcao(origin) || !validIcao(destination))
        return {400, errorBody(QStringLiteral("parameters origin and destination must be airport identifiers"))};
    const OfflineNavDataProvider &p = *source->provider;
    const AirportRecord from = p.airport(origin);
    const AirportRecord to = p.airport(destination);
    if (from.icao.isEmpty() || to.icao.isEmpty())
        return {404, errorBody(QStringLiteral("unknown airport"))};
    auto procedure = [&p](const QString &icao, const QString &type, const QString &name, const QString &runway) {
        QJsonArray legs;
        if (!name.isEmpty()) {
            for (const INavDataProvider::ProcedureLeg &leg : p.procedureLegs(icao, name, type, runway))
                legs.append(navreply::procedureLeg(leg));
        }
        return QJsonObject{{"name", name}, {"runway_ident", runway}, {"legs", legs}};
    };
    const QString originRunway = query.queryItemValue(QStringLiteral("origin_runway"));
    const QString destRunway = query.queryItemValue(QStringLiteral("dest_runway"));
    return {200,
            QJsonObject{
                {"origin", navreply::airport(from)},
                {"destination", navreply::airport(to)},
                {"departure", procedure(origin, QStringLiteral("SID"),
                                        query.queryItemValue(QStringLiteral("departure_procedure")), originRunway)},
                {"arrival", procedure(destination, QStringLiteral("STAR"),
                                      query.queryItemValue(QStringLiteral("arrival_procedure")), destRunway)},
                {"distance", geodesy::distanceNm(from.lat, from.lon, to.lat, to.lon, geodesy::kNavSphereRadiusNm)}}};
}
