#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

// Creates and maintains the schema of a per-simulator navigation database (SQLite) and answers
// small questions about its content. The importers that fill the tables are not part of this
// class yet.
//
// Every operation takes the database path first and opens, works on and removes its own named
// connection ("builder", "exec", "clear_all", "count_airport", ...), so operations are independent
// and may run on any thread. The connection names are fixed, so one builder's operations must not
// run concurrently with each other. Distances are in nautical miles, bearings in degrees true.
class DatabaseBuilder : public QObject
{
    Q_OBJECT
public:
    explicit DatabaseBuilder(QObject *parent = nullptr);

    // Runs the schema's 29 statements in order and stops at the first failure. On a new file
    // the airway index (statement 14) fails because the airway columns are added only by the
    // airway importers: the result is then false with statements 1 to 13 done, by design.
    bool createSchema(const QString &path);

    // Empties every navigation table except frequencies and navdata_meta, which are kept.
    void clearAllData(const QString &path);

    // Runs statements in order; stops at the first failure, logging "SQL error:" with the
    // driver's text. True when all succeeded.
    bool executeSql(const QString &path, const QStringList &statements);

    // Row counts; 0 when the database or the table cannot be read.
    int airportCount(const QString &path);
    int navaidCount(const QString &path);
    int waypointCount(const QString &path);
    int procedureCount(const QString &path);

    // Great-circle distance (nautical miles, sphere of 3440.065 NM) and initial bearing
    // (degrees true, 0 <= result < 360) between two points in degrees.
    static double distanceNm(double lat1, double lon1, double lat2, double lon2);
    static double bearingDeg(double lat1, double lon1, double lat2, double lon2);

    // The schema statements in execution order, read from the library's resources.
    static QStringList schemaStatements();

signals:
    void importProgress(const QString &stage, int current, int total);
    void importFinished(const QString &message, bool success);

private:
    bool runStatements(const QString &connectionName, const QString &path, const QStringList &statements,
                       const QString &openFailureText);
    int countRows(const QString &connectionName, const QString &path, const QString &sql);
};
