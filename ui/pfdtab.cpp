#include "ui/pfdtab.h"

#include "instruments/primaryflightdisplay.h"

#include <QComboBox>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

PfdTab::PfdTab(QWidget *parent) : QWidget(parent)
{
    m_sourceLabel = new QLabel;
    m_sources = new QComboBox;
    m_sources->setObjectName(QStringLiteral("pfdSource"));
    m_sources->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    m_sources->addItem(QString(), kLocalSource);
    m_display = new PrimaryFlightDisplay;
    m_display->setObjectName(QStringLiteral("primaryFlightDisplay"));
    auto *bar = new QHBoxLayout;
    bar->addWidget(m_sourceLabel);
    bar->addWidget(m_sources);
    bar->addStretch();
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(bar);
    layout->addWidget(m_display, 1);
    connect(m_sources, &QComboBox::currentIndexChanged, this, &PfdTab::onSourceChanged);
    retranslateUi();
}

void PfdTab::retranslateUi()
{
    m_sourceLabel->setText(tr("飞机"));
    m_sources->setItemText(m_sources->findData(kLocalSource), tr("本机"));
    const int playback = m_sources->findData(kPlaybackSource);
    if (playback >= 0)
        m_sources->setItemText(playback, tr("回放"));
}

void PfdTab::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QWidget::changeEvent(event);
}

QString PfdTab::source() const
{
    return m_sources->currentData().toString();
}

bool PfdTab::setSource(const QString &source)
{
    const int index = m_sources->findData(source);
    if (index < 0)
        return false;
    m_sources->setCurrentIndex(index);
    return true;
}

void PfdTab::setLocalAircraftData(const AircraftData &data)
{
    show(kLocalSource, data);
}

void PfdTab::clearLocal()
{
    m_latest.remove(kLocalSource);
    if (source() == kLocalSource)
        m_display->clearData();
}

void PfdTab::updateAgent(const QString &agentId, const RemoteAircraft &aircraft)
{
    if (agentId.isEmpty())
        return;
    const int index = m_sources->findData(agentId);
    const QString label =
        aircraft.callsign.isEmpty() ? agentId : QStringLiteral("%1 (%2)").arg(aircraft.callsign, agentId);
    if (index < 0)
        m_sources->addItem(label, agentId);
    else if (m_sources->itemText(index) != label)
        m_sources->setItemText(index, label);
    show(agentId, toAircraftData(aircraft));
}

void PfdTab::removeAgent(const QString &agentId)
{
    const int index = m_sources->findData(agentId);
    m_latest.remove(agentId);
    if (index >= 0)
        m_sources->removeItem(index); // falls back to another source, which onSourceChanged shows
}

void PfdTab::setPlaybackData(const AircraftData &data)
{
    show(kPlaybackSource, data);
}

void PfdTab::setPlaybackAvailable(bool available)
{
    const int index = m_sources->findData(kPlaybackSource);
    if (available && index < 0) {
        m_sources->insertItem(1, tr("回放"), kPlaybackSource);
    } else if (!available && index >= 0) {
        m_latest.remove(kPlaybackSource);
        m_sources->removeItem(index);
    }
}

void PfdTab::onSourceChanged()
{
    const auto it = m_latest.constFind(source());
    if (it == m_latest.cend())
        m_display->clearData();
    else
        m_display->setAircraftData(*it);
}

void PfdTab::show(const QString &source, const AircraftData &data)
{
    m_latest.insert(source, data);
    if (source == this->source())
        m_display->setAircraftData(data);
}
