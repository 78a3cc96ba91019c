#pragma once

#include "sim/simtype.h"

#include <QObject>
#include <QPointer>

class ISimBackend;
class QTimer;
class SimOperationDispatcher;

// Pushes the user aircraft backwards at a chosen speed, straight or turning with a chosen radius,
// by writing velocities every 50 ms: X-Plane's local velocity and yaw-rate datarefs, or the
// SimConnect body velocities with the tug. With a remote target on the dispatcher the same writes
// go to that station.
//
// Owned by the main window (GUI thread). Backend and dispatcher are borrowed. Speed is a percent
// of 3 kt; the turn radius is in metres.
class PushbackController : public QObject
{
    Q_OBJECT
public:
    // Nose swings with a positive yaw rate (heading increasing) for TurnPositive, negative for
    // TurnNegative; any other value pushes straight. Idle is the value when not pushing.
    enum Direction { Straight = 0, TurnPositive = 1, TurnNegative = 2, Idle = 3 };
    Q_ENUM(Direction)

    static constexpr int kTickMs = 50;
    static constexpr double kFullSpeedKt = 3.0;
    static constexpr double kKnotsToMs = 0.514444;
    static constexpr double kKnotsToFtS = 1.68781;
    // Scales and reverses the SimConnect body speed.
    static constexpr double kSimConnectSpeedFactor = -0.2;
    // SimConnect steering: body yaw rate in rad/s per percent of speed.
    static constexpr double kSimConnectSteerFactor = 0.002;

    explicit PushbackController(QObject *parent = nullptr);

    void setBackend(ISimBackend *backend);
    void setDispatcher(SimOperationDispatcher *dispatcher);

    // Starts pushing (the local simulator must be connected, or a remote target chosen).
    void start(Direction direction);
    // Changes the direction of a running push.
    void setDirection(Direction direction);
    void stop();

    void setSpeed(int percent);     // clamped to 0..100
    void setTurnRadius(int meters); // clamped to 5..50
    int speed() const { return m_speed; }
    int turnRadius() const { return m_turnRadius; }
    Direction direction() const { return m_direction; }
    bool isActive() const { return m_running || m_remote; }

    // The X-Plane writes of one tick: push speed in m/s and yaw rate in deg/s.
    double xplaneSpeedMs() const;
    double xplaneYawRateDegS() const;

public slots:
    void onTimerTick();

signals:
    void pushbackStarted();
    void pushbackStopped();
    void directionChanged(PushbackController::Direction direction);
    void speedChanged(int percent);
    void turnRadiusChanged(int meters);

private:
    SimType targetSimType() const;
    void write(const QString &name, double value, const QString &units = QString());
    void event(const QString &name, quint32 data);
    void updateXPlaneVelocity();
    void updateSimConnectVelocity();
    double currentHeading() const;

    QPointer<ISimBackend> m_backend;
    QPointer<SimOperationDispatcher> m_dispatcher;
    Direction m_direction = Idle;
    int m_speed = 50;
    int m_turnRadius = 15;
    bool m_running = false;
    bool m_remote = false;
    QString m_agent; // the station a remote push runs on, kept when the target changes
    SimType m_agentSimType = SimType::None;
    mutable double m_lastHeading = 0;
    QTimer *m_timer = nullptr;
};
