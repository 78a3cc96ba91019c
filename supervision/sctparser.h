#pragma once

#include "supervision/sectorfile.h"

#include <QByteArray>
#include <QColor>
#include <QHash>
#include <QPointF>
#include <QString>
#include <QStringList>

// Reads a EuroScope/VRC sector file (.sct, .sct2): #define colours, [INFO], [VOR], [NDB],
// [AIRPORT], [RUNWAY], [FIXES], the line sections ([ARTCC], [ARTCC HIGH], [ARTCC LOW], [GEO],
// [SID], [STAR], [LOW AIRWAY], [HIGH AIRWAY]), [REGIONS] and [LABELS].
//
// The point sections are read first, so a line may name a navaid, airport or fix in place of a
// coordinate pair wherever it sits in the file. A line section's row is "name p1 p2 [colour]"
// where the name may hold spaces or be absent (continuation rows) and each point is a coordinate
// pair or an ident written twice; a row whose points are out of range (the dummy "S999…" and
// "N000…" pairs) only names a group. A row that cannot be read is skipped and counted with its
// reason; nothing is fatal. Text is UTF-8, or Windows-1252 when it is not valid UTF-8.
//
// Stateless functions; safe on any thread.
class SctParser
{
public:
    static SectorFile parse(const QByteArray &bytes, const QString &path);

    // "N043.37.16.841" / "W079.23.45.196" (hemisphere, degrees, minutes, seconds), hemisphere-
    // prefixed decimal degrees ("N013.32861") or signed decimals; false when either is not a
    // coordinate or out of range.
    static bool parseCoordinate(const QString &lat, const QString &lon, QPointF *latLon);
    // A colour number as the files write it: red + 256 * green + 65536 * blue.
    static QColor colourFromNumber(qint64 value);
    // UTF-8 when valid, else Windows-1252 (close enough to Latin-1 for these files).
    static QString decodeText(const QByteArray &bytes);
    // The text before a ';' comment (a ';' inside double quotes does not count).
    static QString stripComment(const QString &line);
};
