#pragma once

#include "licensing/deferredtext.h"
#include "licensing/updatemanifest.h"
#include "licensing/updateplatform.h"

#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>
#include <QVersionNumber>

#include <functional>

class QNetworkAccessManager;
class QNetworkReply;
class UpdateDownloader;

// The self-updater's front: checks the manifest URL from Zobrel.ini (at start-up at most once a
// day when automatic checks are on, and on demand), offers a newer version, downloads and stages
// it through UpdateDownloader, and says what happened. The check and the download are
// asynchronous and never block the GUI; requests use the application proxy, which start-up sets
// to "no proxy". An empty manifest URL switches the updater off.
//
// Created by the application's licensing wiring with the settings file, the staging folder (beside
// Zobrel.ini) and the program folder; GUI thread. The update dialog shows its state.
class UpdateService : public QObject
{
    Q_OBJECT
public:
    static constexpr char kManifestUrlKey[] = "updateManifestUrl";
    static constexpr char kAutoCheckKey[] = "updateAutoCheck";
    static constexpr char kLastCheckKey[] = "updateLastCheck";
    static constexpr qint64 kStartupIntervalSecs = 24 * 60 * 60;
    static constexpr qint64 kMaxManifestBytes = 256 * 1024;
    static constexpr int kManifestTimeoutMs = 15000;

    enum class State {
        Idle,
        Checking,
        UpToDate,    // the manifest's version is not newer than this one
        Available,   // a newer version can be downloaded
        Downloading, // includes the unpacking after the download
        Ready,       // staged: installed at the next start
        Failed,      // check or download failed; failureText() says why
    };
    Q_ENUM(State)

    UpdateService(const QString &settingsPath, const QString &stagingDir, const QString &programDir,
                  const QVersionNumber &currentVersion, const QByteArray &publicKeyPem, QObject *parent = nullptr);
    ~UpdateService() override;

    // Tests stand in for another platform; the defaults come from updateplatform.h.
    void setPlatform(const QString &platformKey, UpdateInstallMethod method);
    // Tests move the clock for the once-a-day rule.
    void setClock(std::function<QDateTime()> nowUtc) { m_now = std::move(nowUtc); }

    QUrl manifestUrl() const;
    bool isEnabled() const { return !manifestUrl().isEmpty(); }

    // Starts a check when automatic checks are on, a URL is set and the last check is a day old.
    // True when a check was started.
    bool checkAtStartup();
    // Starts a check now (from the Help menu), unless one or a download is running.
    void checkNow();
    // Downloads the offered version; only in state Available.
    void download();
    void cancelDownload();

    State state() const { return m_state; }
    QVersionNumber currentVersion() const { return m_current; }
    // The manifest of the last successful check.
    const UpdateManifest &manifest() const { return m_manifest; }
    // The package of the offered version for this platform.
    UpdateManifest::Package package() const { return m_manifest.packages.value(m_platformKey); }
    // Why the state is Failed.
    DeferredText failure() const { return m_failure; }
    // False when this platform installs by replacing files and the program folder is not writable
    // (an installed copy under a system folder): the operator then installs by hand.
    bool canInstallHere() const;
    qint64 bytesReceived() const { return m_received; }
    qint64 bytesTotal() const { return m_total; }

signals:
    void stateChanged(UpdateService::State state);
    void progress(qint64 received, qint64 total);
    // A check found a newer version (also at start-up, where the wiring then shows the dialog).
    void updateAvailable(const QString &version);

private:
    void startCheck();
    void onManifestFinished();
    void setState(State state, const DeferredText &failure = {});
    void failCheck(const DeferredText &reason, const QString &detail);

    QString m_settingsPath;
    QString m_stagingDir;
    QString m_programDir;
    QVersionNumber m_current;
    QByteArray m_publicKey;
    QString m_platformKey;
    UpdateInstallMethod m_method;
    std::function<QDateTime()> m_now;
    QNetworkAccessManager *m_network = nullptr;
    UpdateDownloader *m_downloader = nullptr;
    QPointer<QNetworkReply> m_reply;
    QUrl m_checkedUrl;
    State m_state = State::Idle;
    UpdateManifest m_manifest;
    DeferredText m_failure;
    qint64 m_received = 0;
    qint64 m_total = 0;
};
