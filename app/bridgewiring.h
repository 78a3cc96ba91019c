#pragma once

#include "map/radaroverlay.h"
#include "ui/bridgetab.h"
#include "ui/remotetargetlabel.h"

#include <QObject>
#include <QPointer>
#include <QString>

#include <memory>

class BridgeServer;
class LicenseAdmission;
class LicenseManager;
class QTimer;
class SimOperationDispatcher;

// The instructor side of remote instruction, wired into the station: the bridge server
// (configured from Zobrel.ini), its tab, the status-bar field naming the target, and the remote
// aircraft on the map. Holds the station's target (empty: the local simulator) and announces it
// with targetChanged, which the main window passes on to whatever acts on the aircraft.
//
// Created and owned by the main window, GUI thread only. The tab and the label are handed to the
// window, which parents them (until then they are this object's to delete); the radar overlay is
// the map tab's.
class BridgeServices : public QObject
{
    Q_OBJECT
public:
    // Remote aircraft reach the map at most this often, however many agents report.
    static constexpr int kMapUpdateMs = 250;

    // Starts the server at once when the settings switch it on.
    BridgeServices(const QString &settingsPath, RadarOverlay *radar, QObject *parent = nullptr);
    // Deletes the tab and the label unless a window took them.
    ~BridgeServices() override;

    BridgeServer *server() const { return m_server; }
    BridgeTab *tab() const { return m_tab; }
    RemoteTargetLabel *targetLabel() const { return m_label; }
    QString target() const { return m_target; }

    // Starts the server on port (0: the port in the settings) with the settings' secret and
    // certificates; false when it did not start (the tab and the log say why).
    bool startServer(quint16 port = 0);
    // After the settings were saved: the server follows their on/off switch.
    void applySettings();
    // Lets the dispatcher (borrowed) reach agents through the server, hear their command results,
    // and follow the target chosen here (and the other way round).
    void attachDispatcher(SimOperationDispatcher *dispatcher);
    // Registrations are admitted by the licence (borrowed) from now on: its agent limit and its
    // licensed-agents-only rule.
    void setLicense(const LicenseManager *license);

public slots:
    void setTarget(const QString &agentId);

signals:
    void targetChanged(const QString &agentId);

private:
    void configureServer();
    void onAgentRegistered();
    void pushToMap();

    QString m_settingsPath;
    BridgeServer *m_server = nullptr;
    QPointer<BridgeTab> m_tab;
    QPointer<RemoteTargetLabel> m_label;
    QPointer<RadarOverlay> m_radar;
    QTimer *m_mapTimer = nullptr;
    QString m_target;
    QString m_targetName; // its last known callsign, shown while it is away
    std::unique_ptr<LicenseAdmission> m_admission;
};
