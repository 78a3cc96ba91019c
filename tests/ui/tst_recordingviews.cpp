#include "instruments/primaryflightdisplay.h"
#include "recording/flightplayback.h"
#include "recording/flightstatistics.h"
#include "recording/recordingdatabase.h"
#include "recording/recordinglibrary.h"
#include "tests/support/logexpect.h"
#include "ui/flightlistmodel.h"
#include "ui/flightstatisticsview.h"
#include "ui/pfdtab.h"
#include "ui/playbackbar.h"
#include "ui/playbacktimeline.h"
#include "ui/recordingstab.h"

#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTableView>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include <cmath>
#include <memory>

// The recording tabs in real windows (offscreen): the playback bar and its time line driving a
// playback, the flight list's search, the statistics view, the PFD tab's sources, and the
// recordings tab against a library on a SQLite file. With ZOBREL_SCREENSHOT_DIR set, pictures of
// them are written there.
class TestRecordingViews : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void playbackBarDrivesThePlayback();
    void searchFiltersFlights_data();
    void searchFiltersFlights();
    void statisticsViewShowsTheDebrief();
    void pfdTabShowsTheChosenSource();
    void recordingsTabListsLoadsPlaysAndImports();

private:
    template <typename W> W *host(W *widget, const QSize &size)
    {
        widget->setParent(m_host.get());
        widget->setGeometry(QRect(QPoint(0, 0), size));
        m_host->resize(size);
        m_host->show();
        return widget;
    }
    static void save(QWidget *widget, const QString &name);

    QTemporaryDir m_dir;
    std::unique_ptr<QWidget> m_host;
};

namespace {

constexpr qint64 kStart = 1714550400000;

// A circuit: 20 minutes, climb to 3000 ft and back, touchdown at 1100 s with the given rate.
RecordedFlight circuit(qint64 id, const QString &callsign, double touchdownFpm)
{
    RecordedFlight flight;
    flight.info.id = id;
    flight.info.callsign = callsign;
    flight.info.aircraft = QStringLiteral("C208");
    flight.info.simulator = QStringLiteral("X-Plane 12");
    flight.info.source = QStringLiteral("local");
    flight.info.station = QStringLiteral("sim-room-2");
    for (int t = 0; t <= 1200; t += 2) {
        AircraftData d;
        d.lat = 31.14 + 0.02 * std::sin(t / 1200.0 * 2 * M_PI);
        d.lon = 121.81 + 0.03 * (1 - std::cos(t / 1200.0 * 2 * M_PI));
        d.onGround = t < 60 || t >= 1100;
        d.alt = d.onGround ? 13 : 13 + 3000 * std::sin((t - 60) / 1040.0 * M_PI);
        d.vs = d.onGround ? 0 : (t >= 1090 ? touchdownFpm : 300 * std::cos((t - 60) / 1040.0 * M_PI));
        d.ias = d.gs =
            d.onGround ? std::max(0.0, 100.0 - (t - 1100) * 1.0) * (t >= 1100) + (t < 60 ? t * 1.5 : 0) : 130;
        d.gForce = t == 1100 ? 1.4 : 1.0;
        d.fuelTotal = 300 - t * 0.02;
        d.hdgTrue = std::fmod(t * 0.3, 360.0);
        TrackSample s = trackSampleFrom(d, kStart + id * 3600000 + t * 1000);
        s.seq = flight.samples.size();
        flight.samples << s;
    }
    flight.info.startMs = flight.samples.first().timeMs;
    flight.info.endMs = flight.samples.last().timeMs;
    flight.info.sampleCount = flight.samples.size();
    for (const auto &[t, kind, text] : {std::tuple{300, FlightEventKind::kFailure, "左发失效"},
                                        std::tuple{600, FlightEventKind::kPosition, "五边 3 海里"},
                                        std::tuple{700, FlightEventKind::kFailureReset, "故障全部恢复"}}) {
        FlightEvent e;
        e.seq = flight.events.size();
        e.timeMs = flight.info.startMs + t * 1000;
        e.kind = QString::fromLatin1(kind);
        e.text = QString::fromUtf8(text);
        flight.events << e;
    }
    flight.info.stats = FlightStatsCalculator::compute(flight.samples, &flight.landings);
    return flight;
}

} // namespace

