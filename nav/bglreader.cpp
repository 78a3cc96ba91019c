#include "nav/bglreader.h"

#include "nav/bglreader_p.h"

#include <QFile>
#include <QHash>

#include <iterator>

namespace {

constexpr qint64 kHeaderSize = 56;
constexpr quint16 kMagic = 0x1992;
constexpr quint32 kMaxSections = 100;
constexpr qint64 kSectionEntrySize = 20;
constexpr quint32 kMaxFirstSectionType = 200;

constexpr quint32 kSectionAirport = 0x03;
constexpr quint32 kSectionVor = 0x13;
constexpr quint32 kSectionNdb = 0x17;
constexpr quint32 kSectionMarker = 0x18;
constexpr quint32 kSectionBoundary = 0x20;
constexpr quint32 kSectionWaypoint = 0x22;

// An NDB record is read only when its last field, the region word ending at offset 40, lies
// inside the file: a field is never read in part.
constexpr qint64 kNdbRecordEnd = 40;
constexpr int kMaxNdbRecordsPerSubsection = 1000;

// A well-formed file walks each byte a few times at most (records nested in records); a file
// whose tables point at the same data over and over stops after this many walks of its size.
constexpr qint64 kBudgetFactor = 8;
constexpr qint64 kBudgetSlack = 1 << 20;

constexpr char kIdentAlphabet[] = "  0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr quint32 kIdentBase = 38;

const BglEnum kSurfaces{"CONCRETE",   "GRASS",      "WATER", "CEMENT",  "ASPHALT", "GRASS", nullptr,  "CLAY",
                        "SNOW",       "ICE",        nullptr, nullptr,   "DIRT",    "CORAL", "GRAVEL", "OIL_TREATED",
                        "STEEL_MATS", "BITUMINOUS", "BRICK", "MACADAM", "PLANKS",  "SAND",  "SHALE",  "TARMAC"};
const BglEnum kComTypes{nullptr,
                        "ATIS",
                        "MULTICOM",
                        "UNICOM",
                        "CTAF",
                        "GROUND",
                        "TOWER",
                        "CLEARANCE",
                        "APPROACH",
                        "DEPARTURE",
                        "CENTER",
                        "FSS",
                        "AWOS",
                        "ASOS",
                        "CLEARANCE_PRE_TAXI",
                        "REMOTE_CLEARANCE_DELIVERY"};
// 11-14 (manual termination, course to altitude/distance, heading to altitude) occur in Prepar3D
// v5 fix fields; they stand for a plain waypoint.
const BglEnum kFixTypes{"",         "AIRPORT",           "VOR",      "NDB",       "TERMINAL_NDB",
                        "WAYPOINT", "TERMINAL_WAYPOINT", nullptr,    "LOCALIZER", "RUNWAY",
                        nullptr,    "WAYPOINT",          "WAYPOINT", "WAYPOINT",  "WAYPOINT"};
const BglEnum kLegTypes{nullptr, "AF", "CA", "CD", "CF", "CI", "CR", "DF", "FA", "FC", "FD", "FM",
                        "HA",    "HF", "HM", "IF", "PI", "RF", "TF", "VA", "VD", "VI", "VM", "VR"};
const BglEnum kApproachTypes{nullptr, "GPS", "VOR",    "NDB",    "ILS",  "LOCALIZER",
                             "SDF",   "LDA", "VORDME", "NDBDME", "RNAV", "LOCALIZER_BACKCOURSE",
                             "TACAN"};

} // namespace

QString BglBytes::text(qint64 offset, qint64 length, bool utf8) const
{
    if (!contains(offset, length))
        return QString();
    const char *begin = reinterpret_cast<const char *>(m_data + offset);
    const void *zero = std::memchr(begin, 0, size_t(length));
    const qsizetype used = zero ? static_cast<const char *>(zero) - begin : qsizetype(length);
    return utf8 ? QString::fromUtf8(begin, used) : QString::fromLatin1(begin, used);
}

QString bglRunwayIdent(int number, int designator)
{
    static const char *const kLanes[] = {"N", "NE", "E", "SE", "S", "SW", "W", "NW"};
    static const char *const kDesignators[] = {"", "L", "R", "C", "W", "A", "B"};
    QString ident;
    if (number >= 1 && number <= 36)
        ident = QStringLiteral("%1").arg(number, 2, 10, QLatin1Char('0'));
    else if (number >= 37 && number <= 44)
        ident = QString::fromLatin1(kLanes[number - 37]);
    else if (number != 0)
        ident = QString::number(number);
    if (designator > 0 && designator < int(std::size(kDesignators)))
        ident += QLatin1String(kDesignators[designator]);
    return ident;
}

