#include "supervision/sctparser.h"

#include <QRegularExpression>
#include <QStringDecoder>

#include <optional>

namespace {

enum class Section { None, Info, Vor, Ndb, Airport, Runway, Fixes, Lines, Regions, Labels, Other };

struct SectionInfo
{
    Section section = Section::None;
    SectorLine::Kind lineKind = SectorLine::Kind::Geo;
};

SectionInfo sectionOf(const QString &header)
{
    const QString name = header.mid(1, header.indexOf(QLatin1Char(']')) - 1).trimmed().toUpper();
    static const QHash<QString, SectorLine::Kind> lineSections = {
        {QStringLiteral("ARTCC"), SectorLine::Kind::Artcc},
        {QStringLiteral("ARTCC HIGH"), SectorLine::Kind::ArtccHigh},
        {QStringLiteral("ARTCC LOW"), SectorLine::Kind::ArtccLow},
        {QStringLiteral("GEO"), SectorLine::Kind::Geo},
        {QStringLiteral("SID"), SectorLine::Kind::Sid},
        {QStringLiteral("STAR"), SectorLine::Kind::Star},
        {QStringLiteral("LOW AIRWAY"), SectorLine::Kind::LowAirway},
        {QStringLiteral("HIGH AIRWAY"), SectorLine::Kind::HighAirway},
    };
    const auto line = lineSections.constFind(name);
    if (line != lineSections.constEnd())
        return {Section::Lines, line.value()};
    static const QHash<QString, Section> others = {
        {QStringLiteral("INFO"), Section::Info},       {QStringLiteral("VOR"), Section::Vor},
        {QStringLiteral("NDB"), Section::Ndb},         {QStringLiteral("AIRPORT"), Section::Airport},
        {QStringLiteral("RUNWAY"), Section::Runway},   {QStringLiteral("FIXES"), Section::Fixes},
        {QStringLiteral("REGIONS"), Section::Regions}, {QStringLiteral("LABELS"), Section::Labels},
    };
    return {others.value(name, Section::Other), SectorLine::Kind::Geo};
}

std::optional<double> parseAngle(const QString &text, QChar positive, QChar negative, double limit)
{
    if (text.isEmpty())
        return std::nullopt;
    const QChar first = text.at(0).toUpper();
    double sign = 1.0;
    QString rest = text;
    if (first == positive || first == negative) {
        sign = first == negative ? -1.0 : 1.0;
        rest = text.mid(1);
    }
    const QStringList parts = rest.split(QLatin1Char('.'));
    double value = 0.0;
    bool ok = false;
    if (parts.size() == 4 && rest.size() > 0) {
        // Degrees, minutes, seconds and thousandths, all unsigned.
        const int degrees = parts.at(0).toInt(&ok);
        if (!ok || parts.at(0).startsWith(QLatin1Char('-')))
            return std::nullopt;
        const int minutes = parts.at(1).toInt(&ok);
        if (!ok || minutes < 0 || minutes > 60)
            return std::nullopt;
        const double seconds = (parts.at(2) + QLatin1Char('.') + parts.at(3)).toDouble(&ok);
        if (!ok || seconds < 0.0 || seconds > 60.0)
            return std::nullopt;
        value = degrees + minutes / 60.0 + seconds / 3600.0;
    } else if (parts.size() <= 2) {
        value = rest.toDouble(&ok);
        if (!ok || (rest != text && value < 0.0))
            return std::nullopt;
    } else {
        return std::nullopt;
    }
    value *= sign;
    if (!std::isfinite(value) || std::abs(value) > limit)
        return std::nullopt;
    return value;
}

// Everything parsed so far that later rows refer to.
struct Context
{
    QHash<QString, QColor> colours; // #define names, upper case
    QHash<QString, QPointF> fixes;  // idents of the point sections
    SectorFile *file = nullptr;
    SectorLine::Kind lineKind = SectorLine::Kind::Geo;
    QString group;
    bool regionOpen = false;

