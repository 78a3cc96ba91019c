#pragma once

// Helpers for the importer tests: the shared real samples, small files written on the fly, the
// application log and the importers' finishing signal.

#include "navtestdb.h"

#include "app/log/applogger.h"
#include "nav/databasebuilder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QString>
#include <QTemporaryDir>
#include <QTest>

namespace importtest {

inline QString sharedData(const QString &relative)
{
    return QDir(QStringLiteral(SHARED_TESTDATA_DIR)).filePath(relative);
}

// Skips the calling test when the shared samples are not there (a checkout without them).
#define REQUIRE_SHARED_TESTDATA()                                                                                      \
    do {                                                                                                               \
        if (!QFileInfo(QStringLiteral(SHARED_TESTDATA_DIR)).isDir())                                                   \
            QSKIP("../shared/testdata is not present; the real-sample tests need it");                                 \
    } while (false)

inline bool writeFile(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(content) == content.size();
}

inline bool copyFile(const QString &from, const QString &to)
{
    QDir().mkpath(QFileInfo(to).absolutePath());
    QFile::remove(to);
    return QFile::copy(from, to);
}

inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The first log message starting with start, or an empty string.
inline QString loggedLine(const QString &start)
{
    for (const AppLogger::Entry &e : AppLogger::instance().recentEntries(AppLogger::kMaxEntries)) {
        if (e.message.startsWith(start))
            return e.message;
    }
    return QString();
}

// Counts the lines of text that start with one of the prefixes: an independent count of the rows
// a file holds, for comparing with what an importer stored.
inline int countLines(const QByteArray &text, const QList<QByteArray> &prefixes)
{
    int count = 0;
    for (const QByteArray &line : text.split('\n')) {
        const QByteArray t = line.trimmed();
        for (const QByteArray &prefix : prefixes) {
            if (t.startsWith(prefix)) {
                ++count;
                break;
            }
        }
    }
    return count;
}

// A database with the complete schema (as after an airway import) at path. The schema is made once
// per test program and copied: every schema statement on its own is a synchronous disk write.
inline bool fullSchemaCopy(const QString &path)
{
    static QTemporaryDir templateDir;
    static const QString templatePath = templateDir.filePath(QStringLiteral("template.db"));
    static const bool made = navtest::createFullSchema(templatePath);
    return made && QFile::copy(templatePath, path);
}

// The "SQL error:" warning that createSchema gives on a file without the airway columns.
inline void expectSchemaStop()
{
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^SQL error: .*from_ident")));
}

// The last importFinished of a spy: message and success.
inline QPair<QString, bool> lastFinished(const QSignalSpy &spy)
{
    if (spy.isEmpty())
        return {QString(), false};
    return {spy.last().at(0).toString(), spy.last().at(1).toBool()};
}

} // namespace importtest
