#include "recordingbridgelink.h"
#include "recordingsimbackend.h"

#include "control/positionaircraft.h"
#include "nav/databasebuilder.h"
#include "nav/navdataprovider.h"
#include "sim/simoperationdispatcher.h"
#include "tests/support/logexpect.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>

namespace {

// Independent reference: haversine distance and the sine rule, on the same 3440.065 nm sphere.
double distanceNm(double lat1, double lon1, double lat2, double lon2)
{
    const double r = M_PI / 180.0;
    const double a = std::pow(std::sin((lat2 - lat1) * r / 2), 2) +
                     std::cos(lat1 * r) * std::cos(lat2 * r) * std::pow(std::sin((lon2 - lon1) * r / 2), 2);
    return 2 * 3440.065 * std::asin(std::sqrt(a));
}

// Signed cross-track offset of point p from the line through t along course (nm, right positive),
// flat-earth: good to metres over a few miles.
double rightOfCourseNm(double tLat, double tLon, double courseDeg, double pLat, double pLon)
{
    const double north = (pLat - tLat) * 60.0;
    const double east = (pLon - tLon) * 60.0 * std::cos(tLat * M_PI / 180.0);
    const double c = courseDeg * M_PI / 180.0;
    return east * std::cos(c) - north * std::sin(c);
}

const double kThrLat = 31.12;
const double kThrLon = 121.80;

} // namespace

class TestPositionAircraft : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void destinationAgainstReference_data();
    void destinationAgainstReference();
    void finalAltitudeAndPlace_data();
    void finalAltitudeAndPlace();
    void vectorsSideAndAltitude_data();
    void vectorsSideAndAltitude();
    void patternLegs_data();
    void patternLegs();
    void localAndRemoteRoutes();
    void gateRules_data();
    void gateRules();

private:
    QTemporaryDir m_dir;
    QString m_navPath;
};

void TestPositionAircraft::initTestCase()
{
    // One small database with parkings for every gate case (each file costs a few syncs).
    m_navPath = m_dir.filePath(QStringLiteral("nav.db"));
    DatabaseBuilder builder;
    QVERIFY(builder.createCompleteSchema(m_navPath));
    QVERIFY(builder.executeSql(
        m_navPath,
        {"INSERT INTO airports (icao, name, lat, lon, elevation) VALUES ('ZSPD', 'Pudong', 31.14, 121.80, 13)",
         "INSERT INTO airports (icao, name, lat, lon, elevation) VALUES ('ZBAA', 'Capital', 40.08, 116.58, 116)",
         "INSERT INTO parkings (airport_icao, name, lat, lon, heading) VALUES ('ZSPD', 'A1', 31.15, 121.81, 90)",
         "INSERT INTO parkings (airport_icao, name, lat, lon, heading) VALUES ('ZSPD', 'B2', 31.16, 121.82, 180)",
         "INSERT INTO parkings (airport_icao, name, lat, lon, heading) VALUES ('ZSPD', 'b2', 31.17, 121.83, 270)"}));
}

void TestPositionAircraft::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
}

void TestPositionAircraft::destinationAgainstReference_data()
{
    QTest::addColumn<double>("lat");
    QTest::addColumn<double>("lon");
    QTest::addColumn<double>("bearing");
    QTest::addColumn<double>("distance");
    QTest::addColumn<double>("expectedLat");
    QTest::addColumn<double>("expectedLon");
    // Along the equator a distance is an arc of d / R radians; along a meridian the same.
    const double oneNmDeg = 180.0 / M_PI / 3440.065;
    QTest::newRow("east on equator") << 0.0 << 10.0 << 90.0 << 60.0 << 0.0 << 10.0 + 60 * oneNmDeg;
    QTest::newRow("north on meridian") << 45.0 << -70.0 << 0.0 << 30.0 << 45.0 + 30 * oneNmDeg << -70.0;
    QTest::newRow("across antimeridian east") << 0.0 << 179.9 << 90.0 << 12.0 << 0.0 << 179.9 + 12 * oneNmDeg - 360.0;
    QTest::newRow("across antimeridian west") << 0.0 << -179.95 << 270.0 << 6.0 << 0.0 << 180.0 - (6 * oneNmDeg - 0.05);
    QTest::newRow("landing on 180 folds to -180") << 0.0 << 179.0 << 90.0 << 1.0 / oneNmDeg << 0.0 << -180.0;
}

