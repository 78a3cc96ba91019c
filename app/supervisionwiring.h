#pragma once

#include "sim/aircraftdata.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

class AircraftDataFanOut;
class AlertManager;
class AlertOverlay;
class AlertSoundPlayer;
class AtcLog;
class AtcLogPanel;
class BridgeServer;
class ControlScenarioTarget;
class ControlServices;
class FlightPlanTab;
class ControllerOverlay;
class INavDataProvider;
class MapTab;
class QLabel;
class QStatusBar;
class QWidget;
struct Scenario;
class ScenarioLibrary;
class ScenarioPanel;
class SectorManager;
class SectorOverlay;
class SimBackendManager;
class SupervisionMonitor;
class SupervisionTab;
class TrafficFeed;

// Creates the instructor-supervision services and connects them to the rest of the station: the
// sector files (restored from the settings) and their map layer, the sector under the own
// aircraft in the status bar, the online traffic on the map, the alerts with their sounds, list
// and map marks, the ATC log feeding the assigned altitude, and the scenarios applied to the
// local simulator or a remote station through the instructor controls. The main window creates
// one, attaches it and adds its tab.
//
// Owned by the main window (QObject parent); GUI thread only. Everything passed to attach() is
// borrowed. Settings: sectorFiles, alertSoundMuted, scenarioFolder, and the keys of TrafficFeed
// and SupervisionMonitor, in the file given.
class SupervisionServices : public QObject
{
    Q_OBJECT
public:
    static constexpr char kSectorFilesKey[] = "sectorFiles";
    static constexpr char kMutedKey[] = "alertSoundMuted";
    static constexpr char kScenarioFolderKey[] = "scenarioFolder";
    // The status bar names the sector at most this often.
    static constexpr int kSectorStatusMs = 1000;

    SupervisionServices(const QString &settingsPath, QObject *parent = nullptr);
    ~SupervisionServices() override;

    void attach(MapTab *mapTab, AircraftDataFanOut *fanOut, SimBackendManager *manager, const INavDataProvider *navData,
                QStatusBar *statusBar, ControlServices *controls);
    // The active flight plan is the plan tab's: its route is the one the deviation alert checks.
    void attachPlanning(FlightPlanTab *planTab);
    // The bridge server's registered agents (borrowed server) become scenario targets, and their
    // aircraft are watched for conflicts, deviations and terrain like the own one.
    void attachBridge(BridgeServer *server);
    // The supervision tab (alerts, sector files, traffic, ATC log, scenarios); owned by whoever
    // adds it to a tab widget.
    QWidget *tab() const;

    SectorManager *sectors() const { return m_sectors; }
    TrafficFeed *traffic() const { return m_traffic; }
    AlertManager *alerts() const { return m_alerts; }
    AlertSoundPlayer *sound() const { return m_sound; }
    SupervisionMonitor *monitor() const { return m_monitor; }
    AtcLog *atcLog() const { return m_atcLog; }
    ScenarioLibrary *scenarios() const { return m_scenarios; }
    ControlScenarioTarget *scenarioTarget() const { return m_scenarioTarget; }
    QLabel *sectorStatus() const;
    // The parts of a scenario apply result ("position", "failure <id>", ...) in the user's words.
    QStringList partNames(const QStringList &parts) const;

signals:
    // A scenario was applied to an aircraft ("own" or an agent's id): what was sent and what the
    // target refused, by part name.
    void scenarioApplied(const QString &name, const QString &targetId, const QStringList &applied,
                         const QStringList &refused);

protected:
    // The status-bar label follows a language switch.
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void onSample(const AircraftData &data);
    void updateSectorStatus();
    void onTrafficUpdated();
    void updateAgents();
    void applyScenario(const Scenario &scenario, const QString &targetId);
    void saveCurrentScenario(const QString &name);
    void storeSectorFiles();
    void storeTrafficSettings(const QString &url, int intervalSec, bool enabled);

    QString m_settingsPath;
    SectorManager *m_sectors = nullptr;
    SectorOverlay *m_sectorOverlay = nullptr;
    TrafficFeed *m_traffic = nullptr;
    ControllerOverlay *m_controllerOverlay = nullptr;
    AlertSoundPlayer *m_sound = nullptr;
    AlertManager *m_alerts = nullptr;
    AlertOverlay *m_alertOverlay = nullptr;
    SupervisionMonitor *m_monitor = nullptr;
    AtcLog *m_atcLog = nullptr;
    ScenarioLibrary *m_scenarios = nullptr;
    ControlScenarioTarget *m_scenarioTarget = nullptr;
    QPointer<ControlServices> m_controls;
    QPointer<SupervisionTab> m_tab;
    AtcLogPanel *m_atcPanel = nullptr;
    ScenarioPanel *m_scenarioPanel = nullptr;
    QPointer<QLabel> m_sectorStatus;
    QPointer<MapTab> m_mapTab;
    QPointer<SimBackendManager> m_manager;
    QPointer<BridgeServer> m_bridge;
    QList<QPair<QString, QString>> m_agentTargets; // as last given to the scenario panel
    const INavDataProvider *m_navData = nullptr;
    AircraftData m_lastSample;
    bool m_hasSample = false;
    QElapsedTimer m_sectorStatusAge;
};
