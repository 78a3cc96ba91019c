#include "nav/databasebuilder.h"

#include "app/log/applogger.h"
#include "nav/airspaceimporter.h"
#include "nav/aptdatimporter.h"
#include "nav/atcimporter.h"
#include "nav/bglrecordimporter.h"
#include "nav/bglsceneryimporter.h"
#include "nav/cifpimporter.h"
#include "nav/cycleimporter.h"
#include "nav/geodesy.h"
#include "nav/importsession.h"
#include "nav/navschema.h"
#include "nav/routefinderimporter.h"
#include "nav/scenerylocator.h"
#include "nav/sqlconnection.h"
#include "nav/textinput.h"
#include "nav/xplaneairwayimporter.h"
#include "nav/xplanenavimporter.h"

#include <QSqlError>
#include <QSqlQuery>

namespace {

const QString kCategory = QStringLiteral("NavBuilder");

void logLine(AppLogger::Level level, const QString &message)
{
    AppLogger::instance().log(level, kCategory, message);
}

} // namespace

DatabaseBuilder::DatabaseBuilder(QObject *parent) : QObject(parent) {}

bool DatabaseBuilder::createSchema(const QString &path)
{
    return runStatements(QStringLiteral("builder"), path, schema::createStatements(),
                         QStringLiteral("Cannot create database:"));
}

bool DatabaseBuilder::createCompleteSchema(const QString &path)
{
    {
        navimport::ImportSession session(*this, QStringLiteral("builder"), path, QStringLiteral("createSchema"));
        if (!session.open()) {
            m_lastSqlError = session.errorText();
            logLine(AppLogger::Error, QStringLiteral("Cannot create database: %1 %2").arg(path, session.errorText()));
            return false;
        }
        // A new file stores its text as UTF-16, the form Qt binds and reads: the build and every
        // later load skip a conversion per text value (about a fifth of the build's writing time
        // and a third of the load time on world data), for a file about 40 % larger. An existing
        // file keeps its encoding.
        session.exec(QStringLiteral("PRAGMA encoding='UTF-16le'"));
        // The airways table first, with the airway importers' columns: the airway index and
        // everything after it then succeed on the first run.
        if (!session.exec(schema::Airways.text())) {
            m_lastSqlError = session.errorText();
            logLine(AppLogger::Error, session.errorText());
            return false;
        }
        navimport::addAirwayColumns(session, false);
    }
    return createSchema(path);
}

bool DatabaseBuilder::executeSql(const QString &path, const QStringList &statements)
{
    return runStatements(QStringLiteral("exec"), path, statements, QStringLiteral("Cannot open database:"));
}

bool DatabaseBuilder::runStatements(const QString &connectionName, const QString &path, const QStringList &statements,
                                    const QString &openFailureText)
{
    m_lastSqlError.clear();
    ScopedSqlConnection connection(connectionName, path);
    if (!connection.open()) {
        m_lastSqlError = connection.errorText();
        logLine(AppLogger::Error, QStringLiteral("%1 %2 %3").arg(openFailureText, path, connection.errorText()));
        return false;
    }
    QSqlQuery query(connection.database());
    for (const QString &statement : statements) {
        if (!query.exec(statement)) {
            m_lastSqlError = query.lastError().text();
            qWarning().noquote() << "SQL error:" << query.lastError().text();
            return false;
        }
    }
    return true;
}

void DatabaseBuilder::clearAllData(const QString &path)
{
    // frequencies and navdata_meta survive: they come from separate imports (ATC files, cycle
    // file) that a navigation re-import does not repeat.
    ScopedSqlConnection connection(QStringLiteral("clear_all"), path);
    if (!connection.open()) {
        logLine(AppLogger::Error, QStringLiteral("clearAllData: cannot open %1 %2").arg(path, connection.errorText()));
        return;
    }
    // A table that a partial schema never created has nothing to clear.
    const QStringList existing = connection.database().tables();
    QSqlQuery query(connection.database());
    query.exec(QStringLiteral("BEGIN TRANSACTION"));
    for (const QString &name : schema::clearedTables()) {
        if (!existing.contains(name))
            continue;
        const QString sql = QStringLiteral("DELETE FROM %1").arg(name);
        if (!query.exec(sql))
            logLine(AppLogger::Warning,
                    QStringLiteral("clearAllData: %1 failed: %2").arg(sql, query.lastError().text()));
    }
    query.exec(QStringLiteral("COMMIT"));
    logLine(AppLogger::Info, QStringLiteral("clearAllData: all nav tables cleared"));
}

int DatabaseBuilder::countRows(const QString &connectionName, const QString &path, const QString &sql)
{
    ScopedSqlConnection connection(connectionName, path);
    if (!connection.open()) {
        logLine(AppLogger::Warning, QStringLiteral("Cannot open database: %1 %2").arg(path, connection.errorText()));
        return 0;
    }
    QSqlQuery query(connection.database());
    if (!query.exec(sql) || !query.next())
        return 0;
    return query.value(0).toInt();
}

QList<QPair<QString, int>> DatabaseBuilder::tableCounts(const QString &path)
{
    static const char *const kTables[] = {"airports",  "runways",       "frequencies",   "towers",
                                          "parkings",  "taxiway_nodes", "taxiway_edges", "navaids",
                                          "waypoints", "airways",       "procedures",    "procedure_legs",
                                          "airspaces", "aptmeta",       "navdata_meta"};
    QList<QPair<QString, int>> counts;
    ScopedSqlConnection connection(QStringLiteral("count_tables"), path);
    if (!connection.open())
        return counts;
    const QStringList existing = connection.database().tables();
    QSqlQuery query(connection.database());
    for (const char *table : kTables) {
        const QString name = QString::fromLatin1(table);
        if (!existing.contains(name))
            continue;
        if (query.exec(QStringLiteral("SELECT COUNT(*) FROM %1").arg(name)) && query.next())
            counts.append({name, query.value(0).toInt()});
    }
    return counts;
}

