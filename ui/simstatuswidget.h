#pragma once

#include "sim/simtype.h"

#include <QWidget>

class QLabel;

// Status-bar field showing which simulator the station serves and whether the link is up.
// The main window feeds it from the backend manager's backendChanged and the backend's
// connected/disconnected signals. GUI thread only.
class SimStatusWidget : public QWidget
{
    Q_OBJECT
public:
    enum class State { Disconnected, Connecting, Connected };

    explicit SimStatusWidget(QWidget *parent = nullptr);

    void setStatus(SimType type, State state);
    SimType simType() const { return m_type; }
    State state() const { return m_state; }

    // The simulator's name as the interface shows it; "none" is translated, names are not.
    static QString simulatorText(SimType type);

protected:
    void changeEvent(QEvent *event) override;

private:
    SimType m_type = SimType::None;
    State m_state = State::Disconnected;
    QLabel *m_simulator = nullptr;
    QLabel *m_lamp = nullptr;
    QLabel *m_connection = nullptr;
};
