#include "nav/navdatabasereader.h"

#include "app/log/applogger.h"
#include "nav/airspaceboundary.h"
#include "nav/geodesy.h"
#include "nav/offlinenavdata.h"
#include "nav/sqlconnection.h"
#include "nav/sqlrowreader.h"

#include <QFileInfo>
#include <QSet>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>

// The offline provider's load: the whole database into a fresh OfflineNavData.
//
// The rows go through SqlRowReader, which reads through the SQLite C API where it can. The two
// million procedure legs of a world database are most of the work; they are packed (texts as ids
// of the data set's text table) on a second thread while this one steps the statement.

namespace {

using Procedure = INavDataProvider::Procedure;
using Data = OfflineNavData;

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

// Runs the queries of one connection and reports failures in one place.
class Reader
{
public:
    explicit Reader(QSqlDatabase &db) : m_rows(db), m_tables(db.tables()) {}

    bool hasTable(const QString &name) const { return m_tables.contains(name); }

    // Reads every row of sql through readRow; on failure logs "<what> query failed: <driver text>"
    // and returns false.
    template <typename ReadRow> bool readAll(const QString &sql, const QString &what, ReadRow readRow)
    {
        if (m_rows.select(sql)) {
            while (m_rows.next())
                readRow(m_rows);
            if (!m_rows.failed())
                return true;
        }
        return fail(what);
    }

    // The same for a table of millions of rows: the records are built on a second thread.
    bool readAllOverlapped(const QString &sql, const QString &what, const std::function<void(SqlRowReader &)> &readRow)
    {
        return m_rows.readAllOverlapped(sql, readRow) || fail(what);
    }

private:
    bool fail(const QString &what)
    {
        logLine(AppLogger::Warning, QStringLiteral("%1 query failed: %2").arg(what, m_rows.errorText()));
        return false;
    }

