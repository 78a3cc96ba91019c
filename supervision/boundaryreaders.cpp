#include "supervision/boundaryreaders.h"

#include "nav/openairparser.h"
#include "supervision/sctparser.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace {

// One ring of [lon, lat] pairs; false when any pair is not two finite numbers in range.
bool readRing(const QJsonArray &pairs, QList<QPointF> *ring)
{
    for (const QJsonValue &value : pairs) {
        const QJsonArray pair = value.toArray();
        if (pair.size() < 2 || !pair.at(0).isDouble() || !pair.at(1).isDouble())
            return false;
        const double lon = pair.at(0).toDouble();
        const double lat = pair.at(1).toDouble();
        if (!std::isfinite(lat) || !std::isfinite(lon) || std::abs(lat) > 90.0 || std::abs(lon) > 180.0)
            return false;
        ring->append(QPointF(lat, lon));
    }
    return ring->size() >= 3;
}

bool readFeature(const QJsonObject &feature, SectorFile &file)
{
    const QJsonObject geometry = feature.value(QLatin1String("geometry")).toObject();
    const QString type = geometry.value(QLatin1String("type")).toString();
    const QJsonArray coordinates = geometry.value(QLatin1String("coordinates")).toArray();
    QList<QJsonArray> polygons;
    if (type == QLatin1String("Polygon")) {
        polygons.append(coordinates);
    } else if (type == QLatin1String("MultiPolygon")) {
        for (const QJsonValue &polygon : coordinates)
            polygons.append(polygon.toArray());
    } else {
        return false;
    }
    const QJsonObject properties = feature.value(QLatin1String("properties")).toObject();
    SectorArea area;
    const QString id = properties.value(QLatin1String("id")).toString();
    const QJsonArray prefixes = properties.value(QLatin1String("prefix")).toArray();
    if (prefixes.isEmpty()) {
        area.kind = QStringLiteral("FIR");
        area.name = id;
        area.owners.append(id);
    } else {
        area.kind = QStringLiteral("TRACON");
        for (const QJsonValue &prefix : prefixes)
            area.owners.append(prefix.toString());
        const QString name = properties.value(QLatin1String("name")).toString(id);
        area.name = QStringLiteral("%1 (%2)").arg(name, area.owners.join(QLatin1Char('/')));
    }
    for (const QJsonArray &polygon : std::as_const(polygons)) {
        QList<QPointF> ring;
        // The outer ring only: these boundaries carry no holes worth drawing.
        if (polygon.isEmpty() || !readRing(polygon.first().toArray(), &ring))
            return false;
        area.rings.append(ring);
    }
    if (area.rings.isEmpty())
        return false;
    file.areas.append(area);
    return true;
}

// The complete {…} objects of the "features" array, as byte ranges, for a collection that does
// not parse whole. Stops at the first object that is not closed.
QList<QByteArray> featureObjects(const QByteArray &bytes)
{
    QList<QByteArray> objects;
    const qsizetype key = bytes.indexOf("\"features\"");
    qsizetype pos = key < 0 ? -1 : bytes.indexOf('[', key);
    if (pos < 0)
        return objects;
    ++pos;
    while (pos < bytes.size()) {
        const char ch = bytes.at(pos);
        if (ch == ']')
            break;
        if (ch != '{') {
            ++pos;
            continue;
        }
        int depth = 0;
        bool inString = false;
        qsizetype end = pos;
        for (; end < bytes.size(); ++end) {
            const char c = bytes.at(end);
            if (inString) {
                if (c == '\\')
                    ++end;
                else if (c == '"')
                    inString = false;
            } else if (c == '"') {
                inString = true;
            } else if (c == '{') {
                ++depth;
            } else if (c == '}' && --depth == 0) {
                break;
            }
        }
        if (end >= bytes.size()) {
            objects.append(bytes.mid(pos)); // the cut-off last one, counted as damaged
            break;
        }
        objects.append(bytes.mid(pos, end - pos + 1));
        pos = end + 1;
    }
    return objects;
}

} // namespace

