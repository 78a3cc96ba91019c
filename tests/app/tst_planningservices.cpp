#include "app/planningservices.h"
#include "control/fuelmanager.h"
#include "control/positionaircraft.h"
#include "map/mapwidget.h"
#include "nav/navdataprovider.h"
#include "plan/airwaypathfinder.h"
#include "sim/simoperationdispatcher.h"
#include "sim/xplanebackend.h"
#include "tests/support/logexpect.h"
#include "ui/flightplantab.h"
#include "ui/maptab.h"
#include "ui/weathertab.h"
#include "weather/weatherservice.h"

#include <QDoubleSpinBox>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <memory>

// The planning services of the station against the demo simulator running as its own process:
// the airway graph from the loaded data, a plan built in the tab and drawn on the map, the
// aircraft placed at a route point, a weather injected from the weather tab, and an OFP's fuel
// loaded, each seen in the simulator's next samples.
class TestPlanningServices : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }

    void airwayGraphFollowsTheLoadedData();
    void planOnTheMapAndAircraftAtARoutePoint();
    void injectedWeatherShowsInTheNextSamples();
    void ofpFuelLoadsInOneStep();

private:
    AircraftData sample() const { return m_backend->aircraftData(); }
    // For a look at the tabs at work: written only when ZOBREL_TEST_SCREENSHOTS names a folder.
    static void saveScreenshot(QWidget *widget, const QString &name)
    {
        const QString folder = qEnvironmentVariable("ZOBREL_TEST_SCREENSHOTS");
        if (!folder.isEmpty())
            widget->grab().save(folder + QLatin1Char('/') + name);
    }
    template <typename T> T *weatherChild(const char *name) const
    {
        return m_services->weatherTab()->findChild<T *>(QLatin1String(name));
    }
    template <typename T> T *planChild(const char *name) const
    {
        return m_services->flightPlanTab()->findChild<T *>(QLatin1String(name));
    }

    QTemporaryDir m_dir;
    QProcess m_sim;
    std::unique_ptr<NavDataProvider> m_nav;
    std::unique_ptr<QWidget> m_host;
    MapTab *m_mapTab = nullptr;
    std::unique_ptr<XPlaneBackend> m_backend;
    std::unique_ptr<SimOperationDispatcher> m_dispatcher;
    std::unique_ptr<PositionAircraft> m_positioning;
    std::unique_ptr<FuelManager> m_fuel;
    std::unique_ptr<PlanningServices> m_services;
};

void TestPlanningServices::initTestCase()
{
    m_sim.setProgram(QStringLiteral(XPSIM_PATH));
    m_sim.setArguments({"--port", "0", "--quiet"});
    m_sim.start();
    QVERIFY2(m_sim.waitForStarted(5000), qPrintable(m_sim.errorString()));
    QTRY_VERIFY_WITH_TIMEOUT(m_sim.canReadLine(), 5000);
    const QString line = QString::fromUtf8(m_sim.readLine()).trimmed();
    const auto match = QRegularExpression(QStringLiteral(":(\\d+)$")).match(line);
    QVERIFY2(match.hasMatch(), qPrintable(line));

    m_nav = std::make_unique<NavDataProvider>();
    m_nav->initializeOffline();
    m_nav->loadSampleData();
    const QString ini = m_dir.filePath(QStringLiteral("Zobrel.ini"));
    m_services = std::make_unique<PlanningServices>(m_nav.get(), ini);
    // The tabs go into a plain host: a top-level with layouts warns on the offscreen platform.
    m_host = std::make_unique<QWidget>();
    m_host->setAttribute(Qt::WA_DontShowOnScreen);
    m_host->resize(1200, 800);
    m_mapTab = new MapTab(m_host.get());
    m_mapTab->setGeometry(0, 0, 1200, 800);
    m_mapTab->setMapStyle(MapWidget::DarkPlain); // no tiles: there is no internet here
    m_mapTab->setNavDataProvider(m_nav.get());
    m_services->flightPlanTab()->setParent(m_host.get());
    m_services->flightPlanTab()->setGeometry(0, 0, 1200, 800);
    m_services->weatherTab()->setParent(m_host.get());
    m_services->weatherTab()->setGeometry(0, 0, 1200, 800);
    m_services->attachMap(m_mapTab);
    m_host->show();

    m_backend = std::make_unique<XPlaneBackend>();
    m_backend->setHost(QStringLiteral("127.0.0.1"), quint16(match.captured(1).toUInt()));
    m_backend->setLocalPort(0);
    m_backend->setXPlaneVersion(11);
    m_dispatcher = std::make_unique<SimOperationDispatcher>();
    m_dispatcher->setLocalBackend(m_backend.get());
    m_positioning = std::make_unique<PositionAircraft>();
    m_positioning->setBackend(m_backend.get());
    m_positioning->setDispatcher(m_dispatcher.get());
    m_fuel = std::make_unique<FuelManager>(ini);
    m_fuel->setBackend(m_backend.get());
    m_fuel->setDispatcher(m_dispatcher.get());
    m_services->setBackend(m_backend.get());
    m_services->setControls(m_dispatcher.get(), m_positioning.get(), m_fuel.get());
    QVERIFY(m_backend->connect());
    QTRY_VERIFY_WITH_TIMEOUT(m_backend->isConnected() && sample().lat != 0.0, 5000);
}

