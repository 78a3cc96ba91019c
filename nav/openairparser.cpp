#include "nav/openairparser.h"

#include "nav/geodesy.h"

#include <QRegularExpression>
#include <QStringList>

#include <cmath>

namespace {

// OpenAir arcs are laid out on the navigation database's sphere.
constexpr double kSphereRadiusNm = geodesy::kNavSphereRadiusNm;

constexpr double kFeetPerMetre = 3.28083989501;

// Degrees from "DD:MM:SS(.s)", "DD:MM.mmm", "DDMMSS(.s)" / "DDDMMSS(.s)" or "DD.dddd".
bool parseAngle(const QString &text, int degreeDigits, double *value)
{
    bool ok = false;
    if (text.contains(QLatin1Char(':'))) {
        const QStringList parts = text.split(QLatin1Char(':'));
        if (parts.size() < 2 || parts.size() > 3)
            return false;
        double numbers[3] = {0.0, 0.0, 0.0};
        for (int i = 0; i < parts.size(); ++i) {
            numbers[i] = parts.at(i).toDouble(&ok);
            if (!ok || numbers[i] < 0.0)
                return false;
        }
        if (numbers[1] >= 60.0 || numbers[2] >= 60.0)
            return false;
        *value = numbers[0] + numbers[1] / 60.0 + numbers[2] / 3600.0;
        return true;
    }
    const int point = text.indexOf(QLatin1Char('.'));
    const int integerDigits = point < 0 ? int(text.size()) : point;
    if (integerDigits == degreeDigits + 4) {
        const double degrees = text.left(degreeDigits).toDouble(&ok);
        if (!ok)
            return false;
        const double minutes = text.mid(degreeDigits, 2).toDouble(&ok);
        if (!ok || minutes >= 60.0)
            return false;
        const double seconds = text.mid(degreeDigits + 2).toDouble(&ok);
        if (!ok || seconds >= 60.0)
            return false;
        *value = degrees + minutes / 60.0 + seconds / 3600.0;
        return true;
    }
    *value = text.toDouble(&ok);
    return ok && *value >= 0.0;
}

QString withoutComment(const QString &line)
{
    const int star = line.indexOf(QLatin1Char('*'));
    return (star < 0 ? line : line.left(star)).trimmed();
}

} // namespace

QString OpenAirParser::typeForCode(const QString &code)
{
    const QString c = code.trimmed().toUpper();
    if (c.size() == 1 && c.at(0) >= QLatin1Char('A') && c.at(0) <= QLatin1Char('G'))
        return QStringLiteral("CLASS_") + c;
    static const QHash<QString, QString> kTypes{
        {QStringLiteral("CTR"), QStringLiteral("CTR")},
        {QStringLiteral("ATZ"), QStringLiteral("CTR")},
        {QStringLiteral("R"), QStringLiteral("RESTRICTED")},
        {QStringLiteral("RESTRICTED"), QStringLiteral("RESTRICTED")},
        {QStringLiteral("GP"), QStringLiteral("RESTRICTED")},
        {QStringLiteral("TRA"), QStringLiteral("RESTRICTED")},
        {QStringLiteral("TSA"), QStringLiteral("RESTRICTED")},
        {QStringLiteral("P"), QStringLiteral("PROHIBITED")},
        {QStringLiteral("PROHIBITED"), QStringLiteral("PROHIBITED")},
        {QStringLiteral("Q"), QStringLiteral("DANGER")},
        {QStringLiteral("DANGER"), QStringLiteral("DANGER")},
        {QStringLiteral("WARNING"), QStringLiteral("WARNING")},
        {QStringLiteral("ALERT"), QStringLiteral("WARNING")},
        {QStringLiteral("TMZ"), QStringLiteral("TMZ")},
        {QStringLiteral("RMZ"), QStringLiteral("RMZ")},
        {QStringLiteral("FIR"), QStringLiteral("FIR")},
        {QStringLiteral("UIR"), QStringLiteral("UIR")},
        {QStringLiteral("TMA"), QStringLiteral("TMA")},
        {QStringLiteral("CTA"), QStringLiteral("TMA")},
        {QStringLiteral("MATZ"), QStringLiteral("MATZ")},
        // Wave windows and gliding sectors are gliding areas.
        {QStringLiteral("W"), QStringLiteral("GLZ")},
        {QStringLiteral("GSEC"), QStringLiteral("GLZ")},
        {QStringLiteral("GLIDING"), QStringLiteral("GLZ")},
        {QStringLiteral("GLIDING_SECTOR"), QStringLiteral("GLZ")},
        {QStringLiteral("GLZ"), QStringLiteral("GLZ")},
    };
    return kTypes.value(c);
}

