#include "nav/xplanenavimporter.h"

#include "nav/databasebuilder.h"
#include "nav/importsession.h"
#include "nav/navschema.h"
#include "nav/textinput.h"
#include "nav/xplanerows.h"

#include <vector>

// X-Plane's own navigation text files: earth_nav.dat (navaids), earth_fix.dat (fixes) and
// earth_aptmeta.dat (airport metadata). Rows are parsed on a helper thread and written here in
// batches.

using namespace navimport;

namespace {

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
    // The DELETE above stays inside the transaction: it commits only once the file proved usable.
    InputCheck check;
    runPipeline<RowBatch<Row>>([&](BatchQueue<RowBatch<Row>> &queue) { produceRows(reader, queue, parse, &check); },
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
    const QString problem = check.problem(file);
    if (!problem.isEmpty())
        session.fail(QStringLiteral("%1: %2").arg(op, problem));
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

bool XPlaneNavImporter::importNavaids(const QString &path, const QString &file)
{
    const QString op = QStringLiteral("importXPlaneNavData");
    ImportSession session(m_builder, QStringLiteral("nav_import"), path, op);
    XPlaneTextReader reader;
    RowCounts counts;
    importRows<NavaidRow>(m_builder, session, reader, path, file, op, QStringLiteral("navaids"),
                          QStringLiteral("DELETE FROM navaids"), QLatin1String(schema::insert::Navaid), 7, parseNavaid,
                          bindNavaid, &counts);
    if (!session.failed())
        reader.logHeaderNotes(op, file, {1100, 1150, 1200});
    return session.finish(QStringLiteral("Imported %1 navaids%2").arg(counts.rows).arg(skippedSuffix(counts.skipped)));
}

bool XPlaneNavImporter::importFixes(const QString &path, const QString &file)
{
    const QString op = QStringLiteral("importXPlaneWaypoints");
    ImportSession session(m_builder, QStringLiteral("wp_import"), path, op);
    XPlaneTextReader reader;
    RowCounts counts;
    importRows<FixRow>(m_builder, session, reader, path, file, op, QStringLiteral("waypoints"),
                       QStringLiteral("DELETE FROM waypoints"), QLatin1String(schema::insert::XPlaneFix), 3, parseFix,
                       bindFix, &counts);
    if (!session.failed())
        reader.logHeaderNotes(op, file, {1100, 1101, 1200});
    return session.finish(
        QStringLiteral("Imported %1 waypoints%2").arg(counts.rows).arg(skippedSuffix(counts.skipped)));
}

bool XPlaneNavImporter::importAptMeta(const QString &path, const QString &file)
{
    const QString op = QStringLiteral("importAptMeta");
    const QString stage = QStringLiteral("aptmeta");
    ImportSession session(m_builder, QStringLiteral("aptmeta_import"), path, op);
    XPlaneTextReader reader;
    if (!reader.open(file)) {
        session.fail(QStringLiteral("Cannot open aptmeta: %1 %2").arg(file, reader.errorText()));
        return session.finish(QString());
    }
    m_builder.createSchema(path);
    CachedInsert insert;
    int skipped = 0;
    if (session.open() && createTables(session, {&schema::AptMeta, &schema::AptMetaLatLon}) && session.begin() &&
        session.exec(QStringLiteral("DELETE FROM aptmeta"))) {
        if (!insert.prepare(session.db(), QLatin1String(schema::insert::AptMeta), 9))
            session.fail(QStringLiteral("%1: prepare failed: %2").arg(op, insert.errorText()));
    }
    QByteArrayView line;
    bool overlong = false;
    AptMetaRow row;
    InputCheck check;
    const qint64 total = qMax<qint64>(1, reader.size());
    while (!session.failed() && reader.next(&line, &overlong)) {
        if (!overlong && line.startsWith('#'))
            continue;
        const bool usable = !overlong && parseAptMeta(line, &row);
        check.note(reader.lineNumber(), usable, reader.lineComplete());
        if (!usable) {
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
    check.noteFrame(reader);
    if (!session.failed() && !check.problem(file).isEmpty())
        session.fail(QStringLiteral("%1: %2").arg(op, check.problem(file)));
    if (!session.failed()) {
        reader.logHeaderNotes(op, file, {1100, 1150, 1200});
        session.progress(stage, total, total);
    }
    return session.finish(
        QStringLiteral("importAptMeta: imported %1 airports%2")
            .arg(insert.rows())
            .arg(skipped > 0 ? QStringLiteral(" (%1 malformed lines skipped)").arg(skipped) : QString()));
}
