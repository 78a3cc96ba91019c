#include "nav/inavdataprovider.h"
#include "ui/weathertab.h"
#include "weather/metardecoder.h"
#include "weather/weatherservice.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSpinBox>

#include <cmath>

// The decoded display, the weather editor with its presets, and injecting.

namespace {

const double kPrecipitation[] = {0.0, 0.3, 0.6, 1.0};
const double kTurbulence[] = {0.0, 0.25, 0.5, 1.0};

int nearest(const double (&levels)[4], double value)
{
    int best = 0;
    for (int i = 1; i < 4; ++i) {
        if (std::abs(levels[i] - value) < std::abs(levels[best] - value))
            best = i;
    }
    return best;
}

} // namespace

double WeatherTab::elevationFt(const QString &icao) const
{
    return m_nav ? m_nav->airport(icao).elevation : 0.0;
}

void WeatherTab::setStatus(const QString &text)
{
    m_status->setText(text);
}

QString WeatherTab::statusText() const
{
    return m_status->text();
}

QString WeatherTab::decodedText() const
{
    return m_decoded->text();
}

void WeatherTab::showSelected()
{
    const QString icao = selectedAirport();
    const MetarData m = m_service && !icao.isEmpty() ? m_service->lastMetar(icao) : MetarData();
    m_injectMetarButton->setEnabled(m.valid);
    m_copyButton->setEnabled(m.valid);
    if (!m.valid) {
        m_raw->clear();
        m_decoded->setText(icao.isEmpty()              ? tr("没有选中机场")
                           : m_failures.contains(icao) ? tr("%1：获取失败（%2）").arg(icao, m_failures.value(icao))
                                                       : tr("%1：尚未获取 METAR").arg(icao));
        return;
    }
    const QString none = tr("未报告");
    QString wind = none;
    if (m.windSpeedKt) {
        wind = m.windVariable
                   ? tr("风向不定 %1 kt").arg(*m.windSpeedKt)
                   : tr("%1° %2 kt").arg(m.windDirectionDeg.value_or(0), 3, 10, QLatin1Char('0')).arg(*m.windSpeedKt);
        if (m.windGustKt)
            wind += tr("，阵风 %1 kt").arg(*m.windGustKt);
    }
    QStringList clouds;
    for (const MetarData::CloudLayer &layer : m.clouds) {
        clouds.append(layer.baseFt ? QStringLiteral("%1 %2 ft%3")
                                         .arg(layer.cover)
                                         .arg(*layer.baseFt)
                                         .arg(layer.type.isEmpty() ? QString() : QStringLiteral(" ") + layer.type)
                                   : layer.cover);
    }
    QString pressure = none;
    if (m.pressureHpa) {
        pressure = m.altimeterInHg
                       ? tr("%1 hPa (%2 inHg)").arg(*m.pressureHpa, 0, 'f', 1).arg(*m.altimeterInHg, 0, 'f', 2)
                       : tr("%1 hPa").arg(*m.pressureHpa, 0, 'f', 0);
    }
    const QStringList lines{
        tr("站点：%1  观测时间：%2").arg(m.station, m.time),
        tr("风：%1").arg(wind),
        tr("能见度：%1").arg(m.visibilityM ? tr("%1 m").arg(*m.visibilityM) : none),
        tr("天气现象：%1").arg(m.phenomena.isEmpty() ? tr("无") : m.phenomena.join(QLatin1Char(' '))),
        tr("云：%1").arg(clouds.isEmpty() ? tr("无") : clouds.join(QStringLiteral(", "))),
        tr("温度/露点：%1")
            .arg(m.temperatureC ? tr("%1 / %2 °C").arg(*m.temperatureC).arg(m.dewpointC.value_or(0)) : none),
        tr("气压：%1").arg(pressure),
    };
    m_decoded->setText(lines.join(QLatin1Char('\n')));
    m_raw->setPlainText(m.raw);
}

WeatherState WeatherTab::selectedMetarWeather() const
{
    const QString icao = selectedAirport();
    if (!m_service || icao.isEmpty())
        return WeatherState();
    return WeatherService::injectionFromMetar(m_service->lastMetar(icao), elevationFt(icao));
}

