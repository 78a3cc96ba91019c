#include "app/log/applogger.h"
#include "sim/xplanebackend.h"
#include "sim/xplanefailuretable.h"
#include "sim/xplaneweather.h"
#include "tests/fakes/fakexplane.h"
#include "tests/support/logexpect.h"

#include <QElapsedTimer>
#include <QMap>
#include <QNetworkDatagram>
#include <QSet>
#include <QSignalSpy>
#include <QTest>
#include <QUdpSocket>
#include <QtEndian>
#include <QtMath>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>

Q_DECLARE_METATYPE(QList<FakeXPlane::Record>)

namespace {

constexpr int kTableSize = 114;
constexpr int kWaitMs = 3000;

QByteArray le32(qint32 value)
{
    QByteArray out(4, '\0');
    qToLittleEndian<qint32>(value, out.data());
    return out;
}

QByteArray leFloat(float value)
{
    QByteArray out(4, '\0');
    qToLittleEndian<float>(value, out.data());
    return out;
}

QByteArray leDouble(double value)
{
    QByteArray out(8, '\0');
    qToLittleEndian<double>(value, out.data());
    return out;
}

QByteArray padded(const QByteArray &text, int size)
{
    return text + QByteArray(size - text.size(), '\0');
}

using Records = QList<FakeXPlane::Record>;

QByteArray rrefReply(const Records &records, const QByteArray &header = QByteArray(1, ','))
{
    return FakeXPlane::rrefReply(records, header);
}

// Every member of the sample by name, so a test can see that one value landed and nothing else moved.
QMap<QString, double> fields(const AircraftData &d)
{
    QMap<QString, double> f;
#define FIELD(m) f.insert(QStringLiteral(#m), double(d.m))
    FIELD(lat), FIELD(lon), FIELD(alt), FIELD(altInd), FIELD(altAGL), FIELD(hdg), FIELD(hdgTrue), FIELD(track);
    FIELD(ias), FIELD(tas), FIELD(gs), FIELD(vs), FIELD(mach), FIELD(pitch), FIELD(bank), FIELD(onGround);
    FIELD(engType), FIELD(engCnt), FIELD(thr1), FIELD(thr2), FIELD(spare1), FIELD(spare2), FIELD(gear);
    FIELD(flaps), FIELD(spoiler), FIELD(parkBrake), FIELD(elevTrim), FIELD(rudTrim), FIELD(ailTrim);
    FIELD(nav1), FIELD(nav1s), FIELD(nav2), FIELD(nav2s), FIELD(com1), FIELD(com1s), FIELD(com2), FIELD(com2s);
    FIELD(adf), FIELD(xpdr), FIELD(apSpare), FIELD(apMaster), FIELD(apHdgLock), FIELD(apAltLock);
    FIELD(apSpdLock), FIELD(apVnav), FIELD(apAppr), FIELD(apNavLock), FIELD(apAlt), FIELD(apHdg), FIELD(apSpd);
    FIELD(apVs), FIELD(fuelTotal), FIELD(fuelL), FIELD(fuelR), FIELD(totalWt), FIELD(cg), FIELD(loc);
    FIELD(gsDev), FIELD(gForce), FIELD(ambTemp), FIELD(windDir), FIELD(windSpd), FIELD(vis), FIELD(baroSea);
    FIELD(baro);
#undef FIELD
    for (int i = 0; i < 4; ++i) {
        f.insert(QStringLiteral("engN1[%1]").arg(i), d.engN1[i]);
        f.insert(QStringLiteral("engN2[%1]").arg(i), d.engN2[i]);
        f.insert(QStringLiteral("egt[%1]").arg(i), d.egt[i]);
        f.insert(QStringLiteral("rpm[%1]").arg(i), d.rpm[i]);
        f.insert(QStringLiteral("ff[%1]").arg(i), d.ff[i]);
        f.insert(QStringLiteral("engRun[%1]").arg(i), d.engRun[i]);
    }
    f.insert(QStringLiteral("engFire[0]"), d.engFire[0]);
    f.insert(QStringLiteral("engFire[1]"), d.engFire[1]);
    return f;
}

bool closeTo(double actual, double expected)
{
    return std::abs(actual - expected) <= 1e-5 * std::max(1.0, std::abs(expected));
}

using FakeSim = FakeXPlane;

bool start(XPlaneBackend &backend, FakeSim &sim, const QString &host = QStringLiteral("127.0.0.1"))
{
    backend.setHost(host, sim.port());
    backend.setLocalPort(0);
    return backend.connect() &&
           QTest::qWaitFor([&] { return sim.receivedOfType("RREF").size() >= kTableSize; }, kWaitMs);
}

// Sends one reply and waits until the backend has handled it (every RREF reply emits a sample).
bool deliver(FakeSim &sim, XPlaneBackend &backend, QSignalSpy &samples, const QByteArray &datagram)
{
    const qsizetype before = samples.size();
    sim.sendRaw(datagram, backend.boundPort());
    return QTest::qWaitFor([&] { return samples.size() > before; }, kWaitMs);
}

AircraftData lastSample(const QSignalSpy &samples)
{
    return samples.last().at(0).value<AircraftData>();
}

} // namespace