void TestPositionAircraft::destinationAgainstReference()
{
    QFETCH(double, lat);
    QFETCH(double, lon);
    QFETCH(double, bearing);
    QFETCH(double, distance);
    double lat2 = 0;
    double lon2 = 0;
    PositionAircraft::destination(lat, lon, bearing, distance, lat2, lon2);
    QVERIFY(lon2 >= -180.0 && lon2 < 180.0);
    QFETCH(double, expectedLat);
    QFETCH(double, expectedLon);
    QVERIFY2(std::abs(lat2 - expectedLat) < 1e-9, qPrintable(QString::number(lat2, 'f', 10)));
    QVERIFY2(std::abs(lon2 - expectedLon) < 1e-9, qPrintable(QString::number(lon2, 'f', 10)));
    // Going back on the reverse of the final bearing returns to the start.
    const double back = PositionAircraft::bearing(lat2, lon2, lat, lon);
    QVERIFY(back >= 0 && back < 360);
    QVERIFY(std::abs(distanceNm(lat, lon, lat2, lon2) - distance) < 1e-6);
}

void TestPositionAircraft::finalAltitudeAndPlace_data()
{
    QTest::addColumn<double>("elevation");
    QTest::addColumn<double>("distance");
    QTest::addColumn<double>("extra");
    QTest::addColumn<double>("heading");
    QTest::addColumn<double>("altitude");
    QTest::newRow("500 ft floor") << 1000.0 << 0.5 << 0.0 << 350.0 << 1500.0;
    QTest::newRow("three degrees at 3 nm") << 13.0 << 3.0 << 0.0 << 344.0 << 967.0;
    QTest::newRow("extra height") << 13.0 << 10.0 << 500.0 << 164.0 << 3693.0;
    QTest::newRow("heading 360 stays below 360") << 0.0 << 15.0 << 0.0 << 360.0 << 4770.0;
}

void TestPositionAircraft::finalAltitudeAndPlace()
{
    QFETCH(double, elevation);
    QFETCH(double, distance);
    QFETCH(double, extra);
    QFETCH(double, heading);
    PositionAircraft positioning;
    const PositionResult r = positioning.calcFinalPosition(kThrLat, kThrLon, heading, elevation, distance, extra);
    QTEST(r.alt, "altitude");
    QCOMPARE(r.heading, std::fmod(heading, 360.0));
    QVERIFY(std::abs(distanceNm(kThrLat, kThrLon, r.lat, r.lon) - distance) < 1e-6);
    // On the extended centreline behind the threshold: seen from it, on the reciprocal bearing.
    const double reciprocal = std::fmod(heading + 180.0, 360.0);
    QVERIFY(std::abs(PositionAircraft::bearing(kThrLat, kThrLon, r.lat, r.lon) - reciprocal) < 1e-6);
}

void TestPositionAircraft::vectorsSideAndAltitude_data()
{
    QTest::addColumn<QString>("side");
    QTest::addColumn<double>("distance");
    QTest::addColumn<double>("altitude");
    QTest::addColumn<double>("heading");
    QTest::addColumn<double>("offsetRight");
    QTest::newRow("right at 10 nm") << "right" << 10.0 << 3280.0 << 70.0 << 2.0;
    QTest::newRow("left at 1 nm: 1000 ft floor") << "left" << 1.0 << 1100.0 << 130.0 << -2.0;
    QTest::newRow("Right with capital R is left") << "Right" << 10.0 << 3280.0 << 130.0 << -2.0;
    QTest::newRow("anything else is left") << "" << 5.0 << 1690.0 << 130.0 << -2.0;
}

void TestPositionAircraft::vectorsSideAndAltitude()
{
    QFETCH(QString, side);
    QFETCH(double, distance);
    PositionAircraft positioning;
    const PositionResult r = positioning.calcVectorsPosition(kThrLat, kThrLon, 100.0, 100.0, side, distance, 30.0);
    QTEST(r.alt, "altitude");
    QTEST(r.heading, "heading");
    QFETCH(double, offsetRight);
    // Seen along the runway heading, right of the centreline is positive.
    QVERIFY2(std::abs(rightOfCourseNm(kThrLat, kThrLon, 100.0, r.lat, r.lon) - offsetRight) < 0.05,
             qPrintable(QString::number(rightOfCourseNm(kThrLat, kThrLon, 100.0, r.lat, r.lon))));
}

