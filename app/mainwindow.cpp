#include "app/mainwindow.h"

#include "app/aircraftdatafanout.h"
#include "app/bridgewiring.h"
#include "app/controlwiring.h"
#include "app/licensingservices.h"
#include "app/log/applogger.h"
#include "app/navdatacontroller.h"
#include "app/planningservices.h"
#include "app/recordingwiring.h"
#include "app/startup.h"
#include "app/supervisionwiring.h"
#include "nav/msfs2024diagramfetcher.h"
#include "nav/navdataprovider.h"
#include "sim/isimbackend.h"
#include "sim/simbackendmanager.h"
#include "sim/simconnectbackend.h"
#include "ui/flightplantab.h"
#include "ui/livedatapanel.h"
#include "ui/logview.h"
#include "ui/maptab.h"
#include "ui/navimportdialog.h"
#include "ui/settingsdialog.h"
#include "ui/simstatuswidget.h"
#include "ui/simulatormenu.h"
#include "ui/weathertab.h"

#include <QAction>
#include <QCoreApplication>
#include <QEvent>
#include <QMenuBar>
#include <QSettings>
#include <QStatusBar>
#include <QTabWidget>

namespace {

constexpr int kFailureMessageMs = 8000;

} // namespace

MainWindow::MainWindow(const QString &settingsPath, QWidget *parent) : QMainWindow(parent), m_settingsPath(settingsPath)
{
    setObjectName(QStringLiteral("mainWindow"));
    resize(1280, 800);

    m_manager = new SimBackendManager(m_settingsPath, this);
    m_navData = new NavDataProvider(this);
    m_navData->initializeOffline();
    m_navController = new NavDataController(m_navData, m_settingsPath, QCoreApplication::applicationDirPath(), this);
    m_diagramFetcher = new Msfs2024DiagramFetcher(m_navData, this);
    m_fanOut = new AircraftDataFanOut(this);

    m_mapTab = new MapTab;
    m_mapTab->setObjectName(QStringLiteral("mapTab"));
    m_mapTab->applySettings(QSettings(m_settingsPath, QSettings::IniFormat));
    m_mapTab->setNavDataProvider(m_navData);
    m_liveData = new LiveDataPanel;
    m_liveData->setObjectName(QStringLiteral("liveDataTab"));
    m_logView = new LogView(AppLogger::instance());
    m_logView->setObjectName(QStringLiteral("logTab"));
    m_tabs = new QTabWidget;
    m_tabs->setObjectName(QStringLiteral("mainTabs"));
    m_tabs->addTab(m_mapTab, QString());
    m_planning = new PlanningServices(m_navData, m_settingsPath, this);
    m_planning->attachMap(m_mapTab);
    m_planning->addTabs(m_tabs);
    m_tabs->addTab(m_liveData, QString());
    m_controls = new ControlServices(m_settingsPath, m_manager, m_navData, this);
    m_controls->addTabs(m_tabs);
    m_planning->setControls(m_controls->dispatcher(), m_controls->positioning(), m_controls->fuel());
    m_tabs->addTab(m_logView, QString());
    m_bridge = new BridgeServices(m_settingsPath, m_mapTab->radarOverlay(), this);
    m_bridge->attachDispatcher(m_controls->dispatcher());
    m_tabs->addTab(m_bridge->tab(), QString());
    setCentralWidget(m_tabs);

    m_status = new SimStatusWidget;
    statusBar()->addPermanentWidget(m_bridge->targetLabel());
    statusBar()->addPermanentWidget(m_status);
    createMenus();
    m_supervision = new SupervisionServices(m_settingsPath, this);
    m_supervision->attach(m_mapTab, m_fanOut, m_manager, m_navData, statusBar(), m_controls);
    m_supervision->attachPlanning(m_planning->flightPlanTab());
    m_supervision->attachBridge(m_bridge->server());
    m_tabs->insertTab(m_tabs->indexOf(m_logView), m_supervision->tab(), QString());
    m_licensing = new LicensingServices(this, m_settingsPath);
    m_bridge->setLicense(m_licensing->licenseManager());
    retranslateUi();

    // The only connection to the manager's samples: consumers register with the fan-out.
    connect(m_manager, &SimBackendManager::aircraftDataChanged, m_fanOut, &AircraftDataFanOut::publish,
            Qt::UniqueConnection);
    m_fanOut->addConsumer(m_mapTab, [tab = m_mapTab](const AircraftData &data) { tab->setAircraftData(data); });
    connect(m_navController, &NavDataController::dataLoaded, m_mapTab, &MapTab::refreshNavData);
    m_controls->connectData(m_fanOut, m_navController);
    m_controls->connectMap(m_mapTab->mapWidget());
    connect(m_navController, &NavDataController::dataLoaded, this, &MainWindow::rebuildAirwayGraph);
    m_fanOut->addConsumer(m_liveData, [panel = m_liveData](const AircraftData &data) { panel->setAircraftData(data); });
    m_recording = new RecordingServices(this, m_tabs, m_mapTab, m_fanOut, m_manager, m_settingsPath);
    m_recording->connectControls(m_controls);
    m_recording->connectPlanning(m_planning);
    m_recording->connectBridge(m_bridge->server());
    m_recording->connectSupervision(m_supervision);

    connect(m_manager, &SimBackendManager::backendChanged, this, &MainWindow::onBackendChanged);
    connect(m_manager, &SimBackendManager::connectionFailed, this, &MainWindow::onConnectionFailed);
    onBackendChanged(m_manager->backend());
    // Loads in the background; the window is usable (with an empty map) meanwhile.
    m_navController->refresh(m_manager->isConnected() ? m_manager->currentSimType() : SimType::None);
}

