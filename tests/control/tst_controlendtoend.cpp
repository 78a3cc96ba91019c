#include "control/failuremanager.h"
#include "control/fuelmanager.h"
#include "control/positionaircraft.h"
#include "control/pushbackcontroller.h"
#include "nav/navdataprovider.h"
#include "sim/isimbackend.h"
#include "sim/simbackendmanager.h"
#include "tests/support/logexpect.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <memory>

namespace {

double distanceNm(double lat1, double lon1, double lat2, double lon2)
{
    const double r = M_PI / 180.0;
    const double a = std::pow(std::sin((lat2 - lat1) * r / 2), 2) +
                     std::cos(lat1 * r) * std::cos(lat2 * r) * std::pow(std::sin((lon2 - lon1) * r / 2), 2);
    return 2 * 3440.065 * std::asin(std::sqrt(a));
}

double angleDiff(double a, double b)
{
    return std::abs(std::remainder(a - b, 360.0));
}

} // namespace

// The control services through SimBackendManager against the demo simulator as its own process:
// what they write must change what the simulator then reports.
class TestControlEndToEnd : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();
    void conditionTriggerFiresOnceInTheClimb();
    void finalAtThreeNmArrivesWhereTheGeometrySays();
    void engineFailureDropsN1AndResetRestoresIt();
    void loadFuelShowsInTheTanks();
    void straightPushbackMovesBackwards();

private:
    AircraftData sample() const { return m_manager->aircraftData(); }
    RunwayRecord runway(const QString &ident) const;

    NavDataProvider m_nav;
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<QProcess> m_sim;
    std::unique_ptr<SimBackendManager> m_manager;
};

void TestControlEndToEnd::initTestCase()
{
    m_nav.initializeOffline();
    m_nav.loadSampleData();
    QVERIFY(!runway(QStringLiteral("35L")).ident.isEmpty());
}

RunwayRecord TestControlEndToEnd::runway(const QString &ident) const
{
    for (const RunwayRecord &record : m_nav.runways(QStringLiteral("ZSPD")))
        if (record.ident == ident)
            return record;
    return {};
}

void TestControlEndToEnd::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
    // A fresh demo for every test: it starts with its take-off roll from Pudong.
    m_dir = std::make_unique<QTemporaryDir>();
    m_sim = std::make_unique<QProcess>();
    m_sim->setProgram(QStringLiteral(XPSIM_PATH));
    m_sim->setArguments({QStringLiteral("--port"), QStringLiteral("0"), QStringLiteral("--quiet")});
    m_sim->start();
    QVERIFY2(m_sim->waitForStarted(5000), qPrintable(m_sim->errorString()));
    QTRY_VERIFY_WITH_TIMEOUT(m_sim->canReadLine(), 5000);
    const auto match =
        QRegularExpression(QStringLiteral(":(\\d+)$")).match(QString::fromUtf8(m_sim->readLine()).trimmed());
    QVERIFY(match.hasMatch());
    const QString ini = m_dir->filePath(QStringLiteral("Zobrel.ini"));
    {
        QSettings settings(ini, QSettings::IniFormat);
        settings.setValue(SimBackendManager::kAutoConnectKey, false);
        settings.setValue(SimBackendManager::kXPlanePortKey, match.captured(1).toUInt());
        settings.setValue(SimBackendManager::kXPlaneLocalPortKey, 0);
    }
    m_manager = std::make_unique<SimBackendManager>(
        ini, SimBackendManager::Timings(), [] { return QString(); }, m_dir->path());
    m_manager->connectTo(SimType::XPlane12);
    QTRY_VERIFY_WITH_TIMEOUT(m_manager->isConnected(), 5000);
    QTRY_VERIFY_WITH_TIMEOUT(std::abs(sample().lat - 31.1) < 0.5, 5000);
}

void TestControlEndToEnd::cleanup()
{
    m_manager.reset();
    if (m_sim) {
        m_sim->terminate();
        if (!m_sim->waitForFinished(3000)) {
            m_sim->kill();
            m_sim->waitForFinished(3000);
        }
    }
    m_sim.reset();
    m_dir.reset();
}

void TestControlEndToEnd::conditionTriggerFiresOnceInTheClimb()
{
    FailureManager failures;
    failures.setBackend(m_manager->backend());
    QSignalSpy fired(&failures, &FailureManager::conditionTriggered);
    // Airborne and climbing after its take-off roll.
    QTRY_VERIFY_WITH_TIMEOUT(!sample().onGround && sample().vs > 300, 60000);
    const double threshold = sample().alt + 150;
    failures.addConditionTrigger({QStringLiteral("taxi_lights"), QStringLiteral("ALT"), threshold, 0, true});
    QTRY_COMPARE_WITH_TIMEOUT(fired.size(), 1, 30000);
    QVERIFY(sample().alt > threshold);
    QCOMPARE(failures.failure(QStringLiteral("taxi_lights")).state, 2);
    // Still above, repaired: two more checks, no second firing.
    failures.resetFailure(QStringLiteral("taxi_lights"));
    QTest::qWait(2 * FailureManager::kConditionCheckMs + 500);
    QVERIFY(sample().alt > threshold);
    QCOMPARE(fired.size(), 1);
}

