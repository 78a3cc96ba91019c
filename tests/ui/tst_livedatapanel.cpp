#include "ui/livedatapanel.h"

#include <QLabel>
#include <QRegularExpression>
#include <QTest>

class TestLiveDataPanel : public QObject
{
    Q_OBJECT
private slots:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }
    void formatsMemberWithUnitOfSimulator_data();
    void formatsMemberWithUnitOfSimulator();
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

void TestLiveDataPanel::formatsMemberWithUnitOfSimulator_data()
{
    QTest::addColumn<SimType>("simType");
    QTest::addColumn<AircraftData>("sample");
    QTest::addColumn<QString>("member");
    QTest::addColumn<QString>("expected");

    AircraftData d;
    d.lat = -33.9461;
    d.lon = 151.177;
    QTest::newRow("southern latitude") << SimType::XPlane11 << d << "lat" << QStringLiteral("33.946100° S");
    QTest::newRow("eastern longitude") << SimType::XPlane11 << d << "lon" << QStringLiteral("151.177000° E");

    d = {};
    d.thr1 = 0.85;
    QTest::newRow("X-Plane throttle ratio") << SimType::XPlane12 << d << "thr1" << QStringLiteral("85.0 %");
    d.thr1 = 85;
    QTest::newRow("MSFS throttle percent") << SimType::Msfs2020 << d << "thr1" << QStringLiteral("85.0 %");

    d = {};
    d.egt[1] = 650;
    QTest::newRow("X-Plane EGT Celsius") << SimType::XPlane11 << d << "egt_1" << QStringLiteral("650 °C");
    d.egt[1] = 1661.67; // 650 °C in Rankine
    QTest::newRow("bridge EGT Rankine") << SimType::Prepar3D << d << "egt_1" << QStringLiteral("650 °C");

    d = {};
    d.ff[0] = 0.512;
    d.fuelTotal = 5000;
    d.totalWt = 61000;
    QTest::newRow("X-Plane fuel flow") << SimType::XPlane11 << d << "ff_0" << QStringLiteral("0.512 kg/s");
    QTest::newRow("X-Plane fuel kg") << SimType::XPlane11 << d << "fuelTotal" << QStringLiteral("5000.0 kg");
    QTest::newRow("X-Plane weight kg") << SimType::XPlane12 << d << "totalWt" << QStringLiteral("61000 kg");
    QTest::newRow("MSFS fuel gallons") << SimType::Msfs2024 << d << "fuelTotal" << QStringLiteral("5000.0 gal");
    QTest::newRow("MSFS weight pounds") << SimType::Fsx << d << "totalWt" << QStringLiteral("61000 lb");

    d = {};
    d.com1s = 121.8;
    d.xpdr = 12;
    d.vs = -0.3;
    QTest::newRow("standby frequency") << SimType::XPlane11 << d << "com1s" << QStringLiteral("121.800 MHz");
    QTest::newRow("squawk keeps four digits") << SimType::XPlane11 << d << "xpdr" << QStringLiteral("0012");
    QTest::newRow("no negative zero") << SimType::XPlane11 << d << "vs" << QStringLiteral("0 ft/min");

    d = {};
    d.onGround = true;
    d.text2 = QStringLiteral("B738");
    QTest::newRow("flag") << SimType::XPlane11 << d << "onGround" << QStringLiteral("是");
    QTest::newRow("empty text") << SimType::XPlane11 << d << "text1" << QStringLiteral("—");
    QTest::newRow("text") << SimType::XPlane11 << d << "text2" << QStringLiteral("B738");
}

void TestLiveDataPanel::formatsMemberWithUnitOfSimulator()
{
    QFETCH(SimType, simType);
    QFETCH(AircraftData, sample);
    QFETCH(QString, member);
    QFETCH(QString, expected);

    QWidget host;
    LiveDataPanel panel(&host);
    showInHost(host);
    panel.setSimType(simType);
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
