#include "supervision/eseparser.h"

#include "nav/geodesy.h"
#include "supervision/sctparser.h"

#include <QMap>
#include <QSet>
#include <QStringList>

#include <cmath>

namespace {

constexpr double kEarthRadiusNm = 3440.065;
constexpr int kCirclePoints = 72;
// Border lines meet where their end points agree this closely (degrees).
constexpr double kJoinToleranceDeg = 1e-6;

enum class Section { None, Positions, SidsStars, Freetext, Airspace, Other };

Section sectionOf(const QString &header)
{
    const QString name = header.mid(1, header.indexOf(QLatin1Char(']')) - 1).trimmed().toUpper();
    if (name == QLatin1String("POSITIONS"))
        return Section::Positions;
    if (name == QLatin1String("SIDSSTARS"))
        return Section::SidsStars;
    if (name == QLatin1String("FREETEXT"))
        return Section::Freetext;
    if (name == QLatin1String("AIRSPACE"))
        return Section::Airspace;
    return Section::Other;
}

struct PendingSector
{
    SectorArea area;
    QStringList borders;
    QStringList owners;
    int lineNumber = 0;
};

struct Reader
{
    SectorFile *file = nullptr;
    const QHash<QString, QPointF> *fixes = nullptr;
    QPointF offset;
    QMap<QString, QList<QPointF>> sectorLines;
    QString currentLine;
    QList<PendingSector> sectors;

    bool coordinate(const QString &lat, const QString &lon, QPointF *p) const
    {
        if (!SctParser::parseCoordinate(lat, lon, p))
            return false;
        *p += offset;
        return true;
    }

    void readOffset(const QStringList &f, int lineNumber)
    {
        QPointF a;
        QPointF b;
        bool okLat = false;
        bool okLon = false;
        if (f.size() == 3) {
            const double dLat = f.at(1).toDouble(&okLat);
            const double dLon = f.at(2).toDouble(&okLon);
            if (okLat && okLon) {
                offset = QPointF(dLat, dLon);
                return;
            }
        } else if (f.size() == 5 && SctParser::parseCoordinate(f.at(1), f.at(2), &a) &&
                   SctParser::parseCoordinate(f.at(3), f.at(4), &b)) {
            offset = b - a;
            return;
        }
        file->report.skip(lineNumber, QStringLiteral("unreadable OFFSET"));
    }

    void readPosition(const QStringList &f, int lineNumber)
    {
        // Name to suffix are required; squawk range and visibility centres are optional (ATIS
        // positions stop after the suffix and its two unused fields).
        if (f.size() < 7) {
            file->report.skip(lineNumber, QStringLiteral("position with %1 fields").arg(f.size()));
            return;
        }
        SectorPosition position{f.at(0), f.at(1), f.at(2), f.at(3), f.at(5), f.at(4), f.at(6), {}, {}};
        for (qsizetype i = 11; i + 1 < f.size(); i += 2) {
            QPointF p;
            if (coordinate(f.at(i), f.at(i + 1), &p))
                position.visibilityCentres.append(p);
        }
        file->positions.append(position);
    }

    void readFreetext(const QStringList &f, int lineNumber)
    {
        QPointF p;
        if (f.size() < 3 || !coordinate(f.at(0), f.at(1), &p)) {
            file->report.skip(lineNumber, QStringLiteral("unreadable free text"));
            return;
        }
        // lat:lon:group:text, or lat:lon:text without a group.
        const QString text = f.size() >= 4 ? f.mid(3).join(QLatin1Char(':')) : f.at(2);
        file->labels.append({text, QColor(), p});
    }

