#include "recordingbridgelink.h"
#include "recordingsimbackend.h"

#include "sim/simoperationdispatcher.h"
#include "tests/support/localhttpserver.h"
#include "tests/support/logexpect.h"
#include "weather/weatherservice.h"

#include <QJsonArray>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

// The weather service against a local HTTP server playing the METAR endpoint, and the turning of
// decoded reports into the weather to inject.
class TestWeatherService : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { qRegisterMetaType<MetarData>(); }
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }

    void fetchDecodesAndKeepsTheReport();
    void failuresEndWithoutARecord_data();
    void failuresEndWithoutARecord();
    void watchedAirportsFromSettingsRefreshInOrder();
    void injectionFromMetar_data();
    void injectionFromMetar();
    void cloudBasesBecomeHeightsAboveSeaLevel();
    void injectionWithoutSimulatorFails();
    void injectionGoesWhereTheDispatcherPoints();
};

void TestWeatherService::fetchDecodesAndKeepsTheReport()
{
    LocalHttpServer server;
    QVERIFY(server.listen());
    server.setBody(QStringLiteral("/mirror/metar.php"), "ZSPD 271200Z 18012G22KT 6000 -RA BKN012 OVC040 08/06 Q1009\n");
    WeatherService service;
    service.setHost(QUrl(server.baseUrl() + QStringLiteral("/mirror")));
    QSignalSpy received(&service, &WeatherService::metarReceived);
    service.fetchMetar(QStringLiteral(" zspd"));
    QVERIFY(received.wait(5000));
    QCOMPARE(server.requests(), QList<QString>{QStringLiteral("/mirror/metar.php?id=ZSPD")});
    QCOMPARE(received.at(0).at(0).toString(), QStringLiteral("ZSPD"));
    const MetarData m = received.at(0).at(1).value<MetarData>();
    QCOMPARE(m.windGustKt.value_or(0), 22);
    QCOMPARE(service.lastMetar(QStringLiteral("zspd")).raw, m.raw);
    QVERIFY(!service.lastMetar(QStringLiteral("ZBAA")).valid);
}

void TestWeatherService::failuresEndWithoutARecord_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("reason");

    QTest::newRow("empty body") << 200 << QByteArray("\n\n") << "Empty response";
    QTest::newRow("server error") << 500 << QByteArray("boom") << "server replied";
    QTest::newRow("not a report") << 200 << QByteArray("<html>no</html>") << "No METAR for ZSPD";
    QTest::newRow("endless body") << 200 << QByteArray(200 * 1024, 'A') << "larger than";
}

void TestWeatherService::failuresEndWithoutARecord()
{
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(QString, reason);
    LocalHttpServer server;
    QVERIFY(server.listen());
    server.setBody(QStringLiteral("/metar.php"), body, status);
    WeatherService service;
    service.setHost(QUrl(server.baseUrl()));
    QSignalSpy received(&service, &WeatherService::metarReceived);
    QSignalSpy failed(&service, &WeatherService::metarFailed);
    testlog::expectLogged(QStringLiteral("Weather"), QStringLiteral("METAR ZSPD"));
    service.fetchMetar(QStringLiteral("ZSPD"));
    QVERIFY(failed.wait(5000));
    QVERIFY2(failed.at(0).at(1).toString().contains(reason, Qt::CaseInsensitive),
             qPrintable(failed.at(0).at(1).toString()));
    QCOMPARE(received.count(), 0);
    QVERIFY(!service.lastMetar(QStringLiteral("ZSPD")).valid);
}

