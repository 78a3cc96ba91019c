#include "map/mapsymbols.h"

#include <QPainter>
#include <QPainterPath>
#include <QtMath>

#include <cmath>

namespace {

constexpr int kNavaidSizePx = 22;
constexpr int kFixSizePx = 14;

QPolygonF hexagon(double radius)
{
    QPolygonF poly;
    for (int i = 0; i < 6; ++i) {
        const double a = qDegreesToRadians(60.0 * i);
        poly << QPointF(radius * std::cos(a), radius * std::sin(a));
    }
    return poly;
}

// Strokes the path twice: a wider halo, then the ink.
void strokeWithHalo(QPainter &p, const QPainterPath &path, const QColor &ink, const QColor &halo, double width)
{
    p.setBrush(Qt::NoBrush);
    p.setPen(QPen(halo, width + 2.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.drawPath(path);
    p.setPen(QPen(ink, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.drawPath(path);
}

QString colourKey(const QColor &c)
{
    return QString::number(c.rgba(), 16);
}

} // namespace

MapSymbols::NavaidKind MapSymbols::navaidKind(const QString &type)
{
    const QString t = type.toUpper();
    if (t.contains(QLatin1String("VORTAC")))
        return NavaidKind::Vortac;
    if (t.contains(QLatin1String("TACAN")))
        return NavaidKind::Tacan;
    if (t.contains(QLatin1String("NDB")))
        return t.contains(QLatin1String("DME")) ? NavaidKind::NdbDme : NavaidKind::Ndb;
    if (t.contains(QLatin1String("VOR")))
        return t.contains(QLatin1String("DME")) ? NavaidKind::VorDme : NavaidKind::Vor;
    if (t.contains(QLatin1String("DME")))
        return NavaidKind::Dme;
    return NavaidKind::Other;
}

void MapSymbols::setDevicePixelRatio(qreal ratio)
{
    if (!qFuzzyCompare(ratio, m_ratio)) {
        m_ratio = ratio;
        m_cache.clear();
    }
}

QPixmap MapSymbols::blank(int logicalPx) const
{
    QPixmap pixmap(qCeil(logicalPx * m_ratio), qCeil(logicalPx * m_ratio));
    pixmap.setDevicePixelRatio(m_ratio);
    pixmap.fill(Qt::transparent);
    return pixmap;
}

const QPixmap &MapSymbols::airport(const QColor &colour, bool hardSurface, double runwayHeadingDeg, int sizePx)
{
    const int bucket = runwayHeadingDeg < 0 ? -1 : int(std::lround(std::fmod(runwayHeadingDeg, 180.0) / 5.0)) % 36;
    const QString key =
        QStringLiteral("apt/%1/%2/%3/%4").arg(colourKey(colour)).arg(int(hardSurface)).arg(bucket).arg(sizePx);
    auto it = m_cache.find(key);
    if (it == m_cache.end())
        it = m_cache.insert(key, renderAirport(colour, hardSurface, bucket, sizePx));
    return it.value();
}

const QPixmap &MapSymbols::navaid(NavaidKind kind, const QColor &colour, const QColor &halo)
{
    const QString key = QStringLiteral("nav/%1/%2/%3").arg(int(kind)).arg(colourKey(colour), colourKey(halo));
    auto it = m_cache.find(key);
    if (it == m_cache.end())
        it = m_cache.insert(key, renderNavaid(kind, colour, halo));
    return it.value();
}

const QPixmap &MapSymbols::fix(FixKind kind, const QColor &colour, const QColor &halo)
{
    const QString key = QStringLiteral("fix/%1/%2/%3").arg(int(kind)).arg(colourKey(colour), colourKey(halo));
    auto it = m_cache.find(key);
    if (it == m_cache.end())
        it = m_cache.insert(key, renderFix(kind, colour, halo));
    return it.value();
}

void MapSymbols::draw(QPainter *painter, const QPointF &centre, const QPixmap &pixmap)
{
    const QSize size = logicalSize(pixmap);
    painter->drawPixmap(QPoint(qRound(centre.x() - size.width() / 2.0), qRound(centre.y() - size.height() / 2.0)),
                        pixmap);
}

QSize MapSymbols::logicalSize(const QPixmap &pixmap)
{
    return (QSizeF(pixmap.size()) / pixmap.devicePixelRatio()).toSize();
}

QPixmap MapSymbols::renderAirport(const QColor &colour, bool hardSurface, int headingBucket, int sizePx) const
{
    QPixmap pixmap = blank(sizePx);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.translate(sizePx / 2.0, sizePx / 2.0);
    const double radius = sizePx / 2.0 - 4.0;
    const QColor halo = colour.lightness() > 128 ? QColor(10, 16, 28, 200) : QColor(255, 255, 255, 220);

    QPainterPath ring;
    ring.addEllipse(QPointF(0, 0), radius, radius);
    if (hardSurface) {
        // Ticks outside the ring, as on the aeronautical chart's symbol for a field with services.
        for (int i = 0; i < 4; ++i) {
            const double a = qDegreesToRadians(45.0 + 90.0 * i);
            ring.moveTo(radius * std::cos(a), radius * std::sin(a));
            ring.lineTo((radius + 3.0) * std::cos(a), (radius + 3.0) * std::sin(a));
        }
    }
    strokeWithHalo(p, ring, colour, halo, hardSurface ? 2.0 : 1.4);

    if (headingBucket >= 0) {
        p.rotate(headingBucket * 5.0);
        const QRectF bar(-1.6, -radius + 1.5, 3.2, 2.0 * radius - 3.0);
        p.setPen(QPen(halo, 1.0));
        p.setBrush(colour);
        p.drawRoundedRect(bar, 1.0, 1.0);
    } else if (hardSurface) {
        p.setPen(Qt::NoPen);
        p.setBrush(colour);
        p.drawEllipse(QPointF(0, 0), 1.8, 1.8);
    }
    return pixmap;
}

QPixmap MapSymbols::renderNavaid(NavaidKind kind, const QColor &colour, const QColor &halo) const
{
    QPixmap pixmap = blank(kNavaidSizePx);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.translate(kNavaidSizePx / 2.0, kNavaidSizePx / 2.0);

    const bool ndb = kind == NavaidKind::Ndb || kind == NavaidKind::NdbDme;
    if (ndb) {
        // Rings of dots around a centre dot.
        p.setPen(Qt::NoPen);
        for (const double r : {3.6, 6.2, 8.8}) {
            const int dots = int(r * 2.2);
            for (int i = 0; i < dots; ++i) {
                const double a = 2.0 * M_PI * i / dots;
                const QPointF d(r * std::cos(a), r * std::sin(a));
                p.setBrush(halo);
                p.drawEllipse(d, 1.3, 1.3);
                p.setBrush(colour);
                p.drawEllipse(d, 0.75, 0.75);
            }
        }
    }

    QPainterPath path;
    if (kind == NavaidKind::Vor || kind == NavaidKind::VorDme || kind == NavaidKind::Vortac ||
        kind == NavaidKind::Tacan) {
        path.addPolygon(hexagon(5.5));
        path.closeSubpath();
    }
    if (kind == NavaidKind::VorDme || kind == NavaidKind::Dme || kind == NavaidKind::NdbDme)
        path.addRect(QRectF(-7.5, -6.5, 15.0, 13.0));
    if (kind == NavaidKind::Other)
        path.addEllipse(QPointF(0, 0), 5.0, 5.0);
    if (!path.isEmpty())
        strokeWithHalo(p, path, colour, halo, 1.5);

    if (kind == NavaidKind::Vortac || kind == NavaidKind::Tacan) {
        // Three lobes on alternate sides of the hexagon.
        p.setPen(QPen(halo, 1.0));
        p.setBrush(colour);
        for (int i = 0; i < 3; ++i) {
            p.save();
            p.rotate(90.0 + 120.0 * i);
            p.drawRect(QRectF(4.6, -2.8, 3.4, 5.6));
            p.restore();
        }
    }
    p.setPen(Qt::NoPen);
    p.setBrush(halo);
    p.drawEllipse(QPointF(0, 0), 2.0, 2.0);
    p.setBrush(colour);
    p.drawEllipse(QPointF(0, 0), 1.3, 1.3);
    return pixmap;
}

QPixmap MapSymbols::renderFix(FixKind kind, const QColor &colour, const QColor &halo) const
{
    QPixmap pixmap = blank(kFixSizePx);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.translate(kFixSizePx / 2.0, kFixSizePx / 2.0);
    const double r = kind == FixKind::Enroute ? 4.6 : 3.4;
    QPolygonF triangle;
    triangle << QPointF(0, -r) << QPointF(r * 0.866, r * 0.5) << QPointF(-r * 0.866, r * 0.5);
    QPainterPath path;
    path.addPolygon(triangle);
    path.closeSubpath();
    strokeWithHalo(p, path, colour, halo, 1.3);
    if (kind == FixKind::Terminal) {
        p.setPen(Qt::NoPen);
        p.setBrush(colour);
        p.drawPath(path);
    }
    return pixmap;
}
