#include "sharedtestdata.h"

#include "supervision/boundaryreaders.h"
#include "supervision/eseparser.h"
#include "supervision/sctparser.h"
#include "supervision/sectormanager.h"
#include "tests/support/logexpect.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

// Rows of a section that carry data: not blank, not a comment, not a #define.
int sectionRows(const QByteArray &text, const QString &section, const QString &extraFilter = QString())
{
    int rows = 0;
    bool inside = false;
    for (const QByteArray &raw : text.split('\n')) {
        const QString line = QString::fromLatin1(raw).section(QLatin1Char(';'), 0, 0).trimmed();
        if (line.startsWith(QLatin1Char('['))) {
            inside = line.compare(section, Qt::CaseInsensitive) == 0;
            continue;
        }
        if (inside && !line.isEmpty() && !line.startsWith(QLatin1String("#define")) && !line.startsWith('*') &&
            (extraFilter.isEmpty() || line.contains(QRegularExpression(extraFilter))))
            ++rows;
    }
    return rows;
}

// Whether a row holds a coordinate the format does not allow: minutes or seconds beyond 60, or
// a fifth part ("N043.15.33.84.000"). Real files have a few.
bool hasBadCoordinate(const QString &row)
{
    static const QRegularExpression dms(QStringLiteral("[NSEW]\\d{3}\\.(\\d+)\\.(\\d+)\\.(\\d+)(\\.\\d+)?"));
    for (auto it = dms.globalMatch(row); it.hasNext();) {
        const auto m = it.next();
        if (m.hasCaptured(4) || m.captured(1).toInt() > 60 ||
            (m.captured(2) + QLatin1Char('.') + m.captured(3)).toDouble() > 60.0)
            return true;
    }
    return false;
}

// Data rows of a section with such a coordinate.
int badRows(const QByteArray &text, const QString &section)
{
    int rows = 0;
    bool inside = false;
    for (const QByteArray &raw : text.split('\n')) {
        const QString line = QString::fromLatin1(raw).section(QLatin1Char(';'), 0, 0).trimmed();
        if (line.startsWith(QLatin1Char('[')))
            inside = line.compare(section, Qt::CaseInsensitive) == 0;
        else if (inside && hasBadCoordinate(line))
            ++rows;
    }
    return rows;
}

// Replaces every n-th data row of a section with text; returns how many were replaced, not
// counting rows that were unreadable already.
int garble(QByteArray &text, const QString &section, int every, const QByteArray &replacement)
{
    QList<QByteArray> lines = text.split('\n');
    bool inside = false;
    int row = 0;
    int replaced = 0;
    for (QByteArray &raw : lines) {
        const QByteArray line = raw.split(';').first().trimmed();
        if (line.startsWith('[')) {
            inside = QString::fromLatin1(line).compare(section, Qt::CaseInsensitive) == 0;
            continue;
        }
        if (!inside || line.isEmpty() || line.startsWith('*'))
            continue;
        if (++row % every == 0) {
            if (!hasBadCoordinate(QString::fromLatin1(raw)))
                ++replaced;
            raw = replacement;
        }
    }
    text = lines.join('\n');
    return replaced;
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

int geoHeaders(const QByteArray &sct)
{
    return sectionRows(sct, QStringLiteral("[GEO]"),
                       QStringLiteral("N000\\.00\\.00\\.000 W000\\.00\\.00\\.000 N000\\.00\\.00\\.000|S999"));
}

} // namespace

class TestSectorFiles : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void coordinates_data();
    void coordinates();
    void euroscopePairFromTheRealFiles();
    void damagedEuroscopeFilesSkipAndCount();
    void geoJsonBoundaries_data();
    void geoJsonBoundaries();
    void damagedGeoJsonKeepsIntactFeatures();
    void openAirAreas();
    void managerLoadsInBackgroundAndAnswersSectorAndController();
};

