#include "app/bridgewiring.h"
#include "app/controlwiring.h"
#include "app/mainwindow.h"
#include "app/planningservices.h"
#include "app/recordingwiring.h"
#include "app/supervisionwiring.h"
#include "bridge/bridgeserver.h"
#include "control/failuremanager.h"
#include "control/fuelmanager.h"
#include "control/positionaircraft.h"
#include "instruments/primaryflightdisplay.h"
#include "map/mapwidget.h"
#include "recording/flightplayback.h"
#include "recording/flightrecorder.h"
#include "recording/playbacktracklayer.h"
#include "recording/recordingdatabase.h"
#include "recording/recordinglibrary.h"
#include "sim/isimbackend.h"
#include "sim/simbackendmanager.h"
#include "sim/simoperationdispatcher.h"
#include "sim/weatherstate.h"
#include "supervision/atclog.h"
#include "supervision/scenario.h"
#include "tests/bridge/tlstestclient.h"
#include "tests/support/logexpect.h"
#include "ui/aircrafttab.h"
#include "ui/flightplantab.h"
#include "ui/maptab.h"
#include "ui/pfdtab.h"
#include "ui/recordingstab.h"
#include "ui/recordingstatuslabel.h"
#include "ui/scenariopanel.h"

#include <QCheckBox>
#include <QDir>
#include <QDockWidget>
#include <QFileInfo>
#include <QJsonArray>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <memory>

// The station's recording services in the main window, with the demo simulator as a real process:
// a flight recorded from it (the instructor puts it on a final and fails a generator through the
// control services, it lands), its statistics in the
// recordings tab, its replay on the map with the event and landing marks and on the PFD, the PFD
// live, the planning services' plan sent, placement at a route point and OFP loaded, a scenario applied
// and an ATC instruction as events, and
// a remote station's reports through the bridge server as a flight of its own, and the status bar
// when the recordings database cannot be written. With
// ZOBREL_SCREENSHOT_DIR set, pictures of the window are written there.
class TestRecordingWiring : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void recordsReplaysAndShowsAFlight();
    void planningActionsAreEventsOfTheFlight();
    void agentReportsThroughTheBridgeAreItsFlight();
    void statusBarSaysWhenTheDatabaseFails();

private:
    std::unique_ptr<MainWindow> openWindow(const QString &recordingsFile);
    void save(const QString &name);

    QTemporaryDir m_dir;
    QProcess m_sim;
    quint16 m_port = 0;
    std::unique_ptr<QWidget> m_host;
};

void TestRecordingWiring::initTestCase()
{
    QVERIFY(m_dir.isValid());
    QVERIFY(QDir().mkpath(m_dir.filePath(QStringLiteral("xplane/Output/FMS plans"))));
    m_sim.setProgram(QStringLiteral(XPSIM_PATH));
    m_sim.setArguments({QStringLiteral("--port"), QStringLiteral("0"), QStringLiteral("--quiet"),
                        QStringLiteral("--parked"), QStringLiteral("--time-factor"), QStringLiteral("8")});
    m_sim.start();
    QVERIFY(m_sim.waitForStarted(5000));
    QTRY_VERIFY_WITH_TIMEOUT(m_sim.canReadLine(), 10000);
    const auto match =
        QRegularExpression(QStringLiteral(":(\\d+)$")).match(QString::fromUtf8(m_sim.readLine()).trimmed());
    QVERIFY(match.hasMatch());
    m_port = quint16(match.captured(1).toUInt());
}

void TestRecordingWiring::cleanupTestCase()
{
    m_sim.kill();
    m_sim.waitForFinished(5000);
}

void TestRecordingWiring::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
}

void TestRecordingWiring::cleanup()
{
    m_host.reset();
}

