#include "nav/sqlrowreader.h"

#include <QSqlDriver>
#include <QSqlError>
#include <QVariant>

#include <cstring>

#ifdef ZOBREL_SQLITE_NATIVE
#include <sqlite3.h>
#endif

namespace {

#ifdef ZOBREL_SQLITE_NATIVE
// The driver's handle, when it is safe to use from here: the driver hands out "sqlite3*", and the
// library it runs on reports the version this build links (a different version would mean a
// different copy of SQLite, whose handles must not mix).
sqlite3 *nativeHandle(QSqlDatabase &db)
{
    const QVariant handle = db.driver() ? db.driver()->handle() : QVariant();
    if (!handle.isValid() || qstrcmp(handle.typeName(), "sqlite3*") != 0)
        return nullptr;
    sqlite3 *native = *static_cast<sqlite3 *const *>(handle.constData());
    if (!native)
        return nullptr;
    QSqlQuery version(db);
    if (!version.exec(QStringLiteral("SELECT sqlite_version()")) || !version.next() ||
        version.value(0).toString() != QLatin1String(sqlite3_libversion()))
        return nullptr;
    return native;
}
#endif

} // namespace

SqlRowReader::SqlRowReader(QSqlDatabase &db, Access access) : m_db(db)
{
#ifdef ZOBREL_SQLITE_NATIVE
    if (access == Access::Best)
        m_handle = nativeHandle(db);
#else
    Q_UNUSED(access)
#endif
}

SqlRowReader::~SqlRowReader()
{
    finalize();
}

void SqlRowReader::finalize()
{
#ifdef ZOBREL_SQLITE_NATIVE
    if (m_statement)
        sqlite3_finalize(m_statement);
    if (m_locked)
        sqlite3_mutex_leave(sqlite3_db_mutex(m_handle));
    m_locked = false;
#endif
    m_statement = nullptr;
    m_query = QSqlQuery();
}

bool SqlRowReader::select(const QString &sql)
{
    finalize();
    m_error.clear();
#ifdef ZOBREL_SQLITE_NATIVE
    if (m_handle) {
        const QByteArray utf8 = sql.toUtf8();
        if (sqlite3_prepare_v2(m_handle, utf8.constData(), int(utf8.size()), &m_statement, nullptr) != SQLITE_OK) {
            m_error = QString::fromUtf8(sqlite3_errmsg(m_handle));
            finalize();
            return false;
        }
        // Every library call takes the connection's (recursive) mutex; holding it for the whole
        // statement makes those inner locks nearly free. Nothing else uses this connection meanwhile.
        sqlite3_mutex_enter(sqlite3_db_mutex(m_handle));
        m_locked = true;
        return true;
    }
#endif
    m_query = QSqlQuery(m_db);
    m_query.setForwardOnly(true);
    if (m_query.exec(sql))
        return true;
    m_error = m_query.lastError().text();
    return false;
}

bool SqlRowReader::next()
{
#ifdef ZOBREL_SQLITE_NATIVE
    if (m_handle) {
        if (!m_statement)
            return false;
        const int rc = sqlite3_step(m_statement);
        if (rc == SQLITE_ROW)
            return true;
        if (rc != SQLITE_DONE)
            m_error = QString::fromUtf8(sqlite3_errmsg(m_handle));
        finalize();
        return false;
    }
#endif
    if (m_query.next())
        return true;
    // next() is also false on a read error (a damaged file).
    if (m_query.lastError().type() != QSqlError::NoError)
        m_error = m_query.lastError().text();
    return false;
}

double SqlRowReader::real(int column) const
{
#ifdef ZOBREL_SQLITE_NATIVE
    if (m_handle)
        return sqlite3_column_double(m_statement, column);
#endif
    return m_query.value(column).toDouble();
}

int SqlRowReader::integer(int column) const
{
#ifdef ZOBREL_SQLITE_NATIVE
    if (m_handle)
        return sqlite3_column_int(m_statement, column);
#endif
    return m_query.value(column).toInt();
}

QString SqlRowReader::plainText(int column) const
{
#ifdef ZOBREL_SQLITE_NATIVE
    if (m_handle) {
        // Read the text first: the byte count is only valid after the conversion to text.
        const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(m_statement, column));
        return QString::fromUtf8(text, sqlite3_column_bytes(m_statement, column));
    }
#endif
    const QVariant cell = m_query.value(column);
    // toString() goes through the meta-type conversion even for text; the driver hands text
    // over as QString, so take it directly.
    if (cell.metaType().id() == QMetaType::QString)
        return *static_cast<const QString *>(cell.constData());
    return cell.toString();
}

SqlRowReader::Pool &SqlRowReader::pool(int column)
{
    if (column >= m_pools.size())
        m_pools.resize(column + 1);
    return m_pools[column];
}

QString SqlRowReader::text(int column)
{
    Pool &p = pool(column);
#ifdef ZOBREL_SQLITE_NATIVE
    if (m_handle) {
        // strlen rather than sqlite3_column_bytes: one library call less per cell, and pooled
        // texts (identifiers, codes) never hold a NUL.
        const auto *bytes = reinterpret_cast<const char *>(sqlite3_column_text(m_statement, column));
        const int size = bytes ? int(strlen(bytes)) : 0;
        if (size == 0)
            return QString();
        // Consecutive rows mostly repeat the previous value (the legs of one procedure share
        // airport, name, type and runway), so that is checked before the pool.
        if (p.lastBytes.size() == size && memcmp(p.lastBytes.constData(), bytes, size_t(size)) == 0)
            return p.last;
        const QByteArray key = QByteArray::fromRawData(bytes, size);
        auto it = p.byBytes.constFind(key);
        if (it == p.byBytes.cend())
            it = p.byBytes.insert(QByteArray(bytes, size), QString::fromUtf8(bytes, size));
        p.lastBytes = it.key();
        p.last = it.value();
        return p.last;
    }
#endif
    const QString value = plainText(column);
    if (value.isEmpty())
        return QString();
    if (value == p.last)
        return p.last;
    const auto it = p.strings.constFind(value);
    p.last = it != p.strings.cend() ? *it : *p.strings.insert(value);
    return p.last;
}
