// OpenAir and OpenAIP airspace files into airspaces: the complete UK OpenAir file, arcs checked
// against the polygons an independent parser produced for the same input, altitude words,
// unusable airspaces, and OpenAIP XML and JSON.

#include "importtest.h"
#include "navtestdb.h"

#include "nav/openairparser.h"
#include "tests/support/logexpect.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRectF>
#include <QTemporaryDir>

#include <cmath>

using namespace importtest;
using namespace navtest;

namespace {

QList<QPointF> parseBoundary(const QString &text)
{
    QList<QPointF> points;
    for (const QString &pair : text.split(' ', Qt::SkipEmptyParts)) {
        const QStringList xy = pair.split(',');
        points.append(QPointF(xy.value(0).toDouble(), xy.value(1).toDouble()));
    }
    return points;
}

// Shoelace area in square degrees, scaled by the cosine of the mean latitude.
double area(const QList<QPointF> &points)
{
    double sum = 0.0;
    double lat = 0.0;
    for (int i = 0; i < points.size(); ++i) {
        const QPointF &a = points.at(i);
        const QPointF &b = points.at((i + 1) % points.size());
        sum += a.x() * b.y() - b.x() * a.y();
        lat += a.y();
    }
    return std::abs(sum) / 2.0 * std::cos(lat / points.size() * M_PI / 180.0);
}

QRectF bounds(const QList<QPointF> &points)
{
    double minX = 1e9, minY = 1e9, maxX = -1e9, maxY = -1e9;
    for (const QPointF &p : points) {
        minX = qMin(minX, p.x());
        maxX = qMax(maxX, p.x());
        minY = qMin(minY, p.y());
        maxY = qMax(maxY, p.y());
    }
    return QRectF(QPointF(minX, minY), QPointF(maxX, maxY));
}

QString fixture(const QString &name)
{
    return sharedData("airspace/openaip-openair-parser-fixtures/" + name);
}

} // namespace

