#include "nav/routefinderrows.h"

#include "nav/geodesy.h"
#include "nav/textinput.h"

#include <QFileInfo>

#include <cmath>

namespace navimport {

namespace {

constexpr int kMaxFields = 40;

QString rfSurface(QByteArrayView code)
{
    int value = -1;
    toInt(code, &value);
    switch (value) {
    case 0:
        return QStringLiteral("CONCRETE");
    case 1:
        return QStringLiteral("ASPHALT");
    case 2:
        return QStringLiteral("GRAVEL");
    default:
        return QStringLiteral("OTHER");
    }
}

// VOR when the VOR flag is set; else a localizer-band frequency (108-112 MHz, odd tenths) is an
// ILS, a DME flag alone a DME, and the rest NDBs.
QString rfNavaidType(bool hasVor, bool hasDme, double freq)
{
    if (hasVor)
        return QStringLiteral("VOR");
    const int tenths = int(std::floor(freq * 10.0 + 1e-6));
    if (freq >= 108.0 && freq < 112.0 && tenths % 2 == 1)
        return QStringLiteral("ILS");
    if (hasDme)
        return QStringLiteral("DME");
    return QStringLiteral("NDB");
}

QString rfLevel(const QByteArrayView *f, int count)
{
    for (int i = 2; i < count; ++i) {
        if (equals(f[i], "HIGH") || equals(f[i], "H"))
            return QStringLiteral("HIGH");
        if (equals(f[i], "LOW") || equals(f[i], "L"))
            return QStringLiteral("LOW");
        if (equals(f[i], "BOTH") || equals(f[i], "B"))
            return QStringLiteral("BOTH");
    }
    return QStringLiteral("BOTH");
}

bool isRfPathTerminator(QByteArrayView code)
{
    static const char *const kKnown[] = {"IF", "TF", "CF", "DF", "FM", "FC", "FA", "FD", "AF",
                                         "RF", "VA", "CA", "VM", "HM", "HA", "HF", "PI"};
    for (const char *known : kKnown) {
        if (equals(code, known))
            return true;
    }
    return false;
}

} // namespace

bool parseRfWaypoint(const QByteArrayView *f, int count, RfWaypoint *row)
{
    if (count < 3 || f[0].isEmpty() || !toDouble(f[1], &row->lat) || !toDouble(f[2], &row->lon) ||
        !validLatLon(row->lat, row->lon))
        return false;
    row->ident = latin1(f[0]);
    return true;
}

bool parseRfAirport(const QByteArrayView *f, int count, RfAirport *row)
{
    // A,ICAO,name,lat,lon,elevation,transition altitude,transition level,longest runway
    if (!equals(f[0], "A") || count < 6 || f[1].isEmpty() || !toDouble(f[3], &row->lat) || !toDouble(f[4], &row->lon) ||
        !validLatLon(row->lat, row->lon) || !toInt(f[5], &row->elevationFt))
        return false;
    row->icao = latin1(f[1]);
    row->name = utf8(f[2]);
    return true;
}

bool parseRfRunway(const QByteArrayView *f, int count, RfRunway *row)
{
    // R,ident,heading,length,width,ils,ils freq,ils course,lat,lon,elevation,gs,tch,surface,usage
    if (!equals(f[0], "R") || count < 10 || !toDouble(f[2], &row->headingDeg) || !toInt(f[3], &row->lengthFt) ||
        !toInt(f[4], &row->widthFt) || !toDouble(f[8], &row->lat) || !toDouble(f[9], &row->lon) ||
        !validLatLon(row->lat, row->lon))
        return false;
    row->ident = latin1(f[1]);
    row->surface = count > 13 ? rfSurface(f[13]) : QStringLiteral("OTHER");
    return true;
}

bool parseRfNavaid(const QByteArrayView *f, int count, RfNavaid *row)
{
    // ident,name,freq,vor,dme,range,lat,lon,elevation,region,...
    int vor = 0;
    int dme = 0;
    if (count < 8 || f[0].isEmpty() || !toDouble(f[2], &row->freq) || !toInt(f[3], &vor) || !toInt(f[4], &dme) ||
        !toDouble(f[5], &row->rangeNm) || !toDouble(f[6], &row->lat) || !toDouble(f[7], &row->lon) ||
        !validLatLon(row->lat, row->lon))
        return false;
    row->ident = latin1(f[0]);
    row->type = rfNavaidType(vor != 0, dme != 0, row->freq);
    return true;
}

bool parseRfAirwayHeader(const QByteArrayView *f, int count, QString *name, QString *level)
{
    // A,name,segment count[,level]
    if (!equals(f[0], "A") || count < 2 || f[1].isEmpty())
        return false;
    *name = latin1(f[1]);
    *level = rfLevel(f, count);
    return true;
}

bool parseRfSegment(const QByteArrayView *f, int count, RfSegment *row)
{
    // S,from,lat,lon,to,lat,lon,inbound course,outbound course,length[,min alt,max alt]
    if (!equals(f[0], "S") || count < 7 || !toDouble(f[2], &row->fromLat) || !toDouble(f[3], &row->fromLon) ||
        !toDouble(f[5], &row->toLat) || !toDouble(f[6], &row->toLon) || !validLatLon(row->fromLat, row->fromLon) ||
        !validLatLon(row->toLat, row->toLon))
        return false;
    if (count < 10 || !toDouble(f[9], &row->lengthNm) || row->lengthNm <= 0.0)
        row->lengthNm =
            geodesy::distanceNm(row->fromLat, row->fromLon, row->toLat, row->toLon, geodesy::kNavSphereRadiusNm);
    row->fromIdent = latin1(f[1]);
    row->toIdent = latin1(f[4]);
    row->minAlt = count > 10 ? latin1(f[10]) : QString();
    row->maxAlt = count > 11 ? latin1(f[11]) : QString();
    return true;
}

// One leg: the path terminator, the fix with its position (legs that end at a fix), and the
// constraint block of eight numbers that closes every leg.
bool parseRfLeg(const QByteArrayView *f, int count, RfLeg *leg)
{
    if (!isRfPathTerminator(f[0]) || count < 9)
        return false;
    leg->legType = latin1(f[0]);
    const bool withoutFix = equals(f[0], "VA") || equals(f[0], "CA") || equals(f[0], "VM");
    if (!withoutFix) {
        if (count < 12 || f[1].isEmpty() || !toDouble(f[2], &leg->lat) || !toDouble(f[3], &leg->lon) ||
            !validLatLon(leg->lat, leg->lon))
            return false;
        leg->fix = latin1(f[1]);
    }
    int numbers[6] = {0, 0, 0, 0, 0, 0};
    for (int i = 0; i < 6; ++i) {
        if (!toInt(f[count - 8 + i], &numbers[i]))
            return false;
    }
    // altitude type, altitude 1, altitude 2, speed type, speed 1, speed 2; which altitude is the
    // upper one of a window differs between providers, so the larger is kept.
    if (numbers[0] != 0)
        leg->altitudeFt = qMax(numbers[1], numbers[2]);
    if (numbers[3] != 0)
        leg->speedKts = numbers[4] != 0 ? numbers[4] : numbers[5];
    return true;
}

bool forEachRfLine(const QString &file, const std::function<bool(const QByteArrayView *, int)> &row, int *skipped,
                   InputCheck *check, const std::function<bool()> &stop, QString *error)
{
    LineReader reader;
    if (!reader.open(file)) {
        *error = QStringLiteral("Cannot open %1: %2").arg(file, reader.errorText());
        return false;
    }
    QByteArrayView line;
    bool overlong = false;
    QByteArrayView f[kMaxFields];
    int lines = 0;
    while (reader.next(&line, &overlong)) {
        const QByteArrayView text = trimmed(line);
        if (!overlong && (text.isEmpty() || text.startsWith('#')))
            continue;
        int count = overlong ? 0 : splitAt(text, ',', f, kMaxFields);
        while (count > 0 && count <= kMaxFields && f[count - 1].isEmpty())
            --count;
        const bool usable = count > 0 && count <= kMaxFields && row(f, count);
        if (!usable)
            ++*skipped;
        if (check)
            check->note(reader.lineNumber(), usable, reader.lineComplete());
        if ((++lines & 4095) == 0 && stop())
            return false;
    }
    return true;
}

QString checkRfFile(RfFile kind, const QString &file)
{
    bool inApproach = false;
    bool inProcedure = false;
    const auto row = [&](const QByteArrayView *f, int count) {
        switch (kind) {
        case RfFile::Waypoints: {
            RfWaypoint w;
            return parseRfWaypoint(f, count, &w);
        }
        case RfFile::Airports: {
            RfAirport a;
            RfRunway r;
            return parseRfAirport(f, count, &a) || parseRfRunway(f, count, &r) || equals(f[0], "L") ||
                   equals(f[0], "X");
        }
        case RfFile::Navaids: {
            RfNavaid n;
            return parseRfNavaid(f, count, &n);
        }
        case RfFile::Airways: {
            QString name;
            QString level;
            RfSegment s;
            return parseRfAirwayHeader(f, count, &name, &level) || parseRfSegment(f, count, &s);
        }
        case RfFile::Procedures: {
            if (equals(f[0], "SID") || equals(f[0], "STAR")) {
                inApproach = false;
                inProcedure = count >= 3 && !f[1].isEmpty();
                return inProcedure;
            }
            if (equals(f[0], "APPTR") || equals(f[0], "FINAL")) {
                inApproach = true;
                return true;
            }
            RfLeg leg;
            return inApproach || (inProcedure && parseRfLeg(f, count, &leg));
        }
        }
        return false;
    };
    InputCheck check;
    int skipped = 0;
    QString error;
    if (!forEachRfLine(
            file, row, &skipped, &check, [] { return false; }, &error))
        return error;
    return check.problem(file);
}

} // namespace navimport
