// Navigation data benchmark: builds a world-sized navigation database (about 33,000 airports with
// runways, 27,000 navaids, 130,000 fixes, 70,000 airway segments, 2,000,000 procedure legs) in a
// temporary folder, then measures in a fresh child process:
//  - OfflineNavDataProvider::loadFromDatabase time and peak memory (VmHWM),
//  - the same rows read plainly with Qt SQL (no records built), and the ratio of the two,
//  - the three ...InBoundsFast queries for a zoom-7 view over East China, and the non-fast
//    ...InBounds queries for the same view,
//  - SpatialIndex::nearestAirport.
//
// Usage: bench_navdata [--keep <dir>]   (generate and measure)
//        bench_navdata --measure <db>   (measure an existing database)

#include "nav/databasebuilder.h"
#include "nav/offlinenavdataprovider.h"
#include "nav/spatialindex.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTemporaryDir>
#include <QVariant>

#ifdef BENCH_HAVE_SQLITE3
#include <sqlite3.h>
#endif

#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

namespace {

constexpr int kAirports = 33000;
constexpr int kNavaids = 27000;
constexpr int kFixes = 130000;
constexpr int kAirwaySegments = 70000;
constexpr int kAirportsWithProcedures = 10000;
constexpr int kProceduresPerAirport = 20;
constexpr int kLegsPerProcedure = 10; // 10,000 x 20 x 10 = 2,000,000 legs

// A zoom-7 view of 1920 x 1080 pixels centred on 31 N 119 E: 360 / 2^7 / 256 degrees per pixel
// across, and the same shrunk by cos(latitude) (Mercator) down.
constexpr double kViewMinLat = 26.0;
constexpr double kViewMaxLat = 36.2;
constexpr double kViewMinLon = 108.5;
constexpr double kViewMaxLon = 129.6;

void print(const QString &line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

long procStatusKb(const char *key)
{
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return -1;
    // /proc files report size 0, so read them whole rather than testing for their end.
    const QByteArray prefix = QByteArray(key) + ':';
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith(prefix))
            return line.mid(prefix.size()).trimmed().split(' ').first().toLong();
    }
    return -1;
}

QString mb(long kb)
{
    return kb < 0 ? QStringLiteral("n/a") : QStringLiteral("%1 MB").arg(kb / 1024.0, 0, 'f', 1);
}

// ---- generation -------------------------------------------------------------------------------

struct Region
{
    double minLat, maxLat, minLon, maxLon, weight;
};

// Where aviation is dense: North America and Europe lead, East Asia follows, the rest is sparse.
const Region kRegions[] = {
    {25.0, 55.0, -125.0, -67.0, 0.34},  // North America
    {36.0, 60.0, -10.0, 30.0, 0.24},    // Europe
    {20.0, 45.0, 100.0, 145.0, 0.12},   // East Asia
    {-35.0, 5.0, -75.0, -35.0, 0.08},   // South America
    {-35.0, 35.0, -15.0, 50.0, 0.06},   // Africa
    {-40.0, -12.0, 115.0, 153.0, 0.06}, // Australia
    {10.0, 70.0, 40.0, 180.0, 0.10},    // Russia, Central and South Asia
};

class WorldGenerator
{
public:
    WorldGenerator() : m_rng(20240607)
    {
        // Traffic clusters around hubs: each region gets hubs, points spread around them.
        for (int r = 0; r < int(std::size(kRegions)); ++r) {
            std::uniform_real_distribution<double> lat(kRegions[r].minLat, kRegions[r].maxLat);
            std::uniform_real_distribution<double> lon(kRegions[r].minLon, kRegions[r].maxLon);
            for (int h = 0; h < 60; ++h)
                m_hubs.push_back({lat(m_rng), lon(m_rng), r});
        }
        std::vector<double> weights;
        for (const Hub &hub : m_hubs)
            weights.push_back(kRegions[hub.region].weight / 60.0);
        m_hubPick = std::discrete_distribution<int>(weights.begin(), weights.end());
    }

