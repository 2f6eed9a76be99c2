#pragma once

// Comparison of JSON by content.

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <memory>
#include <string>

namespace vesta::testing {

using Json = std::unique_ptr<json_object, int (*)(json_object*)>;

inline Json parseJson(const std::string& text) {
    return Json(json_tokener_parse(text.c_str()), json_object_put);
}

inline ::testing::AssertionResult sameJson(const std::string& text, const std::string& expected) {
    const Json wanted = parseJson(expected);
    if (wanted != nullptr && json_object_equal(parseJson(text).get(), wanted.get()) != 0) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << text << "\nis not\n" << expected;
}

}  // namespace vesta::testing
