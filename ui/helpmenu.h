#pragma once

#include <QMenu>

class QAction;

// The main window's Help menu: the licence dialog and the update check. It only asks; the
// licensing wiring opens the dialogs.
//
// Created by the licensing wiring on the main window's menu bar; GUI thread.
class HelpMenu : public QMenu
{
    Q_OBJECT
public:
    explicit HelpMenu(QWidget *parent = nullptr);

    QAction *licenseAction() const { return m_license; }
    QAction *updateAction() const { return m_update; }

signals:
    void licenseRequested();
    void updateCheckRequested();

protected:
    void changeEvent(QEvent *event) override;

private:
    void retranslateUi();

    QAction *m_license = nullptr;
    QAction *m_update = nullptr;
};