void TestSectorFiles::coordinates_data()
{
    QTest::addColumn<QString>("lat");
    QTest::addColumn<QString>("lon");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<double>("expectLat");
    QTest::addColumn<double>("expectLon");
    QTest::newRow("dms north west") << "N043.37.16.841"
                                    << "W079.23.45.196" << true << 43.621345 << -79.395888;
    QTest::newRow("dms south east") << "S033.56.00.000"
                                    << "E151.10.30.000" << true << -33.933333 << 151.175;
    QTest::newRow("seconds 60 as written") << "N042.12.47.300"
                                           << "W083.21.60.000" << true << 42.213139 << -83.366667;
    QTest::newRow("hemisphere decimal") << "N013.32861"
                                        << "E100.5" << true << 13.32861 << 100.5;
    QTest::newRow("signed decimal") << "-12.5"
                                    << "130.25" << true << -12.5 << 130.25;
    QTest::newRow("dummy S999") << "S999.00.00.000"
                                << "E999.00.00.000" << false << 0.0 << 0.0;
    QTest::newRow("ident") << "YUY"
                           << "YUY" << false << 0.0 << 0.0;
    QTest::newRow("minutes 75") << "N043.75.00.000"
                                << "W079.00.00.000" << false << 0.0 << 0.0;
    QTest::newRow("negative after hemisphere") << "N-43.5"
                                               << "W079.0" << false << 0.0 << 0.0;
    QTest::newRow("longitude beyond 180") << "N010.00.00.000"
                                          << "E181.00.00.000" << false << 0.0 << 0.0;
}

void TestSectorFiles::coordinates()
{
    QFETCH(QString, lat);
    QFETCH(QString, lon);
    QFETCH(bool, ok);
    QPointF p;
    QCOMPARE(SctParser::parseCoordinate(lat, lon, &p), ok);
    if (ok) {
        QFETCH(double, expectLat);
        QFETCH(double, expectLon);
        QVERIFY2(std::abs(p.x() - expectLat) < 1e-5 && std::abs(p.y() - expectLon) < 1e-5,
                 qPrintable(QStringLiteral("%1 %2").arg(p.x(), 0, 'f', 6).arg(p.y(), 0, 'f', 6)));
    }
}

void TestSectorFiles::euroscopePairFromTheRealFiles()
{
    REQUIRE_SHARED_TESTDATA();
    const QByteArray sct = shareddata::read(QStringLiteral("sectors/euroscope-CZYZ.sct"));
    const QByteArray ese = shareddata::read(QStringLiteral("sectors/euroscope-CZYZ.ese"));
    QTemporaryDir dir;
    // The .ese is found beside the .sct whatever the case of its name.
    QVERIFY(writeFile(dir.filePath("CZYZ.sct"), sct));
    QVERIFY(writeFile(dir.filePath("czyz.ESE"), ese));
    const SectorFile file = SectorManager::readFile(dir.filePath("CZYZ.sct"));
    QVERIFY2(file.error.isEmpty(), qPrintable(file.error));
    QCOMPARE(file.sectorName, QStringLiteral("CZYZ 2506 12/06/2025"));

    QCOMPARE(file.count(SectorPoint::Kind::Vor), sectionRows(sct, "[VOR]"));
    QCOMPARE(file.count(SectorPoint::Kind::Ndb), sectionRows(sct, "[NDB]"));
    QCOMPARE(file.count(SectorPoint::Kind::Airport), sectionRows(sct, "[AIRPORT]"));
    QCOMPARE(file.count(SectorPoint::Kind::Fix), sectionRows(sct, "[FIXES]"));
    // Rows with an impossible coordinate are skipped: five runways (KCIU, KDRM, KANJ), two labels
    // and 32 free texts of these files.
    QCOMPARE(badRows(sct, "[RUNWAY]"), 5);
    QCOMPARE(file.segmentCount(SectorLine::Kind::Runway), sectionRows(sct, "[RUNWAY]") - badRows(sct, "[RUNWAY]"));
    QCOMPARE(file.segmentCount(SectorLine::Kind::Geo), sectionRows(sct, "[GEO]") - geoHeaders(sct));
    QCOMPARE(file.regions.size(), sectionRows(sct, "[REGIONS]", "^REGIONNAME"));
    QCOMPARE(file.labels.size(), sectionRows(sct, "[LABELS]") - badRows(sct, "[LABELS]") +
                                     sectionRows(ese, "[FREETEXT]") - badRows(ese, "[FREETEXT]"));
    QCOMPARE(file.positions.size(), sectionRows(ese, "[POSITIONS]"));
    QCOMPARE(file.procedureCount, sectionRows(ese, "[SIDSSTARS]"));
    // Every SECTOR becomes an area, or is counted among the skipped rows.
    const int sectors = sectionRows(ese, "[AIRSPACE]", "^SECTOR:");
    QCOMPARE(sectors, 315);
    QCOMPARE(file.areas.size(), sectors);
    // The rest of the skips are SID/STAR rows naming fixes the file never defines.
    const QHash<QString, QPointF> fixes = EseParser::fixIndex(file);
    int unknownFixes = 0;
    for (const QString &reason : file.report.reasons) {
        const auto m = QRegularExpression(QStringLiteral("unknown fix (\\S+)$")).match(reason);
        if (m.hasMatch()) {
            QVERIFY2(!fixes.contains(m.captured(1).toUpper()), qPrintable(reason));
            ++unknownFixes;
        }
    }
    QVERIFY(unknownFixes > 5);
    // Counted by hand for these files: in the .sct 5 runways and 2 labels with impossible
    // coordinates, 25 SID/STAR/airway rows naming undefined fixes and 20 rows whose point halves
    // disagree ("TIGET TIGER") or whose coordinates are impossible; in the .ese 32 free texts.
    QCOMPARE(file.report.skippedCount, 84);

    // The ALPENA VORTAC where the file puts it, and an airway drawn between two named points.
    const auto apn = std::find_if(file.points.cbegin(), file.points.cend(),
                                  [](const SectorPoint &p) { return p.ident == QLatin1String("APN"); });
    QVERIFY(apn != file.points.cend());
    QVERIFY(std::abs(apn->position.x() - (45 + 4 / 60.0 + 47.4 / 3600)) < 1e-6);
    QVERIFY(std::abs(apn->position.y() + (83 + 33 / 60.0 + 25.2 / 3600)) < 1e-6);
    const auto b7 = std::find_if(file.lines.cbegin(), file.lines.cend(), [](const SectorLine &l) {
        return l.kind == SectorLine::Kind::LowAirway && l.group == QLatin1String("B7");
    });
    QVERIFY(b7 != file.lines.cend());
    QCOMPARE(b7->points.first(), fixes.value("YUY"));
    QCOMPARE(b7->points.last(), fixes.value("REZIN"));
}

