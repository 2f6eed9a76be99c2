#include "apb/apbd_entry.h"

#include <algorithm>
#include <limits>

#include "core/json_entry.h"
#include "core/logger.h"
#include "ostrel/clock.h"

namespace vesta {

std::shared_ptr<MessageEntry> APBDEntry::message() const {
    return std::make_shared<JsonEntry>(text.c_str());
}

std::shared_ptr<MessageEntry> APBDEntry::agedMessage() const {
    std::shared_ptr<MessageEntry> aged = message();
    ageSince(receivedAt, *aged);
    return aged;
}

void ageSince(std::int64_t time, MessageEntry& record) {
    constexpr const char* kSessionTime = "cur-session-time";
    try {
        const std::int64_t passed =
            (ostrel::clock().monotonicMicroseconds() - time + 500000) / 1000000;
        record.insertIntValue(kSessionTime, static_cast<int>(std::min<std::int64_t>(
                                                record.getIntValue(kSessionTime) + passed,
                                                std::numeric_limits<int>::max())));
    } catch (ENTRY_EXCEPTION_TYPE) {
        logger().Warning("Record without \"%s\":\n'%s'\n", kSessionTime,
                         record.getStringRepresentation());
    }
}

}  // namespace vesta
