#include "app/controlwiring.h"

#include "app/aircraftdatafanout.h"
#include "app/navdatacontroller.h"
#include "control/failuremanager.h"
#include "control/fuelmanager.h"
#include "control/positionaircraft.h"
#include "control/pushbackcontroller.h"
#include "control/slewcontroller.h"
#include "map/mapwidget.h"
#include "nav/navdataprovider.h"
#include "sim/isimbackend.h"
#include "sim/simbackendmanager.h"
#include "sim/simoperationdispatcher.h"
#include "ui/aircrafttab.h"
#include "ui/failurestab.h"
#include "ui/fueltab.h"

#include <QTabWidget>

ControlServices::ControlServices(const QString &settingsPath, SimBackendManager *manager, NavDataProvider *navData,
                                 QObject *parent)
    : QObject(parent), m_manager(manager), m_navData(navData)
{
    m_dispatcher = new SimOperationDispatcher(this);
    m_positioning = new PositionAircraft(this);
    m_positioning->setDispatcher(m_dispatcher);
    m_positioning->setNavDataProvider(navData);
    m_failures = new FailureManager(this);
    m_failures->setDispatcher(m_dispatcher);
    m_fuel = new FuelManager(settingsPath, this);
    m_fuel->setDispatcher(m_dispatcher);
    m_fuel->loadUserPresetsFromSettings();
    m_pushback = new PushbackController(this);
    m_pushback->setDispatcher(m_dispatcher);
    m_slew = new SlewController(this);
    m_slew->setDispatcher(m_dispatcher);

    m_aircraftTab = new AircraftTab;
    m_aircraftTab->setObjectName(QStringLiteral("aircraftTab"));
    m_aircraftTab->setControllers(m_positioning, m_pushback, m_slew, m_dispatcher);
    m_aircraftTab->setNavDataProvider(navData);
    m_failuresTab = new FailuresTab;
    m_failuresTab->setObjectName(QStringLiteral("failuresTab"));
    m_failuresTab->setFailureManager(m_failures);
    m_fuelTab = new FuelTab;
    m_fuelTab->setObjectName(QStringLiteral("fuelTab"));
    m_fuelTab->setFuelManager(m_fuel);

    connect(manager, &SimBackendManager::backendChanged, this, &ControlServices::onBackendChanged);
    onBackendChanged(manager->backend());
}

void ControlServices::addTabs(QTabWidget *tabs)
{
    tabs->addTab(m_aircraftTab, QString());
    tabs->addTab(m_failuresTab, QString());
    tabs->addTab(m_fuelTab, QString());
    retranslateTabs(tabs);
}

void ControlServices::retranslateTabs(QTabWidget *tabs)
{
    tabs->setTabText(tabs->indexOf(m_aircraftTab), tr("飞机"));
    tabs->setTabText(tabs->indexOf(m_failuresTab), tr("故障"));
    tabs->setTabText(tabs->indexOf(m_fuelTab), tr("燃油与载荷"));
}

void ControlServices::connectData(AircraftDataFanOut *fanOut, NavDataController *navController)
{
    fanOut->addConsumer(m_aircraftTab, [tab = m_aircraftTab](const AircraftData &data) { tab->setAircraftData(data); });
    connect(navController, &NavDataController::dataLoaded, m_aircraftTab, &AircraftTab::refreshNavData);
}

void ControlServices::connectMap(MapWidget *map)
{
    connect(map, &MapWidget::positionHereRequested, this, [this](double lat, double lon) {
        // Free coordinates at the clicked point, keeping the aircraft's altitude and heading.
        const AircraftData data = m_manager->aircraftData();
        m_positioning->positionAt(lat, lon, data.alt, data.hdgTrue);
    });
    connect(map, &MapWidget::finalApproachRequested, this, &ControlServices::positionAtFinalOf);
}

void ControlServices::positionAtFinalOf(const QString &airportIcao, const QString &runwayIdent)
{
    const AirportRecord airport = m_navData->airport(airportIcao);
    for (const RunwayRecord &runway : m_navData->runways(airportIcao)) {
        if (runway.ident != runwayIdent)
            continue;
        m_positioning->positionAtFinal(runway.ident, runway.lat, runway.lon, runway.heading, airport.elevation,
                                       kMapFinalDistanceNm, 0);
        return;
    }
}

void ControlServices::onBackendChanged(ISimBackend *backend)
{
    // A lost backend (null) is dropped everywhere; a push in progress stops writing.
    if (!backend)
        m_pushback->stop();
    m_dispatcher->setLocalBackend(backend);
    m_positioning->setBackend(backend);
    m_failures->setBackend(backend);
    m_fuel->setBackend(backend);
    m_pushback->setBackend(backend);
    m_slew->setBackend(backend);
    m_slew->disable();
    m_failuresTab->refreshAvailability();
    if (backend)
        connect(backend, &ISimBackend::connected, m_failuresTab, &FailuresTab::refreshAvailability);
}
