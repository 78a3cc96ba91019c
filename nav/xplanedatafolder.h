#pragma once

#include <QString>
#include <QStringList>

// Where an X-Plane 11/12 installation keeps the files a navigation database is built from.
//
// Navigation data: "Custom Data/" (a navdata subscription) overrides "Resources/default data/"
// file by file (earth_nav.dat, earth_fix.dat, earth_awy.dat, earth_aptmeta.dat, cycle_info.txt
// and the CIFP folder). Airports: the apt.dat files of the scenery packs in X-Plane's order (see
// aptFiles()). A plain value; paths are absolute, empty when the file does not exist.
class XPlaneDataFolder
{
public:
    explicit XPlaneDataFolder(const QString &root);

    QString root() const { return m_root; }
    bool exists() const;

    QString navFile() const { return dataFile(QStringLiteral("earth_nav.dat")); }
    QString fixFile() const { return dataFile(QStringLiteral("earth_fix.dat")); }
    QString airwayFile() const { return dataFile(QStringLiteral("earth_awy.dat")); }
    QString aptMetaFile() const { return dataFile(QStringLiteral("earth_aptmeta.dat")); }
    // The folder holding cycle_info.txt, following the navigation files it describes.
    QString cycleInfoDir() const;
    QString cifpDir() const;

    // Where a missing navigation file was expected (the default data folder), for messages.
    QString expectedDataPath(const QString &name) const;

    // The apt.dat files, highest precedence first: the Custom Scenery packs in the order of
    // "Custom Scenery/scenery_packs.ini" (packs missing from it first, alphabetically, as
    // X-Plane adds new packs at the top; disabled ones left out), then the global airports
    // ("Global Scenery/Global Airports" in X-Plane 12, or where the ini's *GLOBAL_AIRPORTS*
    // line puts it), then X-Plane 11's "Resources/default scenery/default apt dat".
    QStringList aptFiles() const;

private:
    QString dataFile(const QString &name) const;
    QStringList customPacksInOrder(int *globalAirportsPosition) const;

    QString m_root;
};
