#pragma once

#include <QString>

class DatabaseBuilder;

// X-Plane's airway file (earth_awy.dat, AWY 1100) into airways, replacing them. Endpoints are
// resolved against the fixes and navaids already imported; segments left without coordinates
// are skipped and counted. Used by DatabaseBuilder, whose signals it reports through and whose
// cancel it obeys.
class XPlaneAirwayImporter
{
public:
    explicit XPlaneAirwayImporter(DatabaseBuilder &builder) : m_builder(builder) {}

    bool import(const QString &path, const QString &file);

private:
    DatabaseBuilder &m_builder;
};
