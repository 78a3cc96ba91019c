#include "tst_bglwriter.h"

#include "nav/bglreader.h"
#include "tests/support/logexpect.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QXmlStreamReader>

#include <cmath>

using namespace bglw;

namespace {

constexpr double kFt = 0.3048;
constexpr double kPi = 3.14159265358979323846;

QString ktstDir()
{
    return QStringLiteral(SHARED_TESTDATA_DIR "/bgl/bglreader-ktst");
}

// Every element of the scenery compiler's XML source, by name, in document order.
using XmlElements = QHash<QString, QList<QXmlStreamAttributes>>;

XmlElements readXml(const QString &path)
{
    XmlElements out;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return out;
    QXmlStreamReader xml(&file);
    while (!xml.atEnd()) {
        if (xml.readNext() == QXmlStreamReader::StartElement)
            out[xml.name().toString()].append(xml.attributes());
    }
    return out;
}

QString attr(const QXmlStreamAttributes &a, const char *name)
{
    return a.value(QLatin1String(name)).toString();
}
double num(const QXmlStreamAttributes &a, const char *name)
{
    return attr(a, name).toDouble();
}
// The compiler's lengths: "6000F" feet, "18N" nautical miles, plain or "M" metres.
double feet(const QXmlStreamAttributes &a, const char *name)
{
    const QString v = attr(a, name);
    if (v.endsWith(u'F'))
        return v.chopped(1).toDouble();
    if (v.endsWith(u'N'))
        return v.chopped(1).toDouble() * 1852.0 / kFt;
    return (v.endsWith(u'M') ? v.chopped(1) : v).toDouble() / kFt;
}
double nm(const QXmlStreamAttributes &a, const char *name)
{
    return feet(a, name) * kFt / 1852.0;
}
bool yes(const QXmlStreamAttributes &a, const char *name)
{
    return attr(a, name) == QLatin1String("TRUE");
}

bool near(double a, double b, double tolerance)
{
    return std::abs(a - b) <= tolerance;
}

// Point moved by distance along a bearing, flat-earth (good to 1e-8 deg over half a mile).
void moved(double lat, double lon, double bearingDeg, double distanceFt, double &outLat, double &outLon)
{
    const double degPerFt = kFt / 1852.0 * 180.0 / (kPi * 3440.065);
    outLat = lat + distanceFt * degPerFt * std::cos(bearingDeg * kPi / 180.0);
    outLon = lon + distanceFt * degPerFt * std::sin(bearingDeg * kPi / 180.0) / std::cos(lat * kPi / 180.0);
}

QByteArray header(quint32 sections, quint16 magic = 0x1992, int size = 56)
{
    QByteArray b(size, '\0');
    putU16(b, 2, magic);
    if (size >= 0x18)
        putU32(b, 0x14, sections);
    return b;
}

QByteArray sectionEntries(const QList<quint32> &types)
{
    QByteArray b = header(quint32(types.size()));
    for (quint32 t : types) {
        QByteArray e(20, '\0');
        putU32(e, 0, t);
        b += e;
    }
    return b;
}

} // namespace

class TestBglReader : public QObject
{
    Q_OBJECT
private:
    QTemporaryDir m_dir;

    QString write(const QString &name, const QByteArray &bytes)
    {
        const QString path = m_dir.filePath(name);
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly) || f.write(bytes) != bytes.size())
            return QString();
        return path;
    }

