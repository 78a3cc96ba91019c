#pragma once

#include <QString>

class BglReader;
class DatabaseBuilder;

// Writes the records of a scenery library (gathered by BglReader in load order) to the navigation
// database. Used by DatabaseBuilder, whose signals it reports through and whose cancel it obeys.
class BglRecordImporter
{
public:
    explicit BglRecordImporter(DatabaseBuilder &builder) : m_builder(builder) {}

    // Replaces the scenery tables (airports, runways, parkings, towers, taxiways, navaids,
    // waypoints, airways, procedures, legs, airspaces; the frequencies of the airports written),
    // then repairs airway endpoints and refreshes runway counts. Creates the tables it needs.
    bool importAll(const QString &path, const BglReader &records);
    // A Navigraph package: replaces navaids, waypoints and airways, and the procedures and COM
    // frequencies of the airports it names; airports, runways and ground layouts stay.
    bool importNavigraph(const QString &path, const BglReader &records);

private:
    DatabaseBuilder &m_builder;
};
