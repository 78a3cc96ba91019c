#include "tlstestclient.h"

#include "bridge/agentadmission.h"
#include "bridge/bridgeserver.h"
#include "tests/support/logexpect.h"

#include <QJsonArray>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTest>

#include <memory>

// The bridge server against real TLS clients on loopback: framing, registration rules, hostile
// input and the operator's commands.
class TestBridgeServer : public QObject
{
    Q_OBJECT
private:
    std::unique_ptr<BridgeServer> m_server;

    void startServer(const BridgeServer::Limits &limits = {})
    {
        m_server = std::make_unique<BridgeServer>();
        m_server->setLimits(limits);
        QVERIFY(m_server->start(0));
    }

    static QJsonObject position(const QString &agentId, double lat)
    {
        return {{"type", "position"}, {"agentId", agentId}, {"lat", lat}, {"lon", 121.5}, {"alt", 3000},
                {"hdg", 90},          {"gs", 180},          {"vs", -500}, {"pitch", 2},   {"roll", -5}};
    }

    // Holds a connected, registered client.
    std::unique_ptr<TlsTestClient> registeredClient(const QString &agentId, const QString &machineId = "m-1")
    {
        auto client = std::make_unique<TlsTestClient>();
        if (!client->connectTo(m_server->port()))
            return nullptr;
        const auto answer = client->registerAs(agentId, machineId);
        if (TlsTestClient::type(answer) != "heartbeat_ack")
            return nullptr;
        return client;
    }

    class Admission : public IAgentAdmission
    {
    public:
        int seats = 1;
        mutable int lastCount = -1;
        Verdict admit(const QString &, const QString &licenseKey, bool, int agentCount) const override
        {
            lastCount = agentCount;
            if (licenseKey != "good")
                return {false, "no_license", "A licence is required"};
            if (agentCount >= seats)
                return {false, "no_seat", "All licence seats are in use"};
            return {};
        }
    };

private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void cleanup() { m_server.reset(); }

    void registeredAgentStreamsAndIsCommanded()
    {
        startServer();
        QSignalSpy registered(m_server.get(), &BridgeServer::agentRegistered);
        QSignalSpy updated(m_server.get(), &BridgeServer::aircraftUpdated);
        QSignalSpy results(m_server.get(), &BridgeServer::messageReceived);
        QSignalSpy gone(m_server.get(), &BridgeServer::agentDisconnected);
        auto client = registeredClient("a1");
        QVERIFY(client);
        QCOMPARE(registered.count(), 1);
        const auto connection = registered.first().first().value<AgentConnection>();
        QCOMPARE(connection.callsign, QString("B-a1"));
        QVERIFY(connection.peerAddress.startsWith("127.0.0.1:"));
        QCOMPARE(m_server->agentSim("a1"), QString("X-Plane 12"));

        client->send(position("a1", 31.25));
        QVERIFY(updated.wait());
        QCOMPARE(m_server->remoteAircraft("a1").lat, 31.25);
        QCOMPARE(m_server->remoteAircraft("a1").roll, -5.0);
        QCOMPARE(m_server->remoteAircraft("a1").callsign, QString("B-a1"));

        // A status replaces the whole record; the position members follow it.
        client->send({{"type", "status"},
                      {"agentId", "a1"},
                      {"callsign", "CES123"},
                      {"lat", 30.0},
                      {"eng_count", 2},
                      {"eng_n1", QJsonArray{85.5, 86.0}},
                      {"failures", QJsonArray{"eng1_fire"}}});
        QTRY_COMPARE(updated.count(), 2);
        RemoteAircraft aircraft = m_server->remoteAircraft("a1");
        QCOMPARE(aircraft.lat, 30.0);
        QCOMPARE(aircraft.roll, 0.0);
        QCOMPARE(aircraft.engN1, QList<double>({85.5, 86.0}));
        QCOMPARE(aircraft.failures, QStringList{"eng1_fire"});

        client->send({{"type", "heartbeat"}, {"agentId", "a1"}});
        QCOMPARE(TlsTestClient::type(client->next()), QString("heartbeat_ack"));

        QVERIFY(m_server->sendToAgent("a1", {{"type", "command"}, {"requestId", "r1"}, {"action", "pause"}}));
        QCOMPARE(client->next()->value("requestId").toString(), QString("r1"));
        QVERIFY(!m_server->sendToAgent("nobody", {{"type", "command"}}));
        client->send({{"type", "command_result"}, {"agentId", "a1"}, {"requestId", "r1"}, {"success", true}});
        QVERIFY(results.wait());
        QCOMPARE(results.first().at(1).toJsonObject().value("requestId").toString(), QString("r1"));

        client->socket.disconnectFromHost();
        QVERIFY(gone.wait());
        QCOMPARE(gone.first().first().toString(), QString("a1"));
        QVERIFY(!m_server->isAgentRegistered("a1"));
        QCOMPARE(m_server->remoteAircraft("a1").lat, 0.0);
    }

