#pragma once

#include "nav/openairparser.h"

#include <QByteArray>
#include <QList>

// Reads OpenAIP airspace exports into the same records as OpenAir files. Airspaces without a
// known type, either limit or three boundary points are counted in skipped and left out.

// Each returns the document's fault ("line %1: <parser's text>"), empty when it parsed to the end.

// The "items" of an API reply (or a bare array, or one airspace object). A document that does not
// parse gives nothing.
QString readOpenAipJson(const QByteArray &bytes, QList<OpenAirAirspace> *out, int *skipped);
// The <ASP> elements of an ".aip" XML export; a document cut short or damaged gives the airspaces
// before the fault and counts the rest as one.
QString readOpenAipXml(const QByteArray &bytes, QList<OpenAirAirspace> *out, int *skipped);
