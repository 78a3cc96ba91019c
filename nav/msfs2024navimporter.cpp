#include "nav/msfs2024navimporter.h"

#include "app/log/applogger.h"

#include <QTimer>

#include <functional>

using namespace simconnect;

namespace {

const QString kSource = QStringLiteral("Msfs2024");

// Facility definition ids; the session's data definitions are a separate id space, but keeping
// clear of its numbers makes a capture readable.
constexpr uint32_t kCountsDefinition = 9001;
constexpr uint32_t kBaseDefinition = 9002;
constexpr uint32_t kFrequencyDefinition = 9003;
constexpr uint32_t kRunwayDefinition = 9004;
constexpr uint32_t kProcedureDefinition = 9005;
constexpr uint32_t kWaypointDefinition = 9006;
constexpr uint32_t kVorDefinition = 9007;
constexpr uint32_t kNdbDefinition = 9008;
constexpr uint32_t kTaxiDefinition = 9009;
// Request ids: the list, then one per facility request.
constexpr uint32_t kFirstListRequest = 0x4D300000;
constexpr uint32_t kFirstFacilityRequest = 0x4D310000;

QStringList legLines(const QString &list)
{
    return {QStringLiteral("OPEN ") + list, QStringLiteral("TYPE"),        QStringLiteral("FIX_ICAO"),
            QStringLiteral("FIX_REGION"),   QStringLiteral("FIX_TYPE"),    QStringLiteral("ALTITUDE1"),
            QStringLiteral("ALTITUDE2"),    QStringLiteral("SPEED_LIMIT"), QStringLiteral("CLOSE ") + list};
}

QStringList runwayEndLines(const QString &end)
{
    QStringList lines;
    for (const char *pavement : {"THRESHOLD", "BLASTPAD", "OVERRUN"}) {
        const QString block = end + QLatin1String(pavement);
        lines << QStringLiteral("OPEN ") + block << QStringLiteral("LENGTH") << QStringLiteral("CLOSE ") + block;
    }
    const QString lights = end + QStringLiteral("APPROACH_LIGHTS");
    lines << QStringLiteral("OPEN ") + lights << QStringLiteral("SYSTEM") << QStringLiteral("HAS_END_LIGHTS")
          << QStringLiteral("HAS_REIL_LIGHTS") << QStringLiteral("HAS_TOUCHDOWN_LIGHTS")
          << QStringLiteral("CLOSE ") + lights;
    for (const char *side : {"LEFT_VASI", "RIGHT_VASI"}) {
        const QString block = end + QLatin1String(side);
        lines << QStringLiteral("OPEN ") + block << QStringLiteral("TYPE") << QStringLiteral("ANGLE")
              << QStringLiteral("CLOSE ") + block;
    }
    return lines;
}

QStringList countsLines()
{
    return {QStringLiteral("OPEN AIRPORT"), QStringLiteral("ICAO"),          QStringLiteral("N_RUNWAYS"),
            QStringLiteral("N_STARTS"),     QStringLiteral("N_FREQUENCIES"), QStringLiteral("N_HELIPADS"),
            QStringLiteral("N_APPROACHES"), QStringLiteral("N_DEPARTURES"),  QStringLiteral("N_ARRIVALS"),
            QStringLiteral("CLOSE AIRPORT")};
}

QStringList baseLines()
{
    return {QStringLiteral("OPEN AIRPORT"), QStringLiteral("REGION"),   QStringLiteral("LATITUDE"),
            QStringLiteral("LONGITUDE"),    QStringLiteral("ALTITUDE"), QStringLiteral("NAME64"),
            QStringLiteral("CLOSE AIRPORT")};
}

QStringList frequencyLines()
{
    return {QStringLiteral("OPEN AIRPORT"), QStringLiteral("OPEN FREQUENCY"), QStringLiteral("TYPE"),
            QStringLiteral("FREQUENCY"),    QStringLiteral("NAME"),           QStringLiteral("CLOSE FREQUENCY"),
            QStringLiteral("CLOSE AIRPORT")};
}

QStringList runwayLines()
{
    QStringList lines = {QStringLiteral("OPEN AIRPORT"), QStringLiteral("OPEN RUNWAY")};
    for (const char *field : {"LATITUDE", "LONGITUDE", "ALTITUDE", "HEADING", "LENGTH", "WIDTH", "PATTERN_ALTITUDE",
                              "SURFACE", "PRIMARY_NUMBER", "PRIMARY_DESIGNATOR", "PRIMARY_ILS_ICAO",
                              "PRIMARY_ILS_REGION", "PRIMARY_ILS_TYPE", "SECONDARY_NUMBER", "SECONDARY_DESIGNATOR",
                              "SECONDARY_ILS_ICAO", "SECONDARY_ILS_REGION", "SECONDARY_ILS_TYPE"})
        lines << QLatin1String(field);
    lines << runwayEndLines(QStringLiteral("PRIMARY_")) << runwayEndLines(QStringLiteral("SECONDARY_"));
    lines << QStringLiteral("CLOSE RUNWAY") << QStringLiteral("OPEN START") << QStringLiteral("CLOSE START")
          << QStringLiteral("CLOSE AIRPORT");
    return lines;
}

QStringList procedureLines()
{
    QStringList lines = {QStringLiteral("OPEN AIRPORT"), QStringLiteral("OPEN APPROACH")};
    for (const char *field : {"TYPE", "SUFFIX", "RUNWAY_NUMBER", "RUNWAY_DESIGNATOR", "FAF_ICAO", "FAF_REGION",
                              "FAF_ALTITUDE", "FAF_TYPE", "MISSED_ALTITUDE", "IS_RNPAR"})
        lines << QLatin1String(field);
    lines << QStringLiteral("OPEN APPROACH_TRANSITION") << QStringLiteral("TYPE") << QStringLiteral("IAF_ICAO")
          << QStringLiteral("IAF_REGION") << QStringLiteral("IAF_TYPE") << legLines(QStringLiteral("APPROACH_LEG"))
          << QStringLiteral("CLOSE APPROACH_TRANSITION") << legLines(QStringLiteral("FINAL_APPROACH_LEG"))
          << legLines(QStringLiteral("MISSED_APPROACH_LEG")) << QStringLiteral("CLOSE APPROACH");
    for (const char *kind : {"DEPARTURE", "ARRIVAL"}) {
        const QString block = QLatin1String(kind);
        lines << QStringLiteral("OPEN ") + block << QStringLiteral("NAME") << legLines(QStringLiteral("APPROACH_LEG"))
              << QStringLiteral("OPEN RUNWAY_TRANSITION") << QStringLiteral("RUNWAY_NUMBER")
              << QStringLiteral("RUNWAY_DESIGNATOR") << legLines(QStringLiteral("APPROACH_LEG"))
              << QStringLiteral("CLOSE RUNWAY_TRANSITION") << QStringLiteral("OPEN ENROUTE_TRANSITION")
              << QStringLiteral("NAME") << legLines(QStringLiteral("APPROACH_LEG"))
              << QStringLiteral("CLOSE ENROUTE_TRANSITION") << QStringLiteral("CLOSE ") + block;
    }
    lines << QStringLiteral("CLOSE AIRPORT");
    return lines;
}

QStringList waypointLines()
{
    return {QStringLiteral("OPEN WAYPOINT"), QStringLiteral("LATITUDE"),      QStringLiteral("LONGITUDE"),
            QStringLiteral("TYPE"),          QStringLiteral("OPEN ROUTE"),    QStringLiteral("NAME"),
            QStringLiteral("TYPE"),          QStringLiteral("NEXT_ICAO"),     QStringLiteral("NEXT_REGION"),
            QStringLiteral("NEXT_TYPE"),     QStringLiteral("NEXT_ALTITUDE"), QStringLiteral("PREV_ICAO"),
            QStringLiteral("PREV_REGION"),   QStringLiteral("PREV_TYPE"),     QStringLiteral("PREV_ALTITUDE"),
            QStringLiteral("CLOSE ROUTE"),   QStringLiteral("CLOSE WAYPOINT")};
}

QStringList ndbLines()
{
    return {QStringLiteral("OPEN NDB"), QStringLiteral("FREQUENCY"), QStringLiteral("RANGE"),
            QStringLiteral("LATITUDE"), QStringLiteral("LONGITUDE"), QStringLiteral("ALTITUDE"),
            QStringLiteral("NAME"),     QStringLiteral("CLOSE NDB")};
}

QStringList vorLines()
{
    QStringList lines = {QStringLiteral("OPEN VOR")};
    for (const char *field : {"VOR_LATITUDE",
                              "VOR_LONGITUDE",
                              "VOR_ALTITUDE",
                              "DME_LATITUDE",
                              "DME_LONGITUDE",
                              "DME_ALTITUDE",
                              "GS_LATITUDE",
                              "GS_LONGITUDE",
                              "GS_ALTITUDE",
                              "TYPE",
                              "FREQUENCY",
                              "IS_NAV",
                              "IS_DME",
                              "IS_TACAN",
                              "HAS_GLIDE_SLOPE",
                              "DME_AT_NAV",
                              "DME_AT_GLIDE_SLOPE",
                              "HAS_BACK_COURSE",
                              "NAV_RANGE",
                              "MAGVAR",
                              "LOCALIZER",
                              "LOCALIZER_WIDTH",
                              "GLIDE_SLOPE",
                              "LS_CATEGORY",
                              "NAME"})
        lines << QLatin1String(field);
    lines << QStringLiteral("CLOSE VOR");
    return lines;
}

QStringList taxiLines()
{
    QStringList lines = {QStringLiteral("OPEN AIRPORT"), QStringLiteral("ICAO"), QStringLiteral("OPEN TAXI_PARKING")};
    for (const char *field : {"TYPE", "TAXI_POINT_TYPE", "NAME", "SUFFIX", "NUMBER", "ORIENTATION", "HEADING", "RADIUS",
                              "BIAS_X", "BIAS_Z"})
        lines << QLatin1String(field);
    lines << QStringLiteral("CLOSE TAXI_PARKING") << QStringLiteral("OPEN TAXI_POINT") << QStringLiteral("TYPE")
          << QStringLiteral("ORIENTATION") << QStringLiteral("BIAS_X") << QStringLiteral("BIAS_Z")
          << QStringLiteral("CLOSE TAXI_POINT") << QStringLiteral("OPEN TAXI_PATH");
    for (const char *field : {"TYPE", "WIDTH", "RUNWAY_NUMBER", "RUNWAY_DESIGNATOR", "LEFT_EDGE_LIGHTED",
                              "RIGHT_EDGE_LIGHTED", "CENTER_LINE_LIGHTED", "START", "END", "NAME_INDEX"})
        lines << QLatin1String(field);
    lines << QStringLiteral("CLOSE TAXI_PATH") << QStringLiteral("OPEN TAXI_NAME") << QStringLiteral("NAME")
          << QStringLiteral("CLOSE TAXI_NAME") << QStringLiteral("CLOSE AIRPORT");
    return lines;
}

void log(AppLogger::Level level, const QString &message)
{
    AppLogger::instance().log(level, kSource, message);
}

// Fix types the walk follows: waypoints, VORs (ILS among them) and NDBs; runways and airports
// are not navaids.
bool isNavaidType(int type)
{
    return type == 'W' || type == 'V' || type == 'N';
}

} // namespace

