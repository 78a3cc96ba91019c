#pragma once

// One import's database side: its connection, transaction, progress, cancel checks and failure
// text; prepared inserts that rebind only what changed; the two-thread parse/write pipeline; and
// the whole-file replacement of a finished database. Internal to the nav library's importers.

#include "nav/batchqueue.h"
#include "nav/navschema.h"

#include <QElapsedTimer>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>

#include <functional>
#include <initializer_list>
#include <memory>
#include <thread>
#include <vector>

class DatabaseBuilder;
class ScopedSqlConnection;

namespace navimport {

// One import's connection, transaction, progress and cancel checks. Failures are collected as one
// line of text; the importer ends with finish(), which logs and emits importFinished.
class ImportSession
{
public:
    ImportSession(DatabaseBuilder &builder, const QString &connectionName, const QString &path,
                  const QString &operation);
    ~ImportSession();

    ImportSession(const ImportSession &) = delete;
    ImportSession &operator=(const ImportSession &) = delete;

    // Opens the database and applies "PRAGMA synchronous=OFF"; false (with the reason recorded)
    // when the file cannot be opened.
    bool open();
    QSqlDatabase &db();

    bool begin();
    bool commit();
    void rollback();
    // Runs one statement; on failure records "<operation>: <sql> failed: <driver text>".
    bool exec(const QString &sql);
    // Runs one statement whose failure is expected and ignored (an ALTER TABLE that adds a
    // column already present).
    void execIgnoringFailure(const QString &sql);

    // True once the builder was asked to cancel; records the cancellation as the failure.
    bool cancelled();
    // Reports progress at most every kProgressIntervalMs and always at the end (current == total).
    void progress(const QString &stage, qint64 current, qint64 total);

    void fail(const QString &reason);
    bool failed() const { return !m_error.isEmpty(); }
    QString errorText() const { return m_error; }

    // Commits when nothing failed, else rolls back; logs message (or the failure), emits
    // importFinished and returns whether the import succeeded. With report set, the line goes
    // there instead of the signal: for the steps of a larger import that reports once.
    bool finish(const QString &message, QString *report = nullptr);

    static constexpr int kProgressIntervalMs = 100;

private:
    DatabaseBuilder &m_builder;
    std::unique_ptr<ScopedSqlConnection> m_connection;
    QString m_path;
    QString m_operation;
    QString m_error;
    QElapsedTimer m_sinceProgress;
    bool m_inTransaction = false;
};

// A prepared insert that rebinds only the columns whose value changed since the last row: the
// legs of one procedure, the rows of one airport, share most of their text, and binding is the
// larger part of what Qt SQL spends per row.
class CachedInsert
{
public:
    bool prepare(QSqlDatabase &db, const QString &sql, int columns);
    void bind(int column, const QString &value);
    void bind(int column, double value);
    void bindInt(int column, int value);
    bool exec();
    QString errorText() const;
    int rows() const { return m_rows; }

private:
    enum class Kind : char { None, Text, Real, Integer };
    struct Slot
    {
        Kind kind = Kind::None;
        QString text;
        double real = 0.0;
        int integer = 0;
    };
    QSqlQuery m_query;
    std::vector<Slot> m_slots;
    int m_rows = 0;
};

// Runs these schema statements on the session: an import creates the tables it writes when a
// partial schema has not got them yet.
bool createTables(ImportSession &session, std::initializer_list<const schema::Statement *> statements);

// Adds the airway endpoint columns (and, for route-finder data, the altitude columns); a column
// that is already there makes its ALTER fail, which is ignored.
void addAirwayColumns(ImportSession &session, bool withAltitudeColumns);

// ---- whole-file replacement -------------------------------------------------------------------

// Removes a database file and the journal, WAL and shared-memory files SQLite keeps beside it.
void removeDatabaseFiles(const QString &path);

// Moves a finished database over the target in one step (rename replaces an existing file, on
// Windows too, through the standard library), so readers see either the old file or the new one.
// False with the reason in *error when the move failed; the target is then unchanged.
bool replaceDatabaseFile(const QString &from, const QString &to, QString *error);

// ---- pipeline ---------------------------------------------------------------------------------

// Runs produce on a thread of its own while the calling thread (which owns the database
// connection) consumes the batches in order. A consumer that returns false stops the producer.
// Returns false when the consumer stopped early.
template <typename Batch>
bool runPipeline(const std::function<void(BatchQueue<Batch> &)> &produce, const std::function<bool(Batch &)> &consume)
{
    BatchQueue<Batch> queue;
    // A plain thread rather than the global pool: the build itself may run in the pool.
    std::thread producer([&queue, &produce] {
        produce(queue);
        queue.close();
    });
    bool ok = true;
    Batch batch;
    while (queue.pop(&batch)) {
        if (!consume(batch)) {
            ok = false;
            queue.abort();
            break;
        }
        queue.giveBack(std::move(batch));
        batch = Batch();
    }
    producer.join();
    return ok;
}

} // namespace navimport
