// Primary flight display benchmark: the time to paint one frame at 800 x 600 (the widget's own
// paint path: render() into a backing-store image), over a sequence of samples that move every
// value (attitude, speeds, altitude, heading, vertical speed), with text antialiasing on as in the
// station. Reports the median, 90th percentile and worst frame over several rounds, in wall time
// and in processor time (which a busy, shared machine does not inflate); the goal is a frame well
// under 2 ms so a 50 Hz simulator never waits for the display.
//
// Usage: bench_pfd [frames per round]

#include "instruments/primaryflightdisplay.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <vector>

namespace {

AircraftData sampleAt(int i)
{
    const double t = i * 0.02; // 50 Hz
    AircraftData d;
    d.pitch = 8.0 * std::sin(t * 0.7);
    d.bank = 35.0 * std::sin(t * 0.4);
    d.ias = 180.0 + 40.0 * std::sin(t * 0.1);
    d.tas = d.ias * 1.1;
    d.gs = d.tas + 10.0;
    d.mach = d.tas / 600.0;
    d.altInd = d.alt = 8000.0 + 3000.0 * std::sin(t * 0.05);
    d.altAGL = 2000.0 + 1500.0 * std::sin(t * 0.05);
    d.vs = 1500.0 * std::cos(t * 0.05);
    d.hdg = std::fmod(t * 3.0, 360.0);
    d.apHdg = std::fmod(d.hdg + 30.0, 360.0);
    d.apAlt = 10000.0;
    d.apSpd = 200.0;
    d.apMaster = true;
    d.baro = 1009.0;
    return d;
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const int frames = argc > 1 ? std::max(100, std::atoi(argv[1])) : 3000;
    PrimaryFlightDisplay pfd;
    QImage image(800, 600, QImage::Format_ARGB32_Premultiplied);
    std::vector<double> all;
    for (int round = 0; round < 3; ++round) {
        std::vector<double> us;
        us.reserve(size_t(frames));
        const std::clock_t cpuStart = std::clock();
        for (int i = 0; i < frames; ++i) {
            pfd.setAircraftData(sampleAt(round * frames + i), qint64(round * frames + i) * 20);
            QElapsedTimer clock;
            clock.start();
            QPainter painter(&image);
            pfd.render(painter, QRectF(0, 0, 800, 600));
            painter.end();
            us.push_back(double(clock.nsecsElapsed()) / 1000.0);
        }
        const double cpuUs = double(std::clock() - cpuStart) / CLOCKS_PER_SEC * 1e6 / frames;
        std::sort(us.begin(), us.end());
        std::printf("round %d: %d frames at 800x600: wall median %.0f us, 90th percentile %.0f us, worst %.0f us; "
                    "processor time %.0f us per frame\n",
                    round + 1, frames, us[us.size() / 2], us[us.size() * 9 / 10], us.back(), cpuUs);
        all.insert(all.end(), us.begin(), us.end());
    }
    std::sort(all.begin(), all.end());
    std::printf("all rounds: wall median %.0f us, 90th percentile %.0f us (goal under 2000 us)\n", all[all.size() / 2],
                all[all.size() * 9 / 10]);
    return 0;
}
