#pragma once

#include "nav/inavdataprovider.h"

#include <QJsonArray>
#include <QJsonObject>

// Records from the navigation service's JSON replies. Elements that are not objects are skipped;
// missing keys leave the record's defaults.
namespace onlinenav {

QList<AirportRecord> parseAirports(const QJsonArray &array);
QList<RunwayRecord> parseRunways(const QJsonArray &array);
QList<NavaidRecord> parseNavaids(const QJsonArray &array);
QList<WaypointRecord> parseWaypoints(const QJsonArray &array);
QList<AirwaySegment> parseAirways(const QJsonArray &array);
QList<AirspaceRecord> parseAirspaces(const QJsonArray &array);
QList<ParkingRecord> parseParkings(const QString &icao, const QJsonArray &array);
QList<FrequencyRecord> parseFrequencies(const QString &icao, const QJsonArray &array);
TowerRecord parseTower(const QString &icao, const QJsonValue &value);
QMap<int, TaxiwayNode> parseTaxiwayNodes(const QJsonArray &array);
QList<TaxiwayEdge> parseTaxiwayEdges(const QJsonArray &array);
// A "sids" or "stars" array: the procedures, and the legs of those that carry them.
void parseProcedures(const QString &icao, const QString &type, const QJsonArray &array,
                     QList<INavDataProvider::Procedure> *procedures, QList<INavDataProvider::ProcedureLeg> *legs);
CycleInfo parseCycle(const QJsonObject &cycle);

} // namespace onlinenav