void TestRecordingViews::initTestCase()
{
    QVERIFY(m_dir.isValid());
    registerRecordingMetaTypes();
}

void TestRecordingViews::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
    m_host = std::make_unique<QWidget>();
    m_host->setAttribute(Qt::WA_DontShowOnScreen);
}

void TestRecordingViews::cleanup()
{
    m_host.reset();
}

void TestRecordingViews::save(QWidget *widget, const QString &name)
{
    const QString dir = qEnvironmentVariable("ZOBREL_SCREENSHOT_DIR");
    if (!dir.isEmpty() && QDir().mkpath(dir))
        widget->grab().save(QDir(dir).filePath(name + QStringLiteral(".png")));
}

void TestRecordingViews::playbackBarDrivesThePlayback()
{
    FlightPlayback playback;
    auto *bar = host(new PlaybackBar, QSize(900, 90));
    bar->setPlayback(&playback);
    const RecordedFlight flight = circuit(1, QStringLiteral("B-1234"), -180);
    QVERIFY(playback.load(flight));
    PlaybackTimeline *timeline = bar->timeline();
    QCOMPARE(timeline->durationMs(), qint64(1200000));
    // Three events and the landing, in time order of where they were put.
    QCOMPARE(timeline->marks().size(), 4);
    QCOMPARE(timeline->marks().at(1).text, QStringLiteral("五边 3 海里"));
    QCOMPARE(timeline->marks().at(3).kind, QStringLiteral("landing"));
    QVERIFY(timeline->marks().at(3).text.contains(QLatin1String("-180")));

    // A click on the time line seeks there; the time shows it.
    const double x = timeline->xForTime(600000);
    QCOMPARE(timeline->marksNear(x), QList<int>{1});
    QTest::mouseClick(timeline, Qt::LeftButton, {}, QPoint(int(std::lround(x)), timeline->height() / 2));
    QVERIFY(std::abs(playback.positionMs() - 600000) < 1200000 / timeline->width() + 1);
    QCOMPARE(timeline->positionMs(), playback.positionMs());
    QVERIFY(bar->findChild<QLabel *>(QStringLiteral("playbackTime"))->text().startsWith(QLatin1String("00:10:0")));

    auto *speed = bar->findChild<QComboBox *>(QStringLiteral("playbackSpeed"));
    speed->setCurrentIndex(speed->count() - 1);
    QCOMPARE(playback.speed(), 16.0);
    auto *play = bar->findChild<QToolButton *>(QStringLiteral("playButton"));
    play->click();
    QVERIFY(playback.isPlaying());
    QTRY_VERIFY(playback.positionMs() > 601000);
    play->click();
    QVERIFY(!playback.isPlaying());
    // A reached event shows in the bar.
    playback.seek(599000);
    playback.play();
    QTRY_COMPARE(bar->findChild<QLabel *>(QStringLiteral("playbackEvent"))->text(), QStringLiteral("五边 3 海里"));
    playback.pause();
    playback.seek(1105000);
    save(bar, QStringLiteral("playback_bar"));
}

void TestRecordingViews::searchFiltersFlights_data()
{
    QTest::addColumn<QString>("search");
    QTest::addColumn<QStringList>("callsigns");
    QTest::newRow("nothing") << QString() << QStringList{"B-1111", "B-2222", "AGT7"};
    QTest::newRow("callsign, any case") << QStringLiteral("b-22") << QStringList{"B-2222"};
    QTest::newRow("aircraft and date") << QStringLiteral("c208 2024-05") << QStringList{"B-1111", "B-2222"};
    QTest::newRow("source of an agent") << QStringLiteral("远程站") << QStringList{"AGT7"};
    QTest::newRow("no match") << QStringLiteral("B737") << QStringList{};
}

