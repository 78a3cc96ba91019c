#include "tests/plan/plantestdb.h"
#include "tests/support/logexpect.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

// zobrel-tool as a real process: its JSON keys are an interface scripts rely on, so they are
// checked exactly, with the exit status for good and bad input.
class TestTool : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }

    void metarDecode();
    void metarFromStandardInput();
    void routeFind();
    void planShowAndConvert();
    void ofpParse();
    void badUsageAndInput_data();
    void badUsageAndInput();

private:
    struct Run
    {
        int exitCode = -1;
        QByteArray out;
        QByteArray err;
    };
    Run run(const QStringList &args, const QByteArray &input = QByteArray());
    static QStringList keys(const QJsonObject &object);

    QTemporaryDir m_dir;
    QString m_db;
};

void TestTool::initTestCase()
{
    m_db = m_dir.filePath(QStringLiteral("nav.db"));
    OfflineNavDataProvider nav;
    QVERIFY(buildPlanTestDatabase(m_db, &nav));
}

TestTool::Run TestTool::run(const QStringList &args, const QByteArray &input)
{
    QProcess process;
    process.start(QStringLiteral(TOOL_EXECUTABLE), args);
    Run result;
    if (!process.waitForStarted(10000))
        return result;
    if (!input.isEmpty())
        process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(30000))
        return result;
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

QStringList TestTool::keys(const QJsonObject &object)
{
    QStringList list = object.keys();
    list.sort();
    return list;
}

void TestTool::metarDecode()
{
    const Run r = run({QStringLiteral("metar"), QStringLiteral("decode"), QStringLiteral("ZSPD"),
                       QStringLiteral("271200Z"), QStringLiteral("VRB03KT"), QStringLiteral("CAVOK"),
                       QStringLiteral("BKN012CB"), QStringLiteral("M05/M12"), QStringLiteral("A2992")});
    QCOMPARE(r.exitCode, 0);
    const QJsonObject o = QJsonDocument::fromJson(r.out).object();
    QStringList expected{"station",     "time",      "windDirectionDeg", "windVariable", "windSpeedKt", "windGustKt",
                         "visibilityM", "phenomena", "clouds",           "temperatureC", "dewpointC",   "pressureHpa",
                         "valid"};
    expected.sort();
    QCOMPARE(keys(o), expected);
    QCOMPARE(o.value("station").toString(), QStringLiteral("ZSPD"));
    QVERIFY(o.value("windDirectionDeg").isNull());
    QVERIFY(o.value("windVariable").toBool());
    QCOMPARE(o.value("windSpeedKt").toInt(), 3);
    QVERIFY(o.value("windGustKt").isNull());
    QVERIFY(o.value("visibilityM").isNull());
    QCOMPARE(o.value("temperatureC").toInt(), -5);
    QCOMPARE(o.value("dewpointC").toInt(), -12);
    QVERIFY(std::abs(o.value("pressureHpa").toDouble() - 1013.21) < 0.01);
    const QJsonObject cloud = o.value("clouds").toArray().at(0).toObject();
    QCOMPARE(keys(cloud), QStringList({"baseFt", "cover", "type"}));
    QCOMPARE(cloud.value("baseFt").toInt(), 1200);
    QCOMPARE(cloud.value("type").toString(), QStringLiteral("CB"));
    QVERIFY(o.value("valid").toBool());
}

