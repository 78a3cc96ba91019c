#include "nav/navdataprovider.h"
#include "supervision/alertmanager.h"
#include "supervision/alertsound.h"
#include "supervision/deviationmonitor.h"
#include "supervision/terrainmonitor.h"
#include "tests/support/logexpect.h"

#include <QAudioDevice>
#include <QMediaDevices>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <cmath>

namespace {

constexpr double kNmPerDeg = 3440.065 * M_PI / 180.0;

TrackedAircraft own(double lat, double lon, double altFt, double vsFpm = 0.0, double aglFt = -1.0)
{
    TrackedAircraft a;
    a.source = TrackedAircraft::Source::Own;
    a.id = QStringLiteral("own");
    a.lat = lat;
    a.lon = lon;
    a.altitudeFt = altFt;
    a.groundSpeedKts = 150;
    a.verticalSpeedFpm = vsFpm;
    a.heightAglFt = aglFt;
    return a;
}

// Power of one frequency in a stretch of samples (Goertzel), relative to the stretch's energy.
double toneShare(const std::vector<qint16> &samples, size_t from, size_t count, double hz, int rate)
{
    const double k = 2.0 * std::cos(2.0 * M_PI * hz / rate);
    double s1 = 0.0, s2 = 0.0, energy = 0.0;
    for (size_t i = from; i < from + count && i < samples.size(); ++i) {
        const double x = samples[i] / 32768.0;
        const double s = x + k * s1 - s2;
        s2 = s1;
        s1 = s;
        energy += x * x;
    }
    const double power = s1 * s1 + s2 * s2 - k * s1 * s2;
    return energy > 0.0 ? power / (energy * count / 2.0) : 0.0;
}

double rms(const std::vector<qint16> &samples, size_t from, size_t count)
{
    double sum = 0.0;
    for (size_t i = from; i < from + count && i < samples.size(); ++i)
        sum += double(samples[i]) * samples[i];
    return std::sqrt(sum / count) / 32768.0;
}

} // namespace

class TestSupervisionAlerts : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        // Qt Multimedia warns in English when it finds no sound server; that is its business,
        // not a failure of ours, so the audio backend is woken before warnings count.
        m_hasAudio = !QMediaDevices::defaultAudioOutput().isNull();
    }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void crossTrack_data();
    void crossTrack();
    void altitudeDeviationFollowsTheClearance();
    void terrainFromNavigationDataAndHeightAboveGround_data();
    void terrainFromNavigationDataAndHeightAboveGround();
    void alertsRaisedUpdatedClearedAndSoundedOnce();
    void withoutAudioTheAlertStillShowsAndOneLineIsLogged();
    void generatedSounds_data();
    void generatedSounds();

private:
    bool m_hasAudio = false;
};

void TestSupervisionAlerts::crossTrack_data()
{
    QTest::addColumn<QList<QPointF>>("route");
    QTest::addColumn<QPointF>("position");
    QTest::addColumn<double>("expectNm");
    QTest::addColumn<int>("leg");
    const QList<QPointF> equator{{0, 0}, {0, 10}};
    QTest::newRow("abeam the middle") << equator << QPointF(1, 5) << kNmPerDeg << 0;
    QTest::newRow("on the route") << equator << QPointF(0, 3) << 0.0 << 0;
    QTest::newRow("beyond the end") << equator << QPointF(0, 12) << 2 * kNmPerDeg << 0;
    QTest::newRow("before the start") << equator << QPointF(-0.6, -0.8) << kNmPerDeg << 0;
    // Off a meridian at 5 degrees north: asin(cos 5 * sin 1) on the sphere, not 60 nm.
    QTest::newRow("off a meridian") << QList<QPointF>{{0, 0}, {10, 0}} << QPointF(5, 1)
                                    << std::asin(std::cos(5 * M_PI / 180) * std::sin(M_PI / 180)) * 3440.065 << 0;
    // A dog-leg: the second leg is the nearer one.
    QTest::newRow("nearest of two legs") << QList<QPointF>{{0, 0}, {0, 10}, {10, 10}} << QPointF(5, 9.5)
                                         << std::asin(std::cos(5 * M_PI / 180) * std::sin(0.5 * M_PI / 180)) * 3440.065
                                         << 1;
}

