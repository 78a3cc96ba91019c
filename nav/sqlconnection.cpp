#include "nav/sqlconnection.h"

#include <QAtomicInteger>
#include <QSqlError>

ScopedSqlConnection::ScopedSqlConnection(const QString &connectionName, const QString &path) : m_name(connectionName)
{
    m_db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name);
    m_db.setDatabaseName(path);
}

ScopedSqlConnection::~ScopedSqlConnection()
{
    if (m_db.isOpen())
        m_db.close();
    m_db = QSqlDatabase();
    QSqlDatabase::removeDatabase(m_name);
}

bool ScopedSqlConnection::open()
{
    return m_db.open();
}

QString ScopedSqlConnection::errorText() const
{
    return m_db.lastError().text();
}

QString ScopedSqlConnection::uniqueName(const QString &pattern)
{
    static QAtomicInteger<quint64> counter;
    return pattern.arg(counter.fetchAndAddRelaxed(1) + 1);
}
