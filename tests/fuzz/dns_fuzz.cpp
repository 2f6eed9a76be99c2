// What the name forwarder reads of any bytes, be they a station's query or a server's answer. A
// query that goes out gets an error answer no longer than itself; of an answer come names of few
// characters and whole addresses.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/input.h"
#include "redirectord/dns_message.h"
#include "redirectord/name_patterns.h"

using namespace redirectord;
using fuzz::require;

namespace {

void readQuery(std::string_view message) {
    const std::string_view question = dnsQuestionOf(message);
    const QueryVerdict verdict = judgeQuery(message);
    if (verdict == QueryVerdict::forward) {
        require(question.size() >= 5 && question.size() <= 259);
    }
    if (verdict != QueryVerdict::drop) {
        require(dnsErrorAnswer(message, DnsError::format).size() <= message.size());
        std::string answer(message);
        answer[2] = static_cast<char>(0x80);
        setDnsId(answer, 7);
        require(dnsIdOf(answer) == 7 && answersQuestion(answer, question) == !question.empty());
    }
}

void readAnswer(std::string_view message) {
    const DnsAnswer answer = readDnsAnswer(message);
    NamePatterns patterns;
    patterns.add("*a?b*.example");
    for (const std::string& name : answer.names) {
        require(name.size() < 256 && name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789"
                                                            "-_.!") == std::string::npos);
        static_cast<void>(patterns.matches(name));
        NamePatterns itself;
        itself.add(name);
        require(itself.matches(name) || name.empty());
    }
    require(answer.names.size() <= 16 && (answer.addresses.empty() || !answer.names.empty()));
    for (const DnsAddress& one : answer.addresses) {
        require(!one.address.text().empty() && one.ttl.count() >= 0);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view message(reinterpret_cast<const char*>(data), size);
    readQuery(message);
    readAnswer(message);
    return 0;
}
