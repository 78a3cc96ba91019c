// The airport section: the airport record of each simulator generation and its sub-records
// (runways, starts, COM frequencies, taxiway points, parkings, paths and names). Procedures are
// in bglreader_procedure.cpp.

#include "nav/bglreader.h"
#include "nav/bglreader_p.h"
#include "nav/geodesy.h"

#include <cmath>

namespace {

constexpr quint16 kAirportFs9 = 0x0003;
constexpr quint16 kAirportFsx = 0x003C;
constexpr quint16 kAirportP3d5 = 0x00AB;
constexpr quint16 kAirportMsfs = 0x0056;

constexpr quint16 kSubName = 0x0019;
constexpr quint16 kSubRunwayFsx = 0x0004;
constexpr quint16 kSubRunwayP3d = 0x003E;
constexpr quint16 kSubRunwayMsfs = 0x00CE;
constexpr quint16 kSubStart = 0x0011;
constexpr quint16 kSubCom = 0x0012;
constexpr quint16 kSubTaxiPoints = 0x001A;
constexpr quint16 kSubTaxiPointsP3d5 = 0x00AC;
constexpr quint16 kSubParkingFs9 = 0x001B;
constexpr quint16 kSubParking = 0x003D;
constexpr quint16 kSubParkingP3d5 = 0x00AD;
constexpr quint16 kSubParkingMsfs = 0x00E7;
constexpr quint16 kSubTaxiPaths = 0x001C;
constexpr quint16 kSubTaxiPathsP3d4 = 0x0040;
constexpr quint16 kSubTaxiPathsP3d5 = 0x00AE;
constexpr quint16 kSubTaxiPathsMsfs = 0x00D4;
constexpr quint16 kSubTaxiNames = 0x001D;
constexpr quint16 kSubApproach = 0x0024;
constexpr quint16 kSubApproachMsfs = 0x00FA;
constexpr quint16 kSubDeparture = 0x0042;
constexpr quint16 kSubArrival = 0x0048;
constexpr quint16 kSubTerminalWaypoint = 0x0022;
constexpr quint16 kSubDelete = 0x0033;
constexpr quint16 kSubDeleteMsfs = 0x00DB;

constexpr qint64 kRunwayFixedFsx = 0x34;
constexpr qint64 kRunwayFixedP3d = 0x44;
constexpr qint64 kRunwayFixedMsfs = 0x60;
constexpr qint64 kListHeader = 8; // record header and the u16 entry count
constexpr int kPathTypeRunway = 2;
constexpr int kPathTypeParking = 3;

qint64 airportFixedPart(quint16 id)
{
    switch (id) {
    case kAirportFs9:
        return 0x34;
    case kAirportFsx:
        return 0x38;
    case kAirportP3d5:
        return 0x3C;
    case kAirportMsfs:
        return 0x44;
    default:
        return 0;
    }
}

bool knownAirportSubrecord(quint16 id)
{
    switch (id) {
    case 0x0019:
    case 0x0004:
    case 0x003E:
    case 0x00CE:
    case 0x0011:
    case 0x0012:
    case 0x0026:
    case 0x001A:
    case 0x00AC:
    case 0x003D:
    case 0x001B:
    case 0x00AD:
    case 0x00E7:
    case 0x001C:
    case 0x0040:
    case 0x00AE:
    case 0x00D4:
    case 0x001D:
    case 0x0024:
    case 0x00FA:
    case 0x0042:
    case 0x0048:
    case 0x0022:
    case 0x0033:
    case 0x00DB:
    case 0x003A:
    case 0x00DE:
    case 0x0066:
    case 0x0037:
    case 0x0030:
    case 0x0041:
    case 0x00AF:
    case 0x00B0:
    case 0x00D3:
    case 0x00D0:
    case 0x0031:
    case 0x0038:
    case 0x0039:
    case 0x003B:
        return true;
    default:
        return false;
    }
}

// The record id names the generation, but some compilers pair an id with another generation's
// fixed part; the sub-records start where a known sub-record header really sits.
qint64 firstSubrecord(const BglBytes &d, const BglRecordRef &r)
{
    const qint64 expected = airportFixedPart(r.id);
    for (const qint64 candidate : {expected, qint64(0x38), qint64(0x3C), qint64(0x34), qint64(0x44)}) {
        if (candidate == r.size)
            return candidate;
        if (candidate + kBglRecordHeader > r.size)
            continue;
        const quint16 id = d.u16(r.offset + candidate);
        const qint64 size = d.u32(r.offset + candidate + 2);
        if (knownAirportSubrecord(id) && size >= kBglRecordHeader && size <= r.size - candidate)
            return candidate;
    }
    return expected;
}

const BglEnum kParkingNames{
    "NONE",      "PARKING",    "N_PARKING", "NE_PARKING", "E_PARKING", "SE_PARKING", "S_PARKING", "SW_PARKING",
    "W_PARKING", "NW_PARKING", "GATE",      "DOCK",       "GATE_A",    "GATE_B",     "GATE_C",    "GATE_D",
    "GATE_E",    "GATE_F",     "GATE_G",    "GATE_H",     "GATE_I",    "GATE_J",     "GATE_K",    "GATE_L",
    "GATE_M",    "GATE_N",     "GATE_O",    "GATE_P",     "GATE_Q",    "GATE_R",     "GATE_S",    "GATE_T",
    "GATE_U",    "GATE_V",     "GATE_W",    "GATE_X",     "GATE_Y",    "GATE_Z"};
// The same names as people read them: "Gate B", "N Parking".
const BglEnum kParkingDisplayNames{
    "",          "Parking",    "N Parking", "NE Parking", "E Parking", "SE Parking", "S Parking", "SW Parking",
    "W Parking", "NW Parking", "Gate",      "Dock",       "Gate A",    "Gate B",     "Gate C",    "Gate D",
    "Gate E",    "Gate F",     "Gate G",    "Gate H",     "Gate I",    "Gate J",     "Gate K",    "Gate L",
    "Gate M",    "Gate N",     "Gate O",    "Gate P",     "Gate Q",    "Gate R",     "Gate S",    "Gate T",
    "Gate U",    "Gate V",     "Gate W",    "Gate X",     "Gate Y",    "Gate Z"};
const BglEnum kParkingTypes{"NONE",          "RAMP_GA",     "RAMP_GA_SMALL",  "RAMP_GA_MEDIUM",
                            "RAMP_GA_LARGE", "RAMP_CARGO",  "RAMP_MIL_CARGO", "RAMP_MIL_COMBAT",
                            "GATE_SMALL",    "GATE_MEDIUM", "GATE_HEAVY",     "DOCK_GA",
                            "FUEL",          "VEHICLE",     "RAMP_GA_EXTRA",  "GATE_EXTRA"};
const BglEnum kPushBack{"NONE", "LEFT", "RIGHT", "BOTH"};
const BglEnum kVasiTypes{nullptr, "VASI21", "VASI31",   "VASI22", "VASI32", "VASI23", "VASI33",
                         "PAPI2", "PAPI4",  "TRICOLOR", "PVASI",  "TVASI",  "BALL",   "APAP_PANELS"};
const BglEnum kApproachLights{"",     "ODALS",   "MALSF",    "MALSR", "SSALF", "SSALR", "ALSF1", "ALSF2",
                              "RAIL", "CALVERT", "CALVERT2", "MALS",  "SALS",  "SSALS", "SALSF"};
const BglEnum kStartTypes{nullptr, "RUNWAY", "WATER", "HELIPAD", "TRACK"};
const BglEnum kTaxiPointTypes{
    nullptr, "NORMAL", "HOLD_SHORT", nullptr, "ILS_HOLD_SHORT", "HOLD_SHORT_NO_DRAW", "ILS_HOLD_SHORT_NO_DRAW"};
const BglEnum kPathTypes{nullptr, "TAXI", "RUNWAY", "PARKING", "PATH", "CLOSED", "VEHICLE", "ROAD", "PAINTED_LINE"};

void parseRunway(const BglBytes &d, const BglRecordRef &s, BglAirport &airport)
{
    if (s.size < kRunwayFixedFsx)
        return;
    const qint64 o = s.offset;
    BglRunway rw;
    const int surface = d.u16(o + 6) & 0x7F;
    rw.surface = bglSurfaceName(surface);
    rw.isHardSurface = bglSurfaceIsHard(surface);
    rw.primary.ident = bglRunwayIdent(d.u8(o + 8), d.u8(o + 9));
    rw.secondary.ident = bglRunwayIdent(d.u8(o + 0x0A), d.u8(o + 0x0B));
    rw.primary.ilsIdent = BglReader::decodeIdent(d.u32(o + 0x0C), false);
    rw.secondary.ilsIdent = BglReader::decodeIdent(d.u32(o + 0x10), false);
    rw.lon = d.lon(o + 0x14);
    rw.lat = d.lat(o + 0x18);
    if (!bglValidPosition(rw.lat, rw.lon))
        return;
    rw.altitudeFt = d.altitudeFt(o + 0x1C);
    rw.lengthFt = d.metresAsFeet(o + 0x20);
    rw.widthFt = d.metresAsFeet(o + 0x24);
    rw.headingDegTrue = d.f32(o + 0x28);
    rw.patternAltitudeFt = d.metresAsFeet(o + 0x2C);
    rw.markingFlags = d.u16(o + 0x30);
    rw.lightFlags = d.u8(o + 0x32);
    const int pattern = d.u8(o + 0x33);

    // The file gives the centre; each end lies half a length away along the runway.
    const double halfNm = rw.lengthFt / 2.0 * BglBytes::kMetresPerFoot / BglBytes::kMetresPerNm;
    rw.primary.headingDegTrue = rw.headingDegTrue;
    rw.secondary.headingDegTrue = std::fmod(rw.headingDegTrue + 180.0, 360.0);
    geodesy::destination(rw.lat, rw.lon, rw.secondary.headingDegTrue, halfNm, geodesy::kNavSphereRadiusNm,
                         &rw.primary.lat, &rw.primary.lon);
    geodesy::destination(rw.lat, rw.lon, rw.headingDegTrue, halfNm, geodesy::kNavSphereRadiusNm, &rw.secondary.lat,
                         &rw.secondary.lon);
    rw.primary.takeoffAllowed = !(pattern & 0x01);
    rw.primary.landingAllowed = !(pattern & 0x02);
    rw.primary.rightPattern = pattern & 0x04;
    rw.secondary.takeoffAllowed = !(pattern & 0x08);
    rw.secondary.landingAllowed = !(pattern & 0x10);
    rw.secondary.rightPattern = pattern & 0x20;
    rw.primary.closed = rw.markingFlags & (1u << 9);
    rw.secondary.closed = rw.markingFlags & (1u << 10);

    const qint64 fixed =
        s.id == kSubRunwayFsx ? kRunwayFixedFsx : (s.id == kSubRunwayP3d ? kRunwayFixedP3d : kRunwayFixedMsfs);
    bglWalkRecords(d, o + qMin(fixed, s.size), s.end(), [&](const BglRecordRef &sub) {
        const quint16 id = sub.id;
        const bool primary = id == 0x05 || id == 0x07 || id == 0x09 || id == 0x0B || id == 0x0C || id == 0x0F ||
                             id == 0x65 || id == 0xDF;
        BglRunwayEnd &end = primary ? rw.primary : rw.secondary;
        if ((id >= 0x05 && id <= 0x0A) || id == 0x65 || id == 0x66) {
            // MSFS puts a material GUID between the surface and the length.
            const qint64 length = sub.offset + (sub.size >= 0x20 ? 0x18 : 0x08);
            if (length + 8 > sub.end())
                return true;
            const double feet = d.metresAsFeet(length);
            if (id == 0x05 || id == 0x06)
                end.offsetThresholdFt = feet;
            else if (id == 0x07 || id == 0x08)
                end.blastPadFt = feet;
            else
                end.overrunFt = feet;
        } else if (id >= 0x0B && id <= 0x0E && sub.size >= 0x18 && end.vasiType.isEmpty()) {
            end.vasiType = kVasiTypes(d.u16(sub.offset + 6));
            end.vasiPitchDeg = d.f32(sub.offset + 0x14);
        } else if ((id == 0x0F || id == 0x10 || id == 0xDF || id == 0xE0) && sub.size >= 8) {
            const int flags = d.u8(sub.offset + 6);
            end.approachLights = kApproachLights(flags & 0x1F);
            end.endLights = flags & 0x20;
            end.reil = flags & 0x40;
            end.touchdownLights = flags & 0x80;
            end.strobeCount = d.u8(sub.offset + 7);
        }
        return true;
    });
    airport.runways.append(rw);
}

void parseStart(const BglBytes &d, const BglRecordRef &s, BglAirport &airport, int &helipadStarts)
{
    if (s.size < 0x18)
        return;
    BglStart start;
    const int kind = d.u8(s.offset + 7);
    start.type = kStartTypes(kind >> 4);
    start.runwayIdent =
        (kind >> 4) == 3 ? QString::number(++helipadStarts) : bglRunwayIdent(d.u8(s.offset + 6), kind & 0x0F);
    start.lon = d.lon(s.offset + 8);
    start.lat = d.lat(s.offset + 0x0C);
    start.altitudeFt = d.altitudeFt(s.offset + 0x10);
    start.headingDegTrue = d.f32(s.offset + 0x14);
    if (bglValidPosition(start.lat, start.lon))
        airport.starts.append(start);
}

void parseCom(const BglBytes &d, const BglRecordRef &s, BglAirport &airport, bool utf8)
{
    if (s.size < 0x0C)
        return;
    BglComFreq com;
    // Prepar3D v5 writes the same codes with 0x07 in the high byte.
    com.type = bglComTypeName(d.u16(s.offset + 6) & 0xFF);
    com.frequencyMhz = d.u32(s.offset + 8) / 1000000.0;
    com.name = d.text(s.offset + 0x0C, s.size - 0x0C, utf8);
    if (com.frequencyMhz > 0.0) // MSFS carries placeholder records without a frequency
        airport.comFrequencies.append(com);
}

void parseTaxiPoints(const BglBytes &d, const BglRecordRef &s, BglAirport &airport)
{
    const qint64 entrySize = s.id == kSubTaxiPointsP3d5 ? 16 : 12;
    const int count = d.u16(s.offset + 6);
    for (int i = 0; i < count; ++i) {
        const qint64 e = s.offset + kListHeader + qint64(i) * entrySize;
        if (e + entrySize > s.end())
            break;
        BglTaxiPoint p;
        p.index = int(airport.taxiPoints.size());
        p.type = kTaxiPointTypes(d.u8(e));
        p.orientation = d.u8(e + 1) ? QStringLiteral("REVERSE") : QStringLiteral("FORWARD");
        p.lon = d.lon(e + 4);
        p.lat = d.lat(e + 8);
        airport.taxiPoints.append(p); // kept even when damaged: paths refer to points by position
    }
}

void parseParkings(const BglBytes &d, const BglRecordRef &s, BglAirport &airport)
{
    const bool fs9 = s.id == kSubParkingFs9;
    // Bytes after the position and before the airline codes: P3D v5 an altitude, MSFS 20.
    const qint64 extra = s.id == kSubParkingP3d5 ? 4 : (s.id == kSubParkingMsfs ? 20 : 0);
    const qint64 positionAt = fs9 ? 12 : 28;
    const int count = d.u16(s.offset + 6);
    qint64 e = s.offset + kListHeader;
    for (int i = 0; i < count; ++i) {
        const quint32 packed = d.u32(e);
        const int airlines = int(packed >> 24);
        const qint64 entrySize = positionAt + 8 + extra + 4 * airlines;
        if (e + entrySize > s.end())
            break;
        BglParking p;
        p.index = int(airport.parkings.size());
        p.nameCode = kParkingNames(packed & 0x3F);
        p.pushBack = kPushBack((packed >> 6) & 3);
        p.type = kParkingTypes((packed >> 8) & 0x0F);
        p.number = int((packed >> 12) & 0xFFF);
        p.radiusFt = d.metresAsFeet(e + 4);
        p.headingDegTrue = d.f32(e + 8);
        p.lon = d.lon(e + positionAt);
        p.lat = d.lat(e + positionAt + 4);
        if (s.id == kSubParkingMsfs) {
            const int suffix = d.u8(e + positionAt + 9);
            if (suffix >= 0x0C && suffix <= 0x25)
                p.suffix = QChar(u'A' + (suffix - 0x0C));
        }
        for (int a = 0; a < airlines; ++a)
            p.airlineCodes.append(d.text(e + positionAt + 8 + extra + 4 * a, 4, false));
        const QString display = kParkingDisplayNames(packed & 0x3F);
        const QString number = QString::number(p.number) + p.suffix;
        p.name = display.isEmpty() || display == QLatin1String("UNKNOWN") ? number : display + u' ' + number;
        airport.parkings.append(p);
        e += entrySize;
    }
}

void parseTaxiPaths(const BglBytes &d, const BglRecordRef &s, BglAirport &airport, QList<int> &nameIndexes)
{
    qint64 entrySize = 20;
    if (s.id == kSubTaxiPathsP3d4)
        entrySize = 36;
    else if (s.id == kSubTaxiPathsP3d5)
        entrySize = 40;
    else if (s.id == kSubTaxiPathsMsfs)
        entrySize = 48;
    const int count = d.u16(s.offset + 6);
    for (int i = 0; i < count; ++i) {
        const qint64 e = s.offset + kListHeader + qint64(i) * entrySize;
        if (e + entrySize > s.end())
            break;
        BglTaxiPath p;
        const int type = d.u8(e + 4) & 0x0F;
        const quint16 endWord = d.u16(e + 2);
        p.type = kPathTypes(type);
        p.startIndex = d.u16(e);
        p.endIndex = s.id == kSubTaxiPathsMsfs ? d.u16(e + 46) : (endWord & 0x0FFF);
        p.endIsParking = type == kPathTypeParking;
        p.surface = bglSurfaceName(d.u8(e + 7) & 0x7F);
        p.widthFt = d.metresAsFeet(e + 8);
        p.weightLimit = d.u32(e + 12);
        if (type == kPathTypeRunway) {
            p.name = bglRunwayIdent(d.u8(e + 5), endWord >> 12);
            nameIndexes.append(-1);
        } else {
            nameIndexes.append(d.u8(e + 5));
        }
        airport.taxiPaths.append(p);
    }
}

void parseTaxiNames(const BglBytes &d, const BglRecordRef &s, BglAirport &airport, bool utf8)
{
    const int count = d.u16(s.offset + 6);
    for (int i = 0; i < count; ++i) {
        const qint64 e = s.offset + kListHeader + qint64(i) * 8;
        if (e + 8 > s.end())
            break;
        airport.taxiNames.append({int(airport.taxiNames.size()), d.text(e, 8, utf8).trimmed()});
    }
}

} // namespace

