#include "app/planningservices.h"

#include "app/log/applogger.h"
#include "control/fuelmanager.h"
#include "control/positionaircraft.h"
#include "map/mapwidget.h"
#include "map/routeoverlay.h"
#include "nav/navdataprovider.h"
#include "plan/airwaypathfinder.h"
#include "plan/flightplansender.h"
#include "plan/fuelspread.h"
#include "plan/simbriefservice.h"
#include "sim/isimbackend.h"
#include "sim/simoperationdispatcher.h"
#include "ui/flightplantab.h"
#include "ui/maptab.h"
#include "ui/weathertab.h"
#include "weather/weatherservice.h"

#include <QDir>
#include <QSettings>
#include <QStandardPaths>
#include <QTabWidget>
#include <QtConcurrent>

namespace {

void logPlan(AppLogger::Level level, const QString &message)
{
    AppLogger::instance().log(level, QStringLiteral("Plan"), message);
}

} // namespace

PlanningServices::PlanningServices(NavDataProvider *navData, const QString &settingsPath, QObject *parent)
    : QObject(parent), m_navData(navData), m_settingsPath(settingsPath), m_planner(navData, nullptr)
{
    const QSettings settings(m_settingsPath, QSettings::IniFormat);
    m_simbrief = new SimBriefService(this);
    const QString host = settings.value(QLatin1String(SimBriefService::kHostKey)).toString().trimmed();
    if (!host.isEmpty())
        m_simbrief->setHost(QUrl(host));
    m_weather = new WeatherService(this);
    m_weather->applySettings(settings);

    m_planTab = new FlightPlanTab;
    m_planTab->setObjectName(QStringLiteral("flightPlanTab"));
    m_planTab->setRoutePlanner(&m_planner);
    m_planTab->setSimBriefService(m_simbrief);
    m_planTab->setSimBriefUser(settings.value(QLatin1String(SimBriefService::kUserNameKey)).toString());
    m_weatherTab = new WeatherTab;
    m_weatherTab->setObjectName(QStringLiteral("weatherTab"));
    m_weatherTab->setNavData(navData);
    m_weatherTab->setWeatherService(m_weather);

    connect(m_planTab, &FlightPlanTab::planChanged, m_weatherTab, [this](const FlightPlan &plan) {
        m_weatherTab->setRouteAirports(plan.departure, plan.departureRunway, plan.destination);
    });
    connect(m_planTab, &FlightPlanTab::sendRequested, this, &PlanningServices::sendPlan);
    connect(m_planTab, &FlightPlanTab::positionRequested, this, &PlanningServices::placeAircraft);
    connect(m_planTab, &FlightPlanTab::ofpLoadRequested, this, &PlanningServices::loadOfp);
}

PlanningServices::~PlanningServices()
{
    if (m_graphWatcher)
        m_graphWatcher->waitForFinished();
    QSettings settings(m_settingsPath, QSettings::IniFormat);
    m_weather->storeSettings(settings);
    if (m_planTab)
        settings.setValue(QLatin1String(SimBriefService::kUserNameKey), m_planTab->simBriefUser());
}

FlightPlanTab *PlanningServices::flightPlanTab() const
{
    return m_planTab;
}

WeatherTab *PlanningServices::weatherTab() const
{
    return m_weatherTab;
}

void PlanningServices::addTabs(QTabWidget *tabs)
{
    tabs->addTab(m_planTab, QString());
    tabs->addTab(m_weatherTab, QString());
    retranslateTabs(tabs);
}

void PlanningServices::retranslateTabs(QTabWidget *tabs)
{
    tabs->setTabText(tabs->indexOf(m_planTab), tr("飞行计划"));
    tabs->setTabText(tabs->indexOf(m_weatherTab), tr("天气"));
}

void PlanningServices::attachMap(MapTab *mapTab)
{
    m_mapTab = mapTab;
    connect(m_planTab, &FlightPlanTab::planChanged, mapTab, [this](const FlightPlan &plan) {
        if (m_mapTab)
            RouteOverlay::show(m_mapTab->mapWidget(), plan, m_planTab->groundSpeedKt());
    });
    connect(mapTab, &MapTab::routePointMoved, m_planTab, &FlightPlanTab::moveWaypoint);
    connect(mapTab, &MapTab::addToFlightPlan, m_planTab, &FlightPlanTab::addWaypoint);
}

void PlanningServices::setBackend(ISimBackend *backend)
{
    m_backend = backend;
}

void PlanningServices::setControls(SimOperationDispatcher *dispatcher, PositionAircraft *positioning, FuelManager *fuel)
{
    if (m_positioning)
        disconnect(m_positioning, nullptr, this, nullptr);
    m_dispatcher = dispatcher;
    m_positioning = positioning;
    m_fuel = fuel;
    m_weather->setDispatcher(dispatcher);
    if (positioning) {
        connect(positioning, &PositionAircraft::positionSet, this, [this](const QString &description) {
            if (m_placing)
                m_planTab->setStatus(tr("飞机已放置：%1").arg(description));
        });
        connect(positioning, &PositionAircraft::positionFailed, this, [this](const QString &error) {
            if (m_placing)
                m_planTab->setStatus(tr("无法放置飞机：%1").arg(error));
        });
    }
}

