#pragma once

#include "nav/navrecords.h"

#include <QList>
#include <QMap>
#include <QMetaType>
#include <QString>

// The one contract through which the map, positioning, routing and alerts read navigation data.
// Implementations derive from QObject first and from this interface second, so a facade can
// down-cast with qobject_cast when it needs a class-specific operation.
//
// Every operation is const and returns copies (implicitly shared), so callers never hold
// references into provider data. Implementations must allow calls from worker threads.
class INavDataProvider
{
public:
    enum Status : qint32 {
        Ready = 0,
        Connecting = 1,
        OfflineCache = 2,
        Failed = 3,
    };

    struct Procedure
    {
        QString airportIcao;
        QString type; // "SID", "STAR" or an approach kind
        QString runwayIdent;
        QString name;
    };

    struct ProcedureLeg
    {
        QString airportIcao;
        QString procName;
        QString procType;
        QString runway;
        int seq = 0;
        QString fixIdent;
        QString fixRegion;
        QString fixType1;
        QString fixType2;
        QString fixType3;
        QString legType; // ARINC-424 path terminator
        double lat = 0.0;
        double lon = 0.0;
        double altitude = 0.0; // feet
        int speedLimit = 0;    // knots
    };

    virtual ~INavDataProvider() = default;

    virtual QList<AirportRecord> airports() const = 0;
    virtual AirportRecord airport(const QString &icao) const = 0;
    virtual QList<AirportRecord> searchAirports(const QString &query) const = 0;
    virtual QList<AirportRecord> airportsInBounds(double minLat, double minLon, double maxLat, double maxLon) const = 0;
    virtual QList<RunwayRecord> runways(const QString &icao) const = 0;
    virtual QList<NavaidRecord> navaids() const = 0;
    virtual QList<NavaidRecord> navaidsInBounds(double minLat, double minLon, double maxLat, double maxLon) const = 0;
    virtual QList<NavaidRecord> searchNavaids(const QString &query) const = 0;
    virtual NavaidRecord findNavaid(const QString &ident, const QString &type) const = 0;
    // Among the aids with this ident (and type, when not empty) the one nearest the point,
    // however far away it is.
    virtual NavaidRecord findNavaidNearest(const QString &ident, double lat, double lon, const QString &type) const = 0;
    virtual QList<WaypointRecord> waypoints() const = 0;
    virtual WaypointRecord waypoint(const QString &ident) const = 0;
    virtual WaypointRecord findWaypoint(const QString &ident) const = 0;
    virtual WaypointRecord findWaypointNearest(const QString &ident, double lat, double lon) const = 0;
    virtual QList<WaypointRecord> waypointsInBounds(double minLat, double minLon, double maxLat,
                                                    double maxLon) const = 0;
    virtual QList<WaypointRecord> searchWaypoints(const QString &query) const = 0;
    virtual QList<Procedure> procedures(const QString &icao, const QString &type) const = 0;
    // Legs of one procedure in seq order.
    virtual QList<ProcedureLeg> procedureLegs(const QString &icao, const QString &procName, const QString &procType,
                                              const QString &runway) const = 0;
    virtual QList<AirwaySegment> airways() const = 0;
    virtual QList<AirwaySegment> airwaysInBounds(double minLat, double minLon, double maxLat, double maxLon) const = 0;
    virtual QList<AirspaceRecord> airspaces() const = 0;
    virtual QList<AirspaceRecord> airspacesInBounds(double minLat, double minLon, double maxLat,
                                                    double maxLon) const = 0;
    virtual QMap<int, TaxiwayNode> taxiwayNodes(const QString &icao) const = 0;
    virtual QList<TaxiwayEdge> taxiwayEdges(const QString &icao) const = 0;
    virtual QList<ParkingRecord> parkings(const QString &icao) const = 0;
    virtual TowerRecord tower(const QString &icao) const = 0;
    virtual QList<FrequencyRecord> frequencies(const QString &icao) const = 0;
    virtual CycleInfo cycleInfo() const = 0;
    virtual Status status() const = 0;
    virtual QString statusMessage() const = 0;
};

Q_DECLARE_TYPEINFO(INavDataProvider::Procedure, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(INavDataProvider::ProcedureLeg, Q_RELOCATABLE_TYPE);

Q_DECLARE_METATYPE(INavDataProvider::Status)
Q_DECLARE_METATYPE(INavDataProvider::Procedure)
Q_DECLARE_METATYPE(INavDataProvider::ProcedureLeg)
