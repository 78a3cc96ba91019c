#include "instruments/primaryflightdisplay.h"
#include "tests/support/logexpect.h"

#include <QDir>
#include <QImage>
#include <QPainter>
#include <QRegularExpression>
#include <QTest>

#include <cmath>

// The PFD rendered offscreen: where sky and ground fall at known attitudes, at any size, the bugs
// at their values, no data before the first sample, and the speed trend's filter. With
// ZOBREL_SCREENSHOT_DIR set it also writes the pictures there, to be looked at.
class TestPrimaryFlightDisplay : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }

    void skyAndGroundAtAttitude_data();
    void skyAndGroundAtAttitude();
    void scalesToAnySize_data();
    void scalesToAnySize();
    void bugsSitAtTheirValues();
    void noDataBeforeTheFirstSample();
    void speedTrend_data();
    void speedTrend();
};

namespace {

const QColor kSky(38, 108, 200);
const QColor kGround(128, 84, 44);

AircraftData cruise(double pitch, double bank)
{
    AircraftData d;
    d.pitch = pitch;
    d.bank = bank;
    d.ias = 245;
    d.tas = 290;
    d.gs = 310;
    d.mach = 0.46;
    d.altInd = d.alt = 12480;
    d.altAGL = 12000;
    d.vs = pitch > 0 ? 1800 : (pitch < 0 ? -1200 : 0);
    d.hdg = 273;
    d.apHdg = 290;
    d.apAlt = 14000;
    d.apSpd = 250;
    d.apMaster = true;
    d.baro = 1013.25;
    return d;
}

QImage rendered(const PrimaryFlightDisplay &pfd, const QSize &size)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::magenta);
    QPainter painter(&image);
    pfd.render(painter, QRectF(QPointF(0, 0), QSizeF(size)));
    return image;
}

// Where a point of the 800 x 600 design lands in an image of that size.
QPoint devicePoint(const QPointF &design, const QSize &size)
{
    const double scale = std::min(size.width() / 800.0, size.height() / 600.0);
    const QPointF origin((size.width() - 800.0 * scale) / 2.0, (size.height() - 600.0 * scale) / 2.0);
    return (origin + design * scale).toPoint();
}

bool near(const QColor &a, const QColor &b, int tolerance = 30)
{
    return std::abs(a.red() - b.red()) <= tolerance && std::abs(a.green() - b.green()) <= tolerance &&
           std::abs(a.blue() - b.blue()) <= tolerance;
}

QString describe(const QColor &c)
{
    return QStringLiteral("rgb(%1, %2, %3)").arg(c.red()).arg(c.green()).arg(c.blue());
}

void saveForLooking(const QImage &image, const QString &name)
{
    const QString dir = qEnvironmentVariable("ZOBREL_SCREENSHOT_DIR");
    if (!dir.isEmpty() && QDir().mkpath(dir))
        image.save(QDir(dir).filePath(name + QStringLiteral(".png")));
}

} // namespace

void TestPrimaryFlightDisplay::skyAndGroundAtAttitude_data()
{
    QTest::addColumn<double>("pitch");
    QTest::addColumn<double>("bank");
    QTest::addColumn<QList<QPointF>>("sky");
    QTest::addColumn<QList<QPointF>>("ground");
    // Probes at x 255 and 545, left and right of the pitch ladder; the horizon crosses the centre
    // (400, 250) at 7 px per degree of pitch.
    QTest::newRow("level") << 0.0 << 0.0 << QList<QPointF>{{255, 240}, {545, 240}}
                           << QList<QPointF>{{255, 260}, {545, 260}};
    QTest::newRow("nose up 10") << 10.0 << 0.0 << QList<QPointF>{{255, 300}} << QList<QPointF>{{255, 340}};
    QTest::newRow("nose down 10") << -10.0 << 0.0 << QList<QPointF>{{255, 160}} << QList<QPointF>{{255, 200}};
    // Right wing down: the horizon rises to the right (tan 30 x 145 px = 84 px).
    QTest::newRow("right bank 30") << 0.0 << 30.0 << QList<QPointF>{{255, 300}, {545, 150}}
                                   << QList<QPointF>{{255, 350}, {545, 190}};
    QTest::newRow("left bank 45") << 0.0 << -45.0 << QList<QPointF>{{545, 370}, {255, 90}}
                                  << QList<QPointF>{{255, 130}, {545, 410}};
    QTest::newRow("climbing right turn") << 5.0 << 20.0 << QList<QPointF>{{255, 320}} << QList<QPointF>{{545, 250}};
    QTest::newRow("inverted") << 0.0 << 180.0 << QList<QPointF>{{255, 260}} << QList<QPointF>{{255, 240}};
}

void TestPrimaryFlightDisplay::skyAndGroundAtAttitude()
{
    QFETCH(double, pitch);
    QFETCH(double, bank);
    QFETCH(QList<QPointF>, sky);
    QFETCH(QList<QPointF>, ground);
    PrimaryFlightDisplay pfd;
    pfd.setAircraftData(cruise(pitch, bank));
    const QSize size(800, 600);
    const QImage image = rendered(pfd, size);
    saveForLooking(image, QStringLiteral("pfd_pitch%1_bank%2").arg(pitch).arg(bank));
    for (const QPointF &p : sky) {
        const QColor c = image.pixelColor(devicePoint(p, size));
        QVERIFY2(near(c, kSky), qPrintable(QStringLiteral("(%1, %2) is %3").arg(p.x()).arg(p.y()).arg(describe(c))));
    }
    for (const QPointF &p : ground) {
        const QColor c = image.pixelColor(devicePoint(p, size));
        QVERIFY2(near(c, kGround), qPrintable(QStringLiteral("(%1, %2) is %3").arg(p.x()).arg(p.y()).arg(describe(c))));
    }
}

