#include "redirectord/dns_message.h"

#include <ldns/ldns.h>

#include <algorithm>
#include <cctype>
#include <memory>

namespace redirectord {
namespace {

// Offsets and bits of RFC 1035, section 4.1.1.
constexpr std::size_t kFlags = 2;
constexpr std::size_t kQuestions = 4;
constexpr unsigned int kAnswerBit = 0x80;
constexpr unsigned int kOpcodeBits = 0x78;
constexpr unsigned int kRecursionDesiredBit = 0x01;

constexpr std::size_t kLongestName = 255;
constexpr std::size_t kLongestLabel = 63;
// Resolvers give up on longer chains of aliases.
constexpr std::size_t kLongestChain = 16;
// More would take milliseconds, since each name may be a long way of compression pointers.
constexpr std::size_t kLongestRead = 8192;

// HTTPS records and their parameters with addresses (RFC 9460, sections 9 and 14.3.2).
constexpr unsigned int kTypeHttps = 65;
constexpr unsigned int kIpv4Hint = 4;
constexpr unsigned int kIpv6Hint = 6;

constexpr unsigned int kTypeIxfr = 251;
constexpr unsigned int kTypeAxfr = 252;

unsigned int byteAt(std::string_view message, std::size_t at) {
    return static_cast<unsigned char>(message[at]);
}

unsigned int wordAt(std::string_view message, std::size_t at) {
    return byteAt(message, at) << 8U | byteAt(message, at + 1);
}

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

char hostCharacter(std::uint8_t byte) {
    const char c = lower(static_cast<char>(byte));
    const bool known = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
    return known ? c : '!';
}

struct Free {
    void operator()(ldns_pkt* packet) const { ldns_pkt_free(packet); }
    void operator()(ldns_buffer* buffer) const { ldns_buffer_free(buffer); }
};

// An uncompressed name of libldns as text.
std::string nameText(const ldns_rdf* name) {
    const std::uint8_t* const bytes = ldns_rdf_data(name);
    const std::size_t size = ldns_rdf_size(name);
    std::string text;
    for (std::size_t at = 0; at < size && bytes[at] != 0; at += 1U + bytes[at]) {
        if (!text.empty()) {
            text += '.';
        }
        const std::size_t end = std::min(size, at + 1 + bytes[at]);
        std::transform(bytes + at + 1, bytes + end, std::back_inserter(text), hostCharacter);
    }
    return text;
}

bool contains(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

// Follows the aliases in whatever order they stand.
void followAliases(const ldns_rr_list* records, std::vector<std::string>& names) {
    for (bool grown = true; grown;) {
        grown = false;
        for (std::size_t i = 0; i < ldns_rr_list_rr_count(records); ++i) {
            const ldns_rr* const record = ldns_rr_list_rr(records, i);
            if (ldns_rr_get_type(record) != LDNS_RR_TYPE_CNAME || ldns_rr_rd_count(record) != 1 ||
                names.size() == kLongestChain ||
                !contains(names, nameText(ldns_rr_owner(record)))) {
                continue;
            }
            std::string target = nameText(ldns_rr_rdf(record, 0));
            if (!contains(names, target)) {
                names.push_back(std::move(target));
                grown = true;
            }
        }
    }
}

// Addresses of one family, one after the other.
void addAddresses(std::string_view bytes, bool areV4, std::chrono::seconds ttl, DnsAnswer& answer) {
    const std::size_t size = areV4 ? 4 : 16;
    for (; bytes.size() >= size; bytes.remove_prefix(size)) {
        answer.addresses.push_back(
            {areV4 ? IpAddress::v4(bytes.data()) : IpAddress::v6(bytes.data()), ttl});
    }
}

// Browsers connect to the addresses of an HTTPS record before they have others. Its data: priority,
// a name, then parameters with key and length (RFC 9460, section 2.2).
void addHints(std::string_view data, std::chrono::seconds ttl, DnsAnswer& answer) {
    std::size_t at = 2;
    while (at < data.size() && byteAt(data, at) != 0) {
        at += 1 + byteAt(data, at);
    }
    for (++at; at + 4 <= data.size();) {
        const unsigned int key = wordAt(data, at);
        const std::string_view value = data.substr(at + 4, wordAt(data, at + 2));
        if (key == kIpv4Hint || key == kIpv6Hint) {
            addAddresses(value, key == kIpv4Hint, ttl, answer);
        }
        at += 4 + value.size();
    }
}

// The data of a record as it was on the wire, without its length.
std::string dataOf(const ldns_rr* record) {
    const std::unique_ptr<ldns_buffer, Free> buffer(ldns_buffer_new(LDNS_MIN_BUFLEN));
    if (buffer == nullptr || ldns_rr_rdata2buffer_wire(buffer.get(), record) != LDNS_STATUS_OK) {
        return "";
    }
    return {reinterpret_cast<const char*>(ldns_buffer_begin(buffer.get())),
            ldns_buffer_position(buffer.get())};
}

void addRecord(const ldns_rr* record, DnsAnswer& answer) {
    const unsigned int type = ldns_rr_get_type(record);
    const bool isAddress = type == LDNS_RR_TYPE_A || type == LDNS_RR_TYPE_AAAA;
    if ((!isAddress && type != kTypeHttps) || ldns_rr_get_class(record) != LDNS_RR_CLASS_IN ||
        !contains(answer.names, nameText(ldns_rr_owner(record)))) {
        return;
    }
    const std::chrono::seconds ttl(ldns_rr_ttl(record));
    if (isAddress) {
        addAddresses(dataOf(record), type == LDNS_RR_TYPE_A, ttl, answer);
    } else {
        addHints(dataOf(record), ttl, answer);
    }
}

}  // namespace

std::uint16_t dnsIdOf(std::string_view message) {
    return message.size() < 2 ? 0 : static_cast<std::uint16_t>(wordAt(message, 0));
}

void setDnsId(std::string& message, std::uint16_t id) {
    message[0] = static_cast<char>(id >> 8U);
    message[1] = static_cast<char>(id & 0xffU);
}

std::string_view dnsQuestionOf(std::string_view message) {
    if (message.size() < kDnsHeaderSize || wordAt(message, kQuestions) != 1) {
        return {};
    }
    std::size_t at = kDnsHeaderSize;
    while (at < message.size() && byteAt(message, at) != 0) {
        if (byteAt(message, at) > kLongestLabel) {
            return {};
        }
        at += 1 + byteAt(message, at);
    }
    constexpr std::size_t kTypeAndClass = 4;
    const std::size_t size = at + 1 - kDnsHeaderSize;
    if (size > kLongestName || message.size() < kDnsHeaderSize + size + kTypeAndClass) {
        return {};
    }
    return message.substr(kDnsHeaderSize, size + kTypeAndClass);
}

QueryVerdict judgeQuery(std::string_view message) {
    if (message.size() < kDnsHeaderSize || (byteAt(message, kFlags) & kAnswerBit) != 0) {
        return QueryVerdict::drop;
    }
    if ((byteAt(message, kFlags) & kOpcodeBits) != 0) {
        return QueryVerdict::notImplemented;
    }
    const std::string_view question = dnsQuestionOf(message);
    if (question.empty()) {
        return QueryVerdict::formatError;
    }
    const unsigned int type = wordAt(question, question.size() - 4);
    return type == kTypeAxfr || type == kTypeIxfr ? QueryVerdict::refused : QueryVerdict::forward;
}

std::string dnsErrorAnswer(std::string_view query, DnsError error) {
    std::string answer(kDnsHeaderSize, '\0');
    setDnsId(answer, dnsIdOf(query));
    const unsigned int flags =
        query.size() > kFlags ? byteAt(query, kFlags) & (kOpcodeBits | kRecursionDesiredBit) : 0;
    answer[kFlags] = static_cast<char>(kAnswerBit | flags);
    answer[kFlags + 1] = static_cast<char>(error);
    return answer;
}

bool answersQuestion(std::string_view message, std::string_view question) {
    const std::string_view asked = dnsQuestionOf(message);
    return !asked.empty() && (byteAt(message, kFlags) & (kAnswerBit | kOpcodeBits)) == kAnswerBit &&
           std::equal(asked.begin(), asked.end(), question.begin(), question.end(),
                      [](char a, char b) { return lower(a) == lower(b); });
}

DnsAnswer readDnsAnswer(std::string_view message) {
    ldns_pkt* read = nullptr;
    if (message.size() > kLongestRead ||
        ldns_wire2pkt(&read, reinterpret_cast<const std::uint8_t*>(message.data()),
                      message.size()) != LDNS_STATUS_OK) {
        return {};
    }
    const std::unique_ptr<ldns_pkt, Free> packet(read);
    const ldns_rr_list* const questions = ldns_pkt_question(packet.get());
    if (ldns_pkt_get_rcode(packet.get()) != LDNS_RCODE_NOERROR ||
        ldns_rr_list_rr_count(questions) != 1) {
        return {};
    }
    DnsAnswer answer;
    answer.names.push_back(nameText(ldns_rr_owner(ldns_rr_list_rr(questions, 0))));
    const ldns_rr_list* const records = ldns_pkt_answer(packet.get());
    followAliases(records, answer.names);
    for (std::size_t i = 0; i < ldns_rr_list_rr_count(records); ++i) {
        addRecord(ldns_rr_list_rr(records, i), answer);
    }
    return answer;
}

}  // namespace redirectord
