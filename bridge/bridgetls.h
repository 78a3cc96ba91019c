#pragma once

#include <QList>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslError>
#include <QString>

#include <optional>

// Where the bridge server's TLS identity comes from. All paths empty: the certificates compiled
// into the application (":/certs/…"), checked against the fingerprint generated with them.
// Otherwise the operator's own files, checked against the fingerprint given here (a file set
// without an expected fingerprint is refused like a mismatch).
struct BridgeCertificateFiles
{
    QString caFile;
    QString certFile;
    QString keyFile;
    QString expectedCaFingerprint; // SHA-256 hex, colons and case ignored

    bool usesBuiltIn() const { return caFile.isEmpty() && certFile.isEmpty() && keyFile.isEmpty(); }
};

// Loading and checking the bridge's certificates, and the TLS settings of both ends. Free
// functions, GUI thread or any other; each failure is logged once (category "Bridge").
namespace bridgetls {

inline constexpr char kBuiltInCaPath[] = ":/certs/zobrel-ca.crt";
inline constexpr char kBuiltInCertPath[] = ":/certs/zobrel-server.crt";
inline constexpr char kBuiltInKeyPath[] = ":/certs/zobrel-server.key";

// SHA-256 of the compiled-in CA certificate, lower-case hex without separators.
QString builtInCaFingerprint();
// SHA-256 of the certificate's DER form, lower-case hex without separators.
QString fingerprint(const QSslCertificate &certificate);
// Colons, spaces and case do not matter.
bool sameFingerprint(const QString &a, const QString &b);

// The server's TLS configuration: its certificate with the CA as chain, the key, TLS 1.2 or
// later, no client certificates. nullopt (with *error set) when a file cannot be read, does not
// parse, the server certificate was not issued by the CA, or the CA's fingerprint differs from
// the expected one: the server must then not start.
std::optional<QSslConfiguration> loadServerConfiguration(const BridgeCertificateFiles &files, QString *error);

// The agent's TLS configuration: only caCertificates are trusted (not the system store), and
// the server must present a chain ending in one of them.
QSslConfiguration clientConfiguration(const QList<QSslCertificate> &caCertificates);
// Reads PEM certificates from a file (a resource path works too); empty with *error on failure.
QList<QSslCertificate> readCertificates(const QString &path, QString *error);

// Errors a self-signed chain produces by itself (untrusted or self-signed root, missing local
// issuer); anything else (expired, bad signature, revoked, …) is a real failure.
bool isExpectedForSelfSigned(QSslError::SslError error);
// The only error an agent overlooks: the instructor is reached by whatever name or address the
// site uses, while the chain itself must end in the agent's own CA.
bool isIgnoredByAgent(QSslError::SslError error);

} // namespace bridgetls
