#include "bridge/bridgeserversettings.h"

#include <QSettings>

BridgeServerSettings BridgeServerSettings::read(const QSettings &settings)
{
    BridgeServerSettings out;
    out.enabled = settings.value(QLatin1String(kEnabledKey), false).toBool();
    const uint port = settings.value(QLatin1String(kPortKey), kDefaultPort).toUInt();
    out.port = port > 0 && port <= 65535 ? quint16(port) : kDefaultPort;
    out.pairingSecret = settings.value(QLatin1String(kSecretKey)).toString();
    out.files.caFile = settings.value(QLatin1String(kCaFileKey)).toString();
    out.files.certFile = settings.value(QLatin1String(kCertFileKey)).toString();
    out.files.keyFile = settings.value(QLatin1String(kKeyFileKey)).toString();
    out.files.expectedCaFingerprint = settings.value(QLatin1String(kCaFingerprintKey)).toString();
    return out;
}

void BridgeServerSettings::write(QSettings &settings) const
{
    settings.setValue(QLatin1String(kEnabledKey), enabled);
    settings.setValue(QLatin1String(kPortKey), port);
    settings.setValue(QLatin1String(kSecretKey), pairingSecret);
    settings.setValue(QLatin1String(kCaFileKey), files.caFile);
    settings.setValue(QLatin1String(kCertFileKey), files.certFile);
    settings.setValue(QLatin1String(kKeyFileKey), files.keyFile);
    settings.setValue(QLatin1String(kCaFingerprintKey), files.expectedCaFingerprint);
}
