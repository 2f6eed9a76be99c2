#include "redirectord/active_list.h"

#include <algorithm>

#include "ostrel/runtime.h"
#include "redirectord/ruleset.h"

namespace redirectord {
namespace {

struct SetForm {
    const char* suffix;
    const char* type;
    const char* match;
    sa_family_t family;
    bool isLearned;
};

// The kernel removes ended elements a little later, so its bound is far above ours.
constexpr SetForm kForms[] = {
    {"_net4", "ipv4_addr; flags interval;", "ip daddr", AF_INET, false},
    {"_net6", "ipv6_addr; flags interval;", "ip6 daddr", AF_INET6, false},
    {"_dns4", "ipv4_addr; flags timeout; size 16384;", "ip daddr", AF_INET, true},
    {"_dns6", "ipv6_addr; flags timeout; size 16384;", "ip6 daddr", AF_INET6, true},
};

std::string elements(const std::vector<IpRange>& ranges) {
    std::string text;
    for (const IpRange& range : ranges) {
        text += text.empty() ? "" : ", ";
        text += range.text();
    }
    return text.empty() ? "" : " elements = { " + text + " }";
}

}  // namespace

std::string ActiveList::creation(const WhiteList& content) const {
    std::string commands = "add chain netdev vesta " + chain_ + "\n";
    for (const SetForm& form : kForms) {
        commands += "add set netdev vesta " + set(form.suffix) + " { type " + form.type +
                    (form.isLearned ? "" : elements(content.ranges(form.family))) + " }\n";
        commands += "add rule netdev vesta " + chain_ + " " + form.match + " @" + set(form.suffix) +
                    " meta mark set " + std::to_string(kMarkListed) + " return\n";
    }
    return commands;
}

std::string ActiveList::removal() const {
    std::string commands =
        "flush chain netdev vesta " + chain_ + "\ndelete chain netdev vesta " + chain_ + "\n";
    for (const SetForm& form : kForms) {
        commands += "delete set netdev vesta " + set(form.suffix) + "\n";
    }
    return commands;
}

bool ActiveList::learn(const DnsAnswer& answer, Clock::time_point now, ElementBatch& batch) {
    const auto name = std::find_if(answer.names.begin(), answer.names.end(),
                                   [this](const std::string& one) { return names_.matches(one); });
    if (name == answer.names.end()) {
        return false;
    }
    for (const DnsAddress& one : answer.addresses) {
        const auto life = std::clamp<std::chrono::seconds>(one.ttl, kShortestLife, kLongestLife);
        const auto found = learned_.find(one.address);
        if (one.address.isRoutable() &&
            (found == learned_.end() || found->second.until < now + life)) {
            write(one.address, {now + life + kSpare, *name}, now, batch);
        }
    }
    return true;
}

void ActiveList::learnFrom(const ActiveList& other, Clock::time_point now, ElementBatch& batch) {
    for (const auto& [address, learned] : other.learned_) {
        if (learned.until > now && names_.matches(learned.name)) {
            write(address, learned, now, batch);
        }
    }
}

void ActiveList::write(const IpAddress& address, const Learned& learned, Clock::time_point now,
                       ElementBatch& batch) {
    if (learned_.count(address) == 0 && !makeRoom(now)) {
        return;
    }
    learned_[address] = learned;
    const auto life = std::chrono::ceil<std::chrono::milliseconds>(learned.until - now);
    const std::string target = set(address.family == AF_INET ? "_dns4" : "_dns6");
    const std::string_view key(reinterpret_cast<const char*>(address.bytes.data()), address.size());
    // Kernels before 6.12 leave an element's time as it is when it is added again; and nobody knows
    // whether it is still there, or a predecessor of this process added it.
    batch.addFor(target, key, life);
    batch.remove(target, key);
    batch.addFor(target, key, life);
}

bool ActiveList::makeRoom(Clock::time_point now) {
    if (learned_.size() < kMostLearned || now < nextRoom_) {
        return learned_.size() < kMostLearned;
    }
    nextRoom_ = now + std::chrono::seconds(1);
    for (auto one = learned_.begin(); one != learned_.end();) {
        one = one->second.until <= now ? learned_.erase(one) : std::next(one);
    }
    if (learned_.size() >= kMostLearned) {
        ostrel::report(ostrel::LogLevel::warning,
                       "%s: %zu addresses of names are allowed already, no further one",
                       chain_.c_str(), learned_.size());
        nextRoom_ = now + kShortestLife;
    }
    return learned_.size() < kMostLearned;
}

}  // namespace redirectord
