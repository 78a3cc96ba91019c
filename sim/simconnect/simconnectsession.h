#pragma once

#include "sim/aircraftdata.h"
#include "sim/simconnect/isimconnect.h"
#include "sim/simconnect/simconnectdatadefinition.h"
#include "sim/simconnect/simvartable.h"
#include "sim/simtype.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QQueue>
#include <QSet>
#include <QString>

#include <memory>

class QTimer;

// Receives what a SimConnect session gets for the facility requests someone else made through its
// port (the MSFS 2024 navigation importer): the facility messages and the exceptions whose send
// id that party claimed with SimConnectSession::claimSendId.
class ISimConnectFacilityListener
{
public:
    virtual ~ISimConnectFacilityListener() = default;
    virtual void facilityMessage(const simconnect::Message &message) = 0;
    virtual void facilityException(const simconnect::ExceptionInfo &exception) = 0;
};

// One SimConnect conversation with a simulator, shared by the in-process backend (MSFS) and the
// bridge helper (Prepar3D, FSX): opens the port, registers the aircraft-state definitions of
// simvars::rows() and the tank layout, requests them periodically, pumps and decodes the messages,
// keeps the latest sample, and turns the station's writes into definitions, set-data calls and
// events (each variable or event registered once and cached). Every call's send id is kept with
// what it was for, so an EXCEPTION names the variable, event, file or request that failed.
//
// A QUIT, a broken pipe, or silence for longer than the probe timeout (the session asks for the
// "Sim" system state every probe interval, so a live simulator always answers) ends the session
// with closed(); the owner reconnects with a new session.
//
// Lives on the thread that created it (the GUI thread in the station); the pump is a timer there.
// Owns its port. Units: the sample holds SimConnect units (see simvars); setPosition takes feet.
class SimConnectSession : public QObject
{
    Q_OBJECT
public:
    struct Timings
    {
        int pumpIntervalMs = 15;
        int openTimeoutMs = 10000;
        int probeIntervalMs = 5000;
        int probeTimeoutMs = 15000;
        int trafficIntervalMs = 5000;
    };

    SimConnectSession(SimType type, std::unique_ptr<ISimConnect> port, QObject *parent = nullptr);
    ~SimConnectSession() override;

    void setTimings(const Timings &timings) { m_timings = timings; }
    // Opens the port; opened() follows once the simulator answers, failed() if it does not.
    bool start(const QString &appName);
    // Closes the port without any signal.
    void stop();
    bool isOpen() const { return m_open; }
    SimType simType() const { return m_type; }
    const simconnect::OpenInfo &openInfo() const { return m_openInfo; }
    simconnect::Layout layout() const { return m_layout; }
    ISimConnect *port() const { return m_port.get(); }
    const simvars::Sample &sample() const { return m_sample; }
    bool hasPosition() const { return m_sample.hasGroup(1); }
    bool isPaused() const { return m_paused; }

    // Writes a simulation variable in the given units. Names no SimConnect simulator has (X-Plane
    // failure keys and dataref paths) and variables the simulator refused are not sent; the first
    // attempt logs why. "AUTOPILOT_HEADING_LOCK_DIR" goes out as the HEADING_BUG_SET event.
    void setVariable(const QString &name, double value, const QString &units);
    bool canSetVariable(const QString &name) const;
    // Fires a key event. Radio events are sent in the form the simulator takes: the _HZ events
    // (whole hertz) on MSFS, the BCD16 events elsewhere, whichever form the caller used.
    void sendEvent(const QString &name, quint32 data);
    // Puts the user aircraft there (INITPOSITION; altitude in feet).
    void setPosition(const simconnect::InitPosition &position);
    bool setPaused(bool paused);
    bool setFrozen(bool position, bool attitude);
    // False, with a log line, where the simulator has no working weather injection (MSFS).
    bool setWeatherObservation(const QString &metar);
    bool requestWeatherObservation(double lat, double lon);
    bool loadFlightPlan(const QString &path);
    bool setCamera(float dx, float dy, float dz, float pitch, float bank, float heading);
    // Reads one variable once; valueReceived(callerId, value) follows (0.0 when it failed).
    void requestVariableOnce(const QString &name, const QString &units, int callerId);
    bool weatherAvailable() const;

