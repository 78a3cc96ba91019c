// The service's box replies assembled from per-tile encodings: the same records as the offline
// provider's own bounds queries, each once, whatever the box's position against tile edges, the
// antimeridian or the cache's memory bound.

#include "../support/logexpect.h"
#include "../support/navservicefixture.h"

#include "nav/offlinenavdataprovider.h"
#include "tools/navd/boxreplycache.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

namespace {

constexpr unsigned kAllLayers = BoxReplyCache::Airports | BoxReplyCache::Airspaces | BoxReplyCache::Airways |
                                BoxReplyCache::Navaids | BoxReplyCache::Runways | BoxReplyCache::Waypoints;

QString coord(double v)
{
    return QString::number(v, 'f', 6);
}

QString pointKey(const QJsonObject &o)
{
    return o.value("ident").toString() + '@' + coord(o.value("lat").toDouble()) + ',' +
           coord(o.value("lon").toDouble());
}

QString airwayKey(const QJsonObject &o)
{
    return o.value("name").toString() + '@' + coord(o.value("from_lat").toDouble()) + ',' +
           coord(o.value("from_lon").toDouble()) + '-' + coord(o.value("to_lat").toDouble()) + ',' +
           coord(o.value("to_lon").toDouble());
}

// The keys of one layer of a reply; a key met twice is returned as "duplicate:<key>".
QStringList replyKeys(const QJsonObject &reply, const QString &layer, QString (*key)(const QJsonObject &))
{
    QStringList keys;
    QSet<QString> seen;
    for (const QJsonValue &v : reply.value(layer).toArray()) {
        const QString k = key(v.toObject());
        keys << (seen.contains(k) ? "duplicate:" + k : k);
        seen.insert(k);
    }
    keys.sort();
    return keys;
}

bool execute(const QString &path, const QStringList &statements)
{
    bool ok = true;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("boxreplycache"));
        db.setDatabaseName(path);
        ok = db.open();
        QSqlQuery q(db);
        for (const QString &statement : statements) {
            if (ok && !q.exec(statement)) {
                qWarning("test database: %s", qPrintable(q.lastError().text()));
                ok = false;
            }
        }
    }
    QSqlDatabase::removeDatabase(QStringLiteral("boxreplycache"));
    return ok;
}

} // namespace

