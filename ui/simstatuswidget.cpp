#include "ui/simstatuswidget.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>

namespace {

constexpr int kLampSize = 10;

QString lampStyle(SimStatusWidget::State state)
{
    const char *colour = "#9a9a9a";
    if (state == SimStatusWidget::State::Connected)
        colour = "#4caf50";
    else if (state == SimStatusWidget::State::Connecting)
        colour = "#e0a030";
    return QStringLiteral("background:%1; border-radius:%2px;").arg(QLatin1String(colour)).arg(kLampSize / 2);
}

} // namespace

SimStatusWidget::SimStatusWidget(QWidget *parent) : QWidget(parent)
{
    m_simulator = new QLabel;
    m_simulator->setObjectName(QStringLiteral("simulator"));
    m_lamp = new QLabel;
    m_lamp->setFixedSize(kLampSize, kLampSize);
    m_connection = new QLabel;
    m_connection->setObjectName(QStringLiteral("connection"));

    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(6, 0, 6, 0);
    layout->addWidget(m_simulator);
    layout->addSpacing(12);
    layout->addWidget(m_lamp);
    layout->addWidget(m_connection);
    setStatus(SimType::None, State::Disconnected);
}

void SimStatusWidget::setStatus(SimType type, State state)
{
    m_type = type;
    m_state = state;
    m_simulator->setText(tr("模拟器：%1").arg(simulatorText(type)));
    switch (state) {
    case State::Disconnected:
        m_connection->setText(tr("未连接"));
        break;
    case State::Connecting:
        m_connection->setText(tr("正在连接…"));
        break;
    case State::Connected:
        m_connection->setText(tr("已连接"));
        break;
    }
    m_lamp->setStyleSheet(lampStyle(state));
}

void SimStatusWidget::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        setStatus(m_type, m_state);
    QWidget::changeEvent(event);
}

QString SimStatusWidget::simulatorText(SimType type)
{
    return type == SimType::None ? tr("无") : simTypeName(type);
}
