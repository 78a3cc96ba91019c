#pragma once

#include "sim/aircraftdata.h"
#include "sim/simconnect/isimconnect.h"
#include "sim/simtype.h"

#include <QList>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>
#include <memory>

class ISimBackend;
class QProcess;
class QTimer;
class SimDetector;

// Owns the one live simulator backend, picks its class from the SimType, starts the bridge
// helper process when a bridge simulator is chosen, relays the backend's samples and failures,
// reconnects after a loss and auto-connects to whatever simulator is running. While a backend is
// still trying to connect, neither a detection tick nor the reconnect timer starts a second
// attempt for the same simulator.
//
// Created by the main window (its parent) on the GUI thread. Reads its settings from the INI
// file whose path it is given, so tests point it at a temporary file.
class SimBackendManager : public QObject
{
    Q_OBJECT
public:
    // Settings keys and defaults.
    static constexpr const char *kAutoConnectKey = "autoConnect";
    static constexpr const char *kLastSimTypeKey = "lastSimType";
    static constexpr const char *kXPlaneHostKey = "xplaneHost";
    static constexpr const char *kXPlanePortKey = "xplanePort";
    static constexpr const char *kXPlaneLocalPortKey = "xplaneLocalPort";
    static constexpr const char *kXPlanePathKey = "xplanePath";
    static constexpr const char *kBridgePortKey = "bridgePort";
    // Path of the SimConnect client library for the in-process MSFS link; empty: SimConnect.dll
    // beside the executable, else the system's search.
    static constexpr const char *kSimConnectLibraryKey = "simConnectDll";
    static constexpr quint16 kDefaultBridgePort = 48448;
    static constexpr const char *kDefaultXPlaneHost = "127.0.0.1";
    static constexpr quint16 kDefaultXPlanePort = 49000;

    // Intervals of the connection cycle, in milliseconds. Tests shorten them.
    struct Timings
    {
        int autoConnectDelayMs = 2000;
        int detectIntervalMs = 5000;
        int reconnectIntervalMs = 5000;
    };

    // processList replaces the operating system's process list (tests); helperDir is the folder
    // searched for the bridge helper (default: the application's folder).
    explicit SimBackendManager(const QString &settingsPath, QObject *parent = nullptr);
    SimBackendManager(const QString &settingsPath, const Timings &timings, std::function<QString()> processList,
                      const QString &helperDir, QObject *parent = nullptr);
    ~SimBackendManager() override;

    // Replaces any current backend with one for type and connects it; None means lastSimType.
    void connectTo(SimType type);
    void disconnect();
    bool isConnected() const;
    SimType currentSimType() const;
    ISimBackend *backend() const;
    // The backend's latest sample, or an all-zero record without a backend.
    AircraftData aircraftData() const;
    SimDetector *detector() const;

    // Starts the bridge helper unless it is already running or missing from the helper folder.
    void launchBridgeIfNeeded(quint16 port);
    // Arguments the helper is started with for port: none for the default port.
    static QStringList bridgeHelperArguments(quint16 port);

    // Where the in-process SimConnect link (MSFS 2020/2024) gets its port. The default opens the
    // simulator's client library (createSystemSimConnect); the demo and the tests hand out fakes.
    using SimConnectPortFactory = std::function<std::unique_ptr<ISimConnect>(SimType)>;
    void setSimConnectPortFactory(SimConnectPortFactory factory);
    // Arguments added after bridgeHelperArguments() when the helper is started for a simulator.
    void setBridgeHelperExtraArguments(std::function<QStringList(SimType)> arguments);

public slots:
    void onSimulatorsChanged(const QList<SimType> &simulators);

signals:
    // The new backend right after creation, or null when the backend was lost.
    void backendChanged(ISimBackend *backend);
    void aircraftDataChanged(const AircraftData &data);
    void connectionFailed(const QString &reason);

private:
    void onAutoConnect();
    void onBackendConnected();
    void onBackendDisconnected();
    void onReconnectTick();
    ISimBackend *createBackend(SimType type);
    // A backend was created and has not yet reported connected or disconnected.
    bool attemptInFlight() const;

    QString m_settingsPath;
    Timings m_timings;
    QString m_helperDir;
    ISimBackend *m_backend = nullptr;
    SimType m_simType = SimType::None;
    SimDetector *m_detector = nullptr;
    QProcess *m_helper = nullptr;
    QTimer *m_reconnectTimer = nullptr;
    SimConnectPortFactory m_portFactory;
    std::function<QStringList(SimType)> m_helperExtraArguments;
    bool m_attempting = false;
    qint64 m_attemptStartedMs = 0;
};
