// Map widget benchmark: paint time of the map into a 1600 x 1000 image over East China with a
// world-sized navigation database (bench/worldnavdb, with airspaces and ILS localizers) and every
// layer on, at zoom 7, 9 and 12, in the street-tile style (tiles served by a local HTTP server and
// held in memory, as after the first seconds of use) and the dark plain style.
//
// For each zoom it reports:
//  - full frame: tiles and all overlays rendered afresh (the cache off), while panning 3 pixels
//    per frame; median and 90th percentile over the frames,
//  - cached frame: what a new aircraft sample costs when the view stands still (the cached base is
//    blitted, the aircraft and instruments drawn),
//  - panning with the cache: 3 pixels per frame, the base re-rendered only when the view leaves it.
//
// Usage: bench_mapwidget [--keep <dir>]    generate the database there (reused when present)
//        bench_mapwidget --shots <dir>     only render screenshots of the map tab (sample data,
//                                          plus the world database when --keep names one)

#include "worldnavdb.h"

#include "map/mapwidget.h"
#include "map/mercatorprojection.h"
#include "map/radaroverlay.h"
#include "map/tiledownloader.h"
#include "nav/navdataprovider.h"
#include "ui/maptab.h"

#include <QApplication>
#include <QBuffer>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QImage>
#include <QPainter>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QUrlQuery>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

