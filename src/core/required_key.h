#pragma once

// Reading of keys that the daemon can't do without. A failure ends the daemon; before that, a
// report names the key and the object that lacks it.

#include <string>

#include "core/fatal_error.h"
#include "core/message_entry.h"

namespace vesta {

inline void reportBadKey(const char* key, const std::string& object, ENTRY_EXCEPTION_TYPE failure) {
    reportFatalError("Key \"%s\" of %s is %s\n", key, object.c_str(),
                     failure == ENTRY_NOT_FOUND ? "missing" : "of a wrong type");
}

// The result of `read()`. Its ENTRY_EXCEPTION_TYPE is reported and thrown on.
template <class Read>
auto requiredKey(const char* key, const std::string& object, Read read) -> decltype(read()) {
    try {
        return read();
    } catch (ENTRY_EXCEPTION_TYPE failure) {
        reportBadKey(key, object, failure);
        throw;
    }
}

}  // namespace vesta
