#include "sim/simconnectbridgeclient.h"

#include "app/log/applogger.h"

#include <QDateTime>
#include <QHostAddress>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QJsonValue>
#include <QStringDecoder>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

namespace {

const QString kCategory = QStringLiteral("SimConnectBridge");
const QString kHost = QStringLiteral("127.0.0.1");
constexpr int kDisconnectWaitMs = 1000;
// Nothing the helper legitimately sends comes near this line length; a longer line is dropped.
constexpr qsizetype kMaxLineBytes = 256 * 1024;
// Qt's own buffer of the socket stays this small, so a flood waits in the kernel rather than in
// the station's memory.
constexpr qint64 kSocketReadBufferBytes = 256 * 1024;

// Variables the helper cannot write directly and that go out as an event instead.
struct EventTranslation
{
    const char *variable;
    const char *event;
};
constexpr EventTranslation kEventTranslations[] = {
    {"AUTOPILOT_HEADING_LOCK_DIR", "HEADING_BUG_SET"},
};

// Builds one command line with the keys in the order they are added. QJsonObject sorts its keys,
// and the line protocol fixes the order of the keys, so the line is assembled by hand.
class CommandLine
{
public:
    explicit CommandLine(const char *cmd)
    {
        m_bytes = "{\"cmd\":";
        appendString(QString::fromLatin1(cmd));
    }

    CommandLine &text(const char *key, const QString &value)
    {
        appendKey(key);
        appendString(value);
        return *this;
    }

    CommandLine &number(const char *key, double value)
    {
        appendKey(key);
        appendNumber(value);
        return *this;
    }

    CommandLine &number(const char *key, float value)
    {
        appendKey(key);
        appendNumber(value);
        return *this;
    }

    CommandLine &integer(const char *key, quint32 value)
    {
        appendKey(key);
        m_bytes += QByteArray::number(value);
        return *this;
    }

    CommandLine &boolean(const char *key, bool value)
    {
        appendKey(key);
        m_bytes += value ? "true" : "false";
        return *this;
    }

    QByteArray finish() const { return m_bytes + "}\n"; }

private:
    void appendKey(const char *key)
    {
        m_bytes += ',';
        appendString(QString::fromLatin1(key));
        m_bytes += ':';
    }

    // Shortest text that reads back to the same value; JSON has no NaN or infinity.
    template <typename T> void appendNumber(T value)
    {
        if (!std::isfinite(value)) {
            m_bytes += "null";
            return;
        }
        char digits[64];
        const auto result = std::to_chars(digits, digits + sizeof digits, value);
        m_bytes.append(digits, result.ptr - digits);
    }

    void appendString(const QString &value)
    {
        static const char kHex[] = "0123456789abcdef";
        m_bytes += '"';
        const QByteArray utf8 = value.toUtf8();
        for (const char c : utf8) {
            const auto byte = static_cast<unsigned char>(c);
            if (c == '"' || c == '\\') {
                m_bytes += '\\';
                m_bytes += c;
            } else if (c == '\n') {
                m_bytes += "\\n";
            } else if (c == '\r') {
                m_bytes += "\\r";
            } else if (c == '\t') {
                m_bytes += "\\t";
            } else if (byte < 0x20) {
                m_bytes += "\\u00";
                m_bytes += kHex[byte >> 4];
                m_bytes += kHex[byte & 0xf];
            } else {
                m_bytes += c;
            }
        }
        m_bytes += '"';
    }

