// Whole builds from a folder laid out like an X-Plane installation, made of the real samples: the
// target is replaced only after every step succeeded; failures and a cancel leave the previous
// database as it was; the result loads into the offline provider.

#include "importtest.h"
#include "navtestdb.h"

#include "nav/navdatabasebuild.h"
#include "nav/offlinenavdataprovider.h"
#include "tests/support/logexpect.h"

#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QTemporaryDir>

using namespace importtest;
using namespace navtest;

namespace {

const char kDefaultData[] = "/Resources/default data/";

// An X-Plane 12 folder with real navigation, procedure and airport samples.
void makeXPlaneTree(const QString &root)
{
    const QString data = root + QLatin1String(kDefaultData);
    copyFile(sharedData("xplane/nav/navme-earth_nav-noheader.dat"), data + "earth_nav.dat");
    copyFile(sharedData("xplane/fix/navme-earth_fix-noheader.dat"), data + "earth_fix.dat");
    // Airways between fixes of the fix sample.
    writeFile(data + "earth_awy.dat", "I\n1100 Version - data cycle 1601\n"
                                      "BP701 LH 11 BP702 LH 11 N 1 50 180 L1\n"
                                      "BP702 LH 11 BADOV LZ 11 N 2 180 450 H2-H3\n"
                                      "99\n");
    copyFile(sharedData("xplane/cifp/navme-KSEA.dat"), data + "CIFP/KSEA.dat");
    copyFile(sharedData("xplane/cifp/navme-LHBP.dat"), data + "CIFP/LHBP.dat");
    copyFile(sharedData("xplane/world/cycle_info.txt"), data + "cycle_info.txt");
    copyFile(sharedData("xplane/apt/navme-LHBP-apt-noheader.dat"),
             root + "/Global Scenery/Global Airports/Earth nav data/apt.dat");
}

// A database that stands for the one a user already has.
void makePreviousDatabase(const QString &path)
{
    fullSchemaCopy(path);
    DatabaseBuilder().executeSql(path, {"INSERT INTO airports (icao, name, lat, lon) VALUES ('OLD1', 'Old', 1, 2)"});
}

QByteArray fileHash(const QString &path)
{
    return QCryptographicHash::hash(readFile(path), QCryptographicHash::Sha256);
}

} // namespace

