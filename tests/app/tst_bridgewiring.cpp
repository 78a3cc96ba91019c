#include "app/bridgewiring.h"
#include "bridge/bridgeserver.h"
#include "bridge/bridgeserversettings.h"
#include "licensing/licensemanager.h"
#include "tests/bridge/tlstestclient.h"
#include "tests/licensing/testkeys.h"
#include "tests/support/logexpect.h"

#include <QFile>
#include <QSettings>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

// The station's side of remote instruction: the server follows the settings, remote aircraft
// reach the map overlay, and the chosen target shows on the map and in the status bar.
class TestBridgeWiring : public QObject
{
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    QString m_ini;

    static quint16 freePort()
    {
        QTcpServer probe;
        probe.listen(QHostAddress::Any, 0);
        return probe.serverPort();
    }

    // A licence signed with keys that admits at most agents agents, written to a file of its own.
    QString writeLicence(const TestKeys &keys, const QString &name, int agents)
    {
        License licence;
        licence.id = QStringLiteral("ZB-BRIDGE-1");
        licence.licensee = QStringLiteral("Test Flight School");
        licence.features = {QString::fromLatin1(License::kFeatureBridgeServer),
                            QStringLiteral("agents:%1").arg(agents)};
        const QString path = m_dir.filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(keys.sign(licence.toJson())) < 0)
            qFatal("cannot write the test licence");
        return path;
    }

    void writeSettings(bool enabled, quint16 port)
    {
        QSettings settings(m_ini, QSettings::IniFormat);
        BridgeServerSettings server;
        server.enabled = enabled;
        server.port = port;
        server.write(settings);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_ini = m_dir.filePath("Zobrel.ini");
    }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void serverFollowsTheSettings()
    {
        const quint16 port = freePort();
        writeSettings(true, port);
        RadarOverlay radar;
        BridgeServices services(m_ini, &radar);
        QVERIFY(services.server()->isRunning());
        QCOMPARE(services.server()->port(), port);

        writeSettings(false, port);
        services.applySettings();
        QVERIFY(!services.server()->isRunning());
        const quint16 other = freePort();
        writeSettings(true, other);
        services.applySettings();
        QCOMPARE(services.server()->port(), other);
        QCOMPARE(services.tab()->port(), other);
    }

    void remoteAircraftAndTarget()
    {
        writeSettings(false, 48448);
        RadarOverlay radar;
        BridgeServices services(m_ini, &radar);
        QVERIFY(services.startServer(freePort()));
        TlsTestClient agent;
        QVERIFY(agent.connectTo(services.server()->port()));
        QCOMPARE(TlsTestClient::type(agent.registerAs("a1", "m-1", {{"callsign", "CES5301"}})),
                 QString("heartbeat_ack"));
        agent.send({{"type", "position"}, {"agentId", "a1"}, {"lat", 31.2}, {"lon", 121.3}, {"hdg", 90}});
        QTRY_VERIFY(radar.tracks().contains("a1"));
        QCOMPARE(radar.tracks().value("a1").last(), QPointF(31.2, 121.3));
        agent.send({{"type", "position"}, {"agentId", "a1"}, {"lat", 31.21}, {"lon", 121.3}, {"hdg", 90}});
        QTRY_COMPARE(radar.tracks().value("a1").size(), 2);
        // A reposition far away starts the track again rather than drawing a line across the map.
        agent.send({{"type", "position"}, {"agentId", "a1"}, {"lat", 39.9}, {"lon", 116.6}, {"hdg", 90}});
        QTRY_COMPARE(radar.tracks().value("a1"), QList<QPointF>{QPointF(39.9, 116.6)});

        QSignalSpy changes(&services, &BridgeServices::targetChanged);
        services.tab()->targetSelected("a1");
        QCOMPARE(changes.count(), 1);
        QCOMPARE(services.target(), QString("a1"));
        QCOMPARE(radar.selectedStation(), QString("a1"));
        QVERIFY(services.targetLabel()->text().contains("CES5301"));
        services.setTarget("a1");
        QCOMPARE(changes.count(), 1);

        agent.socket.disconnectFromHost();
        QTRY_VERIFY(services.targetLabel()->text().contains("未连接"));
        QVERIFY(services.targetLabel()->text().contains("CES5301"));
        QTRY_VERIFY(!radar.tracks().contains("a1"));

        services.tab()->targetSelected(QString());
        QCOMPARE(radar.selectedStation(), QString());
        QCOMPARE(services.targetLabel()->text(), QString("操作目标：本机模拟器"));
    }

    // The licence admits agents through the wiring: the agent over its limit gets the licence's
    // reason and message from a real server, and a licence installed while the server runs
    // applies to the next registration.
    void licenceLimitsAgents()
    {
        const TestKeys keys = TestKeys::make();
        const QString installed = m_dir.filePath(QString::fromLatin1(LicenseManager::kLicenseFileName));
        QVERIFY(QFile::rename(writeLicence(keys, "one.lic", 1), installed));
        LicenseManager license(installed, keys.publicPem, QStringLiteral("test-machine"));
        license.load();
        QCOMPARE(license.maxAgents(), 1);

        writeSettings(false, 48448);
        RadarOverlay radar;
        BridgeServices services(m_ini, &radar);
        services.setLicense(&license);
        QVERIFY(services.startServer(freePort()));
        QSignalSpy rejected(services.server(), &BridgeServer::agentRejected);
        TlsTestClient first;
        TlsTestClient second;
        QVERIFY(first.connectTo(services.server()->port()));
        QVERIFY(second.connectTo(services.server()->port()));
        QCOMPARE(TlsTestClient::type(first.registerAs("a1", "m-1")), QString("heartbeat_ack"));

        testlog::expectLogged("Bridge", "Registration rejected: a2 \\(agent_limit\\)");
        const std::optional<QJsonObject> refusal = second.registerAs("a2", "m-2");
        QVERIFY(refusal);
        QCOMPARE(refusal->value("type").toString(), QString("error"));
        QCOMPARE(refusal->value("reason").toString(), QString("agent_limit"));
        QCOMPARE(refusal->value("message").toString(),
                 QString("The instructor station's licence admits at most 1 agents"));
        QCOMPARE(rejected.count(), 1);
        QCOMPARE(rejected.first().value(0).toString(), QString("a2"));
        QCOMPARE(rejected.first().value(1).toString(), QString("agent_limit"));
        QVERIFY(!services.server()->isAgentRegistered("a2"));
        QVERIFY(services.server()->isAgentRegistered("a1"));

        QVERIFY(license.install(writeLicence(keys, "two.lic", 2)).isValid());
        QCOMPARE(TlsTestClient::type(second.registerAs("a2", "m-2")), QString("heartbeat_ack"));
        QVERIFY(services.server()->isAgentRegistered("a2"));
    }
};

QTEST_MAIN(TestBridgeWiring)
#include "tst_bridgewiring.moc"
