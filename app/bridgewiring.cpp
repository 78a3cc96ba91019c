#include "app/bridgewiring.h"

#include "app/licenseadmission.h"
#include "bridge/bridgeserver.h"
#include "bridge/bridgeserversettings.h"
#include "map/radaroverlay.h"
#include "sim/simoperationdispatcher.h"
#include "ui/bridgetab.h"
#include "ui/remotetargetlabel.h"

#include <QSettings>
#include <QTimer>

BridgeServices::BridgeServices(const QString &settingsPath, RadarOverlay *radar, QObject *parent)
    : QObject(parent), m_settingsPath(settingsPath), m_radar(radar)
{
    m_server = new BridgeServer(this);
    m_tab = new BridgeTab;
    m_tab->setObjectName(QStringLiteral("bridgeTab"));
    m_tab->setServer(m_server);
    m_tab->setPort(BridgeServerSettings::read(QSettings(m_settingsPath, QSettings::IniFormat)).port);
    m_label = new RemoteTargetLabel;

    m_mapTimer = new QTimer(this);
    m_mapTimer->setSingleShot(true);
    m_mapTimer->setInterval(kMapUpdateMs);
    connect(m_mapTimer, &QTimer::timeout, this, &BridgeServices::pushToMap);
    const auto mapLater = [this] {
        if (!m_mapTimer->isActive())
            m_mapTimer->start();
    };
    connect(m_server, &BridgeServer::aircraftUpdated, this, mapLater);
    connect(m_server, &BridgeServer::agentDisconnected, this, mapLater);
    connect(m_server, &BridgeServer::serverStopped, this, mapLater);
    // The target's connection state shows in the status bar.
    connect(m_server, &BridgeServer::agentRegistered, this, &BridgeServices::onAgentRegistered);
    connect(m_server, &BridgeServer::agentDisconnected, this, &BridgeServices::onAgentRegistered);

    connect(m_tab, &BridgeTab::startRequested, this, [this](quint16 port) {
        QSettings settings(m_settingsPath, QSettings::IniFormat);
        settings.setValue(QLatin1String(BridgeServerSettings::kPortKey), port);
        startServer(port);
    });
    connect(m_tab, &BridgeTab::stopRequested, m_server, &BridgeServer::stop);
    connect(m_tab, &BridgeTab::targetSelected, this, &BridgeServices::setTarget);

    if (BridgeServerSettings::read(QSettings(m_settingsPath, QSettings::IniFormat)).enabled)
        startServer();
}

BridgeServices::~BridgeServices()
{
    // The server (a child) outlives this object's members.
    m_server->setAdmission(nullptr);
    if (m_tab && !m_tab->parent())
        delete m_tab;
    if (m_label && !m_label->parent())
        delete m_label;
}

bool BridgeServices::startServer(quint16 port)
{
    if (m_server->isRunning())
        return true;
    configureServer();
    if (port == 0)
        port = BridgeServerSettings::read(QSettings(m_settingsPath, QSettings::IniFormat)).port;
    m_tab->setPort(port);
    return m_server->start(port);
}

void BridgeServices::applySettings()
{
    const BridgeServerSettings settings = BridgeServerSettings::read(QSettings(m_settingsPath, QSettings::IniFormat));
    if (!settings.enabled) {
        m_server->stop();
        return;
    }
    // Changed certificates or port apply on a restart of the server.
    m_server->stop();
    startServer(settings.port);
}

void BridgeServices::attachDispatcher(SimOperationDispatcher *dispatcher)
{
    dispatcher->setBridgeServer(m_server);
    dispatcher->setTarget(m_target);
    connect(m_server, &BridgeServer::messageReceived, dispatcher, &SimOperationDispatcher::onAgentMessage);
    connect(this, &BridgeServices::targetChanged, dispatcher, &SimOperationDispatcher::setTarget);
    connect(dispatcher, &SimOperationDispatcher::targetChanged, this, &BridgeServices::setTarget);
}

void BridgeServices::setLicense(const LicenseManager *license)
{
    m_admission = std::make_unique<LicenseAdmission>(license);
    m_server->setAdmission(m_admission.get());
}

void BridgeServices::configureServer()
{
    const BridgeServerSettings settings = BridgeServerSettings::read(QSettings(m_settingsPath, QSettings::IniFormat));
    m_server->setPairingSecret(settings.pairingSecret);
    m_server->setCertificateFiles(settings.files);
}

void BridgeServices::setTarget(const QString &agentId)
{
    if (agentId == m_target)
        return;
    m_target = agentId;
    m_targetName.clear();
    m_tab->setTarget(agentId);
    onAgentRegistered();
    if (m_radar)
        m_radar->setSelectedStation(agentId);
    emit targetChanged(agentId);
}

void BridgeServices::onAgentRegistered()
{
    if (m_target.isEmpty()) {
        m_label->setTarget(QString(), true);
        return;
    }
    const bool connected = m_server->isAgentRegistered(m_target);
    if (connected && !m_server->agent(m_target).callsign.isEmpty())
        m_targetName = m_server->agent(m_target).callsign;
    m_label->setTarget(m_targetName.isEmpty() ? m_target : m_targetName, connected);
}

void BridgeServices::pushToMap()
{
    if (!m_radar)
        return;
    QMap<QString, RemoteAircraftDisplay> shown;
    for (const RemoteAircraft &aircraft : m_server->remoteAircraftList()) {
        RemoteAircraftDisplay display;
        display.stationId = aircraft.agentId;
        display.callsign = aircraft.callsign;
        display.lat = aircraft.lat;
        display.lon = aircraft.lon;
        display.altitudeFt = aircraft.alt;
        display.headingDeg = aircraft.hdgTrue != 0.0 ? aircraft.hdgTrue : aircraft.hdg;
        display.groundSpeedKts = aircraft.gs;
        display.verticalSpeedFpm = aircraft.vs;
        shown.insert(aircraft.agentId, display);
    }
    m_radar->updateAircraft(shown);
}
