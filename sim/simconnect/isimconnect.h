#pragma once

#include "sim/simconnect/simconnectprotocol.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <optional>

// The station's own narrow port onto a SimConnect client: the handful of calls it makes, each
// returning whether the call was accepted and its send id, and a non-blocking pull of the next
// received message as bytes. Two implementations: one that loads the simulator's client library at
// run time (Windows), and a fake simulator for tests and the demo (every platform). Decoding the
// messages is not the port's business: the shared decoders in simconnectprotocol.h do it.
//
// Successful calls are not acknowledged by a simulator; a failing one is answered later by an
// EXCEPTION message carrying the call's send id. Keep the send id to say what failed.
//
// One thread owns a port: every call and the pull happen on the thread that opened it.
class ISimConnect
{
public:
    struct Result
    {
        bool ok = false;
        uint32_t sendId = 0;
    };

    // Calls not every simulator or library generation offers; a port without one answers its
    // call with ok = false and nothing is sent.
    enum class Capability {
        Weather,         // WeatherSetObservation and friends
        Camera6Dof,      // CameraSetRelative6DOF
        FlightPlanLoad,  // FlightPlanLoad
        AiTraffic,       // RequestDataOnSimObjectType
        EventEx1,        // TransmitClientEvent_EX1 (MSFS)
        Facilities,      // AddToFacilityDefinition, RequestFacilitiesList, RequestFacilityData
        FacilityDataEx1, // RequestFacilityData_EX1
        AllFacilities,   // RequestAllFacilities (MSFS 2024)
    };

    virtual ~ISimConnect() = default;

    // Opens the connection; success is confirmed later by an OPEN message. False with a reason
    // when the library is missing, the simulator is not running or the platform has no SimConnect.
    virtual bool open(const QString &appName, uint32_t configIndex, QString *error) = 0;
    virtual void close() = 0;
    virtual bool isOpen() const = 0;
    // The next queued message, or nothing when none is waiting.
    virtual std::optional<simconnect::Message> nextMessage() = 0;
    // True once the link is known to be gone without a QUIT (the pipe broke); the owner closes.
    virtual bool linkLost() const = 0;
    virtual bool supports(Capability capability) const = 0;
    // What this port talks to, for logs ("SimConnect.dll at C:\…", "fake MSFS 2020").
    virtual QString description() const = 0;

    virtual Result addToDataDefinition(uint32_t defineId, const QString &datum, const QString &units,
                                       simconnect::DataType type, float epsilon, uint32_t datumId) = 0;
    virtual Result clearDataDefinition(uint32_t defineId) = 0;
    virtual Result requestDataOnSimObject(uint32_t requestId, uint32_t defineId, uint32_t objectId,
                                          simconnect::Period period, uint32_t flags, uint32_t origin, uint32_t interval,
                                          uint32_t limit) = 0;
    virtual Result requestDataOnSimObjectType(uint32_t requestId, uint32_t defineId, uint32_t radiusM,
                                              simconnect::SimObjectType type) = 0;
    // data holds one object's datums packed in definition order.
    virtual Result setDataOnSimObject(uint32_t defineId, uint32_t objectId, const QByteArray &data) = 0;
    virtual Result mapClientEventToSimEvent(uint32_t eventId, const QString &name) = 0;
    virtual Result transmitClientEvent(uint32_t objectId, uint32_t eventId, uint32_t data, uint32_t groupOrPriority,
                                       uint32_t flags) = 0;
    virtual Result subscribeToSystemEvent(uint32_t eventId, const QString &name) = 0;
    virtual Result requestSystemState(uint32_t requestId, const QString &state) = 0;
    virtual Result flightPlanLoad(const QString &path) = 0;
    virtual Result weatherRequestObservationAtNearestStation(uint32_t requestId, float lat, float lon) = 0;
    virtual Result weatherSetModeCustom() = 0;
    virtual Result weatherSetModeGlobal() = 0;
    virtual Result weatherSetObservation(uint32_t seconds, const QString &metar) = 0;
    virtual Result cameraSetRelative6Dof(float dx, float dy, float dz, float pitchDeg, float bankDeg,
                                         float headingDeg) = 0;
    virtual Result addToFacilityDefinition(uint32_t defineId, const QString &field) = 0;
    virtual Result requestFacilitiesList(simconnect::FacilityListType type, uint32_t requestId) = 0;
    virtual Result requestAllFacilities(simconnect::FacilityListType type, uint32_t requestId) = 0;
    // type 0 asks without a kind; 'V', 'N', 'W' pick a VOR, NDB or waypoint sharing ident and region.
    virtual Result requestFacilityData(uint32_t defineId, uint32_t requestId, const QString &icao,
                                       const QString &region, char type) = 0;
};