void TestControlEndToEnd::finalAtThreeNmArrivesWhereTheGeometrySays()
{
    PositionAircraft positioning;
    positioning.setBackend(m_manager->backend());
    const RunwayRecord rwy = runway(QStringLiteral("35L"));
    const int elevation = m_nav.airport(QStringLiteral("ZSPD")).elevation;
    const PositionResult target = positioning.calcFinalPosition(rwy.lat, rwy.lon, rwy.heading, elevation, 3, 0);
    QSignalSpy set(&positioning, &PositionAircraft::positionSet);
    positioning.positionAtFinal(rwy.ident, rwy.lat, rwy.lon, rwy.heading, elevation, 3, 0);
    QCOMPARE(set.size(), 1);
    // The first samples after the jump: there, on the runway heading, at the path's height.
    QTRY_VERIFY_WITH_TIMEOUT(distanceNm(sample().lat, sample().lon, target.lat, target.lon) < 0.3, 5000);
    const AircraftData there = sample();
    QVERIFY2(angleDiff(there.hdgTrue, rwy.heading) < 5, qPrintable(QString::number(there.hdgTrue)));
    QVERIFY2(std::abs(there.alt - target.alt) < 150, qPrintable(QString::number(there.alt)));
    QVERIFY(!there.onGround);
    // And the demo flies that final towards the threshold.
    QTRY_VERIFY_WITH_TIMEOUT(distanceNm(sample().lat, sample().lon, rwy.lat, rwy.lon) < 2.85, 15000);
}

void TestControlEndToEnd::engineFailureDropsN1AndResetRestoresIt()
{
    FailureManager failures;
    failures.setBackend(m_manager->backend());
    QTRY_VERIFY_WITH_TIMEOUT(sample().engN1[0] > 60, 10000);
    failures.triggerFailure(QStringLiteral("engine1"));
    QTRY_VERIFY_WITH_TIMEOUT(sample().engN1[0] < 30, 20000);
    QVERIFY(sample().engN1[1] > 60); // the other engine runs on
    failures.resetFailure(QStringLiteral("engine1"));
    QTRY_VERIFY_WITH_TIMEOUT(sample().engN1[0] > 55, 30000);
}

void TestControlEndToEnd::loadFuelShowsInTheTanks()
{
    // As the station wires it: the manager's next backend goes to the fuel manager before it
    // connects, so the tank layout it reports once on connection arrives.
    FuelManager fuel(m_dir->filePath(QStringLiteral("fuel.ini")));
    connect(m_manager.get(), &SimBackendManager::backendChanged, &fuel, &FuelManager::setBackend);
    m_manager->connectTo(SimType::XPlane12);
    QTRY_VERIFY_WITH_TIMEOUT(fuel.totalCapacity() > 0, 10000);
    const double capacity = fuel.totalCapacity();
    for (int percent : {50, 20}) {
        fuel.loadFuel(percent);
        // What the simulator reports afterwards (it burns a little meanwhile).
        QTRY_VERIFY_WITH_TIMEOUT(std::abs(fuel.totalCurrent() - capacity * percent / 100.0) < capacity * 0.01, 5000);
        QTRY_VERIFY_WITH_TIMEOUT(std::abs(sample().fuelTotal - capacity * percent / 100.0) < capacity * 0.01, 5000);
    }
}

void TestControlEndToEnd::straightPushbackMovesBackwards()
{
    PositionAircraft positioning;
    positioning.setBackend(m_manager->backend());
    const RunwayRecord rwy = runway(QStringLiteral("17R"));
    positioning.positionAtRunway(rwy.ident, rwy.lat, rwy.lon, rwy.heading,
                                 m_nav.airport(QStringLiteral("ZSPD")).elevation);
    QTRY_VERIFY_WITH_TIMEOUT(sample().onGround && sample().gs < 0.1 &&
                                 distanceNm(sample().lat, sample().lon, rwy.lat, rwy.lon) < 0.05,
                             5000);
    const AircraftData before = sample();

    PushbackController pushback;
    pushback.setBackend(m_manager->backend());
    pushback.setSpeed(100);
    QElapsedTimer clock;
    pushback.start(PushbackController::Straight);
    clock.start();
    QTest::qWait(10000); // the push itself lasts this long
    pushback.stop();
    const double seconds = clock.elapsed() / 1000.0;
    // Samples settle within a second after the stop.
    QTest::qWait(1000);
    const AircraftData after = sample();
    const double metres = distanceNm(before.lat, before.lon, after.lat, after.lon) * 1852.0;
    const double expected = 1.543332 * seconds;
    QVERIFY2(std::abs(metres - expected) < 3.0, qPrintable(QStringLiteral("%1 m in %2 s").arg(metres).arg(seconds)));
    const double moved = PositionAircraft::bearing(before.lat, before.lon, after.lat, after.lon);
    QVERIFY2(angleDiff(moved, before.hdgTrue + 180) < 5, qPrintable(QString::number(moved)));
    QVERIFY(angleDiff(after.hdgTrue, before.hdgTrue) < 1);
    QVERIFY(after.gs < 0.5);
}

QTEST_GUILESS_MAIN(TestControlEndToEnd)
#include "tst_controlendtoend.moc"
