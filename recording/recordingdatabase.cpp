#include "recording/recordingdatabase.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSettings>
#include <QSqlError>
#include <QSqlQuery>

namespace {

// Rows per INSERT statement: 26 values each stays under SQLite's oldest limit of 999 parameters.
// PostgreSQL gets no faster with longer statements (100 or 400 rows were slower in the bench).
constexpr int kRowsPerInsert = 32;

const char *const kSampleColumns[] = {"flight_id",  "seq",       "t_ms",         "lat",       "lon",       "alt_ft",
                                      "alt_ind_ft", "agl_ft",    "hdg_mag",      "hdg_true",  "ias_kt",    "tas_kt",
                                      "gs_kt",      "vs_fpm",    "mach",         "pitch_deg", "bank_deg",  "g",
                                      "fuel_gal",   "flaps_pct", "throttle_pct", "baro_hpa",  "ap_alt_ft", "ap_hdg_deg",
                                      "ap_spd_kt",  "flags"};
constexpr int kSampleColumnCount = int(std::size(kSampleColumns));

const char *const kFlightColumns[] = {
    "id",          "session_id",   "station",       "source",        "source_id",       "simulator",
    "aircraft",    "callsign",     "start_ms",      "end_ms",        "sample_count",    "off_block_ms",
    "on_block_ms", "block_time_s", "air_time_s",    "distance_nm",   "air_distance_nm", "max_alt_ft",
    "max_ias_kt",  "max_gs_kt",    "fuel_used_gal", "takeoff_count", "landing_count"};

const char *const kLandingColumns[] = {"flight_id", "seq",    "t_ms",  "lat",       "lon",      "vs_fpm",
                                       "g",         "ias_kt", "gs_kt", "pitch_deg", "bank_deg", "bounces"};

// The same tables on SQLite and PostgreSQL: only portable types, and upserts (ON CONFLICT) that
// both understand (SQLite 3.24 and PostgreSQL 9.5 onwards).
const char *const kSchema[] = {
    "CREATE TABLE IF NOT EXISTS recording_meta (name TEXT PRIMARY KEY, value TEXT NOT NULL)",
    "CREATE TABLE IF NOT EXISTS flights ("
    " id BIGINT PRIMARY KEY, session_id TEXT NOT NULL, station TEXT NOT NULL, source TEXT NOT NULL,"
    " source_id TEXT NOT NULL, simulator TEXT NOT NULL, aircraft TEXT NOT NULL, callsign TEXT NOT NULL,"
    " start_ms BIGINT NOT NULL, end_ms BIGINT NOT NULL, sample_count BIGINT NOT NULL,"
    " off_block_ms BIGINT NOT NULL, on_block_ms BIGINT NOT NULL, block_time_s DOUBLE PRECISION NOT NULL,"
    " air_time_s DOUBLE PRECISION NOT NULL, distance_nm DOUBLE PRECISION NOT NULL,"
    " air_distance_nm DOUBLE PRECISION NOT NULL, max_alt_ft DOUBLE PRECISION NOT NULL,"
    " max_ias_kt DOUBLE PRECISION NOT NULL, max_gs_kt DOUBLE PRECISION NOT NULL,"
    " fuel_used_gal DOUBLE PRECISION NOT NULL, takeoff_count INTEGER NOT NULL, landing_count INTEGER NOT NULL)",
    "CREATE INDEX IF NOT EXISTS flights_by_start ON flights (start_ms)",
    "CREATE TABLE IF NOT EXISTS samples ("
    " flight_id BIGINT NOT NULL, seq BIGINT NOT NULL, t_ms BIGINT NOT NULL,"
    " lat DOUBLE PRECISION NOT NULL, lon DOUBLE PRECISION NOT NULL, alt_ft REAL NOT NULL, alt_ind_ft REAL NOT NULL,"
    " agl_ft REAL NOT NULL, hdg_mag REAL NOT NULL, hdg_true REAL NOT NULL, ias_kt REAL NOT NULL,"
    " tas_kt REAL NOT NULL, gs_kt REAL NOT NULL, vs_fpm REAL NOT NULL, mach REAL NOT NULL, pitch_deg REAL NOT NULL,"
    " bank_deg REAL NOT NULL, g REAL NOT NULL, fuel_gal REAL NOT NULL, flaps_pct REAL NOT NULL,"
    " throttle_pct REAL NOT NULL, baro_hpa REAL NOT NULL, ap_alt_ft REAL NOT NULL, ap_hdg_deg REAL NOT NULL,"
    " ap_spd_kt REAL NOT NULL, flags INTEGER NOT NULL, PRIMARY KEY (flight_id, seq))",
    "CREATE TABLE IF NOT EXISTS events ("
    " flight_id BIGINT NOT NULL, seq BIGINT NOT NULL, t_ms BIGINT NOT NULL, kind TEXT NOT NULL, text TEXT NOT NULL,"
    " details TEXT NOT NULL, PRIMARY KEY (flight_id, seq))",
    "CREATE TABLE IF NOT EXISTS landings ("
    " flight_id BIGINT NOT NULL, seq INTEGER NOT NULL, t_ms BIGINT NOT NULL, lat DOUBLE PRECISION NOT NULL,"
    " lon DOUBLE PRECISION NOT NULL, vs_fpm REAL NOT NULL, g REAL NOT NULL, ias_kt REAL NOT NULL, gs_kt REAL NOT NULL,"
    " pitch_deg REAL NOT NULL, bank_deg REAL NOT NULL, bounces INTEGER NOT NULL, PRIMARY KEY (flight_id, seq))",
};

QString joined(const char *const *columns, int count, const char *separator = ", ")
{
    QStringList list;
    for (int i = 0; i < count; ++i)
        list << QString::fromLatin1(columns[i]);
    return list.join(QLatin1String(separator));
}

QString placeholders(int columns, int rows)
{
    const QString row =
        QLatin1Char('(') + QStringList(columns, QStringLiteral("?")).join(QLatin1Char(',')) + QLatin1Char(')');
    return QStringList(rows, row).join(QLatin1Char(','));
}

// NOT NULL text columns: a null QString would bind as SQL NULL.
QString text(const QString &value)
{
    return value.isNull() ? QStringLiteral("") : value;
}

template <size_t N>
QString insertSql(const char *table, const char *const (&columns)[N], int rows, const QString &conflict)
{
    return QStringLiteral("INSERT INTO %1 (%2) VALUES %3 ON CONFLICT %4")
        .arg(QLatin1String(table), joined(columns, int(N)), placeholders(int(N), rows), conflict);
}

template <size_t N> QString updateAllBut(const char *const (&columns)[N], int keyColumns)
{
    QStringList sets;
    for (size_t i = size_t(keyColumns); i < N; ++i)
        sets << QStringLiteral("%1 = excluded.%1").arg(QLatin1String(columns[i]));
    return QStringLiteral("DO UPDATE SET ") + sets.join(QLatin1String(", "));
}

void bindSample(QSqlQuery &q, qint64 flightId, const TrackSample &s)
{
    q.addBindValue(flightId);
    q.addBindValue(s.seq);
    q.addBindValue(s.timeMs);
    for (const double v :
         {s.lat,      s.lon,         s.altFt,   s.altIndFt, s.aglFt,    s.hdgMagDeg, s.hdgTrueDeg, s.iasKt,
          s.tasKt,    s.gsKt,        s.vsFpm,   s.mach,     s.pitchDeg, s.bankDeg,   s.gLoad,      s.fuelGal,
          s.flapsPct, s.throttlePct, s.baroHpa, s.apAltFt,  s.apHdgDeg, s.apSpdKt})
        q.addBindValue(v);
    q.addBindValue(qint64(s.flags));
}

} // namespace

