#include "httptestserver.h"
#include "testkeys.h"

#include "licensing/updateinstaller.h"
#include "licensing/updatepackage.h"
#include "licensing/updateservice.h"
#include "licensing/updatestaging.h"
#include "tests/support/logexpect.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

constexpr char kPlatform[] = "testos-x86_64";
constexpr int kWaitMs = 10000;

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
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestUpdateService : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void offersOnlyNewerVersions_data();
    void offersOnlyNewerVersions();
    void refusesBadManifests_data();
    void refusesBadManifests();
    void downloadStagesVerifiedPackageForTheNextStart();
    void refusedDownloadsLeaveNothingBehind_data();
    void refusedDownloadsLeaveNothingBehind();
    void cancelledDownloadLeavesNothingBehind();
    void installerPlatformStagesTheInstaller();
    void startupCheckAtMostOnceADay();

private:
    // Serves a signed manifest for version with one package (served at /pkg unless said otherwise)
    // and points the settings at it. Returns the package bytes.
    QByteArray publish(const QString &version, const QByteArray &packageBody = QByteArray(),
                       const QString &packagePath = QStringLiteral("/pkg"));
    QJsonObject manifestPayload(const QString &version, const QByteArray &package, const QString &packagePath) const;
    std::unique_ptr<UpdateService> makeService(const QString &current = QStringLiteral("0.3.0"));
    bool waitForState(UpdateService &service, UpdateService::State state);
    // True when the staging folder holds neither a pending update nor download or unpack leftovers.
    bool stagingIsClean() const;

    TestKeys m_keys;
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<HttpTestServer> m_server;
    QString m_settings;
    QString m_staging;
    QString m_program;
    QByteArray m_package; // a real package: one file "zobrel" = "new program"
};

void TestUpdateService::initTestCase()
{
    m_keys = TestKeys::make();
}

void TestUpdateService::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
    m_dir = std::make_unique<QTemporaryDir>();
    m_server = std::make_unique<HttpTestServer>();
    m_settings = m_dir->filePath(QStringLiteral("Zobrel.ini"));
    m_staging = m_dir->filePath(QStringLiteral("updates"));
    m_program = m_dir->filePath(QStringLiteral("program"));
    writeFile(m_program + QStringLiteral("/zobrel"), "old program");
    writeFile(m_dir->filePath(QStringLiteral("source/zobrel")), "new program");
    QString error;
    QVERIFY(UpdatePackage::write(m_dir->filePath(QStringLiteral("source")), m_dir->filePath(QStringLiteral("p.zpk")),
                                 &error));
    m_package = readFile(m_dir->filePath(QStringLiteral("p.zpk")));
}

QJsonObject TestUpdateService::manifestPayload(const QString &version, const QByteArray &package,
                                               const QString &packagePath) const
{
    const QJsonObject entry{
        {QStringLiteral("url"), packagePath.mid(1)}, // relative to the manifest
        {QStringLiteral("sha256"),
         QString::fromLatin1(QCryptographicHash::hash(package, QCryptographicHash::Sha256).toHex())},
        {QStringLiteral("size"), double(package.size())}};
    return {{QStringLiteral("type"), QStringLiteral("zobrel-update")},
            {QStringLiteral("product"), QStringLiteral("Zobrel")},
            {QStringLiteral("version"), version},
            {QStringLiteral("released"), QStringLiteral("2025-07-01")},
            {QStringLiteral("notes"), QJsonObject{{QStringLiteral("zh_CN"), QStringLiteral("修复")},
                                                  {QStringLiteral("en_US"), QStringLiteral("Fixes")}}},
            {QStringLiteral("packages"), QJsonObject{{QLatin1String(kPlatform), entry}}}};
}

QByteArray TestUpdateService::publish(const QString &version, const QByteArray &packageBody, const QString &packagePath)
{
    const QByteArray package = packageBody.isEmpty() ? m_package : packageBody;
    m_server->serve(QStringLiteral("/manifest.json"), m_keys.sign(manifestPayload(version, package, packagePath)));
    m_server->serve(packagePath, package);
    QSettings(m_settings, QSettings::IniFormat)
        .setValue(UpdateService::kManifestUrlKey, m_server->url(QStringLiteral("/manifest.json")).toString());
    return package;
}

