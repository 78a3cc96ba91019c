#include "nav/cycleimporter.h"

#include "app/log/applogger.h"
#include "nav/databasebuilder.h"
#include "nav/importsession.h"
#include "nav/navschema.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace navimport;

namespace {

const QString kCategory = QStringLiteral("NavBuilder");

// "AIRAC cycle    : 2401" gives 2401; 0 when the value after the colon is not a number.
int valueAfterColon(const QString &line)
{
    const int colon = line.indexOf(QLatin1Char(':'));
    if (colon < 0)
        return 0;
    bool ok = false;
    const int value = line.mid(colon + 1).trimmed().toInt(&ok);
    return ok ? value : 0;
}

} // namespace

bool CycleImporter::import(const QString &path, const QString &dir)
{
    const QString op = QStringLiteral("importCycleInfo");
    const QString file = QDir(dir).filePath(QStringLiteral("cycle_info.txt"));
    m_builder.createSchema(path);
    if (!QFileInfo(file).isFile()) {
        ImportSession session(m_builder, QStringLiteral("cycle_clear"), path, op);
        AppLogger::instance().log(AppLogger::Warning, kCategory,
                                  QStringLiteral("importCycleInfo: cycle_info.txt not found, clearing meta"));
        if (session.open() && createTables(session, {&schema::NavdataMeta}))
            session.exec(QStringLiteral("DELETE FROM navdata_meta"));
        return session.finish(QStringLiteral("importCycleInfo: no cycle file in %1, meta cleared").arg(dir));
    }
    QFile in(file);
    if (!in.open(QIODevice::ReadOnly | QIODevice::Text)) {
        ImportSession session(m_builder, QStringLiteral("cycle_write"), path, op);
        session.fail(QStringLiteral("importCycleInfo: cannot open %1: %2").arg(file, in.errorString()));
        return session.finish(QString());
    }
    const QString text = QString::fromUtf8(in.readAll());
    int cycle = 0;
    int revision = 0;
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (const QString &raw : lines) {
        const QString line = raw.trimmed();
        if (line.startsWith(QLatin1String("AIRAC cycle"), Qt::CaseInsensitive))
            cycle = valueAfterColon(line);
        else if (line.startsWith(QLatin1String("Version"), Qt::CaseInsensitive) ||
                 line.startsWith(QLatin1String("Revision"), Qt::CaseInsensitive))
            revision = valueAfterColon(line);
    }
    if (cycle < 1) {
        // Keeps whatever cycle the database had: a damaged file is no reason to forget it.
        ImportSession session(m_builder, QStringLiteral("cycle_write"), path, op);
        session.fail(QStringLiteral("importCycleInfo: no valid cycle found in %1").arg(file));
        return session.finish(QString());
    }
    QString provider;
    if (text.contains(QLatin1String("Navigraph"), Qt::CaseInsensitive))
        provider = QStringLiteral("Navigraph");
    else if (text.contains(QLatin1String("Aerosoft"), Qt::CaseInsensitive))
        provider = QStringLiteral("Aerosoft");

    ImportSession session(m_builder, QStringLiteral("cycle_write"), path, op);
    CachedInsert insert;
    if (session.open() && createTables(session, {&schema::NavdataMeta}) && session.begin()) {
        const QList<QPair<QString, QString>> values{{QStringLiteral("cycle_major"), QString::number(cycle)},
                                                    {QStringLiteral("cycle_minor"), QString::number(revision)},
                                                    {QStringLiteral("provider"), provider}};
        QSqlQuery remove(session.db());
        remove.prepare(QStringLiteral("DELETE FROM navdata_meta WHERE key=?"));
        if (!insert.prepare(session.db(), QLatin1String(schema::insert::NavdataMeta), 2))
            session.fail(QStringLiteral("%1: prepare failed: %2").arg(op, insert.errorText()));
        for (const auto &value : values) {
            remove.bindValue(0, value.first);
            insert.bind(0, value.first);
            insert.bind(1, value.second);
            if (session.failed() || !remove.exec() || !insert.exec()) {
                session.fail(QStringLiteral("%1: cannot write %2: %3").arg(op, value.first, insert.errorText()));
                break;
            }
        }
    }
    return session.finish(QStringLiteral("importCycleInfo: imported cycle %1 revision %2%3")
                              .arg(cycle)
                              .arg(revision)
                              .arg(provider.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(provider)));
}
