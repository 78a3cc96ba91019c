#include "sim/simconnect/fake/fakesimconnect.h"

#include "sim/simconnect/fake/fakefacilityworld.h"
#include "sim/simconnect/fake/fakesimvariables.h"
#include "sim/simconnect/fake/fakesimworld.h"

#include <QFile>
#include <QFileInfo>

using namespace simconnect;

namespace {

constexpr qint64 kFrameMs = 33; // the fake's simulation and visual frames: 30 per second
constexpr qint64 kSecondMs = 1000;
// A client that stops pulling must not make the fake grow without bound: the oldest go.
constexpr int kMaxQueued = 20000;

const char *const kSystemEventNames[] = {"Sim", "Pause", "FlightLoaded", "AircraftLoaded", "1sec", "Crashed"};

bool isStringType(DataType type)
{
    return type >= DataType::String8 && type <= DataType::String260;
}

} // namespace

FakeSimConnect::FakeSimConnect(FakeSimWorld *world) : m_world(world) {}

FakeSimConnect::~FakeSimConnect()
{
    close();
}

bool FakeSimConnect::open(const QString &appName, uint32_t, QString *error)
{
    Q_UNUSED(appName);
    close();
    if (!m_world || !m_world->isRunning()) {
        if (error)
            *error = QStringLiteral("the fake simulator is not running");
        return false;
    }
    m_open = true;
    m_lost = false;
    m_sendId = 0;
    m_world->attach(this);
    queue(encodeOpen(m_world->openInfo(), m_world->protocolVersion()));
    return true;
}

void FakeSimConnect::close()
{
    if (m_world)
        m_world->detach(this);
    m_open = false;
    m_queue.clear();
    m_definitions.clear();
    m_requests.clear();
    m_events.clear();
    m_systemEvents.clear();
    m_facilityDefinitions.clear();
    m_heldReplies.clear();
}

bool FakeSimConnect::supports(Capability capability) const
{
    return m_world && m_world->supports(capability);
}

QString FakeSimConnect::description() const
{
    return m_world ? QStringLiteral("the fake %1").arg(simTypeName(m_world->kind())) : QStringLiteral("a fake");
}

void FakeSimConnect::queue(const QByteArray &packet)
{
    m_queue.enqueue(packet);
    while (m_queue.size() > kMaxQueued)
        m_queue.dequeue();
}

std::optional<Message> FakeSimConnect::nextMessage()
{
    if (!m_open || m_lost || !m_world || m_world->isSilent())
        return std::nullopt;
    m_world->simulate();
    releaseReplies();
    if (m_queue.isEmpty())
        produceDue();
    if (m_queue.isEmpty())
        return std::nullopt;
    // Through the same header split the real library's bytes take.
    return splitPacket(m_queue.dequeue());
}

FakeSimConnect::Call FakeSimConnect::begin(const QString &function, std::optional<Capability> needed)
{
    if (!m_open || m_lost || !m_world)
        return {};
    if (needed && !m_world->supports(*needed))
        return {};
    Call call;
    call.result = {true, ++m_sendId};
    if (const std::optional<ExceptionCode> failure = m_world->takeFailure(function)) {
        raise(call.result, *failure);
        return call;
    }
    call.proceed = true;
    return call;
}

ISimConnect::Result FakeSimConnect::raise(const Result &result, ExceptionCode code, uint32_t index)
{
    ExceptionInfo exception;
    exception.code = uint32_t(code);
    exception.sendId = result.sendId;
    exception.index = index;
    queue(encodeException(exception, m_world->protocolVersion()));
    return result;
}

