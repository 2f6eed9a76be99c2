#pragma once

// Reading of values that a message may lack.

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

}  // namespace vesta
