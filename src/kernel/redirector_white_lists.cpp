#include "kernel/redirector_module_worker.h"

#include <netinet/in.h>

#include <algorithm>

#include "client/client.h"
#include "core/data_parser.h"
#include "core/logger.h"

namespace vesta {

bool RedirectorModuleWorker::insertWhiteList(std::shared_ptr<WhiteAddressesList> list) {
    const MutexLock lock(toldMutex_);
    const std::uint32_t id = nextListId();
    lists_.emplace(list->getName(), ToldList{id, list});
    logger().Debug("%s.%s: insert white list %s to recirector with id %d\n", name_.c_str(),
                   "insertWhiteList", list->getHash().c_str(), static_cast<int>(id));
    sendList(*list, id);
    return true;
}

bool RedirectorModuleWorker::wipeWhiteLists() {
    logger().Debug("%s,%d,wipe all white lists in redirector\n", "wipeWhiteLists", 368);
    const MutexLock lock(toldMutex_);
    lists_.clear();
    request(RedirectorRequest::REDIRECTOR_WIPE_WHITE_LISTS, nullptr);
    return true;
}

void RedirectorModuleWorker::setClientWhiteList(std::shared_ptr<Client> client) {
    const std::string listName = client->getWhiteIpListId();
    if (listName.empty()) {
        logger().Warning("%s,%d,Client %s does't has any white list\n", "setClientWhiteList", 235,
                         client->getMacAddress().c_str());
        return;
    }
    const RedirectorClientRecord record = recordOf(*client);
    const MutexLock lock(toldMutex_);
    const auto found = lists_.find(listName);
    if (found == lists_.end()) {
        logger().Warning("%s,%d,White list with id %s not found in redirector\n",
                         "setClientWhiteList", 242, listName.c_str());
        if (logger().isDebug()) {
            logger().Debug("%s,%d,Full list is '%s'\n", "setClientWhiteList", 245,
                           listsText().c_str());
        }
        return;
    }
    const std::uint32_t id = found->second.id;
    logger().Debug("%s,%d,For client %s on interface %s with list id %d\n", "setClientWhiteList",
                   252, client->getMacAddress().c_str(), client->getInterface().c_str(),
                   static_cast<int>(id));
    const auto station = stations_.find(stationOf(record));
    if (station != stations_.end()) {
        station->second.listId = id;
    }
    sendStationList(record, id);
}

std::string RedirectorModuleWorker::to_string() const {
    const MutexLock lock(toldMutex_);
    return listsText();
}

std::string RedirectorModuleWorker::listsText() const {
    std::string text = "Userspace to kernelspace white lists map: ";
    for (const auto& [name, told] : lists_) {
        text += "\nhash = " + name + " / redirector id = " + std::to_string(told.id);
    }
    return text + "\n";
}

// One more than the largest id in use.
std::uint32_t RedirectorModuleWorker::nextListId() const {
    std::uint32_t largest = 0;
    for (const auto& entry : lists_) {
        largest = std::max(largest, entry.second.id);
    }
    return largest + 1;
}

void RedirectorModuleWorker::sendList(const WhiteAddressesList& list, std::uint32_t id) {
    sendAddresses(list, id);
    sendStrings(RedirectorRequest::REDIRECTOR_ADD_WHITE_DOMAINS, id, list.domain_cbegin(),
                list.domain_cend());
    sendStrings(RedirectorRequest::REDIRECTOR_ADD_WHITE_REGEXPS, id, list.regexp_cbegin(),
                list.regexp_cend());
}

void RedirectorModuleWorker::sendStationList(const RedirectorClientRecord& station,
                                             std::uint32_t listId) {
    RedirectorClientWhiteListRecord record = makeClientWhiteListRecord(station, listId);
    request(RedirectorRequest::REDIRECTOR_SET_CLIENT_WHITE_LIST, record.data());
}

void RedirectorModuleWorker::sendAddresses(const WhiteAddressesList& list, std::uint32_t id) {
    AddressChunk chunk(id);
    for (auto entry = list.ip_cbegin(); entry != list.ip_cend(); ++entry) {
        if (chunk.full()) {
            request(RedirectorRequest::REDIRECTOR_ADD_WHITE_IPS, chunk.bytes().data());
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
        request(RedirectorRequest::REDIRECTOR_ADD_WHITE_IPS, chunk.bytes().data());
    }
}

void RedirectorModuleWorker::sendStrings(RedirectorRequest number, std::uint32_t id,
                                         WhiteAddressesList::Strings::const_iterator first,
                                         WhiteAddressesList::Strings::const_iterator last) {
    StringChunk chunk(id);
    for (auto text = first; text != last; ++text) {
        if (StringChunk::neverFits(*text)) {
            logger().Warning("White list %u: entry of %zu bytes is too long, skipped\n", id,
                             text->size());
            continue;
        }
        if (!chunk.fits(*text)) {
            request(number, chunk.bytes().data());
            chunk.clear();
        }
        chunk.add(*text);
        // The record names domains and patterns alike by the command for domains.
        logger().Debug(
            "For white list %d send to redirect command %d with string: %s\n", static_cast<int>(id),
            static_cast<int>(RedirectorRequest::REDIRECTOR_ADD_WHITE_DOMAINS), text->c_str());
    }
    if (!chunk.empty()) {
        request(number, chunk.bytes().data());
    }
}

}  // namespace vesta