    QByteArray m_bytes;
};

constexpr double kKgPerPound = 0.45359237;
// NAV CDI:1 and NAV GSI:1 run -127..127 across the full scale of 2.5 dots each side.
constexpr double kDotsPerNeedleUnit = 2.5 / 127.0;

double rankineToCelsius(double rankine)
{
    return (rankine - 491.67) * 5.0 / 9.0;
}

int32_t truncateToInt(double value)
{
    constexpr double kMin = std::numeric_limits<int32_t>::min();
    constexpr double kMax = std::numeric_limits<int32_t>::max();
    return static_cast<int32_t>(std::clamp(std::trunc(value), kMin, kMax));
}

// One key of a "data" message and where its number goes in the sample.
struct SampleField
{
    const char *key;
    void (*store)(AircraftData &data, double value);
};

// clang-format off
const SampleField kSampleFields[] = {
    {"lat",       [](AircraftData &d, double v) { d.lat = v; }},
    {"lon",       [](AircraftData &d, double v) { d.lon = v; }},
    {"alt",       [](AircraftData &d, double v) { d.alt = v; }},
    {"altInd",    [](AircraftData &d, double v) { d.altInd = v; }},
    {"altAGL",    [](AircraftData &d, double v) { d.altAGL = v; }},
    {"ias",       [](AircraftData &d, double v) { d.ias = v; }},
    {"gs",        [](AircraftData &d, double v) { d.gs = v; }},
    {"vs",        [](AircraftData &d, double v) { d.vs = v * 60.0; }}, // ft/s from SimConnect
    {"mach",      [](AircraftData &d, double v) { d.mach = v; }},
    {"pitch",     [](AircraftData &d, double v) { d.pitch = v; }},
    {"bank",      [](AircraftData &d, double v) { d.bank = v; }},
    {"hdg",       [](AircraftData &d, double v) { d.hdg = v; }},
    {"hdgTrue",   [](AircraftData &d, double v) { d.hdgTrue = v; }},
    {"onGround",  [](AircraftData &d, double v) { d.onGround = v > 0; }},
    {"thr1",      [](AircraftData &d, double v) { d.thr1 = v; }},
    {"thr2",      [](AircraftData &d, double v) { d.thr2 = v; }},
    {"gear",      [](AircraftData &d, double v) { d.gear = v > 0; }},
    {"flaps",     [](AircraftData &d, double v) { d.flaps = truncateToInt(v); }},
    {"fuelTotal", [](AircraftData &d, double v) { d.fuelTotal = v; }},
    {"engType",   [](AircraftData &d, double v) { d.engType = truncateToInt(v); }},
    {"engCnt",    [](AircraftData &d, double v) { d.engCnt = std::clamp(truncateToInt(v), 0, 4); }},
    {"engN1_1",   [](AircraftData &d, double v) { d.engN1[0] = v; }},
    {"engN1_2",   [](AircraftData &d, double v) { d.engN1[1] = v; }},
    {"rpm_1",     [](AircraftData &d, double v) { d.rpm[0] = v; }},
    {"rpm_2",     [](AircraftData &d, double v) { d.rpm[1] = v; }},
    {"egt_1",     [](AircraftData &d, double v) { d.egt[0] = rankineToCelsius(v); }},
    {"egt_2",     [](AircraftData &d, double v) { d.egt[1] = rankineToCelsius(v); }},
    {"ff_1",      [](AircraftData &d, double v) { d.ff[0] = v; }},
    {"ff_2",      [](AircraftData &d, double v) { d.ff[1] = v; }},
    {"engRun1",   [](AircraftData &d, double v) { d.engRun[0] = v > 0; }},
    {"engRun2",   [](AircraftData &d, double v) { d.engRun[1] = v > 0; }},
    {"elevTrim",  [](AircraftData &d, double v) { d.elevTrim = v; }},
    {"ailTrim",   [](AircraftData &d, double v) { d.ailTrim = v; }},
    {"rudTrim",   [](AircraftData &d, double v) { d.rudTrim = v; }},
    {"parkBrake", [](AircraftData &d, double v) { d.parkBrake = truncateToInt(v * 100.0); }}, // position 0..1
    {"spoiler",   [](AircraftData &d, double v) { d.spoiler = v; }},
    {"nav1",      [](AircraftData &d, double v) { d.nav1 = v; }},
    {"nav1s",     [](AircraftData &d, double v) { d.nav1s = v; }},
    {"nav2",      [](AircraftData &d, double v) { d.nav2 = v; }},
    {"nav2s",     [](AircraftData &d, double v) { d.nav2s = v; }},
    {"com1",      [](AircraftData &d, double v) { d.com1 = v; }},
    {"com1s",     [](AircraftData &d, double v) { d.com1s = v; }},
    {"com2",      [](AircraftData &d, double v) { d.com2 = v; }},
    {"com2s",     [](AircraftData &d, double v) { d.com2s = v; }},
    {"adf",       [](AircraftData &d, double v) { d.adf = v; }},
    {"xpdr",      [](AircraftData &d, double v) { d.xpdr = v; }},
    {"apMaster",  [](AircraftData &d, double v) { d.apMaster = v > 0; }},
    {"apHdg",     [](AircraftData &d, double v) { d.apHdg = v; }},
    {"apAlt",     [](AircraftData &d, double v) { d.apAlt = v; }},
    {"apSpd",     [](AircraftData &d, double v) { d.apSpd = v; }},
    {"apVs",      [](AircraftData &d, double v) { d.apVs = v; }},
    {"apHdgLock", [](AircraftData &d, double v) { d.apHdgLock = v > 0; }},
    {"apAltLock", [](AircraftData &d, double v) { d.apAltLock = v > 0; }},
    {"apSpdLock", [](AircraftData &d, double v) { d.apSpdLock = v > 0; }},
    {"apAppr",    [](AircraftData &d, double v) { d.apAppr = v > 0; }},
    {"apNavLock", [](AircraftData &d, double v) { d.apNavLock = v > 0; }},
    {"fuelL",     [](AircraftData &d, double v) { d.fuelL = v; }},
    {"fuelR",     [](AircraftData &d, double v) { d.fuelR = v; }},
    {"totalWt",   [](AircraftData &d, double v) { d.totalWt = v * kKgPerPound; }},
    {"gForce",    [](AircraftData &d, double v) { d.gForce = v; }},
    {"loc",       [](AircraftData &d, double v) { d.loc = v * kDotsPerNeedleUnit; }},
    {"baro",      [](AircraftData &d, double v) { d.baro = v; }},
    {"cg",        [](AircraftData &d, double v) { d.cg = v; }},
    {"ambTemp",   [](AircraftData &d, double v) { d.ambTemp = v; }},
    {"windDir",   [](AircraftData &d, double v) { d.windDir = v; }},
    {"windSpd",   [](AircraftData &d, double v) { d.windSpd = v; }},
    {"vis",       [](AircraftData &d, double v) { d.vis = v; }},
};
// clang-format on

// A JSON object, or nothing when the bytes are not JSON or not an object.
std::optional<QJsonObject> parseObject(const QByteArray &bytes, bool *syntaxError)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    *syntaxError = error.error != QJsonParseError::NoError;
    if (*syntaxError || !document.isObject())
        return std::nullopt;
    return document.object();
}

} // namespace

