#pragma once

#include <QList>
#include <QString>

#include <optional>

// The fake simulator's knowledge of simulation variables and units: which variables exist, in
// which unit the fake keeps each, whether a client may write it, and how to convert between units
// of one dimension. A client asking for a variable the catalogue lacks, or in a unit of another
// dimension, gets an exception as from a real simulator.
namespace fakesim {

enum class Dimension {
    Plain, // numbers without a unit (bool, enum, number, mach, rpm, Gforce)
    Angle,
    AngularSpeed,
    Length,
    Speed,
    Ratio,
    Volume,
    Flow,
    Weight,
    Temperature,
    Pressure,
    Frequency,
};

struct Unit
{
    Dimension dimension = Dimension::Plain;
    double factor = 1; // base = value * factor + offset
    double offset = 0;
};

// Nothing for a unit name the fake does not know. Names compare case-insensitively.
std::optional<Unit> unitNamed(const QString &name);
// value in from converted to to; nothing across dimensions.
std::optional<double> convert(double value, const Unit &from, const Unit &to);

struct Variable
{
    QString name;  // upper case, with its index (":1") where it has one
    QString units; // the unit the fake keeps the value in
    bool settable = false;
    double initial = 0;
};

// The catalogue entry for name (case-insensitive), or nothing.
std::optional<Variable> variableNamed(const QString &name);
// Every catalogued variable.
QList<Variable> allVariables();
// Upper case without surrounding blanks: the key the fake stores a variable under.
QString canonicalName(const QString &name);

} // namespace fakesim