    // For the facility importer: messages of the facility kinds go to listener, and so do the
    // exceptions of send ids it claimed. Null to stop.
    void setFacilityListener(ISimConnectFacilityListener *listener);
    void claimSendId(uint32_t sendId);
    // A claimed call that was answered without an exception: no exception will come for it.
    void releaseSendId(uint32_t sendId);

signals:
    void opened();
    // Could not open, or the simulator never answered.
    void failed(const QString &reason);
    // An open session ended (QUIT, lost link, silence).
    void closed(const QString &reason);
    // After a pump cycle in which aircraft-state groups arrived; sample() holds them.
    void sampleUpdated();
    void tankLayoutChanged(const simvars::TankLayout &layout);
    void tankQuantitiesUpdated(const simvars::TankLayout &layout);
    // A subscribed system event ("Sim", "Pause", "FlightLoaded", "AircraftLoaded") with its client
    // event id and data (for "Pause": 1 paused, 0 running).
    void systemEvent(const QString &name, quint32 eventId, quint32 data);
    void trafficUpdated(const QList<AiAircraft> &aircraft);
    void valueReceived(int callerId, double value);
    void weatherObservationReceived(const QString &metar);

private:
    enum class Intent {
        Definition,
        Request,
        SetData,
        MapEvent,
        TransmitEvent,
        SystemEvent,
        FlightPlan,
        Weather,
        Camera,
        OneShot,
        Probe,
    };
    struct SentCall
    {
        Intent intent;
        QString subject;
        int callerId = 0;
    };

    void onPump();
    void onOpenTimeout();
    void onProbe();
    void onTrafficTick();
    void finish(const QString &reason, bool wasOpen);
    void handle(const simconnect::Message &message);
    void handleOpen(const simconnect::Message &message);
    void handleException(const simconnect::Message &message);
    void handleData(const simconnect::Message &message, bool byType);
    void handleEvent(const simconnect::Message &message);
    void registerDefinitions();
    void remember(const ISimConnect::Result &result, Intent intent, const QString &subject, int callerId = 0);
    uint32_t writeDefinition(const QString &name, const QString &units);
    uint32_t clientEvent(const QString &name);
    void transmit(uint32_t eventId, quint32 data, const QString &name);
    void logOnce(const QString &key, const QString &message);
    QString simName() const;

    SimType m_type;
    std::unique_ptr<ISimConnect> m_port;
    Timings m_timings;
    QTimer *m_pump = nullptr;
    QTimer *m_openTimer = nullptr;
    QTimer *m_probeTimer = nullptr;
    QTimer *m_trafficTimer = nullptr;
    qint64 m_lastMessageMs = 0;
    bool m_open = false;
    bool m_started = false;
    bool m_paused = false;
    simconnect::OpenInfo m_openInfo;
    simconnect::Layout m_layout = simconnect::Layout::Classic;
    simvars::Sample m_sample;
    std::optional<simvars::TankLayout> m_tanks;
    uint32_t m_userObjectId = 1;
    QList<AiAircraft> m_traffic;

    QHash<uint32_t, SentCall> m_sent; // send id -> what it was for, bounded by m_sentOrder
    QQueue<uint32_t> m_sentOrder;
    QHash<QString, uint32_t> m_writeDefinitions; // "name|units" -> define id
    uint32_t m_nextWriteDefinition = 0;
    QHash<QString, uint32_t> m_events; // event name -> client event id
    uint32_t m_nextEvent = 0;
    QSet<QString> m_refusedVariables;
    QSet<QString> m_refusedEvents;
    QHash<QString, QString> m_eventAliases; // event name -> the name used instead
    QHash<uint32_t, int> m_oneShots;        // define id (= request id) -> caller id
    uint32_t m_nextOneShot = 0;
    QSet<QString> m_logged;
    ISimConnectFacilityListener *m_facilityListener = nullptr;
    QSet<uint32_t> m_claimedSendIds;
};