    // Lines are cut where the line feeds are, whatever the TLS records carry.
    void framingAcrossRecords()
    {
        startServer();
        QSignalSpy updated(m_server.get(), &BridgeServer::aircraftUpdated);
        auto client = registeredClient("a1");
        QVERIFY(client);

        const QByteArray first = agentprotocol::encodeLine(position("a1", 10));
        const QByteArray second = agentprotocol::encodeLine(position("a1", 20));
        const QByteArray third = agentprotocol::encodeLine(position("a1", 30));
        client->sendRaw(first + second); // two messages in one record
        QTRY_COMPARE(updated.count(), 2);
        QCOMPARE(updated.at(0).at(1).value<RemoteAircraft>().lat, 10.0);
        QCOMPARE(updated.at(1).at(1).value<RemoteAircraft>().lat, 20.0);

        // The first record ends inside the third message; once the first message of that record
        // was handled the server holds the partial line.
        client->sendRaw(first + third.left(17));
        QTRY_COMPARE(updated.count(), 3);
        client->sendRaw(third.mid(17, 9));
        client->sendRaw(third.mid(26));
        QTRY_COMPARE(updated.count(), 4);
        QCOMPARE(updated.at(3).at(1).value<RemoteAircraft>().lat, 30.0);
        client->send({{"type", "heartbeat"}, {"agentId", "a1"}});
        QCOMPARE(TlsTestClient::type(client->next()), QString("heartbeat_ack"));
        QCOMPARE(updated.count(), 4);
    }

    void emptyAgentIdKeepsTheSocketOpen()
    {
        startServer();
        TlsTestClient client;
        QVERIFY(client.connectTo(m_server->port()));
        testlog::expectLogged("Bridge", "Registration rejected: empty agentId");
        const auto error = client.registerAs("");
        QCOMPARE(TlsTestClient::type(error), QString("error"));
        QCOMPARE(error->value("message").toString(), QString("Registration requires a non-empty agentId"));
        QVERIFY(!error->contains("reason"));
        QCOMPARE(TlsTestClient::type(client.registerAs("a1")), QString("heartbeat_ack"));
    }

    // Garbage and messages for someone else are dropped; they never touch another agent.
    void hostileMessagesAreContained()
    {
        startServer();
        QSignalSpy updated(m_server.get(), &BridgeServer::aircraftUpdated);
        auto victim = registeredClient("victim");
        auto attacker = registeredClient("attacker", "m-2");
        QVERIFY(victim && attacker);
        victim->send(position("victim", 45));
        QTRY_COMPARE(updated.count(), 1);

        testlog::expectLogged("Bridge", "JSON parse error");
        testlog::expectLogged("Bridge", "JSON parse error: not an object");
        testlog::expectLogged("Bridge", "Unknown message type: launch");
        testlog::expectLogged("Bridge", "naming another agentId than attacker ignored");
        testlog::expectLogged("Bridge", "naming another agentId than attacker ignored");
        attacker->sendRaw("{\"type\":\"position\",\n[1,2]\n");
        attacker->send({{"type", "launch"}, {"agentId", "attacker"}});
        attacker->send(position("victim", -45));
        attacker->send({{"type", "command_result"}, {"requestId", "x"}});
        attacker->send({{"type", "heartbeat"}, {"agentId", "attacker"}});
        QCOMPARE(TlsTestClient::type(attacker->next()), QString("heartbeat_ack"));
        QCOMPARE(updated.count(), 1);
        QCOMPARE(m_server->remoteAircraft("victim").lat, 45.0);

        // Before registration nothing but "register" counts.
        TlsTestClient stranger;
        QVERIFY(stranger.connectTo(m_server->port()));
        testlog::expectLogged("Bridge", "\"heartbeat\" before registration ignored");
        stranger.send({{"type", "heartbeat"}, {"agentId", "victim"}});
        QCOMPARE(TlsTestClient::type(stranger.registerAs("s1", "m-3")), QString("heartbeat_ack"));
    }

