#pragma once

// Conversion between WGS-84 and the GCJ-02 datum in which the street and satellite tiles of the
// map's tile service are registered. Points outside a fixed rectangle around China are not
// shifted in either direction.
//
// Stateless; every function is static and may be called from any thread. Degrees throughout.
// The inverse is a fixed-point iteration with exactly five corrections and no convergence test;
// inside China it reproduces the original point to well under a metre.
class Gcj02
{
public:
    Gcj02() = delete;

    // True outside longitude 72.004..137.8347 and latitude 0.8293..55.8271; the edges count as inside.
    static bool isOutOfChina(double latDeg, double lonDeg);

    static void wgs84ToGcj02(double latDeg, double lonDeg, double &outLatDeg, double &outLonDeg);
    static void gcj02ToWgs84(double latDeg, double lonDeg, double &outLatDeg, double &outLonDeg);
};
