#include "tools/agent/agentstation.h"

#include "app/log/applogger.h"
#include "bridge/bridgetls.h"
#include "sim/isimbackend.h"
#include "sim/simbackendmanager.h"
#include "sim/simdetector.h"
#include "sim/xplanebackend.h"
#include "tools/agent/agentcommands.h"

#include <QSettings>
#include <QTimer>

namespace {

const QString kCategory = QStringLiteral("Agent");

void logAgent(AppLogger::Level level, const QString &message)
{
    AppLogger::instance().log(level, kCategory, message);
}

QString text(const QJsonObject &object, const char *key)
{
    return object.value(QLatin1String(key)).toString();
}

} // namespace

AgentStation::AgentStation(const AgentConfig &config, QObject *parent) : QObject(parent), m_config(config)
{
    m_manager = new SimBackendManager(m_config.settingsPath, this);
    m_client = new AgentClient(this);
    m_position = new QTimer(this);
    m_status = new QTimer(this);
    m_commands = new AgentCommands(m_config.settingsPath, this);
    connect(m_manager, &SimBackendManager::backendChanged, this, &AgentStation::onBackendChanged);
    connect(m_manager, &SimBackendManager::aircraftDataChanged, this, &AgentStation::onSample);
    connect(m_client, &AgentClient::messageReceived, this, &AgentStation::onMessage);
    connect(m_position, &QTimer::timeout, this, [this] {
        if (m_haveSample)
            m_client->send(agentprotocol::positionMessage(currentAircraft()));
    });
    connect(m_status, &QTimer::timeout, this, [this] {
        if (m_haveSample)
            m_client->send(agentprotocol::statusMessage(currentAircraft()));
    });
    connect(m_client, &AgentClient::registered, this, [this] {
        m_position->start(kPositionIntervalMs);
        m_status->start(kStatusIntervalMs);
    });
    connect(m_client, &AgentClient::connectionLost, this, [this] {
        m_position->stop();
        m_status->stop();
    });
}

bool AgentStation::start(QString *error)
{
    QList<QSslCertificate> ca;
    const QString caPath = m_config.caFile.isEmpty() ? QString::fromLatin1(bridgetls::kBuiltInCaPath) : m_config.caFile;
    ca = bridgetls::readCertificates(caPath, error);
    if (ca.isEmpty())
        return false;
    logAgent(AppLogger::Info, QStringLiteral("Agent %1 (%2), trusting the CA in %3")
                                  .arg(m_config.agentId, m_config.callsign,
                                       m_config.caFile.isEmpty() ? QStringLiteral("this program") : m_config.caFile));
    m_client->setServer(m_config.host, m_config.port);
    m_client->setCaCertificates(ca);
    updateIdentity();
    m_client->start();

    if (m_config.xplanePort != 0) {
        m_manager->detector()->stopWatching();
        m_manager->connectTo(SimType::XPlane11);
    } else {
        QTimer::singleShot(kFallbackConnectMs, this, [this] {
            if (!m_manager->backend())
                m_manager->connectTo(SimType::None);
        });
    }
    return true;
}

void AgentStation::onBackendChanged(ISimBackend *backend)
{
    m_haveSample = false;
    m_commands->setBackend(backend);
    updateIdentity();
    if (m_config.xplanePort != 0) {
        // The simulator was named on the command line: whatever else runs on this machine must not
        // take its place. After a loss the manager restarts detection once this slot returns.
        QTimer::singleShot(0, this, [this] { m_manager->detector()->stopWatching(); });
    }
    if (!backend)
        return;
    // Runs before the manager calls connect(), so the command line's port is the one used.
    if (auto *xplane = qobject_cast<XPlaneBackend *>(backend); xplane && m_config.xplanePort != 0) {
        const QSettings settings(m_config.settingsPath, QSettings::IniFormat);
        xplane->setHost(
            settings
                .value(SimBackendManager::kXPlaneHostKey, QString::fromLatin1(SimBackendManager::kDefaultXPlaneHost))
                .toString(),
            m_config.xplanePort);
        xplane->setLocalPort(0);
    }
    connect(backend, &ISimBackend::connected, this, [this] {
        if (const ISimBackend *current = m_manager->backend())
            logAgent(AppLogger::Info, QStringLiteral("Simulator connected: %1").arg(simTypeName(current->simType())));
        updateIdentity();
    });
}

void AgentStation::onSample(const AircraftData &data)
{
    m_sample = data;
    m_haveSample = true;
}

