#include "faketileserver.h"

#include "map/mappalette.h"
#include "map/mapwidget.h"
#include "map/radaroverlay.h"
#include "map/tiledownloader.h"
#include "nav/databasebuilder.h"
#include "nav/navdataprovider.h"
#include "nav/navschema.h"
#include "tests/support/logexpect.h"

#include <QBuffer>
#include <QImage>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>

// Rendered map images: the pixels at the projected positions of the sample data's objects show
// the objects' symbols, at the zooms where their layers draw, and nothing where they do not.
class TestMapRender : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void airportSymbolsAtProjectedPositions_data();
    void airportSymbolsAtProjectedPositions();
    void layersAppearAboveTheirMinimumZoom_data();
    void layersAppearAboveTheirMinimumZoom();
    void airspaceTintsItsInside_data();
    void airspaceTintsItsInside();
    void runwaysToScaleAndIlsFeather();
    void airportCapKeepsTheMostImportant_data();
    void airportCapKeepsTheMostImportant();
    void tilesUnderTheOverlays();
    void selectedRemoteAircraftIsHighlighted();

private:
    QImage render() { return m_map->grab().toImage().convertToFormat(QImage::Format_RGB32); }
    // Pixels within radius of centre whose colour is within tolerance of colour.
    static int countNear(const QImage &image, const QPointF &centre, double radius, const QColor &colour,
                         int tolerance = 14);
    static int countWhere(const QImage &image, const QPointF &centre, double radius,
                          const std::function<bool(const QColor &)> &test);
    // Pixels within radius of centre that are clearly green (the ILS ink and its blends).
    static int countGreen(const QImage &image, const QPointF &centre, double radius);
    // Fills a fresh database through the builder's schema and loads it into m_custom.
    bool loadCustom(const std::function<bool(QSqlQuery &)> &fill);

    QTemporaryDir m_dir;
    std::unique_ptr<NavDataProvider> m_sample;
    std::unique_ptr<NavDataProvider> m_custom;
    std::unique_ptr<QWidget> m_host;
    MapWidget *m_map = nullptr;
};

void TestMapRender::initTestCase()
{
    m_sample = std::make_unique<NavDataProvider>();
    m_sample->initializeOffline();
    m_sample->loadSampleData();
}

void TestMapRender::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
    m_host = std::make_unique<QWidget>();
    m_host->setAttribute(Qt::WA_DontShowOnScreen);
    m_host->resize(1000, 700);
    m_map = new MapWidget(m_host.get());
    m_map->setGeometry(0, 0, 1000, 700);
    m_map->setMapStyle(MapWidget::DarkPlain);
    m_map->setNavData(m_sample.get());
    m_host->show();
}

void TestMapRender::cleanup()
{
    m_host.reset();
    m_map = nullptr;
    m_custom.reset();
}

int TestMapRender::countNear(const QImage &image, const QPointF &centre, double radius, const QColor &colour,
                             int tolerance)
{
    int count = 0;
    for (int y = int(centre.y() - radius); y <= int(centre.y() + radius); ++y) {
        for (int x = int(centre.x() - radius); x <= int(centre.x() + radius); ++x) {
            if (!image.rect().contains(x, y) || std::hypot(x - centre.x(), y - centre.y()) > radius)
                continue;
            const QColor c = image.pixelColor(x, y);
            if (std::abs(c.red() - colour.red()) <= tolerance && std::abs(c.green() - colour.green()) <= tolerance &&
                std::abs(c.blue() - colour.blue()) <= tolerance)
                ++count;
        }
    }
    return count;
}

int TestMapRender::countWhere(const QImage &image, const QPointF &centre, double radius,
                              const std::function<bool(const QColor &)> &test)
{
    int count = 0;
    for (int y = int(centre.y() - radius); y <= int(centre.y() + radius); ++y) {
        for (int x = int(centre.x() - radius); x <= int(centre.x() + radius); ++x) {
            if (image.rect().contains(x, y) && std::hypot(x - centre.x(), y - centre.y()) <= radius &&
                test(image.pixelColor(x, y)))
                ++count;
        }
    }
    return count;
}

int TestMapRender::countGreen(const QImage &image, const QPointF &centre, double radius)
{
    return countWhere(image, centre, radius,
                      [](const QColor &c) { return c.green() - std::max(c.red(), c.blue()) > 50; });
}

