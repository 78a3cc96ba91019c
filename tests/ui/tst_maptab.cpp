#include "map/mapwidget.h"
#include "nav/navdataprovider.h"
#include "tests/support/logexpect.h"
#include "tests/support/navservicefixture.h"
#include "ui/maptab.h"

#include <QAction>
#include <QComboBox>
#include <QCompleter>
#include <QLabel>
#include <QLineEdit>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QWheelEvent>

#include <cmath>
#include <memory>

// The map tab: samples move the aircraft and build the track, following keeps the aircraft in
// the middle until the user drags the map, the airport search centres the map, and the tool bar
// drives the map's style and layers.
class TestMapTab : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void samplesBuildTheTrack_data();
    void samplesBuildTheTrack();
    void followKeepsTheAircraftCentredUntilTheMapIsDragged();
    void searchCentresOnTheAirport_data();
    void searchCentresOnTheAirport();
    void searchOffersMatchingAirports();
    void toolBarDrivesStyleZoomAndLayers();
    void choosingTheOnlineServiceAsksForTheView();

private:
    static AircraftData sample(double lat, double lon)
    {
        AircraftData d;
        d.lat = lat;
        d.lon = lon;
        d.hdgTrue = 90.0;
        d.gs = 250.0;
        d.alt = 12000.0;
        return d;
    }

    std::unique_ptr<NavDataProvider> m_nav;
    std::unique_ptr<QWidget> m_host;
    MapTab *m_tab = nullptr;
};

void TestMapTab::initTestCase()
{
    m_nav = std::make_unique<NavDataProvider>();
    m_nav->initializeOffline();
    m_nav->loadSampleData();
}

void TestMapTab::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
    m_host = std::make_unique<QWidget>();
    m_host->setAttribute(Qt::WA_DontShowOnScreen);
    m_host->resize(1000, 700);
    m_tab = new MapTab(m_host.get());
    m_tab->setGeometry(0, 0, 1000, 700);
    m_tab->setMapStyle(MapWidget::DarkPlain);
    m_tab->setNavDataProvider(m_nav.get());
    m_host->show();
}

void TestMapTab::cleanup()
{
    m_host.reset();
    m_tab = nullptr;
}

void TestMapTab::samplesBuildTheTrack_data()
{
    // Longitude steps along 31 N, where 0.001 degree is about 0.05 NM.
    QTest::addColumn<QList<double>>("samples");
    QTest::addColumn<QList<double>>("track");
    QTest::newRow("first sample starts the track") << QList<double>{121.0} << QList<double>{121.0};
    QTest::newRow("steps under 0.1 NM are merged") << QList<double>{121.0, 121.001, 121.0015} << QList<double>{121.0};
    QTest::newRow("0.11 NM from the last point adds one")
        << QList<double>{121.0, 121.001, 121.0022} << QList<double>{121.0, 121.0022};
    QTest::newRow("steady flight") << QList<double>{121.0, 121.01, 121.02, 121.03}
                                   << QList<double>{121.0, 121.01, 121.02, 121.03};
    QTest::newRow("a jump over 5 NM starts again")
        << QList<double>{121.0, 121.01, 121.02, 121.5, 121.51} << QList<double>{121.5, 121.51};
}

void TestMapTab::samplesBuildTheTrack()
{
    QFETCH(QList<double>, samples);
    QFETCH(QList<double>, track);
    // A backend without a position yet reports 0/0: no aircraft, no track.
    m_tab->setAircraftData(AircraftData());
    QVERIFY(m_tab->trackPoints().isEmpty());
    for (const double lon : samples)
        m_tab->setAircraftData(sample(31.0, lon));
    QList<double> got;
    for (const QPointF &p : m_tab->trackPoints())
        got << p.y();
    QCOMPARE(got, track);
    m_tab->findChild<QToolButton *>(QStringLiteral("clearTrackButton"))->click();
    QVERIFY(m_tab->trackPoints().isEmpty());
}

void TestMapTab::followKeepsTheAircraftCentredUntilTheMapIsDragged()
{
    MapWidget *map = m_tab->mapWidget();
    map->setCenter(QPointF(30.0, 110.0));
    m_tab->setAircraftData(sample(31.2, 121.4));
    QCOMPARE(map->centerLatLon(), QPointF(30.0, 110.0));

    auto *follow = m_tab->findChild<QToolButton *>(QStringLiteral("followButton"));
    follow->click();
    QVERIFY(m_tab->isFollowingAircraft());
    QCOMPARE(map->centerLatLon(), QPointF(31.2, 121.4));
    m_tab->setAircraftData(sample(31.25, 121.45));
    QCOMPARE(map->centerLatLon(), QPointF(31.25, 121.45));

    // A wheel step keeps following; the next sample brings the aircraft back to the middle.
    QWheelEvent wheel(QPointF(100, 100), map->mapToGlobal(QPointF(100, 100)), QPoint(), QPoint(0, 120), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(map, &wheel);
    QVERIFY(m_tab->isFollowingAircraft());
    m_tab->setAircraftData(sample(31.3, 121.5));
    QCOMPARE(map->centerLatLon(), QPointF(31.3, 121.5));

    // Dragging the map stops following.
    QTest::mousePress(map, Qt::LeftButton, Qt::NoModifier, QPoint(500, 300));
    QTest::mouseMove(map, QPoint(560, 340));
    QTest::mouseRelease(map, Qt::LeftButton, Qt::NoModifier, QPoint(560, 340));
    QVERIFY(!m_tab->isFollowingAircraft());
    QVERIFY(!follow->isChecked());
    const QPointF afterDrag = map->centerLatLon();
    m_tab->setAircraftData(sample(31.35, 121.55));
    QCOMPARE(map->centerLatLon(), afterDrag);
}

void TestMapTab::searchCentresOnTheAirport_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QPointF>("centre");
    QTest::newRow("ICAO code") << "ZSPD" << QPointF(31.1434, 121.8052);
    QTest::newRow("lower case code") << "zbaa" << QPointF(40.0801, 116.5846);
    QTest::newRow("city") << "Guangzhou" << QPointF(23.3925, 113.2988);
    QTest::newRow("completion entry") << "ZSSS  Shanghai Hongqiao International Airport" << QPointF(31.1979, 121.3363);
    QTest::newRow("unknown") << "XQZW" << QPointF();
}