std::unique_ptr<UpdateService> TestUpdateService::makeService(const QString &current)
{
    auto service = std::make_unique<UpdateService>(m_settings, m_staging, m_program,
                                                   QVersionNumber::fromString(current), m_keys.publicPem);
    service->setPlatform(QLatin1String(kPlatform), UpdateInstallMethod::ReplaceFiles);
    return service;
}

bool TestUpdateService::waitForState(UpdateService &service, UpdateService::State state)
{
    QSignalSpy spy(&service, &UpdateService::stateChanged);
    while (service.state() != state) {
        if (!spy.wait(kWaitMs))
            return false;
    }
    return true;
}

bool TestUpdateService::stagingIsClean() const
{
    for (const QString &dir : {UpdateStaging::pendingDir(m_staging), UpdateStaging::downloadDir(m_staging),
                               UpdateStaging::incomingDir(m_staging)}) {
        if (QFileInfo::exists(dir))
            return false;
    }
    return true;
}

void TestUpdateService::offersOnlyNewerVersions_data()
{
    QTest::addColumn<QString>("offered");
    QTest::addColumn<UpdateService::State>("expected");
    QTest::newRow("newer") << QStringLiteral("0.4.0") << UpdateService::State::Available;
    QTest::newRow("newer patch, more parts") << QStringLiteral("0.3.0.1") << UpdateService::State::Available;
    QTest::newRow("same") << QStringLiteral("0.3.0") << UpdateService::State::UpToDate;
    QTest::newRow("older") << QStringLiteral("0.2.9") << UpdateService::State::UpToDate;
    QTest::newRow("10 after 9") << QStringLiteral("0.10.0") << UpdateService::State::Available;
}

void TestUpdateService::offersOnlyNewerVersions()
{
    QFETCH(QString, offered);
    QFETCH(UpdateService::State, expected);
    publish(offered);
    auto service = makeService();
    QSignalSpy available(service.get(), &UpdateService::updateAvailable);
    service->checkNow();
    QCOMPARE(service->state(), UpdateService::State::Checking); // asynchronous: the GUI goes on
    QVERIFY(waitForState(*service, expected));
    QCOMPARE(available.size(), expected == UpdateService::State::Available ? 1 : 0);
    QCOMPARE(service->manifest().notesFor(QStringLiteral("en_US")), QStringLiteral("Fixes"));
    QCOMPARE(service->package().url, m_server->url(QStringLiteral("/pkg")));
}

void TestUpdateService::refusesBadManifests_data()
{
    QTest::addColumn<QByteArray>("manifest");
    QTest::addColumn<QString>("logged");
    const QJsonObject payload = manifestPayload(QStringLiteral("0.4.0"), m_package, QStringLiteral("/pkg"));
    const QByteArray good = m_keys.sign(payload);
    QTest::newRow("tampered version") << withPayload(good, payloadOf(good).replace("0.4.0", "9.4.0"))
                                      << QStringLiteral("signature does not match");
    QTest::newRow("wrong key") << TestKeys::make().sign(payload) << QStringLiteral("signature does not match");
    QJsonObject unsignedManifest = QJsonDocument::fromJson(good).object();
    unsignedManifest.remove(QStringLiteral("signature"));
    QTest::newRow("unsigned") << QJsonDocument(unsignedManifest).toJson() << QStringLiteral("no \"signature\"");
    QTest::newRow("not JSON") << QByteArray("<html>portal login</html>") << QStringLiteral("not JSON");
    QTest::newRow("oversized") << QByteArray(400 * 1024, '{') << QStringLiteral("more than");
    QJsonObject otherPlatform = payload;
    otherPlatform.insert(
        QStringLiteral("packages"),
        QJsonObject{{QStringLiteral("amiga-m68k"),
                     payload.value(QLatin1String("packages")).toObject().value(QLatin1String(kPlatform))}});
    QTest::newRow("no package for this platform") << m_keys.sign(otherPlatform) << QStringLiteral("no package for");
    QJsonObject badHash = payload;
    QJsonObject packages = badHash.value(QLatin1String("packages")).toObject();
    QJsonObject entry = packages.value(QLatin1String(kPlatform)).toObject();
    entry.insert(QStringLiteral("sha256"), QStringLiteral("abc"));
    packages.insert(QLatin1String(kPlatform), entry);
    badHash.insert(QStringLiteral("packages"), packages);
    QTest::newRow("signed but bad hash field") << m_keys.sign(badHash) << QStringLiteral("sha256");
}

