#pragma once

#include "licensing/deferredtext.h"

#include <QCoreApplication>
#include <QMap>
#include <QMetaType>
#include <QString>
#include <QUrl>
#include <QVersionNumber>

// A release the vendor offers: the signed payload of an update manifest (envelope in
// signeddocument.h). Payload keys:
//   "type"      "zobrel-update" (required)
//   "product"   "Zobrel" (required)
//   "version"   "1.2.3" (required)
//   "released"  "YYYY-MM-DD" (optional)
//   "notes"     {"zh_CN": "...", "en_US": "..."}: release notes per language
//   "packages"  {"<platform>": {"url": "...", "sha256": "<64 hex>", "size": <bytes>}, ...}
//               platform keys as updatePlatformKey() gives them ("linux-x86_64", "windows-x86_64");
//               a relative url is resolved against the manifest's own URL; http, https or file.
struct UpdateManifest
{
    static constexpr char kType[] = "zobrel-update";
    static constexpr char kProduct[] = "Zobrel";
    // Packages larger than this are refused (a manifest cannot make the station fill the disk).
    static constexpr qint64 kMaxPackageSize = qint64(4) * 1024 * 1024 * 1024;

    struct Package
    {
        QUrl url;
        QByteArray sha256; // 32 raw bytes
        qint64 size = 0;
    };

    QVersionNumber version;
    QString released;
    QMap<QString, QString> notes;    // language code -> text
    QMap<QString, Package> packages; // platform key -> package

    // The notes in language, else in the other language the manifest has (Chinese first).
    QString notesFor(const QString &language) const;

    // Checks the signature and the keys. On failure returns false with *error set to a sentence
    // for the operator and *detail to English for the log.
    static bool parse(const QByteArray &text, const QByteArray &publicKeyPem, const QUrl &manifestUrl,
                      UpdateManifest *manifest, DeferredText *error, QString *detail);
};
Q_DECLARE_METATYPE(UpdateManifest)
