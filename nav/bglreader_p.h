#pragma once

// Internals shared by the BglReader sources: range-checked byte access, record framing and
// the decoding of the format's common encodings. Not part of the nav library's interface.

#include "nav/bglreader.h"

#include <QByteArray>
#include <QList>
#include <QSet>
#include <QString>

#include <cmath>
#include <cstring>
#include <initializer_list>

// Little-endian, range-checked view of a whole file. Integers are assembled byte by byte, so
// nothing depends on alignment; an access outside the data yields 0, so no parser can read past
// the buffer whatever offsets a file claims (the parsers check ranges first and stop; this is the
// second line of defence).
class BglBytes
{
public:
    explicit BglBytes(const QByteArray &data)
        : m_data(reinterpret_cast<const quint8 *>(data.constData())), m_size(data.size())
    {
    }

    qint64 size() const { return m_size; }
    bool contains(qint64 offset, qint64 length) const
    {
        return offset >= 0 && length >= 0 && offset <= m_size && length <= m_size - offset;
    }

    quint8 u8(qint64 offset) const { return contains(offset, 1) ? m_data[offset] : 0; }
    quint16 u16(qint64 offset) const
    {
        if (!contains(offset, 2))
            return 0;
        return quint16(m_data[offset] | (quint16(m_data[offset + 1]) << 8));
    }
    quint32 u32(qint64 offset) const
    {
        if (!contains(offset, 4))
            return 0;
        return quint32(m_data[offset]) | (quint32(m_data[offset + 1]) << 8) | (quint32(m_data[offset + 2]) << 16) |
               (quint32(m_data[offset + 3]) << 24);
    }
    qint32 i32(qint64 offset) const
    {
        const quint32 v = u32(offset);
        qint32 s;
        std::memcpy(&s, &v, sizeof s);
        return s;
    }
    // A float of the file; NaN and infinities (only damaged files have them) read as 0.
    double f32(qint64 offset) const
    {
        const quint32 v = u32(offset);
        float f;
        std::memcpy(&f, &v, sizeof f);
        return std::isfinite(f) ? double(f) : 0.0;
    }

    // Positions: longitude and latitude words, then (for lon/lat/alt triples) millimetres.
    double lon(qint64 offset) const { return i32(offset) * (360.0 / 805306368.0) - 180.0; }
    double lat(qint64 offset) const { return 90.0 - i32(offset) * (180.0 / 536870912.0); }
    double altitudeFt(qint64 offset) const { return i32(offset) / 1000.0 / kMetresPerFoot; }
    double metresAsFeet(qint64 offset) const { return f32(offset) / kMetresPerFoot; }
    double metresAsNm(qint64 offset) const { return f32(offset) / kMetresPerNm; }

    // Text of a fixed-length or rest-of-record field, cut at the first zero byte; UTF-8 for
    // MSFS files, Latin-1 otherwise. Empty when the field does not lie inside the data.
    QString text(qint64 offset, qint64 length, bool utf8) const;

    static constexpr double kMetresPerFoot = 0.3048;
    static constexpr double kMetresPerNm = 1852.0;

private:
    const quint8 *m_data;
    qint64 m_size;
};

// One entry of the section table.
struct BglSection
{
    quint32 type = 0;
    quint32 subsectionCount = 0; // low 16 bits of the table word
    quint32 tableOffset = 0;
    quint32 tableSize = 0;
};

// A record located in the file: its id and its whole size, header included.
struct BglRecordRef
{
    qint64 offset = 0;
    quint16 id = 0;
    qint64 size = 0;
    qint64 end() const { return offset + size; }
};

constexpr qint64 kBglRecordHeader = 6;

// Calls fn(record) for the records laid back to back in [begin, end) (clipped to the data) and
// returns true when the walk reached the end cleanly. Stops, returning false, at a record
// shorter than its own header or running past the end, and when fn returns false.
template <typename Fn> bool bglWalkRecords(const BglBytes &d, qint64 begin, qint64 end, Fn fn)
{
    end = qMin(end, d.size());
    qint64 pos = begin;
    while (pos < end) {
        if (end - pos < kBglRecordHeader)
            return false;
        BglRecordRef r;
        r.offset = pos;
        r.id = d.u16(pos);
        r.size = d.u32(pos + 2);
        if (r.size < kBglRecordHeader || r.size > end - pos)
            return false;
        if (!fn(r))
            return false;
        pos += r.size;
    }
    return true;
}

