#include "sim/simconnect/simconnectdatadefinition.h"
#include "sim/simconnect/simconnectevents.h"
#include "sim/simconnect/simconnectprotocol.h"
#include "sim/simconnect/simvartable.h"
#include "tests/support/logexpect.h"

#include <QJsonArray>
#include <QRegularExpression>
#include <QTest>

#include <cmath>

using namespace simconnect;

namespace {

// Bytes from a hex text with blanks between groups, as written down from the message layouts.
QByteArray hex(const char *text)
{
    return QByteArray::fromHex(QByteArray(text).replace(' ', ""));
}

QByteArray zeros(int count)
{
    return QByteArray(count, '\0');
}

} // namespace

// The wire codec against hand-made bytes, so the fake's encoders and the decoders cannot agree on
// a shared mistake; the data definitions that pack and unpack the variable table; the conversions
// of a sample into the aircraft record and into the bridge helper's line; the radio encodings.
class TestSimConnectProtocol : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void goldenException();
    void goldenEventAndOpen();
    void goldenSimObjectData();
    void goldenFacilityMessages();
    void goldenAirportList_data();
    void goldenAirportList();
    void goldenInitPosition();
    void malformedMessagesDecodeToNothing_data();
    void malformedMessagesDecodeToNothing();
    void everyListKindRoundTrips_data();
    void everyListKindRoundTrips();
    void variableTableRoundTrips();
    void sampleBecomesAircraftData();
    void sampleBecomesBridgeLine();
    void tankLayout();
    void radioEvents_data();
    void radioEvents();
};

void TestSimConnectProtocol::goldenException()
{
    // size 24, version 5, id 1 (EXCEPTION); NAME_UNRECOGNIZED for send id 42, parameter 2.
    const QByteArray golden = hex("18000000 05000000 01000000 07000000 2a000000 02000000");
    const std::optional<Message> message = splitPacket(golden);
    QVERIFY(message);
    QCOMPARE(message->recvId(), RecvId::Exception);
    QCOMPARE(message->version, 5u);
    const std::optional<ExceptionInfo> info = decodeException(message->body);
    QVERIFY(info);
    QCOMPARE(info->code, uint32_t(ExceptionCode::NameUnrecognized));
    QCOMPARE(info->sendId, 42u);
    QCOMPARE(info->index, 2u);
    QCOMPARE(encodeException(*info, 5), golden);
}

void TestSimConnectProtocol::goldenEventAndOpen()
{
    // EVENT: no group, client event 2, data 1.
    const QByteArray event = hex("18000000 04000000 04000000 ffffffff 02000000 01000000");
    const std::optional<EventInfo> info = decodeEvent(splitPacket(event)->body);
    QVERIFY(info);
    QCOMPARE(info->groupId, kUnused);
    QCOMPARE(info->eventId, 2u);
    QCOMPARE(info->data, 1u);
    QCOMPARE(encodeEvent(*info, 4), event);

    // OPEN: 308 bytes; name in 256 bytes, then 11.0.282174.999 and 11.0.62651.3, two reserved words.
    const QByteArray open = hex("34010000 05000000 02000000") + QByteArray("KittyHawk") + zeros(247) +
                            hex("0b000000 00000000 3e4e0400 e7030000") + hex("0b000000 00000000 bbf40000 03000000") +
                            zeros(8);
    const std::optional<Message> message = splitPacket(open);
    QVERIFY(message);
    QCOMPARE(message->recvId(), RecvId::Open);
    const std::optional<OpenInfo> openInfo = decodeOpen(message->body);
    QVERIFY(openInfo);
    QCOMPARE(openInfo->applicationName, QStringLiteral("KittyHawk"));
    QCOMPARE(openInfo->applicationVersion[2], 282174u);
    QCOMPARE(openInfo->applicationVersion[3], 999u);
    QCOMPARE(openInfo->simConnectVersion[0], 11u);
    QCOMPARE(openInfo->simConnectVersion[2], 62651u);
    QCOMPARE(encodeOpen(*openInfo, 5), open);
}

