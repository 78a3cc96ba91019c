#include "weather/weatherservice.h"

#include "app/log/applogger.h"
#include "sim/simoperationdispatcher.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QRegularExpression>
#include <QSettings>
#include <QUrlQuery>

#include <algorithm>

namespace {

constexpr double kMetresPerStatuteMile = 1609.344;
constexpr double kUnlimitedVisibilityM = 10000.0;

void logWeather(AppLogger::Level level, const QString &message)
{
    AppLogger::instance().log(level, QStringLiteral("Weather"), message);
}

QString normalisedIcao(const QString &icao)
{
    return icao.trimmed().toUpper();
}

// "CAVOK", "P6SM", "10SM", "3/4SM", "M1/4SM" in the body of the report (before remarks and
// trends); a whole number before a fraction ("1 1/2SM") is added. Empty when there is none.
std::optional<double> fallbackVisibilityM(const QString &raw)
{
    static const QRegularExpression fraction(QStringLiteral("^[MP]?(\\d+)/(\\d+)SM$"));
    static const QRegularExpression whole(QStringLiteral("^[MP]?(\\d+)SM$"));
    static const QRegularExpression number(QStringLiteral("^\\d$"));
    const QStringList tokens = raw.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    for (qsizetype i = 0; i < tokens.size(); ++i) {
        const QString &t = tokens[i];
        if (t == QLatin1String("RMK") || t == QLatin1String("TEMPO") || t == QLatin1String("BECMG"))
            break;
        if (t == QLatin1String("CAVOK"))
            return kUnlimitedVisibilityM;
        QRegularExpressionMatch m = whole.match(t);
        if (m.hasMatch())
            return std::min(kUnlimitedVisibilityM, m.captured(1).toInt() * kMetresPerStatuteMile);
        m = fraction.match(t);
        if (m.hasMatch() && m.captured(2).toInt() > 0) {
            double miles = m.captured(1).toDouble() / m.captured(2).toDouble();
            if (i > 0 && number.match(tokens[i - 1]).hasMatch())
                miles += tokens[i - 1].toInt();
            return miles * kMetresPerStatuteMile;
        }
    }
    return std::nullopt;
}

// 0.3 light, 0.6 moderate, 1.0 heavy; drizzle counts half.
double precipitationOf(const QStringList &phenomena)
{
    double amount = 0.0;
    for (const QString &p : phenomena) {
        const bool rain = p.contains(QLatin1String("RA"));
        const bool snow = p.contains(QLatin1String("SN"));
        const bool drizzle = p.contains(QLatin1String("DZ"));
        const bool freezing = p.contains(QLatin1String("FZ"));
        if (!rain && !snow && !drizzle && !freezing)
            continue;
        if (p.startsWith(QLatin1String("VC")))
            continue; // in the vicinity, not at the station
        double value = p.startsWith(QLatin1Char('-')) ? 0.3 : p.startsWith(QLatin1Char('+')) ? 1.0 : 0.6;
        if (drizzle && !rain && !snow)
            value *= 0.5;
        amount = std::max(amount, value);
    }
    return amount;
}

double turbulenceOf(const MetarData &metar)
{
    double turbulence = 0.0;
    if (metar.windGustKt && metar.windSpeedKt)
        turbulence = std::clamp((*metar.windGustKt - *metar.windSpeedKt) / 25.0, 0.0, 1.0);
    for (const QString &p : metar.phenomena) {
        if (p.contains(QLatin1String("SQ")))
            turbulence = std::max(turbulence, 0.8);
        else if (p.contains(QLatin1String("TS")) && !p.startsWith(QLatin1String("VC")))
            turbulence = std::max(turbulence, 0.5);
    }
    return turbulence;
}

} // namespace

WeatherService::WeatherService(QObject *parent)
    : QObject(parent), m_network(new QNetworkAccessManager(this)), m_host(QString::fromLatin1(kDefaultHost))
{
    m_timer.setInterval(kDefaultRefreshMinutes * 60000);
    connect(&m_timer, &QTimer::timeout, this, &WeatherService::onRefreshTimer);
}