SimConnectBridgeClient::SimConnectBridgeClient(quint16 port, QObject *parent)
    : ISimBackend(parent), m_socket(new QTcpSocket(this)), m_retryTimer(new QTimer(this)), m_port(port),
      m_reader(kMaxLineBytes)
{
    m_retryTimer->setSingleShot(true);
    m_retryTimer->setInterval(kRetryIntervalMs);
    // The retries together span the helper's start-up time; a coarse timer could cut that short.
    m_retryTimer->setTimerType(Qt::PreciseTimer);
    m_socket->setReadBufferSize(kSocketReadBufferBytes);

    QObject::connect(m_socket, &QTcpSocket::readyRead, this, &SimConnectBridgeClient::onReadyRead);
    QObject::connect(m_socket, &QTcpSocket::connected, this, &SimConnectBridgeClient::onSocketConnected);
    QObject::connect(m_socket, &QTcpSocket::disconnected, this, &SimConnectBridgeClient::onSocketDisconnected);
    QObject::connect(m_socket, &QTcpSocket::errorOccurred, this, &SimConnectBridgeClient::onSocketError);
    QObject::connect(m_retryTimer, &QTimer::timeout, this, &SimConnectBridgeClient::onRetryTimeout);
}

SimConnectBridgeClient::~SimConnectBridgeClient()
{
    // Closing the socket while this object is half destroyed must not reach our handlers.
    QObject::disconnect(m_socket, nullptr, this, nullptr);
    m_socket->abort();
}

