#pragma once

#include <QDataStream>
#include <QList>
#include <QMetaType>
#include <QString>

// The simulators the station can drive. The numbers are persisted and compared (the lowest
// detected simulator wins auto-connect), so they never change.
enum class SimType : int {
    None = 0,
    Msfs2020 = 1,
    Msfs2024 = 2,
    Prepar3D = 3,
    Fsx = 4,
    XPlane11 = 5,
    XPlane12 = 6,
};

// Settings short name ("msfs2020" … "xplane12"); empty for None.
QString simTypeShortName(SimType type);
// Inverse of simTypeShortName; None for an unknown name.
SimType simTypeFromShortName(const QString &name);
// English name for diagnostics and logs ("X-Plane 12"); user interfaces translate their own.
QString simTypeName(SimType type);

QDataStream &operator<<(QDataStream &out, SimType type);
QDataStream &operator>>(QDataStream &in, SimType &type);

Q_DECLARE_METATYPE(SimType)
Q_DECLARE_METATYPE(QList<SimType>)
