#include "ui/remotetargetlabel.h"

#include <QEvent>

RemoteTargetLabel::RemoteTargetLabel(QWidget *parent) : QLabel(parent)
{
    setObjectName(QStringLiteral("remoteTarget"));
    retranslateUi();
}

void RemoteTargetLabel::setTarget(const QString &name, bool connected)
{
    m_name = name;
    m_connected = connected;
    retranslateUi();
}

void RemoteTargetLabel::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QLabel::changeEvent(event);
}

void RemoteTargetLabel::retranslateUi()
{
    if (m_name.isEmpty())
        setText(tr("操作目标：本机模拟器"));
    else if (m_connected)
        setText(tr("操作目标：学员站 %1").arg(m_name));
    else
        setText(tr("操作目标：学员站 %1（未连接）").arg(m_name));
    // A remote target stands out: every control now acts on someone else's simulator.
    setStyleSheet(m_name.isEmpty() ? QString() : QStringLiteral("color: #ffb347; font-weight: bold;"));
}
