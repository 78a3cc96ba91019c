// The port onto SimConnect.dll, loaded at run time with QLibrary: no SDK header or import library
// is needed to build. The function types below are our own declarations of the documented C API
// (every function is __stdcall, returns an HRESULT and takes the connection handle first; the
// enumerations are 32-bit values). Compiled on Windows only.

#include "sim/simconnect/simconnectplatform.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLibrary>

#include <cstring>

namespace {

using Handle = void *;
using HResult = long;        // 32 bits on Windows
using Dword = unsigned long; // 32 bits on Windows

constexpr HResult kOk = 0;
constexpr HResult kFail = static_cast<HResult>(0x80004005u); // E_FAIL: "nothing queued" for GetNextDispatch
// A dispatch larger than this is not a SimConnect message (facility lists stay far below).
constexpr Dword kMaxDispatchBytes = 16u * 1024u * 1024u;

using OpenFn = HResult(__stdcall *)(Handle *, const char *, void *, Dword, Handle, Dword);
using CloseFn = HResult(__stdcall *)(Handle);
using GetNextDispatchFn = HResult(__stdcall *)(Handle, void **, Dword *);
using GetLastSentPacketIdFn = HResult(__stdcall *)(Handle, Dword *);
using AddToDataDefinitionFn = HResult(__stdcall *)(Handle, Dword, const char *, const char *, Dword, float, Dword);
using ClearDataDefinitionFn = HResult(__stdcall *)(Handle, Dword);
using RequestDataOnSimObjectFn = HResult(__stdcall *)(Handle, Dword, Dword, Dword, Dword, Dword, Dword, Dword, Dword);
using RequestDataOnSimObjectTypeFn = HResult(__stdcall *)(Handle, Dword, Dword, Dword, Dword);
using SetDataOnSimObjectFn = HResult(__stdcall *)(Handle, Dword, Dword, Dword, Dword, Dword, void *);
using MapClientEventFn = HResult(__stdcall *)(Handle, Dword, const char *);
using TransmitClientEventFn = HResult(__stdcall *)(Handle, Dword, Dword, Dword, Dword, Dword);
using SubscribeToSystemEventFn = HResult(__stdcall *)(Handle, Dword, const char *);
using RequestSystemStateFn = HResult(__stdcall *)(Handle, Dword, const char *);
using FlightPlanLoadFn = HResult(__stdcall *)(Handle, const char *);
using WeatherRequestNearestFn = HResult(__stdcall *)(Handle, Dword, float, float);
using WeatherSetModeFn = HResult(__stdcall *)(Handle);
using WeatherSetObservationFn = HResult(__stdcall *)(Handle, Dword, const char *);
using CameraSetRelative6DofFn = HResult(__stdcall *)(Handle, float, float, float, float, float, float);
using AddToFacilityDefinitionFn = HResult(__stdcall *)(Handle, Dword, const char *);
using RequestFacilitiesListFn = HResult(__stdcall *)(Handle, Dword, Dword);
using RequestFacilityDataFn = HResult(__stdcall *)(Handle, Dword, Dword, const char *, const char *);
using RequestFacilityDataEx1Fn = HResult(__stdcall *)(Handle, Dword, Dword, const char *, const char *, char);

struct Functions
{
    OpenFn open = nullptr;
    CloseFn close = nullptr;
    GetNextDispatchFn getNextDispatch = nullptr;
    GetLastSentPacketIdFn getLastSentPacketId = nullptr;
    AddToDataDefinitionFn addToDataDefinition = nullptr;
    ClearDataDefinitionFn clearDataDefinition = nullptr;
    RequestDataOnSimObjectFn requestDataOnSimObject = nullptr;
    RequestDataOnSimObjectTypeFn requestDataOnSimObjectType = nullptr;
    SetDataOnSimObjectFn setDataOnSimObject = nullptr;
    MapClientEventFn mapClientEventToSimEvent = nullptr;
    TransmitClientEventFn transmitClientEvent = nullptr;
    SubscribeToSystemEventFn subscribeToSystemEvent = nullptr;
    RequestSystemStateFn requestSystemState = nullptr;
    FlightPlanLoadFn flightPlanLoad = nullptr;
    WeatherRequestNearestFn weatherRequestObservationAtNearestStation = nullptr;
    WeatherSetModeFn weatherSetModeCustom = nullptr;
    WeatherSetModeFn weatherSetModeGlobal = nullptr;
    WeatherSetObservationFn weatherSetObservation = nullptr;
    CameraSetRelative6DofFn cameraSetRelative6Dof = nullptr;
    AddToFacilityDefinitionFn addToFacilityDefinition = nullptr;
    RequestFacilitiesListFn requestFacilitiesList = nullptr;
    RequestFacilitiesListFn requestAllFacilities = nullptr;
    RequestFacilityDataFn requestFacilityData = nullptr;
    RequestFacilityDataEx1Fn requestFacilityDataEx1 = nullptr;
};

class DllSimConnect : public ISimConnect
{
public:
    DllSimConnect(SimType type, const QString &libraryPath) : m_type(type), m_requestedPath(libraryPath) {}
    ~DllSimConnect() override { close(); }