ISimConnect::Result FakeSimConnect::addToDataDefinition(uint32_t defineId, const QString &datum, const QString &units,
                                                        DataType type, float epsilon, uint32_t datumId)
{
    const Call call = begin(QStringLiteral("AddToDataDefinition"));
    if (!call.proceed)
        return call.result;
    m_world->record({QStringLiteral("AddToDataDefinition"), datum, 0, units, defineId});
    DataDefinition &definition = m_definitions[defineId];
    const uint32_t index = uint32_t(definition.count());
    if (DataDefinition::fieldSize(type) < 0)
        return raise(call.result, ExceptionCode::InvalidDataType, index);
    if (type == DataType::InitPosition) {
        if (fakesim::canonicalName(datum) != QLatin1String("INITIAL POSITION"))
            return raise(call.result, ExceptionCode::DataError, index);
    } else {
        const std::optional<fakesim::Variable> variable = fakesim::variableNamed(datum);
        if (!variable)
            return raise(call.result, ExceptionCode::NameUnrecognized, index);
        const bool text = variable->units.isEmpty();
        if (text != isStringType(type))
            return raise(call.result, ExceptionCode::InvalidDataType, index);
        if (!text) {
            const std::optional<fakesim::Unit> from = fakesim::unitNamed(variable->units);
            const std::optional<fakesim::Unit> to = fakesim::unitNamed(units);
            if (!to || !fakesim::convert(0, *from, *to))
                return raise(call.result, ExceptionCode::DataError, index);
        }
    }
    definition.add({datum, units, type, epsilon, datumId});
    return call.result;
}

ISimConnect::Result FakeSimConnect::clearDataDefinition(uint32_t defineId)
{
    const Call call = begin(QStringLiteral("ClearDataDefinition"));
    if (!call.proceed)
        return call.result;
    if (m_definitions.remove(defineId) == 0)
        return raise(call.result, ExceptionCode::UnrecognizedId);
    return call.result;
}

QByteArray FakeSimConnect::dataFor(const DataDefinition &definition) const
{
    QList<DatumValue> values;
    values.reserve(definition.count());
    for (const Datum &datum : definition.datums())
        values.append(m_world->readDatum(datum).value_or(DatumValue(0.0)));
    return definition.pack(values);
}

void FakeSimConnect::sendData(uint32_t requestId, Request &request, bool onlyIfChanged)
{
    const DataDefinition definition = m_definitions.value(request.defineId);
    const QByteArray data = dataFor(definition);
    request.lastSentMs = m_world->nowMs();
    if (onlyIfChanged && data == request.lastData)
        return;
    request.lastData = data;
    SimObjectDataInfo info;
    info.requestId = requestId;
    info.objectId = FakeSimWorld::kUserObjectId;
    info.defineId = request.defineId;
    info.flags = request.flags;
    info.entryNumber = 1;
    info.outOf = 1;
    info.defineCount = uint32_t(definition.count());
    info.data = data;
    queue(encodeSimObjectData(RecvId::SimObjectData, info, m_world->protocolVersion()));
}

void FakeSimConnect::produceDue()
{
    const qint64 now = m_world->nowMs();
    for (auto it = m_requests.begin(); it != m_requests.end(); ++it) {
        Request &request = *it;
        if (!m_definitions.contains(request.defineId))
            continue;
        qint64 periodMs = 0;
        if (request.period == Period::SimFrame || request.period == Period::VisualFrame)
            periodMs = kFrameMs;
        else if (request.period == Period::Second)
            periodMs = kSecondMs;
        else
            continue;
        // interval counts the periods skipped between two sends.
        if (now - request.lastSentMs >= periodMs * qint64(request.interval + 1))
            sendData(it.key(), request, (request.flags & kDataRequestFlagChanged) != 0);
    }
}

ISimConnect::Result FakeSimConnect::requestDataOnSimObject(uint32_t requestId, uint32_t defineId, uint32_t objectId,
                                                           Period period, uint32_t flags, uint32_t, uint32_t interval,
                                                           uint32_t)
{
    const Call call = begin(QStringLiteral("RequestDataOnSimObject"));
    if (!call.proceed)
        return call.result;
    if (!m_definitions.contains(defineId))
        return raise(call.result, ExceptionCode::UnrecognizedId, 2);
    if (objectId != kObjectIdUser && objectId != FakeSimWorld::kUserObjectId)
        return raise(call.result, ExceptionCode::UnrecognizedId, 3);
    if (period == Period::Never) {
        m_requests.remove(requestId);
        return call.result;
    }
    Request request;
    request.defineId = defineId;
    request.period = period;
    request.flags = flags;
    request.interval = interval;
    if (period == Period::Once) {
        sendData(requestId, request, false);
        return call.result;
    }
    m_requests.insert(requestId, request);
    sendData(requestId, m_requests[requestId], false);
    return call.result;
}