void TestSimConnectProtocol::goldenSimObjectData()
{
    // Request 1, object 1, definition 1, no flags, entry 1 of 1, two datums: 31.5 and -2.0.
    const QByteArray golden = hex("38000000 05000000 08000000 01000000 01000000 01000000 00000000 01000000 01000000 "
                                  "02000000 000000000080 3f40 00000000000000c0");
    const std::optional<Message> message = splitPacket(golden);
    QVERIFY(message);
    const std::optional<SimObjectDataInfo> info = decodeSimObjectData(message->body);
    QVERIFY(info);
    QCOMPARE(info->requestId, 1u);
    QCOMPARE(info->defineCount, 2u);
    QCOMPARE(info->data.size(), 16);
    DataDefinition definition;
    definition.add({QStringLiteral("PLANE LATITUDE"), QStringLiteral("degrees")});
    definition.add({QStringLiteral("PLANE PITCH DEGREES"), QStringLiteral("degrees")});
    const auto values = definition.unpack(info->data);
    QVERIFY(values);
    QCOMPARE(numberOf(values->at(0)), 31.5);
    QCOMPARE(numberOf(values->at(1)), -2.0);
    QCOMPARE(encodeSimObjectData(RecvId::SimObjectData, *info, 5), golden);
    QCOMPARE(definition.pack(*values), info->data);
}

void TestSimConnectProtocol::goldenFacilityMessages()
{
    // FACILITY_DATA: user request 7, unique 12, parent 11, RUNWAY, list item 2 of 3, one f32 (270).
    const QByteArray data = hex("2c000000 05000000 1c000000 07000000 0c000000 0b000000 01000000 01000000 02000000 "
                                "03000000 00008743");
    const std::optional<FacilityDataInfo> info = decodeFacilityData(splitPacket(data)->body);
    QVERIFY(info);
    QCOMPARE(info->userRequestId, 7u);
    QCOMPARE(info->uniqueRequestId, 12u);
    QCOMPARE(info->parentUniqueRequestId, 11u);
    QCOMPARE(info->type, 1u);
    QVERIFY(info->isListItem);
    QCOMPARE(info->itemIndex, 2u);
    QCOMPARE(info->listSize, 3u);
    QCOMPARE(info->data, hex("00008743"));
    QCOMPARE(encodeFacilityData(*info, 5), data);

    const QByteArray end = hex("10000000 05000000 1d000000 07000000");
    QCOMPARE(decodeFacilityDataEnd(splitPacket(end)->body).value_or(0), 7u);
    QCOMPARE(encodeFacilityDataEnd(7, 5), end);
}

void TestSimConnectProtocol::goldenAirportList_data()
{
    QTest::addColumn<bool>("wide");
    QTest::addColumn<QByteArray>("golden");
    // One airport ZSPD/ZS at 31.0, 121.5, 4 m, packet 0 of 2: the ident takes six or nine bytes.
    const QByteArray item = hex("0000000000003f40 0000000000605e40 0000000000001040");
    QTest::newRow("six-character idents") << false
                                          << hex("3d000000 05000000 12000000 03000000 01000000 00000000 02000000") +
                                                 QByteArray("ZSPD") + zeros(2) + QByteArray("ZS") + zeros(1) + item;
    QTest::newRow("nine-character idents") << true
                                           << hex("40000000 06000000 12000000 03000000 01000000 00000000 02000000") +
                                                  QByteArray("ZSPD") + zeros(5) + QByteArray("ZS") + zeros(1) + item;
}

