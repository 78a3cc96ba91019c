#include "app/supervisionwiring.h"

#include "app/aircraftdatafanout.h"
#include "app/controlwiring.h"
#include "app/log/applogger.h"
#include "bridge/bridgeserver.h"
#include "control/failuremanager.h"
#include "map/mapwidget.h"
#include "sim/isimbackend.h"
#include "sim/simbackendmanager.h"
#include "sim/simoperationdispatcher.h"
#include "supervision/alertmanager.h"
#include "supervision/alertsound.h"
#include "supervision/atclog.h"
#include "supervision/controllerplacement.h"
#include "supervision/scenarioapplier.h"
#include "supervision/scenariolibrary.h"
#include "supervision/sectormanager.h"
#include "supervision/sectoroverlay.h"
#include "supervision/supervisionmonitor.h"
#include "supervision/supervisionoverlays.h"
#include "supervision/trafficfeed.h"
#include "ui/atclogpanel.h"
#include "ui/flightplantab.h"
#include "ui/maptab.h"
#include "ui/scenariopanel.h"
#include "ui/supervisiontab.h"

#include <QDir>
#include <QEvent>
#include <QFileInfo>
#include <QLabel>
#include <QSettings>
#include <QStatusBar>

#include <algorithm>

namespace {

QString defaultScenarioFolder(const QString &settingsPath)
{
    return QFileInfo(settingsPath).absoluteDir().filePath(QStringLiteral("scenarios"));
}

// An agent's last report as the monitor sees it. Only a "status" carries the track and the height
// above ground (and a timestamp); until one arrived the heading stands in for the track and the
// terrain check leaves the aircraft alone rather than read the default as 0 ft.
TrackedAircraft trackedFrom(const RemoteAircraft &remote)
{
    const bool hasStatus = remote.ts > 0;
    TrackedAircraft a;
    a.source = TrackedAircraft::Source::Agent;
    a.id = remote.agentId;
    a.callsign = remote.callsign;
    a.lat = remote.lat;
    a.lon = remote.lon;
    a.altitudeFt = remote.alt;
    a.groundSpeedKts = remote.gs;
    a.trackDeg = hasStatus ? remote.track : remote.hdg;
    a.verticalSpeedFpm = remote.vs;
    a.onGround = remote.onGround;
    a.heightAglFt = hasStatus ? remote.agl : -1.0;
    return a;
}

} // namespace

