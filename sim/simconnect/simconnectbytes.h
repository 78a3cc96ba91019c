#pragma once

#include <QByteArray>
#include <QString>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace simconnect {

// Reads little-endian values from a byte array without ever reading past its end: the first
// read that would overrun sets a sticky failure and every later read yields zero. Callers check
// ok() once at the end.
class ByteReader
{
public:
    explicit ByteReader(const QByteArray &bytes, int offset = 0) : m_bytes(bytes), m_pos(offset)
    {
        if (offset < 0 || offset > bytes.size())
            m_ok = false;
    }

    bool ok() const { return m_ok; }
    int position() const { return m_pos; }
    int remaining() const { return m_ok ? int(m_bytes.size()) - m_pos : 0; }

    uint32_t u32() { return readInt<uint32_t>(); }
    int32_t i32() { return static_cast<int32_t>(readInt<uint32_t>()); }
    int64_t i64() { return static_cast<int64_t>(readInt<uint64_t>()); }
    float f32()
    {
        const uint32_t bits = readInt<uint32_t>();
        float value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    double f64()
    {
        const uint64_t bits = readInt<uint64_t>();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    char byte()
    {
        if (!take(1))
            return 0;
        return m_bytes.at(m_pos - 1);
    }
    // A fixed-width, NUL-padded text field; the text ends at the first NUL. Latin-1 keeps every
    // byte of identifiers and names the simulator writes in its code page.
    QString fixedString(int width)
    {
        if (!take(width))
            return {};
        const char *start = m_bytes.constData() + m_pos - width;
        const auto length = static_cast<int>(qstrnlen(start, static_cast<uint>(width)));
        return QString::fromLatin1(start, length);
    }
    // Raw bytes of a field.
    QByteArray bytes(int count)
    {
        if (!take(count))
            return {};
        return m_bytes.mid(m_pos - count, count);
    }
    // Everything not read yet.
    QByteArray rest()
    {
        const int count = remaining();
        return bytes(count);
    }
    // A NUL-terminated text of at most maxLength bytes; a missing terminator ends at the data.
    QString terminatedString(int maxLength)
    {
        const int available = std::min(remaining(), maxLength);
        const char *start = m_bytes.constData() + m_pos;
        const auto length = static_cast<int>(qstrnlen(start, static_cast<uint>(available)));
        const QString text = QString::fromLatin1(start, length);
        m_pos += std::min(available, length + 1);
        return text;
    }

private:
    bool take(int count)
    {
        if (!m_ok || count < 0 || count > int(m_bytes.size()) - m_pos) {
            m_ok = false;
            return false;
        }
        m_pos += count;
        return true;
    }
    template <typename T> T readInt()
    {
        if (!take(sizeof(T)))
            return 0;
        T value = 0;
        for (size_t i = 0; i < sizeof(T); ++i)
            value |= static_cast<T>(static_cast<uint8_t>(m_bytes.at(m_pos - int(sizeof(T)) + int(i)))) << (8 * i);
        return value;
    }

    const QByteArray &m_bytes;
    int m_pos = 0;
    bool m_ok = true;
};

// Appends little-endian values; the mirror of ByteReader.
class ByteWriter
{
public:
    QByteArray &bytes() { return m_bytes; }
    const QByteArray &bytes() const { return m_bytes; }

    ByteWriter &u32(uint32_t value) { return writeInt(value); }
    ByteWriter &i32(int32_t value) { return writeInt(static_cast<uint32_t>(value)); }
    ByteWriter &i64(int64_t value) { return writeInt(static_cast<uint64_t>(value)); }
    ByteWriter &f32(float value)
    {
        uint32_t bits;
        std::memcpy(&bits, &value, sizeof bits);
        return writeInt(bits);
    }
    ByteWriter &f64(double value)
    {
        uint64_t bits;
        std::memcpy(&bits, &value, sizeof bits);
        return writeInt(bits);
    }
    ByteWriter &byte(char value)
    {
        m_bytes.append(value);
        return *this;
    }
    // Text cut to width - 1 bytes so a terminator always fits, then NUL-padded to width.
    ByteWriter &fixedString(const QString &text, int width)
    {
        QByteArray latin = text.toLatin1().left(width - 1);
        latin.append(QByteArray(width - latin.size(), '\0'));
        m_bytes.append(latin);
        return *this;
    }
    ByteWriter &raw(const QByteArray &bytes)
    {
        m_bytes.append(bytes);
        return *this;
    }

private:
    template <typename T> ByteWriter &writeInt(T value)
    {
        for (size_t i = 0; i < sizeof(T); ++i)
            m_bytes.append(static_cast<char>((value >> (8 * i)) & 0xFF));
        return *this;
    }

    QByteArray m_bytes;
};

} // namespace simconnect
