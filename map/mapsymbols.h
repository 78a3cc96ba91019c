#pragma once

#include <QColor>
#include <QHash>
#include <QPixmap>
#include <QPoint>

class QPainter;

// Pre-rendered chart symbols. Each symbol is drawn once per colour, kind, orientation and device
// pixel ratio into a small pixmap and then blitted, which is what keeps a frame with thousands of
// aids and fixes cheap.
//
// Owned by the map widget; GUI thread only. Pixmaps are centred on their reference point: draw
// them at the projected position minus half their size (see draw()).
class MapSymbols
{
public:
    enum class NavaidKind { Vor, VorDme, Vortac, Tacan, Dme, Ndb, NdbDme, Other };
    enum class FixKind { Enroute, Terminal };

    static NavaidKind navaidKind(const QString &type);

    void setDevicePixelRatio(qreal ratio);
    void clear() { m_cache.clear(); }

    // Civil airport: a ring (hard runway) with four ticks, or an open ring (soft), in the colour
    // for towered or untowered fields. With runwayHeadingDeg >= 0 a runway bar crosses it at that
    // true heading (rounded to 5 degrees).
    const QPixmap &airport(const QColor &colour, bool hardSurface, double runwayHeadingDeg, int sizePx);
    // VOR hexagon, VOR-DME hexagon in a square, VORTAC hexagon with three lobes, DME square,
    // NDB dotted circle.
    const QPixmap &navaid(NavaidKind kind, const QColor &colour, const QColor &halo);
    // Open triangle for en-route fixes, a smaller filled one for terminal fixes.
    const QPixmap &fix(FixKind kind, const QColor &colour, const QColor &halo);

    // Draws a symbol pixmap centred on the point (rounded to whole pixels to stay crisp).
    static void draw(QPainter *painter, const QPointF &centre, const QPixmap &pixmap);
    // Logical size of a symbol pixmap.
    static QSize logicalSize(const QPixmap &pixmap);

private:
    QPixmap blank(int logicalPx) const;
    QPixmap renderAirport(const QColor &colour, bool hardSurface, int headingBucket, int sizePx) const;
    QPixmap renderNavaid(NavaidKind kind, const QColor &colour, const QColor &halo) const;
    QPixmap renderFix(FixKind kind, const QColor &colour, const QColor &halo) const;

    qreal m_ratio = 1.0;
    QHash<QString, QPixmap> m_cache;
};
