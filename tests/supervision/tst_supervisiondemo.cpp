#include "control/failuremanager.h"
#include "control/fuelmanager.h"
#include "control/positionaircraft.h"
#include "nav/navdataprovider.h"
#include "sim/isimbackend.h"
#include "sim/simbackendmanager.h"
#include "sim/simoperationdispatcher.h"
#include "supervision/alertmanager.h"
#include "supervision/scenarioapplier.h"
#include "supervision/scenariolibrary.h"
#include "supervision/supervisionmonitor.h"
#include "tests/support/demosimulator.h"
#include "tests/support/logexpect.h"

#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>

// Supervision fed by the demo simulator running as its own process: alerts from its samples,
// and a scenario saved, read back and applied to it.
class TestSupervisionDemo : public QObject
{
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    QProcess m_sim;
    quint16 m_simPort = 0;
    std::unique_ptr<SimBackendManager> m_manager;
    std::unique_ptr<QSignalSpy> m_samples;

    AircraftData last() const { return m_samples->last().first().value<AircraftData>(); }
    // Waits for samples at the position (within 0.02 degrees).
    bool samplesAt(double lat, double lon)
    {
        return QTest::qWaitFor([&] { return std::abs(last().lat - lat) < 0.02 && std::abs(last().lon - lon) < 0.02; },
                               5000);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_simPort = demosim::start(m_sim, QStringLiteral(XPSIM_PATH));
        QVERIFY2(m_simPort > 0, qPrintable(m_sim.errorString()));
        const QString ini = m_dir.filePath("Zobrel.ini");
        {
            QSettings settings(ini, QSettings::IniFormat);
            settings.setValue("autoConnect", false);
            settings.setValue("xplanePort", m_simPort);
            settings.setValue("xplaneLocalPort", 0);
        }
        m_manager = std::make_unique<SimBackendManager>(
            ini, SimBackendManager::Timings(), [] { return QString(); }, m_dir.path());
        m_samples = std::make_unique<QSignalSpy>(m_manager.get(), &SimBackendManager::aircraftDataChanged);
        m_manager->connectTo(SimType::XPlane11);
        QTRY_VERIFY_WITH_TIMEOUT(m_manager->isConnected(), 5000);
        QTRY_VERIFY_WITH_TIMEOUT(m_samples->size() >= 10, 5000);
    }

    void cleanupTestCase()
    {
        m_samples.reset();
        m_manager.reset();
        m_sim.terminate();
        if (!m_sim.waitForFinished(3000)) {
            m_sim.kill();
            m_sim.waitForFinished(3000);
        }
    }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void deviationAndTerrainAlertsFromItsSamples();
    void scenarioSavedReloadedAndApplied();
};

void TestSupervisionDemo::deviationAndTerrainAlertsFromItsSamples()
{
    NavDataProvider nav;
    nav.initializeOffline();
    nav.loadSampleData();
    AlertManager alerts(nullptr);
    SupervisionMonitor monitor(&alerts);
    monitor.setNavData(&nav);
    connect(m_manager.get(), &SimBackendManager::aircraftDataChanged, &monitor, &SupervisionMonitor::setOwnAircraft);
    const auto kinds = [&alerts] {
        QList<SupervisionAlert::Kind> out;
        for (const SupervisionAlert &a : alerts.alerts())
            out << a.kind;
        return out;
    };

    // Airborne north of Pudong; a route from Hangzhou to Ningbo lies far to the south-west.
    m_manager->backend()->setPosition(31.35, 121.9, 3000 * 0.3048, 0, 0, 180, false, 180);
    QVERIFY(samplesAt(31.35, 121.9));
    QVERIFY(!last().onGround);
    const QList<QPointF> route{{30.23, 120.43}, {29.83, 121.46}};
    monitor.setRoute(route);
    monitor.evaluate();
    QCOMPARE(kinds(), QList<SupervisionAlert::Kind>{SupervisionAlert::Kind::RouteDeviation});
    const SupervisionAlert deviation = alerts.alerts().first();
    const AircraftData sample = last();
    QVERIFY(deviation.value1 > 40.0);
    QVERIFY(std::abs(deviation.value1 - *DeviationMonitor::crossTrackNm(route, sample.lat, sample.lon)) < 1.0);
    // Back on the route: cleared.
    monitor.setRoute({{31.0, 121.0}, {sample.lat, sample.lon}, {31.5, 122.5}});
    monitor.evaluate();
    QVERIFY(alerts.alerts().isEmpty());

    // Moved 15 nm out over the sea at 400 ft: below the safe altitude (Pudong 13 ft + 1000) and too
    // close to the water.
    const double lat = 31.1434;
    const double lon = 121.8052 + 15.0 / (60 * std::cos(lat * M_PI / 180));
    m_manager->backend()->setPosition(lat, lon, 400 * 0.3048, 0, 0, 90, false, 160);
    QVERIFY(samplesAt(lat, lon));
    monitor.evaluate();
    const QList<SupervisionAlert::Kind> terrain = kinds();
    QVERIFY2(terrain.contains(SupervisionAlert::Kind::BelowSafeAltitude), qPrintable(QString::number(last().alt)));
    QVERIFY2(terrain.contains(SupervisionAlert::Kind::TerrainClearance), qPrintable(QString::number(last().altAGL)));
    for (const SupervisionAlert &a : alerts.alerts()) {
        if (a.kind == SupervisionAlert::Kind::BelowSafeAltitude)
            QCOMPARE(a.value2, 1013.0);
    }
}