QString bglSurfaceName(int code)
{
    return kSurfaces(code);
}

bool bglSurfaceIsHard(int code)
{
    // concrete, cement, asphalt, bituminous, tarmac
    return code == 0 || code == 3 || code == 4 || code == 0x11 || code == 0x17;
}

QString bglComTypeName(int code)
{
    return kComTypes(code);
}

QString bglFixTypeName(int code)
{
    return kFixTypes(code);
}

QString bglLegTypeName(int code)
{
    return kLegTypes(code);
}

QString bglApproachTypeName(int code)
{
    return kApproachTypes(code);
}

BglReader::BglReader(SimType simType, QObject *parent) : QObject(parent), m_simType(simType) {}

BglReader::~BglReader() = default;

QString BglReader::decodeIdent(quint32 value, bool shifted)
{
    if (value == 0)
        return QString();
    const quint32 v = shifted ? value >> 5 : value;
    int length = 5;
    if (v < kIdentBase)
        length = 1;
    else if (v < kIdentBase * kIdentBase)
        length = 2;
    else if (v < kIdentBase * kIdentBase * kIdentBase)
        length = 3;
    else if (v < kIdentBase * kIdentBase * kIdentBase * kIdentBase)
        length = 4;
    char text[5];
    quint32 rest = v;
    for (int i = length - 1; i >= 0; --i) {
        text[i] = kIdentAlphabet[rest % kIdentBase];
        rest /= kIdentBase;
    }
    return QString::fromLatin1(text, length).trimmed();
}

QString BglReader::extractString(const QByteArray &data, int offset, int length)
{
    return BglBytes(data).text(offset, length, false);
}

bool BglReader::parseFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        m_lastError = QStringLiteral("Cannot open: %1").arg(path);
        return false;
    }
    return parseData(file.readAll(), path);
}

bool BglReader::parseData(const QByteArray &data, const QString &sourceName)
{
    m_lastError.clear();
    m_truncated = false;
    const BglBytes d(data);
    if (d.size() < kHeaderSize) {
        m_lastError = QStringLiteral("File too small: %1").arg(sourceName);
        return false;
    }
    if (d.u16(2) != kMagic) {
        m_lastError = QStringLiteral("Not a BGL file (bad magic): %1").arg(sourceName);
        return false;
    }
    const quint32 sectionCount = d.u32(0x14);
    if (sectionCount > kMaxSections) {
        m_lastError = QStringLiteral("Too many sections (%1): %2").arg(sectionCount).arg(sourceName);
        return false;
    }

    QList<BglSection> sections;
    for (quint32 i = 0; i < sectionCount; ++i) {
        const qint64 entry = kHeaderSize + qint64(i) * kSectionEntrySize;
        if (!d.contains(entry, kSectionEntrySize)) {
            m_truncated = true;
            break;
        }
        BglSection s;
        s.type = d.u32(entry);
        s.subsectionCount = d.u32(entry + 8) & 0xFFFF;
        s.tableOffset = d.u32(entry + 12);
        s.tableSize = d.u32(entry + 16);
        sections.append(s);
    }
    if (!sections.isEmpty() && sections.first().type > kMaxFirstSectionType)
        return false;

    BglParseContext context{d,
                            m_simType == SimType::Msfs2020 || m_simType == SimType::Msfs2024,
                            d.size() * kBudgetFactor + kBudgetSlack,
                            false,
                            {},
                            m_records};
    for (const BglSection &s : std::as_const(sections)) {
        m_sectionTypes.append(s.type);
        m_distinctSectionTypes.insert(s.type);
        if (context.budget < 0)
            continue; // keep the bookkeeping, parse nothing more
        switch (s.type) {
        case kSectionAirport:
            bglParseAirportSection(context, s);
            break;
        case kSectionVor:
            bglParseVorSection(context, s);
            break;
        case kSectionNdb:
            bglParseNdbSection(context, s);
            break;
        case kSectionMarker:
            bglParseMarkerSection(context, s);
            break;
        case kSectionBoundary:
            bglParseBoundarySection(context, s);
            break;
        case kSectionWaypoint:
            bglParseWaypointSection(context, s);
            break;
        default:
            break;
        }
    }
    m_truncated = m_truncated || context.truncated;
    return true;
}

