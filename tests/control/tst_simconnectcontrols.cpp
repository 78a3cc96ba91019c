#include "control/failuremanager.h"
#include "control/fuelmanager.h"
#include "control/positionaircraft.h"
#include "control/pushbackcontroller.h"
#include "control/slewcontroller.h"
#include "sim/simconnect/fake/fakesimconnect.h"
#include "sim/simconnect/fake/fakesimworld.h"
#include "sim/simconnect/simconnectsession.h"
#include "sim/simconnectbackend.h"
#include "tests/support/logexpect.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <memory>

namespace {

bool near(double a, double b, double tolerance)
{
    return std::abs(a - b) <= tolerance;
}

bool isMsfs(SimType kind)
{
    return kind == SimType::Msfs2020 || kind == SimType::Msfs2024;
}

} // namespace

// The instructor controls on each SimConnect simulator, through the SimConnect backend and the
// fake simulator: the events and variables each control writes, as the simulator receives them,
// and what the simulator then reports back. (Prepar3D and FSX reach the same session through the
// bridge helper; that path is tested as a process in the tools tests.)
class TestSimConnectControls : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void failuresToggleTheirEvents_data();
    void failuresToggleTheirEvents();
    void fuelInTheSimulatorsForm_data();
    void fuelInTheSimulatorsForm();
    void payloadInPoundsAndFuelFreeze_data();
    void payloadInPoundsAndFuelFreeze();
    void pushbackDrivesTheTug_data();
    void pushbackDrivesTheTug();
    void positionAndSlewReposition_data();
    void positionAndSlewReposition();

private:
    void kinds();
    bool start(SimType kind);
    QList<FakeSimWorld::Entry> writesOf(const QString &variable) const;

    std::unique_ptr<FakeSimWorld> m_world;
    std::unique_ptr<SimConnectBackend> m_backend;
};

void TestSimConnectControls::init()
{
    QTest::failOnWarning(QRegularExpression(".*"));
    testlog::failOnLoggedProblems();
}

void TestSimConnectControls::cleanup()
{
    m_backend.reset();
    m_world.reset();
}

void TestSimConnectControls::kinds()
{
    QTest::addColumn<SimType>("kind");
    QTest::newRow("MSFS 2020") << SimType::Msfs2020;
    QTest::newRow("MSFS 2024") << SimType::Msfs2024;
    QTest::newRow("Prepar3D") << SimType::Prepar3D;
    QTest::newRow("FSX") << SimType::Fsx;
}

bool TestSimConnectControls::start(SimType kind)
{
    m_world = std::make_unique<FakeSimWorld>(kind);
    m_backend = std::make_unique<SimConnectBackend>(kind, std::make_unique<FakeSimConnect>(m_world.get()));
    SimConnectSession::Timings timings;
    timings.pumpIntervalMs = 5;
    m_backend->session()->setTimings(timings);
    QSignalSpy connected(m_backend.get(), &ISimBackend::connected);
    QSignalSpy sample(m_backend.get(), &ISimBackend::aircraftDataChanged);
    m_backend->connect();
    return connected.wait(3000) && sample.wait(3000);
}

QList<FakeSimWorld::Entry> TestSimConnectControls::writesOf(const QString &variable) const
{
    QList<FakeSimWorld::Entry> out;
    for (const FakeSimWorld::Entry &entry : m_world->journalOf("SetDataOnSimObject")) {
        if (entry.subject == variable)
            out.append(entry);
    }
    return out;
}

void TestSimConnectControls::failuresToggleTheirEvents_data()
{
    kinds();
}