std::unique_ptr<MainWindow> TestRecordingWiring::openWindow(const QString &recordingsFile)
{
    const QString ini = m_dir.filePath(QStringLiteral("Zobrel.ini"));
    {
        QSettings settings(ini, QSettings::IniFormat);
        settings.setValue(SimBackendManager::kAutoConnectKey, false);
        settings.setValue(SimBackendManager::kXPlanePortKey, m_port);
        settings.setValue(SimBackendManager::kXPlaneLocalPortKey, 0);
        settings.setValue(RecordingDatabaseConfig::kFileKey, recordingsFile);
        settings.setValue(QLatin1String(RecordingServices::kCallsignKey), QStringLiteral("B-STN1"));
        // An X-Plane folder of the station's own, for plans sent to the simulator.
        settings.setValue(SimBackendManager::kXPlanePathKey, m_dir.filePath(QStringLiteral("xplane")));
    }
    // Hosted in a plain window, as the offscreen platform warns about a top-level with a layout.
    m_host = std::make_unique<QWidget>();
    m_host->setAttribute(Qt::WA_DontShowOnScreen);
    m_host->resize(1280, 800);
    auto window = std::make_unique<MainWindow>(ini, m_host.get());
    window->setWindowFlags(Qt::Widget);
    window->setGeometry(0, 0, 1280, 800);
    window->findChild<MapTab *>(QStringLiteral("mapTab"))->setMapStyle(MapWidget::DarkPlain);
    m_host->show();
    window->show();
    return window;
}

void TestRecordingWiring::save(const QString &name)
{
    const QString dir = qEnvironmentVariable("ZOBREL_SCREENSHOT_DIR");
    if (!dir.isEmpty() && QDir().mkpath(dir))
        m_host->grab().save(QDir(dir).filePath(name + QStringLiteral(".png")));
}

