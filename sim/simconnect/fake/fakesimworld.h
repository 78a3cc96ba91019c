#pragma once

#include "sim/simconnect/isimconnect.h"
#include "sim/simconnect/simconnectdatadefinition.h"
#include "sim/simconnect/simconnectprotocol.h"
#include "sim/simtype.h"

#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>

#include <memory>
#include <optional>

class FakeFacilityWorld;
class FakeSimConnect;

// A small simulator behind the fake SimConnect ports: one user aircraft flying a circle near
// Shanghai Pudong (or parked, or pushed back, wherever a client put it), a few traffic aircraft,
// the key events and variables an instructor station uses, weather observations where the
// simulator kind has them, and flight-plan loading. Each FakeSimConnect opened on
// it is one client connection; the world outlives them, as a running simulator outlives the
// clients that come and go.
//
// It plays one simulator kind (MSFS 2020/2024, Prepar3D, FSX): the application name and versions
// of its OPEN answer, the ident width of its lists, which events it knows (the _HZ radio events and
// TUG_HEADING on MSFS, KEY_TUG_HEADING elsewhere) and whether weather observations do anything.
//
// Time is the wall clock unless a test takes it over (useManualClock, advance). The world moves on
// lazily, when a connection is asked for its next message. Lives on one thread, with its
// connections.
class FakeSimWorld : public QObject
{
    Q_OBJECT
public:
    // Something a client did, in the order it happened: function is the SimConnect call
    // ("TransmitClientEvent", "SetDataOnSimObject", "WeatherSetObservation", "FlightPlanLoad",
    // "CameraSetRelative6DOF", …), subject the event, variable, METAR or path, value and units a
    // written value as sent, data an event's data word (for "RequestFacilityData": subject the
    // ident, units the region, data the type letter or 0).
    struct Entry
    {
        QString function;
        QString subject;
        double value = 0;
        QString units;
        quint32 data = 0;
    };

    explicit FakeSimWorld(SimType kind, QObject *parent = nullptr);
    ~FakeSimWorld() override;

    SimType kind() const { return m_kind; }
    uint32_t protocolVersion() const;
    simconnect::Layout layout() const;
    simconnect::OpenInfo openInfo() const;

    // Failure knobs. A world that is not running refuses to open, as a simulator that is not
    // started; quit() sends QUIT to every client and stops running; crash() breaks every link
    // without a word; setSilent(true) keeps links open but answers nothing, as a hung simulator.
    void setRunning(bool running) { m_running = running; }
    bool isRunning() const { return m_running; }
    void quit();
    void crash();
    void setSilent(bool silent) { m_silent = silent; }
    bool isSilent() const { return m_silent; }
    // The next call of that SimConnect function (e.g. "SetDataOnSimObject") is answered with an
    // EXCEPTION of code, once.
    void failNext(const QString &function, simconnect::ExceptionCode code);
    std::optional<simconnect::ExceptionCode> takeFailure(const QString &function);
    // Calls this simulator kind offers; a test may take one away.
    bool supports(ISimConnect::Capability capability) const;
    void setCapability(ISimConnect::Capability capability, bool available);

    void useManualClock(bool manual);
    void advance(int ms);
    qint64 nowMs() const;
    // Brings the simulation up to now.
    void simulate();

    // The state, in any unit of the variable's dimension. Unknown names read as nothing.
    std::optional<double> value(const QString &name, const QString &units) const;
    bool setValue(const QString &name, double value, const QString &units);
    QString text(const QString &name) const;
    bool isPaused() const { return m_paused; }
    bool isPushbackActive() const { return m_pushback; }
    // Toggle events (failures and switches) currently toggled on.
    QSet<QString> toggledOn() const { return m_toggled; }
    bool isFuelFrozen() const { return m_fuelFrozen; }
    double tugHeadingDeg() const { return m_tugHeading; }
    QString loadedFlightPlan() const { return m_flightPlan; }
    simconnect::InitPosition lastInitPosition() const { return m_lastInitPosition; }
    QList<double> lastCamera() const { return m_camera; }
    int trafficCount() const { return int(m_traffic.size()); }

    const QList<Entry> &journal() const { return m_journal; }
    QList<Entry> journalOf(const QString &function) const;
    void clearJournal() { m_journal.clear(); }

    // --- used by the connections ---
    void attach(FakeSimConnect *connection);
    void detach(FakeSimConnect *connection);
    void record(const Entry &entry);
    bool knowsEvent(const QString &name) const;
    // Applies a key event; false when the world does not know it.
    bool applyEvent(const QString &name, quint32 data);
    // Writes a datum as a client sent it. Nothing happens, and false comes back, for a variable
    // that cannot be written.
    bool writeDatum(const simconnect::Datum &datum, const simconnect::DatumValue &value);
    // The value of a datum for a data message, or nothing when the world cannot read it.
    std::optional<simconnect::DatumValue> readDatum(const simconnect::Datum &datum) const;
    // Traffic objects for a by-type request: the user aircraft (object id 1) and the others.
    QList<QList<simconnect::DatumValue>> objectsFor(const simconnect::DataDefinition &definition,
                                                    QList<uint32_t> *objectIds) const;
    // Applies a METAR observation (FSX and Prepar3D); false when it does not read as one.
    bool applyMetar(const QString &metar);
    QString currentMetar() const;
    void loadFlightPlan(const QString &path) { m_flightPlan = path; }
    void setCamera(const QList<double> &camera) { m_camera = camera; }

    // The navigation world behind the facility interface, made on first use (a few hundred
    // airports); a test may put a different one in place.
    FakeFacilityWorld &facilities();
    void setFacilities(std::unique_ptr<FakeFacilityWorld> facilities);

    static constexpr uint32_t kUserObjectId = 1;

private:
    struct Traffic
    {
        double lat;
        double lon;
        double altFt;
        double headingDeg;
        double speedKt;
        QString atcId;
        QString model;
        QString airline;
        QString flight;
    };

    void step(double seconds);
    void fly(double seconds);
    void push(double seconds);
    void burnFuel(double seconds);
    void deriveTotals();
    void setPause(bool paused);
    double get(const char *name) const;
    void put(const char *name, double value);
    void applyRadio(const QString &name, quint32 data);

    SimType m_kind;
    bool m_running = true;
    bool m_silent = false;
    bool m_manualClock = false;
    qint64 m_manualMs = 0;
    QElapsedTimer m_clock;
    qint64 m_simulatedMs = 0;
    QHash<QString, double> m_values; // canonical name -> value in the catalogue unit
    QHash<QString, QString> m_texts;
    bool m_paused = false;
    bool m_freezePosition = false;
    bool m_freezeAltitude = false;
    bool m_freezeAttitude = false;
    bool m_slew = false;
    bool m_onGround = false;
    bool m_pushback = false;
    bool m_fuelFrozen = false;
    double m_tugHeading = -1;
    double m_turnRateDegS = -3.0; // left turns around the circle
    QSet<QString> m_toggled;
    QString m_flightPlan;
    simconnect::InitPosition m_lastInitPosition;
    QList<double> m_camera;
    QList<Traffic> m_traffic;
    QHash<QString, simconnect::ExceptionCode> m_failNext;
    QHash<int, bool> m_capabilityOverrides;
    QList<Entry> m_journal;
    QList<FakeSimConnect *> m_connections;
    std::unique_ptr<FakeFacilityWorld> m_facilities;
};