class TestXPlaneBackend : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }

    // The simulator answers each subscription by its dataref name, as X-Plane does: the value
    // lands in the member that dataref stands for, converted, and nowhere else. A subscription to
    // a misspelt path, or a reply decoded under another row's index, leaves the member at zero.
    void subscribedDatarefsFillTheirMembers_data()
    {
        QTest::addColumn<QString>("dataref");
        QTest::addColumn<float>("value");
        QTest::addColumn<QString>("member");
        QTest::addColumn<double>("expected");
        auto row = [](const char *dataref, float value, const char *member, double expected) {
            QTest::newRow(dataref) << QString::fromLatin1(dataref) << value << QString::fromLatin1(member) << expected;
        };
        row("sim/flightmodel/position/latitude", 47.25f, "lat", 47.25);
        row("sim/flightmodel/position/elevation", 1000.0f, "alt", 3280.84);
        row("sim/flightmodel/position/true_airspeed", 100.0f, "tas", 194.38445);
        row("sim/cockpit2/gauges/indicators/vvi_fpm_pilot", -700.0f, "vs", -700.0);
        row("sim/flightmodel/position/true_psi", 127.5f, "hdgTrue", 127.5);
        row("sim/flightmodel/fuel/total_fuel_kgs", 1140.0f, "fuelTotal", 374.57231);
        row("sim/flightmodel/weight/m_fuel[1]", 304.35f, "fuelR", 100.0);
        row("sim/flightmodel/engine/ENGN_thro[1]", 0.5f, "thr2", 50.0);
        row("sim/flightmodel/engine/ENGN_N1_[3]", 92.5f, "engN1[3]", 92.5);
        row("sim/flightmodel/engine/ENGN_FF_[2]", 0.25f, "ff[2]", 295.71498);
        row("sim/cockpit2/engine/indicators/engine_speed_rpm[0]", 2400.0f, "rpm[0]", 2400.0);
        row("sim/flightmodel/controls/sbrkrat", 0.5f, "spoiler", 50.0);
        row("sim/cockpit/radios/com2_stdby_freq_hz", 12150.0f, "com2s", 121.50);
        row("sim/cockpit/radios/transponder_code", 7000.0f, "xpdr", 7000.0);
        row("sim/cockpit/autopilot/altitude", 12000.0f, "apAlt", 12000.0);
        row("sim/cockpit2/radios/indicators/nav1_vdef_dots_pilot", 1.5f, "gsDev", 1.5);
        row("sim/weather/barometer_sea", 29.92f, "baroSea", 1013.21);
        row("sim/cockpit2/gauges/actuators/barometer_setting_in_hg_pilot", 30.0f, "baro", 1015.917);
    }

    void subscribedDatarefsFillTheirMembers()
    {
        QFETCH(QString, dataref);
        QFETCH(float, value);
        QFETCH(QString, member);
        QFETCH(double, expected);
        FakeSim sim;
        sim.setAnswer([&](const FakeXPlane::Subscription &s) -> std::optional<float> {
            return s.path == dataref ? std::optional<float>(value) : std::nullopt;
        });
        XPlaneBackend backend;
        QSignalSpy samples(&backend, &XPlaneBackend::aircraftDataChanged);
        QVERIFY(start(backend, sim));
        QVERIFY2(sim.subscription(dataref), "not subscribed");
        QTRY_VERIFY_WITH_TIMEOUT(!samples.isEmpty(), kWaitMs);

        QMap<QString, double> got = fields(lastSample(samples));
        const double actual = got.take(member);
        QVERIFY2(closeTo(actual, expected),
                 qPrintable(QStringLiteral("%1 = %2, expected %3").arg(member).arg(actual, 0, 'g', 10).arg(expected)));
        QMap<QString, double> untouched = fields(AircraftData());
        untouched.remove(member);
        QCOMPARE(got, untouched);
    }

    // Every subscription has its own reply index and its own dataref, inside the range replies
    // are decoded from, so no two values can land on one member.
    void subscriptionsAreDistinct()
    {
        FakeSim sim;
        XPlaneBackend backend;
        QVERIFY(start(backend, sim));
        QSet<qint32> indexes;
        QSet<QString> paths;
        for (const FakeXPlane::Subscription &s : sim.subscriptions().mid(0, kTableSize)) {
            QVERIFY2(s.index >= 0 && s.index <= 150, qPrintable(s.path));
            QVERIFY2(s.frequencyHz > 0, qPrintable(s.path));
            QVERIFY2(s.path.startsWith(QLatin1String("sim/")), qPrintable(s.path));
            indexes.insert(s.index);
            paths.insert(s.path);
        }
        QCOMPARE(indexes.size(), kTableSize);
        QCOMPARE(paths.size(), kTableSize);
    }

    void socketStateIsLoggedAtDebugLevel()
    {
        const AppLogger::Level previousLevel = AppLogger::instance().level();
        AppLogger::instance().setLevel(AppLogger::Debug);
        QSignalSpy log(&AppLogger::instance(), &AppLogger::entryAdded);
        FakeSim sim;
        XPlaneBackend backend;
        const bool started = start(backend, sim);
        AppLogger::instance().setLevel(previousLevel);
        QVERIFY(started);
        const QString stateLine =
            QStringLiteral("[XPlane] socket state: BoundState bound=true localPort=%1").arg(backend.boundPort());
        bool logged = false;
        for (const QList<QVariant> &args : log) {
            const auto entry = args.at(0).value<AppLogger::Entry>();
            logged |= entry.level == AppLogger::Debug && entry.category == "XPlane" && entry.message == stateLine;
        }
        QVERIFY2(logged, qPrintable(stateLine));
    }

    void resubscribesWithinFiveSeconds()
    {
        FakeSim sim;
        XPlaneBackend backend;
        QVERIFY(start(backend, sim));
        // Nobody answers: the table must come again on its own for a simulator started later.
        QTRY_VERIFY_WITH_TIMEOUT(sim.receivedOfType("RREF").size() >= 2 * kTableSize, 6000);
        const QList<QByteArray> rrefs = sim.receivedOfType("RREF");
        QCOMPARE(rrefs.mid(kTableSize, kTableSize), rrefs.mid(0, kTableSize));
    }

    void outgoingDatagrams_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("DREF") << "setData"
                              << QByteArray("DREF", 5) + leFloat(1.5f) +
                                     padded("sim/cockpit/electrical/battery_on", 500);
        QTest::newRow("CMND") << "transmitEvent" << QByteArray("CMND", 5) + padded("sim/operation/pause_toggle", 250);
        // Elevation goes out exactly as given: the caller already works in metres.
        QTest::newRow("PREL") << "setPosition"
                              << QByteArray("PREL", 5) + le32(6) + QByteArray(20, '\0') + leDouble(47.5) +
                                     leDouble(-122.25) + leDouble(120.0) + leDouble(270.5) + leDouble(0.0);
        QTest::newRow("POSI") << "sendPosi"
                              << QByteArray("POSI", 4) + QByteArray(4, '\0') + leDouble(-33.9) + leDouble(151.2) +
                                     leDouble(50.0) + leFloat(2.5f) + leFloat(-1.5f) + leFloat(90.0f) +
                                     QByteArray(1, '\0');
    }

    void outgoingDatagrams()
    {
        QFETCH(QString, call);
        QFETCH(QByteArray, expected);
        FakeSim sim;
        XPlaneBackend backend;
        QVERIFY(start(backend, sim));
        sim.clearReceived();

        if (call == "setData")
            backend.setData(QStringLiteral("sim/cockpit/electrical/battery_on"), 1.5);
        else if (call == "transmitEvent")
            backend.transmitEvent(QStringLiteral("sim/operation/pause_toggle"), 7);
        else if (call == "setPosition")
            backend.setPosition(47.5, -122.25, 120.0, 3.0, 4.0, 270.5, true, 150.0);
        else
            backend.sendPosi(-33.9, 151.2, 50.0, 2.5f, -1.5f, 90.0f);

        const QByteArray tag = expected.left(4);
        QTRY_COMPARE_WITH_TIMEOUT(sim.receivedOfType(tag.constData()).size(), 1, kWaitMs);
        QCOMPARE(sim.receivedOfType(tag.constData()).first(), expected);
    }

    void rrefPathIsCutToFitItsField()
    {
        const QByteArray datagram = XPlaneBackend::buildRref(5, 7, QString(450, QLatin1Char('x')));
        QCOMPARE(datagram.size(), 413);
        QCOMPARE(datagram.mid(13, 399), QByteArray(399, 'x'));
        QCOMPARE(datagram.at(412), '\0');
    }

    void replyHeaderVariants_data()
    {
        QTest::addColumn<QByteArray>("header");
        QTest::newRow("comma") << QByteArray(1, ',');
        QTest::newRow("capital O") << QByteArray(1, 'O');
        QTest::newRow("zero") << QByteArray(1, '\0');
        // No header byte: the fifth byte is already the low byte of index 2.
        QTest::newRow("four-byte header") << QByteArray();
    }

    void replyHeaderVariants()
    {
        QFETCH(QByteArray, header);
        FakeSim sim;
        XPlaneBackend backend;
        QSignalSpy samples(&backend, &XPlaneBackend::aircraftDataChanged);
        QVERIFY(start(backend, sim));
        QVERIFY(deliver(sim, backend, samples, rrefReply({{2, 1000.0f}, {1, 8.5f}}, header)));
        QVERIFY(closeTo(lastSample(samples).alt, 3280.84));
        QCOMPARE(lastSample(samples).lon, 8.5);
    }

    void malformedDatagramsAreSkipped_data()
    {
        QTest::addColumn<QByteArray>("datagram");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("three bytes") << QByteArray("RRE");
        QTest::newRow("tag only") << QByteArray("RREF");
        QTest::newRow("other tag") << QByteArray("DATA,") + le32(0) + leFloat(99.0f);
    }

    void malformedDatagramsAreSkipped()
    {
        QFETCH(QByteArray, datagram);
        FakeSim sim;
        XPlaneBackend backend;
        QSignalSpy samples(&backend, &XPlaneBackend::aircraftDataChanged);
        QSignalSpy connected(&backend, &XPlaneBackend::connected);
        QVERIFY(start(backend, sim));
        sim.sendRaw(datagram, backend.boundPort());
        QVERIFY(deliver(sim, backend, samples, rrefReply({{0, 12.5f}})));
        QCOMPARE(samples.size(), 1); // only the valid reply counted
        QCOMPARE(connected.size(), 1);
        QCOMPARE(lastSample(samples).lat, 12.5);
    }

    void truncatedAndUnknownRecordsAreIgnored_data()
    {
        QTest::addColumn<QByteArray>("datagram");
        QTest::newRow("partial trailing record") << rrefReply({{0, 5.0f}}).chopped(1);
        QTest::newRow("header only, comma") << rrefReply({});
        QTest::newRow("five stray bytes") << rrefReply({}) + le32(0) + QByteArray(1, 'x');
        QTest::newRow("index above 150") << rrefReply({{151, 5.0f}, {1000, 5.0f}});
        QTest::newRow("negative index") << rrefReply({{-1, 5.0f}, {-147, 5.0f}});
        QTest::newRow("gaps in the table")
            << rrefReply({{22, 5.0f}, {49, 5.0f}, {55, 5.0f}, {81, 5.0f}, {101, 5.0f}, {126, 5.0f}, {146, 5.0f}});
        // The pushback floats and the nav signal flags are subscribed but carry no member.
        QTest::newRow("subscribed but unused") << rrefReply({{90, 5.0f},
                                                             {110, 5.0f},
                                                             {111, 5.0f},
                                                             {112, 5.0f},
                                                             {116, 5.0f},
                                                             {119, 5.0f},
                                                             {121, 1.0f},
                                                             {122, 1.0f},
                                                             {150, 5.0f}});
    }

    void truncatedAndUnknownRecordsAreIgnored()
    {
        QFETCH(QByteArray, datagram);
        FakeSim sim;
        XPlaneBackend backend;
        QSignalSpy samples(&backend, &XPlaneBackend::aircraftDataChanged);
        QSignalSpy tanks(&backend, &XPlaneBackend::tankQuantitiesReceived);
        QVERIFY(start(backend, sim));
        QVERIFY(deliver(sim, backend, samples, datagram));
        QCOMPARE(fields(lastSample(samples)), fields(AircraftData()));
        QCOMPARE(tanks.last().at(0).value<QList<double>>(), QList<double>(9, 0.0));
    }

    void conversions_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<QList<float>>("values"); // sent one datagram each, in order
        QTest::addColumn<QString>("member");
        QTest::addColumn<double>("expected");
        auto row = [](const char *name, int index, QList<float> values, const char *member, double expected) {
            QTest::newRow(name) << index << values << QString::fromLatin1(member) << expected;
        };
        row("latitude", 0, {47.25f}, "lat", 47.25);
        row("longitude", 1, {-122.5f}, "lon", -122.5);
        row("elevation metres to feet", 2, {1000.0f}, "alt", 3280.84);
        row("ias", 3, {250.5f}, "ias", 250.5);
        row("true airspeed m/s to knots", 4, {100.0f}, "tas", 194.38445); // 360 km/h
        row("ground speed m/s to knots", 5, {10.0f}, "gs", 19.4384);
        row("vertical speed", 6, {-700.0f}, "vs", -700);
        row("magnetic heading", 7, {123.5f}, "hdg", 123.5);
        row("true heading", 8, {127.5f}, "hdgTrue", 127.5);
        row("pitch", 9, {-2.5f}, "pitch", -2.5);
        row("bank", 10, {15.0f}, "bank", 15);
        row("total fuel kg to US gallons", 11, {1140.0f}, "fuelTotal", 374.57231); // 0.804 kg/l
        row("left tank kg to US gallons", 92, {1140.0f}, "fuelL", 374.57231);
        row("right tank kg to US gallons", 93, {304.35f}, "fuelR", 100.0);
        row("centre tank has no side", 94, {500.0f}, "fuelL", 0);
        row("gear at 0.5 is up", 12, {0.5f}, "gear", 0);
        row("gear above 0.5 is down", 12, {0.51f}, "gear", 1);
        row("flaps truncated", 13, {0.259f}, "flaps", 25);
        row("flaps never rounded up", 13, {0.999f}, "flaps", 99);
        row("on ground", 14, {1.0f}, "onGround", 1);
        row("track", 15, {88.0f}, "track", 88);
        row("mach", 16, {0.78f}, "mach", double(0.78f));
        row("height AGL metres to feet", 17, {30.48f}, "altAGL", 100.0);
        row("throttle 1 ratio to percent", 18, {0.25f, 1.0f}, "thr1", 100.0);
        row("throttle 1 above 1 keeps last", 18, {0.25f, 1.5f}, "thr1", 25.0);
        row("throttle 2 below 0 keeps last", 19, {0.5f, -0.1f}, "thr2", 50.0);
        row("throttle 2 at 0", 19, {0.5f, 0.0f}, "thr2", 0);
        row("engine count clamped high", 20, {6.0f}, "engCnt", 4);
        row("engine count clamped low", 20, {-1.0f}, "engCnt", 0);
        row("engine count truncated", 20, {2.9f}, "engCnt", 2);
        row("indicated altitude", 21, {4500.0f}, "altInd", 4500);
        row("N1 engine 4", 33, {92.5f}, "engN1[3]", 92.5);
        row("EGT engine 2", 35, {650.0f}, "egt[1]", 650);
        row("fuel flow engine 3 kg/s to gal/h", 40, {0.25f}, "ff[2]", 295.71498);
        row("engine 2 running", 43, {0.6f}, "engRun[1]", 1);
        row("engine 3 not running", 44, {0.4f}, "engRun[2]", 0);
        row("engine 2 fire", 47, {1.0f}, "engFire[1]", 1);
        row("engine type truncated", 48, {2.7f}, "engType", 2);
        row("rpm engine 3", 149, {2400.0f}, "rpm[2]", 2400);
        row("rpm engine 4 not shown", 150, {2400.0f}, "rpm[3]", 0);
        row("elevator trim", 50, {-0.125f}, "elevTrim", -0.125);
        row("aileron trim", 51, {0.25f}, "ailTrim", 0.25);
        row("rudder trim", 52, {-0.5f}, "rudTrim", -0.5);
        row("parking brake truncated", 53, {0.755f}, "parkBrake", 75);
        row("speed brake ratio to percent", 54, {0.5f}, "spoiler", 50.0);
        row("armed speed brake is not deployed", 54, {-0.5f}, "spoiler", 0.0);
        row("nav1", 60, {11030.0f}, "nav1", 110.30);
        row("nav1 standby", 61, {10850.0f}, "nav1s", 108.50);
        row("nav2", 62, {11370.0f}, "nav2", 113.70);
        row("nav2 standby", 63, {11190.0f}, "nav2s", 111.90);
        row("com1", 64, {12190.0f}, "com1", 121.90);
        row("com1 standby", 65, {11810.0f}, "com1s", 118.10);
        row("com2", 66, {13285.0f}, "com2", 132.85);
        row("com2 standby", 67, {12150.0f}, "com2s", 121.50);
        row("adf", 68, {379.0f}, "adf", 379);
        row("transponder", 69, {7000.0f}, "xpdr", 7000);
        row("autopilot master above 0.5", 70, {0.7f}, "apMaster", 1);
        row("autopilot master at 0.5", 70, {0.5f}, "apMaster", 0);
        row("ap heading bug", 71, {270.0f}, "apHdg", 270);
        row("ap altitude", 72, {12000.0f}, "apAlt", 12000);
        row("ap speed", 73, {250.0f}, "apSpd", 250);
        row("ap vertical speed", 74, {-1500.0f}, "apVs", -1500);
        row("heading hold truncates 0.7 to off", 75, {0.7f}, "apHdgLock", 0);
        row("heading hold mode 2", 75, {2.0f}, "apHdgLock", 1);
        row("altitude hold negative mode", 76, {-1.0f}, "apAltLock", 1);
        row("speed hold", 77, {1.0f}, "apSpdLock", 1);
        row("vnav above 0.5", 78, {0.6f}, "apVnav", 1);
        row("nav hold", 79, {1.0f}, "apNavLock", 1);
        row("approach truncates 0.9 to off", 80, {0.9f}, "apAppr", 0);
        row("approach armed", 80, {1.0f}, "apAppr", 1);
        row("total weight stays kilograms", 91, {61000.0f}, "totalWt", 61000);
        row("g load", 120, {1.25f}, "gForce", 1.25);
        row("localizer dots", 123, {-0.5f}, "loc", -0.5);
        row("glide slope dots", 124, {1.5f}, "gsDev", 1.5);
        row("temperature", 140, {-5.5f}, "ambTemp", -5.5);
        row("wind direction", 141, {270.0f}, "windDir", 270);
        row("wind speed", 142, {15.0f}, "windSpd", 15);
        row("visibility", 143, {9999.0f}, "vis", 9999);
        row("sea-level pressure inHg to hPa", 144, {29.92f}, "baroSea", 1013.21);
        row("altimeter setting inHg to hPa", 145, {30.0f}, "baro", 1015.917);
    }

    void conversions()
    {
        QFETCH(int, index);
        QFETCH(QList<float>, values);
        QFETCH(QString, member);
        QFETCH(double, expected);
        FakeSim sim;
        XPlaneBackend backend;
        QSignalSpy samples(&backend, &XPlaneBackend::aircraftDataChanged);
        QVERIFY(start(backend, sim));
        for (float value : values)
            QVERIFY(deliver(sim, backend, samples, rrefReply({{index, value}})));

        QMap<QString, double> got = fields(lastSample(samples));
        QVERIFY2(got.contains(member), qPrintable(member));
        const double actual = got.take(member);
        QVERIFY2(std::abs(actual - expected) <= 1e-5 * std::max(1.0, std::abs(expected)),
                 qPrintable(QStringLiteral("%1 = %2, expected %3").arg(member).arg(actual, 0, 'g', 10).arg(expected)));
        QMap<QString, double> untouched = fields(AircraftData());
        untouched.remove(member);
        QCOMPARE(got, untouched);
    }

    void tankQuantitiesFollowEachSample()
    {
        FakeSim sim;
        XPlaneBackend backend;
        QSignalSpy samples(&backend, &XPlaneBackend::aircraftDataChanged);
        QSignalSpy tanks(&backend, &XPlaneBackend::tankQuantitiesReceived);
        QStringList order;
        QObject::connect(&backend, &XPlaneBackend::aircraftDataChanged, [&] { order << "sample"; });
        QObject::connect(&backend, &XPlaneBackend::tankQuantitiesReceived, [&] { order << "tanks"; });
        QVERIFY(start(backend, sim));

        // 1140 kg total: 2 x 570 kg wing tanks; 570 kg of jet fuel is 187.29 US gallons.
        QVERIFY(deliver(sim, backend, samples, rrefReply({{11, 1140.0f}, {92, 570.0f}, {93, 570.0f}, {100, 0.0f}})));
        QCOMPARE(order, QStringList({"sample", "tanks"}));
        QVERIFY(closeTo(lastSample(samples).fuelTotal, 374.57231));
        QVERIFY(closeTo(lastSample(samples).fuelL, 187.28616));
        QVERIFY(closeTo(lastSample(samples).fuelR, 187.28616));
        // The tanks stay in X-Plane's kilograms, the unit m_fuel[i] is written back in.
        QCOMPARE(tanks.last().at(0).value<QList<double>>(), QList<double>({570, 570, 0, 0, 0, 0, 0, 0, 0}));

        // The total is the simulator's, never replaced by a sum of the tanks.
        QVERIFY(deliver(sim, backend, samples, rrefReply({{92, 100.0f}})));
        QVERIFY(closeTo(lastSample(samples).fuelTotal, 374.57231));
        QVERIFY(deliver(sim, backend, samples, rrefReply({{0, 1.0f}})));
        QVERIFY(closeTo(lastSample(samples).fuelTotal, 374.57231));
        QVERIFY(closeTo(lastSample(samples).fuelL, 32.85722));
        QCOMPARE(tanks.size(), 3);
    }

    void fuelConfiguration()
    {
        FakeSim sim;
        XPlaneBackend backend;
        QSignalSpy samples(&backend, &XPlaneBackend::aircraftDataChanged);
        QSignalSpy config(&backend, &XPlaneBackend::fuelConfigChanged);
        QVERIFY(start(backend, sim));
        Records ratios;
        QList<double> expectedRatios;
        for (int i = 0; i < 9; ++i) {
            ratios.append({131 + i, 0.1f * float(i + 1)});
            expectedRatios.append(double(0.1f * float(i + 1)));
        }

        QVERIFY(deliver(sim, backend, samples, rrefReply(Records({{130, 0.0f}}) + ratios)));
        QCOMPARE(config.size(), 0); // no capacity, no configuration
        QVERIFY(deliver(sim, backend, samples, rrefReply({{130, 1000.0f}})));
        QCOMPARE(config.size(), 1); // ratios from before are remembered
        QCOMPARE(config.last().at(0).toDouble(), 1000.0);
        QCOMPARE(config.last().at(1).value<QList<double>>(), expectedRatios);

        QVERIFY(deliver(sim, backend, samples, rrefReply(Records({{130, 1000.5f}}) + ratios)));
        QCOMPARE(config.size(), 1); // same aircraft
        QVERIFY(deliver(sim, backend, samples, rrefReply({{130, 1002.5f}})));
        QCOMPARE(config.size(), 1); // re-armed: the ratios must come again
        QVERIFY(deliver(sim, backend, samples, rrefReply(ratios.mid(0, 8))));
        QCOMPARE(config.size(), 1); // eight of nine are not enough
        QVERIFY(deliver(sim, backend, samples, rrefReply(ratios.mid(8))));
        QCOMPARE(config.size(), 2);
        QCOMPARE(config.last().at(0).toDouble(), 1002.5);
        QCOMPARE(config.last().at(1).value<QList<double>>(), expectedRatios);
    }

    void connectionLifecycle()
    {
        FakeSim sim;
        auto backend = std::make_unique<XPlaneBackend>();
        QCOMPARE(backend->simType(), SimType::XPlane11);
        backend->setXPlaneVersion(12);
        QCOMPARE(backend->simType(), SimType::XPlane12);
        QSignalSpy samples(backend.get(), &XPlaneBackend::aircraftDataChanged);
        QSignalSpy connected(backend.get(), &XPlaneBackend::connected);
        QSignalSpy disconnected(backend.get(), &XPlaneBackend::disconnected);
        QVERIFY(start(*backend, sim, QStringLiteral("localhost")));
        QVERIFY(!backend->isConnected());

        QVERIFY(deliver(sim, *backend, samples, rrefReply({{0, 1.0f}})));
        QVERIFY(deliver(sim, *backend, samples, rrefReply({{0, 2.0f}})));
        QCOMPARE(connected.size(), 1);
        QVERIFY(backend->isConnected());

        backend->disconnect();
        QCOMPARE(disconnected.size(), 1);
        QVERIFY(!backend->isConnected());
        QCOMPARE(backend->boundPort(), quint16(0));

        sim.clearReceived();
        QVERIFY(start(*backend, sim));
        QVERIFY(deliver(sim, *backend, samples, rrefReply({{0, 3.0f}})));
        QCOMPARE(connected.size(), 2); // a new link announces itself again

        backend.reset();
        QCOMPARE(disconnected.size(), 2);
    }

    void bindFailureSendsNothing()
    {
        QUdpSocket occupant;
        QVERIFY(occupant.bind(QHostAddress::AnyIPv4, 0, QAbstractSocket::DontShareAddress));
        FakeSim sim;
        XPlaneBackend backend;
        QSignalSpy log(&AppLogger::instance(), &AppLogger::entryAdded);
        backend.setHost(QStringLiteral("127.0.0.1"), sim.port());
        backend.setLocalPort(occupant.localPort());

        testlog::expectLogged(QStringLiteral("XPlane"), QStringLiteral("bind failed"));
        QVERIFY(!backend.connect());
        QCOMPARE(log.size(), 1);
        const auto entry = log.first().at(0).value<AppLogger::Entry>();
        QCOMPARE(entry.level, AppLogger::Warning);
        QCOMPARE(entry.category, QStringLiteral("XPlane"));
        QCOMPARE(entry.message, QStringLiteral("bind failed"));

        backend.setData(QStringLiteral("sim/cockpit/electrical/battery_on"), 1.0);
        // Anything the backend had sent would already be queued ahead of this marker.
        QUdpSocket marker;
        marker.writeDatagram("MARK", QHostAddress::LocalHost, sim.port());
        QTRY_VERIFY_WITH_TIMEOUT(!sim.received().isEmpty(), kWaitMs);
        QCOMPARE(sim.received(), QList<QByteArray>({"MARK"}));
    }

    void hostileRepliesKeepLastGoodSample_data()
    {
        QTest::addColumn<Records>("records");
        QTest::addColumn<bool>("passedOn");
        const float nan = std::nanf("");
        const float inf = std::numeric_limits<float>::infinity();
        // Each reply also carries a new airspeed, which must not arrive when the reply is dropped.
        QTest::newRow("latitude NaN") << Records{{0, nan}, {3, 99.0f}} << false;
        QTest::newRow("longitude infinite") << Records{{1, -inf}, {3, 99.0f}} << false;
        QTest::newRow("latitude past the pole") << Records{{0, 90.5f}, {3, 99.0f}} << false;
        QTest::newRow("longitude past the antimeridian") << Records{{1, 180.01f}, {3, 99.0f}} << false;
        QTest::newRow("elevation 1e30 m") << Records{{2, 1e30f}, {3, 99.0f}} << false;
        QTest::newRow("elevation far underground") << Records{{2, -1000.0f}, {3, 99.0f}} << false;
        // Values that are odd but possible pass; a NaN elsewhere keeps that member only.
        QTest::newRow("on the pole, on the antimeridian") << Records{{0, -90.0f}, {1, 180.0f}, {3, 99.0f}} << true;
        QTest::newRow("NaN airspeed keeps the last one") << Records{{3, nan}, {0, 10.0f}} << true;
    }

    void hostileRepliesKeepLastGoodSample()
    {
        QFETCH(Records, records);
        QFETCH(bool, passedOn);
        FakeSim sim;
        XPlaneBackend backend;
        QSignalSpy samples(&backend, &XPlaneBackend::aircraftDataChanged);
        QSignalSpy tanks(&backend, &XPlaneBackend::tankQuantitiesReceived);
        QVERIFY(start(backend, sim));
        QVERIFY(deliver(sim, backend, samples, rrefReply({{0, 31.0f}, {1, 121.5f}, {2, 100.0f}, {3, 120.0f}})));
        const AircraftData good = lastSample(samples);

        if (!passedOn)
            testlog::expectLogged(QStringLiteral("XPlane"), QStringLiteral("impossible position"));
        sim.sendRaw(rrefReply(records + Records{{92, 500.0f}}), backend.boundPort());
        // The gear comes after the hostile reply on the same socket, so the backend has seen both.
        QVERIFY(deliver(sim, backend, samples, rrefReply({{12, 1.0f}})));
        const AircraftData now = lastSample(samples);
        QVERIFY(std::isfinite(now.lat) && std::isfinite(now.lon) && std::isfinite(now.alt) && std::isfinite(now.ias));
        QVERIFY(now.gear);
        if (passedOn) {
            QCOMPARE(samples.size(), 3);
            QCOMPARE(tanks.last().at(0).value<QList<double>>().value(0), 500.0);
            return;
        }
        QCOMPARE(samples.size(), 2);
        QCOMPARE(now.lat, good.lat);
        QCOMPARE(now.lon, good.lon);
        QCOMPARE(now.alt, good.alt);
        QCOMPARE(now.ias, good.ias); // the whole reply was dropped, not only its position
        QCOMPARE(tanks.last().at(0).value<QList<double>>().value(0), 0.0);
    }

    void hostileFloodIsLoggedOnce()
    {
        FakeSim sim;
        XPlaneBackend backend;
        QSignalSpy samples(&backend, &XPlaneBackend::aircraftDataChanged);
        QSignalSpy log(&AppLogger::instance(), &AppLogger::entryAdded);
        QVERIFY(start(backend, sim));
        testlog::expectLogged(QStringLiteral("XPlane"), QStringLiteral("impossible position"));
        for (int i = 0; i < 200; ++i)
            sim.sendRaw(rrefReply({{0, std::nanf("")}, {1, 1e20f}}), backend.boundPort());
        QVERIFY(deliver(sim, backend, samples, rrefReply({{0, 1.0f}})));
        QCOMPARE(samples.size(), 1);
        QCOMPARE(log.size(), 1);
        QVERIFY(backend.isConnected()); // only the good reply counted as the simulator answering
    }

    void failureKeysBecomeVersionDatarefs_data()
    {
        QTest::addColumn<int>("version");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("dataref"); // empty: nothing may be written
        const QString f = QStringLiteral("sim/operation/failures/");
        // Engine digits count from 0 in X-Plane, gear and pitot digits do not shift, the first
        // surface heat has no digit, X-Plane 12 renamed the flight-control failures.
        QTest::newRow("engine 1 on 11") << 11 << "XPlaneFailureEngfai1" << f + "rel_engfai0";
        QTest::newRow("engine 2 fire on 12") << 12 << "XPlaneFailureEngfir2" << f + "rel_engfir1";
        QTest::newRow("nose gear") << 11 << "XPlaneFailureLagear1" << f + "rel_lagear1";
        QTest::newRow("pitot heat 2") << 12 << "XPlaneFailureIcePitotHeat2" << f + "rel_ice_pitot_heat2";
        QTest::newRow("surface heat 1") << 11 << "XPlaneFailureIceSurfHeat1" << f + "rel_ice_surf_heat";
        QTest::newRow("surface heat 2") << 12 << "XPlaneFailureIceSurfHeat2" << f + "rel_ice_surf_heat2";
        QTest::newRow("left yaw on 11") << 11 << "XPlaneFailureFcRudL" << f + "rel_fc_rud_L";
        QTest::newRow("left yaw on 12") << 12 << "XPlaneFailureFcRudL" << f + "rel_rud_L";
        QTest::newRow("pitch down on 12") << 12 << "XPlaneFailureFcElvD" << f + "rel_elv_D";
        QTest::newRow("avionics bus on 11") << 11 << "XPlaneFailureGenAvio" << f + "rel_gen_avio";
        QTest::newRow("avionics bus on 12") << 12 << "XPlaneFailureGenAvio" << QString();
        QTest::newRow("unknown key") << 11 << "XPlaneFailureWarpDrive" << QString();
        QTest::newRow("plain dataref passes") << 12 << "sim/cockpit/electrical/battery_on"
                                              << "sim/cockpit/electrical/battery_on";
    }

    void failureKeysBecomeVersionDatarefs()
    {
        QFETCH(int, version);
        QFETCH(QString, key);
        QFETCH(QString, dataref);
        FakeSim sim;
        XPlaneBackend backend;
        backend.setXPlaneVersion(version);
        QVERIFY(start(backend, sim));
        sim.clearReceived();
        QCOMPARE(backend.canSetData(key), !dataref.isEmpty());

        if (dataref.isEmpty())
            testlog::expectLogged(QStringLiteral("XPlane"),
                                  QRegularExpression::escape(key) +
                                      QStringLiteral(" has no dataref on X-Plane %1").arg(version));
        QSignalSpy log(&AppLogger::instance(), &AppLogger::entryAdded);
        backend.setData(key, 6.0);
        backend.setData(QStringLiteral("zobrel/marker"), 1.0);
        QVERIFY(FakeXPlane::waitFor(
            [&] { return !sim.drefWrites().isEmpty() && sim.drefWrites().last().first == "zobrel/marker"; }));
        QList<QPair<QString, float>> expected;
        if (!dataref.isEmpty())
            expected.append({dataref, 6.0f});
        expected.append({QStringLiteral("zobrel/marker"), 1.0f});
        QCOMPARE(sim.drefWrites(), expected);
        QCOMPARE(log.size(), dataref.isEmpty() ? 1 : 0);
    }

    void onlyTheAvionicsBusLacksAnXPlane12Dataref()
    {
        QStringList missingOn11, missingOn12;
        for (const QString &key : XPlaneFailureTable::keys()) {
            for (int version : {11, 12}) {
                const QString path = XPlaneFailureTable::dataref(key, version);
                if (path.isEmpty())
                    (version == 11 ? missingOn11 : missingOn12) << key;
                else
                    QVERIFY2(path.startsWith("sim/operation/failures/rel_"), qPrintable(path));
            }
        }
        QCOMPARE(XPlaneFailureTable::keys().size(), 56);
        QCOMPARE(missingOn11, QStringList());
        QCOMPARE(missingOn12, QStringList{"XPlaneFailureGenAvio"});
    }

    void pauseFollowsVersion()
    {
        FakeSim sim;
        XPlaneBackend backend;
        QSignalSpy samples(&backend, &XPlaneBackend::aircraftDataChanged);
        QVERIFY(!backend.setPaused(true)); // not bound: nothing can be sent
        QVERIFY(start(backend, sim));
        sim.clearReceived();

        // X-Plane 11 has only the toggle: without the current state it cannot promise anything.
        QVERIFY(!backend.setPaused(true));
        QVERIFY(deliver(sim, backend, samples, rrefReply({{125, 0.0f}})));
        QVERIFY(backend.setPaused(true));
        // A reply sent before the simulator saw the toggle must not make a second call toggle back.
        QVERIFY(deliver(sim, backend, samples, rrefReply({{125, 0.0f}})));
        QVERIFY(backend.setPaused(true));
        QVERIFY(deliver(sim, backend, samples, rrefReply({{125, 1.0f}})));
        QVERIFY(backend.setPaused(true)); // already paused: no toggle
        QVERIFY(backend.setPaused(false));
        QVERIFY(FakeXPlane::waitFor([&] { return sim.commands().size() >= 2; }));

        backend.setXPlaneVersion(12);
        QVERIFY(backend.setPaused(true));
        QVERIFY(backend.setPaused(false));
        QVERIFY(FakeXPlane::waitFor([&] { return sim.commands().size() >= 4; }));
        QCOMPARE(sim.commands(), QStringList({"sim/operation/pause_toggle", "sim/operation/pause_toggle",
                                              "sim/operation/pause_on", "sim/operation/pause_off"}));
    }

    void freezeHoldsThePlanePath()
    {
        FakeSim sim;
        XPlaneBackend backend;
        QVERIFY(start(backend, sim));
        sim.clearReceived();
        QVERIFY(backend.setFrozen(true, true));
        QVERIFY(!backend.setFrozen(false, true)); // the attitude alone cannot be held
        QVERIFY(backend.setFrozen(true, false));
        QVERIFY(backend.setFrozen(false, false));
        QVERIFY(FakeXPlane::waitFor([&] { return sim.drefWrites().size() >= 3; }));
        const QString path = QStringLiteral("sim/operation/override/override_planepath[0]");
        QCOMPARE(sim.drefWrites(), (QList<QPair<QString, float>>{{path, 1.0f}, {path, 1.0f}, {path, 0.0f}}));
    }

    void weatherWritesPerVersion()
    {
        WeatherState w;
        w.windDirDeg = 270;
        w.windSpeedKt = 15;
        w.windGustKt = 25;
        w.visibilityM = 5000;
        w.temperatureC = -2;
        w.dewpointC = -5;
        w.qnhHpa = 1000;
        w.precipitation = 0.5;
        w.clouds = {{"BKN", 1500, 0, ""}, {"OVC", 3000, 5000, "CB"}};

        QMap<QString, float> xp11;
        const QList<XPlaneWeather::Write> writes11 = XPlaneWeather::writes(w, 11);
        for (const XPlaneWeather::Write &write : writes11)
            xp11.insert(write.dataref, write.value);
        QCOMPARE(writes11.first().dataref, QStringLiteral("sim/weather/use_real_weather_bool"));
        QCOMPARE(writes11.first().value, 0.0f);
        QCOMPARE(xp11.value("sim/weather/visibility_reported_m"), 5000.0f);
        QVERIFY(std::abs(xp11.value("sim/weather/barometer_sealevel_inhg") - 29.53f) < 0.005f);
        for (int layer = 0; layer < 3; ++layer) {
            QCOMPARE(xp11.value(QStringLiteral("sim/weather/wind_direction_degt[%1]").arg(layer)), 270.0f);
            QCOMPARE(xp11.value(QStringLiteral("sim/weather/wind_speed_kt[%1]").arg(layer)), 15.0f);
            QCOMPARE(xp11.value(QStringLiteral("sim/weather/shear_speed_kt[%1]").arg(layer)), 10.0f);
        }
        QVERIFY(std::abs(xp11.value("sim/weather/cloud_base_msl_m[0]") - 457.2f) < 0.01f);
        QCOMPARE(xp11.value("sim/weather/cloud_type[2]"), 0.0f); // no third layer: clear
        QVERIFY(xp11.value("sim/weather/thunderstorm_percent") > 0.0f);
        QCOMPARE(xp11.value("sim/weather/dewpoi_sealevel_c"), -5.0f);

        QMap<QString, float> xp12;
        const QList<XPlaneWeather::Write> writes12 = XPlaneWeather::writes(w, 12);
        for (const XPlaneWeather::Write &write : writes12)
            xp12.insert(write.dataref, write.value);
        QCOMPARE(writes12.first().dataref, QStringLiteral("sim/weather/region/change_mode"));
        QCOMPARE(writes12.first().value, 3.0f);
        QCOMPARE(writes12.last().dataref, QStringLiteral("sim/weather/region/update_immediately"));
        QVERIFY(std::abs(xp12.value("sim/weather/region/visibility_reported_sm") - 3.1069f) < 0.001f);
        QCOMPARE(xp12.value("sim/weather/region/sealevel_pressure_pas"), 100000.0f);
        QCOMPARE(xp12.value("sim/weather/region/wind_speed_msc[12]"), 15.0f);
        QCOMPARE(xp12.value("sim/weather/region/cloud_type[1]"), 3.0f); // cumulonimbus
        QVERIFY(std::abs(xp12.value("sim/weather/region/cloud_tops_msl_m[1]") - 1524.0f) < 0.01f);
        QCOMPARE(xp12.value("sim/weather/region/cloud_coverage_percent[2]"), 0.0f);
        QVERIFY(!xp12.contains("sim/weather/use_real_weather_bool")); // not writable on 12

        // The backend sends exactly these, in order.
        FakeSim sim;
        XPlaneBackend backend;
        backend.setXPlaneVersion(12);
        QVERIFY(start(backend, sim));
        sim.clearReceived();
        QVERIFY(backend.setWeather(w));
        QVERIFY(FakeXPlane::waitFor([&] { return sim.drefWrites().size() >= writes12.size(); }));
        QCOMPARE(sim.drefWrites().size(), writes12.size());
        QCOMPARE(sim.drefWrites().last().first, writes12.last().dataref);
    }

    void flakyLinks_data()
    {
        QTest::addColumn<int>("dropEvery");
        QTest::addColumn<int>("delayMs");
        QTest::addColumn<int>("truncateTo");
        QTest::addColumn<bool>("wrongTag");
        QTest::addColumn<bool>("connects");
        QTest::newRow("every other reply lost") << 2 << 0 << -1 << false << true;
        QTest::newRow("replies late by 300 ms") << 0 << 300 << -1 << false << true;
        // Header and the latitude record, then three bytes of the longitude record.
        QTest::newRow("replies cut inside a record") << 0 << 0 << 16 << false << true;
        QTest::newRow("replies with another tag") << 0 << 0 << -1 << true << false;
    }

    void flakyLinks()
    {
        QFETCH(int, dropEvery);
        QFETCH(int, delayMs);
        QFETCH(int, truncateTo);
        QFETCH(bool, wrongTag);
        QFETCH(bool, connects);
        FakeSim sim;
        sim.setDropEvery(dropEvery);
        sim.setDelayMs(delayMs);
        sim.setTruncateTo(truncateTo);
        sim.setWrongTag(wrongTag);
        XPlaneBackend backend;
        QSignalSpy samples(&backend, &XPlaneBackend::aircraftDataChanged);
        QVERIFY(start(backend, sim));
        QElapsedTimer sent;
        sent.start();
        // Latitude and longitude in one reply each time, a few times over.
        for (int i = 0; i < 4; ++i)
            sim.reply({{0, 47.5f}, {1, 8.5f}}, backend.boundPort());
        if (!connects) {
            QVERIFY(!QTest::qWaitFor([&] { return !samples.isEmpty(); }, 1000));
            QVERIFY(!backend.isConnected());
            return;
        }
        QTRY_COMPARE_WITH_TIMEOUT(samples.size(), dropEvery == 2 ? 2 : 4, kWaitMs);
        QVERIFY(backend.isConnected());
        QVERIFY(sent.elapsed() >= delayMs);
        QCOMPARE(lastSample(samples).lat, 47.5);
        QCOMPARE(lastSample(samples).lon, truncateTo >= 0 ? 0.0 : 8.5);
    }
};

QTEST_GUILESS_MAIN(TestXPlaneBackend)
#include "tst_xplanebackend.moc"
