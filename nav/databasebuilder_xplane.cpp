#include "nav/databasebuilder.h"
#include "nav/importsupport_p.h"

#include <QHash>
#include <QSqlQuery>

#include <vector>

// X-Plane's own navigation files: earth_nav.dat (navaids), earth_fix.dat (fixes) and
// earth_awy.dat (airways). Rows are parsed on a helper thread and written here in batches.

using namespace navimport;

namespace {

constexpr int kRowsPerBatch = 2048;

QString skippedSuffix(int skipped)
{
    return skipped > 0 ? QStringLiteral(" (%1 malformed lines skipped)").arg(skipped) : QString();
}

// ---- navaids --------------------------------------------------------------------------------

struct NavaidRow
{
    QString ident;
    QString type;
    QString airport;
    double lat = 0.0;
    double lon = 0.0;
    double freq = 0.0;
    double rangeNm = 0.0;
};

template <typename Row> struct RowBatch
{
    std::vector<Row> rows;
    int skipped = 0;
    qint64 position = 0;
};

bool endsWith(QByteArrayView text, const char *suffix)
{
    return text.endsWith(QByteArrayView(suffix));
}

QString navaidType(int code, QByteArrayView name)
{
    switch (code) {
    case 2:
        return QStringLiteral("NDB");
    case 3:
        // VOR-DMEs stay "VOR": their DME is a row 12 of its own, and airway endpoints look VORs up
        // by these three types.
        if (endsWith(name, "VORTAC"))
            return QStringLiteral("VORTAC");
        if (endsWith(name, "TACAN"))
            return QStringLiteral("TACAN");
        return QStringLiteral("VOR");
    case 4:
        return QStringLiteral("ILS");
    case 5:
        return QStringLiteral("LOC");
    case 6:
        return QStringLiteral("GS");
    case 7:
        return QStringLiteral("OM");
    case 8:
        return QStringLiteral("MM");
    case 9:
        return QStringLiteral("IM");
    case 12:
        return QStringLiteral("DME");
    case 13:
        return endsWith(name, "TACAN") ? QStringLiteral("TACAN") : QStringLiteral("DME");
    case 14:
        return QStringLiteral("FPAP");
    case 15:
        return QStringLiteral("GLS");
    case 16:
        return QStringLiteral("LTP");
    default:
        return QString();
    }
}

// One earth_nav.dat row; false when it is malformed or has an unknown row code.
bool parseNavaid(QByteArrayView line, NavaidRow *row)
{
    QByteArrayView f[11];
    const int count = splitBlanks(line, f, 11);
    int code = 0;
    if (count < 10 || !toInt(f[0], &code))
        return false;
    // Rows that belong to a runway carry it in column 11; the name follows.
    const bool runwayBound = (code >= 4 && code <= 9) || (code >= 14 && code <= 16);
    if (runwayBound && count < 11)
        return false;
    const QByteArrayView name =
        count > (runwayBound ? 10 : 9) ? restOfLine(line, f[runwayBound ? 10 : 9]) : QByteArrayView();
    row->type = navaidType(code, name);
    if (row->type.isEmpty())
        return false;
    if (!toDouble(f[1], &row->lat) || !toDouble(f[2], &row->lon) || !validLatLon(row->lat, row->lon) ||
        !toDouble(f[4], &row->freq) || !toDouble(f[5], &row->rangeNm))
        return false;
    if (!(code <= 6 || code == 12 || code == 13))
        row->rangeNm = 0.0;
    row->ident = latin1(f[7]);
    row->airport = equals(f[8], "ENRT") ? QString() : latin1(f[8]);
    return true;
}

// ---- fixes ------------------------------------------------------------------------------------

struct FixRow
{
    QString ident;
    double lat = 0.0;
    double lon = 0.0;
};

bool parseFix(QByteArrayView line, FixRow *row)
{
    QByteArrayView f[3];
    if (splitBlanks(line, f, 3) < 3)
        return false;
    if (!toDouble(f[0], &row->lat) || !toDouble(f[1], &row->lon) || !validLatLon(row->lat, row->lon))
        return false;
    row->ident = latin1(f[2]);
    return true;
}

// Reads an X-Plane text file on the calling (helper) thread and pushes parsed rows in batches.
template <typename Row>
void produceRows(XPlaneTextReader &reader, BatchQueue<RowBatch<Row>> &queue, bool (*parse)(QByteArrayView, Row *))
{
    RowBatch<Row> batch;
    batch.rows.reserve(kRowsPerBatch);
    QByteArrayView line;
    bool overlong = false;
    Row row;
    while (reader.next(&line, &overlong)) {
        if (overlong || !parse(line, &row)) {
            ++batch.skipped;
            continue;
        }
        batch.rows.push_back(std::move(row));
        row = Row();
        if (int(batch.rows.size()) == kRowsPerBatch) {
            batch.position = reader.position();
            if (!queue.push(std::move(batch)))
                return;
            batch = RowBatch<Row>();
            batch.rows.reserve(kRowsPerBatch);
        }
    }
    batch.position = reader.position();
    queue.push(std::move(batch));
}

// ---- airways ---------------------------------------------------------------------------------

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

struct RowCounts
{
    int rows = 0;
    int skipped = 0;
};

// The shared frame of the navaid and fix imports: file, schema, transaction, DELETE, pipeline.
template <typename Row>
void importRows(DatabaseBuilder &builder, ImportSession &session, XPlaneTextReader &reader, const QString &path,
                const QString &file, const QString &op, const QString &stage, const QString &deleteSql,
                const QString &insertSql, int columns, bool (*parse)(QByteArrayView, Row *),
                void (*bind)(CachedInsert &, const Row &), RowCounts *counts)
{
    if (!reader.open(file)) {
        session.fail(QStringLiteral("%1: cannot open %2: %3").arg(op, file, reader.errorText()));
        return;
    }
    // On a new file this stops at the airway index, by design; the tables needed here exist.
    builder.createSchema(path);
    CachedInsert insert;
    if (!session.open() || !session.begin() || !session.exec(deleteSql))
        return;
    if (!insert.prepare(session.db(), insertSql, columns)) {
        session.fail(QStringLiteral("%1: prepare failed: %2").arg(op, insert.errorText()));
        return;
    }
    const qint64 total = qMax<qint64>(1, reader.size());
    session.progress(stage, 0, total);
    runPipeline<RowBatch<Row>>([&](BatchQueue<RowBatch<Row>> &queue) { produceRows(reader, queue, parse); },
                               [&](RowBatch<Row> &batch) {
                                   if (session.cancelled())
                                       return false;
                                   counts->skipped += batch.skipped;
                                   for (const Row &row : batch.rows) {
                                       bind(insert, row);
                                       if (!insert.exec()) {
                                           session.fail(
                                               QStringLiteral("%1: insert failed: %2").arg(op, insert.errorText()));
                                           return false;
                                       }
                                   }
                                   session.progress(stage, batch.position, total);
                                   return true;
                               });
    if (reader.readFailed())
        session.fail(QStringLiteral("%1: read error in %2: %3").arg(op, file, reader.errorText()));
    counts->rows = insert.rows();
    if (!session.failed())
        session.progress(stage, total, total);
}

void bindNavaid(CachedInsert &insert, const NavaidRow &row)
{
    insert.bind(0, row.ident);
    insert.bind(1, row.type);
    insert.bind(2, row.lat);
    insert.bind(3, row.lon);
    insert.bind(4, row.freq);
    insert.bind(5, row.rangeNm);
    insert.bind(6, row.airport);
}

void bindFix(CachedInsert &insert, const FixRow &row)
{
    insert.bind(0, row.ident);
    insert.bind(1, row.lat);
    insert.bind(2, row.lon);
}

} // namespace