void TestUpdateService::refusesBadManifests()
{
    QFETCH(QByteArray, manifest);
    QFETCH(QString, logged);
    publish(QStringLiteral("0.4.0"));
    m_server->serve(QStringLiteral("/manifest.json"), manifest);
    auto service = makeService();
    testlog::expectLogged(QStringLiteral("Update"), QRegularExpression::escape(logged));
    service->checkNow();
    QVERIFY(waitForState(*service, UpdateService::State::Failed));
    QVERIFY(!service->failure().toString().isEmpty());
    service->download(); // nothing to download
    QCOMPARE(m_server->requestCount(QStringLiteral("/pkg")), 0);
    QVERIFY(stagingIsClean());
}

void TestUpdateService::downloadStagesVerifiedPackageForTheNextStart()
{
    publish(QStringLiteral("0.4.0"));
    auto service = makeService();
    service->checkNow();
    QVERIFY(waitForState(*service, UpdateService::State::Available));
    QVERIFY(service->canInstallHere());
    QSignalSpy progress(service.get(), &UpdateService::progress);
    service->download();
    QCOMPARE(service->state(), UpdateService::State::Downloading);
    QVERIFY(waitForState(*service, UpdateService::State::Ready));
    QVERIFY(!progress.isEmpty());
    QCOMPARE(progress.last().at(0).toLongLong(), qint64(m_package.size()));
    QCOMPARE(progress.last().at(1).toLongLong(), qint64(m_package.size()));

    // Staged, not installed: the running version's files are untouched until the next start.
    QCOMPARE(readFile(m_program + QStringLiteral("/zobrel")), QByteArray("old program"));
    UpdateStaging::Pending pending;
    QString error;
    QVERIFY(UpdateStaging::readPending(m_staging, &pending, &error));
    QCOMPARE(pending.version, QStringLiteral("0.4.0"));
    QVERIFY(!QFileInfo::exists(UpdateStaging::downloadDir(m_staging)));

    // A later check for the same version sees it is already waiting.
    service->checkNow();
    QVERIFY(waitForState(*service, UpdateService::State::Ready));

    QCOMPARE(installPendingUpdate(m_staging, m_program, {}).kind, UpdateInstallOutcome::Kind::Installed);
    QCOMPARE(readFile(m_program + QStringLiteral("/zobrel")), QByteArray("new program"));
}

void TestUpdateService::refusedDownloadsLeaveNothingBehind_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("logged"); // a regular expression
    QTest::newRow("tampered package") << QStringLiteral("tampered") << QStringLiteral("SHA-256");
    // Qt reports the early close, or a body that ends short.
    QTest::newRow("interrupted half-way")
        << QStringLiteral("interrupted") << QStringLiteral("Connection closed|received \\d+ of");
    QTest::newRow("larger than announced") << QStringLiteral("larger") << QStringLiteral("more than");
    QTest::newRow("not found") << QStringLiteral("missing") << QStringLiteral("Not Found");
    QTest::newRow("hash matches, content is no package")
        << QStringLiteral("garbage") << QStringLiteral("not an update package");
}

void TestUpdateService::refusedDownloadsLeaveNothingBehind()
{
    QFETCH(QString, fault);
    QFETCH(QString, logged);
    if (fault == QLatin1String("garbage")) {
        publish(QStringLiteral("0.4.0"), QByteArray("this is not a package, but it is what was signed"));
    } else {
        publish(QStringLiteral("0.4.0"));
        QByteArray body = m_package;
        HttpTestServer::Resource resource;
        if (fault == QLatin1String("tampered")) {
            body[body.size() / 2] = char(body.at(body.size() / 2) ^ 0x55);
            resource.body = body;
        } else if (fault == QLatin1String("interrupted")) {
            resource.body = body;
            resource.sendBytes = body.size() / 2; // then the server closes the connection
        } else if (fault == QLatin1String("larger")) {
            resource.body = body + QByteArray(4096, 'x');
        }
        if (fault == QLatin1String("missing"))
            m_server->serve(QStringLiteral("/elsewhere"), body);
        else
            m_server->serve(QStringLiteral("/pkg"), resource);
        if (fault == QLatin1String("missing"))
            m_server->serve(QStringLiteral("/manifest.json"),
                            m_keys.sign(manifestPayload(QStringLiteral("0.4.0"), m_package, QStringLiteral("/gone"))));
    }
    auto service = makeService();
    service->checkNow();
    QVERIFY(waitForState(*service, UpdateService::State::Available));
    testlog::expectLogged(QStringLiteral("Update"), QStringLiteral("not staged: .*(%1)").arg(logged));
    service->download();
    QVERIFY(waitForState(*service, UpdateService::State::Failed));
    QVERIFY(!service->failure().toString().isEmpty());
    QVERIFY(stagingIsClean());
    QCOMPARE(installPendingUpdate(m_staging, m_program, {}).kind, UpdateInstallOutcome::Kind::Nothing);
    QCOMPARE(readFile(m_program + QStringLiteral("/zobrel")), QByteArray("old program"));
}

