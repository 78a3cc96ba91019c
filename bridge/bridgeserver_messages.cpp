// BridgeServer: what each message from an agent does.

#include "app/log/applogger.h"
#include "bridge/agentadmission.h"
#include "bridge/bridgeserver.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <QSslSocket>

namespace {

const QString kCategory = QStringLiteral("Bridge");
// Longest texts accepted in "register"; a longer one is refused rather than cut, so two agents
// cannot end up with the same truncated id.
constexpr int kMaxIdChars = 128;
constexpr int kMaxTextChars = 64;
constexpr int kMaxLicenseKeyChars = 4096;
// Remembered agentId → machine bindings, beyond which those of absent agents are forgotten.
constexpr int kBindingsPerAgentSlot = 4;

void logBridge(AppLogger::Level level, const QString &message)
{
    AppLogger::instance().log(level, kCategory, message);
}

QString text(const QJsonObject &message, const char *key)
{
    return message.value(QLatin1String(key)).toString();
}

QJsonObject typed(const char *type)
{
    return QJsonObject{{QStringLiteral("type"), QLatin1String(type)}};
}

} // namespace

void BridgeServer::handleLine(Peer &peer, const QByteArray &line)
{
    if (line.trimmed().isEmpty())
        return;
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        logPeerProblem(peer, QStringLiteral("[Bridge] JSON parse error: %1")
                                 .arg(error.error != QJsonParseError::NoError ? error.errorString()
                                                                              : QStringLiteral("not an object")));
        return;
    }
    const QJsonObject message = document.object();
    const QString type = text(message, "type");
    if (type == QLatin1String(agentprotocol::kRegister)) {
        handleRegister(peer, message);
        return;
    }
    static const QStringList kAgentTypes{QLatin1String(agentprotocol::kHeartbeat),
                                         QLatin1String(agentprotocol::kPosition), QLatin1String(agentprotocol::kStatus),
                                         QLatin1String(agentprotocol::kCommandResult),
                                         QLatin1String(agentprotocol::kHandoffResponse)};
    if (!kAgentTypes.contains(type)) {
        logPeerProblem(peer, QStringLiteral("[Bridge] Unknown message type: %1").arg(type.left(kMaxTextChars)));
        return;
    }
    AgentConnection *agent = senderAgent(peer, message);
    if (!agent)
        return;
    const QString agentId = agent->agentId;
    if (type == QLatin1String(agentprotocol::kHeartbeat)) {
        agent->lastHeartbeat = QDateTime::currentDateTimeUtc();
        emit heartbeatReceived(agentId);
        writeTo(peer.socket, typed(agentprotocol::kHeartbeatAck));
    } else if (type == QLatin1String(agentprotocol::kPosition)) {
        RemoteAircraft &aircraft = m_aircraft[agentId];
        aircraft.agentId = agentId;
        if (aircraft.callsign.isEmpty())
            aircraft.callsign = agent->callsign;
        agentprotocol::applyPosition(aircraft, message);
        emit aircraftUpdated(agentId, aircraft);
    } else if (type == QLatin1String(agentprotocol::kStatus)) {
        RemoteAircraft aircraft = agentprotocol::aircraftFromStatus(message);
        aircraft.agentId = agentId;
        if (aircraft.callsign.isEmpty())
            aircraft.callsign = agent->callsign;
        m_aircraft.insert(agentId, aircraft);
        emit aircraftUpdated(agentId, aircraft);
    } else if (type == QLatin1String(agentprotocol::kCommandResult)) {
        emit messageReceived(agentId, message);
    } else {
        handleHandoffResponse(agentId, message);
    }
}

AgentConnection *BridgeServer::senderAgent(Peer &peer, const QJsonObject &message)
{
    const QString type = text(message, "type");
    if (peer.agentId.isEmpty()) {
        logPeerProblem(peer, QStringLiteral("[Bridge] \"%1\" before registration ignored").arg(type));
        return nullptr;
    }
    if (text(message, "agentId") != peer.agentId) {
        logPeerProblem(
            peer, QStringLiteral("[Bridge] \"%1\" naming another agentId than %2 ignored").arg(type, peer.agentId));
        return nullptr;
    }
    const auto it = m_agents.find(peer.agentId);
    return it == m_agents.end() ? nullptr : &*it;
}

