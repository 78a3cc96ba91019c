#pragma once

#include "nav/openairparser.h"

#include <QByteArray>
#include <QList>

// Reads OpenAIP airspace exports into the same records as OpenAir files. Airspaces without a
// known type, either limit or three boundary points are counted in skipped and left out.

// The "items" of an API reply (or a bare array, or one airspace object).
void readOpenAipJson(const QByteArray &bytes, QList<OpenAirAirspace> *out, int *skipped);
// The <ASP> elements of an ".aip" XML export; a document cut short gives the airspaces before the
// cut and counts the rest as one.
void readOpenAipXml(const QByteArray &bytes, QList<OpenAirAirspace> *out, int *skipped);
