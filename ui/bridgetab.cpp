#include "ui/bridgetab.h"

#include "bridge/agentprotocol.h"
#include "bridge/bridgeserver.h"

#include <QComboBox>
#include <QEvent>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QSplitter>
#include <QTableWidget>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <iterator>

namespace {

enum AgentColumn { ColCallsign, ColSim, ColAddress, ColLicensed, ColHeartbeat, ColMode, AgentColumnCount };
enum HandoffColumn { ColHandoffAgent, ColHandoffTarget, ColHandoffTime, ColHandoffId, HandoffColumnCount };
constexpr int kRefreshDelayMs = 100;
constexpr int kAgeIntervalMs = 1000;

QSpinBox *portBox(const char *objectName, int value)
{
    auto *box = new QSpinBox;
    box->setObjectName(QLatin1String(objectName));
    box->setRange(1, 65535);
    box->setValue(value);
    return box;
}

QTableWidget *table(const char *objectName, int columns)
{
    auto *widget = new QTableWidget(0, columns);
    widget->setObjectName(QLatin1String(objectName));
    widget->setSelectionBehavior(QAbstractItemView::SelectRows);
    widget->setSelectionMode(QAbstractItemView::SingleSelection);
    widget->setEditTriggers(QAbstractItemView::NoEditTriggers);
    widget->verticalHeader()->hide();
    widget->horizontalHeader()->setStretchLastSection(true);
    return widget;
}

QTableWidgetItem *cell(const QString &text, const QString &key = {})
{
    auto *item = new QTableWidgetItem(text);
    if (!key.isEmpty())
        item->setData(Qt::UserRole, key);
    return item;
}

} // namespace

BridgeTab::BridgeTab(QWidget *parent) : QWidget(parent)
{
    m_refresh = new QTimer(this);
    m_refresh->setSingleShot(true);
    m_refresh->setInterval(kRefreshDelayMs);
    connect(m_refresh, &QTimer::timeout, this, [this] {
        refreshAgents();
        refreshHandoffs();
    });
    m_ages = new QTimer(this);
    connect(m_ages, &QTimer::timeout, this, &BridgeTab::refreshAgents);

    m_logBox = new QGroupBox;
    m_results = new QPlainTextEdit;
    m_results->setObjectName(QStringLiteral("commandResults"));
    m_results->setReadOnly(true);
    m_results->setMaximumBlockCount(kMaxLogEntries);
    auto *logLayout = new QVBoxLayout(m_logBox);
    logLayout->addWidget(m_results);

    auto *splitter = new QSplitter(Qt::Vertical);
    splitter->addWidget(createAgentsBox());
    splitter->addWidget(createHandoffBox());
    splitter->addWidget(m_logBox);
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 1);
    splitter->setStretchFactor(2, 2);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(createServerBox());
    layout->addWidget(splitter, 1);
    retranslateUi();
    refreshServerState();
}

QWidget *BridgeTab::createServerBox()
{
    m_serverBox = new QGroupBox;
    m_portLabel = new QLabel;
    m_port = portBox("serverPort", 48448);
    m_startStop = new QPushButton;
    m_startStop->setObjectName(QStringLiteral("startStopServer"));
    m_state = new QLabel;
    m_state->setObjectName(QStringLiteral("serverState"));
    auto *row = new QHBoxLayout(m_serverBox);
    row->addWidget(m_portLabel);
    row->addWidget(m_port);
    row->addWidget(m_startStop);
    row->addWidget(m_state, 1);
    connect(m_startStop, &QPushButton::clicked, this, [this] {
        if (m_server && m_server->isRunning())
            emit stopRequested();
        else
            emit startRequested(quint16(m_port->value()));
    });
    return m_serverBox;
}

