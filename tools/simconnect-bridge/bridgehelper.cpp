#include "tools/simconnect-bridge/bridgehelper.h"

#include "app/log/applogger.h"
#include "sim/simconnect/simconnectsession.h"
#include "sim/simconnect/simvartable.h"

#include <QHostAddress>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <cmath>

namespace {

const QString kCategory = QStringLiteral("SimConnectBridge");
const QString kAppName = QStringLiteral("Zobrel bridge");
// Commands are short; a longer line is not one.
constexpr qsizetype kMaxCommandBytes = 64 * 1024;
constexpr double kFeetPerMetre = 3.28084;
// A station that stops reading does not make the helper hold samples without bound: past this,
// new lines are dropped until it catches up.
constexpr qint64 kMaxPendingBytes = 4 * 1024 * 1024;

QString text(const QJsonObject &object, const char *key)
{
    return object.value(QLatin1String(key)).toString();
}

double number(const QJsonObject &object, const char *key)
{
    const double value = object.value(QLatin1String(key)).toDouble();
    return std::isfinite(value) ? value : 0.0;
}

} // namespace

BridgeHelper::BridgeHelper(const Options &options, PortFactory portFactory, QObject *parent)
    : QObject(parent), m_options(options), m_portFactory(std::move(portFactory)), m_server(new QTcpServer(this)),
      m_reader(kMaxCommandBytes), m_reopenTimer(new QTimer(this)), m_idleTimer(new QTimer(this))
{
    m_reopenTimer->setSingleShot(true);
    m_reopenTimer->setInterval(m_options.reopenIntervalMs);
    connect(m_reopenTimer, &QTimer::timeout, this, &BridgeHelper::openSimulator);
    m_idleTimer->setSingleShot(true);
    m_idleTimer->setInterval(m_options.idleExitMs);
    connect(m_idleTimer, &QTimer::timeout, this, [this] {
        AppLogger::instance().log(
            AppLogger::Info, kCategory,
            QStringLiteral("No station connected for %1 s; exiting").arg(m_options.idleExitMs / 1000.0));
        emit idle();
    });
    connect(m_server, &QTcpServer::newConnection, this, &BridgeHelper::onNewConnection);
}

BridgeHelper::~BridgeHelper()
{
    if (m_session)
        m_session->stop();
}

bool BridgeHelper::start()
{
    if (!m_server->listen(QHostAddress::LocalHost, m_options.port)) {
        AppLogger::instance().log(
            AppLogger::Error, kCategory,
            QStringLiteral("Cannot listen on 127.0.0.1:%1: %2").arg(m_options.port).arg(m_server->errorString()));
        return false;
    }
    AppLogger::instance().log(AppLogger::Info, kCategory,
                              QStringLiteral("Listening on 127.0.0.1:%1 for %2")
                                  .arg(m_server->serverPort())
                                  .arg(simTypeName(m_options.kind)));
    m_idleTimer->start();
    openSimulator();
    return true;
}

quint16 BridgeHelper::listeningPort() const
{
    return m_server->serverPort();
}

void BridgeHelper::openSimulator()
{
    if (m_session) {
        m_session->disconnect(this);
        m_session->stop();
        m_session->deleteLater();
    }
    m_session = new SimConnectSession(m_options.kind, m_portFactory(), this);
    connect(m_session, &SimConnectSession::opened, this, &BridgeHelper::onOpened);
    connect(m_session, &SimConnectSession::failed, this, [this](const QString &reason) {
        AppLogger::instance().log(AppLogger::Info, kCategory,
                                  QStringLiteral("SimConnect not open (%1); trying again in %2 s")
                                      .arg(reason)
                                      .arg(m_options.reopenIntervalMs / 1000.0));
        m_reopenTimer->start();
    });
    connect(m_session, &SimConnectSession::closed, this, &BridgeHelper::onClosed);
    connect(m_session, &SimConnectSession::sampleUpdated, this,
            [this] { send(simvars::toBridgeData(m_session->sample())); });
    connect(m_session, &SimConnectSession::tankLayoutChanged, this, [this](const simvars::TankLayout &layout) {
        m_fuelConfig = simvars::toBridgeFuelConfig(layout);
        send(m_fuelConfig);
    });
    connect(m_session, &SimConnectSession::weatherObservationReceived, this, [](const QString &metar) {
        AppLogger::instance().log(AppLogger::Info, kCategory, QStringLiteral("Weather observation: %1").arg(metar));
    });
    m_session->start(kAppName);
}

void BridgeHelper::onOpened()
{
    AppLogger::instance().log(AppLogger::Info, kCategory,
                              QStringLiteral("SimConnect connected: %1").arg(m_session->openInfo().applicationName));
    m_fuelConfig = QJsonObject();
    sendGreeting();
}

