#include "app/recordingwiring.h"

#include "app/aircraftdatafanout.h"
#include "app/controlwiring.h"
#include "app/planningservices.h"
#include "app/supervisionwiring.h"
#include "bridge/bridgeserver.h"
#include "control/failuremanager.h"
#include "control/fuelmanager.h"
#include "control/positionaircraft.h"
#include "control/pushbackcontroller.h"
#include "control/slewcontroller.h"
#include "map/mapwidget.h"
#include "recording/flightplayback.h"
#include "recording/flightrecorder.h"
#include "recording/playbacktracklayer.h"
#include "recording/recordinglibrary.h"
#include "sim/isimbackend.h"
#include "sim/simbackendmanager.h"
#include "sim/simoperationdispatcher.h"
#include "sim/weatherstate.h"
#include "supervision/atclog.h"
#include "supervision/supervisionmonitor.h"
#include "ui/aircrafttab.h"
#include "ui/maptab.h"
#include "ui/pfdtab.h"
#include "ui/playbackbar.h"
#include "ui/recordingstab.h"
#include "ui/recordingstatuslabel.h"

#include <QDateTime>
#include <QDir>
#include <QDockWidget>
#include <QHostInfo>
#include <QJsonArray>
#include <QMainWindow>
#include <QSettings>
#include <QStandardPaths>
#include <QStatusBar>
#include <QTabWidget>
#include <QTimer>

RecordingServices::RecordingServices(QMainWindow *window, QTabWidget *tabs, MapTab *mapTab, AircraftDataFanOut *fanOut,
                                     SimBackendManager *manager, const QString &settingsPath)
    : QObject(window), m_window(window), m_tabs(tabs), m_mapTab(mapTab), m_manager(manager)
{
    const QSettings settings(settingsPath, QSettings::IniFormat);
    const RecordingDatabaseConfig config = RecordingDatabaseConfig::fromSettings(settings, defaultDatabasePath());
    const QString station = settings.value(QLatin1String(kStationKey), QHostInfo::localHostName()).toString();
    m_callsign = settings.value(QLatin1String(kCallsignKey)).toString();

    m_recorder = new FlightRecorder(config, this);
    m_recorder->setStationName(station);
    m_recorder->setThinning(settings.value(QLatin1String(kThinningKey), true).toBool());
    m_library = new RecordingLibrary(config, station, this);
    m_playback = new FlightPlayback(this);
    m_layer = new PlaybackTrackLayer(this);
    mapTab->mapWidget()->addLayer(m_layer);

    m_recordingsTab = new RecordingsTab;
    m_recordingsTab->setObjectName(QStringLiteral("recordingsTab"));
    m_recordingsTab->setLibrary(m_library);
    m_pfdTab = new PfdTab;
    m_pfdTab->setObjectName(QStringLiteral("pfdTab"));
    tabs->addTab(m_pfdTab, QString());
    tabs->addTab(m_recordingsTab, QString());

    m_bar = new PlaybackBar;
    m_bar->setObjectName(QStringLiteral("playbackBar"));
    m_bar->setPlayback(m_playback);
    m_dock = new QDockWidget(window);
    m_dock->setObjectName(QStringLiteral("playbackDock"));
    m_dock->setWidget(m_bar);
    m_dock->setFeatures(QDockWidget::NoDockWidgetFeatures);
    m_dock->setTitleBarWidget(new QWidget(m_dock));
    window->addDockWidget(Qt::BottomDockWidgetArea, m_dock);
    m_dock->hide();
    retranslateUi();

    m_status = new RecordingStatusLabel;
    m_status->setObjectName(QStringLiteral("recordingStatus"));
    window->statusBar()->addPermanentWidget(m_status);

    fanOut->addConsumer(m_recorder,
                        [recorder = m_recorder](const AircraftData &data) { recorder->recordSample(data); });
    fanOut->addConsumer(m_pfdTab, [tab = m_pfdTab](const AircraftData &data) { tab->setLocalAircraftData(data); });
    connect(m_recorder, &FlightRecorder::storageStatusChanged, m_status, &RecordingStatusLabel::setStorageStatus);
    connect(m_recorder, &FlightRecorder::flightEnded, m_recordingsTab, &RecordingsTab::refresh);
    connect(m_recordingsTab, &RecordingsTab::playRequested, this, &RecordingServices::startPlayback);
    connect(m_bar, &PlaybackBar::closeRequested, this, &RecordingServices::stopPlayback);
    connect(m_playback, &FlightPlayback::positionChanged, this,
            [this](qint64, const TrackSample &sample) { onPlaybackPosition(sample); });
    connect(manager, &SimBackendManager::backendChanged, this, &RecordingServices::onBackendChanged);

    const bool enabled = settings.value(QLatin1String(kEnabledKey), true).toBool();
    m_recorder->setRecording(enabled);
    m_status->setRecording(enabled, config.describe());
    onBackendChanged(manager->backend());
}

