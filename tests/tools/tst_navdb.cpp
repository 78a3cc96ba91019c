// zobrel-navdb as a user runs it: a real process building a database from a small X-Plane-like
// folder made of the real samples, single importers, usage errors, and a disk that fills up.

#include "nav/databasebuilder.h"
#include "tests/support/logexpect.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QtTest>

namespace {

constexpr int kRunTimeoutMs = 60000;

QString sharedData(const QString &relative)
{
    return QDir(QStringLiteral(SHARED_TESTDATA_DIR)).filePath(relative);
}

bool copyInto(const QString &from, const QString &to)
{
    QDir().mkpath(QFileInfo(to).absolutePath());
    return QFile::copy(from, to);
}

void makeXPlaneTree(const QString &root)
{
    const QString data = root + "/Resources/default data/";
    copyInto(sharedData("xplane/nav/navme-earth_nav-noheader.dat"), data + "earth_nav.dat");
    copyInto(sharedData("xplane/fix/navme-earth_fix-noheader.dat"), data + "earth_fix.dat");
    QFile awy(data + "earth_awy.dat");
    if (awy.open(QIODevice::WriteOnly))
        awy.write("I\n1100 Version\nBP701 LH 11 BP702 LH 11 N 1 50 180 L1\n99\n");
    awy.close();
    copyInto(sharedData("xplane/cifp/navme-KSEA.dat"), data + "CIFP/KSEA.dat");
    copyInto(sharedData("xplane/cifp/navme-LHBP.dat"), data + "CIFP/LHBP.dat");
    copyInto(sharedData("xplane/world/cycle_info.txt"), data + "cycle_info.txt");
    copyInto(sharedData("xplane/apt/xplane_airports-test_apt-1100.dat"),
             root + "/Global Scenery/Global Airports/Earth nav data/apt.dat");
}

struct Run
{
    int exitCode = -1;
    QString out;
    QString err;
};

Run runTool(const QStringList &args, const QString &program = QStringLiteral(NAVDB_EXECUTABLE))
{
    QProcess process;
    process.start(program, args);
    Run run;
    if (!process.waitForFinished(kRunTimeoutMs)) {
        process.kill();
        process.waitForFinished();
        return run;
    }
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

int rows(const QString &path, const QString &table)
{
    int n = -1;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "navdb_read");
        db.setDatabaseName(path);
        if (db.open()) {
            QSqlQuery q(db);
            if (q.exec("SELECT COUNT(*) FROM " + table) && q.next())
                n = q.value(0).toInt();
        }
        db.close();
    }
    QSqlDatabase::removeDatabase("navdb_read");
    return n;
}

bool writeTo(const QString &path, const QByteArray &content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

QByteArray hashOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256)
                                          : QByteArray();
}

} // namespace

