#include "map/mappalette.h"
#include "map/mapwidget.h"
#include "map/routeoverlay.h"
#include "nav/navdataprovider.h"
#include "plan/airwaypathfinder.h"
#include "tests/plan/plantestdb.h"
#include "tests/support/localhttpserver.h"
#include "tests/support/logexpect.h"
#include "ui/flightplantab.h"
#include "ui/maptab.h"

#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

// The flight-plan tab in a real window on the East China excerpt: planning from the form,
// importing and exporting files, OFPs from a local server, editing legs, and the route on the map.
class TestFlightPlanTab : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void plansFromTheForm();
    void filesInAndOut();
    void ofpFromTheServiceAndItsFuel();
    void legsCanBeEdited();
    void routeOnTheMap();

private:
    template <typename T> T *child(const char *name) const { return m_tab->findChild<T *>(QLatin1String(name)); }
    void chooseText(const char *box, const QString &text);

    QTemporaryDir m_dir;
    std::unique_ptr<OfflineNavDataProvider> m_nav;
    AirwayPathfinder m_pathfinder;
    std::unique_ptr<RoutePlanner> m_planner;
    std::unique_ptr<QWidget> m_host;
    FlightPlanTab *m_tab = nullptr;
};

void TestFlightPlanTab::initTestCase()
{
    qRegisterMetaType<FlightPlan>();
    qRegisterMetaType<SimBriefService::OFPData>();
    m_nav = std::make_unique<OfflineNavDataProvider>();
    QVERIFY(buildPlanTestDatabase(m_dir.filePath(QStringLiteral("nav.db")), m_nav.get()));
    m_pathfinder.setSegments(AirwayPathfinder::segmentsFrom(m_nav->airways()));
    m_planner = std::make_unique<RoutePlanner>(m_nav.get(), &m_pathfinder);
}

void TestFlightPlanTab::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
    // Shown inside a plain host: a top-level with layouts warns on the offscreen platform.
    m_host = std::make_unique<QWidget>();
    m_host->setAttribute(Qt::WA_DontShowOnScreen);
    m_host->resize(1200, 700);
    m_tab = new FlightPlanTab(m_host.get());
    m_tab->setGeometry(0, 0, 1200, 700);
    m_tab->setRoutePlanner(m_planner.get());
    m_host->show();
}

void TestFlightPlanTab::cleanup()
{
    m_host.reset();
    m_tab = nullptr;
}

void TestFlightPlanTab::chooseText(const char *name, const QString &text)
{
    auto *box = child<QComboBox>(name);
    QVERIFY2(box, name);
    const int index = box->findText(text);
    QVERIFY2(index > 0, qPrintable(QStringLiteral("%1 has no %2").arg(name, text)));
    box->setCurrentIndex(index);
}

void TestFlightPlanTab::plansFromTheForm()
{
    QSignalSpy changed(m_tab, &FlightPlanTab::planChanged);
    auto *departure = child<QLineEdit>("departureEdit");
    auto *destination = child<QLineEdit>("destinationEdit");
    departure->setText(QStringLiteral("zspd"));
    emit departure->editingFinished();
    destination->setText(QStringLiteral("ZBAA"));
    emit destination->editingFinished();
    chooseText("departureRunwayBox", QStringLiteral("35L"));
    // Only the SID of the chosen runway is offered.
    QCOMPARE(child<QComboBox>("sidBox")->count(), 2);
    chooseText("sidBox", QStringLiteral("POMO1A"));
    chooseText("destinationRunwayBox", QStringLiteral("36R"));
    chooseText("starBox", QStringLiteral("VYK1A"));
    chooseText("approachBox", QStringLiteral("I36R"));
    chooseText("approachTransitionBox", QStringLiteral("WFNB"));
    child<QSpinBox>("cruiseSpin")->setValue(29100);
    child<QPushButton>("buildRouteButton")->click();

    QCOMPARE(changed.count(), 1);
    const FlightPlan plan = m_tab->plan();
    QCOMPARE(plan.sid, QStringLiteral("POMO1A"));
    QCOMPARE(plan.approachTransition, QStringLiteral("WFNB"));
    auto *table = child<QTableWidget>("legTable");
    QCOMPARE(table->rowCount(), plan.waypoints.size());
    QCOMPARE(table->item(1, 0)->text(), QStringLiteral("PUD"));
    // The last row's cumulative distance is the plan's length.
    QCOMPARE(table->item(table->rowCount() - 1, 8)->text(), QString::number(plan.totalDistanceNm(), 'f', 1));
    QVERIFY(!child<QLineEdit>("routeEdit")->text().isEmpty());

    // A route text the data cannot follow leaves the plan as it was.
    child<QLineEdit>("routeEdit")->setText(QStringLiteral("POMOK Q999 PIMOL"));
    child<QPushButton>("buildRouteButton")->click();
    QCOMPARE(changed.count(), 1);
    QVERIFY2(m_tab->statusText().contains(QStringLiteral("Q999")), qPrintable(m_tab->statusText()));
    QCOMPARE(m_tab->plan(), plan);
}

