#include "plan/flightplanfile.h"
#include "tests/support/logexpect.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>

using Type = FlightPlanWaypoint::Type;
using Segment = FlightPlanWaypoint::Segment;

namespace {

const QString kFixtures = QStringLiteral(SHARED_TESTDATA_DIR "/flightplans/aerofly-missions-fixtures/");

FlightPlanWaypoint point(const char *ident, Type type, Segment segment, double lat, double lon, double altitudeFt,
                         const char *airway = "", const char *region = "", const char *procedure = "")
{
    FlightPlanWaypoint w;
    w.ident = QString::fromLatin1(ident);
    w.type = type;
    w.segment = segment;
    w.lat = lat;
    w.lon = lon;
    w.altitudeFt = altitudeFt;
    w.airway = QString::fromLatin1(airway);
    w.region = QString::fromLatin1(region);
    w.procedure = QString::fromLatin1(procedure);
    return w;
}

// A plan as the route planner builds it: SID, airways, a latitude/longitude point, STAR, approach.
FlightPlan plannedPlan()
{
    FlightPlan p;
    p.title = QStringLiteral("ZSPD to ZBAA");
    p.departure = QStringLiteral("ZSPD");
    p.departureName = QStringLiteral("Shanghai Pudong Intl");
    p.departureRunway = QStringLiteral("35L");
    p.sid = QStringLiteral("POMO1A");
    p.destination = QStringLiteral("ZBAA");
    p.destinationName = QStringLiteral("Beijing-Capital");
    p.destinationRunway = QStringLiteral("36R");
    p.star = QStringLiteral("VYK1A");
    p.approach = QStringLiteral("I36R");
    p.cruiseAltitudeFt = 29100;
    p.waypoints = {
        point("ZSPD", Type::Airport, Segment::Departure, 31.1434, 121.8052, 13),
        point("PUD", Type::Vor, Segment::Sid, 31.168333, 121.78, 3000, "", "ZS", "POMO1A"),
        point("POMOK", Type::Fix, Segment::Sid, 31.450000, 121.116667, 6000, "", "ZS", "POMO1A"),
        point("PIKAS", Type::Fix, Segment::Enroute, 32.166667, 120.733333, 29100, "G330", "ZS"),
        point("UNTAN", Type::Fix, Segment::Enroute, 32.5, 120.25, 29100, "G330", "ZS"),
        point("3300N11900E", Type::User, Segment::Enroute, 33.0, 119.0, 29100),
        point("XLN", Type::Ndb, Segment::Enroute, 36.123456, -118.654321, 29100, "W157", "ZB"),
        point("VYK", Type::Vor, Segment::Star, 39.191667, 116.571667, 9800, "", "ZB", "VYK1A"),
        point("WFNB", Type::Fix, Segment::Star, 39.95, 116.866667, 5000, "", "ZB", "VYK1A"),
        point("RW36R", Type::User, Segment::Approach, 40.055453, 116.600113, 150, "", "", "I36R"),
        point("ZBAA", Type::Airport, Segment::Destination, 40.0801, 116.5846, 115),
    };
    return p;
}

// What a format that leaves the procedures' points to the simulator keeps of a plan.
FlightPlan withoutProcedurePoints(FlightPlan plan)
{
    plan.waypoints.erase(std::remove_if(plan.waypoints.begin(), plan.waypoints.end(),
                                        [](const FlightPlanWaypoint &w) {
                                            return w.segment == Segment::Sid || w.segment == Segment::Star ||
                                                   w.segment == Segment::Approach;
                                        }),
                         plan.waypoints.end());
    return plan;
}

QString describe(const FlightPlan &plan)
{
    QStringList parts{plan.departure,
                      plan.departureRunway,
                      plan.sid,
                      plan.sidTransition,
                      plan.star,
                      plan.starTransition,
                      plan.approach,
                      plan.approachTransition,
                      plan.destinationRunway,
                      QString::number(plan.cruiseAltitudeFt),
                      plan.title,
                      plan.departureName};
    for (const FlightPlanWaypoint &w : plan.waypoints)
        parts << QStringLiteral("%1/%2/%3/%4,%5/%6/%7/%8/%9")
                     .arg(w.ident)
                     .arg(int(w.type))
                     .arg(int(w.segment))
                     .arg(w.lat, 0, 'f', 7)
                     .arg(w.lon, 0, 'f', 7)
                     .arg(w.altitudeFt)
                     .arg(w.airway, w.region, w.procedure);
    return parts.join(' ');
}

} // namespace

