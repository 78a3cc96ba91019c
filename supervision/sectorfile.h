#pragma once

#include <QColor>
#include <QList>
#include <QMetaType>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <QStringList>

// What one ATC sector file holds once read, whatever its format (EuroScope SCT/ESE, GeoJSON
// boundaries, OpenAir): lines to draw, filled regions, named points, labels, airspace sectors with
// vertical limits (for "which sector is the aircraft in") and controller positions (for placing
// network controllers). Positions are WGS-84 degrees in a QPointF with x = latitude and
// y = longitude, as everywhere on the map; altitudes feet.
//
// Plain values, built on a worker thread by the parsers and then handed to the GUI thread whole.

// A polyline of one kind; colour invalid when the file gave none.
struct SectorLine
{
    enum class Kind { Artcc, ArtccHigh, ArtccLow, Geo, Sid, Star, LowAirway, HighAirway, Runway };

    Kind kind = Kind::Geo;
    QString group; // the name the file gives the group of lines, may be empty
    QColor colour;
    QList<QPointF> points;
};

// A filled area (EuroScope [REGIONS]: aprons, buildings, water).
struct SectorRegion
{
    QString name;
    QColor colour;
    QList<QPointF> points;
};

// A named point of the file: a navaid, an airport or a fix.
struct SectorPoint
{
    enum class Kind { Vor, Ndb, Airport, Fix };

    Kind kind = Kind::Fix;
    QString ident;
    QString frequency; // as written in the file; may be empty or "."
    QPointF position;
};

struct SectorLabel
{
    QString text;
    QColor colour;
    QPointF position;
};

// An airspace sector with vertical limits: an ESE SECTOR, a FIR/TRACON boundary, an OpenAir area.
struct SectorArea
{
    static constexpr int kUnlimitedFt = 99999;

    QString name;
    QString kind; // "SECTOR", "FIR", "TRACON" or the OpenAir type
    int floorFt = 0;
    int ceilingFt = kUnlimitedFt;
    // Who controls it, as the file names them: ESE position identifiers, TRACON callsign prefixes.
    QStringList owners;
    QList<QList<QPointF>> rings; // outer rings (holes are not used by these formats)
    QRectF bounds;               // x = latitude, y = longitude; filled by finish()
    double areaSqDeg = 0.0;      // for choosing the most specific of overlapping areas

    bool contains(double lat, double lon) const;
    // Bounds and size from the rings; call after the rings are complete.
    void finish();
};

// A controller position: from an ESE [POSITIONS] line, or an airport or FIR of a VATSpy list (an
// airport has no suffix and stands for all its stations; a FIR names the boundary it covers).
struct SectorPosition
{
    QString name;
    QString radioCallsign;
    QString frequency;
    QString identifier;
    QString prefix;
    QString middle;
    QString suffix;
    QList<QPointF> visibilityCentres;
    QString area; // the boundary (area name) a FIR position covers
};

// What reading a file cost: lines read, lines skipped because they could not be used (each with a
// short reason, the first few kept), and per-section counts for the report.
struct SectorParseReport
{
    static constexpr int kMaxReasons = 20;

    int lineCount = 0;
    int skippedCount = 0;
    QStringList reasons; // "line 123: unknown fix ABC"

    void skip(int lineNumber, const QString &why);
    // Adds another file's report (a .sct with its .ese), its reasons prefixed with its name.
    void merge(const SectorParseReport &other, const QString &name);
};

struct SectorFile
{
    enum class Format { Sct, Ese, GeoJson, OpenAir, VatSpy };

    QString path;
    QString name; // shown in the file list
    Format format = Format::Sct;
    QString sectorName; // SCT [INFO]: the sector's name; the others leave it empty
    QList<SectorLine> lines;
    QList<SectorRegion> regions;
    QList<SectorPoint> points;
    QList<SectorLabel> labels;
    QList<SectorArea> areas;
    QList<SectorPosition> positions;
    int procedureCount = 0; // ESE [SIDSSTARS] entries
    SectorParseReport report;
    QString error; // set when the file could not be read at all (missing, not the format)
    QRectF bounds; // x = latitude, y = longitude; everything drawn

    // Line segments of a kind (a polyline of n points counts n - 1).
    int segmentCount(SectorLine::Kind kind) const;
    int count(SectorPoint::Kind kind) const;
    // Fills bounds (and every area's bounds) from the content.
    void finish();
};

Q_DECLARE_METATYPE(SectorFile)
