#pragma once

#include <QString>
#include <QStringList>

class DatabaseBuilder;

// X-Plane airport layouts (apt.dat): airports, runways (one row per end), frequencies, towers,
// parkings and taxi networks, replacing what those tables held (frequencies airport by airport).
// The files are parsed on a helper thread in precedence order while the calling thread writes.
// Used by DatabaseBuilder, whose signals it reports through and whose cancel it obeys.
class AptDatImporter
{
public:
    explicit AptDatImporter(DatabaseBuilder &builder) : m_builder(builder) {}

    // The apt.dat files of an X-Plane installation's scenery, in X-Plane's precedence.
    bool importInstallation(const QString &path, const QString &xplaneDir);
    // Explicit apt.dat files, highest precedence first.
    bool importFiles(const QString &path, const QStringList &aptFiles);

private:
    DatabaseBuilder &m_builder;
};
