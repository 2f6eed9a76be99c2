#pragma once

// A white list as it stands in the kernel: the chain "list_DIGEST" of `table netdev vesta`, which
// gives mark 4 to packets for an address in one of its four sets, "list_DIGEST_net4", "..._net6"
// (subnets), "..._dns4" and "..._dns6" (addresses of names, which end by themselves).
//
// Since the digest stands for the content, a list that is told again, also to a successor of this
// process, is found in the kernel as it was left, learned addresses included.
//
// Threads: one at a time.

#include <chrono>
#include <map>
#include <string>

#include "redirectord/dns_message.h"
#include "redirectord/element_batch.h"
#include "redirectord/white_list.h"

namespace redirectord {

class ActiveList {
public:
    using Clock = std::chrono::steady_clock;

    // A client may go on using an address for as long as the TTL says, and for a moment with what
    // it opened before. An hour is longer than stations wait in front of a portal.
    static constexpr std::chrono::seconds kShortestLife{60};
    static constexpr std::chrono::hours kLongestLife{1};
    // Addresses beyond that, so that each is written at most once a minute.
    static constexpr std::chrono::seconds kSpare{60};
    static constexpr std::size_t kMostLearned = 4096;

    explicit ActiveList(std::string digest) : chain_(std::string(kPrefix) + std::move(digest)) {}

    // Begins the name of each chain and set of a list.
    static constexpr std::string_view kPrefix = "list_";

    [[nodiscard]] const std::string& chain() const { return chain_; }
    // The nft commands that make the chain and its sets, or remove them.
    [[nodiscard]] std::string creation(const WhiteList& content) const;
    [[nodiscard]] std::string removal() const;

    // The names whose addresses learn() takes; none before.
    void setNames(const NamePatterns& names) { names_ = names; }
    [[nodiscard]] bool hasNames() const { return !names_.empty(); }

    // Adds to `batch` what the sets lack of an answer for one of the names. False when the answer
    // is for none of them.
    bool learn(const DnsAnswer& answer, Clock::time_point now, ElementBatch& batch);
    // The same with what another list has learned of names that both have.
    void learnFrom(const ActiveList& other, Clock::time_point now, ElementBatch& batch);
    // The kernel's sets may lack what was learned: learn() writes everything again.
    void distrust() { learned_.clear(); }

private:
    struct Learned {
        Clock::time_point until;  // when the kernel drops it
        std::string name;
    };

    void write(const IpAddress& address, const Learned& learned, Clock::time_point now,
               ElementBatch& batch);
    [[nodiscard]] bool makeRoom(Clock::time_point now);
    [[nodiscard]] std::string set(const char* suffix) const { return chain_ + suffix; }

    std::string chain_;
    NamePatterns names_;
    std::map<IpAddress, Learned> learned_;
    Clock::time_point nextRoom_{};
};

}  // namespace redirectord