void TestSimConnectProtocol::goldenAirportList()
{
    QFETCH(bool, wide);
    QFETCH(QByteArray, golden);
    const Layout layout = wide ? Layout::Msfs2024 : Layout::Classic;
    const std::optional<FacilityListInfo> list =
        decodeFacilityList(RecvId::AirportList, splitPacket(golden)->body, layout);
    QVERIFY(list);
    QCOMPARE(list->header.requestId, 3u);
    QCOMPARE(list->header.entryNumber, 0u);
    QCOMPARE(list->header.outOf, 2u);
    QCOMPARE(list->items.size(), 1);
    QCOMPARE(list->items[0].ident, QStringLiteral("ZSPD"));
    QCOMPARE(list->items[0].region, QStringLiteral("ZS"));
    QCOMPARE(list->items[0].lat, 31.0);
    QCOMPARE(list->items[0].lon, 121.5);
    QCOMPARE(list->items[0].altM, 4.0);
    QCOMPARE(encodeFacilityList(RecvId::AirportList, *list, layout, wide ? 6 : 5), golden);
    // Read with the other ident width the bytes do not make whole items.
    QVERIFY(
        !decodeFacilityList(RecvId::AirportList, splitPacket(golden)->body, wide ? Layout::Classic : Layout::Msfs2024));
}

void TestSimConnectProtocol::goldenInitPosition()
{
    // 31.0, 121.5, 4 ft, pitch 0, bank 0, heading 270, on the ground, keep the current speed.
    const QByteArray golden = hex("0000000000003f40 0000000000605e40 0000000000001040 0000000000000000 "
                                  "0000000000000000 0000000000e07040 01000000 feffffff");
    InitPosition position;
    position.lat = 31.0;
    position.lon = 121.5;
    position.altFt = 4.0;
    position.heading = 270.0;
    position.onGround = 1;
    position.airspeedKt = kInitPositionAirspeedKeep;
    QCOMPARE(packInitPosition(position), golden);
    DataDefinition definition;
    definition.add({QStringLiteral("Initial Position"), QString(), DataType::InitPosition});
    QCOMPARE(definition.pack({position}), golden);
    const auto back = unpackInitPosition(golden);
    QVERIFY(back);
    QCOMPARE(back->heading, 270.0);
    QCOMPARE(back->airspeedKt, kInitPositionAirspeedKeep);
}

void TestSimConnectProtocol::malformedMessagesDecodeToNothing_data()
{
    QTest::addColumn<QByteArray>("packet");
    QTest::addColumn<int>("kind"); // 0 header only, 1 exception, 2 open, 3 airport list, 4 data with defs
    QTest::newRow("shorter than a header") << hex("0c000000 05") << 0;
    QTest::newRow("size says more than there is") << hex("20000000 05000000 01000000 07000000") << 0;
    QTest::newRow("size says less than there is") << hex("0c000000 05000000 01000000 07000000") << 0;
    QTest::newRow("exception cut short") << hex("14000000 05000000 01000000 07000000 2a000000") << 1;
    QTest::newRow("open without versions") << hex("10000000 05000000 02000000 4b697474") << 2;
    QTest::newRow("list promising two items, holding one")
        << hex("3d000000 05000000 12000000 03000000 02000000 00000000 01000000") + QByteArray(33, 'A') << 3;
    QTest::newRow("list with a stray byte")
        << hex("3e000000 05000000 12000000 03000000 01000000 00000000 01000000") + QByteArray(34, 'A') << 3;
    QTest::newRow("list claiming four billion items")
        << hex("1c000000 05000000 12000000 03000000 ffffffff 00000000 01000000") + QByteArray(0, 'A') << 3;
    QTest::newRow("data one byte short")
        << hex("37000000 05000000 08000000 01000000 01000000 01000000 00000000 01000000 01000000 02000000") +
               QByteArray(15, '\x01')
        << 4;
}

