// Radio aids, markers, waypoints with their airway legs, and airspace boundaries.

#include "nav/bglreader.h"
#include "nav/bglreader_p.h"
#include "nav/geodesy.h"

#include <QSet>

#include <cmath>

namespace {

constexpr quint16 kRecordVor = 0x0013;
constexpr quint16 kRecordName = 0x0019;
constexpr quint16 kRecordLocalizer = 0x0014;
constexpr quint16 kRecordGlideSlope = 0x0015;
constexpr quint16 kRecordDme = 0x0016;
constexpr quint16 kRecordMarker = 0x0018;
constexpr quint16 kRecordWaypoint = 0x0022;
constexpr quint16 kRecordBoundary = 0x0020;
constexpr quint16 kRecordGeopol = 0x0023;
constexpr quint16 kRecordBoundaryCom = 0x0012;
constexpr quint16 kRecordBoundaryGeometry = 0x0021;

constexpr qint64 kVorFixedPart = 0x28;
constexpr qint64 kMarkerSize = 0x1C;
constexpr qint64 kWaypointFixedPart = 0x1C;
constexpr qint64 kRouteEntrySize = 33;
constexpr qint64 kBoundaryFixedPart = 0x20;
constexpr qint64 kGeometryPointSize = 10;
constexpr int kVorTypeIls = 4;

// Arcs and circles become points every few degrees; one geometry record never grows past a
// fixed number of points, whatever a damaged file asks for.
constexpr double kArcStepDeg = 5.0;
constexpr int kMaxBoundaryPoints = 20000;
// Boundary arcs lie on the navigation database's sphere.
constexpr double kSphereRadiusNm = geodesy::kNavSphereRadiusNm;

const BglEnum kVorTypes{nullptr, "TERMINAL", "LOW", "HIGH", "ILS", "VOT"};
const BglEnum kMarkerTypes{"INNER", "MIDDLE", "OUTER", "BACKCOURSE"};
const BglEnum kWaypointTypes{nullptr, "NAMED", "UNNAMED", "VOR", "NDB", "OFF_ROUTE", "IAF", "FAF", "RNAV", "VFR"};
const BglEnum kRouteLevels{nullptr, "LOW", "HIGH", "BOTH"};
const BglEnum kBoundaryTypes{"NONE",      "CENTER",   "CLASS_A",       "CLASS_B",    "CLASS_C",    "CLASS_D",
                             "CLASS_E",   "CLASS_F",  "CLASS_G",       "TOWER",      "CLEARANCE",  "GROUND",
                             "DEPARTURE", "APPROACH", "MOA",           "RESTRICTED", "PROHIBITED", "WARNING",
                             "ALERT",     "DANGER",   "NATIONAL_PARK", "MODEC",      "RADAR",      "TRAINING"};
constexpr int kBoundaryTypeCount = 24;
const BglEnum kAltitudeTypes{"UNKNOWN", "MSL", "AGL", "UNLIMITED"};

// Points of an arc around centre from the last point of polygon to end (exclusive of both ends),
// the radius changing evenly between the two end distances.
void appendArc(QList<QPointF> &polygon, const QPointF &centre, const QPointF &end, bool clockwise)
{
    const QPointF start = polygon.last();
    const double startDist = geodesy::distanceNm(centre.x(), centre.y(), start.x(), start.y(), kSphereRadiusNm);
    const double startBearing = geodesy::initialBearingDeg(centre.x(), centre.y(), start.x(), start.y());
    const double endDist = geodesy::distanceNm(centre.x(), centre.y(), end.x(), end.y(), kSphereRadiusNm);
    const double endBearing = geodesy::initialBearingDeg(centre.x(), centre.y(), end.x(), end.y());
    double sweep = clockwise ? endBearing - startBearing : startBearing - endBearing;
    sweep = std::fmod(sweep + 720.0, 360.0);
    const int steps = int(sweep / kArcStepDeg);
    for (int i = 1; i < steps && polygon.size() < kMaxBoundaryPoints; ++i) {
        const double fraction = double(i) / steps;
        const double bearing = startBearing + (clockwise ? 1 : -1) * sweep * fraction;
        double lat, lon;
        geodesy::destination(centre.x(), centre.y(), bearing, startDist + (endDist - startDist) * fraction,
                             kSphereRadiusNm, &lat, &lon);
        polygon.append(QPointF(lat, lon));
    }
}

QList<QPointF> circle(const QPointF &centre, double radiusNm)
{
    QList<QPointF> points;
    for (double bearing = 0.0; bearing < 360.0; bearing += kArcStepDeg) {
        double lat, lon;
        geodesy::destination(centre.x(), centre.y(), bearing, radiusNm, kSphereRadiusNm, &lat, &lon);
        points.append(QPointF(lat, lon));
    }
    return points;
}

void readGeometry(const BglBytes &d, const BglRecordRef &r, BglBoundary &boundary)
{
    const int count = d.u16(r.offset + 6);
    QList<QPointF> current;
    QPointF origin;
    bool haveOrigin = false;
    int points = 0;
    for (int i = 0; i < count; ++i) {
        const qint64 p = r.offset + 8 + qint64(i) * kGeometryPointSize;
        if (p + kGeometryPointSize > r.end())
            break;
        const int type = d.u16(p) & 7;
        if (type == 6) {
            const double radiusNm = d.metresAsNm(p + 6);
            if (haveOrigin && radiusNm > 0.0 && radiusNm < 10000.0 && points < kMaxBoundaryPoints) {
                if (!current.isEmpty())
                    boundary.polygons.append(current);
                current.clear();
                boundary.polygons.append(circle(origin, radiusNm));
                points += int(boundary.polygons.last().size());
            }
            continue;
        }
        const double lat = d.lat(p + 2);
        const double lon = d.lon(p + 6);
        if (!bglValidPosition(lat, lon))
            continue;
        const QPointF point(lat, lon);
        if (type == 3) {
            origin = point;
            haveOrigin = true;
            continue;
        }
        if (type == 1 && !current.isEmpty()) {
            boundary.polygons.append(current);
            current.clear();
        }
        if ((type == 4 || type == 5) && haveOrigin && !current.isEmpty() && points < kMaxBoundaryPoints) {
            const qsizetype before = current.size();
            appendArc(current, origin, point, type == 4);
            points += int(current.size() - before);
        }
        if (type >= 1 && type <= 5) {
            current.append(point);
            ++points;
        }
    }
    if (!current.isEmpty())
        boundary.polygons.append(current);
}

} // namespace

