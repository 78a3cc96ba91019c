#pragma once

// Writes small BGL files for the reader's tests, the fuzz loop and the benchmark: the file
// header, the section and subsection tables, and records built field by field. It knows only
// the framing; what goes into a record is up to the caller, so a test states every byte it
// relies on.

#include <QByteArray>
#include <QList>
#include <QString>

#include <cmath>
#include <cstring>

namespace bglw {

// Base-38 value of an identifier ("KTST"), unshifted.
inline quint32 packIdent(const QString &text)
{
    quint32 value = 0;
    for (const QChar c : text) {
        quint32 digit = 0;
        if (c.isDigit())
            digit = 2 + (c.unicode() - u'0');
        else if (c >= u'A' && c <= u'Z')
            digit = 12 + (c.unicode() - u'A');
        value = value * 38 + digit;
    }
    return value;
}
inline quint32 identWord(const QString &ident)
{
    return packIdent(ident) << 5;
}
inline quint32 regionWord(const QString &region, const QString &airport = QString())
{
    return packIdent(region) | (packIdent(airport) << 11);
}
// Procedure fix reference: kind in the low bits, ident above.
inline quint32 fixWord(int type, const QString &ident)
{
    return identWord(ident) | quint32(type);
}
inline qint32 rawLon(double lon)
{
    return qint32(std::llround((lon + 180.0) * 805306368.0 / 360.0));
}
inline qint32 rawLat(double lat)
{
    return qint32(std::llround((90.0 - lat) * 536870912.0 / 180.0));
}

inline void putU16(QByteArray &b, qsizetype at, quint16 v)
{
    b[at] = char(v & 0xFF);
    b[at + 1] = char(v >> 8);
}
inline void putU32(QByteArray &b, qsizetype at, quint32 v)
{
    for (int i = 0; i < 4; ++i)
        b[at + i] = char((v >> (8 * i)) & 0xFF);
}

// A record: u16 id, u32 size (header and children included), then the body.
class Rec
{
public:
    explicit Rec(quint16 id) : m_id(id) {}

    Rec &u8(int v)
    {
        m_body.append(char(v & 0xFF));
        return *this;
    }
    Rec &u16(int v)
    {
        const qsizetype at = m_body.size();
        m_body.resize(at + 2);
        putU16(m_body, at, quint16(v));
        return *this;
    }
    Rec &u32(quint32 v)
    {
        const qsizetype at = m_body.size();
        m_body.resize(at + 4);
        putU32(m_body, at, v);
        return *this;
    }
    Rec &i32(qint32 v) { return u32(quint32(v)); }
    Rec &f32(double v)
    {
        const float f = float(v);
        quint32 bits;
        std::memcpy(&bits, &f, sizeof bits);
        return u32(bits);
    }
    Rec &lonLat(double lat, double lon) { return i32(rawLon(lon)).i32(rawLat(lat)); }
    Rec &pos(double lat, double lon, double altitudeM)
    {
        return lonLat(lat, lon).i32(qint32(std::llround(altitudeM * 1000.0)));
    }
    // Fixed-length text, zero-padded (or cut).
    Rec &str(const QByteArray &text, int length)
    {
        m_body.append(text.left(length));
        return zeros(length - int(qMin<qsizetype>(length, text.size())));
    }
    Rec &bytes(const QByteArray &raw)
    {
        m_body.append(raw);
        return *this;
    }
    Rec &zeros(int n)
    {
        m_body.append(QByteArray(qMax(0, n), '\0'));
        return *this;
    }
    Rec &add(const Rec &child) { return bytes(child.data()); }

    QByteArray data() const
    {
        QByteArray out(6, '\0');
        putU16(out, 0, m_id);
        putU32(out, 2, quint32(6 + m_body.size()));
        return out + m_body;
    }
    int size() const { return int(6 + m_body.size()); }

private:
    quint16 m_id;
    QByteArray m_body;
};

struct Subsection
{
    QByteArray records;
    quint32 count = 1;
};

struct Section
{
    quint32 type = 0;
    QList<Subsection> subsections;
};

// Header (56 bytes, magic 0x1992), section table, every section's subsection table, then the
// records, offsets filled in.
inline QByteArray file(const QList<Section> &sections)
{
    QByteArray out(56, '\0');
    putU16(out, 0, 0x0201);
    putU16(out, 2, 0x1992);
    putU32(out, 4, 56);
    putU32(out, 0x14, quint32(sections.size()));
    const qsizetype sectionTable = out.size();
    out.append(QByteArray(20 * sections.size(), '\0'));
    QList<qsizetype> tables;
    for (const Section &s : sections) {
        tables.append(out.size());
        out.append(QByteArray(16 * s.subsections.size(), '\0'));
    }
    for (qsizetype i = 0; i < sections.size(); ++i) {
        const Section &s = sections.at(i);
        const qsizetype entry = sectionTable + 20 * i;
        putU32(out, entry, s.type);
        putU32(out, entry + 4, 1);
        putU32(out, entry + 8, quint32(s.subsections.size()));
        putU32(out, entry + 12, quint32(tables.at(i)));
        putU32(out, entry + 16, quint32(16 * s.subsections.size()));
        for (qsizetype j = 0; j < s.subsections.size(); ++j) {
            const qsizetype sub = tables.at(i) + 16 * j;
            putU32(out, sub + 4, s.subsections.at(j).count);
            putU32(out, sub + 8, quint32(out.size()));
            putU32(out, sub + 12, quint32(s.subsections.at(j).records.size()));
            out.append(s.subsections.at(j).records);
        }
    }
    return out;
}

// One section with one subsection holding the given records.
inline Section section(quint32 type, const QList<Rec> &records)
{
    Subsection sub;
    sub.count = quint32(records.size());
    for (const Rec &r : records)
        sub.records += r.data();
    return Section{type, {sub}};
}

// NDB record as the reader's NDB section expects it (40 bytes).
inline Rec ndb(const QString &ident, const QString &region, double lat, double lon, quint32 frequencyHz, double rangeM,
               quint16 typeWord = 0)
{
    Rec r(0x0017);
    r.u16(typeWord).u32(frequencyHz).lonLat(lat, lon).i32(0).f32(rangeM).u32(0).u32(identWord(ident));
    r.u32(regionWord(region));
    return r;
}

} // namespace bglw
