#pragma once

#include "recording/recordedflight.h"

#include <QPointer>
#include <QWidget>

class FlightPlayback;
class PlaybackTimeline;
class QCheckBox;
class QComboBox;
class QLabel;
class QToolButton;

// The controls of a replay: play/pause, speed (1x to 16x), the time line with the flight's event
// and landing marks, the time reached, repositioning the simulator on or off, and closing the
// replay. Drives a FlightPlayback and follows it.
//
// Created by the station's recording services (shown in a dock under the tabs); GUI thread. The
// playback is borrowed.
class PlaybackBar : public QWidget
{
    Q_OBJECT
public:
    explicit PlaybackBar(QWidget *parent = nullptr);

    void setPlayback(FlightPlayback *playback);
    PlaybackTimeline *timeline() const { return m_timeline; }

signals:
    void closeRequested();

protected:
    void changeEvent(QEvent *event) override;

private:
    void retranslateUi();
    void onLoaded(const RecordedFlight &flight);
    void onPosition(qint64 positionMs);
    void onPlayingChanged(bool playing);
    void onEventReached(const FlightEvent &event);

    QPointer<FlightPlayback> m_playback;
    QLabel *m_title = nullptr;
    QToolButton *m_play = nullptr;
    QComboBox *m_speed = nullptr;
    PlaybackTimeline *m_timeline = nullptr;
    QLabel *m_time = nullptr;
    QLabel *m_lastEvent = nullptr;
    QCheckBox *m_reposition = nullptr;
    QToolButton *m_close = nullptr;
    QLabel *m_speedLabel = nullptr;
    QString m_flightTitle;
};