Msfs2024NavImporter::Msfs2024NavImporter(QObject *parent) : QObject(parent), m_replyTimer(new QTimer(this))
{
    m_replyTimer->setSingleShot(true);
    connect(m_replyTimer, &QTimer::timeout, this, &Msfs2024NavImporter::onReplyTimeout);
}

Msfs2024NavImporter::~Msfs2024NavImporter()
{
    if (m_session)
        m_session->setFacilityListener(nullptr);
}

void Msfs2024NavImporter::setSession(SimConnectSession *session)
{
    if (m_session == session)
        return;
    if (isRunning())
        cancel();
    if (m_session) {
        m_session->setFacilityListener(nullptr);
        disconnect(m_session, nullptr, this, nullptr);
    }
    m_session = session;
    m_definitionsRegistered = false;
    m_taxiRegistered = false;
    if (m_session) {
        // A new connection knows none of the definitions made on the old one.
        connect(m_session, &SimConnectSession::opened, this, [this] {
            m_definitionsRegistered = false;
            m_taxiRegistered = false;
        });
        connect(m_session, &SimConnectSession::closed, this, [this](const QString &reason) {
            m_definitionsRegistered = false;
            m_taxiRegistered = false;
            if (isRunning())
                fail(QStringLiteral("The simulator connection closed during the import: %1").arg(reason));
        });
    }
}