SupervisionServices::SupervisionServices(const QString &settingsPath, QObject *parent)
    : QObject(parent), m_settingsPath(settingsPath)
{
    const QSettings settings(settingsPath, QSettings::IniFormat);
    m_sectors = new SectorManager(this);
    m_sectorOverlay = new SectorOverlay(m_sectors, this);
    m_traffic = new TrafficFeed(this);
    m_controllerOverlay = new ControllerOverlay(this);
    m_sound = new AlertSoundPlayer(this);
    m_sound->setMuted(settings.value(QLatin1String(kMutedKey), false).toBool());
    m_alerts = new AlertManager(m_sound, this);
    m_alertOverlay = new AlertOverlay(this);
    m_monitor = new SupervisionMonitor(m_alerts, this);
    m_monitor->loadSettings(settings);
    m_atcLog = new AtcLog(this);
    m_scenarios = new ScenarioLibrary(
        settings.value(QLatin1String(kScenarioFolderKey), defaultScenarioFolder(settingsPath)).toString(), this);

    m_tab = new SupervisionTab(m_alerts, m_sound, m_sectors, m_traffic);
    m_tab->setObjectName(QStringLiteral("supervisionTab"));
    m_atcPanel = new AtcLogPanel(m_atcLog);
    m_atcPanel->setObjectName(QStringLiteral("atcLogPage"));
    m_scenarioPanel = new ScenarioPanel(m_scenarios);
    m_scenarioPanel->setObjectName(QStringLiteral("scenarioPage"));
    m_tab->addPage(m_atcPanel, QT_TRANSLATE_NOOP("SupervisionTab", "ATC 指令"));
    m_tab->addPage(m_scenarioPanel, QT_TRANSLATE_NOOP("SupervisionTab", "场景"));

    connect(m_alerts, &AlertManager::alertsChanged, this, [this] { m_alertOverlay->setAlerts(m_alerts->alerts()); });
    connect(m_atcLog, &AtcLog::assignedAltitudeChanged, this,
            [this](const QString &id, double feet) { m_monitor->setAssignedAltitude(id, feet); });
    connect(m_atcLog, &AtcLog::assignedAltitudeRemoved, this,
            [this](const QString &id) { m_monitor->setAssignedAltitude(id, std::nullopt); });
    connect(m_sound, &AlertSoundPlayer::mutedChanged, this, [this](bool muted) {
        QSettings(m_settingsPath, QSettings::IniFormat).setValue(QLatin1String(kMutedKey), muted);
    });
    connect(m_traffic, &TrafficFeed::trafficUpdated, this, &SupervisionServices::onTrafficUpdated);
    connect(m_sectors, &SectorManager::filesChanged, this, &SupervisionServices::onTrafficUpdated);
    connect(m_tab, &SupervisionTab::sectorFilesChanged, this, &SupervisionServices::storeSectorFiles);
    connect(m_sectors, &SectorManager::filesChanged, this, &SupervisionServices::storeSectorFiles);
    connect(m_sectors, &SectorManager::filesChanged, this, &SupervisionServices::updateSectorStatus);
    connect(m_tab, &SupervisionTab::trafficSettingsChanged, this, &SupervisionServices::storeTrafficSettings);
    connect(m_scenarioPanel, &ScenarioPanel::applyRequested, this, &SupervisionServices::applyScenario);
    connect(m_scenarioPanel, &ScenarioPanel::saveCurrentRequested, this, &SupervisionServices::saveCurrentScenario);

    for (const QString &path : settings.value(QLatin1String(kSectorFilesKey)).toStringList()) {
        if (!path.trimmed().isEmpty())
            m_sectors->loadFile(path.trimmed());
    }
    m_traffic->loadSettings(settings);
    m_monitor->setRunning(true);
}

SupervisionServices::~SupervisionServices() = default;

void SupervisionServices::attach(MapTab *mapTab, AircraftDataFanOut *fanOut, SimBackendManager *manager,
                                 const INavDataProvider *navData, QStatusBar *statusBar, ControlServices *controls)
{
    m_mapTab = mapTab;
    m_controls = controls;
    m_scenarioTarget = new ControlScenarioTarget(controls->dispatcher(), controls->positioning(), controls->fuel(),
                                                 controls->failures(), this);
    m_manager = manager;
    m_navData = navData;
    m_monitor->setNavData(navData);
    MapWidget *map = mapTab->mapWidget();
    map->addLayer(m_sectorOverlay);
    map->addLayer(m_controllerOverlay);
    map->addLayer(m_alertOverlay);
    connect(m_tab, &SupervisionTab::locateRequested, mapTab, [mapTab](double lat, double lon) {
        mapTab->setFollowAircraft(false);
        mapTab->mapWidget()->setCenter(QPointF(lat, lon));
    });
    fanOut->addConsumer(this, [this](const AircraftData &data) { onSample(data); });
    m_sectorStatus = new QLabel;
    m_sectorStatus->setObjectName(QStringLiteral("sectorStatus"));
    m_sectorStatus->installEventFilter(this);
    statusBar->addPermanentWidget(m_sectorStatus);
    updateSectorStatus();
    onTrafficUpdated();
}

void SupervisionServices::attachPlanning(FlightPlanTab *planTab)
{
    const auto follow = [this](const FlightPlan &plan) { m_monitor->setRoute(DeviationMonitor::routeOf(plan)); };
    connect(planTab, &FlightPlanTab::planChanged, this, follow);
    follow(planTab->plan());
}

