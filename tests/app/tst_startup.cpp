#include "app/licensingservices.h"
#include "app/log/applogger.h"
#include "app/mainwindow.h"
#include "app/startup.h"
#include "licensing/updatestaging.h"
#include "recording/recordingdatabase.h"
#include "sim/simbackendmanager.h"
#include "tests/fakes/fakexplane.h"
#include "tests/support/logexpect.h"
#include "ui/language.h"

#include <QFileInfo>
#include <QFontMetrics>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QSettings>
#include <QSignalSpy>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

class TestStartup : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }
    void splashTextFollowsLanguage_data();
    void splashTextFollowsLanguage();
    void splashIsPaintedWithChineseFont();
    void settingsFileFallsBackWhenFolderUnwritable_data();
    void settingsFileFallsBackWhenFolderUnwritable();
    void commandLineOptions_data();
    void commandLineOptions();
    void screenshotModeWritesOnePngPerTab();
    void screenshotModeWaitsForFirstSample();
    void importBglBuildsDatabaseOrKeepsTheOldOne();
    void stagedUpdateIsInstalledAtNextStart();

private:
    // Starts the real executable (or program) offscreen in workDir; false when it does not end in time.
    static bool runStation(QProcess &process, const QString &workDir, const QStringList &arguments,
                           const QString &program = QStringLiteral(ZOBREL_EXECUTABLE));
    static int distinctColours(const QImage &image);
};

void TestStartup::initTestCase()
{
    setApplicationIdentity();
    QStandardPaths::setTestModeEnabled(true);
}

bool TestStartup::runStation(QProcess &process, const QString &workDir, const QStringList &arguments,
                             const QString &program)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(workDir);
    QSignalSpy finished(&process, &QProcess::finished);
    process.start(program, arguments);
    return finished.wait(30000);
}

int TestStartup::distinctColours(const QImage &image)
{
    QSet<QRgb> colours;
    for (int y = 0; y < image.height(); y += 7) {
        for (int x = 0; x < image.width(); x += 7)
            colours.insert(image.pixel(x, y));
    }
    return int(colours.size());
}

void TestStartup::splashTextFollowsLanguage_data()
{
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<QString>("expected");
    const QString chinese = QStringLiteral("正在启动 Zobrel... v0.3.0");
    QTest::newRow("no key") << QVariant() << chinese;
    QTest::newRow("zh_CN") << QVariant(QStringLiteral("zh_CN")) << chinese;
    QTest::newRow("en_US") << QVariant(QStringLiteral("en_US")) << QStringLiteral("Starting Zobrel... v0.3.0");
    QTest::newRow("other language") << QVariant(QStringLiteral("de_DE")) << chinese;
    QTest::newRow("en alone") << QVariant(QStringLiteral("en")) << chinese;
}

void TestStartup::splashTextFollowsLanguage()
{
    QFETCH(QVariant, stored);
    QFETCH(QString, expected);
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("Zobrel.ini"));
    if (stored.isValid())
        QSettings(path, QSettings::IniFormat).setValue(kLanguageKey, stored);
    QCOMPARE(splashText(readLanguage(path)), expected);
}

void TestStartup::splashIsPaintedWithChineseFont()
{
    const QImage english = paintSplash(QStringLiteral("en_US")).toImage();
    const QImage chinese = paintSplash(QStringLiteral("zh_CN")).toImage();
    QVERIFY(!english.isNull());
    QCOMPARE(english.size(), chinese.size());
    QVERIFY(distinctColours(english) > 20); // a gradient with text, not a blank fill
    QVERIFY(english != chinese);            // the text line is really drawn

    // The splash (and the whole interface) asks for "Microsoft YaHei"; where it is missing a CJK
    // font must stand in, or the Chinese texts would be boxes.
    QFont font(QStringLiteral("Microsoft YaHei"));
    QVERIFY2(QFontMetrics(font).inFontUcs4(U'启'), "no installed font covers Chinese for \"Microsoft YaHei\"");
}

void TestStartup::settingsFileFallsBackWhenFolderUnwritable_data()
{
    QTest::addColumn<QString>("kind");
    QTest::newRow("writable folder") << QStringLiteral("writable");
    QTest::newRow("folder below a regular file") << QStringLiteral("below file");
    QTest::newRow("kernel folder") << QStringLiteral("proc");
}

