#pragma once

#include "documentsigner.h"

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

// A vendor key pair made for one test run, and helpers that sign or spoil documents with it.
struct TestKeys
{
    QByteArray privatePem;
    QByteArray publicPem;

    static TestKeys make()
    {
        TestKeys keys;
        if (!DocumentSigner::generateKeyPair(&keys.privatePem, &keys.publicPem))
            qFatal("libcrypto could not make a test key pair");
        return keys;
    }

    QByteArray sign(const QJsonObject &payload) const { return DocumentSigner::signDocument(privatePem, payload); }
};

// The envelope with its payload replaced by other bytes, the signature kept: what an edit of the
// licence or manifest after signing produces.
inline QByteArray withPayload(const QByteArray &envelope, const QByteArray &payload)
{
    QJsonObject object = QJsonDocument::fromJson(envelope).object();
    object.insert(QStringLiteral("payload"), QString::fromLatin1(payload.toBase64()));
    return QJsonDocument(object).toJson();
}

inline QByteArray payloadOf(const QByteArray &envelope)
{
    return QByteArray::fromBase64(
        QJsonDocument::fromJson(envelope).object().value(QLatin1String("payload")).toString().toLatin1());
}
