#include "control/pushbackcontroller.h"

#include "app/log/applogger.h"
#include "sim/isimbackend.h"
#include "sim/simoperationdispatcher.h"

#include <QTimer>

#include <algorithm>
#include <cmath>

namespace {

const QString kCategory = QStringLiteral("Pushback");
constexpr double kPi = 3.14159265358979323846;
constexpr double kRadToDeg = 57.29577951308232;
constexpr double kTugHeadingScale = 4294967296.0 / 360.0; // KEY_TUG_HEADING: 2^32 per turn

bool isXPlane(SimType type)
{
    return type == SimType::XPlane11 || type == SimType::XPlane12;
}

const char *const kXPlaneVelocities[] = {"sim/flightmodel/position/local_vx", "sim/flightmodel/position/local_vy",
                                         "sim/flightmodel/position/local_vz", "sim/flightmodel/position/P",
                                         "sim/flightmodel/position/Q",        "sim/flightmodel/position/R"};
const char *const kSimConnectVelocities[] = {"Velocity Body X",          "Velocity Body Y",
                                             "Velocity Body Z",          "Rotation Velocity Body X",
                                             "Rotation Velocity Body Y", "Rotation Velocity Body Z"};
// Body velocities in feet per second, rotations in radians per second: a simulator refuses a rotation
// given in a unit of speed.
const char *const kSimConnectVelocityUnits[] = {"feet per second",    "feet per second",    "feet per second",
                                                "radians per second", "radians per second", "radians per second"};

} // namespace

PushbackController::PushbackController(QObject *parent) : QObject(parent)
{
    m_timer = new QTimer(this);
    m_timer->setInterval(kTickMs);
    connect(m_timer, &QTimer::timeout, this, &PushbackController::onTimerTick);
}

void PushbackController::setBackend(ISimBackend *backend)
{
    m_backend = backend;
}

void PushbackController::setDispatcher(SimOperationDispatcher *dispatcher)
{
    m_dispatcher = dispatcher;
}

SimType PushbackController::targetSimType() const
{
    if (m_remote)
        return m_agentSimType;
    return m_backend ? m_backend->simType() : SimType::None;
}

void PushbackController::write(const QString &name, double value, const QString &units)
{
    if (m_remote && m_dispatcher) {
        m_dispatcher->sendAgentCommandTo(m_agent, QStringLiteral("set_data"),
                                         SimOperationDispatcher::setDataParams(name, value, units));
    } else if (m_backend && m_backend->isConnected()) {
        if (units.isEmpty())
            m_backend->setData(name, value);
        else
            m_backend->setData(name, value, units);
    }
}

void PushbackController::event(const QString &name, quint32 data)
{
    if (m_remote && m_dispatcher)
        m_dispatcher->sendAgentCommandTo(m_agent, QStringLiteral("transmit_event"),
                                         SimOperationDispatcher::transmitEventParams(name, data));
    else if (m_backend && m_backend->isConnected())
        m_backend->transmitEvent(name, data);
}

void PushbackController::start(Direction direction)
{
    if (isActive()) {
        setDirection(direction);
        return;
    }
    if (m_dispatcher && m_dispatcher->isRemote()) {
        m_direction = direction;
        m_remote = true;
        m_agent = m_dispatcher->target();
        m_agentSimType = m_dispatcher->simType();
        if (!isXPlane(m_dispatcher->simType()))
            event(QStringLiteral("TOGGLE_PUSHBACK"), 1);
        m_timer->start();
        AppLogger::instance().log(AppLogger::Info, kCategory, QStringLiteral("pushback started (agent)"));
    } else if (m_backend && m_backend->isConnected()) {
        m_direction = direction;
        if (!isXPlane(m_backend->simType()))
            event(QStringLiteral("TOGGLE_PUSHBACK"), 1);
        m_running = true;
        m_timer->start();
        AppLogger::instance().log(AppLogger::Info, kCategory, QStringLiteral("pushback started"));
    } else {
        return;
    }
    emit pushbackStarted();
    emit directionChanged(m_direction);
    onTimerTick();
}

void PushbackController::setDirection(Direction direction)
{
    if (!isActive() || direction == m_direction)
        return;
    m_direction = direction;
    emit directionChanged(m_direction);
}