void TestWeatherService::watchedAirportsFromSettingsRefreshInOrder()
{
    LocalHttpServer server;
    QVERIFY(server.listen());
    server.setBody(QStringLiteral("/metar.php"), "ZBAA 271200Z 36004KT 9999 M05/M12 Q1032");
    QTemporaryDir dir;
    QSettings settings(dir.filePath(QStringLiteral("Zobrel.ini")), QSettings::IniFormat);
    settings.setValue(QLatin1String(WeatherService::kMetarHostKey), server.baseUrl());
    settings.setValue(QLatin1String(WeatherService::kWatchedAirportsKey),
                      QStringList{QStringLiteral("zbaa"), QStringLiteral("ZSSS"), QStringLiteral("ZBAA")});
    WeatherService service;
    service.applySettings(settings);
    service.addWatchedAirport(QStringLiteral("ZGGG"));
    service.removeWatchedAirport(QStringLiteral("zsss"));
    QSignalSpy received(&service, &WeatherService::metarReceived);
    service.onRefreshTimer();
    QTRY_COMPARE_WITH_TIMEOUT(received.count(), 2, 5000);
    QStringList asked = server.requests();
    asked.sort(); // two requests in flight at once may arrive in either order
    QCOMPARE(asked, QStringList({QStringLiteral("/metar.php?id=ZBAA"), QStringLiteral("/metar.php?id=ZGGG")}));
}

void TestWeatherService::injectionFromMetar_data()
{
    QTest::addColumn<QString>("report");
    QTest::addColumn<double>("windDir");
    QTest::addColumn<double>("windSpeed");
    QTest::addColumn<double>("gust");
    QTest::addColumn<double>("visibility");
    QTest::addColumn<double>("precipitation");
    QTest::addColumn<double>("turbulence");
    QTest::addColumn<double>("qnh");

    QTest::newRow("gusty light rain") << "ZSPD 271200Z 27015G40KT 6000 -RA BKN012 08/06 Q1009" << 270.0 << 15.0 << 40.0
                                      << 6000.0 << 0.3 << 1.0 << 1009.0;
    QTest::newRow("variable, CAVOK") << "ZBAA 271200Z VRB02KT CAVOK M05/M12 Q1032" << 0.0 << 2.0 << 0.0 << 10000.0
                                     << 0.0 << 0.0 << 1032.0;
    QTest::newRow("heavy snow, fraction of a mile") << "KBOS 271200Z 03020KT 1/2SM +SN VV005 M03/M04 A2975" << 30.0
                                                    << 20.0 << 0.0 << 0.5 * 1609.344 << 1.0 << 0.0 << 29.75 * 33.8639;
    QTest::newRow("mile and a half drizzle") << "KSEA 271200Z 18005KT 1 1/2SM DZ BR OVC004 09/08 A3001" << 180.0 << 5.0
                                             << 0.0 << 1.5 * 1609.344 << 0.3 << 0.0 << 30.01 * 33.8639;
    QTest::newRow("thunderstorm nearby only") << "ZGGG 271200Z 20008KT 9999 VCTS FEW030CB 28/22 Q1005" << 200.0 << 8.0
                                              << 0.0 << 9999.0 << 0.0 << 0.0 << 1005.0;
    QTest::newRow("thunderstorm with rain") << "ZGGG 271200Z 20008KT 3000 +TSRA BKN020CB 25/23 Q1003" << 200.0 << 8.0
                                            << 0.0 << 3000.0 << 1.0 << 0.5 << 1003.0;
    QTest::newRow("nothing decoded") << "ZXXX" << 0.0 << 0.0 << 0.0 << 10000.0 << 0.0 << 0.0 << 1013.25;
}

void TestWeatherService::injectionFromMetar()
{
    QFETCH(QString, report);
    QFETCH(double, windDir);
    QFETCH(double, windSpeed);
    QFETCH(double, gust);
    QFETCH(double, visibility);
    QFETCH(double, precipitation);
    QFETCH(double, turbulence);
    QFETCH(double, qnh);
    const WeatherState w = WeatherService::injectionFromMetar(MetarDecoder().decode(report));
    QCOMPARE(w.windDirDeg, windDir);
    QCOMPARE(w.windSpeedKt, windSpeed);
    QCOMPARE(w.windGustKt, gust);
    QVERIFY2(std::abs(w.visibilityM - visibility) < 0.5, qPrintable(QString::number(w.visibilityM)));
    QCOMPARE(w.precipitation, precipitation);
    QCOMPARE(w.turbulence, turbulence);
    QVERIFY2(std::abs(w.qnhHpa - qnh) < 1e-6, qPrintable(QString::number(w.qnhHpa)));
}

