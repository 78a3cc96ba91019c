#include "licensing/updateservice.h"

#include "app/log/applogger.h"
#include "licensing/updatedownloader.h"
#include "licensing/updatestaging.h"
#include "licensing/vendorkey.h"

#include <QCoreApplication>
#include <QDir>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSettings>
#include <QTemporaryFile>

namespace {

constexpr char kContext[] = "UpdateService";

void logUpdate(AppLogger::Level level, const QString &message)
{
    AppLogger::instance().log(level, QStringLiteral("Update"), message);
}

} // namespace

UpdateService::UpdateService(const QString &settingsPath, const QString &stagingDir, const QString &programDir,
                             const QVersionNumber &currentVersion, const QByteArray &publicKeyPem, QObject *parent)
    : QObject(parent), m_settingsPath(settingsPath), m_stagingDir(stagingDir), m_programDir(programDir),
      m_current(currentVersion), m_publicKey(publicKeyPem), m_platformKey(updatePlatformKey()),
      m_method(updateInstallMethod()), m_now([] { return QDateTime::currentDateTimeUtc(); }),
      m_network(new QNetworkAccessManager(this))
{
    setPlatform(m_platformKey, m_method);
}

UpdateService::~UpdateService()
{
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
    }
}

void UpdateService::setPlatform(const QString &platformKey, UpdateInstallMethod method)
{
    m_platformKey = platformKey;
    m_method = method;
    delete m_downloader;
    m_downloader = new UpdateDownloader(m_network, m_stagingDir, m_method, this);
    connect(m_downloader, &UpdateDownloader::progress, this, [this](qint64 received, qint64 total) {
        m_received = received;
        m_total = total;
        emit progress(received, total);
    });
    connect(m_downloader, &UpdateDownloader::staged, this, [this] { setState(State::Ready); });
    connect(m_downloader, &UpdateDownloader::failed, this,
            [this](const DeferredText &reason) { setState(State::Failed, reason); });
    connect(m_downloader, &UpdateDownloader::cancelled, this, [this] { setState(State::Available); });
}

QUrl UpdateService::manifestUrl() const
{
    const QSettings settings(m_settingsPath, QSettings::IniFormat);
    const QString text = settings.value(kManifestUrlKey, defaultUpdateManifestUrl()).toString().trimmed();
    return text.isEmpty() ? QUrl() : QUrl(text);
}

bool UpdateService::checkAtStartup()
{
    QSettings settings(m_settingsPath, QSettings::IniFormat);
    if (!settings.value(kAutoCheckKey, true).toBool() || !isEnabled())
        return false;
    const QDateTime now = m_now();
    const QDateTime last = QDateTime::fromString(settings.value(kLastCheckKey).toString(), Qt::ISODate);
    // A last check "in the future" (a clock set back) does not hold the next one off.
    if (last.isValid() && last <= now && last.secsTo(now) < kStartupIntervalSecs)
        return false;
    settings.setValue(kLastCheckKey, now.toString(Qt::ISODate));
    startCheck();
    return true;
}

void UpdateService::checkNow()
{
    if (m_state == State::Checking || m_state == State::Downloading)
        return;
    startCheck();
}

void UpdateService::startCheck()
{
    const QUrl url = manifestUrl();
    if (url.isEmpty() || !url.isValid()) {
        setState(State::Failed,
                 {kContext, QT_TRANSLATE_NOOP("UpdateService", "未设置有效的更新清单地址，更新检查已关闭。")});
        return;
    }
    m_checkedUrl = url;
    QNetworkRequest request(url);
    request.setTransferTimeout(kManifestTimeoutMs);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setHeader(QNetworkRequest::UserAgentHeader, QStringLiteral("Zobrel/%1").arg(m_current.toString()));
    m_reply = m_network->get(request);
    connect(m_reply, &QNetworkReply::finished, this, &UpdateService::onManifestFinished);
    connect(m_reply, &QNetworkReply::downloadProgress, this, [this](qint64 received) {
        if (received > kMaxManifestBytes && m_reply) {
            QNetworkReply *reply = m_reply;
            m_reply = nullptr;
            reply->disconnect(this);
            reply->abort();
            reply->deleteLater();
            failCheck({kContext, QT_TRANSLATE_NOOP("UpdateService", "更新清单过大，已拒绝。")},
                      QStringLiteral("more than %1 bytes").arg(kMaxManifestBytes));
        }
    });
    logUpdate(AppLogger::Info, QStringLiteral("Checking for updates at %1").arg(url.toDisplayString()));
    setState(State::Checking);
}