void TestRecordingViews::searchFiltersFlights()
{
    QFETCH(QString, search);
    QFETCH(QStringList, callsigns);
    FlightListModel model;
    FlightFilterModel filter;
    filter.setSourceModel(&model);
    QList<FlightInfo> flights;
    for (const QString &callsign : {QStringLiteral("B-1111"), QStringLiteral("B-2222"), QStringLiteral("AGT7")}) {
        FlightInfo f = circuit(flights.size() + 1, callsign, -200).info;
        if (callsign == QLatin1String("AGT7")) {
            f.source = QStringLiteral("agent");
            f.sourceId = QStringLiteral("agent-7");
            f.aircraft = QStringLiteral("A320");
            f.startMs = kStart - 86400000LL * 60; // March
        }
        flights << f;
    }
    model.setFlights(flights);
    filter.setSearchText(search);
    QStringList shown;
    for (int row = 0; row < filter.rowCount(); ++row)
        shown << filter.index(row, FlightListModel::Callsign).data().toString();
    QCOMPARE(shown, callsigns);
}

void TestRecordingViews::statisticsViewShowsTheDebrief()
{
    auto *view = host(new FlightStatisticsView, QSize(1000, 600));
    RecordedFlight flight = circuit(1, QStringLiteral("B-1234"), -150);
    view->setFlight(flight);
    const QList<QLabel *> values = view->findChildren<QLabel *>(QRegularExpression(QStringLiteral("^statValue")));
    QStringList texts;
    for (QLabel *label : values)
        texts << label->text();
    QVERIFY2(texts.contains(QStringLiteral("B-1234")), qPrintable(texts.join(QLatin1Char('|'))));
    QVERIFY(texts.contains(QStringLiteral("0:17:20"))); // air time, 60 s to 1100 s
    QVERIFY(texts.contains(QStringLiteral("1")));       // landings, take-offs
    auto *landings = view->findChild<QTableWidget *>(QStringLiteral("landingsTable"));
    QCOMPARE(landings->rowCount(), 1);
    QCOMPARE(landings->item(0, 2)->text(), QStringLiteral("-150"));
    QCOMPARE(landings->item(0, 3)->text(), QStringLiteral("1.40"));
    QCOMPARE(landings->item(0, 6)->text(), FlightStatisticsView::landingRating(-150));
    auto *events = view->findChild<QTableWidget *>(QStringLiteral("eventsTable"));
    QCOMPARE(events->rowCount(), 3);
    QCOMPARE(events->item(0, 1)->text(), FlightStatisticsView::eventKindText(QStringLiteral("failure")));
    QCOMPARE(events->item(1, 2)->text(), QStringLiteral("五边 3 海里"));
    save(view, QStringLiteral("flight_statistics"));

    // The rating follows the touchdown rate, from smooth to hard.
    QStringList ratings;
    for (const double fpm : {-120.0, -350.0, -550.0, -800.0})
        ratings << FlightStatisticsView::landingRating(fpm);
    ratings.removeDuplicates();
    QCOMPARE(ratings.size(), 4);
    view->clear();
    QCOMPARE(landings->rowCount(), 0);
}

void TestRecordingViews::pfdTabShowsTheChosenSource()
{
    auto *tab = host(new PfdTab, QSize(800, 640));
    PrimaryFlightDisplay *pfd = tab->display();
    AircraftData local;
    local.ias = 110;
    tab->setLocalAircraftData(local);
    QCOMPARE(tab->source(), PfdTab::kLocalSource);
    QCOMPARE(pfd->aircraftData().ias, 110.0);

    RemoteAircraft agent;
    agent.callsign = QStringLiteral("AGT7");
    agent.ias = 240;
    agent.roll = -15;
    agent.apTgtAlt = 9000;
    tab->updateAgent(QStringLiteral("agent-7"), agent);
    auto *sources = tab->findChild<QComboBox *>(QStringLiteral("pfdSource"));
    QCOMPARE(sources->count(), 2);
    QVERIFY(sources->itemText(1).contains(QLatin1String("AGT7")));
    // Not chosen yet: the local aircraft stays on the display.
    QCOMPARE(pfd->aircraftData().ias, 110.0);
    QVERIFY(tab->setSource(QStringLiteral("agent-7")));
    QCOMPARE(pfd->aircraftData().ias, 240.0);
    QCOMPARE(pfd->aircraftData().bank, -15.0);
    QCOMPARE(pfd->aircraftData().apAlt, 9000.0);
    local.ias = 120;
    tab->setLocalAircraftData(local);
    QCOMPARE(pfd->aircraftData().ias, 240.0);
    save(tab, QStringLiteral("pfd_tab_agent"));

    // The agent leaves: back to the local aircraft, with its latest sample.
    tab->removeAgent(QStringLiteral("agent-7"));
    QCOMPARE(tab->source(), PfdTab::kLocalSource);
    QCOMPARE(pfd->aircraftData().ias, 120.0);
    tab->setPlaybackAvailable(true);
    QVERIFY(tab->setSource(PfdTab::kPlaybackSource));
    QVERIFY(!pfd->hasData());
    AircraftData replayed;
    replayed.ias = 77;
    tab->setPlaybackData(replayed);
    QCOMPARE(pfd->aircraftData().ias, 77.0);
    tab->setPlaybackAvailable(false);
    QCOMPARE(sources->findData(PfdTab::kPlaybackSource), -1);
    tab->clearLocal();
    QCOMPARE(tab->source(), PfdTab::kLocalSource);
    QVERIFY(!pfd->hasData());
}

