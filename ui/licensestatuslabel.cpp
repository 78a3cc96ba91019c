#include "ui/licensestatuslabel.h"

#include "licensing/licensemanager.h"

#include <QEvent>
#include <QMouseEvent>

LicenseStatusLabel::LicenseStatusLabel(LicenseManager *manager, QWidget *parent) : QLabel(parent), m_manager(manager)
{
    setObjectName(QStringLiteral("licenseStatus"));
    setCursor(Qt::PointingHandCursor);
    setContentsMargins(6, 0, 6, 0);
    connect(m_manager, &LicenseManager::licenseChanged, this, &LicenseStatusLabel::retranslateUi);
    retranslateUi();
}

void LicenseStatusLabel::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslateUi();
    QLabel::changeEvent(event);
}

void LicenseStatusLabel::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        emit clicked();
    QLabel::mouseReleaseEvent(event);
}

void LicenseStatusLabel::retranslateUi()
{
    const LicenseCheck check = m_manager->current();
    if (check.isValid()) {
        setText(tr("已授权：%1").arg(check.license.licensee));
        setStyleSheet(QString());
    } else {
        setText(tr("评估模式"));
        setStyleSheet(QStringLiteral("color: #e0a030;"));
    }
    setToolTip(check.message());
}
