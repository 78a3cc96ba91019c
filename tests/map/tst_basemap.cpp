#include "map/basemapdata.h"
#include "map/mappalette.h"
#include "map/mapwidget.h"
#include "map/offlinebasemap.h"
#include "map/tiledownloader.h"
#include "tests/support/logexpect.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

namespace {

QString shared(const QString &relative)
{
    return QStringLiteral(SHARED_TESTDATA_DIR "/") + relative;
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Land polygons of a world-atlas countries file, counted straight from its "land" object.
int landPolygons(const QString &path)
{
    const QJsonObject land =
        QJsonDocument::fromJson(readFile(path)).object().value("objects").toObject().value("land").toObject();
    int polygons = 0;
    for (const QJsonValue &g : land.value("geometries").toArray()) {
        const QJsonObject geometry = g.toObject();
        polygons += geometry.value("type").toString() == QLatin1String("MultiPolygon")
                        ? int(geometry.value("arcs").toArray().size())
                        : 1;
    }
    return polygons;
}

bool near(const QColor &a, const QColor &b)
{
    return std::abs(a.red() - b.red()) <= 3 && std::abs(a.green() - b.green()) <= 3 &&
           std::abs(a.blue() - b.blue()) <= 3;
}

} // namespace

class TestBaseMap : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void builtInDataMatchesItsSource();
    void rebuiltFromTheSourceByteForByte();
    void damagedDataIsRefused_data();
    void damagedDataIsRefused();
    void landAndSeaWhereTheyAre_data();
    void landAndSeaWhereTheyAre();
};

void TestBaseMap::builtInDataMatchesItsSource()
{
    QString error;
    const auto data = BaseMapData::loadBuiltIn(&error);
    QVERIFY2(data, qPrintable(error));
    QCOMPARE(data->bands().size(), 3);
    QCOMPARE(data->bandForZoom(1)->minZoom, 0);
    QCOMPARE(data->bandForZoom(5)->minZoom, 4);
    QCOMPARE(data->bandForZoom(12)->minZoom, 7);
    if (!QFile::exists(shared("naturalearth/countries-110m.json")))
        QSKIP("../shared/testdata is not there; the comparison with the source needs it");
    const char *sources[] = {"countries-110m.json", "countries-50m.json", "countries-10m.json"};
    for (int i = 0; i < 3; ++i) {
        const BaseMapData::Band &band = data->bands().at(i);
        QCOMPARE(band.land.size(), landPolygons(shared(QStringLiteral("naturalearth/") + sources[i])));
        QVERIFY(band.borders.size() > 300);
        // Every land ring closes on itself once its arcs are joined.
        for (const QList<QList<int>> &polygon : band.land) {
            for (const QList<int> &ring : polygon) {
                const QList<QPointF> points = BaseMapData::ringPoints(band, ring);
                QVERIFY(points.size() >= 2);
                QCOMPARE(points.first(), points.last());
            }
        }
    }
}

void TestBaseMap::rebuiltFromTheSourceByteForByte()
{
    if (!QFile::exists(shared("naturalearth/countries-10m.json")))
        QSKIP("../shared/testdata is not there; rebuilding the base map needs it");
    QTemporaryDir dir;
    QProcess tool;
    tool.start(QStringLiteral(BASEMAP_EXECUTABLE),
               {dir.filePath("out.zbm"), shared("naturalearth/countries-110m.json"),
                shared("naturalearth/countries-50m.json"), shared("naturalearth/countries-10m.json")});
    QVERIFY(tool.waitForFinished(60000));
    QCOMPARE(tool.exitCode(), 0);
    const QByteArray rebuilt = readFile(dir.filePath("out.zbm"));
    QVERIFY(!rebuilt.isEmpty());
    QVERIFY2(rebuilt == readFile(QString::fromLatin1(BaseMapData::kResourcePath)),
             "map/basemap/naturalearth.zbm is not what tools/basemap makes of the Natural Earth files");
}

