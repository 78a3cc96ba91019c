#include "nav/bglreader.h"
#include "nav/databasebuilder.h"
#include "nav/importsupport_p.h"

#include <QHash>
#include <QSet>
#include <QSqlError>
#include <QSqlQuery>

// Prepar3D, FSX and MSFS 2020 scenery (BGL) into the navigation database. The readers gather a
// whole library in load order; here precedence is applied (a later airport replaces an earlier
// one, a stub only its procedures and COMs, repeated navaids are written once), the records are
// mapped to the database's vocabulary and written in one transaction.

using namespace navimport;

namespace {

constexpr double kMetresPerNm = 1852.0;
constexpr int kCheckEvery = 256; // records between cancel checks and progress reports

const QString kWrite = QStringLiteral("write");

// Tables a new file needs; the schema's own forms except airways (created with its endpoint
// columns) and procedure_legs (with the scenery leg fields).
const char *const kAirwaysTable =
    "CREATE TABLE IF NOT EXISTS airways (  id INTEGER PRIMARY KEY AUTOINCREMENT,  name TEXT, level TEXT,  "
    "from_waypoint_id INTEGER DEFAULT 0, to_waypoint_id INTEGER DEFAULT 0,  from_lat REAL DEFAULT 0, from_lon REAL "
    "DEFAULT 0,  to_lat REAL DEFAULT 0, to_lon REAL DEFAULT 0,  from_ident TEXT DEFAULT '', to_ident TEXT DEFAULT '',  "
    "distance REAL DEFAULT 0, direction TEXT DEFAULT 'B')";
const char *const kLegsTable =
    "CREATE TABLE IF NOT EXISTS procedure_legs (  id INTEGER PRIMARY KEY AUTOINCREMENT,  airport_icao TEXT, proc_name "
    "TEXT, proc_type TEXT,  runway TEXT, transition TEXT, seq INTEGER,  fix_ident TEXT, fix_region TEXT, fix_type "
    "TEXT,  leg_type TEXT, course REAL DEFAULT 0, dist_or_time REAL DEFAULT 0,  altitude1 REAL DEFAULT 0, altitude2 "
    "REAL DEFAULT 0, alt_descriptor TEXT,  turn_direction TEXT, flyover INTEGER DEFAULT 0,  speed_limit INTEGER "
    "DEFAULT 0)";

const char *const kRepair[] = {
    "UPDATE airways SET to_lat = (SELECT lat FROM waypoints WHERE waypoints.ident = airways.to_ident LIMIT 1), to_lon "
    "= (SELECT lon FROM waypoints WHERE waypoints.ident = airways.to_ident LIMIT 1) WHERE (to_lat = 0 OR to_lat IS "
    "NULL OR to_lon = 0 OR to_lon IS NULL) AND to_ident != '' AND EXISTS (SELECT 1 FROM waypoints WHERE "
    "waypoints.ident = airways.to_ident AND waypoints.lat != 0)",
    "UPDATE airways SET from_lat = (SELECT lat FROM waypoints WHERE waypoints.ident = airways.from_ident LIMIT 1), "
    "from_lon = (SELECT lon FROM waypoints WHERE waypoints.ident = airways.from_ident LIMIT 1) WHERE (from_lat = 0 OR "
    "from_lat IS NULL OR from_lon = 0 OR from_lon IS NULL) AND from_ident != '' AND EXISTS (SELECT 1 FROM waypoints "
    "WHERE waypoints.ident = airways.from_ident AND waypoints.lat != 0)",
    "UPDATE airways SET to_lat = (SELECT lat FROM navaids WHERE navaids.ident = airways.to_ident LIMIT 1), to_lon = "
    "(SELECT lon FROM navaids WHERE navaids.ident = airways.to_ident LIMIT 1) WHERE (to_lat = 0 OR to_lat IS NULL OR "
    "to_lon = 0 OR to_lon IS NULL) AND to_ident != '' AND EXISTS (SELECT 1 FROM navaids WHERE navaids.ident = "
    "airways.to_ident AND navaids.lat != 0)",
    "UPDATE airways SET from_lat = (SELECT lat FROM navaids WHERE navaids.ident = airways.from_ident LIMIT 1), "
    "from_lon = (SELECT lon FROM navaids WHERE navaids.ident = airways.from_ident LIMIT 1) WHERE (from_lat = 0 OR "
    "from_lat IS NULL OR from_lon = 0 OR from_lon IS NULL) AND from_ident != '' AND EXISTS (SELECT 1 FROM navaids "
    "WHERE navaids.ident = airways.from_ident AND navaids.lat != 0)",
    "UPDATE airports SET runway_count = (SELECT COUNT(*) FROM runways WHERE runways.airport_icao = airports.icao)",
};

// ---- vocabulary -----------------------------------------------------------------------------

QString frequencyType(const QString &bgl)
{
    static const QHash<QString, QString> map{{QStringLiteral("ATIS"), QStringLiteral("ATIS")},
                                             {QStringLiteral("TOWER"), QStringLiteral("TWR")},
                                             {QStringLiteral("GROUND"), QStringLiteral("GND")},
                                             {QStringLiteral("CLEARANCE"), QStringLiteral("CLD")},
                                             {QStringLiteral("APPROACH"), QStringLiteral("APP")},
                                             {QStringLiteral("DEPARTURE"), QStringLiteral("DEP")},
                                             {QStringLiteral("UNICOM"), QStringLiteral("CTAF")},
                                             {QStringLiteral("MULTICOM"), QStringLiteral("CTAF")},
                                             {QStringLiteral("CTAF"), QStringLiteral("CTAF")},
                                             {QStringLiteral("FSS"), QStringLiteral("FSS")},
                                             {QStringLiteral("ASOS"), QStringLiteral("ATIS")},
                                             {QStringLiteral("AWOS"), QStringLiteral("ATIS")},
                                             {QStringLiteral("CENTER"), QStringLiteral("OTHER")},
                                             {QStringLiteral("CLEARANCE_PRE_TAXI"), QStringLiteral("CLD")},
                                             {QStringLiteral("REMOTE_CLEARANCE_DELIVERY"), QStringLiteral("CLD")}};
    return map.value(bgl, QStringLiteral("OTHER"));
}

// The X-Plane vocabulary the parkings table already uses: "GATE", "HANGAR", "TIE_DOWN", "MISC".
QString parkingType(const QString &bgl)
{
    if (bgl.startsWith(QLatin1String("GATE")))
        return QStringLiteral("GATE");
    if (bgl.startsWith(QLatin1String("RAMP")))
        return QStringLiteral("TIE_DOWN");
    return QStringLiteral("MISC");
}

QString airspaceType(const QString &bgl)
{
    static const QHash<QString, QString> map{{QStringLiteral("CENTER"), QStringLiteral("FIR")},
                                             {QStringLiteral("TOWER"), QStringLiteral("CTR")},
                                             {QStringLiteral("CLEARANCE"), QStringLiteral("CTR")},
                                             {QStringLiteral("GROUND"), QStringLiteral("CTR")},
                                             {QStringLiteral("APPROACH"), QStringLiteral("TMA")},
                                             {QStringLiteral("DEPARTURE"), QStringLiteral("TMA")},
                                             {QStringLiteral("WARNING"), QStringLiteral("WARNING")},
                                             {QStringLiteral("ALERT"), QStringLiteral("WARNING")},
                                             {QStringLiteral("MOA"), QStringLiteral("DANGER")},
                                             {QStringLiteral("TRAINING"), QStringLiteral("DANGER")},
                                             {QStringLiteral("DANGER"), QStringLiteral("DANGER")},
                                             {QStringLiteral("RESTRICTED"), QStringLiteral("RESTRICTED")},
                                             {QStringLiteral("PROHIBITED"), QStringLiteral("PROHIBITED")}};
    if (bgl.startsWith(QLatin1String("CLASS_")))
        return bgl;
    return map.value(bgl, bgl);
}

QString procedureType(const QString &bgl)
{
    // CIFP data names approaches "APPCH"; both imports feed the same readers.
    return bgl == QLatin1String("APPROACH") ? QStringLiteral("APPCH") : bgl;
}

QString boundaryText(const QList<QPointF> &points)
{
    QString text;
    for (const QPointF &p : points) {
        if (!text.isEmpty())
            text.append(QLatin1Char(' '));
        text.append(QStringLiteral("%1,%2").arg(p.x(), 0, 'f', 6).arg(p.y(), 0, 'f', 6));
    }
    return text;
}

// ---- precedence ---------------------------------------------------------------------------

// Records of one library with later ones replacing earlier ones of the same key.
template <typename T> class Keyed
{
public:
    void add(const QString &key, const T &value)
    {
        const auto it = m_index.constFind(key);
        if (it == m_index.constEnd()) {
            m_index.insert(key, int(m_items.size()));
            m_items.append(value);
        } else {
            m_items[*it] = value;
        }
    }
    T *find(const QString &key)
    {
        const auto it = m_index.constFind(key);
        return it == m_index.constEnd() ? nullptr : &m_items[*it];
    }
    const QList<T> &items() const { return m_items; }

private:
    QHash<QString, int> m_index;
    QList<T> m_items;
};

QString key(std::initializer_list<QString> parts)
{
    QString k;
    for (const QString &p : parts)
        k.append(p).append(QLatin1Char('|'));
    return k;
}

// Position to about 10 m: the same aid met twice (the NDB stride may repeat one, a library may
// list a file twice) is one record, while distinct aids sharing an ident and region stay apart.
QString at(double lat, double lon)
{
    return QStringLiteral("%1,%2").arg(lat, 0, 'f', 4).arg(lon, 0, 'f', 4);
}

bool isStub(const BglAirport &a)
{
    return a.runways.isEmpty() && a.starts.isEmpty() && a.parkings.isEmpty();
}

struct Library
{
    Keyed<BglAirport> airports;
    Keyed<BglVor> vors;
    Keyed<BglIls> ilses;
    Keyed<BglNdb> ndbs;
    Keyed<BglMarker> markers;
    Keyed<BglWaypoint> waypoints;
    Keyed<BglAirwaySegment> segments;
    Keyed<BglBoundary> boundaries;

