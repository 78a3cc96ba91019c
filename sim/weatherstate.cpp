#include "sim/weatherstate.h"

#include <QJsonArray>

#include <algorithm>

namespace {

double number(const QJsonObject &object, const char *key, double fallback, double low, double high)
{
    const QJsonValue value = object.value(QLatin1String(key));
    if (!value.isDouble())
        return fallback;
    return std::clamp(value.toDouble(), low, high);
}

} // namespace

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
