// BglReader on files built here: the record variants of each simulator generation, the MSFS
// procedure records, the navaid, waypoint and boundary sections, and damaged files.

#include "tst_bglsamples.h"

#include "nav/bglreader.h"
#include "tests/support/logexpect.h"

#include <QRegularExpression>
#include <QTest>

#include <cmath>

using namespace bglw;
using namespace bglsamples;

namespace {

constexpr double kFt = 0.3048;

bool near(double a, double b, double tolerance = 1e-6)
{
    return std::abs(a - b) <= tolerance;
}

// Great-circle distance in NM on a sphere of 3440.065 NM (haversine).
double haversineNm(double lat1, double lon1, double lat2, double lon2)
{
    const double rad = 3.14159265358979323846 / 180.0;
    const double a = std::pow(std::sin((lat2 - lat1) * rad / 2), 2) +
                     std::cos(lat1 * rad) * std::cos(lat2 * rad) * std::pow(std::sin((lon2 - lon1) * rad / 2), 2);
    return 2 * 3440.065 * std::asin(std::sqrt(a));
}

} // namespace

class TestBglSections : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void airportVariantsDecodeAlike_data()
    {
        QTest::addColumn<int>("variant");
        QTest::addColumn<int>("legsId");
        QTest::addColumn<int>("missedId");
        QTest::addColumn<int>("transitionId");
        QTest::addColumn<int>("transitionLegsId");
        QTest::addColumn<int>("transitionKind");
        QTest::newRow("FSX") << int(Fsx) << 0x2D << 0x2E << 0x2C << 0x2F << 1;
        QTest::newRow("P3D v4") << int(P3d4) << 0x2D << 0x2E << 0x2C << 0x2F << 2;
        QTest::newRow("P3D v5") << int(P3d5) << 0x2D << 0x2E << 0x2C << 0x2F << 1;
        // 0x00E3 is the transition in an approach and the legs inside that transition.
        QTest::newRow("MSFS 2020, first legs ids") << int(Msfs) << 0xE1 << 0xE2 << 0xE3 << 0xE3 << 1;
        QTest::newRow("MSFS 2020, SDK 1.16.1 ids") << int(Msfs) << 0xEC << 0xED << 0x49 << 0xEE << 1;
        QTest::newRow("MSFS 2020, SDK 1.18.9 ids") << int(Msfs) << 0xF4 << 0xF5 << 0x49 << 0xF6 << 2;
    }

    void airportVariantsDecodeAlike()
    {
        QFETCH(int, variant);
        QFETCH(int, legsId);
        QFETCH(int, missedId);
        QFETCH(int, transitionId);
        QFETCH(int, transitionLegsId);
        QFETCH(int, transitionKind);
        const Variant v = Variant(variant);
        BglReader reader(v == Msfs ? SimType::Msfs2020 : SimType::Prepar3D);
        const ApproachIds ids{quint16(legsId), quint16(missedId), quint16(transitionId), quint16(transitionLegsId),
                              transitionKind};
        QVERIFY(reader.parseData(file({section(0x03, {airport(v, ids)})}), QStringLiteral("variant")));
        QCOMPARE(reader.airports().size(), 1);
        const BglAirport a = reader.airports().first();
        QCOMPARE(a.ident, QStringLiteral("ZSPD"));
        QCOMPARE(a.region, QStringLiteral("ZS"));
        QCOMPARE(a.name, QStringLiteral("Pudong"));
        QVERIFY(near(a.lat, 31.1434) && near(a.lon, 121.805));
        QVERIFY(near(a.altitudeFt, 4.0 / kFt, 1e-3));
        QVERIFY(a.hasTower && near(a.towerLat, 31.15));
        QCOMPARE(a.magVarDeg, -6.0);
        QCOMPARE(a.closed, v == Msfs);

        QCOMPARE(a.runways.size(), 1);
        const BglRunway rw = a.runways.first();
        QCOMPARE(rw.primary.ident, QStringLiteral("17L"));
        QCOMPARE(rw.secondary.ident, QStringLiteral("35R"));
        QCOMPARE(rw.primary.ilsIdent, QStringLiteral("IPD"));
        QCOMPARE(rw.surface, QStringLiteral("CONCRETE"));
        QVERIFY(near(rw.lengthFt, 3800.0 / kFt, 1e-3) && near(rw.widthFt, 60.0 / kFt, 1e-3));
        QVERIFY(rw.primary.rightPattern && !rw.secondary.rightPattern);
        QVERIFY(near(rw.primary.offsetThresholdFt, 150.0 / kFt, 1e-3));
        QCOMPARE(rw.secondary.offsetThresholdFt, 0.0);

        QCOMPARE(a.starts.size(), 1);
        QCOMPARE(a.starts.first().runwayIdent, QStringLiteral("17L"));
        QCOMPARE(a.comFrequencies.size(), 1);
        QCOMPARE(a.comFrequencies.first().type, QStringLiteral("TOWER"));
        QVERIFY(near(a.comFrequencies.first().frequencyMhz, 118.3));
        QCOMPARE(a.comFrequencies.first().name, QStringLiteral("PUDONG TOWER"));

        QCOMPARE(a.taxiPoints.size(), 2);
        QCOMPARE(a.taxiPoints[1].type, QStringLiteral("HOLD_SHORT"));
        QCOMPARE(a.taxiPoints[1].orientation, QStringLiteral("REVERSE"));
        QVERIFY(near(a.taxiPoints[1].lat, 31.16) && near(a.taxiPoints[1].lon, 121.81));
        QCOMPARE(a.parkings.size(), 1);
        const BglParking p = a.parkings.first();
        QCOMPARE(p.name, QStringLiteral("Gate B 12"));
        QCOMPARE(p.type, QStringLiteral("GATE_HEAVY"));
        QCOMPARE(p.pushBack, QStringLiteral("RIGHT"));
        QCOMPARE(p.airlineCodes, QStringList{"CES"});
        QVERIFY(near(p.lat, 31.155) && near(p.lon, 121.805) && near(p.headingDegTrue, 90.0));
        QCOMPARE(a.taxiPaths.size(), 2);
        QCOMPARE(a.taxiPaths[0].type, QStringLiteral("TAXI"));
        QCOMPARE(a.taxiPaths[0].name, QStringLiteral("A"));
        QCOMPARE(a.taxiPaths[0].endIndex, 1);
        QVERIFY(near(a.taxiPaths[0].widthFt, 20.0 / kFt, 1e-3));
        QCOMPARE(a.taxiPaths[1].type, QStringLiteral("PARKING"));
        QVERIFY(a.taxiPaths[1].endIsParking);
        QCOMPARE(a.taxiPaths[1].startIndex, 1);
        QCOMPARE(a.taxiPaths[1].endIndex, 0);

        QCOMPARE(a.procedures.size(), 1);
        const BglProcedure proc = a.procedures.first();
        QCOMPARE(proc.name, QStringLiteral("R17L-Y"));
        QCOMPARE(proc.approachType, QStringLiteral("RNAV"));
        QCOMPARE(proc.runwayIdent, QStringLiteral("17L"));
        QCOMPARE(proc.fixIdent, QStringLiteral("FAF17"));
        QCOMPARE(proc.transitions, QStringList{"IAF1"});
        QStringList got;
        for (const BglProcedureLeg &l : a.procedureLegs)
            got << QStringLiteral("%1 %2 %3 %4 %5").arg(l.transition, l.legType, l.fixIdent).arg(l.seq).arg(l.isMissed);
        QCOMPARE(got, (QStringList{" IF FAF17 1 0", " TF RW17L 2 0", " CA  3 1", "IAF1 IF IAF1 1 0"}));
        const BglProcedureLeg tf = a.procedureLegs[1];
        QCOMPARE(tf.fixType, QStringLiteral("RUNWAY"));
        QCOMPARE(tf.fixRegion, QStringLiteral("ZS"));
        QCOMPARE(tf.altDescriptor, QStringLiteral("+"));
        QVERIFY(near(tf.altitude1Ft, 30.0 / kFt, 1e-3));
        QCOMPARE(tf.turnDirection, QStringLiteral("L"));
        QVERIFY(tf.flyover);
        QVERIFY(near(tf.courseDeg, 170.0) && near(tf.distOrTime, 5.0));
        QCOMPARE(tf.speedLimitKts, v == Msfs ? 210.0 : 0.0);
    }

    void msfsDeparturesAndArrivals()
    {
        BglReader reader(SimType::Msfs2020);
        QVERIFY(reader.parseData(file({section(0x03, {msfsProcedureAirport()})}), QStringLiteral("sidstar")));
        QCOMPARE(reader.airports().size(), 1);
        const BglAirport ap = reader.airports().first();
        QVERIFY(!ap.hasTower);
        QStringList procedures;
        for (const BglProcedure &p : ap.procedures)
            procedures << QStringLiteral("%1 %2 %3 [%4]").arg(p.type, p.name, p.runwayIdent, p.transitions.join(u','));
        // A SID/STAR without a name is numbered per kind; transitions without a name take the
        // outer fix: a SID's last, a STAR's first.
        QCOMPARE(procedures, (QStringList{"SID PD01 17L [SASAN]", "SID PD01 35R [SASAN]", "STAR A_1  [XYZ,FIRST]"}));
        QStringList legList;
        for (const BglProcedureLeg &l : ap.procedureLegs)
            legList << QStringLiteral("%1/%2/%3/%4/%5").arg(l.procName, l.runway, l.transition, l.fixIdent).arg(l.seq);
        QCOMPARE(legList,
                 (QStringList{"PD01///COMMO/1", "PD01/17L///1", "PD01/35R///1", "PD01//SASAN/ABC/1",
                              "PD01//SASAN/SASAN/2", "A_1//XYZ/ENTRY/1", "A_1//FIRST/FIRST/1", "A_1//FIRST/LAST/2"}));
    }

    void navaidsWaypointsAndBoundaries()
    {
        BglReader reader(SimType::Prepar3D);
        QVERIFY(reader.parseData(navaidFile(), QStringLiteral("navaids")));
        QCOMPARE(reader.vors().size(), 2);
        const BglVor v = reader.vors().first();
        QCOMPARE(v.ident, QStringLiteral("PUD"));
        QCOMPARE(v.name, QStringLiteral("PUDONG"));
        QCOMPARE(v.type, QStringLiteral("HIGH"));
        QCOMPARE(v.kind, QStringLiteral("VORDME"));
        QVERIFY(v.hasDme && near(v.dmeLat, 31.0001));
        QVERIFY(near(v.frequencyMhz, 113.2) && near(v.rangeNm, 50.0, 1e-3));
        QCOMPARE(reader.vors().last().kind, QStringLiteral("DME"));
        QCOMPARE(reader.markers().size(), 1);
        QCOMPARE(reader.markers().first().type, QStringLiteral("OUTER"));
        QCOMPARE(reader.markers().first().headingDegTrue, 360.0);

        QCOMPARE(reader.waypoints().size(), 2); // the pole entry is a disabled one
        QStringList segments;
        for (const BglAirwaySegment &s : reader.airwaySegments())
            segments << QStringLiteral("%1 %2 %3>%4 %5").arg(s.name, s.level, s.fromIdent, s.toIdent, s.toType);
        QCOMPARE(segments, (QStringList{"A593 HIGH AAAAA>BBBBB WAYPOINT", "A593 HIGH BBBBB>PUD VOR",
                                        "V1 LOW BBBBB>AAAAA WAYPOINT"}));
        BglReader merged(SimType::Prepar3D);
        merged.mergeFrom(reader);
        QCOMPARE(merged.resolveAirwayEndpoints(), 3);
        const QList<BglAirwaySegment> resolved = merged.airwaySegments();
        QVERIFY(near(resolved[1].toLat, 31.0) && near(resolved[1].toLon, 121.0));
        QVERIFY(near(resolved[2].toLat, 30.5) && near(resolved[2].toLon, 120.5));
        QVERIFY(near(resolved[0].minimumAltitudeFt, 3000.0 / kFt, 1e-3));

        QCOMPARE(reader.boundaries().size(), 1);
        const BglBoundary b = reader.boundaries().first();
        QCOMPARE(b.name, QStringLiteral("SHANGHAI CLASS C"));
        QCOMPARE(b.type, QStringLiteral("CLASS_C"));
        QCOMPARE(b.lowerAltitudeType, QStringLiteral("MSL"));
        QCOMPARE(b.upperAltitudeType, QStringLiteral("AGL"));
        QVERIFY(near(b.upperAltitudeFt, 10000.0, 1e-3));
        QCOMPARE(b.polygons.size(), 2);
        QCOMPARE(b.polygons[0].size(), 3);
        QVERIFY(near(b.polygons[0][1].x(), 31.5) && near(b.polygons[0][1].y(), 121.0));
        QCOMPARE(b.polygons[1].size(), 72);
        // Every circle point lies 10 NM from the centre.
        for (const QPointF &p : b.polygons[1])
            QVERIFY2(near(haversineNm(30.0, 120.0, p.x(), p.y()), 10.0, 1e-4),
                     qPrintable(QString::number(haversineNm(30.0, 120.0, p.x(), p.y()), 'g', 12)));
        QCOMPARE(reader.ndbs().size(), 1);
    }

    void msfsTacanFlagsAndUtf8Names()
    {
        const QByteArray name = QStringLiteral("Zürich").toUtf8();
        Rec vortac(0x0013), tacan(0x0013);
        vortac.u8(3).u8(0x33).pos(47.0, 8.0, 0).u32(114200000).f32(0).f32(0).u32(identWord("ZUE")).u32(0);
        vortac.add(Rec(0x0019).bytes(name));
        tacan.u8(3).u8(0x12).pos(47.0, 8.0, 0).u32(0).f32(0).f32(0).u32(identWord("TAC")).u32(0);
        const QByteArray bytes = file({section(0x13, {vortac, tacan})});

        BglReader msfs(SimType::Msfs2020);
        QVERIFY(msfs.parseData(bytes, QStringLiteral("msfs")));
        QCOMPARE(msfs.vors().size(), 2);
        QCOMPARE(msfs.vors()[0].kind, QStringLiteral("VORTAC"));
        QCOMPARE(msfs.vors()[1].kind, QStringLiteral("TACAN"));
        QCOMPARE(msfs.vors()[0].name, QStringLiteral("Zürich"));
        // Older simulators write Latin-1 and know no TACAN flag.
        BglReader p3d(SimType::Prepar3D);
        QVERIFY(p3d.parseData(bytes, QStringLiteral("p3d")));
        QCOMPARE(p3d.vors()[0].name, QString::fromLatin1(name));
        QCOMPARE(p3d.vors()[0].kind, QStringLiteral("VOR"));
        QCOMPARE(p3d.vors()[1].kind, QStringLiteral("DME"));
    }

    void damageEndsOnlyItsPart_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("airports");
        QTest::addColumn<int>("coms");
        QTest::addColumn<int>("parkings");
        QTest::addColumn<int>("ndbs");

        const auto build = [](const QByteArray &between, quint16 parkingCount, quint32 comSize) {
            Rec a(0x003C);
            a.zeros(6).pos(31.0, 121.0, 0).zeros(12).f32(0).u32(identWord("ZSPD")).zeros(12);
            a.add(Rec(0x0019).bytes("X")).add(runway(Fsx)).bytes(between);
            Rec park(0x003D);
            park.u16(parkingCount).u32(1u << 12).f32(0).f32(0).zeros(16).lonLat(31.0, 121.0);
            a.add(park);
            QByteArray com = Rec(0x0012).u16(6).u32(118000000).bytes("TWR").data();
            putU32(com, 2, comSize);
            a.bytes(com);
            return file({section(0x03, {a}), section(0x17, {ndb("NDB", "ZS", 1.0, 1.0, 300000, 1.0)})});
        };
        const QByteArray nothing;
        const QByteArray intact = build(nothing, 1, 13);
        QTest::newRow("intact") << intact << 1 << 1 << 1 << 1;
        QTest::newRow("zero-size sub-record") << build(QByteArray(6, '\0'), 1, 13) << 1 << 0 << 0 << 1;
        QTest::newRow("sub-record size past its airport") << build(nothing, 1, 0xFFFFFFFF) << 1 << 0 << 1 << 1;
        QTest::newRow("parking count past its record") << build(nothing, 0xFFFF, 13) << 1 << 1 << 1 << 1;

        // Offsets: section table at 56, airport subsection table at 96, NDB table at 112,
        // airport record at 128.
        QByteArray recordTooLong = intact;
        putU32(recordTooLong, 128 + 2, 0x7FFFFFFF);
        QTest::newRow("airport record past its subsection") << recordTooLong << 0 << 0 << 0 << 1;
        QByteArray subsectionBeyond = intact;
        putU32(subsectionBeyond, 96 + 8, quint32(intact.size()));
        QTest::newRow("subsection offset at the end of the file") << subsectionBeyond << 0 << 0 << 0 << 1;
        QByteArray tableBeyond = intact;
        putU32(tableBeyond, 56 + 12, 0xFFFFFFF0);
        QTest::newRow("subsection table outside the file") << tableBeyond << 0 << 0 << 0 << 1;
        QByteArray manySubsections = intact;
        putU32(manySubsections, 56 + 8, 0xFFFF);
        QTest::newRow("subsection count beyond its table") << manySubsections << 1 << 1 << 1 << 1;
        QByteArray truncated = intact.left(intact.size() - 20);
        QTest::newRow("file cut inside the last record") << truncated << 1 << 1 << 1 << 0;
    }

    void damageEndsOnlyItsPart()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, airports);
        QFETCH(int, coms);
        QFETCH(int, parkings);
        QFETCH(int, ndbs);
        BglReader reader(SimType::Fsx);
        QVERIFY(reader.parseData(bytes, QStringLiteral("damaged")));
        QCOMPARE(reader.airports().size(), airports);
        if (airports > 0) {
            const BglAirport a = reader.airports().first();
            QCOMPARE(a.name, QStringLiteral("X")); // what came before the damage stays
            QCOMPARE(a.runways.size(), 1);
            QCOMPARE(a.comFrequencies.size(), coms);
            QCOMPARE(a.parkings.size(), parkings);
        }
        QCOMPARE(reader.ndbs().size(), ndbs);
    }

    void overlappingTablesStop()
    {
        // 100 airport sections share one table of 65535 subsections that all name the same
        // airport: read naively, 6.5 million airports. The walk stops within a few times the
        // file's size instead.
        Rec a(0x003C);
        a.zeros(6).pos(31.0, 121.0, 0).zeros(12).f32(0).u32(identWord("LOOP")).zeros(12);
        a.add(Rec(0x0019).zeros(2000));
        const QByteArray record = a.data();
        QByteArray bytes = header(100);
        const quint32 table = 56 + 100 * 20;
        const quint32 recordAt = table + 0xFFFF * 16;
        for (int i = 0; i < 100; ++i) {
            QByteArray e(20, '\0');
            putU32(e, 0, 0x03);
            putU32(e, 8, 0xFFFF);
            putU32(e, 12, table);
            putU32(e, 16, 0xFFFF * 16);
            bytes += e;
        }
        for (int i = 0; i < 0xFFFF; ++i) {
            QByteArray e(16, '\0');
            putU32(e, 4, 1);
            putU32(e, 8, recordAt);
            putU32(e, 12, quint32(record.size()));
            bytes += e;
        }
        bytes += record;
        BglReader reader(SimType::Fsx);
        QVERIFY(reader.parseData(bytes, QStringLiteral("loop")));
        QCOMPARE(reader.sectionTypes().size(), 100);
        QVERIFY(reader.airports().size() > 0);
        QVERIFY2(reader.airports().size() < 20 * bytes.size() / record.size(),
                 qPrintable(QString::number(reader.airports().size())));
    }

private:
    static QByteArray header(quint32 sections)
    {
        QByteArray b(56, '\0');
        putU16(b, 2, 0x1992);
        putU32(b, 0x14, sections);
        return b;
    }
};

QTEST_GUILESS_MAIN(TestBglSections)
#include "tst_bglsections.moc"
