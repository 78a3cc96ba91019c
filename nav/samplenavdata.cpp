#include "nav/samplenavdata.h"

#include "nav/geodesy.h"
#include "nav/offlinenavdata.h"

#include <QtMath>

#include <cmath>

// Sample data: what the station shows when no navigation database exists yet. The airport
// reference points and elevations are the published ones; runway layouts are close to the real
// ones but simplified (not every runway, centres placed from the reference point). The PEK and SHA
// VOR/DMEs and the five fixes stand where the 2016 X-Plane navigation data (Robin A. Peel, GPL)
// puts them; that data has no entry for the CAN VOR or the four airport NDBs, which are placed
// by their airports. The airways join the sample's own points, so only their names are real.

namespace {

constexpr double kMetresPerNm = 1852.0;
constexpr double kFeetPerMetre = 3.28084;

AirportRecord makeAirport(const char *icao, const char *name, const char *city, double lat, double lon, int elevationFt)
{
    AirportRecord a;
    a.icao = QString::fromLatin1(icao);
    a.name = QString::fromLatin1(name);
    a.city = QString::fromLatin1(city);
    a.country = QStringLiteral("CN");
    a.lat = lat;
    a.lon = lon;
    a.elevation = elevationFt;
    a.hasTower = true;
    a.isHardSurface = true;
    return a;
}

// Both ends of one runway. The centre lies offsetM metres to the right of the airport
// reference point, seen along headingTrue; each threshold lies half the length from the centre.
void addRunway(OfflineNavData &data, const AirportRecord &airport, const char *ident, const char *reciprocal,
               double headingTrue, double offsetM, int lengthM, int widthM)
{
    const double cosLat = std::cos(qDegreesToRadians(airport.lat));
    const double h = qDegreesToRadians(headingTrue);
    const auto move = [cosLat](double lat, double lon, double bearing, double metres, double *outLat, double *outLon) {
        const double nm = metres / kMetresPerNm;
        *outLat = lat + nm / 60.0 * std::cos(bearing);
        *outLon = lon + nm / 60.0 * std::sin(bearing) / cosLat;
    };
    double centreLat;
    double centreLon;
    move(airport.lat, airport.lon, h + M_PI / 2.0, offsetM, &centreLat, &centreLon);

    for (int end = 0; end < 2; ++end) {
        RunwayRecord r;
        r.airportIcao = airport.icao;
        r.ident = QString::fromLatin1(end == 0 ? ident : reciprocal);
        r.length = qRound(lengthM * kFeetPerMetre);
        r.width = qRound(widthM * kFeetPerMetre);
        r.heading = end == 0 ? headingTrue : std::fmod(headingTrue + 180.0, 360.0);
        r.surface = QStringLiteral("ASPH");
        // The threshold of this end is behind the centre, against its own heading.
        move(centreLat, centreLon, qDegreesToRadians(r.heading) + M_PI, lengthM / 2.0, &r.lat, &r.lon);
        data.runways[airport.icao].append(r);
    }
}

NavaidRecord makeNavaid(const char *ident, const char *type, double lat, double lon, double freq, double rangeNm,
                        const char *airportIcao, bool hasDme)
{
    NavaidRecord n;
    n.ident = QString::fromLatin1(ident);
    n.type = QString::fromLatin1(type);
    n.lat = lat;
    n.lon = lon;
    n.freq = freq;
    n.rangeNm = rangeNm;
    n.airportIcao = QString::fromLatin1(airportIcao);
    n.hasDme = hasDme;
    return n;
}

WaypointRecord makeFix(const char *ident, double lat, double lon)
{
    WaypointRecord w;
    w.ident = QString::fromLatin1(ident);
    w.lat = lat;
    w.lon = lon;
    w.type = QStringLiteral("WPT");
    return w;
}

struct Point
{
    const char *ident;
    double lat;
    double lon;
};

void addAirway(OfflineNavData &data, const char *name, const char *level, std::initializer_list<Point> points)
{
    const Point *previous = nullptr;
    for (const Point &p : points) {
        if (previous) {
            AirwaySegment s;
            s.name = QString::fromLatin1(name);
            s.level = QString::fromLatin1(level);
            s.fromIdent = QString::fromLatin1(previous->ident);
            s.fromLat = previous->lat;
            s.fromLon = previous->lon;
            s.toIdent = QString::fromLatin1(p.ident);
            s.toLat = p.lat;
            s.toLon = p.lon;
            s.distance = geodesy::distanceNm(s.fromLat, s.fromLon, s.toLat, s.toLon, geodesy::kNavSphereRadiusNm);
            data.airways.append(s);
        }
        previous = &p;
    }
}

AirspaceRecord makeAirspace(int id, const char *name, const char *type, int bottomFt, int topFt,
                            std::initializer_list<QPointF> latLon)
{
    AirspaceRecord a;
    a.id = id;
    a.name = QString::fromLatin1(name);
    a.type = QString::fromLatin1(type);
    a.bottomAlt = bottomFt;
    a.topAlt = topFt;
    a.boundary = QList<QPointF>(latLon);
    return a;
}

} // namespace