namespace {

constexpr int kWidth = 1600;
constexpr int kHeight = 1000;
constexpr int kFrames = 60;

void print(const QString &line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

// A street-map-like tile for x/y/z: land, a few roads and blocks placed from the tile numbers,
// water in some tiles, so tile seams and registration are visible in screenshots.
QByteArray renderTile(int x, int y, int z)
{
    QImage image(256, 256, QImage::Format_RGB32);
    const quint32 seed = quint32(x) * 73856093u ^ quint32(y) * 19349663u ^ quint32(z) * 83492791u;
    const bool water = (seed % 11) == 0;
    image.fill(water ? QColor(170, 205, 240) : QColor(244, 241, 234));
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    if (!water) {
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(226, 236, 214));
        p.drawRect(QRect(int(seed % 120), int((seed >> 8) % 120), 70, 50));
        p.setPen(QPen(QColor(255, 255, 255), 6));
        p.drawLine(0, int((seed >> 4) % 256), 256, int((seed >> 12) % 256));
        p.drawLine(int((seed >> 6) % 256), 0, int((seed >> 14) % 256), 256);
        p.setPen(QPen(QColor(250, 214, 120), 4));
        p.drawLine(0, int((seed >> 16) % 256), 256, int((seed >> 20) % 256));
    }
    p.setPen(QColor(200, 196, 188));
    p.setBrush(Qt::NoBrush);
    p.drawRect(0, 0, 255, 255);
    p.end();
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

// A minimal HTTP tile server on 127.0.0.1: one generated PNG per "/appmaptile?x=..&y=..&z=.."
// request, connection closed after the answer.
class LocalTileServer : public QObject
{
public:
    bool listen() { return m_server.listen(QHostAddress::LocalHost, 0); }
    QString baseUrl() const { return QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort()); }

    LocalTileServer()
    {
        connect(&m_server, &QTcpServer::newConnection, this, [this]() {
            while (QTcpSocket *socket = m_server.nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, socket, [socket]() {
                    const QByteArray request = socket->readAll();
                    const int end = request.indexOf(' ', 4);
                    const QUrl url(QString::fromLatin1(request.mid(4, end - 4)));
                    const QUrlQuery query(url);
                    const QByteArray body = renderTile(query.queryItemValue(QStringLiteral("x")).toInt(),
                                                       query.queryItemValue(QStringLiteral("y")).toInt(),
                                                       query.queryItemValue(QStringLiteral("z")).toInt());
                    socket->write(
                        "HTTP/1.1 200 OK\r\nContent-Type: image/png\r\nConnection: close\r\nContent-Length: " +
                        QByteArray::number(body.size()) + "\r\n\r\n" + body);
                    socket->disconnectFromHost();
                });
                connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }

private:
    QTcpServer m_server;
};

// Renders until every tile of the widget's range is in memory (or 20 s pass).
bool warmTiles(MapWidget &map)
{
    QImage image(map.size(), QImage::Format_ARGB32_Premultiplied);
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 20000) {
        {
            QPainter painter(&image);
            map.paintMap(painter);
        }
        int minX, minY, maxX, maxY;
        map.getVisibleTileRange(minX, minY, maxX, maxY);
        bool all = true;
        for (int x = minX; x <= maxX && all; ++x) {
            for (int y = minY; y <= maxY && all; ++y)
                all = map.tileDownloader()->memoryKeys().contains(
                    QStringLiteral("street/%1/%2/%3").arg(map.zoomLevel()).arg(x).arg(y));
        }
        if (all)
            return true;
        QSignalSpy ready(map.tileDownloader(), &TileDownloader::tileReady);
        ready.wait(500);
    }
    return false;
}

struct Figures
{
    double median = 0.0;
    double p90 = 0.0;
};

Figures summarise(std::vector<double> ms)
{
    std::sort(ms.begin(), ms.end());
    return {ms[ms.size() / 2], ms[std::min(ms.size() - 1, ms.size() * 9 / 10)]};
}

// Frames while panning 3 pixels to the east each frame.
Figures measurePan(MapWidget &map, const QPointF &centre, QImage &image)
{
    std::vector<double> ms;
    QElapsedTimer timer;
    const QPointF start = MercatorProjection::latLonToPixel(centre, map.zoomLevel());
    for (int i = 0; i < kFrames; ++i) {
        map.setCenter(MercatorProjection::pixelToLatLon(start + QPointF(3.0 * (i + 1), 0.0), map.zoomLevel()));
        timer.start();
        QPainter painter(&image);
        map.paintMap(painter);
        painter.end();
        ms.push_back(timer.nsecsElapsed() / 1e6);
    }
    map.setCenter(centre);
    return summarise(ms);
}

void measureZoom(MapWidget &map, const QPointF &centre, int zoom, const QString &styleName)
{
    map.setCenter(centre);
    map.setZoom(zoom);
    map.setBaseCacheEnabled(false);
    if (map.mapStyle() == MapWidget::StreetTiles && !warmTiles(map))
        print(QStringLiteral("  (not every tile arrived in time)"));
    QImage image(kWidth, kHeight, QImage::Format_ARGB32_Premultiplied);

    QElapsedTimer timer;
    map.refreshNavData(); // the first frame after a data change builds the airway and airspace grids
    timer.start();
    {
        QPainter painter(&image);
        map.paintMap(painter);
    }
    const double firstMs = timer.nsecsElapsed() / 1e6;
    const Figures full = measurePan(map, centre, image);

    map.setBaseCacheEnabled(true);
    {
        QPainter painter(&image);
        map.paintMap(painter);
    }
    std::vector<double> cached;
    for (int i = 0; i < kFrames; ++i) {
        map.setAircraftPosition(centre.x() + 0.001 * i, centre.y(), 45.0);
        timer.start();
        QPainter painter(&image);
        map.paintMap(painter);
        painter.end();
        cached.push_back(timer.nsecsElapsed() / 1e6);
    }
    const Figures still = summarise(cached);
    const Figures pan = measurePan(map, centre, image);
    map.setBaseCacheEnabled(false);

    print(QStringLiteral("zoom %1, %2: full frame median %3 ms, p90 %4 ms (first after data change %5 ms); "
                         "cached: aircraft only %6 ms, panning %7 ms median / %8 ms p90")
              .arg(zoom)
              .arg(styleName)
              .arg(full.median, 0, 'f', 2)
              .arg(full.p90, 0, 'f', 2)
              .arg(firstMs, 0, 'f', 1)
              .arg(still.median, 0, 'f', 2)
              .arg(pan.median, 0, 'f', 2)
              .arg(pan.p90, 0, 'f', 2));
}

int runBenchmark(const QString &dbPath, LocalTileServer &server, const QString &tileCache)
{
    NavDataProvider nav;
    nav.initializeOffline();
    QElapsedTimer timer;
    timer.start();
    if (!nav.loadFromDatabase(dbPath)) {
        print(QStringLiteral("loading %1 failed").arg(dbPath));
        return 1;
    }
    print(QStringLiteral("database loaded in %1 ms: %2 airports, %3 navaids, %4 fixes, %5 airway segments, %6 "
                         "airspaces")
              .arg(timer.elapsed())
              .arg(nav.airports().size())
              .arg(nav.navaids().size())
              .arg(nav.waypoints().size())
              .arg(nav.airways().size())
              .arg(nav.airspaces().size()));

    MapWidget map;
    map.resize(kWidth, kHeight);
    map.tileDownloader()->setStreetBase(server.baseUrl());
    map.tileDownloader()->setCacheRoot(tileCache);
    map.setNavData(&nav);
    map.setLocalAircraftData(QStringLiteral("B738"), 35000, 460, 0, 45, 47, 280);
    map.setTrackPoints({{30.8, 120.6}, {30.9, 120.8}, {31.0, 121.0}});
    map.setShowRangeRing(true);

    const struct
    {
        int zoom;
        QPointF centre;
    } views[] = {{7, {31.0, 119.0}}, {9, {31.2, 121.4}}, {12, {31.15, 121.8}}};
    for (const auto &v : views) {
        map.setMapStyle(MapWidget::StreetTiles);
        measureZoom(map, v.centre, v.zoom, QStringLiteral("street tiles"));
        map.setMapStyle(MapWidget::DarkPlain);
        measureZoom(map, v.centre, v.zoom, QStringLiteral("dark plain"));
    }
    return 0;
}

// ---- screenshots ------------------------------------------------------------------------------

void shoot(MapTab &tab, const QString &dir, const QString &name)
{
    QApplication::processEvents();
    tab.mapWidget()->update();
    const QString path = QDir(dir).filePath(name + QStringLiteral(".png"));
    tab.grab().save(path);
    print(QStringLiteral("wrote %1").arg(path));
}

void flyDemoTrack(MapTab &tab)
{
    // A departure from Pudong to the north-west, as live samples would deliver it.
    AircraftData d;
    for (int i = 0; i <= 120; ++i) {
        const double t = i / 120.0;
        d.lat = 31.12 + 0.55 * t + 0.08 * std::sin(t * 3.0);
        d.lon = 121.80 - 0.85 * t;
        d.hdgTrue = 312.0;
        d.track = 310.0;
        d.alt = 1000 + 9000 * t;
        d.gs = 250 + 80 * t;
        tab.setAircraftData(d);
    }
}

int runShots(const QString &dir, const QString &worldDb, LocalTileServer &server, const QString &tileCache)
{
    QDir().mkpath(dir);
    NavDataProvider nav;
    nav.initializeOffline();
    nav.loadSampleData();

    QWidget host;
    host.setAttribute(Qt::WA_DontShowOnScreen);
    host.resize(1400, 900);
    MapTab tab(&host);
    tab.resize(host.size());
    tab.mapWidget()->tileDownloader()->setStreetBase(server.baseUrl());
    tab.mapWidget()->tileDownloader()->setSatelliteBase(server.baseUrl());
    tab.mapWidget()->tileDownloader()->setCacheRoot(tileCache);
    tab.setNavDataProvider(&nav);
    host.show();
    MapWidget *map = tab.mapWidget();
    flyDemoTrack(tab);
    tab.setRoutePoints({{QStringLiteral("ZSPD"), 31.1434, 121.8052, QStringLiteral("APT"), MapRoutePoint::Role::Origin},
                        {QStringLiteral("DUMET"), 31.45, 122.9, QStringLiteral("WPT"), MapRoutePoint::Role::Sid},
                        {QStringLiteral("ODULO"), 32.2, 124.6, QStringLiteral("WPT"), MapRoutePoint::Role::Enroute}});

    // Remote stations and online traffic around Shanghai, with the range rings on.
    QMap<QString, RemoteAircraftDisplay> remote;
    for (int step = 0; step < 12; ++step) {
        remote.insert(QStringLiteral("agent-1"), {QStringLiteral("agent-1"), QStringLiteral("CES5102"),
                                                  31.45 - 0.02 * step, 121.05 + 0.03 * step, 8400, 120, 280, -900});
        remote.insert(QStringLiteral("agent-2"), {QStringLiteral("agent-2"), QStringLiteral("CSN3321"),
                                                  30.95 + 0.015 * step, 121.95 - 0.02 * step, 15600, 300, 410, 1200});
        tab.radarOverlay()->updateAircraft(remote);
    }
    map->setOnlineAircraft({{QStringLiteral("CCA1501"), QStringLiteral("A333"), 31.35, 121.75, 24000, 450, 45},
                            {QStringLiteral("CXA8201"), QStringLiteral("B738"), 30.9, 121.2, 6000, 240, 200}});
    map->setShowRangeRing(true);
    tab.setMapStyle(MapWidget::DarkPlain);
    const struct
    {
        const char *name;
        int zoom;
        QPointF centre;
    } darkViews[] = {{"dark_z5_china", 5, {32.0, 117.0}},
                     {"dark_z7_east_china", 7, {31.3, 120.5}},
                     {"dark_z9_shanghai", 9, {31.25, 121.5}},
                     {"dark_z12_pudong", 12, {31.15, 121.80}},
                     {"dark_z14_pudong", 14, {31.15, 121.80}}};
    for (const auto &v : darkViews) {
        map->setZoom(v.zoom);
        map->setCenter(v.centre);
        shoot(tab, dir, QString::fromLatin1(v.name));
    }

    map->setZoom(9);
    map->setCenter({31.25, 121.5});
    QTest::mouseClick(map, Qt::LeftButton, Qt::NoModifier, map->geoToScreen(31.1434, 121.8052).toPoint());
    shoot(tab, dir, QStringLiteral("dark_z9_popup_zspd"));
    QTest::mouseClick(map, Qt::LeftButton, Qt::NoModifier, QPoint(5, 5));

    tab.setMapStyle(MapWidget::LightPlain);
    map->setZoom(8);
    map->setCenter({31.3, 121.3});
    shoot(tab, dir, QStringLiteral("light_z8_shanghai"));

    tab.setMapStyle(MapWidget::StreetTiles);
    for (const auto &v : {std::make_pair(7, QPointF(31.3, 120.5)), std::make_pair(10, QPointF(31.15, 121.6))}) {
        map->setZoom(v.first);
        map->setCenter(v.second);
        warmTiles(*map);
        shoot(tab, dir, QStringLiteral("street_z%1").arg(v.first));
    }

    if (!worldDb.isEmpty() && QFileInfo::exists(worldDb)) {
        NavDataProvider world;
        world.initializeOffline();
        world.loadFromDatabase(worldDb);
        tab.setNavDataProvider(&world);
        tab.setMapStyle(MapWidget::DarkPlain);
        for (const auto &v : {std::make_pair(7, QPointF(31.0, 119.0)), std::make_pair(9, QPointF(31.2, 121.4)),
                              std::make_pair(12, QPointF(31.15, 121.8))}) {
            map->setZoom(v.first);
            map->setCenter(v.second);
            shoot(tab, dir, QStringLiteral("world_dark_z%1").arg(v.first));
        }
        tab.setMapStyle(MapWidget::StreetTiles);
        map->setZoom(9);
        map->setCenter({31.2, 121.4});
        warmTiles(*map);
        shoot(tab, dir, QStringLiteral("world_street_z9"));
        tab.setNavDataProvider(&nav);
    }
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    QTemporaryDir tempDir;
    QString dir = tempDir.path();
    const int keepAt = args.indexOf(QStringLiteral("--keep"));
    if (keepAt > 0 && keepAt + 1 < args.size()) {
        dir = args.at(keepAt + 1);
        QDir().mkpath(dir);
    }
    const QString dbPath = QDir(dir).filePath(QStringLiteral("bench_mapwidget.db"));
    const QString tileCache = QDir(tempDir.path()).filePath(QStringLiteral("tiles"));

    LocalTileServer server;
    if (!server.listen()) {
        print(QStringLiteral("cannot start the local tile server"));
        return 1;
    }

    const int shotsAt = args.indexOf(QStringLiteral("--shots"));
    if (shotsAt > 0 && shotsAt + 1 < args.size())
        return runShots(args.at(shotsAt + 1), keepAt > 0 ? dbPath : QString(), server, tileCache);

    if (!QFileInfo::exists(dbPath)) {
        QElapsedTimer timer;
        timer.start();
        WorldNavDb::Options options;
        options.airspaces = 6000;
        options.localizers = 5000;
        if (!WorldNavDb::generate(dbPath, options)) {
            print(QStringLiteral("generating the database failed"));
            return 1;
        }
        print(QStringLiteral("generated %1 in %2 s").arg(dbPath).arg(timer.elapsed() / 1000.0, 0, 'f', 1));
    }
    return runBenchmark(dbPath, server, tileCache);
}
