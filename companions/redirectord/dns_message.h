#pragma once

// What the forwarder reads of DNS messages (RFC 1035). A message is the text of its bytes; every
// function takes any bytes, of any length. Stateless; any thread.

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "redirectord/ip_address.h"

namespace redirectord {

constexpr std::size_t kDnsHeaderSize = 12;
// A name of 255 bytes, cookies and padding (RFC 7873, RFC 8467) stay far below.
constexpr std::size_t kLongestDnsQuery = 1232;

// RFC 1035, section 4.1.1.
enum class DnsError : std::uint8_t { format = 1, server = 2, notImplemented = 4, refused = 5 };

// The id, in host order; 0 for a message without one.
[[nodiscard]] std::uint16_t dnsIdOf(std::string_view message);
// Needs a whole header.
void setDnsId(std::string& message, std::uint16_t id);

// The question section (name, type, class) as it stands in a message with exactly one question and
// no compression in it; empty for every other message.
[[nodiscard]] std::string_view dnsQuestionOf(std::string_view message);

// What becomes of a datagram from a station.
enum class QueryVerdict {
    forward,
    drop,            // no header, or an answer: to answer it could start a loop
    formatError,     // not exactly one well-formed question
    notImplemented,  // not a standard query
    refused          // a zone transfer, whose answer has no bounds
};
[[nodiscard]] QueryVerdict judgeQuery(std::string_view message);

// An answer that tells nothing but the error: a header, never longer than the query.
[[nodiscard]] std::string dnsErrorAnswer(std::string_view query, DnsError error);

// Whether `message` is an answer to the question (as dnsQuestionOf() gave it), names compared
// without case.
[[nodiscard]] bool answersQuestion(std::string_view message, std::string_view question);

struct DnsAddress {
    IpAddress address;
    std::chrono::seconds ttl;
};

struct DnsAnswer {
    // The name asked for and those that it is an alias of (CNAME): lower case, no dot at the end.
    // A byte that no host name has stands as "!".
    std::vector<std::string> names;
    std::vector<DnsAddress> addresses;  // of these names
};

// The addresses that an answer gives for its question; none of a message that can't be read whole
// or has more than 8 KiB.
[[nodiscard]] DnsAnswer readDnsAnswer(std::string_view message);

}  // namespace redirectord
