#include "nav/importsession.h"

#include "app/log/applogger.h"
#include "nav/databasebuilder.h"
#include "nav/sqlconnection.h"

#include <QFile>
#include <QSqlError>

#include <climits>
#include <filesystem>

namespace navimport {

namespace {

const QString kCategory = QStringLiteral("NavBuilder");

} // namespace

// ---- ImportSession ----------------------------------------------------------------------------

ImportSession::ImportSession(DatabaseBuilder &builder, const QString &connectionName, const QString &path,
                             const QString &operation)
    : m_builder(builder), m_connection(std::make_unique<ScopedSqlConnection>(connectionName, path)), m_path(path),
      m_operation(operation)
{
}

ImportSession::~ImportSession()
{
    if (m_inTransaction)
        rollback();
}

bool ImportSession::open()
{
    // A locked database should fail the import in reasonable time rather than hang a build.
    m_connection->database().setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=2000"));
    if (!m_connection->open()) {
        fail(QStringLiteral("%1: cannot open database %2: %3").arg(m_operation, m_path, m_connection->errorText()));
        return false;
    }
    QSqlQuery pragma(m_connection->database());
    pragma.exec(QStringLiteral("PRAGMA synchronous=OFF"));
    // Larger page cache and in-memory sorting: index builds over millions of rows otherwise spill.
    pragma.exec(QStringLiteral("PRAGMA cache_size=-32000"));
    pragma.exec(QStringLiteral("PRAGMA temp_store=MEMORY"));
    return true;
}

QSqlDatabase &ImportSession::db()
{
    return m_connection->database();
}

bool ImportSession::begin()
{
    if (!exec(QStringLiteral("BEGIN TRANSACTION")))
        return false;
    m_inTransaction = true;
    return true;
}

bool ImportSession::commit()
{
    if (!m_inTransaction)
        return !failed();
    QSqlQuery query(db());
    if (!query.exec(QStringLiteral("COMMIT"))) {
        fail(QStringLiteral("%1: COMMIT failed: %2").arg(m_operation, query.lastError().text()));
        rollback();
        return false;
    }
    m_inTransaction = false;
    return true;
}

void ImportSession::rollback()
{
    if (!m_inTransaction)
        return;
    QSqlQuery query(db());
    query.exec(QStringLiteral("ROLLBACK"));
    m_inTransaction = false;
}

bool ImportSession::exec(const QString &sql)
{
    QSqlQuery query(db());
    if (query.exec(sql))
        return true;
    fail(QStringLiteral("%1: %2 failed: %3").arg(m_operation, sql, query.lastError().text()));
    return false;
}

void ImportSession::execIgnoringFailure(const QString &sql)
{
    QSqlQuery query(db());
    query.exec(sql);
}

bool ImportSession::cancelled()
{
    if (!m_builder.isCancelRequested())
        return false;
    if (!failed())
        fail(QStringLiteral("%1: cancelled").arg(m_operation));
    return true;
}

void ImportSession::progress(const QString &stage, qint64 current, qint64 total)
{
    const bool last = current >= total;
    if (!last && m_sinceProgress.isValid() && m_sinceProgress.elapsed() < kProgressIntervalMs)
        return;
    m_sinceProgress.start();
    // File sizes can pass what an int holds; scale both ends alike.
    while (total > INT_MAX / 2) {
        total /= 1024;
        current /= 1024;
    }
    emit m_builder.importProgress(stage, int(qMin(current, total)), int(total));
}

void ImportSession::fail(const QString &reason)
{
    if (m_error.isEmpty())
        m_error = reason;
}

bool ImportSession::finish(const QString &message, QString *report)
{
    if (!failed() && m_inTransaction)
        commit();
    const bool ok = !failed();
    if (!ok)
        rollback();
    const QString &line = ok ? message : m_error;
    // A cancel is the user's choice, not a problem to report.
    const bool cancelled = !ok && m_builder.isCancelRequested();
    AppLogger::instance().log(ok || cancelled ? AppLogger::Info : AppLogger::Error, kCategory, line);
    if (report)
        *report = line;
    else
        emit m_builder.importFinished(line, ok);
    return ok;
}

// ---- CachedInsert -----------------------------------------------------------------------------

bool CachedInsert::prepare(QSqlDatabase &db, const QString &sql, int columns)
{
    m_query = QSqlQuery(db);
    m_slots.assign(size_t(columns), Slot());
    m_rows = 0;
    return m_query.prepare(sql);
}

void CachedInsert::bind(int column, const QString &value)
{
    // A null QString would be bound as SQL NULL; the tables hold '' for "none".
    static const QString kEmpty = QStringLiteral("");
    Slot &slot = m_slots[size_t(column)];
    const QString &text = value.isNull() ? kEmpty : value;
    if (slot.kind == Kind::Text && slot.text == text)
        return;
    slot.kind = Kind::Text;
    slot.text = text;
    m_query.bindValue(column, text);
}

void CachedInsert::bind(int column, double value)
{
    Slot &slot = m_slots[size_t(column)];
    if (slot.kind == Kind::Real && slot.real == value)
        return;
    slot.kind = Kind::Real;
    slot.real = value;
    m_query.bindValue(column, value);
}

void CachedInsert::bindInt(int column, int value)
{
    Slot &slot = m_slots[size_t(column)];
    if (slot.kind == Kind::Integer && slot.integer == value)
        return;
    slot.kind = Kind::Integer;
    slot.integer = value;
    m_query.bindValue(column, value);
}

bool CachedInsert::exec()
{
    if (!m_query.exec())
        return false;
    ++m_rows;
    return true;
}

QString CachedInsert::errorText() const
{
    return m_query.lastError().text();
}

bool createTables(ImportSession &session, std::initializer_list<const schema::Statement *> statements)
{
    for (const schema::Statement *statement : statements) {
        if (!session.exec(statement->text()))
            return false;
    }
    return true;
}

void addAirwayColumns(ImportSession &session, bool withAltitudeColumns)
{
    for (const QString &statement : schema::airwayColumnStatements(withAltitudeColumns))
        session.execIgnoringFailure(statement);
}

void removeDatabaseFiles(const QString &path)
{
    for (const char *suffix : {"", "-journal", "-wal", "-shm"})
        QFile::remove(path + QLatin1String(suffix));
}

bool replaceDatabaseFile(const QString &from, const QString &to, QString *error)
{
    std::error_code failure;
    std::filesystem::rename(std::filesystem::path(from.toStdU16String()), std::filesystem::path(to.toStdU16String()),
                            failure);
    if (!failure)
        return true;
    if (error)
        *error = QStringLiteral("Cannot replace %1: %2").arg(to, QString::fromStdString(failure.message()));
    return false;
}

} // namespace navimport
