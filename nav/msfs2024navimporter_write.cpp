// The database side of the MSFS 2024 facility importer: everything fetched into the navigation
// tables of a new copy of the file, which then replaces the old one, and one airport's ground
// layout into the diagram tables.
#include "app/log/applogger.h"
#include "nav/importsession.h"
#include "nav/msfs2024navimporter.h"
#include "nav/navschema.h"
#include "nav/sqlconnection.h"

#include <QDateTime>
#include <QFile>
#include <QSqlError>
#include <QSqlQuery>

#include <cmath>
#include <functional>

using namespace simconnect;

namespace {

const QString kSource = QStringLiteral("Msfs2024");
constexpr double kFeetPerMetre = 3.28084;
constexpr double kMetresPerNm = 1852.0;
constexpr double kEarthRadiusM = 6371000.0;
constexpr double kPi = 3.14159265358979323846;

const char *const kDropStatements[] = {
    "DROP TABLE IF EXISTS airports",       "DROP TABLE IF EXISTS runways",     "DROP TABLE IF EXISTS navaids",
    "DROP TABLE IF EXISTS waypoints",      "DROP TABLE IF EXISTS airways",     "DROP TABLE IF EXISTS procedures",
    "DROP TABLE IF EXISTS procedure_legs", "DROP TABLE IF EXISTS frequencies", "DROP TABLE IF EXISTS navdata_meta",
};
// Surfaces, frequency kinds and approach kinds by the simulator's codes.
const char *const kSurfaces[] = {"Concrete", "Grass", "Water",  "Gravel", "Asphalt",       "ShortGrass", "LongGrass",
                                 "HardTurf", "Snow",  "Ice",    "Dirt",   "Coral",         "Clay",       "Resurfaced",
                                 "Sand",     "Shale", "Tarmac", "Planks", "IceSewedGrass", "Macadam"};
const char *const kFrequencyTypes[] = {"ATIS",       "UNICOM",    "CTAF", "GROUND",         "TOWER",      "CLEARANCE",
                                       "APPROACH",   "DEPARTURE", "FSS",  "MULTICOM",       "UNICOM_MIL", "CTAF_MIL",
                                       "GROUND_MIL", "TOWER_MIL", "GCA",  "REMOTE_DELIVERY"};
const char *const kApproachTypes[] = {"",    "GPS", "VOR",    "NDB",    "ILS",  "LOC",
                                      "SDF", "LDA", "VORDME", "NDBDME", "RNAV", "LOCBC"};
const char *const kLegTypes[] = {"",   "AF", "CA", "CD", "CF", "CI", "CR", "DF", "FA", "FC", "FD", "FM",
                                 "HA", "HF", "HM", "IF", "PI", "RF", "TF", "VA", "VD", "VI", "VM", "VR"};
const char *const kDesignators[] = {"", "L", "R", "C", "W", "A", "B"};

template <size_t N> QString byCode(const char *const (&names)[N], int code, const QString &other)
{
    return code >= 0 && size_t(code) < N ? QLatin1String(names[code]) : other;
}

QString runwayIdent(int number, int designator)
{
    if (number <= 0)
        return QString();
    return QStringLiteral("%1%2").arg(number, 2, 10, QLatin1Char('0')).arg(byCode(kDesignators, designator, QString()));
}

// A point distanceM from lat/lon along bearing, on a sphere.
void moveAlong(double lat, double lon, double bearingDeg, double distanceM, double *outLat, double *outLon)
{
    const double d = distanceM / kEarthRadiusM;
    const double b = bearingDeg * kPi / 180.0;
    const double p1 = lat * kPi / 180.0;
    const double l1 = lon * kPi / 180.0;
    const double p2 = std::asin(std::sin(p1) * std::cos(d) + std::cos(p1) * std::sin(d) * std::cos(b));
    const double l2 =
        l1 + std::atan2(std::sin(b) * std::sin(d) * std::cos(p1), std::cos(d) - std::sin(p1) * std::sin(p2));
    *outLat = p2 * 180.0 / kPi;
    *outLon = std::remainder(l2 * 180.0 / kPi, 360.0);
}

struct Position
{
    double lat = 0;
    double lon = 0;
    bool known = false;
};

Position navaidPosition(const FacilityNode &navaid)
{
    if (navaid.type == FacilityType::Vor)
        return {navaid.number(QStringLiteral("VOR_LATITUDE")), navaid.number(QStringLiteral("VOR_LONGITUDE")), true};
    return {navaid.number(QStringLiteral("LATITUDE")), navaid.number(QStringLiteral("LONGITUDE")), true};
}

// Runs statements and prepared inserts on one connection; the first failure is kept.
class Writer
{
public:
    explicit Writer(QSqlDatabase &db) : m_db(db) {}

