#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QPointer>
#include <QString>
#include <QWidget>

class BridgeServer;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QSpinBox;
class QTableWidget;
class QTimer;

// The instructor's server tab: start and stop the bridge server on a port, the registered agents
// (callsign, simulator, address, licence, last heartbeat), which agent the station acts on, each
// agent's instruction mode, hand-off requests and their answers, and the log of command results.
//
// Created by the bridge wiring in app/, GUI thread only. The server is borrowed; starting and
// choosing the target go out as signals, since the wiring configures the server from the
// settings and tells the rest of the station about the target.
class BridgeTab : public QWidget
{
    Q_OBJECT
public:
    // Entries kept in the command-result log.
    static constexpr int kMaxLogEntries = 500;

    explicit BridgeTab(QWidget *parent = nullptr);

    void setServer(BridgeServer *server);
    void setPort(quint16 port);
    quint16 port() const;
    // The agent the station acts on; empty for the local simulator.
    QString target() const { return m_target; }

public slots:
    // Shows the station's current target (the wiring calls it after every change).
    void setTarget(const QString &agentId);

signals:
    void startRequested(quint16 port);
    void stopRequested();
    // The operator chose an agent (empty: back to the local simulator).
    void targetSelected(const QString &agentId);

protected:
    void changeEvent(QEvent *event) override;

private:
    enum class LogKind { Result, HandoffAccepted, HandoffRejected };
    struct LogEntry
    {
        QDateTime time;
        LogKind kind = LogKind::Result;
        QString agent; // callsign, or the id when none is known
        QString requestId;
        QString action;
        bool success = false;
        QString message;
    };

    QWidget *createServerBox();
    QWidget *createAgentsBox();
    QWidget *createHandoffBox();
    void retranslateUi();
    void scheduleRefresh();
    void refreshAgents();
    void refreshHandoffs();
    void refreshServerState();
    void refreshTargetLabel();
    QString selectedAgent() const;
    QString selectedTransfer() const;
    QString agentName(const QString &agentId) const;
    void addLog(const LogEntry &entry);
    QString logLine(const LogEntry &entry) const;
    void onCommandResult(const QString &agentId, const QJsonObject &message);

    QPointer<BridgeServer> m_server;
    QString m_target;
    QList<LogEntry> m_log;
    QTimer *m_refresh = nullptr; // coalesces list rebuilds
    QTimer *m_ages = nullptr;    // heartbeat ages once a second

    QGroupBox *m_serverBox = nullptr;
    QLabel *m_portLabel = nullptr;
    QSpinBox *m_port = nullptr;
    QPushButton *m_startStop = nullptr;
    QLabel *m_state = nullptr;
    QGroupBox *m_agentsBox = nullptr;
    QTableWidget *m_agents = nullptr;
    QPushButton *m_selectTarget = nullptr;
    QPushButton *m_localTarget = nullptr;
    QLabel *m_targetLabel = nullptr;
    QLabel *m_modeLabel = nullptr;
    QComboBox *m_mode = nullptr;
    QPushButton *m_applyMode = nullptr;
    QGroupBox *m_handoffBox = nullptr;
    QLabel *m_handoffHostLabel = nullptr;
    QLineEdit *m_handoffHost = nullptr;
    QSpinBox *m_handoffPort = nullptr;
    QPushButton *m_requestHandoff = nullptr;
    QTableWidget *m_handoffs = nullptr;
    QPushButton *m_acceptHandoff = nullptr;
    QPushButton *m_rejectHandoff = nullptr;
    QGroupBox *m_logBox = nullptr;
    QPlainTextEdit *m_results = nullptr;
};
