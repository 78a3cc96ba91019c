#include "faketileserver.h"

#include <QHostAddress>
#include <QTcpSocket>

FakeTileServer::FakeTileServer(QObject *parent) : QObject(parent)
{
    connect(&m_server, &QTcpServer::newConnection, this, &FakeTileServer::onNewConnection);
}

bool FakeTileServer::listen()
{
    return m_server.listen(QHostAddress::LocalHost, 0);
}

QString FakeTileServer::baseUrl() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort());
}

void FakeTileServer::clearFailures()
{
    m_status.clear();
    m_garbage.clear();
    m_dropped.clear();
}

void FakeTileServer::release()
{
    m_held = false;
    const auto held = m_heldRequests;
    m_heldRequests.clear();
    for (const auto &[socket, target] : held) {
        if (socket && socket->state() == QAbstractSocket::ConnectedState) {
            answer(socket, target);
        }
    }
}

void FakeTileServer::onNewConnection()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection()) {
        socket->setParent(this);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { onReadyRead(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            m_buffers.remove(socket);
            socket->deleteLater();
        });
    }
}

void FakeTileServer::onReadyRead(QTcpSocket *socket)
{
    QByteArray &buffer = m_buffers[socket];
    buffer += socket->readAll();
    const qsizetype end = buffer.indexOf("\r\n\r\n");
    if (end < 0) {
        return;
    }
    // Only GETs without a body arrive here, so the head is the whole request.
    const QList<QByteArray> lines = buffer.left(end).split('\n');
    buffer.remove(0, end + 4);
    const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
    Request request;
    request.target = QString::fromLatin1(requestLine.value(1));
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const qsizetype colon = lines[i].indexOf(':');
        if (colon > 0) {
            request.headers.insert(lines[i].left(colon).trimmed().toLower(), lines[i].mid(colon + 1).trimmed());
        }
    }
    m_requests.append(request);
    ++m_counts[request.target];

    if (m_held) {
        m_heldRequests.append({socket, request.target});
        return;
    }
    answer(socket, request.target);
}

void FakeTileServer::answer(QTcpSocket *socket, const QString &target)
{
    if (m_dropped.contains(target)) {
        socket->abort();
        return;
    }
    const int status = m_status.value(target, 200);
    QByteArray body;
    QByteArray type = "image/png";
    if (status != 200) {
        body = "no such tile\n";
        type = "text/plain";
    } else if (m_garbage.contains(target)) {
        body = "<html>this is not an image</html>";
        type = "text/html";
    } else {
        body = m_image;
    }
    QByteArray response = "HTTP/1.1 " + QByteArray::number(status) + (status == 200 ? " OK" : " Failed") + "\r\n";
    response += "Content-Type: " + type + "\r\n";
    response += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
    response += "Connection: close\r\n\r\n";
    response += body;
    socket->write(response);
    socket->disconnectFromHost();
}
