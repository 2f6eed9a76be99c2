#pragma once

// JSON as the bus hands it over.

#include <json-c/json.h>

#include <memory>
#include <string>

namespace vesta::testing {

using Json = std::unique_ptr<json_object, int (*)(json_object*)>;

inline Json parseJson(const std::string& text) {
    return Json(json_tokener_parse(text.c_str()), json_object_put);
}

}  // namespace vesta::testing
