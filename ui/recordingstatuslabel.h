#pragma once

#include <QLabel>

// The recorder's state in the status bar: recording or not, and when the recordings database
// cannot be reached, that samples are being kept and how many wait. The tool tip names the
// database and the last error.
//
// Created by the station's recording services; GUI thread.
class RecordingStatusLabel : public QLabel
{
    Q_OBJECT
public:
    enum class State { Off, Recording, Buffering };

    explicit RecordingStatusLabel(QWidget *parent = nullptr);

    State state() const { return m_state; }

public slots:
    void setRecording(bool recording, const QString &database);
    void setStorageStatus(bool ok, qint64 pendingSamples, const QString &error);

protected:
    void changeEvent(QEvent *event) override;

private:
    void retranslateUi();

    State m_state = State::Off;
    QString m_database;
    qint64 m_pending = 0;
    QString m_error;
};
