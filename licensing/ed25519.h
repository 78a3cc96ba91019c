#pragma once

#include <QByteArray>

// Ed25519 signature checks through libcrypto's EVP interface. Keys are PEM text
// ("-----BEGIN PUBLIC KEY-----"), as the openssl command writes them. Thread-safe.
namespace Ed25519 {

constexpr int kSignatureSize = 64;

// True when signature is a valid Ed25519 signature of message under the public key. A key that
// is not an Ed25519 public key, or a signature of the wrong size, is false as well.
bool verify(const QByteArray &publicKeyPem, const QByteArray &message, const QByteArray &signature);

// True when pem holds an Ed25519 public key.
bool isPublicKey(const QByteArray &pem);

} // namespace Ed25519