    void readCircle(const QStringList &f, int lineNumber)
    {
        // CIRCLE_SECTORLINE:name:centre:radius or CIRCLE_SECTORLINE:name:lat:lon:radius.
        QPointF centre;
        bool ok = false;
        double radiusNm = 0.0;
        if (f.size() == 4) {
            centre = fixes->value(f.at(2).toUpper(), QPointF(1000, 1000));
            radiusNm = f.at(3).toDouble(&ok);
            if (centre.x() > 900.0) {
                file->report.skip(lineNumber, QStringLiteral("circle around unknown fix %1").arg(f.at(2)));
                return;
            }
        } else if (f.size() == 5 && coordinate(f.at(2), f.at(3), &centre)) {
            radiusNm = f.at(4).toDouble(&ok);
        }
        if (!ok || radiusNm <= 0.0 || radiusNm > 1000.0) {
            file->report.skip(lineNumber, QStringLiteral("unreadable circle"));
            return;
        }
        QList<QPointF> ring;
        for (int i = 0; i <= kCirclePoints; ++i) {
            double lat = 0.0;
            double lon = 0.0;
            geodesy::destination(centre.x(), centre.y(), 360.0 * i / kCirclePoints, radiusNm, kEarthRadiusNm, &lat,
                                 &lon);
            // Kept beside the centre's longitude, so a circle across 180 degrees stays one ring.
            ring.append(QPointF(lat, centre.y() + std::remainder(lon - centre.y(), 360.0)));
        }
        sectorLines.insert(f.at(1), ring);
    }

    void readAirspace(const QStringList &f, int lineNumber)
    {
        const QString keyword = f.first().toUpper();
        if (keyword == QLatin1String("SECTORLINE") && f.size() >= 2) {
            currentLine = f.at(1);
            sectorLines.insert(currentLine, {});
        } else if (keyword == QLatin1String("CIRCLE_SECTORLINE")) {
            currentLine.clear();
            readCircle(f, lineNumber);
        } else if (keyword == QLatin1String("COORD")) {
            QPointF p;
            if (f.size() < 3 || currentLine.isEmpty() || !coordinate(f.at(1), f.at(2), &p))
                file->report.skip(lineNumber, QStringLiteral("unreadable COORD"));
            else
                sectorLines[currentLine].append(p);
        } else if (keyword == QLatin1String("SECTOR")) {
            readSector(f, lineNumber);
        } else if (keyword == QLatin1String("OWNER") && !sectors.isEmpty()) {
            sectors.last().owners = f.mid(1);
        } else if (keyword == QLatin1String("BORDER") && !sectors.isEmpty()) {
            sectors.last().borders += f.mid(1);
        } else if (!isKnownKeyword(keyword)) {
            file->report.skip(lineNumber, QStringLiteral("unknown keyword %1").arg(f.first()));
        }
    }

    void readSector(const QStringList &f, int lineNumber)
    {
        bool okFloor = false;
        bool okCeiling = false;
        const int floorFt = f.value(2).toInt(&okFloor);
        const int ceilingFt = f.value(3).toInt(&okCeiling);
        currentLine.clear();
        if (f.size() < 4 || !okFloor || !okCeiling || floorFt > ceilingFt) {
            file->report.skip(lineNumber, QStringLiteral("unreadable SECTOR"));
            return;
        }
        PendingSector sector;
        sector.area.name = f.at(1);
        sector.area.kind = QStringLiteral("SECTOR");
        sector.area.floorFt = floorFt;
        sector.area.ceilingFt = ceilingFt;
        sector.lineNumber = lineNumber;
        sectors.append(sector);
    }

    static bool isKnownKeyword(const QString &keyword)
    {
        static const QSet<QString> known = {QStringLiteral("DISPLAY"),  QStringLiteral("ALTOWNER"),
                                            QStringLiteral("DEPAPT"),   QStringLiteral("ARRAPT"),
                                            QStringLiteral("ACTIVE"),   QStringLiteral("COPX"),
                                            QStringLiteral("FIR_COPX"), QStringLiteral("MSAW"),
                                            QStringLiteral("EXIT"),     QStringLiteral("DISPLAY_SECTORLINE"),
                                            QStringLiteral("GUEST"),    QStringLiteral("OWNER"),
                                            QStringLiteral("BORDER")};
        return known.contains(keyword);
    }

