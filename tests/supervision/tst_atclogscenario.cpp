#include "supervision/atclog.h"
#include "supervision/scenario.h"
#include "supervision/scenariolibrary.h"
#include "tests/support/logexpect.h"

#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

class TestAtcLogScenario : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void instructionValues_data();
    void instructionValues();
    void csvExportQuotesAndNeutralises();
    void latestAltitudeIsTheAssignedOne();
    void scenarioDocumentsRefused_data();
    void scenarioDocumentsRefused();
    void libraryListsUnreadableFilesAndNamesSafely();
};

void TestAtcLogScenario::instructionValues_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<double>("number");
    const int altitude = int(AtcInstruction::Kind::Altitude);
    QTest::newRow("feet") << altitude << "12000" << true << 12000.0;
    QTest::newRow("flight level") << altitude << "FL120" << true << 12000.0;
    QTest::newRow("flight level, space, lower case") << altitude << "fl 95" << true << 9500.0;
    QTest::newRow("feet with unit") << altitude << "3500ft" << true << 3500.0;
    QTest::newRow("both FL and ft") << altitude << "FL120ft" << false << 0.0;
    QTest::newRow("too high") << altitude << "FL700" << false << 0.0;
    QTest::newRow("negative") << altitude << "-500" << false << 0.0;
    QTest::newRow("heading") << int(AtcInstruction::Kind::Heading) << "270" << true << 270.0;
    QTest::newRow("heading 361") << int(AtcInstruction::Kind::Heading) << "361" << false << 0.0;
    QTest::newRow("speed") << int(AtcInstruction::Kind::Speed) << "250" << true << 250.0;
    QTest::newRow("mach") << int(AtcInstruction::Kind::Speed) << "M.78" << true << 0.0;
    QTest::newRow("speed words") << int(AtcInstruction::Kind::Speed) << "fast" << false << 0.0;
    QTest::newRow("frequency") << int(AtcInstruction::Kind::Frequency) << "121.5" << true << 121.5;
    QTest::newRow("frequency out of band") << int(AtcInstruction::Kind::Frequency) << "108.1" << false << 0.0;
    QTest::newRow("free text") << int(AtcInstruction::Kind::FreeText) << "hold at ZZ, right turns" << true << 0.0;
    QTest::newRow("empty free text") << int(AtcInstruction::Kind::FreeText) << "  " << false << 0.0;
}

void TestAtcLogScenario::instructionValues()
{
    QFETCH(int, kind);
    QFETCH(QString, value);
    QFETCH(bool, ok);
    QFETCH(double, number);
    QString error;
    const auto made = AtcInstruction::make("own", QString(), AtcInstruction::Kind(kind), value, QString(),
                                           QDateTime::currentDateTimeUtc(), &error);
    QCOMPARE(made.has_value(), ok);
    if (ok)
        QCOMPARE(made->number, number);
    else
        QVERIFY(!error.isEmpty());
    QVERIFY(!AtcInstruction::make(" ", QString(), AtcInstruction::Kind(kind), value, QString(), QDateTime(), &error));
}

void TestAtcLogScenario::csvExportQuotesAndNeutralises()
{
    AtcLog log;
    QString error;
    const QDateTime t(QDate(2025, 3, 20), QTime(8, 15, 0), Qt::UTC);
    log.add(*AtcInstruction::make("own", "B-3501", AtcInstruction::Kind::Altitude, "FL120", "climb, then \"report\"", t,
                                  &error));
    log.add(*AtcInstruction::make("agent-2", "CES501", AtcInstruction::Kind::FreeText, "=HYPERLINK(\"x\")",
                                  "line one\nline two", t.addSecs(90), &error));
    const QByteArray csv = log.toCsv();
    QVERIFY(csv.startsWith("\xEF\xBB\xBF"));
    const QStringList lines = QString::fromUtf8(csv.mid(3)).split(QStringLiteral("\r\n"));
    QCOMPARE(lines.value(0), QStringLiteral("时间 (UTC),航空器,类型,指令,备注"));
    QCOMPARE(lines.value(1), QStringLiteral("2025-03-20T08:15:00Z,B-3501,高度,FL120,\"climb, then \"\"report\"\"\""));
    // The line break inside the note stays inside its quotes.
    QCOMPARE(lines.value(2),
             QStringLiteral("2025-03-20T08:16:30Z,CES501,其他,\"'=HYPERLINK(\"\"x\"\")\",\"line one\nline two\""));
    QCOMPARE(lines.value(3), QString());
    QCOMPARE(lines.size(), 4);

    QTemporaryDir dir;
    QVERIFY(log.exportCsv(dir.filePath("atc.csv"), &error));
    QFile file(dir.filePath("atc.csv"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), csv);
    QVERIFY(!log.exportCsv(dir.filePath("missing-folder/atc.csv"), &error));
    QVERIFY(!error.isEmpty());
}

