#include "sim/xplanebackend.h"

#include "app/log/applogger.h"
#include "sim/xplanefailuretable.h"
#include "sim/xplaneweather.h"

#include <QHostInfo>
#include <QMetaEnum>
#include <QNetworkDatagram>
#include <QTimer>
#include <QUdpSocket>
#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

const QString kCategory = QStringLiteral("XPlane");

constexpr int kRequestIntervalMs = 1000;
constexpr int kResubscribeEveryTicks = 5;
constexpr int kSubscriptionHz = 5;
constexpr int kMaxIndex = 150;

constexpr int kRrefSize = 413;
constexpr int kRrefPathField = 400;
constexpr int kDrefSize = 509;
constexpr int kDrefPathField = 500;
constexpr int kCmndSize = 255;
constexpr int kCmndPathField = 250;
constexpr int kPrelSize = 69;
constexpr int kPosiSize = 45;
constexpr int kReplyRecordSize = 8;

constexpr double kMetresToFeet = 3.28084;
constexpr double kMsToKnots = 1.94384;
constexpr double kInHgToHpa = 33.8639;
constexpr double kSecondsPerHour = 3600.0;
constexpr double kFuelCapacityChangeKg = 1.0;
constexpr quint16 kAllTankRatios = 0x1FF;
// X-Plane numbers tanks as Plane Maker lists them; the usual wing layout puts left before right.
constexpr int kLeftTank = 0;
constexpr int kRightTank = 1;

// How long after a pause toggle the simulator's paused dataref is not believed (replies sent
// before it handled the toggle).
constexpr qint64 kPauseSettleMs = 1000;

const QString kPlanePathOverride = QStringLiteral("sim/operation/override/override_planepath[0]");

// Shared by every backend instance: the re-subscription rhythm follows the total tick count.
int s_tickCount = 0;

struct Subscription
{
    int firstIndex;
    const char *dataref;
    int elements = 0; // 0: a plain dataref; n: elements [0]..[n-1] on consecutive indices
};

