#include "control/slewcontroller.h"

#include "sim/isimbackend.h"
#include "sim/simoperationdispatcher.h"

#include <QVariantMap>

#include <cmath>

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kFeetToMetres = 0.3048;

} // namespace

SlewController::SlewController(QObject *parent) : QObject(parent) {}

void SlewController::setBackend(ISimBackend *backend)
{
    m_backend = backend;
}

void SlewController::setDispatcher(SimOperationDispatcher *dispatcher)
{
    m_dispatcher = dispatcher;
}

void SlewController::enable()
{
    if (m_enabled)
        return;
    m_enabled = true;
    emit enabledChanged(true);
}

void SlewController::disable()
{
    m_targetValid = false;
    if (!m_enabled)
        return;
    m_enabled = false;
    emit enabledChanged(false);
}

bool SlewController::ensureTarget()
{
    if (m_targetValid)
        return true;
    if (m_dispatcher && m_dispatcher->isRemote()) {
        m_lat = m_dispatcher->agentLat();
        m_lon = m_dispatcher->agentLon();
        m_altFt = m_dispatcher->agentAlt();
        m_heading = m_dispatcher->agentHeading();
    } else if (m_backend && m_backend->isConnected()) {
        const AircraftData data = m_backend->aircraftData();
        m_lat = data.lat;
        m_lon = data.lon;
        m_altFt = data.alt;
        m_heading = data.hdgTrue;
    } else {
        return false;
    }
    m_targetValid = true;
    return true;
}

void SlewController::slewTo(double lat, double lon, double altFt, double heading)
{
    m_lat = lat;
    m_lon = lon;
    m_altFt = altFt;
    m_heading = heading;
    m_targetValid = true;
    if (m_dispatcher && m_dispatcher->isRemote()) {
        m_dispatcher->reposition(QStringLiteral("slew"), {{QStringLiteral("lat"), lat},
                                                          {QStringLiteral("lon"), lon},
                                                          {QStringLiteral("alt"), altFt},
                                                          {QStringLiteral("hdg"), heading},
                                                          {QStringLiteral("onGround"), false},
                                                          {QStringLiteral("speed"), 0}});
    } else if (m_backend && m_backend->isConnected()) {
        m_backend->setPosition(lat, lon, altFt * kFeetToMetres, 0, 0, heading, false, 0);
    } else {
        return;
    }
    emit slewed(lat, lon, altFt, heading);
}

void SlewController::moveAlong(double feet, double bearingDeg)
{
    if (!ensureTarget())
        return;
    const double nm = feet / kFeetPerNm;
    const double theta = bearingDeg * kPi / 180.0;
    const double latBefore = m_lat;
    const double lat = latBefore + nm * std::cos(theta) / 60.0;
    const double lon = m_lon + nm * std::sin(theta) / (60.0 * std::cos(latBefore * kPi / 180.0));
    slewTo(lat, lon, m_altFt, m_heading);
}

void SlewController::moveForward(double feet)
{
    ensureTarget();
    moveAlong(feet, m_heading);
}

void SlewController::moveRight(double feet)
{
    ensureTarget();
    moveAlong(feet, m_heading + 90.0);
}

void SlewController::moveUp(double feet)
{
    if (!ensureTarget())
        return;
    slewTo(m_lat, m_lon, m_altFt + feet, m_heading);
}

void SlewController::rotateRight(double degrees)
{
    if (!ensureTarget())
        return;
    slewTo(m_lat, m_lon, m_altFt, std::fmod(m_heading + degrees + 360.0, 360.0));
}

void SlewController::pitchUp(double degrees)
{
    Q_UNUSED(degrees);
}