    SqlRowReader m_rows;
    QStringList m_tables;
};

bool readAirports(Reader &r, Data &data)
{
    return r.readAll(QStringLiteral("SELECT icao, name, lat, lon, elevation, city, country, has_tower, runway_count "
                                    "FROM airports"),
                     QStringLiteral("airports"), [&](SqlRowReader &q) {
                         AirportRecord a;
                         a.icao = q.text(0);
                         a.name = q.plainText(1);
                         a.lat = q.real(2);
                         a.lon = q.real(3);
                         a.elevation = q.integer(4);
                         a.city = q.text(5);
                         a.country = q.text(6);
                         a.hasTower = q.integer(7) != 0;
                         a.runwayCount = q.integer(8);
                         data.airports.insert(a.icao, a);
                     });
}

bool readRunways(Reader &r, Data &data)
{
    return r.readAll(QStringLiteral("SELECT airport_icao, ident, length, width, heading, lat, lon, surface FROM "
                                    "runways"),
                     QStringLiteral("runways"), [&](SqlRowReader &q) {
                         RunwayRecord rw;
                         rw.airportIcao = q.text(0);
                         rw.ident = q.text(1);
                         rw.length = q.integer(2);
                         rw.width = q.integer(3);
                         rw.heading = q.real(4);
                         rw.lat = q.real(5);
                         rw.lon = q.real(6);
                         rw.surface = q.text(7);
                         data.runways[rw.airportIcao].append(rw);
                     });
}

bool readNavaidsAndWaypoints(Reader &r, Data &data)
{
    return r.readAll(QStringLiteral("SELECT ident, type, lat, lon, freq, range_nm, airport_icao FROM navaids"),
                     QStringLiteral("navaids"),
                     [&](SqlRowReader &q) {
                         NavaidRecord n;
                         n.ident = q.text(0);
                         n.type = q.text(1);
                         n.lat = q.real(2);
                         n.lon = q.real(3);
                         n.freq = q.real(4);
                         n.rangeNm = q.real(5);
                         n.airportIcao = q.text(6);
                         data.navaids.append(n);
                     }) &&
           r.readAll(QStringLiteral("SELECT ident, lat, lon, type FROM waypoints"), QStringLiteral("waypoints"),
                     [&](SqlRowReader &q) {
                         WaypointRecord w;
                         w.ident = q.text(0);
                         w.lat = q.real(1);
                         w.lon = q.real(2);
                         w.type = q.text(3);
                         data.waypoints.append(w);
                     });
}

bool readProcedures(Reader &r, Data &data)
{
    return r.readAll(QStringLiteral("SELECT airport_icao, type, runway_ident, name FROM procedures"),
                     QStringLiteral("procedures"), [&](SqlRowReader &q) {
                         Procedure p;
                         p.airportIcao = q.text(0);
                         p.type = q.text(1);
                         p.runwayIdent = q.text(2);
                         p.name = q.text(3);
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

// Room for the legs up front: the largest rowid is found from the table's b-tree without a scan;
// it bounds the row count unless rows were deleted, so the estimate is capped.
qsizetype expectedLegs(QSqlDatabase &db)
{
    QSqlQuery q(db);
    if (q.exec(QStringLiteral("SELECT max(rowid) FROM procedure_legs")) && q.next())
        return qsizetype(qBound(qint64(0), q.value(0).toLongLong(), qint64(8000000)));
    return 0;
}

bool readProcedureLegs(Reader &r, QSqlDatabase &db, bool builderLayout, Data &data)
{
    const QString what = QStringLiteral("procedure_legs");
    LegCollector legs(data, expectedLegs(db));
    NavTextTable &texts = data.texts;
    // Both layouts begin with the same seven columns.
    const auto readLeg = [&](SqlRowReader &q, PackedLeg &leg) {
        leg.seq = q.integer(4);
        leg.fixIdent = q.textId(5, texts);
        leg.fixRegion = q.textId(6, texts);
        legs.add(q.textId(0, texts), q.textId(1, texts), q.textId(2, texts), q.textId(3, texts), leg);
    };
    bool ok;
    if (builderLayout) {
        ok = r.readAllOverlapped(QStringLiteral("SELECT airport_icao, proc_name, proc_type, runway, seq, fix_ident, "
                                                "fix_region, fix_type1, fix_type2, fix_type3, leg_type, lat, lon, "
                                                "altitude, speed_limit FROM procedure_legs"),
                                 what, [&](SqlRowReader &q) {
                                     PackedLeg leg;
                                     leg.fixType1 = q.textId(7, texts);
                                     leg.fixType2 = q.textId(8, texts);
                                     leg.fixType3 = q.textId(9, texts);
                                     leg.legType = q.textId(10, texts);
                                     leg.lat = q.real(11);
                                     leg.lon = q.real(12);
                                     leg.altitude = q.real(13);
                                     leg.speedLimit = q.integer(14);
                                     readLeg(q, leg);
                                 });
    } else {
        ok = r.readAllOverlapped(QStringLiteral("SELECT airport_icao, proc_name, proc_type, runway, seq, fix_ident, "
                                                "fix_region, leg_type, altitude1, speed_limit, transition FROM "
                                                "procedure_legs"),
                                 what, [&](SqlRowReader &q) {
                                     // The transition name has no place in the record; positions
                                     // are resolved in finish().
                                     PackedLeg leg;
                                     leg.legType = q.textId(7, texts);
                                     leg.altitude = q.real(8);
                                     leg.speedLimit = q.integer(9);
                                     readLeg(q, leg);
                                 });
    }
    legs.finish();
    return ok;
}

// The ground and ATC tables come from scenery and ATC imports that a database may not have had
// yet: an absent table is empty, a present but unreadable one is an error.
bool readGroundAndAtc(Reader &r, Data &data)
{
    const auto parkings = [&](SqlRowReader &q) {
        ParkingRecord p;
        p.airportIcao = q.text(0);
        p.name = q.text(1);
        const QString type = q.text(2);
        if (!type.isEmpty())
            p.type = type;
        p.lat = q.real(3);
        p.lon = q.real(4);
        p.heading = q.real(5);
        data.parkings[p.airportIcao].append(p);
    };
    const auto towers = [&](SqlRowReader &q) {
        TowerRecord t;
        t.airportIcao = q.text(0);
        t.lat = q.real(1);
        t.lon = q.real(2);
        t.frequency = q.real(3);
        t.name = q.plainText(4);
        data.towers.insert(t.airportIcao, t);
    };
    const auto frequencies = [&](SqlRowReader &q) {
        FrequencyRecord f;
        f.airportIcao = q.text(0);
        f.type = q.text(1);
        f.frequency = q.real(2);
        f.name = q.plainText(3);
        data.frequencies[f.airportIcao].append(f);
    };
    return (!r.hasTable(QStringLiteral("parkings")) ||
            r.readAll(QStringLiteral("SELECT airport_icao, name, type, lat, lon, heading FROM parkings"),
                      QStringLiteral("parkings"), parkings)) &&
           (!r.hasTable(QStringLiteral("towers")) ||
            r.readAll(QStringLiteral("SELECT airport_icao, lat, lon, frequency, name FROM towers"),
                      QStringLiteral("towers"), towers)) &&
           (!r.hasTable(QStringLiteral("frequencies")) ||
            r.readAll(QStringLiteral("SELECT airport_icao, type, frequency, name FROM frequencies"),
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
    const bool ok = r.readAll(
        QStringLiteral("SELECT name, level, from_lat, from_lon, to_lat, to_lon, from_ident, to_ident, distance FROM "
                       "airways"),
        QStringLiteral("airways"), [&](SqlRowReader &q) {
            AirwaySegment s;
            s.name = q.text(0);
            s.level = q.text(1);
            s.fromLat = q.real(2);
            s.fromLon = q.real(3);
            s.toLat = q.real(4);
            s.toLon = q.real(5);
            s.fromIdent = q.text(6);
            s.toIdent = q.text(7);
            s.distance = q.real(8);
            // Some importers leave the distance at its default.
            if (s.distance <= 0.0)
                s.distance = geodesy::distanceNm(s.fromLat, s.fromLon, s.toLat, s.toLon, geodesy::kNavSphereRadiusNm);
            data.airways.append(s);
        });
    if (ok)
        logLine(AppLogger::Info, QStringLiteral("Loaded %1 airway segments").arg(data.airways.size()));
    return ok;
}

bool readAirspacesAndCycle(Reader &r, Data &data)
{
    const auto airspaces = [&](SqlRowReader &q) {
        AirspaceRecord a;
        a.id = q.integer(0);
        a.name = q.plainText(1);
        a.type = q.text(2);
        a.bottomAlt = q.integer(3);
        a.topAlt = q.integer(4);
        a.boundary = parseAirspaceBoundary(q.plainText(5));
        data.airspaces.append(a);
    };
    const auto meta = [&](SqlRowReader &q) {
        const QString key = q.plainText(0);
        if (key == QLatin1String("cycle_major"))
            data.cycle.cycleMajor = q.integer(1);
        else if (key == QLatin1String("cycle_minor"))
            data.cycle.cycleMinor = q.integer(1);
        else if (key == QLatin1String("provider"))
            data.cycle.provider = q.plainText(1);
    };
    return (!r.hasTable(QStringLiteral("airspaces")) ||
            r.readAll(QStringLiteral("SELECT id, name, type, bottom_alt, top_alt, boundary FROM airspaces"),
                      QStringLiteral("airspaces"), airspaces)) &&
           (!r.hasTable(QStringLiteral("navdata_meta")) ||
            r.readAll(QStringLiteral("SELECT key, value FROM navdata_meta"), QStringLiteral("navdata_meta"), meta));
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
        r.readAll(QStringLiteral("SELECT icao, region, lat, lon, elevation, type, longest_rwy FROM aptmeta"),
                  QStringLiteral("aptmeta"), [&](SqlRowReader &q) {
                      const QString icao = q.text(0);
                      if (icao.isEmpty() || data.airports.contains(icao))
                          return;
                      AirportRecord a;
                      a.icao = icao;
                      a.country = q.text(1);
                      a.lat = q.real(2);
                      a.lon = q.real(3);
                      a.elevation = q.integer(4);
                      a.longestRunway = QStringLiteral("%1 ft").arg(q.integer(6));
                      data.airports.insert(icao, a);
                      ++added;
                  });
    if (ok)
        logLine(AppLogger::Info,
                QStringLiteral("aptmeta fallback: added %1 airports not in airports table").arg(added));
    return ok;
}

} // namespace

bool readNavDatabase(const QString &path, OfflineNavData &data)
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
        !readProcedures(reader, data) || !readProcedureLegs(reader, db, builderLayout, data) ||
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
                                 .arg(data.legCount())
                                 .arg(path));
    return true;
}
