#include "apbd/record.h"

#include <algorithm>
#include <limits>

#include "ostrel/addresses.h"
#include "ostrel/clock.h"

namespace apbd {
namespace {

constexpr const char* kSessionTime = "cur-session-time";
constexpr const char* kScenario = "cur-scenario-id";
constexpr const char* kChanging[] = {kScenario, kSessionTime, "cur-time-limit", "cur-traffic-limit",
                                     "simultaneous-use"};

// A clock that shows an earlier time was never set (2020-01-01).
constexpr std::int64_t kEarliestTime = 1577836800000;

// A reported session time of the same session differs at most so much from the expected one: both
// are whole seconds, and the access point counts at the end of each second.
constexpr std::int64_t kMostBehind = 2500;
constexpr std::int64_t kMostAhead = 1200;

// Seconds; clocks and messages take their time.
constexpr std::int64_t kShortestLifetime = 60;

// A record's session time is a number of 32 bits.
constexpr std::int64_t kMostSeconds = std::numeric_limits<std::int32_t>::max();

std::int64_t numberOf(const Json& object, const char* key) {
    const auto member = object.find(key);
    return member != object.end() && member->is_number_integer() ? member->get<std::int64_t>() : 0;
}

bool isAction(const std::string& text) {
    return text == kAdd || text == kAssoc || text == kDisassoc || text == kUpdate || text == kReset;
}

// Where one of the two clocks was never set, nothing is known of the time between.
std::int64_t ageOf(std::int64_t publishedAt) {
    const std::int64_t now = ostrel::wallMilliseconds();
    if (publishedAt < kEarliestTime || now < kEarliestTime) {
        return 0;
    }
    return std::max<std::int64_t>(now - publishedAt, 0);
}

std::int64_t agedSessionTime(const Record& record) {
    return record.sessionTime + record.age + ostrel::monotonicMilliseconds() - record.receivedAt;
}

std::int64_t wholeSeconds(std::int64_t milliseconds) {
    return std::min((milliseconds + 500) / 1000, kMostSeconds);
}

}  // namespace

bool isWithin(const Bounds& bounds, std::string_view json) {
    int level = 0;
    bool quoted = false;
    for (std::size_t i = 0; i < json.size() && level <= bounds.levels; ++i) {
        const char byte = json[i];
        if (quoted && byte == '\\') {
            ++i;
        } else if (byte == '"') {
            quoted = !quoted;
        } else if (!quoted && (byte == '{' || byte == '[')) {
            ++level;
        } else if (!quoted && (byte == '}' || byte == ']')) {
            --level;
        }
    }
    return json.size() <= bounds.bytes && level <= bounds.levels;
}

std::string textOf(const Json& object, const char* key) {
    const auto member = object.find(key);
    return member != object.end() && member->is_string() ? member->get<std::string>() : "";
}

std::optional<Key> keyOf(const Json& user) {
    if (!user.is_object() || !user.contains("mobility-domain") ||
        !user["mobility-domain"].is_string()) {
        return std::nullopt;
    }
    const std::string ssid = textOf(user, "ssid");
    const auto mac = ostrel::parseColonMac(textOf(user, "sta-mac"));
    if (!mac || ssid.empty()) {
        return std::nullopt;
    }
    return Key{{textOf(user, "mobility-domain"), ssid}, ostrel::macText(*mac)};
}

std::string encode(const Record& record) {
    const Json publication = {{"action", record.action},
                              {"time", record.time},
                              {"session-time", record.sessionTime},
                              {"ap-mac", record.apMac},
                              {"instance", record.version.instance},
                              {"number", record.version.number},
                              {"user", Json::parse(record.user)}};
    return publication.dump();
}

std::optional<Record> decode(const Key& key, const std::string& payload) {
    if (!isWithin(kPublicationBounds, payload)) {
        return std::nullopt;
    }
    const Json publication = Json::parse(payload, nullptr, false);
    if (!publication.is_object() || !publication.contains("user") ||
        !(keyOf(publication["user"]) == key)) {
        return std::nullopt;
    }
    Record record;
    record.user = publication["user"].dump();
    record.action = textOf(publication, "action");
    record.version = {textOf(publication, "instance"),
                      static_cast<std::uint64_t>(numberOf(publication, "number"))};
    record.apMac = textOf(publication, "ap-mac");
    record.time = numberOf(publication, "time");
    record.sessionTime = publication.contains("session-time")
                             ? std::clamp<std::int64_t>(numberOf(publication, "session-time"), 0,
                                                        kMostSeconds * 1000)
                             : sessionTimeOf(publication["user"]);
    record.age = ageOf(record.time);
    record.receivedAt = ostrel::monotonicMilliseconds();
    if (!isAction(record.action) || record.version.instance.empty()) {
        return std::nullopt;
    }
    return record;
}

std::uint32_t lifetimeOf(const Record& record, std::uint32_t most) {
    std::int64_t seconds = most;
    const auto shorten = [&seconds](std::int64_t limit, std::int64_t used) {
        seconds = limit > 0 ? std::min(seconds, limit - used) : seconds;
    };
    const Json user = Json::parse(record.user);
    for (const Json& scenario : user.value("scenario", Json::array())) {
        if (scenario.is_object() && numberOf(scenario, "ID") == numberOf(user, kScenario)) {
            shorten(numberOf(scenario, "session-timeout"), agedSessionTime(record) / 1000);
            shorten(record.action == kDisassoc ? numberOf(scenario, "away-timeout") : 0, 0);
        }
    }
    return static_cast<std::uint32_t>(std::max(seconds, kShortestLifetime));
}

Json agedUser(const Record& record) {
    Json user = Json::parse(record.user);
    user[kSessionTime] = wholeSeconds(agedSessionTime(record));
    return user;
}

void addSessionTime(Json& user, std::int64_t milliseconds) {
    user[kSessionTime] = wholeSeconds(sessionTimeOf(user) + milliseconds);
}

std::int64_t sessionTimeOf(const Json& user) {
    return std::clamp<std::int64_t>(numberOf(user, kSessionTime), 0, kMostSeconds) * 1000;
}

std::int64_t sessionTimeAfter(const Record& known, const Json& changes) {
    const std::int64_t expected = agedSessionTime(known);
    const std::int64_t reported =
        changes.contains(kSessionTime) ? sessionTimeOf(changes) : expected;
    const bool goesOn =
        numberOf(Json::parse(known.user), kScenario) == numberOf(changes, kScenario) &&
        reported >= expected - kMostBehind && reported <= expected + kMostAhead;
    return goesOn ? expected : reported;
}

std::string mergedUser(const std::string& user, const Json& changes) {
    Json merged = Json::parse(user);
    for (const char* const key : kChanging) {
        if (changes.contains(key)) {
            merged[key] = changes[key];
        }
    }
    return merged.dump();
}

bool isSameSession(const std::string& one, const std::string& other) {
    Json first = Json::parse(one);
    Json second = Json::parse(other);
    for (const char* const key : kChanging) {
        first.erase(key);
        second.erase(key);
    }
    return first == second;
}

}  // namespace apbd