QString Msfs2024NavImporter::navaidKey(const QString &ident, const QString &region, char type)
{
    return QStringLiteral("%1:%2:%3").arg(ident, region, QString(QLatin1Char(type)));
}

QString Msfs2024NavImporter::phaseText(Phase phase)
{
    switch (phase) {
    case RegisterDefinitions:
        return QStringLiteral("注册设施定义...");
    case AirportList:
        return QStringLiteral("加载机场列表...");
    case AirportCounts:
        return QStringLiteral("加载机场设施数量...");
    case AirportBase:
        return QStringLiteral("加载机场基本信息...");
    case Frequencies:
        return QStringLiteral("加载频率信息...");
    case Runways:
        return QStringLiteral("加载跑道信息...");
    case Procedures:
        return QStringLiteral("加载程序信息 (SID/STAR/Approach)...");
    case Navaids:
        return QStringLiteral("广度优先遍历导航设施...");
    case Writing:
        return QStringLiteral("写入数据库...");
    case Done:
        return QStringLiteral("导入完成");
    case Idle:
        break;
    }
    return QString();
}

bool Msfs2024NavImporter::importToDatabase(const QString &path)
{
    if (isRunning())
        return false;
    if (!m_session || !m_session->isOpen() || !m_session->port()->supports(ISimConnect::Capability::Facilities)) {
        log(AppLogger::Warning, QStringLiteral("No open MSFS 2024 connection with the facility interface"));
        return false;
    }
    m_path = path;
    m_airports.clear();
    m_navaids.clear();
    m_navaidQueue.clear();
    m_navaidsSeen.clear();
    m_airways.clear();
    m_failures.clear();
    m_requests.clear();
    m_sendToRequest.clear();
    m_session->setFacilityListener(this);
    startPhase(RegisterDefinitions);
    if (!registerFacilityDefinitions())
        return true; // failed, reported through importFinished
    startPhase(AirportList);
    requestAirportList();
    return true;
}