void TestSimConnectProtocol::malformedMessagesDecodeToNothing()
{
    QFETCH(QByteArray, packet);
    QFETCH(int, kind);
    const std::optional<Message> message = splitPacket(packet);
    if (kind == 0) {
        QVERIFY(!message);
        return;
    }
    QVERIFY(message);
    switch (kind) {
    case 1:
        QVERIFY(!decodeException(message->body));
        break;
    case 2:
        QVERIFY(!decodeOpen(message->body));
        break;
    case 3:
        QVERIFY(!decodeFacilityList(RecvId::AirportList, message->body, Layout::Classic));
        break;
    default: {
        const std::optional<SimObjectDataInfo> info = decodeSimObjectData(message->body);
        QVERIFY(info);
        QVERIFY(!simvars::groupDefinition(1).unpack(info->data));
        DataDefinition two;
        two.add({QStringLiteral("A"), QStringLiteral("feet")});
        two.add({QStringLiteral("B"), QStringLiteral("feet")});
        QVERIFY(!two.unpack(info->data));
    }
    }
}

void TestSimConnectProtocol::everyListKindRoundTrips_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<bool>("wide");
    for (RecvId kind : {RecvId::AirportList, RecvId::WaypointList, RecvId::NdbList, RecvId::VorList}) {
        for (bool wide : {false, true})
            QTest::addRow("%d %s", int(kind), wide ? "wide" : "narrow") << int(kind) << wide;
    }
}

void TestSimConnectProtocol::everyListKindRoundTrips()
{
    QFETCH(int, kind);
    QFETCH(bool, wide);
    const RecvId recvId = RecvId(kind);
    const Layout layout = wide ? Layout::Msfs2024 : Layout::Classic;
    FacilityListInfo list;
    list.header = {9, 0, 1, 3};
    for (int i = 0; i < 3; ++i) {
        FacilityListItem item;
        item.ident = wide ? QStringLiteral("ABCDEFGH").left(4 + i) : QStringLiteral("PD%1").arg(i);
        item.region = QStringLiteral("ZS");
        item.lat = 31.0 + i / 8.0;
        item.lon = -121.25 - i;
        item.altM = 3.5 * i;
        if (recvId != RecvId::AirportList)
            item.magVar = -6.5f;
        if (recvId == RecvId::NdbList || recvId == RecvId::VorList)
            item.frequency = 113900000u + uint32_t(i);
        if (recvId == RecvId::VorList) {
            item.flags = 1 | 2 | 4;
            item.localizerHeading = 170.25f;
            item.glideSlopeLat = 31.5;
            item.glideSlopeLon = 121.75;
            item.glideSlopeAlt = 5.0;
            item.glideSlopeAngle = 3.0f;
        }
        list.items.append(item);
    }
    const QByteArray packet = encodeFacilityList(recvId, list, layout, 6);
    const std::optional<FacilityListInfo> back = decodeFacilityList(recvId, splitPacket(packet)->body, layout);
    QVERIFY(back);
    QCOMPARE(back->header.entryNumber, 1u);
    QCOMPARE(back->header.arraySize, 3u);
    QCOMPARE(back->items.size(), 3);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(back->items[i].ident, list.items[i].ident);
        QCOMPARE(back->items[i].lon, list.items[i].lon);
        QCOMPARE(back->items[i].magVar, list.items[i].magVar);
        QCOMPARE(back->items[i].frequency, list.items[i].frequency);
        QCOMPARE(back->items[i].glideSlopeAngle, list.items[i].glideSlopeAngle);
    }
}

void TestSimConnectProtocol::variableTableRoundTrips()
{
    // Every group of the table packs to 8 bytes a datum and reads back exactly.
    int rows = 0;
    for (int group = 1; group <= simvars::kGroupCount; ++group) {
        const DataDefinition definition = simvars::groupDefinition(group);
        QVERIFY(definition.count() > 0);
        rows += definition.count();
        QList<DatumValue> values;
        for (int i = 0; i < definition.count(); ++i)
            values.append(group * 1000.0 + i + 0.125);
        const QByteArray packed = definition.pack(values);
        QCOMPARE(packed.size(), definition.count() * 8);
        const auto back = definition.unpack(packed);
        QVERIFY(back);
        for (int i = 0; i < definition.count(); ++i)
            QCOMPARE(numberOf(back->at(i)), group * 1000.0 + i + 0.125);
        simvars::Sample sample;
        QList<double> numbers;
        for (const DatumValue &value : *back)
            numbers.append(numberOf(value));
        QVERIFY(sample.setGroup(group, numbers));
        numbers.append(1.0);
        QVERIFY(!sample.setGroup(group, numbers)); // one value too many
    }
    QCOMPARE(rows, int(simvars::rows().size()));
    QCOMPARE(simvars::rows().first().name, "PLANE LATITUDE");
    QCOMPARE(simvars::rows().last().name, "BAROMETER PRESSURE");
}

