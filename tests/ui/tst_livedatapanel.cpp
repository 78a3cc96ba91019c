#include "tests/support/logexpect.h"
#include "ui/livedatapanel.h"

#include <QLabel>
#include <QRegularExpression>
#include <QTest>

class TestLiveDataPanel : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }
    void formatsMemberWithItsUnit_data();
    void formatsMemberWithItsUnit();
    void hiddenPanelShowsNewestSampleWhenShown();
    void greysEnginesTheAircraftLacks();

private:
    // Shows the panel inside a plain, layout-less window: a window with a layout gets its
    // minimum size pushed to the platform, which the offscreen platform answers with a warning.
    static void showInHost(QWidget &host)
    {
        host.setAttribute(Qt::WA_DontShowOnScreen);
        host.show();
    }
    static QString shown(const LiveDataPanel &panel, const QString &member)
    {
        const auto *label = panel.findChild<QLabel *>(member);
        return label ? label->text() : QStringLiteral("<no label %1>").arg(member);
    }
};

void TestLiveDataPanel::formatsMemberWithItsUnit_data()
{
    QTest::addColumn<AircraftData>("sample");
    QTest::addColumn<QString>("member");
    QTest::addColumn<QString>("expected");

    AircraftData d;
    d.lat = -33.9461;
    d.lon = 151.177;
    QTest::newRow("southern latitude") << d << "lat" << QStringLiteral("33.946100° S");
    QTest::newRow("eastern longitude") << d << "lon" << QStringLiteral("151.177000° E");

    // One unit per member, whichever simulator filled it.
    d = {};
    d.thr1 = 85;
    d.egt[1] = 650;
    d.ff[0] = 295.7;
    d.fuelTotal = 374.57;
    d.fuelL = 187.29;
    d.totalWt = 27669.1;
    d.spoiler = 50;
    d.loc = -1.25;
    QTest::newRow("throttle percent") << d << "thr1" << QStringLiteral("85.0 %");
    QTest::newRow("EGT Celsius") << d << "egt_1" << QStringLiteral("650 °C");
    QTest::newRow("fuel flow gal/h") << d << "ff_0" << QStringLiteral("295.7 gal/h");
    QTest::newRow("total fuel gallons") << d << "fuelTotal" << QStringLiteral("374.6 gal");
    QTest::newRow("left tank gallons") << d << "fuelL" << QStringLiteral("187.3 gal");
    QTest::newRow("weight kilograms") << d << "totalWt" << QStringLiteral("27669 kg");
    QTest::newRow("speed brake percent") << d << "spoiler" << QStringLiteral("50.0 %");
    QTest::newRow("localizer dots") << d << "loc" << QStringLiteral("-1.25 dots");

    d = {};
    d.com1s = 121.8;
    d.xpdr = 12;
    d.vs = -0.3;
    QTest::newRow("standby frequency") << d << "com1s" << QStringLiteral("121.800 MHz");
    QTest::newRow("squawk keeps four digits") << d << "xpdr" << QStringLiteral("0012");
    QTest::newRow("no negative zero") << d << "vs" << QStringLiteral("0 ft/min");

    d = {};
    d.onGround = true;
    d.text2 = QStringLiteral("B738");
    QTest::newRow("flag") << d << "onGround" << QStringLiteral("是");
    QTest::newRow("empty text") << d << "text1" << QStringLiteral("—");
    QTest::newRow("text") << d << "text2" << QStringLiteral("B738");
}

void TestLiveDataPanel::formatsMemberWithItsUnit()
{
    QFETCH(AircraftData, sample);
    QFETCH(QString, member);
    QFETCH(QString, expected);

    QWidget host;
    LiveDataPanel panel(&host);
    showInHost(host);
    panel.setAircraftData(sample);
    QCOMPARE(shown(panel, member), expected);
}

void TestLiveDataPanel::hiddenPanelShowsNewestSampleWhenShown()
{
    QWidget host;
    LiveDataPanel panel(&host);
    AircraftData d;
    d.ias = 120;
    panel.setAircraftData(d);
    d.ias = 140;
    panel.setAircraftData(d);
    QCOMPARE(shown(panel, "ias"), QStringLiteral("0.0 kt"));

    showInHost(host);
    QCOMPARE(shown(panel, "ias"), QStringLiteral("140.0 kt"));

    panel.hide();
    d.ias = 150;
    panel.setAircraftData(d);
    QCOMPARE(shown(panel, "ias"), QStringLiteral("140.0 kt"));
    panel.show();
    QCOMPARE(shown(panel, "ias"), QStringLiteral("150.0 kt"));
}

void TestLiveDataPanel::greysEnginesTheAircraftLacks()
{
    QWidget host;
    LiveDataPanel panel(&host);
    showInHost(host);
    AircraftData d;
    d.engCnt = 2;
    panel.setAircraftData(d);
    for (int engine = 0; engine < LiveDataPanel::kEngineColumns; ++engine) {
        const auto *n1 = panel.findChild<QLabel *>(QStringLiteral("engN1_%1").arg(engine));
        QVERIFY(n1);
        QCOMPARE(n1->isEnabled(), engine < 2);
    }
    d.engCnt = 4;
    panel.setAircraftData(d);
    QVERIFY(panel.findChild<QLabel *>(QStringLiteral("rpm_3"))->isEnabled());
}

QTEST_MAIN(TestLiveDataPanel)
#include "tst_livedatapanel.moc"