    explicit Library(const BglReader &r)
    {
        for (const BglAirport &a : r.airports()) {
            BglAirport *base = airports.find(a.ident);
            // A delete-airport record removes what the airport had, so such a record always replaces.
            if (base && isStub(a) && !isStub(*base) && !a.hasDeleteRecord) {
                // A navigation-data update: new procedures and COMs for the stock airport.
                if (!a.procedures.isEmpty()) {
                    base->procedures = a.procedures;
                    base->procedureLegs = a.procedureLegs;
                }
                if (!a.comFrequencies.isEmpty())
                    base->comFrequencies = a.comFrequencies;
            } else {
                airports.add(a.ident, a);
            }
        }
        for (const BglVor &v : r.vors())
            vors.add(key({v.ident, v.region, v.kind, at(v.lat, v.lon)}), v);
        for (const BglIls &i : r.ilses())
            ilses.add(key({i.ident, i.region, i.airportIdent, at(i.lat, i.lon)}), i);
        for (const BglNdb &n : r.ndbs())
            ndbs.add(key({n.ident, n.region, at(n.lat, n.lon)}), n);
        for (const BglMarker &m : r.markers())
            markers.add(key({m.ident, m.region, m.type, at(m.lat, m.lon)}), m);
        for (const BglWaypoint &w : r.waypoints())
            waypoints.add(key({w.ident, w.region, w.airportIdent, at(w.lat, w.lon)}), w);
        for (const BglAirwaySegment &s : r.airwaySegments())
            segments.add(key({s.name, s.fromIdent, s.fromRegion, at(s.fromLat, s.fromLon), s.toIdent, s.toRegion}), s);
        for (const BglBoundary &b : r.boundaries())
            boundaries.add(key({b.name, b.type, QString::number(b.lowerAltitudeFt), QString::number(b.upperAltitudeFt),
                                b.polygons.isEmpty() || b.polygons.first().isEmpty()
                                    ? QString()
                                    : boundaryText({b.polygons.first().first()})}),
                           b);
    }
};

// ---- writing ------------------------------------------------------------------------------

class BglWriter
{
public:
    BglWriter(ImportSession &session, const QString &op) : m_session(session), m_op(op) {}