MainWindow::~MainWindow()
{
    // Services go before the widgets that show them: a backend reports disconnected while it is
    // destroyed, and that must reach a fully alive window (which then ignores it).
    QSettings settings(m_settingsPath, QSettings::IniFormat);
    m_mapTab->saveSettings(settings);
    QObject::disconnect(m_manager, nullptr, this, nullptr);
    m_backend = nullptr;
    delete m_manager;
}

SettingsDialog *MainWindow::createSettingsDialog()
{
    auto *dialog = new SettingsDialog(m_settingsPath, this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &SettingsDialog::languageChanged, this,
            [](const QString &language) { switchLanguage(*QCoreApplication::instance(), language); });
    return dialog;
}

void MainWindow::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QMainWindow::changeEvent(event);
}

void MainWindow::retranslateUi()
{
    setWindowTitle(tr("Zobrel 模拟飞行教员站 %1").arg(QCoreApplication::applicationVersion()));
    m_tabs->setTabText(m_tabs->indexOf(m_mapTab), tr("地图"));
    m_tabs->setTabText(m_tabs->indexOf(m_liveData), tr("实时数据"));
    m_tabs->setTabText(m_tabs->indexOf(m_logView), tr("日志"));
    m_planning->retranslateTabs(m_tabs);
    m_tabs->setTabText(m_tabs->indexOf(m_bridge->tab()), tr("教员服务器"));
    m_tabs->setTabText(m_tabs->indexOf(m_supervision->tab()), tr("监管"));
    m_controls->retranslateTabs(m_tabs);
    if (m_recording)
        m_recording->retranslateUi();
    m_fileMenu->setTitle(tr("文件"));
    m_settingsAction->setText(tr("设置…"));
    m_importNavAction->setText(tr("导入导航数据…"));
    m_quitAction->setText(tr("退出"));
}

