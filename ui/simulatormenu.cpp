#include "ui/simulatormenu.h"

#include <QAction>
#include <QActionGroup>
#include <QEvent>

SimulatorMenu::SimulatorMenu(QWidget *parent) : QMenu(parent)
{
    setObjectName(QStringLiteral("simulatorMenu"));
    auto *group = new QActionGroup(this);
    group->setExclusionPolicy(QActionGroup::ExclusionPolicy::ExclusiveOptional);
    for (const SimType type : {SimType::Msfs2020, SimType::Msfs2024, SimType::Prepar3D, SimType::Fsx, SimType::XPlane11,
                               SimType::XPlane12}) {
        QAction *action = addAction(QString());
        action->setCheckable(true);
        action->setData(static_cast<int>(type));
        action->setObjectName(QStringLiteral("connect_") + simTypeShortName(type));
        group->addAction(action);
        m_connectActions.append(action);
        connect(action, &QAction::triggered, this, [this, type] { emit connectRequested(type); });
    }
    addSeparator();
    m_disconnect = addAction(QString());
    m_disconnect->setObjectName(QStringLiteral("disconnect"));
    connect(m_disconnect, &QAction::triggered, this, &SimulatorMenu::disconnectRequested);
    retranslateUi();
}

void SimulatorMenu::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QMenu::changeEvent(event);
}

void SimulatorMenu::retranslateUi()
{
    setTitle(tr("模拟器"));
    for (QAction *action : std::as_const(m_connectActions))
        action->setText(tr("连接 %1").arg(simTypeName(static_cast<SimType>(action->data().toInt()))));
    m_disconnect->setText(tr("断开连接"));
}

QAction *SimulatorMenu::connectAction(SimType type) const
{
    for (QAction *action : m_connectActions) {
        if (action->data().toInt() == static_cast<int>(type))
            return action;
    }
    return nullptr;
}

void SimulatorMenu::setCurrent(SimType type)
{
    for (QAction *action : std::as_const(m_connectActions))
        action->setChecked(action->data().toInt() == static_cast<int>(type));
}