SectorFile BoundaryReaders::readGeoJson(const QByteArray &bytes, const QString &path)
{
    SectorFile file;
    file.path = path;
    file.format = SectorFile::Format::GeoJson;
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    const QJsonObject root = document.object();
    if (error.error == QJsonParseError::NoError &&
        root.value(QLatin1String("type")).toString() == QLatin1String("Feature")) {
        file.report.lineCount = 1;
        if (!readFeature(root, file))
            file.report.skip(1, QStringLiteral("feature without a usable polygon"));
    } else if (error.error == QJsonParseError::NoError && root.value(QLatin1String("features")).isArray()) {
        const QJsonArray features = root.value(QLatin1String("features")).toArray();
        file.report.lineCount = int(features.size());
        for (qsizetype i = 0; i < features.size(); ++i) {
            if (!readFeature(features.at(i).toObject(), file))
                file.report.skip(int(i + 1), QStringLiteral("feature without a usable polygon"));
        }
    } else {
        // Damaged JSON: keep every feature that is intact on its own.
        const QList<QByteArray> objects = featureObjects(bytes);
        if (objects.isEmpty()) {
            file.error = QStringLiteral("not GeoJSON: %1 at byte %2").arg(error.errorString()).arg(error.offset);
            return file;
        }
        file.report.lineCount = int(objects.size());
        for (qsizetype i = 0; i < objects.size(); ++i) {
            const QJsonDocument one = QJsonDocument::fromJson(objects.at(i));
            if (!one.isObject() || !readFeature(one.object(), file))
                file.report.skip(int(i + 1), QStringLiteral("damaged feature"));
        }
    }
    file.finish();
    return file;
}

SectorFile BoundaryReaders::readOpenAir(const QByteArray &bytes, const QString &path)
{
    SectorFile file;
    file.path = path;
    file.format = SectorFile::Format::OpenAir;
    OpenAirParser parser;
    const QStringList lines = SctParser::decodeText(bytes).split(QLatin1Char('\n'));
    file.report.lineCount = int(lines.size());
    for (const QString &line : lines)
        parser.addLine(line);
    parser.finish();
    for (const OpenAirAirspace &airspace : parser.takeAirspaces()) {
        SectorArea area;
        area.name = airspace.name;
        area.kind = airspace.type;
        area.floorFt = airspace.bottomFt;
        area.ceilingFt = airspace.topFt;
        area.rings.append(airspace.boundary);
        file.areas.append(area);
    }
    // The parser counts but does not place its skips; the totals are what the report can give.
    file.report.skippedCount = parser.skippedLines() + parser.skippedAirspaces();
    if (parser.skippedLines() > 0)
        file.report.reasons.append(QStringLiteral("%1 unreadable lines").arg(parser.skippedLines()));
    if (parser.skippedAirspaces() > 0)
        file.report.reasons.append(QStringLiteral("%1 airspaces dropped").arg(parser.skippedAirspaces()));
    file.finish();
    return file;
}

SectorFile BoundaryReaders::readVatSpy(const QByteArray &bytes, const QString &path)
{
    SectorFile file;
    file.path = path;
    file.format = SectorFile::Format::VatSpy;
    const QStringList lines = SctParser::decodeText(bytes).split(QLatin1Char('\n'));
    file.report.lineCount = int(lines.size());
    QString section;
    for (int i = 0; i < lines.size(); ++i) {
        const QString text = SctParser::stripComment(lines.at(i)).trimmed();
        if (text.isEmpty())
            continue;
        if (text.startsWith(QLatin1Char('['))) {
            section = text.toUpper();
            continue;
        }
        const QStringList f = text.split(QLatin1Char('|'));
        if (section == QLatin1String("[AIRPORTS]")) {
            bool okLat = false;
            bool okLon = false;
            const double lat = f.value(2).toDouble(&okLat);
            const double lon = f.value(3).toDouble(&okLon);
            if (f.size() < 6 || f.at(0).isEmpty() || !okLat || !okLon || std::abs(lat) > 90 || std::abs(lon) > 180) {
                file.report.skip(i + 1, QStringLiteral("unreadable airport"));
                continue;
            }
            for (const QString &id : {f.at(0), f.at(4)}) {
                if (!id.isEmpty())
                    file.positions.append({f.at(1),
                                           QString(),
                                           QString(),
                                           f.at(0),
                                           id,
                                           QString(),
                                           QString(),
                                           {QPointF(lat, lon)},
                                           QString()});
            }
        } else if (section == QLatin1String("[FIRS]")) {
            if (f.size() < 4 || f.at(0).isEmpty()) {
                file.report.skip(i + 1, QStringLiteral("unreadable FIR"));
                continue;
            }
            // Without a prefix of its own, a FIR is called by its ICAO code.
            const QString prefix = f.at(2).isEmpty() ? f.at(0) : f.at(2);
            file.positions.append({f.at(1),
                                   QString(),
                                   QString(),
                                   f.at(0),
                                   prefix,
                                   QString(),
                                   QStringLiteral("CTR"),
                                   {},
                                   f.at(3).isEmpty() ? f.at(0) : f.at(3)});
        }
    }
    file.finish();
    return file;
}
