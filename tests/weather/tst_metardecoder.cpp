#include "tests/support/logexpect.h"
#include "weather/metardecoder.h"

#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <cmath>

// The decoder on single groups, on the order and end rules, and against the decoded columns of
// a real Aviation Weather Center snapshot of 4,909 reports. A report "carries" a value when the
// snapshot's column for it has one.
class TestMetarDecoder : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }

    void wind_data();
    void wind();
    void visibilityAndPressure_data();
    void visibilityAndPressure();
    void cloudsAndTemperature();
    void reportStructure_data();
    void reportStructure();
    void awcSnapshotAgreement();
};

void TestMetarDecoder::wind_data()
{
    QTest::addColumn<QString>("report");
    QTest::addColumn<int>("direction"); // -1: none
    QTest::addColumn<bool>("variable");
    QTest::addColumn<int>("speed"); // -1: none
    QTest::addColumn<int>("gust");  // -1: none

    QTest::newRow("variable") << "ZSPD 271200Z VRB03KT 9999" << -1 << true << 3 << -1;
    QTest::newRow("gusting") << "ZSPD 271200Z 27015G25KT 9999" << 270 << false << 15 << 25;
    QTest::newRow("three-digit speed") << "ZSPD 271200Z 090105G120KT" << 90 << false << 105 << 120;
    QTest::newRow("metres per second not read") << "ZBAA 271200Z 27015MPS 9999" << -1 << false << -1 << -1;
    QTest::newRow("variable sector skipped") << "EGLL 271200Z 24012KT 200V280 9999" << 240 << false << 12 << -1;
}

void TestMetarDecoder::wind()
{
    QFETCH(QString, report);
    QFETCH(int, direction);
    QFETCH(bool, variable);
    QFETCH(int, speed);
    QFETCH(int, gust);
    const MetarData m = MetarDecoder().decode(report);
    QCOMPARE(m.windDirectionDeg.value_or(-1), direction);
    QCOMPARE(m.windVariable, variable);
    QCOMPARE(m.windSpeedKt.value_or(-1), speed);
    QCOMPARE(m.windGustKt.value_or(-1), gust);
    QVERIFY(m.valid);
}

void TestMetarDecoder::visibilityAndPressure_data()
{
    QTest::addColumn<QString>("report");
    QTest::addColumn<int>("visibility");     // -1: none
    QTest::addColumn<double>("pressureHpa"); // 0: none
    QTest::addColumn<double>("inHg");        // 0: none

    QTest::newRow("9999 and Q") << "ZSSS 271200Z 01004KT 9999 FEW030 05/M03 Q1013" << 9999 << 1013.0 << 0.0;
    QTest::newRow("CAVOK") << "ZBAA 271200Z 36004MPS CAVOK M05/M12 Q1032 NOSIG" << -1 << 1032.0 << 0.0;
    QTest::newRow("statute miles") << "KJFK 271151Z 31012KT 10SM FEW250 M02/M14 A2992" << -1 << 29.92 * 33.8639
                                   << 29.92;
    QTest::newRow("RVR skipped") << "EDDF 271150Z 24008KT 0600 R25L/0900N FG VV002 02/02 Q1021" << 600 << 1021.0 << 0.0;
}

void TestMetarDecoder::visibilityAndPressure()
{
    QFETCH(QString, report);
    QFETCH(int, visibility);
    QFETCH(double, pressureHpa);
    QFETCH(double, inHg);
    const MetarData m = MetarDecoder().decode(report);
    QCOMPARE(m.visibilityM.value_or(-1), visibility);
    QVERIFY(m.pressureHpa.has_value());
    QVERIFY2(std::abs(*m.pressureHpa - pressureHpa) < 1e-9, qPrintable(QString::number(*m.pressureHpa)));
    QCOMPARE(m.altimeterInHg.has_value(), inHg > 0.0);
    if (inHg > 0.0) {
        QCOMPARE(*m.altimeterInHg, inHg);
        QVERIFY(std::abs(*m.pressureHpa - 1013.2) < 0.05); // A2992 is the standard atmosphere
    }
}

