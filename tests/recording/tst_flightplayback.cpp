#include "syntheticflight.h"

#include "recording/flightplayback.h"
#include "recording/flightstatistics.h"
#include "recording/playbacktracklayer.h"
#include "tests/support/logexpect.h"

#include <QElapsedTimer>
#include <QImage>
#include <QPainter>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <cmath>

// Playback of a recorded flight: its clock at 1x to 16x, pause and seek, the state between stored
// points, the events it passes, and its layer on the map.
class TestFlightPlayback : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }

    void runsAtTheChosenSpeed_data();
    void runsAtTheChosenSpeed();
    void stopsAtTheEnd();
    void seekPauseAndEvents();
    void stateBetweenStoredPoints();
    void layerDrawsTrackMarksAndAircraft();
};

namespace {

constexpr qint64 kStart = 1714550400000;

RecordedFlight flightAt(double hz)
{
    RecordedFlight flight;
    for (int i = 0; i <= int(synthetic::kEndS * hz); ++i) {
        TrackSample s = trackSampleFrom(synthetic::at(i / hz), kStart + qint64(std::llround(i * 1000.0 / hz)));
        s.seq = i;
        flight.samples << s;
    }
    for (const int t : {30, 120}) {
        FlightEvent e;
        e.seq = flight.events.size();
        e.timeMs = kStart + t * 1000;
        e.kind = t == 30 ? QStringLiteral("failure") : QStringLiteral("fuel");
        e.text = QStringLiteral("event at %1 s").arg(t);
        flight.events << e;
    }
    flight.info.stats = FlightStatsCalculator::compute(flight.samples, &flight.landings);
    return flight;
}

} // namespace

void TestFlightPlayback::runsAtTheChosenSpeed_data()
{
    QTest::addColumn<double>("speed");
    QTest::newRow("1x") << 1.0;
    QTest::newRow("4x") << 4.0;
    QTest::newRow("16x") << 16.0;
    QTest::newRow("above 16x is 16x") << 40.0;
}

void TestFlightPlayback::runsAtTheChosenSpeed()
{
    QFETCH(double, speed);
    FlightPlayback playback;
    QVERIFY(playback.load(flightAt(1.0)));
    playback.setSpeed(speed);
    const double expected = std::min(speed, FlightPlayback::kMaxSpeed);
    QCOMPARE(playback.speed(), expected);
    QList<QPair<qint64, qint64>> seen; // wall ms since play, position
    QElapsedTimer wall;
    connect(&playback, &FlightPlayback::positionChanged, this, [&](qint64 position) {
        seen.append({wall.elapsed(), position});
    });
    wall.start();
    playback.play();
    QTRY_VERIFY_WITH_TIMEOUT(seen.size() >= 8, 5000);
    playback.pause();
    for (const auto &[elapsed, position] : std::as_const(seen)) {
        // The playback's clock starts a moment after the test's; each tick rounds down by < 1 ms.
        const double lag = expected * double(elapsed) - double(position);
        QVERIFY2(lag >= -1.0 && lag <= expected * 20.0 + seen.size(),
                 qPrintable(QStringLiteral("%1 ms at %2 ms").arg(position).arg(elapsed)));
    }
    // Paused, it stays.
    const qint64 held = playback.positionMs();
    QTest::qWait(3 * FlightPlayback::kTickMs);
    QCOMPARE(playback.positionMs(), held);
}

void TestFlightPlayback::stopsAtTheEnd()
{
    FlightPlayback playback;
    QVERIFY(!playback.load(RecordedFlight()));
    QVERIFY(playback.load(flightAt(1.0)));
    QCOMPARE(playback.durationMs(), qint64(240000));
    QSignalSpy finished(&playback, &FlightPlayback::finished);
    playback.setSpeed(16);
    playback.seek(playback.durationMs() - 1000);
    playback.play();
    QVERIFY(finished.wait(3000));
    QVERIFY(!playback.isPlaying());
    QCOMPARE(playback.positionMs(), playback.durationMs());
    QCOMPARE(playback.currentSample().timeMs, kStart + 240000);
    // Playing again starts over.
    playback.play();
    QVERIFY(playback.positionMs() < 2000);
    playback.pause();
}

