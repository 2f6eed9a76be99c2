#pragma once

// JSON texts as the bus reads them: leniently inside (a trailing comma is welcome), strictly at the
// edges (one text, nothing behind it but white space, UTF-8, a bounded depth).
//
// Threads: a reader and the nodes that it gives belong to one thread; json-c counts references
// without atomics.

#include <json-c/json.h>

#include <memory>
#include <string>

namespace ostrel::bus {

struct JsonRelease {
    void operator()(json_object* node) const { json_object_put(node); }
};
using Json = std::unique_ptr<json_object, JsonRelease>;

inline constexpr int kMaxJsonDepth = 31;

class JsonReader {
public:
    JsonReader();

    // tooLarge: nested deeper than kMaxJsonDepth, or too large in the sense of json_outline.h.
    enum class Kind { notJson, notObject, object, tooLarge };

    // Reads `text`. `object` is set for Kind::object, and for Kind::tooLarge, where it has the
    // members "command", "cmd" and "context" alone. A large text that is `bounded` keeps only a
    // "context" of up to 4 KiB: it goes into the answer.
    [[nodiscard]] Kind read(const std::string& text, Json& object, bool bounded = false);

private:
    // Null when `text` is not one JSON text; the tokener knows why.
    Json parse(const std::string& text);
    Kind readOutline(const std::string& text, Json& object);
    void begin();

    struct TokenerRelease {
        void operator()(json_tokener* tokener) const { json_tokener_free(tokener); }
    };
    std::unique_ptr<json_tokener, TokenerRelease> tokener_;
};

// The text of the member "command", else of "cmd"; "" when neither is a text.
[[nodiscard]] std::string commandOf(json_object* object);

}  // namespace ostrel::bus