    bool isColour(const QString &token) const
    {
        if (colours.contains(token.toUpper()))
            return true;
        bool ok = false;
        token.toLongLong(&ok);
        return ok;
    }

    QColor colour(const QString &token) const
    {
        bool ok = false;
        const qint64 number = token.toLongLong(&ok);
        return ok ? SctParser::colourFromNumber(number) : colours.value(token.toUpper());
    }

    // A coordinate pair, or an ident written in both places.
    std::optional<QPointF> point(const QString &lat, const QString &lon) const
    {
        QPointF p;
        if (SctParser::parseCoordinate(lat, lon, &p))
            return p;
        if (lat.compare(lon, Qt::CaseInsensitive) == 0) {
            const auto found = fixes.constFind(lat.toUpper());
            if (found != fixes.constEnd())
                return found.value();
        }
        return std::nullopt;
    }
};

QStringList tokens(const QString &text)
{
    return text.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

// Coordinate-shaped tokens (hemisphere letter and digits) that do not give a position: the dummy
// pairs that only name a group.
bool looksLikeCoordinate(const QString &token)
{
    static const QRegularExpression shape(QStringLiteral("^[NSEWnsew]\\d{1,3}\\.\\d{1,2}\\.\\d{1,2}\\.\\d+$"));
    return shape.match(token).hasMatch();
}

void addPoint(Context &c, SectorPoint::Kind kind, const QStringList &t, int identAt, int freqAt, int latAt,
              int lineNumber)
{
    QPointF p;
    if (t.size() <= latAt + 1 || !SctParser::parseCoordinate(t.at(latAt), t.at(latAt + 1), &p)) {
        c.file->report.skip(lineNumber, QStringLiteral("unreadable point"));
        return;
    }
    const QString ident = t.at(identAt).toUpper();
    c.file->points.append({kind, ident, freqAt >= 0 ? t.at(freqAt) : QString(), p});
    // The first definition wins: VORs before NDBs before airports before fixes, as read.
    if (!c.fixes.contains(ident))
        c.fixes.insert(ident, p);
}

void appendSegment(Context &c, SectorLine::Kind kind, const QString &group, const QColor &colour, const QPointF &a,
                   const QPointF &b)
{
    QList<SectorLine> &lines = c.file->lines;
    if (!lines.isEmpty()) {
        SectorLine &last = lines.last();
        if (last.kind == kind && last.group == group && last.colour == colour && last.points.last() == a) {
            last.points.append(b);
            return;
        }
    }
    lines.append({kind, group, colour, {a, b}});
}

void readLineRow(Context &c, const QStringList &t, int lineNumber)
{
    // The first place where four tokens make two points; what comes before is the name.
    for (qsizetype i = 0; i + 4 <= t.size(); ++i) {
        const auto a = c.point(t.at(i), t.at(i + 1));
        if (!a)
            continue;
        const auto b = c.point(t.at(i + 2), t.at(i + 3));
        if (!b)
            continue;
        if (i > 0)
            c.group = t.mid(0, i).join(QLatin1Char(' '));
        const QColor colour = i + 4 < t.size() && c.isColour(t.at(i + 4)) ? c.colour(t.at(i + 4)) : QColor();
        if (a->isNull() && b->isNull())
            return; // "N000.00.00.000 W000.00.00.000" twice: a group name only
        appendSegment(c, c.lineKind, c.group, colour, *a, *b);
        return;
    }
    // A name followed by out-of-range dummy coordinates starts a group.
    if (t.size() >= 5 && looksLikeCoordinate(t.at(t.size() - 4)) && looksLikeCoordinate(t.at(t.size() - 2))) {
        c.group = t.mid(0, t.size() - 4).join(QLatin1Char(' '));
        return;
    }
    if (t.size() >= 6 && c.isColour(t.last()) && looksLikeCoordinate(t.at(t.size() - 5))) {
        c.group = t.mid(0, t.size() - 5).join(QLatin1Char(' '));
        return;
    }
    // Name the ident that did not resolve, if that is what went wrong.
    for (qsizetype i = 0; i + 1 < t.size(); ++i) {
        if (t.at(i).compare(t.at(i + 1), Qt::CaseInsensitive) == 0 && !looksLikeCoordinate(t.at(i)) &&
            !c.fixes.contains(t.at(i).toUpper())) {
            c.file->report.skip(lineNumber, QStringLiteral("unknown fix %1").arg(t.at(i)));
            return;
        }
    }
    c.file->report.skip(lineNumber, QStringLiteral("unreadable line segment"));
}

void readRunway(Context &c, const QStringList &t, int lineNumber)
{
    QPointF a;
    QPointF b;
    if (t.size() < 8 || !SctParser::parseCoordinate(t.at(4), t.at(5), &a) ||
        !SctParser::parseCoordinate(t.at(6), t.at(7), &b)) {
        c.file->report.skip(lineNumber, QStringLiteral("unreadable runway"));
        return;
    }
    const QString airport = t.size() > 8 ? t.at(8) : QString();
    c.file->lines.append({SectorLine::Kind::Runway,
                          QStringLiteral("%1 %2/%3").arg(airport, t.at(0), t.at(1)).trimmed(),
                          QColor(),
                          {a, b}});
}

void readRegionRow(Context &c, const QString &text, const QStringList &t, int lineNumber)
{
    if (!t.isEmpty() && t.first().compare(QLatin1String("REGIONNAME"), Qt::CaseInsensitive) == 0) {
        c.file->regions.append({text.section(QRegularExpression(QStringLiteral("\\s+")), 1).trimmed(), QColor(), {}});
        c.regionOpen = true;
        return;
    }
    QPointF p;
    if (t.size() == 3 && c.isColour(t.at(0)) && SctParser::parseCoordinate(t.at(1), t.at(2), &p)) {
        // A colour row begins a region (files without REGIONNAME start one here).
        if (!c.regionOpen || !c.file->regions.last().points.isEmpty())
            c.file->regions.append({QString(), QColor(), {}});
        c.regionOpen = true;
        c.file->regions.last().colour = c.colour(t.at(0));
        c.file->regions.last().points.append(p);
        return;
    }
    if (t.size() == 2 && c.regionOpen && SctParser::parseCoordinate(t.at(0), t.at(1), &p)) {
        c.file->regions.last().points.append(p);
        return;
    }
    c.file->report.skip(lineNumber, QStringLiteral("unreadable region row"));
}

void readLabel(Context &c, const QString &text, int lineNumber)
{
    const qsizetype open = text.indexOf(QLatin1Char('"'));
    const qsizetype close = open < 0 ? -1 : text.indexOf(QLatin1Char('"'), open + 1);
    const QStringList t = close < 0 ? QStringList() : tokens(text.mid(close + 1));
    QPointF p;
    if (close < 0 || t.size() < 2 || !SctParser::parseCoordinate(t.at(0), t.at(1), &p)) {
        c.file->report.skip(lineNumber, QStringLiteral("unreadable label"));
        return;
    }
    const QColor colour = t.size() > 2 && c.isColour(t.at(2)) ? c.colour(t.at(2)) : QColor();
    c.file->labels.append({text.mid(open + 1, close - open - 1), colour, p});
}

} // namespace

bool SctParser::parseCoordinate(const QString &lat, const QString &lon, QPointF *latLon)
{
    const auto la = parseAngle(lat, QLatin1Char('N'), QLatin1Char('S'), 90.0);
    const auto lo = la ? parseAngle(lon, QLatin1Char('E'), QLatin1Char('W'), 180.0) : std::nullopt;
    if (!la || !lo)
        return false;
    *latLon = QPointF(*la, *lo);
    return true;
}

QColor SctParser::colourFromNumber(qint64 value)
{
    return QColor(int(value & 0xff), int((value >> 8) & 0xff), int((value >> 16) & 0xff));
}

QString SctParser::decodeText(const QByteArray &bytes)
{
    QStringDecoder utf8(QStringDecoder::Utf8);
    const QString text = utf8(bytes);
    if (!utf8.hasError())
        return text;
    QStringDecoder legacy("windows-1252");
    return legacy.isValid() ? QString(legacy(bytes)) : QString::fromLatin1(bytes);
}

QString SctParser::stripComment(const QString &line)
{
    bool quoted = false;
    for (qsizetype i = 0; i < line.size(); ++i) {
        const QChar ch = line.at(i);
        if (ch == QLatin1Char('"'))
            quoted = !quoted;
        else if (ch == QLatin1Char(';') && !quoted)
            return line.left(i);
    }
    return line;
}

SectorFile SctParser::parse(const QByteArray &bytes, const QString &path)
{
    SectorFile file;
    file.path = path;
    file.format = SectorFile::Format::Sct;
    const QStringList lines = decodeText(bytes).split(QLatin1Char('\n'));
    file.report.lineCount = int(lines.size());
    Context c;
    c.file = &file;

    // Pass 1: colours and the point sections, which the rest may refer to.
    Section section = Section::None;
    int infoRow = 0;
    for (int i = 0; i < lines.size(); ++i) {
        const QString text = stripComment(lines.at(i)).trimmed();
        if (text.isEmpty())
            continue;
        if (text.startsWith(QLatin1Char('['))) {
            section = sectionOf(text).section;
            continue;
        }
        const QStringList t = tokens(text);
        if (t.first().compare(QLatin1String("#define"), Qt::CaseInsensitive) == 0) {
            bool ok = false;
            const qint64 value = t.value(2).toLongLong(&ok);
            if (t.size() >= 3 && ok)
                c.colours.insert(t.at(1).toUpper(), colourFromNumber(value));
            else
                file.report.skip(i + 1, QStringLiteral("unreadable #define"));
            continue;
        }
        switch (section) {
        case Section::Info:
            if (infoRow++ == 0)
                file.sectorName = text;
            break;
        case Section::Vor:
            addPoint(c, SectorPoint::Kind::Vor, t, 0, 1, 2, i + 1);
            break;
        case Section::Ndb:
            addPoint(c, SectorPoint::Kind::Ndb, t, 0, 1, 2, i + 1);
            break;
        case Section::Airport:
            addPoint(c, SectorPoint::Kind::Airport, t, 0, 1, 2, i + 1);
            break;
        case Section::Fixes:
            addPoint(c, SectorPoint::Kind::Fix, t, 0, -1, 1, i + 1);
            break;
        case Section::None:
            file.report.skip(i + 1, QStringLiteral("outside any section"));
            break;
        default:
            break;
        }
    }

    // Pass 2: lines, runways, regions and labels.
    for (int i = 0; i < lines.size(); ++i) {
        const QString text = stripComment(lines.at(i)).trimmed();
        if (text.isEmpty())
            continue;
        if (text.startsWith(QLatin1Char('['))) {
            const SectionInfo info = sectionOf(text);
            section = info.section;
            c.lineKind = info.lineKind;
            c.group.clear();
            c.regionOpen = false;
            continue;
        }
        if (text.startsWith(QLatin1String("#define"), Qt::CaseInsensitive))
            continue;
        switch (section) {
        case Section::Lines:
            readLineRow(c, tokens(text), i + 1);
            break;
        case Section::Runway:
            readRunway(c, tokens(text), i + 1);
            break;
        case Section::Regions:
            readRegionRow(c, text, tokens(text), i + 1);
            break;
        case Section::Labels:
            readLabel(c, text, i + 1);
            break;
        default:
            break;
        }
    }
    file.finish();
    return file;
}
