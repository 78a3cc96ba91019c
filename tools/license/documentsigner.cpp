#include "documentsigner.h"

#include <QJsonDocument>

#include <memory>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

namespace {

struct PkeyFree
{
    void operator()(EVP_PKEY *key) const { EVP_PKEY_free(key); }
};
struct BioFree
{
    void operator()(BIO *bio) const { BIO_free(bio); }
};
struct MdCtxFree
{
    void operator()(EVP_MD_CTX *ctx) const { EVP_MD_CTX_free(ctx); }
};
struct PkeyCtxFree
{
    void operator()(EVP_PKEY_CTX *ctx) const { EVP_PKEY_CTX_free(ctx); }
};
using Key = std::unique_ptr<EVP_PKEY, PkeyFree>;

Key readPrivateKey(const QByteArray &pem)
{
    std::unique_ptr<BIO, BioFree> bio(BIO_new_mem_buf(pem.constData(), int(pem.size())));
    Key key(bio ? PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr) : nullptr);
    if (!key || EVP_PKEY_id(key.get()) != EVP_PKEY_ED25519)
        return nullptr;
    return key;
}

QByteArray bioText(BIO *bio)
{
    char *data = nullptr;
    const long size = BIO_get_mem_data(bio, &data);
    return size > 0 ? QByteArray(data, int(size)) : QByteArray();
}

QByteArray publicPem(EVP_PKEY *key)
{
    std::unique_ptr<BIO, BioFree> bio(BIO_new(BIO_s_mem()));
    if (!bio || PEM_write_bio_PUBKEY(bio.get(), key) != 1)
        return {};
    return bioText(bio.get());
}

} // namespace

namespace DocumentSigner {

bool generateKeyPair(QByteArray *privatePem, QByteArray *publicPemOut)
{
    std::unique_ptr<EVP_PKEY_CTX, PkeyCtxFree> ctx(EVP_PKEY_CTX_new_id(EVP_PKEY_ED25519, nullptr));
    EVP_PKEY *raw = nullptr;
    if (!ctx || EVP_PKEY_keygen_init(ctx.get()) != 1 || EVP_PKEY_keygen(ctx.get(), &raw) != 1)
        return false;
    Key key(raw);
    std::unique_ptr<BIO, BioFree> bio(BIO_new(BIO_s_mem()));
    if (!bio || PEM_write_bio_PrivateKey(bio.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) != 1)
        return false;
    *privatePem = bioText(bio.get());
    *publicPemOut = publicPem(key.get());
    return !privatePem->isEmpty() && !publicPemOut->isEmpty();
}

QByteArray publicKeyOf(const QByteArray &privatePem)
{
    const Key key = readPrivateKey(privatePem);
    return key ? publicPem(key.get()) : QByteArray();
}

QByteArray sign(const QByteArray &privatePem, const QByteArray &message)
{
    const Key key = readPrivateKey(privatePem);
    std::unique_ptr<EVP_MD_CTX, MdCtxFree> ctx(EVP_MD_CTX_new());
    if (!key || !ctx || EVP_DigestSignInit(ctx.get(), nullptr, nullptr, nullptr, key.get()) != 1)
        return {};
    QByteArray signature(64, '\0');
    size_t size = size_t(signature.size());
    if (EVP_DigestSign(ctx.get(), reinterpret_cast<unsigned char *>(signature.data()), &size,
                       reinterpret_cast<const unsigned char *>(message.constData()), size_t(message.size())) != 1 ||
        size != 64)
        return {};
    return signature;
}

QByteArray signDocument(const QByteArray &privatePem, const QJsonObject &payload)
{
    const QByteArray bytes = QJsonDocument(payload).toJson(QJsonDocument::Indented);
    const QByteArray signature = sign(privatePem, bytes);
    if (signature.isEmpty())
        return {};
    const QJsonObject envelope{{QStringLiteral("payload"), QString::fromLatin1(bytes.toBase64())},
                               {QStringLiteral("signature"), QString::fromLatin1(signature.toBase64())}};
    return QJsonDocument(envelope).toJson(QJsonDocument::Indented);
}

} // namespace DocumentSigner