void Msfs2024NavImporter::startPhase(Phase phase)
{
    m_phase = phase;
    log(AppLogger::Info, phaseText(phase));
    emit phaseStarted(int(phase), phaseText(phase));
    emit importProgress(phaseText(phase), 0, 0);
}

bool Msfs2024NavImporter::addDefinition(uint32_t defineId, const QStringList &lines, FacilityDefinition *definition)
{
    *definition = FacilityDefinition();
    for (const QString &line : lines) {
        QString error;
        const ISimConnect::Result result = m_session->port()->addToFacilityDefinition(defineId, line);
        if (!result.ok || !definition->add(line, &error)) {
            fail(QStringLiteral("Failed to register data definition: %1").arg(line));
            return false;
        }
        m_session->claimSendId(result.sendId);
        m_definitionCalls.insert(result.sendId, line);
    }
    return true;
}

bool Msfs2024NavImporter::registerFacilityDefinitions()
{
    if (m_definitionsRegistered)
        return true;
    m_definitionCalls.clear();
    const bool ok = addDefinition(kCountsDefinition, countsLines(), &m_countsDefinition) &&
                    addDefinition(kBaseDefinition, baseLines(), &m_baseDefinition) &&
                    addDefinition(kFrequencyDefinition, frequencyLines(), &m_frequencyDefinition) &&
                    addDefinition(kRunwayDefinition, runwayLines(), &m_runwayDefinition) &&
                    addDefinition(kProcedureDefinition, procedureLines(), &m_procedureDefinition) &&
                    addDefinition(kWaypointDefinition, waypointLines(), &m_waypointDefinition) &&
                    addDefinition(kVorDefinition, vorLines(), &m_vorDefinition) &&
                    addDefinition(kNdbDefinition, ndbLines(), &m_ndbDefinition);
    m_definitionsRegistered = ok;
    return ok;
}

bool Msfs2024NavImporter::requestAirportList()
{
    ISimConnect *port = m_session->port();
    m_listRequest = kFirstListRequest + m_nextRequestId++;
    m_listPackets.clear();
    m_listPacketCount = 0;
    // The 2024 call lists the whole world; the older one what the simulator has cached.
    const bool whole = port->supports(ISimConnect::Capability::AllFacilities);
    if (!whole)
        log(AppLogger::Info, QStringLiteral("RequestAllFacilities is not available on %1; the airports come from "
                                            "RequestFacilitiesList")
                                 .arg(port->description()));
    const ISimConnect::Result result = whole ? port->requestAllFacilities(FacilityListType::Airport, m_listRequest)
                                             : port->requestFacilitiesList(FacilityListType::Airport, m_listRequest);
    if (!result.ok) {
        fail(QStringLiteral("Failed to request airport list"));
        return false;
    }
    m_session->claimSendId(result.sendId);
    m_sendToRequest.insert(result.sendId, m_listRequest);
    m_replyTimer->start(m_replyTimeoutMs);
    return true;
}

