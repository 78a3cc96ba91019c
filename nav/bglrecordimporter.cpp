#include "nav/bglrecordimporter.h"

#include "nav/airspaceboundary.h"
#include "nav/bgllibrary.h"
#include "nav/databasebuilder.h"
#include "nav/importsession.h"
#include "nav/navschema.h"
#include "nav/scenerywriter.h"

#include <QSet>
#include <QSqlError>
#include <QSqlQuery>

// Prepar3D, FSX and MSFS 2020 scenery records into the navigation database, in one transaction:
// the library's precedence is applied (BglLibrary), the records are mapped to the database's
// vocabulary, the airport tables go through the shared scenery writer and the rest is written
// here; airway endpoints left at 0 are repaired from the fixes and navaids written.

using namespace navimport;

namespace {

constexpr double kMetresPerNm = 1852.0;
constexpr int kCheckEvery = 256; // records between cancel checks and progress reports

const QString kWrite = QStringLiteral("write");

class BglRecordWriter
{
public:
    BglRecordWriter(ImportSession &session, const QString &op) : m_session(session), m_op(op) {}

    bool createTables()
    {
        // The schema's own forms, except airways (created with its endpoint columns) and
        // procedure_legs (with the scenery leg fields) where the file does not have them yet.
        if (!navimport::createTables(m_session, {&schema::Airports, &schema::Runways, &schema::Navaids,
                                                 &schema::Waypoints, &schema::AirwaysWithEndpoints, &schema::Procedures,
                                                 &schema::SceneryProcedureLegs}))
            return false;
        addAirwayColumns(m_session, false); // an airways table of the short form gets its columns
        if (!navimport::createTables(
                m_session, {&schema::AirportsLatLon, &schema::NavaidsLatLon, &schema::WaypointsLatLon,
                            &schema::WaypointsIdent, &schema::WaypointsIdentLatLon, &schema::NavaidsIdentTypeLatLon,
                            &schema::AirwaysNameFrom, &schema::RunwaysAirport, &schema::TaxiwayNodes,
                            &schema::TaxiwayEdges, &schema::Taxiways, &schema::Parkings, &schema::Towers,
                            &schema::Frequencies, &schema::Airspaces, &schema::TaxiwayNodesAirport,
                            &schema::TaxiwayEdgesAirport, &schema::ParkingsAirport, &schema::ProcedureLegsLookup}))
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
        if (!m_scenery.writeAirport({a.ident, a.name, a.lat, a.lon, qRound(a.altitudeFt), a.hasTower || !tower.isNull(),
                                     int(a.runways.size()) * 2}))
            return fail(m_scenery.errorText());
        for (const BglRunway &r : a.runways) {
            for (const BglRunwayEnd *end : {&r.primary, &r.secondary}) {
                if (!m_scenery.writeRunwayEnd(a.ident, {end->ident, qRound(r.lengthFt), qRound(r.widthFt),
                                                        end->headingDegTrue, end->lat, end->lon, r.surface}))
                    return fail(m_scenery.errorText());
            }
        }
        if (a.hasTower &&
            !m_scenery.writeTower(a.ident, a.towerLat, a.towerLon, m_towerMhz, tower.isEmpty() ? a.name : tower))
            return fail(m_scenery.errorText());
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
            const QString type = bglFrequencyType(c.type);
            if (c.frequencyMhz <= 0.0 || types.contains(type))
                continue;
            types.insert(type);
            if (!m_scenery.writeFrequency(a.ident, type, c.frequencyMhz, c.name))
                return fail(m_scenery.errorText());
        }
        return true;
    }

