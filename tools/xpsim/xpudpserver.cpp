#include "tools/xpsim/xpudpserver.h"

#include "tools/xpsim/xpmessages.h"
#include "tools/xpsim/xpsimlog.h"

#include <QNetworkDatagram>
#include <QUdpSocket>
#include <QVariant>

#include <algorithm>
#include <cmath>

namespace {

QString describe(const QHostAddress &address, quint16 port)
{
    return QStringLiteral("%1:%2").arg(address.toString()).arg(port);
}

} // namespace

XpUdpServer::XpUdpServer(const DatarefStore *store, QObject *parent)
    : QObject(parent), m_store(store), m_socket(new QUdpSocket(this))
{
    m_sendTimer.setSingleShot(true);
    m_sendTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_sendTimer, &QTimer::timeout, this, &XpUdpServer::onSendTimer);
    connect(m_socket, &QUdpSocket::readyRead, this, &XpUdpServer::onReadyRead);
    // A peer that went away can make the next read report "connection refused" (ICMP); that is
    // not a reason to stop serving the others.
    connect(m_socket, &QUdpSocket::errorOccurred, this, [this](QAbstractSocket::SocketError error) {
        qCDebug(lcXpSim).noquote() << "socket error" << error << m_socket->errorString();
    });
    m_clock.start();
}

bool XpUdpServer::listen(const QHostAddress &address, quint16 port)
{
    // Exclusive: a second simulator on the same port must fail rather than share it silently.
    if (!m_socket->bind(address, port, QAbstractSocket::DontShareAddress)) {
        m_error = m_socket->errorString();
        return false;
    }
    // Clients send their whole subscription table at once; a small default buffer (64 KiB on
    // Windows) would drop part of it. The system may cap the size; that is not an error.
    m_socket->setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, QVariant(1 << 20));
    return true;
}

QHostAddress XpUdpServer::address() const
{
    return m_socket->localAddress();
}

quint16 XpUdpServer::port() const
{
    return m_socket->localPort();
}

int XpUdpServer::subscriptionCount() const
{
    int count = 0;
    for (const Peer &peer : m_peers)
        count += int(peer.subscriptions.size());
    return count;
}

double XpUdpServer::nowMs() const
{
    return double(m_clock.nsecsElapsed()) / 1.0e6;
}

void XpUdpServer::onReadyRead()
{
    while (m_socket->hasPendingDatagrams()) {
        const QNetworkDatagram datagram = m_socket->receiveDatagram();
        if (!datagram.isValid())
            break;
        handleDatagram(datagram);
    }
}

void XpUdpServer::handleDatagram(const QNetworkDatagram &datagram)
{
    const PeerKey peer{datagram.senderAddress(), quint16(datagram.senderPort())};
    const QByteArray data = datagram.data();
    if (data.size() > kMaxDatagramBytes || peer.port == 0) {
        qCDebug(lcXpSim).noquote() << "ignored oversized datagram of" << data.size() << "bytes from"
                                   << describe(peer.address, peer.port);
        return;
    }
    const QByteArray type = XpMessages::type(data);
    if (type == "RREF")
        handleRref(peer, data);
    else if (type == "DREF")
        handleDref(peer, data);
    else if (type == "CMND")
        handleCmnd(peer, data);
    else if (type == "PREL")
        handlePrel(peer, data);
    else
        qCDebug(lcXpSim).noquote() << "ignored unknown datagram of" << data.size() << "bytes from"
                                   << describe(peer.address, peer.port);
}

void XpUdpServer::handleRref(const PeerKey &key, const QByteArray &data)
{
    const std::optional<XpMessages::RrefRequest> request = XpMessages::parseRref(data);
    const std::optional<DatarefStore::Ref> ref = request ? DatarefStore::parse(request->path) : std::nullopt;
    if (!ref) {
        qCDebug(lcXpSim).noquote() << "ignored malformed RREF of" << data.size() << "bytes from"
                                   << describe(key.address, key.port);
        return;
    }
    const bool known = m_peers.contains(key);
    if (request->frequencyHz == 0) {
        if (known && m_peers[key].subscriptions.remove(request->index) > 0 && m_peers[key].subscriptions.isEmpty()) {
            m_peers.remove(key);
            qCInfo(lcXpSim).noquote() << "client" << describe(key.address, key.port) << "has no subscriptions left";
        }
        scheduleNext();
        return;
    }
    if (!known && m_peers.size() >= kMaxPeers) {
        qCDebug(lcXpSim).noquote() << "ignored RREF: already serving" << kMaxPeers << "clients";
        return;
    }
    Peer &peer = m_peers[key];
    if (!known)
        qCInfo(lcXpSim).noquote() << "client" << describe(key.address, key.port) << "subscribed";
    auto sub = peer.subscriptions.find(request->index);
    if (sub == peer.subscriptions.end()) {
        if (peer.subscriptions.size() >= kMaxSubscriptionsPerPeer) {
            qCDebug(lcXpSim).noquote() << "ignored RREF: client holds" << kMaxSubscriptionsPerPeer << "subscriptions";
            return;
        }
        sub = peer.subscriptions.insert(request->index, Subscription());
        sub->periodMs = 0.0;
    }
    // Re-subscribing the same index at the same rate (clients do so periodically) keeps its
    // schedule. Subscriptions of one rate share a phase on the server clock, so that like X-Plane
    // answering once per frame, everything due together goes out packed together.
    sub->ref = *ref;
    const double periodMs = 1000.0 / std::min(request->frequencyHz, kMaxRateHz);
    if (sub->periodMs != periodMs) {
        sub->periodMs = periodMs;
        sub->nextDueMs = std::ceil(nowMs() / periodMs) * periodMs;
    }
    qCDebug(lcXpSim).noquote() << "RREF" << request->index << request->path << request->frequencyHz << "Hz from"
                               << describe(key.address, key.port);
    scheduleNext();
}