void fillSampleNavData(OfflineNavData &data)
{
    const AirportRecord zbaa =
        makeAirport("ZBAA", "Beijing Capital International Airport", "Beijing", 40.0801, 116.5846, 116);
    const AirportRecord zspd =
        makeAirport("ZSPD", "Shanghai Pudong International Airport", "Shanghai", 31.1434, 121.8052, 13);
    const AirportRecord zsss =
        makeAirport("ZSSS", "Shanghai Hongqiao International Airport", "Shanghai", 31.1979, 121.3363, 10);
    const AirportRecord zggg =
        makeAirport("ZGGG", "Guangzhou Baiyun International Airport", "Guangzhou", 23.3925, 113.2988, 50);

    addRunway(data, zbaa, "36L", "18R", 356.0, -1000.0, 3800, 60);
    addRunway(data, zbaa, "36R", "18L", 356.0, 1000.0, 3200, 50);
    addRunway(data, zbaa, "01", "19", 1.0, 3000.0, 3800, 60);
    addRunway(data, zspd, "35L", "17R", 344.0, -1400.0, 3800, 60);
    addRunway(data, zspd, "35R", "17L", 344.0, 1400.0, 4000, 60);
    addRunway(data, zsss, "36L", "18R", 355.0, -180.0, 3300, 60);
    addRunway(data, zsss, "36R", "18L", 355.0, 180.0, 3400, 60);
    addRunway(data, zggg, "01", "19", 17.0, -1200.0, 3800, 60);
    addRunway(data, zggg, "02L", "20R", 17.0, 400.0, 3600, 45);
    addRunway(data, zggg, "02R", "20L", 17.0, 2000.0, 3800, 60);

    for (AirportRecord airport : {zbaa, zspd, zsss, zggg}) {
        const QList<RunwayRecord> &rw = data.runways.value(airport.icao);
        int longest = 0;
        for (const RunwayRecord &r : rw)
            longest = qMax(longest, r.length);
        airport.runwayCount = rw.size() / 2;
        airport.longestRunway = QStringLiteral("%1 ft").arg(longest);
        data.airports.insert(airport.icao, airport);
    }

    // VOR frequencies in MHz, NDB frequencies in kHz, as the navigation files give them.
    data.navaids = {
        makeNavaid("PEK", "VOR", 40.0483, 116.7350, 114.70, 130.0, "ZBAA", true),
        makeNavaid("SHA", "VOR", 31.2160, 121.3343, 117.20, 130.0, "ZSSS", true),
        makeNavaid("CAN", "VOR", 23.3840, 113.2960, 114.10, 130.0, "ZGGG", true),
        makeNavaid("PK", "NDB", 39.9780, 116.5770, 224.0, 50.0, "ZBAA", false),
        makeNavaid("BJ", "NDB", 40.1830, 116.5760, 272.0, 50.0, "ZBAA", false),
        makeNavaid("SH", "NDB", 31.1170, 121.3330, 375.0, 50.0, "ZSSS", false),
        makeNavaid("PF", "NDB", 31.0380, 121.8320, 365.0, 50.0, "ZSPD", false),
    };

    const Point pek{"PEK", 40.0483, 116.7350};
    const Point sha{"SHA", 31.2160, 121.3343};
    const Point can{"CAN", 23.3840, 113.2960};
    // KUBAT is listed in that data only in the Netherlands (near Emden), and is kept there, off
    // the Chinese airways.
    const Point kubat{"KUBAT", 53.336389, 6.993611};
    const Point dumet{"DUMET", 31.361667, 122.775000};
    const Point bekol{"BEKOL", 22.543333, 114.133333};
    const Point odulo{"ODULO", 33.166667, 121.628333};
    const Point elato{"ELATO", 22.333334, 117.500000};
    for (const Point &p : {kubat, dumet, bekol, odulo, elato})
        data.waypoints.append(makeFix(p.ident, p.lat, p.lon));

    addAirway(data, "G212", "LOW", {pek, odulo});
    addAirway(data, "A593", "HIGH", {sha, dumet});
    addAirway(data, "J35", "BOTH", {sha, elato, bekol, can});
    addAirway(data, "G330", "LOW", {odulo, sha});

    data.airspaces = {
        makeAirspace(1, "Shanghai TMA", "CLASS_C", 1000, 19700,
                     {QPointF(30.70, 120.80), QPointF(30.70, 122.40), QPointF(31.50, 122.60), QPointF(32.00, 121.90),
                      QPointF(31.70, 120.80)}),
        makeAirspace(2, "R-ALPHA", "RESTRICTED", 0, 15000,
                     {QPointF(39.60, 117.00), QPointF(39.60, 117.30), QPointF(39.80, 117.30), QPointF(39.80, 117.00)}),
    };
    data.finish();
}
