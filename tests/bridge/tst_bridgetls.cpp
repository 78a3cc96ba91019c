#include "tlstestclient.h"

#include "bridge/bridgeserver.h"
#include "tests/support/logexpect.h"

#include <QCryptographicHash>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

// The bridge's certificates: the compiled-in set and its fingerprint, the operator's own files,
// and what an outside TLS client (openssl s_client) and a client with another CA see.
class TestBridgeTls : public QObject
{
    Q_OBJECT
private:
    QTemporaryDir m_dir;

    static QString foreign(const char *name) { return QStringLiteral(FOREIGN_CERT_DIR "/") + QLatin1String(name); }

    // The SHA-256 of the first certificate's DER, computed here from the PEM text.
    static QString derSha256(const QString &pemPath)
    {
        QFile file(pemPath);
        if (!file.open(QIODevice::ReadOnly))
            return {};
        const QString pem = QString::fromLatin1(file.readAll());
        const qsizetype begin = pem.indexOf("-----BEGIN CERTIFICATE-----");
        const qsizetype end = pem.indexOf("-----END CERTIFICATE-----");
        const QString body = pem.mid(begin + 27, end - begin - 27).remove('\n').remove('\r');
        return QCryptographicHash::hash(QByteArray::fromBase64(body.toLatin1()), QCryptographicHash::Sha256).toHex();
    }

    QString extractBuiltInCa()
    {
        const QString path = m_dir.filePath("built-in-ca.crt");
        QFile::remove(path);
        QFile::copy(bridgetls::kBuiltInCaPath, path);
        return path;
    }

    static BridgeCertificateFiles foreignFiles(const QString &fingerprint)
    {
        return {foreign("foreign-ca.crt"), foreign("foreign-server.crt"), foreign("foreign-server.key"), fingerprint};
    }

    // Runs openssl s_client against the port; its output once it has finished.
    static QString sClient(quint16 port, const QString &caFile)
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(OPENSSL_EXECUTABLE, {"s_client", "-connect", QStringLiteral("127.0.0.1:%1").arg(port), "-CAfile",
                                           caFile, "-showcerts", "-verify_return_error"});
        if (!process.waitForStarted(5000))
            return QStringLiteral("openssl did not start");
        process.closeWriteChannel(); // s_client ends when its input does
        // The server runs on this thread: keep its event loop turning while openssl talks to it.
        QSignalSpy finished(&process, &QProcess::finished);
        if (!finished.wait(10000))
            process.kill();
        return QString::fromLocal8Bit(process.readAll());
    }

