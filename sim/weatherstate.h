#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QMetaType>
#include <QString>

// One cloud layer of a weather to inject.
struct CloudLayer
{
    QString cover;     // "FEW", "SCT", "BKN" or "OVC"
    double baseFt = 0; // above mean sea level
    double topFt = 0;  // 0: the simulator's own thickness
    QString type;      // "CB", "TCU" or empty
};

// A weather to inject into a simulator: what a decoded METAR gives, or what the instructor sets
// in the weather tab. Surface values; wind direction is where the wind blows from, degrees true.
// Backends turn it into their own writes (X-Plane weather datarefs, a METAR-form observation on
// the SimConnect simulators); the agent protocol's "weather" command carries it as JSON with the
// keys windDir, windSpeed, windGust, visibility, temperature, dewpoint, qnh, precipitation,
// turbulence and clouds (a list of objects with cover, base, top, type).
struct WeatherState
{
    double windDirDeg = 0;
    double windSpeedKt = 0;
    double windGustKt = 0; // 0: no gusts
    double visibilityM = 10000;
    double temperatureC = 15;
    double dewpointC = 10;
    double qnhHpa = 1013.25;
    double precipitation = 0; // 0 none .. 1 heavy
    double turbulence = 0;    // 0 none .. 1 severe
    QList<CloudLayer> clouds; // lowest first

    QJsonObject toJson() const;
    // The weather as a plain METAR report for station ("GLOB" for the whole world) observed at
    // timeUtc: wind, gust, visibility, rain or snow, cloud layers (bases as given), temperature,
    // dew point and QNH, e.g. "GLOB 151230Z 27015G25KT 8000 -RA FEW020 BKN045CB 15/10 Q1013".
    // Turbulence has no plain METAR group and is left out.
    QString toMetar(const QString &station, const QDateTime &timeUtc) const;
    // Missing keys keep the defaults above; numbers out of their physical range are clamped.
    static WeatherState fromJson(const QJsonObject &object);
};

Q_DECLARE_METATYPE(WeatherState)
