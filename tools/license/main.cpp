// zobrel-license: issues licences and signs update manifests with the vendor's private key.
// Run without arguments for the commands.
#include "documentsigner.h"

#include "licensing/license.h"
#include "licensing/machineid.h"
#include "licensing/updatemanifest.h"
#include "licensing/updatepackage.h"
#include "licensing/vendorkey.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QSaveFile>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr int kExitUsage = 2;
constexpr char kKeyEnvironment[] = "ZOBREL_VENDOR_KEY";

constexpr char kUsage[] =
    "Usage: zobrel-license <command> [options]\n"
    "\n"
    "  keygen <private.pem> <public.pem>\n"
    "      Makes a vendor key pair. Keep the private key off the build machines; give the public\n"
    "      key to release builds with -DZOBREL_VENDOR_PUBLIC_KEY=<public.pem>.\n"
    "  issue --key <private.pem> --licensee <name> [--id <id>] [--machine <machine id>]\n"
    "        [--feature <word>]... [--expires <YYYY-MM-DD> | --days <n>] --out <file.lic>\n"
    "      Issues a licence. Features: bridge-server, agents:N, licensed-agents-only.\n"
    "  show [--public <public.pem>] <file.lic>\n"
    "      Prints a licence and checks it (against the station's compiled-in key by default).\n"
    "  machine-id\n"
    "      Prints this machine's id, as the station's licence dialog shows it.\n"
    "  pack <program folder> <package file>\n"
    "      Packs a program folder into an update package; prints its size and SHA-256.\n"
    "  manifest --key <private.pem> <manifest source.json> <signed manifest>\n"
    "      Signs an update manifest. In the source, a package may give \"file\" (a path relative\n"
    "      to the source) instead of \"sha256\" and \"size\"; they are filled in from the file.\n"
    "\n"
    "The private key may also come from the environment variable ZOBREL_VENDOR_KEY.\n";

int fail(const QString &message)
{
    std::fprintf(stderr, "zobrel-license: %s\n", message.toLocal8Bit().constData());
    return EXIT_FAILURE;
}

bool readFile(const QString &path, QByteArray *data, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("%1: %2").arg(path, file.errorString());
        return false;
    }
    *data = file.readAll();
    return true;
}