WeatherState WeatherTab::manualWeather() const
{
    WeatherState w;
    w.windDirDeg = m_windDir->value() % 360;
    w.windSpeedKt = m_windSpeed->value();
    w.windGustKt = m_windGust->value() > m_windSpeed->value() ? m_windGust->value() : 0;
    w.visibilityM = m_visibility->value();
    w.temperatureC = m_temperature->value();
    w.dewpointC = std::min(m_dewpoint->value(), m_temperature->value());
    w.qnhHpa = m_qnh->value();
    w.precipitation = kPrecipitation[std::max(0, m_precipitation->currentIndex())];
    w.turbulence = kTurbulence[std::max(0, m_turbulence->currentIndex())];
    for (int i = 0; i < 3; ++i) {
        const QStringList cover = m_cloudCover[i]->currentData().toString().split(QLatin1Char(' '));
        if (cover.first().isEmpty())
            continue;
        CloudLayer layer;
        layer.cover = cover.first();
        layer.type = cover.value(1);
        layer.baseFt = m_cloudBase[i]->value();
        w.clouds.append(layer);
    }
    std::stable_sort(w.clouds.begin(), w.clouds.end(),
                     [](const CloudLayer &a, const CloudLayer &b) { return a.baseFt < b.baseFt; });
    return w;
}

void WeatherTab::setManualWeather(const WeatherState &w)
{
    m_windDir->setValue(qRound(w.windDirDeg) % 360);
    m_windSpeed->setValue(qRound(w.windSpeedKt));
    m_windGust->setValue(qRound(w.windGustKt));
    m_visibility->setValue(qRound(w.visibilityM));
    m_temperature->setValue(w.temperatureC);
    m_dewpoint->setValue(w.dewpointC);
    m_qnh->setValue(w.qnhHpa);
    m_precipitation->setCurrentIndex(nearest(kPrecipitation, w.precipitation));
    m_turbulence->setCurrentIndex(nearest(kTurbulence, w.turbulence));
    for (int i = 0; i < 3; ++i) {
        const CloudLayer layer = w.clouds.value(i);
        const QString key = layer.type.isEmpty() ? layer.cover : layer.cover + QLatin1Char(' ') + layer.type;
        int index = m_cloudCover[i]->findData(key);
        if (index < 0)
            index = m_cloudCover[i]->findData(layer.cover);
        m_cloudCover[i]->setCurrentIndex(std::max(0, index));
        m_cloudBase[i]->setValue(qRound(layer.baseFt));
    }
}

void WeatherTab::applyPreset(Preset preset)
{
    const double field = elevationFt(m_departure);
    WeatherState w;
    w.windDirDeg = 0;
    w.windSpeedKt = 5;
    w.visibilityM = 10000;
    w.temperatureC = 15;
    w.dewpointC = 8;
    w.qnhHpa = 1013.25;
    const auto layer = [field](const char *cover, double aboveFieldFt, const char *type = "") {
        CloudLayer c;
        c.cover = QString::fromLatin1(cover);
        c.baseFt = field + aboveFieldFt;
        c.type = QString::fromLatin1(type);
        return c;
    };
    switch (preset) {
    case Preset::Clear:
        w.clouds = {layer("FEW", 5000)};
        break;
    case Preset::LowCloud:
        w.visibilityM = 3000;
        w.dewpointC = 13;
        w.clouds = {layer("OVC", 300), layer("OVC", 2500)};
        w.precipitation = 0.3;
        break;
    case Preset::Crosswind: {
        // Across the departure runway, from the right.
        double heading = 360.0;
        if (m_nav) {
            for (const RunwayRecord &r : m_nav->runways(m_departure)) {
                if (r.ident == m_departureRunway || (m_departureRunway.isEmpty() && heading == 360.0))
                    heading = r.heading;
            }
        }
        w.windDirDeg = std::fmod(heading + 90.0, 360.0);
        w.windSpeedKt = 25;
        w.windGustKt = 35;
        w.turbulence = 0.25;
        w.clouds = {layer("SCT", 3000)};
        break;
    }
    case Preset::Fog:
        w.windSpeedKt = 2;
        w.visibilityM = 300;
        w.temperatureC = 8;
        w.dewpointC = 8;
        w.clouds = {layer("OVC", 100)};
        break;
    case Preset::Thunderstorm:
        w.windDirDeg = 220;
        w.windSpeedKt = 18;
        w.windGustKt = 35;
        w.visibilityM = 3000;
        w.temperatureC = 26;
        w.dewpointC = 22;
        w.qnhHpa = 1004;
        w.precipitation = 1.0;
        w.turbulence = 0.5;
        w.clouds = {layer("BKN", 2500, "CB"), layer("OVC", 8000)};
        break;
    }
    m_preset->setCurrentIndex(int(preset));
    setManualWeather(w);
}

void WeatherTab::injectSelectedMetar()
{
    if (!m_service)
        return;
    const QString icao = selectedAirport();
    if (!m_service->lastMetar(icao).valid) {
        setStatus(tr("没有可注入的 METAR"));
        return;
    }
    if (m_service->injectWeather(selectedMetarWeather()))
        setStatus(tr("已注入 %1 的天气").arg(icao));
}

void WeatherTab::injectManual()
{
    if (m_service && m_service->injectWeather(manualWeather()))
        setStatus(tr("已注入自定义天气"));
}
