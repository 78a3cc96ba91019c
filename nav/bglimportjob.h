#pragma once

#include "sim/simtype.h"

#include <QString>

#include <atomic>
#include <functional>

// One scenery import from start to end, for the "--import-bgl" mode and the import dialog:
// builds a navigation database from a Prepar3D/FSX installation (source = the folder holding
// scenery.cfg) or an MSFS 2020 package folder (source = the package folder, a folder holding
// UserCfg.opt, or that file; a single Navigraph package works too) into "<target>.building"
// beside the target, and replaces the target only when everything succeeded. A failed or
// cancelled import deletes the temporary file and leaves the previous database as it was.
//
// Runs on the calling thread. progress (may be empty) is called on that thread with the stage
// ("scenery" while reading files, "write" while writing rows). cancel (may be null) may be set
// from any thread; the import stops within a fraction of a second. message receives the result
// line (the reason on failure).
bool runBglImport(const QString &source, const QString &target, SimType kind,
                  std::function<void(QString stage, int current, int total)> progress, std::atomic_bool *cancel,
                  QString *message);
