#pragma once

#include <QLabel>
#include <QString>

// Status-bar field naming what the station's controls act on: the local simulator or a remote
// agent (by callsign). The bridge wiring keeps it current. GUI thread only.
class RemoteTargetLabel : public QLabel
{
    Q_OBJECT
public:
    explicit RemoteTargetLabel(QWidget *parent = nullptr);

    // name: the agent's callsign (or id); empty for the local simulator. connected: the agent is
    // registered now.
    void setTarget(const QString &name, bool connected);

protected:
    void changeEvent(QEvent *event) override;

private:
    void retranslateUi();

    QString m_name;
    bool m_connected = true;
};