void TestSimConnectControls::failuresToggleTheirEvents()
{
    QFETCH(SimType, kind);
    QVERIFY(start(kind));
    FailureManager failures;
    failures.setBackend(m_backend.get());

    failures.triggerFailure("engine1");
    QTRY_VERIFY_WITH_TIMEOUT(m_world->toggledOn().contains("TOGGLE_ENGINE1_FAILURE"), 3000);
    QCOMPARE(m_world->journalOf("TransmitClientEvent").last().data, 6u);
    QTRY_VERIFY_WITH_TIMEOUT(!m_backend->aircraftData().engRun[0], 3000);
    failures.triggerFailure("generator2"); // both generators share the master alternator toggle
    failures.resetFailure("engine1");      // a toggle event is sent again to repair
    QTRY_VERIFY_WITH_TIMEOUT(!m_world->toggledOn().contains("TOGGLE_ENGINE1_FAILURE"), 3000);
    QVERIFY(m_world->toggledOn().contains("TOGGLE_MASTER_ALTERNATOR"));
    QTRY_VERIFY_WITH_TIMEOUT(m_backend->aircraftData().engRun[0], 3000);

    // A failure without a SimConnect event falls back to its X-Plane key, which no SimConnect
    // simulator has: offered as unavailable, refused with a clear line, nothing sent.
    QVERIFY(!failures.isAvailable("autopilot"));
    QVERIFY(failures.isAvailable("engine2"));
    const int sent = int(m_world->journal().size());
    testlog::expectLogged("SimConnect",
                          "XPlaneFailureOtto is not available on " + QRegularExpression::escape(simTypeName(kind)));
    failures.triggerFailure("autopilot");
    failures.resetFailure("autopilot");
    QTest::qWait(100);
    for (qsizetype i = sent; i < m_world->journal().size(); ++i)
        QVERIFY(!m_world->journal().at(i).subject.startsWith("XPlaneFailure"));
    QVERIFY(m_backend->isConnected());
}

void TestSimConnectControls::fuelInTheSimulatorsForm_data()
{
    kinds();
}

void TestSimConnectControls::fuelInTheSimulatorsForm()
{
    QFETCH(SimType, kind);
    QTemporaryDir dir;
    FuelManager fuel(dir.filePath("Zobrel.ini"));
    m_world = std::make_unique<FakeSimWorld>(kind);
    m_backend = std::make_unique<SimConnectBackend>(kind, std::make_unique<FakeSimConnect>(m_world.get()));
    fuel.setBackend(m_backend.get()); // before connecting, so the tank layout reaches it
    m_backend->connect();
    QTRY_VERIFY_WITH_TIMEOUT(fuel.tanks().size() == 7 && fuel.totalCapacity() > 0, 3000);
    QCOMPARE(fuel.tanks().at(0).name, QStringLiteral("Left Main"));
    QCOMPARE(fuel.tanks().at(3).name, QStringLiteral("Center"));
    QVERIFY(near(fuel.tanks().at(3).capacity, 2200, 1e-9)); // gallons back exactly
    QVERIFY(near(fuel.totalCapacity(), 5800, 1e-9));
    // The simulator's contents arrive by tank position.
    QTRY_VERIFY_WITH_TIMEOUT(near(fuel.tanks().at(6).current, 1800 * 0.6, 10), 3000);

    m_world->clearJournal();
    fuel.loadFuel(25);
    // MSFS 2020 takes tank levels in percent; the others take quantities in gallons.
    const bool level = kind == SimType::Msfs2020;
    const QString form = level ? QStringLiteral("LEVEL") : QStringLiteral("QUANTITY");
    QTRY_VERIFY_WITH_TIMEOUT(!writesOf("FUEL TANK RIGHT MAIN " + form).isEmpty(), 3000);
    const FakeSimWorld::Entry leftMain = writesOf("FUEL TANK LEFT MAIN " + form).last();
    QCOMPARE(leftMain.units, level ? QStringLiteral("percent") : QStringLiteral("gallons"));
    QVERIFY(near(leftMain.value, level ? 25 : 450, 1e-9));
    QVERIFY(writesOf(level ? "FUEL TANK LEFT MAIN QUANTITY" : "FUEL TANK LEFT MAIN LEVEL").isEmpty());
    // Empty positions are written too (to nothing) so the list index stays the tank position.
    QCOMPARE(writesOf("FUEL TANK LEFT AUX " + form).size(), 1);
    QVERIFY(writesOf("FUEL TANK EXTERNAL1 " + form).isEmpty());
    // The simulator holds a quarter of 5800 gallons and reports it back.
    QTRY_VERIFY_WITH_TIMEOUT(near(m_backend->aircraftData().fuelTotal, 1450, 1), 3000);
    QVERIFY(near(*m_world->value("FUEL TANK CENTER QUANTITY", "gallons"), 550, 1));
    QTRY_VERIFY_WITH_TIMEOUT(near(fuel.totalCurrent(), 1450, 1), 3000);
}

