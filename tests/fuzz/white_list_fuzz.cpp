// Any text as a white list's values: no entry opens more than an address with a mask that is one,
// and the module is told all of it, to the byte.

#include <arpa/inet.h>

#include "fuzz/input.h"
#include "kernel/redirector_records.h"
#include "kernel/redirector_white_lists.h"
#include "whitelist/permitted_ip.h"

namespace {

using fuzz::require;
using vesta::WhiteAddressesList;

constexpr std::uint32_t kId = 7;

// A module that reads the chunks of one list.
class Module {
public:
    // Requests as a sender has them: their sizes in front, zeroes at their ends left out.
    void tell(const std::string& requests) {
        for (std::size_t at = 0; at < requests.size();) {
            const std::size_t size = word(requests.data() + at);
            std::string chunk = requests.substr(at + 5, size - 1);
            require(chunk.size() <= 1032);
            chunk.resize(1032);
            request(static_cast<std::size_t>(requests[at + 4]), chunk.data());
            at += 4 + size;
        }
    }

    // Addresses, domains and patterns.
    [[nodiscard]] const std::string& told(std::size_t kind) const { return told_[kind]; }

private:
    void request(std::size_t number, const char* chunk) {
        std::string& told = told_[number - 20];
        require(word(chunk) == (told.empty() ? kId : 0));
        if (number == 20) {
            const std::uint32_t count = word(chunk + 4);
            require(count >= 1 && count <= 128);
            told.append(chunk + 8, 8 * count);
        } else {
            std::size_t at = 4;
            while (at < 1032 && chunk[at] != '\0') {
                told.append(chunk + at, std::string(chunk + at).size() + 1);
                at += std::string(chunk + at).size() + 1;
            }
            require(at < 1032);
        }
    }
    static std::uint32_t word(const char* bytes) {
        std::uint32_t value = 0;
        std::copy_n(bytes, sizeof value, reinterpret_cast<char*>(&value));
        return value;
    }

    std::string told_[3];
};

std::string addressesOf(const WhiteAddressesList& list) {
    std::string bytes;
    for (auto entry = list.ip_cbegin(); entry != list.ip_cend(); ++entry) {
        const std::uint32_t zeros = ~ntohl(entry->second);
        require(entry->first != 0 && zeros != UINT32_MAX && (zeros & (zeros + 1)) == 0);
        bytes.append(reinterpret_cast<const char*>(&entry->first), 4);
        bytes.append(reinterpret_cast<const char*>(&entry->second), 4);
    }
    return bytes;
}

// Those that can be told: the module reads a chunk up to the first empty text.
template <class Iterator>
std::string textsOf(Iterator first, Iterator last) {
    std::string bytes;
    for (; first != last; ++first) {
        if (!first->empty() && !vesta::StringChunk::neverFits(*first)) {
            bytes += *first + '\0';
        }
    }
    return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A text of a message ends at its first zero.
    const WhiteAddressesList list("", std::string(data, data + size).c_str());
    require(vesta::isWhiteListHash(list.getHash()) && list.getName() == list.getHash());
    Module module;
    module.tell(vesta::RedirectorWhiteLists::requestsFor(list, kId));
    require(module.told(0) == addressesOf(list));
    require(module.told(1) == textsOf(list.domain_cbegin(), list.domain_cend()));
    require(module.told(2) == textsOf(list.regexp_cbegin(), list.regexp_cend()));
    return 0;
}
