#pragma once

#include <QString>

class DatabaseBuilder;

// An X-Plane CIFP folder (one "<ICAO>.dat" per airport) into procedures and procedure_legs,
// replacing both; the legs table is recreated in the schema's form. Each leg gets the position of
// its fix from the fixes, navaids, airports and runways already in the database. The files are
// parsed on a helper thread while the calling thread writes. Used by DatabaseBuilder, whose
// signals it reports through and whose cancel it obeys.
class CifpImporter
{
public:
    explicit CifpImporter(DatabaseBuilder &builder) : m_builder(builder) {}

    bool import(const QString &path, const QString &dir);

private:
    DatabaseBuilder &m_builder;
};
