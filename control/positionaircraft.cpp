#include "control/positionaircraft.h"

#include "nav/navdataprovider.h"
#include "sim/isimbackend.h"
#include "sim/simoperationdispatcher.h"

#include <QVariantMap>

#include <algorithm>
#include <cmath>

namespace {

constexpr double kDegToRad = 0.017453292519943295;
constexpr double kRadToDeg = 57.29577951308232;
constexpr double kFeetToMetres = 0.3048;
constexpr double kGlidePathFtPerNm = 318.0;
constexpr double kFinalFloorFt = 500.0;
constexpr double kVectorsFloorFt = 1000.0;
constexpr double kVectorsOffsetNm = 2.0;
constexpr double kDownwindAlongNm = 0.5;
constexpr double kFinalSpeedKt = 200.0;
constexpr double kPatternSpeedKt = 150.0;

double norm360(double angle)
{
    return std::fmod(angle + 360.0, 360.0);
}

QString whole(double value)
{
    return QString::number(value, 'f', 0);
}

} // namespace

PositionAircraft::PositionAircraft(QObject *parent) : QObject(parent) {}

void PositionAircraft::setBackend(ISimBackend *backend)
{
    m_backend = backend;
}

void PositionAircraft::setDispatcher(SimOperationDispatcher *dispatcher)
{
    m_dispatcher = dispatcher;
}

void PositionAircraft::setNavDataProvider(NavDataProvider *navData)
{
    m_navData = navData;
}

double PositionAircraft::bearing(double lat1, double lon1, double lat2, double lon2)
{
    const double phi1 = lat1 * kDegToRad;
    const double phi2 = lat2 * kDegToRad;
    const double dLambda = (lon2 - lon1) * kDegToRad;
    const double theta =
        std::atan2(std::sin(dLambda) * std::cos(phi2),
                   std::cos(phi1) * std::sin(phi2) - std::sin(phi1) * std::cos(phi2) * std::cos(dLambda));
    return std::fmod(theta * kRadToDeg + 360.0, 360.0);
}

void PositionAircraft::destination(double lat, double lon, double bearingDeg, double distanceNm, double &lat2,
                                   double &lon2)
{
    const double d = distanceNm / kEarthRadiusNm;
    const double phi1 = lat * kDegToRad;
    const double lambda1 = lon * kDegToRad;
    const double brg = bearingDeg * kDegToRad;
    const double phi2 = std::asin(std::sin(phi1) * std::cos(d) + std::cos(phi1) * std::sin(d) * std::cos(brg));
    const double lambda2 = lambda1 + std::atan2(std::sin(brg) * std::sin(d) * std::cos(phi1),
                                                std::cos(d) - std::sin(phi1) * std::sin(phi2));
    lat2 = phi2 * kRadToDeg;
    // fmod keeps the sign of its first operand; +540 makes it positive for any longitude a
    // great-circle step from [-180, 180] can produce.
    lon2 = std::fmod(lambda2 * kRadToDeg + 540.0, 360.0) - 180.0;
}

PositionResult PositionAircraft::calcFinalPosition(double thrLat, double thrLon, double rwyHeading, double elevationFt,
                                                   double distanceNm, double extraFt) const
{
    PositionResult r;
    r.heading = norm360(rwyHeading);
    destination(thrLat, thrLon, std::fmod(rwyHeading + 180.0, 360.0), distanceNm, r.lat, r.lon);
    r.alt = std::max(elevationFt + kFinalFloorFt, elevationFt + kGlidePathFtPerNm * distanceNm + extraFt);
    return r;
}

PositionResult PositionAircraft::calcVectorsPosition(double thrLat, double thrLon, double rwyHeading,
                                                     double elevationFt, const QString &side, double distanceNm,
                                                     double interceptDeg) const
{
    double lat = 0;
    double lon = 0;
    destination(thrLat, thrLon, std::fmod(rwyHeading + 180.0, 360.0), distanceNm, lat, lon);
    PositionResult r;
    if (side == QLatin1String("right")) {
        destination(lat, lon, std::fmod(rwyHeading + 90.0, 360.0), kVectorsOffsetNm, r.lat, r.lon);
        r.heading = norm360(rwyHeading - interceptDeg);
    } else {
        destination(lat, lon, norm360(rwyHeading - 90.0), kVectorsOffsetNm, r.lat, r.lon);
        r.heading = std::fmod(rwyHeading + interceptDeg, 360.0);
    }
    r.alt = std::max(elevationFt + kVectorsFloorFt, elevationFt + kGlidePathFtPerNm * distanceNm);
    return r;
}

PositionResult PositionAircraft::calcPatternPosition(double thrLat, double thrLon, double rwyHeading,
                                                     double elevationFt, const QString &leg, double patternHeightFt,
                                                     double legOffsetNm) const
{
    PositionResult r;
    r.alt = elevationFt + patternHeightFt;
    const bool left = leg.contains(QLatin1String("left"));
    double pLat = 0;
    double pLon = 0;
    if (leg.startsWith(QLatin1String("downwind"))) {
        const double side = left ? norm360(rwyHeading - 90.0) : std::fmod(rwyHeading + 90.0, 360.0);
        destination(thrLat, thrLon, side, legOffsetNm, pLat, pLon);
        r.heading = std::fmod(rwyHeading + 180.0, 360.0);
        destination(pLat, pLon, r.heading, kDownwindAlongNm, r.lat, r.lon);
    } else if (leg.startsWith(QLatin1String("base"))) {
        // The base heading points to the side the aircraft is put on: the opposite side to the
        // downwind of the same pattern direction. Kept that way on purpose.
        destination(thrLat, thrLon, std::fmod(rwyHeading + 180.0, 360.0), legOffsetNm, pLat, pLon);
        r.heading = left ? std::fmod(rwyHeading + 90.0, 360.0) : norm360(rwyHeading - 90.0);
        destination(pLat, pLon, r.heading, legOffsetNm, r.lat, r.lon);
    } else if (leg.startsWith(QLatin1String("crosswind"))) {
        destination(thrLat, thrLon, rwyHeading, legOffsetNm, pLat, pLon);
        r.heading = left ? norm360(rwyHeading - 90.0) : std::fmod(rwyHeading + 90.0, 360.0);
        destination(pLat, pLon, r.heading, 0.5 * legOffsetNm, r.lat, r.lon);
    } else {
        // An unknown leg is a runway position.
        r.lat = thrLat;
        r.lon = thrLon;
        r.heading = rwyHeading;
        r.alt = elevationFt;
    }
    return r;
}