private slots:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    void init()
    {
        QTest::failOnWarning(QRegularExpression(".*"));
        testlog::failOnLoggedProblems();
    }

    void builtInSetVerifies()
    {
        const QString ca = extractBuiltInCa();
        QCOMPARE(bridgetls::builtInCaFingerprint(), derSha256(ca));
        QString error;
        QVERIFY(bridgetls::loadServerConfiguration({}, &error));
        QVERIFY2(error.isEmpty(), qPrintable(error));
    }

    void fingerprintMismatchStopsTheServer_data()
    {
        QTest::addColumn<QString>("expected");
        QTest::newRow("other certificate") << QString(64, 'a');
        QTest::newRow("none configured") << QString();
    }
    void fingerprintMismatchStopsTheServer()
    {
        QFETCH(QString, expected);
        BridgeServer server;
        server.setCertificateFiles(foreignFiles(expected));
        QSignalSpy errors(&server, &BridgeServer::serverError);
        testlog::expectLogged("Bridge", "CA certificate FINGERPRINT MISMATCH — possible tampering!");
        testlog::expectLogged("Bridge", "Expected: ");
        testlog::expectLogged("Bridge", QStringLiteral("Got:     %1").arg(derSha256(foreign("foreign-ca.crt"))));
        testlog::expectLogged("Bridge", "Cannot start server:");
        QVERIFY(!server.start(0));
        QVERIFY(!server.isRunning());
        QCOMPARE(errors.count(), 1);
    }

    void operatorFilesReplaceTheBuiltInSet()
    {
        BridgeServer server;
        // Colons and upper case, as openssl prints it, are accepted.
        QString fingerprint = derSha256(foreign("foreign-ca.crt")).toUpper();
        for (int i = fingerprint.size() - 2; i > 0; i -= 2)
            fingerprint.insert(i, ':');
        server.setCertificateFiles(foreignFiles(fingerprint));
        QVERIFY(server.start(0));

        QString error;
        TlsTestClient trusting(bridgetls::readCertificates(foreign("foreign-ca.crt"), &error));
        QVERIFY(trusting.connectTo(server.port()));
        QCOMPARE(TlsTestClient::type(trusting.registerAs("a1")), QString("heartbeat_ack"));

        // A client holding the built-in CA refuses this server.
        TlsTestClient builtIn;
        QSignalSpy sslErrors(&builtIn.socket, &QSslSocket::sslErrors);
        testlog::expectLogged("Bridge", "SSL handshake rejected");
        QVERIFY(!builtIn.connectTo(server.port()));
        QVERIFY(!sslErrors.isEmpty());
        QTRY_COMPARE(server.connectionCount(), 1);
    }

    void badFilesAreReported_data()
    {
        QTest::addColumn<QString>("ca");
        QTest::addColumn<QString>("cert");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("logged");
        const QString missing = QStringLiteral("/nonexistent/file.pem");
        QTest::newRow("no CA") << missing << foreign("foreign-server.crt") << foreign("foreign-server.key")
                               << "Cannot open CA cert: /nonexistent";
        QTest::newRow("no cert") << foreign("foreign-ca.crt") << missing << foreign("foreign-server.key")
                                 << "Cannot open server cert: /nonexistent";
        QTest::newRow("no key") << foreign("foreign-ca.crt") << foreign("foreign-server.crt") << missing
                                << "Cannot open server key: /nonexistent";
        QTest::newRow("key is a certificate") << foreign("foreign-ca.crt") << foreign("foreign-server.crt")
                                              << foreign("foreign-ca.crt") << "Invalid certificate or key";
        QTest::newRow("server cert from another CA")
            << foreign("foreign-ca.crt") << QString(":/certs/zobrel-server.crt") << QString(":/certs/zobrel-server.key")
            << "Invalid certificate or key";
    }
    void badFilesAreReported()
    {
        QFETCH(QString, ca);
        QFETCH(QString, cert);
        QFETCH(QString, key);
        QFETCH(QString, logged);
        BridgeServer server;
        server.setCertificateFiles({ca, cert, key, derSha256(foreign("foreign-ca.crt"))});
        testlog::expectLogged("Bridge", logged);
        testlog::expectLogged("Bridge", "Cannot start server:");
        QVERIFY(!server.start(0));
    }

    void openSslSeesTheChain()
    {
        BridgeServer server;
        QVERIFY(server.start(0));
        const QString output = sClient(server.port(), extractBuiltInCa());
        QVERIFY2(output.contains("Verify return code: 0 (ok)"), qPrintable(output));
        QCOMPARE(output.count("-----BEGIN CERTIFICATE-----"), 2);
        QVERIFY2(output.contains(QRegularExpression("0 s:.*CN ?= ?Zobrel Bridge Server")), qPrintable(output));
        QVERIFY2(output.contains(QRegularExpression("i:.*CN ?= ?Zobrel Bridge CA")), qPrintable(output));
        QVERIFY2(output.contains(QRegularExpression("1 s:.*CN ?= ?Zobrel Bridge CA")), qPrintable(output));

        // Against a CA it does not know, openssl's verification fails.
        testlog::expectLogged("Bridge", "SSL handshake rejected");
        const QString foreignView = sClient(server.port(), foreign("foreign-ca.crt"));
        QVERIFY2(!foreignView.contains("Verify return code: 0 (ok)"), qPrintable(foreignView));
        QVERIFY2(foreignView.contains("verify error"), qPrintable(foreignView));
        QTRY_COMPARE(server.connectionCount(), 0);
    }
};

QTEST_GUILESS_MAIN(TestBridgeTls)
#include "tst_bridgetls.moc"
