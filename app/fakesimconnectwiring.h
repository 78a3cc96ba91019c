#pragma once

#include "sim/simtype.h"

#include <QHash>
#include <QObject>
#include <QString>

class FakeSimWorld;
class SimBackendManager;

// The station's "--fake-simconnect" mode: every SimConnect simulator the operator picks is played
// by the fake simulator instead of a real one. MSFS 2020/2024 get a fake world in this process
// (one per simulator, living as long as this object, so a reconnect finds the same aircraft);
// Prepar3D and FSX get the bridge helper started with its own --fake-simconnect option. Created
// by the start-up code with the main window as parent; X-Plane is left as it is.
class FakeSimConnectWiring : public QObject
{
    Q_OBJECT
public:
    FakeSimConnectWiring(SimBackendManager *manager, QObject *parent = nullptr);

    // Connects at once to the last SimConnect simulator the settings name, MSFS 2020 otherwise,
    // so the fake is visible without detection (it runs no process to detect).
    void connectNow(const QString &settingsPath);
    FakeSimWorld *world(SimType type);

private:
    SimBackendManager *m_manager;
    QHash<int, FakeSimWorld *> m_worlds;
};