ISimConnect::Result FakeSimConnect::requestDataOnSimObjectType(uint32_t requestId, uint32_t defineId, uint32_t,
                                                               SimObjectType type)
{
    const Call call = begin(QStringLiteral("RequestDataOnSimObjectType"), Capability::AiTraffic);
    if (!call.proceed)
        return call.result;
    const auto definition = m_definitions.constFind(defineId);
    if (definition == m_definitions.cend())
        return raise(call.result, ExceptionCode::UnrecognizedId, 2);
    QList<uint32_t> ids;
    QList<QList<DatumValue>> objects;
    if (type == SimObjectType::Aircraft || type == SimObjectType::All)
        objects = m_world->objectsFor(*definition, &ids);
    for (int i = 0; i < objects.size(); ++i) {
        SimObjectDataInfo info;
        info.requestId = requestId;
        info.objectId = ids.at(i);
        info.defineId = defineId;
        info.entryNumber = uint32_t(i + 1);
        info.outOf = uint32_t(objects.size());
        info.defineCount = uint32_t(definition->count());
        info.data = definition->pack(objects.at(i));
        queue(encodeSimObjectData(RecvId::SimObjectDataByType, info, m_world->protocolVersion()));
    }
    return call.result;
}

ISimConnect::Result FakeSimConnect::setDataOnSimObject(uint32_t defineId, uint32_t objectId, const QByteArray &data)
{
    const Call call = begin(QStringLiteral("SetDataOnSimObject"));
    if (!call.proceed)
        return call.result;
    const auto definition = m_definitions.constFind(defineId);
    if (definition == m_definitions.cend())
        return raise(call.result, ExceptionCode::UnrecognizedId, 1);
    if (objectId != kObjectIdUser && objectId != FakeSimWorld::kUserObjectId)
        return raise(call.result, ExceptionCode::UnrecognizedId, 2);
    const std::optional<QList<DatumValue>> values = definition->unpack(data);
    if (!values)
        return raise(call.result, ExceptionCode::InvalidDataSize, 5);
    for (int i = 0; i < values->size(); ++i) {
        const Datum &datum = definition->datums().at(i);
        const DatumValue &value = values->at(i);
        m_world->record({QStringLiteral("SetDataOnSimObject"), datum.name, numberOf(value), datum.units, 0});
        if (!m_world->writeDatum(datum, value))
            return raise(call.result, ExceptionCode::DataError, uint32_t(i));
    }
    return call.result;
}

ISimConnect::Result FakeSimConnect::mapClientEventToSimEvent(uint32_t eventId, const QString &name)
{
    const Call call = begin(QStringLiteral("MapClientEventToSimEvent"));
    if (!call.proceed)
        return call.result;
    m_world->record({QStringLiteral("MapClientEventToSimEvent"), name, 0, QString(), eventId});
    if (m_events.contains(eventId))
        return raise(call.result, ExceptionCode::DuplicateId, 1);
    if (!m_world->knowsEvent(name))
        return raise(call.result, ExceptionCode::NameUnrecognized, 2);
    m_events.insert(eventId, name);
    return call.result;
}

ISimConnect::Result FakeSimConnect::transmitClientEvent(uint32_t, uint32_t eventId, uint32_t data, uint32_t, uint32_t)
{
    const Call call = begin(QStringLiteral("TransmitClientEvent"));
    if (!call.proceed)
        return call.result;
    const auto name = m_events.constFind(eventId);
    if (name == m_events.cend())
        return raise(call.result, ExceptionCode::UnrecognizedId, 2);
    m_world->record({QStringLiteral("TransmitClientEvent"), *name, 0, QString(), data});
    m_world->applyEvent(*name, data);
    return call.result;
}