    bool exec(const QString &sql, const QVariant &value = QVariant())
    {
        QSqlQuery query(m_db);
        bool done = false;
        if (value.isValid()) {
            done = query.prepare(sql);
            query.addBindValue(value);
            done = done && query.exec();
        } else {
            done = query.exec(sql);
        }
        if (done)
            return true;
        m_error = QStringLiteral("%1: %2").arg(sql, query.lastError().text());
        return false;
    }
    // One statement for every row that rows() produces, inside one transaction.
    bool insertAll(const char *sql, const std::function<bool(QSqlQuery &, const std::function<bool()> &)> &rows)
    {
        if (!exec(QStringLiteral("BEGIN TRANSACTION")))
            return false;
        QSqlQuery query(m_db);
        if (!query.prepare(QLatin1String(sql))) {
            m_error = QStringLiteral("%1: %2").arg(QLatin1String(sql), query.lastError().text());
            exec(QStringLiteral("ROLLBACK"));
            return false;
        }
        const auto run = [&] {
            if (query.exec())
                return true;
            m_error = QStringLiteral("Database insert failed: %1").arg(query.lastError().text());
            return false;
        };
        if (!rows(query, run)) {
            exec(QStringLiteral("ROLLBACK"));
            return false;
        }
        return exec(QStringLiteral("COMMIT"));
    }
    QString error() const { return m_error; }

private:
    QSqlDatabase &m_db;
    QString m_error;
};

} // namespace

