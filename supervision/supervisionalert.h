#pragma once

#include <QCoreApplication>
#include <QDateTime>
#include <QList>
#include <QMetaType>
#include <QPointF>
#include <QString>
#include <QStringList>

// One alert the instructor sees: what happened to which aircraft, where, and the figures behind
// it. The text is made when asked for (message()), so it follows a language switch. Positions are
// latitude/longitude degrees (x = latitude); figures in the units of the kind:
//  - Conflict: value1 seconds to the closest approach, value2 lateral nm and value3 vertical ft
//    at the closest approach;
//  - RouteDeviation: value1 cross-track nm, value2 the limit nm;
//  - AltitudeDeviation: value1 altitude ft, value2 assigned ft;
//  - BelowSafeAltitude: value1 altitude ft, value2 minimum safe altitude ft;
//  - TerrainClearance: value1 height above ground ft, value2 the minimum ft.
struct SupervisionAlert
{
    Q_DECLARE_TR_FUNCTIONS(SupervisionAlert)
public:
    enum class Kind { Conflict, RouteDeviation, AltitudeDeviation, BelowSafeAltitude, TerrainClearance };

    Kind kind = Kind::Conflict;
    QStringList aircraftIds; // one, or two for a conflict
    QStringList labels;      // callsigns (or ids) as shown
    QList<QPointF> positions;
    double value1 = 0.0;
    double value2 = 0.0;
    double value3 = 0.0;
    QDateTime raisedUtc;
    // Sounded when raised; conflicts between network traffic only are listed silently.
    bool audible = true;

    // Identity across evaluations: the kind and the aircraft.
    QString key() const;
    QString message() const;
    // The aircraft's name as shown (the callsign, or "本机" for the own aircraft without one).
    QString displayName(int index) const;
    // The short name of the kind ("冲突" …) for the panel's column.
    static QString kindText(Kind kind);
};

Q_DECLARE_METATYPE(SupervisionAlert)