void BridgeHelper::onClosed(const QString &reason)
{
    // The station keeps its link; it hears about the simulator and waits for the next greeting.
    AppLogger::instance().log(AppLogger::Info, kCategory, QStringLiteral("SimConnect closed: %1").arg(reason));
    send({{QStringLiteral("type"), QStringLiteral("disconnected")}});
    m_fuelConfig = QJsonObject();
    m_reopenTimer->start();
}

void BridgeHelper::sendGreeting()
{
    if (!m_session || !m_session->isOpen())
        return;
    send({{QStringLiteral("type"), QStringLiteral("connected")},
          {QStringLiteral("app"), m_session->openInfo().applicationName}});
    if (!m_fuelConfig.isEmpty())
        send(m_fuelConfig);
}

void BridgeHelper::onNewConnection()
{
    while (QTcpSocket *socket = m_server->nextPendingConnection()) {
        if (m_station) {
            // The station's new link replaces its old one.
            m_station->disconnect(this);
            m_station->abort();
            m_station->deleteLater();
        }
        m_station = socket;
        m_reader.clear();
        connect(socket, &QTcpSocket::readyRead, this, &BridgeHelper::onStationReadyRead);
        connect(socket, &QTcpSocket::disconnected, this, &BridgeHelper::onStationGone);
        m_idleTimer->stop();
        AppLogger::instance().log(AppLogger::Info, kCategory, QStringLiteral("Station connected"));
        sendGreeting();
    }
}

void BridgeHelper::onStationGone()
{
    auto *socket = qobject_cast<QTcpSocket *>(sender());
    if (socket != m_station)
        return;
    AppLogger::instance().log(AppLogger::Info, kCategory, QStringLiteral("Station disconnected"));
    m_station->deleteLater();
    m_station = nullptr;
    m_idleTimer->start();
}

void BridgeHelper::onStationReadyRead()
{
    if (!m_station)
        return;
    m_reader.readFrom(*m_station, [this](const QByteArray &line) {
        const QByteArray trimmed = line.trimmed();
        if (trimmed.isEmpty())
            return;
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(trimmed, &error);
        if (error.error != QJsonParseError::NoError || !document.isObject()) {
            AppLogger::instance().log(AppLogger::Warning, kCategory,
                                      QStringLiteral("Unreadable command line dropped (%1 bytes)").arg(trimmed.size()));
            return;
        }
        handleCommand(document.object());
    });
}

void BridgeHelper::handleCommand(const QJsonObject &command)
{
    const QString cmd = text(command, "cmd");
    if (!m_session || !m_session->isOpen()) {
        send({{QStringLiteral("type"), QStringLiteral("error")},
              {QStringLiteral("message"), QStringLiteral("no simulator connected")}});
        return;
    }
    if (cmd == QLatin1String("set")) {
        m_session->setVariable(text(command, "var"), number(command, "value"), text(command, "units"));
    } else if (cmd == QLatin1String("event")) {
        const double data = number(command, "data");
        m_session->sendEvent(text(command, "name"), data >= 0 && data <= 4294967295.0 ? quint32(data) : 0);
    } else if (cmd == QLatin1String("position")) {
        simconnect::InitPosition position;
        position.lat = number(command, "lat");
        position.lon = number(command, "lon");
        position.altFt = number(command, "alt") * kFeetPerMetre; // the station sends metres
        position.pitch = number(command, "pitch");
        position.bank = number(command, "roll");
        position.heading = number(command, "heading");
        position.onGround = command.value(QLatin1String("onGround")).toBool() ? 1 : 0;
        const double speed = number(command, "airspeed");
        position.airspeedKt = speed > 0 && speed < 10000 ? quint32(speed + 0.5) : 0;
        m_session->setPosition(position);
    } else if (cmd == QLatin1String("camera")) {
        m_session->setCamera(float(number(command, "dx")), float(number(command, "dy")), float(number(command, "dz")),
                             float(number(command, "pitch")), float(number(command, "bank")),
                             float(number(command, "heading")));
    } else if (cmd == QLatin1String("weather")) {
        m_session->setWeatherObservation(text(command, "metar"));
    } else if (cmd == QLatin1String("req_weather")) {
        m_session->requestWeatherObservation(number(command, "lat"), number(command, "lon"));
    } else if (cmd == QLatin1String("load_plan")) {
        m_session->loadFlightPlan(text(command, "name"));
    } else {
        send({{QStringLiteral("type"), QStringLiteral("error")},
              {QStringLiteral("message"), QStringLiteral("unknown command \"%1\"").arg(cmd.left(64))}});
    }
}

void BridgeHelper::send(const QJsonObject &message)
{
    if (!m_station || m_station->state() != QAbstractSocket::ConnectedState ||
        m_station->bytesToWrite() > kMaxPendingBytes)
        return;
    m_station->write(QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n');
}
