#pragma once

#include "licensing/license.h"

#include <QDialog>

class LicenseManager;
class QFormLayout;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;

// Shows the licence in use (or evaluation mode and why), loads a licence file, and shows this
// machine's id with a copy button for ordering a licence bound to it. A licence that fails the
// check is not installed: the dialog says why and the licence in use stays.
//
// Created on demand by the licensing wiring with the main window as parent; GUI thread. The
// manager is borrowed and outlives the dialog.
class LicenseDialog : public QDialog
{
    Q_OBJECT
public:
    explicit LicenseDialog(LicenseManager *manager, QWidget *parent = nullptr);

    // Checks and installs the licence file at path, as the load button does after its file dialog.
    bool loadLicenseFile(const QString &path);

    // The feature words of a licence as the operator reads them.
    static QString featureText(const QString &feature);

protected:
    void changeEvent(QEvent *event) override;

private:
    enum class LoadOutcome { None, Installed, Refused };

    void retranslateUi();
    void showLicense();
    void onLoadClicked();

    LicenseManager *m_manager;
    QGroupBox *m_currentBox = nullptr;
    QLabel *m_mode = nullptr;
    QLabel *m_message = nullptr;
    QFormLayout *m_details = nullptr;
    QLabel *m_licensee = nullptr;
    QLabel *m_id = nullptr;
    QLabel *m_features = nullptr;
    QLabel *m_agents = nullptr;
    QLabel *m_expires = nullptr;
    QLabel *m_machineBinding = nullptr;
    QGroupBox *m_machineBox = nullptr;
    QLabel *m_machineHint = nullptr;
    QLineEdit *m_machineId = nullptr;
    QPushButton *m_copy = nullptr;
    QLabel *m_loadResult = nullptr;
    QPushButton *m_load = nullptr;
    QPushButton *m_close = nullptr;
    LoadOutcome m_outcome = LoadOutcome::None;
    LicenseCheck m_refused; // the check of the last refused file
};
