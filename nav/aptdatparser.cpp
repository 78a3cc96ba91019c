#include "nav/aptdatparser.h"

#include "nav/geodesy.h"
#include "nav/importsession.h"
#include "nav/textinput.h"

#include <cmath>

using namespace navimport;

namespace {

constexpr double kFeetPerMetre = 3.28083989501;
constexpr double kFeetPerNm = 6076.11548556;

// The leading row code, or -1 when the row does not start with a number.
int rowCode(QByteArrayView row)
{
    int code = 0;
    qsizetype i = 0;
    while (i < row.size() && row[i] >= '0' && row[i] <= '9' && i < 6) {
        code = code * 10 + (row[i] - '0');
        ++i;
    }
    if (i == 0 || (i < row.size() && row[i] != ' ' && row[i] != '\t'))
        return -1;
    return code;
}

bool isAirportHeader(int code)
{
    return code == 1 || code == 16 || code == 17;
}

// Rows the station has no use for: pavement and line geometry, signs, lights, windsocks,
// beacons, ATC flows, taxi-route shapes and active zones, ramp details, trucks and jetways.
bool isPassedOver(int code)
{
    switch (code) {
    case 10: // 810-era taxiway rectangles ("xxx")
    case 18:
    case 19:
    case 20:
    case 21:
    case 105:
    case 110:
    case 111:
    case 112:
    case 113:
    case 114:
    case 115:
    case 116:
    case 120:
    case 130:
    case 1000:
    case 1001:
    case 1002:
    case 1003:
    case 1004:
    case 1100:
    case 1101:
    case 1110:
    case 1200:
    case 1203:
    case 1204:
    case 1205:
    case 1206:
    case 1301:
    case 1400:
    case 1401:
    case 1402:
    case 1500:
    case 1501:
        return true;
    default:
        return false;
    }
}

QString surfaceText(int code)
{
    if (code == 1 || (code >= 20 && code <= 38))
        return QStringLiteral("ASPHALT");
    if (code == 2 || (code >= 50 && code <= 57))
        return QStringLiteral("CONCRETE");
    switch (code) {
    case 3:
        return QStringLiteral("GRASS");
    case 4:
        return QStringLiteral("DIRT");
    case 5:
        return QStringLiteral("GRAVEL");
    case 12:
        return QStringLiteral("LAKEBED");
    case 13:
        return QStringLiteral("WATER");
    case 14:
        return QStringLiteral("SNOW");
    case 15:
        return QStringLiteral("TRANSPARENT");
    default:
        return QStringLiteral("UNKNOWN");
    }
}

bool readLatLon(QByteArrayView latText, QByteArrayView lonText, double *lat, double *lon)
{
    return toDouble(latText, lat) && toDouble(lonText, lon) && validLatLon(*lat, *lon);
}

} // namespace

AptDatParser::AptDatParser(QSet<QString> *seenIdents) : m_seen(seenIdents) {}

void AptDatParser::addRow(QByteArrayView row, std::vector<AptAirport> *out)
{
    const int code = rowCode(row);
    if (code < 0) {
        ++m_skipped;
        return;
    }
    if (isAirportHeader(code)) {
        finishAirport(out);
        startAirport(code, row);
        return;
    }
    if (m_state == State::Hidden)
        return;
    if (isPassedOver(code)) {
        // Rows 10, 18-21 and 111-116 start with a latitude and a longitude.
        if (!m_hasAnyPosition && m_state == State::InAirport &&
            (code == 10 || (code >= 18 && code <= 21) || (code >= 111 && code <= 116)))
            notePosition(row);
        return;
    }
    if (m_state == State::BeforeAirport || !readRow(code, row))
        ++m_skipped;
}

void AptDatParser::finishFile(std::vector<AptAirport> *out)
{
    finishAirport(out);
}

