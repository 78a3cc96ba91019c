#include "tools/agent/agentconfig.h"

#include "licensing/licensemanager.h"
#include "licensing/machineid.h"
#include "licensing/vendorkey.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QHostInfo>
#include <QSettings>
#include <QStandardPaths>
#include <QSysInfo>

#include <cstdio>

namespace {

constexpr int kExitUsage = 2;

QString defaultSettingsPath()
{
    const QString appDir = QCoreApplication::applicationDirPath();
    if (QFileInfo(appDir).isWritable())
        return QDir(appDir).filePath(QStringLiteral("Zobrel.ini"));
    const QString userDir = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    QDir().mkpath(userDir);
    return QDir(userDir).filePath(QStringLiteral("Zobrel.ini"));
}

QString machineIdentity()
{
    const QByteArray unique = QSysInfo::machineUniqueId();
    return unique.isEmpty() ? QHostInfo::localHostName() : QString::fromLatin1(unique);
}

// Stable for this machine and this settings file, so two agents on one machine differ.
QString deriveAgentId(const QString &machineId, const QString &settingsPath)
{
    const QByteArray seed = machineId.toUtf8() + '\n' + QFileInfo(settingsPath).absoluteFilePath().toUtf8();
    return QStringLiteral("agent-") +
           QString::fromLatin1(QCryptographicHash::hash(seed, QCryptographicHash::Sha256).toHex().left(16));
}

std::optional<quint16> parsePort(const QString &text, const char *option)
{
    bool ok = false;
    const uint port = text.toUInt(&ok);
    if (!ok || port == 0 || port > 65535) {
        std::fprintf(stderr, "zobrel-agent: invalid %s \"%s\" (expected 1 to 65535)\n", option, qPrintable(text));
        return std::nullopt;
    }
    return quint16(port);
}

} // namespace

std::optional<AgentConfig> loadAgentConfig(const QCoreApplication &app, int *exitCode)
{
    *exitCode = kExitUsage;
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Zobrel agent: connects this station's simulator to an instructor station over TLS, streams the "
                       "aircraft and carries out the instructor's commands. Runs until interrupted."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption host(QStringLiteral("host"), QStringLiteral("Instructor station host name or address."),
                                  QStringLiteral("host"));
    const QCommandLineOption port(QStringLiteral("port"),
                                  QStringLiteral("Instructor station's bridge port (default 48448)."),
                                  QStringLiteral("port"));
    const QCommandLineOption ca(QStringLiteral("ca"),
                                QStringLiteral("CA certificate (PEM) the instructor's certificate must chain to; "
                                               "default: the CA built into this program."),
                                QStringLiteral("file"));
    const QCommandLineOption callsign(QStringLiteral("callsign"), QStringLiteral("Callsign shown to the instructor."),
                                      QStringLiteral("text"));
    const QCommandLineOption secret(QStringLiteral("secret"),
                                    QStringLiteral("Pairing secret, when the instructor station asks for one."),
                                    QStringLiteral("secret"));
    const QCommandLineOption settings(QStringLiteral("settings"),
                                      QStringLiteral("Settings file (default: Zobrel.ini beside the program)."),
                                      QStringLiteral("file"));
    const QCommandLineOption xplanePort(
        QStringLiteral("xplane-port"),
        QStringLiteral("UDP port of the local X-Plane (or demo simulator) to use, for a second simulator on one "
                       "machine; simulator detection is then off."),
        QStringLiteral("port"));
    const QCommandLineOption makeKeys(
        QStringLiteral("make-keys"),
        QStringLiteral("Create a CA, a server certificate and its key in <dir> for an instructor station, print "
                       "the settings that use them, and exit (needs the openssl command)."),
        QStringLiteral("dir"));
    parser.addOptions({host, port, ca, callsign, secret, settings, xplanePort, makeKeys});
    parser.process(app);
    if (!parser.positionalArguments().isEmpty()) {
        std::fprintf(stderr, "zobrel-agent: unexpected argument \"%s\"\n",
                     qPrintable(parser.positionalArguments().first()));
        return std::nullopt;
    }

    AgentConfig config;
    config.makeKeysDir = parser.value(makeKeys);
    if (!config.makeKeysDir.isEmpty())
        return config;

    config.settingsPath = parser.isSet(settings) ? parser.value(settings) : defaultSettingsPath();
    QSettings stored(config.settingsPath, QSettings::IniFormat);
    const auto pick = [&](const QCommandLineOption &option, const char *key) {
        return parser.isSet(option) ? parser.value(option) : stored.value(QLatin1String(key)).toString();
    };
    config.host = pick(host, AgentConfig::kHostKey).trimmed();
    config.caFile = pick(ca, AgentConfig::kCaFileKey);
    config.callsign = pick(callsign, AgentConfig::kCallsignKey);
    config.secret = pick(secret, AgentConfig::kSecretKey);
    config.licenseKey = stored.value(QLatin1String(AgentConfig::kLicenseKeyKey)).toString();
    const QString portText = pick(port, AgentConfig::kPortKey);
    if (!portText.isEmpty()) {
        const auto value = parsePort(portText, "--port");
        if (!value)
            return std::nullopt;
        config.port = *value;
    }
    if (parser.isSet(xplanePort)) {
        const auto value = parsePort(parser.value(xplanePort), "--xplane-port");
        if (!value)
            return std::nullopt;
        config.xplanePort = *value;
    }
    if (config.host.isEmpty()) {
        std::fprintf(stderr, "zobrel-agent: no instructor host: give --host or set Agent/host in %s\n",
                     qPrintable(QDir::toNativeSeparators(config.settingsPath)));
        return std::nullopt;
    }

    config.machineId = machineIdentity();
    config.agentId = stored.value(QLatin1String(AgentConfig::kAgentIdKey)).toString();
    if (config.agentId.isEmpty()) {
        config.agentId = deriveAgentId(config.machineId, config.settingsPath);
        stored.setValue(QLatin1String(AgentConfig::kAgentIdKey), config.agentId);
    }
    if (config.callsign.isEmpty())
        config.callsign = QHostInfo::localHostName();
    *exitCode = 0;
    return config;
}

void readStationLicence(AgentConfig *config)
{
    const QString path =
        QFileInfo(config->settingsPath).absoluteDir().filePath(QString::fromLatin1(LicenseManager::kLicenseFileName));
    LicenseManager licence(path, vendorPublicKeyPem(), currentMachineId());
    licence.load();
    if (licence.isEvaluation())
        return;
    config->licensed = true;
    config->licenseKey = licence.current().license.id;
}
