#pragma once

#include "bridge/agentprotocol.h"

#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QSslCertificate>
#include <QSslError>
#include <QString>

class QSslSocket;
class QTimer;

// The agent's end of the bridge: keeps one TLS connection to an instructor station, verifies the
// server against the agent's own CA, registers, sends heartbeats, and reconnects after a loss or a
// refusal with a growing back-off. What the agent streams and how it answers commands is its
// owner's business: it calls send() and listens to messageReceived.
//
// Created by the agent program (or a test) on its thread; the socket lives there too.
class AgentClient : public QObject
{
    Q_OBJECT
public:
    struct Identity
    {
        QString agentId;
        QString machineId;
        QString callsign;
        QString sim;
        QString licenseKey;
        bool licensed = false;
        QString secret; // pairing secret; sent only when not empty, never logged
    };

    struct Timings
    {
        int heartbeatIntervalMs = 5000;
        int minReconnectMs = 1000;
        int maxReconnectMs = 30000;
        int registerTimeoutMs = 10000; // connect + handshake + "register" answered
        int silenceTimeoutMs = 20000;  // registered, yet nothing from the server this long
        int handoffAttempts = 3;       // failed tries at a hand-off target before returning
    };

    enum class State { Stopped, Connecting, Registering, Registered, Waiting };
    Q_ENUM(State)

    explicit AgentClient(QObject *parent = nullptr);
    ~AgentClient() override;

    void setServer(const QString &host, quint16 port);
    void setCaCertificates(const QList<QSslCertificate> &certificates);
    // Takes effect on the next registration; while registered, registers again at once (the
    // server updates the agent in place).
    void setIdentity(const Identity &identity);
    void setTimings(const Timings &timings);

    void start();
    void stop();
    State state() const { return m_state; }
    bool isRegistered() const { return m_state == State::Registered; }
    QString host() const { return m_host; }
    quint16 port() const { return m_port; }

    // Writes one message; false (nothing sent) unless registered.
    bool send(const QJsonObject &message);
    // Leaves the current instructor for another one (a hand-off), after flushing what was sent.
    // Falls back to the original instructor after Timings::handoffAttempts failed tries.
    void moveTo(const QString &host, quint16 port);

signals:
    void stateChanged(AgentClient::State state);
    void registered();
    void connectionLost(const QString &reason);
    // Everything from the server except "heartbeat_ack" and "error": commands, hand-off requests.
    void messageReceived(const QJsonObject &message);
    // The server answered "error" (reason may be empty).
    void refused(const QString &reason, const QString &message);
    // The server's certificate did not verify against the CA; the client keeps retrying.
    void certificateRejected(const QString &details);

private:
    void connectNow();
    void setState(State state);
    void onEncrypted();
    void onSslErrors(const QList<QSslError> &errors);
    void onReadyRead();
    void onLost(const QString &reason);
    void handleMessage(const QJsonObject &message);
    void sendRegister();
    void write(const QJsonObject &message);
    void scheduleReconnect();

    QString m_host;
    quint16 m_port = 0;
    QString m_homeHost; // the instructor before a hand-off
    quint16 m_homePort = 0;
    int m_handoffFailures = -1; // -1: not on a hand-off target
    QList<QSslCertificate> m_ca;
    Identity m_identity;
    Timings m_timings;
    State m_state = State::Stopped;
    QSslSocket *m_socket = nullptr;
    agentprotocol::LineFramer m_framer;
    QTimer *m_heartbeat = nullptr;
    QTimer *m_retry = nullptr;
    QTimer *m_watchdog = nullptr; // register timeout, then server silence
    int m_backoffMs = 0;
    bool m_moving = false;
};
