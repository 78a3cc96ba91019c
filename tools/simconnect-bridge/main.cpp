// simconnect-bridge: the helper the station starts for Prepar3D and FSX. It talks SimConnect to
// the simulator (the simulator's client library, loaded at run time, or the fake simulator with
// --fake-simconnect) and JSON lines to the station on TCP 127.0.0.1:<port> (default 48448).

#include "app/log/applogger.h"
#include "sim/simconnect/fake/fakesimconnect.h"
#include "sim/simconnect/fake/fakesimworld.h"
#include "sim/simconnect/simconnectplatform.h"
#include "tools/simconnect-bridge/bridgehelper.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

constexpr int kExitUsage = 2;

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("simconnect-bridge"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Bridge between a SimConnect simulator (Prepar3D, FSX) and the Zobrel station."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("port"), QStringLiteral("TCP port on 127.0.0.1 (default 48448)."),
                                 QStringLiteral("[port]"));
    const QCommandLineOption fake(QStringLiteral("fake-simconnect"),
                                  QStringLiteral("Talk to the built-in fake simulator instead of a real one."));
    const QCommandLineOption fakeSim(QStringLiteral("fake-sim"),
                                     QStringLiteral("Which simulator the fake plays: p3d (default), fsx, msfs2020 "
                                                    "or msfs2024."),
                                     QStringLiteral("sim"), QStringLiteral("p3d"));
    const QCommandLineOption sim(QStringLiteral("sim"),
                                 QStringLiteral("The simulator whose SimConnect library is loaded: p3d (default) or "
                                                "fsx."),
                                 QStringLiteral("sim"), QStringLiteral("p3d"));
    const QCommandLineOption library(QStringLiteral("library"),
                                     QStringLiteral("Path of SimConnect.dll (default: beside this program, else the "
                                                    "system's search)."),
                                     QStringLiteral("path"));
    const QCommandLineOption idle(QStringLiteral("idle-exit"),
                                  QStringLiteral("Exit when no station has been connected for this many seconds "
                                                 "(default 15)."),
                                  QStringLiteral("seconds"), QStringLiteral("15"));
    const QCommandLineOption quiet(QStringLiteral("quiet"), QStringLiteral("Log warnings and errors only."));
    parser.addOptions({fake, fakeSim, sim, library, idle, quiet});
    parser.process(app);

    BridgeHelper::Options options;
    const QStringList positional = parser.positionalArguments();
    if (positional.size() > 1) {
        std::fputs("simconnect-bridge: at most one port argument\n", stderr);
        return kExitUsage;
    }
    if (!positional.isEmpty()) {
        bool ok = false;
        const uint port = positional.first().toUInt(&ok);
        if (!ok || port > 65535) {
            std::fprintf(stderr, "simconnect-bridge: invalid port \"%s\"\n", qPrintable(positional.first()));
            return kExitUsage;
        }
        options.port = quint16(port);
    }
    bool ok = false;
    const double idleSeconds = parser.value(idle).toDouble(&ok);
    if (!ok || idleSeconds <= 0 || idleSeconds > 86400) {
        std::fprintf(stderr, "simconnect-bridge: invalid --idle-exit \"%s\"\n", qPrintable(parser.value(idle)));
        return kExitUsage;
    }
    options.idleExitMs = int(idleSeconds * 1000);
    const QString kindName = parser.isSet(fake) ? parser.value(fakeSim) : parser.value(sim);
    options.kind = simTypeFromShortName(kindName);
    const bool allowedKind = parser.isSet(fake) ? options.kind != SimType::None && options.kind != SimType::XPlane11 &&
                                                      options.kind != SimType::XPlane12
                                                : options.kind == SimType::Prepar3D || options.kind == SimType::Fsx;
    if (!allowedKind) {
        std::fprintf(stderr, "simconnect-bridge: unknown simulator \"%s\"\n", qPrintable(kindName));
        return kExitUsage;
    }
    AppLogger::instance().setLevel(parser.isSet(quiet) ? AppLogger::Warning : AppLogger::Info);

    std::unique_ptr<FakeSimWorld> world;
    BridgeHelper::PortFactory ports;
    if (parser.isSet(fake)) {
        world = std::make_unique<FakeSimWorld>(options.kind);
        ports = [&world] { return std::make_unique<FakeSimConnect>(world.get()); };
    } else {
        const SimType kind = options.kind;
        const QString path = parser.value(library);
        ports = [kind, path] { return createSystemSimConnect(kind, path); };
    }

    BridgeHelper helper(options, ports);
    if (!helper.start())
        return EXIT_FAILURE;
    QObject::connect(&helper, &BridgeHelper::idle, &app, [] { QCoreApplication::exit(0); });
    return QCoreApplication::exec();
}
