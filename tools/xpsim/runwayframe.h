#pragma once

// A latitude/longitude pair in decimal degrees (WGS-84, treated as a sphere here).
struct GeoPoint
{
    double latDeg = 0.0;
    double lonDeg = 0.0;
};

namespace geo {

constexpr double kEarthRadiusM = 6371008.8;
constexpr double kMetresPerNm = 1852.0;
constexpr double kFeetPerMetre = 3.28084;
constexpr double kKtPerMps = 1.9438445;
constexpr double kGravityMps2 = 9.80665;
constexpr double kPi = 3.14159265358979323846;
constexpr double kDegPerRad = 180.0 / kPi;

// Heading into [0, 360).
double normalizeDeg(double deg);
// Angle difference into (-180, 180].
double wrap180(double deg);
// The point reached by moving northM/eastM metres on a local tangent plane. Flat-earth: good to
// a few metres over the tens of nautical miles the simulator works in.
GeoPoint offset(GeoPoint from, double northM, double eastM);
// North/east distance in metres of p from origin on the same tangent plane.
void northEast(GeoPoint origin, GeoPoint p, double *northM, double *eastM);

} // namespace geo

// A runway as the circuit pilot sees it: a local frame with its origin on the threshold, the
// "along" axis pointing down the runway (true heading) and "cross" positive to the right of it.
// Distances in metres, angles in degrees. A plain value, copied freely.
class RunwayFrame
{
public:
    struct Local
    {
        double alongM = 0.0;
        double crossM = 0.0;
    };

    RunwayFrame() = default;
    RunwayFrame(GeoPoint threshold, double headingDegTrue, double lengthM, double elevationM);

    GeoPoint threshold() const { return m_threshold; }
    double headingDegTrue() const { return m_headingDegTrue; }
    double lengthM() const { return m_lengthM; }
    double elevationM() const { return m_elevationM; }

    Local toLocal(GeoPoint p) const;
    GeoPoint toGeo(Local local) const;
    // An angle measured clockwise from the runway axis, as a true course, and back.
    double trueCourse(double frameAngleDeg) const;
    double frameAngle(double trueCourseDeg) const;

private:
    GeoPoint m_threshold;
    double m_headingDegTrue = 0.0;
    double m_lengthM = 3000.0;
    double m_elevationM = 0.0;
};