QWidget *BridgeTab::createAgentsBox()
{
    m_agentsBox = new QGroupBox;
    m_agents = table("agents", AgentColumnCount);
    // Fixed starting widths: measuring the contents of hundreds of rows every second costs too much.
    const int widths[] = {120, 110, 190, 60, 100};
    for (int column = 0; column < int(std::size(widths)); ++column)
        m_agents->setColumnWidth(column, widths[column]);
    m_selectTarget = new QPushButton;
    m_selectTarget->setObjectName(QStringLiteral("selectTarget"));
    m_localTarget = new QPushButton;
    m_localTarget->setObjectName(QStringLiteral("localTarget"));
    m_targetLabel = new QLabel;
    m_targetLabel->setObjectName(QStringLiteral("targetLabel"));
    m_modeLabel = new QLabel;
    m_mode = new QComboBox;
    m_mode->setObjectName(QStringLiteral("instructionMode"));
    m_mode->addItem(QString(), QString::fromLatin1(agentprotocol::kModeAuto));
    m_mode->addItem(QString(), QString::fromLatin1(agentprotocol::kModeObserve));
    m_applyMode = new QPushButton;
    m_applyMode->setObjectName(QStringLiteral("applyMode"));

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_selectTarget);
    buttons->addWidget(m_localTarget);
    buttons->addWidget(m_targetLabel, 1);
    buttons->addWidget(m_modeLabel);
    buttons->addWidget(m_mode);
    buttons->addWidget(m_applyMode);
    auto *layout = new QVBoxLayout(m_agentsBox);
    layout->addWidget(m_agents, 1);
    layout->addLayout(buttons);

    connect(m_selectTarget, &QPushButton::clicked, this, [this] {
        const QString agentId = selectedAgent();
        if (!agentId.isEmpty())
            emit targetSelected(agentId);
    });
    connect(m_localTarget, &QPushButton::clicked, this, [this] { emit targetSelected(QString()); });
    connect(m_agents, &QTableWidget::cellDoubleClicked, this, [this] {
        const QString agentId = selectedAgent();
        if (!agentId.isEmpty())
            emit targetSelected(agentId);
    });
    connect(m_applyMode, &QPushButton::clicked, this, [this] {
        const QString agentId = selectedAgent();
        if (m_server && !agentId.isEmpty())
            m_server->setInstructionMode(agentId, m_mode->currentData().toString());
    });
    connect(m_agents, &QTableWidget::itemSelectionChanged, this, [this] {
        if (m_server && !selectedAgent().isEmpty()) {
            const int index = m_mode->findData(m_server->instructionMode(selectedAgent()));
            m_mode->setCurrentIndex(std::max(index, 0));
        }
    });
    return m_agentsBox;
}

QWidget *BridgeTab::createHandoffBox()
{
    m_handoffBox = new QGroupBox;
    m_handoffHostLabel = new QLabel;
    m_handoffHost = new QLineEdit;
    m_handoffHost->setObjectName(QStringLiteral("handoffHost"));
    m_handoffPort = portBox("handoffPort", 48448);
    m_requestHandoff = new QPushButton;
    m_requestHandoff->setObjectName(QStringLiteral("requestHandoff"));
    m_handoffs = table("handoffs", HandoffColumnCount);
    m_acceptHandoff = new QPushButton;
    m_acceptHandoff->setObjectName(QStringLiteral("acceptHandoff"));
    m_rejectHandoff = new QPushButton;
    m_rejectHandoff->setObjectName(QStringLiteral("rejectHandoff"));

    auto *request = new QHBoxLayout;
    request->addWidget(m_handoffHostLabel);
    request->addWidget(m_handoffHost, 1);
    request->addWidget(m_handoffPort);
    request->addWidget(m_requestHandoff);
    auto *resolve = new QHBoxLayout;
    resolve->addStretch();
    resolve->addWidget(m_acceptHandoff);
    resolve->addWidget(m_rejectHandoff);
    auto *layout = new QVBoxLayout(m_handoffBox);
    layout->addLayout(request);
    layout->addWidget(m_handoffs, 1);
    layout->addLayout(resolve);

    connect(m_requestHandoff, &QPushButton::clicked, this, [this] {
        const QString agentId = selectedAgent();
        if (m_server && !agentId.isEmpty() && !m_handoffHost->text().trimmed().isEmpty())
            m_server->requestHandoff(agentId, m_handoffHost->text().trimmed(), quint16(m_handoffPort->value()));
    });
    connect(m_acceptHandoff, &QPushButton::clicked, this, [this] {
        if (m_server && !selectedTransfer().isEmpty())
            m_server->acceptHandoff(selectedTransfer());
    });
    connect(m_rejectHandoff, &QPushButton::clicked, this, [this] {
        if (m_server && !selectedTransfer().isEmpty())
            m_server->rejectHandoff(selectedTransfer());
    });
    return m_handoffBox;
}

