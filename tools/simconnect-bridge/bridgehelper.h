#pragma once

#include "sim/boundedlinereader.h"
#include "sim/simconnect/isimconnect.h"
#include "sim/simtype.h"

#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>
#include <memory>

class QTcpServer;
class QTcpSocket;
class QTimer;
class SimConnectSession;

// The simconnect-bridge helper: a SimConnect session on one side and the station's bridge client
// on the other, over one JSON object per line on TCP 127.0.0.1:port. It greets a station with
// {"type":"connected","app":…} once the simulator answers (at once when a station arrives while
// it does), streams "data" lines with the aircraft-state variables in SimConnect units and
// "fuel_config" lines with the tank layout, says {"type":"disconnected"} when the simulator goes
// (keeping the station's link open) and opens SimConnect again every few seconds; it carries out
// the station's "set", "event", "position", "camera", "weather", "req_weather" and "load_plan"
// commands. One station at a time: a new connection replaces the old one.
//
// It exits when no station has been connected for idleExitMs: after the station closes (normally
// because the station quit) or when none ever connects after start.
class BridgeHelper : public QObject
{
    Q_OBJECT
public:
    using PortFactory = std::function<std::unique_ptr<ISimConnect>()>;

    struct Options
    {
        quint16 port = 48448;
        SimType kind = SimType::Prepar3D;
        int reopenIntervalMs = 5000;
        int idleExitMs = 15000;
    };

    BridgeHelper(const Options &options, PortFactory portFactory, QObject *parent = nullptr);
    ~BridgeHelper() override;

    // Starts listening and opening SimConnect; false (with the reason logged) when the port is
    // taken.
    bool start();
    quint16 listeningPort() const;

signals:
    // No station for idleExitMs: the program should end.
    void idle();

private:
    void onNewConnection();
    void onStationReadyRead();
    void onStationGone();
    void openSimulator();
    void onOpened();
    void onClosed(const QString &reason);
    void handleCommand(const QJsonObject &command);
    void send(const QJsonObject &message);
    void sendGreeting();

    Options m_options;
    PortFactory m_portFactory;
    QTcpServer *m_server = nullptr;
    QPointer<QTcpSocket> m_station;
    BoundedLineReader m_reader;
    SimConnectSession *m_session = nullptr;
    QTimer *m_reopenTimer = nullptr;
    QTimer *m_idleTimer = nullptr;
    QJsonObject m_fuelConfig;
};