class TestBoxReplyCache : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    OfflineNavDataProvider m_provider;

    // Records around the antimeridian near the equator, many of them exactly on tile edges.
    static bool writeDatabase(const QString &path)
    {
        if (!DatabaseBuilder().executeSql(path, schema::completeStatements()))
            return false;
        QRandomGenerator random(7);
        const auto lon = [&random](double span) {
            const double v = 177.0 + random.generateDouble() * span;
            return v > 180.0 ? v - 360.0 : v;
        };
        QStringList airports, waypoints, navaids, airways, airspaces;
        int n = 0;
        for (double lat = -1.0; lat <= 2.0; lat += 0.5) {
            for (double lo = 177.0; lo <= 183.0; lo += 0.5, ++n) {
                airports << QStringLiteral("('T%1','Field',%2,%3,0,'','FJ',%4,%5)")
                                .arg(n, 3, 10, QLatin1Char('0'))
                                .arg(lat)
                                .arg(lo > 180.0 ? lo - 360.0 : lo)
                                .arg(n % 2)
                                .arg(1 + n % 3);
            }
        }
        for (int i = 0; i < 300; ++i) {
            const bool onEdge = i % 5 == 0; // on a whole degree of latitude
            const double lat = onEdge ? double(-1 + i % 4) : -1.0 + random.generateDouble() * 3.0;
            waypoints << QStringLiteral("('W%1',%2,%3,'WPT')").arg(i).arg(lat).arg(lon(6.0));
        }
        for (int i = 0; i < 40; ++i) {
            navaids << QStringLiteral("('N%1','%2',%3,%4,114.1,100,'')")
                           .arg(i)
                           .arg(i % 2 ? "VOR-DME" : "NDB")
                           .arg(-1.0 + random.generateDouble() * 3.0)
                           .arg(lon(6.0));
        }
        for (int i = 0; i < 150; ++i) {
            const double fromLat = -1.0 + random.generateDouble() * 3.0;
            const double fromLon = i % 7 == 0 ? 179.0 : lon(2.8);
            const double toLat = i % 4 == 0 ? 1.0 : -1.0 + random.generateDouble() * 3.0;
            const double toLon = fromLon + (random.generateDouble() - 0.3) * 2.5;
            if (toLon > 180.0 || toLon < -180.0)
                continue;
            airways << QStringLiteral("('A%1','HIGH',%2,%3,%4,%5,'F','T',10)")
                           .arg(i)
                           .arg(fromLat)
                           .arg(fromLon)
                           .arg(toLat)
                           .arg(toLon);
        }
        // Across the antimeridian, and one end on a tile corner; and one between namesake fixes
        // half a world apart, as real data has.
        airways << "('X1','HIGH',0.5,179.5,0.7,-179.5,'F','T',60)"
                << "('X2','LOW',1.0,180.0,1.5,-179.0,'F','T',60)"
                << "('G1','HIGH',-0.5,177.5,50.0,10.0,'F','T',9000)";
        airspaces << "('Big','CLASS_A',0,60000,'177.2,-0.8 179.9,-0.8 179.9,1.9 177.2,1.9')"
                  << "('Edges','CLASS_C',0,9000,'178.0,0.0 179.0,0.0 179.0,1.0 178.0,1.0')"
                  << "('East','CLASS_D',0,3000,'-179.6,0.2 -178.4,0.2 -178.4,0.9')"
                  << "('Huge','FIR',0,99999,'170.0,-10.0 179.5,-10.0 179.5,5.0 170.0,5.0')";
        return execute(
            path, {"INSERT INTO airports (icao,name,lat,lon,elevation,city,country,has_tower,runway_count) VALUES " +
                       airports.join(','),
                   "INSERT INTO waypoints (ident,lat,lon,type) VALUES " + waypoints.join(','),
                   "INSERT INTO navaids (ident,type,lat,lon,freq,range_nm,airport_icao) VALUES " + navaids.join(','),
                   "INSERT INTO airways (name,level,from_lat,from_lon,to_lat,to_lon,from_ident,to_ident,distance) "
                   "VALUES " +
                       airways.join(','),
                   "INSERT INTO airspaces (name,type,bottom_alt,top_alt,boundary) VALUES " + airspaces.join(','),
                   "INSERT INTO runways (airport_icao,ident,length,width,heading,lat,lon,surface) VALUES "
                   "('T010','09',8000,150,90,0.0,178.0,'ASPH'),('T010','27',8000,150,270,0.0,178.02,'ASPH')",
                   "INSERT INTO navdata_meta (key,value) VALUES ('cycle_major','24'),('cycle_minor','01')"});
    }

    static QJsonObject parse(const QByteArray &reply)
    {
        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(reply, &error);
        if (error.error != QJsonParseError::NoError)
            qWarning("reply is no JSON: %s", qPrintable(error.errorString()));
        return doc.object();
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        const QString db = m_dir.filePath("edges.db");
        QVERIFY(writeDatabase(db));
        QVERIFY(m_provider.loadFromDatabase(db));
        QVERIFY(m_provider.airways().size() > 100);
    }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void matchesTheProviderInEveryBox_data()
    {
        QTest::addColumn<double>("minLat");
        QTest::addColumn<double>("minLon");
        QTest::addColumn<double>("maxLat");
        QTest::addColumn<double>("maxLon");
        QTest::newRow("inside one tile") << 0.2 << 178.2 << 0.8 << 178.7;
        QTest::newRow("edges on tile lines") << 0.0 << 178.0 << 1.0 << 179.0;
        QTest::newRow("across tiles") << -0.7 << 177.3 << 1.6 << 179.9;
        QTest::newRow("up to the antimeridian") << -1.0 << 179.0 << 2.0 << 180.0;
        QTest::newRow("west of it") << -1.0 << -180.0 << 2.0 << -178.5;
        QTest::newRow("a corner point") << 1.0 << 179.0 << 1.0 << 179.0;
        QTest::newRow("whole world") << -90.0 << -180.0 << 90.0 << 180.0;
    }
    // Zoomed in, nothing is thinned: every record of the provider's bounds queries, once.
    void matchesTheProviderInEveryBox()
    {
        QFETCH(double, minLat);
        QFETCH(double, minLon);
        QFETCH(double, maxLat);
        QFETCH(double, maxLon);
        BoxReplyCache cache(64 * 1024 * 1024);
        const QJsonObject reply =
            parse(cache.reply(m_provider, "edge", {minLat, minLon, maxLat, maxLon}, 12, kAllLayers));
        QCOMPARE(reply.value("source").toString(), QString("edge"));
        QCOMPARE(reply.value("zoom").toInt(), 12);

        QStringList airports;
        for (const AirportRecord &a : m_provider.airportsInBounds(minLat, minLon, maxLat, maxLon))
            airports << a.icao;
        airports.sort();
        QCOMPARE(replyKeys(reply, "airports", [](const QJsonObject &o) { return o.value("icao").toString(); }),
                 airports);
        QStringList waypoints;
        for (const WaypointRecord &w : m_provider.waypointsInBounds(minLat, minLon, maxLat, maxLon))
            waypoints << pointKey(QJsonObject{{"ident", w.ident}, {"lat", w.lat}, {"lon", w.lon}});
        waypoints.sort();
        QCOMPARE(replyKeys(reply, "waypoints", pointKey), waypoints);
        QStringList navaids;
        for (const NavaidRecord &a : m_provider.navaidsInBounds(minLat, minLon, maxLat, maxLon))
            navaids << pointKey(QJsonObject{{"ident", a.ident}, {"lat", a.lat}, {"lon", a.lon}});
        navaids.sort();
        QCOMPARE(replyKeys(reply, "navaids", pointKey), navaids);
        QStringList airways;
        for (const AirwaySegment &s : m_provider.airwaysInBounds(minLat, minLon, maxLat, maxLon)) {
            airways << airwayKey(QJsonObject{{"name", s.name},
                                             {"from_lat", s.fromLat},
                                             {"from_lon", s.fromLon},
                                             {"to_lat", s.toLat},
                                             {"to_lon", s.toLon}});
        }
        airways.sort();
        QCOMPARE(replyKeys(reply, "airways", airwayKey), airways);
        QStringList airspaces;
        for (const AirspaceRecord &a : m_provider.airspacesInBounds(minLat, minLon, maxLat, maxLon))
            airspaces << a.name;
        airspaces.sort();
        QCOMPARE(replyKeys(reply, "airspaces", [](const QJsonObject &o) { return o.value("name").toString(); }),
                 airspaces);
        const bool hasT010 = airports.contains("T010");
        QCOMPARE(reply.value("runways").toArray().size(), hasT010 ? 2 : 0);
    }

    // A cache far smaller than one view evicts as it goes and still answers byte for byte the same.
    void aSmallCacheGivesTheSameReplies()
    {
        BoxReplyCache large(64 * 1024 * 1024);
        BoxReplyCache small(8 * 1024);
        const QList<BoxReplyCache::Box> boxes{
            {-1, 177, 2, 180}, {0, 178, 1, 179}, {-1, -180, 2, -177}, {-1, 177, 2, 180}, {0.3, 178.1, 1.7, 179.2}};
        for (int zoom : {5, 9, 12}) {
            for (const BoxReplyCache::Box &box : boxes) {
                const QByteArray expected = large.reply(m_provider, "edge", box, zoom, kAllLayers);
                QCOMPARE(small.reply(m_provider, "edge", box, zoom, kAllLayers), expected);
                QVERIFY2(small.cachedBytes() <= 8 * 1024 || small.cachedTiles() == 1,
                         qPrintable(QString::number(small.cachedBytes())));
            }
        }
        QVERIFY(large.cachedTiles() > 3);
    }

    // Thinned at a small scale where the map thins: fixes one per cell of half the map's, NDBs
    // left out; airports are not thinned by place (the map keeps its view's most important).
    void thinsPointLayersAtSmallScales()
    {
        BoxReplyCache cache(64 * 1024 * 1024);
        const QJsonObject reply = parse(cache.reply(m_provider, "edge", {-1, 177, 2, 180}, 4, kAllLayers));
        QCOMPARE(reply.value("airports").toArray().size(), 49); // every field west of the antimeridian
        // Zoom 4 cells for fixes are 6 px, 0.13 degrees: the 3 x 3 degree box has 23 x 23 of them.
        const int waypoints = reply.value("waypoints").toArray().size();
        QVERIFY2(waypoints > 0 && waypoints <= 23 * 23, qPrintable(QString::number(waypoints)));
        for (const QJsonValue &n : reply.value("navaids").toArray())
            QVERIFY(n.toObject().value("type").toString().contains("VOR")); // NDBs only from zoom 6
        QVERIFY(reply.value("runways").toArray().isEmpty());
        // At zoom 9 the map draws every fix and none is left out; at zoom 4 neighbours share cells.
        QJsonArray closeFixes;
        for (const int zoom : {4, 9}) {
            const QJsonObject r =
                parse(cache.reply(m_provider, "edge", {-1, 177, 2, 180}, zoom, BoxReplyCache::Waypoints));
            closeFixes.append(r.value("waypoints").toArray().size());
        }
        QVERIFY2(closeFixes.at(0).toInt() < closeFixes.at(1).toInt(), qPrintable(QJsonDocument(closeFixes).toJson()));
    }

    // Any choice of layers is one JSON object holding those layers, "source" and "zoom".
    void everyLayerChoiceIsValidJson()
    {
        BoxReplyCache cache(64 * 1024 * 1024);
        for (unsigned layers = 1; layers <= kAllLayers; ++layers) {
            QJsonParseError error;
            const QJsonDocument doc =
                QJsonDocument::fromJson(cache.reply(m_provider, "edge", {-1, 177, 2, 180}, 9, layers), &error);
            QVERIFY2(error.error == QJsonParseError::NoError, qPrintable(QString::number(layers)));
            int arrays = 0;
            for (unsigned bit = 1; bit <= kAllLayers; bit <<= 1)
                arrays += (layers & bit) ? 1 : 0;
            QCOMPARE(doc.object().size(), arrays + 2);
            QCOMPARE(doc.object().value("source").toString(), QString("edge"));
        }
    }

    // After clear(), replies come from the provider's new data.
    void clearReadsTheNewData()
    {
        OfflineNavDataProvider provider;
        QVERIFY(provider.loadFromDatabase(m_dir.filePath("edges.db")));
        BoxReplyCache cache(64 * 1024 * 1024);
        const BoxReplyCache::Box shanghai{30.5, 121, 31.5, 122};
        QVERIFY(parse(cache.reply(provider, "x", shanghai, 12, kAllLayers)).value("airports").toArray().isEmpty());
        provider.loadSampleData();
        cache.clear();
        const QJsonArray airports =
            parse(cache.reply(provider, "x", shanghai, 12, kAllLayers)).value("airports").toArray();
        QVERIFY(!airports.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestBoxReplyCache)
#include "tst_boxreplycache.moc"
