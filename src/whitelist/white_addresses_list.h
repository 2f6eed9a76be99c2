#pragma once

// A named set of destinations that a station may reach before it is authorised: addresses, domain
// names and other patterns, as one comma-separated text describes them.
//
// Threads: a list never changes; any thread may read it.

#include <list>
#include <string>
#include <utility>

namespace vesta {

class WhiteAddressesList {
public:
    using Strings = std::list<std::string>;
    // (address, mask), both in network byte order as they stand in memory.
    using Subnets = std::list<std::pair<unsigned int, unsigned int>>;

    // Never fails: an entry that is neither an address nor a domain name becomes a pattern. One
    // with an address and a bad mask, or the mask 0, is left out with a warning. Entries that begin
    // with
    // "#" are comments. An empty name is replaced by the hash.
    WhiteAddressesList(const std::string& name, const std::string& values);

    // A letter, then letters, digits, "-" and ".".
    static bool isDomainName(const std::string& token);
    // (address, mask) of "10.0.0.0/8", "10.0.0.0/255.0.0.0" or "10.0.0.1"; the address is 0 when
    // the token is none of these.
    static std::pair<unsigned int, unsigned int> parceWhiteIp(const std::string& token);

    // MD5 of the whole values text, comments and blanks included.
    [[nodiscard]] const std::string& getHash() const { return hash_; }
    [[nodiscard]] const std::string& getName() const { return name_; }

    // The entries of each kind, in the order of the text.
    Subnets::iterator ip_begin() { return ips_.begin(); }
    Subnets::iterator ip_end() { return ips_.end(); }
    Subnets::const_iterator ip_cbegin() const { return ips_.cbegin(); }
    Subnets::const_iterator ip_cend() const { return ips_.cend(); }
    Strings::iterator domain_begin() { return domains_.begin(); }
    Strings::iterator domain_end() { return domains_.end(); }
    Strings::const_iterator domain_cbegin() const { return domains_.cbegin(); }
    Strings::const_iterator domain_cend() const { return domains_.cend(); }
    Strings::iterator regexp_begin() { return regexps_.begin(); }
    Strings::iterator regexp_end() { return regexps_.end(); }
    Strings::const_iterator regexp_cbegin() const { return regexps_.cbegin(); }
    Strings::const_iterator regexp_cend() const { return regexps_.cend(); }

private:
    void addEntry(const std::string& token);

    Strings domains_;
    Strings regexps_;
    Subnets ips_;
    std::string hash_;
    std::string name_;
};

}  // namespace vesta
