#pragma once

// A client record as access points share it, and its form in a publication. Values without threads
// or state.
//
// The payload of a record's topic is one JSON object: "action" (what happened last: "add", "assoc",
// "disassoc", "update" or "reset"), "time" (milliseconds since 1970 on the publisher's wall clock),
// "ap-mac", "instance" and "number" (who published it, and which of its publications it is), "user"
// (the record, always whole) and "session-time" (that of the record, in milliseconds).
// docs/roaming.md shows one.

#include <cstddef>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

namespace apbd {

using Json = nlohmann::json;

// The access points that share: those that serve an SSID within a mobility domain.
struct Scope {
    std::string domain;
    std::string ssid;

    bool operator<(const Scope& other) const {
        return std::tie(domain, ssid) < std::tie(other.domain, other.ssid);
    }
    bool operator==(const Scope& other) const {
        return domain == other.domain && ssid == other.ssid;
    }
};

// The scopes of one access point, with the RADIUS domain of each.
using Scopes = std::map<Scope, std::string>;

struct Key {
    Scope scope;
    std::string mac;  // lower case

    bool operator<(const Key& other) const {
        return std::tie(scope, mac) < std::tie(other.scope, other.mac);
    }
    bool operator==(const Key& other) const { return scope == other.scope && mac == other.mac; }
};

// One publication among all: the process that made it, and its number there.
struct Version {
    std::string instance;
    std::uint64_t number = 0;

    bool operator==(const Version& other) const {
        return instance == other.instance && number == other.number;
    }
    bool operator!=(const Version& other) const { return !(*this == other); }
};

// Times and durations in milliseconds.
struct Record {
    std::string user;  // JSON text: a tenth of what the parsed form takes
    std::string action;
    Version version;
    std::string apMac;
    std::int64_t time = 0;         // since 1970, the publisher's clock
    std::int64_t sessionTime = 0;  // at that time
    std::int64_t age = 0;          // between publication and receipt
    std::int64_t receivedAt = 0;   // monotonic
    std::int64_t endsAt = 0;       // monotonic: nobody may be let in by it any more
};

inline constexpr const char* kAdd = "add";
inline constexpr const char* kAssoc = "assoc";
inline constexpr const char* kDisassoc = "disassoc";
inline constexpr const char* kUpdate = "update";
inline constexpr const char* kReset = "reset";

// How large a publication may be, in bytes, and how deeply nested; a record in it leaves some room.
// Nobody shares more: a single message must not hold up the others, nor the bus to vestad, which
// takes 31 levels.
struct Bounds {
    std::size_t bytes;
    int levels;
};
inline constexpr Bounds kPublicationBounds{64 << 10, 16};
inline constexpr Bounds kRecordBounds{63 << 10, 15};

// Whether a JSON text keeps to the bounds. It is not parsed for that.
[[nodiscard]] bool isWithin(const Bounds& bounds, std::string_view json);

// The text under `key`; "" when there is none.
[[nodiscard]] std::string textOf(const Json& object, const char* key);

// The station that a client record names: by its "sta-mac", "ssid" and "mobility-domain". Nothing
// when one of them is missing or the MAC is none.
[[nodiscard]] std::optional<Key> keyOf(const Json& user);

[[nodiscard]] std::string encode(const Record& record);
// The record of `key` that `payload` holds, with its age by the two clocks. Nothing when it isn't
// one, is too large or too deep, or names another station than its topic.
[[nodiscard]] std::optional<Record> decode(const Key& key, const std::string& payload);

// The client record with the session time that it has by now.
[[nodiscard]] Json agedUser(const Record& record);

// How long a record may let its station in from now on, in seconds: as long as the times of its
// present scenario allow, and `most` at most. A station that is at home somewhere is published
// again before that.
[[nodiscard]] std::uint32_t lifetimeOf(const Record& record, std::uint32_t most);

// Lets the session of a client record be `milliseconds` older.
void addSessionTime(Json& user, std::int64_t milliseconds);
// The session time that a client record names.
[[nodiscard]] std::int64_t sessionTimeOf(const Json& user);
// The session time after an update of `known`. An access point counts whole seconds, once a second:
// what it reports of a session that just goes on would shift the session's begin with each walk.
[[nodiscard]] std::int64_t sessionTimeAfter(const Record& known, const Json& changes);

// Takes over what changes within a session: the current scenario, its limits and the session time.
// The scenarios stay. Returns the JSON text.
[[nodiscard]] std::string mergedUser(const std::string& user, const Json& changes);

// Whether the two differ in nothing but what changes within a session.
[[nodiscard]] bool isSameSession(const std::string& one, const std::string& other);

}  // namespace apbd