    bool open(const QString &appName, uint32_t configIndex, QString *error) override
    {
        close();
        if (!load(error))
            return false;
        Handle handle = nullptr;
        const QByteArray name = appName.toLocal8Bit();
        const HResult result = m_fn.open(&handle, name.constData(), nullptr, 0, nullptr, Dword(configIndex));
        if (result != kOk || !handle) {
            if (error)
                *error = QStringLiteral("SimConnect_Open failed (0x%1): is %2 running?")
                             .arg(quint32(result), 8, 16, QLatin1Char('0'))
                             .arg(simTypeName(m_type));
            return false;
        }
        m_handle = handle;
        m_lost = false;
        return true;
    }

    void close() override
    {
        if (m_handle && m_fn.close)
            m_fn.close(m_handle);
        m_handle = nullptr;
    }

    bool isOpen() const override { return m_handle != nullptr; }

    std::optional<simconnect::Message> nextMessage() override
    {
        if (!m_handle)
            return std::nullopt;
        void *data = nullptr;
        Dword size = 0;
        const HResult result = m_fn.getNextDispatch(m_handle, &data, &size);
        if (result != kOk) {
            // E_FAIL only means nothing is queued; any other failure is taken as a broken pipe.
            if (result != kFail)
                m_lost = true;
            return std::nullopt;
        }
        if (!data || size < Dword(simconnect::kRecvHeaderSize) || size > kMaxDispatchBytes)
            return std::nullopt;
        // The library reuses its buffer on the next call: copy the bytes now.
        return simconnect::splitPacket(QByteArray(static_cast<const char *>(data), int(size)));
    }

    bool linkLost() const override { return m_lost; }

    bool supports(Capability capability) const override
    {
        switch (capability) {
        case Capability::Weather:
            return m_fn.weatherSetObservation && m_fn.weatherSetModeCustom && m_fn.weatherSetModeGlobal &&
                   m_fn.weatherRequestObservationAtNearestStation;
        case Capability::Camera6Dof:
            return m_fn.cameraSetRelative6Dof != nullptr;
        case Capability::FlightPlanLoad:
            return m_fn.flightPlanLoad != nullptr;
        case Capability::AiTraffic:
            return m_fn.requestDataOnSimObjectType != nullptr;
        case Capability::EventEx1:
            return false; // not used through this port yet
        case Capability::Facilities:
            return m_fn.addToFacilityDefinition && m_fn.requestFacilitiesList && m_fn.requestFacilityData;
        case Capability::FacilityDataEx1:
            return m_fn.requestFacilityDataEx1 != nullptr;
        case Capability::AllFacilities:
            return m_fn.requestAllFacilities != nullptr;
        }
        return false;
    }

    QString description() const override
    {
        return QStringLiteral("SimConnect library %1").arg(QDir::toNativeSeparators(m_library.fileName()));
    }

