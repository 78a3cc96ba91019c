#pragma once

#include <QList>
#include <QObject>
#include <QPair>
#include <QString>
#include <QStringList>

#include <atomic>

// Creates the schema of a per-simulator navigation database (SQLite) and fills it from the data
// sources the user points it at: X-Plane navaid, fix, airway, CIFP and apt.dat files, the airport
// metadata and AIRAC cycle files, route-finder text exports, Navigraph ATC files and OpenAir /
// OpenAIP airspace files.
//
// Every operation takes the database path first and opens, works on and removes its own named
// connection ("builder", "exec", "nav_import", "cifp_import", ...), so operations are independent
// and may run on any thread; an import reports importProgress while it runs and ends with one
// importFinished. The connection names are fixed, so operations must not run concurrently with
// each other (in this or another builder). Each import runs in one transaction: a malformed line
// is skipped and counted, while a failure (unreadable input, a database that cannot be written,
// a cancel) rolls the import back and leaves the previous content. Distances are in nautical
// miles, bearings in degrees true, altitudes and lengths in feet.
//
// The big text imports (apt.dat, CIFP, fixes) parse on a helper thread of their own while the
// calling thread writes. requestCancel() may be called from any thread; a running import notices
// it within a fraction of a second.
class DatabaseBuilder : public QObject
{
    Q_OBJECT
public:
    explicit DatabaseBuilder(QObject *parent = nullptr);

    // Runs schema::createStatements() in order and stops at the first failure. On a new file the
    // airway index fails because the airway columns are added only by the airway importers: the
    // result is then false with the statements before it done, by design.
    bool createSchema(const QString &path);

    // The airways table with the airway importers' columns, then createSchema: a new file gets
    // every table and index at once. Used by whole builds, which import airways anyway.
    bool createCompleteSchema(const QString &path);

    // Empties every navigation table except frequencies and navdata_meta, which are kept.
    void clearAllData(const QString &path);

    // Runs statements in order; stops at the first failure, logging "SQL error:" with the
    // driver's text. True when all succeeded.
    bool executeSql(const QString &path, const QStringList &statements);

    // The driver's text of the last statement that createSchema, createCompleteSchema or
    // executeSql could not run (or of the open that failed); empty after a success.
    QString lastSqlError() const { return m_lastSqlError; }

    // Row counts; 0 when the database or the table cannot be read.
    int airportCount(const QString &path);
    int navaidCount(const QString &path);
    int waypointCount(const QString &path);
    int procedureCount(const QString &path);

    // (table, rows) for every table the importers fill that exists in the file, in a fixed order.
    QList<QPair<QString, int>> tableCounts(const QString &path);

    // ---- importers: true when the import committed ----

    // X-Plane earth_nav.dat (NAV 1100/1150/1200) into navaids, replacing them.
    bool importXPlaneNavData(const QString &path, const QString &file);
    // X-Plane earth_fix.dat (FIX 1101/1200) into waypoints (type "FIX"), replacing them.
    bool importXPlaneWaypoints(const QString &path, const QString &file);
    // X-Plane earth_awy.dat (AWY 1100) into airways, replacing them; endpoints are resolved
    // against the fixes and navaids already imported, unresolved segments are skipped.
    bool importXPlaneAirways(const QString &path, const QString &file);
    // Every "*.dat" of an X-Plane CIFP folder into procedures and procedure_legs, replacing them.
    bool importXPlaneCifp(const QString &path, const QString &dir);
    // The airport layouts of an X-Plane installation: the apt.dat files of its scenery in
    // X-Plane's precedence (see XPlaneDataFolder::aptFiles), replacing airports, runways,
    // towers, parkings and taxi networks; frequencies are replaced airport by airport.
    bool importXPlaneScenery(const QString &path, const QString &xplaneDir);
    // The same for explicit apt.dat files, highest precedence first: an airport ident read from
    // an earlier file hides the same ident in later ones.
    bool importXPlaneAptFiles(const QString &path, const QStringList &aptFiles);
    // X-Plane earth_aptmeta.dat into aptmeta, replacing it.
    bool importAptMeta(const QString &path, const QString &file);
    // "cycle_info.txt" of dir into navdata_meta (a missing file clears the meta table).
    bool importCycleInfo(const QString &path, const QString &dir);
    // Navigraph ATC frequency files ("atc.dat", else every "*.dat") of dir into frequencies.
    bool importNavigraphAtc(const QString &path, const QString &dir);
    // Every OpenAIP export ("*.aip" or "*.xml" of the XML format, "*.json" of the web API) of dir
    // into airspaces (added to what the table holds).
    bool importOpenAIPAirspaces(const QString &path, const QString &dir);
    // Every OpenAir file ("*.txt", "*.openair", "*.air") of dir into airspaces (added).
    bool importOpenAirAirspaces(const QString &path, const QString &dir);
    // A route-finder text export (Waypoints.txt, Airports.txt, Navaids.txt, ATS.txt, PROC/):
    // replaces navaids, waypoints, airways and procedures; airports are added or replaced.
    bool importRouteFinderData(const QString &path, const QString &dir);

