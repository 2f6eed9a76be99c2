#include "apsim/input.h"

#include <cerrno>
#include <cstring>
#include <fstream>

namespace apsim {

using Json = nlohmann::json;

Json loadJsonObject(const std::string& path) {
    std::ifstream file(path);
    if (!file) {
        throw InputError(path + ": can't be read: " + std::strerror(errno));
    }
    try {
        Json document = Json::parse(file, nullptr, true, true);
        if (!document.is_object()) {
            throw InputError(path + ": holds no JSON object");
        }
        return document;
    } catch (const Json::exception& error) {
        throw InputError(path + ": " + error.what());
    }
}

Json loadConfiguration(const std::string& path) {
    Json document = loadJsonObject(path);
    if (!document.value("captive-portal", Json()).is_object()) {
        throw InputError(path + ": has no object \"captive-portal\"");
    }
    if (!document.value("interface", Json()).is_array()) {
        throw InputError(path + ": has no array \"interface\"");
    }
    return document;
}

std::set<std::string> interfaceNames(const Json& configuration) {
    std::set<std::string> names;
    for (const Json& entry : configuration.value("interface", Json::array())) {
        const Json name = entry.is_object() ? entry.value("name", Json()) : Json();
        if (name.is_string()) {
            names.insert(name.get<std::string>());
        }
    }
    return names;
}

}  // namespace apsim