// What the section parsers share while one file is read: the data, the text encoding, the walk
// budget (a well-formed file walks each byte a few times at most; tables pointing at the same data
// over and over stop after that), the boundary records met, whether the file is cut short, and the
// lists they fill.
struct BglParseContext
{
    const BglBytes &d;
    bool utf8 = false;
    qint64 budget = 0;
    bool truncated = false;
    QSet<qint64> boundaryRecordsSeen;
    BglRecordLists &out;

    bool spend(qint64 bytes)
    {
        budget -= bytes;
        return budget >= 0;
    }
};

// Walks a section's subsection table and calls fn(record) for every record of every subsection,
// stepping by each record's size; stops the section at the first damage. A table or subsection
// that reaches past the data marks the file as cut short.
template <typename Fn> void bglForEachRecord(BglParseContext &c, const BglSection &section, Fn fn)
{
    const BglBytes &d = c.d;
    const qint64 tableEnd = qint64(section.tableOffset) + section.tableSize;
    for (quint32 i = 0; i < section.subsectionCount; ++i) {
        const qint64 entry = qint64(section.tableOffset) + qint64(i) * 16;
        if (entry + 16 > tableEnd)
            return;
        if (!d.contains(entry, 16)) {
            c.truncated = true;
            return;
        }
        const qint64 count = d.u32(entry + 4);
        const qint64 offset = d.u32(entry + 8);
        const qint64 size = d.u32(entry + 12);
        if (count < 1 || size < 1)
            return;
        if (offset >= d.size() || size > d.size() - offset) {
            c.truncated = true;
            if (offset >= d.size())
                return;
        }
        qint64 seen = 0;
        bool countReached = false;
        const bool clean = bglWalkRecords(d, offset, offset + size, [&](const BglRecordRef &r) {
            if (seen == count) {
                countReached = true;
                return false;
            }
            ++seen;
            if (!c.spend(r.size))
                return false;
            fn(r);
            return true;
        });
        if (!clean && !countReached)
            return;
    }
}

// The section parsers (one per section type) and the record parsers they share.
void bglParseAirportSection(BglParseContext &c, const BglSection &section);
void bglParseVorSection(BglParseContext &c, const BglSection &section);
void bglParseNdbSection(BglParseContext &c, const BglSection &section);
void bglParseMarkerSection(BglParseContext &c, const BglSection &section);
void bglParseBoundarySection(BglParseContext &c, const BglSection &section);
void bglParseWaypointSection(BglParseContext &c, const BglSection &section);
bool bglParseAirportSubrecords(BglParseContext &c, const BglRecordRef &record, qint64 firstSubrecord,
                               BglAirport &airport);
void bglParseProcedure(BglParseContext &c, const BglRecordRef &record, BglAirport &airport);
void bglParseDepartureArrival(BglParseContext &c, const BglRecordRef &record, BglAirport &airport);
bool bglParseWaypointRecord(BglParseContext &c, const BglRecordRef &record, const QString &airportIdent);

// Texts of an enumeration, made once and then shared, so that decoding a record allocates no
// text for them. Codes outside the table and gaps (nullptr) give the fallback.
class BglEnum
{
public:
    BglEnum(std::initializer_list<const char *> names, const char *fallback = "UNKNOWN")
        : m_fallback(QString::fromLatin1(fallback))
    {
        for (const char *name : names) {
            m_known.append(name != nullptr);
            m_texts.append(name ? QString::fromLatin1(name) : QString());
        }
    }
    QString operator()(int code) const
    {
        return code >= 0 && code < m_texts.size() && m_known.at(code) ? m_texts.at(code) : m_fallback;
    }

private:
    QList<QString> m_texts;
    QList<bool> m_known;
    QString m_fallback;
};

// Runway ident of a number (1-36, 37-44 for the water lanes N ... NW) and a designator code.
QString bglRunwayIdent(int number, int designator);
// Enumeration texts; codes outside a table give "UNKNOWN" (or empty where noted).
QString bglSurfaceName(int code);
bool bglSurfaceIsHard(int code);
QString bglComTypeName(int code);
QString bglFixTypeName(int code); // empty for 0
QString bglLegTypeName(int code);
QString bglApproachTypeName(int code);
// Packed region/airport word: bits 0-10 region, bits 11-31 airport.
inline QString bglRegion(quint32 word)
{
    return BglReader::decodeIdent(word & 0x7FF, false);
}
inline QString bglAirportOf(quint32 word)
{
    return BglReader::decodeIdent(word >> 11, false);
}
inline bool bglValidPosition(double lat, double lon)
{
    return lat >= -90.0 && lat <= 90.0 && lon >= -180.0 && lon <= 180.0;
}
// Magnetic variation as the file stores it (0..360), folded into -180..180.
inline double bglMagVar(double fileValue)
{
    return fileValue > 180.0 ? fileValue - 360.0 : fileValue;
}