void UpdateService::onManifestFinished()
{
    QNetworkReply *reply = m_reply;
    if (!reply)
        return;
    m_reply = nullptr;
    reply->deleteLater();
    if (reply->error() == QNetworkReply::OperationCanceledError) {
        failCheck({kContext,
                   QT_TRANSLATE_NOOP("UpdateService", "无法获取更新信息：服务器 %1 秒没有响应。"),
                   {QString::number(kManifestTimeoutMs / 1000)}},
                  QStringLiteral("no answer within %1 s").arg(kManifestTimeoutMs / 1000));
        return;
    }
    if (reply->error() != QNetworkReply::NoError) {
        failCheck({kContext, QT_TRANSLATE_NOOP("UpdateService", "无法获取更新信息：%1"), {reply->errorString()}},
                  reply->errorString());
        return;
    }
    const QByteArray body = reply->read(kMaxManifestBytes + 1);
    UpdateManifest manifest;
    DeferredText error;
    QString detail;
    if (body.size() > kMaxManifestBytes) {
        failCheck({kContext, QT_TRANSLATE_NOOP("UpdateService", "更新清单过大，已拒绝。")},
                  QStringLiteral("more than %1 bytes").arg(kMaxManifestBytes));
        return;
    }
    if (!UpdateManifest::parse(body, m_publicKey, m_checkedUrl, &manifest, &error, &detail)) {
        failCheck(error, detail);
        return;
    }
    m_manifest = manifest;
    const QString version = manifest.version.toString();
    if (manifest.version <= m_current) {
        logUpdate(AppLogger::Info,
                  QStringLiteral("No update: the manifest offers %1, this is %2").arg(version, m_current.toString()));
        setState(State::UpToDate);
        return;
    }
    if (!manifest.packages.contains(m_platformKey)) {
        failCheck({kContext,
                   QT_TRANSLATE_NOOP("UpdateService", "版本 %1 没有适用于本平台（%2）的安装包。"),
                   {version, m_platformKey}},
                  QStringLiteral("%1 has no package for %2").arg(version, m_platformKey));
        return;
    }
    logUpdate(AppLogger::Info, QStringLiteral("Update %1 available (this is %2)").arg(version, m_current.toString()));
    UpdateStaging::Pending pending;
    QString pendingError;
    if (UpdateStaging::readPending(m_stagingDir, &pending, &pendingError) && pending.version == version) {
        setState(State::Ready);
        return;
    }
    setState(State::Available);
    emit updateAvailable(version);
}

void UpdateService::download()
{
    if (m_state != State::Available || !canInstallHere())
        return;
    m_received = 0;
    m_total = package().size;
    setState(State::Downloading);
    m_downloader->start(package(), m_manifest.version.toString());
}

void UpdateService::cancelDownload()
{
    m_downloader->cancel();
}

bool UpdateService::canInstallHere() const
{
    if (m_method == UpdateInstallMethod::RunInstaller)
        return true;
    // Permission bits say nothing for root or on network shares; only a real attempt tells.
    QTemporaryFile probe(QDir(m_programDir).filePath(QStringLiteral(".zobrel-update-check-XXXXXX")));
    return probe.open();
}

void UpdateService::setState(State state, const DeferredText &failure)
{
    m_failure = failure;
    m_state = state;
    emit stateChanged(state);
}

void UpdateService::failCheck(const DeferredText &reason, const QString &detail)
{
    logUpdate(AppLogger::Warning,
              QStringLiteral("Update check at %1 failed: %2").arg(m_checkedUrl.toDisplayString(), detail));
    setState(State::Failed, reason);
}
