#include "bridge/bridgeserver.h"

#include "app/log/applogger.h"
#include "bridge/agentadmission.h"
#include "bridge/ssltcpserver.h"

#include <QCryptographicHash>
#include <QHostAddress>
#include <QSslSocket>
#include <QTimer>
#include <QUuid>

#include <algorithm>

namespace {

const QString kCategory = QStringLiteral("Bridge");
// Problems of one connection logged before it is muted, so a hostile peer cannot flood the log.
constexpr int kMaxLoggedProblemsPerPeer = 10;
// Decrypted bytes a socket buffers before it stops reading from the network (the framer holds the
// rest of a long line).
constexpr qint64 kSocketReadBufferBytes = 256 * 1024;
// A socket closed gracefully (after an "error") gets this long to flush before it is aborted.
constexpr int kCloseGraceMs = 2000;

void logBridge(AppLogger::Level level, const QString &message)
{
    AppLogger::instance().log(level, kCategory, message);
}

// "192.168.1.20:51234": IPv4 peers of the dual-stack socket are shown without their mapped form.
QString peerText(const QAbstractSocket *socket)
{
    QHostAddress address = socket->peerAddress();
    bool isV4 = false;
    const quint32 v4 = address.toIPv4Address(&isV4);
    if (isV4)
        address = QHostAddress(v4);
    return QStringLiteral("%1:%2").arg(address.toString()).arg(socket->peerPort());
}

} // namespace

BridgeServer::BridgeServer(QObject *parent) : QObject(parent)
{
    qRegisterMetaType<AgentConnection>();
    qRegisterMetaType<RemoteAircraft>();
    m_clock.start();
    m_server = new SslTcpServer(this);
    connect(m_server, &QTcpServer::newConnection, this, &BridgeServer::onNewConnection);
    connect(m_server, &SslTcpServer::sslErrors, this, &BridgeServer::onSslErrors);
    m_sweep = new QTimer(this);
    connect(m_sweep, &QTimer::timeout, this, &BridgeServer::onSweep);
}

BridgeServer::~BridgeServer()
{
    // Quietly: listeners may already be gone, so no signals on the way out.
    for (auto &entry : m_peers) {
        QObject::disconnect(entry.first, nullptr, this, nullptr);
        entry.first->abort();
    }
}

void BridgeServer::setCertificateFiles(const BridgeCertificateFiles &files)
{
    m_files = files;
}

void BridgeServer::setPairingSecret(const QString &secret)
{
    m_secretDigest =
        secret.isEmpty() ? QByteArray() : QCryptographicHash::hash(secret.toUtf8(), QCryptographicHash::Sha256);
}

void BridgeServer::setAdmission(const IAgentAdmission *admission)
{
    m_admission = admission;
}

void BridgeServer::setLimits(const Limits &limits)
{
    m_limits = limits;
}

bool BridgeServer::start(quint16 port)
{
    if (isRunning()) {
        logBridge(AppLogger::Warning, QStringLiteral("[Bridge] Server already running"));
        return false;
    }
    const auto fail = [this](const QString &reason) {
        logBridge(AppLogger::Error, QStringLiteral("[Bridge] Cannot start server: %1").arg(reason));
        emit serverError(reason);
        return false;
    };
    QString error;
    const std::optional<QSslConfiguration> configuration = bridgetls::loadServerConfiguration(m_files, &error);
    if (!configuration)
        return fail(error);
    m_server->setSslConfiguration(*configuration);
    if (!m_server->listen(QHostAddress::Any, port))
        return fail(m_server->errorString());
    const int shortest = std::min(m_limits.registrationTimeoutMs, m_limits.silenceTimeoutMs);
    m_sweep->start(std::clamp(shortest / 4, 20, 1000));
    logBridge(AppLogger::Info, QStringLiteral("[Bridge] TLS server started on port %1").arg(m_server->serverPort()));
    emit serverStarted(m_server->serverPort());
    return true;
}

void BridgeServer::stop()
{
    if (!isRunning() && m_peers.empty())
        return;
    m_server->close();
    m_sweep->stop();
    std::vector<QSslSocket *> sockets;
    for (const auto &entry : m_peers)
        sockets.push_back(entry.first);
    for (QSslSocket *socket : sockets)
        dropPeer(socket, false);
    m_handoffs.clear();
    logBridge(AppLogger::Info, QStringLiteral("[Bridge] Server stopped"));
    emit serverStopped();
}

