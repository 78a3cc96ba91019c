// Conflict checking over the tracked aircraft, one pass as the supervision service runs it each
// second: the real network feed's pilots (when ../shared/testdata is there) topped up with
// synthetic traffic around busy hubs and along the airways between them, to 2,000 and 5,000
// aircraft. Prints the time per pass (min, median, max over 50 passes) and the conflicts found.
// Goal: under 10 ms per pass at 2,000 aircraft.

#include "supervision/conflictdetector.h"
#include "supervision/trafficfeedparser.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QPointF>
#include <QRandomGenerator>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

namespace {

QList<TrackedAircraft> feedPilots()
{
    QFile file(QStringLiteral(SHARED_DIR "/testdata/sectors/vatsim-data-feed-v3-2024-02-20.json"));
    QList<TrackedAircraft> out;
    QString error;
    if (!file.open(QIODevice::ReadOnly))
        return out;
    const auto snapshot = TrafficFeedParser::parse(file.readAll(), &error);
    if (!snapshot)
        return out;
    for (const TrafficPilot &p : snapshot->pilots) {
        TrackedAircraft a;
        a.id = p.callsign;
        a.lat = p.lat;
        a.lon = p.lon;
        a.altitudeFt = p.altitudeFt;
        a.groundSpeedKts = p.groundSpeedKts;
        a.trackDeg = p.headingDeg;
        out.append(a);
    }
    return out;
}

// Traffic like a busy evening: around hubs (climbing and descending) and at cruise between them.
void topUp(QList<TrackedAircraft> &traffic, int total, QRandomGenerator &random)
{
    const QPointF hubs[] = {{51.47, -0.45}, {40.64, -73.78}, {33.94, -118.4},  {50.03, 8.56}, {31.14, 121.8},
                            {25.25, 55.36}, {35.55, 139.78}, {-33.94, 151.18}, {49.0, 2.55},  {41.98, -87.9}};
    int n = int(traffic.size());
    while (n < total) {
        const QPointF from = hubs[random.bounded(int(std::size(hubs)))];
        const QPointF to = hubs[random.bounded(int(std::size(hubs)))];
        TrackedAircraft a;
        a.id = QStringLiteral("SYN%1").arg(n);
        if (random.bounded(2) == 0) {
            a.lat = from.x() + (random.generateDouble() - 0.5) * 1.5;
            a.lon = from.y() + (random.generateDouble() - 0.5) * 2.0;
            a.altitudeFt = 2000 + random.bounded(15000);
            a.groundSpeedKts = 180 + random.bounded(150);
            a.verticalSpeedFpm = random.bounded(4000) - 2000.0;
        } else {
            const double f = random.generateDouble();
            a.lat = from.x() + (to.x() - from.x()) * f + (random.generateDouble() - 0.5);
            a.lon = from.y() + (to.y() - from.y()) * f + (random.generateDouble() - 0.5);
            a.altitudeFt = 30000 + 1000 * random.bounded(12);
            a.groundSpeedKts = 420 + random.bounded(100);
        }
        a.trackDeg = random.bounded(360);
        traffic.append(a);
        ++n;
    }
}

void run(const QList<TrackedAircraft> &traffic)
{
    const ConflictDetector::Settings settings;
    std::vector<double> passes;
    int conflicts = 0;
    for (int i = 0; i < 50; ++i) {
        QElapsedTimer timer;
        timer.start();
        conflicts = int(ConflictDetector::detect(traffic, settings).size());
        passes.push_back(timer.nsecsElapsed() / 1e6);
    }
    const double first = passes.front();
    std::sort(passes.begin(), passes.end());
    std::printf("%5d aircraft: %.2f / %.2f / %.2f ms per pass (min / median / max of 50; the first %.2f), "
                "%d conflicts\n",
                int(traffic.size()), passes.front(), passes[passes.size() / 2], passes.back(), first, conflicts);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QRandomGenerator random(42);
    QList<TrackedAircraft> traffic = feedPilots();
    std::printf("network feed snapshot: %d pilots%s\n", int(traffic.size()),
                traffic.isEmpty() ? " (testdata not found, synthetic traffic only)" : "");
    for (const int total : {2000, 5000}) {
        topUp(traffic, total, random);
        run(traffic);
    }
    return 0;
}
