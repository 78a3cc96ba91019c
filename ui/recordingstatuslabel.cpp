#include "ui/recordingstatuslabel.h"

#include <QEvent>

RecordingStatusLabel::RecordingStatusLabel(QWidget *parent) : QLabel(parent)
{
    retranslateUi();
}

void RecordingStatusLabel::setRecording(bool recording, const QString &database)
{
    m_state = recording ? State::Recording : State::Off;
    m_database = database;
    retranslateUi();
}

void RecordingStatusLabel::setStorageStatus(bool ok, qint64 pendingSamples, const QString &error)
{
    if (m_state == State::Off)
        return;
    m_state = ok ? State::Recording : State::Buffering;
    m_pending = pendingSamples;
    m_error = error;
    retranslateUi();
}

void RecordingStatusLabel::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QLabel::changeEvent(event);
}

void RecordingStatusLabel::retranslateUi()
{
    switch (m_state) {
    case State::Off:
        setText(tr("未录制"));
        setStyleSheet(QString());
        setToolTip(QString());
        break;
    case State::Recording:
        setText(tr("录制中"));
        setStyleSheet(QString());
        setToolTip(tr("记录数据库：%1").arg(m_database));
        break;
    case State::Buffering:
        setText(tr("记录数据库不可用，已缓存 %1 个样本，正在重试").arg(m_pending));
        setStyleSheet(QStringLiteral("color: #d04010; font-weight: bold;"));
        setToolTip(tr("记录数据库：%1\n%2").arg(m_database, m_error));
        break;
    }
}