bool BridgeServer::isRunning() const
{
    return m_server->isListening();
}

quint16 BridgeServer::port() const
{
    return m_server->isListening() ? m_server->serverPort() : 0;
}

bool BridgeServer::sendToAgent(const QString &agentId, const QJsonObject &message)
{
    const auto it = m_agents.constFind(agentId);
    return it != m_agents.cend() && writeTo(it->socket, message);
}

bool BridgeServer::isAgentRegistered(const QString &agentId) const
{
    return m_agents.contains(agentId);
}

RemoteAircraft BridgeServer::remoteAircraft(const QString &agentId) const
{
    return m_aircraft.value(agentId);
}

QString BridgeServer::agentSim(const QString &agentId) const
{
    return m_agents.value(agentId).sim;
}

void BridgeServer::broadcast(const QJsonObject &message)
{
    // Collected first: a peer that stopped reading is dropped while writing.
    QList<QSslSocket *> sockets;
    for (const AgentConnection &agent : std::as_const(m_agents))
        sockets.append(agent.socket);
    for (QSslSocket *socket : sockets)
        writeTo(socket, message);
}

QList<AgentConnection> BridgeServer::agents() const
{
    return m_agents.values();
}

AgentConnection BridgeServer::agent(const QString &agentId) const
{
    return m_agents.value(agentId);
}

QList<RemoteAircraft> BridgeServer::remoteAircraftList() const
{
    return m_aircraft.values();
}

bool BridgeServer::setInstructionMode(const QString &agentId, const QString &mode)
{
    if (agentId.isEmpty() || !agentprotocol::isKnownInstructionMode(mode))
        return false;
    m_modes.insert(agentId, mode);
    emit instructionModeChanged(agentId, mode);
    sendMode(agentId, mode);
    return true;
}

QString BridgeServer::instructionMode(const QString &agentId) const
{
    return m_modes.value(agentId, QString::fromLatin1(agentprotocol::kModeAuto));
}

void BridgeServer::sendMode(const QString &agentId, const QString &mode)
{
    sendToAgent(agentId, QJsonObject{{QStringLiteral("type"), QLatin1String(agentprotocol::kCommand)},
                                     {QStringLiteral("requestId"), QStringLiteral("mode-%1").arg(m_nextModeRequest++)},
                                     {QStringLiteral("action"), QStringLiteral("set_instruction_mode")},
                                     {QStringLiteral("mode"), mode}});
}

QString BridgeServer::requestHandoff(const QString &agentId, const QString &targetHost, quint16 targetPort)
{
    const auto agentIt = m_agents.constFind(agentId);
    if (agentIt == m_agents.cend() || targetHost.trimmed().isEmpty() || targetPort == 0)
        return {};
    for (auto it = m_handoffs.begin(); it != m_handoffs.end();) {
        if (it->agentId == agentId)
            it = m_handoffs.erase(it);
        else
            ++it;
    }
    Handoff handoff{QUuid::createUuid().toString(QUuid::WithoutBraces), agentId, targetHost.trimmed(), targetPort,
                    QDateTime::currentDateTimeUtc()};
    m_handoffs.insert(handoff.transferId, handoff);
    const QString callsign = agentIt->callsign;
    sendToAgent(agentId, QJsonObject{{QStringLiteral("type"), QLatin1String(agentprotocol::kHandoffRequest)},
                                     {QStringLiteral("transferId"), handoff.transferId},
                                     {QStringLiteral("agentId"), agentId},
                                     {QStringLiteral("callsign"), callsign},
                                     {QStringLiteral("targetHost"), handoff.targetHost},
                                     {QStringLiteral("targetPort"), int(targetPort)}});
    logBridge(AppLogger::Info, QStringLiteral("[Bridge] Handoff requested: %1 → %2:%3")
                                   .arg(callsign.isEmpty() ? agentId : callsign, handoff.targetHost)
                                   .arg(targetPort));
    emit handoffRequested(handoff.transferId, agentId);
    return handoff.transferId;
}

void BridgeServer::acceptHandoff(const QString &transferId)
{
    if (!m_handoffs.remove(transferId))
        return;
    logBridge(AppLogger::Info, QStringLiteral("[Bridge] Handoff accepted: %1").arg(transferId));
    emit handoffAccepted(transferId);
}

