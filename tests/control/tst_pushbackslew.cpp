#include "recordingbridgelink.h"
#include "recordingsimbackend.h"

#include "control/pushbackcontroller.h"
#include "control/slewcontroller.h"
#include "sim/simoperationdispatcher.h"
#include "tests/support/logexpect.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <cmath>

namespace {

bool near(double a, double b, double tolerance = 1e-6)
{
    return std::abs(a - b) <= tolerance;
}

AircraftData sampleAt(double lat, double lon, double altFt, double headingTrue)
{
    AircraftData d;
    d.lat = lat;
    d.lon = lon;
    d.alt = altFt;
    d.hdgTrue = headingTrue;
    d.hdg = headingTrue - 5; // magnetic differs: the controllers must use the true heading
    return d;
}

} // namespace

class TestPushbackSlew : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void settingsClamp_data();
    void settingsClamp();
    void xplaneVelocities_data();
    void xplaneVelocities();
    void simConnectPushAndStop();
    void remotePushGoesToAgent();
    void slewSteps_data();
    void slewSteps();
    void slewTargetLifecycle();
};

void TestPushbackSlew::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
}

void TestPushbackSlew::settingsClamp_data()
{
    QTest::addColumn<int>("speed");
    QTest::addColumn<int>("radius");
    QTest::addColumn<int>("speedKept");
    QTest::addColumn<int>("radiusKept");
    QTest::newRow("above") << 150 << 80 << 100 << 50;
    QTest::newRow("below") << -10 << 2 << 0 << 5;
    QTest::newRow("inside") << 35 << 22 << 35 << 22;
}

void TestPushbackSlew::settingsClamp()
{
    QFETCH(int, speed);
    QFETCH(int, radius);
    PushbackController pushback;
    pushback.setSpeed(speed);
    pushback.setTurnRadius(radius);
    QTEST(pushback.speed(), "speedKept");
    QTEST(pushback.turnRadius(), "radiusKept");
}

void TestPushbackSlew::xplaneVelocities_data()
{
    QTest::addColumn<int>("direction");
    QTest::addColumn<double>("heading");
    QTest::addColumn<double>("vx");
    QTest::addColumn<double>("vz");
    QTest::addColumn<double>("r");
    // 100 % is 3 kt = 1.543332 m/s; at 15 m that turns 5.895 deg/s. Local x east, z south.
    QTest::newRow("nose east pushes west, straight") << 0 << 90.0 << -1.543332 << 0.0 << 0.0;
    QTest::newRow("nose north pushes south") << 0 << 0.0 << 0.0 << 1.543332 << 0.0;
    QTest::newRow("positive yaw") << 1 << 180.0 << 0.0 << -1.543332 << 5.89516;
    QTest::newRow("negative yaw") << 2 << 180.0 << 0.0 << -1.543332 << -5.89516;
    QTest::newRow("other value straight") << 7 << 180.0 << 0.0 << -1.543332 << 0.0;
}

void TestPushbackSlew::xplaneVelocities()
{
    QFETCH(int, direction);
    QFETCH(double, heading);
    RecordingSimBackend backend(SimType::XPlane12);
    backend.publish(sampleAt(31, 121, 13, heading));
    PushbackController pushback;
    pushback.setBackend(&backend);
    pushback.setSpeed(100);
    QSignalSpy started(&pushback, &PushbackController::pushbackStarted);
    pushback.start(PushbackController::Direction(direction)); // not connected
    QCOMPARE(started.size(), 0);
    QVERIFY(backend.calls().isEmpty());

    backend.connect();
    pushback.start(PushbackController::Direction(direction));
    QCOMPARE(started.size(), 1);
    QVERIFY(backend.callsOf(QStringLiteral("event")).isEmpty()); // no tug on X-Plane
    QFETCH(double, vx);
    QFETCH(double, vz);
    QFETCH(double, r);
    QVERIFY(near(backend.lastValue("sim/flightmodel/position/local_vx"), vx));
    QCOMPARE(backend.lastValue("sim/flightmodel/position/local_vy"), 0.0);
    QVERIFY(near(backend.lastValue("sim/flightmodel/position/local_vz"), vz));
    QVERIFY(near(backend.lastValue("sim/flightmodel/position/R"), r, 1e-4));

    // The 50 ms timer keeps writing.
    backend.clearCalls();
    QTRY_VERIFY_WITH_TIMEOUT(backend.callsOf(QStringLiteral("setData")).size() >= 18, 1000);
    QSignalSpy stopped(&pushback, &PushbackController::pushbackStopped);
    pushback.stop();
    QCOMPARE(stopped.size(), 1);
    QCOMPARE(pushback.direction(), PushbackController::Idle);
    QCOMPARE(backend.lastValue("sim/flightmodel/position/local_vx"), 0.0);
    QCOMPARE(backend.lastValue("sim/flightmodel/position/R"), 0.0);
    backend.clearCalls();
    QTest::qWait(120);
    QVERIFY(backend.calls().isEmpty());
    pushback.stop(); // not running: nothing more
    QCOMPARE(stopped.size(), 1);
}

