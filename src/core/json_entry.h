#pragma once

// The message model over json-c. A copy behaves as a deep copy but is cheap: entries share a node
// until one of them writes, and that one copies the node first. So a change never shows in the node
// that a constructor was given either.
//
// Threads: entries that share nodes must stay on one thread, because json-c's reference counts are
// plain integers and even serialising writes into a node. Give another thread the text instead.

#include <memory>
#include <string>
#include <vector>

#include "core/message_entry.h"

struct json_object;

namespace vesta {

class JsonEntry final : public MessageEntry {
public:
    // Parses `text`; a text that is no JSON gives an empty entry, whose getters throw
    // ENTRY_NOT_FOUND. Trailing commas are accepted.
    explicit JsonEntry(const std::string& text);
    explicit JsonEntry(const char* text);
    // Takes a reference of its own of a json_object*; null throws ENTRY_NOT_FOUND.
    explicit JsonEntry(void* node);
    // The same; null gives an empty entry.
    explicit JsonEntry(json_object* node);
    ~JsonEntry() override;
    JsonEntry(const JsonEntry&) = delete;
    JsonEntry& operator=(const JsonEntry&) = delete;

    bool getBoolValue(const char* key) override;
    double getDoubleValue(const char* key) override;
    int getIntValue(const char* key) override;
    long long getLongLongValue(const char* key) override;
    std::string getCharValue(const char* key) override;
    std::shared_ptr<MessageEntry> getObjectValue(const char* key) override;
    std::vector<std::shared_ptr<MessageEntry>> getArrayValue(const char* key) override;
    std::vector<std::shared_ptr<MessageEntry>> getArrayValue() override;
    const char* getStringRepresentation() override;
    void* getRowMessage() override;
    void* shareRowMessage() override;
    void insertBoolValue(const char* key, bool value) override;
    void insertDoubleValue(const char* key, double value) override;
    void insertIntValue(const char* key, int value) override;
    void insertStringValue(const char* key, const char* value) override;
    void insertObjectValue(const char* key, std::shared_ptr<MessageEntry> entry) override;
    void addToArrayValue(const char* key, std::shared_ptr<MessageEntry> entry) override;
    void insertArrayValue(const char* key,
                          std::vector<std::shared_ptr<MessageEntry>> entries) override;
    void removeValue(const char* key) override;

private:
    json_object* getByKey(const char* key) const;
    json_object* getByKey(const char* key, int type) const;
    json_object* getNumber(const char* key) const;
    // node_, copied first when it is shared. Throws when it is no object.
    json_object* writableNode();
    // The node of `source`, marked as shared, to go into another tree. The caller owns one
    // reference.
    static json_object* shareNode(MessageEntry* source);
    // Takes over the reference of `value`.
    void addMember(const char* key, json_object* value);

    json_object* node_;
    // Whether another entry or tree may hold node_, so that a write must copy it first.
    bool shared_;
};

}  // namespace vesta