void SupervisionServices::attachBridge(BridgeServer *server)
{
    m_bridge = server;
    connect(server, &BridgeServer::agentRegistered, this, &SupervisionServices::updateAgents);
    connect(server, &BridgeServer::agentDisconnected, this, &SupervisionServices::updateAgents);
    connect(server, &BridgeServer::aircraftUpdated, this, &SupervisionServices::updateAgents);
    connect(server, &BridgeServer::serverStopped, this, &SupervisionServices::updateAgents);
    updateAgents();
}

void SupervisionServices::updateAgents()
{
    QList<TrackedAircraft> tracked;
    QList<QPair<QString, QString>> targets;
    if (m_bridge) {
        for (const AgentConnection &agent : m_bridge->agents()) {
            const RemoteAircraft remote = m_bridge->remoteAircraft(agent.agentId);
            const QString callsign = remote.callsign.isEmpty() ? agent.callsign : remote.callsign;
            targets.append({agent.agentId, callsign.isEmpty() ? agent.agentId : callsign});
            // Registered but no position yet: nothing to check.
            if (remote.agentId.isEmpty() || (remote.lat == 0.0 && remote.lon == 0.0))
                continue;
            tracked.append(trackedFrom(remote));
            tracked.last().callsign = callsign;
        }
    }
    std::sort(targets.begin(), targets.end(), [](const auto &a, const auto &b) {
        return a.second != b.second ? a.second < b.second : a.first < b.first;
    });
    m_monitor->setAgents(tracked);
    // Positions arrive several times a second; the list is rebuilt only when it changed so the
    // instructor's choice in it is not disturbed.
    if (targets != m_agentTargets) {
        m_agentTargets = targets;
        m_scenarioPanel->setTargets(targets);
    }
}

bool SupervisionServices::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_sectorStatus && event->type() == QEvent::LanguageChange)
        updateSectorStatus();
    return QObject::eventFilter(watched, event);
}

QWidget *SupervisionServices::tab() const
{
    return m_tab;
}

QLabel *SupervisionServices::sectorStatus() const
{
    return m_sectorStatus;
}

void SupervisionServices::onSample(const AircraftData &data)
{
    m_monitor->setOwnAircraft(data);
    if (data.lat == 0.0 && data.lon == 0.0)
        return;
    m_lastSample = data;
    m_hasSample = true;
    if (!m_sectorStatusAge.isValid() || m_sectorStatusAge.elapsed() >= kSectorStatusMs) {
        m_sectorStatusAge.start();
        updateSectorStatus();
    }
}

void SupervisionServices::updateSectorStatus()
{
    const auto hit =
        m_hasSample ? m_sectors->sectorAt(m_lastSample.lat, m_lastSample.lon, m_lastSample.alt) : std::nullopt;
    m_sectorOverlay->setHighlight(hit);
    if (m_sectorStatus)
        m_sectorStatus->setText(hit ? tr("扇区：%1").arg(hit->name) : tr("扇区：—"));
}

void SupervisionServices::onTrafficUpdated()
{
    const TrafficSnapshot &snapshot = m_traffic->snapshot();
    m_monitor->setNetworkTraffic(snapshot.pilots);
    m_controllerOverlay->setControllers(ControllerPlacement::place(snapshot.controllers, m_sectors, m_navData));
    if (!m_mapTab)
        return;
    QList<OnlineAircraft> online;
    online.reserve(snapshot.pilots.size());
    for (const TrafficPilot &p : snapshot.pilots)
        online.append({p.callsign, p.aircraftType, p.lat, p.lon, p.altitudeFt, p.groundSpeedKts, p.headingDeg});
    m_mapTab->mapWidget()->setOnlineAircraft(online);
}