void TestPositionAircraft::patternLegs_data()
{
    // Runway heading 360: north is along the runway, east is its right.
    QTest::addColumn<QString>("leg");
    QTest::addColumn<double>("heading");
    QTest::addColumn<double>("northNm");
    QTest::addColumn<double>("eastNm");
    QTest::addColumn<double>("altitude");
    QTest::newRow("downwind_left: west, heading 180") << "downwind_left" << 180.0 << -0.5 << -1.0 << 1500.0;
    QTest::newRow("downwind_right: east") << "downwind_right" << 180.0 << -0.5 << 1.0 << 1500.0;
    QTest::newRow("base_left: south-east, heading 090") << "base_left" << 90.0 << -1.0 << 1.0 << 1500.0;
    QTest::newRow("base_right: south-west, heading 270") << "base_right" << 270.0 << -1.0 << -1.0 << 1500.0;
    QTest::newRow("crosswind_left: beyond, heading 270") << "crosswind_left" << 270.0 << 1.0 << -0.5 << 1500.0;
    QTest::newRow("crosswind_right") << "crosswind_right" << 90.0 << 1.0 << 0.5 << 1500.0;
    QTest::newRow("Left capitalised is right-hand") << "downwind_Left" << 180.0 << -0.5 << 1.0 << 1500.0;
    QTest::newRow("upwind: threshold at field elevation") << "upwind" << 360.0 << 0.0 << 0.0 << 500.0;
}

void TestPositionAircraft::patternLegs()
{
    QFETCH(QString, leg);
    PositionAircraft positioning;
    const PositionResult r = positioning.calcPatternPosition(kThrLat, kThrLon, 360.0, 500.0, leg, 1000.0, 1.0);
    QTEST(r.heading, "heading");
    QTEST(r.alt, "altitude");
    QFETCH(double, northNm);
    QFETCH(double, eastNm);
    const double north = (r.lat - kThrLat) * 60.0;
    const double east = (r.lon - kThrLon) * 60.0 * std::cos(kThrLat * M_PI / 180.0);
    QVERIFY2(std::abs(north - northNm) < 0.01 && std::abs(east - eastNm) < 0.01,
             qPrintable(QStringLiteral("north %1 east %2").arg(north).arg(east)));
}

void TestPositionAircraft::localAndRemoteRoutes()
{
    RecordingSimBackend backend(SimType::XPlane12);
    PositionAircraft positioning;
    QSignalSpy set(&positioning, &PositionAircraft::positionSet);
    QSignalSpy failed(&positioning, &PositionAircraft::positionFailed);

    positioning.positionAt(31.0, 121.0, 5000, 90); // no backend
    positioning.setBackend(&backend);
    positioning.positionAtFinal(QStringLiteral("35L"), kThrLat, kThrLon, 344, 13, 3, 0); // not connected
    QCOMPARE(failed.size(), 2);
    QCOMPARE(failed.at(1).at(0).toString(), QStringLiteral("模拟器未连接"));
    QVERIFY(backend.calls().isEmpty());

    backend.connect();
    positioning.positionAtFinal(QStringLiteral("35L"), kThrLat, kThrLon, 344, 13, 3, 0);
    QCOMPARE(set.size(), 1);
    QCOMPARE(set.at(0).at(0).toString(), QStringLiteral("35L Final 3.0nm @ 967ft hdg 344°"));
    const QList<double> args = backend.callsOf(QStringLiteral("position")).value(0).args;
    QCOMPARE(args.size(), 8);
    QVERIFY(std::abs(args[2] - 967 * 0.3048) < 1e-9); // metres
    QCOMPARE(args[3], 0.0);
    QCOMPARE(args[4], 0.0);
    QCOMPARE(args[5], 344.0);
    QCOMPARE(args[6], 0.0); // airborne
    QCOMPARE(args[7], 200.0);

    positioning.positionAtRunway(QStringLiteral("17R"), kThrLat, kThrLon, 164, 13);
    QCOMPARE(set.last().at(0).toString(), QStringLiteral("17R 跑道 164° @ 13ft"));
    QCOMPARE(backend.callsOf(QStringLiteral("position")).last().args.mid(5), (QList<double>{164, 1, 0}));

    // A remote target gets the command in feet even with the local simulator gone.
    backend.disconnect();
    RecordingBridgeLink bridge;
    bridge.registerAgent(QStringLiteral("a1"), QStringLiteral("MSFS 2020"));
    SimOperationDispatcher dispatcher;
    dispatcher.setBridgeServer(&bridge);
    dispatcher.setTarget(QStringLiteral("a1"));
    positioning.setDispatcher(&dispatcher);
    positioning.positionAtPattern(QStringLiteral("35L"), kThrLat, kThrLon, 344, 13, QStringLiteral("base_left"), 1000,
                                  1.0);
    const QJsonObject command = bridge.messages(QStringLiteral("a1")).value(0);
    QCOMPARE(command.value("action").toString(), QStringLiteral("reposition"));
    QCOMPARE(command.value("alt").toDouble(), 1013.0);
    QCOMPARE(command.value("hdg").toDouble(), 74.0);
    QCOMPARE(command.value("speed").toDouble(), 150.0);
    QCOMPARE(command.value("onGround").toBool(), false);
    QCOMPARE(set.last().at(0).toString(), QStringLiteral("35L Pattern base_left @ 1013ft hdg 74°"));
    QCOMPARE(backend.callsOf(QStringLiteral("position")).size(), 2);
}

