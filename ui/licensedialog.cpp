#include "ui/licensedialog.h"

#include "licensing/licensemanager.h"

#include <QClipboard>
#include <QDialogButtonBox>
#include <QEvent>
#include <QFileDialog>
#include <QFormLayout>
#include <QGroupBox>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

QLabel *valueLabel(const char *objectName)
{
    auto *label = new QLabel;
    label->setObjectName(QLatin1String(objectName));
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label->setWordWrap(true);
    return label;
}

} // namespace

LicenseDialog::LicenseDialog(LicenseManager *manager, QWidget *parent) : QDialog(parent), m_manager(manager)
{
    setObjectName(QStringLiteral("licenseDialog"));
    m_mode = valueLabel("mode");
    QFont bold = m_mode->font();
    bold.setBold(true);
    bold.setPointSizeF(bold.pointSizeF() * 1.15);
    m_mode->setFont(bold);
    m_message = valueLabel("message");
    m_licensee = valueLabel("licensee");
    m_id = valueLabel("licenseId");
    m_features = valueLabel("features");
    m_agents = valueLabel("agents");
    m_expires = valueLabel("expires");
    m_machineBinding = valueLabel("machineBinding");

    m_currentBox = new QGroupBox;
    auto *current = new QVBoxLayout(m_currentBox);
    current->addWidget(m_mode);
    current->addWidget(m_message);
    m_details = new QFormLayout;
    // Captions are set by retranslateUi.
    for (QLabel *value : {m_licensee, m_id, m_features, m_agents, m_expires, m_machineBinding})
        m_details->addRow(new QLabel, value);
    current->addLayout(m_details);

    m_machineBox = new QGroupBox;
    m_machineHint = new QLabel;
    m_machineHint->setWordWrap(true);
    m_machineId = new QLineEdit(m_manager->machineId());
    m_machineId->setObjectName(QStringLiteral("machineId"));
    m_machineId->setReadOnly(true);
    QFont mono(QStringLiteral("monospace"));
    mono.setStyleHint(QFont::Monospace);
    m_machineId->setFont(mono);
    m_copy = new QPushButton;
    m_copy->setObjectName(QStringLiteral("copyMachineId"));
    auto *machineRow = new QHBoxLayout;
    machineRow->addWidget(m_machineId, 1);
    machineRow->addWidget(m_copy);
    auto *machine = new QVBoxLayout(m_machineBox);
    machine->addWidget(m_machineHint);
    machine->addLayout(machineRow);

    m_loadResult = valueLabel("loadResult");
    auto *buttons = new QDialogButtonBox;
    m_load = buttons->addButton(QString(), QDialogButtonBox::ActionRole);
    m_load->setObjectName(QStringLiteral("loadLicense"));
    m_close = buttons->addButton(QString(), QDialogButtonBox::RejectRole);
    m_close->setObjectName(QStringLiteral("close"));

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_currentBox);
    layout->addWidget(m_machineBox);
    layout->addWidget(m_loadResult);
    layout->addWidget(buttons);

    connect(m_load, &QPushButton::clicked, this, &LicenseDialog::onLoadClicked);
    connect(m_copy, &QPushButton::clicked, this,
            [this] { QGuiApplication::clipboard()->setText(m_machineId->text()); });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_manager, &LicenseManager::licenseChanged, this, &LicenseDialog::showLicense);

    setMinimumWidth(520);
    retranslateUi();
}

void LicenseDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QDialog::changeEvent(event);
}