void bglParseAirportSection(BglParseContext &c, const BglSection &section)
{
    const BglBytes &d = c.d;
    bglForEachRecord(c, section, [&](const BglRecordRef &r) {
        const qint64 fixed = airportFixedPart(r.id);
        if (fixed == 0 || r.size < fixed)
            return;
        BglAirport a;
        a.recordId = r.id;
        a.lon = d.lon(r.offset + 0x0C);
        a.lat = d.lat(r.offset + 0x10);
        a.altitudeFt = d.altitudeFt(r.offset + 0x14);
        a.ident = BglReader::decodeIdent(d.u32(r.offset + 0x28), true);
        if (a.ident.isEmpty() || !bglValidPosition(a.lat, a.lon))
            return;
        // A tower position of zeros means the airport has none.
        a.hasTower = d.u32(r.offset + 0x18) != 0 || d.u32(r.offset + 0x1C) != 0;
        if (a.hasTower) {
            a.towerLon = d.lon(r.offset + 0x18);
            a.towerLat = d.lat(r.offset + 0x1C);
            a.towerAltitudeFt = d.altitudeFt(r.offset + 0x20);
        }
        a.magVarDeg = bglMagVar(d.f32(r.offset + 0x24));
        a.region = bglRegion(d.u32(r.offset + 0x2C));
        a.fuelFlags = d.u32(r.offset + 0x30);
        if (r.id == kAirportMsfs)
            a.closed = d.u8(r.offset + 0x36) & 0x04;
        bglParseAirportSubrecords(c, r, firstSubrecord(d, r), a);
        c.out.airports.append(a);
    });
}

