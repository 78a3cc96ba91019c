#include "ui/logview.h"

#include <QComboBox>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

QString lineColour(AppLogger::Level level)
{
    switch (level) {
    case AppLogger::Debug:
        return QStringLiteral("#8c8c8c");
    case AppLogger::Info:
        return QStringLiteral("#dcdcdc");
    case AppLogger::Warning:
        return QStringLiteral("#e5c07b");
    case AppLogger::Error:
        return QStringLiteral("#ef6b6b");
    }
    return QStringLiteral("#dcdcdc");
}

} // namespace

LogView::LogView(AppLogger &logger, QWidget *parent) : QWidget(parent), m_logger(logger)
{
    m_levelFilter = new QComboBox;
    m_levelFilter->setObjectName(QStringLiteral("levelFilter"));
    for (const AppLogger::Level level : {AppLogger::Debug, AppLogger::Info, AppLogger::Warning, AppLogger::Error})
        m_levelFilter->addItem(QString(), level);
    m_levelFilter->setCurrentIndex(m_levelFilter->findData(AppLogger::Info));

    auto *clear = m_clear = new QPushButton;
    clear->setObjectName(QStringLiteral("clearLog"));

    m_text = new QPlainTextEdit;
    m_text->setObjectName(QStringLiteral("logText"));
    m_text->setReadOnly(true);
    m_text->setMaximumBlockCount(AppLogger::kMaxEntries);
    m_text->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_text->setFont(QFont(QStringLiteral("monospace")));

    auto *bar = new QHBoxLayout;
    bar->addWidget(m_levelLabel = new QLabel);
    bar->addWidget(m_levelFilter);
    bar->addStretch();
    bar->addWidget(clear);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(bar);
    layout->addWidget(m_text);

    connect(m_levelFilter, &QComboBox::currentIndexChanged, this, &LogView::redraw);
    connect(clear, &QPushButton::clicked, this, &LogView::onClearClicked);
    // Snapshot first, then listen: an entry from this thread cannot slip in between. One logged
    // by another thread in that instant is missed rather than shown twice.
    m_entries = m_logger.recentEntries(AppLogger::kMaxEntries);
    connect(&m_logger, &AppLogger::entryAdded, this, &LogView::onEntryAdded);
    redraw();
    retranslateUi();
}

void LogView::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QWidget::changeEvent(event);
}

void LogView::retranslateUi()
{
    const char *const levels[] = {QT_TR_NOOP("调试及以上"), QT_TR_NOOP("信息及以上"), QT_TR_NOOP("警告及以上"),
                                  QT_TR_NOOP("仅错误")};
    for (int i = 0; i < m_levelFilter->count(); ++i)
        m_levelFilter->setItemText(i, tr(levels[i]));
    m_levelLabel->setText(tr("显示级别："));
    m_clear->setText(tr("清空日志"));
}

AppLogger::Level LogView::minimumLevel() const
{
    return static_cast<AppLogger::Level>(m_levelFilter->currentData().toInt());
}

void LogView::setMinimumLevel(AppLogger::Level level)
{
    m_levelFilter->setCurrentIndex(m_levelFilter->findData(level));
}

void LogView::onEntryAdded(const AppLogger::Entry &entry)
{
    m_entries.append(entry);
    if (m_entries.size() > AppLogger::kMaxEntries)
        m_entries.remove(0, m_entries.size() - AppLogger::kMaxEntries);
    if (entry.level >= minimumLevel())
        appendLine(entry);
}

void LogView::onClearClicked()
{
    m_logger.clear();
    m_entries.clear();
    redraw();
}

void LogView::redraw()
{
    m_text->clear();
    const AppLogger::Level minimum = minimumLevel();
    for (const AppLogger::Entry &entry : std::as_const(m_entries)) {
        if (entry.level >= minimum)
            appendLine(entry);
    }
}

void LogView::appendLine(const AppLogger::Entry &entry)
{
    m_text->appendHtml(QStringLiteral("<span style=\"color:%1; white-space:pre\">%2</span>")
                           .arg(lineColour(entry.level), AppLogger::formatLine(entry).toHtmlEscaped()));
}
