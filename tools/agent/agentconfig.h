#pragma once

#include <QString>

#include <optional>

class QCoreApplication;

// What zobrel-agent runs with: the instructor to reach, the CA to trust, who it is, and the
// settings file its simulator link reads. Values come from the command line, else from the
// settings file's group "Agent", else defaults.
struct AgentConfig
{
    // Settings keys (group "Agent") and defaults.
    static constexpr const char *kHostKey = "Agent/host";
    static constexpr const char *kPortKey = "Agent/port";
    static constexpr const char *kCaFileKey = "Agent/caFile";
    static constexpr const char *kCallsignKey = "Agent/callsign";
    static constexpr const char *kSecretKey = "Agent/secret";
    static constexpr const char *kAgentIdKey = "Agent/agentId";
    static constexpr const char *kLicenseKeyKey = "Agent/licenseKey";
    static constexpr quint16 kDefaultPort = 48448;

    QString settingsPath;
    QString host;
    quint16 port = kDefaultPort;
    QString caFile; // empty: the CA compiled into the agent
    QString callsign;
    QString secret;
    QString agentId;
    QString machineId;
    QString licenseKey;
    bool licensed = false;  // this station holds a valid licence (its id is then licenseKey)
    QString makeKeysDir;    // --make-keys: create a certificate set there and exit
    quint16 xplanePort = 0; // --xplane-port: overrides xplanePort (and picks any local port) when set
};

// Parses the command line (printing usage or errors to stderr) and completes it from the settings
// file. A new agentId is derived once and saved there, so it stays the same on this machine.
// nullopt when the arguments are unusable; *exitCode is then the code to exit with.
std::optional<AgentConfig> loadAgentConfig(const QCoreApplication &app, int *exitCode);

// Checks the station's licence ("Zobrel.lic" beside the settings file, as for the station) and, when
// it is valid, reports it: licensed, with the licence's id as licenseKey. Logs what it found.
void readStationLicence(AgentConfig *config);
