// BGL reader benchmark: writes one large multi-section scenery file (about 45 MB: 2,000
// airports with a few hundred taxiway points, paths and parkings each, an approach with
// transitions, 20,000 VORs, 10,000 NDBs, 5,000 markers, 200,000 waypoints with airway legs and
// 2,000 airspace boundaries) into a temporary folder, then measures
//  - BglReader::parseFile (read from disk and parse) and parseData (bytes already in memory),
//    best of three, as MB/s;
//  - mergeFrom of the result into a collecting reader and resolveAirwayEndpoints.
//
// Usage: bench_bglreader [--keep <dir>]   (writes <dir>/bench.bgl and leaves it there)

#include "nav/bglreader.h"
#include "tests/nav/tst_bglsamples.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <cstdio>

using namespace bglsamples;

namespace {

constexpr int kAirports = 2000;
constexpr int kPointsPerAirport = 250;
constexpr int kParkingsPerAirport = 120;
constexpr int kPathsPerAirport = 300;
constexpr int kVors = 20000;
constexpr int kNdbs = 10000;
constexpr int kMarkers = 5000;
constexpr int kWaypoints = 200000;
constexpr int kBoundaries = 2000;
constexpr int kBoundaryPoints = 200;
constexpr int kRecordsPerSubsection = 100;

void print(const QString &line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

// Idents "A0000" ... from a running number.
QString identOf(char first, int n, int length)
{
    static const char kChars[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    QString s(length, u'0');
    s[0] = QLatin1Char(first);
    for (int i = length - 1; i > 0; --i, n /= 36)
        s[i] = QLatin1Char(kChars[n % 36]);
    return s;
}

// Spreads record i over the globe, away from the poles.
void spread(int i, int count, double &dLat, double &dLon)
{
    dLat = -60.0 + 110.0 * double(i % 97) / 97.0 - 31.0;
    dLon = -300.0 + 290.0 * double(i) / count;
}

Section chunked(quint32 type, const QList<Rec> &records)
{
    Section s{type, {}};
    for (qsizetype i = 0; i < records.size(); i += kRecordsPerSubsection) {
        Subsection sub;
        sub.count = 0;
        for (qsizetype j = i; j < qMin(records.size(), i + kRecordsPerSubsection); ++j, ++sub.count)
            sub.records += records.at(j).data();
        s.subsections.append(sub);
    }
    return s;
}

Rec heavyAirport(int i)
{
    double dLat, dLon;
    spread(i, kAirports, dLat, dLon);
    const Variant v = Variant(i % 4);
    const ApproachIds ids = v == Msfs ? ApproachIds{0xF4, 0xF5, 0x49, 0xF6, 1} : ApproachIds{};
    Rec a = airport(v, ids, identOf('Z', i, 4), dLat, dLon);
    // A larger taxiway network, in the FSX list forms.
    Rec points(0x001A), parking(0x003D), paths(0x001C);
    points.u16(kPointsPerAirport);
    for (int p = 0; p < kPointsPerAirport; ++p)
        points.u8(1).u8(0).u16(0).lonLat(31.15 + dLat + p * 1e-5, 121.8 + dLon);
    parking.u16(kParkingsPerAirport);
    for (int p = 0; p < kParkingsPerAirport; ++p)
        parking.u32(10u | (8u << 8) | (quint32(p) << 12)).f32(20).f32(90).zeros(16).lonLat(31.16 + dLat, 121.8 + dLon);
    paths.u16(kPathsPerAirport);
    for (int p = 0; p < kPathsPerAirport; ++p)
        paths.u16(p % kPointsPerAirport)
            .u16((p + 1) % kPointsPerAirport)
            .u8(1)
            .u8(1)
            .u8(0)
            .u8(4)
            .f32(20)
            .u32(0)
            .zeros(4);
    return a.add(points).add(parking).add(paths);
}

QByteArray buildFile()
{
    QList<Rec> airports, navaids, markers, fixes, boundaries;
    for (int i = 0; i < kAirports; ++i)
        airports.append(heavyAirport(i));
    double dLat, dLon;
    for (int i = 0; i < kVors / 2; ++i) {
        spread(i, kVors / 2, dLat, dLon);
        navaids += vors(dLat, dLon);
    }
    for (int i = 0; i < kMarkers; ++i) {
        spread(i, kMarkers, dLat, dLon);
        markers.append(outerMarker(dLat, dLon));
    }
    for (int i = 0; i < kWaypoints / 3; ++i) {
        spread(i, kWaypoints / 3, dLat, dLon);
        fixes += waypoints(dLat, dLon);
    }
    for (int i = 0; i < kBoundaries; ++i) {
        spread(i, kBoundaries, dLat, dLon);
        Rec geometry(0x0021);
        geometry.u16(kBoundaryPoints);
        for (int p = 0; p < kBoundaryPoints; ++p)
            geometry.u16(p == 0 ? 1 : 2).i32(bglw::rawLat(30.0 + dLat + p * 1e-3)).i32(bglw::rawLon(120.0 + dLon));
        Rec b(0x0020);
        b.u8(4).u8(0x11).pos(30.0 + dLat, 120.0 + dLon, 0).pos(30.2 + dLat, 120.0 + dLon, 3000);
        boundaries.append(b.add(Rec(0x0019).bytes("BENCH CLASS C")).add(geometry));
    }
    // Each NDB in a subsection of its own: the NDB section steps by the subsection size.
    Section ndbs{0x17, {}};
    for (int i = 0; i < kNdbs; ++i) {
        spread(i, kNdbs, dLat, dLon);
        ndbs.subsections.append(Subsection{ndb(identOf('N', i, 3), "ZS", 30 + dLat, 120 + dLon, 400000, 1).data(), 1});
    }
    return file({chunked(0x03, airports), chunked(0x13, navaids), ndbs, chunked(0x18, markers), chunked(0x22, fixes),
                 chunked(0x20, boundaries)});
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    QTemporaryDir temp;
    const int keep = args.indexOf(QStringLiteral("--keep"));
    const QString dir = keep > 0 && keep + 1 < args.size() ? args.at(keep + 1) : temp.path();
    QDir().mkpath(dir);
    const QString path = QDir(dir).filePath(QStringLiteral("bench.bgl"));

    QElapsedTimer timer;
    timer.start();
    const QByteArray bytes = buildFile();
    QFile out(path);
    if (!out.open(QIODevice::WriteOnly) || out.write(bytes) != bytes.size()) {
        print(QStringLiteral("cannot write %1").arg(path));
        return 1;
    }
    out.close();
    const double megabytes = bytes.size() / 1e6;
    print(QStringLiteral("wrote %1 (%2 MB) in %3 ms").arg(path).arg(megabytes, 0, 'f', 1).arg(timer.elapsed()));

    // Each reader is gone before the next run starts, so every run allocates alike.
    double bestFile = 1e99, bestData = 1e99;
    BglReader kept(SimType::Prepar3D);
    for (int run = 0; run < 3; ++run) {
        {
            BglReader reader(SimType::Prepar3D);
            timer.restart();
            if (!reader.parseFile(path)) {
                print(QStringLiteral("parse failed: %1").arg(reader.lastError()));
                return 1;
            }
            bestFile = qMin(bestFile, timer.nsecsElapsed() / 1e9);
        }
        BglReader memory(SimType::Prepar3D);
        timer.restart();
        memory.parseData(bytes, path);
        bestData = qMin(bestData, timer.nsecsElapsed() / 1e9);
        if (run == 2)
            kept.mergeFrom(memory);
    }
    qsizetype legs = 0, paths = 0;
    for (const BglAirport &a : kept.airports()) {
        legs += a.procedureLegs.size();
        paths += a.taxiPaths.size();
    }
    print(QStringLiteral("records: %1 airports (%2 taxi paths, %3 procedure legs), %4 VORs, %5 ILSs, %6 NDBs, "
                         "%7 markers, %8 waypoints, %9 airway segments, %10 boundaries")
              .arg(kept.airports().size())
              .arg(paths)
              .arg(legs)
              .arg(kept.vors().size())
              .arg(kept.ilses().size())
              .arg(kept.ndbs().size())
              .arg(kept.markers().size())
              .arg(kept.waypoints().size())
              .arg(kept.airwaySegments().size())
              .arg(kept.boundaries().size()));
    print(QStringLiteral("parseFile: %1 ms, %2 MB/s (best of 3)")
              .arg(bestFile * 1e3, 0, 'f', 1)
              .arg(megabytes / bestFile, 0, 'f', 1));
    print(QStringLiteral("parseData: %1 ms, %2 MB/s (best of 3)")
              .arg(bestData * 1e3, 0, 'f', 1)
              .arg(megabytes / bestData, 0, 'f', 1));

    BglReader collector(SimType::Prepar3D);
    timer.restart();
    collector.mergeFrom(kept);
    collector.mergeFrom(kept);
    print(QStringLiteral("mergeFrom x2: %1 ms").arg(timer.nsecsElapsed() / 1e6, 0, 'f', 1));
    timer.restart();
    const int resolved = collector.resolveAirwayEndpoints();
    print(QStringLiteral("resolveAirwayEndpoints: %1 of %2 segments in %3 ms")
              .arg(resolved)
              .arg(collector.airwaySegments().size())
              .arg(timer.nsecsElapsed() / 1e6, 0, 'f', 1));
    return 0;
}
