#pragma once

#include "sim/aircraftdata.h"
#include "sim/simconnect/simconnectdatadefinition.h"

#include <QJsonObject>
#include <QList>
#include <QString>

#include <cstdint>

// The simulation variables a SimConnect link reads for the aircraft state, as data: seven groups,
// each registered as one data definition (every datum a 64-bit float, epsilon 0), in the order of
// the table. The same rows say which AircraftData member each value fills (with its conversion
// from the SimConnect unit) and under which key the bridge helper's "data" line carries it (in the
// SimConnect unit, as the bridge client expects).
namespace simvars {

constexpr int kGroupCount = 7;

struct Row
{
    int group;             // 1..kGroupCount
    const char *name;      // simulation variable
    const char *units;     // SimConnect unit name
    const char *bridgeKey; // key of the helper's "data" line; nullptr when the line does not carry it
    // Puts the value, converted from the SimConnect unit, into its member; nullptr for a value
    // kept without a member.
    void (*store)(AircraftData &data, double value);
};

// Every row, group by group.
const QList<Row> &rows();
// The rows of one group, in order, as a definition to register.
simconnect::DataDefinition groupDefinition(int group);
// Index in rows() of the first row of a group.
int firstRowOfGroup(int group);

// The latest value of every row, in SimConnect units, and which groups have arrived.
class Sample
{
public:
    Sample();
    // Stores one group's values (in definition order); false, and nothing stored, when the count
    // does not match the group.
    bool setGroup(int group, const QList<double> &values);
    bool hasGroup(int group) const;
    double value(const char *name) const;
    double valueAt(int row) const { return m_values.value(row); }

private:
    QList<double> m_values;
    uint32_t m_groups = 0;
};

// The sample in the units AircraftData documents: vertical speed ft/s -> ft/min, EGT Rankine ->
// deg C, weight lb -> kg, CDI/GSI -127..127 -> dots, parking brake position 0..1 -> percent, gear
// extended when more than half out. Non-finite values leave base's member as it was.
AircraftData toAircraftData(const Sample &sample, const AircraftData &base);
// The helper's "data" line for the sample ("type":"data" plus one key per carried row).
QJsonObject toBridgeData(const Sample &sample);

// The fuel tank layout read beside the state: for each of the eleven tank positions (LEFT MAIN,
// LEFT AUX, LEFT TIP, CENTER, CENTER2, CENTER3, RIGHT MAIN, RIGHT AUX, RIGHT TIP, EXTERNAL1,
// EXTERNAL2, in this order) its capacity and quantity in gallons, then the fuel density (lb/gal),
// the empty weight and the maximum gross weight (lb).
constexpr int kTankPositions = 11;
const char *tankPosition(int index);
simconnect::DataDefinition tankDefinition();

struct TankLayout
{
    QList<double> capacityGal;
    QList<double> quantityGal;
    double poundsPerGallon = 0;
    double emptyWeightLb = 0;
    double maxGrossWeightLb = 0;

    // Positions up to the last one with a capacity: trailing empty positions are left out so the
    // list index stays the tank position.
    int usedPositions() const;
    double totalCapacityGal() const;
    // Each used position's share of the total capacity.
    QList<double> ratios() const;
    bool sameCapacities(const TankLayout &other) const;
};
// Nothing when values do not hold one value per datum of tankDefinition().
std::optional<TankLayout> tankLayoutFrom(const QList<double> &values);
// The helper's "fuel_config" line.
QJsonObject toBridgeFuelConfig(const TankLayout &layout);

} // namespace simvars
