#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

// A small HTTP/1.1 server on 127.0.0.1 (port 0) for update tests: serves fixed bodies by path,
// counts requests, and can misbehave the way real servers and networks do: send slowly in pieces,
// close the connection part-way through a body, or stop sending and hold the connection open.
// Unknown paths get 404.
class HttpTestServer : public QObject
{
    Q_OBJECT
public:
    struct Resource
    {
        QByteArray body;
        qint64 sendBytes = -1; // how much of the body to send (-1: all)
        bool holdOpen = false; // after sendBytes: keep the connection open instead of closing it
        qint64 pieceBytes = 0; // > 0: send the body in pieces of this size, one every 20 ms
    };

    HttpTestServer();

    QUrl url(const QString &path) const;
    void serve(const QString &path, const QByteArray &body) { m_resources.insert(path, {body}); }
    void serve(const QString &path, const Resource &resource) { m_resources.insert(path, resource); }
    int requestCount(const QString &path) const { return m_requests.value(path); }
    // Connections that are still open (for example held ones).
    int openConnections() const;

private:
    void onNewConnection();
    void onReadyRead(QTcpSocket *socket);
    void sendPiece(QTcpSocket *socket, const Resource &resource, qint64 offset);

    QTcpServer m_server;
    QHash<QString, Resource> m_resources;
    QHash<QString, int> m_requests;
    QHash<QTcpSocket *, QByteArray> m_buffers;
    QList<QPointer<QTcpSocket>> m_sockets;
};
