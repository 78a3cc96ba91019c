#include "map/labellayer.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <QtMath>

#include <algorithm>

namespace {

constexpr int kCellPx = 4;
constexpr double kGapPx = 2.0;

struct RoleStyle
{
    int pixelSize;
    bool bold;
    bool italic;
    bool boxed;  // text on a filled tag instead of a halo
    bool framed; // halo-coloured box with an ink frame
};

RoleStyle styleOf(LabelCache::Role role)
{
    switch (role) {
    case LabelCache::Role::Airport:
        return {12, true, false, false, false};
    case LabelCache::Role::AirportDetail:
        return {10, false, false, false, false};
    case LabelCache::Role::Navaid:
        return {10, true, false, false, true};
    case LabelCache::Role::NavaidIdent:
        return {10, true, false, false, false};
    case LabelCache::Role::Fix:
        return {9, false, false, false, false};
    case LabelCache::Role::Airway:
        return {9, true, false, true, false};
    case LabelCache::Role::Airspace:
        return {10, false, true, false, false};
    case LabelCache::Role::Runway:
        return {10, true, false, false, false};
    case LabelCache::Role::Taxiway:
        return {10, true, false, true, false};
    case LabelCache::Role::Parking:
        return {9, false, false, false, false};
    case LabelCache::Role::DataBlock:
        return {11, true, false, false, false};
    }
    return {10, false, false, false, false};
}

QFont fontOf(const RoleStyle &style)
{
    QFont font(QStringLiteral("Monospace"));
    font.setStyleHint(QFont::TypeWriter);
    font.setPixelSize(style.pixelSize);
    font.setBold(style.bold);
    font.setItalic(style.italic);
    return font;
}

} // namespace

void LabelCache::setHalo(const QColor &halo)
{
    if (halo != m_halo) {
        m_halo = halo;
        m_cache.clear();
        m_changing.clear();
    }
}

void LabelCache::setDevicePixelRatio(qreal ratio)
{
    if (!qFuzzyCompare(ratio, m_ratio)) {
        m_ratio = ratio;
        m_cache.clear();
        m_changing.clear();
    }
}

const QPixmap &LabelCache::label(Role role, const QColor &ink, const QString &text)
{
    QString key = QString::number(int(role)) + QLatin1Char('/') + QString::number(ink.rgba(), 16) + QLatin1Char('/');
    key += text;
    QHash<QString, QPixmap> &cache = role == Role::DataBlock ? m_changing : m_cache;
    auto it = cache.find(key);
    if (it != cache.end())
        return it.value();
    if (cache.size() >= (role == Role::DataBlock ? kMaxChangingEntries : kMaxEntries))
        cache.clear();
    return cache.insert(key, render(role, ink, text)).value();
}

