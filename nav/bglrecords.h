#pragma once

#include <QList>
#include <QPointF>
#include <QString>
#include <QStringList>

// Scenery records as BglReader decodes them from BGL files (FSX, Prepar3D v4/v5/v6, MSFS 2020).
// They are separate from the navigation records of navrecords.h: they keep what the file says,
// in the format's own vocabulary (enumeration texts as the scenery compiler's XML writes them,
// "ASPHALT", "GATE_SMALL", "TOWER", "ILS", ...), and the database import maps them to rows.
//
// Units: latitude/longitude in decimal degrees (WGS-84, north and east positive); altitudes,
// elevations, lengths, widths and radii in feet (the files store metres); ranges in nautical
// miles, except BglNdb::rangeM, which keeps the file's float; headings in degrees true;
// frequencies in MHz, except BglNdb::frequencyKhz. Magnetic variation is the file's value
// folded into -180..180 with the sign the scenery compiler's XML uses (magvar="-3.5" reads back
// as -3.5). Identifiers are trimmed upper-case texts; a missing one is empty.

struct BglRunwayEnd
{
    QString ident;    // "18", "09L", "N" (water lanes)
    double lat = 0.0; // end of the paved runway, before any offset threshold
    double lon = 0.0;
    double headingDegTrue = 0.0;
    QString ilsIdent; // ILS serving this end, empty when none
    double offsetThresholdFt = 0.0;
    double blastPadFt = 0.0;
    double overrunFt = 0.0;
    bool takeoffAllowed = true;
    bool landingAllowed = true;
    bool rightPattern = false;
    bool closed = false;
    QString approachLights; // "ALSF2", "MALSR", ...; empty when the end has none
    int strobeCount = 0;
    bool reil = false;
    bool touchdownLights = false;
    bool endLights = false;
    QString vasiType; // first VASI/PAPI of this end, "PAPI4"; empty when none
    double vasiPitchDeg = 0.0;
};

struct BglRunway
{
    QString surface; // "ASPHALT", "GRASS", ... ("UNKNOWN" for codes outside the list)
    bool isHardSurface = false;
    double lat = 0.0; // centre of the runway
    double lon = 0.0;
    double altitudeFt = 0.0;
    double lengthFt = 0.0;
    double widthFt = 0.0;
    double headingDegTrue = 0.0; // direction of the primary end's take-off
    double patternAltitudeFt = 0.0;
    quint32 markingFlags = 0;
    quint8 lightFlags = 0;
    BglRunwayEnd primary;
    BglRunwayEnd secondary;
};

struct BglStart
{
    QString runwayIdent; // "18"; helipad starts are numbered "1", "2", ... in file order
    QString type;        // "RUNWAY", "WATER", "HELIPAD", "TRACK"
    double lat = 0.0;
    double lon = 0.0;
    double altitudeFt = 0.0;
    double headingDegTrue = 0.0;
};

struct BglComFreq
{
    QString type; // "ATIS", "TOWER", "GROUND", ... ("UNKNOWN" outside the list)
    double frequencyMhz = 0.0;
    QString name;
};

struct BglParking
{
    int index = 0;    // position in the airport's parking list; taxi paths refer to it
    QString name;     // display text, "Gate B 12", "Parking 2"
    QString nameCode; // "GATE", "PARKING", "N_PARKING", "GATE_B", ...
    int number = 0;
    QString suffix;   // MSFS name suffix letter, empty elsewhere
    QString type;     // "GATE_SMALL", "RAMP_GA_SMALL", ...
    QString pushBack; // "NONE", "LEFT", "RIGHT", "BOTH"
    double radiusFt = 0.0;
    double headingDegTrue = 0.0;
    double lat = 0.0;
    double lon = 0.0;
    QStringList airlineCodes;
};

struct BglTaxiPoint
{
    int index = 0;       // position in the airport's point list; taxi paths refer to it
    QString type;        // "NORMAL", "HOLD_SHORT", "ILS_HOLD_SHORT", ...
    QString orientation; // "FORWARD", "REVERSE"
    double lat = 0.0;
    double lon = 0.0;
};