private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void decodeIdent_data()
    {
        QTest::addColumn<quint32>("value");
        QTest::addColumn<bool>("shifted");
        QTest::addColumn<QString>("text");
        QTest::newRow("zero") << 0u << false << "";
        QTest::newRow("zero shifted") << 0u << true << "";
        QTest::newRow("37 is Z") << 37u << false << "Z";
        QTest::newRow("38 is two blanks") << 38u << false << "";
        QTest::newRow("low bits only, shifted away") << 31u << true << "";
        QTest::newRow("digit") << 3u << false << "1";
        QTest::newRow("region K1") << packIdent("K1") << false << "K1";
        QTest::newRow("airport shifted") << identWord("KTST") << true << "KTST";
        QTest::newRow("five characters") << identWord("ABCDE") << true << "ABCDE";
        QTest::newRow("inner blank kept") << packIdent("A B") << false << "A B";
        QTest::newRow("fix type bits ignored") << (identWord("IF18") | 5u) << true << "IF18";
        QTest::newRow("largest word keeps five characters") << 0xFFFFFFFFu << false << "5SG13";
    }

    void decodeIdent()
    {
        QFETCH(quint32, value);
        QFETCH(bool, shifted);
        QFETCH(QString, text);
        QCOMPARE(BglReader::decodeIdent(value, shifted), text);
    }

    void extractString_data()
    {
        QTest::addColumn<int>("offset");
        QTest::addColumn<int>("length");
        QTest::addColumn<QString>("text");
        // data: "AB\0CD\xE9" (6 bytes)
        QTest::newRow("whole field") << 3 << 3 << QString::fromLatin1("CD\xE9");
        QTest::newRow("cut at zero") << 0 << 6 << "AB";
        QTest::newRow("starts at zero") << 2 << 2 << "";
        QTest::newRow("empty length") << 1 << 0 << "";
        QTest::newRow("one byte past the end") << 3 << 4 << "";
        QTest::newRow("offset past the end") << 7 << 1 << "";
        QTest::newRow("negative offset") << -1 << 2 << "";
        QTest::newRow("negative length") << 1 << -1 << "";
        QTest::newRow("length overflowing int") << 1 << 0x7FFFFFFF << "";
    }

    void extractString()
    {
        QFETCH(int, offset);
        QFETCH(int, length);
        QFETCH(QString, text);
        QCOMPARE(BglReader::extractString(QByteArray("AB\0CD\xE9", 6), offset, length), text);
    }

    void headerChecks_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QString>("error"); // %1 = path
        QTest::addColumn<int>("sections");
        QTest::newRow("empty file") << QByteArray() << false << "File too small: %1" << 0;
        QTest::newRow("55 bytes, good magic") << header(0, 0x1992, 55) << false << "File too small: %1" << 0;
        QTest::newRow("56 bytes, bad magic") << header(0, 0x1993) << false << "Not a BGL file (bad magic): %1" << 0;
        QTest::newRow("56 bytes, no sections") << header(0) << true << "" << 0;
        QTest::newRow("101 sections") << header(101) << false << "Too many sections (101): %1" << 0;
        QTest::newRow("huge section count") << header(0xFFFFFFFF) << false << "Too many sections (4294967295): %1" << 0;
        QByteArray truncated = sectionEntries(QList<quint32>(100, 0x01));
        truncated.chop(20 * 97 + 1); // two whole entries and part of a third remain
        QTest::newRow("100 sections, table cut short") << truncated << true << "" << 2;
        QTest::newRow("first type 201") << sectionEntries({201, 0x03}) << false << "" << 0;
        QTest::newRow("first type 200") << sectionEntries({200, 0x03}) << true << "" << 2;
        QTest::newRow("later type 201") << sectionEntries({0x03, 201}) << true << "" << 2;
    }

    void headerChecks()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, ok);
        QFETCH(QString, error);
        QFETCH(int, sections);
        const QString path = write(QStringLiteral("header.bgl"), bytes);
        QVERIFY(!path.isEmpty());
        BglReader reader(SimType::Prepar3D);
        QCOMPARE(reader.parseFile(path), ok);
        QCOMPARE(reader.lastError(), error.isEmpty() ? QString() : error.arg(path));
        QCOMPARE(reader.sectionTypes().size(), sections);
    }

    void missingFileCannotBeOpened()
    {
        BglReader reader(SimType::Fsx);
        const QString path = m_dir.filePath(QStringLiteral("absent.bgl"));
        QVERIFY(!reader.parseFile(path));
        QCOMPARE(reader.lastError(), QStringLiteral("Cannot open: %1").arg(path));
        // A good file afterwards clears the error.
        QVERIFY(reader.parseData(header(0), QStringLiteral("mem")));
        QCOMPARE(reader.lastError(), QString());
    }

    void sectionTypesAreKeptInFileOrder()
    {
        BglReader reader(SimType::Prepar3D);
        QVERIFY(reader.parseData(sectionEntries({0x01, 0x17, 0x01, 0x99}), QStringLiteral("a")));
        QVERIFY(reader.parseData(sectionEntries({0x25}), QStringLiteral("b")));
        QCOMPARE(reader.sectionTypes(), (QList<quint32>{0x01, 0x17, 0x01, 0x99, 0x25}));
        QCOMPARE(reader.distinctSectionTypes(), (QSet<quint32>{0x01, 0x17, 0x99, 0x25}));

        BglReader other(SimType::Prepar3D);
        QVERIFY(other.parseData(file({section(0x17, {ndb("ABC", "K1", 10.0, 20.0, 350000, 1000.0)})}), "c"));
        reader.mergeFrom(other);
        QCOMPARE(reader.sectionTypes().size(), 6);
        QCOMPARE(reader.ndbs().size(), 1);
        reader.clear();
        QVERIFY(reader.sectionTypes().isEmpty());
        QVERIFY(reader.distinctSectionTypes().isEmpty());
        QVERIFY(reader.ndbs().isEmpty());
    }

    void ndbRecordIsDecoded()
    {
        // Raw words with exact values: lon 0x24000000 is 90 E, lat 0x08000000 is 45 N.
        Rec r(0x0017);
        r.u16(0x0102).u32(350500).i32(0x24000000).i32(0x08000000).i32(0).f32(37040.0).u32(0);
        r.u32(identWord("SHA")).u32(packIdent("ZS"));
        BglReader reader(SimType::Prepar3D);
        QVERIFY(reader.parseData(file({section(0x17, {r})}), QStringLiteral("ndb")));
        QCOMPARE(reader.ndbs().size(), 1);
        const BglNdb n = reader.ndbs().first();
        QCOMPARE(n.ident, QStringLiteral("SHA"));
        QCOMPARE(n.region, QStringLiteral("ZS"));
        QCOMPARE(n.lon, 90.0);
        QCOMPARE(n.lat, 45.0);
        QCOMPARE(n.frequencyKhz, 350.5);
        QCOMPARE(n.rangeM, 37040.0);
        QCOMPARE(n.typeWord, quint16(0x0102));
    }

    void ndbFraming_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QStringList>("idents");
        const Rec a = ndb("AAA", "K1", 1.0, 2.0, 300000, 1.0);
        const Rec b = ndb("BBB", "K1", 1.0, 2.0, 300000, 1.0);
        const Rec c = ndb("CCC", "K1", 1.0, 2.0, 300000, 1.0);

        QByteArray whole = file({section(0x17, {a})});
        QTest::newRow("record ends exactly at the end") << whole << QStringList{"AAA"};
        QTest::newRow("record one byte short") << whole.left(whole.size() - 1) << QStringList{};

        // Two subsections; the second's record offset is patched past the file.
        QByteArray beyond = file({Section{0x17, {Subsection{a.data(), 1}, Subsection{b.data(), 1}}}});
        putU32(beyond, 56 + 20 + 16 + 8, quint32(beyond.size() + 10));
        QTest::newRow("offset beyond the file ends the section") << beyond << QStringList{"AAA"};

        QByteArray zeroCount = file({Section{0x17, {Subsection{a.data(), 0}, Subsection{b.data(), 1}}}});
        QTest::newRow("zero count ends the section") << zeroCount << QStringList{};

        // The stride is the subsection's byte size: with 40 bytes per subsection and a count of 3,
        // the records of the following subsections are read as well.
        QByteArray stride =
            file({Section{0x17, {Subsection{a.data(), 3}, Subsection{b.data(), 1}, Subsection{c.data(), 1}}}});
        QTest::newRow("stride of the subsection size") << stride << QStringList{"AAA", "BBB", "CCC", "BBB", "CCC"};

        QByteArray many;
        for (int i = 0; i < 1200; ++i)
            many += a.data();
        QByteArray capped = file({Section{0x17, {Subsection{many, 1200}}}});
        putU32(capped, 56 + 20 + 12, 40); // byte size = one record: stride steps through them all
        QTest::newRow("1000 records per subsection") << capped << QStringList(1000, "AAA");
    }

    void ndbFraming()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QStringList, idents);
        BglReader reader(SimType::Prepar3D);
        QVERIFY(reader.parseData(bytes, QStringLiteral("ndb")));
        QStringList got;
        for (const BglNdb &n : reader.ndbs())
            got << n.ident;
        QCOMPARE(got, idents);
    }

    void realAirportMatchesItsSource();
};

