#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

class ISimBackend;
class NavDataProvider;
class SimOperationDispatcher;

// A computed placement: degrees, feet above mean sea level, heading in degrees true [0, 360).
struct PositionResult
{
    double lat = 0;
    double lon = 0;
    double alt = 0;
    double heading = 0;
};

// Places the user aircraft: on a runway threshold, on final, in a leg of the traffic pattern, on
// vectors to final, at a parking position or at free coordinates. Each action computes the spot
// and either sends it to the local backend (setPosition, altitude in metres) or, when the
// dispatcher has a remote target, to that station as a "reposition" command (altitude in feet).
// Every action ends with exactly one of positionSet / positionFailed.
//
// Owned by the main window (GUI thread). Backend, dispatcher and navigation data are borrowed;
// a backend deleted by the manager is noticed (QPointer). Units: nautical miles, feet, degrees;
// the earth is a sphere of 3440.065 nm.
class PositionAircraft : public QObject
{
    Q_OBJECT
public:
    static constexpr double kEarthRadiusNm = 3440.065;

    explicit PositionAircraft(QObject *parent = nullptr);

    void setBackend(ISimBackend *backend);
    void setDispatcher(SimOperationDispatcher *dispatcher);
    void setNavDataProvider(NavDataProvider *navData);

    // Initial great-circle bearing from point 1 to point 2, degrees in [0, 360).
    static double bearing(double lat1, double lon1, double lat2, double lon2);
    // The point distanceNm from (lat, lon) along the great circle of initial bearing bearingDeg;
    // the longitude is folded into [-180, 180).
    static void destination(double lat, double lon, double bearingDeg, double distanceNm, double &lat2, double &lon2);

    // distanceNm out on the extended centreline, on a three-degree path (318 ft/nm) plus extraFt,
    // never lower than 500 ft above the field.
    PositionResult calcFinalPosition(double thrLat, double thrLon, double rwyHeading, double elevationFt,
                                     double distanceNm, double extraFt) const;
    // leg: "downwind…", "base…" or "crosswind…", left-hand when it contains "left" (case-
    // sensitive); any other leg gives the threshold at field elevation.
    PositionResult calcPatternPosition(double thrLat, double thrLon, double rwyHeading, double elevationFt,
                                       const QString &leg, double patternHeightFt, double legOffsetNm) const;
    // side "right" (exactly) puts the aircraft 2 nm right of the centreline, anything else left,
    // heading to intercept at interceptDeg.
    PositionResult calcVectorsPosition(double thrLat, double thrLon, double rwyHeading, double elevationFt,
                                       const QString &side, double distanceNm, double interceptDeg) const;

    void positionAtRunway(const QString &runway, double thrLat, double thrLon, double rwyHeading, double elevationFt);
    // Free coordinates; a scenario start also gives whether it is on the ground and its speed.
    void positionAt(double lat, double lon, double altitudeFt, double heading, bool onGround = false,
                    double speedKt = 0);
    void positionAtFinal(const QString &runway, double thrLat, double thrLon, double rwyHeading, double elevationFt,
                         double distanceNm, double extraFt);
    void positionAtPattern(const QString &runway, double thrLat, double thrLon, double rwyHeading, double elevationFt,
                           const QString &leg, double patternHeightFt, double legOffsetNm);
    void positionAtVectors(const QString &runway, double thrLat, double thrLon, double rwyHeading, double elevationFt,
                           const QString &side, double distanceNm, double interceptDeg);
    // An empty parking name takes the airport's first parking; names match ignoring case.
    void positionAtGate(const QString &airport, const QString &parking);

signals:
    // One line describing where the aircraft was put.
    void positionSet(const QString &description);
    void positionFailed(const QString &error);
    // What was sent, for those who log or replay it: kind is "runway", "free", "final",
    // "pattern", "vectors" or "gate"; altitude in feet.
    void positioned(const QString &kind, double lat, double lon, double altitudeFt, double heading, bool onGround);

private:
    void send(const QString &kind, const PositionResult &spot, bool onGround, double speedKt,
              const QString &description);

    QPointer<ISimBackend> m_backend;
    QPointer<SimOperationDispatcher> m_dispatcher;
    QPointer<NavDataProvider> m_navData;
};
