#pragma once

#include "sim/isimbackend.h"

#include <QElapsedTimer>
#include <QHostAddress>
#include <QList>
#include <QString>

class QHostInfo;
class QTimer;
class QUdpSocket;

// ISimBackend for X-Plane 11 and 12 over X-Plane's own UDP interface: subscribes to a fixed
// dataref table with RREF, decodes the replies into AircraftData, writes datarefs with DREF,
// fires commands with CMND and repositions with PREL. No plug-in is needed in the simulator.
//
// Created by the backend manager (its parent) on the GUI thread. The first accepted RREF reply
// counts as the connection; a simulator that goes silent is not noticed. Emits disconnected()
// when destroyed. The whole table is re-sent every fifth timer tick so a simulator started later
// picks the subscription up.
//
// Units: every AircraftData member is converted here to the unit the record documents (speeds in
// knots, fuel in US gallons through kFuelKgPerUsGallon, fuel flow in US gal/h, throttles and
// speed brake in percent, course and glide-slope deviation in dots). A reply whose position is not
// finite or out of range is dropped whole and the last good sample stays; a non-finite value of
// another member keeps that member's last value. setPosition/sendPosi take metres.
//
// The fuel signals carry X-Plane's own masses, unconverted: fuelConfigChanged(capacity, ratios)
// gives acf_m_fuel_tot in kilograms with the nine acf_tank_rat shares, and tankQuantitiesReceived
// gives m_fuel[0..8] in kilograms. Writing a value received there back to
// sim/flightmodel/weight/m_fuel[i] puts the same fuel into the tank.
//
// setData() takes the failure catalogue's keys ("XPlaneFailureEngfai1", ...) as well as dataref
// paths: a key is written to its rel_* dataref for the configured version (XPlaneFailureTable);
// a key without one there is logged and not sent, and canSetData() answers false for it.
class XPlaneBackend : public ISimBackend
{
    Q_OBJECT
public:
    static constexpr quint16 kDefaultRemotePort = 49000;
    static constexpr quint16 kDefaultLocalPort = 49010;

    explicit XPlaneBackend(QObject *parent = nullptr);
    ~XPlaneBackend() override;

    // host:port is where the simulator receives (49000 by default). An IP address or
    // "localhost" is used at once, other names are looked up without blocking; takes effect at
    // the next connect().
    void setHost(const QString &host, quint16 port);
    // The port bound here, on which replies arrive (49010 by default; 0 picks a free one).
    void setLocalPort(quint16 port);
    // The port actually bound after connect(), 0 before.
    quint16 boundPort() const;
    void setSimPath(const QString &path);
    // 11 or 12: selects the failure datarefs, the weather datarefs and the pause commands.
    void setXPlaneVersion(int version);

    bool connect() override;
    void disconnect() override;
    bool isConnected() const override;
    SimType simType() const override;
    AircraftData aircraftData() const override;
    QString simPath() const override;
    using ISimBackend::setData;
    void setData(const QString &name, double value) override;
    void transmitEvent(const QString &name, quint32 data) override;
    void setPosition(double lat, double lon, double altM, double pitch, double bank, double heading, bool onGround,
                     double airspeedKt) override;

    // X-Plane 12 has pause_on/pause_off; X-Plane 11 only the toggle, sent when sim/time/paused
    // differs from the wish (false until that dataref has been received).
    bool setPaused(bool paused) override;
    // Holds the aircraft through sim/operation/override/override_planepath[0], which stops the
    // flight model moving it at all: X-Plane cannot hold the attitude alone, so an attitude-only
    // freeze answers false.
    bool setFrozen(bool position, bool attitude) override;
    bool setWeather(const WeatherState &weather) override;
    bool canSetData(const QString &name) const override;

    // XPlaneConnect-style POSI datagram (45 bytes); only a simulator with that plug-in reacts.
    void sendPosi(double lat, double lon, double elevM, float pitch, float roll, float heading);

    // Wire builders, exposed so the byte layouts can be checked on their own.
    static QByteArray buildRref(int frequency, int index, const QString &dataref);
    static QByteArray buildDref(float value, const QString &dataref);
    static QByteArray buildCmnd(const QString &command);
    static QByteArray buildPrel(double lat, double lon, double elevation, double heading);
    static QByteArray buildPosi(double lat, double lon, double elevation, float pitch, float roll, float heading);

private:
    // Everything a reply can change, so that a rejected reply changes nothing.
    struct Received
    {
        AircraftData data;
        double tankFuelKg[9] = {};
        double fuelCapacityKg = 0;
        double tankRatios[9] = {};
        quint16 ratioMask = 0;
        bool fuelConfigSent = false;
        int paused = -1; // sim/time/paused; -1 until received
    };

    void onReadyRead();
    void onRequestData();
    void onHostLookedUp(const QHostInfo &info);
    void resolveHost();
    void registerAll();
    bool send(const QByteArray &datagram);
    void processDatagram(const QByteArray &datagram);
    // false when the record makes the whole reply unusable (a position that is not a number).
    static bool applyValue(Received &rx, int index, float value);
    static void applyFuelCapacity(Received &rx, double capacityKg);
    void publishTankQuantities();
    void publishFuelConfigIfComplete();

    QUdpSocket *m_socket = nullptr;
    QTimer *m_timer = nullptr;
    QString m_host = QStringLiteral("127.0.0.1");
    QHostAddress m_hostAddress;
    int m_lookupId = -1;
    quint16 m_remotePort = kDefaultRemotePort;
    quint16 m_localPort = kDefaultLocalPort;
    QString m_simPath;
    int m_xplaneVersion = 11;
    bool m_connected = false;
    bool m_subscribed = false;
    bool m_rejectionLogged = false;
    QElapsedTimer m_pauseToggledAt;
    Received m_rx;
};
