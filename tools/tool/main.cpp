// zobrel-tool: the station's pure functions on the command line, for scripts. Every command
// writes JSON to standard output (camelCase keys, absent values as null) and its errors to
// standard error; the exit status is 0 on success, 1 when the input was bad, 2 on wrong usage.

#include "app/log/applogger.h"
#include "nav/offlinenavdataprovider.h"
#include "plan/airwaypathfinder.h"
#include "plan/flightplanfile.h"
#include "plan/routeplanner.h"
#include "plan/simbriefservice.h"
#include "weather/metardecoder.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>
#include <QTextStream>

#include <cstdio>
#include <optional>

namespace {

const char kUsage[] =
    "Usage: zobrel-tool <command> ...\n"
    "\n"
    "  metar decode [<report>]           decode one METAR; without a report, one per line from standard\n"
    "                                    input, one JSON object per line out\n"
    "  route find <from> <to> --db <navdata.db>\n"
    "                                    airway route between two airports or fixes\n"
    "  plan show <file> [--db <navdata.db>]\n"
    "                                    a .pln or .fms flight plan (the database places points the file\n"
    "                                    names without a position)\n"
    "  plan convert <in> <out> [--msfs2024]\n"
    "                                    converts between .pln and .fms (format from the extension;\n"
    "                                    --msfs2024 writes the MSFS 2024 .pln layout)\n"
    "  ofp parse <file>                  a SimBrief OFP (XML)\n"
    "\n"
    "Exit status: 0 on success, 1 when the input was bad (the reason is on standard error), 2 on wrong\n"
    "usage.\n";

int usage(const QString &problem = QString())
{
    if (!problem.isEmpty())
        std::fprintf(stderr, "zobrel-tool: %s\n\n", qPrintable(problem));
    std::fprintf(problem.isEmpty() ? stdout : stderr, "%s", kUsage);
    return problem.isEmpty() ? 0 : 2;
}

int fail(const QString &reason)
{
    std::fprintf(stderr, "zobrel-tool: %s\n", qPrintable(reason));
    return 1;
}

void print(const QJsonObject &object)
{
    std::printf("%s\n", QJsonDocument(object).toJson(QJsonDocument::Compact).constData());
    std::fflush(stdout);
}

QJsonValue text(const QString &value)
{
    return value.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(value);
}

template <typename T> QJsonValue optional(const std::optional<T> &value)
{
    return value ? QJsonValue(double(*value)) : QJsonValue(QJsonValue::Null);
}

QJsonObject metarJson(const MetarData &m)
{
    QJsonArray clouds;
    for (const MetarData::CloudLayer &layer : m.clouds) {
        clouds.append(QJsonObject{{QStringLiteral("cover"), layer.cover},
                                  {QStringLiteral("baseFt"), optional(layer.baseFt)},
                                  {QStringLiteral("type"), text(layer.type)}});
    }
    return QJsonObject{{QStringLiteral("station"), text(m.station)},
                       {QStringLiteral("time"), text(m.time)},
                       {QStringLiteral("windDirectionDeg"), optional(m.windDirectionDeg)},
                       {QStringLiteral("windVariable"), m.windVariable},
                       {QStringLiteral("windSpeedKt"), optional(m.windSpeedKt)},
                       {QStringLiteral("windGustKt"), optional(m.windGustKt)},
                       {QStringLiteral("visibilityM"), optional(m.visibilityM)},
                       {QStringLiteral("phenomena"), QJsonArray::fromStringList(m.phenomena)},
                       {QStringLiteral("clouds"), clouds},
                       {QStringLiteral("temperatureC"), optional(m.temperatureC)},
                       {QStringLiteral("dewpointC"), optional(m.dewpointC)},
                       {QStringLiteral("pressureHpa"), optional(m.pressureHpa)},
                       {QStringLiteral("valid"), m.valid}};
}

int metarDecode(const QStringList &args)
{
    const MetarDecoder decoder;
    if (!args.isEmpty()) {
        const MetarData m = decoder.decode(args.join(QLatin1Char(' ')));
        print(metarJson(m));
        return m.valid ? 0 : fail(QStringLiteral("no station in the report"));
    }
    QTextStream in(stdin);
    int invalid = 0;
    int lineNumber = 0;
    QString line;
    while (in.readLineInto(&line)) {
        ++lineNumber;
        if (line.trimmed().isEmpty())
            continue;
        const MetarData m = decoder.decode(line.trimmed());
        print(metarJson(m));
        if (!m.valid) {
            std::fprintf(stderr, "zobrel-tool: line %d: no station in the report\n", lineNumber);
            ++invalid;
        }
    }
    return invalid == 0 ? 0 : 1;
}

// Takes "--name value" out of args.
bool takeOption(QStringList *args, const QString &name, QString *value, QString *problem)
{
    const qsizetype at = args->indexOf(name);
    if (at < 0)
        return true;
    if (at + 1 >= args->size()) {
        *problem = QStringLiteral("%1 needs a value").arg(name);
        return false;
    }
    *value = args->at(at + 1);
    args->remove(at, 2);
    return true;
}

bool loadDatabase(OfflineNavDataProvider *nav, const QString &path, QString *error)
{
    if (!QFileInfo::exists(path)) {
        *error = QStringLiteral("%1: no such database").arg(path);
        return false;
    }
    if (!nav->loadFromDatabase(path)) {
        *error = QStringLiteral("%1: not a navigation database").arg(path);
        return false;
    }
    return true;
}

// An airport, else the named fix or navaid (the first one found).
bool locate(const INavDataProvider &nav, const QString &ident, double *lat, double *lon)
{
    const AirportRecord airport = nav.airport(ident);
    if (!airport.icao.isEmpty()) {
        *lat = airport.lat;
        *lon = airport.lon;
        return true;
    }
    const WaypointRecord fix = nav.findWaypoint(ident);
    if (!fix.ident.isEmpty()) {
        *lat = fix.lat;
        *lon = fix.lon;
        return true;
    }
    const NavaidRecord aid = nav.findNavaid(ident, QString());
    if (!aid.ident.isEmpty()) {
        *lat = aid.lat;
        *lon = aid.lon;
        return true;
    }
    return false;
}

int routeFind(QStringList args)
{
    QString db;
    QString problem;
    if (!takeOption(&args, QStringLiteral("--db"), &db, &problem))
        return usage(problem);
    if (args.size() != 2 || db.isEmpty())
        return usage(QStringLiteral("route find needs <from> <to> --db <navdata.db>"));
    OfflineNavDataProvider nav;
    QString error;
    if (!loadDatabase(&nav, db, &error))
        return fail(error);
    const QString from = args.at(0).toUpper();
    const QString to = args.at(1).toUpper();
    double fromLat = 0;
    double fromLon = 0;
    double toLat = 0;
    double toLon = 0;
    if (!locate(nav, from, &fromLat, &fromLon))
        return fail(QStringLiteral("%1 is not an airport, fix or navaid of the database").arg(from));
    if (!locate(nav, to, &toLat, &toLon))
        return fail(QStringLiteral("%1 is not an airport, fix or navaid of the database").arg(to));

    AirwayPathfinder pathfinder;
    pathfinder.setSegments(AirwayPathfinder::segmentsFrom(nav.airways()));
    QList<AirwayPathfinder::PathPoint> path =
        pathfinder.findPath(from, fromLat, fromLon, to, toLat, toLon, RoutePlanner::kPathSearchRadiusNm);
    if (path.isEmpty())
        return fail(QStringLiteral("no airway route from %1 to %2").arg(from, to));
    // The ends themselves when they are not airway fixes (airports): joined directly.
    if (path.first().ident != from)
        path.prepend({from, fromLat, fromLon, QString()});
    else
        path.first().airway.clear();
    if (path.last().ident != to)
        path.append({to, toLat, toLon, QStringLiteral("DCT")});

    QJsonArray points;
    double distance = 0.0;
    for (int i = 0; i < path.size(); ++i) {
        const AirwayPathfinder::PathPoint &p = path.at(i);
        if (i > 0)
            distance += FlightPlan::distanceNm(path.at(i - 1).lat, path.at(i - 1).lon, p.lat, p.lon);
        points.append(QJsonObject{{QStringLiteral("ident"), p.ident},
                                  {QStringLiteral("lat"), p.lat},
                                  {QStringLiteral("lon"), p.lon},
                                  {QStringLiteral("airway"), text(p.airway)}});
    }
    print(QJsonObject{{QStringLiteral("points"), points}, {QStringLiteral("distanceNm"), distance}});
    return 0;
}

int planShow(QStringList args)
{
    QString db;
    QString problem;
    if (!takeOption(&args, QStringLiteral("--db"), &db, &problem))
        return usage(problem);
    if (args.size() != 1)
        return usage(QStringLiteral("plan show needs <file>"));
    FlightPlan plan;
    QString error;
    if (!FlightPlanFile::read(args.at(0), &plan, &error))
        return fail(error);
    if (!db.isEmpty()) {
        OfflineNavDataProvider nav;
        if (!loadDatabase(&nav, db, &error))
            return fail(error);
        RoutePlanner(&nav).resolvePositions(&plan);
    }
    QJsonArray waypoints;
    for (const FlightPlanWaypoint &w : std::as_const(plan.waypoints)) {
        waypoints.append(
            QJsonObject{{QStringLiteral("ident"), w.ident},
                        {QStringLiteral("type"), FlightPlan::typeName(w.type)},
                        {QStringLiteral("lat"), w.positioned ? QJsonValue(w.lat) : QJsonValue(QJsonValue::Null)},
                        {QStringLiteral("lon"), w.positioned ? QJsonValue(w.lon) : QJsonValue(QJsonValue::Null)},
                        {QStringLiteral("airway"), text(w.airway)}});
    }
    print(QJsonObject{{QStringLiteral("departure"), text(plan.departure)},
                      {QStringLiteral("destination"), text(plan.destination)},
                      {QStringLiteral("cruiseAltitudeFt"),
                       plan.cruiseAltitudeFt > 0 ? QJsonValue(plan.cruiseAltitudeFt) : QJsonValue(QJsonValue::Null)},
                      {QStringLiteral("waypoints"), waypoints}});
    return 0;
}

int planConvert(QStringList args)
{
    const bool msfs2024 = args.removeAll(QStringLiteral("--msfs2024")) > 0;
    if (args.size() != 2)
        return usage(QStringLiteral("plan convert needs <in> <out>"));
    FlightPlanFile::Format format = FlightPlanFile::formatForPath(args.at(1));
    if (format == FlightPlanFile::Format::Unknown)
        return usage(QStringLiteral("%1: the output must end in .pln or .fms").arg(args.at(1)));
    if (msfs2024 && format == FlightPlanFile::Format::Pln)
        format = FlightPlanFile::Format::Pln2024;
    FlightPlan plan;
    QString error;
    if (!FlightPlanFile::read(args.at(0), &plan, &error))
        return fail(error);
    if (!FlightPlanFile::write(plan, args.at(1), format, &error))
        return fail(error);
    print(QJsonObject{{QStringLiteral("input"), args.at(0)},
                      {QStringLiteral("output"), args.at(1)},
                      {QStringLiteral("waypoints"), int(plan.waypoints.size())}});
    return 0;
}

int ofpParse(const QStringList &args)
{
    if (args.size() != 1)
        return usage(QStringLiteral("ofp parse needs <file>"));
    QFile file(args.at(0));
    if (!file.open(QIODevice::ReadOnly))
        return fail(QStringLiteral("%1: %2").arg(args.at(0), file.errorString()));
    if (file.size() > SimBriefService::kMaxReplyBytes)
        return fail(QStringLiteral("%1: too large for an OFP").arg(args.at(0)));
    const SimBriefService::OFPData o = SimBriefService::parseOFP(file.readAll());
    print(QJsonObject{{QStringLiteral("origin"), text(o.origin)},
                      {QStringLiteral("destination"), text(o.destination)},
                      {QStringLiteral("route"), text(o.route)},
                      {QStringLiteral("aircraftIcao"), text(o.aircraftIcao)},
                      {QStringLiteral("aircraftName"), text(o.aircraftName)},
                      {QStringLiteral("flightLevel"), o.flightLevel},
                      {QStringLiteral("cruiseTas"), o.cruiseTas},
                      {QStringLiteral("distance"), o.distance},
                      {QStringLiteral("estGroundTimeMin"), o.estGroundTimeMin},
                      {QStringLiteral("estFlightTimeMin"), o.estFlightTimeMin},
                      {QStringLiteral("rampFuel"), o.rampFuel},
                      {QStringLiteral("payload"), o.payload},
                      {QStringLiteral("zfw"), o.zfw},
                      {QStringLiteral("tow"), o.tow},
                      {QStringLiteral("ldw"), o.ldw},
                      {QStringLiteral("fixList"), text(o.fixList)},
                      {QStringLiteral("valid"), o.valid}});
    return o.valid ? 0 : fail(QStringLiteral("%1: no origin or destination").arg(args.at(0)));
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("zobrel-tool"));
    AppLogger::instance().setLevel(AppLogger::Warning);
    QStringList args = app.arguments().mid(1);
    if (args.isEmpty() || args.first() == QLatin1String("--help") || args.first() == QLatin1String("-h"))
        return usage();
    const QString command = args.takeFirst();
    const QString action = args.isEmpty() ? QString() : args.takeFirst();
    if (command == QLatin1String("metar") && action == QLatin1String("decode"))
        return metarDecode(args);
    if (command == QLatin1String("route") && action == QLatin1String("find"))
        return routeFind(args);
    if (command == QLatin1String("plan") && action == QLatin1String("show"))
        return planShow(args);
    if (command == QLatin1String("plan") && action == QLatin1String("convert"))
        return planConvert(args);
    if (command == QLatin1String("ofp") && action == QLatin1String("parse"))
        return ofpParse(args);
    return usage(QStringLiteral("unknown command \"%1 %2\"").arg(command, action).trimmed());
}
