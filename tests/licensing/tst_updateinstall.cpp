#include "licensing/updateinstaller.h"
#include "licensing/updatepackage.h"
#include "licensing/updatestaging.h"
#include "tests/support/logexpect.h"

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {

void writeFile(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(path));
    file.write(content);
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

// Every file below dir with its content, for before/after comparisons.
QMap<QString, QByteArray> snapshot(const QString &dir)
{
    QMap<QString, QByteArray> files;
    const QDir root(dir);
    for (const QFileInfo &info : root.entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden)) {
        if (info.isDir()) {
            const auto sub = snapshot(info.filePath());
            for (auto it = sub.begin(); it != sub.end(); ++it)
                files.insert(info.fileName() + QLatin1Char('/') + it.key(), it.value());
        } else {
            files.insert(info.fileName(), readFile(info.filePath()));
        }
    }
    return files;
}

// A package written by hand, for entries the writer would never produce.
QByteArray rawPackage(const QString &path, const QByteArray &compressed, quint32 count = 1)
{
    QByteArray bytes("ZOBRELPKG1\n");
    QDataStream stream(&bytes, QIODevice::Append);
    stream << count;
    const QByteArray utf8 = path.toUtf8();
    stream << quint16(utf8.size());
    stream.writeRawData(utf8.constData(), int(utf8.size()));
    stream << quint8(0) << quint64(compressed.size());
    stream.writeRawData(compressed.constData(), int(compressed.size()));
    return bytes;
}

} // namespace

class TestUpdateInstall : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void packageRoundTripKeepsFilesAndExecutableBit();
    void extractRefusesHostilePackages_data();
    void extractRefusesHostilePackages();
    void installReplacesFilesAndKeepsOthers();
    void installFailureRestoresEveryFile_data();
    void installFailureRestoresEveryFile();
    void installerIsLaunchedOnceAndMovedOut();

private:
    // Stages files (relative path -> content) as a complete pending update.
    void stage(const QMap<QString, QByteArray> &files, const QString &version = QStringLiteral("0.4.0"));

    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_staging;
    QString m_program;
};

void TestUpdateInstall::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
    m_dir = std::make_unique<QTemporaryDir>();
    m_staging = m_dir->filePath(QStringLiteral("updates"));
    m_program = m_dir->filePath(QStringLiteral("program"));
    QDir().mkpath(m_program);
}

void TestUpdateInstall::stage(const QMap<QString, QByteArray> &files, const QString &version)
{
    const QString incoming = UpdateStaging::incomingDir(m_staging);
    for (auto it = files.begin(); it != files.end(); ++it)
        writeFile(QDir(incoming).filePath(QStringLiteral("files/") + it.key()), it.value());
    UpdateStaging::Pending pending;
    pending.version = version;
    pending.files = files.keys();
    QString error;
    QVERIFY2(UpdateStaging::commitIncoming(m_staging, pending, &error), qPrintable(error));
}

void TestUpdateInstall::packageRoundTripKeepsFilesAndExecutableBit()
{
    const QString source = m_dir->filePath(QStringLiteral("source"));
    writeFile(source + QStringLiteral("/zobrel"), QByteArray(200000, 'x') + "tail");
    writeFile(source + QStringLiteral("/lib/plugins/libq.so"), "plugin");
    writeFile(source + QStringLiteral("/empty.txt"), QByteArray());
    QFile::setPermissions(source + QStringLiteral("/zobrel"),
                          QFile::permissions(source + QStringLiteral("/zobrel")) | QFileDevice::ExeOwner);
    const QString package = m_dir->filePath(QStringLiteral("p.zpk"));
    QString error;
    QVERIFY2(UpdatePackage::write(source, package, &error), qPrintable(error));
    QVERIFY(QFileInfo(package).size() < 10000); // compressed

    const QString target = m_dir->filePath(QStringLiteral("target"));
    QStringList files;
    QVERIFY2(UpdatePackage::extract(package, target, &files, &error), qPrintable(error));
    QCOMPARE(files, QStringList({"empty.txt", "lib/plugins/libq.so", "zobrel"}));
    QCOMPARE(snapshot(target), snapshot(source));
    QVERIFY(QFileInfo(target + QStringLiteral("/zobrel")).isExecutable());
    QVERIFY(!QFileInfo(target + QStringLiteral("/empty.txt")).isExecutable());
}