void TestSectorFiles::damagedEuroscopeFilesSkipAndCount()
{
    REQUIRE_SHARED_TESTDATA();
    const QByteArray sct = shareddata::read(QStringLiteral("sectors/euroscope-CZYZ.sct"));
    const SectorFile whole = SctParser::parse(sct, QStringLiteral("whole.sct"));

    QByteArray garbled = sct;
    const int badGeo = garble(garbled, "[GEO]", 500, "N043.00.00.000 junk N043.00.00.000 W079.00.00.000 blue");
    const int badLabels = garble(garbled, "[LABELS]", 50, "\"unterminated N043.00.00.000 W079.00.00.000");
    const int badRegions = garble(garbled, "[REGIONS]", 1000, "\x01\x02\xff garbage");
    QVERIFY(badGeo > 10 && badLabels > 3 && badRegions > 10);
    const SectorFile damaged = SctParser::parse(garbled, QStringLiteral("garbled.sct"));
    QCOMPARE(damaged.report.skippedCount, whole.report.skippedCount + badGeo + badLabels + badRegions);
    QCOMPARE(damaged.report.reasons.size(), SectorParseReport::kMaxReasons);
    QCOMPARE(damaged.segmentCount(SectorLine::Kind::Geo), whole.segmentCount(SectorLine::Kind::Geo) - badGeo);
    QCOMPARE(damaged.labels.size(), whole.labels.size() - badLabels);
    QCOMPARE(damaged.points.size(), whole.points.size());

    // Cut in the middle of a row: everything before it is read, at most the cut row is skipped.
    const QByteArray cut = sct.left(sct.size() * 55 / 100);
    const SectorFile truncated = SctParser::parse(cut, QStringLiteral("cut.sct"));
    QVERIFY(truncated.report.skippedCount <= whole.report.skippedCount + 1);
    QCOMPARE(truncated.points.size(), whole.points.size()); // the point sections come first
    QVERIFY(truncated.lines.size() > 0 && truncated.lines.size() < whole.lines.size());

    const QByteArray ese = shareddata::read(QStringLiteral("sectors/euroscope-CZYZ.ese"));
    const QHash<QString, QPointF> fixes = EseParser::fixIndex(whole);
    const SectorFile eseWhole = EseParser::parse(ese, QStringLiteral("whole.ese"), fixes);
    QByteArray eseGarbled = ese;
    const int badText = garble(eseGarbled, "[FREETEXT]", 40, "N043.xx:W079.00.00.000:group:text");
    const int badPositions = garble(eseGarbled, "[POSITIONS]", 20, "JUNK:ONLY");
    const SectorFile eseDamaged = EseParser::parse(eseGarbled, QStringLiteral("garbled.ese"), fixes);
    QCOMPARE(eseDamaged.report.skippedCount, eseWhole.report.skippedCount + badText + badPositions);
    QCOMPARE(eseDamaged.labels.size(), eseWhole.labels.size() - badText);
    QCOMPARE(eseDamaged.positions.size(), eseWhole.positions.size() - badPositions);
    QCOMPARE(eseDamaged.areas.size(), eseWhole.areas.size());
    // Without the .sct the ground circles have no centre: counted, not fatal.
    const SectorFile alone = EseParser::parse(ese, QStringLiteral("alone.ese"), {});
    const int circles = sectionRows(ese, "[AIRSPACE]", "^CIRCLE_SECTORLINE:");
    QCOMPARE(circles, 21);
    QVERIFY(alone.report.skippedCount >= eseWhole.report.skippedCount + circles);
    const SectorFile small = EseParser::parse("[AIRSPACE]\nCIRCLE_SECTORLINE:GND:CYYZ:2\nSECTOR:GND:0:1000\n"
                                              "BORDER:GND\n",
                                              QStringLiteral("small.ese"), {});
    QCOMPARE(small.report.reasons,
             (QStringList{"line 2: circle around unknown fix CYYZ", "line 3: sector GND: unknown border line GND",
                          "line 3: sector GND has no outline"}));
    QVERIFY(small.areas.isEmpty());
    const SectorFile placed = EseParser::parse("[AIRSPACE]\nCIRCLE_SECTORLINE:GND:CYYZ:2\nSECTOR:GND:0:1000\n"
                                               "BORDER:GND\n",
                                               QStringLiteral("small.ese"), fixes);
    QCOMPARE(placed.areas.size(), 1);
    QVERIFY(placed.areas.first().contains(fixes.value("CYYZ").x() + 0.02, fixes.value("CYYZ").y()));
    QVERIFY(!placed.areas.first().contains(fixes.value("CYYZ").x() + 0.04, fixes.value("CYYZ").y()));
}