void TestSupervisionAlerts::crossTrack()
{
    QFETCH(QList<QPointF>, route);
    QFETCH(QPointF, position);
    QFETCH(double, expectNm);
    QFETCH(int, leg);
    int nearest = -1;
    const auto got = DeviationMonitor::crossTrackNm(route, position.x(), position.y(), &nearest);
    QVERIFY(got);
    QVERIFY2(std::abs(*got - expectNm) < 0.01, qPrintable(QString::number(*got, 'f', 4)));
    QCOMPARE(nearest, leg);
    QVERIFY(!DeviationMonitor::crossTrackNm({QPointF(0, 0)}, 1, 1));
}

void TestSupervisionAlerts::altitudeDeviationFollowsTheClearance()
{
    DeviationMonitor monitor;
    const auto deviates = [&monitor](double altFt, double vsFpm, qint64 atMs) {
        const QList<SupervisionAlert> alerts = monitor.evaluate({own(30, 120, altFt, vsFpm)}, atMs);
        return !alerts.isEmpty() && alerts.first().kind == SupervisionAlert::Kind::AltitudeDeviation;
    };
    QVERIFY(!deviates(5000, 0, 0)); // nothing assigned
    monitor.setAssignedAltitude(QStringLiteral("own"), 8000.0, 0);
    QVERIFY(!deviates(5000, 1500, 10000)); // climbing towards it
    QVERIFY(!deviates(5000, 0, 60000));    // still in the grace time
    QVERIFY(deviates(5000, 0, 130000));    // grace over, not moving
    QVERIFY(deviates(5000, -800, 20000));  // descending away
    QVERIFY(!deviates(7800, 500, 140000)); // within 300 ft: reached
    QVERIFY(!deviates(8250, 0, 150000));
    QVERIFY(deviates(8400, 0, 151000)); // left the level: a bust, at once
    monitor.setAssignedAltitude(QStringLiteral("own"), 6000.0, 200000);
    QVERIFY(!deviates(8400, -1000, 201000)); // descending to the new level
    QVERIFY(deviates(8400, 500, 202000));    // climbing instead
    QCOMPARE(monitor.evaluate({own(30, 120, 8400, 500)}, 203000).first().value2, 6000.0);
    monitor.setAssignedAltitude(QStringLiteral("own"), std::nullopt, 0);
    QVERIFY(!deviates(8400, 500, 204000));
}

void TestSupervisionAlerts::terrainFromNavigationDataAndHeightAboveGround_data()
{
    QTest::addColumn<QPointF>("position");
    QTest::addColumn<double>("altFt");
    QTest::addColumn<double>("aglFt");
    QTest::addColumn<bool>("belowSafe");
    QTest::addColumn<bool>("lowAgl");
    // 15 nm east of Pudong over the sea: minimum safe altitude 13 + 1000 ft (Hongqiao, 10 ft, is
    // 37 nm away and does not count).
    const QPointF sea(31.1434, 121.8052 + 15.0 / (60 * std::cos(31.14 * M_PI / 180)));
    QTest::newRow("above it") << sea << 1500.0 << 1500.0 << false << false;
    QTest::newRow("below it, clear of the ground") << sea << 800.0 << 800.0 << true << false;
    QTest::newRow("below it and low") << sea << 400.0 << 390.0 << true << true;
    QTest::newRow("on approach, 4 nm out") << QPointF(31.08, 121.81) << 400.0 << 390.0 << false << false;
    QTest::newRow("no airport near, low") << QPointF(0.0, -150.0) << 300.0 << 300.0 << false << true;
    QTest::newRow("no airport near, height unknown") << QPointF(0.0, -150.0) << 300.0 << -1.0 << false << false;
}