void TestPlanningServices::cleanupTestCase()
{
    m_services.reset();
    m_host.reset();
    if (m_backend)
        m_backend->disconnect();
    m_sim.terminate();
    if (!m_sim.waitForFinished(3000)) {
        m_sim.kill();
        m_sim.waitForFinished(3000);
    }
}

void TestPlanningServices::airwayGraphFollowsTheLoadedData()
{
    QSignalSpy rebuilt(m_services.get(), &PlanningServices::airwayGraphRebuilt);
    m_services->rebuildAirwayGraph();
    m_services->rebuildAirwayGraph(); // asked again while building: one more build follows
    QTRY_COMPARE_WITH_TIMEOUT(rebuilt.count(), 2, 5000);
    // The sample airways join PEK, ODULO, SHA, DUMET, ELATO, BEKOL and CAN.
    QCOMPARE(rebuilt.last().at(0).toInt(), 7);
    QVERIFY(m_services->pathfinder());
    QVERIFY(!m_services->isGraphBuilding());
}

void TestPlanningServices::planOnTheMapAndAircraftAtARoutePoint()
{
    QVERIFY(m_services->pathfinder());
    planChild<QLineEdit>("departureEdit")->setText(QStringLiteral("ZSPD"));
    planChild<QLineEdit>("destinationEdit")->setText(QStringLiteral("ZBAA"));
    planChild<QSpinBox>("cruiseSpin")->setValue(9000);
    planChild<QPushButton>("buildRouteButton")->click();
    const FlightPlan plan = m_services->flightPlanTab()->plan();
    QStringList idents;
    for (const FlightPlanWaypoint &w : plan.waypoints)
        idents.append(w.ident);
    QCOMPARE(idents, QStringList({"ZSPD", "SHA", "ODULO", "PEK", "ZBAA"}));
    QCOMPARE(plan.waypoints.at(2).airway, QStringLiteral("G330"));
    QCOMPARE(m_mapTab->mapWidget()->routePoints().size(), 5);
    QCOMPARE(m_services->weatherTab()->airports(), QStringList({"ZSPD", "ZBAA"}));

    // ODULO, on its course to PEK, at the cruise altitude.
    m_services->flightPlanTab()->selectWaypoint(2);
    planChild<QPushButton>("placeAtWaypointButton")->click();
    QTRY_VERIFY_WITH_TIMEOUT(std::abs(sample().lat - 33.1667) < 0.05 && std::abs(sample().lon - 121.6283) < 0.05, 5000);
    QVERIFY2(std::abs(sample().alt - 9000.0) < 600.0, qPrintable(QString::number(sample().alt)));
    QVERIFY2(m_services->flightPlanTab()->statusText().contains(QStringLiteral("33.16")),
             qPrintable(m_services->flightPlanTab()->statusText()));

    // The distance box's miles before the arrival (no procedures here: the destination itself),
    // on the descent profile down to the field.
    const FlightPlanWaypoint &zbaa = plan.waypoints.last();
    planChild<QSpinBox>("approachDistanceSpin")->setValue(12);
    planChild<QPushButton>("placeBeforeApproachButton")->click();
    QTRY_VERIFY_WITH_TIMEOUT(
        std::abs(FlightPlan::distanceNm(sample().lat, sample().lon, zbaa.lat, zbaa.lon) - 12.0) < 0.5, 5000);
    QVERIFY2(std::abs(sample().alt - (zbaa.altitudeFt + 12.0 * RoutePlanner::kDescentFtPerNm)) < 600.0,
             qPrintable(QString::number(sample().alt)));

    // The departure airport: on the ground there.
    m_services->flightPlanTab()->selectWaypoint(0);
    planChild<QPushButton>("placeAtWaypointButton")->click();
    QTRY_VERIFY_WITH_TIMEOUT(sample().onGround &&
                                 FlightPlan::distanceNm(sample().lat, sample().lon, plan.waypoints.first().lat,
                                                        plan.waypoints.first().lon) < 1.0,
                             5000);
    saveScreenshot(m_services->flightPlanTab(), QStringLiteral("flightplan-tab.png"));
    m_mapTab->mapWidget()->setCenter(QPointF(35.6, 119.2));
    m_mapTab->mapWidget()->setZoom(6);
    saveScreenshot(m_mapTab, QStringLiteral("map-with-route.png"));
}

