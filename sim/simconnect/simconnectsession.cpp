#include "sim/simconnect/simconnectsession.h"

#include "app/log/applogger.h"
#include "sim/simconnect/simconnectevents.h"

#include <QDateTime>
#include <QTimer>

#include <cmath>

using namespace simconnect;

namespace {

const QString kCategory = QStringLiteral("SimConnect");

// Define ids: one per state group (1..7), the tank layout, the traffic record and the initial
// position; write definitions and one-shot reads get ranges of their own. Request ids of the
// periodic requests equal their define ids.
constexpr uint32_t kTankDefinition = 8;
constexpr uint32_t kTrafficDefinition = 20;
constexpr uint32_t kPositionDefinition = 30;
constexpr uint32_t kProbeRequest = 40;
constexpr uint32_t kWeatherRequest = 41;
constexpr uint32_t kFirstWriteDefinition = 1000;
constexpr uint32_t kMaxWriteDefinitions = 256;
constexpr uint32_t kFirstOneShot = 5000;
constexpr uint32_t kMaxOneShots = 64;
// Client event ids: the system-event subscriptions, then the mapped key events.
constexpr uint32_t kFirstMappedEvent = 100;
constexpr uint32_t kMaxMappedEvents = 900;
constexpr int kMaxRememberedSends = 4096;
constexpr int kMaxMessagesPerPump = 500;
constexpr uint32_t kTrafficRadiusM = 200000;
// State groups 1-3 follow the simulation closely; the rest changes slowly.
constexpr int kFastGroups = 3;
constexpr uint32_t kFastInterval = 4; // sim frames skipped between samples

const char *const kSystemEvents[] = {"Sim", "Pause", "FlightLoaded", "AircraftLoaded"};

qint64 nowMs()
{
    return QDateTime::currentMSecsSinceEpoch();
}

// The record of a traffic aircraft, as registered for the by-type request.
DataDefinition trafficDefinition()
{
    DataDefinition d;
    d.add({QStringLiteral("PLANE LATITUDE"), QStringLiteral("degrees")});
    d.add({QStringLiteral("PLANE LONGITUDE"), QStringLiteral("degrees")});
    d.add({QStringLiteral("PLANE ALTITUDE"), QStringLiteral("feet")});
    d.add({QStringLiteral("PLANE HEADING DEGREES TRUE"), QStringLiteral("degrees")});
    d.add({QStringLiteral("GROUND VELOCITY"), QStringLiteral("knots")});
    d.add({QStringLiteral("VERTICAL SPEED"), QStringLiteral("feet per minute")});
    d.add({QStringLiteral("AIRSPEED INDICATED"), QStringLiteral("knots")});
    d.add({QStringLiteral("PLANE PITCH DEGREES"), QStringLiteral("degrees")});
    d.add({QStringLiteral("ATC ID"), QString(), DataType::String32});
    d.add({QStringLiteral("ATC MODEL"), QString(), DataType::String32});
    d.add({QStringLiteral("ATC AIRLINE"), QString(), DataType::String64});
    d.add({QStringLiteral("ATC FLIGHT NUMBER"), QString(), DataType::String8});
    return d;
}

std::optional<AiAircraft> trafficFrom(const QList<DatumValue> &values)
{
    if (values.size() != 12)
        return std::nullopt;
    AiAircraft aircraft;
    aircraft.lat = numberOf(values[0]);
    aircraft.lon = numberOf(values[1]);
    aircraft.altFt = numberOf(values[2]);
    aircraft.headingDegTrue = numberOf(values[3]);
    aircraft.groundSpeedKts = numberOf(values[4]);
    aircraft.verticalSpeedFpm = numberOf(values[5]);
    aircraft.indicatedSpeedKts = numberOf(values[6]);
    aircraft.pitchDeg = numberOf(values[7]);
    auto text = [&values](int i) {
        const QString *value = std::get_if<QString>(&values[i]);
        return value ? value->trimmed() : QString();
    };
    const QString atcId = text(8);
    const QString airline = text(10);
    const QString flight = text(11);
    aircraft.registration = atcId;
    aircraft.aircraftType = text(9);
    aircraft.callsign = !airline.isEmpty() && !flight.isEmpty() ? airline + QLatin1Char(' ') + flight : atcId;
    if (!(aircraft.lat >= -90 && aircraft.lat <= 90 && aircraft.lon >= -180 && aircraft.lon <= 180))
        return std::nullopt;
    return aircraft;
}

bool isMsfs(SimType type)
{
    return type == SimType::Msfs2020 || type == SimType::Msfs2024;
}

} // namespace