void TestSectorFiles::geoJsonBoundaries_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<int>("areas");
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("name");
    QTest::newRow("FIR collection") << "sectors/vatspy-Boundaries.geojson" << 1102 << "FIR"
                                    << "CZYZ";
    QTest::newRow("TRACON feature") << "sectors/simaware-tracon-sample/N90_JFK.json" << 1 << "TRACON"
                                    << "New York Approach (JFK)";
    QTest::newRow("TRACON with suffix") << "sectors/simaware-tracon-sample/SCT_LAX_DEP.json" << 1 << "TRACON"
                                        << "SoCal Departure (LAX)";
}

void TestSectorFiles::geoJsonBoundaries()
{
    REQUIRE_SHARED_TESTDATA();
    QFETCH(QString, file);
    QFETCH(int, areas);
    QFETCH(QString, kind);
    QFETCH(QString, name);
    const SectorFile read = BoundaryReaders::readGeoJson(shareddata::read(file), file);
    QVERIFY2(read.error.isEmpty(), qPrintable(read.error));
    QCOMPARE(read.areas.size(), areas);
    QCOMPARE(read.report.skippedCount, 0);
    const auto found =
        std::find_if(read.areas.cbegin(), read.areas.cend(), [&](const SectorArea &a) { return a.name == name; });
    QVERIFY(found != read.areas.cend());
    QCOMPARE(found->kind, kind);
    QCOMPARE(found->floorFt, 0);
    QCOMPARE(found->ceilingFt, SectorArea::kUnlimitedFt);
}

