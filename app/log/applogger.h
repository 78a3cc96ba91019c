#pragma once

#include <QDateTime>
#include <QFile>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QTextStream>

// The process-wide application log. Every subsystem writes one line per event through log();
// each accepted entry goes to standard error, to the log file when one is set, into a capped
// in-memory list for the log view, and out through entryAdded.
//
// Created on first use by instance() and never destroyed before exit. log() may be called from
// any thread; entryAdded is emitted on the calling thread, after the lock is released, so a slot
// may log again.
class AppLogger : public QObject
{
    Q_OBJECT
public:
    enum Level { Debug = 0, Info = 1, Warning = 2, Error = 3 };
    Q_ENUM(Level)

    struct Entry
    {
        QDateTime timestamp;
        Level level = Info;
        QString category;
        QString message;
    };

    static constexpr int kMaxEntries = 2000;

    static AppLogger &instance();

    void setLevel(Level level);
    Level level() const;

    // Opens path write-only, truncating it: the file holds the current run only. A file that
    // cannot be opened is not an error; logging goes on to stderr and memory. An empty path just
    // closes the current file.
    void setLogToFile(const QString &path);

    void log(Level level, const QString &category, const QString &message);

    // The newest count entries, oldest first; all of them when count is not smaller than the size.
    QList<Entry> recentEntries(int count) const;
    void clear();

    static QString levelText(Level level);
    static QString formatLine(const Entry &entry);

signals:
    void entryAdded(const AppLogger::Entry &entry);

private:
    AppLogger();

    Level m_level = Info;
    mutable QMutex m_mutex;
    QList<Entry> m_entries;
    QFile m_file;
    QTextStream m_stream;
};

Q_DECLARE_METATYPE(AppLogger::Level)
Q_DECLARE_METATYPE(AppLogger::Entry)
