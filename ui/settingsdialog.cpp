#include "ui/settingsdialog.h"

#include "bridge/bridgeserversettings.h"
#include "licensing/updateservice.h"
#include "licensing/vendorkey.h"
#include "nav/navdatafiles.h"
#include "nav/onlinenavdataprovider.h"
#include "sim/simbackendmanager.h"
#include "ui/language.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QEvent>
#include <QFileDialog>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QSpinBox>
#include <QVBoxLayout>

namespace {

QSpinBox *createPortBox(const char *objectName)
{
    auto *box = new QSpinBox;
    box->setObjectName(QLatin1String(objectName));
    box->setRange(1, 65535);
    return box;
}

} // namespace

SettingsDialog::SettingsDialog(const QString &settingsPath, QWidget *parent)
    : QDialog(parent), m_settingsPath(settingsPath)
{
    // Every text is set by retranslateUi().
    m_autoConnect = new QCheckBox;
    m_autoConnect->setObjectName(QStringLiteral("autoConnect"));

    m_xplaneHost = new QLineEdit;
    m_xplaneHost->setObjectName(QStringLiteral("xplaneHost"));
    m_xplanePort = createPortBox("xplanePort");
    m_xplanePath = new QLineEdit;
    m_xplanePath->setObjectName(QStringLiteral("xplanePath"));
    m_browse = new QPushButton;
    m_browse->setObjectName(QStringLiteral("browseXPlanePath"));
    auto *pathRow = new QHBoxLayout;
    pathRow->addWidget(m_xplanePath, 1);
    pathRow->addWidget(m_browse);

    m_xplaneBox = new QGroupBox;
    auto *xplaneForm = new QFormLayout(m_xplaneBox);
    xplaneForm->addRow(m_hostLabel = new QLabel, m_xplaneHost);
    xplaneForm->addRow(m_portLabel = new QLabel, m_xplanePort);
    xplaneForm->addRow(m_pathLabel = new QLabel, pathRow);

    m_bridgePort = createPortBox("bridgePort");
    m_bridgeBox = new QGroupBox;
    auto *bridgeForm = new QFormLayout(m_bridgeBox);
    bridgeForm->addRow(m_bridgePortLabel = new QLabel, m_bridgePort);

    m_navAutoSwitch = new QCheckBox;
    m_navAutoSwitch->setObjectName(QStringLiteral("navDataAutoSwitch"));
    m_navSource = new QComboBox;
    m_navSource->setObjectName(QStringLiteral("navDataSource"));
    // Simulator names read the same in every language.
    static const char *const kSourceNames[kNavDataSourceCount] = {"X-Plane 11", "X-Plane 12", "Prepar3D / FSX",
                                                                  "MSFS 2020", "MSFS 2024"};
    for (int i = 0; i < kNavDataSourceCount; ++i)
        m_navSource->addItem(QStringLiteral("%1 (%2)").arg(QLatin1String(kSourceNames[i]), navDataFileName(i)), i);
    m_navDataBox = new QGroupBox;
    auto *navForm = new QFormLayout(m_navDataBox);
    navForm->addRow(m_navAutoSwitch);
    navForm->addRow(m_navSourceLabel = new QLabel, m_navSource);
    m_navMode = new QComboBox;
    m_navMode->setObjectName(QStringLiteral("navDataMode"));
    m_navMode->addItem(QString(), QString::fromLatin1(kNavDataModeOffline));
    m_navMode->addItem(QString(), QString::fromLatin1(kNavDataModeOnline));
    m_navServiceUrl = new QLineEdit;
    m_navServiceUrl->setObjectName(QStringLiteral("navServiceUrl"));
    m_navServiceUrl->setPlaceholderText(QStringLiteral("http://navserver:8480"));
    m_navServiceToken = new QLineEdit;
    m_navServiceToken->setObjectName(QStringLiteral("navServiceToken"));
    m_navServiceToken->setEchoMode(QLineEdit::Password);
    navForm->addRow(m_navModeLabel = new QLabel, m_navMode);
    navForm->addRow(m_navServiceUrlLabel = new QLabel, m_navServiceUrl);
    navForm->addRow(m_navServiceTokenLabel = new QLabel, m_navServiceToken);
    // The address and token mean something only for the online service.
    const auto showOnlineFields = [this] {
        const bool online = m_navMode->currentData().toString() == QLatin1String(kNavDataModeOnline);
        m_navServiceUrl->setEnabled(online);
        m_navServiceToken->setEnabled(online);
    };
    connect(m_navMode, &QComboBox::currentIndexChanged, this, showOnlineFields);

    m_language = new QComboBox;
    m_language->setObjectName(QStringLiteral("language"));
    m_language->addItem(QString(), QString::fromLatin1(kLanguageChinese));
    m_language->addItem(QString(), QString::fromLatin1(kLanguageEnglish));
    m_displayBox = new QGroupBox;
    auto *displayForm = new QFormLayout(m_displayBox);
    displayForm->addRow(m_languageLabel = new QLabel, m_language);

    m_updateUrl = new QLineEdit;
    m_updateUrl->setObjectName(QStringLiteral("updateManifestUrl"));
    m_updateAutoCheck = new QCheckBox;
    m_updateAutoCheck->setObjectName(QStringLiteral("updateAutoCheck"));
    m_updateBox = new QGroupBox;
    auto *updateForm = new QFormLayout(m_updateBox);
    updateForm->addRow(m_updateUrlLabel = new QLabel, m_updateUrl);
    updateForm->addRow(m_updateAutoCheck);

    createServerGroup();

    m_note = new QLabel;
    m_note->setWordWrap(true);

    auto *buttons = new QDialogButtonBox;
    m_save = buttons->addButton(QString(), QDialogButtonBox::AcceptRole);
    m_save->setObjectName(QStringLiteral("save"));
    m_cancel = buttons->addButton(QString(), QDialogButtonBox::RejectRole);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_autoConnect);
    layout->addWidget(m_xplaneBox);
    layout->addWidget(m_bridgeBox);
    layout->addWidget(m_navDataBox);
    layout->addWidget(m_displayBox);
    layout->addWidget(m_serverBox);
    layout->addWidget(m_updateBox);
    layout->addWidget(m_note);
    layout->addWidget(buttons);

    connect(m_browse, &QPushButton::clicked, this, &SettingsDialog::onBrowseClicked);
    connect(buttons, &QDialogButtonBox::accepted, this, &SettingsDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &SettingsDialog::reject);

    setMinimumWidth(460);
    retranslateUi();
    load();
}

void SettingsDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QDialog::changeEvent(event);
}

void SettingsDialog::retranslateUi()
{
    setWindowTitle(tr("设置"));
    m_autoConnect->setText(tr("启动后自动连接正在运行的模拟器"));
    m_xplanePath->setPlaceholderText(tr("X-Plane 安装目录（可选）"));
    m_browse->setText(tr("浏览…"));
    m_xplaneBox->setTitle(tr("X-Plane"));
    m_hostLabel->setText(tr("主机地址："));
    m_portLabel->setText(tr("端口："));
    m_pathLabel->setText(tr("安装目录："));
    m_bridgeBox->setTitle(tr("Prepar3D / FSX 桥接程序"));
    m_bridgePortLabel->setText(tr("桥接端口："));
    m_navAutoSwitch->setText(tr("随连接的模拟器自动切换导航数据"));
    m_navDataBox->setTitle(tr("导航数据"));
    m_navSourceLabel->setText(tr("默认数据源："));
    m_navModeLabel->setText(tr("数据模式："));
    m_navMode->setItemText(0, tr("离线数据库"));
    m_navMode->setItemText(1, tr("在线服务"));
    m_navServiceUrlLabel->setText(tr("服务地址："));
    m_navServiceTokenLabel->setText(tr("访问令牌："));
    m_language->setItemText(0, tr("简体中文"));
    m_language->setItemText(1, tr("英语"));
    m_displayBox->setTitle(tr("界面"));
    m_languageLabel->setText(tr("语言："));
    m_serverEnabled->setText(tr("开启教员服务器（保存后立即启动或停止，并随 Zobrel 启动）"));
    m_pairingSecret->setPlaceholderText(tr("为空则不要求配对密码"));
    for (QLineEdit *edit : {m_caFile, m_certFile, m_keyFile})
        edit->setPlaceholderText(tr("为空则使用内置证书"));
    m_caFingerprint->setPlaceholderText(tr("zobrel-agent --make-keys 输出的 SHA-256 指纹"));
    m_serverBox->setTitle(tr("教员服务器（远程教学）"));
    m_serverPortLabel->setText(tr("监听端口："));
    m_secretLabel->setText(tr("配对密码："));
    m_caFileLabel->setText(tr("CA 证书："));
    m_certFileLabel->setText(tr("服务器证书："));
    m_keyFileLabel->setText(tr("服务器私钥："));
    m_fingerprintLabel->setText(tr("CA 指纹："));
    m_updateBox->setTitle(tr("更新"));
    m_updateUrlLabel->setText(tr("更新清单地址："));
    m_updateUrl->setPlaceholderText(tr("留空则不检查更新"));
    m_updateAutoCheck->setText(tr("启动时检查更新（每天最多一次）"));
    m_note->setText(tr("连接设置在下一次连接模拟器时生效；导航数据、语言和更新设置保存后立即生效。"));
    m_save->setText(tr("保存"));
    m_cancel->setText(tr("取消"));
}