class TestFlightPlanFile : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }

    void readsEveryFileFromElsewhere_data();
    void readsEveryFileFromElsewhere();
    void positionStrings_data();
    void positionStrings();
    void ownFilesReadBackIdentically();
    void conversionKeepsTheWaypoints_data();
    void conversionKeepsTheWaypoints();
    void badInputIsRefused_data();
    void badInputIsRefused();
    void airacCycles_data();
    void airacCycles();
};

void TestFlightPlanFile::readsEveryFileFromElsewhere_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("departure");
    QTest::addColumn<QString>("destination");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("cruise");
    // One point checked against its text in the file: index, ident, latitude, longitude.
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("ident");
    QTest::addColumn<double>("lat");
    QTest::addColumn<double>("lon");
    QTest::addColumn<bool>("allPositioned");

    // N24° 35' 9.16",W81° 48' 1.71"
    QTest::newRow("khwo-fsx.pln") << "khwo-fsx.pln"
                                  << "KEYW"
                                  << "KHWO" << 10 << 2500 << 3 << "EYW" << 24 + 35 / 60.0 + 9.16 / 3600
                                  << -(81 + 48 / 60.0 + 1.71 / 3600) << true;
    QTest::newRow("khwo-msfs2020.pln") << "khwo-msfs2020.pln"
                                       << "KEYW"
                                       << "KHWO" << 10 << 2500 << 3 << "EYW" << 24 + 35 / 60.0 + 9.16 / 3600
                                       << -(81 + 48 / 60.0 + 1.71 / 3600) << true;
    QTest::newRow("khwo-xplane12.fms") << "khwo-xplane12.fms"
                                       << "KEYW"
                                       << "KHWO" << 10 << 2500 << 3 << "EYW" << 24.585878 << -81.800476 << true;
    // N52° 43' 2.91",W4° 3' 30.03"
    QTest::newRow("EGOV.pln") << "EGOV.pln"
                              << "EGOV"
                              << "EGOV" << 16 << 2500 << 1 << "1.BARM" << 52 + 43 / 60.0 + 2.91 / 3600
                              << -(4 + 3 / 60.0 + 30.03 / 3600) << true;
    QTest::newRow("egov-lnavmap.pln") << "egov-lnavmap.pln"
                                      << "EGOV"
                                      << "EGOV" << 16 << 2500 << 1 << "1.BARM" << 52 + 43 / 60.0 + 2.91 / 3600
                                      << -(4 + 3 / 60.0 + 30.03 / 3600) << true;
    QTest::newRow("egov-lnavmap.fms") << "egov-lnavmap.fms"
                                      << "EGOV"
                                      << "EGOV" << 16 << 2500 << 1 << "1.BARM" << 52.717476 << -4.058342 << true;
    // N60° 7' 19.00",E19° 53' 47.00"
    QTest::newRow("EFMA-lnavmap.pln") << "EFMA-lnavmap.pln"
                                      << "EFMA"
                                      << "EFMA" << 11 << 2500 << 0 << "EFMA" << 60 + 7 / 60.0 + 19 / 3600.0
                                      << 19 + 53 / 60.0 + 47 / 3600.0 << true;
    QTest::newRow("EFMA-lnavmap.fms") << "EFMA-lnavmap.fms"
                                      << "EFMA"
                                      << "EFMA" << 11 << 2500 << 4 << "TEB" << 59.531696 << 18.203333 << true;
    // Its count line says 11; the file lists 9 points.
    QTest::newRow("ENHD_local_flight.fms") << "ENHD_local_flight.fms"
                                           << "ENHD"
                                           << "ENHD" << 9 << 4500 << 8 << "ENHD" << 59.343252 << 5.212598 << true;
    // The 2024 layout names neither airport as a point and gives the route points no position.
    QTest::newRow("simbrief-mfs2024.pln") << "simbrief-mfs2024.pln"
                                          << "EKRK"
                                          << "EGLC" << 9 << 43000 << 1 << "TOBIS" << 0.0 << 0.0 << false;
}

