#include "recordingbridgelink.h"

#include "app/aircraftdatafanout.h"
#include "app/bridgewiring.h"
#include "app/controlwiring.h"
#include "app/mainwindow.h"
#include "app/planningservices.h"
#include "app/supervisionwiring.h"
#include "bridge/bridgeserver.h"
#include "sim/simbackendmanager.h"
#include "sim/simoperationdispatcher.h"
#include "supervision/alertmanager.h"
#include "supervision/atclog.h"
#include "supervision/scenariolibrary.h"
#include "supervision/sectormanager.h"
#include "supervision/supervisionmonitor.h"
#include "supervision/trafficfeed.h"
#include "tests/bridge/tlstestclient.h"
#include "tests/support/logexpect.h"
#include "ui/flightplantab.h"
#include "ui/scenariopanel.h"

#include <QComboBox>
#include <QJsonArray>
#include <QLabel>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>

#include <algorithm>

namespace {

// A small restricted area west of Shanghai, surface to 5000 ft.
const char kOpenAir[] = "AC R\nAN TEST AREA R1\nAL SFC\nAH 5000ft\n"
                        "DP 31:00:00 N 121:00:00 E\nDP 31:30:00 N 121:00:00 E\nDP 31:30:00 N 121:30:00 E\n"
                        "DP 31:00:00 N 121:30:00 E\n";

// One network pilot head-on with the own aircraft below, and a tower.
const char kFeed[] = R"({"general":{"version":3,"update_timestamp":"2025-01-01T00:00:00Z"},
 "pilots":[{"cid":1234567,"name":"Somebody Real","callsign":"CES501","latitude":31.2,"longitude":121.40,
            "altitude":3000,"groundspeed":250,"heading":270,"flight_plan":{"aircraft_short":"A320"}}],
 "controllers":[{"cid":7654321,"name":"Another Person","callsign":"ZSSS_TWR","frequency":"118.100",
                 "facility":4,"visual_range":50}],"atis":[]})";

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

AircraftData sample(double lat, double lon, double altFt, double trackDeg)
{
    AircraftData d;
    d.lat = lat;
    d.lon = lon;
    d.alt = altFt;
    d.altAGL = altFt;
    d.gs = 250;
    d.track = trackDeg;
    d.hdgTrue = trackDeg;
    d.fuelTotal = 321;
    return d;
}

} // namespace

// The supervision services as the main window wires them: settings restored, samples, traffic,
// the ATC log and the scenario list reaching the monitor, the status bar and the panels.
class TestSupervisionWiring : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void samplesTrafficLogAndScenariosReachTheServices();
    void agentsOfTheBridgeAreTargetsAndWatched();
};

