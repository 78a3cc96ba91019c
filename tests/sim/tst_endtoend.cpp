#include "sim/isimbackend.h"
#include "sim/simbackendmanager.h"

#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>

// The station's simulator link against the demo simulator running as its own process.
class TestEndToEnd : public QObject
{
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    QProcess m_sim;
    quint16 m_simPort = 0;

    static AircraftData lastSample(const QSignalSpy &spy) { return spy.last().first().value<AircraftData>(); }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_sim.setProgram(QStringLiteral(XPSIM_PATH));
        m_sim.setArguments({"--port", "0", "--quiet"});
        m_sim.start();
        QVERIFY2(m_sim.waitForStarted(5000), qPrintable(m_sim.errorString()));
        QTRY_VERIFY_WITH_TIMEOUT(m_sim.canReadLine(), 5000);
        const QString line = QString::fromUtf8(m_sim.readLine()).trimmed();
        const auto match = QRegularExpression(":(\\d+)$").match(line);
        QVERIFY2(match.hasMatch(), qPrintable(line));
        m_simPort = quint16(match.captured(1).toUInt());
        QVERIFY(m_simPort > 0);
    }

    void cleanupTestCase()
    {
        m_sim.terminate();
        if (!m_sim.waitForFinished(3000)) {
            m_sim.kill();
            m_sim.waitForFinished(3000);
        }
    }

    void init() { QTest::failOnWarning(QRegularExpression(".*")); }

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
};

QTEST_GUILESS_MAIN(TestEndToEnd)
#include "tst_endtoend.moc"
