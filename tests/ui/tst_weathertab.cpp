#include "tests/plan/plantestdb.h"
#include "tests/support/localhttpserver.h"
#include "tests/support/logexpect.h"
#include "ui/weathertab.h"
#include "weather/weatherservice.h"

#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <memory>

// The weather tab in a real window: METARs of the plan's airports and the watched ones from a
// local server playing the METAR endpoint, the decoded display, the editor's presets, and what is
// handed to the injection.
class TestWeatherTab : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void fetchesAndDecodesTheRouteAirports();
    void watchedAirportsJoinTheList();
    void presetsAndEditor();
    void injectionNeedsASimulator();

private:
    template <typename T> T *child(const char *name) const { return m_tab->findChild<T *>(QLatin1String(name)); }

    QTemporaryDir m_dir;
    std::unique_ptr<OfflineNavDataProvider> m_nav;
    std::unique_ptr<LocalHttpServer> m_server;
    std::unique_ptr<WeatherService> m_service;
    std::unique_ptr<QWidget> m_host;
    WeatherTab *m_tab = nullptr;
};

void TestWeatherTab::initTestCase()
{
    qRegisterMetaType<MetarData>();
    m_nav = std::make_unique<OfflineNavDataProvider>();
    QVERIFY(buildPlanTestDatabase(m_dir.filePath(QStringLiteral("nav.db")), m_nav.get()));
}

void TestWeatherTab::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
    m_server = std::make_unique<LocalHttpServer>();
    QVERIFY(m_server->listen());
    m_service = std::make_unique<WeatherService>();
    m_service->setHost(QUrl(m_server->baseUrl()));
    // Shown inside a plain host: a top-level with layouts warns on the offscreen platform.
    m_host = std::make_unique<QWidget>();
    m_host->setAttribute(Qt::WA_DontShowOnScreen);
    m_host->resize(1100, 650);
    m_tab = new WeatherTab(m_host.get());
    m_tab->setGeometry(0, 0, 1100, 650);
    m_tab->setNavData(m_nav.get());
    m_tab->setWeatherService(m_service.get());
    m_host->show();
}

void TestWeatherTab::cleanup()
{
    m_host.reset();
    m_tab = nullptr;
    m_service.reset();
    m_server.reset();
}

void TestWeatherTab::fetchesAndDecodesTheRouteAirports()
{
    // One body for both: the endpoint answers the first line for whichever station is asked.
    m_server->setBody(QStringLiteral("/metar.php"),
                      "ZBAA 271200Z 36008G18KT 320V040 9999 -SN FEW030 BKN080 M05/M12 Q1032 NOSIG\n");
    m_tab->setRouteAirports(QStringLiteral("zspd"), QStringLiteral("35L"), QStringLiteral("ZBAA"));
    QCOMPARE(m_tab->airports(), QStringList({"ZSPD", "ZBAA"}));
    QSignalSpy received(m_service.get(), &WeatherService::metarReceived);
    child<QPushButton>("fetchMetarButton")->click();
    QTRY_COMPARE_WITH_TIMEOUT(received.count(), 2, 5000);
    m_tab->selectAirport(QStringLiteral("ZBAA"));
    const QString decoded = m_tab->decodedText();
    for (const char *part :
         {"360° 8 kt", "18 kt", "9999 m", "-SN", "FEW 3000 ft", "BKN 8000 ft", "-5 / -12", "1032 hPa"})
        QVERIFY2(decoded.contains(QString::fromUtf8(part)), qPrintable(decoded + " lacks " + part));
    QCOMPARE(child<QPlainTextEdit>("rawMetar")->toPlainText(), m_service->lastMetar("ZBAA").raw);
    QVERIFY(child<QListWidget>("airportList")->item(1)->text().contains(QStringLiteral("271200Z")));
    if (!qEnvironmentVariableIsEmpty("ZOBREL_TEST_SCREENSHOTS"))
        m_tab->grab().save(qEnvironmentVariable("ZOBREL_TEST_SCREENSHOTS") + QStringLiteral("/weather-metar.png"));

    // Its weather with cloud bases above the airport's elevation (115 ft in the data).
    const WeatherState w = m_tab->selectedMetarWeather();
    QCOMPARE(w.clouds.size(), 2);
    QCOMPARE(w.clouds[0].baseFt, 3000.0 + 115.0);
    QCOMPARE(w.windGustKt, 18.0);

    // Copied into the editor, it is what the editor gives back.
    child<QPushButton>("copyToManualButton")->click();
    const WeatherState edited = m_tab->manualWeather();
    QCOMPARE(edited.windDirDeg, 0.0);
    QCOMPARE(edited.windSpeedKt, 8.0);
    QCOMPARE(edited.clouds.size(), 2);
    QCOMPARE(edited.clouds[1].cover, QStringLiteral("BKN"));
    QCOMPARE(edited.qnhHpa, 1032.0);
}