// Sent in this order; the index is echoed back by the simulator with every value.
const Subscription kSubscriptions[] = {
    {0, "sim/flightmodel/position/latitude"},
    {1, "sim/flightmodel/position/longitude"},
    {2, "sim/flightmodel/position/elevation"},
    {3, "sim/flightmodel/position/indicated_airspeed"},
    {4, "sim/flightmodel/position/true_airspeed"},
    {5, "sim/flightmodel/position/groundspeed"},
    {6, "sim/cockpit2/gauges/indicators/vvi_fpm_pilot"},
    {7, "sim/flightmodel/position/mag_psi"},
    {8, "sim/flightmodel/position/true_psi"},
    {9, "sim/flightmodel/position/theta"},
    {10, "sim/flightmodel/position/phi"},
    {11, "sim/flightmodel/fuel/total_fuel_kgs"},
    {12, "sim/flightmodel/gear/deploy_ratio"},
    {13, "sim/flightmodel/controls/flaprat"},
    {14, "sim/flightmodel/failures/onground"},
    {15, "sim/flightmodel/position/hpath"},
    {16, "sim/flightmodel/position/machno"},
    {17, "sim/flightmodel/position/y_agl"},
    {18, "sim/flightmodel/engine/ENGN_thro", 2},
    {20, "sim/aircraft/engine/acf_num_engines"},
    {21, "sim/cockpit2/gauges/indicators/altitude_ft_pilot"},
    {30, "sim/flightmodel/engine/ENGN_N1_", 4},
    {34, "sim/flightmodel/engine/ENGN_EGT_c", 4},
    {38, "sim/flightmodel/engine/ENGN_FF_", 4},
    {42, "sim/flightmodel/engine/ENGN_running", 4},
    {46, "sim/flightmodel/engine/ENGN_fire", 2},
    {48, "sim/aircraft/engine/acf_eng_type"},
    {147, "sim/cockpit2/engine/indicators/engine_speed_rpm", 4},
    {50, "sim/flightmodel/controls/elv_trim"},
    {51, "sim/flightmodel/controls/ail_trim"},
    {52, "sim/flightmodel/controls/rud_trim"},
    {53, "sim/flightmodel/controls/parkbrake"},
    {54, "sim/flightmodel/controls/sbrkrat"},
    {60, "sim/cockpit/radios/nav1_freq_hz"},
    {61, "sim/cockpit/radios/nav1_stdby_freq_hz"},
    {62, "sim/cockpit/radios/nav2_freq_hz"},
    {63, "sim/cockpit/radios/nav2_stdby_freq_hz"},
    {64, "sim/cockpit/radios/com1_freq_hz"},
    {65, "sim/cockpit/radios/com1_stdby_freq_hz"},
    {66, "sim/cockpit/radios/com2_freq_hz"},
    {67, "sim/cockpit/radios/com2_stdby_freq_hz"},
    {68, "sim/cockpit/radios/adf1_freq_hz"},
    {69, "sim/cockpit/radios/transponder_code"},
    {70, "sim/cockpit/autopilot/autopilot_mode"},
    {71, "sim/cockpit/autopilot/heading_mag"},
    {72, "sim/cockpit/autopilot/altitude"},
    {73, "sim/cockpit2/autopilot/airspeed_dial_kts"},
    {74, "sim/cockpit/autopilot/vertical_velocity"},
    {75, "sim/cockpit/autopilot/heading_mode"},
    {76, "sim/cockpit/autopilot/altitude_mode"},
    {77, "sim/cockpit/autopilot/airspeed_mode"},
    {78, "sim/cockpit/autopilot/vnav_enabled"},
    {79, "sim/cockpit/autopilot/mode_hnav"},
    {80, "sim/cockpit/autopilot/mode_gls"},
    {90, "sim/flightmodel/fuel/CF_flow"},
    {91, "sim/flightmodel/weight/m_total"},
    {92, "sim/flightmodel/weight/m_fuel", 9},
    {110, "sim/aircraft/view/acf_ICAO"},
    {111, "sim/aircraft/view/acf_tailnum"},
    {112, "sim/flightmodel/position/local_x"},
    {113, "sim/flightmodel/position/local_y"},
    {114, "sim/flightmodel/position/local_z"},
    {115, "sim/flightmodel/position/V_gnd"},
    {116, "sim/flightmodel/position/heading_psi"},
    {117, "sim/flightmodel/position/local_vx"},
    {118, "sim/flightmodel/position/local_vy"},
    {119, "sim/flightmodel/position/local_vz"},
    {120, "sim/flightmodel/forces/g_nrml"},
    {121, "sim/cockpit2/radios/indicators/nav1_display_horizontal"},
    {122, "sim/cockpit2/radios/indicators/nav1_display_vertical"},
    // 121 and 122 are only "signal present" flags; the deflections in dots come from these.
    {123, "sim/cockpit2/radios/indicators/nav1_hdef_dots_pilot"},
    {124, "sim/cockpit2/radios/indicators/nav1_vdef_dots_pilot"},
    {125, "sim/time/paused"},
    {130, "sim/aircraft/weight/acf_m_fuel_tot"},
    {131, "sim/aircraft/overflow/acf_tank_rat", 9},
    {140, "sim/weather/temperature_ambient_c"},
    {141, "sim/weather/wind_direction_degt"},
    {142, "sim/weather/wind_speed_kt"},
    {143, "sim/weather/visibility_reported_m"},
    {144, "sim/weather/barometer_sea"},
    {145, "sim/cockpit2/gauges/actuators/barometer_setting_in_hg_pilot"},
};

// A zero-filled datagram starting with the four-letter tag and its zero byte.
QByteArray makeDatagram(const char *tag, int size)
{
    QByteArray out(size, '\0');
    std::memcpy(out.data(), tag, 4);
    return out;
}

// Copies UTF-8 text into a fixed field, leaving at least one terminating zero.
void putText(QByteArray &out, int offset, int fieldSize, const QByteArray &text)
{
    const int length = std::min<int>(text.size(), fieldSize - 1);
    std::memcpy(out.data() + offset, text.constData(), length);
}

