#pragma once

#include "licensing/deferredtext.h"
#include "licensing/updatemanifest.h"
#include "licensing/updateplatform.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFutureWatcher>
#include <QObject>
#include <QPointer>

#include <atomic>
#include <memory>

class QNetworkAccessManager;
class QNetworkReply;

// Downloads one update package into the staging folder (updatestaging.h), checks its size and
// SHA-256 against the signed manifest while it arrives, and stages it: unpacked (ReplaceFiles)
// or as is (RunInstaller) into pending/, ready for the next start. The program folder is never
// touched here, so a failed, cancelled or tampered download leaves the installed version as it was.
//
// Created by the update service on the GUI thread; the network I/O runs on it, the unpacking on a
// pool thread. The network manager is borrowed.
class UpdateDownloader : public QObject
{
    Q_OBJECT
public:
    UpdateDownloader(QNetworkAccessManager *network, const QString &stagingDir, UpdateInstallMethod method,
                     QObject *parent = nullptr);
    ~UpdateDownloader() override;

    // Starts downloading package for version; ignored while a download runs.
    void start(const UpdateManifest::Package &package, const QString &version);
    // Stops the download or the unpacking; cancelled() follows.
    void cancel();
    bool isRunning() const { return m_running; }

signals:
    void progress(qint64 received, qint64 total);
    // The update is staged and will be installed at the next start.
    void staged(const QString &version);
    // reason is a sentence for the operator.
    void failed(const DeferredText &reason);
    void cancelled();

private:
    struct Unpacked
    {
        bool ok = false;
        QStringList files;
        QString error;
    };

    void onReadyRead();
    void onFinished();
    void stage();
    void onUnpacked();
    void fail(const DeferredText &reason, const QString &detail);
    void finishCancelled();
    void clearWorkFolders();

    QNetworkAccessManager *m_network;
    QString m_stagingDir;
    UpdateInstallMethod m_method;
    QPointer<QNetworkReply> m_reply;
    QFile m_file;
    QCryptographicHash m_hash{QCryptographicHash::Sha256};
    UpdateManifest::Package m_package;
    QString m_version;
    qint64 m_received = 0;
    bool m_running = false;
    bool m_cancelRequested = false;
    std::shared_ptr<std::atomic_bool> m_cancelFlag;
    QFutureWatcher<Unpacked> m_unpack;
};
