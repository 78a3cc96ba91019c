#pragma once

#include "bridge/bridgetls.h"

#include <QString>

class QSettings;

// The instructor station's bridge-server settings in Zobrel.ini: whether the server starts with
// the station, its port, the optional pairing secret and the operator's own certificate files.
struct BridgeServerSettings
{
    static constexpr const char *kEnabledKey = "bridgeServerEnabled";
    // Not "bridgePort": that one is the Prepar3D/FSX helper's local port, and an instructor
    // station on Prepar3D needs both at once.
    static constexpr const char *kPortKey = "bridgeServerPort";
    static constexpr quint16 kDefaultPort = 48448;
    static constexpr const char *kSecretKey = "bridgePairingSecret";
    static constexpr const char *kCaFileKey = "bridgeCaFile";
    static constexpr const char *kCertFileKey = "bridgeCertFile";
    static constexpr const char *kKeyFileKey = "bridgeKeyFile";
    static constexpr const char *kCaFingerprintKey = "bridgeCaFingerprint";

    bool enabled = false;
    quint16 port = kDefaultPort;
    QString pairingSecret;
    BridgeCertificateFiles files;

    static BridgeServerSettings read(const QSettings &settings);
    void write(QSettings &settings) const;
};
