#pragma once

#include <QByteArray>
#include <QHash>
#include <QSet>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QVector>

#include <functional>
#include <vector>

class NavTextTable;
struct sqlite3;
struct sqlite3_stmt;

// Forward-only reading of SELECT results on an open QSQLITE connection, for bulk loads.
//
// Where the station is linked against the same SQLite library as Qt's driver, the rows are read
// through the SQLite C API on the connection's own handle: Qt SQL wraps every cell in a QVariant
// and decodes every text, which costs twice the read itself on a world database. Elsewhere (Qt's
// Windows builds carry a private SQLite copy, and a handle must never cross copies) the same
// interface reads through QSqlQuery.
//
// Text columns come back interned per column: identifiers, types and regions repeat across
// hundreds of thousands of rows, and sharing one QString per distinct value keeps a world
// database within memory. A database that stores its text as UTF-16 (as a build makes it) is read
// as UTF-16, the form QString holds, without a conversion. Belongs to the connection's thread.
class SqlRowReader
{
public:
    // QtSql forces the portable path (the one builds without the C API take).
    enum class Access { Best, QtSql };

    explicit SqlRowReader(QSqlDatabase &db, Access access = Access::Best);
    ~SqlRowReader();

    SqlRowReader(const SqlRowReader &) = delete;
    SqlRowReader &operator=(const SqlRowReader &) = delete;

    // Whether this build and this connection read through the C API.
    bool isNative() const { return m_handle != nullptr; }

    // Starts a new statement (the previous one is dropped, the text pools are kept).
    bool select(const QString &sql);
    // The next row; false at the end or on a read error (see failed()).
    bool next();
    bool failed() const { return !m_error.isEmpty(); }
    QString errorText() const { return m_error; }

    double real(int column) const;
    int integer(int column) const;
    // Text of a column, shared with earlier equal values of the same column.
    QString text(int column);
    // Text that rarely repeats (names, boundaries): not kept in a pool.
    QString plainText(int column) const;
    // The id of a column's text in table (added when new); 0 for an empty or NULL cell. Repeated
    // values are recognised from their bytes, so most rows cost neither a QString nor a hash of
    // one.
    quint32 textId(int column, NavTextTable &table);

    // Reads every row of sql through readRow, for the tables that run into millions of rows: with
    // the C API, readRow runs on a second thread while this one steps the statement, so building
    // records overlaps with decoding pages. readRow gets this reader positioned on the row and
    // uses only the value functions above. Returns false when the statement fails (failed()).
    bool readAllOverlapped(const QString &sql, const std::function<void(SqlRowReader &)> &readRow);

private:
    // One cell copied out of the statement for the other thread.
    struct Cell
    {
        int type = 0; // SQLite's storage class
        qint64 integer = 0;
        double real = 0.0;
        int offset = 0; // of a text's bytes (NUL-terminated) in the block's text buffer
        int size = 0;
    };
    // Rows copied out together, handed over as one.
    struct Block
    {
        std::vector<Cell> cells;
        QByteArray text;
        int rows = 0;
    };

    bool bytesOf(int column, const char **bytes, int *size, QByteArray *scratch) const;

    struct Pool
    {
        QByteArray lastBytes;
        QString last;
        QHash<QByteArray, QString> byBytes;
        QSet<QString> strings;
        // textId's cache of the same column.
        QByteArray lastIdBytes;
        quint32 lastId = 0;
        QHash<QByteArray, quint32> ids;
    };

    void finalize();
    Pool &pool(int column);
    QString intern(Pool &p, const char *bytes, int size);
    QString decode(const char *bytes, int size) const;

    sqlite3 *m_handle = nullptr;
    sqlite3_stmt *m_statement = nullptr;
    bool m_utf16 = false; // native text is UTF-16 in the machine's byte order
    bool m_locked = false;
    QSqlDatabase &m_db;
    QSqlQuery m_query;
    QString m_error;
    QVector<Pool> m_pools;
    // Set while readRow runs on a copied row.
    const Cell *m_row = nullptr;
    const char *m_rowText = nullptr;
};