RecordingDatabaseConfig RecordingDatabaseConfig::fromSettings(const QSettings &settings,
                                                              const QString &defaultSqlitePath)
{
    RecordingDatabaseConfig config;
    config.host = settings.value(QLatin1String(kHostKey)).toString().trimmed();
    config.kind = config.host.isEmpty() ? Kind::Sqlite : Kind::Postgres;
    config.sqlitePath = settings.value(QLatin1String(kFileKey)).toString().trimmed();
    if (config.sqlitePath.isEmpty())
        config.sqlitePath = defaultSqlitePath;
    bool ok = false;
    const int port = settings.value(QLatin1String(kPortKey), kDefaultPort).toInt(&ok);
    config.port = ok && port > 0 && port < 65536 ? port : kDefaultPort;
    const QString name = settings.value(QLatin1String(kNameKey)).toString().trimmed();
    if (!name.isEmpty())
        config.databaseName = name;
    config.user = settings.value(QLatin1String(kUserKey)).toString();
    config.password = settings.value(QLatin1String(kPasswordKey)).toString();
    return config;
}

QString RecordingDatabaseConfig::describe() const
{
    if (kind == Kind::Sqlite)
        return QDir::toNativeSeparators(sqlitePath);
    return QStringLiteral("%1@%2:%3").arg(databaseName, host).arg(port);
}

