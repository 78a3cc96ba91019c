#include "bridge/ssltcpserver.h"

#include <QSslSocket>

SslTcpServer::SslTcpServer(QObject *parent) : QTcpServer(parent) {}

void SslTcpServer::setSslConfiguration(const QSslConfiguration &configuration)
{
    m_configuration = configuration;
}

void SslTcpServer::incomingConnection(qintptr socketDescriptor)
{
    auto *socket = new QSslSocket(this);
    if (!socket->setSocketDescriptor(socketDescriptor)) {
        delete socket;
        return;
    }
    socket->setSslConfiguration(m_configuration);
    connect(socket, &QSslSocket::sslErrors, this,
            [this, socket](const QList<QSslError> &errors) { emit sslErrors(socket, errors); });
    socket->startServerEncryption();
    addPendingConnection(socket);
}
