#include "nav/spatialindex.h"
#include "tests/support/logexpect.h"

#include <QRegularExpression>
#include <QTest>

#include <limits>

namespace {

AirportRecord airportAt(const QString &icao, double lat, double lon)
{
    AirportRecord a;
    a.icao = icao;
    a.lat = lat;
    a.lon = lon;
    return a;
}

QStringList icaos(const QList<const AirportRecord *> &records)
{
    QStringList out;
    for (const AirportRecord *a : records)
        out << a->icao;
    return out;
}

} // namespace

class TestSpatialIndex : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void binsClampAtTheEdges_data()
    {
        QTest::addColumn<double>("degrees");
        QTest::addColumn<int>("row");
        QTest::addColumn<int>("column");
        QTest::newRow("south-west corner") << -90.0 << 0 << 90;
        QTest::newRow("below the grid") << -195.0 << 0 << 0;
        QTest::newRow("just below zero") << -0.5 << 89 << 179;
        QTest::newRow("zero") << 0.0 << 90 << 180;
        QTest::newRow("just below the pole") << 89.99 << 179 << 269;
        QTest::newRow("pole") << 90.0 << 179 << 270;
        QTest::newRow("date line") << 180.0 << 179 << 359;
        QTest::newRow("beyond the date line") << 200.0 << 179 << 359;
        QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN() << 0 << 0;
    }

    void binsClampAtTheEdges()
    {
        QFETCH(double, degrees);
        QFETCH(int, row);
        QFETCH(int, column);
        QCOMPARE(SpatialIndex::latBin(degrees), row);
        QCOMPARE(SpatialIndex::lonBin(degrees), column);
        QCOMPARE(SpatialIndex::cellIndex(row, column), row * 360 + column);
    }

    void boundsAreInclusive()
    {
        SpatialIndex index;
        index.indexAirports({airportAt("SW", 30.0, 120.0), airportAt("NE", 31.0, 121.0), airportAt("MID", 30.5, 120.5),
                             airportAt("N_OUT", 31.000001, 120.5), airportAt("W_OUT", 30.5, 119.999999)});
        QCOMPARE(icaos(index.queryAirports(30.0, 120.0, 31.0, 121.0)), (QStringList{"SW", "MID", "NE"}));
        // A box of zero size still finds what lies exactly on it.
        QCOMPARE(icaos(index.queryAirports(31.0, 121.0, 31.0, 121.0)), QStringList{"NE"});
    }

    void boxAcrossTheAntimeridianFindsNothing()
    {
        SpatialIndex index;
        index.indexAirports({airportAt("EAST", -17.0, 179.5), airportAt("WEST", -17.0, -179.5)});
        QVERIFY(index.queryAirports(-18.0, 179.0, -16.0, -179.0).isEmpty());
        QCOMPARE(icaos(index.queryAirports(-18.0, -180.0, -16.0, 180.0)), (QStringList{"WEST", "EAST"}));
        // The nearest search does not wrap either: 0.2 degrees away, but across the line.
        SpatialIndex west;
        west.indexAirports({airportAt("WEST", -17.0, -179.9)});
        QVERIFY(!west.nearestAirport(-17.0, 179.9, 10.0));
        QVERIFY(west.nearestAirport(-17.0, -179.8, 10.0));
    }

    void polesAndDateLineAreIndexed()
    {
        SpatialIndex index;
        index.indexAirports({airportAt("POLE", 90.0, 180.0), airportAt("ZERO", 0.0, 0.0)});
        QCOMPARE(icaos(index.queryAirports(89.0, 179.0, 90.0, 180.0)), QStringList{"POLE"});
        QCOMPARE(index.nearestAirport(90.0, 180.0, 1.0)->icao, QString("POLE"));
        // Nothing is filtered: a record at 0,0 is a record like any other.
        QCOMPARE(index.nearestAirport(0.1, 0.1, 1.0)->icao, QString("ZERO"));
    }

    void resultsComeRowThenColumnThenListOrder()
    {
        SpatialIndex index;
        index.indexAirports({airportAt("A", 10.5, 20.5), airportAt("B", 5.5, 30.5), airportAt("C", 5.5, 10.5),
                             airportAt("D", 10.5, 10.5), airportAt("E", 5.7, 10.2)});
        QCOMPARE(icaos(index.queryAirports(0.0, 0.0, 20.0, 40.0)), (QStringList{"C", "E", "B", "D", "A"}));
    }

    void nearestTiesGoToLowerRowThenColumnThenList_data()
    {
        QTest::addColumn<double>("lat");
        QTest::addColumn<double>("lon");
        QTest::addColumn<QList<double>>("positions"); // lat, lon pairs in list order
        QTest::addColumn<int>("expected");            // list position
        QTest::newRow("lower row wins") << 10.0 << 20.5 << QList<double>{10.25, 20.5, 9.75, 20.5} << 1;
        QTest::newRow("lower column wins") << 10.5 << 20.0 << QList<double>{10.5, 20.25, 10.5, 19.75} << 1;
        QTest::newRow("same cell: earlier wins") << 10.5 << 20.5 << QList<double>{10.25, 20.5, 10.75, 20.5} << 0;
    }

    void nearestTiesGoToLowerRowThenColumnThenList()
    {
        QFETCH(double, lat);
        QFETCH(double, lon);
        QFETCH(QList<double>, positions);
        QFETCH(int, expected);
        QList<AirportRecord> airports;
        for (int i = 0; i + 1 < positions.size(); i += 2)
            airports << airportAt(QString::number(i / 2), positions[i], positions[i + 1]);
        SpatialIndex index;
        index.indexAirports(airports);
        const AirportRecord *best = index.nearestAirport(lat, lon, 1.0);
        QVERIFY(best);
        QCOMPARE(best->icao, QString::number(expected));
    }

    void nearestUsesStrictDistanceAndCosineScaling()
    {
        SpatialIndex index;
        index.indexAirports({airportAt("EDGE", 0.25, 0.0)});
        QVERIFY(!index.nearestAirport(0.0, 0.0, 0.25));
        QVERIFY(index.nearestAirport(0.0, 0.0, 0.2500001));

        // At 60 degrees a degree of longitude is half a degree of latitude.
        index.indexAirports({airportAt("NORTH", 60.2, 10.0), airportAt("EAST", 60.0, 10.3)});
        QCOMPARE(index.nearestAirport(60.0, 10.0, 1.0)->icao, QString("EAST"));
    }

    void nearestLooksOnlyAtTheNeighbouringCells()
    {
        SpatialIndex index;
        index.indexAirports({airportAt("FAR", 12.5, 20.5)});
        QVERIFY(!index.nearestAirport(10.5, 20.5, 100.0));
        QVERIFY(index.nearestAirport(11.5, 20.5, 100.0));
    }

    void navaidsAndWaypointsUseTheirOwnGrids()
    {
        NavaidRecord vor;
        vor.ident = "PEK";
        vor.lat = 40.07;
        vor.lon = 116.6;
        WaypointRecord fix;
        fix.ident = "KUBAT";
        fix.lat = 38.95;
        fix.lon = 117.35;
        SpatialIndex index;
        index.indexNavaids({vor});
        index.indexWaypoints({fix});
        QVERIFY(index.queryAirports(30, 110, 45, 120).isEmpty());
        QCOMPARE(index.queryNavaids(30, 110, 45, 120).size(), 1);
        QCOMPARE(index.queryWaypoints(30, 110, 45, 120).first()->ident, QString("KUBAT"));
        QCOMPARE(index.nearestNavaid(40.0, 116.5, 1.0)->ident, QString("PEK"));
    }

    void reindexingReplacesAndClearEmpties()
    {
        SpatialIndex index;
        index.indexAirports({airportAt("OLD", 1.5, 1.5)});
        index.indexAirports({airportAt("NEW", 2.5, 2.5)});
        QCOMPARE(icaos(index.queryAirports(0, 0, 5, 5)), QStringList{"NEW"});
        index.clear();
        QVERIFY(index.queryAirports(-90, -180, 90, 180).isEmpty());
        QVERIFY(!index.nearestAirport(2.5, 2.5, 1.0));
    }
};

QTEST_GUILESS_MAIN(TestSpatialIndex)
#include "tst_spatialindex.moc"
