#pragma once

#include "sim/simconnect/simconnectprotocol.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <cstdint>
#include <optional>

// The facility interface's data, described once: which objects a facility definition may open
// inside which, the wire type of every field the station uses, a definition parsed from its
// AddToFacilityDefinition lines, the packing of one object's fields, and the reassembly of the
// FACILITY_DATA messages of one request into a tree. The fake simulator packs with the same
// description the importer unpacks with.
namespace simconnect {

enum class FacilityType : uint32_t {
    Airport = 0,
    Runway = 1,
    Start = 2,
    Frequency = 3,
    Helipad = 4,
    Approach = 5,
    ApproachTransition = 6,
    ApproachLeg = 7,
    FinalApproachLeg = 8,
    MissedApproachLeg = 9,
    Departure = 10,
    Arrival = 11,
    RunwayTransition = 12,
    EnrouteTransition = 13,
    TaxiPoint = 14,
    TaxiParking = 15,
    TaxiPath = 16,
    TaxiName = 17,
    Jetway = 18,
    Vor = 19,
    Ndb = 20,
    Waypoint = 21,
    Route = 22,
    Pavement = 23,
    ApproachLights = 24,
    Vasi = 25,
};

// How one field travels: 4-byte integer, 4- or 8-byte float, or fixed NUL-padded text.
struct FacilityField
{
    enum class Kind { Int32, Float32, Float64, Text };
    QString name;
    Kind kind = Kind::Int32;
    int width = 4; // bytes on the wire
};

// The object type a block name opens ("PRIMARY_THRESHOLD" is a PAVEMENT), or nothing.
std::optional<FacilityType> facilityTypeOfBlock(const QString &block);
// The wire form of a field of that object type, or nothing for a name the station does not know.
std::optional<FacilityField> facilityField(FacilityType type, const QString &name);

// One OPEN/CLOSE block of a definition with its fields in the order they were added.
struct FacilityBlock
{
    QString name;
    FacilityType type = FacilityType::Airport;
    QList<FacilityField> fields;
    int parent = -1;
    QList<int> children; // indices into FacilityDefinition::blocks(), in definition order

    int dataSize() const;
};

// A facility definition as a list of AddToFacilityDefinition lines builds it, checked line by
// line: a field outside any block or unknown to its block, a block opened where it cannot be, or
// a CLOSE that does not match the open block is refused.
class FacilityDefinition
{
public:
    bool add(const QString &line, QString *error = nullptr);
    // Every block closed and a root present.
    bool isComplete() const;
    const QList<FacilityBlock> &blocks() const { return m_blocks; }
    // Index of the root block (0) or -1.
    int root() const { return m_blocks.isEmpty() ? -1 : 0; }
    // The blocks of that type opened directly inside parent, in definition order.
    QList<int> childBlocks(int parent, FacilityType type) const;

private:
    QList<FacilityBlock> m_blocks;
    QList<int> m_open;
    bool m_closedRoot = false;
};

// One facility object: its fields by name (int, double or QString values) and its child objects
// in arrival order of their lists (each list's items in index order).
struct FacilityNode
{
    FacilityType type = FacilityType::Airport;
    QString block; // the definition block it was read with, or the fake's own name for it
    QVariantHash values;
    QList<FacilityNode> children;

    QList<FacilityNode> childrenOf(FacilityType childType) const;
    QList<FacilityNode> childrenIn(const QString &childBlock) const;
    int intValue(const QString &field) const { return values.value(field).toInt(); }
    double number(const QString &field) const { return values.value(field).toDouble(); }
    QString text(const QString &field) const { return values.value(field).toString(); }
};

// Packs the block's fields from values (a missing value packs as zero or empty text).
QByteArray packFacilityFields(const FacilityBlock &block, const QVariantHash &values);
// Unpacks data as the block's fields; nothing when data is shorter than the block needs.
std::optional<QVariantHash> unpackFacilityFields(const FacilityBlock &block, const QByteArray &data);

// Collects the FACILITY_DATA messages of requests in any order and, at a request's
// FACILITY_DATA_END, builds its tree: children hang from their parent's unique id, and list items
// are sorted by item index. A child whose block cannot be told from the definition, a parent that
// never arrived, or fields shorter than their block make the request's tree fail with a reason.
// Several objects of one type inside one parent (a runway's two thresholds) are matched to their
// blocks in arrival order.
class FacilityTreeAssembler
{
public:
    // The definition a request was made with; requests not registered are ignored.
    void expect(uint32_t requestId, const FacilityDefinition *definition);
    void add(const FacilityDataInfo &data);
    // The whole tree of a request that has ended; nothing, with *error, when it is not a tree.
    std::optional<FacilityNode> finish(uint32_t requestId, QString *error);
    // Forgets a request that failed (its exception came) or was cancelled.
    void drop(uint32_t requestId);
    bool isExpected(uint32_t requestId) const { return m_requests.contains(requestId); }
    int pending() const { return int(m_requests.size()); }

    // Objects a request may collect before it is abandoned: a peer cannot make it grow unbounded.
    static constexpr int kMaxObjectsPerRequest = 200000;

private:
    struct Pending
    {
        const FacilityDefinition *definition = nullptr;
        QList<FacilityDataInfo> parts;
        bool overflow = false;
    };
    QHash<uint32_t, Pending> m_requests;
};

} // namespace simconnect
