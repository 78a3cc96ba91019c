#pragma once

#include <QList>
#include <QMap>
#include <QMetaType>
#include <QPointF>
#include <QString>
#include <QStringView>

// Plain value records of the navigation data. Every provider returns them by value; text members
// are implicitly shared, so copies are cheap and never refer back into a provider.
//
// Units: latitude/longitude in decimal degrees (WGS-84, north and east positive), elevations and
// altitudes in feet, lengths and widths in feet, headings in degrees true, frequencies in MHz,
// distances in nautical miles. A record that was not found is default-constructed: its
// identifier is empty and its coordinates are zero.

struct AirportRecord
{
    QString icao;
    QString name;
    double lat = 0.0;
    double lon = 0.0;
    int elevation = 0;
    QString city;
    QString country;
    bool hasTower = false;
    int runwayCount = 0;
    QString longestRunway; // display text, "%1 ft"
    bool isHardSurface = false;
};

// The length in an airport's "%1 ft" display text, 0 when there is none.
inline int airportLongestRunwayFt(const AirportRecord &airport)
{
    const QStringView text(airport.longestRunway);
    qsizetype digits = 0;
    while (digits < text.size() && text.at(digits).isDigit())
        ++digits;
    return digits == 0 ? 0 : text.left(digits).toInt();
}

// How much an airport matters on a small-scale map: tower, hard runways, runway length. The map
// ranks by it and the navigation service thins by it, so both keep the same airports.
inline double airportImportance(const AirportRecord &airport)
{
    return (airport.hasTower ? 4.0 : 0.0) + (airport.isHardSurface ? 2.0 : 0.0) +
           airportLongestRunwayFt(airport) / 1000.0 + airport.runwayCount * 0.5;
}

struct RunwayRecord
{
    QString airportIcao;
    QString ident; // "09L"
    int length = 0;
    int width = 0;
    double heading = 0.0;
    double lat = 0.0; // threshold
    double lon = 0.0;
    QString surface;
    double ilsFreq = 0.0; // 0 when the runway has no ILS
    QString ilsIdent;
};

struct NavaidRecord
{
    QString ident;
    QString type; // "VOR", "NDB", ... as the importers write it
    double lat = 0.0;
    double lon = 0.0;
    double freq = 0.0; // as the source gives it
    double rangeNm = 0.0;
    QString airportIcao; // empty for en-route aids
    bool hasDme = false;
};

struct WaypointRecord
{
    QString ident;
    double lat = 0.0;
    double lon = 0.0;
    QString type; // "WPT", "FIX", ...
};

struct AirwaySegment
{
    QString name;  // "A593"
    QString level; // "HIGH", "LOW" or "BOTH"
    double fromLat = 0.0;
    double fromLon = 0.0;
    double toLat = 0.0;
    double toLon = 0.0;
    QString fromIdent;
    QString toIdent;
    double distance = 0.0; // nautical miles
};

struct AirspaceRecord
{
    int id = 0;
    QString name;
    QString type; // "CLASS_C", "RESTRICTED", ...
    int bottomAlt = 0;
    int topAlt = 0;
    // Polygon in order; each point is x = latitude, y = longitude, like every position pair in
    // the station (the database keeps "lon,lat" text, converted when read and written).
    QList<QPointF> boundary;
};

struct FrequencyRecord
{
    QString airportIcao;
    QString type;
    double frequency = 0.0;
    QString name;
};

struct ParkingRecord
{
    QString airportIcao;
    QString name;
    QString type = QStringLiteral("GATE");
    double lat = 0.0;
    double lon = 0.0;
    double heading = 0.0;
};

struct TowerRecord
{
    QString airportIcao;
    double lat = 0.0;
    double lon = 0.0;
    double frequency = 0.0;
    QString name;
};

struct TaxiwayNode
{
    int nodeId = 0;
    double lat = 0.0;
    double lon = 0.0;
    QString nodeType;
    QString nodeName;
};

struct TaxiwayEdge
{
    int fromNodeId = 0;
    int toNodeId = 0;
    QString direction;
    QString restriction;
    QString taxiwayName;
};

struct CycleInfo
{
    int cycleMajor = 0;
    int cycleMinor = 0;
    QString provider;
};

// Records hold only Qt containers and numbers, so lists may move them with memcpy/realloc: a
// load of millions of records then grows its lists in place instead of copying them.
Q_DECLARE_TYPEINFO(AirportRecord, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(RunwayRecord, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(NavaidRecord, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(WaypointRecord, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(AirwaySegment, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(AirspaceRecord, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(FrequencyRecord, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(ParkingRecord, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(TowerRecord, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(TaxiwayNode, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(TaxiwayEdge, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(CycleInfo, Q_RELOCATABLE_TYPE);

Q_DECLARE_METATYPE(AirportRecord)
Q_DECLARE_METATYPE(RunwayRecord)
Q_DECLARE_METATYPE(NavaidRecord)
Q_DECLARE_METATYPE(WaypointRecord)
Q_DECLARE_METATYPE(AirwaySegment)
Q_DECLARE_METATYPE(AirspaceRecord)
Q_DECLARE_METATYPE(FrequencyRecord)
Q_DECLARE_METATYPE(ParkingRecord)
Q_DECLARE_METATYPE(TowerRecord)
Q_DECLARE_METATYPE(TaxiwayNode)
Q_DECLARE_METATYPE(TaxiwayEdge)
Q_DECLARE_METATYPE(CycleInfo)