    bool createTables()
    {
        if (!runSchemaStatements(m_session, {1, 2, 3, 4}) || !m_session.exec(QLatin1String(kAirwaysTable)) ||
            !runSchemaStatements(m_session, {6}) || !m_session.exec(QLatin1String(kLegsTable)))
            return false;
        addAirwayColumns(m_session, false); // an airways table of the short form gets its columns
        if (!runSchemaStatements(m_session, {8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26}))
            return false;
        QSqlQuery q(m_session.db());
        QSet<QString> columns;
        if (q.exec(QStringLiteral("PRAGMA table_info(procedure_legs)"))) {
            while (q.next())
                columns.insert(q.value(1).toString());
        }
        m_sceneryLegs = columns.contains(QStringLiteral("transition"));
        return prepare();
    }

    // Opens the session's transaction, creates the tables and empties those this import replaces.
    bool start(std::initializer_list<const char *> clearStatements)
    {
        return m_session.open() && m_session.begin() && createTables() && exec(clearStatements);
    }

    // Ends a failed import; an insert that failed without a session error is reported here.
    bool abandon()
    {
        if (!m_session.failed())
            m_session.fail(QStringLiteral("%1: insert failed: %2").arg(m_op, errorText()));
        return m_session.finish(QString());
    }

    bool exec(std::initializer_list<const char *> statements)
    {
        for (const char *sql : statements) {
            if (!m_session.exec(QLatin1String(sql)))
                return false;
        }
        return true;
    }