bool DatabaseBuilder::importXPlaneNavData(const QString &path, const QString &file)
{
    const QString op = QStringLiteral("importXPlaneNavData");
    ImportSession session(*this, QStringLiteral("nav_import"), path, op);
    XPlaneTextReader reader;
    RowCounts counts;
    importRows<NavaidRow>(*this, session, reader, path, file, op, QStringLiteral("navaids"),
                          QStringLiteral("DELETE FROM navaids"),
                          QStringLiteral("INSERT INTO navaids (ident, type, lat, lon, freq, range_nm, airport_icao) "
                                         "VALUES (?, ?, ?, ?, ?, ?, ?)"),
                          7, parseNavaid, bindNavaid, &counts);
    if (!session.failed())
        reader.logHeaderNotes(op, file, {1100, 1150, 1200});
    return session.finish(QStringLiteral("Imported %1 navaids%2").arg(counts.rows).arg(skippedSuffix(counts.skipped)));
}

bool DatabaseBuilder::importXPlaneWaypoints(const QString &path, const QString &file)
{
    const QString op = QStringLiteral("importXPlaneWaypoints");
    ImportSession session(*this, QStringLiteral("wp_import"), path, op);
    XPlaneTextReader reader;
    RowCounts counts;
    importRows<FixRow>(*this, session, reader, path, file, op, QStringLiteral("waypoints"),
                       QStringLiteral("DELETE FROM waypoints"),
                       QStringLiteral("INSERT INTO waypoints (ident, lat, lon, type) VALUES (?, ?, ?, 'FIX')"), 3,
                       parseFix, bindFix, &counts);
    if (!session.failed())
        reader.logHeaderNotes(op, file, {1100, 1101, 1200});
    return session.finish(
        QStringLiteral("Imported %1 waypoints%2").arg(counts.rows).arg(skippedSuffix(counts.skipped)));
}

bool DatabaseBuilder::importXPlaneAirways(const QString &path, const QString &file)
{
    const QString op = QStringLiteral("importXPlaneAirways");
    const QString stage = QStringLiteral("airways");
    ImportSession session(*this, QStringLiteral("awy_import"), path, op);
    XPlaneTextReader reader;
    if (!reader.open(file)) {
        session.fail(QStringLiteral("%1: cannot open %2: %3").arg(op, file, reader.errorText()));
        return session.finish(QString());
    }
    createSchema(path);
    CachedInsert insert;
    EndpointResolver resolver;
    int skippedLines = 0;
    int unresolved = 0;
    if (session.open()) {
        addAirwayColumns(session, false);
        if (session.begin() && session.exec(QStringLiteral("DELETE FROM airways"))) {
            if (!insert.prepare(session.db(),
                                QStringLiteral("INSERT INTO airways (name, level, from_waypoint_id, to_waypoint_id, "
                                               "from_ident, from_lat, from_lon, to_ident, to_lat, to_lon, direction) "
                                               "VALUES (?, ?, 0, 0, ?, ?, ?, ?, ?, ?, ?)"),
                                9) ||
                !resolver.prepare(session.db()))
                session.fail(QStringLiteral("%1: prepare failed: %2").arg(op, insert.errorText()));
        }
    }
    const qint64 total = qMax<qint64>(1, reader.size());
    if (!session.failed()) {
        session.progress(stage, 0, total);
        runPipeline<RowBatch<AirwayRow>>(
            [&](BatchQueue<RowBatch<AirwayRow>> &queue) { produceRows(reader, queue, parseAirway); },
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
        createSchema(path);
        session.progress(stage, total, total);
    }
    return ok;
}
