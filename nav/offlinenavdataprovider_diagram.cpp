#include "app/log/applogger.h"
#include "nav/offlinenavdata.h"
#include "nav/offlinenavdataprovider.h"
#include "nav/sqlconnection.h"

#include <QFileInfo>
#include <QMutex>
#include <QMutexLocker>
#include <QReadLocker>
#include <QSqlError>
#include <QSqlQuery>
#include <QWriteLocker>

// Airport diagrams: read per airport on demand, because the ground layouts of a world database
// would dwarf everything else in memory.

namespace {

const QString kCategory = QStringLiteral("NavData");

// "taxi_ondemand" and "taxi_cleanup" are fixed connection names; two threads asking for
// diagrams at once would otherwise tear down each other's connection.
QMutex s_onDemandMutex;

void logLine(AppLogger::Level level, const QString &message)
{
    AppLogger::instance().log(level, kCategory, message);
}

struct DiagramSql
{
    QString nodes;
    QString edges;
    QString parkings; // empty: not read
};

// Reads one airport's diagram over an open connection. False with *error set when a query fails
// (for example a database whose schema never got its taxiway tables).
bool readDiagram(QSqlDatabase &db, const QString &icao, const DiagramSql &sql, AirportDiagram &out, QString *error)
{
    QSqlQuery q(db);
    q.setForwardOnly(true);
    const auto run = [&](const QString &text) {
        if (!q.prepare(text)) {
            *error = q.lastError().text();
            return false;
        }
        q.addBindValue(icao);
        if (!q.exec()) {
            *error = q.lastError().text();
            return false;
        }
        return true;
    };
    if (!run(sql.nodes))
        return false;
    while (q.next()) {
        TaxiwayNode n;
        n.nodeId = q.value(0).toInt();
        n.lat = q.value(1).toDouble();
        n.lon = q.value(2).toDouble();
        n.nodeType = q.value(3).toString();
        n.nodeName = q.value(4).toString();
        out.nodes.insert(n.nodeId, n);
    }
    if (!run(sql.edges))
        return false;
    while (q.next()) {
        TaxiwayEdge e;
        e.fromNodeId = q.value(0).toInt();
        e.toNodeId = q.value(1).toInt();
        e.direction = q.value(2).toString();
        e.restriction = q.value(3).toString();
        e.taxiwayName = q.value(4).toString();
        out.edges.append(e);
    }
    if (sql.parkings.isEmpty())
        return true;
    if (!run(sql.parkings))
        return false;
    out.withParkings = true;
    while (q.next()) {
        ParkingRecord p;
        p.airportIcao = icao;
        p.name = q.value(0).toString();
        const QString type = q.value(1).toString();
        if (!type.isEmpty())
            p.type = type;
        p.lat = q.value(2).toDouble();
        p.lon = q.value(3).toDouble();
        p.heading = q.value(4).toDouble();
        out.parkings.append(p);
    }
    return true;
}

const DiagramSql &onDemandSql()
{
    static const DiagramSql sql{
        QStringLiteral("SELECT node_id, lat, lon, node_type, node_name FROM taxiway_nodes WHERE airport_icao=?"),
        QStringLiteral("SELECT from_node_id, to_node_id, direction, restriction, taxiway_name FROM taxiway_edges WHERE "
                       "airport_icao=?"),
        QStringLiteral("SELECT name, type, lat, lon, heading FROM parkings WHERE airport_icao=?")};
    return sql;
}

bool databaseFileExists(const QString &path, const QString &operation)
{
    if (!path.isEmpty() && QFileInfo(path).isFile())
        return true;
    logLine(AppLogger::Debug, QStringLiteral("%1: no navigation database file (%2)").arg(operation, path));
    return false;
}

} // namespace

void OfflineNavDataProvider::storeDiagram(const QString &icao, const AirportDiagram &diagram)
{
    QWriteLocker locker(&m_lock);
    m_data->taxiwayNodes.insert(icao, diagram.nodes);
    m_data->taxiwayEdges.insert(icao, diagram.edges);
    if (diagram.withParkings)
        m_data->parkings.insert(icao, diagram.parkings);
}

void OfflineNavDataProvider::loadTaxiwayData(const QString &icao)
{
    const QString path = dbPath();
    if (!databaseFileExists(path, QStringLiteral("loadTaxiwayData")))
        return;
    AirportDiagram diagram;
    QString error;
    {
        ScopedSqlConnection connection(ScopedSqlConnection::uniqueName(QStringLiteral("taxiway_%1")), path);
        if (!connection.open()) {
            logLine(AppLogger::Warning,
                    QStringLiteral("loadTaxiwayData: cannot open %1: %2").arg(path, connection.errorText()));
            return;
        }
        QSqlQuery pragma(connection.database());
        for (const char *sql : {"PRAGMA journal_mode=WAL", "PRAGMA cache_size=-32000", "PRAGMA mmap_size=268435456"})
            pragma.exec(QString::fromLatin1(sql));
        const DiagramSql sql{
            QStringLiteral("SELECT node_id, lat, lon, node_type, node_name FROM taxiway_nodes WHERE airport_icao = ?"),
            QStringLiteral("SELECT from_node_id, to_node_id, direction, restriction, taxiway_name FROM taxiway_edges "
                           "WHERE airport_icao = ?"),
            QString()};
        if (!readDiagram(connection.database(), icao, sql, diagram, &error)) {
            logLine(AppLogger::Warning, QStringLiteral("loadTaxiwayData: %1 %2").arg(icao, error));
            return;
        }
    }
    if (!diagram.nodes.isEmpty() || !diagram.edges.isEmpty())
        storeDiagram(icao, diagram);
}