    // Airport row, runway ends, tower and ground layout.
    bool writeAirport(const BglAirport &a)
    {
        const QString tower = towerFrequencyName(a);
        m_airport.bind(0, a.ident);
        m_airport.bind(1, a.name);
        m_airport.bind(2, a.lat);
        m_airport.bind(3, a.lon);
        m_airport.bindInt(4, qRound(a.altitudeFt));
        m_airport.bindInt(5, a.hasTower || !tower.isNull() ? 1 : 0);
        m_airport.bindInt(6, int(a.runways.size()) * 2);
        if (!run(m_airport))
            return false;
        for (const BglRunway &r : a.runways) {
            for (const BglRunwayEnd *end : {&r.primary, &r.secondary}) {
                m_runway.bind(0, a.ident);
                m_runway.bind(1, end->ident);
                m_runway.bindInt(2, qRound(r.lengthFt));
                m_runway.bindInt(3, qRound(r.widthFt));
                m_runway.bind(4, end->headingDegTrue);
                m_runway.bind(5, end->lat);
                m_runway.bind(6, end->lon);
                m_runway.bind(7, r.surface);
                if (!run(m_runway))
                    return false;
            }
        }
        if (a.hasTower) {
            m_tower.bind(0, a.ident);
            m_tower.bind(1, a.towerLat);
            m_tower.bind(2, a.towerLon);
            m_tower.bind(3, m_towerMhz);
            m_tower.bind(4, tower.isEmpty() ? a.name : tower);
            if (!run(m_tower))
                return false;
        }
        return writeGround(a);
    }

    // COM frequencies, one per database type (the table's key): the first of each type wins.
    bool writeFrequencies(const BglAirport &a)
    {
        m_deleteFrequencies.bind(0, a.ident);
        if (!run(m_deleteFrequencies))
            return false;
        QSet<QString> types;
        for (const BglComFreq &c : a.comFrequencies) {
            const QString type = frequencyType(c.type);
            if (c.frequencyMhz <= 0.0 || types.contains(type))
                continue;
            types.insert(type);
            m_frequency.bind(0, a.ident);
            m_frequency.bind(1, type);
            m_frequency.bind(2, c.frequencyMhz);
            m_frequency.bind(3, c.name);
            if (!run(m_frequency))
                return false;
        }
        return true;
    }

    bool writeProcedures(const BglAirport &a)
    {
        for (const BglProcedure &p : a.procedures) {
            CachedInsert &insert = p.runwayIdent.isEmpty() ? m_procedureNoRunway : m_procedure;
            int column = 0;
            insert.bind(column++, a.ident);
            insert.bind(column++, procedureType(p.type));
            if (!p.runwayIdent.isEmpty())
                insert.bind(column++, p.runwayIdent);
            insert.bind(column, p.name);
            if (!run(insert))
                return false;
        }
        for (const BglProcedureLeg &l : a.procedureLegs) {
            if (!(m_sceneryLegs ? writeSceneryLeg(a.ident, l) : writeBuilderLeg(a.ident, l)))
                return false;
        }
        return true;
    }

    bool writeNavaid(const QString &ident, const QString &type, double lat, double lon, double freq, double rangeNm,
                     const QString &airport)
    {
        m_navaid.bind(0, ident);
        m_navaid.bind(1, type);
        m_navaid.bind(2, lat);
        m_navaid.bind(3, lon);
        m_navaid.bind(4, freq);
        m_navaid.bind(5, rangeNm);
        m_navaid.bind(6, airport);
        return run(m_navaid);
    }

