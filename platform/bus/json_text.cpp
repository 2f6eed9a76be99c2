#include "json_text.h"

#include <new>

namespace ostrel::bus {
namespace {

// White space of RFC 8259, section 2.
constexpr const char* kWhiteSpace = " \t\r\n";

bool textMember(json_object* object, const char* name, std::string& text) {
    json_object* member = nullptr;
    if (json_object_object_get_ex(object, name, &member) == 0 ||
        json_object_get_type(member) != json_type_string) {
        return false;
    }
    text.assign(json_object_get_string(member),
                static_cast<std::size_t>(json_object_get_string_len(member)));
    return true;
}

}  // namespace

JsonReader::JsonReader() : tokener_(json_tokener_new_ex(kMaxJsonDepth)) {
    if (tokener_ == nullptr) {
        throw std::bad_alloc();
    }
    json_tokener_set_flags(tokener_.get(), JSON_TOKENER_VALIDATE_UTF8);
}

JsonReader::Kind JsonReader::read(const std::string& text, Json& object) {
    object.reset();
    json_tokener_reset(tokener_.get());
    // The terminator is part of what is parsed: it ends a bare number, and a text that stops too
    // early is an error instead of "to be continued".
    Json node(
        json_tokener_parse_ex(tokener_.get(), text.c_str(), static_cast<int>(text.size() + 1)));
    if (json_tokener_get_error(tokener_.get()) != json_tokener_success) {
        return Kind::notJson;
    }
    if (text.find_first_not_of(kWhiteSpace, json_tokener_get_parse_end(tokener_.get())) !=
        std::string::npos) {
        return Kind::notJson;
    }
    if (json_object_get_type(node.get()) != json_type_object) {
        return Kind::notObject;
    }
    object = std::move(node);
    return Kind::object;
}

std::string commandOf(json_object* object) {
    std::string text;
    if (!textMember(object, "command", text)) {
        textMember(object, "cmd", text);
    }
    return text;
}

}  // namespace ostrel::bus
