#include "kernel/redirector_white_lists.h"

#include <algorithm>
#include <iterator>

#include "core/data_parser.h"
#include "core/logger.h"
#include "kernel/redirector_sender.h"

namespace vesta {
namespace {

using Strings = WhiteAddressesList::Strings;

void addAddresses(std::string& state, const WhiteAddressesList& list, std::uint32_t id) {
    constexpr auto kNumber = RedirectorRequest::REDIRECTOR_ADD_WHITE_IPS;
    AddressChunk chunk(id);
    for (auto entry = list.ip_cbegin(); entry != list.ip_cend(); ++entry) {
        if (chunk.full()) {
            RedirectorSender::add(state, kNumber, chunk.bytes());
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
        RedirectorSender::add(state, kNumber, chunk.bytes());
    }
}

void addStrings(std::string& state, RedirectorRequest number, std::uint32_t id,
                Strings::const_iterator first, Strings::const_iterator last) {
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
            RedirectorSender::add(state, number, chunk.bytes());
            chunk.clear();
        }
        chunk.add(*text);
        // The log record names the domains' command for patterns too.
        logger().Debug(
            "For white list %d send to redirect command %d with string: %s\n", static_cast<int>(id),
            static_cast<int>(RedirectorRequest::REDIRECTOR_ADD_WHITE_DOMAINS), text->c_str());
    }
    if (!chunk.empty()) {
        RedirectorSender::add(state, number, chunk.bytes());
    }
}

}  // namespace

std::uint32_t RedirectorWhiteLists::add(const std::string& name) {
    std::uint32_t largest = 0;
    for (const auto& entry : ids_) {
        largest = std::max(largest, entry.second);
    }
    ids_.emplace(name, largest + 1);
    return largest + 1;
}

std::optional<std::uint32_t> RedirectorWhiteLists::remove(const std::string& name) {
    const std::optional<std::uint32_t> id = idOf(name);
    ids_.erase(name);
    return id;
}

std::optional<std::uint32_t> RedirectorWhiteLists::idOf(const std::string& name) const {
    const auto found = ids_.find(name);
    return found != ids_.end() ? std::optional(found->second) : std::nullopt;
}

std::string RedirectorWhiteLists::to_string() const {
    std::string text = "Userspace to kernelspace white lists map: ";
    for (const auto& [name, id] : ids_) {
        text += "\nhash = " + name + " / redirector id = " + std::to_string(id);
    }
    return text + "\n";
}

std::string RedirectorWhiteLists::requestsFor(const WhiteAddressesList& list, std::uint32_t id) {
    std::string state;
    addAddresses(state, list, id);
    addStrings(state, RedirectorRequest::REDIRECTOR_ADD_WHITE_DOMAINS, id, list.domain_cbegin(),
               list.domain_cend());
    addStrings(state, RedirectorRequest::REDIRECTOR_ADD_WHITE_REGEXPS, id, list.regexp_cbegin(),
               list.regexp_cend());
    return state;
}

}  // namespace vesta
