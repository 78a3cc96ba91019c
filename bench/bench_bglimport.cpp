// Scenery import benchmark: writes a Prepar3D-style installation of 400 BGL files (300 airport
// files of 10 airports each, in two layers so that 500 add-on airports replace stock ones, and
// 100 navaid files with VORs, NDBs, markers, waypoints with airway legs and an airspace) plus its
// scenery.cfg into a temporary folder, then measures
//  - DatabaseBuilder::importP3DScenery into a new database (discovery, parsing, precedence,
//    writing, airway repair), twice: new file and re-import over it;
//  - how long a cancel takes to stop the import when raised in the middle of the write.
//
// Usage: bench_bglimport

#include "nav/bglimportjob.h"
#include "nav/databasebuilder.h"
#include "tests/nav/tst_bglsamples.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <cstdio>

using namespace bglsamples;

namespace {

constexpr int kAirportFiles = 300;
constexpr int kAirportsPerFile = 10;
constexpr int kNavaidFiles = 100;

void print(const QString &line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

QString identOf(char first, int n)
{
    static const char kChars[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    QString s(4, u'A');
    s[0] = QLatin1Char(first);
    for (int i = 3; i > 0; --i, n /= 26)
        s[i] = QLatin1Char(kChars[n % 26]);
    return s;
}

bool write(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

qint64 writeTree(const QString &root)
{
    qint64 bytes = 0;
    const ApproachIds ids;
    for (int f = 0; f < kAirportFiles; ++f) {
        // The last 50 files are an add-on layer repeating the idents of the first 50.
        const bool addOn = f >= kAirportFiles - 50;
        const int identBase = addOn ? (f - (kAirportFiles - 50)) * kAirportsPerFile : f * kAirportsPerFile;
        QList<Rec> airports;
        for (int a = 0; a < kAirportsPerFile; ++a) {
            const int n = identBase + a;
            airports << airport(P3d5, ids, identOf('K', n), double(n % 50) * 0.5 - 12.0, double(n / 50) - 30.0);
        }
        const QByteArray data = file({section(0x03, airports)});
        bytes += data.size();
        write(QStringLiteral("%1/%2/scenery/APX%3.bgl").arg(root, addOn ? "Addon" : "Scenery/World").arg(f), data);
    }
    for (int f = 0; f < kNavaidFiles; ++f) {
        const double dLat = double(f % 10) - 5.0;
        const double dLon = double(f / 10) * 2.0;
        QList<Rec> ndbs;
        for (int i = 0; i < 50; ++i)
            ndbs << bglw::ndb(identOf('N', f * 50 + i).left(3), "ZS", 29.0 + dLat + i * 0.01, 119.0 + dLon, 400000,
                              40000);
        const QByteArray data = file({section(0x13, vors(dLat, dLon)), section(0x18, {outerMarker(dLat, dLon)}),
                                      section(0x22, waypoints(dLat, dLon)), section(0x20, {classCBoundary(dLat, dLon)}),
                                      section(0x17, ndbs)});
        bytes += data.size();
        write(QStringLiteral("%1/Scenery/World/scenery/NVX%2.bgl").arg(root).arg(f), data);
    }
    write(root + "/scenery.cfg", "[Area.001]\nLocal=Scenery\\World\nLayer=1\nActive=TRUE\n"
                                 "[Area.002]\nLocal=Addon\nLayer=2\nActive=TRUE\n");
    return bytes;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    const qint64 bytes = writeTree(dir.path());
    print(QStringLiteral("tree: %1 BGL files, %2 MB").arg(kAirportFiles + kNavaidFiles).arg(bytes / 1e6, 0, 'f', 1));

    const QString db = dir.path() + "/bench.db";
    DatabaseBuilder builder;
    for (const char *label : {"new database", "re-import"}) {
        QElapsedTimer clock;
        clock.start();
        const bool ok = builder.importP3DScenery(db, dir.path());
        print(QStringLiteral("importP3DScenery (%1): %2 ms, %3, %4 airports")
                  .arg(QLatin1String(label))
                  .arg(clock.elapsed())
                  .arg(ok ? "ok" : "FAILED")
                  .arg(builder.airportCount(db)));
    }

    // Cancel raised once half of the files are read; measured until the import returns.
    std::atomic_bool cancel{false};
    QElapsedTimer sinceCancel;
    QString message;
    const bool ok = runBglImport(
        dir.path(), dir.path() + "/cancel.db", SimType::Prepar3D,
        [&](QString stage, int current, int total) {
            if (stage == QLatin1String("scenery") && current * 2 >= total && !cancel.exchange(true))
                sinceCancel.start();
        },
        &cancel, &message);
    print(QStringLiteral("cancel at half the files: stopped after %1 ms (%2: %3)")
              .arg(sinceCancel.isValid() ? sinceCancel.elapsed() : -1)
              .arg(ok ? "completed" : "stopped", message));
    return 0;
}
