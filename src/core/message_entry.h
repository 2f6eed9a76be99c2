#pragma once

// One node of a configuration document or of a message. The rest of the daemon reads and writes
// messages through this interface alone; JsonEntry is the implementation.
//
// Threads: an entry belongs to one thread at a time, together with every entry that came out of it
// or went into it.

#include <memory>
#include <string>
#include <vector>

namespace vesta {

// The getters throw it by value. A caller to whom a key is optional catches it there.
enum ENTRY_EXCEPTION_TYPE {
    ENTRY_NOT_FOUND = 1,   // the key is absent, or the node is null
    ENTRY_WRONG_TYPE = 2,  // the key's value has another type than required
    ENTRY_EMPTY = 3,       // a request was answered with no message at all
};

class MessageEntry {
public:
    virtual ~MessageEntry() = default;

    // True for a boolean true and for the texts "true", "TRUE", ...; other types throw.
    virtual bool getBoolValue(const char* key) = 0;
    // Doubles only; an integer throws.
    virtual double getDoubleValue(const char* key) = 0;
    // An int, or a text that is read as one ("12abc" is 12, "5000000000" is 2147483647).
    virtual int getIntValue(const char* key) = 0;
    // The same with 64 bits.
    virtual long long getLongLongValue(const char* key) { return getIntValue(key); }
    virtual std::string getCharValue(const char* key) = 0;
    // A copy: changing it never reaches this entry.
    virtual std::shared_ptr<MessageEntry> getObjectValue(const char* key) = 0;
    // The elements of an array, or the members of an object in their order, for reading.
    virtual std::vector<std::shared_ptr<MessageEntry>> getArrayValue(const char* key) = 0;
    // The same of this entry itself.
    virtual std::vector<std::shared_ptr<MessageEntry>> getArrayValue() { return {}; }
    // The entry as text, valid until the entry is changed or destroyed.
    virtual const char* getStringRepresentation() { return ""; }
    // The underlying json-c node, without a reference, for reading until the entry is changed.
    virtual void* getRowMessage() { return nullptr; }
    // The same node with a reference, to stand in another tree too: from now on this entry copies
    // it before a change. Null where there is none to share.
    virtual void* shareRowMessage() { return nullptr; }

    // An inserter adds or replaces a member of this entry. It throws ENTRY_WRONG_TYPE when the
    // entry is no object, and ENTRY_NOT_FOUND when it is empty.
    virtual void insertBoolValue(const char* key, bool value) = 0;
    virtual void insertDoubleValue(const char* key, double value) = 0;
    virtual void insertIntValue(const char* key, int value) = 0;
    virtual void insertStringValue(const char* key, const char* value) = 0;
    // A copy of `entry` goes in.
    virtual void insertObjectValue(const char* key, std::shared_ptr<MessageEntry> entry) = 0;
    // Always throws: ENTRY_NOT_FOUND for an absent member, ENTRY_WRONG_TYPE for any other, and
    // changes nothing.
    virtual void addToArrayValue(const char* key, std::shared_ptr<MessageEntry> entry) = 0;
    // An array of copies of the entries goes in.
    virtual void insertArrayValue(const char* key,
                                  std::vector<std::shared_ptr<MessageEntry>> entries) = 0;
    virtual void removeValue(const char* key) = 0;
};

}  // namespace vesta
