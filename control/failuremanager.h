#pragma once

#include <QList>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

class ISimBackend;
class QTimer;
class SimOperationDispatcher;

// One failure of the catalogue. Texts (name, category, mode) are the Chinese source texts;
// user interfaces show them through FailureManager::displayText.
struct FailureDef
{
    QString id;
    QString name;
    QString category;
    QString xplaneKey; // written with setData on X-Plane (the backend maps it to its rel_* dataref)
    QString simEvent;  // toggled on the SimConnect simulators; may be empty
    double failValue = 6.0;
    double resetValue = 0.0;
    int state = 0;   // 0 normal, 2 failed
    QString mode;    // "手动"
    int elapsed = 0; // whole seconds since the failure was triggered
};

struct FailurePreset
{
    QString name;
    QStringList failureIds;
};

struct FailureLogEntry
{
    qint64 timeMs = 0; // ms since the epoch
    QString failureId;
    QString failureName;
    QString action; // "触发" or "重置"
};

// Fails and repairs aircraft systems: by hand, from a named preset, at random with a mean time
// between failures, or when a flight condition is met. Keeps the catalogue with each entry's
// state and time since failure, writes failures and repairs to the simulator, and a log of the
// last 200 actions.
//
// Owned by the main window (GUI thread), driven by three timers: elapsed time every 1000 ms,
// condition check every 2000 ms, random check every 60000 ms while random failures are on.
// Writes: X-Plane gets setData(xplaneKey, 6/0); the SimConnect simulators get
// transmitEvent(simEvent, 6/0) where the entry has an event, else setData(xplaneKey, …). With a
// remote target on the dispatcher the write goes to that station as a "failure" command instead.
// State, log and signals change whether or not a simulator is connected.
class FailureManager : public QObject
{
    Q_OBJECT
public:
    struct ConditionTrigger
    {
        QString failureId;
        QString parameter; // "altitude"/"ALT", "speed"/"IAS", "vs"/"VS", "gear", "onGround", "engine1_n1", "engine2_n1"
        double threshold = 0;
        int comparison = 0; // 0 greater than, 1 less than, 2 equal
        bool armed = true;
    };

    static constexpr int kMaxLogEntries = 200;
    static constexpr int kElapsedTickMs = 1000;
    static constexpr int kConditionCheckMs = 2000;
    static constexpr int kRandomCheckMs = 60000;

    explicit FailureManager(QObject *parent = nullptr);

    void setBackend(ISimBackend *backend);
    void setDispatcher(SimOperationDispatcher *dispatcher);

    // Unknown ids are ignored.
    void triggerFailure(const QString &id);
    void resetFailure(const QString &id);
    // Repairs every failed system; no log entries, emits allReset.
    void resetAll();
    // resetAll, then triggers the failures of the first preset of that name.
    void loadPreset(const QString &name);

    void setRandomFailuresEnabled(bool enabled);
    bool randomFailuresEnabled() const { return m_randomEnabled; }
    // Minutes; zero or negative becomes 1.
    void setMtbf(int minutes);
    int mtbf() const { return m_mtbfMinutes; }

    void addConditionTrigger(const ConditionTrigger &trigger);
    void clearConditionTriggers();
    QList<ConditionTrigger> conditionTriggers() const { return m_triggers; }
    void clearHistory();

    QList<FailureDef> failures() const;
    FailureDef failure(const QString &id) const;
    QList<FailurePreset> presets() const { return m_presets; }
    QList<FailureLogEntry> history() const { return m_log; }
    int activeCount() const;
    // Categories in catalogue order (engines first, emergencies last).
    QStringList categories() const;
    // Whether the connected simulator has something to write for this failure; true without a
    // backend or with a remote target (nothing to ask).
    bool isAvailable(const QString &id) const;

    // A catalogue, preset or action text in the current language.
    static QString displayText(const QString &sourceText);

public slots:
    // The timers' work, callable directly.
    void onElapsedTick();
    void onRandomCheck();
    void onConditionCheck();

signals:
    void failureTriggered(const QString &id);
    void failureReset(const QString &id);
    void allReset();
    void historyChanged();
    void randomFailureTriggered(const QString &id, const QString &name);
    void conditionTriggered(const QString &id, const QString &parameter);
    // The elapsed times moved on (once per tick while something is failed).
    void elapsedChanged();

private:
    void write(const FailureDef &def, bool fail);
    void appendLog(const FailureDef &def, const QString &action);
    bool conditionValue(const QString &parameter, double &value) const;

    QMap<QString, FailureDef> m_catalogue;
    QList<FailurePreset> m_presets;
    QList<FailureLogEntry> m_log;
    QList<ConditionTrigger> m_triggers;
    QPointer<ISimBackend> m_backend;
    QPointer<SimOperationDispatcher> m_dispatcher;
    bool m_randomEnabled = false;
    int m_mtbfMinutes = 500;
    QTimer *m_elapsedTimer = nullptr;
    QTimer *m_conditionTimer = nullptr;
    QTimer *m_randomTimer = nullptr;
};