RecordingServices::~RecordingServices()
{
    // The recorder first: it hands its last rows to the writer and waits for them.
    delete m_recorder;
    m_recorder = nullptr;
}

QString RecordingServices::defaultDatabasePath()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    return QDir(folder).filePath(QString::fromLatin1(RecordingDatabaseConfig::kDefaultFileName));
}

void RecordingServices::retranslateUi()
{
    m_tabs->setTabText(m_tabs->indexOf(m_pfdTab), tr("主飞行显示"));
    m_tabs->setTabText(m_tabs->indexOf(m_recordingsTab), tr("飞行记录"));
    m_dock->setWindowTitle(tr("回放"));
}

void RecordingServices::connectControls(ControlServices *controls)
{
    m_controls = controls;
    PositionAircraft *positioning = controls->positioning();
    connect(positioning, &PositionAircraft::positioned, this,
            [this](const QString &kind, double lat, double lon, double altitudeFt, double heading, bool onGround) {
                m_lastPosition = QJsonObject{{"kind", kind},        {"lat", lat},         {"lon", lon},
                                             {"altFt", altitudeFt}, {"heading", heading}, {"onGround", onGround}};
            });
    connect(positioning, &PositionAircraft::positionSet, this, [this](const QString &description) {
        recordAction(QString::fromLatin1(FlightEventKind::kPosition), tr("重新定位：%1").arg(description),
                     m_lastPosition);
        m_lastPosition = QJsonObject();
    });

    FailureManager *failures = controls->failures();
    auto failureName = [failures](const QString &id) {
        return FailureManager::displayText(failures->failure(id).name);
    };
    connect(failures, &FailureManager::failureTriggered, this, [this, failureName](const QString &id) {
        recordAction(QString::fromLatin1(FlightEventKind::kFailure), tr("故障：%1").arg(failureName(id)),
                     QJsonObject{{"id", id}});
    });
    connect(failures, &FailureManager::failureReset, this, [this, failureName](const QString &id) {
        recordAction(QString::fromLatin1(FlightEventKind::kFailureReset), tr("故障恢复：%1").arg(failureName(id)),
                     QJsonObject{{"id", id}});
    });
    connect(failures, &FailureManager::allReset, this,
            [this] { recordAction(QString::fromLatin1(FlightEventKind::kFailureReset), tr("全部故障恢复")); });

    FuelManager *fuel = controls->fuel();
    connect(fuel, &FuelManager::fuelLoaded, this, [this](double gallons, int percent) {
        recordAction(QString::fromLatin1(FlightEventKind::kFuel),
                     tr("加油：%1 加仑 (%2%)").arg(gallons, 0, 'f', 0).arg(percent),
                     QJsonObject{{"gallons", gallons}, {"percent", percent}});
    });
    connect(fuel, &FuelManager::payloadLoaded, this, [this](double totalKg) {
        recordAction(QString::fromLatin1(FlightEventKind::kFuel), tr("载荷：%1 千克").arg(totalKg, 0, 'f', 0),
                     QJsonObject{{"payloadKg", totalKg}});
    });
    connect(fuel, &FuelManager::fuelFrozenChanged, this, [this](bool frozen) {
        recordAction(QString::fromLatin1(FlightEventKind::kFuel), frozen ? tr("燃油冻结") : tr("燃油解冻"),
                     QJsonObject{{"frozen", frozen}});
    });

    PushbackController *pushback = controls->pushback();
    connect(pushback, &PushbackController::pushbackStarted, this,
            [this] { recordAction(QString::fromLatin1(FlightEventKind::kPushback), tr("开始推出")); });
    connect(pushback, &PushbackController::pushbackStopped, this,
            [this] { recordAction(QString::fromLatin1(FlightEventKind::kPushback), tr("推出结束")); });

    // Each slew step is a reposition of its own; the pad being switched on and off is enough.
    connect(controls->slew(), &SlewController::enabledChanged, this, [this](bool enabled) {
        recordAction(QString::fromLatin1(FlightEventKind::kSlew), enabled ? tr("滑移开启") : tr("滑移关闭"));
    });

    AircraftTab *aircraftTab = controls->aircraftTab();
    connect(aircraftTab, &AircraftTab::pauseSet, this, [this](bool paused) {
        recordAction(QString::fromLatin1(FlightEventKind::kPause), paused ? tr("暂停") : tr("继续"),
                     QJsonObject{{"paused", paused}});
    });
    connect(aircraftTab, &AircraftTab::freezeSet, this, [this](bool position, bool attitude) {
        QString text = tr("解除冻结");
        if (position && attitude)
            text = tr("冻结位置和姿态");
        else if (position)
            text = tr("冻结位置");
        else if (attitude)
            text = tr("冻结姿态");
        recordAction(QString::fromLatin1(FlightEventKind::kFreeze), text,
                     QJsonObject{{"position", position}, {"attitude", attitude}});
    });

    // Whatever injects a weather (the weather tab, a scenario) goes through the dispatcher.
    connect(controls->dispatcher(), &SimOperationDispatcher::weatherSet, this, [this](const QJsonObject &weather) {
        // The METAR form reads well in the event list and holds what was injected.
        const QString metar =
            WeatherState::fromJson(weather).toMetar(QStringLiteral("GLOB"), QDateTime::currentDateTimeUtc());
        recordAction(QString::fromLatin1(FlightEventKind::kWeather), tr("天气：%1").arg(metar), weather);
    });
}

