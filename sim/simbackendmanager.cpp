#include "sim/simbackendmanager.h"

#include "app/log/applogger.h"
#include "sim/platform.h"
#include "sim/simconnect/simconnectplatform.h"
#include "sim/simconnectbackend.h"
#include "sim/simconnectbridgeclient.h"
#include "sim/simdetector.h"
#include "sim/xplanebackend.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QSettings>
#include <QTimer>

namespace {
const QString kCategory = QStringLiteral("SimManager");
// An attempt that has neither connected nor failed by then no longer holds off a new one.
constexpr qint64 kStaleAttemptMs = 30000;
} // namespace

SimBackendManager::SimBackendManager(const QString &settingsPath, QObject *parent)
    : SimBackendManager(settingsPath, Timings(), {}, QString(), parent)
{
}

SimBackendManager::SimBackendManager(const QString &settingsPath, const Timings &timings,
                                     std::function<QString()> processList, const QString &helperDir, QObject *parent)
    : QObject(parent), m_settingsPath(settingsPath), m_timings(timings), m_helperDir(helperDir)
{
    registerSimMetaTypes();
    if (m_helperDir.isEmpty())
        m_helperDir = QCoreApplication::applicationDirPath();

    m_detector = new SimDetector(std::move(processList), this);
    connect(m_detector, &SimDetector::simulatorsChanged, this, &SimBackendManager::onSimulatorsChanged);
    m_detector->startWatching(m_timings.detectIntervalMs);

    QSettings settings(m_settingsPath, QSettings::IniFormat);
    if (settings.value(kAutoConnectKey, true).toBool())
        QTimer::singleShot(m_timings.autoConnectDelayMs, this, &SimBackendManager::onAutoConnect);
}

SimBackendManager::~SimBackendManager()
{
    // The backend's destructor may still emit; nobody should hear it from a half-destroyed manager.
    if (m_backend)
        QObject::disconnect(m_backend, nullptr, this, nullptr);
    // The helper was started for this station; it does not outlive it.
    if (m_helper && m_helper->state() != QProcess::NotRunning) {
        QObject::disconnect(m_helper, nullptr, this, nullptr);
        m_helper->terminate();
        if (!m_helper->waitForFinished(2000)) {
            m_helper->kill();
            m_helper->waitForFinished(1000);
        }
    }
}

void SimBackendManager::onAutoConnect()
{
    if (isConnected())
        return;
    const QList<SimType> running = m_detector->detect();
    if (!running.isEmpty())
        connectTo(running.first());
}

void SimBackendManager::onSimulatorsChanged(const QList<SimType> &simulators)
{
    if (simulators.isEmpty()) {
        m_simType = SimType::None; // a live backend is left alone
        return;
    }
    const SimType first = simulators.first();
    if ((isConnected() || attemptInFlight()) && first == m_simType)
        return;
    connectTo(first);
}

void SimBackendManager::connectTo(SimType type)
{
    if (m_backend) {
        // A deliberate replacement is not a loss: keep its disconnected() away from the loss handler.
        QObject::disconnect(m_backend, nullptr, this, nullptr);
        m_backend->disconnect();
        m_backend->deleteLater();
        m_backend = nullptr;
    }

    if (type == SimType::None) {
        QSettings settings(m_settingsPath, QSettings::IniFormat);
        const QString last = settings.value(kLastSimTypeKey, QStringLiteral("xplane")).toString();
        type = simTypeFromShortName(last);
        if (type == SimType::None)
            type = SimType::XPlane11;
    }

    m_simType = type;
    m_backend = createBackend(type);
    m_attempting = true;
    m_attemptStartedMs = QDateTime::currentMSecsSinceEpoch();
    AppLogger::instance().log(AppLogger::Info, kCategory, QStringLiteral("Connecting to %1").arg(simTypeName(type)));

    connect(m_backend, &ISimBackend::connected, this, &SimBackendManager::onBackendConnected);
    connect(m_backend, &ISimBackend::disconnected, this, &SimBackendManager::onBackendDisconnected);
    connect(m_backend, &ISimBackend::aircraftDataChanged, this, &SimBackendManager::aircraftDataChanged);
    connect(m_backend, &ISimBackend::connectionFailed, this, &SimBackendManager::connectionFailed);
    emit backendChanged(m_backend);
    m_backend->connect();
}

ISimBackend *SimBackendManager::createBackend(SimType type)
{
    QSettings settings(m_settingsPath, QSettings::IniFormat);
    switch (type) {
    case SimType::Prepar3D:
    case SimType::Fsx: {
        const auto port = quint16(settings.value(kBridgePortKey, kDefaultBridgePort).toUInt());
        launchBridgeIfNeeded(port);
        return new SimConnectBridgeClient(port, this);
    }
    case SimType::Msfs2020:
    case SimType::Msfs2024: {
        std::unique_ptr<ISimConnect> port =
            m_portFactory ? m_portFactory(type)
                          : createSystemSimConnect(type, settings.value(kSimConnectLibraryKey).toString());
        return new SimConnectBackend(type, std::move(port), this);
    }
    default:
        break; // X-Plane; connectTo has already turned None into a simulator
    }
    auto *xplane = new XPlaneBackend(this);
    xplane->setHost(settings.value(kXPlaneHostKey, QString::fromLatin1(kDefaultXPlaneHost)).toString(),
                    quint16(settings.value(kXPlanePortKey, kDefaultXPlanePort).toUInt()));
    xplane->setLocalPort(quint16(settings.value(kXPlaneLocalPortKey, XPlaneBackend::kDefaultLocalPort).toUInt()));
    xplane->setSimPath(settings.value(kXPlanePathKey).toString());
    xplane->setXPlaneVersion(type == SimType::XPlane12 ? 12 : 11);
    return xplane;
}

