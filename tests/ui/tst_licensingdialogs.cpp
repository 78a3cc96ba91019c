#include "licensing/licensemanager.h"
#include "licensing/machineid.h"
#include "licensing/updateservice.h"
#include "tests/licensing/httptestserver.h"
#include "tests/licensing/testkeys.h"
#include "tests/support/logexpect.h"
#include "ui/language.h"
#include "ui/licensedialog.h"
#include "ui/updatedialog.h"

#include <QCryptographicHash>
#include <QEvent>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBrowser>

class TestLicensingDialogs : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { m_keys = TestKeys::make(); }
    void init();
    void licenceDialogInstallsGoodAndExplainsRefusedFiles();
    void updateDialogFollowsTheDownload();

private:
    QString writeLicence(const QString &name, const QByteArray &text);

    TestKeys m_keys;
    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestLicensingDialogs::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
    m_dir = std::make_unique<QTemporaryDir>();
}

QString TestLicensingDialogs::writeLicence(const QString &name, const QByteArray &text)
{
    const QString path = m_dir->filePath(name);
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(text);
    return path;
}

void TestLicensingDialogs::licenceDialogInstallsGoodAndExplainsRefusedFiles()
{
    const QString machine = machineIdFromSystemId("dialog test machine");
    LicenseManager manager(m_dir->filePath(QStringLiteral("Zobrel.lic")), m_keys.publicPem, machine);
    manager.load();
    LicenseDialog dialog(&manager);
    auto *mode = dialog.findChild<QLabel *>(QStringLiteral("mode"));
    auto *licensee = dialog.findChild<QLabel *>(QStringLiteral("licensee"));
    auto *result = dialog.findChild<QLabel *>(QStringLiteral("loadResult"));
    QCOMPARE(mode->text(), QStringLiteral("评估模式"));
    QCOMPARE(dialog.findChild<QLineEdit *>(QStringLiteral("machineId"))->text(), machine);
    QVERIFY(licensee->isHidden()); // nothing to show without a licence

    License licence;
    licence.id = QStringLiteral("ZB-1");
    licence.licensee = QStringLiteral("西部航校");
    licence.features = {QStringLiteral("bridge-server"), QStringLiteral("agents:12")};
    QVERIFY(dialog.loadLicenseFile(writeLicence(QStringLiteral("good.lic"), m_keys.sign(licence.toJson()))));
    QCOMPARE(mode->text(), QStringLiteral("已授权"));
    QCOMPARE(licensee->text(), QStringLiteral("西部航校"));
    QVERIFY(!licensee->isHidden());
    QCOMPARE(dialog.findChild<QLabel *>(QStringLiteral("agents"))->text(), QStringLiteral("12"));
    QVERIFY(
        dialog.findChild<QLabel *>(QStringLiteral("features"))->text().contains(QStringLiteral("最多 12 个远程机组")));

    licence.licensee = QStringLiteral("另一所航校");
    licence.machineId = machineIdFromSystemId("someone else's machine");
    testlog::expectLogged(QStringLiteral("Licence"), QStringLiteral("not installed"));
    QVERIFY(!dialog.loadLicenseFile(writeLicence(QStringLiteral("bound.lic"), m_keys.sign(licence.toJson()))));
    // The refusal says why, and the licence in use is still shown.
    QVERIFY2(result->text().contains(QStringLiteral("另一台计算机")), qPrintable(result->text()));
    QVERIFY(result->text().contains(QStringLiteral("当前许可证保持不变")));
    QCOMPARE(licensee->text(), QStringLiteral("西部航校"));
    QCOMPARE(mode->text(), QStringLiteral("已授权"));
}

void TestLicensingDialogs::updateDialogFollowsTheDownload()
{
    HttpTestServer server;
    const QByteArray package(512 * 1024, 'p');
    const QJsonObject entry{
        {QStringLiteral("url"), QStringLiteral("pkg")},
        {QStringLiteral("sha256"),
         QString::fromLatin1(QCryptographicHash::hash(package, QCryptographicHash::Sha256).toHex())},
        {QStringLiteral("size"), double(package.size())}};
    server.serve(
        QStringLiteral("/m.json"),
        m_keys.sign({{QStringLiteral("type"), QStringLiteral("zobrel-update")},
                     {QStringLiteral("product"), QStringLiteral("Zobrel")},
                     {QStringLiteral("version"), QStringLiteral("1.0.0")},
                     {QStringLiteral("notes"), QJsonObject{{QStringLiteral("zh_CN"), QStringLiteral("新的地图")},
                                                           {QStringLiteral("en_US"), QStringLiteral("New map")}}},
                     {QStringLiteral("packages"), QJsonObject{{QStringLiteral("test-os"), entry}}}}));
    // Half the package in pieces, then the connection stays open: the download is still running.
    server.serve(QStringLiteral("/pkg"), HttpTestServer::Resource{package, package.size() / 2, true, 16384});
    const QString settings = m_dir->filePath(QStringLiteral("Zobrel.ini"));
    QSettings(settings, QSettings::IniFormat)
        .setValue(UpdateService::kManifestUrlKey, server.url(QStringLiteral("/m.json")).toString());
    UpdateService service(settings, m_dir->filePath(QStringLiteral("updates")), m_dir->path(), QVersionNumber(0, 3, 0),
                          m_keys.publicPem);
    service.setPlatform(QStringLiteral("test-os"), UpdateInstallMethod::RunInstaller);
    // Hosted in a plain widget: a top level with a layout asks the offscreen platform for size
    // hints it does not support.
    QWidget host;
    host.setAttribute(Qt::WA_DontShowOnScreen);
    UpdateDialog dialog(&service, settings, &host);
    dialog.setWindowFlags(Qt::Widget);
    host.show();
    dialog.show();
    auto *status = dialog.findChild<QLabel *>(QStringLiteral("status"));
    auto *download = dialog.findChild<QPushButton *>(QStringLiteral("download"));
    auto *cancel = dialog.findChild<QPushButton *>(QStringLiteral("cancel"));
    auto *progress = dialog.findChild<QProgressBar *>(QStringLiteral("progress"));
    auto *notes = dialog.findChild<QTextBrowser *>(QStringLiteral("notes"));

    service.checkNow();
    QTRY_VERIFY_WITH_TIMEOUT(download->isVisible(), 10000);
    QVERIFY2(status->text().contains(QStringLiteral("1.0.0")), qPrintable(status->text()));
    QCOMPARE(notes->toPlainText(), QStringLiteral("新的地图"));
    QVERIFY(!progress->isVisible());

    download->click();
    // Qt hands the body on in blocks: some of the half that was sent shows.
    QTRY_VERIFY_WITH_TIMEOUT(progress->value() > 0, 10000);
    QVERIFY(progress->value() <= int(package.size() / 2 / 1024));
    QVERIFY(cancel->isVisible());
    QVERIFY(!download->isVisible());
    QCOMPARE(progress->maximum(), int(package.size() / 1024));

    // The notes follow the interface language.
    QSettings(settings, QSettings::IniFormat).setValue(kLanguageKey, QString::fromLatin1(kLanguageEnglish));
    QEvent change(QEvent::LanguageChange);
    QCoreApplication::sendEvent(&dialog, &change);
    QCOMPARE(notes->toPlainText(), QStringLiteral("New map"));

    cancel->click();
    QCOMPARE(service.state(), UpdateService::State::Available);
    QVERIFY(download->isVisible());
    QVERIFY(!progress->isVisible());
}

QTEST_MAIN(TestLicensingDialogs)
#include "tst_licensingdialogs.moc"