    void plainTcpClientIsRejected()
    {
        startServer();
        QSignalSpy registered(m_server.get(), &BridgeServer::agentRegistered);
        QTcpSocket plain;
        plain.connectToHost("127.0.0.1", m_server->port());
        QVERIFY(plain.waitForConnected(5000));
        testlog::expectLogged("Bridge", "SSL handshake rejected");
        plain.write("{\"type\":\"register\",\"agentId\":\"p1\",\"machineId\":\"m\"}\n");
        QTRY_COMPARE_WITH_TIMEOUT(plain.state(), QAbstractSocket::UnconnectedState, 5000);
        QCOMPARE(registered.count(), 0);
        QCOMPARE(m_server->connectionCount(), 0);
    }

    void silentClientIsDroppedAfterTheTimeout()
    {
        BridgeServer::Limits limits;
        limits.registrationTimeoutMs = 300;
        startServer(limits);
        auto registered = registeredClient("a1");
        QVERIFY(registered);
        TlsTestClient silent;
        QVERIFY(silent.connectTo(m_server->port()));
        testlog::expectLogged("Bridge", "No registration within 300 ms");
        QVERIFY(silent.waitClosed());
        QCOMPARE(registered->socket.state(), QAbstractSocket::ConnectedState);
        QCOMPARE(m_server->connectionCount(), 1);
    }

    void overlongLineClosesOnlyThatSocket()
    {
        BridgeServer::Limits limits;
        limits.maxLineBytes = 4096;
        startServer(limits);
        auto good = registeredClient("good");
        auto bad = registeredClient("bad", "m-2");
        QVERIFY(good && bad);
        QSignalSpy gone(m_server.get(), &BridgeServer::agentDisconnected);
        testlog::expectLogged("Bridge", "Line longer than 4096 bytes");
        bad->sendRaw(QByteArray(3000, 'x'));
        bad->sendRaw(QByteArray(3000, 'x'));
        QVERIFY(bad->waitClosed());
        QCOMPARE(gone.count(), 1);
        QCOMPARE(gone.first().first().toString(), QString("bad"));
        good->send({{"type", "heartbeat"}, {"agentId", "good"}});
        QCOMPARE(TlsTestClient::type(good->next()), QString("heartbeat_ack"));
        // A line just under the cap is fine.
        QJsonObject big{{"type", "status"}, {"agentId", "good"}, {"callsign", QString(3900, 'c')}};
        QSignalSpy updated(m_server.get(), &BridgeServer::aircraftUpdated);
        good->send(big);
        QVERIFY(updated.wait());
        QCOMPARE(m_server->remoteAircraft("good").callsign.size(), 64);
    }

    void pairingSecret_data()
    {
        QTest::addColumn<QJsonObject>("extra");
        QTest::addColumn<bool>("admitted");
        QTest::newRow("right") << QJsonObject{{"secret", "s3cret-pairing"}} << true;
        QTest::newRow("wrong") << QJsonObject{{"secret", "s3cret-pairinG"}} << false;
        QTest::newRow("missing") << QJsonObject{} << false;
        QTest::newRow("not text") << QJsonObject{{"secret", 12345}} << false;
    }
    void pairingSecret()
    {
        QFETCH(QJsonObject, extra);
        QFETCH(bool, admitted);
        m_server = std::make_unique<BridgeServer>();
        m_server->setPairingSecret("s3cret-pairing");
        QVERIFY(m_server->start(0));
        QSignalSpy rejected(m_server.get(), &BridgeServer::agentRejected);
        TlsTestClient client;
        QVERIFY(client.connectTo(m_server->port()));
        if (!admitted)
            testlog::expectLogged("Bridge", "Registration rejected: a1 \\(bad_secret\\)");
        const auto answer = client.registerAs("a1", "m-1", extra);
        if (admitted) {
            QCOMPARE(TlsTestClient::type(answer), QString("heartbeat_ack"));
            return;
        }
        QCOMPARE(TlsTestClient::type(answer), QString("error"));
        QCOMPARE(answer->value("reason").toString(), QString("bad_secret"));
        QCOMPARE(rejected.count(), 1);
        QCOMPARE(rejected.first().at(1).toString(), QString("bad_secret"));
        QVERIFY(client.waitClosed());
        QVERIFY(!m_server->isAgentRegistered("a1"));
    }