QPixmap LabelCache::render(Role role, const QColor &ink, const QString &text) const
{
    const RoleStyle style = styleOf(role);
    const QFont font = fontOf(style);
    const QFontMetricsF metrics(font);
    const QStringList lines = text.split(QLatin1Char('\n'));
    double width = 0.0;
    for (const QString &line : lines)
        width = std::max(width, metrics.horizontalAdvance(line));
    const double lineHeight = metrics.height();
    const double pad = style.boxed || style.framed ? 3.0 : 2.0;
    const QSizeF size(width + 2 * pad, lineHeight * lines.size() + 2 * pad - (style.boxed ? 1.0 : 0.0));

    QPixmap pixmap(qCeil(size.width() * m_ratio), qCeil(size.height() * m_ratio));
    pixmap.setDevicePixelRatio(m_ratio);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    const QRectF box(0.5, 0.5, size.width() - 1.0, size.height() - 1.0);
    QColor textColour = ink;
    if (style.boxed) {
        p.setPen(Qt::NoPen);
        p.setBrush(ink);
        p.drawRoundedRect(box, 3.0, 3.0);
        textColour = ink.lightness() > 150 ? QColor(20, 20, 28) : QColor(255, 255, 255);
    } else if (style.framed) {
        p.setPen(QPen(ink, 1.0));
        p.setBrush(m_halo);
        p.drawRect(box);
    }

    QPainterPath path;
    for (int i = 0; i < lines.size(); ++i) {
        const double x = pad + (width - metrics.horizontalAdvance(lines.at(i))) / 2.0;
        path.addText(QPointF(x, pad + metrics.ascent() + i * lineHeight - (style.boxed ? 0.5 : 0.0)), font,
                     lines.at(i));
    }
    if (!style.boxed && !style.framed) {
        p.setPen(QPen(m_halo, 3.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        p.setBrush(Qt::NoBrush);
        p.drawPath(path);
    }
    p.setPen(Qt::NoPen);
    p.setBrush(textColour);
    p.drawPath(path);
    return pixmap;
}

LabelLayer::LabelLayer(LabelCache *cache, const QSize &area)
    : m_cache(cache), m_area(area), m_columns(std::max(1, (area.width() + kCellPx - 1) / kCellPx)),
      m_rows(std::max(1, (area.height() + kCellPx - 1) / kCellPx)), m_taken(size_t(m_columns) * m_rows, 0)
{
}

QRect LabelLayer::cellsOf(const QRectF &rect) const
{
    const int left = std::max(0, int(std::floor(rect.left() / kCellPx)));
    const int top = std::max(0, int(std::floor(rect.top() / kCellPx)));
    const int right = std::min(m_columns - 1, int(std::floor(rect.right() / kCellPx)));
    const int bottom = std::min(m_rows - 1, int(std::floor(rect.bottom() / kCellPx)));
    return QRect(QPoint(left, top), QPoint(right, bottom));
}

bool LabelLayer::isFree(const QRect &cells) const
{
    for (int row = cells.top(); row <= cells.bottom(); ++row) {
        const unsigned char *line = m_taken.data() + size_t(row) * m_columns;
        for (int column = cells.left(); column <= cells.right(); ++column) {
            if (line[column])
                return false;
        }
    }
    return true;
}

void LabelLayer::occupy(const QRect &cells)
{
    for (int row = cells.top(); row <= cells.bottom(); ++row)
        std::fill_n(m_taken.begin() + qsizetype(row) * m_columns + cells.left(), cells.width(), 1);
}

void LabelLayer::reserve(const QRectF &rect)
{
    const QRect cells = cellsOf(rect);
    if (cells.isValid())
        occupy(cells);
}

void LabelLayer::add(int priority, const QPointF &anchor, double symbolRadiusPx, LabelCache::Role role,
                     const QColor &ink, const QString &text, Placement placement)
{
    m_pending.push_back({priority, int(m_pending.size()), anchor, symbolRadiusPx, false, placement, role, ink, text});
}

void LabelLayer::addCentred(int priority, const QPointF &centre, LabelCache::Role role, const QColor &ink,
                            const QString &text)
{
    m_pending.push_back({priority, int(m_pending.size()), centre, 0.0, true, Placement::RightFirst, role, ink, text});
}

int LabelLayer::flush(QPainter *painter)
{
    std::stable_sort(m_pending.begin(), m_pending.end(),
                     [](const Pending &a, const Pending &b) { return a.priority < b.priority; });
    const QRectF area(0, 0, m_area.width(), m_area.height());
    int drawn = 0;
    for (const Pending &label : m_pending) {
        const QPixmap &pixmap = m_cache->label(label.role, label.ink, label.text);
        const QSizeF size = QSizeF(pixmap.size()) / pixmap.devicePixelRatio();
        QPointF candidates[4];
        int count = 0;
        if (label.centred) {
            candidates[count++] = label.anchor - QPointF(size.width() / 2.0, size.height() / 2.0);
        } else {
            const double r = label.radius + kGapPx;
            const QPointF a = label.anchor;
            if (label.placement == Placement::BelowFirst)
                candidates[count++] = QPointF(a.x() - size.width() / 2.0, a.y() + r);
            candidates[count++] = QPointF(a.x() + r, a.y() - size.height() / 2.0);
            candidates[count++] = QPointF(a.x() - r - size.width(), a.y() - size.height() / 2.0);
            candidates[count++] = QPointF(a.x() - size.width() / 2.0, a.y() - r - size.height());
            if (label.placement == Placement::RightFirst)
                candidates[count++] = QPointF(a.x() - size.width() / 2.0, a.y() + r);
        }
        for (int i = 0; i < count; ++i) {
            const QRectF rect(QPointF(std::round(candidates[i].x()), std::round(candidates[i].y())), size);
            if (!area.contains(rect))
                continue;
            const QRect cells = cellsOf(rect);
            if (!isFree(cells))
                continue;
            occupy(cells);
            painter->drawPixmap(rect.topLeft().toPoint(), pixmap);
            ++drawn;
            break;
        }
    }
    m_pending.clear();
    return drawn;
}