void TestSimConnectProtocol::sampleBecomesAircraftData()
{
    simvars::Sample sample;
    auto fill = [&sample](int group, const QHash<QString, double> &values) {
        QList<double> numbers;
        const DataDefinition definition = simvars::groupDefinition(group);
        for (const Datum &datum : definition.datums())
            numbers.append(values.value(datum.name));
        QVERIFY(sample.setGroup(group, numbers));
    };
    fill(1, {{"PLANE LATITUDE", 31.1434}, {"PLANE LONGITUDE", 121.8052}, {"PLANE ALTITUDE", 2500}});
    fill(2, {{"VERTICAL SPEED", -12.5}, {"SIM ON GROUND", 1}, {"AIRSPEED TRUE", 181}});
    fill(3, {{"GENERAL ENG EXHAUST GAS TEMPERATURE:1", 1661.67},
             {"BRAKE PARKING POSITION", 1},
             {"GEAR TOTAL PCT EXTENDED", 49},
             {"FLAPS HANDLE PERCENT", 37.9},
             {"NUMBER OF ENGINES", 6},
             {"GENERAL ENG RPM:2", 2400}});
    fill(6, {{"TOTAL WEIGHT", 61000}});
    fill(7, {{"NAV CDI:1", -63.5}, {"NAV GSI:1", 127}, {"BAROMETER PRESSURE", 1002}});
    AircraftData base;
    base.com1 = 118.1; // group 4 never arrived: the member keeps its value
    const AircraftData data = simvars::toAircraftData(sample, base);
    QCOMPARE(data.lat, 31.1434);
    QCOMPARE(data.alt, 2500.0);
    QCOMPARE(data.vs, -750.0); // ft/s to ft/min
    QVERIFY(data.onGround);
    QCOMPARE(data.tas, 181.0);
    QVERIFY(std::abs(data.egt[0] - 650.0) < 1e-3); // 1661.67 R = 923.15 K = 650 C
    QCOMPARE(data.parkBrake, 100);                 // position 1 = set
    QVERIFY(!data.gear);                           // 49 % out is not down
    QCOMPARE(data.flaps, 37);
    QCOMPARE(data.engCnt, 4);
    QCOMPARE(data.rpm[1], 2400.0);
    QVERIFY(std::abs(data.totalWt - 27669.13457) < 1e-3); // pounds to kilograms
    QCOMPARE(data.loc, -1.25);                            // -63.5 of 127 is half of 2.5 dots
    QCOMPARE(data.gsDev, 2.5);
    QCOMPARE(data.baroSea, 1002.0);
    QCOMPARE(data.com1, 118.1);
}

void TestSimConnectProtocol::sampleBecomesBridgeLine()
{
    simvars::Sample sample;
    QList<double> group2;
    const DataDefinition definition = simvars::groupDefinition(2);
    for (const Datum &datum : definition.datums())
        group2.append(datum.name == QLatin1String("VERTICAL SPEED") ? 10.0 : 1.0);
    QVERIFY(sample.setGroup(2, group2));
    const QJsonObject line = simvars::toBridgeData(sample);
    QCOMPARE(line.value("type").toString(), QStringLiteral("data"));
    // The helper's line carries SimConnect units: the bridge client turns ft/s into ft/min.
    QCOMPARE(line.value("vs").toDouble(), 10.0);
    QVERIFY(line.contains("onGround"));
    QVERIFY(!line.contains("tas")); // the bridge protocol has no true airspeed
    QVERIFY(!line.contains("lat")); // group 1 has not arrived
}

