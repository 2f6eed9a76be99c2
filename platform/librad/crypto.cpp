#include "crypto.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <memory>

namespace ostrel::radius {

bool md5(std::initializer_list<Bytes> parts, Digest& out) {
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                          &EVP_MD_CTX_free);
    bool good = context != nullptr && EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr) == 1;
    for (const Bytes& part : parts) {
        good = good && EVP_DigestUpdate(context.get(), part.data, part.size) == 1;
    }
    return good && EVP_DigestFinal_ex(context.get(), out.data(), nullptr) == 1;
}

bool hmacMd5(Bytes key, Bytes data, Digest& out) {
    return HMAC(EVP_md5(), key.data, static_cast<int>(key.size), data.data, data.size, out.data(),
                nullptr) != nullptr;
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