void BridgeTab::setServer(BridgeServer *server)
{
    if (m_server)
        QObject::disconnect(m_server, nullptr, this, nullptr);
    m_server = server;
    if (server) {
        connect(server, &BridgeServer::serverStarted, this, &BridgeTab::refreshServerState);
        connect(server, &BridgeServer::serverStopped, this, &BridgeTab::refreshServerState);
        connect(server, &BridgeServer::serverError, this, [this](const QString &reason) {
            refreshServerState();
            m_state->setText(tr("无法启动：%1").arg(reason));
        });
        connect(server, &BridgeServer::agentRegistered, this, &BridgeTab::scheduleRefresh);
        connect(server, &BridgeServer::agentDisconnected, this, &BridgeTab::scheduleRefresh);
        connect(server, &BridgeServer::instructionModeChanged, this, &BridgeTab::scheduleRefresh);
        connect(server, &BridgeServer::handoffRequested, this, &BridgeTab::scheduleRefresh);
        connect(server, &BridgeServer::messageReceived, this, &BridgeTab::onCommandResult);
        connect(server, &BridgeServer::handoffAccepted, this, [this](const QString &transferId) {
            addLog({QDateTime::currentDateTime(), LogKind::HandoffAccepted, {}, transferId, {}, true, {}});
            scheduleRefresh();
        });
        connect(server, &BridgeServer::handoffRejected, this, [this](const QString &transferId, const QString &reason) {
            addLog({QDateTime::currentDateTime(), LogKind::HandoffRejected, {}, transferId, {}, false, reason});
            scheduleRefresh();
        });
    }
    refreshServerState();
    scheduleRefresh();
}

void BridgeTab::setPort(quint16 port)
{
    m_port->setValue(port);
}

quint16 BridgeTab::port() const
{
    return quint16(m_port->value());
}

void BridgeTab::setTarget(const QString &agentId)
{
    m_target = agentId;
    refreshTargetLabel();
    scheduleRefresh();
}

void BridgeTab::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QWidget::changeEvent(event);
}

void BridgeTab::retranslateUi()
{
    m_serverBox->setTitle(tr("教员服务器"));
    m_portLabel->setText(tr("端口："));
    m_agentsBox->setTitle(tr("已连接的学员站"));
    m_agents->setHorizontalHeaderLabels(
        {tr("呼号"), tr("模拟器"), tr("地址"), tr("授权"), tr("最后心跳"), tr("教学模式")});
    m_selectTarget->setText(tr("设为操作目标"));
    m_localTarget->setText(tr("操作本机模拟器"));
    m_modeLabel->setText(tr("教学模式："));
    m_mode->setItemText(0, tr("自动执行"));
    m_mode->setItemText(1, tr("仅监视"));
    m_applyMode->setText(tr("应用"));
    m_handoffBox->setTitle(tr("移交"));
    m_handoffHostLabel->setText(tr("移交到教员站："));
    m_handoffHost->setPlaceholderText(tr("主机名或地址"));
    m_requestHandoff->setText(tr("请求移交"));
    m_handoffs->setHorizontalHeaderLabels({tr("学员站"), tr("目标"), tr("请求时间"), tr("编号")});
    m_acceptHandoff->setText(tr("接受"));
    m_rejectHandoff->setText(tr("拒绝"));
    m_logBox->setTitle(tr("指令结果"));
    refreshServerState();
    refreshTargetLabel();
    refreshAgents();
    m_results->clear();
    for (const LogEntry &entry : std::as_const(m_log))
        m_results->appendPlainText(logLine(entry));
}

void BridgeTab::scheduleRefresh()
{
    if (!m_refresh->isActive())
        m_refresh->start();
}

void BridgeTab::refreshServerState()
{
    const bool running = m_server && m_server->isRunning();
    m_startStop->setText(running ? tr("停止服务器") : tr("启动服务器"));
    m_startStop->setEnabled(m_server);
    m_port->setEnabled(!running);
    m_state->setText(running ? tr("正在监听端口 %1").arg(m_server->port()) : tr("服务器未运行"));
    if (running)
        m_ages->start(kAgeIntervalMs);
    else
        m_ages->stop();
    scheduleRefresh();
}

void BridgeTab::refreshTargetLabel()
{
    if (m_target.isEmpty()) {
        m_targetLabel->setText(tr("当前目标：本机模拟器"));
        return;
    }
    const bool connected = m_server && m_server->isAgentRegistered(m_target);
    m_targetLabel->setText(connected ? tr("当前目标：%1").arg(agentName(m_target))
                                     : tr("当前目标：%1（未连接）").arg(agentName(m_target)));
}