void TestPushbackSlew::simConnectPushAndStop()
{
    RecordingSimBackend backend(SimType::Prepar3D);
    backend.connect();
    backend.publish(sampleAt(31, 121, 13, 90));
    PushbackController pushback;
    pushback.setBackend(&backend);
    pushback.setSpeed(100);
    pushback.start(PushbackController::TurnPositive);
    const QList<RecordingSimBackend::Call> events = backend.callsOf(QStringLiteral("event"));
    QCOMPARE(events.first().name, QStringLiteral("TOGGLE_PUSHBACK"));
    QVERIFY(near(backend.lastValue("Velocity Body Z"), 3 * 1.68781 * -0.2));
    QCOMPARE(backend.lastValue("Pushback Wait"), 1.0);
    QVERIFY(backend.lastValue("Rotation Velocity Body Y") > 0);
    QCOMPARE(events.last().name, QStringLiteral("KEY_TUG_HEADING"));
    // 0..2^32 stands for 0..360 degrees; the tug points a little right of the nose.
    const double tugDeg = events.last().value / 4294967296.0 * 360.0;
    QVERIFY2(tugDeg > 90 && tugDeg < 91, qPrintable(QString::number(tugDeg)));

    backend.clearCalls();
    pushback.stop();
    QCOMPARE(backend.callsOf(QStringLiteral("event")).size(), 1);
    QCOMPARE(backend.callsOf(QStringLiteral("event")).first().name, QStringLiteral("TOGGLE_PUSHBACK"));
    QCOMPARE(backend.lastValue("Velocity Body Z"), 0.0);
    QCOMPARE(backend.lastValue("Rotation Velocity Body Y"), 0.0);
}

void TestPushbackSlew::remotePushGoesToAgent()
{
    RecordingSimBackend backend(SimType::XPlane12);
    backend.connect();
    RecordingBridgeLink bridge;
    bridge.registerAgent(QStringLiteral("c"), QStringLiteral("FSX"));
    SimOperationDispatcher dispatcher;
    dispatcher.setBridgeServer(&bridge);
    dispatcher.setTarget(QStringLiteral("c"));
    PushbackController pushback;
    pushback.setBackend(&backend);
    pushback.setDispatcher(&dispatcher);
    pushback.start(PushbackController::Straight);
    dispatcher.setTarget(QString()); // switching away does not reroute the running push
    pushback.stop();
    QVERIFY(backend.calls().isEmpty());
    const QList<QJsonObject> sent = bridge.messages(QStringLiteral("c"));
    QCOMPARE(sent.first().value("action").toString(), QStringLiteral("transmit_event"));
    QCOMPARE(sent.first().value("eventId").toString(), QStringLiteral("TOGGLE_PUSHBACK"));
    QCOMPARE(sent.last().value("eventId").toString(), QStringLiteral("TOGGLE_PUSHBACK"));
    bool velocity = false;
    for (const QJsonObject &message : sent)
        velocity |= message.value("dataRef").toString() == QLatin1String("Velocity Body Z");
    QVERIFY(velocity);
}

void TestPushbackSlew::slewSteps_data()
{
    QTest::addColumn<QString>("step");
    QTest::addColumn<double>("amount");
    QTest::addColumn<double>("lat");
    QTest::addColumn<double>("lon");
    QTest::addColumn<double>("heading");
    QTest::addColumn<double>("altitude");
    QTest::addColumn<double>("dLat");
    QTest::addColumn<double>("dLon");
    QTest::addColumn<double>("newHeading");
    QTest::addColumn<double>("newAltitude");
    QTest::newRow("one nm north at the equator")
        << "forward" << 6076.12 << 0.0 << 30.0 << 0.0 << 100.0 << 1.0 / 60 << 0.0 << 0.0 << 100.0;
    QTest::newRow("right at 60N doubles the longitude step")
        << "right" << 6076.12 << 60.0 << 30.0 << 0.0 << 100.0 << 0.0 << 2.0 / 60 << 0.0 << 100.0;
    QTest::newRow("forward heading 225") << "forward" << 6076.12 * std::sqrt(2.0) << 0.0 << 30.0 << 225.0 << 0.0
                                         << -1.0 / 60 << -1.0 / 60 << 225.0 << 0.0;
    QTest::newRow("up") << "up" << 500.0 << 10.0 << 30.0 << 90.0 << 1000.0 << 0.0 << 0.0 << 90.0 << 1500.0;
    QTest::newRow("rotate -30 from 10") << "rotate" << -30.0 << 10.0 << 30.0 << 10.0 << 0.0 << 0.0 << 0.0 << 340.0
                                        << 0.0;
    QTest::newRow("rotate past north") << "rotate" << 20.0 << 10.0 << 30.0 << 350.0 << 0.0 << 0.0 << 0.0 << 10.0 << 0.0;
}

