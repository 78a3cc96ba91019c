#include "sim/weatherstate.h"

#include <QJsonArray>

#include <algorithm>
#include <cmath>

namespace {

double number(const QJsonObject &object, const char *key, double fallback, double low, double high)
{
    const QJsonValue value = object.value(QLatin1String(key));
    if (!value.isDouble())
        return fallback;
    return std::clamp(value.toDouble(), low, high);
}

QString metarTemperature(double celsius)
{
    const int rounded = int(std::lround(celsius));
    return QStringLiteral("%1%2")
        .arg(rounded < 0 ? QStringLiteral("M") : QString())
        .arg(std::abs(rounded), 2, 10, QLatin1Char('0'));
}

QString metarWind(const WeatherState &w)
{
    const long speed = std::lround(w.windSpeedKt);
    if (speed == 0)
        return QStringLiteral("00000KT");
    long direction = std::lround(w.windDirDeg / 10.0) * 10 % 360;
    if (direction == 0)
        direction = 360; // north is reported as 360; 000 means calm
    QString wind = QStringLiteral("%1%2").arg(direction, 3, 10, QLatin1Char('0')).arg(speed, 2, 10, QLatin1Char('0'));
    const long gust = std::lround(w.windGustKt);
    if (gust > speed)
        wind += QStringLiteral("G%1").arg(gust, 2, 10, QLatin1Char('0'));
    return wind + QStringLiteral("KT");
}

QString metarWeather(const WeatherState &w)
{
    if (w.precipitation < 0.05)
        return {};
    const QString intensity = w.precipitation < 0.34   ? QStringLiteral("-")
                              : w.precipitation > 0.67 ? QStringLiteral("+")
                                                       : QString();
    return intensity + (w.temperatureC <= 0.0 ? QStringLiteral("SN") : QStringLiteral("RA"));
}

} // namespace

QString WeatherState::toMetar(const QString &station, const QDateTime &timeUtc) const
{
    QStringList groups{station, timeUtc.toUTC().toString(QStringLiteral("ddHHmm")) + QLatin1Char('Z'),
                       metarWind(*this)};
    // Four digits of metres; 9999 stands for 10 km or more. Visibility and cloud bases are
    // reported rounded down to their step, the cautious side.
    const long visibility = std::min(9999L, long(std::floor(visibilityM / 100.0)) * 100);
    groups << QStringLiteral("%1").arg(visibility, 4, 10, QLatin1Char('0'));
    const QString weather = metarWeather(*this);
    if (!weather.isEmpty())
        groups << weather;
    for (const CloudLayer &layer : clouds) {
        const long hundreds = std::clamp(long(std::floor(layer.baseFt / 100.0)), 0L, 999L);
        groups << layer.cover + QStringLiteral("%1").arg(hundreds, 3, 10, QLatin1Char('0')) + layer.type;
    }
    if (clouds.isEmpty())
        groups << QStringLiteral("SKC");
    groups << metarTemperature(temperatureC) + QLatin1Char('/') + metarTemperature(dewpointC);
    groups << QStringLiteral("Q%1").arg(std::lround(qnhHpa), 4, 10, QLatin1Char('0'));
    return groups.join(QLatin1Char(' '));
}

QJsonObject WeatherState::toJson() const
{
    QJsonArray layers;
    for (const CloudLayer &layer : clouds) {
        layers.append(QJsonObject{{QStringLiteral("cover"), layer.cover},
                                  {QStringLiteral("base"), layer.baseFt},
                                  {QStringLiteral("top"), layer.topFt},
                                  {QStringLiteral("type"), layer.type}});
    }
    return QJsonObject{{QStringLiteral("windDir"), windDirDeg},
                       {QStringLiteral("windSpeed"), windSpeedKt},
                       {QStringLiteral("windGust"), windGustKt},
                       {QStringLiteral("visibility"), visibilityM},
                       {QStringLiteral("temperature"), temperatureC},
                       {QStringLiteral("dewpoint"), dewpointC},
                       {QStringLiteral("qnh"), qnhHpa},
                       {QStringLiteral("precipitation"), precipitation},
                       {QStringLiteral("turbulence"), turbulence},
                       {QStringLiteral("clouds"), layers}};
}

WeatherState WeatherState::fromJson(const QJsonObject &object)
{
    WeatherState w;
    w.windDirDeg = number(object, "windDir", w.windDirDeg, 0, 360);
    w.windSpeedKt = number(object, "windSpeed", w.windSpeedKt, 0, 250);
    w.windGustKt = number(object, "windGust", w.windGustKt, 0, 300);
    w.visibilityM = number(object, "visibility", w.visibilityM, 0, 100000);
    w.temperatureC = number(object, "temperature", w.temperatureC, -90, 60);
    w.dewpointC = number(object, "dewpoint", w.dewpointC, -90, 60);
    w.qnhHpa = number(object, "qnh", w.qnhHpa, 850, 1100);
    w.precipitation = number(object, "precipitation", w.precipitation, 0, 1);
    w.turbulence = number(object, "turbulence", w.turbulence, 0, 1);
    const QJsonArray layers = object.value(QStringLiteral("clouds")).toArray();
    for (const QJsonValue &entry : layers) {
        const QJsonObject o = entry.toObject();
        CloudLayer layer;
        layer.cover = o.value(QStringLiteral("cover")).toString();
        layer.baseFt = number(o, "base", 0, 0, 60000);
        layer.topFt = number(o, "top", 0, 0, 70000);
        layer.type = o.value(QStringLiteral("type")).toString();
        if (!layer.cover.isEmpty())
            w.clouds.append(layer);
    }
    return w;
}
