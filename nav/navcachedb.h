#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>

#include <memory>

class ScopedSqlConnection;

// The online navigation provider's disk cache: the service's JSON replies as received, in the
// SQLite file "zobrel_nav_cache.db", each with the UTC time it was fetched and the time it
// expires. Reads never return an expired row, whether or not purgeExpired() has run.
//
// Bounding-box replies are stored per layer in tiles of one degree: the key "%1_%2" holds the
// tile's south-west corner as whole degrees of latitude and longitude (floor), e.g. "31_121".
//
// The connection stays open from open() to close(); GUI thread only.
class NavCacheDb : public QObject
{
    Q_OBJECT
public:
    static constexpr qint64 kTileLifetimeSecs = 86400;
    static constexpr qint64 kAirportLifetimeSecs = 604800;
    static constexpr qint64 kProcedureLifetimeSecs = 604800;
    static constexpr qint64 kSearchLifetimeSecs = 3600;
    // A file above this is deleted on open rather than trusted.
    static constexpr qint64 kMaxFileBytes = 524288000;
    static constexpr double kTileSizeDeg = 1.0;

    explicit NavCacheDb(const QString &directory, QObject *parent = nullptr);
    ~NavCacheDb() override;

    QString filePath() const;
    bool open();
    void close();
    bool isOpen() const;
    bool ensureSchema();

    static QString tileKey(int tileLat, int tileLon);
    static int tileIndex(double degrees);

    QByteArray getTile(const QString &source, const QString &tileKey, const QString &layer) const;
    bool putTile(const QString &source, const QString &tileKey, const QString &layer, const QByteArray &data);
    // The stored data of every unexpired tile that meets the box, one entry per tile.
    QList<QByteArray> getTilesInBounds(const QString &source, const QString &layer, double minLat, double minLon,
                                       double maxLat, double maxLon) const;
    QByteArray getAirportDetails(const QString &source, const QString &icao) const;
    bool putAirportDetails(const QString &source, const QString &icao, const QByteArray &data);
    QByteArray getSearchResult(const QString &source, const QString &queryHash) const;
    bool putSearchResult(const QString &source, const QString &queryHash, const QByteArray &data);
    QByteArray getProcedures(const QString &source, const QString &icao, const QString &type) const;
    bool putProcedures(const QString &source, const QString &icao, const QString &type, const QByteArray &data);

    bool clearAll();
    qint64 cacheSize() const;
    int purgeExpired();
    // Deletes the oldest entries until the stored replies take at most maxBytes.
    void evictLRU(qint64 maxBytes);

    // UTC date-time text as stored in fetched_at and expires_at; compares in time order as text.
    static QString timeText(const QDateTime &utc);

private:
    QByteArray readOne(const QString &sql, const QVariantList &keys) const;
    bool write(const QString &sql, const QVariantList &keys, const QByteArray &data, qint64 lifetimeSecs);

    QString m_directory;
    QString m_connectionName;
    std::unique_ptr<ScopedSqlConnection> m_connection;
};