void AptDatParser::startAirport(int code, QByteArrayView row)
{
    Q_UNUSED(code)
    QByteArrayView f[6];
    int elevation = 0;
    double elevationReal = 0.0;
    m_state = State::BeforeAirport;
    const int count = splitBlanks(row, f, 6);
    if (count < 5 || !(toInt(f[1], &elevation) || toDouble(f[1], &elevationReal))) {
        ++m_skipped;
        return;
    }
    const QString ident = latin1(f[4]);
    if (m_seen->contains(ident)) {
        // A file of higher precedence already provided this airport.
        m_state = State::Hidden;
        ++m_hidden;
        return;
    }
    m_seen->insert(ident);
    m_airport = AptAirport();
    m_airport.icao = ident;
    m_airport.name = count >= 6 ? utf8(restOfLine(row, f[5])) : QString();
    m_airport.elevationFt = elevation != 0 ? elevation : int(std::lround(elevationReal));
    m_hasDatumLat = false;
    m_hasDatumLon = false;
    m_hasTowerPosition = false;
    m_hasAnyPosition = false;
    m_startLocations.clear();
    m_state = State::InAirport;
}

void AptDatParser::finishAirport(std::vector<AptAirport> *out)
{
    if (m_state != State::InAirport) {
        m_state = State::BeforeAirport;
        return;
    }
    m_state = State::BeforeAirport;
    AptAirport &a = m_airport;
    if (a.parkings.empty())
        a.parkings = std::move(m_startLocations);
    // The reference point: the 1302 datum when given, else the middle of the runway ends, else
    // any position the airport has.
    if (m_hasDatumLat && m_hasDatumLon) {
        a.lat = m_datumLat;
        a.lon = m_datumLon;
    } else if (!a.runways.empty()) {
        double lat = 0.0;
        double lon = 0.0;
        for (const AptAirport::Runway &r : a.runways) {
            lat += r.lat;
            lon += r.lon;
        }
        a.lat = lat / double(a.runways.size());
        a.lon = lon / double(a.runways.size());
    } else if (!a.parkings.empty()) {
        a.lat = a.parkings.front().lat;
        a.lon = a.parkings.front().lon;
    } else if (!a.nodes.empty()) {
        a.lat = a.nodes.front().lat;
        a.lon = a.nodes.front().lon;
    } else if (m_hasTowerPosition) {
        a.lat = a.towerLat;
        a.lon = a.towerLon;
    } else if (m_hasAnyPosition) {
        a.lat = m_anyLat;
        a.lon = m_anyLon;
    } else {
        // Nothing places it on the map.
        ++m_skipped;
        return;
    }
    if (a.hasTower && !m_hasTowerPosition) {
        a.towerLat = a.lat;
        a.towerLon = a.lon;
    }
    out->push_back(std::move(a));
    a = AptAirport();
}

bool AptDatParser::readRow(int code, QByteArrayView row)
{
    switch (code) {
    case 100:
        return readRunway(row);
    case 101:
        return readWaterRunway(row);
    case 102:
        return readHelipad(row);
    case 14:
        return readTower(row);
    case 15:
        return readStartLocation(row);
    case 1300:
        return readParking(row);
    case 1302:
        return readMetadata(row);
    case 1201:
        return readNode(row);
    case 1202:
        return readEdge(row);
    default:
        if ((code >= 50 && code <= 56) || (code >= 1050 && code <= 1056))
            return readFrequency(code, row);
        return false;
    }
}

void AptDatParser::addRunwayEnd(const QString &ident, double lat, double lon, double otherLat, double otherLon,
                                int widthFt, const QString &surface)
{
    AptAirport::Runway r;
    r.ident = ident;
    r.lat = lat;
    r.lon = lon;
    r.widthFt = widthFt;
    r.surface = surface;
    r.lengthFt =
        int(std::lround(geodesy::distanceNm(lat, lon, otherLat, otherLon, geodesy::kNavSphereRadiusNm) * kFeetPerNm));
    r.headingDeg = geodesy::initialBearingDeg(lat, lon, otherLat, otherLon);
    m_airport.runways.push_back(std::move(r));
}

