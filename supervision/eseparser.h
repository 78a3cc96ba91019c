#pragma once

#include "supervision/sectorfile.h"

#include <QByteArray>
#include <QHash>
#include <QPointF>
#include <QString>

// Reads a EuroScope extension file (.ese): [POSITIONS] (controller positions with their
// visibility centres), [SIDSSTARS] (counted), [FREETEXT] (labels) and [AIRSPACE]: SECTORLINE with
// its COORD rows, CIRCLE_SECTORLINE, and SECTOR with OWNER and BORDER, from which each sector's
// outline is chained together out of its border lines. OFFSET rows shift the coordinates that
// follow. Other keywords (ALTOWNER, ACTIVE, DEPAPT, COPX, DISPLAY, …) are known and not needed.
//
// Fields are separated by ':'; ';' starts a comment, and rows starting with '*' (the banners
// real files frame their parts with) are comments too. A row that cannot be read, a border line
// that does not exist and a circle around an unknown fix are skipped and counted; a sector without
// any usable border line is dropped and counted. Stateless; safe on any thread.
class EseParser
{
public:
    // fixes: the idents of the matching .sct (navaids, airports, fixes), upper case, for circle
    // centres given by name; may be empty.
    static SectorFile parse(const QByteArray &bytes, const QString &path, const QHash<QString, QPointF> &fixes);

    // The idents of a parsed SCT file, upper case, first definition kept.
    static QHash<QString, QPointF> fixIndex(const SectorFile &sct);
};
