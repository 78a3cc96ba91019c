#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUdpSocket>

#include <functional>
#include <optional>

// X-Plane's UDP port as the tests see it: a socket on 127.0.0.1 (a free port) that records every
// datagram a client sends, remembers its RREF subscriptions, decodes DREF and CMND, and answers
// with RREF replies, on request or at once for every subscription. Failure knobs apply to
// everything it sends: drop every n-th datagram, delay each, cut each to a length, or send a
// wrong tag so the reply is not an RREF reply at all.
//
// Lives on the test's thread; needs an event loop (QTest waits) to receive.
class FakeXPlane : public QObject
{
    Q_OBJECT
public:
    struct Record
    {
        qint32 index = 0;
        float value = 0;
    };
    struct Subscription
    {
        QString path;
        qint32 index = 0;
        qint32 frequencyHz = 0;
        quint16 fromPort = 0;
    };
    // Value to answer a new subscription with; nothing leaves it unanswered.
    using Answer = std::function<std::optional<float>(const Subscription &)>;

    explicit FakeXPlane(QObject *parent = nullptr);

    bool isBound() const { return m_socket.state() == QAbstractSocket::BoundState; }
    quint16 port() const { return m_socket.localPort(); }

    // Everything received, oldest first, and the datagrams among them starting with tag.
    const QList<QByteArray> &received() const { return m_received; }
    QList<QByteArray> receivedOfType(const char *tag) const;
    void clearReceived();
    // Decoded requests, oldest first.
    const QList<Subscription> &subscriptions() const { return m_subscriptions; }
    QList<QPair<QString, float>> drefWrites() const;
    QStringList commands() const;
    // The latest subscription to path from any port but notFromPort.
    std::optional<Subscription> subscription(const QString &path, quint16 notFromPort = 0) const;
    // Port of the client that sent last (0 before anything arrived).
    quint16 clientPort() const { return m_clientPort; }

    // Waits for condition while events run; false on timeout.
    static bool waitFor(const std::function<bool()> &condition, int timeoutMs = 5000);

    void setAnswer(Answer answer) { m_answer = std::move(answer); }
    // Sends one RREF reply ("RREF" + header byte + records) to port (0: the last client).
    void reply(const QList<Record> &records, quint16 port = 0, const QByteArray &header = QByteArray(1, ','));
    void sendRaw(const QByteArray &datagram, quint16 port = 0);

    // Failure knobs.
    void setDropEvery(int n) { m_dropEvery = n; }           // 0 drops none, 1 all, n every n-th
    void setDelayMs(int ms) { m_delayMs = ms; }             // hold each datagram this long
    void setTruncateTo(int bytes) { m_truncateTo = bytes; } // -1: whole datagrams
    void setWrongTag(bool wrong) { m_wrongTag = wrong; }    // "RREG" in place of "RREF"

    static QByteArray rrefReply(const QList<Record> &records, const QByteArray &header = QByteArray(1, ','));
    // Requests as a client would build them (paths zero-padded to their fields).
    static QByteArray rrefRequest(qint32 frequencyHz, qint32 index, const QString &path);
    static QByteArray drefRequest(float value, const QString &path);

signals:
    void datagramReceived(const QByteArray &datagram);

private:
    void onReadyRead();
    void handle(const QByteArray &datagram, quint16 fromPort);
    void transmit(QByteArray datagram, quint16 port);

    QUdpSocket m_socket;
    QList<QByteArray> m_received;
    QList<Subscription> m_subscriptions;
    quint16 m_clientPort = 0;
    Answer m_answer;
    int m_dropEvery = 0;
    int m_delayMs = 0;
    int m_truncateTo = -1;
    bool m_wrongTag = false;
    int m_sentCount = 0;
};