void RecordingServices::connectPlanning(PlanningServices *planning)
{
    connect(planning, &PlanningServices::planSent, this, [this](const FlightPlan &plan, const QString &message) {
        const QString route = plan.routeString();
        m_recorder->recordEvent(FlightRecorder::kLocalAircraft, QString::fromLatin1(FlightEventKind::kFlightPlan),
                                tr("飞行计划已发送：%1").arg(route),
                                QJsonObject{{"departure", plan.departure},
                                            {"destination", plan.destination},
                                            {"route", route},
                                            {"cruiseAltFt", plan.cruiseAltitudeFt},
                                            {"waypoints", int(plan.waypoints.size())},
                                            {"result", message}});
    });
    connect(planning, &PlanningServices::ofpLoaded, this,
            [this](const SimBriefService::OFPData &ofp, double fuelKg, double payloadKg) {
                recordAction(QString::fromLatin1(FlightEventKind::kFuel),
                             tr("OFP %1-%2：燃油 %3 千克，业载 %4 千克")
                                 .arg(ofp.origin, ofp.destination)
                                 .arg(fuelKg, 0, 'f', 0)
                                 .arg(payloadKg, 0, 'f', 0),
                             QJsonObject{{"ofp", ofp.origin + QLatin1Char('-') + ofp.destination},
                                         {"route", ofp.route},
                                         {"fuelKg", fuelKg},
                                         {"payloadKg", payloadKg}});
            });
}

void RecordingServices::connectBridge(BridgeServer *server)
{
    connect(server, &BridgeServer::aircraftUpdated, this,
            [this, server](const QString &agentId, const RemoteAircraft &aircraft) {
                onAgentUpdated(agentId, aircraft, server->agentSim(agentId));
            });
    connect(server, &BridgeServer::agentDisconnected, this, &RecordingServices::onAgentRemoved);
}

