#pragma once

// The parse side of the CIFP import: the positions legs resolve against, the rows a file gives,
// and the helper-thread producer that parses the files into batches. Internal to CifpImporter.

#include "nav/batchqueue.h"

#include <QByteArray>
#include <QHash>
#include <QSqlDatabase>
#include <QString>
#include <QStringList>

#include <vector>

namespace navimport {

constexpr int kLegsPerBatch = 4096;

struct GeoPoint
{
    double lat = 0.0;
    double lon = 0.0;
};

struct AidPoint
{
    GeoPoint point;
    bool isNdb = false;
};

// Positions the legs' fixes can resolve to, read from the database before the files are parsed.
// Read-only while the helper thread uses it.
struct FixLookup
{
    QHash<QByteArray, std::vector<GeoPoint>> waypoints;
    QHash<QByteArray, std::vector<AidPoint>> navaids;
    QHash<QByteArray, GeoPoint> airports;
    QHash<QByteArray, GeoPoint> runways; // "ICAO|16L"
};

struct ProcedureRow
{
    QString airport;
    QString type;
    QString runway;
    QString name;
};

struct LegRow
{
    ProcedureRow procedure; // shares the procedure's texts
    int seq = 0;
    QString fixIdent;
    QString fixRegion;
    QString fixType1;
    QString fixType2;
    QString fixType3;
    QString legType;
    double lat = 0.0;
    double lon = 0.0;
    double altitudeFt = 0.0;
    int speedKts = 0;
};

struct CifpBatch
{
    std::vector<ProcedureRow> procedures;
    std::vector<LegRow> legs;
    int skipped = 0;
    int unresolved = 0;
    int filesDone = 0;
    QString error; // a file that could not be read ends the import
};

// Reads the fixes, navaids, airports and runways the legs resolve against; false when the database
// lacks one of those tables.
bool loadCifpLookup(QSqlDatabase &db, FixLookup *lookup);

// Reads and parses the files in order on the calling (helper) thread, pushing a batch whenever
// enough legs have collected. A file that cannot be read, or proves unusable, ends the run with a
// batch carrying the error.
void produceCifp(const QStringList &files, const FixLookup &lookup, BatchQueue<CifpBatch> &queue);

} // namespace navimport