void TestSupervisionAlerts::terrainFromNavigationDataAndHeightAboveGround()
{
    QFETCH(QPointF, position);
    QFETCH(double, altFt);
    QFETCH(double, aglFt);
    QFETCH(bool, belowSafe);
    QFETCH(bool, lowAgl);
    NavDataProvider nav;
    nav.initializeOffline();
    nav.loadSampleData();
    TerrainMonitor monitor;
    monitor.setNavData(&nav);
    const auto safe = monitor.safeAltitude(31.1434, 121.95);
    QVERIFY(safe);
    QCOMPARE(safe->altitudeFt, 1013.0);
    QCOMPARE(safe->highestAirport, QStringLiteral("ZSPD"));

    const QList<SupervisionAlert> alerts = monitor.evaluate({own(position.x(), position.y(), altFt, 0, aglFt)});
    const auto has = [&alerts](SupervisionAlert::Kind kind) {
        return std::any_of(alerts.cbegin(), alerts.cend(),
                           [kind](const SupervisionAlert &a) { return a.kind == kind; });
    };
    QCOMPARE(has(SupervisionAlert::Kind::BelowSafeAltitude), belowSafe);
    QCOMPARE(has(SupervisionAlert::Kind::TerrainClearance), lowAgl);
    // Network traffic reports no height above ground and is not watched for terrain.
    TrackedAircraft network = own(position.x(), position.y(), altFt, 0, aglFt);
    network.source = TrackedAircraft::Source::Network;
    QVERIFY(monitor.evaluate({network}).isEmpty());
}

void TestSupervisionAlerts::alertsRaisedUpdatedClearedAndSoundedOnce()
{
    AlertManager manager(nullptr);
    QSignalSpy raised(&manager, &AlertManager::alertRaised);
    QSignalSpy sounded(&manager, &AlertManager::alertSounded);
    QSignalSpy cleared(&manager, &AlertManager::alertCleared);
    SupervisionAlert conflict;
    conflict.kind = SupervisionAlert::Kind::Conflict;
    conflict.aircraftIds = {QStringLiteral("own"), QStringLiteral("CCA123")};
    conflict.labels = {QStringLiteral("本机"), QStringLiteral("CCA123")};
    conflict.value1 = 45;
    const QList<SupervisionAlert::Kind> conflicts{SupervisionAlert::Kind::Conflict};

    manager.update(conflicts, {conflict});
    QCOMPARE(raised.size(), 1);
    QCOMPARE(sounded.size(), 1);
    const QDateTime raisedAt = manager.alerts().first().raisedUtc;
    // The same pair seen from the other side is the same alert, updated in place.
    SupervisionAlert later = conflict;
    later.aircraftIds = {QStringLiteral("CCA123"), QStringLiteral("own")};
    later.value1 = 30;
    manager.update(conflicts, {later});
    QCOMPARE(raised.size(), 1);
    QCOMPARE(manager.count(), 1);
    QCOMPARE(manager.alerts().first().value1, 30.0);
    QCOMPARE(manager.alerts().first().raisedUtc, raisedAt);
    QVERIFY(manager.alerts().first().message().contains(QStringLiteral("30 秒")));

    // Other kinds' updates leave it alone; an empty update of its kind clears it.
    manager.update({SupervisionAlert::Kind::RouteDeviation}, {});
    QCOMPARE(manager.count(), 1);
    manager.update(conflicts, {});
    QCOMPARE(cleared.size(), 1);
    QCOMPARE(manager.count(), 0);
    // Back within the quiet time: raised and listed again, but no second sound.
    manager.update(conflicts, {conflict});
    QCOMPARE(raised.size(), 2);
    QCOMPARE(sounded.size(), 1);
    // Network traffic among itself is listed without a sound.
    SupervisionAlert network = conflict;
    network.aircraftIds = {QStringLiteral("AAL1"), QStringLiteral("UAL2")};
    network.audible = false;
    manager.update(conflicts, {conflict, network});
    QCOMPARE(raised.size(), 3);
    QCOMPARE(sounded.size(), 1);
    QCOMPARE(manager.count(), 2);
}

