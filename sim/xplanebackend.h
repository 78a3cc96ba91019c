#pragma once

#include "sim/isimbackend.h"

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
// Created by the backend manager (its parent) on the GUI thread. The first RREF reply counts as
// the connection; a simulator that goes silent is not noticed. Emits disconnected() when
// destroyed. The whole table is re-sent every fifth timer tick so a simulator started later
// picks the subscription up.
//
// Units: values are passed through or converted as AircraftData documents (X-Plane reports
// fuel and weights in kilograms). setPosition/sendPosi take metres.
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

    // XPlaneConnect-style POSI datagram (45 bytes); only a simulator with that plug-in reacts.
    void sendPosi(double lat, double lon, double elevM, float pitch, float roll, float heading);

    // Pushback: drives the aircraft tail first by writing local_vx/vy/vz (m/s, X-Plane's local
    // frame: x east, y up, z south) and the rates P, Q, R (deg/s) with DREF. The push runs
    // opposite to the latest heading_psi received. X-Plane's flight model takes over again
    // quickly, so a controller calls pushbackStart() periodically (it writes every time).
    // direction: 0 straight, > 0 nose swings right (R positive), < 0 nose swings left; turning
    // uses a fixed 15 m radius. When straight and a target heading was set, R steers the nose
    // toward it at no more than that turn rate. pushbackStop() writes zeros and forgets
    // direction and target.
    void pushbackStart(double speedKts);
    void pushbackStop();
    void pushbackSetDirection(int direction);
    // Stored only; used by the next pushbackStart()/pushbackSetDirection() write.
    void pushbackSetHeading(double headingDegTrue);

    // Wire builders, exposed so the byte layouts can be checked on their own.
    static QByteArray buildRref(int frequency, int index, const QString &dataref);
    static QByteArray buildDref(float value, const QString &dataref);
    static QByteArray buildCmnd(const QString &command);
    static QByteArray buildPrel(double lat, double lon, double elevation, double heading);
    static QByteArray buildPosi(double lat, double lon, double elevation, float pitch, float roll, float heading);

private:
    struct DrefEntry
    {
        QString dataref;
        float value = 0;
    };

    void onReadyRead();
    void onRequestData();
    void onHostLookedUp(const QHostInfo &info);
    void resolveHost();
    void registerAll();
    void send(const QByteArray &datagram);
    void processDatagram(const QByteArray &datagram);
    void applyValue(int index, float value);
    void applyFuelCapacity(double capacity);
    void publishTankQuantities();
    void publishFuelConfigIfComplete();
    void writePushbackDrefs();
    double pushbackYawRateDegS(double speedMs) const;

    QUdpSocket *m_socket = nullptr;
    QTimer *m_timer = nullptr;
    QString m_host = QStringLiteral("127.0.0.1");
    QHostAddress m_hostAddress;
    int m_lookupId = -1;
    quint16 m_remotePort = kDefaultRemotePort;
    quint16 m_localPort = kDefaultLocalPort;
    QString m_simPath;
    int m_xplaneVersion = 11;
    AircraftData m_data;
    bool m_connected = false;
    bool m_subscribed = false;

    double m_fuelCapacity = 0;
    double m_tankRatios[9] = {};
    quint16 m_ratioMask = 0;
    bool m_fuelConfigSent = false;
    double m_tankFuel[9] = {};

    // local_x, local_y, local_z, V_gnd, heading_psi, local_vx, local_vy, local_vz
    float m_localPos[8] = {};
    QList<DrefEntry> m_pushbackDrefs;
    bool m_pushbackActive = false;
    double m_pushbackSpeedKts = 0;
    int m_pushbackDirection = 0;
    float m_pushbackHeading = 0;
    bool m_hasPushbackHeading = false;
};
