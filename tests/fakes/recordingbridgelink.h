#pragma once

#include "sim/ibridgelink.h"

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QString>

// An IBridgeLink that stands where the bridge server stands and keeps, per agent, the compact JSON
// lines sendToAgent would have written to that agent's socket. Agents are registered by hand with
// their "sim" text and, optionally, a reported aircraft.
class RecordingBridgeLink : public IBridgeLink
{
public:
    void registerAgent(const QString &agentId, const QString &sim);
    void unregisterAgent(const QString &agentId);
    void setRemoteAircraft(const QString &agentId, const RemoteAircraft &aircraft);

    bool sendToAgent(const QString &agentId, const QJsonObject &message) override;
    bool isAgentRegistered(const QString &agentId) const override;
    RemoteAircraft remoteAircraft(const QString &agentId) const override;
    QString agentSim(const QString &agentId) const override;

    // Lines written to that agent, each a compact JSON object with its line feed.
    QList<QByteArray> lines(const QString &agentId) const;
    // The lines parsed back; a line that is not a JSON object fails the parse and is skipped.
    QList<QJsonObject> messages(const QString &agentId) const;
    void clear();

private:
    QHash<QString, QString> m_sims;
    QHash<QString, RemoteAircraft> m_aircraft;
    QHash<QString, QList<QByteArray>> m_lines;
};
