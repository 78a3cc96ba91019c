#include "bridge/agentclient.h"

#include "app/log/applogger.h"
#include "bridge/bridgetls.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <QRandomGenerator>
#include <QSslSocket>
#include <QTimer>

#include <algorithm>

namespace {

const QString kCategory = QStringLiteral("Agent");

void logAgent(AppLogger::Level level, const QString &message)
{
    AppLogger::instance().log(level, kCategory, message);
}

} // namespace

AgentClient::AgentClient(QObject *parent) : QObject(parent)
{
    m_heartbeat = new QTimer(this);
    connect(m_heartbeat, &QTimer::timeout, this, [this] {
        write(QJsonObject{{QStringLiteral("type"), QLatin1String(agentprotocol::kHeartbeat)},
                          {QStringLiteral("agentId"), m_identity.agentId}});
    });
    m_retry = new QTimer(this);
    m_retry->setSingleShot(true);
    connect(m_retry, &QTimer::timeout, this, &AgentClient::connectNow);
    m_watchdog = new QTimer(this);
    m_watchdog->setSingleShot(true);
    connect(m_watchdog, &QTimer::timeout, this, [this] {
        onLost(m_state == State::Registered ? QStringLiteral("no answer from the instructor")
                                            : QStringLiteral("registration timed out"));
    });
}

AgentClient::~AgentClient()
{
    if (m_socket)
        QObject::disconnect(m_socket, nullptr, this, nullptr);
}

void AgentClient::setServer(const QString &host, quint16 port)
{
    m_host = m_homeHost = host;
    m_port = m_homePort = port;
    m_handoffFailures = -1;
}

void AgentClient::setCaCertificates(const QList<QSslCertificate> &certificates)
{
    m_ca = certificates;
}

void AgentClient::setIdentity(const Identity &identity)
{
    m_identity = identity;
    if (m_state == State::Registered)
        sendRegister();
}

void AgentClient::setTimings(const Timings &timings)
{
    m_timings = timings;
}

void AgentClient::start()
{
    if (m_state != State::Stopped)
        return;
    m_backoffMs = 0;
    connectNow();
}

void AgentClient::stop()
{
    m_retry->stop();
    m_heartbeat->stop();
    m_watchdog->stop();
    if (m_socket) {
        QObject::disconnect(m_socket, nullptr, this, nullptr);
        m_socket->disconnectFromHost();
        // Deleted once its close_notify went out, or right away when already closed.
        if (m_socket->state() == QAbstractSocket::UnconnectedState)
            m_socket->deleteLater();
        else
            connect(m_socket, &QAbstractSocket::disconnected, m_socket, &QObject::deleteLater);
        m_socket = nullptr;
    }
    setState(State::Stopped);
}

bool AgentClient::send(const QJsonObject &message)
{
    if (m_state != State::Registered)
        return false;
    write(message);
    return true;
}

void AgentClient::moveTo(const QString &host, quint16 port)
{
    logAgent(AppLogger::Info, QStringLiteral("Handing over to %1:%2").arg(host).arg(port));
    m_host = host;
    m_port = port;
    m_handoffFailures = 0;
    m_moving = true;
    if (m_socket && m_socket->state() != QAbstractSocket::UnconnectedState)
        m_socket->disconnectFromHost(); // flushes first; disconnected then reconnects to the target
    else
        onLost(QStringLiteral("hand-off"));
}

void AgentClient::connectNow()
{
    if (m_socket) {
        QObject::disconnect(m_socket, nullptr, this, nullptr);
        m_socket->abort();
        m_socket->deleteLater();
    }
    m_framer = agentprotocol::LineFramer();
    m_socket = new QSslSocket(this);
    m_socket->setSslConfiguration(bridgetls::clientConfiguration(m_ca));
    connect(m_socket, &QSslSocket::encrypted, this, &AgentClient::onEncrypted);
    connect(m_socket, &QSslSocket::sslErrors, this, &AgentClient::onSslErrors);
    connect(m_socket, &QSslSocket::readyRead, this, &AgentClient::onReadyRead);
    connect(m_socket, &QSslSocket::disconnected, this, [this] { onLost(QStringLiteral("connection closed")); });
    connect(m_socket, &QSslSocket::errorOccurred, this,
            [this](QAbstractSocket::SocketError) { onLost(m_socket->errorString()); });
    setState(State::Connecting);
    logAgent(AppLogger::Info, QStringLiteral("Connecting to %1:%2").arg(m_host).arg(m_port));
    m_watchdog->start(m_timings.registerTimeoutMs);
    m_socket->connectToHostEncrypted(m_host, m_port);
}

void AgentClient::setState(State state)
{
    if (m_state == state)
        return;
    m_state = state;
    emit stateChanged(state);
}

void AgentClient::onEncrypted()
{
    logAgent(
        AppLogger::Info,
        QStringLiteral("TLS established with %1:%2 (certificate verified against the CA)").arg(m_host).arg(m_port));
    setState(State::Registering);
    sendRegister();
}

void AgentClient::onSslErrors(const QList<QSslError> &errors)
{
    QList<QSslError> ignorable;
    QStringList problems;
    for (const QSslError &error : errors) {
        if (bridgetls::isIgnoredByAgent(error.error()))
            ignorable.append(error);
        else
            problems.append(error.errorString());
    }
    if (problems.isEmpty()) {
        m_socket->ignoreSslErrors(ignorable);
        return;
    }
    const QString details = problems.join(QStringLiteral("; "));
    logAgent(AppLogger::Error, QStringLiteral("Server certificate refused (%1:%2): %3 — is this instructor using "
                                              "another CA than the one given with --ca?")
                                   .arg(m_host)
                                   .arg(m_port)
                                   .arg(details));
    emit certificateRejected(details);
}