void TestStartup::settingsFileFallsBackWhenFolderUnwritable()
{
    QFETCH(QString, kind);
    QTemporaryDir dir;
    QString appDir = dir.path();
    if (kind == QLatin1String("below file")) {
        // Nothing can be created under a regular file, not even by root.
        QFile regular(dir.filePath(QStringLiteral("regular")));
        QVERIFY(regular.open(QIODevice::WriteOnly));
        appDir = regular.fileName() + QStringLiteral("/app");
    } else if (kind == QLatin1String("proc")) {
        appDir = QStringLiteral("/proc");
    }
    const bool writable = kind == QLatin1String("writable");
    const QString userDir = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    const QString expected = QDir(writable ? appDir : userDir).filePath(QStringLiteral("Zobrel.ini"));

    AppLogger::instance().clear();
    const QString path = settingsFilePath(appDir);
    QCOMPARE(path, expected);
    QSettings settings(path, QSettings::IniFormat);
    settings.setValue(SimBackendManager::kAutoConnectKey, false);
    settings.sync();
    QCOMPARE(settings.status(), QSettings::NoError);

    const QList<AppLogger::Entry> entries = AppLogger::instance().recentEntries(10);
    QVERIFY(!entries.isEmpty());
    QCOMPARE(entries.last().message, QStringLiteral("Settings file: %1").arg(QDir::toNativeSeparators(expected)));
    if (writable) // the write probe leaves nothing behind
        QCOMPARE(QDir(appDir).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("Zobrel.ini")});
}

void TestStartup::commandLineOptions_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("output");
    QTest::newRow("version") << QStringList{"--version"} << 0 << QStringLiteral("Zobrel 0.3.0");
    QTest::newRow("help") << QStringList{"--help"} << 0 << QStringLiteral("--screenshot");
    QTest::newRow("import-bgl without target")
        << QStringList{"--import-bgl", "scenery"} << 2 << QStringLiteral("needs a scenery source and a target");
    QTest::newRow("stray argument") << QStringList{"scenery"} << 2 << QStringLiteral("unexpected argument");
    QTest::newRow("unknown option") << QStringList{"--no-such-option"} << 1 << QStringLiteral("no-such-option");
}

void TestStartup::commandLineOptions()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, output);
    QTemporaryDir work;
    QProcess process;
    QVERIFY(runStation(process, work.path(), arguments));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), exitCode);
    const QString printed = QString::fromLocal8Bit(process.readAllStandardOutput() + process.readAllStandardError());
    QVERIFY2(printed.contains(output), qPrintable(printed));
    // None of these starts the station, so no log is begun.
    QVERIFY(!QDir(work.path()).exists(QStringLiteral("logs")));
}

