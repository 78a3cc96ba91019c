#include "licensing/updatedownloader.h"

#include "app/log/applogger.h"
#include "licensing/updatepackage.h"
#include "licensing/updatestaging.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QtConcurrent/QtConcurrentRun>

namespace {

constexpr char kContext[] = "UpdateDownloader";

// Inactivity, not total time: a slow line may take as long as it needs while bytes keep coming.
constexpr int kStallTimeoutMs = 30000;

void logUpdate(AppLogger::Level level, const QString &message)
{
    AppLogger::instance().log(level, QStringLiteral("Update"), message);
}

} // namespace

UpdateDownloader::UpdateDownloader(QNetworkAccessManager *network, const QString &stagingDir,
                                   UpdateInstallMethod method, QObject *parent)
    : QObject(parent), m_network(network), m_stagingDir(stagingDir), m_method(method)
{
    connect(&m_unpack, &QFutureWatcher<Unpacked>::finished, this, &UpdateDownloader::onUnpacked);
}

UpdateDownloader::~UpdateDownloader()
{
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
        m_reply->deleteLater();
    }
    if (m_cancelFlag)
        m_cancelFlag->store(true);
    m_unpack.disconnect(this);
    m_unpack.waitForFinished();
}

void UpdateDownloader::start(const UpdateManifest::Package &package, const QString &version)
{
    if (m_running)
        return;
    m_running = true;
    m_cancelRequested = false;
    m_package = package;
    m_version = version;
    m_received = 0;
    m_hash.reset();
    clearWorkFolders();
    const QString folder = UpdateStaging::downloadDir(m_stagingDir);
    QDir().mkpath(folder);
    m_file.setFileName(QDir(folder).filePath(version + QStringLiteral(".part")));
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        fail({kContext,
              QT_TRANSLATE_NOOP("UpdateDownloader", "无法写入更新暂存目录：%1"),
              {QDir::toNativeSeparators(folder)}},
             m_file.errorString());
        return;
    }
    logUpdate(AppLogger::Info,
              QStringLiteral("Downloading update %1 from %2").arg(version, package.url.toDisplayString()));
    QNetworkRequest request(package.url);
    request.setTransferTimeout(kStallTimeoutMs);
    request.setHeader(QNetworkRequest::UserAgentHeader,
                      QStringLiteral("Zobrel/%1").arg(QCoreApplication::applicationVersion()));
    m_reply = m_network->get(request);
    connect(m_reply, &QNetworkReply::readyRead, this, &UpdateDownloader::onReadyRead);
    connect(m_reply, &QNetworkReply::finished, this, &UpdateDownloader::onFinished);
    connect(m_reply, &QNetworkReply::downloadProgress, this,
            [this](qint64 received) { emit progress(qMin(received, m_package.size), m_package.size); });
}

void UpdateDownloader::cancel()
{
    if (!m_running)
        return;
    m_cancelRequested = true;
    if (m_reply)
        m_reply->abort(); // finished follows, and ends in finishCancelled
    else if (m_cancelFlag)
        m_cancelFlag->store(true); // the unpacking stops between files
}

void UpdateDownloader::onReadyRead()
{
    if (!m_reply || !m_reply->isOpen() || !m_file.isOpen())
        return;
    const QByteArray data = m_reply->readAll();
    if (m_received + data.size() > m_package.size) {
        // More than the signed manifest announced: not the package it describes, and a peer must
        // not be able to fill the disk.
        QNetworkReply *reply = m_reply;
        m_reply = nullptr;
        reply->disconnect(this);
        reply->abort();
        reply->deleteLater();
        fail({kContext, QT_TRANSLATE_NOOP("UpdateDownloader", "更新包比更新清单所写的大，已停止下载。")},
             QStringLiteral("more than the %1 bytes the manifest gives").arg(m_package.size));
        return;
    }
    m_received += data.size();
    m_hash.addData(data);
    if (m_file.write(data) != data.size()) {
        QNetworkReply *reply = m_reply;
        m_reply = nullptr;
        reply->disconnect(this);
        reply->abort();
        reply->deleteLater();
        fail({kContext,
              QT_TRANSLATE_NOOP("UpdateDownloader", "无法写入更新暂存目录：%1"),
              {QDir::toNativeSeparators(m_file.fileName())}},
             m_file.errorString());
    }
}