void WeatherService::applySettings(const QSettings &settings)
{
    const QString host = settings.value(QLatin1String(kMetarHostKey)).toString().trimmed();
    setHost(QUrl(host.isEmpty() ? QString::fromLatin1(kDefaultHost) : host));
    m_watched.clear();
    for (const QString &icao : settings.value(QLatin1String(kWatchedAirportsKey)).toStringList())
        addWatchedAirport(icao);
    setRefreshIntervalMinutes(settings.value(QLatin1String(kRefreshMinutesKey), kDefaultRefreshMinutes).toInt());
    setAutoRefresh(settings.value(QLatin1String(kAutoRefreshKey), false).toBool());
}

void WeatherService::storeSettings(QSettings &settings) const
{
    settings.setValue(QLatin1String(kWatchedAirportsKey), m_watched);
    settings.setValue(QLatin1String(kAutoRefreshKey), autoRefresh());
    settings.setValue(QLatin1String(kRefreshMinutesKey), refreshIntervalMinutes());
}

void WeatherService::setHost(const QUrl &host)
{
    m_host = host;
}

void WeatherService::fetchMetar(const QString &icaoText)
{
    const QString icao = normalisedIcao(icaoText);
    if (icao.isEmpty()) {
        emit metarFailed(icao, tr("机场代码不能为空"));
        return;
    }
    QUrl url = m_host;
    QString path = m_host.path();
    if (!path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    url.setPath(path + QStringLiteral("metar.php"));
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("id"), icao);
    url.setQuery(query);
    QNetworkRequest request(url);
    request.setTransferTimeout(kTimeoutMs);
    QNetworkReply *reply = m_network->get(request);
    connect(reply, &QNetworkReply::downloadProgress, reply, [reply](qint64 received, qint64) {
        if (received > kMaxReplyBytes)
            reply->abort();
    });
    connect(reply, &QNetworkReply::finished, this, [this, reply, icao] { onReplyFinished(reply, icao); });
}

void WeatherService::onReplyFinished(QNetworkReply *reply, const QString &icao)
{
    reply->deleteLater();
    if (reply->error() != QNetworkReply::NoError) {
        const QString reason = reply->error() == QNetworkReply::OperationCanceledError
                                   ? QStringLiteral("reply larger than %1 bytes").arg(kMaxReplyBytes)
                                   : reply->errorString();
        logWeather(AppLogger::Warning, QStringLiteral("METAR %1: %2").arg(icao, reason));
        emit metarFailed(icao, reason);
        return;
    }
    // On a fast link the whole reply may be in before the progress check could stop it.
    if (reply->bytesAvailable() > kMaxReplyBytes) {
        const QString reason = QStringLiteral("reply larger than %1 bytes").arg(kMaxReplyBytes);
        logWeather(AppLogger::Warning, QStringLiteral("METAR %1: %2").arg(icao, reason));
        emit metarFailed(icao, reason);
        return;
    }
    // One line per station; the one asked for is the first non-empty line.
    const QString body = QString::fromUtf8(reply->readAll());
    QString line;
    for (const QString &candidate : body.split(QLatin1Char('\n'))) {
        line = candidate.simplified();
        if (!line.isEmpty())
            break;
    }
    if (line.isEmpty()) {
        logWeather(AppLogger::Warning, QStringLiteral("METAR %1: Empty response").arg(icao));
        emit metarFailed(icao, QStringLiteral("Empty response"));
        return;
    }
    const MetarData metar = m_decoder.decode(line);
    if (!metar.valid) {
        logWeather(AppLogger::Warning, QStringLiteral("METAR %1: no station in \"%2\"").arg(icao, line.left(80)));
        emit metarFailed(icao, QStringLiteral("No METAR for %1").arg(icao));
        return;
    }
    m_last.insert(icao, metar);
    logWeather(AppLogger::Info, QStringLiteral("METAR %1: %2").arg(icao, metar.raw));
    emit metarReceived(icao, metar);
}

