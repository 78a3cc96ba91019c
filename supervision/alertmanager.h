#pragma once

#include "supervision/supervisionalert.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QString>

class AlertSoundPlayer;

// The alerts in force. Each evaluation hands over, per kind, the alerts that hold now: an alert
// whose key is new is raised (logged, announced, and its sound played), one still present is
// updated in place (it keeps its raise time), one missing is cleared. An alert that comes back
// within kQuietRepeatSec of being cleared is raised again without a sound, so an aircraft hovering
// at a limit does not chime every second.
//
// Created by the supervision wiring with a parent; GUI thread only. The sound player is borrowed
// and may be null (no sound).
class AlertManager : public QObject
{
    Q_OBJECT
public:
    static constexpr int kQuietRepeatSec = 30;

    explicit AlertManager(AlertSoundPlayer *player, QObject *parent = nullptr);

    // Replaces the alerts of the given kinds with current (which holds only those kinds).
    void update(const QList<SupervisionAlert::Kind> &kinds, const QList<SupervisionAlert> &current);
    void clearAll();
    // In force, in the order they were raised.
    QList<SupervisionAlert> alerts() const;
    int count() const { return int(m_order.size()); }

signals:
    void alertRaised(const SupervisionAlert &alert);
    // A raised alert asked for its sound (whether or not the machine can play it).
    void alertSounded(const SupervisionAlert &alert);
    void alertCleared(const QString &key);
    void alertsChanged();

private:
    static QString logText(const SupervisionAlert &alert);

    AlertSoundPlayer *m_player = nullptr;
    QHash<QString, SupervisionAlert> m_alerts;
    QStringList m_order;
    QHash<QString, QDateTime> m_clearedAt;
};
