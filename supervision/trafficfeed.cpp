#include "supervision/trafficfeed.h"

#include "app/log/applogger.h"

#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QSettings>
#include <QTimer>

#include <algorithm>

namespace {

const QString kCategory = QStringLiteral("Supervision");

} // namespace

TrafficFeed::TrafficFeed(QObject *parent)
    : QObject(parent), m_network(new QNetworkAccessManager(this)), m_timer(new QTimer(this)),
      m_url(QString::fromLatin1(kDefaultUrl))
{
    m_network->setProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    m_timer->setInterval(m_intervalSec * 1000);
    connect(m_timer, &QTimer::timeout, this, &TrafficFeed::refresh);
}

TrafficFeed::~TrafficFeed()
{
    if (m_reply)
        m_reply->disconnect(this);
}

void TrafficFeed::loadSettings(const QSettings &settings)
{
    setUrl(QUrl(settings.value(QLatin1String(kUrlKey), QString::fromLatin1(kDefaultUrl)).toString()));
    setIntervalSec(settings.value(QLatin1String(kIntervalKey), kDefaultIntervalSec).toInt());
    setEnabled(settings.value(QLatin1String(kEnabledKey), false).toBool());
}

void TrafficFeed::setUrl(const QUrl &url)
{
    m_url = url.isValid() && !url.isEmpty() ? url : QUrl(QString::fromLatin1(kDefaultUrl));
}

void TrafficFeed::setIntervalSec(int seconds)
{
    m_intervalSec = std::max(kFeedIntervalSec, seconds);
    m_timer->setInterval(m_intervalSec * 1000);
}

void TrafficFeed::setEnabled(bool enabled)
{
    if (enabled == m_enabled)
        return;
    m_enabled = enabled;
    if (enabled) {
        m_timer->start();
        refresh();
    } else {
        m_timer->stop();
    }
}

void TrafficFeed::refresh()
{
    if (m_reply)
        return;
    QNetworkRequest request(m_url);
    request.setTransferTimeout(kTimeoutMs);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    m_reply = m_network->get(request);
    QNetworkReply *reply = m_reply;
    // Stop reading past the cap; the size check below then gives the reply up.
    reply->setReadBufferSize(kMaxReplyBytes + 1);
    const auto giveUpIfTooLarge = [reply](qint64 received, qint64 total) {
        if (reply->isFinished() || reply->property("aborting").toBool())
            return;
        if (total > kMaxReplyBytes)
            reply->setProperty("tooLarge", true);
        // A declared length alone does not abort: a server that then closes early races the
        // abort inside Qt's HTTP code. Bytes past the cap do (the read buffer stops there).
        if (received <= kMaxReplyBytes)
            return;
        reply->setProperty("tooLarge", true);
        reply->setProperty("aborting", true);
        // Not from inside the reply's own signal: Qt would report the error twice.
        QTimer::singleShot(0, reply, [reply] {
            if (!reply->isFinished() && reply->error() == QNetworkReply::NoError)
                reply->abort();
        });
    };
    connect(reply, &QNetworkReply::metaDataChanged, this, [reply, giveUpIfTooLarge] {
        const QVariant length = reply->header(QNetworkRequest::ContentLengthHeader);
        giveUpIfTooLarge(0, length.isValid() ? length.toLongLong() : -1);
    });
    connect(reply, &QNetworkReply::downloadProgress, this, giveUpIfTooLarge);
    connect(reply, &QNetworkReply::finished, this, [this, reply] { onFinished(reply); });
}

void TrafficFeed::onFinished(QNetworkReply *reply)
{
    reply->disconnect(this);
    reply->deleteLater();
    if (reply != m_reply)
        return;
    m_reply = nullptr;
    if (reply->property("tooLarge").toBool()) {
        fail(QStringLiteral("reply larger than %1 MB").arg(kMaxReplyBytes / (1024 * 1024)));
        return;
    }
    if (reply->error() != QNetworkReply::NoError) {
        fail(reply->errorString());
        return;
    }
    QString error;
    const auto snapshot = TrafficFeedParser::parse(reply->readAll(), &error);
    if (!snapshot) {
        fail(error);
        return;
    }
    m_lastError.clear();
    if (m_hasSnapshot && !snapshot->updateTimestamp.isEmpty() &&
        snapshot->updateTimestamp == m_snapshot.updateTimestamp) {
        emit refreshFinished(true);
        return;
    }
    m_snapshot = *snapshot;
    m_hasSnapshot = true;
    m_lastUpdate = QDateTime::currentDateTimeUtc();
    AppLogger::instance().log(AppLogger::Info, kCategory,
                              QStringLiteral("Traffic feed: %1 pilots, %2 controllers, %3 records skipped")
                                  .arg(m_snapshot.pilots.size())
                                  .arg(m_snapshot.controllers.size())
                                  .arg(m_snapshot.skippedRecords));
    emit trafficUpdated();
    emit refreshFinished(true);
}

void TrafficFeed::fail(const QString &reason)
{
    // Once per kind of failure: an unreachable feed is not news every half minute.
    if (reason != m_lastError)
        AppLogger::instance().log(AppLogger::Warning, kCategory,
                                  QStringLiteral("Traffic feed not updated, keeping the last traffic: %1").arg(reason));
    m_lastError = reason;
    emit feedFailed(reason);
    emit refreshFinished(false);
}

QList<TrafficPilot> TrafficFeed::findCallsign(const QString &text) const
{
    const QString wanted = text.trimmed();
    QList<TrafficPilot> starting;
    QList<TrafficPilot> containing;
    if (wanted.isEmpty())
        return starting;
    for (const TrafficPilot &pilot : m_snapshot.pilots) {
        if (pilot.callsign.startsWith(wanted, Qt::CaseInsensitive))
            starting.append(pilot);
        else if (pilot.callsign.contains(wanted, Qt::CaseInsensitive))
            containing.append(pilot);
    }
    const auto byCallsign = [](const TrafficPilot &a, const TrafficPilot &b) { return a.callsign < b.callsign; };
    std::sort(starting.begin(), starting.end(), byCallsign);
    std::sort(containing.begin(), containing.end(), byCallsign);
    return starting + containing;
}
