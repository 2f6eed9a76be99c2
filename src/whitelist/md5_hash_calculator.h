#pragma once

// The hash by which daemons and access points tell white lists apart. It names content and protects
// nothing. Stateless; any thread.

#include <string>

namespace vesta {

class MD5HashCalculator {
public:
    // The MD5 digest (RFC 1321) of the text's bytes as 32 lower-case hexadecimal digits. Throws
    // std::runtime_error when the system's libcrypto offers no MD5.
    [[nodiscard]] std::string getHash(const std::string& text) const;
};

}  // namespace vesta
