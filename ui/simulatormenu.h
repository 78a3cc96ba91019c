#pragma once

#include "sim/simtype.h"

#include <QMenu>

class QAction;

// The "simulator" menu: one action per simulator type and a disconnect action. It only asks;
// the main window turns the requests into backend-manager calls. GUI thread only.
class SimulatorMenu : public QMenu
{
    Q_OBJECT
public:
    explicit SimulatorMenu(QWidget *parent = nullptr);

    // The action that requests type, or null.
    QAction *connectAction(SimType type) const;
    QAction *disconnectAction() const { return m_disconnect; }

    // Ticks the simulator currently served (none: no tick).
    void setCurrent(SimType type);

signals:
    void connectRequested(SimType type);
    void disconnectRequested();

protected:
    void changeEvent(QEvent *event) override;

private:
    void retranslateUi();

    QList<QAction *> m_connectActions;
    QAction *m_disconnect = nullptr;
};