template <typename T> void putLe(QByteArray &out, int offset, T value)
{
    qToLittleEndian<T>(value, out.data() + offset);
}

// float -> int without undefined behaviour: a garbled datagram can carry NaN or 1e30.
int truncated(double value)
{
    if (!std::isfinite(value))
        return 0;
    return static_cast<int>(std::clamp(std::trunc(value), -2147483648.0, 2147483647.0));
}

bool isSet(float value)
{
    return value > 0.5f;
}

// X-Plane sends integer datarefs as floats; these flags count as on for any non-zero integer part.
bool truncatesNonZero(float value)
{
    return truncated(value) != 0;
}

int percentTruncated(float value)
{
    return truncated(static_cast<double>(value) * 100.0);
}

} // namespace

XPlaneBackend::XPlaneBackend(QObject *parent) : ISimBackend(parent)
{
    m_socket = new QUdpSocket(this);
    m_timer = new QTimer(this);
    QObject::connect(m_socket, &QUdpSocket::readyRead, this, &XPlaneBackend::onReadyRead);
    QObject::connect(m_timer, &QTimer::timeout, this, &XPlaneBackend::onRequestData);
}

XPlaneBackend::~XPlaneBackend()
{
    if (m_lookupId >= 0)
        QHostInfo::abortHostLookup(m_lookupId);
    m_timer->stop();
    m_socket->abort();
    emit disconnected();
}

void XPlaneBackend::setHost(const QString &host, quint16 port)
{
    m_host = host;
    m_remotePort = port;
}

void XPlaneBackend::setLocalPort(quint16 port)
{
    m_localPort = port;
}

quint16 XPlaneBackend::boundPort() const
{
    return m_socket->state() == QAbstractSocket::BoundState ? m_socket->localPort() : 0;
}

void XPlaneBackend::setSimPath(const QString &path)
{
    m_simPath = path;
}

void XPlaneBackend::setXPlaneVersion(int version)
{
    m_xplaneVersion = version;
}

bool XPlaneBackend::connect()
{
    m_subscribed = false;
    m_socket->abort();
    // Not shared: a second station on the same port should fail loudly rather than steal replies.
    if (!m_socket->bind(QHostAddress::Any, m_localPort, QAbstractSocket::DontShareAddress)) {
        m_timer->stop();
        AppLogger::instance().log(AppLogger::Warning, kCategory, QStringLiteral("bind failed"));
        return false;
    }
    m_rejectionLogged = false;
    resolveHost();
    registerAll();
    m_timer->start(kRequestIntervalMs);
    return true;
}

void XPlaneBackend::disconnect()
{
    m_timer->stop();
    m_socket->abort();
    m_connected = false;
    m_subscribed = false;
    m_rx.fuelCapacityKg = 0;
    m_rx.ratioMask = 0;
    m_rx.fuelConfigSent = false;
    m_rx.paused = -1;
    emit disconnected();
}

bool XPlaneBackend::isConnected() const
{
    return m_connected;
}

SimType XPlaneBackend::simType() const
{
    return m_xplaneVersion > 11 ? SimType::XPlane12 : SimType::XPlane11;
}

AircraftData XPlaneBackend::aircraftData() const
{
    return m_rx.data;
}

QString XPlaneBackend::simPath() const
{
    return m_simPath;
}

void XPlaneBackend::setData(const QString &name, double value)
{
    if (!XPlaneFailureTable::isFailureKey(name)) {
        send(buildDref(static_cast<float>(value), name));
        return;
    }
    const QString dataref = XPlaneFailureTable::dataref(name, m_xplaneVersion);
    if (dataref.isEmpty()) {
        // Writing the key as a path would do nothing in X-Plane and hide the gap from the instructor.
        AppLogger::instance().log(AppLogger::Warning, kCategory,
                                  QStringLiteral("[XPlane] failure %1 has no dataref on X-Plane %2; not written")
                                      .arg(name)
                                      .arg(m_xplaneVersion > 11 ? 12 : 11));
        return;
    }
    send(buildDref(static_cast<float>(value), dataref));
}

