#pragma once

#include "nav/databasebuilder.h"
#include "nav/offlinenavdataprovider.h"

#include <QDir>
#include <QString>

// Builds the East China excerpt of tests/data/plan/navdata into a navigation database at path
// with the station's own importers, then loads it. False when a step fails.
inline bool buildPlanTestDatabase(const QString &path, OfflineNavDataProvider *provider)
{
    const QString data = QStringLiteral(TEST_DATA_DIR "/plan/navdata/");
    DatabaseBuilder builder;
    return builder.createCompleteSchema(path) && builder.importXPlaneNavData(path, data + "earth_nav.dat") &&
           builder.importXPlaneWaypoints(path, data + "earth_fix.dat") &&
           builder.importXPlaneAirways(path, data + "earth_awy.dat") &&
           builder.importXPlaneAptFiles(path, {data + "apt.dat"}) && builder.importXPlaneCifp(path, data + "CIFP") &&
           builder.importCycleInfo(path, data) && provider->loadFromDatabase(path);
}