void TestPrimaryFlightDisplay::scalesToAnySize_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("small") << QSize(400, 300);
    QTest::newRow("large") << QSize(1600, 1200);
    QTest::newRow("wide") << QSize(1200, 450);
    QTest::newRow("tall") << QSize(500, 900);
}

void TestPrimaryFlightDisplay::scalesToAnySize()
{
    QFETCH(QSize, size);
    PrimaryFlightDisplay pfd;
    pfd.setAircraftData(cruise(0, 30));
    const QImage image = rendered(pfd, size);
    saveForLooking(image, QStringLiteral("pfd_%1x%2").arg(size.width()).arg(size.height()));
    QVERIFY(near(image.pixelColor(devicePoint({255, 300}, size)), kSky));
    QVERIFY(near(image.pixelColor(devicePoint({545, 190}, size)), kGround));
    // The whole target is painted (black outside the design), nothing is left over.
    QCOMPARE(image.pixelColor(0, 0), QColor(Qt::black));
    QCOMPARE(image.pixelColor(size.width() - 1, size.height() - 1), QColor(Qt::black));
}

void TestPrimaryFlightDisplay::bugsSitAtTheirValues()
{
    PrimaryFlightDisplay pfd;
    AircraftData d = cruise(0, 0);
    d.apHdg = d.hdg + 20;     // 80 px right of the heading box (4 px per degree)
    d.apAlt = d.altInd + 250; // 100 px above the altitude box (0.4 px per foot)
    d.apSpd = d.ias - 10;     // 40 px below the speed box (4 px per knot)
    pfd.setAircraftData(d);
    const QSize size(800, 600);
    const QImage image = rendered(pfd, size);
    saveForLooking(image, QStringLiteral("pfd_bugs"));
    const QColor magenta(235, 70, 235);
    const QColor cyan(70, 220, 235);
    QVERIFY2(near(image.pixelColor(devicePoint({471, 462}, size)), magenta, 60),
             qPrintable(describe(image.pixelColor(devicePoint({471, 462}, size)))));
    QVERIFY2(near(image.pixelColor(devicePoint({590, 150}, size)), cyan, 60),
             qPrintable(describe(image.pixelColor(devicePoint({590, 150}, size)))));
    QVERIFY2(near(image.pixelColor(devicePoint({206.5, 286}, size)), magenta, 60),
             qPrintable(describe(image.pixelColor(devicePoint({206.5, 286}, size)))));
    // Far off scale, a bug waits at the tape's end.
    d.apAlt = d.altInd + 5000;
    pfd.setAircraftData(d);
    QVERIFY(near(rendered(pfd, size).pixelColor(devicePoint({590, 72}, size)), cyan, 60));
}

void TestPrimaryFlightDisplay::noDataBeforeTheFirstSample()
{
    PrimaryFlightDisplay pfd;
    const QSize size(800, 600);
    QVERIFY(!pfd.hasData());
    QImage image = rendered(pfd, size);
    saveForLooking(image, QStringLiteral("pfd_nodata"));
    QCOMPARE(image.pixelColor(devicePoint({255, 240}, size)), QColor(Qt::black));
    pfd.setAircraftData(cruise(0, 0));
    QVERIFY(near(rendered(pfd, size).pixelColor(devicePoint({255, 240}, size)), kSky));
    pfd.clearData();
    QCOMPARE(rendered(pfd, size).pixelColor(devicePoint({255, 240}, size)), QColor(Qt::black));
}

void TestPrimaryFlightDisplay::speedTrend_data()
{
    QTest::addColumn<double>("hz");
    QTest::addColumn<double>("accelKtPerS");
    QTest::addColumn<double>("jitterKt"); // alternating up and down on every sample
    QTest::addColumn<double>("expectedTrendKt");
    QTest::newRow("accelerating, 50 Hz") << 50.0 << 1.0 << 0.0 << 10.0;
    QTest::newRow("accelerating, 5 Hz") << 5.0 << 1.0 << 0.0 << 10.0;
    QTest::newRow("decelerating, 20 Hz") << 20.0 << -2.5 << 0.0 << -25.0;
    QTest::newRow("steady with jitter, 50 Hz") << 50.0 << 0.0 << 0.5 << 0.0;
    QTest::newRow("accelerating with jitter, 20 Hz") << 20.0 << 0.8 << 0.5 << 8.0;
}

void TestPrimaryFlightDisplay::speedTrend()
{
    QFETCH(double, hz);
    QFETCH(double, accelKtPerS);
    QFETCH(double, jitterKt);
    QFETCH(double, expectedTrendKt);
    PrimaryFlightDisplay pfd;
    AircraftData d = cruise(0, 0);
    // Ten seconds of samples, then the trend is read.
    for (int i = 0; i <= int(10 * hz); ++i) {
        const double t = i / hz;
        d.ias = 200 + accelKtPerS * t + (i % 2 ? jitterKt : -jitterKt);
        pfd.setAircraftData(d, qint64(std::llround(t * 1000)));
    }
    QVERIFY2(std::fabs(pfd.speedTrendKt() - expectedTrendKt) < 0.5 + std::fabs(expectedTrendKt) * 0.02,
             qPrintable(QString::number(pfd.speedTrendKt())));
}

QTEST_MAIN(TestPrimaryFlightDisplay)
#include "tst_primaryflightdisplay.moc"

#include "tests/support/logexpect.h"
