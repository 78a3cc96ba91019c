#include "licensing/signeddocument.h"

#include "licensing/ed25519.h"

#include <QJsonDocument>
#include <QJsonParseError>

namespace {

SignedDocument failure(SignedDocument::Status status, const QString &detail)
{
    SignedDocument document;
    document.status = status;
    document.detail = detail;
    return document;
}

} // namespace

SignedDocument SignedDocument::open(const QByteArray &text, const QByteArray &publicKeyPem, const QString &expectedType)
{
    if (text.size() > kMaxSize)
        return failure(Status::Malformed, QStringLiteral("larger than %1 bytes").arg(kMaxSize));
    QJsonParseError parseError;
    const QJsonDocument outer = QJsonDocument::fromJson(text, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return failure(Status::Malformed, QStringLiteral("not JSON: %1").arg(parseError.errorString()));
    if (!outer.isObject())
        return failure(Status::Malformed, QStringLiteral("not a JSON object"));
    const QJsonObject envelope = outer.object();
    const QJsonValue payloadValue = envelope.value(QLatin1String("payload"));
    if (!payloadValue.isString() || payloadValue.toString().isEmpty())
        return failure(Status::Malformed, QStringLiteral("no \"payload\""));
    const auto payload =
        QByteArray::fromBase64Encoding(payloadValue.toString().toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    if (!payload)
        return failure(Status::Malformed, QStringLiteral("\"payload\" is not base64"));

    const QJsonValue signatureValue = envelope.value(QLatin1String("signature"));
    if (signatureValue.isUndefined() || signatureValue.isNull() ||
        (signatureValue.isString() && signatureValue.toString().isEmpty()))
        return failure(Status::MissingSignature, QStringLiteral("no \"signature\""));
    const auto signature =
        QByteArray::fromBase64Encoding(signatureValue.toString().toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    if (!signatureValue.isString() || !signature || signature.decoded.size() != Ed25519::kSignatureSize)
        return failure(Status::BadSignature, QStringLiteral("\"signature\" is not a base64 Ed25519 signature"));
    if (!Ed25519::verify(publicKeyPem, *payload, *signature))
        return failure(Status::BadSignature, QStringLiteral("signature does not match the payload"));

    // Signed by the vendor, so only an issuing mistake can fail from here on.
    const QJsonDocument inner = QJsonDocument::fromJson(*payload, &parseError);
    if (parseError.error != QJsonParseError::NoError || !inner.isObject())
        return failure(Status::Malformed, QStringLiteral("payload is not a JSON object"));
    const QString type = inner.object().value(QLatin1String("type")).toString();
    if (type != expectedType)
        return failure(Status::Malformed, QStringLiteral("a \"%1\" document, not \"%2\"").arg(type, expectedType));

    SignedDocument document;
    document.status = Status::Valid;
    document.payload = inner.object();
    return document;
}