void RecordingBatch::append(const RecordingBatch &other)
{
    for (auto it = other.flights.cbegin(); it != other.flights.cend(); ++it)
        flights.insert(it.key(), it.value());
    samples += other.samples;
    events += other.events;
    landings += other.landings;
}

RecordingDatabase::RecordingDatabase(const RecordingDatabaseConfig &config, const QString &connectionName)
    : m_config(config), m_connectionName(connectionName)
{
}

RecordingDatabase::~RecordingDatabase()
{
    close();
}

bool RecordingDatabase::open(bool create)
{
    if (m_broken) {
        // Closed here rather than where it failed: queries of the failed call were still alive there.
        close();
        m_broken = false;
    }
    if (isOpen())
        return true;
    close();
    m_fileMissing = false;
    const bool sqlite = m_config.kind == RecordingDatabaseConfig::Kind::Sqlite;
    if (sqlite && !QFileInfo::exists(m_config.sqlitePath)) {
        if (!create) {
            m_fileMissing = true;
            return fail(QStringLiteral("no recordings yet (%1)").arg(m_config.describe()));
        }
        QDir().mkpath(QFileInfo(m_config.sqlitePath).absolutePath());
    }
    {
        QSqlDatabase db =
            QSqlDatabase::addDatabase(sqlite ? QStringLiteral("QSQLITE") : QStringLiteral("QPSQL"), m_connectionName);
        if (!db.isValid()) {
            db = QSqlDatabase();
            QSqlDatabase::removeDatabase(m_connectionName);
            m_error = QStringLiteral("the Qt SQL driver for %1 is not installed")
                          .arg(sqlite ? QStringLiteral("SQLite") : QStringLiteral("PostgreSQL"));
            return false;
        }
        if (sqlite) {
            db.setDatabaseName(m_config.sqlitePath);
            db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=5000"));
        } else {
            db.setHostName(m_config.host);
            db.setPort(m_config.port);
            db.setDatabaseName(m_config.databaseName);
            db.setUserName(m_config.user);
            db.setPassword(m_config.password);
            db.setConnectOptions(QStringLiteral("connect_timeout=%1").arg(m_config.connectTimeoutS));
        }
        if (!db.open()) {
            m_error = QStringLiteral("cannot open %1: %2").arg(m_config.describe(), db.lastError().text());
            db = QSqlDatabase();
            QSqlDatabase::removeDatabase(m_connectionName);
            return false;
        }
    }
    if (sqlite &&
        (!exec(QStringLiteral("PRAGMA journal_mode=WAL")) || !exec(QStringLiteral("PRAGMA synchronous=NORMAL"))))
        return false;
    return createSchema();
}

bool RecordingDatabase::isOpen() const
{
    return !m_broken && QSqlDatabase::contains(m_connectionName) &&
           QSqlDatabase::database(m_connectionName, false).isOpen();
}

void RecordingDatabase::close()
{
    if (!QSqlDatabase::contains(m_connectionName))
        return;
    {
        QSqlDatabase db = QSqlDatabase::database(m_connectionName, false);
        db.close();
    }
    QSqlDatabase::removeDatabase(m_connectionName);
}

bool RecordingDatabase::fail(const QString &what, const QSqlQuery &query)
{
    return fail(QStringLiteral("%1: %2").arg(what, query.lastError().text()));
}

bool RecordingDatabase::fail(const QString &what)
{
    m_error = what;
    m_broken = true;
    return false;
}

bool RecordingDatabase::exec(const QString &sql)
{
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    if (!query.exec(sql))
        return fail(QStringLiteral("SQL error"), query);
    return true;
}

