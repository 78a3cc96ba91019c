#include "app/log/applogger.h"
#include "nav/databasebuilder.h"
#include "nav/importsupport_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

// The AIRAC cycle file (cycle_info.txt) and X-Plane's airport metadata (earth_aptmeta.dat).

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

struct AptMetaRow
{
    QString icao;
    QString region;
    double lat = 0.0;
    double lon = 0.0;
    int elevationFt = 0;
    QString type;
    int longestRunwayFt = 0;
    int transitionAltitudeFt = 0;
    QString transitionLevel;
};

// ident region lat lon elevation type <unused> longest-runway transition-altitude transition-level
bool parseAptMeta(QByteArrayView line, AptMetaRow *row)
{
    QByteArrayView f[11];
    if (splitBlanks(line, f, 11) != 10)
        return false;
    if (!toDouble(f[2], &row->lat) || !toDouble(f[3], &row->lon) || !validLatLon(row->lat, row->lon) ||
        !toInt(f[4], &row->elevationFt))
        return false;
    row->icao = latin1(f[0]);
    row->region = latin1(f[1]);
    row->type = latin1(f[5]);
    if (!toInt(f[7], &row->longestRunwayFt))
        row->longestRunwayFt = 0;
    if (!toInt(f[8], &row->transitionAltitudeFt))
        row->transitionAltitudeFt = 0;
    row->transitionLevel = latin1(f[9]);
    return true;
}

} // namespace

bool DatabaseBuilder::importCycleInfo(const QString &path, const QString &dir)
{
    const QString op = QStringLiteral("importCycleInfo");
    const QString file = QDir(dir).filePath(QStringLiteral("cycle_info.txt"));
    createSchema(path);
    if (!QFileInfo(file).isFile()) {
        ImportSession session(*this, QStringLiteral("cycle_clear"), path, op);
        AppLogger::instance().log(AppLogger::Warning, kCategory,
                                  QStringLiteral("importCycleInfo: cycle_info.txt not found, clearing meta"));
        if (session.open() && runSchemaStatements(session, {27}))
            session.exec(QStringLiteral("DELETE FROM navdata_meta"));
        return session.finish(QStringLiteral("importCycleInfo: no cycle file in %1, meta cleared").arg(dir));
    }
    QFile in(file);
    if (!in.open(QIODevice::ReadOnly | QIODevice::Text)) {
        ImportSession session(*this, QStringLiteral("cycle_write"), path, op);
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
        const QString message = QStringLiteral("importCycleInfo: no valid cycle found in %1").arg(file);
        AppLogger::instance().log(AppLogger::Warning, kCategory, message);
        emit importFinished(message, true);
        return true;
    }
    QString provider;
    if (text.contains(QLatin1String("Navigraph"), Qt::CaseInsensitive))
        provider = QStringLiteral("Navigraph");
    else if (text.contains(QLatin1String("Aerosoft"), Qt::CaseInsensitive))
        provider = QStringLiteral("Aerosoft");

    ImportSession session(*this, QStringLiteral("cycle_write"), path, op);
    CachedInsert insert;
    if (session.open() && runSchemaStatements(session, {27}) && session.begin()) {
        const QList<QPair<QString, QString>> values{{QStringLiteral("cycle_major"), QString::number(cycle)},
                                                    {QStringLiteral("cycle_minor"), QString::number(revision)},
                                                    {QStringLiteral("provider"), provider}};
        QSqlQuery remove(session.db());
        remove.prepare(QStringLiteral("DELETE FROM navdata_meta WHERE key=?"));
        if (!insert.prepare(session.db(), QStringLiteral("INSERT INTO navdata_meta (key, value) VALUES (?, ?)"), 2))
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

bool DatabaseBuilder::importAptMeta(const QString &path, const QString &file)
{
    const QString op = QStringLiteral("importAptMeta");
    const QString stage = QStringLiteral("aptmeta");
    ImportSession session(*this, QStringLiteral("aptmeta_import"), path, op);
    XPlaneTextReader reader;
    if (!reader.open(file)) {
        session.fail(QStringLiteral("Cannot open aptmeta: %1 %2").arg(file, reader.errorText()));
        return session.finish(QString());
    }
    createSchema(path);
    CachedInsert insert;
    int skipped = 0;
    if (session.open() && runSchemaStatements(session, {28, 29}) && session.begin() &&
        session.exec(QStringLiteral("DELETE FROM aptmeta"))) {
        if (!insert.prepare(session.db(),
                            QStringLiteral("INSERT OR REPLACE INTO aptmeta (icao, region, lat, lon, elevation, type, "
                                           "longest_rwy, trans_alt, trans_level) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)"),
                            9))
            session.fail(QStringLiteral("%1: prepare failed: %2").arg(op, insert.errorText()));
    }
    QByteArrayView line;
    bool overlong = false;
    AptMetaRow row;
    const qint64 total = qMax<qint64>(1, reader.size());
    while (!session.failed() && reader.next(&line, &overlong)) {
        if (line.startsWith('#'))
            continue;
        if (overlong || !parseAptMeta(line, &row)) {
            ++skipped;
            continue;
        }
        insert.bind(0, row.icao);
        insert.bind(1, row.region);
        insert.bind(2, row.lat);
        insert.bind(3, row.lon);
        insert.bindInt(4, row.elevationFt);
        insert.bind(5, row.type);
        insert.bindInt(6, row.longestRunwayFt);
        insert.bindInt(7, row.transitionAltitudeFt);
        insert.bind(8, row.transitionLevel);
        if (!insert.exec())
            session.fail(QStringLiteral("%1: insert failed: %2").arg(op, insert.errorText()));
        if ((insert.rows() & 1023) == 0 && !session.cancelled())
            session.progress(stage, reader.position(), total);
    }
    if (!session.failed()) {
        reader.logHeaderNotes(op, file, {1100, 1150, 1200});
        session.progress(stage, total, total);
    }
    return session.finish(
        QStringLiteral("importAptMeta: imported %1 airports%2")
            .arg(insert.rows())
            .arg(skipped > 0 ? QStringLiteral(" (%1 malformed lines skipped)").arg(skipped) : QString()));
}
