// zobrel-agent as a real process: against a bridge server in this test and the demo simulator as
// its own process. Registration, streaming, instruction modes, hand-off, the operator's own
// certificate set from --make-keys, and command-line errors.

#include "documentsigner.h"

#include "bridge/bridgeserver.h"
#include "licensing/license.h"
#include "sim/xplanebackend.h"
#include "tests/support/demosimulator.h"
#include "tests/support/logexpect.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace {

constexpr int kWaitMs = 15000;

} // namespace

class TestAgent : public QObject
{
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    QProcess m_sim;
    quint16 m_simPort = 0;
    std::vector<std::unique_ptr<QProcess>> m_agents;

    QString settingsFile(const QString &name)
    {
        const QString path = m_dir.filePath(name);
        QSettings settings(path, QSettings::IniFormat);
        settings.setValue("autoConnect", false);
        return path;
    }

    // Starts an agent process with these extra arguments; its log stays readable afterwards.
    QProcess *startAgent(const QStringList &arguments)
    {
        auto process = std::make_unique<QProcess>();
        process->setProcessChannelMode(QProcess::MergedChannels);
        process->start(AGENT_EXECUTABLE, arguments);
        m_agents.push_back(std::move(process));
        return m_agents.back().get();
    }

    QProcess *startStreamingAgent(quint16 serverPort, const QString &settings, const QStringList &extra = {})
    {
        return startAgent(QStringList{"--host", "127.0.0.1", "--port", QString::number(serverPort), "--callsign",
                                      "CSN3377", "--settings", settings, "--xplane-port", QString::number(m_simPort)} +
                          extra);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_simPort = demosim::start(m_sim, XPSIM_EXECUTABLE);
        QVERIFY2(m_simPort > 0, qPrintable(m_sim.errorString()));
    }

    void cleanup()
    {
        for (auto &agent : m_agents)
            demosim::stop(*agent);
        m_agents.clear();
    }

    void cleanupTestCase() { demosim::stop(m_sim); }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    // The agent registers, reports its simulator and streams position five times per status.
    void registersAndStreams()
    {
        BridgeServer server;
        QVERIFY(server.start(0));
        QSignalSpy registered(&server, &BridgeServer::agentRegistered);
        QSignalSpy updates(&server, &BridgeServer::aircraftUpdated);
        const QString settings = settingsFile("stream.ini");
        QProcess *agent = startStreamingAgent(server.port(), settings);
        QVERIFY(registered.wait(kWaitMs));
        const QString agentId = registered.first().first().value<AgentConnection>().agentId;
        QVERIFY(agentId.startsWith("agent-"));
        QVERIFY(!registered.first().first().value<AgentConnection>().licensed);
        QCOMPARE(QSettings(settings, QSettings::IniFormat).value("Agent/agentId").toString(), agentId);
        // Waited for by hand, so a failure shows the agent's own log.
        const QDeadlineTimer deadline(kWaitMs);
        while (server.agentSim(agentId) != "X-Plane 11" && !deadline.hasExpired())
            QTest::qWait(20);
        QByteArray log = agent->readAll();
        QVERIFY2(server.agentSim(agentId) == "X-Plane 11", log.constData());
        QCOMPARE(server.agent(agentId).callsign, QString("CSN3377"));

        // A status carries a new sender timestamp; a position leaves it alone.
        int statuses = 0;
        int positions = 0;
        qint64 lastTs = 0;
        connect(&server, &BridgeServer::aircraftUpdated, this, [&](const QString &, const RemoteAircraft &aircraft) {
            if (aircraft.ts != lastTs)
                ++statuses;
            else
                ++positions;
            lastTs = aircraft.ts;
        });
        QTRY_VERIFY_WITH_TIMEOUT(statuses >= 4, kWaitMs);
        QVERIFY2(positions >= 3 * (statuses - 1),
                 qPrintable(QString("%1 positions, %2 statuses").arg(positions).arg(statuses)));
        const RemoteAircraft aircraft = server.remoteAircraft(agentId);
        // The demo flies near Shanghai Pudong.
        QVERIFY2(qAbs(aircraft.lat - 31.14) < 0.5 && qAbs(aircraft.lon - 121.81) < 0.5,
                 qPrintable(QString("%1 %2").arg(aircraft.lat).arg(aircraft.lon)));
        QVERIFY(aircraft.engCount >= 1);
        QCOMPARE(aircraft.engN1.size(), aircraft.engCount);
        QVERIFY(aircraft.com1 > 118 && aircraft.com1 < 137);
        QVERIFY(aircraft.baro > 900 && aircraft.baro < 1100);

        demosim::stop(*agent);
        QTRY_VERIFY_WITH_TIMEOUT(!server.isAgentRegistered(agentId), kWaitMs);
        log += agent->readAll();
        QVERIFY2(QString::fromLocal8Bit(log).contains(QRegularExpression("Connecting to 127\\.0\\.0\\.1:\\d+")),
                 log.constData());
        QVERIFY2(log.contains("Registered with 127.0.0.1"), log.constData());
    }

