#pragma once

// The cryptography that RADIUS needs, from libcrypto. Every function may be called from any thread.

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include "ostrel/librad.h"

namespace ostrel::radius {

// Borrowed bytes.
struct Bytes {
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
};

[[nodiscard]] inline Bytes bytesOf(const librad_secret& secret) {
    return {secret.data(), secret.size()};
}

using Digest = std::array<std::uint8_t, 16>;

// The MD5 of the parts in a row. False when libcrypto offers no MD5.
[[nodiscard]] bool md5(std::initializer_list<Bytes> parts, Digest& out);

// HMAC-MD5 (RFC 2104). False as above.
[[nodiscard]] bool hmacMd5(Bytes key, Bytes data, Digest& out);

// Compares in constant time.
[[nodiscard]] bool equalDigests(const std::uint8_t* left, const std::uint8_t* right);

// Bytes of the system's random source; false when it has none to give.
[[nodiscard]] bool randomBytes(void* out, std::size_t size);

// Overwrites so that the compiler can't leave it out.
void wipe(void* data, std::size_t size);

}  // namespace ostrel::radius