void TestFlightPlayback::seekPauseAndEvents()
{
    FlightPlayback playback;
    QVERIFY(playback.load(flightAt(5.0)));
    QSignalSpy events(&playback, &FlightPlayback::eventReached);
    // Seeking over an event does not report it; playing through one does, once.
    playback.seek(125000);
    QCOMPARE(events.size(), 0);
    QCOMPARE(playback.currentSample().timeMs, kStart + 125000);
    playback.seek(29500);
    playback.setSpeed(16);
    playback.play();
    QVERIFY(events.wait(3000));
    playback.pause();
    QCOMPARE(events.size(), 1);
    QCOMPARE(events.first().first().value<FlightEvent>().kind, QStringLiteral("failure"));
    QVERIFY(playback.positionMs() >= 30000);
    // Out-of-range seeks clamp.
    playback.seek(-5);
    QCOMPARE(playback.positionMs(), qint64(0));
    playback.seek(10000000);
    QCOMPARE(playback.positionMs(), playback.durationMs());
}

void TestFlightPlayback::stateBetweenStoredPoints()
{
    RecordedFlight flight;
    TrackSample a;
    a.timeMs = kStart;
    a.lat = 31.0;
    a.lon = 179.9;
    a.altFt = 1000;
    a.hdgTrueDeg = 350.0;
    a.bankDeg = -10;
    a.flags = TrackSample::GearDown;
    TrackSample b = a;
    b.seq = 1;
    b.timeMs = kStart + 4000;
    b.lat = 31.1;
    b.lon = -179.9; // across the antimeridian
    b.altFt = 2000;
    b.hdgTrueDeg = 10.0;
    b.bankDeg = 10;
    b.flags = 0;
    flight.samples = {a, b};
    FlightPlayback playback;
    QVERIFY(playback.load(flight));
    const TrackSample mid = playback.sampleAt(2000);
    QVERIFY(std::fabs(mid.lat - 31.05) < 1e-9);
    QVERIFY(std::fabs(std::fabs(mid.lon) - 180.0) < 1e-9);
    QVERIFY(std::fabs(mid.altFt - 1500.0) < 1e-9);
    QVERIFY(std::fabs(angleDifferenceDeg(0.0, mid.hdgTrueDeg)) < 1e-9);
    QVERIFY(std::fabs(mid.bankDeg) < 1e-9);
    QCOMPARE(playback.sampleAt(1000).flags, quint32(TrackSample::GearDown));
    QCOMPARE(playback.sampleAt(3000).flags, quint32(0));
    const AircraftData d = toAircraftData(playback.sampleAt(1000));
    QVERIFY(d.gear && std::fabs(d.alt - 1250.0) < 1e-9);
}

void TestFlightPlayback::layerDrawsTrackMarksAndAircraft()
{
    const RecordedFlight flight = flightAt(1.0);
    PlaybackTrackLayer layer;
    QSignalSpy changed(&layer, &MapLayer::changed);
    layer.setFlight(flight);
    QCOMPARE(layer.track().size(), flight.samples.size());
    // Two events and the landing, each where the aircraft was at the time.
    QCOMPARE(layer.marks().size(), 3);
    QVERIFY(std::fabs(layer.marks().at(0).latLon.x() - synthetic::at(30).lat) < 1e-9);
    QCOMPARE(layer.marks().at(2).kind, QStringLiteral("landing"));
    QVERIFY(layer.marks().at(2).text.contains(QLatin1String("-320 ft/min")));

    const GeoBounds bounds = layer.bounds();
    const QSize size(800, 600);
    const int zoom = PlaybackTrackLayer::zoomToFit(bounds, size);
    const MapView view(QPointF((bounds.minLat + bounds.maxLat) / 2, (bounds.minLon + bounds.maxLon) / 2), zoom, size,
                       false);
    // The whole track is in view at that zoom, and would not be one level closer.
    for (const QPointF &p : layer.track())
        QVERIFY(QRectF(QPointF(0, 0), QSizeF(size)).contains(view.geoToScreen(p)));
    const MapView closer(view.centreLatLon(), zoom + 1, size, false);
    QVERIFY(std::fabs(closer.geoToScreen(bounds.maxLat, 121.0).y() - closer.geoToScreen(bounds.minLat, 121.0).y()) >
            0.85 * size.height());

    // The replayed aircraft is drawn where the playback stands.
    layer.setPosition(flight.samples.at(120));
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::black);
    QPainter painter(&image);
    MapPaintContext context;
    context.view = view;
    context.zoom = view.zoom();
    layer.paint(&painter, context);
    painter.end();
    const QPoint aircraft = view.geoToScreen(flight.samples.at(120).lat, flight.samples.at(120).lon).toPoint();
    QCOMPARE(image.pixelColor(aircraft + QPoint(0, -3)), QColor(230, 60, 230));
    QVERIFY(changed.size() >= 2);
}

QTEST_MAIN(TestFlightPlayback)
#include "tst_flightplayback.moc"

#include "tests/support/logexpect.h"