SimConnectSession::SimConnectSession(SimType type, std::unique_ptr<ISimConnect> port, QObject *parent)
    : QObject(parent), m_type(type), m_port(std::move(port))
{
    m_pump = new QTimer(this);
    connect(m_pump, &QTimer::timeout, this, &SimConnectSession::onPump);
    m_openTimer = new QTimer(this);
    m_openTimer->setSingleShot(true);
    connect(m_openTimer, &QTimer::timeout, this, &SimConnectSession::onOpenTimeout);
    m_probeTimer = new QTimer(this);
    connect(m_probeTimer, &QTimer::timeout, this, &SimConnectSession::onProbe);
    m_trafficTimer = new QTimer(this);
    connect(m_trafficTimer, &QTimer::timeout, this, &SimConnectSession::onTrafficTick);
}

SimConnectSession::~SimConnectSession()
{
    stop();
}

bool SimConnectSession::start(const QString &appName)
{
    stop();
    QString error;
    if (!m_port->open(appName, kOpenConfigIndexLocal, &error)) {
        // From the event loop, like every other outcome, so the owner has wired us first.
        QTimer::singleShot(0, this, [this, error] { emit failed(error); });
        return false;
    }
    m_started = true;
    m_pump->start(m_timings.pumpIntervalMs);
    m_openTimer->start(m_timings.openTimeoutMs);
    return true;
}

void SimConnectSession::stop()
{
    m_pump->stop();
    m_openTimer->stop();
    m_probeTimer->stop();
    m_trafficTimer->stop();
    if (m_started)
        m_port->close();
    m_started = false;
    m_open = false;
}

void SimConnectSession::finish(const QString &reason, bool wasOpen)
{
    stop();
    if (wasOpen) {
        AppLogger::instance().log(AppLogger::Info, kCategory,
                                  QStringLiteral("%1 connection closed: %2").arg(simName(), reason));
        emit closed(reason);
    } else {
        emit failed(reason);
    }
}

QString SimConnectSession::simName() const
{
    return simTypeName(m_type);
}

void SimConnectSession::onOpenTimeout()
{
    if (!m_open)
        finish(QStringLiteral("%1 did not answer the connection").arg(simName()), false);
}

void SimConnectSession::onPump()
{
    bool stateArrived = false;
    for (int i = 0; i < kMaxMessagesPerPump && m_started; ++i) {
        std::optional<Message> message = m_port->nextMessage();
        if (!message)
            break;
        m_lastMessageMs = nowMs();
        const bool state = message->recvId() == RecvId::SimObjectData && message->body.size() >= 12;
        handle(*message);
        if (state)
            stateArrived = true;
    }
    if (!m_started)
        return;
    if (m_port->linkLost()) {
        finish(QStringLiteral("the connection to %1 was lost").arg(simName()), m_open);
        return;
    }
    if (m_open && nowMs() - m_lastMessageMs > m_timings.probeTimeoutMs) {
        finish(QStringLiteral("%1 stopped answering").arg(simName()), true);
        return;
    }
    if (stateArrived && hasPosition())
        emit sampleUpdated();
}