bool AptDatParser::readRunway(QByteArrayView row)
{
    // 100 width surface shoulder smoothness centre-lights edge-lights signs, then two ends of nine
    // fields each: ident lat lon displaced blast markings approach-lights tdz reil.
    QByteArrayView f[27];
    double width = 0.0;
    int surface = 0;
    double lat1 = 0, lon1 = 0, lat2 = 0, lon2 = 0;
    if (splitBlanks(row, f, 27) < 26 || !toDouble(f[1], &width) || !toInt(f[2], &surface) ||
        !readLatLon(f[9], f[10], &lat1, &lon1) || !readLatLon(f[18], f[19], &lat2, &lon2))
        return false;
    const int widthFt = int(std::lround(width * kFeetPerMetre));
    const QString surfaceName = surfaceText(surface);
    addRunwayEnd(latin1(f[8]), lat1, lon1, lat2, lon2, widthFt, surfaceName);
    addRunwayEnd(latin1(f[17]), lat2, lon2, lat1, lon1, widthFt, surfaceName);
    ++m_airport.runwayCount;
    return true;
}

bool AptDatParser::readWaterRunway(QByteArrayView row)
{
    // 101 width buoys ident lat lon ident lat lon
    QByteArrayView f[9];
    double width = 0.0;
    double lat1 = 0, lon1 = 0, lat2 = 0, lon2 = 0;
    if (splitBlanks(row, f, 9) < 9 || !toDouble(f[1], &width) || !readLatLon(f[4], f[5], &lat1, &lon1) ||
        !readLatLon(f[7], f[8], &lat2, &lon2))
        return false;
    const int widthFt = int(std::lround(width * kFeetPerMetre));
    addRunwayEnd(latin1(f[3]), lat1, lon1, lat2, lon2, widthFt, surfaceText(13));
    addRunwayEnd(latin1(f[6]), lat2, lon2, lat1, lon1, widthFt, surfaceText(13));
    ++m_airport.runwayCount;
    return true;
}

bool AptDatParser::readHelipad(QByteArrayView row)
{
    // 102 ident lat lon orientation length width surface ...
    QByteArrayView f[8];
    AptAirport::Runway r;
    double length = 0.0;
    double width = 0.0;
    int surface = 0;
    if (splitBlanks(row, f, 8) < 8 || !readLatLon(f[2], f[3], &r.lat, &r.lon) || !toDouble(f[4], &r.headingDeg) ||
        !toDouble(f[5], &length) || !toDouble(f[6], &width) || !toInt(f[7], &surface))
        return false;
    r.ident = latin1(f[1]);
    r.lengthFt = int(std::lround(length * kFeetPerMetre));
    r.widthFt = int(std::lround(width * kFeetPerMetre));
    r.surface = surfaceText(surface);
    m_airport.runways.push_back(std::move(r));
    ++m_airport.runwayCount;
    return true;
}

bool AptDatParser::readFrequency(int code, QByteArrayView row)
{
    static const char *const kTypes[] = {"ATIS", "CTAF", "CLD", "GND", "TWR", "APP", "DEP"};
    QByteArrayView f[3];
    int value = 0;
    const int count = splitBlanks(row, f, 3);
    if (count < 2 || !toInt(f[1], &value) || value <= 0)
        return false;
    // 50-56 are in units of 10 kHz, 1050-1056 in kHz (8.33 kHz channels).
    const double mhz = code >= 1050 ? value / 1000.0 : value / 100.0;
    const QString type = QString::fromLatin1(kTypes[code >= 1050 ? code - 1050 : code - 50]);
    const QString name = count > 2 ? utf8(restOfLine(row, f[2])) : QString();
    if (type == QLatin1String("TWR") && !m_airport.hasTower) {
        m_airport.hasTower = true;
        m_airport.towerMhz = mhz;
        if (m_airport.towerName.isEmpty())
            m_airport.towerName = name;
    }
    // One frequency per service: the first listed is the primary one.
    for (const AptAirport::Frequency &existing : m_airport.frequencies) {
        if (existing.type == type)
            return true;
    }
    m_airport.frequencies.push_back({type, mhz, name});
    return true;
}