void AgentClient::onReadyRead()
{
    QList<QByteArray> lines;
    const bool ok = m_framer.append(m_socket->readAll(), lines);
    for (const QByteArray &line : std::as_const(lines)) {
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(line, &error);
        if (error.error != QJsonParseError::NoError || !document.isObject()) {
            logAgent(AppLogger::Warning,
                     QStringLiteral("Unreadable line from the instructor dropped: %1")
                         .arg(error.error != QJsonParseError::NoError ? error.errorString()
                                                                      : QStringLiteral("not an object")));
            continue;
        }
        const QSslSocket *socket = m_socket;
        handleMessage(document.object());
        if (m_socket != socket)
            return; // the handler reconnected or stopped
    }
    if (!ok)
        onLost(QStringLiteral("over-long line from the instructor"));
}

void AgentClient::handleMessage(const QJsonObject &message)
{
    if (m_state == State::Registered)
        m_watchdog->start(m_timings.silenceTimeoutMs);
    const QString type = message.value(QStringLiteral("type")).toString();
    if (type == QLatin1String(agentprotocol::kHeartbeatAck)) {
        if (m_state != State::Registering)
            return;
        m_backoffMs = 0;
        m_handoffFailures = -1;
        m_homeHost = m_host;
        m_homePort = m_port;
        setState(State::Registered);
        m_heartbeat->start(m_timings.heartbeatIntervalMs);
        m_watchdog->start(m_timings.silenceTimeoutMs);
        logAgent(AppLogger::Info, QStringLiteral("Registered with %1:%2 as %3 (%4)")
                                      .arg(m_host)
                                      .arg(m_port)
                                      .arg(m_identity.agentId, m_identity.callsign));
        emit registered();
    } else if (type == QLatin1String(agentprotocol::kError)) {
        const QString reason = message.value(QStringLiteral("reason")).toString();
        const QString text = message.value(QStringLiteral("message")).toString();
        logAgent(AppLogger::Error, QStringLiteral("Registration refused by the instructor: %1%2")
                                       .arg(text, reason.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(reason)));
        emit refused(reason, text);
        // The refusal may be lifted (a free licence seat, a fixed secret): try again later.
        onLost(QStringLiteral("registration refused"));
    } else {
        emit messageReceived(message);
    }
}

void AgentClient::sendRegister()
{
    QJsonObject message{{QStringLiteral("type"), QLatin1String(agentprotocol::kRegister)},
                        {QStringLiteral("agentId"), m_identity.agentId},
                        {QStringLiteral("machineId"), m_identity.machineId},
                        {QStringLiteral("callsign"), m_identity.callsign},
                        {QStringLiteral("sim"), m_identity.sim},
                        {QStringLiteral("licenseKey"), m_identity.licenseKey},
                        {QStringLiteral("licensed"), m_identity.licensed}};
    if (!m_identity.secret.isEmpty())
        message.insert(QStringLiteral("secret"), m_identity.secret);
    write(message);
}

void AgentClient::write(const QJsonObject &message)
{
    if (m_socket && m_socket->isEncrypted())
        m_socket->write(agentprotocol::encodeLine(message));
}

void AgentClient::onLost(const QString &reason)
{
    if (m_state == State::Stopped || m_state == State::Waiting)
        return;
    const bool wasRegistered = m_state == State::Registered;
    m_heartbeat->stop();
    m_watchdog->stop();
    if (m_socket) {
        QSslSocket *socket = m_socket;
        m_socket = nullptr;
        QObject::disconnect(socket, nullptr, this, nullptr);
        socket->abort();
        socket->deleteLater();
    }
    if (m_moving) {
        m_moving = false;
        m_backoffMs = 0;
        setState(State::Waiting);
        m_retry->start(0);
        return;
    }
    if (m_handoffFailures >= 0 && ++m_handoffFailures >= m_timings.handoffAttempts) {
        logAgent(AppLogger::Warning, QStringLiteral("Hand-off target %1:%2 unreachable; returning to %3:%4")
                                         .arg(m_host)
                                         .arg(m_port)
                                         .arg(m_homeHost)
                                         .arg(m_homePort));
        m_host = m_homeHost;
        m_port = m_homePort;
        m_handoffFailures = -1;
    }
    emit connectionLost(reason);
    scheduleReconnect();
    // Losing a working link is worth a warning; a failed attempt while waiting for the instructor is not.
    logAgent(wasRegistered ? AppLogger::Warning : AppLogger::Info,
             QStringLiteral("Connection to %1:%2 lost (%3); retrying in %4 ms")
                 .arg(m_host)
                 .arg(m_port)
                 .arg(reason)
                 .arg(m_retry->interval()));
}

void AgentClient::scheduleReconnect()
{
    m_backoffMs = m_backoffMs == 0 ? m_timings.minReconnectMs : std::min(m_backoffMs * 2, m_timings.maxReconnectMs);
    // Up to a fifth of jitter, so agents dropped together do not all come back in the same instant.
    const int jitter = int(QRandomGenerator::global()->bounded(m_backoffMs / 5 + 1));
    setState(State::Waiting);
    m_retry->start(m_backoffMs + jitter);
}