void MainWindow::createMenus()
{
    // Texts are set by retranslateUi.
    QMenu *file = m_fileMenu = menuBar()->addMenu(QString());
    file->setObjectName(QStringLiteral("fileMenu"));
    QAction *settings = m_settingsAction = file->addAction(QString());
    settings->setObjectName(QStringLiteral("settingsAction"));
    settings->setMenuRole(QAction::PreferencesRole);
    QAction *importNav = m_importNavAction = file->addAction(QString());
    importNav->setObjectName(QStringLiteral("importNavDataAction"));
    file->addSeparator();
    QAction *quit = m_quitAction = file->addAction(QString());
    quit->setObjectName(QStringLiteral("quitAction"));
    quit->setShortcut(QKeySequence::Quit);
    quit->setMenuRole(QAction::QuitRole);

    m_simulatorMenu = new SimulatorMenu(this);
    menuBar()->addMenu(m_simulatorMenu);

    connect(settings, &QAction::triggered, this, &MainWindow::showSettings);
    connect(importNav, &QAction::triggered, this, &MainWindow::showNavImport);
    connect(quit, &QAction::triggered, this, &QWidget::close);
    connect(m_simulatorMenu, &SimulatorMenu::connectRequested, m_manager, &SimBackendManager::connectTo);
    connect(m_simulatorMenu, &SimulatorMenu::disconnectRequested, m_manager, &SimBackendManager::disconnect);
}

void MainWindow::rebuildAirwayGraph()
{
    m_planning->rebuildAirwayGraph();
}

void MainWindow::onBackendChanged(ISimBackend *backend)
{
    m_planning->setBackend(backend);
    const SimType type = m_manager->currentSimType();
    auto *simconnect = dynamic_cast<SimConnectBackend *>(backend);
    m_diagramFetcher->setSession(simconnect && type == SimType::Msfs2024 ? simconnect->session() : nullptr);
    m_simulatorMenu->setCurrent(backend ? type : SimType::None);
    if (!backend) {
        m_status->setStatus(type, SimStatusWidget::State::Disconnected);
        return;
    }
    m_backend = backend;
    m_status->setStatus(type, backend->isConnected() ? SimStatusWidget::State::Connected
                                                     : SimStatusWidget::State::Connecting);
    // A replaced backend is deleted later and may still report; only the current one counts.
    connect(backend, &ISimBackend::connected, this, [this, backend] {
        if (backend != m_backend)
            return;
        m_status->setStatus(m_status->simType(), SimStatusWidget::State::Connected);
        m_navController->refresh(m_manager->currentSimType());
    });
    connect(backend, &ISimBackend::disconnected, this, [this, backend] {
        if (backend == m_backend)
            m_status->setStatus(m_status->simType(), SimStatusWidget::State::Disconnected);
    });
}

void MainWindow::onConnectionFailed(const QString &reason)
{
    statusBar()->showMessage(tr("连接失败：%1").arg(reason), kFailureMessageMs);
}

void MainWindow::showSettings()
{
    SettingsDialog *dialog = createSettingsDialog();
    connect(dialog, &QDialog::accepted, this, [this] {
        m_navController->refresh(m_manager->isConnected() ? m_manager->currentSimType() : SimType::None);
        m_bridge->applySettings();
    });
    dialog->open();
}

void MainWindow::showNavImport()
{
    auto *dialog = new NavImportDialog(QCoreApplication::applicationDirPath(), this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    const QSettings settings(m_settingsPath, QSettings::IniFormat);
    dialog->setXPlaneFolder(settings.value(SimBackendManager::kXPlanePathKey).toString());
    dialog->setSimType(m_manager->currentSimType());
    // MSFS 2024 data is read from the simulator the station is connected to.
    if (auto *simconnect = dynamic_cast<SimConnectBackend *>(m_manager->backend());
        simconnect && m_manager->currentSimType() == SimType::Msfs2024)
        dialog->setSimConnectSession(simconnect->session());
    // Reloading what the settings ask for picks up the rebuilt file.
    connect(dialog, &NavImportDialog::databaseBuilt, m_navController, &NavDataController::reload);
    dialog->open();
}
