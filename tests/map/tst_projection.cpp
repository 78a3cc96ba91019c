#include "map/gcj02.h"
#include "map/mercatorprojection.h"
#include "tests/support/logexpect.h"

#include <QRegularExpression>
#include <QTest>

#include <algorithm>
#include <cmath>

// Reference values come from formulas written differently from the product code: Web Mercator
// through atanh(sin(lat)) and the Gudermannian, GCJ-02 through the ellipsoid's radii of
// curvature, all in long double.
namespace {

constexpr long double kPiL = 3.141592653589793238462643383279502884L;

long double radians(long double deg)
{
    return deg * kPiL / 180.0L;
}

long double degrees(long double rad)
{
    return rad * 180.0L / kPiL;
}

QPointF refNorm(double latDeg, double lonDeg)
{
    const long double lat = std::clamp<long double>(latDeg, -85.0L, 85.0L);
    const long double y = 0.5L - std::atanh(std::sin(radians(lat))) / (2.0L * kPiL);
    return QPointF(double(lonDeg / 360.0L + 0.5L), double(y));
}

QPointF refLatLon(const QPointF &norm)
{
    const long double m = (1.0L - 2.0L * norm.y()) * kPiL;
    const long double lat = degrees(2.0L * std::atan(std::exp(m)) - kPiL / 2.0L);
    return QPointF(double(lat), double(norm.x() * 360.0L - 180.0L));
}

bool refInChina(double lat, double lon)
{
    return lon >= 72.004 && lon <= 137.8347 && lat >= 0.8293 && lat <= 55.8271;
}

// The datum's offset of a WGS-84 point, in degrees (x = north, y = east).
QPointF refGcjOffset(double latDeg, double lonDeg)
{
    const long double a = 6378245.0L;
    const long double ee = 0.006693421622965943L;
    const long double x = lonDeg - 105.0L;
    const long double y = latDeg - 35.0L;
    const auto sinPi = [](long double t) { return std::sin(kPiL * t); };
    const long double waves = 20.0L * sinPi(6.0L * x) + 20.0L * sinPi(2.0L * x);
    const long double northM = -100.0L + x * (2.0L + 0.1L * y) + y * (3.0L + 0.2L * y) +
                               0.2L * std::sqrt(std::fabs(x)) +
                               2.0L / 3.0L *
                                   (waves + 20.0L * sinPi(y) + 40.0L * sinPi(y / 3.0L) + 160.0L * sinPi(y / 12.0L) +
                                    320.0L * sinPi(y / 30.0L));
    const long double eastM = 300.0L + x * (1.0L + 0.1L * x + 0.1L * y) + 2.0L * y + 0.1L * std::sqrt(std::fabs(x)) +
                              2.0L / 3.0L *
                                  (waves + 20.0L * sinPi(x) + 40.0L * sinPi(x / 3.0L) + 150.0L * sinPi(x / 12.0L) +
                                   300.0L * sinPi(x / 30.0L));
    const long double phi = radians(latDeg);
    const long double w2 = 1.0L - ee * std::sin(phi) * std::sin(phi);
    const long double meridianRadius = a * (1.0L - ee) / std::pow(w2, 1.5L);
    const long double parallelRadius = a * std::cos(phi) / std::sqrt(w2);
    return QPointF(double(degrees(northM / meridianRadius)), double(degrees(eastM / parallelRadius)));
}

QPointF refToGcj(double lat, double lon)
{
    if (!refInChina(lat, lon)) {
        return QPointF(lat, lon);
    }
    return QPointF(lat, lon) + refGcjOffset(lat, lon);
}

QPointF refToWgs(double lat, double lon, int iterations)
{
    QPointF w(lat, lon);
    for (int i = 0; i < iterations; ++i) {
        w -= refToGcj(w.x(), w.y()) - QPointF(lat, lon);
    }
    return w;
}

QPointF toGcj(const QPointF &wgs)
{
    double lat = 0.0;
    double lon = 0.0;
    Gcj02::wgs84ToGcj02(wgs.x(), wgs.y(), lat, lon);
    return QPointF(lat, lon);
}

QPointF toWgs(const QPointF &gcj)
{
    double lat = 0.0;
    double lon = 0.0;
    Gcj02::gcj02ToWgs84(gcj.x(), gcj.y(), lat, lon);
    return QPointF(lat, lon);
}

QString text(const QPointF &p)
{
    return QStringLiteral("(%1, %2)").arg(p.x(), 0, 'g', 17).arg(p.y(), 0, 'g', 17);
}

} // namespace

