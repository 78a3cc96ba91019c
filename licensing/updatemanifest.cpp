#include "licensing/updatemanifest.h"

#include "licensing/signeddocument.h"

#include <QJsonObject>

namespace {

constexpr char kContext[] = "UpdateManifest";

bool parsePackage(const QJsonObject &object, const QUrl &base, UpdateManifest::Package *package, QString *detail)
{
    const QString url = object.value(QLatin1String("url")).toString();
    const QUrl resolved = base.resolved(QUrl(url));
    // The signature and the hash make the package safe over any transport; file: serves a
    // manifest on a share.
    const QStringList schemes{QStringLiteral("https"), QStringLiteral("http"), QStringLiteral("file")};
    if (url.isEmpty() || !resolved.isValid() || !schemes.contains(resolved.scheme())) {
        *detail = QStringLiteral("package url \"%1\" is not an http(s) or file URL").arg(url);
        return false;
    }
    const QByteArray hex = object.value(QLatin1String("sha256")).toString().toLatin1();
    const QByteArray hash = QByteArray::fromHex(hex);
    if (hex.size() != 64 || hash.size() != 32 || hash.toHex() != hex.toLower()) {
        *detail = QStringLiteral("package sha256 is not 64 hex digits");
        return false;
    }
    const double size = object.value(QLatin1String("size")).toDouble(-1);
    if (size < 1 || size > double(UpdateManifest::kMaxPackageSize) || size != double(qint64(size))) {
        *detail = QStringLiteral("package size %1 is out of range").arg(size);
        return false;
    }
    package->url = resolved;
    package->sha256 = hash;
    package->size = qint64(size);
    return true;
}

} // namespace

QString UpdateManifest::notesFor(const QString &language) const
{
    for (const QString &code : {language, QStringLiteral("zh_CN"), QStringLiteral("en_US")}) {
        const QString text = notes.value(code);
        if (!text.isEmpty())
            return text;
    }
    return notes.isEmpty() ? QString() : notes.first();
}

bool UpdateManifest::parse(const QByteArray &text, const QByteArray &publicKeyPem, const QUrl &manifestUrl,
                           UpdateManifest *manifest, DeferredText *error, QString *detail)
{
    const SignedDocument document = SignedDocument::open(text, publicKeyPem, QString::fromLatin1(kType));
    if (!document.isValid()) {
        *error = document.status == SignedDocument::Status::Malformed
                     ? DeferredText(kContext, QT_TRANSLATE_NOOP("UpdateManifest", "更新清单格式无效。"))
                     : DeferredText(kContext, QT_TRANSLATE_NOOP("UpdateManifest", "更新清单的签名无效，已拒绝。"));
        *detail = document.detail;
        return false;
    }
    const QJsonObject payload = document.payload;
    *error = DeferredText(kContext, QT_TRANSLATE_NOOP("UpdateManifest", "更新清单内容无效。"));
    if (payload.value(QLatin1String("product")).toString() != QLatin1String(kProduct)) {
        *detail =
            QStringLiteral("manifest is for product \"%1\"").arg(payload.value(QLatin1String("product")).toString());
        return false;
    }
    UpdateManifest result;
    result.version = QVersionNumber::fromString(payload.value(QLatin1String("version")).toString());
    if (result.version.isNull()) {
        *detail = QStringLiteral("no \"version\"");
        return false;
    }
    result.released = payload.value(QLatin1String("released")).toString();
    const QJsonObject notes = payload.value(QLatin1String("notes")).toObject();
    for (auto it = notes.begin(); it != notes.end(); ++it)
        result.notes.insert(it.key(), it.value().toString());
    const QJsonObject packages = payload.value(QLatin1String("packages")).toObject();
    for (auto it = packages.begin(); it != packages.end(); ++it) {
        Package package;
        if (!parsePackage(it.value().toObject(), manifestUrl, &package, detail)) {
            detail->prepend(it.key() + QStringLiteral(": "));
            return false;
        }
        result.packages.insert(it.key(), package);
    }
    *error = DeferredText();
    detail->clear();
    *manifest = result;
    return true;
}
