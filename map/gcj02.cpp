#include "gcj02.h"

#include <cmath>

namespace {

constexpr double kPi = 3.14159265358979323846;
// The datum's ellipsoid. a * (1 - ee) is held as the literal every GCJ-02 converter uses rather
// than computed, so shifted positions agree with the tiles' own to the last bit.
constexpr double kSemiMajorM = 6378245.0;
constexpr double kEccentricitySq = 0.006693421622965943;
constexpr double kMeridianNumeratorM = 6335552.717000426;
constexpr double kOriginLonDeg = 105.0;
constexpr double kOriginLatDeg = 35.0;
constexpr int kInverseIterations = 5;

// Offsets in metres on the datum's ellipsoid, before conversion to degrees.
void offsetsM(double x, double y, double &dLat, double &dLon)
{
    const double periodic = (20.0 * std::sin(6.0 * kPi * x) + 20.0 * std::sin(2.0 * kPi * x)) * 2.0 / 3.0;
    const double rootX = std::sqrt(std::fabs(x));

    dLat = -100.0 + 2.0 * x + 3.0 * y + 0.2 * y * y + 0.1 * x * y + 0.2 * rootX + periodic;
    dLat += (20.0 * std::sin(kPi * y) + 40.0 * std::sin(kPi * y / 3.0)) * 2.0 / 3.0;
    dLat += (160.0 * std::sin(kPi * y / 12.0) + 320.0 * std::sin(kPi * y / 30.0)) * 2.0 / 3.0;

    dLon = 300.0 + x + 2.0 * y + 0.1 * x * x + 0.1 * x * y + 0.1 * rootX + periodic;
    dLon += (20.0 * std::sin(kPi * x) + 40.0 * std::sin(kPi * x / 3.0)) * 2.0 / 3.0;
    dLon += (150.0 * std::sin(kPi * x / 12.0) + 300.0 * std::sin(kPi * x / 30.0)) * 2.0 / 3.0;
}

} // namespace

bool Gcj02::isOutOfChina(double latDeg, double lonDeg)
{
    return lonDeg < 72.004 || lonDeg > 137.8347 || latDeg < 0.8293 || latDeg > 55.8271;
}

void Gcj02::wgs84ToGcj02(double latDeg, double lonDeg, double &outLatDeg, double &outLonDeg)
{
    if (isOutOfChina(latDeg, lonDeg)) {
        outLatDeg = latDeg;
        outLonDeg = lonDeg;
        return;
    }
    double dLat = 0.0;
    double dLon = 0.0;
    offsetsM(lonDeg - kOriginLonDeg, latDeg - kOriginLatDeg, dLat, dLon);

    const double radLat = latDeg / 180.0 * kPi;
    const double sinLat = std::sin(radLat);
    const double magic = 1.0 - kEccentricitySq * sinLat * sinLat;
    const double sqrtMagic = std::sqrt(magic);
    dLat = (dLat * 180.0) / ((kMeridianNumeratorM / (magic * sqrtMagic)) * kPi);
    dLon = (dLon * 180.0) / ((kSemiMajorM / sqrtMagic) * std::cos(radLat) * kPi);

    outLatDeg = latDeg + dLat;
    outLonDeg = lonDeg + dLon;
}

void Gcj02::gcj02ToWgs84(double latDeg, double lonDeg, double &outLatDeg, double &outLonDeg)
{
    if (isOutOfChina(latDeg, lonDeg)) {
        outLatDeg = latDeg;
        outLonDeg = lonDeg;
        return;
    }
    // A fixed count rather than a tolerance: the result is reproducible, and near the rectangle's
    // edge (where the forward shift stops) the estimate may alternate instead of converging.
    double wLat = latDeg;
    double wLon = lonDeg;
    for (int i = 0; i < kInverseIterations; ++i) {
        double fLat = 0.0;
        double fLon = 0.0;
        wgs84ToGcj02(wLat, wLon, fLat, fLon);
        wLat -= fLat - latDeg;
        wLon -= fLon - lonDeg;
    }
    outLatDeg = wLat;
    outLonDeg = wLon;
}
