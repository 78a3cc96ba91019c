#include "ui/failurestab.h"

#include "control/failuremanager.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateTime>
#include <QDoubleSpinBox>
#include <QEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

enum CatalogueColumn { NameColumn, StateColumn, ElapsedColumn, NoteColumn };
constexpr int kIdRole = Qt::UserRole;
// Condition parameters as the manager reads them, in the order offered.
const char *const kParameters[] = {"altitude", "speed", "vs", "gear", "onGround", "engine1_n1", "engine2_n1"};
const QColor kFailedColour(192, 57, 43);
const QColor kUnavailableColour(150, 150, 150);

QTableWidget *table(int columns, const QString &objectName)
{
    auto *widget = new QTableWidget(0, columns);
    widget->setObjectName(objectName);
    widget->verticalHeader()->setVisible(false);
    widget->setEditTriggers(QAbstractItemView::NoEditTriggers);
    widget->setSelectionBehavior(QAbstractItemView::SelectRows);
    widget->horizontalHeader()->setStretchLastSection(true);
    return widget;
}

} // namespace

FailuresTab::FailuresTab(QWidget *parent) : QWidget(parent)
{
    auto *right = new QVBoxLayout;
    right->addWidget(createPresets());
    right->addWidget(createTriggers(), 1);
    right->addWidget(createHistory(), 1);
    auto *layout = new QHBoxLayout(this);
    layout->addWidget(createCatalogue(), 3);
    layout->addLayout(right, 2);
    retranslateUi();
}

QGroupBox *FailuresTab::createCatalogue()
{
    m_catalogueBox = new QGroupBox;
    m_tree = new QTreeWidget;
    m_tree->setObjectName(QStringLiteral("failureCatalogue"));
    m_tree->setColumnCount(4);
    m_tree->setRootIsDecorated(true);
    m_tree->setUniformRowHeights(true);
    m_tree->header()->setSectionResizeMode(NameColumn, QHeaderView::Stretch);
    m_tree->header()->setStretchLastSection(false);
    m_trigger = new QPushButton;
    m_trigger->setObjectName(QStringLiteral("triggerFailure"));
    m_reset = new QPushButton;
    m_reset->setObjectName(QStringLiteral("resetFailure"));
    m_resetAll = new QPushButton;
    m_resetAll->setObjectName(QStringLiteral("resetAllFailures"));
    m_active = new QLabel;
    m_active->setObjectName(QStringLiteral("activeFailures"));
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_trigger);
    buttons->addWidget(m_reset);
    buttons->addWidget(m_resetAll);
    buttons->addStretch();
    buttons->addWidget(m_active);
    auto *layout = new QVBoxLayout(m_catalogueBox);
    layout->addWidget(m_tree);
    layout->addLayout(buttons);

    connect(m_trigger, &QPushButton::clicked, this, [this] {
        if (m_manager && !selectedFailure().isEmpty())
            m_manager->triggerFailure(selectedFailure());
    });
    connect(m_reset, &QPushButton::clicked, this, [this] {
        if (m_manager && !selectedFailure().isEmpty())
            m_manager->resetFailure(selectedFailure());
    });
    connect(m_resetAll, &QPushButton::clicked, this, [this] {
        if (m_manager)
            m_manager->resetAll();
    });
    // A double click toggles the failure.
    connect(m_tree, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem *item) {
        const QString id = item->data(NameColumn, kIdRole).toString();
        if (!m_manager || id.isEmpty())
            return;
        if (m_manager->failure(id).state == 2)
            m_manager->resetFailure(id);
        else
            m_manager->triggerFailure(id);
    });
    return m_catalogueBox;
}

