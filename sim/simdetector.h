#pragma once

#include "sim/simtype.h"

#include <QList>
#include <QObject>
#include <QString>

#include <functional>

class QTimer;

// Finds running simulators by searching a snapshot of the operating system's process list for
// the simulators' executable names. Owned by the backend manager, lives on the GUI thread.
//
// The snapshot source is replaceable so tests can feed a process list of their own; the default
// is systemProcessList() (tasklist on Windows, process names and command lines elsewhere).
class SimDetector : public QObject
{
    Q_OBJECT
public:
    using ProcessListSource = std::function<QString()>;

    explicit SimDetector(ProcessListSource source = {}, QObject *parent = nullptr);

    // Sorted by numeric value, each simulator once.
    QList<SimType> detect() const;
    // Pure matching step of detect(), on a given process-list text.
    static QList<SimType> simulatorsIn(const QString &processList);

    void startWatching(int intervalMs);
    void stopWatching();
    bool isWatching() const;

signals:
    void simulatorsChanged(const QList<SimType> &simulators);

private:
    void onTimerTick();

    ProcessListSource m_source;
    QTimer *m_timer = nullptr;
};