bool XPlaneBackend::canSetData(const QString &name) const
{
    return !XPlaneFailureTable::isFailureKey(name) || !XPlaneFailureTable::dataref(name, m_xplaneVersion).isEmpty();
}

void XPlaneBackend::transmitEvent(const QString &name, quint32 data)
{
    Q_UNUSED(data); // CMND carries no argument
    send(buildCmnd(name));
}

void XPlaneBackend::setPosition(double lat, double lon, double altM, double pitch, double bank, double heading,
                                bool onGround, double airspeedKt)
{
    // PREL places the aircraft level and at rest; attitude, ground flag and speed have no field.
    Q_UNUSED(pitch);
    Q_UNUSED(bank);
    Q_UNUSED(onGround);
    Q_UNUSED(airspeedKt);
    send(buildPrel(lat, lon, altM, heading));
}

void XPlaneBackend::sendPosi(double lat, double lon, double elevM, float pitch, float roll, float heading)
{
    send(buildPosi(lat, lon, elevM, pitch, roll, heading));
}

bool XPlaneBackend::setPaused(bool paused)
{
    if (m_xplaneVersion > 11)
        return send(
            buildCmnd(paused ? QStringLiteral("sim/operation/pause_on") : QStringLiteral("sim/operation/pause_off")));
    // X-Plane 11 has only the toggle, so the current state must be known.
    if (m_rx.paused < 0)
        return false;
    if ((m_rx.paused != 0) == paused)
        return true;
    if (!send(buildCmnd(QStringLiteral("sim/operation/pause_toggle"))))
        return false;
    // Taken as done at once, so that asking twice does not toggle back; replies still on their
    // way may show the old state for a moment and are not believed for a while.
    m_rx.paused = paused ? 1 : 0;
    m_pauseToggledAt.start();
    return true;
}

bool XPlaneBackend::setFrozen(bool position, bool attitude)
{
    if (attitude && !position)
        return false;
    return send(buildDref(position ? 1.0f : 0.0f, kPlanePathOverride));
}

bool XPlaneBackend::setWeather(const WeatherState &weather)
{
    bool sent = true;
    for (const XPlaneWeather::Write &write : XPlaneWeather::writes(weather, m_xplaneVersion))
        sent = send(buildDref(write.value, write.dataref)) && sent;
    return sent;
}

QByteArray XPlaneBackend::buildRref(int frequency, int index, const QString &dataref)
{
    QByteArray out = makeDatagram("RREF", kRrefSize);
    putLe<qint32>(out, 5, frequency);
    putLe<qint32>(out, 9, index);
    putText(out, 13, kRrefPathField, dataref.toUtf8());
    return out;
}

QByteArray XPlaneBackend::buildDref(float value, const QString &dataref)
{
    QByteArray out = makeDatagram("DREF", kDrefSize);
    putLe<float>(out, 5, value);
    putText(out, 9, kDrefPathField, dataref.toUtf8());
    return out;
}

QByteArray XPlaneBackend::buildCmnd(const QString &command)
{
    QByteArray out = makeDatagram("CMND", kCmndSize);
    putText(out, 5, kCmndPathField, command.toUtf8());
    return out;
}

QByteArray XPlaneBackend::buildPrel(double lat, double lon, double elevation, double heading)
{
    constexpr qint32 kStartAtLatLonEle = 6;
    QByteArray out = makeDatagram("PREL", kPrelSize);
    putLe<qint32>(out, 5, kStartAtLatLonEle);
    // Bytes 9..28 (aircraft 0, no airport, runway 0/0) and the speed at 61 stay zero.
    putLe<double>(out, 29, lat);
    putLe<double>(out, 37, lon);
    putLe<double>(out, 45, elevation);
    putLe<double>(out, 53, heading);
    return out;
}

