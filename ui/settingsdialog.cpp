#include "ui/settingsdialog.h"

#include "nav/navdatafiles.h"
#include "sim/simbackendmanager.h"
#include "ui/language.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
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
    setWindowTitle(tr("设置"));

    m_autoConnect = new QCheckBox(tr("启动后自动连接正在运行的模拟器"));
    m_autoConnect->setObjectName(QStringLiteral("autoConnect"));

    m_xplaneHost = new QLineEdit;
    m_xplaneHost->setObjectName(QStringLiteral("xplaneHost"));
    m_xplanePort = createPortBox("xplanePort");
    m_xplanePath = new QLineEdit;
    m_xplanePath->setObjectName(QStringLiteral("xplanePath"));
    m_xplanePath->setPlaceholderText(tr("X-Plane 安装目录（可选）"));
    auto *browse = new QPushButton(tr("浏览…"));
    browse->setObjectName(QStringLiteral("browseXPlanePath"));
    auto *pathRow = new QHBoxLayout;
    pathRow->addWidget(m_xplanePath, 1);
    pathRow->addWidget(browse);

    auto *xplane = new QGroupBox(tr("X-Plane"));
    auto *xplaneForm = new QFormLayout(xplane);
    xplaneForm->addRow(tr("主机地址："), m_xplaneHost);
    xplaneForm->addRow(tr("端口："), m_xplanePort);
    xplaneForm->addRow(tr("安装目录："), pathRow);

    m_bridgePort = createPortBox("bridgePort");
    auto *bridge = new QGroupBox(tr("Prepar3D / FSX 桥接程序"));
    auto *bridgeForm = new QFormLayout(bridge);
    bridgeForm->addRow(tr("桥接端口："), m_bridgePort);

    m_navAutoSwitch = new QCheckBox(tr("随连接的模拟器自动切换导航数据"));
    m_navAutoSwitch->setObjectName(QStringLiteral("navDataAutoSwitch"));
    m_navSource = new QComboBox;
    m_navSource->setObjectName(QStringLiteral("navDataSource"));
    // Simulator names read the same in every language.
    static const char *const kSourceNames[kNavDataSourceCount] = {"X-Plane 11", "X-Plane 12", "Prepar3D / FSX",
                                                                  "MSFS 2020", "MSFS 2024"};
    for (int i = 0; i < kNavDataSourceCount; ++i)
        m_navSource->addItem(QStringLiteral("%1 (%2)").arg(QLatin1String(kSourceNames[i]), navDataFileName(i)), i);
    auto *navData = new QGroupBox(tr("导航数据"));
    auto *navForm = new QFormLayout(navData);
    navForm->addRow(m_navAutoSwitch);
    navForm->addRow(tr("默认数据源："), m_navSource);

    m_language = new QComboBox;
    m_language->setObjectName(QStringLiteral("language"));
    m_language->addItem(tr("简体中文"), QString::fromLatin1(kLanguageChinese));
    m_language->addItem(tr("英语"), QString::fromLatin1(kLanguageEnglish));
    auto *display = new QGroupBox(tr("界面"));
    auto *displayForm = new QFormLayout(display);
    displayForm->addRow(tr("语言："), m_language);

    auto *note =
        new QLabel(tr("连接设置在下一次连接模拟器时生效；导航数据设置保存后立即生效；语言在重新启动 Zobrel 后生效。"));
    note->setWordWrap(true);

    auto *buttons = new QDialogButtonBox;
    buttons->addButton(tr("保存"), QDialogButtonBox::AcceptRole)->setObjectName(QStringLiteral("save"));
    buttons->addButton(tr("取消"), QDialogButtonBox::RejectRole);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_autoConnect);
    layout->addWidget(xplane);
    layout->addWidget(bridge);
    layout->addWidget(navData);
    layout->addWidget(display);
    layout->addWidget(note);
    layout->addWidget(buttons);

    connect(browse, &QPushButton::clicked, this, &SettingsDialog::onBrowseClicked);
    connect(buttons, &QDialogButtonBox::accepted, this, &SettingsDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &SettingsDialog::reject);

    setMinimumWidth(460);
    load();
}

void SettingsDialog::accept()
{
    if (!save()) {
        QMessageBox::warning(this, windowTitle(),
                             tr("无法写入设置文件：%1").arg(QDir::toNativeSeparators(m_settingsPath)));
        return;
    }
    QDialog::accept();
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
    const int language = m_language->findData(readLanguage(m_settingsPath));
    m_language->setCurrentIndex(language < 0 ? 0 : language);
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
    settings.setValue(kLanguageKey, m_language->currentData().toString());
    settings.sync();
    return settings.status() == QSettings::NoError;
}

void SettingsDialog::onBrowseClicked()
{
    const QString folder = QFileDialog::getExistingDirectory(this, tr("选择 X-Plane 安装目录"), m_xplanePath->text());
    if (!folder.isEmpty())
        m_xplanePath->setText(QDir::toNativeSeparators(folder));
}
