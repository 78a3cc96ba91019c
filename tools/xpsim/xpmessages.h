#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// Decoding of the datagrams a client sends to X-Plane's UDP port and encoding of the RREF reply.
// Every decoder checks lengths before reading and returns nothing for a datagram that is short,
// truncated or carries an unusable path or number. Little-endian throughout.
//
// Layouts: "RREF\0" int32 frequency, int32 index, char[400] path (413 bytes); "DREF\0" float32
// value, char[500] path (509 bytes); "CMND\0" path (NUL-terminated or to the end); "PREL\0"
// int32 start type, 20 bytes of aircraft/airport/runway fields, then doubles latitude (29),
// longitude (37), elevation in metres (45), true heading (53), speed in m/s (61): 69 bytes.
// A path field may end without a NUL only when the field is complete.
class XpMessages
{
public:
    struct RrefRequest
    {
        qint32 frequencyHz = 0;
        qint32 index = 0;
        QString path;
    };
    struct DrefWrite
    {
        float value = 0.0f;
        QString path;
    };
    struct PrelRequest
    {
        qint32 startType = 0;
        double latDeg = 0.0;
        double lonDeg = 0.0;
        double elevationM = 0.0;
        double headingDegTrue = 0.0;
        double speedMps = 0.0;
    };

    static constexpr int kRrefSize = 413;
    static constexpr int kDrefSize = 509;
    static constexpr int kPrelSize = 69;
    static constexpr int kMaxCommandLength = 500;

    // The four-letter type of a datagram, empty when it is shorter than the 5-byte header.
    static QByteArray type(const QByteArray &datagram);

    static std::optional<RrefRequest> parseRref(const QByteArray &datagram);
    static std::optional<DrefWrite> parseDref(const QByteArray &datagram);
    static std::optional<QString> parseCmnd(const QByteArray &datagram);
    static std::optional<PrelRequest> parsePrel(const QByteArray &datagram);

    // Appends one (int32 index, float32 value) pair to a reply that starts with rrefReplyHeader().
    static QByteArray rrefReplyHeader() { return QByteArray("RREF,", 5); }
    static void appendPair(QByteArray *reply, qint32 index, float value);
};