    Result addToDataDefinition(uint32_t defineId, const QString &datum, const QString &units, simconnect::DataType type,
                               float epsilon, uint32_t datumId) override
    {
        const QByteArray d = datum.toLatin1();
        const QByteArray u = units.toLatin1();
        return call(m_fn.addToDataDefinition, Dword(defineId), d.constData(), u.isEmpty() ? nullptr : u.constData(),
                    Dword(type), epsilon, Dword(datumId));
    }
    Result clearDataDefinition(uint32_t defineId) override { return call(m_fn.clearDataDefinition, Dword(defineId)); }
    Result requestDataOnSimObject(uint32_t requestId, uint32_t defineId, uint32_t objectId, simconnect::Period period,
                                  uint32_t flags, uint32_t origin, uint32_t interval, uint32_t limit) override
    {
        return call(m_fn.requestDataOnSimObject, Dword(requestId), Dword(defineId), Dword(objectId), Dword(period),
                    Dword(flags), Dword(origin), Dword(interval), Dword(limit));
    }
    Result requestDataOnSimObjectType(uint32_t requestId, uint32_t defineId, uint32_t radiusM,
                                      simconnect::SimObjectType type) override
    {
        return call(m_fn.requestDataOnSimObjectType, Dword(requestId), Dword(defineId), Dword(radiusM), Dword(type));
    }
    Result setDataOnSimObject(uint32_t defineId, uint32_t objectId, const QByteArray &data) override
    {
        QByteArray copy = data; // the API takes a non-const pointer
        return call(m_fn.setDataOnSimObject, Dword(defineId), Dword(objectId), Dword(0), Dword(0), Dword(copy.size()),
                    static_cast<void *>(copy.data()));
    }
    Result mapClientEventToSimEvent(uint32_t eventId, const QString &name) override
    {
        const QByteArray n = name.toLatin1();
        return call(m_fn.mapClientEventToSimEvent, Dword(eventId), n.constData());
    }
    Result transmitClientEvent(uint32_t objectId, uint32_t eventId, uint32_t data, uint32_t groupOrPriority,
                               uint32_t flags) override
    {
        return call(m_fn.transmitClientEvent, Dword(objectId), Dword(eventId), Dword(data), Dword(groupOrPriority),
                    Dword(flags));
    }
    Result subscribeToSystemEvent(uint32_t eventId, const QString &name) override
    {
        const QByteArray n = name.toLatin1();
        return call(m_fn.subscribeToSystemEvent, Dword(eventId), n.constData());
    }
    Result requestSystemState(uint32_t requestId, const QString &state) override
    {
        const QByteArray s = state.toLatin1();
        return call(m_fn.requestSystemState, Dword(requestId), s.constData());
    }
    Result flightPlanLoad(const QString &path) override
    {
        // The library takes paths in the system's ANSI code page.
        const QByteArray p = QDir::toNativeSeparators(path).toLocal8Bit();
        return call(m_fn.flightPlanLoad, p.constData());
    }
    Result weatherRequestObservationAtNearestStation(uint32_t requestId, float lat, float lon) override
    {
        return call(m_fn.weatherRequestObservationAtNearestStation, Dword(requestId), lat, lon);
    }
    Result weatherSetModeCustom() override { return call(m_fn.weatherSetModeCustom); }
    Result weatherSetModeGlobal() override { return call(m_fn.weatherSetModeGlobal); }
    Result weatherSetObservation(uint32_t seconds, const QString &metar) override
    {
        const QByteArray m = metar.toLatin1().left(simconnect::kMaxMetarLength - 1);
        return call(m_fn.weatherSetObservation, Dword(seconds), m.constData());
    }
    Result cameraSetRelative6Dof(float dx, float dy, float dz, float pitchDeg, float bankDeg, float headingDeg) override
    {
        return call(m_fn.cameraSetRelative6Dof, dx, dy, dz, pitchDeg, bankDeg, headingDeg);
    }
    Result addToFacilityDefinition(uint32_t defineId, const QString &field) override
    {
        const QByteArray f = field.toLatin1();
        return call(m_fn.addToFacilityDefinition, Dword(defineId), f.constData());
    }
    Result requestFacilitiesList(simconnect::FacilityListType type, uint32_t requestId) override
    {
        return call(m_fn.requestFacilitiesList, Dword(type), Dword(requestId));
    }
    Result requestAllFacilities(simconnect::FacilityListType type, uint32_t requestId) override
    {
        return call(m_fn.requestAllFacilities, Dword(type), Dword(requestId));
    }
    Result requestFacilityData(uint32_t defineId, uint32_t requestId, const QString &icao, const QString &region,
                               char type) override
    {
        const QByteArray i = icao.toLatin1();
        const QByteArray r = region.toLatin1();
        if (type != 0)
            return call(m_fn.requestFacilityDataEx1, Dword(defineId), Dword(requestId), i.constData(), r.constData(),
                        type);
        return call(m_fn.requestFacilityData, Dword(defineId), Dword(requestId), i.constData(), r.constData());
    }

private:
    // Calls fn when it was resolved and the link is open, then asks for the call's send id.
    template <typename Fn, typename... Args> Result call(Fn fn, Args... args)
    {
        if (!fn || !m_handle)
            return {};
        const HResult result = fn(m_handle, args...);
        if (result != kOk)
            return {};
        Dword sendId = 0;
        if (m_fn.getLastSentPacketId)
            m_fn.getLastSentPacketId(m_handle, &sendId);
        return {true, uint32_t(sendId)};
    }