ISimConnect::Result FakeSimConnect::subscribeToSystemEvent(uint32_t eventId, const QString &name)
{
    const Call call = begin(QStringLiteral("SubscribeToSystemEvent"));
    if (!call.proceed)
        return call.result;
    const bool known = std::any_of(std::begin(kSystemEventNames), std::end(kSystemEventNames), [&name](const char *e) {
        return name.compare(QLatin1String(e), Qt::CaseInsensitive) == 0;
    });
    if (!known)
        return raise(call.result, ExceptionCode::NameUnrecognized, 2);
    m_systemEvents.insert(name.toLower(), eventId);
    if (name.compare(QLatin1String("Sim"), Qt::CaseInsensitive) == 0)
        deliverSystemEvent(QStringLiteral("Sim"), 1); // the simulation is running
    return call.result;
}

void FakeSimConnect::deliverSystemEvent(const QString &name, uint32_t data)
{
    const auto it = m_systemEvents.constFind(name.toLower());
    if (!m_open || it == m_systemEvents.cend())
        return;
    EventInfo event;
    event.groupId = kUnused;
    event.eventId = *it;
    event.data = data;
    queue(encodeEvent(event, m_world->protocolVersion()));
}

ISimConnect::Result FakeSimConnect::requestSystemState(uint32_t requestId, const QString &state)
{
    const Call call = begin(QStringLiteral("RequestSystemState"));
    if (!call.proceed)
        return call.result;
    SystemStateInfo info;
    info.requestId = requestId;
    if (state.compare(QLatin1String("Sim"), Qt::CaseInsensitive) == 0)
        info.integer = 1;
    else if (state.compare(QLatin1String("FlightPlan"), Qt::CaseInsensitive) == 0)
        info.text = m_world->loadedFlightPlan();
    else if (state.compare(QLatin1String("DialogMode"), Qt::CaseInsensitive) != 0)
        return raise(call.result, ExceptionCode::NameUnrecognized, 2);
    queue(encodeSystemState(info, m_world->protocolVersion()));
    return call.result;
}

ISimConnect::Result FakeSimConnect::flightPlanLoad(const QString &path)
{
    const Call call = begin(QStringLiteral("FlightPlanLoad"), Capability::FlightPlanLoad);
    if (!call.proceed)
        return call.result;
    m_world->record({QStringLiteral("FlightPlanLoad"), path, 0, QString(), 0});
    // A readable file holding a flight plan loads; anything else fails as in the simulator.
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || !file.read(64 * 1024).contains("FlightPlan"))
        return raise(call.result, ExceptionCode::LoadFlightPlanFailed, 1);
    m_world->loadFlightPlan(path);
    return call.result;
}

ISimConnect::Result FakeSimConnect::weatherRequestObservationAtNearestStation(uint32_t requestId, float, float)
{
    const Call call = begin(QStringLiteral("WeatherRequestObservationAtNearestStation"), Capability::Weather);
    if (!call.proceed)
        return call.result;
    const SimType kind = m_world->kind();
    if (kind == SimType::Msfs2020 || kind == SimType::Msfs2024)
        return raise(call.result, ExceptionCode::WeatherUnableToGetObservation, 1);
    queue(encodeWeatherObservation({requestId, m_world->currentMetar()}, m_world->protocolVersion()));
    return call.result;
}

ISimConnect::Result FakeSimConnect::weatherSetModeCustom()
{
    const Call call = begin(QStringLiteral("WeatherSetModeCustom"), Capability::Weather);
    if (call.proceed)
        m_world->record({QStringLiteral("WeatherSetModeCustom"), QString(), 0, QString(), 0});
    return call.result;
}

ISimConnect::Result FakeSimConnect::weatherSetModeGlobal()
{
    const Call call = begin(QStringLiteral("WeatherSetModeGlobal"), Capability::Weather);
    if (call.proceed)
        m_world->record({QStringLiteral("WeatherSetModeGlobal"), QString(), 0, QString(), 0});
    return call.result;
}