void bglParseVorSection(BglParseContext &c, const BglSection &section)
{
    const BglBytes &d = c.d;
    const bool utf8 = c.utf8;
    // Only MSFS marks TACAN and VORTAC in the flags.
    const bool tacanFlags = utf8;
    bglForEachRecord(c, section, [&](const BglRecordRef &r) {
        if (r.id != kRecordVor || r.size < kVorFixedPart)
            return;
        const int type = d.u8(r.offset + 6);
        const int flags = d.u8(r.offset + 7);
        const double lat = d.lat(r.offset + 0x0C);
        const double lon = d.lon(r.offset + 0x08);
        if (!bglValidPosition(lat, lon))
            return;
        const quint32 regionWord = d.u32(r.offset + 0x24);

        QString name;
        bool hasLocalizer = false, hasGlideSlope = false, hasDme = false;
        BglIls ils;
        BglVor vor;
        bglWalkRecords(d, r.offset + kVorFixedPart, r.end(), [&](const BglRecordRef &s) {
            if (s.id == kRecordName) {
                name = d.text(s.offset + 6, s.size - 6, utf8);
            } else if (s.id == kRecordLocalizer && s.size >= 0x10) {
                hasLocalizer = true;
                ils.runwayIdent = bglRunwayIdent(d.u8(s.offset + 6), d.u8(s.offset + 7));
                ils.headingDegTrue = d.f32(s.offset + 8);
                ils.beamWidthDeg = d.f32(s.offset + 12);
            } else if (s.id == kRecordGlideSlope && s.size >= 0x1C) {
                hasGlideSlope = true;
                ils.gsLon = d.lon(s.offset + 8);
                ils.gsLat = d.lat(s.offset + 0x0C);
                ils.gsAltitudeFt = d.altitudeFt(s.offset + 0x10);
                ils.gsRangeNm = d.metresAsNm(s.offset + 0x14);
                ils.gsPitchDeg = d.f32(s.offset + 0x18);
            } else if (s.id == kRecordDme && s.size >= 0x18) {
                hasDme = true;
                vor.dmeLon = ils.dmeLon = d.lon(s.offset + 8);
                vor.dmeLat = ils.dmeLat = d.lat(s.offset + 0x0C);
                vor.dmeAltitudeFt = ils.dmeAltitudeFt = d.altitudeFt(s.offset + 0x10);
                vor.dmeRangeNm = ils.dmeRangeNm = d.metresAsNm(s.offset + 0x14);
            }
            return true;
        });

        if (type == kVorTypeIls || hasLocalizer) {
            ils.ident = BglReader::decodeIdent(d.u32(r.offset + 0x20), true);
            ils.region = bglRegion(regionWord);
            ils.airportIdent = bglAirportOf(regionWord);
            ils.name = name;
            ils.lat = lat;
            ils.lon = lon;
            ils.altitudeFt = d.altitudeFt(r.offset + 0x10);
            ils.frequencyMhz = d.u32(r.offset + 0x14) / 1000000.0;
            ils.rangeNm = d.metresAsNm(r.offset + 0x18);
            ils.magVarDeg = bglMagVar(d.f32(r.offset + 0x1C));
            ils.backCourse = flags & 0x04;
            ils.hasGlideSlope = hasGlideSlope;
            ils.hasDme = hasDme;
            c.out.ilses.append(ils);
            return;
        }
        vor.ident = BglReader::decodeIdent(d.u32(r.offset + 0x20), true);
        vor.region = bglRegion(regionWord);
        vor.airportIdent = bglAirportOf(regionWord);
        vor.name = name;
        vor.type = kVorTypes(type);
        vor.lat = lat;
        vor.lon = lon;
        vor.altitudeFt = d.altitudeFt(r.offset + 0x10);
        vor.frequencyMhz = d.u32(r.offset + 0x14) / 1000000.0;
        vor.rangeNm = d.metresAsNm(r.offset + 0x18);
        vor.magVarDeg = bglMagVar(d.f32(r.offset + 0x1C));
        vor.hasDme = hasDme;
        const bool vorSignal = flags & 0x01;
        if (tacanFlags && (flags & 0x02))
            vor.kind = vorSignal ? QStringLiteral("VORTAC") : QStringLiteral("TACAN");
        else if (!vorSignal)
            vor.kind = QStringLiteral("DME");
        else
            vor.kind = hasDme ? QStringLiteral("VORDME") : QStringLiteral("VOR");
        c.out.vors.append(vor);
    });
}

