#include "sim/simconnectbackend.h"

#include "app/log/applogger.h"
#include "sim/simconnect/simconnectsession.h"

#include <QDateTime>

namespace {

const QString kCategory = QStringLiteral("SimConnect");
const QString kAppName = QStringLiteral("Zobrel");
constexpr double kFeetPerMetre = 3.28084;

} // namespace

SimConnectBackend::SimConnectBackend(SimType type, std::unique_ptr<ISimConnect> port, QObject *parent)
    : ISimBackend(parent), m_type(type), m_session(new SimConnectSession(type, std::move(port), this))
{
    QObject::connect(m_session, &SimConnectSession::opened, this, &SimConnectBackend::onOpened);
    QObject::connect(m_session, &SimConnectSession::failed, this, [this](const QString &reason) {
        m_connected = false;
        emit connectionFailed(reason);
        emit disconnected();
    });
    QObject::connect(m_session, &SimConnectSession::closed, this, &SimConnectBackend::onEnded);
    QObject::connect(m_session, &SimConnectSession::sampleUpdated, this, &SimConnectBackend::onSampleUpdated);
    QObject::connect(m_session, &SimConnectSession::tankLayoutChanged, this, &SimConnectBackend::onTankLayout);
    QObject::connect(m_session, &SimConnectSession::tankQuantitiesUpdated, this, &SimConnectBackend::onTankQuantities);
    QObject::connect(m_session, &SimConnectSession::systemEvent, this,
                     [this](const QString &name, quint32 eventId, quint32) { emit eventReceived(name, eventId); });
    QObject::connect(m_session, &SimConnectSession::trafficUpdated, this, &ISimBackend::aiAircraftUpdated);
    QObject::connect(m_session, &SimConnectSession::valueReceived, this, &ISimBackend::simVarValueReceived);
    QObject::connect(m_session, &SimConnectSession::weatherObservationReceived, this, [](const QString &metar) {
        AppLogger::instance().log(AppLogger::Info, kCategory, QStringLiteral("Weather observation: %1").arg(metar));
    });
}

SimConnectBackend::~SimConnectBackend()
{
    QObject::disconnect(m_session, nullptr, this, nullptr);
    m_session->stop();
    emit disconnected();
}

bool SimConnectBackend::connect()
{
    if (m_session->isOpen())
        return true;
    AppLogger::instance().log(AppLogger::Info, kCategory,
                              QStringLiteral("Opening SimConnect to %1").arg(simTypeName(m_type)));
    return m_session->start(kAppName);
}

void SimConnectBackend::disconnect()
{
    m_session->stop();
    m_connected = false;
    emit disconnected();
}

bool SimConnectBackend::isConnected() const
{
    return m_connected;
}

SimType SimConnectBackend::simType() const
{
    return m_type;
}

AircraftData SimConnectBackend::aircraftData() const
{
    return m_data;
}

void SimConnectBackend::onOpened()
{
    m_connected = true;
    m_rejectionLogged = false;
    m_data = AircraftData();
    m_data.gForce = 1.0; // level flight until the first sample says otherwise
    emit connected();
}

void SimConnectBackend::onEnded()
{
    m_connected = false;
    emit disconnected();
}

void SimConnectBackend::onSampleUpdated()
{
    const AircraftData next = simvars::toAircraftData(m_session->sample(), m_data);
    if (!hasPlausiblePosition(next)) {
        if (!m_rejectionLogged) {
            m_rejectionLogged = true;
            AppLogger::instance().log(AppLogger::Warning, kCategory,
                                      QStringLiteral("Sample with an impossible position ignored (lat %1, lon %2, "
                                                     "alt %3 ft); further ones are ignored silently")
                                          .arg(next.lat)
                                          .arg(next.lon)
                                          .arg(next.alt));
        }
        return;
    }
    m_data = next;
    emit aircraftDataChanged(m_data);
}

void SimConnectBackend::onTankLayout(const simvars::TankLayout &layout)
{
    emit fuelConfigChanged(layout.totalCapacityGal() * kFuelConfigPoundsPerGallon, layout.ratios());
}

void SimConnectBackend::onTankQuantities(const simvars::TankLayout &layout)
{
    emit tankQuantitiesReceived(layout.quantityGal.mid(0, layout.usedPositions()));
}

void SimConnectBackend::setData(const QString &name, double value)
{
    setData(name, value, QStringLiteral("number"));
}

void SimConnectBackend::setData(const QString &name, double value, const QString &units)
{
    m_session->setVariable(name, value, units);
}

void SimConnectBackend::transmitEvent(const QString &name, quint32 data)
{
    m_session->sendEvent(name, data);
}

void SimConnectBackend::requestSimVarOnce(const QString &name, const QString &units, int requestId)
{
    m_session->requestVariableOnce(name, units, requestId);
}

void SimConnectBackend::setPosition(double lat, double lon, double altM, double pitch, double bank, double heading,
                                    bool onGround, double airspeedKt)
{
    simconnect::InitPosition position;
    position.lat = lat;
    position.lon = lon;
    position.altFt = altM * kFeetPerMetre;
    position.pitch = pitch;
    position.bank = bank;
    position.heading = heading;
    position.onGround = onGround ? 1 : 0;
    position.airspeedKt = airspeedKt > 0 && airspeedKt < 10000 ? static_cast<uint32_t>(airspeedKt + 0.5) : 0;
    m_session->setPosition(position);
}

void SimConnectBackend::setCameraRelative6DOF(float dx, float dy, float dz, float pitch, float bank, float heading)
{
    m_session->setCamera(dx, dy, dz, pitch, bank, heading);
}

void SimConnectBackend::setCameraSmoothRelative6DOF(float dx, float dy, float dz, float pitch, float bank,
                                                    float heading, float seconds)
{
    // SimConnect moves the camera in one step; there is no smoothing time to give it.
    Q_UNUSED(seconds);
    m_session->setCamera(dx, dy, dz, pitch, bank, heading);
}

void SimConnectBackend::cameraZoomIn()
{
    m_session->sendEvent(QStringLiteral("ZOOM_IN"), 1);
}

void SimConnectBackend::cameraZoomOut()
{
    m_session->sendEvent(QStringLiteral("ZOOM_OUT"), 1);
}

void SimConnectBackend::loadFlightPlan(const QString &path)
{
    m_session->loadFlightPlan(path);
}

void SimConnectBackend::setWeatherObservation(const QString &metar)
{
    m_session->setWeatherObservation(metar);
}

void SimConnectBackend::requestWeatherObservation(double lat, double lon)
{
    m_session->requestWeatherObservation(lat, lon);
}

bool SimConnectBackend::setPaused(bool paused)
{
    return m_session->setPaused(paused);
}

bool SimConnectBackend::setFrozen(bool position, bool attitude)
{
    return m_session->setFrozen(position, attitude);
}

bool SimConnectBackend::setWeather(const WeatherState &weather)
{
    // "GLOB" makes the observation world-wide rather than one station's.
    return m_session->setWeatherObservation(weather.toMetar(QStringLiteral("GLOB"), QDateTime::currentDateTimeUtc()));
}

bool SimConnectBackend::canSetData(const QString &name) const
{
    return m_session->canSetVariable(name);
}
