#pragma once

#include "sim/boundedlinereader.h"
#include "sim/isimbackend.h"

#include <QAbstractSocket>
#include <QByteArray>
#include <QJsonObject>

class QTcpSocket;
class QTimer;

// ISimBackend for Prepar3D and FSX through the separate bridge helper process: one JSON object
// per line over TCP 127.0.0.1:port. The helper greets with "connected" (naming the simulator),
// streams "data" samples and "fuel_config", and takes commands keyed by "cmd".
//
// Created by the backend manager (its parent) on the GUI thread. Retries a refused connection
// every 500 ms, ten times, to cover the helper's start-up; one attempt at a time. Reads the socket
// in bounded chunks and drops a line longer than 256 KiB whole.
//
// Units: the helper sends the SimConnect variables in their SimConnect units; the sample gets the
// units AircraftData documents: vertical speed ft/s -> ft/min, EGT Rankine -> deg C, total weight
// lb -> kg, NAV CDI -127..127 -> dots, parking brake position 0..1 -> percent. Fuel (gallons),
// fuel flow (gal/h), throttles and spoiler (percent) arrive in their record units. A sample whose
// position is off the earth or outside the plausible altitudes is dropped whole; a non-finite
// number keeps the member's value.
//
// fuelConfigChanged(totalCapacityLbs, tankRatios) carries the summed tank capacity in pounds
// (gallons x kFuelConfigPoundsPerGallon) and each tank's share of it. setPaused, setFrozen and
// setWeather go out as the events PAUSE_SET and FREEZE_*_SET and as a "GLOB" METAR observation.
class SimConnectBridgeClient : public ISimBackend
{
    Q_OBJECT
public:
    static constexpr quint16 kDefaultPort = 48448;
    static constexpr int kRetryIntervalMs = 500;
    static constexpr int kMaxRetries = 10;

    explicit SimConnectBridgeClient(quint16 port = kDefaultPort, QObject *parent = nullptr);
    ~SimConnectBridgeClient() override;

    quint16 port() const;

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

    // Simulator named by the helper's greeting ("app").
    static SimType simTypeForApp(const QString &app);

    // Code page for lines that are not valid UTF-8 (the helper may write in the system's 8-bit
    // code page). Default, and what an empty name selects: the system's local code page. Returns
    // false and keeps the current one for a name this Qt build cannot decode.
    bool setFallbackEncoding(const QByteArray &name);

private:
    void onReadyRead();
    void onSocketConnected();
    void onSocketDisconnected();
    void onSocketError(QAbstractSocket::SocketError error);
    void onRetryTimeout();
    void handleLine(const QByteArray &line);
    void parseMessage(const QJsonObject &message);
    // false (and the sample unchanged) when the message's position is impossible.
    bool applySample(const QJsonObject &message);
    void applyFuelConfig(const QJsonObject &message);
    void sendCommand(const QByteArray &line);

    QTcpSocket *m_socket = nullptr;
    QTimer *m_retryTimer = nullptr;
    quint16 m_port = kDefaultPort;
    bool m_connected = false;
    bool m_linkUp = false; // TCP link established; its loss arrives as the socket's disconnected()
    SimType m_simType = SimType::Prepar3D;
    int m_retryCount = 0;
    bool m_rejectionLogged = false;
    BoundedLineReader m_reader;
    QByteArray m_fallbackEncoding; // empty: QStringConverter::System
    AircraftData m_data;
};
