#include "messages/dialect_table.h"

#include "messages/scenario_values.h"

namespace vesta {

void writeText(MessageEntry& message, const char* key, const ToldValue& value) {
    message.insertStringValue(key, value.text->c_str());
}

void writeTextUnlessEmpty(MessageEntry& message, const char* key, const ToldValue& value) {
    if (!value.text->empty()) {
        writeText(message, key, value);
    }
}

void writeNumber(MessageEntry& message, const char* key, const ToldValue& value) {
    message.insertIntValue(key, static_cast<int>(value.number));
}

void writeSharedId(MessageEntry& message, const char* key, const ToldValue& value) {
    message.insertIntValue(key, idForPeers(static_cast<unsigned int>(value.number)));
}

void writeOpposite(MessageEntry& message, const char* key, const ToldValue& value) {
    message.insertStringValue(key, value.number != 0 ? "false" : "true");
}

void writeEntries(MessageEntry& message, const char* key, const ToldValue& value) {
    message.insertArrayValue(key, *value.entries);
}

ReadValue readText(MessageEntry& message, const char* key) {
    return {message.getCharValue(key)};
}

ReadValue readNumber(MessageEntry& message, const char* key) {
    return {"", message.getIntValue(key)};
}

ReadValue readBytes(MessageEntry& message, const char* key) {
    return {"", message.getLongLongValue(key)};
}

ReadValue readSharedId(MessageEntry& message, const char* key) {
    return {"", static_cast<int>(idFromPeers(message.getIntValue(key)))};
}

}  // namespace vesta