void TestMetarDecoder::cloudsAndTemperature()
{
    const MetarData m = MetarDecoder().decode(
        QStringLiteral("ZSPD 271200Z 18012KT 4000 -SHRA BR FEW008 BKN012CB OVC040TCU NSC M05/M12 Q1009"));
    QCOMPARE(m.phenomena, QStringList({QStringLiteral("-SHRA"), QStringLiteral("BR")}));
    QCOMPARE(m.clouds.size(), 4);
    QCOMPARE(m.clouds[0].cover, QStringLiteral("FEW"));
    QCOMPARE(m.clouds[0].baseFt.value_or(-1), 800);
    QCOMPARE(m.clouds[1].cover, QStringLiteral("BKN"));
    QCOMPARE(m.clouds[1].baseFt.value_or(-1), 1200);
    QCOMPARE(m.clouds[1].type, QStringLiteral("CB"));
    QCOMPARE(m.clouds[2].type, QStringLiteral("TCU"));
    QCOMPARE(m.clouds[3].cover, QStringLiteral("NSC"));
    QVERIFY(!m.clouds[3].baseFt.has_value());
    QCOMPARE(m.temperatureC.value_or(99), -5);
    QCOMPARE(m.dewpointC.value_or(99), -12);
}

void TestMetarDecoder::reportStructure_data()
{
    QTest::addColumn<QString>("report");
    QTest::addColumn<QString>("station");
    QTest::addColumn<QString>("time");
    QTest::addColumn<bool>("hasPressure");
    QTest::addColumn<QStringList>("phenomena");

    QTest::newRow("METAR prefix, AUTO") << "METAR KIKT 272225Z AUTO VRB04KT 10SM SCT028 22/12 A3011 RMK AO2"
                                        << "KIKT"
                                        << "272225Z" << true << QStringList();
    QTest::newRow("SPECI, COR") << "SPECI ZSPD 271215Z COR 18012KT 3000 RA BR BKN010 08/07 Q1008"
                                << "ZSPD"
                                << "271215Z" << true << QStringList{"RA", "BR"};
    QTest::newRow("remarks end it") << "EGLL 271150Z 24012KT 9999 SCT030 10/05 RMK Q1020"
                                    << "EGLL"
                                    << "271150Z" << false << QStringList();
    QTest::newRow("trend ends it") << "ZSSS 271200Z 01004KT 9999 FEW030 05/M03 TEMPO -RA Q1013"
                                   << "ZSSS"
                                   << "271200Z" << false << QStringList();
    QTest::newRow("BECMG ends it") << "ZSSS 271200Z 01004KT 9999 05/M03 BECMG Q1013"
                                   << "ZSSS"
                                   << "271200Z" << false << QStringList();
    // A weather group after the clouds is behind the decoding and is passed over.
    QTest::newRow("phenomenon after clouds") << "ZSSS 271200Z 01004KT 9999 FEW030 RA 05/M03 Q1013"
                                             << "ZSSS"
                                             << "271200Z" << true << QStringList();
    QTest::newRow("no station") << "K1V4 271200Z 01004KT 9999 05/M03 Q1013"
                                << ""
                                << "" << true << QStringList();
    QTest::newRow("NIL report") << "ZBAA 271200Z NIL"
                                << "ZBAA"
                                << "271200Z" << false << QStringList();
    QTest::newRow("empty") << ""
                           << ""
                           << "" << false << QStringList();
}

void TestMetarDecoder::reportStructure()
{
    QFETCH(QString, report);
    QFETCH(QString, station);
    QFETCH(QString, time);
    QFETCH(bool, hasPressure);
    QFETCH(QStringList, phenomena);
    const MetarData m = MetarDecoder().decode(report);
    QCOMPARE(m.station, station);
    QCOMPARE(m.time, time);
    QCOMPARE(m.valid, !station.isEmpty());
    QCOMPARE(m.pressureHpa.has_value(), hasPressure);
    QCOMPARE(m.phenomena, phenomena);
    QCOMPARE(m.raw, report);
}

