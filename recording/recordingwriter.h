#pragma once

#include "recording/recordingdatabase.h"

#include <QObject>
#include <QString>

#include <memory>

class QTimer;

// Writes the recorder's batches into the recordings database on a thread of its own, so the GUI
// never waits for a disk or a server. Batches queue up in memory; each write takes up to
// kChunkSamples samples in one transaction. When a write fails (the server went away, the disk is
// full), the rows stay queued and the write is retried, first after the retry interval and then
// at doubling intervals up to kMaxRetryMs; nothing is dropped until more than kMaxPendingSamples
// samples wait, and then the oldest go first (with an error in the log).
//
// Created by the recorder and moved to its thread; its slots are called there by queued calls.
// Reports with statusChanged: ok false while rows wait for a failed database, true again once
// they are all stored.
class RecordingWriter : public QObject
{
    Q_OBJECT
public:
    static constexpr int kChunkSamples = 4000;
    static constexpr int kFirstRetryMs = 1000;
    static constexpr int kMaxRetryMs = 8000;
    static constexpr qsizetype kMaxPendingSamples = 500000;

    explicit RecordingWriter(const RecordingDatabaseConfig &config, QObject *parent = nullptr);
    ~RecordingWriter() override;

    // Tests make the first retry sooner.
    void setFirstRetryMs(int ms) { m_firstRetryMs = ms; }

public slots:
    void enqueue(const RecordingBatch &batch);
    // One last attempt for whatever waits, then the connection is closed. Rows that still could
    // not be stored are reported in the log.
    void finish();

signals:
    void statusChanged(bool ok, qint64 pendingSamples, const QString &error);
    // After each successful write: samples and events stored so far.
    void written(qint64 samplesStored, qint64 eventsStored);

private:
    void scheduleWrite(int delayMs);
    void writePending();
    void dropOverflow();

    std::unique_ptr<RecordingDatabase> m_db;
    RecordingDatabaseConfig m_config;
    RecordingBatch m_pending;
    QTimer *m_timer = nullptr;
    bool m_failing = false;
    int m_retryMs = kFirstRetryMs;
    int m_firstRetryMs = kFirstRetryMs;
    qint64 m_samplesStored = 0;
    qint64 m_eventsStored = 0;
    qint64 m_dropped = 0;
};