void TestTool::metarFromStandardInput()
{
    const Run r = run({QStringLiteral("metar"), QStringLiteral("decode")},
                      "ZBAA 271200Z 36004MPS 9999 Q1032\n\nKJFK 271151Z 31012G20KT 10SM FEW250 M02/M14 A2992\n");
    QCOMPARE(r.exitCode, 0);
    const QList<QByteArray> lines = r.out.trimmed().split('\n');
    QCOMPARE(lines.size(), 2);
    const QJsonObject first = QJsonDocument::fromJson(lines[0]).object();
    const QJsonObject second = QJsonDocument::fromJson(lines[1]).object();
    QCOMPARE(first.value("station").toString(), QStringLiteral("ZBAA"));
    QVERIFY(first.value("windSpeedKt").isNull()); // metres per second are not read
    QCOMPARE(first.value("visibilityM").toInt(), 9999);
    QCOMPARE(second.value("windGustKt").toInt(), 20);
    QVERIFY(second.value("phenomena").toArray().isEmpty());

    const Run bad = run({QStringLiteral("metar"), QStringLiteral("decode")}, "ZBAA 271200Z 36004KT\nnonsense\n");
    QCOMPARE(bad.exitCode, 1);
    QCOMPARE(bad.out.trimmed().split('\n').size(), 2);
    QVERIFY(bad.err.contains("line 2"));
}

void TestTool::routeFind()
{
    const Run r = run({QStringLiteral("route"), QStringLiteral("find"), QStringLiteral("zspd"), QStringLiteral("ZBAA"),
                       QStringLiteral("--db"), m_db});
    QCOMPARE(r.exitCode, 0);
    const QJsonObject o = QJsonDocument::fromJson(r.out).object();
    QCOMPARE(keys(o), QStringList({"distanceNm", "points"}));
    const QJsonArray points = o.value("points").toArray();
    QVERIFY(points.size() > 4);
    const QJsonObject first = points.first().toObject();
    QCOMPARE(keys(first), QStringList({"airway", "ident", "lat", "lon"}));
    QCOMPARE(first.value("ident").toString(), QStringLiteral("ZSPD"));
    QVERIFY(first.value("airway").isNull());
    QCOMPARE(points.last().toObject().value("ident").toString(), QStringLiteral("ZBAA"));
    // The sum of the legs, longer than the great circle (about 580 nm) but not by much.
    const double distance = o.value("distanceNm").toDouble();
    QVERIFY2(distance > 580.0 && distance < 800.0, qPrintable(QString::number(distance)));
    for (int i = 1; i + 1 < points.size(); ++i)
        QVERIFY(!points.at(i).toObject().value("airway").toString().isEmpty());

    const Run missing = run({QStringLiteral("route"), QStringLiteral("find"), QStringLiteral("ZSPD"),
                             QStringLiteral("KXYZ"), QStringLiteral("--db"), m_db});
    QCOMPARE(missing.exitCode, 1);
    QVERIFY(missing.err.contains("KXYZ"));
    QVERIFY(missing.out.isEmpty());
}

void TestTool::planShowAndConvert()
{
    const QString pln = QStringLiteral(SHARED_TESTDATA_DIR "/flightplans/aerofly-missions-fixtures/khwo-msfs2020.pln");
    if (!QFile::exists(pln))
        QSKIP("shared test data not present");
    const QString fms = m_dir.filePath(QStringLiteral("khwo.fms"));
    const Run convert = run({QStringLiteral("plan"), QStringLiteral("convert"), pln, fms});
    QCOMPARE(convert.exitCode, 0);
    for (const QString &file : {pln, fms}) {
        const Run show = run({QStringLiteral("plan"), QStringLiteral("show"), file});
        QCOMPARE(show.exitCode, 0);
        const QJsonObject o = QJsonDocument::fromJson(show.out).object();
        QCOMPARE(keys(o), QStringList({"cruiseAltitudeFt", "departure", "destination", "waypoints"}));
        QCOMPARE(o.value("departure").toString(), QStringLiteral("KEYW"));
        QCOMPARE(o.value("cruiseAltitudeFt").toInt(), 2500);
        const QJsonArray waypoints = o.value("waypoints").toArray();
        QCOMPARE(waypoints.size(), 10);
        const QJsonObject eyw = waypoints.at(3).toObject();
        QCOMPARE(keys(eyw), QStringList({"airway", "ident", "lat", "lon", "type"}));
        QCOMPARE(eyw.value("ident").toString(), QStringLiteral("EYW"));
        QCOMPARE(eyw.value("type").toString(), QStringLiteral("VOR"));
        QVERIFY(std::abs(eyw.value("lat").toDouble() - 24.585878) < 1e-5);
        QVERIFY(eyw.value("airway").isNull());
    }

    // The MSFS 2024 file's points get their positions from the database.
    const QString plan2024 =
        QStringLiteral(SHARED_TESTDATA_DIR "/flightplans/aerofly-missions-fixtures/simbrief-mfs2024.pln");
    const Run unplaced = run({QStringLiteral("plan"), QStringLiteral("show"), plan2024});
    QVERIFY(QJsonDocument::fromJson(unplaced.out)
                .object()
                .value("waypoints")
                .toArray()
                .at(1)
                .toObject()
                .value("lat")
                .isNull());
    const Run placed = run({QStringLiteral("plan"), QStringLiteral("show"), plan2024, QStringLiteral("--db"), m_db});
    QCOMPARE(placed.exitCode, 0);
    // All but the two fixes that are newer than the 2016 data.
    for (const QJsonValue &w : QJsonDocument::fromJson(placed.out).object().value("waypoints").toArray()) {
        const QString ident = w.toObject().value("ident").toString();
        QCOMPARE(w.toObject().value("lat").isDouble(),
                 ident != QLatin1String("AMRIV") && ident != QLatin1String("MOMIC"));
    }
}