void LicenseDialog::retranslateUi()
{
    setWindowTitle(tr("许可证"));
    m_currentBox->setTitle(tr("当前许可证"));
    const char *const captions[] = {QT_TR_NOOP("被许可人："), QT_TR_NOOP("许可证编号："),
                                    QT_TR_NOOP("功能："),     QT_TR_NOOP("远程机组上限："),
                                    QT_TR_NOOP("有效期至："), QT_TR_NOOP("绑定计算机：")};
    for (int row = 0; row < m_details->rowCount(); ++row) {
        if (auto *caption = qobject_cast<QLabel *>(m_details->itemAt(row, QFormLayout::LabelRole)->widget()))
            caption->setText(tr(captions[row]));
    }
    m_machineBox->setTitle(tr("本机机器码"));
    m_machineHint->setText(tr("申请绑定本机的许可证时，请把下面的机器码发给供应商。"));
    m_copy->setText(tr("复制"));
    m_load->setText(tr("加载许可证文件…"));
    m_close->setText(tr("关闭"));
    showLicense();
}

QString LicenseDialog::featureText(const QString &feature)
{
    if (feature == QLatin1String(License::kFeatureBridgeServer))
        return tr("远程教学服务器");
    if (feature == QLatin1String(License::kFeatureLicensedAgentsOnly))
        return tr("只接受已授权的远程机组");
    const QLatin1String agents(License::kFeatureAgentsPrefix);
    if (feature.startsWith(agents))
        return tr("最多 %1 个远程机组").arg(feature.mid(agents.size()));
    return feature;
}

void LicenseDialog::showLicense()
{
    const LicenseCheck check = m_manager->current();
    const bool valid = check.isValid();
    m_mode->setText(valid ? tr("已授权") : tr("评估模式"));
    m_mode->setStyleSheet(valid ? QStringLiteral("color: #4caf50;") : QStringLiteral("color: #e0a030;"));
    QString message = check.message();
    if (!valid)
        message += QLatin1Char(' ') + tr("评估模式下所有功能均可使用，远程教学服务器最多接受 %1 个远程机组。")
                                          .arg(LicenseManager::kEvaluationAgents);
    m_message->setText(message);

    // The fields of a licence whose signature was good are shown even when it is refused (expired,
    // another machine), so the operator sees which one it is.
    const License &l = check.license;
    const bool known = !l.id.isEmpty();
    for (int row = 0; row < m_details->rowCount(); ++row)
        m_details->setRowVisible(row, known);
    m_licensee->setText(l.licensee);
    m_id->setText(l.id);
    QStringList features;
    for (const QString &feature : l.features)
        features << featureText(feature);
    m_features->setText(features.isEmpty() ? tr("无") : features.join(tr("、")));
    const int maxAgents = m_manager->maxAgents();
    m_agents->setText(maxAgents < 0 ? tr("不限") : QString::number(maxAgents));
    m_expires->setText(l.expires.isValid() ? l.expires.toString(Qt::ISODate) : tr("永久有效"));
    m_machineBinding->setText(l.machineId.isEmpty() ? tr("任意计算机") : l.machineId);

    switch (m_outcome) {
    case LoadOutcome::None:
        m_loadResult->clear();
        break;
    case LoadOutcome::Installed:
        m_loadResult->setText(tr("许可证已加载。"));
        m_loadResult->setStyleSheet(QStringLiteral("color: #4caf50;"));
        break;
    case LoadOutcome::Refused:
        m_loadResult->setText(tr("未加载该许可证：%1 当前许可证保持不变。").arg(m_refused.message()));
        m_loadResult->setStyleSheet(QStringLiteral("color: #ef6b6b;"));
        break;
    }
}

bool LicenseDialog::loadLicenseFile(const QString &path)
{
    const LicenseCheck check = m_manager->install(path);
    m_outcome = check.isValid() ? LoadOutcome::Installed : LoadOutcome::Refused;
    m_refused = check;
    showLicense();
    return check.isValid();
}

void LicenseDialog::onLoadClicked()
{
    const QString path =
        QFileDialog::getOpenFileName(this, tr("加载许可证文件"), QString(), tr("Zobrel 许可证 (*.lic);;所有文件 (*)"));
    if (!path.isEmpty())
        loadLicenseFile(path);
}
