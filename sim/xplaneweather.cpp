#include "sim/xplaneweather.h"

#include <algorithm>

namespace {

constexpr double kFeetToMetres = 0.3048;
constexpr double kHpaPerInHg = 33.8639;
constexpr double kMetresPerStatuteMile = 1609.344;
// X-Plane's turbulence datarefs run 0..10; WeatherState's runs 0..1.
constexpr double kTurbulenceScale = 10.0;
// Wind layer centres for X-Plane 11's three layers, metres above sea level.
constexpr double kXp11WindLayerM[XPlaneWeather::kXp11Layers] = {0.0, 3000.0, 9000.0};

bool isConvective(const CloudLayer &layer)
{
    return layer.type == QLatin1String("CB") || layer.type == QLatin1String("TCU");
}

// Metres above sea level of the layer's top: its own, or a typical thickness above its base.
double topM(const CloudLayer &layer)
{
    const double baseM = layer.baseFt * kFeetToMetres;
    if (layer.topFt > layer.baseFt)
        return layer.topFt * kFeetToMetres;
    return baseM + (layer.type == QLatin1String("CB") ? 8000.0 : isConvective(layer) ? 3000.0 : 600.0);
}

double gustIncrementKt(const WeatherState &w)
{
    return std::max(0.0, w.windGustKt - w.windSpeedKt);
}

class Writer
{
public:
    void put(const QString &dataref, double value) { m_writes.append({dataref, float(value)}); }
    void put(const QString &dataref, int index, double value)
    {
        put(QStringLiteral("%1[%2]").arg(dataref).arg(index), value);
    }
    QList<XPlaneWeather::Write> take() { return std::move(m_writes); }

private:
    QList<XPlaneWeather::Write> m_writes;
};

// X-Plane 11 cloud types: 0 clear, 1 high cirrus, 2 scattered, 3 broken, 4 overcast, 5 stratus;
// coverage 0..4 clear, few, scattered, broken, overcast.
void xp11Cloud(Writer &out, int layer, const CloudLayer *cloud)
{
    const QString w = QStringLiteral("sim/weather/");
    int type = 0;
    int coverage = 0;
    if (cloud) {
        const QString &cover = cloud->cover;
        coverage = cover == QLatin1String("OVC")   ? 4
                   : cover == QLatin1String("BKN") ? 3
                   : cover == QLatin1String("SCT") ? 2
                                                   : 1;
        type = coverage == 1 ? 2 : coverage;
        if (cloud->baseFt > 20000.0)
            type = 1;
    }
    out.put(w + "cloud_type", layer, type);
    out.put(w + "cloud_coverage", layer, coverage);
    if (cloud) {
        out.put(w + "cloud_base_msl_m", layer, cloud->baseFt * kFeetToMetres);
        out.put(w + "cloud_tops_msl_m", layer, topM(*cloud));
    }
}

QList<XPlaneWeather::Write> xp11(const WeatherState &weather)
{
    Writer out;
    const QString w = QStringLiteral("sim/weather/");
    out.put(w + "use_real_weather_bool", 0);
    out.put(w + "visibility_reported_m", weather.visibilityM);
    for (int layer = 0; layer < XPlaneWeather::kXp11Layers; ++layer) {
        out.put(w + "wind_altitude_msl_m", layer, kXp11WindLayerM[layer]);
        out.put(w + "wind_direction_degt", layer, weather.windDirDeg);
        out.put(w + "wind_speed_kt", layer, weather.windSpeedKt);
        out.put(w + "shear_direction_degt", layer, weather.windDirDeg);
        out.put(w + "shear_speed_kt", layer, gustIncrementKt(weather));
        out.put(w + "turbulence", layer, weather.turbulence * kTurbulenceScale);
    }
    bool storm = false;
    for (int layer = 0; layer < XPlaneWeather::kXp11Layers; ++layer) {
        const CloudLayer *cloud = layer < weather.clouds.size() ? &weather.clouds.at(layer) : nullptr;
        xp11Cloud(out, layer, cloud);
        storm |= cloud && cloud->type == QLatin1String("CB");
    }
    out.put(w + "temperature_sealevel_c", weather.temperatureC);
    out.put(w + "dewpoi_sealevel_c", weather.dewpointC);
    out.put(w + "barometer_sealevel_inhg", weather.qnhHpa / kHpaPerInHg);
    out.put(w + "rain_percent", weather.precipitation);
    out.put(w + "thunderstorm_percent", storm ? std::max(0.5, weather.precipitation) : 0.0);
    return out.take();
}

// X-Plane 12 cloud types blend 0 cirrus, 1 stratus, 2 cumulus, 3 cumulonimbus; coverage 0..1.
void xp12Cloud(Writer &out, int layer, const CloudLayer *cloud)
{
    const QString r = QStringLiteral("sim/weather/region/");
    double coverage = 0.0;
    double type = 2.0;
    if (cloud) {
        const QString &cover = cloud->cover;
        coverage = cover == QLatin1String("OVC")   ? 1.0
                   : cover == QLatin1String("BKN") ? 0.75
                   : cover == QLatin1String("SCT") ? 0.44
                                                   : 0.19;
        if (cloud->type == QLatin1String("CB"))
            type = 3.0;
        else if (cloud->baseFt > 20000.0)
            type = 0.0;
        else if (cover == QLatin1String("OVC") && !isConvective(*cloud))
            type = 1.0;
    }
    out.put(r + "cloud_coverage_percent", layer, coverage);
    if (!cloud)
        return;
    out.put(r + "cloud_type", layer, type);
    out.put(r + "cloud_base_msl_m", layer, cloud->baseFt * kFeetToMetres);
    out.put(r + "cloud_tops_msl_m", layer, topM(*cloud));
}

QList<XPlaneWeather::Write> xp12(const WeatherState &weather)
{
    Writer out;
    const QString r = QStringLiteral("sim/weather/region/");
    constexpr int kStaticWeather = 3;
    out.put(r + "change_mode", kStaticWeather);
    out.put(r + "variability_pct", 0.0);
    out.put(r + "visibility_reported_sm", weather.visibilityM / kMetresPerStatuteMile);
    for (int level = 0; level < XPlaneWeather::kXp12WindLevels; ++level) {
        out.put(r + "wind_direction_degt", level, weather.windDirDeg);
        out.put(r + "wind_speed_msc", level, weather.windSpeedKt);
        out.put(r + "shear_direction_degt", level, weather.windDirDeg);
        out.put(r + "shear_speed_msc", level, gustIncrementKt(weather));
        out.put(r + "turbulence", level, weather.turbulence * kTurbulenceScale);
    }
    for (int layer = 0; layer < XPlaneWeather::kXp12CloudLayers; ++layer)
        xp12Cloud(out, layer, layer < weather.clouds.size() ? &weather.clouds.at(layer) : nullptr);
    out.put(r + "sealevel_temperature_c", weather.temperatureC);
    // Dew point exists only per level; the lowest level stands for the surface.
    out.put(r + "dewpoint_deg_c", 0, weather.dewpointC);
    out.put(r + "sealevel_pressure_pas", weather.qnhHpa * 100.0);
    out.put(r + "rain_percent", weather.precipitation);
    out.put(r + "update_immediately", 1);
    return out.take();
}

} // namespace

QList<XPlaneWeather::Write> XPlaneWeather::writes(const WeatherState &weather, int xplaneVersion)
{
    return xplaneVersion > 11 ? xp12(weather) : xp11(weather);
}