void TestSimConnectProtocol::tankLayout()
{
    QList<double> values(2 * simvars::kTankPositions + 3, 0.0);
    values[0] = 100;  // LEFT MAIN capacity
    values[1] = 60;   // and quantity
    values[6] = 50;   // CENTER capacity
    values[12] = 100; // RIGHT MAIN capacity
    values[13] = 40;
    values[22] = 6.7;
    const auto layout = simvars::tankLayoutFrom(values);
    QVERIFY(layout);
    // Positions up to RIGHT MAIN (index 6) stay, so the list index is the tank position.
    QCOMPARE(layout->usedPositions(), 7);
    QCOMPARE(layout->totalCapacityGal(), 250.0);
    const QList<double> ratios = layout->ratios();
    QCOMPARE(ratios.size(), 7);
    QCOMPARE(ratios[0], 0.4);
    QCOMPARE(ratios[3], 0.2);
    QCOMPARE(ratios[6], 0.4);
    QCOMPARE(ratios[1], 0.0);
    const QJsonObject line = simvars::toBridgeFuelConfig(*layout);
    QCOMPARE(line.value("tankCap").toArray().size(), 7);
    QCOMPARE(line.value("tankQty").toArray().at(6).toDouble(), 40.0);
    values[1] = 0; // contents change, capacities do not
    QVERIFY(layout->sameCapacities(*simvars::tankLayoutFrom(values)));
    values[12] = 120;
    QVERIFY(!layout->sameCapacities(*simvars::tankLayoutFrom(values)));
    values.removeLast();
    QVERIFY(!simvars::tankLayoutFrom(values));
}

void TestSimConnectProtocol::radioEvents_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<quint32>("data");
    QTest::addColumn<bool>("msfs");
    QTest::addColumn<QString>("sentName");
    QTest::addColumn<quint32>("sentData");
    QTest::newRow("BCD16 to hertz on MSFS")
        << "COM_RADIO_SET" << quint32(0x2150) << true << "COM_RADIO_SET_HZ" << quint32(121500000);
    QTest::newRow("nav standby on MSFS") << "NAV1_STBY_SET" << quint32(0x1050) << true << "NAV1_STBY_SET_HZ"
                                         << quint32(110500000);
    QTest::newRow("hertz to BCD16 on Prepar3D")
        << "COM2_STBY_RADIO_SET_HZ" << quint32(118025000) << false << "COM2_STBY_RADIO_SET" << quint32(0x1802);
    QTest::newRow("already hertz on MSFS")
        << "COM_RADIO_SET_HZ" << quint32(118025000) << true << "COM_RADIO_SET_HZ" << quint32(118025000);
    QTest::newRow("already BCD on FSX") << "NAV2_RADIO_SET" << quint32(0x1390) << false << "NAV2_RADIO_SET"
                                        << quint32(0x1390);
    QTest::newRow("not a BCD word") << "COM_RADIO_SET" << quint32(0x21A0) << true << "COM_RADIO_SET" << quint32(0x21A0);
    QTest::newRow("hertz outside the band")
        << "COM_RADIO_SET_HZ" << quint32(99000000) << false << "COM_RADIO_SET_HZ" << quint32(99000000);
    QTest::newRow("other events untouched") << "XPNDR_SET" << quint32(0x7700) << true << "XPNDR_SET" << quint32(0x7700);
}

void TestSimConnectProtocol::radioEvents()
{
    QFETCH(QString, name);
    QFETCH(quint32, data);
    QFETCH(bool, msfs);
    QFETCH(QString, sentName);
    QFETCH(quint32, sentData);
    const simconnectevents::Translated sent = simconnectevents::translateRadioEvent(name, data, msfs);
    QCOMPARE(sent.name, sentName);
    QCOMPARE(sent.data, sentData);
}

QTEST_APPLESS_MAIN(TestSimConnectProtocol)
#include "tst_simconnectprotocol.moc"