void TestSimConnectControls::payloadInPoundsAndFuelFreeze_data()
{
    kinds();
}

void TestSimConnectControls::payloadInPoundsAndFuelFreeze()
{
    QFETCH(SimType, kind);
    QVERIFY(start(kind));
    QTemporaryDir dir;
    FuelManager fuel(dir.filePath("Zobrel.ini"));
    fuel.setBackend(m_backend.get());
    const double weightBefore = m_backend->aircraftData().totalWt;
    fuel.loadPayloadStation(0, 500); // kilograms; stations 1-5 held 3000 lb each
    QTRY_VERIFY_WITH_TIMEOUT(!writesOf("PAYLOAD STATION WEIGHT:5").isEmpty(), 3000);
    const FakeSimWorld::Entry written = writesOf("PAYLOAD STATION WEIGHT:1").last();
    QCOMPARE(written.units, QStringLiteral("pounds"));
    QVERIFY(near(written.value, 500 * 2.20462, 1e-9));
    QVERIFY(near(*m_world->value("PAYLOAD STATION WEIGHT:1", "kilograms"), 500, 0.01));
    // The manager writes its whole list of five stations, the others still empty there.
    QCOMPARE(*m_world->value("PAYLOAD STATION WEIGHT:2", "pounds"), 0.0);
    QVERIFY(writesOf("PAYLOAD STATION WEIGHT:6").isEmpty());
    // The simulator's total weight drops by 5 x 3000 lb less 500 kg (and a little burnt fuel).
    const double expected = weightBefore - (5 * 3000 * 0.45359237 - 500);
    QTRY_VERIFY2_WITH_TIMEOUT(near(m_backend->aircraftData().totalWt, expected, 30),
                              qPrintable(QString::number(m_backend->aircraftData().totalWt)), 3000);

    fuel.setFuelFreeze(true);
    QTRY_VERIFY_WITH_TIMEOUT(m_world->isFuelFrozen(), 3000);
    const double frozenAt = *m_world->value("FUEL TOTAL QUANTITY", "gallons");
    QTest::qWait(300);
    QCOMPARE(*m_world->value("FUEL TOTAL QUANTITY", "gallons"), frozenAt);
    fuel.setFuelFreeze(false);
    QTRY_VERIFY_WITH_TIMEOUT(!m_world->isFuelFrozen(), 3000);
}

void TestSimConnectControls::pushbackDrivesTheTug_data()
{
    kinds();
}