void TestUpdateInstall::extractRefusesHostilePackages_data()
{
    QTest::addColumn<QByteArray>("package");
    const QByteArray data = qCompress(QByteArray("content"));
    QTest::newRow("leaves the folder") << rawPackage(QStringLiteral("../evil"), data);
    QTest::newRow("absolute path") << rawPackage(QStringLiteral("/etc/evil"), data);
    QTest::newRow("drive path") << rawPackage(QStringLiteral("C:/evil"), data);
    QTest::newRow("backslashes") << rawPackage(QStringLiteral("a\\..\\..\\evil"), data);
    QTest::newRow("truncated") << rawPackage(QStringLiteral("ok"), data).chopped(3);
    QTest::newRow("more entries announced") << rawPackage(QStringLiteral("ok"), data, 2);
    QByteArray lying = data;
    lying[0] = char(0x7f); // claims almost 2 GB from a few bytes
    QTest::newRow("implausible size") << rawPackage(QStringLiteral("ok"), lying);
    QTest::newRow("not a package") << QByteArray("PK\x03\x04 a zip file");
    QTest::newRow("trailing data") << rawPackage(QStringLiteral("ok"), data) + "junk";
}

void TestUpdateInstall::extractRefusesHostilePackages()
{
    QFETCH(QByteArray, package);
    const QString path = m_dir->filePath(QStringLiteral("hostile.zpk"));
    writeFile(path, package);
    const QString target = m_dir->filePath(QStringLiteral("sandbox/inner"));
    QStringList files;
    QString error;
    QVERIFY(!UpdatePackage::extract(path, target, &files, &error));
    QVERIFY(!error.isEmpty());
    QVERIFY(!QFileInfo::exists(m_dir->filePath(QStringLiteral("sandbox/evil"))));
    QVERIFY(!QFileInfo::exists(m_dir->filePath(QStringLiteral("evil"))));
}

void TestUpdateInstall::installReplacesFilesAndKeepsOthers()
{
    writeFile(m_program + QStringLiteral("/zobrel"), "old program");
    writeFile(m_program + QStringLiteral("/Zobrel.ini"), "settings");
    writeFile(m_program + QStringLiteral("/lib/old.so"), "old library");
    stage({{QStringLiteral("zobrel"), "new program"}, {QStringLiteral("lib/new.so"), "new library"}});

    bool launched = false;
    const UpdateInstallOutcome outcome =
        installPendingUpdate(m_staging, m_program, [&](const QString &, QString *) { return launched = true; });
    QCOMPARE(outcome.kind, UpdateInstallOutcome::Kind::Installed);
    QCOMPARE(outcome.version, QStringLiteral("0.4.0"));
    QVERIFY(!launched);
    const QMap<QString, QByteArray> expected{{QStringLiteral("zobrel"), "new program"},
                                             {QStringLiteral("Zobrel.ini"), "settings"},
                                             {QStringLiteral("lib/old.so"), "old library"},
                                             {QStringLiteral("lib/new.so"), "new library"}};
    QCOMPARE(snapshot(m_program), expected); // no .zobrel-new or .zobrel-old left behind
    QVERIFY(!QFileInfo::exists(UpdateStaging::pendingDir(m_staging)));

    UpdateStaging::Result result;
    QVERIFY(UpdateStaging::takeResult(m_staging, &result));
    QVERIFY(result.success);
    QCOMPARE(result.version, QStringLiteral("0.4.0"));
    QVERIFY(!UpdateStaging::takeResult(m_staging, &result)); // told once
    // Nothing staged: nothing happens at the next start.
    QCOMPARE(installPendingUpdate(m_staging, m_program, {}).kind, UpdateInstallOutcome::Kind::Nothing);
}