bool TestMapRender::loadCustom(const std::function<bool(QSqlQuery &)> &fill)
{
    static int serial = 0;
    const QString path = m_dir.filePath(QStringLiteral("custom%1.db").arg(++serial));
    if (!DatabaseBuilder().executeSql(path, schema::completeStatements()))
        return false;
    bool ok;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("render_fill"));
        db.setDatabaseName(path);
        ok = db.open();
        if (ok) {
            QSqlQuery q(db);
            q.exec(QStringLiteral("BEGIN TRANSACTION"));
            ok = fill(q);
            q.exec(QStringLiteral("COMMIT"));
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("render_fill"));
    m_custom = std::make_unique<NavDataProvider>();
    m_custom->initializeOffline();
    return ok && m_custom->loadFromDatabase(path);
}

void TestMapRender::airportSymbolsAtProjectedPositions_data()
{
    QTest::addColumn<int>("style");
    QTest::addColumn<int>("zoom");
    for (const int style : {int(MapWidget::DarkPlain), int(MapWidget::LightPlain)}) {
        for (const int zoom : {5, 7, 9, 11}) {
            QTest::addRow("%s zoom %d", style == 0 ? "dark" : "light", zoom) << style << zoom;
        }
    }
}

void TestMapRender::airportSymbolsAtProjectedPositions()
{
    QFETCH(int, style);
    QFETCH(int, zoom);
    m_map->setMapStyle(MapWidget::MapStyle(style));
    m_map->setZoom(zoom);
    m_map->setCenter(QPointF(31.17, 121.57));
    m_map->setLayerVisible(QStringLiteral("airspaces"), false); // at zoom 11 it covers the view
    const QColor towered = MapPalette::forStyle(style).airportTowered;
    const QImage shown = render();
    for (const QPointF &airport : {QPointF(31.1434, 121.8052), QPointF(31.1979, 121.3363)}) {
        const QPointF at = m_map->geoToScreen(airport.x(), airport.y());
        QVERIFY2(countNear(shown, at, 11.0, towered) >= 6,
                 qPrintable(QStringLiteral("no airport symbol at %1,%2").arg(at.x()).arg(at.y())));
    }
    // Where nothing is, the background shows untouched.
    QCOMPARE(shown.pixelColor(60, 600), MapPalette::forStyle(style).background);

    m_map->setLayerVisible(QStringLiteral("airports"), false);
    const QImage hidden = render();
    const QPointF zspd = m_map->geoToScreen(31.1434, 121.8052);
    QCOMPARE(countNear(hidden, zspd, 11.0, towered), 0);
}

void TestMapRender::layersAppearAboveTheirMinimumZoom_data()
{
    QTest::addColumn<QString>("layer");
    QTest::addColumn<QPointF>("from");
    QTest::addColumn<QPointF>("to"); // equal to from for point objects
    QTest::addColumn<int>("minZoom");
    const QPointF dumet(31.361667, 122.775);
    const QPointF sha(31.216, 121.3343);
    QTest::newRow("fix DUMET") << "waypoints" << dumet << dumet << 6;
    QTest::newRow("low airway G330") << "airways_low" << QPointF(33.166667, 121.628333) << sha << 6;
    QTest::newRow("high airway A593") << "airways_high" << sha << dumet << 6;
    QTest::newRow("both-level airway J35 with the high ones")
        << "airways_high" << QPointF(22.333334, 117.5) << QPointF(22.543333, 114.133333) << 6;
}

void TestMapRender::layersAppearAboveTheirMinimumZoom()
{
    QFETCH(QString, layer);
    QFETCH(QPointF, from);
    QFETCH(QPointF, to);
    QFETCH(int, minZoom);
    const MapPalette palette = MapPalette::forStyle(MapWidget::DarkPlain);
    const QColor ink = layer == QLatin1String("waypoints")     ? palette.fix
                       : layer == QLatin1String("airways_low") ? palette.airwayLow
                                                               : palette.airwayHigh;
    const auto inkAtMiddle = [&]() {
        // The middle off the widget's centre, where the crosshair is.
        m_map->setCenter((from + to) / 2.0 + QPointF(0.6, 0.8));
        const QImage shown = render();
        const QPointF middle = (m_map->geoToScreen(from.x(), from.y()) + m_map->geoToScreen(to.x(), to.y())) / 2.0;
        // The ink may be toned down or antialiased: count pixels that moved from the background
        // clearly and in the ink's direction.
        const QColor bg = palette.background;
        const double wr = ink.red() - bg.red(), wg = ink.green() - bg.green(), wb = ink.blue() - bg.blue();
        const double wLength = std::sqrt(wr * wr + wg * wg + wb * wb);
        return countWhere(shown, middle, 6.0, [&](const QColor &c) {
            const double vr = c.red() - bg.red(), vg = c.green() - bg.green(), vb = c.blue() - bg.blue();
            const double vLength = std::sqrt(vr * vr + vg * vg + vb * vb);
            return vLength > 0.3 * wLength && (vr * wr + vg * wg + vb * wb) / (vLength * wLength) > 0.995;
        });
    };

    m_map->setZoom(minZoom);
    QCOMPARE(inkAtMiddle(), 0);
    m_map->setZoom(minZoom + 1);
    QVERIFY(inkAtMiddle() >= 3);
    m_map->setLayerVisible(layer, false);
    QCOMPARE(inkAtMiddle(), 0);
}

