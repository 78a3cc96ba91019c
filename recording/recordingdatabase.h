#pragma once

#include "recording/recordedflight.h"

#include <QHash>
#include <QList>
#include <QSqlDatabase>
#include <QString>

#include <optional>

class QSettings;
class QSqlQuery;

// Where recordings are kept: a SQLite file (the default, in the user's data folder) or a
// PostgreSQL server shared by the stations of a training centre, named in the settings.
struct RecordingDatabaseConfig
{
    enum class Kind { Sqlite, Postgres };

    // Settings keys (Zobrel.ini). A non-empty server host selects PostgreSQL.
    static constexpr const char *kFileKey = "recordingDatabaseFile";
    static constexpr const char *kHostKey = "recordingServerHost";
    static constexpr const char *kPortKey = "recordingServerPort";
    static constexpr const char *kNameKey = "recordingServerDatabase";
    static constexpr const char *kUserKey = "recordingServerUser";
    static constexpr const char *kPasswordKey = "recordingServerPassword";
    static constexpr int kDefaultPort = 5432;
    static constexpr const char *kDefaultName = "zobrel";
    static constexpr const char *kDefaultFileName = "zobrel_recordings.db";

    Kind kind = Kind::Sqlite;
    QString sqlitePath;
    QString host;
    int port = kDefaultPort;
    QString databaseName = QString::fromLatin1(kDefaultName);
    QString user;
    QString password; // empty: the client's own means (PGPASSWORD, .pgpass)
    int connectTimeoutS = 3;

    // defaultSqlitePath is used when the settings name no file (normally the user's data folder).
    static RecordingDatabaseConfig fromSettings(const QSettings &settings, const QString &defaultSqlitePath);
    // "zobrel@host:5432" or the file path, for messages.
    QString describe() const;
};

// Rows for one write: flights are upserted (the latest description wins), samples, events and
// landings are added; rows already stored (same flight and sequence number) are left as they are,
// so a batch whose commit was lost in a failure can simply be written again.
struct RecordingBatch
{
    QHash<qint64, FlightInfo> flights;
    QList<QPair<qint64, TrackSample>> samples; // flight id, sample
    QList<QPair<qint64, FlightEvent>> events;
    QList<QPair<qint64, LandingRecord>> landings;

    bool isEmpty() const { return flights.isEmpty() && samples.isEmpty() && events.isEmpty() && landings.isEmpty(); }
    // Appends other after this batch's rows.
    void append(const RecordingBatch &other);
};

// One connection to the recordings database and everything done with it: the schema (created on
// first use, the same tables on SQLite and PostgreSQL), batched writes and the reads of the tabs.
//
// Schema (version 1): flights (one row per aircraft per session, with its statistics), samples
// (flight_id, seq, t_ms and the TrackSample values), events (flight_id, seq, t_ms, kind, text,
// details as JSON), landings (flight_id, seq, t_ms, position, vs_fpm, g, speeds, attitude,
// bounces), recording_meta (schema_version). Flight ids are random 63-bit numbers made by the
// recording station, so stations can write into one database without asking it for ids.
//
// A Qt SQL connection belongs to the thread that opened it: create, use and delete an object on
// one thread. Failures return false / nullopt and leave the reason in lastError(); after a failure
// the next call closes the connection and opens it again (a server that went away comes back).
class RecordingDatabase
{
public:
    static constexpr int kSchemaVersion = 1;

    // connectionName must be unique in the process.
    RecordingDatabase(const RecordingDatabaseConfig &config, const QString &connectionName);
    ~RecordingDatabase();
    RecordingDatabase(const RecordingDatabase &) = delete;
    RecordingDatabase &operator=(const RecordingDatabase &) = delete;

    // Opens the connection and creates the schema if needed. Without create, a SQLite file that
    // does not exist is not made (open fails, see fileMissing()).
    bool open(bool create = true);
    bool isOpen() const;
    void close();
    QString lastError() const { return m_error; }
    // The last open(false) failed only because the SQLite file is not there yet.
    bool fileMissing() const { return m_fileMissing; }
    const RecordingDatabaseConfig &config() const { return m_config; }

    // One transaction; on failure nothing of it is kept.
    bool write(const RecordingBatch &batch);

    // Flights, newest first, at most limit.
    std::optional<QList<FlightInfo>> flights(int limit = 5000);
    std::optional<RecordedFlight> flight(qint64 id);
    bool deleteFlight(qint64 id);

private:
    bool fail(const QString &what, const QSqlQuery &query);
    bool fail(const QString &what);
    bool createSchema();
    bool checkVersion(int version);
    bool exec(const QString &sql);
    bool upsertFlight(const FlightInfo &info);
    bool insertSamples(const QList<QPair<qint64, TrackSample>> &rows);
    bool insertEvents(const QList<QPair<qint64, FlightEvent>> &rows);
    bool upsertLandings(const QList<QPair<qint64, LandingRecord>> &rows);
    bool readFlights(const QString &clause, const QVariant &value, QList<FlightInfo> *list);
    bool readSamples(qint64 id, QList<TrackSample> *samples);
    bool readEvents(qint64 id, QList<FlightEvent> *events);
    bool readLandings(qint64 id, QList<LandingRecord> *landings);

    RecordingDatabaseConfig m_config;
    QString m_connectionName;
    QString m_error;
    bool m_fileMissing = false;
    bool m_broken = false; // a call failed; the connection is closed and reopened by the next one
};
