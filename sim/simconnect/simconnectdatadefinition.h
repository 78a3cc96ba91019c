#pragma once

#include "sim/simconnect/simconnectprotocol.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <cstdint>
#include <optional>
#include <variant>

namespace simconnect {

// The INITPOSITION structure (56 bytes packed): where to put the user aircraft.
struct InitPosition
{
    double lat = 0;
    double lon = 0;
    double altFt = 0;
    double pitch = 0;
    double bank = 0;
    double heading = 0;
    uint32_t onGround = 0;
    uint32_t airspeedKt = 0; // or kInitPositionAirspeedCruise / kInitPositionAirspeedKeep
};

// One datum's value: a number for the integer and float types, a text for the fixed strings,
// an InitPosition for INITPOSITION.
using DatumValue = std::variant<double, QString, InitPosition>;

// One AddToDataDefinition call.
struct Datum
{
    QString name;
    QString units; // empty for strings and structures
    DataType type = DataType::Float64;
    float epsilon = 0;
    uint32_t datumId = kUnused;
};

// An ordered list of datums: the same description registers a definition with the simulator,
// packs the bytes of SetDataOnSimObject and unpacks the data of SIMOBJECT_DATA, so the packed
// layout is written down once. Untagged layout only: each datum at its fixed width, in order.
class DataDefinition
{
public:
    DataDefinition() = default;
    explicit DataDefinition(const QList<Datum> &datums) : m_datums(datums) {}

    void add(const Datum &datum) { m_datums.append(datum); }
    const QList<Datum> &datums() const { return m_datums; }
    int count() const { return int(m_datums.size()); }

    // Bytes a datum of type occupies; -1 for the types the station never uses (STRINGV, the
    // structures other than INITPOSITION).
    static int fieldSize(DataType type);
    // All datums have a fixed size.
    bool isPackable() const;
    int packedSize() const;

    // One value per datum in order; a missing value or one of the wrong kind packs as zero (or an
    // empty text). Empty when the definition is not packable.
    QByteArray pack(const QList<DatumValue> &values) const;
    // Nothing when the bytes are not exactly packedSize() long or the definition is not packable.
    std::optional<QList<DatumValue>> unpack(const QByteArray &data) const;

private:
    QList<Datum> m_datums;
};

QByteArray packInitPosition(const InitPosition &position);
std::optional<InitPosition> unpackInitPosition(const QByteArray &data);

// The number in a value, 0 for texts and structures.
double numberOf(const DatumValue &value);

} // namespace simconnect
