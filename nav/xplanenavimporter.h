#pragma once

#include <QString>

class DatabaseBuilder;

// X-Plane's navigation text files into the database, each replacing its table: earth_nav.dat
// (NAV 1100/1150/1200) into navaids, earth_fix.dat (FIX 1101/1200) into waypoints (type "FIX"),
// earth_aptmeta.dat into aptmeta. Used by DatabaseBuilder, whose signals it reports through and
// whose cancel it obeys; runs on the calling thread with a helper thread parsing.
class XPlaneNavImporter
{
public:
    explicit XPlaneNavImporter(DatabaseBuilder &builder) : m_builder(builder) {}

    bool importNavaids(const QString &path, const QString &file);
    bool importFixes(const QString &path, const QString &file);
    bool importAptMeta(const QString &path, const QString &file);

private:
    DatabaseBuilder &m_builder;
};