// The snapshot's own decoded columns are the reference. Temperatures there may carry the tenths of
// the remarks' T group, so half a degree (the rounding of the body's group) is allowed; the
// altimeter there is in inches rounded to hundredths.
void TestMetarDecoder::awcSnapshotAgreement()
{
    QFile file(QStringLiteral(SHARED_TESTDATA_DIR "/metar/awc-metars.cache-2025-01-27.csv"));
    if (!file.exists())
        QSKIP("shared test data not present");
    QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
    const QList<QByteArray> lines = file.readAll().split('\n');
    QVERIFY(lines.size() > 4900);
    const QList<QByteArray> header = lines.at(5).split(',');
    const auto column = [&header](const char *name) { return int(header.indexOf(QByteArray(name))); };
    const int raw = column("raw_text");
    const int temp = column("temp_c");
    const int dew = column("dewpoint_c");
    const int windDir = column("wind_dir_degrees");
    const int windSpeed = column("wind_speed_kt");
    const int windGust = column("wind_gust_kt");
    const int altim = column("altim_in_hg");
    QVERIFY(raw == 0 && temp > 0 && dew > 0 && windDir > 0 && windSpeed > 0 && windGust > 0 && altim > 0);

    struct Tally
    {
        int carried = 0;
        int agreed = 0;
        double percent() const { return carried ? 100.0 * agreed / carried : 100.0; }
    };
    Tally temperature;
    Tally dewpoint;
    Tally wind;
    Tally windKnots; // reports whose wind group is in knots, the only unit the decoder reads
    Tally altimeter;
    int reports = 0;
    const MetarDecoder decoder;
    for (int i = 6; i < lines.size(); ++i) {
        const QList<QByteArray> f = lines.at(i).split(',');
        if (f.size() <= altim)
            continue;
        ++reports;
        const MetarData m = decoder.decode(QString::fromLatin1(f.at(raw)));
        if (!f.at(temp).isEmpty()) {
            ++temperature.carried;
            temperature.agreed += m.temperatureC && std::abs(*m.temperatureC - f.at(temp).toDouble()) <= 0.5 + 1e-9;
        }
        if (!f.at(dew).isEmpty()) {
            ++dewpoint.carried;
            dewpoint.agreed += m.dewpointC && std::abs(*m.dewpointC - f.at(dew).toDouble()) <= 0.5 + 1e-9;
        }
        if (!f.at(windSpeed).isEmpty()) {
            const bool variable = f.at(windDir) == "VRB";
            const bool same = m.windSpeedKt && *m.windSpeedKt == f.at(windSpeed).toInt() &&
                              m.windVariable == variable &&
                              (variable || (m.windDirectionDeg && *m.windDirectionDeg == f.at(windDir).toInt())) &&
                              m.windGustKt.value_or(-1) == (f.at(windGust).isEmpty() ? -1 : f.at(windGust).toInt());
            ++wind.carried;
            wind.agreed += same;
            if (!f.at(raw).contains("MPS ")) {
                ++windKnots.carried;
                windKnots.agreed += same;
            }
        }
        // The snapshot writes 0.00 where a report has no altimeter (NIL reports, missing groups).
        if (f.at(altim).toDouble() > 0.0) {
            ++altimeter.carried;
            altimeter.agreed +=
                m.pressureHpa && std::abs(*m.pressureHpa / MetarDecoder::kHpaPerInHg - f.at(altim).toDouble()) <= 0.011;
        }
    }
    QCOMPARE(reports, 4909);
    const auto report = [](const char *name, const Tally &t) {
        qInfo("%-28s %4d of %4d agree (%.2f %%)", name, t.agreed, t.carried, t.percent());
    };
    report("temperature", temperature);
    report("dew point", dewpoint);
    report("wind (all reports)", wind);
    report("wind (knots reports)", windKnots);
    report("altimeter", altimeter);
    QVERIFY2(temperature.percent() >= 99.0, "temperature");
    QVERIFY2(dewpoint.percent() >= 99.0, "dew point");
    QVERIFY2(windKnots.percent() >= 99.0, "wind");
    QVERIFY2(altimeter.percent() >= 99.0, "altimeter");
    // Winds in metres per second are deliberately not decoded; every other report must agree.
    QVERIFY(wind.carried - windKnots.carried > 100);
}

QTEST_GUILESS_MAIN(TestMetarDecoder)
#include "tst_metardecoder.moc"
