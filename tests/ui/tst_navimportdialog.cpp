// The navigation import dialog driven like an operator: real builds from a small X-Plane-like
// folder and from Prepar3D/FSX/MSFS 2020 scenery trees holding the real test airport, per-stage
// progress, cancel, failures that keep the previous database, and the signal that reloads the
// provider.

#include "sim/simconnect/fake/fakefacilityworld.h"
#include "sim/simconnect/fake/fakesimconnect.h"
#include "sim/simconnect/fake/fakesimworld.h"
#include "sim/simconnect/simconnectsession.h"
#include "tests/support/logexpect.h"
#include "ui/navimportdialog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QtTest>

namespace {

constexpr int kBuildTimeoutMs = 30000;

#define REQUIRE_SHARED_TESTDATA()                                                                                      \
    do {                                                                                                               \
        if (!QFileInfo(QStringLiteral(SHARED_TESTDATA_DIR)).isDir())                                                   \
            QSKIP("../shared/testdata is not present; the real-sample tests need it");                                 \
    } while (false)

QString sharedData(const QString &relative)
{
    return QDir(QStringLiteral(SHARED_TESTDATA_DIR)).filePath(relative);
}

bool copyInto(const QString &from, const QString &to)
{
    QDir().mkpath(QFileInfo(to).absolutePath());
    return QFile::copy(from, to);
}

bool writeInto(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
}

bool makeXPlaneTree(const QString &root)
{
    const QString data = root + "/Resources/default data/";
    QDir().mkpath(data);
    QFile awy(data + "earth_awy.dat");
    return copyInto(sharedData("xplane/nav/navme-earth_nav-noheader.dat"), data + "earth_nav.dat") &&
           copyInto(sharedData("xplane/fix/navme-earth_fix-noheader.dat"), data + "earth_fix.dat") &&
           awy.open(QIODevice::WriteOnly) &&
           awy.write("I\n1100 Version\nBP701 LH 11 BP702 LH 11 N 1 50 180 L1\n99\n") > 0 &&
           copyInto(sharedData("xplane/cifp/navme-LHBP.dat"), data + "CIFP/LHBP.dat") &&
           copyInto(sharedData("xplane/world/cycle_info.txt"), data + "cycle_info.txt") &&
           copyInto(sharedData("xplane/apt/navme-LHBP-apt-noheader.dat"),
                    root + "/Global Scenery/Global Airports/Earth nav data/apt.dat");
}

QString ktstBgl()
{
    return sharedData("bgl/bglreader-ktst/KTST_TestAirport_v5.BGL");
}

// A Prepar3D/FSX installation whose scenery.cfg names one add-on area holding the real test
// airport; copies > 1 adds that many copies of it (same airport, more files to read).
bool makeP3dTree(const QString &root, int copies = 1)
{
    const QString scenery = root + "/Addon Scenery/KTST/scenery/";
    for (int i = 0; i < copies; ++i) {
        if (!copyInto(ktstBgl(), scenery + QStringLiteral("KTST_%1.BGL").arg(i)))
            return false;
    }
    return writeInto(root + "/scenery.cfg",
                     "[General]\r\nTitle=World\r\n\r\n[Area.001]\r\nTitle=Testfield\r\nLocal=Addon Scenery\\KTST\r\n"
                     "Layer=1\r\nActive=TRUE\r\n");
}

// An MSFS 2020 user folder: UserCfg.opt pointing at a package folder where an Official package
// holds the real test airport and a Community add-on overrides it with the same file.
bool makeMsfsTree(const QString &root)
{
    const QString packages = root + "/Packages";
    return copyInto(ktstBgl(), packages + "/Official/OneStore/fs-base/scenery/world/KTST.BGL") &&
           copyInto(ktstBgl(), packages + "/Community/ktst-testfield/scenery/KTST.BGL") &&
           writeInto(root + "/UserCfg.opt", "{Graphics\n}\nInstalledPackagesPath \"" + packages.toUtf8() + "\"\n");
}

// Two files each, so that reading them reports a step between empty and full.
bool makeSceneryTree(SimType type, const QString &root)
{
    return type == SimType::Msfs2020 ? makeMsfsTree(root) : makeP3dTree(root, 2);
}

QStringList barNames(const NavImportDialog &dialog)
{
    QStringList names;
    for (const QProgressBar *bar : dialog.findChildren<QProgressBar *>())
        names << bar->objectName();
    return names;
}

int ktstRunways(const QString &database)
{
    int runways = -1;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("tst_navimportdialog"));
        db.setDatabaseName(database);
        if (db.open()) {
            QSqlQuery query(QStringLiteral("SELECT COUNT(*) FROM runways WHERE airport_icao = 'KTST'"), db);
            if (query.next())
                runways = query.value(0).toInt();
        }
    }
    QSqlDatabase::removeDatabase(QStringLiteral("tst_navimportdialog"));
    return runways;
}