void Msfs2024NavImporter::handleAirportList(const Message &message)
{
    const std::optional<FacilityListInfo> list =
        decodeFacilityList(message.recvId(), message.body, m_session->layout());
    if (!list || list->header.requestId != m_listRequest || list->header.outOf == 0 ||
        list->header.entryNumber >= list->header.outOf)
        return;
    m_listPacketCount = list->header.outOf;
    m_listPackets.insert(list->header.entryNumber, *list);
    emit importProgress(phaseText(AirportList), int(m_listPackets.size()), int(m_listPacketCount));
    if (uint32_t(m_listPackets.size()) < m_listPacketCount)
        return;
    QSet<QString> seen;
    for (uint32_t i = 0; i < m_listPacketCount; ++i) {
        for (const FacilityListItem &item : m_listPackets.value(i).items) {
            if (item.ident.isEmpty() || seen.contains(item.ident))
                continue;
            seen.insert(item.ident);
            FacilityNode airport;
            airport.type = FacilityType::Airport;
            airport.block = QStringLiteral("AIRPORT");
            airport.values.insert(QStringLiteral("ICAO"), item.ident);
            airport.values.insert(QStringLiteral("REGION"), item.region);
            airport.values.insert(QStringLiteral("LATITUDE"), item.lat);
            airport.values.insert(QStringLiteral("LONGITUDE"), item.lon);
            airport.values.insert(QStringLiteral("ALTITUDE"), item.altM);
            m_airports.append(airport);
        }
    }
    m_listPackets.clear();
    log(AppLogger::Info, QStringLiteral("%1 airports listed").arg(m_airports.size()));
    requestAirports(0, AirportCounts, QStringLiteral("设施数量"));
}

void Msfs2024NavImporter::requestAirports(int first, Phase phase, const QString &label)
{
    startPhase(phase);
    m_phaseLabel = label;
    m_nextAirport = first;
    m_airportsDone = 0;
    m_airportsWanted = 0;
    for (const FacilityNode &airport : std::as_const(m_airports))
        m_airportsWanted += wantsAirport(phase, airport) ? 1 : 0;
    requestNextAirportBatch();
}

bool Msfs2024NavImporter::wantsAirport(Phase phase, const FacilityNode &airport) const
{
    // The counts say which airports have anything of a kind; the others are not asked.
    switch (phase) {
    case Frequencies:
        return airport.intValue(QStringLiteral("N_FREQUENCIES")) > 0;
    case Runways:
        return airport.intValue(QStringLiteral("N_RUNWAYS")) > 0 || airport.intValue(QStringLiteral("N_STARTS")) > 0;
    case Procedures:
        return airport.intValue(QStringLiteral("N_APPROACHES")) + airport.intValue(QStringLiteral("N_DEPARTURES")) +
                   airport.intValue(QStringLiteral("N_ARRIVALS")) >
               0;
    default:
        return true;
    }
}

void Msfs2024NavImporter::requestNextAirportBatch()
{
    uint32_t defineId = 0;
    const FacilityDefinition *definition = nullptr;
    switch (m_phase) {
    case AirportCounts:
        defineId = kCountsDefinition;
        definition = &m_countsDefinition;
        break;
    case AirportBase:
        defineId = kBaseDefinition;
        definition = &m_baseDefinition;
        break;
    case Frequencies:
        defineId = kFrequencyDefinition;
        definition = &m_frequencyDefinition;
        break;
    case Runways:
        defineId = kRunwayDefinition;
        definition = &m_runwayDefinition;
        break;
    case Procedures:
        defineId = kProcedureDefinition;
        definition = &m_procedureDefinition;
        break;
    default:
        return;
    }
    emit importProgress(QStringLiteral("%1 (%2/%3)").arg(m_phaseLabel).arg(m_airportsDone).arg(m_airportsWanted),
                        m_airportsDone, m_airportsWanted);
    int sent = 0;
    while (m_nextAirport < m_airports.size() && sent < m_batchSize) {
        const int index = m_nextAirport++;
        const FacilityNode &airport = m_airports.at(index);
        if (!wantsAirport(m_phase, airport))
            continue;
        Request request;
        request.what = airport.text(QStringLiteral("ICAO"));
        request.airport = index;
        if (!sendRequest(defineId, definition, request.what, QString(), 0, request))
            return;
        ++sent;
    }
    if (sent > 0)
        return;
    // Phase over: the next one, or the walk after the procedures.
    switch (m_phase) {
    case AirportCounts:
        requestAirports(0, AirportBase, QStringLiteral("基本信息"));
        break;
    case AirportBase:
        requestAirports(0, Frequencies, QStringLiteral("频率"));
        break;
    case Frequencies:
        requestAirports(0, Runways, QStringLiteral("跑道"));
        break;
    case Runways:
        requestAirports(0, Procedures, QStringLiteral("程序"));
        break;
    case Procedures:
        startPhase(Navaids);
        requestNavaids(true);
        break;
    default:
        break;
    }
}

