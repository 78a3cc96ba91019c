#pragma once

#include <QList>
#include <QMetaType>
#include <QString>
#include <QStringList>

#include <optional>

// One decoded METAR. Groups the report does not carry (or carries in a form the decoder does not
// read, such as statute-mile visibility or winds in metres per second) stay empty, so "absent"
// and "zero" are told apart. Units: degrees true, knots, metres, feet above the station, degrees
// Celsius, hectopascal.
struct MetarData
{
    struct CloudLayer
    {
        QString cover;             // "FEW", "SCT", "BKN", "OVC", "NSC", "SKC" or "CLR"
        std::optional<int> baseFt; // the three-digit group x 100; none for the cover-only codes
        QString type;              // "CB", "TCU" or empty
    };

    QString raw; // the report as given
    QString station;
    QString time;                        // day, hour and minute: "271200Z"
    std::optional<int> windDirectionDeg; // empty for "VRB"
    bool windVariable = false;
    std::optional<int> windSpeedKt;
    std::optional<int> windGustKt;
    std::optional<int> visibilityM;
    QStringList phenomena; // the groups as written: "-RA", "VCSH", "BR"
    QList<CloudLayer> clouds;
    std::optional<int> temperatureC;
    std::optional<int> dewpointC;
    std::optional<double> pressureHpa;   // from "Q", or converted from "A"
    std::optional<double> altimeterInHg; // only for "A" groups
    bool valid = false;                  // a station was found
};

Q_DECLARE_METATYPE(MetarData)