void BridgeServer::handleRegister(Peer &peer, const QJsonObject &message)
{
    const QString agentId = text(message, "agentId");
    if (agentId.isEmpty()) {
        logBridge(AppLogger::Warning, QStringLiteral("[Bridge] Registration rejected: empty agentId"));
        writeTo(peer.socket,
                QJsonObject{{QStringLiteral("type"), QLatin1String(agentprotocol::kError)},
                            {QStringLiteral("message"), QStringLiteral("Registration requires a non-empty agentId")}});
        return;
    }
    const QString shownId = agentId.left(kMaxIdChars);
    if (!secretMatches(text(message, "secret"))) {
        refuse(peer, shownId, QLatin1String(kReasonBadSecret), QStringLiteral("Pairing secret missing or wrong"));
        // Each further guess costs a new connection and handshake.
        if (m_peers.count(peer.socket) != 0)
            dropPeer(peer.socket, false);
        return;
    }
    AgentConnection connection;
    connection.agentId = agentId;
    connection.machineId = text(message, "machineId");
    connection.callsign = text(message, "callsign");
    connection.sim = text(message, "sim");
    connection.licenseKey = text(message, "licenseKey");
    connection.licensed = message.value(QStringLiteral("licensed")).toBool();
    if (agentId.size() > kMaxIdChars || connection.machineId.size() > kMaxIdChars ||
        connection.callsign.size() > kMaxTextChars || connection.sim.size() > kMaxTextChars ||
        connection.licenseKey.size() > kMaxLicenseKeyChars) {
        refuse(peer, shownId, QLatin1String(kReasonInvalidField), QStringLiteral("A registration field is too long"));
        return;
    }
    if (!peer.agentId.isEmpty() && peer.agentId != agentId) {
        refuse(peer, shownId, QLatin1String(kReasonAlreadyRegistered),
               QStringLiteral("This connection is registered as another agent"));
        return;
    }
    const QString bound = m_boundMachine.value(agentId);
    if (!bound.isEmpty() && bound != connection.machineId) {
        refuse(peer, shownId, QLatin1String(kReasonIdConflict),
               QStringLiteral("This agentId belongs to another machine"));
        return;
    }
    const auto existing = m_agents.constFind(agentId);
    const bool known = existing != m_agents.cend();
    const bool refresh = known && existing->socket == peer.socket;
    const int others = int(m_agents.size()) - (known ? 1 : 0);
    if (!known && others >= m_limits.maxAgents) {
        refuse(peer, shownId, QLatin1String(kReasonServerFull),
               QStringLiteral("The instructor station serves at most %1 agents").arg(m_limits.maxAgents));
        return;
    }
    if (m_admission) {
        const IAgentAdmission::Verdict verdict =
            m_admission->admit(agentId, connection.licenseKey, connection.licensed, others);
        if (!verdict.accepted) {
            refuse(peer, shownId, verdict.reason, verdict.message);
            return;
        }
    }

    const QDateTime now = QDateTime::currentDateTimeUtc();
    connection.registeredAt = refresh ? existing->registeredAt : now;
    if (known && !refresh) {
        // The same machine again on a new connection (the agent reconnected before its old
        // connection was noticed gone): the new one replaces it without a disconnection.
        QSslSocket *old = existing->socket;
        const auto oldPeer = m_peers.find(old);
        if (oldPeer != m_peers.end()) {
            logBridge(AppLogger::Info,
                      QStringLiteral("[Bridge] Agent %1 registered again; previous connection from %2 closed")
                          .arg(agentId, oldPeer->second->address));
            oldPeer->second->agentId.clear();
        }
        dropPeer(old, true);
    }
    connection.peerAddress = peer.address;
    connection.socket = peer.socket;
    connection.lastHeartbeat = now;
    m_agents.insert(agentId, connection);
    if (m_boundMachine.size() > kBindingsPerAgentSlot * m_limits.maxAgents) {
        for (auto it = m_boundMachine.begin(); it != m_boundMachine.end();)
            it = m_agents.contains(it.key()) ? std::next(it) : m_boundMachine.erase(it);
    }
    m_boundMachine.insert(agentId, connection.machineId);
    peer.agentId = agentId;
    logBridge(AppLogger::Info, QStringLiteral("[Bridge] Agent registered: %1 (%2, %3, %4)")
                                   .arg(agentId, connection.callsign, connection.sim, peer.address));
    emit agentRegistered(connection);
    writeTo(peer.socket, typed(agentprotocol::kHeartbeatAck));
    const QString mode = m_modes.value(agentId);
    if (!refresh && !mode.isEmpty() && mode != QLatin1String(agentprotocol::kModeAuto))
        sendMode(agentId, mode);
}

void BridgeServer::refuse(Peer &peer, const QString &agentId, const QString &reason, const QString &message)
{
    logBridge(AppLogger::Warning,
              QStringLiteral("[Bridge] Registration rejected: %1 (%2) from %3").arg(agentId, reason, peer.address));
    writeTo(peer.socket, QJsonObject{{QStringLiteral("type"), QLatin1String(agentprotocol::kError)},
                                     {QStringLiteral("message"), message},
                                     {QStringLiteral("reason"), reason}});
    emit agentRejected(agentId, reason);
}

void BridgeServer::handleHandoffResponse(const QString &agentId, const QJsonObject &message)
{
    const QString transferId = text(message, "transferId");
    const auto it = m_handoffs.constFind(transferId);
    if (it == m_handoffs.cend() || it->agentId != agentId)
        return; // resolved by the operator meanwhile, or not this agent's
    if (message.value(QStringLiteral("accepted")).toBool()) {
        acceptHandoff(transferId);
        return;
    }
    m_handoffs.remove(transferId);
    QString reason = text(message, "message").left(kMaxTextChars * 4);
    if (reason.isEmpty())
        reason = QStringLiteral("Rejected by agent");
    logBridge(AppLogger::Info, QStringLiteral("[Bridge] Handoff rejected by agent %1: %2").arg(agentId, reason));
    emit handoffRejected(transferId, reason);
}
