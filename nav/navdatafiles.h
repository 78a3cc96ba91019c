#pragma once

#include "sim/simtype.h"

#include <QString>

// Where each data source's offline navigation database lives. A data source is an index:
// 0 X-Plane 11, 1 X-Plane 12, 2 Prepar3D, 3 MSFS 2020, 4 MSFS 2024. The files sit in the
// application's directory (the directory of the executable).

constexpr int kNavDataSourceCount = 5;

// Settings keys (Zobrel.ini): whether the source follows the connected simulator (default true),
// and the source used otherwise and while no simulator is connected (default 0, X-Plane 11).
constexpr const char *kNavDataAutoSwitchKey = "navDataAutoSwitch";
constexpr const char *kNavDataSourceKey = "navDataSource";

// "zobrel_navdata_xp11.db" ... "zobrel_navdata_msfs2024.db"; an index outside 0..4 gives the
// X-Plane 11 file.
QString navDataFileName(int sourceIndex);

// navDataFileName(sourceIndex) inside directory (the application's directory when empty).
QString navDataFilePath(int sourceIndex, const QString &directory = QString());

// The source that follows a connected simulator (automatic switching). FSX reads the same kind of
// BGL scenery as Prepar3D and shares its database; with no simulator (or an unknown one) the
// result is fallbackIndex, the user's chosen default source.
int navDataSourceForSimType(SimType simType, int fallbackIndex);
