#include "kernel/redirector_white_lists.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "core/data_parser.h"
#include "core/logger.h"

namespace vesta {

std::uint32_t RedirectorWhiteLists::add(std::shared_ptr<WhiteAddressesList> list) {
    std::uint32_t largest = 0;
    for (const auto& entry : lists_) {
        largest = std::max(largest, entry.second.id);
    }
    const std::uint32_t id = largest + 1;
    const std::string name = list->getName();
    lists_.emplace(name, Told{id, std::move(list)});
    return id;
}

std::optional<std::uint32_t> RedirectorWhiteLists::idOf(const std::string& name) const {
    const auto found = lists_.find(name);
    return found != lists_.end() ? std::optional(found->second.id) : std::nullopt;
}

std::string RedirectorWhiteLists::to_string() const {
    std::string text = "Userspace to kernelspace white lists map: ";
    for (const auto& [name, told] : lists_) {
        text += "\nhash = " + name + " / redirector id = " + std::to_string(told.id);
    }
    return text + "\n";
}

void RedirectorWhiteLists::tell(const WhiteAddressesList& list, std::uint32_t id) {
    tellAddresses(list, id);
    tellStrings(RedirectorRequest::REDIRECTOR_ADD_WHITE_DOMAINS, id, list.domain_cbegin(),
                list.domain_cend());
    tellStrings(RedirectorRequest::REDIRECTOR_ADD_WHITE_REGEXPS, id, list.regexp_cbegin(),
                list.regexp_cend());
}

void RedirectorWhiteLists::tellAll() {
    for (const auto& entry : lists_) {
        tell(*entry.second.list, entry.second.id);
    }
}

void RedirectorWhiteLists::tellAddresses(const WhiteAddressesList& list, std::uint32_t id) {
    AddressChunk chunk(id);
    for (auto entry = list.ip_cbegin(); entry != list.ip_cend(); ++entry) {
        if (chunk.full()) {
            request(RedirectorRequest::REDIRECTOR_ADD_WHITE_IPS, chunk.bytes());
            chunk.clear();
        }
        chunk.add(entry->first, entry->second);
        if (logger().isDebug()) {
            logger().Debug("For white list %d add ip address\t%s subnet mask %s\n",
                           static_cast<int>(id),
                           DataParser::castRowIpToString(in_addr{entry->first}).c_str(),
                           DataParser::castRowIpToString(in_addr{entry->second}).c_str());
        }
    }
    if (!chunk.empty()) {
        request(RedirectorRequest::REDIRECTOR_ADD_WHITE_IPS, chunk.bytes());
    }
}

void RedirectorWhiteLists::tellStrings(RedirectorRequest number, std::uint32_t id,
                                       WhiteAddressesList::Strings::const_iterator first,
                                       WhiteAddressesList::Strings::const_iterator last) {
    StringChunk chunk(id);
    for (auto text = first; text != last; ++text) {
        // The module reads a chunk up to the first empty text.
        if (text->empty() && std::next(text) != last) {
            continue;
        }
        if (StringChunk::neverFits(*text)) {
            logger().Warning("White list %u: entry of %zu bytes is too long, skipped\n", id,
                             text->size());
            continue;
        }
        if (!chunk.fits(*text)) {
            request(number, chunk.bytes());
            chunk.clear();
        }
        chunk.add(*text);
        // The log record names the domains' command for patterns too.
        logger().Debug(
            "For white list %d send to redirect command %d with string: %s\n", static_cast<int>(id),
            static_cast<int>(RedirectorRequest::REDIRECTOR_ADD_WHITE_DOMAINS), text->c_str());
    }
    if (!chunk.empty()) {
        request(number, chunk.bytes());
    }
}

// The result is dropped, because the platform library reports a missing module.
void RedirectorWhiteLists::request(RedirectorRequest number, RedirectorChunkBytes& chunk) {
    module_.request(static_cast<unsigned long>(number), chunk.data());
}

}  // namespace vesta
