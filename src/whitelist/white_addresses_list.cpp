#include "whitelist/white_addresses_list.h"

#include <algorithm>
#include <sstream>

#include "core/data_parser.h"
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