// The file a user already has, in a form a rebuild could not reproduce by accident.
QByteArray writePrevious(const QString &path)
{
    const QByteArray previous("previous database \x01\x02\x03");
    return writeInto(path, previous) ? previous : QByteArray();
}

} // namespace

class TestNavImportDialog : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void buildsWithAProgressBarPerStage()
    {
        REQUIRE_SHARED_TESTDATA();
        QTemporaryDir dir;
        QVERIFY(makeXPlaneTree(dir.filePath("X-Plane 12")));
        NavImportDialog dialog(dir.path());
        dialog.setSimType(SimType::XPlane12);
        QCOMPARE(dialog.databasePath(), QDir(dir.path()).filePath("zobrel_navdata_xp12.db"));
        dialog.setXPlaneFolder(dir.filePath("X-Plane 12"));

        const QList<QProgressBar *> bars = dialog.findChildren<QProgressBar *>();
        QCOMPARE(bars.size(), 8); // schema, five importers, cycle, finish
        QSignalSpy built(&dialog, &NavImportDialog::databaseBuilt);
        QPushButton *start = dialog.findChild<QPushButton *>("start");
        QPushButton *cancel = dialog.findChild<QPushButton *>("cancel");
        QVERIFY(start && cancel);
        QVERIFY(!cancel->isEnabled());
        start->click();
        QVERIFY(dialog.isBuilding());
        QVERIFY(!start->isEnabled());
        QVERIFY(cancel->isEnabled());
        QVERIFY(built.wait(kBuildTimeoutMs));
        QCOMPARE(built.first().at(0).toString(), dialog.databasePath());
        QVERIFY(QFileInfo(dialog.databasePath()).isFile());
        for (QProgressBar *bar : dialog.findChildren<QProgressBar *>())
            QCOMPARE(bar->value(), 100);
        QVERIFY(start->isEnabled());
        QVERIFY(!cancel->isEnabled());
        // The rows per table, in the operator's language.
        const QString result = dialog.findChild<QPlainTextEdit *>("result")->toPlainText();
        QVERIFY2(result.contains(QStringLiteral("机场：3")), qPrintable(result));
        QVERIFY2(result.contains(QStringLiteral("程序航段：30")), qPrintable(result));
    }

    void cancelKeepsThePreviousDatabase()
    {
        REQUIRE_SHARED_TESTDATA();
        QTemporaryDir dir;
        QVERIFY(makeXPlaneTree(dir.filePath("X-Plane 11")));
        NavImportDialog dialog(dir.path());
        dialog.setSimType(SimType::XPlane11);
        dialog.setXPlaneFolder(dir.filePath("X-Plane 11"));
        const QByteArray previous = writePrevious(dialog.databasePath());

        QSignalSpy built(&dialog, &NavImportDialog::databaseBuilt);
        dialog.findChild<QPushButton *>("start")->click();
        dialog.findChild<QPushButton *>("cancel")->click();
        QLabel *status = dialog.findChild<QLabel *>("status");
        QTRY_COMPARE_WITH_TIMEOUT(status->text(), QStringLiteral("导入已取消，原有数据库保持不变。"), kBuildTimeoutMs);
        QVERIFY(!dialog.isBuilding());
        QVERIFY(built.isEmpty());
        QCOMPARE(contentOf(dialog.databasePath()), previous);
        QVERIFY(!QFile::exists(dialog.databasePath() + ".building"));
    }

    void sourceChoosesRowsAndDatabaseFile_data()
    {
        QTest::addColumn<SimType>("type");
        QTest::addColumn<QString>("file");
        QTest::addColumn<bool>("scenery");
        QTest::newRow("X-Plane 11") << SimType::XPlane11 << "zobrel_navdata_xp11.db" << false;
        QTest::newRow("X-Plane 12") << SimType::XPlane12 << "zobrel_navdata_xp12.db" << false;
        QTest::newRow("Prepar3D") << SimType::Prepar3D << "zobrel_navdata_p3d.db" << true;
        QTest::newRow("FSX shares the Prepar3D file") << SimType::Fsx << "zobrel_navdata_p3d.db" << true;
        QTest::newRow("MSFS 2020") << SimType::Msfs2020 << "zobrel_navdata_msfs2020.db" << true;
    }
    void sourceChoosesRowsAndDatabaseFile()
    {
        QFETCH(SimType, type);
        QFETCH(QString, file);
        QFETCH(bool, scenery);
        QTemporaryDir dir;
        NavImportDialog dialog(dir.path());
        dialog.setXPlaneFolder(dir.path());
        dialog.findChild<QLineEdit *>("atcFolder")->setText(dir.path());
        dialog.setSimType(type);
        QCOMPARE(dialog.simType(), type);
        QCOMPARE(dialog.databasePath(), QDir(dir.path()).filePath(file));
        QCOMPARE(dialog.findChild<QLineEdit *>("sceneryFolder")->isVisibleTo(&dialog), scenery);
        QCOMPARE(dialog.findChild<QLineEdit *>("xplaneFolder")->isVisibleTo(&dialog), !scenery);
        QCOMPARE(dialog.findChild<QLineEdit *>("atcFolder")->isVisibleTo(&dialog), !scenery);
        // A scenery library is read in two stages; the hidden ATC folder does not join it.
        if (scenery)
            QCOMPARE(barNames(dialog), (QStringList{"progress_scenery", "progress_write"}));
        else
            QVERIFY(barNames(dialog).contains("progress_atc"));
    }

    void msfs2024FromTheRunningSimulator()
    {
        QTemporaryDir dir;
        NavImportDialog dialog(dir.path());
        dialog.setSimType(SimType::Msfs2024);
        QCOMPARE(dialog.databasePath(), QDir(dir.path()).filePath("zobrel_navdata_msfs2024.db"));
        QVERIFY(!dialog.findChild<QLineEdit *>("xplaneFolder")->isVisibleTo(&dialog));
        QVERIFY(!dialog.findChild<QLineEdit *>("sceneryFolder")->isVisibleTo(&dialog));
        QCOMPARE(dialog.findChildren<QProgressBar *>().size(), 9);
        QPushButton *start = dialog.findChild<QPushButton *>("start");

        // Not connected: said so, nothing starts.
        testlog::expectLogged("Msfs2024", "No open MSFS 2024 connection");
        start->click();
        QVERIFY(!dialog.isBuilding());
        QVERIFY(dialog.findChild<QLabel *>("status")->text().contains("MSFS 2024"));

        FakeSimWorld world(SimType::Msfs2024);
        world.setFacilities(std::make_unique<FakeFacilityWorld>(20));
        SimConnectSession session(SimType::Msfs2024, std::make_unique<FakeSimConnect>(&world));
        QSignalSpy opened(&session, &SimConnectSession::opened);
        QVERIFY(session.start("test"));
        QVERIFY(opened.wait(3000));
        dialog.setSimConnectSession(&session);
        QSignalSpy built(&dialog, &NavImportDialog::databaseBuilt);
        start->click();
        QVERIFY(dialog.isBuilding());
        QVERIFY(built.wait(20000));
        QCOMPARE(built.first().at(0).toString(), dialog.databasePath());
        for (QProgressBar *bar : dialog.findChildren<QProgressBar *>())
            QCOMPARE(bar->value(), 100);
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "msfs2024_dialog");
        db.setDatabaseName(dialog.databasePath());
        QVERIFY(db.open());
        QSqlQuery count(db);
        QVERIFY(count.exec("SELECT COUNT(*) FROM airports") && count.next());
        QCOMPARE(count.value(0).toInt(), 20);
        count = QSqlQuery();
        db.close();
        db = QSqlDatabase();
        QSqlDatabase::removeDatabase("msfs2024_dialog");
    }

    void eachSimulatorKeepsItsSceneryFolder()
    {
        QTemporaryDir dir;
        NavImportDialog dialog(dir.path());
        auto *folder = dialog.findChild<QLineEdit *>("sceneryFolder");
        dialog.setSimType(SimType::Prepar3D);
        dialog.setSceneryFolder("C:/P3D");
        dialog.setSimType(SimType::Msfs2020);
        QVERIFY(folder->text().isEmpty());
        dialog.setSceneryFolder("D:/Packages");
        dialog.setSimType(SimType::XPlane12);
        dialog.setSimType(SimType::Fsx);
        QVERIFY(folder->text().isEmpty());
        dialog.setSimType(SimType::Prepar3D);
        QCOMPARE(folder->text(), QStringLiteral("C:/P3D"));
        dialog.setSimType(SimType::Msfs2020);
        QCOMPARE(folder->text(), QStringLiteral("D:/Packages"));
    }

    void importsASceneryLibrary_data()
    {
        QTest::addColumn<SimType>("type");
        QTest::addColumn<QString>("file");
        QTest::newRow("Prepar3D") << SimType::Prepar3D << "zobrel_navdata_p3d.db";
        QTest::newRow("FSX") << SimType::Fsx << "zobrel_navdata_p3d.db";
        QTest::newRow("MSFS 2020") << SimType::Msfs2020 << "zobrel_navdata_msfs2020.db";
    }
    void importsASceneryLibrary()
    {
        REQUIRE_SHARED_TESTDATA();
        QFETCH(SimType, type);
        QFETCH(QString, file);
        QTemporaryDir dir;
        const QString root = dir.filePath("Simulator");
        QVERIFY(makeSceneryTree(type, root));
        NavImportDialog dialog(dir.path());
        dialog.setSimType(type);
        dialog.setSceneryFolder(root);
        const QString target = QDir(dir.path()).filePath(file);
        writePrevious(target);

        QSignalSpy built(&dialog, &NavImportDialog::databaseBuilt);
        dialog.findChild<QPushButton *>("start")->click();
        QVERIFY(dialog.isBuilding());
        // Start lays out fresh stage rows; the build reports to them once this thread runs events.
        auto *scenery = dialog.findChild<QProgressBar *>("progress_scenery");
        auto *write = dialog.findChild<QProgressBar *>("progress_write");
        QVERIFY(scenery && write);
        QSignalSpy sceneryMoved(scenery, &QProgressBar::valueChanged);
        QVERIFY(!dialog.findChild<QLineEdit *>("sceneryFolder")->isEnabled());
        QVERIFY(built.wait(kBuildTimeoutMs));
        QCOMPARE(built.size(), 1);
        QCOMPARE(built.first().at(0).toString(), target);
        // Reading showed how far it was (one file of two) before the end filled the bars.
        QCOMPARE(sceneryMoved.first().at(0).toInt(), 50);
        QCOMPARE(scenery->value(), 100);
        QCOMPARE(write->value(), 100);
        QVERIFY(!QFile::exists(target + ".building"));
        QVERIFY(ktstRunways(target) > 0);
        const QString result = dialog.findChild<QPlainTextEdit *>("result")->toPlainText();
        QVERIFY2(result.contains(QStringLiteral("机场：1")), qPrintable(result));
        QCOMPARE(dialog.findChild<QLabel *>("status")->text(),
                 QStringLiteral("导入完成：%1").arg(QDir::toNativeSeparators(target)));
    }

    void cancelledSceneryImportKeepsThePreviousDatabase_data()
    {
        QTest::addColumn<bool>("whileReading");
        QTest::newRow("right after start") << false;
        QTest::newRow("while reading scenery") << true;
    }
    void cancelledSceneryImportKeepsThePreviousDatabase()
    {
        REQUIRE_SHARED_TESTDATA();
        QFETCH(bool, whileReading);
        QTemporaryDir dir;
        const QString root = dir.filePath("Prepar3D v5");
        // Enough files that reading them outlasts the queued progress report that cancels.
        QVERIFY(makeP3dTree(root, whileReading ? 3000 : 1));
        NavImportDialog dialog(dir.path());
        dialog.setSimType(SimType::Prepar3D);
        dialog.setSceneryFolder(root);
        const QByteArray previous = writePrevious(dialog.databasePath());
        QVERIFY(!previous.isEmpty());

        QSignalSpy built(&dialog, &NavImportDialog::databaseBuilt);
        auto *cancel = dialog.findChild<QPushButton *>("cancel");
        dialog.findChild<QPushButton *>("start")->click();
        bool cancelledMidway = false;
        if (whileReading) {
            // The first report of a partly read library cancels.
            connect(dialog.findChild<QProgressBar *>("progress_scenery"), &QProgressBar::valueChanged, this,
                    [&](int value) {
                        if (value > 0 && value < 100 && cancel->isEnabled()) {
                            cancelledMidway = true;
                            cancel->click();
                        }
                    });
        } else {
            cancel->click();
        }
        QLabel *status = dialog.findChild<QLabel *>("status");
        QTRY_COMPARE_WITH_TIMEOUT(status->text(), QStringLiteral("导入已取消，原有数据库保持不变。"), kBuildTimeoutMs);
        QCOMPARE(cancelledMidway, whileReading);
        QVERIFY(!dialog.isBuilding());
        QVERIFY(built.isEmpty());
        QCOMPARE(contentOf(dialog.databasePath()), previous);
        QVERIFY(!QFile::exists(dialog.databasePath() + ".building"));
        QVERIFY(dialog.findChild<QPushButton *>("start")->isEnabled());
    }

    void sceneryFailureKeepsThePreviousDatabase_data()
    {
        QTest::addColumn<SimType>("type");
        QTest::addColumn<QString>("reason");
        QTest::newRow("Prepar3D folder without scenery") << SimType::Prepar3D << "no scenery BGL files found";
        QTest::newRow("MSFS 2020 folder without packages") << SimType::Msfs2020 << "no scenery BGL files found";
    }
    void sceneryFailureKeepsThePreviousDatabase()
    {
        QFETCH(SimType, type);
        QFETCH(QString, reason);
        QTemporaryDir dir;
        QVERIFY(QDir().mkpath(dir.filePath("Empty/Scenery")));
        NavImportDialog dialog(dir.path());
        dialog.setSimType(type);
        dialog.setSceneryFolder(dir.filePath("Empty"));
        const QByteArray previous = writePrevious(dialog.databasePath());

        QSignalSpy built(&dialog, &NavImportDialog::databaseBuilt);
        testlog::expectLogged("NavBuilder", QRegularExpression::escape(reason));
        testlog::expectLogged("NavBuilder", "Scenery import failed: .*" + QRegularExpression::escape(reason));
        dialog.findChild<QPushButton *>("start")->click();
        QLabel *status = dialog.findChild<QLabel *>("status");
        QTRY_COMPARE_WITH_TIMEOUT(status->text(), QStringLiteral("导入失败，原有数据库保持不变。"), kBuildTimeoutMs);
        const QString result = dialog.findChild<QPlainTextEdit *>("result")->toPlainText();
        QVERIFY2(result.contains(reason) && result.contains(dir.filePath("Empty")), qPrintable(result));
        QVERIFY(built.isEmpty());
        QCOMPARE(contentOf(dialog.databasePath()), previous);
        QVERIFY(!QFile::exists(dialog.databasePath() + ".building"));
    }

    void asksForAValidFolder_data()
    {
        QTest::addColumn<SimType>("type");
        QTest::addColumn<QString>("message");
        QTest::newRow("X-Plane") << SimType::XPlane11 << QStringLiteral("请选择有效的 X-Plane 安装目录。");
        QTest::newRow("Prepar3D") << SimType::Prepar3D << QStringLiteral("请选择有效的 Prepar3D 安装目录。");
        QTest::newRow("FSX") << SimType::Fsx << QStringLiteral("请选择有效的 FSX 安装目录。");
        QTest::newRow("MSFS 2020") << SimType::Msfs2020
                                   << QStringLiteral("请选择有效的 MSFS 2020 软件包目录或 UserCfg.opt 文件。");
    }
    void asksForAValidFolder()
    {
        QFETCH(SimType, type);
        QFETCH(QString, message);
        QTemporaryDir dir;
        NavImportDialog dialog(dir.path());
        dialog.setSimType(type);
        dialog.setXPlaneFolder(dir.filePath("missing"));
        dialog.setSceneryFolder(dir.filePath("missing"));
        dialog.findChild<QPushButton *>("start")->click();
        QVERIFY(!dialog.isBuilding());
        QCOMPARE(dialog.findChild<QLabel *>("status")->text(), message);
        QVERIFY(!QFile::exists(dialog.databasePath()));
    }

    void extraFoldersAddStages()
    {
        QTemporaryDir dir;
        NavImportDialog dialog(dir.path());
        dialog.setXPlaneFolder(dir.path());
        const int base = dialog.findChildren<QProgressBar *>().size();
        dialog.findChild<QLineEdit *>("openAirFolder")->setText(dir.path());
        dialog.findChild<QLineEdit *>("atcFolder")->setText(dir.path());
        QCOMPARE(dialog.findChildren<QProgressBar *>().size(), base + 2);
        QVERIFY(dialog.findChild<QProgressBar *>("progress_openair"));
        QVERIFY(dialog.findChild<QProgressBar *>("progress_atc"));
    }
};

QTEST_MAIN(TestNavImportDialog)
#include "tst_navimportdialog.moc"
