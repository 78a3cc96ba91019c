#include "ui/scenariopanel.h"

#include "supervision/scenariolibrary.h"

#include <QComboBox>
#include <QEvent>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include <cmath>

namespace {

constexpr int kPathRole = Qt::UserRole;

} // namespace

ScenarioPanel::ScenarioPanel(ScenarioLibrary *library, QWidget *parent) : QWidget(parent), m_library(library)
{
    m_list = new QListWidget(this);
    m_list->setObjectName(QStringLiteral("scenarioList"));
    m_details = new QLabel(this);
    m_details->setObjectName(QStringLiteral("scenarioDetails"));
    m_details->setWordWrap(true);
    m_details->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    m_targetLabel = new QLabel(this);
    m_target = new QComboBox(this);
    m_target->setObjectName(QStringLiteral("scenarioTarget"));
    m_apply = new QPushButton(this);
    m_apply->setObjectName(QStringLiteral("applyScenario"));
    m_save = new QPushButton(this);
    m_save->setObjectName(QStringLiteral("saveScenario"));
    m_delete = new QPushButton(this);
    m_delete->setObjectName(QStringLiteral("deleteScenario"));
    m_rescan = new QPushButton(this);
    m_rescan->setObjectName(QStringLiteral("rescanScenarios"));
    m_result = new QLabel(this);
    m_result->setObjectName(QStringLiteral("scenarioResult"));
    m_result->setWordWrap(true);

    auto *target = new QHBoxLayout;
    target->addWidget(m_targetLabel);
    target->addWidget(m_target, 1);
    target->addWidget(m_apply);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_save);
    buttons->addWidget(m_delete);
    buttons->addWidget(m_rescan);
    buttons->addStretch(1);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_list, 2);
    layout->addWidget(m_details, 1);
    layout->addLayout(target);
    layout->addLayout(buttons);
    layout->addWidget(m_result);

    connect(library, &ScenarioLibrary::changed, this, &ScenarioPanel::refresh);
    connect(m_list, &QListWidget::currentRowChanged, this, &ScenarioPanel::showDetails);
    connect(m_apply, &QPushButton::clicked, this, &ScenarioPanel::onApply);
    connect(m_save, &QPushButton::clicked, this, &ScenarioPanel::onSaveCurrent);
    connect(m_delete, &QPushButton::clicked, this, &ScenarioPanel::onDelete);
    connect(m_rescan, &QPushButton::clicked, library, &ScenarioLibrary::rescan);
    setTargets({});
    retranslateUi();
}

void ScenarioPanel::setTargets(const QList<QPair<QString, QString>> &targets)
{
    m_targets = targets;
    const QString current = m_target->currentData().toString();
    m_target->clear();
    m_target->addItem(tr("本机"), QStringLiteral("own"));
    for (const auto &t : targets)
        m_target->addItem(t.second, t.first);
    const int index = m_target->findData(current);
    m_target->setCurrentIndex(index >= 0 ? index : 0);
}

void ScenarioPanel::showResult(const QString &text)
{
    m_result->setText(text);
}

bool ScenarioPanel::select(const QString &name)
{
    for (int i = 0; i < m_list->count(); ++i) {
        if (m_list->item(i)->text() == name) {
            m_list->setCurrentRow(i);
            return true;
        }
    }
    return false;
}

QString ScenarioPanel::selectedPath() const
{
    const QListWidgetItem *item = m_list->currentItem();
    return item ? item->data(kPathRole).toString() : QString();
}

void ScenarioPanel::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QWidget::changeEvent(event);
}

void ScenarioPanel::retranslateUi()
{
    m_targetLabel->setText(tr("应用到"));
    m_target->setItemText(0, tr("本机"));
    m_apply->setText(tr("应用场景"));
    m_save->setText(tr("将当前状态保存为场景…"));
    m_delete->setText(tr("删除"));
    m_rescan->setText(tr("刷新列表"));
    refresh();
}

void ScenarioPanel::refresh()
{
    const QString selected = selectedPath();
    m_list->clear();
    for (const ScenarioLibrary::Item &entry : m_library->items()) {
        auto *item = new QListWidgetItem(entry.name, m_list);
        item->setData(kPathRole, entry.path);
        if (!entry.error.isEmpty()) {
            item->setForeground(QColor(190, 40, 40));
            item->setToolTip(tr("无法读取：%1").arg(entry.error));
        }
        if (entry.path == selected)
            m_list->setCurrentItem(item);
    }
    showDetails();
}

void ScenarioPanel::showDetails()
{
    const QString path = selectedPath();
    if (path.isEmpty()) {
        m_details->setText(m_library->items().isEmpty() ? tr("场景文件夹中没有场景：%1").arg(m_library->folder())
                                                        : QString());
        return;
    }
    QString error;
    const auto scenario = ScenarioLibrary::load(path, &error);
    m_details->setText(scenario ? describe(*scenario) : tr("无法读取：%1").arg(error));
}

QString ScenarioPanel::describe(const Scenario &s)
{
    QStringList lines;
    if (!s.description.isEmpty())
        lines << s.description;
    if (s.position)
        lines << tr("位置：%1, %2，高度 %3 英尺，航向 %4°")
                     .arg(s.position->lat, 0, 'f', 4)
                     .arg(s.position->lon, 0, 'f', 4)
                     .arg(std::lround(s.position->altitudeFt))
                     .arg(std::lround(s.position->headingDeg));
    if (s.weather)
        lines << tr("天气：风 %1°/%2 节，能见度 %3 米，QNH %4")
                     .arg(std::lround(s.weather->windDirDeg))
                     .arg(std::lround(s.weather->windSpeedKt))
                     .arg(std::lround(s.weather->visibilityM))
                     .arg(std::lround(s.weather->qnhHpa));
    if (s.fuelTotalGal)
        lines << tr("燃油：%1 加仑").arg(std::lround(*s.fuelTotalGal));
    else if (!s.fuelTanksGal.isEmpty())
        lines << tr("燃油：%1 个油箱").arg(s.fuelTanksGal.size());
    if (s.payloadTotalKg)
        lines << tr("载荷：%1 千克").arg(std::lround(*s.payloadTotalKg));
    if (!s.failures.isEmpty())
        lines << tr("故障：%1 项").arg(s.failures.size());
    return lines.join(QLatin1Char('\n'));
}

void ScenarioPanel::onApply()
{
    const QString path = selectedPath();
    if (path.isEmpty()) {
        showResult(tr("请先选择一个场景"));
        return;
    }
    QString error;
    const auto scenario = ScenarioLibrary::load(path, &error);
    if (!scenario) {
        showResult(tr("无法读取：%1").arg(error));
        return;
    }
    emit applyRequested(*scenario, m_target->currentData().toString());
}

void ScenarioPanel::onSaveCurrent()
{
    bool ok = false;
    const QString name =
        QInputDialog::getText(this, tr("保存场景"), tr("场景名称"), QLineEdit::Normal, QString(), &ok).trimmed();
    if (ok && !name.isEmpty())
        emit saveCurrentRequested(name);
}

void ScenarioPanel::onDelete()
{
    const QString path = selectedPath();
    if (!path.isEmpty() && !m_library->remove(path))
        showResult(tr("无法删除 %1").arg(path));
}
