#include "sim/simdetector.h"

#include "sim/platform.h"

#include <QTimer>

#include <algorithm>

SimDetector::SimDetector(ProcessListSource source, QObject *parent)
    : QObject(parent), m_source(source ? std::move(source) : ProcessListSource(systemProcessList))
{
}

QList<SimType> SimDetector::simulatorsIn(const QString &processList)
{
    QList<SimType> found;
    const auto has = [&processList](const char *text) {
        return processList.contains(QLatin1String(text), Qt::CaseInsensitive);
    };
    if (has("FlightSimulator.exe"))
        found << SimType::Msfs2020;
    if (has("FlightSimulator2024"))
        found << SimType::Msfs2024;
    if (has("Prepar3D"))
        found << SimType::Prepar3D;
    if (has("fsx.exe"))
        found << SimType::Fsx;
    // X-Plane 12's name also contains "X-Plane", so 11 is only assumed when 12 is not there.
    if (has("X-Plane 12") || has("X-Plane12"))
        found << SimType::XPlane12;
    else if (has("X-Plane"))
        found << SimType::XPlane11;
    std::sort(found.begin(), found.end());
    return found;
}

QList<SimType> SimDetector::detect() const
{
    return simulatorsIn(m_source());
}

void SimDetector::startWatching(int intervalMs)
{
    if (!m_timer) {
        m_timer = new QTimer(this);
        connect(m_timer, &QTimer::timeout, this, &SimDetector::onTimerTick);
    }
    m_timer->start(intervalMs);
}

void SimDetector::stopWatching()
{
    if (m_timer)
        m_timer->stop();
}

bool SimDetector::isWatching() const
{
    return m_timer && m_timer->isActive();
}

void SimDetector::onTimerTick()
{
    emit simulatorsChanged(detect());
}
