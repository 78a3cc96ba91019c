#pragma once

// Internal to OfflineNavDataProvider: the in-memory data set and the helpers shared by its
// loading, query, diagram and sample-data files.

#include "nav/inavdataprovider.h"
#include "nav/offlinenavdataprovider.h"

#include <QHash>
#include <QList>
#include <QMap>
#include <QSet>
#include <QString>

// A contiguous run [begin, end) of list positions sharing one airport.
struct IndexRange
{
    int begin = 0;
    int end = 0;
};

struct GeoBox
{
    double minLat = 0.0;
    double minLon = 0.0;
    double maxLat = 0.0;
    double maxLon = 0.0;
};

// Everything a load produces. A load fills a fresh instance and swaps it in whole, so queries
// see either the old or the new data, never a mixture.
struct OfflineNavDataProvider::Data
{
    QMap<QString, AirportRecord> airports;
    QHash<QString, QList<RunwayRecord>> runways;
    QList<NavaidRecord> navaids;
    QList<WaypointRecord> waypoints;
    QList<AirwaySegment> airways;
    QList<AirspaceRecord> airspaces;
    QList<INavDataProvider::Procedure> procedures;
    QList<INavDataProvider::ProcedureLeg> procedureLegs;
    QHash<QString, QList<ParkingRecord>> parkings;
    QHash<QString, TowerRecord> towers;
    QHash<QString, QList<FrequencyRecord>> frequencies;
    QHash<QString, QMap<int, TaxiwayNode>> taxiwayNodes;
    QHash<QString, QList<TaxiwayEdge>> taxiwayEdges;
    CycleInfo cycle;

    QSet<QString> diagramRequested;
    QSet<QString> diagramEmpty;

    // Derived look-ups, rebuilt by finish().
    QHash<QString, QList<IndexRange>> procedureRuns;
    QHash<QString, QList<IndexRange>> legRuns;
    QHash<QString, QList<int>> navaidsByIdent;
    QHash<QString, QList<int>> waypointsByIdent;
    QList<GeoBox> airspaceBoxes;

    // Builds the derived look-ups and fills what the tables leave implicit (hard-surface flags,
    // DME flags, positions of legs stored without coordinates).
    void finish();
};

// One airport's ground layout as read from the database.
struct OfflineNavDataProvider::Diagram
{
    QMap<int, TaxiwayNode> nodes;
    QList<TaxiwayEdge> edges;
    QList<ParkingRecord> parkings;
    bool withParkings = false;
};