void bglParseNdbSection(BglParseContext &c, const BglSection &section)
{
    const BglBytes &d = c.d;
    const qint64 tableEnd = qint64(section.tableOffset) + section.tableSize;
    for (quint32 i = 0; i < section.subsectionCount; ++i) {
        const qint64 entry = qint64(section.tableOffset) + qint64(i) * 16;
        if (entry + 16 > tableEnd || !d.contains(entry, 16))
            return;
        const qint32 count = d.i32(entry + 4);
        const qint32 offset = d.i32(entry + 8);
        const qint32 byteSize = d.i32(entry + 12);
        if (count < 1 || offset < 1 || byteSize < 1 || offset >= d.size())
            return;
        // Records are taken at offset + i * byteSize, the subsection's size as stride.
        const int records = qMin(count, kMaxNdbRecordsPerSubsection);
        for (int r = 0; r < records; ++r) {
            const qint64 start = qint64(offset) + qint64(r) * byteSize;
            if (start + kNdbRecordEnd > d.size() || !c.spend(kNdbRecordEnd))
                break;
            BglNdb ndb;
            ndb.typeWord = d.u16(start + 6);
            ndb.frequencyKhz = d.u32(start + 8) / 1000.0;
            ndb.lon = d.lon(start + 12);
            ndb.lat = d.lat(start + 16);
            ndb.rangeM = d.f32(start + 24);
            ndb.ident = BglReader::decodeIdent(d.u32(start + 32), true);
            ndb.region = BglReader::decodeIdent(d.u32(start + 36), false);
            c.out.ndbs.append(ndb);
        }
    }
}

void BglReader::mergeFrom(const BglReader &other)
{
    m_sectionTypes += other.m_sectionTypes;
    m_distinctSectionTypes.unite(other.m_distinctSectionTypes);
    m_records.airports += other.m_records.airports;
    m_records.vors += other.m_records.vors;
    m_records.ilses += other.m_records.ilses;
    m_records.ndbs += other.m_records.ndbs;
    m_records.markers += other.m_records.markers;
    m_records.waypoints += other.m_records.waypoints;
    m_records.airwaySegments += other.m_records.airwaySegments;
    m_records.boundaries += other.m_records.boundaries;
}

void BglReader::clear()
{
    m_lastError.clear();
    m_sectionTypes.clear();
    m_distinctSectionTypes.clear();
    m_truncated = false;
    m_records = BglRecordLists();
}

bool BglReader::isEmpty() const
{
    return m_records.airports.isEmpty() && m_records.vors.isEmpty() && m_records.ilses.isEmpty() &&
           m_records.ndbs.isEmpty() && m_records.markers.isEmpty() && m_records.waypoints.isEmpty() &&
           m_records.airwaySegments.isEmpty() && m_records.boundaries.isEmpty();
}

int BglReader::resolveAirwayEndpoints()
{
    // Idents repeat worldwide, so a fix is known by ident, region and kind together.
    const auto key = [](const QString &ident, const QString &region) { return ident + QLatin1Char('|') + region; };
    QHash<QString, QPointF> fixes, vors, ndbs;
    for (const BglWaypoint &w : std::as_const(m_records.waypoints))
        fixes.insert(key(w.ident, w.region), QPointF(w.lat, w.lon));
    for (const BglVor &v : std::as_const(m_records.vors))
        vors.insert(key(v.ident, v.region), QPointF(v.lat, v.lon));
    for (const BglNdb &n : std::as_const(m_records.ndbs))
        ndbs.insert(key(n.ident, n.region), QPointF(n.lat, n.lon));

    int resolved = 0;
    for (BglAirwaySegment &s : m_records.airwaySegments) {
        const QHash<QString, QPointF> &pool =
            s.toType == QLatin1String("VOR") ? vors : (s.toType == QLatin1String("NDB") ? ndbs : fixes);
        const auto it = pool.constFind(key(s.toIdent, s.toRegion));
        if (it == pool.constEnd())
            continue;
        s.toLat = it->x();
        s.toLon = it->y();
        ++resolved;
    }
    return resolved;
}
