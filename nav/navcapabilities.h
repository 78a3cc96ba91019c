#pragma once

#include "nav/navrecords.h"

#include <QList>
#include <QString>

// What some navigation providers can do beyond INavDataProvider. A provider implements the
// capabilities it has; the NavDataProvider facade hands out the current provider's (or null), so
// the map and the diagram code use a capability without knowing which provider is behind it.
// Like INavDataProvider these are plain interfaces; the provider owns the object behind them.

// Bounds queries answered from a spatial index: the records of ...InBounds, in grid order, at a
// cost that follows the records in view rather than the whole data set. Callable from any thread.
class INavBoundsIndex
{
public:
    virtual ~INavBoundsIndex() = default;

    virtual QList<AirportRecord> airportsInBoundsFast(double minLat, double minLon, double maxLat,
                                                      double maxLon) const = 0;
    virtual QList<NavaidRecord> navaidsInBoundsFast(double minLat, double minLon, double maxLat,
                                                    double maxLon) const = 0;
    virtual QList<WaypointRecord> waypointsInBoundsFast(double minLat, double minLon, double maxLat,
                                                        double maxLon) const = 0;
};

// Airport ground layouts (taxiway nodes and edges, parkings) that are not in memory until asked
// for. A layout that has to come from elsewhere arrives later, announced by the provider's
// airportDiagramReady signal.
class IAirportDiagramSource
{
public:
    virtual ~IAirportDiagramSource() = default;

    // Whether the airport's layout is in memory now.
    virtual bool hasAirportDiagram(const QString &icao) const = 0;
    // Asks for the layout; true when it is available at once.
    virtual bool loadAirportDiagram(const QString &icao) = 0;
    // Bookkeeping of layouts fetched from the simulator: asked for, and known to be missing.
    virtual void markAirportDiagramRequested(const QString &icao) = 0;
    virtual void markAirportDiagramEmpty(const QString &icao) = 0;
    // Takes a layout just written to the provider's store into memory.
    virtual void injectAirportDiagram(const QString &icao) = 0;
};

// Requests to a provider that fetches its data on demand (the online navigation service). Each
// returns at once; results arrive through the provider's signals. GUI thread.
class INavDataRequests
{
public:
    virtual ~INavDataRequests() = default;

    // The area the map shows, by its corners: north-west (north, west), south-east (south, east).
    virtual void requestBbox(double north, double west, double south, double east, int zoom) = 0;
    virtual void fetchRunways(const QString &icao) = 0;
    virtual void fetchProcedures(const QString &icao, const QString &type, const QString &runway) = 0;
    virtual void fetchSearch(const QString &query, const QString &scope) = 0;
};
