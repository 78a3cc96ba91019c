#include "plan/fuelspread.h"

#include "sim/aircraftdata.h"

#include <algorithm>
#include <map>

int FuelSpread::loadingRank(const QString &tankName)
{
    const QString name = tankName.toLower();
    if (name.contains(QLatin1String("external")))
        return 4;
    if (name.contains(QLatin1String("center")) || name.contains(QLatin1String("centre")))
        return 3;
    if (name.contains(QLatin1String("tip")))
        return 2;
    if (name.contains(QLatin1String("aux")) || name.contains(QLatin1String("outer")))
        return 1;
    return 0;
}

QList<double> FuelSpread::innerFirst(const QStringList &names, const QList<double> &capacities, double gallons)
{
    QList<double> contents(capacities.size(), 0.0);
    std::map<int, QList<int>> groups; // by rank, lowest first
    for (int i = 0; i < capacities.size(); ++i)
        groups[loadingRank(names.value(i))].append(i);
    double left = std::max(0.0, gallons);
    for (auto &[rank, tanks] : groups) {
        Q_UNUSED(rank);
        // Even shares; a tank that fills up passes the rest of its share on to the others.
        QList<int> open = tanks;
        while (left > 1e-9 && !open.isEmpty()) {
            const double share = left / open.size();
            QList<int> stillOpen;
            for (int i : open) {
                const double room = std::max(0.0, capacities[i] - contents[i]);
                const double added = std::min(room, share);
                contents[i] += added;
                left -= added;
                if (room > share)
                    stillOpen.append(i);
            }
            if (stillOpen.size() == open.size())
                break; // every tank took its whole share
            open = stillOpen;
        }
    }
    return contents;
}

double FuelSpread::kgToGallons(double kg)
{
    return kg / kFuelKgPerUsGallon;
}
