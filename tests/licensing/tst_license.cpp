#include "testkeys.h"

#include "licensing/license.h"
#include "licensing/licensemanager.h"
#include "licensing/machineid.h"
#include "tests/support/logexpect.h"

#include <QFile>
#include <QJsonArray>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QDate kToday(2025, 6, 15);
const QString kThisMachine = machineIdFromSystemId("this machine");

QJsonObject licensePayload(const QStringList &features = {QStringLiteral("bridge-server")})
{
    License license;
    license.id = QStringLiteral("ZB-TEST-1");
    license.licensee = QStringLiteral("Test Flight School");
    license.features = features;
    license.issued = QDate(2025, 1, 1);
    return license.toJson();
}

} // namespace

Q_DECLARE_METATYPE(LicenseCheck::Status)

class TestLicense : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void verifyOutcomes_data();
    void verifyOutcomes();
    void admission_data();
    void admission();
    void refusedLicenceLeavesTheInstalledOne();
    void licenceExpiringWhileRunningFallsBackToEvaluation();
    void machineIdIsStableReadableAndNormalised();

private:
    // A manager whose licence file holds licenseText (none when empty), loaded, on kToday.
    LicenseManager *managerWith(const QByteArray &licenseText);

    TestKeys m_keys;
    TestKeys m_otherKeys;
    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestLicense::initTestCase()
{
    m_keys = TestKeys::make();
    m_otherKeys = TestKeys::make();
}

void TestLicense::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    testlog::failOnLoggedProblems();
    m_dir = std::make_unique<QTemporaryDir>();
}

void TestLicense::verifyOutcomes_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<LicenseCheck::Status>("expected");
    using S = LicenseCheck::Status;

    const QByteArray valid = m_keys.sign(licensePayload());
    QTest::newRow("valid") << valid << S::Valid;

    QByteArray payload = payloadOf(valid);
    payload[payload.indexOf("Test") + 1] = 'E'; // "TEst Flight School"
    QTest::newRow("tampered byte") << withPayload(valid, payload) << S::BadSignature;
    QTest::newRow("tampered feature") << withPayload(valid, payloadOf(valid).replace("bridge-server",
                                                                                     "bridge-server\",\"agents:99"))
                                      << S::BadSignature;
    QTest::newRow("wrong key") << m_otherKeys.sign(licensePayload()) << S::BadSignature;

    QJsonObject expiring = licensePayload();
    expiring.insert(QStringLiteral("expires"), kToday.toString(Qt::ISODate));
    QTest::newRow("last valid day") << m_keys.sign(expiring) << S::Valid;
    expiring.insert(QStringLiteral("expires"), kToday.addDays(-1).toString(Qt::ISODate));
    QTest::newRow("expired") << m_keys.sign(expiring) << S::Expired;

    QJsonObject bound = licensePayload();
    bound.insert(QStringLiteral("machine"), machineIdFromSystemId("another machine"));
    QTest::newRow("other machine") << m_keys.sign(bound) << S::OtherMachine;
    bound.insert(QStringLiteral("machine"), kThisMachine.toLower().remove(QLatin1Char('-')));
    QTest::newRow("this machine, typed loosely") << m_keys.sign(bound) << S::Valid;

    QTest::newRow("malformed JSON") << QByteArray("{\"payload\": \"eyJ0eXBlIjo") << S::Malformed;
    QTest::newRow("not an envelope") << QByteArray("[1, 2]") << S::Malformed;
    QJsonObject unsignedEnvelope = QJsonDocument::fromJson(valid).object();
    unsignedEnvelope.remove(QStringLiteral("signature"));
    QTest::newRow("missing signature") << QJsonDocument(unsignedEnvelope).toJson() << S::MissingSignature;
    unsignedEnvelope.insert(QStringLiteral("signature"), QString());
    QTest::newRow("empty signature") << QJsonDocument(unsignedEnvelope).toJson() << S::MissingSignature;
    unsignedEnvelope.insert(QStringLiteral("signature"), QStringLiteral("not*base64"));
    QTest::newRow("garbled signature") << QJsonDocument(unsignedEnvelope).toJson() << S::BadSignature;

    QJsonObject manifest = licensePayload();
    manifest.insert(QStringLiteral("type"), QStringLiteral("zobrel-update"));
    QTest::newRow("signed manifest, not a licence") << m_keys.sign(manifest) << S::Malformed;
    QJsonObject nameless = licensePayload();
    nameless.remove(QStringLiteral("licensee"));
    QTest::newRow("signed without licensee") << m_keys.sign(nameless) << S::Malformed;
    QTest::newRow("oversized") << QByteArray(300 * 1024, ' ') << S::Malformed;
}

