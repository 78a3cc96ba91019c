#pragma once

#include "map/navoverlay.h"

// Airspaces from zoom 6, coloured by class as on aeronautical charts: controlled (A, B, CTA,
// TMA) blue, class C magenta, the lower classes and control zones dashed blue, restricted,
// prohibited and danger areas red and hatched. Boundaries from zoom 6; from zoom 8 each area is
// also filled with a translucent tint (or hatched) under its outline, with its name and
// vertical limits.
class AirspaceOverlay : public NavOverlayPainter
{
public:
    AirspaceOverlay() : NavOverlayPainter(QStringLiteral("airspaces"), NavOverlayZoom::kAirspaces) {}

protected:
    void paintLayer(QPainter *painter, const MapPaintContext &context) override;
};
