#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QTcpServer>

class QTcpSocket;

// A minimal HTTP/1.1 tile server on 127.0.0.1 (any free port) for the downloader tests. Every
// request gets one response and the connection is closed. By default the body is the PNG given
// to setImage; knobs per request target ("/appmaptile?x=..."): an error status, garbage bytes,
// or a connection dropped without an answer. While held, requests are recorded but answered
// only on release().
class FakeTileServer : public QObject
{
    Q_OBJECT
public:
    struct Request
    {
        QString target;
        QMap<QByteArray, QByteArray> headers; // names in lower case
    };

    explicit FakeTileServer(QObject *parent = nullptr);

    bool listen();
    QString baseUrl() const;

    void setImage(const QByteArray &bytes) { m_image = bytes; }
    void setStatus(const QString &target, int status) { m_status.insert(target, status); }
    void setGarbage(const QString &target) { m_garbage.insert(target); }
    void setDropped(const QString &target) { m_dropped.insert(target); }
    void clearFailures();
    void setHeld(bool held) { m_held = held; }
    void release();

    int requestCount(const QString &target) const { return m_counts.value(target); }
    int totalRequests() const { return m_requests.size(); }
    const QList<Request> &requests() const { return m_requests; }

private:
    void onNewConnection();
    void onReadyRead(QTcpSocket *socket);
    void answer(QTcpSocket *socket, const QString &target);

    QTcpServer m_server;
    QByteArray m_image;
    QHash<QString, int> m_status;
    QSet<QString> m_garbage;
    QSet<QString> m_dropped;
    QHash<QString, int> m_counts;
    QList<Request> m_requests;
    QHash<QTcpSocket *, QByteArray> m_buffers;
    QList<QPair<QPointer<QTcpSocket>, QString>> m_heldRequests;
    bool m_held = false;
};
