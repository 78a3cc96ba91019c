#pragma once

#include "nav/inavdataprovider.h"

#include <QJsonArray>
#include <QJsonObject>

// The service's reply elements, one function per record, with the keys the station's online
// provider reads.
namespace navreply {

QJsonObject airport(const AirportRecord &a);
QJsonObject runway(const RunwayRecord &r);
// A runway of the airport-details reply: the opposite end's identifier added.
QJsonObject runwayWithReciprocal(const RunwayRecord &r, const QList<RunwayRecord> &all);
QJsonObject navaid(const NavaidRecord &n);
QJsonObject waypoint(const WaypointRecord &w);
QJsonObject airway(const AirwaySegment &s);
QJsonObject airspace(const AirspaceRecord &a);
QJsonObject parking(const ParkingRecord &p);
QJsonObject frequency(const FrequencyRecord &f);
QJsonObject tower(const TowerRecord &t);
QJsonObject taxiwayNode(const TaxiwayNode &n);
QJsonObject taxiwayEdge(const TaxiwayEdge &e);
QJsonObject procedureLeg(const INavDataProvider::ProcedureLeg &leg);
QJsonObject cycle(const CycleInfo &c);

// The identifier of a runway's other end ("09L" -> "27R"); empty when the text is no runway number.
QString reciprocalIdent(const QString &ident);

} // namespace navreply
