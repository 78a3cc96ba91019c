#pragma once

#include "recording/recordedflight.h"

#include <QList>
#include <QString>

// What the track export and import share: the value columns with their names (CSV header, GPX
// extension attributes) and number and time formats.
namespace trackio {

inline constexpr double kMetresPerFoot = 0.3048;
inline constexpr char kGpxNamespace[] = "http://www.topografix.com/GPX/1/1";
inline constexpr char kExtensionNamespace[] = "urn:zobrel:track:1";

struct Column
{
    const char *name;
    int decimals;
    double TrackSample::*member;
};

// Every TrackSample value besides time, position and flags.
const QList<Column> &columns();
// ISO 8601 UTC with milliseconds ("2024-05-01T06:32:10.250Z").
QString isoTime(qint64 ms);
// Fixed decimals, C locale, no "-0".
QString number(double value, int decimals);

} // namespace trackio
