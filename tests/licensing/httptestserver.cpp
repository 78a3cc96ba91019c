#include "httptestserver.h"

#include <QTimer>

HttpTestServer::HttpTestServer()
{
    m_server.listen(QHostAddress::LocalHost, 0);
    connect(&m_server, &QTcpServer::newConnection, this, &HttpTestServer::onNewConnection);
}

QUrl HttpTestServer::url(const QString &path) const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(m_server.serverPort()).arg(path));
}

int HttpTestServer::openConnections() const
{
    int open = 0;
    for (const QPointer<QTcpSocket> &socket : m_sockets) {
        if (socket && socket->state() == QAbstractSocket::ConnectedState)
            ++open;
    }
    return open;
}

void HttpTestServer::onNewConnection()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection()) {
        socket->setParent(this);
        m_sockets.append(socket);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { onReadyRead(socket); });
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    }
}

void HttpTestServer::onReadyRead(QTcpSocket *socket)
{
    QByteArray &buffer = m_buffers[socket];
    buffer += socket->readAll();
    const qsizetype end = buffer.indexOf("\r\n\r\n");
    if (end < 0)
        return;
    const QList<QByteArray> requestLine = buffer.left(buffer.indexOf("\r\n")).split(' ');
    m_buffers.remove(socket);
    const QString path = requestLine.size() >= 2 ? QString::fromLatin1(requestLine.at(1)) : QString();
    ++m_requests[path];
    if (!m_resources.contains(path)) {
        socket->write("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
        socket->disconnectFromHost();
        return;
    }
    const Resource &resource = m_resources.value(path);
    socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nConnection: close\r\nContent-Length: " +
                  QByteArray::number(resource.body.size()) + "\r\n\r\n");
    sendPiece(socket, resource, 0);
}

void HttpTestServer::sendPiece(QTcpSocket *socket, const Resource &resource, qint64 offset)
{
    const qint64 end = resource.sendBytes < 0 ? resource.body.size() : resource.sendBytes;
    const qint64 size = resource.pieceBytes > 0 ? qMin(resource.pieceBytes, end - offset) : end - offset;
    socket->write(resource.body.mid(offset, size));
    if (offset + size < end) {
        QPointer<QTcpSocket> guard(socket);
        QTimer::singleShot(20, this, [this, guard, resource, offset, size] {
            if (guard && guard->state() == QAbstractSocket::ConnectedState)
                sendPiece(guard, resource, offset + size);
        });
        return;
    }
    if (!resource.holdOpen)
        socket->disconnectFromHost();
}