void TestBglReader::realAirportMatchesItsSource()
{
    const QString bgl = ktstDir() + QStringLiteral("/KTST_TestAirport_v5.BGL");
    if (!QFile::exists(bgl))
        QSKIP("../shared/testdata/bgl/bglreader-ktst is absent: the real-file comparison is skipped");
    XmlElements xml = readXml(ktstDir() + QStringLiteral("/KTST_TestAirport_v5.xml"));
    QVERIFY(!xml.value(QStringLiteral("Airport")).isEmpty());

    BglReader reader(SimType::Prepar3D);
    QVERIFY2(reader.parseFile(bgl), qPrintable(reader.lastError()));
    // Airport, airport summary, VOR/ILS, scenery object, ILS index, name list.
    QCOMPARE(reader.sectionTypes(), (QList<quint32>{0x03, 0xAA, 0x13, 0x25, 0x28, 0x27}));
    QCOMPARE(reader.airports().size(), 1);
    const BglAirport a = reader.airports().first();

    const QXmlStreamAttributes x = xml[QStringLiteral("Airport")].first();
    QCOMPARE(a.recordId, quint16(0x00AB));
    QCOMPARE(a.ident, attr(x, "ident"));
    QCOMPARE(a.name, attr(x, "name"));
    QVERIFY(near(a.lat, num(x, "lat"), 1e-6));
    QVERIFY(near(a.lon, num(x, "lon"), 1e-6));
    QVERIFY(near(a.altitudeFt, feet(x, "alt"), 0.01));
    QCOMPARE(a.magVarDeg, num(x, "magvar"));
    const QXmlStreamAttributes tower = xml[QStringLiteral("Tower")].first();
    QVERIFY(a.hasTower);
    QVERIFY(near(a.towerLat, num(tower, "lat"), 1e-6));
    QVERIFY(near(a.towerLon, num(tower, "lon"), 1e-6));
    QVERIFY(near(a.towerAltitudeFt, feet(tower, "alt"), 0.01));

    const QList<QXmlStreamAttributes> coms = xml[QStringLiteral("Com")];
    QCOMPARE(a.comFrequencies.size(), coms.size());
    for (qsizetype i = 0; i < coms.size(); ++i) {
        QCOMPARE(a.comFrequencies[i].type, attr(coms[i], "type"));
        QVERIFY(near(a.comFrequencies[i].frequencyMhz, num(coms[i], "frequency"), 1e-6));
        QCOMPARE(a.comFrequencies[i].name, attr(coms[i], "name"));
    }

    // Runway 18/36 and both of its ends.
    QCOMPARE(a.runways.size(), 1);
    const BglRunway rw = a.runways.first();
    const QXmlStreamAttributes xr = xml[QStringLiteral("Runway")].first();
    QCOMPARE(rw.surface, attr(xr, "surface"));
    QVERIFY(rw.isHardSurface);
    QVERIFY(near(rw.lat, num(xr, "lat"), 1e-6));
    QVERIFY(near(rw.lon, num(xr, "lon"), 1e-6));
    QVERIFY(near(rw.altitudeFt, feet(xr, "alt"), 0.01));
    QVERIFY(near(rw.lengthFt, feet(xr, "length"), 0.01));
    QVERIFY(near(rw.widthFt, feet(xr, "width"), 0.01));
    QVERIFY(near(rw.headingDegTrue, num(xr, "heading"), 1e-4));
    QVERIFY(near(rw.patternAltitudeFt, feet(xr, "patternAltitude"), 0.01));
    QCOMPARE(rw.primary.ident, attr(xr, "number"));
    QCOMPARE(rw.secondary.ident, QStringLiteral("36"));
    QVERIFY(near(rw.secondary.headingDegTrue, num(xr, "heading") + 180.0, 1e-4));
    QCOMPARE(rw.primary.takeoffAllowed, yes(xr, "primaryTakeoff"));
    QCOMPARE(rw.primary.landingAllowed, yes(xr, "primaryLanding"));
    QCOMPARE(rw.secondary.takeoffAllowed, yes(xr, "secondaryTakeoff"));
    QCOMPARE(rw.secondary.landingAllowed, yes(xr, "secondaryLanding"));
    QCOMPARE(rw.primary.rightPattern, attr(xr, "primaryPattern") == QLatin1String("RIGHT"));
    QCOMPARE(rw.secondary.rightPattern, attr(xr, "secondaryPattern") == QLatin1String("RIGHT"));
    const QXmlStreamAttributes markings = xml[QStringLiteral("Markings")].first();
    QCOMPARE(rw.primary.closed, yes(markings, "primaryClosed"));
    QCOMPARE(rw.secondary.closed, yes(markings, "secondaryClosed"));
    double lat, lon;
    moved(rw.lat, rw.lon, rw.headingDegTrue + 180.0, rw.lengthFt / 2, lat, lon);
    QVERIFY(near(rw.primary.lat, lat, 1e-7) && near(rw.primary.lon, lon, 1e-7));
    moved(rw.lat, rw.lon, rw.headingDegTrue, rw.lengthFt / 2, lat, lon);
    QVERIFY(near(rw.secondary.lat, lat, 1e-7) && near(rw.secondary.lon, lon, 1e-7));
    const auto end = [&](const QXmlStreamAttributes &e) -> const BglRunwayEnd & {
        return attr(e, "end") == QLatin1String("PRIMARY") ? rw.primary : rw.secondary;
    };
    QVERIFY(near(end(xml[QStringLiteral("OffsetThreshold")].first()).offsetThresholdFt,
                 feet(xml[QStringLiteral("OffsetThreshold")].first(), "length"), 0.01));
    QVERIFY(near(end(xml[QStringLiteral("BlastPad")].first()).blastPadFt,
                 feet(xml[QStringLiteral("BlastPad")].first(), "length"), 0.01));
    QVERIFY(near(end(xml[QStringLiteral("Overrun")].first()).overrunFt,
                 feet(xml[QStringLiteral("Overrun")].first(), "length"), 0.01));
    QCOMPARE(rw.primary.blastPadFt, 0.0);
    for (const QXmlStreamAttributes &l : xml[QStringLiteral("ApproachLights")]) {
        QCOMPARE(end(l).approachLights, attr(l, "system"));
        QCOMPARE(end(l).strobeCount, attr(l, "strobes").toInt());
        QCOMPARE(end(l).reil, yes(l, "reil"));
        QCOMPARE(end(l).touchdownLights, yes(l, "touchdown"));
        QCOMPARE(end(l).endLights, yes(l, "endLights"));
    }
    for (const QXmlStreamAttributes &v : xml[QStringLiteral("Vasi")]) {
        QCOMPARE(end(v).vasiType, attr(v, "type"));
        QVERIFY(near(end(v).vasiPitchDeg, num(v, "pitch"), 1e-5));
    }

    // The ILS is compiled into the VOR/ILS section; the runway names it on its end.
    const QXmlStreamAttributes xi = xml[QStringLiteral("Ils")].first();
    QCOMPARE(end(xi).ilsIdent, attr(xi, "ident"));
    QCOMPARE(rw.secondary.ilsIdent, QString());
    QCOMPARE(reader.ilses().size(), 1);
    const BglIls ils = reader.ilses().first();
    QCOMPARE(ils.ident, attr(xi, "ident"));
    QCOMPARE(ils.airportIdent, a.ident);
    QCOMPARE(ils.name, attr(xi, "name"));
    QCOMPARE(ils.runwayIdent, rw.primary.ident);
    QVERIFY(near(ils.lat, num(xi, "lat"), 1e-6));
    QVERIFY(near(ils.lon, num(xi, "lon"), 1e-6));
    QVERIFY(near(ils.altitudeFt, feet(xi, "alt"), 0.01));
    QVERIFY(near(ils.frequencyMhz, num(xi, "frequency"), 1e-6));
    QVERIFY(near(ils.rangeNm, nm(xi, "range"), 0.01));
    QCOMPARE(ils.magVarDeg, num(xi, "magvar"));
    QVERIFY(near(ils.headingDegTrue, num(xi, "heading"), 1e-4));
    QVERIFY(near(ils.beamWidthDeg, num(xi, "width"), 1e-5));
    QCOMPARE(ils.backCourse, yes(xi, "backCourse"));
    const QXmlStreamAttributes gs = xml[QStringLiteral("GlideSlope")].first();
    QVERIFY(ils.hasGlideSlope);
    QVERIFY(near(ils.gsLat, num(gs, "lat"), 1e-6));
    QVERIFY(near(ils.gsLon, num(gs, "lon"), 1e-6));
    QVERIFY(near(ils.gsAltitudeFt, feet(gs, "alt"), 0.01));
    QVERIFY(near(ils.gsPitchDeg, num(gs, "pitch"), 1e-5));
    QVERIFY(near(ils.gsRangeNm, nm(gs, "range"), 0.01));
    QCOMPARE(ils.hasDme, xml.contains(QStringLiteral("Dme")));
    QVERIFY(reader.vors().isEmpty() && reader.ndbs().isEmpty() && reader.markers().isEmpty());
    QVERIFY(reader.waypoints().isEmpty() && reader.airwaySegments().isEmpty() && reader.boundaries().isEmpty());

    const QList<QXmlStreamAttributes> starts = xml[QStringLiteral("RunwayStart")];
    QCOMPARE(a.starts.size(), starts.size());
    for (qsizetype i = 0; i < starts.size(); ++i) {
        QCOMPARE(a.starts[i].type, attr(starts[i], "type"));
        QCOMPARE(a.starts[i].runwayIdent, end(starts[i]).ident);
        QVERIFY(near(a.starts[i].lat, num(starts[i], "lat"), 1e-6));
        QVERIFY(near(a.starts[i].lon, num(starts[i], "lon"), 1e-6));
        QVERIFY(near(a.starts[i].altitudeFt, feet(starts[i], "alt"), 0.01));
        QVERIFY(near(a.starts[i].headingDegTrue, num(starts[i], "heading"), 1e-4));
    }

    // Taxiway network: paths refer to points and parkings by their position in the lists.
    const QList<QXmlStreamAttributes> parkings = xml[QStringLiteral("TaxiwayParking")];
    QHash<int, int> parkingPosition;
    QCOMPARE(a.parkings.size(), parkings.size());
    for (qsizetype i = 0; i < parkings.size(); ++i) {
        const BglParking &p = a.parkings[i];
        parkingPosition.insert(attr(parkings[i], "index").toInt(), int(i));
        QCOMPARE(p.index, int(i));
        QCOMPARE(p.nameCode, attr(parkings[i], "name"));
        QCOMPARE(p.number, attr(parkings[i], "number").toInt());
        QCOMPARE(p.type, attr(parkings[i], "type"));
        QCOMPARE(p.pushBack, attr(parkings[i], "pushBack"));
        QVERIFY(near(p.radiusFt, feet(parkings[i], "radius"), 0.01));
        QVERIFY(near(p.headingDegTrue, num(parkings[i], "heading"), 1e-4));
        QVERIFY(near(p.lat, num(parkings[i], "lat"), 1e-6));
        QVERIFY(near(p.lon, num(parkings[i], "lon"), 1e-6));
        const QString codes = attr(parkings[i], "airlineCodes");
        QCOMPARE(p.airlineCodes, codes.isEmpty() ? QStringList() : codes.split(u','));
    }
    QCOMPARE(a.parkings[0].name, QStringLiteral("Gate 1"));
    QCOMPARE(a.parkings[1].name, QStringLiteral("Parking 2"));

    const QList<QXmlStreamAttributes> points = xml[QStringLiteral("TaxiwayPoint")];
    QCOMPARE(a.taxiPoints.size(), points.size());
    for (qsizetype i = 0; i < points.size(); ++i) {
        const BglTaxiPoint &p = a.taxiPoints[i];
        QCOMPARE(p.index, attr(points[i], "index").toInt());
        QCOMPARE(p.type, attr(points[i], "type"));
        const QString orientation = attr(points[i], "orientation");
        QCOMPARE(p.orientation, orientation.isEmpty() ? QStringLiteral("FORWARD") : orientation);
        if (points[i].hasAttribute(QLatin1String("lat"))) {
            QVERIFY(near(p.lat, num(points[i], "lat"), 1e-6));
            QVERIFY(near(p.lon, num(points[i], "lon"), 1e-6));
        } else {
            // Given as metres east (biasX) and north (biasZ) of the airport reference point; the
            // compiler's earth model differs slightly from ours.
            moved(a.lat, a.lon, 0.0, num(points[i], "biasZ") / kFt, lat, lon);
            moved(lat, lon, 90.0, num(points[i], "biasX") / kFt, lat, lon);
            QVERIFY2(near(p.lat, lat, 1e-5) && near(p.lon, lon, 1e-5), qPrintable(QString::number(i)));
        }
    }
    const QList<QXmlStreamAttributes> names = xml[QStringLiteral("TaxiName")];
    QCOMPARE(a.taxiNames.size(), names.size());
    for (qsizetype i = 0; i < names.size(); ++i)
        QCOMPARE(a.taxiNames[i].name, attr(names[i], "name"));
    const QList<QXmlStreamAttributes> paths = xml[QStringLiteral("TaxiwayPath")];
    QCOMPARE(a.taxiPaths.size(), paths.size());
    for (qsizetype i = 0; i < paths.size(); ++i) {
        const BglTaxiPath &p = a.taxiPaths[i];
        const QString type = attr(paths[i], "type");
        QCOMPARE(p.type, type);
        QCOMPARE(p.startIndex, attr(paths[i], "start").toInt());
        QCOMPARE(p.endIsParking, type == QLatin1String("PARKING"));
        const int xmlEnd = attr(paths[i], "end").toInt();
        QCOMPARE(p.endIndex, p.endIsParking ? parkingPosition.value(xmlEnd, -1) : xmlEnd);
        QCOMPARE(p.name, type == QLatin1String("RUNWAY") ? attr(paths[i], "number")
                                                         : a.taxiNames.value(attr(paths[i], "name").toInt()).name);
        QVERIFY(near(p.widthFt, feet(paths[i], "width"), 0.01));
        QCOMPARE(p.weightLimit, attr(paths[i], "weightLimit").toUInt());
        QCOMPARE(p.surface, attr(paths[i], "surface"));
    }

    // The ILS approach to 18 and its two legs.
    QCOMPARE(a.procedures.size(), 1);
    const BglProcedure proc = a.procedures.first();
    const QXmlStreamAttributes xa = xml[QStringLiteral("Approach")].first();
    QCOMPARE(proc.type, QStringLiteral("APPROACH"));
    QCOMPARE(proc.approachType, attr(xa, "type"));
    QCOMPARE(proc.runwayIdent, attr(xa, "runway"));
    QCOMPARE(proc.name, QStringLiteral("I18"));
    QCOMPARE(proc.fixType, attr(xa, "fixType"));
    QCOMPARE(proc.fixRegion, attr(xa, "fixRegion"));
    QCOMPARE(proc.fixIdent, attr(xa, "fixIdent"));
    QVERIFY(near(proc.fixAltitudeFt, feet(xa, "altitude"), 0.01));
    QVERIFY(near(proc.headingDegTrue, num(xa, "heading"), 1e-4));
    QVERIFY(near(proc.missedAltitudeFt, feet(xa, "missedAltitude"), 0.01));
    QVERIFY(proc.transitions.isEmpty());
    const QList<QXmlStreamAttributes> legs = xml[QStringLiteral("Leg")];
    QCOMPARE(a.procedureLegs.size(), legs.size());
    for (qsizetype i = 0; i < legs.size(); ++i) {
        const BglProcedureLeg &l = a.procedureLegs[i];
        QCOMPARE(l.procName, proc.name);
        QCOMPARE(l.procType, proc.type);
        QCOMPARE(l.runway, proc.runwayIdent);
        QCOMPARE(l.seq, int(i + 1));
        QVERIFY(l.transition.isEmpty() && !l.isMissed);
        QCOMPARE(l.legType, attr(legs[i], "type"));
        QCOMPARE(l.fixType, attr(legs[i], "fixType"));
        QCOMPARE(l.fixRegion, attr(legs[i], "fixRegion"));
        QCOMPARE(l.fixIdent, attr(legs[i], "fixIdent"));
        QCOMPARE(l.flyover, yes(legs[i], "flyOver"));
        QCOMPARE(l.turnDirection, attr(legs[i], "turnDirection"));
        QCOMPARE(l.recommendedType, attr(legs[i], "recommendedType"));
        QCOMPARE(l.recommendedIdent, attr(legs[i], "recommendedIdent"));
        QVERIFY(near(l.thetaDeg, num(legs[i], "theta"), 1e-4));
        QVERIFY(near(l.rho, num(legs[i], "rho"), 1e-4));
        QVERIFY(near(l.distOrTime, num(legs[i], "distance"), 1e-4));
        QVERIFY(near(l.courseDeg, num(legs[i], "magneticCourse"), 1e-4));
        QVERIFY(!l.courseIsTrue && !l.isTime);
    }
    // The compiler keeps the localizer reference's airport but not its region.
    QCOMPARE(a.procedureLegs[1].recommendedRegion, QString());
    QCOMPARE(a.procedureLegs[1].fixAirport, a.ident);
}

QTEST_GUILESS_MAIN(TestBglReader)
#include "tst_bglreader.moc"
