// zobrel-license as the vendor runs it: a real process making a key pair, issuing licences the
// station accepts (and refusing to overwrite a key), packing a program folder and signing a
// manifest whose package hash and size it fills in.

#include "licensing/license.h"
#include "licensing/machineid.h"
#include "licensing/updatemanifest.h"
#include "licensing/updatepackage.h"
#include "tests/support/logexpect.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {

struct Run
{
    int exitCode = -1;
    QString out;
    QString err;
};

Run runTool(const QStringList &args)
{
    QProcess process;
    process.start(QStringLiteral(LICENSE_EXECUTABLE), args);
    Run run;
    if (!process.waitForFinished(30000))
        return run;
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = QString::fromLocal8Bit(process.readAllStandardOutput());
    run.err = QString::fromLocal8Bit(process.readAllStandardError());
    return run;
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestLicenseTool : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        testlog::failOnLoggedProblems();
    }
    void issuesLicencesTheStationAccepts();
    void signsManifestsWithPackageHashes();
};

void TestLicenseTool::issuesLicencesTheStationAccepts()
{
    QTemporaryDir dir;
    const QString privateKey = dir.filePath(QStringLiteral("vendor.pem"));
    const QString publicKey = dir.filePath(QStringLiteral("vendor.pub"));
    QCOMPARE(runTool({QStringLiteral("keygen"), privateKey, publicKey}).exitCode, 0);
    const QByteArray keyBefore = readFile(privateKey);
    // A vendor key is never overwritten by mistake.
    QVERIFY(runTool({QStringLiteral("keygen"), privateKey, dir.filePath(QStringLiteral("other.pub"))}).exitCode != 0);
    QCOMPARE(readFile(privateKey), keyBefore);

    const QString machine = machineIdFromSystemId("customer workstation");
    const QString licence = dir.filePath(QStringLiteral("school.lic"));
    const Run issued = runTool(
        {QStringLiteral("issue"), QStringLiteral("--key"), privateKey, QStringLiteral("--licensee"),
         QStringLiteral("东方飞行学院"), QStringLiteral("--machine"), machine.toLower(), QStringLiteral("--feature"),
         QStringLiteral("bridge-server"), QStringLiteral("--feature"), QStringLiteral("agents:6"),
         QStringLiteral("--days"), QStringLiteral("365"), QStringLiteral("--out"), licence});
    QVERIFY2(issued.exitCode == 0, qPrintable(issued.err));

    const QDate today = QDateTime::currentDateTimeUtc().date();
    const LicenseCheck check = LicenseCheck::verify(readFile(licence), readFile(publicKey), machine, today);
    QVERIFY2(check.isValid(), qPrintable(check.detail));
    QCOMPARE(check.license.licensee, QStringLiteral("东方飞行学院"));
    QCOMPARE(check.license.agentLimit(), 6);
    QCOMPARE(check.license.expires, today.addDays(365));
    QVERIFY(check.license.id.startsWith(QStringLiteral("ZB-")));
    // Bound to the customer's machine: refused on this one, as "show" reports.
    const Run shown = runTool({QStringLiteral("show"), QStringLiteral("--public"), publicKey, licence});
    QCOMPARE(shown.exitCode, 1);
    QVERIFY2(shown.out.contains(QStringLiteral("bound to machine")), qPrintable(shown.out));

    QVERIFY(runTool({QStringLiteral("issue"), QStringLiteral("--key"), publicKey, QStringLiteral("--licensee"),
                     QStringLiteral("x"), QStringLiteral("--out"), dir.filePath(QStringLiteral("x.lic"))})
                .exitCode != 0);
    QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("x.lic"))));
}

void TestLicenseTool::signsManifestsWithPackageHashes()
{
    QTemporaryDir dir;
    const QString privateKey = dir.filePath(QStringLiteral("vendor.pem"));
    const QString publicKey = dir.filePath(QStringLiteral("vendor.pub"));
    QCOMPARE(runTool({QStringLiteral("keygen"), privateKey, publicKey}).exitCode, 0);
    QDir().mkpath(dir.filePath(QStringLiteral("release/bin")));
    QFile program(dir.filePath(QStringLiteral("release/bin/zobrel")));
    QVERIFY(program.open(QIODevice::WriteOnly));
    program.write("the new station");
    program.close();
    const QString package = dir.filePath(QStringLiteral("out/zobrel-0.4.0.zpk"));
    QDir().mkpath(dir.filePath(QStringLiteral("out")));
    const Run packed = runTool({QStringLiteral("pack"), dir.filePath(QStringLiteral("release")), package});
    QVERIFY2(packed.exitCode == 0, qPrintable(packed.err));
    const QByteArray sha = QCryptographicHash::hash(readFile(package), QCryptographicHash::Sha256).toHex();
    QVERIFY(packed.out.contains(QString::fromLatin1(sha)));

    const QJsonObject source{
        {QStringLiteral("version"), QStringLiteral("0.4.0")},
        {QStringLiteral("notes"), QJsonObject{{QStringLiteral("zh_CN"), QStringLiteral("新功能")},
                                              {QStringLiteral("en_US"), QStringLiteral("New features")}}},
        {QStringLiteral("packages"),
         QJsonObject{{QStringLiteral("linux-x86_64"),
                      QJsonObject{{QStringLiteral("url"), QStringLiteral("zobrel-0.4.0.zpk")},
                                  {QStringLiteral("file"), QStringLiteral("out/zobrel-0.4.0.zpk")}}}}}};
    QFile sourceFile(dir.filePath(QStringLiteral("manifest-source.json")));
    QVERIFY(sourceFile.open(QIODevice::WriteOnly));
    sourceFile.write(QJsonDocument(source).toJson());
    sourceFile.close();
    const QString signedPath = dir.filePath(QStringLiteral("manifest.json"));
    const Run signing =
        runTool({QStringLiteral("manifest"), QStringLiteral("--key"), privateKey, sourceFile.fileName(), signedPath});
    QVERIFY2(signing.exitCode == 0, qPrintable(signing.err));

    UpdateManifest manifest;
    DeferredText error;
    QString detail;
    QVERIFY2(UpdateManifest::parse(readFile(signedPath), readFile(publicKey),
                                   QUrl(QStringLiteral("https://updates.example.com/zobrel/manifest.json")), &manifest,
                                   &error, &detail),
             qPrintable(detail));
    QCOMPARE(manifest.version, QVersionNumber(0, 4, 0));
    const UpdateManifest::Package entry = manifest.packages.value(QStringLiteral("linux-x86_64"));
    QCOMPARE(entry.url, QUrl(QStringLiteral("https://updates.example.com/zobrel/zobrel-0.4.0.zpk")));
    QCOMPARE(entry.sha256.toHex(), sha);
    QCOMPARE(entry.size, QFileInfo(package).size());
}

QTEST_GUILESS_MAIN(TestLicenseTool)
#include "tst_licensetool.moc"