void TestPositionAircraft::gateRules_data()
{
    QTest::addColumn<bool>("connected");
    QTest::addColumn<bool>("withNav");
    QTest::addColumn<QString>("airport");
    QTest::addColumn<QString>("parking");
    QTest::addColumn<QString>("outcome");
    QTest::newRow("not connected, even with a remote target") << false << true << "ZSPD"
                                                              << ""
                                                              << "failed:模拟器未连接";
    QTest::newRow("no navigation data") << true << false << "ZSPD"
                                        << ""
                                        << "failed:导航数据未加载";
    QTest::newRow("no parkings") << true << true << "ZBAA"
                                 << ""
                                 << "failed:ZBAA 无停机位数据";
    QTest::newRow("unknown parking") << true << true << "ZSPD"
                                     << "B99"
                                     << "failed:未找到停机位 B99";
    QTest::newRow("empty name takes the first") << true << true << "ZSPD"
                                                << ""
                                                << "ZSPD A1 hdg 90°";
    QTest::newRow("case-insensitive, first match") << true << true << "ZSPD"
                                                   << "b2"
                                                   << "ZSPD B2 hdg 180°";
}

void TestPositionAircraft::gateRules()
{
    QFETCH(bool, connected);
    QFETCH(bool, withNav);
    NavDataProvider nav;
    nav.initializeOffline();
    QVERIFY(nav.loadFromDatabase(m_navPath));

    RecordingSimBackend backend(SimType::XPlane11);
    if (connected)
        backend.connect();
    RecordingBridgeLink bridge;
    bridge.registerAgent(QStringLiteral("a1"), QStringLiteral("X-Plane 11"));
    SimOperationDispatcher dispatcher;
    dispatcher.setBridgeServer(&bridge);
    if (!connected)
        dispatcher.setTarget(QStringLiteral("a1"));
    PositionAircraft positioning;
    positioning.setBackend(&backend);
    positioning.setDispatcher(&dispatcher);
    if (withNav)
        positioning.setNavDataProvider(&nav);
    QSignalSpy set(&positioning, &PositionAircraft::positionSet);
    QSignalSpy failed(&positioning, &PositionAircraft::positionFailed);

    QFETCH(QString, airport);
    QFETCH(QString, parking);
    positioning.positionAtGate(airport, parking);
    QCOMPARE(set.size() + failed.size(), 1);
    const QString outcome =
        failed.isEmpty() ? set.first().at(0).toString() : QStringLiteral("failed:") + failed.first().at(0).toString();
    QTEST(outcome, "outcome");
    if (failed.isEmpty()) {
        const QList<double> args = backend.callsOf(QStringLiteral("position")).value(0).args;
        QCOMPARE(args.value(2), 0.0);
        QCOMPARE(args.value(6), 1.0); // on the ground
    } else {
        QVERIFY(backend.calls().isEmpty());
        QVERIFY(bridge.lines(QStringLiteral("a1")).isEmpty());
    }
}

QTEST_MAIN(TestPositionAircraft)
#include "tst_positionaircraft.moc"
