#pragma once

#include <QColor>
#include <QString>

// The colours of one map style. Light backgrounds (the light plain style and street tiles) get
// chart-like dark inks with white halos; dark backgrounds (the dark plain style and satellite
// imagery) get brighter inks with dark halos, so symbols and labels stay readable on both.
struct MapPalette
{
    bool dark = false;
    QColor background;
    QColor label;
    QColor labelHalo;
    QColor airportTowered;
    QColor airportUntowered;
    QColor vor;
    QColor ndb;
    QColor fix;
    QColor airwayHigh;
    QColor airwayLow;
    QColor runway;
    QColor runwayEdge;
    QColor ils;
    QColor taxiway;
    QColor parking;
    QColor ownAircraft;
    QColor ownTrack;
    QColor route;
    QColor remoteAircraft;
    QColor onlineAircraft;
    QColor instrument; // compass, scale bar, range ring, crosshair
    QColor instrumentHalo;

    // For MapWidget::MapStyle values: 0 dark plain, 1 light plain, 2 street tiles, 3 satellite,
    // 4 the offline base map.
    static MapPalette forStyle(int style);

    // Outline and fill of an airspace by its type ("CLASS_C", "RESTRICTED", ...).
    QColor airspaceLine(const QString &type) const;
    QColor airspaceFill(const QString &type) const;
    // True for the types drawn dashed (the lower classes and control zones).
    static bool airspaceDashed(const QString &type);
    // True for the special-use types (restricted, prohibited, danger) drawn with a hatched band.
    static bool airspaceSpecialUse(const QString &type);
};
