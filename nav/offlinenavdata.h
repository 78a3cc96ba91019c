#pragma once

#include "nav/inavdataprovider.h"
#include "nav/navtexttable.h"

#include <QHash>
#include <QList>
#include <QMap>
#include <QSet>
#include <QString>

#include <vector>

// One procedure leg as the offline data keeps it: numbers inline, texts as ids of the data set's
// text table. A world database has two million legs; records of their own (ten QStrings each)
// would cost half a gigabyte and millions of reference counts to load.
struct PackedLeg
{
    double lat = 0.0;
    double lon = 0.0;
    double altitude = 0.0; // feet
    qint32 seq = 0;
    qint32 speedLimit = 0; // knots
    quint32 fixIdent = 0;
    quint32 fixRegion = 0;
    quint32 fixType1 = 0;
    quint32 fixType2 = 0;
    quint32 fixType3 = 0;
    quint32 legType = 0;
};

// The legs of one procedure (airport, name, type, runway; text ids), contiguous in seq order.
struct LegGroup
{
    quint32 airport = 0;
    quint32 procName = 0;
    quint32 procType = 0;
    quint32 runway = 0;
    qint32 begin = 0;
    qint32 end = 0;
};

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

// Everything the offline provider answers from: what a load (or the sample data) produces. A
// load fills a fresh instance off the provider's lock and swaps it in whole, so queries see the
// old or the new data, never a mixture. Units as in navrecords.h.
struct OfflineNavData
{
    QMap<QString, AirportRecord> airports;
    QHash<QString, QList<RunwayRecord>> runways;
    QList<NavaidRecord> navaids;
    QList<WaypointRecord> waypoints;
    QList<AirwaySegment> airways;
    QList<AirspaceRecord> airspaces;
    QList<INavDataProvider::Procedure> procedures;
    NavTextTable texts;
    std::vector<PackedLeg> legs; // grouped by procedure, see legGroups
    std::vector<LegGroup> legGroups;
    QHash<QString, QList<ParkingRecord>> parkings;
    QHash<QString, TowerRecord> towers;
    QHash<QString, QList<FrequencyRecord>> frequencies;
    QHash<QString, QMap<int, TaxiwayNode>> taxiwayNodes;
    QHash<QString, QList<TaxiwayEdge>> taxiwayEdges;
    CycleInfo cycle;

    QSet<QString> diagramRequested;
    QSet<QString> diagramEmpty;

    // Derived look-ups, built by finish().
    QHash<QString, QList<IndexRange>> procedureRuns;
    QHash<QString, QList<int>> legGroupsByAirport;
    QHash<QString, QList<int>> navaidsByIdent;
    QHash<QString, QList<int>> waypointsByIdent;
    QList<GeoBox> airspaceBoxes;

    // Builds the derived look-ups and fills what the tables leave implicit (hard-surface flags,
    // DME flags, longest runways, positions of legs stored without coordinates).
    void finish();

    // The legs of one procedure in seq order, as records.
    QList<INavDataProvider::ProcedureLeg> procedureLegs(const QString &icao, const QString &procName,
                                                        const QString &procType, const QString &runway) const;
    qsizetype legCount() const { return qsizetype(legs.size()); }
};

// Gathers procedure legs into OfflineNavData as a load reads them. Consecutive rows of one
// procedure (the importers write them so) extend its group without a look-up; a procedure met
// again later is sorted into place by finish(), legs within a procedure by seq.
class LegCollector
{
public:
    explicit LegCollector(OfflineNavData &data, qsizetype expectedLegs);

    void add(quint32 airport, quint32 procName, quint32 procType, quint32 runway, const PackedLeg &leg);
    // Orders the legs and sets every group's range.
    void finish();

private:
    struct Key
    {
        quint32 airport, procName, procType, runway;
        bool operator==(const Key &o) const
        {
            return airport == o.airport && procName == o.procName && procType == o.procType && runway == o.runway;
        }
    };
    friend size_t qHash(const Key &key, size_t seed) noexcept
    {
        return qHashMulti(seed, key.airport, key.procName, key.procType, key.runway);
    }

    OfflineNavData &m_data;
    std::vector<quint32> m_groupOf; // per leg, while loading
    QHash<Key, quint32> m_groups;
    Key m_last{0, 0, 0, 0};
    quint32 m_lastGroup = 0;
    bool m_hasLast = false;
};

// One airport's ground layout as read from the database.
struct AirportDiagram
{
    QMap<int, TaxiwayNode> nodes;
    QList<TaxiwayEdge> edges;
    QList<ParkingRecord> parkings;
    bool withParkings = false;
};