void TestFlightPlanFile::readsEveryFileFromElsewhere()
{
    QFETCH(QString, file);
    QFETCH(QString, departure);
    QFETCH(QString, destination);
    QFETCH(int, count);
    QFETCH(int, cruise);
    QFETCH(int, index);
    QFETCH(QString, ident);
    QFETCH(double, lat);
    QFETCH(double, lon);
    QFETCH(bool, allPositioned);
    if (!QFile::exists(kFixtures + file))
        QSKIP("shared test data not present");
    FlightPlan plan;
    QString error;
    QVERIFY2(FlightPlanFile::read(kFixtures + file, &plan, &error), qPrintable(error));
    QCOMPARE(plan.departure, departure);
    QCOMPARE(plan.destination, destination);
    QCOMPARE(plan.waypoints.size(), count);
    QCOMPARE(plan.cruiseAltitudeFt, cruise);
    QCOMPARE(plan.waypoints.first().segment, Segment::Departure);
    QCOMPARE(plan.waypoints.first().ident, departure);
    QCOMPARE(plan.waypoints.last().segment, Segment::Destination);
    QCOMPARE(plan.waypoints.last().ident, destination);
    const FlightPlanWaypoint &w = plan.waypoints.at(index);
    QCOMPARE(w.ident, ident);
    if (allPositioned) {
        QVERIFY2(std::abs(w.lat - lat) < 1e-6 && std::abs(w.lon - lon) < 1e-6,
                 qPrintable(QStringLiteral("%1 %2").arg(w.lat, 0, 'f', 7).arg(w.lon, 0, 'f', 7)));
    }
    for (const FlightPlanWaypoint &p : std::as_const(plan.waypoints)) {
        QCOMPARE(p.positioned, allPositioned || p.type == Type::User);
        if (p.positioned)
            QVERIFY(p.lat != 0.0 && p.lon != 0.0);
    }
}

void TestFlightPlanFile::positionStrings_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<double>("lat");
    QTest::addColumn<double>("lon");
    QTest::addColumn<double>("altitude");

    QTest::newRow("documented form") << "N47° 27' 0.00\",W122° 18' 0.00\",+000433.00" << true << 47.45 << -122.3
                                     << 433.0;
    QTest::newRow("star for degrees") << "S33* 56' 46.00\",E151* 10' 38.00\",-000010.50" << true
                                      << -(33 + 56 / 60.0 + 46 / 3600.0) << 151 + 10 / 60.0 + 38 / 3600.0 << -10.5;
    QTest::newRow("no altitude") << "N0° 0' 1.00\",E0° 0' 1.00\"" << true << 1 / 3600.0 << 1 / 3600.0 << 0.0;
    QTest::newRow("hemispheres swapped") << "E47° 27' 0.00\",N122° 18' 0.00\",+0" << false << 0.0 << 0.0 << 0.0;
    QTest::newRow("minutes past 60") << "N47° 61' 0.00\",W122° 18' 0.00\",+0" << false << 0.0 << 0.0 << 0.0;
    QTest::newRow("latitude past 90") << "N91° 0' 0.00\",W122° 18' 0.00\",+0" << false << 0.0 << 0.0 << 0.0;
    QTest::newRow("one part") << "N47° 27' 0.00\"" << false << 0.0 << 0.0 << 0.0;
}

void TestFlightPlanFile::positionStrings()
{
    QFETCH(QString, text);
    QFETCH(bool, valid);
    QFETCH(double, lat);
    QFETCH(double, lon);
    QFETCH(double, altitude);
    double gotLat = 0;
    double gotLon = 0;
    double gotAlt = 0;
    QCOMPARE(FlightPlanFile::parsePlnPosition(text, &gotLat, &gotLon, &gotAlt), valid);
    if (!valid)
        return;
    QVERIFY(std::abs(gotLat - lat) < 1e-9 && std::abs(gotLon - lon) < 1e-9);
    QCOMPARE(gotAlt, altitude);
    // Written back, it reads as the same point (hundredths of a second: within 3e-6 degrees).
    const QString again = FlightPlanFile::formatPlnPosition(gotLat, gotLon, gotAlt);
    double lat2 = 0;
    double lon2 = 0;
    double alt2 = 0;
    QVERIFY2(FlightPlanFile::parsePlnPosition(again, &lat2, &lon2, &alt2), qPrintable(again));
    QVERIFY(std::abs(lat2 - lat) < 3e-6 && std::abs(lon2 - lon) < 3e-6 && std::abs(alt2 - altitude) < 0.006);
}