bool Msfs2024NavImporter::writeAllToDatabase(const QString &path)
{
    // Into a copy, so that the diagrams already fetched stay and a failure leaves the old file.
    const QString temporary = path + QStringLiteral(".importing");
    QFile::remove(temporary);
    if (QFile::exists(path) && !QFile::copy(path, temporary)) {
        AppLogger::instance().log(AppLogger::Error, kSource, QStringLiteral("Cannot open database for writing"));
        return false;
    }
    QString error;
    bool ok = false;
    {
        ScopedSqlConnection connection(QStringLiteral("msfs2024_import"), temporary);
        if (!connection.open()) {
            AppLogger::instance().log(AppLogger::Error, kSource, QStringLiteral("Cannot open database for writing"));
            QFile::remove(temporary);
            return false;
        }
        Writer writer(connection.database());
        ok = writer.exec(QStringLiteral("PRAGMA synchronous = OFF"));
        for (const char *drop : kDropStatements)
            ok = ok && writer.exec(QLatin1String(drop));
        // Airways with its endpoint columns first, then the builder's schema: a whole build's shape.
        bool created = ok;
        for (const QString &statement : schema::completeStatements())
            created = created && writer.exec(statement);
        if (ok && !created)
            AppLogger::instance().log(AppLogger::Error, kSource, QStringLiteral("Database table creation failed"));
        ok = ok && created;

        // Positions of everything fetched, for leg and airway endpoints.
        QHash<QString, Position> positions;
        for (auto it = m_navaids.cbegin(); it != m_navaids.cend(); ++it)
            positions.insert(it.key(), navaidPosition(*it));

        ok = ok &&
             writer.insertAll(schema::insert::FacilityAirport, [&](QSqlQuery &q, const std::function<bool()> &run) {
                 for (const FacilityNode &airport : std::as_const(m_airports)) {
                     q.bindValue(0, airport.text(QStringLiteral("ICAO")));
                     q.bindValue(1, airport.text(QStringLiteral("NAME64")));
                     q.bindValue(2, airport.number(QStringLiteral("LATITUDE")));
                     q.bindValue(3, airport.number(QStringLiteral("LONGITUDE")));
                     q.bindValue(4, int(std::lround(airport.number(QStringLiteral("ALTITUDE")) * kFeetPerMetre)));
                     q.bindValue(5, 2 * int(airport.childrenOf(FacilityType::Runway).size()));
                     if (!run())
                         return false;
                 }
                 return true;
             });
        // One row per runway end, at its threshold, as the other sources write them.
        ok = ok && writer.insertAll(schema::insert::FacilityRunway, [&](QSqlQuery &q,
                                                                        const std::function<bool()> &run) {
            for (const FacilityNode &airport : std::as_const(m_airports)) {
                for (const FacilityNode &runway : airport.childrenOf(FacilityType::Runway)) {
                    const double lengthM = runway.number(QStringLiteral("LENGTH"));
                    const double heading = runway.number(QStringLiteral("HEADING"));
                    for (const char *end : {"PRIMARY", "SECONDARY"}) {
                        const QString prefix = QLatin1String(end);
                        const bool primary = prefix == QLatin1String("PRIMARY");
                        const double endHeading = std::fmod(heading + (primary ? 0.0 : 180.0), 360.0);
                        double lat = 0;
                        double lon = 0;
                        moveAlong(runway.number(QStringLiteral("LATITUDE")), runway.number(QStringLiteral("LONGITUDE")),
                                  endHeading + 180.0, lengthM / 2, &lat, &lon);
                        q.bindValue(0, airport.text(QStringLiteral("ICAO")));
                        q.bindValue(1, runwayIdent(runway.intValue(prefix + QStringLiteral("_NUMBER")),
                                                   runway.intValue(prefix + QStringLiteral("_DESIGNATOR"))));
                        q.bindValue(2, int(std::lround(lengthM * kFeetPerMetre)));
                        q.bindValue(3, int(std::lround(runway.number(QStringLiteral("WIDTH")) * kFeetPerMetre)));
                        q.bindValue(4, endHeading);
                        q.bindValue(5, lat);
                        q.bindValue(6, lon);
                        q.bindValue(7, byCode(kSurfaces, runway.intValue(QStringLiteral("SURFACE")),
                                              QStringLiteral("Unknown")));
                        q.bindValue(8, runway.text(prefix + QStringLiteral("_ILS_ICAO")));
                        if (!run())
                            return false;
                    }
                }
            }
            return true;
        });
        ok = ok &&
             writer.insertAll(schema::insert::SceneryFrequency, [&](QSqlQuery &q, const std::function<bool()> &run) {
                 for (const FacilityNode &airport : std::as_const(m_airports)) {
                     // The table keeps one frequency of a kind per airport: the first the simulator lists.
                     QSet<QString> kinds;
                     for (const FacilityNode &frequency : airport.childrenOf(FacilityType::Frequency)) {
                         const int code = frequency.intValue(QStringLiteral("TYPE"));
                         const QString kind = byCode(kFrequencyTypes, code - 1, QStringLiteral("FREQ_%1").arg(code));
                         if (kinds.contains(kind))
                             continue;
                         kinds.insert(kind);
                         q.bindValue(0, airport.text(QStringLiteral("ICAO")));
                         q.bindValue(1, kind);
                         q.bindValue(2, frequency.number(QStringLiteral("FREQUENCY")) / 1e6);
                         q.bindValue(3, frequency.text(QStringLiteral("NAME")));
                         if (!run())
                             return false;
                     }
                 }
                 return true;
             });

        // Procedures: a SID or STAR once per runway transition (or once for all runways), an
        // approach once for its runway; legs numbered through the whole procedure.
        struct LegRow
        {
            FacilityNode leg;
            QString tag;
            QString transition;
        };
        struct ProcedureRow
        {
            QString airport;
            QString type;
            QString name;
            QString runway;
            QList<LegRow> legs;
        };
        QList<ProcedureRow> procedures;
        for (const FacilityNode &airport : std::as_const(m_airports)) {
            const QString icao = airport.text(QStringLiteral("ICAO"));
            for (const FacilityNode &procedure : airport.children) {
                const auto legsOf = [](const FacilityNode &n, FacilityType type, const QString &tag,
                                       const QString &transition) {
                    QList<LegRow> rows;
                    for (const FacilityNode &leg : n.childrenOf(type))
                        rows.append({leg, tag, transition});
                    return rows;
                };
                if (procedure.type == FacilityType::Approach) {
                    const int code = procedure.intValue(QStringLiteral("TYPE"));
                    const int suffix = procedure.intValue(QStringLiteral("SUFFIX"));
                    ProcedureRow row{icao,
                                     QStringLiteral("APPROACH"),
                                     QStringLiteral("%1%2").arg(byCode(kApproachTypes, code, QString::number(code)),
                                                                suffix > 0 ? QString(QChar(suffix)) : QString()),
                                     runwayIdent(procedure.intValue(QStringLiteral("RUNWAY_NUMBER")),
                                                 procedure.intValue(QStringLiteral("RUNWAY_DESIGNATOR"))),
                                     {}};
                    for (const FacilityNode &transition : procedure.childrenOf(FacilityType::ApproachTransition))
                        row.legs += legsOf(transition, FacilityType::ApproachLeg, QStringLiteral("approach_trans"),
                                           transition.text(QStringLiteral("IAF_ICAO")));
                    row.legs += legsOf(procedure, FacilityType::FinalApproachLeg, QStringLiteral("main"), QString());
                    row.legs += legsOf(procedure, FacilityType::MissedApproachLeg, QStringLiteral("main"), QString());
                    procedures.append(row);
                    continue;
                }
                if (procedure.type != FacilityType::Departure && procedure.type != FacilityType::Arrival)
                    continue;
                const bool sid = procedure.type == FacilityType::Departure;
                const QString name = procedure.text(QStringLiteral("NAME"));
                QList<LegRow> enroute;
                for (const FacilityNode &transition : procedure.childrenOf(FacilityType::EnrouteTransition))
                    enroute += legsOf(transition, FacilityType::ApproachLeg, QStringLiteral("enroute_trans"),
                                      transition.text(QStringLiteral("NAME")));
                const QList<LegRow> main =
                    legsOf(procedure, FacilityType::ApproachLeg, QStringLiteral("main"), QString());
                QList<FacilityNode> runwayTransitions = procedure.childrenOf(FacilityType::RunwayTransition);
                if (runwayTransitions.isEmpty())
                    runwayTransitions.append(FacilityNode());
                for (const FacilityNode &transition : std::as_const(runwayTransitions)) {
                    QString runway = runwayIdent(transition.intValue(QStringLiteral("RUNWAY_NUMBER")),
                                                 transition.intValue(QStringLiteral("RUNWAY_DESIGNATOR")));
                    if (runway.isEmpty())
                        runway = QStringLiteral("ALL");
                    const QList<LegRow> runwayLegs =
                        legsOf(transition, FacilityType::ApproachLeg, QStringLiteral("runway_trans"), runway);
                    ProcedureRow row{icao, sid ? QStringLiteral("SID") : QStringLiteral("STAR"), name, runway, {}};
                    // Flown order: a SID leaves the runway first, a STAR comes in from en route.
                    row.legs = sid ? runwayLegs + main + enroute : enroute + main + runwayLegs;
                    procedures.append(row);
                }
            }
        }
        ok = ok &&
             writer.insertAll(schema::insert::FacilityProcedure, [&](QSqlQuery &q, const std::function<bool()> &run) {
                 for (const ProcedureRow &row : std::as_const(procedures)) {
                     q.bindValue(0, row.airport);
                     q.bindValue(1, row.type);
                     q.bindValue(2, row.name);
                     q.bindValue(3, row.runway);
                     if (!run())
                         return false;
                 }
                 return true;
             });
        ok = ok && writer.insertAll(schema::insert::ProcedureLeg, [&](QSqlQuery &q, const std::function<bool()> &run) {
            for (const ProcedureRow &row : std::as_const(procedures)) {
                for (int seq = 0; seq < row.legs.size(); ++seq) {
                    const LegRow &leg = row.legs.at(seq);
                    const QString ident = leg.leg.text(QStringLiteral("FIX_ICAO"));
                    const QString region = leg.leg.text(QStringLiteral("FIX_REGION"));
                    const int fixType = leg.leg.intValue(QStringLiteral("FIX_TYPE"));
                    const Position at =
                        fixType > 0 ? positions.value(navaidKey(ident, region, char(fixType))) : Position();
                    q.bindValue(0, row.airport);
                    q.bindValue(1, row.name);
                    q.bindValue(2, row.type);
                    q.bindValue(3, row.runway);
                    q.bindValue(4, seq + 1);
                    q.bindValue(5, ident);
                    q.bindValue(6, region);
                    q.bindValue(7, fixType > 0 ? QString(QChar(fixType)) : QString());
                    q.bindValue(8, leg.tag);
                    q.bindValue(9, leg.transition);
                    q.bindValue(10, byCode(kLegTypes, leg.leg.intValue(QStringLiteral("TYPE")), QString()));
                    q.bindValue(11, at.lat);
                    q.bindValue(12, at.lon);
                    q.bindValue(13, leg.leg.number(QStringLiteral("ALTITUDE1")) * kFeetPerMetre);
                    q.bindValue(14, int(std::lround(leg.leg.number(QStringLiteral("SPEED_LIMIT")))));
                    if (!run())
                        return false;
                }
            }
            return true;
        });
        ok = ok &&
             writer.insertAll(schema::insert::FacilityWaypoint, [&](QSqlQuery &q, const std::function<bool()> &run) {
                 for (auto it = m_navaids.cbegin(); it != m_navaids.cend(); ++it) {
                     if (it->type != FacilityType::Waypoint)
                         continue;
                     q.bindValue(0, it.key().section(QLatin1Char(':'), 0, 0));
                     q.bindValue(1, it->number(QStringLiteral("LATITUDE")));
                     q.bindValue(2, it->number(QStringLiteral("LONGITUDE")));
                     q.bindValue(3, QStringLiteral("WPT"));
                     if (!run())
                         return false;
                 }
                 return true;
             });
        ok = ok && writer.insertAll(schema::insert::FacilityNavaid, [&](QSqlQuery &q,
                                                                        const std::function<bool()> &run) {
            for (auto it = m_navaids.cbegin(); it != m_navaids.cend(); ++it) {
                if (it->type != FacilityType::Vor && it->type != FacilityType::Ndb)
                    continue;
                const bool vor = it->type == FacilityType::Vor;
                const Position at = navaidPosition(*it);
                q.bindValue(0, it.key().section(QLatin1Char(':'), 0, 0));
                // A localizer is a VOR facility with a beam width.
                q.bindValue(1, !vor                                                ? QStringLiteral("NDB")
                               : it->number(QStringLiteral("LOCALIZER_WIDTH")) > 0 ? QStringLiteral("ILS")
                                                                                   : QStringLiteral("VOR"));
                q.bindValue(2, at.lat);
                q.bindValue(3, at.lon);
                // MHz for VOR and ILS, kHz for NDB, as the other sources write them.
                q.bindValue(4, it->number(QStringLiteral("FREQUENCY")) / (vor ? 1e6 : 1e3));
                q.bindValue(5, it->number(vor ? QStringLiteral("NAV_RANGE") : QStringLiteral("RANGE")) / kMetresPerNm);
                if (!run())
                    return false;
            }
            return true;
        });
        int skipped = 0;
        ok = ok && writer.insertAll(schema::insert::SceneryAirway, [&](QSqlQuery &q, const std::function<bool()> &run) {
            for (const AirwaySegment &segment : std::as_const(m_airways)) {
                const Position from = positions.value(segment.fromKey);
                const Position to = positions.value(segment.toKey);
                if (!from.known || !to.known) {
                    ++skipped;
                    continue;
                }
                // A route of both levels is both a high and a low airway.
                QStringList levels;
                if (segment.routeType != 2)
                    levels << QStringLiteral("LOW");
                if (segment.routeType == 2 || segment.routeType == 3)
                    levels << QStringLiteral("HIGH");
                for (const QString &level : std::as_const(levels)) {
                    q.bindValue(0, segment.name);
                    q.bindValue(1, level);
                    q.bindValue(2, from.lat);
                    q.bindValue(3, from.lon);
                    q.bindValue(4, to.lat);
                    q.bindValue(5, to.lon);
                    q.bindValue(6, segment.fromKey.section(QLatin1Char(':'), 0, 0));
                    q.bindValue(7, segment.toKey.section(QLatin1Char(':'), 0, 0));
                    if (!run())
                        return false;
                }
            }
            return true;
        });
        if (skipped > 0)
            AppLogger::instance().log(
                AppLogger::Warning, kSource,
                QStringLiteral("%1 airway segments skipped: an end was not fetched").arg(skipped));
        ok = ok &&
             writer.insertAll(schema::insert::FacilityNavdataMeta, [&](QSqlQuery &q, const std::function<bool()> &run) {
                 q.bindValue(0, QStringLiteral("provider"));
                 q.bindValue(1, QStringLiteral("MSFS 2024 SimConnect"));
                 if (!run())
                     return false;
                 q.bindValue(0, QStringLiteral("import_time"));
                 q.bindValue(1, QDateTime::currentDateTimeUtc().toString(Qt::ISODate));
                 return run();
             });
        error = writer.error();
    }
    if (!ok) {
        AppLogger::instance().log(AppLogger::Error, kSource,
                                  error.startsWith(QLatin1String("Database insert failed"))
                                      ? error
                                      : QStringLiteral("Database insert failed: %1").arg(error));
        QFile::remove(temporary);
        return false;
    }
    // The finished copy replaces the old file in one step, as the other importers' builds do.
    QString replaceError;
    if (!navimport::replaceDatabaseFile(temporary, path, &replaceError)) {
        AppLogger::instance().log(AppLogger::Error, kSource, replaceError);
        QFile::remove(temporary);
        return false;
    }
    return true;
}