    // A position near a random hub; spreadDeg is the standard deviation of the scatter.
    void position(double spreadDeg, double *lat, double *lon, int *hubOut = nullptr)
    {
        const int h = m_hubPick(m_rng);
        std::normal_distribution<double> scatter(0.0, spreadDeg);
        *lat = qBound(-89.5, m_hubs[h].lat + scatter(m_rng), 89.5);
        double x = m_hubs[h].lon + scatter(m_rng) / std::max(0.2, std::cos(*lat * M_PI / 180.0));
        while (x > 180.0)
            x -= 360.0;
        while (x < -180.0)
            x += 360.0;
        *lon = x;
        if (hubOut)
            *hubOut = h;
    }

    int uniform(int low, int high) { return std::uniform_int_distribution<int>(low, high)(m_rng); }
    double real(double low, double high) { return std::uniform_real_distribution<double>(low, high)(m_rng); }
    int hubCount() const { return int(m_hubs.size()); }

private:
    struct Hub
    {
        double lat;
        double lon;
        int region;
    };
    std::mt19937 m_rng;
    std::vector<Hub> m_hubs;
    std::discrete_distribution<int> m_hubPick;
};

QString letters(int value, int length)
{
    QString text(length, QLatin1Char('A'));
    for (int i = length - 1; i >= 0; --i) {
        text[i] = QLatin1Char(char('A' + value % 26));
        value /= 26;
    }
    return text;
}

bool exec(QSqlQuery &q)
{
    if (q.exec())
        return true;
    print(QStringLiteral("insert failed: %1").arg(q.lastError().text()));
    return false;
}