void SimConnectSession::onProbe()
{
    // Any answer proves the simulator alive, even while it is paused and sends no samples.
    remember(m_port->requestSystemState(kProbeRequest, QStringLiteral("Sim")), Intent::Probe, QStringLiteral("Sim"));
}

void SimConnectSession::onTrafficTick()
{
    if (!m_port->supports(ISimConnect::Capability::AiTraffic))
        return;
    m_traffic.clear();
    remember(m_port->requestDataOnSimObjectType(kTrafficDefinition, kTrafficDefinition, kTrafficRadiusM,
                                                SimObjectType::Aircraft),
             Intent::Request, QStringLiteral("traffic"));
}

void SimConnectSession::handle(const Message &message)
{
    switch (message.recvId()) {
    case RecvId::Open:
        handleOpen(message);
        break;
    case RecvId::Quit:
        finish(QStringLiteral("%1 quit").arg(simName()), m_open);
        break;
    case RecvId::Exception:
        handleException(message);
        break;
    case RecvId::SimObjectData:
        handleData(message, false);
        break;
    case RecvId::SimObjectDataByType:
        handleData(message, true);
        break;
    case RecvId::Event:
    case RecvId::EventFilename:
        handleEvent(message);
        break;
    case RecvId::WeatherObservation:
        if (const auto observation = decodeWeatherObservation(message.body))
            emit weatherObservationReceived(observation->metar);
        break;
    case RecvId::AirportList:
    case RecvId::VorList:
    case RecvId::NdbList:
    case RecvId::WaypointList:
    case RecvId::FacilityData:
    case RecvId::FacilityDataEnd:
    case RecvId::FacilityMinimalList:
        if (m_facilityListener)
            m_facilityListener->facilityMessage(message);
        break;
    default:
        break; // SYSTEM_STATE answers the probe: its arrival is all that counts
    }
}

void SimConnectSession::handleOpen(const Message &message)
{
    const std::optional<OpenInfo> info = decodeOpen(message.body);
    if (!info || m_open)
        return;
    m_openInfo = *info;
    // The 2024 generation of the library reports version 12 and widens idents in lists to nine.
    m_layout = info->simConnectVersion[0] >= 12 ? Layout::Msfs2024 : Layout::Classic;
    m_open = true;
    m_openTimer->stop();
    AppLogger::instance().log(AppLogger::Info, kCategory,
                              QStringLiteral("%1 answered as \"%2\" (SimConnect %3.%4) through %5")
                                  .arg(simName(), info->applicationName)
                                  .arg(info->simConnectVersion[0])
                                  .arg(info->simConnectVersion[1])
                                  .arg(m_port->description()));
    registerDefinitions();
    m_probeTimer->start(m_timings.probeIntervalMs);
    m_trafficTimer->start(m_timings.trafficIntervalMs);
    emit opened();
}

void SimConnectSession::registerDefinitions()
{
    for (int group = 1; group <= simvars::kGroupCount; ++group) {
        const DataDefinition definition = simvars::groupDefinition(group);
        for (const Datum &datum : definition.datums())
            remember(m_port->addToDataDefinition(uint32_t(group), datum.name, datum.units, datum.type, datum.epsilon,
                                                 datum.datumId),
                     Intent::Definition, datum.name);
        const bool fast = group <= kFastGroups;
        remember(m_port->requestDataOnSimObject(uint32_t(group), uint32_t(group), kObjectIdUser,
                                                fast ? Period::SimFrame : Period::Second,
                                                fast ? 0 : kDataRequestFlagChanged, 0, fast ? kFastInterval : 0, 0),
                 Intent::Request, QStringLiteral("group %1").arg(group));
    }
    const DataDefinition tanks = simvars::tankDefinition();
    for (const Datum &datum : tanks.datums())
        remember(m_port->addToDataDefinition(kTankDefinition, datum.name, datum.units, datum.type, 0, kUnused),
                 Intent::Definition, datum.name);
    remember(m_port->requestDataOnSimObject(kTankDefinition, kTankDefinition, kObjectIdUser, Period::Second,
                                            kDataRequestFlagChanged, 0, 0, 0),
             Intent::Request, QStringLiteral("tank layout"));
    const DataDefinition traffic = trafficDefinition();
    for (const Datum &datum : traffic.datums())
        remember(m_port->addToDataDefinition(kTrafficDefinition, datum.name, datum.units, datum.type, 0, kUnused),
                 Intent::Definition, datum.name);
    remember(m_port->addToDataDefinition(kPositionDefinition, QStringLiteral("Initial Position"), QString(),
                                         DataType::InitPosition, 0, kUnused),
             Intent::Definition, QStringLiteral("Initial Position"));
    for (uint32_t i = 0; i < std::size(kSystemEvents); ++i)
        remember(m_port->subscribeToSystemEvent(i + 1, QLatin1String(kSystemEvents[i])), Intent::SystemEvent,
                 QLatin1String(kSystemEvents[i]));
}

