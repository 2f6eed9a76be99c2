#pragma once

// Messages as the bus reads them.

#include <string>
#include <utility>

#include "bus/json_text.h"
#include "fuzz/input.h"

namespace fuzz {

// The message that the bus would hand on; null for a text that it would not.
inline ostrel::bus::Json readMessage(const std::string& text) {
    static ostrel::bus::JsonReader reader;
    ostrel::bus::Json message;
    const bool handedOn = reader.read(text, message) == ostrel::bus::JsonReader::Kind::object;
    return handedOn ? std::move(message) : nullptr;
}

inline json_object* member(json_object* object, const char* key) {
    json_object* value = nullptr;
    json_object_object_get_ex(object, key, &value);  // false, and null, when it is no object
    return value;
}

// As the daemon reads it: a text ends at its first zero.
inline std::string textOf(json_object* value) {
    return json_object_is_type(value, json_type_string) ? json_object_get_string(value) : "";
}

}  // namespace fuzz
