#include "ui/playbackbar.h"

#include "recording/flightplayback.h"
#include "ui/playbacktimeline.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateTime>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QStyle>
#include <QTime>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

const double kSpeeds[] = {1.0, 2.0, 4.0, 8.0, 16.0};

QString clockText(qint64 ms)
{
    return QTime(0, 0).addMSecs(int(std::min<qint64>(ms, 86399999))).toString(QStringLiteral("HH:mm:ss"));
}

} // namespace

PlaybackBar::PlaybackBar(QWidget *parent) : QWidget(parent)
{
    m_title = new QLabel;
    m_title->setObjectName(QStringLiteral("playbackTitle"));
    m_play = new QToolButton;
    m_play->setObjectName(QStringLiteral("playButton"));
    m_play->setCheckable(true);
    m_speedLabel = new QLabel;
    m_speed = new QComboBox;
    m_speed->setObjectName(QStringLiteral("playbackSpeed"));
    for (const double speed : kSpeeds)
        m_speed->addItem(QStringLiteral("%1×").arg(speed), speed);
    m_timeline = new PlaybackTimeline;
    m_timeline->setObjectName(QStringLiteral("playbackTimeline"));
    m_time = new QLabel;
    m_time->setObjectName(QStringLiteral("playbackTime"));
    m_time->setMinimumWidth(m_time->fontMetrics().horizontalAdvance(QStringLiteral("00:00:00 / 00:00:00 ")));
    m_lastEvent = new QLabel;
    m_lastEvent->setObjectName(QStringLiteral("playbackEvent"));
    m_reposition = new QCheckBox;
    m_reposition->setObjectName(QStringLiteral("repositionSimulator"));
    m_close = new QToolButton;
    m_close->setObjectName(QStringLiteral("closePlayback"));
    m_close->setIcon(style()->standardIcon(QStyle::SP_TitleBarCloseButton));

    auto *top = new QHBoxLayout;
    top->addWidget(m_title, 1);
    top->addWidget(m_lastEvent, 2);
    top->addWidget(m_reposition);
    top->addWidget(m_close);
    auto *bottom = new QHBoxLayout;
    bottom->addWidget(m_play);
    bottom->addWidget(m_speedLabel);
    bottom->addWidget(m_speed);
    bottom->addWidget(m_timeline, 1);
    bottom->addWidget(m_time);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 4, 6, 4);
    layout->addLayout(top);
    layout->addLayout(bottom);

    connect(m_close, &QToolButton::clicked, this, &PlaybackBar::closeRequested);
    retranslateUi();
}

void PlaybackBar::retranslateUi()
{
    m_play->setToolTip(tr("播放/暂停"));
    m_play->setText(m_play->isChecked() ? tr("暂停") : tr("播放"));
    m_speedLabel->setText(tr("速度"));
    m_reposition->setText(tr("同步到模拟器"));
    m_reposition->setToolTip(tr("回放时把飞机在模拟器中逐点重新定位"));
    m_close->setToolTip(tr("关闭回放"));
    m_title->setText(m_flightTitle.isEmpty() ? tr("回放") : tr("回放：%1").arg(m_flightTitle));
}

void PlaybackBar::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QWidget::changeEvent(event);
}

void PlaybackBar::setPlayback(FlightPlayback *playback)
{
    if (m_playback)
        disconnect(m_playback, nullptr, this, nullptr);
    m_playback = playback;
    if (!playback)
        return;
    connect(playback, &FlightPlayback::loaded, this, &PlaybackBar::onLoaded);
    connect(playback, &FlightPlayback::positionChanged, this, [this](qint64 ms) { onPosition(ms); });
    connect(playback, &FlightPlayback::playingChanged, this, &PlaybackBar::onPlayingChanged);
    connect(playback, &FlightPlayback::eventReached, this, &PlaybackBar::onEventReached);
    connect(m_play, &QToolButton::toggled, playback, &FlightPlayback::setPlaying);
    connect(m_timeline, &PlaybackTimeline::seekRequested, playback, &FlightPlayback::seek);
    connect(m_speed, &QComboBox::currentIndexChanged, playback,
            [this, playback](int index) { playback->setSpeed(m_speed->itemData(index).toDouble()); });
    connect(m_reposition, &QCheckBox::toggled, playback, &FlightPlayback::setRepositionEnabled);
    if (playback->isLoaded())
        onLoaded(playback->flight());
}

void PlaybackBar::onLoaded(const RecordedFlight &flight)
{
    const qint64 start = flight.samples.isEmpty() ? 0 : flight.samples.first().timeMs;
    QList<PlaybackTimeline::Mark> marks;
    for (const FlightEvent &e : flight.events)
        marks << PlaybackTimeline::Mark{e.timeMs - start, e.kind, e.text};
    for (const LandingRecord &l : flight.landings) {
        marks << PlaybackTimeline::Mark{l.timeMs - start, QStringLiteral("landing"),
                                        tr("着陆 %1 英尺/分 %2 g").arg(std::lround(l.vsFpm)).arg(l.gLoad, 0, 'f', 2)};
    }
    m_timeline->setDuration(m_playback ? m_playback->durationMs() : 0);
    m_timeline->setMarks(marks);
    const FlightInfo &info = flight.info;
    m_flightTitle = QStringLiteral("%1 %2")
                        .arg(info.callsign.isEmpty() ? info.sourceId : info.callsign,
                             QDateTime::fromMSecsSinceEpoch(info.startMs).toString(QStringLiteral("yyyy-MM-dd HH:mm")))
                        .trimmed();
    m_lastEvent->clear();
    retranslateUi();
    onPosition(0);
}

void PlaybackBar::onPosition(qint64 positionMs)
{
    m_timeline->setPosition(positionMs);
    const qint64 duration = m_playback ? m_playback->durationMs() : 0;
    m_time->setText(QStringLiteral("%1 / %2").arg(clockText(positionMs), clockText(duration)));
}

void PlaybackBar::onPlayingChanged(bool playing)
{
    const QSignalBlocker blocker(m_play);
    m_play->setChecked(playing);
    retranslateUi();
}

void PlaybackBar::onEventReached(const FlightEvent &event)
{
    m_lastEvent->setText(event.text);
}
