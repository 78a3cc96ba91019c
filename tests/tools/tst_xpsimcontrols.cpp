// The demo simulator obeys an instructor station as X-Plane does: failures, fuel and payload,
// pushback, pause and freeze, weather. Each case runs the real zobrel-xpsim process and talks to
// it with X-Plane datagrams over loopback.

#include "xpsimclient.h"

#include <QProcess>
#include <QTimer>
#include <QtTest>

#include <cmath>
#include <memory>

using namespace xpsimtest;

namespace {

constexpr int kWaitMs = 10000;
const QString kFailures = QStringLiteral("sim/operation/failures/");
const QString kMarker = QStringLiteral("zobrel/test/marker");

struct Range
{
    double low = 0;
    double high = 0;
    bool contains(double v) const { return v >= low - 1e-4 && v <= high + 1e-4; }
};

} // namespace

Q_DECLARE_METATYPE(Range)

class TstXpSimControls : public QObject
{
    Q_OBJECT

private slots:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }
    void cleanup();

    void failuresActOnTheModel_data();
    void failuresActOnTheModel();
    void unknownFailureIsRefusedAndLoggedOnce();
    void fuelAndPayloadWritesShowInSamples();
    void straightPushbackAtThreeKnotsForTenSeconds();
    void pauseAndFreezeStopIt_data();
    void pauseAndFreezeStopIt();
    void weatherWritesChangeTheEnvironment_data();
    void weatherWritesChangeTheEnvironment();

private:
    bool start(const QStringList &arguments = {});
    // Writes, then waits until the simulator has handled them (datagrams are handled in order).
    bool writeAndSettle(const QList<QPair<QString, float>> &writes);
    // The next n values of index all lie in range.
    bool holds(int index, const Range &range, int n);

    std::unique_ptr<QProcess> m_process;
    std::unique_ptr<SimClient> m_client;
    float m_markerValue = 0;
};

void TstXpSimControls::cleanup()
{
    if (m_process && QTest::currentTestFailed())
        qInfo().noquote() << "simulator log:\n" << m_process->readAllStandardError();
    m_client.reset();
    if (m_process) {
        m_process->kill();
        m_process->waitForFinished(5000);
        m_process.reset();
    }
}

bool TstXpSimControls::start(const QStringList &arguments)
{
    m_process = std::make_unique<QProcess>();
    const quint16 port = startXpSim(*m_process, QStringLiteral(XPSIM_EXECUTABLE), arguments);
    if (port == 0)
        return false;
    m_client = std::make_unique<SimClient>(port);
    if (!m_client->bind())
        return false;
    m_client->subscribe(999, kMarker, 20);
    return QTest::qWaitFor([this] { return m_client->has(999); }, kWaitMs);
}

bool TstXpSimControls::writeAndSettle(const QList<QPair<QString, float>> &writes)
{
    for (const auto &[path, value] : writes)
        m_client->write(path, value);
    const float marker = ++m_markerValue;
    m_client->write(kMarker, marker);
    return QTest::qWaitFor([this, marker] { return m_client->latest(999) == marker; }, kWaitMs);
}

bool TstXpSimControls::holds(int index, const Range &range, int n)
{
    const int from = m_client->count(index);
    if (!QTest::qWaitFor([&] { return m_client->count(index) >= from + n; }, kWaitMs))
        return false;
    const QList<float> values = m_client->history(index).mid(from);
    return std::all_of(values.cbegin(), values.cend(), [&range](float v) { return range.contains(v); });
}

