#include "topojsonbands.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QSet>

#include <cmath>
#include <vector>

namespace {

int arcIndex(int reference)
{
    return reference < 0 ? ~reference : reference;
}

// Perpendicular distance of p from the line a-b (from a when a and b coincide), in units.
double offLine(const QPoint &p, const QPoint &a, const QPoint &b)
{
    const double dx = b.x() - a.x();
    const double dy = b.y() - a.y();
    const double length = std::hypot(dx, dy);
    if (length == 0.0)
        return std::hypot(double(p.x() - a.x()), double(p.y() - a.y()));
    return std::abs(dx * (p.y() - a.y()) - dy * (p.x() - a.x())) / length;
}

QList<QPoint> simplified(const QList<QPoint> &points, int tolerance)
{
    if (tolerance <= 0 || points.size() < 3)
        return points;
    std::vector<bool> keep(points.size(), false);
    keep.front() = keep.back() = true;
    std::vector<std::pair<qsizetype, qsizetype>> stack{{0, points.size() - 1}};
    while (!stack.empty()) {
        const auto [a, b] = stack.back();
        stack.pop_back();
        double worst = -1.0;
        qsizetype at = -1;
        for (qsizetype i = a + 1; i < b; ++i) {
            const double d = offLine(points.at(i), points.at(a), points.at(b));
            if (d > worst) {
                worst = d;
                at = i;
            }
        }
        if (at >= 0 && worst > tolerance) {
            keep[at] = true;
            stack.push_back({a, at});
            stack.push_back({at, b});
        }
    }
    QList<QPoint> out;
    for (qsizetype i = 0; i < points.size(); ++i) {
        if (keep[i])
            out.append(points.at(i));
    }
    return out;
}

// The rings of a Polygon or MultiPolygon geometry as lists of arc references.
QList<QList<QList<int>>> polygonsOf(const QJsonObject &geometry)
{
    QList<QList<QList<int>>> polygons;
    const QString type = geometry.value(QLatin1String("type")).toString();
    const QJsonArray arcs = geometry.value(QLatin1String("arcs")).toArray();
    const auto readPolygon = [](const QJsonArray &rings) {
        QList<QList<int>> polygon;
        for (const QJsonValue &ring : rings) {
            QList<int> refs;
            for (const QJsonValue &ref : ring.toArray())
                refs.append(ref.toInt());
            polygon.append(refs);
        }
        return polygon;
    };
    if (type == QLatin1String("Polygon")) {
        polygons.append(readPolygon(arcs));
    } else if (type == QLatin1String("MultiPolygon")) {
        for (const QJsonValue &polygon : arcs)
            polygons.append(readPolygon(polygon.toArray()));
    }
    return polygons;
}

QList<QJsonObject> geometriesOf(const QJsonObject &object)
{
    QList<QJsonObject> out;
    if (object.value(QLatin1String("type")).toString() == QLatin1String("GeometryCollection")) {
        for (const QJsonValue &g : object.value(QLatin1String("geometries")).toArray())
            out.append(g.toObject());
    } else {
        out.append(object);
    }
    return out;
}

} // namespace

std::optional<BaseMapData::Band> TopoJsonBands::readBand(const QByteArray &json, int minZoom, int maxZoom,
                                                         int tolerance, QString *error)
{
    QJsonParseError parseError;
    const QJsonObject topology = QJsonDocument::fromJson(json, &parseError).object();
    const QJsonObject objects = topology.value(QLatin1String("objects")).toObject();
    if (parseError.error != QJsonParseError::NoError || !objects.contains(QLatin1String("land")) ||
        !objects.contains(QLatin1String("countries"))) {
        if (error)
            *error = QStringLiteral("not a countries topology: %1").arg(parseError.errorString());
        return std::nullopt;
    }
    const QJsonObject transform = topology.value(QLatin1String("transform")).toObject();
    const QJsonArray scale = transform.value(QLatin1String("scale")).toArray();
    const QJsonArray translate = transform.value(QLatin1String("translate")).toArray();
    if (scale.size() != 2 || translate.size() != 2) {
        if (error)
            *error = QStringLiteral("the topology is not quantised");
        return std::nullopt;
    }

    // Absolute quantised points of every arc.
    QList<QList<QPoint>> arcs;
    for (const QJsonValue &arcValue : topology.value(QLatin1String("arcs")).toArray()) {
        QList<QPoint> arc;
        int x = 0;
        int y = 0;
        for (const QJsonValue &delta : arcValue.toArray()) {
            const QJsonArray d = delta.toArray();
            x += d.at(0).toInt();
            y += d.at(1).toInt();
            arc.append(QPoint(x, y));
        }
        arcs.append(arc);
    }

    QList<QList<QList<int>>> land;
    for (const QJsonObject &geometry : geometriesOf(objects.value(QLatin1String("land")).toObject()))
        land.append(polygonsOf(geometry));

    // Arcs used by two different countries are borders; coastlines belong to one country only.
    QHash<int, QSet<int>> users;
    const QList<QJsonObject> countries = geometriesOf(objects.value(QLatin1String("countries")).toObject());
    for (int c = 0; c < countries.size(); ++c) {
        for (const QList<QList<int>> &polygon : polygonsOf(countries.at(c))) {
            for (const QList<int> &ring : polygon) {
                for (const int ref : ring)
                    users[arcIndex(ref)].insert(c);
            }
        }
    }
    QList<int> borderArcs;
    for (auto it = users.cbegin(); it != users.cend(); ++it) {
        if (it.value().size() >= 2)
            borderArcs.append(it.key());
    }
    std::sort(borderArcs.begin(), borderArcs.end());

    // Keep only the arcs in use, numbered in first-use order, land first.
    QMap<int, int> renumbered;
    BaseMapData::Band band;
    const auto use = [&](int index) {
        auto found = renumbered.constFind(index);
        if (found != renumbered.constEnd())
            return found.value();
        const int number = int(band.quantised.size());
        renumbered.insert(index, number);
        band.quantised.append(simplified(arcs.value(index), tolerance));
        return number;
    };
    for (const QList<QList<int>> &polygon : land) {
        QList<QList<int>> out;
        for (const QList<int> &ring : polygon) {
            QList<int> refs;
            for (const int ref : ring) {
                const int number = use(arcIndex(ref));
                refs.append(ref < 0 ? ~number : number);
            }
            out.append(refs);
        }
        band.land.append(out);
    }
    for (const int index : std::as_const(borderArcs))
        band.borders.append(use(index));

    band.minZoom = minZoom;
    band.maxZoom = maxZoom;
    band.scaleLon = scale.at(0).toDouble();
    band.scaleLat = scale.at(1).toDouble();
    band.offsetLon = translate.at(0).toDouble();
    band.offsetLat = translate.at(1).toDouble();
    return band;
}
