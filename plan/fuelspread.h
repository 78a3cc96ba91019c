#pragma once

#include <QList>
#include <QString>
#include <QStringList>

// Spreads a fuel load over an aircraft's tanks the way airliners are fuelled: the wings' main
// (inner) tanks first, then the auxiliary or outer tanks, the tip tanks, the centre tanks and the
// external tanks last; within one group the tanks are filled evenly (left and right alike), a full
// tank's share going to the others. Tanks named without a position ("Tank 3", as X-Plane's are)
// count as main tanks, so an aircraft of such tanks is filled evenly.
//
// Stateless. US gallons.
class FuelSpread
{
public:
    // 0 main/inner, 1 auxiliary/outer, 2 tip, 3 centre, 4 external.
    static int loadingRank(const QString &tankName);
    // The contents per tank, in the order given; together min(gallons, total capacity).
    static QList<double> innerFirst(const QStringList &names, const QList<double> &capacities, double gallons);
    // Through the one fuel density of the aircraft record.
    static double kgToGallons(double kg);
};
