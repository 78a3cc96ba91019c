#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <cstdint>
#include <limits>
#include <optional>

// The SimConnect wire facts the station needs: numeric ids, constants, and little-endian decoders
// for the messages a simulator sends (each with its mirror encoder, which the fake simulator uses
// to build them). The decoders are the only code that reads simulator bytes, for the run-time
// loaded library and for the fake alike, so tests of the fake exercise the real decoding path.
//
// All structures on the wire are packed with 1-byte alignment; fixed strings are NUL-padded.
// Decoders never read past the bytes they are given: a short or inconsistent message decodes to
// nothing.
namespace simconnect {

enum class RecvId : uint32_t {
    Null = 0,
    Exception = 1,
    Open = 2,
    Quit = 3,
    Event = 4,
    EventObjectAddRemove = 5,
    EventFilename = 6,
    EventFrame = 7,
    SimObjectData = 8,
    SimObjectDataByType = 9,
    WeatherObservation = 10,
    CloudState = 11,
    AssignedObjectId = 12,
    ReservedKey = 13,
    CustomAction = 14,
    SystemState = 15,
    ClientData = 16,
    EventWeatherMode = 17,
    AirportList = 18,
    VorList = 19,
    NdbList = 20,
    WaypointList = 21,
    EventEx1 = 27,
    FacilityData = 28,
    FacilityDataEnd = 29,
    FacilityMinimalList = 30,
};

enum class DataType : uint32_t {
    Invalid = 0,
    Int32 = 1,
    Int64 = 2,
    Float32 = 3,
    Float64 = 4,
    String8 = 5,
    String32 = 6,
    String64 = 7,
    String128 = 8,
    String256 = 9,
    String260 = 10,
    StringV = 11,
    InitPosition = 12,
    MarkerState = 13,
    Waypoint = 14,
    LatLonAlt = 15,
    Xyz = 16,
};

enum class Period : uint32_t {
    Never = 0,
    Once = 1,
    VisualFrame = 2,
    SimFrame = 3,
    Second = 4,
};

enum class SimObjectType : uint32_t {
    User = 0,
    All = 1,
    Aircraft = 2,
    Helicopter = 3,
    Boat = 4,
    Ground = 5,
};

enum class FacilityListType : uint32_t {
    Airport = 0,
    Waypoint = 1,
    Ndb = 2,
    Vor = 3,
};

// The exception codes the station reacts to; the others are reported by number.
enum class ExceptionCode : uint32_t {
    None = 0,
    Error = 1,
    SizeMismatch = 2,
    UnrecognizedId = 3,
    Unopened = 4,
    VersionMismatch = 5,
    NameUnrecognized = 7,
    WeatherInvalidMetar = 14,
    WeatherUnableToGetObservation = 15,
    InvalidDataType = 18,
    InvalidDataSize = 19,
    DataError = 20,
    LoadFlightPlanFailed = 23,
    DuplicateId = 29,
};

constexpr uint32_t kUnused = 0xFFFFFFFFu;
constexpr uint32_t kObjectIdUser = 0;
constexpr uint32_t kOpenConfigIndexLocal = 0xFFFFFFFFu;
constexpr int kRecvHeaderSize = 12;
constexpr int kMaxMetarLength = 2000;
constexpr int kAppNameLength = 256;
constexpr int kPathLength = 260;
constexpr float kCameraIgnoreField = std::numeric_limits<float>::max();

// Request flags of RequestDataOnSimObject.
constexpr uint32_t kDataRequestFlagChanged = 1;
constexpr uint32_t kDataRequestFlagTagged = 2;
// TransmitClientEvent: the group argument is a priority.
constexpr uint32_t kEventFlagGroupIdIsPriority = 0x10;
constexpr uint32_t kGroupPriorityHighest = 1;
constexpr uint32_t kGroupPriorityStandard = 1900000000u;
// InitPosition airspeed markers.
constexpr uint32_t kInitPositionAirspeedCruise = 0xFFFFFFFFu;
constexpr uint32_t kInitPositionAirspeedKeep = 0xFFFFFFFEu;
constexpr int kInitPositionSize = 56;

// Width of the ident in facility list items: six characters up to MSFS 2020, nine from the MSFS
// 2024 generation of the library on.
enum class Layout {
    Classic,
    Msfs2024,
};
int identWidth(Layout layout);

// One received message with the 12-byte header split off: what a dispatch hands over.
struct Message
{
    uint32_t id = 0; // a RecvId value; unknown ids are kept as numbers
    uint32_t version = 0;
    QByteArray body;