void DatabaseBuilder::requestCancel()
{
    m_cancelRequested.store(true);
}

void DatabaseBuilder::clearCancel()
{
    m_cancelRequested.store(false);
}

bool DatabaseBuilder::isCancelRequested() const
{
    return m_cancelRequested.load(std::memory_order_relaxed);
}

int DatabaseBuilder::airportCount(const QString &path)
{
    return countRows(QStringLiteral("count_airport"), path, QStringLiteral("SELECT COUNT(*) FROM airports"));
}

int DatabaseBuilder::navaidCount(const QString &path)
{
    return countRows(QStringLiteral("count_navaid"), path, QStringLiteral("SELECT COUNT(*) FROM navaids"));
}

int DatabaseBuilder::waypointCount(const QString &path)
{
    return countRows(QStringLiteral("count_wp"), path, QStringLiteral("SELECT COUNT(*) FROM waypoints"));
}

int DatabaseBuilder::procedureCount(const QString &path)
{
    return countRows(QStringLiteral("count_proc"), path, QStringLiteral("SELECT COUNT(*) FROM procedures"));
}

double DatabaseBuilder::distanceNm(double lat1, double lon1, double lat2, double lon2)
{
    return geodesy::distanceNm(lat1, lon1, lat2, lon2, geodesy::kNavSphereRadiusNm);
}

double DatabaseBuilder::bearingDeg(double lat1, double lon1, double lat2, double lon2)
{
    return geodesy::initialBearingDeg(lat1, lon1, lat2, lon2);
}

// ---- importers: one class per source ------------------------------------------------------

bool DatabaseBuilder::importXPlaneNavData(const QString &path, const QString &file)
{
    return XPlaneNavImporter(*this).importNavaids(path, file);
}

bool DatabaseBuilder::importXPlaneWaypoints(const QString &path, const QString &file)
{
    return XPlaneNavImporter(*this).importFixes(path, file);
}

bool DatabaseBuilder::importXPlaneAirways(const QString &path, const QString &file)
{
    return XPlaneAirwayImporter(*this).import(path, file);
}

bool DatabaseBuilder::importAptMeta(const QString &path, const QString &file)
{
    return XPlaneNavImporter(*this).importAptMeta(path, file);
}

bool DatabaseBuilder::importXPlaneCifp(const QString &path, const QString &dir)
{
    return CifpImporter(*this).import(path, dir);
}

bool DatabaseBuilder::importXPlaneScenery(const QString &path, const QString &xplaneDir)
{
    return AptDatImporter(*this).importInstallation(path, xplaneDir);
}

bool DatabaseBuilder::importXPlaneAptFiles(const QString &path, const QStringList &aptFiles)
{
    return AptDatImporter(*this).importFiles(path, aptFiles);
}

bool DatabaseBuilder::importCycleInfo(const QString &path, const QString &dir)
{
    return CycleImporter(*this).import(path, dir);
}

bool DatabaseBuilder::importNavigraphAtc(const QString &path, const QString &dir)
{
    return AtcImporter(*this).import(path, dir);
}

bool DatabaseBuilder::importOpenAIPAirspaces(const QString &path, const QString &dir)
{
    return AirspaceImporter(*this).importOpenAip(path, dir);
}

bool DatabaseBuilder::importOpenAirAirspaces(const QString &path, const QString &dir)
{
    return AirspaceImporter(*this).importOpenAir(path, dir);
}

bool DatabaseBuilder::importRouteFinderData(const QString &path, const QString &dir)
{
    return RouteFinderImporter(*this).import(path, dir);
}

bool DatabaseBuilder::importP3DScenery(const QString &path, const QString &simDir)
{
    return BglSceneryImporter(*this).importP3D(path, simDir);
}

bool DatabaseBuilder::importMsfsScenery(const QString &path, const QString &location)
{
    return BglSceneryImporter(*this).importMsfs(path, location);
}

bool DatabaseBuilder::importNavigraphMsfs(const QString &path, const QString &dir)
{
    return BglSceneryImporter(*this).importNavigraph(path, dir);
}

bool DatabaseBuilder::importBglRecords(const QString &path, BglReader &records)
{
    return BglRecordImporter(*this).importAll(path, records);
}

bool DatabaseBuilder::importNavigraphMsfsRecords(const QString &path, BglReader &records)
{
    return BglRecordImporter(*this).importNavigraph(path, records);
}

QStringList DatabaseBuilder::getP3DSceneryPaths(const QString &simDir, const QStringList &addOnRoots)
{
    return SceneryLocator::p3dSceneryPaths(simDir, addOnRoots);
}

QString DatabaseBuilder::getMsfsPackagesPath(const QString &location)
{
    return SceneryLocator::msfsPackagesPath(location);
}

QStringList DatabaseBuilder::getMsfsPackagePaths(const QString &packagesPath)
{
    return SceneryLocator::msfsPackagePaths(packagesPath);
}

bool DatabaseBuilder::isNavigraphMsfsDir(const QString &dir)
{
    return SceneryLocator::isNavigraphPackage(dir);
}

QStringList DatabaseBuilder::sceneryBglFiles(const QString &folder)
{
    return SceneryLocator::bglFiles(folder);
}
