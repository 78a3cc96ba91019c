#pragma once

#include "map/basemapdata.h"

#include <QByteArray>
#include <QString>

#include <optional>

// Turns one Natural Earth admin-0 countries file in TopoJSON (as the world-atlas package ships
// it: quantised, delta-encoded arcs, a "countries" and a "land" object over the same arcs) into
// one band of the station's offline base map: the land polygons, and as borders the arcs that two
// different countries share. Arcs are thinned with Douglas-Peucker at the given tolerance in the
// file's own quantisation units (0 keeps every point); arcs neither land nor border uses are
// dropped. Used at development time by zobrel-basemap.
namespace TopoJsonBands {

std::optional<BaseMapData::Band> readBand(const QByteArray &json, int minZoom, int maxZoom, int tolerance,
                                          QString *error);

} // namespace TopoJsonBands