void RecordingServices::connectSupervision(SupervisionServices *supervision)
{
    auto keyOf = [](const QString &aircraftId) {
        return aircraftId == QLatin1String(SupervisionMonitor::kOwnId) ? FlightRecorder::kLocalAircraft : aircraftId;
    };
    connect(supervision, &SupervisionServices::scenarioApplied, this,
            [this, supervision, keyOf](const QString &name, const QString &targetId, const QStringList &applied,
                                       const QStringList &refused) {
                const QString text = refused.isEmpty()
                                         ? tr("场景：%1").arg(name)
                                         : tr("场景：%1；未能应用：%2")
                                               .arg(name, supervision->partNames(refused).join(QStringLiteral("、")));
                m_recorder->recordEvent(keyOf(targetId), QString::fromLatin1(FlightEventKind::kScenario), text,
                                        QJsonObject{{"name", name},
                                                    {"applied", QJsonArray::fromStringList(applied)},
                                                    {"refused", QJsonArray::fromStringList(refused)}});
            });
    AtcLog *log = supervision->atcLog();
    connect(log, &AtcLog::entryAdded, this, [this, log, keyOf](int index) {
        if (index < 0 || index >= log->entries().size())
            return;
        const AtcInstruction &entry = log->entries().at(index);
        const QString key = keyOf(entry.aircraftId);
        if (key != FlightRecorder::kLocalAircraft && m_recorder->flightId(key) == 0)
            return;
        // The kind in the details stays the same whatever the language.
        static const char *const kinds[] = {"altitude", "heading", "speed", "frequency", "text"};
        QJsonObject details{
            {"aircraft", entry.aircraftLabel}, {"kind", QLatin1String(kinds[int(entry.kind)])}, {"value", entry.value}};
        if (entry.kind != AtcInstruction::Kind::FreeText)
            details.insert(QStringLiteral("number"), entry.number);
        if (!entry.note.isEmpty())
            details.insert(QStringLiteral("note"), entry.note);
        m_recorder->recordEvent(key, QString::fromLatin1(FlightEventKind::kAtc),
                                tr("ATC：%1 %2").arg(AtcInstruction::kindText(entry.kind), entry.value), details);
    });
}

void RecordingServices::recordAction(const QString &kind, const QString &text, const QJsonObject &details)
{
    const QString target = m_controls ? m_controls->dispatcher()->target() : QString();
    m_recorder->recordEvent(target.isEmpty() ? FlightRecorder::kLocalAircraft : target, kind, text, details);
}

void RecordingServices::onAgentUpdated(const QString &agentId, const RemoteAircraft &aircraft, const QString &agentSim)
{
    m_recorder->recordAgentSample(agentId, aircraft, agentSim);
    m_pfdTab->updateAgent(agentId, aircraft);
}

void RecordingServices::onAgentRemoved(const QString &agentId)
{
    m_recorder->endFlight(agentId);
    m_pfdTab->removeAgent(agentId);
}

void RecordingServices::startPlayback(const RecordedFlight &flight)
{
    if (!m_playback->load(flight))
        return;
    m_layer->setFlight(flight);
    m_pfdTab->setPlaybackAvailable(true);
    m_dock->show();
    m_tabs->setCurrentWidget(m_mapTab);
    m_mapTab->setFollowAircraft(false);
    fitTrack();
    // Once more after the window made room for the dock.
    QTimer::singleShot(0, this, &RecordingServices::fitTrack);
    onPlaybackPosition(m_playback->currentSample());
}

void RecordingServices::fitTrack()
{
    if (m_layer->isEmpty())
        return;
    MapWidget *map = m_mapTab->mapWidget();
    const GeoBounds bounds = m_layer->bounds();
    map->setCenter(QPointF((bounds.minLat + bounds.maxLat) / 2.0, (bounds.minLon + bounds.maxLon) / 2.0));
    map->setZoom(PlaybackTrackLayer::zoomToFit(bounds, map->size()));
}

void RecordingServices::stopPlayback()
{
    m_playback->clear();
    m_layer->clear();
    m_pfdTab->setPlaybackAvailable(false);
    m_dock->hide();
}

void RecordingServices::onBackendChanged(ISimBackend *backend)
{
    if (m_backend)
        disconnect(m_backend, nullptr, this, nullptr);
    m_recorder->endFlight(FlightRecorder::kLocalAircraft);
    m_backend = backend;
    m_playback->setSimulator(backend);
    if (!backend)
        return;
    auto begin = [this] {
        m_recorder->beginLocalFlight(simTypeName(m_manager->currentSimType()), QString(), m_callsign);
    };
    connect(backend, &ISimBackend::connected, this, begin);
    connect(backend, &ISimBackend::disconnected, this, [this] {
        m_recorder->endFlight(FlightRecorder::kLocalAircraft);
        m_pfdTab->clearLocal();
    });
    if (backend->isConnected())
        begin();
}

void RecordingServices::onPlaybackPosition(const TrackSample &sample)
{
    if (!m_playback->isLoaded())
        return;
    m_layer->setPosition(sample);
    m_pfdTab->setPlaybackData(toAircraftData(sample));
}