void TestPlanningServices::injectedWeatherShowsInTheNextSamples()
{
    // Near the ground, where the demo's wind is the surface wind.
    m_positioning->positionAt(31.3, 121.6, 1500.0, 90.0);
    QTRY_VERIFY_WITH_TIMEOUT(std::abs(sample().lat - 31.3) < 0.05, 5000);
    weatherChild<QSpinBox>("windDirSpin")->setValue(250);
    weatherChild<QSpinBox>("windSpeedSpin")->setValue(20);
    weatherChild<QSpinBox>("windGustSpin")->setValue(0);
    weatherChild<QSpinBox>("visibilitySpin")->setValue(3000);
    weatherChild<QDoubleSpinBox>("qnhSpin")->setValue(990.0);
    weatherChild<QPushButton>("injectManualButton")->click();
    QVERIFY2(m_services->weatherTab()->statusText().contains(QStringLiteral("已注入")),
             qPrintable(m_services->weatherTab()->statusText()));
    // The demo lets the values wander a little around what was set: a few degrees of wind, up to
    // a sixth of the visibility, a third of a hectopascal.
    const auto turned = [](double a, double b) { return std::abs(std::remainder(a - b, 360.0)); };
    QTRY_VERIFY_WITH_TIMEOUT(std::abs(sample().baroSea - 990.0) < 0.5, 5000);
    QTRY_VERIFY_WITH_TIMEOUT(turned(sample().windDir, 250.0) < 15.0, 5000);
    QTRY_VERIFY_WITH_TIMEOUT(std::abs(sample().windSpd - 20.0) < 7.0, 5000);
    QTRY_VERIFY_WITH_TIMEOUT(sample().vis > 2400.0 && sample().vis <= 3001.0, 5000);
    saveScreenshot(m_services->weatherTab(), QStringLiteral("weather-tab.png"));
}

void TestPlanningServices::ofpFuelLoadsInOneStep()
{
    QTRY_VERIFY_WITH_TIMEOUT(!m_fuel->tanks().isEmpty() && m_fuel->totalCapacity() > 0.0, 5000);
    SimBriefService::OFPData ofp;
    ofp.origin = QStringLiteral("ZSPD");
    ofp.destination = QStringLiteral("ZBAA");
    ofp.route = QStringLiteral("SHA G330 ODULO G212 PEK");
    ofp.flightLevel = 90;
    ofp.weightUnit = QStringLiteral("lbs");
    // Half the aircraft's capacity, given in pounds.
    const double wantedGal = m_fuel->totalCapacity() / 2.0;
    ofp.rampFuel = wantedGal * kFuelKgPerUsGallon / SimBriefService::kKgPerLb;
    ofp.payload = 400;
    ofp.valid = true;
    m_services->flightPlanTab()->onOfpReceived(ofp);
    QPushButton *load = planChild<QPushButton>("loadOfpFuelButton");
    QVERIFY(load->isEnabled());
    load->click();
    QVERIFY2(m_services->flightPlanTab()->statusText().contains(QString::number(qRound(wantedGal))),
             qPrintable(m_services->flightPlanTab()->statusText()));
    QTRY_VERIFY_WITH_TIMEOUT(std::abs(sample().fuelTotal - wantedGal) < 0.02 * wantedGal, 5000);
}

QTEST_MAIN(TestPlanningServices)
#include "tst_planningservices.moc"