bool Msfs2024NavImporter::sendRequest(uint32_t defineId, const FacilityDefinition *definition, const QString &icao,
                                      const QString &region, char type, Request request)
{
    request.requestId = kFirstFacilityRequest + m_nextRequestId++;
    const ISimConnect::Result result =
        m_session->port()->requestFacilityData(defineId, request.requestId, icao, region, type);
    if (!result.ok) {
        fail(request.taxi ? QStringLiteral("Failed to request airport taxi data: %1").arg(icao)
                          : QStringLiteral("Facility request for %1 was not sent").arg(request.what));
        return false;
    }
    m_session->claimSendId(result.sendId);
    m_sendToRequest.insert(result.sendId, request.requestId);
    request.sendId = result.sendId;
    m_requests.insert(request.requestId, request);
    m_assembler.expect(request.requestId, definition);
    ++m_batchOutstanding;
    m_replyTimer->start(m_replyTimeoutMs);
    return true;
}

void Msfs2024NavImporter::facilityMessage(const Message &message)
{
    if (m_phase == Idle)
        return;
    m_replyTimer->start(m_replyTimeoutMs);
    switch (message.recvId()) {
    case RecvId::AirportList:
    case RecvId::FacilityMinimalList:
        if (m_phase == AirportList)
            handleAirportList(message);
        return;
    case RecvId::FacilityData:
        if (const std::optional<FacilityDataInfo> data = decodeFacilityData(message.body))
            m_assembler.add(*data);
        return;
    case RecvId::FacilityDataEnd:
        break;
    default:
        return;
    }
    const std::optional<uint32_t> requestId = decodeFacilityDataEnd(message.body);
    if (!requestId || !m_requests.contains(*requestId))
        return;
    const Request request = m_requests.take(*requestId);
    // Answered: no exception can follow for it.
    m_session->releaseSendId(request.sendId);
    m_sendToRequest.remove(request.sendId);
    QString error;
    const std::optional<FacilityNode> node = m_assembler.finish(*requestId, &error);
    if (!node) {
        m_failures.append(QStringLiteral("%1: %2").arg(request.what, error));
        log(AppLogger::Warning, QStringLiteral("Facility data of %1 unusable: %2").arg(request.what, error));
    } else if (request.taxi) {
        m_taxi = node;
    } else if (request.airport >= 0) {
        storeAirport(request.airport, *node);
    } else {
        storeNavaid(request.navaid, *node);
    }
    requestDone();
    if (request.taxi) {
        endRun();
        emit taxiFetched(request.what, node.has_value());
    }
}

void Msfs2024NavImporter::facilityException(const ExceptionInfo &exception)
{
    if (m_phase == Idle)
        return;
    const auto definitionLine = m_definitionCalls.constFind(exception.sendId);
    if (definitionLine != m_definitionCalls.cend()) {
        fail(QStringLiteral("Failed to register data definition: %1").arg(*definitionLine));
        return;
    }
    const auto it = m_sendToRequest.constFind(exception.sendId);
    if (it == m_sendToRequest.cend())
        return;
    const uint32_t requestId = *it;
    if (requestId == m_listRequest) {
        fail(QStringLiteral("Failed to request airport list"));
        return;
    }
    if (!m_requests.contains(requestId))
        return;
    const Request request = m_requests.take(requestId);
    m_assembler.drop(requestId);
    const QString failure = QStringLiteral("%1: %2").arg(request.what, exceptionName(exception.code));
    m_failures.append(failure);
    log(AppLogger::Warning, QStringLiteral("The simulator refused the facility %1").arg(failure));
    requestDone();
    if (request.taxi)
        fail(QStringLiteral("Failed to request airport taxi data: %1").arg(request.what));
}