void XpUdpServer::handleDref(const PeerKey &key, const QByteArray &data)
{
    const std::optional<XpMessages::DrefWrite> write = XpMessages::parseDref(data);
    const std::optional<DatarefStore::Ref> ref = write ? DatarefStore::parse(write->path) : std::nullopt;
    if (!ref) {
        qCDebug(lcXpSim).noquote() << "ignored malformed DREF of" << data.size() << "bytes from"
                                   << describe(key.address, key.port);
        return;
    }
    emit datarefWritten(ref->name, ref->index, double(write->value));
}

void XpUdpServer::handleCmnd(const PeerKey &key, const QByteArray &data)
{
    const std::optional<QString> path = XpMessages::parseCmnd(data);
    if (!path) {
        qCDebug(lcXpSim).noquote() << "ignored malformed CMND of" << data.size() << "bytes from"
                                   << describe(key.address, key.port);
        return;
    }
    emit commandReceived(*path);
}

void XpUdpServer::handlePrel(const PeerKey &key, const QByteArray &data)
{
    const std::optional<XpMessages::PrelRequest> request = XpMessages::parsePrel(data);
    if (!request) {
        qCDebug(lcXpSim).noquote() << "ignored malformed PREL of" << data.size() << "bytes from"
                                   << describe(key.address, key.port);
        return;
    }
    if (request->startType != 6) {
        qCInfo(lcXpSim) << "PREL start type" << request->startType << "is not supported (only 6), ignored";
        return;
    }
    emit repositionRequested(request->latDeg, request->lonDeg, request->elevationM, request->headingDegTrue,
                             request->speedMps);
}

void XpUdpServer::onSendTimer()
{
    const double now = nowMs();
    QList<PeerKey> lost;
    for (auto it = m_peers.begin(); it != m_peers.end(); ++it) {
        if (!sendDue(it.key(), it.value(), now))
            lost.append(it.key());
    }
    for (const PeerKey &key : lost) {
        m_peers.remove(key);
        qCInfo(lcXpSim).noquote() << "dropped client" << describe(key.address, key.port)
                                  << "after repeated send failures";
    }
    scheduleNext();
}

bool XpUdpServer::sendDue(const PeerKey &key, Peer &peer, double nowMs)
{
    QByteArray reply = XpMessages::rrefReplyHeader();
    int pairs = 0;
    bool ok = true;
    // A millisecond of slack so a timer that fires a hair early does not skip a period.
    for (auto it = peer.subscriptions.begin(); it != peer.subscriptions.end(); ++it) {
        Subscription &sub = it.value();
        if (sub.nextDueMs > nowMs + 1.0)
            continue;
        XpMessages::appendPair(&reply, it.key(), float(m_store->value(sub.ref)));
        sub.nextDueMs += sub.periodMs;
        if (sub.nextDueMs < nowMs)
            sub.nextDueMs = nowMs + sub.periodMs; // fell behind: do not send a burst to catch up
        if (++pairs == kMaxPairsPerDatagram) {
            ok = send(key, reply) && ok;
            reply = XpMessages::rrefReplyHeader();
            pairs = 0;
        }
    }
    if (pairs > 0)
        ok = send(key, reply) && ok;
    if (ok) {
        peer.sendFailures = 0;
        return true;
    }
    return ++peer.sendFailures < kMaxSendFailures;
}

bool XpUdpServer::send(const PeerKey &key, const QByteArray &datagram)
{
    return m_socket->writeDatagram(datagram, key.address, key.port) == datagram.size();
}

void XpUdpServer::scheduleNext()
{
    double next = -1.0;
    for (const Peer &peer : std::as_const(m_peers)) {
        for (const Subscription &sub : peer.subscriptions) {
            if (next < 0.0 || sub.nextDueMs < next)
                next = sub.nextDueMs;
        }
    }
    if (next < 0.0) {
        m_sendTimer.stop();
        return;
    }
    m_sendTimer.start(int(std::max(0.0, std::ceil(next - nowMs()))));
}
