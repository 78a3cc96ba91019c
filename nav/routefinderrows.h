#pragma once

// The rows of a route-finder text export, parsed from comma-separated fields: what the importer
// writes, and what its check reads before anything is replaced. Internal to the route-finder
// importer; units as in the database (degrees, feet, knots, nautical miles).

#include <QByteArrayView>
#include <QString>

#include <functional>
#include <vector>

namespace navimport {

struct RfWaypoint
{
    QString ident;
    double lat = 0.0;
    double lon = 0.0;
};

struct RfRunway
{
    QString ident;
    int lengthFt = 0;
    int widthFt = 0;
    double headingDeg = 0.0;
    double lat = 0.0;
    double lon = 0.0;
    QString surface;
};

struct RfAirport
{
    QString icao;
    QString name;
    double lat = 0.0;
    double lon = 0.0;
    int elevationFt = 0;
    std::vector<RfRunway> runways;
};

struct RfNavaid
{
    QString ident;
    QString type;
    double lat = 0.0;
    double lon = 0.0;
    double freq = 0.0;
    double rangeNm = 0.0;
};

struct RfSegment
{
    QString fromIdent;
    QString toIdent;
    double fromLat = 0.0;
    double fromLon = 0.0;
    double toLat = 0.0;
    double toLon = 0.0;
    double lengthNm = 0.0;
    QString minAlt;
    QString maxAlt;
};

struct RfLeg
{
    QString legType;
    QString fix;
    double lat = 0.0;
    double lon = 0.0;
    double altitudeFt = 0.0;
    int speedKts = 0;
};

// Each takes the fields of one line (trailing empty fields dropped); false when the line is not one.
bool parseRfWaypoint(const QByteArrayView *f, int count, RfWaypoint *row); // IDENT,lat,lon[,...]
bool parseRfAirport(const QByteArrayView *f, int count, RfAirport *row);   // "A" line
bool parseRfRunway(const QByteArrayView *f, int count, RfRunway *row);     // "R" line
bool parseRfNavaid(const QByteArrayView *f, int count, RfNavaid *row);
bool parseRfAirwayHeader(const QByteArrayView *f, int count, QString *name, QString *level); // "A" line
bool parseRfSegment(const QByteArrayView *f, int count, RfSegment *row);                     // "S" line
bool parseRfLeg(const QByteArrayView *f, int count, RfLeg *row);

struct InputCheck;

// Reads a comma-separated file line by line, skipping blank and '#' lines, and calls row() with
// the fields of each other line; row() returns whether it could read them (a line that it cannot
// counts in *skipped and in check). stop() is asked every few thousand lines. False, with *error
// set when the file cannot be opened, or when stop() said so.
bool forEachRfLine(const QString &file, const std::function<bool(const QByteArrayView *, int)> &row, int *skipped,
                   InputCheck *check, const std::function<bool()> &stop, QString *error);

// The files of an export, each read for its own kind of line.
enum class RfFile { Waypoints, Airports, Navaids, Airways, Procedures };

// Reads file through without writing anything: empty when it may replace a table, else one line
// naming the file and the line that shows why (see InputCheck).
QString checkRfFile(RfFile kind, const QString &file);

} // namespace navimport
