#include "tlstestclient.h"

#include "bridge/agentclient.h"
#include "bridge/bridgeserver.h"
#include "tests/support/logexpect.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

#include <memory>

// The agent's end of the bridge against a real bridge server: registration, heartbeats,
// reconnection with back-off, server verification, refusals and hand-off.
class TestAgentClient : public QObject
{
    Q_OBJECT
private:
    static AgentClient::Timings fastTimings()
    {
        AgentClient::Timings timings;
        timings.heartbeatIntervalMs = 100;
        timings.minReconnectMs = 50;
        timings.maxReconnectMs = 400;
        return timings;
    }

    static std::unique_ptr<AgentClient> makeClient(quint16 port, const QString &host = "127.0.0.1",
                                                   const AgentClient::Timings &timings = fastTimings())
    {
        auto client = std::make_unique<AgentClient>();
        client->setServer(host, port);
        client->setCaCertificates(TlsTestClient::builtInCa());
        client->setIdentity({"agent-1", "machine-1", "B-6688", "X-Plane 12", "", true, ""});
        client->setTimings(timings);
        return client;
    }

private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void registersAndKeepsTheLinkAlive()
    {
        BridgeServer server;
        QVERIFY(server.start(0));
        QSignalSpy heartbeats(&server, &BridgeServer::heartbeatReceived);
        auto client = makeClient(server.port());
        QVERIFY(!client->send({{"type", "position"}}));
        QSignalSpy registered(client.get(), &AgentClient::registered);
        client->start();
        QVERIFY(registered.wait());
        const AgentConnection agent = server.agent("agent-1");
        QCOMPARE(agent.machineId, QString("machine-1"));
        QCOMPARE(agent.callsign, QString("B-6688"));
        QVERIFY(agent.licensed);
        QTRY_VERIFY(heartbeats.count() >= 3);

        // A changed identity (another simulator) registers again in place.
        QSignalSpy updated(&server, &BridgeServer::agentRegistered);
        client->setIdentity({"agent-1", "machine-1", "B-6688", "MSFS 2020", "", true, ""});
        QVERIFY(updated.wait());
        QCOMPARE(server.agentSim("agent-1"), QString("MSFS 2020"));

        QSignalSpy messages(client.get(), &AgentClient::messageReceived);
        QVERIFY(server.sendToAgent("agent-1", {{"type", "command"}, {"requestId", "r9"}, {"action", "pause"}}));
        QVERIFY(messages.wait());
        QCOMPARE(messages.first().first().toJsonObject().value("requestId").toString(), QString("r9"));
        QCOMPARE(registered.count(), 1);
    }

    // The wait between attempts doubles up to its ceiling, and the agent comes back by itself.
    void reconnectsWithGrowingBackoff()
    {
        BridgeServer server;
        QVERIFY(server.start(0));
        const quint16 port = server.port();
        auto client = makeClient(port);
        QSignalSpy registered(client.get(), &AgentClient::registered);
        client->start();
        QVERIFY(registered.wait());

        QList<qint64> attempts;
        QElapsedTimer clock;
        clock.start();
        connect(client.get(), &AgentClient::stateChanged, this, [&](AgentClient::State state) {
            if (state == AgentClient::State::Connecting)
                attempts.append(clock.elapsed());
        });
        testlog::expectLogged("Agent", "Connection to 127.0.0.1:\\d+ lost");
        server.stop();
        QTRY_VERIFY_WITH_TIMEOUT(attempts.size() >= 5, 5000);
        QList<qint64> gaps;
        for (int i = 1; i < attempts.size(); ++i)
            gaps.append(attempts.at(i) - attempts.at(i - 1));
        // 100, 200, 400, 400 ms (+ up to a fifth of jitter) after the first 50.
        // Timers may fire a little early, hence the tenth of slack below each wait.
        QVERIFY2(gaps.at(0) >= 90 && gaps.at(1) >= 180 && gaps.at(2) >= 360 && gaps.at(3) >= 360 &&
                     gaps.at(1) > gaps.at(0) * 1.5 && gaps.at(2) > gaps.at(1) * 1.5,
                 qPrintable(QString("gaps %1 %2 %3 %4").arg(gaps[0]).arg(gaps[1]).arg(gaps[2]).arg(gaps[3])));
        QVERIFY2(gaps.at(3) < 400 * 1.2 + 150, qPrintable(QString::number(gaps.at(3))));

        QVERIFY(server.start(port));
        QTRY_COMPARE_WITH_TIMEOUT(registered.count(), 2, 5000);
        QVERIFY(server.isAgentRegistered("agent-1"));
    }

