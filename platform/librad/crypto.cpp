#include "crypto.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <algorithm>
#include <memory>

namespace ostrel::radius {

namespace {

// Fetched once: looking an algorithm up costs more than digesting a RADIUS packet with it.
const EVP_MD* md5Algorithm() {
    static const EVP_MD* const algorithm = EVP_MD_fetch(nullptr, "MD5", nullptr);
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

// RFC 2104 section 2, for the same reason not by the library's one-call form, which looks up both
// of its algorithms each time.
bool hmacMd5(Bytes key, Bytes data, Digest& out) {
    constexpr std::size_t kBlock = 64;
    std::array<std::uint8_t, kBlock> inner{};
    Digest digest{};
    bool good = true;
    if (key.size > kBlock) {
        good = md5({key}, digest);
        std::copy(digest.begin(), digest.end(), inner.begin());
    } else {
        std::copy_n(key.data, key.size, inner.begin());
    }
    std::array<std::uint8_t, kBlock> outer = inner;
    for (std::size_t i = 0; i < kBlock; ++i) {
        inner[i] ^= 0x36U;
        outer[i] ^= 0x5cU;
    }
    good = good && md5({{inner.data(), kBlock}, data}, digest) &&
           md5({{outer.data(), kBlock}, {digest.data(), digest.size()}}, out);
    wipe(inner.data(), kBlock);
    wipe(outer.data(), kBlock);
    wipe(digest.data(), digest.size());
    return good;
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
