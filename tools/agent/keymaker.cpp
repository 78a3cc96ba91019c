#include "tools/agent/keymaker.h"

#include "bridge/bridgeserversettings.h"
#include "bridge/bridgetls.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>

namespace {

constexpr int kOpenSslTimeoutMs = 30000;

bool runOpenSsl(const QString &dir, const QStringList &arguments, QString *error)
{
    QProcess process;
    process.setWorkingDirectory(dir);
    process.start(QStringLiteral("openssl"), arguments);
    if (!process.waitForStarted(kOpenSslTimeoutMs)) {
        *error = QStringLiteral("cannot run openssl (%1); install OpenSSL and put it on the PATH")
                     .arg(process.errorString());
        return false;
    }
    if (!process.waitForFinished(kOpenSslTimeoutMs) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        *error = QStringLiteral("openssl %1 failed: %2")
                     .arg(arguments.value(0), QString::fromLocal8Bit(process.readAllStandardError()).trimmed());
        return false;
    }
    return true;
}

} // namespace

bool makeKeySet(const QString &dirPath, KeySet *keys, QString *error)
{
    QDir dir(dirPath);
    if (!dir.mkpath(QStringLiteral("."))) {
        *error = QStringLiteral("cannot create %1").arg(dirPath);
        return false;
    }
    keys->caFile = dir.absoluteFilePath(QStringLiteral("zobrel-ca.crt"));
    keys->caKeyFile = dir.absoluteFilePath(QStringLiteral("zobrel-ca.key"));
    keys->certFile = dir.absoluteFilePath(QStringLiteral("zobrel-server.crt"));
    keys->keyFile = dir.absoluteFilePath(QStringLiteral("zobrel-server.key"));
    for (const QString &file : {keys->caFile, keys->caKeyFile, keys->certFile, keys->keyFile}) {
        if (QFile::exists(file)) {
            *error = QStringLiteral("%1 exists already; choose an empty folder").arg(file);
            return false;
        }
    }
    const QString extFile = dir.absoluteFilePath(QStringLiteral("zobrel-server.ext"));
    const QString csrFile = dir.absoluteFilePath(QStringLiteral("zobrel-server.csr"));
    {
        QFile ext(extFile);
        if (!ext.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            *error = QStringLiteral("cannot write %1").arg(extFile);
            return false;
        }
        // Agents check the chain, not the name; the names serve other clients on this machine.
        ext.write("basicConstraints=critical,CA:FALSE\n"
                  "keyUsage=critical,digitalSignature\n"
                  "extendedKeyUsage=serverAuth\n"
                  "subjectAltName=DNS:localhost,IP:127.0.0.1,IP:::1\n");
    }
    const QString serial = QStringLiteral("0x%1").arg(QRandomGenerator::system()->generate64() & 0x7fffffffffffffffULL,
                                                      16, 16, QLatin1Char('0'));
    const QList<QStringList> steps{
        {"genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out", keys->caKeyFile},
        {"req", "-x509", "-new", "-key", keys->caKeyFile, "-sha256", "-days", "3650", "-subj",
         "/O=Zobrel/CN=Zobrel Bridge CA", "-addext", "basicConstraints=critical,CA:TRUE", "-addext",
         "keyUsage=critical,keyCertSign,cRLSign", "-out", keys->caFile},
        {"genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out", keys->keyFile},
        {"req", "-new", "-key", keys->keyFile, "-subj", "/O=Zobrel/CN=Zobrel Bridge Server", "-out", csrFile},
        {"x509", "-req", "-in", csrFile, "-CA", keys->caFile, "-CAkey", keys->caKeyFile, "-set_serial", serial, "-days",
         "1825", "-sha256", "-extfile", extFile, "-out", keys->certFile},
    };
    bool ok = true;
    for (const QStringList &step : steps) {
        if (!(ok = runOpenSsl(dir.absolutePath(), step, error)))
            break;
    }
    QFile::remove(extFile);
    QFile::remove(csrFile);
    if (!ok)
        return false;
    for (const QString &key : {keys->caKeyFile, keys->keyFile})
        QFile::setPermissions(key, QFile::ReadOwner | QFile::WriteOwner);
    const QList<QSslCertificate> ca = bridgetls::readCertificates(keys->caFile, error);
    if (ca.isEmpty())
        return false;
    keys->fingerprint = bridgetls::fingerprint(ca.first());
    return true;
}

QString instructorSettingsText(const KeySet &keys)
{
    const auto line = [](const char *key, const QString &value) {
        return QStringLiteral("%1=%2\n").arg(QLatin1String(key), value);
    };
    return line(BridgeServerSettings::kCaFileKey, QDir::fromNativeSeparators(keys.caFile)) +
           line(BridgeServerSettings::kCertFileKey, QDir::fromNativeSeparators(keys.certFile)) +
           line(BridgeServerSettings::kKeyFileKey, QDir::fromNativeSeparators(keys.keyFile)) +
           line(BridgeServerSettings::kCaFingerprintKey, keys.fingerprint);
}