bool generate(const QString &path)
{
    DatabaseBuilder builder;
    // The airway columns come first, as after an airway import, so the schema completes.
    QStringList airwayColumns{QStringLiteral("CREATE TABLE IF NOT EXISTS airways (  id INTEGER PRIMARY KEY "
                                             "AUTOINCREMENT,  name TEXT, level TEXT,  from_waypoint_id INTEGER, "
                                             "to_waypoint_id INTEGER)")};
    for (const char *column : {"from_lat REAL DEFAULT 0", "from_lon REAL DEFAULT 0", "to_lat REAL DEFAULT 0",
                               "to_lon REAL DEFAULT 0", "from_ident TEXT DEFAULT ''", "to_ident TEXT DEFAULT ''",
                               "direction TEXT DEFAULT 'B'", "distance REAL DEFAULT 0"})
        airwayColumns << QStringLiteral("ALTER TABLE airways ADD COLUMN %1").arg(QLatin1String(column));
    if (!builder.executeSql(path, airwayColumns) || !builder.createSchema(path)) {
        print(QStringLiteral("schema creation failed"));
        return false;
    }

    WorldGenerator world;
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("bench_generate"));
    db.setDatabaseName(path);
    if (!db.open())
        return false;
    bool ok = true;
    {
        QSqlQuery q(db);
        q.exec(QStringLiteral("PRAGMA synchronous=OFF"));
        q.exec(QStringLiteral("PRAGMA journal_mode=OFF"));
        q.exec(QStringLiteral("BEGIN TRANSACTION"));

        struct AirportPos
        {
            QString icao;
            double lat;
            double lon;
            int hub;
        };
        std::vector<AirportPos> airports;
        q.prepare(QStringLiteral("INSERT OR REPLACE INTO airports (icao, name, lat, lon, elevation, has_tower, "
                                 "runway_count) VALUES (?, ?, ?, ?, ?, ?, ?)"));
        QSqlQuery rw(db);
        rw.prepare(QStringLiteral("INSERT INTO runways (airport_icao, ident, length, width, heading, lat, lon, "
                                  "surface) VALUES (?, ?, ?, ?, ?, ?, ?, ?)"));
        static const char *const kSurfaces[] = {"ASPH", "CONC", "TURF", "GRVL"};
        for (int i = 0; ok && i < kAirports; ++i) {
            double lat;
            double lon;
            int hub;
            world.position(2.5, &lat, &lon, &hub);
            const QString icao = letters(i, 4);
            const int runwayCount = world.uniform(1, 3);
            airports.push_back({icao, lat, lon, hub});
            q.addBindValue(icao);
            q.addBindValue(QStringLiteral("Airport %1").arg(i));
            q.addBindValue(lat);
            q.addBindValue(lon);
            q.addBindValue(world.uniform(0, 8000));
            q.addBindValue(world.uniform(0, 1));
            q.addBindValue(runwayCount);
            ok = exec(q);
            for (int r = 0; ok && r < runwayCount; ++r) {
                const int heading = world.uniform(1, 18) * 10;
                rw.addBindValue(icao);
                rw.addBindValue(QStringLiteral("%1").arg(heading / 10, 2, 10, QLatin1Char('0')));
                rw.addBindValue(world.uniform(1500, 13000));
                rw.addBindValue(world.uniform(60, 200));
                rw.addBindValue(double(heading));
                rw.addBindValue(lat + world.real(-0.01, 0.01));
                rw.addBindValue(lon + world.real(-0.01, 0.01));
                rw.addBindValue(QString::fromLatin1(kSurfaces[world.uniform(0, 3)]));
                ok = exec(rw);
            }
        }

        q.prepare(QStringLiteral("INSERT INTO navaids (ident, type, lat, lon, freq, range_nm, airport_icao) VALUES "
                                 "(?, ?, ?, ?, ?, ?, ?)"));
        static const char *const kNavTypes[] = {"VOR", "VORDME", "VORTAC", "NDB", "NDB", "DME"};
        for (int i = 0; ok && i < kNavaids; ++i) {
            double lat;
            double lon;
            world.position(3.0, &lat, &lon);
            const QString type = QString::fromLatin1(kNavTypes[world.uniform(0, 5)]);
            q.addBindValue(letters(world.uniform(0, 26 * 26 * 26 - 1), type == QLatin1String("NDB") ? 2 : 3));
            q.addBindValue(type);
            q.addBindValue(lat);
            q.addBindValue(lon);
            q.addBindValue(type == QLatin1String("NDB") ? world.real(190, 535) : world.real(108.0, 117.95));
            q.addBindValue(double(world.uniform(25, 200)));
            q.addBindValue(world.uniform(0, 3) == 0 ? airports[world.uniform(0, kAirports - 1)].icao : QString());
            ok = exec(q);
        }

        struct FixPos
        {
            QString ident;
            double lat;
            double lon;
        };
        std::vector<std::vector<FixPos>> fixesByHub(world.hubCount());
        q.prepare(QStringLiteral("INSERT INTO waypoints (ident, lat, lon, type) VALUES (?, ?, ?, 'FIX')"));
        for (int i = 0; ok && i < kFixes; ++i) {
            double lat;
            double lon;
            int hub;
            world.position(4.0, &lat, &lon, &hub);
            // About one fix in ten shares its name with another somewhere else, as in real data.
            const QString ident = letters(world.uniform(0, 26 * 26 * 26 * 26 * 26 - 1) % 1200000, 5);
            fixesByHub[hub].push_back({ident, lat, lon});
            q.addBindValue(ident);
            q.addBindValue(lat);
            q.addBindValue(lon);
            ok = exec(q);
        }

        q.prepare(QStringLiteral("INSERT INTO airways (name, level, from_waypoint_id, to_waypoint_id, from_ident, "
                                 "from_lat, from_lon, to_ident, to_lat, to_lon, direction) VALUES (?, ?, 0, 0, ?, "
                                 "?, ?, ?, ?, ?, ?)"));
        static const char *const kLevels[] = {"HIGH", "LOW", "BOTH"};
        int segments = 0;
        for (int airway = 0; ok && segments < kAirwaySegments; ++airway) {
            const std::vector<FixPos> &pool = fixesByHub[world.uniform(0, world.hubCount() - 1)];
            if (pool.size() < 2)
                continue;
            const QString name = QStringLiteral("%1%2").arg(QLatin1Char(char('A' + airway % 26))).arg(airway / 26);
            const QString level = QString::fromLatin1(kLevels[world.uniform(0, 2)]);
            const FixPos *from = &pool[world.uniform(0, int(pool.size()) - 1)];
            for (int s = 0; ok && s < 10 && segments < kAirwaySegments; ++s, ++segments) {
                const FixPos *to = &pool[world.uniform(0, int(pool.size()) - 1)];
                q.addBindValue(name);
                q.addBindValue(level);
                q.addBindValue(from->ident);
                q.addBindValue(from->lat);
                q.addBindValue(from->lon);
                q.addBindValue(to->ident);
                q.addBindValue(to->lat);
                q.addBindValue(to->lon);
                q.addBindValue(QStringLiteral("B"));
                ok = exec(q);
                from = to;
            }
        }

        q.prepare(QStringLiteral("INSERT INTO procedures (airport_icao, type, runway_ident, name) VALUES (?, ?, ?, "
                                 "?)"));
        QSqlQuery leg(db);
        leg.prepare(QStringLiteral("INSERT INTO procedure_legs (airport_icao, proc_name, proc_type, runway, seq, "
                                   "fix_ident, fix_region, fix_type1, fix_type2, fix_type3, leg_type, lat, lon, "
                                   "altitude, speed_limit) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"));
        static const char *const kProcTypes[] = {"SID", "STAR", "APPCH"};
        static const char *const kLegTypes[] = {"IF", "TF", "TF", "TF", "CF", "DF", "CA", "VA", "RF"};
        for (int a = 0; ok && a < kAirportsWithProcedures; ++a) {
            const AirportPos &apt = airports[size_t(a) * 3 % airports.size()];
            const QString region = apt.icao.left(2);
            for (int p = 0; ok && p < kProceduresPerAirport; ++p) {
                const QString type = QString::fromLatin1(kProcTypes[p % 3]);
                const QString runway = QStringLiteral("RW%1").arg(p % 4 * 9 + 1, 2, 10, QLatin1Char('0'));
                const QString name = letters(a * kProceduresPerAirport + p, 5).left(4) + QString::number(p % 9 + 1);
                q.addBindValue(apt.icao);
                q.addBindValue(type);
                q.addBindValue(runway);
                q.addBindValue(name);
                ok = exec(q);
                for (int s = 0; ok && s < kLegsPerProcedure; ++s) {
                    leg.addBindValue(apt.icao);
                    leg.addBindValue(name);
                    leg.addBindValue(type);
                    leg.addBindValue(runway);
                    leg.addBindValue((s + 1) * 10);
                    // Legs name fixes of the region, as real procedures do.
                    const std::vector<FixPos> &near = fixesByHub[apt.hub];
                    leg.addBindValue(near.empty() ? QString() : near[world.uniform(0, int(near.size()) - 1)].ident);
                    leg.addBindValue(region);
                    leg.addBindValue(QStringLiteral("E"));
                    leg.addBindValue(QStringLiteral("A"));
                    leg.addBindValue(QString());
                    leg.addBindValue(QString::fromLatin1(kLegTypes[world.uniform(0, 8)]));
                    leg.addBindValue(apt.lat + world.real(-0.5, 0.5));
                    leg.addBindValue(apt.lon + world.real(-0.5, 0.5));
                    leg.addBindValue(double(world.uniform(0, 150) * 100));
                    leg.addBindValue(world.uniform(0, 3) == 0 ? 250 : 0);
                    ok = exec(leg);
                }
            }
        }
        q.exec(QStringLiteral("COMMIT"));
    }
    db.close();
    db = QSqlDatabase();
    QSqlDatabase::removeDatabase(QStringLiteral("bench_generate"));
    return ok;
}

