#include "nav/navschema.h"

namespace schema {

// The table texts are the exact statements the other writers of this schema (the facility
// importer, older builds) use, double blanks included: CREATE TABLE IF NOT EXISTS keeps whichever
// form came first, and sqlite_master shows it.

const Statement Airports{"airports",
                         "CREATE TABLE IF NOT EXISTS airports (  icao TEXT PRIMARY KEY,  name TEXT, lat REAL, lon "
                         "REAL, elevation INTEGER,  city TEXT, country TEXT, has_tower INTEGER DEFAULT 0,  "
                         "runway_count INTEGER DEFAULT 0,  longest_runway TEXT)"};
const Statement Runways{"runways",
                        "CREATE TABLE IF NOT EXISTS runways (  id INTEGER PRIMARY KEY AUTOINCREMENT,  airport_icao "
                        "TEXT, ident TEXT,  length INTEGER, width INTEGER,  heading REAL, lat REAL, lon REAL,  "
                        "surface TEXT, ils_freq REAL DEFAULT 0, ils_ident TEXT)"};
const Statement Navaids{"navaids",
                        "CREATE TABLE IF NOT EXISTS navaids (  id INTEGER PRIMARY KEY AUTOINCREMENT,  ident TEXT, "
                        "type TEXT,  lat REAL, lon REAL, freq REAL,  range_nm REAL DEFAULT 0, airport_icao TEXT)"};
const Statement Waypoints{"waypoints", "CREATE TABLE IF NOT EXISTS waypoints (  id INTEGER PRIMARY KEY "
                                       "AUTOINCREMENT,  ident TEXT, lat REAL, lon REAL, type TEXT)"};
const Statement Airways{"airways", "CREATE TABLE IF NOT EXISTS airways (  id INTEGER PRIMARY KEY AUTOINCREMENT,  name "
                                   "TEXT, level TEXT,  from_waypoint_id INTEGER, to_waypoint_id INTEGER)"};
const Statement Procedures{"procedures",
                           "CREATE TABLE IF NOT EXISTS procedures (  id INTEGER PRIMARY KEY AUTOINCREMENT,  "
                           "airport_icao TEXT, type TEXT,  runway_ident TEXT, name TEXT)"};
const Statement ProcedureLegs{
    "procedure_legs",
    "CREATE TABLE IF NOT EXISTS procedure_legs (  id INTEGER PRIMARY KEY AUTOINCREMENT,  airport_icao TEXT, proc_name "
    "TEXT, proc_type TEXT,  runway TEXT, seq INTEGER,  fix_ident TEXT, fix_region TEXT,  fix_type1 TEXT, fix_type2 "
    "TEXT, fix_type3 TEXT,  leg_type TEXT,  lat REAL, lon REAL,  altitude REAL, speed_limit INTEGER)"};
const Statement TaxiwayNodes{
    "taxiway_nodes",
    "CREATE TABLE IF NOT EXISTS taxiway_nodes (  id INTEGER PRIMARY KEY AUTOINCREMENT,  airport_icao TEXT NOT NULL,  "
    "node_id INTEGER NOT NULL,  lat REAL NOT NULL,  lon REAL NOT NULL,  node_type TEXT,  node_name TEXT,  "
    "UNIQUE(airport_icao, node_id))"};
const Statement TaxiwayEdges{"taxiway_edges",
                             "CREATE TABLE IF NOT EXISTS taxiway_edges (  id INTEGER PRIMARY KEY AUTOINCREMENT,  "
                             "airport_icao TEXT NOT NULL,  from_node_id INTEGER NOT NULL,  to_node_id INTEGER NOT "
                             "NULL,  direction TEXT,  restriction TEXT,  taxiway_name TEXT)"};
const Statement Taxiways{"taxiways", "CREATE TABLE IF NOT EXISTS taxiways (  id INTEGER PRIMARY KEY AUTOINCREMENT,  "
                                     "airport_icao TEXT, name TEXT,  width REAL DEFAULT 0,  path TEXT)"};
const Statement Parkings{"parkings",
                         "CREATE TABLE IF NOT EXISTS parkings (  id INTEGER PRIMARY KEY AUTOINCREMENT,  airport_icao "
                         "TEXT, name TEXT,  type TEXT DEFAULT 'GATE',  lat REAL, lon REAL, heading REAL DEFAULT 0)"};
const Statement Towers{"towers", "CREATE TABLE IF NOT EXISTS towers (  airport_icao TEXT PRIMARY KEY,  lat REAL, lon "
                                 "REAL,  frequency REAL DEFAULT 0, name TEXT)"};
const Statement Frequencies{"frequencies",
                            "CREATE TABLE IF NOT EXISTS frequencies (  airport_icao TEXT,  type TEXT,  frequency REAL "
                            "DEFAULT 0,  name TEXT,  PRIMARY KEY (airport_icao, type))"};
const Statement Airspaces{"airspaces",
                          "CREATE TABLE IF NOT EXISTS airspaces (  id INTEGER PRIMARY KEY AUTOINCREMENT,  name TEXT, "
                          "type TEXT,  bottom_alt INTEGER DEFAULT 0,  top_alt INTEGER DEFAULT 0,  boundary TEXT)"};
const Statement NavdataMeta{"navdata_meta", "CREATE TABLE IF NOT EXISTS navdata_meta (  key TEXT PRIMARY KEY,  value "
                                            "TEXT)"};
const Statement AptMeta{"aptmeta",
                        "CREATE TABLE IF NOT EXISTS aptmeta (  icao TEXT PRIMARY KEY,  region TEXT,  lat REAL, lon "
                        "REAL,  elevation INTEGER,  type TEXT,  longest_rwy INTEGER DEFAULT 0,  trans_alt INTEGER "
                        "DEFAULT 0,  trans_level TEXT)"};

const Statement AirportsLatLon{"idx_airports_latlon",
                               "CREATE INDEX IF NOT EXISTS idx_airports_latlon ON airports(lat, lon)"};
const Statement NavaidsLatLon{"idx_navaids_latlon",
                              "CREATE INDEX IF NOT EXISTS idx_navaids_latlon ON navaids(lat, lon)"};
const Statement WaypointsLatLon{"idx_waypoints_latlon",
                                "CREATE INDEX IF NOT EXISTS idx_waypoints_latlon ON waypoints(lat, lon)"};
const Statement WaypointsIdent{"idx_waypoints_ident",
                               "CREATE INDEX IF NOT EXISTS idx_waypoints_ident ON waypoints(ident)"};
const Statement WaypointsIdentLatLon{"idx_waypoints_ident_latlon",
                                     "CREATE INDEX IF NOT EXISTS idx_waypoints_ident_latlon ON waypoints(ident, lat, "
                                     "lon)"};
const Statement NavaidsIdentTypeLatLon{"idx_navaids_ident_type_latlon",
                                       "CREATE INDEX IF NOT EXISTS idx_navaids_ident_type_latlon ON navaids(ident, "
                                       "type, lat, lon)"};
const Statement AirwaysNameFrom{"idx_airways_name_from",
                                "CREATE INDEX IF NOT EXISTS idx_airways_name_from ON airways(name, from_ident, "
                                "to_ident, from_lat, from_lon)"};
const Statement RunwaysAirport{"idx_runways_airport",
                               "CREATE INDEX IF NOT EXISTS idx_runways_airport ON runways(airport_icao)"};
const Statement TaxiwayNodesAirport{"idx_twy_nodes_airport",
                                    "CREATE INDEX IF NOT EXISTS idx_twy_nodes_airport ON taxiway_nodes(airport_icao)"};
const Statement TaxiwayEdgesAirport{"idx_twy_edges_airport",
                                    "CREATE INDEX IF NOT EXISTS idx_twy_edges_airport ON taxiway_edges(airport_icao)"};
const Statement ParkingsAirport{"idx_parkings_airport",
                                "CREATE INDEX IF NOT EXISTS idx_parkings_airport ON parkings(airport_icao)"};
const Statement ProcedureLegsLookup{"idx_proc_legs_lookup",
                                    "CREATE INDEX IF NOT EXISTS idx_proc_legs_lookup ON procedure_legs(airport_icao, "
                                    "proc_name, proc_type, runway)"};
const Statement AptMetaLatLon{"idx_aptmeta_latlon",
                              "CREATE INDEX IF NOT EXISTS idx_aptmeta_latlon ON aptmeta(lat, lon)"};

const Statement RunwayCountRefresh{
    "airports", "UPDATE airports SET runway_count = (SELECT COUNT(*) FROM runways WHERE runways.airport_icao = "
                "airports.icao)"};

const Statement AirwaysWithEndpoints{
    "airways",
    "CREATE TABLE IF NOT EXISTS airways (  id INTEGER PRIMARY KEY AUTOINCREMENT,  name TEXT, level TEXT,  "
    "from_waypoint_id INTEGER DEFAULT 0, to_waypoint_id INTEGER DEFAULT 0,  from_lat REAL DEFAULT 0, from_lon REAL "
    "DEFAULT 0,  to_lat REAL DEFAULT 0, to_lon REAL DEFAULT 0,  from_ident TEXT DEFAULT '', to_ident TEXT DEFAULT '',  "
    "distance REAL DEFAULT 0, direction TEXT DEFAULT 'B')"};
const Statement SceneryProcedureLegs{
    "procedure_legs",
    "CREATE TABLE IF NOT EXISTS procedure_legs (  id INTEGER PRIMARY KEY AUTOINCREMENT,  airport_icao TEXT, proc_name "
    "TEXT, proc_type TEXT,  runway TEXT, transition TEXT, seq INTEGER,  fix_ident TEXT, fix_region TEXT, fix_type "
    "TEXT,  leg_type TEXT, course REAL DEFAULT 0, dist_or_time REAL DEFAULT 0,  altitude1 REAL DEFAULT 0, altitude2 "
    "REAL DEFAULT 0, alt_descriptor TEXT,  turn_direction TEXT, flyover INTEGER DEFAULT 0,  speed_limit INTEGER "
    "DEFAULT 0)"};

QStringList airwayColumnStatements(bool withAltitudeColumns)
{
    QStringList statements;
    for (const char *column : {"from_lat REAL DEFAULT 0", "from_lon REAL DEFAULT 0", "to_lat REAL DEFAULT 0",
                               "to_lon REAL DEFAULT 0", "from_ident TEXT DEFAULT ''", "to_ident TEXT DEFAULT ''",
                               "direction TEXT DEFAULT 'B'", "distance REAL DEFAULT 0"})
        statements.append(QStringLiteral("ALTER TABLE airways ADD COLUMN %1").arg(QLatin1String(column)));
    if (withAltitudeColumns) {
        statements.append(QStringLiteral("ALTER TABLE airways ADD COLUMN min_alt TEXT DEFAULT ''"));
        statements.append(QStringLiteral("ALTER TABLE airways ADD COLUMN max_alt TEXT DEFAULT ''"));
    }
    return statements;
}

QStringList airwayEndpointRepairStatements()
{
    // to_ then from_ from the fixes, then the same from the radio aids.
    static const char *const kStatements[] = {
        "UPDATE airways SET to_lat = (SELECT lat FROM waypoints WHERE waypoints.ident = airways.to_ident "
        "LIMIT 1), to_lon = (SELECT lon FROM waypoints WHERE waypoints.ident = airways.to_ident LIMIT 1) "
        "WHERE (to_lat = 0 OR to_lat IS NULL OR to_lon = 0 OR to_lon IS NULL) AND to_ident != '' AND EXISTS "
        "(SELECT 1 FROM waypoints WHERE waypoints.ident = airways.to_ident AND waypoints.lat != 0)",
        "UPDATE airways SET from_lat = (SELECT lat FROM waypoints WHERE waypoints.ident = airways.from_ident "
        "LIMIT 1), from_lon = (SELECT lon FROM waypoints WHERE waypoints.ident = airways.from_ident LIMIT 1) "
        "WHERE (from_lat = 0 OR from_lat IS NULL OR from_lon = 0 OR from_lon IS NULL) AND from_ident != '' "
        "AND EXISTS (SELECT 1 FROM waypoints WHERE waypoints.ident = airways.from_ident AND waypoints.lat != "
        "0)",
        "UPDATE airways SET to_lat = (SELECT lat FROM navaids WHERE navaids.ident = airways.to_ident LIMIT "
        "1), to_lon = (SELECT lon FROM navaids WHERE navaids.ident = airways.to_ident LIMIT 1) WHERE (to_lat "
        "= 0 OR to_lat IS NULL OR to_lon = 0 OR to_lon IS NULL) AND to_ident != '' AND EXISTS (SELECT 1 FROM "
        "navaids WHERE navaids.ident = airways.to_ident AND navaids.lat != 0)",
        "UPDATE airways SET from_lat = (SELECT lat FROM navaids WHERE navaids.ident = airways.from_ident "
        "LIMIT 1), from_lon = (SELECT lon FROM navaids WHERE navaids.ident = airways.from_ident LIMIT 1) "
        "WHERE (from_lat = 0 OR from_lat IS NULL OR from_lon = 0 OR from_lon IS NULL) AND from_ident != '' "
        "AND EXISTS (SELECT 1 FROM navaids WHERE navaids.ident = airways.from_ident AND navaids.lat != 0)",
    };
    QStringList statements;
    for (const char *sql : kStatements)
        statements.append(QString::fromLatin1(sql));
    return statements;
}

QStringList createStatements()
{
    QStringList statements;
    for (const Statement *s : {&Airports,
                               &Runways,
                               &Navaids,
                               &Waypoints,
                               &Airways,
                               &Procedures,
                               &ProcedureLegs,
                               &AirportsLatLon,
                               &NavaidsLatLon,
                               &WaypointsLatLon,
                               &WaypointsIdent,
                               &WaypointsIdentLatLon,
                               &NavaidsIdentTypeLatLon,
                               &AirwaysNameFrom,
                               &RunwaysAirport,
                               &TaxiwayNodes,
                               &TaxiwayEdges,
                               &Taxiways,
                               &Parkings,
                               &Towers,
                               &Frequencies,
                               &Airspaces,
                               &TaxiwayNodesAirport,
                               &TaxiwayEdgesAirport,
                               &ParkingsAirport,
                               &ProcedureLegsLookup,
                               &NavdataMeta,
                               &AptMeta,
                               &AptMetaLatLon})
        statements.append(s->text());
    return statements;
}

QStringList completeStatements()
{
    return QStringList{AirwaysWithEndpoints.text()} + createStatements();
}

QStringList clearedTables()
{
    QStringList tables;
    for (const Statement *s : {&Airports, &Runways, &TaxiwayNodes, &TaxiwayEdges, &Parkings, &Towers, &Navaids,
                               &Waypoints, &Airways, &Procedures, &ProcedureLegs, &Airspaces, &AptMeta})
        tables.append(QString::fromLatin1(s->name));
    return tables;
}

namespace insert {

const char *const Navaid =
    "INSERT INTO navaids (ident, type, lat, lon, freq, range_nm, airport_icao) VALUES (?, ?, ?, ?, ?, ?, ?)";
const char *const XPlaneFix = "INSERT INTO waypoints (ident, lat, lon, type) VALUES (?, ?, ?, 'FIX')";
const char *const SceneryWaypoint = "INSERT INTO waypoints (ident, lat, lon, type) VALUES (?, ?, ?, 'WPT')";
const char *const RouteFinderWaypoint =
    "INSERT OR IGNORE INTO waypoints (ident, lat, lon, type) VALUES (?, ?, ?, 'RFIX')";
const char *const XPlaneAirway =
    "INSERT INTO airways (name, level, from_waypoint_id, to_waypoint_id, from_ident, from_lat, from_lon, to_ident, "
    "to_lat, to_lon, direction) VALUES (?, ?, 0, 0, ?, ?, ?, ?, ?, ?, ?)";
const char *const RouteFinderAirway =
    "INSERT INTO airways (name, level, from_waypoint_id, to_waypoint_id, from_lat, from_lon, to_lat, to_lon, "
    "from_ident, to_ident, min_alt, max_alt, distance, direction) VALUES (?, ?, 0, 0, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";
const char *const SceneryAirway = "INSERT INTO airways (name, level, from_lat, from_lon, to_lat, to_lon, from_ident, "
                                  "to_ident, direction) VALUES (?, ?, ?, ?, ?, ?, ?, ?, 'B')";
const char *const Procedure = "INSERT INTO procedures (airport_icao, type, runway_ident, name) VALUES (?, ?, ?, ?)";
const char *const ProcedureWithoutRunway =
    "INSERT INTO procedures (airport_icao, type, runway_ident, name) VALUES (?, ?, '', ?)";
const char *const ProcedureLeg =
    "INSERT INTO procedure_legs (airport_icao, proc_name, proc_type, runway, seq, fix_ident, fix_region, fix_type1, "
    "fix_type2, fix_type3, leg_type, lat, lon, altitude, speed_limit) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, "
    "?, ?)";
const char *const SceneryProcedureLeg =
    "INSERT INTO procedure_legs (airport_icao, proc_name, proc_type, runway, transition, seq, fix_ident, fix_region, "
    "fix_type, leg_type, course, dist_or_time, altitude1, altitude2, alt_descriptor, turn_direction, flyover, "
    "speed_limit) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";
const char *const Airport = "INSERT OR REPLACE INTO airports (icao, name, lat, lon, elevation, has_tower, "
                            "runway_count) VALUES (?, ?, ?, ?, ?, ?, ?)";
const char *const Runway = "INSERT INTO runways (airport_icao, ident, length, width, heading, lat, lon, surface) "
                           "VALUES (?, ?, ?, ?, ?, ?, ?, ?)";
const char *const Parking =
    "INSERT INTO parkings (airport_icao, name, type, lat, lon, heading) VALUES (?, ?, ?, ?, ?, ?)";
const char *const Tower =
    "INSERT OR REPLACE INTO towers (airport_icao, lat, lon, frequency, name) VALUES (?, ?, ?, ?, ?)";
const char *const Frequency =
    "INSERT OR REPLACE INTO frequencies (airport_icao, type, frequency, name) VALUES (?, ?, ?, ?)";
const char *const SceneryFrequency =
    "INSERT INTO frequencies (airport_icao, type, frequency, name) VALUES (?, ?, ?, ?)";
const char *const TaxiwayNode = "INSERT OR REPLACE INTO taxiway_nodes (airport_icao, node_id, lat, lon, node_type, "
                                "node_name) VALUES (?, ?, ?, ?, ?, ?)";
const char *const SceneryTaxiwayNode =
    "INSERT OR REPLACE INTO taxiway_nodes (airport_icao, node_id, lat, lon, node_type) VALUES (?, ?, ?, ?, ?)";
const char *const TaxiwayEdge = "INSERT INTO taxiway_edges (airport_icao, from_node_id, to_node_id, direction, "
                                "restriction, taxiway_name) VALUES (?, ?, ?, ?, ?, ?)";
const char *const Airspace = "INSERT INTO airspaces (name, type, bottom_alt, top_alt, boundary) VALUES (?, ?, ?, ?, ?)";
const char *const AptMeta = "INSERT OR REPLACE INTO aptmeta (icao, region, lat, lon, elevation, type, longest_rwy, "
                            "trans_alt, trans_level) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)";
const char *const NavdataMeta = "INSERT INTO navdata_meta (key, value) VALUES (?, ?)";
const char *const FacilityAirport =
    "INSERT OR REPLACE INTO airports (icao, name, lat, lon, elevation, runway_count) VALUES (?, ?, ?, ?, ?, ?)";
const char *const FacilityRunway = "INSERT INTO runways (airport_icao, ident, length, width, heading, lat, lon, "
                                   "surface, ils_ident) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)";
const char *const FacilityProcedure =
    "INSERT INTO procedures (airport_icao, type, name, runway_ident) VALUES (?, ?, ?, ?)";
const char *const FacilityWaypoint = "INSERT INTO waypoints (ident, lat, lon, type) VALUES (?, ?, ?, ?)";
const char *const FacilityNavaid =
    "INSERT INTO navaids (ident, type, lat, lon, freq, range_nm) VALUES (?, ?, ?, ?, ?, ?)";
const char *const FacilityNavdataMeta = "INSERT OR REPLACE INTO navdata_meta (key, value) VALUES (?, ?)";

} // namespace insert

} // namespace schema
