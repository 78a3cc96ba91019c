#include "worldnavdb.h"

#include "nav/databasebuilder.h"
#include "nav/navschema.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

namespace {

using Counts = WorldNavDb;
constexpr int kAirports = Counts::kAirports;
constexpr int kNavaids = Counts::kNavaids;
constexpr int kFixes = Counts::kFixes;
constexpr int kAirwaySegments = Counts::kAirwaySegments;
constexpr int kAirportsWithProcedures = Counts::kAirportsWithProcedures;
constexpr int kProceduresPerAirport = Counts::kProceduresPerAirport;
constexpr int kLegsPerProcedure = Counts::kLegsPerProcedure;

void report(const QString &line)
{
    std::fprintf(stderr, "%s\n", qPrintable(line));
}

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
    report(QStringLiteral("insert failed: %1").arg(q.lastError().text()));
    return false;
}

struct RunwayEnd
{
    QString icao;
    double lat;
    double lon;
    double headingDeg;
    int lengthFt;
};

// Circles of 12 to 40 NM around hub-clustered points, as 24-point polygons ("lon,lat" points).
bool addAirspaces(QSqlDatabase &db, WorldGenerator &world, int count)
{
    static const char *const kTypes[] = {"CLASS_B", "CLASS_C", "CLASS_C",    "CLASS_D", "CLASS_D",   "CLASS_E",
                                         "CTR",     "TMA",     "RESTRICTED", "DANGER",  "PROHIBITED"};
    QSqlQuery q(db);
    q.prepare(QLatin1String(schema::insert::Airspace));
    for (int i = 0; i < count; ++i) {
        double lat;
        double lon;
        world.position(3.0, &lat, &lon);
        const int typeIndex = world.uniform(0, int(std::size(kTypes)) - 1);
        const double radiusNm = world.real(12.0, 40.0);
        QStringList points;
        for (int k = 0; k < 24; ++k) {
            const double a = 2.0 * M_PI * k / 24.0;
            const double pLat = lat + radiusNm / 60.0 * std::cos(a);
            const double pLon = lon + radiusNm / 60.0 * std::sin(a) / std::max(0.2, std::cos(lat * M_PI / 180.0));
            points << QStringLiteral("%1,%2").arg(pLon, 0, 'f', 5).arg(pLat, 0, 'f', 5);
        }
        const int bottom = world.uniform(0, 3) * 1000;
        q.addBindValue(QStringLiteral("AREA %1").arg(letters(i, 4)));
        q.addBindValue(QString::fromLatin1(kTypes[typeIndex]));
        q.addBindValue(bottom);
        q.addBindValue(bottom + world.uniform(3, 25) * 1000);
        q.addBindValue(points.join(QLatin1Char(' ')));
        if (!exec(q))
            return false;
    }
    return true;
}

// A localizer stands about 300 m beyond the far end of the runway it serves.
bool addLocalizers(QSqlDatabase &db, WorldGenerator &world, const std::vector<RunwayEnd> &runways, int count)
{
    QSqlQuery q(db);
    q.prepare(QLatin1String(schema::insert::Navaid));
    for (int i = 0; i < count && !runways.empty(); ++i) {
        const RunwayEnd &r = runways[size_t(world.uniform(0, int(runways.size()) - 1))];
        const double beyondNm = (r.lengthFt + 1000.0) / 6076.12;
        const double h = r.headingDeg * M_PI / 180.0;
        q.addBindValue(QStringLiteral("I") + letters(i, 3));
        q.addBindValue(QStringLiteral("ILS-cat-I"));
        q.addBindValue(r.lat + beyondNm / 60.0 * std::cos(h));
        q.addBindValue(r.lon + beyondNm / 60.0 * std::sin(h) / std::max(0.2, std::cos(r.lat * M_PI / 180.0)));
        q.addBindValue(double(10810 + 2 * world.uniform(0, 19) * 10 + (world.uniform(0, 1) ? 5 : 0) * 2));
        q.addBindValue(18.0);
        q.addBindValue(r.icao);
        if (!exec(q))
            return false;
    }
    return true;
}

} // namespace

bool WorldNavDb::generate(const QString &path, const Options &options)
{
    // The schema as a whole build leaves it, in the encoding a build gives a new file.
    DatabaseBuilder builder;
    if (!builder.createCompleteSchema(path)) {
        report(QStringLiteral("schema creation failed"));
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
        q.prepare(QLatin1String(schema::insert::Airport));
        QSqlQuery rw(db);
        rw.prepare(QLatin1String(schema::insert::Runway));
        static const char *const kSurfaces[] = {"ASPH", "CONC", "TURF", "GRVL"};
        std::vector<RunwayEnd> runwayEnds;
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
                const int lengthFt = world.uniform(1500, 13000);
                const int widthFt = world.uniform(60, 200);
                const double thresholdLat = lat + world.real(-0.01, 0.01);
                const double thresholdLon = lon + world.real(-0.01, 0.01);
                rw.addBindValue(icao);
                rw.addBindValue(QStringLiteral("%1").arg(heading / 10, 2, 10, QLatin1Char('0')));
                rw.addBindValue(lengthFt);
                rw.addBindValue(widthFt);
                rw.addBindValue(double(heading));
                rw.addBindValue(thresholdLat);
                rw.addBindValue(thresholdLon);
                rw.addBindValue(QString::fromLatin1(kSurfaces[world.uniform(0, 3)]));
                ok = exec(rw);
                runwayEnds.push_back({icao, thresholdLat, thresholdLon, double(heading), lengthFt});
            }
        }

        q.prepare(QLatin1String(schema::insert::Navaid));
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
        q.prepare(QLatin1String(schema::insert::XPlaneFix));
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

        q.prepare(QLatin1String(schema::insert::XPlaneAirway));
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

        q.prepare(QLatin1String(schema::insert::Procedure));
        QSqlQuery leg(db);
        leg.prepare(QLatin1String(schema::insert::ProcedureLeg));
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
        // Optional extras come last, so the data above stays the same with or without them.
        if (ok && options.airspaces > 0)
            ok = addAirspaces(db, world, options.airspaces);
        if (ok && options.localizers > 0)
            ok = addLocalizers(db, world, runwayEnds, options.localizers);
        q.exec(QStringLiteral("COMMIT"));
    }
    db.close();
    db = QSqlDatabase();
    QSqlDatabase::removeDatabase(QStringLiteral("bench_generate"));
    return ok;
}