#define VERIFY_NEAR(actual, expected, tolerance)                                                                       \
    do {                                                                                                               \
        const QPointF a_ = (actual);                                                                                   \
        const QPointF e_ = (expected);                                                                                 \
        QVERIFY2(std::fabs(a_.x() - e_.x()) <= (tolerance) && std::fabs(a_.y() - e_.y()) <= (tolerance),               \
                 qPrintable(text(a_) + " is not within " + QString::number(tolerance) + " of " + text(e_)));           \
    } while (false)

class TestProjection : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void clampLat_data();
    void clampLat();
    void mapSize_data();
    void mapSize();
    void mercatorMatchesReference_data();
    void mercatorMatchesReference();
    void clampRowsAndUnwrappedLongitude();
    void worldEdgeLatitude();
    void mercatorRoundTrip_data();
    void mercatorRoundTrip();
    void tileOfKnownPlace_data();
    void tileOfKnownPlace();

    void chinaRectangle_data();
    void chinaRectangle();
    void gcjShiftMatchesReference_data();
    void gcjShiftMatchesReference();
    void gcjShiftOfTiananmen();
    void gcjRoundTrip_data();
    void gcjRoundTrip();
    void gcjInverseAlternatesAtWestEdge();
};

void TestProjection::init()
{
    QTest::failOnWarning(QRegularExpression(".*"));
    testlog::failOnLoggedProblems();
}

void TestProjection::clampLat_data()
{
    QTest::addColumn<double>("lat");
    QTest::addColumn<double>("expected");
    QTest::newRow("north pole") << 90.0 << 85.0;
    QTest::newRow("just past north") << 85.0000001 << 85.0;
    QTest::newRow("north limit") << 85.0 << 85.0;
    QTest::newRow("inside") << 84.9 << 84.9;
    QTest::newRow("equator") << 0.0 << 0.0;
    QTest::newRow("south limit") << -85.0 << -85.0;
    QTest::newRow("just past south") << -85.0001 << -85.0;
    QTest::newRow("south pole") << -90.0 << -85.0;
}

void TestProjection::clampLat()
{
    QFETCH(double, lat);
    QFETCH(double, expected);
    QCOMPARE(MercatorProjection::clampLat(lat), expected);
}

void TestProjection::mapSize_data()
{
    QTest::addColumn<int>("zoom");
    for (int zoom : {0, 1, 7, 12, 18}) {
        QTest::addRow("zoom %d", zoom) << zoom;
    }
}

void TestProjection::mapSize()
{
    QFETCH(int, zoom);
    QCOMPARE(MercatorProjection::mapSize(zoom), double(qint64(256) << zoom));
}

void TestProjection::mercatorMatchesReference_data()
{
    QTest::addColumn<double>("lat");
    QTest::addColumn<double>("lon");
    QTest::newRow("origin") << 0.0 << 0.0;
    QTest::newRow("Beijing") << 39.9087 << 116.3975;
    QTest::newRow("Sydney") << -33.9461 << 151.1772;
    QTest::newRow("Reykjavik") << 64.13 << -21.94;
    QTest::newRow("below north limit") << 84.9999 << 10.0;
    QTest::newRow("north limit") << 85.0 << -30.0;
    QTest::newRow("past north limit") << 85.0001 << 0.0;
    QTest::newRow("north pole") << 90.0 << 0.0;
    QTest::newRow("south limit") << -85.0 << 0.0;
    QTest::newRow("south pole") << -90.0 << 179.9;
    QTest::newRow("west edge") << 0.0 << -180.0;
    QTest::newRow("past east edge") << 10.0 << 200.0;
}

void TestProjection::mercatorMatchesReference()
{
    QFETCH(double, lat);
    QFETCH(double, lon);
    const QPointF expected = refNorm(lat, lon);
    VERIFY_NEAR(MercatorProjection::latLonToNorm(lat, lon), expected, 1e-14);
    for (int zoom : {0, 7, 18}) {
        const double size = std::ldexp(256.0, zoom);
        const QPointF pixel = MercatorProjection::latLonToPixel(lat, lon, zoom);
        VERIFY_NEAR(pixel, expected * size, 1e-14 * size);
        // The QPointF overload takes latitude from x.
        QCOMPARE(MercatorProjection::latLonToPixel(QPointF(lat, lon), zoom), pixel);
    }
}