void Msfs2024NavImporter::requestDone()
{
    if (m_batchOutstanding > 0)
        --m_batchOutstanding;
    if (m_phase >= AirportCounts && m_phase <= Procedures) {
        ++m_airportsDone;
        if (m_batchOutstanding == 0)
            requestNextAirportBatch();
    } else if (m_phase == Navaids) {
        if (m_batchOutstanding == 0)
            requestNavaids(false);
    }
}

void Msfs2024NavImporter::storeAirport(int index, const FacilityNode &node)
{
    FacilityNode &airport = m_airports[index];
    for (auto it = node.values.cbegin(); it != node.values.cend(); ++it)
        airport.values.insert(it.key(), it.value());
    airport.children.append(node.children);
    if (m_phase == Runways) {
        for (const FacilityNode &runway : node.childrenOf(FacilityType::Runway)) {
            for (const char *end : {"PRIMARY", "SECONDARY"}) {
                const QString prefix = QLatin1String(end);
                if (runway.intValue(prefix + QStringLiteral("_ILS_TYPE")) != 0)
                    enqueueNavaid(runway.text(prefix + QStringLiteral("_ILS_ICAO")),
                                  runway.text(prefix + QStringLiteral("_ILS_REGION")), 'V');
            }
        }
    } else if (m_phase == Procedures) {
        // Every fix a leg, transition or approach names starts the walk.
        std::function<void(const FacilityNode &)> seed = [&](const FacilityNode &n) {
            enqueueNavaid(n.text(QStringLiteral("FIX_ICAO")), n.text(QStringLiteral("FIX_REGION")),
                          n.intValue(QStringLiteral("FIX_TYPE")));
            enqueueNavaid(n.text(QStringLiteral("IAF_ICAO")), n.text(QStringLiteral("IAF_REGION")),
                          n.intValue(QStringLiteral("IAF_TYPE")));
            enqueueNavaid(n.text(QStringLiteral("FAF_ICAO")), n.text(QStringLiteral("FAF_REGION")),
                          n.intValue(QStringLiteral("FAF_TYPE")));
            for (const FacilityNode &child : n.children)
                seed(child);
        };
        for (const FacilityNode &procedure : node.children)
            seed(procedure);
    }
}

void Msfs2024NavImporter::enqueueNavaid(const QString &ident, const QString &region, int type)
{
    if (ident.isEmpty() || !isNavaidType(type))
        return;
    const QString key = navaidKey(ident, region, char(type));
    if (m_navaidsSeen.contains(key))
        return;
    m_navaidsSeen.insert(key);
    m_navaidQueue.enqueue(key);
}

bool Msfs2024NavImporter::requestNavaids(bool first)
{
    if (first)
        m_batchOutstanding = 0;
    const int processed = int(m_navaidsSeen.size() - m_navaidQueue.size()) - m_batchOutstanding;
    emit importProgress(
        QStringLiteral("加载导航设施... (%1 已处理, %2 队列剩余)").arg(processed).arg(m_navaidQueue.size()), processed,
        int(m_navaidsSeen.size()));
    const bool typed = m_session->port()->supports(ISimConnect::Capability::FacilityDataEx1);
    int sent = 0;
    while (!m_navaidQueue.isEmpty() && sent < m_batchSize) {
        const QString key = m_navaidQueue.dequeue();
        const QStringList parts = key.split(QLatin1Char(':'));
        const char type = parts.value(2).isEmpty() ? 'W' : parts.value(2).at(0).toLatin1();
        const uint32_t defineId = type == 'V' ? kVorDefinition : type == 'N' ? kNdbDefinition : kWaypointDefinition;
        const FacilityDefinition *definition = type == 'V'   ? &m_vorDefinition
                                               : type == 'N' ? &m_ndbDefinition
                                                             : &m_waypointDefinition;
        Request request;
        request.what = key;
        request.navaid = key;
        if (!sendRequest(defineId, definition, parts.value(0), parts.value(1), typed ? type : 0, request))
            return false;
        ++sent;
    }
    if (sent == 0 && m_batchOutstanding == 0) {
        log(AppLogger::Info,
            QStringLiteral("%1 navaids and %2 airway segments found").arg(m_navaids.size()).arg(m_airways.size()));
        finishImport();
    }
    return true;
}