void TestSectorFiles::damagedGeoJsonKeepsIntactFeatures()
{
    REQUIRE_SHARED_TESTDATA();
    const QByteArray bytes = shareddata::read(QStringLiteral("sectors/vatspy-Boundaries.geojson"));
    const QByteArray cut = bytes.left(bytes.size() * 60 / 100);
    const SectorFile truncated = BoundaryReaders::readGeoJson(cut, QStringLiteral("cut.geojson"));
    QVERIFY2(truncated.error.isEmpty(), qPrintable(truncated.error));
    const int started = int(cut.count("\"Feature\""));
    QCOMPARE(truncated.report.skippedCount, 1);
    QCOMPARE(truncated.areas.size(), started - 1);

    QByteArray garbled = bytes;
    const QRegularExpression coordinates(QStringLiteral("\"coordinates\"\\s*:\\s*\\["));
    QString text = QString::fromUtf8(garbled);
    for (int i = 0; i < 3; ++i) {
        const auto match = coordinates.match(text, i == 0 ? 0 : text.indexOf(QLatin1String("\"was\"")) + 5);
        QVERIFY(match.hasMatch());
        text.replace(match.capturedStart(), match.capturedLength(),
                     QStringLiteral("\"coordinates\": \"x\", \"was\": ["));
    }
    const SectorFile damaged = BoundaryReaders::readGeoJson(text.toUtf8(), QStringLiteral("garbled.geojson"));
    QCOMPARE(damaged.report.skippedCount, 3);
    QCOMPARE(damaged.areas.size(), 1102 - 3);

    const SectorFile nothing = BoundaryReaders::readGeoJson("{\"type\": \"Feat", QStringLiteral("broken.json"));
    QVERIFY(!nothing.error.isEmpty());
    QVERIFY(nothing.areas.isEmpty());
}

void TestSectorFiles::openAirAreas()
{
    REQUIRE_SHARED_TESTDATA();
    const QByteArray text = shareddata::read(QStringLiteral("airspace/openair-UK-asselect-2025-03.txt"));
    const SectorFile file = BoundaryReaders::readOpenAir(text, QStringLiteral("uk.txt"));
    const int blocks = int(text.count("\nAC ") + (text.startsWith("AC ") ? 1 : 0));
    QCOMPARE(blocks, 2571);
    QVERIFY(file.areas.size() > 2500);
    QVERIFY(file.areas.size() + file.report.skippedCount >= blocks);

    // Barkston Heath ATZ: a 2 nm circle from the surface to 2367 ft around 52:57:47 N 000:33:37 W.
    SectorManager manager;
    QTemporaryDir dir;
    QVERIFY(writeFile(dir.filePath("uk.txt"), text));
    QSignalSpy loaded(&manager, &SectorManager::fileLoaded);
    manager.loadFile(dir.filePath("uk.txt"));
    QVERIFY(loaded.wait(10000));
    const double lat = 52 + 57 / 60.0 + 47 / 3600.0;
    const double lon = -(33 / 60.0 + 37 / 3600.0);
    const auto low = manager.sectorAt(lat, lon, 1000);
    QVERIFY(low);
    QCOMPARE(low->name, QStringLiteral("BARKSTON HEATH ATZ 124.455"));
    QCOMPARE(low->ceilingFt, 2367);
    const auto high = manager.sectorAt(lat, lon, 3000);
    QVERIFY(!high || high->name != low->name);

    QByteArray garbled = text;
    int badPoints = 0;
    QList<QByteArray> lines = garbled.split('\n');
    for (int i = 0, dp = 0; i < lines.size(); ++i) {
        if (lines[i].startsWith("DP ") && ++dp % 200 == 0) {
            lines[i] = "DP 9X:YY:ZZ N 000:00:00 E";
            ++badPoints;
        }
    }
    const SectorFile damaged = BoundaryReaders::readOpenAir(lines.join('\n'), QStringLiteral("bad.txt"));
    QVERIFY(badPoints > 100);
    QVERIFY(damaged.report.skippedCount >= file.report.skippedCount + badPoints);
    QVERIFY(damaged.areas.size() < file.areas.size());
    QVERIFY(damaged.areas.size() >= file.areas.size() - badPoints);
}

