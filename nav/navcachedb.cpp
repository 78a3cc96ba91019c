#include "nav/navcachedb.h"

#include "app/log/applogger.h"
#include "nav/sqlconnection.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include <cmath>

namespace {

const QString kCategory = QStringLiteral("NavCache");
const QString kFileName = QStringLiteral("zobrel_nav_cache.db");
const QStringList kTables{"bbox_tiles", "airport_details", "search_results", "procedures_cache"};
// Beyond this many tiles a bounds read gives up: such a box is a continent at a zoom whose
// replies are thinned anyway.
constexpr int kMaxTilesPerRead = 2500;

void logWarning(const QString &text)
{
    AppLogger::instance().log(AppLogger::Warning, kCategory, text);
}

QString nowText()
{
    return NavCacheDb::timeText(QDateTime::currentDateTimeUtc());
}

} // namespace

NavCacheDb::NavCacheDb(const QString &directory, QObject *parent) : QObject(parent), m_directory(directory) {}

NavCacheDb::~NavCacheDb()
{
    close();
}

QString NavCacheDb::filePath() const
{
    return QDir(m_directory).filePath(kFileName);
}

QString NavCacheDb::timeText(const QDateTime &utc)
{
    return utc.toUTC().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzzZ"));
}

QString NavCacheDb::tileKey(int tileLat, int tileLon)
{
    return QStringLiteral("%1_%2").arg(tileLat).arg(tileLon);
}

int NavCacheDb::tileIndex(double degrees)
{
    return int(std::floor(degrees / kTileSizeDeg));
}

bool NavCacheDb::isOpen() const
{
    return m_connection != nullptr;
}

bool NavCacheDb::open()
{
    close();
    const QString path = filePath();
    const QFileInfo info(path);
    if (info.exists() && info.size() > kMaxFileBytes) {
        logWarning(
            QStringLiteral("NavCacheDb: cache file too large (%1 MB), removing").arg(info.size() / (1024 * 1024)));
        QFile::remove(path);
        QFile::remove(path + QStringLiteral("-wal"));
        QFile::remove(path + QStringLiteral("-shm"));
    }
    QDir().mkpath(m_directory);
    // The fixed name is taken while a replaced provider's cache is still closing: use another.
    m_connectionName = QSqlDatabase::contains(QStringLiteral("nav_cache"))
                           ? ScopedSqlConnection::uniqueName(QStringLiteral("nav_cache_%1"))
                           : QStringLiteral("nav_cache");
    auto connection = std::make_unique<ScopedSqlConnection>(m_connectionName, path);
    if (!connection->open()) {
        logWarning(QStringLiteral("NavCacheDb: failed to open %1: %2").arg(path, connection->errorText()));
        return false;
    }
    m_connection = std::move(connection);
    QSqlQuery pragma(m_connection->database());
    pragma.exec(QStringLiteral("PRAGMA journal_mode=DELETE"));
    pragma.exec(QStringLiteral("PRAGMA synchronous=NORMAL"));
    if (!ensureSchema()) {
        // Not a cache we can use (a foreign or damaged file): start over with an empty one.
        logWarning(QStringLiteral("NavCacheDb: failed to open %1: not a cache database, recreated").arg(path));
        m_connection.reset();
        QFile::remove(path);
        auto fresh = std::make_unique<ScopedSqlConnection>(m_connectionName, path);
        if (!fresh->open()) {
            logWarning(QStringLiteral("NavCacheDb: failed to open %1: %2").arg(path, fresh->errorText()));
            return false;
        }
        m_connection = std::move(fresh);
        if (!ensureSchema()) {
            m_connection.reset();
            return false;
        }
    }
    return true;
}

void NavCacheDb::close()
{
    m_connection.reset();
}

