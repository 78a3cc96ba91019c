#include "nav/navdatafiles.h"

#include <QCoreApplication>
#include <QDir>

QString navDataFileName(int sourceIndex)
{
    switch (sourceIndex) {
    case 1:
        return QStringLiteral("zobrel_navdata_xp12.db");
    case 2:
        return QStringLiteral("zobrel_navdata_p3d.db");
    case 3:
        return QStringLiteral("zobrel_navdata_msfs2020.db");
    case 4:
        return QStringLiteral("zobrel_navdata_msfs2024.db");
    default:
        return QStringLiteral("zobrel_navdata_xp11.db");
    }
}

QString navDataFilePath(int sourceIndex, const QString &directory)
{
    const QString dir = directory.isEmpty() ? QCoreApplication::applicationDirPath() : directory;
    return QDir(dir).filePath(navDataFileName(sourceIndex));
}

int navDataSourceForSimType(SimType simType, int fallbackIndex)
{
    switch (simType) {
    case SimType::XPlane11:
        return 0;
    case SimType::XPlane12:
        return 1;
    case SimType::Prepar3D:
    case SimType::Fsx:
        return 2;
    case SimType::Msfs2020:
        return 3;
    case SimType::Msfs2024:
        return 4;
    case SimType::None:
        break;
    }
    return fallbackIndex;
}
