#include "supervision/supervisionmonitor.h"

#include "supervision/alertmanager.h"

#include <QSet>
#include <QSettings>
#include <QTimer>

namespace {

double setting(const QSettings &settings, const char *key, double fallback, double min, double max)
{
    bool ok = false;
    const double value = settings.value(QLatin1String(key), fallback).toDouble(&ok);
    return ok && value >= min && value <= max ? value : fallback;
}

} // namespace

SupervisionMonitor::SupervisionMonitor(AlertManager *alerts, QObject *parent)
    : QObject(parent), m_alerts(alerts), m_timer(new QTimer(this))
{
    m_timer->setInterval(kEvaluateMs);
    connect(m_timer, &QTimer::timeout, this, &SupervisionMonitor::evaluate);
    m_clock.start();
}

void SupervisionMonitor::loadSettings(const QSettings &settings)
{
    ConflictDetector::Settings c;
    c.lookAheadSec = setting(settings, kLookAheadKey, c.lookAheadSec, 10, 1800);
    c.lateralSepNm = setting(settings, kLateralKey, c.lateralSepNm, 0.5, 50);
    c.verticalSepFt = setting(settings, kVerticalKey, c.verticalSepFt, 100, 5000);
    c.terminalLateralSepNm = setting(settings, kTerminalLateralKey, c.terminalLateralSepNm, 0.5, 50);
    c.terminalCeilingFt = setting(settings, kTerminalCeilingKey, c.terminalCeilingFt, 0, 60000);
    m_conflictSettings = c;
    DeviationMonitor::Settings d = m_deviation.settings();
    d.crossTrackLimitNm = setting(settings, kCrossTrackKey, d.crossTrackLimitNm, 0.1, 100);
    d.altitudeToleranceFt = setting(settings, kAltitudeToleranceKey, d.altitudeToleranceFt, 50, 5000);
    m_deviation.setSettings(d);
    TerrainMonitor::Settings t = m_terrain.settings();
    t.msaMarginFt = setting(settings, kMsaMarginKey, t.msaMarginFt, 0, 10000);
    t.minAglFt = setting(settings, kMinAglKey, t.minAglFt, 0, 10000);
    m_terrain.setSettings(t);
}

void SupervisionMonitor::setNavData(const INavDataProvider *navData)
{
    m_terrain.setNavData(navData);
}

void SupervisionMonitor::setRunning(bool running)
{
    if (running)
        m_timer->start();
    else
        m_timer->stop();
}

void SupervisionMonitor::setOwnAircraft(const AircraftData &data)
{
    // A backend without a position yet reports 0/0.
    if (data.lat == 0.0 && data.lon == 0.0)
        return;
    m_own.source = TrackedAircraft::Source::Own;
    m_own.id = QString::fromLatin1(kOwnId);
    m_own.callsign = m_ownCallsign;
    m_own.lat = data.lat;
    m_own.lon = data.lon;
    m_own.altitudeFt = data.alt;
    m_own.groundSpeedKts = data.gs;
    m_own.trackDeg = data.track != 0.0 ? data.track : data.hdgTrue;
    m_own.verticalSpeedFpm = data.vs;
    m_own.onGround = data.onGround;
    m_own.heightAglFt = data.altAGL;
    m_hasOwn = true;
    m_ownAge.start();
}

void SupervisionMonitor::setOwnCallsign(const QString &callsign)
{
    m_ownCallsign = callsign;
    m_own.callsign = callsign;
}

void SupervisionMonitor::setAgents(const QList<TrackedAircraft> &agents)
{
    m_agents = agents;
}