bool Msfs2024NavImporter::writeTaxiToDatabase(const QString &path)
{
    if (!m_taxi)
        return false;
    const FacilityNode &airport = *m_taxi;
    const QString icao = m_taxiIcao;
    const auto place = [this](const FacilityNode &n, double *lat, double *lon) {
        // BIAS_X east and BIAS_Z north, in metres from the airport's reference point.
        const double x = n.number(QStringLiteral("BIAS_X"));
        const double z = n.number(QStringLiteral("BIAS_Z"));
        *lat = m_taxiLat + z / kEarthRadiusM * 180.0 / kPi;
        *lon = m_taxiLon + x / (kEarthRadiusM * std::cos(m_taxiLat * kPi / 180.0)) * 180.0 / kPi;
    };
    const QList<FacilityNode> points = airport.childrenOf(FacilityType::TaxiPoint);
    const QList<FacilityNode> parkings = airport.childrenOf(FacilityType::TaxiParking);
    const QList<FacilityNode> paths = airport.childrenOf(FacilityType::TaxiPath);
    const QList<FacilityNode> names = airport.childrenOf(FacilityType::TaxiName);
    if (points.isEmpty() && parkings.isEmpty())
        return false; // no ground layout in the simulator: nothing replaces what is there
    // Nodes: the taxi points, then the parkings; a path to a parking ends at the parking's node.
    constexpr int kRunwayPath = 2;
    constexpr int kParkingPath = 3;
    QSet<int> runwayNodes;
    for (const FacilityNode &p : paths) {
        if (p.intValue(QStringLiteral("TYPE")) == kRunwayPath)
            runwayNodes << p.intValue(QStringLiteral("START")) << p.intValue(QStringLiteral("END"));
    }
    ScopedSqlConnection connection(QStringLiteral("taxi_write"), path);
    if (!connection.open()) {
        AppLogger::instance().log(AppLogger::Error, kSource, QStringLiteral("Cannot open database for writing"));
        return false;
    }
    Writer writer(connection.database());
    bool ok = true;
    for (const schema::Statement *table : {&schema::TaxiwayNodes, &schema::TaxiwayEdges, &schema::Parkings})
        ok = ok && writer.exec(table->text());
    for (const char *table : {"taxiway_nodes", "taxiway_edges", "parkings"})
        ok = ok && writer.exec(QStringLiteral("DELETE FROM %1 WHERE airport_icao=?").arg(QLatin1String(table)), icao);
    ok = ok && writer.insertAll(schema::insert::TaxiwayNode, [&](QSqlQuery &q, const std::function<bool()> &run) {
        for (int i = 0; i < points.size() + parkings.size(); ++i) {
            const bool parking = i >= points.size();
            const FacilityNode &n = parking ? parkings.at(i - points.size()) : points.at(i);
            double lat = 0;
            double lon = 0;
            place(n, &lat, &lon);
            q.bindValue(0, icao);
            q.bindValue(1, i);
            q.bindValue(2, lat);
            q.bindValue(3, lon);
            q.bindValue(4, parking                   ? QStringLiteral("parking")
                           : runwayNodes.contains(i) ? QStringLiteral("runway")
                                                     : QStringLiteral("taxi"));
            q.bindValue(5, parking ? QString::number(n.intValue(QStringLiteral("NUMBER"))) : QString());
            if (!run())
                return false;
        }
        return true;
    });
    ok = ok && writer.insertAll(schema::insert::Parking, [&](QSqlQuery &q, const std::function<bool()> &run) {
        for (const FacilityNode &p : parkings) {
            double lat = 0;
            double lon = 0;
            place(p, &lat, &lon);
            const int type = p.intValue(QStringLiteral("TYPE"));
            // Gates by the simulator's parking kinds (small, medium, heavy); everything else a ramp.
            const bool gate = type >= 8 && type <= 10;
            q.bindValue(0, icao);
            q.bindValue(1, QString::number(p.intValue(QStringLiteral("NUMBER"))));
            q.bindValue(2, gate ? QStringLiteral("GATE") : QStringLiteral("RAMP"));
            q.bindValue(3, lat);
            q.bindValue(4, lon);
            q.bindValue(5, p.number(QStringLiteral("HEADING")));
            if (!run())
                return false;
        }
        return true;
    });
    ok = ok && writer.insertAll(schema::insert::TaxiwayEdge, [&](QSqlQuery &q, const std::function<bool()> &run) {
        for (const FacilityNode &p : paths) {
            const int start = p.intValue(QStringLiteral("START"));
            int end = p.intValue(QStringLiteral("END"));
            if (p.intValue(QStringLiteral("TYPE")) == kParkingPath)
                end += int(points.size());
            if (start < 0 || end < 0 || start >= points.size() + parkings.size() ||
                end >= points.size() + parkings.size())
                continue;
            const int nameIndex = p.intValue(QStringLiteral("NAME_INDEX"));
            q.bindValue(0, icao);
            q.bindValue(1, start);
            q.bindValue(2, end);
            q.bindValue(3, QStringLiteral("twoway"));
            q.bindValue(4, QString());
            q.bindValue(5, nameIndex >= 0 && nameIndex < names.size() ? names.at(nameIndex).text(QStringLiteral("NAME"))
                                                                      : QString());
            if (!run())
                return false;
        }
        return true;
    });
    if (!ok)
        AppLogger::instance().log(AppLogger::Error, kSource,
                                  QStringLiteral("Database insert failed: %1").arg(writer.error()));
    return ok;
}
