// Airway route search on the world data of ../shared/testdata/xplane/world: the navaids, fixes and
// 70,000 airway segments imported into a navigation database with the station's importers, the
// airports of the routes taken from the world apt.dat. Prints the graph build time, and per route
// the search time (minimum, median, maximum of repeated searches with the graph built), the points
// and the length against the great circle, and checks that every step follows a published airway
// segment.
//
// Usage: bench_pathfinder [--db <navdata.db>] [--max-segment-nm <nm>] [--print-routes]
//   --db names the database to use; it is built there first when the file does not exist (a
//   minute or so: the apt.dat is read whole). Without it a temporary one is built and removed.
//   --max-segment-nm sets the length above which the pathfinder leaves a segment out of its
//   graph (0: none) instead of its own bound, to compare routes and times with and without it.
//   --print-routes prints every route found, fix by fix with its airway, so two builds can be
//   compared route for route.

#include "nav/databasebuilder.h"
#include "nav/offlinenavdataprovider.h"
#include "plan/airwaypathfinder.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

namespace {

const QString kWorld = QStringLiteral(SHARED_DIR "/testdata/xplane/world/");

struct Route
{
    const char *from;
    const char *to;
};

const Route kRoutes[] = {{"ZSPD", "ZBAA"}, {"EGLL", "LIRF"}, {"EDDF", "LEMD"}, {"KJFK", "KLAX"},
                         {"KSEA", "KSFO"}, {"ZGGG", "ZBAA"}, {"RJTT", "RKSI"}, {"YSSY", "YMML"}};

void print(const QString &line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

bool unpack(const QString &xz, const QString &out)
{
    QProcess process;
    process.setStandardOutputFile(out);
    process.start(QStringLiteral("xz"), {QStringLiteral("-dc"), xz});
    return process.waitForFinished(-1) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

// The airport header and runway rows of the wanted airports, streamed out of the compressed file.
bool extractAirports(const QString &out, const QSet<QByteArray> &wanted)
{
    QFile target(out);
    if (!target.open(QIODevice::WriteOnly))
        return false;
    target.write("I\n1100 Version - bench extract\n\n");
    QProcess process;
    process.start(QStringLiteral("xz"), {QStringLiteral("-dc"), kWorld + QStringLiteral("apt.dat.xz")});
    if (!process.waitForStarted())
        return false;
    bool keep = false;
    QByteArray pending;
    const auto handle = [&](const QByteArray &line) {
        const QList<QByteArray> f = line.simplified().split(' ');
        if (f.isEmpty())
            return;
        if (f[0] == "1" || f[0] == "16" || f[0] == "17")
            keep = f.size() > 4 && wanted.contains(f[4]);
        else if (f[0] != "100")
            return;
        if (keep)
            target.write(line + '\n');
    };
    while (process.state() != QProcess::NotRunning || process.bytesAvailable() > 0) {
        if (!process.waitForReadyRead(1000) && process.state() == QProcess::NotRunning && !process.bytesAvailable())
            break;
        pending += process.readAllStandardOutput();
        qsizetype start = 0;
        qsizetype end;
        while ((end = pending.indexOf('\n', start)) >= 0) {
            handle(pending.mid(start, end - start));
            start = end + 1;
        }
        pending.remove(0, start);
    }
    target.write("99\n");
    return process.exitCode() == 0;
}

bool buildDatabase(const QString &dir, const QString &db)
{
    DatabaseBuilder builder;
    QElapsedTimer timer;
    timer.start();
    for (const char *name : {"earth_nav.dat", "earth_fix.dat", "earth_awy.dat"}) {
        if (!unpack(kWorld + QLatin1String(name) + QStringLiteral(".xz"), dir + QLatin1Char('/') + QLatin1String(name)))
            return false;
    }
    QSet<QByteArray> wanted;
    for (const Route &r : kRoutes)
        wanted << QByteArray(r.from) << QByteArray(r.to);
    if (!extractAirports(dir + QStringLiteral("/apt.dat"), wanted))
        return false;
    const bool ok = builder.createCompleteSchema(db) && builder.importXPlaneNavData(db, dir + "/earth_nav.dat") &&
                    builder.importXPlaneWaypoints(db, dir + "/earth_fix.dat") &&
                    builder.importXPlaneAirways(db, dir + "/earth_awy.dat") &&
                    builder.importXPlaneAptFiles(db, {dir + "/apt.dat"});
    print(QStringLiteral("database built in %1 s").arg(timer.elapsed() / 1000.0, 0, 'f', 1));
    return ok;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const auto option = [&args](const char *name) {
        const qsizetype at = args.indexOf(QLatin1String(name));
        return at >= 0 && at + 1 < args.size() ? args.at(at + 1) : QString();
    };
    QTemporaryDir scratch;
    QString db = option("--db");
    const QString maxSegmentNm = option("--max-segment-nm");
    const bool printRoutes = args.contains(QLatin1String("--print-routes"));
    if (db.isEmpty())
        db = scratch.filePath(QStringLiteral("world.db"));
    if (!QFile::exists(db) && !buildDatabase(scratch.path(), db)) {
        print(QStringLiteral("could not build the world database"));
        return 1;
    }
    OfflineNavDataProvider nav;
    if (!nav.loadFromDatabase(db)) {
        print(QStringLiteral("cannot load %1").arg(db));
        return 1;
    }
    const QList<AirwaySegment> airways = nav.airways();
    const qsizetype longSegments = std::count_if(airways.cbegin(), airways.cend(), [](const AirwaySegment &s) {
        return AirwayPathfinder::heuristicDistance(s.fromLat, s.fromLon, s.toLat, s.toLon) > 400.0;
    });
    QSet<QString> published;
    for (const AirwaySegment &s : airways) {
        published.insert(s.name + QLatin1Char('|') + s.fromIdent + QLatin1Char('|') + s.toIdent);
        published.insert(s.name + QLatin1Char('|') + s.toIdent + QLatin1Char('|') + s.fromIdent);
    }

    AirwayPathfinder pathfinder;
    QElapsedTimer timer;
    timer.start();
    if (!maxSegmentNm.isEmpty())
        pathfinder.setMaxSegmentNm(maxSegmentNm.toDouble());
    pathfinder.setSegments(AirwayPathfinder::segmentsFrom(airways));
    print(QStringLiteral("graph: %1 segments (%2 longer than 400 nm; those over %3 nm left out), %4 fixes, "
                         "built in %5 ms")
              .arg(airways.size())
              .arg(longSegments)
              .arg(pathfinder.maxSegmentNm())
              .arg(pathfinder.nodeCount())
              .arg(timer.nsecsElapsed() / 1e6, 0, 'f', 0));

    constexpr int kRuns = 15;
    int failures = 0;
    for (const Route &r : kRoutes) {
        const AirportRecord from = nav.airport(QLatin1String(r.from));
        const AirportRecord to = nav.airport(QLatin1String(r.to));
        if (from.icao.isEmpty() || to.icao.isEmpty()) {
            print(QStringLiteral("%1-%2: airport missing from the data").arg(r.from, r.to));
            ++failures;
            continue;
        }
        // Wall time, and the processor time the search took, which a machine shared with other
        // work inflates less.
        std::vector<double> ms;
        std::vector<double> cpuMs;
        QList<AirwayPathfinder::PathPoint> path;
        for (int i = 0; i < kRuns; ++i) {
            const std::clock_t cpu = std::clock();
            timer.restart();
            path = pathfinder.findPath(from.icao, from.lat, from.lon, to.icao, to.lat, to.lon, 200.0);
            ms.push_back(timer.nsecsElapsed() / 1e6);
            cpuMs.push_back(double(std::clock() - cpu) * 1000.0 / CLOCKS_PER_SEC);
        }
        std::sort(ms.begin(), ms.end());
        std::sort(cpuMs.begin(), cpuMs.end());
        double length = 0.0;
        int offAirway = 0;
        for (int i = 1; i < path.size(); ++i) {
            length += AirwayPathfinder::heuristicDistance(path[i - 1].lat, path[i - 1].lon, path[i].lat, path[i].lon);
            if (!published.contains(path[i].airway + QLatin1Char('|') + path[i - 1].ident + QLatin1Char('|') +
                                    path[i].ident))
                ++offAirway;
        }
        const double direct = AirwayPathfinder::heuristicDistance(from.lat, from.lon, to.lat, to.lon);
        if (path.isEmpty() || offAirway > 0)
            ++failures;
        print(QStringLiteral("%1-%2: %3 points, %4 nm (great circle %5 nm, x%6), steps off airways %7; "
                             "search min %8 ms, median %9 ms, max %10 ms (processor time median %11 ms)")
                  .arg(r.from, r.to)
                  .arg(path.size())
                  .arg(length, 0, 'f', 0)
                  .arg(direct, 0, 'f', 0)
                  .arg(direct > 0 ? length / direct : 0.0, 0, 'f', 2)
                  .arg(offAirway)
                  .arg(ms.front(), 0, 'f', 2)
                  .arg(ms[ms.size() / 2], 0, 'f', 2)
                  .arg(ms.back(), 0, 'f', 2)
                  .arg(cpuMs[cpuMs.size() / 2], 0, 'f', 1));
        if (printRoutes) {
            QStringList steps;
            for (const AirwayPathfinder::PathPoint &p : path)
                steps.append(QStringLiteral("%1 %2").arg(p.airway, p.ident));
            print(QStringLiteral("  %1").arg(steps.join(QLatin1Char(' '))));
        }
    }
    return failures == 0 ? 0 : 1;
}