void TestRecordingWiring::recordsReplaysAndShowsAFlight()
{
    std::unique_ptr<MainWindow> window = openWindow(m_dir.filePath(QStringLiteral("station.db")));
    RecordingServices *services = window->recordingServices();
    FlightRecorder *recorder = services->recorder();
    QCOMPARE(services->statusLabel()->state(), RecordingStatusLabel::State::Recording);
    SimBackendManager *manager = window->backendManager();
    QSignalSpy samples(manager, &SimBackendManager::aircraftDataChanged);
    QSignalSpy landings(recorder, &FlightRecorder::landingDetected);
    QSignalSpy stored(recorder, &FlightRecorder::stored);
    manager->connectTo(SimType::XPlane12);
    QTRY_VERIFY_WITH_TIMEOUT(manager->isConnected() && samples.size() >= 3, 10000);
    QTRY_VERIFY(recorder->flightId(FlightRecorder::kLocalAircraft) != 0);

    // The PFD tab runs live from the same samples.
    window->tabs()->setCurrentWidget(services->pfdTab());
    QTRY_VERIFY(services->pfdTab()->display()->hasData());
    QCOMPARE(services->pfdTab()->display()->aircraftData().lat, samples.last().first().value<AircraftData>().lat);

    // The instructor puts the aircraft on a 2 nm final of the demo's runway (340 degrees) with the
    // aircraft tab's positioning, then fails a generator; both are recorded. The demo lands.
    QSignalSpy events(recorder, &FlightRecorder::eventRecorded);
    const double lat = 31.14 - 2.0 / 60.0 * std::cos(20.0 * M_PI / 180.0);
    const double lon = 121.81 + 2.0 / 60.0 * std::sin(20.0 * M_PI / 180.0) / std::cos(31.14 * M_PI / 180.0);
    window->controls()->positioning()->positionAt(lat, lon, 700, 340);
    QTRY_VERIFY_WITH_TIMEOUT(!samples.last().first().value<AircraftData>().onGround, 10000);
    window->controls()->failures()->triggerFailure(QStringLiteral("generator1"));
    QCOMPARE(events.size(), 2);
    QCOMPARE(events.at(0).at(1).value<FlightEvent>().kind, QStringLiteral("position"));
    QCOMPARE(events.at(1).at(1).value<FlightEvent>().details.value(QStringLiteral("id")).toString(),
             QStringLiteral("generator1"));
    // Longer in the air than a take-off needs to count, yet being put there is none.
    QTRY_VERIFY_WITH_TIMEOUT(recorder->statistics(FlightRecorder::kLocalAircraft).airTimeS >
                                 FlightStatsCalculator::kMinAirborneMs / 1000.0 + 0.5,
                             30000);
    QVERIFY(!samples.last().first().value<AircraftData>().onGround);
    QCOMPARE(recorder->statistics(FlightRecorder::kLocalAircraft).takeoffCount, 0);
    save(QStringLiteral("station_pfd_live"));
    QVERIFY(landings.wait(60000));
    const qint64 id = recorder->flightId(FlightRecorder::kLocalAircraft);
    const LandingRecord landing = landings.first().at(1).value<LandingRecord>();
    QVERIFY2(landing.vsFpm < 0 && landing.vsFpm > -800, qPrintable(QString::number(landing.vsFpm)));

    // On the ground the instructor sets a wind through the dispatcher and pauses and resumes the
    // simulator from the aircraft tab: each is an event of the flight.
    WeatherState weather;
    weather.windDirDeg = 270;
    weather.windSpeedKt = 15;
    QVERIFY(window->controls()->dispatcher()->setWeather(weather.toJson()));
    auto *pause = window->controls()->aircraftTab()->findChild<QCheckBox *>(QStringLiteral("pause"));
    QVERIFY(pause);
    pause->setChecked(true);
    pause->setChecked(false);
    QCOMPARE(events.size(), 5);
    const FlightEvent weatherEvent = events.at(2).at(1).value<FlightEvent>();
    QCOMPARE(weatherEvent.kind, QStringLiteral("weather"));
    QVERIFY2(weatherEvent.text.contains(QStringLiteral("27015KT")), qPrintable(weatherEvent.text));
    QCOMPARE(weatherEvent.details.value(QStringLiteral("windDir")).toDouble(), 270.0);
    QCOMPARE(events.at(3).at(1).value<FlightEvent>().details.value(QStringLiteral("paused")).toBool(), true);
    QCOMPARE(events.at(4).at(1).value<FlightEvent>().details.value(QStringLiteral("paused")).toBool(), false);

    // The simulator goes away: the flight ends and is stored.
    manager->disconnect();
    QCOMPARE(recorder->flightId(FlightRecorder::kLocalAircraft), qint64(0));
    QTRY_VERIFY_WITH_TIMEOUT(!stored.isEmpty() && stored.last().first().toLongLong() == recorder->samplesKept(), 20000);

    // The recordings tab lists it with its statistics and replays it on the map.
    RecordingsTab *tab = services->recordingsTab();
    window->tabs()->setCurrentWidget(tab);
    QTRY_VERIFY(tab->selectFlight(id));
    QTRY_COMPARE(tab->shownFlightId(), id);
    save(QStringLiteral("station_recordings"));
    tab->findChild<QPushButton *>(QStringLiteral("playFlight"))->click();
    auto *mapTab = window->findChild<MapTab *>(QStringLiteral("mapTab"));
    QCOMPARE(window->tabs()->currentWidget(), mapTab);
    QVERIFY(services->playbackDock()->isVisible());
    FlightPlayback *playback = services->playback();
    QVERIFY(playback->isLoaded());
    QCOMPARE(playback->flight().info.id, id);
    QCOMPARE(playback->flight().info.callsign, QStringLiteral("B-STN1"));
    QCOMPARE(playback->flight().info.simulator, QStringLiteral("X-Plane 12"));
    PlaybackTrackLayer *layer = services->trackLayer();
    QVERIFY(!layer->isEmpty());
    QStringList kinds;
    for (const PlaybackTrackLayer::Mark &mark : layer->marks())
        kinds << mark.kind;
    // The instructor's events first, then the landings.
    QCOMPARE(kinds, (QStringList{QStringLiteral("position"), QStringLiteral("failure"), QStringLiteral("weather"),
                                 QStringLiteral("pause"), QStringLiteral("pause"), QStringLiteral("landing")}));
    // The reposition is marked where the aircraft was put, and the whole track is in view once the
    // window has made room for the playback bar.
    QVERIFY(std::fabs(layer->marks().first().latLon.x() - lat) < 1e-9);
    MapWidget *map = mapTab->mapWidget();
    auto trackInView = [map, layer] {
        for (const QPointF &p : layer->track()) {
            if (!map->rect().contains(map->geoToScreen(p.x(), p.y()).toPoint()))
                return false;
        }
        return true;
    };
    QTRY_VERIFY(trackInView());

    // Replayed to just after the touchdown: the map and the PFD show the replayed aircraft.
    const qint64 touchdown = landing.timeMs - playback->flight().samples.first().timeMs;
    playback->seek(touchdown - 2000);
    save(QStringLiteral("station_playback_map"));
    QVERIFY(services->pfdTab()->setSource(PfdTab::kPlaybackSource));
    QCOMPARE(services->pfdTab()->display()->aircraftData().lat, playback->currentSample().lat);
    window->tabs()->setCurrentWidget(services->pfdTab());
    save(QStringLiteral("station_playback_pfd"));

    services->stopPlayback();
    QVERIFY(!services->playbackDock()->isVisible());
    QVERIFY(layer->isEmpty());
    QCOMPARE(services->pfdTab()->source(), PfdTab::kLocalSource);
}