void TestUpdateService::cancelledDownloadLeavesNothingBehind()
{
    // Large enough to arrive in pieces: half of it, then silence with the connection open.
    m_package = QByteArray(300 * 1024, 'z'); // never unpacked: cancelled before it is complete
    publish(QStringLiteral("0.4.0"));
    m_server->serve(QStringLiteral("/pkg"), HttpTestServer::Resource{m_package, m_package.size() / 2, true, 16384});
    auto service = makeService();
    service->checkNow();
    QVERIFY(waitForState(*service, UpdateService::State::Available));
    QSignalSpy progress(service.get(), &UpdateService::progress);
    service->download();
    // Qt hands the body on in blocks: some of it has arrived, the rest never will.
    QTRY_VERIFY_WITH_TIMEOUT(!progress.isEmpty() && progress.last().at(0).toLongLong() > 0, kWaitMs);
    QVERIFY(progress.last().at(0).toLongLong() <= m_package.size() / 2);
    QVERIFY(QFileInfo::exists(UpdateStaging::downloadDir(m_staging)));

    service->cancelDownload();
    QCOMPARE(service->state(), UpdateService::State::Available); // offered again
    QVERIFY(stagingIsClean());
    QTRY_COMPARE_WITH_TIMEOUT(m_server->openConnections(), 0, kWaitMs);
}

void TestUpdateService::installerPlatformStagesTheInstaller()
{
    const QByteArray installer("MZ pretend installer");
    publish(QStringLiteral("0.4.0"), installer, QStringLiteral("/zobrel-setup-0.4.0.exe"));
    auto service = makeService();
    service->setPlatform(QLatin1String(kPlatform), UpdateInstallMethod::RunInstaller);
    service->checkNow();
    QVERIFY(waitForState(*service, UpdateService::State::Available));
    service->download();
    QVERIFY(waitForState(*service, UpdateService::State::Ready));
    UpdateStaging::Pending pending;
    QString error;
    QVERIFY(UpdateStaging::readPending(m_staging, &pending, &error));
    QCOMPARE(pending.method, UpdateInstallMethod::RunInstaller);
    QCOMPARE(pending.installer, QStringLiteral("zobrel-setup-0.4.0.exe"));
    QCOMPARE(readFile(QDir(pending.directory).filePath(pending.installer)), installer);
}

void TestUpdateService::startupCheckAtMostOnceADay()
{
    auto service = makeService();
    QDateTime now(QDate(2025, 7, 1), QTime(8, 0), Qt::UTC);
    service->setClock([&now] { return now; });
    // Off while no manifest URL is set.
    QVERIFY(!service->isEnabled());
    QVERIFY(!service->checkAtStartup());

    publish(QStringLiteral("0.3.0"));
    QVERIFY(service->checkAtStartup());
    QVERIFY(waitForState(*service, UpdateService::State::UpToDate));
    now = now.addSecs(23 * 3600);
    QVERIFY(!service->checkAtStartup());
    now = now.addSecs(2 * 3600);
    QVERIFY(service->checkAtStartup());
    QVERIFY(waitForState(*service, UpdateService::State::UpToDate));
    now = now.addSecs(-48 * 3600); // the clock was set back: the stored time is in the future
    QVERIFY(service->checkAtStartup());
    QVERIFY(waitForState(*service, UpdateService::State::UpToDate));
    QCOMPARE(m_server->requestCount(QStringLiteral("/manifest.json")), 3);

    now = now.addDays(10);
    QSettings(m_settings, QSettings::IniFormat).setValue(UpdateService::kAutoCheckKey, false);
    QVERIFY(!service->checkAtStartup());
    service->checkNow(); // the Help menu still works
    QVERIFY(waitForState(*service, UpdateService::State::UpToDate));
    QCOMPARE(m_server->requestCount(QStringLiteral("/manifest.json")), 4);
}

QTEST_GUILESS_MAIN(TestUpdateService)
#include "tst_updateservice.moc"
