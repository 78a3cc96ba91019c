// Whole navigation database build benchmark: the world data of ../shared/testdata/xplane/world
// (about 33,000 airports in a 378 MB apt.dat, 27,000 navaids, 132,000 fixes, 70,000 airway rows)
// plus a synthetic CIFP folder of about 2,000,000 procedure lines made by
// ../shared/tools/gen_world_cifp.py, laid out as an X-Plane 12 installation and built the way the
// station and zobrel-navdb build it (NavDatabaseBuild). Prints the wall and CPU time per stage,
// the peak memory (VmHWM), and for comparison the raw SQLite limit: the same number of rows per
// table written with prepared inserts in one transaction through the SQLite C API, nothing else.
//
// Usage: bench_navbuild [--data <folder>]
//   The X-Plane-like folder is prepared in <folder> (decompressing the world files and running the
//   CIFP generator, which takes a minute or two) unless it is already there; without --data a
//   temporary folder is used and removed.

#include "nav/databasebuilder.h"
#include "nav/navdatabasebuild.h"
#include "nav/navschema.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#ifdef BENCH_HAVE_SQLITE3
#include <sqlite3.h>
#endif

#include <cstdio>
#include <ctime>

namespace {

const QString kShared = QStringLiteral(SHARED_DIR);

void print(const QString &line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

long procStatusKb(const char *key)
{
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return -1;
    const QByteArray prefix = QByteArray(key) + ':';
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (line.startsWith(prefix))
            return line.mid(prefix.size()).trimmed().split(' ').first().toLong();
    }
    return -1;
}

double cpuSeconds()
{
    return double(std::clock()) / CLOCKS_PER_SEC;
}

bool run(const QString &program, const QStringList &args, const QString &outputFile = QString())
{
    QProcess process;
    if (!outputFile.isEmpty())
        process.setStandardOutputFile(outputFile);
    process.setProcessChannelMode(outputFile.isEmpty() ? QProcess::ForwardedChannels : QProcess::SeparateChannels);
    process.start(program, args);
    if (!process.waitForFinished(-1) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        print(QStringLiteral("failed: %1 %2").arg(program, args.join(' ')));
        return false;
    }
    return true;
}

// <root>/Resources/default data/{earth_nav,earth_fix,earth_awy}.dat, cycle_info.txt, CIFP/ and
// <root>/Global Scenery/Global Airports/Earth nav data/apt.dat.
bool prepare(const QString &root)
{
    const QString world = kShared + QStringLiteral("/testdata/xplane/world/");
    const QString data = root + QStringLiteral("/Resources/default data/");
    const QString apt = root + QStringLiteral("/Global Scenery/Global Airports/Earth nav data/apt.dat");
    QDir().mkpath(data);
    QDir().mkpath(QFileInfo(apt).absolutePath());
    const QList<QPair<QString, QString>> files{{world + "earth_nav.dat.xz", data + "earth_nav.dat"},
                                               {world + "earth_fix.dat.xz", data + "earth_fix.dat"},
                                               {world + "earth_awy.dat.xz", data + "earth_awy.dat"},
                                               {world + "apt.dat.xz", apt}};
    for (const auto &file : files) {
        if (QFileInfo::exists(file.second))
            continue;
        print(QStringLiteral("unpacking %1").arg(QFileInfo(file.first).fileName()));
        if (!run(QStringLiteral("xz"), {"-dc", file.first}, file.second + ".part") ||
            !QFile::rename(file.second + ".part", file.second))
            return false;
    }
    if (!QFileInfo::exists(data + "cycle_info.txt"))
        QFile::copy(world + "cycle_info.txt", data + "cycle_info.txt");
    if (!QFileInfo::exists(data + "CIFP/KSEA.dat")) {
        print(QStringLiteral("generating the CIFP folder (gen_world_cifp.py)"));
        QDir(data + "CIFP").removeRecursively();
        if (!run(QStringLiteral("python3"),
                 {kShared + "/tools/gen_world_cifp.py", "--apt", world + "apt.dat.xz", "--fix",
                  world + "earth_fix.dat.xz", "--nav", world + "earth_nav.dat.xz", "--out", data + "CIFP"}))
            return false;
    }
    return true;
}

#ifdef BENCH_HAVE_SQLITE3

// Column kinds of each insert, in placeholder order: T text, R real, I integer; the first text
// column is made unique per row where the table has a key.
struct RawTable
{
    const char *table;
    const char *insert;
    const char *kinds;
};

const RawTable kRawTables[] = {
    {"airports", schema::insert::Airport, "TTRRIII"},
    {"runways", schema::insert::Runway, "TTIIRRRT"},
    {"frequencies", schema::insert::Frequency, "TTRT"},
    {"towers", schema::insert::Tower, "TRRRT"},
    {"parkings", schema::insert::Parking, "TTTRRR"},
    {"taxiway_nodes", schema::insert::TaxiwayNode, "TIRRTT"},
    {"taxiway_edges", schema::insert::TaxiwayEdge, "TIITTT"},
    {"navaids", schema::insert::Navaid, "TTRRRRT"},
    {"waypoints", schema::insert::XPlaneFix, "TRR"},
    {"airways", schema::insert::XPlaneAirway, "TTTRRTRRT"},
    {"procedures", schema::insert::Procedure, "TTTT"},
    {"procedure_legs", schema::insert::ProcedureLeg, "TTTTITTTTTTRRRI"},
};

// The raw SQLite limit for the given rows per table: the schema's tables without their indexes,
// then every row through a prepared insert in one transaction. Seconds, or -1 on failure.
double rawInsertSeconds(const QString &path, const QList<QPair<QString, int>> &counts, qint64 *rowsOut)
{
    QFile::remove(path);
    sqlite3 *db = nullptr;
    if (sqlite3_open(path.toUtf8().constData(), &db) != SQLITE_OK)
        return -1.0;
    QStringList tables;
    for (const QString &statement : schema::completeStatements()) {
        if (statement.startsWith(QLatin1String("CREATE TABLE")))
            tables.append(statement);
    }
    for (const QString &statement : tables)
        sqlite3_exec(db, statement.toUtf8().constData(), nullptr, nullptr, nullptr);
    sqlite3_exec(db, "PRAGMA synchronous=OFF", nullptr, nullptr, nullptr);

    QElapsedTimer clock;
    clock.start();
    sqlite3_exec(db, "BEGIN TRANSACTION", nullptr, nullptr, nullptr);
    static const char *const kWords[] = {"KSEA", "BANGR9", "RW16C", "OTLIE", "K1", "E", "A", "EY", "TF", "GATE"};
    char key[32];
    qint64 rows = 0;
    for (const RawTable &table : kRawTables) {
        int n = 0;
        for (const auto &count : counts) {
            if (count.first == QLatin1String(table.table))
                n = count.second;
        }
        sqlite3_stmt *insert = nullptr;
        if (sqlite3_prepare_v2(db, table.insert, -1, &insert, nullptr) != SQLITE_OK)
            return -1.0;
        const int columns = int(qstrlen(table.kinds));
        for (int i = 0; i < n; ++i) {
            const int keyLength = std::snprintf(key, sizeof key, "K%07d", i);
            bool firstText = true;
            for (int c = 0; c < columns; ++c) {
                switch (table.kinds[c]) {
                case 'T':
                    if (firstText)
                        sqlite3_bind_text(insert, c + 1, key, keyLength, SQLITE_STATIC);
                    else
                        sqlite3_bind_text(insert, c + 1, kWords[(i + c) % 10], -1, SQLITE_STATIC);
                    firstText = false;
                    break;
                case 'R':
                    sqlite3_bind_double(insert, c + 1, 47.0 + (i % 1000) * 0.001 + c);
                    break;
                default:
                    sqlite3_bind_int(insert, c + 1, i);
                }
            }
            if (sqlite3_step(insert) != SQLITE_DONE)
                return -1.0;
            sqlite3_reset(insert);
        }
        sqlite3_finalize(insert);
        rows += n;
    }
    sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    const double seconds = clock.elapsed() / 1000.0;
    sqlite3_close(db);
    *rowsOut = rows;
    return seconds;
}

#endif

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    QTemporaryDir scratch;
    const int dataArg = int(args.indexOf(QStringLiteral("--data")));
    const QString root =
        dataArg > 0 && dataArg + 1 < args.size() ? args.at(dataArg + 1) : scratch.filePath("X-Plane 12");
    if (!QFileInfo(kShared + QStringLiteral("/testdata/xplane/world")).isDir()) {
        print(QStringLiteral("skipped: %1/testdata/xplane/world not found").arg(kShared));
        return 0;
    }
    if (!prepare(root))
        return 1;