void TestSupervisionWiring::samplesTrafficLogAndScenariosReachTheServices()
{
    QTemporaryDir dir;
    QVERIFY(writeFile(dir.filePath("area.txt"), kOpenAir));
    QVERIFY(writeFile(dir.filePath("feed.json"), kFeed));
    const QString ini = dir.filePath("Zobrel.ini");
    {
        QSettings settings(ini, QSettings::IniFormat);
        settings.setValue(SimBackendManager::kAutoConnectKey, false);
        settings.setValue("sectorFiles", QStringList{dir.filePath("area.txt")});
        settings.setValue("trafficFeedUrl", QUrl::fromLocalFile(dir.filePath("feed.json")).toString());
        settings.setValue("trafficFeedEnabled", true);
        settings.setValue("alertSoundMuted", true); // no sound device is needed here
    }
    MainWindow window(ini);
    SupervisionServices *supervision = window.supervision();
    QVERIFY(supervision);
    QSignalSpy loaded(supervision->sectors(), &SectorManager::fileLoaded);
    QVERIFY(loaded.wait(5000));
    QTRY_VERIFY_WITH_TIMEOUT(supervision->traffic()->hasSnapshot(), 5000);

    // A sample inside the area names it in the status bar.
    window.aircraftDataFanOut()->publish(sample(31.2, 121.2, 3000, 90));
    QCOMPARE(supervision->sectorStatus()->text(), QStringLiteral("扇区：TEST AREA R1"));

    // Own aircraft and the network pilot close head-on at the same altitude: one conflict, listed.
    supervision->monitor()->evaluate();
    const QList<SupervisionAlert> alerts = supervision->alerts()->alerts();
    QCOMPARE(alerts.size(), 1);
    QCOMPARE(alerts.first().aircraftIds, (QStringList{"own", "CES501"}));
    auto *list = window.findChild<QTreeWidget *>(QStringLiteral("alertList"));
    QVERIFY(list);
    QCOMPARE(list->topLevelItemCount(), 1);
    QVERIFY(list->topLevelItem(0)->text(2).startsWith(QStringLiteral("冲突告警：本机 与 CES501")));

    // An altitude clearance in the log becomes the assigned altitude the monitor checks.
    QString error;
    supervision->atcLog()->add(*AtcInstruction::make("own", QString(), AtcInstruction::Kind::Altitude, "FL80",
                                                     QString(), QDateTime::currentDateTimeUtc(), &error));
    QCOMPARE(supervision->monitor()->deviation().assignedAltitude("own"), std::optional<double>(8000.0));
    supervision->atcLog()->clear();
    QVERIFY(!supervision->monitor()->deviation().assignedAltitude("own"));

    // The plan tab's plan is the route the deviation alert checks (a point without a position left
    // out): Pudong to Beijing passes some 25 nm east of the aircraft.
    const auto point = [](const char *ident, double lat, double lon, bool positioned) {
        FlightPlanWaypoint p;
        p.ident = QString::fromLatin1(ident);
        p.lat = lat;
        p.lon = lon;
        p.positioned = positioned;
        return p;
    };
    FlightPlan plan;
    plan.waypoints = {point("ZSPD", 31.14, 121.8, true), point("NOPOS", 0, 0, false),
                      point("ZBAA", 40.07, 116.59, true)};
    window.planningServices()->flightPlanTab()->setPlan(plan);
    QCOMPARE(supervision->monitor()->deviation().route(), (QList<QPointF>{{31.14, 121.8}, {40.07, 116.59}}));
    supervision->monitor()->evaluate();
    const QList<SupervisionAlert> withRoute = supervision->alerts()->alerts();
    const auto deviation = std::find_if(withRoute.cbegin(), withRoute.cend(), [](const SupervisionAlert &a) {
        return a.kind == SupervisionAlert::Kind::RouteDeviation;
    });
    QVERIFY(deviation != withRoute.cend());
    QVERIFY2(deviation->value1 > 20 && deviation->value1 < 30, qPrintable(QString::number(deviation->value1)));
    window.planningServices()->flightPlanTab()->setPlan(FlightPlan());
    QVERIFY(supervision->monitor()->deviation().route().isEmpty());

    // The present situation saved as a scenario lands in the folder beside the settings.
    auto *panel = window.findChild<ScenarioPanel *>(QStringLiteral("scenarioPage"));
    QVERIFY(panel);
    emit panel->saveCurrentRequested(QStringLiteral("练习一"));
    QCOMPARE(supervision->scenarios()->items().size(), 1);
    const auto saved = ScenarioLibrary::load(dir.filePath("scenarios/练习一.json"), &error);
    QVERIFY2(saved, qPrintable(error));
    QVERIFY(saved->position && std::abs(saved->position->lat - 31.2) < 1e-9);
    QCOMPARE(saved->fuelTotalGal, std::optional<double>(321.0));

    // Applied to the own aircraft with no simulator connected: nothing goes anywhere, and the
    // panel says why.
    auto *result = panel->findChild<QLabel *>(QStringLiteral("scenarioResult"));
    QVERIFY(result);
    emit panel->applyRequested(*saved, QStringLiteral("own"));
    QCOMPARE(result->text(), QStringLiteral("场景“练习一”未能应用：模拟器未连接"));

    // Applied to a remote station: its parts leave as agent commands to that station, a timed
    // failure is refused (conditions are watched on the local simulator only), and the
    // instructor's own target is unchanged afterwards.
    RecordingBridgeLink bridge;
    bridge.registerAgent(QStringLiteral("agent-7"), QStringLiteral("X-Plane 12"));
    SimOperationDispatcher *dispatcher = window.controls()->dispatcher();
    dispatcher->setBridgeServer(&bridge);
    panel->setTargets({{QStringLiteral("agent-7"), QStringLiteral("教练机 7")}});
    Scenario remote = *saved;
    WeatherState weather;
    weather.qnhHpa = 998;
    remote.weather = weather;
    remote.failures = {{QStringLiteral("engine1"), ScenarioFailure::Trigger::Now, 0, 0},
                       {QStringLiteral("engine2"), ScenarioFailure::Trigger::AfterTime, 60, 0}};
    emit panel->applyRequested(remote, QStringLiteral("agent-7"));
    QCOMPARE(dispatcher->target(), QString());
    QStringList actions;
    for (const QJsonObject &message : bridge.messages(QStringLiteral("agent-7")))
        actions << message.value("action").toString();
    QCOMPARE(actions, (QStringList{"reposition", "weather", "failure"}));
    const QJsonObject reposition = bridge.messages(QStringLiteral("agent-7")).first();
    QCOMPARE(reposition.value("lat").toDouble(), 31.2);
    QCOMPARE(reposition.value("alt").toDouble(), 3000.0);
    QCOMPARE(bridge.messages(QStringLiteral("agent-7")).at(1).value("qnh").toDouble(), 998.0);
    QCOMPARE(bridge.messages(QStringLiteral("agent-7")).at(2).value("component").toString(), QStringLiteral("engine1"));
    QCOMPARE(result->text(), QStringLiteral("场景“练习一”已应用；未能应用：燃油、故障 引擎 2 故障"));
    QVERIFY(bridge.messages(QString()).isEmpty());

    // Nothing the feed says about people reached the log.
    for (const AppLogger::Entry &entry : AppLogger::instance().recentEntries(AppLogger::kMaxEntries)) {
        QVERIFY(!entry.message.contains(QLatin1String("1234567")) && !entry.message.contains(QLatin1String("Real")));
        QVERIFY(!entry.message.contains(QLatin1String("7654321")) && !entry.message.contains(QLatin1String("Person")));
    }
}

