#pragma once

#include "map/navoverlay.h"

// Airports as chart symbols: a ring with ticks for hard-surfaced fields, an open ring otherwise,
// blue for towered and magenta for untowered fields, crossed by the longest runway's direction
// from zoom 8. From zoom 12 the runways themselves are drawn to scale and the ring gives way to
// them. Identifiers from zoom 6 (of the 60 most important airports up to zoom 7, 150 at zoom 8,
// all above), with the elevation from zoom 10.
//
// At most 200 airports are drawn up to zoom 7 and 500 above, the most important first (tower,
// hard surface, longest runway).
class AirportOverlay : public NavOverlayPainter
{
public:
    static constexpr int kCapUpToZoom7 = 200;
    static constexpr int kCapAbove = 500;

    AirportOverlay() : NavOverlayPainter(QStringLiteral("airports"), NavOverlayZoom::kNone) {}

    // How many airports a frame at this zoom draws at most.
    static int capForZoom(int zoom) { return zoom <= 7 ? kCapUpToZoom7 : kCapAbove; }

protected:
    void paintLayer(QPainter *painter, const MapPaintContext &context) override;
};