void TstXpSimControls::failuresActOnTheModel_data()
{
    QTest::addColumn<QStringList>("failures"); // rel_* names set to 6, then back to 0
    QTest::addColumn<QString>("command");      // run after failing, empty for none
    QTest::addColumn<QString>("watched");
    QTest::addColumn<Range>("healthy");
    QTest::addColumn<Range>("failed");
    const QString engine = QStringLiteral("sim/flightmodel/engine/");
    const QString electrical = QStringLiteral("sim/cockpit2/electrical/");
    QTest::newRow("engine 1 power loss: N1 falls")
        << QStringList{"rel_engfai0"} << "" << engine + "ENGN_N1_[0]" << Range{55, 102} << Range{0, 45};
    QTest::newRow("engine 1 power loss: no fuel flow")
        << QStringList{"rel_engfai0"} << "" << engine + "ENGN_FF_[0]" << Range{0.01, 0.1} << Range{0, 0};
    QTest::newRow("engine 2 flame-out") << QStringList{"rel_engfla1"} << "" << engine + "ENGN_running[1]" << Range{1, 1}
                                        << Range{0, 0};
    QTest::newRow("engine 1 fire") << QStringList{"rel_engfir0"} << "" << engine + "ENGN_fire[0]" << Range{0, 0}
                                   << Range{1, 1};
    QTest::newRow("generator 1: its bus on the battery")
        << QStringList{"rel_genera0"} << "" << electrical + "bus_volts[0]" << Range{28, 29} << Range{21.5, 25};
    QTest::newRow("generator and battery 1: its bus dead")
        << QStringList{"rel_genera0", "rel_batter0"} << "" << electrical + "bus_volts[0]" << Range{28, 29}
        << Range{0, 0};
    QTest::newRow("battery 2") << QStringList{"rel_batter1"} << "" << electrical + "battery_voltage_actual_volts[1]"
                               << Range{22, 24.6} << Range{0, 0};
    QTest::newRow("whole electrical system")
        << QStringList{"rel_gen_esys"} << "" << electrical + "bus_volts[1]" << Range{28, 29} << Range{0, 0};
    QTest::newRow("avionics bus") << QStringList{"rel_gen_avio"} << "" << electrical + "bus_volts[2]" << Range{28, 29}
                                  << Range{0, 0};
    QTest::newRow("autopilot disengages") << QStringList{"rel_otto"} << ""
                                          << "sim/cockpit/autopilot/autopilot_mode" << Range{2, 2} << Range{0, 0};
    // Repositioned in the air the gear is up; with the actuator failed it stays up when lowered.
    QTest::newRow("gear actuator holds the gear")
        << QStringList{"rel_gear_act"} << "sim/flight_controls/landing_gear_down"
        << "sim/flightmodel/gear/deploy_ratio[0]" << Range{0, 1} << Range{0, 0};
}

void TstXpSimControls::failuresActOnTheModel()
{
    QFETCH(QStringList, failures);
    QFETCH(QString, command);
    QFETCH(QString, watched);
    QFETCH(Range, healthy);
    QFETCH(Range, failed);
    QVERIFY(start());
    m_client->subscribe(1, watched, 20);
    // In the air, 1000 m up on a long final: engines at power, autopilot engaged, gear up.
    m_client->send(prel(6, 31.30, 121.90, 1000.0, 200.0));
    QTRY_VERIFY_WITH_TIMEOUT(m_client->has(1) && healthy.contains(m_client->latest(1)), kWaitMs);

    QList<QPair<QString, float>> fail;
    QList<QPair<QString, float>> repair;
    for (const QString &name : std::as_const(failures)) {
        fail.append({kFailures + name, 6.0f});
        repair.append({kFailures + name, 0.0f});
    }
    QVERIFY(writeAndSettle(fail));
    if (!command.isEmpty())
        m_client->command(command);
    QTRY_VERIFY_WITH_TIMEOUT(failed.contains(m_client->latest(1)), kWaitMs);
    QVERIFY2(holds(1, failed, 10), "the failure did not last");
    for (const QString &name : std::as_const(failures)) {
        m_client->subscribe(2, kFailures + name, 20);
        QTRY_COMPARE_WITH_TIMEOUT(m_client->latest(2), 6.0f, kWaitMs);
    }

    QVERIFY(writeAndSettle(repair));
    if (!command.isEmpty())
        m_client->command(command);
    QTRY_VERIFY_WITH_TIMEOUT(healthy.contains(m_client->latest(1)) && !failed.contains(m_client->latest(1)), kWaitMs);
}

void TstXpSimControls::unknownFailureIsRefusedAndLoggedOnce()
{
    QVERIFY(start());
    const QString bird = kFailures + QStringLiteral("rel_bird_strike");
    QVERIFY(writeAndSettle({{bird, 6.0f}, {bird, 0.0f}, {bird, 6.0f}}));
    m_client->subscribe(1, bird, 20);
    QTRY_VERIFY_WITH_TIMEOUT(m_client->count(1) >= 3, kWaitMs);
    QCOMPARE(m_client->latest(1), 0.0f); // not kept as a plain value either
    m_process->kill();
    m_process->waitForFinished(5000);
    const QString log = QString::fromUtf8(m_process->readAllStandardError());
    QCOMPARE(log.count(QStringLiteral("rel_bird_strike")), 1);
    QVERIFY(log.contains(QStringLiteral("failure not simulated")));
}