void TestProjection::clampRowsAndUnwrappedLongitude()
{
    QCOMPARE(MercatorProjection::latLonToNorm(0.0, 0.0), QPointF(0.5, 0.5));
    // Exactly -85 already takes the fixed value, so it is bit-identical with any latitude beyond.
    QVERIFY(MercatorProjection::latLonToNorm(-85.0, 0.0).y() == MercatorProjection::latLonToNorm(-89.0, 0.0).y());
    // Exactly +85 is computed and lands on the fixed value of the latitudes beyond it.
    QCOMPARE(MercatorProjection::latLonToNorm(90.0, 3.0).y(), MercatorProjection::latLonToNorm(85.0, 3.0).y());
    QVERIFY(MercatorProjection::latLonToNorm(85.0001, 3.0).y() == MercatorProjection::latLonToNorm(90.0, 3.0).y());
    // The round 85 degrees stops short of the square's edge (85.0511 degrees).
    QVERIFY(MercatorProjection::latLonToNorm(90.0, 0.0).y() > 0.0016);
    QVERIFY(MercatorProjection::latLonToNorm(-90.0, 0.0).y() < 1.0 - 0.0016);
    QCOMPARE(MercatorProjection::latLonToNorm(0.0, 200.0).x(), 380.0 / 360.0);
    QCOMPARE(MercatorProjection::latLonToNorm(0.0, -200.0).x(), -20.0 / 360.0);
}

void TestProjection::worldEdgeLatitude()
{
    // The top and bottom of the square are at +-85.0511287798066 degrees, the published Web
    // Mercator limit, whatever the latitude clamp is.
    VERIFY_NEAR(MercatorProjection::normToLatLon(QPointF(0.5, 0.0)), QPointF(85.0511287798066, 0.0), 1e-12);
    VERIFY_NEAR(MercatorProjection::normToLatLon(QPointF(0.5, 1.0)), QPointF(-85.0511287798066, 0.0), 1e-12);
    VERIFY_NEAR(MercatorProjection::normToLatLon(QPointF(0.0, 0.5)), QPointF(0.0, -180.0), 1e-12);
    VERIFY_NEAR(MercatorProjection::normToLatLon(QPointF(1.0, 0.5)), QPointF(0.0, 180.0), 1e-12);
}

void TestProjection::mercatorRoundTrip_data()
{
    QTest::addColumn<double>("lat");
    QTest::addColumn<double>("lon");
    QTest::addColumn<int>("zoom");
    QTest::newRow("Shanghai z7") << 31.14 << 121.81 << 7;
    QTest::newRow("Beijing z12") << 39.9087 << 116.3975 << 12;
    QTest::newRow("Ushuaia z18") << -54.8431 << -68.2956 << 18;
    QTest::newRow("high north z3") << 84.99 << -170.0 << 3;
    QTest::newRow("high south z1") << -84.99 << 170.0 << 1;
    QTest::newRow("origin z0") << 0.0 << 0.0 << 0;
}

void TestProjection::mercatorRoundTrip()
{
    QFETCH(double, lat);
    QFETCH(double, lon);
    QFETCH(int, zoom);
    const QPointF latLon(lat, lon);
    VERIFY_NEAR(MercatorProjection::normToLatLon(MercatorProjection::latLonToNorm(lat, lon)), latLon, 1e-11);
    const QPointF pixel = MercatorProjection::latLonToPixel(latLon, zoom);
    VERIFY_NEAR(MercatorProjection::pixelToLatLon(pixel, zoom), latLon, 1e-9);
    // A point half a tile away converts like the reference inverse.
    const QPointF other = pixel + QPointF(128.0, -128.0);
    const double size = std::ldexp(256.0, zoom);
    VERIFY_NEAR(MercatorProjection::pixelToLatLon(other, zoom), refLatLon(other / size), 1e-11);
}

void TestProjection::tileOfKnownPlace_data()
{
    QTest::addColumn<double>("lat");
    QTest::addColumn<double>("lon");
    QTest::addColumn<int>("zoom");
    QTest::addColumn<int>("tileX");
    QTest::addColumn<int>("tileY");
    QTest::newRow("Tiananmen z12") << 39.9087 << 116.3975 << 12 << 3372 << 1552;
    QTest::newRow("Pudong z7") << 31.1434 << 121.8052 << 7 << 107 << 52;
    QTest::newRow("Heathrow z14") << 51.47 << -0.4543 << 14 << 8171 << 5450;
    QTest::newRow("Rio z8") << -22.9 << -43.2 << 8 << 97 << 144;
}

void TestProjection::tileOfKnownPlace()
{
    QFETCH(double, lat);
    QFETCH(double, lon);
    QFETCH(int, zoom);
    QFETCH(int, tileX);
    QFETCH(int, tileY);
    const QPointF pixel = MercatorProjection::latLonToPixel(lat, lon, zoom);
    QCOMPARE(int(std::floor(pixel.x() / 256.0)), tileX);
    QCOMPARE(int(std::floor(pixel.y() / 256.0)), tileY);
}