bool OfflineNavDataProvider::loadAirportDiagram(const QString &icao)
{
    const QString path = dbPath();
    if (!databaseFileExists(path, QStringLiteral("loadAirportDiagram")))
        return false;

    bool complete = false;
    {
        QMutexLocker guard(&s_onDemandMutex);
        AirportDiagram diagram;
        QString error;
        bool readOk = false;
        {
            ScopedSqlConnection connection(QStringLiteral("taxi_ondemand"), path);
            if (!connection.open()) {
                logLine(AppLogger::Warning,
                        QStringLiteral("loadAirportDiagram: cannot open %1: %2").arg(path, connection.errorText()));
                return false;
            }
            readOk = readDiagram(connection.database(), icao, onDemandSql(), diagram, &error);
        }
        if (!readOk) {
            logLine(AppLogger::Debug, QStringLiteral("loadAirportDiagram: %1 %2").arg(icao, error));
        } else if (!diagram.nodes.isEmpty() && !diagram.edges.isEmpty()) {
            storeDiagram(icao, diagram);
            logLine(AppLogger::Info, QStringLiteral("loadAirportDiagram: %1 %2 nodes, %3 edges, %4 parkings from DB")
                                         .arg(icao)
                                         .arg(diagram.nodes.size())
                                         .arg(diagram.edges.size())
                                         .arg(diagram.parkings.size()));
            complete = true;
        } else if (!diagram.nodes.isEmpty()) {
            // A fetch that stopped half way: nodes without edges cannot be drawn or routed, and
            // while they stay in the database the diagram would never be fetched again.
            logLine(AppLogger::Warning,
                    QStringLiteral("loadAirportDiagram: %1 incomplete (no edges), will re-request").arg(icao));
            ScopedSqlConnection cleanup(QStringLiteral("taxi_cleanup"), path);
            if (cleanup.open()) {
                QSqlQuery q(cleanup.database());
                for (const QString &sql : {QStringLiteral("DELETE FROM taxiway_nodes WHERE airport_icao=?"),
                                           QStringLiteral("DELETE FROM taxiway_edges WHERE airport_icao=?"),
                                           QStringLiteral("DELETE FROM parkings WHERE airport_icao=?")}) {
                    q.prepare(sql);
                    q.addBindValue(icao);
                    if (!q.exec())
                        logLine(AppLogger::Warning,
                                QStringLiteral("loadAirportDiagram: %1 failed: %2").arg(sql, q.lastError().text()));
                }
            } else {
                logLine(AppLogger::Warning,
                        QStringLiteral("loadAirportDiagram: cannot open %1: %2").arg(path, cleanup.errorText()));
            }
            QWriteLocker locker(&m_lock);
            m_data->taxiwayNodes.remove(icao);
            m_data->taxiwayEdges.remove(icao);
        }
    }

    if (complete) {
        emit airportDiagramReady(icao);
        return true;
    }
    if (!isAirportDiagramRequested(icao) && !isAirportDiagramEmpty(icao))
        emit airportDiagramNeeded(icao);
    return false;
}

bool OfflineNavDataProvider::hasAirportDiagram(const QString &icao) const
{
    QReadLocker locker(&m_lock);
    return !m_data->taxiwayNodes.value(icao).isEmpty();
}

void OfflineNavDataProvider::markAirportDiagramRequested(const QString &icao)
{
    QWriteLocker locker(&m_lock);
    m_data->diagramRequested.insert(icao);
}

void OfflineNavDataProvider::markAirportDiagramEmpty(const QString &icao)
{
    QWriteLocker locker(&m_lock);
    m_data->diagramEmpty.insert(icao);
}

bool OfflineNavDataProvider::isAirportDiagramRequested(const QString &icao) const
{
    QReadLocker locker(&m_lock);
    return m_data->diagramRequested.contains(icao);
}

bool OfflineNavDataProvider::isAirportDiagramEmpty(const QString &icao) const
{
    QReadLocker locker(&m_lock);
    return m_data->diagramEmpty.contains(icao);
}

void OfflineNavDataProvider::injectAirportDiagram(const QString &icao)
{
    const QString path = dbPath();
    if (!databaseFileExists(path, QStringLiteral("injectAirportDiagram")))
        return;
    AirportDiagram diagram;
    QString error;
    bool readOk = false;
    {
        ScopedSqlConnection connection(ScopedSqlConnection::uniqueName(QStringLiteral("taxi_inject_%1")), path);
        if (!connection.open()) {
            logLine(AppLogger::Warning,
                    QStringLiteral("injectAirportDiagram: cannot open %1: %2").arg(path, connection.errorText()));
            return;
        }
        readOk = readDiagram(connection.database(), icao, onDemandSql(), diagram, &error);
    }
    if (!readOk || diagram.nodes.isEmpty()) {
        logLine(AppLogger::Warning,
                QStringLiteral("injectAirportDiagram: %1 no diagram in the database %2").arg(icao, error));
        return;
    }
    storeDiagram(icao, diagram);
    {
        QWriteLocker locker(&m_lock);
        m_data->diagramRequested.remove(icao);
        m_data->diagramEmpty.remove(icao);
    }
    logLine(AppLogger::Info, QStringLiteral("injectAirportDiagram: %1 %2 nodes, %3 edges, %4 parkings")
                                 .arg(icao)
                                 .arg(diagram.nodes.size())
                                 .arg(diagram.edges.size())
                                 .arg(diagram.parkings.size()));
    emit airportDiagramReady(icao);
}
