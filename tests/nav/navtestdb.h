#pragma once

// Helpers for the navigation tests: real SQLite files built through DatabaseBuilder, and
// direct reads that check what the code under test left in a file.

#include "nav/databasebuilder.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QStringList>
#include <QVariant>

namespace navtest {

// What an airway import does to the table before the schema can complete.
inline QStringList airwayColumnStatements()
{
    QStringList statements;
    for (const char *column : {"from_lat REAL DEFAULT 0", "from_lon REAL DEFAULT 0", "to_lat REAL DEFAULT 0",
                               "to_lon REAL DEFAULT 0", "from_ident TEXT DEFAULT ''", "to_ident TEXT DEFAULT ''",
                               "direction TEXT DEFAULT 'B'", "distance REAL DEFAULT 0"})
        statements << QStringLiteral("ALTER TABLE airways ADD COLUMN %1").arg(QLatin1String(column));
    return statements;
}

// The airways table as statement 5 creates it, extended with the importer's columns, then the
// whole schema: a database as it looks after an airway import.
inline bool createFullSchema(const QString &path)
{
    DatabaseBuilder builder;
    QStringList statements{DatabaseBuilder::schemaStatements().value(4)};
    statements << airwayColumnStatements();
    return builder.executeSql(path, statements) && builder.createSchema(path);
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
