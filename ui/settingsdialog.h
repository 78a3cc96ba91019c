#pragma once

#include <QDialog>
#include <QString>

class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;

// Edits the connection, navigation-data, interface, update and instructor-server settings in Zobrel.ini:
// autoConnect, xplaneHost, xplanePort, xplanePath, bridgePort, navDataAutoSwitch, navDataSource, navDataMode,
// navServiceUrl, navServiceToken, language, updateManifestUrl, updateAutoCheck and the server's
// (BridgeServerSettings: on/off, port, pairing secret, own certificates). Loads the file when built and writes it on
// "save" (a file that cannot be written keeps the dialog open with a message); the backend manager picks up the
// connection values at its next connection; a changed language is announced by languageChanged() and takes effect
// at once.
//
// Created on demand by the main window (its parent) on the GUI thread.
class SettingsDialog : public QDialog
{
    Q_OBJECT
public:
    explicit SettingsDialog(const QString &settingsPath, QWidget *parent = nullptr);

    void accept() override;

signals:
    // Emitted after a save that changed the language; language is "zh_CN" or "en_US".
    void languageChanged(const QString &language);

protected:
    void changeEvent(QEvent *event) override;

private:
    void retranslateUi();
    void load();
    bool save();
    void onBrowseClicked();
    void createServerGroup();

    QString m_settingsPath;
    QCheckBox *m_autoConnect = nullptr;
    QLineEdit *m_xplaneHost = nullptr;
    QSpinBox *m_xplanePort = nullptr;
    QLineEdit *m_xplanePath = nullptr;
    QSpinBox *m_bridgePort = nullptr;
    QCheckBox *m_navAutoSwitch = nullptr;
    QComboBox *m_navSource = nullptr;
    QComboBox *m_navMode = nullptr;
    QLineEdit *m_navServiceUrl = nullptr;
    QLineEdit *m_navServiceToken = nullptr;
    QComboBox *m_language = nullptr;
    QCheckBox *m_serverEnabled = nullptr;
    QSpinBox *m_serverPort = nullptr;
    QLineEdit *m_pairingSecret = nullptr;
    QLineEdit *m_caFile = nullptr;
    QLineEdit *m_certFile = nullptr;
    QLineEdit *m_keyFile = nullptr;
    QLineEdit *m_caFingerprint = nullptr;
    QLineEdit *m_updateUrl = nullptr;
    QCheckBox *m_updateAutoCheck = nullptr;
    QString m_loadedLanguage;
    // Only what retranslateUi() relabels.
    QGroupBox *m_xplaneBox = nullptr;
    QGroupBox *m_bridgeBox = nullptr;
    QGroupBox *m_navDataBox = nullptr;
    QGroupBox *m_displayBox = nullptr;
    QGroupBox *m_updateBox = nullptr;
    QGroupBox *m_serverBox = nullptr;
    QLabel *m_hostLabel = nullptr;
    QLabel *m_portLabel = nullptr;
    QLabel *m_pathLabel = nullptr;
    QLabel *m_bridgePortLabel = nullptr;
    QLabel *m_navSourceLabel = nullptr;
    QLabel *m_navModeLabel = nullptr;
    QLabel *m_navServiceUrlLabel = nullptr;
    QLabel *m_navServiceTokenLabel = nullptr;
    QLabel *m_languageLabel = nullptr;
    QLabel *m_updateUrlLabel = nullptr;
    QLabel *m_serverPortLabel = nullptr;
    QLabel *m_secretLabel = nullptr;
    QLabel *m_caFileLabel = nullptr;
    QLabel *m_certFileLabel = nullptr;
    QLabel *m_keyFileLabel = nullptr;
    QLabel *m_fingerprintLabel = nullptr;
    QLabel *m_note = nullptr;
    QPushButton *m_browse = nullptr;
    QPushButton *m_save = nullptr;
    QPushButton *m_cancel = nullptr;
};