void UpdateDownloader::onFinished()
{
    QNetworkReply *reply = m_reply;
    if (!reply)
        return;
    onReadyRead();
    if (!m_reply)
        return; // onReadyRead failed the download
    m_reply = nullptr;
    reply->deleteLater();
    if (m_cancelRequested) {
        finishCancelled();
        return;
    }
    if (reply->error() == QNetworkReply::OperationCanceledError) {
        // Not cancelled by the operator: the transfer timeout gave up on a silent server.
        fail({kContext,
              QT_TRANSLATE_NOOP("UpdateDownloader", "下载更新失败：服务器 %1 秒没有发送数据。"),
              {QString::number(kStallTimeoutMs / 1000)}},
             QStringLiteral("no data for %1 s").arg(kStallTimeoutMs / 1000));
        return;
    }
    if (reply->error() != QNetworkReply::NoError) {
        fail({kContext, QT_TRANSLATE_NOOP("UpdateDownloader", "下载更新失败：%1"), {reply->errorString()}},
             reply->errorString());
        return;
    }
    if (m_received != m_package.size) {
        fail({kContext,
              QT_TRANSLATE_NOOP("UpdateDownloader", "更新包下载不完整（收到 %1 字节，应为 %2 字节）。"),
              {QString::number(m_received), QString::number(m_package.size)}},
             QStringLiteral("received %1 of %2 bytes").arg(m_received).arg(m_package.size));
        return;
    }
    if (m_hash.result() != m_package.sha256) {
        fail(
            {kContext, QT_TRANSLATE_NOOP("UpdateDownloader", "更新包校验失败：SHA-256 与签名的更新清单不符，已删除。")},
            QStringLiteral("SHA-256 %1, the manifest gives %2")
                .arg(QString::fromLatin1(m_hash.result().toHex()), QString::fromLatin1(m_package.sha256.toHex())));
        return;
    }
    m_file.close();
    stage();
}

void UpdateDownloader::stage()
{
    const QString incoming = UpdateStaging::incomingDir(m_stagingDir);
    QDir().mkpath(incoming);
    if (m_method == UpdateInstallMethod::RunInstaller) {
        QString name = QFileInfo(m_package.url.path()).fileName();
        if (name.isEmpty() || name.startsWith(QLatin1Char('.')))
            name = QStringLiteral("zobrel-setup-%1.exe").arg(m_version);
        UpdateStaging::Pending pending;
        pending.version = m_version;
        pending.method = m_method;
        pending.installer = name;
        QString error;
        if (!QFile::rename(m_file.fileName(), QDir(incoming).filePath(name)) ||
            !UpdateStaging::commitIncoming(m_stagingDir, pending, &error)) {
            fail({kContext, QT_TRANSLATE_NOOP("UpdateDownloader", "无法暂存更新：%1"), {error}}, error);
            return;
        }
        clearWorkFolders();
        m_running = false;
        logUpdate(AppLogger::Info,
                  QStringLiteral("Update %1 staged; its installer runs at the next start").arg(m_version));
        emit staged(m_version);
        return;
    }
    m_cancelFlag = std::make_shared<std::atomic_bool>(false);
    const QString package = m_file.fileName();
    const QString files = QDir(incoming).filePath(QStringLiteral("files"));
    m_unpack.setFuture(QtConcurrent::run([package, files, flag = m_cancelFlag] {
        Unpacked result;
        result.ok = UpdatePackage::extract(package, files, &result.files, &result.error, flag.get());
        return result;
    }));
}

void UpdateDownloader::onUnpacked()
{
    const Unpacked result = m_unpack.result();
    m_cancelFlag.reset();
    if (m_cancelRequested) {
        finishCancelled();
        return;
    }
    if (!result.ok) {
        fail({kContext, QT_TRANSLATE_NOOP("UpdateDownloader", "更新包无法解开：%1"), {result.error}}, result.error);
        return;
    }
    UpdateStaging::Pending pending;
    pending.version = m_version;
    pending.method = m_method;
    pending.files = result.files;
    QString error;
    if (!UpdateStaging::commitIncoming(m_stagingDir, pending, &error)) {
        fail({kContext, QT_TRANSLATE_NOOP("UpdateDownloader", "无法暂存更新：%1"), {error}}, error);
        return;
    }
    clearWorkFolders();
    m_running = false;
    logUpdate(AppLogger::Info, QStringLiteral("Update %1 staged (%2 files); it is installed at the next start")
                                   .arg(m_version)
                                   .arg(result.files.size()));
    emit staged(m_version);
}

void UpdateDownloader::fail(const DeferredText &reason, const QString &detail)
{
    logUpdate(AppLogger::Warning, QStringLiteral("Update %1 not staged: %2").arg(m_version, detail));
    m_file.close();
    clearWorkFolders();
    m_running = false;
    emit failed(reason);
}

void UpdateDownloader::finishCancelled()
{
    logUpdate(AppLogger::Info, QStringLiteral("Update %1 download cancelled").arg(m_version));
    m_file.close();
    clearWorkFolders();
    m_running = false;
    emit cancelled();
}

void UpdateDownloader::clearWorkFolders()
{
    QDir(UpdateStaging::downloadDir(m_stagingDir)).removeRecursively();
    QDir(UpdateStaging::incomingDir(m_stagingDir)).removeRecursively();
}
