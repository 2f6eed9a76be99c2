#include "whitelist/md5_hash_calculator.h"

#include <openssl/evp.h>

#include <stdexcept>

namespace vesta {

std::string MD5HashCalculator::getHash(const std::string& text) const {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    if (EVP_Digest(text.data(), text.size(), digest, &size, EVP_md5(), nullptr) != 1) {
        throw std::runtime_error("white lists need MD5, which libcrypto does not offer");
    }
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string hash;
    hash.reserve(2 * size);
    for (unsigned int i = 0; i < size; ++i) {
        hash += kDigits[digest[i] >> 4];
        hash += kDigits[digest[i] & 0x0f];
    }
    return hash;
}

}  // namespace vesta