struct BglTaxiPath
{
    QString type;       // "TAXI", "RUNWAY", "PARKING", "PATH", "CLOSED", "VEHICLE", ...
    int startIndex = 0; // into the taxi points
    int endIndex = 0;   // into the taxi points, or into the parkings when endIsParking
    bool endIsParking = false;
    QString name; // taxiway name, or the runway ident for runway paths
    double widthFt = 0.0;
    quint32 weightLimit = 0; // as the file gives it
    QString surface;
};

struct BglTaxiName
{
    int index = 0;
    QString name;
};

struct BglProcedure
{
    QString type;         // "APPROACH", "SID", "STAR"
    QString approachType; // "ILS", "GPS", "RNAV", ... for approaches
    QString runwayIdent;  // empty when the procedure serves every runway (or none)
    QString name;         // approaches: type letter, runway and suffix ("I18", "R09L-Y")
    QString suffix;       // approach suffix letter, empty when none
    bool gpsOverlay = false;
    QString fixIdent; // final approach fix
    QString fixRegion;
    QString fixType;
    double fixAltitudeFt = 0.0;
    double headingDegTrue = 0.0;
    double missedAltitudeFt = 0.0;
    QStringList transitions; // names of the approach or en-route transitions
};

struct BglProcedureLeg
{
    QString procName; // matches BglProcedure::name and ::type
    QString procType;
    QString runway;     // runway transition legs of SIDs/STARs; empty for common and en-route legs
    QString transition; // empty for the procedure's own legs
    bool isMissed = false;
    int seq = 0;     // 1-based order within (procedure, runway, transition); missed legs follow the approach legs
    QString legType; // ARINC-424 path terminator, "IF", "TF", "CF", ...
    QString fixIdent;
    QString fixRegion;
    QString fixAirport;
    QString fixType; // "WAYPOINT", "VOR", "NDB", "TERMINAL_WAYPOINT", "RUNWAY", "LOCALIZER", ...
    QString recommendedIdent;
    QString recommendedRegion;
    QString recommendedType;
    double thetaDeg = 0.0;
    double rho = 0.0;
    double courseDeg = 0.0;
    bool courseIsTrue = false;
    double distOrTime = 0.0; // as the file gives it (the compiler's XML distance or minutes)
    bool isTime = false;
    double altitude1Ft = 0.0;
    double altitude2Ft = 0.0;
    QString altDescriptor; // "A", "+", "-", "B" or empty
    QString turnDirection; // "L", "R", "E" or empty
    bool flyover = false;
    double speedLimitKts = 0.0;    // MSFS only
    double verticalAngleDeg = 0.0; // MSFS only
};

struct BglAirport
{
    QString ident;
    QString region;
    QString name;
    double lat = 0.0;
    double lon = 0.0;
    double altitudeFt = 0.0;
    bool hasTower = false; // the record gives a tower position
    double towerLat = 0.0;
    double towerLon = 0.0;
    double towerAltitudeFt = 0.0;
    double magVarDeg = 0.0;
    quint32 fuelFlags = 0;
    bool closed = false;     // MSFS flag
    quint16 deleteFlags = 0; // flags of a delete-airport record (add-on scenery removing stock data)
    bool hasDeleteRecord = false;
    quint16 recordId = 0; // 0x003C FSX/P3D v4, 0x00AB P3D v5, 0x0056 MSFS 2020, 0x0003 FS9
    QList<BglRunway> runways;
    QList<BglStart> starts;
    QList<BglParking> parkings;
    QList<BglComFreq> comFrequencies;
    QList<BglTaxiPoint> taxiPoints;
    QList<BglTaxiPath> taxiPaths;
    QList<BglTaxiName> taxiNames;
    QList<BglProcedure> procedures;
    QList<BglProcedureLeg> procedureLegs;
};

struct BglVor
{
    QString ident;
    QString region;
    QString airportIdent; // empty for en-route aids
    QString name;
    QString type; // "TERMINAL", "LOW", "HIGH", "VOT"
    QString kind; // "VOR", "VORDME", "DME", "TACAN", "VORTAC"
    double lat = 0.0;
    double lon = 0.0;
    double altitudeFt = 0.0;
    double frequencyMhz = 0.0;
    double rangeNm = 0.0;
    double magVarDeg = 0.0;
    bool hasDme = false;
    double dmeLat = 0.0;
    double dmeLon = 0.0;
    double dmeAltitudeFt = 0.0;
    double dmeRangeNm = 0.0;
};

