#pragma once

#include "bridge/agentprotocol.h"
#include "bridge/bridgetls.h"

#include <QDeadlineTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QSignalSpy>
#include <QSslSocket>
#include <QTest>

#include <optional>

// A bare TLS peer of the bridge server for tests: a real QSslSocket on loopback that trusts the
// given CA, writes raw bytes or messages and collects the server's lines.
class TlsTestClient
{
public:
    static QList<QSslCertificate> builtInCa()
    {
        QString error;
        return bridgetls::readCertificates(QString::fromLatin1(bridgetls::kBuiltInCaPath), &error);
    }

    explicit TlsTestClient(const QList<QSslCertificate> &ca = builtInCa())
    {
        socket.setSslConfiguration(bridgetls::clientConfiguration(ca));
        QObject::connect(&socket, &QSslSocket::readyRead, &socket, [this] {
            QList<QByteArray> lines;
            framer.append(socket.readAll(), lines);
            for (const QByteArray &line : lines)
                received.append(QJsonDocument::fromJson(line).object());
        });
    }

    // True once the handshake is done; false when it fails or takes longer than 5 s.
    bool connectTo(quint16 port)
    {
        socket.connectToHostEncrypted(QStringLiteral("127.0.0.1"), port);
        const QDeadlineTimer deadline(5000);
        while (!socket.isEncrypted() && !deadline.hasExpired()) {
            QTest::qWait(5);
            if (socket.state() == QAbstractSocket::UnconnectedState)
                break;
        }
        return socket.isEncrypted();
    }

    void send(const QJsonObject &message) { sendRaw(agentprotocol::encodeLine(message)); }
    void sendRaw(const QByteArray &bytes)
    {
        socket.write(bytes);
        socket.flush();
    }

    // The next line from the server, waiting up to timeoutMs for it.
    std::optional<QJsonObject> next(int timeoutMs = 5000)
    {
        const QDeadlineTimer deadline(timeoutMs);
        while (received.isEmpty() && !deadline.hasExpired() && socket.state() == QAbstractSocket::ConnectedState)
            QTest::qWait(5);
        if (received.isEmpty())
            return std::nullopt;
        return received.takeFirst();
    }

    // Sends "register" and returns the server's answer.
    std::optional<QJsonObject> registerAs(const QString &agentId, const QString &machineId = QStringLiteral("m-1"),
                                          const QJsonObject &extra = {})
    {
        QJsonObject message{
            {"type", "register"},  {"agentId", agentId}, {"machineId", machineId}, {"callsign", "B-" + agentId},
            {"sim", "X-Plane 12"}, {"licenseKey", ""},   {"licensed", true}};
        for (auto it = extra.begin(); it != extra.end(); ++it)
            message.insert(it.key(), it.value());
        send(message);
        return next();
    }

    bool waitClosed(int timeoutMs = 5000)
    {
        const QDeadlineTimer deadline(timeoutMs);
        while (socket.state() != QAbstractSocket::UnconnectedState && !deadline.hasExpired())
            QTest::qWait(5);
        return socket.state() == QAbstractSocket::UnconnectedState;
    }

    static QString type(const std::optional<QJsonObject> &message)
    {
        return message ? message->value(QStringLiteral("type")).toString() : QStringLiteral("(nothing)");
    }

    QSslSocket socket;
    agentprotocol::LineFramer framer;
    QList<QJsonObject> received;
};
