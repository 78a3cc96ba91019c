#include "bridge/agentprotocol.h"
#include "tests/support/logexpect.h"

#include <QJsonArray>
#include <QTest>

// Line framing and the status/position encoding both ends share.
class TestAgentProtocol : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void lineFramer_data()
    {
        QTest::addColumn<QList<QByteArray>>("chunks");
        QTest::addColumn<QList<QByteArray>>("lines");
        QTest::addColumn<bool>("overflow");
        const QByteArray cap(16, 'x');
        QTest::newRow("two in one chunk") << QList<QByteArray>{"a\nb\n"} << QList<QByteArray>{"a", "b"} << false;
        QTest::newRow("split across chunks")
            << QList<QByteArray>{"ab", "c\nd", "", "\n"} << QList<QByteArray>{"abc", "d"} << false;
        QTest::newRow("CR LF") << QList<QByteArray>{"x\r\n"} << QList<QByteArray>{"x"} << false;
        QTest::newRow("empty lines") << QList<QByteArray>{"\n\n"} << QList<QByteArray>{"", ""} << false;
        QTest::newRow("exactly the cap") << QList<QByteArray>{cap + "\n"} << QList<QByteArray>{cap} << false;
        QTest::newRow("cap plus CR") << QList<QByteArray>{cap + "\r\n"} << QList<QByteArray>{cap} << false;
        QTest::newRow("complete line over the cap") << QList<QByteArray>{cap + "y\n"} << QList<QByteArray>{} << true;
        QTest::newRow("tail over the cap") << QList<QByteArray>{cap, "yy"} << QList<QByteArray>{} << true;
        QTest::newRow("lines before the overflow")
            << QList<QByteArray>{"ok\n" + cap + "yy"} << QList<QByteArray>{"ok"} << true;
        QTest::newRow("nothing after the overflow")
            << QList<QByteArray>{cap + "y", "\nlate\n"} << QList<QByteArray>{} << true;
    }
    void lineFramer()
    {
        QFETCH(QList<QByteArray>, chunks);
        QFETCH(QList<QByteArray>, lines);
        QFETCH(bool, overflow);
        agentprotocol::LineFramer framer(16);
        QList<QByteArray> got;
        for (const QByteArray &chunk : chunks)
            framer.append(chunk, got);
        QCOMPARE(got, lines);
        QCOMPARE(framer.overflowed(), overflow);
        QVERIFY(framer.pendingBytes() <= 17);
    }

    // The keys of the protocol's status message, in the protocol's order.
    void statusCarriesEveryKey()
    {
        const QStringList expected{
            "agentId",    "callsign",  "lat",      "lon",       "alt",       "hdg",         "hdg_true",    "gs",
            "track",      "vs",        "pitch",    "roll",      "on_ground", "paused",      "frozen_pos",  "ias",
            "tas",        "mach",      "agl",      "g_force",   "eng_count", "eng_type",    "eng_running", "eng_n1",
            "eng_n2",     "eng_rpm",   "eng_egt",  "eng_ff",    "throttle",  "eng_on_fire", "gear_down",   "flaps",
            "spoiler",    "brake",     "com1",     "com1_stby", "com2",      "com2_stby",   "nav1",        "nav1_stby",
            "nav2",       "nav2_stby", "adf",      "xpdr",      "xpdr_mode", "ap_on",       "ap_hdg",      "ap_alt",
            "ap_vs",      "ap_spd",    "ap_vnav",  "ap_lnav",   "ap_app",    "ap_nav",      "ap_tgt_alt",  "ap_tgt_hdg",
            "ap_tgt_spd", "ap_tgt_vs", "trim_elv", "trim_rud",  "trim_ail",  "fuel_total",  "fuel_left",   "fuel_right",
            "weight",     "cg",        "temp",     "baro",      "wind_dir",  "wind_spd",    "failures",    "ts"};
        QCOMPARE(expected.size(), 72);
        QStringList keys = agentprotocol::statusMessage(RemoteAircraft()).keys();
        QVERIFY(keys.removeOne("type"));
        QStringList sorted = expected;
        sorted.sort();
        QCOMPARE(keys, sorted);
    }

    // Every member survives the trip through the wire form with its own value.
    void statusRoundTrip()
    {
        AircraftData data;
        double next = 1.25;
        for (double *member :
             {&data.lat,       &data.lon,    &data.alt,   &data.hdg,     &data.hdgTrue,  &data.gs,      &data.track,
              &data.vs,        &data.pitch,  &data.bank,  &data.ias,     &data.tas,      &data.mach,    &data.altAGL,
              &data.gForce,    &data.thr1,   &data.thr2,  &data.spoiler, &data.com1,     &data.com1s,   &data.com2,
              &data.com2s,     &data.nav1,   &data.nav1s, &data.nav2,    &data.nav2s,    &data.adf,     &data.xpdr,
              &data.apAlt,     &data.apHdg,  &data.apSpd, &data.apVs,    &data.elevTrim, &data.rudTrim, &data.ailTrim,
              &data.fuelTotal, &data.fuelL,  &data.fuelR, &data.totalWt, &data.cg,       &data.ambTemp, &data.baro,
              &data.windDir,   &data.windSpd})
            *member = (next += 1.5);
        data.engCnt = 3;
        data.engType = 2;
        data.flaps = 40;
        data.parkBrake = 100;
        for (int i = 0; i < 4; ++i) {
            data.engN1[i] = 80 + i;
            data.engN2[i] = 90 + i;
            data.rpm[i] = 2000 + i;
            data.egt[i] = 500 + i;
            data.ff[i] = 300 + i;
            data.engRun[i] = i != 1;
        }
        data.engFire[1] = true;
        data.onGround = data.gear = data.apMaster = data.apAltLock = data.apVnav = true;
        agentprotocol::AgentExtras extras{true, true, {"eng2_fire", "gear_jam"}};
        const RemoteAircraft original = agentprotocol::aircraftFromSample(data, "id-1", "CCA1501", extras);
        const QJsonObject message = agentprotocol::statusMessage(original);
        const RemoteAircraft back = agentprotocol::aircraftFromStatus(message);
        QCOMPARE(agentprotocol::statusMessage(back), message);

        // Spot checks against the sample: names that differ, units that must not change.
        QCOMPARE(back.roll, data.bank);
        QCOMPARE(back.agl, data.altAGL);
        QCOMPARE(back.weight, data.totalWt);
        QCOMPARE(back.brake, 100.0);
        QCOMPARE(back.engRunning, QList<bool>({true, false, true}));
        QCOMPARE(back.engOnFire, QList<bool>({false, true, false}));
        QCOMPARE(back.throttle, QList<double>({data.thr1, data.thr2, data.thr2}));
        QCOMPARE(back.engEgt, QList<double>({500, 501, 502}));
        QVERIFY(back.paused && back.frozenPos);
        QCOMPARE(back.failures, extras.failures);
        QVERIFY(qAbs(back.ts - QDateTime::currentMSecsSinceEpoch()) < 60000);
    }

    void hostileStatusIsBounded()
    {
        QJsonArray many;
        for (int i = 0; i < 1000; ++i)
            many.append(QString("failure-%1").arg(i));
        const QJsonObject message{{"type", "status"},     {"callsign", QString(5000, 'c')},
                                  {"lat", "north"},       {"on_ground", 1},
                                  {"eng_count", 1e300},   {"eng_n1", QJsonArray{1, 2, 3, 4, 5, 6, 7}},
                                  {"eng_running", "yes"}, {"failures", many},
                                  {"ts", -1e30}};
        const RemoteAircraft aircraft = agentprotocol::aircraftFromStatus(message);
        QCOMPARE(aircraft.callsign.size(), 64);
        QCOMPARE(aircraft.lat, 0.0);
        QCOMPARE(aircraft.onGround, false);
        QVERIFY(aircraft.engCount > 0);
        QCOMPARE(aircraft.engN1.size(), 4);
        QVERIFY(aircraft.engRunning.isEmpty());
        QCOMPARE(aircraft.failures.size(), 256);
        QVERIFY(aircraft.ts < 0);
    }

    void positionTouchesOnlyPositionMembers()
    {
        RemoteAircraft aircraft;
        aircraft.callsign = "KEEP";
        aircraft.ias = 250;
        aircraft.lat = 1;
        agentprotocol::applyPosition(aircraft, {{"type", "position"}, {"lat", 22.5}, {"roll", 30}, {"ias", 99}});
        QCOMPARE(aircraft.lat, 22.5);
        QCOMPARE(aircraft.roll, 30.0);
        QCOMPARE(aircraft.ias, 250.0);
        QCOMPARE(aircraft.callsign, QString("KEEP"));

        RemoteAircraft moved = aircraft;
        moved.lon = -70;
        const QJsonObject wire = agentprotocol::positionMessage(moved);
        RemoteAircraft received;
        agentprotocol::applyPosition(received, wire);
        QCOMPARE(received.lon, -70.0);
        QCOMPARE(received.lat, 22.5);
        QCOMPARE(wire.size(), 10); // type, agentId and the eight position keys
    }
};

QTEST_GUILESS_MAIN(TestAgentProtocol)
#include "tst_agentprotocol.moc"
