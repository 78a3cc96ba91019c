#pragma once

#include "tokenlist.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QHash>
#include <QJsonObject>
#include <QMap>
#include <QSslConfiguration>
#include <QUrlQuery>
#include <QtHttpServer/QAbstractHttpServer>

#include <memory>
#include <optional>

class OfflineNavDataProvider;
class QFileSystemWatcher;
class QTimer;

// The navigation web service: every path under /api/v1/zobrel/nav/ answered from navigation
// databases of the station's offline schema, one per source name, each read whole into an
// OfflineNavDataProvider so that bounding-box replies come from its spatial index.
//
// Runs on one thread's event loop; each connection is parsed as its bytes arrive, so a slow
// client only holds its own socket. A database file that is replaced is read again in the
// background and swapped in whole; requests meanwhile answer from the previous data.
class NavService : public QAbstractHttpServer
{
    Q_OBJECT
public:
    // Reply bounds: no layer carries more elements than this, whatever the box.
    static constexpr int kMaxPerLayer = 5000;
    static constexpr qint64 kDefaultReplyCacheBytes = 256 * 1024 * 1024;
    static constexpr int kDefaultIdleTimeoutMs = 30000;
    // Replies a client has not taken yet beyond which its connection is closed.
    static constexpr qint64 kMaxUnsentBytes = 16 * 1024 * 1024;
    static constexpr int kMaxSearchResults = 200;
    // Bytes a connection may send towards one request (its headers and any body). Every request
    // the service answers is a GET of well under a kilobyte; the HTTP parser keeps a request's
    // bytes until it is complete, so a connection past this is cut off before it buffers more.
    static constexpr qint64 kMaxRequestBytes = 64 * 1024;

    explicit NavService(QObject *parent = nullptr);
    ~NavService() override;

    // Loads the database now; false with the reason when it cannot be read.
    bool addSource(const QString &name, const QString &path, QString *error);
    void setTokens(const TokenList &tokens) { m_tokens = tokens; }
    // Requests per second a client address may make on average, with a burst of twice that;
    // 0 switches the limit off.
    void setRateLimit(double perSecond) { m_ratePerSecond = perSecond; }
    // A connection that neither sends nor takes a byte for this long is closed, whatever state
    // its request or reply is in, so idle or stalled clients cannot pile up; 0 switches it off.
    void setIdleTimeout(int ms);
    // Serve HTTPS with this certificate on the servers listen() opens from now on.
    void sslSetup(const QSslCertificate &certificate, const QSslKey &privateKey,
                  QSsl::SslProtocol protocol = QSsl::SecureProtocols);
    // Opens a listening server, HTTPS after sslSetup(), whose connections are held to
    // kMaxRequestBytes; the port it listens on (the chosen one for port 0), or 0 on failure.
    // Used instead of the base class's, whose servers would buffer any amount a client sends.
    quint16 listen(const QHostAddress &address = QHostAddress::Any, quint16 port = 0);
    // Bound of the encoded box replies kept per database; for sources added after the call.
    void setReplyCacheBytes(qint64 bytes) { m_replyCacheBytes = bytes; }

signals:
    // A replaced database file was read again (or could not be, and the old data stays).
    void sourceReloaded(const QString &name, bool success);

protected:
    bool handleRequest(const QHttpServerRequest &request, QTcpSocket *socket) override;
    void missingHandler(const QHttpServerRequest &request, QTcpSocket *socket) override;

private:
    struct Source;
    struct Reply
    {
        Reply() = default;
        Reply(int s, QJsonObject b) : status(s), body(std::move(b)) {}
        int status = 200;
        QJsonObject body;
        // Already encoded; replaces the body when set.
        QByteArray raw;
    };

    Reply dispatch(const QHttpServerRequest &request);
    Reply version(const QUrlQuery &query) const;
    Reply bbox(const QUrlQuery &query) const;
    Reply search(const QUrlQuery &query) const;
    Reply airportDetails(const QString &icao, const QUrlQuery &query) const;
    Reply airportRunways(const QString &icao, const QUrlQuery &query) const;
    Reply procedures(const QString &kind, const QUrlQuery &query) const;
    Reply route(const QUrlQuery &query) const;
    // The source named by the query's "source", or null with a 400/404 reply filled in.
    Source *sourceFor(const QUrlQuery &query, Reply *failure) const;
    bool allowRequest(const QString &client);
    void closeIdleConnections();
    // Counts what an accepted connection sends; connected before the HTTP server's own reader.
    void limitRequestSize(QTcpSocket *socket);
    void watch(Source *source);
    void onFileChanged(Source *source);
    void reload(Source *source);

    std::map<QString, std::unique_ptr<Source>> m_sources;
    TokenList m_tokens;
    double m_ratePerSecond = 50.0;
    qint64 m_replyCacheBytes = kDefaultReplyCacheBytes;
    struct Bucket
    {
        double tokens = 0.0;
        qint64 lastMs = 0;
    };
    QHash<QString, Bucket> m_buckets;
    QElapsedTimer m_clock;
    int m_idleTimeoutMs = 0;
    QTimer *m_idleSweep = nullptr;
    // Connections by the time they last sent or took bytes (m_clock milliseconds).
    QHash<QTcpSocket *, qint64> m_lastActivity;
    // Bytes each connection has sent since its last complete request.
    QHash<QTcpSocket *, qint64> m_requestBytes;
    std::optional<QSslConfiguration> m_tls;
};