void SupervisionServices::applyScenario(const Scenario &scenario, const QString &targetId)
{
    if (!m_controls || !m_scenarioTarget)
        return;
    // The chosen aircraft receives every part through the dispatcher; the instructor's own
    // selection is back in place afterwards.
    SimOperationDispatcher *dispatcher = m_controls->dispatcher();
    const QString previous = dispatcher->target();
    dispatcher->setTarget(targetId == QLatin1String(SupervisionMonitor::kOwnId) ? QString() : targetId);
    const QString where = m_scenarioTarget->targetName();
    const bool connected = dispatcher->isConnected();
    const ScenarioApplyResult result = ::applyScenario(scenario, *m_scenarioTarget);
    dispatcher->setTarget(previous);
    AppLogger::instance().log(
        AppLogger::Info, QStringLiteral("Supervision"),
        QStringLiteral("Scenario %1 applied to %2: %3; not available: %4")
            .arg(scenario.name, where,
                 result.applied.isEmpty() ? QStringLiteral("nothing") : result.applied.join(QStringLiteral(", ")),
                 result.refused.isEmpty() ? QStringLiteral("none") : result.refused.join(QStringLiteral(", "))));
    if (connected)
        emit scenarioApplied(scenario.name, targetId, result.applied, result.refused);
    if (!connected)
        m_scenarioPanel->showResult(tr("场景“%1”未能应用：模拟器未连接").arg(scenario.name));
    else if (result.complete())
        m_scenarioPanel->showResult(tr("场景“%1”已应用").arg(scenario.name));
    else
        m_scenarioPanel->showResult(tr("场景“%1”已应用；未能应用：%2")
                                        .arg(scenario.name, partNames(result.refused).join(QStringLiteral("、"))));
}

QStringList SupervisionServices::partNames(const QStringList &parts) const
{
    static const QLatin1String failurePrefix("failure ");
    QStringList names;
    for (const QString &part : parts) {
        if (part == QLatin1String("position"))
            names << tr("位置");
        else if (part == QLatin1String("weather"))
            names << tr("天气");
        else if (part == QLatin1String("fuel"))
            names << tr("燃油");
        else if (part == QLatin1String("payload"))
            names << tr("载荷");
        else if (part.startsWith(failurePrefix)) {
            const QString id = part.mid(failurePrefix.size());
            const QString name = m_controls ? m_controls->failures()->failure(id).name : QString();
            names << tr("故障 %1").arg(name.isEmpty() ? id : FailureManager::displayText(name));
        } else {
            names << part;
        }
    }
    return names;
}

void SupervisionServices::saveCurrentScenario(const QString &name)
{
    Scenario scenario;
    scenario.name = name;
    if (m_hasSample) {
        Scenario::Position p;
        p.lat = m_lastSample.lat;
        p.lon = m_lastSample.lon;
        p.altitudeFt = m_lastSample.alt;
        p.headingDeg = m_lastSample.hdgTrue;
        p.airspeedKts = m_lastSample.ias;
        p.onGround = m_lastSample.onGround;
        scenario.position = p;
        scenario.fuelTotalGal = m_lastSample.fuelTotal;
    }
    QString error;
    if (const auto path = m_scenarios->save(scenario, &error)) {
        m_scenarioPanel->select(name);
        m_scenarioPanel->showResult(tr("已保存：%1").arg(*path));
    } else {
        m_scenarioPanel->showResult(tr("保存失败：%1").arg(error));
    }
}

void SupervisionServices::storeSectorFiles()
{
    const QStringList paths = m_sectors->filePaths();
    QSettings(m_settingsPath, QSettings::IniFormat).setValue(QLatin1String(kSectorFilesKey), paths);
}

void SupervisionServices::storeTrafficSettings(const QString &url, int intervalSec, bool enabled)
{
    QSettings settings(m_settingsPath, QSettings::IniFormat);
    settings.setValue(QLatin1String(TrafficFeed::kUrlKey), url);
    settings.setValue(QLatin1String(TrafficFeed::kIntervalKey), intervalSec);
    settings.setValue(QLatin1String(TrafficFeed::kEnabledKey), enabled);
}
