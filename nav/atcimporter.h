#pragma once

#include <QString>

class DatabaseBuilder;

// Navigraph ATC frequency files ("atc.dat", else every "*.dat" of the folder) into frequencies,
// one row per airport and service (a later row replaces an earlier one). Used by DatabaseBuilder,
// whose signals it reports through and whose cancel it obeys.
class AtcImporter
{
public:
    explicit AtcImporter(DatabaseBuilder &builder) : m_builder(builder) {}

    bool import(const QString &path, const QString &dir);

private:
    DatabaseBuilder &m_builder;
};
