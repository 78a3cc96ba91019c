#include "app/log/applogger.h"
#include "nav/databasebuilder.h"
#include "nav/offlinenavdata_p.h"
#include "nav/offlinenavdataprovider.h"
#include "nav/rowpipeline.h"
#include "nav/sqlconnection.h"

#include <QFileInfo>
#include <QSet>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>

// Loading: reads the whole database into a fresh Data and swaps it in. Any failure of a core
// table leaves the provider untouched.
//
// The procedure legs (two million rows in a world database, most of the work) are turned into
// records on a second thread while this one steps the query (RowPipeline): Qt SQL's conversion
// of every column is the larger half of the cost, and the two halves then overlap.

namespace {

using Procedure = INavDataProvider::Procedure;
using ProcedureLeg = INavDataProvider::ProcedureLeg;
using Data = OfflineNavDataProvider::Data;

const QString kCategory = QStringLiteral("NavData");

void logLine(AppLogger::Level level, const QString &message)
{
    AppLogger::instance().log(level, kCategory, message);
}

void tune(QSqlDatabase &db)
{
    // Tuning only: a pragma that the file refuses is no reason to give up; a file that is not a
    // database fails on its first table.
    QSqlQuery pragma(db);
    for (const char *sql : {"PRAGMA journal_mode=WAL", "PRAGMA synchronous=OFF", "PRAGMA cache_size=-64000",
                            "PRAGMA mmap_size=268435456", "PRAGMA temp_store=MEMORY"})
        pragma.exec(QString::fromLatin1(sql));
}

// Identifiers, types and regions repeat across hundreds of thousands of rows; sharing one
// QString per distinct value keeps a world database within memory.
class StringPool
{
public:
    QString intern(const QString &text)
    {
        if (text.isEmpty())
            return QString();
        const auto it = m_strings.constFind(text);
        if (it != m_strings.cend())
            return *it;
        m_strings.insert(text);
        return text;
    }

private:
    QSet<QString> m_strings;
};

// Runs the queries of one connection and reports failures in one place.
class Reader
{
public:
    explicit Reader(QSqlDatabase &db) : m_db(db), m_tables(db.tables()) {}

    bool hasTable(const QString &name) const { return m_tables.contains(name); }

    // Runs sql forward-only; on failure logs "<what> query failed: <driver text>".
    bool select(QSqlQuery &query, const QString &sql, const QString &what)
    {
        query = QSqlQuery(m_db);
        query.setForwardOnly(true);
        for (int c = 0; c < kColumns; ++c) {
            m_lastText[c].clear();
            m_pools[c] = StringPool();
        }
        if (query.exec(sql))
            return true;
        fail(query, what);
        return false;
    }

    // After the row loop: next() also returns false on a read error (a damaged file).
    bool finished(const QSqlQuery &query, const QString &what)
    {
        if (query.lastError().type() == QSqlError::NoError)
            return true;
        fail(query, what);
        return false;
    }

    // Interned text of a column. Consecutive rows mostly repeat the previous row's value (the
    // legs of one procedure share airport, name, type, runway), so that is checked first; each
    // column has its own pool, so small enumerations stay in small, cache-friendly sets.
    QString text(const QVariant &cell, int column)
    {
        const QString value = cellText(cell);
        QString &last = m_lastText[column];
        if (value != last)
            last = m_pools[column].intern(value);
        return last;
    }
    QString text(const QSqlQuery &query, int column) { return text(query.value(column), column); }

    // QVariant::toString() goes through the meta-type conversion even for text; the driver
    // hands text over as QString, so take it directly.
    static QString cellText(const QVariant &cell)
    {
        if (cell.metaType().id() == QMetaType::QString)
            return *static_cast<const QString *>(cell.constData());
        return cell.toString();
    }
    static QString plainText(const QSqlQuery &query, int column) { return cellText(query.value(column)); }
    static double real(const QSqlQuery &query, int column) { return query.value(column).toDouble(); }
    static int integer(const QSqlQuery &query, int column) { return query.value(column).toInt(); }

private:
    static void fail(const QSqlQuery &query, const QString &what)
    {
        logLine(AppLogger::Warning, QStringLiteral("%1 query failed: %2").arg(what, query.lastError().text()));
    }