bool AptDatParser::readTower(QByteArrayView row)
{
    // 14 lat lon height 0 name
    QByteArrayView f[6];
    const int count = splitBlanks(row, f, 6);
    double lat = 0.0;
    double lon = 0.0;
    if (count < 3 || !readLatLon(f[1], f[2], &lat, &lon))
        return false;
    m_hasTowerPosition = true;
    m_airport.towerLat = lat;
    m_airport.towerLon = lon;
    if (count >= 6)
        m_airport.towerName = utf8(restOfLine(row, f[5]));
    return true;
}

bool AptDatParser::readStartLocation(QByteArrayView row)
{
    // 15 lat lon heading name (before ramp starts of the 1300 kind existed)
    QByteArrayView f[5];
    AptAirport::Parking p;
    const int count = splitBlanks(row, f, 5);
    if (count < 4 || !readLatLon(f[1], f[2], &p.lat, &p.lon) || !toDouble(f[3], &p.headingDeg))
        return false;
    p.type = QStringLiteral("GATE");
    p.name = count >= 5 ? utf8(restOfLine(row, f[4])) : QString();
    m_startLocations.push_back(std::move(p));
    return true;
}

bool AptDatParser::readParking(QByteArrayView row)
{
    // 1300 lat lon heading type equipment name
    QByteArrayView f[7];
    AptAirport::Parking p;
    const int count = splitBlanks(row, f, 7);
    if (count < 5 || !readLatLon(f[1], f[2], &p.lat, &p.lon) || !toDouble(f[3], &p.headingDeg))
        return false;
    p.type = latin1(f[4]).toUpper();
    p.name = count >= 7 ? utf8(restOfLine(row, f[6])) : QString();
    m_airport.parkings.push_back(std::move(p));
    return true;
}

bool AptDatParser::readMetadata(QByteArrayView row)
{
    // 1302 key value; unknown keys are tolerated.
    QByteArrayView f[3];
    if (splitBlanks(row, f, 3) < 2)
        return false;
    double value = 0.0;
    if (f[1] == QByteArrayView("datum_lat") || f[1] == QByteArrayView("datum_lon")) {
        const bool isLat = f[1] == QByteArrayView("datum_lat");
        if (!toDouble(f[2], &value) || (isLat ? std::abs(value) > 90.0 : std::abs(value) > 180.0))
            return false;
        (isLat ? m_datumLat : m_datumLon) = value;
        (isLat ? m_hasDatumLat : m_hasDatumLon) = true;
    }
    return true;
}

bool AptDatParser::readNode(QByteArrayView row)
{
    // 1201 lat lon usage id name
    QByteArrayView f[6];
    AptAirport::Node n;
    const int count = splitBlanks(row, f, 6);
    if (count < 5 || !readLatLon(f[1], f[2], &n.lat, &n.lon) || !toInt(f[4], &n.id))
        return false;
    n.usage = latin1(f[3]);
    n.name = count >= 6 ? utf8(restOfLine(row, f[5])) : QString();
    m_airport.nodes.push_back(std::move(n));
    return true;
}

bool AptDatParser::readEdge(QByteArrayView row)
{
    // 1202 from to oneway|twoway runway|taxiway[_X] name
    QByteArrayView f[6];
    AptAirport::Edge e;
    const int count = splitBlanks(row, f, 6);
    if (count < 4 || !toInt(f[1], &e.from) || !toInt(f[2], &e.to))
        return false;
    e.direction = latin1(f[3]);
    e.restriction = count >= 5 ? latin1(f[4]) : QString();
    e.name = count >= 6 ? utf8(restOfLine(row, f[5])) : QString();
    m_airport.edges.push_back(std::move(e));
    return true;
}

void AptDatParser::notePosition(QByteArrayView row)
{
    QByteArrayView f[3];
    if (splitBlanks(row, f, 3) == 3 && readLatLon(f[1], f[2], &m_anyLat, &m_anyLon))
        m_hasAnyPosition = true;
}
