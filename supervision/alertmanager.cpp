#include "supervision/alertmanager.h"

#include "app/log/applogger.h"
#include "supervision/alertsound.h"

#include <QSet>

#include <cmath>

AlertManager::AlertManager(AlertSoundPlayer *player, QObject *parent) : QObject(parent), m_player(player)
{
    qRegisterMetaType<SupervisionAlert>();
}

void AlertManager::update(const QList<SupervisionAlert::Kind> &kinds, const QList<SupervisionAlert> &current)
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QSet<QString> present;
    bool changed = false;
    for (SupervisionAlert alert : current) {
        const QString key = alert.key();
        present.insert(key);
        auto existing = m_alerts.find(key);
        if (existing != m_alerts.end()) {
            alert.raisedUtc = existing->raisedUtc;
            *existing = alert;
            changed = true;
            continue;
        }
        alert.raisedUtc = now;
        m_alerts.insert(key, alert);
        m_order.append(key);
        changed = true;
        const QDateTime cleared = m_clearedAt.take(key);
        const bool quiet = cleared.isValid() && cleared.secsTo(now) < kQuietRepeatSec;
        AppLogger::instance().log(AppLogger::Info, QStringLiteral("Supervision"), logText(alert));
        emit alertRaised(alert);
        if (!quiet && alert.audible) {
            if (m_player)
                m_player->play(AlertSound::toneFor(alert.kind));
            emit alertSounded(alert);
        }
    }
    for (qsizetype i = m_order.size() - 1; i >= 0; --i) {
        const QString key = m_order.at(i);
        const SupervisionAlert &alert = m_alerts.value(key);
        if (!kinds.contains(alert.kind) || present.contains(key))
            continue;
        m_alerts.remove(key);
        m_order.removeAt(i);
        m_clearedAt.insert(key, now);
        changed = true;
        emit alertCleared(key);
    }
    // Forget old clearances so the map cannot grow with every aircraft ever seen.
    for (auto it = m_clearedAt.begin(); it != m_clearedAt.end();) {
        it = it.value().secsTo(now) >= kQuietRepeatSec ? m_clearedAt.erase(it) : std::next(it);
    }
    if (changed)
        emit alertsChanged();
}

void AlertManager::clearAll()
{
    if (m_order.isEmpty())
        return;
    const QStringList keys = m_order;
    m_alerts.clear();
    m_order.clear();
    for (const QString &key : keys)
        emit alertCleared(key);
    emit alertsChanged();
}

QList<SupervisionAlert> AlertManager::alerts() const
{
    QList<SupervisionAlert> out;
    out.reserve(m_order.size());
    for (const QString &key : m_order)
        out.append(m_alerts.value(key));
    return out;
}

QString AlertManager::logText(const SupervisionAlert &alert)
{
    const QString who = alert.labels.join(QStringLiteral(" and "));
    switch (alert.kind) {
    case SupervisionAlert::Kind::Conflict:
        return QStringLiteral("Alert: conflict %1, closest in %2 s at %3 nm / %4 ft")
            .arg(who)
            .arg(std::lround(alert.value1))
            .arg(alert.value2, 0, 'f', 1)
            .arg(std::lround(alert.value3));
    case SupervisionAlert::Kind::RouteDeviation:
        return QStringLiteral("Alert: %1 %2 nm off the route").arg(who).arg(alert.value1, 0, 'f', 1);
    case SupervisionAlert::Kind::AltitudeDeviation:
        return QStringLiteral("Alert: %1 at %2 ft, assigned %3 ft")
            .arg(who)
            .arg(std::lround(alert.value1))
            .arg(std::lround(alert.value2));
    case SupervisionAlert::Kind::BelowSafeAltitude:
        return QStringLiteral("Alert: %1 at %2 ft, below the minimum safe altitude %3 ft")
            .arg(who)
            .arg(std::lround(alert.value1))
            .arg(std::lround(alert.value2));
    case SupervisionAlert::Kind::TerrainClearance:
        return QStringLiteral("Alert: %1 %2 ft above ground, minimum %3 ft")
            .arg(who)
            .arg(std::lround(alert.value1))
            .arg(std::lround(alert.value2));
    }
    return QString();
}