void TestSupervisionDemo::scenarioSavedReloadedAndApplied()
{
    // The controls as the station wires them; the fuel manager hears the tank layout the demo
    // reports when a backend connects, so the connection is made again with it listening.
    SimOperationDispatcher dispatcher;
    PositionAircraft positioning;
    positioning.setDispatcher(&dispatcher);
    FailureManager failures;
    failures.setDispatcher(&dispatcher);
    FuelManager fuel(m_dir.filePath("fuel.ini"));
    fuel.setDispatcher(&dispatcher);
    const auto useBackend = [&](ISimBackend *backend) {
        dispatcher.setLocalBackend(backend);
        positioning.setBackend(backend);
        failures.setBackend(backend);
        fuel.setBackend(backend);
    };
    connect(m_manager.get(), &SimBackendManager::backendChanged, &fuel, useBackend);
    m_manager->connectTo(SimType::XPlane12);
    QTRY_VERIFY_WITH_TIMEOUT(m_manager->isConnected(), 5000);
    QTRY_VERIFY_WITH_TIMEOUT(fuel.totalCapacity() > 0, 10000);
    const double capacityGal = fuel.totalCapacity();

    Scenario scenario;
    scenario.name = QStringLiteral("东海低空");
    scenario.position = Scenario::Position{30.95, 122.45, 2500, 45, 170, false};
    WeatherState weather;
    weather.windDirDeg = 250;
    weather.windSpeedKt = 18;
    weather.visibilityM = 3000;
    weather.qnhHpa = 1002;
    scenario.weather = weather;
    scenario.fuelTotalGal = std::round(capacityGal * 0.3);
    scenario.failures.append({QStringLiteral("engine1"), ScenarioFailure::Trigger::AtAltitude, 1500, 0});
    scenario.failures.append({QStringLiteral("pitot_heat1"), ScenarioFailure::Trigger::AfterTime, 600, 0});
    scenario.failures.append({QStringLiteral("no_such_system"), ScenarioFailure::Trigger::Now, 0, 0});

    ScenarioLibrary library(m_dir.filePath("scenarios"));
    QString error;
    const auto path = library.save(scenario, &error);
    QVERIFY2(path, qPrintable(error));
    QCOMPARE(library.items().size(), 1);
    const auto reloaded = ScenarioLibrary::load(library.items().first().path, &error);
    QVERIFY2(reloaded, qPrintable(error));
    QCOMPARE(reloaded->toJson(), scenario.toJson());

    ControlScenarioTarget target(&dispatcher, &positioning, &fuel, &failures);
    const ScenarioApplyResult result = applyScenario(*reloaded, target);
    QCOMPARE(result.applied, (QStringList{"position", "weather", "fuel", "failure engine1", "failure pitot_heat1"}));
    QCOMPARE(result.refused, QStringList{"failure no_such_system"});

    // What the demo reports next: the place, the weather (which drifts a little on its own) and
    // the fuel (burning slowly meanwhile).
    QVERIFY(samplesAt(30.95, 122.45));
    QVERIFY2(std::abs(last().alt - 2500) < 300, qPrintable(QString::number(last().alt)));
    QTRY_VERIFY_WITH_TIMEOUT(std::abs(last().baroSea - 1002) < 0.6 && std::abs(last().vis - 3000) < 260 &&
                                 std::abs(last().windDir - 250) < 12 && std::abs(last().windSpd - 18) < 9,
                             5000);
    QTRY_VERIFY_WITH_TIMEOUT(std::abs(last().fuelTotal - *scenario.fuelTotalGal) < capacityGal * 0.01, 5000);

    // Starting above 1500 ft, the engine fails when the aircraft descends through it.
    const QList<FailureManager::ConditionTrigger> triggers = failures.conditionTriggers();
    QCOMPARE(triggers.size(), 1);
    QCOMPARE(triggers.first().failureId, QStringLiteral("engine1"));
    QCOMPARE(triggers.first().parameter, QStringLiteral("altitude"));
    QCOMPARE(triggers.first().comparison, 1);
    QCOMPARE(triggers.first().threshold, 1500.0);
    QCOMPARE(target.pendingFailures(), 1);
    // Another scenario drops the timed failure of the first before it fired.
    Scenario next;
    next.name = QStringLiteral("next");
    next.failures.append({QStringLiteral("engine2"), ScenarioFailure::Trigger::Now, 0, 0});
    QCOMPARE(applyScenario(next, target).applied, QStringList{"failure engine2"});
    QCOMPARE(target.pendingFailures(), 0);
    QCOMPARE(failures.failure(QStringLiteral("engine2")).state, 2);
    QCOMPARE(failures.failure(QStringLiteral("pitot_heat1")).state, 0);
    failures.resetAll();
}

QTEST_MAIN(TestSupervisionDemo)
#include "tst_supervisiondemo.moc"
