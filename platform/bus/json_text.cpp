#include "json_text.h"

#include <new>
#include <optional>

#include "free_memory.h"
#include "json_outline.h"

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

JsonReader::JsonReader() {
    begin();
}

void JsonReader::begin() {
    tokener_.reset(json_tokener_new_ex(kMaxJsonDepth));
    if (tokener_ == nullptr) {
        throw std::bad_alloc();
    }
    json_tokener_set_flags(tokener_.get(), JSON_TOKENER_VALIDATE_UTF8);
}

JsonReader::Kind JsonReader::read(const std::string& text, Json& object, bool bounded) {
    object.reset();
    // Shorter ones stay below both bounds, whatever they are.
    if (text.size() > kMaxJsonNodes / 4 && isTooLarge(text, bounded)) {
        return readOutline(text, object);
    }
    Json node = parse(text);
    const json_tokener_error error = json_tokener_get_error(tokener_.get());
    if (error == json_tokener_error_depth) {
        return readOutline(text, object);
    }
    if (error != json_tokener_success ||
        text.find_first_not_of(kWhiteSpace, json_tokener_get_parse_end(tokener_.get())) !=
            std::string::npos) {
        return Kind::notJson;
    }
    if (json_object_get_type(node.get()) != json_type_object) {
        return Kind::notObject;
    }
    object = std::move(node);
    if (text.size() >= kLargePayload) {
        // The tokener would keep room for the longest string for good.
        begin();
        const Json outline = parse(jsonOutline(text, WithContext::yes).value_or("{}"));
        if (bounded && json_object_object_get_ex(outline.get(), "context", nullptr) == 0) {
            json_object_object_del(object.get(), "context");
        }
    }
    return Kind::object;
}

Json JsonReader::parse(const std::string& text) {
    json_tokener_reset(tokener_.get());
    // The terminator is part of what is parsed: it ends a bare number, and a text that stops too
    // early is an error instead of "to be continued".
    return Json(
        json_tokener_parse_ex(tokener_.get(), text.c_str(), static_cast<int>(text.size() + 1)));
}

JsonReader::Kind JsonReader::readOutline(const std::string& text, Json& object) {
    std::optional<std::string> outline = jsonOutline(text, WithContext::yes);
    if (!outline || outline->empty()) {
        return outline ? Kind::notObject : Kind::notJson;
    }
    object = parse(*outline);
    if (object == nullptr) {
        // The context itself is too deep.
        object = parse(jsonOutline(text, WithContext::no).value_or(""));
    }
    return object != nullptr ? Kind::tooLarge : Kind::notJson;
}

std::string commandOf(json_object* object) {
    std::string text;
    if (!textMember(object, "command", text)) {
        textMember(object, "cmd", text);
    }
    return text;
}

}  // namespace ostrel::bus