QByteArray XPlaneBackend::buildPosi(double lat, double lon, double elevation, float pitch, float roll, float heading)
{
    QByteArray out = makeDatagram("POSI", kPosiSize);
    // Byte 5 is the aircraft index: 0, the user aircraft.
    putLe<double>(out, 8, lat);
    putLe<double>(out, 16, lon);
    putLe<double>(out, 24, elevation);
    putLe<float>(out, 32, pitch);
    putLe<float>(out, 36, roll);
    putLe<float>(out, 40, heading);
    return out;
}

void XPlaneBackend::resolveHost()
{
    if (m_lookupId >= 0) {
        QHostInfo::abortHostLookup(m_lookupId);
        m_lookupId = -1;
    }
    m_hostAddress.clear();
    const QString host = m_host.trimmed();
    if (host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0) {
        m_hostAddress = QHostAddress(QHostAddress::LocalHost);
        return;
    }
    if (m_hostAddress.setAddress(host) || host.isEmpty())
        return;
    // Until the answer arrives every send is a no-op; the table goes out as soon as it does.
    m_lookupId = QHostInfo::lookupHost(host, this, &XPlaneBackend::onHostLookedUp);
}

void XPlaneBackend::onHostLookedUp(const QHostInfo &info)
{
    if (info.lookupId() != m_lookupId)
        return;
    m_lookupId = -1;
    const QList<QHostAddress> addresses = info.addresses();
    const auto ipv4 = std::find_if(addresses.cbegin(), addresses.cend(), [](const QHostAddress &address) {
        return address.protocol() == QAbstractSocket::IPv4Protocol;
    });
    if (ipv4 != addresses.cend())
        m_hostAddress = *ipv4;
    else if (!addresses.isEmpty())
        m_hostAddress = addresses.first();

    if (m_hostAddress.isNull()) {
        AppLogger::instance().log(AppLogger::Warning, kCategory,
                                  QStringLiteral("[XPlane] host lookup failed: %1").arg(info.hostName()));
        return;
    }
    if (m_socket->state() == QAbstractSocket::BoundState)
        registerAll();
}

void XPlaneBackend::registerAll()
{
    for (const Subscription &row : kSubscriptions) {
        const QString dataref = QString::fromLatin1(row.dataref);
        if (row.elements == 0)
            send(buildRref(kSubscriptionHz, row.firstIndex, dataref));
        for (int i = 0; i < row.elements; ++i)
            send(buildRref(kSubscriptionHz, row.firstIndex + i, QStringLiteral("%1[%2]").arg(dataref).arg(i)));
    }
    m_subscribed = true;

    const bool bound = m_socket->state() == QAbstractSocket::BoundState;
    const char *state = QMetaEnum::fromType<QAbstractSocket::SocketState>().valueToKey(m_socket->state());
    AppLogger::instance().log(AppLogger::Debug, kCategory,
                              QStringLiteral("[XPlane] socket state: %1 bound=%2 localPort=%3")
                                  .arg(QLatin1String(state), bound ? QStringLiteral("true") : QStringLiteral("false"))
                                  .arg(m_socket->localPort()));
}

bool XPlaneBackend::send(const QByteArray &datagram)
{
    // Unbound (before connect or after disconnect) writing would bind a random port implicitly.
    if (!m_socket || m_hostAddress.isNull() || m_socket->state() != QAbstractSocket::BoundState)
        return false;
    return m_socket->writeDatagram(datagram, m_hostAddress, m_remotePort) == datagram.size();
}

void XPlaneBackend::onRequestData()
{
    ++s_tickCount;
    if (s_tickCount % kResubscribeEveryTicks != 0)
        return;
    // Subscriptions do not survive a simulator restart, and one started after us never got them.
    m_subscribed = false;
    registerAll();
}

void XPlaneBackend::onReadyRead()
{
    while (m_socket->hasPendingDatagrams()) {
        const QNetworkDatagram datagram = m_socket->receiveDatagram();
        if (!datagram.isValid())
            break;
        processDatagram(datagram.data());
    }
}

