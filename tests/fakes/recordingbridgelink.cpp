#include "recordingbridgelink.h"

#include <QJsonDocument>

void RecordingBridgeLink::registerAgent(const QString &agentId, const QString &sim)
{
    m_sims.insert(agentId, sim);
}

void RecordingBridgeLink::unregisterAgent(const QString &agentId)
{
    m_sims.remove(agentId);
    m_aircraft.remove(agentId);
}

void RecordingBridgeLink::setRemoteAircraft(const QString &agentId, const RemoteAircraft &aircraft)
{
    m_aircraft.insert(agentId, aircraft);
}

bool RecordingBridgeLink::sendToAgent(const QString &agentId, const QJsonObject &message)
{
    if (!m_sims.contains(agentId))
        return false;
    m_lines[agentId].append(QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n');
    return true;
}

bool RecordingBridgeLink::isAgentRegistered(const QString &agentId) const
{
    return m_sims.contains(agentId);
}

RemoteAircraft RecordingBridgeLink::remoteAircraft(const QString &agentId) const
{
    return m_aircraft.value(agentId);
}

QString RecordingBridgeLink::agentSim(const QString &agentId) const
{
    return m_sims.value(agentId);
}

QList<QByteArray> RecordingBridgeLink::lines(const QString &agentId) const
{
    return m_lines.value(agentId);
}

QList<QJsonObject> RecordingBridgeLink::messages(const QString &agentId) const
{
    QList<QJsonObject> out;
    for (const QByteArray &line : m_lines.value(agentId)) {
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(line, &error);
        if (error.error == QJsonParseError::NoError && document.isObject())
            out.append(document.object());
    }
    return out;
}

void RecordingBridgeLink::clear()
{
    m_lines.clear();
}
