#include "faketileserver.h"

#include "map/gcj02.h"
#include "map/mapinfopopup.h"
#include "map/maplayer.h"
#include "map/mapwidget.h"
#include "map/mercatorprojection.h"
#include "map/tiledownloader.h"
#include "nav/navdataprovider.h"
#include "tests/support/logexpect.h"

#include <QApplication>
#include <QBuffer>
#include <QContextMenuEvent>
#include <QImage>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QWheelEvent>

#include <cmath>
#include <memory>

// Interaction of the map widget, driven by real mouse, wheel and context-menu events on a widget
// hosted in a plain window (a window with a layout makes the offscreen platform warn).
class TestMapWidget : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void setZoomClamps_data();
    void setZoomClamps();
    void wheelStepsZoomAndCentresOnCursor_data();
    void wheelStepsZoomAndCentresOnCursor();
    void pressReleaseIsClickOrPan_data();
    void pressReleaseIsClickOrPan();
    void clickShowsInformationAndNamesTheObject_data();
    void clickShowsInformationAndNamesTheObject();
    void contextMenuOffersActionsForTheHit_data();
    void contextMenuOffersActionsForTheHit();
    void routePointDragOrPan_data();
    void routePointDragOrPan();
    void visibleTileRange_data();
    void visibleTileRange();
    void plainStylesNeitherFetchTilesNorShift();
    void frameLayerIsDrawnUntilRemovedOrDestroyed();
    void shiftedPositionsStayWithinAQuarterPixel_data();
    void shiftedPositionsStayWithinAQuarterPixel();

private:
    static QByteArray solidTile(const QColor &colour)
    {
        QImage image(256, 256, QImage::Format_RGB32);
        image.fill(colour);
        QByteArray png;
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
        return png;
    }
    // Chooses an action of the context menu at pos by its text (Return on it); an empty text
    // closes the menu. Returns the texts of the menu's actions.
    QStringList useContextMenu(const QPoint &pos, const QString &choose);
    void wheel(const QPointF &pos, int angleDeltaY);
    QPoint screenOf(double lat, double lon) const { return m_map->geoToScreen(lat, lon).toPoint(); }

    std::unique_ptr<NavDataProvider> m_nav;
    std::unique_ptr<QWidget> m_host;
    MapWidget *m_map = nullptr;
};

void TestMapWidget::initTestCase()
{
    m_nav = std::make_unique<NavDataProvider>();
    m_nav->initializeOffline();
    m_nav->loadSampleData();
}

void TestMapWidget::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
    m_host = std::make_unique<QWidget>();
    m_host->setAttribute(Qt::WA_DontShowOnScreen);
    m_host->resize(800, 600);
    m_map = new MapWidget(m_host.get());
    m_map->setGeometry(0, 0, 800, 600);
    // Plain style: no tile traffic and positions as they are, unless a test says otherwise.
    m_map->setMapStyle(MapWidget::DarkPlain);
    m_map->setNavData(m_nav.get());
    m_host->show();
}

void TestMapWidget::cleanup()
{
    m_host.reset();
    m_map = nullptr;
}

