#pragma once

// Great circles on a sphere, for the navigation data: distances between fixes, courses, and points
// at a distance along a course (arcs of airspaces and boundaries). Each caller passes the radius of
// the sphere its data is defined on; the navigation database uses kNavSphereRadiusNm.
//
// Angles in decimal degrees (latitude north, longitude east positive), distances and the radius in
// nautical miles. Plain functions, safe on any thread.
namespace geodesy {

// The sphere of the navigation database: airway distances, BGL and OpenAir arcs.
constexpr double kNavSphereRadiusNm = 3440.065;

// Haversine distance: well conditioned for the short segments it is mostly used for.
double distanceNm(double lat1, double lon1, double lat2, double lon2, double radiusNm);
// Initial course from the first point to the second, 0 <= result < 360.
double initialBearingDeg(double lat1, double lon1, double lat2, double lon2);
// The point distanceNm from (lat, lon) along the initial course bearingDeg; the longitude is
// folded into -180..180.
void destination(double lat, double lon, double bearingDeg, double distanceNm, double radiusNm, double *latOut,
                 double *lonOut);
// Shortest distance from (lat, lon) to the great-circle arc from a to b: the cross-track distance
// where the foot of the perpendicular lies on the arc, otherwise the distance to the end it lies
// beyond.
double distanceToArcNm(double aLat, double aLon, double bLat, double bLon, double lat, double lon, double radiusNm);

} // namespace geodesy