bool SimBackendManager::attemptInFlight() const
{
    return m_backend && m_attempting && QDateTime::currentMSecsSinceEpoch() - m_attemptStartedMs < kStaleAttemptMs;
}

void SimBackendManager::setSimConnectPortFactory(SimConnectPortFactory factory)
{
    m_portFactory = std::move(factory);
}

void SimBackendManager::setBridgeHelperExtraArguments(std::function<QStringList(SimType)> arguments)
{
    m_helperExtraArguments = std::move(arguments);
}

void SimBackendManager::disconnect()
{
    if (!m_backend)
        return;
    QObject::disconnect(m_backend, nullptr, this, nullptr);
    m_backend->disconnect();
    m_backend->deleteLater();
    m_backend = nullptr;
    m_attempting = false;
    // The operator asked for this: no reconnect, no auto-connect until they choose a simulator again.
    if (m_reconnectTimer)
        m_reconnectTimer->stop();
    m_detector->stopWatching();
    AppLogger::instance().log(AppLogger::Info, kCategory, QStringLiteral("Disconnected by the operator"));
    emit backendChanged(nullptr);
}

bool SimBackendManager::isConnected() const
{
    return m_backend && m_backend->isConnected();
}

SimType SimBackendManager::currentSimType() const
{
    return m_simType;
}

ISimBackend *SimBackendManager::backend() const
{
    return m_backend;
}

AircraftData SimBackendManager::aircraftData() const
{
    return m_backend ? m_backend->aircraftData() : AircraftData();
}

SimDetector *SimBackendManager::detector() const
{
    return m_detector;
}

void SimBackendManager::onBackendConnected()
{
    m_attempting = false;
    if (m_reconnectTimer)
        m_reconnectTimer->stop();
    m_detector->stopWatching();
    // The backend knows best what it reached (the bridge learns P3D or FSX from the greeting), and a
    // detection tick during the attempt may have reset the current type when the simulator is not a
    // local process (a remote X-Plane host).
    if (m_backend && m_backend->simType() != SimType::None)
        m_simType = m_backend->simType();
    AppLogger::instance().log(AppLogger::Info, kCategory,
                              QStringLiteral("Connected to %1").arg(simTypeName(m_simType)));
    QSettings settings(m_settingsPath, QSettings::IniFormat);
    settings.setValue(kLastSimTypeKey, simTypeShortName(m_simType));
}

void SimBackendManager::onBackendDisconnected()
{
    m_attempting = false;
    AppLogger::instance().log(
        AppLogger::Info, kCategory,
        QStringLiteral("Lost %1, retrying every %2 ms").arg(simTypeName(m_simType)).arg(m_timings.reconnectIntervalMs));
    emit backendChanged(nullptr);
    m_detector->startWatching(m_timings.detectIntervalMs);
    if (!m_reconnectTimer) {
        m_reconnectTimer = new QTimer(this);
        m_reconnectTimer->setInterval(m_timings.reconnectIntervalMs);
        connect(m_reconnectTimer, &QTimer::timeout, this, &SimBackendManager::onReconnectTick);
    }
    m_reconnectTimer->start();
}

void SimBackendManager::onReconnectTick()
{
    // A detection tick may have started an attempt a moment ago: let it finish.
    if (isConnected() || attemptInFlight())
        return;
    connectTo(m_simType);
}

QStringList SimBackendManager::bridgeHelperArguments(quint16 port)
{
    if (port == kDefaultBridgePort)
        return {};
    return {QString::number(port)};
}

void SimBackendManager::launchBridgeIfNeeded(quint16 port)
{
    if (m_helper && m_helper->state() != QProcess::NotRunning)
        return;
    const QString program = QDir(m_helperDir).filePath(bridgeHelperFileName());
    if (!QFileInfo::exists(program)) {
        // Not an error here: the client's retries run out and the reconnect cycle takes over.
        AppLogger::instance().log(AppLogger::Warning, kCategory,
                                  QStringLiteral("Bridge helper not found: %1").arg(program));
        return;
    }
    if (!m_helper) {
        m_helper = new QProcess(this);
        connect(m_helper, &QProcess::finished, this, [](int exitCode, QProcess::ExitStatus status) {
            AppLogger::instance().log(
                AppLogger::Info, kCategory,
                QStringLiteral("Bridge helper exited with code %1%2")
                    .arg(exitCode)
                    .arg(status == QProcess::CrashExit ? QStringLiteral(" (crashed)") : QString()));
        });
    }
    AppLogger::instance().log(AppLogger::Info, kCategory, QStringLiteral("Starting bridge helper %1").arg(program));
    QStringList arguments = bridgeHelperArguments(port);
    if (m_helperExtraArguments)
        arguments += m_helperExtraArguments(m_simType);
    m_helper->start(program, arguments);
}