QGroupBox *FailuresTab::createPresets()
{
    m_presetBox = new QGroupBox;
    m_preset = new QComboBox;
    m_preset->setObjectName(QStringLiteral("failurePreset"));
    m_loadPreset = new QPushButton;
    m_loadPreset->setObjectName(QStringLiteral("loadFailurePreset"));
    m_random = new QCheckBox;
    m_random->setObjectName(QStringLiteral("randomFailures"));
    m_mtbfLabel = new QLabel;
    m_mtbf = new QSpinBox;
    m_mtbf->setObjectName(QStringLiteral("mtbf"));
    m_mtbf->setRange(1, 100000);
    m_mtbf->setValue(500);
    auto *grid = new QGridLayout(m_presetBox);
    grid->addWidget(m_preset, 0, 0, 1, 2);
    grid->addWidget(m_loadPreset, 0, 2);
    grid->addWidget(m_random, 1, 0);
    grid->addWidget(m_mtbfLabel, 1, 1);
    grid->addWidget(m_mtbf, 1, 2);
    connect(m_loadPreset, &QPushButton::clicked, this, [this] {
        if (m_manager)
            m_manager->loadPreset(m_preset->currentData().toString());
    });
    connect(m_random, &QCheckBox::toggled, this, [this](bool on) {
        if (m_manager)
            m_manager->setRandomFailuresEnabled(on);
    });
    connect(m_mtbf, &QSpinBox::valueChanged, this, [this](int minutes) {
        if (m_manager)
            m_manager->setMtbf(minutes);
    });
    return m_presetBox;
}

QGroupBox *FailuresTab::createTriggers()
{
    m_triggerBox = new QGroupBox;
    m_triggerFailure = new QComboBox;
    m_triggerFailure->setObjectName(QStringLiteral("triggerFailureId"));
    m_parameter = new QComboBox;
    m_parameter->setObjectName(QStringLiteral("triggerParameter"));
    for (const char *parameter : kParameters)
        m_parameter->addItem(QString(), QString::fromLatin1(parameter));
    m_comparison = new QComboBox;
    m_comparison->setObjectName(QStringLiteral("triggerComparison"));
    m_comparison->addItems({QStringLiteral(">"), QStringLiteral("<"), QStringLiteral("=")});
    m_threshold = new QDoubleSpinBox;
    m_threshold->setObjectName(QStringLiteral("triggerThreshold"));
    m_threshold->setRange(-100000, 100000);
    m_threshold->setDecimals(1);
    m_threshold->setValue(2000);
    m_addTrigger = new QPushButton;
    m_addTrigger->setObjectName(QStringLiteral("addTrigger"));
    m_clearTriggers = new QPushButton;
    m_clearTriggers->setObjectName(QStringLiteral("clearTriggers"));
    m_triggers = table(3, QStringLiteral("triggers"));
    auto *grid = new QGridLayout(m_triggerBox);
    grid->addWidget(m_triggerFailure, 0, 0, 1, 4);
    grid->addWidget(m_parameter, 1, 0);
    grid->addWidget(m_comparison, 1, 1);
    grid->addWidget(m_threshold, 1, 2);
    grid->addWidget(m_addTrigger, 1, 3);
    grid->addWidget(m_triggers, 2, 0, 1, 4);
    grid->addWidget(m_clearTriggers, 3, 3);
    connect(m_addTrigger, &QPushButton::clicked, this, [this] {
        if (!m_manager || m_triggerFailure->currentData().toString().isEmpty())
            return;
        m_manager->addConditionTrigger({m_triggerFailure->currentData().toString(),
                                        m_parameter->currentData().toString(), m_threshold->value(),
                                        m_comparison->currentIndex(), true});
        refreshTriggers();
    });
    connect(m_clearTriggers, &QPushButton::clicked, this, [this] {
        if (m_manager)
            m_manager->clearConditionTriggers();
        refreshTriggers();
    });
    return m_triggerBox;
}

QGroupBox *FailuresTab::createHistory()
{
    m_historyBox = new QGroupBox;
    m_history = table(3, QStringLiteral("failureHistory"));
    m_clearHistory = new QPushButton;
    m_clearHistory->setObjectName(QStringLiteral("clearHistory"));
    auto *layout = new QVBoxLayout(m_historyBox);
    layout->addWidget(m_history);
    layout->addWidget(m_clearHistory, 0, Qt::AlignRight);
    connect(m_clearHistory, &QPushButton::clicked, this, [this] {
        if (m_manager)
            m_manager->clearHistory();
    });
    return m_historyBox;
}

