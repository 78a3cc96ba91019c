#pragma once

#include <QElapsedTimer>
#include <QHash>
#include <QMap>
#include <QObject>
#include <QPixmap>
#include <QRect>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <deque>

class QNetworkAccessManager;
class QNetworkReply;
class QSettings;
class QTimer;

// Supplies 256-pixel raster map tiles (GCJ-02 registered street or satellite imagery) to the map
// widget: decoded tiles in a bounded in-memory cache, every downloaded tile as a file in a disk
// cache that is never trimmed, and HTTP(S) downloads of missing tiles with up to three tries.
//
// Owned by the map widget (QObject parent); lives on the GUI thread and needs a QGuiApplication
// for its pixmaps. Tiles are addressed by column x, row y and zoom z in the usual XYZ scheme.
// The four numbered mirrors of the tile service come from two base addresses (settings
// "tileStreetBase" and "tileSatelliteBase"), handed in by the owner.
//
// A bad server cannot stall the map or exhaust memory: requests wait in a queue of our own and at
// most Limits::maxPerHost are sent to one host at a time (so none waits inside Qt's connection
// pool, where its transfer timer would run out before it is sent); each reply has an overall
// deadline, is given up early when it trickles, and is cut off once it exceeds the size cap
// (a tile is a few hundred kilobytes). A tile given up for being slow is retried at the back of
// the queue and such retries may hold only a third of a host's slots, so the other tiles go on.
class TileDownloader : public QObject
{
    Q_OBJECT
public:
    enum class MapType { Street = 0, Satellite = 1 };

    static constexpr char kStreetBaseKey[] = "tileStreetBase";
    static constexpr char kSatelliteBaseKey[] = "tileSatelliteBase";
    // Scheme and host of the public service's mirrors; "%1" becomes the mirror number 1 to 4.
    static constexpr char kDefaultStreetBase[] = "https://webrd0%1.is.autonavi.com";
    static constexpr char kDefaultSatelliteBase[] = "https://webst0%1.is.autonavi.com";
    static constexpr char kUserAgent[] = "Zobrel/0.3.0 (Qt6; flight-sim-utility)";
    static constexpr int kTransferTimeoutMs = 15000;
    static constexpr int kMaxMemoryTiles = 500;

    // What one reply may cost. The defaults suit a real tile service; tests make them small.
    struct Limits
    {
        int replyDeadlineMs = 30000;            // a reply still running after this is given up
        int slowCheckMs = 5000;                 // a reply running this long ...
        int minBytesPerSecond = 2048;           // ... with a lower average rate is given up as slow
        qint64 maxReplyBytes = 2 * 1024 * 1024; // larger replies are cut off and not retried
        int maxPerHost = 6;                     // requests in flight to one host (Qt's pool size)
    };

    explicit TileDownloader(QObject *parent = nullptr);
    ~TileDownloader() override;

    void setLimits(const Limits &limits);
    Limits limits() const { return m_limits; }

    // Folder holding "<type>/<z>/<x>/<y>.png". Unset, it is "tiles" in the user's cache folder.
    void setCacheRoot(const QString &dir);
    QString cacheRoot() const;

    // Base addresses such as "https://host0%1.example.com" or "http://127.0.0.1:8123" (no mirror
    // number); an empty text restores the default.
    void setStreetBase(const QString &base);
    void setSatelliteBase(const QString &base);
    // Reads both base addresses from the owner's settings, falling back to the defaults.
    void loadSettings(const QSettings &settings);

    // The tile from memory, else from disk (then kept in memory). Otherwise starts a download
    // unless one is under way for the tile and returns a null pixmap; tileReady follows on success.
    QPixmap getTile(int x, int y, int z);
    bool hasCache(int x, int y, int z) const;
    void downloadTile(int x, int y, int z);
    QString tileUrl(int x, int y, int z) const;
    QString tileCachePath(int x, int y, int z) const;

    // A different type empties the memory cache and forgets downloads under way; their replies
    // still land under their own keys.
    void setMapType(MapType type);
    MapType mapType() const { return m_mapType; }
    // Empties the memory cache and forgets downloads under way; files on disk stay.
    void clearCache();
    // Above 500 tiles in memory, drops the lowest keys in string order down to 400. The view
    // rectangle and margin are accepted for callers' convenience but do not influence the choice.
    void pruneCache(int zoom, const QRect &visibleRect, int margin);

    // Keys ("street/12/3372/1552") of the tiles now in memory, in ascending order.
    QStringList memoryKeys() const { return m_memory.keys(); }
    // True once a tile server has answered (any HTTP status) and until a request fails without an
    // answer (no network, refused, timed out); false before the first answer.
    bool serviceReachable() const { return m_reachable; }
    // Requests waiting for a free slot, and requests sent and not finished.
    int queuedCount() const { return int(m_queue.size()); }
    int inFlightCount() const { return int(m_running.size()); }

signals:
    void tileReady(int x, int y, int z);
    void serviceReachableChanged(bool reachable);

public slots:
    // Completion of a tile request; the sender must be its QNetworkReply.
    void onDownloadFinished();

private:
    struct Job
    {
        QUrl url;
        QString key;
        int x = 0;
        int y = 0;
        int z = 0;
        int retryCount = 0;
        bool slowBefore = false; // an earlier try of this tile was given up as slow
    };
    struct Running
    {
        QString host;
        bool slowBefore = false;
        QElapsedTimer started;
    };

    QString tileKey(int x, int y, int z) const;
    QString typeWord() const;
    void storeTile(const QByteArray &bytes, const QString &key, int x, int y, int z);
    void enqueue(const Job &job);
    void startQueued();
    void send(const Job &job);
    void onWatchdog();
    void onReplyProgress(QNetworkReply *reply, qint64 bytesReceived);
    void giveUp(QNetworkReply *reply, const char *reason);
    void setReachable(bool reachable);
    static QString hostOf(const QUrl &url);

    QNetworkAccessManager *m_network = nullptr;
    QTimer *m_watchdog = nullptr;
    Limits m_limits;
    std::deque<Job> m_queue;
    QHash<QNetworkReply *, Running> m_running;
    bool m_reachable = false;
    QMap<QString, QPixmap> m_memory;
    QSet<QString> m_pending;
    MapType m_mapType = MapType::Street;
    QString m_cacheRoot;
    QString m_streetBase;
    QString m_satelliteBase;
};
