#include "licensing/ed25519.h"

#include <memory>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

namespace {

struct PkeyFree
{
    void operator()(EVP_PKEY *key) const { EVP_PKEY_free(key); }
};
struct MdCtxFree
{
    void operator()(EVP_MD_CTX *ctx) const { EVP_MD_CTX_free(ctx); }
};
struct BioFree
{
    void operator()(BIO *bio) const { BIO_free(bio); }
};

std::unique_ptr<EVP_PKEY, PkeyFree> readPublicKey(const QByteArray &pem)
{
    if (pem.isEmpty())
        return nullptr;
    std::unique_ptr<BIO, BioFree> bio(BIO_new_mem_buf(pem.constData(), int(pem.size())));
    if (!bio)
        return nullptr;
    std::unique_ptr<EVP_PKEY, PkeyFree> key(PEM_read_bio_PUBKEY(bio.get(), nullptr, nullptr, nullptr));
    if (!key || EVP_PKEY_id(key.get()) != EVP_PKEY_ED25519)
        return nullptr;
    return key;
}

} // namespace

namespace Ed25519 {

bool verify(const QByteArray &publicKeyPem, const QByteArray &message, const QByteArray &signature)
{
    if (signature.size() != kSignatureSize)
        return false;
    const auto key = readPublicKey(publicKeyPem);
    if (!key)
        return false;
    std::unique_ptr<EVP_MD_CTX, MdCtxFree> ctx(EVP_MD_CTX_new());
    // Ed25519 hashes internally: no digest is named and the one-shot call is required.
    if (!ctx || EVP_DigestVerifyInit(ctx.get(), nullptr, nullptr, nullptr, key.get()) != 1)
        return false;
    return EVP_DigestVerify(ctx.get(), reinterpret_cast<const unsigned char *>(signature.constData()),
                            size_t(signature.size()), reinterpret_cast<const unsigned char *>(message.constData()),
                            size_t(message.size())) == 1;
}

bool isPublicKey(const QByteArray &pem)
{
    return readPublicKey(pem) != nullptr;
}

} // namespace Ed25519