void SimConnectSession::remember(const ISimConnect::Result &result, Intent intent, const QString &subject, int callerId)
{
    if (!result.ok)
        return;
    if (!m_sent.contains(result.sendId))
        m_sentOrder.enqueue(result.sendId);
    m_sent.insert(result.sendId, {intent, subject, callerId});
    while (m_sentOrder.size() > kMaxRememberedSends)
        m_sent.remove(m_sentOrder.dequeue());
}

void SimConnectSession::handleException(const Message &message)
{
    const std::optional<ExceptionInfo> exception = decodeException(message.body);
    if (!exception)
        return;
    if (m_facilityListener && m_claimedSendIds.remove(exception->sendId)) {
        m_facilityListener->facilityException(*exception);
        return;
    }
    const QString code = exceptionName(exception->code);
    const auto it = m_sent.constFind(exception->sendId);
    if (it == m_sent.cend()) {
        AppLogger::instance().log(AppLogger::Warning, kCategory,
                                  QStringLiteral("%1 reported %2 for an unknown call (send id %3)")
                                      .arg(simName(), code)
                                      .arg(exception->sendId));
        return;
    }
    const SentCall call = *it;
    // A variable or event the simulator already refused by name fails in every later use; that
    // was said once.
    if ((call.intent == Intent::SetData && m_refusedVariables.contains(call.subject)) ||
        (call.intent == Intent::TransmitEvent && m_refusedEvents.contains(call.subject)))
        return;
    switch (call.intent) {
    case Intent::MapEvent: {
        m_refusedEvents.insert(call.subject);
        const QString alias = simconnectevents::alternativeName(call.subject);
        if (!alias.isEmpty() && !m_refusedEvents.contains(alias)) {
            m_eventAliases.insert(call.subject, alias);
            AppLogger::instance().log(
                AppLogger::Info, kCategory,
                QStringLiteral("%1 does not know the event %2; using %3 instead").arg(simName(), call.subject, alias));
            return;
        }
        logOnce(QStringLiteral("event:") + call.subject,
                QStringLiteral("The event %1 is not available on %2 (%3)").arg(call.subject, simName(), code));
        return;
    }
    case Intent::Definition:
        if (call.subject.isEmpty())
            break;
        m_refusedVariables.insert(call.subject);
        logOnce(QStringLiteral("var:") + call.subject,
                QStringLiteral("The variable %1 is not available on %2 (%3)").arg(call.subject, simName(), code));
        return;
    case Intent::OneShot: {
        // The read is answered anyway, with 0 as for a backend that cannot read.
        const auto shot = m_oneShots.find(uint32_t(call.callerId));
        if (shot != m_oneShots.end()) {
            const int callerId = *shot;
            m_oneShots.erase(shot);
            m_port->clearDataDefinition(uint32_t(call.callerId));
            emit valueReceived(callerId, 0.0);
        }
        break;
    }
    case Intent::FlightPlan:
        AppLogger::instance().log(
            AppLogger::Warning, kCategory,
            QStringLiteral("%1 could not load the flight plan %2 (%3)").arg(simName(), call.subject, code));
        return;
    default:
        break;
    }
    AppLogger::instance().log(AppLogger::Warning, kCategory,
                              QStringLiteral("%1 refused %2 (%3)").arg(simName(), call.subject, code));
}

