#include "map/basemapdata.h"

#include <QFile>
#include <QSet>
#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

// Reads the varints and doubles of the form, remembering the first problem.
class Reader
{
public:
    explicit Reader(const QByteArray &bytes) : m_data(bytes.constData()), m_size(bytes.size()) {}

    bool failed() const { return !m_error.isEmpty(); }
    const QString &error() const { return m_error; }
    qsizetype remaining() const { return m_size - m_pos; }

    void fail(const QString &why)
    {
        if (m_error.isEmpty())
            m_error = QStringLiteral("%1 at byte %2").arg(why).arg(m_pos);
    }

    quint64 varint()
    {
        quint64 value = 0;
        for (int shift = 0; shift < 64; shift += 7) {
            if (m_pos >= m_size) {
                fail(QStringLiteral("truncated"));
                return 0;
            }
            const auto byte = static_cast<unsigned char>(m_data[m_pos++]);
            value |= quint64(byte & 0x7f) << shift;
            if (!(byte & 0x80))
                return value;
        }
        fail(QStringLiteral("overlong number"));
        return 0;
    }

    qint64 zigzag()
    {
        const quint64 v = varint();
        return qint64(v >> 1) ^ -qint64(v & 1);
    }

    // A count of items that each take at least minBytes: more than the bytes left is damage.
    int count(int minBytes)
    {
        const quint64 n = varint();
        if (failed())
            return 0;
        if (n > quint64(remaining() / std::max(1, minBytes)) || n > quint64(std::numeric_limits<int>::max())) {
            fail(QStringLiteral("count %1 beyond the data").arg(n));
            return 0;
        }
        return int(n);
    }

    double real()
    {
        if (remaining() < 8) {
            fail(QStringLiteral("truncated"));
            return 0.0;
        }
        quint64 bits = qFromLittleEndian<quint64>(m_data + m_pos);
        m_pos += 8;
        double value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

    QByteArray raw(int n)
    {
        if (remaining() < n) {
            fail(QStringLiteral("truncated"));
            return {};
        }
        QByteArray out(m_data + m_pos, n);
        m_pos += n;
        return out;
    }

private:
    const char *m_data;
    qsizetype m_size;
    qsizetype m_pos = 0;
    QString m_error;
};

void putVarint(QByteArray &out, quint64 value)
{
    do {
        unsigned char byte = value & 0x7f;
        value >>= 7;
        if (value)
            byte |= 0x80;
        out.append(char(byte));
    } while (value);
}

void putZigzag(QByteArray &out, qint64 value)
{
    putVarint(out, (quint64(value) << 1) ^ quint64(value >> 63));
}

void putReal(QByteArray &out, double value)
{
    quint64 bits;
    std::memcpy(&bits, &value, sizeof bits);
    char buffer[8];
    qToLittleEndian(bits, buffer);
    out.append(buffer, 8);
}

int arcIndex(int reference)
{
    return reference < 0 ? ~reference : reference;
}

bool readBand(Reader &in, BaseMapData::Band &band)
{
    band.minZoom = int(in.varint());
    band.maxZoom = int(in.varint());
    band.scaleLon = in.real();
    band.scaleLat = in.real();
    band.offsetLon = in.real();
    band.offsetLat = in.real();
    const int arcCount = in.count(1);
    for (int a = 0; a < arcCount && !in.failed(); ++a) {
        const int points = in.count(2);
        QList<QPoint> quantised;
        QList<QPointF> arc;
        quantised.reserve(points);
        arc.reserve(points);
        qint64 x = 0;
        qint64 y = 0;
        double minLon = 1e9, minLat = 1e9, maxLon = -1e9, maxLat = -1e9;
        for (int i = 0; i < points && !in.failed(); ++i) {
            x += in.zigzag();
            y += in.zigzag();
            if (std::abs(x) > std::numeric_limits<int>::max() || std::abs(y) > std::numeric_limits<int>::max()) {
                in.fail(QStringLiteral("coordinate out of range"));
                break;
            }
            quantised.append(QPoint(int(x), int(y)));
            const QPointF p(band.offsetLon + x * band.scaleLon, band.offsetLat + y * band.scaleLat);
            arc.append(p);
            minLon = std::min(minLon, p.x());
            maxLon = std::max(maxLon, p.x());
            minLat = std::min(minLat, p.y());
            maxLat = std::max(maxLat, p.y());
        }
        band.arcs.append(arc);
        band.quantised.append(quantised);
        band.arcBounds.append(QRectF(QPointF(minLon, minLat), QPointF(maxLon, maxLat)));
    }
    const int polygonCount = in.count(1);
    QSet<int> coastSeen;
    for (int p = 0; p < polygonCount && !in.failed(); ++p) {
        const int ringCount = in.count(1);
        QList<QList<int>> polygon;
        QRectF bounds;
        for (int r = 0; r < ringCount && !in.failed(); ++r) {
            const int refs = in.count(1);
            QList<int> ring;
            for (int i = 0; i < refs && !in.failed(); ++i) {
                const qint64 ref = in.zigzag();
                if (arcIndex(int(ref)) >= arcCount || ref > std::numeric_limits<int>::max() ||
                    ref < std::numeric_limits<int>::min()) {
                    in.fail(QStringLiteral("arc reference %1 out of range").arg(ref));
                    break;
                }
                ring.append(int(ref));
                const int index = arcIndex(int(ref));
                bounds = bounds.isNull() ? band.arcBounds.at(index) : bounds.united(band.arcBounds.at(index));
                if (!coastSeen.contains(index)) {
                    coastSeen.insert(index);
                    band.coasts.append(index);
                }
            }
            polygon.append(ring);
        }
        band.land.append(polygon);
        band.landBounds.append(bounds);
    }
    const int borderCount = in.count(1);
    for (int b = 0; b < borderCount && !in.failed(); ++b) {
        const quint64 index = in.varint();
        if (index >= quint64(arcCount)) {
            in.fail(QStringLiteral("border arc %1 out of range").arg(index));
            break;
        }
        band.borders.append(int(index));
    }
    return !in.failed();
}

} // namespace