void BridgeServer::rejectHandoff(const QString &transferId)
{
    if (!m_handoffs.remove(transferId))
        return;
    logBridge(AppLogger::Info, QStringLiteral("[Bridge] Handoff rejected: %1").arg(transferId));
    emit handoffRejected(transferId, QStringLiteral("Rejected by operator"));
}

QList<BridgeServer::Handoff> BridgeServer::pendingHandoffs() const
{
    return m_handoffs.values();
}

void BridgeServer::onNewConnection()
{
    while (m_server->hasPendingConnections()) {
        QTcpSocket *tcp = m_server->nextPendingConnection();
        const QString address = peerText(tcp);
        logBridge(AppLogger::Info, QStringLiteral("[Bridge] New TLS connection from %1").arg(address));
        auto *socket = qobject_cast<QSslSocket *>(tcp);
        if (!socket) {
            logBridge(AppLogger::Warning, QStringLiteral("[Bridge] Non-SSL connection rejected"));
            tcp->abort();
            tcp->deleteLater();
            continue;
        }
        if (int(m_peers.size()) >= m_limits.maxConnections) {
            logBridge(AppLogger::Warning, QStringLiteral("[Bridge] Connection limit of %1 reached, %2 rejected")
                                              .arg(m_limits.maxConnections)
                                              .arg(address));
            socket->abort();
            socket->deleteLater();
            continue;
        }
        auto peer = std::make_unique<Peer>();
        peer->socket = socket;
        peer->framer = agentprotocol::LineFramer(m_limits.maxLineBytes);
        peer->address = address;
        peer->acceptedMs = peer->lastHeardMs = m_clock.elapsed();
        m_peers.emplace(socket, std::move(peer));
        socket->setReadBufferSize(kSocketReadBufferBytes);
        connect(socket, &QSslSocket::encrypted, this, [this, socket, address] {
            const auto it = m_peers.find(socket);
            if (it != m_peers.end())
                it->second->encrypted = true;
            logBridge(AppLogger::Info, QStringLiteral("[Bridge] TLS handshake completed with %1").arg(address));
        });
        connect(socket, &QSslSocket::readyRead, this, [this, socket] { onReadyRead(socket); });
        connect(socket, &QSslSocket::disconnected, this, [this, socket] { onSocketDisconnected(socket); });
        connect(socket, &QSslSocket::errorOccurred, this, [this, socket](QAbstractSocket::SocketError) {
            const auto it = m_peers.find(socket);
            if (it == m_peers.end() || it->second->encrypted)
                return; // a closed agent connection is handled by disconnected
            logPeerProblem(*it->second,
                           QStringLiteral("[Bridge] SSL handshake rejected: %1").arg(socket->errorString()));
            dropPeer(socket, true);
        });
    }
}

void BridgeServer::onSslErrors(QSslSocket *socket, const QList<QSslError> &errors)
{
    QStringList texts;
    for (const QSslError &error : errors)
        texts.append(error.errorString());
    const bool expected = std::all_of(errors.cbegin(), errors.cend(), [](const QSslError &error) {
        return bridgetls::isExpectedForSelfSigned(error.error());
    });
    if (expected) {
        logBridge(
            AppLogger::Info,
            QStringLiteral("[Bridge] SSL errors (expected for self-signed): %1").arg(texts.join(QStringLiteral("; "))));
        socket->ignoreSslErrors(errors);
        return;
    }
    // Not ignored: the handshake fails and errorOccurred logs the rejection and drops the socket.
    for (const QSslError &error : errors) {
        if (!bridgetls::isExpectedForSelfSigned(error.error()))
            logBridge(AppLogger::Warning, QStringLiteral("[Bridge] Rejecting SSL error: %1").arg(error.errorString()));
    }
}

void BridgeServer::onReadyRead(QSslSocket *socket)
{
    auto it = m_peers.find(socket);
    if (it == m_peers.end()) {
        socket->readAll();
        return;
    }
    Peer &peer = *it->second;
    QList<QByteArray> lines;
    const bool ok = peer.framer.append(socket->readAll(), lines);
    peer.lastHeardMs = m_clock.elapsed();
    for (const QByteArray &line : std::as_const(lines)) {
        // A handler may drop this peer (refusal, a peer that stopped reading): stop there.
        if (m_peers.count(socket) == 0)
            return;
        handleLine(peer, line);
    }
    if (!ok && m_peers.count(socket) != 0) {
        logBridge(AppLogger::Warning, QStringLiteral("[Bridge] Line longer than %1 bytes from %2, connection closed")
                                          .arg(m_limits.maxLineBytes)
                                          .arg(peer.address));
        dropPeer(socket, true);
    }
}