void SimConnectSession::handleData(const Message &message, bool byType)
{
    const std::optional<SimObjectDataInfo> info = decodeSimObjectData(message.body);
    if (!info)
        return;
    if (byType) {
        if (info->requestId != kTrafficDefinition)
            return;
        if (info->objectId != m_userObjectId) {
            if (const auto values = trafficDefinition().unpack(info->data))
                if (const auto aircraft = trafficFrom(*values))
                    m_traffic.append(*aircraft);
        }
        if (info->entryNumber >= info->outOf) {
            emit trafficUpdated(m_traffic);
            m_traffic.clear();
        }
        return;
    }
    const uint32_t request = info->requestId;
    if (request >= 1 && request <= uint32_t(simvars::kGroupCount)) {
        const auto values = simvars::groupDefinition(int(request)).unpack(info->data);
        if (!values)
            return;
        QList<double> numbers;
        numbers.reserve(values->size());
        for (const DatumValue &value : *values)
            numbers.append(numberOf(value));
        m_sample.setGroup(int(request), numbers);
        m_userObjectId = info->objectId;
        return;
    }
    if (request == kTankDefinition) {
        const auto values = simvars::tankDefinition().unpack(info->data);
        if (!values)
            return;
        QList<double> numbers;
        for (const DatumValue &value : *values)
            numbers.append(numberOf(value));
        const std::optional<simvars::TankLayout> layout = simvars::tankLayoutFrom(numbers);
        if (!layout)
            return;
        const bool changed = !m_tanks || !m_tanks->sameCapacities(*layout);
        m_tanks = layout;
        if (changed)
            emit tankLayoutChanged(*layout);
        emit tankQuantitiesUpdated(*layout);
        return;
    }
    const auto shot = m_oneShots.constFind(request);
    if (shot != m_oneShots.cend()) {
        const int callerId = *shot;
        m_oneShots.erase(shot);
        DataDefinition one;
        one.add({QStringLiteral("value"), QString()});
        const auto values = one.unpack(info->data);
        m_port->clearDataDefinition(request);
        const double value = values ? numberOf(values->first()) : 0.0;
        emit valueReceived(callerId, std::isfinite(value) ? value : 0.0);
    }
}

void SimConnectSession::handleEvent(const Message &message)
{
    std::optional<EventInfo> event;
    if (message.recvId() == RecvId::EventFilename) {
        if (const auto withFile = decodeEventFilename(message.body))
            event = withFile->event;
    } else {
        event = decodeEvent(message.body);
    }
    if (!event || event->eventId == 0 || event->eventId > std::size(kSystemEvents))
        return;
    const QString name = QLatin1String(kSystemEvents[event->eventId - 1]);
    if (name == QLatin1String("Pause"))
        m_paused = event->data != 0;
    emit systemEvent(name, event->eventId, event->data);
}

void SimConnectSession::logOnce(const QString &key, const QString &message)
{
    if (m_logged.contains(key))
        return;
    m_logged.insert(key);
    AppLogger::instance().log(AppLogger::Warning, kCategory, message);
}

bool SimConnectSession::canSetVariable(const QString &name) const
{
    return !simconnectevents::isForeignName(name) && !m_refusedVariables.contains(name);
}