std::optional<BaseMapData> BaseMapData::decode(const QByteArray &bytes, QString *error)
{
    Reader in(bytes);
    const QByteArray magic = in.raw(4);
    const QByteArray version = in.raw(1);
    if (in.failed() || magic != QByteArray(kMagic) || version.at(0) != char(kVersion)) {
        if (error)
            *error = QStringLiteral("not a base map (magic or version)");
        return std::nullopt;
    }
    BaseMapData data;
    const int bandCount = in.count(16);
    for (int b = 0; b < bandCount && !in.failed(); ++b) {
        Band band;
        if (readBand(in, band))
            data.m_bands.append(band);
    }
    if (!in.failed() && in.remaining() != 0)
        in.fail(QStringLiteral("trailing bytes"));
    if (in.failed()) {
        if (error)
            *error = in.error();
        return std::nullopt;
    }
    return data;
}

std::optional<BaseMapData> BaseMapData::loadBuiltIn(QString *error)
{
    QFile file(QString::fromLatin1(kResourcePath));
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QStringLiteral("resource %1 missing").arg(QString::fromLatin1(kResourcePath));
        return std::nullopt;
    }
    return decode(file.readAll(), error);
}

QByteArray BaseMapData::encode(const QList<Band> &bands)
{
    QByteArray out(kMagic, 4);
    out.append(char(kVersion));
    putVarint(out, quint64(bands.size()));
    for (const Band &band : bands) {
        putVarint(out, quint64(band.minZoom));
        putVarint(out, quint64(band.maxZoom));
        putReal(out, band.scaleLon);
        putReal(out, band.scaleLat);
        putReal(out, band.offsetLon);
        putReal(out, band.offsetLat);
        putVarint(out, quint64(band.quantised.size()));
        for (const QList<QPoint> &arc : band.quantised) {
            putVarint(out, quint64(arc.size()));
            QPoint last(0, 0);
            for (const QPoint &p : arc) {
                putZigzag(out, qint64(p.x()) - last.x());
                putZigzag(out, qint64(p.y()) - last.y());
                last = p;
            }
        }
        putVarint(out, quint64(band.land.size()));
        for (const QList<QList<int>> &polygon : band.land) {
            putVarint(out, quint64(polygon.size()));
            for (const QList<int> &ring : polygon) {
                putVarint(out, quint64(ring.size()));
                for (const int ref : ring)
                    putZigzag(out, ref);
            }
        }
        putVarint(out, quint64(band.borders.size()));
        for (const int index : band.borders)
            putVarint(out, quint64(index));
    }
    return out;
}

const BaseMapData::Band *BaseMapData::bandForZoom(int zoom) const
{
    const Band *chosen = nullptr;
    for (const Band &band : m_bands) {
        if (!chosen || band.minZoom <= zoom)
            chosen = &band;
    }
    return chosen;
}

QList<QPointF> BaseMapData::ringPoints(const Band &band, const QList<int> &ring)
{
    QList<QPointF> points;
    for (const int ref : ring) {
        const QList<QPointF> &arc = band.arcs.at(arcIndex(ref));
        const qsizetype n = arc.size();
        // Consecutive arcs share their joining point; it is kept once.
        for (qsizetype i = points.isEmpty() ? 0 : 1; i < n; ++i)
            points.append(ref < 0 ? arc.at(n - 1 - i) : arc.at(i));
    }
    return points;
}