void Msfs2024NavImporter::storeNavaid(const QString &key, const FacilityNode &node)
{
    m_navaids.insert(key, node);
    if (node.type != FacilityType::Waypoint)
        return;
    for (const FacilityNode &route : node.childrenOf(FacilityType::Route)) {
        const QString next = route.text(QStringLiteral("NEXT_ICAO"));
        const int nextType = route.intValue(QStringLiteral("NEXT_TYPE"));
        if (!next.isEmpty() && isNavaidType(nextType)) {
            // Each segment once: from the point that names the other as next.
            m_airways.append({route.text(QStringLiteral("NAME")), route.intValue(QStringLiteral("TYPE")), key,
                              navaidKey(next, route.text(QStringLiteral("NEXT_REGION")), char(nextType))});
            enqueueNavaid(next, route.text(QStringLiteral("NEXT_REGION")), nextType);
        }
        enqueueNavaid(route.text(QStringLiteral("PREV_ICAO")), route.text(QStringLiteral("PREV_REGION")),
                      route.intValue(QStringLiteral("PREV_TYPE")));
    }
}

void Msfs2024NavImporter::finishImport()
{
    m_replyTimer->stop();
    startPhase(Writing);
    if (!writeAllToDatabase(m_path)) {
        fail(QStringLiteral("Writing %1 failed").arg(m_path));
        return;
    }
    startPhase(Done);
    QString message = QStringLiteral("MSFS 2024: %1 airports, %2 navaids, %3 airway segments imported")
                          .arg(m_airports.size())
                          .arg(m_navaids.size())
                          .arg(m_airways.size());
    if (!m_failures.isEmpty())
        message += QStringLiteral("; %1 facilities refused by the simulator").arg(m_failures.size());
    log(AppLogger::Info, message);
    endRun();
    emit importFinished(message, true);
}

void Msfs2024NavImporter::fail(const QString &message)
{
    if (m_phase == Idle)
        return;
    if (m_taxiRun) {
        log(AppLogger::Warning, message);
        if (message.startsWith(QLatin1String("Failed to register")))
            log(AppLogger::Warning, QStringLiteral("Failed to register taxi data definition"));
        const QString icao = m_taxiIcao;
        endRun();
        emit taxiFetched(icao, false);
        return;
    }
    log(AppLogger::Error, message);
    endRun();
    emit importFinished(message, false);
}

void Msfs2024NavImporter::cancel()
{
    if (!isRunning())
        return;
    if (m_taxiRun) {
        endRun();
        emit taxiFetched(m_taxiIcao, false);
        return;
    }
    log(AppLogger::Info, QStringLiteral("MSFS 2024 import cancelled; the database is unchanged"));
    endRun();
    emit importFinished(QStringLiteral("MSFS 2024 import cancelled"), false);
}

void Msfs2024NavImporter::endRun()
{
    m_phase = Idle;
    m_taxiRun = false;
    m_replyTimer->stop();
    for (auto it = m_requests.cbegin(); it != m_requests.cend(); ++it)
        m_assembler.drop(it.key());
    m_requests.clear();
    m_sendToRequest.clear();
    m_definitionCalls.clear();
    m_batchOutstanding = 0;
    // Replies still on their way to requests given up are ignored: nothing expects them.
}

void Msfs2024NavImporter::onReplyTimeout()
{
    if (m_phase == Idle)
        return;
    if (m_taxiRun) {
        fail(QStringLiteral("Failed to request airport taxi data: %1").arg(m_taxiIcao));
        return;
    }
    fail(QStringLiteral("The simulator stopped answering during \"%1\"").arg(phaseText(m_phase)));
}

bool Msfs2024NavImporter::requestAirportTaxi(const QString &icao, double lat, double lon)
{
    if (isRunning() || !m_session || !m_session->isOpen() ||
        !m_session->port()->supports(ISimConnect::Capability::Facilities))
        return false;
    m_session->setFacilityListener(this);
    m_phase = Writing; // busy; not one of the import's phases that react to batches
    m_taxiRun = true;
    m_taxiIcao = icao;
    m_taxiLat = lat;
    m_taxiLon = lon;
    m_taxi.reset();
    if (!m_taxiRegistered) {
        if (!addDefinition(kTaxiDefinition, taxiLines(), &m_taxiDefinition))
            return false;
        m_taxiRegistered = true;
    }
    Request request;
    request.what = icao;
    request.taxi = true;
    return sendRequest(kTaxiDefinition, &m_taxiDefinition, icao, QString(), 0, request);
}