bool NavCacheDb::ensureSchema()
{
    if (!m_connection)
        return false;
    static const QStringList statements{
        "CREATE TABLE IF NOT EXISTS bbox_tiles (source TEXT NOT NULL, tile_key TEXT NOT NULL, layer TEXT NOT NULL, "
        "data BLOB NOT NULL, fetched_at TEXT NOT NULL, expires_at TEXT NOT NULL, PRIMARY KEY (source, tile_key, "
        "layer))",
        "CREATE TABLE IF NOT EXISTS airport_details (source TEXT NOT NULL, icao TEXT NOT NULL, data BLOB NOT NULL, "
        "fetched_at TEXT NOT NULL, expires_at TEXT NOT NULL, PRIMARY KEY (source, icao))",
        "CREATE TABLE IF NOT EXISTS search_results (source TEXT NOT NULL, query_hash TEXT NOT NULL, data BLOB NOT "
        "NULL, fetched_at TEXT NOT NULL, expires_at TEXT NOT NULL, PRIMARY KEY (source, query_hash))",
        "CREATE TABLE IF NOT EXISTS procedures_cache (source TEXT NOT NULL, airport_icao TEXT NOT NULL, type TEXT NOT "
        "NULL, data BLOB NOT NULL, fetched_at TEXT NOT NULL, expires_at TEXT NOT NULL, PRIMARY KEY (source, "
        "airport_icao, type))",
    };
    QSqlQuery q(m_connection->database());
    for (const QString &sql : statements) {
        if (!q.exec(sql))
            return false;
    }
    return true;
}

QByteArray NavCacheDb::readOne(const QString &sql, const QVariantList &keys) const
{
    if (!m_connection)
        return QByteArray();
    QSqlQuery q(m_connection->database());
    q.prepare(sql);
    for (const QVariant &key : keys)
        q.addBindValue(key);
    q.addBindValue(nowText());
    if (!q.exec() || !q.next())
        return QByteArray();
    return q.value(0).toByteArray();
}

bool NavCacheDb::write(const QString &sql, const QVariantList &keys, const QByteArray &data, qint64 lifetimeSecs)
{
    if (!m_connection)
        return false;
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QSqlQuery q(m_connection->database());
    q.prepare(sql);
    for (const QVariant &key : keys)
        q.addBindValue(key);
    q.addBindValue(data);
    q.addBindValue(timeText(now));
    q.addBindValue(timeText(now.addSecs(lifetimeSecs)));
    if (!q.exec()) {
        qWarning("NavCacheDb: write failed: %s", qPrintable(q.lastError().text()));
        return false;
    }
    return true;
}

QByteArray NavCacheDb::getTile(const QString &source, const QString &tileKey, const QString &layer) const
{
    return readOne(QStringLiteral("SELECT data FROM bbox_tiles WHERE source=? AND tile_key=? AND layer=? AND "
                                  "expires_at>?"),
                   {source, tileKey, layer});
}

bool NavCacheDb::putTile(const QString &source, const QString &tileKey, const QString &layer, const QByteArray &data)
{
    return write(QStringLiteral("INSERT OR REPLACE INTO bbox_tiles (source, tile_key, layer, data, fetched_at, "
                                "expires_at) VALUES (?, ?, ?, ?, ?, ?)"),
                 {source, tileKey, layer}, data, kTileLifetimeSecs);
}

QList<QByteArray> NavCacheDb::getTilesInBounds(const QString &source, const QString &layer, double minLat,
                                               double minLon, double maxLat, double maxLon) const
{
    QList<QByteArray> tiles;
    if (!m_connection)
        return tiles;
    const int lat0 = tileIndex(minLat), lat1 = tileIndex(maxLat);
    const int lon0 = tileIndex(minLon), lon1 = tileIndex(maxLon);
    if (lat1 < lat0 || lon1 < lon0 || qint64(lat1 - lat0 + 1) * (lon1 - lon0 + 1) > kMaxTilesPerRead)
        return tiles;
    const QString now = nowText();
    QSqlQuery q(m_connection->database());
    q.prepare(QStringLiteral("SELECT data FROM bbox_tiles WHERE source=? AND layer=? AND tile_key=? AND expires_at>?"));
    for (int lat = lat0; lat <= lat1; ++lat) {
        for (int lon = lon0; lon <= lon1; ++lon) {
            q.bindValue(0, source);
            q.bindValue(1, layer);
            q.bindValue(2, tileKey(lat, lon));
            q.bindValue(3, now);
            if (q.exec() && q.next())
                tiles.append(q.value(0).toByteArray());
        }
    }
    return tiles;
}

QByteArray NavCacheDb::getAirportDetails(const QString &source, const QString &icao) const
{
    return readOne(QStringLiteral("SELECT data FROM airport_details WHERE source=? AND icao=? AND expires_at>?"),
                   {source, icao});
}

