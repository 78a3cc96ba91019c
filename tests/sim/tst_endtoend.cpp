#include "sim/isimbackend.h"
#include "sim/simbackendmanager.h"
#include "tests/support/demosimulator.h"
#include "tests/support/logexpect.h"

#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <functional>
#include <memory>

// The station's simulator link against the demo simulator running as its own process.
class TestEndToEnd : public QObject
{
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    QProcess m_sim;
    quint16 m_simPort = 0;

    static AircraftData lastSample(const QSignalSpy &spy)
    {
        return spy.isEmpty() ? AircraftData() : spy.last().first().value<AircraftData>();
    }

    // A manager connected to the demo as the given X-Plane version; beforeConnected sees the
    // backend before its first sample.
    std::unique_ptr<SimBackendManager> connectedManager(SimType type,
                                                        const std::function<void(ISimBackend *)> &beforeConnected = {})
    {
        const QString ini = m_dir.filePath(QStringLiteral("Zobrel-%1.ini").arg(int(type)));
        {
            QSettings settings(ini, QSettings::IniFormat);
            settings.setValue("autoConnect", false);
            settings.setValue("xplanePort", m_simPort);
            settings.setValue("xplaneLocalPort", 0);
        }
        auto manager = std::make_unique<SimBackendManager>(
            ini, SimBackendManager::Timings(), [] { return QString(); }, m_dir.path());
        manager->connectTo(type);
        if (!manager->backend())
            return nullptr;
        if (beforeConnected)
            beforeConnected(manager->backend());
        if (!QTest::qWaitFor([&] { return manager->isConnected(); }, 5000))
            return nullptr;
        return manager;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_simPort = demosim::start(m_sim, QStringLiteral(XPSIM_PATH));
        QVERIFY2(m_simPort > 0, qPrintable(m_sim.errorString()));
    }

