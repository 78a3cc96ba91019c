#pragma once

#include "map/navoverlay.h"

// Radio aids as chart symbols (VOR hexagon, VOR-DME in a square, VORTAC with lobes, DME square,
// NDB dotted circle). Below zoom 6 only the VOR family is shown, and symbols closer than a few
// pixels to one already drawn are skipped below zoom 8. VOR identifiers from zoom 7; every aid's
// identifier boxed with its frequency from zoom 9; a compass rose around VORs from zoom 10. ILS parts (localizers,
// glide slopes, markers) belong to the ILS layer and are not drawn here.
class NavaidOverlay : public NavOverlayPainter
{
public:
    NavaidOverlay() : NavOverlayPainter(QStringLiteral("navaids"), NavOverlayZoom::kNone) {}

protected:
    void paintLayer(QPainter *painter, const MapPaintContext &context) override;
};