class TestNavDb : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void helpListsTheCommands()
    {
        const Run run = runTool({"--help"});
        QCOMPARE(run.exitCode, 0);
        for (const char *command : {"xplane", "nav ", "fix ", "awy ", "cifp ", "scenery ", "apt ", "aptmeta ", "cycle ",
                                    "atc ", "openair ", "openaip ", "routefinder ", "counts "})
            QVERIFY2(run.out.contains(QLatin1String("  ") + QLatin1String(command)), command);
    }

    void wrongUsageExitsWithTwo_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::newRow("nothing") << QStringList();
        QTest::newRow("unknown command") << QStringList{"fly", "a", "b"};
        QTest::newRow("missing database") << QStringList{"xplane", "/tmp"};
        QTest::newRow("unknown option") << QStringList{"xplane", "/tmp", "x.db", "--fast"};
    }
    void wrongUsageExitsWithTwo()
    {
        QFETCH(QStringList, args);
        const Run run = runTool(args);
        QCOMPARE(run.exitCode, 2);
        QVERIFY(run.err.startsWith("zobrel-navdb: "));
        QVERIFY(run.err.contains("Usage: zobrel-navdb"));
    }

    void buildsFromAnXPlaneFolder()
    {
        if (!QFileInfo(QStringLiteral(SHARED_TESTDATA_DIR)).isDir())
            QSKIP("../shared/testdata is not present; the real-sample tests need it");
        QTemporaryDir dir;
        makeXPlaneTree(dir.filePath("X-Plane 12"));
        const QString db = dir.filePath("zobrel_navdata_xp12.db");
        const Run run = runTool({"xplane", dir.filePath("X-Plane 12"), db});
        QCOMPARE(run.exitCode, 0);
        QVERIFY2(run.out.contains("Built " + db), qPrintable(run.out));
        // The progress bar reached the end of every stage.
        for (const char *stage : {"navaids", "waypoints", "airways", "airports", "procedures"})
            QVERIFY2(run.out.contains(QStringLiteral("] 100% %1").arg(QLatin1String(stage))), stage);
        const QRegularExpression airports("\\n  airports\\s+(\\d+)\\n");
        const QRegularExpressionMatch m = airports.match(run.out);
        QVERIFY(m.hasMatch());
        QCOMPARE(m.captured(1).toInt(), rows(db, "airports"));
        QVERIFY(rows(db, "airports") > 30);
        QCOMPARE(rows(db, "procedure_legs"), 38);
        QVERIFY(!QFile::exists(db + ".building"));

        // counts on the result prints the same table.
        const Run counts = runTool({"counts", db});
        QCOMPARE(counts.exitCode, 0);
        QVERIFY(counts.out.contains(m.captured(0).mid(1)));
    }

    void failureExitsWithTheReason()
    {
        QTemporaryDir dir;
        const QString db = dir.filePath("nav.db");
        const Run run = runTool({"xplane", dir.filePath("nowhere"), db});
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains("zobrel-navdb: X-Plane folder not found: " + dir.filePath("nowhere")),
                 qPrintable(run.err));
        QVERIFY(!QFile::exists(db));
    }

    void singleImporters()
    {
        if (!QFileInfo(QStringLiteral(SHARED_TESTDATA_DIR)).isDir())
            QSKIP("../shared/testdata is not present; the real-sample tests need it");
        QTemporaryDir dir;
        const QString db = dir.filePath("single.db");
        Run run = runTool({"fix", sharedData("xplane/fix/strefaVFR-user_fix-1200.dat"), db});
        QCOMPARE(run.exitCode, 0);
        QVERIFY2(run.out.contains("\nImported "), qPrintable(run.out));
        QVERIFY(rows(db, "waypoints") > 100);
        QVERIFY(QDir().mkpath(dir.filePath("air")));
        QVERIFY(
            QFile::copy(sharedData("airspace/openaip-openair-parser-fixtures/polygon.txt"), dir.filePath("air/p.txt")));
        run = runTool({"openair", dir.filePath("air"), db});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(rows(db, "airspaces"), 1);
        run = runTool({"cifp", dir.filePath("no CIFP here"), db});
        QCOMPARE(run.exitCode, 1);
        QVERIFY(run.err.contains("CIFP directory not found: " + dir.filePath("no CIFP here")));
        // An empty fix file fails with its name and leaves the fixes as they were.
        const int fixes = rows(db, "waypoints");
        QVERIFY(writeTo(dir.filePath("empty_fix.dat"), QByteArray()));
        run = runTool({"fix", dir.filePath("empty_fix.dat"), db});
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains(dir.filePath("empty_fix.dat")), qPrintable(run.err));
        QCOMPARE(rows(db, "waypoints"), fixes);
    }

    void fullDiskKeepsThePreviousDatabase()
    {
        if (!QFileInfo(QStringLiteral(SHARED_TESTDATA_DIR)).isDir())
            QSKIP("../shared/testdata is not present; the real-sample tests need it");
        if (!QFileInfo::exists("/bin/sh"))
            QSKIP("needs a POSIX shell to limit the file size");
        QTemporaryDir dir;
        makeXPlaneTree(dir.filePath("X-Plane 12"));
        const QString db = dir.filePath("zobrel_navdata_xp12.db");
        QCOMPARE(runTool({"xplane", dir.filePath("X-Plane 12"), db}).exitCode, 0);
        const QByteArray before = hashOf(db);
        const qint64 size = QFileInfo(db).size();
        // Files may grow to a third of the database (ulimit counts 512-byte blocks): writes past
        // that fail as they would on a full disk.
        const Run run = runTool(
            {"-c",
             QStringLiteral("ulimit -f %1; trap '' XFSZ; exec \"$0\" \"$@\"").arg(QString::number(size / 3 / 512)),
             QStringLiteral(NAVDB_EXECUTABLE), "xplane", dir.filePath("X-Plane 12"), db},
            QStringLiteral("/bin/sh"));
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains("zobrel-navdb: "), qPrintable(run.err));
        QVERIFY2(run.err.contains("full", Qt::CaseInsensitive) || run.err.contains("I/O", Qt::CaseInsensitive),
                 qPrintable(run.err));
        QCOMPARE(hashOf(db), before);
        QVERIFY(!QFile::exists(db + ".building"));
    }
};

QTEST_GUILESS_MAIN(TestNavDb)
#include "tst_navdb.moc"