void bglParseMarkerSection(BglParseContext &c, const BglSection &section)
{
    const BglBytes &d = c.d;
    bglForEachRecord(c, section, [&](const BglRecordRef &r) {
        if (r.id != kRecordMarker || r.size < kMarkerSize)
            return;
        BglMarker m;
        m.lon = d.lon(r.offset + 0x08);
        m.lat = d.lat(r.offset + 0x0C);
        if (!bglValidPosition(m.lat, m.lon))
            return;
        m.headingDegTrue = d.u8(r.offset + 6) * 360.0 / 255.0;
        m.type = kMarkerTypes(d.u8(r.offset + 7));
        m.altitudeFt = d.altitudeFt(r.offset + 0x10);
        m.ident = BglReader::decodeIdent(d.u32(r.offset + 0x14), true);
        m.region = bglRegion(d.u32(r.offset + 0x18));
        c.out.markers.append(m);
    });
}

void bglParseWaypointSection(BglParseContext &c, const BglSection &section)
{
    bglForEachRecord(c, section, [&](const BglRecordRef &r) { bglParseWaypointRecord(c, r, QString()); });
}

bool bglParseWaypointRecord(BglParseContext &c, const BglRecordRef &r, const QString &airportIdent)
{
    const BglBytes &d = c.d;
    if (r.id != kRecordWaypoint || r.size < kWaypointFixedPart)
        return false;
    BglWaypoint w;
    w.type = kWaypointTypes(d.u8(r.offset + 6));
    w.lon = d.lon(r.offset + 0x08);
    w.lat = d.lat(r.offset + 0x0C);
    w.magVarDeg = bglMagVar(d.f32(r.offset + 0x10));
    w.ident = BglReader::decodeIdent(d.u32(r.offset + 0x14), true);
    const quint32 regionWord = d.u32(r.offset + 0x18);
    w.region = bglRegion(regionWord);
    w.airportIdent = bglAirportOf(regionWord);
    if (w.airportIdent.isEmpty())
        w.airportIdent = airportIdent;
    // Entries parked on a pole are disabled ones; only the north pole fix really sits there.
    if (!bglValidPosition(w.lat, w.lon) || (std::abs(w.lat) >= 90.0 && w.ident != QLatin1String("NPOLE")))
        return false;
    c.out.waypoints.append(w);

    const int routes = d.u8(r.offset + 7);
    const bool utf8 = c.utf8;
    for (int i = 0; i < routes; ++i) {
        const qint64 e = r.offset + kWaypointFixedPart + qint64(i) * kRouteEntrySize;
        if (e + kRouteEntrySize > r.end())
            break;
        // Each waypoint lists its next and previous fix; taking only "next" yields every leg once.
        const quint32 next = d.u32(e + 9);
        const QString toIdent = BglReader::decodeIdent(next, true);
        if (toIdent.isEmpty())
            continue;
        BglAirwaySegment s;
        s.level = kRouteLevels(d.u8(e));
        s.name = d.text(e + 1, 8, utf8).trimmed();
        s.fromIdent = w.ident;
        s.fromRegion = w.region;
        s.fromLat = w.lat;
        s.fromLon = w.lon;
        s.toIdent = toIdent;
        s.toRegion = bglRegion(d.u32(e + 13));
        const int toType = next & 7;
        s.toType =
            toType == 2 ? QStringLiteral("VOR") : (toType == 3 ? QStringLiteral("NDB") : QStringLiteral("WAYPOINT"));
        s.minimumAltitudeFt = d.metresAsFeet(e + 17);
        c.out.airwaySegments.append(s);
    }
    return true;
}

