#pragma once

#include "map/navoverlay.h"

// Fixes as triangles from zoom 7 (open for en-route fixes, filled for terminal ones), thinned
// to one per 8-pixel cell below zoom 9; identifiers from zoom 9, or earlier where few fixes show.
class WaypointOverlay : public NavOverlayPainter
{
public:
    WaypointOverlay() : NavOverlayPainter(QStringLiteral("waypoints"), NavOverlayZoom::kWaypoints) {}

protected:
    void paintLayer(QPainter *painter, const MapPaintContext &context) override;
};