void TestFlightPlanTab::filesInAndOut()
{
    const QString pln =
        QStringLiteral(SHARED_TESTDATA_DIR "/flightplans/aerofly-missions-fixtures/simbrief-mfs2024.pln");
    if (!QFile::exists(pln))
        QSKIP("shared test data not present");
    QVERIFY(m_tab->importFile(pln));
    const FlightPlan imported = m_tab->plan();
    QCOMPARE(imported.waypoints.size(), 9);
    // Placed from the navigation data, except two fixes newer than the 2016 data.
    for (const FlightPlanWaypoint &w : imported.waypoints)
        QCOMPARE(w.positioned, w.ident != QLatin1String("AMRIV") && w.ident != QLatin1String("MOMIC"));
    QVERIFY(m_tab->statusText().contains(QStringLiteral("2")));
    QCOMPARE(child<QLineEdit>("departureEdit")->text(), QStringLiteral("EKRK"));

    const QString fms = m_dir.filePath(QStringLiteral("out.fms"));
    QVERIFY(m_tab->exportFile(fms, FlightPlanFile::Format::Fms));
    FlightPlan back;
    QString error;
    QVERIFY2(FlightPlanFile::read(fms, &back, &error), qPrintable(error));
    QCOMPARE(back.waypoints.size(), imported.waypoints.size());
    QCOMPARE(back.star, QStringLiteral("SUMU1C"));

    QVERIFY(!m_tab->importFile(m_dir.filePath(QStringLiteral("missing.pln"))));
    QVERIFY(m_tab->statusText().contains(QStringLiteral("missing.pln")));
    QCOMPARE(m_tab->plan(), imported);
}

void TestFlightPlanTab::ofpFromTheServiceAndItsFuel()
{
    QFile file(QStringLiteral(SHARED_TESTDATA_DIR "/simbrief/simbrief2fgfs-LEBLLQSA_XML_1607637506.xml"));
    if (!file.open(QIODevice::ReadOnly))
        QSKIP("shared test data not present");
    LocalHttpServer server;
    QVERIFY(server.listen());
    server.setBody(QStringLiteral("/api/xml.fetcher.php"), file.readAll());
    SimBriefService service;
    service.setHost(QUrl(server.baseUrl()));
    m_tab->setSimBriefService(&service);
    QSignalSpy changed(m_tab, &FlightPlanTab::planChanged);
    QSignalSpy load(m_tab, &FlightPlanTab::ofpLoadRequested);
    auto *loadButton = child<QPushButton>("loadOfpFuelButton");
    QVERIFY(!loadButton->isEnabled());

    child<QLineEdit>("simbriefUserEdit")->setText(QStringLiteral("pilot1"));
    child<QPushButton>("fetchOfpButton")->click();
    QVERIFY(changed.wait(5000));
    QCOMPARE(m_tab->plan().departure, QStringLiteral("LEBL"));
    QCOMPARE(m_tab->plan().waypoints.size(), 16);
    QCOMPARE(m_tab->groundSpeedKt(), 472.0); // the OFP's cruise speed times the legs
    QVERIFY(child<QLabel>("ofpSummary")->text().contains(QStringLiteral("45434 lbs")));
    QVERIFY(loadButton->isEnabled());
    loadButton->click();
    QCOMPARE(load.count(), 1);
    QCOMPARE(load.at(0).at(0).value<SimBriefService::OFPData>().rampFuel, 45434.0);

    // An empty user name fails before the network.
    child<QLineEdit>("simbriefUserEdit")->clear();
    child<QPushButton>("fetchOfpButton")->click();
    QVERIFY(m_tab->statusText().contains(QStringLiteral("用户名不能为空")));
}

