#pragma once

// Reading of values that a message may lack.

#include <string>

#include "core/data_parser.h"
#include "core/message_entry.h"

namespace vesta {

// Runs read(); false when it throws because the message lacks the value or holds an unreadable one.
template <class Read>
[[nodiscard]] bool readOptional(Read read) {
    try {
        read();
        return true;
    } catch (ENTRY_EXCEPTION_TYPE) {
        return false;
    } catch (PARSER_EXCEPTION_TYPE) {
        return false;
    }
}

// What read() gives, or `absent` where readOptional() would say false.
template <class Value, class Read>
[[nodiscard]] Value valueOr(Value absent, Read read) {
    static_cast<void>(readOptional([&] { absent = read(); }));
    return absent;
}

// The text under `key`; "" when there is none.
[[nodiscard]] inline std::string textOrEmpty(MessageEntry& entry, const char* key) {
    return valueOr(std::string(), [&] { return entry.getCharValue(key); });
}

}  // namespace vesta
