#pragma once

#include <QByteArray>
#include <QJsonObject>

// The vendor's side of the signed documents the station checks (licensing/signeddocument.h):
// Ed25519 keys as PEM text and signing through libcrypto. Used by zobrel-license and by the tests;
// never linked into the station.
namespace DocumentSigner {

// A new key pair; false when libcrypto fails.
bool generateKeyPair(QByteArray *privatePem, QByteArray *publicPem);
// The public half of a private key; empty when privatePem is not an Ed25519 private key.
QByteArray publicKeyOf(const QByteArray &privatePem);
// The 64-byte signature of message; empty when privatePem is not an Ed25519 private key.
QByteArray sign(const QByteArray &privatePem, const QByteArray &message);
// The envelope {"payload": ..., "signature": ...} of payload, indented for reading; empty on failure.
QByteArray signDocument(const QByteArray &privatePem, const QJsonObject &payload);

} // namespace DocumentSigner