bool OpenAirParser::parseAltitude(const QString &text, int *feet)
{
    QString t = text.trimmed().toUpper();
    if (t.isEmpty())
        return false;
    if (t.startsWith(QLatin1String("SFC")) || t.startsWith(QLatin1String("GND"))) {
        *feet = 0;
        return true;
    }
    if (t.startsWith(QLatin1String("UNL"))) { // UNL, UNLTD, UNLIM, UNLIMITED
        *feet = OpenAirAirspace::kUnlimitedFt;
        return true;
    }
    static const QRegularExpression kFlightLevel(QStringLiteral("^FL\\s*(\\d+(?:\\.\\d+)?)"));
    static const QRegularExpression kLevelAfter(QStringLiteral("^(\\d+(?:\\.\\d+)?)\\s*FL\\b"));
    static const QRegularExpression kHeight(
        QStringLiteral("^(\\d+(?:\\.\\d+)?)\\s*(FT|F|M)?(?![A-Z])\\s*(AMSL|MSL|AGL|ASFC|AAL|SFC|GND|STD|ALT)?\\b"));
    QRegularExpressionMatch m = kFlightLevel.match(t);
    if (!m.hasMatch())
        m = kLevelAfter.match(t);
    if (m.hasMatch()) {
        *feet = int(std::lround(m.captured(1).toDouble() * 100.0));
        return true;
    }
    m = kHeight.match(t);
    if (!m.hasMatch())
        return false;
    double value = m.captured(1).toDouble();
    if (m.captured(2) == QLatin1String("M"))
        value *= kFeetPerMetre;
    *feet = int(std::lround(value));
    return true;
}

bool OpenAirParser::parseCoordinate(const QString &text, double *lat, double *lon)
{
    // Compiled once: a pattern built per call costs more than the rest of the parse.
    static const QRegularExpression kSpace(QStringLiteral("\\s+"));
    static const QRegularExpression kNorthSouth(QStringLiteral("[NS]"));
    static const QRegularExpression kEastWest(QStringLiteral("[EW]"));
    QString t = text.toUpper();
    t.remove(kSpace);
    const int latEnd = int(t.indexOf(kNorthSouth));
    if (latEnd <= 0)
        return false;
    const QString rest = t.mid(latEnd + 1);
    const int lonEnd = int(rest.indexOf(kEastWest));
    if (lonEnd <= 0 || lonEnd != rest.size() - 1)
        return false;
    double latValue = 0.0;
    double lonValue = 0.0;
    if (!parseAngle(t.left(latEnd), 2, &latValue) || !parseAngle(rest.left(lonEnd), 3, &lonValue) || latValue > 90.0 ||
        lonValue > 180.0)
        return false;
    *lat = t.at(latEnd) == QLatin1Char('S') ? -latValue : latValue;
    *lon = rest.at(lonEnd) == QLatin1Char('W') ? -lonValue : lonValue;
    return true;
}

void OpenAirParser::addLine(const QString &rawLine)
{
    const QString line = withoutComment(rawLine);
    if (line.size() < 2)
        return;
    const QString command = line.left(2).toUpper();
    const QString args = line.mid(2).trimmed();
    if (command == QLatin1String("AC")) {
        finish();
        startAirspace(args);
        return;
    }
    if (!m_active)
        return;
    bool ok = true;
    if (command == QLatin1String("AN")) {
        m_current.name = args;
    } else if (command == QLatin1String("AY")) {
        m_typeCode = args;
    } else if (command == QLatin1String("AL") || command == QLatin1String("AH")) {
        int feet = 0;
        if (!parseAltitude(args, &feet)) {
            ok = false;
        } else if (command == QLatin1String("AL")) {
            m_current.bottomFt = feet;
            m_hasBottom = true;
        } else {
            m_current.topFt = feet;
            m_hasTop = true;
        }
    } else if (command == QLatin1String("DP") || command == QLatin1String("DY")) {
        double lat = 0.0;
        double lon = 0.0;
        ok = parseCoordinate(args, &lat, &lon);
        if (ok)
            m_current.boundary.append(QPointF(lat, lon));
    } else if (command == QLatin1String("V ")) {
        ok = readVariable(args);
    } else if (command == QLatin1String("DA")) {
        ok = readArcByAngles(args);
    } else if (command == QLatin1String("DB")) {
        ok = readArcByPoints(args);
    } else if (command == QLatin1String("DC")) {
        ok = readCircle(args);
    }
    // Everything else (AF, AG, AT, AA, AX, AI, SP, SB, TO, TC, ...) says nothing the map draws.
    if (!ok) {
        ++m_skippedLines;
        m_badLine = true;
    }
}

void OpenAirParser::startAirspace(const QString &classCode)
{
    m_current = OpenAirAirspace();
    m_active = true;
    m_classCode = classCode;
    m_typeCode.clear();
    m_hasBottom = false;
    m_hasTop = false;
    m_badLine = false;
    m_hasCentre = false;
    m_clockwise = true; // the direction resets with every airspace
}

