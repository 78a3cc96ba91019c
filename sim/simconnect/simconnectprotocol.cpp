#include "sim/simconnect/simconnectprotocol.h"

#include "sim/simconnect/simconnectbytes.h"

#include <iterator>

namespace simconnect {

namespace {

constexpr int kRegionWidth = 3;
constexpr int kMinimalAirportWidth = 5;
constexpr int kListHeaderSize = 16;
constexpr int kFacilityDataHeaderSize = 28;
constexpr int kSimObjectDataHeaderSize = 28;

int listItemSize(RecvId kind, Layout layout)
{
    const int airport = identWidth(layout) + kRegionWidth + 3 * 8;
    switch (kind) {
    case RecvId::AirportList:
        return airport;
    case RecvId::WaypointList:
        return airport + 4;
    case RecvId::NdbList:
        return airport + 4 + 4;
    case RecvId::VorList:
        return airport + 4 + 4 + 4 + 4 + 3 * 8 + 4;
    default:
        return 0;
    }
}

int minimalItemSize(Layout layout)
{
    return 1 + identWidth(layout) + kRegionWidth + kMinimalAirportWidth + 3 * 8;
}

ListHeader readListHeader(ByteReader &in)
{
    ListHeader header;
    header.requestId = in.u32();
    header.arraySize = in.u32();
    header.entryNumber = in.u32();
    header.outOf = in.u32();
    return header;
}

void writeListHeader(ByteWriter &out, const ListHeader &header, int itemCount)
{
    out.u32(header.requestId).u32(uint32_t(itemCount)).u32(header.entryNumber).u32(header.outOf);
}

// The item count must fill the rest of the message exactly: a count that promises more (or
// fewer) items than the bytes hold means the message is not what it claims to be.
bool itemCountFits(const ListHeader &header, int remaining, int itemSize)
{
    return itemSize > 0 && remaining % itemSize == 0 && header.arraySize == uint32_t(remaining / itemSize);
}

void writeEventHead(ByteWriter &out, const EventInfo &info)
{
    out.u32(info.groupId).u32(info.eventId).u32(info.data);
}

} // namespace

int identWidth(Layout layout)
{
    return layout == Layout::Msfs2024 ? 9 : 6;
}

std::optional<Message> splitPacket(const QByteArray &packet)
{
    ByteReader in(packet);
    const uint32_t size = in.u32();
    Message message;
    message.version = in.u32();
    message.id = in.u32();
    if (!in.ok() || size != uint32_t(packet.size()))
        return std::nullopt;
    message.body = packet.mid(kRecvHeaderSize);
    return message;
}

QByteArray joinPacket(uint32_t id, uint32_t version, const QByteArray &body)
{
    ByteWriter out;
    out.u32(uint32_t(kRecvHeaderSize + body.size())).u32(version).u32(id).raw(body);
    return out.bytes();
}

std::optional<OpenInfo> decodeOpen(const QByteArray &body)
{
    ByteReader in(body);
    OpenInfo info;
    info.applicationName = in.fixedString(kAppNameLength);
    for (uint32_t &part : info.applicationVersion)
        part = in.u32();
    for (uint32_t &part : info.simConnectVersion)
        part = in.u32();
    in.u32(); // two reserved words
    in.u32();
    if (!in.ok())
        return std::nullopt;
    return info;
}

QByteArray encodeOpen(const OpenInfo &info, uint32_t version)
{
    ByteWriter out;
    out.fixedString(info.applicationName, kAppNameLength);
    for (uint32_t part : info.applicationVersion)
        out.u32(part);
    for (uint32_t part : info.simConnectVersion)
        out.u32(part);
    out.u32(0).u32(0);
    return joinPacket(uint32_t(RecvId::Open), version, out.bytes());
}

QByteArray encodeQuit(uint32_t version)
{
    return joinPacket(uint32_t(RecvId::Quit), version, {});
}

std::optional<ExceptionInfo> decodeException(const QByteArray &body)
{
    ByteReader in(body);
    ExceptionInfo info;
    info.code = in.u32();
    info.sendId = in.u32();
    info.index = in.u32();
    if (!in.ok())
        return std::nullopt;
    return info;
}

QByteArray encodeException(const ExceptionInfo &info, uint32_t version)
{
    ByteWriter out;
    out.u32(info.code).u32(info.sendId).u32(info.index);
    return joinPacket(uint32_t(RecvId::Exception), version, out.bytes());
}

std::optional<EventInfo> decodeEvent(const QByteArray &body)
{
    ByteReader in(body);
    EventInfo info;
    info.groupId = in.u32();
    info.eventId = in.u32();
    info.data = in.u32();
    if (!in.ok())
        return std::nullopt;
    return info;
}

QByteArray encodeEvent(const EventInfo &info, uint32_t version)
{
    ByteWriter out;
    writeEventHead(out, info);
    return joinPacket(uint32_t(RecvId::Event), version, out.bytes());
}

std::optional<EventFilenameInfo> decodeEventFilename(const QByteArray &body)
{
    ByteReader in(body);
    EventFilenameInfo info;
    info.event.groupId = in.u32();
    info.event.eventId = in.u32();
    info.event.data = in.u32();
    info.fileName = in.fixedString(kPathLength);
    info.flags = in.u32();
    if (!in.ok())
        return std::nullopt;
    return info;
}

QByteArray encodeEventFilename(const EventFilenameInfo &info, uint32_t version)
{
    ByteWriter out;
    writeEventHead(out, info.event);
    out.fixedString(info.fileName, kPathLength).u32(info.flags);
    return joinPacket(uint32_t(RecvId::EventFilename), version, out.bytes());
}

std::optional<SimObjectDataInfo> decodeSimObjectData(const QByteArray &body)
{
    ByteReader in(body);
    SimObjectDataInfo info;
    info.requestId = in.u32();
    info.objectId = in.u32();
    info.defineId = in.u32();
    info.flags = in.u32();
    info.entryNumber = in.u32();
    info.outOf = in.u32();
    info.defineCount = in.u32();
    if (!in.ok())
        return std::nullopt;
    info.data = body.mid(kSimObjectDataHeaderSize);
    return info;
}

QByteArray encodeSimObjectData(RecvId kind, const SimObjectDataInfo &info, uint32_t version)
{
    ByteWriter out;
    out.u32(info.requestId).u32(info.objectId).u32(info.defineId).u32(info.flags);
    out.u32(info.entryNumber).u32(info.outOf).u32(info.defineCount).raw(info.data);
    return joinPacket(uint32_t(kind), version, out.bytes());
}

std::optional<WeatherObservationInfo> decodeWeatherObservation(const QByteArray &body)
{
    ByteReader in(body);
    WeatherObservationInfo info;
    info.requestId = in.u32();
    if (!in.ok())
        return std::nullopt;
    info.metar = in.terminatedString(kMaxMetarLength);
    return info;
}

QByteArray encodeWeatherObservation(const WeatherObservationInfo &info, uint32_t version)
{
    ByteWriter out;
    out.u32(info.requestId).raw(info.metar.toLatin1().left(kMaxMetarLength - 1)).byte('\0');
    return joinPacket(uint32_t(RecvId::WeatherObservation), version, out.bytes());
}

std::optional<SystemStateInfo> decodeSystemState(const QByteArray &body)
{
    ByteReader in(body);
    SystemStateInfo info;
    info.requestId = in.u32();
    info.integer = in.i32();
    info.number = in.f32();
    info.text = in.fixedString(kPathLength);
    if (!in.ok())
        return std::nullopt;
    return info;
}

QByteArray encodeSystemState(const SystemStateInfo &info, uint32_t version)
{
    ByteWriter out;
    out.u32(info.requestId).i32(info.integer).f32(info.number).fixedString(info.text, kPathLength);
    return joinPacket(uint32_t(RecvId::SystemState), version, out.bytes());
}

std::optional<FacilityListInfo> decodeFacilityList(RecvId kind, const QByteArray &body, Layout layout)
{
    const int itemSize = listItemSize(kind, layout);
    ByteReader in(body);
    FacilityListInfo info;
    info.header = readListHeader(in);
    if (!in.ok() || !itemCountFits(info.header, in.remaining(), itemSize))
        return std::nullopt;
    info.items.reserve(int(info.header.arraySize));
    for (uint32_t i = 0; i < info.header.arraySize; ++i) {
        FacilityListItem item;
        item.ident = in.fixedString(identWidth(layout));
        item.region = in.fixedString(kRegionWidth);
        item.lat = in.f64();
        item.lon = in.f64();
        item.altM = in.f64();
        if (kind != RecvId::AirportList)
            item.magVar = in.f32();
        if (kind == RecvId::NdbList || kind == RecvId::VorList)
            item.frequency = in.u32();
        if (kind == RecvId::VorList) {
            item.flags = in.u32();
            item.localizerHeading = in.f32();
            item.glideSlopeLat = in.f64();
            item.glideSlopeLon = in.f64();
            item.glideSlopeAlt = in.f64();
            item.glideSlopeAngle = in.f32();
        }
        info.items.append(item);
    }
    if (!in.ok())
        return std::nullopt;
    return info;
}

QByteArray encodeFacilityList(RecvId kind, const FacilityListInfo &info, Layout layout, uint32_t version)
{
    ByteWriter out;
    writeListHeader(out, info.header, int(info.items.size()));
    for (const FacilityListItem &item : info.items) {
        out.fixedString(item.ident, identWidth(layout)).fixedString(item.region, kRegionWidth);
        out.f64(item.lat).f64(item.lon).f64(item.altM);
        if (kind != RecvId::AirportList)
            out.f32(item.magVar);
        if (kind == RecvId::NdbList || kind == RecvId::VorList)
            out.u32(item.frequency);
        if (kind == RecvId::VorList) {
            out.u32(item.flags).f32(item.localizerHeading);
            out.f64(item.glideSlopeLat).f64(item.glideSlopeLon).f64(item.glideSlopeAlt).f32(item.glideSlopeAngle);
        }
    }
    return joinPacket(uint32_t(kind), version, out.bytes());
}

std::optional<MinimalListInfo> decodeMinimalList(const QByteArray &body, Layout layout)
{
    ByteReader in(body);
    MinimalListInfo info;
    info.header = readListHeader(in);
    if (!in.ok() || !itemCountFits(info.header, in.remaining(), minimalItemSize(layout)))
        return std::nullopt;
    info.items.reserve(int(info.header.arraySize));
    for (uint32_t i = 0; i < info.header.arraySize; ++i) {
        MinimalFacility item;
        item.type = in.byte();
        item.ident = in.fixedString(identWidth(layout));
        item.region = in.fixedString(kRegionWidth);
        item.airport = in.fixedString(kMinimalAirportWidth);
        item.lat = in.f64();
        item.lon = in.f64();
        item.altM = in.f64();
        info.items.append(item);
    }
    if (!in.ok())
        return std::nullopt;
    return info;
}

QByteArray encodeMinimalList(const MinimalListInfo &info, Layout layout, uint32_t version)
{
    ByteWriter out;
    writeListHeader(out, info.header, int(info.items.size()));
    for (const MinimalFacility &item : info.items) {
        out.byte(item.type).fixedString(item.ident, identWidth(layout)).fixedString(item.region, kRegionWidth);
        out.fixedString(item.airport, kMinimalAirportWidth).f64(item.lat).f64(item.lon).f64(item.altM);
    }
    return joinPacket(uint32_t(RecvId::FacilityMinimalList), version, out.bytes());
}

std::optional<FacilityDataInfo> decodeFacilityData(const QByteArray &body)
{
    ByteReader in(body);
    FacilityDataInfo info;
    info.userRequestId = in.u32();
    info.uniqueRequestId = in.u32();
    info.parentUniqueRequestId = in.u32();
    info.type = in.u32();
    info.isListItem = in.u32() != 0;
    info.itemIndex = in.u32();
    info.listSize = in.u32();
    if (!in.ok())
        return std::nullopt;
    info.data = body.mid(kFacilityDataHeaderSize);
    return info;
}

QByteArray encodeFacilityData(const FacilityDataInfo &info, uint32_t version)
{
    ByteWriter out;
    out.u32(info.userRequestId).u32(info.uniqueRequestId).u32(info.parentUniqueRequestId).u32(info.type);
    out.u32(info.isListItem ? 1 : 0).u32(info.itemIndex).u32(info.listSize).raw(info.data);
    return joinPacket(uint32_t(RecvId::FacilityData), version, out.bytes());
}

std::optional<uint32_t> decodeFacilityDataEnd(const QByteArray &body)
{
    ByteReader in(body);
    const uint32_t requestId = in.u32();
    if (!in.ok())
        return std::nullopt;
    return requestId;
}

QByteArray encodeFacilityDataEnd(uint32_t requestId, uint32_t version)
{
    ByteWriter out;
    out.u32(requestId);
    return joinPacket(uint32_t(RecvId::FacilityDataEnd), version, out.bytes());
}

QString exceptionName(uint32_t code)
{
    static const char *const kNames[] = {
        "NONE",
        "ERROR",
        "SIZE_MISMATCH",
        "UNRECOGNIZED_ID",
        "UNOPENED",
        "VERSION_MISMATCH",
        "TOO_MANY_GROUPS",
        "NAME_UNRECOGNIZED",
        "TOO_MANY_EVENT_NAMES",
        "EVENT_ID_DUPLICATE",
        "TOO_MANY_MAPS",
        "TOO_MANY_OBJECTS",
        "TOO_MANY_REQUESTS",
        "WEATHER_INVALID_PORT",
        "WEATHER_INVALID_METAR",
        "WEATHER_UNABLE_TO_GET_OBSERVATION",
        "WEATHER_UNABLE_TO_CREATE_STATION",
        "WEATHER_UNABLE_TO_REMOVE_STATION",
        "INVALID_DATA_TYPE",
        "INVALID_DATA_SIZE",
        "DATA_ERROR",
        "INVALID_ARRAY",
        "CREATE_OBJECT_FAILED",
        "LOAD_FLIGHTPLAN_FAILED",
        "OPERATION_INVALID_FOR_OBJECT_TYPE",
        "ILLEGAL_OPERATION",
        "ALREADY_SUBSCRIBED",
        "INVALID_ENUM",
        "DEFINITION_ERROR",
        "DUPLICATE_ID",
        "DATUM_ID",
        "OUT_OF_BOUNDS",
    };
    if (code < std::size(kNames))
        return QString::fromLatin1(kNames[code]);
    return QStringLiteral("exception %1").arg(code);
}

} // namespace simconnect