    void cleanupTestCase()
    {
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

    void liveSamplesAndWritesRoundTrip()
    {
        const QString ini = m_dir.filePath("Zobrel.ini");
        {
            QSettings settings(ini, QSettings::IniFormat);
            settings.setValue("autoConnect", false);
            settings.setValue("xplanePort", m_simPort);
            settings.setValue("xplaneLocalPort", 0);
        }
        SimBackendManager manager(
            ini, SimBackendManager::Timings(), [] { return QString(); }, m_dir.path());
        QSignalSpy samples(&manager, &SimBackendManager::aircraftDataChanged);
        manager.connectTo(SimType::XPlane11);
        QTRY_VERIFY_WITH_TIMEOUT(manager.isConnected(), 5000);

        // The demo flies near Shanghai Pudong; a full set of values arrives within a second or two.
        QTRY_VERIFY_WITH_TIMEOUT(samples.count() >= 20, 5000);
        AircraftData first = lastSample(samples);
        QVERIFY2(std::abs(first.lat - 31.14) < 0.5 && std::abs(first.lon - 121.81) < 0.5,
                 qPrintable(QStringLiteral("%1 %2").arg(first.lat).arg(first.lon)));
        QVERIFY(first.engCnt >= 1 && first.engCnt <= 4);
        QVERIFY(first.baroSea > 900 && first.baroSea < 1100);
        QVERIFY(first.com1 > 118 && first.com1 < 137);

        // Reposition far away: the next samples come from there.
        ISimBackend *backend = manager.backend();
        QVERIFY(backend);
        backend->setPosition(39.5, 116.4, 3000 * 0.3048, 0, 0, 90, false, 200);
        QTRY_VERIFY_WITH_TIMEOUT(
            std::abs(lastSample(samples).lat - 39.5) < 0.05 && std::abs(lastSample(samples).lon - 116.4) < 0.05, 5000);
        QVERIFY(std::abs(lastSample(samples).alt - 3000) < 500);

        // A dataref write shows up in later replies.
        backend->setData("sim/cockpit/radios/transponder_code", 4521);
        QTRY_COMPARE_WITH_TIMEOUT(lastSample(samples).xpdr, 4521.0, 5000);
        backend->setData("sim/cockpit/radios/com1_freq_hz", 12345);
        QTRY_COMPARE_WITH_TIMEOUT(lastSample(samples).com1, 123.45, 5000);

        manager.disconnect();
        QVERIFY(!manager.isConnected());
    }

    // The units of the sample and the fuel signals, checked against what the demo holds.
    void unitsAndFuelRoundTrip()
    {
        std::unique_ptr<QSignalSpy> config, tanks;
        auto manager = connectedManager(SimType::XPlane11, [&](ISimBackend *backend) {
            config = std::make_unique<QSignalSpy>(backend, &ISimBackend::fuelConfigChanged);
            tanks = std::make_unique<QSignalSpy>(backend, &ISimBackend::tankQuantitiesReceived);
        });
        QVERIFY(manager);
        ISimBackend *backend = manager->backend();
        QSignalSpy samples(manager.get(), &SimBackendManager::aircraftDataChanged);
        // In the air at 1000 m: true airspeed is some 5 % above indicated there, not half of it.
        backend->setPosition(31.3, 121.9, 1000.0, 0, 0, 200, false, 0);
        QTRY_VERIFY_WITH_TIMEOUT(lastSample(samples).ias > 100 && !lastSample(samples).onGround, 5000);
        const AircraftData air = lastSample(samples);
        QVERIFY2(air.tas > 1.0 * air.ias && air.tas < 1.15 * air.ias,
                 qPrintable(QStringLiteral("%1 %2").arg(air.tas).arg(air.ias)));
        QVERIFY(air.thr1 > 1.0 && air.thr1 <= 100.0);   // percent, not a ratio
        QVERIFY(air.ff[0] > 20.0 && air.ff[0] < 300.0); // gal/h of a PT6, not kg/s

        QTRY_VERIFY_WITH_TIMEOUT(config->count() >= 1 && tanks->count() >= 1, 6000);
        const double capacityKg = config->last().at(0).toDouble();
        const QList<double> ratios = config->last().at(1).value<QList<double>>();
        QCOMPARE(ratios.size(), 9);
        QVERIFY(std::abs(capacityKg - 1630.0) < 1.0);
        const QList<double> kg = tanks->last().at(0).value<QList<double>>();
        double sumKg = 0;
        for (double tank : kg)
            sumKg += tank;
        const AircraftData now = lastSample(samples);
        QVERIFY(std::abs(now.fuelTotal * kFuelKgPerUsGallon - sumKg) < 2.0);
        QVERIFY(std::abs(now.fuelL * kFuelKgPerUsGallon - kg.at(0)) < 1.0);
        QVERIFY(now.fuelL > 0 && now.fuelR > 0);

        // A tank quantity written back to m_fuel[i] is the same fuel; half the left tank's
        // capacity from the configuration lands as that.
        const double halfLeftKg = capacityKg * ratios.at(0) / 2;
        backend->setData(QStringLiteral("sim/flightmodel/weight/m_fuel[0]"), halfLeftKg);
        backend->setData(QStringLiteral("sim/flightmodel/weight/m_fuel[1]"), kg.at(1));
        QTRY_VERIFY_WITH_TIMEOUT(std::abs(tanks->last().at(0).value<QList<double>>().at(0) - halfLeftKg) < 0.5, 5000);
        QVERIFY(std::abs(tanks->last().at(0).value<QList<double>>().at(1) - kg.at(1)) < 0.5);
        QTRY_VERIFY_WITH_TIMEOUT(std::abs(lastSample(samples).fuelL - halfLeftKg / kFuelKgPerUsGallon) < 0.5, 5000);
    }

    void failureKeyActsOnTheDemo()
    {
        auto manager = connectedManager(SimType::XPlane12);
        QVERIFY(manager);
        ISimBackend *backend = manager->backend();
        QSignalSpy samples(manager.get(), &SimBackendManager::aircraftDataChanged);
        QTRY_VERIFY_WITH_TIMEOUT(!samples.isEmpty() && lastSample(samples).engN1[0] > 55, 5000);
        QVERIFY(!backend->canSetData(QStringLiteral("XPlaneFailureGenAvio")));
        backend->setData(QStringLiteral("XPlaneFailureEngfai1"), 6.0);
        QTRY_VERIFY_WITH_TIMEOUT(lastSample(samples).engN1[0] < 45 && lastSample(samples).ff[0] == 0.0, 10000);
        QVERIFY(lastSample(samples).engN1[1] > 55);
        backend->setData(QStringLiteral("XPlaneFailureEngfai1"), 0.0);
        QTRY_VERIFY_WITH_TIMEOUT(lastSample(samples).engN1[0] > 55, 10000);
    }

    void pauseAndFreezeThroughTheBackend_data()
    {
        QTest::addColumn<SimType>("type");
        QTest::addColumn<bool>("freeze");
        QTest::newRow("pause on X-Plane 11 (toggle)") << SimType::XPlane11 << false;
        QTest::newRow("pause on X-Plane 12") << SimType::XPlane12 << false;
        QTest::newRow("freeze") << SimType::XPlane12 << true;
    }

    void pauseAndFreezeThroughTheBackend()
    {
        QFETCH(SimType, type);
        QFETCH(bool, freeze);
        auto manager = connectedManager(type);
        QVERIFY(manager);
        ISimBackend *backend = manager->backend();
        QSignalSpy samples(manager.get(), &SimBackendManager::aircraftDataChanged);
        backend->setPosition(31.3, 121.9, 1000.0, 0, 0, 200, false, 0);
        QTRY_VERIFY_WITH_TIMEOUT(!samples.isEmpty() && !lastSample(samples).onGround, 5000);
        // X-Plane 11 toggles, so the backend must have read the paused state first.
        QTRY_VERIFY_WITH_TIMEOUT(freeze ? backend->setFrozen(true, true) : backend->setPaused(true), 5000);
        QTest::qWait(500); // what was on its way before the stop
        const double lat = lastSample(samples).lat;
        const qsizetype from = samples.size();
        QTRY_VERIFY_WITH_TIMEOUT(samples.size() >= from + 5, 5000);
        QCOMPARE(lastSample(samples).lat, lat);
        QVERIFY(freeze ? backend->setFrozen(false, false) : backend->setPaused(false));
        QTRY_VERIFY_WITH_TIMEOUT(lastSample(samples).lat != lat, 5000);
    }

    void weatherThroughTheBackend_data()
    {
        QTest::addColumn<SimType>("type");
        QTest::newRow("X-Plane 11") << SimType::XPlane11;
        QTest::newRow("X-Plane 12") << SimType::XPlane12;
    }

    void weatherThroughTheBackend()
    {
        QFETCH(SimType, type);
        auto manager = connectedManager(type);
        QVERIFY(manager);
        ISimBackend *backend = manager->backend();
        QSignalSpy samples(manager.get(), &SimBackendManager::aircraftDataChanged);
        backend->setPosition(31.15, 121.80, 4.0, 0, 0, 90, true, 0); // on the ground: the surface wind
        WeatherState w;
        w.windDirDeg = 130;
        w.windSpeedKt = 20;
        w.visibilityM = 3000;
        w.qnhHpa = 1025;
        w.temperatureC = 30;
        w.clouds = {{"BKN", 2000, 0, ""}};
        QVERIFY(backend->setWeather(w));
        // The demo's weather drifts a little on its own (wind swings and gusts, visibility 8 %).
        QTRY_VERIFY_WITH_TIMEOUT(
            std::abs(lastSample(samples).baroSea - 1025) < 0.6 && std::abs(lastSample(samples).ambTemp - 30) < 0.2 &&
                std::abs(lastSample(samples).vis - 3000) < 260 && std::abs(lastSample(samples).windDir - 130) < 12 &&
                std::abs(lastSample(samples).windSpd - 20) < 9,
            5000);
        // Back to the demo's usual weather for the other tests.
        backend->setWeather(WeatherState());
    }
};

QTEST_GUILESS_MAIN(TestEndToEnd)
#include "tst_endtoend.moc"