void TstXpSimControls::fuelAndPayloadWritesShowInSamples()
{
    QVERIFY(start({QStringLiteral("--parked")}));
    const QString w = QStringLiteral("sim/flightmodel/weight/");
    m_client->subscribe(1, w + "m_fuel[0]", 20);
    m_client->subscribe(2, w + "m_fuel[1]", 20);
    m_client->subscribe(3, w + "m_fixed[2]", 20);
    m_client->subscribe(4, w + "m_total", 20);
    m_client->subscribe(5, QStringLiteral("sim/flightmodel/fuel/total_fuel_kgs"), 20);
    m_client->subscribe(6, QStringLiteral("sim/aircraft/weight/acf_m_empty"), 20);
    QTRY_VERIFY_WITH_TIMEOUT(m_client->has(6), kWaitMs);
    const float before = m_client->latest(4);

    // The wing tanks hold 652 kg each; the engines burn from the centre tank first.
    QVERIFY(writeAndSettle({{w + "m_fuel[0]", 200.0f}, {w + "m_fuel[1]", 900.0f}, {w + "m_fixed[2]", 150.0f}}));
    QTRY_VERIFY_WITH_TIMEOUT(m_client->latest(1) == 200.0f, kWaitMs);
    QTRY_VERIFY_WITH_TIMEOUT(std::abs(m_client->latest(2) - 652.0f) < 0.01f, kWaitMs); // clamped to capacity
    QTRY_COMPARE_WITH_TIMEOUT(m_client->latest(3), 150.0f, kWaitMs);
    // The weight follows: empty + two crew (170) + passengers (320) + the new station + the fuel.
    QTRY_VERIFY_WITH_TIMEOUT(
        std::abs(m_client->latest(4) - (m_client->latest(6) + 170.0f + 320.0f + 150.0f + m_client->latest(5))) < 0.1f,
        kWaitMs);
    QVERIFY(m_client->latest(4) != before);
}

void TstXpSimControls::straightPushbackAtThreeKnotsForTenSeconds()
{
    QVERIFY(start({QStringLiteral("--parked")}));
    const QString p = QStringLiteral("sim/flightmodel/position/");
    m_client->subscribe(1, p + "local_x", 20);
    m_client->subscribe(2, p + "local_z", 20);
    m_client->subscribe(3, p + "true_psi", 20);
    m_client->send(prel(6, 31.15, 121.80, 4.0, 90.0)); // at a gate, nose east
    QTRY_VERIFY_WITH_TIMEOUT(m_client->count(1) >= 3 && std::abs(m_client->latest(1)) < 0.01f, kWaitMs);

    // 3 kt tail first, as the station's pushback controller writes it every 50 ms: the reverse of
    // the heading is west, so local_vx = -1.543 m/s (x east), no z, no yaw.
    constexpr float kPushMps = 3.0f * 0.514444f;
    QElapsedTimer pushing;
    QTimer tug;
    QObject::connect(&tug, &QTimer::timeout, [&] {
        if (pushing.elapsed() >= 10000) {
            tug.stop();
            return;
        }
        m_client->write(p + "local_vx", -kPushMps);
        m_client->write(p + "local_vy", 0.0f);
        m_client->write(p + "local_vz", 0.0f);
        m_client->write(p + "R", 0.0f);
    });
    pushing.start();
    tug.start(50);
    QTRY_VERIFY_WITH_TIMEOUT(!tug.isActive(), 15000);
    // The simulator lets go half a second after the last write.
    QVERIFY(holds(1, Range{-17.0, -14.0}, 20));
    QVERIFY2(std::abs(m_client->latest(1) + 15.43f) < 1.5f, qPrintable(QString::number(m_client->latest(1))));
    QVERIFY(std::abs(m_client->latest(2)) < 0.3f);
    QVERIFY(std::abs(m_client->latest(3) - 90.0f) < 0.5f);
}

void TstXpSimControls::pauseAndFreezeStopIt_data()
{
    QTest::addColumn<QString>("stopCommand");
    QTest::addColumn<QString>("resumeCommand");
    QTest::addColumn<QString>("dataref"); // written 1 to stop, 0 to resume, when no commands
    QTest::newRow("pause on and off") << "sim/operation/pause_on"
                                      << "sim/operation/pause_off"
                                      << "";
    QTest::newRow("pause toggle") << "sim/operation/pause_toggle"
                                  << "sim/operation/pause_toggle"
                                  << "";
    QTest::newRow("freeze toggle") << "sim/operation/freeze_toggle"
                                   << "sim/operation/freeze_toggle"
                                   << "";
    QTest::newRow("plane path override") << ""
                                         << ""
                                         << "sim/operation/override/override_planepath[0]";
}