quint16 SimConnectBridgeClient::port() const
{
    return m_port;
}

bool SimConnectBridgeClient::connect()
{
    if (m_socket->state() == QAbstractSocket::UnconnectedState) {
        // A new attempt gets the full set of retries even if an earlier one used them up.
        m_retryTimer->stop();
        m_retryCount = 0;
        m_reader.clear();
        m_socket->connectToHost(kHost, m_port, QIODevice::ReadWrite);
    }
    return true;
}

void SimConnectBridgeClient::disconnect()
{
    m_retryTimer->stop();
    const QAbstractSocket::SocketState state = m_socket->state();
    if (state == QAbstractSocket::ConnectedState || state == QAbstractSocket::ClosingState) {
        m_socket->disconnectFromHost();
        if (m_socket->state() != QAbstractSocket::UnconnectedState)
            m_socket->waitForDisconnected(kDisconnectWaitMs);
    } else if (state != QAbstractSocket::UnconnectedState) {
        // disconnectFromHost() does not stop an attempt still in progress, whose refusal would
        // then start the retry cycle again.
        m_socket->abort();
    }
    m_connected = false;
}

bool SimConnectBridgeClient::isConnected() const
{
    return m_connected;
}

SimType SimConnectBridgeClient::simType() const
{
    return m_simType;
}

AircraftData SimConnectBridgeClient::aircraftData() const
{
    return m_data;
}

void SimConnectBridgeClient::setData(const QString &name, double value)
{
    setData(name, value, QStringLiteral("number"));
}

void SimConnectBridgeClient::setData(const QString &name, double value, const QString &units)
{
    for (const EventTranslation &translation : kEventTranslations) {
        if (name == QLatin1String(translation.variable)) {
            // The heading-bug event takes whole degrees 0..359.
            double degrees = std::fmod(std::round(value), 360.0);
            if (!std::isfinite(degrees))
                degrees = 0;
            else if (degrees < 0)
                degrees += 360.0;
            transmitEvent(QString::fromLatin1(translation.event), static_cast<quint32>(degrees));
            return;
        }
    }
    sendCommand(CommandLine("set").text("var", name).number("value", value).text("units", units).finish());
}

void SimConnectBridgeClient::transmitEvent(const QString &name, quint32 data)
{
    sendCommand(CommandLine("event").text("name", name).integer("data", data).finish());
}

void SimConnectBridgeClient::requestSimVarOnce(const QString &name, const QString &units, int requestId)
{
    // The helper has no one-shot read; answer at once like a backend without one.
    Q_UNUSED(name);
    Q_UNUSED(units);
    emit simVarValueReceived(requestId, 0.0);
}

void SimConnectBridgeClient::setPosition(double lat, double lon, double altM, double pitch, double bank, double heading,
                                         bool onGround, double airspeedKt)
{
    // The helper takes the altitude in metres, as given.
    sendCommand(CommandLine("position")
                    .number("lat", lat)
                    .number("lon", lon)
                    .number("alt", altM)
                    .number("pitch", pitch)
                    .number("roll", bank)
                    .number("heading", heading)
                    .boolean("onGround", onGround)
                    .number("airspeed", airspeedKt)
                    .finish());
}

void SimConnectBridgeClient::setCameraRelative6DOF(float dx, float dy, float dz, float pitch, float bank, float heading)
{
    sendCommand(CommandLine("camera")
                    .number("dx", dx)
                    .number("dy", dy)
                    .number("dz", dz)
                    .number("pitch", pitch)
                    .number("bank", bank)
                    .number("heading", heading)
                    .finish());
}

void SimConnectBridgeClient::setCameraSmoothRelative6DOF(float dx, float dy, float dz, float pitch, float bank,
                                                         float heading, float seconds)
{
    // The helper moves the camera in one step; it has no smoothing time.
    Q_UNUSED(seconds);
    setCameraRelative6DOF(dx, dy, dz, pitch, bank, heading);
}