void BridgeServer::onSocketDisconnected(QSslSocket *socket)
{
    dropPeer(socket, false);
}

void BridgeServer::onSweep()
{
    const qint64 now = m_clock.elapsed();
    std::vector<QSslSocket *> expired;
    for (const auto &entry : m_peers) {
        const Peer &peer = *entry.second;
        if (peer.agentId.isEmpty() && now - peer.acceptedMs > m_limits.registrationTimeoutMs) {
            logBridge(AppLogger::Warning,
                      QStringLiteral("[Bridge] No registration within %1 ms from %2, connection closed")
                          .arg(m_limits.registrationTimeoutMs)
                          .arg(peer.address));
            expired.push_back(entry.first);
        } else if (!peer.agentId.isEmpty() && now - peer.lastHeardMs > m_limits.silenceTimeoutMs) {
            logBridge(AppLogger::Warning, QStringLiteral("[Bridge] Agent %1 silent for %2 ms, connection closed")
                                              .arg(peer.agentId)
                                              .arg(now - peer.lastHeardMs));
            expired.push_back(entry.first);
        }
    }
    for (QSslSocket *socket : expired)
        dropPeer(socket, true);
}

void BridgeServer::dropPeer(QSslSocket *socket, bool abort)
{
    const auto it = m_peers.find(socket);
    if (it == m_peers.end())
        return;
    std::unique_ptr<Peer> peer = std::move(it->second);
    m_peers.erase(it);
    QObject::disconnect(socket, nullptr, this, nullptr);
    forgetAgentOf(*peer);
    if (abort || socket->state() == QAbstractSocket::UnconnectedState) {
        socket->abort();
        socket->deleteLater();
    } else {
        connect(socket, &QAbstractSocket::disconnected, socket, &QObject::deleteLater);
        QTimer::singleShot(kCloseGraceMs, socket, [socket] {
            socket->abort();
            socket->deleteLater();
        });
        socket->disconnectFromHost();
    }
    if (m_dropped.empty())
        QTimer::singleShot(0, this, [this] { m_dropped.clear(); });
    m_dropped.push_back(std::move(peer));
}

void BridgeServer::forgetAgentOf(Peer &peer)
{
    if (peer.agentId.isEmpty())
        return;
    const QString agentId = peer.agentId;
    peer.agentId.clear();
    const auto it = m_agents.find(agentId);
    if (it == m_agents.end() || it->socket != peer.socket)
        return;
    m_agents.erase(it);
    m_aircraft.remove(agentId);
    logBridge(AppLogger::Info, QStringLiteral("[Bridge] Agent disconnected: %1").arg(agentId));
    emit agentDisconnected(agentId);
}

bool BridgeServer::writeTo(QSslSocket *socket, const QJsonObject &message)
{
    if (!socket || m_peers.count(socket) == 0 || !socket->isEncrypted())
        return false;
    if (socket->bytesToWrite() > m_limits.maxPendingWriteBytes) {
        logBridge(AppLogger::Warning,
                  QStringLiteral("[Bridge] %1 is not reading, connection closed").arg(m_peers.at(socket)->address));
        dropPeer(socket, true);
        return false;
    }
    return socket->write(agentprotocol::encodeLine(message)) > 0;
}

void BridgeServer::logPeerProblem(Peer &peer, const QString &message)
{
    ++peer.loggedProblems;
    if (peer.loggedProblems <= kMaxLoggedProblemsPerPeer)
        logBridge(AppLogger::Warning, QStringLiteral("%1 (from %2)").arg(message, peer.address));
    else if (peer.loggedProblems == kMaxLoggedProblemsPerPeer + 1)
        logBridge(AppLogger::Warning,
                  QStringLiteral("[Bridge] Further problems from %1 are not logged").arg(peer.address));
}

bool BridgeServer::secretMatches(const QString &presented) const
{
    if (m_secretDigest.isEmpty())
        return true;
    // Digests of equal length compared without an early exit: the time taken tells nothing about
    // how much of the secret was right.
    const QByteArray digest = QCryptographicHash::hash(presented.toUtf8(), QCryptographicHash::Sha256);
    unsigned char difference = 0;
    for (qsizetype i = 0; i < digest.size(); ++i)
        difference |= static_cast<unsigned char>(digest.at(i) ^ m_secretDigest.at(i));
    return difference == 0;
}
