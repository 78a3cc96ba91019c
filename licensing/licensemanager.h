#pragma once

#include "licensing/license.h"

#include <QObject>
#include <QString>

#include <functional>

// The station's licence: the licence file in use, its check, and what it allows. Without a valid
// licence the station runs in evaluation mode, in which everything works but the bridge server
// admits at most kEvaluationAgents agents.
//
// Created by the application's licensing wiring with the licence file's path (beside Zobrel.ini),
// the vendor's public key and this machine's id; GUI thread. It never deletes a licence: loading a
// new one replaces the file only when the new one is valid.
class LicenseManager : public QObject
{
    Q_OBJECT
public:
    static constexpr int kEvaluationAgents = 2;
    static constexpr char kLicenseFileName[] = "Zobrel.lic";

    // What the bridge server answers a registering agent (the bridge adapter hands it on).
    struct Admission
    {
        bool accepted = true;
        QString reason;  // machine-readable code: "agent_limit", "agent_unlicensed"
        QString message; // English, sent to the agent
    };

    LicenseManager(const QString &licensePath, const QByteArray &publicKeyPem, const QString &machineId,
                   QObject *parent = nullptr);

    // Reads the licence file (a missing one is evaluation mode, not an error) and logs the outcome.
    void load();
    // Checks the file at path; when valid it is copied over the station's licence file and used
    // from now on. Otherwise nothing changes and the returned check says why (Status::Malformed
    // with a detail also when the file cannot be read or the copy cannot be written).
    LicenseCheck install(const QString &path);

    // The check of the licence in use, with the expiry re-evaluated against today.
    LicenseCheck current() const;
    bool isEvaluation() const { return !current().isValid(); }
    QString machineId() const { return m_machineId; }
    QString licensePath() const { return m_licensePath; }

    // Agents the bridge server may hold at once: kEvaluationAgents without a valid licence (or
    // with one that lacks "bridge-server"), N for "agents:N", -1 (no limit) for "bridge-server"
    // alone.
    int maxAgents() const;
    // True when the licence carries "licensed-agents-only": agents that do not report a licence
    // of their own are refused.
    bool requiresLicensedAgents() const;
    // The decision for an agent registering while agentCount others are registered.
    Admission admitAgent(const QString &licenseKey, bool licensed, int agentCount) const;

    // Tests move the calendar; the default is the current UTC date.
    void setClock(std::function<QDate()> todayUtc) { m_today = std::move(todayUtc); }

signals:
    void licenseChanged();

private:
    LicenseCheck checkFile(const QString &path) const;

    QString m_licensePath;
    QByteArray m_publicKey;
    QString m_machineId;
    LicenseCheck m_check;
    std::function<QDate()> m_today;
};