    const QString target = scratch.filePath("zobrel_navdata_xp12.db");
    NavDatabaseBuild build;
    build.setSources({root, {}, {}, {}, {}});
    build.setTargetPath(target);
    QElapsedTimer stageClock;
    double stageCpu = 0.0;
    QString stage;
    const auto closeStage = [&] {
        if (!stage.isEmpty())
            print(QStringLiteral("  %1 %2 s wall, %3 s CPU")
                      .arg(stage, -12)
                      .arg(stageClock.elapsed() / 1000.0, 6, 'f', 2)
                      .arg(cpuSeconds() - stageCpu, 6, 'f', 2));
    };
    QObject::connect(&build, &NavDatabaseBuild::stageStarted, &build, [&](const QString &next) {
        closeStage();
        stage = next;
        stageClock.start();
        stageCpu = cpuSeconds();
    });
    print(QStringLiteral("building %1").arg(target));
    const long rssBefore = procStatusKb("VmRSS");
    QElapsedTimer total;
    total.start();
    const double cpuStart = cpuSeconds();
    const bool ok = build.run();
    const double buildSeconds = total.elapsed() / 1000.0;
    const double buildCpu = cpuSeconds() - cpuStart;
    closeStage();
    const long peakKb = procStatusKb("VmHWM");
    if (!ok) {
        print(QStringLiteral("build failed"));
        return 1;
    }
    qint64 builtRows = 0;
    for (const auto &count : build.counts()) {
        print(QStringLiteral("  %1 %2").arg(count.first, -16).arg(count.second, 9));
        builtRows += count.second;
    }
    print(QStringLiteral("build: %1 s wall, %2 s CPU (both cores: %3), %4 rows, database %5 MB")
              .arg(buildSeconds, 0, 'f', 2)
              .arg(buildCpu, 0, 'f', 2)
              .arg(buildCpu / buildSeconds, 0, 'f', 2)
              .arg(builtRows)
              .arg(QFileInfo(target).size() / 1048576.0, 0, 'f', 0));
    print(QStringLiteral("peak memory (VmHWM): %1 MB (RSS before the build %2 MB)")
              .arg(peakKb / 1024.0, 0, 'f', 1)
              .arg(rssBefore / 1024.0, 0, 'f', 1));
#ifdef BENCH_HAVE_SQLITE3
    qint64 rawRows = 0;
    const double raw = rawInsertSeconds(scratch.filePath("raw.db"), build.counts(), &rawRows);
    if (raw > 0.0)
        print(QStringLiteral("raw SQLite limit: %1 rows in %2 s (prepared inserts, one transaction); build / raw = %3")
                  .arg(rawRows)
                  .arg(raw, 0, 'f', 2)
                  .arg(buildSeconds / raw, 0, 'f', 2));
    else
        print(QStringLiteral("raw SQLite limit: failed"));
#else
    print(QStringLiteral("raw SQLite limit: not measured (SQLite headers not found at configure time)"));
#endif
    return 0;
}
