#include "nav/navdataprovider.h"

#include "nav/offlinenavdataprovider.h"
#include "nav/onlinenavdataprovider.h"

#include <QPointer>
#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>

NavDataProvider::NavDataProvider(QObject *parent) : QObject(parent) {}

NavDataProvider::~NavDataProvider()
{
    // The provider is a child and would be deleted after this body; a background load still
    // running on it must end first.
    abandonLoad();
}

void NavDataProvider::abandonLoad()
{
    if (!m_loadWatcher)
        return;
    m_loadWatcher->waitForFinished();
    // Deleting the watcher also drops its pending finished notification.
    delete m_loadWatcher;
    m_loadWatcher = nullptr;
}

void NavDataProvider::destroyProvider()
{
    abandonLoad();
    delete m_providerObject;
    clearProvider();
}

void NavDataProvider::clearProvider()
{
    m_providerObject = nullptr;
    m_provider = nullptr;
    m_offline = nullptr;
    m_boundsIndex = nullptr;
    m_diagramSource = nullptr;
    m_dataRequests = nullptr;
}

void NavDataProvider::initializeOnline(const QString &serviceUrl, const QString &token, const QString &sourceName,
                                       const QString &cacheDirectory)
{
    abandonLoad();
    if (m_providerObject) {
        m_providerObject->disconnect(this);
        QTimer::singleShot(0, this, [old = QPointer<QObject>(m_providerObject)] { delete old.data(); });
    }
    clearProvider();
    auto *provider = new OnlineNavDataProvider(serviceUrl, token, sourceName, this, cacheDirectory);
    m_provider = provider;
    m_providerObject = provider;
    m_diagramSource = provider;
    m_dataRequests = provider;
    m_mode = Online;
    connect(provider, &OnlineNavDataProvider::dataChanged, this, &NavDataProvider::dataChanged);
    connect(provider, &OnlineNavDataProvider::statusChanged, this, &NavDataProvider::statusChanged);
    connect(provider, &OnlineNavDataProvider::runwaysReady, this, &NavDataProvider::runwaysReady);
}

void NavDataProvider::initializeOffline()
{
    destroyProvider();
    auto *provider = new OfflineNavDataProvider(this);
    m_provider = provider;
    m_providerObject = provider;
    m_offline = provider;
    m_boundsIndex = provider;
    m_diagramSource = provider;
    m_mode = Offline;
    connect(provider, &OfflineNavDataProvider::airportDiagramNeeded, this, &NavDataProvider::airportDiagramNeeded);
    connect(provider, &OfflineNavDataProvider::airportDiagramReady, this, &NavDataProvider::airportDiagramReady);
}

QList<AirportRecord> NavDataProvider::airports() const
{
    return m_provider ? m_provider->airports() : QList<AirportRecord>();
}

AirportRecord NavDataProvider::airport(const QString &icao) const
{
    return m_provider ? m_provider->airport(icao) : AirportRecord();
}

QList<AirportRecord> NavDataProvider::searchAirports(const QString &query) const
{
    return m_provider ? m_provider->searchAirports(query) : QList<AirportRecord>();
}

QList<AirportRecord> NavDataProvider::airportsInBounds(double minLat, double minLon, double maxLat, double maxLon) const
{
    return m_provider ? m_provider->airportsInBounds(minLat, minLon, maxLat, maxLon) : QList<AirportRecord>();
}

QList<RunwayRecord> NavDataProvider::runways(const QString &icao) const
{
    return m_provider ? m_provider->runways(icao) : QList<RunwayRecord>();
}

QList<NavaidRecord> NavDataProvider::navaids() const
{
    return m_provider ? m_provider->navaids() : QList<NavaidRecord>();
}

QList<NavaidRecord> NavDataProvider::navaidsInBounds(double minLat, double minLon, double maxLat, double maxLon) const
{
    return m_provider ? m_provider->navaidsInBounds(minLat, minLon, maxLat, maxLon) : QList<NavaidRecord>();
}

QList<NavaidRecord> NavDataProvider::searchNavaids(const QString &query) const
{
    return m_provider ? m_provider->searchNavaids(query) : QList<NavaidRecord>();
}

NavaidRecord NavDataProvider::findNavaid(const QString &ident, const QString &type) const
{
    return m_provider ? m_provider->findNavaid(ident, type) : NavaidRecord();
}

