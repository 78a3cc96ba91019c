// zobrel-agent: the program beside a student's simulator. It connects that simulator (through the
// station's own backend manager) to an instructor station over TLS, streams the aircraft, and
// carries out the instructor's commands. Console only; one log line per event on stderr.

#include "app/log/applogger.h"
#include "tools/agent/agentconfig.h"
#include "tools/agent/agentstation.h"
#include "tools/agent/keymaker.h"

#include <QCoreApplication>
#include <QDir>
#include <QNetworkProxy>

#include <cstdio>
#include <cstdlib>

namespace {

int makeKeys(const QString &dir)
{
    KeySet keys;
    QString error;
    if (!makeKeySet(dir, &keys, &error)) {
        std::fprintf(stderr, "zobrel-agent: %s\n", qPrintable(error));
        return EXIT_FAILURE;
    }
    std::printf("Created in %s:\n"
                "  %s  (give to every agent: --ca)\n"
                "  %s  (keep offline)\n"
                "  %s\n  %s\n\n"
                "Add to the instructor station's Zobrel.ini:\n%s",
                qPrintable(QDir::toNativeSeparators(dir)), qPrintable(keys.caFile), qPrintable(keys.caKeyFile),
                qPrintable(keys.certFile), qPrintable(keys.keyFile), qPrintable(instructorSettingsText(keys)));
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("zobrel-agent"));
    QCoreApplication::setOrganizationName(QStringLiteral("Kovan"));
    int exitCode = 0;
    const std::optional<AgentConfig> config = loadAgentConfig(app, &exitCode);
    if (!config)
        return exitCode;
    if (!config->makeKeysDir.isEmpty())
        return makeKeys(config->makeKeysDir);

    QNetworkProxy::setApplicationProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    AppLogger::instance().setLevel(AppLogger::Info);
    AppLogger::instance().log(
        AppLogger::Info, QStringLiteral("Agent"),
        QStringLiteral("zobrel-agent started; settings %1").arg(QDir::toNativeSeparators(config->settingsPath)));
    AgentConfig licensed = *config;
    readStationLicence(&licensed);
    AgentStation station(licensed);
    QString error;
    if (!station.start(&error)) {
        AppLogger::instance().log(AppLogger::Error, QStringLiteral("Agent"),
                                  QStringLiteral("Cannot start: %1").arg(error));
        return EXIT_FAILURE;
    }
    return QCoreApplication::exec();
}
