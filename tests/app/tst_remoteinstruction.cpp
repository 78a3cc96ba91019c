// Remote instruction end to end: the station's bridge services with its dispatcher and control
// classes, zobrel-agent as a process, and the demo simulator as the agent's simulator. An
// instructor's final-approach reposition and engine failure must reach the agent's simulator and
// come back in the agent's status, with successful command results.

#include "app/bridgewiring.h"
#include "bridge/bridgeserver.h"
#include "control/failuremanager.h"
#include "control/positionaircraft.h"
#include "sim/simoperationdispatcher.h"
#include "sim/xplanebackend.h"
#include "tests/support/demosimulator.h"
#include "tests/support/logexpect.h"

#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>

namespace {

constexpr int kWaitMs = 15000;

quint16 freePort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::Any, 0);
    return probe.serverPort();
}

} // namespace

class TestRemoteInstruction : public QObject
{
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    QProcess m_sim;
    QProcess m_agent;
    quint16 m_simPort = 0;

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_simPort = demosim::start(m_sim, XPSIM_EXECUTABLE);
        QVERIFY2(m_simPort > 0, qPrintable(m_sim.errorString()));
    }

    void cleanupTestCase()
    {
        demosim::stop(m_agent);
        demosim::stop(m_sim);
    }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void repositionAndFailureReachTheAgentsSimulator()
    {
        // The instructor station's side.
        const QString stationIni = m_dir.filePath("station.ini");
        RadarOverlay radar;
        BridgeServices bridge(stationIni, &radar);
        SimOperationDispatcher dispatcher;
        bridge.attachDispatcher(&dispatcher);
        PositionAircraft positioning;
        positioning.setDispatcher(&dispatcher);
        FailureManager failures;
        failures.setDispatcher(&dispatcher);
        QVERIFY(bridge.startServer(freePort()));
        QSignalSpy registered(bridge.server(), &BridgeServer::agentRegistered);
        QSignalSpy results(&dispatcher, &SimOperationDispatcher::commandResult);

        // The student station's side: the agent with the demo simulator.
        const QString agentIni = m_dir.filePath("agent.ini");
        QSettings(agentIni, QSettings::IniFormat).setValue("autoConnect", false);
        m_agent.setProcessChannelMode(QProcess::MergedChannels);
        m_agent.start(AGENT_EXECUTABLE,
                      {"--host", "127.0.0.1", "--port", QString::number(bridge.server()->port()), "--callsign",
                       "B-1234", "--settings", agentIni, "--xplane-port", QString::number(m_simPort)});
        QVERIFY(registered.wait(kWaitMs));
        const QString agentId = registered.first().first().value<AgentConnection>().agentId;
        bridge.tab()->targetSelected(agentId);
        QCOMPARE(dispatcher.target(), agentId);
        QTRY_COMPARE_WITH_TIMEOUT(dispatcher.simType(), SimType::XPlane11, kWaitMs);
        QTRY_VERIFY_WITH_TIMEOUT(bridge.server()->remoteAircraft(agentId).engCount > 0, kWaitMs);
        QVERIFY(std::abs(bridge.server()->remoteAircraft(agentId).lat - 31.14) < 0.5);

        // A look at the agent's simulator from outside, as X-Plane's own clients see it.
        XPlaneBackend observer;
        observer.setHost("127.0.0.1", m_simPort);
        observer.setLocalPort(0);
        QSignalSpy seen(&observer, &ISimBackend::aircraftDataChanged);
        observer.connect();
        QVERIFY(seen.wait(kWaitMs));
        const auto lastSeen = [&] { return seen.last().first().value<AircraftData>(); };

        // Final approach, 8 nm out on runway 36R of a field near Beijing.
        const double thrLat = 40.06;
        const double thrLon = 116.6;
        const PositionResult spot = positioning.calcFinalPosition(thrLat, thrLon, 0.0, 116.0, 8.0, 0.0);
        positioning.positionAtFinal("ZBAA 36R", thrLat, thrLon, 0.0, 116.0, 8.0, 0.0);
        QVERIFY(results.wait(kWaitMs));
        QCOMPARE(results.first().at(1).toBool(), true);
        QTRY_VERIFY_WITH_TIMEOUT(
            std::abs(lastSeen().lat - spot.lat) < 0.02 && std::abs(lastSeen().lon - spot.lon) < 0.02, kWaitMs);
        QVERIFY2(std::abs(lastSeen().alt - spot.alt) < 400,
                 qPrintable(QString("%1 ft, expected %2").arg(lastSeen().alt).arg(spot.alt)));
        QTRY_VERIFY_WITH_TIMEOUT(std::abs(bridge.server()->remoteAircraft(agentId).lat - spot.lat) < 0.02, kWaitMs);
        QVERIFY(std::abs(bridge.server()->remoteAircraft(agentId).lon - spot.lon) < 0.02);

        // Engine 1 fails on the agent's simulator; its status says so.
        results.clear();
        failures.triggerFailure("engine1");
        QVERIFY(results.wait(kWaitMs));
        QVERIFY2(results.first().at(1).toBool(), qPrintable(results.first().at(2).toString()));
        QTRY_VERIFY_WITH_TIMEOUT(bridge.server()->remoteAircraft(agentId).failures.contains("engine1"), kWaitMs);
        QTRY_VERIFY_WITH_TIMEOUT(!lastSeen().engRun[0], kWaitMs);
        QTRY_VERIFY_WITH_TIMEOUT(!bridge.server()->remoteAircraft(agentId).engRunning.value(0, true), kWaitMs);
        QVERIFY(lastSeen().engRun[1]);

        failures.resetFailure("engine1");
        QTRY_VERIFY_WITH_TIMEOUT(!bridge.server()->remoteAircraft(agentId).failures.contains("engine1"), kWaitMs);
        observer.disconnect();
        demosim::stop(m_agent);
        const QString log = QString::fromLocal8Bit(m_agent.readAll());
        QVERIFY2(log.contains("Command reposition") && log.contains("Command failure"), qPrintable(log));
    }
};

QTEST_MAIN(TestRemoteInstruction)
#include "tst_remoteinstruction.moc"
