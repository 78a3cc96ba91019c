#include "supervision/sectorfile.h"

#include <algorithm>
#include <cmath>

namespace {

QRectF boundsOf(const QList<QPointF> &points)
{
    if (points.isEmpty())
        return {};
    double minLat = points.first().x(), maxLat = minLat;
    double minLon = points.first().y(), maxLon = minLon;
    for (const QPointF &p : points) {
        minLat = std::min(minLat, p.x());
        maxLat = std::max(maxLat, p.x());
        minLon = std::min(minLon, p.y());
        maxLon = std::max(maxLon, p.y());
    }
    return QRectF(QPointF(minLat, minLon), QPointF(maxLat, maxLon));
}

// Union that also keeps rectangles without area (a line along a meridian).
QRectF unite(const QRectF &a, const QRectF &b)
{
    if (a.isNull() && a.topLeft().isNull())
        return b;
    return QRectF(QPointF(std::min(a.left(), b.left()), std::min(a.top(), b.top())),
                  QPointF(std::max(a.right(), b.right()), std::max(a.bottom(), b.bottom())));
}

// Even-odd crossing test; longitude differences across the antimeridian are taken the short way.
bool ringContains(const QList<QPointF> &ring, double lat, double lon)
{
    bool inside = false;
    const qsizetype n = ring.size();
    for (qsizetype i = 0, j = n - 1; i < n; j = i++) {
        const double latI = ring.at(i).x();
        const double latJ = ring.at(j).x();
        if ((latI > lat) == (latJ > lat))
            continue;
        double lonI = ring.at(i).y() - lon;
        double lonJ = ring.at(j).y() - lon;
        lonI -= 360.0 * std::round(lonI / 360.0);
        lonJ -= 360.0 * std::round(lonJ / 360.0);
        const double crossLon = lonJ + (lat - latJ) * (lonI - lonJ) / (latI - latJ);
        if (crossLon > 0.0)
            inside = !inside;
    }
    return inside;
}

} // namespace

bool SectorArea::contains(double lat, double lon) const
{
    if (lat < bounds.left() || lat > bounds.right())
        return false;
    // Rings that cross the antimeridian have bounds spanning the globe; the ring test decides.
    if (bounds.height() < 180.0 && (lon < bounds.top() || lon > bounds.bottom()))
        return false;
    for (const QList<QPointF> &ring : rings) {
        if (ringContains(ring, lat, lon))
            return true;
    }
    return false;
}

void SectorArea::finish()
{
    bounds = QRectF();
    areaSqDeg = 0.0;
    for (const QList<QPointF> &ring : std::as_const(rings)) {
        bounds = unite(bounds, boundsOf(ring));
        double twice = 0.0;
        for (qsizetype i = 0, j = ring.size() - 1; i < ring.size(); j = i++)
            twice += ring.at(j).y() * ring.at(i).x() - ring.at(i).y() * ring.at(j).x();
        areaSqDeg += std::abs(twice) / 2.0;
    }
}

void SectorParseReport::skip(int lineNumber, const QString &why)
{
    ++skippedCount;
    if (reasons.size() < kMaxReasons)
        reasons.append(QStringLiteral("line %1: %2").arg(lineNumber).arg(why));
}

void SectorParseReport::merge(const SectorParseReport &other, const QString &name)
{
    lineCount += other.lineCount;
    skippedCount += other.skippedCount;
    for (const QString &reason : other.reasons) {
        if (reasons.size() >= kMaxReasons)
            break;
        reasons.append(QStringLiteral("%1 %2").arg(name, reason));
    }
}

int SectorFile::segmentCount(SectorLine::Kind kind) const
{
    qsizetype segments = 0;
    for (const SectorLine &line : lines) {
        if (line.kind == kind)
            segments += std::max<qsizetype>(0, line.points.size() - 1);
    }
    return int(segments);
}

int SectorFile::count(SectorPoint::Kind kind) const
{
    return int(std::count_if(points.cbegin(), points.cend(), [kind](const SectorPoint &p) { return p.kind == kind; }));
}

void SectorFile::finish()
{
    bounds = QRectF();
    for (const SectorLine &line : std::as_const(lines))
        bounds = unite(bounds, boundsOf(line.points));
    for (const SectorRegion &region : std::as_const(regions))
        bounds = unite(bounds, boundsOf(region.points));
    for (SectorArea &area : areas) {
        area.finish();
        bounds = unite(bounds, area.bounds);
    }
}