void TestFlightPlanFile::ownFilesReadBackIdentically()
{
    const FlightPlan plan = plannedPlan();
    FlightPlan read;
    QString error;

    // Classic .pln: every point, without transitions.
    QVERIFY2(FlightPlanFile::readPln(FlightPlanFile::writePln(plan, false), &read, &error), qPrintable(error));
    QVERIFY2(read == plan, qPrintable(describe(read) + "\n" + describe(plan)));

    // MSFS 2024 .pln: procedures by name, with transitions.
    FlightPlan named = plan;
    named.sidTransition = QStringLiteral("PIKAS");
    named.starTransition = QStringLiteral("OKTON");
    named.approachTransition = QStringLiteral("WFNB");
    QVERIFY2(FlightPlanFile::readPln(FlightPlanFile::writePln(named, true), &read, &error), qPrintable(error));
    const FlightPlan expected2024 = withoutProcedurePoints(named);
    QVERIFY2(read == expected2024, qPrintable(describe(read) + "\n" + describe(expected2024)));

    // .fms: procedures by name, no title, airport names or regions.
    FlightPlan expectedFms = withoutProcedurePoints(named);
    expectedFms.title.clear();
    expectedFms.departureName.clear();
    expectedFms.destinationName.clear();
    for (FlightPlanWaypoint &w : expectedFms.waypoints)
        w.region.clear();
    const QByteArray fms = FlightPlanFile::writeFms(named, QStringLiteral("1601"));
    QVERIFY(fms.startsWith("I\n1100 Version\nCYCLE 1601\nADEP ZSPD\nDEPRWY RW35L\nSID POMO1A\nSIDTRANS PIKAS\n"));
    QVERIFY(fms.contains("\n3 XLN W157 29100.000000 36.123456 -118.654321\n") == false); // an NDB is code 2
    QVERIFY(fms.contains("\n2 XLN W157 29100.000000 36.123456 -118.654321\n"));
    QVERIFY2(FlightPlanFile::readFms(fms, &read, &error), qPrintable(error));
    QVERIFY2(read == expectedFms, qPrintable(describe(read) + "\n" + describe(expectedFms)));

    // Through files on disk, the format taken from the name.
    QTemporaryDir dir;
    for (const QString &name : {QStringLiteral("plan.pln"), QStringLiteral("plan.fms")}) {
        const QString path = dir.filePath(name);
        QVERIFY2(FlightPlanFile::write(named, path, FlightPlanFile::Format::Unknown, &error), qPrintable(error));
        QVERIFY2(FlightPlanFile::read(path, &read, &error), qPrintable(error));
        QCOMPARE(read.waypoints.size(), name.endsWith("pln") ? plan.waypoints.size() : expectedFms.waypoints.size());
    }
}