void SimConnectBridgeClient::cameraZoomIn()
{
    transmitEvent(QStringLiteral("ZOOM_IN"), 1);
}

void SimConnectBridgeClient::cameraZoomOut()
{
    transmitEvent(QStringLiteral("ZOOM_OUT"), 1);
}

void SimConnectBridgeClient::loadFlightPlan(const QString &path)
{
    sendCommand(CommandLine("load_plan").text("name", path).finish());
}

void SimConnectBridgeClient::setWeatherObservation(const QString &metar)
{
    sendCommand(CommandLine("weather").text("metar", metar).finish());
}

bool SimConnectBridgeClient::setPaused(bool paused)
{
    if (!isConnected())
        return false;
    transmitEvent(QStringLiteral("PAUSE_SET"), paused ? 1 : 0);
    return true;
}

bool SimConnectBridgeClient::setFrozen(bool position, bool attitude)
{
    if (!isConnected())
        return false;
    // Holding the position means holding latitude/longitude and altitude together.
    transmitEvent(QStringLiteral("FREEZE_LATITUDE_LONGITUDE_SET"), position ? 1 : 0);
    transmitEvent(QStringLiteral("FREEZE_ALTITUDE_SET"), position ? 1 : 0);
    transmitEvent(QStringLiteral("FREEZE_ATTITUDE_SET"), attitude ? 1 : 0);
    return true;
}

bool SimConnectBridgeClient::setWeather(const WeatherState &weather)
{
    if (!isConnected())
        return false;
    // "GLOB" makes the observation world-wide rather than one station's.
    setWeatherObservation(weather.toMetar(QStringLiteral("GLOB"), QDateTime::currentDateTimeUtc()));
    return true;
}

void SimConnectBridgeClient::requestWeatherObservation(double lat, double lon)
{
    sendCommand(CommandLine("req_weather").number("lat", lat).number("lon", lon).finish());
}

SimType SimConnectBridgeClient::simTypeForApp(const QString &app)
{
    // Prepar3D is tested first: its application name may also mention "Flight Simulator".
    if (app.contains(QLatin1String("Prepar3D")))
        return SimType::Prepar3D;
    if (app.contains(QLatin1String("Flight Simulator")) || app.contains(QLatin1String("FSX")))
        return SimType::Fsx;
    return SimType::Prepar3D;
}

bool SimConnectBridgeClient::setFallbackEncoding(const QByteArray &name)
{
    if (!name.isEmpty() && !QStringDecoder(name.constData()).isValid())
        return false;
    m_fallbackEncoding = name;
    return true;
}

void SimConnectBridgeClient::onReadyRead()
{
    m_reader.readFrom(*m_socket, [this](const QByteArray &line) {
        const QByteArray trimmed = line.trimmed();
        if (!trimmed.isEmpty())
            handleLine(trimmed);
    });
}

void SimConnectBridgeClient::handleLine(const QByteArray &line)
{
    bool syntaxError = false;
    std::optional<QJsonObject> message = parseObject(line, &syntaxError);
    if (!message && syntaxError) {
        // The helper may write in the system's 8-bit code page rather than UTF-8; the JSON reader
        // rejects such bytes inside strings, so decode them with that code page and try again.
        QStringDecoder decoder = m_fallbackEncoding.isEmpty() ? QStringDecoder(QStringConverter::System)
                                                              : QStringDecoder(m_fallbackEncoding.constData());
        const QString text = decoder.decode(line);
        message = parseObject(text.toUtf8(), &syntaxError);
    }
    if (message)
        parseMessage(*message);
}

void SimConnectBridgeClient::onSocketConnected()
{
    // The helper speaks first, with its "connected" greeting.
    m_linkUp = true;
    m_retryCount = 0;
}

void SimConnectBridgeClient::onSocketDisconnected()
{
    m_linkUp = false;
    m_connected = false;
    emit disconnected();
}