void TestStartup::screenshotModeWritesOnePngPerTab()
{
    QTemporaryDir work;
    QTemporaryDir config;
    const QString settingsPath = config.filePath(QStringLiteral("Zobrel.ini"));
    QSettings(settingsPath, QSettings::IniFormat).setValue(SimBackendManager::kAutoConnectKey, false);
    QVERIFY(!QDir(work.path()).exists(QStringLiteral("logs")));

    QProcess process;
    QVERIFY(
        runStation(process, work.path(), {QStringLiteral("--screenshot"), QStringLiteral("--settings"), settingsPath}));
    QVERIFY2(process.exitStatus() == QProcess::NormalExit, qPrintable(process.readAllStandardError()));
    QCOMPARE(process.exitCode(), 0);

    QFile log(QDir(work.path()).filePath(QStringLiteral("logs/zobrel.log")));
    QVERIFY(log.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(log.readAll());
    const qsizetype started = text.indexOf(QStringLiteral("[INFO] [Main] Zobrel v0.3.0 started"));
    const qsizetype exiting = text.indexOf(QStringLiteral("[INFO] [Main] Zobrel exiting with code 0"));
    QVERIFY2(started >= 0 && exiting > started, qPrintable(text));
    QVERIFY(text.contains(QDir::toNativeSeparators(settingsPath)));

    QStringList expected;
    {
        MainWindow window(settingsPath);
        for (int i = 0; i < window.tabs()->count(); ++i)
            expected << QStringLiteral("%1-%2.png")
                            .arg(i, 2, 10, QLatin1Char('0'))
                            .arg(window.tabs()->widget(i)->objectName());
    }
    const QDir shots(QDir(work.path()).filePath(QStringLiteral("screenshots")));
    QCOMPARE(shots.entryList({QStringLiteral("*.png")}, QDir::Files, QDir::Name), expected);
    QImage previous;
    for (const QString &name : std::as_const(expected)) {
        const QImage image(shots.filePath(name));
        QVERIFY2(!image.isNull(), qPrintable(name));
        QVERIFY(image.width() >= 800 && image.height() >= 600);
        QVERIFY2(distinctColours(image) > 10, qPrintable(name));
        QVERIFY2(image != previous, "two tabs produced the same picture");
        previous = image;
    }
}

void TestStartup::screenshotModeWaitsForFirstSample()
{
    if (!QFileInfo::exists(QStringLiteral("/bin/sh")))
        QSKIP("needs /bin/sh for a process that poses as a running X-Plane");

    // A minimal X-Plane: answers every RREF subscription at once with one value for its index.
    FakeXPlane simulator;
    QVERIFY(simulator.isBound());
    simulator.setAnswer([](const FakeXPlane::Subscription &) { return 1.0f; });
    // Detection looks for "X-Plane" in the process list; this shell's command line carries it.
    QProcess pretender;
    pretender.start(QStringLiteral("/bin/sh"),
                    {QStringLiteral("-c"), QStringLiteral("read line"), QStringLiteral("X-Plane 11")});
    QVERIFY(pretender.waitForStarted(5000));

    QTemporaryDir work;
    QTemporaryDir config;
    const QString settingsPath = config.filePath(QStringLiteral("Zobrel.ini"));
    {
        QSettings settings(settingsPath, QSettings::IniFormat);
        settings.setValue(SimBackendManager::kAutoConnectKey, true);
        settings.setValue(SimBackendManager::kXPlaneHostKey, QStringLiteral("127.0.0.1"));
        settings.setValue(SimBackendManager::kXPlanePortKey, simulator.port());
        settings.setValue(SimBackendManager::kXPlaneLocalPortKey, 0);
        settings.setValue(RecordingDatabaseConfig::kFileKey, config.filePath(QStringLiteral("recordings.db")));
    }
    QProcess process;
    const bool ended =
        runStation(process, work.path(), {QStringLiteral("--screenshot"), QStringLiteral("--settings"), settingsPath});
    pretender.closeWriteChannel();
    QSignalSpy pretenderFinished(&pretender, &QProcess::finished);
    QVERIFY(pretender.state() == QProcess::NotRunning || pretenderFinished.wait(5000));
    QVERIFY(ended);
    QCOMPARE(process.exitCode(), 0);
    QVERIFY(!simulator.subscriptions().isEmpty());

    QFile log(QDir(work.path()).filePath(QStringLiteral("logs/zobrel.log")));
    QVERIFY(log.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(log.readAll());
    const qsizetype waiting = text.indexOf(QStringLiteral("Screenshots: waiting"));
    const qsizetype connected = text.indexOf(QStringLiteral("Connected to X-Plane 11"));
    const qsizetype written = text.indexOf(QStringLiteral("Screenshot written"));
    QVERIFY2(waiting >= 0 && connected > waiting && written > connected, qPrintable(text));
    QVERIFY2(!text.contains(QStringLiteral("no aircraft data within")), qPrintable(text));
}

// The real test airport in a Prepar3D-like tree becomes a database; a failed import keeps the old file.
void TestStartup::importBglBuildsDatabaseOrKeepsTheOldOne()
{
    const QString ktst = QStringLiteral(SHARED_TESTDATA_DIR "/bgl/bglreader-ktst/KTST_TestAirport_v5.BGL");
    if (!QFile::exists(ktst))
        QSKIP("../shared/testdata/bgl is not available");
    QTemporaryDir work;
    const QString root = work.filePath(QStringLiteral("P3D"));
    QVERIFY(QDir().mkpath(root + QStringLiteral("/Addon Scenery/KTST/scenery")));
    QVERIFY(QFile::copy(ktst, root + QStringLiteral("/Addon Scenery/KTST/scenery/KTST.bgl")));
    QFile cfg(root + QStringLiteral("/scenery.cfg"));
    QVERIFY(cfg.open(QIODevice::WriteOnly));
    cfg.write("[Area.001]\r\nTitle=Test\r\nLocal=Addon Scenery\\KTST\r\nLayer=1\r\nActive=TRUE\r\n");
    cfg.close();
    const QString target = work.filePath(QStringLiteral("zobrel_navdata_p3d.db"));

    QProcess process;
    QVERIFY(runStation(process, work.path(), {QStringLiteral("--import-bgl"), root, target}));
    QVERIFY2(process.exitCode() == 0, qPrintable(process.readAllStandardOutput() + process.readAllStandardError()));
    QFile log(work.filePath(QStringLiteral("logs/zobrel.log")));
    QVERIFY(log.open(QIODevice::ReadOnly));
    QVERIFY(log.readAll().contains(QStringLiteral("Importing BGL from: %1 to %2").arg(root, target).toUtf8()));
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("startup_check"));
        db.setDatabaseName(target);
        QVERIFY(db.open());
        QSqlQuery query(QStringLiteral("SELECT COUNT(*) FROM runways WHERE airport_icao = 'KTST'"), db);
        QVERIFY(query.next());
        QVERIFY(query.value(0).toInt() > 0);
    }
    QSqlDatabase::removeDatabase(QStringLiteral("startup_check"));

    // A source without scenery fails with a reason and leaves the database as it was.
    QFile before(target);
    QVERIFY(before.open(QIODevice::ReadOnly));
    const QByteArray original = before.readAll();
    before.close();
    QProcess failing;
    QVERIFY(runStation(failing, work.path(), {QStringLiteral("--import-bgl"), work.filePath("nothing-here"), target}));
    QVERIFY(failing.exitCode() != 0);
    QVERIFY(!failing.readAllStandardOutput().trimmed().isEmpty());
    QVERIFY(before.open(QIODevice::ReadOnly));
    QCOMPARE(before.readAll(), original);
}