    void admissionDecides()
    {
        startServer();
        Admission admission;
        m_server->setAdmission(&admission);
        QSignalSpy rejected(m_server.get(), &BridgeServer::agentRejected);
        auto first = std::make_unique<TlsTestClient>();
        QVERIFY(first->connectTo(m_server->port()));
        testlog::expectLogged("Bridge", "Registration rejected: a1 \\(no_license\\)");
        auto answer = first->registerAs("a1", "m-1", {{"licenseKey", "bad"}});
        QCOMPARE(answer->value("reason").toString(), QString("no_license"));
        QCOMPARE(answer->value("message").toString(), QString("A licence is required"));
        QCOMPARE(TlsTestClient::type(first->registerAs("a1", "m-1", {{"licenseKey", "good"}})),
                 QString("heartbeat_ack"));
        QCOMPARE(admission.lastCount, 0);

        TlsTestClient second;
        QVERIFY(second.connectTo(m_server->port()));
        testlog::expectLogged("Bridge", "Registration rejected: a2 \\(no_seat\\)");
        answer = second.registerAs("a2", "m-2", {{"licenseKey", "good"}});
        QCOMPARE(answer->value("reason").toString(), QString("no_seat"));
        QCOMPARE(admission.lastCount, 1);
        QCOMPARE(rejected.count(), 2);
        QCOMPARE(rejected.last().first().toString(), QString("a2"));
        // The seat frees up when the first agent leaves.
        first.reset();
        QTRY_VERIFY(!m_server->isAgentRegistered("a1"));
        QCOMPARE(TlsTestClient::type(second.registerAs("a2", "m-2", {{"licenseKey", "good"}})),
                 QString("heartbeat_ack"));
    }

    // A second "register" for a connected agentId: the same machine on a new connection takes
    // over; another machine, or another id on a registered connection, is refused.
    void secondRegistration()
    {
        startServer();
        QSignalSpy gone(m_server.get(), &BridgeServer::agentDisconnected);
        QSignalSpy registered(m_server.get(), &BridgeServer::agentRegistered);
        auto original = registeredClient("a1", "m-1");
        QVERIFY(original);

        TlsTestClient intruder;
        QVERIFY(intruder.connectTo(m_server->port()));
        testlog::expectLogged("Bridge", "Registration rejected: a1 \\(agent_id_conflict\\)");
        QCOMPARE(intruder.registerAs("a1", "m-666")->value("reason").toString(), QString("agent_id_conflict"));
        QCOMPARE(m_server->agent("a1").socket->peerPort(), original->socket.localPort());

        testlog::expectLogged("Bridge", "Registration rejected: a2 \\(already_registered\\)");
        QCOMPARE(original->registerAs("a2", "m-1")->value("reason").toString(), QString("already_registered"));

        auto replacement = registeredClient("a1", "m-1");
        QVERIFY(replacement);
        QVERIFY(original->waitClosed());
        QCOMPARE(registered.count(), 2);
        QCOMPARE(gone.count(), 0);
        QCOMPARE(m_server->agent("a1").socket->peerPort(), replacement->socket.localPort());
        QCOMPARE(m_server->connectionCount(), 2); // the replacement and the refused intruder

        // The bound machine outlives the connection.
        replacement.reset();
        QVERIFY(gone.wait());
        testlog::expectLogged("Bridge", "Registration rejected: a1 \\(agent_id_conflict\\)");
        QCOMPARE(intruder.registerAs("a1", "m-666")->value("reason").toString(), QString("agent_id_conflict"));
    }

    void agentCapRefusesTheNextOne()
    {
        BridgeServer::Limits limits;
        limits.maxAgents = 2;
        startServer(limits);
        auto a = registeredClient("a", "m-a");
        auto b = registeredClient("b", "m-b");
        QVERIFY(a && b);
        TlsTestClient c;
        QVERIFY(c.connectTo(m_server->port()));
        testlog::expectLogged("Bridge", "Registration rejected: c \\(server_full\\)");
        QCOMPARE(c.registerAs("c", "m-c")->value("reason").toString(), QString("server_full"));
        // Re-registering an agent already counted is not refused.
        QCOMPARE(TlsTestClient::type(a->registerAs("a", "m-a")), QString("heartbeat_ack"));
    }

    void peerThatStopsReadingIsDropped()
    {
        BridgeServer::Limits limits;
        limits.maxPendingWriteBytes = 16 * 1024;
        startServer(limits);
        auto greedy = registeredClient("greedy");
        QVERIFY(greedy);
        greedy->socket.setReadBufferSize(1);
        QSignalSpy gone(m_server.get(), &BridgeServer::agentDisconnected);
        testlog::expectLogged("Bridge", "is not reading, connection closed");
        const QByteArray heartbeat = agentprotocol::encodeLine({{"type", "heartbeat"}, {"agentId", "greedy"}});
        QByteArray burst;
        for (int i = 0; i < 20000; ++i)
            burst += heartbeat;
        for (int round = 0; round < 40 && gone.isEmpty(); ++round) {
            greedy->sendRaw(burst);
            gone.wait(200);
        }
        QCOMPARE(gone.count(), 1);
    }