NavaidRecord NavDataProvider::findNavaidNearest(const QString &ident, double lat, double lon, const QString &type) const
{
    return m_provider ? m_provider->findNavaidNearest(ident, lat, lon, type) : NavaidRecord();
}

QList<WaypointRecord> NavDataProvider::waypoints() const
{
    return m_provider ? m_provider->waypoints() : QList<WaypointRecord>();
}

WaypointRecord NavDataProvider::waypoint(const QString &ident) const
{
    return m_provider ? m_provider->waypoint(ident) : WaypointRecord();
}

WaypointRecord NavDataProvider::findWaypoint(const QString &ident) const
{
    return m_provider ? m_provider->findWaypoint(ident) : WaypointRecord();
}

WaypointRecord NavDataProvider::findWaypointNearest(const QString &ident, double lat, double lon) const
{
    return m_provider ? m_provider->findWaypointNearest(ident, lat, lon) : WaypointRecord();
}

QList<WaypointRecord> NavDataProvider::waypointsInBounds(double minLat, double minLon, double maxLat,
                                                         double maxLon) const
{
    return m_provider ? m_provider->waypointsInBounds(minLat, minLon, maxLat, maxLon) : QList<WaypointRecord>();
}

QList<WaypointRecord> NavDataProvider::searchWaypoints(const QString &query) const
{
    return m_provider ? m_provider->searchWaypoints(query) : QList<WaypointRecord>();
}

QList<INavDataProvider::Procedure> NavDataProvider::procedures(const QString &icao, const QString &type) const
{
    return m_provider ? m_provider->procedures(icao, type) : QList<Procedure>();
}

QList<INavDataProvider::ProcedureLeg> NavDataProvider::procedureLegs(const QString &icao, const QString &procName,
                                                                     const QString &procType,
                                                                     const QString &runway) const
{
    return m_provider ? m_provider->procedureLegs(icao, procName, procType, runway) : QList<ProcedureLeg>();
}

QList<AirwaySegment> NavDataProvider::airways() const
{
    return m_provider ? m_provider->airways() : QList<AirwaySegment>();
}

QList<AirwaySegment> NavDataProvider::airwaysInBounds(double minLat, double minLon, double maxLat, double maxLon) const
{
    return m_provider ? m_provider->airwaysInBounds(minLat, minLon, maxLat, maxLon) : QList<AirwaySegment>();
}

QList<AirspaceRecord> NavDataProvider::airspaces() const
{
    return m_provider ? m_provider->airspaces() : QList<AirspaceRecord>();
}

QList<AirspaceRecord> NavDataProvider::airspacesInBounds(double minLat, double minLon, double maxLat,
                                                         double maxLon) const
{
    return m_provider ? m_provider->airspacesInBounds(minLat, minLon, maxLat, maxLon) : QList<AirspaceRecord>();
}

QMap<int, TaxiwayNode> NavDataProvider::taxiwayNodes(const QString &icao) const
{
    return m_provider ? m_provider->taxiwayNodes(icao) : QMap<int, TaxiwayNode>();
}

QList<TaxiwayEdge> NavDataProvider::taxiwayEdges(const QString &icao) const
{
    return m_provider ? m_provider->taxiwayEdges(icao) : QList<TaxiwayEdge>();
}

QList<ParkingRecord> NavDataProvider::parkings(const QString &icao) const
{
    return m_provider ? m_provider->parkings(icao) : QList<ParkingRecord>();
}

TowerRecord NavDataProvider::tower(const QString &icao) const
{
    return m_provider ? m_provider->tower(icao) : TowerRecord();
}

QList<FrequencyRecord> NavDataProvider::frequencies(const QString &icao) const
{
    return m_provider ? m_provider->frequencies(icao) : QList<FrequencyRecord>();
}

CycleInfo NavDataProvider::cycleInfo() const
{
    return m_provider ? m_provider->cycleInfo() : CycleInfo();
}

INavDataProvider::Status NavDataProvider::status() const
{
    return m_provider ? m_provider->status() : Failed;
}

QString NavDataProvider::statusMessage() const
{
    return m_provider ? m_provider->statusMessage() : QString();
}