void TestFlightPlanTab::legsCanBeEdited()
{
    RoutePlanner::Request request;
    request.departure = QStringLiteral("ZSPD");
    request.destination = QStringLiteral("ZBAA");
    request.route = QStringLiteral("POMOK G330 PIMOL");
    request.cruiseAltitudeFt = 25000;
    m_tab->setPlan(m_planner->planRoute(request).plan);
    auto idents = [this] {
        QStringList list;
        for (const FlightPlanWaypoint &w : m_tab->plan().waypoints)
            list.append(w.ident);
        return list;
    };
    QCOMPARE(idents(), QStringList({"ZSPD", "POMOK", "PIKAS", "UNTAN", "PIMOL", "ZBAA"}));

    // Removing PIKAS: UNTAN is now reached directly.
    m_tab->selectWaypoint(2);
    child<QPushButton>("removeWaypointButton")->click();
    QCOMPARE(idents(), QStringList({"ZSPD", "POMOK", "UNTAN", "PIMOL", "ZBAA"}));
    QVERIFY(m_tab->plan().waypoints.at(2).airway.isEmpty());
    QCOMPARE(m_tab->plan().waypoints.at(3).airway, QStringLiteral("G330"));

    // Inserting a typed fix after the selected one, at the position the data gives it.
    m_tab->selectWaypoint(1);
    child<QLineEdit>("insertIdentEdit")->setText(QStringLiteral("pud"));
    child<QPushButton>("insertWaypointButton")->click();
    QCOMPARE(idents(), QStringList({"ZSPD", "POMOK", "PUD", "UNTAN", "PIMOL", "ZBAA"}));
    QCOMPARE(m_tab->plan().waypoints.at(2).type, FlightPlanWaypoint::Type::Vor);
    QCOMPARE(m_tab->plan().waypoints.at(2).lat, 31.168333);

    child<QPushButton>("moveDownButton")->click(); // PUD is selected
    QCOMPARE(idents(), QStringList({"ZSPD", "POMOK", "UNTAN", "PUD", "PIMOL", "ZBAA"}));
    QCOMPARE(m_tab->selectedIndex(), 3);

    // The altitude column is editable.
    auto *table = child<QTableWidget>("legTable");
    table->item(3, 4)->setText(QStringLiteral("12000"));
    QTRY_COMPARE(m_tab->plan().waypoints.at(3).altitudeFt, 12000.0);

    // A point dragged on the map leaves its airway.
    m_tab->moveWaypoint(4, 32.0, 120.0);
    const FlightPlanWaypoint moved = m_tab->plan().waypoints.at(4);
    QCOMPARE(moved.type, FlightPlanWaypoint::Type::User);
    QCOMPARE(moved.lat, 32.0);
    QVERIFY(moved.airway.isEmpty());
}

void TestFlightPlanTab::routeOnTheMap()
{
    RoutePlanner::Request request;
    request.departure = QStringLiteral("ZSPD");
    request.departureRunway = QStringLiteral("35L");
    request.sid = QStringLiteral("POMO1A");
    request.destination = QStringLiteral("ZBAA");
    request.cruiseAltitudeFt = 29100;
    const FlightPlan plan = m_planner->planRoute(request).plan;

    // The map reads navigation data through the station's facade, on the same database.
    NavDataProvider mapNav;
    mapNav.initializeOffline();
    QVERIFY(mapNav.loadFromDatabase(m_dir.filePath(QStringLiteral("nav.db"))));
    QWidget host;
    host.setAttribute(Qt::WA_DontShowOnScreen);
    host.resize(1000, 800);
    MapTab &mapTab = *new MapTab(&host);
    mapTab.setGeometry(0, 0, 1000, 800);
    mapTab.setNavDataProvider(&mapNav);
    mapTab.setMapStyle(MapWidget::DarkPlain);
    host.show();
    connect(m_tab, &FlightPlanTab::planChanged, &mapTab, [&mapTab, this](const FlightPlan &p) {
        RouteOverlay::show(mapTab.mapWidget(), p, m_tab->groundSpeedKt());
    });
    connect(&mapTab, &MapTab::routePointMoved, m_tab, &FlightPlanTab::moveWaypoint);
    m_tab->setPlan(plan);

    MapWidget *map = mapTab.mapWidget();
    QCOMPARE(map->routePoints().size(), plan.waypoints.size());
    QCOMPARE(map->routePoints().first().role, MapRoutePoint::Role::Origin);
    QCOMPARE(map->routePoints().at(1).role, MapRoutePoint::Role::Sid);
    QCOMPARE(map->routePoints().last().role, MapRoutePoint::Role::Destination);
    const QList<MapRouteLegTag> tags = map->routeLegTags();
    QCOMPARE(tags.size(), plan.waypoints.size() - 1);
    const QList<FlightPlanLeg> legs = plan.legs(FlightPlanTab::kDefaultGroundSpeedKt);
    QCOMPARE(tags.last().text, RouteOverlay::legText(legs.last().distanceNm, legs.last().minutes));
    QVERIFY(tags.last().text.contains(QStringLiteral(" nm ")));

    // A route point dragged on the map moves the plan's point.
    emit mapTab.routePointMoved(3, 33.0, 119.5);
    QCOMPARE(m_tab->plan().waypoints.at(3).lat, 33.0);
    QCOMPARE(map->routePoints().at(3).lat, 33.0);

    map->setCenter(QPointF(35.6, 119.2));
    map->setZoom(6);
    const QImage image = map->grab().toImage();
    QVERIFY(!image.isNull());
    if (!qEnvironmentVariableIsEmpty("ZOBREL_TEST_SCREENSHOTS"))
        image.save(qEnvironmentVariable("ZOBREL_TEST_SCREENSHOTS") + QStringLiteral("/map-route.png"));
    // The route line is drawn: many pixels carry the route's colour.
    const QColor ink = MapPalette::forStyle(MapWidget::DarkPlain).route;
    int inked = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            inked += image.pixelColor(x, y) == ink;
    }
    QVERIFY2(inked > 300, qPrintable(QString::number(inked)));
}

QTEST_MAIN(TestFlightPlanTab)
#include "tst_flightplantab.moc"
