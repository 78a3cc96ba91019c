// zobrel-navdb: builds and fills navigation databases from the command line, with the same code
// the station uses. "xplane" builds a whole database from an X-Plane installation (into a
// temporary file that replaces the target only when every step succeeded); the other commands
// run one importer on an existing or new database file.

#include "app/log/applogger.h"
#include "nav/consoleprogressbar.h"
#include "nav/databasebuilder.h"
#include "nav/navdatabasebuild.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QStringList>

#include <cstdio>
#include <functional>

namespace {

const char kUsage[] =
    "Usage: zobrel-navdb <command> <arguments> [--verbose]\n"
    "\n"
    "Whole database:\n"
    "  xplane <X-Plane folder> <database> [--routefinder <dir>] [--atc <dir>] [--openair <dir>] [--openaip <dir>]\n"
    "      Builds the database from an X-Plane 11/12 installation (\"Resources/default data\", \"Custom Data\",\n"
    "      \"Global Scenery/Global Airports\", \"Custom Scenery\"), plus the optional extra sources.\n"
    "      The previous database stays untouched unless every step succeeds.\n"
    "\n"
    "One importer on <database> (created when missing):\n"
    "  nav <earth_nav.dat> <database>        navaids (replaced)\n"
    "  fix <earth_fix.dat> <database>        waypoints (replaced)\n"
    "  awy <earth_awy.dat> <database>        airways (replaced; import navaids and fixes first)\n"
    "  cifp <CIFP folder> <database>         procedures and legs (replaced)\n"
    "  scenery <X-Plane folder> <database>   airports from the installation's scenery (replaced)\n"
    "  apt <apt.dat>... <database>           airports from apt.dat files, highest priority first (replaced)\n"
    "  aptmeta <earth_aptmeta.dat> <database> airport metadata (replaced)\n"
    "  cycle <folder with cycle_info.txt> <database>\n"
    "  atc <Navigraph ATC folder> <database> frequencies (added or replaced per airport and service)\n"
    "  openair <folder> <database>           OpenAir airspaces (added)\n"
    "  openaip <folder> <database>           OpenAIP airspaces (added)\n"
    "  routefinder <folder> <database>       route-finder export (navaids, waypoints, airways, procedures)\n"
    "  counts <database>                     rows per table\n"
    "\n"
    "Exit status: 0 on success, 1 when the work failed (the reason is printed), 2 on wrong usage.\n";

void printCounts(const QList<QPair<QString, int>> &counts)
{
    for (const auto &count : counts)
        std::printf("  %-16s %9d\n", qPrintable(count.first), count.second);
}

int fail(const QString &reason)
{
    std::fprintf(stderr, "zobrel-navdb: %s\n", qPrintable(reason));
    return 1;
}

int usage(const QString &problem = QString())
{
    if (!problem.isEmpty())
        std::fprintf(stderr, "zobrel-navdb: %s\n\n", qPrintable(problem));
    std::fprintf(problem.isEmpty() ? stdout : stderr, "%s", kUsage);
    return problem.isEmpty() ? 0 : 2;
}

int runBuild(const QStringList &args)
{
    // xplane <folder> <database> [--routefinder d] [--atc d] [--openair d] [--openaip d]
    NavBuildSources sources;
    QStringList positional;
    for (int i = 0; i < args.size(); ++i) {
        const QString &arg = args.at(i);
        QString *target = arg == QLatin1String("--routefinder") ? &sources.routeFinderDir
                          : arg == QLatin1String("--atc")       ? &sources.atcDir
                          : arg == QLatin1String("--openair")   ? &sources.openAirDir
                          : arg == QLatin1String("--openaip")   ? &sources.openAipDir
                                                                : nullptr;
        if (target) {
            if (i + 1 >= args.size())
                return usage(QStringLiteral("%1 needs a folder").arg(arg));
            *target = args.at(++i);
        } else if (arg.startsWith(QLatin1String("--"))) {
            return usage(QStringLiteral("unknown option %1").arg(arg));
        } else {
            positional.append(arg);
        }
    }
    if (positional.size() != 2)
        return usage(QStringLiteral("xplane needs <X-Plane folder> <database>"));
    sources.xplaneDir = positional.at(0);

    NavDatabaseBuild build;
    build.setSources(sources);
    build.setTargetPath(QFileInfo(positional.at(1)).absoluteFilePath());
    ConsoleProgressBar bar;
    QObject::connect(&build, &NavDatabaseBuild::progress, &build,
                     [&bar](const QString &stage, int current, int total) { bar.update(stage, current, total); });
    QString result;
    QObject::connect(&build, &NavDatabaseBuild::finished, &build,
                     [&result](const QString &message, bool) { result = message; });
    const bool ok = build.run();
    bar.finish();
    if (!ok)
        return fail(result);
    std::printf("%s\n", qPrintable(QStringLiteral("Built %1").arg(build.targetPath())));
    printCounts(build.counts());
    return 0;
}

int runImporter(const QString &command, const QStringList &args)
{
    using Import = std::function<bool(DatabaseBuilder &, const QString &db, const QStringList &inputs)>;
    const auto one = [](bool (DatabaseBuilder::*member)(const QString &, const QString &)) -> Import {
        return [member](DatabaseBuilder &b, const QString &db, const QStringList &in) {
            return (b.*member)(db, in.value(0));
        };
    };
    const QHash<QString, Import> importers{
        {QStringLiteral("nav"), one(&DatabaseBuilder::importXPlaneNavData)},
        {QStringLiteral("fix"), one(&DatabaseBuilder::importXPlaneWaypoints)},
        {QStringLiteral("awy"), one(&DatabaseBuilder::importXPlaneAirways)},
        {QStringLiteral("cifp"), one(&DatabaseBuilder::importXPlaneCifp)},
        {QStringLiteral("scenery"), one(&DatabaseBuilder::importXPlaneScenery)},
        {QStringLiteral("aptmeta"), one(&DatabaseBuilder::importAptMeta)},
        {QStringLiteral("cycle"), one(&DatabaseBuilder::importCycleInfo)},
        {QStringLiteral("atc"), one(&DatabaseBuilder::importNavigraphAtc)},
        {QStringLiteral("openair"), one(&DatabaseBuilder::importOpenAirAirspaces)},
        {QStringLiteral("openaip"), one(&DatabaseBuilder::importOpenAIPAirspaces)},
        {QStringLiteral("routefinder"), one(&DatabaseBuilder::importRouteFinderData)},
        {QStringLiteral("apt"),
         [](DatabaseBuilder &b, const QString &db, const QStringList &in) { return b.importXPlaneAptFiles(db, in); }},
    };
    const auto it = importers.constFind(command);
    if (it == importers.cend())
        return usage(QStringLiteral("unknown command %1").arg(command));
    const bool many = command == QLatin1String("apt");
    if (args.size() < 2 || (!many && args.size() != 2))
        return usage(QStringLiteral("%1 needs %2 <database>").arg(command, many ? "<apt.dat>..." : "<input>"));
    const QString db = QFileInfo(args.last()).absoluteFilePath();

    DatabaseBuilder builder;
    ConsoleProgressBar bar;
    QString result;
    QObject::connect(&builder, &DatabaseBuilder::importProgress, &builder,
                     [&bar](const QString &stage, int current, int total) { bar.update(stage, current, total); });
    QObject::connect(&builder, &DatabaseBuilder::importFinished, &builder,
                     [&result](const QString &message, bool) { result = message; });
    const bool ok = it.value()(builder, db, args.mid(0, args.size() - 1));
    bar.finish();
    if (!ok)
        return fail(result);
    std::printf("%s\n", qPrintable(result));
    printCounts(builder.tableCounts(db));
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("zobrel-navdb"));
    QStringList args = QCoreApplication::arguments().mid(1);
    // Log lines go to standard error; by default only warnings and errors, so the bar stays readable.
    const bool verbose = args.removeAll(QStringLiteral("--verbose")) > 0;
    AppLogger::instance().setLevel(verbose ? AppLogger::Info : AppLogger::Warning);
    if (args.isEmpty())
        return usage(QStringLiteral("no command given"));
    if (args.first() == QLatin1String("--help") || args.first() == QLatin1String("-h") ||
        args.first() == QLatin1String("help"))
        return usage();
    const QString command = args.takeFirst();
    if (command == QLatin1String("xplane"))
        return runBuild(args);
    if (command == QLatin1String("counts")) {
        if (args.size() != 1)
            return usage(QStringLiteral("counts needs <database>"));
        if (!QFileInfo(args.first()).isFile())
            return fail(QStringLiteral("no such database: %1").arg(args.first()));
        printCounts(DatabaseBuilder().tableCounts(args.first()));
        return 0;
    }
    return runImporter(command, args);
}
