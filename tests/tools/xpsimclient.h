#pragma once

// A client of the demo simulator for the tests that run it as a process: hand-built X-Plane
// datagrams and one loopback socket that records every reply.

#include <QElapsedTimer>
#include <QHash>
#include <QHostAddress>
#include <QNetworkDatagram>
#include <QProcess>
#include <QRegularExpression>
#include <QStringList>
#include <QUdpSocket>
#include <QtEndian>

#include <algorithm>
#include <cstring>

namespace xpsimtest {

inline QByteArray header(const char *type)
{
    return QByteArray(type, 4) + QByteArray(1, '\0');
}

inline QByteArray int32(qint32 value)
{
    char bytes[4];
    qToLittleEndian<qint32>(value, bytes);
    return QByteArray(bytes, 4);
}

inline QByteArray float32(float value)
{
    quint32 bits = 0;
    std::memcpy(&bits, &value, 4);
    char bytes[4];
    qToLittleEndian<quint32>(bits, bytes);
    return QByteArray(bytes, 4);
}

inline QByteArray float64(double value)
{
    quint64 bits = 0;
    std::memcpy(&bits, &value, 8);
    char bytes[8];
    qToLittleEndian<quint64>(bits, bytes);
    return QByteArray(bytes, 8);
}

inline QByteArray padded(const QString &text, int size)
{
    QByteArray bytes = text.toLatin1();
    bytes.resize(size, '\0');
    return bytes;
}

inline QByteArray rref(int hz, int index, const QString &path)
{
    return header("RREF") + int32(hz) + int32(index) + padded(path, 400);
}

inline QByteArray prel(int startType, double lat, double lon, double elevM, double hdg)
{
    return header("PREL") + int32(startType) + QByteArray(20, '\0') + float64(lat) + float64(lon) + float64(elevM) +
           float64(hdg) + float64(0.0);
}

// A client of the simulator: one loopback socket that records every reply it gets.
class SimClient
{
public:
    struct Reply
    {
        qint64 atMs = 0;
        QHash<int, float> values;
    };

    explicit SimClient(quint16 simPort) : m_simPort(simPort)
    {
        m_clock.start();
        QObject::connect(&m_socket, &QUdpSocket::readyRead, [this] { read(); });
    }
    bool bind() { return m_socket.bind(QHostAddress::LocalHost, 0); }

    void send(const QByteArray &datagram) { m_socket.writeDatagram(datagram, QHostAddress::LocalHost, m_simPort); }
    void subscribe(int index, const QString &path, int hz) { send(rref(hz, index, path)); }
    void write(const QString &path, float value) { send(header("DREF") + float32(value) + padded(path, 500)); }
    void command(const QString &path) { send(header("CMND") + padded(path, 250)); }

    int count(int index) const { return m_counts.value(index); }
    float latest(int index) const { return m_latest.value(index); }
    bool has(int index) const { return m_latest.contains(index); }
    const QList<Reply> &replies() const { return m_replies; }
    QList<float> history(int index) const
    {
        QList<float> values;
        for (const Reply &r : m_replies) {
            if (r.values.contains(index))
                values.append(r.values.value(index));
        }
        return values;
    }
    int maxPairs() const { return m_maxPairs; }
    QStringList problems() const { return m_problems; }

private:
    void read()
    {
        while (m_socket.hasPendingDatagrams()) {
            const QNetworkDatagram d = m_socket.receiveDatagram();
            const QByteArray data = d.data();
            if (d.senderPort() != m_simPort)
                m_problems << QStringLiteral("reply from port %1").arg(d.senderPort());
            if (!data.startsWith(QByteArray("RREF,", 5)) || (data.size() - 5) % 8 != 0 || data.size() <= 5) {
                m_problems << QStringLiteral("bad reply of %1 bytes").arg(data.size());
                continue;
            }
            Reply reply;
            reply.atMs = m_clock.elapsed();
            for (int at = 5; at < data.size(); at += 8) {
                const int index = qFromLittleEndian<qint32>(data.constData() + at);
                const quint32 bits = qFromLittleEndian<quint32>(data.constData() + at + 4);
                float value = 0.0f;
                std::memcpy(&value, &bits, 4);
                reply.values.insert(index, value);
                m_latest.insert(index, value);
                ++m_counts[index];
            }
            m_maxPairs = std::max(m_maxPairs, int((data.size() - 5) / 8));
            m_replies.append(reply);
        }
    }

    quint16 m_simPort;
    QUdpSocket m_socket;
    QElapsedTimer m_clock;
    QList<Reply> m_replies;
    QHash<int, float> m_latest;
    QHash<int, int> m_counts;
    int m_maxPairs = 0;
    QStringList m_problems;
};

// Starts the demo simulator on a free port (plus extra arguments) and returns that port, read from
// its first line; 0 when it did not start.
inline quint16 startXpSim(QProcess &process, const QString &executable, const QStringList &extraArguments)
{
    constexpr int kStartTimeoutMs = 10000;
    process.start(executable, QStringList{QStringLiteral("--port"), QStringLiteral("0")} + extraArguments);
    if (!process.waitForStarted(kStartTimeoutMs))
        return 0;
    QElapsedTimer waited;
    waited.start();
    while (!process.canReadLine() && waited.elapsed() < kStartTimeoutMs)
        process.waitForReadyRead(100);
    const QString line = QString::fromUtf8(process.readLine()).trimmed();
    const QRegularExpressionMatch match =
        QRegularExpression(QStringLiteral("^zobrel-xpsim listening on 127\\.0\\.0\\.1:(\\d+)$")).match(line);
    return match.hasMatch() ? quint16(match.captured(1).toUInt()) : 0;
}

} // namespace xpsimtest
