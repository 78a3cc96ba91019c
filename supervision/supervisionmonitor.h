#pragma once

#include "sim/aircraftdata.h"
#include "supervision/conflictdetector.h"
#include "supervision/deviationmonitor.h"
#include "supervision/terrainmonitor.h"
#include "supervision/trackedaircraft.h"
#include "supervision/trafficfeedparser.h"

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QPointF>
#include <QString>

#include <optional>

class AlertManager;
class INavDataProvider;
class QSettings;
class QTimer;

// Watches every tracked aircraft once a second: gathers the own aircraft (from the live samples),
// the agents' aircraft and the network traffic into one list, runs the conflict, deviation and
// terrain checks over it and hands the results to the alert manager.
//
// A network pilot with the callsign of the own aircraft or of an agent is the same aircraft seen
// twice and is left out. The own aircraft drops out when no sample came for kStaleMs. Conflicts
// between network traffic alone are listed without a sound.
//
// Created by the supervision wiring with a parent; GUI thread only. The alert manager and the
// navigation data are borrowed. Settings keys are the constants below.
class SupervisionMonitor : public QObject
{
    Q_OBJECT
public:
    static constexpr int kEvaluateMs = 1000;
    static constexpr int kStaleMs = 10000;
    static constexpr char kOwnId[] = "own";

    static constexpr char kLookAheadKey[] = "conflictLookAheadSec";
    static constexpr char kLateralKey[] = "conflictLateralNm";
    static constexpr char kVerticalKey[] = "conflictVerticalFt";
    static constexpr char kTerminalLateralKey[] = "conflictTerminalLateralNm";
    static constexpr char kTerminalCeilingKey[] = "conflictTerminalCeilingFt";
    static constexpr char kCrossTrackKey[] = "routeDeviationNm";
    static constexpr char kAltitudeToleranceKey[] = "altitudeToleranceFt";
    static constexpr char kMsaMarginKey[] = "msaMarginFt";
    static constexpr char kMinAglKey[] = "minAglFt";

    SupervisionMonitor(AlertManager *alerts, QObject *parent = nullptr);

    void loadSettings(const QSettings &settings);
    void setNavData(const INavDataProvider *navData);
    // Starts or stops the once-a-second evaluation.
    void setRunning(bool running);

    void setOwnAircraft(const AircraftData &data);
    void setOwnCallsign(const QString &callsign);
    void setAgents(const QList<TrackedAircraft> &agents);
    void setNetworkTraffic(const QList<TrafficPilot> &pilots);
    void setRoute(const QList<QPointF> &route, const QString &aircraftId = QString::fromLatin1(kOwnId));
    void setAssignedAltitude(const QString &aircraftId, std::optional<double> altitudeFt);

    QList<TrackedAircraft> trackedAircraft() const;
    const ConflictDetector::Settings &conflictSettings() const { return m_conflictSettings; }
    DeviationMonitor &deviation() { return m_deviation; }
    TerrainMonitor &terrain() { return m_terrain; }
    // Time the last conflict pass took.
    double lastConflictPassMs() const { return m_lastConflictMs; }

public slots:
    void evaluate();

signals:
    void evaluated(int trackedCount, int alertCount);

private:
    QList<SupervisionAlert> conflictAlerts(const QList<TrackedAircraft> &aircraft);

    AlertManager *m_alerts = nullptr;
    QTimer *m_timer = nullptr;
    ConflictDetector::Settings m_conflictSettings;
    DeviationMonitor m_deviation;
    TerrainMonitor m_terrain;
    TrackedAircraft m_own;
    bool m_hasOwn = false;
    QElapsedTimer m_ownAge;
    QString m_ownCallsign;
    QList<TrackedAircraft> m_agents;
    QList<TrackedAircraft> m_network;
    QElapsedTimer m_clock;
    double m_lastConflictMs = 0.0;
};