    bool writeRadioAids(const Library &lib)
    {
        for (const BglVor &v : lib.vors.items()) {
            const bool dmeOnly = v.kind == QLatin1String("DME");
            // VOR-DMEs are a "VOR" row plus a "DME" row, as the X-Plane data has them; airway
            // endpoints look radio aids up as "VOR", "VORTAC" or "TACAN".
            const QString type = v.kind == QLatin1String("VORDME") ? QStringLiteral("VOR") : v.kind;
            if (!writeNavaid(v.ident, type, v.lat, v.lon, v.frequencyMhz, v.rangeNm, v.airportIdent))
                return false;
            if (v.hasDme && !dmeOnly && v.kind == QLatin1String("VORDME") &&
                !writeNavaid(v.ident, QStringLiteral("DME"), v.dmeLat, v.dmeLon, v.frequencyMhz, v.dmeRangeNm,
                             v.airportIdent))
                return false;
        }
        for (const BglIls &i : lib.ilses.items()) {
            if (!writeNavaid(i.ident, i.hasGlideSlope ? QStringLiteral("ILS") : QStringLiteral("LOC"), i.lat, i.lon,
                             i.frequencyMhz, i.rangeNm, i.airportIdent))
                return false;
            if (i.hasGlideSlope && !writeNavaid(i.ident, QStringLiteral("GS"), i.gsLat, i.gsLon, i.frequencyMhz,
                                                i.gsRangeNm, i.airportIdent))
                return false;
            if (i.hasDme && !writeNavaid(i.ident, QStringLiteral("DME"), i.dmeLat, i.dmeLon, i.frequencyMhz,
                                         i.dmeRangeNm, i.airportIdent))
                return false;
        }
        for (const BglNdb &n : lib.ndbs.items()) {
            if (!writeNavaid(n.ident, QStringLiteral("NDB"), n.lat, n.lon, n.frequencyKhz, n.rangeM / kMetresPerNm,
                             QString()))
                return false;
        }
        for (const BglMarker &m : lib.markers.items()) {
            const QString type = m.type == QLatin1String("OUTER")    ? QStringLiteral("OM")
                                 : m.type == QLatin1String("MIDDLE") ? QStringLiteral("MM")
                                 : m.type == QLatin1String("INNER")  ? QStringLiteral("IM")
                                                                     : QStringLiteral("BM");
            if (!writeNavaid(m.ident, type, m.lat, m.lon, 0.0, 0.0, QString()))
                return false;
        }
        return true;
    }

    bool writeFixes(const Library &lib)
    {
        for (const BglWaypoint &w : lib.waypoints.items()) {
            m_waypoint.bind(0, w.ident);
            m_waypoint.bind(1, w.lat);
            m_waypoint.bind(2, w.lon);
            if (!run(m_waypoint))
                return false;
        }
        for (const BglAirwaySegment &s : lib.segments.items()) {
            m_airway.bind(0, s.name);
            m_airway.bind(1, s.level);
            m_airway.bind(2, s.fromLat);
            m_airway.bind(3, s.fromLon);
            m_airway.bind(4, s.toLat);
            m_airway.bind(5, s.toLon);
            m_airway.bind(6, s.fromIdent);
            m_airway.bind(7, s.toIdent);
            if (!run(m_airway))
                return false;
        }
        return true;
    }

    bool writeBoundaries(const Library &lib)
    {
        for (const BglBoundary &b : lib.boundaries.items()) {
            const int top = b.upperAltitudeType == QLatin1String("UNLIMITED") ? 99999 : qRound(b.upperAltitudeFt);
            for (const QList<QPointF> &polygon : b.polygons) {
                if (polygon.size() < 3)
                    continue;
                m_airspace.bind(0, b.name);
                m_airspace.bind(1, airspaceType(b.type));
                m_airspace.bindInt(2, qRound(b.lowerAltitudeFt));
                m_airspace.bindInt(3, top);
                m_airspace.bind(4, boundaryText(polygon));
                if (!run(m_airspace))
                    return false;
            }
        }
        return true;
    }

    bool repair()
    {
        for (const char *sql : kRepair) {
            if (!m_session.exec(QLatin1String(sql)))
                return false;
        }
        return true;
    }

    bool airportExists(const QString &ident)
    {
        QSqlQuery q(m_session.db());
        q.prepare(QStringLiteral("SELECT 1 FROM airports WHERE icao=?"));
        q.addBindValue(ident);
        return q.exec() && q.next();
    }

    bool deleteProcedures(const QString &ident)
    {
        for (const QString &sql : {QStringLiteral("DELETE FROM procedures WHERE airport_icao=?"),
                                   QStringLiteral("DELETE FROM procedure_legs WHERE airport_icao=?")}) {
            QSqlQuery q(m_session.db());
            q.prepare(sql);
            q.addBindValue(ident);
            if (!q.exec()) {
                m_error = q.lastError().text();
                return false;
            }
        }
        return true;
    }