void TestBaseMap::damagedDataIsRefused_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("reason");
    const QByteArray good = readFile(QString::fromLatin1(BaseMapData::kResourcePath));
    QTest::newRow("empty") << QByteArray() << "magic";
    QTest::newRow("other magic") << QByteArray("PK\x03\x04xxxxxxxx") << "magic";
    QTest::newRow("truncated") << good.left(good.size() / 2) << "truncated|beyond the data";
    QTest::newRow("trailing bytes") << good + "junk"
                                    << "trailing";
    // One band announcing four billion arcs in a few bytes.
    QByteArray huge("ZBM1\x01\x01\x00\x03", 8);
    huge.append(QByteArray(32, '\0')).append("\xff\xff\xff\xff\x0f", 5);
    QTest::newRow("count beyond the data") << huge << "beyond the data";
    QByteArray badRef("ZBM1\x01\x01\x00\x03", 8);
    badRef.append(QByteArray(32, '\0'))
        .append("\x01\x02\x00\x00\x02\x02", 6) // one arc of two points
        .append("\x01\x01\x01\x08", 4)         // one polygon, one ring, reference to arc 4
        .append("\x00", 1);
    QTest::newRow("arc reference out of range") << badRef << "out of range";
}

void TestBaseMap::damagedDataIsRefused()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, reason);
    QString error;
    QVERIFY(!BaseMapData::decode(bytes, &error));
    QVERIFY2(error.contains(QRegularExpression(reason)), qPrintable(error));
}

void TestBaseMap::landAndSeaWhereTheyAre_data()
{
    QTest::addColumn<int>("style");
    QTest::addColumn<int>("zoom");
    QTest::newRow("offline style, world") << int(MapWidget::OfflineMap) << 3;
    QTest::newRow("offline style, detailed") << int(MapWidget::OfflineMap) << 8;
    // Street tiles from a server that is not there: the base map stands in.
    QTest::newRow("tiles unreachable") << int(MapWidget::StreetTiles) << 8;
}

void TestBaseMap::landAndSeaWhereTheyAre()
{
    QFETCH(int, style);
    QFETCH(int, zoom);
    QTcpServer closed;
    QVERIFY(closed.listen(QHostAddress::LocalHost, 0));
    const quint16 port = closed.serverPort();
    closed.close(); // nothing listens there any more: connections are refused
    QTemporaryDir cache;
    MapWidget map;
    map.resize(800, 600);
    map.tileDownloader()->setCacheRoot(cache.path());
    map.tileDownloader()->setStreetBase(QStringLiteral("http://127.0.0.1:%1").arg(port));
    map.setMapStyle(MapWidget::MapStyle(style));
    map.setZoom(zoom);
    // Shanghai: the coast between the Yangtze mouth and the East China Sea.
    map.setCenter(zoom > 5 ? QPointF(31.2, 121.6) : QPointF(30.0, 110.0));
    const OfflineBaseMap::Colours colours;
    const auto render = [&map] {
        QImage image(map.size(), QImage::Format_RGB32);
        QPainter painter(&image);
        map.paintMap(painter);
        return image;
    };
    // Rendered before any tile server answered (none will): the map is not white.
    QVERIFY(!map.tileDownloader()->serviceReachable());
    const QImage image = render();
    const QList<QPair<QPointF, QColor>> probes =
        zoom > 5 ? QList<QPair<QPointF, QColor>>{{{31.25, 121.3}, colours.land}, {{31.0, 123.0}, colours.sea}}
                 : QList<QPair<QPointF, QColor>>{{{34.0, 105.0}, colours.land}, {{15.0, 125.0}, colours.sea}};
    for (const auto &[position, colour] : probes) {
        const QPoint at = map.geoToScreen(position.x(), position.y()).toPoint();
        QVERIFY2(
            near(image.pixelColor(at), colour),
            qPrintable(
                QStringLiteral("%1,%2 is %3").arg(position.x()).arg(position.y()).arg(image.pixelColor(at).name())));
    }
}

QTEST_MAIN(TestBaseMap)
#include "tst_basemap.moc"