void SupervisionMonitor::setNetworkTraffic(const QList<TrafficPilot> &pilots)
{
    m_network.clear();
    m_network.reserve(pilots.size());
    for (const TrafficPilot &pilot : pilots) {
        TrackedAircraft a;
        a.source = TrackedAircraft::Source::Network;
        a.id = pilot.callsign;
        a.callsign = pilot.callsign;
        a.lat = pilot.lat;
        a.lon = pilot.lon;
        a.altitudeFt = pilot.altitudeFt;
        a.groundSpeedKts = pilot.groundSpeedKts;
        // The feed gives a heading only; it stands in for the track.
        a.trackDeg = pilot.headingDeg;
        m_network.append(a);
    }
}

void SupervisionMonitor::setRoute(const QList<QPointF> &route, const QString &aircraftId)
{
    m_deviation.setRoute(route, aircraftId);
}

void SupervisionMonitor::setAssignedAltitude(const QString &aircraftId, std::optional<double> altitudeFt)
{
    m_deviation.setAssignedAltitude(aircraftId, altitudeFt, m_clock.elapsed());
}

QList<TrackedAircraft> SupervisionMonitor::trackedAircraft() const
{
    QList<TrackedAircraft> all;
    all.reserve(1 + m_agents.size() + m_network.size());
    QSet<QString> callsigns;
    if (m_hasOwn && m_ownAge.elapsed() < kStaleMs) {
        all.append(m_own);
        if (!m_own.callsign.isEmpty())
            callsigns.insert(m_own.callsign.toUpper());
    }
    for (const TrackedAircraft &agent : m_agents) {
        all.append(agent);
        if (!agent.callsign.isEmpty())
            callsigns.insert(agent.callsign.toUpper());
    }
    for (const TrackedAircraft &pilot : m_network) {
        if (!callsigns.contains(pilot.callsign.toUpper()))
            all.append(pilot);
    }
    return all;
}

QList<SupervisionAlert> SupervisionMonitor::conflictAlerts(const QList<TrackedAircraft> &aircraft)
{
    QElapsedTimer timer;
    timer.start();
    const QList<ConflictDetector::Conflict> conflicts = ConflictDetector::detect(aircraft, m_conflictSettings);
    m_lastConflictMs = timer.nsecsElapsed() / 1e6;
    QList<SupervisionAlert> alerts;
    for (const ConflictDetector::Conflict &c : conflicts) {
        const TrackedAircraft &a = aircraft.at(c.first);
        const TrackedAircraft &b = aircraft.at(c.second);
        SupervisionAlert alert;
        alert.kind = SupervisionAlert::Kind::Conflict;
        alert.aircraftIds = {a.id, b.id};
        alert.labels = {a.label(), b.label()};
        alert.positions = {QPointF(a.lat, a.lon), QPointF(b.lat, b.lon)};
        alert.value1 = c.timeToClosestSec;
        alert.value2 = c.lateralAtClosestNm;
        alert.value3 = c.verticalAtClosestFt;
        alert.audible = a.source != TrackedAircraft::Source::Network || b.source != TrackedAircraft::Source::Network;
        alerts.append(alert);
    }
    return alerts;
}

void SupervisionMonitor::evaluate()
{
    const QList<TrackedAircraft> aircraft = trackedAircraft();
    const QList<SupervisionAlert> conflicts = conflictAlerts(aircraft);
    QList<TrackedAircraft> watched; // own and agents: deviation and terrain are about the students
    for (const TrackedAircraft &a : aircraft) {
        if (a.source != TrackedAircraft::Source::Network)
            watched.append(a);
    }
    QList<SupervisionAlert> others = m_deviation.evaluate(aircraft, m_clock.elapsed());
    others += m_terrain.evaluate(watched);
    if (m_alerts) {
        m_alerts->update({SupervisionAlert::Kind::Conflict}, conflicts);
        m_alerts->update({SupervisionAlert::Kind::RouteDeviation, SupervisionAlert::Kind::AltitudeDeviation,
                          SupervisionAlert::Kind::BelowSafeAltitude, SupervisionAlert::Kind::TerrainClearance},
                         others);
    }
    emit evaluated(int(aircraft.size()), m_alerts ? m_alerts->count() : 0);
}
