#pragma once

#include "weather/metardata.h"

#include <QString>

// Decodes the body of a METAR or SPECI into MetarData. After the station and the time, the groups
// are read in their fixed order (wind, visibility, weather phenomena, clouds, temperature,
// pressure): each token is offered to the groups from the current one onwards, the first that
// accepts it moves the decoding on (phenomena and clouds may repeat), and a token that none of
// them accepts is passed over (RVR groups, variable wind sectors, "10SM", "CAVOK", "AO2" ...).
// "RMK", "NOSIG", "TEMPO" and "BECMG" end the report: remarks and trends are not decoded.
//
// Only knots are read for wind and only metres for visibility; reports in other units keep those
// groups empty. Stateless: one decoder may be used from any thread.
class MetarDecoder
{
public:
    MetarData decode(const QString &text) const;

    // The group parsers: each takes one token, fills its part of the record and says whether the
    // token was of its kind.
    static bool parseWind(const QString &token, MetarData &data);
    static bool parseVisibility(const QString &token, MetarData &data);
    static bool parsePhenomenon(const QString &token, MetarData &data);
    static bool parseCloud(const QString &token, MetarData &data);
    static bool parseTemperature(const QString &token, MetarData &data);
    static bool parsePressure(const QString &token, MetarData &data);

    static constexpr double kHpaPerInHg = 33.8639;
};