void AgentStation::updateIdentity()
{
    AgentClient::Identity identity;
    identity.agentId = m_config.agentId;
    identity.machineId = m_config.machineId;
    identity.callsign = m_config.callsign;
    // The backend's own type: the manager forgets its type whenever detection finds nothing.
    const ISimBackend *backend = m_manager->backend();
    identity.sim = agentprotocol::simText(backend && backend->isConnected() ? backend->simType() : SimType::None);
    identity.licenseKey = m_config.licenseKey;
    identity.licensed = m_config.licensed;
    identity.secret = m_config.secret;
    m_client->setIdentity(identity);
}

RemoteAircraft AgentStation::currentAircraft() const
{
    return agentprotocol::aircraftFromSample(
        m_sample, m_config.agentId, m_config.callsign,
        {m_commands->paused(), m_commands->positionFrozen(), m_commands->activeFailures()});
}

void AgentStation::onMessage(const QJsonObject &message)
{
    const QString type = text(message, "type");
    if (type == QLatin1String(agentprotocol::kCommand))
        handleCommand(message);
    else if (type == QLatin1String(agentprotocol::kHandoffRequest))
        handleHandoff(message);
    else
        logAgent(AppLogger::Warning,
                 QStringLiteral("Unknown message from the instructor ignored: %1").arg(type.left(64)));
}

void AgentStation::handleCommand(const QJsonObject &command)
{
    const QString requestId = text(command, "requestId");
    const QString action = text(command, "action");
    logAgent(AppLogger::Info, QStringLiteral("Command %1 (%2)").arg(action.left(32), requestId.left(64)));
    if (action == QLatin1String("set_instruction_mode")) {
        const QString mode = text(command, "mode");
        if (!agentprotocol::isKnownInstructionMode(mode)) {
            reply(requestId, action, false, QStringLiteral("Unknown instruction mode \"%1\"").arg(mode.left(32)));
            return;
        }
        m_mode = mode;
        reply(requestId, action, true, QStringLiteral("Instruction mode %1").arg(mode));
    } else if (m_mode == QLatin1String(agentprotocol::kModeObserve)) {
        reply(requestId, action, false, QStringLiteral("Observe mode: commands are not carried out"));
    } else {
        const AgentCommands::Result result = m_commands->execute(action, command);
        reply(requestId, action, result.success, result.message);
    }
}

void AgentStation::reply(const QString &requestId, const QString &action, bool success, const QString &message)
{
    logAgent(success ? AppLogger::Info : AppLogger::Warning,
             QStringLiteral("Result %1 (%2): %3%4")
                 .arg(requestId.left(64), action.left(32), success ? QStringLiteral("done") : QStringLiteral("failed"),
                      message.isEmpty() ? QString() : QStringLiteral(" — ") + message));
    m_client->send(QJsonObject{{QStringLiteral("type"), QLatin1String(agentprotocol::kCommandResult)},
                               {QStringLiteral("agentId"), m_config.agentId},
                               {QStringLiteral("requestId"), requestId},
                               {QStringLiteral("action"), action},
                               {QStringLiteral("success"), success},
                               {QStringLiteral("message"), message}});
}

// Unattended stations follow a hand-off at once: answer, then reconnect to the target with the
// same CA, secret and identity. Should the target stay unreachable the client returns here.
void AgentStation::handleHandoff(const QJsonObject &request)
{
    const QString transferId = text(request, "transferId");
    const QString host = text(request, "targetHost").trimmed();
    const int port = request.value(QStringLiteral("targetPort")).toInt();
    const bool valid = !host.isEmpty() && host.size() <= 255 && port > 0 && port <= 65535;
    const bool same = host == m_client->host() && port == m_client->port();
    QString message;
    if (!valid)
        message = QStringLiteral("Invalid hand-off target");
    else if (same)
        message = QStringLiteral("Already connected to that instructor");
    logAgent(AppLogger::Info,
             QStringLiteral("Hand-off %1 to %2:%3 %4")
                 .arg(transferId, host)
                 .arg(port)
                 .arg(message.isEmpty() ? QStringLiteral("accepted") : QStringLiteral("refused: ") + message));
    m_client->send(QJsonObject{{QStringLiteral("type"), QLatin1String(agentprotocol::kHandoffResponse)},
                               {QStringLiteral("agentId"), m_config.agentId},
                               {QStringLiteral("transferId"), transferId},
                               {QStringLiteral("accepted"), message.isEmpty()},
                               {QStringLiteral("message"), message}});
    if (message.isEmpty())
        m_client->moveTo(host, quint16(port));
}
