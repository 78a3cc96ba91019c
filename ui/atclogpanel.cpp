#include "ui/atclogpanel.h"

#include "supervision/atclog.h"

#include <QComboBox>
#include <QEvent>
#include <QFileDialog>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

const AtcInstruction::Kind kKinds[] = {AtcInstruction::Kind::Altitude, AtcInstruction::Kind::Heading,
                                       AtcInstruction::Kind::Speed, AtcInstruction::Kind::Frequency,
                                       AtcInstruction::Kind::FreeText};

} // namespace

AtcLogPanel::AtcLogPanel(AtcLog *log, QWidget *parent) : QWidget(parent), m_log(log)
{
    m_aircraftLabel = new QLabel(this);
    m_aircraft = new QComboBox(this);
    m_aircraft->setObjectName(QStringLiteral("atcAircraft"));
    m_kind = new QComboBox(this);
    m_kind->setObjectName(QStringLiteral("atcKind"));
    for (const AtcInstruction::Kind kind : kKinds)
        m_kind->addItem(QString(), int(kind));
    m_value = new QLineEdit(this);
    m_value->setObjectName(QStringLiteral("atcValue"));
    m_note = new QLineEdit(this);
    m_note->setObjectName(QStringLiteral("atcNote"));
    m_record = new QPushButton(this);
    m_record->setObjectName(QStringLiteral("atcRecord"));
    m_export = new QPushButton(this);
    m_export->setObjectName(QStringLiteral("atcExport"));
    m_clear = new QPushButton(this);
    m_clear->setObjectName(QStringLiteral("atcClear"));
    m_error = new QLabel(this);
    m_error->setObjectName(QStringLiteral("atcError"));
    m_error->setStyleSheet(QStringLiteral("color: #c0392b"));
    m_table = new QTreeWidget(this);
    m_table->setObjectName(QStringLiteral("atcTable"));
    m_table->setRootIsDecorated(false);
    m_table->setColumnCount(5);
    m_table->header()->setStretchLastSection(true);

    auto *form = new QGridLayout;
    form->addWidget(m_aircraftLabel, 0, 0);
    form->addWidget(m_aircraft, 0, 1);
    form->addWidget(m_kind, 0, 2);
    form->addWidget(m_value, 0, 3);
    form->addWidget(m_note, 1, 0, 1, 3);
    form->addWidget(m_record, 1, 3);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_clear);
    buttons->addWidget(m_export);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(m_error);
    layout->addWidget(m_table, 1);
    layout->addLayout(buttons);

    connect(m_record, &QPushButton::clicked, this, &AtcLogPanel::record);
    connect(m_value, &QLineEdit::returnPressed, this, &AtcLogPanel::record);
    connect(m_export, &QPushButton::clicked, this, &AtcLogPanel::exportCsv);
    connect(m_clear, &QPushButton::clicked, log, &AtcLog::clear);
    connect(log, &AtcLog::entryAdded, this, &AtcLogPanel::refresh);
    connect(log, &AtcLog::cleared, this, &AtcLogPanel::refresh);
    setAircraftChoices({});
    retranslateUi();
}

void AtcLogPanel::setAircraftChoices(const QList<QPair<QString, QString>> &choices)
{
    m_choices = choices;
    const QString current = m_aircraft->currentData().toString();
    m_aircraft->clear();
    m_aircraft->addItem(tr("本机"), QStringLiteral("own"));
    for (const auto &choice : choices) {
        if (choice.first != QLatin1String("own"))
            m_aircraft->addItem(choice.second, choice.first);
    }
    const int index = m_aircraft->findData(current);
    m_aircraft->setCurrentIndex(index >= 0 ? index : 0);
}

bool AtcLogPanel::record()
{
    QString error;
    const auto kind = AtcInstruction::Kind(m_kind->currentData().toInt());
    const auto instruction =
        AtcInstruction::make(m_aircraft->currentData().toString(), m_aircraft->currentText(), kind, m_value->text(),
                             m_note->text(), QDateTime::currentDateTimeUtc(), &error);
    if (!instruction) {
        m_error->setText(error);
        return false;
    }
    m_error->clear();
    m_log->add(*instruction);
    m_value->clear();
    m_note->clear();
    return true;
}

void AtcLogPanel::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QWidget::changeEvent(event);
}

void AtcLogPanel::retranslateUi()
{
    m_aircraftLabel->setText(tr("航空器"));
    for (int i = 0; i < m_kind->count(); ++i)
        m_kind->setItemText(i, AtcInstruction::kindText(AtcInstruction::Kind(m_kind->itemData(i).toInt())));
    m_aircraft->setItemText(0, tr("本机"));
    m_value->setPlaceholderText(tr("指令内容，例如 FL120、270、250、121.5"));
    m_note->setPlaceholderText(tr("备注"));
    m_record->setText(tr("记录"));
    m_export->setText(tr("导出 CSV…"));
    m_clear->setText(tr("清空"));
    m_table->setHeaderLabels({tr("时间 (UTC)"), tr("航空器"), tr("类型"), tr("指令"), tr("备注")});
    refresh();
}

void AtcLogPanel::refresh()
{
    m_table->clear();
    for (const AtcInstruction &entry : m_log->entries()) {
        auto *item = new QTreeWidgetItem(m_table);
        item->setText(0, entry.timeUtc.toUTC().toString(QStringLiteral("HH:mm:ss")));
        item->setText(1, entry.aircraftLabel);
        item->setText(2, AtcInstruction::kindText(entry.kind));
        item->setText(3, entry.value);
        item->setText(4, entry.note);
    }
    m_table->scrollToBottom();
}

void AtcLogPanel::exportCsv()
{
    const QString path = QFileDialog::getSaveFileName(this, tr("导出 ATC 指令记录"), QStringLiteral("atc-log.csv"),
                                                      tr("CSV 文件 (*.csv)"));
    if (path.isEmpty())
        return;
    QString error;
    if (!m_log->exportCsv(path, &error))
        m_error->setText(tr("导出失败：%1").arg(error));
}
