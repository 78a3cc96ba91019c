#pragma once

// Helpers for the navigation tests: real SQLite files built through DatabaseBuilder, and
// direct reads that check what the code under test left in a file.

#include "nav/databasebuilder.h"
#include "nav/navschema.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QStringList>
#include <QVariant>

namespace navtest {

// Every table in its final shape: a database as a whole build leaves it.
inline bool createFullSchema(const QString &path)
{
    return DatabaseBuilder().executeSql(path, schema::completeStatements());
}

// Runs one statement on its own connection; the first column of every row, in order.
inline QVariantList column(const QString &path, const QString &sql)
{
    QVariantList values;
    const QString name = QStringLiteral("navtest_read");
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(path);
        if (db.open()) {
            QSqlQuery q(db);
            if (q.exec(sql)) {
                while (q.next())
                    values << q.value(0);
            }
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(name);
    return values;
}

inline int count(const QString &path, const QString &table)
{
    return column(path, QStringLiteral("SELECT COUNT(*) FROM %1").arg(table)).value(0, -1).toInt();
}

inline QStringList schemaObjects(const QString &path, const QString &type)
{
    QStringList names;
    const QVariantList values = column(
        path,
        QStringLiteral("SELECT name FROM sqlite_master WHERE type='%1' AND name NOT LIKE 'sqlite_%' ORDER BY name")
            .arg(type));
    for (const QVariant &v : values)
        names << v.toString();
    return names;
}

} // namespace navtest