void NavDataProvider::setDbPath(const QString &path)
{
    if (OfflineNavDataProvider *p = m_offline)
        p->setDbPath(path);
}

QString NavDataProvider::dbPath() const
{
    const OfflineNavDataProvider *p = m_offline;
    return p ? p->dbPath() : QString();
}

bool NavDataProvider::loadFromDatabase(const QString &path)
{
    OfflineNavDataProvider *p = m_offline;
    return p && p->loadFromDatabase(path);
}

void NavDataProvider::loadTaxiwayData(const QString &icao)
{
    if (OfflineNavDataProvider *p = m_offline)
        p->loadTaxiwayData(icao);
}

void NavDataProvider::loadSampleData()
{
    if (OfflineNavDataProvider *p = m_offline)
        p->loadSampleData();
}

void NavDataProvider::rebuildSpatialIndex()
{
    if (OfflineNavDataProvider *p = m_offline)
        p->rebuildSpatialIndex();
}

void NavDataProvider::markAirportDiagramRequested(const QString &icao)
{
    if (m_diagramSource)
        m_diagramSource->markAirportDiagramRequested(icao);
}

void NavDataProvider::markAirportDiagramEmpty(const QString &icao)
{
    if (m_diagramSource)
        m_diagramSource->markAirportDiagramEmpty(icao);
}

void NavDataProvider::injectAirportDiagram(const QString &icao)
{
    if (m_diagramSource)
        m_diagramSource->injectAirportDiagram(icao);
}

QList<AirportRecord> NavDataProvider::airportsInBoundsFast(double minLat, double minLon, double maxLat,
                                                           double maxLon) const
{
    return m_boundsIndex ? m_boundsIndex->airportsInBoundsFast(minLat, minLon, maxLat, maxLon) : QList<AirportRecord>();
}

QList<NavaidRecord> NavDataProvider::navaidsInBoundsFast(double minLat, double minLon, double maxLat,
                                                         double maxLon) const
{
    return m_boundsIndex ? m_boundsIndex->navaidsInBoundsFast(minLat, minLon, maxLat, maxLon) : QList<NavaidRecord>();
}

QList<WaypointRecord> NavDataProvider::waypointsInBoundsFast(double minLat, double minLon, double maxLat,
                                                             double maxLon) const
{
    return m_boundsIndex ? m_boundsIndex->waypointsInBoundsFast(minLat, minLon, maxLat, maxLon)
                         : QList<WaypointRecord>();
}

void NavDataProvider::requestRunways(const QString &icao)
{
    if (m_dataRequests)
        m_dataRequests->fetchRunways(icao);
}

void NavDataProvider::requestProcedures(const QString &icao, const QString &type, const QString &runway)
{
    if (m_dataRequests)
        m_dataRequests->fetchProcedures(icao, type, runway);
}

void NavDataProvider::requestSearch(const QString &query, const QString &scope)
{
    if (m_dataRequests)
        m_dataRequests->fetchSearch(query, scope);
}

bool NavDataProvider::loadAirportDiagram(const QString &icao)
{
    return m_diagramSource && m_diagramSource->loadAirportDiagram(icao);
}

bool NavDataProvider::hasAirportDiagram(const QString &icao) const
{
    if (m_diagramSource)
        return m_diagramSource->hasAirportDiagram(icao);
    return m_provider && (!m_provider->taxiwayNodes(icao).isEmpty() || !m_provider->taxiwayEdges(icao).isEmpty());
}

bool NavDataProvider::loadFromDatabaseAsync(const QString &path)
{
    OfflineNavDataProvider *p = m_offline;
    if (!p || m_loadWatcher)
        return false;
    auto *watcher = new QFutureWatcher<bool>(this);
    m_loadWatcher = watcher;
    connect(watcher, &QFutureWatcher<bool>::finished, this, [this, watcher, path]() {
        const bool success = watcher->result();
        watcher->deleteLater();
        m_loadWatcher = nullptr;
        emit databaseLoadFinished(path, success);
        if (success)
            emit dataChanged();
    });
    watcher->setFuture(QtConcurrent::run([p, path]() { return p->loadFromDatabase(path); }));
    return true;
}

void NavDataProvider::waitForLoad()
{
    if (m_loadWatcher)
        m_loadWatcher->waitForFinished();
}
