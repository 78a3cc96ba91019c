#include "ui/helpmenu.h"

#include <QAction>
#include <QEvent>

HelpMenu::HelpMenu(QWidget *parent) : QMenu(parent)
{
    setObjectName(QStringLiteral("helpMenu"));
    m_license = addAction(QString());
    m_license->setObjectName(QStringLiteral("licenseAction"));
    m_update = addAction(QString());
    m_update->setObjectName(QStringLiteral("checkUpdatesAction"));
    connect(m_license, &QAction::triggered, this, &HelpMenu::licenseRequested);
    connect(m_update, &QAction::triggered, this, &HelpMenu::updateCheckRequested);
    retranslateUi();
}

void HelpMenu::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QMenu::changeEvent(event);
}

void HelpMenu::retranslateUi()
{
    setTitle(tr("帮助"));
    m_license->setText(tr("许可证…"));
    m_update->setText(tr("检查更新…"));
}