// ---- measurement ------------------------------------------------------------------------------

// The loader's queries, read row by row into QVariants and thrown away: the cost of getting the
// rows out of SQLite through Qt SQL, without building any records.
const char *const kLoaderQueries[] = {
    "SELECT icao, name, lat, lon, elevation, city, country, has_tower, runway_count FROM airports",
    "SELECT airport_icao, ident, length, width, heading, lat, lon, surface FROM runways",
    "SELECT ident, type, lat, lon, freq, range_nm, airport_icao FROM navaids",
    "SELECT ident, lat, lon, type FROM waypoints",
    "SELECT airport_icao, type, runway_ident, name FROM procedures",
    "SELECT airport_icao, proc_name, proc_type, runway, seq, fix_ident, fix_region, fix_type1, fix_type2, "
    "fix_type3, leg_type, lat, lon, altitude, speed_limit FROM procedure_legs",
    "SELECT airport_icao, name, type, lat, lon, heading FROM parkings",
    "SELECT airport_icao, lat, lon, frequency, name FROM towers",
    "SELECT airport_icao, type, frequency, name FROM frequencies",
    "SELECT name, level, from_lat, from_lon, to_lat, to_lon, from_ident, to_ident, distance FROM airways",
    "SELECT id, name, type, bottom_alt, top_alt, boundary FROM airspaces",
    "SELECT key, value FROM navdata_meta",
};

