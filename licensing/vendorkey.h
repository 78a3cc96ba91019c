#pragma once

#include <QByteArray>
#include <QString>

// What the build compiled in: the vendor's Ed25519 public key, which signs licences and update
// manifests, and the default update manifest URL. A release build names the key file
// (ZOBREL_VENDOR_PUBLIC_KEY); otherwise the build made its own test key pair in the build tree.

// The public key as PEM text ("-----BEGIN PUBLIC KEY-----" ...).
QByteArray vendorPublicKeyPem();
// True when the key is the build's own test key rather than the vendor's.
bool vendorKeyIsTestKey();
// The manifest URL used when Zobrel.ini names none; empty when the build set none.
QString defaultUpdateManifestUrl();
