#include "sim/simconnect/simconnectdatadefinition.h"

#include "sim/simconnect/simconnectbytes.h"

#include <cmath>
#include <limits>

namespace simconnect {

namespace {

int stringWidth(DataType type)
{
    switch (type) {
    case DataType::String8:
        return 8;
    case DataType::String32:
        return 32;
    case DataType::String64:
        return 64;
    case DataType::String128:
        return 128;
    case DataType::String256:
        return 256;
    case DataType::String260:
        return 260;
    default:
        return 0;
    }
}

template <typename T> T clampedInteger(double value)
{
    if (!std::isfinite(value))
        return 0;
    const double low = static_cast<double>(std::numeric_limits<T>::min());
    const double high = static_cast<double>(std::numeric_limits<T>::max());
    return static_cast<T>(std::clamp(std::trunc(value), low, high));
}

void writeInitPosition(ByteWriter &out, const InitPosition &p)
{
    out.f64(p.lat).f64(p.lon).f64(p.altFt).f64(p.pitch).f64(p.bank).f64(p.heading);
    out.u32(p.onGround).u32(p.airspeedKt);
}

InitPosition readInitPosition(ByteReader &in)
{
    InitPosition p;
    p.lat = in.f64();
    p.lon = in.f64();
    p.altFt = in.f64();
    p.pitch = in.f64();
    p.bank = in.f64();
    p.heading = in.f64();
    p.onGround = in.u32();
    p.airspeedKt = in.u32();
    return p;
}

} // namespace

int DataDefinition::fieldSize(DataType type)
{
    switch (type) {
    case DataType::Int32:
    case DataType::Float32:
        return 4;
    case DataType::Int64:
    case DataType::Float64:
        return 8;
    case DataType::InitPosition:
        return kInitPositionSize;
    default:
        break;
    }
    const int width = stringWidth(type);
    return width > 0 ? width : -1;
}

bool DataDefinition::isPackable() const
{
    for (const Datum &datum : m_datums) {
        if (fieldSize(datum.type) < 0)
            return false;
    }
    return true;
}

int DataDefinition::packedSize() const
{
    int size = 0;
    for (const Datum &datum : m_datums)
        size += std::max(0, fieldSize(datum.type));
    return size;
}

QByteArray DataDefinition::pack(const QList<DatumValue> &values) const
{
    if (!isPackable())
        return {};
    ByteWriter out;
    for (int i = 0; i < count(); ++i) {
        const DataType type = m_datums.at(i).type;
        const DatumValue value = i < values.size() ? values.at(i) : DatumValue(0.0);
        const double number = numberOf(value);
        switch (type) {
        case DataType::Int32:
            out.i32(clampedInteger<int32_t>(number));
            break;
        case DataType::Int64:
            out.i64(clampedInteger<int64_t>(number));
            break;
        case DataType::Float32:
            out.f32(static_cast<float>(number));
            break;
        case DataType::Float64:
            out.f64(number);
            break;
        case DataType::InitPosition: {
            const InitPosition *position = std::get_if<InitPosition>(&value);
            writeInitPosition(out, position ? *position : InitPosition());
            break;
        }
        default: {
            const QString *text = std::get_if<QString>(&value);
            out.fixedString(text ? *text : QString(), stringWidth(type));
            break;
        }
        }
    }
    return out.bytes();
}

std::optional<QList<DatumValue>> DataDefinition::unpack(const QByteArray &data) const
{
    if (!isPackable() || data.size() != packedSize())
        return std::nullopt;
    ByteReader in(data);
    QList<DatumValue> values;
    values.reserve(count());
    for (const Datum &datum : m_datums) {
        switch (datum.type) {
        case DataType::Int32:
            values.append(double(in.i32()));
            break;
        case DataType::Int64:
            values.append(double(in.i64()));
            break;
        case DataType::Float32:
            values.append(double(in.f32()));
            break;
        case DataType::Float64:
            values.append(in.f64());
            break;
        case DataType::InitPosition:
            values.append(readInitPosition(in));
            break;
        default:
            values.append(in.fixedString(stringWidth(datum.type)));
            break;
        }
    }
    if (!in.ok())
        return std::nullopt;
    return values;
}

QByteArray packInitPosition(const InitPosition &position)
{
    ByteWriter out;
    writeInitPosition(out, position);
    return out.bytes();
}

std::optional<InitPosition> unpackInitPosition(const QByteArray &data)
{
    if (data.size() != kInitPositionSize)
        return std::nullopt;
    ByteReader in(data);
    const InitPosition position = readInitPosition(in);
    if (!in.ok())
        return std::nullopt;
    return position;
}

double numberOf(const DatumValue &value)
{
    if (const double *number = std::get_if<double>(&value))
        return *number;
    return 0;
}

} // namespace simconnect
