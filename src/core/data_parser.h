#pragma once

// Conversions of the texts in messages: MAC and IPv4 addresses, masks, VAP interface names,
// numbers. Stateless. Only extractVapIndexes() throws. IPv4 addresses and masks are in network byte
// order.

#include <netinet/in.h>

#include <string>
#include <utility>

namespace vesta {

enum PARSER_EXCEPTION_TYPE {
    PARSER_BAD_FORMAT = 1,
};

class DataParser {
public:
    // Reads one number as an input stream would: it skips blanks before the number and ignores what
    // follows. 0 when there is no number. Defined for int, unsigned int, unsigned long, long long
    // and unsigned long long.
    template <class T>
    static T stringToType(const std::string& text);

    // Decimal text; defined for int.
    template <class T>
    static std::string objectToString(T value);

    // "aa:bb:cc:00:11:22" as the RADIUS user name "AA-BB-CC-00-11-22".
    static std::string castMacToLogin(const std::string& mac);
    // Six bytes as "%02x:%02x:%02x:%02x:%02x:%02x".
    static std::string castRowMacToString(const unsigned char* mac);
    // Writes the six bytes of "%02x:%02x:%02x:%02x:%02x:%02x" and returns true, or writes nothing
    // and returns false. For code that needs an address as raw bytes; a station's is a MacAddr.
    static bool parseMacFromString(const std::string& text, char* out);

    // Four bytes as dotted quad.
    static std::string castRowIpToString(const unsigned char* ip);
    static std::string castRowIpToString(in_addr ip);
    // 0 when the text is no dotted quad.
    static unsigned int castStringToRawIpv4(const std::string& text);
    // Both read as inet_aton() does. The first returns not 0 on success, the second the address, or
    // 0 on failure.
    static int parseIpFromString(const std::string& text, in_addr* out);
    static unsigned int parseIpFromString(const std::string& text);

    // The mask of a prefix length: 24 is 255.255.255.0; anything outside 0 to 32 is all ones (-1).
    static int parseCidrFromString(const std::string& text);
    // A dotted mask when the text holds a ".", else a prefix length.
    static unsigned int parseSubnetMaskFromString(const std::string& text);
    // "10.0.0.0/8" as (address, mask); (0, 0) without a "/".
    static std::pair<unsigned int, unsigned int> parseIpSubnetFromString(const std::string& text);

    // "wlan0-va1" as (0, 1); a missing number is 0. Throws PARSER_BAD_FORMAT for a name that does
    // not begin with "wlan".
    static std::pair<int, int> extractVapIndexes(const std::string& interfaceName);
};

}  // namespace vesta