void TestSupervisionAlerts::withoutAudioTheAlertStillShowsAndOneLineIsLogged()
{
    if (m_hasAudio)
        QSKIP("this machine has an audio output; the no-device path cannot be shown here");
    AlertSoundPlayer player;
    AlertManager manager(&player);
    QSignalSpy raised(&manager, &AlertManager::alertRaised);
    testlog::expectLogged("Supervision", "No audio output");
    for (const auto kind : {SupervisionAlert::Kind::Conflict, SupervisionAlert::Kind::RouteDeviation,
                            SupervisionAlert::Kind::TerrainClearance}) {
        SupervisionAlert alert;
        alert.kind = kind;
        alert.aircraftIds = {QStringLiteral("own")};
        manager.update({kind}, {alert});
    }
    QCOMPARE(raised.size(), 3);
    QCOMPARE(manager.count(), 3);
    QVERIFY(!player.isAvailable());
    QVERIFY(!player.play(AlertSound::Tone::Chime));
}

void TestSupervisionAlerts::generatedSounds_data()
{
    QTest::addColumn<int>("tone");
    QTest::addColumn<double>("seconds");
    // Windows (start, length in seconds) and the frequency that must dominate each.
    QTest::addColumn<QList<QPointF>>("windows");
    QTest::addColumn<QList<double>>("frequencies");
    QTest::addColumn<QPointF>("silence"); // a gap that must be quiet; length 0 for none
    QTest::newRow("conflict") << int(AlertSound::Tone::Conflict) << 0.76
                              << QList<QPointF>{{0.01, 0.1}, {0.13, 0.1}, {0.27, 0.1}, {0.53, 0.1}, {0.65, 0.1}}
                              << QList<double>{880, 1175, 880, 880, 1175} << QPointF(0.241, 0.018);
    QTest::newRow("chime") << int(AlertSound::Tone::Chime) << 0.70 << QList<QPointF>{{0.02, 0.3}, {0.37, 0.3}}
                           << QList<double>{1046.5, 784} << QPointF(0, 0);
    QTest::newRow("pulses") << int(AlertSound::Tone::Pulses) << 0.80
                            << QList<QPointF>{{0.02, 0.16}, {0.32, 0.16}, {0.62, 0.16}} << QList<double>{440, 440, 440}
                            << QPointF(0.21, 0.08);
}

void TestSupervisionAlerts::generatedSounds()
{
    QFETCH(int, tone);
    QFETCH(double, seconds);
    QFETCH(QList<QPointF>, windows);
    QFETCH(QList<double>, frequencies);
    QFETCH(QPointF, silence);
    for (const int rate : {AlertSound::kSampleRate, 48000}) {
        const std::vector<qint16> samples = AlertSound::synthesize(AlertSound::Tone(tone), rate);
        QVERIFY(std::abs(double(samples.size()) / rate - seconds) < 0.002);
        int peak = 0;
        for (const qint16 s : samples)
            peak = std::max(peak, std::abs(int(s)));
        QVERIFY2(peak <= int(AlertSound::kPeakFraction * 32767) + 1 && peak > 0.75 * 32767,
                 qPrintable(QString::number(peak)));
        // Ramped ends: no click at the start or the end.
        QVERIFY(std::abs(samples.front()) < 200 && std::abs(samples.back()) < 200);
        for (int i = 0; i < windows.size(); ++i) {
            const auto from = size_t(windows[i].x() * rate);
            const auto count = size_t(windows[i].y() * rate);
            const double wanted = toneShare(samples, from, count, frequencies[i], rate);
            QVERIFY2(wanted > 0.6, qPrintable(QStringLiteral("window %1: %2").arg(i).arg(wanted)));
            // Not the other tones of the set.
            for (const double other : {440.0, 784.0, 880.0, 1046.5, 1175.0}) {
                if (std::abs(other - frequencies[i]) > 50)
                    QVERIFY(toneShare(samples, from, count, other, rate) < 0.05);
            }
        }
        if (silence.y() > 0)
            QVERIFY(rms(samples, size_t(silence.x() * rate), size_t(silence.y() * rate)) < 0.01);
    }
}

QTEST_MAIN(TestSupervisionAlerts)
#include "tst_supervisionalerts.moc"
