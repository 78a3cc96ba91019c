#pragma once

#include <QObject>
#include <QString>

class AircraftDataFanOut;
class AircraftTab;
class FailureManager;
class FailuresTab;
class FuelManager;
class FuelTab;
class ISimBackend;
class MapWidget;
class NavDataController;
class NavDataProvider;
class PositionAircraft;
class PushbackController;
class QTabWidget;
class SimBackendManager;
class SimOperationDispatcher;
class SlewController;

// The instructor controls of the station: creates the operation dispatcher and the control
// services (positioning, failures, fuel and payload, pushback, slew), their three tabs, and wires
// them to the backend manager, the navigation data, the sample fan-out and the map's context
// menu. Every backend the manager reports is handed to the dispatcher and the controllers.
//
// Owned by the main window (its parent), GUI thread only; the services are its children, the
// tabs belong to the tab widget. Reads the fuel presets from the settings file it is given.
class ControlServices : public QObject
{
    Q_OBJECT
public:
    // A final chosen on the map's runway menu is flown from this far out (short final).
    static constexpr double kMapFinalDistanceNm = 3.0;

    ControlServices(const QString &settingsPath, SimBackendManager *manager, NavDataProvider *navData,
                    QObject *parent = nullptr);

    // Adds the aircraft, failures and fuel tabs to tabs.
    void addTabs(QTabWidget *tabs);
    // Sets their tab texts in the current language (the main window calls it on a language switch).
    void retranslateTabs(QTabWidget *tabs);
    // Registers the aircraft tab with the fan-out and the tabs with the navigation loader.
    void connectData(AircraftDataFanOut *fanOut, NavDataController *navController);
    // The map's "position here" and "final of this runway" menu entries.
    void connectMap(MapWidget *map);

    SimOperationDispatcher *dispatcher() const { return m_dispatcher; }
    PositionAircraft *positioning() const { return m_positioning; }
    FailureManager *failures() const { return m_failures; }
    FuelManager *fuel() const { return m_fuel; }
    PushbackController *pushback() const { return m_pushback; }
    SlewController *slew() const { return m_slew; }
    AircraftTab *aircraftTab() const { return m_aircraftTab; }
    FailuresTab *failuresTab() const { return m_failuresTab; }
    FuelTab *fuelTab() const { return m_fuelTab; }

private:
    void onBackendChanged(ISimBackend *backend);
    void positionAtFinalOf(const QString &airportIcao, const QString &runwayIdent);

    SimBackendManager *m_manager;
    NavDataProvider *m_navData;
    SimOperationDispatcher *m_dispatcher = nullptr;
    PositionAircraft *m_positioning = nullptr;
    FailureManager *m_failures = nullptr;
    FuelManager *m_fuel = nullptr;
    PushbackController *m_pushback = nullptr;
    SlewController *m_slew = nullptr;
    AircraftTab *m_aircraftTab = nullptr;
    FailuresTab *m_failuresTab = nullptr;
    FuelTab *m_fuelTab = nullptr;
};