void TestRecordingViews::recordingsTabListsLoadsPlaysAndImports()
{
    RecordingDatabaseConfig config;
    config.sqlitePath = m_dir.filePath(QStringLiteral("tab.db"));
    {
        RecordingDatabase db(config, QStringLiteral("prefill"));
        RecordingBatch batch;
        for (const RecordedFlight &flight :
             {circuit(1, QStringLiteral("B-1111"), -150), circuit(2, QStringLiteral("B-2222"), -420)}) {
            batch.flights.insert(flight.info.id, flight.info);
            for (const TrackSample &s : flight.samples)
                batch.samples.append({flight.info.id, s});
            for (const FlightEvent &e : flight.events)
                batch.events.append({flight.info.id, e});
            for (const LandingRecord &l : flight.landings)
                batch.landings.append({flight.info.id, l});
        }
        QVERIFY2(db.write(batch), qPrintable(db.lastError()));
    }
    RecordingLibrary library(config);
    auto *tab = new RecordingsTab;
    tab->setLibrary(&library);
    host(tab, QSize(1100, 750));
    // Shown: the list is read.
    QTRY_COMPARE(tab->model()->rowCount(), 2);
    auto *play = tab->findChild<QPushButton *>(QStringLiteral("playFlight"));
    QVERIFY(!play->isEnabled());
    QVERIFY(tab->selectFlight(2));
    QTRY_COMPARE(tab->shownFlightId(), qint64(2));
    QVERIFY(play->isEnabled());
    auto *landings = tab->statisticsView()->findChild<QTableWidget *>(QStringLiteral("landingsTable"));
    QCOMPARE(landings->item(0, 2)->text(), QStringLiteral("-420"));
    save(tab, QStringLiteral("recordings_tab"));

    QSignalSpy playRequested(tab, &RecordingsTab::playRequested);
    play->click();
    QCOMPARE(playRequested.size(), 1);
    const RecordedFlight played = playRequested.first().first().value<RecordedFlight>();
    QCOMPARE(played.info.id, qint64(2));
    QCOMPARE(played.samples.size(), 601);
    QCOMPARE(played.events.size(), 3);

    // Search hides the other flight; the shown one stays.
    tab->setSearchText(QStringLiteral("B-2222"));
    QCOMPARE(tab->view()->model()->rowCount(), 1);
    tab->setSearchText(QString());

    // An imported track is listed and selected.
    const QString csv = m_dir.filePath(QStringLiteral("track.csv"));
    QFile file(csv);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("time,lat,lon,alt_ft\n2024-05-02T08:00:00Z,31.0,121.0,1000\n2024-05-02T08:00:10Z,31.01,121.0,1100\n");
    file.close();
    tab->importFile(csv);
    QTRY_COMPARE(tab->model()->rowCount(), 3);
    QTRY_VERIFY(tab->shownFlightId() != 0 && tab->shownFlightId() != 1 && tab->shownFlightId() != 2);
    QCOMPARE(tab->findChild<QLabel *>(QStringLiteral("recordingsMessage"))->text(),
             QStringLiteral("已导入 2 个航迹点"));
}

QTEST_MAIN(TestRecordingViews)
#include "tst_recordingviews.moc"

#include "tests/support/logexpect.h"