    // A student station with a valid licence of its own reports it (an instructor whose licence
    // admits licensed agents only then lets it in); without one it reports none (above).
    void stationLicenceIsReported()
    {
        QFile key(QStringLiteral(VENDOR_PRIVATE_KEY));
        if (key.fileName().isEmpty() || !key.open(QIODevice::ReadOnly))
            QSKIP("built with the vendor's own key: no private key to sign a test licence");
        License licence;
        licence.id = QStringLiteral("ZB-STUDENT-7");
        licence.licensee = QStringLiteral("Test Flight School");
        QVERIFY(QDir(m_dir.path()).mkpath("licensed"));
        QFile file(m_dir.filePath("licensed/Zobrel.lic"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(DocumentSigner::signDocument(key.readAll(), licence.toJson()));
        file.close();

        BridgeServer server;
        QVERIFY(server.start(0));
        QSignalSpy registered(&server, &BridgeServer::agentRegistered);
        QProcess *agent = startStreamingAgent(server.port(), settingsFile("licensed/agent.ini"));
        const bool arrived = registered.wait(kWaitMs);
        QVERIFY2(arrived, agent->readAll().constData());
        const AgentConnection connection = registered.first().first().value<AgentConnection>();
        QVERIFY(connection.licensed);
        QCOMPARE(connection.licenseKey, licence.id);
    }

    void instructionModeAndHandoff()
    {
        BridgeServer first;
        BridgeServer second;
        QVERIFY(first.start(0));
        QVERIFY(second.start(0));
        QSignalSpy registered(&first, &BridgeServer::agentRegistered);
        QSignalSpy results(&first, &BridgeServer::messageReceived);
        startStreamingAgent(first.port(), settingsFile("handoff.ini"));
        QVERIFY(registered.wait(kWaitMs));
        const QString agentId = registered.first().first().value<AgentConnection>().agentId;

        QVERIFY(first.setInstructionMode(agentId, "observe"));
        QVERIFY(results.wait(kWaitMs));
        QJsonObject result = results.takeFirst().at(1).toJsonObject();
        QVERIFY(result.value("requestId").toString().startsWith("mode-"));
        QVERIFY(result.value("success").toBool());
        // In observe mode commands are refused, and said so.
        first.sendToAgent(agentId, {{"type", "command"}, {"requestId", "r-obs"}, {"action", "pause"}, {"state", true}});
        QVERIFY(results.wait(kWaitMs));
        result = results.takeFirst().at(1).toJsonObject();
        QCOMPARE(result.value("requestId").toString(), QString("r-obs"));
        QVERIFY(!result.value("success").toBool());
        QVERIFY(result.value("message").toString().contains("Observe"));

        QSignalSpy accepted(&first, &BridgeServer::handoffAccepted);
        QSignalSpy arrived(&second, &BridgeServer::agentRegistered);
        const QString transfer = first.requestHandoff(agentId, "127.0.0.1", second.port());
        QVERIFY(accepted.wait(kWaitMs));
        QCOMPARE(accepted.first().first().toString(), transfer);
        QVERIFY(arrived.wait(kWaitMs));
        QCOMPARE(arrived.first().first().value<AgentConnection>().agentId, agentId);
        QTRY_VERIFY_WITH_TIMEOUT(!first.isAgentRegistered(agentId), kWaitMs);
    }

    // Commands beside the end-to-end reposition and failure: their effect on the simulator as
    // X-Plane's clients see it, and the answers to the malformed ones.
    void commandsReachTheSimulator()
    {
        BridgeServer server;
        QVERIFY(server.start(0));
        QSignalSpy registered(&server, &BridgeServer::agentRegistered);
        QSignalSpy results(&server, &BridgeServer::messageReceived);
        startStreamingAgent(server.port(), settingsFile("commands.ini"));
        QVERIFY(registered.wait(kWaitMs));
        const QString agentId = registered.first().first().value<AgentConnection>().agentId;
        QTRY_COMPARE_WITH_TIMEOUT(server.agentSim(agentId), QString("X-Plane 11"), kWaitMs);
        XPlaneBackend observer;
        observer.setHost("127.0.0.1", m_simPort);
        observer.setLocalPort(0);
        QSignalSpy seen(&observer, &ISimBackend::aircraftDataChanged);
        observer.connect();
        QVERIFY(seen.wait(kWaitMs));
        const auto lastSeen = [&] { return seen.last().first().value<AircraftData>(); };

        int next = 0;
        const auto command = [&](const QJsonObject &parameters) {
            QJsonObject message = parameters;
            message.insert("type", "command");
            message.insert("requestId", QString("r%1").arg(++next));
            results.clear();
            server.sendToAgent(agentId, message);
            if (!results.wait(kWaitMs))
                return QJsonObject();
            return results.first().at(1).toJsonObject();
        };

        QJsonObject result =
            command({{"action", "set_data"}, {"dataRef", "sim/cockpit/radios/transponder_code"}, {"value", 4521}});
        QVERIFY(result.value("success").toBool());
        QCOMPARE(result.value("requestId").toString(), QString("r1"));
        QTRY_COMPARE_WITH_TIMEOUT(lastSeen().xpdr, 4521.0, kWaitMs);

        result = command({{"action", "set_frequency"},
                          {"simvarPrefix", "COM1"},
                          {"eventName", "COM_RADIO_SET"},
                          {"xpDataRef", "sim/cockpit/radios/com1_freq_hz"},
                          {"freqMHz", 121.5}});
        QVERIFY(result.value("success").toBool());
        QTRY_COMPARE_WITH_TIMEOUT(lastSeen().com1, 121.5, kWaitMs);

        QTRY_VERIFY_WITH_TIMEOUT(lastSeen().fuelTotal > 0, kWaitMs);
        result = command({{"action", "load_fuel"}, {"percent", 30}});
        QVERIFY2(result.value("success").toBool(), qPrintable(result.value("message").toString()));
        const double gallons = result.value("message").toString().section(' ', 0, 0).toDouble();
        QVERIFY(gallons > 0);
        QTRY_VERIFY_WITH_TIMEOUT(std::abs(lastSeen().fuelTotal - gallons) < gallons * 0.05 + 1, kWaitMs);

        const QList<QPair<QJsonObject, QString>> refused{
            {{{"action", "launch_missiles"}}, "Unknown action"},
            {{{"action", "set_data"}, {"dataRef", "sim/cockpit/radios/transponder_code"}}, "Missing or invalid"},
            {{{"action", "reposition"}, {"lat", 95}, {"lon", 10}, {"alt", 1000}}, "Missing or invalid"},
            {{{"action", "failure"}, {"component", "warp_core"}, {"state", true}}, "Unknown failure"},
            {{{"action", "set_fuel"}, {"tanks", "all"}}, "Missing or invalid"},
        };
        for (const auto &[parameters, reason] : refused) {
            result = command(parameters);
            QVERIFY2(!result.value("success").toBool() && result.value("message").toString().contains(reason),
                     qPrintable(QJsonDocument(result).toJson(QJsonDocument::Compact)));
        }
        observer.disconnect();
    }

    void makeKeysGivesAWorkingSet()
    {
        const QString keyDir = m_dir.filePath("keys");
        QProcess *maker = startAgent({"--make-keys", keyDir});
        QVERIFY(maker->waitForFinished(30000));
        const QString printed = QString::fromLocal8Bit(maker->readAll());
        QVERIFY2(maker->exitCode() == 0, qPrintable(printed));
        const auto value = [&](const QString &key) {
            const auto match =
                QRegularExpression("^" + key + "=(.*)$", QRegularExpression::MultilineOption).match(printed);
            return match.captured(1).trimmed();
        };
        BridgeCertificateFiles files{value("bridgeCaFile"), value("bridgeCertFile"), value("bridgeKeyFile"),
                                     value("bridgeCaFingerprint")};
        QVERIFY2(QFile::exists(files.caFile) && QFile::exists(files.certFile) && QFile::exists(files.keyFile),
                 qPrintable(printed));
        QCOMPARE(QFile::permissions(files.keyFile) & (QFile::ReadGroup | QFile::ReadOther), QFile::Permissions());

        BridgeServer server;
        server.setCertificateFiles(files);
        QVERIFY(server.start(0));
        QSignalSpy registered(&server, &BridgeServer::agentRegistered);
        startStreamingAgent(server.port(), settingsFile("keys.ini"), {"--ca", files.caFile});
        QVERIFY(registered.wait(kWaitMs));

        // An agent still holding the built-in CA refuses that server.
        testlog::expectLogged("Bridge", "SSL handshake rejected");
        QProcess *stranger = startStreamingAgent(server.port(), settingsFile("stranger.ini"));
        QByteArray strangerLog;
        QTRY_VERIFY_WITH_TIMEOUT((strangerLog += stranger->readAll()).contains("Server certificate refused"), kWaitMs);
        demosim::stop(*stranger); // before its next attempt, a second or more later
        QTRY_COMPARE_WITH_TIMEOUT(server.connectionCount(), 1, kWaitMs);
        QCOMPARE(server.agents().size(), 1);

        // An existing set is never overwritten.
        QProcess *again = startAgent({"--make-keys", keyDir});
        QVERIFY(again->waitForFinished(30000));
        QCOMPARE(again->exitCode(), 1);
        QVERIFY(again->readAll().contains("exists already"));
    }

    void badCommandLines_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        QTest::newRow("no host") << QStringList{"--port", "48448"} << "no instructor host";
        QTest::newRow("port zero") << QStringList{"--host", "h", "--port", "0"} << "invalid --port";
        QTest::newRow("port text") << QStringList{"--host", "h", "--port", "abc"} << "invalid --port";
        QTest::newRow("stray argument") << QStringList{"--host", "h", "extra"} << "unexpected argument";
        QTest::newRow("missing CA") << QStringList{"--host", "h", "--ca", "/nonexistent/ca.pem"}
                                    << "Cannot start: cannot open /nonexistent/ca.pem";
    }
    void badCommandLines()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        QProcess *agent = startAgent(arguments + QStringList{"--settings", settingsFile("bad.ini")});
        QVERIFY(agent->waitForFinished(10000));
        QVERIFY(agent->exitCode() != 0);
        const QString output = QString::fromLocal8Bit(agent->readAll());
        QVERIFY2(output.contains(message), qPrintable(output));
    }
};

QTEST_GUILESS_MAIN(TestAgent)
#include "tst_agent.moc"