void TestRecordingWiring::planningActionsAreEventsOfTheFlight()
{
    std::unique_ptr<MainWindow> window = openWindow(m_dir.filePath(QStringLiteral("planning.db")));
    RecordingServices *services = window->recordingServices();
    FlightRecorder *recorder = services->recorder();
    SimBackendManager *manager = window->backendManager();
    QSignalSpy stored(recorder, &FlightRecorder::stored);
    manager->connectTo(SimType::XPlane12);
    QTRY_VERIFY_WITH_TIMEOUT(recorder->flightId(FlightRecorder::kLocalAircraft) != 0, 10000);
    const qint64 id = recorder->flightId(FlightRecorder::kLocalAircraft);
    FuelManager *fuel = window->controls()->fuel();
    QTRY_VERIFY_WITH_TIMEOUT(!fuel->tanks().isEmpty() && fuel->totalCapacity() > 0.0, 10000);

    FlightPlan plan;
    plan.departure = QStringLiteral("ZSPD");
    plan.destination = QStringLiteral("ZSSS");
    plan.cruiseAltitudeFt = 5000;
    using Type = FlightPlanWaypoint::Type;
    using Segment = FlightPlanWaypoint::Segment;
    auto point = [](const char *ident, Type type, Segment segment, double lat, double lon) {
        FlightPlanWaypoint w;
        w.ident = QLatin1String(ident);
        w.type = type;
        w.segment = segment;
        w.lat = lat;
        w.lon = lon;
        return w;
    };
    plan.waypoints = {point("ZSPD", Type::Airport, Segment::Departure, 31.1434, 121.8052),
                      point("PD004", Type::Fix, Segment::Enroute, 31.2500, 121.5000),
                      point("ZSSS", Type::Airport, Segment::Destination, 31.1979, 121.3363)};
    FlightPlanTab *planTab = window->planningServices()->flightPlanTab();
    planTab->setPlan(plan);
    QSignalSpy events(recorder, &FlightRecorder::eventRecorded);
    auto lastEvent = [&events] { return events.last().at(1).value<FlightEvent>(); };

    // Sent: an .fms in the simulator's plan folder, and the route in the event.
    planTab->findChild<QPushButton *>(QStringLiteral("sendPlanButton"))->click();
    QCOMPARE(events.size(), 1);
    QCOMPARE(events.last().at(0).toLongLong(), id);
    QCOMPARE(lastEvent().kind, QStringLiteral("flight_plan"));
    QVERIFY2(lastEvent().text.contains(QStringLiteral("ZSPD PD004 ZSSS")), qPrintable(lastEvent().text));
    QCOMPARE(lastEvent().details.value(QStringLiteral("waypoints")).toInt(), 3);
    QVERIFY(QFileInfo::exists(m_dir.filePath(QStringLiteral("xplane/Output/FMS plans/ZSPDZSSS.fms"))));

    // Placed at the route point: the reposition is an event with where it went.
    planTab->selectWaypoint(1);
    planTab->findChild<QPushButton *>(QStringLiteral("placeAtWaypointButton"))->click();
    QCOMPARE(events.size(), 2);
    QCOMPARE(lastEvent().kind, QStringLiteral("position"));
    QVERIFY(std::fabs(lastEvent().details.value(QStringLiteral("lat")).toDouble() - 31.25) < 1e-6);

    // An OFP's fuel, a third of the tanks in kilograms, and its payload.
    SimBriefService::OFPData ofp;
    ofp.origin = QStringLiteral("ZSPD");
    ofp.destination = QStringLiteral("ZSSS");
    ofp.weightUnit = QStringLiteral("kgs");
    ofp.rampFuel = fuel->totalCapacity() / 3.0 * kFuelKgPerUsGallon;
    ofp.payload = 300;
    ofp.valid = true;
    planTab->onOfpReceived(ofp);
    planTab->findChild<QPushButton *>(QStringLiteral("loadOfpFuelButton"))->click();
    QVERIFY(events.size() >= 3);
    QCOMPARE(lastEvent().kind, QStringLiteral("fuel"));
    QCOMPARE(lastEvent().details.value(QStringLiteral("ofp")).toString(), QStringLiteral("ZSPD-ZSSS"));
    QVERIFY2(std::fabs(lastEvent().details.value(QStringLiteral("fuelKg")).toDouble() - ofp.rampFuel) < 1.0,
             qPrintable(lastEvent().text));

    // A scenario applied to the own aircraft: its weather goes through the dispatcher (an event of
    // its own), then the scenario with the part the simulator could not take.
    auto *panel = window->findChild<ScenarioPanel *>(QStringLiteral("scenarioPage"));
    QVERIFY(panel);
    Scenario scenario;
    scenario.name = QStringLiteral("侧风练习");
    WeatherState crosswind;
    crosswind.windDirDeg = 330;
    crosswind.windSpeedKt = 18;
    scenario.weather = crosswind;
    scenario.failures = {{QStringLiteral("no-such-system"), ScenarioFailure::Trigger::Now, 0, 0}};
    const int beforeScenario = int(events.size());
    emit panel->applyRequested(scenario, QStringLiteral("own"));
    QCOMPARE(events.size(), beforeScenario + 2);
    QCOMPARE(events.at(beforeScenario).at(1).value<FlightEvent>().kind, QStringLiteral("weather"));
    QCOMPARE(lastEvent().kind, QStringLiteral("scenario"));
    QCOMPARE(lastEvent().details.value(QStringLiteral("name")).toString(), scenario.name);
    QCOMPARE(lastEvent().details.value(QStringLiteral("refused")).toArray().size(), 1);
    QVERIFY2(lastEvent().text.contains(QStringLiteral("未能应用")), qPrintable(lastEvent().text));

    // ATC instructions: one to the own aircraft is an event of its flight; one to network traffic,
    // which has no recorded flight, stays in the ATC log only.
    QString error;
    AtcLog *atc = window->supervision()->atcLog();
    const auto climb =
        AtcInstruction::make(QStringLiteral("own"), QStringLiteral("B-STN1"), AtcInstruction::Kind::Altitude,
                             QStringLiteral("FL120"), QString(), QDateTime::currentDateTimeUtc(), &error);
    QVERIFY2(climb, qPrintable(error));
    atc->add(*climb);
    QCOMPARE(lastEvent().kind, QStringLiteral("atc"));
    QCOMPARE(lastEvent().details.value(QStringLiteral("kind")).toString(), QStringLiteral("altitude"));
    QCOMPARE(lastEvent().details.value(QStringLiteral("number")).toDouble(), 12000.0);
    const int beforeTraffic = int(events.size());
    const auto traffic =
        AtcInstruction::make(QStringLiteral("CCA1501"), QStringLiteral("CCA1501"), AtcInstruction::Kind::Heading,
                             QStringLiteral("270"), QString(), QDateTime::currentDateTimeUtc(), &error);
    QVERIFY2(traffic, qPrintable(error));
    atc->add(*traffic);
    QCOMPARE(events.size(), beforeTraffic);

    // Stored with the flight (the only events this window recorded).
    manager->disconnect();
    QTRY_VERIFY_WITH_TIMEOUT(!stored.isEmpty() && stored.last().first().toLongLong() == recorder->samplesKept() &&
                                 stored.last().at(1).toLongLong() == events.size(),
                             20000);
    QSignalSpy loaded(services->library(), &RecordingLibrary::flightLoaded);
    services->library()->requestFlight(id);
    QVERIFY(loaded.wait(10000));
    QStringList kinds;
    for (const FlightEvent &event : loaded.first().first().value<RecordedFlight>().events)
        kinds << event.kind;
    QCOMPARE(kinds.size(), events.size());
    QCOMPARE(kinds.first(), QStringLiteral("flight_plan"));
    QCOMPARE(kinds.at(1), QStringLiteral("position"));
    QCOMPARE(kinds.last(), QStringLiteral("atc"));
    QVERIFY(kinds.contains(QStringLiteral("scenario")));
}