void PositionAircraft::send(const QString &kind, const PositionResult &spot, bool onGround, double speedKt,
                            const QString &description)
{
    if (m_dispatcher && m_dispatcher->isRemote()) {
        const QVariantMap params{{QStringLiteral("lat"), spot.lat},      {QStringLiteral("lon"), spot.lon},
                                 {QStringLiteral("alt"), spot.alt},      {QStringLiteral("hdg"), spot.heading},
                                 {QStringLiteral("onGround"), onGround}, {QStringLiteral("speed"), speedKt}};
        m_dispatcher->reposition(kind, params);
    } else if (!m_backend || !m_backend->isConnected()) {
        emit positionFailed(tr("模拟器未连接"));
        return;
    } else {
        m_backend->setPosition(spot.lat, spot.lon, spot.alt * kFeetToMetres, 0, 0, spot.heading, onGround, speedKt);
    }
    emit positioned(kind, spot.lat, spot.lon, spot.alt, spot.heading, onGround);
    emit positionSet(description);
}

void PositionAircraft::positionAtRunway(const QString &runway, double thrLat, double thrLon, double rwyHeading,
                                        double elevationFt)
{
    send(QStringLiteral("runway"), {thrLat, thrLon, elevationFt, rwyHeading}, true, 0,
         tr("%1 跑道 %2° @ %3ft").arg(runway, whole(rwyHeading), whole(elevationFt)));
}

void PositionAircraft::positionAt(double lat, double lon, double altitudeFt, double heading, bool onGround,
                                  double speedKt)
{
    send(QStringLiteral("free"), {lat, lon, altitudeFt, heading}, onGround, std::max(0.0, speedKt),
         tr("%1,%2 @ %3ft hdg %4°")
             .arg(QString::number(lat, 'f', 6), QString::number(lon, 'f', 6), whole(altitudeFt), whole(heading)));
}

void PositionAircraft::positionAtFinal(const QString &runway, double thrLat, double thrLon, double rwyHeading,
                                       double elevationFt, double distanceNm, double extraFt)
{
    const PositionResult spot = calcFinalPosition(thrLat, thrLon, rwyHeading, elevationFt, distanceNm, extraFt);
    send(QStringLiteral("final"), spot, false, kFinalSpeedKt,
         tr("%1 Final %2nm @ %3ft hdg %4°")
             .arg(runway, QString::number(distanceNm, 'f', 1), whole(spot.alt), whole(spot.heading)));
}

void PositionAircraft::positionAtPattern(const QString &runway, double thrLat, double thrLon, double rwyHeading,
                                         double elevationFt, const QString &leg, double patternHeightFt,
                                         double legOffsetNm)
{
    const PositionResult spot =
        calcPatternPosition(thrLat, thrLon, rwyHeading, elevationFt, leg, patternHeightFt, legOffsetNm);
    send(QStringLiteral("pattern"), spot, false, kPatternSpeedKt,
         tr("%1 Pattern %2 @ %3ft hdg %4°").arg(runway, leg, whole(spot.alt), whole(spot.heading)));
}

void PositionAircraft::positionAtVectors(const QString &runway, double thrLat, double thrLon, double rwyHeading,
                                         double elevationFt, const QString &side, double distanceNm,
                                         double interceptDeg)
{
    const PositionResult spot =
        calcVectorsPosition(thrLat, thrLon, rwyHeading, elevationFt, side, distanceNm, interceptDeg);
    send(QStringLiteral("vectors"), spot, false, kFinalSpeedKt,
         tr("%1 Vector %2 %3nm @ %4ft hdg %5°")
             .arg(runway, side, QString::number(distanceNm, 'f', 1), whole(spot.alt), whole(spot.heading)));
}

void PositionAircraft::positionAtGate(const QString &airport, const QString &parking)
{
    // Unlike the other actions, the local connection is checked first even for a remote target.
    if (!m_backend || !m_backend->isConnected()) {
        emit positionFailed(tr("模拟器未连接"));
        return;
    }
    if (!m_navData) {
        emit positionFailed(tr("导航数据未加载"));
        return;
    }
    const QList<ParkingRecord> parkings = m_navData->parkings(airport);
    if (parkings.isEmpty()) {
        emit positionFailed(tr("%1 无停机位数据").arg(airport));
        return;
    }
    auto chosen = parkings.cbegin();
    if (!parking.isEmpty()) {
        chosen = std::find_if(parkings.cbegin(), parkings.cend(), [&parking](const ParkingRecord &record) {
            return record.name.compare(parking, Qt::CaseInsensitive) == 0;
        });
        if (chosen == parkings.cend()) {
            emit positionFailed(tr("未找到停机位 %1").arg(parking));
            return;
        }
    }
    send(QStringLiteral("gate"), {chosen->lat, chosen->lon, 0, chosen->heading}, true, 0,
         tr("%1 %2 hdg %3°").arg(airport, chosen->name, whole(chosen->heading)));
}
