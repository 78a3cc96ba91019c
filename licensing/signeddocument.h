#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

// The envelope of everything the vendor signs (licences, update manifests): a JSON object
//     {"payload": "<base64 of the payload's JSON bytes>", "signature": "<base64 of their Ed25519 signature>"}
// The signature covers the payload's exact bytes, so issuers need no canonical JSON form; the
// payload names its kind in "type", so a licence cannot pass for a manifest or the other way round.
struct SignedDocument
{
    enum class Status {
        Valid,
        Malformed,        // not the envelope, payload not JSON, or another kind of document
        MissingSignature, // no or an empty "signature"
        BadSignature,     // signature does not match the payload under the key
    };

    // Envelopes larger than this are refused before parsing.
    static constexpr qsizetype kMaxSize = 256 * 1024;

    Status status = Status::Malformed;
    QJsonObject payload; // set only when status is Valid
    QString detail;      // English, for the log: what exactly was wrong

    // Checks text against publicKeyPem and that the payload's "type" is expectedType.
    static SignedDocument open(const QByteArray &text, const QByteArray &publicKeyPem, const QString &expectedType);

    bool isValid() const { return status == Status::Valid; }
};