void FailuresTab::retranslateUi()
{
    m_catalogueBox->setTitle(tr("故障目录"));
    m_tree->setHeaderLabels({tr("故障"), tr("状态"), tr("时间"), tr("备注")});
    m_trigger->setText(tr("触发"));
    m_reset->setText(tr("重置"));
    m_resetAll->setText(tr("全部重置"));
    m_presetBox->setTitle(tr("预设与随机故障"));
    m_loadPreset->setText(tr("加载预设"));
    m_random->setText(tr("随机故障"));
    m_mtbfLabel->setText(tr("平均故障间隔（分钟）"));
    m_triggerBox->setTitle(tr("条件触发"));
    const QStringList parameters{tr("高度 (ft)"),        tr("指示空速 (kt)"), tr("垂直速度 (ft/min)"),
                                 tr("起落架放下 (1/0)"), tr("在地面 (1/0)"),  tr("引擎 1 N1 (%)"),
                                 tr("引擎 2 N1 (%)")};
    for (int i = 0; i < parameters.size(); ++i)
        m_parameter->setItemText(i, parameters[i]);
    m_addTrigger->setText(tr("添加"));
    m_clearTriggers->setText(tr("清除条件"));
    m_triggers->setHorizontalHeaderLabels({tr("故障"), tr("条件"), tr("状态")});
    m_historyBox->setTitle(tr("故障记录"));
    m_history->setHorizontalHeaderLabels({tr("时间"), tr("故障"), tr("操作")});
    m_clearHistory->setText(tr("清除记录"));
    rebuildCatalogue();
    fillPresetAndFailureBoxes();
    refreshTriggers();
    refreshHistory();
}

void FailuresTab::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QWidget::changeEvent(event);
}

void FailuresTab::setFailureManager(FailureManager *manager)
{
    if (m_manager)
        QObject::disconnect(m_manager, nullptr, this, nullptr);
    m_manager = manager;
    if (manager) {
        for (auto signal : {&FailureManager::failureTriggered, &FailureManager::failureReset})
            connect(manager, signal, this, &FailuresTab::refreshStates);
        connect(manager, &FailureManager::allReset, this, &FailuresTab::refreshStates);
        connect(manager, &FailureManager::elapsedChanged, this, &FailuresTab::refreshStates);
        connect(manager, &FailureManager::historyChanged, this, &FailuresTab::refreshHistory);
        connect(manager, &FailureManager::conditionTriggered, this, &FailuresTab::refreshTriggers);
        m_random->setChecked(manager->randomFailuresEnabled());
        m_mtbf->setValue(manager->mtbf());
    }
    retranslateUi();
}

QString FailuresTab::elapsedText(int state, int elapsedSeconds)
{
    if (state != 2)
        return tr("正常");
    return tr("%1m %2s").arg(elapsedSeconds / 60).arg(elapsedSeconds % 60);
}

void FailuresTab::rebuildCatalogue()
{
    const QString selected = selectedFailure();
    m_tree->clear();
    m_items.clear();
    if (!m_manager)
        return;
    QHash<QString, QTreeWidgetItem *> categories;
    for (const QString &category : m_manager->categories()) {
        auto *item = new QTreeWidgetItem(m_tree, {FailureManager::displayText(category)});
        item->setFirstColumnSpanned(false);
        categories.insert(category, item);
    }
    for (const FailureDef &def : m_manager->failures()) {
        auto *item = new QTreeWidgetItem(categories.value(def.category), {FailureManager::displayText(def.name)});
        item->setData(NameColumn, kIdRole, def.id);
        m_items.insert(def.id, item);
        if (def.id == selected)
            m_tree->setCurrentItem(item);
    }
    m_tree->expandAll();
    refreshAvailability();
    refreshStates();
}

