#include "apbd/white_lists.h"

#include <utility>

#include "ostrel/runtime.h"

namespace apbd {
namespace {

constexpr std::size_t kMostLists = 1024;

bool isText(const std::string& bytes) {
    try {
        static_cast<void>(Json(bytes).dump());
        return true;
    } catch (const Json::exception&) {
        return false;  // no UTF-8
    }
}

Json entryOf(const WhiteLists::List& list, const Scopes& scopes) {
    Json entry = {{"permitted-ip", list.values}};
    if (!list.place.isFurtherList) {
        const Scope& scope = list.place.scope;
        const auto known = scopes.find(scope);
        entry["mobility-domain"] = {{"ssid", scope.ssid},
                                    {"mobility-domain", scope.domain},
                                    {"radius-domain", known == scopes.end() ? "" : known->second}};
    }
    return entry;
}

}  // namespace

bool WhiteLists::put(Lists& lists, const std::string& topic, const Topics::Place& place,
                     const std::string& payload) {
    if (payload.size() > kPublicationBounds.bytes || !isText(payload)) {
        ostrel::report(ostrel::LogLevel::warning,
                       "%s holds no UTF-8 text of at most %zu bytes, ignored", topic.c_str(),
                       kPublicationBounds.bytes);
        return false;
    }
    if (lists.size() >= kMostLists && lists.count(topic) == 0) {
        ostrel::report(ostrel::LogLevel::warning, "there are %zu white lists, %s is ignored",
                       lists.size(), topic.c_str());
        return false;
    }
    if (payload.empty()) {
        lists.erase(topic);
    } else {
        lists[topic] = {place, payload};
    }
    return true;
}

std::vector<Json> WhiteLists::entries(const std::string& topic, const Scopes& scopes) const {
    std::vector<Json> entries;
    const auto list = lists_.find(topic);
    if (list != lists_.end()) {
        entries.push_back(entryOf(list->second, scopes));
    }
    return entries;
}

std::vector<Json> WhiteLists::entries(const Scopes& scopes) const {
    std::vector<Json> entries;
    for (const auto& [topic, list] : lists_) {
        entries.push_back(entryOf(list, scopes));
    }
    return entries;
}

std::vector<Json> WhiteLists::replace(Lists lists, const Scopes& scopes) {
    std::vector<Json> changed;
    for (const auto& [topic, list] : lists) {
        const auto known = lists_.find(topic);
        if (known == lists_.end() || known->second.values != list.values) {
            changed.push_back(entryOf(list, scopes));
        }
    }
    lists_ = std::move(lists);
    return changed;
}

}  // namespace apbd