void TestProjection::chinaRectangle_data()
{
    QTest::addColumn<double>("lat");
    QTest::addColumn<double>("lon");
    QTest::addColumn<bool>("outside");
    QTest::newRow("centre") << 35.0 << 105.0 << false;
    QTest::newRow("west edge") << 30.0 << 72.004 << false;
    QTest::newRow("west of edge") << 30.0 << 72.00399 << true;
    QTest::newRow("east edge") << 30.0 << 137.8347 << false;
    QTest::newRow("east of edge") << 30.0 << 137.83471 << true;
    QTest::newRow("south edge") << 0.8293 << 110.0 << false;
    QTest::newRow("south of edge") << 0.82929 << 110.0 << true;
    QTest::newRow("north edge") << 55.8271 << 120.0 << false;
    QTest::newRow("north of edge") << 55.82711 << 120.0 << true;
    QTest::newRow("Tokyo") << 35.68 << 139.77 << true;
    QTest::newRow("London") << 51.47 << -0.45 << true;
}

void TestProjection::chinaRectangle()
{
    QFETCH(double, lat);
    QFETCH(double, lon);
    QFETCH(bool, outside);
    QCOMPARE(Gcj02::isOutOfChina(lat, lon), outside);
}

void TestProjection::gcjShiftMatchesReference_data()
{
    QTest::addColumn<double>("lat");
    QTest::addColumn<double>("lon");
    QTest::addColumn<bool>("shifted");
    QTest::newRow("Shanghai") << 31.1434 << 121.8052 << true;
    QTest::newRow("Urumqi") << 43.8256 << 87.6168 << true;
    QTest::newRow("Lhasa") << 29.65 << 91.1 << true;
    QTest::newRow("Sanya") << 18.25 << 109.5 << true;
    QTest::newRow("Harbin") << 45.75 << 126.65 << true;
    QTest::newRow("polynomial origin") << 35.0 << 105.0 << true;
    QTest::newRow("north edge") << 55.8271 << 120.0 << true;
    QTest::newRow("west edge") << 30.0 << 72.004 << true;
    QTest::newRow("north of edge") << 55.82711 << 120.0 << false;
    QTest::newRow("Tokyo") << 35.68 << 139.77 << false;
    QTest::newRow("Sydney") << -33.9461 << 151.1772 << false;
}

void TestProjection::gcjShiftMatchesReference()
{
    QFETCH(double, lat);
    QFETCH(double, lon);
    QFETCH(bool, shifted);
    const QPointF wgs(lat, lon);
    const QPointF gcj = toGcj(wgs);
    if (!shifted) {
        QCOMPARE(gcj, wgs);
        QCOMPARE(toWgs(wgs), wgs);
        return;
    }
    VERIFY_NEAR(gcj, refToGcj(lat, lon), 1e-11);
}

void TestProjection::gcjShiftOfTiananmen()
{
    // The commonly quoted GCJ-02 position of Tiananmen Square's WGS-84 point.
    VERIFY_NEAR(toGcj(QPointF(39.9087, 116.3975)), QPointF(39.91010, 116.40374), 1e-5);
}

void TestProjection::gcjRoundTrip_data()
{
    QTest::addColumn<double>("lat");
    QTest::addColumn<double>("lon");
    QTest::newRow("Beijing") << 39.9087 << 116.3975;
    QTest::newRow("Chengdu") << 30.5785 << 103.9471;
    QTest::newRow("Kashgar") << 39.5429 << 76.0199;
    QTest::newRow("Hong Kong") << 22.308 << 113.9185;
    QTest::newRow("Mohe") << 52.9127 << 122.4301;
    QTest::newRow("Jiamusi") << 46.8434 << 130.4651;
}

void TestProjection::gcjRoundTrip()
{
    QFETCH(double, lat);
    QFETCH(double, lon);
    const QPointF wgs(lat, lon);
    const QPointF gcj = toGcj(wgs);
    // 1e-7 degrees is about a centimetre.
    VERIFY_NEAR(toWgs(gcj), wgs, 1e-7);
    VERIFY_NEAR(toWgs(gcj), refToWgs(gcj.x(), gcj.y(), 5), 1e-10);
    VERIFY_NEAR(toGcj(toWgs(wgs)), wgs, 1e-7);
}

void TestProjection::gcjInverseAlternatesAtWestEdge()
{
    // Here the shift points east, so the first estimate falls west of the rectangle where the
    // forward shift is the identity; the estimate then swings between two points and the odd
    // number of corrections (five) ends on the outside one.
    const QPointF gcj(30.0, 72.005);
    const QPointF outsideEstimate = gcj - refGcjOffset(gcj.x(), gcj.y());
    QVERIFY(!refInChina(outsideEstimate.x(), outsideEstimate.y()));
    VERIFY_NEAR(refToWgs(gcj.x(), gcj.y(), 5), outsideEstimate, 1e-12);
    VERIFY_NEAR(toWgs(gcj), outsideEstimate, 1e-12);
    VERIFY_NEAR(refToWgs(gcj.x(), gcj.y(), 6), gcj, 1e-12);
}

QTEST_APPLESS_MAIN(TestProjection)
#include "tst_projection.moc"
