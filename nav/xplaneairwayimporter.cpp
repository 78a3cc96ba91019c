#include "nav/xplaneairwayimporter.h"

#include "nav/databasebuilder.h"
#include "nav/importsession.h"
#include "nav/navschema.h"
#include "nav/textinput.h"
#include "nav/xplanerows.h"

#include <QHash>
#include <QSqlQuery>

#include <vector>

// X-Plane's airway file (earth_awy.dat). Each segment's endpoints are resolved as they are read,
// against the fixes and navaids already in the database; rows are parsed on a helper thread.

using namespace navimport;

namespace {

struct AirwayRow
{
    QString fromIdent;
    QString fromRegion;
    QString toIdent;
    QString toRegion;
    int fromType = 0;
    int toType = 0;
    QString direction;
    QString level;
    QStringList names;
};

bool validEndpointType(int type)
{
    return type == 2 || type == 3 || type == 11;
}

bool parseAirway(QByteArrayView line, AirwayRow *row)
{
    QByteArrayView f[12];
    if (splitBlanks(line, f, 12) != 11)
        return false;
    int level = 0;
    int base = 0;
    int top = 0;
    if (!toInt(f[2], &row->fromType) || !toInt(f[5], &row->toType) || !validEndpointType(row->fromType) ||
        !validEndpointType(row->toType) || !toInt(f[7], &level) || (level != 1 && level != 2) || !toInt(f[8], &base) ||
        !toInt(f[9], &top) || f[6].size() != 1)
        return false;
    // The file's N (both ways), F (forward only), B (backward only); the table's default 'B' means
    // both ways, so backward-only is stored as 'R'.
    switch (f[6][0]) {
    case 'N':
        row->direction = QStringLiteral("B");
        break;
    case 'F':
        row->direction = QStringLiteral("F");
        break;
    case 'B':
        row->direction = QStringLiteral("R");
        break;
    default:
        return false;
    }
    row->fromIdent = latin1(f[0]);
    row->fromRegion = latin1(f[1]);
    row->toIdent = latin1(f[3]);
    row->toRegion = latin1(f[4]);
    row->level = level == 2 ? QStringLiteral("HIGH") : QStringLiteral("LOW");
    // Airways sharing a segment are joined with '-'.
    row->names = latin1(f[10]).split(QLatin1Char('-'), Qt::SkipEmptyParts);
    return !row->names.isEmpty();
}

// Looks airway endpoints up as they are read: first as a fix, then as a radio aid of the
// endpoint's kind (narrowed by region first). Answers are cached, since most points are shared by
// several segments.
class EndpointResolver
{
public:
    bool prepare(QSqlDatabase &db)
    {
        const QString vor = QStringLiteral("type IN ('VOR','VORTAC','TACAN')");
        const QString ndb = QStringLiteral("type='NDB'");
        return prepareOne(db, m_fix, QStringLiteral("SELECT lat, lon FROM waypoints WHERE ident=? LIMIT 1")) &&
               prepareOne(db, m_vorInRegion, aidSql(vor, true)) && prepareOne(db, m_ndbInRegion, aidSql(ndb, true)) &&
               prepareOne(db, m_vor, aidSql(vor, false)) && prepareOne(db, m_ndb, aidSql(ndb, false));
    }

    bool resolve(const QString &ident, const QString &region, int type, double *lat, double *lon)
    {
        Point point = cached(m_fixes, ident, [&] { return lookup(m_fix, ident, QString()); });
        if (!point.found) {
            const bool isNdb = type == 2;
            const QString key = ident + QLatin1Char('|') + region + (isNdb ? QLatin1String("|N") : QLatin1String("|V"));
            point = cached(m_aids, key, [&] {
                Point p;
                if (!region.isEmpty())
                    p = lookup(isNdb ? m_ndbInRegion : m_vorInRegion, ident, region);
                if (!p.found)
                    p = lookup(isNdb ? m_ndb : m_vor, ident, QString());
                return p;
            });
        }
        *lat = point.lat;
        *lon = point.lon;
        return point.found;
    }

private:
    struct Point
    {
        bool found = false;
        double lat = 0.0;
        double lon = 0.0;
    };