void XPlaneBackend::processDatagram(const QByteArray &datagram)
{
    if (datagram.size() <= 4 || !datagram.startsWith("RREF"))
        return;
    // The fifth byte is a header byte only when it is one of the values X-Plane puts there;
    // otherwise the records start right after the tag.
    const char header = datagram.at(4);
    int offset = (header == 'O' || header == ',' || header == '\0') ? 5 : 4;
    Received next = m_rx;
    bool usable = true;
    for (; offset + kReplyRecordSize <= datagram.size(); offset += kReplyRecordSize) {
        const char *record = datagram.constData() + offset;
        usable = applyValue(next, qFromLittleEndian<qint32>(record), qFromLittleEndian<float>(record + 4)) && usable;
    }
    if (!usable || !hasPlausiblePosition(next.data)) {
        // A garbled or hostile reply must not reach the map: keep the last good sample.
        if (!m_rejectionLogged) {
            m_rejectionLogged = true;
            AppLogger::instance().log(AppLogger::Warning, kCategory,
                                      QStringLiteral("[XPlane] reply with an impossible position ignored "
                                                     "(lat %1, lon %2, alt %3 ft); further ones are ignored silently")
                                          .arg(next.data.lat)
                                          .arg(next.data.lon)
                                          .arg(next.data.alt));
        }
        return;
    }
    if (m_pauseToggledAt.isValid() && m_pauseToggledAt.elapsed() < kPauseSettleMs)
        next.paused = m_rx.paused;
    // Fuel per side comes from the tanks, not from a dataref of its own.
    next.data.fuelL = next.tankFuelKg[kLeftTank] / kFuelKgPerUsGallon;
    next.data.fuelR = next.tankFuelKg[kRightTank] / kFuelKgPerUsGallon;
    m_rx = next;

    emit aircraftDataChanged(m_rx.data);
    publishTankQuantities();
    publishFuelConfigIfComplete();

    if (!m_connected) {
        m_connected = true;
        emit connected();
    }
}

