#pragma once

#include <QColor>
#include <QHash>
#include <QPixmap>
#include <QRectF>
#include <QString>

#include <vector>

class QPainter;

// Rendered map labels: text with a halo (or in a box) laid out once and kept as a pixmap, keyed
// by role, ink colour and text, so a frame only blits them. Fonts are of the family "Monospace".
//
// Owned by the map widget, GUI thread only. Bounded: when it holds more than kMaxEntries labels it
// starts over (data blocks, which change with every sample, after kMaxChangingEntries).
class LabelCache
{
public:
    enum class Role {
        Airport,       // bold identifier in the airport's colour
        AirportDetail, // smaller second line (name, elevation)
        Navaid,        // identifier and frequency in a box, chart style
        NavaidIdent,   // identifier alone, bold, for small scales
        Fix,           // small identifier
        Airway,        // airway name on a filled tag
        Airspace,      // name and limits, italic
        Runway,        // runway designator
        Taxiway,       // taxiway name on a tag
        Parking,       // stand name
        DataBlock,     // aircraft data blocks and route labels
    };
    static constexpr int kMaxEntries = 6000;
    static constexpr int kMaxChangingEntries = 200;

    // A different halo (light against dark styles) or ratio drops every label.
    void setHalo(const QColor &halo);
    void setDevicePixelRatio(qreal ratio);

    // The label pixmap; its reference stays valid until the next call.
    const QPixmap &label(Role role, const QColor &ink, const QString &text);

private:
    QPixmap render(Role role, const QColor &ink, const QString &text) const;

    QColor m_halo = Qt::white;
    qreal m_ratio = 1.0;
    QHash<QString, QPixmap> m_cache;
    // Data blocks change with every sample (altitude, speed): kept apart and small, so they
    // neither push the map's labels out nor pile up.
    QHash<QString, QPixmap> m_changing;
};

// One frame's labels. Painters queue labels with a priority (lower first) and may reserve the
// rectangles of their symbols; flush() then places the labels in priority order next to their
// anchor, trying right, left, above and below, and drops those that would overlap anything
// already placed. Occupancy is kept on a coarse grid of 4-pixel cells over the drawn area.
class LabelLayer
{
public:
    // Where a label beside a symbol is tried first: to its right (then left, above, below), or
    // below it (then right, left, above) for marks that sit on top of other labelled symbols.
    enum class Placement { RightFirst, BelowFirst };

    LabelLayer(LabelCache *cache, const QSize &area);

    // Marks a symbol's rectangle as taken right away.
    void reserve(const QRectF &rect);
    // Queues a label beside a symbol of the given radius around anchor.
    void add(int priority, const QPointF &anchor, double symbolRadiusPx, LabelCache::Role role, const QColor &ink,
             const QString &text, Placement placement = Placement::RightFirst);
    // Queues a label centred on the point (airway tags, airspace names).
    void addCentred(int priority, const QPointF &centre, LabelCache::Role role, const QColor &ink, const QString &text);
    // Draws what fits; returns the number of labels drawn.
    int flush(QPainter *painter);

    int pendingCount() const { return int(m_pending.size()); }

private:
    struct Pending
    {
        int priority;
        int order;
        QPointF anchor;
        double radius;
        bool centred;
        Placement placement;
        LabelCache::Role role;
        QColor ink;
        QString text;
    };
    bool isFree(const QRect &rect) const;
    void occupy(const QRect &rect);
    QRect cellsOf(const QRectF &rect) const;

    LabelCache *m_cache;
    QSize m_area;
    int m_columns;
    int m_rows;
    std::vector<unsigned char> m_taken;
    std::vector<Pending> m_pending;
};
