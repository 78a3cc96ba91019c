#pragma once

#include <QDialog>
#include <QString>

class QCheckBox;
class QComboBox;
class QLineEdit;
class QSpinBox;

// Edits the connection, navigation-data and interface settings in Zobrel.ini: autoConnect,
// xplaneHost, xplanePort, xplanePath, bridgePort, navDataAutoSwitch, navDataSource and language. Loads the file when
// built and writes it on "save" (a file that cannot be written keeps the dialog open with a message); the backend
// manager picks up the connection values at its next connection and the language applies at the next start, as the
// dialog tells the operator.
//
// Created on demand by the main window (its parent) on the GUI thread.
class SettingsDialog : public QDialog
{
    Q_OBJECT
public:
    explicit SettingsDialog(const QString &settingsPath, QWidget *parent = nullptr);

    void accept() override;

private:
    void load();
    bool save();
    void onBrowseClicked();

    QString m_settingsPath;
    QCheckBox *m_autoConnect = nullptr;
    QLineEdit *m_xplaneHost = nullptr;
    QSpinBox *m_xplanePort = nullptr;
    QLineEdit *m_xplanePath = nullptr;
    QSpinBox *m_bridgePort = nullptr;
    QCheckBox *m_navAutoSwitch = nullptr;
    QComboBox *m_navSource = nullptr;
    QComboBox *m_language = nullptr;
};