    static constexpr int kColumns = 16;

    QSqlDatabase &m_db;
    QStringList m_tables;
    StringPool m_pools[kColumns];
    QString m_lastText[kColumns];
};

// Reads every row of sql through readRow; false (logged) when the query fails.
template <typename ReadRow> bool readAll(Reader &reader, const QString &sql, const QString &what, ReadRow readRow)
{
    QSqlQuery q;
    if (!reader.select(q, sql, what))
        return false;
    while (q.next())
        readRow(q);
    return reader.finished(q, what);
}

bool readAirports(Reader &r, Data &data)
{
    return readAll(r,
                   QStringLiteral("SELECT icao, name, lat, lon, elevation, city, country, has_tower, runway_count "
                                  "FROM airports"),
                   QStringLiteral("airports"), [&](const QSqlQuery &q) {
                       AirportRecord a;
                       a.icao = r.text(q, 0);
                       a.name = Reader::plainText(q, 1);
                       a.lat = Reader::real(q, 2);
                       a.lon = Reader::real(q, 3);
                       a.elevation = Reader::integer(q, 4);
                       a.city = r.text(q, 5);
                       a.country = r.text(q, 6);
                       a.hasTower = Reader::integer(q, 7) != 0;
                       a.runwayCount = Reader::integer(q, 8);
                       data.airports.insert(a.icao, a);
                   });
}

bool readRunways(Reader &r, Data &data)
{
    return readAll(r,
                   QStringLiteral("SELECT airport_icao, ident, length, width, heading, lat, lon, surface FROM "
                                  "runways"),
                   QStringLiteral("runways"), [&](const QSqlQuery &q) {
                       RunwayRecord rw;
                       rw.airportIcao = r.text(q, 0);
                       rw.ident = r.text(q, 1);
                       rw.length = Reader::integer(q, 2);
                       rw.width = Reader::integer(q, 3);
                       rw.heading = Reader::real(q, 4);
                       rw.lat = Reader::real(q, 5);
                       rw.lon = Reader::real(q, 6);
                       rw.surface = r.text(q, 7);
                       data.runways[rw.airportIcao].append(rw);
                   });
}

bool readNavaidsAndWaypoints(Reader &r, Data &data)
{
    return readAll(r, QStringLiteral("SELECT ident, type, lat, lon, freq, range_nm, airport_icao FROM navaids"),
                   QStringLiteral("navaids"),
                   [&](const QSqlQuery &q) {
                       NavaidRecord n;
                       n.ident = r.text(q, 0);
                       n.type = r.text(q, 1);
                       n.lat = Reader::real(q, 2);
                       n.lon = Reader::real(q, 3);
                       n.freq = Reader::real(q, 4);
                       n.rangeNm = Reader::real(q, 5);
                       n.airportIcao = r.text(q, 6);
                       data.navaids.append(n);
                   }) &&
           readAll(r, QStringLiteral("SELECT ident, lat, lon, type FROM waypoints"), QStringLiteral("waypoints"),
                   [&](const QSqlQuery &q) {
                       WaypointRecord w;
                       w.ident = r.text(q, 0);
                       w.lat = Reader::real(q, 1);
                       w.lon = Reader::real(q, 2);
                       w.type = r.text(q, 3);
                       data.waypoints.append(w);
                   });
}

bool readProcedures(Reader &r, Data &data)
{
    return readAll(r, QStringLiteral("SELECT airport_icao, type, runway_ident, name FROM procedures"),
                   QStringLiteral("procedures"), [&](const QSqlQuery &q) {
                       Procedure p;
                       p.airportIcao = r.text(q, 0);
                       p.type = r.text(q, 1);
                       p.runwayIdent = r.text(q, 2);
                       p.name = r.text(q, 3);
                       data.procedures.append(p);
                   });
}

// Two layouts exist: the builder's (resolved positions, three fix types) and the one that
// scenery-record imports create (transition, altitude1, no positions).
bool legsInBuilderLayout(QSqlDatabase &db)
{
    QSqlQuery q(db);
    QSet<QString> columns;
    if (q.exec(QStringLiteral("PRAGMA table_info(procedure_legs)"))) {
        while (q.next())
            columns.insert(q.value(1).toString());
    }
    return columns.contains(QStringLiteral("fix_type1")) && columns.contains(QStringLiteral("lat"));
}

bool readProcedureLegs(Reader &r, bool builderLayout, QList<ProcedureLeg> &legs)
{
    QSqlQuery q;
    const QString what = QStringLiteral("procedure_legs");
    // Both layouts begin with the same seven columns.
    const auto readLegHead = [&r](const QVariant *row, ProcedureLeg &leg) {
        leg.airportIcao = r.text(row[0], 0);
        leg.procName = r.text(row[1], 1);
        leg.procType = r.text(row[2], 2);
        leg.runway = r.text(row[3], 3);
        leg.seq = row[4].toInt();
        leg.fixIdent = r.text(row[5], 5);
        leg.fixRegion = r.text(row[6], 6);
    };
    if (builderLayout) {
        if (!r.select(q,
                      QStringLiteral("SELECT airport_icao, proc_name, proc_type, runway, seq, fix_ident, fix_region, "
                                     "fix_type1, fix_type2, fix_type3, leg_type, lat, lon, altitude, speed_limit "
                                     "FROM procedure_legs"),
                      what))
            return false;
        RowPipeline(15).run(q, [&](const QVariant *row) {
            ProcedureLeg leg;
            readLegHead(row, leg);
            leg.fixType1 = r.text(row[7], 7);
            leg.fixType2 = r.text(row[8], 8);
            leg.fixType3 = r.text(row[9], 9);
            leg.legType = r.text(row[10], 10);
            leg.lat = row[11].toDouble();
            leg.lon = row[12].toDouble();
            leg.altitude = row[13].toDouble();
            leg.speedLimit = row[14].toInt();
            legs.append(leg);
        });
    } else {
        if (!r.select(q,
                      QStringLiteral("SELECT airport_icao, proc_name, proc_type, runway, seq, fix_ident, fix_region, "
                                     "leg_type, altitude1, speed_limit, transition FROM procedure_legs"),
                      what))
            return false;
        RowPipeline(11).run(q, [&](const QVariant *row) {
            // The transition name has no place in the record; positions are resolved in finish().
            ProcedureLeg leg;
            readLegHead(row, leg);
            leg.legType = r.text(row[7], 7);
            leg.altitude = row[8].toDouble();
            leg.speedLimit = row[9].toInt();
            legs.append(leg);
        });
    }
    return r.finished(q, what);
}

// The ground and ATC tables come from scenery and ATC imports that a database may not have had
// yet: an absent table is empty, a present but unreadable one is an error.
bool readGroundAndAtc(Reader &r, Data &data)
{
    const auto parkings = [&](const QSqlQuery &q) {
        ParkingRecord p;
        p.airportIcao = r.text(q, 0);
        p.name = r.text(q, 1);
        const QString type = r.text(q, 2);
        if (!type.isEmpty())
            p.type = type;
        p.lat = Reader::real(q, 3);
        p.lon = Reader::real(q, 4);
        p.heading = Reader::real(q, 5);
        data.parkings[p.airportIcao].append(p);
    };
    const auto towers = [&](const QSqlQuery &q) {
        TowerRecord t;
        t.airportIcao = r.text(q, 0);
        t.lat = Reader::real(q, 1);
        t.lon = Reader::real(q, 2);
        t.frequency = Reader::real(q, 3);
        t.name = Reader::plainText(q, 4);
        data.towers.insert(t.airportIcao, t);
    };
    const auto frequencies = [&](const QSqlQuery &q) {
        FrequencyRecord f;
        f.airportIcao = r.text(q, 0);
        f.type = r.text(q, 1);
        f.frequency = Reader::real(q, 2);
        f.name = Reader::plainText(q, 3);
        data.frequencies[f.airportIcao].append(f);
    };
    return (!r.hasTable(QStringLiteral("parkings")) ||
            readAll(r, QStringLiteral("SELECT airport_icao, name, type, lat, lon, heading FROM parkings"),
                    QStringLiteral("parkings"), parkings)) &&
           (!r.hasTable(QStringLiteral("towers")) ||
            readAll(r, QStringLiteral("SELECT airport_icao, lat, lon, frequency, name FROM towers"),
                    QStringLiteral("towers"), towers)) &&
           (!r.hasTable(QStringLiteral("frequencies")) ||
            readAll(r, QStringLiteral("SELECT airport_icao, type, frequency, name FROM frequencies"),
                    QStringLiteral("frequencies"), frequencies));
}

bool readAirways(Reader &r, QSqlDatabase &db, Data &data)
{
    // An airways table from before the endpoint columns existed is not an error: it just
    // carries nothing the map can draw.
    {
        QSqlQuery probe(db);
        if (!probe.exec(QStringLiteral("SELECT from_ident FROM airways LIMIT 1"))) {
            logLine(AppLogger::Warning, QStringLiteral("airways checkCol failed: %1").arg(probe.lastError().text()));
            return true;
        }
    }
    const bool ok = readAll(
        r,
        QStringLiteral("SELECT name, level, from_lat, from_lon, to_lat, to_lon, from_ident, to_ident, distance FROM "
                       "airways"),
        QStringLiteral("airways"), [&](const QSqlQuery &q) {
            AirwaySegment s;
            s.name = r.text(q, 0);
            s.level = r.text(q, 1);
            s.fromLat = Reader::real(q, 2);
            s.fromLon = Reader::real(q, 3);
            s.toLat = Reader::real(q, 4);
            s.toLon = Reader::real(q, 5);
            s.fromIdent = r.text(q, 6);
            s.toIdent = r.text(q, 7);
            s.distance = Reader::real(q, 8);
            // Some importers leave the distance at its default.
            if (s.distance <= 0.0)
                s.distance = DatabaseBuilder::distanceNm(s.fromLat, s.fromLon, s.toLat, s.toLon);
            data.airways.append(s);
        });
    if (ok)
        logLine(AppLogger::Info, QStringLiteral("Loaded %1 airway segments").arg(data.airways.size()));
    return ok;
}

bool readAirspacesAndCycle(Reader &r, Data &data)
{
    const auto airspaces = [&](const QSqlQuery &q) {
        AirspaceRecord a;
        a.id = Reader::integer(q, 0);
        a.name = Reader::plainText(q, 1);
        a.type = r.text(q, 2);
        a.bottomAlt = Reader::integer(q, 3);
        a.topAlt = Reader::integer(q, 4);
        a.boundary = parseAirspaceBoundary(Reader::plainText(q, 5));
        data.airspaces.append(a);
    };
    const auto meta = [&](const QSqlQuery &q) {
        const QString key = Reader::plainText(q, 0);
        if (key == QLatin1String("cycle_major"))
            data.cycle.cycleMajor = Reader::integer(q, 1);
        else if (key == QLatin1String("cycle_minor"))
            data.cycle.cycleMinor = Reader::integer(q, 1);
        else if (key == QLatin1String("provider"))
            data.cycle.provider = Reader::plainText(q, 1);
    };
    return (!r.hasTable(QStringLiteral("airspaces")) ||
            readAll(r, QStringLiteral("SELECT id, name, type, bottom_alt, top_alt, boundary FROM airspaces"),
                    QStringLiteral("airspaces"), airspaces)) &&
           (!r.hasTable(QStringLiteral("navdata_meta")) ||
            readAll(r, QStringLiteral("SELECT key, value FROM navdata_meta"), QStringLiteral("navdata_meta"), meta));
}

// Airports that only the airport metadata file knows (no layout in the scenery) still appear.
bool readAptMetaFallback(Reader &r, QSqlDatabase &db, Data &data)
{
    {
        QSqlQuery probe(db);
        if (!probe.exec(QStringLiteral("SELECT 1 FROM aptmeta LIMIT 1")) || !probe.next())
            return true;
    }
    int added = 0;
    const bool ok =
        readAll(r, QStringLiteral("SELECT icao, region, lat, lon, elevation, type, longest_rwy FROM aptmeta"),
                QStringLiteral("aptmeta"), [&](const QSqlQuery &q) {
                    const QString icao = r.text(q, 0);
                    if (icao.isEmpty() || data.airports.contains(icao))
                        return;
                    AirportRecord a;
                    a.icao = icao;
                    a.country = r.text(q, 1);
                    a.lat = Reader::real(q, 2);
                    a.lon = Reader::real(q, 3);
                    a.elevation = Reader::integer(q, 4);
                    a.longestRunway = QStringLiteral("%1 ft").arg(Reader::integer(q, 6));
                    data.airports.insert(icao, a);
                    ++added;
                });
    if (ok)
        logLine(AppLogger::Info,
                QStringLiteral("aptmeta fallback: added %1 airports not in airports table").arg(added));
    return ok;
}

} // namespace

