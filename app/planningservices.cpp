#include "app/planningservices.h"

#include "app/log/applogger.h"
#include "map/mapwidget.h"
#include "map/routeoverlay.h"
#include "nav/navdataprovider.h"
#include "plan/airwaypathfinder.h"
#include "plan/flightplansender.h"
#include "plan/simbriefservice.h"
#include "sim/isimbackend.h"
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

constexpr double kFeetToMetres = 0.3048;

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
    m_weather->setBackend(backend);
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
}

void PlanningServices::placeAircraft(const RoutePlanner::Placement &p)
{
    if (!m_backend || !m_backend->isConnected()) {
        m_planTab->setStatus(tr("未连接模拟器"));
        return;
    }
    m_backend->setPosition(p.lat, p.lon, p.altitudeFt * kFeetToMetres, 0.0, 0.0, p.headingDeg, p.onGround, p.speedKt);
    m_planTab->setStatus(tr("飞机已放置到 %1, %2，高度 %3 ft，航向 %4°")
                             .arg(p.lat, 0, 'f', 4)
                             .arg(p.lon, 0, 'f', 4)
                             .arg(qRound(p.altitudeFt))
                             .arg(qRound(p.headingDeg)));
}
