#pragma once

#include <QString>

struct OfflineNavData;

// Reads a whole navigation database file (the schema of navschema.h, either procedure-leg form)
// into data and derives its look-ups (OfflineNavData::finish). False, with a log line, when the
// file is missing, unreadable, not SQLite, or lacks a core table or column; data is then
// incomplete and must be dropped. Opens and removes a connection of its own ("navdata_%1"), so it
// may run on any thread.
bool readNavDatabase(const QString &path, OfflineNavData &data);
