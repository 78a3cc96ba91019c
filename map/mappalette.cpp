#include "map/mappalette.h"

namespace {

enum class AirspaceKind { Controlled, ClassC, Lower, Special, Other };

AirspaceKind kindOf(const QString &type)
{
    const QString t = type.toUpper();
    if (t.contains(QLatin1String("RESTRICT")) || t.contains(QLatin1String("PROHIBIT")) ||
        t.contains(QLatin1String("DANGER")) || t == QLatin1String("R") || t == QLatin1String("P") ||
        t == QLatin1String("Q"))
        return AirspaceKind::Special;
    if (t.endsWith(QLatin1String("_A")) || t.endsWith(QLatin1String("_B")) || t == QLatin1String("A") ||
        t == QLatin1String("B") || t.contains(QLatin1String("CTA")) || t.contains(QLatin1String("TMA")))
        return AirspaceKind::Controlled;
    if (t.endsWith(QLatin1String("_C")) || t == QLatin1String("C"))
        return AirspaceKind::ClassC;
    if (t.endsWith(QLatin1String("_D")) || t.endsWith(QLatin1String("_E")) || t.endsWith(QLatin1String("_F")) ||
        t.endsWith(QLatin1String("_G")) || t.contains(QLatin1String("CTR")) || t == QLatin1String("D") ||
        t == QLatin1String("E"))
        return AirspaceKind::Lower;
    return AirspaceKind::Other;
}

} // namespace

MapPalette MapPalette::forStyle(int style)
{
    MapPalette p;
    p.dark = style == 0 || style == 3;
    if (style == 0)
        p.background = QColor(20, 30, 48);
    else if (style == 1)
        p.background = QColor(235, 240, 248);
    else if (style == 4)
        p.background = QColor(170, 200, 224); // the offline base map's sea
    else
        p.background = Qt::white;

    if (p.dark) {
        p.label = QColor(232, 238, 246);
        p.labelHalo = QColor(8, 14, 26, style == 3 ? 235 : 200);
        p.airportTowered = QColor(96, 178, 255);
        p.airportUntowered = QColor(236, 120, 226);
        p.vor = QColor(100, 214, 232);
        p.ndb = QColor(226, 140, 210);
        p.fix = QColor(196, 208, 222);
        p.airwayHigh = QColor(182, 150, 255);
        p.airwayLow = QColor(84, 196, 170);
        p.runway = QColor(150, 160, 176);
        p.runwayEdge = QColor(235, 240, 248);
        p.ils = QColor(120, 230, 120);
        p.taxiway = QColor(214, 190, 90);
        p.parking = QColor(150, 200, 235);
        p.ownAircraft = QColor(255, 214, 64);
        p.ownTrack = QColor(255, 214, 64, 190);
        p.route = QColor(255, 92, 200);
        p.remoteAircraft = QColor(90, 230, 255);
        p.onlineAircraft = QColor(160, 235, 130);
        p.instrument = QColor(226, 234, 244);
        p.instrumentHalo = QColor(8, 14, 26, 190);
    } else {
        p.label = QColor(22, 28, 40);
        p.labelHalo = QColor(255, 255, 255, 225);
        p.airportTowered = QColor(18, 82, 186);
        p.airportUntowered = QColor(170, 30, 140);
        p.vor = QColor(0, 116, 150);
        p.ndb = QColor(150, 40, 128);
        p.fix = QColor(40, 44, 56);
        p.airwayHigh = QColor(104, 62, 176);
        p.airwayLow = QColor(26, 124, 112);
        p.runway = QColor(70, 76, 88);
        p.runwayEdge = QColor(255, 255, 255);
        p.ils = QColor(20, 140, 60);
        p.taxiway = QColor(190, 150, 40);
        p.parking = QColor(40, 90, 160);
        p.ownAircraft = QColor(230, 120, 0);
        p.ownTrack = QColor(230, 120, 0, 200);
        p.route = QColor(210, 20, 150);
        p.remoteAircraft = QColor(0, 140, 190);
        p.onlineAircraft = QColor(40, 150, 40);
        p.instrument = QColor(28, 34, 46);
        p.instrumentHalo = QColor(255, 255, 255, 200);
    }
    return p;
}

QColor MapPalette::airspaceLine(const QString &type) const
{
    switch (kindOf(type)) {
    case AirspaceKind::Special:
        return dark ? QColor(255, 96, 96) : QColor(200, 30, 30);
    case AirspaceKind::Controlled:
        return dark ? QColor(110, 160, 255) : QColor(30, 80, 200);
    case AirspaceKind::ClassC:
        return dark ? QColor(236, 110, 226) : QColor(160, 30, 150);
    case AirspaceKind::Lower:
        return dark ? QColor(140, 176, 255) : QColor(60, 100, 200);
    case AirspaceKind::Other:
        break;
    }
    return dark ? QColor(190, 196, 150) : QColor(120, 110, 60);
}

QColor MapPalette::airspaceFill(const QString &type) const
{
    QColor c = airspaceLine(type);
    c.setAlpha(dark ? 34 : 28);
    return c;
}

bool MapPalette::airspaceDashed(const QString &type)
{
    return kindOf(type) == AirspaceKind::Lower;
}

bool MapPalette::airspaceSpecialUse(const QString &type)
{
    return kindOf(type) == AirspaceKind::Special;
}