MetarData WeatherService::lastMetar(const QString &icao) const
{
    return m_last.value(normalisedIcao(icao));
}

void WeatherService::addWatchedAirport(const QString &icaoText)
{
    const QString icao = normalisedIcao(icaoText);
    if (!icao.isEmpty() && !m_watched.contains(icao))
        m_watched.append(icao);
}

void WeatherService::removeWatchedAirport(const QString &icao)
{
    m_watched.removeAll(normalisedIcao(icao));
}

void WeatherService::setAutoRefresh(bool enabled)
{
    if (enabled)
        m_timer.start();
    else
        m_timer.stop();
}

void WeatherService::setRefreshIntervalMinutes(int minutes)
{
    const bool running = m_timer.isActive();
    m_timer.setInterval(std::max(1, minutes) * 60000);
    if (running)
        m_timer.start();
}

void WeatherService::onRefreshTimer()
{
    for (const QString &icao : std::as_const(m_watched))
        fetchMetar(icao);
}

WeatherState WeatherService::injectionFromMetar(const MetarData &metar, double stationElevationFt)
{
    WeatherState w;
    if (metar.windDirectionDeg)
        w.windDirDeg = *metar.windDirectionDeg;
    if (metar.windSpeedKt)
        w.windSpeedKt = *metar.windSpeedKt;
    if (metar.windGustKt && *metar.windGustKt > w.windSpeedKt)
        w.windGustKt = *metar.windGustKt;
    if (metar.visibilityM)
        w.visibilityM = *metar.visibilityM;
    else
        w.visibilityM = fallbackVisibilityM(metar.raw).value_or(kUnlimitedVisibilityM);
    if (metar.temperatureC)
        w.temperatureC = *metar.temperatureC;
    if (metar.dewpointC)
        w.dewpointC = *metar.dewpointC;
    if (metar.pressureHpa)
        w.qnhHpa = *metar.pressureHpa;
    w.precipitation = precipitationOf(metar.phenomena);
    w.turbulence = turbulenceOf(metar);
    for (const MetarData::CloudLayer &layer : metar.clouds) {
        if (!layer.baseFt)
            continue; // NSC, SKC, CLR: no layer
        CloudLayer cloud;
        cloud.cover = layer.cover;
        cloud.baseFt = *layer.baseFt + stationElevationFt;
        cloud.type = layer.type;
        w.clouds.append(cloud);
    }
    std::stable_sort(w.clouds.begin(), w.clouds.end(),
                     [](const CloudLayer &a, const CloudLayer &b) { return a.baseFt < b.baseFt; });
    return w;
}

void WeatherService::setDispatcher(SimOperationDispatcher *dispatcher)
{
    m_dispatcher = dispatcher;
}

bool WeatherService::injectWeather(const WeatherState &weather)
{
    QString error;
    if (!m_dispatcher || !m_dispatcher->isConnected())
        error = tr("未连接模拟器");
    else if (!m_dispatcher->setWeather(weather.toJson()))
        error = tr("当前模拟器不支持天气注入");
    if (!error.isEmpty()) {
        logWeather(AppLogger::Warning, QStringLiteral("Weather injection failed: %1").arg(error));
        emit injectionFailed(error);
        return false;
    }
    logWeather(AppLogger::Info, QStringLiteral("Weather injected: wind %1/%2 kt, visibility %3 m, QNH %4 hPa")
                                    .arg(weather.windDirDeg, 0, 'f', 0)
                                    .arg(weather.windSpeedKt, 0, 'f', 0)
                                    .arg(weather.visibilityM, 0, 'f', 0)
                                    .arg(weather.qnhHpa, 0, 'f', 1));
    emit weatherInjected(weather);
    return true;
}
