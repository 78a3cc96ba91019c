#pragma once

#include <QString>
#include <QStringList>

// The navigation database schema, named: every table and index the builder creates, the final
// shapes the importers extend them to, and every statement that writes rows. Importers, the
// offline provider's tests and the benchmark generator take their SQL from here, so no statement
// is chosen by its position in a list.
//
// createStatements() is the schema in the builder's order. On a new file it stops at
// AirwaysNameFrom, which indexes columns that only the airway importers add (AirwayColumns): that
// order is deliberate and kept. completeStatements() creates every table in its final shape at once
// (what a whole build leaves behind); a file that already has a table keeps its form.
namespace schema {

struct Statement
{
    const char *name; // table or index name
    const char *sql;

    QString text() const { return QString::fromLatin1(sql); }
};

// ---- tables as createSchema makes them --------------------------------------------------------
extern const Statement Airports;
extern const Statement Runways;
extern const Statement Navaids;
extern const Statement Waypoints;
extern const Statement Airways; // identifier columns only; the importers add the rest
extern const Statement Procedures;
extern const Statement ProcedureLegs; // the text importers' form: resolved positions, three fix types
extern const Statement TaxiwayNodes;
extern const Statement TaxiwayEdges;
extern const Statement Taxiways;
extern const Statement Parkings;
extern const Statement Towers;
extern const Statement Frequencies;
extern const Statement Airspaces;
extern const Statement NavdataMeta;
extern const Statement AptMeta;

// ---- indexes -----------------------------------------------------------------------------------
extern const Statement AirportsLatLon;
extern const Statement NavaidsLatLon;
extern const Statement WaypointsLatLon;
extern const Statement WaypointsIdent;
extern const Statement WaypointsIdentLatLon;
extern const Statement NavaidsIdentTypeLatLon;
extern const Statement AirwaysNameFrom; // needs the airway importers' columns
extern const Statement RunwaysAirport;
extern const Statement TaxiwayNodesAirport;
extern const Statement TaxiwayEdgesAirport;
extern const Statement ParkingsAirport;
extern const Statement ProcedureLegsLookup;
extern const Statement AptMetaLatLon;

// ---- other forms of the same tables ------------------------------------------------------------
// airways created directly with its endpoint columns (scenery records, the facility importer).
extern const Statement AirwaysWithEndpoints;
// procedure_legs as scenery records carry them: transition, one fix type, course, two altitudes,
// no resolved position. Readers tell the two forms apart by their columns.
extern const Statement SceneryProcedureLegs;

// After a scenery-record import: fill airway endpoints still at 0 or NULL from the fixes and
// the radio aids of the same ident, then recount each airport's runway rows.
QStringList airwayEndpointRepairStatements();
extern const Statement RunwayCountRefresh;

// The column definitions the airway importers add, each by "ALTER TABLE airways ADD COLUMN ";
// route-finder data adds the two altitude columns as well.
QStringList airwayColumnStatements(bool withAltitudeColumns);

// createSchema's statements in order (29).
QStringList createStatements();
// Every table and index in its final shape: airways with its endpoint columns, then createStatements.
QStringList completeStatements();
// Tables the navigation imports replace, in clearAllData's order (frequencies and navdata_meta
// come from separate imports and are kept).
QStringList clearedTables();

// ---- statements that write rows (`?` bound in order) -------------------------------------------
namespace insert {
extern const char *const Navaid;
extern const char *const XPlaneFix;           // type 'FIX'
extern const char *const SceneryWaypoint;     // type 'WPT'
extern const char *const RouteFinderWaypoint; // type 'RFIX', duplicates ignored
extern const char *const XPlaneAirway;
extern const char *const RouteFinderAirway;
extern const char *const SceneryAirway; // direction 'B'
extern const char *const Procedure;
extern const char *const ProcedureWithoutRunway;
extern const char *const ProcedureLeg;
extern const char *const SceneryProcedureLeg;
extern const char *const Airport;
extern const char *const Runway;
extern const char *const Parking;
extern const char *const Tower;
extern const char *const Frequency;        // replaces the airport's row of the same type
extern const char *const SceneryFrequency; // plain insert
extern const char *const TaxiwayNode;
extern const char *const SceneryTaxiwayNode; // without node_name
extern const char *const TaxiwayEdge;
extern const char *const Airspace;
extern const char *const AptMeta;
extern const char *const NavdataMeta;
// The simulator facility importer's rows where its columns differ from the forms above.
extern const char *const FacilityAirport;     // no has_tower column
extern const char *const FacilityRunway;      // with ils_ident
extern const char *const FacilityProcedure;   // name before runway_ident
extern const char *const FacilityWaypoint;    // type bound, not fixed
extern const char *const FacilityNavaid;      // without airport_icao
extern const char *const FacilityNavdataMeta; // replaces a key already written
} // namespace insert

} // namespace schema
