#include "app/fakesimconnectwiring.h"

#include "app/log/applogger.h"
#include "sim/simbackendmanager.h"
#include "sim/simconnect/fake/fakesimconnect.h"
#include "sim/simconnect/fake/fakesimworld.h"

#include <QSettings>

FakeSimConnectWiring::FakeSimConnectWiring(SimBackendManager *manager, QObject *parent)
    : QObject(parent), m_manager(manager)
{
    manager->setSimConnectPortFactory([this](SimType type) { return std::make_unique<FakeSimConnect>(world(type)); });
    manager->setBridgeHelperExtraArguments([](SimType type) {
        return QStringList{QStringLiteral("--fake-simconnect"), QStringLiteral("--fake-sim"),
                           type == SimType::Fsx ? QStringLiteral("fsx") : QStringLiteral("p3d")};
    });
    AppLogger::instance().log(AppLogger::Info, QStringLiteral("Main"),
                              QStringLiteral("SimConnect simulators are played by the fake simulator"));
}

FakeSimWorld *FakeSimConnectWiring::world(SimType type)
{
    FakeSimWorld *&world = m_worlds[int(type)];
    if (!world)
        world = new FakeSimWorld(type, this);
    return world;
}

void FakeSimConnectWiring::connectNow(const QString &settingsPath)
{
    const QSettings settings(settingsPath, QSettings::IniFormat);
    SimType type = simTypeFromShortName(settings.value(SimBackendManager::kLastSimTypeKey).toString());
    if (type != SimType::Msfs2020 && type != SimType::Msfs2024 && type != SimType::Prepar3D && type != SimType::Fsx)
        type = SimType::Msfs2020;
    m_manager->connectTo(type);
}