void TestSectorFiles::managerLoadsInBackgroundAndAnswersSectorAndController()
{
    REQUIRE_SHARED_TESTDATA();
    SectorManager manager;
    QSignalSpy loaded(&manager, &SectorManager::fileLoaded);
    QSignalSpy failed(&manager, &SectorManager::loadFailed);
    const int czyz = manager.loadFile(shareddata::path(QStringLiteral("sectors/euroscope-CZYZ.sct")));
    const int firs = manager.loadFile(shareddata::path(QStringLiteral("sectors/vatspy-Boundaries.geojson")));
    testlog::expectLogged("Supervision", "Sector file .*missing.sct not loaded");
    manager.loadFile(QStringLiteral("/nonexistent/missing.sct"));
    QCOMPARE(manager.loadingCount(), 3);
    QTRY_COMPARE_WITH_TIMEOUT(loaded.size() + failed.size(), 3, 20000);
    QCOMPARE(failed.size(), 1);
    QCOMPARE(manager.fileIds(), (QList<int>{czyz, firs}));

    // Over Pearson at 2000 ft the most specific area is a Toronto sector, not the whole FIR.
    const auto pearson = manager.sectorAt(43.6777, -79.6248, 2000);
    QVERIFY(pearson);
    QCOMPARE(pearson->fileId, czyz);
    QVERIFY(pearson->floorFt <= 2000 && pearson->ceilingFt >= 2000);
    manager.setVisible(czyz, false);
    const auto fir = manager.sectorAt(43.6777, -79.6248, 2000);
    QVERIFY(fir);
    QCOMPARE(fir->name, QStringLiteral("CZYZ"));
    QCOMPARE(fir->kind, QStringLiteral("FIR"));
    manager.setVisible(firs, false);
    QVERIFY(!manager.sectorAt(43.6777, -79.6248, 2000));

    // Controllers: an ESE position by prefix, middle and suffix; a FIR by its id.
    const auto montreal = manager.controllerPosition(QStringLiteral("TOR_MI_CTR"));
    QVERIFY(montreal);
    QVERIFY(std::abs(montreal->x() - (46 + 37 / 60.0 + 45 / 3600.0)) < 1e-6);
    const auto centre = manager.controllerPosition(QStringLiteral("CZYZ_CTR"));
    QVERIFY(centre);
    QVERIFY(std::abs(centre->x() - 47.0) < 6.0 && std::abs(centre->y() + 82.0) < 8.0);
    QVERIFY(!manager.controllerPosition(QStringLiteral("NOWHERE_TWR")));

    // The network's own list places airports by ICAO code or short id, and FIRs by callsign prefix
    // over the boundary the list names.
    manager.setVisible(firs, true);
    const int vatspy = manager.loadFile(shareddata::path(QStringLiteral("sectors/vatspy-VATSpy.dat")));
    QVERIFY(loaded.wait(10000));
    QCOMPARE(manager.entry(vatspy)->file.report.skippedCount, 0);
    QVERIFY(manager.entry(vatspy)->file.positions.size() > 20000);
    const QList<QPair<QString, QPointF>> stations{{"BOS_TWR", {42.364347, -71.005189}},
                                                  {"KBOS_ATIS", {42.364347, -71.005189}},
                                                  {"A90_APP", {42.364347, -71.005189}},
                                                  {"JFK_GND", {40.63975, -73.778925}}};
    for (const auto &[callsign, expected] : stations) {
        const auto at = manager.controllerPosition(callsign);
        QVERIFY2(at && std::abs(at->x() - expected.x()) < 1e-6 && std::abs(at->y() - expected.y()) < 1e-6,
                 qPrintable(callsign));
    }
    const SectorFile &boundaries = manager.entry(firs)->file;
    const auto centreOf = [&boundaries](const QString &name) {
        for (const SectorArea &area : boundaries.areas) {
            if (area.name == name)
                return area.bounds.center();
        }
        return QPointF(999, 999);
    };
    QCOMPARE(manager.controllerPosition(QStringLiteral("NY_W_CTR")), std::optional<QPointF>(centreOf("KZNY-W")));
    QCOMPARE(manager.controllerPosition(QStringLiteral("NY_CTR")), std::optional<QPointF>(centreOf("KZNY")));
    QCOMPARE(manager.controllerPosition(QStringLiteral("BOS_CTR")), std::optional<QPointF>(centreOf("KZBW")));
}

QTEST_GUILESS_MAIN(TestSectorFiles)
#include "tst_sectorfiles.moc"
