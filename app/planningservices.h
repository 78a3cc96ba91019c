#pragma once

#include "plan/routeplanner.h"
#include "plan/simbriefservice.h"

#include <QFutureWatcher>
#include <QObject>
#include <QPointer>

#include <memory>

class AirwayPathfinder;
class FlightPlanTab;
class FuelManager;
class ISimBackend;
class MapTab;
class NavDataProvider;
class PositionAircraft;
class QTabWidget;
class SimBriefService;
class SimOperationDispatcher;
class WeatherService;
class WeatherTab;

// The station's flight planning and weather: creates the airway pathfinder, the route planner,
// the OFP and weather services and the flight-plan and weather tabs, and connects them with the
// map, the navigation data and the simulator backend. Rebuilds the airway graph from the loaded
// navigation data on a worker thread (the world's 70,000 segments take a moment) and swaps it in
// on the GUI thread; the planner plans with the previous graph (or none) until then.
//
// Created and owned by the main window (its parent), GUI thread. The tabs are created here and
// handed to the window's tab widget, which owns them. The navigation data is borrowed.
class PlanningServices : public QObject
{
    Q_OBJECT
public:
    PlanningServices(NavDataProvider *navData, const QString &settingsPath, QObject *parent = nullptr);
    ~PlanningServices() override;

    FlightPlanTab *flightPlanTab() const;
    WeatherTab *weatherTab() const;
    WeatherService *weatherService() const { return m_weather; }
    SimBriefService *simBriefService() const { return m_simbrief; }
    const RoutePlanner &routePlanner() const { return m_planner; }
    // The graph the planner uses now; null before the first build finished.
    const AirwayPathfinder *pathfinder() const { return m_pathfinder.get(); }
    bool isGraphBuilding() const { return m_graphWatcher != nullptr; }

    // The flight-plan and weather tabs into the window's tab widget, which takes them; their titles
    // follow the language through retranslateTabs.
    void addTabs(QTabWidget *tabs);
    void retranslateTabs(QTabWidget *tabs);
    // The route on the map, points dragged or added there.
    void attachMap(MapTab *mapTab);
    // Borrowed; the simulator plans are sent to (null: none).
    void setBackend(ISimBackend *backend);
    // Borrowed, from the station's controls: weather goes through the dispatcher (so to a remote
    // station when one is the target), the aircraft is placed by the positioning, and an OFP's
    // fuel and payload are loaded by the fuel manager. Without them none of the three can be done.
    void setControls(SimOperationDispatcher *dispatcher, PositionAircraft *positioning, FuelManager *fuel);
    // The OFP's ramp fuel (inner tanks first, in the OFP's unit converted) and payload (over the
    // stations) into the fuel manager, in one step. False, with the reason in the plan tab.
    bool loadOfp(const SimBriefService::OFPData &ofp);

public slots:
    // Fills the pathfinder from the navigation data's airways, off the GUI thread. A call while a
    // build runs is served when it ends.
    void rebuildAirwayGraph();

signals:
    // A new graph is in use, with this many fixes.
    void airwayGraphRebuilt(int nodes);
    // The plan went out to the simulator; message says where, as the plan tab shows it.
    void planSent(const FlightPlan &plan, const QString &message);
    // An OFP's fuel (what the tanks took) and payload (0 without payload stations) went into the
    // fuel manager and on to the simulator.
    void ofpLoaded(const SimBriefService::OFPData &ofp, double fuelKg, double payloadKg);

private:
    void onGraphBuilt();
    void sendPlan(const FlightPlan &plan);
    void placeAircraft(const RoutePlanner::Placement &placement);
    void placeOnGround(const RoutePlanner::Placement &placement);

    NavDataProvider *m_navData;
    QString m_settingsPath;
    std::shared_ptr<const AirwayPathfinder> m_pathfinder;
    RoutePlanner m_planner;
    SimBriefService *m_simbrief = nullptr;
    WeatherService *m_weather = nullptr;
    // Owned by the window's tab widget, which may go first.
    QPointer<FlightPlanTab> m_planTab;
    QPointer<WeatherTab> m_weatherTab;
    QPointer<MapTab> m_mapTab;
    QPointer<ISimBackend> m_backend;
    QPointer<SimOperationDispatcher> m_dispatcher;
    QPointer<PositionAircraft> m_positioning;
    QPointer<FuelManager> m_fuel;
    bool m_placing = false; // a placement of ours is under way: its outcome goes to the plan tab
    QFutureWatcher<std::shared_ptr<const AirwayPathfinder>> *m_graphWatcher = nullptr;
    bool m_rebuildAgain = false;
};