class TestAirspaceImport : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
        AppLogger::instance().clear();
    }

    void completeUkFile()
    {
        REQUIRE_SHARED_TESTDATA();
        QTemporaryDir dir;
        QVERIFY(copyFile(sharedData("airspace/openair-UK-asselect-2025-03.txt"), dir.filePath("openair/uk.txt")));
        const QString db = dir.filePath("air.db");
        QVERIFY(fullSchemaCopy(db));
        DatabaseBuilder builder;
        QSignalSpy finished(&builder, &DatabaseBuilder::importFinished);
        QVERIFY(builder.importOpenAirAirspaces(db, dir.filePath("openair")));

        // Every "AC" starts an airspace; those not imported are counted in the message.
        const QByteArray text = readFile(dir.filePath("openair/uk.txt"));
        const int blocks = countLines(text, {"AC "});
        QCOMPARE(blocks, 2571);
        const int imported = count(db, "airspaces");
        const QString message = lastFinished(finished).first;
        QVERIFY2(message.startsWith(
                     QStringLiteral("importOpenAirAirspaces: imported %1 airspaces from 1 files").arg(imported)),
                 qPrintable(message));
        int unusable = 0;
        const QRegularExpressionMatch m = QRegularExpression("and (\\d+) unusable airspaces").match(message);
        if (m.hasMatch())
            unusable = m.captured(1).toInt();
        QCOMPARE(imported + unusable, blocks);
        QVERIFY(imported > 2500);

        // Classes map one to one (the dropped ones aside).
        const auto typeCount = [&](const char *type) {
            return column(db, QStringLiteral("SELECT COUNT(*) FROM airspaces WHERE type='%1'").arg(QLatin1String(type)))
                .value(0)
                .toInt();
        };
        QCOMPARE(typeCount("CLASS_A") + typeCount("CLASS_B") + typeCount("CLASS_C") + typeCount("CLASS_D") +
                     typeCount("CLASS_E") + typeCount("CLASS_F") + typeCount("CLASS_G") + typeCount("MATZ") +
                     typeCount("PROHIBITED") + typeCount("DANGER") + typeCount("RESTRICTED") + typeCount("RMZ") +
                     typeCount("TMZ") + typeCount("GLZ"),
                 imported);
        QCOMPARE(typeCount("MATZ"), countLines(text, {"AC MATZ"}));

        // BARKSTON HEATH ATZ: a 2 NM circle around 52:57:47 N 000:33:37 W, surface to 2367 ft.
        const QStringList parts =
            column(db,
                   "SELECT type || '|' || bottom_alt || '|' || top_alt || '|' || boundary FROM airspaces WHERE name "
                   "= 'BARKSTON HEATH ATZ 124.455'")
                .value(0)
                .toString()
                .split('|');
        QCOMPARE(parts.mid(0, 3), (QStringList{"CLASS_D", "0", "2367"}));
        const QList<QPointF> circle = parseBoundary(parts.value(3));
        QVERIFY(circle.size() >= 180);
        const double centreLat = 52 + 57 / 60.0 + 47 / 3600.0;
        const double centreLon = -(33 / 60.0 + 37 / 3600.0);
        for (const QPointF &p : circle)
            QVERIFY(qAbs(DatabaseBuilder::distanceNm(centreLat, centreLon, p.y(), p.x()) - 2.0) < 0.001);
    }

    void arcsMatchAnIndependentParser_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("DB arcs, clockwise") << "arc-cw";
        QTest::newRow("DB arc, counter-clockwise") << "arc-ccw";
        QTest::newRow("DA arcs by angle") << "arc-angle-cw";
        QTest::newRow("polygon") << "polygon";
    }
    void arcsMatchAnIndependentParser()
    {
        REQUIRE_SHARED_TESTDATA();
        QFETCH(QString, name);
        QTemporaryDir dir;
        QVERIFY(copyFile(fixture(name + ".txt"), dir.filePath("in/" + name + ".txt")));
        const QString db = dir.filePath("arc.db");
        QVERIFY(fullSchemaCopy(db));
        QVERIFY(DatabaseBuilder().importOpenAirAirspaces(db, dir.filePath("in")));
        const QList<QPointF> ours = parseBoundary(column(db, "SELECT boundary FROM airspaces").value(0).toString());

        const QJsonObject feature = QJsonDocument::fromJson(readFile(fixture(name + "-result.json"))).object();
        const QJsonArray features = feature.value("features").toArray();
        const QJsonObject geometry =
            (features.isEmpty() ? feature : features.at(0).toObject()).value("geometry").toObject();
        QList<QPointF> theirs;
        for (const QJsonValue &p : geometry.value("coordinates").toArray().at(0).toArray())
            theirs.append(QPointF(p.toArray().at(0).toDouble(), p.toArray().at(1).toDouble()));
        QVERIFY(theirs.size() > 4);

        // The same shape: areas within 1 %, bounding boxes within about 50 m.
        QVERIFY2(qAbs(area(ours) / area(theirs) - 1.0) < 0.01,
                 qPrintable(QStringLiteral("%1 vs %2").arg(area(ours)).arg(area(theirs))));
        const QRectF a = bounds(ours);
        const QRectF b = bounds(theirs);
        for (const qreal d : {a.left() - b.left(), a.right() - b.right(), a.top() - b.top(), a.bottom() - b.bottom()})
            QVERIFY2(qAbs(d) < 0.0005, qPrintable(QString::number(d)));
    }

    void limitsAndTypes_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("expected"); // type|bottom|top|name, or empty when it must be dropped
        QTest::newRow("FL with a blank") << "check-limits-unit-conversion.txt"
                                         << "RESTRICTED|18000|35000|R3804C BY NOTAM";
        QTest::newRow("metres") << "meter-altitude-unit.txt"
                                << "GLZ|9843|15000|22 Nord";
        QTest::newRow("decimal feet") << "round-altitude-values.txt"
                                      << "GLZ|1608|9000|22 Nord";
        QTest::newRow("inline comments") << "inline-comments.txt"
                                         << "RESTRICTED|0|24000|TMP JSDF X-12-2 till 31Mar22 Height by NOTAM";
        QTest::newRow("class only") << "missing-AY.txt"
                                    << "CLASS_C|3500|31000|LI-R64 Cuneo";
        QTest::newRow("tiny circle, unlimited") << "laser-beam.txt"
                                                << "DANGER|0|99999|Lampedusa(LaserBeam)";
        QTest::newRow("minutes of 60") << "coordinate-minutes-60.txt" << QString();
        QTest::newRow("FL without number") << "flight-level-missing-number.txt" << QString();
        QTest::newRow("two lower limits, no upper") << "ceiling-definitions-duplicate.txt" << QString();
        QTest::newRow("airway of two points") << "airway.txt" << QString();
    }
    void limitsAndTypes()
    {
        REQUIRE_SHARED_TESTDATA();
        QFETCH(QString, file);
        QFETCH(QString, expected);
        QTemporaryDir dir;
        QVERIFY(copyFile(fixture(file), dir.filePath("in/" + file)));
        const QString db = dir.filePath("lim.db");
        QVERIFY(fullSchemaCopy(db));
        DatabaseBuilder builder;
        QSignalSpy finished(&builder, &DatabaseBuilder::importFinished);
        if (expected.isEmpty()) {
            // A file whose only airspace is unusable gives nothing to import: it fails.
            testlog::expectLogged("NavBuilder", QRegularExpression::escape(file) + " has no usable row");
            QVERIFY(!builder.importOpenAirAirspaces(db, dir.filePath("in")));
            QCOMPARE(count(db, "airspaces"), 0);
            return;
        }
        QVERIFY(builder.importOpenAirAirspaces(db, dir.filePath("in")));
        QCOMPARE(column(db, "SELECT type || '|' || bottom_alt || '|' || top_alt || '|' || name FROM airspaces"),
                 QVariantList{expected});
    }

    void versionTwoTypesWinOverClasses()
    {
        REQUIRE_SHARED_TESTDATA();
        QTemporaryDir dir;
        QVERIFY(copyFile(fixture("version-2-commands.txt"), dir.filePath("in/v2.txt")));
        const QString db = dir.filePath("v2.db");
        QVERIFY(fullSchemaCopy(db));
        QVERIFY(DatabaseBuilder().importOpenAirAirspaces(db, dir.filePath("in")));
        // Eight "AC D" airspaces with "AY TMA".
        QCOMPARE(count(db, "airspaces"), 8);
        QCOMPARE(column(db, "SELECT DISTINCT type FROM airspaces"), QVariantList{"TMA"});
    }

    void altitudeWords_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("feet");
        QTest::newRow("SFC") << "SFC" << 0;
        QTest::newRow("GND") << "GND" << 0;
        QTest::newRow("UNL") << "UNL" << OpenAirAirspace::kUnlimitedFt;
        QTest::newRow("UNLIMITED") << "UNLIMITED" << OpenAirAirspace::kUnlimitedFt;
        QTest::newRow("FL") << "FL95" << 9500;
        QTest::newRow("FL with blank") << "FL 195" << 19500;
        QTest::newRow("FT MSL") << "2500FT MSL" << 2500;
        QTest::newRow("ft AMSL") << "2500 ft AMSL" << 2500;
        QTest::newRow("AGL") << "1500 AGL" << 1500;
        QTest::newRow("MSL only") << "2000 MSL" << 2000;
        QTest::newRow("metres") << "1000m" << 3281;
        QTest::newRow("number only") << "4500" << 4500;
    }
    void altitudeWords()
    {
        QFETCH(QString, text);
        QFETCH(int, feet);
        int value = -1;
        QVERIFY(OpenAirParser::parseAltitude(text, &value));
        QCOMPARE(value, feet);
        int unused = 0;
        for (const char *bad : {"FL", "", "high", "ft 2500"})
            QVERIFY2(!OpenAirParser::parseAltitude(QLatin1String(bad), &unused), bad);
    }

    void openAipXmlAndJson()
    {
        QTemporaryDir dir;
        QVERIFY(writeFile(dir.filePath("in/de.aip"),
                          "<?xml version=\"1.0\"?>\n<OPENAIP VERSION=\"x\" DATAFORMAT=\"1.1\"><AIRSPACES>"
                          "<ASP CATEGORY=\"CTR\"><VERSION>1</VERSION><ID>1</ID><COUNTRY>DE</COUNTRY>"
                          "<NAME>EXAMPLE CTR</NAME>"
                          "<ALTLIMIT_TOP REFERENCE=\"MSL\"><ALT UNIT=\"F\">2500</ALT></ALTLIMIT_TOP>"
                          "<ALTLIMIT_BOTTOM REFERENCE=\"GND\"><ALT UNIT=\"F\">0</ALT></ALTLIMIT_BOTTOM>"
                          "<GEOMETRY><POLYGON>10.0 50.0, 10.2 50.0, 10.2 50.1, 10.0 50.0</POLYGON></GEOMETRY></ASP>"
                          "<ASP CATEGORY=\"RESTRICTED\"><NAME>ED-R1</NAME>"
                          "<ALTLIMIT_TOP REFERENCE=\"STD\"><ALT UNIT=\"FL\">100</ALT></ALTLIMIT_TOP>"
                          "<ALTLIMIT_BOTTOM REFERENCE=\"GND\"><ALT UNIT=\"F\">0</ALT></ALTLIMIT_BOTTOM>"
                          "<GEOMETRY><POLYGON>11.0 51.0, 11.2 51.0, 11.2 51.1, 11.0 51.0</POLYGON></GEOMETRY></ASP>"
                          "<ASP CATEGORY=\"OTH\"><NAME>SOMETHING</NAME></ASP>"
                          "</AIRSPACES></OPENAIP>\n"));
        QVERIFY(writeFile(dir.filePath("in/api.json"),
                          R"({"items": [ { "_id": "1", "name": "EXAMPLE TMA", "type": 7, "icaoClass": 2,
                              "upperLimit": { "value": 95, "unit": 6, "referenceDatum": 2 },
                              "lowerLimit": { "value": 1500, "unit": 1, "referenceDatum": 1 },
                              "geometry": { "type": "Polygon", "coordinates": [[[-122.4,47.5],[-122.2,47.5],
                                            [-122.2,47.4],[-122.4,47.5]]] } },
                            { "_id": "2", "name": "CLASS E AREA", "type": 0, "icaoClass": 4,
                              "upperLimit": { "value": 3000, "unit": 0, "referenceDatum": 1 },
                              "lowerLimit": { "value": 0, "unit": 1, "referenceDatum": 0 },
                              "geometry": { "type": "Polygon", "coordinates": [[[1,1],[2,1],[2,2],[1,1]]] } },
                            { "_id": "3", "name": "NO GEOMETRY", "type": 1, "icaoClass": 8,
                              "upperLimit": { "value": 10, "unit": 6 }, "lowerLimit": { "value": 0, "unit": 1 } } ],
                             "limit": 500, "page": 1, "totalCount": 3, "totalPages": 1 })"));
        const QString db = dir.filePath("aip.db");
        QVERIFY(fullSchemaCopy(db));
        DatabaseBuilder builder;
        QSignalSpy finished(&builder, &DatabaseBuilder::importFinished);
        QVERIFY(builder.importOpenAIPAirspaces(db, dir.filePath("in")));
        QCOMPARE(lastFinished(finished).first,
                 QStringLiteral("importOpenAIPAirspaces: imported 4 airspaces from 2 files (2 unusable airspaces "
                                "skipped)"));
        QCOMPARE(column(db, "SELECT name || '|' || type || '|' || bottom_alt || '|' || top_alt FROM airspaces ORDER BY "
                            "name"),
                 (QVariantList{"CLASS E AREA|CLASS_E|0|9843", "ED-R1|RESTRICTED|0|10000", "EXAMPLE CTR|CTR|0|2500",
                               "EXAMPLE TMA|TMA|1500|9500"}));
        // Longitude first, as stored for the map.
        QCOMPARE(
            parseBoundary(column(db, "SELECT boundary FROM airspaces WHERE name='EXAMPLE TMA'").value(0).toString())
                .value(0),
            QPointF(-122.4, 47.5));
    }

    void missingFoldersAndFiles_data()
    {
        QTest::addColumn<bool>("openAir");
        QTest::addColumn<bool>("createFolder");
        QTest::addColumn<QString>("message");
        QTest::newRow("OpenAir folder") << true << false << "OpenAir airspaces directory not found: ";
        QTest::newRow("OpenAir files") << true << true << "No OpenAir files (*.txt, *.openair, *.air) found in ";
        QTest::newRow("OpenAIP folder") << false << false << "OpenAIP airspaces directory not found: ";
        QTest::newRow("OpenAIP files") << false << true << "No OpenAIP files (*.aip, *.xml, *.json) found in ";
    }
    void missingFoldersAndFiles()
    {
        QFETCH(bool, openAir);
        QFETCH(bool, createFolder);
        QFETCH(QString, message);
        QTemporaryDir dir;
        const QString folder = dir.filePath("air");
        if (createFolder)
            QVERIFY(QDir().mkpath(folder));
        const QString db = dir.filePath("none.db");
        QVERIFY(fullSchemaCopy(db));
        DatabaseBuilder builder;
        QSignalSpy finished(&builder, &DatabaseBuilder::importFinished);
        testlog::expectLogged("NavBuilder", QRegularExpression::escape(message + folder));
        QVERIFY(openAir ? !builder.importOpenAirAirspaces(db, folder) : !builder.importOpenAIPAirspaces(db, folder));
        QCOMPARE(lastFinished(finished), qMakePair(message + folder, false));
        QVERIFY(!loggedLine(message + folder).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestAirspaceImport)
#include "tst_airspaceimport.moc"
