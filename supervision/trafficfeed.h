#pragma once

#include "supervision/trafficfeedparser.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>

class QNetworkAccessManager;
class QNetworkReply;
class QSettings;
class QTimer;

// The online network's traffic: fetches the v3 data feed from a configurable address on a timer
// and keeps the last good snapshot of pilots and controllers. The timer never runs faster than the
// feed is regenerated (kFeedIntervalSec); a snapshot with the same update time as the last is not
// announced again. A reply that fails, is too large or does not parse keeps the last good traffic
// and is reported once per failure with its reason. Pilots' names and network ids never reach the
// log (the parser does not keep them).
//
// Created by the supervision wiring with a parent; GUI thread only. Settings (trafficFeedUrl,
// trafficFeedEnabled, trafficFeedIntervalSec) are read from the owner's QSettings.
class TrafficFeed : public QObject
{
    Q_OBJECT
public:
    static constexpr char kUrlKey[] = "trafficFeedUrl";
    static constexpr char kEnabledKey[] = "trafficFeedEnabled";
    static constexpr char kIntervalKey[] = "trafficFeedIntervalSec";
    static constexpr char kDefaultUrl[] = "https://data.vatsim.net/v3/vatsim-data.json";
    // The feed is regenerated about every 15 seconds; asking more often only repeats it.
    static constexpr int kFeedIntervalSec = 15;
    static constexpr int kDefaultIntervalSec = 30;
    static constexpr int kTimeoutMs = 20000;
    // The whole feed is about a megabyte; a reply beyond this is not the feed.
    static constexpr qint64 kMaxReplyBytes = 32 * 1024 * 1024;

    explicit TrafficFeed(QObject *parent = nullptr);
    ~TrafficFeed() override;

    void loadSettings(const QSettings &settings);
    void setUrl(const QUrl &url);
    QUrl url() const { return m_url; }
    // Seconds between fetches, never below kFeedIntervalSec.
    void setIntervalSec(int seconds);
    int intervalSec() const { return m_intervalSec; }
    // Starts (with a fetch right away) or stops the timer.
    void setEnabled(bool enabled);
    bool isEnabled() const { return m_enabled; }

    const TrafficSnapshot &snapshot() const { return m_snapshot; }
    bool hasSnapshot() const { return m_hasSnapshot; }
    QDateTime lastUpdate() const { return m_lastUpdate; }
    QString lastError() const { return m_lastError; }
    // Pilots whose callsign contains the text (case-insensitive), those starting with it first.
    QList<TrafficPilot> findCallsign(const QString &text) const;

public slots:
    // Fetches once now, unless a fetch is under way.
    void refresh();

signals:
    void trafficUpdated();
    void feedFailed(const QString &reason);
    // Every fetch ends with this, after trafficUpdated or feedFailed (or neither when the feed
    // had not changed).
    void refreshFinished(bool ok);

private:
    void onFinished(QNetworkReply *reply);
    void fail(const QString &reason);

    QNetworkAccessManager *m_network = nullptr;
    QTimer *m_timer = nullptr;
    QPointer<QNetworkReply> m_reply;
    QUrl m_url;
    int m_intervalSec = kDefaultIntervalSec;
    bool m_enabled = false;
    TrafficSnapshot m_snapshot;
    bool m_hasSnapshot = false;
    QDateTime m_lastUpdate;
    QString m_lastError;
};