void TestSimConnectControls::pushbackDrivesTheTug()
{
    QFETCH(SimType, kind);
    QVERIFY(start(kind));
    // Parked at a gate, nose north.
    m_backend->setPosition(31.15, 121.80, 4.0, 0, 0, 0.0, true, 0);
    QTRY_VERIFY_WITH_TIMEOUT(m_backend->aircraftData().onGround && near(m_backend->aircraftData().lat, 31.15, 1e-9),
                             3000);
    PushbackController pushback;
    pushback.setBackend(m_backend.get());
    pushback.setSpeed(100);
    pushback.start(PushbackController::TurnPositive);
    QTRY_VERIFY_WITH_TIMEOUT(m_world->isPushbackActive(), 3000);
    QTRY_VERIFY_WITH_TIMEOUT(!writesOf("Velocity Body Z").isEmpty(), 3000);
    QVERIFY(writesOf("Velocity Body Z").last().value < 0); // backwards
    QCOMPARE(writesOf("Velocity Body Z").last().units, QStringLiteral("feet per second"));
    QCOMPARE(writesOf("Pushback Wait").last().value, 1.0);
    QCOMPARE(writesOf("Rotation Velocity Body Y").last().units, QStringLiteral("radians per second"));
    // The tug's heading reaches the simulator under the name it knows.
    QTRY_VERIFY_WITH_TIMEOUT(m_world->tugHeadingDeg() >= 0, 3000);
    const QString tugEvent = isMsfs(kind) ? QStringLiteral("TUG_HEADING") : QStringLiteral("KEY_TUG_HEADING");
    const QList<FakeSimWorld::Entry> events = m_world->journalOf("TransmitClientEvent");
    QVERIFY(std::any_of(events.cbegin(), events.cend(),
                        [&tugEvent](const FakeSimWorld::Entry &e) { return e.subject == tugEvent; }));
    // The aircraft moves back (south) and turns.
    QTRY_VERIFY_WITH_TIMEOUT(m_backend->aircraftData().lat < 31.15 - 1e-6, 5000);
    QVERIFY(m_backend->aircraftData().hdgTrue > 0.01);

    pushback.stop();
    QTRY_VERIFY_WITH_TIMEOUT(!m_world->isPushbackActive(), 3000);
    QCOMPARE(writesOf("Velocity Body Z").last().value, 0.0);
    QCOMPARE(writesOf("Rotation Velocity Body X").last().units, QStringLiteral("radians per second"));
    QVERIFY(m_backend->isConnected());
}

void TestSimConnectControls::positionAndSlewReposition_data()
{
    kinds();
}

void TestSimConnectControls::positionAndSlewReposition()
{
    QFETCH(SimType, kind);
    QVERIFY(start(kind));
    PositionAircraft position;
    position.setBackend(m_backend.get());
    QSignalSpy set(&position, &PositionAircraft::positionSet);
    position.positionAtRunway("34L", 31.1434, 121.8052, 343.0, 13.0);
    QCOMPARE(set.count(), 1);
    QTRY_VERIFY_WITH_TIMEOUT(near(m_backend->aircraftData().lat, 31.1434, 1e-9) && m_backend->aircraftData().onGround,
                             3000);
    QVERIFY(near(m_world->lastInitPosition().altFt, 13.0, 1e-3)); // feet, through metres and back
    QVERIFY(near(m_backend->aircraftData().hdgTrue, 343.0, 1e-6));

    position.positionAtFinal("34L", 31.1434, 121.8052, 343.0, 13.0, 10.0, 0.0);
    QTRY_VERIFY_WITH_TIMEOUT(!m_world->lastInitPosition().onGround, 3000);
    QVERIFY(near(m_world->lastInitPosition().altFt, 13 + 3180, 1e-3));
    QCOMPARE(m_world->lastInitPosition().airspeedKt, 200u);

    SlewController slew;
    slew.setBackend(m_backend.get());
    slew.enable();
    // Pause so the aircraft holds still between the slew steps.
    QVERIFY(m_backend->setPaused(true));
    QTRY_VERIFY_WITH_TIMEOUT(m_world->isPaused(), 3000);
    QTest::qWait(100);
    const AircraftData before = m_backend->aircraftData();
    slew.moveUp(500);
    QTRY_VERIFY_WITH_TIMEOUT(near(m_world->lastInitPosition().altFt, before.alt + 500, 1e-3), 3000);
    slew.rotateRight(-30);
    QTRY_VERIFY_WITH_TIMEOUT(near(m_world->lastInitPosition().heading, std::fmod(before.hdgTrue + 330, 360), 1e-6),
                             3000);
    QTRY_VERIFY_WITH_TIMEOUT(near(m_backend->aircraftData().alt, before.alt + 500, 1e-3), 3000);
}

QTEST_MAIN(TestSimConnectControls)
#include "tst_simconnectcontrols.moc"