uint32_t SimConnectSession::writeDefinition(const QString &name, const QString &units)
{
    const QString key = name + QLatin1Char('|') + units;
    const auto it = m_writeDefinitions.constFind(key);
    if (it != m_writeDefinitions.cend())
        return *it;
    if (m_nextWriteDefinition >= kMaxWriteDefinitions) {
        // Many different variables were written: start the cache over rather than grow it.
        for (uint32_t id : std::as_const(m_writeDefinitions))
            m_port->clearDataDefinition(id);
        m_writeDefinitions.clear();
        m_nextWriteDefinition = 0;
    }
    const uint32_t id = kFirstWriteDefinition + m_nextWriteDefinition++;
    remember(m_port->addToDataDefinition(id, name, units, DataType::Float64, 0, kUnused), Intent::Definition, name);
    m_writeDefinitions.insert(key, id);
    return id;
}

void SimConnectSession::setVariable(const QString &name, double value, const QString &units)
{
    if (!m_open)
        return;
    if (name == QLatin1String("AUTOPILOT_HEADING_LOCK_DIR")) {
        sendEvent(QStringLiteral("HEADING_BUG_SET"), simconnectevents::wholeDegrees(value));
        return;
    }
    if (!canSetVariable(name)) {
        logOnce(QStringLiteral("var:") + name,
                QStringLiteral("The variable %1 is not available on %2").arg(name, simName()));
        return;
    }
    if (!std::isfinite(value))
        return;
    const uint32_t definition = writeDefinition(name, units);
    DataDefinition one;
    one.add({name, units});
    remember(m_port->setDataOnSimObject(definition, kObjectIdUser, one.pack({value})), Intent::SetData, name);
}

uint32_t SimConnectSession::clientEvent(const QString &name)
{
    const auto it = m_events.constFind(name);
    if (it != m_events.cend())
        return *it;
    if (m_nextEvent >= kMaxMappedEvents)
        return 0;
    const uint32_t id = kFirstMappedEvent + m_nextEvent++;
    remember(m_port->mapClientEventToSimEvent(id, name), Intent::MapEvent, name);
    m_events.insert(name, id);
    return id;
}

void SimConnectSession::transmit(uint32_t eventId, quint32 data, const QString &name)
{
    remember(
        m_port->transmitClientEvent(kObjectIdUser, eventId, data, kGroupPriorityHighest, kEventFlagGroupIdIsPriority),
        Intent::TransmitEvent, name);
}

void SimConnectSession::sendEvent(const QString &name, quint32 data)
{
    if (!m_open || name.isEmpty())
        return;
    const simconnectevents::Translated translated = simconnectevents::translateRadioEvent(name, data, isMsfs(m_type));
    QString effective = translated.name;
    if (m_eventAliases.contains(effective))
        effective = m_eventAliases.value(effective);
    if (m_refusedEvents.contains(effective)) {
        logOnce(QStringLiteral("event:") + effective,
                QStringLiteral("The event %1 is not available on %2").arg(effective, simName()));
        return;
    }
    const uint32_t id = clientEvent(effective);
    if (id != 0)
        transmit(id, translated.data, effective);
}

void SimConnectSession::setPosition(const InitPosition &position)
{
    if (!m_open)
        return;
    DataDefinition initial;
    initial.add({QStringLiteral("Initial Position"), QString(), DataType::InitPosition});
    remember(m_port->setDataOnSimObject(kPositionDefinition, kObjectIdUser, initial.pack({position})), Intent::SetData,
             QStringLiteral("Initial Position"));
}

bool SimConnectSession::setPaused(bool paused)
{
    if (!m_open)
        return false;
    sendEvent(QStringLiteral("PAUSE_SET"), paused ? 1 : 0);
    return true;
}

bool SimConnectSession::setFrozen(bool position, bool attitude)
{
    if (!m_open)
        return false;
    // Holding the position means holding latitude/longitude and altitude together.
    sendEvent(QStringLiteral("FREEZE_LATITUDE_LONGITUDE_SET"), position ? 1 : 0);
    sendEvent(QStringLiteral("FREEZE_ALTITUDE_SET"), position ? 1 : 0);
    sendEvent(QStringLiteral("FREEZE_ATTITUDE_SET"), attitude ? 1 : 0);
    return true;
}