void SettingsDialog::createServerGroup()
{
    m_serverEnabled = new QCheckBox;
    m_serverEnabled->setObjectName(QStringLiteral("bridgeServerEnabled"));
    m_serverPort = createPortBox("bridgeServerPort");
    m_pairingSecret = new QLineEdit;
    m_pairingSecret->setObjectName(QStringLiteral("bridgePairingSecret"));
    m_pairingSecret->setEchoMode(QLineEdit::Password);
    m_caFile = new QLineEdit;
    m_caFile->setObjectName(QStringLiteral("bridgeCaFile"));
    m_certFile = new QLineEdit;
    m_certFile->setObjectName(QStringLiteral("bridgeCertFile"));
    m_keyFile = new QLineEdit;
    m_keyFile->setObjectName(QStringLiteral("bridgeKeyFile"));
    m_caFingerprint = new QLineEdit;
    m_caFingerprint->setObjectName(QStringLiteral("bridgeCaFingerprint"));

    m_serverBox = new QGroupBox;
    auto *form = new QFormLayout(m_serverBox);
    form->addRow(m_serverEnabled);
    form->addRow(m_serverPortLabel = new QLabel, m_serverPort);
    form->addRow(m_secretLabel = new QLabel, m_pairingSecret);
    form->addRow(m_caFileLabel = new QLabel, m_caFile);
    form->addRow(m_certFileLabel = new QLabel, m_certFile);
    form->addRow(m_keyFileLabel = new QLabel, m_keyFile);
    form->addRow(m_fingerprintLabel = new QLabel, m_caFingerprint);
}

void SettingsDialog::accept()
{
    if (!save()) {
        QMessageBox::warning(this, windowTitle(),
                             tr("无法写入设置文件：%1").arg(QDir::toNativeSeparators(m_settingsPath)));
        return;
    }
    const QString language = m_language->currentData().toString();
    QDialog::accept();
    if (language != m_loadedLanguage) {
        m_loadedLanguage = language;
        emit languageChanged(language);
    }
}

