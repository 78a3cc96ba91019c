#include "nav/airspaceboundary.h"

#include <QRegularExpression>
#include <QStringList>

QString formatAirspaceBoundary(const QList<QPointF> &latLonPoints)
{
    QString text;
    text.reserve(latLonPoints.size() * 24);
    for (const QPointF &p : latLonPoints) {
        if (!text.isEmpty())
            text.append(QLatin1Char(' '));
        text.append(QStringLiteral("%1,%2").arg(p.y(), 0, 'f', 6).arg(p.x(), 0, 'f', 6));
    }
    return text;
}

QList<QPointF> parseAirspaceBoundary(const QString &text)
{
    // Each point is written as "%1,%2" (longitude, latitude); writers differ in what separates
    // the points, so every number is taken in order and paired up.
    static const QRegularExpression kSeparators(QStringLiteral("[\\s,;|]+"));
    const QStringList parts = text.split(kSeparators, Qt::SkipEmptyParts);
    QList<QPointF> points;
    points.reserve(parts.size() / 2);
    for (int i = 0; i + 1 < parts.size(); i += 2) {
        bool okLon = false;
        bool okLat = false;
        const double lon = parts.at(i).toDouble(&okLon);
        const double lat = parts.at(i + 1).toDouble(&okLat);
        if (!okLon || !okLat)
            return {};
        points.append(QPointF(lat, lon));
    }
    return points;
}