bool SimConnectSession::weatherAvailable() const
{
    // MSFS still exports the weather calls, but they have no effect there.
    return !isMsfs(m_type) && m_port->supports(ISimConnect::Capability::Weather);
}

bool SimConnectSession::setWeatherObservation(const QString &metar)
{
    if (!m_open)
        return false;
    if (!weatherAvailable()) {
        logOnce(QStringLiteral("weather"),
                QStringLiteral("Weather injection is not available on %1: its SimConnect has no working weather call")
                    .arg(simName()));
        return false;
    }
    // The simulator stops using its own weather source and applies the observation world-wide.
    remember(m_port->weatherSetModeCustom(), Intent::Weather, QStringLiteral("custom weather mode"));
    remember(m_port->weatherSetModeGlobal(), Intent::Weather, QStringLiteral("global weather mode"));
    remember(m_port->weatherSetObservation(0, metar.left(kMaxMetarLength - 1)), Intent::Weather,
             QStringLiteral("weather observation"));
    return true;
}

bool SimConnectSession::requestWeatherObservation(double lat, double lon)
{
    if (!m_open || !weatherAvailable())
        return false;
    remember(m_port->weatherRequestObservationAtNearestStation(kWeatherRequest, float(lat), float(lon)),
             Intent::Weather, QStringLiteral("weather observation request"));
    return true;
}

bool SimConnectSession::loadFlightPlan(const QString &path)
{
    if (!m_open)
        return false;
    if (!m_port->supports(ISimConnect::Capability::FlightPlanLoad)) {
        logOnce(QStringLiteral("plan"), QStringLiteral("Loading a flight plan is not available on %1").arg(simName()));
        return false;
    }
    remember(m_port->flightPlanLoad(path), Intent::FlightPlan, path);
    return true;
}

bool SimConnectSession::setCamera(float dx, float dy, float dz, float pitch, float bank, float heading)
{
    if (!m_open)
        return false;
    if (!m_port->supports(ISimConnect::Capability::Camera6Dof)) {
        logOnce(QStringLiteral("camera"),
                QStringLiteral("Moving the camera is not available on %1 through this library").arg(simName()));
        return false;
    }
    remember(m_port->cameraSetRelative6Dof(dx, dy, dz, pitch, bank, heading), Intent::Camera, QStringLiteral("camera"));
    return true;
}

void SimConnectSession::requestVariableOnce(const QString &name, const QString &units, int callerId)
{
    if (!m_open || !canSetVariable(name) || m_oneShots.size() >= int(kMaxOneShots)) {
        QTimer::singleShot(0, this, [this, callerId] { emit valueReceived(callerId, 0.0); });
        return;
    }
    uint32_t id = 0;
    do {
        id = kFirstOneShot + (m_nextOneShot++ % kMaxOneShots);
    } while (m_oneShots.contains(id));
    m_oneShots.insert(id, callerId);
    remember(m_port->addToDataDefinition(id, name, units, DataType::Float64, 0, kUnused), Intent::OneShot, name,
             int(id));
    remember(m_port->requestDataOnSimObject(id, id, kObjectIdUser, Period::Once, 0, 0, 0, 0), Intent::OneShot, name,
             int(id));
}

void SimConnectSession::setFacilityListener(ISimConnectFacilityListener *listener)
{
    m_facilityListener = listener;
    if (!listener)
        m_claimedSendIds.clear();
}

void SimConnectSession::claimSendId(uint32_t sendId)
{
    m_claimedSendIds.insert(sendId);
}

void SimConnectSession::releaseSendId(uint32_t sendId)
{
    m_claimedSendIds.remove(sendId);
}