    void instructionModeAndHandoff()
    {
        startServer();
        auto client = registeredClient("a1");
        QVERIFY(client);
        QCOMPARE(m_server->instructionMode("a1"), QString("auto"));
        QVERIFY(!m_server->setInstructionMode("a1", "chaos"));
        QVERIFY(m_server->setInstructionMode("a1", "observe"));
        auto command = client->next();
        QCOMPARE(command->value("action").toString(), QString("set_instruction_mode"));
        QCOMPARE(command->value("mode").toString(), QString("observe"));
        const QString firstId = command->value("requestId").toString();
        QVERIFY(firstId.startsWith("mode-"));
        QVERIFY(m_server->setInstructionMode("a1", "auto"));
        QVERIFY(client->next()->value("requestId").toString() != firstId);

        QSignalSpy accepted(m_server.get(), &BridgeServer::handoffAccepted);
        QSignalSpy rejected(m_server.get(), &BridgeServer::handoffRejected);
        QVERIFY(m_server->requestHandoff("nobody", "10.0.0.2", 48448).isEmpty());
        const QString transfer = m_server->requestHandoff("a1", "10.0.0.2", 48448);
        auto request = client->next();
        QCOMPARE(TlsTestClient::type(request), QString("handoff_request"));
        QCOMPARE(request->value("transferId").toString(), transfer);
        QCOMPARE(request->value("targetHost").toString(), QString("10.0.0.2"));
        QCOMPARE(request->value("targetPort").toInt(), 48448);
        QCOMPARE(request->value("callsign").toString(), QString("B-a1"));
        client->send({{"type", "handoff_response"}, {"agentId", "a1"}, {"transferId", transfer}, {"accepted", true}});
        QVERIFY(accepted.wait());
        QCOMPARE(accepted.first().first().toString(), transfer);
        QVERIFY(m_server->pendingHandoffs().isEmpty());

        const QString second = m_server->requestHandoff("a1", "10.0.0.3", 50000);
        QCOMPARE(m_server->pendingHandoffs().size(), 1);
        m_server->rejectHandoff(second);
        QCOMPARE(rejected.count(), 1);
        QCOMPARE(rejected.first().at(1).toString(), QString("Rejected by operator"));
        // A late answer for a resolved transfer changes nothing.
        client->send({{"type", "handoff_response"}, {"agentId", "a1"}, {"transferId", second}, {"accepted", true}});
        client->send({{"type", "heartbeat"}, {"agentId", "a1"}});
        QCOMPARE(TlsTestClient::type(client->next(5000)), QString("handoff_request"));
        QCOMPARE(TlsTestClient::type(client->next()), QString("heartbeat_ack"));
        QCOMPARE(accepted.count(), 1);
    }

    // A mode chosen for an agent is sent again whenever it registers.
    void modeIsRestoredOnRegistration()
    {
        startServer();
        QVERIFY(m_server->setInstructionMode("later", "observe"));
        TlsTestClient client;
        QVERIFY(client.connectTo(m_server->port()));
        QCOMPARE(TlsTestClient::type(client.registerAs("later")), QString("heartbeat_ack"));
        QCOMPARE(client.next()->value("mode").toString(), QString("observe"));
    }

    void startAndStop()
    {
        startServer();
        testlog::expectLogged("Bridge", "Server already running");
        QVERIFY(!m_server->start(0));
        auto client = registeredClient("a1");
        QVERIFY(client);
        QSignalSpy gone(m_server.get(), &BridgeServer::agentDisconnected);
        m_server->stop();
        QCOMPARE(gone.count(), 1);
        QVERIFY(!m_server->isRunning());
        QVERIFY(client->waitClosed());
        QVERIFY(m_server->start(0));

        // A port in use is reported, not fatal.
        BridgeServer other;
        QSignalSpy errors(&other, &BridgeServer::serverError);
        testlog::expectLogged("Bridge", "Cannot start server:");
        QVERIFY(!other.start(m_server->port()));
        QCOMPARE(errors.count(), 1);
    }
};

QTEST_GUILESS_MAIN(TestBridgeServer)
#include "tst_bridgeserver.moc"