bool OfflineNavDataProvider::loadFromDatabase(const QString &path)
{
    auto fresh = std::make_unique<Data>();
    if (!readDatabase(path, *fresh))
        return false;
    install(std::move(fresh), &path);
    return true;
}

bool OfflineNavDataProvider::readDatabase(const QString &path, Data &data)
{
    // QSQLITE would create a missing file; a load must never leave an empty database behind.
    const QFileInfo info(path);
    if (!info.isFile()) {
        logLine(AppLogger::Warning, QStringLiteral("Failed to open navdata: no such file %1").arg(path));
        return false;
    }
    ScopedSqlConnection connection(ScopedSqlConnection::uniqueName(QStringLiteral("navdata_%1")), path);
    if (!connection.open()) {
        logLine(AppLogger::Warning, QStringLiteral("Failed to open navdata: %1").arg(connection.errorText()));
        return false;
    }
    logLine(AppLogger::Info, QStringLiteral("loadFromDatabase: %1 size= %2 MB")
                                 .arg(path, QString::number(info.size() / (1024.0 * 1024.0), 'f', 1)));
    QSqlDatabase &db = connection.database();
    tune(db);
    Reader reader(db);

    const bool builderLayout = legsInBuilderLayout(db);
    if (!readAirports(reader, data) || !readRunways(reader, data) || !readNavaidsAndWaypoints(reader, data) ||
        !readProcedures(reader, data) || !readProcedureLegs(reader, builderLayout, data.procedureLegs) ||
        !readGroundAndAtc(reader, data) || !readAirways(reader, db, data) || !readAirspacesAndCycle(reader, data) ||
        !readAptMetaFallback(reader, db, data))
        return false;

    data.finish();
    logLine(AppLogger::Info, QStringLiteral("Loaded %1 airports, %2 runway groups, %3 navaids, %4 waypoints, %5 "
                                            "procedures, %6 procedure_legs from %7")
                                 .arg(data.airports.size())
                                 .arg(data.runways.size())
                                 .arg(data.navaids.size())
                                 .arg(data.waypoints.size())
                                 .arg(data.procedures.size())
                                 .arg(data.procedureLegs.size())
                                 .arg(path));
    return true;
}
