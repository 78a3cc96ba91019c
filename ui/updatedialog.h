#pragma once

#include "licensing/updateservice.h"

#include <QDialog>

class QLabel;
class QProgressBar;
class QPushButton;
class QTextBrowser;

// The self-updater's window: the installed version, the state of the last check, the offered
// version with its release notes in the interface language, the download with a progress bar and
// a cancel button, and the outcome (ready for the next start, or why it failed with the installed
// version unchanged). "Restart now" asks the owner to restart the station, which installs it.
//
// Created on demand by the licensing wiring with the main window as parent; GUI thread. The
// service is borrowed and outlives the dialog; the settings file gives the interface language
// for the notes.
class UpdateDialog : public QDialog
{
    Q_OBJECT
public:
    UpdateDialog(UpdateService *service, const QString &settingsPath, QWidget *parent = nullptr);

signals:
    void restartRequested();

protected:
    void changeEvent(QEvent *event) override;

private:
    void retranslateUi();
    void showState();
    void onProgress(qint64 received, qint64 total);

    UpdateService *m_service;
    QString m_settingsPath;
    QLabel *m_installed = nullptr;
    QLabel *m_status = nullptr;
    QTextBrowser *m_notes = nullptr;
    QProgressBar *m_progress = nullptr;
    QPushButton *m_check = nullptr;
    QPushButton *m_download = nullptr;
    QPushButton *m_cancel = nullptr;
    QPushButton *m_restart = nullptr;
    QPushButton *m_close = nullptr;
};