void TestTool::ofpParse()
{
    const QString ofp = QStringLiteral(SHARED_TESTDATA_DIR "/simbrief/simbrief2fgfs-LEBLLQSA_XML_1607637506.xml");
    if (!QFile::exists(ofp))
        QSKIP("shared test data not present");
    const Run r = run({QStringLiteral("ofp"), QStringLiteral("parse"), ofp});
    QCOMPARE(r.exitCode, 0);
    const QJsonObject o = QJsonDocument::fromJson(r.out).object();
    QStringList expected{"origin",
                         "destination",
                         "route",
                         "aircraftIcao",
                         "aircraftName",
                         "flightLevel",
                         "cruiseTas",
                         "distance",
                         "estGroundTimeMin",
                         "estFlightTimeMin",
                         "rampFuel",
                         "payload",
                         "zfw",
                         "tow",
                         "ldw",
                         "fixList",
                         "valid"};
    expected.sort();
    QCOMPARE(keys(o), expected);
    QCOMPARE(o.value("origin").toString(), QStringLiteral("LEBL"));
    QCOMPARE(o.value("flightLevel").toInt(), 380);
    QCOMPARE(o.value("estFlightTimeMin").toInt(), 106);
    QVERIFY(o.value("fixList").toString().startsWith(QStringLiteral("SALON AGENA")));
    QVERIFY(o.value("valid").toBool());
}

void TestTool::badUsageAndInput_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<int>("exitCode");
    QTest::newRow("help") << QStringList{"--help"} << 0;
    QTest::newRow("unknown command") << QStringList{"fly", "now"} << 2;
    QTest::newRow("route without database") << QStringList{"route", "find", "ZSPD", "ZBAA"} << 2;
    QTest::newRow("database missing") << QStringList{"route", "find", "ZSPD", "ZBAA", "--db", "/nonexistent.db"} << 1;
    QTest::newRow("plan file missing") << QStringList{"plan", "show", "/nonexistent.pln"} << 1;
    QTest::newRow("convert to gpx") << QStringList{"plan", "convert", "a.pln", "b.gpx"} << 2;
    QTest::newRow("no station") << QStringList{"metar", "decode", "hello", "world"} << 1;
}

void TestTool::badUsageAndInput()
{
    QFETCH(QStringList, args);
    QFETCH(int, exitCode);
    const Run r = run(args);
    QCOMPARE(r.exitCode, exitCode);
    if (exitCode != 0)
        QVERIFY(r.err.startsWith("zobrel-tool: "));
}

QTEST_GUILESS_MAIN(TestTool)
#include "tst_tool.moc"
