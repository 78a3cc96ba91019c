#pragma once

#include "sim/simconnect/isimconnect.h"
#include "sim/simtype.h"

#include <QString>

#include <memory>

// The port onto the real simulator's SimConnect client library for type. On Windows it loads
// the library at run time (no SDK at build time): from libraryPath when given, else
// "SimConnect.dll" beside the executable, else wherever the system's library search finds it. A
// missing library or function shows when the port is opened (the library) or as a missing
// capability (an optional function). On other platforms the port's open() fails with "SimConnect
// is not available on this platform". One implementation file per platform; CMake picks one.
std::unique_ptr<ISimConnect> createSystemSimConnect(SimType type, const QString &libraryPath);
