#pragma once

#include "map/navoverlay.h"

// Airport ground layouts from zoom 14: taxiways as wide lines along their edges with their
// names, and parking positions with theirs from zoom 16. Layouts are read on demand: an airport
// in view whose layout is not in memory is reported through MapPaintContext::diagramsWanted,
// and the widget asks the navigation data to load it after the frame.
class AirportDiagramOverlay : public NavOverlayPainter
{
public:
    AirportDiagramOverlay() : NavOverlayPainter(QStringLiteral("airport_diagram"), NavOverlayZoom::kAirportDiagram) {}

protected:
    void paintLayer(QPainter *painter, const MapPaintContext &context) override;
};
