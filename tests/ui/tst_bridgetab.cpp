#include "bridge/bridgeserver.h"
#include "tests/bridge/tlstestclient.h"
#include "tests/support/logexpect.h"
#include "ui/bridgetab.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTableWidget>
#include <QTest>

#include <memory>

// The server tab in a real window against a running bridge server with a real TLS agent: the
// list of agents, choosing the target, instruction modes, hand-offs and the result log.
class TestBridgeTab : public QObject
{
    Q_OBJECT
private:
    std::unique_ptr<BridgeServer> m_server;
    std::unique_ptr<QWidget> m_host; // a plain top-level: the offscreen platform warns about laid-out ones
    BridgeTab *m_tab = nullptr;

    template <typename T> T *child(const char *name) { return m_tab->findChild<T *>(QLatin1String(name)); }
    QTableWidget *agents() { return child<QTableWidget>("agents"); }

    void selectAgentRow(const QString &callsign)
    {
        const QList<QTableWidgetItem *> found = agents()->findItems(callsign, Qt::MatchExactly);
        QVERIFY(!found.isEmpty());
        agents()->selectRow(found.first()->row());
    }

private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
        m_server = std::make_unique<BridgeServer>();
        m_host = std::make_unique<QWidget>();
        m_host->setAttribute(Qt::WA_DontShowOnScreen);
        m_host->resize(1000, 700);
        m_tab = new BridgeTab(m_host.get());
        m_tab->setGeometry(0, 0, 1000, 700);
        m_tab->setServer(m_server.get());
        connect(m_tab, &BridgeTab::startRequested, m_server.get(), &BridgeServer::start);
        connect(m_tab, &BridgeTab::stopRequested, m_server.get(), &BridgeServer::stop);
        m_host->show();
    }

    void cleanup()
    {
        m_host.reset();
        m_server.reset();
    }

    void operatorWorksWithAnAgent()
    {
        // A port of our own choosing is not predictable here: start through the server's port 0.
        m_tab->setPort(1);
        QVERIFY(m_server->start(0));
        QTRY_VERIFY(child<QLabel>("serverState")->text().contains(QString::number(m_server->port())));
        QCOMPARE(child<QPushButton>("startStopServer")->text(), QString("停止服务器"));

        TlsTestClient agent;
        QVERIFY(agent.connectTo(m_server->port()));
        QCOMPARE(TlsTestClient::type(agent.registerAs("id-7", "m-7", {{"callsign", "CCA1234"}, {"licensed", false}})),
                 QString("heartbeat_ack"));
        QTRY_COMPARE(agents()->rowCount(), 1);
        QCOMPARE(agents()->item(0, 1)->text(), QString("X-Plane 12"));
        QVERIFY(agents()->item(0, 2)->text().startsWith("127.0.0.1:"));
        QCOMPARE(agents()->item(0, 3)->text(), QString("否"));
        QVERIFY(agents()->item(0, 4)->text().endsWith("秒前"));

        QSignalSpy targets(m_tab, &BridgeTab::targetSelected);
        selectAgentRow("CCA1234");
        child<QPushButton>("selectTarget")->click();
        QCOMPARE(targets.count(), 1);
        QCOMPARE(targets.first().first().toString(), QString("id-7"));
        m_tab->setTarget("id-7");
        QCOMPARE(child<QLabel>("targetLabel")->text(), QString("当前目标：CCA1234"));
        QTRY_VERIFY(agents()->item(0, 0)->font().bold());

        // Instruction mode for the selected agent.
        QComboBox *mode = child<QComboBox>("instructionMode");
        mode->setCurrentIndex(mode->findData("observe"));
        child<QPushButton>("applyMode")->click();
        QCOMPARE(agent.next()->value("mode").toString(), QString("observe"));
        QTRY_COMPARE(agents()->item(0, 5)->text(), QString("仅监视"));

        // A hand-off request, then the operator rejects it.
        child<QLineEdit>("handoffHost")->setText("10.1.2.3");
        child<QSpinBox>("handoffPort")->setValue(50001);
        child<QPushButton>("requestHandoff")->click();
        const auto request = agent.next();
        QCOMPARE(TlsTestClient::type(request), QString("handoff_request"));
        QCOMPARE(request->value("targetPort").toInt(), 50001);
        QTableWidget *handoffs = child<QTableWidget>("handoffs");
        QTRY_COMPARE(handoffs->rowCount(), 1);
        QCOMPARE(handoffs->item(0, 1)->text(), QString("10.1.2.3:50001"));
        handoffs->selectRow(0);
        child<QPushButton>("rejectHandoff")->click();
        QTRY_COMPARE(handoffs->rowCount(), 0);

        agent.send({{"type", "command_result"},
                    {"agentId", "id-7"},
                    {"requestId", "req-42"},
                    {"action", "failure"},
                    {"success", true},
                    {"message", "engine 1 failed"}});
        QPlainTextEdit *log = child<QPlainTextEdit>("commandResults");
        QTRY_VERIFY(log->toPlainText().contains("CCA1234 failure（req-42）：成功 — engine 1 failed"));
        QVERIFY(log->toPlainText().contains("已拒绝 — Rejected by operator"));

        // The agent leaves: the list empties and the target is shown as away.
        agent.socket.disconnectFromHost();
        QTRY_COMPARE(agents()->rowCount(), 0);
        QCOMPARE(child<QLabel>("targetLabel")->text(), QString("当前目标：id-7（未连接）"));

        child<QPushButton>("startStopServer")->click();
        QVERIFY(!m_server->isRunning());
        QCOMPARE(child<QLabel>("serverState")->text(), QString("服务器未运行"));
        QCOMPARE(child<QSpinBox>("serverPort")->value(), 1);
    }

    void startFailureIsShown()
    {
        BridgeServer occupant;
        QVERIFY(occupant.start(0));
        m_tab->setPort(occupant.port());
        testlog::expectLogged("Bridge", "Cannot start server:");
        child<QPushButton>("startStopServer")->click();
        QVERIFY(!m_server->isRunning());
        QVERIFY(child<QLabel>("serverState")->text().startsWith("无法启动："));
    }
};

QTEST_MAIN(TestBridgeTab)
#include "tst_bridgetab.moc"
