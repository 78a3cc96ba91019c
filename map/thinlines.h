#pragma once

#include <QColor>
#include <QLineF>
#include <QVector>

class QPainter;

// One-pixel, opaque, non-antialiased lines written straight into the 32-bit image a painter
// draws on. The raster engine's own thin-line path costs several nanoseconds per pixel (spans,
// blending, its thread pool); at small map scales a view can hold hundreds of thousands of
// pixels of airway, so the map draws those itself.
//
// Stateless. Applies only when the painter draws on a QImage in RGB32 or premultiplied ARGB32
// format at device pixel ratio 1, untransformed, unclipped, in SourceOver mode, and the colour is
// opaque; otherwise draw() returns false and the caller uses QPainter as usual.
class ThinLines
{
public:
    ThinLines() = delete;

    static bool draw(QPainter *painter, const QVector<QLineF> &lines, const QColor &colour);
};
