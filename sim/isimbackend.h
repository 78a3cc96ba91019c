#pragma once

#include "sim/aircraftdata.h"
#include "sim/simtype.h"
#include "sim/weatherstate.h"

#include <QList>
#include <QObject>
#include <QString>

#include <cstdint>

// The contract every simulator link fulfils. One object per backend, owned by its parent (the
// backend manager) and living on the GUI thread; signals are delivered directly.
//
// Note for subclasses: connect() and disconnect() hide QObject's functions of the same names, so
// signal wiring inside a backend is written QObject::connect(...).
// The fuel density at which the SimConnect backends state a tank capacity in pounds in
// fuelConfigChanged (and at which its receivers turn it back into gallons).
constexpr double kFuelConfigPoundsPerGallon = 6.6;

class ISimBackend : public QObject
{
    Q_OBJECT
public:
    explicit ISimBackend(QObject *parent = nullptr);
    ~ISimBackend() override;

public slots:
    // Starts connecting; the outcome arrives as connected() or connectionFailed().
    virtual bool connect() = 0;
    // Drops the link; emits disconnected().
    virtual void disconnect() = 0;
    virtual bool isConnected() const = 0;
    virtual SimType simType() const = 0;
    // Copy of the latest complete sample; all zero before the first one.
    virtual AircraftData aircraftData() const = 0;
    virtual QString simPath() const;
    // Writes one simulator variable (SimVar or dataref) by name.
    virtual void setData(const QString &name, double value) = 0;
    virtual void setData(const QString &name, double value, const QString &units);
    virtual void transmitEvent(const QString &name, quint32 data) = 0;
    // Answers with simVarValueReceived(requestId, value). The default answers 0.0 at once.
    virtual void requestSimVarOnce(const QString &name, const QString &units, int requestId);
    // altM is in metres; pitch and bank precede heading.
    virtual void setPosition(double lat, double lon, double altM, double pitch, double bank, double heading,
                             bool onGround, double airspeedKt) = 0;
    virtual void setCameraRelative6DOF(float dx, float dy, float dz, float pitch, float bank, float heading);
    virtual void setCameraSmoothRelative6DOF(float dx, float dy, float dz, float pitch, float bank, float heading,
                                             float seconds);
    virtual void cameraZoomIn();
    virtual void cameraZoomOut();
    virtual void loadFlightPlan(const QString &path);
    virtual void setWeatherObservation(const QString &metar);
    virtual void requestWeatherObservation(double lat, double lon);

    // Operations not every simulator offers. Each answers false, and writes nothing, where the
    // connected simulator lacks it ("not available on this simulator"); true once it was sent.
    virtual bool setPaused(bool paused);
    virtual bool setFrozen(bool position, bool attitude);
    // Injects a weather (X-Plane: its weather datarefs; SimConnect simulators: a METAR-form
    // observation).
    virtual bool setWeather(const WeatherState &weather);
    // Whether setData(name, …) reaches something on the connected simulator and version (an
    // X-Plane 12 without the dataref a failure key maps to answers false). The default is true.
    virtual bool canSetData(const QString &name) const;

signals:
    void connected();
    void disconnected();
    void connectionFailed(const QString &reason);
    void aircraftDataChanged(const AircraftData &data);
    void aiAircraftUpdated(const QList<AiAircraft> &aircrafts);
    void eventReceived(const QString &name, quint32 eventId);
    // The aircraft's tank layout, once known: the total capacity as a fuel mass in the unit the
    // simulator keeps it in (X-Plane: kilograms, acf_m_fuel_tot; the SimConnect simulators: pounds
    // at kFuelConfigPoundsPerGallon, so the receiver gets the gallons back exactly) and each tank's
    // share of that capacity (0..1, X-Plane: nine acf_tank_rat values; SimConnect: one per tank
    // position LEFT MAIN, LEFT AUX, LEFT TIP, CENTER, CENTER2, CENTER3, RIGHT MAIN, … up to the
    // last one the aircraft has).
    void fuelConfigChanged(double totalCapacityLbs, const QList<double> &tankRatios);
    // Fuel in each tank after every sample, in the simulator's own unit (X-Plane: m_fuel[0..8],
    // kilograms). A value written back unchanged to X-Plane's sim/flightmodel/weight/m_fuel[i]
    // puts exactly that fuel into tank i.
    void tankQuantitiesReceived(const QList<double> &quantities);
    void simVarValueReceived(int requestId, double value);
};

// Registers SimType, QList<SimType>, AircraftData, AiAircraft, QList<AiAircraft>, RemoteAircraft and WeatherState so
// they cross threads by queued connection. Safe to call more than once.
void registerSimMetaTypes();
