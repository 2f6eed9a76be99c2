#include "core/json_entry.h"

#include <json-c/json.h>
#include <strings.h>

#include <cstring>

namespace vesta {
namespace {

struct PutNode {
    void operator()(json_object* node) const { json_object_put(node); }
};
using Node = std::unique_ptr<json_object, PutNode>;

constexpr int kTextFlags = JSON_C_TO_STRING_SPACED | JSON_C_TO_STRING_PRETTY;

// Every new message begins as "{}". To make a parser for that costs a third of the whole message.
json_object* parse(const char* text) {
    if (text == nullptr) {
        return nullptr;
    }
    return std::strcmp(text, "{}") == 0 ? json_object_new_object() : json_tokener_parse(text);
}

json_object* asNode(void* rowMessage) {
    return static_cast<json_object*>(rowMessage);
}

// A new object with the members of `object`. One level is enough: an entry changes its own node
// alone, never one below it.
Node copyObject(json_object* object) {
    Node copy(json_object_new_object());
    for (const lh_entry* member = lh_table_head(json_object_get_object(object)); member != nullptr;
         member = lh_entry_next(member)) {
        json_object_object_add_ex(copy.get(), static_cast<const char*>(lh_entry_k(member)),
                                  json_object_get(asNode(lh_entry_v(member))),
                                  JSON_C_OBJECT_ADD_KEY_IS_NEW);
    }
    return copy;
}

std::shared_ptr<MessageEntry> makeView(json_object* node) {
    return std::make_shared<JsonEntry>(node);
}

// One view for each element of an array or each member of an object.
std::vector<std::shared_ptr<MessageEntry>> viewsOf(json_object* node) {
    std::vector<std::shared_ptr<MessageEntry>> views;
    if (json_object_is_type(node, json_type_array) != 0) {
        const std::size_t count = json_object_array_length(node);
        views.reserve(count);
        for (std::size_t i = 0; i < count; ++i) {
            views.push_back(makeView(json_object_array_get_idx(node, i)));
        }
        return views;
    }
    if (json_object_is_type(node, json_type_object) == 0) {
        throw ENTRY_WRONG_TYPE;
    }
    views.reserve(static_cast<std::size_t>(json_object_object_length(node)));
    for (const lh_entry* member = lh_table_head(json_object_get_object(node)); member != nullptr;
         member = lh_entry_next(member)) {
        views.push_back(makeView(asNode(lh_entry_v(member))));
    }
    return views;
}

}  // namespace

JsonEntry::JsonEntry(const std::string& text) : JsonEntry(text.c_str()) {}

JsonEntry::JsonEntry(const char* text) : node_(parse(text)), shared_(false) {}

JsonEntry::JsonEntry(void* node) : JsonEntry(asNode(node)) {
    if (node == nullptr) {
        throw ENTRY_NOT_FOUND;
    }
}

JsonEntry::JsonEntry(json_object* node) : node_(json_object_get(node)), shared_(true) {}

JsonEntry::~JsonEntry() {
    json_object_put(node_);
}

bool JsonEntry::getBoolValue(const char* key) {
    json_object* const value = getByKey(key);
    if (json_object_is_type(value, json_type_boolean) != 0) {
        return json_object_get_boolean(value) != 0;
    }
    return strcasecmp(json_object_get_string(getByKey(key, json_type_string)), "true") == 0;
}

double JsonEntry::getDoubleValue(const char* key) {
    return json_object_get_double(getByKey(key, json_type_double));
}

int JsonEntry::getIntValue(const char* key) {
    return json_object_get_int(getNumber(key));
}

long long JsonEntry::getLongLongValue(const char* key) {
    return json_object_get_int64(getNumber(key));
}

std::string JsonEntry::getCharValue(const char* key) {
    return json_object_get_string(getByKey(key, json_type_string));
}

std::shared_ptr<MessageEntry> JsonEntry::getObjectValue(const char* key) {
    return makeView(getByKey(key, json_type_object));
}

std::vector<std::shared_ptr<MessageEntry>> JsonEntry::getArrayValue(const char* key) {
    return viewsOf(getByKey(key));
}

std::vector<std::shared_ptr<MessageEntry>> JsonEntry::getArrayValue() {
    if (node_ == nullptr) {
        throw ENTRY_NOT_FOUND;
    }
    return viewsOf(node_);
}

const char* JsonEntry::getStringRepresentation() {
    return json_object_to_json_string_ext(node_, kTextFlags);
}

void* JsonEntry::getRowMessage() {
    return node_;
}

void* JsonEntry::shareRowMessage() {
    shared_ = true;
    return json_object_get(node_);
}

void JsonEntry::insertBoolValue(const char* key, bool value) {
    addMember(key, json_object_new_boolean(value ? 1 : 0));
}

void JsonEntry::insertDoubleValue(const char* key, double value) {
    addMember(key, json_object_new_double(value));
}

void JsonEntry::insertIntValue(const char* key, int value) {
    addMember(key, json_object_new_int(value));
}

void JsonEntry::insertStringValue(const char* key, const char* value) {
    addMember(key, json_object_new_string(value));
}

void JsonEntry::insertObjectValue(const char* key, std::shared_ptr<MessageEntry> entry) {
    addMember(key, shareNode(entry.get()));
}

void JsonEntry::addToArrayValue(const char* key, std::shared_ptr<MessageEntry> /*entry*/) {
    getByKey(key);
    throw ENTRY_WRONG_TYPE;
}

void JsonEntry::insertArrayValue(const char* key,
                                 std::vector<std::shared_ptr<MessageEntry>> entries) {
    Node array(json_object_new_array());
    for (const auto& entry : entries) {
        json_object_array_add(array.get(), shareNode(entry.get()));
    }
    addMember(key, array.release());
}

void JsonEntry::removeValue(const char* key) {
    json_object_object_del(writableNode(), key);
}

json_object* JsonEntry::getByKey(const char* key) const {
    json_object* value = nullptr;
    if (json_object_object_get_ex(node_, key, &value) == 0) {
        throw ENTRY_NOT_FOUND;
    }
    return value;
}

json_object* JsonEntry::getByKey(const char* key, int type) const {
    json_object* const value = getByKey(key);
    if (json_object_get_type(value) != type) {
        throw ENTRY_WRONG_TYPE;
    }
    return value;
}

json_object* JsonEntry::getNumber(const char* key) const {
    json_object* const value = getByKey(key);
    const json_type type = json_object_get_type(value);
    if (type != json_type_int && type != json_type_string) {
        throw ENTRY_WRONG_TYPE;
    }
    return value;
}

json_object* JsonEntry::writableNode() {
    if (node_ == nullptr) {
        throw ENTRY_NOT_FOUND;
    }
    if (json_object_is_type(node_, json_type_object) == 0) {
        throw ENTRY_WRONG_TYPE;
    }
    if (shared_) {
        json_object* const copy = copyObject(node_).release();
        json_object_put(node_);
        node_ = copy;
        shared_ = false;
    }
    return node_;
}

// The source is marked before writableNode() looks at this entry, so an entry that is put into
// itself is copied first and no tree ever holds a cycle.
json_object* JsonEntry::shareNode(MessageEntry* source) {
    if (source == nullptr) {
        return nullptr;
    }
    void* const node = source->shareRowMessage();
    return node != nullptr ? static_cast<json_object*>(node)
                           : parse(source->getStringRepresentation());
}

void JsonEntry::addMember(const char* key, json_object* value) {
    Node owned(value);
    if (json_object_object_add(writableNode(), key, owned.get()) == 0) {
        static_cast<void>(owned.release());
    }
}

}  // namespace vesta
