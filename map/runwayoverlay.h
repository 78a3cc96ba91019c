#pragma once

#include "map/navoverlay.h"

struct RunwayRecord;

// Runways to scale from zoom 8: the pavement from threshold to the far end at its true heading
// and width (at least two pixels), with a dashed centre line and the designators at the
// thresholds when zoomed in far enough.
class RunwayOverlay : public NavOverlayPainter
{
public:
    RunwayOverlay() : NavOverlayPainter(QStringLiteral("runways"), NavOverlayZoom::kRunways) {}

    // Position of the runway's far end, from its threshold along its heading for its length.
    static QPointF farEnd(const RunwayRecord &runway);

protected:
    void paintLayer(QPainter *painter, const MapPaintContext &context) override;
};

// ILS approach feathers from zoom 9: a narrow arrow of 10 NM from the threshold out along the
// approach course, half shaded as on approach charts, with the ILS identifier and frequency.
// A runway has an ILS when its record carries an ILS frequency, or when a localizer of the
// airport stands beyond its far end.
class IlsOverlay : public NavOverlayPainter
{
public:
    static constexpr double kFeatherLengthNm = 10.0;

    IlsOverlay() : NavOverlayPainter(QStringLiteral("ils"), NavOverlayZoom::kIls) {}

protected:
    void paintLayer(QPainter *painter, const MapPaintContext &context) override;
};
