#pragma once

#include "recording/recordedflight.h"

#include <QList>
#include <QString>

#include <optional>

class QIODevice;

// Flights to and from files other programs read: GPX 1.1 (track points with time and elevation,
// the events as waypoints, every recorded value in a namespaced extension so a GPX of ours comes
// back whole), KML 2.2 (the track as an absolute-altitude line, events and landings as points)
// and CSV (one row per sample, a header naming the columns, times in ISO 8601 UTC).
//
// Imports read GPX (1.0 and 1.1: track and route points, waypoints with a time become events) and
// CSV (columns found by name, comma, semicolon or tab separated). Values a file lacks are worked
// out where they can be (ground speed, track and vertical speed from consecutive points) and are
// zero otherwise. A file may hold at most kMaxImportPoints points; malformed CSV rows are skipped
// and counted, the first one's reason kept.
//
// Plain functions, any thread. Elevations in files are metres; the track keeps feet.

enum class TrackFormat { Gpx, Kml, Csv };

struct ImportedTrack
{
    QString name;
    QList<TrackSample> samples; // by time, seq from 0
    QList<FlightEvent> events;
    int skippedRows = 0;
    QString firstProblem; // why the first skipped row was skipped
};

inline constexpr qsizetype kMaxImportPoints = 500000; // a day at 5 Hz; about 100 MB in memory

// "gpx", "kml" or "csv".
QString trackFormatSuffix(TrackFormat format);
// The format a file name's suffix names, if any.
std::optional<TrackFormat> trackFormatFromPath(const QString &path);

bool writeTrack(const RecordedFlight &flight, TrackFormat format, QIODevice *device, QString *error);

// Reads GPX or CSV (KML is export only). nullopt with error set when nothing usable is there.
std::optional<ImportedTrack> readTrack(TrackFormat format, QIODevice *device, QString *error);
