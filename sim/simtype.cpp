#include "sim/simtype.h"

QString simTypeShortName(SimType type)
{
    switch (type) {
    case SimType::Msfs2020:
        return QStringLiteral("msfs2020");
    case SimType::Msfs2024:
        return QStringLiteral("msfs2024");
    case SimType::Prepar3D:
        return QStringLiteral("p3d");
    case SimType::Fsx:
        return QStringLiteral("fsx");
    case SimType::XPlane11:
        return QStringLiteral("xplane11");
    case SimType::XPlane12:
        return QStringLiteral("xplane12");
    case SimType::None:
        break;
    }
    return {};
}

SimType simTypeFromShortName(const QString &name)
{
    for (int i = 1; i <= 6; ++i) {
        const auto type = static_cast<SimType>(i);
        if (simTypeShortName(type) == name)
            return type;
    }
    return SimType::None;
}

QString simTypeName(SimType type)
{
    switch (type) {
    case SimType::Msfs2020:
        return QStringLiteral("MSFS 2020");
    case SimType::Msfs2024:
        return QStringLiteral("MSFS 2024");
    case SimType::Prepar3D:
        return QStringLiteral("Prepar3D");
    case SimType::Fsx:
        return QStringLiteral("FSX");
    case SimType::XPlane11:
        return QStringLiteral("X-Plane 11");
    case SimType::XPlane12:
        return QStringLiteral("X-Plane 12");
    case SimType::None:
        break;
    }
    return QStringLiteral("none");
}

QDataStream &operator<<(QDataStream &out, SimType type)
{
    return out << static_cast<qint32>(type);
}

QDataStream &operator>>(QDataStream &in, SimType &type)
{
    qint32 value = 0;
    in >> value;
    type = (value >= 0 && value <= 6) ? static_cast<SimType>(value) : SimType::None;
    return in;
}