    bool writeProcedures(const BglAirport &a)
    {
        for (const BglProcedure &p : a.procedures) {
            CachedInsert &insert = p.runwayIdent.isEmpty() ? m_procedureNoRunway : m_procedure;
            int column = 0;
            insert.bind(column++, a.ident);
            insert.bind(column++, bglProcedureType(p.type));
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

    bool writeRadioAids(const BglLibrary &lib)
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

    bool writeFixes(const BglLibrary &lib)
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

    bool writeBoundaries(const BglLibrary &lib)
    {
        for (const BglBoundary &b : lib.boundaries.items()) {
            const int top = b.upperAltitudeType == QLatin1String("UNLIMITED") ? 99999 : qRound(b.upperAltitudeFt);
            for (const QList<QPointF> &polygon : b.polygons) {
                if (polygon.size() < 3)
                    continue;
                m_airspace.bind(0, b.name);
                m_airspace.bind(1, bglAirspaceType(b.type));
                m_airspace.bindInt(2, qRound(b.lowerAltitudeFt));
                m_airspace.bindInt(3, top);
                m_airspace.bind(4, formatAirspaceBoundary(polygon));
                if (!run(m_airspace))
                    return false;
            }
        }
        return true;
    }

    bool repair()
    {
        for (const QString &sql : schema::airwayEndpointRepairStatements()) {
            if (!m_session.exec(sql))
                return false;
        }
        if (!m_session.exec(schema::RunwayCountRefresh.text()))
            return false;
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
    int airports() const { return m_scenery.airports(); }
    int runwayEnds() const { return m_scenery.runwayEnds(); }
    int navaids() const { return m_navaid.rows(); }
    int waypoints() const { return m_waypoint.rows(); }
    int airways() const { return m_airway.rows(); }
    int procedures() const { return m_procedure.rows() + m_procedureNoRunway.rows(); }
    int airspaces() const { return m_airspace.rows(); }

private:
    bool prepare()
    {
        QSqlDatabase &db = m_session.db();
        if (!m_scenery.prepare(m_session, SceneryWriter::Source::SceneryRecords))
            return false;
        const bool ok =
            m_deleteFrequencies.prepare(db, QStringLiteral("DELETE FROM frequencies WHERE airport_icao=?"), 1) &&
            m_navaid.prepare(db, QLatin1String(schema::insert::Navaid), 7) &&
            m_waypoint.prepare(db, QLatin1String(schema::insert::SceneryWaypoint), 3) &&
            m_airway.prepare(db, QLatin1String(schema::insert::SceneryAirway), 8) &&
            m_procedure.prepare(db, QLatin1String(schema::insert::Procedure), 4) &&
            m_procedureNoRunway.prepare(db, QLatin1String(schema::insert::ProcedureWithoutRunway), 3) &&
            m_airspace.prepare(db, QLatin1String(schema::insert::Airspace), 5) &&
            (m_sceneryLegs ? m_leg.prepare(db, QLatin1String(schema::insert::SceneryProcedureLeg), 18)
                           : m_leg.prepare(db, QLatin1String(schema::insert::ProcedureLeg), 15));
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
            if (!m_scenery.writeParking(a.ident, p.name, bglParkingType(p.type), p.lat, p.lon, p.headingDegTrue))
                return fail(m_scenery.errorText());
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
            if (!m_scenery.writeEdge(a.ident, path.startIndex, to, QStringLiteral("twoway"),
                                     path.type == QLatin1String("RUNWAY") ? QStringLiteral("runway")
                                                                          : QStringLiteral("taxiway"),
                                     path.name))
                return fail(m_scenery.errorText());
        }
        return true;
    }

    bool writeNode(const QString &airport, int id, double lat, double lon, const QString &type)
    {
        return m_scenery.writeNode(airport, id, lat, lon, type, QString()) || fail(m_scenery.errorText());
    }

    bool writeSceneryLeg(const QString &airport, const BglProcedureLeg &l)
    {
        m_leg.bind(0, airport);
        m_leg.bind(1, l.procName);
        m_leg.bind(2, bglProcedureType(l.procType));
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
        m_leg.bind(2, bglProcedureType(l.procType));
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

    bool run(CachedInsert &insert) { return insert.exec() || fail(insert.errorText()); }

    bool fail(const QString &error)
    {
        m_error = error;
        return false;
    }

    ImportSession &m_session;
    QString m_op;
    bool m_sceneryLegs = true;
    double m_towerMhz = 0.0;
    SceneryWriter m_scenery;
    CachedInsert m_deleteFrequencies;
    CachedInsert m_navaid, m_waypoint, m_airway, m_procedure, m_procedureNoRunway, m_leg, m_airspace;
    QString m_error;
};

} // namespace

bool BglRecordImporter::importAll(const QString &path, const BglReader &records)
{
    const QString op = QStringLiteral("importBglRecords");
    ImportSession session(m_builder, QStringLiteral("bgl_import"), path, op);
    const BglLibrary lib(records);
    BglRecordWriter writer(session, op);
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

bool BglRecordImporter::importNavigraph(const QString &path, const BglReader &records)
{
    const QString op = QStringLiteral("importNavigraphMsfsRecords");
    ImportSession session(m_builder, QStringLiteral("bgl_import"), path, op);
    const BglLibrary lib(records);
    BglRecordWriter writer(session, op);
    if (!writer.start({"DELETE FROM navaids", "DELETE FROM waypoints", "DELETE FROM airways"}))
        return session.finish(QString());
    int done = 0;
    for (const BglAirport &a : lib.airports.items()) {
        if (a.ident.isEmpty())
            continue;
        // Stubs only add procedures and COMs; an airport the scenery lacks is added whole.
        const bool known = writer.airportExists(a.ident);
        if ((!known && !isStubAirport(a) && !writer.writeAirport(a)) || !writer.deleteProcedures(a.ident) ||
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
