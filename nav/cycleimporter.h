#pragma once

#include <QString>

class DatabaseBuilder;

// The AIRAC cycle file ("cycle_info.txt") into navdata_meta: "cycle_major", "cycle_minor" and
// "provider". A missing file clears the meta table. Used by DatabaseBuilder, whose signals it
// reports through.
class CycleImporter
{
public:
    explicit CycleImporter(DatabaseBuilder &builder) : m_builder(builder) {}

    bool import(const QString &path, const QString &dir);

private:
    DatabaseBuilder &m_builder;
};