void TestLicense::verifyOutcomes()
{
    QFETCH(QByteArray, text);
    QFETCH(LicenseCheck::Status, expected);
    const LicenseCheck check = LicenseCheck::verify(text, m_keys.publicPem, kThisMachine, kToday);
    QCOMPARE(check.status, expected);
    // Every outcome has its own sentence for the operator, and refusals say what was found.
    QVERIFY(!check.message().isEmpty());
    if (expected == LicenseCheck::Status::Valid)
        QCOMPARE(check.license.licensee, QStringLiteral("Test Flight School"));
    else
        QVERIFY2(!check.detail.isEmpty(), "a refusal carries a detail for the log");
}

LicenseManager *TestLicense::managerWith(const QByteArray &licenseText)
{
    const QString path = m_dir->filePath(QStringLiteral("Zobrel.lic"));
    if (!licenseText.isEmpty()) {
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write(licenseText);
    }
    auto *manager = new LicenseManager(path, m_keys.publicPem, kThisMachine, this);
    manager->setClock([] { return kToday; });
    manager->load();
    return manager;
}

void TestLicense::admission_data()
{
    QTest::addColumn<QByteArray>("licence");
    QTest::addColumn<int>("admitted"); // agents admitted before the first refusal; -1 none refused up to 500
    QTest::addColumn<bool>("unlicensedAgentsRefused");

    QTest::newRow("evaluation: no licence") << QByteArray() << 2 << false;
    QTest::newRow("agents:5") << m_keys.sign(
                                     licensePayload({QStringLiteral("bridge-server"), QStringLiteral("agents:5")}))
                              << 5 << false;
    QTest::newRow("bridge-server without a limit") << m_keys.sign(licensePayload()) << -1 << false;
    QTest::newRow("no bridge-server feature")
        << m_keys.sign(licensePayload({QStringLiteral("agents:10")})) << 2 << false;
    QTest::newRow("licensed agents only")
        << m_keys.sign(licensePayload(
               {QStringLiteral("bridge-server"), QStringLiteral("agents:3"), QStringLiteral("licensed-agents-only")}))
        << 3 << true;
    QJsonObject expired = licensePayload({QStringLiteral("bridge-server"), QStringLiteral("agents:50")});
    expired.insert(QStringLiteral("expires"), QStringLiteral("2024-12-31"));
    QTest::newRow("expired: evaluation again") << m_keys.sign(expired) << 2 << false;
}

void TestLicense::admission()
{
    QFETCH(QByteArray, licence);
    QFETCH(int, admitted);
    QFETCH(bool, unlicensedAgentsRefused);
    if (QTest::currentDataTag() == QLatin1String("expired: evaluation again"))
        testlog::expectLogged(QStringLiteral("Licence"), QStringLiteral("refused"));
    LicenseManager *manager = managerWith(licence);

    int count = 0;
    while (count < 500 && manager->admitAgent(QStringLiteral("ZB-AGENT"), true, count).accepted)
        ++count;
    QCOMPARE(count, admitted < 0 ? 500 : admitted);
    if (admitted >= 0) {
        const LicenseManager::Admission refusal = manager->admitAgent(QStringLiteral("ZB-AGENT"), true, admitted);
        QCOMPARE(refusal.reason, QStringLiteral("agent_limit"));
        QVERIFY2(refusal.message.contains(QString::number(admitted)), qPrintable(refusal.message));
    }
    const LicenseManager::Admission unlicensed = manager->admitAgent(QString(), false, 0);
    QCOMPARE(!unlicensed.accepted, unlicensedAgentsRefused);
    if (unlicensedAgentsRefused)
        QCOMPARE(unlicensed.reason, QStringLiteral("agent_unlicensed"));
}