bool writeFile(const QString &path, const QByteArray &data, QString *error)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.commit()) {
        *error = QStringLiteral("%1: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}

bool readPrivateKey(const QCommandLineParser &parser, QByteArray *key, QString *error)
{
    QString path = parser.value(QStringLiteral("key"));
    if (path.isEmpty())
        path = qEnvironmentVariable(kKeyEnvironment);
    if (path.isEmpty()) {
        *error = QStringLiteral("no private key: pass --key or set %1").arg(QLatin1String(kKeyEnvironment));
        return false;
    }
    if (!readFile(path, key, error))
        return false;
    if (DocumentSigner::publicKeyOf(*key).isEmpty()) {
        *error = QStringLiteral("%1 is not an Ed25519 private key").arg(path);
        return false;
    }
    return true;
}

int keygen(const QStringList &args)
{
    if (args.size() != 2)
        return fail(QStringLiteral("keygen needs <private.pem> <public.pem>"));
    for (const QString &path : args) {
        if (QFileInfo::exists(path))
            return fail(QStringLiteral("%1 exists; a key is never overwritten").arg(path));
    }
    QByteArray privatePem, publicPem;
    QString error;
    if (!DocumentSigner::generateKeyPair(&privatePem, &publicPem))
        return fail(QStringLiteral("libcrypto could not make a key pair"));
    if (!writeFile(args[0], privatePem, &error) || !writeFile(args[1], publicPem, &error))
        return fail(error);
    QFile::setPermissions(args[0], QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    std::printf("Private key: %s\nPublic key:  %s\n", qPrintable(args[0]), qPrintable(args[1]));
    return EXIT_SUCCESS;
}

int issue(const QCommandLineParser &parser)
{
    QByteArray key;
    QString error;
    if (!readPrivateKey(parser, &key, &error))
        return fail(error);
    License license;
    license.licensee = parser.value(QStringLiteral("licensee")).trimmed();
    const QString out = parser.value(QStringLiteral("out"));
    if (license.licensee.isEmpty() || out.isEmpty())
        return fail(QStringLiteral("issue needs --licensee and --out"));
    license.id = parser.value(QStringLiteral("id")).trimmed();
    const QDate today = QDateTime::currentDateTimeUtc().date();
    if (license.id.isEmpty())
        license.id = QStringLiteral("ZB-%1-%2")
                         .arg(today.toString(QStringLiteral("yyyyMMdd")))
                         .arg(QRandomGenerator::system()->bounded(0x1000000), 6, 16, QLatin1Char('0'))
                         .toUpper();
    license.machineId = normalizedMachineId(parser.value(QStringLiteral("machine")));
    license.features = parser.values(QStringLiteral("feature"));
    license.issued = today;
    if (parser.isSet(QStringLiteral("expires"))) {
        license.expires = QDate::fromString(parser.value(QStringLiteral("expires")), Qt::ISODate);
        if (!license.expires.isValid())
            return fail(QStringLiteral("--expires needs a YYYY-MM-DD date"));
    } else if (parser.isSet(QStringLiteral("days"))) {
        bool ok = false;
        const int days = parser.value(QStringLiteral("days")).toInt(&ok);
        if (!ok)
            return fail(QStringLiteral("--days needs a number"));
        license.expires = today.addDays(days);
    }
    const QByteArray document = DocumentSigner::signDocument(key, license.toJson());
    if (document.isEmpty() || !writeFile(out, document, &error))
        return fail(error.isEmpty() ? QStringLiteral("signing failed") : error);
    std::printf("Licence %s for \"%s\" written to %s\n", qPrintable(license.id), qPrintable(license.licensee),
                qPrintable(out));
    return EXIT_SUCCESS;
}

int show(const QCommandLineParser &parser, const QStringList &args)
{
    if (args.size() != 1)
        return fail(QStringLiteral("show needs <file.lic>"));
    QByteArray text, publicKey = vendorPublicKeyPem();
    QString error;
    if (!readFile(args[0], &text, &error))
        return fail(error);
    if (parser.isSet(QStringLiteral("public")) && !readFile(parser.value(QStringLiteral("public")), &publicKey, &error))
        return fail(error);
    const LicenseCheck check =
        LicenseCheck::verify(text, publicKey, currentMachineId(), QDateTime::currentDateTimeUtc().date());
    const License &l = check.license;
    if (!l.id.isEmpty()) {
        std::printf("id:        %s\nlicensee:  %s\nmachine:   %s\nfeatures:  %s\nissued:    %s\nexpires:   %s\n",
                    qPrintable(l.id), qPrintable(l.licensee), qPrintable(l.machineId.isEmpty() ? "any" : l.machineId),
                    qPrintable(l.features.join(QLatin1String(", "))), qPrintable(l.issued.toString(Qt::ISODate)),
                    qPrintable(l.expires.isValid() ? l.expires.toString(Qt::ISODate) : QStringLiteral("never")));
    }
    if (check.isValid()) {
        std::printf("check:     valid on this machine\n");
        return EXIT_SUCCESS;
    }
    std::printf("check:     refused (%s)\n", qPrintable(check.detail));
    return EXIT_FAILURE;
}

int pack(const QStringList &args)
{
    if (args.size() != 2)
        return fail(QStringLiteral("pack needs <program folder> <package file>"));
    QString error;
    if (!UpdatePackage::write(args[0], args[1], &error))
        return fail(error);
    QFile file(args[1]);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (!file.open(QIODevice::ReadOnly) || !hash.addData(&file))
        return fail(file.errorString());
    std::printf("%s\nsize:   %lld\nsha256: %s\n", qPrintable(args[1]), static_cast<long long>(file.size()),
                hash.result().toHex().constData());
    return EXIT_SUCCESS;
}

int manifest(const QCommandLineParser &parser, const QStringList &args)
{
    if (args.size() != 2)
        return fail(QStringLiteral("manifest needs <manifest source.json> <signed manifest>"));
    QByteArray key, source;
    QString error;
    if (!readPrivateKey(parser, &key, &error) || !readFile(args[0], &source, &error))
        return fail(error);
    const QJsonDocument document = QJsonDocument::fromJson(source);
    if (!document.isObject())
        return fail(QStringLiteral("%1 is not a JSON object").arg(args[0]));
    QJsonObject payload = document.object();
    payload.insert(QStringLiteral("type"), QLatin1String(UpdateManifest::kType));
    payload.insert(QStringLiteral("product"), QLatin1String(UpdateManifest::kProduct));
    QJsonObject packages = payload.value(QLatin1String("packages")).toObject();
    const QDir base = QFileInfo(args[0]).absoluteDir();
    for (auto it = packages.begin(); it != packages.end(); ++it) {
        QJsonObject package = it.value().toObject();
        const QString file = package.take(QStringLiteral("file")).toString();
        if (!file.isEmpty()) {
            QFile in(base.filePath(file));
            QCryptographicHash hash(QCryptographicHash::Sha256);
            if (!in.open(QIODevice::ReadOnly) || !hash.addData(&in))
                return fail(QStringLiteral("%1: %2").arg(in.fileName(), in.errorString()));
            package.insert(QStringLiteral("sha256"), QString::fromLatin1(hash.result().toHex()));
            package.insert(QStringLiteral("size"), double(in.size()));
        }
        *it = package;
    }
    payload.insert(QStringLiteral("packages"), packages);
    const QByteArray signedManifest = DocumentSigner::signDocument(key, payload);
    // Check what was written the way the station will.
    UpdateManifest parsed;
    DeferredText manifestError;
    QString detail;
    if (signedManifest.isEmpty() ||
        !UpdateManifest::parse(signedManifest, DocumentSigner::publicKeyOf(key),
                               QUrl(QStringLiteral("https://example.invalid/")), &parsed, &manifestError, &detail))
        return fail(QStringLiteral("the manifest is not valid: %1").arg(detail));
    if (!writeFile(args[1], signedManifest, &error))
        return fail(error);
    std::printf("Manifest for %s with %lld package(s) written to %s\n", qPrintable(parsed.version.toString()),
                static_cast<long long>(parsed.packages.size()), qPrintable(args[1]));
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("zobrel-license"));
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOptions({
        {QStringLiteral("key"), QStringLiteral("Private key (PEM)."), QStringLiteral("file")},
        {QStringLiteral("public"), QStringLiteral("Public key (PEM) to check against."), QStringLiteral("file")},
        {QStringLiteral("licensee"), QStringLiteral("Whom the licence is issued to."), QStringLiteral("name")},
        {QStringLiteral("id"), QStringLiteral("Licence number (default: generated)."), QStringLiteral("id")},
        {QStringLiteral("machine"), QStringLiteral("Bind to this machine id."), QStringLiteral("id")},
        {QStringLiteral("feature"), QStringLiteral("A feature word (repeatable)."), QStringLiteral("word")},
        {QStringLiteral("expires"), QStringLiteral("Last valid day (UTC)."), QStringLiteral("YYYY-MM-DD")},
        {QStringLiteral("days"), QStringLiteral("Valid for this many days from today."), QStringLiteral("n")},
        {QStringLiteral("out"), QStringLiteral("Output file."), QStringLiteral("file")},
    });
    parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("See below."));
    parser.setApplicationDescription(QString::fromLatin1(kUsage));
    parser.process(app);
    QStringList args = parser.positionalArguments();
    if (args.isEmpty()) {
        std::fputs(kUsage, stderr);
        return kExitUsage;
    }
    const QString command = args.takeFirst();
    if (command == QLatin1String("keygen"))
        return keygen(args);
    if (command == QLatin1String("issue"))
        return issue(parser);
    if (command == QLatin1String("show"))
        return show(parser, args);
    if (command == QLatin1String("machine-id")) {
        std::printf("%s\n", qPrintable(currentMachineId()));
        return EXIT_SUCCESS;
    }
    if (command == QLatin1String("pack"))
        return pack(args);
    if (command == QLatin1String("manifest"))
        return manifest(parser, args);
    std::fprintf(stderr, "zobrel-license: unknown command \"%s\"\n\n%s", qPrintable(command), kUsage);
    return kExitUsage;
}