double plainReadMs(const QString &path, qint64 *rowsOut)
{
    QElapsedTimer timer;
    timer.start();
    qint64 rows = 0;
    qint64 checksum = 0;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("bench_plain"));
        db.setDatabaseName(path);
        db.open();
        {
            QSqlQuery q(db);
            for (const char *sql : {"PRAGMA cache_size=-64000", "PRAGMA mmap_size=268435456"})
                q.exec(QString::fromLatin1(sql));
            for (const char *sql : kLoaderQueries) {
                q = QSqlQuery(db);
                q.setForwardOnly(true);
                q.exec(QString::fromLatin1(sql));
                const int columns = q.record().count();
                while (q.next()) {
                    ++rows;
                    for (int c = 0; c < columns; ++c)
                        checksum += q.value(c).userType();
                }
            }
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("bench_plain"));
    *rowsOut = rows + (checksum == 42 ? 1 : 0); // keeps the reads from being optimised away
    return timer.nsecsElapsed() / 1e6;
}

#ifdef BENCH_HAVE_SQLITE3
// The same rows through the SQLite C API: the floor that no Qt SQL reader can go below.
double plainReadCApiMs(const QString &path, qint64 *rowsOut)
{
    QElapsedTimer timer;
    timer.start();
    sqlite3 *db = nullptr;
    qint64 rows = 0;
    qint64 checksum = 0;
    if (sqlite3_open_v2(path.toUtf8().constData(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
        for (const char *sql : kLoaderQueries) {
            sqlite3_stmt *stmt = nullptr;
            if (sqlite3_prepare_v2(db, sql, -1, &stmt, nullptr) != SQLITE_OK)
                continue;
            const int columns = sqlite3_column_count(stmt);
            while (sqlite3_step(stmt) == SQLITE_ROW) {
                ++rows;
                for (int c = 0; c < columns; ++c) {
                    switch (sqlite3_column_type(stmt, c)) {
                    case SQLITE_INTEGER:
                        checksum += sqlite3_column_int64(stmt, c);
                        break;
                    case SQLITE_FLOAT:
                        checksum += qint64(sqlite3_column_double(stmt, c));
                        break;
                    case SQLITE_TEXT:
                        checksum += sqlite3_column_bytes(stmt, c) + sqlite3_column_text(stmt, c)[0];
                        break;
                    default:
                        break;
                    }
                }
            }
            sqlite3_finalize(stmt);
        }
    }
    sqlite3_close(db);
    *rowsOut = rows + (checksum == 42 ? 1 : 0);
    return timer.nsecsElapsed() / 1e6;
}
#endif

int measure(const QString &path)
{
    print(QStringLiteral("database: %1 (%2)").arg(path, mb(QFileInfo(path).size() / 1024)));
    print(QStringLiteral("memory before load: VmRSS %1, VmHWM %2")
              .arg(mb(procStatusKb("VmRSS")), mb(procStatusKb("VmHWM"))));

    OfflineNavDataProvider provider;
    QElapsedTimer timer;
    timer.start();
    const bool loaded = provider.loadFromDatabase(path);
    const double loadMs = timer.nsecsElapsed() / 1e6;
    const long hwmAfterLoad = procStatusKb("VmHWM");
    const long rssAfterLoad = procStatusKb("VmRSS");
    if (!loaded) {
        print(QStringLiteral("loadFromDatabase failed"));
        return 1;
    }
    print(QStringLiteral("loadFromDatabase: %1 ms (target <= 3000 ms)").arg(loadMs, 0, 'f', 0));
    print(QStringLiteral("memory after load: VmRSS %1, peak VmHWM %2 (target <= 1024 MB)")
              .arg(mb(rssAfterLoad), mb(hwmAfterLoad)));

    qint64 rows = 0;
    const double plainMs = plainReadMs(path, &rows);
    print(QStringLiteral("plain sequential read of the same %1 rows (Qt SQL, no records): %2 ms")
              .arg(rows)
              .arg(plainMs, 0, 'f', 0));
    print(QStringLiteral("ratio load / plain read (Qt SQL): %1").arg(loadMs / plainMs, 0, 'f', 2));
#ifdef BENCH_HAVE_SQLITE3
    qint64 cRows = 0;
    const double cApiMs = plainReadCApiMs(path, &cRows);
    print(QStringLiteral("plain sequential read of the same %1 rows (SQLite C API): %2 ms; ratio load / C API read: %3")
              .arg(cRows)
              .arg(cApiMs, 0, 'f', 0)
              .arg(loadMs / cApiMs, 0, 'f', 2));
#endif

    const int fastRuns = 2000;
    qsizetype fastCount = 0;
    timer.restart();
    for (int i = 0; i < fastRuns; ++i) {
        fastCount = provider.airportsInBoundsFast(kViewMinLat, kViewMinLon, kViewMaxLat, kViewMaxLon).size() +
                    provider.navaidsInBoundsFast(kViewMinLat, kViewMinLon, kViewMaxLat, kViewMaxLon).size() +
                    provider.waypointsInBoundsFast(kViewMinLat, kViewMinLon, kViewMaxLat, kViewMaxLon).size();
    }
    const double fastUs = timer.nsecsElapsed() / 1e3 / fastRuns;
    const auto fastA = provider.airportsInBoundsFast(kViewMinLat, kViewMinLon, kViewMaxLat, kViewMaxLon).size();
    const auto fastN = provider.navaidsInBoundsFast(kViewMinLat, kViewMinLon, kViewMaxLat, kViewMaxLon).size();
    const auto fastW = provider.waypointsInBoundsFast(kViewMinLat, kViewMinLon, kViewMaxLat, kViewMaxLon).size();
    print(QStringLiteral("zoom-7 view East China (%1..%2 N, %3..%4 E): %5 airports, %6 navaids, %7 waypoints")
              .arg(kViewMinLat)
              .arg(kViewMaxLat)
              .arg(kViewMinLon)
              .arg(kViewMaxLon)
              .arg(fastA)
              .arg(fastN)
              .arg(fastW));
    print(QStringLiteral("  ...InBoundsFast, all three kinds: %1 ms per view (target <= 0.2 ms), %2 records")
              .arg(fastUs / 1000.0, 0, 'f', 4)
              .arg(fastCount));

    const int slowRuns = 50;
    qsizetype slowCount = 0;
    timer.restart();
    for (int i = 0; i < slowRuns; ++i) {
        slowCount = provider.airportsInBounds(kViewMinLat, kViewMinLon, kViewMaxLat, kViewMaxLon).size() +
                    provider.navaidsInBounds(kViewMinLat, kViewMinLon, kViewMaxLat, kViewMaxLon).size() +
                    provider.waypointsInBounds(kViewMinLat, kViewMinLon, kViewMaxLat, kViewMaxLon).size();
    }
    const double slowUs = timer.nsecsElapsed() / 1e3 / slowRuns;
    print(QStringLiteral("  ...InBounds (list scan), all three kinds: %1 ms per view, %2 records")
              .arg(slowUs / 1000.0, 0, 'f', 3)
              .arg(slowCount));

    SpatialIndex index;
    index.indexAirports(provider.airports());
    index.indexNavaids(provider.navaids());
    index.indexWaypoints(provider.waypoints());
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> lat(kViewMinLat, kViewMaxLat);
    std::uniform_real_distribution<double> lon(kViewMinLon, kViewMaxLon);
    std::vector<std::pair<double, double>> points(200000);
    for (auto &p : points)
        p = {lat(rng), lon(rng)};
    int found = 0;
    timer.restart();
    for (const auto &p : points) {
        if (index.nearestAirport(p.first, p.second, 1.0))
            ++found;
    }
    const double nearestNs = double(timer.nsecsElapsed()) / points.size();
    print(
        QStringLiteral("nearestAirport (1 degree, points in the view): %1 us per call (target <= 5 us), %2 of %3 found")
            .arg(nearestNs / 1000.0, 0, 'f', 3)
            .arg(found)
            .arg(points.size()));

    const QList<INavDataProvider::Procedure> procs = provider.procedures(provider.airports().first().icao, QString());
    if (!procs.isEmpty()) {
        const INavDataProvider::Procedure &p = procs.first();
        timer.restart();
        qsizetype legs = 0;
        for (int i = 0; i < 1000; ++i)
            legs = provider.procedureLegs(p.airportIcao, p.name, p.type, p.runwayIdent).size();
        print(QStringLiteral("procedureLegs: %1 us per call (%2 legs)")
                  .arg(timer.nsecsElapsed() / 1e3 / 1000, 0, 'f', 1)
                  .arg(legs));
    }

    timer.restart();
    provider.loadFromDatabase(path);
    print(QStringLiteral("reload over loaded data: %1 ms, peak VmHWM now %2")
              .arg(timer.nsecsElapsed() / 1e6, 0, 'f', 0)
              .arg(mb(procStatusKb("VmHWM"))));
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const int measureAt = args.indexOf(QStringLiteral("--measure"));
    if (measureAt > 0 && measureAt + 1 < args.size())
        return measure(args.at(measureAt + 1));

    QTemporaryDir tempDir;
    QString dir = tempDir.path();
    const int keepAt = args.indexOf(QStringLiteral("--keep"));
    if (keepAt > 0 && keepAt + 1 < args.size()) {
        dir = args.at(keepAt + 1);
        QDir().mkpath(dir);
    }
    const QString path = QDir(dir).filePath(QStringLiteral("bench_navdata.db"));
    QFile::remove(path);

    QElapsedTimer timer;
    timer.start();
    if (!generate(path))
        return 1;
    DatabaseBuilder builder;
    print(QStringLiteral("generated in %1 s: %2 airports, %3 navaids, %4 waypoints, %5 procedures")
              .arg(timer.elapsed() / 1000.0, 0, 'f', 1)
              .arg(builder.airportCount(path))
              .arg(builder.navaidCount(path))
              .arg(builder.waypointCount(path))
              .arg(builder.procedureCount(path)));

    // Measured in a fresh process so that the generator's memory does not count in the peak.
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedChannels);
    child.start(app.applicationFilePath(), {QStringLiteral("--measure"), path});
    if (!child.waitForFinished(15 * 60 * 1000) || child.exitStatus() != QProcess::NormalExit)
        return 1;
    return child.exitCode();
}
