#pragma once

#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

class FailureManager;
class FuelManager;
class ISimBackend;
class SimOperationDispatcher;

// Carries out an instructor's command on the agent's own simulator with the station's own control
// classes: a dispatcher without a remote target (so every operation takes its local route), the
// failure manager and the fuel manager. Repositions, pause and freeze go to the backend directly,
// as the station's own controllers do for its local simulator. Keeps what the agent reports about
// itself beyond the sample: paused, position frozen, the active failures.
//
// Owned by the agent station, GUI thread. The backend is borrowed and replaced on every change.
class AgentCommands : public QObject
{
    Q_OBJECT
public:
    struct Result
    {
        bool success = false;
        QString message;
    };

    // settingsPath: the agent's settings file (the fuel manager's presets live there).
    explicit AgentCommands(const QString &settingsPath, QObject *parent = nullptr);

    void setBackend(ISimBackend *backend);
    // One "command" message; the action decides which keys are read. Never throws; malformed
    // parameters are a failed result with the reason.
    Result execute(const QString &action, const QJsonObject &command);

    bool paused() const { return m_paused; }
    bool positionFrozen() const { return m_positionFrozen; }
    QStringList activeFailures() const;

private:
    Result reposition(const QJsonObject &command);
    Result failure(const QJsonObject &command);
    Result setFuel(const QJsonObject &command);
    Result loadFuel(const QJsonObject &command);

    QPointer<ISimBackend> m_backend;
    SimOperationDispatcher *m_dispatcher = nullptr;
    FailureManager *m_failures = nullptr;
    FuelManager *m_fuel = nullptr;
    bool m_paused = false;
    bool m_positionFrozen = false;
};
