#pragma once

#include "sim/isimbackend.h"

#include <QMainWindow>
#include <QPointer>
#include <QString>

class AircraftDataFanOut;
class BridgeServices;
class ControlServices;
class LicensingServices;
class LiveDataPanel;
class LogView;
class MapTab;
class Msfs2024DiagramFetcher;
class NavDataController;
class NavDataProvider;
class PlanningServices;
class QTabWidget;
class RecordingServices;
class SettingsDialog;
class SimBackendManager;
class SimStatusWidget;
class SimulatorMenu;
class SupervisionServices;

// The station's main window. It creates and owns the services (the backend manager, the
// navigation data and its loader, the licensing and update services),
// builds the tabs (live data, log), the menus and the status bar, and wires them together:
// every aircraft-state sample of the manager goes through one AircraftDataFanOut, which hands it
// to each consumer once. Features live in their own widgets; this class only connects them.
//
// Created by the start-up code on the GUI thread; its services live as long as it does.
class MainWindow : public QMainWindow
{
    Q_OBJECT
public:
    // settingsPath is the Zobrel.ini the services and the settings dialog read and write.
    explicit MainWindow(const QString &settingsPath, QWidget *parent = nullptr);
    ~MainWindow() override;

    SimBackendManager *backendManager() const { return m_manager; }
    NavDataProvider *navDataProvider() const { return m_navData; }
    NavDataController *navDataController() const { return m_navController; }
    AircraftDataFanOut *aircraftDataFanOut() const { return m_fanOut; }
    BridgeServices *bridgeServices() const { return m_bridge; }
    QTabWidget *tabs() const { return m_tabs; }
    ControlServices *controls() const { return m_controls; }
    LicensingServices *licensing() const { return m_licensing; }
    PlanningServices *planningServices() const { return m_planning; }
    SupervisionServices *supervision() const { return m_supervision; }
    RecordingServices *recordingServices() const { return m_recording; }

    // Fills the airway pathfinder from the loaded navigation data (off the GUI thread); called
    // again whenever new data loads.
    void rebuildAirwayGraph();

    // A new settings dialog on this window; the caller shows it (it deletes itself on close).
    SettingsDialog *createSettingsDialog();

protected:
    void changeEvent(QEvent *event) override;

private:
    void retranslateUi();
    void createMenus();
    void onBackendChanged(ISimBackend *backend);
    void onConnectionFailed(const QString &reason);
    void showSettings();
    void showNavImport();

    QString m_settingsPath;
    SimBackendManager *m_manager = nullptr;
    NavDataProvider *m_navData = nullptr;
    NavDataController *m_navController = nullptr;
    Msfs2024DiagramFetcher *m_diagramFetcher = nullptr;
    PlanningServices *m_planning = nullptr;
    QPointer<ISimBackend> m_backend; // borrowed: the backend the status bar reflects
    AircraftDataFanOut *m_fanOut = nullptr;
    ControlServices *m_controls = nullptr;
    BridgeServices *m_bridge = nullptr;
    QTabWidget *m_tabs = nullptr;
    MapTab *m_mapTab = nullptr;
    LiveDataPanel *m_liveData = nullptr;
    LogView *m_logView = nullptr;
    SimStatusWidget *m_status = nullptr;
    SimulatorMenu *m_simulatorMenu = nullptr;
    QMenu *m_fileMenu = nullptr;
    QAction *m_settingsAction = nullptr;
    QAction *m_importNavAction = nullptr;
    QAction *m_quitAction = nullptr;
    LicensingServices *m_licensing = nullptr;
    SupervisionServices *m_supervision = nullptr;
    RecordingServices *m_recording = nullptr;
};