bool RecordingDatabase::createSchema()
{
    {
        // Usually the schema is there: read its version without touching the tables (and without
        // the server's notices about tables that exist).
        QSqlQuery probe(QSqlDatabase::database(m_connectionName, false));
        if (probe.exec(QStringLiteral("SELECT value FROM recording_meta WHERE name = 'schema_version'")) &&
            probe.next())
            return checkVersion(probe.value(0).toInt());
    }
    for (const char *statement : kSchema) {
        if (!exec(QString::fromLatin1(statement)))
            return false;
    }
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    query.prepare(QStringLiteral("INSERT INTO recording_meta (name, value) VALUES ('schema_version', ?) "
                                 "ON CONFLICT (name) DO NOTHING"));
    query.addBindValue(QString::number(kSchemaVersion));
    if (!query.exec())
        return fail(QStringLiteral("SQL error"), query);
    if (!query.exec(QStringLiteral("SELECT value FROM recording_meta WHERE name = 'schema_version'")) || !query.next())
        return fail(QStringLiteral("SQL error"), query);
    return checkVersion(query.value(0).toInt());
}

bool RecordingDatabase::checkVersion(int version)
{
    if (version > kSchemaVersion) {
        return fail(QStringLiteral("%1 holds recordings of schema version %2; this station reads up to %3")
                        .arg(m_config.describe())
                        .arg(version)
                        .arg(kSchemaVersion));
    }
    return true;
}

bool RecordingDatabase::write(const RecordingBatch &batch)
{
    if (!open())
        return false;
    QSqlDatabase db = QSqlDatabase::database(m_connectionName, false);
    if (!db.transaction())
        return fail(QStringLiteral("cannot start a transaction: %1").arg(db.lastError().text()));
    bool ok = true;
    for (auto it = batch.flights.cbegin(); ok && it != batch.flights.cend(); ++it)
        ok = upsertFlight(it.value());
    ok = ok && insertSamples(batch.samples) && insertEvents(batch.events) && upsertLandings(batch.landings);
    if (ok && db.commit())
        return true;
    const QString error = ok ? QStringLiteral("commit failed: %1").arg(db.lastError().text()) : m_error;
    if (db.isOpen())
        db.rollback();
    return fail(error);
}

bool RecordingDatabase::upsertFlight(const FlightInfo &f)
{
    QSqlQuery q(QSqlDatabase::database(m_connectionName, false));
    q.prepare(insertSql("flights", kFlightColumns, 1, QStringLiteral("(id) ") + updateAllBut(kFlightColumns, 1)));
    q.addBindValue(f.id);
    for (const QString &value : {f.sessionId, f.station, f.source, f.sourceId, f.simulator, f.aircraft, f.callsign})
        q.addBindValue(text(value));
    q.addBindValue(f.startMs);
    q.addBindValue(f.endMs);
    q.addBindValue(f.sampleCount);
    const FlightStatistics &s = f.stats;
    q.addBindValue(s.offBlockMs);
    q.addBindValue(s.onBlockMs);
    for (const double v :
         {s.blockTimeS, s.airTimeS, s.distanceNm, s.airDistanceNm, s.maxAltFt, s.maxIasKt, s.maxGsKt, s.fuelUsedGal})
        q.addBindValue(v);
    q.addBindValue(s.takeoffCount);
    q.addBindValue(s.landingCount);
    return q.exec() || fail(QStringLiteral("cannot store flight %1").arg(f.id), q);
}

bool RecordingDatabase::insertSamples(const QList<QPair<qint64, TrackSample>> &rows)
{
    const QString conflict = QStringLiteral("(flight_id, seq) DO NOTHING");
    QSqlQuery full(QSqlDatabase::database(m_connectionName, false));
    bool fullPrepared = false;
    for (qsizetype start = 0; start < rows.size(); start += kRowsPerInsert) {
        const int count = int(std::min<qsizetype>(kRowsPerInsert, rows.size() - start));
        QSqlQuery partial(QSqlDatabase::database(m_connectionName, false));
        QSqlQuery &q = count == kRowsPerInsert ? full : partial;
        if (count < kRowsPerInsert || !fullPrepared) {
            if (!q.prepare(insertSql("samples", kSampleColumns, count, conflict)))
                return fail(QStringLiteral("cannot store samples"), q);
            fullPrepared = fullPrepared || count == kRowsPerInsert;
        }
        for (int i = 0; i < count; ++i)
            bindSample(q, rows.at(start + i).first, rows.at(start + i).second);
        if (!q.exec())
            return fail(QStringLiteral("cannot store samples"), q);
    }
    return true;
}

