#pragma once

// The texts that requests to apbd start from, trailing commas included, and the words in them.

namespace vesta {

inline constexpr const char* kApbdStatusRequest =
    "{    \"cmd\": \"status\",    \"service\": \"internal-ipc\",}";
inline constexpr const char* kApbdSubscribeRequest = "{    \"cmd\": \"subscribe-request\",}";
inline constexpr const char* kApbdAddRequest = "{    \"cmd\": \"add-request\",}";
inline constexpr const char* kApbdUpdateRequest = "{    \"cmd\": \"update-request\",}";
inline constexpr const char* kApbdDelRequest = "{    \"cmd\": \"del-request\",}";

// The actions of an update.
inline constexpr const char* kApbdAssoc = "assoc";
inline constexpr const char* kApbdDisassoc = "disassoc";
inline constexpr const char* kApbdUpdate = "update";

// The reasons of a del-request: the end of a session, and a record that replaces an older one.
inline constexpr const char* kApbdAwayTimeout = "away timeout";
inline constexpr const char* kApbdForced = "forced";

}  // namespace vesta