bool bglParseAirportSubrecords(BglParseContext &c, const BglRecordRef &record, qint64 firstSubrecord,
                               BglAirport &airport)
{
    const BglBytes &d = c.d;
    const bool utf8 = c.utf8;
    int helipadStarts = 0;
    QList<int> pathNameIndexes;
    const bool clean = bglWalkRecords(d, record.offset + firstSubrecord, record.end(), [&](const BglRecordRef &s) {
        switch (s.id) {
        case kSubName:
            airport.name = d.text(s.offset + 6, s.size - 6, utf8);
            break;
        case kSubRunwayFsx:
        case kSubRunwayP3d:
        case kSubRunwayMsfs:
            parseRunway(d, s, airport);
            break;
        case kSubStart:
            parseStart(d, s, airport, helipadStarts);
            break;
        case kSubCom:
            parseCom(d, s, airport, utf8);
            break;
        case kSubTaxiPoints:
        case kSubTaxiPointsP3d5:
            parseTaxiPoints(d, s, airport);
            break;
        case kSubParkingFs9:
        case kSubParking:
        case kSubParkingP3d5:
        case kSubParkingMsfs:
            parseParkings(d, s, airport);
            break;
        case kSubTaxiPaths:
        case kSubTaxiPathsP3d4:
        case kSubTaxiPathsP3d5:
        case kSubTaxiPathsMsfs:
            parseTaxiPaths(d, s, airport, pathNameIndexes);
            break;
        case kSubTaxiNames:
            parseTaxiNames(d, s, airport, utf8);
            break;
        case kSubApproach:
        case kSubApproachMsfs:
            bglParseProcedure(c, s, airport);
            break;
        case kSubDeparture:
        case kSubArrival:
            bglParseDepartureArrival(c, s, airport);
            break;
        case kSubTerminalWaypoint:
            bglParseWaypointRecord(c, s, airport.ident);
            break;
        case kSubDelete:
        case kSubDeleteMsfs:
            airport.hasDeleteRecord = true;
            airport.deleteFlags = d.u16(s.offset + 6);
            break;
        default:
            break;
        }
        return true;
    });
    // Names may come after the paths that use them.
    for (qsizetype i = 0; i < airport.taxiPaths.size(); ++i) {
        const int index = pathNameIndexes.value(i, -1);
        if (index >= 0 && index < airport.taxiNames.size())
            airport.taxiPaths[i].name = airport.taxiNames.at(index).name;
    }
    return clean;
}
