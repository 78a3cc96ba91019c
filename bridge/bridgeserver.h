#pragma once

#include "bridge/agentconnection.h"
#include "bridge/agentprotocol.h"
#include "bridge/bridgetls.h"
#include "sim/ibridgelink.h"
#include "sim/remoteaircraft.h"

#include <QByteArray>
#include <QDateTime>
#include <QElapsedTimer>
#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QSslError>
#include <QString>

#include <memory>
#include <unordered_map>
#include <vector>

class IAgentAdmission;
class QSslSocket;
class QTimer;
class SslTcpServer;

// The instructor's side of the agent bridge: a TLS server that remote stations ("agents")
// connect to, register with and stream their aircraft to, and through which the instructor's
// operations reach a chosen agent as commands. Keeps per agent its registration, its last
// reported aircraft and its instruction mode, and the hand-offs in flight.
//
// Hostile input is contained per connection: a line over the cap, a socket that never registers
// in time or a peer that stops reading loses its own connection only; messages naming another
// agent than the one registered on that socket are ignored; problems are logged a bounded number
// of times per connection.
//
// Created by the main window (parent) or a test; GUI thread only; sockets are event-driven.
class BridgeServer : public QObject, public IBridgeLink
{
    Q_OBJECT
public:
    struct Limits
    {
        qsizetype maxLineBytes = agentprotocol::kDefaultMaxLineBytes;
        int maxAgents = 1000;
        int maxConnections = 1100;                     // registered or not
        int registrationTimeoutMs = 10000;             // from accept to a successful "register"
        int silenceTimeoutMs = 60000;                  // a registered agent that sends nothing this long is dropped
        qint64 maxPendingWriteBytes = 4 * 1024 * 1024; // a peer that stops reading is dropped past this
    };

    // Reasons sent with "error" (besides those of the admission).
    static constexpr char kReasonBadSecret[] = "bad_secret";
    static constexpr char kReasonIdConflict[] = "agent_id_conflict";
    static constexpr char kReasonAlreadyRegistered[] = "already_registered";
    static constexpr char kReasonServerFull[] = "server_full";
    static constexpr char kReasonInvalidField[] = "invalid_field";

    explicit BridgeServer(QObject *parent = nullptr);
    ~BridgeServer() override;

    // Settings used by the next start().
    void setCertificateFiles(const BridgeCertificateFiles &files);
    // Empty: no secret is asked for. Never logged.
    void setPairingSecret(const QString &secret);
    // Borrowed; null admits every agent.
    void setAdmission(const IAgentAdmission *admission);
    void setLimits(const Limits &limits);
    Limits limits() const { return m_limits; }

    // Loads the certificates and listens on every address; false when already running, when the
    // certificates fail their checks, or when the port cannot be bound (serverError then tells).
    bool start(quint16 port);
    // Ends every agent connection and stops listening.
    void stop();
    bool isRunning() const;
    quint16 port() const;

    // IBridgeLink
    bool sendToAgent(const QString &agentId, const QJsonObject &message) override;
    bool isAgentRegistered(const QString &agentId) const override;
    RemoteAircraft remoteAircraft(const QString &agentId) const override;
    QString agentSim(const QString &agentId) const override;

    void broadcast(const QJsonObject &message);
    QList<AgentConnection> agents() const;
    AgentConnection agent(const QString &agentId) const;
    QList<RemoteAircraft> remoteAircraftList() const;
    int connectionCount() const { return int(m_peers.size()); }

    // Stores the mode (also for an agent not connected now: it is sent again on registration) and
    // sends "set_instruction_mode" to the agent. False for an unknown mode.
    bool setInstructionMode(const QString &agentId, const QString &mode);
    QString instructionMode(const QString &agentId) const;

    // Asks the agent to move to another instructor; returns the transfer id, empty when the agent
    // is not registered. A later request for the same agent replaces its pending one.
    QString requestHandoff(const QString &agentId, const QString &targetHost, quint16 targetPort);
    // Resolve a pending hand-off (the agent's "handoff_response" does this too).
    void acceptHandoff(const QString &transferId);
    void rejectHandoff(const QString &transferId);
    struct Handoff
    {
        QString transferId;
        QString agentId;
        QString targetHost;
        quint16 targetPort = 0;
        QDateTime requestedAt;
    };
    QList<Handoff> pendingHandoffs() const;

signals:
    void serverStarted(quint16 port);
    void serverStopped();
    void serverError(const QString &reason);
    void agentRegistered(const AgentConnection &connection);
    void agentDisconnected(const QString &agentId);
    void agentRejected(const QString &agentId, const QString &reason);
    void aircraftUpdated(const QString &agentId, const RemoteAircraft &aircraft);
    void heartbeatReceived(const QString &agentId);
    // Every "command_result" of a registered agent, as received.
    void messageReceived(const QString &agentId, const QJsonObject &message);
    void instructionModeChanged(const QString &agentId, const QString &mode);
    void handoffRequested(const QString &transferId, const QString &agentId);
    void handoffAccepted(const QString &transferId);
    void handoffRejected(const QString &transferId, const QString &reason);

private:
    struct Peer
    {
        QSslSocket *socket = nullptr;
        agentprotocol::LineFramer framer;
        QString address;
        QString agentId; // empty until registered
        bool encrypted = false;
        qint64 acceptedMs = 0;
        qint64 lastHeardMs = 0;
        int loggedProblems = 0;
    };

    void onNewConnection();
    void onSslErrors(QSslSocket *socket, const QList<QSslError> &errors);
    void onReadyRead(QSslSocket *socket);
    void onSocketDisconnected(QSslSocket *socket);
    void onSweep();
    // Forgets the peer (and its agent) and closes the socket: abort drops unsent data.
    void dropPeer(QSslSocket *socket, bool abort);
    void forgetAgentOf(Peer &peer);

    void handleLine(Peer &peer, const QByteArray &line);
    void handleRegister(Peer &peer, const QJsonObject &message);
    // The registered agent this message may speak for, or nullptr when it names another (ignored).
    AgentConnection *senderAgent(Peer &peer, const QJsonObject &message);
    void handleHandoffResponse(const QString &agentId, const QJsonObject &message);
    void refuse(Peer &peer, const QString &agentId, const QString &reason, const QString &message);
    bool writeTo(QSslSocket *socket, const QJsonObject &message);
    // Logs a problem of one connection, at most a few times per connection.
    void logPeerProblem(Peer &peer, const QString &message);
    bool secretMatches(const QString &presented) const;
    void sendMode(const QString &agentId, const QString &mode);

    SslTcpServer *m_server = nullptr;
    QTimer *m_sweep = nullptr;
    BridgeCertificateFiles m_files;
    QByteArray m_secretDigest; // SHA-256 of the pairing secret; empty when none is set
    const IAgentAdmission *m_admission = nullptr;
    Limits m_limits;
    // Peers are held by pointer so a handler's reference survives other peers being dropped; a
    // dropped peer is kept until control returns to the event loop.
    std::unordered_map<QSslSocket *, std::unique_ptr<Peer>> m_peers;
    std::vector<std::unique_ptr<Peer>> m_dropped;
    QElapsedTimer m_clock;
    QHash<QString, AgentConnection> m_agents;
    QHash<QString, RemoteAircraft> m_aircraft;
    QHash<QString, QString> m_boundMachine;
    QHash<QString, QString> m_modes;
    QHash<QString, Handoff> m_handoffs;
    quint64 m_nextModeRequest = 1;
};
