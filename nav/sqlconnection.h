#pragma once

#include <QSqlDatabase>
#include <QString>

// One named QSQLITE connection for the length of one operation.
//
// Qt keeps connections in a process-wide registry and warns when a connection is removed while a
// QSqlDatabase handle to it is still alive, so the handle lives inside this object and is dropped
// before the name is removed. Declare queries after the connection object so that they are
// destroyed first. A connection belongs to the thread that created it.
class ScopedSqlConnection
{
public:
    ScopedSqlConnection(const QString &connectionName, const QString &path);
    ~ScopedSqlConnection();

    ScopedSqlConnection(const ScopedSqlConnection &) = delete;
    ScopedSqlConnection &operator=(const ScopedSqlConnection &) = delete;

    bool open();
    QSqlDatabase &database() { return m_db; }
    // The driver's text of the last failure on this connection.
    QString errorText() const;

    // A name that no other live connection uses, built from prefix ("navdata_%1").
    static QString uniqueName(const QString &pattern);

private:
    QString m_name;
    QSqlDatabase m_db;
};