void bglParseBoundarySection(BglParseContext &c, const BglSection &section)
{
    const BglBytes &d = c.d;
    // The boundary section's table only tells where its records begin: they run back to back
    // from the smallest offset it names, mixed with geopolitical lines, up to the end of the file.
    qint64 start = -1;
    const qint64 tableEnd = qint64(section.tableOffset) + section.tableSize;
    for (quint32 i = 0; i < section.subsectionCount; ++i) {
        const qint64 entry = qint64(section.tableOffset) + qint64(i) * 16;
        if (entry + 16 > tableEnd || !d.contains(entry, 16))
            break;
        const qint64 offset = d.u32(entry + 8);
        if (d.u32(entry + 12) > 0 && offset < d.size() && (start < 0 || offset < start))
            start = offset;
    }
    if (start < 0)
        return;

    const bool utf8 = c.utf8;
    // A second boundary section of the same file would walk the same records again.
    QSet<qint64> &seen = c.boundaryRecordsSeen;
    bglWalkRecords(d, start, d.size(), [&](const BglRecordRef &r) {
        if (seen.contains(r.offset) || !c.spend(r.size))
            return false;
        seen.insert(r.offset);
        if (r.id == kRecordGeopol)
            return true;
        if (r.id != kRecordBoundary)
            return false;
        const int type = d.u8(r.offset + 6);
        if (r.size < kBoundaryFixedPart || type >= kBoundaryTypeCount)
            return true;
        BglBoundary b;
        b.type = kBoundaryTypes(type);
        const int altitudeTypes = d.u8(r.offset + 7);
        b.lowerAltitudeType = kAltitudeTypes(altitudeTypes & 0x0F);
        b.upperAltitudeType = kAltitudeTypes(altitudeTypes >> 4);
        b.lowerAltitudeFt = d.altitudeFt(r.offset + 0x10);
        b.upperAltitudeFt = d.altitudeFt(r.offset + 0x1C);
        bglWalkRecords(d, r.offset + kBoundaryFixedPart, r.end(), [&](const BglRecordRef &s) {
            if (s.id == kRecordName)
                b.name = d.text(s.offset + 6, s.size - 6, utf8);
            else if (s.id == kRecordBoundaryCom && s.size >= 0x0C)
                b.comFrequencyMhz = d.u32(s.offset + 8) / 1000000.0;
            else if (s.id == kRecordBoundaryGeometry && s.size >= 8)
                readGeometry(d, s, b);
            return true;
        });
        c.out.boundaries.append(b);
        return true;
    });
}