    template <typename Fn> void resolve(Fn &target, const char *name)
    {
        target = reinterpret_cast<Fn>(m_library.resolve(name));
    }

    QString libraryToLoad() const
    {
        if (!m_requestedPath.isEmpty())
            return m_requestedPath;
        const QString beside = QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("SimConnect.dll"));
        if (QFileInfo::exists(beside))
            return beside;
        return QStringLiteral("SimConnect"); // the system's search order
    }

    bool load(QString *error)
    {
        if (m_library.isLoaded())
            return true;
        m_library.setFileName(libraryToLoad());
        if (!m_library.load()) {
            if (error)
                *error = QStringLiteral("SimConnect library could not be loaded: %1").arg(m_library.errorString());
            return false;
        }
        resolve(m_fn.open, "SimConnect_Open");
        resolve(m_fn.close, "SimConnect_Close");
        resolve(m_fn.getNextDispatch, "SimConnect_GetNextDispatch");
        resolve(m_fn.getLastSentPacketId, "SimConnect_GetLastSentPacketID");
        resolve(m_fn.addToDataDefinition, "SimConnect_AddToDataDefinition");
        resolve(m_fn.clearDataDefinition, "SimConnect_ClearDataDefinition");
        resolve(m_fn.requestDataOnSimObject, "SimConnect_RequestDataOnSimObject");
        resolve(m_fn.requestDataOnSimObjectType, "SimConnect_RequestDataOnSimObjectType");
        resolve(m_fn.setDataOnSimObject, "SimConnect_SetDataOnSimObject");
        resolve(m_fn.mapClientEventToSimEvent, "SimConnect_MapClientEventToSimEvent");
        resolve(m_fn.transmitClientEvent, "SimConnect_TransmitClientEvent");
        resolve(m_fn.subscribeToSystemEvent, "SimConnect_SubscribeToSystemEvent");
        resolve(m_fn.requestSystemState, "SimConnect_RequestSystemState");
        resolve(m_fn.flightPlanLoad, "SimConnect_FlightPlanLoad");
        resolve(m_fn.weatherRequestObservationAtNearestStation, "SimConnect_WeatherRequestObservationAtNearestStation");
        resolve(m_fn.weatherSetModeCustom, "SimConnect_WeatherSetModeCustom");
        resolve(m_fn.weatherSetModeGlobal, "SimConnect_WeatherSetModeGlobal");
        resolve(m_fn.weatherSetObservation, "SimConnect_WeatherSetObservation");
        resolve(m_fn.cameraSetRelative6Dof, "SimConnect_CameraSetRelative6DOF");
        resolve(m_fn.addToFacilityDefinition, "SimConnect_AddToFacilityDefinition");
        resolve(m_fn.requestFacilitiesList, "SimConnect_RequestFacilitiesList");
        resolve(m_fn.requestAllFacilities, "SimConnect_RequestAllFacilities");
        resolve(m_fn.requestFacilityData, "SimConnect_RequestFacilityData");
        resolve(m_fn.requestFacilityDataEx1, "SimConnect_RequestFacilityData_EX1");

        // Without these the link cannot work at all; the others become missing capabilities.
        const bool required = m_fn.open && m_fn.close && m_fn.getNextDispatch && m_fn.getLastSentPacketId &&
                              m_fn.addToDataDefinition && m_fn.requestDataOnSimObject && m_fn.setDataOnSimObject &&
                              m_fn.mapClientEventToSimEvent && m_fn.transmitClientEvent &&
                              m_fn.subscribeToSystemEvent && m_fn.requestSystemState;
        if (!required) {
            if (error)
                *error = QStringLiteral("%1 lacks the basic SimConnect functions").arg(m_library.fileName());
            m_library.unload();
            m_fn = Functions();
            return false;
        }
        return true;
    }

    SimType m_type;
    QString m_requestedPath;
    QLibrary m_library;
    Functions m_fn;
    Handle m_handle = nullptr;
    bool m_lost = false;
};

} // namespace

std::unique_ptr<ISimConnect> createSystemSimConnect(SimType type, const QString &libraryPath)
{
    return std::make_unique<DllSimConnect>(type, libraryPath);
}
