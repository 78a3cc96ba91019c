#include "app/log/applogger.h"

#include <QMutexLocker>

#include <cstdio>

AppLogger &AppLogger::instance()
{
    static AppLogger logger;
    return logger;
}

AppLogger::AppLogger()
{
    qRegisterMetaType<AppLogger::Level>("AppLogger::Level");
    qRegisterMetaType<AppLogger::Entry>("AppLogger::Entry");
}

void AppLogger::setLevel(Level level)
{
    QMutexLocker lock(&m_mutex);
    m_level = level;
}

AppLogger::Level AppLogger::level() const
{
    QMutexLocker lock(&m_mutex);
    return m_level;
}

void AppLogger::setLogToFile(const QString &path)
{
    QMutexLocker lock(&m_mutex);
    if (m_file.isOpen()) {
        m_stream.flush();
        m_stream.setDevice(nullptr);
        m_file.close();
    }
    if (path.isEmpty())
        return; // no file: stderr and memory only
    m_file.setFileName(path);
    // WriteOnly without Append truncates: the file holds this run only.
    if (m_file.open(QIODevice::WriteOnly | QIODevice::Text)) {
        m_stream.setDevice(&m_file);
        m_stream.setEncoding(QStringConverter::Utf8);
    }
}

QString AppLogger::levelText(Level level)
{
    switch (level) {
    case Debug:
        return QStringLiteral("DEBUG");
    case Info:
        return QStringLiteral("INFO");
    case Warning:
        return QStringLiteral("WARN");
    case Error:
        return QStringLiteral("ERROR");
    }
    return QStringLiteral("INFO");
}

QString AppLogger::formatLine(const Entry &entry)
{
    // Substituted one field after another, message last, so a "%1" inside the message stays verbatim.
    return QStringLiteral("[%1] [%2] [%3] %4")
        .arg(entry.timestamp.toString(QStringLiteral("HH:mm:ss.zzz")))
        .arg(levelText(entry.level))
        .arg(entry.category)
        .arg(entry.message);
}

void AppLogger::log(Level level, const QString &category, const QString &message)
{
    Entry entry;
    {
        QMutexLocker lock(&m_mutex);
        if (level < m_level)
            return;
        entry.timestamp = QDateTime::currentDateTime();
        entry.level = level;
        entry.category = category;
        entry.message = message;
        m_entries.append(entry);
        if (m_entries.size() > kMaxEntries)
            m_entries.remove(0, m_entries.size() - kMaxEntries);

        const QByteArray line = formatLine(entry).toUtf8();
        std::fprintf(stderr, "%s\n", line.constData());
        std::fflush(stderr);
        if (m_file.isOpen()) {
            m_stream << QString::fromUtf8(line) << '\n';
            m_stream.flush();
        }
    }
    emit entryAdded(entry);
}

QList<AppLogger::Entry> AppLogger::recentEntries(int count) const
{
    QMutexLocker lock(&m_mutex);
    if (count >= m_entries.size())
        return m_entries;
    if (count <= 0)
        return {};
    return m_entries.mid(m_entries.size() - count);
}

void AppLogger::clear()
{
    QMutexLocker lock(&m_mutex);
    m_entries.clear();
}