bool RecordingDatabase::insertEvents(const QList<QPair<qint64, FlightEvent>> &rows)
{
    if (rows.isEmpty())
        return true;
    QSqlQuery q(QSqlDatabase::database(m_connectionName, false));
    q.prepare(QStringLiteral("INSERT INTO events (flight_id, seq, t_ms, kind, text, details) VALUES (?, ?, ?, ?, ?, ?) "
                             "ON CONFLICT (flight_id, seq) DO NOTHING"));
    for (const auto &[flightId, e] : rows) {
        q.addBindValue(flightId);
        q.addBindValue(e.seq);
        q.addBindValue(e.timeMs);
        q.addBindValue(text(e.kind));
        q.addBindValue(text(e.text));
        q.addBindValue(QString::fromUtf8(QJsonDocument(e.details).toJson(QJsonDocument::Compact)));
        if (!q.exec())
            return fail(QStringLiteral("cannot store events"), q);
    }
    return true;
}

bool RecordingDatabase::upsertLandings(const QList<QPair<qint64, LandingRecord>> &rows)
{
    if (rows.isEmpty())
        return true;
    QSqlQuery q(QSqlDatabase::database(m_connectionName, false));
    q.prepare(insertSql("landings", kLandingColumns, 1,
                        QStringLiteral("(flight_id, seq) ") + updateAllBut(kLandingColumns, 2)));
    for (const auto &[flightId, l] : rows) {
        q.addBindValue(flightId);
        q.addBindValue(l.index);
        q.addBindValue(l.timeMs);
        for (const double v : {l.lat, l.lon, l.vsFpm, l.gLoad, l.iasKt, l.gsKt, l.pitchDeg, l.bankDeg})
            q.addBindValue(v);
        q.addBindValue(l.bounces);
        if (!q.exec())
            return fail(QStringLiteral("cannot store landings"), q);
    }
    return true;
}

std::optional<QList<FlightInfo>> RecordingDatabase::flights(int limit)
{
    QList<FlightInfo> list;
    if (!open(false) || !readFlights(QStringLiteral("ORDER BY start_ms DESC LIMIT ?"), limit, &list))
        return std::nullopt;
    return list;
}

std::optional<RecordedFlight> RecordingDatabase::flight(qint64 id)
{
    QList<FlightInfo> found;
    if (!open(false) || !readFlights(QStringLiteral("WHERE id = ?"), id, &found))
        return std::nullopt;
    if (found.isEmpty()) {
        m_error = QStringLiteral("no flight %1 in %2").arg(id).arg(m_config.describe());
        return std::nullopt;
    }
    RecordedFlight flight;
    flight.info = found.first();
    if (!readSamples(id, &flight.samples) || !readEvents(id, &flight.events) || !readLandings(id, &flight.landings))
        return std::nullopt;
    return flight;
}

bool RecordingDatabase::readFlights(const QString &clause, const QVariant &value, QList<FlightInfo> *list)
{
    QSqlQuery q(QSqlDatabase::database(m_connectionName, false));
    q.setForwardOnly(true);
    q.prepare(QStringLiteral("SELECT %1 FROM flights %2")
                  .arg(joined(kFlightColumns, int(std::size(kFlightColumns))), clause));
    q.addBindValue(value);
    if (!q.exec())
        return fail(QStringLiteral("cannot read flights"), q);
    while (q.next()) {
        FlightInfo f;
        int c = 0;
        f.id = q.value(c++).toLongLong();
        for (QString *field :
             {&f.sessionId, &f.station, &f.source, &f.sourceId, &f.simulator, &f.aircraft, &f.callsign})
            *field = q.value(c++).toString();
        f.startMs = q.value(c++).toLongLong();
        f.endMs = q.value(c++).toLongLong();
        f.sampleCount = q.value(c++).toLongLong();
        FlightStatistics &s = f.stats;
        s.offBlockMs = q.value(c++).toLongLong();
        s.onBlockMs = q.value(c++).toLongLong();
        for (double *v : {&s.blockTimeS, &s.airTimeS, &s.distanceNm, &s.airDistanceNm, &s.maxAltFt, &s.maxIasKt,
                          &s.maxGsKt, &s.fuelUsedGal})
            *v = q.value(c++).toDouble();
        s.takeoffCount = q.value(c++).toInt();
        s.landingCount = q.value(c++).toInt();
        list->append(f);
    }
    return true;
}