void PushbackController::stop()
{
    m_timer->stop();
    const bool wasActive = isActive();
    const Direction previous = m_direction;
    m_direction = Idle;
    if (!wasActive)
        return;
    if (isXPlane(targetSimType())) {
        for (const char *name : kXPlaneVelocities)
            write(QLatin1String(name), 0.0);
    } else {
        for (int i = 0; i < 6; ++i)
            write(QLatin1String(kSimConnectVelocities[i]), 0.0, QLatin1String(kSimConnectVelocityUnits[i]));
        write(QStringLiteral("Pushback Wait"), 0.0, QStringLiteral("Bool"));
        event(QStringLiteral("TOGGLE_PUSHBACK"), 0);
    }
    m_running = false;
    m_remote = false;
    if (previous != Idle)
        emit directionChanged(Idle);
    emit pushbackStopped();
    AppLogger::instance().log(AppLogger::Info, kCategory, QStringLiteral("pushback stopped"));
}

void PushbackController::setSpeed(int percent)
{
    m_speed = std::clamp(percent, 0, 100);
    emit speedChanged(m_speed);
}

void PushbackController::setTurnRadius(int meters)
{
    m_turnRadius = std::clamp(meters, 5, 50);
    emit turnRadiusChanged(m_turnRadius);
}

double PushbackController::xplaneSpeedMs() const
{
    return m_speed / 100.0 * kFullSpeedKt * kKnotsToMs;
}

double PushbackController::xplaneYawRateDegS() const
{
    const double rate = xplaneSpeedMs() / m_turnRadius * kRadToDeg;
    if (m_direction == TurnPositive)
        return rate;
    if (m_direction == TurnNegative)
        return -rate;
    return 0.0;
}

double PushbackController::currentHeading() const
{
    if (m_remote && m_dispatcher) {
        // Reported only for the current target; after a switch the last known heading stands.
        if (m_dispatcher->target() == m_agent)
            m_lastHeading = m_dispatcher->agentHeading();
        return m_lastHeading;
    }
    return m_backend ? m_backend->aircraftData().hdgTrue : 0.0;
}

void PushbackController::onTimerTick()
{
    if (!isActive())
        return;
    if (isXPlane(targetSimType()))
        updateXPlaneVelocity();
    else
        updateSimConnectVelocity();
}

void PushbackController::updateXPlaneVelocity()
{
    const double v = xplaneSpeedMs();
    // Opposite to the nose: X-Plane's local frame has x east and z south.
    const double theta = currentHeading() * kPi / 180.0 + kPi;
    write(QLatin1String(kXPlaneVelocities[0]), v * std::sin(theta));
    write(QLatin1String(kXPlaneVelocities[1]), 0.0);
    write(QLatin1String(kXPlaneVelocities[2]), -v * std::cos(theta));
    write(QLatin1String(kXPlaneVelocities[3]), 0.0);
    write(QLatin1String(kXPlaneVelocities[4]), 0.0);
    write(QLatin1String(kXPlaneVelocities[5]), xplaneYawRateDegS());
}

void PushbackController::updateSimConnectVelocity()
{
    const QString feetPerSecond = QStringLiteral("feet per second");
    const double bodySpeed = m_speed / 100.0 * kFullSpeedKt * kKnotsToFtS * kSimConnectSpeedFactor;
    write(QStringLiteral("Pushback Wait"), 1.0, QStringLiteral("Bool"));
    write(QLatin1String(kSimConnectVelocities[0]), 0.0, feetPerSecond);
    write(QLatin1String(kSimConnectVelocities[1]), 0.0, feetPerSecond);
    write(QLatin1String(kSimConnectVelocities[2]), bodySpeed, feetPerSecond);
    write(QLatin1String(kSimConnectVelocities[3]), 0.0, QLatin1String(kSimConnectVelocityUnits[3]));
    write(QLatin1String(kSimConnectVelocities[5]), 0.0, QLatin1String(kSimConnectVelocityUnits[5]));
    if (m_direction != TurnPositive && m_direction != TurnNegative)
        return;
    // Our steering: a body yaw rate proportional to the push speed, and the tug pointed where
    // that rate takes the nose within one tick.
    const double sign = m_direction == TurnPositive ? 1.0 : -1.0;
    const double yawRad = sign * kSimConnectSteerFactor * m_speed;
    write(QLatin1String(kSimConnectVelocities[4]), yawRad, QLatin1String(kSimConnectVelocityUnits[4]));
    const double nextHeading = std::fmod(currentHeading() + yawRad * kRadToDeg * kTickMs / 1000.0 + 360.0, 360.0);
    event(QStringLiteral("KEY_TUG_HEADING"),
          static_cast<quint32>(std::llround(nextHeading * kTugHeadingScale) & 0xFFFFFFFFLL));
}