void TestMapWidget::wheel(const QPointF &pos, int angleDeltaY)
{
    QWheelEvent event(pos, m_map->mapToGlobal(pos), QPoint(), QPoint(0, angleDeltaY), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(m_map, &event);
}

QStringList TestMapWidget::useContextMenu(const QPoint &pos, const QString &choose)
{
    QStringList texts;
    bool menuSeen = false;
    QTimer::singleShot(0, this, [&]() {
        auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
        if (!menu)
            return;
        menuSeen = true;
        QAction *target = nullptr;
        for (QAction *action : menu->actions()) {
            if (action->isSeparator())
                continue;
            texts << action->text();
            if (action->text() == choose)
                target = action;
        }
        if (target) {
            menu->setActiveAction(target);
            QTest::keyClick(menu, Qt::Key_Return);
        } else {
            menu->close();
        }
    });
    if (QGuiApplication::platformName() == QLatin1String("offscreen")) {
        // What the offscreen platform says about every popup; it cannot do either.
        QTest::ignoreMessage(QtWarningMsg, "This plugin does not support raise()");
        QTest::ignoreMessage(QtWarningMsg, "This plugin does not support grabbing the keyboard");
    }
    QContextMenuEvent event(QContextMenuEvent::Mouse, pos, m_map->mapToGlobal(pos));
    QApplication::sendEvent(m_map, &event);
    if (!menuSeen)
        texts << QStringLiteral("<no menu>");
    return texts;
}

void TestMapWidget::setZoomClamps_data()
{
    QTest::addColumn<int>("requested");
    QTest::addColumn<int>("expected");
    QTest::newRow("below the range") << 0 << 1;
    QTest::newRow("far below") << -5 << 1;
    QTest::newRow("lowest") << 1 << 1;
    QTest::newRow("inside") << 12 << 12;
    QTest::newRow("highest") << 18 << 18;
    QTest::newRow("above the range") << 25 << 18;
}

void TestMapWidget::setZoomClamps()
{
    QFETCH(int, requested);
    QFETCH(int, expected);
    QSignalSpy zoomSpy(m_map, &MapWidget::zoomChanged);
    m_map->setZoom(requested);
    QCOMPARE(m_map->zoomLevel(), expected);
    // The default zoom is 7: a change is announced once, no change not at all.
    QCOMPARE(zoomSpy.count(), expected == 7 ? 0 : 1);
}

void TestMapWidget::wheelStepsZoomAndCentresOnCursor_data()
{
    QTest::addColumn<int>("startZoom");
    QTest::addColumn<int>("angleDelta");
    QTest::addColumn<int>("expectedZoom");
    QTest::newRow("up") << 7 << 120 << 8;
    QTest::newRow("a big delta is still one step") << 7 << 960 << 8;
    QTest::newRow("down") << 7 << -120 << 6;
    QTest::newRow("zero delta zooms out") << 7 << 0 << 6;
    QTest::newRow("at the top") << 18 << 120 << 18;
    QTest::newRow("at the bottom") << 1 << -120 << 1;
}

void TestMapWidget::wheelStepsZoomAndCentresOnCursor()
{
    QFETCH(int, startZoom);
    QFETCH(int, angleDelta);
    QFETCH(int, expectedZoom);
    m_map->setZoom(startZoom);
    m_map->setCenter(QPointF(31.0, 121.0));
    const QPointF cursor(612.0, 143.0);
    const QPointF underCursor = m_map->screenToGeo(cursor);
    QSignalSpy centreSpy(m_map, &MapWidget::centerChanged);
    QSignalSpy zoomSpy(m_map, &MapWidget::zoomChanged);

    wheel(cursor, angleDelta);

    QCOMPARE(m_map->zoomLevel(), expectedZoom);
    QVERIFY(std::abs(m_map->centerLatLon().x() - underCursor.x()) < 1e-9);
    QVERIFY(std::abs(m_map->centerLatLon().y() - underCursor.y()) < 1e-9);
    QCOMPARE(centreSpy.count(), 1);
    QCOMPARE(zoomSpy.count(), 1);
    QCOMPARE(zoomSpy.first().first().toInt(), expectedZoom);
    // The old point under the cursor now sits in the middle of the widget.
    const QPointF middle = m_map->geoToScreen(underCursor.x(), underCursor.y());
    QVERIFY(std::abs(middle.x() - 400.0) < 1e-6 && std::abs(middle.y() - 300.0) < 1e-6);
}

void TestMapWidget::pressReleaseIsClickOrPan_data()
{
    QTest::addColumn<QPoint>("move");
    QTest::addColumn<bool>("click");
    QTest::newRow("5 px across") << QPoint(5, 0) << true;
    QTest::newRow("5 px down") << QPoint(0, -5) << true;
    QTest::newRow("5 px diagonally (Manhattan)") << QPoint(2, 3) << true;
    QTest::newRow("6 px across") << QPoint(-6, 0) << false;
    QTest::newRow("6 px diagonally (Manhattan)") << QPoint(3, -3) << false;
    QTest::newRow("far") << QPoint(120, 80) << false;
}

void TestMapWidget::pressReleaseIsClickOrPan()
{
    QFETCH(QPoint, move);
    QFETCH(bool, click);
    m_map->setZoom(9);
    m_map->setCenter(QPointF(31.2, 121.5));
    const QPoint press = screenOf(31.1434, 121.8052); // ZSPD
    const QPointF pressGeo = m_map->screenToGeo(press);
    QSignalSpy clicked(m_map, &MapWidget::airportClicked);
    QSignalSpy centreSpy(m_map, &MapWidget::centerChanged);

    QTest::mousePress(m_map, Qt::LeftButton, Qt::NoModifier, press);
    QTest::mouseMove(m_map, press + move);
    QTest::mouseRelease(m_map, Qt::LeftButton, Qt::NoModifier, press + move);

    // Either way the map followed the mouse: the pressed position is under the release point.
    const QPointF releaseGeo = m_map->screenToGeo(press + move);
    QVERIFY2(std::abs(releaseGeo.x() - pressGeo.x()) < 1e-6 && std::abs(releaseGeo.y() - pressGeo.y()) < 1e-6,
             qPrintable(QStringLiteral("%1,%2").arg(releaseGeo.x()).arg(releaseGeo.y())));
    QCOMPARE(centreSpy.isEmpty(), false);
    auto *popup = m_map->findChild<MapInfoPopup *>();
    QVERIFY(popup);
    if (click) {
        QCOMPARE(clicked.count(), 1);
        QCOMPARE(clicked.first().first().toString(), QStringLiteral("ZSPD"));
        QVERIFY(popup->isVisible());
    } else {
        QCOMPARE(clicked.count(), 0);
        QVERIFY(!popup->isVisible());
    }
}

void TestMapWidget::clickShowsInformationAndNamesTheObject_data()
{
    QTest::addColumn<int>("zoom");
    QTest::addColumn<QPointF>("target");
    QTest::addColumn<QString>("airport");
    QTest::addColumn<QString>("navaid");
    QTest::addColumn<QStringList>("shown");
    QTest::newRow("airport with its runways") << 9 << QPointF(31.1434, 121.8052) << "ZSPD"
                                              << "" << QStringList{"Shanghai Pudong International Airport",
                                                                   "13 ft",
                                                                   "17R/35L",
                                                                   "12467 × 197 ft",
                                                                   "17L/35R",
                                                                   "13123 × 197 ft"};
    QTest::newRow("NDB with frequency and range") << 11 << QPointF(31.1170, 121.3330) << ""
                                                  << "SH" << QStringList{"NDB", "375 kHz", "50 nm", "ZSSS"};
    QTest::newRow("VOR") << 12 << QPointF(40.0483, 116.7350) << ""
                         << "PEK" << QStringList{"VOR", "114.70 MHz", "130 nm"};
    QTest::newRow("fix") << 9 << QPointF(31.361667, 122.775) << ""
                         << "" << QStringList{"DUMET", "N31°21.70′ E122°46.50′"};
    QTest::newRow("inside an airspace, nothing near")
        << 9 << QPointF(30.85, 121.6) << ""
        << "" << QStringList{"Shanghai TMA", "CLASS_C", "1000 ft – FL197"};
}

void TestMapWidget::clickShowsInformationAndNamesTheObject()
{
    QFETCH(int, zoom);
    QFETCH(QPointF, target);
    QFETCH(QString, airport);
    QFETCH(QString, navaid);
    QFETCH(QStringList, shown);
    m_map->setZoom(zoom);
    m_map->setCenter(target);
    QSignalSpy airportSpy(m_map, &MapWidget::airportClicked);
    QSignalSpy navaidSpy(m_map, &MapWidget::navaidClicked);

    QTest::mouseClick(m_map, Qt::LeftButton, Qt::NoModifier, screenOf(target.x(), target.y()) + QPoint(3, -4));

    auto *popup = m_map->findChild<MapInfoPopup *>();
    QVERIFY(popup && popup->isVisible());
    const QString text = popup->findChild<QLabel *>(QStringLiteral("mapInfoText"))->text();
    for (const QString &part : shown)
        QVERIFY2(text.contains(part), qPrintable(part + QStringLiteral(" missing in ") + text));
    QCOMPARE(airportSpy.count(), airport.isEmpty() ? 0 : 1);
    if (!airport.isEmpty())
        QCOMPARE(airportSpy.first().first().toString(), airport);
    QCOMPARE(navaidSpy.count(), navaid.isEmpty() ? 0 : 1);
    if (!navaid.isEmpty())
        QCOMPARE(navaidSpy.first().first().toString(), navaid);

    // A click on empty map puts the card away.
    m_map->setCenter(QPointF(0.0, -30.0));
    QTest::mouseClick(m_map, Qt::LeftButton, Qt::NoModifier, QPoint(400, 300));
    QVERIFY(!popup->isVisible());
}

void TestMapWidget::contextMenuOffersActionsForTheHit_data()
{
    QTest::addColumn<int>("zoom");
    QTest::addColumn<QPointF>("centre");
    QTest::addColumn<QPoint>("offset"); // of the right click from the widget's middle
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<int>("choose");
    QTest::addColumn<QString>("signal");
    QTest::addColumn<QVariantList>("arguments");

    // At zoom 9 the click on the airport is also on its runway 17L/35R.
    const QStringList airportMenu{"定位到 机场: ZSPD", "添加 ZSPD 到飞行计划",    "在此位置添加航路点",
                                  "将飞机定位到此处",  "五边进近：ZSPD 跑道 17L", "五边进近：ZSPD 跑道 35R"};
    QTest::newRow("airport: locate") << 9 << QPointF(31.1434, 121.8052) << QPoint(4, 4) << airportMenu << 0
                                     << "locateOnMap" << QVariantList{31.1434, 121.8052};
    QTest::newRow("airport: add") << 9 << QPointF(31.1434, 121.8052) << QPoint(4, 4) << airportMenu << 1
                                  << "addToFlightPlan" << QVariantList{"ZSPD", 31.1434, 121.8052, "APT"};
    QTest::newRow("navaid: add") << 11 << QPointF(31.1170, 121.3330) << QPoint(-6, 2)
                                 << QStringList{"定位到 导航设施: SH", "添加 SH 到飞行计划", "在此位置添加航路点",
                                                "将飞机定位到此处"}
                                 << 1 << "addToFlightPlan" << QVariantList{"SH", 31.1170, 121.3330, "NAV"};
    QTest::newRow("fix: add") << 9 << QPointF(31.361667, 122.775) << QPoint(0, 10)
                              << QStringList{"定位到 航路点: DUMET", "添加 DUMET 到飞行计划", "在此位置添加航路点",
                                             "将飞机定位到此处"}
                              << 1 << "addToFlightPlan" << QVariantList{"DUMET", 31.361667, 122.775, "WPT"};
    QTest::newRow("airspace: no add action")
        << 9 << QPointF(30.85, 121.6) << QPoint(0, 0)
        << QStringList{"定位到 空域: Shanghai TMA", "在此位置添加航路点", "将飞机定位到此处"} << 0 << "locateOnMap"
        << QVariantList{31.35, 121.7};
    QTest::newRow("empty map: waypoint here")
        << 9 << QPointF(20.0, 150.0) << QPoint(0, 0) << QStringList{"在此位置添加航路点", "将飞机定位到此处"} << 0
        << "addToFlightPlan" << QVariantList{"20.00N150.00E", 20.0, 150.0, "WPT"};
    QTest::newRow("waypoint name rounds to two decimals")
        << 9 << QPointF(31.1449, 121.8051) << QPoint(0, 0)
        << QStringList{"定位到 机场: ZSPD",       "添加 ZSPD 到飞行计划",    "在此位置添加航路点",
                       "将飞机定位到此处",        "五边进近：ZSPD 跑道 17L", "五边进近：ZSPD 跑道 17R",
                       "五边进近：ZSPD 跑道 35L", "五边进近：ZSPD 跑道 35R"}
        << 2 << "addToFlightPlan" << QVariantList{"31.14N121.81E", 31.1449, 121.8051, "WPT"};
    QTest::newRow("position here") << 9 << QPointF(20.0, 150.0) << QPoint(0, 0)
                                   << QStringList{"在此位置添加航路点", "将飞机定位到此处"} << 1
                                   << "positionHereRequested" << QVariantList{20.0, 150.0};
    // Zoomed in on the middle of runway 35L/17R, which the sample data puts 1400 m left of the
    // reference point (bearing 344 - 90): only its two ends.
    const double offsetDeg = 1400.0 / 1852.0 / 60.0;
    const double leftRad = 254.0 * M_PI / 180.0;
    QTest::newRow("runway: final of one end")
        << 14
        << QPointF(31.1434 + offsetDeg * std::cos(leftRad),
                   121.8052 + offsetDeg * std::sin(leftRad) / std::cos(31.1434 * M_PI / 180.0))
        << QPoint(0, 0)
        << QStringList{"定位到 空域: Shanghai TMA", "在此位置添加航路点", "将飞机定位到此处", "五边进近：ZSPD 跑道 17R",
                       "五边进近：ZSPD 跑道 35L"}
        << 4 << "finalApproachRequested" << QVariantList{"ZSPD", "35L"};
    QTest::newRow("south and west keep N and E")
        << 9 << QPointF(-33.9461, -70.7858) << QPoint(0, 0) << QStringList{"在此位置添加航路点", "将飞机定位到此处"}
        << 0 << "addToFlightPlan" << QVariantList{"-33.95N-70.79E", -33.9461, -70.7858, "WPT"};
}

void TestMapWidget::contextMenuOffersActionsForTheHit()
{
    QFETCH(int, zoom);
    QFETCH(QPointF, centre);
    QFETCH(QPoint, offset);
    QFETCH(QStringList, texts);
    QFETCH(int, choose);
    QFETCH(QString, signal);
    QFETCH(QVariantList, arguments);
    m_map->setZoom(zoom);
    m_map->setCenter(centre);
    QSignalSpy locateSpy(m_map, &MapWidget::locateOnMap);
    QSignalSpy addSpy(m_map, &MapWidget::addToFlightPlan);
    QSignalSpy hereSpy(m_map, &MapWidget::positionHereRequested);
    QSignalSpy finalSpy(m_map, &MapWidget::finalApproachRequested);

    QCOMPARE(useContextMenu(QPoint(400, 300) + offset, texts.value(choose)), texts);

    QSignalSpy &fired = signal == QLatin1String("locateOnMap")              ? locateSpy
                        : signal == QLatin1String("positionHereRequested")  ? hereSpy
                        : signal == QLatin1String("finalApproachRequested") ? finalSpy
                                                                            : addSpy;
    QCOMPARE(locateSpy.count() + addSpy.count() + hereSpy.count() + finalSpy.count(), 1);
    QCOMPARE(fired.count(), 1);
    const QVariantList got = fired.first();
    QCOMPARE(got.size(), arguments.size());
    for (int i = 0; i < got.size(); ++i) {
        if (arguments.at(i).typeId() == QMetaType::Double) {
            QVERIFY2(std::abs(got.at(i).toDouble() - arguments.at(i).toDouble()) < 1e-6,
                     qPrintable(QStringLiteral("argument %1: %2").arg(i).arg(got.at(i).toDouble(), 0, 'f', 8)));
        } else {
            QCOMPARE(got.at(i).toString(), arguments.at(i).toString());
        }
    }
}

void TestMapWidget::routePointDragOrPan_data()
{
    QTest::addColumn<QPoint>("grab"); // press position relative to the route point
    QTest::addColumn<bool>("drags");
    QTest::newRow("on the point") << QPoint(0, 0) << true;
    QTest::newRow("Manhattan 9") << QPoint(4, -5) << true;
    QTest::newRow("Manhattan 10") << QPoint(5, 5) << false;
    QTest::newRow("far off") << QPoint(30, 0) << false;
}

void TestMapWidget::routePointDragOrPan()
{
    QFETCH(QPoint, grab);
    QFETCH(bool, drags);
    m_map->setZoom(8);
    m_map->setCenter(QPointF(31.5, 122.0));
    const QList<MapRoutePoint> route{
        {QStringLiteral("ZSPD"), 31.1434, 121.8052, QStringLiteral("APT"), MapRoutePoint::Role::Origin},
        {QStringLiteral("WPT1"), 31.6, 122.3, QStringLiteral("WPT")},
        {QStringLiteral("ODULO"), 32.2, 124.6, QStringLiteral("WPT")}};
    m_map->setRoutePoints(route);
    const QPoint press = screenOf(31.6, 122.3) + grab;
    const QPoint release = press + QPoint(60, 40);
    const QPointF releaseGeo = m_map->screenToGeo(release);
    const QPointF centre = m_map->centerLatLon();
    QSignalSpy moved(m_map, &MapWidget::routePointMoved);

    QTest::mousePress(m_map, Qt::LeftButton, Qt::NoModifier, press);
    QTest::mouseMove(m_map, press + QPoint(30, 20));
    QTest::mouseMove(m_map, release);
    QTest::mouseRelease(m_map, Qt::LeftButton, Qt::NoModifier, release);

    if (drags) {
        QCOMPARE(moved.count(), 1);
        QCOMPARE(moved.first().at(0).toInt(), 1);
        QVERIFY(std::abs(moved.first().at(1).toDouble() - releaseGeo.x()) < 1e-9);
        QVERIFY(std::abs(moved.first().at(2).toDouble() - releaseGeo.y()) < 1e-9);
        QCOMPARE(m_map->centerLatLon(), centre);
        QCOMPARE(m_map->routePoints().at(1).lat, releaseGeo.x());
        QCOMPARE(m_map->routePoints().at(0).lat, route.at(0).lat);
    } else {
        QCOMPARE(moved.count(), 0);
        QVERIFY(m_map->centerLatLon() != centre);
        QCOMPARE(m_map->routePoints().at(1).lat, 31.6);
    }
}

void TestMapWidget::visibleTileRange_data()
{
    QTest::addColumn<int>("zoom");
    QTest::addColumn<QPointF>("centre");
    QTest::newRow("zoom 1 covers the world") << 1 << QPointF(0.0, 0.0);
    QTest::newRow("zoom 3 near the antimeridian") << 3 << QPointF(-20.0, 170.0);
    QTest::newRow("zoom 7 Shanghai") << 7 << QPointF(31.14, 121.81);
    QTest::newRow("zoom 12 Beijing") << 12 << QPointF(40.08, 116.58);
    QTest::newRow("zoom 18") << 18 << QPointF(51.47, -0.45);
}

void TestMapWidget::visibleTileRange()
{
    QFETCH(int, zoom);
    QFETCH(QPointF, centre);
    m_map->setZoom(zoom);
    m_map->setCenter(centre);
    // Expected from the tile scheme's own formulas: x from longitude, y from asinh(tan(latitude)).
    const double n = std::pow(2.0, zoom);
    const double cx = (centre.y() + 180.0) / 360.0 * 256.0 * n;
    const double cy = (1.0 - std::asinh(std::tan(centre.x() * M_PI / 180.0)) / M_PI) / 2.0 * 256.0 * n;
    const int minX = std::max(0, int(std::floor((cx - 400.0) / 256.0)) - 1);
    const int maxX = std::min(int(n) - 1, int(std::floor((cx + 400.0) / 256.0)) + 1);
    const int minY = std::max(0, int(std::floor((cy - 300.0) / 256.0)) - 1);
    const int maxY = std::min(int(n) - 1, int(std::floor((cy + 300.0) / 256.0)) + 1);

    int x0 = -1, y0 = -1, x1 = -1, y1 = -1;
    m_map->getVisibleTileRange(x0, y0, x1, y1);
    QCOMPARE(x0, minX);
    QCOMPARE(y0, minY);
    QCOMPARE(x1, maxX);
    QCOMPARE(y1, maxY);
}

void TestMapWidget::plainStylesNeitherFetchTilesNorShift()
{
    FakeTileServer server;
    QVERIFY(server.listen());
    server.setImage(solidTile(QColor(200, 40, 40)));
    QTemporaryDir cache;
    m_map->tileDownloader()->setCacheRoot(cache.path());
    m_map->tileDownloader()->setStreetBase(server.baseUrl());
    m_map->tileDownloader()->setSatelliteBase(server.baseUrl());
    const QPointF centre(31.2, 121.5);
    m_map->setCenter(centre);

    for (const MapWidget::MapStyle style : {MapWidget::DarkPlain, MapWidget::LightPlain}) {
        m_map->setMapStyle(style);
        m_map->setZoom(style == MapWidget::DarkPlain ? 5 : 6);
        m_map->grab();
        const QPointF middle = m_map->geoToScreen(centre.x(), centre.y());
        QCOMPARE(middle, QPointF(400.0, 300.0));
        QVERIFY(!m_map->isLayerVisible(QStringLiteral("tiles")));
    }

    // Street tiles are fetched (at zoom 12 only) and positions are shifted into GCJ-02 by a few
    // hundred metres, several pixels at this zoom; converting back returns the position.
    m_map->setMapStyle(MapWidget::StreetTiles);
    m_map->setZoom(12);
    QVERIFY(m_map->isLayerVisible(QStringLiteral("tiles")));
    m_map->grab();
    QTRY_VERIFY_WITH_TIMEOUT(!m_map->tileDownloader()->memoryKeys().isEmpty(), 5000);
    for (const FakeTileServer::Request &request : server.requests())
        QVERIFY2(request.target.contains(QLatin1String("&z=12&")), qPrintable(request.target));
    const QPointF shifted = m_map->geoToScreen(centre.x(), centre.y());
    QVERIFY((shifted - QPointF(400.0, 300.0)).manhattanLength() > 3.0);
    const QPointF back = m_map->screenToGeo(shifted);
    QVERIFY(std::abs(back.x() - centre.x()) < 1e-6 && std::abs(back.y() - centre.y()) < 1e-6);
}

namespace {

// Paints a green square at one position, through the projection it is given, each frame.
class SquareLayer : public MapLayer
{
public:
    SquareLayer() : MapLayer(QStringLiteral("square"), Stage::Frame, 5) {}
    QPointF latLon{31.5, 121.9};
    void paint(QPainter *painter, const MapPaintContext &context) override
    {
        painter->fillRect(QRectF(context.project(latLon.x(), latLon.y()) - QPointF(4, 4), QSizeF(8, 8)),
                          QColor(0, 255, 0));
    }
};

} // namespace

void TestMapWidget::frameLayerIsDrawnUntilRemovedOrDestroyed()
{
    const QColor green(0, 255, 0);
    auto layer = std::make_unique<SquareLayer>();
    m_map->setZoom(7);
    m_map->addLayer(layer.get());
    m_map->addLayer(layer.get());
    QCOMPARE(m_map->grab().toImage().pixelColor(screenOf(31.5, 121.9)), green);
    // It follows the view: after a zoom the square is where the position went.
    m_map->setZoom(9);
    QCOMPARE(m_map->grab().toImage().pixelColor(screenOf(31.5, 121.9)), green);
    // Not at or below its minimum zoom, nor with its layer switched off.
    m_map->setZoom(5);
    QVERIFY(m_map->grab().toImage().pixelColor(screenOf(31.5, 121.9)) != green);
    m_map->setZoom(7);
    m_map->setLayerVisible(QStringLiteral("square"), false);
    QVERIFY(m_map->grab().toImage().pixelColor(screenOf(31.5, 121.9)) != green);
    m_map->setLayerVisible(QStringLiteral("square"), true);

    m_map->removeLayer(layer.get());
    QVERIFY(m_map->grab().toImage().pixelColor(screenOf(31.5, 121.9)) != green);
    m_map->addLayer(layer.get());
    layer.reset();
    QVERIFY(m_map->grab().toImage().pixelColor(screenOf(31.5, 121.9)) != green);
}

void TestMapWidget::shiftedPositionsStayWithinAQuarterPixel_data()
{
    QTest::addColumn<int>("zoom");
    QTest::addColumn<QPointF>("centre");
    for (const int zoom : {4, 6, 7, 8, 9, 10, 11, 12, 14, 16, 18})
        QTest::addRow("zoom %d, Shanghai", zoom) << zoom << QPointF(31.2, 121.5);
    QTest::newRow("zoom 9, near the western edge of the shifted area") << 9 << QPointF(40.0, 72.3);
    QTest::newRow("zoom 12, Beijing") << 12 << QPointF(39.9, 116.4);
}

void TestMapWidget::shiftedPositionsStayWithinAQuarterPixel()
{
    QFETCH(int, zoom);
    QFETCH(QPointF, centre);
    FakeTileServer server;
    QVERIFY(server.listen());
    server.setImage(solidTile(QColor(240, 236, 228)));
    QTemporaryDir cache;
    m_map->tileDownloader()->setCacheRoot(cache.path());
    m_map->tileDownloader()->setStreetBase(server.baseUrl());
    m_map->setMapStyle(MapWidget::StreetTiles);
    m_map->setZoom(zoom);
    m_map->setCenter(centre);
    // Points across the view and well beyond it (airways reach out), against the exact shift.
    const QPointF originPx = MercatorProjection::latLonToPixel(centre, zoom) - QPointF(400.0, 300.0);
    const QPointF a = m_map->screenToGeo(QPointF(-800.0, -600.0));
    const QPointF b = m_map->screenToGeo(QPointF(1600.0, 1200.0));
    double worst = 0.0;
    for (int i = 0; i <= 24; ++i) {
        for (int j = 0; j <= 24; ++j) {
            const double lat = b.x() + (a.x() - b.x()) * i / 24.0 + 0.0013 * j;
            const double lon = a.y() + (b.y() - a.y()) * j / 24.0 + 0.0017 * i;
            double shiftedLat;
            double shiftedLon;
            Gcj02::wgs84ToGcj02(lat, lon, shiftedLat, shiftedLon);
            const QPointF exact = MercatorProjection::latLonToPixel(shiftedLat, shiftedLon, zoom) - originPx;
            const QPointF got = m_map->geoToScreen(lat, lon);
            worst = std::max(worst, std::hypot(got.x() - exact.x(), got.y() - exact.y()));
        }
    }
    QVERIFY2(worst < 0.25, qPrintable(QStringLiteral("worst error %1 px").arg(worst)));
}

QTEST_MAIN(TestMapWidget)
#include "tst_mapwidget.moc"
