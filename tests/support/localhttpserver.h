#pragma once

#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QString>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

// A small HTTP/1.1 server on 127.0.0.1 (a free port) playing a web service for the tests: each
// GET gets the response set for its path (the query is ignored), or 404; the connection is closed
// after the answer. Knobs: a status and body per path, a body of a given size (to test reply
// limits), a connection dropped without an answer. Every request target (path and query) is
// recorded.
class LocalHttpServer : public QObject
{
public:
    struct Response
    {
        int status = 200;
        QByteArray body;
        QByteArray contentType = "text/plain";
        bool drop = false;
    };

    explicit LocalHttpServer(QObject *parent = nullptr) : QObject(parent)
    {
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *socket = m_server.nextPendingConnection()) {
                socket->setParent(this);
                connect(socket, &QTcpSocket::readyRead, this, [this, socket] { onReadyRead(socket); });
                connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }

    bool listen() { return m_server.listen(QHostAddress::LocalHost, 0); }
    QString baseUrl() const { return QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort()); }

    void setResponse(const QString &path, const Response &response) { m_responses.insert(path, response); }
    void setBody(const QString &path, const QByteArray &body, int status = 200)
    {
        Response r;
        r.status = status;
        r.body = body;
        m_responses.insert(path, r);
    }

    // Targets as requested ("/metar.php?id=ZSPD").
    const QList<QString> &requests() const { return m_requests; }
    QUrl lastRequestUrl() const { return m_requests.isEmpty() ? QUrl() : QUrl(baseUrl() + m_requests.last()); }

private:
    void onReadyRead(QTcpSocket *socket)
    {
        QByteArray &buffer = m_buffers[socket];
        buffer += socket->readAll();
        const qsizetype end = buffer.indexOf("\r\n\r\n");
        if (end < 0)
            return;
        const QList<QByteArray> requestLine = buffer.left(buffer.indexOf("\r\n")).split(' ');
        m_buffers.remove(socket);
        const QString target = QString::fromLatin1(requestLine.value(1));
        m_requests.append(target);
        const QString path = target.section(QLatin1Char('?'), 0, 0);
        const auto it = m_responses.constFind(path);
        Response response;
        if (it == m_responses.cend()) {
            response.status = 404;
            response.body = "not found";
        } else {
            response = *it;
        }
        if (response.drop) {
            socket->abort();
            return;
        }
        QByteArray head = "HTTP/1.1 " + QByteArray::number(response.status) +
                          (response.status == 200 ? " OK" : " Error") + "\r\nContent-Type: " + response.contentType +
                          "\r\nContent-Length: " + QByteArray::number(response.body.size()) +
                          "\r\nConnection: close\r\n\r\n";
        socket->write(head);
        socket->write(response.body);
        socket->disconnectFromHost();
    }

    QTcpServer m_server;
    QHash<QString, Response> m_responses;
    QHash<QTcpSocket *, QByteArray> m_buffers;
    QList<QString> m_requests;
};
