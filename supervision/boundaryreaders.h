#pragma once

#include "supervision/sectorfile.h"

#include <QByteArray>
#include <QString>

// Readers of the two area formats among the sector files. Stateless; safe on any thread.
namespace BoundaryReaders {

// GeoJSON boundaries: a FeatureCollection (the FIR boundaries, one feature per FIR, its id as the
// name) or a single Feature (a TRACON, "name" with its callsign "prefix" list). Polygon and
// MultiPolygon outer rings become areas without vertical limits.
// Features are read one by one, so a truncated or partly garbled collection still gives every
// intact feature; each damaged one is skipped and counted (its ordinal stands in for a line
// number).
SectorFile readGeoJson(const QByteArray &bytes, const QString &path);

// OpenAir airspaces through the navigation library's parser: each airspace an area with its
// limits (type as the parser names it). Skipped lines and
// dropped airspaces are counted.
SectorFile readOpenAir(const QByteArray &bytes, const QString &path);

// The network's VATSpy.dat: its [Airports] rows (ICAO|name|lat|lon|short id|FIR|pseudo) become
// airport positions under both the ICAO code and the short id, its [FIRs] rows
// (ICAO|name|callsign prefix|boundary) centre positions that name their boundary. Nothing is
// drawn. Other sections are not needed; a row that does not read is skipped and counted.
SectorFile readVatSpy(const QByteArray &bytes, const QString &path);

} // namespace BoundaryReaders
