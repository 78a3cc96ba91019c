#pragma once

#include <QString>

class DatabaseBuilder;

// Airspace files into airspaces, added to what the table holds: OpenAir text files ("*.txt",
// "*.openair", "*.air") and OpenAIP exports ("*.aip" or "*.xml" of the XML format, "*.json" of the
// web API). Used by DatabaseBuilder, whose signals it reports through and whose cancel it obeys.
class AirspaceImporter
{
public:
    explicit AirspaceImporter(DatabaseBuilder &builder) : m_builder(builder) {}

    bool importOpenAir(const QString &path, const QString &dir);
    bool importOpenAip(const QString &path, const QString &dir);

private:
    DatabaseBuilder &m_builder;
};