void TestUpdateInstall::installFailureRestoresEveryFile_data()
{
    QTest::addColumn<QString>("obstacle");
    // While copying: "x" is a file where the update needs a folder.
    QTest::newRow("copy fails") << QStringLiteral("x");
    // While swapping, after "a" was already replaced: "b"'s aside name is taken by a folder.
    QTest::newRow("swap fails") << QStringLiteral("b.zobrel-old/keep");
}

void TestUpdateInstall::installFailureRestoresEveryFile()
{
    QFETCH(QString, obstacle);
    writeFile(m_program + QStringLiteral("/a"), "old a");
    writeFile(m_program + QStringLiteral("/b"), "old b");
    writeFile(m_program + QLatin1Char('/') + obstacle, "in the way");
    const QMap<QString, QByteArray> before = snapshot(m_program);
    stage({{QStringLiteral("a"), "new a"}, {QStringLiteral("b"), "new b"}, {QStringLiteral("x/y"), "new y"}});

    const UpdateInstallOutcome outcome = installPendingUpdate(m_staging, m_program, {});
    QCOMPARE(outcome.kind, UpdateInstallOutcome::Kind::Failed);
    QVERIFY(!outcome.detail.isEmpty());
    QCOMPARE(snapshot(m_program), before);
    UpdateStaging::Result result;
    QVERIFY(UpdateStaging::takeResult(m_staging, &result));
    QVERIFY(!result.success);
    QCOMPARE(result.detail, outcome.detail);
    // A failed update is not tried again at every start.
    QVERIFY(!QFileInfo::exists(UpdateStaging::pendingDir(m_staging)));
}

void TestUpdateInstall::installerIsLaunchedOnceAndMovedOut()
{
    const QString incoming = UpdateStaging::incomingDir(m_staging);
    writeFile(incoming + QStringLiteral("/zobrel-setup-0.4.0.exe"), "installer");
    UpdateStaging::Pending pending;
    pending.version = QStringLiteral("0.4.0");
    pending.method = UpdateInstallMethod::RunInstaller;
    pending.installer = QStringLiteral("zobrel-setup-0.4.0.exe");
    QString error;
    QVERIFY(UpdateStaging::commitIncoming(m_staging, pending, &error));

    QString launchedPath;
    const UpdateInstallOutcome outcome =
        installPendingUpdate(m_staging, m_program, [&](const QString &path, QString *) {
            launchedPath = path;
            return QFile::exists(path); // the installer must still be there while it runs
        });
    QCOMPARE(outcome.kind, UpdateInstallOutcome::Kind::InstallerStarted);
    QVERIFY(!launchedPath.startsWith(UpdateStaging::pendingDir(m_staging)));
    QCOMPARE(readFile(launchedPath), QByteArray("installer"));
    QCOMPARE(installPendingUpdate(m_staging, m_program, {}).kind, UpdateInstallOutcome::Kind::Nothing);

    // An installer that cannot be started is reported, and not retried at the next start either.
    writeFile(incoming + QStringLiteral("/zobrel-setup-0.4.0.exe"), "installer");
    QVERIFY(UpdateStaging::commitIncoming(m_staging, pending, &error));
    const UpdateInstallOutcome refused = installPendingUpdate(m_staging, m_program, [](const QString &, QString *why) {
        *why = QStringLiteral("cannot start");
        return false;
    });
    QCOMPARE(refused.kind, UpdateInstallOutcome::Kind::Failed);
    QCOMPARE(refused.detail, QStringLiteral("cannot start"));
    QCOMPARE(installPendingUpdate(m_staging, m_program, {}).kind, UpdateInstallOutcome::Kind::Nothing);
    QVERIFY(snapshot(m_program).isEmpty());
}

QTEST_GUILESS_MAIN(TestUpdateInstall)
#include "tst_updateinstall.moc"