    QString errorText() const { return m_error; }
    int airports() const { return m_airport.rows(); }
    int runwayEnds() const { return m_runway.rows(); }
    int navaids() const { return m_navaid.rows(); }
    int waypoints() const { return m_waypoint.rows(); }
    int airways() const { return m_airway.rows(); }
    int procedures() const { return m_procedure.rows() + m_procedureNoRunway.rows(); }
    int airspaces() const { return m_airspace.rows(); }

private:
    bool prepare()
    {
        QSqlDatabase &db = m_session.db();
        const bool ok =
            m_airport.prepare(db,
                              QStringLiteral("INSERT OR REPLACE INTO airports (icao, name, lat, lon, elevation, "
                                             "has_tower, runway_count) VALUES (?, ?, ?, ?, ?, ?, ?)"),
                              7) &&
            m_runway.prepare(db,
                             QStringLiteral("INSERT INTO runways (airport_icao, ident, length, width, heading, lat, "
                                            "lon, surface) VALUES (?, ?, ?, ?, ?, ?, ?, ?)"),
                             8) &&
            m_parking.prepare(db,
                              QStringLiteral("INSERT INTO parkings (airport_icao, name, type, lat, lon, heading) "
                                             "VALUES (?, ?, ?, ?, ?, ?)"),
                              6) &&
            m_tower.prepare(db,
                            QStringLiteral("INSERT OR REPLACE INTO towers (airport_icao, lat, lon, frequency, name) "
                                           "VALUES (?, ?, ?, ?, ?)"),
                            5) &&
            m_frequency.prepare(
                db, QStringLiteral("INSERT INTO frequencies (airport_icao, type, frequency, name) VALUES (?, ?, ?, ?)"),
                4) &&
            m_deleteFrequencies.prepare(db, QStringLiteral("DELETE FROM frequencies WHERE airport_icao=?"), 1) &&
            m_node.prepare(db,
                           QStringLiteral("INSERT OR REPLACE INTO taxiway_nodes (airport_icao, node_id, lat, lon, "
                                          "node_type) VALUES (?, ?, ?, ?, ?)"),
                           5) &&
            m_edge.prepare(db,
                           QStringLiteral("INSERT INTO taxiway_edges (airport_icao, from_node_id, to_node_id, "
                                          "direction, restriction, taxiway_name) VALUES (?, ?, ?, ?, ?, ?)"),
                           6) &&
            m_navaid.prepare(db,
                             QStringLiteral("INSERT INTO navaids (ident, type, lat, lon, freq, range_nm, airport_icao) "
                                            "VALUES (?, ?, ?, ?, ?, ?, ?)"),
                             7) &&
            m_waypoint.prepare(
                db, QStringLiteral("INSERT INTO waypoints (ident, lat, lon, type) VALUES (?, ?, ?, 'WPT')"), 3) &&
            m_airway.prepare(db,
                             QStringLiteral("INSERT INTO airways (name, level, from_lat, from_lon, to_lat, to_lon, "
                                            "from_ident, to_ident, direction) VALUES (?, ?, ?, ?, ?, ?, ?, ?, 'B')"),
                             8) &&
            m_procedure.prepare(db,
                                QStringLiteral("INSERT INTO procedures (airport_icao, type, runway_ident, name) "
                                               "VALUES (?, ?, ?, ?)"),
                                4) &&
            m_procedureNoRunway.prepare(db,
                                        QStringLiteral("INSERT INTO procedures (airport_icao, type, runway_ident, "
                                                       "name) VALUES (?, ?, '', ?)"),
                                        3) &&
            m_airspace.prepare(db,
                               QStringLiteral("INSERT INTO airspaces (name, type, bottom_alt, top_alt, boundary) "
                                              "VALUES (?, ?, ?, ?, ?)"),
                               5) &&
            (m_sceneryLegs
                 ? m_leg.prepare(db,
                                 QStringLiteral("INSERT INTO procedure_legs (airport_icao, proc_name, proc_type, "
                                                "runway, transition, seq, fix_ident, fix_region, fix_type, leg_type, "
                                                "course, dist_or_time, altitude1, altitude2, alt_descriptor, "
                                                "turn_direction, flyover, speed_limit) VALUES (?, ?, ?, ?, ?, ?, ?, "
                                                "?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
                                 18)
                 : m_leg.prepare(db,
                                 QStringLiteral("INSERT INTO procedure_legs (airport_icao, proc_name, proc_type, "
                                                "runway, seq, fix_ident, fix_region, fix_type1, fix_type2, "
                                                "fix_type3, leg_type, lat, lon, altitude, speed_limit) VALUES (?, "
                                                "?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
                                 15));
        if (!ok)
            m_session.fail(QStringLiteral("%1: prepare failed").arg(m_op));
        return ok;
    }

    // The name of the airport's first tower frequency (null when it has none); its MHz is kept.
    QString towerFrequencyName(const BglAirport &a)
    {
        m_towerMhz = 0.0;
        for (const BglComFreq &c : a.comFrequencies) {
            if (c.type == QLatin1String("TOWER") && c.frequencyMhz > 0.0) {
                m_towerMhz = c.frequencyMhz;
                return c.name.isNull() ? QStringLiteral("") : c.name;
            }
        }
        return QString();
    }

    bool writeGround(const BglAirport &a)
    {
        for (const BglParking &p : a.parkings) {
            m_parking.bind(0, a.ident);
            m_parking.bind(1, p.name);
            m_parking.bind(2, parkingType(p.type));
            m_parking.bind(3, p.lat);
            m_parking.bind(4, p.lon);
            m_parking.bind(5, p.headingDegTrue);
            if (!run(m_parking))
                return false;
        }
        // Parking spots become nodes after the taxi points so paths can end at them.
        const int parkingBase = int(a.taxiPoints.size());
        for (const BglTaxiPoint &t : a.taxiPoints) {
            if (!writeNode(a.ident, t.index, t.lat, t.lon, t.type.toLower()))
                return false;
        }
        QSet<int> parkingNodes;
        for (const BglTaxiPath &path : a.taxiPaths) {
            if (path.type == QLatin1String("CLOSED") || path.type == QLatin1String("VEHICLE") || path.startIndex < 0 ||
                path.startIndex >= parkingBase)
                continue;
            int to = path.endIndex;
            if (path.endIsParking) {
                if (to < 0 || to >= a.parkings.size())
                    continue;
                const BglParking &p = a.parkings.at(to);
                to = parkingBase + to;
                if (!parkingNodes.contains(to)) {
                    parkingNodes.insert(to);
                    if (!writeNode(a.ident, to, p.lat, p.lon, QStringLiteral("parking")))
                        return false;
                }
            } else if (to < 0 || to >= parkingBase) {
                continue;
            }
            m_edge.bind(0, a.ident);
            m_edge.bindInt(1, path.startIndex);
            m_edge.bindInt(2, to);
            m_edge.bind(3, QStringLiteral("twoway"));
            m_edge.bind(4, path.type == QLatin1String("RUNWAY") ? QStringLiteral("runway") : QStringLiteral("taxiway"));
            m_edge.bind(5, path.name);
            if (!run(m_edge))
                return false;
        }
        return true;
    }

    bool writeNode(const QString &airport, int id, double lat, double lon, const QString &type)
    {
        m_node.bind(0, airport);
        m_node.bindInt(1, id);
        m_node.bind(2, lat);
        m_node.bind(3, lon);
        m_node.bind(4, type);
        return run(m_node);
    }

    bool writeSceneryLeg(const QString &airport, const BglProcedureLeg &l)
    {
        m_leg.bind(0, airport);
        m_leg.bind(1, l.procName);
        m_leg.bind(2, procedureType(l.procType));
        m_leg.bind(3, l.runway);
        m_leg.bind(4, l.isMissed ? QStringLiteral("MISSED") : l.transition);
        m_leg.bindInt(5, l.seq);
        m_leg.bind(6, l.fixIdent);
        m_leg.bind(7, l.fixRegion);
        m_leg.bind(8, l.fixType);
        m_leg.bind(9, l.legType);
        m_leg.bind(10, l.courseDeg);
        m_leg.bind(11, l.distOrTime);
        m_leg.bind(12, l.altitude1Ft);
        m_leg.bind(13, l.altitude2Ft);
        m_leg.bind(14, l.altDescriptor);
        m_leg.bind(15, l.turnDirection);
        m_leg.bindInt(16, l.flyover ? 1 : 0);
        m_leg.bindInt(17, qRound(l.speedLimitKts));
        return run(m_leg);
    }

    // A database whose legs table came from the text imports: positions are resolved by the reader.
    bool writeBuilderLeg(const QString &airport, const BglProcedureLeg &l)
    {
        m_leg.bind(0, airport);
        m_leg.bind(1, l.procName);
        m_leg.bind(2, procedureType(l.procType));
        m_leg.bind(3, l.runway);
        m_leg.bindInt(4, l.seq);
        m_leg.bind(5, l.fixIdent);
        m_leg.bind(6, l.fixRegion);
        m_leg.bind(7, l.fixType);
        m_leg.bind(8, QString());
        m_leg.bind(9, QString());
        m_leg.bind(10, l.legType);
        m_leg.bind(11, 0.0);
        m_leg.bind(12, 0.0);
        m_leg.bind(13, l.altitude1Ft);
        m_leg.bindInt(14, qRound(l.speedLimitKts));
        return run(m_leg);
    }

    bool run(CachedInsert &insert)
    {
        if (insert.exec())
            return true;
        m_error = insert.errorText();
        return false;
    }

    ImportSession &m_session;
    QString m_op;
    bool m_sceneryLegs = true;
    double m_towerMhz = 0.0;
    CachedInsert m_airport, m_runway, m_parking, m_tower, m_frequency, m_deleteFrequencies, m_node, m_edge;
    CachedInsert m_navaid, m_waypoint, m_airway, m_procedure, m_procedureNoRunway, m_leg, m_airspace;
    QString m_error;
};

} // namespace

bool DatabaseBuilder::importBglRecords(const QString &path, BglReader &records)
{
    const QString op = QStringLiteral("importBglRecords");
    ImportSession session(*this, QStringLiteral("bgl_import"), path, op);
    const Library lib(records);
    BglWriter writer(session, op);
    if (!writer.start({"DELETE FROM airports", "DELETE FROM runways", "DELETE FROM towers", "DELETE FROM parkings",
                       "DELETE FROM taxiway_nodes", "DELETE FROM taxiway_edges", "DELETE FROM navaids",
                       "DELETE FROM waypoints", "DELETE FROM airways", "DELETE FROM procedures",
                       "DELETE FROM procedure_legs", "DELETE FROM airspaces"}))
        return session.finish(QString());
    const QList<BglAirport> &airports = lib.airports.items();
    const int total = int(airports.size()) + 4;
    int done = 0;
    for (const BglAirport &a : airports) {
        if (a.ident.isEmpty())
            continue;
        if (!writer.writeAirport(a) || !writer.writeFrequencies(a) || !writer.writeProcedures(a))
            return writer.abandon();
        if (++done % kCheckEvery == 0) {
            if (session.cancelled())
                return session.finish(QString());
            session.progress(kWrite, done, total);
        }
    }
    if (session.cancelled() || !writer.writeRadioAids(lib) || !writer.writeFixes(lib) || !writer.writeBoundaries(lib) ||
        session.cancelled() || !writer.repair())
        return writer.abandon();
    session.progress(kWrite, total, total);
    return session.finish(QStringLiteral("importBglRecords: imported %1 airports, %2 runway ends, %3 navaids, %4 "
                                         "waypoints, %5 airway segments, %6 procedures, %7 airspaces")
                              .arg(writer.airports())
                              .arg(writer.runwayEnds())
                              .arg(writer.navaids())
                              .arg(writer.waypoints())
                              .arg(writer.airways())
                              .arg(writer.procedures())
                              .arg(writer.airspaces()));
}

bool DatabaseBuilder::importNavigraphMsfsRecords(const QString &path, BglReader &records)
{
    const QString op = QStringLiteral("importNavigraphMsfsRecords");
    ImportSession session(*this, QStringLiteral("bgl_import"), path, op);
    const Library lib(records);
    BglWriter writer(session, op);
    if (!writer.start({"DELETE FROM navaids", "DELETE FROM waypoints", "DELETE FROM airways"}))
        return session.finish(QString());
    int done = 0;
    for (const BglAirport &a : lib.airports.items()) {
        if (a.ident.isEmpty())
            continue;
        // Stubs only add procedures and COMs; an airport the scenery lacks is added whole.
        const bool known = writer.airportExists(a.ident);
        if ((!known && !isStub(a) && !writer.writeAirport(a)) || !writer.deleteProcedures(a.ident) ||
            (!a.comFrequencies.isEmpty() && !writer.writeFrequencies(a)) || !writer.writeProcedures(a))
            return writer.abandon();
        if (++done % kCheckEvery == 0 && session.cancelled())
            return session.finish(QString());
    }
    if (session.cancelled() || !writer.writeRadioAids(lib) || !writer.writeFixes(lib) || !writer.repair())
        return writer.abandon();
    return session.finish(QStringLiteral("importNavigraphMsfsRecords: imported %1 navaids, %2 waypoints, %3 airway "
                                         "segments, %4 procedures for %5 airports")
                              .arg(writer.navaids())
                              .arg(writer.waypoints())
                              .arg(writer.airways())
                              .arg(writer.procedures())
                              .arg(done));
}