class TestNavDatabaseBuild : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
        AppLogger::instance().clear();
    }

    void buildReplacesTheTarget()
    {
        REQUIRE_SHARED_TESTDATA();
        QTemporaryDir dir;
        const QString root = dir.filePath("X-Plane 12");
        makeXPlaneTree(root);
        const QString target = dir.filePath("zobrel_navdata_xp12.db");
        makePreviousDatabase(target);

        NavDatabaseBuild build;
        build.setSources({root, {}, {}, {}, {}});
        build.setTargetPath(target);
        QCOMPARE(build.stages(), (QStringList{"schema", "navaids", "waypoints", "airways", "airports", "procedures",
                                              "cycle", "finish"}));
        QSignalSpy stages(&build, &NavDatabaseBuild::stageStarted);
        QSignalSpy progress(&build, &NavDatabaseBuild::progress);
        QSignalSpy finished(&build, &NavDatabaseBuild::finished);
        QVERIFY(build.run());
        QCOMPARE(finished.size(), 1);
        QVERIFY(finished.first().at(1).toBool());
        QVERIFY2(finished.first().at(0).toString().startsWith("Navigation database built in "),
                 qPrintable(finished.first().at(0).toString()));
        QCOMPARE(stages.size(), 8);
        QVERIFY(progress.size() >= 5);
        QVERIFY(!QFile::exists(build.temporaryPath()));

        QCOMPARE(column(target, "SELECT icao FROM airports ORDER BY icao"), (QVariantList{"KSEA", "LHBP", "LOWI"}));
        QCOMPARE(count(target, "navaids"), 30);
        QCOMPARE(count(target, "airways"), 3);
        QCOMPARE(count(target, "procedure_legs"), 38);
        const QList<QPair<QString, int>> counts = build.counts();
        QVERIFY(counts.contains(qMakePair(QStringLiteral("airports"), 3)));
        QVERIFY(counts.contains(qMakePair(QStringLiteral("procedure_legs"), 38)));
        // A complete schema, every index included.
        QCOMPARE(schemaObjects(target, "index").size(), 13);

        // The station reads what the builder wrote.
        OfflineNavDataProvider provider;
        QVERIFY(provider.loadFromDatabase(target));
        QCOMPARE(provider.airport("LHBP").name, QStringLiteral("Budapest Ferenc Liszt Intl"));
        // Two runways with two ends each, and a helipad.
        QCOMPARE(provider.runways("LHBP").size(), 5);
        QCOMPARE(provider.cycleInfo().cycleMajor, 1601);
        QCOMPARE(provider.procedureLegs("LHBP", "R31RZ", "APPCH", "31R").size(), 6);
        QCOMPARE(provider.airways().size(), 3);
    }

    void customDataOverridesDefaultData()
    {
        REQUIRE_SHARED_TESTDATA();
        QTemporaryDir dir;
        const QString root = dir.filePath("X-Plane 11");
        makeXPlaneTree(root);
        QVERIFY(writeFile(root + "/Custom Data/earth_fix.dat",
                          "I\n1200 Version\n47.5 19.5 BP701 ENRT LH 2105431 A\n47.6 19.6 BP702 ENRT LH 2105431 B\n"
                          "48.0 18.8 BADOV ENRT LZ 2105431 C\n48.1 18.9 CUSTM ENRT LH 2105431 D\n99\n"));
        QVERIFY(writeFile(root + "/Custom Data/cycle_info.txt", "AIRAC cycle : 2510\nVersion : 2\nNavigraph\n"));
        const QString target = dir.filePath("zobrel_navdata_xp11.db");
        NavDatabaseBuild build;
        build.setSources({root, {}, {}, {}, {}});
        build.setTargetPath(target);
        QVERIFY(build.run());
        QCOMPARE(count(target, "waypoints"), 4);
        QCOMPARE(column(target, "SELECT value FROM navdata_meta WHERE key='provider'"), QVariantList{"Navigraph"});
    }

    void failedStepKeepsThePreviousDatabase_data()
    {
        QTest::addColumn<QString>("remove");
        QTest::addColumn<QString>("message");
        // Set: the file is not removed but replaced by this content.
        QTest::addColumn<QByteArray>("replacement");
        const QString data = QString::fromLatin1(kDefaultData);
        QTest::newRow("airway file") << data + "earth_awy.dat"
                                     << "importXPlaneAirways: cannot open " << QByteArray();
        QTest::newRow("CIFP folder") << data + "CIFP"
                                     << "CIFP directory not found: " << QByteArray();
        QTest::newRow("airports") << "/Global Scenery"
                                  << "importXPlaneScenery: no apt.dat found" << QByteArray();
        QTest::newRow("X-Plane folder") << ""
                                        << "X-Plane folder not found: " << QByteArray();
        QTest::newRow("empty navaid file") << data + "earth_nav.dat"
                                           << "importXPlaneNavData: " << QByteArray("");
        QTest::newRow("airway file cut short")
            << data + "earth_awy.dat"
            << "importXPlaneAirways: " << QByteArray("I\n1100 Version\nBP701 LH 11 BP7");
    }
    void failedStepKeepsThePreviousDatabase()
    {
        REQUIRE_SHARED_TESTDATA();
        QFETCH(QString, remove);
        QFETCH(QString, message);
        QFETCH(QByteArray, replacement);
        QTemporaryDir dir;
        const QString root = dir.filePath("X-Plane 12");
        makeXPlaneTree(root);
        if (!replacement.isNull())
            QVERIFY(writeFile(root + remove, replacement));
        else
            QVERIFY(QFileInfo(root + remove).isDir() ? QDir(root + remove).removeRecursively()
                                                     : QFile::remove(root + remove));
        const QString target = dir.filePath("zobrel_navdata_xp12.db");
        makePreviousDatabase(target);
        const QByteArray before = fileHash(target);

        NavDatabaseBuild build;
        build.setSources({root, {}, {}, {}, {}});
        build.setTargetPath(target);
        QSignalSpy finished(&build, &NavDatabaseBuild::finished);
        // The failing step logs its reason (a missing X-Plane folder fails before any step), then
        // the build its failure.
        if (!message.startsWith(QLatin1String("X-Plane folder")))
            testlog::expectLogged("NavBuilder", QRegularExpression::escape(message));
        testlog::expectLogged("NavBuilder", "Navigation database build failed: " + QRegularExpression::escape(message));
        QVERIFY(!build.run());
        QCOMPARE(finished.size(), 1);
        QVERIFY(!finished.first().at(1).toBool());
        QVERIFY2(finished.first().at(0).toString().startsWith(message), qPrintable(finished.first().at(0).toString()));
        QVERIFY(!loggedLine("Navigation database build failed: " + message).isEmpty());
        QCOMPARE(fileHash(target), before);
        QVERIFY(!QFile::exists(build.temporaryPath()));
        QVERIFY(build.counts().isEmpty());
    }

    void unwritableTargetFolderFails()
    {
        REQUIRE_SHARED_TESTDATA();
        QTemporaryDir dir;
        const QString root = dir.filePath("X-Plane 12");
        makeXPlaneTree(root);
        NavDatabaseBuild build;
        build.setSources({root, {}, {}, {}, {}});
        build.setTargetPath(dir.filePath("no such folder/nav.db"));
        QSignalSpy finished(&build, &NavDatabaseBuild::finished);
        testlog::expectLogged("NavBuilder", "Cannot create database: ");
        testlog::expectLogged("NavBuilder", "Navigation database build failed: Cannot create database");
        QVERIFY(!build.run());
        QVERIFY2(finished.first().at(0).toString().startsWith("Cannot create database "),
                 qPrintable(finished.first().at(0).toString()));
        QVERIFY(!QFile::exists(dir.filePath("no such folder")));
    }

    void cancelMidBuildKeepsThePreviousDatabase()
    {
        REQUIRE_SHARED_TESTDATA();
        QTemporaryDir dir;
        const QString root = dir.filePath("X-Plane 12");
        makeXPlaneTree(root);
        // Enough procedures to keep the build busy for several seconds.
        const QByteArray lhbp = readFile(sharedData("xplane/cifp/navme-LHBP.dat"));
        const QByteArray big = lhbp.repeated(60);
        for (int i = 0; i < 120; ++i)
            QVERIFY(writeFile(
                root + QLatin1String(kDefaultData) + QStringLiteral("CIFP/Z%1.dat").arg(i, 3, 10, QChar('0')), big));
        const QString target = dir.filePath("zobrel_navdata_xp12.db");
        makePreviousDatabase(target);
        const QByteArray before = fileHash(target);

        NavDatabaseBuild build;
        build.setSources({root, {}, {}, {}, {}});
        build.setTargetPath(target);
        QSignalSpy finished(&build, &NavDatabaseBuild::finished);
        QElapsedTimer sinceCancel;
        connect(&build, &NavDatabaseBuild::progress, this, [&](const QString &stage, int current, int total) {
            if (stage == QLatin1String("procedures") && current > 0 && current < total && !sinceCancel.isValid()) {
                sinceCancel.start();
                build.cancel();
            }
        });
        QVERIFY(build.start());
        QVERIFY(!build.start()); // one build at a time
        QVERIFY(build.isRunning());
        QVERIFY(finished.wait(20000));
        QVERIFY(sinceCancel.isValid());
        const qint64 cancelMs = sinceCancel.elapsed();
        QVERIFY2(cancelMs < 1000, qPrintable(QStringLiteral("cancel took %1 ms").arg(cancelMs)));
        QCOMPARE(finished.first().at(0).toString(), QStringLiteral("Build cancelled"));
        QVERIFY(!finished.first().at(1).toBool());
        build.wait();
        QVERIFY(!build.isRunning());
        QCOMPARE(fileHash(target), before);
        QVERIFY(!QFile::exists(build.temporaryPath()));

        // The next build is not cancelled by the earlier request.
        QVERIFY(QDir(root + QLatin1String(kDefaultData) + "CIFP").removeRecursively());
        QVERIFY(
            copyFile(sharedData("xplane/cifp/navme-LHBP.dat"), root + QLatin1String(kDefaultData) + "CIFP/LHBP.dat"));
        QVERIFY(build.run());
        QCOMPARE(column(target, "SELECT COUNT(*) FROM airports WHERE icao IN ('LHBP', 'OLD1')"), QVariantList{1});
    }

    void sceneryLibraryIsImportedAlone()
    {
        QTemporaryDir dir;
        NavBuildSources sources;
        sources.openAirDir = dir.path();
        sources.sceneryDir = dir.path();
        sources.sceneryKind = SimType::Prepar3D;
        NavDatabaseBuild build;
        build.setSources(sources);
        build.setTargetPath(dir.filePath("zobrel_navdata_p3d.db"));
        QCOMPARE(build.stages(), (QStringList{"scenery", "write"}));
        QSignalSpy finished(&build, &NavDatabaseBuild::finished);
        testlog::expectLogged("NavBuilder", "Navigation database build failed: A scenery library");
        QVERIFY(!build.run());
        QCOMPARE(finished.first().at(0).toString(),
                 QStringLiteral("A scenery library is imported on its own, without other sources"));
        QVERIFY(!loggedLine("Navigation database build failed: A scenery library").isEmpty());
        QVERIFY(!QFile::exists(build.targetPath()));
    }

    void extraSourcesJoinTheBuild()
    {
        REQUIRE_SHARED_TESTDATA();
        QTemporaryDir dir;
        QVERIFY(
            copyFile(sharedData("airspace/openaip-openair-parser-fixtures/polygon.txt"), dir.filePath("air/p.txt")));
        QVERIFY(writeFile(dir.filePath("atc/atc.dat"), "EUR|LH|LHBP|ATI|132.380|V||BUDAPEST ATIS|47.4|19.2\n"));
        const QString target = dir.filePath("extras.db");
        NavDatabaseBuild build;
        build.setSources({QString(), QString(), dir.filePath("atc"), dir.filePath("air"), QString()});
        build.setTargetPath(target);
        QCOMPARE(build.stages(), (QStringList{"schema", "atc", "openair", "finish"}));
        QVERIFY(build.run());
        QCOMPARE(count(target, "airspaces"), 1);
        QCOMPARE(count(target, "frequencies"), 1);
    }
};

QTEST_GUILESS_MAIN(TestNavDatabaseBuild)
#include "tst_navdatabasebuild.moc"