void TestMapRender::airspaceTintsItsInside_data()
{
    QTest::addColumn<int>("zoom");
    QTest::addColumn<bool>("layerOn");
    QTest::addColumn<bool>("outlined");
    QTest::addColumn<bool>("tinted");
    QTest::newRow("zoom 5: not drawn") << 5 << true << false << false;
    QTest::newRow("zoom 6: boundary only") << 6 << true << true << false;
    QTest::newRow("zoom 7: boundary only") << 7 << true << true << false;
    QTest::newRow("zoom 8: boundary and tint") << 8 << true << true << true;
    QTest::newRow("zoom 10") << 10 << true << true << true;
    QTest::newRow("zoom 8, layer off") << 8 << false << false << false;
}

void TestMapRender::airspaceTintsItsInside()
{
    QFETCH(int, zoom);
    QFETCH(bool, layerOn);
    QFETCH(bool, outlined);
    QFETCH(bool, tinted);
    m_map->setZoom(zoom);
    m_map->setCenter(QPointF(30.85, 121.2)); // inside the Shanghai TMA, away from its airports
    m_map->setLayerVisible(QStringLiteral("airspaces"), layerOn);
    m_map->setLayerVisible(QStringLiteral("navaids"), false); // the NDB's magenta dots are near at zoom 5
    const QImage shown = render();
    const MapPalette palette = MapPalette::forStyle(MapWidget::DarkPlain);
    // Just off the centre, clear of the crosshair's arms.
    const QColor inside = shown.pixelColor(QPoint(506, 356));
    if (tinted) {
        // A translucent magenta over the dark blue: redder, and still dark.
        QVERIFY2(inside.red() > palette.background.red() + 10 && inside.lightness() < 110, qPrintable(inside.name()));
    } else {
        QCOMPARE(inside, palette.background);
    }
    // The southern boundary runs along 30.70 N from 120.80 to 122.40 E.
    // Its magenta line, antialiased, is far redder than the background or the tint.
    const int onBoundary = countWhere(shown, m_map->geoToScreen(30.70, 121.6), 2.0, [&palette](const QColor &c) {
        return c.red() > palette.background.red() + 60 && c.red() > c.green() + 40;
    });
    QCOMPARE(onBoundary > 0, outlined);
}

void TestMapRender::runwaysToScaleAndIlsFeather()
{
    // One airport, runway 36/18 of 10,000 ft, a localizer beyond the far end of 36.
    QVERIFY(loadCustom([](QSqlQuery &q) {
        bool ok = q.exec(QStringLiteral("INSERT INTO airports (icao, name, lat, lon, elevation, has_tower, "
                                        "runway_count) VALUES ('ZTST', 'Test Field', 30.0, 120.0, 30, 1, 1)"));
        const double farLat = 29.98 + 10000.0 / 6076.12 / 60.0;
        for (const auto &end : {std::make_tuple("36", 29.98, 0.0), std::make_tuple("18", farLat, 180.0)}) {
            q.prepare(QStringLiteral("INSERT INTO runways (airport_icao, ident, length, width, heading, lat, lon, "
                                     "surface) VALUES ('ZTST', ?, 10000, 150, ?, ?, 120.0, 'ASPH')"));
            q.addBindValue(QString::fromLatin1(std::get<0>(end)));
            q.addBindValue(std::get<2>(end));
            q.addBindValue(std::get<1>(end));
            ok = ok && q.exec();
        }
        return ok && q.exec(QStringLiteral("INSERT INTO navaids (ident, type, lat, lon, freq, range_nm, "
                                           "airport_icao) VALUES ('ITST', 'ILS-cat-I', 30.010, 120.0, 11030, 18, "
                                           "'ZTST')"));
    }));
    m_map->setNavData(m_custom.get());
    const MapPalette palette = MapPalette::forStyle(MapWidget::DarkPlain);
    m_map->setZoom(11);
    m_map->setCenter(QPointF(29.95, 120.0));
    QImage shown = render();
    // The feather runs south from the threshold of 36 (the approach from the south), not north.
    const QPointF south = m_map->geoToScreen(29.98 - 4.0 / 60.0, 120.0);
    const QPointF north = m_map->geoToScreen(30.0074 + 4.0 / 60.0, 120.0);
    QVERIFY(countGreen(shown, south, 3.0) >= 3);
    QCOMPARE(countGreen(shown, north, 8.0), 0);
    // The runway itself in its colour, between the thresholds.
    QVERIFY(countNear(shown, m_map->geoToScreen(29.994, 120.0), 2.0, palette.runway, 10) >= 3);

    m_map->setLayerVisible(QStringLiteral("ils"), false);
    shown = render();
    QCOMPARE(countGreen(shown, south, 8.0), 0);
    m_map->setZoom(8); // the ILS layer draws from zoom 9 only
    m_map->setLayerVisible(QStringLiteral("ils"), true);
    shown = render();
    QCOMPARE(countGreen(shown, m_map->geoToScreen(29.98 - 4.0 / 60.0, 120.0), 4.0), 0);
}

