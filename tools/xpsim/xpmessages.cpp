#include "tools/xpsim/xpmessages.h"

#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

constexpr int kHeaderSize = 5;

qint32 readInt32(const QByteArray &data, int offset)
{
    return qFromLittleEndian<qint32>(data.constData() + offset);
}

float readFloat(const QByteArray &data, int offset)
{
    const quint32 bits = qFromLittleEndian<quint32>(data.constData() + offset);
    float value = 0.0f;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

double readDouble(const QByteArray &data, int offset)
{
    const quint64 bits = qFromLittleEndian<quint64>(data.constData() + offset);
    double value = 0.0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// A path in a fixed field: up to the first NUL, or the whole field when it is complete and has
// none. Trailing blanks are dropped (Laminar's own text pads with spaces). Only printable ASCII
// is accepted.
std::optional<QString> readPath(const QByteArray &data, int offset, int fieldSize)
{
    if (data.size() <= offset)
        return std::nullopt;
    const int available = int(std::min<qsizetype>(fieldSize, data.size() - offset));
    const QByteArray field = QByteArray::fromRawData(data.constData() + offset, available);
    qsizetype end = field.indexOf('\0');
    if (end < 0) {
        if (available < fieldSize)
            return std::nullopt;
        end = available;
    }
    while (end > 0 && field.at(end - 1) == ' ')
        --end;
    if (end == 0)
        return std::nullopt;
    for (qsizetype i = 0; i < end; ++i) {
        const uchar c = uchar(field.at(i));
        if (c <= 0x20 || c >= 0x7f)
            return std::nullopt;
    }
    return QString::fromLatin1(field.constData(), end);
}

} // namespace

QByteArray XpMessages::type(const QByteArray &datagram)
{
    return datagram.size() < kHeaderSize ? QByteArray() : datagram.left(4);
}

std::optional<XpMessages::RrefRequest> XpMessages::parseRref(const QByteArray &datagram)
{
    constexpr int kPathOffset = 13;
    if (type(datagram) != "RREF" || datagram.size() <= kPathOffset)
        return std::nullopt;
    RrefRequest request;
    request.frequencyHz = readInt32(datagram, 5);
    request.index = readInt32(datagram, 9);
    const std::optional<QString> path = readPath(datagram, kPathOffset, kRrefSize - kPathOffset);
    if (!path || request.frequencyHz < 0)
        return std::nullopt;
    request.path = *path;
    return request;
}

std::optional<XpMessages::DrefWrite> XpMessages::parseDref(const QByteArray &datagram)
{
    constexpr int kPathOffset = 9;
    if (type(datagram) != "DREF" || datagram.size() <= kPathOffset)
        return std::nullopt;
    DrefWrite write;
    write.value = readFloat(datagram, 5);
    const std::optional<QString> path = readPath(datagram, kPathOffset, kDrefSize - kPathOffset);
    if (!path || !std::isfinite(write.value))
        return std::nullopt;
    write.path = *path;
    return write;
}

std::optional<QString> XpMessages::parseCmnd(const QByteArray &datagram)
{
    if (type(datagram) != "CMND" || datagram.size() <= kHeaderSize)
        return std::nullopt;
    // No fixed struct: the command runs to its NUL or to the end of the datagram.
    const int length = int(std::min<qsizetype>(datagram.size() - kHeaderSize, kMaxCommandLength));
    QByteArray padded = datagram.mid(kHeaderSize, length);
    if (!padded.contains('\0'))
        padded.append('\0');
    return readPath(padded, 0, int(padded.size()));
}

std::optional<XpMessages::PrelRequest> XpMessages::parsePrel(const QByteArray &datagram)
{
    if (type(datagram) != "PREL" || datagram.size() < kPrelSize)
        return std::nullopt;
    PrelRequest request;
    request.startType = readInt32(datagram, 5);
    request.latDeg = readDouble(datagram, 29);
    request.lonDeg = readDouble(datagram, 37);
    request.elevationM = readDouble(datagram, 45);
    request.headingDegTrue = readDouble(datagram, 53);
    request.speedMps = readDouble(datagram, 61);
    const bool finite = std::isfinite(request.latDeg) && std::isfinite(request.lonDeg) &&
                        std::isfinite(request.elevationM) && std::isfinite(request.headingDegTrue) &&
                        std::isfinite(request.speedMps);
    if (!finite || std::fabs(request.latDeg) > 90.0 || std::fabs(request.lonDeg) > 180.0 ||
        request.elevationM < -500.0 || request.elevationM > 20000.0 || request.speedMps < 0.0 ||
        request.speedMps > 400.0 || std::fabs(request.headingDegTrue) > 3600.0)
        return std::nullopt;
    return request;
}

void XpMessages::appendPair(QByteArray *reply, qint32 index, float value)
{
    char bytes[8];
    quint32 bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    qToLittleEndian<qint32>(index, bytes);
    qToLittleEndian<quint32>(bits, bytes + 4);
    reply->append(bytes, sizeof bytes);
}