void TstXpSimControls::pauseAndFreezeStopIt()
{
    QFETCH(QString, stopCommand);
    QFETCH(QString, resumeCommand);
    QFETCH(QString, dataref);
    QVERIFY(start()); // rolling for take-off: the position changes every sample
    m_client->subscribe(1, QStringLiteral("sim/flightmodel/position/local_z"), 20);
    QTRY_VERIFY_WITH_TIMEOUT(m_client->count(1) >= 2 && m_client->history(1).first() != m_client->latest(1), kWaitMs);

    if (dataref.isEmpty())
        m_client->command(stopCommand);
    QVERIFY(writeAndSettle(dataref.isEmpty() ? QList<QPair<QString, float>>{}
                                             : QList<QPair<QString, float>>{{dataref, 1.0f}}));
    const float stoppedAt = m_client->latest(1);
    QVERIFY(holds(1, Range{stoppedAt - 0.05, stoppedAt + 0.05}, 10));

    if (dataref.isEmpty())
        m_client->command(resumeCommand);
    QVERIFY(writeAndSettle(dataref.isEmpty() ? QList<QPair<QString, float>>{}
                                             : QList<QPair<QString, float>>{{dataref, 0.0f}}));
    QTRY_VERIFY_WITH_TIMEOUT(std::abs(m_client->latest(1) - stoppedAt) > 1.0f, kWaitMs);
}

void TstXpSimControls::weatherWritesChangeTheEnvironment_data()
{
    using Writes = QList<QPair<QString, float>>;
    QTest::addColumn<Writes>("writes");
    // 1000 hPa is 29.53 inHg; 1500 m is 0.932 statute miles.
    const QString w = QStringLiteral("sim/weather/");
    QTest::newRow("X-Plane 11 layers") << Writes{
        {w + "wind_altitude_msl_m[0]", 0.0f},   {w + "wind_direction_degt[0]", 200.0f},
        {w + "wind_speed_kt[0]", 25.0f},        {w + "wind_direction_degt[1]", 200.0f},
        {w + "visibility_reported_m", 1500.0f}, {w + "barometer_sealevel_inhg", 29.53f},
        {w + "temperature_sealevel_c", -5.0f}};
    const QString r = QStringLiteral("sim/weather/region/");
    QTest::newRow("X-Plane 12 region") << Writes{{r + "change_mode", 3.0f},
                                                 {r + "wind_direction_degt[0]", 200.0f},
                                                 {r + "wind_speed_msc[0]", 25.0f},
                                                 {r + "wind_speed_msc[12]", 25.0f},
                                                 {r + "visibility_reported_sm", 0.932f},
                                                 {r + "sealevel_pressure_pas", 100000.0f},
                                                 {r + "sealevel_temperature_c", -5.0f},
                                                 {r + "update_immediately", 1.0f}};
}

void TstXpSimControls::weatherWritesChangeTheEnvironment()
{
    using Writes = QList<QPair<QString, float>>;
    QFETCH(Writes, writes);
    QVERIFY(start({QStringLiteral("--parked")})); // at 4 m, in the surface wind
    const QString w = QStringLiteral("sim/weather/");
    m_client->subscribe(1, w + "wind_direction_degt", 20);
    m_client->subscribe(2, w + "wind_speed_kt", 20);
    m_client->subscribe(3, w + "visibility_reported_m", 20);
    m_client->subscribe(4, w + "barometer_sea", 20);
    m_client->subscribe(5, w + "temperature_ambient_c", 20);
    QVERIFY(writeAndSettle(writes));
    // The demo's weather drifts a little on its own: the wind swings up to 9 degrees and gusts,
    // visibility varies by 8 %, pressure by 0.01 inHg.
    QVERIFY(holds(1, Range{190, 210}, 10));
    QVERIFY(holds(2, Range{15, 35}, 10));
    QVERIFY(holds(3, Range{1370, 1630}, 10));
    QVERIFY(holds(4, Range{29.515, 29.545}, 10));
    QVERIFY(holds(5, Range{-5.2, -4.9}, 10));
}

QTEST_GUILESS_MAIN(TstXpSimControls)
#include "tst_xpsimcontrols.moc"
