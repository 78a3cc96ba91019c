// zobrel-xpsim: a small stand-in for X-Plane that speaks its native UDP interface (RREF, DREF,
// CMND, PREL) and flies traffic circuits, so the station has a peer when no simulator is present.

#include "tools/xpsim/simsession.h"
#include "tools/xpsim/xpsimlog.h"
#include "tools/xpsim/xpudpserver.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QHostAddress>
#include <QLoggingCategory>

#include <cstdio>
#include <optional>

namespace {

struct Settings
{
    QHostAddress address;
    quint16 port = 49000;
    FlightModel::Options model;
    double timeFactor = 1.0;
};

std::optional<double> number(const QCommandLineParser &parser, const QString &name, double low, double high)
{
    bool ok = false;
    const double value = parser.value(name).toDouble(&ok);
    if (!ok || value < low || value > high) {
        std::fprintf(stderr, "zobrel-xpsim: invalid --%s \"%s\" (expected %g to %g)\n", qPrintable(name),
                     qPrintable(parser.value(name)), low, high);
        return std::nullopt;
    }
    return value;
}

std::optional<Settings> parseArguments(const QCoreApplication &app)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Demo simulator speaking X-Plane's UDP interface (RREF, DREF, CMND, PREL)."));
    parser.addHelpOption();
    parser.addOptions({
        {QStringLiteral("port"), QStringLiteral("UDP port to listen on, 0 picks a free one (default 49000)."),
         QStringLiteral("port"), QStringLiteral("49000")},
        {QStringLiteral("host"), QStringLiteral("Address to bind (default 127.0.0.1)."), QStringLiteral("address"),
         QStringLiteral("127.0.0.1")},
        {QStringLiteral("lat"), QStringLiteral("Runway threshold latitude in degrees (default 31.14)."),
         QStringLiteral("deg"), QStringLiteral("31.14")},
        {QStringLiteral("lon"), QStringLiteral("Runway threshold longitude in degrees (default 121.81)."),
         QStringLiteral("deg"), QStringLiteral("121.81")},
        {QStringLiteral("heading"), QStringLiteral("Runway true heading in degrees (default 340)."),
         QStringLiteral("deg"), QStringLiteral("340")},
        {QStringLiteral("elevation"), QStringLiteral("Field elevation in metres (default 4)."), QStringLiteral("m"),
         QStringLiteral("4")},
        {QStringLiteral("parked"), QStringLiteral("Start parked with the brake set instead of taking off.")},
        {QStringLiteral("time-factor"),
         QStringLiteral("Simulated seconds per real second, 1 to 32 (default 1); tests fly a circuit faster."),
         QStringLiteral("factor"), QStringLiteral("1")},
        {QStringLiteral("quiet"), QStringLiteral("Log warnings only.")},
        {QStringLiteral("verbose"), QStringLiteral("Also log every datagram handled.")},
    });
    parser.process(app);

    Settings settings;
    const QString host = parser.value(QStringLiteral("host"));
    settings.address = host == QLatin1String("localhost") ? QHostAddress(QHostAddress::LocalHost) : QHostAddress(host);
    if (settings.address.isNull()) {
        std::fprintf(stderr, "zobrel-xpsim: invalid --host \"%s\" (expected an IP address)\n", qPrintable(host));
        return std::nullopt;
    }
    const auto port = number(parser, QStringLiteral("port"), 0, 65535);
    const auto lat = number(parser, QStringLiteral("lat"), -85.0, 85.0);
    const auto lon = number(parser, QStringLiteral("lon"), -180.0, 180.0);
    const auto heading = number(parser, QStringLiteral("heading"), 0.0, 360.0);
    const auto elevation = number(parser, QStringLiteral("elevation"), -400.0, 5000.0);
    const auto timeFactor = number(parser, QStringLiteral("time-factor"), 1.0, 32.0);
    if (!port || !lat || !lon || !heading || !elevation || !timeFactor)
        return std::nullopt;
    settings.timeFactor = *timeFactor;
    settings.port = quint16(*port);
    settings.model.start = GeoPoint{*lat, *lon};
    settings.model.runwayHeadingDegTrue = *heading;
    settings.model.fieldElevationM = *elevation;
    settings.model.startParked = parser.isSet(QStringLiteral("parked"));
    if (parser.isSet(QStringLiteral("quiet")))
        QLoggingCategory::setFilterRules(QStringLiteral("zobrel.xpsim.info=false"));
    else if (parser.isSet(QStringLiteral("verbose")))
        QLoggingCategory::setFilterRules(QStringLiteral("zobrel.xpsim.debug=true"));
    return settings;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("zobrel-xpsim"));
    qSetMessagePattern(QStringLiteral("[%{time hh:mm:ss.zzz}] [%{type}] %{message}"));

    const std::optional<Settings> settings = parseArguments(app);
    if (!settings)
        return 2;

    SimSession session(settings->model);
    session.setTimeFactor(settings->timeFactor);
    if (!session.start(settings->address, settings->port)) {
        qCCritical(lcXpSim).noquote() << "cannot listen on" << settings->address.toString() << "port" << settings->port
                                      << ":" << session.errorString();
        return 1;
    }
    // Tests and scripts read the actual port from this line.
    std::printf("zobrel-xpsim listening on %s:%u\n", qPrintable(session.server()->address().toString()),
                unsigned(session.server()->port()));
    std::fflush(stdout);
    return app.exec();
}
