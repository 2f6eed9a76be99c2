#pragma once

// Files that a user wrote: what is wrong with one is told with its name.

#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <string>

namespace apsim {

// The text names the file and the place in it.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The JSON object in `path`; // comments are allowed. Throws InputError.
nlohmann::json loadJsonObject(const std::string& path);

// The same with the configuration document of an access point, which has a "captive-portal" object
// and an "interface" array. Throws InputError.
nlohmann::json loadConfiguration(const std::string& path);

// The names of its interfaces; elements that have none are passed over.
std::set<std::string> interfaceNames(const nlohmann::json& configuration);

}  // namespace apsim