void TestMapTab::searchCentresOnTheAirport()
{
    QFETCH(QString, typed);
    QFETCH(QPointF, centre);
    MapWidget *map = m_tab->mapWidget();
    const QPointF before(20.0, 100.0);
    map->setCenter(before);
    map->setZoom(6);
    auto *search = m_tab->findChild<QLineEdit *>(QStringLiteral("airportSearch"));
    // Set rather than typed: typing would open the completion list, a popup the offscreen
    // platform complains about.
    search->setText(typed);
    QTest::keyClick(search, Qt::Key_Return);

    const QString note = m_tab->findChild<QLabel *>(QStringLiteral("searchNote"))->text();
    if (centre.isNull()) {
        QCOMPARE(map->centerLatLon(), before);
        QCOMPARE(map->zoomLevel(), 6);
        QCOMPARE(note, QStringLiteral("未找到机场"));
    } else {
        QCOMPARE(map->centerLatLon(), centre);
        QCOMPARE(map->zoomLevel(), MapTab::kAirportZoom);
        QVERIFY(note.isEmpty());
    }
}

void TestMapTab::searchOffersMatchingAirports()
{
    auto *search = m_tab->findChild<QLineEdit *>(QStringLiteral("airportSearch"));
    const QAbstractItemModel *offered = search->completer()->model();
    // What an edit asks for; no popup is opened, the list is only filled.
    emit search->textEdited(QStringLiteral("shang"));
    QStringList entries;
    for (int row = 0; row < offered->rowCount(); ++row)
        entries << offered->index(row, 0).data().toString();
    entries.sort();
    QCOMPARE(entries, (QStringList{"ZSPD  Shanghai Pudong International Airport",
                                   "ZSSS  Shanghai Hongqiao International Airport"}));
    emit search->textEdited(QStringLiteral("z"));
    QCOMPARE(offered->rowCount(), 0); // one letter is too little to search
}

void TestMapTab::toolBarDrivesStyleZoomAndLayers()
{
    MapWidget *map = m_tab->mapWidget();
    auto *style = m_tab->findChild<QComboBox *>(QStringLiteral("styleBox"));
    style->setCurrentIndex(style->findText(QStringLiteral("浅色")));
    QCOMPARE(map->mapStyle(), MapWidget::LightPlain);
    QVERIFY(!map->isLayerVisible(QStringLiteral("tiles")));

    map->setZoom(18);
    m_tab->findChild<QToolButton *>(QStringLiteral("zoomInButton"))->click();
    QCOMPARE(map->zoomLevel(), 18);
    m_tab->findChild<QToolButton *>(QStringLiteral("zoomOutButton"))->click();
    QCOMPARE(map->zoomLevel(), 17);
    QCOMPARE(m_tab->findChild<QLabel *>(QStringLiteral("zoomLabel"))->text(), QStringLiteral("Z 17"));

    auto *airways = m_tab->findChild<QAction *>(QStringLiteral("layer_airways_high"));
    QVERIFY(airways && airways->isChecked());
    airways->trigger();
    QVERIFY(!map->isLayerVisible(QStringLiteral("airways_high")));
    auto *remote = m_tab->findChild<QAction *>(QStringLiteral("layer_remote"));
    remote->trigger();
    QVERIFY(!map->isLayerVisible(QStringLiteral("remote")));
}

// The station switches its provider to the navigation service while the map stands still (no
// simulator moving it): the map must ask for what it shows rather than stay empty until panned.
void TestMapTab::choosingTheOnlineServiceAsksForTheView()
{
    QTemporaryDir dir;
    QVERIFY(navservicetest::writeSampleDatabase(dir.filePath("served.db")));
    QVERIFY(navservicetest::writeTokens(dir.filePath("tokens"), "map-token\n"));
    navservicetest::NavdProcess navd;
    QVERIFY2(navd.start(ZOBREL_NAVD_EXECUTABLE,
                        {"--db", "xplane11=" + dir.filePath("served.db"), "--tokens", dir.filePath("tokens")}),
             navd.errors());
    NavDataProvider online;
    online.initializeOffline();
    m_tab->setNavDataProvider(&online);
    m_tab->mapWidget()->setZoom(9);
    m_tab->mapWidget()->setCenter(QPointF(31.15, 121.6));
    QTest::qWait(700); // past any debounce: nothing to ask an offline provider
    online.initializeOnline(navd.baseUrl(), "map-token", "xplane11", dir.filePath("cache"));
    QSignalSpy changed(&online, &NavDataProvider::dataChanged);
    m_tab->refreshNavData(); // what the station does when its navigation data source changed
    QTRY_VERIFY_WITH_TIMEOUT(!online.airportsInBounds(31.0, 121.0, 31.3, 122.0).isEmpty(), 10000);
    QVERIFY(changed.count() > 0);
    m_tab->setNavDataProvider(m_nav.get());
}

QTEST_MAIN(TestMapTab)
#include "tst_maptab.moc"
