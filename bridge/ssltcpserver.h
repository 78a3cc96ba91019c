#pragma once

#include <QList>
#include <QSslConfiguration>
#include <QSslError>
#include <QTcpServer>

class QSslSocket;

// A TCP server whose accepted connections are TLS sockets: each descriptor is wrapped in a
// QSslSocket with the server's configuration and server-side encryption is started before the
// socket is offered through nextPendingConnection(). TLS errors of any socket are reported by
// sslErrors; a slot connected directly may call ignoreSslErrors() on that socket.
//
// Owned by its user (the bridge server); GUI thread. Accepted sockets are children of the server
// until the user takes them.
class SslTcpServer : public QTcpServer
{
    Q_OBJECT
public:
    explicit SslTcpServer(QObject *parent = nullptr);

    void setSslConfiguration(const QSslConfiguration &configuration);
    QSslConfiguration sslConfiguration() const { return m_configuration; }

signals:
    void sslErrors(QSslSocket *socket, const QList<QSslError> &errors);

protected:
    void incomingConnection(qintptr socketDescriptor) override;

private:
    QSslConfiguration m_configuration;
};
