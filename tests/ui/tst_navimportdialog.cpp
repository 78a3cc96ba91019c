// The navigation import dialog driven like an operator: real builds from a small X-Plane-like
// folder of real samples, per-stage progress, cancel, and the signal that reloads the provider.

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
#include <QTemporaryDir>
#include <QtTest>

namespace {

constexpr int kBuildTimeoutMs = 30000;

QString sharedData(const QString &relative)
{
    return QDir(QStringLiteral(SHARED_TESTDATA_DIR)).filePath(relative);
}

bool copyInto(const QString &from, const QString &to)
{
    QDir().mkpath(QFileInfo(to).absolutePath());
    return QFile::copy(from, to);
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

} // namespace

class TestNavImportDialog : public QObject
{
    Q_OBJECT
private slots:
    void init() { QTest::failOnWarning(QRegularExpression(".*")); }

    void buildsWithAProgressBarPerStage()
    {
        if (!QFileInfo(QStringLiteral(SHARED_TESTDATA_DIR)).isDir())
            QSKIP("../shared/testdata is not present; the real-sample tests need it");
        QTemporaryDir dir;
        QVERIFY(makeXPlaneTree(dir.filePath("X-Plane 12")));
        NavImportDialog dialog(dir.path());
        dialog.setSourceIndex(1);
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
        if (!QFileInfo(QStringLiteral(SHARED_TESTDATA_DIR)).isDir())
            QSKIP("../shared/testdata is not present; the real-sample tests need it");
        QTemporaryDir dir;
        QVERIFY(makeXPlaneTree(dir.filePath("X-Plane 11")));
        NavImportDialog dialog(dir.path());
        dialog.setSourceIndex(0);
        dialog.setXPlaneFolder(dir.filePath("X-Plane 11"));
        QFile previous(dialog.databasePath());
        QVERIFY(previous.open(QIODevice::WriteOnly));
        previous.write("previous database");
        previous.close();

        QSignalSpy built(&dialog, &NavImportDialog::databaseBuilt);
        dialog.findChild<QPushButton *>("start")->click();
        dialog.findChild<QPushButton *>("cancel")->click();
        QLabel *status = dialog.findChild<QLabel *>("status");
        QTRY_COMPARE_WITH_TIMEOUT(status->text(), QStringLiteral("导入已取消，原有数据库保持不变。"), kBuildTimeoutMs);
        QVERIFY(!dialog.isBuilding());
        QVERIFY(built.isEmpty());
        QVERIFY(previous.open(QIODevice::ReadOnly));
        QCOMPARE(previous.readAll(), QByteArray("previous database"));
        QVERIFY(!QFile::exists(dialog.databasePath() + ".building"));
    }

    void asksForAValidFolder()
    {
        QTemporaryDir dir;
        NavImportDialog dialog(dir.path());
        dialog.setXPlaneFolder(dir.filePath("missing"));
        dialog.findChild<QPushButton *>("start")->click();
        QVERIFY(!dialog.isBuilding());
        QCOMPARE(dialog.findChild<QLabel *>("status")->text(), QStringLiteral("请选择有效的 X-Plane 安装目录。"));
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