void FailuresTab::refreshAvailability()
{
    if (!m_manager)
        return;
    for (auto it = m_items.cbegin(); it != m_items.cend(); ++it) {
        QTreeWidgetItem *item = it.value();
        const bool available = m_manager->isAvailable(it.key());
        item->setText(NoteColumn, available ? QString() : tr("⚠ 此模拟器版本无此故障"));
        item->setToolTip(NoteColumn, available ? QString() : tr("当前连接的模拟器没有对应的数据，触发不会写入模拟器"));
        item->setForeground(NameColumn, available ? m_tree->palette().text() : QBrush(kUnavailableColour));
    }
}

void FailuresTab::refreshStates()
{
    if (!m_manager)
        return;
    for (const FailureDef &def : m_manager->failures()) {
        QTreeWidgetItem *item = m_items.value(def.id);
        if (!item)
            continue;
        const bool failed = def.state == 2;
        item->setText(StateColumn, failed ? tr("故障") : tr("正常"));
        item->setText(ElapsedColumn, elapsedText(def.state, def.elapsed));
        item->setForeground(StateColumn, failed ? QBrush(kFailedColour) : m_tree->palette().text());
    }
    m_active->setText(tr("当前故障：%1").arg(m_manager->activeCount()));
}

void FailuresTab::refreshTriggers()
{
    m_triggers->setRowCount(0);
    if (!m_manager)
        return;
    const QStringList comparisons{QStringLiteral(">"), QStringLiteral("<"), QStringLiteral("=")};
    for (const FailureManager::ConditionTrigger &trigger : m_manager->conditionTriggers()) {
        const int row = m_triggers->rowCount();
        m_triggers->insertRow(row);
        const int parameter = m_parameter->findData(trigger.parameter);
        const QString parameterText = parameter >= 0 ? m_parameter->itemText(parameter) : trigger.parameter;
        m_triggers->setItem(
            row, 0, new QTableWidgetItem(FailureManager::displayText(m_manager->failure(trigger.failureId).name)));
        m_triggers->setItem(
            row, 1,
            new QTableWidgetItem(QStringLiteral("%1 %2 %3")
                                     .arg(parameterText, comparisons.value(trigger.comparison, QStringLiteral("?")),
                                          QString::number(trigger.threshold))));
        m_triggers->setItem(row, 2, new QTableWidgetItem(trigger.armed ? tr("等待") : tr("已触发")));
    }
}

void FailuresTab::refreshHistory()
{
    m_history->setRowCount(0);
    if (!m_manager)
        return;
    const QList<FailureLogEntry> log = m_manager->history();
    // Newest first.
    for (auto it = log.crbegin(); it != log.crend(); ++it) {
        const int row = m_history->rowCount();
        m_history->insertRow(row);
        m_history->setItem(
            row, 0,
            new QTableWidgetItem(QDateTime::fromMSecsSinceEpoch(it->timeMs).toString(QStringLiteral("HH:mm:ss"))));
        m_history->setItem(row, 1, new QTableWidgetItem(FailureManager::displayText(it->failureName)));
        m_history->setItem(row, 2, new QTableWidgetItem(FailureManager::displayText(it->action)));
    }
}

void FailuresTab::fillPresetAndFailureBoxes()
{
    const QString preset = m_preset->currentData().toString();
    const QString failure = m_triggerFailure->currentData().toString();
    m_preset->clear();
    m_triggerFailure->clear();
    if (!m_manager)
        return;
    for (const FailurePreset &entry : m_manager->presets())
        m_preset->addItem(FailureManager::displayText(entry.name), entry.name);
    for (const FailureDef &def : m_manager->failures())
        m_triggerFailure->addItem(FailureManager::displayText(def.name), def.id);
    m_preset->setCurrentIndex(std::max(0, m_preset->findData(preset)));
    m_triggerFailure->setCurrentIndex(std::max(0, m_triggerFailure->findData(failure)));
}

QString FailuresTab::selectedFailure() const
{
    const QTreeWidgetItem *item = m_tree->currentItem();
    return item ? item->data(NameColumn, kIdRole).toString() : QString();
}
