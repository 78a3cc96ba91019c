#pragma once

#include "recording/recordedflight.h"
#include "sim/remoteaircraft.h"

#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QString>

class AircraftDataFanOut;
class BridgeServer;
class ControlServices;
class FlightPlayback;
class FlightRecorder;
class ISimBackend;
class MapTab;
class PfdTab;
class PlanningServices;
class PlaybackBar;
class PlaybackTrackLayer;
class QDockWidget;
class QMainWindow;
class QTabWidget;
class RecordingLibrary;
class RecordingStatusLabel;
class SupervisionServices;
class RecordingsTab;
class SimBackendManager;

// The station's recording, playback and instrument services and their place in the window: the
// recorder (fed by the fan-out, a flight per simulator connection), the recordings library, the
// playback with its track on the map and its bar in a dock under the tabs, the recordings and
// PFD tabs, and the recorder's state in the status bar.
//
// Created by the main window (its parent) after the map tab and the fan-out; GUI thread. Reads
// its settings once from the INI file it is given: recordingEnabled (true), recordingThinning
// (true), recordingCallsign, recordingStation (the host name) and the database keys of
// RecordingDatabaseConfig (a SQLite file in the user's data folder unless a server is named).
//
// Agents and instructor actions reach it from the services that know them: connectControls
// records the control services' actions (positioning, failures, fuel and payload, pushback, slew,
// pause and freeze, weather) as events of the aircraft they were sent to, connectPlanning a plan
// sent to the simulator and an OFP loaded, connectBridge each agent's reports as a flight of its
// own, connectSupervision the scenarios and ATC instructions; others call recorder()->recordEvent(...) for their
// actions.
class RecordingServices : public QObject
{
    Q_OBJECT
public:
    static constexpr const char *kEnabledKey = "recordingEnabled";
    static constexpr const char *kThinningKey = "recordingThinning";
    static constexpr const char *kCallsignKey = "recordingCallsign";
    static constexpr const char *kStationKey = "recordingStation";

    RecordingServices(QMainWindow *window, QTabWidget *tabs, MapTab *mapTab, AircraftDataFanOut *fanOut,
                      SimBackendManager *manager, const QString &settingsPath);
    ~RecordingServices() override;

    // The SQLite file used when the settings name none: in the user's data folder.
    static QString defaultDatabasePath();

    // The tab and dock titles in the current language; the main window calls it on a language change.
    void retranslateUi();

    // Records every action of the control services as an event of the dispatcher's target.
    void connectControls(ControlServices *controls);
    // Records a plan sent to the simulator (always the local one) and an OFP's fuel and payload
    // loaded (for the dispatcher's target). Placing the aircraft at a route point goes through the
    // control services' positioning and is recorded there.
    void connectPlanning(PlanningServices *planning);
    // Every agent's reports recorded as its flight (with the simulator it registered with) and
    // shown on the PFD tab; the flight ends when the agent goes.
    void connectBridge(BridgeServer *server);
    // A scenario applied and an ATC instruction given, as events of the aircraft they concern. An
    // instruction to network traffic (an aircraft without a recorded flight) stays in the ATC log
    // only.
    void connectSupervision(SupervisionServices *supervision);

    FlightRecorder *recorder() const { return m_recorder; }
    RecordingLibrary *library() const { return m_library; }
    FlightPlayback *playback() const { return m_playback; }
    PlaybackTrackLayer *trackLayer() const { return m_layer; }
    RecordingsTab *recordingsTab() const { return m_recordingsTab; }
    PfdTab *pfdTab() const { return m_pfdTab; }
    PlaybackBar *playbackBar() const { return m_bar; }
    QDockWidget *playbackDock() const { return m_dock; }
    RecordingStatusLabel *statusLabel() const { return m_status; }

public slots:
    void onAgentUpdated(const QString &agentId, const RemoteAircraft &aircraft, const QString &agentSim = {});
    void onAgentRemoved(const QString &agentId);
    // Shows the flight on the map with its marks, paused at its start, with the playback bar.
    void startPlayback(const RecordedFlight &flight);
    void stopPlayback();

private:
    void onBackendChanged(ISimBackend *backend);
    void onPlaybackPosition(const TrackSample &sample);
    // An event of the dispatcher's target (the local aircraft without one).
    void recordAction(const QString &kind, const QString &text, const QJsonObject &details = {});
    // Centres the map on the replayed track, as close as the whole track fits.
    void fitTrack();

    QMainWindow *m_window;
    QTabWidget *m_tabs;
    MapTab *m_mapTab;
    SimBackendManager *m_manager;
    QString m_callsign;
    QPointer<ISimBackend> m_backend;
    QPointer<ControlServices> m_controls;
    QJsonObject m_lastPosition; // what the positioning sent, until its description follows
    FlightRecorder *m_recorder = nullptr;
    RecordingLibrary *m_library = nullptr;
    FlightPlayback *m_playback = nullptr;
    PlaybackTrackLayer *m_layer = nullptr;
    RecordingsTab *m_recordingsTab = nullptr;
    PfdTab *m_pfdTab = nullptr;
    PlaybackBar *m_bar = nullptr;
    QDockWidget *m_dock = nullptr;
    RecordingStatusLabel *m_status = nullptr;
};