    static bool near(const QPointF &a, const QPointF &b)
    {
        return std::abs(a.x() - b.x()) < kJoinToleranceDeg && std::abs(a.y() - b.y()) < kJoinToleranceDeg;
    }

    // Joins the border lines end to end, turning a line round where it runs the other way.
    QList<QPointF> chain(PendingSector &sector)
    {
        QList<QList<QPointF>> parts;
        for (const QString &name : std::as_const(sector.borders)) {
            const auto found = sectorLines.constFind(name);
            if (found == sectorLines.constEnd() || found.value().size() < 2) {
                file->report.skip(sector.lineNumber,
                                  QStringLiteral("sector %1: unknown border line %2").arg(sector.area.name, name));
                continue;
            }
            parts.append(found.value());
        }
        QList<QPointF> ring;
        while (!parts.isEmpty()) {
            qsizetype pick = 0;
            bool reverse = false;
            if (!ring.isEmpty()) {
                for (qsizetype i = 0; i < parts.size(); ++i) {
                    if (near(parts.at(i).first(), ring.last())) {
                        pick = i;
                        break;
                    }
                    if (near(parts.at(i).last(), ring.last())) {
                        pick = i;
                        reverse = true;
                        break;
                    }
                }
            }
            QList<QPointF> part = parts.takeAt(pick);
            if (reverse)
                std::reverse(part.begin(), part.end());
            if (!ring.isEmpty() && near(part.first(), ring.last()))
                part.removeFirst();
            ring += part;
        }
        return ring;
    }
};

} // namespace

QHash<QString, QPointF> EseParser::fixIndex(const SectorFile &sct)
{
    QHash<QString, QPointF> index;
    for (const SectorPoint &point : sct.points) {
        if (!index.contains(point.ident))
            index.insert(point.ident, point.position);
    }
    return index;
}

SectorFile EseParser::parse(const QByteArray &bytes, const QString &path, const QHash<QString, QPointF> &fixes)
{
    SectorFile file;
    file.path = path;
    file.format = SectorFile::Format::Ese;
    Reader reader;
    reader.file = &file;
    reader.fixes = &fixes;

    const QStringList lines = SctParser::decodeText(bytes).split(QLatin1Char('\n'));
    file.report.lineCount = int(lines.size());
    Section section = Section::None;
    for (int i = 0; i < lines.size(); ++i) {
        const QString text = SctParser::stripComment(lines.at(i)).trimmed();
        // Files in the wild frame their parts with banners of '*' rows; they hold nothing.
        if (text.isEmpty() || text.startsWith(QLatin1Char('*')))
            continue;
        if (text.startsWith(QLatin1Char('['))) {
            section = sectionOf(text);
            continue;
        }
        const QStringList f = text.split(QLatin1Char(':'));
        if (f.first().compare(QLatin1String("OFFSET"), Qt::CaseInsensitive) == 0) {
            reader.readOffset(f, i + 1);
            continue;
        }
        switch (section) {
        case Section::Positions:
            reader.readPosition(f, i + 1);
            break;
        case Section::SidsStars:
            if (f.first() == QLatin1String("SID") || f.first() == QLatin1String("STAR"))
                ++file.procedureCount;
            else
                file.report.skip(i + 1, QStringLiteral("unreadable SID/STAR"));
            break;
        case Section::Freetext:
            reader.readFreetext(f, i + 1);
            break;
        case Section::Airspace:
            reader.readAirspace(f, i + 1);
            break;
        case Section::None:
            file.report.skip(i + 1, QStringLiteral("outside any section"));
            break;
        case Section::Other:
            break;
        }
    }

    for (PendingSector &sector : reader.sectors) {
        const QList<QPointF> ring = reader.chain(sector);
        if (ring.size() < 3) {
            file.report.skip(sector.lineNumber, QStringLiteral("sector %1 has no outline").arg(sector.area.name));
            continue;
        }
        sector.area.rings.append(ring);
        sector.area.owners = sector.owners;
        file.areas.append(sector.area);
    }
    file.finish();
    return file;
}
