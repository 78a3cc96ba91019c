#pragma once

#include <QObject>
#include <QPointer>

class ISimBackend;
class SimOperationDispatcher;

// Nudges the user aircraft in small steps (forward, sideways, up, turned) by repositioning it to
// a target the controller keeps: taken from the aircraft (or the remote station's report) before
// the first step, then moved by each step. Flat-earth steps (60 nm per degree of latitude,
// 6076.12 ft per nm) meant for small nudges, not for long distances.
//
// Owned by the main window (GUI thread). Backend and dispatcher are borrowed. With neither a
// connected backend nor a remote target a step does nothing. enable() only marks the pad as in
// use; disable() also forgets the target so the next step starts from where the aircraft is.
// Units: degrees, feet.
class SlewController : public QObject
{
    Q_OBJECT
public:
    static constexpr double kFeetPerNm = 6076.12;

    explicit SlewController(QObject *parent = nullptr);

    void setBackend(ISimBackend *backend);
    void setDispatcher(SimOperationDispatcher *dispatcher);

    void enable();
    void disable();
    bool isEnabled() const { return m_enabled; }

    // Takes the target from the aircraft when it is not valid yet; false when there is nowhere to
    // take it from.
    bool ensureTarget();
    bool hasTarget() const { return m_targetValid; }
    double targetLat() const { return m_lat; }
    double targetLon() const { return m_lon; }
    double targetAltFt() const { return m_altFt; }
    double targetHeading() const { return m_heading; }

    // Repositions to the given spot and makes it the target.
    void slewTo(double lat, double lon, double altFt, double heading);
    void moveForward(double feet);
    void moveRight(double feet);
    void moveUp(double feet);
    void rotateRight(double degrees);
    // Accepted and ignored: the reposition carries no pitch.
    void pitchUp(double degrees);

signals:
    void enabledChanged(bool enabled);
    // Where the aircraft was sent.
    void slewed(double lat, double lon, double altFt, double heading);

private:
    void moveAlong(double feet, double bearingDeg);

    QPointer<ISimBackend> m_backend;
    QPointer<SimOperationDispatcher> m_dispatcher;
    bool m_enabled = false;
    bool m_targetValid = false;
    double m_lat = 0;
    double m_lon = 0;
    double m_altFt = 0;
    double m_heading = 0;
};