bool RecordingDatabase::readSamples(qint64 id, QList<TrackSample> *samples)
{
    QSqlQuery q(QSqlDatabase::database(m_connectionName, false));
    q.setForwardOnly(true);
    q.prepare(QStringLiteral("SELECT %1 FROM samples WHERE flight_id = ? ORDER BY seq")
                  .arg(joined(kSampleColumns + 1, kSampleColumnCount - 1)));
    q.addBindValue(id);
    if (!q.exec())
        return fail(QStringLiteral("cannot read samples"), q);
    while (q.next()) {
        TrackSample s;
        int c = 0;
        s.seq = q.value(c++).toLongLong();
        s.timeMs = q.value(c++).toLongLong();
        for (double *v : {&s.lat,        &s.lon,     &s.altFt,    &s.altIndFt, &s.aglFt,    &s.hdgMagDeg,
                          &s.hdgTrueDeg, &s.iasKt,   &s.tasKt,    &s.gsKt,     &s.vsFpm,    &s.mach,
                          &s.pitchDeg,   &s.bankDeg, &s.gLoad,    &s.fuelGal,  &s.flapsPct, &s.throttlePct,
                          &s.baroHpa,    &s.apAltFt, &s.apHdgDeg, &s.apSpdKt})
            *v = q.value(c++).toDouble();
        s.flags = quint32(q.value(c++).toLongLong());
        samples->append(s);
    }
    return true;
}

bool RecordingDatabase::readEvents(qint64 id, QList<FlightEvent> *events)
{
    QSqlQuery q(QSqlDatabase::database(m_connectionName, false));
    q.setForwardOnly(true);
    q.prepare(
        QStringLiteral("SELECT seq, t_ms, kind, text, details FROM events WHERE flight_id = ? ORDER BY t_ms, seq"));
    q.addBindValue(id);
    if (!q.exec())
        return fail(QStringLiteral("cannot read events"), q);
    while (q.next()) {
        FlightEvent e;
        e.seq = q.value(0).toLongLong();
        e.timeMs = q.value(1).toLongLong();
        e.kind = q.value(2).toString();
        e.text = q.value(3).toString();
        e.details = QJsonDocument::fromJson(q.value(4).toString().toUtf8()).object();
        events->append(e);
    }
    return true;
}

bool RecordingDatabase::readLandings(qint64 id, QList<LandingRecord> *landings)
{
    QSqlQuery q(QSqlDatabase::database(m_connectionName, false));
    q.setForwardOnly(true);
    q.prepare(QStringLiteral("SELECT %1 FROM landings WHERE flight_id = ? ORDER BY seq")
                  .arg(joined(kLandingColumns + 1, int(std::size(kLandingColumns)) - 1)));
    q.addBindValue(id);
    if (!q.exec())
        return fail(QStringLiteral("cannot read landings"), q);
    while (q.next()) {
        LandingRecord l;
        int c = 0;
        l.index = q.value(c++).toInt();
        l.timeMs = q.value(c++).toLongLong();
        for (double *v : {&l.lat, &l.lon, &l.vsFpm, &l.gLoad, &l.iasKt, &l.gsKt, &l.pitchDeg, &l.bankDeg})
            *v = q.value(c++).toDouble();
        l.bounces = q.value(c++).toInt();
        landings->append(l);
    }
    return true;
}

bool RecordingDatabase::deleteFlight(qint64 id)
{
    if (!open(false))
        return false;
    QSqlDatabase db = QSqlDatabase::database(m_connectionName, false);
    if (!db.transaction())
        return fail(QStringLiteral("cannot start a transaction: %1").arg(db.lastError().text()));
    QSqlQuery q(db);
    for (const char *statement : {"DELETE FROM samples WHERE flight_id = ?", "DELETE FROM events WHERE flight_id = ?",
                                  "DELETE FROM landings WHERE flight_id = ?", "DELETE FROM flights WHERE id = ?"}) {
        q.prepare(QString::fromLatin1(statement));
        q.addBindValue(id);
        if (!q.exec()) {
            db.rollback();
            return fail(QStringLiteral("cannot delete flight %1").arg(id), q);
        }
    }
    if (!db.commit()) {
        db.rollback();
        return fail(QStringLiteral("cannot delete flight %1: %2").arg(id).arg(db.lastError().text()));
    }
    return true;
}