void BridgeTab::refreshAgents()
{
    const QString selected = selectedAgent();
    QList<AgentConnection> agents = m_server ? m_server->agents() : QList<AgentConnection>();
    std::sort(agents.begin(), agents.end(), [](const AgentConnection &a, const AgentConnection &b) {
        return a.callsign == b.callsign ? a.agentId < b.agentId : a.callsign < b.callsign;
    });
    const QDateTime now = QDateTime::currentDateTimeUtc();
    m_agents->setRowCount(int(agents.size()));
    for (int row = 0; row < agents.size(); ++row) {
        const AgentConnection &agent = agents.at(row);
        const QString mode = m_server->instructionMode(agent.agentId);
        const qint64 age = std::max<qint64>(0, agent.lastHeartbeat.secsTo(now));
        const QStringList texts{agent.callsign.isEmpty() ? agent.agentId : agent.callsign,
                                agent.sim,
                                agent.peerAddress,
                                agent.licensed ? tr("是") : tr("否"),
                                tr("%1 秒前").arg(age),
                                mode == QLatin1String(agentprotocol::kModeObserve) ? tr("仅监视") : tr("自动执行")};
        for (int column = 0; column < AgentColumnCount; ++column) {
            QTableWidgetItem *item = cell(texts.at(column), agent.agentId);
            QFont font = item->font();
            font.setBold(agent.agentId == m_target);
            item->setFont(font);
            m_agents->setItem(row, column, item);
        }
        if (agent.agentId == selected)
            m_agents->selectRow(row);
    }
    refreshTargetLabel();
}

void BridgeTab::refreshHandoffs()
{
    const QString selected = selectedTransfer();
    const QList<BridgeServer::Handoff> handoffs =
        m_server ? m_server->pendingHandoffs() : QList<BridgeServer::Handoff>();
    m_handoffs->setRowCount(int(handoffs.size()));
    for (int row = 0; row < handoffs.size(); ++row) {
        const BridgeServer::Handoff &handoff = handoffs.at(row);
        const QStringList texts{
            agentName(handoff.agentId), QStringLiteral("%1:%2").arg(handoff.targetHost).arg(handoff.targetPort),
            handoff.requestedAt.toLocalTime().toString(QStringLiteral("HH:mm:ss")), handoff.transferId};
        for (int column = 0; column < HandoffColumnCount; ++column)
            m_handoffs->setItem(row, column, cell(texts.at(column), handoff.transferId));
        if (handoff.transferId == selected)
            m_handoffs->selectRow(row);
    }
}

QString BridgeTab::selectedAgent() const
{
    const QList<QTableWidgetItem *> items = m_agents->selectedItems();
    return items.isEmpty() ? QString() : items.first()->data(Qt::UserRole).toString();
}

QString BridgeTab::selectedTransfer() const
{
    const QList<QTableWidgetItem *> items = m_handoffs->selectedItems();
    return items.isEmpty() ? QString() : items.first()->data(Qt::UserRole).toString();
}

QString BridgeTab::agentName(const QString &agentId) const
{
    const QString callsign = m_server ? m_server->agent(agentId).callsign : QString();
    return callsign.isEmpty() ? agentId : callsign;
}

void BridgeTab::onCommandResult(const QString &agentId, const QJsonObject &message)
{
    addLog({QDateTime::currentDateTime(), LogKind::Result, agentName(agentId),
            message.value(QStringLiteral("requestId")).toString(), message.value(QStringLiteral("action")).toString(),
            message.value(QStringLiteral("success")).toBool(), message.value(QStringLiteral("message")).toString()});
}

void BridgeTab::addLog(const LogEntry &entry)
{
    m_log.append(entry);
    if (m_log.size() > kMaxLogEntries)
        m_log.removeFirst();
    m_results->appendPlainText(logLine(entry));
}

QString BridgeTab::logLine(const LogEntry &entry) const
{
    const QString time = entry.time.toString(QStringLiteral("HH:mm:ss"));
    QString line;
    switch (entry.kind) {
    case LogKind::Result:
        line = tr("%1 %2 %3（%4）：%5")
                   .arg(time, entry.agent, entry.action, entry.requestId, entry.success ? tr("成功") : tr("失败"));
        break;
    case LogKind::HandoffAccepted:
        line = tr("%1 移交 %2：已接受").arg(time, entry.requestId);
        break;
    case LogKind::HandoffRejected:
        line = tr("%1 移交 %2：已拒绝").arg(time, entry.requestId);
        break;
    }
    return entry.message.isEmpty() ? line : line + QStringLiteral(" — ") + entry.message;
}
