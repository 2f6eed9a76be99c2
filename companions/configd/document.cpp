#include "configd/document.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace configd {
namespace {

using Json = nlohmann::json;

// "[json...101] parse error at line 2, column 7: ... - invalid literal; last read: 'pass'" without
// its number and without what was read.
std::string readable(std::string text) {
    text.erase(0, text.find("] ") == std::string::npos ? 0 : text.find("] ") + 2);
    return text.substr(0, text.find("; last read"));
}

bool limitDepth(int depth, Json::parse_event_t, const Json&) {
    if (depth > kMaxDepth) {
        throw std::length_error("nested more than " + std::to_string(kMaxDepth) + " deep");
    }
    return true;
}

// What every configuration has; the daemon that gets it checks the rest.
std::string problemOf(const Json& config) {
    if (!config.is_object()) {
        return std::string("the document is of type ") + config.type_name() + ", not an object";
    }
    const std::pair<const char*, Json::value_t> required[] = {
        {"captive-portal", Json::value_t::object}, {"interface", Json::value_t::array}};
    for (const auto& [key, type] : required) {
        const auto member = config.find(key);
        if (member == config.end() || member->type() != type) {
            return std::string("the key \"") + key + "\" is " +
                   (member == config.end() ? "missing" : "of another type") + "; it is an " +
                   Json(type).type_name();
        }
    }
    return "";
}

}  // namespace

Document parseDocument(const std::string& text) {
    Document document;
    if (text.size() > kMaxBytes) {
        document.problem = "longer than " + std::to_string(kMaxBytes) + " bytes";
        return document;
    }
    try {
        document.config = Json::parse(text, limitDepth, true, true);
        document.problem = problemOf(document.config);
    } catch (const std::exception& error) {
        document.problem = readable(error.what());
    }
    return document;
}

Document readDocument(const std::string& path) {
    Document document;
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
        document.problem = path + ": " + (error ? error.message() : "not a regular file");
        return document;
    }
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    std::string text(error ? 0 : std::min<std::uintmax_t>(size, kMaxBytes + 1), '\0');
    std::ifstream file(path, std::ios::binary);
    if (!file.read(text.data(), static_cast<std::streamsize>(text.size())) && !file.eof()) {
        document.problem = path + ": " + std::strerror(errno);
        return document;
    }
    text.resize(static_cast<std::size_t>(file.gcount()));
    document = parseDocument(text);
    if (!document.problem.empty()) {
        document.problem.insert(0, path + ": ");
    }
    return document;
}

}  // namespace configd