void TestWeatherTab::watchedAirportsJoinTheList()
{
    m_server->setBody(QStringLiteral("/metar.php"), "");
    m_tab->setRouteAirports(QStringLiteral("ZSPD"), QString(), QStringLiteral("ZBAA"));
    QSignalSpy failed(m_service.get(), &WeatherService::metarFailed);
    testlog::expectLogged(QStringLiteral("Weather"), QStringLiteral("Empty response"));
    child<QLineEdit>("watchEdit")->setText(QStringLiteral("zggg"));
    child<QPushButton>("watchAddButton")->click();
    QCOMPARE(m_tab->airports(), QStringList({"ZSPD", "ZBAA", "ZGGG"}));
    QCOMPARE(m_service->watchedAirports(), QStringList{QStringLiteral("ZGGG")});
    QVERIFY(failed.wait(5000)); // added airports are fetched at once; this server has nothing
    QCOMPARE(m_tab->selectedAirport(), QStringLiteral("ZGGG"));
    QVERIFY2(m_tab->decodedText().contains(QStringLiteral("Empty response")), qPrintable(m_tab->decodedText()));
    child<QPushButton>("watchRemoveButton")->click();
    QCOMPARE(m_tab->airports(), QStringList({"ZSPD", "ZBAA"}));
}

void TestWeatherTab::presetsAndEditor()
{
    m_tab->setRouteAirports(QStringLiteral("ZSPD"), QStringLiteral("35L"), QStringLiteral("ZBAA"));
    double heading = -1.0;
    for (const RunwayRecord &r : m_nav->runways(QStringLiteral("ZSPD"))) {
        if (r.ident == QLatin1String("35L"))
            heading = r.heading;
    }
    QVERIFY(heading >= 0.0);
    m_tab->applyPreset(WeatherTab::Preset::Crosswind);
    WeatherState w = m_tab->manualWeather();
    // Straight across runway 35L, rounded to the editor's whole degrees.
    QVERIFY2(std::abs(w.windDirDeg - std::fmod(heading + 90.0, 360.0)) <= 0.5,
             qPrintable(QString::number(w.windDirDeg)));
    QVERIFY(w.windGustKt > w.windSpeedKt);

    m_tab->applyPreset(WeatherTab::Preset::Fog);
    w = m_tab->manualWeather();
    QVERIFY(w.visibilityM < 800.0);
    QCOMPARE(w.clouds.value(0).cover, QStringLiteral("OVC"));
    QCOMPARE(w.clouds.value(0).baseFt, 13.0 + 100.0); // ZSPD is 13 ft above the sea

    m_tab->applyPreset(WeatherTab::Preset::Thunderstorm);
    w = m_tab->manualWeather();
    QCOMPARE(w.clouds.value(0).type, QStringLiteral("CB"));
    QCOMPARE(w.precipitation, 1.0);

    // Layers come out lowest first whatever row they were typed in; a dew point above the
    // temperature is not passed on.
    WeatherState typed;
    typed.clouds = {{QStringLiteral("OVC"), 9000, 0, QString()}, {QStringLiteral("FEW"), 1500, 0, QString()}};
    typed.temperatureC = 10;
    typed.dewpointC = 14;
    m_tab->setManualWeather(typed);
    w = m_tab->manualWeather();
    QCOMPARE(w.clouds.value(0).cover, QStringLiteral("FEW"));
    QCOMPARE(w.clouds.value(1).baseFt, 9000.0);
    QCOMPARE(w.dewpointC, 10.0);
}

void TestWeatherTab::injectionNeedsASimulator()
{
    QSignalSpy failed(m_service.get(), &WeatherService::injectionFailed);
    testlog::expectLogged(QStringLiteral("Weather"), QStringLiteral("Weather injection failed"));
    child<QPushButton>("injectManualButton")->click();
    QCOMPARE(failed.count(), 1);
    QVERIFY(m_tab->statusText().contains(QStringLiteral("未连接模拟器")));
}

QTEST_MAIN(TestWeatherTab)
#include "tst_weathertab.moc"