void TestLicense::refusedLicenceLeavesTheInstalledOne()
{
    const QByteArray good = m_keys.sign(licensePayload({QStringLiteral("bridge-server"), QStringLiteral("agents:4")}));
    LicenseManager *manager = managerWith(QByteArray());
    QVERIFY(manager->isEvaluation());

    const QString offered = m_dir->filePath(QStringLiteral("offered.lic"));
    QFile file(offered);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(good);
    file.close();
    QVERIFY(manager->install(offered).isValid());
    QCOMPARE(manager->maxAgents(), 4);

    QFile installed(manager->licensePath());
    QVERIFY(installed.open(QIODevice::ReadOnly));
    QCOMPARE(installed.readAll(), good);
    installed.close();

    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(m_otherKeys.sign(licensePayload({QStringLiteral("bridge-server")})));
    file.close();
    testlog::expectLogged(QStringLiteral("Licence"), QStringLiteral("not installed"));
    QCOMPARE(manager->install(offered).status, LicenseCheck::Status::BadSignature);
    QCOMPARE(manager->maxAgents(), 4);
    QVERIFY(installed.open(QIODevice::ReadOnly));
    QCOMPARE(installed.readAll(), good);

    testlog::expectLogged(QStringLiteral("Licence"), QStringLiteral("not installed"));
    QCOMPARE(manager->install(m_dir->filePath(QStringLiteral("missing.lic"))).status, LicenseCheck::Status::Malformed);
    QVERIFY(!manager->isEvaluation());
}

void TestLicense::licenceExpiringWhileRunningFallsBackToEvaluation()
{
    QJsonObject payload = licensePayload({QStringLiteral("bridge-server"), QStringLiteral("agents:8")});
    payload.insert(QStringLiteral("expires"), kToday.toString(Qt::ISODate));
    LicenseManager *manager = managerWith(m_keys.sign(payload));
    QCOMPARE(manager->maxAgents(), 8);
    manager->setClock([] { return kToday.addDays(1); });
    QCOMPARE(manager->current().status, LicenseCheck::Status::Expired);
    QCOMPARE(manager->maxAgents(), LicenseManager::kEvaluationAgents);
}

void TestLicense::machineIdIsStableReadableAndNormalised()
{
    const QString id = machineIdFromSystemId("3f2a9c1e0b7d4e55a1c2d3e4f5a6b7c8");
    QCOMPARE(machineIdFromSystemId("3f2a9c1e0b7d4e55a1c2d3e4f5a6b7c8\n"), id);
    QVERIFY2(
        QRegularExpression(QStringLiteral("^[0-9A-HJKMNP-TV-Z]{5}(-[0-9A-HJKMNP-TV-Z]{5}){3}$")).match(id).hasMatch(),
        qPrintable(id));
    QVERIFY(machineIdFromSystemId("3f2a9c1e0b7d4e55a1c2d3e4f5a6b7c9") != id);
    QVERIFY(machineIdFromSystemId("").isEmpty());
    QVERIFY(!currentMachineId().isEmpty());
    QString typed = id.toLower();
    typed.replace(QLatin1Char('-'), QLatin1Char(' '));
    QCOMPARE(normalizedMachineId(typed), id);
    // Read out over the telephone, a zero may come back as the letter O.
    if (id.contains(QLatin1Char('0')))
        QCOMPARE(normalizedMachineId(QString(id).replace(QLatin1Char('0'), QLatin1Char('O'))), id);
}

QTEST_GUILESS_MAIN(TestLicense)
#include "tst_license.moc"
