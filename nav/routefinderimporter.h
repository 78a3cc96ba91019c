#pragma once

#include <QString>

class DatabaseBuilder;

// A route-finder text export (the comma-separated navdata set of GNS430-style add-ons):
// Waypoints.txt, Airports.txt, Navaids.txt, ATS.txt and a PROC folder with one "<ICAO>.txt" of
// SIDs and STARs per airport. Replaces navaids, waypoints, airways and procedures; airports are
// added or replaced. Used by DatabaseBuilder, whose signals it reports through and whose cancel it
// obeys.
class RouteFinderImporter
{
public:
    explicit RouteFinderImporter(DatabaseBuilder &builder) : m_builder(builder) {}

    bool import(const QString &path, const QString &dir);

private:
    DatabaseBuilder &m_builder;
};