ISimConnect::Result FakeSimConnect::weatherSetObservation(uint32_t seconds, const QString &metar)
{
    const Call call = begin(QStringLiteral("WeatherSetObservation"), Capability::Weather);
    if (!call.proceed)
        return call.result;
    m_world->record({QStringLiteral("WeatherSetObservation"), metar, double(seconds), QString(), 0});
    const SimType kind = m_world->kind();
    // MSFS still takes the call but does nothing with it.
    if (kind == SimType::Msfs2020 || kind == SimType::Msfs2024)
        return call.result;
    if (!m_world->applyMetar(metar))
        return raise(call.result, ExceptionCode::WeatherInvalidMetar, 2);
    return call.result;
}

ISimConnect::Result FakeSimConnect::cameraSetRelative6Dof(float dx, float dy, float dz, float pitchDeg, float bankDeg,
                                                          float headingDeg)
{
    const Call call = begin(QStringLiteral("CameraSetRelative6DOF"), Capability::Camera6Dof);
    if (!call.proceed)
        return call.result;
    m_world->record({QStringLiteral("CameraSetRelative6DOF"), QString(), double(dz), QString(), 0});
    m_world->setCamera({dx, dy, dz, pitchDeg, bankDeg, headingDeg});
    return call.result;
}

ISimConnect::Result FakeSimConnect::addToFacilityDefinition(uint32_t defineId, const QString &field)
{
    const Call call = begin(QStringLiteral("AddToFacilityDefinition"), Capability::Facilities);
    if (!call.proceed)
        return call.result;
    if (!m_facilityDefinitions[defineId].add(field))
        return raise(call.result, ExceptionCode::DataError, 1);
    return call.result;
}

void FakeSimConnect::holdReply(QList<QByteArray> reply)
{
    if (reply.isEmpty())
        return;
    if (m_world->facilities().shuffledReplies() && reply.size() > 2) {
        // Everything but the closing message in a random order.
        for (int i = int(reply.size()) - 2; i > 0; --i)
            reply.swapItemsAt(i, int(m_replyOrder.bounded(i + 1)));
    }
    m_heldReplies.append(reply);
}

void FakeSimConnect::releaseReplies()
{
    const bool shuffled = m_world->facilities().shuffledReplies();
    while (!m_heldReplies.isEmpty()) {
        const int pick = shuffled ? int(m_replyOrder.bounded(int(m_heldReplies.size()))) : 0;
        QList<QByteArray> &reply = m_heldReplies[pick];
        queue(reply.takeFirst());
        if (reply.isEmpty())
            m_heldReplies.removeAt(pick);
    }
}

void FakeSimConnect::answerFacilityList(FacilityListType type, uint32_t requestId)
{
    RecvId kind = RecvId::AirportList;
    QList<FacilityListItem> items;
    if (type == FacilityListType::Airport) {
        for (const FacilityNode &airport : m_world->facilities().airports()) {
            FacilityListItem item;
            item.ident = airport.text(QStringLiteral("ICAO"));
            item.region = airport.text(QStringLiteral("REGION"));
            item.lat = airport.number(QStringLiteral("LATITUDE"));
            item.lon = airport.number(QStringLiteral("LONGITUDE"));
            item.altM = airport.number(QStringLiteral("ALTITUDE"));
            items.append(item);
        }
    } else {
        // The fake's navaids are only reachable through facility data, as most of the real world
        // outside the cache around the aircraft.
        kind = type == FacilityListType::Vor   ? RecvId::VorList
               : type == FacilityListType::Ndb ? RecvId::NdbList
                                               : RecvId::WaypointList;
    }
    const int perPacket = m_world->facilities().listPacketSize();
    const int packets = std::max(1, int((items.size() + perPacket - 1) / perPacket));
    for (int p = 0; p < packets; ++p) {
        FacilityListInfo info;
        info.header.requestId = requestId;
        info.header.entryNumber = uint32_t(p);
        info.header.outOf = uint32_t(packets);
        info.items = items.mid(p * perPacket, perPacket);
        info.header.arraySize = uint32_t(info.items.size());
        // Each packet a reply of its own, so that packets arrive in any order.
        holdReply({encodeFacilityList(kind, info, m_world->layout(), m_world->protocolVersion())});
    }
}

ISimConnect::Result FakeSimConnect::requestFacilitiesList(FacilityListType type, uint32_t requestId)
{
    const Call call = begin(QStringLiteral("RequestFacilitiesList"), Capability::Facilities);
    if (call.proceed)
        answerFacilityList(type, requestId);
    return call.result;
}

