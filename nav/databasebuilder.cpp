#include "nav/databasebuilder.h"

#include "app/log/applogger.h"
#include "nav/importsupport_p.h"
#include "nav/sqlconnection.h"

#include <QFile>
#include <QSqlError>
#include <QSqlQuery>
#include <QtMath>

#include <cmath>

namespace {

const QString kCategory = QStringLiteral("NavBuilder");
constexpr double kEarthRadiusNm = 3440.065;

void logLine(AppLogger::Level level, const QString &message)
{
    AppLogger::instance().log(level, kCategory, message);
}

} // namespace

DatabaseBuilder::DatabaseBuilder(QObject *parent) : QObject(parent) {}

QStringList DatabaseBuilder::schemaStatements()
{
    // Kept as SQL text in the resources so that a schema change shows up as an SQL diff.
    QFile file(QStringLiteral(":/nav/sql/schema.sql"));
    QStringList statements;
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return statements;
    const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        const QString trimmed = line.trimmed();
        if (trimmed.isEmpty() || trimmed.startsWith(QLatin1String("--")))
            continue;
        statements.append(trimmed);
    }
    return statements;
}

bool DatabaseBuilder::createSchema(const QString &path)
{
    const QStringList statements = schemaStatements();
    if (statements.isEmpty()) {
        logLine(AppLogger::Error, QStringLiteral("createSchema: schema resource missing"));
        return false;
    }
    return runStatements(QStringLiteral("builder"), path, statements, QStringLiteral("Cannot create database:"));
}

bool DatabaseBuilder::createCompleteSchema(const QString &path)
{
    const QStringList statements = schemaStatements();
    if (statements.size() < 5) {
        logLine(AppLogger::Error, QStringLiteral("createSchema: schema resource missing"));
        return false;
    }
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
        // Statement 5 creates the airways table; the airway importers' columns make statement 14
        // (the airway index) and everything after it succeed on the first run.
        if (!session.exec(statements.at(4))) {
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
    static const char *const kTables[] = {"airports",       "runways",   "taxiway_nodes", "taxiway_edges", "parkings",
                                          "towers",         "navaids",   "waypoints",     "airways",       "procedures",
                                          "procedure_legs", "airspaces", "aptmeta"};
    ScopedSqlConnection connection(QStringLiteral("clear_all"), path);
    if (!connection.open()) {
        logLine(AppLogger::Error, QStringLiteral("clearAllData: cannot open %1 %2").arg(path, connection.errorText()));
        return;
    }
    // A table that a partial schema never created has nothing to clear.
    const QStringList existing = connection.database().tables();
    QSqlQuery query(connection.database());
    query.exec(QStringLiteral("BEGIN TRANSACTION"));
    for (const char *table : kTables) {
        const QString name = QString::fromLatin1(table);
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
    // Haversine: well conditioned for the short airway segments this is mostly used for.
    const double phi1 = qDegreesToRadians(lat1);
    const double phi2 = qDegreesToRadians(lat2);
    const double dPhi = phi2 - phi1;
    const double dLambda = qDegreesToRadians(lon2 - lon1);
    const double a = std::sin(dPhi / 2) * std::sin(dPhi / 2) +
                     std::cos(phi1) * std::cos(phi2) * std::sin(dLambda / 2) * std::sin(dLambda / 2);
    const double c = 2.0 * std::atan2(std::sqrt(a), std::sqrt(qMax(0.0, 1.0 - a)));
    return kEarthRadiusNm * c;
}

double DatabaseBuilder::bearingDeg(double lat1, double lon1, double lat2, double lon2)
{
    const double phi1 = qDegreesToRadians(lat1);
    const double phi2 = qDegreesToRadians(lat2);
    const double dLambda = qDegreesToRadians(lon2 - lon1);
    const double y = std::sin(dLambda) * std::cos(phi2);
    const double x = std::cos(phi1) * std::sin(phi2) - std::sin(phi1) * std::cos(phi2) * std::cos(dLambda);
    double bearing = qRadiansToDegrees(std::atan2(y, x));
    bearing = std::fmod(bearing + 360.0, 360.0);
    return bearing >= 360.0 ? 0.0 : bearing;
}

void DatabaseBuilder::destination(double lat, double lon, double bearing, double distanceNm, double *latOut,
                                  double *lonOut)
{
    const double delta = distanceNm / kEarthRadiusNm;
    const double theta = qDegreesToRadians(bearing);
    const double phi1 = qDegreesToRadians(lat);
    const double lambda1 = qDegreesToRadians(lon);
    const double sinPhi2 = std::sin(phi1) * std::cos(delta) + std::cos(phi1) * std::sin(delta) * std::cos(theta);
    const double phi2 = std::asin(qBound(-1.0, sinPhi2, 1.0));
    const double lambda2 = lambda1 + std::atan2(std::sin(theta) * std::sin(delta) * std::cos(phi1),
                                                std::cos(delta) - std::sin(phi1) * sinPhi2);
    *latOut = qRadiansToDegrees(phi2);
    *lonOut = std::remainder(qRadiansToDegrees(lambda2), 360.0);
}
