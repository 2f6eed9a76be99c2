#include "portald/token.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <charconv>
#include <stdexcept>

#include "ostrel/clock.h"

namespace portald {
namespace {

constexpr std::int64_t kValidFor = 1800;  // seconds
constexpr std::size_t kLongest = 100;

}  // namespace

Tokens::Tokens() {
    if (RAND_bytes(key_.data(), static_cast<int>(key_.size())) != 1) {
        throw std::runtime_error("no random numbers");
    }
}

std::string Tokens::make(const std::string& mac) const {
    const std::string time = std::to_string(ostrel::monotonicSeconds());
    return time + "-" + sign(time, mac);
}

bool Tokens::isValid(const std::string& token, const std::string& mac) const {
    const std::size_t dash = token.find('-');
    if (dash == std::string::npos || token.size() > kLongest) {
        return false;
    }
    const std::string time = token.substr(0, dash);
    std::int64_t made = 0;
    const auto [stop, error] = std::from_chars(time.data(), time.data() + time.size(), made);
    const std::string expected = sign(time, mac);
    return error == std::errc() && stop == time.data() + time.size() &&
           ostrel::monotonicSeconds() - made <= kValidFor &&
           token.size() - dash - 1 == expected.size() &&
           CRYPTO_memcmp(token.data() + dash + 1, expected.data(), expected.size()) == 0;
}

std::string Tokens::sign(const std::string& time, const std::string& mac) const {
    constexpr const char* kDigits = "0123456789abcdef";
    const std::string text = time + " " + mac;
    std::array<std::uint8_t, EVP_MAX_MD_SIZE> digest{};
    unsigned int size = 0;
    HMAC(EVP_sha256(), key_.data(), static_cast<int>(key_.size()),
         reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest.data(), &size);
    std::string hex;
    for (unsigned int i = 0; i < size; ++i) {
        hex += kDigits[digest[i] >> 4];
        hex += kDigits[digest[i] & 15];
    }
    return hex;
}

}  // namespace portald