bool NavCacheDb::putAirportDetails(const QString &source, const QString &icao, const QByteArray &data)
{
    return write(QStringLiteral("INSERT OR REPLACE INTO airport_details (source, icao, data, fetched_at, expires_at) "
                                "VALUES (?, ?, ?, ?, ?)"),
                 {source, icao}, data, kAirportLifetimeSecs);
}

QByteArray NavCacheDb::getSearchResult(const QString &source, const QString &queryHash) const
{
    return readOne(QStringLiteral("SELECT data FROM search_results WHERE source=? AND query_hash=? AND expires_at>?"),
                   {source, queryHash});
}

bool NavCacheDb::putSearchResult(const QString &source, const QString &queryHash, const QByteArray &data)
{
    return write(QStringLiteral("INSERT OR REPLACE INTO search_results (source, query_hash, data, fetched_at, "
                                "expires_at) VALUES (?, ?, ?, ?, ?)"),
                 {source, queryHash}, data, kSearchLifetimeSecs);
}

QByteArray NavCacheDb::getProcedures(const QString &source, const QString &icao, const QString &type) const
{
    return readOne(QStringLiteral("SELECT data FROM procedures_cache WHERE source=? AND airport_icao=? AND type=? AND "
                                  "expires_at>?"),
                   {source, icao, type});
}

bool NavCacheDb::putProcedures(const QString &source, const QString &icao, const QString &type, const QByteArray &data)
{
    return write(QStringLiteral("INSERT OR REPLACE INTO procedures_cache (source, airport_icao, type, data, "
                                "fetched_at, expires_at) VALUES (?, ?, ?, ?, ?, ?)"),
                 {source, icao, type}, data, kProcedureLifetimeSecs);
}

bool NavCacheDb::clearAll()
{
    if (!m_connection)
        return false;
    QSqlQuery q(m_connection->database());
    bool ok = true;
    for (const QString &table : kTables)
        ok = q.exec(QStringLiteral("DELETE FROM %1").arg(table)) && ok;
    return ok;
}

qint64 NavCacheDb::cacheSize() const
{
    if (!m_connection)
        return 0;
    qint64 total = 0;
    QSqlQuery q(m_connection->database());
    for (const QString &table : kTables) {
        if (q.exec(QStringLiteral("SELECT COALESCE(SUM(LENGTH(data)),0) FROM %1").arg(table)) && q.next())
            total += q.value(0).toLongLong();
    }
    return total;
}

int NavCacheDb::purgeExpired()
{
    if (!m_connection)
        return 0;
    int removed = 0;
    const QString now = nowText();
    QSqlQuery q(m_connection->database());
    for (const QString &table : kTables) {
        q.prepare(QStringLiteral("DELETE FROM %1 WHERE expires_at < ?").arg(table));
        q.addBindValue(now);
        if (q.exec())
            removed += q.numRowsAffected();
    }
    return removed;
}

void NavCacheDb::evictLRU(qint64 maxBytes)
{
    if (!m_connection)
        return;
    qint64 size = cacheSize();
    QSqlQuery q(m_connection->database());
    while (size > maxBytes) {
        QString oldestTable;
        QString oldestTime;
        for (const QString &table : kTables) {
            if (q.exec(QStringLiteral("SELECT fetched_at, LENGTH(data) FROM %1 ORDER BY fetched_at ASC LIMIT 1")
                           .arg(table)) &&
                q.next()) {
                const QString fetched = q.value(0).toString();
                if (oldestTable.isEmpty() || fetched < oldestTime) {
                    oldestTable = table;
                    oldestTime = fetched;
                }
            }
        }
        if (oldestTable.isEmpty())
            break;
        // Every row fetched at that instant goes: one reply's tiles share it.
        q.prepare(QStringLiteral("SELECT COALESCE(SUM(LENGTH(data)),0) FROM %1 WHERE fetched_at = ?").arg(oldestTable));
        q.addBindValue(oldestTime);
        const qint64 freed = q.exec() && q.next() ? q.value(0).toLongLong() : 0;
        q.prepare(QStringLiteral("DELETE FROM %1 WHERE fetched_at = ?").arg(oldestTable));
        q.addBindValue(oldestTime);
        if (!q.exec() || q.numRowsAffected() <= 0)
            break;
        size -= freed;
    }
}
