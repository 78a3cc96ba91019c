#pragma once

#include <QLabel>

class LicenseManager;

// The status bar's licence indicator: "评估模式" or the licensee, with the licence's state as
// tool tip; clicking it asks for the licence dialog. Follows licence changes and the language.
//
// Created by the licensing wiring, owned by the status bar; GUI thread. The manager is borrowed.
class LicenseStatusLabel : public QLabel
{
    Q_OBJECT
public:
    explicit LicenseStatusLabel(LicenseManager *manager, QWidget *parent = nullptr);

signals:
    void clicked();

protected:
    void changeEvent(QEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    void retranslateUi();

    LicenseManager *m_manager;
};
