#include "apb/apbd_entry.h"

#include <algorithm>
#include <limits>

#include "core/json_entry.h"
#include "core/logger.h"
#include "core/quoted.h"
#include "ostrel/clock.h"

namespace vesta {
namespace {

constexpr const char* kSessionTime = "cur-session-time";

}  // namespace

std::shared_ptr<MessageEntry> APBDEntry::message() const {
    return std::make_shared<JsonEntry>(text.c_str());
}

std::shared_ptr<MessageEntry> APBDEntry::agedMessage() const {
    std::shared_ptr<MessageEntry> aged = message();
    ageSince(receivedAt, *aged);
    return aged;
}

void APBDEntry::store(MessageEntry& record) {
    text = record.getStringRepresentation();
    receivedAt = ostrel::clock().monotonicMicroseconds();
    untold = false;
    cleared = false;
}

void APBDEntry::update(MessageEntry& changes) {
    const std::shared_ptr<MessageEntry> record = message();
    updateRecord(*record, changes);
    text = record->getStringRepresentation();
    try {
        static_cast<void>(changes.getIntValue(kSessionTime));
        receivedAt = ostrel::clock().monotonicMicroseconds();
    } catch (ENTRY_EXCEPTION_TYPE) {
        // The stored session time goes on from where it was.
    }
}

void ageSince(std::int64_t time, MessageEntry& record) {
    try {
        const std::int64_t passed =
            (ostrel::clock().monotonicMicroseconds() - time + 500000) / 1000000;
        record.insertIntValue(kSessionTime, static_cast<int>(std::min<std::int64_t>(
                                                record.getIntValue(kSessionTime) + passed,
                                                std::numeric_limits<int>::max())));
    } catch (ENTRY_EXCEPTION_TYPE) {
        logger().Warning("Record without \"%s\":\n'%s'\n", kSessionTime,
                         quotedForLog(record.getStringRepresentation()).c_str());
    }
}

void updateRecord(MessageEntry& stored, MessageEntry& received) {
    for (const char* const key : {"cur-scenario-id", kSessionTime, "cur-time-limit",
                                  "cur-traffic-limit", "simultaneous-use"}) {
        try {
            stored.insertIntValue(key, received.getIntValue(key));
        } catch (ENTRY_EXCEPTION_TYPE) {
            logger().Debug("%s: update without \"%s\"\n", "updateLastMessage", key);
        }
    }
}

}  // namespace vesta