void SimConnectBridgeClient::onSocketError(QAbstractSocket::SocketError error)
{
    // An error on an established link (the helper closing it, for one) is followed by the
    // socket's disconnected(), which reports the loss; reporting it here too would do it twice.
    if (m_linkUp)
        return;
    m_connected = false;
    if (error == QAbstractSocket::ConnectionRefusedError && m_retryCount < kMaxRetries) {
        // The helper may have been started a moment ago and not be listening yet.
        ++m_retryCount;
        m_retryTimer->start();
        return;
    }
    emit disconnected();
}

void SimConnectBridgeClient::onRetryTimeout()
{
    if (m_socket->state() == QAbstractSocket::UnconnectedState)
        m_socket->connectToHost(kHost, m_port, QIODevice::ReadWrite);
}

void SimConnectBridgeClient::parseMessage(const QJsonObject &message)
{
    const QString type = message.value(QLatin1String("type")).toString();
    if (type == QLatin1String("connected")) {
        const QString app = message.value(QLatin1String("app")).toString();
        AppLogger::instance().log(AppLogger::Info, kCategory, QStringLiteral("SimConnect connected: %1").arg(app));
        m_simType = simTypeForApp(app);
        m_connected = true;
        m_rejectionLogged = false;
        m_data = AircraftData();
        m_data.gForce = 1.0; // level flight until the first sample says otherwise
        emit connected();
    } else if (type == QLatin1String("disconnected")) {
        // The simulator quit; the helper keeps the link and may greet again.
        m_connected = false;
        emit disconnected();
    } else if (type == QLatin1String("data")) {
        if (applySample(message))
            emit aircraftDataChanged(m_data);
    } else if (type == QLatin1String("fuel_config")) {
        applyFuelConfig(message);
    }
    // "error" and unknown types carry nothing this client acts on.
}

bool SimConnectBridgeClient::applySample(const QJsonObject &message)
{
    // A key the helper leaves out keeps its previous value, and so does one whose number is not
    // finite (JSON numbers beyond the double range read as infinity).
    AircraftData next = m_data;
    for (const SampleField &field : kSampleFields) {
        const QJsonValue value = message.value(QLatin1String(field.key));
        if (value.isDouble() && std::isfinite(value.toDouble()))
            field.store(next, value.toDouble());
        else if (value.isBool())
            field.store(next, value.toBool() ? 1.0 : 0.0);
    }
    // A position off the earth (or out of the altitude range) drops the whole sample.
    if (!hasPlausiblePosition(next)) {
        if (!m_rejectionLogged) {
            m_rejectionLogged = true;
            AppLogger::instance().log(AppLogger::Warning, kCategory,
                                      QStringLiteral("[SimConnectBridge] sample with an impossible position ignored "
                                                     "(lat %1, lon %2, alt %3 ft); further ones are ignored silently")
                                          .arg(next.lat)
                                          .arg(next.lon)
                                          .arg(next.alt));
        }
        return false;
    }
    m_data = next;
    return true;
}

void SimConnectBridgeClient::applyFuelConfig(const QJsonObject &message)
{
    // Capacities are in gallons: the total goes out in pounds at the signal's own density (the
    // helper's fuelWtPerGal is the simulator's, which the receiver does not know), and each tank's
    // ratio is its share of the summed capacity (0 for every tank when nothing holds fuel).
    const QJsonArray capacities = message.value(QLatin1String("tankCap")).toArray();
    double totalGallons = 0;
    for (const QJsonValue &capacity : capacities)
        totalGallons += std::max(0.0, capacity.toDouble());

    QList<double> ratios;
    ratios.reserve(capacities.size());
    for (const QJsonValue &capacity : capacities)
        ratios.append(totalGallons > 0 ? std::max(0.0, capacity.toDouble()) / totalGallons : 0.0);

    emit fuelConfigChanged(totalGallons * kFuelConfigPoundsPerGallon, ratios);
}

void SimConnectBridgeClient::sendCommand(const QByteArray &line)
{
    if (m_socket->state() != QAbstractSocket::ConnectedState)
        return;
    m_socket->write(line);
}