    // Asks a running import to stop; it rolls back and reports failure. Stays set until
    // clearCancel(), so the remaining steps of a build stop too.
    void requestCancel();
    void clearCancel();
    bool isCancelRequested() const;

    // Great-circle distance (nautical miles, sphere of 3440.065 NM) and initial bearing
    // (degrees true, 0 <= result < 360) between two points in degrees.
    static double distanceNm(double lat1, double lon1, double lat2, double lon2);
    static double bearingDeg(double lat1, double lon1, double lat2, double lon2);

    // ---- Prepar3D / FSX / MSFS 2020 scenery (BGL files) ----
    // Where the scenery lives: see SceneryLocator, which these forward to.
    static QStringList getP3DSceneryPaths(const QString &simDir, const QStringList &addOnRoots = QStringList());
    static QString getMsfsPackagesPath(const QString &location);
    static QStringList getMsfsPackagePaths(const QString &packagesPath);
    static bool isNavigraphMsfsDir(const QString &dir);
    static QStringList sceneryBglFiles(const QString &folder);

    // Parses the BGLs of the installation (see getP3DSceneryPaths) and writes them with
    // importBglRecords.
    bool importP3DScenery(const QString &path, const QString &simDir);
    // The same for MSFS 2020 (location as for getMsfsPackagesPath); Navigraph packages are
    // written afterwards with importNavigraphMsfsRecords.
    bool importMsfsScenery(const QString &path, const QString &location);
    // One Navigraph navigation-data package into a database that already holds the scenery.
    bool importNavigraphMsfs(const QString &path, const QString &dir);
    // Replaces the scenery tables (airports, runways, parkings, towers, taxiways, navaids,
    // waypoints, airways, procedures, legs, airspaces; the frequencies of the airports written)
    // with the reader's records. Records gathered in load order: a later airport of the same ident
    // replaces an earlier one, an MSFS stub airport (no runways) only replaces its procedures and
    // COM frequencies, duplicates of navaids and fixes are written once. Then repairs airway
    // endpoints and refreshes runway counts. Creates the tables it needs in a new file.
    bool importBglRecords(const QString &path, class BglReader &records);
    // A Navigraph package's records: replaces navaids, waypoints and airways, and the procedures
    // and COM frequencies of the airports it names; airports, runways and ground layouts stay.
    bool importNavigraphMsfsRecords(const QString &path, class BglReader &records);

signals:
    void importProgress(const QString &stage, int current, int total);
    void importFinished(const QString &message, bool success);

private:
    bool runStatements(const QString &connectionName, const QString &path, const QStringList &statements,
                       const QString &openFailureText);
    int countRows(const QString &connectionName, const QString &path, const QString &sql);

    std::atomic<bool> m_cancelRequested{false};
    QString m_lastSqlError;
};