bool PlanningServices::loadOfp(const SimBriefService::OFPData &ofp)
{
    if (!m_fuel || m_fuel->tanks().isEmpty()) {
        m_planTab->setStatus(tr("无法装载 OFP：飞机的油箱尚未从模拟器读到"));
        return false;
    }
    QList<FuelManager::TankInfo> tanks = m_fuel->tanks();
    QStringList names;
    QList<double> capacities;
    for (const FuelManager::TankInfo &tank : std::as_const(tanks)) {
        names.append(tank.name);
        capacities.append(tank.capacity);
    }
    const double wantedGal = FuelSpread::kgToGallons(ofp.toKg(ofp.rampFuel));
    const QList<double> contents = FuelSpread::innerFirst(names, capacities, wantedGal);
    double loadedGal = 0.0;
    for (int i = 0; i < tanks.size(); ++i) {
        tanks[i].current = contents.at(i);
        loadedGal += contents.at(i);
    }
    m_fuel->setTanks(tanks);
    m_fuel->writeFuelToSim();
    const double payloadKg = ofp.toKg(ofp.payload);
    if (!m_fuel->payloadStations().isEmpty())
        m_fuel->loadPayloadTotal(payloadKg);
    QString message =
        tr("已装载 OFP 燃油 %1 kg（%2 gal）").arg(qRound(loadedGal * kFuelKgPerUsGallon)).arg(qRound(loadedGal));
    if (loadedGal + 0.5 < wantedGal)
        message += tr("，油箱装不下 OFP 的 %1 kg").arg(qRound(wantedGal * kFuelKgPerUsGallon));
    message += m_fuel->payloadStations().isEmpty() ? tr("；没有载荷站，业载未装载")
                                                   : tr("，业载 %1 kg").arg(qRound(payloadKg));
    logPlan(AppLogger::Info, QStringLiteral("OFP %1-%2 loaded: %3 gal fuel, %4 kg payload")
                                 .arg(ofp.origin, ofp.destination)
                                 .arg(loadedGal, 0, 'f', 1)
                                 .arg(m_fuel->payloadStations().isEmpty() ? 0.0 : payloadKg, 0, 'f', 0));
    m_planTab->setStatus(message);
    emit ofpLoaded(ofp, loadedGal * kFuelKgPerUsGallon, m_fuel->payloadStations().isEmpty() ? 0.0 : payloadKg);
    return true;
}

void PlanningServices::rebuildAirwayGraph()
{
    if (m_graphWatcher) {
        m_rebuildAgain = true;
        return;
    }
    // The list is shared, not copied, here; the worker never touches the provider, which the
    // window may destroy before these services.
    const QList<AirwaySegment> airways = m_navData->airways();
    m_graphWatcher = new QFutureWatcher<std::shared_ptr<const AirwayPathfinder>>(this);
    connect(m_graphWatcher, &QFutureWatcherBase::finished, this, &PlanningServices::onGraphBuilt);
    m_graphWatcher->setFuture(QtConcurrent::run([airways] {
        auto pathfinder = std::make_shared<AirwayPathfinder>();
        pathfinder->setSegments(AirwayPathfinder::segmentsFrom(airways));
        return std::shared_ptr<const AirwayPathfinder>(pathfinder);
    }));
}

void PlanningServices::onGraphBuilt()
{
    m_pathfinder = m_graphWatcher->result();
    m_graphWatcher->deleteLater();
    m_graphWatcher = nullptr;
    m_planner.setPathfinder(m_pathfinder.get());
    m_planTab->refreshChoices();
    logPlan(AppLogger::Info, QStringLiteral("Airway graph: %1 fixes").arg(m_pathfinder->nodeCount()));
    emit airwayGraphRebuilt(m_pathfinder->nodeCount());
    if (m_rebuildAgain) {
        m_rebuildAgain = false;
        rebuildAirwayGraph();
    }
}

void PlanningServices::sendPlan(const FlightPlan &plan)
{
    const QString folder =
        QDir(QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation)).filePath(QStringLiteral("plans"));
    QString message;
    const bool sent = FlightPlanSender::send(plan, m_backend, folder, &message);
    logPlan(sent ? AppLogger::Info : AppLogger::Warning,
            QStringLiteral("Flight plan %1 %2: %3").arg(plan.displayName(), sent ? "sent" : "not sent", message));
    m_planTab->setStatus(message);
    if (sent)
        emit planSent(plan, message);
}

void PlanningServices::placeAircraft(const RoutePlanner::Placement &p)
{
    if (!m_positioning) {
        m_planTab->setStatus(tr("无法放置飞机：没有定位服务"));
        return;
    }
    m_placing = true;
    if (p.onGround)
        placeOnGround(p);
    else
        m_positioning->positionAt(p.lat, p.lon, p.altitudeFt, p.headingDeg);
    m_placing = false;
}

void PlanningServices::placeOnGround(const RoutePlanner::Placement &p)
{
    // At an airport of the plan: on its planned runway's threshold when the data has it.
    const FlightPlan plan = m_planTab->plan();
    const bool atDestination =
        !plan.waypoints.isEmpty() &&
        FlightPlan::distanceNm(plan.waypoints.last().lat, plan.waypoints.last().lon, p.lat, p.lon) < 0.1;
    const QString airport = atDestination ? plan.destination : plan.departure;
    const QString runway = atDestination ? plan.destinationRunway : plan.departureRunway;
    for (const RunwayRecord &r : m_navData->runways(airport)) {
        if (r.ident == runway) {
            m_positioning->positionAtRunway(airport + QLatin1Char(' ') + r.ident, r.lat, r.lon, r.heading,
                                            p.altitudeFt);
            return;
        }
    }
    m_positioning->positionAtRunway(airport, p.lat, p.lon, p.headingDeg, p.altitudeFt);
}
