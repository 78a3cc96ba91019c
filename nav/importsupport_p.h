#pragma once

// Shared machinery of the DatabaseBuilder importers: reading text files line by line, splitting
// and converting fields without locale surprises, one import's database session (connection,
// transaction, progress, cancel), cached prepared inserts, and a two-thread parse/write pipeline.
// Internal to the nav library.

#include "nav/batchqueue.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QElapsedTimer>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QStringList>

#include <condition_variable>
#include <deque>
#include <functional>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

class DatabaseBuilder;
class ScopedSqlConnection;

namespace navimport {

// ---- text -------------------------------------------------------------------------------------

// Reads a text file in large blocks and hands out its lines without their end (LF or CRLF); a
// UTF-8 byte-order mark at the start is dropped. A line longer than kMaxLineBytes is returned cut
// with overlong set, and the caller counts it as malformed.
class LineReader
{
public:
    static constexpr int kMaxLineBytes = 64 * 1024;

    // False with errorText() set when the file cannot be opened.
    bool open(const QString &path);
    bool next(QByteArrayView *line, bool *overlong = nullptr);

    qint64 position() const { return m_consumed; }
    qint64 size() const { return m_size; }
    // True when the device reported a read error before the end.
    bool failed() const { return m_failed; }
    QString errorText() const { return m_file.errorString(); }

private:
    bool fill();

    QFile m_file;
    QByteArray m_buffer;
    qsizetype m_begin = 0;
    qint64 m_consumed = 0;
    qint64 m_size = 0;
    bool m_eof = false;
    bool m_failed = false;
    bool m_first = true;
};

// The X-Plane text layout around LineReader: an optional "I"/"A" line and version line at the
// top, blank lines anywhere, and "99" closing the data (anything after it is ignored).
class XPlaneTextReader
{
public:
    bool open(const QString &path) { return m_lines.open(path); }
    QString errorText() const { return m_lines.errorText(); }

    // The next data row; false at "99" or at the end of the file.
    bool next(QByteArrayView *row, bool *overlong);

    // The number that starts the version line, 0 when the file has no header.
    int version() const { return m_version; }
    bool sawEndMarker() const { return m_sawEnd; }
    bool readFailed() const { return m_lines.failed(); }
    qint64 position() const { return m_lines.position(); }
    qint64 size() const { return m_lines.size(); }

    // Logs what is unusual about the header and the end: no header, a version outside accepted,
    // no "99". operation prefixes the lines.
    void logHeaderNotes(const QString &operation, const QString &path, std::initializer_list<int> accepted) const;

private:
    LineReader m_lines;
    int m_version = 0;
    int m_headerState = 0; // 0 nothing read, 1 after the "I"/"A" line, 2 in the rows
    bool m_sawEnd = false;
};

QByteArrayView trimmed(QByteArrayView text);

// Splits at runs of blanks and tabs; fills at most maxFields and returns how many it filled.
int splitBlanks(QByteArrayView line, QByteArrayView *fields, int maxFields);
// Splits at every separator (empty fields kept) and trims each field; returns the count, or
// maxFields + 1 when the line has more fields than that.
int splitAt(QByteArrayView line, char separator, QByteArrayView *fields, int maxFields);
// The rest of line from the start of field (a view into line) to the end, trimmed.
QByteArrayView restOfLine(QByteArrayView line, QByteArrayView field);

// Whole-field conversions in the C locale; a leading '+' is accepted.
bool toDouble(QByteArrayView field, double *value);
bool toInt(QByteArrayView field, int *value);
// Latitude within +-90 and longitude within +-180 degrees.
bool validLatLon(double lat, double lon);

inline QString latin1(QByteArrayView field)
{
    return QString::fromLatin1(field.data(), field.size());
}
inline QString utf8(QByteArrayView field)
{
    return QString::fromUtf8(field.data(), field.size());
}
inline bool equals(QByteArrayView field, const char *text)
{
    return field == QByteArrayView(text);
}

// ---- database -------------------------------------------------------------------------------

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

// Runs the schema statements with these numbers (1-based, as listed in the schema) on the
// session: an import creates the tables it writes when a partial schema has not got them yet.
bool runSchemaStatements(ImportSession &session, std::initializer_list<int> numbers);

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