void TestRecordingWiring::agentReportsThroughTheBridgeAreItsFlight()
{
    std::unique_ptr<MainWindow> window = openWindow(m_dir.filePath(QStringLiteral("agents.db")));
    RecordingServices *services = window->recordingServices();
    FlightRecorder *recorder = services->recorder();
    quint16 port = 0;
    {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        port = probe.serverPort();
    }
    QVERIFY(window->bridgeServices()->startServer(port));
    TlsTestClient agent;
    QVERIFY(agent.connectTo(port));
    const std::optional<QJsonObject> answer =
        agent.registerAs(QStringLiteral("a1"), QStringLiteral("m-1"), {{"callsign", "CES5301"}, {"sim", "MSFS 2020"}});
    QVERIFY(answer);
    QCOMPARE(TlsTestClient::type(answer), QStringLiteral("heartbeat_ack"));

    // A climb in ten reports, each on the PFD tab (showing the agent) before the next goes.
    QSignalSpy stored(recorder, &FlightRecorder::stored);
    for (int i = 0; i < 10; ++i) {
        agent.send({{"type", "status"},
                    {"agentId", "a1"},
                    {"lat", 31.20 + 0.01 * i},
                    {"lon", 121.30},
                    {"alt", 1000.0 + 300.0 * i},
                    {"hdg", 0.0},
                    {"gs", 160.0},
                    {"ias", 150.0},
                    {"on_ground", false}});
        QTRY_VERIFY(services->pfdTab()->setSource(QStringLiteral("a1")));
        QTRY_COMPARE(services->pfdTab()->display()->aircraftData().alt, 1000.0 + 300.0 * i);
    }
    const qint64 id = recorder->flightId(QStringLiteral("a1"));
    QVERIFY(id != 0);
    QCOMPARE(recorder->statistics(QStringLiteral("a1")).maxAltFt, 3700.0);
    QCOMPARE(recorder->flightId(FlightRecorder::kLocalAircraft), qint64(0));

    // The agent goes: its flight ends and is stored with its callsign and simulator.
    agent.socket.disconnectFromHost();
    QTRY_COMPARE(recorder->flightId(QStringLiteral("a1")), qint64(0));
    QTRY_VERIFY_WITH_TIMEOUT(!stored.isEmpty() && stored.last().first().toLongLong() == recorder->samplesKept(), 20000);
    QSignalSpy loaded(services->library(), &RecordingLibrary::flightLoaded);
    services->library()->requestFlight(id);
    QVERIFY(loaded.wait(10000));
    const RecordedFlight flight = loaded.first().first().value<RecordedFlight>();
    QCOMPARE(flight.info.callsign, QStringLiteral("CES5301"));
    QCOMPARE(flight.info.simulator, QStringLiteral("MSFS 2020"));
    QVERIFY(flight.samples.size() >= 2);
    QCOMPARE(flight.samples.first().altFt, 1000.0);
    QCOMPARE(flight.samples.last().altFt, 3700.0);
}

void TestRecordingWiring::statusBarSaysWhenTheDatabaseFails()
{
    // A folder where the database file should be: nothing can be written there.
    const QString blocked = m_dir.filePath(QStringLiteral("blocked.db"));
    QVERIFY(QDir().mkpath(blocked));
    std::unique_ptr<MainWindow> window = openWindow(blocked);
    RecordingServices *services = window->recordingServices();
    testlog::expectLogged(QStringLiteral("Recording"), QStringLiteral("unavailable"));
    window->backendManager()->connectTo(SimType::XPlane12);
    QTRY_VERIFY_WITH_TIMEOUT(services->statusLabel()->state() == RecordingStatusLabel::State::Buffering, 15000);
    QVERIFY2(services->statusLabel()->text().contains(QStringLiteral("缓存")),
             qPrintable(services->statusLabel()->text()));
    QVERIFY(services->statusLabel()->isVisible());
    save(QStringLiteral("station_status_buffering"));
    window->backendManager()->disconnect();
    // Closing the station reports what could not be stored.
    testlog::expectLogged(QStringLiteral("Recording"), QStringLiteral("could not be stored"));
    window.reset();
}

QTEST_MAIN(TestRecordingWiring)
#include "tst_recordingwiring.moc"