void SettingsDialog::load()
{
    const QSettings settings(m_settingsPath, QSettings::IniFormat);
    m_autoConnect->setChecked(settings.value(SimBackendManager::kAutoConnectKey, true).toBool());
    m_xplaneHost->setText(
        settings.value(SimBackendManager::kXPlaneHostKey, QString::fromLatin1(SimBackendManager::kDefaultXPlaneHost))
            .toString());
    m_xplanePort->setValue(
        settings.value(SimBackendManager::kXPlanePortKey, SimBackendManager::kDefaultXPlanePort).toInt());
    m_xplanePath->setText(settings.value(SimBackendManager::kXPlanePathKey).toString());
    m_bridgePort->setValue(
        settings.value(SimBackendManager::kBridgePortKey, SimBackendManager::kDefaultBridgePort).toInt());
    m_navAutoSwitch->setChecked(settings.value(kNavDataAutoSwitchKey, true).toBool());
    const int source = m_navSource->findData(settings.value(kNavDataSourceKey, 0).toInt());
    m_navSource->setCurrentIndex(source < 0 ? 0 : source);
    const int mode = m_navMode->findData(settings.value(kNavDataModeKey, QString::fromLatin1(kNavDataModeOffline)));
    m_navMode->setCurrentIndex(mode < 0 ? 0 : mode);
    m_navServiceUrl->setText(settings.value(kNavServiceUrlKey).toString());
    m_navServiceToken->setText(settings.value(kNavServiceTokenKey).toString());
    const bool online = m_navMode->currentIndex() == 1;
    m_navServiceUrl->setEnabled(online);
    m_navServiceToken->setEnabled(online);
    // Any value other than "en_US" is the Chinese interface, and shows as such.
    m_loadedLanguage = isEnglish(readLanguage(m_settingsPath)) ? QString::fromLatin1(kLanguageEnglish)
                                                               : QString::fromLatin1(kLanguageChinese);
    m_language->setCurrentIndex(m_language->findData(m_loadedLanguage));
    m_updateUrl->setText(settings.value(UpdateService::kManifestUrlKey, defaultUpdateManifestUrl()).toString());
    m_updateAutoCheck->setChecked(settings.value(UpdateService::kAutoCheckKey, true).toBool());
    const BridgeServerSettings server = BridgeServerSettings::read(settings);
    m_serverEnabled->setChecked(server.enabled);
    m_serverPort->setValue(server.port);
    m_pairingSecret->setText(server.pairingSecret);
    m_caFile->setText(server.files.caFile);
    m_certFile->setText(server.files.certFile);
    m_keyFile->setText(server.files.keyFile);
    m_caFingerprint->setText(server.files.expectedCaFingerprint);
}

bool SettingsDialog::save()
{
    QSettings settings(m_settingsPath, QSettings::IniFormat);
    settings.setValue(SimBackendManager::kAutoConnectKey, m_autoConnect->isChecked());
    const QString host = m_xplaneHost->text().trimmed();
    settings.setValue(SimBackendManager::kXPlaneHostKey,
                      host.isEmpty() ? QString::fromLatin1(SimBackendManager::kDefaultXPlaneHost) : host);
    settings.setValue(SimBackendManager::kXPlanePortKey, m_xplanePort->value());
    settings.setValue(SimBackendManager::kXPlanePathKey, m_xplanePath->text().trimmed());
    settings.setValue(SimBackendManager::kBridgePortKey, m_bridgePort->value());
    settings.setValue(kNavDataAutoSwitchKey, m_navAutoSwitch->isChecked());
    settings.setValue(kNavDataSourceKey, m_navSource->currentData().toInt());
    settings.setValue(kNavDataModeKey, m_navMode->currentData().toString());
    settings.setValue(kNavServiceUrlKey, m_navServiceUrl->text().trimmed());
    settings.setValue(kNavServiceTokenKey, m_navServiceToken->text().trimmed());
    settings.setValue(kLanguageKey, m_language->currentData().toString());
    settings.setValue(UpdateService::kManifestUrlKey, m_updateUrl->text().trimmed());
    settings.setValue(UpdateService::kAutoCheckKey, m_updateAutoCheck->isChecked());
    BridgeServerSettings server;
    server.enabled = m_serverEnabled->isChecked();
    server.port = quint16(m_serverPort->value());
    server.pairingSecret = m_pairingSecret->text();
    server.files = {m_caFile->text().trimmed(), m_certFile->text().trimmed(), m_keyFile->text().trimmed(),
                    m_caFingerprint->text().trimmed()};
    server.write(settings);
    settings.sync();
    return settings.status() == QSettings::NoError;
}

void SettingsDialog::onBrowseClicked()
{
    const QString folder = QFileDialog::getExistingDirectory(this, tr("选择 X-Plane 安装目录"), m_xplanePath->text());
    if (!folder.isEmpty())
        m_xplanePath->setText(QDir::toNativeSeparators(folder));
}