void TestPushbackSlew::slewSteps()
{
    QFETCH(QString, step);
    QFETCH(double, amount);
    QFETCH(double, lat);
    QFETCH(double, lon);
    QFETCH(double, heading);
    QFETCH(double, altitude);
    RecordingSimBackend backend(SimType::XPlane11);
    backend.connect();
    backend.publish(sampleAt(lat, lon, altitude, heading));
    SlewController slew;
    slew.setBackend(&backend);
    if (step == QLatin1String("forward"))
        slew.moveForward(amount);
    else if (step == QLatin1String("right"))
        slew.moveRight(amount);
    else if (step == QLatin1String("up"))
        slew.moveUp(amount);
    else
        slew.rotateRight(amount);
    const QList<double> args = backend.callsOf(QStringLiteral("position")).value(0).args;
    QCOMPARE(args.size(), 8);
    QFETCH(double, dLat);
    QFETCH(double, dLon);
    QFETCH(double, newHeading);
    QFETCH(double, newAltitude);
    QVERIFY2(near(args[0] - lat, dLat, 1e-12), qPrintable(QString::number(args[0] - lat, 'g', 17)));
    QVERIFY2(near(args[1] - lon, dLon, 1e-12), qPrintable(QString::number(args[1] - lon, 'g', 17)));
    QVERIFY(near(args[2], newAltitude * 0.3048));
    QCOMPARE(args[5], newHeading);
    QCOMPARE(args[6], 0.0);
}

void TestPushbackSlew::slewTargetLifecycle()
{
    RecordingSimBackend backend(SimType::XPlane12);
    SlewController slew;
    slew.setBackend(&backend);
    slew.moveUp(100); // nowhere to take a target from
    QVERIFY(!slew.hasTarget());
    QVERIFY(backend.calls().isEmpty());

    backend.connect();
    backend.publish(sampleAt(31, 121, 1000, 90));
    slew.enable();
    slew.moveUp(100);
    backend.publish(sampleAt(32, 122, 5000, 180)); // the simulator moved on its own
    slew.moveUp(100);
    QCOMPARE(slew.targetAltFt(), 1200.0); // steps build on the kept target
    QCOMPARE(slew.targetLat(), 31.0);
    slew.disable();
    slew.moveUp(100);
    QCOMPARE(slew.targetAltFt(), 5100.0);
    QCOMPARE(slew.targetHeading(), 180.0);
    slew.pitchUp(5);
    QCOMPARE(backend.callsOf(QStringLiteral("position")).size(), 3);

    // Remote: the agent's report seeds the target and the step leaves as a reposition.
    RecordingBridgeLink bridge;
    bridge.registerAgent(QStringLiteral("d"), QStringLiteral("X-Plane 12"));
    RemoteAircraft remote;
    remote.lat = 40;
    remote.lon = 116;
    remote.alt = 300;
    remote.hdg = 270;
    bridge.setRemoteAircraft(QStringLiteral("d"), remote);
    SimOperationDispatcher dispatcher;
    dispatcher.setBridgeServer(&bridge);
    dispatcher.setTarget(QStringLiteral("d"));
    slew.setDispatcher(&dispatcher);
    slew.disable();
    slew.rotateRight(15);
    const QJsonObject sent = bridge.messages(QStringLiteral("d")).value(0);
    QCOMPARE(sent.value("action").toString(), QStringLiteral("reposition"));
    QCOMPARE(sent.value("hdg").toDouble(), 285.0);
    QCOMPARE(sent.value("alt").toDouble(), 300.0);
    QCOMPARE(sent.value("onGround").toBool(), false);
    QCOMPARE(sent.value("speed").toDouble(), 0.0);
    QCOMPARE(backend.callsOf(QStringLiteral("position")).size(), 3);
}

QTEST_MAIN(TestPushbackSlew)
#include "tst_pushbackslew.moc"