void TestAtcLogScenario::latestAltitudeIsTheAssignedOne()
{
    AtcLog log;
    QSignalSpy assigned(&log, &AtcLog::assignedAltitudeChanged);
    QString error;
    const QDateTime t = QDateTime::currentDateTimeUtc();
    const auto add = [&](const QString &id, AtcInstruction::Kind kind, const QString &value) {
        log.add(*AtcInstruction::make(id, id, kind, value, QString(), t, &error));
    };
    add("own", AtcInstruction::Kind::Altitude, "FL80");
    add("own", AtcInstruction::Kind::Heading, "090");
    add("agent", AtcInstruction::Kind::Altitude, "5000");
    add("own", AtcInstruction::Kind::Altitude, "6000");
    add("own", AtcInstruction::Kind::Speed, "210");
    QCOMPARE(log.assignedAltitude("own"), std::optional<double>(6000.0));
    QCOMPARE(log.assignedAltitude("agent"), std::optional<double>(5000.0));
    QVERIFY(!log.assignedAltitude("other"));
    QCOMPARE(assigned.size(), 3);
    QCOMPARE(assigned.last(), (QVariantList{"own", 6000.0}));
}

void TestAtcLogScenario::scenarioDocumentsRefused_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("reason");
    QTest::newRow("other format") << QByteArray(R"({"format":"x","version":1,"name":"a"})") << "not a scenario";
    QTest::newRow("newer version") << QByteArray(R"({"format":"zobrel-scenario","version":2,"name":"a"})")
                                   << "version 2";
    QTest::newRow("no name") << QByteArray(R"({"format":"zobrel-scenario","version":1,"name":" "})") << "no name";
    QTest::newRow("latitude 95") << QByteArray(R"({"format":"zobrel-scenario","version":1,"name":"a",)"
                                               R"("position":{"lat":95,"lon":0,"altitudeFt":1000}})")
                                 << "\"lat\"";
    QTest::newRow("position without altitude") << QByteArray(R"({"format":"zobrel-scenario","version":1,"name":"a",)"
                                                             R"("position":{"lat":30,"lon":120}})")
                                               << "\"altitudeFt\"";
    QTest::newRow("unknown trigger") << QByteArray(R"({"format":"zobrel-scenario","version":1,"name":"a",)"
                                                   R"("failures":[{"id":"eng1","trigger":"whenever"}]})")
                                     << "unknown trigger";
    QTest::newRow("altitude trigger without value")
        << QByteArray(R"({"format":"zobrel-scenario","version":1,"name":"a","failures":[{"id":"eng1","trigger":)"
                      R"("altitude"}]})")
        << "\"value\"";
    QTest::newRow("negative fuel") << QByteArray(R"({"format":"zobrel-scenario","version":1,"name":"a",)"
                                                 R"("fuel":{"totalGal":-5}})")
                                   << "\"totalGal\"";
    QByteArray tanks = R"({"format":"zobrel-scenario","version":1,"name":"a","fuel":{"tanksGal":[)";
    for (int i = 0; i < 100; ++i)
        tanks += i ? ",1" : "1";
    QTest::newRow("a hundred tanks") << QByteArray(tanks + "]}}") << "more than 64";
}

void TestAtcLogScenario::scenarioDocumentsRefused()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, reason);
    QString error;
    QVERIFY(!Scenario::fromJson(QJsonDocument::fromJson(json).object(), &error));
    QVERIFY2(error.contains(reason), qPrintable(error));
}

void TestAtcLogScenario::libraryListsUnreadableFilesAndNamesSafely()
{
    QTemporaryDir dir;
    ScenarioLibrary library(dir.filePath("scenarios"));
    QVERIFY(library.items().isEmpty());
    Scenario scenario;
    scenario.name = QStringLiteral("../夜航: 单发失效?");
    QString error;
    const auto path = library.save(scenario, &error);
    QVERIFY2(path, qPrintable(error));
    // The name cannot climb out of the folder or carry characters a file name cannot hold.
    QCOMPARE(QFileInfo(*path).absolutePath(), QFileInfo(dir.filePath("scenarios")).absoluteFilePath());
    QCOMPARE(QFileInfo(*path).fileName(), QStringLiteral("_夜航_ 单发失效_.json"));
    QFile broken(dir.filePath("scenarios/broken.json"));
    QVERIFY(broken.open(QIODevice::WriteOnly));
    broken.write("{\"format\": \"zobrel-scen");
    broken.close();
    library.rescan();
    QCOMPARE(library.items().size(), 2);
    const auto bad = std::find_if(library.items().cbegin(), library.items().cend(),
                                  [](const ScenarioLibrary::Item &i) { return !i.error.isEmpty(); });
    QVERIFY(bad != library.items().cend());
    QCOMPARE(bad->name, QStringLiteral("broken"));
    QVERIFY(bad->error.startsWith(QLatin1String("not JSON")));
    QVERIFY(!library.remove(dir.filePath("elsewhere.json")));
    QVERIFY(library.remove(*path));
    QCOMPARE(library.items().size(), 1);
}

QTEST_GUILESS_MAIN(TestAtcLogScenario)
#include "tst_atclogscenario.moc"