void TestWeatherService::cloudBasesBecomeHeightsAboveSeaLevel()
{
    const MetarData m =
        MetarDecoder().decode(QStringLiteral("LQSA 271200Z 12006KT 4000 BR OVC030 SCT008 BKN015TCU NSC 02/01 Q1021"));
    const WeatherState w = WeatherService::injectionFromMetar(m, 1708.0);
    QCOMPARE(w.clouds.size(), 3);
    QCOMPARE(w.clouds[0].cover, QStringLiteral("SCT"));
    QCOMPARE(w.clouds[0].baseFt, 800.0 + 1708.0);
    QCOMPARE(w.clouds[1].baseFt, 1500.0 + 1708.0);
    QCOMPARE(w.clouds[1].type, QStringLiteral("TCU"));
    QCOMPARE(w.clouds[2].cover, QStringLiteral("OVC"));
    QCOMPARE(w.temperatureC, 2.0);
    QCOMPARE(w.dewpointC, 1.0);
}

void TestWeatherService::injectionWithoutSimulatorFails()
{
    WeatherService service;
    QSignalSpy failed(&service, &WeatherService::injectionFailed);
    QSignalSpy injected(&service, &WeatherService::weatherInjected);
    testlog::expectLogged(QStringLiteral("Weather"), QStringLiteral("Weather injection failed"));
    QVERIFY(!service.injectWeather(WeatherState()));
    QCOMPARE(failed.count(), 1);
    QCOMPARE(injected.count(), 0);
}

// Locally the backend gets the weather itself; with a remote station as the target the weather
// leaves as that station's "weather" command with the state's keys.
void TestWeatherService::injectionGoesWhereTheDispatcherPoints()
{
    const WeatherState weather = WeatherService::injectionFromMetar(
        MetarDecoder().decode(QStringLiteral("ZSPD 271200Z 27015G25KT 3000 RA BKN012 OVC040 08/06 Q0995")), 13.0);
    RecordingSimBackend backend(SimType::XPlane12);
    backend.connect();
    RecordingBridgeLink bridge;
    bridge.registerAgent(QStringLiteral("agent-7"), QStringLiteral("xplane12"));
    SimOperationDispatcher dispatcher;
    dispatcher.setLocalBackend(&backend);
    dispatcher.setBridgeServer(&bridge);
    WeatherService service;
    service.setDispatcher(&dispatcher);

    QVERIFY(service.injectWeather(weather));
    QCOMPARE(backend.lastWeather().qnhHpa, 995.0);
    QCOMPARE(backend.lastWeather().clouds.size(), 2);
    QCOMPARE(backend.lastWeather().clouds[0].baseFt, 1213.0);
    QVERIFY(bridge.messages(QStringLiteral("agent-7")).isEmpty());

    dispatcher.setTarget(QStringLiteral("agent-7"));
    QVERIFY(service.injectWeather(weather));
    const QList<QJsonObject> sent = bridge.messages(QStringLiteral("agent-7"));
    QCOMPARE(sent.size(), 1);
    QCOMPARE(sent[0].value("type").toString(), QStringLiteral("command"));
    QCOMPARE(sent[0].value("action").toString(), QStringLiteral("weather"));
    QCOMPARE(sent[0].value("qnh").toDouble(), 995.0);
    QCOMPARE(sent[0].value("windDir").toDouble(), 270.0);
    QCOMPARE(sent[0].value("windGust").toDouble(), 25.0);
    QCOMPARE(sent[0].value("visibility").toDouble(), 3000.0);
    QCOMPARE(sent[0].value("clouds").toArray().size(), 2);

    // A target that is gone: nothing is sent and the instructor is told.
    bridge.unregisterAgent(QStringLiteral("agent-7"));
    testlog::expectLogged(QStringLiteral("Weather"), QStringLiteral("Weather injection failed"));
    QVERIFY(!service.injectWeather(weather));
    QCOMPARE(bridge.messages(QStringLiteral("agent-7")).size(), 1);
}

QTEST_GUILESS_MAIN(TestWeatherService)
#include "tst_weatherservice.moc"