    RecvId recvId() const { return static_cast<RecvId>(id); }
};

// Splits a whole packet (header included) into a message; nothing when the size field does not
// match the bytes or the packet is shorter than its header.
std::optional<Message> splitPacket(const QByteArray &packet);
// The packet for a message: header (size, version, id) followed by body.
QByteArray joinPacket(uint32_t id, uint32_t version, const QByteArray &body);

struct OpenInfo
{
    QString applicationName;
    uint32_t applicationVersion[4] = {0, 0, 0, 0}; // major, minor, build major, build minor
    uint32_t simConnectVersion[4] = {0, 0, 0, 0};
};

struct ExceptionInfo
{
    uint32_t code = 0;
    uint32_t sendId = 0; // 0: unknown
    uint32_t index = kUnused;
};

struct EventInfo
{
    uint32_t groupId = kUnused;
    uint32_t eventId = 0;
    uint32_t data = 0;
};

struct EventFilenameInfo
{
    EventInfo event;
    QString fileName;
    uint32_t flags = 0;
};

struct SimObjectDataInfo
{
    uint32_t requestId = 0;
    uint32_t objectId = 0;
    uint32_t defineId = 0;
    uint32_t flags = 0;
    uint32_t entryNumber = 0; // 1-based
    uint32_t outOf = 0;
    uint32_t defineCount = 0; // datums, not bytes
    QByteArray data;          // datums packed in definition order
};

struct WeatherObservationInfo
{
    uint32_t requestId = 0;
    QString metar;
};

struct SystemStateInfo
{
    uint32_t requestId = 0;
    int32_t integer = 0;
    float number = 0;
    QString text;
};

// Common head of the facility list messages.
struct ListHeader
{
    uint32_t requestId = 0;
    uint32_t arraySize = 0;   // items in this packet
    uint32_t entryNumber = 0; // 0-based packet index
    uint32_t outOf = 0;       // packet count
};

// One item of an AIRPORT, WAYPOINT, NDB or VOR list; the fields past the airport's stay zero for
// the shorter kinds.
struct FacilityListItem
{
    QString ident;
    QString region;
    double lat = 0;
    double lon = 0;
    double altM = 0;
    float magVar = 0;       // waypoint, NDB, VOR
    uint32_t frequency = 0; // NDB, VOR: Hz
    uint32_t flags = 0;     // VOR
    float localizerHeading = 0;
    double glideSlopeLat = 0;
    double glideSlopeLon = 0;
    double glideSlopeAlt = 0;
    float glideSlopeAngle = 0;
};

struct FacilityListInfo
{
    ListHeader header;
    QList<FacilityListItem> items;
};

// One item of FACILITY_MINIMAL_LIST.
struct MinimalFacility
{
    char type = 0;
    QString ident;
    QString region;
    QString airport;
    double lat = 0;
    double lon = 0;
    double altM = 0;
};

struct MinimalListInfo
{
    ListHeader header;
    QList<MinimalFacility> items;
};

struct FacilityDataInfo
{
    uint32_t userRequestId = 0;
    uint32_t uniqueRequestId = 0;
    uint32_t parentUniqueRequestId = 0; // 0 for the root
    uint32_t type = 0;                  // facility data type (AIRPORT 0, RUNWAY 1, …)
    bool isListItem = false;
    uint32_t itemIndex = 0;
    uint32_t listSize = 0;
    QByteArray data; // fields in the order the definition added them inside this object's block
};

std::optional<OpenInfo> decodeOpen(const QByteArray &body);
std::optional<ExceptionInfo> decodeException(const QByteArray &body);
std::optional<EventInfo> decodeEvent(const QByteArray &body);
std::optional<EventFilenameInfo> decodeEventFilename(const QByteArray &body);
std::optional<SimObjectDataInfo> decodeSimObjectData(const QByteArray &body);
std::optional<WeatherObservationInfo> decodeWeatherObservation(const QByteArray &body);
std::optional<SystemStateInfo> decodeSystemState(const QByteArray &body);
// An AIRPORT/VOR/NDB/WAYPOINT list; the message id says which kind of item it carries.
std::optional<FacilityListInfo> decodeFacilityList(RecvId kind, const QByteArray &body, Layout layout);
std::optional<MinimalListInfo> decodeMinimalList(const QByteArray &body, Layout layout);
std::optional<FacilityDataInfo> decodeFacilityData(const QByteArray &body);
std::optional<uint32_t> decodeFacilityDataEnd(const QByteArray &body);

// Mirrors of the decoders, producing whole packets (header included) with the given protocol
// version in the header.
QByteArray encodeOpen(const OpenInfo &info, uint32_t version);
QByteArray encodeQuit(uint32_t version);
QByteArray encodeException(const ExceptionInfo &info, uint32_t version);
QByteArray encodeEvent(const EventInfo &info, uint32_t version);
QByteArray encodeEventFilename(const EventFilenameInfo &info, uint32_t version);
QByteArray encodeSimObjectData(RecvId kind, const SimObjectDataInfo &info, uint32_t version);
QByteArray encodeWeatherObservation(const WeatherObservationInfo &info, uint32_t version);
QByteArray encodeSystemState(const SystemStateInfo &info, uint32_t version);
QByteArray encodeFacilityList(RecvId kind, const FacilityListInfo &info, Layout layout, uint32_t version);
QByteArray encodeMinimalList(const MinimalListInfo &info, Layout layout, uint32_t version);
QByteArray encodeFacilityData(const FacilityDataInfo &info, uint32_t version);
QByteArray encodeFacilityDataEnd(uint32_t requestId, uint32_t version);

// The name of an exception code for messages ("NAME_UNRECOGNIZED"), or its number.
QString exceptionName(uint32_t code);

} // namespace simconnect