bool XPlaneBackend::applyValue(Received &rx, int index, float value)
{
    if (index < 0 || index > kMaxIndex)
        return true;
    // A position that is not a number spoils the whole reply; elsewhere such a value says
    // nothing and the member keeps its last value.
    constexpr int kLastPositionIndex = 2;
    if (!std::isfinite(value))
        return index > kLastPositionIndex;
    const double v = value;
    AircraftData &d = rx.data;

    if (index >= 30 && index <= 33) {
        d.engN1[index - 30] = v;
    } else if (index >= 34 && index <= 37) {
        d.egt[index - 34] = v;
    } else if (index >= 38 && index <= 41) {
        d.ff[index - 38] = v * kSecondsPerHour / kFuelKgPerUsGallon; // kg/s
    } else if (index >= 42 && index <= 45) {
        d.engRun[index - 42] = isSet(value);
    } else if (index >= 46 && index <= 47) {
        d.engFire[index - 46] = isSet(value);
    } else if (index >= 147 && index <= 149) {
        d.rpm[index - 147] = v; // 150 (fourth engine) is subscribed but not shown
    } else if (index >= 92 && index <= 100) {
        rx.tankFuelKg[index - 92] = v;
    } else if (index >= 131 && index <= 139) {
        rx.tankRatios[index - 131] = v;
        rx.ratioMask |= quint16(1u << (index - 131));
    } else {
        // clang-format off
        switch (index) {
        case 0: d.lat = v; break;
        case 1: d.lon = v; break;
        case 2: d.alt = v * kMetresToFeet; break;
        case 3: d.ias = v; break;
        case 4: d.tas = v * kMsToKnots; break;
        case 5: d.gs = v * kMsToKnots; break;
        case 6: d.vs = v; break;
        case 7: d.hdg = v; break;
        case 8: d.hdgTrue = v; break;
        case 9: d.pitch = v; break;
        case 10: d.bank = v; break;
        case 11: d.fuelTotal = v / kFuelKgPerUsGallon; break;
        case 12: d.gear = isSet(value); break;
        case 13: d.flaps = percentTruncated(value); break;
        case 14: d.onGround = isSet(value); break;
        case 15: d.track = v; break;
        case 16: d.mach = v; break;
        case 17: d.altAGL = v * kMetresToFeet; break;
        case 18:
        case 19:
            // Outside 0..1 the lever dataref holds reverse or garbage; keep the last good value.
            if (v >= 0.0 && v <= 1.0)
                (index == 18 ? d.thr1 : d.thr2) = v * 100.0;
            break;
        case 20: d.engCnt = std::clamp(truncated(value), 0, 4); break;
        case 21: d.altInd = v; break;
        case 48: d.engType = truncated(value); break;
        case 50: d.elevTrim = v; break;
        case 51: d.ailTrim = v; break;
        case 52: d.rudTrim = v; break;
        case 53: d.parkBrake = percentTruncated(value); break;
        // The handle reads -0.5 when armed, which is no deployment.
        case 54: d.spoiler = std::clamp(v, 0.0, 1.0) * 100.0; break;
        case 60: d.nav1 = v / 100.0; break;
        case 61: d.nav1s = v / 100.0; break;
        case 62: d.nav2 = v / 100.0; break;
        case 63: d.nav2s = v / 100.0; break;
        case 64: d.com1 = v / 100.0; break;
        case 65: d.com1s = v / 100.0; break;
        case 66: d.com2 = v / 100.0; break;
        case 67: d.com2s = v / 100.0; break;
        case 68: d.adf = v; break;
        case 69: d.xpdr = v; break;
        case 70: d.apMaster = isSet(value); break;
        case 71: d.apHdg = v; break;
        case 72: d.apAlt = v; break;
        case 73: d.apSpd = v; break;
        case 74: d.apVs = v; break;
        case 75: d.apHdgLock = truncatesNonZero(value); break;
        case 76: d.apAltLock = truncatesNonZero(value); break;
        case 77: d.apSpdLock = truncatesNonZero(value); break;
        case 78: d.apVnav = isSet(value); break;
        case 79: d.apNavLock = truncatesNonZero(value); break;
        case 80: d.apAppr = truncatesNonZero(value); break;
        case 91: d.totalWt = v; break;
        case 120: d.gForce = v; break;
        case 123: d.loc = v; break;
        case 124: d.gsDev = v; break;
        case 125: rx.paused = isSet(value) ? 1 : 0; break;
        case 130: applyFuelCapacity(rx, v); break;
        case 140: d.ambTemp = v; break;
        case 141: d.windDir = v; break;
        case 142: d.windSpd = v; break;
        case 143: d.vis = v; break;
        case 144: d.baroSea = v * kInHgToHpa; break;
        case 145: d.baro = v * kInHgToHpa; break;
        default: break; // subscribed for completeness (90, 110-122, 150) or unknown
        }
        // clang-format on
    }
    return true;
}

void XPlaneBackend::applyFuelCapacity(Received &rx, double capacityKg)
{
    // A different capacity means another aircraft: its tank layout has to arrive in full again.
    if (rx.fuelConfigSent && rx.fuelCapacityKg > 0 &&
        std::abs(capacityKg - rx.fuelCapacityKg) > kFuelCapacityChangeKg) {
        rx.ratioMask = 0;
        rx.fuelConfigSent = false;
    }
    rx.fuelCapacityKg = capacityKg;
}

void XPlaneBackend::publishTankQuantities()
{
    emit tankQuantitiesReceived(QList<double>(std::begin(m_rx.tankFuelKg), std::end(m_rx.tankFuelKg)));
}

void XPlaneBackend::publishFuelConfigIfComplete()
{
    if (m_rx.fuelConfigSent || m_rx.fuelCapacityKg <= 0 || m_rx.ratioMask != kAllTankRatios)
        return;
    m_rx.fuelConfigSent = true;
    emit fuelConfigChanged(m_rx.fuelCapacityKg, QList<double>(std::begin(m_rx.tankRatios), std::end(m_rx.tankRatios)));
}