void TestMapRender::airportCapKeepsTheMostImportant_data()
{
    QTest::addColumn<int>("zoom");
    QTest::addColumn<int>("columns");
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("spacingPx");
    QTest::addColumn<int>("expected");
    QTest::newRow("200 up to zoom 7") << 7 << 25 << 17 << 36 << 200;
    QTest::newRow("200 at zoom 4 as well") << 4 << 25 << 17 << 36 << 200;
    QTest::newRow("500 above zoom 7") << 8 << 38 << 24 << 25 << 500;
    QTest::newRow("fewer than the cap: all") << 8 << 20 << 10 << 40 << 200;
}

void TestMapRender::airportCapKeepsTheMostImportant()
{
    QFETCH(int, zoom);
    QFETCH(int, columns);
    QFETCH(int, rows);
    QFETCH(int, spacingPx);
    QFETCH(int, expected);
    for (const char *layer :
         {"navaids", "waypoints", "airways_high", "airways_low", "airspaces", "runways", "ils", "compass", "scale"})
        m_map->setLayerVisible(QString::fromLatin1(layer), false);
    m_map->setZoom(zoom);
    m_map->setCenter(QPointF(10.0, 60.0)); // far from the sample data
    // A grid of airports on screen; every fourth has a tower (more important), the rest tie and
    // are chosen by identifier.
    struct Airport
    {
        QString icao;
        QPointF screen;
        bool towered;
    };
    QList<Airport> airports;
    const QPointF origin(500.0 - (columns - 1) * spacingPx / 2.0, 350.0 - (rows - 1) * spacingPx / 2.0 + 7.0);
    for (int i = 0; i < columns * rows; ++i)
        airports.append({QStringLiteral("A%1").arg(i, 4, 10, QLatin1Char('0')),
                         origin + QPointF(i % columns, i / columns) * spacingPx, i % 4 == 0});
    const MapWidget *map = m_map;
    QVERIFY(loadCustom([&airports, map](QSqlQuery &q) {
        for (const Airport &a : airports) {
            const QPointF geo = map->screenToGeo(a.screen);
            q.prepare(QStringLiteral("INSERT INTO airports (icao, name, lat, lon, elevation, has_tower, runway_count) "
                                     "VALUES (?, 'Grid', ?, ?, 0, ?, 1)"));
            q.addBindValue(a.icao);
            q.addBindValue(geo.x());
            q.addBindValue(geo.y());
            q.addBindValue(a.towered ? 1 : 0);
            if (!q.exec())
                return false;
            q.prepare(QStringLiteral("INSERT INTO runways (airport_icao, ident, length, width, heading, lat, lon, "
                                     "surface) VALUES (?, '09', 8000, 150, 90.0, ?, ?, 'ASPH')"));
            q.addBindValue(a.icao);
            q.addBindValue(geo.x());
            q.addBindValue(geo.y());
            if (!q.exec())
                return false;
        }
        return true;
    }));
    m_map->setNavData(m_custom.get());
    const QImage shown = render();

    // An airport is drawn when its ring is there: most of 16 points on the ring circle carry
    // its colour (labels never cover a drawn ring, and text does not make rings).
    const MapPalette palette = MapPalette::forStyle(MapWidget::DarkPlain);
    const double ringRadius = zoom < 6 ? 4.0 : (zoom < 9 ? 6.0 : 8.0);
    int drawn = 0;
    int toweredDrawn = 0;
    QStringList untoweredDrawn;
    for (const Airport &a : airports) {
        const QColor ink = a.towered ? palette.airportTowered : palette.airportUntowered;
        int onRing = 0;
        for (int k = 0; k < 16; ++k) {
            const double angle = k * M_PI / 8.0 + 0.2;
            const QPointF p = a.screen + QPointF(std::cos(angle), std::sin(angle)) * ringRadius;
            onRing += countNear(shown, p, 1.0, ink, 40) > 0 ? 1 : 0;
        }
        if (onRing >= 12) {
            ++drawn;
            if (a.towered)
                ++toweredDrawn;
            else
                untoweredDrawn << a.icao;
        }
    }
    const int towered = (columns * rows + 3) / 4;
    QCOMPARE(drawn, expected);
    QCOMPARE(toweredDrawn, std::min(towered, expected));
    // The untowered ones that made it are the first by identifier.
    QStringList firstUntowered;
    for (const Airport &a : airports) {
        if (!a.towered && firstUntowered.size() < expected - std::min(towered, expected))
            firstUntowered << a.icao;
    }
    QCOMPARE(untoweredDrawn, firstUntowered);
}

