#pragma once

#include "sim/aircraftdata.h"
#include "sim/remoteaircraft.h"

#include <QHash>
#include <QWidget>

class PrimaryFlightDisplay;
class QComboBox;
class QLabel;

// The primary flight display tab: the display of one aircraft, chosen in a list of the local
// aircraft, the remote stations (agents) that reported their state, and the flight being replayed
// while there is one. Only the chosen source's samples reach the display.
//
// Created by the station's recording services; GUI thread. The wiring feeds the local samples,
// each agent's RemoteAircraft (converted to AircraftData here) and the replayed state.
class PfdTab : public QWidget
{
    Q_OBJECT
public:
    // What the source list holds besides agent ids (their item data).
    static inline const QString kLocalSource = QStringLiteral(":local");
    static inline const QString kPlaybackSource = QStringLiteral(":playback");

    explicit PfdTab(QWidget *parent = nullptr);

    PrimaryFlightDisplay *display() const { return m_display; }
    // The chosen source: kLocalSource, kPlaybackSource or an agent id.
    QString source() const;
    bool setSource(const QString &source);

public slots:
    void setLocalAircraftData(const AircraftData &data);
    // The local simulator went away: the display shows no data while it is chosen.
    void clearLocal();
    void updateAgent(const QString &agentId, const RemoteAircraft &aircraft);
    void removeAgent(const QString &agentId);
    void setPlaybackData(const AircraftData &data);
    void setPlaybackAvailable(bool available);

protected:
    void changeEvent(QEvent *event) override;

private:
    void retranslateUi();
    void onSourceChanged();
    void show(const QString &source, const AircraftData &data);

    QComboBox *m_sources = nullptr;
    QLabel *m_sourceLabel = nullptr;
    PrimaryFlightDisplay *m_display = nullptr;
    QHash<QString, AircraftData> m_latest; // per source, to show at once on switching
};