struct BglIls
{
    QString ident;
    QString region;
    QString airportIdent;
    QString name;
    QString runwayIdent; // from the localizer sub-record; empty when the file leaves it 0
    double lat = 0.0;    // localizer antenna
    double lon = 0.0;
    double altitudeFt = 0.0;
    double frequencyMhz = 0.0;
    double rangeNm = 0.0;
    double magVarDeg = 0.0;
    double headingDegTrue = 0.0; // localizer course
    double beamWidthDeg = 0.0;
    bool backCourse = false;
    bool hasGlideSlope = false;
    double gsLat = 0.0;
    double gsLon = 0.0;
    double gsAltitudeFt = 0.0;
    double gsRangeNm = 0.0;
    double gsPitchDeg = 0.0;
    bool hasDme = false;
    double dmeLat = 0.0;
    double dmeLon = 0.0;
    double dmeAltitudeFt = 0.0;
    double dmeRangeNm = 0.0;
};

struct BglNdb
{
    QString ident;
    QString region; // the whole region word decoded unshifted
    double lat = 0.0;
    double lon = 0.0;
    double frequencyKhz = 0.0;
    double rangeM = 0.0; // the file's float, widened (metres in published files)
    quint16 typeWord = 0;
};

struct BglMarker
{
    QString ident;
    QString region;
    QString type; // "INNER", "MIDDLE", "OUTER", "BACKCOURSE"
    double lat = 0.0;
    double lon = 0.0;
    double altitudeFt = 0.0;
    double headingDegTrue = 0.0;
};

struct BglWaypoint
{
    QString ident;
    QString region;
    QString airportIdent; // terminal waypoints: the airport they belong to
    QString type;         // "NAMED", "UNNAMED", "VOR", "NDB", "OFF_ROUTE", "IAF", "FAF", "RNAV", "VFR"
    double lat = 0.0;
    double lon = 0.0;
    double magVarDeg = 0.0;
};

// One airway leg from a waypoint to the next fix of the airway. The file gives only the next
// fix's ident, region and kind; its position stays 0 until BglReader::resolveAirwayEndpoints
// (or the database's repair) finds it.
struct BglAirwaySegment
{
    QString name;  // "V123", "J45"
    QString level; // "LOW", "HIGH", "BOTH"
    QString fromIdent;
    QString fromRegion;
    double fromLat = 0.0;
    double fromLon = 0.0;
    QString toIdent;
    QString toRegion;
    QString toType; // "VOR", "NDB", "WAYPOINT"
    double toLat = 0.0;
    double toLon = 0.0;
    double minimumAltitudeFt = 0.0;
};

struct BglBoundary
{
    QString name;
    QString type; // "CENTER", "CLASS_A" ... "CLASS_G", "TOWER", "RESTRICTED", "PROHIBITED", "DANGER", ...
    double lowerAltitudeFt = 0.0;
    double upperAltitudeFt = 0.0;
    QString lowerAltitudeType; // "UNKNOWN", "MSL", "AGL", "UNLIMITED"
    QString upperAltitudeType;
    double comFrequencyMhz = 0.0; // 0 when the airspace carries no frequency
    // Polygons in order; each point is x = latitude, y = longitude (as AirspaceRecord). Arcs and
    // circles are expanded into points.
    QList<QList<QPointF>> polygons;
};

Q_DECLARE_TYPEINFO(BglRunwayEnd, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(BglRunway, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(BglStart, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(BglComFreq, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(BglParking, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(BglTaxiPoint, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(BglTaxiPath, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(BglTaxiName, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(BglProcedure, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(BglProcedureLeg, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(BglAirport, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(BglVor, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(BglIls, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(BglNdb, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(BglMarker, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(BglWaypoint, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(BglAirwaySegment, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(BglBoundary, Q_RELOCATABLE_TYPE);

// Everything one reader holds, by kind, in file order.
struct BglRecordLists
{
    QList<BglAirport> airports;
    QList<BglVor> vors;
    QList<BglIls> ilses;
    QList<BglNdb> ndbs;
    QList<BglMarker> markers;
    QList<BglWaypoint> waypoints;
    QList<BglAirwaySegment> airwaySegments;
    QList<BglBoundary> boundaries;
};
