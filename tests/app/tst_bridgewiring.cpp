#include "app/bridgewiring.h"
#include "bridge/bridgeserver.h"
#include "bridge/bridgeserversettings.h"
#include "tests/bridge/tlstestclient.h"
#include "tests/support/logexpect.h"

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
};

QTEST_MAIN(TestBridgeWiring)
#include "tst_bridgewiring.moc"
