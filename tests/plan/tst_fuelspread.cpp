#include "plan/fuelspread.h"
#include "tests/support/logexpect.h"

#include <QRegularExpression>
#include <QTest>

// Fuel spread over tanks inner first, each group evenly, on SimConnect-style tank names.
class TestFuelSpread : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }

    void innerTanksFirst_data();
    void innerTanksFirst();
};

void TestFuelSpread::innerTanksFirst_data()
{
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<QList<double>>("capacities");
    QTest::addColumn<double>("gallons");
    QTest::addColumn<QList<double>>("contents");

    const QStringList airliner{"Left Main", "Center", "Right Main"};
    const QList<double> airlinerCapacity{1000, 2000, 1000};
    QTest::newRow("wings only") << airliner << airlinerCapacity << 1500.0 << QList<double>{750, 0, 750};
    QTest::newRow("wings full, rest in the centre")
        << airliner << airlinerCapacity << 2600.0 << QList<double>{1000, 600, 1000};
    QTest::newRow("more than fits") << airliner << airlinerCapacity << 9000.0 << QList<double>{1000, 2000, 1000};
    QTest::newRow("nothing") << airliner << airlinerCapacity << -5.0 << QList<double>{0, 0, 0};
    // A smaller main tank fills up; its share goes to the other main tank before the aux tanks.
    QTest::newRow("uneven mains") << QStringList{"Left Main", "Right Main", "Left Aux", "Right Aux", "Left Tip"}
                                  << QList<double>{300, 500, 200, 200, 100} << 900.0
                                  << QList<double>{300, 500, 50, 50, 0};
    QTest::newRow("unnamed tanks evenly") << QStringList{"Tank 1", "Tank 2", "Tank 3"} << QList<double>{100, 50, 100}
                                          << 210.0 << QList<double>{80, 50, 80};
    QTest::newRow("external last") << QStringList{"External1", "Center2", "Left Main"} << QList<double>{100, 100, 100}
                                   << 250.0 << QList<double>{50, 100, 100};
}

void TestFuelSpread::innerTanksFirst()
{
    QFETCH(QStringList, names);
    QFETCH(QList<double>, capacities);
    QFETCH(double, gallons);
    QFETCH(QList<double>, contents);
    const QList<double> got = FuelSpread::innerFirst(names, capacities, gallons);
    QCOMPARE(got.size(), contents.size());
    for (int i = 0; i < got.size(); ++i)
        QVERIFY2(std::abs(got[i] - contents[i]) < 1e-6, qPrintable(QStringLiteral("%1: %2").arg(names[i]).arg(got[i])));
}

QTEST_GUILESS_MAIN(TestFuelSpread)
#include "tst_fuelspread.moc"
