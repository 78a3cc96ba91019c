#include "nav/sqlrowreader.h"

#include "nav/batchqueue.h"
#include "nav/navtexttable.h"

#include <QSqlDriver>
#include <QSqlError>
#include <QVariant>

#include <cstring>
#include <limits>
#include <thread>
#include <vector>

#ifdef ZOBREL_SQLITE_NATIVE
#include <sqlite3.h>
#endif

namespace {

// SQLite's storage classes, as copied cells carry them (blobs travel as text).
constexpr int kInteger = 1;
constexpr int kReal = 2;
constexpr int kText = 3;
#ifdef ZOBREL_SQLITE_NATIVE
static_assert(kInteger == SQLITE_INTEGER && kReal == SQLITE_FLOAT && kText == SQLITE_TEXT);
#endif

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
    if (m_handle) {
        QSqlQuery encoding(db);
        m_utf16 = encoding.exec(QStringLiteral("PRAGMA encoding")) && encoding.next() &&
                  encoding.value(0).toString().startsWith(QLatin1String("UTF-16"));
    }
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

namespace {

// SQLite's own rules for a REAL read as an integer: truncated, saturated at the 64-bit range.
qint64 realToInteger(double value)
{
    if (value != value)
        return 0;
    if (value <= -9223372036854775808.0)
        return std::numeric_limits<qint64>::min();
    if (value >= 9223372036854775807.0)
        return std::numeric_limits<qint64>::max();
    return qint64(value);
}

// SQLite's text of a REAL: 15 significant digits, always with a decimal point ("3.0", "1.0e+15").
QByteArray realToText(double value)
{
    QByteArray text = QByteArray::number(value, 'g', 15);
    if (text.contains('.') || text.contains("inf") || text.contains("nan"))
        return text;
    const qsizetype exponent = text.indexOf('e');
    return exponent < 0 ? text + ".0" : text.insert(exponent, ".0");
}

} // namespace

double SqlRowReader::real(int column) const
{
    if (m_row) {
        const Cell &cell = m_row[column];
        if (cell.type != kText)
            return cell.real;
        return m_utf16 ? decode(m_rowText + cell.offset, cell.size).trimmed().toDouble()
                       : QByteArray::fromRawData(m_rowText + cell.offset, cell.size).trimmed().toDouble();
    }
#ifdef ZOBREL_SQLITE_NATIVE
    if (m_handle)
        return sqlite3_column_double(m_statement, column);
#endif
    return m_query.value(column).toDouble();
}

int SqlRowReader::integer(int column) const
{
    if (m_row) {
        const Cell &cell = m_row[column];
        if (cell.type == kText)
            return int(realToInteger(real(column)));
        return int(cell.integer);
    }
#ifdef ZOBREL_SQLITE_NATIVE
    if (m_handle)
        return sqlite3_column_int(m_statement, column);
#endif
    // As SQLite reads a REAL or a text as an integer: truncated, not rounded as QVariant does.
    const QVariant cell = m_query.value(column);
    const int type = cell.metaType().id();
    if (type == QMetaType::Double || type == QMetaType::QString)
        return int(realToInteger(cell.toDouble()));
    return cell.toInt();
}

// The UTF-8 bytes of a cell on the native paths; scratch holds them when they had to be made.
bool SqlRowReader::bytesOf(int column, const char **bytes, int *size, QByteArray *scratch) const
{
    if (m_row) {
        const Cell &cell = m_row[column];
        switch (cell.type) {
        case kText:
            *bytes = m_rowText + cell.offset;
            *size = cell.size;
            return true;
        case kInteger:
            *scratch = QByteArray::number(cell.integer);
            break;
        case kReal:
            *scratch = realToText(cell.real);
            break;
        default:
            scratch->clear();
        }
        if (m_utf16) {
            const QString wide = QString::fromLatin1(*scratch);
            *scratch = QByteArray(reinterpret_cast<const char *>(wide.utf16()), wide.size() * 2);
        }
        *bytes = scratch->constData();
        *size = int(scratch->size());
        return true;
    }
#ifdef ZOBREL_SQLITE_NATIVE
    if (m_handle) {
        // Text first: the byte count is only valid after the conversion to text.
        if (m_utf16) {
            *bytes = static_cast<const char *>(sqlite3_column_text16(m_statement, column));
            *size = *bytes ? sqlite3_column_bytes16(m_statement, column) : 0;
        } else {
            *bytes = reinterpret_cast<const char *>(sqlite3_column_text(m_statement, column));
            *size = *bytes ? sqlite3_column_bytes(m_statement, column) : 0;
        }
        return true;
    }
#else
    Q_UNUSED(column)
    Q_UNUSED(scratch)
#endif
    *bytes = nullptr;
    *size = 0;
    return false;
}

QString SqlRowReader::plainText(int column) const
{
    const char *bytes = nullptr;
    int size = 0;
    QByteArray scratch;
    if (bytesOf(column, &bytes, &size, &scratch))
        return decode(bytes, size);
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

QString SqlRowReader::intern(Pool &p, const char *bytes, int size)
{
    if (size == 0)
        return QString();
    // Consecutive rows mostly repeat the previous value (the legs of one procedure share
    // airport, name, type and runway), so that is checked before the pool.
    if (p.lastBytes.size() == size && memcmp(p.lastBytes.constData(), bytes, size_t(size)) == 0)
        return p.last;
    const QByteArray key = QByteArray::fromRawData(bytes, size);
    auto it = p.byBytes.constFind(key);
    if (it == p.byBytes.cend())
        it = p.byBytes.insert(QByteArray(bytes, size), decode(bytes, size));
    p.lastBytes = it.key();
    p.last = it.value();
    return p.last;
}

QString SqlRowReader::text(int column)
{
    Pool &p = pool(column);
    const char *bytes = nullptr;
    int size = 0;
    QByteArray scratch;
    if (bytesOf(column, &bytes, &size, &scratch))
        return intern(p, bytes, size);
    const QString value = plainText(column);
    if (value.isEmpty())
        return QString();
    if (value == p.last)
        return p.last;
    const auto it = p.strings.constFind(value);
    p.last = it != p.strings.cend() ? *it : *p.strings.insert(value);
    return p.last;
}

QString SqlRowReader::decode(const char *bytes, int size) const
{
    // UTF-16 bytes come from SQLite or from the row blocks at even offsets, so they are aligned.
    if (m_utf16)
        return QString(reinterpret_cast<const QChar *>(bytes), size / 2);
    return QString::fromUtf8(bytes, size);
}

quint32 SqlRowReader::textId(int column, NavTextTable &table)
{
    Pool &p = pool(column);
    const char *bytes = nullptr;
    int size = 0;
    QByteArray scratch;
    if (!bytesOf(column, &bytes, &size, &scratch))
        return table.add(plainText(column));
    if (size == 0)
        return 0;
    if (p.lastIdBytes.size() == size && memcmp(p.lastIdBytes.constData(), bytes, size_t(size)) == 0)
        return p.lastId;
    const QByteArray key = QByteArray::fromRawData(bytes, size);
    auto it = p.ids.constFind(key);
    if (it == p.ids.cend())
        it = p.ids.insert(QByteArray(bytes, size), table.add(decode(bytes, size)));
    p.lastIdBytes = it.key();
    p.lastId = it.value();
    return p.lastId;
}

bool SqlRowReader::readAllOverlapped(const QString &sql, const std::function<void(SqlRowReader &)> &readRow)
{
    if (!select(sql))
        return false;
#ifdef ZOBREL_SQLITE_NATIVE
    if (m_handle) {
        const int columns = sqlite3_column_count(m_statement);
        constexpr int kRowsPerBlock = 2048;
        // A short bounded queue keeps memory flat whatever the table's size.
        BatchQueue<Block> handoff;
        // A thread of its own rather than the global pool: the load itself usually runs in the
        // pool, and waiting on a queued pool task from inside it could wait forever.
        std::thread builder([&] {
            Block block;
            while (handoff.pop(&block)) {
                m_rowText = block.text.constData();
                for (int r = 0; r < block.rows; ++r) {
                    m_row = block.cells.data() + size_t(r) * size_t(columns);
                    readRow(*this);
                }
                m_row = nullptr;
                m_rowText = nullptr;
                // Freed on the stepping thread, off this one.
                handoff.giveBack(std::move(block));
                block = Block();
            }
        });
        Block block;
        block.cells.reserve(size_t(kRowsPerBlock) * size_t(columns));
        int rc;
        while ((rc = sqlite3_step(m_statement)) == SQLITE_ROW) {
            for (int c = 0; c < columns; ++c) {
                Cell cell;
                cell.type = sqlite3_column_type(m_statement, c);
                if (cell.type == kInteger) {
                    cell.integer = sqlite3_column_int64(m_statement, c);
                    cell.real = double(cell.integer);
                } else if (cell.type == kReal) {
                    cell.real = sqlite3_column_double(m_statement, c);
                    cell.integer = realToInteger(cell.real);
                } else if (cell.type == kText || cell.type == SQLITE_BLOB) {
                    cell.type = kText;
                    const char *bytes = nullptr;
                    if (m_utf16) {
                        bytes = static_cast<const char *>(sqlite3_column_text16(m_statement, c));
                        cell.size = bytes ? sqlite3_column_bytes16(m_statement, c) : 0;
                    } else {
                        bytes = reinterpret_cast<const char *>(sqlite3_column_text(m_statement, c));
                        cell.size = bytes ? sqlite3_column_bytes(m_statement, c) : 0;
                    }
                    cell.offset = int(block.text.size());
                    block.text.append(bytes, cell.size);
                    // A terminator as wide as a character keeps the next text aligned.
                    block.text.append(m_utf16 ? 2 : 1, '\0');
                }
                block.cells.push_back(cell);
            }
            if (++block.rows == kRowsPerBlock) {
                handoff.push(std::move(block));
                block = Block();
                block.cells.reserve(size_t(kRowsPerBlock) * size_t(columns));
            }
        }
        if (rc != SQLITE_DONE)
            m_error = QString::fromUtf8(sqlite3_errmsg(m_handle));
        finalize();
        if (block.rows > 0)
            handoff.push(std::move(block));
        handoff.close();
        builder.join();
        return !failed();
    }
#endif
    while (next())
        readRow(*this);
    return !failed();
}
