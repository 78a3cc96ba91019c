#include "tests/fakes/fakexplane.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QNetworkDatagram>
#include <QThread>
#include <QTimer>
#include <QtEndian>

namespace {

constexpr int kRrefSize = 413;
constexpr int kDrefSize = 509;
constexpr int kPathOffsetRref = 13;
constexpr int kPathOffsetDref = 9;

QString pathAt(const QByteArray &datagram, int offset)
{
    // Up to the first zero byte: X-Plane's path fields are zero-padded.
    const QByteArray field = datagram.mid(offset);
    return QString::fromUtf8(field.left(field.indexOf('\0') < 0 ? field.size() : field.indexOf('\0')));
}

QByteArray padded(const QString &text, int size)
{
    QByteArray bytes = text.toUtf8().left(size - 1);
    bytes.resize(size, '\0');
    return bytes;
}

} // namespace

FakeXPlane::FakeXPlane(QObject *parent) : QObject(parent)
{
    m_socket.bind(QHostAddress::LocalHost, 0);
    connect(&m_socket, &QUdpSocket::readyRead, this, &FakeXPlane::onReadyRead);
}

QList<QByteArray> FakeXPlane::receivedOfType(const char *tag) const
{
    QList<QByteArray> out;
    for (const QByteArray &datagram : m_received) {
        if (datagram.startsWith(tag))
            out.append(datagram);
    }
    return out;
}

void FakeXPlane::clearReceived()
{
    m_received.clear();
    m_subscriptions.clear();
}

QList<QPair<QString, float>> FakeXPlane::drefWrites() const
{
    QList<QPair<QString, float>> out;
    for (const QByteArray &datagram : receivedOfType("DREF")) {
        if (datagram.size() == kDrefSize)
            out.append({pathAt(datagram, kPathOffsetDref), qFromLittleEndian<float>(datagram.constData() + 5)});
    }
    return out;
}

QStringList FakeXPlane::commands() const
{
    QStringList out;
    for (const QByteArray &datagram : receivedOfType("CMND"))
        out << pathAt(datagram, 5);
    return out;
}

std::optional<FakeXPlane::Subscription> FakeXPlane::subscription(const QString &path, quint16 notFromPort) const
{
    for (auto it = m_subscriptions.crbegin(); it != m_subscriptions.crend(); ++it) {
        if (it->path == path && it->fromPort != notFromPort)
            return *it;
    }
    return std::nullopt;
}

bool FakeXPlane::waitFor(const std::function<bool()> &condition, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(1);
    }
    return true;
}

void FakeXPlane::reply(const QList<Record> &records, quint16 port, const QByteArray &header)
{
    transmit(rrefReply(records, header), port);
}

void FakeXPlane::sendRaw(const QByteArray &datagram, quint16 port)
{
    transmit(datagram, port);
}

QByteArray FakeXPlane::rrefReply(const QList<Record> &records, const QByteArray &header)
{
    QByteArray out = QByteArray("RREF") + header;
    for (const Record &record : records) {
        char bytes[8];
        qToLittleEndian<qint32>(record.index, bytes);
        qToLittleEndian<float>(record.value, bytes + 4);
        out.append(bytes, sizeof bytes);
    }
    return out;
}

QByteArray FakeXPlane::rrefRequest(qint32 frequencyHz, qint32 index, const QString &path)
{
    QByteArray out("RREF", 5);
    char numbers[8];
    qToLittleEndian<qint32>(frequencyHz, numbers);
    qToLittleEndian<qint32>(index, numbers + 4);
    out.append(numbers, sizeof numbers);
    return out + padded(path, 400);
}

QByteArray FakeXPlane::drefRequest(float value, const QString &path)
{
    QByteArray out("DREF", 5);
    char bytes[4];
    qToLittleEndian<float>(value, bytes);
    out.append(bytes, sizeof bytes);
    return out + padded(path, 500);
}

void FakeXPlane::onReadyRead()
{
    while (m_socket.hasPendingDatagrams()) {
        const QNetworkDatagram datagram = m_socket.receiveDatagram();
        if (!datagram.isValid())
            break;
        handle(datagram.data(), quint16(datagram.senderPort()));
    }
}

void FakeXPlane::handle(const QByteArray &datagram, quint16 fromPort)
{
    m_received.append(datagram);
    m_clientPort = fromPort;
    if (datagram.startsWith("RREF") && datagram.size() == kRrefSize) {
        Subscription s;
        s.frequencyHz = qFromLittleEndian<qint32>(datagram.constData() + 5);
        s.index = qFromLittleEndian<qint32>(datagram.constData() + 9);
        s.path = pathAt(datagram, kPathOffsetRref);
        s.fromPort = fromPort;
        m_subscriptions.append(s);
        if (m_answer) {
            if (const std::optional<float> value = m_answer(s))
                reply({{s.index, *value}}, fromPort);
        }
    }
    emit datagramReceived(datagram);
}

void FakeXPlane::transmit(QByteArray datagram, quint16 port)
{
    ++m_sentCount;
    if (m_dropEvery > 0 && m_sentCount % m_dropEvery == 0)
        return;
    if (m_truncateTo >= 0)
        datagram.truncate(m_truncateTo);
    if (m_wrongTag && datagram.startsWith("RREF"))
        datagram.replace(0, 4, "RREG");
    const quint16 to = port ? port : m_clientPort;
    if (m_delayMs <= 0) {
        m_socket.writeDatagram(datagram, QHostAddress::LocalHost, to);
        return;
    }
    QTimer::singleShot(m_delayMs, this,
                       [this, datagram, to] { m_socket.writeDatagram(datagram, QHostAddress::LocalHost, to); });
}