    // The chain must end in the agent's CA; the name it connects by need not match.
    void serverIsVerifiedAgainstTheCa()
    {
        BridgeServer trusted;
        QVERIFY(trusted.start(0));
        auto byOtherAddress = makeClient(trusted.port(), "127.0.0.2");
        QSignalSpy registered(byOtherAddress.get(), &AgentClient::registered);
        byOtherAddress->start();
        QVERIFY(registered.wait());

        QString error;
        BridgeServer impostor;
        const QList<QSslCertificate> foreignCa =
            bridgetls::readCertificates(FOREIGN_CERT_DIR "/foreign-ca.crt", &error);
        impostor.setCertificateFiles({FOREIGN_CERT_DIR "/foreign-ca.crt", FOREIGN_CERT_DIR "/foreign-server.crt",
                                      FOREIGN_CERT_DIR "/foreign-server.key",
                                      bridgetls::fingerprint(foreignCa.value(0))});
        QVERIFY(impostor.start(0));
        AgentClient::Timings slow = fastTimings();
        slow.minReconnectMs = 60000; // one attempt within this test
        auto client = makeClient(impostor.port(), "127.0.0.1", slow);
        QSignalSpy rejected(client.get(), &AgentClient::certificateRejected);
        QSignalSpy refusedRegistration(client.get(), &AgentClient::registered);
        testlog::expectLogged("Agent", "Server certificate refused");
        testlog::expectLogged("Bridge", "SSL handshake rejected");
        client->start();
        QVERIFY(rejected.wait());
        QTRY_COMPARE(client->state(), AgentClient::State::Waiting);
        QTRY_COMPARE(impostor.connectionCount(), 0);
        QCOMPARE(refusedRegistration.count(), 0);
        QVERIFY(!impostor.isAgentRegistered("agent-1"));
    }

    void refusalIsReportedAndRetried()
    {
        BridgeServer server;
        server.setPairingSecret("right");
        QVERIFY(server.start(0));
        AgentClient::Timings timings = fastTimings();
        timings.minReconnectMs = 200;
        auto client = makeClient(server.port(), "127.0.0.1", timings);
        client->setIdentity({"agent-1", "machine-1", "B-6688", "X-Plane 12", "", false, "wrong"});
        QSignalSpy refused(client.get(), &AgentClient::refused);
        QSignalSpy registered(client.get(), &AgentClient::registered);
        testlog::expectLogged("Bridge", "Registration rejected: agent-1 \\(bad_secret\\)");
        testlog::expectLogged("Agent", "Registration refused by the instructor: Pairing secret missing or wrong");
        client->start();
        QVERIFY(refused.wait());
        QCOMPARE(refused.first().first().toString(), QString("bad_secret"));
        QCOMPARE(client->state(), AgentClient::State::Waiting);

        // Fixed before the retry: the next attempt registers.
        client->setIdentity({"agent-1", "machine-1", "B-6688", "X-Plane 12", "", false, "right"});
        QVERIFY(registered.wait());
    }

    void handoffMovesToTheTargetAndFallsBack()
    {
        BridgeServer first;
        BridgeServer second;
        QVERIFY(first.start(0));
        QVERIFY(second.start(0));
        auto client = makeClient(first.port());
        QSignalSpy registered(client.get(), &AgentClient::registered);
        client->start();
        QVERIFY(registered.wait());

        QSignalSpy leftFirst(&first, &BridgeServer::agentDisconnected);
        client->moveTo("127.0.0.1", second.port());
        QVERIFY(registered.wait());
        QCOMPARE(client->port(), second.port());
        QVERIFY(second.isAgentRegistered("agent-1"));
        QTRY_COMPARE(leftFirst.count(), 1);

        // An unreachable target: after three failed tries the agent returns to where it was.
        BridgeServer closed;
        QVERIFY(closed.start(0));
        const quint16 deadPort = closed.port();
        closed.stop();
        testlog::expectLogged("Agent", QStringLiteral("Hand-off target 127.0.0.1:%1 unreachable").arg(deadPort));
        client->moveTo("127.0.0.1", deadPort);
        QVERIFY(registered.wait(5000));
        QCOMPARE(client->port(), second.port());
        QVERIFY(second.isAgentRegistered("agent-1"));
    }
};

QTEST_GUILESS_MAIN(TestAgentClient)
#include "tst_agentclient.moc"
