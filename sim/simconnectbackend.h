#pragma once

#include "sim/isimbackend.h"
#include "sim/simconnect/isimconnect.h"

#include <memory>

class SimConnectSession;
namespace simvars {
struct TankLayout;
}

// ISimBackend for Microsoft Flight Simulator 2020 and 2024 over SimConnect in this process: a
// SimConnectSession on the port it is given (the simulator's client library on Windows, the fake
// simulator in tests and the demo). The aircraft state arrives in SimConnect units and leaves in
// the units AircraftData documents; traffic within 200 km comes as aiAircraftUpdated every five
// seconds; the tank layout as fuelConfigChanged (total capacity in pounds at
// kFuelConfigPoundsPerGallon, each used tank position's share) and the tank contents as
// tankQuantitiesReceived (gallons, by tank position: LEFT MAIN, LEFT AUX, LEFT TIP, CENTER, …);
// system events ("Sim", "Pause", "FlightLoaded", "AircraftLoaded") as eventReceived with their
// client event id.
//
// Writes: setData(name, value, units) sets a simulation variable, transmitEvent fires a key event
// (radio events in the _HZ form MSFS takes), setPosition puts the aircraft at an initial
// position (altitude given in metres, sent in feet), setPaused/setFrozen send PAUSE_SET and the
// FREEZE_*_SET events. MSFS has no working weather injection: setWeather and
// setWeatherObservation answer false and log why.
//
// A simulator that quits, a broken link or a simulator that stops answering emit disconnected();
// the backend manager then reconnects. Created by the manager (its parent) on the GUI thread;
// emits disconnected() from its destructor.
class SimConnectBackend : public ISimBackend
{
    Q_OBJECT
public:
    SimConnectBackend(SimType type, std::unique_ptr<ISimConnect> port, QObject *parent = nullptr);
    ~SimConnectBackend() override;

    SimConnectSession *session() const { return m_session; }

    bool connect() override;
    void disconnect() override;
    bool isConnected() const override;
    SimType simType() const override;
    AircraftData aircraftData() const override;
    void setData(const QString &name, double value) override;
    void setData(const QString &name, double value, const QString &units) override;
    void transmitEvent(const QString &name, quint32 data) override;
    void requestSimVarOnce(const QString &name, const QString &units, int requestId) override;
    void setPosition(double lat, double lon, double altM, double pitch, double bank, double heading, bool onGround,
                     double airspeedKt) override;
    void setCameraRelative6DOF(float dx, float dy, float dz, float pitch, float bank, float heading) override;
    void setCameraSmoothRelative6DOF(float dx, float dy, float dz, float pitch, float bank, float heading,
                                     float seconds) override;
    void cameraZoomIn() override;
    void cameraZoomOut() override;
    void loadFlightPlan(const QString &path) override;
    void setWeatherObservation(const QString &metar) override;
    void requestWeatherObservation(double lat, double lon) override;
    bool setPaused(bool paused) override;
    bool setFrozen(bool position, bool attitude) override;
    bool setWeather(const WeatherState &weather) override;
    bool canSetData(const QString &name) const override;

private:
    void onOpened();
    void onSampleUpdated();
    void onTankLayout(const simvars::TankLayout &layout);
    void onTankQuantities(const simvars::TankLayout &layout);
    void onEnded();

    SimType m_type;
    SimConnectSession *m_session = nullptr;
    bool m_connected = false;
    bool m_rejectionLogged = false;
    AircraftData m_data;
};