void TestFlightPlanFile::conversionKeepsTheWaypoints_data()
{
    QTest::addColumn<QString>("file");
    for (const char *name : {"khwo-fsx.pln", "khwo-msfs2020.pln", "EGOV.pln", "egov-lnavmap.pln", "EFMA-lnavmap.pln"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void TestFlightPlanFile::conversionKeepsTheWaypoints()
{
    QFETCH(QString, file);
    if (!QFile::exists(kFixtures + file))
        QSKIP("shared test data not present");
    QTemporaryDir dir;
    FlightPlan original;
    FlightPlan viaFms;
    FlightPlan back;
    QString error;
    QVERIFY2(FlightPlanFile::read(kFixtures + file, &original, &error), qPrintable(error));
    QVERIFY(FlightPlanFile::write(original, dir.filePath("a.fms"), FlightPlanFile::Format::Unknown, &error));
    QVERIFY(FlightPlanFile::read(dir.filePath("a.fms"), &viaFms, &error));
    QVERIFY(FlightPlanFile::write(viaFms, dir.filePath("b.pln"), FlightPlanFile::Format::Unknown, &error));
    QVERIFY2(FlightPlanFile::read(dir.filePath("b.pln"), &back, &error), qPrintable(error));
    QCOMPARE(back.departure, original.departure);
    QCOMPARE(back.destination, original.destination);
    QCOMPARE(back.cruiseAltitudeFt, original.cruiseAltitudeFt);
    QCOMPARE(back.waypoints.size(), original.waypoints.size());
    for (int i = 0; i < original.waypoints.size(); ++i) {
        const FlightPlanWaypoint &a = original.waypoints.at(i);
        const FlightPlanWaypoint &b = back.waypoints.at(i);
        QCOMPARE(b.ident, a.ident);
        QCOMPARE(b.type, a.type);
        QCOMPARE(b.segment, a.segment);
        QCOMPARE(b.airway, a.airway);
        QVERIFY(std::abs(b.lat - a.lat) < 3e-6 && std::abs(b.lon - a.lon) < 3e-6);
        QVERIFY(std::abs(b.altitudeFt - a.altitudeFt) < 0.01);
    }
}

void TestFlightPlanFile::badInputIsRefused_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("reason");

    QTest::newRow("not XML") << "a.pln" << QByteArray("I\n1100 Version\n") << "XML error";
    QTest::newRow("other XML") << "a.pln" << QByteArray("<?xml version=\"1.0\"?><gpx></gpx>") << "SimBase.Document";
    QTest::newRow("no plan element") << "a.pln" << QByteArray("<SimBase.Document><Descr>x</Descr></SimBase.Document>")
                                     << "FlightPlan.FlightPlan";
    QTest::newRow("cut off") << "a.pln"
                             << QByteArray("<SimBase.Document><FlightPlan.FlightPlan><Title>A</Title><ATCWaypoint")
                             << "XML error";
    QTest::newRow("fms without I") << "a.fms" << QByteArray("1100 Version\nNUMENR 0\n") << "no \"I\" line";
    QTest::newRow("fms version 9") << "a.fms" << QByteArray("I\n9 Version\n") << "version 9";
    QTest::newRow("fms no count") << "a.fms" << QByteArray("I\n1100 Version\nCYCLE 1601\nADEP ZSPD\n") << "NUMENR";
    QTest::newRow("fms bad number") << "a.fms" << QByteArray("I\n1100 Version\nNUMENR 1\n1 ZSPD ADEP 13 north 121\n")
                                    << "not a waypoint";
    QTest::newRow("fms latitude 95") << "a.fms" << QByteArray("I\n1100 Version\nNUMENR 1\n11 X DRCT 0 95.0 121\n")
                                     << "not a waypoint";
    QTest::newRow("fms count absurd") << "a.fms" << QByteArray("I\n1100 Version\nNUMENR 999999999\n") << "NUMENR";
    QTest::newRow("version 3 garbage") << "a.fms" << QByteArray("I\n3 version\n1\n1\n1 ZSPD zero 31 121\n")
                                       << "not a waypoint";
    QTest::newRow("too large") << "a.fms" << QByteArray(FlightPlanFile::kMaxFileBytes + 1, 'I') << "larger than";
    QTest::newRow("other extension") << "a.gpx" << QByteArray("<gpx/>") << "not a .pln or .fms";
}

void TestFlightPlanFile::badInputIsRefused()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, content);
    QFETCH(QString, reason);
    QTemporaryDir dir;
    QFile file(dir.filePath(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
    file.close();
    FlightPlan plan;
    plan.title = QStringLiteral("kept");
    QString error;
    QVERIFY(!FlightPlanFile::read(file.fileName(), &plan, &error));
    QVERIFY2(error.contains(reason), qPrintable(error));
    QCOMPARE(plan.title, QStringLiteral("kept")); // a failed read leaves the plan alone
}

void TestFlightPlanFile::airacCycles_data()
{
    QTest::addColumn<QDate>("date");
    QTest::addColumn<QString>("cycle");
    QTest::newRow("first of 2020") << QDate(2020, 1, 2) << "2001";
    QTest::newRow("day before") << QDate(2020, 1, 1) << "1913";
    QTest::newRow("last of 2024") << QDate(2025, 1, 22) << "2413";
    QTest::newRow("first of 2025") << QDate(2025, 1, 23) << "2501";
    QTest::newRow("the world data's") << QDate(2016, 1, 10) << "1601";
    QTest::newRow("mid 2025") << QDate(2025, 7, 15) << "2507";
}

void TestFlightPlanFile::airacCycles()
{
    QFETCH(QDate, date);
    QFETCH(QString, cycle);
    QCOMPARE(FlightPlanFile::airacCycle(date), cycle);
}

QTEST_GUILESS_MAIN(TestFlightPlanFile)
#include "tst_flightplanfile.moc"
