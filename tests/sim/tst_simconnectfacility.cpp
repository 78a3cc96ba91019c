#include "sim/simconnect/simconnectfacility.h"

#include <QTest>

using namespace simconnect;

namespace {

FacilityDefinition runwayDefinition()
{
    FacilityDefinition definition;
    for (const char *line : {"OPEN AIRPORT", "ICAO", "OPEN RUNWAY", "LENGTH", "SURFACE", "OPEN PRIMARY_THRESHOLD",
                             "LENGTH", "CLOSE PRIMARY_THRESHOLD", "OPEN SECONDARY_THRESHOLD", "LENGTH",
                             "CLOSE SECONDARY_THRESHOLD", "CLOSE RUNWAY", "CLOSE AIRPORT"})
        definition.add(QLatin1String(line));
    return definition;
}

FacilityDataInfo part(uint32_t id, uint32_t parent, FacilityType type, uint32_t index, const QByteArray &data)
{
    FacilityDataInfo info;
    info.userRequestId = 7;
    info.uniqueRequestId = id;
    info.parentUniqueRequestId = parent;
    info.type = uint32_t(type);
    info.isListItem = type == FacilityType::Runway;
    info.itemIndex = index;
    info.listSize = 2;
    info.data = data;
    return info;
}

QByteArray fields(const FacilityDefinition &definition, int block, const QVariantHash &values)
{
    return packFacilityFields(definition.blocks().at(block), values);
}

} // namespace

// Facility definitions checked line by line, and the reassembly of one request's objects from
// messages in any order: what the importer relies on when a simulator answers out of order.
class TestSimConnectFacility : public QObject
{
    Q_OBJECT

private slots:
    void definitionRefuses_data();
    void definitionRefuses();
    void treeFromAnyOrder();
    void brokenTrees_data();
    void brokenTrees();
};

void TestSimConnectFacility::definitionRefuses_data()
{
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<int>("refusedLine"); // -1: all taken and complete

    QTest::newRow("complete") << QStringList{"OPEN WAYPOINT", "LATITUDE",    "OPEN ROUTE",
                                             "NEXT_ICAO",     "CLOSE ROUTE", "CLOSE WAYPOINT"}
                              << -1;
    QTest::newRow("field outside") << QStringList{"ICAO"} << 0;
    QTest::newRow("unknown field") << QStringList{"OPEN NDB", "FREQUENCY", "NO_SUCH"} << 2;
    QTest::newRow("field of another object") << QStringList{"OPEN AIRPORT", "FIX_ICAO"} << 1;
    QTest::newRow("runway in a waypoint") << QStringList{"OPEN WAYPOINT", "OPEN RUNWAY"} << 1;
    QTest::newRow("leg directly in an airport") << QStringList{"OPEN AIRPORT", "OPEN APPROACH_LEG"} << 1;
    QTest::newRow("close of another object") << QStringList{"OPEN AIRPORT", "OPEN RUNWAY", "CLOSE AIRPORT"} << 2;
    QTest::newRow("second root") << QStringList{"OPEN VOR", "CLOSE VOR", "OPEN NDB"} << 2;
    QTest::newRow("unknown object") << QStringList{"OPEN HANGAR"} << 0;
}

void TestSimConnectFacility::definitionRefuses()
{
    QFETCH(QStringList, lines);
    QFETCH(int, refusedLine);
    FacilityDefinition definition;
    int refused = -1;
    for (int i = 0; i < lines.size() && refused < 0; ++i) {
        if (!definition.add(lines.at(i)))
            refused = i;
    }
    QCOMPARE(refused, refusedLine);
    if (refusedLine < 0)
        QVERIFY(definition.isComplete());
}

void TestSimConnectFacility::treeFromAnyOrder()
{
    const FacilityDefinition definition = runwayDefinition();
    QVERIFY(definition.isComplete());
    // Blocks: 0 airport, 1 runway, 2 primary threshold, 3 secondary threshold.
    const QList<FacilityDataInfo> parts = {
        part(14, 12, FacilityType::Pavement, 0, fields(definition, 3, {{"LENGTH", 22.0}})),
        part(12, 10, FacilityType::Runway, 1, fields(definition, 1, {{"LENGTH", 3000.0}, {"SURFACE", 4}})),
        part(13, 12, FacilityType::Pavement, 0, fields(definition, 2, {{"LENGTH", 11.0}})),
        part(11, 10, FacilityType::Runway, 0, fields(definition, 1, {{"LENGTH", 1500.0}})),
        part(10, 0, FacilityType::Airport, 0, fields(definition, 0, {{"ICAO", "QTST"}})),
    };
    FacilityTreeAssembler assembler;
    assembler.expect(7, &definition);
    for (const FacilityDataInfo &p : parts)
        assembler.add(p);
    QString error;
    const std::optional<FacilityNode> root = assembler.finish(7, &error);
    QVERIFY2(root, qPrintable(error));
    QCOMPARE(root->text("ICAO"), QStringLiteral("QTST"));
    const QList<FacilityNode> runways = root->childrenOf(FacilityType::Runway);
    QCOMPARE(runways.size(), 2);
    // List items by their index, not by arrival.
    QCOMPARE(runways.at(0).number("LENGTH"), 1500.0);
    QCOMPARE(runways.at(1).intValue("SURFACE"), 4);
    // Two objects of one type in one parent: matched to their blocks in arrival order.
    QCOMPARE(runways.at(1).childrenIn("PRIMARY_THRESHOLD").value(0).number("LENGTH"), 22.0);
    QCOMPARE(runways.at(1).childrenIn("SECONDARY_THRESHOLD").value(0).number("LENGTH"), 11.0);
    QCOMPARE(assembler.pending(), 0);
}

void TestSimConnectFacility::brokenTrees_data()
{
    QTest::addColumn<int>("breakage");
    QTest::addColumn<QString>("reason");
    QTest::newRow("parent never came") << 0 << "never came";
    QTest::newRow("no root") << 1 << "no root";
    QTest::newRow("fields cut short") << 2 << "shorter";
    QTest::newRow("type the definition lacks") << 3 << "did not define";
    QTest::newRow("object id twice") << 4 << "twice";
}

void TestSimConnectFacility::brokenTrees()
{
    QFETCH(int, breakage);
    QFETCH(QString, reason);
    const FacilityDefinition definition = runwayDefinition();
    QList<FacilityDataInfo> parts = {
        part(10, 0, FacilityType::Airport, 0, fields(definition, 0, {{"ICAO", "QTST"}})),
        part(11, 10, FacilityType::Runway, 0, fields(definition, 1, {})),
    };
    switch (breakage) {
    case 0:
        parts[1].parentUniqueRequestId = 99;
        break;
    case 1:
        parts.removeFirst();
        break;
    case 2:
        parts[1].data.chop(1);
        break;
    case 3:
        parts.append(part(12, 10, FacilityType::Frequency, 0, QByteArray()));
        break;
    case 4:
        parts[1].uniqueRequestId = 10;
        break;
    }
    FacilityTreeAssembler assembler;
    assembler.expect(7, &definition);
    for (const FacilityDataInfo &p : std::as_const(parts))
        assembler.add(p);
    QString error;
    QVERIFY(!assembler.finish(7, &error));
    QVERIFY2(error.contains(reason), qPrintable(error));
    QVERIFY(!assembler.isExpected(7));
}

QTEST_MAIN(TestSimConnectFacility)
#include "tst_simconnectfacility.moc"
