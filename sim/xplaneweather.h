#pragma once

#include "sim/weatherstate.h"

#include <QList>
#include <QString>

// Turns a WeatherState into the dataref writes that inject it into X-Plane over UDP, in the order
// they are to be sent. X-Plane 11 takes its three-layer sim/weather/* datarefs after real weather
// is switched off; X-Plane 12 takes the sim/weather/region/* arrays (13 wind levels, 3 cloud
// layers) in static mode and is then told to apply them at once.
//
// The instructor's wind is the same on every wind level (a METAR knows only the surface wind);
// the gust becomes the shear (gust increment); cloud bases and tops are metres above sea level;
// a top of 0 gets a typical thickness. X-Plane 12's region wind speed is written in knots, as
// Laminar's DataRefs.txt states for wind_speed_msc (the name suggests m/s; not checked on a
// running X-Plane 12). Stateless.
class XPlaneWeather
{
public:
    struct Write
    {
        QString dataref;
        float value = 0;
    };

    static constexpr int kXp11Layers = 3;
    static constexpr int kXp12WindLevels = 13;
    static constexpr int kXp12CloudLayers = 3;

    // xplaneVersion: 11, or 12 and above.
    static QList<Write> writes(const WeatherState &weather, int xplaneVersion);
};