// Stations registered with a real bridge server over TLS: each becomes a scenario target under its
// callsign, and its reported aircraft is checked for conflicts and terrain like the own one.
void TestSupervisionWiring::agentsOfTheBridgeAreTargetsAndWatched()
{
    QTemporaryDir dir;
    const QString ini = dir.filePath("Zobrel.ini");
    {
        QSettings settings(ini, QSettings::IniFormat);
        settings.setValue(SimBackendManager::kAutoConnectKey, false);
        settings.setValue("alertSoundMuted", true);
    }
    MainWindow window(ini);
    SupervisionServices *supervision = window.supervision();
    quint16 port = 0;
    {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        port = probe.serverPort();
    }
    QVERIFY(window.bridgeServices()->startServer(port));
    auto *targets = window.findChild<QComboBox *>(QStringLiteral("scenarioTarget"));
    QVERIFY(targets);
    const auto targetItems = [targets] {
        QStringList items;
        for (int i = 0; i < targets->count(); ++i)
            items << targets->itemData(i).toString() + '=' + targets->itemText(i);
        return items;
    };
    const auto alertsOf = [supervision](SupervisionAlert::Kind kind) {
        supervision->monitor()->evaluate();
        QList<QStringList> ids;
        for (const SupervisionAlert &alert : supervision->alerts()->alerts()) {
            if (alert.kind == kind)
                ids << alert.aircraftIds;
        }
        return ids;
    };

    window.aircraftDataFanOut()->publish(sample(31.2, 121.2, 3000, 90));
    TlsTestClient a1;
    TlsTestClient a2;
    QVERIFY(a1.connectTo(window.bridgeServices()->server()->port()));
    QVERIFY(a2.connectTo(window.bridgeServices()->server()->port()));
    QCOMPARE(TlsTestClient::type(a1.registerAs("a1", "m-1", {{"callsign", "CES5301"}})), QString("heartbeat_ack"));
    QCOMPARE(TlsTestClient::type(a2.registerAs("a2", "m-2")), QString("heartbeat_ack"));
    QTRY_COMPARE(targetItems(), (QStringList{"own=本机", "a2=B-a2", "a1=CES5301"}));
    targets->setCurrentIndex(2);

    // a1 comes head-on at the own aircraft's altitude: its reported track, not its heading, decides.
    a1.send({{"type", "status"},
             {"agentId", "a1"},
             {"lat", 31.2},
             {"lon", 121.4},
             {"alt", 3000},
             {"hdg", 90},
             {"track", 270},
             {"gs", 250},
             {"agl", 2900},
             {"ts", QJsonValue(qint64(1700000000000))}});
    // a2 only told its position so far, low over the sea: no height above ground is known yet.
    a2.send({{"type", "position"}, {"agentId", "a2"}, {"lat", 31.6}, {"lon", 122.6}, {"alt", 300}, {"hdg", 0}});
    QTRY_COMPARE(supervision->monitor()->trackedAircraft().size(), 3);
    QCOMPARE(alertsOf(SupervisionAlert::Kind::Conflict), (QList<QStringList>{{"own", "a1"}}));
    QVERIFY(alertsOf(SupervisionAlert::Kind::TerrainClearance).isEmpty());

    a2.send({{"type", "status"},
             {"agentId", "a2"},
             {"lat", 31.6},
             {"lon", 122.6},
             {"alt", 300},
             {"agl", 200},
             {"gs", 120},
             {"ts", QJsonValue(qint64(1700000001000))}});
    QTRY_COMPARE(alertsOf(SupervisionAlert::Kind::TerrainClearance), (QList<QStringList>{{"a2"}}));
    // Positions keep coming without disturbing the instructor's choice of target.
    QCOMPARE(targets->currentData().toString(), QString("a1"));

    // A station that leaves is neither a target nor checked any more.
    a1.socket.disconnectFromHost();
    QTRY_COMPARE(targetItems(), (QStringList{"own=本机", "a2=B-a2"}));
    QVERIFY(alertsOf(SupervisionAlert::Kind::Conflict).isEmpty());
    QCOMPARE(targets->currentData().toString(), QString("own"));
}

QTEST_MAIN(TestSupervisionWiring)
#include "tst_supervisionwiring.moc"