ISimConnect::Result FakeSimConnect::requestAllFacilities(FacilityListType type, uint32_t requestId)
{
    const Call call = begin(QStringLiteral("RequestAllFacilities"), Capability::AllFacilities);
    if (call.proceed)
        answerFacilityList(type, requestId);
    return call.result;
}

void FakeSimConnect::packFacility(const FacilityDefinition &definition, int block, const FacilityNode &node,
                                  uint32_t requestId, uint32_t parentId, uint32_t itemIndex, uint32_t listSize,
                                  bool listItem, QList<QByteArray> *out)
{
    const FacilityBlock &b = definition.blocks().at(block);
    FacilityDataInfo info;
    info.userRequestId = requestId;
    info.uniqueRequestId = m_nextObjectId++;
    info.parentUniqueRequestId = parentId;
    info.type = uint32_t(b.type);
    info.isListItem = listItem;
    info.itemIndex = itemIndex;
    info.listSize = listSize;
    info.data = packFacilityFields(b, node.values);
    out->append(encodeFacilityData(info, m_world->protocolVersion()));
    for (const int child : b.children) {
        const FacilityBlock &childBlock = definition.blocks().at(child);
        const QList<FacilityNode> items = node.childrenIn(childBlock.name);
        // A runway end's pavement, lights and VASIs are single objects; everything else a list.
        const bool list = childBlock.type != FacilityType::Pavement &&
                          childBlock.type != FacilityType::ApproachLights && childBlock.type != FacilityType::Vasi;
        for (int i = 0; i < items.size(); ++i)
            packFacility(definition, child, items.at(i), requestId, info.uniqueRequestId, uint32_t(i),
                         uint32_t(items.size()), list, out);
    }
}

ISimConnect::Result FakeSimConnect::requestFacilityData(uint32_t defineId, uint32_t requestId, const QString &icao,
                                                        const QString &region, char type)
{
    const Call call = begin(QStringLiteral("RequestFacilityData"), Capability::Facilities);
    if (!call.proceed)
        return call.result;
    m_world->record({QStringLiteral("RequestFacilityData"), icao, 0, region, uint32_t(uint8_t(type))});
    const auto definition = m_facilityDefinitions.constFind(defineId);
    if (definition == m_facilityDefinitions.cend() || !definition->isComplete()) {
        raise(call.result, ExceptionCode::UnrecognizedId, 1);
        return call.result;
    }
    FakeFacilityWorld &world = m_world->facilities();
    const FacilityType rootType = definition->blocks().first().type;
    const FacilityNode *node = nullptr;
    char kind = 0;
    if (rootType == FacilityType::Airport)
        node = world.airport(icao);
    else
        kind = rootType == FacilityType::Vor ? 'V' : rootType == FacilityType::Ndb ? 'N' : 'W';
    if (kind != 0 && (type == 0 || type == kind))
        node = world.navaid(icao, region, kind);
    // An unknown ident, or one the test made fail, is answered by an EXCEPTION among the other
    // replies, not by data.
    if (world.takeFailure(icao) || !node) {
        ExceptionInfo exception;
        exception.code = uint32_t(ExceptionCode::Error);
        exception.sendId = call.result.sendId;
        exception.index = 3;
        holdReply({encodeException(exception, m_world->protocolVersion())});
        return call.result;
    }
    QList<QByteArray> reply;
    packFacility(*definition, definition->root(), *node, requestId, 0, 0, 1, false, &reply);
    reply.append(encodeFacilityDataEnd(requestId, m_world->protocolVersion()));
    holdReply(reply);
    return call.result;
}

void FakeSimConnect::deliverQuit()
{
    if (m_open && m_world)
        queue(encodeQuit(m_world->protocolVersion()));
}

void FakeSimConnect::breakLink()
{
    m_lost = true;
    m_queue.clear();
}

void FakeSimConnect::worldGone()
{
    m_lost = true;
    m_open = false;
    m_queue.clear();
    m_world = nullptr;
}
