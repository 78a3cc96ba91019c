#include "bridge/bridgetls.h"

#include "zobrel_ca_fingerprint.h"

#include "app/log/applogger.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QFile>
#include <QSslCertificateExtension>
#include <QSslKey>
#include <QVariant>

namespace bridgetls {

namespace {

const QString kCategory = QStringLiteral("Bridge");

void logBridge(AppLogger::Level level, const QString &message)
{
    AppLogger::instance().log(level, kCategory, message);
}

// The whole file, or nullopt (logged with prefix) when it cannot be opened.
std::optional<QByteArray> readFile(const QString &path, const QString &failurePrefix, QString *error)
{
    QFile file(path);
    if (path.isEmpty() || !file.open(QIODevice::ReadOnly)) {
        *error = failurePrefix + QLatin1Char(' ') + (path.isEmpty() ? QStringLiteral("(not set)") : path);
        logBridge(AppLogger::Error, QStringLiteral("[Bridge] ") + *error);
        return std::nullopt;
    }
    // Certificates and keys are a few kilobytes; a huge file is not one of them.
    constexpr qint64 kMaxPemBytes = 1024 * 1024;
    return file.read(kMaxPemBytes);
}

QSslKey parseKey(const QByteArray &pem)
{
    for (QSsl::KeyAlgorithm algorithm : {QSsl::Ec, QSsl::Rsa, QSsl::Dsa}) {
        QSslKey key(pem, algorithm, QSsl::Pem, QSsl::PrivateKey);
        if (!key.isNull())
            return key;
    }
    return {};
}

QString normalized(const QString &fingerprintText)
{
    QString out;
    for (QChar c : fingerprintText) {
        if (c.isLetterOrNumber())
            out.append(c.toLower());
    }
    return out;
}

bool checkFingerprint(const QSslCertificate &ca, const QString &expected)
{
    const QString actual = fingerprint(ca);
    if (!expected.isEmpty() && sameFingerprint(expected, actual)) {
        logBridge(AppLogger::Info, QStringLiteral("[Bridge] CA certificate fingerprint verified"));
        return true;
    }
    logBridge(AppLogger::Error, QStringLiteral("[Bridge] CA certificate FINGERPRINT MISMATCH — possible tampering!"));
    logBridge(AppLogger::Error,
              QStringLiteral("[Bridge] Expected: %1")
                  .arg(expected.isEmpty() ? QStringLiteral("(none configured)") : normalized(expected)));
    logBridge(AppLogger::Error, QStringLiteral("[Bridge] Got:     %1").arg(actual));
    return false;
}

QString extensionText(const QSslCertificate &certificate, const char *oid, const char *mapKey)
{
    for (const QSslCertificateExtension &extension : certificate.extensions()) {
        if (extension.oid() != QLatin1String(oid))
            continue;
        const QVariant value = extension.value();
        return normalized(mapKey ? value.toMap().value(QLatin1String(mapKey)).toString() : value.toString());
    }
    return {};
}

// The server certificate's authority key id names the CA's key; without those extensions, the
// issuer's name must be the CA's. (Signatures are checked by every agent at each handshake; this
// catches a mismatched set before the server starts. Qt's own chain check would load the whole
// system store each time.)
bool issuedBy(const QSslCertificate &server, const QSslCertificate &ca)
{
    const QString authorityKey = extensionText(server, "2.5.29.35", "keyid");
    const QString caKey = extensionText(ca, "2.5.29.14", nullptr);
    if (!authorityKey.isEmpty() && !caKey.isEmpty())
        return authorityKey == caKey;
    return server.issuerDisplayName() == ca.subjectDisplayName() &&
           server.issuerInfo(QSslCertificate::Organization) == ca.subjectInfo(QSslCertificate::Organization);
}

// Why the pair cannot serve, or empty when it can. A key that does not belong to the certificate
// is only noticed by the first handshake: Qt offers no way to compare them here.
QString identityProblem(const QSslCertificate &ca, const QSslCertificate &server, const QSslKey &key)
{
    if (ca.isNull())
        return QStringLiteral("the CA certificate does not parse");
    if (server.isNull())
        return QStringLiteral("the server certificate does not parse");
    if (key.isNull())
        return QStringLiteral("the private key does not parse (or is encrypted)");
    if (!issuedBy(server, ca))
        return QStringLiteral("the server certificate was not issued by the CA");
    const QDateTime now = QDateTime::currentDateTimeUtc();
    if (server.expiryDate() < now || server.effectiveDate() > now)
        return QStringLiteral("the server certificate is not valid now");
    return {};
}

} // namespace

QString builtInCaFingerprint()
{
    return QString::fromLatin1(kBuiltInCaFingerprint);
}

QString fingerprint(const QSslCertificate &certificate)
{
    return QString::fromLatin1(certificate.digest(QCryptographicHash::Sha256).toHex());
}

bool sameFingerprint(const QString &a, const QString &b)
{
    return !normalized(a).isEmpty() && normalized(a) == normalized(b);
}

std::optional<QSslConfiguration> loadServerConfiguration(const BridgeCertificateFiles &files, QString *error)
{
    QString ignored;
    if (!error)
        error = &ignored;
    const bool builtIn = files.usesBuiltIn();
    const QString caPath = builtIn ? QString::fromLatin1(kBuiltInCaPath) : files.caFile;
    const QString certPath = builtIn ? QString::fromLatin1(kBuiltInCertPath) : files.certFile;
    const QString keyPath = builtIn ? QString::fromLatin1(kBuiltInKeyPath) : files.keyFile;

    const auto caPem = readFile(caPath, QStringLiteral("Cannot open CA cert:"), error);
    if (!caPem)
        return std::nullopt;
    const QList<QSslCertificate> cas = QSslCertificate::fromData(*caPem, QSsl::Pem);
    const QSslCertificate ca = cas.value(0);
    if (!ca.isNull() && !checkFingerprint(ca, builtIn ? builtInCaFingerprint() : files.expectedCaFingerprint)) {
        *error = QStringLiteral("CA certificate fingerprint mismatch");
        return std::nullopt;
    }
    const auto certPem = readFile(certPath, QStringLiteral("Cannot open server cert:"), error);
    if (!certPem)
        return std::nullopt;
    const auto keyPem = readFile(keyPath, QStringLiteral("Cannot open server key:"), error);
    if (!keyPem)
        return std::nullopt;

    const QSslCertificate server = QSslCertificate::fromData(*certPem, QSsl::Pem).value(0);
    const QSslKey key = parseKey(*keyPem);
    const QString problem = identityProblem(ca, server, key);
    if (!problem.isEmpty()) {
        logBridge(AppLogger::Error, QStringLiteral("[Bridge] Invalid certificate or key"));
        *error = QStringLiteral("Invalid certificate or key: %1").arg(problem);
        return std::nullopt;
    }

    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificateChain({server, ca});
    configuration.setPrivateKey(key);
    configuration.setProtocol(QSsl::TlsV1_2OrLater);
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    logBridge(AppLogger::Info, QStringLiteral("[Bridge] TLS certificates loaded successfully"));
    return configuration;
}

QSslConfiguration clientConfiguration(const QList<QSslCertificate> &caCertificates)
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setCaCertificates(caCertificates);
    configuration.setPeerVerifyMode(QSslSocket::VerifyPeer);
    configuration.setProtocol(QSsl::TlsV1_2OrLater);
    return configuration;
}

QList<QSslCertificate> readCertificates(const QString &path, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot open %1: %2").arg(path, file.errorString());
        return {};
    }
    const QList<QSslCertificate> certificates = QSslCertificate::fromData(file.read(1024 * 1024), QSsl::Pem);
    if (certificates.isEmpty())
        *error = QStringLiteral("no PEM certificate in %1").arg(path);
    return certificates;
}

bool isExpectedForSelfSigned(QSslError::SslError error)
{
    switch (error) {
    case QSslError::SelfSignedCertificate:
    case QSslError::SelfSignedCertificateInChain:
    case QSslError::UnableToGetLocalIssuerCertificate:
    case QSslError::UnableToGetIssuerCertificate:
    case QSslError::UnableToVerifyFirstCertificate:
    case QSslError::CertificateUntrusted:
        return true;
    default:
        return false;
    }
}

bool isIgnoredByAgent(QSslError::SslError error)
{
    return error == QSslError::HostNameMismatch;
}

} // namespace bridgetls
