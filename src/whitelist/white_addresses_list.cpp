#include "whitelist/white_addresses_list.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <optional>
#include <sstream>

#include "core/data_parser.h"
#include "core/logger.h"
#include "ostrel/addresses.h"
#include "whitelist/md5_hash_calculator.h"

namespace vesta {
namespace {

// Not isalpha(): what is a domain name must not depend on the locale.
bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isDomainCharacter(char c) {
    return isLetter(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

unsigned int hostOrder(in_addr address) {
    return ntohl(address.s_addr);
}

// Whether `text` is a prefix length from 1 to 32 or a dotted mask of that many leading ones.
bool isMask(const std::string& text) {
    if (const std::optional<in_addr> dotted = ostrel::parseIpv4(text)) {
        const unsigned int zeros = ~hostOrder(*dotted);
        return zeros != UINT_MAX && (zeros & (zeros + 1)) == 0;
    }
    unsigned int length = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, length);
    return error == std::errc() && stop == end && length >= 1 && length <= 32;
}

// An address with a mask that is none. Read as it stands, such a typing error opens the internet.
bool hasBadMask(const std::string& token) {
    const std::size_t slash = token.find('/');
    return slash != std::string::npos &&
           DataParser::parseIpFromString(token.substr(0, slash)) != 0 &&
           !isMask(token.substr(slash + 1));
}

}  // namespace

WhiteAddressesList::WhiteAddressesList(const std::string& name, const std::string& values)
    : hash_(MD5HashCalculator().getHash(values)), name_(name.empty() ? hash_ : name) {
    std::istringstream text(values);
    for (std::string token; std::getline(text, token, ',');) {
        if (token.empty() || token.front() != '#') {
            addEntry(token);
        }
    }
}

bool WhiteAddressesList::isDomainName(const std::string& token) {
    return !token.empty() && isLetter(token.front()) &&
           std::all_of(token.begin(), token.end(), isDomainCharacter);
}

std::pair<unsigned int, unsigned int> WhiteAddressesList::parceWhiteIp(const std::string& token) {
    const std::pair<unsigned int, unsigned int> subnet = DataParser::parseIpSubnetFromString(token);
    if (subnet.first != 0) {
        return subnet;
    }
    return {DataParser::parseIpFromString(token), 0xffffffffU};
}

void WhiteAddressesList::addEntry(const std::string& token) {
    if (hasBadMask(token)) {
        logger().Warning("White list %s: entry \"%s\" has a bad mask, it is left out\n",
                         name_.c_str(), token.c_str());
        return;
    }
    const std::pair<unsigned int, unsigned int> subnet = parceWhiteIp(token);
    if (subnet.first != 0) {
        ips_.push_back(subnet);
    } else if (isDomainName(token)) {
        domains_.push_back(token);
    } else {
        regexps_.push_back(token);
    }
}

}  // namespace vesta
