#pragma once

#include "tools/xpsim/datarefstore.h"

#include <QElapsedTimer>
#include <QHash>
#include <QHostAddress>
#include <QMap>
#include <QObject>
#include <QTimer>

class QNetworkDatagram;
class QUdpSocket;

// X-Plane's native UDP interface on one socket. RREF subscriptions are kept per sender (address,
// port) and client index and answered at their rate to that sender, all due pairs packed into
// "RREF," datagrams of at most 183 pairs; frequency 0 unsubscribes. DREF, CMND and PREL are
// decoded and handed on through signals. Anything malformed is dropped (logged at debug level).
//
// Created by the simulator session (its parent) on the main thread; borrows the DatarefStore,
// which must outlive it. Rates are capped at kMaxRateHz; each sender may hold
// kMaxSubscriptionsPerPeer subscriptions and at most kMaxPeers senders are served, so a
// misbehaving client cannot make it grow without bound. A sender whose replies fail to send
// kMaxSendFailures times in a row is forgotten.
class XpUdpServer : public QObject
{
    Q_OBJECT
public:
    static constexpr int kMaxPairsPerDatagram = 183;
    static constexpr int kMaxRateHz = 100;
    static constexpr int kMaxSubscriptionsPerPeer = 2000;
    static constexpr int kMaxPeers = 64;
    static constexpr int kMaxDatagramBytes = 4096;
    static constexpr int kMaxSendFailures = 50;

    explicit XpUdpServer(const DatarefStore *store, QObject *parent = nullptr);

    // Binds address:port (port 0 picks a free one). false on failure, see errorString().
    bool listen(const QHostAddress &address, quint16 port);
    QHostAddress address() const;
    quint16 port() const;
    QString errorString() const { return m_error; }
    int subscriptionCount() const;

signals:
    void datarefWritten(const QString &name, int index, double value);
    void commandReceived(const QString &path);
    void repositionRequested(double latDeg, double lonDeg, double elevationM, double headingDegTrue, double speedMps);

private slots:
    void onReadyRead();
    void onSendTimer();

private:
    struct PeerKey
    {
        QHostAddress address;
        quint16 port = 0;
        bool operator==(const PeerKey &other) const { return port == other.port && address == other.address; }
    };
    friend size_t qHash(const PeerKey &key, size_t seed) { return qHashMulti(seed, key.address, key.port); }

    struct Subscription
    {
        DatarefStore::Ref ref;
        double periodMs = 1000.0;
        double nextDueMs = 0.0;
    };
    struct Peer
    {
        QMap<qint32, Subscription> subscriptions;
        int sendFailures = 0;
    };

    void handleDatagram(const QNetworkDatagram &datagram);
    void handleRref(const PeerKey &peer, const QByteArray &data);
    void handleDref(const PeerKey &peer, const QByteArray &data);
    void handleCmnd(const PeerKey &peer, const QByteArray &data);
    void handlePrel(const PeerKey &peer, const QByteArray &data);
    bool sendDue(const PeerKey &key, Peer &peer, double nowMs);
    bool send(const PeerKey &key, const QByteArray &datagram);
    void scheduleNext();
    double nowMs() const;

    const DatarefStore *m_store;
    QUdpSocket *m_socket;
    QTimer m_sendTimer;
    QElapsedTimer m_clock;
    QHash<PeerKey, Peer> m_peers;
    QString m_error;
};