void TestMapRender::tilesUnderTheOverlays()
{
    QImage tile(256, 256, QImage::Format_RGB32);
    tile.fill(QColor(200, 60, 60));
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    tile.save(&buffer, "PNG");
    FakeTileServer server;
    QVERIFY(server.listen());
    server.setImage(png);
    m_map->tileDownloader()->setCacheRoot(m_dir.filePath(QStringLiteral("tiles")));
    m_map->tileDownloader()->setStreetBase(server.baseUrl());
    m_map->setMapStyle(MapWidget::StreetTiles);
    m_map->setZoom(9);
    m_map->setCenter(QPointF(31.17, 121.57));

    // Tiles arrive and fill the background; the airport symbols stay on top of them.
    QTRY_COMPARE_WITH_TIMEOUT(render().pixelColor(60, 600), QColor(200, 60, 60), 5000);
    const QImage shown = render();
    const QColor towered = MapPalette::forStyle(MapWidget::StreetTiles).airportTowered;
    QVERIFY(countNear(shown, m_map->geoToScreen(31.1434, 121.8052), 11.0, towered) >= 6);
}

// Remote stations through the radar overlay: the instructor's target in the own-aircraft ink with
// a ring around it, the others in the remote ink.
void TestMapRender::selectedRemoteAircraftIsHighlighted()
{
    m_map->setNavData(nullptr);
    m_map->setZoom(10);
    m_map->setCenter(QPointF(30.0, 120.0));
    RadarOverlay radar;
    radar.setShowSpeedVector(false);
    radar.attach(m_map);
    QMap<QString, RemoteAircraftDisplay> aircraft;
    aircraft.insert("a", {"a", "CES501", 30.05, 119.9, 9000, 90, 250, 0, false});
    aircraft.insert("b", {"b", "CSN302", 29.95, 120.1, 12000, 270, 250, 0, false});
    radar.updateAircraft(aircraft);
    radar.setSelectedStation("b");
    const MapPalette palette = MapPalette::forStyle(MapWidget::DarkPlain);
    const QImage shown = render();
    const QPointF a = m_map->geoToScreen(30.05, 119.9);
    const QPointF b = m_map->geoToScreen(29.95, 120.1);
    QVERIFY(countNear(shown, a, 8.0, palette.remoteAircraft) >= 10);
    QCOMPARE(countNear(shown, a, 20.0, palette.ownAircraft), 0);
    QVERIFY(countNear(shown, b, 8.0, palette.ownAircraft) >= 10);
    QCOMPARE(countNear(shown, b, 8.0, palette.remoteAircraft), 0);
    // The ring: the target's ink well outside its symbol.
    const int ring = countWhere(shown, b, 18.0,
                                [&](const QColor &c) {
                                    return qAbs(c.red() - palette.ownAircraft.red()) +
                                               qAbs(c.green() - palette.ownAircraft.green()) +
                                               qAbs(c.blue() - palette.ownAircraft.blue()) <
                                           42;
                                }) -
                     countNear(shown, b, 13.0, palette.ownAircraft);
    QVERIFY2(ring >= 40, qPrintable(QString::number(ring)));

    radar.setSelectedStation(QString());
    QCOMPARE(countNear(render(), b, 20.0, palette.ownAircraft), 0);
}

QTEST_MAIN(TestMapRender)
#include "tst_maprender.moc"
