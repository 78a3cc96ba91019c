#include "sim/simconnect/simconnectfacility.h"

#include "sim/simconnect/simconnectbytes.h"

#include <QSet>

#include <algorithm>
#include <functional>

namespace simconnect {

namespace {

using Kind = FacilityField::Kind;

struct FieldLayout
{
    const char *name;
    Kind kind;
    int width;
};

constexpr int kIdentWidth = 8;
constexpr int kNameWidth = 64;
constexpr int kProcedureNameWidth = 8;
constexpr int kRouteNameWidth = 32;
constexpr int kTaxiNameWidth = 32;

const FieldLayout kAirportFields[] = {
    {"ICAO", Kind::Text, kIdentWidth},      {"REGION", Kind::Text, kIdentWidth},
    {"LATITUDE", Kind::Float64, 8},         {"LONGITUDE", Kind::Float64, 8},
    {"ALTITUDE", Kind::Float64, 8},         {"NAME64", Kind::Text, kNameWidth},
    {"TOWER_LATITUDE", Kind::Float64, 8},   {"TOWER_LONGITUDE", Kind::Float64, 8},
    {"TOWER_ALTITUDE", Kind::Float64, 8},   {"TRANSITION_ALTITUDE", Kind::Float32, 4},
    {"TRANSITION_LEVEL", Kind::Float32, 4}, {"N_RUNWAYS", Kind::Int32, 4},
    {"N_STARTS", Kind::Int32, 4},           {"N_FREQUENCIES", Kind::Int32, 4},
    {"N_HELIPADS", Kind::Int32, 4},         {"N_APPROACHES", Kind::Int32, 4},
    {"N_DEPARTURES", Kind::Int32, 4},       {"N_ARRIVALS", Kind::Int32, 4},
    {"N_TAXI_POINTS", Kind::Int32, 4},      {"N_TAXI_PARKINGS", Kind::Int32, 4},
    {"N_TAXI_PATHS", Kind::Int32, 4},       {"N_TAXI_NAMES", Kind::Int32, 4},
    {"N_JETWAYS", Kind::Int32, 4},
};

const FieldLayout kRunwayFields[] = {
    {"LATITUDE", Kind::Float64, 8},
    {"LONGITUDE", Kind::Float64, 8},
    {"ALTITUDE", Kind::Float64, 8},
    {"HEADING", Kind::Float32, 4},
    {"LENGTH", Kind::Float32, 4},
    {"WIDTH", Kind::Float32, 4},
    {"PATTERN_ALTITUDE", Kind::Float32, 4},
    {"SURFACE", Kind::Int32, 4},
    {"PRIMARY_NUMBER", Kind::Int32, 4},
    {"PRIMARY_DESIGNATOR", Kind::Int32, 4},
    {"PRIMARY_ILS_ICAO", Kind::Text, kIdentWidth},
    {"PRIMARY_ILS_REGION", Kind::Text, kIdentWidth},
    {"PRIMARY_ILS_TYPE", Kind::Int32, 4},
    {"SECONDARY_NUMBER", Kind::Int32, 4},
    {"SECONDARY_DESIGNATOR", Kind::Int32, 4},
    {"SECONDARY_ILS_ICAO", Kind::Text, kIdentWidth},
    {"SECONDARY_ILS_REGION", Kind::Text, kIdentWidth},
    {"SECONDARY_ILS_TYPE", Kind::Int32, 4},
};

const FieldLayout kPavementFields[] = {{"LENGTH", Kind::Float32, 4}, {"WIDTH", Kind::Float32, 4}};
const FieldLayout kApproachLightFields[] = {
    {"SYSTEM", Kind::Int32, 4},
    {"HAS_END_LIGHTS", Kind::Int32, 4},
    {"HAS_REIL_LIGHTS", Kind::Int32, 4},
    {"HAS_TOUCHDOWN_LIGHTS", Kind::Int32, 4},
};
const FieldLayout kVasiFields[] = {{"TYPE", Kind::Int32, 4}, {"ANGLE", Kind::Float32, 4}};

const FieldLayout kStartFields[] = {
    {"LATITUDE", Kind::Float64, 8}, {"LONGITUDE", Kind::Float64, 8}, {"ALTITUDE", Kind::Float64, 8},
    {"HEADING", Kind::Float32, 4},  {"NUMBER", Kind::Int32, 4},      {"DESIGNATOR", Kind::Int32, 4},
    {"TYPE", Kind::Int32, 4},
};

const FieldLayout kFrequencyFields[] = {
    {"TYPE", Kind::Int32, 4}, {"FREQUENCY", Kind::Int32, 4}, {"NAME", Kind::Text, kNameWidth}};

const FieldLayout kApproachFields[] = {
    {"TYPE", Kind::Int32, 4},
    {"SUFFIX", Kind::Int32, 4},
    {"RUNWAY_NUMBER", Kind::Int32, 4},
    {"RUNWAY_DESIGNATOR", Kind::Int32, 4},
    {"FAF_ICAO", Kind::Text, kIdentWidth},
    {"FAF_REGION", Kind::Text, kIdentWidth},
    {"FAF_ALTITUDE", Kind::Float32, 4},
    {"FAF_TYPE", Kind::Int32, 4},
    {"MISSED_ALTITUDE", Kind::Float32, 4},
    {"IS_RNPAR", Kind::Int32, 4},
};

const FieldLayout kApproachTransitionFields[] = {
    {"TYPE", Kind::Int32, 4},     {"IAF_ICAO", Kind::Text, kIdentWidth}, {"IAF_REGION", Kind::Text, kIdentWidth},
    {"IAF_TYPE", Kind::Int32, 4}, {"IAF_ALTITUDE", Kind::Float32, 4},
};

const FieldLayout kLegFields[] = {
    {"TYPE", Kind::Int32, 4},
    {"FIX_ICAO", Kind::Text, kIdentWidth},
    {"FIX_REGION", Kind::Text, kIdentWidth},
    {"FIX_TYPE", Kind::Int32, 4},
    {"FLY_OVER", Kind::Int32, 4},
    {"TURN_DIRECTION", Kind::Int32, 4},
    {"COURSE", Kind::Float32, 4},
    {"ROUTE_DISTANCE", Kind::Float32, 4},
    {"ALTITUDE1", Kind::Float32, 4},
    {"ALTITUDE2", Kind::Float32, 4},
    {"SPEED_LIMIT", Kind::Float32, 4},
    {"APPROACH_ALT_DESC", Kind::Int32, 4},
    {"IS_IAF", Kind::Int32, 4},
    {"IS_IF", Kind::Int32, 4},
    {"IS_FAF", Kind::Int32, 4},
    {"IS_MAP", Kind::Int32, 4},
};

const FieldLayout kProcedureFields[] = {{"NAME", Kind::Text, kProcedureNameWidth}};
const FieldLayout kRunwayTransitionFields[] = {{"RUNWAY_NUMBER", Kind::Int32, 4},
                                               {"RUNWAY_DESIGNATOR", Kind::Int32, 4}};

const FieldLayout kVorFields[] = {
    {"VOR_LATITUDE", Kind::Float64, 8},
    {"VOR_LONGITUDE", Kind::Float64, 8},
    {"VOR_ALTITUDE", Kind::Float64, 8},
    {"DME_LATITUDE", Kind::Float64, 8},
    {"DME_LONGITUDE", Kind::Float64, 8},
    {"DME_ALTITUDE", Kind::Float64, 8},
    {"GS_LATITUDE", Kind::Float64, 8},
    {"GS_LONGITUDE", Kind::Float64, 8},
    {"GS_ALTITUDE", Kind::Float64, 8},
    {"TYPE", Kind::Int32, 4},
    {"FREQUENCY", Kind::Int32, 4},
    {"IS_NAV", Kind::Int32, 4},
    {"IS_DME", Kind::Int32, 4},
    {"IS_TACAN", Kind::Int32, 4},
    {"HAS_GLIDE_SLOPE", Kind::Int32, 4},
    {"DME_AT_NAV", Kind::Int32, 4},
    {"DME_AT_GLIDE_SLOPE", Kind::Int32, 4},
    {"HAS_BACK_COURSE", Kind::Int32, 4},
    {"NAV_RANGE", Kind::Float32, 4},
    {"MAGVAR", Kind::Float32, 4},
    {"LOCALIZER", Kind::Float32, 4},
    {"LOCALIZER_WIDTH", Kind::Float32, 4},
    {"GLIDE_SLOPE", Kind::Float32, 4},
    {"LS_CATEGORY", Kind::Int32, 4},
    {"ICAO", Kind::Text, kIdentWidth},
    {"REGION", Kind::Text, kIdentWidth},
    {"NAME", Kind::Text, kNameWidth},
};

const FieldLayout kNdbFields[] = {
    {"LATITUDE", Kind::Float64, 8},    {"LONGITUDE", Kind::Float64, 8},
    {"ALTITUDE", Kind::Float64, 8},    {"FREQUENCY", Kind::Int32, 4},
    {"TYPE", Kind::Int32, 4},          {"RANGE", Kind::Float32, 4},
    {"ICAO", Kind::Text, kIdentWidth}, {"REGION", Kind::Text, kIdentWidth},
    {"NAME", Kind::Text, kNameWidth},
};

const FieldLayout kWaypointFields[] = {
    {"LATITUDE", Kind::Float64, 8}, {"LONGITUDE", Kind::Float64, 8},   {"ALTITUDE", Kind::Float64, 8},
    {"TYPE", Kind::Int32, 4},       {"ICAO", Kind::Text, kIdentWidth}, {"REGION", Kind::Text, kIdentWidth},
};

const FieldLayout kRouteFields[] = {
    {"NAME", Kind::Text, kRouteNameWidth},  {"TYPE", Kind::Int32, 4},
    {"NEXT_ICAO", Kind::Text, kIdentWidth}, {"NEXT_REGION", Kind::Text, kIdentWidth},
    {"NEXT_TYPE", Kind::Int32, 4},          {"NEXT_ALTITUDE", Kind::Float32, 4},
    {"PREV_ICAO", Kind::Text, kIdentWidth}, {"PREV_REGION", Kind::Text, kIdentWidth},
    {"PREV_TYPE", Kind::Int32, 4},          {"PREV_ALTITUDE", Kind::Float32, 4},
};

const FieldLayout kTaxiParkingFields[] = {
    {"TYPE", Kind::Int32, 4},      {"TAXI_POINT_TYPE", Kind::Int32, 4}, {"NAME", Kind::Int32, 4},
    {"SUFFIX", Kind::Int32, 4},    {"NUMBER", Kind::Int32, 4},          {"ORIENTATION", Kind::Int32, 4},
    {"HEADING", Kind::Float32, 4}, {"RADIUS", Kind::Float32, 4},        {"BIAS_X", Kind::Float32, 4},
    {"BIAS_Z", Kind::Float32, 4},
};
const FieldLayout kTaxiPointFields[] = {{"TYPE", Kind::Int32, 4},
                                        {"ORIENTATION", Kind::Int32, 4},
                                        {"BIAS_X", Kind::Float32, 4},
                                        {"BIAS_Z", Kind::Float32, 4}};
const FieldLayout kTaxiPathFields[] = {
    {"TYPE", Kind::Int32, 4},
    {"WIDTH", Kind::Float32, 4},
    {"RUNWAY_NUMBER", Kind::Int32, 4},
    {"RUNWAY_DESIGNATOR", Kind::Int32, 4},
    {"LEFT_EDGE_LIGHTED", Kind::Int32, 4},
    {"RIGHT_EDGE_LIGHTED", Kind::Int32, 4},
    {"CENTER_LINE_LIGHTED", Kind::Int32, 4},
    {"START", Kind::Int32, 4},
    {"END", Kind::Int32, 4},
    {"NAME_INDEX", Kind::Int32, 4},
};
const FieldLayout kTaxiNameFields[] = {{"NAME", Kind::Text, kTaxiNameWidth}};

template <size_t N> std::optional<FacilityField> find(const FieldLayout (&table)[N], const QString &name)
{
    for (const FieldLayout &layout : table) {
        if (name == QLatin1String(layout.name))
            return FacilityField{name, layout.kind, layout.width};
    }
    return std::nullopt;
}

// Which objects open directly inside which: the nesting the simulator accepts.
bool canContain(std::optional<FacilityType> parent, FacilityType child)
{
    using T = FacilityType;
    if (!parent)
        return child == T::Airport || child == T::Vor || child == T::Ndb || child == T::Waypoint;
    switch (*parent) {
    case T::Airport:
        return child == T::Runway || child == T::Start || child == T::Frequency || child == T::Helipad ||
               child == T::Approach || child == T::Departure || child == T::Arrival || child == T::TaxiPoint ||
               child == T::TaxiParking || child == T::TaxiPath || child == T::TaxiName || child == T::Jetway;
    case T::Runway:
        return child == T::Pavement || child == T::ApproachLights || child == T::Vasi;
    case T::Approach:
        return child == T::ApproachTransition || child == T::FinalApproachLeg || child == T::MissedApproachLeg;
    case T::ApproachTransition:
    case T::RunwayTransition:
    case T::EnrouteTransition:
        return child == T::ApproachLeg;
    case T::Departure:
    case T::Arrival:
        return child == T::ApproachLeg || child == T::RunwayTransition || child == T::EnrouteTransition;
    case T::Waypoint:
        return child == T::Route;
    default:
        return false;
    }
}

} // namespace

std::optional<FacilityType> facilityTypeOfBlock(const QString &block)
{
    static const QHash<QString, FacilityType> kBlocks = {
        {QStringLiteral("AIRPORT"), FacilityType::Airport},
        {QStringLiteral("RUNWAY"), FacilityType::Runway},
        {QStringLiteral("START"), FacilityType::Start},
        {QStringLiteral("FREQUENCY"), FacilityType::Frequency},
        {QStringLiteral("HELIPAD"), FacilityType::Helipad},
        {QStringLiteral("APPROACH"), FacilityType::Approach},
        {QStringLiteral("APPROACH_TRANSITION"), FacilityType::ApproachTransition},
        {QStringLiteral("APPROACH_LEG"), FacilityType::ApproachLeg},
        {QStringLiteral("FINAL_APPROACH_LEG"), FacilityType::FinalApproachLeg},
        {QStringLiteral("MISSED_APPROACH_LEG"), FacilityType::MissedApproachLeg},
        {QStringLiteral("DEPARTURE"), FacilityType::Departure},
        {QStringLiteral("ARRIVAL"), FacilityType::Arrival},
        {QStringLiteral("RUNWAY_TRANSITION"), FacilityType::RunwayTransition},
        {QStringLiteral("ENROUTE_TRANSITION"), FacilityType::EnrouteTransition},
        {QStringLiteral("TAXI_POINT"), FacilityType::TaxiPoint},
        {QStringLiteral("TAXI_PARKING"), FacilityType::TaxiParking},
        {QStringLiteral("TAXI_PATH"), FacilityType::TaxiPath},
        {QStringLiteral("TAXI_NAME"), FacilityType::TaxiName},
        {QStringLiteral("JETWAY"), FacilityType::Jetway},
        {QStringLiteral("VOR"), FacilityType::Vor},
        {QStringLiteral("NDB"), FacilityType::Ndb},
        {QStringLiteral("WAYPOINT"), FacilityType::Waypoint},
        {QStringLiteral("ROUTE"), FacilityType::Route},
    };
    const auto it = kBlocks.constFind(block);
    if (it != kBlocks.cend())
        return *it;
    for (const char *end : {"PRIMARY_", "SECONDARY_"}) {
        if (!block.startsWith(QLatin1String(end)))
            continue;
        const QString part = block.mid(int(qstrlen(end)));
        if (part == QLatin1String("THRESHOLD") || part == QLatin1String("BLASTPAD") || part == QLatin1String("OVERRUN"))
            return FacilityType::Pavement;
        if (part == QLatin1String("APPROACH_LIGHTS"))
            return FacilityType::ApproachLights;
        if (part == QLatin1String("LEFT_VASI") || part == QLatin1String("RIGHT_VASI"))
            return FacilityType::Vasi;
    }
    return std::nullopt;
}

std::optional<FacilityField> facilityField(FacilityType type, const QString &name)
{
    using T = FacilityType;
    switch (type) {
    case T::Airport:
        return find(kAirportFields, name);
    case T::Runway:
        return find(kRunwayFields, name);
    case T::Pavement:
        return find(kPavementFields, name);
    case T::ApproachLights:
        return find(kApproachLightFields, name);
    case T::Vasi:
        return find(kVasiFields, name);
    case T::Start:
        return find(kStartFields, name);
    case T::Frequency:
        return find(kFrequencyFields, name);
    case T::Approach:
        return find(kApproachFields, name);
    case T::ApproachTransition:
        return find(kApproachTransitionFields, name);
    case T::ApproachLeg:
    case T::FinalApproachLeg:
    case T::MissedApproachLeg:
        return find(kLegFields, name);
    case T::Departure:
    case T::Arrival:
    case T::EnrouteTransition:
        return find(kProcedureFields, name);
    case T::RunwayTransition:
        return find(kRunwayTransitionFields, name);
    case T::Vor:
        return find(kVorFields, name);
    case T::Ndb:
        return find(kNdbFields, name);
    case T::Waypoint:
        return find(kWaypointFields, name);
    case T::Route:
        return find(kRouteFields, name);
    case T::TaxiParking:
        return find(kTaxiParkingFields, name);
    case T::TaxiPoint:
        return find(kTaxiPointFields, name);
    case T::TaxiPath:
        return find(kTaxiPathFields, name);
    case T::TaxiName:
        return find(kTaxiNameFields, name);
    default:
        return std::nullopt;
    }
}

int FacilityBlock::dataSize() const
{
    int size = 0;
    for (const FacilityField &field : fields)
        size += field.width;
    return size;
}

bool FacilityDefinition::add(const QString &line, QString *error)
{
    const auto refuse = [error](const QString &why) {
        if (error)
            *error = why;
        return false;
    };
    if (line.startsWith(QLatin1String("OPEN "))) {
        const QString name = line.mid(5).trimmed();
        const std::optional<FacilityType> type = facilityTypeOfBlock(name);
        if (!type)
            return refuse(QStringLiteral("unknown object %1").arg(name));
        if (m_closedRoot || (m_open.isEmpty() && !m_blocks.isEmpty()))
            return refuse(QStringLiteral("a second root %1").arg(name));
        const std::optional<FacilityType> parentType =
            m_open.isEmpty() ? std::nullopt : std::optional<FacilityType>(m_blocks.at(m_open.last()).type);
        if (!canContain(parentType, *type))
            return refuse(QStringLiteral("%1 cannot open here").arg(name));
        FacilityBlock block;
        block.name = name;
        block.type = *type;
        block.parent = m_open.isEmpty() ? -1 : m_open.last();
        m_blocks.append(block);
        if (block.parent >= 0)
            m_blocks[block.parent].children.append(int(m_blocks.size()) - 1);
        m_open.append(int(m_blocks.size()) - 1);
        return true;
    }
    if (line.startsWith(QLatin1String("CLOSE "))) {
        const QString name = line.mid(6).trimmed();
        if (m_open.isEmpty() || m_blocks.at(m_open.last()).name != name)
            return refuse(QStringLiteral("CLOSE %1 does not match the open object").arg(name));
        m_open.removeLast();
        if (m_open.isEmpty())
            m_closedRoot = true;
        return true;
    }
    if (m_open.isEmpty())
        return refuse(QStringLiteral("field %1 outside an object").arg(line));
    FacilityBlock &block = m_blocks[m_open.last()];
    const std::optional<FacilityField> field = facilityField(block.type, line);
    if (!field)
        return refuse(QStringLiteral("%1 has no field %2").arg(block.name, line));
    block.fields.append(*field);
    return true;
}

bool FacilityDefinition::isComplete() const
{
    return m_closedRoot && m_open.isEmpty();
}

QList<int> FacilityDefinition::childBlocks(int parent, FacilityType type) const
{
    QList<int> result;
    if (parent < 0 || parent >= m_blocks.size())
        return result;
    for (const int child : m_blocks.at(parent).children) {
        if (m_blocks.at(child).type == type)
            result.append(child);
    }
    return result;
}

QList<FacilityNode> FacilityNode::childrenOf(FacilityType childType) const
{
    QList<FacilityNode> result;
    for (const FacilityNode &child : children) {
        if (child.type == childType)
            result.append(child);
    }
    return result;
}

QList<FacilityNode> FacilityNode::childrenIn(const QString &childBlock) const
{
    QList<FacilityNode> result;
    for (const FacilityNode &child : children) {
        if (child.block == childBlock)
            result.append(child);
    }
    return result;
}

QByteArray packFacilityFields(const FacilityBlock &block, const QVariantHash &values)
{
    ByteWriter out;
    for (const FacilityField &field : block.fields) {
        const QVariant value = values.value(field.name);
        switch (field.kind) {
        case Kind::Int32:
            out.i32(value.toInt());
            break;
        case Kind::Float32:
            out.f32(value.toFloat());
            break;
        case Kind::Float64:
            out.f64(value.toDouble());
            break;
        case Kind::Text:
            out.fixedString(value.toString(), field.width);
            break;
        }
    }
    return out.bytes();
}

std::optional<QVariantHash> unpackFacilityFields(const FacilityBlock &block, const QByteArray &data)
{
    ByteReader in(data);
    QVariantHash values;
    for (const FacilityField &field : block.fields) {
        switch (field.kind) {
        case Kind::Int32:
            values.insert(field.name, in.i32());
            break;
        case Kind::Float32:
            values.insert(field.name, double(in.f32()));
            break;
        case Kind::Float64:
            values.insert(field.name, in.f64());
            break;
        case Kind::Text:
            values.insert(field.name, in.fixedString(field.width));
            break;
        }
    }
    if (!in.ok())
        return std::nullopt;
    return values;
}

void FacilityTreeAssembler::expect(uint32_t requestId, const FacilityDefinition *definition)
{
    Pending pending;
    pending.definition = definition;
    m_requests.insert(requestId, pending);
}

void FacilityTreeAssembler::add(const FacilityDataInfo &data)
{
    const auto it = m_requests.find(data.userRequestId);
    if (it == m_requests.end() || it->overflow)
        return;
    if (it->parts.size() >= kMaxObjectsPerRequest) {
        it->overflow = true;
        it->parts.clear();
        return;
    }
    it->parts.append(data);
}

void FacilityTreeAssembler::drop(uint32_t requestId)
{
    m_requests.remove(requestId);
}

std::optional<FacilityNode> FacilityTreeAssembler::finish(uint32_t requestId, QString *error)
{
    const auto refuse = [error](const QString &why) -> std::optional<FacilityNode> {
        if (error)
            *error = why;
        return std::nullopt;
    };
    if (!m_requests.contains(requestId))
        return refuse(QStringLiteral("no such request"));
    const Pending pending = m_requests.take(requestId);
    if (pending.overflow)
        return refuse(QStringLiteral("more than %1 objects").arg(kMaxObjectsPerRequest));
    const FacilityDefinition &definition = *pending.definition;

    // Parent unique id -> its parts, in arrival order.
    QHash<uint32_t, QList<int>> byParent;
    int rootPart = -1;
    QSet<uint32_t> ids;
    for (int i = 0; i < pending.parts.size(); ++i) {
        const FacilityDataInfo &part = pending.parts.at(i);
        if (ids.contains(part.uniqueRequestId))
            return refuse(QStringLiteral("object id %1 twice").arg(part.uniqueRequestId));
        ids.insert(part.uniqueRequestId);
        if (part.parentUniqueRequestId == 0) {
            if (rootPart >= 0)
                return refuse(QStringLiteral("two roots"));
            rootPart = i;
        } else {
            byParent[part.parentUniqueRequestId].append(i);
        }
    }
    if (rootPart < 0)
        return refuse(QStringLiteral("no root object"));
    for (auto it = byParent.cbegin(); it != byParent.cend(); ++it) {
        if (!ids.contains(it.key()))
            return refuse(QStringLiteral("children of object %1, which never came").arg(it.key()));
    }

    QString failure;
    // Builds the node of part index with the definition block blockIndex, and its subtree.
    std::function<FacilityNode(int, int)> build = [&](int partIndex, int blockIndex) -> FacilityNode {
        const FacilityDataInfo &part = pending.parts.at(partIndex);
        const FacilityBlock &block = definition.blocks().at(blockIndex);
        FacilityNode node;
        node.type = block.type;
        node.block = block.name;
        if (uint32_t(block.type) != part.type) {
            failure = QStringLiteral("object of type %1 where %2 was defined").arg(part.type).arg(block.name);
            return node;
        }
        const std::optional<QVariantHash> values = unpackFacilityFields(block, part.data);
        if (!values) {
            failure = QStringLiteral("%1 shorter than its fields").arg(block.name);
            return node;
        }
        node.values = *values;
        // Group the children by type; within a type, list items by index and several single
        // objects in arrival order match the definition's blocks of that type in order.
        QHash<uint32_t, QList<int>> childrenByType;
        QList<uint32_t> typeOrder;
        for (const int child : byParent.value(part.uniqueRequestId)) {
            const uint32_t type = pending.parts.at(child).type;
            if (!childrenByType.contains(type))
                typeOrder.append(type);
            childrenByType[type].append(child);
        }
        // Children in definition order of their blocks.
        for (const int childBlock : block.children) {
            const FacilityType type = definition.blocks().at(childBlock).type;
            QList<int> &candidates = childrenByType[uint32_t(type)];
            const QList<int> sameType = definition.childBlocks(blockIndex, type);
            if (sameType.size() == 1) {
                std::stable_sort(candidates.begin(), candidates.end(), [&](int a, int b) {
                    return pending.parts.at(a).itemIndex < pending.parts.at(b).itemIndex;
                });
                for (const int child : std::as_const(candidates)) {
                    node.children.append(build(child, childBlock));
                    if (!failure.isEmpty())
                        return node;
                }
                candidates.clear();
            } else if (!candidates.isEmpty()) {
                node.children.append(build(candidates.takeFirst(), childBlock));
                if (!failure.isEmpty())
                    return node;
            }
        }
        for (const uint32_t type : std::as_const(typeOrder)) {
            if (!childrenByType.value(type).isEmpty()) {
                failure = QStringLiteral("%1 has children of type %2 it did not define").arg(block.name).arg(type);
                return node;
            }
        }
        return node;
    };
    if (definition.root() < 0)
        return refuse(QStringLiteral("empty definition"));
    FacilityNode root = build(rootPart, definition.root());
    if (!failure.isEmpty())
        return refuse(failure);
    return root;
}

} // namespace simconnect
