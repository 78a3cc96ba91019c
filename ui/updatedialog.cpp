#include "ui/updatedialog.h"

#include "ui/language.h"

#include <QDialogButtonBox>
#include <QEvent>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace {

QString megabytes(qint64 bytes)
{
    return QString::number(double(bytes) / (1024.0 * 1024.0), 'f', 1);
}

} // namespace

UpdateDialog::UpdateDialog(UpdateService *service, const QString &settingsPath, QWidget *parent)
    : QDialog(parent), m_service(service), m_settingsPath(settingsPath)
{
    setObjectName(QStringLiteral("updateDialog"));
    m_installed = new QLabel;
    m_installed->setObjectName(QStringLiteral("installedVersion"));
    m_status = new QLabel;
    m_status->setObjectName(QStringLiteral("status"));
    m_status->setWordWrap(true);
    m_status->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_notes = new QTextBrowser;
    m_notes->setObjectName(QStringLiteral("notes"));
    m_notes->setOpenExternalLinks(true);
    m_progress = new QProgressBar;
    m_progress->setObjectName(QStringLiteral("progress"));

    auto *buttons = new QDialogButtonBox;
    m_check = buttons->addButton(QString(), QDialogButtonBox::ActionRole);
    m_check->setObjectName(QStringLiteral("check"));
    m_download = buttons->addButton(QString(), QDialogButtonBox::ActionRole);
    m_download->setObjectName(QStringLiteral("download"));
    m_cancel = buttons->addButton(QString(), QDialogButtonBox::ActionRole);
    m_cancel->setObjectName(QStringLiteral("cancel"));
    m_restart = buttons->addButton(QString(), QDialogButtonBox::ActionRole);
    m_restart->setObjectName(QStringLiteral("restart"));
    m_close = buttons->addButton(QString(), QDialogButtonBox::RejectRole);
    m_close->setObjectName(QStringLiteral("close"));

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_installed);
    layout->addWidget(m_status);
    layout->addWidget(m_notes, 1);
    layout->addWidget(m_progress);
    layout->addWidget(buttons);

    connect(m_check, &QPushButton::clicked, m_service, &UpdateService::checkNow);
    connect(m_download, &QPushButton::clicked, m_service, &UpdateService::download);
    connect(m_cancel, &QPushButton::clicked, m_service, &UpdateService::cancelDownload);
    connect(m_restart, &QPushButton::clicked, this, &UpdateDialog::restartRequested);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_service, &UpdateService::stateChanged, this, &UpdateDialog::showState);
    connect(m_service, &UpdateService::progress, this, &UpdateDialog::onProgress);

    resize(560, 420);
    retranslateUi();
}

void UpdateDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QDialog::changeEvent(event);
}

void UpdateDialog::retranslateUi()
{
    setWindowTitle(tr("检查更新"));
    m_installed->setText(tr("当前版本：%1").arg(m_service->currentVersion().toString()));
    m_check->setText(tr("重新检查"));
    m_download->setText(tr("下载并安装"));
    m_cancel->setText(tr("取消下载"));
    m_restart->setText(tr("立即重启"));
    m_close->setText(tr("关闭"));
    showState();
}

void UpdateDialog::showState()
{
    const UpdateService::State state = m_service->state();
    const UpdateManifest &manifest = m_service->manifest();
    const QString offered = manifest.version.toString();
    const bool hasOffer = state == UpdateService::State::Available || state == UpdateService::State::Downloading ||
                          state == UpdateService::State::Ready ||
                          (state == UpdateService::State::Failed && manifest.version > m_service->currentVersion());
    QString status;
    switch (state) {
    case UpdateService::State::Idle:
        status = m_service->isEnabled() ? tr("尚未检查更新。") : tr("未设置更新清单地址，更新检查已关闭。");
        break;
    case UpdateService::State::Checking:
        status = tr("正在检查更新…");
        break;
    case UpdateService::State::UpToDate:
        status = tr("已是最新版本（更新服务器上的最新版本：%1）。").arg(offered);
        break;
    case UpdateService::State::Available:
        status = manifest.released.isEmpty() ? tr("发现新版本 %1。").arg(offered)
                                             : tr("发现新版本 %1（发布于 %2）。").arg(offered, manifest.released);
        if (!m_service->canInstallHere())
            status += QLatin1Char(' ') + tr("程序目录不可写，无法自动安装；请从 %1 下载后手动安装。")
                                             .arg(m_service->package().url.toDisplayString());
        break;
    case UpdateService::State::Downloading:
        status = tr("正在下载版本 %1…").arg(offered);
        break;
    case UpdateService::State::Ready:
        status = tr("版本 %1 已下载并通过校验，将在下次启动 Zobrel 时安装。").arg(offered);
        break;
    case UpdateService::State::Failed:
        status = m_service->failure().toString();
        if (hasOffer)
            status += QLatin1Char(' ') + tr("当前安装的版本保持不变。");
        break;
    }
    m_status->setText(status);

    m_notes->setVisible(hasOffer);
    if (hasOffer) {
        const QString notes = manifest.notesFor(readLanguage(m_settingsPath));
        m_notes->setPlainText(notes.isEmpty() ? tr("（此版本没有发行说明）") : notes);
    }
    const bool downloading = state == UpdateService::State::Downloading;
    m_progress->setVisible(downloading);
    if (downloading)
        onProgress(m_service->bytesReceived(), m_service->bytesTotal());
    m_check->setEnabled(state != UpdateService::State::Checking && !downloading && m_service->isEnabled());
    m_download->setVisible(state == UpdateService::State::Available);
    m_download->setEnabled(m_service->canInstallHere());
    m_cancel->setVisible(downloading);
    m_restart->setVisible(state == UpdateService::State::Ready);
}

void UpdateDialog::onProgress(qint64 received, qint64 total)
{
    // Progress bars count in int: whole kilobytes keep packages up to terabytes in range.
    m_progress->setRange(0, int(qMax<qint64>(1, total / 1024)));
    m_progress->setValue(int(received / 1024));
    m_progress->setFormat(tr("%1 / %2 MB").arg(megabytes(received), megabytes(total)));
}