void TestStartup::stagedUpdateIsInstalledAtNextStart()
{
    // An installed copy of the station with an update staged by its last run: the program itself
    // (this build standing in for the new version) and a file the old version did not have.
    QTemporaryDir dir;
    const QString program = dir.filePath(QStringLiteral("program/zobrel"));
    QVERIFY(QDir().mkpath(dir.filePath(QStringLiteral("program"))));
    QVERIFY(QFile::copy(QStringLiteral(ZOBREL_EXECUTABLE), program));
    const QString settingsPath = dir.filePath(QStringLiteral("Zobrel.ini"));
    QSettings(settingsPath, QSettings::IniFormat).setValue(SimBackendManager::kAutoConnectKey, false);
    const QString staging = LicensingServices::stagingDir(settingsPath);
    const QString files = UpdateStaging::incomingDir(staging) + QStringLiteral("/files");
    QVERIFY(QDir().mkpath(files + QStringLiteral("/share")));
    QVERIFY(QFile::copy(QStringLiteral(ZOBREL_EXECUTABLE), files + QStringLiteral("/zobrel")));
    QFile notes(files + QStringLiteral("/share/notes.txt"));
    QVERIFY(notes.open(QIODevice::WriteOnly));
    notes.write("9.9.9");
    notes.close();
    UpdateStaging::Pending pending;
    pending.version = QStringLiteral("9.9.9");
    pending.files = QStringList{QStringLiteral("share/notes.txt"), QStringLiteral("zobrel")};
    QString error;
    QVERIFY2(UpdateStaging::commitIncoming(staging, pending, &error), qPrintable(error));

    QProcess process;
    QVERIFY(runStation(process, dir.path(),
                       {QStringLiteral("--settings"), settingsPath, QStringLiteral("--screenshot")}, program));
    const QString output = QString::fromUtf8(process.readAllStandardError());
    QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0, qPrintable(output));
    QCOMPARE(QFile(dir.filePath(QStringLiteral("program/share/notes.txt"))).size(), 5);
    QVERIFY(!QFileInfo::exists(UpdateStaging::pendingDir(staging)));
    QVERIFY(QDir(dir.filePath(QStringLiteral("program"))).entryList({QStringLiteral("*.zobrel-*")}).isEmpty());
    // The same process went on as the installed version: started twice, once before the install,
    // once after, and the second start ran the screenshot mode to its end and read the outcome.
    QVERIFY2(output.contains(QStringLiteral("[Update] Update 9.9.9 installed")), qPrintable(output));
    QCOMPARE(output.count(QStringLiteral("[Main] Zobrel v0.3.0 started")), 2);
    QVERIFY(QFileInfo::exists(dir.filePath(QStringLiteral("screenshots/00-mapTab.png"))));
    QVERIFY(QFileInfo::exists(dir.filePath(QStringLiteral("screenshots/dialogs/licenseDialog.png"))));
    QVERIFY(QFileInfo::exists(dir.filePath(QStringLiteral("screenshots/dialogs/updateDialog.png"))));
    UpdateStaging::Result result;
    QVERIFY(!UpdateStaging::takeResult(staging, &result));
}

QTEST_MAIN(TestStartup)
#include "tst_startup.moc"
