#pragma once

#include "bridge/agentclient.h"
#include "bridge/agentprotocol.h"
#include "sim/aircraftdata.h"
#include "tools/agent/agentconfig.h"

#include <QJsonObject>
#include <QObject>
#include <QString>

class AgentCommands;
class ISimBackend;
class QTimer;
class SimBackendManager;

// The agent program at run time: its simulator link (a SimBackendManager on the agent's settings
// file), its connection to the instructor (AgentClient), the 5 Hz "position" and 1 Hz "status"
// streams, and the answers to the instructor's commands (carried out by AgentCommands), hand-offs
// and instruction modes.
//
// Created by main() on the GUI thread of a QCoreApplication; owns its children.
class AgentStation : public QObject
{
    Q_OBJECT
public:
    static constexpr int kPositionIntervalMs = 200;
    static constexpr int kStatusIntervalMs = 1000;
    // Without a detected simulator, the simulator of lastSimType (the demo by default) is tried then.
    static constexpr int kFallbackConnectMs = 2500;

    explicit AgentStation(const AgentConfig &config, QObject *parent = nullptr);
    // Starts the simulator link and the connection to the instructor; false (with *error) when
    // the CA file cannot be read.
    bool start(QString *error);

    SimBackendManager *manager() const { return m_manager; }
    AgentClient *client() const { return m_client; }

private:
    void onBackendChanged(ISimBackend *backend);
    void onSample(const AircraftData &data);
    void onMessage(const QJsonObject &message);
    void handleCommand(const QJsonObject &command);
    void handleHandoff(const QJsonObject &request);
    void reply(const QString &requestId, const QString &action, bool success, const QString &message);
    void updateIdentity();
    RemoteAircraft currentAircraft() const;

    AgentConfig m_config;
    SimBackendManager *m_manager = nullptr;
    AgentClient *m_client = nullptr;
    QTimer *m_position = nullptr;
    QTimer *m_status = nullptr;
    AgentCommands *m_commands = nullptr;
    AircraftData m_sample;
    bool m_haveSample = false;
    QString m_mode = QString::fromLatin1(agentprotocol::kModeAuto);
};