    static QString aidSql(const QString &typeCondition, bool inRegion)
    {
        return QStringLiteral("SELECT lat, lon FROM navaids WHERE ident=? AND %1%2 LIMIT 1")
            .arg(typeCondition, inRegion ? QStringLiteral(" AND airport_icao=?") : QString());
    }
    static bool prepareOne(QSqlDatabase &db, QSqlQuery &query, const QString &sql)
    {
        query = QSqlQuery(db);
        query.setForwardOnly(true);
        return query.prepare(sql);
    }
    static Point lookup(QSqlQuery &query, const QString &ident, const QString &region)
    {
        Point point;
        query.bindValue(0, ident);
        if (!region.isEmpty())
            query.bindValue(1, region);
        if (query.exec() && query.next()) {
            point.found = true;
            point.lat = query.value(0).toDouble();
            point.lon = query.value(1).toDouble();
        }
        query.finish();
        return point;
    }
    template <typename Find> static Point cached(QHash<QString, Point> &cache, const QString &key, Find find)
    {
        const auto it = cache.constFind(key);
        if (it != cache.cend())
            return it.value();
        const Point point = find();
        cache.insert(key, point);
        return point;
    }

    QSqlQuery m_fix;
    QSqlQuery m_vorInRegion;
    QSqlQuery m_ndbInRegion;
    QSqlQuery m_vor;
    QSqlQuery m_ndb;
    QHash<QString, Point> m_fixes;
    QHash<QString, Point> m_aids;
};

} // namespace

bool XPlaneAirwayImporter::import(const QString &path, const QString &file)
{
    const QString op = QStringLiteral("importXPlaneAirways");
    const QString stage = QStringLiteral("airways");
    ImportSession session(m_builder, QStringLiteral("awy_import"), path, op);
    XPlaneTextReader reader;
    if (!reader.open(file)) {
        session.fail(QStringLiteral("%1: cannot open %2: %3").arg(op, file, reader.errorText()));
        return session.finish(QString());
    }
    m_builder.createSchema(path);
    CachedInsert insert;
    EndpointResolver resolver;
    int skippedLines = 0;
    int unresolved = 0;
    if (session.open()) {
        addAirwayColumns(session, false);
        if (session.begin() && session.exec(QStringLiteral("DELETE FROM airways"))) {
            if (!insert.prepare(session.db(), QLatin1String(schema::insert::XPlaneAirway), 9) ||
                !resolver.prepare(session.db()))
                session.fail(QStringLiteral("%1: prepare failed: %2").arg(op, insert.errorText()));
        }
    }
    const qint64 total = qMax<qint64>(1, reader.size());
    InputCheck check;
    if (!session.failed()) {
        session.progress(stage, 0, total);
        runPipeline<RowBatch<AirwayRow>>(
            [&](BatchQueue<RowBatch<AirwayRow>> &queue) { produceRows(reader, queue, parseAirway, &check); },
            [&](RowBatch<AirwayRow> &batch) {
                if (session.cancelled())
                    return false;
                skippedLines += batch.skipped;
                for (const AirwayRow &row : batch.rows) {
                    double fromLat = 0, fromLon = 0, toLat = 0, toLon = 0;
                    if (!resolver.resolve(row.fromIdent, row.fromRegion, row.fromType, &fromLat, &fromLon) ||
                        !resolver.resolve(row.toIdent, row.toRegion, row.toType, &toLat, &toLon)) {
                        unresolved += int(row.names.size());
                        continue;
                    }
                    insert.bind(1, row.level);
                    insert.bind(2, row.fromIdent);
                    insert.bind(3, fromLat);
                    insert.bind(4, fromLon);
                    insert.bind(5, row.toIdent);
                    insert.bind(6, toLat);
                    insert.bind(7, toLon);
                    insert.bind(8, row.direction);
                    for (const QString &name : row.names) {
                        insert.bind(0, name);
                        if (!insert.exec()) {
                            session.fail(QStringLiteral("%1: insert failed: %2").arg(op, insert.errorText()));
                            return false;
                        }
                    }
                }
                session.progress(stage, batch.position, total);
                return true;
            });
        if (reader.readFailed())
            session.fail(QStringLiteral("%1: read error in %2: %3").arg(op, file, reader.errorText()));
        const QString problem = check.problem(file);
        if (!problem.isEmpty())
            session.fail(QStringLiteral("%1: %2").arg(op, problem));
    }
    if (!session.failed())
        reader.logHeaderNotes(op, file, {1100});
    const QString message = QStringLiteral("importXPlaneAirways: imported %1 airway segments (%2 skipped, no coords)%3")
                                .arg(insert.rows())
                                .arg(unresolved)
                                .arg(skippedSuffix(skippedLines));
    const bool ok = session.finish(message);
    if (ok) {
        // With the endpoint columns in place the rest of the schema (the airway index onwards)
        // can now be created.
        m_builder.createSchema(path);
        session.progress(stage, total, total);
    }
    return ok;
}
