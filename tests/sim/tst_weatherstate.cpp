#include "sim/weatherstate.h"
#include "tests/support/logexpect.h"

#include <QRegularExpression>
#include <QTest>

// The METAR form the SimConnect simulators receive an injected weather in.
class TestWeatherState : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }

    void metarGroups_data()
    {
        QTest::addColumn<WeatherState>("weather");
        QTest::addColumn<QString>("expected");
        const QString head = QStringLiteral("GLOB 031455Z ");

        WeatherState w;
        QTest::newRow("defaults") << w << head + "00000KT 9999 SKC 15/10 Q1013";
        w.windDirDeg = 356;
        w.windSpeedKt = 8;
        QTest::newRow("north is 360, not calm") << w << head + "36008KT 9999 SKC 15/10 Q1013";
        w.windDirDeg = 244;
        w.windSpeedKt = 22;
        w.windGustKt = 35;
        QTest::newRow("gust") << w << head + "24022G35KT 9999 SKC 15/10 Q1013";
        w = {};
        w.windSpeedKt = 0.4;
        w.windGustKt = 20;
        QTest::newRow("calm has no gust") << w << head + "00000KT 9999 SKC 15/10 Q1013";
        w = {};
        w.visibilityM = 790;
        w.temperatureC = -4.6;
        w.dewpointC = -0.4;
        w.precipitation = 0.9;
        w.qnhHpa = 998.4;
        QTest::newRow("heavy snow below freezing") << w << head + "00000KT 0700 +SN SKC M05/00 Q0998";
        w = {};
        w.precipitation = 0.2;
        w.clouds = {{"FEW", 800, 0, ""}, {"BKN", 2450, 0, "TCU"}, {"OVC", 12000, 0, "CB"}};
        QTest::newRow("light rain and clouds") << w << head + "00000KT 9999 -RA FEW008 BKN024TCU OVC120CB 15/10 Q1013";
    }

    void metarGroups()
    {
        QFETCH(WeatherState, weather);
        QFETCH(QString, expected);
        const QDateTime observed(QDate(2025, 6, 3), QTime(14, 55, 40), Qt::UTC);
        QCOMPARE(weather.toMetar(QStringLiteral("GLOB"), observed), expected);
    }
};

QTEST_GUILESS_MAIN(TestWeatherState)
#include "tst_weatherstate.moc"
