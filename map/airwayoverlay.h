#pragma once

#include "map/navoverlay.h"

// Airway segments of one level from zoom 7, in the level's colour (high airways lavender or
// violet, low airways teal), with the airway's name on a tag at the middle of segments long
// enough to carry it from zoom 8.
//
// Level "HIGH" is the layer "airways_high", "LOW" the layer "airways_low", anything else
// "airways" (every level). Segments of level "BOTH" belong to the high painter; the low painter
// draws them only while the high layer is hidden, so they are never drawn twice.
class AirwayOverlay : public NavOverlayPainter
{
public:
    explicit AirwayOverlay(const QString &level);

    QString level() const { return m_level; }
    static QString layerForLevel(const QString &level);

protected:
    void paintLayer(QPainter *painter, const MapPaintContext &context) override;

private:
    QString m_level;
};