void OpenAirParser::finish()
{
    if (!m_active)
        return;
    m_active = false;
    // The extended format's AY names the type; the class is the fallback (and the only one in
    // original files).
    QString type = typeForCode(m_typeCode);
    if (type.isEmpty())
        type = typeForCode(m_classCode);
    if (type.isEmpty() || m_badLine || !m_hasBottom || !m_hasTop || m_current.boundary.size() < 3) {
        ++m_skippedAirspaces;
        return;
    }
    m_current.type = type;
    m_done.append(m_current);
}

QList<OpenAirAirspace> OpenAirParser::takeAirspaces()
{
    QList<OpenAirAirspace> done;
    done.swap(m_done);
    return done;
}

bool OpenAirParser::readVariable(const QString &args)
{
    // "X=<coordinate>" sets the arc centre, "D=+" / "D=-" the direction; W= and Z= are ignored.
    const QString compact = args.simplified();
    if (compact.startsWith(QLatin1String("X="), Qt::CaseInsensitive)) {
        m_hasCentre = parseCoordinate(compact.mid(2), &m_centreLat, &m_centreLon);
        return m_hasCentre;
    }
    if (compact.startsWith(QLatin1String("D="), Qt::CaseInsensitive)) {
        const QString sign = compact.mid(2).trimmed();
        if (sign != QLatin1String("+") && sign != QLatin1String("-"))
            return false;
        m_clockwise = sign == QLatin1String("+");
        return true;
    }
    return true;
}

void OpenAirParser::addArc(double radiusNm, double fromBearing, double toBearing, bool exactEnds, QPointF first,
                           QPointF last)
{
    double sweep = m_clockwise ? toBearing - fromBearing : fromBearing - toBearing;
    sweep = std::fmod(sweep + 720.0, 360.0);
    if (sweep < 1e-9)
        sweep = 360.0;
    const int steps = qMax(1, int(std::ceil(sweep / kArcStepDeg)));
    for (int i = 0; i <= steps; ++i) {
        if (exactEnds && i == 0) {
            m_current.boundary.append(first);
            continue;
        }
        if (exactEnds && i == steps) {
            m_current.boundary.append(last);
            continue;
        }
        const double bearing = fromBearing + (m_clockwise ? 1.0 : -1.0) * sweep * i / steps;
        double lat = 0.0;
        double lon = 0.0;
        geodesy::destination(m_centreLat, m_centreLon, bearing, radiusNm, kSphereRadiusNm, &lat, &lon);
        m_current.boundary.append(QPointF(lat, lon));
    }
}

bool OpenAirParser::readArcByAngles(const QString &args)
{
    // DA radius, start bearing, end bearing
    const QStringList parts = args.split(QLatin1Char(','));
    if (!m_hasCentre || parts.size() != 3)
        return false;
    bool ok1 = false, ok2 = false, ok3 = false;
    const double radius = parts.at(0).trimmed().toDouble(&ok1);
    const double from = parts.at(1).trimmed().toDouble(&ok2);
    const double to = parts.at(2).trimmed().toDouble(&ok3);
    if (!ok1 || !ok2 || !ok3 || radius <= 0.0)
        return false;
    addArc(radius, from, to, false, QPointF(), QPointF());
    return true;
}

bool OpenAirParser::readArcByPoints(const QString &args)
{
    // DB start, end: the radius is the centre's distance to the start; the arc ends exactly at end.
    const QStringList parts = args.split(QLatin1Char(','));
    double lat1 = 0.0, lon1 = 0.0, lat2 = 0.0, lon2 = 0.0;
    if (!m_hasCentre || parts.size() != 2 || !parseCoordinate(parts.at(0), &lat1, &lon1) ||
        !parseCoordinate(parts.at(1), &lat2, &lon2))
        return false;
    const double radius = geodesy::distanceNm(m_centreLat, m_centreLon, lat1, lon1, kSphereRadiusNm);
    if (radius <= 0.0)
        return false;
    addArc(radius, geodesy::initialBearingDeg(m_centreLat, m_centreLon, lat1, lon1),
           geodesy::initialBearingDeg(m_centreLat, m_centreLon, lat2, lon2), true, QPointF(lat1, lon1),
           QPointF(lat2, lon2));
    return true;
}

bool OpenAirParser::readCircle(const QString &args)
{
    bool ok = false;
    const double radius = args.trimmed().toDouble(&ok);
    if (!m_hasCentre || !ok || radius <= 0.0)
        return false;
    const bool clockwise = m_clockwise;
    m_clockwise = true;
    addArc(radius, 0.0, 0.0, false, QPointF(), QPointF());
    m_clockwise = clockwise;
    return true;
}
