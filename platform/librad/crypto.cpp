#include "crypto.h"

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/params.h>
#include <openssl/rand.h>

#include <memory>

namespace ostrel::radius {
namespace {

// Algorithms are fetched once: looking one up costs more than digesting a RADIUS packet with it.
const EVP_MD* md5Algorithm() {
    static const EVP_MD* const algorithm = EVP_MD_fetch(nullptr, "MD5", nullptr);
    return algorithm;
}

EVP_MAC* hmacAlgorithm() {
    static EVP_MAC* const algorithm = EVP_MAC_fetch(nullptr, "HMAC", nullptr);
    return algorithm;
}

}  // namespace

bool md5(std::initializer_list<Bytes> parts, Digest& out) {
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                          &EVP_MD_CTX_free);
    bool good = context != nullptr && md5Algorithm() != nullptr &&
                EVP_DigestInit_ex(context.get(), md5Algorithm(), nullptr) == 1;
    for (const Bytes& part : parts) {
        good = good && EVP_DigestUpdate(context.get(), part.data, part.size) == 1;
    }
    return good && EVP_DigestFinal_ex(context.get(), out.data(), nullptr) == 1;
}

bool hmacMd5(Bytes key, Bytes data, Digest& out) {
    if (hmacAlgorithm() == nullptr) {
        return false;
    }
    char digest[] = "MD5";
    const OSSL_PARAM parameters[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digest, 0),
        OSSL_PARAM_construct_end()};
    const std::unique_ptr<EVP_MAC_CTX, decltype(&EVP_MAC_CTX_free)> context(
        EVP_MAC_CTX_new(hmacAlgorithm()), &EVP_MAC_CTX_free);
    std::size_t length = 0;
    return context != nullptr && EVP_MAC_init(context.get(), key.data, key.size, parameters) == 1 &&
           EVP_MAC_update(context.get(), data.data, data.size) == 1 &&
           EVP_MAC_final(context.get(), out.data(), &length, out.size()) == 1;
}

bool equalDigests(const std::uint8_t* left, const std::uint8_t* right) {
    return CRYPTO_memcmp(left, right, std::tuple_size_v<Digest>) == 0;
}

bool randomBytes(void* out, std::size_t size) {
    return RAND_bytes(static_cast<unsigned char*>(out), static_cast<int>(size)) == 1;
}

void wipe(void* data, std::size_t size) {
    if (size > 0) {
        OPENSSL_cleanse(data, size);
    }
}

}  // namespace ostrel::radius

librad_secret::librad_secret(std::string_view text) : bytes_(text.begin(), text.end()) {}

librad_secret& librad_secret::operator=(const librad_secret& other) {
    if (this != &other) {
        ostrel::radius::wipe(bytes_.data(), bytes_.size());
        bytes_ = other.bytes_;
    }
    return *this;
}

librad_secret::~librad_secret() {
    ostrel::radius::wipe(bytes_.data(), bytes_.size());
}
